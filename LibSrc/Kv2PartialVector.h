// Partial tracks built from a sequence of frames: a track is a maximal run of
// consecutive frames holding the same partial ident, and an ident that comes
// back after a gap starts a new track with the next occurrence number.
#ifndef KV2_PARTIAL_VECTOR_H
#define KV2_PARTIAL_VECTOR_H

#include <cstddef>
#include <list>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Kv2Budget.h"
#include "Kv2FrameSet.h"
#include "Kv2IdIndex.h"
#include "Kv2Partials.h"

namespace Kv2 {

// One point of a track: the frame's time and a copy of the frame's record.
template <class T>
struct PartialPoint {
    double time;                     // frame time, seconds
    typename T::PartialParam param;  // the partial's record in that frame
};

// Records that take part in tracks: peaks and partials of a partial frame,
// any non-empty note of a chord frame.
inline bool TrackRecordIsValid(PartialSet const& frame, int i) { return frame[i].IsValid(); }
inline bool TrackRecordIsValid(ChordSet const& frame, int i) { return frame.IsValid(i); }

// One track; its PartialID (ident, occurrence) comes first.
template <class T>
class Kv2Partial : public PartialID {
   public:
    std::vector<PartialPoint<T>> points;  // in the order added (frame order)
    bool touched = false;                 // kept for callers; unused here
    bool closed = false;                  // set when the track stops being continued

    Kv2Partial(int ident, int occ) : PartialID{ident, occ} {}

    // Append a point from the first record of frame holding this track's
    // ident; nothing when the frame has none.
    void AddFrame(T const& frame) {
        const int i = frame.PartialIndex(id);
        if (i >= 0) AddPoint(frame, i);
    }
    // Append a point from record i of frame.
    void AddPoint(T const& frame, int i) {
        // Filled in place: a temporary point copied in costs a stalled
        // store-to-load forward on every point.
        PartialPoint<T>& point = points.emplace_back();
        point.time = frame.time;
        point.param = frame[i];
    }

    std::size_t GetNbPoints() const { return points.size(); }
    // Point i, null when i is out of range.
    PartialPoint<T>* GetPoint(int i) {
        return i >= 0 && static_cast<std::size_t>(i) < points.size() ? &points[i] : nullptr;
    }
    PartialPoint<T> const* GetPoint(int i) const {
        return i >= 0 && static_cast<std::size_t>(i) < points.size() ? &points[i] : nullptr;
    }
    // Time of the first / last point, -1.0 without points.
    double GetStartTime() const { return points.empty() ? -1.0 : points.front().time; }
    double GetEndTime() const { return points.empty() ? -1.0 : points.back().time; }
};

// The tracks in order of creation and the indices of the open ones in the
// order they were opened.
template <class T>
class PartialVector {
   public:
    using Track = Kv2Partial<T>;
    using iterator = typename std::vector<Track>::iterator;
    using const_iterator = typename std::vector<Track>::const_iterator;

    // Continue the open tracks with the valid records of the frame, open a
    // track for every other valid record, and close the open tracks the frame
    // did not continue.  Each record takes the first open track (in opening
    // order) of its ident not yet taken by an earlier record of the frame.
    // What the frame adds counts against the run's memory budget
    // (std::bad_alloc past it).
    void AddFrame(typename std::list<T>::const_iterator frameIt);

    // Number of tracks with this ident.
    int CountByID(int id) const {
        auto it = mCountById.find(id);
        return it == mCountById.end() ? 0 : it->second;
    }

    std::size_t size() const { return mTracks.size(); }
    bool empty() const { return mTracks.empty(); }
    Track& operator[](std::size_t i) { return mTracks[i]; }
    Track const& operator[](std::size_t i) const { return mTracks[i]; }
    iterator begin() { return mTracks.begin(); }
    iterator end() { return mTracks.end(); }
    const_iterator begin() const { return mTracks.begin(); }
    const_iterator end() const { return mTracks.end(); }
    // Indices of the open tracks, in opening order.
    std::vector<unsigned> const& OpenTracks() const { return mOpen; }

   private:
    static constexpr std::size_t kInitialPoints = 16;
    // Budget bytes of a new track beyond its room: its ident's count, its
    // places in the open lists and the heap block of its points.
    static constexpr std::size_t kTrackBookkeeping = sizeof(std::pair<const int, int>) +
                                                     2 * sizeof(void*) + 2 * sizeof(unsigned) +
                                                     kHeapBlockOverhead;

    std::size_t mFramesAdded = 0;
    std::vector<Track> mTracks;
    std::vector<unsigned> mOpen;
    std::vector<int> mOpenIds;  // ident of each open track, beside mOpen
    // Tracks per ident; a track's ident is not expected to change once made.
    std::unordered_map<int, int> mCountById;

    // Per ident in the frame being added: where its open tracks and its
    // records begin.
    struct IdSlots {
        int head = -1;   // first untaken open position with the ident
        int first = -1;  // first record of the frame holding the ident
    };

    // Per-frame scratch, kept to avoid allocating for every frame.
    IdHash<IdSlots> mIds;
    std::vector<int> mNext;    // open position -> next open position, same ident
    std::vector<char> mTaken;  // open position continued by this frame
    std::vector<unsigned> mOpened;
};

template <class T>
void PartialVector<T>::AddFrame(typename std::list<T>::const_iterator frameIt) {
    T const& frame = *frameIt;
    const int n = frame.size();
    ++mFramesAdded;
    // A new track gets room for as many points as frames have come so far,
    // up to a typical track's: that spares the first doublings of the long
    // tracks of a long file without giving the many tracks of a short one
    // room they can never fill.
    const std::size_t room = mFramesAdded < kInitialPoints ? mFramesAdded : kInitialPoints;
    const std::size_t tracksBefore = mTracks.size(), capacityBefore = mTracks.capacity();

    // Open tracks chained per ident in opening order: taking the head of a
    // chain answers the first matching candidate of the open list.
    const std::size_t nOpen = mOpen.size();
    mIds.Reset(nOpen + static_cast<std::size_t>(n));
    mNext.assign(nOpen, -1);
    mTaken.assign(nOpen, 0);
    for (std::size_t p = nOpen; p-- > 0;) {
        IdSlots& slots = mIds.Get(mOpenIds[p], IdSlots());
        mNext[p] = slots.head;
        slots.head = static_cast<int>(p);
    }

    mOpened.clear();
    for (int r = 0; r < n; ++r) {
        const int id = frame[r].id;
        // A point copies the first record with its ident, as
        // Kv2Partial::AddFrame would find it, valid or not: every record
        // before r has been seen, so first is known when r is reached.
        IdSlots& slots = mIds.Get(id, IdSlots());
        if (slots.first < 0) slots.first = r;
        if (!TrackRecordIsValid(frame, r)) continue;
        const int first = slots.first;
        if (slots.head >= 0) {
            const int p = slots.head;
            slots.head = mNext[p];
            mTaken[p] = 1;
            mTracks[mOpen[p]].AddPoint(frame, first);
            continue;
        }
        // A second record with an ident already taken in this frame opens a
        // further track, whose point still copies the first such record.
        const int occurrence = CountByID(id);
        Track& track = mTracks.emplace_back(id, occurrence);
        ++mCountById[id];
        // The slack goes back when the track closes.
        track.points.reserve(room);
        track.AddPoint(frame, first);
        mOpened.push_back(static_cast<unsigned>(mTracks.size() - 1));
    }

    std::size_t kept = 0;
    for (std::size_t p = 0; p < nOpen; ++p) {
        if (mTaken[p]) {
            mOpen[kept] = mOpen[p];
            mOpenIds[kept] = mOpenIds[p];
            ++kept;
        } else {
            // A closed track never grows again: give back its growth slack.
            Track& track = mTracks[mOpen[p]];
            track.closed = true;
            track.points.shrink_to_fit();
        }
    }
    mOpen.resize(kept);
    mOpenIds.resize(kept);
    for (unsigned t : mOpened) {
        mOpen.push_back(t);
        mOpenIds.push_back(mTracks[t].id);
    }

    // Counted once per frame: a continued track (one of the kept) may have
    // doubled its room, so its point counts twice; a new track counts its room.
    const std::size_t opened = mTracks.size() - tracksBefore;
    unsigned long long bytes = kept * 2 * sizeof(PartialPoint<T>) +
                               opened * (room * sizeof(PartialPoint<T>) + kTrackBookkeeping);
    if (mTracks.capacity() != capacityBefore) bytes += mTracks.capacity() * sizeof(Track);
    Kv2ChargeBudget(bytes);
}

// The touched tracks of a container (kept empty by the operations here).
template <class T>
class TouchedPartialsVector : public PartialVector<T> {};

// Append to tracks the tracks of every frame, first to last.  tracks is not
// cleared: a second call continues the tracks still open and appends a second
// set built from the same frames.
template <class T>
void FramesToPartials(Kv2FrameSet<T>& frames, PartialVector<T>& tracks) {
    for (auto it = frames.cbegin(); it != frames.cend(); ++it) tracks.AddFrame(it);
}

}  // namespace Kv2

namespace Quorlin {

// A point of a track: the track's ident and occurrence and the point's number.
struct PartialPointIndex {
    int id;          // partial ident
    int occurrence;  // track occurrence; -1 on the right of == matches any
    int point;       // point number within the track
};

// Equal ident and point number, and b's occurrence -1 or equal to a's.  Only
// the right operand's occurrence is a wildcard: the test is asymmetric.
inline bool operator==(PartialPointIndex const& a, PartialPointIndex const& b) {
    return a.id == b.id && (b.occurrence == -1 || b.occurrence == a.occurrence) &&
           a.point == b.point;
}

}  // namespace Quorlin

#endif
