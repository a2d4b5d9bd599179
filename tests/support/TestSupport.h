// Helpers shared by the unit and golden tests: data paths, temporary files,
// whole-file reads and running the converter as a child process.
#ifndef TEST_SUPPORT_H
#define TEST_SUPPORT_H

#include <cstdint>
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

struct RunResult {
    int status = -1;  // exit status, or -1 when the child did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error
};

// Run argv[0] with the given arguments (no shell); stdinBytes is fed to its
// standard input.
RunResult RunProgram(const std::vector<std::string>& argv, const std::string& stdinBytes = "");

// Path of the converter under test (SDIF2COLUMNS_BIN overrides the build's).
std::string ConverterPath();

// Big-endian byte builders for hand-made SDIF files.
void PutU32(std::string& out, uint32_t v);
void PutI32(std::string& out, int32_t v);
void PutF32(std::string& out, float v);
void PutF64(std::string& out, double v);
void PutSig(std::string& out, const char* sig4);

}  // namespace testsupport

namespace testsupport {

// Hand-made SDIF files for tests, built byte by byte without the library.
struct TestMatrix {
    std::string sig;    // four characters
    uint32_t dataType;  // 0x0004 Float4, 0x0008 Float8, 0x0104 Int4
    uint32_t rows, cols;
    std::vector<double> values;  // rows * cols, row-major
};

// General header: "SDIF", size 8, format version 3, types version 1.
std::string SdifHeader();
// One frame with its matrices, each padded to 8 bytes; Size is exact.
std::string SdifFrame(const char* sig, uint32_t streamId, double time,
                      const std::vector<TestMatrix>& matrices);
// A 1TRC matrix of (index, frequency, amplitude, phase) rows in Float4.
TestMatrix TrcMatrix(const char* sig, const std::vector<std::vector<double>>& rows);

}  // namespace testsupport
#endif
