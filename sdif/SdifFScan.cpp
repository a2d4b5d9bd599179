#include "SdifFScan.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "SdifCellType.h"
#include "SdifErrMess.h"
#include "SdifFRead.h"
#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifFrameType.h"
#include "SdifGrow.h"
#include "SdifMatrix.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifSignatureTab.h"

namespace {

size_t ScanCells(FILE* f, SdifDataTypeET type, void* p, size_t n) {
    return SdifCellTypeSwitchOrFloat4(type, [&](auto kind) {
        return SdifScanCells(f, static_cast<typename decltype(kind)::type*>(p), n);
    });
}

}  // namespace

size_t SdifFScanFrameHeader(SdifFileT* file) {
    FILE* f = file->TextStream;
    SdifFrameHeaderT* h =
        SdifFSetCurrFrameHeader(file, file->CurrSignature, _SdifUnknownSize, 0, 0, 0.0);
    if (!f || !h) return 0;
    /* Text frames carry no size: a reader walks them matrix by matrix. */
    unsigned int nbMatrix = 0, numID = 0;
    double time = 0.0;
    int nbChars = 0;
    int got = fscanf(f, " %u %u %lg%n", &nbMatrix, &numID, &time, &nbChars);
    h->NbMatrix = got >= 1 ? nbMatrix : 0;
    h->NumID = got >= 2 ? numID : 0;
    h->Time = got >= 3 ? time : 0.0;
    if (got < 3) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "frame '%s': NbMatrix, NumID and Time expected",
                 SdifSignatureToString(h->Signature));
        SDIF_ERROR(file, eSyntax, text);
        return 0;
    }

    file->CurrFramT = SdifTestFrameType(file, h->Signature);
    if (file->CurrFramT) {
        /* Keep the table's capacity: it grows only as matrices are met. */
        if (!file->MtrxUsed) {
            file->MtrxUsed = SdifCreateSignatureTab(16);
        } else {
            unsigned int nb = h->NbMatrix;
            if (nb > file->MtrxUsed->NbSignMax) nb = file->MtrxUsed->NbSignMax;
            SdifReInitSignatureTab(file->MtrxUsed, nb);
        }
    }
    return static_cast<size_t>(nbChars);
}

size_t SdifFScanMatrixHeader(SdifFileT* file) {
    FILE* f = file->TextStream;
    if (!file->CurrMtrxH) file->CurrMtrxH = SdifCreateMatrixHeaderEmpty();
    SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!f || !h) return 0;

    size_t nbChars = 0;
    SdifSignature sig = 0;
    SdiffGetSignature(f, &sig, &nbChars);
    h->Signature = sig;
    if (sig == 0) return 0;

    int code = 0;
    unsigned int nbRow = 0, nbCol = 0;
    int nbNumbers = 0;
    int got = fscanf(f, " %i %u %u%n", &code, &nbRow, &nbCol, &nbNumbers);
    if (got < 3) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "matrix '%s': DataType, NbRow and NbCol expected",
                 SdifSignatureToString(sig));
        h->DataType = eFloat4;
        h->NbRow = 0;
        h->NbCol = 0;
        SDIF_ERROR(file, eSyntax, text);
        return 0;
    }
    /* Codes of old text files. */
    if (code == 1 || code == 32) code = eFloat4;
    if (code == 2 || code == 64) code = eFloat8;
    if (static_cast<SdifUInt4>(code) > kSdifLargestTypeCode) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, " 0x%04x, then Float4 used", static_cast<unsigned>(code));
        h->DataType = eFloat4;
        SDIF_ERROR(file, eTypeDataNotSupported, text);
    } else {
        h->DataType = static_cast<SdifDataTypeET>(code);
    }
    h->NbRow = nbRow;
    h->NbCol = nbCol;

    SdifOneRowSetType(file->CurrOneRow, h->DataType);
    if (SdifFTestMatrixHeader(file)) {
        if (!file->CurrOneRow) file->CurrOneRow = SdifCreateOneRow(h->DataType, 1);
        SdifOneRowT* row = file->CurrOneRow;
        if (row) {
            uint64_t need = static_cast<uint64_t>(nbCol) * SdifCellBytes(h->DataType);
            if (need <= row->NbGranule || need <= kSdifGrowPieceBytes) {
                SdifReInitOneRow(row, h->DataType, nbCol);
            } else {
                SdifOneRowSetType(row, h->DataType);
            }
        }
    }
    return nbChars + static_cast<size_t>(nbNumbers);
}

size_t SdifFScanOneRow(SdifFileT* file) {
    FILE* f = file->TextStream;
    SdifOneRowT* row = file->CurrOneRow;
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!f || !row || !h) return 0;
    SdifDataTypeET type = row->DataType;
    if (!SdifDataTypeHandled(type)) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "in text file, OneRow 0x%04x, then Float4 used",
                 static_cast<unsigned>(type));
        SDIF_ERROR(file, eTypeDataNotSupported, text);
        type = eFloat4;
    }
    /* A text file's length says nothing about its cell count: the row grows
    ** only as cells are scanned. */
    const size_t width = SdifCellBytes(type);
    bool allocFailed = false;
    const uint64_t done = SdifGrowAsRead(
        h->NbCol, width,
        [&](uint64_t cells) {
            return SdifReserveBytes(&row->Data.Void, &row->NbGranule, cells * width);
        },
        [&](uint64_t at, uint64_t count) {
            return ScanCells(f, type, static_cast<char*>(row->Data.Void) + at * width,
                             static_cast<size_t>(count));
        },
        &allocFailed);
    if (allocFailed) SDIF_ERROR(file, eAllocFail, "OneRow->Data allocation");
    /* When the text ends early only the cells scanned count. */
    row->NbData = static_cast<SdifUInt4>(done);
    return static_cast<size_t>(done);
}
