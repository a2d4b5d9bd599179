/* Small growable arrays of signatures (the matrices met in a frame, the
** signatures a caller looks for). */
#ifndef SDIF_SIGNATURE_TAB_H
#define SDIF_SIGNATURE_TAB_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Table of capacity nb, zero-filled; none, after an eAllocFail report, when
** memory is out. */
SdifSignatureTabT* SdifCreateSignatureTab(unsigned int nb);
void SdifKillSignatureTab(SdifSignatureTabT* table);
/* Grow the capacity to nb (never shrinks; new entries are 0); answers the
** table, or none when memory is out (the table is then left as it was). */
SdifSignatureTabT* SdifReAllocSignatureTab(SdifSignatureTabT* table, unsigned int nb);
/* Grow to nb if larger, zero the first nb entries, count 0; answers the
** table (none when memory is out). */
SdifSignatureTabT* SdifReInitSignatureTab(SdifSignatureTabT* table, unsigned int nb);

/* The signature itself when present, 0 otherwise. */
SdifSignature SdifIsInSignatureTab(SdifSignatureTabT* table, SdifSignature sig);
/* Index of the first entry equal to sig, or -1. */
int SdifFindInSignatureTab(SdifSignatureTabT* table, SdifSignature sig);
/* Append sig.  Put is meant for tables sized beforehand; both grow the
** capacity by 16 when full rather than write past it.  Answer the table, or
** none when memory is out. */
SdifSignatureTabT* SdifPutInSignatureTab(SdifSignatureTabT* table, SdifSignature sig);
SdifSignatureTabT* SdifAddToSignatureTab(SdifSignatureTabT* table, SdifSignature sig);
/* Entry at index, or 0 outside 0 to count-1. */
SdifSignature SdifGetFromSignatureTab(const SdifSignatureTabT* table, int index);

#ifdef __cplusplus
}
#endif

#endif
