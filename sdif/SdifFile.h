/* The file object through which every SDIF file is read or written, the
** start-up and shut-down of the library, opening modes, the general header
** and the ASCII chunks that follow it. */
#ifndef SDIF_FILE_H
#define SDIF_FILE_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MaxUserData 10

struct SdifFileS {
    char* Name; /* name without its selection; "" when none */
    SdifFileModeET Mode;
    int isSeekable;                     /* 1 for an ordinary file, 0 for a standard stream */
    SdifUInt4 FormatVersion;            /* 3 at creation, then as read */
    SdifUInt4 TypesVersion;             /* 1 at creation, then as read */
    SdifNameValuesLT* NameValues;       /* hash size 31 */
    SdifHashTableT* MatrixTypesTable;   /* 127 buckets, integer keys */
    SdifHashTableT* FrameTypesTable;    /* 127 buckets, integer keys */
    SdifStreamIDTableT* StreamIDsTable; /* hash size 1 */
    SdifTimePositionLT* TimePositions;
    SdifSelectionT* Selection; /* parsed from the name */
    FILE* Stream;              /* binary stream, or none */

    SdifSignature CurrSignature;  /* chunk signature last read */
    SdifFrameHeaderT* CurrFramH;  /* created on first use */
    SdifMatrixHeaderT* CurrMtrxH; /* created on first use */
    SdifFrameTypeT* CurrFramT;    /* type of the current frame, or none */
    SdifMatrixTypeT* CurrMtrxT;   /* type of the current matrix, or none */
    SdifFloat8 PrevTime;          /* most negative double at creation */
    SdifSignatureTabT* MtrxUsed;  /* matrices met in the current frame, capacity 16 */
    SdifOneRowT* CurrOneRow;      /* eFloat4, 1 column at creation */
    SdifMatrixDataT* CurrMtrxData;

    /* bookkeeping of the chunk being read or written */
    SdiffPosT FileSize;      /* bytes of a seekable file, -1 when unknown */
    SdifUInt4 ChunkSize;     /* size field of the current chunk */
    SdiffPosT CurrFramPos;   /* position of the current frame's header */
    SdiffPosT StartChunkPos; /* position of the current chunk's signature */
    SdiffPosT Pos;           /* byte position refreshed by the diagnostics */
    int TypeDefPass;         /* a 1TYP chunk was read */
    int StreamIDPass;        /* a 1IDS chunk was read */

    char* TextStreamName; /* private copy, when a text stream is open */
    FILE* TextStream;     /* text stream, or none */

    unsigned int ErrorCount[5]; /* one per level: fatal, error, warning, remark, message */
    SdifErrorLT* Errors;
    unsigned int DiagnosticsPrinted; /* by SdifFDiagnosticAllowed */

    int NbUserData;
    void* UserData[MaxUserData];
};

/* What the layers above read of a file; they go through these rather than
** the fields, so that the fields stay the library's own business. */
inline SdifSelectionT* SdifFGetSelection(SdifFileT* file) { return file->Selection; }
inline FILE* SdifFGetStream(SdifFileT* file) { return file->Stream; }
inline int SdifFIsSeekable(SdifFileT* file) { return file->isSeekable; }
/* Bytes of a seekable file, -1 when unknown. */
inline SdiffPosT SdifFGetFileSize(SdifFileT* file) { return file->FileSize; }
inline SdifUInt4 SdifFFormatVersion(SdifFileT* file) { return file->FormatVersion; }
inline SdifUInt4 SdifFTypesVersion(SdifFileT* file) { return file->TypesVersion; }
/* Where the chunk last begun (its signature) stands in the stream. */
inline SdiffPosT SdifFStartChunkPos(SdifFileT* file) { return file->StartChunkPos; }
/* The current matrix header (none before the first) and its type (none
** when the header failed the library's checks). */
inline SdifMatrixHeaderT* SdifFCurrMatrixHeader(SdifFileT* file) { return file->CurrMtrxH; }
inline SdifMatrixTypeT* SdifFCurrMatrixType(SdifFileT* file) { return file->CurrMtrxT; }

/* Library state. */
extern int gSdifInitialised;
extern SdifFileT* gSdifPredefinedTypes; /* hidden file "Predefined" */

/* Start the library (once per process); types from typesFileName, else from
** "SdifTypes.STYP" in the current directory, else the built-in types. */
void SdifGenInit(const char* typesFileName);
/* Start it only when not yet started. */
void SdifGenInitCond(const char* typesFileName);
void SdifGenKill(void);
void SdifPrintVersion(void);

/* Open name (which may carry "::selection") in mode; none on failure. */
SdifFileT* SdifFOpen(const char* name, SdifFileModeET mode);
/* Open the text stream of file; answers file, or none on failure. */
SdifFileT* SdifFOpenText(SdifFileT* file, const char* name, SdifFileModeET mode);
void SdifFClose(SdifFileT* file);

/* Types of file from the text file typesFileName, or from the built-in
** declarations when the name is empty or the file cannot be opened. */
void SdifFLoadPredefinedTypes(SdifFileT* file, const char* typesFileName);
/* The small set of types built in code (1FQ0, 1FOF, 1CHA, 1RES, 1DIS and the
** frames 1FOB, 1REB, 1NOI); answers file. */
SdifFileT* SdifTakeCodedPredefinedTypes(SdifFileT* file);
void SdifCreatePredefinedTypes(SdifHashTableT* matrixTypesTable, SdifHashTableT* frameTypesTable);
/* The full predefined set parsed from the built-in declarations; answers file. */
SdifFileT* SdifTakeCodedPredefinedTypesfromString(SdifFileT* file);
/* The built-in declarations (1MTD and 1FTD lines). */
const char* SdifPredefinedTypesText(void);

/* General header: bytes read (0 on failure) or written. */
size_t SdifFReadGeneralHeader(SdifFileT* file);
size_t SdifFWriteGeneralHeader(SdifFileT* file);
size_t SdifFScanGeneralHeader(SdifFileT* file);

/* ASCII chunks (1NVT, 1TYP, 1IDS) after the header. */
size_t SdifFReadAllASCIIChunks(SdifFileT* file);
size_t SdifFWriteAllASCIIChunks(SdifFileT* file);
size_t SdifFScanAllASCIIChunks(SdifFileT* file);

/* Next signature into CurrSignature: 1, or 4 (eEof) at end of file. */
int SdifFGetSignature(SdifFileT* file, size_t* nbBytesRead);

SdifSignature SdifFCurrSignature(SdifFileT* file);
SdifSignature SdifFCleanCurrSignature(SdifFileT* file);
SdifSignature SdifFCurrFrameSignature(SdifFileT* file);
SdifSignature SdifFCurrMatrixSignature(SdifFileT* file);
SdifUInt4 SdifFCurrNbMatrix(SdifFileT* file);
SdifUInt4 SdifFCurrID(SdifFileT* file);
SdifFloat8 SdifFCurrTime(SdifFileT* file);
SdifUInt4 SdifFCurrNbCol(SdifFileT* file);
SdifUInt4 SdifFCurrNbRow(SdifFileT* file);
SdifDataTypeET SdifFCurrDataType(SdifFileT* file);
SdifOneRowT* SdifFCurrOneRow(SdifFileT* file);
void* SdifFCurrOneRowData(SdifFileT* file);
SdifFloat8 SdifFCurrOneRowCol(SdifFileT* file, SdifUInt4 column);
SdifFloat8 SdifFCurrOneRowColName(SdifFileT* file, SdifMatrixTypeT* matrixType,
                                  const char* columnName);
SdifOneRowT* SdifFSetCurrOneRow(SdifFileT* file, void* values);
SdifOneRowT* SdifFSetCurrOneRowCol(SdifFileT* file, SdifUInt4 column, SdifFloat8 value);
SdifMatrixDataT* SdifFCurrMatrixData(SdifFileT* file);
void* SdifFCurrMatrixDataPointer(SdifFileT* file);
SdifHashTableT* SdifFGetMatrixTypesTable(SdifFileT* file);
SdifHashTableT* SdifFGetFrameTypesTable(SdifFileT* file);
SdifNameValuesLT* SdifFNameValueList(SdifFileT* file);
int SdifFNameValueNum(SdifFileT* file);
SdifStreamIDTableT* SdifFStreamIDTable(SdifFileT* file);
SdifFrameHeaderT* SdifFCreateCurrFramH(SdifFileT* file, SdifSignature signature);
SdifMatrixHeaderT* SdifFCreateCurrMtrxH(SdifFileT* file);

SdifSignatureTabT* SdifFReInitMtrxUsed(SdifFileT* file);
SdifSignature SdifFIsInMtrxUsed(SdifFileT* file, SdifSignature signature);
SdifSignatureTabT* SdifFPutInMtrxUsed(SdifFileT* file, SdifSignature signature);

int SdifFAddUserData(SdifFileT* file, void* data);
void* SdifFGetUserData(SdifFileT* file, int index);

int SdifFRewind(SdifFileT* file);
int SdifFGetPos(SdifFileT* file, SdiffPosT* pos);
int SdifFSetPos(SdifFileT* file, SdiffPosT* pos);
int SdifFTruncate(SdifFileT* file);

FILE* SdifFGetFILE_SwitchVerbose(SdifFileT* file, int which);

/* 1 when name opens for reading and begins with "SDIF". */
int SdifCheckFileFormat(const char* name);
SdifSignature SdifCheckNextFrame(SdifFileT* file, SdifSignatureTabT* signatures, int* index);

#ifdef __cplusplus
}
#endif

#endif
