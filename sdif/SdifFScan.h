/* Reading frame and matrix headers and rows from a text SDIF file (the
** file's text stream), where each field is a word. */
#ifndef SDIF_FSCAN_H
#define SDIF_FSCAN_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* After the frame signature (in CurrSignature): NbMatrix, NumID and Time, in
** that order; Size becomes 0xFFFFFFFF.  The frame type is looked up and the
** matrices met in the frame forgotten.  Answers the characters read. */
size_t SdifFScanFrameHeader(SdifFileT* file);
/* Signature, data type ("%i"; the old codes 1 and 32 read as eFloat4, 2 and
** 64 as eFloat8), NbRow and NbCol; the header is tested and the one-row
** buffer takes its type and columns.  Answers the characters read, 0 at end
** of file. */
size_t SdifFScanMatrixHeader(SdifFileT* file);
/* NbCol cells into the one-row buffer; answers the cells converted. */
size_t SdifFScanOneRow(SdifFileT* file);

#ifdef __cplusplus
}
#endif

#endif
