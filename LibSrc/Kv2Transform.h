// Phase-continuous transformations, orderings and spectral envelopes of
// partial frames.
#ifndef KV2_TRANSFORM_H
#define KV2_TRANSFORM_H

#include "Kv2Partials.h"

namespace Kv2 {

// Mean transposition factor over a segment of T seconds from prev to cur,
// the factor rising linearly from fromFactor to toFactor, weighted by the
// instantaneous frequency of the cubic phase; *phaseAdvance (when given)
// receives the unwrapped phase advance.  1 and 0 for a segment not longer than
// DBL_EPSILON.
float kv_transposition_phase_factor(PartialSet::PartialParam const& cur,
                                    PartialSet::PartialParam const& prev, double T, float toFactor,
                                    float fromFactor, float* phaseAdvance);
// The same for the records at index of two frames (T = cur.time - prev.time).
float kv_transposition_phase_factor(PartialSet const& cur, PartialSet const& prev, int index,
                                    float toFactor, float fromFactor, float* phaseAdvance);

// out = in transposed by toFactor, its phase continued from prevOut.
bool Kv2FreqTransp(PartialSet::PartialParam const& in, PartialSet::PartialParam& out,
                   PartialSet::PartialParam const& prevIn, PartialSet::PartialParam const& prevOut,
                   double T, float fromFactor, float toFactor);
// The same with the phase advance also stretched.
bool Kv2StretchAndTranspose(PartialSet::PartialParam const& in, PartialSet::PartialParam& out,
                            PartialSet::PartialParam const& prevIn,
                            PartialSet::PartialParam const& prevOut, double T, float stretch,
                            float fromFactor, float toFactor);

// Frame forms: out = cur with the partials also present at the same index in
// prev transposed (and the segment stretched); false when out cannot hold cur.
bool Kv2StretchAndTranspose(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                            PartialSet const& prevOut, float stretch, float fromFactor,
                            float toFactor);
bool Kv2FreqTransp(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                   PartialSet const& prevOut, float fromFactor, float toFactor);
// Stretch the segment from prev to cur by stretch (negative: backwards in time,
// phases still advancing).
bool Kv2TimeScaling(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                    PartialSet const& prevOut, float stretch);

// Mirror the phases of the partials for time-reversed playback.
void Kv2ReversePartialSet(PartialSet& set);

// Orderings: valid records first, then by falling amplitude / rising frequency.
bool a_cmp(PartialSet::PartialParam const& x, PartialSet::PartialParam const& y);
bool f_cmp(PartialSet::PartialParam const& x, PartialSet::PartialParam const& y);
// Sort all records (n < 0) or bring the first n of the order to the front;
// answers the number of leading valid records among those sorted.  Not stable.
int Kv2AmplSortPartials(PartialSet& set, int n);
int Kv2FreqSortPartials(PartialSet& set, int n);

// Multiply (Mult) or replace (Set) amplitudes by the envelope env of envSize
// points spaced evenly from 0 to rate * rangeFactor / 2 Hz; with keepEnergy,
// rescale the partials to the input's energy.  False when env is null or
// envSize < 1.
bool Kv2MultSpectralEnv(PartialSet const& in, PartialSet& out, float* env, float rate,
                        float rangeFactor, int envSize, int keepEnergy);
bool Kv2SetSpectralEnv(PartialSet const& in, PartialSet& out, float* env, float rate,
                       float rangeFactor, int envSize, int keepEnergy);

}  // namespace Kv2

#endif
