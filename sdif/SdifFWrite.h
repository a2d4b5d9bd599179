/* Writing frames and matrices to the binary stream, and patching chunk and
** frame sizes once they are known. */
#ifndef SDIF_FWRITE_H
#define SDIF_FWRITE_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The current frame header (Signature, Size, Time, NumID, NbMatrix), its
** position kept in StartChunkPos for a later SdifUpdateFrameHeader; answers
** the bytes written (24). */
size_t SdifFWriteFrameHeader(SdifFileT* file);
/* The current matrix header: bytes written (16). */
size_t SdifFWriteMatrixHeader(SdifFileT* file);
/* The one-row buffer's cells: bytes written. */
size_t SdifFWriteOneRow(SdifFileT* file);
/* NbRow x NbCol cells of the current matrix header's type from data (left
** unchanged), without padding: bytes written. */
size_t SdifFWriteMatrixData(SdifFileT* file, void* data);
/* n zero bytes: bytes written. */
size_t SdifFWritePadding(SdifFileT* file, size_t n);

/* Set the current matrix header, write it, the cells and the padding:
** bytes written, padding included. */
size_t SdifFWriteMatrix(SdifFileT* file, SdifSignature signature, SdifDataTypeET dataType,
                        SdifUInt4 nbRow, SdifUInt4 nbCol, void* data);
/* A frame (Size computed, NbMatrix 1) holding that one matrix: bytes written. */
size_t SdifFWriteFrameAndOneMatrix(SdifFileT* file, SdifSignature frameSignature, SdifUInt4 numID,
                                   SdifFloat8 time, SdifSignature matrixSignature,
                                   SdifDataTypeET dataType, SdifUInt4 nbRow, SdifUInt4 nbCol,
                                   void* data);

/* A text matrix of length rows and one eText column: bytes written. */
size_t SdifFWriteTextMatrix(SdifFileT* file, SdifSignature signature, size_t length,
                            const char* text);
/* A frame holding one such text matrix: bytes written. */
size_t SdifFWriteTextFrame(SdifFileT* file, SdifSignature frameSignature, SdifUInt4 numID,
                           SdifFloat8 time, SdifSignature matrixSignature, const char* text,
                           size_t length);
/* The same with the text of an SdifStringT, its terminating NUL included. */
size_t SdifFWriteTextFrameSdifString(SdifFileT* file, SdifSignature frameSignature, SdifUInt4 numID,
                                     SdifFloat8 time, SdifSignature matrixSignature,
                                     SdifStringT* text);

/* A chunk signature and a signed 32-bit size, the position kept in
** StartChunkPos: bytes written (8). */
size_t SdifFWriteChunkHeader(SdifFileT* file, SdifSignature signature, size_t size);

/* Write size into the size field of the chunk begun at StartChunkPos and come
** back.  Nothing is done on a stream that cannot seek.  Answers 0, or -1 when
** the position cannot be told or restored (notice printed). */
int SdifUpdateChunkSize(SdifFileT* file, size_t size);
/* Write Size and NbMatrix into the frame header written at StartChunkPos
** and come back (the current frame header takes them too).  Answers 0, or -1
** on a stream that cannot seek or when the position cannot be told or
** restored (notice printed). */
int SdifUpdateFrameHeader(SdifFileT* file, SdifUInt4 size, SdifInt4 nbMatrix);

#ifdef __cplusplus
}
#endif

#endif
