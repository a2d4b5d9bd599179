// The selection parser: the input as a file name with a selection behind its
// last "::", and as a bare selection text; then the selection is asked about
// streams, rows, columns, frames and matrices and printed.
#include <cstdint>
#include <cstdio>
#include <string>

#include "FuzzSupport.h"
#include "SdifGlobals.h"
#include "SdifSelect.h"

namespace {

void Query(SdifSelectionT* sel) {
    static const SdifUInt4 kValues[] = {0, 1, 2, 3, 7, 64, 65535, 65536, 4000000000u};
    volatile int sink = 0;
    for (SdifUInt4 v : kValues) {
        sink = sink + SdifSelectTestIntMask(&sel->streammask, v);
        sink = sink + SdifSelectTestIntMask(&sel->rowmask, v);
        sink = sink + SdifSelectTestIntMask(&sel->colmask, v);
    }
    for (double t : {-1.0, 0.0, 0.5, 1e300}) {
        SdifFrameHeaderT frame = {0x31545243u /* 1TRC */, 16, 1, 0, t};
        sink = sink + SdifFrameIsSelected(&frame, sel);
        frame.NumID = 3;
        frame.Signature = 0x31484d52u; /* 1HRM */
        sink = sink + SdifFrameIsSelected(&frame, sel);
    }
    SdifMatrixHeaderT matrix = {0x31545243u, eFloat4, 4, 4};
    sink = sink + SdifMatrixIsSelected(&matrix, sel);
    sink = sink + static_cast<int>(SdifSelectIntMaskNbFlags(&sel->streammask));
    static FILE* null = std::fopen("/dev/null", "w");
    if (null) SdifPrintSelection(null, sel, 0);
}

template <class F>
void Guarded(F step) {
    try {
        step();
    } catch (const fuzz::PrescribedStop&) {
        // Column names in a selection stop the program by design.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Init(false);
    const std::string text(reinterpret_cast<const char*>(data), size);  // a NUL ends it early

    SdifSelectionT* sel = SdifCreateSelection();
    if (!sel) return 0;
    Guarded([&] {
        SdifGetFilenameAndSelection(text.c_str(), sel);
        Query(sel);
    });
    SdifFreeSelection(sel);

    sel = SdifCreateSelection();
    if (!sel) return 0;
    Guarded([&] {
        SdifParseSelection(sel, text.c_str());
        Query(sel);
        SdifReplaceSelection(text.c_str(), sel);
        Query(sel);
    });
    SdifFreeSelection(sel);
    return 0;
}
