// Shared by the fuzz targets: the libraries started in harness form, where
// the stops that end the real program unwind back to the harness instead,
// and a scratch file for the parsers that take a path.
#ifndef SDIF2COLUMNS_FUZZ_SUPPORT_H
#define SDIF2COLUMNS_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// Thrown where the real program would end on purpose: a failed assertion the
// design prescribes, the SDIF library's exit after a Fatal report, the
// converter's exit(1).  Not a std::exception, so no handler of the code under
// test takes it for one of its own failures.
struct PrescribedStop {
    int status;  // exit status, or -1 for an assertion
};

// Start the SDIF library (and, with objectLayer, the object layer with its
// exception callback) once, and turn every stop into PrescribedStop.
void Init(bool objectLayer);

// A per-process file for inputs that must be read through a path; kept on
// a memory file system where there is one.
const std::string& ScratchPath();
void WriteScratch(const uint8_t* data, size_t size);

}  // namespace fuzz

#endif
