// Frame and matrix headers and rows of a text SDIF file.

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
class FramesScan : public SdifLibraryTest {
   protected:
    // A file object whose text stream reads text.
    SdifFileT* OpenText(const std::string& name, const std::string& text) {
        const std::string path = TempPath(name);
        WriteFile(path, text);
        SdifFileT* f = SdifFOpen(path.c_str(), eReadFile);
        if (f && !SdifFOpenText(f, path.c_str(), eReadFile)) return nullptr;
        return f;
    }
    // The next word of the text stream as the current signature.
    static SdifSignature NextSignature(SdifFileT* f) {
        size_t nb = 0;
        SdifSignature sig = 0;
        SdiffGetSignature(f->TextStream, &sig, &nb);
        f->CurrSignature = sig;
        return sig;
    }
};

}  // namespace

TEST_F(FramesScan, HeadersAndRowsReadInTheTextOrder) {
    // Frame words: NbMatrix, NumID, Time (not the binary order); 32 is an
    // old code for Float4, 2 one for Float8.
    SdifFileT* f = OpenText("text.sdif",
                            "1TRC\t1\t7\t0.5\n"
                            "  1TRC\t32\t2\t4\n"
                            "\t1\t440\t0.5\t0\n"
                            "\t2\t880.5\t0.25\t1\n"
                            "1PIC 1 3 2.25\n"
                            "  1PIC 2 1 2\n"
                            "\t100.5 0.125\n");
    ASSERT_NE(f, nullptr);
    RecordReports rec;
    ASSERT_EQ(NextSignature(f), Sig("1TRC"));
    EXPECT_GT(SdifFScanFrameHeader(f), 0u);
    const SdifFrameHeaderT* h = f->CurrFramH;
    EXPECT_EQ(std::make_tuple(h->Signature, h->Size, h->NbMatrix, h->NumID, h->Time),
              std::make_tuple(Sig("1TRC"), _SdifUnknownSize, 1u, 7u, 0.5));
    EXPECT_GT(SdifFScanMatrixHeader(f), 0u);
    const SdifMatrixHeaderT* m = f->CurrMtrxH;
    EXPECT_EQ(std::make_tuple(m->Signature, m->DataType, m->NbRow, m->NbCol, f->CurrOneRow->NbData),
              std::make_tuple(Sig("1TRC"), eFloat4, 2u, 4u, 4u));
    for (double freq : {440.0, 880.5}) {
        EXPECT_EQ(SdifFScanOneRow(f), 4u);
        EXPECT_EQ(SdifFCurrOneRowCol(f, 2), freq);
    }
    EXPECT_EQ(SdifFCurrOneRowCol(f, 4), 1.0);

    ASSERT_EQ(NextSignature(f), Sig("1PIC"));
    EXPECT_GT(SdifFScanFrameHeader(f), 0u);
    EXPECT_GT(SdifFScanMatrixHeader(f), 0u);
    EXPECT_EQ(SdifFScanOneRow(f), 2u);
    EXPECT_EQ(std::make_tuple(h->NumID, h->Time, m->DataType, SdifFCurrOneRowCol(f, 1),
                              SdifFCurrOneRowCol(f, 2)),
              std::make_tuple(3u, 2.25, eFloat8, 100.5, 0.125));
    EXPECT_TRUE(RecordReports::Reports().empty());
    SdifFClose(f);
}

TEST_F(FramesScan, CodesAreReadInAnyIntegerFormAndUnknownOnesFallBackToFloat4) {
    SdifFileT* f = OpenText("codes.sdif",
                            "1TRC 1 0 0\n"
                            "1TRC 0x0008 1 1  2.5\n"
                            "1TRC 2 0 1\n"
                            "1TRC 0x0108 1 2  1.25 -3\n");
    ASSERT_NE(f, nullptr);
    RecordReports rec;
    ASSERT_EQ(NextSignature(f), Sig("1TRC"));
    ASSERT_GT(SdifFScanFrameHeader(f), 0u);
    ASSERT_GT(SdifFScanMatrixHeader(f), 0u);
    EXPECT_EQ(f->CurrMtrxH->DataType, eFloat8);
    EXPECT_EQ(SdifFScanOneRow(f), 1u);
    EXPECT_EQ(SdifFCurrOneRowCol(f, 1), 2.5);

    ASSERT_EQ(NextSignature(f), Sig("1TRC"));
    ASSERT_GT(SdifFScanFrameHeader(f), 0u);
    CaptureSdifStdErr notices;
    ASSERT_GT(SdifFScanMatrixHeader(f), 0u);
    EXPECT_EQ(notices.Text(), "*Sdif* standard datatypes Int8, UInt8 not yet handled\n");
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eTypeDataNotSupported});
    EXPECT_EQ(RecordReports::LastMessage(),
              "Type of data not actualy supported :  0x0108, then Float4 used");
    EXPECT_EQ(SdifFScanOneRow(f), 2u);
    EXPECT_EQ(
        std::make_tuple(f->CurrMtrxH->DataType, SdifFCurrOneRowCol(f, 1), SdifFCurrOneRowCol(f, 2)),
        std::make_tuple(eFloat4, 1.25, -3.0));
    SdifFClose(f);
}

TEST_F(FramesScan, MissingWordsAreASyntaxErrorAndHugeRowsWaitForTheirCells) {
    SdifFileT* f = OpenText("bad.sdif",
                            "1TRC 1 x 0.5\n"
                            "1TRC 1 0 0\n"
                            "1TRC 4 1 4000000000  1 2 3\n");
    ASSERT_NE(f, nullptr);
    RecordReports rec;
    ASSERT_EQ(NextSignature(f), Sig("1TRC"));
    EXPECT_EQ(SdifFScanFrameHeader(f), 0u);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eSyntax});
    EXPECT_EQ(RecordReports::LastMessage(),
              "Syntax error: frame '1TRC': NbMatrix, NumID and Time expected");
    // Resynchronise on the next line.
    int c;
    while ((c = fgetc(f->TextStream)) != '\n' && c != EOF) {
    }
    ASSERT_EQ(NextSignature(f), Sig("1TRC"));
    ASSERT_GT(SdifFScanFrameHeader(f), 0u);
    ASSERT_GT(SdifFScanMatrixHeader(f), 0u);
    EXPECT_EQ(f->CurrMtrxH->NbCol, 4000000000u);
    EXPECT_LT(f->CurrOneRow->NbGranule, 1u << 20);
    // Three cells come, then the text ends.
    EXPECT_EQ(SdifFScanOneRow(f), 3u);
    EXPECT_EQ(SdifFCurrOneRowCol(f, 3), 3.0);
    EXPECT_LT(f->CurrOneRow->NbGranule, 1u << 20);
    SdifFClose(f);
}
