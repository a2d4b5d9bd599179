// Golden tests of sdif2columns, run as a child process on files built byte by
// byte here.  Every expected text was worked out by hand from the frame
// alignment and track-building rules, not copied from the program.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "Kv2Io.h"
#include "PartialsContainer.h"
#include "TestSupport.h"

using namespace testsupport;

namespace {

RunResult Convert(std::vector<std::string> args) {
    args.insert(args.begin(), ConverterPath());
    return RunProgram(args);
}

std::string Repeat(const std::string& s, int n) {
    std::string out;
    while (n-- > 0) out += s;
    return out;
}

// Three 1TRC frames in stream 0: partial 2 vanishes after the first frame and
// partial 4 appears in the third.
std::string ExampleFile() {
    static const std::string path = SaveTemp(
        "ex.sdif",
        SdifHeader() +
            SdifFrame(
                "1TRC", 0, 0.00,
                {TrcMatrix("1TRC",
                           {{1, 440, 0.1, 0.0}, {2, 880, 0.05, 1.0}, {3, 1320, 0.02, 2.0}})}) +
            SdifFrame("1TRC", 0, 0.01,
                      {TrcMatrix("1TRC", {{1, 441, 0.1, 0.5}, {3, 1321, 0.02, 2.5}})}) +
            SdifFrame(
                "1TRC", 0, 0.02,
                {TrcMatrix("1TRC",
                           {{1, 442, 0.1, 1.0}, {3, 1322, 0.02, 3.0}, {4, 1760, 0.01, -1.0}})}));
    return path;
}

const char* const kExampleFrames =
    "0.000000\t3\n"
    "440.000000\t0.100000\t0.000000\n"
    "880.000000\t0.050000\t1.000000\n"
    "1320.000000\t0.020000\t2.000000\n"
    "\n\n"
    "0.010000\t2\n"
    "441.000000\t0.100000\t0.500000\n"
    "0.000000\t0.020000\t2.500000\n"
    "\n\n"
    "0.020000\t3\n"
    "442.000000\t0.100000\t1.000000\n"
    "1760.000000\t0.010000\t-1.000000\n"
    "1322.000000\t0.020000\t3.000000\n"
    "\n\n";

const char* const kExampleTracks =
    "0.000000\t440.000000\t0.000000\n"
    "0.010000\t441.000000\t0.500000\n"
    "0.020000\t442.000000\t1.000000\n"
    "0.000000\t440.000000\t0.000000\n"
    "0.010000\t441.000000\t0.500000\n"
    "0.020000\t442.000000\t1.000000\n"
    "\n\n"
    "0.000000\t880.000000\t1.000000\n"
    "\n\n"
    "0.000000\t1320.000000\t2.000000\n"
    "0.010000\t1321.000000\t2.500000\n"
    "0.020000\t1322.000000\t3.000000\n"
    "0.000000\t1320.000000\t2.000000\n"
    "0.010000\t1321.000000\t2.500000\n"
    "0.020000\t1322.000000\t3.000000\n"
    "\n\n"
    "0.020000\t1760.000000\t-1.000000\n"
    "\n\n"
    "0.000000\t880.000000\t1.000000\n"
    "\n\n"
    "0.020000\t1760.000000\t-1.000000\n"
    "\n\n";

void ExpectOutput(const RunResult& r, const std::string& out, const std::string& err = "",
                  int status = 0) {
    EXPECT_EQ(r.status, status);
    EXPECT_EQ(r.out, out);
    EXPECT_EQ(r.err, err);
}

}  // namespace

// The example file in every layout: column lists, separators and newlines,
// malformed lists and options falling back to the default, selections after
// the file name; and runs that name no input.
TEST(ConverterLayouts, ExampleFileInEveryLayout) {
    const std::string ex = ExampleFile();
    std::string percent = kExampleFrames;  // "-sep %d -newline |x": first characters only
    for (char& c : percent) c = c == '\t' ? '%' : c == '\n' ? '|' : c;
    const std::string partialLines =
        "440.000000\n880.000000\n1320.000000\n441.000000\n0.000000\n"
        "442.000000\n1760.000000\n1322.000000\n";
    const std::string one = "1\n\n\n\n", six = "6\n" + Repeat("\n", 6) + "\n\n";
    const std::string noInput = "No input file specified\n";
    const struct {
        std::vector<std::string> args;
        std::string out, err = "";
        int status = 0;
    } cases[] = {
        {{ex}, kExampleFrames},
        {{"-i", ex}, kExampleFrames},
        {{"-p", ex}, kExampleTracks},
        {{ex, "-p"}, kExampleTracks},
        {{"-O", "s,n,f", "-sep", ",", ex},
         "0.000000,3,\n440.000000\n880.000000\n1320.000000\n"
         "0.010000,2,\n441.000000\n0.000000\n"
         "0.020000,3,\n442.000000\n1760.000000\n1322.000000\n"},
        // s is last: the header ends without a separator; on partial lines f
        // is followed by the separator although s prints nothing there.
        {{"-O", "f,s", ex},
         "0.000000\n440.000000\t\n880.000000\t\n1320.000000\t\n"
         "0.010000\n441.000000\t\n0.000000\t\n"
         "0.020000\n442.000000\t\n1760.000000\t\n1322.000000\t\n"},
        // No header column: no header lines and no empty lines between
        // frames; empty tokens are dropped.
        {{"-O", "f", ex}, partialLines},
        {{"-O", "t,,f", ex}, partialLines},
        // t shows nothing on frames, but a partial line is written all the same.
        {{"-O", "t", "-O", "t", ex}, Repeat("\n", 8)},
        {{"-O", "n,a,p", "-sep", ";", ex},
         "3;\n0.100000;0.000000\n0.050000;1.000000\n0.020000;2.000000\n"
         "2;\n0.100000;0.500000\n0.020000;2.500000\n"
         "3;\n0.100000;1.000000\n0.010000;-1.000000\n0.020000;3.000000\n"},
        {{"-O", "tf", ex}, kExampleFrames},
        {{"-O", "T", ex}, kExampleFrames},
        {{"-px", ex}, kExampleFrames},
        {{"-", "--verbose", ex, "second-input-ignored"}, kExampleFrames},
        {{ex, "-sep"}, kExampleFrames},
        {{ex, "-O"}, kExampleFrames},
        {{"-sep", "%d", "-newline", "|x", ex}, percent},
        // Tracks: one empty line per point under the count; a header of
        // start, duration and count over points of time and amplitude.
        {{"-p", "-O", "n", ex}, six + one + six + one + one + one},
        {{"-p", "-O", "s,d,n,t,a", "-sep", " ", ex},
         "0.000000 0.020000 6 \n"
         "0.000000 0.100000\n0.010000 0.100000\n0.020000 0.100000\n"
         "0.000000 0.100000\n0.010000 0.100000\n0.020000 0.100000\n\n\n"
         "0.000000 0.000000 1 \n0.000000 0.050000\n\n\n"
         "0.000000 0.020000 6 \n"
         "0.000000 0.020000\n0.010000 0.020000\n0.020000 0.020000\n"
         "0.000000 0.020000\n0.010000 0.020000\n0.020000 0.020000\n\n\n"
         "0.020000 0.000000 1 \n0.020000 0.010000\n\n\n"
         "0.000000 0.000000 1 \n0.000000 0.050000\n\n\n"
         "0.020000 0.000000 1 \n0.020000 0.010000\n\n\n"},
        // Selections after the name narrow or contradict the format.
        {{ex + "::#1"}, "", "Can't open file " + ex + "::#1\n", 1},
        {{ex + "::/1HRM"},
         "",
         "Kv2::OpenFile::ERROR:: invalid matrix selection in file " + ex + "::/1HRM\n"},
        // Without its phase column the matrix cannot be read as partials.
        {{ex + "::.2-3"}, "", "error reading file " + ex + "::.2-3!\n", 1},
        // Only the second frame, with nothing to align it to.
        {{ex + "::@0.005-0.015"},
         "0.010000\t2\n441.000000\t0.100000\t0.500000\n1321.000000\t0.020000\t2.500000\n\n\n"},
        // No input: an option whose argument is missing counts as absent.
        {{}, "", noInput, 1},
        {{"-help"}, "", noInput, 1},
        {{"-p", "-O", "f", "--help"}, "", noInput, 1},
        {{"-i"}, "", noInput, 1},
    };
    for (const auto& c : cases) {
        std::string line;
        for (const std::string& a : c.args) line += a + " ";
        SCOPED_TRACE(line);
        ExpectOutput(Convert(c.args), c.out, c.err, c.status);
    }
}

TEST(ConverterOptions, OutputFileReceivesTheTextAndStandardOutputStaysEmpty) {
    const std::string dst = SaveTemp("frames.txt", "old content that must be truncated away");
    ExpectOutput(Convert({"-o", dst, ExampleFile()}), "");
    EXPECT_EQ(ReadFile(dst), kExampleFrames);

    const std::string bad = "/nonexistent-dir/out.txt";
    ExpectOutput(Convert({ExampleFile(), "-o", bad}), "", "error reading file " + bad + "!\n", 1);
}

// Writing over the input would destroy it before it is read: every spelling
// of the input's own file is refused as a destination that cannot be opened,
// and the input keeps its bytes.
TEST(ConverterOptions, OutputNamingTheInputIsRefusedAndTheInputKept) {
    const std::string dir = TempPath("same-file");
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    ASSERT_EQ(mkdir((dir + "/sub").c_str(), 0755), 0);
    const std::string bytes = ReadFile(ExampleFile());
    WriteFile(dir + "/in.sdif", bytes);
    ASSERT_EQ(link((dir + "/in.sdif").c_str(), (dir + "/hard.sdif").c_str()), 0);
    ASSERT_EQ(symlink("in.sdif", (dir + "/sym.sdif").c_str()), 0);
    const struct {
        std::string input, output;
    } refused[] = {{"in.sdif", "in.sdif"},        {"in.sdif", "./in.sdif"},
                   {"in.sdif", "hard.sdif"},      {"in.sdif", "sym.sdif"},
                   {"sym.sdif", "in.sdif"},       {"in.sdif::#0", "in.sdif"},
                   {dir + "/in.sdif", "in.sdif"}, {"in.sdif", "sub/../in.sdif"}};
    RunOptions inDir;
    inDir.cwd = dir;
    for (const auto& c : refused) {
        SCOPED_TRACE(c.input + " -o " + c.output);
        RunResult r = RunProgram({ConverterPath(), c.input, "-o", c.output}, inDir);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "error reading file " + c.output + "!\n");
        EXPECT_EQ(ReadFile(dir + "/in.sdif"), bytes);
    }

    // The same name in another folder is another file.
    WriteFile(dir + "/sub/in.sdif", "to be replaced");
    ExpectOutput(RunProgram({ConverterPath(), "in.sdif", "-o", "sub/in.sdif"}, inDir), "");
    EXPECT_EQ(ReadFile(dir + "/sub/in.sdif"), kExampleFrames);
    EXPECT_EQ(ReadFile(dir + "/in.sdif"), bytes);
}

// A full disk fails the run, whether the text goes to a file or to standard
// output, and whether it fails in the middle (the large file) or only at the
// final flush (the small one); a reader that went away is not reported.
TEST(ConverterOptions, FailedWritesFailTheRunAndAClosedPipeIsSilent) {
    for (const std::string& input : {ExampleFile(), DataPath("saw-s0.sdif")}) {
        SCOPED_TRACE(input);
        ExpectOutput(Convert({input, "-o", "/dev/full"}), "", "error reading file /dev/full!\n", 1);
        RunOptions full;
        full.out = StdoutTo::kDevFull;
        RunResult r = RunProgram({ConverterPath(), input}, full);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "error reading file stdout!\n");

        RunOptions closed;
        closed.out = StdoutTo::kClosedPipe;
        r = RunProgram({ConverterPath(), input}, closed);
        EXPECT_EQ(r.signal, SIGPIPE);
        EXPECT_EQ(r.err, "");
        closed.ignoreSigpipe = true;
        r = RunProgram({ConverterPath(), input, "-p"}, closed);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "");
    }
}

// The track layout prints what the library's two frames-to-tracks passes
// build, without building the second.  Random frames with indices repeated
// within a frame, returning after gaps and present at both ends cover the
// ways a second pass can continue or reopen a track; the reference is the
// library itself, running both passes.
TEST(ConverterTracks, TrackLayoutIsTheLibrarysTwoPassesOnRandomFrames) {
    Kv2::Kv2InitCond();
    std::mt19937 rng(20261125);
    for (int trial = 0; trial < 40; ++trial) {
        SCOPED_TRACE(trial);
        std::string bytes = SdifHeader();
        const int nFrames = 1 + static_cast<int>(rng() % 7);
        for (int f = 0; f < nFrames; ++f) {
            std::vector<std::vector<double>> rows;
            const int n = static_cast<int>(rng() % 6);
            for (int r = 0; r < n; ++r)
                rows.push_back({double(1 + rng() % 4), double(100 + rng() % 900),
                                (1 + rng() % 9) / 10.0, double(rng() % 7) - 3.0});
            bytes += SdifFrame("1TRC", 0, f * 0.01, {TrcMatrix("1TRC", rows)});
        }
        const std::string path = TempPath("random-tracks.sdif");
        WriteFile(path, bytes);

        Quorlin::PartialsContainer<Kv2::PartialSet> container;
        Kv2::Kv2File file;
        ASSERT_TRUE(file.Open(path.c_str(), Kv2::KV_READ, Kv2::KV_FORMAT_SDIF_TRC, -1, nullptr));
        ASSERT_TRUE(container.ReadFromFile(file));
        container.UpdatePartials();
        std::string expected;
        char line[128];
        for (const auto& track : container.GetPartials()) {
            for (const auto& point : track.points) {
                std::snprintf(line, sizeof line, "%f\t%f\t%f\n", point.time,
                              double(point.param.freq), double(point.param.phase));
                expected += line;
            }
            expected += "\n\n";
        }
        ExpectOutput(Convert({"-p", path}), expected);
    }
}

TEST(ConverterErrors, UnreadableInputsFailWithTheirMessages) {
    const std::string text = SaveTemp("notes.txt", "this is not an SDIF file at all\n");
    ExpectOutput(Convert({text}), "",
                 "Kv2: cannot open file " + text + " \nCan't open file " + text + "\n", 1);
    // A truncated file passes the probe and fails the reading.
    const std::string bytes = ReadFile(ExampleFile());
    const std::string cut = SaveTemp("cut.sdif", bytes.substr(0, bytes.size() - 20));
    ExpectOutput(Convert({cut}), "", "error reading file " + cut + "!\n", 1);
    // Standard input can be probed but not read a second time: opening it
    // again for reading fails on what is left of the stream.
    ExpectOutput(RunProgram({ConverterPath(), "-i", "-"}, bytes), "", "error reading file -!\n", 1);
}

// Harmonic rows without a positive index print as zeros; peaks are not
// counted as partials but are tracked by row number, both tracks running
// through the file twice.
TEST(ConverterFrames, HarmonicAndPeakFrames) {
    const std::string hrm = SaveTemp(
        "hrm.sdif",
        SdifHeader() + SdifFrame("1HRM", 0, 0.25,
                                 {TrcMatrix("1HRM", {{0, 100, 0.5, 0.125}, {2, 200, 0.25, 0.5}})}));
    ExpectOutput(Convert({hrm}),
                 "0.250000\t2\n200.000000\t0.250000\t0.500000\n"
                 "0.000000\t0.000000\t0.000000\n\n\n");
    const TestMatrix m{"1PIC", 0x0004, 2, 4, {100, 0.5, 0.125, 1, 200, 0.25, 0.5, 1}};
    const std::string pic = SaveTemp(
        "pic.sdif", SdifHeader() + SdifFrame("1PIC", 0, 0.0, {m}) + SdifFrame("1PIC", 0, 0.5, {m}));
    ExpectOutput(Convert({pic}), "0.000000\t0\n\n\n0.500000\t0\n\n\n");
    const std::string t0 = "0.000000\t100.000000\t0.125000\n0.500000\t100.000000\t0.125000\n";
    const std::string t1 = "0.000000\t200.000000\t0.500000\n0.500000\t200.000000\t0.500000\n";
    ExpectOutput(Convert({"-p", pic}), t0 + t0 + "\n\n" + t1 + t1 + "\n\n");
}

// A chord sequence: notes 1 and 2 begin at 0 s, note 1 ends at 1 s, note 2 at
// 2 s.
TEST(ConverterChords, FramesCarryTheSoundingNotesAndTracksAreOneLineEach) {
    const std::string path =
        SaveTemp("chord.sdif",
                 SdifHeader() + ChordTypesChunk() +
                     SdifFrame("1MRK", 0, 0.0,
                               {IntColumn("1BEG", {1, 2}),
                                TrcMatrix("1TRC", {{1, 100, 0.5, 0.125}, {2, 200, 0.25, 0.25}})}) +
                     SdifFrame("1MRK", 0, 1.0, {IntColumn("1END", {1})}) +
                     SdifFrame("1MRK", 0, 2.0, {IntColumn("1END", {2})}));
    // At 1 s note 2 is still sounding: aligned to the first frame it takes that
    // frame's values with its phase advanced by 200 * (0 - 1) without 2 pi;
    // note 1 ends and keeps the values it began with.  At 2 s note 2 ends with
    // the values it had at 1 s.
    ExpectOutput(
        Convert({path}),
        "0.000000\t2\n100.000000\t0.500000\t0.125000\n200.000000\t0.250000\t0.250000\n\n\n"
        "1.000000\t2\n100.000000\t0.500000\t0.125000\n200.000000\t0.250000\t-199.750000\n\n\n"
        "2.000000\t1\n200.000000\t0.250000\t-199.750000\n\n\n");
    // Note 2 is open at the end: the second pass continues it; note 1 is
    // made again.
    const std::string n1 = "0.000000\t1.000000\t100.000000\t0.500000\t0.125000\n";
    const std::string n2 = "0.000000\t2.000000\t200.000000\t0.250000\t0.250000\n";
    ExpectOutput(Convert({"-p", path}), n1 + n2 + n1);
    ExpectOutput(Convert({"-p", "-O", "d,f,n", path}),
                 "1.000000\t100.000000\t\n2.000000\t200.000000\t\n1.000000\t100.000000\t\n");
    ExpectOutput(Convert({"-p", "-O", "n", path}), "\n\n\n");
}
