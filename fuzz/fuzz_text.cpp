// The text forms on an in-memory text (SdifStringS): the first byte picks
// the type declarations, a name-value table, stream IDs or the bare
// tokenisers; what was declared is then rendered back as text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "FuzzSupport.h"
#include "SdifFGet.h"
#include "SdifFile.h"
#include "SdifNameValue.h"
#include "SdifRWLowLevel.h"
#include "SdifStreamID.h"
#include "SdifString.h"

namespace {

// Every tokeniser in turn until the text is used up.  A round in which none
// of them consumed anything skips one character, so the walk ends.
void Tokens(SdifStringT* text) {
    char word[64];
    SdifSignature sig = 0;
    while (!SdifStringIsEOS(text)) {
        const int before = text->NbCharRead;
        SdiffReadSpacefromSdifString(text);
        SdiffGetStringfromSdifString(text, word, sizeof word);
        SdiffGetSignaturefromSdifString(text, &sig);
        SdiffGetWordUntilfromSdifString(text, word, sizeof word, ",;{}:");
        SdiffGetStringUntilfromSdifString(text, word, sizeof word, ";");
        SdiffGetStringWeakUntilfromSdifString(text, word, sizeof word, "}");
        SdifSkipASCIIUntilfromSdifString(text, "{");
        if (text->NbCharRead == before) SdifStringGetC(text);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Init(false);
    if (size == 0) return 0;
    const std::string body(reinterpret_cast<const char*>(data) + 1, size - 1);

    SdifFileT* file = SdifFOpen("fuzz", ePredefinedTypes);
    SdifStringT* text = SdifStringNew();
    SdifStringT* out = SdifStringNew();
    if (!file || !text || !out) std::abort();
    SdifStringAppend(text, body.c_str());
    try {
        switch (data[0] % 4) {
            case 0:
                SdifFGetAllTypefromSdifString(file, text);
                SdifFAllMatrixTypeToSdifString(file, out);
                SdifFAllFrameTypeToSdifString(file, out);
                break;
            case 1:
                SdifNameValuesLNewTable(SdifFNameValueList(file), 1);
                SdifFNameValueLCurrNVTfromString(file, body.c_str());
                SdifFNameValueLCurrNVTtoSdifString(file, out);
                break;
            case 2:
                SdifFGetAllStreamIDfromSdifString(file, text);
                SdifFStreamIDTableToSdifString(file, out);
                break;
            default:
                Tokens(text);
                break;
        }
    } catch (const fuzz::PrescribedStop&) {
        // A Fatal report (a token too long) ends a plain client by design.
    }
    SdifStringFree(out);
    SdifStringFree(text);
    SdifFClose(file);
    return 0;
}
