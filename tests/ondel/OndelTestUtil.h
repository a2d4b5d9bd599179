// Helpers of the object-layer tests: start the layer once (a Fatal report
// that reaches the exit callback fails the test instead of ending it), an
// independent big-endian decoder of SDIF files so that expected values come
// from the bytes rather than from the code under test, and builders of
// hand-made files.
#ifndef ONDEL_TEST_UTIL_H
#define ONDEL_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "TestSupport.h"
#include "sdifentity.h"

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

inline uint32_t BE32(const std::string& b, size_t at) {
    return (uint32_t(uint8_t(b[at])) << 24) | (uint32_t(uint8_t(b[at + 1])) << 16) |
           (uint32_t(uint8_t(b[at + 2])) << 8) | uint32_t(uint8_t(b[at + 3]));
}
inline float BEF32(const std::string& b, size_t at) {
    uint32_t u = BE32(b, at);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}
inline double BEF64(const std::string& b, size_t at) {
    uint64_t u = (uint64_t(BE32(b, at)) << 32) | BE32(b, at + 4);
    double d;
    std::memcpy(&d, &u, 8);
    return d;
}
inline uint32_t Sig(const char* s) {
    return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
           (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}

struct RawMatrix {
    uint32_t sig, type, rows, cols;
    size_t data;  // offset of the first cell
};

struct RawFrame {
    size_t at;  // offset of the signature
    uint32_t sig, size, id, nbMatrix;
    double time;
    std::vector<RawMatrix> matrices;
};

// Every frame after the general header, walked by the frames' own sizes;
// ASCII chunks (1NVT, 1TYP, 1IDS) are left out.
inline std::vector<RawFrame> RawFrames(const std::string& b) {
    std::vector<RawFrame> frames;
    size_t at = 8 + BE32(b, 4);
    while (at + 24 <= b.size()) {
        RawFrame f;
        f.at = at;
        f.sig = BE32(b, at);
        f.size = BE32(b, at + 4);
        f.time = BEF64(b, at + 8);
        f.id = BE32(b, at + 16);
        f.nbMatrix = BE32(b, at + 20);
        size_t m = at + 24;
        for (uint32_t i = 0; i < f.nbMatrix && m + 16 <= b.size(); ++i) {
            RawMatrix rm{BE32(b, m), BE32(b, m + 4), BE32(b, m + 8), BE32(b, m + 12), m + 16};
            size_t bytes = size_t(rm.rows) * rm.cols * (rm.type & 0xFF);
            f.matrices.push_back(rm);
            m += 16 + bytes + (bytes % 8 ? 8 - bytes % 8 : 0);
        }
        if (f.sig != Sig("1NVT") && f.sig != Sig("1TYP") && f.sig != Sig("1IDS"))
            frames.push_back(f);
        at += 8 + f.size;
    }
    return frames;
}

// Float4 cell (row, col) of a matrix.
inline float RawFloat4(const std::string& b, const RawMatrix& m, uint32_t row, uint32_t col) {
    return BEF32(b, m.data + 4 * (size_t(row) * m.cols + col));
}

// General header of a version-3 file.
inline std::string GeneralHeader() {
    std::string s;
    testsupport::PutSig(s, "SDIF");
    testsupport::PutU32(s, 8);
    testsupport::PutU32(s, 3);
    testsupport::PutU32(s, 1);
    return s;
}

// A frame header whose Size counts the given bytes of matrices.
inline void PutFrameHeader(std::string& s, const char* sig, uint32_t matrixBytes, double time,
                           uint32_t id, uint32_t nbMatrix) {
    testsupport::PutSig(s, sig);
    testsupport::PutU32(s, 16 + matrixBytes);
    testsupport::PutF64(s, time);
    testsupport::PutU32(s, id);
    testsupport::PutU32(s, nbMatrix);
}

inline void PutMatrixHeader(std::string& s, const char* sig, uint32_t type, uint32_t rows,
                            uint32_t cols) {
    testsupport::PutSig(s, sig);
    testsupport::PutU32(s, type);
    testsupport::PutU32(s, rows);
    testsupport::PutU32(s, cols);
}

// Runs f with standard error captured; answers what was written.
template <class F>
std::string CaptureStderr(F f) {
    ::testing::internal::CaptureStderr();
    f();
    return ::testing::internal::GetCapturedStderr();
}
template <class F>
std::string CaptureStdout(F f) {
    ::testing::internal::CaptureStdout();
    f();
    return ::testing::internal::GetCapturedStdout();
}

}  // namespace ondeltest

#endif
