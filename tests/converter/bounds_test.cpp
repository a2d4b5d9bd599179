// Hostile inputs for the converter, run as a child with a CPU limit and its
// peak memory measured: headers that claim more than the file holds, and
// files whose frames grow without end once each is aligned to the one before.
// A claim the file cannot back must end the run with status 1 and one
// message, without the memory or the time it asks for.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "TestSupport.h"

using namespace testsupport;

#if defined(__SANITIZE_ADDRESS__)
#define BOUNDS_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BOUNDS_UNDER_ASAN 1
#endif
#endif

namespace {

// Peak resident memory allowed to a run that meets a lying header: the
// converter's own footprint (a few MB, about 25 under AddressSanitizer).
constexpr long kSmallRunKb = 64 * 1024;

struct LimitedRun {
    int status = -1;    // exit status; -1 when killed (CPU limit, memory limit)
    std::string out;    // standard output
    std::string err;    // standard error
    long maxRssKb = 0;  // peak resident memory of the child
};

// Run the converter on args with at most cpuSeconds of CPU and, outside
// AddressSanitizer (which reserves terabytes of address space), 4 GiB of
// address space; under it the child dies past 4 GiB resident instead.
LimitedRun Convert(const std::vector<std::string>& args, int cpuSeconds) {
    const std::string outPath = TempPath("bounds.out"), errPath = TempPath("bounds.err");
    std::vector<std::string> words = {ConverterPath()};
    words.insert(words.end(), args.begin(), args.end());
    pid_t pid = fork();
    if (pid == 0) {
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out < 0 || err < 0) _exit(126);
        dup2(out, 1);
        dup2(err, 2);
        rlimit cpu = {static_cast<rlim_t>(cpuSeconds), static_cast<rlim_t>(cpuSeconds)};
        setrlimit(RLIMIT_CPU, &cpu);
#ifdef BOUNDS_UNDER_ASAN
        const char* old = std::getenv("ASAN_OPTIONS");
        std::string options = std::string(old ? old : "") + ":hard_rss_limit_mb=4096";
        setenv("ASAN_OPTIONS", options.c_str(), 1);
#else
        rlimit as = {rlim_t(4) << 30, rlim_t(4) << 30};
        setrlimit(RLIMIT_AS, &as);
#endif
        std::vector<char*> argv;
        for (std::string& w : words) argv.push_back(&w[0]);
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    LimitedRun run;
    int st = 0;
    rusage usage{};
    if (pid < 0 || wait4(pid, &st, 0, &usage) != pid) return run;
    run.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    run.maxRssKb = usage.ru_maxrss;
    run.out = ReadFile(outPath);
    run.err = ReadFile(errPath);
    return run;
}

// ---- byte builders for headers that lie ----

std::string FrameHead(const char* sig, uint32_t size, double time, uint32_t stream,
                      uint32_t nbMatrix) {
    std::string s;
    PutSig(s, sig);
    PutU32(s, size);
    PutF64(s, time);
    PutU32(s, stream);
    PutU32(s, nbMatrix);
    return s;
}

std::string MatrixHead(const char* sig, uint32_t type, uint32_t rows, uint32_t cols) {
    std::string s;
    PutSig(s, sig);
    PutU32(s, type);
    PutU32(s, rows);
    PutU32(s, cols);
    return s;
}

// A text matrix chunk (1NVT, 1TYP) whose row count claims rows bytes of text
// while the file holds only text.
std::string TextChunk(const char* sig, uint32_t rows, const std::string& text) {
    std::string body = MatrixHead(sig, 0x0301, rows, 1) + text;
    while (body.size() % 8) body += '\0';
    return FrameHead(sig, static_cast<uint32_t>(16 + body.size()), -1.0, 0xFFFFFFFDu, 1) + body;
}

std::string GoodTrcFrame(double time) {
    return SdifFrame("1TRC", 0, time, {TrcMatrix("1TRC", {{1, 440, 0.1, 0}, {2, 880, 0.05, 1}})});
}

// Chord-sequence files declare 1TRC as a component of 1MRK, as the library's
// writer does, so that reading them prints no notice.
std::string ChordHeader() {
    std::string text = "1FTD1MRK { 1TRC chord_seq_partials;  }\n";
    text += '\0';
    return SdifHeader() + TextChunk("1TYP", static_cast<uint32_t>(text.size()), text);
}

TestMatrix IntColumn(const char* sig, const std::vector<double>& values) {
    return TestMatrix{sig, 0x0104, static_cast<uint32_t>(values.size()), 1, values};
}

std::string GoodChordFrame(double time) {
    return SdifFrame("1MRK", 0, time,
                     {IntColumn("1BEG", {1}), TrcMatrix("1TRC", {{1, 261.6, 0.3, 0}})});
}

std::string Save(const std::string& name, const std::string& bytes) {
    const std::string path = TempPath(name);
    WriteFile(path, bytes);
    return path;
}

void ExpectFailedRead(const LimitedRun& r, const std::string& message) {
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, message);
}

void ExpectReadingFails(const std::string& path, long maxRssKb = kSmallRunKb) {
    LimitedRun r = Convert({path}, 20);
    ExpectFailedRead(r, "error reading file " + path + "!\n");
    EXPECT_LT(r.maxRssKb, maxRssKb) << path;
}

}  // namespace

// ---- headers that claim more than the file holds ----

// After a good first frame (which the probe reads), a second frame claims
// more than the 48 bytes the file still holds.
TEST(LyingHeaders, CountsBeyondTheFileFailTheReadWithoutAllocating) {
    const uint32_t kHuge = 0x7FFFFFFF;
    const std::string zeros(32, '\0');
    ExpectReadingFails(Save("rows.sdif", SdifHeader() + GoodTrcFrame(0.0) +
                                             FrameHead("1TRC", 64, 0.1, 0, 1) +
                                             MatrixHead("1TRC", 0x0004, kHuge, 4) + zeros));
    ExpectReadingFails(Save("cols.sdif", SdifHeader() + GoodTrcFrame(0.0) +
                                             FrameHead("1TRC", 64, 0.1, 0, 1) +
                                             MatrixHead("1TRC", 0x0004, 1, kHuge) + zeros));
    ExpectReadingFails(Save("double-cells.sdif",
                            SdifHeader() + GoodTrcFrame(0.0) + FrameHead("1TRC", 64, 0.1, 0, 1) +
                                MatrixHead("1TRC", 0x0008, kHuge, kHuge) + zeros));
    ExpectReadingFails(Save("matrices.sdif", SdifHeader() + GoodTrcFrame(0.0) +
                                                 FrameHead("1TRC", 16, 0.1, 0, 0xFFFFFFFFu) +
                                                 MatrixHead("1TRC", 0x0004, 1, 4) + zeros));
    // A frame that is not read is skipped by its Size: past the end, the skip
    // is an end of file.
    ExpectReadingFails(Save("size.sdif", SdifHeader() + GoodTrcFrame(0.0) +
                                             FrameHead("1HRM", 0x7FFFFFF0u, 0.1, 0, 1) +
                                             MatrixHead("1HRM", 0x0004, 1, 4) + zeros));
}

// Text chunks come before the first frame: a lying one fails the probe.
TEST(LyingHeaders, HugeTextMatricesInAsciiChunksFailTheOpening) {
    for (const char* sig : {"1NVT", "1TYP", "1IDS"}) {
        const std::string path =
            Save(std::string(sig) + ".sdif",
                 SdifHeader() + TextChunk(sig, 0x7FFFFFFF, "a\tb\n1 x:y;\n") + GoodTrcFrame(0.0));
        LimitedRun r = Convert({path}, 20);
        ExpectFailedRead(r, "Kv2: cannot open file " + path + " \nCan't open file " + path + "\n");
        EXPECT_LT(r.maxRssKb, kSmallRunKb) << sig;
    }
}

// Rows without columns hold no bytes, so the file backs any count of them;
// the columns read fail on the first row, before the count sizes anything.
// Four million rows would be 128 MB of records: plain in the peak memory,
// and still within what the child may allocate.
TEST(LyingHeaders, RowsWithoutColumnsSizeNothing) {
    const uint32_t kRows = 1u << 22;
    for (const char* sig : {"1TRC", "1HRM", "1PIC"}) {
        std::string first = SdifFrame(sig, 0, 0.0, {TrcMatrix(sig, {{1, 440, 0.1, 0}})});
        std::string empty = FrameHead(sig, 32, 0.1, 0, 1) + MatrixHead(sig, 0x0004, kRows, 0);
        ExpectReadingFails(
            Save(std::string("rows-") + sig + ".sdif", SdifHeader() + first + empty));
    }
    // Chord sequences: ends without a column, then begins and partials of
    // the same row count without columns.
    ExpectReadingFails(Save("chord-ends.sdif", ChordHeader() + GoodChordFrame(0.0) +
                                                   FrameHead("1MRK", 32, 0.5, 0, 1) +
                                                   MatrixHead("1END", 0x0104, kRows, 0)));
    ExpectReadingFails(Save("chord-begins.sdif", ChordHeader() + GoodChordFrame(0.0) +
                                                     FrameHead("1MRK", 48, 0.5, 0, 2) +
                                                     MatrixHead("1BEG", 0x0104, kRows, 0) +
                                                     MatrixHead("1TRC", 0x0004, kRows, 0)));
}

// A row selection walks a matrix row by row: empty rows must not cost one
// step each (2^30 of them would take seconds of CPU).
TEST(LyingHeaders, RowSelectionOverRowsWithoutColumnsTakesNoTime) {
    const std::string path = Save(
        "rows-selected.sdif", SdifHeader() + GoodTrcFrame(0.0) + FrameHead("1TRC", 32, 0.1, 0, 1) +
                                  MatrixHead("1TRC", 0x0004, 0x40000000, 0));
    LimitedRun r = Convert({path + "::_2-4"}, 2);
    ExpectFailedRead(r, "error reading file " + path + "::_2-4!\n");
    EXPECT_LT(r.maxRssKb, kSmallRunKb);
}

// Frames are read matrix by matrix, so a selected frame never needs its
// Size: unknown (0xFFFFFFFF, left by a writer that could not patch it),
// beyond the file or too small, the frames print the same.  The text chunks
// before them end after their matrices (or the closing line of the
// intermediate form); a Size that disagrees is only noticed, at each of the
// run's two openings (the probe and the reading).
TEST(LyingHeaders, SizeFieldsAreNeededOnlyToSkip) {
    std::string chunks =
        FrameBytes("1NVT", 0xFFFFFFFDu, 0, "{\nsource\ttest\n}\n", -1.0, 0xFFFFFFFFu);
    // 16 + 12 + 4 bytes of matrix, announced 8 longer
    chunks +=
        FrameBytes("1NVT", 0xFFFFFFFDu, 1,
                   TextMatrixBytes("1NVT", std::string("creator\tme\n\0", 12)), -1.0, 16 + 32 + 8);
    // 16 + 15 + 1 bytes of matrix, announced far beyond the file
    chunks += FrameBytes("1TYP", 0xFFFFFFFFu, 1,
                         TextMatrixBytes("1TYP", std::string("1MTD XNEW {A}\n\0", 15)), -1.0,
                         0x7FFFFFF0u);
    const std::string notices =
        "*Sdif* Warning, this file uses an intermediate format for the Name-Value Table.  "
        "Portablity with programs not using the QUENDA SDIF library is not guaranteed.  "
        "Tip: Use 'sdifextract file newfile' to convert to compliant format.\n"
        "*Sdif* erreur size 1NVT: lu: 48  Attendu: 56\n\n"
        "*Sdif* erreur size 1TYP: lu: 48  Attendu: 2147483632\n\n";
    for (uint32_t size : {0xFFFFFFFFu, 0x7FFFFFF0u, 16u}) {
        SCOPED_TRACE(size);
        std::string file = SdifHeader() + chunks;
        for (auto f :
             {SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.1, 0}, {2, 880, 0.05, 1}})}),
              SdifFrame("1TRC", 0, 0.01, {TrcMatrix("1TRC", {{1, 441, 0.1, 0.5}})})}) {
            f.replace(4, 4,
                      std::string{char(size >> 24), char(size >> 16), char(size >> 8), char(size)});
            file += f;
        }
        LimitedRun r = Convert({Save("frame-size.sdif", file)}, 20);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, notices + notices);
        // Partial 2 is carried into the second frame's slot 1 but not counted.
        EXPECT_EQ(r.out,
                  "0.000000\t2\n440.000000\t0.100000\t0.000000\n880.000000\t0.050000\t1."
                  "000000\n\n\n0.010000\t1\n441.000000\t0.100000\t0.500000\n\n\n");
    }
}

// ---- frames that grow as they are aligned ----

namespace {

// One 1TRC frame of n partials, then m frames without a matrix: each of
// those is grown to n records (n carried, then n free ones).
std::string GrowingPartials(int n, int m) {
    std::vector<std::vector<double>> rows;
    for (int i = 0; i < n; ++i) rows.push_back({double(i + 1), 100.0 + i, 0.1, 0.0});
    std::string file = SdifHeader() + SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", rows)});
    for (int k = 1; k <= m; ++k) file += SdifFrame("1TRC", 0, 0.01 * k, {});
    return file;
}

}  // namespace

// A 2 MB file of one frame of 100000 partials and 20000 empty frames asks
// for 64 GB of aligned records: the read stops at its budget instead.
TEST(GrowingFrames, AlignedPartialFramesStopAtTheBudget) {
    const std::string path = Save("grow-partials.sdif", GrowingPartials(100000, 20000));
    LimitedRun r = Convert({path}, 60);
    ExpectFailedRead(r, "error reading file " + path + "!\n");
    EXPECT_LT(r.maxRssKb, 512 * 1024);
}

// 20000 notes begun and never ended, then 10000 empty frames: every frame
// holds every note still sounding, 4 GB in all for a 0.6 MB file.
TEST(GrowingFrames, SoundingChordNotesStopAtTheBudget) {
    const int kNotes = 20000, kFrames = 10000;
    std::vector<double> begins;
    std::vector<std::vector<double>> partials;
    for (int i = 0; i < kNotes; ++i) {
        begins.push_back(i + 1);
        partials.push_back({double(i + 1), 100.0 + i, 0.1, 0.0});
    }
    std::string file =
        ChordHeader() +
        SdifFrame("1MRK", 0, 0.0, {IntColumn("1BEG", begins), TrcMatrix("1TRC", partials)});
    for (int k = 1; k <= kFrames; ++k) file += SdifFrame("1MRK", 0, 0.01 * k, {});
    const std::string path = Save("grow-chords.sdif", file);
    LimitedRun r = Convert({path}, 120);
    ExpectFailedRead(r, "error reading file " + path + "!\n");
    EXPECT_LT(r.maxRssKb, 512 * 1024);
}

// The budget leaves room for files that grow within reason: 1000 partials
// carried through 1000 empty frames (32 MB of records from a 40 KB file).
TEST(GrowingFrames, ModestGrowthIsReadWhole) {
    LimitedRun r = Convert({Save("grow-modest.sdif", GrowingPartials(1000, 1000))}, 60);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    std::string expected = "0.000000\t1000\n";
    char line[128];
    for (int i = 0; i < 1000; ++i) {
        std::snprintf(line, sizeof line, "%f\t%f\t%f\n", 100.0 + i, double(0.1f), 0.0);
        expected += line;
    }
    expected += "\n\n";
    // The later frames hold only carried and free records: no partial counts.
    for (int k = 1; k <= 1000; ++k) {
        std::snprintf(line, sizeof line, "%f\t0\n\n\n", 0.01 * k);
        expected += line;
    }
    EXPECT_EQ(r.out, expected);
}

// A dense onset followed by a long sparse decay: every later frame is aligned
// to 500 records, 160 MB of records from a 3.6 MB file, which the budget
// leaves room for.
TEST(GrowingFrames, DenseOnsetThenSparseDecayIsReadWhole) {
    std::vector<std::vector<double>> onset, decay;
    for (int i = 0; i < 500; ++i) onset.push_back({double(i + 1), 100.0 + i, 0.1, 0.0});
    for (int i = 0; i < 20; ++i) decay.push_back({double(i + 1), 100.0 + i, 0.05, 0.0});
    std::string file = SdifHeader() + SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", onset)});
    for (int k = 1; k <= 10000; ++k)
        file += SdifFrame("1TRC", 0, 0.01 * k, {TrcMatrix("1TRC", decay)});
    LimitedRun r = Convert({Save("onset-decay.sdif", file)}, 60);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    size_t decayFrames = 0;
    for (size_t at = r.out.find("\t20\n"); at != std::string::npos;
         at = r.out.find("\t20\n", at + 1))
        ++decayFrames;
    EXPECT_EQ(decayFrames, 10000u);
}
