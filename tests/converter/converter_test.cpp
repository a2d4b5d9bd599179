#include <gtest/gtest.h>

#include "TestSupport.h"

using testsupport::ConverterPath;
using testsupport::RunProgram;

TEST(ConverterRun, NoInputPathIsRefusedWithStatusOne) {
    auto r = RunProgram({ConverterPath()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "No input file specified\n");
}
