/* Matrix headers, the one-row buffer and the whole-matrix data record, with
** the sizes of a matrix on disk. */
#ifndef SDIF_MATRIX_H
#define SDIF_MATRIX_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- sizes on disk ---- */

/* Bytes of a matrix header: 16. */
SdifUInt4 SdifSizeOfMatrixHeader(void);
/* Cells only: nbRow x nbCol x width (truncated to 32 bits when larger). */
SdifUInt4 SdifSizeOfMatrixData(SdifMatrixHeaderT* header);
/* Header, cells and the padding of both: 16 + cells + padding (truncated to
** 32 bits when larger). */
SdifUInt4 SdifSizeOfMatrix(SdifDataTypeET dataType, SdifUInt4 nbRow, SdifUInt4 nbCol);

/* ---- headers ---- */

/* New header record; none, after an eAllocFail report, when memory is out. */
SdifMatrixHeaderT* SdifCreateMatrixHeader(SdifSignature signature, SdifDataTypeET dataType,
                                          SdifUInt4 nbRow, SdifUInt4 nbCol);
/* Signature 0, eFloat4, no rows or columns. */
SdifMatrixHeaderT* SdifCreateMatrixHeaderEmpty(void);
/* Free a header (none does nothing). */
void SdifKillMatrixHeader(SdifMatrixHeaderT* header);

/* "  MtrxH :   %s   DataWidth: %04x   Rows: %d   Columns: %d\n"; answers
** the characters printed. */
int SdifPrintMatrixHeader(FILE* f, const SdifMatrixHeaderT* header);

/* Set every field of the file's current matrix header (created on first use)
** and size the one-row buffer to nbCol cells of dataType, as a writer needs
** before SdifFWriteOneRow; answers the header, or none when memory is out. */
SdifMatrixHeaderT* SdifFSetCurrMatrixHeader(SdifFileT* file, SdifSignature signature,
                                            SdifDataTypeET dataType, SdifUInt4 nbRow,
                                            SdifUInt4 nbCol);

/* ---- one row ---- */

/* Row of nbData cells, allocated for the widest cell (8 bytes) so that a
** change of type needs no new allocation; none after eAllocFail. */
SdifOneRowT* SdifCreateOneRow(SdifDataTypeET dataType, SdifUInt4 nbData);
/* Give the row dataType and nbData cells, growing its allocation to nbData
** cells of dataType when it is too small (never shrinking); answers row, or
** none after eAllocFail (the row is then left as it was). */
SdifOneRowT* SdifReInitOneRow(SdifOneRowT* row, SdifDataTypeET dataType, SdifUInt4 nbData);
/* Free a row (none does nothing). */
void SdifKillOneRow(SdifOneRowT* row);

/* Cell numCol (from 1) as a double; 0 with an eArrayPosition report when out
** of range (a text or unhandled type reads as the Float4 view). */
SdifFloat8 SdifOneRowGetValue(SdifOneRowT* row, SdifUInt4 numCol);
/* Store value, converted to the row's type, in cell numCol (from 1); answers
** row, or none with an eArrayPosition report when out of range. */
SdifOneRowT* SdifOneRowPutValue(SdifOneRowT* row, SdifUInt4 numCol, SdifFloat8 value);

/* ---- whole matrix ---- */

/* Record with its own header and a cell buffer of nbRow x nbCol cells; none
** after eAllocFail. */
SdifMatrixDataT* SdifCreateMatrixData(SdifSignature signature, SdifDataTypeET dataType,
                                      SdifUInt4 nbRow, SdifUInt4 nbCol);
/* Free the record, its buffer and its header unless borrowed (none does
** nothing). */
void SdifKillMatrixData(SdifMatrixDataT* data);
/* Take the values of header and make room for its cells (the buffer only
** grows); answers data, or none when the cells do not fit in memory or in 32
** bits (the record keeps its old buffer).  No report: the caller knows the
** context. */
SdifMatrixDataT* SdifMatrixDataUpdateHeader(SdifMatrixDataT* data, const SdifMatrixHeaderT* header);
/* Cell (row, col), both from 1, as a double; 0 with an eArrayPosition report
** when out of range. */
SdifFloat8 SdifMatrixDataGetValue(SdifMatrixDataT* data, SdifUInt4 numRow, SdifUInt4 numCol);

#ifdef __cplusplus
}
#endif

#endif
