/* Hash tables with character keys (private copies) or 32-bit integer keys.
** The first value stored under a key stays: a later put of the same key
** changes nothing. */
#ifndef SDIF_HASH_H
#define SDIF_HASH_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Table of size buckets (at least 1); entries' data are freed with killer
** when one is given.  None, after an eAllocFail report, when memory is out. */
SdifHashTableT* SdifCreateHashTable(unsigned int size, SdifHashIndexTypeET type, KillerFT killer);
/* Free every entry (key copies, and data through the killer); keep the table. */
void SdifMakeEmptyHashTable(SdifHashTableT* table);
/* Empty and free the table; none reports eFreeNull. */
void SdifKillHashTable(SdifHashTableT* table);

/* Bucket of the first nchar bytes of s: h = ((h << 8) + c) mod hashSize,
** c taken as a signed char. */
unsigned int SdifHashChar(const char* s, unsigned int nchar, unsigned int hashSize);

/* Data stored under the key, or none. */
void* SdifHashTableSearchChar(SdifHashTableT* table, const char* s, unsigned int nchar);
void* SdifHashTableSearchInt4(SdifHashTableT* table, unsigned int key);
/* Dispatch on the table's key kind (s for character keys, *(unsigned*)key
** for integer keys). */
void* SdifHashTableSearch(SdifHashTableT* table, void* key, unsigned int nobj);

/* Store data under the key unless the key already holds non-null data;
** answers the table.  Character keys: the first nchar bytes are compared
** (pass the length with its NUL to store whole names). */
SdifHashTableT* SdifHashTablePutChar(SdifHashTableT* table, const char* s, unsigned int nchar,
                                     void* data);
SdifHashTableT* SdifHashTablePutInt4(SdifHashTableT* table, unsigned int key, void* data);
SdifHashTableT* SdifHashTablePut(SdifHashTableT* table, const void* key, unsigned int nobj,
                                 void* data);

/* Number of entries. */
unsigned int SdifHashTableGetNbData(SdifHashTableT* table);

/* Iteration over every entry in table order: bucket 0 first, each chain in
** its order (ascending keys for integer tables). */
typedef struct SdifHashTableIteratorS {
    SdifHashTableT* HTable; /* table walked */
    unsigned int BinIndex;  /* bucket of Entry */
    SdifHashNT* Entry;      /* next entry to give, or none at the end */
} SdifHashTableIteratorT;

/* New iterator set on table (which may be none); none when memory is out. */
SdifHashTableIteratorT* SdifCreateHashTableIterator(SdifHashTableT* table);
void SdifKillHashTableIterator(SdifHashTableIteratorT* iter);
/* Start over on table; answers 1 when it has an entry. */
int SdifHashTableIteratorInitLoop(SdifHashTableIteratorT* iter, SdifHashTableT* table);
int SdifHashTableIteratorIsNext(SdifHashTableIteratorT* iter);
/* Data of the next entry (none at the end). */
void* SdifHashTableIteratorGetNext(SdifHashTableIteratorT* iter);

#ifdef __cplusplus
}
#endif

#endif
