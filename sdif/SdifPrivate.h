/* Helpers shared by the modules of the SDIF file library; not part of its
** interface and not installed. */
#ifndef SDIF_PRIVATE_H
#define SDIF_PRIVATE_H

#include <cstddef>

#include "SdifGlobals.h"
#include "SdifRWLowLevel.h"

/* ---- cell types ---- */

/* Largest code a SdifDataTypeET can hold (its enumerators need 10 bits);
** a code read from a file beyond it never enters a header as it stands. */
constexpr SdifUInt4 kSdifLargestTypeCode = 0x3FF;

/* The nine types whose cells are read, written and held as they are. */
inline bool SdifDataTypeHandled(SdifDataTypeET type) {
    switch (type) {
        case eFloat4:
        case eFloat8:
        case eInt1:
        case eInt2:
        case eInt4:
        case eUInt1:
        case eUInt2:
        case eUInt4:
        case eText:
            return true;
        default:
            return false;
    }
}

/* Bytes one cell takes as read and held.  A type the library cannot handle
** is held as Float4, the fallback every reader and writer applies to it. */
inline size_t SdifCellBytes(SdifDataTypeET type) {
    return SdifDataTypeHandled(type) ? SdifSizeofDataType(type) : sizeof(SdifFloat4);
}

/* Bytes a row buffer keeps per cell: an unhandled type is held as Float4,
** yet callers may copy cells by its nominal width, so the larger of the two. */
inline size_t SdifCellRoom(SdifDataTypeET type) {
    size_t room = SdifCellBytes(type);
    return SdifSizeofDataType(type) > room ? SdifSizeofDataType(type) : room;
}

/* The row takes the type of a matrix header before the header is tested,
** as callers expect; its cell count shrinks when the buffer holds fewer
** cells of the new type. */
inline void SdifOneRowSetType(SdifOneRowT* row, SdifDataTypeET type) {
    if (!row) return;
    SdifUInt4 fit = static_cast<SdifUInt4>(row->NbGranule / SdifCellRoom(type));
    row->DataType = type;
    if (row->NbData > fit) row->NbData = fit;
}

#endif
