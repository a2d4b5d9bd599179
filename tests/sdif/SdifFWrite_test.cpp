// Writing frames and matrices: sizes, byte images checked with an
// independent decoder, a file of mixed cell types read back, and
// size patches on a file and on a pipe.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "SdifTestEnv.h"
#include "TestSupport.h"

using sdiftest::CaptureSdifStdErr;
using sdiftest::OpenAtFirstFrame;
using sdiftest::RecordReports;
using testsupport::BE16;
using testsupport::BE32;
using testsupport::BEF32;
using testsupport::BEF64;
using testsupport::Sig;

namespace {

class FramesWrite : public sdiftest::SdifLibraryTest {};

SdifFileT* OpenToWrite(const std::string& path) {
    SdifFileT* f = SdifFOpen(path.c_str(), eWriteFile);
    if (f) SdifFWriteGeneralHeader(f);
    return f;
}

bool NextFrame(SdifFileT* f) {
    size_t nb = 0;
    return SdifFGetSignature(f, &nb) == 1;
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
    EXPECT_EQ(SdifSizeOfFrameHeader(), 16u);
    EXPECT_EQ(SdifSizeOfMatrixHeader(), 16u);
    EXPECT_EQ(SdifSizeOfMatrix(eFloat4, 1, 3), 32u);  // 12 bytes of cells, 4 of padding
    EXPECT_EQ(SdifSizeOfMatrix(eFloat4, 3, 4), 64u);
    EXPECT_EQ(SdifSizeOfMatrix(eInt2, 1, 3), 24u);
    EXPECT_EQ(SdifSizeOfMatrix(eText, 5, 1), 24u);
    EXPECT_EQ(SdifSizeOfMatrix(eFloat8, 0, 7), 16u);
    SdifMatrixHeaderT h = {Sig("1NRG"), eInt2, 3, 5};
    EXPECT_EQ(SdifSizeOfMatrixData(&h), 30u);
}

TEST_F(FramesWrite, FrameOfOneMatrixCarriesItsSizeAndBigEndianCells) {
    const std::string path = testsupport::TempPath("one.sdif");
    SdifFileT* f = OpenToWrite(path);
    ASSERT_NE(f, nullptr);
    SdifFloat4 cells[12];
    for (int i = 0; i < 12; i++) cells[i] = 0.5f * i - 1.0f;
    SdifFloat4 copy[12];
    std::memcpy(copy, cells, sizeof cells);
    // Size 16 + 16 + 48 = 80; the frame takes 88 bytes.
    EXPECT_EQ(
        SdifFWriteFrameAndOneMatrix(f, Sig("1TRC"), 0, 0.5, Sig("1TRC"), eFloat4, 3, 4, cells),
        88u);
    EXPECT_EQ(std::memcmp(copy, cells, sizeof cells), 0);  // the caller's array is left alone
    SdifFClose(f);

    const std::string b = testsupport::ReadFile(path);
    ASSERT_EQ(b.size(), 16u + 88u);
    EXPECT_EQ(b.substr(16, 4), "1TRC");
    EXPECT_EQ(BE32(b, 20), 80u);
    EXPECT_EQ(BEF64(b, 24), 0.5);
    EXPECT_EQ(BE32(b, 32), 0u);  // stream
    EXPECT_EQ(BE32(b, 36), 1u);  // matrices
    EXPECT_EQ(b.substr(40, 4), "1TRC");
    EXPECT_EQ(BE32(b, 44), 4u);
    EXPECT_EQ(BE32(b, 48), 3u);
    EXPECT_EQ(BE32(b, 52), 4u);
    for (int i = 0; i < 12; i++) EXPECT_EQ(BEF32(b, 56 + 4 * i), cells[i]);
}

TEST_F(FramesWrite, MixedCellTypesLieOnDiskAsWritten) {
    const std::string path = testsupport::TempPath("mixed-bytes.sdif");
    WriteMixedFile(path);
    const std::string b = testsupport::ReadFile(path);
    // Frame 1 at 16, its size patched to 16 + 32 + 24 + 24 + 24.
    EXPECT_EQ(b.substr(16, 4), "1NRG");
    EXPECT_EQ(BE32(b, 20), 120u);
    EXPECT_EQ(BE32(b, 32), 3u);
    EXPECT_EQ(BE32(b, 36), 4u);
    EXPECT_EQ(BEF64(b, 56), 2.0);
    EXPECT_EQ(BEF64(b, 64), 0.125);
    EXPECT_EQ(b.substr(72, 4), "1NRG");
    EXPECT_EQ(BE32(b, 76), 0x0102u);
    EXPECT_EQ(BE16(b, 88), 0xFFFFu);
    EXPECT_EQ(BE16(b, 90), 300u);
    EXPECT_EQ(BE16(b, 92), 0x8000u);
    EXPECT_EQ(BE16(b, 94), 0u);  // padding
    EXPECT_EQ(BEF32(b, 112), 1024.0f);
    EXPECT_EQ(b.substr(120, 4), "1WIN");
    EXPECT_EQ(b.substr(136, 8), std::string("\x00\x40\x80\xC0\xFF\x00\x00\x00", 8));
    // Frame 2: the text and its NUL, 8 bytes, no padding.
    EXPECT_EQ(b.substr(144, 4), "1MRK");
    EXPECT_EQ(BE32(b, 148), 16u + 24u);
    EXPECT_EQ(b.substr(168, 4), "1LAB");
    EXPECT_EQ(BE32(b, 172), 0x0301u);
    EXPECT_EQ(BE32(b, 176), 8u);
    EXPECT_EQ(b.substr(184, 8), std::string(kLabel, 8));
    // Frames 3, 4, 5 follow; the file ends with the last padding.
    const std::vector<testsupport::RawFrame> raw = testsupport::RawFrames(b, true);
    ASSERT_EQ(raw.size(), 5u);
    EXPECT_EQ(raw[3].size, 16u + 16u + 64u);
    EXPECT_EQ(BEF64(b, raw[3].matrices[0].data + 8 * 5), 880.25);
    EXPECT_EQ(raw[4].size, 16u + 24u + 24u);
    EXPECT_EQ(BE32(b, raw[4].matrices[0].data), 7u);
    EXPECT_EQ(raw[4].at + 8 + raw[4].size, b.size());
}

TEST_F(FramesWrite, MixedCellTypesReadBackWhole) {
    const std::string path = testsupport::TempPath("mixed-read.sdif");
    WriteMixedFile(path);
    RecordReports rec;
    SdifFileT* f = OpenAtFirstFrame(path);
    ASSERT_NE(f, nullptr);
    SdifMatrixDataT* d = nullptr;

    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(f->CurrFramH->NbMatrix, 4u);
    EXPECT_EQ(f->CurrFramH->NumID, 3u);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFReadMatrixData(f), 16u);
    d = f->CurrMtrxData;
    EXPECT_EQ(SdifMatrixDataGetValue(d, 1, 2), 0.125);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(f->CurrMtrxH->DataType, eInt2);
    EXPECT_EQ(SdifFReadMatrixData(f), 6u + 2u);
    for (SdifUInt4 c = 1; c <= 3; c++) EXPECT_EQ(SdifMatrixDataGetValue(d, 1, c), kNrg[c - 1]);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFReadMatrixData(f), 8u);
    EXPECT_EQ(SdifMatrixDataGetValue(d, 1, 1), 1024.0);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFReadMatrixData(f), 5u + 3u);
    for (SdifUInt4 r = 1; r <= 5; r++) EXPECT_EQ(SdifMatrixDataGetValue(d, r, 1), kWin[r - 1]);

    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    SdifStringT* text = SdifStringNew();
    EXPECT_EQ(SdifFReadTextMatrix(f, text), 16u + 8u);
    EXPECT_STREQ(text->str, kLabel);
    SdifStringFree(text);

    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    for (int r = 0; r < 2; r++) {
        ASSERT_EQ(SdifFReadOneRow(f), 16u);
        for (SdifUInt4 c = 1; c <= 4; c++)
            EXPECT_EQ(SdifFCurrOneRowCol(f, c), kTrc4[4 * r + c - 1]);
    }

    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(f->CurrFramH->Time, 0.75);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFReadMatrixData(f), 64u);
    for (SdifUInt4 r = 1; r <= 2; r++)
        for (SdifUInt4 c = 1; c <= 4; c++)
            EXPECT_EQ(SdifMatrixDataGetValue(d, r, c), kTrc8[r - 1][c - 1]);

    ASSERT_TRUE(NextFrame(f));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    for (const char* sig : {"1BEG", "1END"}) {
        ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
        EXPECT_EQ(f->CurrMtrxH->Signature, Sig(sig));
        ASSERT_EQ(SdifFReadOneRow(f), 4u);
        EXPECT_EQ(SdifFCurrOneRowCol(f, 1), 7.0);
        EXPECT_EQ(SdifFReadPadding(f, SdifPaddingCalculate(4)), 4u);
    }
    EXPECT_FALSE(NextFrame(f));
    EXPECT_TRUE(RecordReports::Reports().empty());
    SdifFClose(f);
}

TEST_F(FramesWrite, ChunkSizeIsPatchedInPlaceAndWritingGoesOnAtTheEnd) {
    const std::string path = testsupport::TempPath("chunk.sdif");
    SdifFileT* f = OpenToWrite(path);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(SdifFWriteChunkHeader(f, Sig("1TYP"), 0), 8u);
    EXPECT_EQ(f->StartChunkPos, 16);
    EXPECT_EQ(SdiffWriteString("{ 1MTD }   ", f), 11u);
    EXPECT_EQ(SdifUpdateChunkSize(f, 11), 0);
    EXPECT_EQ(ftell(f->Stream), 16 + 8 + 11);
    EXPECT_EQ(SdifFWritePadding(f, 5), 5u);
    SdifFClose(f);
    const std::string b = testsupport::ReadFile(path);
    ASSERT_EQ(b.size(), 16u + 8u + 11u + 5u);
    EXPECT_EQ(b.substr(16, 4), "1TYP");
    EXPECT_EQ(BE32(b, 20), 11u);
    EXPECT_EQ(b.substr(24, 11), "{ 1MTD }   ");
    EXPECT_EQ(b.substr(35), std::string(5, '\0'));
}

TEST_F(FramesWrite, UnhandledCellTypeWritesTheRowAsFloat4WithTheFallbackText) {
    const std::string path = testsupport::TempPath("int8.sdif");
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
    const std::string b = testsupport::ReadFile(path);
    ASSERT_EQ(b.size(), 16u + 16u + 8u);
    EXPECT_EQ(BE32(b, 20), 0x0108u);
    EXPECT_EQ(BEF32(b, 32), 1.5f);
    EXPECT_EQ(BEF32(b, 36), -2.0f);
}

TEST_F(FramesWrite, FramesWrittenToAPipeKeepTheirUnknownSizeAndAreWalkedMatrixByMatrix) {
    testsupport::ChildRun writer = testsupport::RunChild("", [] {
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
    testsupport::ChildRun reader = testsupport::RunChild(b, [] {
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
