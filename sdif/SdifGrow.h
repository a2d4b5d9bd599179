/* Grow only as data arrives.  A count read from a file may lie: a buffer for
** it is sized from the count only when the file is known to hold that much;
** otherwise it grows as the items actually come. */
#ifndef SDIF_GROW_H
#define SDIF_GROW_H

#include <cstddef>
#include <cstdint>

/* Bytes of the first piece read when a count cannot be trusted. */
constexpr size_t kSdifGrowPieceBytes = 64 * 1024;

/* Read n items of width bytes in pieces: before each piece room(total)
** makes room for total items (false when memory is out: the reading stops,
** *allocFailed set), then read(at, count) reads count items from index at
** and answers how many came; a short piece ends the reading.  The first
** piece is kSdifGrowPieceBytes, later ones as large as what has come, so a
** buffer holds at most twice the items present and is copied a logarithmic
** number of times.  Answers the items read. */
template <class Room, class Read>
uint64_t SdifGrowAsRead(uint64_t n, size_t width, Room&& room, Read&& read,
                        bool* allocFailed = nullptr) {
    const uint64_t first = width < kSdifGrowPieceBytes ? kSdifGrowPieceBytes / width : 1;
    uint64_t done = 0;
    while (done < n) {
        uint64_t step = done > first ? done : first;
        if (step > n - done) step = n - done;
        if (!room(done + step)) {
            if (allocFailed) *allocFailed = true;
            break;
        }
        const uint64_t got = read(done, step);
        done += got;
        if (got < step) break;
    }
    return done;
}

#endif
