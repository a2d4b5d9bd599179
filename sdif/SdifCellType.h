/* The one map from a cell type code to the C++ type of its cells, and the
** typed transfers of cells by that type.  Readers, scanners, writers and
** matrix stores dispatch through SdifCellTypeSwitch once per matrix or row,
** then run a loop over cells of one static type: no per-cell dispatch. */
#ifndef SDIF_CELL_TYPE_H
#define SDIF_CELL_TYPE_H

#include <cstddef>
#include <cstdio>

#include "SdifGlobals.h"
#include "SdifRWLowLevel.h"

/* The cells of one handled code: type is their C++ type (its size is the
** width the code carries in its low byte). */
template <class T, SdifDataTypeET Code>
struct SdifCellKind {
    using type = T;
    static constexpr SdifDataTypeET code = Code;
    static_assert(sizeof(T) == (Code & 0xFF), "a cell's width is the low byte of its code");
};

/* f(SdifCellKind<T, code>{}) for the nine handled codes; other() for any
** other code.  Both must answer the same type. */
template <class F, class Other>
decltype(auto) SdifCellTypeSwitch(SdifDataTypeET type, F&& f, Other&& other) {
    switch (type) {
        case eFloat4:
            return f(SdifCellKind<SdifFloat4, eFloat4>{});
        case eFloat8:
            return f(SdifCellKind<SdifFloat8, eFloat8>{});
        case eInt1:
            return f(SdifCellKind<SdifInt1, eInt1>{});
        case eInt2:
            return f(SdifCellKind<SdifInt2, eInt2>{});
        case eInt4:
            return f(SdifCellKind<SdifInt4, eInt4>{});
        case eUInt1:
            return f(SdifCellKind<SdifUInt1, eUInt1>{});
        case eUInt2:
            return f(SdifCellKind<SdifUInt2, eUInt2>{});
        case eUInt4:
            return f(SdifCellKind<SdifUInt4, eUInt4>{});
        case eText:
            return f(SdifCellKind<SdifChar, eText>{});
        default:
            return other();
    }
}

/* The same with an unhandled code taken as Float4, the fallback every
** reader and writer applies to it. */
template <class F>
decltype(auto) SdifCellTypeSwitchOrFloat4(SdifDataTypeET type, F&& f) {
    return SdifCellTypeSwitch(
        type, f, [&f]() -> decltype(auto) { return f(SdifCellKind<SdifFloat4, eFloat4>{}); });
}

/* Typed binary reads and writes and text scans, by the cells' C++ type;
** each answers the cells transferred, as the Sdiff... routine it calls. */
#define SDIF_CELL_TRANSFERS(T, Name)                                                               \
    inline size_t SdifReadCells(SdifFileT* f, T* p, size_t n) { return SdiffRead##Name(p, n, f); } \
    inline size_t SdifWriteCells(SdifFileT* f, const T* p, size_t n) {                             \
        return SdiffWrite##Name(p, n, f);                                                          \
    }                                                                                              \
    inline size_t SdifScanCells(FILE* f, T* p, size_t n) { return SdiffScan##Name(f, p, n); }

SDIF_CELL_TRANSFERS(SdifFloat4, Float4)
SDIF_CELL_TRANSFERS(SdifFloat8, Float8)
SDIF_CELL_TRANSFERS(SdifInt1, Int1)
SDIF_CELL_TRANSFERS(SdifInt2, Int2)
SDIF_CELL_TRANSFERS(SdifInt4, Int4)
SDIF_CELL_TRANSFERS(SdifUInt1, UInt1)
SDIF_CELL_TRANSFERS(SdifUInt2, UInt2)
SDIF_CELL_TRANSFERS(SdifUInt4, UInt4)
SDIF_CELL_TRANSFERS(SdifChar, Char)

#undef SDIF_CELL_TRANSFERS

#endif
