#include "Kv2Io.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Kv2TestUtil.h"
#include "SdifAssert.h"
#include "TestSupport.h"

using namespace Kv2;
using kv2test::Recs;
using kv2test::StopText;
using testsupport::TempPath;
using testsupport::WriteFile;

namespace {

const bool kStarted = kv2test::kKv2Started;

// Floats in this machine's byte order, as the binary formats store them.
std::string Native(const std::vector<float>& values) {
    return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
}

std::string Text(size_t size, char first) {
    std::string s(size, 'a');
    s[0] = first;
    return s;
}

using Lines = std::vector<std::string>;

// lib is "Kv2" for partial files, "Kv" for peak files.
std::string Premature(const char* lib, int a, int b) {
    char buf[512];
    snprintf(buf, sizeof buf,
             "\nlib%s.a(KvReadPartialSet2):\nWARNING: premature end of frame while reading\n(only "
             "%d instead of %d expected partials\n",
             lib, a, b);
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

// A second start and any use before the start stop with the library's
// assertion, and so does a mode out of range.
TEST(Kv2Init, StopsWhenStartedTwiceUsedBeforeTheStartOrGivenABadMode) {
    ASSERT_TRUE(kvInitialised);
    EXPECT_EQ(StopText([] { Kv2Init(); }),
              "LibSrc/Kv2Io.cpp: failed assertion `((!kvInitialised) && \"Kv Library already "
              "initialised\")'\n");
    EXPECT_EQ(StopText([] { Kv2OpenFile("-", KV_NMODE, KV_FORMAT_PICS, -1, nullptr); }),
              "LibSrc/Kv2Io.cpp: failed assertion `mode < KV_NMODE'\n");
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

// name, format number, length; the last entry ends the table.
TEST(Kv2Init, FillsTheNameTableInItsOrder) {
    std::ostringstream table;
    for (const KvNameToFormat& e : n2f)
        table << e.name << " " << e.format << " " << e.length << ", ";
    EXPECT_EQ(
        table.str(),
        "format 0 6, ADD 0 3, add 0 3, fmt 1 3, sdif 2 4, SDIF 2 4, picsbin 7 7, pics 6 4,  10 "
        "0, ");
}

// ---- Names ----

TEST(Kv2NameToFormat, MatchesCaseBlindPrefixesInTableOrderAndBack) {
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
    // Back: the first name of a format, or nothing.
    const std::pair<KvFormat, const char*> names[] = {
        {KV_FORMAT_ADD, "format"}, {KV_FORMAT_FMT, "fmt"},         {KV_FORMAT_SDIF_TRC, "sdif"},
        {KV_FORMAT_PICS, "pics"},  {KV_FORMAT_PICSBIN, "picsbin"}, {KV_FORMAT_SDIF_CHORDSEQ, ""},
        {KV_FORMAT_UNKNOWN, ""}};
    for (const auto& c : names) EXPECT_STREQ(Kv2FormatToName(c.first), c.second) << c.first;
}

// The last dot of the last path component; it runs on into a selection but
// does not look inside it. The selection is cut at its "::", the character
// saved.
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
    char name[] = "a.sdif::#1", plain[] = "a.sdif";
    char saved = 'x';
    EXPECT_EQ(kvCutSdifSelection(name, &saved), name + 6);
    EXPECT_EQ(saved, ':');
    EXPECT_STREQ(name, "a.sdif");
    EXPECT_EQ(kvCutSdifSelection(plain, &saved), nullptr);
    EXPECT_EQ(saved, 0);
}

// ---- Content probe of plain files ----

// The extension picks the family (the format given otherwise), the first byte
// text or binary; SDIF flavours and "unknown" are not paired and pass
// through. A file shorter than the 1024 bytes looked at, or missing, is
// unknown with a message.
TEST(Kv2GetFileFormat, ExtensionPicksTheFamilyFirstBytePicksTextOrBinary) {
    std::string late = Text(1024, '1');
    late[500] = '\xff';  // only the first byte counts
    const struct {
        const char* name;
        std::string bytes;  // empty: no file
        KvFormat given, want;
        const char* failure;  // what the message says cannot be done
    } cases[] = {
        {"probe.txt", Text(2000, 'a'), KV_FORMAT_PICS, KV_FORMAT_PICS, nullptr},
        {"probe.txt", Text(2000, 'a'), KV_FORMAT_PICSBIN, KV_FORMAT_PICS, nullptr},
        {"probe.txt", Text(2000, 'a'), KV_FORMAT_RESERVED_BIN, KV_FORMAT_RESERVED_TEXT, nullptr},
        {"probe.txt", Text(2000, 'a'), KV_FORMAT_SDIF_HRM, KV_FORMAT_SDIF_HRM, nullptr},
        {"probe.txt", Text(2000, 'a'), KV_FORMAT_UNKNOWN, KV_FORMAT_UNKNOWN, nullptr},
        {"probe.bin", Text(2000, '\x80'), KV_FORMAT_PICS, KV_FORMAT_PICSBIN, nullptr},
        {"probe.bin", Text(2000, '\x80'), KV_FORMAT_ADD, KV_FORMAT_FMT, nullptr},
        {"probe.bin", Text(2000, '\x80'), KV_FORMAT_RESERVED_TEXT, KV_FORMAT_RESERVED_BIN, nullptr},
        {"probe.fmt", late, KV_FORMAT_PICS, KV_FORMAT_ADD, nullptr},
        {"probe.PicsBin", Text(1500, '4'), KV_FORMAT_ADD, KV_FORMAT_PICS, nullptr},
        {"small.pics", Text(500, '1'), KV_FORMAT_ADD, KV_FORMAT_UNKNOWN, "read"},
        {"missing.add", "", KV_FORMAT_ADD, KV_FORMAT_UNKNOWN, "open"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << " given " << c.given);
        std::string path = TempPath(c.name);
        if (!c.bytes.empty()) WriteFile(path, c.bytes);
        int stream = 7;
        testing::internal::CaptureStderr();
        EXPECT_EQ(Kv2GetFileFormat(path.c_str(), c.given, stream), c.want);
        EXPECT_EQ(
            testing::internal::GetCapturedStderr(),
            c.failure ? std::string("Kv2: cannot ") + c.failure + " file " + path + " \n" : "");
        EXPECT_EQ(stream, 0);
    }
}

// ---- Handles ----

TEST(Kv2OpenFile, DashReadsStandardInputAndClosingLeavesItOpen) {
    FILEIO* f = Kv2OpenFile("-", KV_READ, KV_FORMAT_PICS, -1, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->file, stdin);
    EXPECT_FALSE(f->ownsFile);
    EXPECT_EQ(f->format, KV_FORMAT_PICS);
    EXPECT_EQ(f->mode, KV_READ);
    Kv2CloseFile(f);
    EXPECT_NE(fcntl(fileno(stdin), F_GETFD), -1);

    f = Kv2OpenFile("", KV_WRITE, KV_FORMAT_ADD, -1, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->file, stdout);
    Kv2CloseFile(f);
    EXPECT_NE(fcntl(fileno(stdout), F_GETFD), -1);
}

// Formats beyond the peak files give no handle; a file that cannot be opened
// gives one that is not valid and reads nothing.
TEST(Kv2OpenFile, OtherFormatsGiveNoHandleAMissingFileAnInvalidOne) {
    std::string path = testsupport::SaveTemp("any.add", "1 0.0\n1 100 0.1 0\n");
    for (KvFormat format : {KV_FORMAT_RESERVED_TEXT, KV_FORMAT_RESERVED_BIN, KV_FORMAT_UNKNOWN,
                            static_cast<KvFormat>(-1)})
        EXPECT_EQ(Kv2OpenFile(path.c_str(), KV_READ, format, -1, nullptr), nullptr) << format;
    FILEIO* f =
        Kv2OpenFile(TempPath("no-such-dir/x.add").c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->file, nullptr);
    EXPECT_FALSE(FILEIOIsValid(f));
    PartialSet set;
    EXPECT_FALSE(Kv2ReadPartialSet(f, set));
    Kv2CloseFile(f);
}

TEST(Kv2OpenFile, PlainHandleQueries) {
    FILEIO* f = kv2test::OpenSaved("queries.add", "1 0.5\n3 100 0.1 0\n", KV_FORMAT_ADD);
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
    EXPECT_EQ(set.size(), 0);
    EXPECT_TRUE(Kv2IsEOF(f));
    EXPECT_EQ(Kv2GetFilePos(f), 18);
    Kv2CloseFile(f);

    EXPECT_FALSE(FILEIOIsValid(nullptr));
    EXPECT_EQ(Kv2GetFilePos(nullptr), -1);
    EXPECT_EQ(Kv2SdifGetFilePos(nullptr), -1);
    Kv2CloseFile(nullptr);
}

// ---- Partial sets ----

// Text partial sets: a limit reads the first partials and skips the rest,
// even when the count is huge; a limit of zero or less, or beyond the count,
// reads all. Binary records: time, count (truncated), the columns; idents
// rounded, no limit; a count of 0 is an empty frame. Text peaks: the position
// in samples, the limit, the next header; binary peaks: the count rounded,
// numbered from 1, no limit.
TEST(Kv2ReadPartialSet2, SetsOfEachPlainLayout) {
    const std::string two =
        "3 0.5\n1 100 0.1 0.25\n2\t200 0.2 0.5\n3 300 0.3 1\n2 1.0\n4 400 0.4 0\n5 500 0.5 0\n";
    const std::string first2 = "0 0.5: 1 100 0.1 0.25 2 | 2 200 0.2 0.5 2",
                      all3 = first2 + " | 3 300 0.3 1 2",
                      second = "0 1: 4 400 0.4 0 2 | 5 500 0.5 0 2", end = "fail -1";
    const struct {
        const char* name;
        std::string bytes;
        KvFormat format;
        int limit;
        float rate;  // peaks are read at a sample rate, partials not (0)
        Lines want;
    } cases[] = {
        {"limit.add", two, KV_FORMAT_ADD, 2, 0, {first2, second, end}},
        {"limit.add", two, KV_FORMAT_ADD, 0, 0, {all3, second, end}},
        {"limit.add", two, KV_FORMAT_ADD, -1, 0, {all3, second, end}},
        {"limit.add", two, KV_FORMAT_ADD, 3, 0, {all3, second, end}},
        {"limit.add", two, KV_FORMAT_ADD, 7, 0, {all3, second, end}},
        {"huge.add",
         "2000000000 0.0\n1 100 0.1 0\n",
         KV_FORMAT_ADD,
         1,
         0,
         {"0 0: 1 100 0.1 0 2", end}},
        {"cols.fmt",
         Native({0.75f, 2.9f, -1.5f, 2.5f, 110.0f, 220.0f, 0.5f, 0.25f, 1.0f, -1.0f, 1.5f, 0.0f}),
         KV_FORMAT_FMT,
         1,
         0,
         {"0 0.75: -2 110 0.5 1 2 | 3 220 0.25 -1 2", "0 1.5: ", end}},
        {"limit.pics",
         "44100 3\n7 100 0.1 0.5\n8 200 0.2 0\n9 300 0.3 0\n22050 1\n5 50 0.5 0\n",
         KV_FORMAT_PICS,
         2,
         22050.0f,
         {"0 2: 7 100 0.1 0.5 2 | 8 200 0.2 0 2", "0 1: 5 50 0.5 0 2", end}},
        {"round.picsbin",
         Native({88200.0f, 2.5f, 100.0f, 200.0f, 300.0f, 0.1f, 0.2f, 0.3f, 1.0f, 2.0f, 3.0f}),
         KV_FORMAT_PICSBIN,
         1,
         44100.0f,
         {"0 2: 1 100 0.1 1 2 | 2 200 0.2 2 2 | 3 300 0.3 3 2", end}},
        {"empty.pics", "0 0\n", KV_FORMAT_PICS, -1, 100.0f, {"0 0: ", end}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << " limit " << c.limit);
        int stream = 9;
        kv2test::Handle h(kv2test::OpenSaved(c.name, c.bytes, c.format));
        auto read = [&](FILEIO* f, PartialSet& s) {
            bool read = c.rate ? Kv2ReadPeaksSet2(f, s, c.limit, c.rate)
                               : Kv2ReadPartialSet2(f, s, stream, c.limit);
            return read ? 0 : -1;
        };
        EXPECT_EQ(kv2test::Reads<PartialSet>(h.f, read), c.want);
        EXPECT_EQ(stream, c.rate ? 9 : 0);
    }

    // A record spanning many read chunks.
    const int n = 3000;
    std::vector<float> big = {2.0f, static_cast<float>(n)};
    for (int col = 0; col < 4; ++col)
        for (int i = 0; i < n; ++i) big.push_back(static_cast<float>(col * 10000 + i + 1));
    FILEIO* f = kv2test::OpenSaved("chunks.fmt", Native(big), KV_FORMAT_FMT);
    PartialSet set;
    ASSERT_TRUE(Kv2ReadPartialSet(f, set));
    ASSERT_EQ(set.size(), n);
    EXPECT_EQ(Recs(set, 1023, 1025), "1024 11024 21024 31024 2 | 1025 11025 21025 31025 2");
    EXPECT_EQ(Recs(set, n - 1), "3000 13000 23000 33000 2");
    Kv2CloseFile(f);
}

// ---- Peaks ----

TEST(Kv2ReadPeaksSet2, SampleRateMustBePositiveBeforeAnythingIsRead) {
    FILEIO* f = kv2test::OpenSaved("rate.pics", "44100 1\n1 100 0.1 0\n", KV_FORMAT_PICS);
    PartialSet set;
    for (float rate : {0.0f, -44100.0f}) {
        char expected[128];
        snprintf(expected, sizeof expected,
                 "KvIo error: Sample rate ommited or 0 (sampleRate = %f)\n", rate);
        EXPECT_EQ(
            testsupport::CaptureStderr([&] { EXPECT_FALSE(Kv2ReadPeaksSet2(f, set, -1, rate)); }),
            expected);
    }
    EXPECT_EQ(Kv2GetFilePos(f), 0);
    ASSERT_TRUE(Kv2ReadPeaksSet2(f, set, -1, 44100.0f));
    EXPECT_DOUBLE_EQ(set.time, 1.0);
    Kv2CloseFile(f);
}

TEST(Kv2ReadPeaksSet2, TextPrematureEnd) {
    // A frame that ends early keeps n entries, the missing peaks zero, when
    // the bytes after its header could hold n lines of at least 8 bytes;
    // otherwise it keeps the peaks read.
    const struct {
        std::string bytes;
        int maxPeaks, read, n;
        const char* recs;
    } cases[] = {
        {"100 3\n1 100 0.1 0\n", -1, 1, 3, "1 100 0.1 0 2"},  // 13 bytes left
        {"100 3\n1 100 0.1 0\n2 200 0.2 0\nthat was all\n", -1, 2, 3,
         "1 100 0.1 0 2 | 2 200 0.2 0 2 | 0 0 0 0 0"},
        {"100 2\n1 1 1 1\nxxxxxxx", -1, 1, 2, "1 1 1 1 2 | 0 0 0 0 0"},  // 16 bytes left
        {"100 2\n1 1 1 1\nxxxxxx", -1, 1, 2, "1 1 1 1 2"},               // 15
        {"100 9\n1 1 1 1\nxxxxxxx", 2, 1, 2, "1 1 1 1 2 | 0 0 0 0 0"},   // two wanted of nine
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        FILEIO* f = kv2test::OpenSaved("short.pics", c.bytes, KV_FORMAT_PICS);
        PartialSet set;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Kv2ReadPeaksSet2(f, set, c.maxPeaks, 100.0f));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), Premature("Kv", c.read, c.n));
        EXPECT_EQ(Recs(set), c.recs);
        Kv2CloseFile(f);
    }
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
        const char *head, *last;  // the first two records, the last one
    } cases[] = {
        // a million passes; the record ends after two idents
        {"liar.fmt", Native({0.0f, 1e6f, 1.0f, 2.0f}), KV_FORMAT_FMT, 1000000,
         "1 0 0 0 2 | 2 0 0 0 2", "0 0 0 0 2"},
        // all idents present, frequencies cut short
        {"liar2.fmt", Native({0.0f, 3.0f, 1.0f, 2.0f, 3.0f, 100.0f}), KV_FORMAT_FMT, 3,
         "1 100 0 0 2 | 2 0 0 0 2", "3 0 0 0 2"},
        // peaks are numbered whatever came
        {"liar.picsbin", Native({0.0f, 1e6f, 440.0f}), KV_FORMAT_PICSBIN, 1000000,
         "1 440 0 0 2 | 2 0 0 0 2", "1000000 0 0 0 2"},
        {"liar2.picsbin", Native({0.0f, 2.0f, 440.0f, 880.0f, 0.5f}), KV_FORMAT_PICSBIN, 2,
         "1 440 0.5 0 2 | 2 880 0 0 2", "2 880 0 0 2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FILEIO* f = kv2test::OpenSaved(c.name, c.bytes, c.format);
        auto read = [&](PartialSet& set) {
            return c.format == KV_FORMAT_PICSBIN ? Kv2ReadPeaksSet2(f, set, -1, 1.0f)
                                                 : Kv2ReadPartialSet(f, set);
        };
        PartialSet set;
        EXPECT_EQ(testsupport::CaptureStderr([&] { EXPECT_TRUE(read(set)); }), "");
        ASSERT_EQ(set.size(), c.n);
        EXPECT_EQ(Recs(set, 0, 2), c.head);
        EXPECT_EQ(Recs(set, c.n - 1), c.last);
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
         Premature("Kv2", 3, 4), 3},
        // above a million: a foreign byte order
        {"foreign.fmt", Native({0.0f, 1000001.0f}), KV_FORMAT_FMT, false, Exaggerated(1000001.0),
         -1},
        {"foreign.picsbin", Native({0.0f, 1000001.0f}), KV_FORMAT_PICSBIN, true,
         Exaggerated(1000001.0), -1},
        // a count the rest of the file cannot hold in lines sizes nothing
        {"liar.pics", "0 2147483647\n1 100 0.1 0\n", KV_FORMAT_PICS, true,
         Premature("Kv", 1, 2147483647), 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FILEIO* f = kv2test::OpenSaved(c.name, c.bytes, c.format);
        PartialSet set;
        bool read = true;
        EXPECT_EQ(testsupport::CaptureStderr([&] {
                      read =
                          c.peaks ? Kv2ReadPeaksSet2(f, set, -1, 1.0f) : Kv2ReadPartialSet(f, set);
                  }),
                  c.err);
        EXPECT_FALSE(read);
        EXPECT_EQ(set.size(), c.size < 0 ? set.size() : c.size);  // -1: not checked
        EXPECT_LT(set.params().capacity(), 100000u);
        Kv2CloseFile(f);
    }
    PartialSet set;
    EXPECT_FALSE(Kv2ReadPartialSet(nullptr, set));
}

// ---- Debug printers ----

template <class Set>
std::string PrintedBy(void (*print)(FILE*, const Set&, char*), const Set& set,
                      const char* label = "L") {
    return testsupport::CaptureStdout([&] { print(stdout, set, const_cast<char*>(label)); });
}

// Partial listings show partials (and last points), peak listings peaks,
// chord listings every valid entry; each with its slot.
TEST(Kv2PrintPartial, EachListingShowsItsOwnEntries) {
    using kv2test::Rec;
    PartialSet set(0.5, 0);
    set.addToSet(Rec(7, 100.0f, 0.25f, 0.5f), 0);
    set.addToSet(Rec(8, 200.0f, 0.5f, 1.0f, PartialSet::ePeak), 1);
    set.addToSet(Rec(12, 1234.56f, 1.0f, -3.25f, PartialSet::eLast), 3);
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

// One partial per frame (idents 1, 2, ...), then frames of no partials at
// time 99 past the 1024 bytes the content probe needs; the times of all.
std::vector<double> FramesAt(const std::string& path, std::vector<double> times) {
    std::string s;
    char line[64];
    for (size_t i = 0; i < times.size(); ++i) {
        snprintf(line, sizeof line, "1 %g\n%zu 100 0.1 0\n", times[i], i + 1);
        s += line;
    }
    for (; s.size() < 1100; times.push_back(99.0)) s += "0 99\n";
    WriteFile(path, s);
    return times;
}

// Frames are read from stream 0 only, at times within both bounds inclusive
// (a bound below 0 is none; not a number keeps nothing).
TEST(Kv2File, ReadFramesKeepsStreamZeroAndTimesWithinBothBounds) {
    std::string path = TempPath("frames.add");
    const std::vector<double> all = FramesAt(path, {0.5, 1.0, 1.5, 2.0, 2.5});
    const struct {
        KvFormat format;
        int stream;
        double begin, end;
        std::vector<double> times;
    } cases[] = {{KV_FORMAT_UNKNOWN, -1, 1.0, 2.0, {1.0, 1.5, 2.0}},  // the probe says ADD
                 {KV_FORMAT_ADD, -1, -1.0, -1.0, all},
                 {KV_FORMAT_ADD, 0, -1.0, -1.0, all},
                 {KV_FORMAT_ADD, 1, -1.0, -1.0, {}},
                 {KV_FORMAT_ADD, -1, std::nan(""), -1.0, {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.stream << " from " << c.begin << " to " << c.end);
        Kv2File file;
        ASSERT_TRUE(file.Open(path.c_str(), KV_READ, c.format, -1, nullptr));
        ASSERT_NE(file.mHandle, nullptr);
        EXPECT_EQ(file.mHandle->format, KV_FORMAT_ADD);
        Kv2FrameSet<PartialSet> frames;
        ASSERT_TRUE(file.ReadFrames(frames, c.stream, c.begin, c.end));
        std::vector<double> times;
        for (const PartialSet& f : frames) times.push_back(f.time);
        EXPECT_EQ(times, c.times);
        if (c.begin != 1.0) continue;
        EXPECT_GE(frames.front().PartialIndex(2), 0);
        EXPECT_GE(frames.back().PartialIndex(4), 0);
    }

    // A listener hears of the kept frames only, each once aligned (the
    // ended partial of the frame before is carried in it: two records), and
    // may drop every frame but the last without stopping the alignment.
    struct KeepLast : Kv2FrameListener<PartialSet> {
        std::vector<std::pair<double, int>> heard;  // time, records
        void FrameAppended(Kv2FrameSet<PartialSet>& list) override {
            heard.emplace_back(list.back().time, list.back().size());
            list.erase(list.begin(), std::prev(list.end()));
        }
    } listener;
    Kv2File file;
    ASSERT_TRUE(file.Open(path.c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr));
    Kv2FrameSet<PartialSet> last;
    ASSERT_TRUE(file.ReadFrames(last, -1, 1.0, 2.0, &listener));
    const std::vector<std::pair<double, int>> aligned = {{1.0, 1}, {1.5, 2}, {2.0, 2}};
    EXPECT_EQ(listener.heard, aligned);
    ASSERT_EQ(last.size(), 1u);
    EXPECT_EQ(last.back().PartialIndex(4), 0);
    EXPECT_EQ(last.back().PartialIndex(3), 1);
    EXPECT_EQ(last.back()[1].state, PartialSet::eCarried);
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
