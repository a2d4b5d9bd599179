/* Frame types: the matrices (components) a frame signature may hold, the
** per-file tables that hold them, and the link from a file's type to the
** predefined type of the same signature. */
#ifndef SDIF_FRAME_TYPE_H
#define SDIF_FRAME_TYPE_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Component record (name copied); none on allocation failure. */
SdifComponentT* SdifCreateComponent(SdifSignature matrixSignature, const char* name,
                                    unsigned int num);
/* Hash-table killer for components. */
void SdifKillComponent(void* component);

/* New empty type in modification mode 1, linked to predefined when given
** (totals start at its component count); none on allocation failure.  A
** predefined type of another signature is reported (tag 25) and not linked. */
SdifFrameTypeT* SdifCreateFrameType(SdifSignature signature, SdifFrameTypeT* predefined);
/* Hash-table killer for frame types. */
void SdifKillFrameType(void* frameType);

/* Put type under its signature; answers table. */
SdifHashTableT* SdifPutFrameType(SdifHashTableT* table, SdifFrameTypeT* type);
/* Type of signature in table, or none. */
SdifFrameTypeT* SdifGetFrameType(SdifHashTableT* table, SdifSignature signature);
/* Type of signature in the file's own table, or none. */
SdifFrameTypeT* SdifFGetFrameType(SdifFileT* file, SdifSignature signature);
/* 1 when some type of table has components of its own. */
int SdifExistUserFrameType(SdifHashTableT* table);

/* Add a component; answers type, or none when refused (matrix signature or
** name already there, tag 30; declaration closed, tag 27).  The F form
** reports on file. */
SdifFrameTypeT* SdifFrameTypePutComponent(SdifFrameTypeT* type, SdifSignature matrixSignature,
                                          const char* name);
SdifFrameTypeT* SdifFFrameTypePutComponent(SdifFileT* file, SdifFrameTypeT* type,
                                           SdifSignature matrixSignature, const char* name);

/* Component of that name, predefined ones first; none when absent. */
SdifComponentT* SdifFrameTypeGetComponent(SdifFrameTypeT* type, const char* name);
/* Component holding that matrix signature; none when absent. */
SdifComponentT* SdifFrameTypeGetComponent_MtrxS(SdifFrameTypeT* type,
                                                SdifSignature matrixSignature);
/* Component number n (from 1); none when out of range. */
SdifComponentT* SdifFrameTypeGetNthComponent(SdifFrameTypeT* type, unsigned int n);
/* Total number of components, predefined ones included. */
unsigned int SdifFrameTypeGetNbComponents(SdifFrameTypeT* type);

/* The file's type of signature; on first use of a predefined signature a file
** type linked to it is created.  Unknown signature: tag 6, none. */
SdifFrameTypeT* SdifTestFrameType(SdifFileT* file, SdifSignature signature);
/* 1 while components may be added; else tag 14 and 0. */
int SdifTestFrameTypeModifMode(SdifFileT* file, SdifFrameTypeT* type);

#ifdef __cplusplus
}
#endif

#endif
