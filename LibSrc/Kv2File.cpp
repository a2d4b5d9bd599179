// Kv2File: a handle's whole frame list read at once, within a read budget
// sized from the file.
#include <sys/stat.h>

#include <algorithm>

#include "Kv2Budget.h"
#include "Kv2Io.h"
#include "Kv2Sdif.h"
#include "SdifFile.h"

namespace Kv2 {

namespace {

// Size of the file behind a handle, -1 when it cannot be known (a pipe).
long long HandleSize(FILEIO const* f) {
    if (f && f->file) {
        struct stat st;
        if (fstat(fileno(f->file), &st) == 0 && S_ISREG(st.st_mode)) return st.st_size;
    } else if (f && f->sdif && f->sdif->GetFile()) {
        return SdifFGetFileSize(f->sdif->GetFile());
    }
    return -1;
}

// Shared by both Kv2File::ReadFrames: append every frame of the file that
// passes the stream and time filters, each counted against the budget with
// the room it holds (carried and padding records included).  Frames only
// grow as they are aligned (each to the size of the one before), and a chord
// frame repeats every note still sounding, so a small file can ask for far
// more than its size: one frame of a million partials followed by a million
// empty frames.  A frame left out still counts what reading it built.  Past
// the budget the frames read so far stay and std::bad_alloc is thrown, which
// a container turns into a failed read.
template <class Set, class ReadFn>
void ReadAllFrames(Kv2FrameSet<Set>& frames, int stream, double tBegin, double tEnd,
                   Kv2FrameListener<Set>* listener, ReadFn read) {
    // A list node: the frame, two links, and the heap blocks of the node and
    // of its records.
    constexpr unsigned long long kFrameBytes =
        sizeof(Set) + 2 * sizeof(void*) + 2 * kHeapBlockOverhead;
    Set set(0.0, 256);
    std::size_t scratch = 0;  // records the reader's set has room for
    int frameStream = 0;
    while (read(set, frameStream)) {
        std::size_t records = set.params().size();
        const std::size_t room = set.params().capacity();
        if (room > scratch) {
            Kv2ChargeBudget((room - scratch) * sizeof(typename Set::PartialParam));
            scratch = room;
        }
        // Written as conditions to keep, so that a NaN bound keeps nothing.
        bool afterBegin = tBegin == -1.0 || set.time >= tBegin;
        bool beforeEnd = tEnd == -1.0 || set.time <= tEnd;
        if ((stream < 0 || frameStream == stream) && afterBegin && beforeEnd) {
            // Counted before it is made, as room for the frame padded to the
            // one before it; an alignment that needs more counts the rest.
            if (!frames.empty()) records = std::max(records, frames.back().params().size());
            Kv2ChargeBudget(kFrameBytes + records * sizeof(typename Set::PartialParam));
            frames.push_back(set, true);
            const std::size_t room = frames.back().params().capacity();
            if (room > records)
                Kv2ChargeBudget((room - records) * sizeof(typename Set::PartialParam));
            if (listener) listener->FrameAppended(frames);
        } else {
            Kv2ChargeBudget(kFrameBytes + records * sizeof(typename Set::PartialParam));
        }
    }
}

}  // namespace
Kv2ReadBudget::Kv2ReadBudget(FILEIO const* f) : mOwn(SdifBudgetLimit() == 0) {
    if (mOwn) SdifSetBudget(SdifBudgetForSize(HandleSize(f)));
}

Kv2ReadBudget::~Kv2ReadBudget() {
    if (mOwn) SdifSetBudget(0);
}

Kv2File::~Kv2File() { Kv2CloseFile(mHandle); }

bool Kv2File::Open(const char* name, KV_FILEMODE mode, KvFormat format, int stream,
                   std::vector<std::string>* nvts) {
    Kv2CloseFile(mHandle);
    mHandle = nullptr;
    if (format == KV_FORMAT_UNKNOWN) format = Kv2GetFileFormat(name, KV_FORMAT_UNKNOWN, stream);
    mHandle = Kv2OpenFile(name, mode, format, stream, nvts);
    return mHandle != nullptr;
}

bool Kv2File::ReadFrames(Kv2FrameSet<PartialSet>& frames, int stream, double tBegin, double tEnd,
                         Kv2FrameListener<PartialSet>* listener) {
    if (!mHandle) return false;
    Kv2ReadBudget budget(mHandle);
    ReadAllFrames(frames, stream, tBegin, tEnd, listener,
                  [this](PartialSet& set, int& frameStream) {
                      return Kv2ReadPartialSet2(mHandle, set, frameStream, -1);
                  });
    return true;
}

bool Kv2File::ReadFrames(Kv2FrameSet<ChordSet>& frames, int stream, double tBegin, double tEnd,
                         Kv2FrameListener<ChordSet>* listener) {
    // No handle reads as a file without frames.
    Kv2ReadBudget budget(mHandle);
    ReadAllFrames(frames, stream, tBegin, tEnd, listener, [this](ChordSet& set, int& frameStream) {
        return Kv2ReadChordSet2(mHandle, set, frameStream, -1);
    });
    return true;
}

}  // namespace Kv2
