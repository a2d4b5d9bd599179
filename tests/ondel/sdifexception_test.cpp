#include "sdifexception.h"

#include <gtest/gtest.h>

#include <functional>
#include <typeinfo>

#include "OndelTestUtil.h"
#include "sdifmatrix.h"

using namespace Ondel;

namespace {

// Calls the thrower the way the library does and hands back what came out,
// with the class thrown in *type; without type it lets the exception through.
SDIFException Thrown(SdifErrorTagET tag, SdifErrorLevelET level, const std::type_info** type) {
    char text[] = "the text";
    char src[] = "SdifX.cpp";
    try {
        ExceptionThrower(tag, level, text, nullptr, nullptr, src, 42);
    } catch (const SDIFException& e) {
        if (!type) throw;
        *type = &typeid(e);  // the class thrown, not the one caught
        return e;
    }
    ADD_FAILURE() << "tag " << tag << " threw nothing";
    return SDIFException(eError, nullptr, nullptr, 0, nullptr, 0);
}

bool CaughtAsFileError(const std::function<void()>& f) {
    try {
        f();
    } catch (const SDIFFileError&) {
        return true;
    } catch (const SDIFException&) {
        return false;
    }
    return false;
}

}  // namespace

// Each tag throws its own class carrying everything reported; the fields are
// read from a copy, so the copy keeps them too (the file is checked that way by
// the entity tests).
TEST(ExceptionThrower, MapsEveryErrorTagToItsClass) {
    const struct {
        SdifErrorTagET tag;
        SdifErrorLevelET level;
        const std::type_info& type;
    } cases[] = {
        {eEof, eFatal, typeid(SDIFEof)},
        {eReDefined, eError, typeid(SDIFReDefined)},
        {eUnDefined, eError, typeid(SDIFUnDefined)},
        {eBadHeader, eError, typeid(SDIFBadHeader)},
        {eBadMode, eError, typeid(SDIFBadMode)},
        {eBadStdFile, eError, typeid(SDIFBadStdFile)},
        {eReadWriteOnSameFile, eError, typeid(SDIFReadWriteOnSameFile)},
        {eBadFormatVersion, eError, typeid(SDIFBadFormatVersion)},
        {eFreeNull, eFatal, typeid(SDIFFreeNull)},
        {eAllocFail, eFatal, typeid(SDIFAllocFail)},
        {eArrayPosition, eFatal, typeid(SDIFArrayPosition)},
        {eNotInDataTypeUnion, eFatal, typeid(SDIFNotInDataTypeUnion)},
        {eTokenLength, eFatal, typeid(SDIFTokenLength)},
        {eNoError, eMessage, typeid(SDIFException)},  // a tag without its own class
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.tag);
        const std::type_info* type = nullptr;
        const SDIFException e = Thrown(c.tag, c.level, &type);
        ASSERT_NE(type, nullptr);
        EXPECT_TRUE(*type == c.type) << type->name();
        EXPECT_EQ(e.GetTag(), int(c.tag));
        EXPECT_EQ(e.GetLevel(), c.level);
        EXPECT_STREQ(e.what(), "the text");
        EXPECT_EQ(e.GetSourceFile(), "SdifX.cpp");
        EXPECT_EQ(e.GetLine(), 42);
        EXPECT_EQ(e.GetFile(), nullptr);
    }
}

TEST(SDIFException, NullTextsBecomeEmpty) {
    SDIFEof e(eError, nullptr, nullptr, eEof, nullptr, 0);
    EXPECT_STREQ(e.what(), "");
    EXPECT_EQ(e.GetSourceFile(), "");
}

TEST(SDIFException, FileErrorBranchCatchesFileFailuresOnly) {
    for (SdifErrorTagET tag : {eEof, eBadHeader, eBadMode})
        EXPECT_TRUE(CaughtAsFileError([&] { Thrown(tag, eError, nullptr); })) << tag;
    EXPECT_TRUE(CaughtAsFileError(
        [] { throw SDIFFrameHeaderSizeError(eError, "x", nullptr, eBadHeader, nullptr, 0); }));
    // Matrix failures belong to other branches.
    EXPECT_FALSE(CaughtAsFileError([] {
        SDIFMatrix m(eFloat4);
        m.Set(0, 5, 1.0);
    }));
    EXPECT_FALSE(CaughtAsFileError([] {
        SDIFFrame f;
        f.GetMatrixWithSig(testsupport::Sig("1TRC"));
    }));
}

// Error reports reach the installed thrower with the library's composed
// diagnostic (a second start only reinstalls it); warnings print and do not
// throw.
TEST(OndelInit, ErrorsThrowWithTheComposedDiagnosticWarningsOnlyPrint) {
    EXPECT_FALSE(OndelInit(std::string()));
    const auto e =
        ondeltest::Thrown<SDIFBadMode>([] { SdifFError(nullptr, eBadMode, "xyz", "t.cpp", 3); });
    EXPECT_STREQ(e.what(),
                 "*Sdif* Error 15:\n  SdifFile: (no sdiffile)--> Bad mode at sdif file opening "
                 "(-1), xyz\n\n");
    EXPECT_EQ(std::make_tuple(e.GetLevel(), e.GetTag(), e.GetSourceFile(), e.GetLine()),
              std::make_tuple(eError, int(eBadMode), std::string("t.cpp"), 3));
    std::string err;
    EXPECT_NO_THROW(err = testsupport::CaptureStderr(
                        [] { SdifFError(nullptr, eFileNotFound, "nofile.sdif", "t.cpp", 1); }));
    EXPECT_NE(err.find("File not found or permission denied: \"nofile.sdif\""), std::string::npos)
        << err;
}
