#include "FuzzSupport.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "SdifAssert.h"
#include "SdifErrMess.h"
#include "SdifFile.h"
#include "sdifentity.h"

namespace fuzz {

namespace {

void ThrowOnAssertion(const char*, unsigned, const char*) { throw PrescribedStop{-1}; }
void ThrowOnExit() { throw PrescribedStop{1}; }

}  // namespace

void Init(bool objectLayer) {
    static bool done = false;
    if (done) return;
    done = true;
    SdifSetStopFunc(ThrowOnAssertion);
    if (objectLayer)
        Ondel::OndelInit("");
    else
        SdifGenInitCond("");
    SdifSetExitFunc(ThrowOnExit);
}

const std::string& ScratchPath() {
    static std::string path;
    if (path.empty()) {
        const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path = std::string(dir) + "/sdif2columns-fuzz-" + std::to_string(getpid()) + ".sdif";
        // The file outlives no run of the harness.
        std::atexit([] { std::remove(ScratchPath().c_str()); });
    }
    return path;
}

void WriteScratch(const uint8_t* data, size_t size) {
    FILE* f = std::fopen(ScratchPath().c_str(), "wb");
    if (!f) std::abort();
    if (size && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);
}

}  // namespace fuzz
