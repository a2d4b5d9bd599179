// Reading frames and matrices: real analysis files walked every way the
// library offers (whole matrices, rows, skips, through a pipe), the matrix
// header test, and truncated or lying files.
#include <cmath>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
// What the data README and hetro's options say of each file: frames and rows
// per frame as asked; the hop is the length of the sound over the number of
// frames; hetro writes stream 1, the -s0 copies have it rewritten to 0.
struct DataFile {
    const char* name;
    int frames;
    uint32_t rows;
    double seconds;
    uint32_t streamID;
};
const DataFile kFiles[] = {{"saw-s0.sdif", 256, 40, 1.0, 0},
                           {"chord-s0.sdif", 256, 24, 1.5, 0},
                           {"sweep-s0.sdif", 512, 8, 2.0, 0},
                           {"tone-s1.sdif", 256, 10, 1.0, 1}};

class FramesRead : public SdifLibraryTest {};

// A general header, then one frame header and one matrix header with the
// given fields, then the Float4 cells (padding included where wanted).
std::string OneMatrix(uint32_t frameSize, uint32_t nbMatrix, const char* mSig, uint32_t type,
                      uint32_t rows, uint32_t cols, const std::vector<float>& cells,
                      double time = 0.5, uint32_t id = 0) {
    std::string b = SdifHeader();
    PutFrameHeader(b, "1TRC", frameSize, time, id, nbMatrix);
    PutMatrixHeader(b, mSig, type, rows, cols);
    for (float v : cells) PutF32(b, v);
    return b;
}

// Position of the cell (row, col), both from 1, of a raw frame's matrix.
size_t CellAt(const RawFrame& r, uint32_t row, uint32_t col) {
    return r.matrices[0].data + 4 * ((row - 1) * size_t(r.matrices[0].cols) + (col - 1));
}

}  // namespace

// ---- the analysis files ----

// Frames read whole, row by row, or skipped each way the library offers, in
// turn: every header agrees with the bytes, every cell read too, and every
// frame ends where the next one starts.
TEST_F(FramesRead, EveryFrameOfTheAnalysisFilesAgreesWithItsBytes) {
    for (const DataFile& d : kFiles) {
        SCOPED_TRACE(d.name);
        const std::string path = DataPath(d.name);
        const std::string bytes = ReadFile(path);
        const std::vector<RawFrame> raw = RawFrames(bytes, true);
        ASSERT_EQ(raw.size(), size_t(d.frames));

        RecordReports rec;
        SdifFileT* f = OpenAtFirstFrame(path);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(SdifFCurrSignature(f), Sig("1TRC"));
        // Header, its 16 counted bytes, one matrix of rows x 4 Float4 cells.
        const size_t data = size_t(d.rows) * 16;
        const uint32_t frameSize = uint32_t(16 + 16 + data);
        int mismatches = 0;
        int k = 0;
        for (;; k++) {
            ASSERT_LT(k, d.frames);
            ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
            const SdifFrameHeaderT* h = f->CurrFramH;
            EXPECT_EQ(std::make_tuple(h->Signature, h->Size, h->NumID, h->NbMatrix,
                                      long(f->StartChunkPos)),
                      std::make_tuple(Sig("1TRC"), frameSize, d.streamID, 1u, long(raw[k].at)));
            EXPECT_DOUBLE_EQ(h->Time, k * d.seconds / d.frames);
            const int way = k % 6;
            if (way < 4) {
                ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
                const SdifMatrixHeaderT* m = f->CurrMtrxH;
                EXPECT_EQ(std::make_tuple(m->Signature, m->DataType, m->NbRow, m->NbCol),
                          std::make_tuple(Sig("1TRC"), eFloat4, d.rows, 4u));
            }
            if (way == 0) {
                ASSERT_EQ(SdifFReadMatrixData(f), data);
                for (uint32_t r = 1; r <= d.rows; r++)
                    for (uint32_t c = 1; c <= 4; c++)
                        if (SdifMatrixDataGetValue(f->CurrMtrxData, r, c) !=
                            BEF32(bytes, CellAt(raw[k], r, c)))
                            mismatches++;
            } else if (way == 1) {
                for (uint32_t r = 1; r <= d.rows; r++) {
                    ASSERT_EQ(SdifFReadOneRow(f), 16u);
                    EXPECT_EQ(SdifFCurrOneRowCol(f, 1), double(r));  // the harmonic index
                    for (uint32_t c = 1; c <= 4; c++)
                        if (SdifFCurrOneRowCol(f, c) != BEF32(bytes, CellAt(raw[k], r, c)))
                            mismatches++;
                }
                EXPECT_EQ(SdifFReadPadding(f, 0), 0u);
            } else if (way == 2) {
                EXPECT_EQ(SdifFSkipMatrixData(f), data);
            } else if (way == 3) {
                for (uint32_t r = 0; r < d.rows; r++) EXPECT_EQ(SdifFSkipOneRow(f), 16u);
            } else if (way == 4) {
                EXPECT_EQ(SdifFSkipFrameData(f), 16 + data);
            } else {
                EXPECT_EQ(SdifFSkipMatrix(f), 16 + data);
            }
            EXPECT_EQ(ftell(f->Stream), long(raw[k].at + 8 + raw[k].size));
            size_t nb = 0;
            if (SdifFGetSignature(f, &nb) == eEof) break;
        }
        EXPECT_EQ(k + 1, d.frames);
        EXPECT_EQ(mismatches, 0);
        EXPECT_TRUE(RecordReports::Reports().empty());
        SdifFClose(f);
    }
}

// ---- the matrix header test ----

// Int8 (with the notice that 64-bit integers are not handled) and a code no
// cell type has: both read as Float4.
TEST_F(FramesRead, UnknownDataTypeIsReadAsFloat4WithTheFallbackText) {
    const struct {
        uint32_t type;
        const char* notice;
    } cases[] = {{0x0108, "*Sdif* standard datatypes Int8, UInt8 not yet handled\n"}, {0x7777, ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        std::string b =
            OneMatrix(16 + 16 + 16, 1, "1TRC", c.type, 1, 4, {1.0f, 440.0f, 0.5f, 0.0f});
        SdifFileT* f = OpenAtFirstFrame(SaveTemp("int8.sdif", b));
        ASSERT_NE(f, nullptr);
        RecordReports rec;
        CaptureSdifStdErr notices;
        ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
        EXPECT_EQ(SdifFReadMatrixHeader(f), 16u);
        EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eTypeDataNotSupported});
        char text[80];
        std::snprintf(text, sizeof text,
                      "Type of data not actualy supported :  0x%04x, then Float4 used", c.type);
        EXPECT_EQ(RecordReports::LastMessage(), text);
        EXPECT_EQ(notices.Text(), c.notice);
        EXPECT_EQ(std::make_tuple(f->CurrMtrxH->DataType, f->CurrOneRow->DataType),
                  std::make_tuple(eFloat4, eFloat4));
        ASSERT_EQ(SdifFReadMatrixData(f), 16u);
        EXPECT_EQ(SdifMatrixDataGetValue(f->CurrMtrxData, 1, 2), 440.0);
        EXPECT_EQ(SdifMatrixDataGetValue(f->CurrMtrxData, 1, 3), 0.5);
        SdifFClose(f);
    }
}

TEST_F(FramesRead, MatrixOutsideTheFrameTypeIsReportedAndStillAccepted) {
    std::string b = OneMatrix(16 + 16 + 24, 1, "1PIC", eFloat4, 1, 6, {0, 1, 2, 3, 4, 5}, 0.0);
    SdifFileT* f = OpenAtFirstFrame(SaveTemp("pic-in-trc.sdif", b));
    RecordReports rec;
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eMatrixNotInFrame});
    EXPECT_EQ(RecordReports::LastMessage(),
              "Matrix is not in frames components : '1PIC' in frame '1TRC'");
    // Accepted: the row buffer took the matrix's columns.
    EXPECT_EQ(std::make_tuple(f->CurrMtrxT != nullptr, f->CurrOneRow->NbData),
              std::make_tuple(true, 6u));
    ASSERT_EQ(SdifFReadOneRow(f), 24u);
    EXPECT_EQ(SdifFCurrOneRowCol(f, 6), 5.0);
    SdifFClose(f);
}

// A 1TRC met again in its frame fails the header test until the next frame;
// a third, of Int8, is rejected before its type is replaced: the row takes
// that type, keeps its column count, and reads the header's 2 cells (8 bytes
// each on disk) as Float4.
TEST_F(FramesRead, ComponentMetTwiceInAFrameFailsTheTestUntilTheNextFrame) {
    std::string b = OneMatrix(16 + (16 + 16) + (16 + 24) + (16 + 16), 3, "1TRC", eFloat4, 1, 4,
                              std::vector<float>(4, 1.0f), 0.0);
    PutMatrixHeader(b, "1TRC", eFloat4, 1, 6);
    for (int i = 0; i < 6; i++) PutF32(b, 2.0f);
    PutMatrixHeader(b, "1TRC", 0x0108, 1, 2);
    for (float v : {5.0f, 6.0f, 0.0f, 0.0f}) PutF32(b, v);
    b += OneMatrix(16 + 16 + 16, 1, "1TRC", eFloat4, 1, 4, std::vector<float>(4, 3.0f), 0.1)
             .substr(16);
    SdifFileT* f = OpenAtFirstFrame(SaveTemp("twice.sdif", b));
    RecordReports rec;
    size_t nb = 0;
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFSkipMatrixData(f), 16u);
    EXPECT_TRUE(RecordReports::Reports().empty());

    EXPECT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eMatrixUsedYet});
    EXPECT_EQ(RecordReports::LastMessage(),
              "Matrix has been used in this frame yet : '1TRC' in frame '1TRC'");
    EXPECT_EQ(SdifFTestMatrixHeader(f), nullptr);  // reported again
    // The failed test left the row as the first matrix sized it.
    EXPECT_EQ(f->CurrOneRow->NbData, 4u);
    EXPECT_EQ(SdifFSkipMatrixData(f), 24u);

    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    // Rejected: the row took the type but keeps the first matrix's 4 columns.
    EXPECT_EQ(std::make_tuple(f->CurrOneRow->DataType, f->CurrOneRow->NbData),
              std::make_tuple(SdifDataTypeET(0x0108), 4u));
    EXPECT_EQ(SdifFReadOneRow(f), 8u);
    EXPECT_EQ(RecordReports::Tags(), (std::vector<int>{eMatrixUsedYet, eMatrixUsedYet,
                                                       eMatrixUsedYet, eTypeDataNotSupported}));
    EXPECT_EQ(RecordReports::LastMessage(),
              "Type of data not actualy supported : OneRow 0x0108, then Float4 used");
    EXPECT_EQ(SdifFCurrOneRowCol(f, 2), 6.0);
    EXPECT_EQ(SdifFReadPadding(f, 8), 8u);  // the bytes the row left

    ASSERT_EQ(SdifFGetSignature(f, &nb), 1);
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(RecordReports::Reports().size(), 4u);  // accepted in the next frame
    ASSERT_EQ(SdifFReadMatrixData(f), 16u);
    EXPECT_EQ(SdifMatrixDataGetValue(f->CurrMtrxData, 1, 4), 3.0);
    SdifFClose(f);
}

TEST_F(FramesRead, UndefinedMatrixTypeFailsTheTestAndItsDataCanBeSkipped) {
    std::string b = OneMatrix(16 + 16 + 16, 1, "QQQQ", eFloat4, 1, 3, std::vector<float>(4, 0.0f),
                              0.0);  // 3 cells and the padding
    SdifFileT* f = OpenAtFirstFrame(SaveTemp("qqqq.sdif", b));
    RecordReports rec;
    size_t nb = 0;
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(SdifFReadMatrixHeader(f), 16u);
    ASSERT_FALSE(RecordReports::Reports().empty());
    EXPECT_EQ(RecordReports::Reports().back().tag, eUnDefined);
    EXPECT_EQ(f->CurrMtrxT, nullptr);
    EXPECT_EQ(f->CurrOneRow->NbData, 1u);  // as the file object made it
    EXPECT_EQ(SdifFSkipMatrixData(f), 16u);
    EXPECT_EQ(SdifFGetSignature(f, &nb), eEof);
    SdifFClose(f);
}

// ---- truncated and lying files ----

// Counts that the bytes left cannot back are an end of file at the header
// (its position in the report) and size nothing; a huge column count
// without rows is legal and sizes nothing either.
TEST_F(FramesRead, CountsBeyondTheFileReserveNothing) {
    const struct {
        uint32_t nbMatrix, rows, cols;
        size_t frameRead, matrixRead;
        const char* report;  // after "End of file : "; "" for none
    } cases[] = {
        // 16 GiB of cells: the report gives the position after the matrix header
        {1, 0x40000000, 4, 20, 0, "Sdiffread 56"},
        {0xFFFFFFF0, 1, 4, 0, 0, "Sdiffread 40"},
        {1, 0, 0xFFFFFFFF, 20, 16, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.report);
        std::string b = OneMatrix(_SdifUnknownSize, c.nbMatrix, "1TRC", eFloat4, c.rows, c.cols,
                                  std::vector<float>(c.rows ? 4 : 0, 1.0f));
        SdifFileT* f = OpenAtFirstFrame(SaveTemp("counts.sdif", b));
        RecordReports rec;
        AllowFatal fatal;
        ASSERT_EQ(SdifFReadFrameHeader(f), c.frameRead);
        if (c.frameRead) {
            EXPECT_EQ(SdifFReadMatrixHeader(f), c.matrixRead);
            EXPECT_EQ(SdifFReadMatrixData(f), 0u);
        }
        const std::string report = c.report;
        EXPECT_EQ(RecordReports::Tags(),
                  report.empty() ? std::vector<int>{} : std::vector<int>{eEof});
        EXPECT_EQ(fatal.Count(), report.empty() ? 0 : 1);
        if (!report.empty()) {
            EXPECT_EQ(RecordReports::LastMessage(), "End of file : " + report);
        }
        EXPECT_EQ(f->CurrFramH->NbMatrix, c.nbMatrix == 1 ? 1u : 0u);
        EXPECT_LE(f->MtrxUsed->NbSignMax, 16u);
        EXPECT_LT(f->CurrOneRow->NbGranule, 1u << 16);
        EXPECT_LE(uint64_t(f->CurrOneRow->NbData) * 4, f->CurrOneRow->NbGranule);
        EXPECT_LT(f->CurrMtrxData ? f->CurrMtrxData->AllocSize : 0, 1u << 16);
        SdifFClose(f);
    }
}

TEST_F(FramesRead, MatrixDataOfALyingHeaderStopsAtTheEndWithoutReservingTheClaim) {
    std::string b =
        OneMatrix(_SdifUnknownSize, 1, "1TRC", eFloat4, 1, 4, std::vector<float>(4, 7.0f));
    SdifFileT* f = OpenAtFirstFrame(SaveTemp("setrows.sdif", b));
    ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
    ASSERT_EQ(SdifFReadMatrixHeader(f), 16u);
    // A caller's own header, claiming far more than the 16 bytes left.
    f->CurrMtrxH->NbRow = 0x40000000;
    RecordReports rec;
    AllowFatal fatal;
    EXPECT_EQ(SdifFReadMatrixData(f), 16u);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eEof});
    EXPECT_EQ(RecordReports::LastMessage(), "End of file : Sdiffread 72");
    EXPECT_LE(f->CurrMtrxData->AllocSize, 1u << 17);
    EXPECT_EQ(SdifMatrixDataGetValue(f->CurrMtrxData, 1, 4), 7.0);
    SdifFClose(f);
}

// A frame is read matrix by matrix from their own headers: a Size beyond
// the file matters only to a skip, which stops at the end of the file.
TEST_F(FramesRead, FrameSizeBeyondTheFileIsUsedOnlyByItsSkip) {
    std::string b = OneMatrix(0x7FFFFFF0, 1, "1TRC", eFloat4, 1, 4, {1.0f, 440.0f, 0.5f, 0.25f});
    const std::string path = SaveTemp("size.sdif", b);
    RecordReports rec;
    AllowFatal fatal;
    SdifFileT* f = OpenAtFirstFrame(path);
    EXPECT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(SdifFReadMatrixHeader(f), 16u);
    EXPECT_EQ(SdifFReadMatrixData(f), 16u);  // 4 cells of 4 bytes, no padding
    EXPECT_EQ(SdifMatrixDataGetValue(f->CurrMtrxData, 1, 2), 440.0);
    EXPECT_TRUE(RecordReports::Reports().empty());
    SdifFClose(f);

    f = OpenAtFirstFrame(path);
    EXPECT_EQ(SdifFReadFrameHeader(f), 20u);
    EXPECT_EQ(SdifFSkipFrameData(f), 0u);
    EXPECT_EQ(RecordReports::Tags(), (std::vector<int>{eEof, eEof}));
    // The short skip is reported at the end (16 + 24 + 16 + 16), then the
    // skip's own text, which ends with its own line feed before the message's.
    EXPECT_NE(RecordReports::Reports()[0].text.find("--> End of file : Sdiffread 72\n"),
              std::string::npos);
    EXPECT_NE(RecordReports::Reports()[1].text.find(
                  "--> End of file : Skip  FrameData 1TRC ID:0 T:0.5\n\n"),
              std::string::npos);
    EXPECT_EQ(ftell(f->Stream), long(b.size()));
    SdifFClose(f);
}

// A real file cut right after a frame's signature: the short read of its
// Size is an end of file at the cut.
TEST_F(FramesRead, FileCutInsideAFrameHeaderIsAnEndOfFileAtTheCut) {
    const std::string saw = ReadFile(DataPath("saw-s0.sdif"));
    const size_t cut = RawFrames(saw, true)[5].at + 4;
    SdifFileT* f = OpenAtFirstFrame(SaveTemp("cut.sdif", saw.substr(0, cut)));
    ASSERT_NE(f, nullptr);
    RecordReports rec;
    AllowFatal fatal;
    size_t nb = 0;
    for (int k = 0; k < 5; k++) {
        ASSERT_EQ(SdifFReadFrameHeader(f), 20u);
        ASSERT_EQ(SdifFSkipFrameData(f), 16u + 40 * 16);
        ASSERT_EQ(SdifFGetSignature(f, &nb), 1);
    }
    EXPECT_EQ(SdifFReadFrameHeader(f), 0u);
    ASSERT_FALSE(RecordReports::Reports().empty());
    EXPECT_EQ(RecordReports::Reports()[0].tag, eEof);
    EXPECT_NE(RecordReports::Reports()[0].text.find("--> End of file : Sdiffread " +
                                                    std::to_string(cut) + "\n"),
              std::string::npos);
    SdifFClose(f);
}

// ---- streams that cannot seek ----

namespace {
// body's text on the bytes read through a pipe (reports recorded, Fatal ones
// allowed), then the number of reports and the last one's message.
std::string ThroughAPipe(const std::string& bytes, std::string (*body)(SdifFileT*)) {
    ChildRun run = RunChild(bytes, [body] {
        RecordReports rec;
        AllowFatal fatal;
        SdifFileT* f = OpenAtFirstFrame("-");
        if (!f) return std::string("no file");
        std::string text = body(f);  // before the reports are counted
        text += " reports=" + std::to_string(RecordReports::Reports().size()) +
                " last=" + RecordReports::LastMessage();
        SdifFClose(f);
        return text;
    });
    EXPECT_EQ(run.status, 0);
    return run.result;
}
}  // namespace

TEST_F(FramesRead, AFileReadThroughAPipeIsSkippedByReadingAndGivesTheSameCells) {
    const std::string chord = ReadFile(DataPath("chord-s0.sdif"));
    const std::vector<RawFrame> raw = RawFrames(chord, true);
    // Expected: the frequencies of the even frames, the odd ones skipped.
    double sum = 0;
    for (size_t k = 0; k < raw.size(); k += 2)
        for (uint32_t r = 1; r <= 24; r++) sum += BEF32(chord, CellAt(raw[k], r, 2));
    char expected[256];
    snprintf(expected, sizeof expected,
             "seekable=0 size=-1 frames=256 last=%.17g sum=%.17g reports=0 last=", raw.back().time,
             sum);
    EXPECT_EQ(ThroughAPipe(chord,
                           [](SdifFileT* f) {
                               int frames = 0;
                               double sum = 0, last = -1;
                               for (;;) {
                                   if (SdifFReadFrameHeader(f) != 20) break;
                                   last = f->CurrFramH->Time;
                                   if (frames % 2 == 0) {
                                       SdifFReadMatrixHeader(f);
                                       SdifFReadMatrixData(f);
                                       for (uint32_t r = 1; r <= f->CurrMtrxH->NbRow; r++)
                                           sum += SdifMatrixDataGetValue(f->CurrMtrxData, r, 2);
                                   } else if (SdifFSkipFrameData(f) != f->CurrFramH->Size - 16) {
                                       break;
                                   }
                                   frames++;
                                   size_t nb = 0;
                                   if (SdifFGetSignature(f, &nb) != 1) break;
                               }
                               char text[256];
                               snprintf(text, sizeof text,
                                        "seekable=%d size=%ld frames=%d last=%.17g sum=%.17g",
                                        f->isSeekable, long(f->FileSize), frames, last, sum);
                               return std::string(text);
                           }),
              expected);
}

// Counts a pipe cannot back cost only the data that came; a Size beyond it
// is skipped by reading to its end.
TEST_F(FramesRead, LyingCountsThroughAPipeCostOnlyTheDataThatCame) {
    // 16 GiB claimed, 400 bytes come
    EXPECT_EQ(ThroughAPipe(OneMatrix(_SdifUnknownSize, 1, "1TRC", eFloat4, 0x40000000, 4,
                                     std::vector<float>(100, 1.0f)),
                           [](SdifFileT* f) {
                               size_t frame = SdifFReadFrameHeader(f);
                               size_t header = SdifFReadMatrixHeader(f);
                               size_t row = f->CurrOneRow->NbGranule;
                               size_t data = SdifFReadMatrixData(f);
                               return "frame=" + std::to_string(frame) +
                                      " header=" + std::to_string(header) +
                                      " data=" + std::to_string(data) +
                                      " row<=64K=" + std::to_string(row <= 65536) + " cells<=1M=" +
                                      std::to_string(f->CurrMtrxData->AllocSize <= (1u << 20));
                           }),
              "frame=20 header=16 data=400 row<=64K=1 cells<=1M=1 reports=1 last=End of file : "
              "Sdiffread -1");
    EXPECT_EQ(ThroughAPipe(OneMatrix(0x7FFFFFF0, 1, "1TRC", eFloat4, 1, 4,
                                     std::vector<float>(4, 1.0f), 0.5, 2),
                           [](SdifFileT* f) {
                               size_t frame = SdifFReadFrameHeader(f);
                               return "frame=" + std::to_string(frame) +
                                      " skipped=" + std::to_string(SdifFSkipFrameData(f));
                           }),
              "frame=20 skipped=0 reports=2 last=End of file : Skip  FrameData 1TRC ID:2 T:0.5");
}
