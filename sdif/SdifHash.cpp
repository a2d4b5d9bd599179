#include "SdifHash.h"

#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"

SdifHashTableT* SdifCreateHashTable(unsigned int size, SdifHashIndexTypeET type, KillerFT killer) {
    if (size == 0) size = 1; /* a bucket index is taken modulo the size */
    SdifHashTableT* table = static_cast<SdifHashTableT*>(std::malloc(sizeof(SdifHashTableT)));
    SdifHashNT** buckets = static_cast<SdifHashNT**>(std::calloc(size, sizeof(SdifHashNT*)));
    if (!table || !buckets) {
        std::free(table);
        std::free(buckets);
        SDIF_ERROR(nullptr, eAllocFail, "HashTable allocation");
        return nullptr;
    }
    table->Table = buckets;
    table->HashSize = size;
    table->IndexType = type;
    table->Killer = killer;
    table->NbOfData = 0;
    return table;
}

void SdifMakeEmptyHashTable(SdifHashTableT* table) {
    for (unsigned int i = 0; i < table->HashSize; i++) {
        SdifHashNT* entry = table->Table[i];
        while (entry) {
            SdifHashNT* next = entry->Next;
            if (table->IndexType == eHashChar) std::free(entry->Index.Char[0]);
            if (table->Killer && entry->Data) table->Killer(entry->Data);
            std::free(entry);
            entry = next;
        }
        table->Table[i] = nullptr;
    }
    table->NbOfData = 0;
}

void SdifKillHashTable(SdifHashTableT* table) {
    if (!table) {
        SDIF_ERROR(nullptr, eFreeNull, "HashTable free");
        return;
    }
    SdifMakeEmptyHashTable(table);
    std::free(table->Table);
    std::free(table);
}

unsigned int SdifHashChar(const char* s, unsigned int nchar, unsigned int hashSize) {
    unsigned int h = 0;
    for (unsigned int i = 0; i < nchar; i++)
        h = ((h << 8) + static_cast<unsigned int>(static_cast<signed char>(s[i]))) % hashSize;
    return h;
}

static SdifHashNT* SdifFindChar(SdifHashTableT* table, const char* s, unsigned int nchar) {
    for (SdifHashNT* e = table->Table[SdifHashChar(s, nchar, table->HashSize)]; e; e = e->Next)
        if (std::strncmp(e->Index.Char[0], s, nchar) == 0) return e;
    return nullptr;
}

static SdifHashNT* SdifFindInt4(SdifHashTableT* table, unsigned int key) {
    /* Chains are in ascending key order: stop at the first larger key. */
    for (SdifHashNT* e = table->Table[key % table->HashSize]; e && e->Index.Int4[0] <= key;
         e = e->Next)
        if (e->Index.Int4[0] == key) return e;
    return nullptr;
}

void* SdifHashTableSearchChar(SdifHashTableT* table, const char* s, unsigned int nchar) {
    SdifHashNT* e = SdifFindChar(table, s, nchar);
    return e ? e->Data : nullptr;
}

void* SdifHashTableSearchInt4(SdifHashTableT* table, unsigned int key) {
    SdifHashNT* e = SdifFindInt4(table, key);
    return e ? e->Data : nullptr;
}

void* SdifHashTableSearch(SdifHashTableT* table, void* key, unsigned int nobj) {
    if (table->IndexType == eHashChar)
        return SdifHashTableSearchChar(table, static_cast<const char*>(key), nobj);
    return SdifHashTableSearchInt4(table, *static_cast<unsigned int*>(key));
}

static SdifHashNT* SdifNewEntry(void* data) {
    SdifHashNT* e = static_cast<SdifHashNT*>(std::malloc(sizeof(SdifHashNT)));
    if (!e) {
        SDIF_ERROR(nullptr, eAllocFail, "HashTable allocation");
        return nullptr;
    }
    e->Next = nullptr;
    e->Data = data;
    return e;
}

SdifHashTableT* SdifHashTablePutChar(SdifHashTableT* table, const char* s, unsigned int nchar,
                                     void* data) {
    SdifHashNT* present = SdifFindChar(table, s, nchar);
    if (present && present->Data) return table; /* the first value stays */
    /* One byte more than the key so that the copy is always a C string,
    ** even when the caller's length leaves out the NUL. */
    char* key = static_cast<char*>(std::calloc(static_cast<size_t>(nchar) + 1, 1));
    SdifHashNT* e = key ? SdifNewEntry(data) : nullptr;
    if (!e) {
        if (!key) SDIF_ERROR(nullptr, eAllocFail, "HashTable allocation");
        std::free(key);
        return table;
    }
    std::strncpy(key, s, nchar);
    e->Index.Char[0] = key;
    unsigned int h = SdifHashChar(s, nchar, table->HashSize);
    e->Next = table->Table[h];
    table->Table[h] = e;
    table->NbOfData++;
    return table;
}

SdifHashTableT* SdifHashTablePutInt4(SdifHashTableT* table, unsigned int key, void* data) {
    SdifHashNT** link = &table->Table[key % table->HashSize];
    while (*link && (*link)->Index.Int4[0] < key) link = &(*link)->Next;
    if (*link && (*link)->Index.Int4[0] == key && (*link)->Data) return table;
    SdifHashNT* e = SdifNewEntry(data);
    if (!e) return table;
    e->Index.Int4[0] = key;
    /* Ahead of an equal key without data, so that lookups find this one. */
    e->Next = *link;
    *link = e;
    table->NbOfData++;
    return table;
}

SdifHashTableT* SdifHashTablePut(SdifHashTableT* table, const void* key, unsigned int nobj,
                                 void* data) {
    if (table->IndexType == eHashChar)
        return SdifHashTablePutChar(table, static_cast<const char*>(key), nobj, data);
    return SdifHashTablePutInt4(table, *static_cast<const unsigned int*>(key), data);
}

unsigned int SdifHashTableGetNbData(SdifHashTableT* table) { return table->NbOfData; }

/* ---- iteration ---- */

static void SdifIteratorSeek(SdifHashTableIteratorT* iter, unsigned int from) {
    iter->Entry = nullptr;
    if (!iter->HTable) return;
    for (iter->BinIndex = from; iter->BinIndex < iter->HTable->HashSize; iter->BinIndex++) {
        iter->Entry = iter->HTable->Table[iter->BinIndex];
        if (iter->Entry) return;
    }
}

SdifHashTableIteratorT* SdifCreateHashTableIterator(SdifHashTableT* table) {
    SdifHashTableIteratorT* iter =
        static_cast<SdifHashTableIteratorT*>(std::malloc(sizeof(SdifHashTableIteratorT)));
    if (!iter) {
        SDIF_ERROR(nullptr, eAllocFail, "HashTableIterator allocation");
        return nullptr;
    }
    SdifHashTableIteratorInitLoop(iter, table);
    return iter;
}

void SdifKillHashTableIterator(SdifHashTableIteratorT* iter) { std::free(iter); }

int SdifHashTableIteratorInitLoop(SdifHashTableIteratorT* iter, SdifHashTableT* table) {
    iter->HTable = table;
    iter->BinIndex = 0;
    SdifIteratorSeek(iter, 0);
    return iter->Entry != nullptr;
}

int SdifHashTableIteratorIsNext(SdifHashTableIteratorT* iter) { return iter->Entry != nullptr; }

void* SdifHashTableIteratorGetNext(SdifHashTableIteratorT* iter) {
    SdifHashNT* e = iter->Entry;
    if (!e) return nullptr;
    if (e->Next)
        iter->Entry = e->Next;
    else
        SdifIteratorSeek(iter, iter->BinIndex + 1);
    return e->Data;
}
