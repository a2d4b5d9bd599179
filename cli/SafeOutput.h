// Output files of the command-line programs: a destination that is never the
// input, and writes whose failure is noticed.  Shared by sdif2columns and the
// tools beside it.
#ifndef SDIF_CLI_SAFE_OUTPUT_H
#define SDIF_CLI_SAFE_OUTPUT_H

#include <cstdio>
#include <string>

namespace Cli {

// The file part of an SDIF file name, which may carry a selection after its
// last "::".
std::string StripSelection(std::string const& name);

// Size of the regular file that input reads (as SameRegularFile finds it),
// -1 when it is not one (a pipe, a terminal) or does not exist.
long long InputSize(std::string const& input);

// True when output names the file that input reads: the same existing
// regular file (device and inode), however it is spelt (hard link, symbolic
// link, "./x").  input may carry a selection; "", "-" and "stdin" read
// standard input, which is compared by the file it is open on.  A destination
// that does not exist is never the input.
bool SameRegularFile(std::string const& input, std::string const& output);

// Opens output for writing, created or truncated like fopen(output, "w"),
// unless it is the input's file: then nothing is truncated, errno is EEXIST
// and the answer is null.  Null as well when it cannot be opened.
FILE* OpenOutputNotInput(std::string const& output, std::string const& input);

// How the writes to a destination ended.
enum class WriteStatus {
    kOk,
    kBrokenPipe,  // the reader went away (EPIPE): not worth a message
    kFailed       // disk full, I/O error...
};

// The status a failed write with this errno stands for.
WriteStatus FailedWriteStatus(int err);

// Flushes f and, when close is set, closes it; answers how every write to it,
// the flush and the close went (a write that failed earlier leaves the
// stream's error flag set, and errno is what it was then unless the flush or
// the close fails too).
WriteStatus FinishOutput(FILE* f, bool close);

}  // namespace Cli

#endif
