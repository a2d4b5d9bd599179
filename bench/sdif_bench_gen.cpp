// Deterministic generator of large 1TRC files for the benchmarks (material
// described in BenchSignal.h): hop 256/44100 s, stream 0, one Float4 matrix
// of (index, frequency, amplitude, phase) per frame, rows in index order.
//
// The frames depend on the seed only: a file of N frames is the first N
// frames of any longer file made with the same seed, so files of different
// lengths measure how the cost grows on the same material.
//
//   sdif_bench_gen OUTPUT.sdif FRAMES [SEED]
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "BenchSignal.h"
#include "sdif.h"

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OUTPUT.sdif FRAMES [SEED]\n", argv[0]);
        return 2;
    }
    const long frames = std::strtol(argv[2], nullptr, 10);
    const uint64_t seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 20240601u;
    if (frames < 1) {
        std::fprintf(stderr, "%s: FRAMES must be positive\n", argv[0]);
        return 2;
    }
    SdifGenInit("");
    const long rows = benchsignal::WriteTrcFile(argv[1], frames, seed);
    SdifGenKill();
    if (rows < 0) {
        std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[1]);
        return 1;
    }
    std::fprintf(stderr, "%s: %ld frames, %ld rows\n", argv[1], frames, rows);
    return 0;
}
