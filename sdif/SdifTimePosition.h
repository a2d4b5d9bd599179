/* A list of (time, stream position) pairs, kept by each file for tools that
** look frames up by time. */
#ifndef SDIF_TIME_POSITION_H
#define SDIF_TIME_POSITION_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One pair; none after eAllocFail. */
SdifTimePositionT* SdifCreateTimePosition(SdifFloat8 time, SdiffPosT pos);
/* Free one pair (a KillerFT; none does nothing). */
void SdifKillTimePosition(void* timePosition);

/* Empty list; none after eAllocFail. */
SdifTimePositionLT* SdifCreateTimePositionL(void);
/* Free the list and its pairs (none does nothing). */
void SdifKillTimePositionL(SdifTimePositionLT* list);
/* Append (time, pos); answers list, or none when memory is out. */
SdifTimePositionLT* SdifTimePositionLPutTail(SdifTimePositionLT* list, SdifFloat8 time,
                                             SdiffPosT pos);
/* Last pair, or none when the list is empty. */
SdifTimePositionT* SdifTimePositionLGetTail(SdifTimePositionLT* list);

#ifdef __cplusplus
}
#endif

#endif
