#include "SdifAssert.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {
struct Stopped : std::runtime_error {
    using std::runtime_error::runtime_error;
};
void ThrowingStop(const char*, unsigned, const char* expr) { throw Stopped(expr); }
}  // namespace

TEST(SdifAssert, FailedCheckPrintsFileLineAndExpressionThenAborts) {
    EXPECT_DEATH(SdifAssertAt(1 == 2, "x/Kv2Io.cpp", 323),
                 "^x/Kv2Io.cpp:323: failed assertion `1 == 2'\n");
}

TEST(SdifAssert, InstalledStopHandlerUnwindsInsteadOfAborting) {
    SdifStopFuncT old = SdifSetStopFunc(ThrowingStop);
    testing::internal::CaptureStderr();
    EXPECT_THROW(SdifAssert(sizeof(int) == 0), Stopped);
    std::string err = testing::internal::GetCapturedStderr();
    SdifSetStopFunc(old);
    EXPECT_NE(err.find(": failed assertion `sizeof(int) == 0'\n"), std::string::npos);
}
