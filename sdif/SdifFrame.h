/* Frame headers: the record, its size on disk and the file's current frame
** header. */
#ifndef SDIF_FRAME_H
#define SDIF_FRAME_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of a frame header counted in its Size field (Time, NumID, NbMatrix):
** 16.  The signature and the Size field itself make the header 24 bytes. */
SdifUInt4 SdifSizeOfFrameHeader(void);

/* New header record; none, after an eAllocFail report, when memory is out. */
SdifFrameHeaderT* SdifCreateFrameHeader(SdifSignature signature, SdifUInt4 size, SdifUInt4 nbMatrix,
                                        SdifUInt4 numID, SdifFloat8 time);
/* Empty header: signature 0, Size 16 (no matrix yet), stream 0, time 0. */
SdifFrameHeaderT* SdifCreateFrameHeaderEmpty(SdifSignature signature);
/* Free a header (none does nothing). */
void SdifKillFrameHeader(SdifFrameHeaderT* header);

/* "  FramH : %s   Size: 0x%04x   NbMatrix: %u   NumID: %u   Time: %g\n";
** answers the characters printed. */
int SdifPrintFrameHeader(FILE* f, const SdifFrameHeaderT* header);

/* Set every field of the file's current frame header, creating it on first
** use (later calls reuse it); answers it, or none when memory is out. */
SdifFrameHeaderT* SdifFSetCurrFrameHeader(SdifFileT* file, SdifSignature signature, SdifUInt4 size,
                                          SdifUInt4 nbMatrix, SdifUInt4 numID, SdifFloat8 time);

#ifdef __cplusplus
}
#endif

#endif
