#include "SdifFWrite.h"

#include <cstdint>
#include <cstdio>

#include "SdifCellType.h"
#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifMatrix.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"

namespace {

/* Cells from p, as type; answers the bytes written, 0 with *handled false
** when type is none of the handled ones. */
size_t WriteCells(SdifFileT* file, SdifDataTypeET type, const void* p, size_t n, bool* handled) {
    *handled = true;
    return SdifCellTypeSwitch(
        type,
        [&](auto kind) {
            using T = typename decltype(kind)::type;
            return sizeof(T) * SdifWriteCells(file, static_cast<const T*>(p), n);
        },
        [&] {
            *handled = false;
            return size_t(0);
        });
}

/* The one-row buffer as Float4: the fallback for a type no writer handles,
** bounded by what the buffer holds. */
size_t WriteOneRowAsFloat4(SdifFileT* file, size_t n) {
    const SdifOneRowT* row = file->CurrOneRow;
    if (!row) return 0;
    size_t fit = row->NbGranule / sizeof(SdifFloat4);
    if (n > fit) n = fit;
    return sizeof(SdifFloat4) * SdiffWriteFloat4(row->Data.Float4, n, file);
}

void ReportUnhandled(SdifFileT* file, SdifDataTypeET type, int line) {
    char text[_SdifStringLen];
    snprintf(text, sizeof text, "OneRow 0x%04x, then Float4 used", static_cast<unsigned>(type));
    SdifFError(file, eTypeDataNotSupported, text, SdifSourceName(__FILE__), line);
}

}  // namespace

size_t SdifFWriteFrameHeader(SdifFileT* file) {
    const SdifFrameHeaderT* h = file->CurrFramH;
    if (!h) return 0;
    file->StartChunkPos = ftell(file->Stream);
    file->CurrFramPos = file->StartChunkPos;
    size_t nb = 4 * SdiffWriteSignature(&h->Signature, file);
    nb += 4 * SdiffWriteUInt4(&h->Size, 1, file);
    nb += 8 * SdiffWriteFloat8(&h->Time, 1, file);
    nb += 4 * SdiffWriteUInt4(&h->NumID, 1, file);
    nb += 4 * SdiffWriteUInt4(&h->NbMatrix, 1, file);
    return nb;
}

size_t SdifFWriteMatrixHeader(SdifFileT* file) {
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!h) return 0;
    const SdifUInt4 words[3] = {static_cast<SdifUInt4>(h->DataType), h->NbRow, h->NbCol};
    size_t nb = 4 * SdiffWriteSignature(&h->Signature, file);
    nb += 4 * SdiffWriteUInt4(words, 3, file);
    return nb;
}

size_t SdifFWriteOneRow(SdifFileT* file) {
    const SdifOneRowT* row = file->CurrOneRow;
    if (!row) return 0;
    bool handled;
    size_t nb = WriteCells(file, row->DataType, row->Data.Void, row->NbData, &handled);
    if (handled) return nb;
    ReportUnhandled(file, row->DataType, __LINE__);
    return WriteOneRowAsFloat4(file, row->NbData);
}

size_t SdifFWriteMatrixData(SdifFileT* file, void* data) {
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!h) return 0;
    uint64_t cells = static_cast<uint64_t>(h->NbRow) * h->NbCol;
    bool handled;
    size_t nb = WriteCells(file, h->DataType, data, static_cast<size_t>(cells), &handled);
    if (handled) return nb;
    ReportUnhandled(file, h->DataType, __LINE__);
    return WriteOneRowAsFloat4(file, static_cast<size_t>(cells));
}

size_t SdifFWritePadding(SdifFileT* file, size_t n) {
    static const SdifChar zeros[64] = {0};
    size_t nb = 0;
    while (nb < n) {
        size_t step = n - nb < sizeof zeros ? n - nb : sizeof zeros;
        size_t put = SdiffWriteChar(zeros, step, file);
        nb += put;
        if (put < step) break;
    }
    return nb;
}

size_t SdifFWriteMatrix(SdifFileT* file, SdifSignature signature, SdifDataTypeET dataType,
                        SdifUInt4 nbRow, SdifUInt4 nbCol, void* data) {
    SdifFSetCurrMatrixHeader(file, signature, dataType, nbRow, nbCol);
    if (!file->CurrMtrxH) return 0;
    size_t nb = SdifFWriteMatrixHeader(file);
    nb += SdifFWriteMatrixData(file, data);
    return nb + SdifFWritePadding(file, SdifPaddingCalculate(nb));
}

size_t SdifFWriteFrameAndOneMatrix(SdifFileT* file, SdifSignature frameSignature, SdifUInt4 numID,
                                   SdifFloat8 time, SdifSignature matrixSignature,
                                   SdifDataTypeET dataType, SdifUInt4 nbRow, SdifUInt4 nbCol,
                                   void* data) {
    SdifUInt4 size = SdifSizeOfFrameHeader() + SdifSizeOfMatrix(dataType, nbRow, nbCol);
    if (!SdifFSetCurrFrameHeader(file, frameSignature, size, 1, numID, time)) return 0;
    size_t nb = SdifFWriteFrameHeader(file);
    return nb + SdifFWriteMatrix(file, matrixSignature, dataType, nbRow, nbCol, data);
}

size_t SdifFWriteTextMatrix(SdifFileT* file, SdifSignature signature, size_t length,
                            const char* text) {
    return SdifFWriteMatrix(file, signature, eText, static_cast<SdifUInt4>(length), 1,
                            const_cast<char*>(text));
}

size_t SdifFWriteTextFrame(SdifFileT* file, SdifSignature frameSignature, SdifUInt4 numID,
                           SdifFloat8 time, SdifSignature matrixSignature, const char* text,
                           size_t length) {
    return SdifFWriteFrameAndOneMatrix(file, frameSignature, numID, time, matrixSignature, eText,
                                       static_cast<SdifUInt4>(length), 1, const_cast<char*>(text));
}

size_t SdifFWriteTextFrameSdifString(SdifFileT* file, SdifSignature frameSignature, SdifUInt4 numID,
                                     SdifFloat8 time, SdifSignature matrixSignature,
                                     SdifStringT* text) {
    /* The NUL goes too, so a reader can take the cells as one C string. */
    return SdifFWriteTextFrame(file, frameSignature, numID, time, matrixSignature, text->str,
                               text->SizeW + 1);
}

size_t SdifFWriteChunkHeader(SdifFileT* file, SdifSignature signature, size_t size) {
    file->StartChunkPos = ftell(file->Stream);
    file->ChunkSize = static_cast<SdifUInt4>(size);
    const SdifInt4 word = static_cast<SdifInt4>(size);
    size_t nb = 4 * SdiffWriteSignature(&signature, file);
    return nb + 4 * SdiffWriteInt4(&word, 1, file);
}

int SdifUpdateChunkSize(SdifFileT* file, size_t size) {
    if (!file->isSeekable) return 0;
    SdiffPosT back;
    if (SdifFGetPos(file, &back) != 0) {
        SdifFNotice(file, "SdifUpdateChunkSize, SdifFGetPos erreur\n");
        return -1;
    }
    SdiffPosT field = file->StartChunkPos + 4;
    const SdifInt4 word = static_cast<SdifInt4>(size);
    if (file->StartChunkPos < 0 || SdifFSetPos(file, &field) != 0 ||
        SdiffWriteInt4(&word, 1, file) != 1) {
        SdifFSetPos(file, &back);
        SdifFNotice(file, "SdifUpdateChunkSize, SdifFSetPos erreur\n");
        return -1;
    }
    if (SdifFSetPos(file, &back) != 0) {
        SdifFNotice(file, "SdifUpdateChunkSize, SdifFSetPos erreur\n");
        return -1;
    }
    return 0;
}

int SdifUpdateFrameHeader(SdifFileT* file, SdifUInt4 size, SdifInt4 nbMatrix) {
    if (!file->isSeekable) {
        SdifFNotice(file, "SdifUpdateFrameHeader: Can't update non-seekable stream\n");
        return -1;
    }
    SdiffPosT back;
    if (SdifFGetPos(file, &back) != 0) {
        SdifFNotice(file, "SdifUpdateFrameHeader, SdifFGetPos error\n");
        return -1;
    }
    /* Size follows the signature; NbMatrix follows Size, Time and NumID. */
    SdiffPosT sizeField = file->StartChunkPos + 4;
    SdiffPosT nbMatrixField = file->StartChunkPos + 20;
    bool patched = file->StartChunkPos >= 0 && SdifFSetPos(file, &sizeField) == 0 &&
                   SdiffWriteUInt4(&size, 1, file) == 1 && SdifFSetPos(file, &nbMatrixField) == 0 &&
                   SdiffWriteInt4(&nbMatrix, 1, file) == 1;
    if (SdifFSetPos(file, &back) != 0 || !patched) {
        SdifFNotice(file, "SdifUpdateFrameHeader, SdifFSetPos error\n");
        return -1;
    }
    if (file->CurrFramH) {
        file->CurrFramH->Size = size;
        file->CurrFramH->NbMatrix = static_cast<SdifUInt4>(nbMatrix);
    }
    return 0;
}
