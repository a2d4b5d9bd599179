#include "sdifframe.h"

#include <gtest/gtest.h>

#include <functional>

#include "OndelTestUtil.h"

using namespace Ondel;
using ondeltest::Thrown;
using ondeltest::WriteFrames;
using testsupport::Sig;

namespace {

SDIFMatrix IntMatrix(const char* sig, std::vector<int> values) {
    SDIFMatrix m(sig, int(values.size()), 1, eInt4);
    for (size_t r = 0; r < values.size(); ++r) m.Set(int(r), 0, values[r]);
    return m;
}

SDIFMatrix FloatMatrix(const char* sig, int rows, int cols, float first) {
    SDIFMatrix m(sig, rows, cols, eFloat4);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) m.Set(r, c, first + float(r * cols + c));
    return m;
}

// A chord-sequence frame holding 1BEG, 1END and 1SEG, all components of 1MRK.
SDIFFrame MarkerFrame(double time, unsigned stream) {
    SDIFFrame f;
    f.SetHeader("1MRK", stream, time);
    f.AddMatrix(IntMatrix("1BEG", {5}));
    f.AddMatrix(IntMatrix("1END", {6, 7}));
    SDIFMatrix seg("1SEG", 1, 1, eFloat4);
    seg.Set(0, 0, 0.5);
    f.AddMatrix(seg);
    return f;
}

}  // namespace

// A matrix selection keeps the wanted matrix in the first slot; a signature
// set given to ReadData chooses matrices in file order.  (ReadNextFrame reads
// through SDIFFrame::Read.)
TEST(SDIFFrame, OnlyTheWantedMatricesAreKept) {
    const std::string path = WriteFrames("marker.sdif", {MarkerFrame(0.25, 0)});
    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead((path + "::/1END").c_str()));
    SDIFFrame frame;
    // 20 header bytes after the signature, then 2 x 1 Int4 cells (8 bytes);
    // the other matrices count nothing and the end of file adds nothing.
    EXPECT_EQ(in.ReadNextFrame(frame), 20 + 8);
    ASSERT_EQ(frame.GetNbMatrix(), 1u);
    EXPECT_EQ(frame.GetMatrix(0).GetSignature(), Sig("1END"));
    EXPECT_EQ(frame.GetMatrix(0).GetInt(1, 0), 7);
    EXPECT_TRUE(frame.MatrixExists("1END"));
    EXPECT_FALSE(frame.MatrixExists("1BEG"));
    EXPECT_EQ(frame.GetTime(), 0.25);
    EXPECT_EQ(frame.GetSignature(), Sig("1MRK"));
    // Reading through the entity past its end throws.
    EXPECT_TRUE(in.eof());
    const auto e = Thrown<SDIFEof>([&] { frame.Read(in); });
    EXPECT_STREQ(e.what(), "Error in SDIFFrame::Read -- Eof reached");
    EXPECT_EQ(e.GetTag(), eEof);
    EXPECT_EQ(e.GetLevel(), eError);
    EXPECT_EQ(e.GetFile(), in.GetFile());
    EXPECT_EQ(e.GetSourceFile(), "");
    EXPECT_EQ(e.GetLine(), 0);

    SDIFEntity all;
    ASSERT_TRUE(all.OpenRead(path.c_str()));
    SDIFFrame chosen;
    ASSERT_GT(chosen.ReadHeader(all), 0);
    ASSERT_EQ(chosen.GetNbMatrix(), 3u);
    chosen.Resize(3);
    const std::set<unsigned int> wanted = {Sig("1SEG"), Sig("1BEG")};
    EXPECT_EQ(chosen.ReadData(all.GetFile(), &wanted), 8 + 8);
    ASSERT_EQ(chosen.GetNbMatrix(), 2u);
    EXPECT_EQ(chosen.GetMatrix(0).GetSignature(), Sig("1BEG"));
    EXPECT_EQ(chosen.GetMatrix(1).GetSignature(), Sig("1SEG"));
    EXPECT_EQ(chosen.GetMatrix(1).GetDouble(0, 0), 0.5);
}

TEST(SDIFFrame, FrameRejectedBySelectionReadsNothingButTracksTheEnd) {
    const std::string path =
        WriteFrames("streams.sdif", {MarkerFrame(0.0, 0), MarkerFrame(1.0, 1)});
    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead((path + "::#1").c_str()));
    SDIFFrame frame;
    frame.SetHeader("1TRC", 9, 3.0);
    bool eof = true;
    EXPECT_EQ(frame.Read(in.GetFile(), eof), 0);
    EXPECT_FALSE(eof);
    EXPECT_EQ(frame.GetTime(), -1.0);
    EXPECT_EQ(frame.GetSignature(), 0u);
    EXPECT_EQ(frame.GetNbMatrix(), 0u);
    EXPECT_GT(frame.Read(in.GetFile(), eof), 0);
    EXPECT_TRUE(eof);
    EXPECT_EQ(frame.GetStreamID(), 1u);
    EXPECT_EQ(frame.GetNbMatrix(), 3u);
}

TEST(SDIFFrame, WriteAnnouncesTheSizeOfTheMatricesAtWriteTime) {
    SDIFFrame frame;
    frame.SetHeader("1TRC", 2, 0.5);
    frame.AddMatrix(FloatMatrix("1TRC", 1, 1, 0));
    frame.GetMatrix(0).Init("1TRC", 3, 4, eFloat4);  // grown after being added
    EXPECT_EQ(frame.GetSize(), 16u + 16u + 48u);
    const std::string path = testsupport::TempPath("grown.sdif");
    SDIFEntity out;
    ASSERT_TRUE(out.OpenWrite(path.c_str()));
    EXPECT_EQ(out.WriteFrame(frame), 88);
    out.Close();
    const auto raw = testsupport::RawFrames(testsupport::ReadFile(path));
    ASSERT_EQ(raw.size(), 1u);
    EXPECT_EQ(raw[0].size, 80u);
    EXPECT_EQ(raw[0].id, 2u);
    EXPECT_EQ(raw[0].time, 0.5);
    EXPECT_EQ(raw[0].matrices[0].rows, 3u);
}

TEST(SDIFFrame, WriteOfFewerMatricesThanAnnouncedThrowsAfterWriting) {
    std::vector<SDIFFrame> frames = {MarkerFrame(0.0, 0)};
    frames[0].Resize(1);
    const std::string source = WriteFrames("single.sdif", frames);
    SDIFFrame frame;
    frame.SetHeader("1MRK", 0, 1.0);
    frame.AddMatrix(IntMatrix("1BEG", {1}));
    frame.AddMatrix(IntMatrix("1END", {2}));
    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead(source.c_str()));
    frame.ReadHeader(in);  // takes the count of one matrix, the array keeps two
    ASSERT_EQ(frame.GetNbMatrix(), 1u);
    SDIFEntity out;
    const std::string path = testsupport::TempPath("short.sdif");
    ASSERT_TRUE(out.OpenWrite(path.c_str()));
    const auto e = Thrown<SDIFFrameHeaderSizeError>([&] { out.WriteFrame(frame); });
    EXPECT_STREQ(e.what(), "Error in SDIFFrame::Write -- FrameSize  does not match written size");
    EXPECT_EQ(e.GetTag(), eBadHeader);
    EXPECT_EQ(e.GetFile(), out.GetFile());
    EXPECT_EQ(e.GetLine(), 0);
    const long before = ftell(out.GetFile()->Stream);
    EXPECT_EQ(before, long(16 + 24 + 24));  // header and one matrix are out
}

TEST(SDIFFrame, MatricesAreFoundByIndexAndSignature) {
    SDIFFrame frame;
    frame.AddMatrix(IntMatrix("1END", {1}));
    frame.AddMatrix(IntMatrix("1BEG", {2}));
    frame.AddMatrix(IntMatrix("1BEG", {3}));
    EXPECT_EQ(frame.GetNbMatrix(), 3u);
    EXPECT_EQ(frame.GetMatrixWithSig(Sig("1BEG")).GetInt(0, 0), 2);
    EXPECT_EQ(frame.GetMatrix("1BEG").GetInt(0, 0), 2);
    const SDIFFrame& constFrame = frame;
    EXPECT_EQ(constFrame.GetMatrix(2).GetInt(0, 0), 3);
    const struct {
        std::function<void()> get;
        const char* what;
    } misses[] = {
        {[&] { frame.GetMatrix(3); }, "GetMatrix(unsigned int):: Matrix index 3 out of range! "},
        {[&] { constFrame.GetMatrix(7); },
         "GetMatrix(unsigned int) const:: Matrix index 7 out of range! "},
        {[&] { frame.GetMatrix("1SEG"); },
         "GetMatrixWithSig(const SdifSignature sig) :: Matrix signature 1SEG not contained in "
         "Frame !"},
        {[&] { constFrame.GetMatrixWithSig(Sig("1TRC")); },
         "GetMatrixWithSig(const SdifSignature sig) const:: Matrix signature 1TRC not contained "
         "in Frame !"},
    };
    for (auto const& miss : misses) {
        const auto e = Thrown<SDIFMatrixNotAvailable>(miss.get);
        EXPECT_STREQ(e.what(), miss.what);
        EXPECT_EQ(e.GetTag(), eNotFound);
        EXPECT_EQ(e.GetLevel(), eError);
    }
}

TEST(SDIFFrame, PrintShowsOneHeaderBlockAndEachMatrix) {
    SDIFFrame frame;
    frame.SetHeader("1TRC", 3, 0.5);
    frame.AddMatrix(FloatMatrix("1TRC", 1, 2, 1));
    frame.AddMatrix(IntMatrix("1HRM", {7}));
    EXPECT_EQ(testsupport::CaptureStdout([&] { frame.Print(); }),
              "\nFrame signature : 1TRC\n"
              "StreamID: 3 Time: 0.5 number of Matrix in current Frame : 2\n"
              " Signature : 1TRC\n1 2 \n"
              " Signature : 1HRM\n7 \n");
}

TEST(SDIFFrame, OneFrameObjectReadsFramesOfChangingShape) {
    // The matrices of one read are reused by the next: every shape and type
    // change must still give exactly the new values.
    std::vector<SDIFFrame> frames(4);
    frames[0].SetHeader("1TRC", 0, 0.0);
    frames[0].AddMatrix(FloatMatrix("1TRC", 3, 4, 0));
    frames[1].SetHeader("1TRC", 0, 0.1);
    frames[1].AddMatrix(FloatMatrix("1TRC", 1, 4, 100));
    frames[2] = MarkerFrame(0.2, 0);
    frames[3].SetHeader("1TRC", 0, 0.3);
    SDIFMatrix doubles("1TRC", 2, 2, eFloat8);
    doubles.Set(1, 1, 2.25);
    frames[3].AddMatrix(doubles);
    const std::string path = WriteFrames("shapes.sdif", frames);

    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead(path.c_str()));
    SDIFFrame frame;
    in.ReadNextFrame(frame);
    EXPECT_EQ(frame.GetMatrix(0).GetNbRows(), 3);
    EXPECT_EQ(frame.GetMatrix(0).GetFloat(2, 3), 11.0f);
    in.ReadNextFrame(frame);
    ASSERT_EQ(frame.GetNbMatrix(), 1u);
    EXPECT_EQ(frame.GetMatrix(0).GetNbRows(), 1);
    EXPECT_EQ(frame.GetMatrix(0).GetFloat(0, 3), 103.0f);
    EXPECT_THROW(frame.GetMatrix(0).GetFloat(1, 0), SDIFArrayPosition);
    in.ReadNextFrame(frame);
    ASSERT_EQ(frame.GetNbMatrix(), 3u);
    EXPECT_EQ(frame.GetMatrix(1).GetType(), eInt4);
    EXPECT_EQ(frame.GetMatrix(1).GetInt(1, 0), 7);
    EXPECT_EQ(frame.GetMatrix(2).GetDouble(0, 0), 0.5);
    in.ReadNextFrame(frame);
    ASSERT_EQ(frame.GetNbMatrix(), 1u);
    EXPECT_EQ(frame.GetMatrix(0).GetType(), eFloat8);
    EXPECT_EQ(frame.GetMatrix(0).GetDouble(1, 1), 2.25);
    EXPECT_EQ(frame.GetMatrix(0).GetDouble(0, 0), 0.0);
    EXPECT_TRUE(in.eof());
}
