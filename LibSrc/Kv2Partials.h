// Frame sets of the partial library: the partials (or peaks) of one analysis
// frame, PartialSet, and the notes of one chord-sequence frame, ChordSet, with
// their alignment to the previous frame, interpolation in time and the
// phase-continuous transformations of partial frames.
#ifndef KV2_PARTIALS_H
#define KV2_PARTIALS_H

#include <memory>
#include <vector>

namespace Kv2 {

// The highest partial ident seen by this process.  The SDIF readers draw new
// idents by incrementing it, so idents are never reused across files.
struct StaticIdent {
    static int maxIdent;
};

// Raise StaticIdent::maxIdent to |id| when that is larger.
void RaiseMaxIdent(int id);

// A partial track's identity: its ident and how many tracks with the same
// ident were made before it.
struct PartialID {
    int id;          // partial ident
    int occurrence;  // 0 for the first track of this ident; -1 matches any

    static const PartialID sNoID;  // {-1, -1}: no track
};

inline bool operator==(PartialID const& a, PartialID const& b) {
    return a.id == b.id && a.occurrence == b.occurrence;
}
inline bool operator!=(PartialID const& a, PartialID const& b) { return !(a == b); }

// One frame at one time.
class Kv2Frame {
   public:
    double time;  // seconds

    explicit Kv2Frame(double t = 0.0) : time(t) {}
    virtual ~Kv2Frame();
    // Fill this frame, whose time is set, from its two neighbours; false when
    // they are not of this frame's type.
    virtual bool interpolate(Kv2Frame const& left, Kv2Frame const& right) = 0;
    // Number of records.
    virtual int size() const;
    virtual bool empty() const;
    // Record count to zero.
    virtual void clear();
    // A new copy, owned by the caller.
    virtual std::unique_ptr<Kv2Frame> clone() const = 0;
    // Align to the frame before this one; forwards to the frame type's own
    // alignment and answers false when the two frames are of different types.
    virtual bool syncToLeft(Kv2Frame const& left);

   protected:
    Kv2Frame(Kv2Frame const&) = default;
    Kv2Frame& operator=(Kv2Frame const&) = default;
};

class ChordSet;

// The partials or peaks of one analysis frame.
class PartialSet : public Kv2Frame {
   public:
    enum PartialState : int {
        eFree = 0,     // unused slot
        ePeak = 1,     // spectral peak
        ePartial = 2,  // point of a partial track
        eLast = 3,     // last point of a track
        eCarried = 4,  // carried over from the left frame by syncToLeft
    };

    struct PartialParam {
        int id = 0;          // partial ident; 0 marks a free slot
        float freq = 0.0f;   // Hz
        float amp = 0.0f;    // linear amplitude
        float phase = 0.0f;  // radians
        double time = 0.0;   // date of a carried record, else 0
        PartialState state = eFree;

        PartialParam() = default;
        // x is accepted for the callers' sake and ignored; time is 0.
        PartialParam(int id, float frequency, float amplitude, float phase, float x,
                     PartialState state);
        // Peak or partial.
        bool IsValid() const { return state >= ePeak && state <= eLast; }
    };

    explicit PartialSet(double time = 0.0, int capacity = 0);
    PartialSet(PartialSet const&) = default;
    PartialSet& operator=(PartialSet const&) = default;
    // Chord notes become partials (state 2) at the same indices.
    PartialSet& operator=(ChordSet const& chord);
    ~PartialSet() override;

    int size() const override { return static_cast<int>(mParams.size()); }
    bool empty() const override { return mParams.empty(); }
    void clear() override { mParams.clear(); }
    std::unique_ptr<Kv2Frame> clone() const override;
    bool interpolate(Kv2Frame const& left, Kv2Frame const& right) override;
    using Kv2Frame::syncToLeft;
    // Reorder and pad this frame so that every partial of left keeps its index
    // here: partials found elsewhere are swapped in, ended ones are carried as
    // state-4 records (frequency 0), and records in their way are moved to the
    // first slot free in both frames.  Answers true.
    virtual bool syncToLeft(PartialSet const& left);

    PartialParam& operator[](int i) { return mParams[i]; }
    PartialParam const& operator[](int i) const { return mParams[i]; }
    std::vector<PartialParam> const& params() const { return mParams; }
    std::vector<PartialParam>& params() { return mParams; }
    void reserve(int n) { mParams.reserve(n > 0 ? n : 0); }

    // Time span added to the time of records carried out of this frame.
    double timeSpan() const { return mSpan; }
    void setTimeSpan(double span) { mSpan = span; }

    // Store p at index (growing with zero records), or at the first record
    // whose id is 0 (else a new last one) when index is negative.  Answers the
    // index used, -1 when memory runs out.
    int addToSet(PartialParam const& p, int index);

    // Record i is a peak (false when i is out of range).
    bool IsPeak(int i) const;
    // Record i has state 2, or also 3 unless strict (false when out of range).
    bool IsPartial(int i, bool strict) const;
    int numPartials(bool strict) const;
    int numPeaks() const;
    // i is a record index that passes IsPartial(i, strict) and holds id.
    bool PartialIsPresent(int i, int id, bool strict) const;
    // First record holding id, -1 when none.
    int PartialIndex(int id) const;
    // Index of the lowest partial (state 2 or 3), -1 when none.  The index
    // kept before the first comparison is 0, not that of the first partial:
    // when the first partial is also the lowest the answer is 0.
    int getFundamental() const;

    // Field of every record with a positive id, in record order, at most max
    // values; answers how many were written.
    int getAllFreq(float* out, int max) const;
    int getAllAmpl(float* out, int max) const;
    int getAllPhase(float* out, int max) const;

    // Record at dt seconds into a gap of T seconds between left and right
    // (cubic phase, amplitude weighted by w).  Answers true.
    static bool interpolate(PartialParam const& left, PartialParam const& right, double dt,
                            double T, float w, int id, PartialParam& out);

   private:
    double mSpan = 0.0;                 // see timeSpan()
    std::vector<PartialParam> mParams;  // records, free slots included
};

// The notes of one chord-sequence frame.
class ChordSet : public Kv2Frame {
   public:
    enum ChordState : int {
        eEmpty = 0,  // unused slot
        eStart = 1,  // note begins in this frame
        eCont = 2,   // note began earlier and is still sounding
        eEnd = 3,    // note ends in this frame
    };

    struct PartialParam {
        int id = 0;          // partial ident
        float freq = 0.0f;   // Hz
        float amp = 0.0f;    // linear amplitude
        float phase = 0.0f;  // radians
        ChordState state = eEmpty;

        PartialParam() = default;
        PartialParam(int id, float frequency, float amplitude, float phase, ChordState state);
    };

    explicit ChordSet(double time = 0.0, int capacity = 0);
    ChordSet(ChordSet const&) = default;
    ChordSet& operator=(ChordSet const&) = default;
    ~ChordSet() override;

    int size() const override { return static_cast<int>(mParams.size()); }
    bool empty() const override { return mParams.empty(); }
    void clear() override { mParams.clear(); }
    std::unique_ptr<Kv2Frame> clone() const override;
    bool interpolate(Kv2Frame const& left, Kv2Frame const& right) override;
    using Kv2Frame::syncToLeft;
    // Keep every sounding note of left at its index here and give continuing
    // and ending notes left's values; a continuing note's phase is left's
    // advanced by freq * (left.time - time), deliberately without 2 pi and not
    // wrapped.  Answers true.
    virtual bool syncToLeft(ChordSet const& left);

    PartialParam& operator[](int i) { return mParams[i]; }
    PartialParam const& operator[](int i) const { return mParams[i]; }
    std::vector<PartialParam> const& params() const { return mParams; }
    std::vector<PartialParam>& params() { return mParams; }
    void reserve(int n) { mParams.reserve(n > 0 ? n : 0); }

    // As PartialSet::addToSet.
    int addToSet(PartialParam const& p, int index);

    // Record i is not empty (false when out of range).
    bool IsValid(int i) const;
    bool IsPartial(int i) const { return IsValid(i); }
    int numPartials() const;
    int numStart() const;
    int numEnd() const;
    bool PartialIsPresent(int i, int id) const;
    int PartialIndex(int id) const;

    int getAllFreq(float* out, int max) const;
    int getAllAmpl(float* out, int max) const;
    int getAllPhase(float* out, int max) const;

    // A note held dt seconds past left: its values with the phase advanced.
    // right, T and w are unused.  False, with a message, when left ends.
    static bool interpolate(PartialParam const& left, PartialParam const& right, double dt,
                            double T, float w, int id, PartialParam& out);

   private:
    std::vector<PartialParam> mParams;  // records, free slots included
};

}  // namespace Kv2

#endif
