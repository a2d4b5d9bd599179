#include "TestSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace testsupport {

std::string DataPath(const std::string& name) {
    return std::string(SDIF2COLUMNS_TEST_DATA_DIR) + "/" + name;
}

std::string TempPath(const std::string& name) {
    static std::string dir;
    if (dir.empty()) {
        char tmpl[] = "/tmp/sdif2columns-test-XXXXXX";
        const char* made = mkdtemp(tmpl);
        dir = made ? made : "/tmp";
    }
    return dir + "/" + name;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string SaveTemp(const std::string& name, const std::string& bytes) {
    std::string path = TempPath(name);
    WriteFile(path, bytes);
    return path;
}

static std::string Drain(int fd) {
    std::string s;
    char buf[65536];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0) s.append(buf, static_cast<size_t>(n));
    close(fd);
    return s;
}

static void Feed(int fd, const std::string& bytes) {
    size_t off = 0;
    while (off < bytes.size()) {
        ssize_t n = write(fd, bytes.data() + off, bytes.size() - off);
        if (n <= 0) break;
        off += static_cast<size_t>(n);
    }
    close(fd);
}

RunResult RunProgram(const std::vector<std::string>& argv, const std::string& stdinBytes) {
    RunOptions options;
    options.stdinBytes = stdinBytes;
    return RunProgram(argv, options);
}

RunResult RunProgram(const std::vector<std::string>& argv, const RunOptions& options) {
    int inPipe[2], outPipe[2], errPipe[2];
    RunResult r;
    if (pipe(inPipe) || pipe(outPipe) || pipe(errPipe)) return r;
    // A program that exits without reading its input must not kill the
    // feeding test process.
    signal(SIGPIPE, SIG_IGN);
    // Closed before the fork, so that no write of the child can land in the
    // pipe while the parent still holds its reading end.
    if (options.out == StdoutTo::kClosedPipe) {
        close(outPipe[0]);
        outPipe[0] = -1;
    }
    pid_t pid = fork();
    if (pid == 0) {
        dup2(inPipe[0], 0);
        if (options.out == StdoutTo::kDevFull) {
            int full = open("/dev/full", O_WRONLY);
            dup2(full, 1);
            close(full);
        } else {
            dup2(outPipe[1], 1);
        }
        dup2(errPipe[1], 2);
        for (int fd : {inPipe[0], inPipe[1], outPipe[0], outPipe[1], errPipe[0], errPipe[1]})
            if (fd >= 0) close(fd);
        // The disposition is inherited through exec; the test process may
        // have ignored SIGPIPE for itself.
        signal(SIGPIPE, options.ignoreSigpipe ? SIG_IGN : SIG_DFL);
        if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0) _exit(127);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(inPipe[0]);
    close(outPipe[1]);
    close(errPipe[1]);
    std::thread feeder([&] { Feed(inPipe[1], options.stdinBytes); });
    std::string err;
    std::thread errReader([&] { err = Drain(errPipe[0]); });
    if (options.out != StdoutTo::kClosedPipe) r.out = Drain(outPipe[0]);
    errReader.join();
    feeder.join();
    r.err = err;
    int st = 0;
    waitpid(pid, &st, 0);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    r.signal = WIFSIGNALED(st) ? WTERMSIG(st) : 0;
    return r;
}

std::string ConverterPath() {
    const char* p = std::getenv("SDIF2COLUMNS_BIN");
    return p ? p : SDIF2COLUMNS_BIN_PATH;
}

ChildRun RunChild(const std::string& stdinBytes, const std::function<std::string()>& body) {
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
        Feed(res[1], answer);
        _exit(0);
    }
    close(in[0]);
    close(out[1]);
    close(res[1]);
    std::thread feeder([&] { Feed(in[1], stdinBytes); });
    std::string result;
    std::thread resultReader([&] { result = Drain(res[0]); });
    run.out = Drain(out[0]);
    resultReader.join();
    feeder.join();
    run.result = result;
    int st = 0;
    waitpid(pid, &st, 0);
    run.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return run;
}

std::string CaptureStderr(const std::function<void()>& f) {
    ::testing::internal::CaptureStderr();
    f();
    return ::testing::internal::GetCapturedStderr();
}

std::string CaptureStdout(const std::function<void()>& f) {
    ::testing::internal::CaptureStdout();
    f();
    return ::testing::internal::GetCapturedStdout();
}

void PutU32(std::string& out, uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<char>((v >> s) & 0xFF));
}
void PutI32(std::string& out, int32_t v) { PutU32(out, static_cast<uint32_t>(v)); }
void PutF32(std::string& out, float v) {
    uint32_t u;
    std::memcpy(&u, &v, 4);
    PutU32(out, u);
}
void PutF64(std::string& out, double v) {
    uint64_t u;
    std::memcpy(&u, &v, 8);
    PutU32(out, static_cast<uint32_t>(u >> 32));
    PutU32(out, static_cast<uint32_t>(u));
}
void PutSig(std::string& out, const char* sig4) { out.append(sig4, 4); }

void PutFrameHeader(std::string& out, const char* sig, uint32_t size, double time, uint32_t id,
                    uint32_t nbMatrix) {
    PutSig(out, sig);
    PutU32(out, size);
    PutF64(out, time);
    PutU32(out, id);
    PutU32(out, nbMatrix);
}

void PutMatrixHeader(std::string& out, const char* sig, uint32_t type, uint32_t rows,
                     uint32_t cols) {
    PutSig(out, sig);
    PutU32(out, type);
    PutU32(out, rows);
    PutU32(out, cols);
}

uint32_t BE32(const std::string& b, size_t at) {
    return (uint32_t(uint8_t(b[at])) << 24) | (uint32_t(uint8_t(b[at + 1])) << 16) |
           (uint32_t(uint8_t(b[at + 2])) << 8) | uint32_t(uint8_t(b[at + 3]));
}
float BEF32(const std::string& b, size_t at) {
    uint32_t u = BE32(b, at);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}
double BEF64(const std::string& b, size_t at) {
    uint64_t u = (uint64_t(BE32(b, at)) << 32) | BE32(b, at + 4);
    double d;
    std::memcpy(&d, &u, 8);
    return d;
}
uint32_t Sig(const char* sig4) { return BE32(std::string(sig4, 4), 0); }

std::vector<RawFrame> RawFrames(const std::string& b, bool withTextChunks) {
    std::vector<RawFrame> frames;
    size_t at = 8 + BE32(b, 4);
    while (at + 24 <= b.size()) {
        RawFrame f{
            at, BE32(b, at), BE32(b, at + 4), BEF64(b, at + 8), BE32(b, at + 16), BE32(b, at + 20),
            {}};
        size_t m = at + 24;
        for (uint32_t i = 0; i < f.nbMatrix && m + 16 <= b.size(); ++i) {
            RawMatrix rm{BE32(b, m), BE32(b, m + 4), BE32(b, m + 8), BE32(b, m + 12), m + 16};
            size_t bytes = size_t(rm.rows) * rm.cols * (rm.type & 0xFF);
            f.matrices.push_back(rm);
            m += 16 + bytes + (bytes % 8 ? 8 - bytes % 8 : 0);
        }
        if (withTextChunks ||
            (f.sig != Sig("1NVT") && f.sig != Sig("1TYP") && f.sig != Sig("1IDS")))
            frames.push_back(f);
        at += 8 + f.size;
    }
    return frames;
}

float RawFloat4(const std::string& b, const RawMatrix& m, uint32_t row, uint32_t col) {
    return BEF32(b, m.data + 4 * (size_t(row) * m.cols + col));
}

}  // namespace testsupport

namespace testsupport {

std::string SdifHeader(uint32_t size, uint32_t format, uint32_t types) {
    std::string s;
    PutSig(s, "SDIF");
    PutU32(s, size);
    PutU32(s, format);
    PutU32(s, types);
    return s;
}

static std::string MatrixBytes(const TestMatrix& m) {
    std::string s;
    PutMatrixHeader(s, m.sig.c_str(), m.dataType, m.rows, m.cols);
    std::string data;
    for (double v : m.values) {
        switch (m.dataType) {
            case 0x0004:
                PutF32(data, static_cast<float>(v));
                break;
            case 0x0008:
                PutF64(data, v);
                break;
            case 0x0104:
                PutI32(data, static_cast<int32_t>(v));
                break;
            case 0x0204:
                PutU32(data, static_cast<uint32_t>(v));
                break;
            default:
                data.push_back(static_cast<char>(static_cast<int>(v)));
                break;
        }
    }
    while (data.size() % 8) data.push_back('\0');
    return s + data;
}

std::string SdifFrame(const char* sig, uint32_t streamId, double time,
                      const std::vector<TestMatrix>& matrices) {
    std::string body;
    for (const auto& m : matrices) body += MatrixBytes(m);
    std::string s;
    PutFrameHeader(s, sig, static_cast<uint32_t>(16 + body.size()), time, streamId,
                   static_cast<uint32_t>(matrices.size()));
    return s + body;
}

std::string FrameBytes(const char* sig, uint32_t streamId, uint32_t nbMatrix,
                       const std::string& body, double time, int64_t size) {
    std::string s;
    PutFrameHeader(s, sig, size < 0 ? uint32_t(16 + body.size()) : uint32_t(size), time, streamId,
                   nbMatrix);
    return s + body;
}

std::string TextMatrixBytes(const char* sig, const std::string& text, uint32_t cols) {
    std::string s;
    PutMatrixHeader(s, sig, 0x0301, uint32_t(text.size() / cols), cols);
    return s + text + std::string((8 - text.size() % 8) % 8, '\0');
}

TestMatrix TrcMatrix(const char* sig, const std::vector<std::vector<double>>& rows) {
    TestMatrix m{sig, 0x0004, static_cast<uint32_t>(rows.size()), 4, {}};
    for (const auto& r : rows) m.values.insert(m.values.end(), r.begin(), r.end());
    return m;
}

TestMatrix IntColumn(const char* sig, const std::vector<double>& values) {
    return TestMatrix{sig, 0x0104, static_cast<uint32_t>(values.size()), 1, values};
}

std::string ChordTypesChunk() {
    const std::string text("1FTD1MRK { 1TRC chord_seq_partials;  }\n\0", 40);
    return FrameBytes("1TYP", 0xFFFFFFFFu, 1, TextMatrixBytes("1TYP", text), -1.0);
}

}  // namespace testsupport
