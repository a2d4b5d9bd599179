/* Stream-ID tables: entries, the table, the text syntax and the 1IDS chunk. */
#include "SdifStreamID.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifHash.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifString.h"
#include "SdifTextSource.h"

namespace {

const char* const kStopChars = "{},;:";

void expectfailed(SdifFileT* file, int expected, int c, const char* label, int line) {
    char text[_SdifStringLen];
    if (c == EOF)
        snprintf(text, sizeof text, "Attempt to read '%c' failed, end of input : %s", expected,
                 label);
    else
        snprintf(text, sizeof text, "Attempt to read '%c' failed, read '%c' (%d) : %s", expected,
                 isprint(c) ? c : '?', c, label);
    SdifFError(file, eSyntax, text, SdifSourceName(__FILE__), line);
}

/* What the entry reader answers for the character that ended an entry. */
int entryend(int c) { return c == EOF ? 4 : c == '}' ? '}' : ';'; }

/* Skip to the end of a faulty entry; a closing brace is left to end the
** table. */
template <class Source>
int skipentry(Source& src) {
    return SdifSkipUntil(src, ";}");
}

/* "numID source:treeWay;" */
template <class Source>
int getonestreamid(SdifFileT* file, Source& src) {
    char word[_SdifStringLen];
    char source[_SdifStringLen];
    char treeWay[_SdifStringLen];
    char text[_SdifStringLen + 64];

    int c = SdifReadToken(src, SdifSkipSpace(src), word, sizeof word, kStopChars, false);
    if (word[0] == '\0' && (c == '}' || c == EOF)) return entryend(c);
    if (!SdifIsSpace(c)) {
        snprintf(text, sizeof text, "Wait a space_char after NumId '%s', read char: (%d) '%c'",
                 word, c, c == EOF ? ' ' : c);
        SDIF_ERROR(file, eSyntax, text);
        if (c == EOF || c == '}' || c == ';') return entryend(c);
        return entryend(skipentry(src));
    }

    SdifUInt4 numID = (SdifUInt4)atoi(word);
    if (SdifStreamIDTableGetSID(file->StreamIDsTable, numID)) {
        snprintf(text, sizeof text, "StreamID : %u ", numID);
        SDIF_ERROR(file, eReDefined, text);
        c = skipentry(src);
        if (c != ';') expectfailed(file, ';', c, "end of Stream ID skiped missing", __LINE__);
        return entryend(c);
    }

    c = SdifReadToken(src, SdifSkipSpace(src), source, sizeof source, kStopChars, false);
    if (SdifIsSpace(c)) c = SdifSkipSpace(src);
    if (c != ':') {
        expectfailed(file, ':', c, "Stream ID Source", __LINE__);
        if (c == EOF || c == '}' || c == ';') return entryend(c);
        return entryend(skipentry(src));
    }

    c = SdifReadToken(src, src.Get(), treeWay, sizeof treeWay, ";}", true);
    if (c != ';') {
        expectfailed(file, ';', c, "end of Stream ID TreeWay", __LINE__);
        return entryend(c);
    }
    SdifStreamIDTablePutSID(file->StreamIDsTable, numID, source, treeWay);
    return ';';
}

}  // namespace

/* ---- entries ---- */

SdifStreamIDT* SdifCreateStreamID(SdifUInt4 numID, const char* source, const char* treeWay) {
    SdifStreamIDT* sid = SdifCreateTextPair(&SdifStreamIDT::Source, source, &SdifStreamIDT::TreeWay,
                                            treeWay, "StreamID allocation", SDIF_HERE);
    if (sid) sid->NumID = numID;
    return sid;
}

void SdifKillStreamID(void* streamID) {
    SdifKillTextPair(streamID, &SdifStreamIDT::Source, &SdifStreamIDT::TreeWay, "StreamID free",
                     SDIF_HERE);
}

SdifUInt4 SdifStreamIDEntryGetSID(SdifStreamIDT* entry) { return entry->NumID; }
char* SdifStreamIDEntryGetSource(SdifStreamIDT* entry) { return entry->Source; }
char* SdifStreamIDEntryGetTreeWay(SdifStreamIDT* entry) { return entry->TreeWay; }

/* ---- table ---- */

SdifStreamIDTableT* SdifCreateStreamIDTable(unsigned int hashSize) {
    SdifStreamIDTableT* table = SdifCreateOwner(
        &SdifStreamIDTableT::SIDHT,
        [hashSize] {
            return SdifCreateHashTable(hashSize ? hashSize : 1, eHashInt4, SdifKillStreamID);
        },
        "StreamIDTable allocation", SDIF_HERE);
    if (!table) return nullptr;
    table->StreamID = _SdifStreamIDTableID;
    return table;
}

void SdifKillStreamIDTable(SdifStreamIDTableT* table) {
    SdifKillOwner(table, &SdifStreamIDTableT::SIDHT, SdifKillHashTable, "StreamIDTable free",
                  SDIF_HERE);
}

SdifStreamIDT* SdifStreamIDTablePutSID(SdifStreamIDTableT* table, SdifUInt4 numID,
                                       const char* source, const char* treeWay) {
    if (!table || !source || !treeWay) return nullptr;
    /* the table keeps the first entry; a second one would only leak */
    SdifStreamIDT* sid = SdifStreamIDTableGetSID(table, numID);
    if (sid) return sid;
    sid = SdifCreateStreamID(numID, source, treeWay);
    if (sid) SdifHashTablePutInt4(table->SIDHT, numID, sid);
    return sid;
}

SdifStreamIDT* SdifStreamIDTableGetSID(SdifStreamIDTableT* table, SdifUInt4 numID) {
    if (!table) return nullptr;
    return (SdifStreamIDT*)SdifHashTableSearchInt4(table->SIDHT, numID);
}

unsigned int SdifStreamIDTableGetNbData(SdifStreamIDTableT* table) {
    return table ? table->SIDHT->NbOfData : 0;
}

/* ---- text form ---- */

int SdifFGetOneStreamID(SdifFileT* file, int verbose, size_t* nbCharRead) {
    SdifStreamSource src{SdifFVerboseStream(file, verbose), nbCharRead};
    if (!src.f) return 4;
    return getonestreamid(file, src);
}

size_t SdifFGetAllStreamID(SdifFileT* file, int verbose) {
    size_t nbRead = 0;
    SdifStreamSource src{SdifFVerboseStream(file, verbose), &nbRead};
    if (!src.f) return 0;
    if (verbose == 's')
        SdifFNotice(
            file,
            "Warning, this file uses an intermediate format for the stream ID table.  "
            "Portablity with programs not using the QUENDA SDIF library is not guaranteed.");
    if (file->StreamIDPass) SDIF_ERROR(file, eOnlyOneChunk, "1IDS");

    int c = SdifSkipSpace(src);
    if (c != '{') {
        expectfailed(file, '{', c, "Begin of StreamID declarations", __LINE__);
    } else {
        while ((c = getonestreamid(file, src)) != '}') {
            if (c == 4) {
                SdifFReportEof(file, src.f, SdifSourceName(__FILE__), __LINE__);
                break;
            }
        }
    }
    file->StreamIDPass = 1;
    return nbRead;
}

size_t SdifFGetAllStreamIDfromSdifString(SdifFileT* file, SdifStringT* string) {
    size_t nbRead = 0;
    SdifTextSource src{string, &nbRead};
    while (getonestreamid(file, src) == ';') {
    }
    return nbRead;
}

size_t SdifFStreamIDTableToSdifString(SdifFileT* file, SdifStringT* string) {
    SdifStreamIDTableT* table = file->StreamIDsTable;
    if (!table) return 0;
    size_t before = string->SizeW;
    SdifHashTableT* ht = table->SIDHT;
    char number[16];
    for (unsigned int i = 0; i < ht->HashSize; i++) {
        for (SdifHashNT* entry = ht->Table[i]; entry; entry = entry->Next) {
            SdifStreamIDT* sid = (SdifStreamIDT*)entry->Data;
            snprintf(number, sizeof number, "%u ", sid->NumID);
            SdifStringAppend(string, number);
            SdifStringAppend(string, sid->Source);
            SdifStringAppend(string, ":");
            SdifStringAppend(string, sid->TreeWay);
            SdifStringAppend(string, ";\n");
        }
    }
    return string->SizeW - before;
}

/* ---- binary chunks ---- */

size_t SdifFReadAllStreamID(SdifFileT* file) {
    if (!file->Stream || !file->StreamIDsTable) return 0;
    size_t sizeR = SdifFReadTextChunkHeader(file);
    if (sizeR == 0) return 0;
    SdifFrameHeaderT* header = file->CurrFramH;
    file->StreamIDsTable->StreamID = header->NumID;

    if (header->NbMatrix == 0) {
        sizeR += SdifFGetAllStreamID(file, 's');
        return SdifFEndTextChunk(file, "1IDS", sizeR);
    }

    if (file->StreamIDPass) SDIF_ERROR(file, eOnlyOneChunk, "1IDS");
    sizeR += SdifFReadTextChunkMatrices(file, "1IDS",
                                        "Stream ID table text matrix must have exactly one column!",
                                        SdifFGetAllStreamIDfromSdifString);
    file->StreamIDPass = 1;
    return SdifFEndTextChunk(file, "1IDS", sizeR);
}

size_t SdifFWriteAllStreamID(SdifFileT* file) {
    SdifStreamIDTableT* table = file->StreamIDsTable;
    if (!table || SdifStreamIDTableGetNbData(table) == 0) return 0;
    return SdifFWriteTextChunk(file, SdifSignatureConst("1IDS"), table->StreamID,
                               SdifFStreamIDTableToSdifString);
}
