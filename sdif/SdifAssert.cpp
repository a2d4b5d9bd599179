#include "SdifAssert.h"

#include <cstdio>
#include <cstdlib>

static SdifStopFuncT gSdifStopFunc = nullptr;

SdifStopFuncT SdifSetStopFunc(SdifStopFuncT func) {
    SdifStopFuncT old = gSdifStopFunc;
    gSdifStopFunc = func;
    return old;
}

void SdifAssertFail(const char* file, unsigned line, const char* expr) {
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, expr);
    std::fflush(stderr);
    if (gSdifStopFunc) gSdifStopFunc(file, line, expr);
    std::abort();
}
