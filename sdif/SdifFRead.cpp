#include "SdifFRead.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifCellType.h"
#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifFrameType.h"
#include "SdifGrow.h"
#include "SdifHard_OS.h"
#include "SdifMatrix.h"
#include "SdifMatrixType.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifSignatureTab.h"
#include "SdifString.h"

namespace {

size_t ReadCells(SdifFileT* file, SdifDataTypeET type, void* p, size_t n) {
    return SdifCellTypeSwitchOrFloat4(type, [&](auto kind) {
        return SdifReadCells(file, static_cast<typename decltype(kind)::type*>(p), n);
    });
}

/* Bytes of nbRow x nbCol cells of width bytes, with their padding when
** asked.  Two 32-bit counts and a width can exceed 64 bits: such a claim
** saturates, which no file can back. */
uint64_t MatrixBytes(SdifUInt4 nbRow, SdifUInt4 nbCol, size_t width, bool padded) {
    const uint64_t cells = static_cast<uint64_t>(nbRow) * nbCol;
    if (width != 0 && cells > (UINT64_MAX - 8) / width) return UINT64_MAX;
    uint64_t bytes = cells * width;
    if (padded) bytes += SdifPaddingCalculate(static_cast<size_t>(bytes & 7));
    return bytes;
}

/* A size the file cannot back is reported exactly as the short read it
** would turn into, so callers see one kind of end of data. */
void ReportShort(SdifFileT* file, int line) {
    SdifFReportEof(file, file->Stream, SdifSourceName(__FILE__), line);
}

/* Read n cells of type into *buf (capacity *cap bytes).  When the file
** holds them all the buffer is sized once; otherwise it grows piece by
** piece as cells arrive, so a lying count costs no more memory than the
** data actually present.  Answers the cells read; *allocFailed tells a
** failed allocation from a short read (which the typed read reports). */
size_t ReadCellsInto(SdifFileT* file, SdifDataTypeET type, void** buf, SdifUInt4* cap, uint64_t n,
                     bool* allocFailed) {
    const size_t width = SdifCellBytes(type);
    const uint64_t total = n > UINT64_MAX / width ? UINT64_MAX : n * width;
    *allocFailed = false;
    if (n == 0) return 0;
    long long left = SdifFBytesLeft(file);
    if (left >= 0 && total <= static_cast<uint64_t>(left)) {
        if (!SdifReserveBytes(buf, cap, total)) {
            *allocFailed = true;
            return 0;
        }
        return ReadCells(file, type, *buf, static_cast<size_t>(n));
    }
    return static_cast<size_t>(SdifGrowAsRead(
        n, width, [&](uint64_t cells) { return SdifReserveBytes(buf, cap, cells * width); },
        [&](uint64_t at, uint64_t count) {
            return ReadCells(file, type, static_cast<char*>(*buf) + at * width,
                             static_cast<size_t>(count));
        },
        allocFailed));
}

/* Forget the matrices met in the previous frame.  The table keeps its
** capacity and grows only as matrices are met, so a frame announcing
** millions of matrices allocates nothing until they actually come. */
void ForgetMatricesMet(SdifFileT* file) {
    if (!file->MtrxUsed) {
        file->MtrxUsed = SdifCreateSignatureTab(16);
        return;
    }
    unsigned int nb = file->CurrFramH ? file->CurrFramH->NbMatrix : 0;
    if (nb > file->MtrxUsed->NbSignMax) nb = file->MtrxUsed->NbSignMax;
    SdifReInitSignatureTab(file->MtrxUsed, nb);
}

/* Give the one-row buffer the type and the column count of the current
** matrix.  Its cells are allocated now only when the file holds them (or
** the buffer already has room); otherwise SdifFReadOneRow grows it as the
** cells arrive, and until then NbData counts only the cells it can hold. */
void PrepareOneRow(SdifFileT* file, SdifDataTypeET type, SdifUInt4 nbCol) {
    if (!file->CurrOneRow) {
        file->CurrOneRow = SdifCreateOneRow(type, 1);
        if (!file->CurrOneRow) return;
    }
    SdifOneRowT* row = file->CurrOneRow;
    const uint64_t need = static_cast<uint64_t>(nbCol) * SdifCellBytes(type);
    long long left = SdifFBytesLeft(file);
    bool backed = need <= row->NbGranule ||
                  (left >= 0 ? need <= static_cast<uint64_t>(left) : need <= kSdifGrowPieceBytes);
    if (backed) {
        SdifReInitOneRow(row, type, nbCol);
        return;
    }
    SdifOneRowSetType(row, type);
}

SdifMatrixHeaderT* CurrMatrixHeader(SdifFileT* file) {
    if (!file->CurrMtrxH) file->CurrMtrxH = SdifCreateMatrixHeaderEmpty();
    return file->CurrMtrxH;
}

}  // namespace

long long SdifFBytesLeft(SdifFileT* file) {
    /* A file open for update may have grown since its size was taken. */
    if (!file->Stream || !file->isSeekable || file->FileSize < 0 || file->Mode == eReadWriteFile)
        return -1;
    long pos = ftell(file->Stream);
    if (pos < 0 || pos > file->FileSize) return -1;
    return static_cast<long long>(file->FileSize) - pos;
}

/* ---- headers ---- */

size_t SdifFReadFrameHeader(SdifFileT* file) {
    long pos = ftell(file->Stream);
    file->StartChunkPos = pos >= 4 ? pos - 4 : -1;
    file->CurrFramPos = file->StartChunkPos;
    SdifFrameHeaderT* h = SdifFSetCurrFrameHeader(file, file->CurrSignature, 0, 0, 0, 0.0);
    if (!h) return 0;

    size_t nbBytes = 0;
    if (SdiffReadUInt4(&h->Size, 1, file) != 1) return nbBytes;
    nbBytes += sizeof(SdifUInt4);
    if (SdiffReadFloat8(&h->Time, 1, file) != 1) return nbBytes;
    nbBytes += sizeof(SdifFloat8);
    SdifUInt4 words[2] = {0, 0};
    size_t got = SdiffReadUInt4(words, 2, file);
    h->NumID = words[0];
    h->NbMatrix = words[1];
    nbBytes += got * sizeof(SdifUInt4);
    if (got < 2) return nbBytes;

    /* Every matrix has at least its header.  Size is not checked here: a
    ** frame read matrix by matrix never needs it, and a skip by it stops at
    ** the end of the file as the short read it is. */
    uint64_t claimed = static_cast<uint64_t>(h->NbMatrix) * SdifSizeOfMatrixHeader();
    long long left = SdifFBytesLeft(file);
    if (left >= 0 && claimed > static_cast<uint64_t>(left)) {
        ReportShort(file, __LINE__);
        /* Nobody may size anything from a count the file cannot back. */
        h->NbMatrix = 0;
        return 0;
    }

    file->CurrFramT = SdifTestFrameType(file, h->Signature);
    if (file->CurrFramT) ForgetMatricesMet(file);
    return nbBytes;
}

SdifMatrixTypeT* SdifFTestMatrixHeader(SdifFileT* file) {
    SdifMatrixHeaderT* h = file->CurrMtrxH;
    char text[_SdifStringLen];

    /* SdifTestMatrixType reports an unknown type itself. */
    SdifMatrixTypeT* matrixType = SdifTestMatrixType(file, h->Signature);
    file->CurrMtrxT = matrixType;
    if (!matrixType) return nullptr;

    if (file->CurrFramT) {
        if (!SdifFrameTypeGetComponent_MtrxS(file->CurrFramT, h->Signature)) {
            /* Only reported: a frame may carry matrices its type does not list. */
            snprintf(text, sizeof text, "'%s' in frame '%s'", SdifSignatureToString(h->Signature),
                     SdifSignatureToString(file->CurrFramT->Signature));
            SDIF_ERROR(file, eMatrixNotInFrame, text);
        } else if (SdifIsInSignatureTab(file->MtrxUsed, h->Signature)) {
            snprintf(text, sizeof text, "'%s' in frame '%s'", SdifSignatureToString(h->Signature),
                     SdifSignatureToString(file->CurrFramT->Signature));
            SDIF_ERROR(file, eMatrixUsedYet, text);
            return nullptr;
        } else {
            SdifAddToSignatureTab(file->MtrxUsed, h->Signature);
        }
    }

    if (!SdifFDataTypeKnown(file, h->DataType)) {
        /* A warning, not a failure: the cells are still read, as Float4, so
        ** the frame goes on being read like any other. */
        snprintf(text, sizeof text, " 0x%04x, then Float4 used",
                 static_cast<unsigned>(h->DataType));
        h->DataType = eFloat4;
        SDIF_ERROR(file, eTypeDataNotSupported, text);
    }
    return matrixType;
}

size_t SdifFReadMatrixHeader(SdifFileT* file) {
    SdifMatrixHeaderT* h = CurrMatrixHeader(file);
    if (!h) return 0;
    size_t nbBytes = 0;
    SdifSignature sig = 0;
    int end = SdiffReadSignature(&sig, file, &nbBytes);
    h->Signature = sig;
    if (sig == 0) {
        /* Matrices are read only where a frame announces one: the end of
        ** the file here is a truncation, which the signature read keeps
        ** quiet about. */
        if (end == eEof) ReportShort(file, __LINE__);
        return 0;
    }

    SdifUInt4 words[3] = {eFloat4, 0, 0};
    size_t got = SdiffReadUInt4(words, 3, file);
    nbBytes += got * sizeof(SdifUInt4);
    if (words[0] > kSdifLargestTypeCode) {
        /* Not a code of any cell type: the same fallback as for an unknown
        ** type, reported here because the header cannot hold the code. */
        char text[_SdifStringLen];
        snprintf(text, sizeof text, " 0x%04x, then Float4 used", words[0]);
        h->DataType = eFloat4;
        SDIF_ERROR(file, eTypeDataNotSupported, text);
    } else {
        h->DataType = static_cast<SdifDataTypeET>(words[0]);
    }
    h->NbRow = words[1];
    h->NbCol = words[2];
    if (got < 3) return nbBytes;

    SdifOneRowSetType(file->CurrOneRow, h->DataType);
    bool passed = SdifFTestMatrixHeader(file) != nullptr;

    uint64_t bytes = MatrixBytes(h->NbRow, h->NbCol, SdifSizeofDataType(h->DataType), true);
    long long left = SdifFBytesLeft(file);
    if (left >= 0 && bytes > static_cast<uint64_t>(left)) {
        ReportShort(file, __LINE__);
        h->NbRow = 0;
        h->NbCol = 0;
        return 0;
    }
    if (passed) PrepareOneRow(file, h->DataType, h->NbCol);
    return nbBytes;
}

/* ---- data ---- */

size_t SdifFReadOneRow(SdifFileT* file) {
    SdifOneRowT* row = file->CurrOneRow;
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!row || !h) return 0;
    SdifDataTypeET type = row->DataType;
    if (!SdifDataTypeHandled(type)) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "OneRow 0x%04x, then Float4 used", static_cast<unsigned>(type));
        SDIF_ERROR(file, eTypeDataNotSupported, text);
        type = eFloat4;
    }
    bool allocFailed = false;
    size_t got =
        ReadCellsInto(file, type, &row->Data.Void, &row->NbGranule, h->NbCol, &allocFailed);
    if (allocFailed) SDIF_ERROR(file, eAllocFail, "OneRow->Data allocation");
    /* After a short read (reported) only the cells that came count. */
    row->NbData = static_cast<SdifUInt4>(got);
    return got * SdifCellBytes(type);
}

size_t SdifFReadMatrixData(SdifFileT* file) {
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!h) return 0;
    SdifDataTypeET type = h->DataType;
    if (!SdifDataTypeHandled(type)) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "SdifFReadMatrixData 0x%04x, then Float4 used",
                 static_cast<unsigned>(type));
        SDIF_ERROR(file, eTypeDataNotSupported, text);
        type = eFloat4;
    }
    const uint64_t cells = static_cast<uint64_t>(h->NbRow) * h->NbCol;

    if (!file->CurrMtrxData) file->CurrMtrxData = SdifCreateMatrixData(h->Signature, type, 0, 0);
    SdifMatrixDataT* data = file->CurrMtrxData;
    if (!data) {
        SDIF_ERROR(file, eAllocFail, "not enough memory for Matrix Data header update");
        return 0;
    }
    /* The record takes the header now; its buffer grows while reading. */
    if (!data->Header) {
        data->Header = SdifCreateMatrixHeaderEmpty();
        data->ForeignHeader = 0;
        if (!data->Header) return 0;
    }
    if (data->Header != h) *data->Header = *h;

    bool allocFailed = false;
    size_t got = ReadCellsInto(file, type, &data->Data.Void, &data->AllocSize, cells, &allocFailed);
    /* Size counts the cells held, which after a short read are fewer than
    ** the header claims. */
    data->Size = static_cast<SdifUInt4>(got * SdifCellBytes(type));
    if (allocFailed) {
        SDIF_ERROR(file, eAllocFail, "not enough memory for Matrix Data header update");
        return 0;
    }
    if (got == 0 && cells > 0) return 0;
    size_t nbBytes = got * SdifCellBytes(type);
    /* After a short read (already reported) there is no padding left to read. */
    if (got < cells) return nbBytes;
    return nbBytes + SdifFReadPadding(file, SdifPaddingCalculate(nbBytes));
}

size_t SdifFReadPadding(SdifFileT* file, size_t Padding) {
    SdifAssert(Padding <= _SdifStringLen);
    if (Padding == 0) return 0;
    SdifChar pad[_SdifStringLen];
    return SdiffReadChar(pad, Padding, file);
}

size_t SdifFReadTextMatrix(SdifFileT* file, SdifStringT* text) {
    size_t nbBytes = SdifFReadMatrixHeader(file);
    if (nbBytes == 0) return 0;
    return nbBytes + SdifFReadTextMatrixData(file, text);
}

size_t SdifFReadTextMatrixData(SdifFileT* file, SdifStringT* text) {
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!h) return 0;
    const uint64_t total = MatrixBytes(h->NbRow, h->NbCol, SdifSizeofDataType(h->DataType), false);
    /* Read through a fixed piece: the text grows only with what arrives. */
    char piece[4096 + 1];
    bool ended = false;
    uint64_t done = 0;
    while (done < total) {
        size_t step = total - done < 4096 ? static_cast<size_t>(total - done) : 4096;
        size_t got = SdiffReadChar(piece, step, file);
        if (!ended) {
            if (!SdifBudgetCharge(got)) {
                SDIF_ERROR(file, eAllocFail, "text past the memory budget");
                return static_cast<size_t>(done + got);
            }
            piece[got] = '\0';
            SdifStringAppend(text, piece);
            ended = memchr(piece, '\0', got) != nullptr;
        }
        done += got;
        if (got < step) return static_cast<size_t>(done);
    }
    size_t nbBytes = static_cast<size_t>(done);
    return nbBytes + SdifFReadPadding(file, SdifPaddingCalculate(nbBytes));
}

/* ---- skipping ---- */

size_t SdifFReadAndIgnore(SdifFileT* file, size_t n) {
    char piece[4096];
    size_t done = 0;
    while (done < n) {
        size_t step = n - done < sizeof piece ? n - done : sizeof piece;
        size_t got = Sdiffread(piece, 1, step, file);
        done += got;
        if (got < step) {
            ReportShort(file, __LINE__);
            break;
        }
    }
    return done;
}

size_t SdifFSkip(SdifFileT* file, size_t n) {
    if (n == 0) return 0;
    if (file->isSeekable) {
        long long left = SdifFBytesLeft(file);
        if (left >= 0 && n > static_cast<unsigned long long>(left)) {
            /* A seek past the end would succeed silently: stop at the end and
            ** report it as the short read it is. */
            fseek(file->Stream, 0, SEEK_END);
            ReportShort(file, __LINE__);
            return static_cast<size_t>(left);
        }
        if (n <= static_cast<size_t>(LONG_MAX) &&
            fseek(file->Stream, static_cast<long>(n), SEEK_CUR) == 0)
            return n;
        /* A device that looked like a file but cannot seek: read through. */
    }
    return SdifFReadAndIgnore(file, n);
}

size_t SdifFSkipOneRow(SdifFileT* file) {
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!h) return 0;
    uint64_t bytes = MatrixBytes(1, h->NbCol, SdifSizeofDataType(h->DataType), false);
    return SdifFSkip(file, static_cast<size_t>(bytes));
}

size_t SdifFSkipMatrixData(SdifFileT* file) {
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    if (!h) return 0;
    uint64_t bytes = MatrixBytes(h->NbRow, h->NbCol, SdifSizeofDataType(h->DataType), true);
    return SdifFSkip(file, static_cast<size_t>(bytes));
}

size_t SdifFSkipMatrix(SdifFileT* file) {
    size_t nbHeader = SdifFReadMatrixHeader(file);
    if (nbHeader == 0) return 0;
    const SdifMatrixHeaderT* h = file->CurrMtrxH;
    uint64_t bytes = MatrixBytes(h->NbRow, h->NbCol, SdifSizeofDataType(h->DataType), true);
    size_t nbData = SdifFSkipMatrixData(file);
    if (nbData < bytes) return 0;
    return nbHeader + nbData;
}

/* A frame that cannot be skipped whole is reported as an end of file: the
** stream is left inside the frame (or at the end), where no next signature
** can be read in step, and a reader keeping the default callbacks must
** stop there rather than decode the rest as frames. */
size_t SdifFSkipFrameData(SdifFileT* file) {
    const SdifFrameHeaderT* h = file->CurrFramH;
    if (!h) return 0;
    char text[_SdifStringLen];
    if (h->Size == _SdifUnknownSize) {
        /* Written where the size could not be patched back: only the
        ** matrices themselves tell where the frame ends. */
        size_t total = 0;
        for (SdifUInt4 i = 1; i <= h->NbMatrix; i++) {
            size_t nb = SdifFSkipMatrix(file);
            if (nb == 0) {
                snprintf(text, sizeof text, "Skip Matrix %d in FrameData %s ID:%u T:%g\n",
                         static_cast<int>(i), SdifSignatureToString(h->Signature), h->NumID,
                         h->Time);
                SDIF_ERROR(file, eEof, text);
                return 0;
            }
            total += nb;
        }
        return total;
    }
    size_t want = h->Size >= SdifSizeOfFrameHeader() ? h->Size - SdifSizeOfFrameHeader() : 0;
    size_t nb = h->Size >= SdifSizeOfFrameHeader() ? SdifFSkip(file, want) : 0;
    if (h->Size < SdifSizeOfFrameHeader() || nb < want) {
        snprintf(text, sizeof text, "Skip  FrameData %s ID:%u T:%g\n",
                 SdifSignatureToString(h->Signature), h->NumID, h->Time);
        SDIF_ERROR(file, eEof, text);
        return 0;
    }
    return nb;
}
