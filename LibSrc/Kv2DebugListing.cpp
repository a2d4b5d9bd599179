// The debugging listings of partial, peak and chord sets.
#include <cstdio>

#include "Kv2Io.h"

namespace Kv2 {

namespace {

// The debugging listing of a set: a line on it with the kind and number of
// the records listed, then each record that listed(i) keeps.
template <class Set, class Listed>
void PrintRecords(FILE* out, const Set& set, const char* label, const char* kind, int nb,
                  Listed listed) {
    fprintf(out, "\n%s: %s in Set %p  nb %d  time %.3f size %d \n", label ? label : "", kind,
            static_cast<const void*>(&set), nb, set.time, set.size());
    for (int i = 0; i < set.size(); ++i)
        if (listed(i))
            fprintf(out, "%3d:  ident %3d  freq %9.1f amp %6f phase %6.4f state %3d\n", i,
                    set[i].id, set[i].freq, set[i].amp, set[i].phase,
                    static_cast<int>(set[i].state));
}
}  // namespace

void Kv2PrintPartial(FILE* out, const PartialSet& set, char* label) {
    PrintRecords(out, set, label, "Partials", set.numPartials(false),
                 [&](int i) { return set.IsPartial(i, false); });
}

void Kv2PrintPeak(FILE* out, const PartialSet& set, char* label) {
    PrintRecords(out, set, label, "Peaks", set.numPeaks(), [&](int i) { return set.IsPeak(i); });
}

void Kv2PrintPartial(FILE* out, const ChordSet& set, char* label) {
    PrintRecords(out, set, label, "ChordPartials", set.numPartials(),
                 [&](int i) { return set.IsValid(i); });
}
}  // namespace Kv2
