/* Growable in-memory text that the text tokenisers can read like a stream
** (the ...fromSdifString routines of SdifRWLowLevel.h). */
#ifndef SDIF_STRING_H
#define SDIF_STRING_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Empty text with a zero-filled 128-byte area; none, after an eAllocFail
** report, when memory is out. */
SdifStringT* SdifStringNew(void);
/* Free the characters and the record (none does nothing). */
void SdifStringFree(SdifStringT* s);
/* Append a NUL-terminated text, growing in steps of 128 bytes; 1, or 0 when
** memory is out. */
int SdifStringAppend(SdifStringT* s, const char* text);
/* Character at the read position (as a signed char), then advance; at the
** end answers 0 and stays at the end. */
int SdifStringGetC(SdifStringT* s);
/* Step the read position back by one: 1, or 0 when already at the start. */
int SdifStringUngetC(SdifStringT* s);
/* 1 when everything written has been read. */
int SdifStringIsEOS(SdifStringT* s);

#ifdef __cplusplus
}
#endif

#endif
