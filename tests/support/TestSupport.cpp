#include "TestSupport.h"

#include <fcntl.h>
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

static std::string Drain(int fd) {
    std::string s;
    char buf[65536];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0) s.append(buf, static_cast<size_t>(n));
    close(fd);
    return s;
}

RunResult RunProgram(const std::vector<std::string>& argv, const std::string& stdinBytes) {
    int inPipe[2], outPipe[2], errPipe[2];
    RunResult r;
    if (pipe(inPipe) || pipe(outPipe) || pipe(errPipe)) return r;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(inPipe[0], 0);
        dup2(outPipe[1], 1);
        dup2(errPipe[1], 2);
        for (int fd : {inPipe[0], inPipe[1], outPipe[0], outPipe[1], errPipe[0], errPipe[1]})
            close(fd);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(inPipe[0]);
    close(outPipe[1]);
    close(errPipe[1]);
    std::thread feeder([&] {
        size_t off = 0;
        while (off < stdinBytes.size()) {
            ssize_t n = write(inPipe[1], stdinBytes.data() + off, stdinBytes.size() - off);
            if (n <= 0) break;
            off += static_cast<size_t>(n);
        }
        close(inPipe[1]);
    });
    std::string err;
    std::thread errReader([&] { err = Drain(errPipe[0]); });
    r.out = Drain(outPipe[0]);
    errReader.join();
    feeder.join();
    r.err = err;
    int st = 0;
    waitpid(pid, &st, 0);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

std::string ConverterPath() {
    const char* p = std::getenv("SDIF2COLUMNS_BIN");
    return p ? p : SDIF2COLUMNS_BIN_PATH;
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

}  // namespace testsupport

namespace testsupport {

std::string SdifHeader() {
    std::string s;
    PutSig(s, "SDIF");
    PutI32(s, 8);
    PutU32(s, 3);
    PutU32(s, 1);
    return s;
}

static std::string MatrixBytes(const TestMatrix& m) {
    std::string s;
    PutSig(s, m.sig.c_str());
    PutU32(s, m.dataType);
    PutU32(s, m.rows);
    PutU32(s, m.cols);
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
    PutSig(s, sig);
    PutU32(s, static_cast<uint32_t>(16 + body.size()));
    PutF64(s, time);
    PutU32(s, streamId);
    PutU32(s, static_cast<uint32_t>(matrices.size()));
    return s + body;
}

TestMatrix TrcMatrix(const char* sig, const std::vector<std::vector<double>>& rows) {
    TestMatrix m{sig, 0x0004, static_cast<uint32_t>(rows.size()), 4, {}};
    for (const auto& r : rows) m.values.insert(m.values.end(), r.begin(), r.end());
    return m;
}

}  // namespace testsupport
