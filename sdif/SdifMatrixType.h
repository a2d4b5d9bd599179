/* Matrix types: the named columns of a matrix signature, the per-file tables
** that hold them, and the link from a file's type to the predefined type of
** the same signature (its columns come first, the file's own follow). */
#ifndef SDIF_MATRIX_TYPE_H
#define SDIF_MATRIX_TYPE_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Column name (copied) and number; none on allocation failure. */
SdifColumnDefT* SdifCreateColumnDef(const char* name, unsigned int num);
/* List killer for column definitions. */
void SdifKillColumnDef(void* columnDef);

/* New empty type in modification mode 1, linked to predefined when given
** (totals start at its column count); none on allocation failure.  A
** predefined type of another signature is reported (tag 25) and not linked. */
SdifMatrixTypeT* SdifCreateMatrixType(SdifSignature signature, SdifMatrixTypeT* predefined);
/* Hash-table killer for matrix types. */
void SdifKillMatrixType(void* matrixType);

/* Put type under its signature; answers table. */
SdifHashTableT* SdifPutMatrixType(SdifHashTableT* table, SdifMatrixTypeT* type);
/* Type of signature in table, or none. */
SdifMatrixTypeT* SdifGetMatrixType(SdifHashTableT* table, SdifSignature signature);
/* Type of signature in the file's own table, or none. */
SdifMatrixTypeT* SdifFGetMatrixType(SdifFileT* file, SdifSignature signature);
/* 1 when some type of table has columns of its own (a 1TYP chunk is due). */
int SdifExistUserMatrixType(SdifHashTableT* table);

/* Append a column; answers type, or none when refused (name already there,
** tag 30; declaration closed, tag 27).  The F form reports on file. */
SdifMatrixTypeT* SdifMatrixTypeInsertTailColumnDef(SdifMatrixTypeT* type, const char* name);
SdifMatrixTypeT* SdifFMatrixTypeInsertTailColumnDef(SdifFileT* file, SdifMatrixTypeT* type,
                                                    const char* name);

/* Column of that name, predefined columns first; none when absent. */
SdifColumnDefT* SdifMatrixTypeGetColumnDef(SdifMatrixTypeT* type, const char* name);
/* Number of the column of that name, 0 when absent. */
unsigned int SdifMatrixTypeGetNumColumnDef(SdifMatrixTypeT* type, const char* name);
/* Column number n (from 1); none when out of range. */
SdifColumnDefT* SdifMatrixTypeGetNthColumnDef(SdifMatrixTypeT* type, unsigned int n);
/* Name of column n (from 1); none when out of range. */
const char* SdifMatrixTypeGetColumnName(SdifMatrixTypeT* type, int n);
/* Total number of columns, predefined ones included. */
unsigned int SdifMatrixTypeGetNbColumns(SdifMatrixTypeT* type);

/* The file's type of signature; on first use of a predefined signature a file
** type linked to it is created.  Unknown signature: tag 6, none. */
SdifMatrixTypeT* SdifTestMatrixType(SdifFileT* file, SdifSignature signature);
/* 1 while columns may be added; else tag 14 and 0. */
int SdifTestMatrixTypeModifMode(SdifFileT* file, SdifMatrixTypeT* type);

#ifdef __cplusplus
}
#endif

#endif
