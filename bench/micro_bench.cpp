// Micro-benchmarks of the converter's hot paths, on the benchmarks'
// synthetic material (BenchSignal.h):
//   - reading matrices: the SDIF library alone, the object layer's frames,
//     and the partial library's frames (Kv2SdifReadFrame);
//   - number formatting: the exact "%f" formatter (double and float
//     overloads) against snprintf;
//   - frame alignment (PartialSet::syncToLeft through Kv2FrameSet::push_back);
//   - track building (FramesToPartials).
// The SDIF file they read is written once to a temporary file.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchSignal.h"
#include "FixedFormat.h"
#include "Kv2FrameSet.h"
#include "Kv2Io.h"
#include "Kv2PartialVector.h"
#include "Kv2Partials.h"
#include "Kv2Sdif.h"
#include "sdif.h"
#include "sdifentity.h"
#include "sdifframe.h"

namespace {

constexpr long kFileFrames = 2000;  // about 3.3 MB: larger than the caches
constexpr uint64_t kSeed = 20240601u;

// The temporary SDIF file and its facts, made on first use.
struct BenchFile {
    std::string path;
    long rows = 0;
    long bytes = 0;

    BenchFile() {
        char name[] = "/tmp/sdif_micro_benchXXXXXX";
        const int fd = mkstemp(name);
        if (fd < 0) std::abort();
        close(fd);
        path = name;
        Ondel::OndelInit("");
        rows = benchsignal::WriteTrcFile(path.c_str(), kFileFrames, kSeed);
        if (rows < 0) std::abort();
        FILE* f = std::fopen(path.c_str(), "rb");
        std::fseek(f, 0, SEEK_END);
        bytes = std::ftell(f);
        std::fclose(f);
    }
    ~BenchFile() { std::remove(path.c_str()); }
};

BenchFile& File() {
    static BenchFile file;
    return file;
}

void SetFileCounters(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * File().bytes);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * File().rows);
}

// ---- reading matrices ----

// The SDIF library alone: headers, then all cells of each matrix in one call.
void BM_ReadMatrixData_SdifLibrary(benchmark::State& state) {
    const char* path = File().path.c_str();
    for (auto _ : state) {
        SdifFileT* file = SdifFOpen(path, eReadFile);
        SdifFReadGeneralHeader(file);
        SdifFReadAllASCIIChunks(file);
        // The ASCII chunks leave the first frame's signature read.
        size_t nb = 0;
        double sum = 0.0;
        do {
            SdifFReadFrameHeader(file);
            for (SdifUInt4 m = 0; m < SdifFCurrNbMatrix(file); ++m) {
                SdifFReadMatrixHeader(file);
                SdifFReadMatrixData(file);
                sum += static_cast<const float*>(SdifFCurrMatrixDataPointer(file))[1];
            }
        } while (SdifFGetSignature(file, &nb) != eEof);
        benchmark::DoNotOptimize(sum);
        SdifFClose(file);
    }
    SetFileCounters(state);
}
BENCHMARK(BM_ReadMatrixData_SdifLibrary)->Unit(benchmark::kMillisecond);

// The object layer: every frame with its typed matrices.
void BM_ReadFrames_Ondel(benchmark::State& state) {
    const char* path = File().path.c_str();
    for (auto _ : state) {
        Ondel::SDIFEntity entity;
        entity.OpenRead(path);
        Ondel::SDIFFrame frame;
        double sum = 0.0;
        while (!entity.eof() && entity.ReadNextSelectedFrame(frame) != 0)
            sum += frame.GetMatrix(0u).GetNbRows();
        benchmark::DoNotOptimize(sum);
        entity.Close();
    }
    SetFileCounters(state);
}
BENCHMARK(BM_ReadFrames_Ondel)->Unit(benchmark::kMillisecond);

// The partial library: frames of partials with their idents.
void BM_ReadFrames_Kv2(benchmark::State& state) {
    const char* path = File().path.c_str();
    for (auto _ : state) {
        Kv2::FILEIO* f = Kv2::Kv2SdifOpenRead(path, Kv2::KV_FORMAT_SDIF_TRC, -1);
        Kv2::PartialSet set(0.0, 256);
        long n = 0;
        while (Kv2::Kv2SdifReadFrame(f, set, -1) >= 0) n += set.size();
        benchmark::DoNotOptimize(n);
        Kv2::Kv2CloseFile(f);
    }
    SetFileCounters(state);
}
BENCHMARK(BM_ReadFrames_Kv2)->Unit(benchmark::kMillisecond);

// ---- number formatting ----

// The values a conversion formats: frame times, then frequency, amplitude and
// phase of every row, widened to double.
const std::vector<double>& Values() {
    static std::vector<double> values = [] {
        std::vector<double> v;
        benchsignal::Generator gen(kSeed);
        std::vector<float> rows;
        for (long n = 0; n < 200; ++n) {
            v.push_back(static_cast<double>(n) * benchsignal::kHop);
            gen.NextFrame(rows);
            for (size_t i = 0; i < rows.size(); i += 4)
                for (size_t c = 1; c < 4; ++c) v.push_back(rows[i + c]);
        }
        return v;
    }();
    return values;
}

void BM_Format_FixedFormat(benchmark::State& state) {
    const std::vector<double>& values = Values();
    char out[fixedformat::kMaxDoubleChars];
    for (auto _ : state) {
        size_t chars = 0;
        for (double v : values) chars += static_cast<size_t>(fixedformat::FormatF6(v, out));
        benchmark::DoNotOptimize(chars);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * values.size()));
}
BENCHMARK(BM_Format_FixedFormat);

// The converter's frame lines: frequency, amplitude and phase as floats.
void BM_Format_FixedFormatFloat(benchmark::State& state) {
    static const std::vector<float> values = [] {
        std::vector<float> v;
        for (double d : Values()) v.push_back(static_cast<float>(d));
        return v;
    }();
    char out[fixedformat::kMaxDoubleChars];
    for (auto _ : state) {
        size_t chars = 0;
        for (float v : values) chars += static_cast<size_t>(fixedformat::FormatF6(v, out));
        benchmark::DoNotOptimize(chars);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * values.size()));
}
BENCHMARK(BM_Format_FixedFormatFloat);

void BM_Format_Snprintf(benchmark::State& state) {
    const std::vector<double>& values = Values();
    char out[fixedformat::kMaxDoubleChars];
    for (auto _ : state) {
        size_t chars = 0;
        for (double v : values)
            chars += static_cast<size_t>(std::snprintf(out, sizeof out, "%f", v));
        benchmark::DoNotOptimize(chars);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * values.size()));
}
BENCHMARK(BM_Format_Snprintf);

// ---- frame alignment and track building ----

// Frames as the SDIF reader hands them over, before alignment: one record
// per row in row order, state 2, ident from the SDIF index (indices never
// come back in this material, so the reader's idents follow the indices).
const std::vector<Kv2::PartialSet>& RawFrames() {
    static std::vector<Kv2::PartialSet> frames = [] {
        std::vector<Kv2::PartialSet> v;
        benchsignal::Generator gen(kSeed);
        std::vector<float> rows;
        for (long n = 0; n < kFileFrames; ++n) {
            gen.NextFrame(rows);
            Kv2::PartialSet set(static_cast<double>(n) * benchsignal::kHop, 0);
            for (size_t i = 0; i < rows.size(); i += 4)
                set.addToSet(Kv2::PartialSet::PartialParam(static_cast<int>(rows[i]), rows[i + 1],
                                                           rows[i + 2], rows[i + 3], 0.0f,
                                                           Kv2::PartialSet::ePartial),
                             -1);
            v.push_back(set);
        }
        return v;
    }();
    return frames;
}

long RawRows() {
    long n = 0;
    for (const auto& f : RawFrames()) n += f.size();
    return n;
}

// Appending without alignment: the copying that alignment adds to.
void BM_FrameSet_PushBack(benchmark::State& state) {
    const auto& raw = RawFrames();
    for (auto _ : state) {
        Kv2::Kv2FrameSet<Kv2::PartialSet> frames;
        for (const auto& f : raw) frames.push_back(f, false);
        benchmark::DoNotOptimize(frames.size());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * RawRows());
}
BENCHMARK(BM_FrameSet_PushBack)->Unit(benchmark::kMillisecond);

void BM_FrameSet_PushBackSyncToLeft(benchmark::State& state) {
    const auto& raw = RawFrames();
    for (auto _ : state) {
        Kv2::Kv2FrameSet<Kv2::PartialSet> frames;
        for (const auto& f : raw) frames.push_back(f, true);
        benchmark::DoNotOptimize(frames.size());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * RawRows());
}
BENCHMARK(BM_FrameSet_PushBackSyncToLeft)->Unit(benchmark::kMillisecond);

const Kv2::Kv2FrameSet<Kv2::PartialSet>& AlignedFrames() {
    static Kv2::Kv2FrameSet<Kv2::PartialSet> frames = [] {
        Kv2::Kv2FrameSet<Kv2::PartialSet> set;
        for (const auto& f : RawFrames()) set.push_back(f, true);
        return set;
    }();
    return frames;
}

// One pass, as reading a file builds the tracks.
void BM_FramesToPartials(benchmark::State& state) {
    auto& frames = const_cast<Kv2::Kv2FrameSet<Kv2::PartialSet>&>(AlignedFrames());
    for (auto _ : state) {
        Kv2::PartialVector<Kv2::PartialSet> tracks;
        Kv2::FramesToPartials(frames, tracks);
        benchmark::DoNotOptimize(tracks.size());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * RawRows());
}
BENCHMARK(BM_FramesToPartials)->Unit(benchmark::kMillisecond);

// Two passes, as -p does (the second continues or doubles the first).
void BM_FramesToPartials_TwoPasses(benchmark::State& state) {
    auto& frames = const_cast<Kv2::Kv2FrameSet<Kv2::PartialSet>&>(AlignedFrames());
    for (auto _ : state) {
        Kv2::PartialVector<Kv2::PartialSet> tracks;
        Kv2::FramesToPartials(frames, tracks);
        Kv2::FramesToPartials(frames, tracks);
        benchmark::DoNotOptimize(tracks.size());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2 * RawRows());
}
BENCHMARK(BM_FramesToPartials_TwoPasses)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
