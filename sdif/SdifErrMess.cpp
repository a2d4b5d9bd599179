#include "SdifErrMess.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifFile.h"
#include "SdifList.h"
#include "SdifPrivate.h"

const char* const gSdifErrorLevel[] = {"Fatal Error", "Error", "Warning", "Remark", "Message"};

const SdifErrMessT gSdifErrMessFormat[] = {
    {eUnknown, eMessage, "Warning unknown"},
    {eNoError, eMessage, "No Error"},
    {eTypeDataNotSupported, eWarning, "Type of data not actualy supported : %s\n"},
    {eBadUserMess, eWarning, "Bad UserMess : '%s'\n"},
    {eEof, eFatal, "End of file : %s\n"},
    {eReDefined, eError, "%s redefined\n"},
    {eUnDefined, eError, "%s undefined\n"},
    {eSyntax, eWarning, "Syntax error: %s\n"},
    {eBadTypesFile, eWarning, "%s is not a Types Definitions file\n"},
    {eBadType, eWarning, "Bad Type used : %s\n"},
    {eBadHeader, eError, "Bad Sdif Header : %s\n"},
    {eRecursiveDeclaration, eWarning, "Recursive declaration detected : %s\n"},
    {eUninterpreted, eWarning, "Attempt to interpret %s failed\n"},
    {eOnlyOneChunk, eWarning, "There can be only 0 or 1 '%s' chunk.\n"},
    {eCompletedYet, eWarning, "%s has been completed in this file yet\n"},
    {eBadMode, eError, "Bad mode at sdif file opening (%d), %s\n"},
    {eBadStdFile, eError, "Bad standart file or bad mode (%d), %s\n"},
    {eReadWriteOnSameFile, eError, "Read file and Write file are the same file : %s"},
    {eBadFormatVersion, eError, "Bad Format Version : %s"},
    {eMatrixUsedYet, eWarning, "Matrix has been used in this frame yet : %s\n"},
    {eMatrixNotInFrame, eWarning, "Matrix is not in frames components : %s\n"},
    {eFreeNull, eFatal, "Attempt to free a NULL pointer : '%s'\n"},
    {eAllocFail, eFatal, "Attempt to allocate memory : '%s'\n"},
    {eArrayPosition, eFatal, "Attempt to access to a non-existing square in an array : '%s'\n"},
    {eFileNotFound, eWarning, "File not found or permission denied: \"%s\"\n"},
    {eInvalidPredefinedType, eWarning, "Invalid Predefined Type : %s\n"},
    {eAffectationOrder, eWarning, "Affectation must be in order : '%s'\n"},
    {eTypeDefinedYet, eWarning, "Type has been defined yet: '%s'\n"},
    {eNotInDataTypeUnion, eFatal, "Type of data Not in DataTypeUnion  : '%s'\n"},
    {eNotFound, eWarning, "Not Find : '%s'\n"},
    {eExistsYet, eWarning, "Object Exists Yet : '%s'\n"},
    {eWordCut, eWarning, "Word cut read : '%s'\n"},
    {eTokenLength, eFatal, "Token too long : '%s'\n"},
};

static const unsigned kSdifNbTags = sizeof gSdifErrMessFormat / sizeof gSdifErrMessFormat[0];

SdifExceptionFuncT gSdifErrorFunc = SdifDefaultErrorFunc;
SdifExceptionFuncT gSdifWarningFunc = SdifDefaultWarningFunc;
SdifExitFuncT gSdifExitFunc = SdifExit;
int gSdifErrorOutputEnabled = 1;

/* A tag outside the table (a cast integer) is treated as eUnknown. */
static const SdifErrMessT* SdifErrMessOf(SdifErrorTagET tag) {
    unsigned t = static_cast<unsigned>(tag);
    return &gSdifErrMessFormat[t < kSdifNbTags ? t : 0u];
}

static FILE* SdifErrStream(void) { return SdifStdErr ? SdifStdErr : stderr; }

void SdifSetErrorFunc(SdifExceptionFuncT func) { gSdifErrorFunc = func; }
void SdifSetWarningFunc(SdifExceptionFuncT func) { gSdifWarningFunc = func; }
void SdifSetExitFunc(SdifExitFuncT func) { gSdifExitFunc = func; }
void SdifEnableErrorOutput(void) { gSdifErrorOutputEnabled = 1; }
void SdifDisableErrorOutput(void) { gSdifErrorOutputEnabled = 0; }

int SdifFDiagnosticAllowed(SdifFileT* file) {
    if (!file) return 1;
    if (file->DiagnosticsPrinted < _SdifMaxDiagnostics) {
        ++file->DiagnosticsPrinted;
        return 1;
    }
    if (file->DiagnosticsPrinted == _SdifMaxDiagnostics) {
        ++file->DiagnosticsPrinted;
        std::fputs("*Sdif* further diagnostics for this file are not printed\n", SdifErrStream());
        std::fflush(SdifErrStream());
    }
    return 0;
}

void SdifDefaultErrorFunc(SdifErrorTagET, SdifErrorLevelET, char* text, SdifFileT* file,
                          SdifErrorT*, char*, int) {
    if (!gSdifErrorOutputEnabled || !SdifFDiagnosticAllowed(file)) return;
    /* fputs prints what printf(text) would for a text without '%'; with a
    ** '%' (a file name, a token) printf would read arguments that are not
    ** there. */
    std::fputs(text, SdifErrStream());
    std::fflush(SdifErrStream());
}

void SdifDefaultWarningFunc(SdifErrorTagET tag, SdifErrorLevelET level, char* text, SdifFileT* file,
                            SdifErrorT* error, char* srcFile, int srcLine) {
    SdifDefaultErrorFunc(tag, level, text, file, error, srcFile, srcLine);
}

void SdifExit(void) { std::exit(1); }

/* ---- records and lists ---- */

SdifErrorT* SdifCreateError(SdifErrorTagET tag, SdifErrorLevelET level, const char* text) {
    if (!text) text = "";
    SdifErrorT* error = static_cast<SdifErrorT*>(std::malloc(sizeof(SdifErrorT)));
    size_t length = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(length));
    if (!error || !copy) {
        std::free(error);
        std::free(copy);
        SDIF_ERROR(nullptr, eAllocFail, "Error allocation");
        return nullptr;
    }
    std::memcpy(copy, text, length);
    error->Tag = tag;
    error->Level = level;
    error->UserMess = copy;
    return error;
}

void SdifKillError(void* error) {
    if (!error) {
        SDIF_ERROR(nullptr, eFreeNull, "Error free");
        return;
    }
    std::free(static_cast<SdifErrorT*>(error)->UserMess);
    std::free(error);
}

SdifErrorLT* SdifCreateErrorL(SdifFileT* file) {
    SdifErrorLT* list = SdifCreateOwner(
        &SdifErrorLT::ErrorList, [] { return SdifCreateList(SdifKillError); }, "ErrorL allocation",
        SDIF_HERE);
    if (!list) return nullptr;
    list->SdifF = file;
    return list;
}

void SdifKillErrorL(SdifErrorLT* list) {
    SdifKillOwner(list, &SdifErrorLT::ErrorList, SdifKillList, "ErrorL free", SDIF_HERE);
}

int SdifInsertTailError(SdifErrorLT* list, unsigned int* counters, SdifErrorTagET tag,
                        const char* text) {
    SdifErrorLevelET level = static_cast<SdifErrorLevelET>(SdifErrMessOf(tag)->Level);
    unsigned int count = ++counters[level];
    /* A record that cannot be made is reported inside and kept as a null
    ** element, so that the list still counts the error. */
    SdifErrorT* error = SdifCreateError(tag, level, text);
    if (list && list->ErrorList) {
        /* Only the most recent records are kept: a file that reports without
        ** end must not hold memory without end. */
        while (SdifListGetNbData(list->ErrorList) >= _SdifMaxKeptErrors)
            SdifKillListHead(list->ErrorList);
        SdifListPutTail(list->ErrorList, error);
    } else if (error)
        SdifKillError(error); /* nowhere to keep it: only counted */
    return static_cast<int>(count);
}

SdifErrorT* SdifLastError(SdifErrorLT* list) {
    if (!list || !list->ErrorList) return nullptr;
    return static_cast<SdifErrorT*>(SdifListGetTail(list->ErrorList));
}

SdifErrorTagET SdifLastErrorTag(SdifErrorLT* list) {
    SdifErrorT* error = SdifLastError(list);
    return error ? error->Tag : eNoError;
}

SdifErrorT* SdifFLastError(SdifFileT* file) { return SdifLastError(file->Errors); }

SdifErrorTagET SdifFLastErrorTag(SdifFileT* file) { return SdifLastErrorTag(file->Errors); }

unsigned int SdifFNumErrors(SdifFileT* file, SdifErrorLevelET upto) {
    unsigned int sum = 0;
    switch (upto) {
        case eMessage:
            sum += file->ErrorCount[eMessage];
            [[fallthrough]];
        case eRemark:
            sum += file->ErrorCount[eRemark];
            [[fallthrough]];
        case eWarning:
            sum += file->ErrorCount[eWarning];
            [[fallthrough]];
        case eError:
            sum += file->ErrorCount[eError];
            [[fallthrough]];
        case eFatal:
            sum += file->ErrorCount[eFatal];
            break;
        default:
            SdifAssert(!"illegal argument for SdifErrorLevelET");
    }
    return sum;
}

/* ---- the diagnostic ---- */

/* Four characters, most significant first, into buf[5]; independent of the
** thread's signature buffers and of the start-up. */
static const char* SdifSigText(SdifSignature sig, char* buf) {
    for (int i = 0; i < 4; i++) buf[i] = static_cast<char>((sig >> (24 - 8 * i)) & 0xFF);
    buf[4] = '\0';
    return buf;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

void SdifFsPrintError(char* buffer, unsigned int size, SdifFileT* file, SdifErrorTagET tag,
                      const char* text, const char* /*srcFile*/, int /*srcLine*/) {
    char head[512], pos[80] = "", textFile[512] = "", frame[512] = "", matrix[512] = "";
    char mess[_SdifStringLen];
    const SdifErrMessT* entry = SdifErrMessOf(tag);
    if (!text) text = "(null)";

    std::snprintf(head, sizeof head, "*Sdif* %s %d:\n  SdifFile: %s", gSdifErrorLevel[entry->Level],
                  static_cast<int>(tag), file ? (file->Name ? file->Name : "") : "(no sdiffile)");

    if (file) {
        if (file->Stream) {
            file->Pos = std::ftell(file->Stream);
            /* ftell answers -1 on a pipe: no position rather than a huge one. */
            if (file->Pos > 0) {
                unsigned long p = static_cast<unsigned long>(file->Pos);
                std::snprintf(pos, sizeof pos, " (byte:%6lu=0x%04lx=0%06lo)", p, p, p);
            }
        }
        if (file->TextStream)
            std::snprintf(textFile, sizeof textFile, ", TextFile: %s\n",
                          file->TextStreamName ? file->TextStreamName : "");
        else
            std::strcpy(textFile, "\n");

        char sig[5];
        if (SdifFrameHeaderT* h = file->CurrFramH)
            std::snprintf(frame, sizeof frame,
                          "  FramH : %s   Size: 0x%04x   NbMatrix: %u   NumID: %u   Time: %g\n",
                          SdifSigText(h->Signature, sig), h->Size, h->NbMatrix, h->NumID, h->Time);
        if (SdifMatrixHeaderT* h = file->CurrMtrxH; h && h->Signature != 0)
            std::snprintf(matrix, sizeof matrix,
                          "  MtrxH :   %s   DataWidth: %04x   Rows: %d   Columns: %d\n",
                          SdifSigText(h->Signature, sig),
                          static_cast<unsigned>(h->DataType) & 0xFFFF, static_cast<int>(h->NbRow),
                          static_cast<int>(h->NbCol));
    }

    if (tag == eBadMode || tag == eBadStdFile)
        std::snprintf(mess, sizeof mess, entry->UserMess,
                      file ? static_cast<int>(static_cast<unsigned char>(file->Mode)) : -1, text);
    else
        std::snprintf(mess, sizeof mess, entry->UserMess, text);

    std::snprintf(buffer, size, "%s%s%s%s%s--> %s\n", head, pos, textFile, frame, matrix, mess);
}

#pragma GCC diagnostic pop

unsigned int SdifFError(SdifFileT* file, SdifErrorTagET tag, const char* text, const char* srcFile,
                        int srcLine) {
    const SdifErrMessT* entry = SdifErrMessOf(tag);
    SdifErrorLevelET level = static_cast<SdifErrorLevelET>(entry->Level);
    unsigned int count = 0;
    SdifErrorT* last = nullptr;

    if (file) {
        count = static_cast<unsigned int>(
            SdifInsertTailError(file->Errors, file->ErrorCount, tag, text));
        last = SdifLastError(file->Errors);
    }

    char composed[4096];
    SdifFsPrintError(composed, sizeof composed, file, tag, text, srcFile, srcLine);
    char* src = const_cast<char*>(srcFile ? srcFile : "");

    switch (level) {
        case eFatal:
        case eError:
            if (gSdifErrorFunc) gSdifErrorFunc(tag, level, composed, file, last, src, srcLine);
            if (level == eFatal) {
                if (gSdifExitFunc)
                    gSdifExitFunc();
                else
                    SdifExit();
            }
            break;
        case eWarning:
            if (gSdifWarningFunc) gSdifWarningFunc(tag, level, composed, file, last, src, srcLine);
            break;
        default:
            if (gSdifErrorOutputEnabled && SdifFDiagnosticAllowed(file))
                std::fputs(composed, SdifErrStream());
            break;
    }
    return count;
}
