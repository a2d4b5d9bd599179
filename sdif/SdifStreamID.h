/* Stream-ID tables (the 1IDS chunk): for each stream number a source name
** and a tree way, with their text syntax "{ 1 source:tree/way; ... }" and
** their reading and writing as SDIF chunks. */
#ifndef SDIF_STREAM_ID_H
#define SDIF_STREAM_ID_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Second word of a new table; also the stream ID of the 1IDS frame. */
#define _SdifStreamIDTableID 0xFFFFFFFEu

/* ---- entries ---- */

/* Private copies of source and treeWay; none, after an eAllocFail report. */
SdifStreamIDT* SdifCreateStreamID(SdifUInt4 numID, const char* source, const char* treeWay);
/* Free an entry (a KillerFT); none reports eFreeNull. */
void SdifKillStreamID(void* streamID);
SdifUInt4 SdifStreamIDEntryGetSID(SdifStreamIDT* entry);
char* SdifStreamIDEntryGetSource(SdifStreamIDT* entry);
char* SdifStreamIDEntryGetTreeWay(SdifStreamIDT* entry);

/* ---- table ---- */

/* Empty table of hashSize buckets; none, after an eAllocFail report. */
SdifStreamIDTableT* SdifCreateStreamIDTable(unsigned int hashSize);
/* Free the table and its entries; none reports eFreeNull. */
void SdifKillStreamIDTable(SdifStreamIDTableT* table);
/* Store an entry unless numID is present already: answers the entry now
** stored under numID (the first one when it was present), none when memory
** is out. */
SdifStreamIDT* SdifStreamIDTablePutSID(SdifStreamIDTableT* table, SdifUInt4 numID,
                                       const char* source, const char* treeWay);
/* Entry of numID, or none. */
SdifStreamIDT* SdifStreamIDTableGetSID(SdifStreamIDTableT* table, SdifUInt4 numID);
unsigned int SdifStreamIDTableGetNbData(SdifStreamIDTableT* table);

/* ---- text form ---- */

/* One entry "numID source:treeWay;" from the binary ('s') or text ('t')
** stream.  Answers ';' after an entry (stored, or reported and skipped),
** '}' at the closing brace, 4 at end of input. */
int SdifFGetOneStreamID(SdifFileT* file, int verbose, size_t* nbCharRead);
/* "{", entries, "}" from the binary ('s', with the intermediate-format
** warning) or text ('t') stream; a second 1IDS chunk is reported
** (eOnlyOneChunk) and still read.  Answers the characters read. */
size_t SdifFGetAllStreamID(SdifFileT* file, int verbose);
/* Entries of a text matrix (no braces), up to the end of string or a '}'. */
size_t SdifFGetAllStreamIDfromSdifString(SdifFileT* file, SdifStringT* string);
/* Append one "numID source:treeWay;\n" line per entry, in table order;
** answers the characters appended. */
size_t SdifFStreamIDTableToSdifString(SdifFileT* file, SdifStringT* string);

/* ---- binary chunks ---- */

/* After the "1IDS" signature: frame header, then its text matrices or, with
** no matrix, the intermediate brace form.  Answers the bytes read after the
** signature. */
size_t SdifFReadAllStreamID(SdifFileT* file);
/* The table as one 1IDS text frame (nothing for an empty table); answers
** the bytes written. */
size_t SdifFWriteAllStreamID(SdifFileT* file);

#ifdef __cplusplus
}
#endif

#endif
