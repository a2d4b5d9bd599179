// Helpers shared by the unit and golden tests: data paths, temporary files,
// whole-file reads and running the converter as a child process.
#ifndef TEST_SUPPORT_H
#define TEST_SUPPORT_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace testsupport {

// Absolute path of a file under tests/data.
std::string DataPath(const std::string& name);

// A fresh path in a per-process temporary directory (the file is not created).
std::string TempPath(const std::string& name);

// Whole file as bytes; empty when it cannot be read.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);
// Writes bytes to TempPath(name) and answers that path.
std::string SaveTemp(const std::string& name, const std::string& bytes);

struct RunResult {
    int status = -1;  // exit status, or -1 when the child did not exit normally
    int signal = 0;   // the signal that ended the child, if one did
    std::string out;  // standard output
    std::string err;  // standard error
};

// Where a child's standard output goes.
enum class StdoutTo {
    kPipe,        // read back into RunResult::out
    kDevFull,     // /dev/full: every write fails with ENOSPC
    kClosedPipe,  // a pipe whose reader has gone: writes meet EPIPE
};

struct RunOptions {
    std::string stdinBytes;  // fed to its standard input
    StdoutTo out = StdoutTo::kPipe;
    bool ignoreSigpipe = false;  // start it with SIGPIPE ignored
    std::string cwd;             // its working directory, when not empty
};

// Run argv[0] with the given arguments (no shell); stdinBytes is fed to its
// standard input.
RunResult RunProgram(const std::vector<std::string>& argv, const std::string& stdinBytes = "");
RunResult RunProgram(const std::vector<std::string>& argv, const RunOptions& options);

// Path of the converter under test (SDIF2COLUMNS_BIN overrides the build's).
std::string ConverterPath();

struct ChildRun {
    int status = -1;     // exit status of the child, -1 when it did not exit
    std::string out;     // what it wrote on its standard output
    std::string result;  // what body answered
};

// Run body in a forked child whose standard input is a pipe fed with
// stdinBytes and whose standard output is a pipe read back, for streams that
// cannot seek; body's answer comes back in result so that the parent makes
// the checks. A body that throws answers "body threw".
ChildRun RunChild(const std::string& stdinBytes, const std::function<std::string()>& body);

// What f wrote on the standard error or output of the process.
std::string CaptureStderr(const std::function<void()>& f);
std::string CaptureStdout(const std::function<void()>& f);

// Big-endian byte builders for hand-made SDIF files.
void PutU32(std::string& out, uint32_t v);
void PutI32(std::string& out, int32_t v);
void PutF32(std::string& out, float v);
void PutF64(std::string& out, double v);
void PutSig(std::string& out, const char* sig4);
// A frame header (Size as given) and a matrix header.
void PutFrameHeader(std::string& out, const char* sig, uint32_t size, double time, uint32_t id,
                    uint32_t nbMatrix);
void PutMatrixHeader(std::string& out, const char* sig, uint32_t type, uint32_t rows,
                     uint32_t cols);

// Big-endian decoders, independent of the library under test so that
// expected values come from the bytes.
uint32_t BE32(const std::string& b, size_t at);
float BEF32(const std::string& b, size_t at);
double BEF64(const std::string& b, size_t at);
// Four characters as the big-endian number a signature is.
uint32_t Sig(const char* sig4);

struct RawMatrix {
    uint32_t sig, type, rows, cols;
    size_t data;  // offset of the first cell
};

// One frame as the bytes say, walked by its Size field.
struct RawFrame {
    size_t at;  // offset of the signature
    uint32_t sig, size;
    double time;
    uint32_t id, nbMatrix;
    std::vector<RawMatrix> matrices;
};

// Every frame after the general header; ASCII chunks (1NVT, 1TYP, 1IDS) are
// left out unless withTextChunks.
std::vector<RawFrame> RawFrames(const std::string& b, bool withTextChunks = false);
// Float4 cell (row, col), counted from 0, of a matrix.
float RawFloat4(const std::string& b, const RawMatrix& m, uint32_t row, uint32_t col);

}  // namespace testsupport

namespace testsupport {

// Hand-made SDIF files for tests, built byte by byte without the library.
struct TestMatrix {
    std::string sig;    // four characters
    uint32_t dataType;  // 0x0004 Float4, 0x0008 Float8, 0x0104 Int4, 0x0204 UInt4
    uint32_t rows, cols;
    std::vector<double> values;  // rows * cols, row-major
};

// General header: "SDIF", its size (8), format version (3), types version (1).
std::string SdifHeader(uint32_t size = 8, uint32_t format = 3, uint32_t types = 1);
// One frame with its matrices, each padded to 8 bytes; Size is exact.
std::string SdifFrame(const char* sig, uint32_t streamId, double time,
                      const std::vector<TestMatrix>& matrices);
// A frame around body (matrices already laid out); Size counts body exactly
// unless size is given.
std::string FrameBytes(const char* sig, uint32_t streamId, uint32_t nbMatrix,
                       const std::string& body, double time = 0.0, int64_t size = -1);
// A text matrix (type 0x0301) of the bytes of text in cols columns, padded to 8.
std::string TextMatrixBytes(const char* sig, const std::string& text, uint32_t cols = 1);
// A 1TRC matrix of (index, frequency, amplitude, phase) rows in Float4.
TestMatrix TrcMatrix(const char* sig, const std::vector<std::vector<double>>& rows);
// One Int4 column, as 1BEG and 1END matrices hold note indices.
TestMatrix IntColumn(const char* sig, const std::vector<double>& values);
// The 1TYP chunk chord-sequence files begin with: it declares 1TRC a
// component of 1MRK, as the partial library's writer does, so that reading
// their frames prints no notice.
std::string ChordTypesChunk();

}  // namespace testsupport
#endif
