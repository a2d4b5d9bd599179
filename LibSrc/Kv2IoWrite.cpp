// Writing partial frames: the text and binary partial-set records, and the
// dispatch that sends SDIF handles to the SDIF writer.
#include <cstdio>

#include "Kv2Io.h"
#include "Kv2Sdif.h"

namespace Kv2 {

namespace {

// Text record: a header with the count and time, then one line per partial.
void WriteTextPartials(FILE* file, const PartialSet& set, int n) {
    fprintf(file, "%d\t%f\n", n, set.time);
    int written = 0;
    for (int i = 0; i < set.size() && written < n; ++i) {
        if (!set.IsPartial(i, false)) continue;
        const PartialSet::PartialParam& p = set[i];
        fprintf(file, "%d\t%f\t%0.10f\t%f\n", p.id, p.freq, p.amp, p.phase);
        ++written;
    }
}

// Binary record: time and count, then the idents, frequencies, amplitudes
// and phases of the first n partials, one column after the other.
void WriteBinaryPartials(FILE* file, const PartialSet& set, int n) {
    float head[2] = {static_cast<float>(set.time), static_cast<float>(n)};
    fwrite(head, sizeof(float), 2, file);
    for (int column = 0; column < 4; ++column) {
        int written = 0;
        for (int i = 0; i < set.size() && written < n; ++i) {
            if (!set.IsPartial(i, false)) continue;
            const PartialSet::PartialParam& p = set[i];
            float v = column == 0   ? static_cast<float>(p.id)
                      : column == 1 ? p.freq
                      : column == 2 ? p.amp
                                    : p.phase;
            fwrite(&v, sizeof v, 1, file);
            ++written;
        }
    }
}

}  // namespace

bool Kv2WritePartialSet2(FILEIO* f, const PartialSet& set, int maxPartials, int stream) {
    if (!f) return false;
    int n = set.numPartials(false);
    if (maxPartials >= 0 && maxPartials < n) n = maxPartials;

    if (f->file) {
        switch (f->format) {
            case KV_FORMAT_ADD:
                WriteTextPartials(f->file, set, n);
                return true;
            case KV_FORMAT_FMT:
                WriteBinaryPartials(f->file, set, n);
                return true;
            default:
                return false;
        }
    }
    // -1 passes through as "all": for 1PIC frames the SDIF writer counts
    // peaks, which n (a partial count) knows nothing of.
    return Kv2SdifWriteFrame(f, set, maxPartials > n ? n : maxPartials, stream);
}

bool Kv2WritePartialSet(FILEIO* f, const PartialSet& set) {
    return Kv2WritePartialSet2(f, set, -1, 0);
}

}  // namespace Kv2
