// sdiftool run as a child process on the real files of tests/data and on
// files built byte by byte here.  Expected values come from the bytes, read
// by the test's own decoders, or from the files' construction.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

using namespace testsupport;

namespace {

RunResult Tool(std::vector<std::string> args, const RunOptions& options = {}) {
    args.insert(args.begin(), SDIFTOOL_PATH);
    return RunProgram(args, options);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> Split(const std::string& line, char sep) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string f; std::getline(in, f, sep);) fields.push_back(f);
    return fields;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The files of a folder, for checking that nothing was left behind.
std::set<std::string> Listing(const std::string& dir) {
    std::set<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.insert(e->d_name);
        closedir(d);
    }
    return names;
}

std::string FreshDir(const std::string& name) {
    const std::string dir = TempPath(name);
    mkdir(dir.c_str(), 0755);
    return dir;
}

// A chord sequence: A (index 1, 220 Hz) and B (2, 330 Hz) begin at 0; A ends
// at 0.5 where C (3, 440 Hz) begins; B ends at 1, C never.
std::string ChordFile() {
    return SdifHeader() + ChordTypesChunk() +
           SdifFrame("1MRK", 0, 0.0,
                     {IntColumn("1BEG", {1, 2}),
                      TrcMatrix("1TRC", {{1, 220, 0.25, 0}, {2, 330, 0.125, 0.5}})}) +
           SdifFrame("1MRK", 0, 0.5,
                     {IntColumn("1END", {1}), IntColumn("1BEG", {3}),
                      TrcMatrix("1TRC", {{3, 440, 0.1, 1}})}) +
           SdifFrame("1MRK", 0, 1.0, {IntColumn("1END", {2})});
}

}  // namespace

TEST(SdiftoolInfo, StreamOneFileIsDescribedAndItsRemedyWorks) {
    const std::string path = DataPath("tone-s1.sdif");
    const std::vector<RawFrame> raw = RawFrames(ReadFile(path));
    const RunResult r = Tool({"info", path});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    const std::vector<std::string> lines = Lines(r.out);
    ASSERT_GE(lines.size(), 10u);
    EXPECT_EQ(lines[0], path);
    EXPECT_EQ(lines[1], "  SDIF format version 3, types version 1");
    EXPECT_EQ(lines[2], "  name-value tables: none");
    EXPECT_EQ(lines[3], "  declared types: none");
    EXPECT_EQ(lines[4], "  stream IDs: none");
    // Every frame of the file is a 1TRC frame of stream 1 with one matrix of
    // 10 rows and 4 Float4 columns.
    for (const RawFrame& f : raw) {
        ASSERT_EQ(f.id, 1u);
        ASSERT_EQ(f.matrices.size(), 1u);
        ASSERT_EQ(f.matrices[0].rows, 10u);
    }
    const std::string head =
        "  stream 1, 1TRC: " + std::to_string(raw.size()) + " frames, time 0 to ";
    ASSERT_EQ(lines[5].substr(0, head.size()), head);
    EXPECT_EQ(std::strtod(lines[5].c_str() + head.size(), nullptr), raw.back().time);
    EXPECT_EQ(lines[6], "    matrix 1TRC: float4, rows 10, columns 4");
    EXPECT_EQ(lines[7],
              "  sdif2columns reads nothing from this file: it reads stream 0 only, and the "
              "partial data (1TRC frames, partial tracks) is in stream 1.");
    const std::string copy = DataPath("tone-s1-s0.sdif");
    EXPECT_EQ(lines[9], "    sdiftool restream --stream 1:0 " + path + " " + copy);
    EXPECT_EQ(lines[10], "    sdif2columns " + copy);

    // The remedy as printed, into a scratch folder.
    const std::string out = TempPath("tone-s0.sdif");
    EXPECT_EQ(Tool({"restream", "--stream", "1:0", path, out}).status, 0);
    const RunResult converted = RunProgram({ConverterPath(), out});
    EXPECT_EQ(converted.status, 0);
    EXPECT_EQ(Lines(converted.out).size(), raw.size() * (1 + 10 + 2));
    EXPECT_TRUE(Contains(Tool({"info", out}).out,
                         "sdif2columns reads stream 0: " + std::to_string(raw.size()) +
                             " 1TRC frames, partial tracks."));
}

TEST(SdiftoolInfo, TextChunksAndUndeclaredTypesAreListed) {
    std::string s = SdifHeader();
    s += FrameBytes("1NVT", 0xFFFFFFFD, 1,
                    TextMatrixBytes("1NVT", std::string("TableName\tTest\nCreator\tme\n\0", 28)));
    s += FrameBytes("1TYP", 0xFFFFFFFF, 1,
                    TextMatrixBytes("1TYP", std::string("1MTD XMAT {a, b}\n\0", 18)));
    s += FrameBytes("1IDS", 0xFFFFFFFE, 1,
                    TextMatrixBytes("1IDS", std::string("1 src:tree;\n\0", 13)));
    s += SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}})});
    const size_t unknownFrame = s.size();
    s += SdifFrame(
        "XFRM", 3, 0.5,
        {TestMatrix{"XMAT", 0x0008, 2, 2, {1, 2, 3, 4}}, TestMatrix{"XUND", 0x0004, 1, 1, {1}}});
    s += SdifFrame("1TRC", 0, 0.25, {TrcMatrix("1TRC", {{1, 441, 0.5, 0}, {2, 880, 0.1, 0}})});
    const std::string path = SaveTemp("chunks.sdif", s);
    const RunResult r = Tool({"info", path});
    EXPECT_EQ(r.status, 0);
    const std::string& t = r.out;
    EXPECT_TRUE(Contains(t, "  name-value table 1:\n    Creator: me\n    TableName: Test\n")) << t;
    EXPECT_TRUE(Contains(t, "  declared types:\n    1MTD XMAT {a, b")) << t;
    EXPECT_TRUE(Contains(t, "  stream IDs:\n    1 src:tree\n")) << t;
    EXPECT_TRUE(Contains(t,
                         "  stream 0, 1TRC: 2 frames, time 0 to 0.25\n"
                         "    matrix 1TRC: float4, rows 1-2, columns 4\n"
                         "  stream 3, XFRM: 1 frame, time 0.5 (type not declared)\n"
                         "    matrix XMAT: float8, rows 2, columns 2\n"
                         "    matrix XUND: float4, rows 1, columns 1 (type not declared)\n"))
        << t;
    EXPECT_TRUE(Contains(t,
                         "sdif2columns cannot read this file: the SDIF library stops at the "
                         "XFRM frame at byte " +
                             std::to_string(unknownFrame) +
                             ", whose type is neither declared in the file nor predefined."))
        << t;
}

TEST(SdiftoolInfo, VerdictAgreesWithWhatTheConverterDoes) {
    const std::string trc = SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}})});
    const std::string trc1 = SdifFrame("1TRC", 1, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}})});
    const TestMatrix odd{"XUND", 0x0004, 1, 1, {1}};
    const struct {
        const char* name;
        std::string bytes;
        bool reads;
    } cases[] = {
        {"plain", trc, true},
        {"stream1", trc1, false},
        {"fq0", SdifFrame("1FQ0", 0, 0.0, {TestMatrix{"1FQ0", 0x0004, 1, 1, {100}}}), false},
        {"unknown-frame-after", trc + SdifFrame("XFRM", 2, 1.0, {}), false},
        {"unknown-matrix-in-data",
         SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}}), odd}), false},
        {"unknown-matrix-elsewhere", trc + SdifFrame("1FQ0", 2, 0.0, {odd}), true},
        {"unknown-matrix-before-in-other-stream", SdifFrame("1FQ0", 2, 0.0, {odd}) + trc, true},
        {"unknown-matrix-before-in-stream-0", SdifFrame("1FQ0", 0, 0.0, {odd}) + trc, false},
        {"unknown-matrix-after-decision", trc + SdifFrame("1FQ0", 0, 0.5, {odd}), true},
        {"chords", ChordFile().substr(16), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = SaveTemp(std::string(c.name) + ".sdif", SdifHeader() + c.bytes);
        const std::string info = Tool({"info", path}).out;
        EXPECT_EQ(Contains(info, "  sdif2columns reads stream 0: "), c.reads) << info;
        EXPECT_EQ(RunProgram({ConverterPath(), path}).status == 0, c.reads);
    }
}

TEST(SdiftoolInfo, BrokenFileIsDescribedUpToWhereItBreaks) {
    // A frame header counts once its 24 bytes are there.
    const std::string whole = ReadFile(DataPath("saw-s0.sdif"));
    const std::string cut = whole.substr(0, 1000);
    size_t headers = 0;
    for (const RawFrame& f : RawFrames(whole)) headers += f.at + 24 <= cut.size();
    const std::string path = SaveTemp("cut.sdif", cut);
    for (const std::string& name : {path, std::string("-")}) {
        SCOPED_TRACE(name);
        RunOptions in;
        if (name == "-") in.stdinBytes = cut;
        const RunResult r = Tool({"info", name}, in);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "sdiftool info: " + name + ": truncated at byte 1000\n");
        EXPECT_TRUE(Contains(r.out, "  stream 0, 1TRC: " + std::to_string(headers) + " frames"));
        EXPECT_TRUE(Contains(r.out,
                             "  sdif2columns cannot read this file: it is truncated at "
                             "byte 1000.\n"));
    }
    // Other files on the same line are still described.
    const RunResult r = Tool({"info", TempPath("none.sdif"), DataPath("saw-s0.sdif")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "sdiftool info: " + TempPath("none.sdif") + ": No such file or directory\n");
    EXPECT_TRUE(Contains(r.out, "sdif2columns reads stream 0: "));
}

TEST(SdiftoolRestream, OnlyTheStreamWordsOfMovedFramesChange) {
    // Streams 0 and 1 swap.  The name-value chunk (in stream 0, as some
    // writers leave it), an undeclared frame and a frame of unknown size,
    // walked matrix by matrix, are all copied.
    std::string s = SdifHeader();
    s += FrameBytes("1NVT", 0, 1, TextMatrixBytes("1NVT", std::string("a\tb\n\0", 5)));
    std::map<size_t, uint32_t> streamWords;  // offset -> stream expected in the copy
    const auto add = [&](const std::string& frame, uint32_t to) {
        streamWords[s.size() + 16] = to;
        s += frame;
    };
    add(SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}})}), 1);
    std::string body;
    PutMatrixHeader(body, "1TRC", 0x0004, 1, 4);
    for (float v : {1.0f, 441.0f, 0.5f, 0.0f}) PutF32(body, v);
    PutMatrixHeader(body, "XMAT", 0x0102, 1, 3);
    body += std::string("\x01\x02\x03\x04\x05\x06\0\0", 8);
    add(FrameBytes("1TRC", 1, 2, body, 0.5, 0xFFFFFFFF), 0);
    add(SdifFrame("XFRM", 1, 0.75, {}), 0);
    add(SdifFrame("1TRC", 2, 0.0, {}), 2);
    const std::string in = SaveTemp("two.sdif", s);
    const std::string out = TempPath("two-swapped.sdif");
    const RunResult r = Tool({"restream", "--stream", "0:1", "--stream", "1:0", in, out});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, out + ": 1 frames moved from stream 0 to stream 1\n" + out +
                         ": 2 frames moved from stream 1 to stream 0\n");
    std::string expected = s;
    for (const auto& w : streamWords) {
        std::string word;
        PutU32(word, w.second);
        expected.replace(w.first, 4, word);
    }
    EXPECT_EQ(ReadFile(out), expected);
}

TEST(SdiftoolRestream, RefusalsLeaveNoOutputBehind) {
    const std::string both = SdifHeader() +
                             SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}})}) +
                             SdifFrame("1TRC", 1, 0.0, {TrcMatrix("1TRC", {{1, 440, 0.5, 0}})});
    const struct {
        const char* name;
        std::string bytes;
        std::vector<std::string> moves;
        bool outIsIn;
        std::string message;  // after "sdiftool restream: "
    } cases[] = {
        {"merge",
         both,
         {"1:0"},
         false,
         "stream 0 of {in} already holds 1 frames: moving stream 1 there would merge two streams"},
        {"absent", both, {"4:5"}, false, "{in} has no frame in stream 4"},
        {"twice", both, {"1:2", "1:3"}, false, "stream 1 is moved twice"},
        {"cut", both.substr(0, 60), {"0:1"}, false, "{in}: truncated at byte 60"},
        {"self", both, {"0:2"}, true, "{out} is the input file: name another output"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string dir = FreshDir(std::string("refuse-") + c.name);
        const std::string in = dir + "/in.sdif";
        WriteFile(in, c.bytes);
        std::string out = dir + "/out.sdif";
        if (c.outIsIn) {
            ASSERT_EQ(symlink("in.sdif", out.c_str()), 0);
        }
        std::vector<std::string> args = {"restream"};
        for (const std::string& m : c.moves) args.insert(args.end(), {"--stream", m});
        args.insert(args.end(), {in, out});
        const RunResult r = Tool(args);
        std::string message = c.message;
        for (size_t at; (at = message.find("{in}")) != std::string::npos;)
            message.replace(at, 4, in);
        for (size_t at; (at = message.find("{out}")) != std::string::npos;)
            message.replace(at, 5, out);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "sdiftool restream: " + message + "\n");
        EXPECT_EQ(ReadFile(in), c.bytes);
        const std::set<std::string> left = c.outIsIn ? std::set<std::string>{"in.sdif", "out.sdif"}
                                                     : std::set<std::string>{"in.sdif"};
        EXPECT_EQ(Listing(dir), left);
    }
}

TEST(SdiftoolTracks, ValuesReadBackAsStoredAndEachTrackComesOnce) {
    const std::string path = DataPath("tone-s1.sdif");
    const std::string bytes = ReadFile(path);
    const std::vector<RawFrame> raw = RawFrames(bytes);
    const RawMatrix& first = raw[0].matrices[0];
    const RunResult r = Tool({"tracks", path});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err,
              "sdiftool tracks: " + path + ": reading stream 1, the first with partial data\n");
    // Every frame holds every index once, so each index is one track running
    // through all frames, numbered in the first frame's row order.
    const std::vector<std::string> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 1 + raw.size() * first.rows);
    EXPECT_EQ(lines[0], "track,index,time,frequency,amplitude,phase");
    for (size_t i = 1; i < lines.size(); ++i) {
        SCOPED_TRACE(lines[i]);
        const size_t track = (i - 1) / raw.size();
        const RawFrame& f = raw[(i - 1) % raw.size()];
        const RawMatrix& m = f.matrices[0];
        const float index = RawFloat4(bytes, first, uint32_t(track), 0);
        uint32_t row = 0;
        while (row < m.rows && RawFloat4(bytes, m, row, 0) != index) ++row;
        ASSERT_LT(row, m.rows);
        const std::vector<std::string> v = Split(lines[i], ',');
        ASSERT_EQ(v.size(), 6u);
        ASSERT_EQ(std::stol(v[0]), long(track + 1));
        ASSERT_EQ(std::strtof(v[1].c_str(), nullptr), index);
        ASSERT_EQ(std::strtod(v[2].c_str(), nullptr), f.time);
        for (uint32_t k = 1; k < 4; ++k)
            ASSERT_EQ(std::strtof(v[2 + k].c_str(), nullptr), RawFloat4(bytes, m, row, k));
    }
    // The same from standard input.
    RunOptions in;
    in.stdinBytes = bytes;
    EXPECT_EQ(Tool({"tracks", "-"}, in).out, r.out);
}

TEST(SdiftoolTables, ChordPeakAndSeparatorLayouts) {
    const std::string chords = SaveTemp("chords.sdif", ChordFile());
    RunResult r = Tool({"frames", chords, "--sep", ";"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "time;stream;event;index;frequency;amplitude;phase\n"
              "0;0;begin;1;220;0.25;0\n"
              "0;0;begin;2;330;0.125;0.5\n"
              "0.5;0;end;1;nan;nan;nan\n"
              "0.5;0;begin;3;440;0.1;1\n"
              "1;0;end;2;nan;nan;nan\n");
    r = Tool({"tracks", chords});
    EXPECT_EQ(r.out,
              "note,start,end,frequency,amplitude,phase\n"
              "1,0,0.5,220,0.25,0\n"
              "2,0,1,330,0.125,0.5\n"
              "3,0.5,1,440,0.1,1\n");

    TestMatrix peaks{"1PIC", 0x0004, 2, 4, {220, 0.3, 0, 1, 330, 0.1, 0.5, 1}};
    const std::string pic = SaveTemp("pic.sdif", SdifHeader() + SdifFrame("1PIC", 7, 2.5, {peaks}));
    r = Tool({"tracks", pic, "--sep", "\t"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "sdiftool tracks: " + pic +
                         ": reading stream 7, the first with partial data\n"
                         "sdiftool tracks: " +
                         pic +
                         " holds spectral peaks (1PIC), which are not tracked: printing its "
                         "frames\n");
    EXPECT_EQ(r.out,
              "time\tstream\tindex\tfrequency\tamplitude\tphase\n"
              "2.5\t7\t0\t220\t0.3\t0\n"
              "2.5\t7\t1\t330\t0.1\t0.5\n");
}

TEST(SdiftoolTables, OutputFilesAndFailedWrites) {
    const std::string path = SaveTemp("out-src.sdif", ChordFile());
    const std::string copy = ReadFile(path);
    const std::string expected = Tool({"frames", path}).out;
    const std::string out = TempPath("frames.csv");
    RunResult r = Tool({"frames", path, "-o", out});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(ReadFile(out), expected);

    const std::string link = TempPath("out-link.sdif");
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    r = Tool({"tracks", path + "::#0", "-o", link});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "sdiftool tracks: " + link + " is the input file: name another output\n");
    EXPECT_EQ(ReadFile(path), copy);

    RunOptions full;
    full.out = StdoutTo::kDevFull;
    r = Tool({"frames", path}, full);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "sdiftool frames: writing standard output: No space left on device\n");
    RunOptions closed;
    closed.out = StdoutTo::kClosedPipe;
    closed.ignoreSigpipe = true;
    r = Tool({"frames", path}, closed);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "");
}

TEST(SdiftoolCommandLine, HelpVersionAndMistakes) {
    RunResult r = Tool({"--version"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, std::string("sdiftool ") + SDIF2COLUMNS_VERSION + "\n");
    r = Tool({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(Contains(r.out, "Usage: sdiftool COMMAND"));
    for (const char* command : {"info", "restream", "tracks", "frames"}) {
        r = Tool({command, "--help"});
        EXPECT_EQ(r.status, 0);
        EXPECT_TRUE(Contains(r.out, std::string("Usage: sdiftool ") + command)) << command;
    }
    const struct {
        std::vector<std::string> args;
        const char* err;
    } mistakes[] = {
        {{}, nullptr},
        {{"convert"}, "sdiftool: unknown command 'convert' (sdiftool --help lists them)\n"},
        {{"tracks"}, "sdiftool tracks: no input file\n"},
        {{"frames", "a.sdif", "--sep", "1"},
         "sdiftool frames: --sep takes one character that no number holds, not '1'\n"},
        {{"frames", "a.sdif", "--stream", "x"},
         "sdiftool frames: 'x' is not a stream number (0 to 4294967295)\n"},
        {{"tracks", "a.sdif", "--stream"}, "sdiftool tracks: --stream needs a value\n"},
        {{"info", "--jsn", "a.sdif"}, "sdiftool info: unknown option --jsn\n"},
        {{"restream", "--stream", "1-0", "a", "b"},
         "sdiftool restream: --stream takes FROM:TO, not 1-0\n"},
    };
    for (const auto& m : mistakes) {
        r = Tool(m.args);
        EXPECT_EQ(r.status, 1);
        if (m.err) {
            EXPECT_EQ(r.err, m.err);
        }
    }
}
