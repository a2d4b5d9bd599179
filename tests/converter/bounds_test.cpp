// Hostile inputs for the converter, run as a child with a CPU limit and its
// peak memory and CPU time measured: headers that claim more than the file
// holds, files whose frames or tracks grow without end once each is aligned
// to the one before, and files that report errors without end.  Whatever a
// file says, a run stays within the memory budget its size gives (64 MiB
// plus 64 bytes per byte) beside the program's own footprint, under 10 s of
// CPU, and prints at most 10,000 diagnostics per opening of the file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
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

// What a launcher reports of one child.
struct ChildUsage {
    int status;         // exit status; -1 when killed (CPU limit, memory limit)
    long maxRssKb;      // peak resident memory
    double cpuSeconds;  // user and system time
};

struct LimitedRun : ChildUsage {
    std::string out, err;  // standard output and error
};

// Run words[2..] with standard output to words[0], standard error to
// words[1], at most cpuSeconds of CPU and, outside AddressSanitizer (which
// reserves terabytes of address space), 4 GiB of address space; under it the
// child dies past 4 GiB resident instead, its quarantine off.
ChildUsage Spawn(std::vector<std::string> words, int cpuSeconds) {
    pid_t pid = fork();
    if (pid == 0) {
        int out = open(words[0].c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(words[1].c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out < 0 || err < 0) _exit(126);
        dup2(out, 1);
        dup2(err, 2);
        rlimit cpu = {static_cast<rlim_t>(cpuSeconds), static_cast<rlim_t>(cpuSeconds)};
        setrlimit(RLIMIT_CPU, &cpu);
#ifdef BOUNDS_UNDER_ASAN
        const char* old = std::getenv("ASAN_OPTIONS");
        std::string options =
            std::string(old ? old : "") + ":hard_rss_limit_mb=4096:quarantine_size_mb=0";
        setenv("ASAN_OPTIONS", options.c_str(), 1);
#else
        rlimit as = {rlim_t(4) << 30, rlim_t(4) << 30};
        setrlimit(RLIMIT_AS, &as);
#endif
        std::vector<char*> argv;
        for (size_t i = 2; i < words.size(); ++i) argv.push_back(&words[i][0]);
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    ChildUsage usage{-1, 0, 0.0};
    int st = 0;
    rusage ru{};
    if (pid < 0 || wait4(pid, &st, 0, &ru) != pid) return usage;
    usage.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    usage.maxRssKb = ru.ru_maxrss;
    usage.cpuSeconds =
        ru.ru_utime.tv_sec + ru.ru_stime.tv_sec + (ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
    return usage;
}

// A child's peak memory counts the pages of the process it was forked from
// (the kernel keeps the larger across exec), and the test's own memory grows
// with the outputs it checks.  So the children are forked by a small process
// forked once, early, from the test: it takes requests (the CPU limit and
// the words for Spawn) through one pipe and answers through another.
ChildUsage Launch(const std::vector<std::string>& words, int cpuSeconds) {
    static FILE *toLauncher = nullptr, *fromLauncher = nullptr;
    if (!toLauncher) {
        int requests[2], replies[2];
        if (pipe(requests) != 0 || pipe(replies) != 0) return {-1, 0, 0.0};
        if (fork() == 0) {
            close(requests[1]);
            close(replies[0]);
            // A request: the CPU limit, then the words, each ended by a NUL,
            // then an empty word.
            FILE* in = fdopen(requests[0], "r");
            char* word = nullptr;
            size_t capacity = 0;
            int cpu = 0;
            while (fread(&cpu, sizeof cpu, 1, in) == 1) {
                std::vector<std::string> got;
                while (getdelim(&word, &capacity, '\0', in) > 1) got.push_back(word);
                const ChildUsage usage = Spawn(got, cpu);
                if (write(replies[1], &usage, sizeof usage) != sizeof usage) break;
            }
            _exit(0);
        }
        close(requests[0]);
        close(replies[1]);
        toLauncher = fdopen(requests[1], "w");
        fromLauncher = fdopen(replies[0], "r");
    }
    fwrite(&cpuSeconds, sizeof cpuSeconds, 1, toLauncher);
    for (const std::string& w : words) fwrite(w.c_str(), 1, w.size() + 1, toLauncher);
    fputc('\0', toLauncher);
    ChildUsage usage{-1, 0, 0.0};
    if (fflush(toLauncher) != 0 || fread(&usage, sizeof usage, 1, fromLauncher) != 1)
        return {-1, 0, 0.0};
    return usage;
}

// Run the converter on args under a CPU limit of cpuSeconds (see Spawn).
LimitedRun Convert(const std::vector<std::string>& args, int cpuSeconds) {
    const std::string outPath = TempPath("bounds.out"), errPath = TempPath("bounds.err");
    std::vector<std::string> words = {outPath, errPath, ConverterPath()};
    words.insert(words.end(), args.begin(), args.end());
    return LimitedRun{Launch(words, cpuSeconds), ReadFile(outPath), ReadFile(errPath)};
}

// ---- byte builders for headers that lie ----

std::string FrameHead(const char* sig, uint32_t size, double time, uint32_t stream,
                      uint32_t nbMatrix) {
    return FrameBytes(sig, stream, nbMatrix, "", time, size);
}

std::string MatrixHead(const char* sig, uint32_t type, uint32_t rows, uint32_t cols) {
    std::string s;
    PutMatrixHeader(s, sig, type, rows, cols);
    return s;
}

// A text matrix chunk (1NVT, 1TYP) whose row count claims rows bytes of text
// while the file holds only text.
std::string TextChunk(const char* sig, uint32_t rows, const std::string& text) {
    const std::string padding((8 - text.size() % 8) % 8, '\0');
    return FrameBytes(sig, 0xFFFFFFFDu, 1, MatrixHead(sig, 0x0301, rows, 1) + text + padding, -1.0);
}

std::string GoodTrcFrame(double time) {
    return SdifFrame("1TRC", 0, time, {TrcMatrix("1TRC", {{1, 440, 0.1, 0}, {2, 880, 0.05, 1}})});
}

std::string ChordHeader() { return SdifHeader() + ChordTypesChunk(); }

std::string GoodChordFrame(double time) {
    return SdifFrame("1MRK", 0, time,
                     {IntColumn("1BEG", {1}), TrcMatrix("1TRC", {{1, 261.6, 0.3, 0}})});
}

}  // namespace

// Frames are read matrix by matrix, so a selected frame never needs its
// Size: unknown (0xFFFFFFFF, left by a writer that could not patch it),
// beyond the file or too small, the frames print the same.
TEST(LyingHeaders, SizeFieldsAreNeededOnlyToSkip) {
    for (uint32_t size : {0xFFFFFFFFu, 0x7FFFFFF0u, 16u}) {
        SCOPED_TRACE(size);
        std::string file = SdifHeader();
        for (auto f : {GoodTrcFrame(0.0),
                       SdifFrame("1TRC", 0, 0.01, {TrcMatrix("1TRC", {{1, 441, 0.1, 0.5}})})}) {
            f.replace(4, 4,
                      std::string{char(size >> 24), char(size >> 16), char(size >> 8), char(size)});
            file += f;
        }
        LimitedRun r = Convert({SaveTemp("frame-size.sdif", file)}, 20);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
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

// The budget leaves room for files that grow within reason: 1000 partials
// carried through 1000 empty frames (32 MB of records from a 40 KB file).
TEST(GrowingFrames, ModestGrowthIsReadWhole) {
    LimitedRun r = Convert({SaveTemp("grow-modest.sdif", GrowingPartials(1000, 1000))}, 60);
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
    LimitedRun r = Convert({SaveTemp("onset-decay.sdif", file)}, 60);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    size_t decayFrames = 0;
    for (size_t at = r.out.find("\t20\n"); at != std::string::npos;
         at = r.out.find("\t20\n", at + 1))
        ++decayFrames;
    EXPECT_EQ(decayFrames, 10000u);
}

// ---- every hostile shape, within the budget ----

namespace {

#ifdef BOUNDS_UNDER_ASAN
// AddressSanitizer's allocator gives a small block a redzone at least as
// large as the block, and its shadow adds an eighth (its quarantine is off);
// its checks make the program up to 20 times slower.
constexpr long kAllocatorFactor = 2;
constexpr int kSlowdown = 20;
#else
constexpr long kAllocatorFactor = 1;
constexpr int kSlowdown = 1;
#endif

enum class Ends { kReadFails, kOpenFails, kConverts };

struct Shape {
    const char* name;
    std::function<std::string()> bytes;  // the file, under 1 MB
    Ends ends;
    // Lines "further diagnostics ... not printed": one for each of the run's
    // two openings of a file that reports without end.
    int cutLines = 0;
    // Standard output of a run that converts, frames or tracks.
    std::function<std::string(bool tracks)> out = nullptr;
    const char* selection = "";  // appended to the name after "::"
    double maxCpuSeconds = 10;
};

// A second frame, after the good one the probe reads, whose headers claim
// more than the 48 bytes the file still holds.
std::string LyingSecondFrame(const char* sig, uint32_t size, uint32_t nbMatrix, uint32_t type,
                             uint32_t rows, uint32_t cols) {
    return SdifHeader() + GoodTrcFrame(0.0) + FrameHead(sig, size, 0.1, 0, nbMatrix) +
           MatrixHead(sig, type, rows, cols) + std::string(32, '\0');
}

// Frames after which every other frame holds rows without columns.
std::string RowsWithoutColumns(const char* sig) {
    return SdifHeader() + SdifFrame(sig, 0, 0.0, {TrcMatrix(sig, {{1, 440, 0.1, 0}})}) +
           FrameHead(sig, 32, 0.1, 0, 1) + MatrixHead(sig, 0x0004, 1u << 22, 0);
}

// notes begun in the first frame and never ended, then frames empty frames
// through which they all sound.
std::string SoundingNotes(int notes, int frames) {
    std::vector<double> begins;
    std::vector<std::vector<double>> partials;
    for (int i = 0; i < notes; ++i) {
        begins.push_back(i + 1);
        partials.push_back({double(i + 1), 100.0 + i, 0.1, 0.0});
    }
    std::string file =
        ChordHeader() +
        SdifFrame("1MRK", 0, 0.0, {IntColumn("1BEG", begins), TrcMatrix("1TRC", partials)});
    for (int k = 1; k <= frames; ++k) file += SdifFrame("1MRK", 0, 0.01 * k, {});
    return file;
}

// One 1TRC frame of rows of Int1 cells (4 bytes a row) whose indices repeat
// every 100 rows: in one frame each repeated index opens a further track.
const int kInt1Rows = 200000;
std::string RepeatedIndices() {
    TestMatrix m{"1TRC", 0x0101, kInt1Rows, 4, {}};
    for (int i = 0; i < kInt1Rows; ++i) m.values.insert(m.values.end(), {i % 100 + 1.0, 50, 1, 0});
    return SdifHeader() + SdifFrame("1TRC", 0, 0.0, {m});
}

std::string Repeat(const std::string& line, int n) {
    std::string s;
    for (int i = 0; i < n; ++i) s += line;
    return s;
}

// Every row a partial of 50 Hz, amplitude 1, phase 0; as tracks, each one
// is continued by the second pass (it sounds in the first and last frame).
std::string RepeatedIndicesOut(bool tracks) {
    if (tracks) return Repeat(Repeat("0.000000\t50.000000\t0.000000\n", 2) + "\n\n", kInt1Rows);
    return "0.000000\t" + std::to_string(kInt1Rows) + "\n" +
           Repeat("50.000000\t1.000000\t0.000000\n", kInt1Rows) + "\n\n";
}

// The good frame (two partials) after text chunks full of errors; as
// tracks, each partial is continued by the second pass.
std::string GoodFrameOut(bool tracks) {
    if (tracks)
        return Repeat("0.000000\t440.000000\t0.000000\n", 2) + "\n\n" +
               Repeat("0.000000\t880.000000\t1.000000\n", 2) + "\n\n";
    return "0.000000\t2\n440.000000\t0.100000\t0.000000\n880.000000\t0.050000\t1.000000\n\n\n";
}

const std::string kManyWords = Repeat("x ", 100000);  // 100000 syntax errors

const Shape kShapes[] = {
    // Counts beyond the file's end fail the read without allocating.
    {"cols", [] { return LyingSecondFrame("1TRC", 64, 1, 0x0004, 1, 0x7FFFFFFF); },
     Ends::kReadFails},
    {"double-cells", [] { return LyingSecondFrame("1TRC", 64, 1, 0x0008, 0x7FFFFFFF, 0x7FFFFFFF); },
     Ends::kReadFails},
    {"matrices", [] { return LyingSecondFrame("1TRC", 16, 0xFFFFFFFFu, 0x0004, 1, 4); },
     Ends::kReadFails},
    // A frame that is not read is skipped by its Size: past the end, the skip
    // is an end of file.
    {"size", [] { return LyingSecondFrame("1HRM", 0x7FFFFFF0u, 1, 0x0004, 1, 4); },
     Ends::kReadFails},
    // Text chunks come before the first frame: a lying one fails the probe.
    {"1NVT",
     [] { return SdifHeader() + TextChunk("1NVT", 0x7FFFFFFF, "a\tb\n") + GoodTrcFrame(0.0); },
     Ends::kOpenFails},
    {"1TYP",
     [] {
         return SdifHeader() + TextChunk("1TYP", 0x7FFFFFFF, "1MTD X {a}\n") + GoodTrcFrame(0.0);
     },
     Ends::kOpenFails},
    // Rows without columns hold no bytes, so the file backs any count of
    // them: the columns read fail on the first row, before the count sizes
    // anything.
    {"rows-1TRC", [] { return RowsWithoutColumns("1TRC"); }, Ends::kReadFails},
    {"rows-1HRM", [] { return RowsWithoutColumns("1HRM"); }, Ends::kReadFails},
    {"rows-1PIC", [] { return RowsWithoutColumns("1PIC"); }, Ends::kReadFails},
    {"chord-ends",
     [] {
         return ChordHeader() + GoodChordFrame(0.0) + FrameHead("1MRK", 32, 0.5, 0, 1) +
                MatrixHead("1END", 0x0104, 1u << 22, 0);
     },
     Ends::kReadFails},
    {"chord-begins",
     [] {
         return ChordHeader() + GoodChordFrame(0.0) + FrameHead("1MRK", 48, 0.5, 0, 2) +
                MatrixHead("1BEG", 0x0104, 1u << 22, 0) + MatrixHead("1TRC", 0x0004, 1u << 22, 0);
     },
     Ends::kReadFails},
    // A row selection walks a matrix row by row: 2^30 empty rows must not
    // cost one step each.
    {"rows-selected",
     [] {
         return SdifHeader() + GoodTrcFrame(0.0) + FrameHead("1TRC", 32, 0.1, 0, 1) +
                MatrixHead("1TRC", 0x0004, 0x40000000, 0);
     },
     Ends::kReadFails, 0, nullptr, "_2-4", 1},
    // One frame of 25000 partials, then 15000 empty frames aligned to it:
    // 12 GB of records.
    {"grow-partials", [] { return GrowingPartials(25000, 15000); }, Ends::kReadFails},
    // 20000 notes sounding through 10000 frames: 4 GB of notes.
    {"grow-chords", [] { return SoundingNotes(20000, 10000); }, Ends::kReadFails},
    // 1000 notes through 4000 frames, a 116 KB file: 80 MB of notes, past
    // the budget before any track is built.
    {"sounding-notes", [] { return SoundingNotes(1000, 4000); }, Ends::kReadFails},
    // 200000 tracks of one point from an 800 KB file: each is given room for
    // what can come, not for a long track.
    {"repeated-indices", RepeatedIndices, Ends::kConverts, 0, RepeatedIndicesOut},
    // Type declarations (as a text matrix, then in the intermediate form) and
    // stream IDs (empty entries) that are one syntax error every byte or two.
    {"1TYP-errors",
     [] {
         return SdifHeader() + TextChunk("1TYP", uint32_t(kManyWords.size()), kManyWords) +
                GoodTrcFrame(0.0);
     },
     Ends::kConverts, 2, GoodFrameOut},
    {"1TYP-intermediate-errors",
     [] {
         return SdifHeader() + FrameBytes("1TYP", 0xFFFFFFFDu, 0, "{" + kManyWords + "}", -1.0) +
                GoodTrcFrame(0.0);
     },
     Ends::kConverts, 2, GoodFrameOut},
    {"1IDS-empty-entries",
     [] {
         return SdifHeader() + TextChunk("1IDS", 200000, std::string(200000, ';')) +
                GoodTrcFrame(0.0);
     },
     Ends::kConverts, 2, GoodFrameOut},
};

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// Peak memory of the program on files of one frame, partials and chord
// notes, in both layouts: what it takes before reading anything of note.
long BaselineKb() {
    static const long kb = [] {
        long most = 0;
        for (const std::string& bytes :
             {SdifHeader() + GoodTrcFrame(0.0), ChordHeader() + GoodChordFrame(0.0)}) {
            const std::string path = SaveTemp("baseline.sdif", bytes);
            most =
                std::max({most, Convert({path}, 20).maxRssKb, Convert({path, "-p"}, 20).maxRssKb});
        }
        return most;
    }();
    return kb;
}

}  // namespace

TEST(HostileShapes, EveryRunStaysWithinItsBudgetTimeAndDiagnostics) {
    for (const Shape& shape : kShapes) {
        const std::string bytes = shape.bytes();
        ASSERT_LT(bytes.size(), 1000000u) << shape.name;
        const std::string path = SaveTemp(std::string(shape.name) + ".sdif", bytes);
        const std::string input = *shape.selection ? path + "::" + shape.selection : path;
        const long budgetKb = 64 * 1024 + long(64 * bytes.size() / 1024);
        for (bool tracks : {false, true}) {
            SCOPED_TRACE(std::string(shape.name) + (tracks ? " -p" : ""));
            std::vector<std::string> args = {input};
            if (tracks) args.push_back("-p");
            LimitedRun r = Convert(args, 2 * 10 * kSlowdown);
            switch (shape.ends) {
                case Ends::kReadFails:
                    EXPECT_EQ(r.status, 1);
                    EXPECT_TRUE(r.out.empty()) << r.out.size() << " bytes";
                    EXPECT_EQ(r.err, "error reading file " + input + "!\n");
                    break;
                case Ends::kOpenFails:
                    EXPECT_EQ(r.status, 1);
                    EXPECT_EQ(r.out, "");
                    EXPECT_EQ(r.err, "Kv2: cannot open file " + input + " \nCan't open file " +
                                         input + "\n");
                    break;
                case Ends::kConverts:
                    EXPECT_EQ(r.status, 0);
                    EXPECT_TRUE(r.out == shape.out(tracks)) << r.out.size() << " bytes";
                    break;
            }
            // 10000 diagnostics and the line that cuts them, per opening; a
            // diagnostic is composed in 4096 bytes at most.
            const size_t cut =
                Count(r.err, "*Sdif* further diagnostics for this file are not printed\n");
            EXPECT_EQ(cut, size_t(shape.cutLines));
            if (shape.cutLines > 0) {
                EXPECT_EQ(Count("\n" + r.err, "\n*Sdif* "), cut * 10001);
                EXPECT_LE(r.err.size(), cut * 10001 * 4096);
            }
            EXPECT_LT(r.cpuSeconds, shape.maxCpuSeconds * kSlowdown);
            EXPECT_LT(r.maxRssKb, kAllocatorFactor * budgetKb + BaselineKb()) << r.maxRssKb;
        }
        std::remove(path.c_str());
    }
    // Tens of MB of diagnostics: not left behind.
    std::remove(TempPath("bounds.err").c_str());
}
