// Writing frames and matrices: sizes, byte images built by hand without the
// library, a file of mixed cell types read back, and
// size patches on a file and on a pipe.

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
class FramesWrite : public SdifLibraryTest {};

SdifFileT* OpenToWrite(const std::string& path) {
    SdifFileT* f = SdifFOpen(path.c_str(), eWriteFile);
    if (f) SdifFWriteGeneralHeader(f);
    return f;
}

bool NextFrame(SdifFileT* f) {
    size_t nb = 0;
    return SdifFGetSignature(f, &nb) == 1;
}

// The cells of the current matrix data, row by row.
std::vector<double> Cells(SdifMatrixDataT* d) {
    std::vector<double> v;
    for (SdifUInt4 r = 1; r <= d->Header->NbRow; r++)
        for (SdifUInt4 c = 1; c <= d->Header->NbCol; c++)
            v.push_back(SdifMatrixDataGetValue(d, r, c));
    return v;
}

// The cells of the mixed file below.
const double kInrg[2] = {2.0, 0.125};
const SdifInt2 kNrg[3] = {-1, 300, -32768};
const SdifFloat4 kIwin[2] = {1024.0f, 0.5f};
const SdifUInt1 kWin[5] = {0, 64, 128, 192, 255};
const char kLabel[] = "C major";  // 8 bytes with its NUL
const SdifFloat4 kTrc4[8] = {1, 110, 0.5f, 0, 2, 220, 0.25f, 1.5f};
const SdifFloat8 kTrc8[2][4] = {{1, 440.125, 0.75, -1}, {2, 880.25, 0.375, 3.25}};
const SdifInt4 kMark = 7;

// Five frames: 1NRG with four matrices of four cell types, its size patched
// afterwards; a text frame; 1TRC Float4 in one call; 1TRC Float8 row by row;
// 1MRK with two Int4 matrices.
void WriteMixedFile(const std::string& path) {
    SdifFileT* f = OpenToWrite(path);
    ASSERT_NE(f, nullptr);
    SdifFSetCurrFrameHeader(f, Sig("1NRG"), 0, 0, 3, 0.25);
    ASSERT_EQ(SdifFWriteFrameHeader(f), 24u);
    size_t m = SdifFWriteMatrix(f, Sig("INRG"), eFloat8, 1, 2, const_cast<double*>(kInrg));
    EXPECT_EQ(m, 32u);
    m += SdifFWriteMatrix(f, Sig("1NRG"), eInt2, 1, 3, const_cast<SdifInt2*>(kNrg));
    EXPECT_EQ(m, 32u + 24u);
    m += SdifFWriteMatrix(f, Sig("IWIN"), eFloat4, 1, 2, const_cast<SdifFloat4*>(kIwin));
    m += SdifFWriteMatrix(f, Sig("1WIN"), eUInt1, 5, 1, const_cast<SdifUInt1*>(kWin));
    EXPECT_EQ(m, 104u);
    EXPECT_EQ(SdifUpdateFrameHeader(f, SdifUInt4(16 + m), 4), 0);
    EXPECT_EQ(f->CurrFramH->Size, 120u);

    EXPECT_EQ(SdifFWriteTextFrame(f, Sig("1MRK"), 1, 0.5, Sig("1LAB"), kLabel, sizeof kLabel),
              24u + 16u + 8u);
    EXPECT_EQ(SdifFWriteFrameAndOneMatrix(f, Sig("1TRC"), 2, 0.625, Sig("1TRC"), eFloat4, 2, 4,
                                          const_cast<SdifFloat4*>(kTrc4)),
              24u + 16u + 32u);

    SdifFSetCurrFrameHeader(f, Sig("1TRC"), 16 + SdifSizeOfMatrix(eFloat8, 2, 4), 1, 2, 0.75);
    ASSERT_EQ(SdifFWriteFrameHeader(f), 24u);
    SdifFSetCurrMatrixHeader(f, Sig("1TRC"), eFloat8, 2, 4);
    EXPECT_EQ(SdifFWriteMatrixHeader(f), 16u);
    for (int r = 0; r < 2; r++) {
        for (SdifUInt4 c = 1; c <= 4; c++) SdifFSetCurrOneRowCol(f, c, kTrc8[r][c - 1]);
        EXPECT_EQ(SdifFWriteOneRow(f), 32u);
    }
    EXPECT_EQ(SdifFWritePadding(f, 0), 0u);

    SdifFSetCurrFrameHeader(f, Sig("1MRK"), 16 + 2 * SdifSizeOfMatrix(eInt4, 1, 1), 2, 1, 1.0);
    ASSERT_EQ(SdifFWriteFrameHeader(f), 24u);
    EXPECT_EQ(SdifFWriteMatrix(f, Sig("1BEG"), eInt4, 1, 1, const_cast<SdifInt4*>(&kMark)), 24u);
    EXPECT_EQ(SdifFWriteMatrix(f, Sig("1END"), eInt4, 1, 1, const_cast<SdifInt4*>(&kMark)), 24u);
    SdifFClose(f);
}

}  // namespace

TEST_F(FramesWrite, SizesCountHeaderCellsAndPadding) {
    SdifMatrixHeaderT h = {Sig("1NRG"), eInt2, 3, 5};
    // Float4 1 x 3: 12 bytes of cells, 4 of padding
    EXPECT_EQ(std::vector<size_t>({SdifSizeOfFrameHeader(), SdifSizeOfMatrixHeader(),
                                   SdifSizeOfMatrix(eFloat4, 1, 3), SdifSizeOfMatrix(eFloat4, 3, 4),
                                   SdifSizeOfMatrix(eInt2, 1, 3), SdifSizeOfMatrix(eText, 5, 1),
                                   SdifSizeOfMatrix(eFloat8, 0, 7), SdifSizeOfMatrixData(&h)}),
              std::vector<size_t>({16, 16, 32, 64, 24, 24, 16, 30}));
}

TEST_F(FramesWrite, MixedCellTypesLieOnDiskAsWritten) {
    const std::string path = TempPath("mixed-bytes.sdif");
    WriteMixedFile(path);
    // Built by hand: frame 1's size patched to 16 + 32 + 24 + 24 + 24, Int2
    // and UInt1 cells padded, the text and its NUL 8 bytes without padding.
    std::string want = SdifHeader();
    PutFrameHeader(want, "1NRG", 120, 0.25, 3, 4);
    PutMatrixHeader(want, "INRG", eFloat8, 1, 2);
    for (double v : kInrg) PutF64(want, v);
    PutMatrixHeader(want, "1NRG", eInt2, 1, 3);
    want += std::string("\xFF\xFF\x01\x2C\x80\x00\x00\x00", 8);
    PutMatrixHeader(want, "IWIN", eFloat4, 1, 2);
    for (float v : kIwin) PutF32(want, v);
    PutMatrixHeader(want, "1WIN", eUInt1, 5, 1);
    want += std::string("\x00\x40\x80\xC0\xFF\x00\x00\x00", 8);
    want += FrameBytes("1MRK", 1, 1, TextMatrixBytes("1LAB", std::string(kLabel, 8)), 0.5);
    want += SdifFrame("1TRC", 2, 0.625,
                      {{"1TRC", eFloat4, 2, 4, std::vector<double>(kTrc4, kTrc4 + 8)}});
    want +=
        SdifFrame("1TRC", 2, 0.75,
                  {{"1TRC", eFloat8, 2, 4, std::vector<double>(&kTrc8[0][0], &kTrc8[0][0] + 8)}});
    want += SdifFrame("1MRK", 1, 1.0, {{"1BEG", eInt4, 1, 1, {7}}, {"1END", eInt4, 1, 1, {7}}});
    EXPECT_EQ(ReadFile(path), want);
}

TEST_F(FramesWrite, MixedCellTypesReadBackWhole) {
    const std::string path = TempPath("mixed-read.sdif");
    WriteMixedFile(path);
    RecordReports rec;
    SdifFileT* f = OpenAtFirstFrame(path);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(std::make_tuple(f->CurrFramH->NbMatrix, f->CurrFramH->NumID),
              std::make_tuple(4u, 3u));
    // each matrix's bytes read with their padding, the cells as numbers
    const std::vector<std::pair<size_t, std::vector<double>>> first = {
        {16, {2.0, 0.125}},
        {6 + 2, {-1, 300, -32768}},
        {8, {1024, 0.5}},
        {5 + 3, {0, 64, 128, 192, 255}}};
    for (const auto& [bytes, cells] : first) {
        ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
        EXPECT_EQ(SdifFReadMatrixData(f), bytes);
        EXPECT_EQ(Cells(f->CurrMtrxData), cells);
    }

    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    SdifStringT* text = SdifStringNew();
    EXPECT_EQ(SdifFReadTextMatrix(f, text), 16u + 8u);
    EXPECT_STREQ(text->str, kLabel);
    SdifStringFree(text);

    // the Float4 frame: rows are read in the analysis-file walks
    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(SdifFSkipFrameData(f), 16u + 32u);
    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(f->CurrFramH->Time, 0.75);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFReadMatrixData(f), 64u);
    EXPECT_EQ(Cells(f->CurrMtrxData), std::vector<double>(&kTrc8[0][0], &kTrc8[0][0] + 8));

    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    for (const char* sig : {"1BEG", "1END"}) {
        ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
        EXPECT_EQ(f->CurrMtrxH->Signature, Sig(sig));
        EXPECT_EQ(SdifFReadMatrixData(f), 8u);
        EXPECT_EQ(Cells(f->CurrMtrxData), std::vector<double>{7.0});
    }
    EXPECT_FALSE(NextFrame(f));
    EXPECT_TRUE(RecordReports::Reports().empty());
    SdifFClose(f);
}

TEST_F(FramesWrite, ChunkSizeIsPatchedInPlaceAndWritingGoesOnAtTheEnd) {
    const std::string path = TempPath("chunk.sdif");
    SdifFileT* f = OpenToWrite(path);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(SdifFWriteChunkHeader(f, Sig("1TYP"), 0), 8u);
    EXPECT_EQ(f->StartChunkPos, 16);
    EXPECT_EQ(SdiffWriteString("{ 1MTD }   ", f), 11u);
    EXPECT_EQ(SdifUpdateChunkSize(f, 11), 0);
    EXPECT_EQ(ftell(f->Stream), 16 + 8 + 11);
    EXPECT_EQ(SdifFWritePadding(f, 5), 5u);
    SdifFClose(f);
    std::string want = SdifHeader() + "1TYP";
    PutU32(want, 11);
    EXPECT_EQ(ReadFile(path), want + "{ 1MTD }   " + std::string(5, '\0'));
}

TEST_F(FramesWrite, UnhandledCellTypeWritesTheRowAsFloat4WithTheFallbackText) {
    const std::string path = TempPath("int8.sdif");
    SdifFileT* f = OpenToWrite(path);
    ASSERT_NE(f, nullptr);
    SdifFSetCurrMatrixHeader(f, Sig("1TRC"), eInt8, 1, 2);
    SdifFSetCurrOneRowCol(f, 1, 1.5);
    SdifFSetCurrOneRowCol(f, 2, -2.0);
    RecordReports rec;
    EXPECT_EQ(SdifFWriteMatrixHeader(f), 16u);
    long long ignored[2] = {11, 12};
    EXPECT_EQ(SdifFWriteMatrixData(f, ignored), 8u);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eTypeDataNotSupported});
    EXPECT_EQ(RecordReports::LastMessage(),
              "Type of data not actualy supported : OneRow 0x0108, then Float4 used");
    SdifFClose(f);
    std::string want = SdifHeader();
    PutMatrixHeader(want, "1TRC", eInt8, 1, 2);
    PutF32(want, 1.5f);
    PutF32(want, -2.0f);
    EXPECT_EQ(ReadFile(path), want);
}

TEST_F(FramesWrite, FramesWrittenToAPipeKeepTheirUnknownSizeAndAreWalkedMatrixByMatrix) {
    ChildRun writer = RunChild("", [] {
        CaptureSdifStdErr notices;
        SdifFileT* f = SdifFOpen("-", eWriteFile);
        if (!f) return std::string("no file");
        SdifFWriteGeneralHeader(f);
        SdifFSetCurrFrameHeader(f, Sig("1NRG"), _SdifUnknownSize, 2, 5, 1.5);
        SdifFWriteFrameHeader(f);
        size_t m = SdifFWriteMatrix(f, Sig("INRG"), eFloat8, 1, 2, const_cast<double*>(kInrg));
        m += SdifFWriteMatrix(f, Sig("1NRG"), eInt2, 1, 3, const_cast<SdifInt2*>(kNrg));
        int update = SdifUpdateFrameHeader(f, SdifUInt4(16 + m), 2);
        int chunk = SdifUpdateChunkSize(f, 16 + m);
        SdifFloat4 trc[3] = {1, 660, 0.5f};
        SdifFSetCurrFrameHeader(f, Sig("1TRC"), _SdifUnknownSize, 1, 5, 2.0);
        SdifFWriteFrameHeader(f);
        SdifFWriteMatrix(f, Sig("1TRC"), eFloat4, 1, 3, trc);
        std::string text = "seekable=" + std::to_string(f->isSeekable) +
                           " update=" + std::to_string(update) + " chunk=" + std::to_string(chunk) +
                           " notices=" + notices.Text();
        SdifFClose(f);
        return text;
    });
    EXPECT_EQ(writer.status, 0);
    EXPECT_EQ(writer.result,
              "seekable=0 update=-1 chunk=0 notices=*Sdif* SdifUpdateFrameHeader: Can't update "
              "non-seekable stream\n\n");
    const std::string b = writer.out;
    // Frame 1: 24 + (16 + 16) + (16 + 8) bytes; frame 2: 24 + 16 + 16.
    ASSERT_EQ(b.size(), 16u + 80u + 56u);
    EXPECT_EQ(BE32(b, 20), _SdifUnknownSize);
    EXPECT_EQ(b.substr(96, 4), "1TRC");
    EXPECT_EQ(BE32(b, 100), _SdifUnknownSize);

    // Read back through a pipe, where a frame of unknown size is skipped
    // matrix by matrix, by reading.
    ChildRun reader = RunChild(b, [] {
        RecordReports rec;
        SdifFileT* f = SdifFOpen("-", eReadFile);
        SdifFReadGeneralHeader(f);
        SdifFReadAllASCIIChunks(f);
        size_t header = SdifFReadFrameHeader(f);
        size_t skipped = SdifFSkipFrameData(f);
        size_t nb = 0;
        SdifFGetSignature(f, &nb);
        SdifFReadFrameHeader(f);
        SdifFReadMatrixHeader(f);
        size_t data = SdifFReadMatrixData(f);
        char text[256];
        snprintf(text, sizeof text, "header=%zu skipped=%zu data=%zu freq=%g time=%g reports=%zu",
                 header, skipped, data, SdifMatrixDataGetValue(f->CurrMtrxData, 1, 2),
                 f->CurrFramH->Time, RecordReports::Reports().size());
        SdifFClose(f);
        return std::string(text);
    });
    EXPECT_EQ(reader.status, 0);
    EXPECT_EQ(reader.result, "header=20 skipped=56 data=16 freq=660 time=2 reports=0");
}
