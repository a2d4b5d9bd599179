// Byte layer: cell widths, padding, signatures, big-endian transfer of every
// cell type, and the tokenisers of the text forms.
#include <sys/types.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
class ByteLayer : public ::testing::Test {
   protected:
    void SetUp() override { StartByteLayerOnly(); }
};

// A read stream over bytes kept alive by the test.
FILE* ReadStream(const std::string& bytes) {
    return fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
}

// A text stream holding exactly text (which may be empty or hold NULs).
FILE* TextStream(const std::string& text) {
    FILE* f = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), f);
    std::rewind(f);
    return f;
}

// A write stream whose bytes can be taken back.
struct MemOut {
    char* buf = nullptr;
    size_t size = 0;
    FILE* f = open_memstream(&buf, &size);
    ~MemOut() { std::free(buf); }
    std::string Bytes() {
        std::fflush(f);
        return std::string(buf, size);
    }
};

std::string Bytes(std::initializer_list<int> b) {
    std::string s;
    for (int c : b) s.push_back(static_cast<char>(c));
    return s;
}

}  // namespace

// ---- widths, padding, comparisons ----

TEST_F(ByteLayer, DataTypeWidthIsTheLowByteOfTheCode) {
    // No table: an unknown code (0x0310) still answers its low byte.
    const int cases[][2] = {{eText, 1}, {eFloat8, 8}, {eFloat4, 4},
                            {eInt2, 2}, {eUInt8, 8},  {0x0310, 16}};
    for (const auto& c : cases)
        EXPECT_EQ(SdifSizeofDataType(static_cast<SdifDataTypeET>(c[0])), size_t(c[1])) << c[0];
}

TEST_F(ByteLayer, DataTypeKnownAcceptsTheNineHandledCodesAndWarnsOnlyFor64BitIntegers) {
    CaptureSdifStdErr err;
    for (int code : {0x0004, 0x0008, 0x0101, 0x0102, 0x0104, 0x0201, 0x0202, 0x0204, 0x0301})
        EXPECT_EQ(SdifDataTypeKnown(static_cast<SdifDataTypeET>(code)), 1) << std::hex << code;
    EXPECT_EQ(err.Text(), "");
    EXPECT_EQ(SdifDataTypeKnown(static_cast<SdifDataTypeET>(0x0103)), 0);  // silently
    EXPECT_EQ(err.Text(), "");
    EXPECT_EQ(SdifDataTypeKnown(eInt8), 0);
    EXPECT_EQ(err.Text(), "*Sdif* standard datatypes Int8, UInt8 not yet handled\n");
    EXPECT_EQ(SdifDataTypeKnown(eUInt8), 0);
    const std::string notice = "*Sdif* standard datatypes Int8, UInt8 not yet handled\n";
    EXPECT_EQ(err.Text(), notice + notice);
}

TEST_F(ByteLayer, PaddingCompletesChunksToEightBytes) {
    const size_t cases[][2] = {{0, 0}, {8, 0}, {16, 0}, {1, 7}, {7, 1}, {9, 7}, {12, 4}};
    for (const auto& c : cases) EXPECT_EQ(SdifPaddingCalculate(c[0]), c[1]) << c[0];
    EXPECT_EQ(SdifFPaddingCalculate(nullptr, 12), 4u);
}

TEST_F(ByteLayer, Float8EquToleratesLessThanTwoToTheMinus23EitherWay) {
    // the bound itself is outside
    EXPECT_EQ(std::vector<int>({SdifFloat8Equ(1.0, 1.0 + 1e-8), SdifFloat8Equ(1.0 + 1e-8, 1.0),
                                SdifFloat8Equ(1.0, 1.0 + 1e-6), SdifFloat8Equ(1.0 + 1e-6, 1.0),
                                SdifFloat8Equ(0.0, 1.1920928955078125e-7)}),
              std::vector<int>({1, 1, 0, 0, 0}));
}

// ---- signatures ----

TEST_F(ByteLayer, SignatureTextIsMostSignificantCharacterFirst) {
    EXPECT_STREQ(SdifSignatureToString(0x31545243), "1TRC");
    EXPECT_STREQ(SdifSignatureToString(0x53444946), "SDIF");
    EXPECT_EQ(
        std::vector<SdifSignature>({SdifStringToSignature("1TRC"), SdifStringToSignature("1TRCXYZ"),
                                    SdifStringToSignature("1T"), SdifStringToSignature("")}),
        std::vector<SdifSignature>({0x31545243u, 0x31545243u, 0x31540000u, 0u}));
    // the comparison without version ignores the fourth character
    EXPECT_EQ(SdifSignatureCmpNoVersion(0x31545243, 0x31545244), 1);  // 1TRC, 1TRD
    EXPECT_EQ(SdifSignatureCmpNoVersion(0x31545243, 0x32545243), 0);  // 1TRC, 2TRC
}

TEST_F(ByteLayer, EachThreadHasItsOwnSignatureBuffers) {
    char* mine = SdifSignatureToString(0x31545243);
    char* theirs = nullptr;
    std::string theirText;
    std::thread t([&] {
        theirs = SdifSignatureToString(0x31485247);
        theirText = theirs;
    });
    t.join();
    EXPECT_NE(mine, theirs);
    EXPECT_STREQ(mine, "1TRC");
    EXPECT_EQ(theirText, "1HRG");
}

TEST(ByteLayerDeath, SignatureConversionBeforeStartUpStops) {
    const char* stop = "failed assertion `gSdifInitialised && \"SDIF library not initialised!\"'";
    EXPECT_DEATH((gSdifInitialised = 0, SdifSignatureToString(0x31545243)), stop);
    EXPECT_DEATH((gSdifInitialised = 0, SdifStringToSignature("1TRC")), stop);
}

// ---- binary transfer ----

namespace {
// Reads two cells of type T from image, checks them, writes them back and
// compares the bytes with image.
template <class T>
void ExpectRoundTrip(const std::string& image, size_t (*read)(T*, size_t, SdifFileT*),
                     size_t (*write)(const T*, size_t, SdifFileT*), T first, T second) {
    StreamFile in(ReadStream(image));
    T v[2];
    ASSERT_EQ(read(v, 2, in.get()), 2u);
    EXPECT_EQ(v[0], first);
    EXPECT_EQ(v[1], second);
    MemOut out;
    StreamFile o(out.f);
    EXPECT_EQ(write(v, 2, o.get()), 2u);
    EXPECT_EQ(out.Bytes(), image);
}
}  // namespace

// Big-endian images written by hand, read into host values and written back.
TEST_F(ByteLayer, EveryCellTypeRoundTripsThroughItsBigEndianImage) {
    const std::string i2 = Bytes({0x12, 0x34, 0xFF, 0xFE});
    const std::string i4 = Bytes({0x00, 0x01, 0x02, 0x03, 0xFF, 0xFF, 0xFF, 0xFD});
    const std::string f4 = Bytes({0x3F, 0xC0, 0, 0, 0xC0, 0, 0, 0});  // 1.5f, -2.0f
    const std::string f8 = Bytes({0x3F, 0xF8, 0, 0, 0, 0, 0, 0, 0xC0, 0x24, 0, 0, 0, 0, 0, 0});
    const std::string b1 = Bytes({'a', 0x80, 0xFF});
    ExpectRoundTrip<SdifInt2>(i2, SdiffReadInt2, SdiffWriteInt2, 0x1234, -2);
    ExpectRoundTrip<SdifUInt2>(i2, SdiffReadUInt2, SdiffWriteUInt2, 0x1234, 0xFFFE);
    ExpectRoundTrip<SdifInt4>(i4, SdiffReadInt4, SdiffWriteInt4, 0x00010203, -3);
    ExpectRoundTrip<SdifUInt4>(i4, SdiffReadUInt4, SdiffWriteUInt4, 0x00010203u, 0xFFFFFFFDu);
    ExpectRoundTrip<SdifFloat4>(f4, SdiffReadFloat4, SdiffWriteFloat4, 1.5f, -2.0f);
    ExpectRoundTrip<SdifFloat8>(f8, SdiffReadFloat8, SdiffWriteFloat8, 1.5, -10.0);
    {
        StreamFile in(ReadStream(b1));
        SdifChar c[3];
        SdifInt1 i[3];
        SdifUInt1 u[3];
        ASSERT_EQ(SdiffReadChar(c, 3, in.get()), 3u);
        std::rewind(in->Stream);
        ASSERT_EQ(SdiffReadInt1(i, 3, in.get()), 3u);
        std::rewind(in->Stream);
        ASSERT_EQ(SdiffReadUInt1(u, 3, in.get()), 3u);
        EXPECT_EQ(std::make_tuple(c[0], i[1], i[2], u[2]),
                  std::make_tuple('a', SdifInt1(-128), SdifInt1(-1), SdifUInt1(255)));
        MemOut out;
        StreamFile o(out.f);
        EXPECT_EQ(SdiffWriteChar(c, 3, o.get()), 3u);
        EXPECT_EQ(SdiffWriteInt1(i, 3, o.get()), 3u);
        EXPECT_EQ(SdiffWriteUInt1(u, 3, o.get()), 3u);
        EXPECT_EQ(out.Bytes(), b1 + b1 + b1);
    }
    EXPECT_EQ(Exits().calls, 0);
}

namespace {
std::vector<size_t> gWriteCalls;
std::string gWritten;
ssize_t CountingWrite(void*, const char* buf, size_t n) {
    gWriteCalls.push_back(n);
    gWritten.append(buf, n);
    return static_cast<ssize_t>(n);
}
ssize_t FailingWrite(void*, const char*, size_t) { return 0; }  // glibc ignores -1 here

FILE* CookieStream(ssize_t (*write)(void*, const char*, size_t)) {
    cookie_io_functions_t io{nullptr, write, nullptr, nullptr};
    FILE* f = fopencookie(nullptr, "w", io);
    setvbuf(f, nullptr, _IONBF, 0);  // one write per fwrite
    return f;
}
}  // namespace

TEST_F(ByteLayer, LittleEndianWriteGoesThroughTheBufferAndLeavesTheCallersArray) {
    std::vector<SdifFloat4> cells(3000);
    for (size_t i = 0; i < cells.size(); i++) cells[i] = static_cast<float>(i) * 0.25f - 7.0f;
    const std::vector<SdifFloat4> before = cells;
    gWriteCalls.clear();
    gWritten.clear();
    {
        StreamFile o(CookieStream(CountingWrite));
        EXPECT_EQ(SdiffWriteFloat4(cells.data(), cells.size(), o.get()), 3000u);
    }
    EXPECT_EQ(std::memcmp(cells.data(), before.data(), cells.size() * 4), 0);
    EXPECT_EQ(gWriteCalls, (std::vector<size_t>{4096, 4096, 3808}));  // 1024, 1024, 952 cells
    ASSERT_EQ(gWritten.size(), 12000u);
    for (size_t i : {size_t(0), size_t(1023), size_t(1024), size_t(2999)}) {
        uint32_t bits;
        std::memcpy(&bits, &cells[i], 4);
        const unsigned char* p = reinterpret_cast<const unsigned char*>(gWritten.data() + 4 * i);
        EXPECT_EQ((uint32_t(p[0]) << 24) | (p[1] << 16) | (p[2] << 8) | p[3], bits) << i;
    }
}

TEST_F(ByteLayer, ShortWriteReportsEachRunAndGoesOn) {
    std::vector<SdifFloat8> cells(1000, 2.5);  // 512 + 488 cells
    RecordReports rec;
    AllowFatal fatal;
    {
        StreamFile o(CookieStream(FailingWrite));
        EXPECT_EQ(SdiffWriteFloat8(cells.data(), cells.size(), o.get()), 0u);
        EXPECT_EQ(o->ErrorCount[eFatal], 2u);
    }
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eEof, eEof}));
    EXPECT_NE(rec.Reports()[0].text.find("--> End of file : Sdiffwrite "), std::string::npos);
    EXPECT_EQ(fatal.Count(), 2);
}

// ---- text tokenisers ----

namespace {
enum Tokeniser { kString, kWordUntil, kStringUntil, kWeakUntil, kSkip, kSignature };

struct TokenCase {
    Tokeniser fn;
    std::string text;
    size_t max;
    const char* stop;
    int answer;
    const char* word;  // the buffer up to its NUL (a signature in hexadecimal); null: unchecked
    size_t count;      // characters counted on the stream
    int next;          // next character left in the input, or EOF
    int reported;      // the tag reported by each form, or 0
    bool textForm;     // also run on an SdifStringT (which cannot hold a NUL)
    const char* message = "";  // of the last report
};

// One call on the stream f (counting into n) or, without f, on the text s.
int CallTokeniser(const TokenCase& c, FILE* f, SdifStringT* s, char* buf, size_t* n) {
    SdifSignature sig = 7;  // must be overwritten, also at the end of input
    int answer = 0;
    switch (c.fn) {
        case kString:
            return f ? SdiffGetString(f, buf, c.max, n)
                     : SdiffGetStringfromSdifString(s, buf, c.max);
        case kWordUntil:
            return f ? SdiffGetWordUntil(f, buf, c.max, n, c.stop)
                     : SdiffGetWordUntilfromSdifString(s, buf, c.max, c.stop);
        case kStringUntil:
            return f ? SdiffGetStringUntil(f, buf, c.max, n, c.stop)
                     : SdiffGetStringUntilfromSdifString(s, buf, c.max, c.stop);
        case kWeakUntil:
            return f ? SdiffGetStringWeakUntil(f, buf, c.max, n, c.stop)
                     : SdiffGetStringWeakUntilfromSdifString(s, buf, c.max, c.stop);
        case kSkip:
            return f ? SdifSkipASCIIUntil(f, n, c.stop)
                     : SdifSkipASCIIUntilfromSdifString(s, c.stop);
        case kSignature:
            answer = f ? SdiffGetSignature(f, &sig, n) : SdiffGetSignaturefromSdifString(s, &sig);
            std::snprintf(buf, 64, "%08x", sig);
            return answer;
    }
    return -99;
}

}  // namespace

TEST_F(ByteLayer, ReservedCharactersAreExactlyTheFivePunctuationMarks) {
    for (char c : std::string(",;{}:")) EXPECT_EQ(SdifIsAReservedChar(c), 1) << c;
    for (int c : {0, int(' '), int('a'), int('('), int(')'), int('.'), int('='), int('\n'), EOF})
        EXPECT_EQ(SdifIsAReservedChar(c), 0) << c;
}

// Every tokeniser on a stream and, where the text allows, on the same text in
// an SdifStringT: the answer, the word, what was counted and what is left.
TEST_F(ByteLayer, TokenisersAnswerWordCountAndNextCharacter) {
    const std::string nul1("ab\0cd", 5), nul2("ab\0z", 4);
    const TokenCase cases[] = {
        // a name ends at a reserved character, also after blanks
        {kString, "  name;rest", 64, "", ';', "name", 7, 'r', 0, true},
        {kString, "\tname \n {", 64, "", '{', "name", 9, EOF, 0, true},
        // a second word cuts the first; the first character of the second is consumed
        {kString, "first second;", 64, "", -1, "first", 7, 'e', eWordCut, true,
         "Word cut read : 'first'"},
        // ncMax characters without a reserved one; three and the NUL fit
        {kString, "abcdefgh;", 4, "", eTokenLength, "abc", 4, 'e', eTokenLength, true,
         "Token too long : 'abc'"},
        {kString, "abc;", 4, "", ';', "abc", 4, EOF, 0, true},
        {kString, "", 64, "", eEof, "", 0, EOF, 0, true},
        {kString, "   ", 64, "", eEof, "", 3, EOF, 0, true},
        {kString, "name  ", 64, "", eEof, "name", 6, EOF, 0, true},
        {kWordUntil, "value}rest", 64, "}", '}', "value", 6, 'r', 0, true},
        {kWordUntil, "key   =v", 64, "=;", '=', "key", 7, 'v', 0, true},
        {kWordUntil, "", 64, ";", eEof, "", 0, EOF, 0, true},
        {kWordUntil, "abc", 64, ";", eEof, "abc", 3, EOF, 0, true},
        {kWordUntil, "ab cd;", 64, ";", -1, "ab", 4, 'd', eWordCut, true, "Word cut read : 'ab'"},
        {kWordUntil, nul1, 64, ";", 0, "ab", 3, 'c', 0, false},
        // leading blanks skipped; the weak form keeps inner ones
        {kStringUntil, "   key=v", 64, "=", '=', "key", 7, 'v', 0, true},
        {kWeakUntil, "a b\tc;x", 64, ";", ';', "a b\tc", 6, 'x', 0, true},
        // skipping stops at a stop character or an unprintable one (0xE9 not negative)
        {kSkip, "abc def\n{x", 0, "{", '{', nullptr, 9, 'x', 0, true},
        {kSkip, "ab\x01z", 0, "{", 1, nullptr, 3, 'z', 0, true},
        {kSkip, "ab\xE9z", 0, "{", 0xE9, nullptr, 3, 'z', 0, true},
        {kSkip, nul2, 0, "{", 0, nullptr, 3, 'z', 0, false},
        {kSkip, "abc", 0, "{", eEof, nullptr, 3, EOF, 0, true},
        // at most four characters; the one after the fourth is not read
        {kSignature, "  1TR;", 0, "", ';', "31545200", 6, EOF, 0, true},
        {kSignature, "1TRCX", 0, "", 'C', "31545243", 4, 'X', 0, true},
        {kSignature, "1T  ", 0, "", ' ', "31540000", 3, ' ', 0, true},
        // the end of input answers 4 and the signature 0; only real characters count
        {kSignature, "", 0, "", eEof, "00000000", 0, EOF, 0, true},
        {kSignature, " 1T", 0, "", eEof, "00000000", 3, EOF, 0, true},
    };
    for (const TokenCase& c : cases) {
        SCOPED_TRACE(c.text);
        RecordReports rec;
        AllowFatal fatal;
        char buf[64];
        auto word = [&] { return c.word ? std::string(buf, strnlen(buf, sizeof buf)) : ""; };
        const std::string want = c.word ? c.word : "";
        std::memset(buf, 'Z', sizeof buf);
        FILE* f = TextStream(c.text);
        size_t count = 0;
        EXPECT_EQ(CallTokeniser(c, f, nullptr, buf, &count), c.answer);
        EXPECT_EQ(word(), want);
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(std::getc(f), c.next);
        std::fclose(f);
        if (c.textForm) {
            std::memset(buf, 'Z', sizeof buf);
            SdifStringT* s = SdifStringNew();
            SdifStringAppend(s, c.text.c_str());
            EXPECT_EQ(CallTokeniser(c, nullptr, s, buf, nullptr), c.answer);
            EXPECT_EQ(word(), want);
            EXPECT_EQ(SdifStringIsEOS(s) ? EOF : static_cast<unsigned char>(SdifStringGetC(s)),
                      c.next);
            SdifStringFree(s);
        }
        const int forms = c.textForm ? 2 : 1;
        EXPECT_EQ(rec.Tags(),
                  c.reported ? std::vector<int>(forms, c.reported) : std::vector<int>{});
        EXPECT_EQ(rec.LastMessage(), c.message);
    }
}

TEST_F(ByteLayer, GetWordUntilFullBufferAnswersZeroUnterminatedAndReportsOnlyBeforeANul) {
    RecordReports rec;
    char buf[8];
    std::memset(buf, 'Z', sizeof buf);
    std::string text = "abcdef;";
    FILE* f = TextStream(text);
    size_t n = 0;
    EXPECT_EQ(SdiffGetWordUntil(f, buf, 3, &n, ";"), 0);
    EXPECT_EQ(std::string(buf, 4), "abcZ");  // no NUL written
    EXPECT_EQ(n, 4u);                        // the character after the full buffer was read
    std::fclose(f);
    EXPECT_TRUE(rec.Reports().empty());

    AllowFatal fatal;
    text = std::string("abc\0", 4);
    f = TextStream(text);
    EXPECT_EQ(SdiffGetWordUntil(f, buf, 3, &n, ";"), eTokenLength);
    EXPECT_EQ(std::string(buf, 4), "abcZ");
    std::fclose(f);
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eTokenLength}));
    EXPECT_EQ(rec.LastMessage(), "Token too long : 'abc'");
    EXPECT_EQ(fatal.Count(), 1);
}

// On a stream the end of input is an end-of-file report; on a text it is silent.
TEST_F(ByteLayer, ReadSpaceCountsBlanksAndPushesTheNextCharacterBack) {
    FILE* f = TextStream(" \t\n x");
    EXPECT_EQ(SdiffReadSpace(f), 4u);
    EXPECT_EQ(std::getc(f), 'x');
    std::fclose(f);
    SdifStringT* s = SdifStringNew();
    SdifStringAppend(s, "  y");
    EXPECT_EQ(SdiffReadSpacefromSdifString(s), 2u);
    EXPECT_EQ(SdifStringGetC(s), 'y');
    RecordReports rec;
    AllowFatal fatal;
    EXPECT_EQ(SdiffReadSpacefromSdifString(s), 0u);
    SdifStringFree(s);
    EXPECT_TRUE(rec.Reports().empty());
    f = TextStream("  ");
    EXPECT_EQ(SdiffReadSpace(f), 2u);
    std::fclose(f);
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eEof}));
    EXPECT_EQ(rec.LastMessage(), "End of file : SdiffReadSpace");
    EXPECT_EQ(fatal.Count(), 1);
}

TEST_F(ByteLayer, ScanReadsOneItemPerCallAndStopsAtTheFirstFailure) {
    FILE* f = TextStream("1.5 -2e1 3 x 4");
    SdifFloat4 v[5] = {};
    EXPECT_EQ(SdiffScanFloat4(f, v, 5), 3u);
    EXPECT_EQ(std::vector<float>(v, v + 3), (std::vector<float>{1.5f, -20.0f, 3.0f}));
    EXPECT_EQ(SdiffScanFloat4(f, v, 0), 0u);
    std::fclose(f);

    f = TextStream("-5 200 0x10 -3 65535 4000000000 2.25");  // %i reads hexadecimal
    SdifInt1 i1;
    SdifUInt1 u1;
    SdifInt4 i4;
    SdifInt2 i2;
    SdifUInt2 u2;
    SdifUInt4 u4;
    SdifFloat8 f8;
    // one statement each: the reads must come in this order
    size_t n = SdiffScanInt1(f, &i1, 1);
    n += SdiffScanUInt1(f, &u1, 1);
    n += SdiffScanInt4(f, &i4, 1);
    n += SdiffScanInt2(f, &i2, 1);
    n += SdiffScanUInt2(f, &u2, 1);
    n += SdiffScanUInt4(f, &u4, 1);
    n += SdiffScanFloat8(f, &f8, 1);
    EXPECT_EQ(n, 7u);
    EXPECT_EQ(SdiffScanFloat8(f, &f8, 1), 0u);  // end of input
    std::fclose(f);
    EXPECT_EQ(std::make_tuple(int(i1), int(u1), i4, int(i2), int(u2), u4, f8),
              std::make_tuple(-5, 200, 16, -3, 65535, 4000000000u, 2.25));
}

TEST_F(ByteLayer, ScanCharKeepsTheSecondCharacterOfABoundedWord) {
    FILE* f = TextStream("'x' 'y' '" + std::string(200, 'w') + "' 'z'");
    SdifChar c[4] = {};
    EXPECT_EQ(SdiffScanChar(f, c, 4), 4u);
    std::fclose(f);
    // the long word is cut at 63 characters (no overflow) and its rest read as the next word
    EXPECT_EQ(std::string(c, 4), "xyww");
}

TEST_F(ByteLayer, StringToNVBlanksTabsAndLineFeedsInPlace) {
    char text[] = "a\tb\nc\rd";
    EXPECT_EQ(SdifStringToNV(text), text);
    EXPECT_STREQ(text, "a b c\rd");
}
