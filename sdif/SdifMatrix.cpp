#include "SdifMatrix.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "SdifCellType.h"
#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"

namespace {

SdifFloat8 CellGet(SdifDataTypeET type, const DataTypeUT& data, size_t i) {
    return SdifCellTypeSwitchOrFloat4(type, [&](auto kind) {
        return static_cast<SdifFloat8>(
            static_cast<const typename decltype(kind)::type*>(data.Void)[i]);
    });
}

void CellPut(SdifDataTypeET type, DataTypeUT& data, size_t i, SdifFloat8 value) {
    SdifCellTypeSwitchOrFloat4(type, [&](auto kind) {
        using T = typename decltype(kind)::type;
        static_cast<T*>(data.Void)[i] = static_cast<T>(value);
    });
}

}  // namespace

/* ---- sizes ---- */

SdifUInt4 SdifSizeOfMatrixHeader(void) { return 4 * sizeof(SdifUInt4); }

SdifUInt4 SdifSizeOfMatrixData(SdifMatrixHeaderT* header) {
    uint64_t bytes =
        static_cast<uint64_t>(header->NbRow) * header->NbCol * SdifSizeofDataType(header->DataType);
    return static_cast<SdifUInt4>(bytes);
}

SdifUInt4 SdifSizeOfMatrix(SdifDataTypeET dataType, SdifUInt4 nbRow, SdifUInt4 nbCol) {
    uint64_t bytes = SdifSizeOfMatrixHeader() +
                     static_cast<uint64_t>(nbRow) * nbCol * SdifSizeofDataType(dataType);
    bytes += SdifPaddingCalculate(static_cast<size_t>(bytes & 7));
    return static_cast<SdifUInt4>(bytes);
}

/* ---- headers ---- */

SdifMatrixHeaderT* SdifCreateMatrixHeader(SdifSignature signature, SdifDataTypeET dataType,
                                          SdifUInt4 nbRow, SdifUInt4 nbCol) {
    SdifMatrixHeaderT* header = static_cast<SdifMatrixHeaderT*>(malloc(sizeof(SdifMatrixHeaderT)));
    if (!header) {
        SDIF_ERROR(nullptr, eAllocFail, "MatrixHeader allocation");
        return nullptr;
    }
    header->Signature = signature;
    header->DataType = dataType;
    header->NbRow = nbRow;
    header->NbCol = nbCol;
    return header;
}

SdifMatrixHeaderT* SdifCreateMatrixHeaderEmpty(void) {
    return SdifCreateMatrixHeader(0, eFloat4, 0, 0);
}

void SdifKillMatrixHeader(SdifMatrixHeaderT* header) { free(header); }

int SdifPrintMatrixHeader(FILE* f, const SdifMatrixHeaderT* header) {
    return fprintf(f, "  MtrxH :   %s   DataWidth: %04x   Rows: %d   Columns: %d\n",
                   SdifSignatureToString(header->Signature),
                   static_cast<unsigned>(header->DataType) & 0xFFFF,
                   static_cast<int>(header->NbRow), static_cast<int>(header->NbCol));
}

SdifMatrixHeaderT* SdifFSetCurrMatrixHeader(SdifFileT* file, SdifSignature signature,
                                            SdifDataTypeET dataType, SdifUInt4 nbRow,
                                            SdifUInt4 nbCol) {
    SdifMatrixHeaderT* header = file->CurrMtrxH;
    if (!header) {
        header = SdifCreateMatrixHeader(signature, dataType, nbRow, nbCol);
        if (!header) return nullptr;
        file->CurrMtrxH = header;
    } else {
        header->Signature = signature;
        header->DataType = dataType;
        header->NbRow = nbRow;
        header->NbCol = nbCol;
    }
    if (!file->CurrOneRow) {
        file->CurrOneRow = SdifCreateOneRow(dataType, nbCol);
        return file->CurrOneRow ? header : nullptr;
    }
    return SdifReInitOneRow(file->CurrOneRow, dataType, nbCol) ? header : nullptr;
}

/* ---- one row ---- */

SdifOneRowT* SdifCreateOneRow(SdifDataTypeET dataType, SdifUInt4 nbData) {
    SdifOneRowT* row = static_cast<SdifOneRowT*>(malloc(sizeof(SdifOneRowT)));
    if (!row) {
        SDIF_ERROR(nullptr, eAllocFail, "OneRow allocation");
        return nullptr;
    }
    /* Room for the widest cell, so a later change of type alone needs no
    ** new allocation; never zero bytes, so Data is always a real buffer. */
    uint64_t bytes = static_cast<uint64_t>(nbData ? nbData : 1) * sizeof(SdifFloat8);
    row->Data.Void = bytes <= UINT32_MAX ? calloc(1, static_cast<size_t>(bytes)) : nullptr;
    if (!row->Data.Void) {
        free(row);
        SDIF_ERROR(nullptr, eAllocFail, "OneRow->Data allocation");
        return nullptr;
    }
    row->DataType = dataType;
    row->NbData = nbData;
    row->NbGranule = static_cast<SdifUInt4>(bytes);
    return row;
}

SdifOneRowT* SdifReInitOneRow(SdifOneRowT* row, SdifDataTypeET dataType, SdifUInt4 nbData) {
    uint64_t bytes = static_cast<uint64_t>(nbData) * SdifCellRoom(dataType);
    if (bytes > row->NbGranule) {
        void* grown =
            bytes <= UINT32_MAX ? realloc(row->Data.Void, static_cast<size_t>(bytes)) : nullptr;
        if (!grown) {
            SDIF_ERROR(nullptr, eAllocFail, "OneRow->Data allocation");
            return nullptr;
        }
        row->Data.Void = grown;
        row->NbGranule = static_cast<SdifUInt4>(bytes);
    }
    row->DataType = dataType;
    row->NbData = nbData;
    return row;
}

void SdifKillOneRow(SdifOneRowT* row) {
    if (!row) return;
    free(row->Data.Void);
    free(row);
}

SdifFloat8 SdifOneRowGetValue(SdifOneRowT* row, SdifUInt4 numCol) {
    if (numCol < 1 || numCol > row->NbData) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "OneRow column %u of %u", numCol, row->NbData);
        SDIF_ERROR(nullptr, eArrayPosition, text);
        return 0.0;
    }
    return CellGet(row->DataType, row->Data, numCol - 1);
}

SdifOneRowT* SdifOneRowPutValue(SdifOneRowT* row, SdifUInt4 numCol, SdifFloat8 value) {
    if (numCol < 1 || numCol > row->NbData) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "OneRow column %u of %u", numCol, row->NbData);
        SDIF_ERROR(nullptr, eArrayPosition, text);
        return nullptr;
    }
    CellPut(row->DataType, row->Data, numCol - 1, value);
    return row;
}

/* ---- whole matrix ---- */

SdifMatrixDataT* SdifCreateMatrixData(SdifSignature signature, SdifDataTypeET dataType,
                                      SdifUInt4 nbRow, SdifUInt4 nbCol) {
    SdifMatrixDataT* data = static_cast<SdifMatrixDataT*>(calloc(1, sizeof(SdifMatrixDataT)));
    if (data) data->Header = SdifCreateMatrixHeader(signature, dataType, nbRow, nbCol);
    if (!data || !data->Header || !SdifMatrixDataUpdateHeader(data, data->Header)) {
        if (data) {
            SdifKillMatrixHeader(data->Header);
            free(data);
        }
        SDIF_ERROR(nullptr, eAllocFail, "MatrixData allocation");
        return nullptr;
    }
    return data;
}

void SdifKillMatrixData(SdifMatrixDataT* data) {
    if (!data) return;
    if (!data->ForeignHeader) SdifKillMatrixHeader(data->Header);
    free(data->Data.Void);
    free(data);
}

SdifMatrixDataT* SdifMatrixDataUpdateHeader(SdifMatrixDataT* data,
                                            const SdifMatrixHeaderT* header) {
    uint64_t bytes =
        static_cast<uint64_t>(header->NbRow) * header->NbCol * SdifCellBytes(header->DataType);
    if (bytes > UINT32_MAX) return nullptr;
    if (bytes > data->AllocSize || !data->Data.Void) {
        size_t want = bytes ? static_cast<size_t>(bytes) : 1;
        void* grown = realloc(data->Data.Void, want);
        if (!grown) return nullptr;
        data->Data.Void = grown;
        data->AllocSize = static_cast<SdifUInt4>(want);
    }
    if (data->Header != header) *data->Header = *header;
    data->Size = static_cast<SdifUInt4>(bytes);
    return data;
}

SdifFloat8 SdifMatrixDataGetValue(SdifMatrixDataT* data, SdifUInt4 numRow, SdifUInt4 numCol) {
    const SdifMatrixHeaderT* h = data->Header;
    uint64_t cell = (static_cast<uint64_t>(numRow) - 1) * h->NbCol + (numCol - 1);
    if (numRow < 1 || numRow > h->NbRow || numCol < 1 || numCol > h->NbCol ||
        (cell + 1) * SdifCellBytes(h->DataType) > data->Size) {
        char text[_SdifStringLen];
        snprintf(text, sizeof text, "MatrixData cell (%u, %u) of %u x %u", numRow, numCol, h->NbRow,
                 h->NbCol);
        SDIF_ERROR(nullptr, eArrayPosition, text);
        return 0.0;
    }
    return CellGet(h->DataType, data->Data, static_cast<size_t>(cell));
}
