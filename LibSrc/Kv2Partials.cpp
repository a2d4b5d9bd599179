#include "Kv2Partials.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "Kv2PhaseMath.h"
#include "Kv2SlotIndex.h"
#include "Kv2Synt.h"

namespace Kv2 {

int StaticIdent::maxIdent = 0;
const PartialID PartialID::sNoID = {-1, -1};

void RaiseMaxIdent(int id) {
    const long long a = id < 0 ? -static_cast<long long>(id) : id;
    if (a > StaticIdent::maxIdent)
        StaticIdent::maxIdent = a > INT_MAX ? INT_MAX : static_cast<int>(a);
}

namespace {

template <class Param>
int AddToSet(std::vector<Param>& v, Param const& p, int index) {
    try {
        if (index >= 0) {
            if (static_cast<std::size_t>(index) >= v.size()) {
                Param const copy = p;  // p may live in v, which growing moves
                v.resize(static_cast<std::size_t>(index) + 1);
                v[index] = copy;
            } else {
                v[index] = p;
            }
            return index;
        }
        for (std::size_t i = 0; i < v.size(); ++i) {
            if (v[i].id == 0) {
                v[i] = p;
                return static_cast<int>(i);
            }
        }
        if (v.size() >= static_cast<std::size_t>(INT_MAX)) return -1;
        v.push_back(p);
        return static_cast<int>(v.size()) - 1;
    } catch (std::bad_alloc const&) {
        return -1;
    } catch (std::length_error const&) {
        return -1;
    }
}

template <class Param>
int GetAll(std::vector<Param> const& v, float* out, int max, float Param::*field) {
    int n = 0;
    for (Param const& p : v) {
        if (n >= max) break;
        if (p.id > 0) out[n++] = p.*field;
    }
    return n;
}

template <class Param>
int IndexOf(std::vector<Param> const& v, int id) {
    for (std::size_t i = 0; i < v.size(); ++i)
        if (v[i].id == id) return static_cast<int>(i);
    return -1;
}

}  // namespace

// ---------------------------------------------------------------- Kv2Frame

Kv2Frame::~Kv2Frame() = default;

int Kv2Frame::size() const { return 0; }

bool Kv2Frame::empty() const { return size() == 0; }

void Kv2Frame::clear() {}

bool Kv2Frame::syncToLeft(Kv2Frame const& left) {
    if (auto* self = dynamic_cast<PartialSet*>(this)) {
        auto const* l = dynamic_cast<PartialSet const*>(&left);
        return l ? self->syncToLeft(*l) : false;
    }
    if (auto* self = dynamic_cast<ChordSet*>(this)) {
        auto const* l = dynamic_cast<ChordSet const*>(&left);
        return l ? self->syncToLeft(*l) : false;
    }
    return false;
}

// --------------------------------------------------------------- PartialSet

PartialSet::PartialParam::PartialParam(int ident, float frequency, float amplitude,
                                       float phaseValue, float /*x*/, PartialState st)
    : id(ident), freq(frequency), amp(amplitude), phase(phaseValue), time(0.0), state(st) {
    RaiseMaxIdent(ident);
}

PartialSet::PartialSet(double t, int capacity) : Kv2Frame(t) {
    try {
        reserve(capacity);
    } catch (std::exception const&) {
        // The capacity is only a hint.
    }
}

PartialSet::~PartialSet() = default;

PartialSet& PartialSet::operator=(ChordSet const& chord) {
    clear();
    time = chord.time;
    const int n = chord.size();
    mSpan = 0.0;
    if (n > 0 && addToSet(PartialParam(), n - 1) < 0) return *this;
    for (int i = 0; i < n; ++i) {
        if (!chord.IsPartial(i)) continue;
        ChordSet::PartialParam const& c = chord[i];
        mParams[i] = PartialParam(c.id, c.freq, c.amp, c.phase, 0.0f, ePartial);
    }
    return *this;
}

std::unique_ptr<Kv2Frame> PartialSet::clone() const { return std::make_unique<PartialSet>(*this); }

int PartialSet::addToSet(PartialParam const& p, int index) { return AddToSet(mParams, p, index); }

bool PartialSet::IsPeak(int i) const { return i >= 0 && i < size() && mParams[i].state == ePeak; }

bool PartialSet::IsPartial(int i, bool strict) const {
    if (i < 0 || i >= size()) return false;
    const PartialState s = mParams[i].state;
    return s == ePartial || (!strict && s == eLast);
}

int PartialSet::numPartials(bool strict) const {
    // Counted without a branch per record: free, carried and valid records
    // are mixed in aligned frames, and mispredictions dominated the count.
    const bool last = !strict;
    int n = 0;
    for (PartialParam const& p : mParams) n += (p.state == ePartial) | (last & (p.state == eLast));
    return n;
}

int PartialSet::numPeaks() const {
    int n = 0;
    for (PartialParam const& p : mParams)
        if (p.state == ePeak) ++n;
    return n;
}

bool PartialSet::PartialIsPresent(int i, int id, bool strict) const {
    return IsPartial(i, strict) && mParams[i].id == id;
}

int PartialSet::PartialIndex(int id) const { return IndexOf(mParams, id); }

int PartialSet::getFundamental() const {
    int best = 0;  // deliberately not the first partial's index
    float lowest = 0.0f;
    bool found = false;
    for (int i = 0; i < size(); ++i) {
        PartialParam const& p = mParams[i];
        if (p.state != ePartial && p.state != eLast) continue;
        if (!found) {
            found = true;
            lowest = p.freq;
        } else if (p.freq < lowest) {
            lowest = p.freq;
            best = i;
        }
    }
    return found ? best : -1;
}

int PartialSet::getAllFreq(float* out, int max) const {
    return GetAll(mParams, out, max, &PartialParam::freq);
}
int PartialSet::getAllAmpl(float* out, int max) const {
    return GetAll(mParams, out, max, &PartialParam::amp);
}
int PartialSet::getAllPhase(float* out, int max) const {
    return GetAll(mParams, out, max, &PartialParam::phase);
}

bool PartialSet::interpolate(PartialParam const& left, PartialParam const& right, double dt,
                             double T, float w, int id, PartialParam& out) {
    float a, b, c, d;
    kv_get3Ord_phase_coef(left.freq, right.freq, left.phase, right.phase, static_cast<float>(T), &a,
                          &b, &c, &d);
    const float amp = (1.0f - w) * left.amp + w * right.amp;
    const bool last = left.state == eLast || right.state == eLast;
    out.id = id;
    out.amp = amp;
    out.freq = static_cast<float>(((3.0 * a * dt + 2.0 * b) * dt + c) / kTwoPi);
    out.phase = WrapPhase(((a * dt + b) * dt + c) * dt + d);
    out.state = last ? eLast : ePartial;
    return true;
}

bool PartialSet::interpolate(Kv2Frame const& leftFrame, Kv2Frame const& rightFrame) {
    auto const* l = dynamic_cast<PartialSet const*>(&leftFrame);
    auto const* r = dynamic_cast<PartialSet const*>(&rightFrame);
    if (!l || !r) return false;
    const double t = time;
    // Partial frames are never extrapolated: outside the gap the nearer
    // frame is copied whole, time included.
    if (!(t > l->time)) {
        *this = *l;
        return true;
    }
    const double T = r->time - l->time;
    if (!(t < r->time) || T == 0.0) {
        *this = *r;
        return true;
    }
    // Strictly inside the gap, so this frame is neither side.
    PartialSet const& left = *l;
    PartialSet const& right = *r;
    clear();
    const int n = std::min(left.size(), right.size());
    mParams.resize(n);
    const double dt = t - left.time;
    const float w = static_cast<float>(dt / T);
    for (int i = 0; i < n; ++i) {
        const int id = left[i].id;
        if (left.IsPartial(i, false) && right.PartialIsPresent(i, id, false))
            interpolate(left[i], right[i], dt, T, w, id, mParams[i]);
    }
    return true;
}

bool PartialSet::syncToLeft(PartialSet const& left) {
    if (&left == this) return true;
    try {
        const double tR = time;
        const int nL = left.size();
        if (nL > size() && addToSet(PartialParam(), nL - 1) < 0) return false;
        // The padding counts in nT: a record swapped into a padded slot is
        // then never taken for a free slot by a later move.
        int nT = size();

        SlotIndex<PartialParam> index(mParams, static_cast<std::size_t>(nL));
        // Lowest slot that may still be free on both sides, for each value of
        // the left-side test's time condition (it reads the time of the record
        // being placed).  Only swaps can free a slot again.
        int freeFrom[2] = {0, 0};

        for (int i = 0; i < nL; ++i) {
            PartialParam const& lr = left[i];
            if (!(lr.IsValid() || (lr.state == eCarried && lr.time >= tR))) continue;
            if (mParams[i].id == lr.id) continue;

            const int j = index.First(lr.id);
            if (j >= 0) {
                index.Swap(i, j);
                const int lo = std::min(i, j);
                freeFrom[0] = std::min(freeFrom[0], lo);
                freeFrom[1] = std::min(freeFrom[1], lo);
                continue;
            }

            PartialParam const& cur = mParams[i];
            if (cur.IsValid() || cur.state == eCarried) {
                // The left-side test of a state-4 record reads the time of
                // left[i], not of left[k]; kept as the alignment always did.
                const bool carriedCounts = lr.time >= tR;
                int k = freeFrom[carriedCounts];
                for (;; ++k) {
                    const bool leftFree =
                        k >= nL ||
                        (!left[k].IsValid() && !(left[k].state == eCarried && carriedCounts));
                    const bool thisFree =
                        k >= nT || !(mParams[k].IsValid() || mParams[k].state == eCarried);
                    if (leftFree && thisFree) break;
                }
                freeFrom[carriedCounts] = k + 1;
                const PartialParam moved = cur;
                index.Put(moved, k);
                nT = std::max(nT, k + 1);
            }

            // The carried record keeps the amplitude and phase found in slot i.
            PartialParam& slot = mParams[i];
            const int old = slot.id;
            slot.time = lr.IsValid() ? tR + left.mSpan : lr.time;
            slot.freq = lr.freq * 0.0f;
            slot.id = lr.id;
            RaiseMaxIdent(lr.id);
            slot.state = eCarried;
            index.Rename(old, i);
        }
        return true;
    } catch (std::bad_alloc const&) {
        return false;
    }
}

// ----------------------------------------------------------------- ChordSet

ChordSet::PartialParam::PartialParam(int ident, float frequency, float amplitude, float phaseValue,
                                     ChordState st)
    : id(ident), freq(frequency), amp(amplitude), phase(phaseValue), state(st) {
    RaiseMaxIdent(ident);
}

ChordSet::ChordSet(double t, int capacity) : Kv2Frame(t) {
    try {
        reserve(capacity);
    } catch (std::exception const&) {
        // The capacity is only a hint.
    }
}

ChordSet::~ChordSet() = default;

std::unique_ptr<Kv2Frame> ChordSet::clone() const { return std::make_unique<ChordSet>(*this); }

int ChordSet::addToSet(PartialParam const& p, int index) { return AddToSet(mParams, p, index); }

bool ChordSet::IsValid(int i) const { return i >= 0 && i < size() && mParams[i].state != eEmpty; }

int ChordSet::numPartials() const {
    int n = 0;
    for (PartialParam const& p : mParams)
        if (p.state != eEmpty) ++n;
    return n;
}

int ChordSet::numStart() const {
    int n = 0;
    for (PartialParam const& p : mParams)
        if (p.state == eStart) ++n;
    return n;
}

int ChordSet::numEnd() const {
    int n = 0;
    for (PartialParam const& p : mParams)
        if (p.state == eEnd) ++n;
    return n;
}

bool ChordSet::PartialIsPresent(int i, int id) const { return IsValid(i) && mParams[i].id == id; }

int ChordSet::PartialIndex(int id) const { return IndexOf(mParams, id); }

int ChordSet::getAllFreq(float* out, int max) const {
    return GetAll(mParams, out, max, &PartialParam::freq);
}
int ChordSet::getAllAmpl(float* out, int max) const {
    return GetAll(mParams, out, max, &PartialParam::amp);
}
int ChordSet::getAllPhase(float* out, int max) const {
    return GetAll(mParams, out, max, &PartialParam::phase);
}

bool ChordSet::interpolate(PartialParam const& left, PartialParam const& /*right*/, double dt,
                           double /*T*/, float /*w*/, int id, PartialParam& out) {
    // A note holds its values; only its phase runs on.
    const bool ended = left.state == eEnd;
    const float freq = left.freq;
    const float amp = left.amp;
    const float phase = WrapPhase(left.freq * dt * kTwoPi + left.phase);
    out.id = id;
    out.freq = freq;
    out.amp = amp;
    out.phase = phase;
    out.state = eCont;
    if (ended) {
        std::fputs("ChordSet::interpolate sets a cont after end \n", stderr);
        return false;
    }
    return true;
}

bool ChordSet::interpolate(Kv2Frame const& leftFrame, Kv2Frame const& rightFrame) {
    auto const* l = dynamic_cast<ChordSet const*>(&leftFrame);
    auto const* r = dynamic_cast<ChordSet const*>(&rightFrame);
    if (!l || !r) return false;
    ChordSet const& left = *l;
    ChordSet const& right = *r;
    const double t = time;
    const double tl = left.time;
    const double tr = right.time;
    const double T = tr - tl;
    // Either side may be this frame itself only when t equals its time, and
    // then it is copied onto itself before anything is cleared.
    if (t == tl) {
        *this = left;
        return true;
    }
    if (t == tr || tr == tl) {
        *this = right;
        return true;
    }
    clear();
    if (t < tl) {
        // Notes sounding at the left frame are carried back before it.
        mParams.resize(left.mParams.size());
        for (int i = 0; i < left.size(); ++i) {
            PartialParam const& p = left[i];
            if (p.state != eEmpty && p.state != eStart)
                interpolate(p, p, t - tl, T, 0.0f, p.id, mParams[i]);
        }
    } else if (t < tr) {
        const int n = std::min(left.size(), right.size());
        mParams.resize(n);
        const float w = static_cast<float>((t - tl) / T);
        for (int i = 0; i < n; ++i) {
            if (left.IsValid(i) && right.PartialIsPresent(i, left[i].id))
                interpolate(left[i], left[i], t - tl, T, w, left[i].id, mParams[i]);
        }
    } else {
        // Notes still sounding at the right frame are carried on past it.
        mParams.resize(right.mParams.size());
        for (int i = 0; i < right.size(); ++i) {
            PartialParam const& p = right[i];
            if (p.state != eEmpty && p.state != eEnd)
                interpolate(p, p, t - tr, T, 0.0f, p.id, mParams[i]);
        }
    }
    return true;
}

bool ChordSet::syncToLeft(ChordSet const& left) {
    if (&left == this) return true;
    try {
        const double tR = time;
        const double delta = left.time - tR;
        const int nL = left.size();
        if (size() < nL && addToSet(PartialParam(), nL - 1) < 0) return false;
        // The padding counts in nT, so that the last pass gives every ending
        // note the left values back, also one swapped into a padded slot.
        int nT = size();

        SlotIndex<PartialParam> index(mParams, 0);
        int freeFrom = 0;  // lowest slot that may be free on both sides

        for (int i = 0; i < nL; ++i) {
            PartialParam const& lr = left[i];
            if (lr.state == eEmpty || lr.state == eEnd) continue;
            if (mParams[i].id != lr.id) {
                const int j = index.First(lr.id);
                if (j >= 0) {
                    index.Swap(i, j);
                    freeFrom = std::min(freeFrom, std::min(i, j));
                } else if (mParams[i].state != eEmpty) {
                    int k = freeFrom;
                    while (!((k >= nL || left[k].state == eEmpty) &&
                             (k >= nT || mParams[k].state == eEmpty)))
                        ++k;
                    freeFrom = k + 1;
                    // Slot i keeps its content: a start stays in both places.
                    const PartialParam copy = mParams[i];
                    index.Put(copy, k);
                    nT = std::max(nT, k + 1);
                }
            }
            PartialParam& slot = mParams[i];
            if (slot.state == eEnd || slot.state == eCont) {
                const ChordState st = slot.state;
                const int old = slot.id;
                slot = lr;
                // Deliberately without 2 pi and not wrapped.
                slot.phase = static_cast<float>(lr.freq * delta + lr.phase);
                slot.state = st;
                index.Rename(old, i);
            }
        }

        // An ending note keeps the left frame's values as they were.
        const int m = std::min(nL, nT);
        for (int i = 0; i < m; ++i) {
            if (mParams[i].state == eEnd) {
                addToSet(left[i], i);
                mParams[i].state = eEnd;
            }
        }
        return true;
    } catch (std::bad_alloc const&) {
        return false;
    }
}

}  // namespace Kv2
