// Everything read from one file of frames: the frames in file order, the
// partial tracks built from them, and a selection of tracks and of points
// within tracks.
#ifndef QUORLIN_PARTIALS_CONTAINER_H
#define QUORLIN_PARTIALS_CONTAINER_H

#include <cstddef>
#include <type_traits>
#include <vector>

#include "Kv2FrameSet.h"
#include "Kv2Io.h"
#include "Kv2PartialVector.h"
#include "Kv2Partials.h"
#include "Kv2Transform.h"

namespace Quorlin {

template <class T>
class PartialsContainer {
   public:
    using Track = Kv2::Kv2Partial<T>;

    PartialsContainer() = default;
    virtual ~PartialsContainer() = default;
    PartialsContainer(PartialsContainer const&) = delete;
    PartialsContainer& operator=(PartialsContainer const&) = delete;

    // Select (append, duplicates allowed) or deselect (first equal entry, and
    // every selected point of the track) a track; exclusive clears the
    // selections first.
    virtual void SelectPartial(Track const& track, bool select, bool exclusive);
    // Select a point unless an equal one is selected already, or deselect the
    // first equal one; exclusive clears the selected points first.
    virtual void SelectPartialPoint(PartialPointIndex const& index, bool select, bool exclusive);
    // Run the frames-to-tracks pass over all frames, appending to the tracks.
    virtual void UpdatePartials() { Kv2::FramesToPartials<T>(mFrames, mPartials); }

    // ---- Reading a whole file ----
    // Read every frame of the file, close its handle (nulled in file) and
    // build the tracks, within the run's memory budget (or one of the
    // file's own: Kv2ReadBudget).  Any exception on the way, the budget's
    // included, answers false, keeping the frames read; the caller reports it.
    // A listener is told of each frame as it is read (Kv2File::ReadFrames).
    bool ReadFromFile(Kv2::Kv2File& file, Kv2::Kv2FrameListener<T>* listener = nullptr) {
        Kv2::Kv2ReadBudget budget(file.mHandle);
        try {
            file.ReadFrames(mFrames, -1, -1.0, -1.0, listener);
            Kv2::Kv2CloseFile(file.mHandle);
            file.mHandle = nullptr;
            UpdatePartials();
        } catch (...) {
            return false;
        }
        return true;
    }

    void DeSelectAllPartials() {
        mSelectedPartials.clear();
        mSelectedPoints.clear();
    }
    // Drop the selected points of id's track; an occurrence of -1 in id
    // matches every track of its ident.
    void DeSelectAllPartialPoints(Kv2::PartialID const& id);

    // Append to keep the numbers of the track's points to keep: every selected
    // point, and unselected ones only where their time rises strictly between
    // the last kept point and the next selected one.
    void GetValidPoints(Track const& track, std::vector<int>& keep) const;
    // Keep only the points numbered in keep, in that order; selected points
    // follow their points to their new numbers.
    void RemoveInvalidPoints(Track& track, std::vector<int> const& keep);
    // Trim a to the points kept in b, then rewrite b's points from a's,
    // transposed and stretched onto b's frequencies and times with continuous
    // phase.  Nothing for chord tracks.
    void CorrectPartialData(Track& a, Track& b);

    Kv2::Kv2FrameSet<T>& GetFrames() { return mFrames; }
    Kv2::Kv2FrameSet<T> const& GetFrames() const { return mFrames; }
    Kv2::PartialVector<T>& GetPartials() { return mPartials; }
    Kv2::PartialVector<T> const& GetPartials() const { return mPartials; }
    std::vector<Kv2::PartialID> const& GetSelectedPartials() const { return mSelectedPartials; }
    std::vector<PartialPointIndex> const& GetSelectedPoints() const { return mSelectedPoints; }

   protected:
    Kv2::TouchedPartialsVector<T> mTouched;          // kept empty here
    Kv2::Kv2FrameSet<T> mFrames;                     // frames in file order
    Kv2::PartialVector<T> mPartials;                 // tracks
    std::vector<Kv2::PartialID> mSelectedPartials;   // selected tracks
    std::vector<PartialPointIndex> mSelectedPoints;  // selected points
    int mState = 0;                                  // kept for callers; unused here
};

template <class T>
void PartialsContainer<T>::SelectPartial(Track const& track, bool select, bool exclusive) {
    if (exclusive) DeSelectAllPartials();
    Kv2::PartialID const id = track;
    if (select) {
        mSelectedPartials.push_back(id);
        return;
    }
    for (auto it = mSelectedPartials.begin(); it != mSelectedPartials.end(); ++it) {
        if (*it == id) {
            mSelectedPartials.erase(it);
            break;
        }
    }
    DeSelectAllPartialPoints(id);
}

template <class T>
void PartialsContainer<T>::SelectPartialPoint(PartialPointIndex const& index, bool select,
                                              bool exclusive) {
    if (exclusive) mSelectedPoints.clear();
    // The stored index is the left operand: a wildcard occurrence in index
    // matches a stored point of any occurrence.
    auto it = mSelectedPoints.begin();
    while (it != mSelectedPoints.end() && !(*it == index)) ++it;
    if (select) {
        if (it == mSelectedPoints.end()) mSelectedPoints.push_back(index);
    } else if (it != mSelectedPoints.end()) {
        mSelectedPoints.erase(it);
    }
}

template <class T>
void PartialsContainer<T>::DeSelectAllPartialPoints(Kv2::PartialID const& id) {
    std::vector<PartialPointIndex> kept;
    kept.reserve(mSelectedPoints.size());
    for (PartialPointIndex const& p : mSelectedPoints) {
        const bool match = p.id == id.id && (id.occurrence == -1 || p.occurrence == id.occurrence);
        if (!match) kept.push_back(p);
    }
    mSelectedPoints.swap(kept);
}

template <class T>
void PartialsContainer<T>::GetValidPoints(Track const& track, std::vector<int>& keep) const {
    const int nPoints = static_cast<int>(track.points.size());
    auto timeOf = [&](int k) { return track.points[k].time; };

    double lastTime = 0.0;
    int k = 0;
    for (PartialPointIndex const& p : mSelectedPoints) {
        // Here the track's own occurrence is the wildcard.
        if (p.id != track.id || (track.occurrence != -1 && p.occurrence != track.occurrence))
            continue;
        const int s = p.point;
        if (s < 0 || s >= nPoints) continue;  // a selection left over from a longer track
        const double ts = timeOf(s);
        for (; k < s; ++k) {
            if (timeOf(k) < ts && timeOf(k) > lastTime) {
                keep.push_back(k);
                lastTime = timeOf(k);
            }
        }
        keep.push_back(s);
        k = s;
        lastTime = ts;
    }
    for (; k < nPoints; ++k) {
        if (timeOf(k) > lastTime) {
            keep.push_back(k);
            lastTime = timeOf(k);
        }
    }
}

template <class T>
void PartialsContainer<T>::RemoveInvalidPoints(Track& track, std::vector<int> const& keep) {
    const std::vector<PartialPointIndex> selected = mSelectedPoints;
    DeSelectAllPartialPoints(track);

    std::vector<Kv2::PartialPoint<T>> points;
    std::vector<PartialPointIndex> moved;
    points.reserve(keep.size());
    for (int p : keep) {
        if (p < 0 || static_cast<std::size_t>(p) >= track.points.size()) continue;
        const PartialPointIndex wanted{track.id, track.occurrence, p};
        for (PartialPointIndex const& s : selected) {
            if (s == wanted) {
                moved.push_back({track.id, track.occurrence, static_cast<int>(points.size())});
                break;
            }
        }
        points.push_back(track.points[p]);
    }
    track.points.swap(points);
    for (PartialPointIndex const& index : moved) SelectPartialPoint(index, true, false);
}

template <class T>
void PartialsContainer<T>::CorrectPartialData(Track& a, Track& b) {
    if constexpr (std::is_same<T, Kv2::PartialSet>::value) {
        std::vector<int> keep;
        GetValidPoints(b, keep);
        RemoveInvalidPoints(a, keep);
        const std::size_t n = a.points.size();
        if (n == 0 || n != b.points.size()) return;

        Kv2::PartialPoint<T> const* pa0 = &a.points[0];
        Kv2::PartialPoint<T> const* pb0 = &b.points[0];
        float fromFactor = pb0->param.freq / pa0->param.freq;
        for (std::size_t i = 1; i < n; ++i) {
            Kv2::PartialPoint<T> const& pa = a.points[i];
            Kv2::PartialPoint<T>& pb = b.points[i];
            const float toFactor = pa.param.freq == 0.0f ? 1.0f : pb.param.freq / pa.param.freq;
            const double stepA = pa.time - pa0->time;
            const double stepB = pb.time - pb0->time;
            const float stretch = stepA == 0.0 ? 1.0f : static_cast<float>(stepB / stepA);
            Kv2::Kv2StretchAndTranspose(pa.param, pb.param, pa0->param, pb0->param, stepB, stretch,
                                        fromFactor, toFactor);
            pa0 = &pa;
            pb0 = &pb;
            fromFactor = toFactor;
        }
    } else {
        (void)a;
        (void)b;
    }
}

}  // namespace Quorlin

#endif
