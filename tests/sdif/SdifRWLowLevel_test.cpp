// Byte layer: cell widths, padding, signatures, big-endian transfer of every
// cell type, and the tokenisers of the text forms.
#include <sys/types.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "SdifTestEnv.h"

using sdiftest::AllowFatal;
using sdiftest::CaptureSdifStdErr;
using sdiftest::RecordReports;
using sdiftest::StreamFile;

namespace {

class ByteLayer : public ::testing::Test {
   protected:
    void SetUp() override { sdiftest::StartByteLayerOnly(); }
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
    EXPECT_EQ(SdifDataTypeKnown(static_cast<SdifDataTypeET>(0x0103)), 0);
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
    EXPECT_EQ(SdifFloat8Equ(1.0, 1.0 + 1e-8), 1);
    EXPECT_EQ(SdifFloat8Equ(1.0 + 1e-8, 1.0), 1);
    EXPECT_EQ(SdifFloat8Equ(1.0, 1.0 + 1e-6), 0);
    EXPECT_EQ(SdifFloat8Equ(1.0 + 1e-6, 1.0), 0);
    EXPECT_EQ(SdifFloat8Equ(0.0, 1.1920928955078125e-7), 0);  // the bound itself is outside
}

// ---- signatures ----

TEST_F(ByteLayer, SignatureTextIsMostSignificantCharacterFirst) {
    EXPECT_STREQ(SdifSignatureToString(0x31545243), "1TRC");
    EXPECT_STREQ(SdifSignatureToString(0x53444946), "SDIF");
    EXPECT_EQ(SdifStringToSignature("1TRC"), 0x31545243u);
    EXPECT_EQ(SdifStringToSignature("1TRCXYZ"), 0x31545243u);
    EXPECT_EQ(SdifStringToSignature("1T"), 0x31540000u);
    EXPECT_EQ(SdifStringToSignature(""), 0u);
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

TEST_F(ByteLayer, SignatureCompareIgnoresTheFourthCharacter) {
    EXPECT_EQ(SdifSignatureCmpNoVersion(0x31545243, 0x31545244), 1);  // 1TRC, 1TRD
    EXPECT_EQ(SdifSignatureCmpNoVersion(0x31545243, 0x32545243), 0);  // 1TRC, 2TRC
}

TEST(ByteLayerDeath, SignatureConversionBeforeStartUpStops) {
    const char* stop = "failed assertion `gSdifInitialised && \"SDIF library not initialised!\"'";
    EXPECT_DEATH((gSdifInitialised = 0, SdifSignatureToString(0x31545243)), stop);
    EXPECT_DEATH((gSdifInitialised = 0, SdifStringToSignature("1TRC")), stop);
}

// ---- byte swapping ----

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
        EXPECT_EQ(c[0], 'a');
        EXPECT_EQ(i[1], -128);
        EXPECT_EQ(i[2], -1);
        EXPECT_EQ(u[2], 255);
        MemOut out;
        StreamFile o(out.f);
        EXPECT_EQ(SdiffWriteChar(c, 3, o.get()), 3u);
        EXPECT_EQ(SdiffWriteInt1(i, 3, o.get()), 3u);
        EXPECT_EQ(SdiffWriteUInt1(u, 3, o.get()), 3u);
        EXPECT_EQ(out.Bytes(), b1 + b1 + b1);
    }
    EXPECT_EQ(sdiftest::Exits().calls, 0);
}

TEST_F(ByteLayer, ShortReadReportsEofWithPositionAndStillSwapsWhatArrived) {
    const std::string bytes = Bytes({0x3F, 0xC0, 0, 0, 0x40, 0x00});  // 1.5f and half a cell
    StreamFile in(ReadStream(bytes));
    RecordReports rec;
    AllowFatal fatal;
    SdifFloat4 v[2] = {0, 0};
    EXPECT_EQ(SdiffReadFloat4(v, 2, in.get()), 1u);
    EXPECT_EQ(v[0], 1.5f);
    ASSERT_EQ(rec.Reports().size(), 1u);
    EXPECT_EQ(rec.Reports()[0].tag, eEof);
    EXPECT_EQ(rec.Reports()[0].level, eFatal);
    EXPECT_EQ(rec.LastMessage(), "End of file : Sdiffread 6");
    EXPECT_EQ(fatal.Count(), 1);  // end of file is Fatal: the exit callback follows
    EXPECT_EQ(in->ErrorCount[eFatal], 1u);
    EXPECT_EQ(SdifFLastErrorTag(in.get()), eEof);
}

TEST_F(ByteLayer, SignatureReadAnswersOneThenFourAtEndOfFile) {
    const std::string bytes = "1TRCSDIF";
    StreamFile in(ReadStream(bytes));
    RecordReports rec;
    SdifSignature sig = 1;
    size_t nb = 10;
    EXPECT_EQ(SdiffReadSignature(&sig, in.get(), &nb), 1);
    EXPECT_EQ(sig, 0x31545243u);
    EXPECT_EQ(nb, 14u);
    EXPECT_EQ(SdiffReadSignature(&sig, in.get(), &nb), 1);  // the last four bytes of the file
    EXPECT_EQ(sig, 0x53444946u);
    EXPECT_EQ(SdiffReadSignature(&sig, in.get(), &nb), eEof);
    EXPECT_EQ(sig, 0u);
    EXPECT_EQ(nb, 18u);
    EXPECT_TRUE(rec.Reports().empty());
}

TEST_F(ByteLayer, SignatureAndStringWriteInReadingOrder) {
    MemOut out;
    StreamFile o(out.f);
    SdifSignature sig = 0x31545243;
    EXPECT_EQ(SdiffWriteSignature(&sig, o.get()), 1u);
    EXPECT_EQ(sig, 0x31545243u);
    EXPECT_EQ(SdiffWriteString("name value", o.get()), 10u);
    EXPECT_EQ(out.Bytes(), "1TRCname value");
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

// What one tokeniser call gave on a stream, and on the same text in an
// SdifStringT; both must agree.
struct Token {
    int answer;
    std::string word;  // the buffer up to its NUL
    size_t count;      // characters counted (stream form)
    int next;          // next character left in the input, or EOF
};

template <class StreamCall, class TextCall>
std::pair<Token, Token> RunBoth(const std::string& text, StreamCall onStream, TextCall onText) {
    Token a{}, b{};
    char buf[64];
    std::memset(buf, 'Z', sizeof buf);
    FILE* f = TextStream(text);
    size_t count = 0;
    a.answer = onStream(f, buf, &count);
    a.word.assign(buf, strnlen(buf, sizeof buf));
    a.count = count;
    a.next = std::getc(f);
    std::fclose(f);

    std::memset(buf, 'Z', sizeof buf);
    SdifStringT* s = SdifStringNew();
    SdifStringAppend(s, text.c_str());
    b.answer = onText(s, buf);
    b.word.assign(buf, strnlen(buf, sizeof buf));
    b.next = SdifStringIsEOS(s) ? EOF : static_cast<unsigned char>(SdifStringGetC(s));
    SdifStringFree(s);
    return {a, b};
}

std::pair<Token, Token> GetString(const std::string& text, size_t max) {
    return RunBoth(
        text, [&](FILE* f, char* buf, size_t* n) { return SdiffGetString(f, buf, max, n); },
        [&](SdifStringT* s, char* buf) { return SdiffGetStringfromSdifString(s, buf, max); });
}

std::pair<Token, Token> GetWordUntil(const std::string& text, size_t max, const char* stop) {
    return RunBoth(
        text,
        [&](FILE* f, char* buf, size_t* n) { return SdiffGetWordUntil(f, buf, max, n, stop); },
        [&](SdifStringT* s, char* buf) {
            return SdiffGetWordUntilfromSdifString(s, buf, max, stop);
        });
}

void ExpectAgree(const std::pair<Token, Token>& r) {
    EXPECT_EQ(r.first.answer, r.second.answer);
    EXPECT_EQ(r.first.word, r.second.word);
    EXPECT_EQ(r.first.next, r.second.next);
}

}  // namespace

TEST_F(ByteLayer, ReservedCharactersAreExactlyTheFivePunctuationMarks) {
    for (char c : std::string(",;{}:")) EXPECT_EQ(SdifIsAReservedChar(c), 1) << c;
    for (int c : {0, int(' '), int('a'), int('('), int(')'), int('.'), int('='), int('\n'), EOF})
        EXPECT_EQ(SdifIsAReservedChar(c), 0) << c;
}

TEST_F(ByteLayer, GetStringEndsAtAReservedCharacterAfterTheName) {
    auto r = GetString("  name;rest", 64);
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, ';');
    EXPECT_EQ(r.first.word, "name");
    EXPECT_EQ(r.first.count, 7u);
    EXPECT_EQ(r.first.next, 'r');

    r = GetString("\tname \n {", 64);  // blanks before the reserved character are fine
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, '{');
    EXPECT_EQ(r.first.word, "name");
    EXPECT_EQ(r.first.count, 9u);
}

TEST_F(ByteLayer, GetStringWarnsOnACutWord) {
    RecordReports rec;
    auto r = GetString("first second;", 64);
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, -1);
    EXPECT_EQ(r.first.word, "first");
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eWordCut, eWordCut}));
    EXPECT_EQ(rec.Reports()[0].level, eWarning);
    EXPECT_EQ(rec.LastMessage(), "Word cut read : 'first'");
}

TEST_F(ByteLayer, GetStringReportsATokenThatFillsItsBuffer) {
    RecordReports rec;
    AllowFatal fatal;
    auto r = GetString("abcdefgh;", 4);
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, eTokenLength);
    EXPECT_EQ(r.first.word, "abc");
    EXPECT_EQ(r.first.count, 4u);  // max characters consumed
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eTokenLength, eTokenLength}));
    EXPECT_EQ(rec.LastMessage(), "Token too long : 'abc'");
    EXPECT_EQ(fatal.Count(), 2);

    rec.Reports().clear();
    r = GetString("abc;", 4);  // three characters and the NUL fit
    EXPECT_EQ(r.first.answer, ';');
    EXPECT_EQ(r.first.word, "abc");
    EXPECT_TRUE(rec.Reports().empty());
}

TEST_F(ByteLayer, GetStringAnswersFourAtEndOfInput) {
    for (const char* text : {"", "   ", "name", "name  "}) {
        auto r = GetString(text, 64);
        ExpectAgree(r);
        EXPECT_EQ(r.first.answer, eEof) << text;
    }
    EXPECT_EQ(GetString("name", 64).first.word, "name");
}

TEST_F(ByteLayer, GetSignatureTakesAtMostFourCharacters) {
    auto r = RunBoth(
        "  1TR;",
        [](FILE* f, char*, size_t* n) {
            SdifSignature s = 0;
            int c = SdiffGetSignature(f, &s, n);
            EXPECT_EQ(s, 0x31545200u);
            return c;
        },
        [](SdifStringT* str, char*) {
            SdifSignature s = 0;
            int c = SdiffGetSignaturefromSdifString(str, &s);
            EXPECT_EQ(s, 0x31545200u);
            return c;
        });
    EXPECT_EQ(r.first.answer, ';');
    EXPECT_EQ(r.second.answer, ';');
    EXPECT_EQ(r.first.count, 6u);

    std::string text = "1TRCX";
    FILE* f = TextStream(text);
    SdifSignature sig = 0;
    size_t n = 0;
    EXPECT_EQ(SdiffGetSignature(f, &sig, &n), 'C');
    EXPECT_EQ(sig, 0x31545243u);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(std::getc(f), 'X');  // the character after the fourth is not read
    std::fclose(f);

    text = "1T  ";
    f = TextStream(text);
    EXPECT_EQ(SdiffGetSignature(f, &sig, &n), ' ');
    EXPECT_EQ(sig, 0x31540000u);
    std::fclose(f);
}

TEST_F(ByteLayer, GetSignatureAtEndOfInputAnswersFourAndZero) {
    for (std::string text : {"", "  ", " 1T"}) {
        FILE* f = TextStream(text);
        SdifSignature sig = 7;
        size_t n = 0;
        EXPECT_EQ(SdiffGetSignature(f, &sig, &n), eEof) << text;
        EXPECT_EQ(sig, 0u);
        EXPECT_EQ(n, text.size()) << text;  // only real characters are counted
        std::fclose(f);

        SdifStringT* s = SdifStringNew();
        SdifStringAppend(s, text.c_str());
        sig = 7;
        EXPECT_EQ(SdiffGetSignaturefromSdifString(s, &sig), eEof) << text;
        EXPECT_EQ(sig, 0u);
        SdifStringFree(s);
    }
}

TEST_F(ByteLayer, GetWordUntilEndsAtAStopCharacter) {
    auto r = GetWordUntil("value}rest", 64, "}");
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, '}');
    EXPECT_EQ(r.first.word, "value");
    EXPECT_EQ(r.first.count, 6u);

    r = GetWordUntil("key   =v", 64, "=;");  // blanks then the stop character
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, '=');
    EXPECT_EQ(r.first.word, "key");
    EXPECT_EQ(r.first.next, 'v');

    r = GetWordUntil("", 64, ";");
    EXPECT_EQ(r.second.answer, eEof);
    r = GetWordUntil("abc", 64, ";");
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, eEof);
    EXPECT_EQ(r.first.word, "abc");
}

TEST_F(ByteLayer, GetWordUntilConsumesTheCharacterThatCutsAWord) {
    RecordReports rec;
    auto r = GetWordUntil("ab cd;", 64, ";");
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, -1);
    EXPECT_EQ(r.first.word, "ab");
    EXPECT_EQ(r.first.next, 'd');  // 'c' was read and consumed
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eWordCut, eWordCut}));
}

TEST_F(ByteLayer, GetWordUntilStopsAtANulCharacter) {
    auto r = GetWordUntil(std::string("ab\0cd", 5), 64, ";");
    EXPECT_EQ(r.first.answer, 0);
    EXPECT_EQ(r.first.word, "ab");
    EXPECT_EQ(r.first.next, 'c');
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
    std::memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(SdiffGetWordUntil(f, buf, 3, &n, ";"), eTokenLength);
    EXPECT_EQ(std::string(buf, 4), "abcZ");
    std::fclose(f);
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eTokenLength}));
    EXPECT_EQ(rec.LastMessage(), "Token too long : 'abc'");
    EXPECT_EQ(fatal.Count(), 1);
}

TEST_F(ByteLayer, GetStringUntilSkipsLeadingBlanksAndWeakUntilKeepsInnerOnes) {
    auto r = RunBoth(
        "   key=v",
        [](FILE* f, char* buf, size_t* n) { return SdiffGetStringUntil(f, buf, 64, n, "="); },
        [](SdifStringT* s, char* buf) {
            return SdiffGetStringUntilfromSdifString(s, buf, 64, "=");
        });
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, '=');
    EXPECT_EQ(r.first.word, "key");
    EXPECT_EQ(r.first.count, 7u);

    r = RunBoth(
        "a b\tc;x",
        [](FILE* f, char* buf, size_t* n) { return SdiffGetStringWeakUntil(f, buf, 64, n, ";"); },
        [](SdifStringT* s, char* buf) {
            return SdiffGetStringWeakUntilfromSdifString(s, buf, 64, ";");
        });
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, ';');
    EXPECT_EQ(r.first.word, "a b\tc");
    EXPECT_EQ(r.first.next, 'x');
}

TEST_F(ByteLayer, SkipASCIIUntilStopsAtStopOrUnprintableCharacters) {
    auto skip = [](const std::string& text, const char* stop) {
        return RunBoth(
            text, [&](FILE* f, char*, size_t* n) { return SdifSkipASCIIUntil(f, n, stop); },
            [&](SdifStringT* s, char*) { return SdifSkipASCIIUntilfromSdifString(s, stop); });
    };
    auto r = skip("abc def\n{x", "{");
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, '{');
    EXPECT_EQ(r.first.count, 9u);
    EXPECT_EQ(r.first.next, 'x');

    r = skip("ab\x01z", "{");
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, 1);
    r = skip("ab\xE9z", "{");  // not printable in the C locale; answered as 0xE9, not negative
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, 0xE9);
    r = skip(std::string("ab\0z", 4), "{");
    EXPECT_EQ(r.first.answer, 0);
    r = skip("abc", "{");
    ExpectAgree(r);
    EXPECT_EQ(r.first.answer, eEof);
}

TEST_F(ByteLayer, ReadSpaceCountsBlanksAndPushesTheNextCharacterBack) {
    std::string text = " \t\n x";
    FILE* f = TextStream(text);
    EXPECT_EQ(SdiffReadSpace(f), 4u);
    EXPECT_EQ(std::getc(f), 'x');
    std::fclose(f);

    SdifStringT* s = SdifStringNew();
    SdifStringAppend(s, "  y");
    EXPECT_EQ(SdiffReadSpacefromSdifString(s), 2u);
    EXPECT_EQ(SdifStringGetC(s), 'y');
    RecordReports rec;
    EXPECT_EQ(SdiffReadSpacefromSdifString(s), 0u);  // the end of a text is silent
    EXPECT_TRUE(rec.Reports().empty());
    SdifStringFree(s);
}

TEST_F(ByteLayer, ReadSpaceReportsEndOfFileOnAStream) {
    RecordReports rec;
    AllowFatal fatal;
    std::string text = "  ";
    FILE* f = TextStream(text);
    EXPECT_EQ(SdiffReadSpace(f), 2u);
    std::fclose(f);
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eEof}));
    EXPECT_EQ(rec.LastMessage(), "End of file : SdiffReadSpace");
    EXPECT_EQ(fatal.Count(), 1);
}

TEST_F(ByteLayer, ScanReadsOneItemPerCallAndStopsAtTheFirstFailure) {
    std::string text = "1.5 -2e1 3 x 4";
    FILE* f = TextStream(text);
    SdifFloat4 v[5] = {};
    EXPECT_EQ(SdiffScanFloat4(f, v, 5), 3u);
    EXPECT_EQ(v[0], 1.5f);
    EXPECT_EQ(v[1], -20.0f);
    EXPECT_EQ(v[2], 3.0f);
    EXPECT_EQ(SdiffScanFloat4(f, v, 0), 0u);
    std::fclose(f);

    text = "-5 200 0x10 -3 65535 4000000000 2.25";
    f = TextStream(text);
    SdifInt1 i1;
    SdifUInt1 u1;
    SdifInt4 i4;
    SdifInt2 i2;
    SdifUInt2 u2;
    SdifUInt4 u4;
    SdifFloat8 f8;
    EXPECT_EQ(SdiffScanInt1(f, &i1, 1), 1u);
    EXPECT_EQ(SdiffScanUInt1(f, &u1, 1), 1u);
    EXPECT_EQ(SdiffScanInt4(f, &i4, 1), 1u);  // %i reads hexadecimal
    EXPECT_EQ(SdiffScanInt2(f, &i2, 1), 1u);
    EXPECT_EQ(SdiffScanUInt2(f, &u2, 1), 1u);
    EXPECT_EQ(SdiffScanUInt4(f, &u4, 1), 1u);
    EXPECT_EQ(SdiffScanFloat8(f, &f8, 1), 1u);
    EXPECT_EQ(SdiffScanFloat8(f, &f8, 1), 0u);  // end of input
    std::fclose(f);
    EXPECT_EQ(i1, -5);
    EXPECT_EQ(u1, 200);
    EXPECT_EQ(i4, 16);
    EXPECT_EQ(i2, -3);
    EXPECT_EQ(u2, 65535);
    EXPECT_EQ(u4, 4000000000u);
    EXPECT_EQ(f8, 2.25);
}

TEST_F(ByteLayer, ScanCharKeepsTheSecondCharacterOfABoundedWord) {
    std::string text = "'x' 'y' '" + std::string(200, 'w') + "' 'z'";
    FILE* f = TextStream(text);
    SdifChar c[4] = {};
    EXPECT_EQ(SdiffScanChar(f, c, 4), 4u);
    std::fclose(f);
    EXPECT_EQ(c[0], 'x');
    EXPECT_EQ(c[1], 'y');
    EXPECT_EQ(c[2], 'w');  // the long word is cut at 63 characters: no overflow
    EXPECT_EQ(c[3], 'w');  // and its rest is read as the next word
}

TEST_F(ByteLayer, StringToNVBlanksTabsAndLineFeedsInPlace) {
    char text[] = "a\tb\nc\rd";
    EXPECT_EQ(SdifStringToNV(text), text);
    EXPECT_STREQ(text, "a b c\rd");
}

TEST_F(ByteLayer, BinOpenModes) {
    EXPECT_EQ(SdiffBinOpen("x", 4), stdin);
    EXPECT_EQ(SdiffBinOpen("x", 5), stdout);
    EXPECT_EQ(SdiffBinOpen("x", 6), stderr);
    EXPECT_EQ(SdiffBinOpen("x", 7), nullptr);
    EXPECT_EQ(SdiffBinOpen("x", 0), nullptr);
    EXPECT_EQ(SdiffBinOpen("/nonexistent/dir/file.sdif", 2), nullptr);

    std::string path = std::string(::testing::TempDir()) + "sdif_binopen_test.sdif";
    FILE* w = SdiffBinOpen(path.c_str(), 1);
    ASSERT_NE(w, nullptr);
    std::fputs("SDIF", w);
    EXPECT_EQ(SdiffBinClose(w), 0);
    FILE* rw = SdiffBinOpen(path.c_str(), 3);
    ASSERT_NE(rw, nullptr);
    std::fputc('X', rw);
    SdiffBinClose(rw);
    FILE* r = SdiffBinOpen(path.c_str(), 2);
    ASSERT_NE(r, nullptr);
    char buf[5] = {};
    EXPECT_EQ(std::fread(buf, 1, 4, r), 4u);
    EXPECT_STREQ(buf, "XDIF");
    SdiffBinClose(r);
    std::remove(path.c_str());
}
