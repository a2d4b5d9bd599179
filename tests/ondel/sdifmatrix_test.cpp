#include "sdifmatrix.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "OndelTestUtil.h"

using namespace Ondel;
using ondeltest::Thrown;
using testsupport::Sig;

namespace {

// rows x cols Float4 matrix filled row by row from values.
SDIFMatrix Filled(int rows, int cols, const std::vector<double>& values,
                  SdifDataTypeET type = eFloat4) {
    SDIFMatrix m("1TRC", rows, cols, type);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) m.Set(r, c, values[size_t(r) * cols + c]);
    return m;
}

std::vector<double> Values(const SDIFMatrix& m) {
    std::vector<double> v;
    for (int r = 0; r < m.GetNbRows(); ++r)
        for (int c = 0; c < m.GetNbCols(); ++c) v.push_back(m.GetDouble(r, c));
    return v;
}

// A file of one 1TRC frame per matrix given, half a second apart.
std::string WriteMatrices(const std::string& name, const std::vector<SDIFMatrix>& matrices) {
    std::vector<SDIFFrame> frames(matrices.size());
    for (size_t i = 0; i < matrices.size(); ++i) {
        frames[i].SetHeader("1TRC", 0, 0.5 * double(i));
        frames[i].AddMatrix(matrices[i]);
    }
    return ondeltest::WriteFrames(name, frames);
}

// A report the matrix store raised itself: its text and tag, Error level, no
// file, and the store's header as the throwing site.
void ExpectStoreError(const SDIFException& e, const char* what, int tag) {
    EXPECT_STREQ(e.what(), what);
    EXPECT_EQ(e.GetTag(), tag);
    EXPECT_EQ(e.GetLevel(), eError);
    EXPECT_EQ(e.GetFile(), nullptr);
    EXPECT_EQ(e.GetSourceFile(), "sdifmatrixdata.h");
    EXPECT_GT(e.GetLine(), 0);
}

}  // namespace

TEST(SDIFMatrix, InitKeepsStoreOfSameTypeAndZeroesIt) {
    SDIFMatrix m = Filled(2, 2, {1, 2, 3, 4});
    const SDIFMatrixDataInterface* store = m.GetData();
    m.Init("1HRM", 3, 1, eFloat4);
    EXPECT_EQ(m.GetData(), store);
    EXPECT_EQ(m.GetSignature(), Sig("1HRM"));
    EXPECT_EQ(Values(m), (std::vector<double>{0, 0, 0}));
    m.Init("1HRM", 2, 2, eFloat8);
    EXPECT_EQ(m.GetType(), eFloat8);
    EXPECT_NE(m.Data<double>(), nullptr);
    EXPECT_EQ(Values(m), (std::vector<double>{0, 0, 0, 0}));
}

TEST(SDIFMatrix, UnsupportedTypeThrowsAndLeavesNoStore) {
    SDIFMatrix m = Filled(1, 2, {5, 6});
    ExpectStoreError(Thrown<SDIFMatrixDataError>([&] { m.Init("1TRC", 1, 1, eInt8); }),
                     "Error in  SDIFMatrix::Init!!! unimplemented matrix type used !!!",
                     eTypeDataNotSupported);
    EXPECT_EQ(m.GetData(), nullptr);
    EXPECT_FALSE(m.Resize(2, 2));
    EXPECT_FALSE(m.Clear());
    EXPECT_THROW(m.GetDouble(0, 0), SDIFArrayPosition);
}

TEST(SDIFMatrix, ResizeKeepsEveryValueInItsPlace) {
    SDIFMatrix m = Filled(2, 2, {1, 2, 3, 4});
    ASSERT_TRUE(m.Resize(3, 3));
    EXPECT_EQ(Values(m), (std::vector<double>{1, 2, 0, 3, 4, 0, 0, 0, 0}));
    ASSERT_TRUE(m.Resize(1, 1));
    EXPECT_EQ(Values(m), (std::vector<double>{1}));

    SDIFMatrix wide = Filled(2, 3, {1, 2, 3, 4, 5, 6});
    wide.Resize(3, 2);  // fewer columns, more rows
    EXPECT_EQ(Values(wide), (std::vector<double>{1, 2, 4, 5, 0, 0}));
    SDIFMatrix tall = Filled(3, 2, {1, 2, 3, 4, 5, 6});
    tall.Resize(2, 4);  // more columns, fewer rows
    EXPECT_EQ(Values(tall), (std::vector<double>{1, 2, 0, 0, 3, 4, 0, 0}));
    tall.Resize(4, 1);
    EXPECT_EQ(Values(tall), (std::vector<double>{1, 3, 0, 0}));
    tall.Resize(0, 3);
    EXPECT_EQ(tall.GetNbRows(), 0);
    tall.Resize(2, 2);
    EXPECT_EQ(Values(tall), (std::vector<double>{0, 0, 0, 0}));
}

TEST(SDIFMatrix, OutOfRangeAccessThrowsWithExactMessages) {
    SDIFMatrix m = Filled(2, 3, {1, 2, 3, 4, 5, 6});
    double buf[8];
    ExpectStoreError(Thrown<SDIFArrayPosition>([&] { m.Set(0, 3, 1.0); }),
                     "Error in  SDIFMatrixData::Set!!! requested pos is out of range !!!",
                     eArrayPosition);
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.Set(-1, 0, 1); }).what(),
                 "Error in  SDIFMatrixData::Set!!! requested pos is out of range !!!");
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.GetDouble(2, 0); }).what(),
                 "Error in  SDIFMatrixData::Get!!! requested position is out of range !!!");
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.GetInt(0, -1); }).what(),
                 "Error in  SDIFMatrixData::Get!!! requested position is out of range !!!");
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.GetRow(buf, 2); }).what(),
                 "Error in  SDIFMatrixData::GetRow!!! requested row is out of range !!!");
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.SetRow(buf, -1); }).what(),
                 "Error in  SDIFMatrixData::SetRow!!! requested row is out of range !!!");
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.GetCol(buf, 3); }).what(),
                 "Error in  SDIFMatrixData::GetCol!!! requested column is out of range !!!");
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.SetCol(buf, 3); }).what(),
                 "Error in  SDIFMatrixData::SetCol!!! requested column is out of range !!!");
    // The virtual interface checks the same way.
    EXPECT_STREQ(Thrown<SDIFArrayPosition>([&] { m.GetData()->GetUChar(0, 3); }).what(),
                 "Error in  SDIFMatrixData::Get!!! requested position is out of range !!!");
}

// Values convert with truncation toward zero; rows and columns copy with
// conversion; typed data is row-major and only for the stored type.
TEST(SDIFMatrix, ValuesConvertOnEveryAccess) {
    SDIFMatrix ints("1TRC", 1, 3, eInt4);
    ints.Set(0, 0, 2.7);
    ints.Set(0, 1, -2.7f);
    ints.Set(0, 2, 7);
    EXPECT_EQ(Values(ints), (std::vector<double>{2, -2, 7}));
    SDIFMatrix bytes("1TRC", 1, 1, eUInt1);
    bytes.Set(0, 0, 300);
    EXPECT_EQ(bytes.GetUChar(0, 0), 44);  // 300 modulo 256

    SDIFMatrix m = Filled(3, 2, {1.5, 2.5, 3.5, 4.5, 5.5, 6.5});
    EXPECT_EQ(m.GetInt(0, 0), 1);
    EXPECT_FLOAT_EQ(m.GetFloat(0, 1), 2.5f);
    int col[3];
    m.GetCol(col, 1);
    EXPECT_EQ(std::vector<int>(col, col + 3), (std::vector<int>{2, 4, 6}));
    double row[2];
    m.GetRow(row, 2);
    EXPECT_EQ(std::vector<double>(row, row + 2), (std::vector<double>{5.5, 6.5}));
    ASSERT_NE(m.Data<float>(), nullptr);
    EXPECT_EQ(m.Data<float>()[2], 3.5f);
    EXPECT_EQ(m.Data<double>(), nullptr);
    EXPECT_EQ(m.Get<short>(2, 1), 6);
    const unsigned char in[3] = {7, 8, 9};
    m.SetCol(in, 0);
    const float rowIn[2] = {-1, -2};
    m.SetRow(rowIn, 1);
    EXPECT_EQ(Values(m), (std::vector<double>{7, 2.5, -1, -2, 9, 6.5}));
    m.Clear();
    EXPECT_EQ(Values(m), (std::vector<double>(6, 0.0)));
    SDIFMatrix text("1TRC", 1, 2, eText);
    EXPECT_NE(text.Data<char>(), nullptr);
    EXPECT_EQ(text.Data<unsigned char>(), nullptr);
}

TEST(SDIFMatrix, CopiesAreDeep) {
    SDIFMatrix a = Filled(1, 2, {1, 2});
    SDIFMatrix b(a);
    SDIFMatrix c(eInt2);
    c = a;
    a.Set(0, 0, 9);
    EXPECT_EQ(Values(b), (std::vector<double>{1, 2}));
    EXPECT_EQ(Values(c), (std::vector<double>{1, 2}));
    EXPECT_EQ(c.GetType(), eFloat4);
    EXPECT_EQ(c.GetSignature(), Sig("1TRC"));
}

TEST(SDIFMatrix, EveryTypeRoundTripsThroughAFile) {
    const SdifDataTypeET types[] = {eFloat4, eFloat8, eInt1, eInt2, eInt4, eUInt1, eUInt2, eUInt4};
    const std::vector<double> values = {1, 2, 3, 100, 7, 9};
    std::vector<SDIFMatrix> written;
    for (SdifDataTypeET t : types) written.push_back(Filled(2, 3, values, t));
    written.push_back(Filled(1, 3, {1, -2, 3}, eInt2));
    const std::string path = WriteMatrices("types.sdif", written);

    // The cells go out through the byte layer; the frame's Size is the
    // object's own count: 16 + 16 + 6 cell bytes padded to 8.
    EXPECT_EQ(testsupport::RawFrames(testsupport::ReadFile(path)).back().size, 16u + 16u + 8u);
    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead(path.c_str()));
    SDIFFrame frame;
    for (size_t i = 0; i < written.size(); ++i) {
        in.ReadNextFrame(frame);
        ASSERT_EQ(frame.GetNbMatrix(), 1u);
        const SDIFMatrix& m = frame.GetMatrix(0);
        EXPECT_EQ(m.GetType(), written[i].GetType());
        EXPECT_EQ(Values(m), Values(written[i])) << "type 0x" << std::hex << m.GetType();
        // Data bytes and padding, never the header.
        const unsigned cells = unsigned(m.GetNbRows() * m.GetNbCols()) * (m.GetType() & 0xFF);
        EXPECT_EQ(m.GetReadSize(), cells + (cells % 8 ? 8 - cells % 8 : 0));
    }
    EXPECT_EQ(frame.GetMatrix(0).GetReadSize(), 8u);  // 1 x 3 Int2: 6 bytes and 2 of padding
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(frame.GetMatrix(0).GetColName(1), "Index");
    EXPECT_EQ(frame.GetMatrix(0).GetColName(4), "Phase");
    EXPECT_EQ(frame.GetMatrix(0).GetColName(5), "");
}

TEST(SDIFMatrix, TextMatrixReadsWritesAndPrintsCharacters) {
    SDIFMatrix text("1TRC", 1, 5, eText);
    const char hello[] = "hello";
    for (int c = 0; c < 5; ++c) text.Set(0, c, int(hello[c]));
    const std::string path = WriteMatrices("text.sdif", {text});
    EXPECT_EQ(testsupport::RawFrames(testsupport::ReadFile(path))[0].matrices[0].type, 0x0301u);
    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead(path.c_str()));
    SDIFFrame frame;
    in.ReadNextFrame(frame);
    const SDIFMatrix& m = frame.GetMatrix(0);
    EXPECT_EQ(m.GetType(), eText);
    ASSERT_NE(m.Data<char>(), nullptr);
    EXPECT_EQ(std::string(m.Data<char>(), 5), "hello");
    EXPECT_EQ(testsupport::CaptureStdout([&] { m.Print(); }), " Signature : 1TRC\nh e l l o \n");
}

// Every row is passed through whole (10 x 5 x 4 bytes read) and only the
// selected cells kept.
TEST(SDIFMatrix, RowAndColumnSelectionsKeepOnlyWhatIsSelected) {
    std::vector<double> v;
    for (int r = 0; r < 10; ++r)
        for (int c = 0; c < 5; ++c) v.push_back(r * 10 + c);
    const std::string path = WriteMatrices("10x5.sdif", {Filled(10, 5, v)});
    const struct {
        const char* selection;
        int rows, cols;
        std::vector<double> values;
    } cases[] = {{"::.3", 10, 1, {2, 12, 22, 32, 42, 52, 62, 72, 82, 92}},
                 {"::_2,4.1-2,5", 2, 3, {10, 11, 14, 30, 31, 34}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.selection);
        SDIFEntity in;
        ASSERT_TRUE(in.OpenRead((path + c.selection).c_str()));
        SDIFFrame frame;
        in.ReadNextFrame(frame);
        const SDIFMatrix& m = frame.GetMatrix(0);
        ASSERT_EQ(m.GetNbRows(), c.rows);
        ASSERT_EQ(m.GetNbCols(), c.cols);
        EXPECT_EQ(Values(m), c.values);
        EXPECT_EQ(m.GetReadSize(), 200u);
        EXPECT_TRUE(in.eof());
    }
}

TEST(SDIFMatrix, UnwantedMatrixIsSkippedAndLeavesPreviousContents) {
    const std::string path =
        WriteMatrices("two.sdif", {Filled(1, 2, {1, 2}), Filled(1, 2, {3, 4})});
    SDIFEntity in;
    ASSERT_TRUE(in.OpenRead(path.c_str()));
    SDIFFrame frame;
    ASSERT_GT(frame.ReadHeader(in), 0);
    SDIFMatrix m = Filled(1, 1, {42});
    const std::set<unsigned int> onlyHrm = {Sig("1HRM")};
    EXPECT_EQ(m.Read(in.GetFile(), &onlyHrm), 0);
    EXPECT_EQ(Values(m), (std::vector<double>{42}));
    EXPECT_EQ(m.GetReadSize(), 16u);  // the header bytes stay counted
    // The file stands at the next frame.
    size_t nb = 0;
    SdifFGetSignature(in.GetFile(), &nb);
    ASSERT_GT(frame.ReadHeader(in.GetFile()), 0);
    EXPECT_EQ(frame.GetTime(), 0.5);
    const std::set<unsigned int> onlyTrc = {Sig("1TRC")};
    EXPECT_EQ(m.Read(in.GetFile(), &onlyTrc), 8);
    EXPECT_EQ(Values(m), (std::vector<double>{3, 4}));
}

TEST(SDIFMatrix, StreamWithLyingHeaderFailsAsItsDataRunsOut) {
    // On a pipe nothing tells the size: the store may only grow as cells
    // arrive, so 1.6 GB of claimed cells end in an end-of-file report.
    std::string b = testsupport::SdifHeader();
    testsupport::PutFrameHeader(b, "1TRC", 0xFFFFFFFFu - 8, 0.0, 0, 1);
    testsupport::PutMatrixHeader(b, "1TRC", eFloat4, 100000000, 4);
    for (int i = 0; i < 4096; ++i) testsupport::PutF32(b, float(i));
    testsupport::ChildRun run = testsupport::RunChild(b, [] {
        SDIFEntity in;
        if (!in.OpenRead("-")) return "not opened";
        SDIFFrame frame;
        try {
            in.ReadNextFrame(frame);
        } catch (const SDIFEof&) {
            return "eof";
        }
        return "read";
    });
    EXPECT_EQ(run.result, "eof");
}
