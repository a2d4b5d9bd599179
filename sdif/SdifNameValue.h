/* Name-value tables (the 1NVT chunk): pairs of texts kept per table, the
** list of a file's tables with its current table, their text form and
** their reading and writing as SDIF chunks. */
#ifndef SDIF_NAME_VALUE_H
#define SDIF_NAME_VALUE_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stream ID of a table read from a file before its frame header says more. */
#define _SdifNVTStreamID 0xFFFFFFFDu

/* ---- pairs ---- */

/* Private copies of name and value; none, after an eAllocFail report. */
SdifNameValueT* SdifCreateNameValue(const char* name, const char* value);
/* Free the pair (a KillerFT); none reports eFreeNull. */
void SdifKillNameValue(void* nameValue);

/* ---- one table ---- */

/* Empty table of hashSize buckets; none, after an eAllocFail report. */
SdifNameValueTableT* SdifCreateNameValueTable(SdifUInt4 streamID, unsigned int hashSize,
                                              unsigned int numTable);
/* Free the table and its pairs (a KillerFT). */
void SdifKillNameValueTable(void* table);
/* Pair stored under name, or none. */
SdifNameValueT* SdifNameValueTableGetNV(SdifNameValueTableT* table, const char* name);
/* Store a copy of name and value unless name is present already: answers
** the pair now stored under name (the first one when it was present), none
** when memory is out. */
SdifNameValueT* SdifNameValueTablePutNV(SdifNameValueTableT* table, const char* name,
                                        const char* value);
unsigned int SdifNameValueTableGetNumTable(SdifNameValueTableT* table);
SdifUInt4 SdifNameValueTableGetStreamID(SdifNameValueTableT* table);

/* ---- list of tables ---- */

/* No table yet; each new table gets hashSize buckets.  None, after an
** eAllocFail report. */
SdifNameValuesLT* SdifCreateNameValuesL(unsigned int hashSize);
/* Free every table and the list; none reports eFreeNull. */
void SdifKillNameValuesL(SdifNameValuesLT* list);
/* Append a table numbered count + 1 and make it current; answers list. */
SdifNameValuesLT* SdifNameValuesLNewTable(SdifNameValuesLT* list, SdifUInt4 streamID);
/* Make table numTable (from 1) current and answer it.  A number beyond the
** tables reports eArrayPosition, leaves no current table and answers none. */
SdifNameValueTableT* SdifNameValuesLSetCurrNVT(SdifNameValuesLT* list, unsigned int numTable);
/* Remove the current table; none is current afterwards.  Answers list. */
SdifNameValuesLT* SdifNameValuesLKillCurrNVT(SdifNameValuesLT* list);
/* 1 when some table holds at least one pair. */
int SdifNameValuesLIsNotEmpty(SdifNameValuesLT* list);
/* The pair of the first table, in list order, that has name; or none. */
SdifNameValueT* SdifNameValuesLGet(SdifNameValuesLT* list, const char* name);
/* Lookup and put on the current table (none without one).  A name present
** already keeps its first value. */
SdifNameValueT* SdifNameValuesLGetCurrNVT(SdifNameValuesLT* list, const char* name);
SdifNameValueT* SdifNameValuesLPutCurrNVT(SdifNameValuesLT* list, const char* name,
                                          const char* value);
/* The same after turning every tab and line feed of both texts into a blank,
** so that the pair always writes as one line. */
SdifNameValueT* SdifNameValuesLPutCurrNVTTranslate(SdifNameValuesLT* list, const char* name,
                                                   const char* value);

/* ---- text form: one "name\tvalue\n" line per pair ---- */

/* Add the pairs of text to the file's current table.  The text ends at its
** NUL or at a line without a tab or without a line feed; a name present
** already is reported (eReDefined) and dropped.  Answers the pairs added. */
size_t SdifFNameValueLCurrNVTfromString(SdifFileT* file, const char* text);
/* Append the current table's lines, in table order, to string; answers the
** characters appended. */
size_t SdifFNameValueLCurrNVTtoSdifString(SdifFileT* file, SdifStringT* string);

/* One line of the brace form from the binary ('s') or text ('t') stream,
** added as a pair ('t': trailing blanks and a final ';' dropped).  Answers
** '\n' for a pair line, '}' for the closing line, 4 at end of input. */
int SdifFGetOneNameValue(SdifFileT* file, int verbose, size_t* nbCharRead);
/* "{", pair lines, "}" from the binary stream; answers characters read. */
size_t SdifFGetNameValueLCurrNVT(SdifFileT* file);
/* The same from the text stream (text SDIF files). */
size_t SdifFScanNameValueLCurrNVT(SdifFileT* file);

/* ---- binary chunks ---- */

/* After the ASCII-chunk loop has read the "1NVT" signature and made a new
** current table: read the frame header, then its text matrices or, with no
** matrix, the older brace form.  Answers the bytes read after the
** signature. */
size_t SdifFReadNameValueLCurrNVT(SdifFileT* file);
/* The current table as one 1NVT text frame; answers the bytes written. */
size_t SdifFWriteNameValueLCurrNVT(SdifFileT* file);
/* Every table in list order, one frame each; the current table is kept. */
size_t SdifFWriteAllNameValueNVT(SdifFileT* file);

#ifdef __cplusplus
}
#endif

#endif
