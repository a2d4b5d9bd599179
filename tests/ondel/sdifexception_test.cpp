#include "sdifexception.h"

#include <gtest/gtest.h>

#include <functional>
#include <typeinfo>

#include "OndelTestUtil.h"
#include "SdifErrMess.h"
#include "sdifframe.h"
#include "sdifmatrix.h"

using namespace Ondel;

namespace {

// Calls the thrower the way the library does and hands back what came out.
template <class E>
E Thrown(SdifErrorTagET tag, SdifErrorLevelET level = eError) {
    char text[] = "the text";
    char src[] = "SdifX.cpp";
    try {
        ExceptionThrower(tag, level, text, nullptr, nullptr, src, 42);
    } catch (const E& e) {
        return e;
    }
    ADD_FAILURE() << "tag " << tag << " did not throw the expected class";
    return E(eError, nullptr, nullptr, 0, nullptr, 0);
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

TEST(ExceptionThrower, MapsEveryErrorTagToItsClass) {
    EXPECT_EQ(typeid(Thrown<SDIFEof>(eEof, eFatal)), typeid(SDIFEof));
    EXPECT_EQ(typeid(Thrown<SDIFReDefined>(eReDefined)), typeid(SDIFReDefined));
    EXPECT_EQ(typeid(Thrown<SDIFUnDefined>(eUnDefined)), typeid(SDIFUnDefined));
    EXPECT_EQ(typeid(Thrown<SDIFBadHeader>(eBadHeader)), typeid(SDIFBadHeader));
    EXPECT_EQ(typeid(Thrown<SDIFBadMode>(eBadMode)), typeid(SDIFBadMode));
    EXPECT_EQ(typeid(Thrown<SDIFBadStdFile>(eBadStdFile)), typeid(SDIFBadStdFile));
    EXPECT_EQ(typeid(Thrown<SDIFReadWriteOnSameFile>(eReadWriteOnSameFile)),
              typeid(SDIFReadWriteOnSameFile));
    EXPECT_EQ(typeid(Thrown<SDIFBadFormatVersion>(eBadFormatVersion)),
              typeid(SDIFBadFormatVersion));
    EXPECT_EQ(typeid(Thrown<SDIFFreeNull>(eFreeNull, eFatal)), typeid(SDIFFreeNull));
    EXPECT_EQ(typeid(Thrown<SDIFAllocFail>(eAllocFail, eFatal)), typeid(SDIFAllocFail));
    EXPECT_EQ(typeid(Thrown<SDIFArrayPosition>(eArrayPosition, eFatal)), typeid(SDIFArrayPosition));
    EXPECT_EQ(typeid(Thrown<SDIFNotInDataTypeUnion>(eNotInDataTypeUnion, eFatal)),
              typeid(SDIFNotInDataTypeUnion));
    EXPECT_EQ(typeid(Thrown<SDIFTokenLength>(eTokenLength, eFatal)), typeid(SDIFTokenLength));
}

TEST(ExceptionThrower, TagWithoutClassThrowsPlainExceptionCarryingEverything) {
    SDIFException e = Thrown<SDIFException>(eNoError, eMessage);
    EXPECT_EQ(typeid(Thrown<SDIFException>(eNoError)), typeid(SDIFException));
    EXPECT_EQ(e.GetTag(), 1);
    EXPECT_EQ(e.GetLevel(), eMessage);
    EXPECT_STREQ(e.what(), "the text");
    EXPECT_EQ(e.GetSourceFile(), "SdifX.cpp");
    EXPECT_EQ(e.GetLine(), 42);
    EXPECT_EQ(e.GetFile(), nullptr);
}

TEST(SDIFException, NullTextsBecomeEmptyAndCopiesKeepEveryField) {
    SDIFEof e(eError, nullptr, nullptr, eEof, nullptr, 0);
    EXPECT_STREQ(e.what(), "");
    EXPECT_EQ(e.GetSourceFile(), "");
    SDIFEof original(eFatal, "msg", reinterpret_cast<SdifFileT*>(0x10), 4, "a.cpp", 7);
    SDIFEof copy(original);
    EXPECT_STREQ(copy.what(), "msg");
    EXPECT_EQ(copy.GetLevel(), eFatal);
    EXPECT_EQ(copy.GetFile(), reinterpret_cast<SdifFileT*>(0x10));
    EXPECT_EQ(copy.GetTag(), 4);
    EXPECT_EQ(copy.GetSourceFile(), "a.cpp");
    EXPECT_EQ(copy.GetLine(), 7);
}

TEST(SDIFException, FileErrorBranchCatchesFileFailuresOnly) {
    EXPECT_TRUE(CaughtAsFileError([] { throw Thrown<SDIFEof>(eEof); }));
    EXPECT_TRUE(CaughtAsFileError([] { throw Thrown<SDIFBadHeader>(eBadHeader); }));
    EXPECT_TRUE(CaughtAsFileError(
        [] { throw SDIFFrameHeaderSizeError(eError, "x", nullptr, eBadHeader, nullptr, 0); }));
    EXPECT_TRUE(CaughtAsFileError([] { throw Thrown<SDIFBadMode>(eBadMode); }));
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

TEST(OndelInit, LibraryErrorsThrowWithTheComposedDiagnostic) {
    // Tag 15 is Error level: the report reaches the installed thrower.
    try {
        SdifFError(nullptr, eBadMode, "xyz", "t.cpp", 3);
        FAIL() << "no exception";
    } catch (const SDIFBadMode& e) {
        const std::string what = e.what();
        EXPECT_EQ(what.rfind("*Sdif* Error 15:", 0), 0u) << what;
        EXPECT_NE(what.find("--> Bad mode at sdif file opening (-1), xyz"), std::string::npos);
        EXPECT_EQ(e.GetLevel(), eError);
        EXPECT_EQ(e.GetTag(), eBadMode);
        EXPECT_EQ(e.GetSourceFile(), "t.cpp");
        EXPECT_EQ(e.GetLine(), 3);
    }
}

TEST(OndelInit, WarningsStillPrintAndDoNotThrow) {
    std::string err;
    EXPECT_NO_THROW(err = testsupport::CaptureStderr(
                        [] { SdifFError(nullptr, eFileNotFound, "nofile.sdif", "t.cpp", 1); }));
    EXPECT_NE(err.find("File not found or permission denied: \"nofile.sdif\""), std::string::npos)
        << err;
}

TEST(OndelInit, SecondCallOnlyReinstallsTheThrower) {
    EXPECT_FALSE(OndelInit(std::string()));
    EXPECT_THROW(SdifFError(nullptr, eReDefined, "x", "t.cpp", 1), SDIFReDefined);
}
