// Additive synthesis of partial frames through a shared sine table, and the
// cubic (McAulay-Quatieri) phase interpolation used across the library.
#ifndef KV2_SYNT_H
#define KV2_SYNT_H

#include "Kv2Partials.h"

namespace Kv2 {

// The process-wide sine table.
struct SineTable {
    float* table;   // size entries, table[i] = sinf(i * step); null when released
    float step;     // 2 pi / 16384 as a float
    float invStep;  // 16384 / 2 pi as a float
    int size;       // 16384, 0 when released
    int mask;       // size - 1: indices wrap with one AND
};

// The table as it stands (its pointer is null outside Init..FreeStatic).
SineTable const& Kv2GetSineTable();

// (Re)build the table; answers true.
bool Kv2AddSyntInit();
// Release the table.
void Kv2Synth_FreeStatic();

// Add into out the partials present (state 2 or 3, same ident) at the same
// index of from and to, over the samples from from.time (ceil, plus offset)
// to before to.time; out's first count samples are zeroed first.  Without
// withPhase the end phase reached is written back into to's records.  Answers
// count (at most outLength), 0 for nothing to produce, -1 when to lies before
// from; *firstSample (when given) receives the first sample's number.  The
// table must exist.
int Kv2AddSynt(PartialSet const& from, PartialSet& to, float* out, int outLength, int offset,
               float sampleRate, bool withPhase, int* firstSample);

// Coefficients of the cubic phase a3 t^3 + a2 t^2 + a1 t + a0 that leaves
// phase0 at f0 Hz and meets phase1 (plus whole turns) at f1 Hz after duration.
void kv_get3Ord_phase_coef(float f0, float f1, float phase0, float phase1, float duration,
                           float* a3, float* a2, float* a1, float* a0);
void kv_get3Ord_phase_coef_d(double f0, double f1, double phase0, double phase1, double duration,
                             double* a3, double* a2, double* a1, double* a0);

}  // namespace Kv2

#endif
