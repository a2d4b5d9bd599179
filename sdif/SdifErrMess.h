/* Error reporting of the SDIF file library: one entry point, SdifFError,
** that records the error on its file, composes a diagnostic of the file's
** state and hands it to the error, warning or exit callback. */
#ifndef SDIF_ERR_MESS_H
#define SDIF_ERR_MESS_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One row of the tag table: tag, level, message format (the caller's text
** is its one %s; tags 15 and 16 take the open mode %d first). */
typedef struct SdifErrMessS {
    unsigned char Tag;   /* SdifErrorTagET */
    unsigned char Level; /* SdifErrorLevelET */
    const char* UserMess;
} SdifErrMessT;

/* Indexed by tag (eUnknown to eTokenLength). */
extern const SdifErrMessT gSdifErrMessFormat[];
/* Printed level names, indexed by level. */
extern const char* const gSdifErrorLevel[];

/* Stream of every notice and diagnostic (also declared in SdifHard_OS.h). */
extern FILE* SdifStdErr;

/* Callbacks and output switch, process-wide. */
extern SdifExceptionFuncT gSdifErrorFunc;   /* Fatal and Error levels */
extern SdifExceptionFuncT gSdifWarningFunc; /* Warning level */
extern SdifExitFuncT gSdifExitFunc;         /* after the error callback, Fatal only */
extern int gSdifErrorOutputEnabled;         /* 1 at start */

/* Report one error.  file may be none.  srcFile (base name) and srcLine go
** unchanged to the callbacks.  Answers the file's updated counter for the
** tag's level, 0 without a file.
** A report may unwind: an error callback may throw (the object layer's
** does), so a caller holds nothing it would leak or leave half-made across
** the call -- free or attach what it allocated first. */
unsigned int SdifFError(SdifFileT* file, SdifErrorTagET tag, const char* text, const char* srcFile,
                        int srcLine);

/* Compose the diagnostic into buffer (at most size bytes, truncated like
** snprintf).  Refreshes file->Pos from the stream. */
void SdifFsPrintError(char* buffer, unsigned int size, SdifFileT* file, SdifErrorTagET tag,
                      const char* text, const char* srcFile, int srcLine);

void SdifSetErrorFunc(SdifExceptionFuncT func);
void SdifSetWarningFunc(SdifExceptionFuncT func);
void SdifSetExitFunc(SdifExitFuncT func);
void SdifEnableErrorOutput(void);
void SdifDisableErrorOutput(void);

/* Diagnostics printed for one opened file before the rest are withheld, so
** that a broken file cannot print without end. */
#define _SdifMaxDiagnostics 10000
/* Whether one more diagnostic about file (its error reports and notices
** alike) may be printed; always without a file.  A yes is counted.  Past
** _SdifMaxDiagnostics the first no prints, in its stead, the line "*Sdif*
** further diagnostics for this file are not printed"; later ones print
** nothing. */
int SdifFDiagnosticAllowed(SdifFileT* file);

/* Print text on SdifStdErr and flush, when output is enabled and
** SdifFDiagnosticAllowed(file). */
void SdifDefaultErrorFunc(SdifErrorTagET tag, SdifErrorLevelET level, char* text, SdifFileT* file,
                          SdifErrorT* error, char* srcFile, int srcLine);
void SdifDefaultWarningFunc(SdifErrorTagET tag, SdifErrorLevelET level, char* text, SdifFileT* file,
                            SdifErrorT* error, char* srcFile, int srcLine);
/* End the process with status 1. */
void SdifExit(void);

/* A file's error list; none, after an eAllocFail report, when memory is out. */
SdifErrorLT* SdifCreateErrorL(SdifFileT* file);
/* Free the list and its records; none reports eFreeNull. */
void SdifKillErrorL(SdifErrorLT* list);
/* One record holding a copy of text; none when memory is out. */
SdifErrorT* SdifCreateError(SdifErrorTagET tag, SdifErrorLevelET level, const char* text);
/* Free a record (a KillerFT); none reports eFreeNull. */
void SdifKillError(void* error);

/* Records a file's error list keeps: the most recent ones.  The counters
** still count every error. */
#define _SdifMaxKeptErrors 256
/* Count the error in counters (one per level) and append its record to
** list, dropping its oldest record when it holds _SdifMaxKeptErrors already;
** answers the updated counter. */
int SdifInsertTailError(SdifErrorLT* list, unsigned int* counters, SdifErrorTagET tag,
                        const char* text);
/* Last record, or none for an empty list. */
SdifErrorT* SdifLastError(SdifErrorLT* list);
/* Tag of the last record, or eNoError (1) for an empty list. */
SdifErrorTagET SdifLastErrorTag(SdifErrorLT* list);
SdifErrorT* SdifFLastError(SdifFileT* file);
SdifErrorTagET SdifFLastErrorTag(SdifFileT* file);
/* Errors recorded on file at levels eFatal up to and including upto. */
unsigned int SdifFNumErrors(SdifFileT* file, SdifErrorLevelET upto);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
/* The base name of a source path: reports name their source file so. */
constexpr const char* SdifSourceName(const char* path) {
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\') name = p + 1;
    return name;
}

/* Report from the calling source file and line: SdifFError with the
** position filled in. */
#define SDIF_ERROR(file, tag, text) SdifFError(file, tag, text, SdifSourceName(__FILE__), __LINE__)
#endif

#endif
