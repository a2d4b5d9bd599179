#include "SafeOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Cli {

std::string StripSelection(std::string const& name) {
    const size_t cut = name.rfind("::");
    return cut == std::string::npos ? name : name.substr(0, cut);
}

namespace {

// What the input is open on: the named file, or standard input for the names
// the SDIF library reads it through.
bool StatInput(std::string const& input, struct stat& st) {
    const std::string file = StripSelection(input);
    if (file.empty() || file == "-" || file == "stdin") return fstat(STDIN_FILENO, &st) == 0;
    return stat(file.c_str(), &st) == 0;
}

bool IsInput(struct stat const& out, std::string const& input) {
    struct stat in;
    return S_ISREG(out.st_mode) && StatInput(input, in) && S_ISREG(in.st_mode) &&
           in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

}  // namespace

long long InputSize(std::string const& input) {
    struct stat st;
    return StatInput(input, st) && S_ISREG(st.st_mode) ? static_cast<long long>(st.st_size) : -1;
}

bool SameRegularFile(std::string const& input, std::string const& output) {
    struct stat out;
    return stat(output.c_str(), &out) == 0 && IsInput(out, input);
}

FILE* OpenOutputNotInput(std::string const& output, std::string const& input) {
    // Opened without truncation first, so that the file compared is the one
    // written and the input is never emptied, even between the check and the
    // opening.
    const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return nullptr;
    struct stat st;
    int err = 0;
    if (fstat(fd, &st) != 0)
        err = errno;
    else if (IsInput(st, input))
        err = EEXIST;
    else if (S_ISREG(st.st_mode) && ftruncate(fd, 0) != 0)
        err = errno;
    FILE* f = err ? nullptr : fdopen(fd, "w");
    if (!f) {
        if (!err) err = errno;
        close(fd);
        errno = err;
    }
    return f;
}

WriteStatus FailedWriteStatus(int err) {
    return err == EPIPE ? WriteStatus::kBrokenPipe : WriteStatus::kFailed;
}

WriteStatus FinishOutput(FILE* f, bool close) {
    int err = 0;
    if (std::fflush(f) != 0) err = errno;
    // An error flag set by an earlier write without a failing flush: errno
    // still holds what that write met, as nothing has failed since.
    if (!err && std::ferror(f)) err = errno ? errno : EIO;
    if (close && std::fclose(f) != 0 && !err) err = errno;
    return err ? FailedWriteStatus(err) : WriteStatus::kOk;
}

}  // namespace Cli
