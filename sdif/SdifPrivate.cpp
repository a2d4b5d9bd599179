#include "SdifPrivate.h"

#include <cfloat>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "SdifErrMess.h"
#include "SdifFRead.h"
#include "SdifFWrite.h"
#include "SdifFile.h"
#include "SdifString.h"

namespace {}  // namespace

/* ---- notices, texts, reports ---- */

void SdifFNotice(SdifFileT* file, const char* text) {
    if (SdifFDiagnosticAllowed(file))
        fprintf(SdifStdErr ? SdifStdErr : stderr, "*Sdif* %s\n", text);
}

char* SdifCopyText(const char* s) {
    size_t len = strlen(s);
    char* copy = (char*)malloc(len + 1);
    if (copy) memcpy(copy, s, len + 1);
    return copy;
}

void SdifFReportEof(SdifFileT* file, FILE* f, const char* srcFile, int line) {
    char text[64];
    snprintf(text, sizeof text, "Sdiffread %ld", f ? ftell(f) : -1L);
    SdifFError(file, eEof, text, srcFile, line);
}

/* ---- matrix and frame types ---- */

bool SdifTypeTakesPredefined(SdifSignature predefinedSig, SdifSignature signature,
                             const char* srcFile, int line) {
    if (predefinedSig == signature) return true;
    char text[_SdifStringLen];
    char pre[5];
    memcpy(pre, SdifSignatureToString(predefinedSig), 5);
    snprintf(text, sizeof text, "'%s'(Pre) != '%s'", pre, SdifSignatureToString(signature));
    SdifFError(nullptr, eInvalidPredefinedType, text, srcFile, line);
    return false;
}

/* ---- the 1NVT and 1IDS chunks ---- */

size_t SdifFReadTextChunkHeader(SdifFileT* file) {
    long pos = ftell(file->Stream);
    file->StartChunkPos = pos >= 4 ? pos - 4 : 0;
    return SdifFReadFrameHeader(file);
}

size_t SdifFReadTextChunkMatrices(SdifFileT* file, const char* chunkName, const char* columnText,
                                  SdifChunkTextFuncT parse) {
    SdifFrameHeaderT* header = file->CurrFramH;
    size_t sizeR = 0;
    for (SdifUInt4 i = 0; i < header->NbMatrix; i++) {
        size_t n = SdifFReadMatrixHeader(file);
        if (n == 0) break; /* end of file or a lying header, reported */
        sizeR += n;
        if (file->CurrMtrxH->NbCol != 1) SDIF_ERROR(file, eSyntax, columnText);
        if (file->CurrMtrxH->DataType != eText) {
            char text[64];
            snprintf(text, sizeof text, "%s matrix 0x%04x, skipped", chunkName,
                     (unsigned)file->CurrMtrxH->DataType);
            SDIF_ERROR(file, eTypeDataNotSupported, text);
            sizeR += SdifFSkipMatrixData(file);
            continue;
        }
        /* Held so that a report while reading or parsing, which an error
        ** callback may unwind from, does not leak it. */
        std::unique_ptr<SdifStringT, void (*)(SdifStringT*)> text(SdifStringNew(), SdifStringFree);
        if (!text) break;
        sizeR += SdifFReadTextMatrixData(file, text.get());
        parse(file, text.get());
    }
    return sizeR;
}

size_t SdifFEndTextChunk(SdifFileT* file, const char* chunkName, size_t sizeR) {
    /* The chunk ends where its reading ended: its Size only decides the
    ** notice, so a chunk whose Size lies still leaves the next one in step. */
    SdifUInt4 size = file->CurrFramH ? file->CurrFramH->Size : _SdifUnknownSize;
    if (size != _SdifUnknownSize && sizeR != (size_t)size + 4) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "erreur size %s: lu: %lu  Attendu: %lu\n", chunkName,
                 (unsigned long)(sizeR - 4), (unsigned long)size);
        SdifFNotice(file, text);
    }
    return sizeR;
}

size_t SdifFWriteTextChunk(SdifFileT* file, SdifSignature sig, SdifUInt4 streamID,
                           SdifChunkTextFuncT toText) {
    SdifStringT* text = SdifStringNew();
    if (!text) return 0;
    toText(file, text);
    /* the most negative time sorts the chunk before every data frame */
    size_t written = SdifFWriteTextFrameSdifString(file, sig, streamID, -DBL_MAX, sig, text);
    SdifStringFree(text);
    return written;
}

bool SdifReserveBytes(void** buf, SdifUInt4* cap, uint64_t need) {
    if (need <= *cap && *buf) return true;
    if (need == 0) need = 1;
    if (need > UINT32_MAX) return false;
    void* grown = std::realloc(*buf, static_cast<size_t>(need));
    if (!grown) return false;
    *buf = grown;
    *cap = static_cast<SdifUInt4>(need);
    return true;
}
