/* Reading frames and matrices from the binary stream: headers, one row or a
** whole matrix at a time, text matrices, padding, and every skip.
**
** Every size read from a file is checked against the bytes the file still
** holds before anything is allocated or skipped: a header that claims more
** is reported as eEof with the text a short read gives ("Sdiffread %ld",
** the stream position).  When the size of the file is unknown (standard
** input, a pipe), buffers grow only as the data actually arrives. */
#ifndef SDIF_FREAD_H
#define SDIF_FREAD_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes between the read position and the end of the file; -1 when unknown
** (no size known, a non-seekable stream, a file open for update). */
long long SdifFBytesLeft(SdifFileT* file);

/* ---- headers ---- */

/* After SdifFGetSignature has put the frame signature in CurrSignature:
** Size, Time, NumID and NbMatrix into the current frame header, the frame
** type looked up (CurrFramT, none when unknown) and the matrices met in the
** frame forgotten.  Answers the bytes read after the signature (20), or 0
** when Size or NbMatrix claim more bytes than the file holds (eEof). */
size_t SdifFReadFrameHeader(SdifFileT* file);

/* The next matrix header into the current one, tested with
** SdifFTestMatrixHeader; the one-row buffer takes its type and column count
** when the test passes.  Answers 16, or 0 at end of file (signature 0) or
** when the cells claim more bytes than the file holds (eEof; rows and columns
** are then set to 0 so that no caller sizes a buffer from them). */
size_t SdifFReadMatrixHeader(SdifFileT* file);

/* Check the current matrix header against the types and the current frame:
** the matrix type must exist (tag 6 otherwise, failure); a matrix outside the
** frame type's components is reported (tag 20) and accepted; a component met
** twice in the frame is reported (tag 19) and fails; an unknown data type is
** reported (tag 2) and replaced by eFloat4.  Answers the matrix type (also
** put in CurrMtrxT), or none when the test fails. */
SdifMatrixTypeT* SdifFTestMatrixHeader(SdifFileT* file);

/* ---- data ---- */

/* NbCol cells of the current matrix into the one-row buffer; answers the
** bytes read.  Rows are not padded: after the last row the caller reads the
** matrix padding with SdifFReadPadding. */
size_t SdifFReadOneRow(SdifFileT* file);

/* Every cell of the current matrix into the matrix data record, then its
** padding; answers the bytes read with the padding, 0 on failure. */
size_t SdifFReadMatrixData(SdifFileT* file);

/* Read and drop Padding bytes (at most _SdifStringLen); answers them. */
size_t SdifFReadPadding(SdifFileT* file, size_t Padding);

/* Matrix header, then its cells appended to text: bytes read. */
size_t SdifFReadTextMatrix(SdifFileT* file, SdifStringT* text);
/* The cells of the current matrix, taken as characters, appended to text (up
** to the first NUL, as SdifStringAppend does), then the padding: bytes read. */
size_t SdifFReadTextMatrixData(SdifFileT* file, SdifStringT* text);

/* ---- skipping ---- */

/* Move n bytes on (a seek, or a read-and-discard on a stream that cannot
** seek); answers the bytes passed.  Fewer bytes than asked are reported as
** eEof. */
size_t SdifFSkip(SdifFileT* file, size_t n);
/* Read and drop n bytes in bounded pieces; answers the bytes read (a short
** read is reported as eEof). */
size_t SdifFReadAndIgnore(SdifFileT* file, size_t n);
/* One row of the current matrix: bytes passed. */
size_t SdifFSkipOneRow(SdifFileT* file);
/* Cells and padding of the current matrix: bytes passed. */
size_t SdifFSkipMatrixData(SdifFileT* file);
/* Header and data of the next matrix: bytes passed, 0 when it cannot be
** skipped whole. */
size_t SdifFSkipMatrix(SdifFileT* file);
/* The rest of the current frame after its header: Size - 16 bytes at once,
** or matrix by matrix when Size is 0xFFFFFFFF.  Answers the bytes passed, 0
** (with a report) when the frame cannot be skipped whole. */
size_t SdifFSkipFrameData(SdifFileT* file);

#ifdef __cplusplus
}
#endif

#endif
