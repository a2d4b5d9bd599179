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

std::string DataPath(const std::string& name) { return std::string(SDIF2COLUMNS_TEST_DATA_DIR) + "/" + name; }

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
        for (int fd : {inPipe[0], inPipe[1], outPipe[0], outPipe[1], errPipe[0], errPipe[1]}) close(fd);
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
    return p ? p : "sdif2columns";
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
