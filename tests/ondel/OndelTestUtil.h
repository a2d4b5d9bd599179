// Start the object layer once per test program; a Fatal report that reaches
// the exit callback fails the test instead of ending it.
#ifndef ONDEL_TEST_UTIL_H
#define ONDEL_TEST_UTIL_H

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "TestSupport.h"
#include "sdifentity.h"
#include "sdifexception.h"
#include "sdifframe.h"
#include "selectionset.h"

namespace ondeltest {

struct UnexpectedExit : std::runtime_error {
    UnexpectedExit() : std::runtime_error("the SDIF library asked to exit") {}
};

inline void FailOnExit() {
    ADD_FAILURE() << "the SDIF library asked to exit";
    throw UnexpectedExit();
}

class OndelEnvironment : public ::testing::Environment {
   public:
    void SetUp() override {
        Ondel::OndelInit("");
        SdifSetExitFunc(FailOnExit);
    }
};

// Registers the environment once per test program.
inline const bool kEnvironmentAdded =
    (::testing::AddGlobalTestEnvironment(new OndelEnvironment), true);

// The E that f throws, for checking its text and fields; when f throws
// nothing the test fails and an E with tag -1 and no text comes back.
template <class E, class F>
E Thrown(F&& f) {
    try {
        f();
    } catch (const E& e) {
        return e;
    }
    ADD_FAILURE() << "nothing thrown";
    return E(eError, nullptr, nullptr, -1, nullptr, 0);
}

typedef Ondel::SelectionSet<unsigned int> Sel;

// An active, closed selection of the given values.
inline Sel Set(std::set<unsigned int> values) { return Sel(values, false); }

// A file of the given frames, written through the entity.
inline std::string WriteFrames(const std::string& name, std::vector<Ondel::SDIFFrame> frames) {
    const std::string path = testsupport::TempPath(name);
    Ondel::SDIFEntity out;
    EXPECT_TRUE(out.OpenWrite(path.c_str()));
    for (Ondel::SDIFFrame& f : frames) out.WriteFrame(f);
    out.Close();
    return path;
}

}  // namespace ondeltest

#endif
