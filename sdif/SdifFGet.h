/* Type declarations in text (1MTD and 1FTD inside a 1TYP chunk), read from a
** stream of the file or from an in-memory text, the binary 1TYP chunk, and
** the file's own types rendered back as declaration text. */
#ifndef SDIF_FGET_H
#define SDIF_FGET_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* verbose: 's' reads the binary stream, 't' the text stream.  Every reader
** answers the number of characters read. */

/* A brace-enclosed list of declarations; prints the intermediate-format
** warning when reading the binary stream. */
size_t SdifFGetAllType(SdifFileT* file, int verbose);
/* Declarations up to a closing brace or the end of text (no opening brace). */
size_t SdifFGetAllTypefromSdifString(SdifFileT* file, SdifStringT* text);

/* One declaration after its 1MTD or 1FTD keyword. */
size_t SdifFGetOneMatrixType(SdifFileT* file, int verbose);
size_t SdifFGetOneMatrixTypefromSdifString(SdifFileT* file, SdifStringT* text);
size_t SdifFGetOneFrameType(SdifFileT* file, int verbose);
size_t SdifFGetOneFrameTypefromSdifString(SdifFileT* file, SdifStringT* text);

/* One component "<matrix signature> <name>;" into matrixSignature and name
** (_SdifStringLen bytes); matrixSignature is 0 when the list ended. */
size_t SdifFGetOneComponent(SdifFileT* file, int verbose, SdifSignature* matrixSignature,
                            char* name);
size_t SdifFGetOneComponentfromSdifString(SdifFileT* file, SdifStringT* text,
                                          SdifSignature* matrixSignature, char* name);

/* 1TYP chunk of a binary file whose signature was just read: bytes read. */
size_t SdifFReadAllType(SdifFileT* file);
/* One declaration of the intermediate form, straight from the binary stream. */
size_t SdifFReadOneMatrixType(SdifFileT* file);
size_t SdifFReadOneFrameType(SdifFileT* file);

/* One 1TYP text frame with the declarations of the file's own types: bytes
** written, 0 when there is nothing to declare. */
size_t SdifFWriteAllType(SdifFileT* file);

/* Append the declarations of the file's own matrix (frame) types to text, in
** the built-in declaration syntax; answers the number of declarations. */
int SdifFAllMatrixTypeToSdifString(SdifFileT* file, SdifStringT* text);
int SdifFAllFrameTypeToSdifString(SdifFileT* file, SdifStringT* text);

#ifdef __cplusplus
}
#endif

#endif
