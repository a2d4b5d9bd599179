/* Name-value tables: pairs, tables, the file's list of tables, their text
** form and the 1NVT chunk. */
#include "SdifNameValue.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifString.h"
#include "SdifTextSource.h"

namespace {

unsigned int keylen(const char* name) { return (unsigned int)strlen(name) + 1; }

/* Skip white space and read one character, which must be expected. */
int expectchar(SdifFileT* file, FILE* f, size_t* nbRead, int expected, const char* label) {
    SdifStreamSource src{f, nbRead};
    int c = SdifSkipSpace(src);
    if (c == EOF) {
        SdifFReportEof(file, f, SdifSourceName(__FILE__), __LINE__);
        return 0;
    }
    if (c == expected) return 1;
    char text[_SdifStringLen];
    snprintf(text, sizeof text, "Attempt to read '%c' failed, read '%c' (%d) : %s", expected,
             isprint(c) ? c : '?', c, label);
    SDIF_ERROR(file, eSyntax, text);
    return 0;
}

}  // namespace

/* ---- pairs ---- */

SdifNameValueT* SdifCreateNameValue(const char* name, const char* value) {
    return SdifCreateTextPair(&SdifNameValueT::Name, name, &SdifNameValueT::Value, value,
                              "NameValue allocation", SDIF_HERE);
}

void SdifKillNameValue(void* nameValue) {
    SdifKillTextPair(nameValue, &SdifNameValueT::Name, &SdifNameValueT::Value, "NameValue free",
                     SDIF_HERE);
}

/* ---- one table ---- */

SdifNameValueTableT* SdifCreateNameValueTable(SdifUInt4 streamID, unsigned int hashSize,
                                              unsigned int numTable) {
    SdifNameValueTableT* table = SdifCreateOwner(
        &SdifNameValueTableT::NVHT,
        [hashSize] {
            return SdifCreateHashTable(hashSize ? hashSize : 1, eHashChar, SdifKillNameValue);
        },
        "NameValueTable allocation", SDIF_HERE);
    if (!table) return nullptr;
    table->NumTable = numTable;
    table->StreamID = streamID;
    return table;
}

void SdifKillNameValueTable(void* nvt) {
    SdifKillOwner((SdifNameValueTableT*)nvt, &SdifNameValueTableT::NVHT, SdifKillHashTable,
                  "NameValueTable free", SDIF_HERE);
}

SdifNameValueT* SdifNameValueTableGetNV(SdifNameValueTableT* table, const char* name) {
    if (!table || !name) return nullptr;
    return (SdifNameValueT*)SdifHashTableSearchChar(table->NVHT, name, keylen(name));
}

SdifNameValueT* SdifNameValueTablePutNV(SdifNameValueTableT* table, const char* name,
                                        const char* value) {
    if (!table || !name || !value) return nullptr;
    /* the table keeps the first value; a second pair would only leak */
    SdifNameValueT* nv = SdifNameValueTableGetNV(table, name);
    if (nv) return nv;
    nv = SdifCreateNameValue(name, value);
    if (nv) SdifHashTablePutChar(table->NVHT, name, keylen(name), nv);
    return nv;
}

unsigned int SdifNameValueTableGetNumTable(SdifNameValueTableT* table) { return table->NumTable; }

SdifUInt4 SdifNameValueTableGetStreamID(SdifNameValueTableT* table) { return table->StreamID; }

/* ---- list of tables ---- */

SdifNameValuesLT* SdifCreateNameValuesL(unsigned int hashSize) {
    SdifNameValuesLT* list = SdifCreateOwner(
        &SdifNameValuesLT::NVTList, [] { return SdifCreateList(SdifKillNameValueTable); },
        "NameValues List allocation", SDIF_HERE);
    if (!list) return nullptr;
    list->CurrNVT = nullptr;
    list->HashSize = hashSize;
    return list;
}

void SdifKillNameValuesL(SdifNameValuesLT* list) {
    SdifKillOwner(list, &SdifNameValuesLT::NVTList, SdifKillList, "NameValues List free",
                  SDIF_HERE);
}

SdifNameValuesLT* SdifNameValuesLNewTable(SdifNameValuesLT* list, SdifUInt4 streamID) {
    SdifNameValueTableT* table =
        SdifCreateNameValueTable(streamID, list->HashSize, SdifListGetNbData(list->NVTList) + 1);
    if (table) {
        SdifListPutTail(list->NVTList, table);
        list->CurrNVT = table;
    }
    return list;
}

SdifNameValueTableT* SdifNameValuesLSetCurrNVT(SdifNameValuesLT* list, unsigned int numTable) {
    if (numTable >= 1 && numTable <= SdifListGetNbData(list->NVTList)) {
        for (SdifListNT* node = list->NVTList->Head; node; node = node->Next) {
            SdifNameValueTableT* table = (SdifNameValueTableT*)node->Data;
            if (table->NumTable == numTable) return list->CurrNVT = table;
        }
    }
    SDIF_ERROR(nullptr, eArrayPosition, "SdifNameValuesLSetCurrNVT: name table size exeeded");
    list->CurrNVT = nullptr;
    return nullptr;
}

SdifNameValuesLT* SdifNameValuesLKillCurrNVT(SdifNameValuesLT* list) {
    if (!list->CurrNVT) return list;
    SdifListInitLoop(list->NVTList);
    while (SdifListIsNext(list->NVTList)) {
        if (SdifListGetNext(list->NVTList) == list->CurrNVT) {
            SdifKillListCurr(list->NVTList);
            break;
        }
    }
    list->CurrNVT = nullptr;
    return list;
}

int SdifNameValuesLIsNotEmpty(SdifNameValuesLT* list) {
    for (SdifListNT* node = list->NVTList->Head; node; node = node->Next)
        if (((SdifNameValueTableT*)node->Data)->NVHT->NbOfData > 0) return 1;
    return 0;
}

SdifNameValueT* SdifNameValuesLGet(SdifNameValuesLT* list, const char* name) {
    for (SdifListNT* node = list->NVTList->Head; node; node = node->Next) {
        SdifNameValueT* nv = SdifNameValueTableGetNV((SdifNameValueTableT*)node->Data, name);
        if (nv) return nv;
    }
    return nullptr;
}

SdifNameValueT* SdifNameValuesLGetCurrNVT(SdifNameValuesLT* list, const char* name) {
    return SdifNameValueTableGetNV(list->CurrNVT, name);
}

SdifNameValueT* SdifNameValuesLPutCurrNVT(SdifNameValuesLT* list, const char* name,
                                          const char* value) {
    return SdifNameValueTablePutNV(list->CurrNVT, name, value);
}

SdifNameValueT* SdifNameValuesLPutCurrNVTTranslate(SdifNameValuesLT* list, const char* name,
                                                   const char* value) {
    char* n = SdifCopyText(name);
    char* v = SdifCopyText(value);
    SdifNameValueT* nv = nullptr;
    if (n && v)
        nv = SdifNameValuesLPutCurrNVT(list, SdifStringToNV(n), SdifStringToNV(v));
    else
        SDIF_ERROR(nullptr, eAllocFail, "NameValue allocation");
    free(n);
    free(v);
    return nv;
}

/* ---- text form ---- */

size_t SdifFNameValueLCurrNVTfromString(SdifFileT* file, const char* text) {
    SdifNameValuesLT* list = file->NameValues;
    size_t added = 0;
    if (!list || !list->CurrNVT || !text) return 0;
    const char* line = text;
    while (*line) {
        const char* tab = strpbrk(line, "\t\n");
        if (!tab || *tab != '\t') break;
        const char* lf = strchr(tab + 1, '\n');
        if (!lf) break;
        size_t nameLen = (size_t)(tab - line);
        size_t valueLen = (size_t)(lf - tab - 1);
        char* name = (char*)malloc(nameLen + 1);
        char* value = (char*)malloc(valueLen + 1);
        if (!name || !value) {
            free(name);
            free(value);
            SDIF_ERROR(file, eAllocFail, "NameValue allocation");
            break;
        }
        memcpy(name, line, nameLen);
        name[nameLen] = '\0';
        memcpy(value, tab + 1, valueLen);
        value[valueLen] = '\0';
        const bool known = SdifNameValuesLGetCurrNVT(list, name) != nullptr;
        if (!known && SdifNameValuesLPutCurrNVT(list, name, value)) added++;
        char msg[_SdifStringLen];
        if (known) snprintf(msg, sizeof msg, "NameValue : %s ", name);
        /* Freed before the report: an error callback may unwind from it. */
        free(name);
        free(value);
        if (known) SDIF_ERROR(file, eReDefined, msg);
        line = lf + 1;
    }
    return added;
}

size_t SdifFNameValueLCurrNVTtoSdifString(SdifFileT* file, SdifStringT* string) {
    SdifNameValueTableT* table = file->NameValues ? file->NameValues->CurrNVT : nullptr;
    if (!table) return 0;
    size_t before = string->SizeW;
    SdifHashTableT* ht = table->NVHT;
    for (unsigned int i = 0; i < ht->HashSize; i++) {
        for (SdifHashNT* entry = ht->Table[i]; entry; entry = entry->Next) {
            SdifNameValueT* nv = (SdifNameValueT*)entry->Data;
            SdifStringAppend(string, nv->Name);
            SdifStringAppend(string, "\t");
            SdifStringAppend(string, nv->Value);
            SdifStringAppend(string, "\n");
        }
    }
    return string->SizeW - before;
}

int SdifFGetOneNameValue(SdifFileT* file, int verbose, size_t* nbCharRead) {
    FILE* f = SdifFVerboseStream(file, verbose);
    if (!f) return 4;
    char line[_SdifStringLen];
    size_t len = 0;
    int blanksOnly = 1, closing = 0;
    int c;
    /* Room is kept for the line feed and the NUL: a longer line is cut but
    ** still ends as a line.  The closing brace's line is read to its end
    ** like any other, so the text after the table starts on a fresh line. */
    while ((c = getc(f)) != EOF) {
        (*nbCharRead)++;
        if (c == '\r') c = '\n';
        if (blanksOnly && c == '}') closing = 1;
        if (c != ' ') blanksOnly = 0;
        if (c == '\n') {
            line[len++] = '\n';
            break;
        }
        if (len < sizeof line - 2) line[len++] = (char)c;
    }
    if (c == EOF && len == 0) return 4;
    line[len] = '\0';
    if (c == '\n') {
        while ((c = getc(f)) == '\r' || c == '\n') (*nbCharRead)++;
        if (c != EOF) ungetc(c, f);
    }
    if (closing) return '}';
    if (verbose == 't') {
        while (len > 0 && isspace((unsigned char)line[len - 1])) len--;
        if (len > 0 && line[len - 1] == ';') len--;
        line[len++] = '\n';
        line[len] = '\0';
    }
    SdifFNameValueLCurrNVTfromString(file, line);
    return '\n';
}

namespace {

size_t readnamevaluetable(SdifFileT* file, int verbose) {
    FILE* f = SdifFVerboseStream(file, verbose);
    size_t nbRead = 0;
    if (!f) return 0;
    if (!expectchar(file, f, &nbRead, '{', "Begin of NameValue Table declarations")) return nbRead;
    int c;
    while ((c = SdifFGetOneNameValue(file, verbose, &nbRead)) != '}')
        if (c == 4) {
            SdifFReportEof(file, f, SdifSourceName(__FILE__), __LINE__);
            break;
        }
    return nbRead;
}

}  // namespace

size_t SdifFGetNameValueLCurrNVT(SdifFileT* file) { return readnamevaluetable(file, 's'); }

size_t SdifFScanNameValueLCurrNVT(SdifFileT* file) { return readnamevaluetable(file, 't'); }

/* ---- binary chunks ---- */

size_t SdifFReadNameValueLCurrNVT(SdifFileT* file) {
    if (!file->Stream) return 0;
    size_t sizeR = SdifFReadTextChunkHeader(file);
    if (sizeR == 0) return 0;
    SdifFrameHeaderT* header = file->CurrFramH;
    /* the table takes the stream it was written for */
    if (file->NameValues->CurrNVT) file->NameValues->CurrNVT->StreamID = header->NumID;

    if (header->NbMatrix == 0) {
        SdifFNotice(
            file,
            "Warning, this file uses an intermediate format for the Name-Value Table.  "
            "Portablity with programs not using the QUENDA SDIF library is not guaranteed.  "
            "Tip: Use 'sdifextract file newfile' to convert to compliant format.");
        sizeR += SdifFGetNameValueLCurrNVT(file);
        return SdifFEndTextChunk(file, "1NVT", sizeR);
    }

    sizeR += SdifFReadTextChunkMatrices(
        file, "1NVT", "Name-Value Table text matrix must have exactly one column!",
        [](SdifFileT* f, SdifStringT* text) {
            return SdifFNameValueLCurrNVTfromString(f, text->str);
        });
    return SdifFEndTextChunk(file, "1NVT", sizeR);
}

size_t SdifFWriteNameValueLCurrNVT(SdifFileT* file) {
    SdifNameValueTableT* table = file->NameValues ? file->NameValues->CurrNVT : nullptr;
    if (!table) return 0;
    return SdifFWriteTextChunk(file, SdifSignatureConst("1NVT"), table->StreamID,
                               SdifFNameValueLCurrNVTtoSdifString);
}

size_t SdifFWriteAllNameValueNVT(SdifFileT* file) {
    SdifNameValuesLT* list = file->NameValues;
    if (!list) return 0;
    SdifNameValueTableT* curr = list->CurrNVT;
    size_t written = 0;
    for (SdifListNT* node = list->NVTList->Head; node; node = node->Next) {
        list->CurrNVT = (SdifNameValueTableT*)node->Data;
        written += SdifFWriteNameValueLCurrNVT(file);
    }
    list->CurrNVT = curr;
    return written;
}
