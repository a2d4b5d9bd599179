#include "Kv2Io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

#include "Kv2TestUtil.h"
#include "SdifAssert.h"
#include "TestSupport.h"

using namespace Kv2;
using testsupport::TempPath;
using testsupport::WriteFile;

namespace {

using kv2test::StopText;
const bool kStarted = kv2test::kKv2Started;

// Floats in this machine's byte order, as the binary formats store them.
void PutNative(std::string& out, float v) {
    char b[sizeof v];
    memcpy(b, &v, sizeof v);
    out.append(b, sizeof v);
}

std::string Native(std::initializer_list<float> values) {
    std::string s;
    for (float v : values) PutNative(s, v);
    return s;
}

std::string Text(size_t size, char first) {
    std::string s(size, 'a');
    s[0] = first;
    return s;
}

FILEIO* OpenPlain(const std::string& name, const std::string& bytes, KvFormat format) {
    std::string path = TempPath(name);
    WriteFile(path, bytes);
    return Kv2OpenFile(path.c_str(), KV_READ, format, -1, nullptr);
}

const char* const kPremature2 =
    "\nlibKv2.a(KvReadPartialSet2):\nWARNING: premature end of frame while reading\n(only %d "
    "instead of %d expected partials\n";
const char* const kPremature =
    "\nlibKv.a(KvReadPartialSet2):\nWARNING: premature end of frame while reading\n(only %d "
    "instead of %d expected partials\n";

std::string Format(const char* fmt, int a, int b) {
    char buf[512];
    snprintf(buf, sizeof buf, fmt, a, b);
    return buf;
}

std::string Exaggerated(double count) {
    char buf[512];
    snprintf(buf, sizeof buf,
             "\nlibKv.a(KvReadPartialSet2):\nERROR: %.0f partials for a frame seem a little "
             "exaggerated.\nMaybe your binary file is in a foreign machine format.\n\n",
             count);
    return buf;
}

}  // namespace

// ---- Library state ----

// A second start and any use before the start stop with the library's assertion.
TEST(Kv2Init, StopsWhenStartedTwiceOrUsedBeforeTheStart) {
    ASSERT_TRUE(kvInitialised);
    EXPECT_EQ(StopText([] { Kv2Init(); }),
              "LibSrc/Kv2Io.cpp: failed assertion `((!kvInitialised) && \"Kv Library already "
              "initialised\")'\n");
    kvInitialised = false;
    std::string toFormat = StopText([] { Kv2NameToFormat(const_cast<char*>("sdif")); });
    std::string toName = StopText([] { Kv2FormatToName(KV_FORMAT_ADD); });
    std::string deInit = StopText([] { Kv2DeInit(); });
    kvInitialised = true;
    const std::string notStarted =
        "LibSrc/Kv2Io.cpp: failed assertion `kvInitialised && \"Kv2 Library not initialised\"'\n";
    EXPECT_EQ(toFormat, notStarted);
    EXPECT_EQ(toName, notStarted);
    EXPECT_EQ(deInit,
              "LibSrc/Kv2Io.cpp: failed assertion `kvInitialised && \"Kv Library not "
              "initialised\"'\n");
    EXPECT_TRUE(Kv2InitCond());
}

TEST(Kv2Init, FillsTheNameTableInItsOrder) {
    const struct {
        const char* name;
        KvFormat format;
        int length;
    } table[] = {{"format", KV_FORMAT_ADD, 6},      {"ADD", KV_FORMAT_ADD, 3},
                 {"add", KV_FORMAT_ADD, 3},         {"fmt", KV_FORMAT_FMT, 3},
                 {"sdif", KV_FORMAT_SDIF_TRC, 4},   {"SDIF", KV_FORMAT_SDIF_TRC, 4},
                 {"picsbin", KV_FORMAT_PICSBIN, 7}, {"pics", KV_FORMAT_PICS, 4},
                 {"", KV_FORMAT_UNKNOWN, 0}};
    for (int i = 0; i < 9; ++i) {
        EXPECT_STREQ(n2f[i].name, table[i].name) << i;
        EXPECT_EQ(n2f[i].format, table[i].format) << i;
        EXPECT_EQ(n2f[i].length, table[i].length) << i;
    }
}

// ---- Names ----

TEST(Kv2NameToFormat, MatchesCaseBlindPrefixesInTableOrder) {
    // "PicsBin"'s entry precedes "pics"
    const std::pair<const char*, KvFormat> cases[] = {
        {"PicsBin", KV_FORMAT_PICSBIN},  {"pics", KV_FORMAT_PICS},
        {"PICS", KV_FORMAT_PICS},        {"pic", KV_FORMAT_UNKNOWN},
        {"SDIF", KV_FORMAT_SDIF_TRC},    {"sdif2", KV_FORMAT_SDIF_TRC},
        {"Sdif::x", KV_FORMAT_SDIF_TRC}, {"formatted", KV_FORMAT_ADD},
        {"Add", KV_FORMAT_ADD},          {"fmt", KV_FORMAT_FMT},
        {"fm", KV_FORMAT_UNKNOWN},       {"", KV_FORMAT_UNKNOWN}};
    for (const auto& c : cases)
        EXPECT_EQ(Kv2NameToFormat(const_cast<char*>(c.first)), c.second) << c.first;
    EXPECT_EQ(Kv2NameToFormat(nullptr), KV_FORMAT_UNKNOWN);
}

TEST(Kv2FormatToName, GivesTheFirstNameOfAFormatOrNothing) {
    const std::pair<KvFormat, const char*> cases[] = {
        {KV_FORMAT_ADD, "format"}, {KV_FORMAT_FMT, "fmt"},         {KV_FORMAT_SDIF_TRC, "sdif"},
        {KV_FORMAT_PICS, "pics"},  {KV_FORMAT_PICSBIN, "picsbin"}, {KV_FORMAT_SDIF_CHORDSEQ, ""},
        {KV_FORMAT_UNKNOWN, ""}};
    for (const auto& c : cases) EXPECT_STREQ(Kv2FormatToName(c.first), c.second) << c.first;
}

// The last dot of the last path component; it runs on into a selection but
// does not look inside it.
TEST(Kv2GetExtension, TakesTheLastDotOfTheLastPathComponent) {
    const std::pair<const char*, const char*> cases[] = {{"dir.x/file", nullptr},
                                                         {"a.b.pics", "pics"},
                                                         {"dir.x/a.fmt", "fmt"},
                                                         {"noext", nullptr},
                                                         {nullptr, nullptr},
                                                         {"a.sdif::sel", "sdif::sel"},
                                                         {"d/a.txt::#1.2", "txt::#1.2"},
                                                         {"d/a::#1.2", nullptr}};
    for (const auto& c : cases) {
        const char* ext = Kv2GetExtension(c.first);
        EXPECT_EQ(std::string(ext ? ext : "(none)"), std::string(c.second ? c.second : "(none)"))
            << (c.first ? c.first : "(null)");
    }
}

TEST(kvCutSdifSelection, CutsAtTheSelectionAndSavesTheCharacter) {
    char name[] = "a.sdif::#1";
    char saved = 'x';
    char* pos = kvCutSdifSelection(name, &saved);
    ASSERT_EQ(pos, name + 6);
    EXPECT_EQ(saved, ':');
    EXPECT_STREQ(name, "a.sdif");
    *pos = saved;
    EXPECT_STREQ(name, "a.sdif::#1");

    char plain[] = "a.sdif";
    EXPECT_EQ(kvCutSdifSelection(plain, &saved), nullptr);
    EXPECT_EQ(saved, 0);
}

// ---- Content probe of plain files ----

TEST(Kv2GetFileFormat, ExtensionPicksTheFamilyFirstBytePicksTextOrBinary) {
    int stream = 7;
    std::string txt = TempPath("probe.txt");
    WriteFile(txt, Text(2000, 'a'));
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_PICS, stream), KV_FORMAT_PICS);
    EXPECT_EQ(stream, 0);
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_PICSBIN, stream), KV_FORMAT_PICS);
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_RESERVED_BIN, stream),
              KV_FORMAT_RESERVED_TEXT);
    // SDIF flavours and "unknown" are not paired: they pass through.
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_SDIF_HRM, stream), KV_FORMAT_SDIF_HRM);
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_UNKNOWN, stream), KV_FORMAT_UNKNOWN);

    WriteFile(txt, Text(2000, '\x80'));
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_PICS, stream), KV_FORMAT_PICSBIN);
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_FMT);
    EXPECT_EQ(Kv2GetFileFormat(txt.c_str(), KV_FORMAT_RESERVED_TEXT, stream),
              KV_FORMAT_RESERVED_BIN);

    // Only the first byte counts; the extension beats the default.
    std::string fmt = TempPath("probe.fmt");
    std::string bytes = Text(1024, '1');
    bytes[500] = '\xff';
    WriteFile(fmt, bytes);
    EXPECT_EQ(Kv2GetFileFormat(fmt.c_str(), KV_FORMAT_PICS, stream), KV_FORMAT_ADD);
    std::string pics = TempPath("probe.PicsBin");
    WriteFile(pics, Text(1500, '4'));
    EXPECT_EQ(Kv2GetFileFormat(pics.c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_PICS);
}

TEST(Kv2GetFileFormat, ShortOrMissingFilesAreUnknownWithAMessage) {
    int stream = 3;
    std::string small = TempPath("small.pics");
    WriteFile(small, Text(500, '1'));
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2GetFileFormat(small.c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_UNKNOWN);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Kv2: cannot read file " + small + " \n");
    EXPECT_EQ(stream, 0);

    std::string missing = TempPath("missing.add");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2GetFileFormat(missing.c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_UNKNOWN);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Kv2: cannot open file " + missing + " \n");
}

// ---- Handles ----

TEST(Kv2OpenFile, DashReadsStandardInputAndClosingLeavesItOpen) {
    FILEIO* f = Kv2OpenFile("-", KV_READ, KV_FORMAT_PICS, -1, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->file, stdin);
    EXPECT_FALSE(f->ownsFile);
    EXPECT_EQ(f->format, KV_FORMAT_PICS);
    EXPECT_EQ(f->mode, KV_READ);
    EXPECT_TRUE(FILEIOIsValid(f));
    Kv2CloseFile(f);
    EXPECT_NE(fcntl(fileno(stdin), F_GETFD), -1);

    f = Kv2OpenFile("", KV_WRITE, KV_FORMAT_ADD, -1, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->file, stdout);
    Kv2CloseFile(f);
    EXPECT_NE(fcntl(fileno(stdout), F_GETFD), -1);
}

TEST(Kv2OpenFile, ModeOutOfRangeStops) {
    EXPECT_EQ(StopText([] { Kv2OpenFile("-", KV_NMODE, KV_FORMAT_PICS, -1, nullptr); }),
              "LibSrc/Kv2Io.cpp: failed assertion `mode < KV_NMODE'\n");
}

TEST(Kv2OpenFile, FormatsBeyondThePeakFilesGiveNoHandle) {
    std::string path = TempPath("any.add");
    WriteFile(path, "1 0.0\n1 100 0.1 0\n");
    EXPECT_EQ(Kv2OpenFile(path.c_str(), KV_READ, KV_FORMAT_RESERVED_TEXT, -1, nullptr), nullptr);
    EXPECT_EQ(Kv2OpenFile(path.c_str(), KV_READ, KV_FORMAT_RESERVED_BIN, -1, nullptr), nullptr);
    EXPECT_EQ(Kv2OpenFile(path.c_str(), KV_READ, KV_FORMAT_UNKNOWN, -1, nullptr), nullptr);
    EXPECT_EQ(Kv2OpenFile(path.c_str(), KV_READ, static_cast<KvFormat>(-1), -1, nullptr), nullptr);
}

TEST(Kv2OpenFile, AFileThatCannotBeOpenedGivesAnInvalidHandle) {
    std::string missing = TempPath("no-such-dir/x.add");
    FILEIO* f = Kv2OpenFile(missing.c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->file, nullptr);
    EXPECT_FALSE(FILEIOIsValid(f));
    PartialSet set;
    EXPECT_FALSE(Kv2ReadPartialSet(f, set));
    Kv2CloseFile(f);
}

TEST(Kv2OpenFile, PlainHandleQueries) {
    FILEIO* f = OpenPlain("queries.add", "1 0.5\n3 100 0.1 0\n", KV_FORMAT_ADD);
    ASSERT_NE(f, nullptr);
    EXPECT_TRUE(FILEIOIsValid(f));
    EXPECT_FALSE(Kv2IsSdif(f));
    EXPECT_FALSE(Kv2IsSeekable(f));
    EXPECT_EQ(Kv2GetNumStreams(f), 0);
    EXPECT_EQ(Kv2GetFilePos(f), 0);
    EXPECT_FALSE(Kv2IsEOF(f));
    PartialSet set;
    EXPECT_TRUE(Kv2ReadPartialSet(f, set));
    EXPECT_FALSE(Kv2ReadPartialSet(f, set));
    EXPECT_TRUE(Kv2IsEOF(f));
    EXPECT_EQ(Kv2GetFilePos(f), 18);
    Kv2CloseFile(f);

    EXPECT_FALSE(FILEIOIsValid(nullptr));
    EXPECT_EQ(Kv2GetFilePos(nullptr), -1);
    EXPECT_EQ(Kv2SdifGetFilePos(nullptr), -1);
    Kv2CloseFile(nullptr);
}

TEST(Kv2OpenFile, WritingModesCreateTheFile) {
    std::string path = TempPath("written.add");
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, KV_FORMAT_ADD, -1, nullptr);
    ASSERT_NE(f, nullptr);
    ASSERT_NE(f->file, nullptr);
    EXPECT_EQ(f->mode, KV_WRITE);
    fputs("x", f->file);
    Kv2CloseFile(f);
    EXPECT_EQ(testsupport::ReadFile(path), "x");
}

// ---- Text partial sets ----

TEST(Kv2ReadPartialSet2, TextLimitSkipsTheRestOfTheFrame) {
    FILEIO* f = OpenPlain("limit.add",
                          "3 0.5\n1 100 0.1 0.25\n2\t200 0.2 0.5\n3 300 0.3 1\n"
                          "2 1.0\n4 400 0.4 0\n5 500 0.5 0\n",
                          KV_FORMAT_ADD);
    PartialSet set;
    int stream = 9;
    ASSERT_TRUE(Kv2ReadPartialSet2(f, set, stream, 2));
    EXPECT_EQ(stream, 0);
    EXPECT_DOUBLE_EQ(set.time, 0.5);
    ASSERT_EQ(set.size(), 2);
    EXPECT_EQ(set[0].id, 1);
    EXPECT_FLOAT_EQ(set[0].freq, 100.0f);
    EXPECT_FLOAT_EQ(set[0].amp, 0.1f);
    EXPECT_FLOAT_EQ(set[0].phase, 0.25f);
    EXPECT_EQ(set[0].state, PartialSet::ePartial);
    EXPECT_EQ(set[1].id, 2);
    EXPECT_FLOAT_EQ(set[1].freq, 200.0f);

    ASSERT_TRUE(Kv2ReadPartialSet2(f, set, 2));
    EXPECT_DOUBLE_EQ(set.time, 1.0);
    ASSERT_EQ(set.size(), 2);
    EXPECT_EQ(set[0].id, 4);
    EXPECT_EQ(set[1].id, 5);
    EXPECT_FALSE(Kv2ReadPartialSet2(f, set, 2));
    EXPECT_EQ(set.size(), 0);
    Kv2CloseFile(f);
}

TEST(Kv2ReadPartialSet2, TextLimitsOfZeroOrLessMeanAll) {
    std::string frame = "3 0.5\n1 100 0.1 0\n2 200 0.2 0\n3 300 0.3 0\n";
    for (int limit : {0, -1, 3, 7}) {
        FILEIO* f = OpenPlain("all.add", frame, KV_FORMAT_ADD);
        PartialSet set;
        ASSERT_TRUE(Kv2ReadPartialSet2(f, set, limit));
        EXPECT_EQ(set.size(), 3) << limit;
        Kv2CloseFile(f);
    }
}

TEST(Kv2ReadPartialSet2, TextHugeCountWithLimitStopsSkippingAtTheEnd) {
    FILEIO* f = OpenPlain("huge.add", "2000000000 0.0\n1 100 0.1 0\n", KV_FORMAT_ADD);
    PartialSet set;
    EXPECT_TRUE(Kv2ReadPartialSet2(f, set, 1));
    EXPECT_EQ(set.size(), 1);
    EXPECT_FALSE(Kv2ReadPartialSet2(f, set, 1));
    Kv2CloseFile(f);
}

// ---- Binary partial sets ----

TEST(Kv2ReadPartialSet2, BinaryColumnsTruncatedCountAndRoundedIdents) {
    // time, count (2 partials), the columns, then the next record
    std::string b =
        Native({0.75f, 2.9f, -1.5f, 2.5f, 110.0f, 220.0f, 0.5f, 0.25f, 1.0f, -1.0f, 1.5f, 0.0f});
    FILEIO* f = OpenPlain("cols.fmt", b, KV_FORMAT_FMT);
    PartialSet set;
    int stream = 4;
    ASSERT_TRUE(Kv2ReadPartialSet2(f, set, stream, 1));  // no limit on binary records
    EXPECT_EQ(stream, 0);
    EXPECT_DOUBLE_EQ(set.time, 0.75);
    ASSERT_EQ(set.size(), 2);
    EXPECT_EQ(set[0].id, -2);
    EXPECT_EQ(set[1].id, 3);
    EXPECT_FLOAT_EQ(set[0].freq, 110.0f);
    EXPECT_FLOAT_EQ(set[1].freq, 220.0f);
    EXPECT_FLOAT_EQ(set[0].amp, 0.5f);
    EXPECT_FLOAT_EQ(set[1].amp, 0.25f);
    EXPECT_FLOAT_EQ(set[0].phase, 1.0f);
    EXPECT_FLOAT_EQ(set[1].phase, -1.0f);
    EXPECT_EQ(set[1].state, PartialSet::ePartial);

    ASSERT_TRUE(Kv2ReadPartialSet(f, set));  // count 0: an empty frame
    EXPECT_DOUBLE_EQ(set.time, 1.5);
    EXPECT_EQ(set.size(), 0);
    EXPECT_FALSE(Kv2ReadPartialSet(f, set));
    Kv2CloseFile(f);
}

TEST(Kv2ReadPartialSet2, BinaryRecordsSpanningManyReadChunks) {
    const int n = 3000;
    std::string b;
    PutNative(b, 2.0f);
    PutNative(b, static_cast<float>(n));
    for (int col = 0; col < 4; ++col)
        for (int i = 0; i < n; ++i) PutNative(b, static_cast<float>(col * 10000 + i + 1));
    FILEIO* f = OpenPlain("chunks.fmt", b, KV_FORMAT_FMT);
    PartialSet set;
    ASSERT_TRUE(Kv2ReadPartialSet(f, set));
    ASSERT_EQ(set.size(), n);
    for (int i : {0, 1023, 1024, 2999}) {
        EXPECT_EQ(set[i].id, i + 1);
        EXPECT_FLOAT_EQ(set[i].freq, 10000.0f + i + 1);
        EXPECT_FLOAT_EQ(set[i].amp, 20000.0f + i + 1);
        EXPECT_FLOAT_EQ(set[i].phase, 30000.0f + i + 1);
    }
    Kv2CloseFile(f);
}

// ---- Peaks ----

TEST(Kv2ReadPeaksSet2, SampleRateMustBePositiveBeforeAnythingIsRead) {
    FILEIO* f = OpenPlain("rate.pics", "44100 1\n1 100 0.1 0\n", KV_FORMAT_PICS);
    PartialSet set;
    for (float rate : {0.0f, -44100.0f}) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Kv2ReadPeaksSet2(f, set, -1, rate));
        char expected[128];
        snprintf(expected, sizeof expected,
                 "KvIo error: Sample rate ommited or 0 (sampleRate = %f)\n", rate);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
    }
    EXPECT_EQ(Kv2GetFilePos(f), 0);
    ASSERT_TRUE(Kv2ReadPeaksSet2(f, set, -1, 44100.0f));
    EXPECT_DOUBLE_EQ(set.time, 1.0);
    Kv2CloseFile(f);
}

TEST(Kv2ReadPeaksSet2, TextLimitAndNextHeader) {
    FILEIO* f = OpenPlain("limit.pics",
                          "44100 3\n7 100 0.1 0.5\n8 200 0.2 0\n9 300 0.3 0\n"
                          "22050 1\n5 50 0.5 0\n",
                          KV_FORMAT_PICS);
    PartialSet set;
    ASSERT_TRUE(Kv2ReadPeaksSet2(f, set, 2, 22050.0f));
    EXPECT_DOUBLE_EQ(set.time, 2.0);
    ASSERT_EQ(set.size(), 2);
    EXPECT_EQ(set[0].id, 7);
    EXPECT_FLOAT_EQ(set[0].phase, 0.5f);
    EXPECT_EQ(set[0].state, PartialSet::ePartial);
    EXPECT_EQ(set[1].id, 8);
    ASSERT_TRUE(Kv2ReadPeaksSet2(f, set, 2, 22050.0f));
    EXPECT_DOUBLE_EQ(set.time, 1.0);
    ASSERT_EQ(set.size(), 1);
    EXPECT_EQ(set[0].id, 5);
    EXPECT_FALSE(Kv2ReadPeaksSet2(f, set, 2, 22050.0f));
    Kv2CloseFile(f);
}

TEST(Kv2ReadPeaksSet2, TextPrematureEndAndEmptyFrames) {
    FILEIO* f = OpenPlain("empty.pics", "0 0\n", KV_FORMAT_PICS);
    PartialSet set;
    EXPECT_TRUE(Kv2ReadPeaksSet2(f, set, -1, 100.0f));  // count 0
    EXPECT_EQ(set.size(), 0);
    Kv2CloseFile(f);

    // A frame that ends early keeps n entries, the missing peaks zero, when
    // the bytes after its header could hold n lines of at least 8 bytes;
    // otherwise it keeps the peaks read.
    const struct {
        std::string bytes;
        int maxPeaks, read, n, size;
    } cases[] = {
        {"100 3\n1 100 0.1 0\n", -1, 1, 3, 1},  // 13 bytes left
        {"100 3\n1 100 0.1 0\n2 200 0.2 0\nthat was all\n", -1, 2, 3, 3},
        {"100 2\n1 1 1 1\nxxxxxxx", -1, 1, 2, 2},  // 16 bytes left
        {"100 2\n1 1 1 1\nxxxxxx", -1, 1, 2, 1},   // 15
        {"100 9\n1 1 1 1\nxxxxxxx", 2, 1, 2, 2},   // two wanted of nine
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        f = OpenPlain("short.pics", c.bytes, KV_FORMAT_PICS);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Kv2ReadPeaksSet2(f, set, c.maxPeaks, 100.0f));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), Format(kPremature, c.read, c.n));
        ASSERT_EQ(set.size(), c.size);
        EXPECT_EQ(set[0].id, 1);
        EXPECT_EQ(set[0].state, PartialSet::ePartial);
        for (int i = c.read; i < c.size; ++i) {
            EXPECT_EQ(set[i].id, 0);
            EXPECT_EQ(set[i].freq, 0.0f);
            EXPECT_EQ(set[i].amp, 0.0f);
            EXPECT_EQ(set[i].phase, 0.0f);
            EXPECT_EQ(set[i].state, PartialSet::eFree);
        }
        Kv2CloseFile(f);
    }
}

TEST(Kv2ReadPeaksSet2, BinaryRoundsTheCountAndNumbersFromOne) {
    // position, count (3 peaks), the columns
    std::string b =
        Native({88200.0f, 2.5f, 100.0f, 200.0f, 300.0f, 0.1f, 0.2f, 0.3f, 1.0f, 2.0f, 3.0f});
    FILEIO* f = OpenPlain("round.picsbin", b, KV_FORMAT_PICSBIN);
    PartialSet set;
    ASSERT_TRUE(Kv2ReadPeaksSet2(f, set, 1, 44100.0f));  // no limit on binary records
    EXPECT_DOUBLE_EQ(set.time, 2.0);
    ASSERT_EQ(set.size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(set[i].id, i + 1);
        EXPECT_FLOAT_EQ(set[i].freq, 100.0f * (i + 1));
        EXPECT_FLOAT_EQ(set[i].amp, 0.1f * (i + 1));
        EXPECT_FLOAT_EQ(set[i].phase, 1.0f * (i + 1));
        EXPECT_EQ(set[i].state, PartialSet::ePartial);
    }
    EXPECT_FALSE(Kv2ReadPeaksSet2(f, set, 1, 44100.0f));
    Kv2CloseFile(f);
}

// Binary records are read without checks: a record that ends early keeps its
// n entries, what it lacks zero, and the read succeeds; the next one fails
// at the end of the file.
TEST(Kv2ReadPartialSet2, BinaryRecordsEndingEarlyKeepZeros) {
    const struct {
        const char* name;
        std::string bytes;
        KvFormat format;
        int n;
        // (ident, frequency, amplitude) of the first entries, then of the
        // last one when the set holds more; every phase is 0
        std::vector<float> expected;
    } cases[] = {
        // a million passes; the record ends after two idents
        {"liar.fmt", Native({0.0f, 1e6f, 1.0f, 2.0f}), KV_FORMAT_FMT, 1000000,
         std::vector<float>{1, 0, 0, 2, 0, 0, 0, 0, 0}},
        // all idents present, frequencies cut short
        {"liar2.fmt", Native({0.0f, 3.0f, 1.0f, 2.0f, 3.0f, 100.0f}), KV_FORMAT_FMT, 3,
         std::vector<float>{1, 100, 0, 2, 0, 0, 3, 0, 0}},
        // peaks are numbered whatever came
        {"liar.picsbin", Native({0.0f, 1e6f, 440.0f}), KV_FORMAT_PICSBIN, 1000000,
         std::vector<float>{1, 440, 0, 2, 0, 0, 1e6f, 0, 0}},
        {"liar2.picsbin", Native({0.0f, 2.0f, 440.0f, 880.0f, 0.5f}), KV_FORMAT_PICSBIN, 2,
         std::vector<float>{1, 440, 0.5f, 2, 880, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FILEIO* f = OpenPlain(c.name, c.bytes, c.format);
        auto read = [&](PartialSet& set) {
            return c.format == KV_FORMAT_PICSBIN ? Kv2ReadPeaksSet2(f, set, -1, 1.0f)
                                                 : Kv2ReadPartialSet(f, set);
        };
        PartialSet set;
        EXPECT_EQ(testsupport::CaptureStderr([&] { EXPECT_TRUE(read(set)); }), "");
        ASSERT_EQ(set.size(), c.n);
        const int listed = static_cast<int>(c.expected.size() / 3);
        for (int k = 0; k < listed; ++k) {
            const int i = k == listed - 1 ? c.n - 1 : k;
            EXPECT_EQ(set[i].id, static_cast<int>(c.expected[3 * k])) << i;
            EXPECT_EQ(set[i].freq, c.expected[3 * k + 1]) << i;
            EXPECT_EQ(set[i].amp, c.expected[3 * k + 2]) << i;
            EXPECT_EQ(set[i].phase, 0.0f) << i;
            EXPECT_EQ(set[i].state, PartialSet::ePartial) << i;
        }
        EXPECT_FALSE(read(set));
        Kv2CloseFile(f);
    }
}

// ---- Records that cannot be read ----

// Each malformed record fails the read with its message (or none); a text
// count that lies makes the set grow only with the data that came.
TEST(Kv2ReadPartialSet2, MalformedRecordsFailWithTheirMessages) {
    struct Case {
        const char* name;
        std::string bytes;
        KvFormat format;
        bool peaks;       // read with Kv2ReadPeaksSet2
        std::string err;  // what is printed
        int size;         // entries kept, or -1
    } cases[] = {
        {"bad.add", "x 0.0\n", KV_FORMAT_ADD, false, "", -1},
        {"head.fmt", Native({0.0f}), KV_FORMAT_FMT, false, "", -1},
        {"peaks.pics", "0 1\n1 100 0.1 0\n", KV_FORMAT_PICS, false, "", -1},
        {"p.add", "1 0.0\n1 100 0.1 0\n", KV_FORMAT_ADD, true, "", -1},
        {"short.add", "4 0.0\n1 100 0.1 0\n2 200 0.2 0\n3 300 0.3 0\n", KV_FORMAT_ADD, false,
         Format(kPremature2, 3, 4), 3},
        // above a million: a foreign byte order
        {"foreign.fmt", Native({0.0f, 1000001.0f}), KV_FORMAT_FMT, false, Exaggerated(1000001.0),
         -1},
        {"foreign.picsbin", Native({0.0f, 1000001.0f}), KV_FORMAT_PICSBIN, true,
         Exaggerated(1000001.0), -1},
        // a count the rest of the file cannot hold in lines sizes nothing
        {"liar.pics", "0 2147483647\n1 100 0.1 0\n", KV_FORMAT_PICS, true,
         Format(kPremature, 1, 2147483647), 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FILEIO* f = OpenPlain(c.name, c.bytes, c.format);
        PartialSet set;
        bool read = true;
        EXPECT_EQ(testsupport::CaptureStderr([&] {
                      read =
                          c.peaks ? Kv2ReadPeaksSet2(f, set, -1, 1.0f) : Kv2ReadPartialSet(f, set);
                  }),
                  c.err);
        EXPECT_FALSE(read);
        if (c.size >= 0) {
            EXPECT_EQ(set.size(), c.size);
        }
        EXPECT_LT(set.params().capacity(), 100000u);
        Kv2CloseFile(f);
    }
    PartialSet set;
    EXPECT_FALSE(Kv2ReadPartialSet(nullptr, set));
}

// ---- Debug printers ----

namespace {
template <class Set>
std::string PrintedBy(void (*print)(FILE*, const Set&, char*), const Set& set,
                      const char* label = "L") {
    std::string path = TempPath("print.txt");
    FILE* out = fopen(path.c_str(), "w");
    print(out, set, const_cast<char*>(label));
    fclose(out);
    return testsupport::ReadFile(path);
}
}  // namespace

// Partial listings show partials (and last points), peak listings peaks,
// chord listings every valid entry; each with its slot.
TEST(Kv2PrintPartial, EachListingShowsItsOwnEntries) {
    PartialSet set(0.5, 0);
    set.addToSet(PartialSet::PartialParam(7, 100.0f, 0.25f, 0.5f, 0.0f, PartialSet::ePartial), 0);
    set.addToSet(PartialSet::PartialParam(8, 200.0f, 0.5f, 1.0f, 0.0f, PartialSet::ePeak), 1);
    set.addToSet(PartialSet::PartialParam(12, 1234.56f, 1.0f, -3.25f, 0.0f, PartialSet::eLast), 3);
    ChordSet chord(2.0, 0);
    chord.addToSet(ChordSet::PartialParam(3, 0.0f, 0.0f, 0.0f, ChordSet::eEnd), 0);
    chord.addToSet(ChordSet::PartialParam(4, 440.0f, 0.5f, 0.0f, ChordSet::eStart), 2);
    auto head = [](const char* what, const void* p, const char* rest) {
        char b[128];
        snprintf(b, sizeof b, "\n%s in Set %p  %s \n", what, p, rest);
        return std::string(b);
    };
    const std::pair<std::string, std::string> rows[] = {
        {PrintedBy(Kv2PrintPartial, set),
         head("L: Partials", &set, "nb 2  time 0.500 size 4") +
             "  0:  ident   7  freq     100.0 amp 0.250000 phase 0.5000 state   2\n"
             "  3:  ident  12  freq    1234.6 amp 1.000000 phase -3.2500 state   3\n"},
        {PrintedBy(Kv2PrintPeak, set),
         head("L: Peaks", &set, "nb 1  time 0.500 size 4") +
             "  1:  ident   8  freq     200.0 amp 0.500000 phase 1.0000 state   1\n"},
        {PrintedBy<ChordSet>(Kv2PrintPartial, chord, "C"),
         head("C: ChordPartials", &chord, "nb 2  time 2.000 size 3") +
             "  0:  ident   3  freq       0.0 amp 0.000000 phase 0.0000 state   3\n"
             "  2:  ident   4  freq     440.0 amp 0.500000 phase 0.0000 state   1\n"},
    };
    for (const auto& r : rows) EXPECT_EQ(r.first, r.second);
}

// ---- Kv2File on plain files ----

namespace {
// One partial per frame (idents 1, 2, ...); *total receives the number of
// frames written.
std::string FramesAt(std::initializer_list<double> times, int* total = nullptr) {
    std::string s;
    int count = static_cast<int>(times.size());
    char line[64];
    int id = 1;
    for (double t : times) {
        snprintf(line, sizeof line, "1 %g\n%d 100 0.1 0\n", t, id++);
        s += line;
    }
    // Pad past the 1024 bytes the content probe needs, with frames of no
    // partials at a time no test keeps.
    for (; s.size() < 1100; ++count) s += "0 99\n";
    if (total) *total = count;
    return s;
}
}  // namespace

TEST(Kv2File, ReadFramesKeepsTimesWithinBothBoundsInclusive) {
    std::string path = TempPath("frames.add");
    WriteFile(path, FramesAt({0.5, 1.0, 1.5, 2.0, 2.5}));
    Kv2File file;
    ASSERT_TRUE(file.Open(path.c_str(), KV_READ, KV_FORMAT_UNKNOWN, -1, nullptr));
    ASSERT_NE(file.mHandle, nullptr);
    EXPECT_EQ(file.mHandle->format, KV_FORMAT_ADD);
    Kv2FrameSet<PartialSet> frames;
    ASSERT_TRUE(file.ReadFrames(frames, -1, 1.0, 2.0));
    ASSERT_EQ(frames.size(), 3u);
    auto it = frames.begin();
    EXPECT_DOUBLE_EQ(it->time, 1.0);
    EXPECT_GE(it->PartialIndex(2), 0);
    EXPECT_DOUBLE_EQ((++it)->time, 1.5);
    EXPECT_DOUBLE_EQ((++it)->time, 2.0);
    EXPECT_GE(it->PartialIndex(4), 0);
}

TEST(Kv2File, ReadFramesStreamAndUnboundedFilters) {
    std::string path = TempPath("frames2.add");
    int total = 0;
    WriteFile(path, FramesAt({0.5, 1.0}, &total));
    for (int stream : {-1, 0, 1}) {
        Kv2File file;
        ASSERT_TRUE(file.Open(path.c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr));
        Kv2FrameSet<PartialSet> frames;
        ASSERT_TRUE(file.ReadFrames(frames, stream, -1.0, -1.0));
        EXPECT_EQ(frames.size(), stream == 1 ? 0u : static_cast<size_t>(total)) << stream;
    }
    Kv2File file;
    ASSERT_TRUE(file.Open(path.c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr));
    Kv2FrameSet<PartialSet> frames;
    ASSERT_TRUE(file.ReadFrames(frames, -1, std::nan(""), -1.0));
    EXPECT_EQ(frames.size(), 0u);
}

TEST(Kv2File, NoHandleAfterAFailedProbeReadsAsNoFrames) {
    std::string path = TempPath("tiny.add");
    WriteFile(path, "1 0.0\n1 100 0.1 0\n");  // too short for the content probe
    Kv2File file;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(file.Open(path.c_str(), KV_READ, KV_FORMAT_UNKNOWN, -1, nullptr));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(file.mHandle, nullptr);
    Kv2FrameSet<PartialSet> partials;
    EXPECT_FALSE(file.ReadFrames(partials, -1, -1.0, -1.0));
    EXPECT_TRUE(partials.empty());
    Kv2FrameSet<ChordSet> chords;
    EXPECT_TRUE(file.ReadFrames(chords, -1, -1.0, -1.0));
    EXPECT_TRUE(chords.empty());
}
