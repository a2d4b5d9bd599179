#include "SdifFile.h"

#include <cctype>
#include <cfloat>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFGet.h"
#include "SdifFRead.h"
#include "SdifFrame.h"
#include "SdifFrameType.h"
#include "SdifHard_OS.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifMatrix.h"
#include "SdifMatrixType.h"
#include "SdifNameValue.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"
#include "SdifSignatureTab.h"
#include "SdifStreamID.h"
#include "SdifString.h"
#include "SdifTimePosition.h"

SdifFileT* gSdifPredefinedTypes = nullptr;

namespace {

constexpr SdifSignature kSDIF = SdifSignatureConst("SDIF");
constexpr SdifSignature k1NVT = SdifSignatureConst("1NVT");
constexpr SdifSignature k1TYP = SdifSignatureConst("1TYP");
constexpr SdifSignature k1IDS = SdifSignatureConst("1IDS");
constexpr SdifSignature kENDF = SdifSignatureConst("ENDF");
constexpr SdifSignature kSDFC = SdifSignatureConst("SDFC");
constexpr SdifSignature kENDC = SdifSignatureConst("ENDC");

constexpr SdifUInt4 kFormatVersion = 3;
constexpr SdifUInt4 kTypesVersion = 1;
/* Stream ID given to the name-value tables read from a file's 1NVT chunks. */
constexpr unsigned int kNVTStreamID = 0xFFFFFFFDu;
constexpr const char* kTypesFileName = "SdifTypes.STYP";

char* CopyText(const char* s) {
    size_t n = std::strlen(s) + 1;
    char* copy = (char*)std::malloc(n);
    if (copy) std::memcpy(copy, s, n);
    return copy;
}

bool IsStdStream(FILE* f) { return f == stdin || f == stdout || f == stderr; }

void CloseStream(FILE* f) {
    if (!f) return;
    if (IsStdStream(f))
        std::fflush(f);
    else
        std::fclose(f);
}

/* Bytes of a stream that can seek, -1 for a pipe or a terminal. */
SdiffPosT StreamSize(FILE* f) {
    long here = std::ftell(f);
    if (here < 0 || std::fseek(f, 0, SEEK_END) != 0) return -1;
    long end = std::ftell(f);
    if (std::fseek(f, here, SEEK_SET) != 0) return -1;
    return end;
}

/* Skip white space of a text stream; true when the stream ends there.  The
** tokenisers treat the end of a text file as a fatal short read, which a
** types file without its closing word must not become. */
bool TextAtEnd(FILE* f, size_t* nbCharRead) {
    int c;
    while ((c = std::fgetc(f)) != EOF) {
        if (!std::isspace(c)) {
            std::ungetc(c, f);
            return false;
        }
        ++*nbCharRead;
    }
    return true;
}

}  // namespace

/* ---- start-up and shut-down ---- */

void SdifGenInit(const char* typesFileName) {
    SdifAssert(!gSdifInitialised && "SDIF library already initialised");
    gSdifInitialised = 1;

    SdifInitGlobalsKey();
    if (!SdifStdErr) SdifStdErr = stderr;
    SdifInitMachineType();
    SdifSetStdIOBinary();
    SdifGlobalsT* globals = GetSdifGlobals();
    if (globals) SdifInitListNStock(&globals->nodestock, _SdifListNodeStockSize);
    SdifInitSelect();

    gSdifPredefinedTypes = SdifFOpen("Predefined", ePredefinedTypes);
    if (!gSdifPredefinedTypes) return;

    if (typesFileName && typesFileName[0]) {
        SdifFLoadPredefinedTypes(gSdifPredefinedTypes, typesFileName);
        return;
    }
    /* A types file in the working directory replaces the built-in types. */
    FILE* probe = std::fopen(kTypesFileName, "r");
    if (probe) {
        std::fclose(probe);
        SdifFLoadPredefinedTypes(gSdifPredefinedTypes, kTypesFileName);
    } else {
        SdifFLoadPredefinedTypes(gSdifPredefinedTypes, "");
    }
}

void SdifGenInitCond(const char* typesFileName) {
    if (!gSdifInitialised) SdifGenInit(typesFileName ? typesFileName : "");
}

void SdifGenKill(void) {
    if (!gSdifInitialised) return;
    SdifFClose(gSdifPredefinedTypes);
    gSdifPredefinedTypes = nullptr;
    SdifGlobalsT* globals = GetSdifGlobals();
    if (globals) SdifDrainListNStock(&globals->nodestock);
    gSdifInitialised = 0;
}

void SdifPrintVersion(void) {
    if (!SdifStdErr) SdifStdErr = stderr;
    std::fprintf(SdifStdErr, "SDIF Library\n");
    std::fprintf(SdifStdErr, "Format version : %d\n", (int)kFormatVersion);
    std::fprintf(SdifStdErr, "Release: %s, %s\n", "3.4", __DATE__);
}

void SdifFLoadPredefinedTypes(SdifFileT* file, const char* typesFileName) {
    if (!file) return;
    if (typesFileName && typesFileName[0]) {
        if (SdifFOpenText(file, typesFileName, ePredefinedTypes)) {
            SdifFScanGeneralHeader(file);
            SdifFScanAllASCIIChunks(file);
            return;
        }
        SdifFNotice(file, "Load Coded Predefinied Types, it can be incomplete (file not found)\n");
    }
    SdifTakeCodedPredefinedTypesfromString(file);
}

SdifFileT* SdifTakeCodedPredefinedTypesfromString(SdifFileT* file) {
    SdifStringT* text = SdifStringNew();
    if (!text) return file;
    if (!SdifStringAppend(text, SdifPredefinedTypesText()))
        std::fprintf(stderr, "CANNOT APPEND THE TYPE DEFINITION STRING !!!! \n");
    /* freed on the way out even when a report unwinds through the parser */
    struct Holder {
        SdifStringT* text;
        ~Holder() { SdifStringFree(text); }
    } holder{text};
    SdifFGetAllTypefromSdifString(file, text);
    return file;
}

SdifFileT* SdifTakeCodedPredefinedTypes(SdifFileT* file) {
    if (file) SdifCreatePredefinedTypes(file->MatrixTypesTable, file->FrameTypesTable);
    return file;
}

/* ---- opening and closing ---- */

SdifFileT* SdifFOpen(const char* name, SdifFileModeET mode) {
    SdifAssert(gSdifInitialised && "SDIF library not initialised!");

    SdifFileT* file = (SdifFileT*)std::calloc(1, sizeof(SdifFileT));
    if (!file) {
        SDIF_ERROR(nullptr, eAllocFail, "SdifFile");
        return nullptr;
    }
    const char* given = name ? name : "";
    file->Mode = mode;
    /* Reports made while the object is being built need its error list. */
    file->Errors = SdifCreateErrorL(file);

    file->Selection = SdifCreateSelection();
    const char* plain = given;
    if (file->Selection) {
        const char* cut = nullptr;
        try {
            cut = SdifGetFilenameAndSelection(given, file->Selection);
        } catch (...) {
            // A stop or a report that unwinds (a stop function or an error
            // callback that throws) takes the half-built object with it.
            SdifFreeSelection(file->Selection);
            if (file->Errors) SdifKillErrorL(file->Errors);
            std::free(file);
            throw;
        }
        if (cut) plain = cut;
    }
    file->Name = CopyText(plain);
    if (!file->Name) {
        SDIF_ERROR(nullptr, eAllocFail, "SdifFile");
        SdifFClose(file);
        return nullptr;
    }

    enum { kOrdinary, kStdIn, kStdOut, kStdErr } kind = kOrdinary;
    if (file->Name[0] == '\0' || std::strcmp(file->Name, "-") == 0)
        kind = mode == eReadFile ? kStdIn : kStdOut;
    else if (std::strcmp(file->Name, "stdin") == 0)
        kind = kStdIn;
    else if (std::strcmp(file->Name, "stdout") == 0)
        kind = kStdOut;
    else if (std::strcmp(file->Name, "stderr") == 0)
        kind = kStdErr;

    file->isSeekable = 0;
    file->FormatVersion = kFormatVersion;
    file->TypesVersion = kTypesVersion;
    file->NameValues = SdifCreateNameValuesL(31);
    file->MatrixTypesTable = SdifCreateHashTable(127, eHashInt4, SdifKillMatrixType);
    file->FrameTypesTable = SdifCreateHashTable(127, eHashInt4, SdifKillFrameType);
    file->StreamIDsTable = SdifCreateStreamIDTable(1);
    file->TimePositions = SdifCreateTimePositionL();
    file->Stream = nullptr;
    file->CurrSignature = 0;
    file->CurrFramH = nullptr;
    file->CurrMtrxH = nullptr;
    file->CurrFramT = nullptr;
    file->CurrMtrxT = nullptr;
    file->PrevTime = -DBL_MAX;
    file->MtrxUsed = SdifCreateSignatureTab(16);
    file->CurrOneRow = SdifCreateOneRow(eFloat4, 1);
    file->CurrMtrxData = SdifCreateMatrixData(0, eFloat4, 0, 0);
    file->FileSize = -1;
    file->ChunkSize = 0;
    file->CurrFramPos = 0;
    file->StartChunkPos = 0;
    file->Pos = 0;
    file->TypeDefPass = 0;
    file->StreamIDPass = 0;
    file->TextStreamName = nullptr;
    file->TextStream = nullptr;
    file->NbUserData = 0;

    char text[_SdifStringLen];
    switch (mode) {
        case eWriteFile:
            if (kind == kOrdinary)
                file->Stream = SdiffBinOpen(file->Name, eBinaryModeWrite);
            else if (kind == kStdOut)
                file->Stream = stdout;
            else
                SDIF_ERROR(file, eBadStdFile, file->Name);
            break;
        case eReadFile:
            if (kind == kOrdinary)
                file->Stream = SdiffBinOpen(file->Name, eBinaryModeRead);
            else if (kind == kStdIn)
                file->Stream = stdin;
            else
                SDIF_ERROR(file, eBadStdFile, file->Name);
            break;
        case eReadWriteFile:
            if (kind == kOrdinary)
                file->Stream = SdiffBinOpen(file->Name, eBinaryModeReadWrite);
            else
                SDIF_ERROR(file, eBadStdFile, file->Name);
            break;
        case ePredefinedTypes:
            return file;
        default:
            SDIF_ERROR(file, eBadMode, "this mode doesn't exist");
            break;
    }

    if (!file->Stream) {
        std::snprintf(text, sizeof text, "%s", given);
        SDIF_ERROR(file, eFileNotFound, text);
        SdifFClose(file);
        return nullptr;
    }
    if (kind == kOrdinary) {
        file->isSeekable = 1;
        file->FileSize = StreamSize(file->Stream);
    }
    return file;
}

SdifFileT* SdifFOpenText(SdifFileT* file, const char* name, SdifFileModeET mode) {
    if (!file) return nullptr;
    const char* given = name ? name : "";

    if (file->TextStream) {
        CloseStream(file->TextStream);
        file->TextStream = nullptr;
    }
    std::free(file->TextStreamName);
    file->TextStreamName = CopyText(given);

    FILE* stream = nullptr;
    switch (mode) {
        case eReadFile:
        case ePredefinedTypes:
            if (std::strcmp(given, "stdin") == 0) {
                stream = stdin;
            } else if (std::strcmp(given, "stdout") == 0 || std::strcmp(given, "stderr") == 0) {
                SDIF_ERROR(file, eBadStdFile, given);
                return nullptr;
            } else {
                stream = std::fopen(given, "r");
                if (!stream) {
                    SDIF_ERROR(file, eFileNotFound, given);
                    return nullptr;
                }
            }
            break;
        case eWriteFile:
            if (std::strcmp(given, "stdout") == 0) {
                stream = stdout;
            } else if (std::strcmp(given, "stderr") == 0) {
                stream = stderr;
            } else if (std::strcmp(given, "stdin") == 0) {
                SDIF_ERROR(file, eBadStdFile, given);
                return nullptr;
            } else {
                stream = std::fopen(given, "w");
                if (!stream) {
                    SDIF_ERROR(file, eAllocFail, given);
                    return nullptr;
                }
            }
            break;
        default:
            SDIF_ERROR(file, eBadMode, "this mode doesn't exist or isn't appropriated");
            return nullptr;
    }
    file->TextStream = stream;
    return file;
}

namespace {

/* Free a member of file with kill, or report it missing as eFreeNull with
** its name; either way it is gone. */
template <class T, class Kill>
void KillMember(SdifFileT* file, T* SdifFileT::*member, Kill kill, const char* name, int line) {
    if (file->*member)
        kill(file->*member);
    else
        SdifFError(file, eFreeNull, name, SdifSourceName(__FILE__), line);
    file->*member = nullptr;
}

}  // namespace

void SdifFClose(SdifFileT* file) {
    if (!file) return;

    KillMember(file, &SdifFileT::NameValues, SdifKillNameValuesL, "SdifFile->NameValues", __LINE__);
    KillMember(file, &SdifFileT::MatrixTypesTable, SdifKillHashTable, "SdifFile->MatrixTypesTable",
               __LINE__);
    KillMember(file, &SdifFileT::FrameTypesTable, SdifKillHashTable, "SdifFile->FrameTypesTable",
               __LINE__);
    KillMember(file, &SdifFileT::StreamIDsTable, SdifKillStreamIDTable, "SdifFile->StreamIDsTable",
               __LINE__);
    KillMember(file, &SdifFileT::TimePositions, SdifKillTimePositionL, "SdifFile->TimePositions",
               __LINE__);
    KillMember(file, &SdifFileT::Selection, SdifFreeSelection, "SdifFile->Selection", __LINE__);
    KillMember(file, &SdifFileT::CurrOneRow, SdifKillOneRow, "SdifFile->CurrOneRow", __LINE__);
    KillMember(file, &SdifFileT::CurrMtrxData, SdifKillMatrixData, "SdifFile->CurrMtrxData",
               __LINE__);
    if (file->Errors) {
        SdifKillErrorL(file->Errors);
        file->Errors = nullptr;
    } else {
        /* no list left to record it in */
        SDIF_ERROR(nullptr, eFreeNull, "SdifFile->Errors");
    }

    if (file->CurrFramH) SdifKillFrameHeader(file->CurrFramH);
    if (file->CurrMtrxH) SdifKillMatrixHeader(file->CurrMtrxH);
    if (file->MtrxUsed) SdifKillSignatureTab(file->MtrxUsed);
    std::free(file->TextStreamName);
    CloseStream(file->Stream);
    CloseStream(file->TextStream);
    std::free(file->Name);
    std::free(file);
}

/* ---- general header ---- */

size_t SdifFReadGeneralHeader(SdifFileT* file) {
    if (!file || !file->Stream) return 0;
    size_t nbBytes = 0;
    char text[_SdifStringLen];

    file->StartChunkPos = std::ftell(file->Stream);
    SdifFGetSignature(file, &nbBytes);
    /* Anything else than an SDIF file stops here, before sizes are read that
    ** a short non-SDIF file would turn into an end-of-file report. */
    if (file->CurrSignature != kSDIF) {
        std::snprintf(text, sizeof text, "%s not correctly read", "SDIF");
        SDIF_ERROR(file, eBadHeader, text);
        return 0;
    }
    SdifInt4 size = 0;
    SdifUInt4 versions[2] = {0, 0};
    if (SdiffReadInt4(&size, 1, file) != 1) return 0;
    nbBytes += 4;
    file->ChunkSize = (SdifUInt4)size;
    if (SdiffReadUInt4(versions, 2, file) != 2) return 0;
    nbBytes += 8;
    file->FormatVersion = versions[0];
    file->TypesVersion = versions[1];

    if (size > 8) {
        size_t Padding = (size_t)size - 8;
        SdifAssert(Padding <= _SdifStringLen);
        char skipped[_SdifStringLen];
        if (Sdiffread(skipped, 1, Padding, file) != Padding) {
            std::snprintf(text, sizeof text, "Sdiffread %ld", std::ftell(file->Stream));
            SDIF_ERROR(file, eEof, text);
            return 0;
        }
    }

    if (file->FormatVersion != kFormatVersion) {
        char why[_SdifStringLen];
        if (file->FormatVersion < kFormatVersion)
            std::snprintf(why, sizeof why,
                          "File is in an old SDIF format version (%d).  The library (version %d) "
                          "is not backwards compatible.",
                          (int)file->FormatVersion, (int)kFormatVersion);
        else
            std::snprintf(why, sizeof why,
                          "file is in a newer SDIF format version (%d) than the library (%d)",
                          (int)file->FormatVersion, (int)kFormatVersion);
        SDIF_ERROR(file, eBadFormatVersion, why);
        return 0;
    }
    return nbBytes;
}

size_t SdifFWriteGeneralHeader(SdifFileT* file) {
    if (!file || !file->Stream) return 0;
    size_t nbBytes = 0;
    SdifSignature sig = kSDIF;
    SdifInt4 size = 8;

    file->StartChunkPos = std::ftell(file->Stream);
    nbBytes += 4 * SdiffWriteSignature(&sig, file);
    nbBytes += 4 * SdiffWriteInt4(&size, 1, file);
    nbBytes += 4 * SdiffWriteUInt4(&file->FormatVersion, 1, file);
    nbBytes += 4 * SdiffWriteUInt4(&file->TypesVersion, 1, file);
    file->ChunkSize = (SdifUInt4)nbBytes;
    return nbBytes;
}

size_t SdifFScanGeneralHeader(SdifFileT* file) {
    if (!file || !file->TextStream) return 0;
    size_t nbChars = 0;
    SdifSignature sig = 0;
    if (!TextAtEnd(file->TextStream, &nbChars)) SdiffGetSignature(file->TextStream, &sig, &nbChars);
    file->CurrSignature = sig;
    if (sig != kSDIF) {
        char text[_SdifStringLen];
        std::snprintf(text, sizeof text, "'%s' not correctly read\t: '%s'.", "SDIF",
                      SdifSignatureToString(sig));
        SDIF_ERROR(file, eBadHeader, text);
        return 0;
    }
    return nbChars;
}

/* ---- ASCII chunks ---- */

size_t SdifFReadAllASCIIChunks(SdifFileT* file) {
    if (!file || !file->Stream) return 0;
    size_t total = 0;
    for (;;) {
        size_t sigBytes = 0;
        if (SdifFGetSignature(file, &sigBytes) == eEof) break;
        switch (file->CurrSignature) {
            case k1NVT:
                SdifNameValuesLNewTable(file->NameValues, kNVTStreamID);
                total += sigBytes + SdifFReadNameValueLCurrNVT(file);
                break;
            case k1TYP:
                total += sigBytes + SdifFReadAllType(file);
                break;
            case k1IDS:
                total += sigBytes + SdifFReadAllStreamID(file);
                break;
            default:
                /* the first frame: its signature stays for the frame reader */
                return total;
        }
    }
    return total;
}

size_t SdifFWriteAllASCIIChunks(SdifFileT* file) {
    if (!file || !file->Stream) return 0;
    size_t total = 0;
    if (file->NameValues && SdifListGetNbData(file->NameValues->NVTList) > 0)
        total += SdifFWriteAllNameValueNVT(file);
    if (SdifExistUserMatrixType(file->MatrixTypesTable) ||
        SdifExistUserFrameType(file->FrameTypesTable))
        total += SdifFWriteAllType(file);
    if (file->StreamIDsTable && SdifStreamIDTableGetNbData(file->StreamIDsTable) > 0)
        total += SdifFWriteAllStreamID(file);
    return total;
}

size_t SdifFScanAllASCIIChunks(SdifFileT* file) {
    if (!file || !file->TextStream) return 0;
    size_t total = 0;
    char text[_SdifStringLen];
    for (;;) {
        size_t nbChars = 0;
        if (TextAtEnd(file->TextStream, &nbChars)) break;
        SdifSignature sig = 0;
        int last = SdiffGetSignature(file->TextStream, &sig, &nbChars);
        total += nbChars;
        file->CurrSignature = sig;
        if (sig == 0 && last == eEof) break;
        if (sig == k1NVT) {
            SdifNameValuesLNewTable(file->NameValues, kNVTStreamID);
            total += SdifFScanNameValueLCurrNVT(file);
        } else if (sig == k1IDS) {
            total += SdifFGetAllStreamID(file, 't');
        } else if (sig == k1TYP) {
            total += SdifFGetAllType(file, 't');
        } else if (sig == kENDF || sig == kSDFC) {
            break;
        } else if (sig == kENDC) {
            SDIF_ERROR(file, eSyntax, "Attempt to read 'SDFC' failed");
            break;
        } else {
            std::snprintf(text, sizeof text, "It is not a chunk name : '%s'",
                          SdifSignatureToString(sig));
            SDIF_ERROR(file, eSyntax, text);
        }
    }
    return total;
}

int SdifFGetSignature(SdifFileT* file, size_t* nbBytesRead) {
    return SdiffReadSignature(&file->CurrSignature, file, nbBytesRead);
}

/* ---- current state ---- */

SdifSignature SdifFCurrSignature(SdifFileT* file) { return file->CurrSignature; }

SdifSignature SdifFCleanCurrSignature(SdifFileT* file) {
    file->CurrSignature = 0;
    return file->CurrSignature;
}

SdifSignature SdifFCurrFrameSignature(SdifFileT* file) {
    return file->CurrFramH ? file->CurrFramH->Signature : 0;
}

SdifSignature SdifFCurrMatrixSignature(SdifFileT* file) {
    return file->CurrMtrxH ? file->CurrMtrxH->Signature : 0;
}

SdifUInt4 SdifFCurrNbMatrix(SdifFileT* file) {
    return file->CurrFramH ? file->CurrFramH->NbMatrix : 0;
}

SdifUInt4 SdifFCurrID(SdifFileT* file) { return file->CurrFramH ? file->CurrFramH->NumID : 0; }

SdifFloat8 SdifFCurrTime(SdifFileT* file) { return file->CurrFramH ? file->CurrFramH->Time : 0.0; }

SdifUInt4 SdifFCurrNbCol(SdifFileT* file) { return file->CurrMtrxH ? file->CurrMtrxH->NbCol : 0; }

SdifUInt4 SdifFCurrNbRow(SdifFileT* file) { return file->CurrMtrxH ? file->CurrMtrxH->NbRow : 0; }

SdifDataTypeET SdifFCurrDataType(SdifFileT* file) {
    return file->CurrMtrxH ? file->CurrMtrxH->DataType : eFloat4;
}

SdifOneRowT* SdifFCurrOneRow(SdifFileT* file) { return file->CurrOneRow; }

void* SdifFCurrOneRowData(SdifFileT* file) {
    return file->CurrOneRow ? file->CurrOneRow->Data.Void : nullptr;
}

SdifFloat8 SdifFCurrOneRowCol(SdifFileT* file, SdifUInt4 column) {
    return SdifOneRowGetValue(file->CurrOneRow, column);
}

SdifFloat8 SdifFCurrOneRowColName(SdifFileT* file, SdifMatrixTypeT* matrixType,
                                  const char* columnName) {
    unsigned int column = matrixType ? SdifMatrixTypeGetNumColumnDef(matrixType, columnName) : 0;
    if (column == 0) {
        SDIF_ERROR(file, eNotFound, columnName ? columnName : "");
        return 0.0;
    }
    return SdifOneRowGetValue(file->CurrOneRow, column);
}

SdifOneRowT* SdifFSetCurrOneRow(SdifFileT* file, void* values) {
    SdifOneRowT* row = file->CurrOneRow;
    if (!row || !values) return row;
    std::memcpy(row->Data.Void, values, SdifSizeofDataType(row->DataType) * row->NbData);
    return row;
}

SdifOneRowT* SdifFSetCurrOneRowCol(SdifFileT* file, SdifUInt4 column, SdifFloat8 value) {
    return SdifOneRowPutValue(file->CurrOneRow, column, value);
}

SdifMatrixDataT* SdifFCurrMatrixData(SdifFileT* file) { return file->CurrMtrxData; }

void* SdifFCurrMatrixDataPointer(SdifFileT* file) {
    return file->CurrMtrxData ? file->CurrMtrxData->Data.Void : nullptr;
}

SdifHashTableT* SdifFGetMatrixTypesTable(SdifFileT* file) { return file->MatrixTypesTable; }

SdifHashTableT* SdifFGetFrameTypesTable(SdifFileT* file) { return file->FrameTypesTable; }

SdifNameValuesLT* SdifFNameValueList(SdifFileT* file) { return file->NameValues; }

int SdifFNameValueNum(SdifFileT* file) {
    return file->NameValues ? (int)SdifListGetNbData(file->NameValues->NVTList) : 0;
}

SdifStreamIDTableT* SdifFStreamIDTable(SdifFileT* file) { return file->StreamIDsTable; }

SdifFrameHeaderT* SdifFCreateCurrFramH(SdifFileT* file, SdifSignature signature) {
    if (!file->CurrFramH)
        file->CurrFramH = SdifCreateFrameHeaderEmpty(signature);
    else
        file->CurrFramH->Signature = signature;
    return file->CurrFramH;
}

SdifMatrixHeaderT* SdifFCreateCurrMtrxH(SdifFileT* file) {
    if (!file->CurrMtrxH) file->CurrMtrxH = SdifCreateMatrixHeaderEmpty();
    return file->CurrMtrxH;
}

/* ---- matrices met in the current frame ---- */

SdifSignatureTabT* SdifFReInitMtrxUsed(SdifFileT* file) {
    unsigned int nb = file->CurrFramH ? file->CurrFramH->NbMatrix : 16;
    /* Every matrix takes at least its 16-byte header: a count the file cannot
    ** hold must not size the table; puts grow it as matrices really come. */
    long long left = SdifFBytesLeft(file);
    if (left >= 0 && (unsigned long long)nb > (unsigned long long)left / 16)
        nb = (unsigned int)(left / 16);
    else if (left < 0 && nb > 256)
        nb = 256;
    return SdifReInitSignatureTab(file->MtrxUsed, nb);
}

SdifSignature SdifFIsInMtrxUsed(SdifFileT* file, SdifSignature signature) {
    return SdifIsInSignatureTab(file->MtrxUsed, signature);
}

SdifSignatureTabT* SdifFPutInMtrxUsed(SdifFileT* file, SdifSignature signature) {
    return SdifAddToSignatureTab(file->MtrxUsed, signature);
}

/* ---- user data ---- */

int SdifFAddUserData(SdifFileT* file, void* data) {
    SdifAssert(file->NbUserData < MaxUserData);
    file->UserData[file->NbUserData] = data;
    return file->NbUserData++;
}

void* SdifFGetUserData(SdifFileT* file, int index) {
    if (index < 0 || index >= file->NbUserData) return nullptr;
    return file->UserData[index];
}

/* ---- positions ---- */

int SdifFRewind(SdifFileT* file) {
    if (!file->Stream) return 0;
    return std::fseek(file->Stream, 0, SEEK_SET) == 0 ? 1 : 0;
}

int SdifFGetPos(SdifFileT* file, SdiffPosT* pos) {
    if (!file->Stream) return -1;
    *pos = std::ftell(file->Stream);
    return *pos == -1 ? -1 : 0;
}

int SdifFSetPos(SdifFileT* file, SdiffPosT* pos) {
    if (!file->Stream) return -1;
    return std::fseek(file->Stream, *pos, SEEK_SET);
}

int SdifFTruncate(SdifFileT*) { return -2; }

FILE* SdifFGetFILE_SwitchVerbose(SdifFileT* file, int which) {
    switch (which) {
        case 's':
            return file->Stream;
        case 't':
            return file->TextStream;
        default:
            std::fprintf(SdifStdErr, "*Sdif* %c not a verbose ('t': text; 's':SdifFile)\n", which);
            return nullptr;
    }
}

/* ---- checks ---- */

int SdifCheckFileFormat(const char* name) {
    int isSdif = 0;
    SdifDisableErrorOutput();
    SdifFileT* file = SdifFOpen(name, eReadFile);
    if (file) {
        size_t nbBytes = 0;
        if (SdifFGetSignature(file, &nbBytes) != eEof && file->CurrSignature == kSDIF) isSdif = 1;
        SdifFClose(file);
    }
    SdifEnableErrorOutput();
    return isSdif;
}

SdifSignature SdifCheckNextFrame(SdifFileT* file, SdifSignatureTabT* signatures, int* index) {
    *index = -1;
    while (file->CurrSignature != 0) {
        if (SdifFReadFrameHeader(file) == 0) break;
        if (SdifFCurrFrameIsSelected(file)) {
            int found = SdifFindInSignatureTab(signatures, file->CurrSignature);
            if (found >= 0) {
                *index = found;
                return SdifGetFromSignatureTab(signatures, found);
            }
        }
        SdifFSkipFrameData(file);
        size_t nbBytes = 0;
        if (SdifFGetSignature(file, &nbBytes) == eEof) break;
    }
    return 0;
}
