// Helpers of the frame and matrix tests: an independent big-endian decoder
// of SDIF bytes (so expectations never come from the library under test),
// builders of hand-made files, and a child process whose standard input and
// output are pipes, for streams that cannot seek.
#ifndef SDIF_FRAMES_TEST_UTIL_H
#define SDIF_FRAMES_TEST_UTIL_H

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace framestest {

inline uint32_t BE32(const std::string& b, size_t at) {
    return (uint32_t(uint8_t(b[at])) << 24) | (uint32_t(uint8_t(b[at + 1])) << 16) |
           (uint32_t(uint8_t(b[at + 2])) << 8) | uint32_t(uint8_t(b[at + 3]));
}
inline uint16_t BE16(const std::string& b, size_t at) {
    return uint16_t((uint8_t(b[at]) << 8) | uint8_t(b[at + 1]));
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

// One frame as the bytes say, walked by its Size field.
struct RawFrame {
    size_t at;  // offset of the signature
    std::string sig;
    uint32_t size;
    double time;
    uint32_t id;
    uint32_t nbMatrix;
    // first matrix
    std::string mSig;
    uint32_t mType, mRows, mCols;
    size_t data;  // offset of its first cell
};

inline std::vector<RawFrame> RawFrames(const std::string& b) {
    std::vector<RawFrame> frames;
    size_t at = 16;  // after the general header
    while (at + 24 <= b.size()) {
        RawFrame f;
        f.at = at;
        f.sig = b.substr(at, 4);
        f.size = BE32(b, at + 4);
        f.time = BEF64(b, at + 8);
        f.id = BE32(b, at + 16);
        f.nbMatrix = BE32(b, at + 20);
        f.mSig = b.substr(at + 24, 4);
        f.mType = BE32(b, at + 28);
        f.mRows = BE32(b, at + 32);
        f.mCols = BE32(b, at + 36);
        f.data = at + 40;
        frames.push_back(f);
        at += 8 + f.size;
    }
    return frames;
}

// "SDIF", size 8, format version 3, types version 1.
inline std::string GeneralHeader() {
    std::string b;
    testsupport::PutSig(b, "SDIF");
    testsupport::PutU32(b, 8);
    testsupport::PutU32(b, 3);
    testsupport::PutU32(b, 1);
    return b;
}
inline void PutFrameHeader(std::string& b, const char* sig, uint32_t size, double time, uint32_t id,
                           uint32_t nbMatrix) {
    testsupport::PutSig(b, sig);
    testsupport::PutU32(b, size);
    testsupport::PutF64(b, time);
    testsupport::PutU32(b, id);
    testsupport::PutU32(b, nbMatrix);
}
inline void PutMatrixHeader(std::string& b, const char* sig, uint32_t type, uint32_t rows,
                            uint32_t cols) {
    testsupport::PutSig(b, sig);
    testsupport::PutU32(b, type);
    testsupport::PutU32(b, rows);
    testsupport::PutU32(b, cols);
}

struct ChildRun {
    int status = -1;     // exit status of the child
    std::string out;     // what it wrote on its standard output
    std::string result;  // what body answered
};

// Run body in a child whose standard input is a pipe fed with stdinBytes and
// whose standard output is a pipe read back; body's answer comes back in
// result (its checks are made by the parent on that text).
inline ChildRun RunChild(const std::string& stdinBytes, const std::function<std::string()>& body) {
    int in[2], out[2], res[2];
    ChildRun run;
    if (pipe(in) || pipe(out) || pipe(res)) return run;
    // A child that stops reading early must not kill the feeding parent.
    signal(SIGPIPE, SIG_IGN);
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        for (int fd : {in[0], in[1], out[0], out[1], res[0]}) close(fd);
        std::string answer;
        try {
            answer = body();
        } catch (...) {
            answer = "body threw";
        }
        fflush(stdout);
        close(1);
        size_t off = 0;
        while (off < answer.size()) {
            ssize_t n = write(res[1], answer.data() + off, answer.size() - off);
            if (n <= 0) break;
            off += size_t(n);
        }
        _exit(0);
    }
    close(in[0]);
    close(out[1]);
    close(res[1]);
    std::thread feeder([&] {
        size_t off = 0;
        while (off < stdinBytes.size()) {
            ssize_t n = write(in[1], stdinBytes.data() + off, stdinBytes.size() - off);
            if (n <= 0) break;
            off += size_t(n);
        }
        close(in[1]);
    });
    auto drain = [](int fd) {
        std::string s;
        char buf[65536];
        ssize_t n;
        while ((n = read(fd, buf, sizeof buf)) > 0) s.append(buf, size_t(n));
        close(fd);
        return s;
    };
    std::string result;
    std::thread resultReader([&] { result = drain(res[0]); });
    run.out = drain(out[0]);
    resultReader.join();
    feeder.join();
    run.result = result;
    int st = 0;
    waitpid(pid, &st, 0);
    run.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return run;
}

}  // namespace framestest

#endif
