/* Types shared by every module of the SDIF file library: cell types,
** signatures, error tags and levels, open modes, and the records that hang off
** the file object.  The file object itself is in SdifFile.h. */
#ifndef SDIF_GLOBALS_H
#define SDIF_GLOBALS_H

#include <cstddef>
#include <cstdio>

#include "SdifAssert.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef float SdifFloat4;
typedef double SdifFloat8;
typedef signed char SdifInt1;
typedef short SdifInt2;
typedef int SdifInt4;
typedef unsigned char SdifUInt1;
typedef unsigned short SdifUInt2;
typedef unsigned int SdifUInt4;
typedef char SdifChar;

/* Four characters, first one in the most significant byte (1TRC = 0x31545243). */
typedef unsigned int SdifSignature;

/* Stream position as ftell answers it. */
typedef long SdiffPosT;

/* Largest padding read in one go, and the size of every message scratch buffer. */
#define _SdifStringLen 1024

/* Cell type: high byte the kind, low byte the width in bytes. */
typedef enum SdifDataTypeE {
    eFloat4 = 0x0004,
    eFloat8 = 0x0008,
    eInt1 = 0x0101,
    eInt2 = 0x0102,
    eInt4 = 0x0104,
    eInt8 = 0x0108,
    eUInt1 = 0x0201,
    eUInt2 = 0x0202,
    eUInt4 = 0x0204,
    eUInt8 = 0x0208,
    eText = 0x0301
} SdifDataTypeET;

typedef enum SdifFileModeE {
    eUnknownFileMode = 0,
    eWriteFile = 1,
    eReadFile = 2,
    eReadWriteFile = 3,
    ePredefinedTypes = 4
} SdifFileModeET;

typedef enum SdifErrorLevelE { eFatal = 0, eError, eWarning, eRemark, eMessage, eNumLevels } SdifErrorLevelET;

typedef enum SdifErrorTagE {
    eUnknown = 0,
    eNoError,
    eTypeDataNotSupported,
    eBadUserMess,
    eEof,
    eReDefined,
    eUnDefined,
    eSyntax,
    eBadTypesFile,
    eBadType,
    eBadHeader,
    eRecursiveDeclaration,
    eUninterpreted,
    eOnlyOneChunk,
    eCompletedYet,
    eBadMode,
    eBadStdFile,
    eReadWriteOnSameFile,
    eBadFormatVersion,
    eMatrixUsedYet,
    eMatrixNotInFrame,
    eFreeNull,
    eAllocFail,
    eArrayPosition,
    eFileNotFound,
    eInvalidPredefinedType,
    eAffectationOrder,
    eTypeDefinedYet,
    eNotInDataTypeUnion,
    eNotFound,
    eExistsYet,
    eWordCut,
    eTokenLength
} SdifErrorTagET;

/* Whether a type may still receive columns or components. */
typedef enum SdifModifModeE { eNoModif = 0, eCanModif = 1 } SdifModifModeET;

/* Frees the data of a list node or hash entry. */
typedef void (*KillerFT)(void*);

struct SdifFileS;
typedef struct SdifFileS SdifFileT;

/* ---- lists (SdifList.h) ---- */

typedef struct SdifListNS {
    struct SdifListNS* Next; /* next node, or none */
    void* Data;              /* the element */
} SdifListNT;

typedef struct SdifListNStockS {
    SdifListNT* StockList;            /* newest block; slot 0 links to the previous block */
    unsigned int SizeOfOneStock;      /* nodes per block (1024) */
    unsigned int NbStock;             /* number of blocks */
    unsigned int NbNodesUsedInCurrStock; /* next unused slot of the newest block */
    SdifListNT* Trash;                /* nodes given back, reused first */
} SdifListNStockT;

typedef struct SdifListS {
    SdifListNT* Head;
    SdifListNT* Tail;
    SdifListNT* Curr;       /* iteration cursor */
    KillerFT Killer;        /* frees removed elements, or none */
    unsigned int NbData;    /* number of elements */
    SdifListNStockT* Stock; /* node stock of the thread that made the list */
} SdifListT;

/* ---- hash tables (SdifHash.h) ---- */

typedef enum SdifHashIndexTypeE { eHashChar = 0, eHashInt4 = 1 } SdifHashIndexTypeET;

typedef union SdifHashIndexU {
    char* Char[1];         /* private copy of a character key */
    unsigned int Int4[1];  /* integer key */
} SdifHashIndexUT;

typedef struct SdifHashNS {
    struct SdifHashNS* Next;
    SdifHashIndexUT Index;
    void* Data;
} SdifHashNT;

typedef struct SdifHashTableS {
    SdifHashNT** Table;            /* bucket array */
    unsigned int HashSize;         /* number of buckets */
    SdifHashIndexTypeET IndexType; /* character or integer keys */
    KillerFT Killer;               /* frees an entry's data, or none */
    unsigned int NbOfData;         /* number of entries */
} SdifHashTableT;

/* ---- signature tables (SdifSignatureTab.h) ---- */

typedef struct SdifSignatureTabS {
    unsigned int NbSignMax; /* capacity */
    unsigned int NbSign;    /* entries in use */
    SdifSignature* Tab;     /* zero-filled at creation */
} SdifSignatureTabT;

/* ---- in-memory text (SdifString.h) ---- */

typedef struct SdifStringS {
    char* str;           /* the characters, NUL-terminated */
    size_t TotalSize;    /* capacity in bytes (128 at creation) */
    size_t SizeW;        /* length written */
    int NbCharRead;      /* read position */
} SdifStringT;

/* ---- per-thread scratch record (SdifRWLowLevel.h) ---- */

typedef struct SdifGlobalsS {
    char sigstr[8][5];        /* round-robin texts of SdifSignatureToString */
    unsigned int sigstridx;   /* next buffer, 0 to 7 */
    SdifListNStockT nodestock; /* list nodes of this thread */
} SdifGlobalsT;

/* ---- errors (SdifErrMess.h) ---- */

typedef struct SdifErrorS {
    SdifErrorTagET Tag;
    SdifErrorLevelET Level;
    char* UserMess; /* owned copy of the caller's text */
} SdifErrorT;

typedef struct SdifErrorLS {
    SdifListT* ErrorList;   /* of SdifErrorT, killed with SdifKillError */
    SdifFileT* SdifF;       /* owning file */
} SdifErrorLT;

/* Error and warning callbacks: tag, level, composed text, file (or none), the
** record just appended (or none), caller's source file and line. */
typedef void (*SdifExceptionFuncT)(SdifErrorTagET, SdifErrorLevelET, char*, SdifFileT*, SdifErrorT*,
                                   char*, int);
typedef void (*SdifExitFuncT)(void);

/* ---- selections (SdifSelect.h) ---- */

/* Token numbers of the selection symbols; also the range types of elements. */
typedef enum SdifSelectTokens {
    sst_specsep = 0, /* "::" */
    sst_stream,      /* "#" */
    sst_frame,       /* ":" */
    sst_matrix,      /* "/" */
    sst_column,      /* "." */
    sst_row,         /* "_" */
    sst_time,        /* "@" */
    sst_list,        /* "," */
    sst_range,       /* "-" */
    sst_delta,       /* "+" */
    sst_num,         /* no symbol */
    sst_norange = 0  /* range type of a single value */
} SdifSelectTokens;

typedef union SdifSelectValueS {
    SdifInt4 integer;
    SdifFloat8 real;
    char* string;
    SdifSignature signature;
} SdifSelectValueT;

typedef struct SdifSelectElementS {
    SdifSelectValueT value;
    SdifSelectValueT range;     /* second value of a range or delta */
    SdifSelectTokens rangetype; /* sst_norange, sst_range or sst_delta */
} SdifSelectElementT;

typedef struct SdifSelectIntMaskS {
    int num;     /* distinct values marked */
    int max;     /* largest value */
    int* mask;   /* max + 1 flags (at most _SdifSelectMaskCap, SdifSelect.h), or none */
    int openend; /* answer for values above max, or for an empty list */
    SdifListT* list; /* elements it was built from, for values beyond the flags */
} SdifSelectIntMaskT;

typedef struct SdifSelectionS {
    char* filename;
    char* basename;
    SdifListT* stream; /* of SdifSelectElementT */
    SdifListT* frame;
    SdifListT* matrix;
    SdifListT* column;
    SdifListT* row;
    SdifListT* time;
    SdifSelectIntMaskT streammask;
    SdifSelectIntMaskT rowmask;
    SdifSelectIntMaskT colmask;
} SdifSelectionT;

/* ---- name-value tables (SdifNameValue.h) ---- */

typedef struct SdifNameValueS {
    char* Name;
    char* Value;
} SdifNameValueT;

typedef struct SdifNameValueTableS {
    SdifHashTableT* NVHT;  /* character keys (name with its NUL), entries free their pair */
    unsigned int NumTable; /* counted from 1 in order of creation */
    unsigned int StreamID;
} SdifNameValueTableT;

typedef struct SdifNameValuesLS {
    SdifListT* NVTList;          /* of SdifNameValueTableT, in creation order */
    SdifNameValueTableT* CurrNVT; /* where puts and lookups go */
    unsigned int HashSize;       /* buckets of each new table */
} SdifNameValuesLT;

/* ---- stream IDs (SdifStreamID.h) ---- */

typedef struct SdifStreamIDS {
    unsigned int NumID;
    char* Source;
    char* TreeWay;
} SdifStreamIDT;

typedef struct SdifStreamIDTableS {
    SdifHashTableT* SIDHT; /* integer keys (stream number) */
    unsigned int StreamID; /* 0xFFFFFFFE at creation */
} SdifStreamIDTableT;

/* ---- types (SdifMatrixType.h, SdifFrameType.h) ---- */

typedef struct SdifColumnDefS {
    char* Name;
    unsigned int Num; /* from 1, across predefined then user columns */
} SdifColumnDefT;

typedef struct SdifMatrixTypeS {
    SdifSignature Signature;
    struct SdifMatrixTypeS* MatrixTypePre; /* predefined type of the same signature */
    SdifListT* ColumnUserList;             /* of SdifColumnDefT, declaration order */
    unsigned int NbColumnDef;              /* total, starting at the predefined count */
    SdifModifModeET ModifMode;
} SdifMatrixTypeT;

typedef struct SdifComponentS {
    SdifSignature MtrxS;
    char* Name;
    unsigned int Num; /* from 1, across predefined then user components */
} SdifComponentT;

typedef struct SdifFrameTypeS {
    SdifSignature Signature;
    struct SdifFrameTypeS* FrameTypePre; /* predefined type of the same signature */
    SdifHashTableT* ComponentUseHT;      /* 13 buckets, keyed by matrix signature */
    unsigned int NbComponentUse;         /* components added by the file */
    unsigned int NbComponent;            /* total, starting at the predefined count */
    SdifModifModeET ModifMode;
} SdifFrameTypeT;

/* ---- frames and matrices (SdifFrame.h, SdifMatrix.h) ---- */

typedef struct SdifFrameHeaderS {
    SdifSignature Signature;
    SdifUInt4 Size; /* bytes after the size field; 0xFFFFFFFF when unknown */
    SdifUInt4 NbMatrix;
    SdifUInt4 NumID;
    SdifFloat8 Time;
} SdifFrameHeaderT;

#define _SdifUnknownSize 0xFFFFFFFFu

typedef struct SdifMatrixHeaderS {
    SdifSignature Signature;
    SdifDataTypeET DataType;
    SdifUInt4 NbRow;
    SdifUInt4 NbCol;
} SdifMatrixHeaderT;

typedef union DataTypeU {
    SdifFloat4* Float4;
    SdifFloat8* Float8;
    SdifInt1* Int1;
    SdifInt2* Int2;
    SdifInt4* Int4;
    SdifUInt1* UInt1;
    SdifUInt2* UInt2;
    SdifUInt4* UInt4;
    SdifChar* Char;
    void* Void;
} DataTypeUT;

typedef struct SdifOneRowS {
    SdifDataTypeET DataType;
    SdifUInt4 NbData;     /* columns */
    DataTypeUT Data;      /* cells */
    SdifUInt4 NbGranule;  /* allocated bytes */
} SdifOneRowT;

typedef struct SdifMatrixDataS {
    SdifMatrixHeaderT* Header;
    int ForeignHeader;    /* the header is borrowed, not owned */
    SdifUInt4 Size;       /* bytes of cells */
    DataTypeUT Data;
    SdifUInt4 AllocSize;  /* allocated bytes */
} SdifMatrixDataT;

/* ---- time positions (SdifTimePosition.h) ---- */

typedef struct SdifTimePositionS {
    SdifFloat8 Time;
    SdiffPosT Pos;
} SdifTimePositionT;

typedef struct SdifTimePositionLS {
    SdifListT* TimePosList; /* of SdifTimePositionT */
} SdifTimePositionLT;

#ifdef __cplusplus
}
#endif

#endif
