/* Helpers shared by the modules of the SDIF file library; not part of its
** interface and not installed. */
#ifndef SDIF_PRIVATE_H
#define SDIF_PRIVATE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifCellType.h"
#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifGlobals.h"
#include "SdifHash.h"
#include "SdifRWLowLevel.h"

/* ---- cell types ---- */

/* Largest code a SdifDataTypeET can hold (its enumerators need 10 bits);
** a code read from a file beyond it never enters a header as it stands. */
constexpr SdifUInt4 kSdifLargestTypeCode = 0x3FF;

/* The nine types whose cells are read, written and held as they are. */
inline bool SdifDataTypeHandled(SdifDataTypeET type) {
    return SdifCellTypeSwitch(
        type, [](auto) { return true; }, [] { return false; });
}

/* Bytes one cell takes as read and held.  A type the library cannot handle
** is held as Float4, the fallback every reader and writer applies to it. */
inline size_t SdifCellBytes(SdifDataTypeET type) {
    return SdifDataTypeHandled(type) ? SdifSizeofDataType(type) : sizeof(SdifFloat4);
}

/* Bytes a row buffer keeps per cell: an unhandled type is held as Float4,
** yet callers may copy cells by its nominal width, so the larger of the two. */
inline size_t SdifCellRoom(SdifDataTypeET type) {
    size_t room = SdifCellBytes(type);
    return SdifSizeofDataType(type) > room ? SdifSizeofDataType(type) : room;
}

/* Make *buf (capacity *cap bytes) hold need bytes, by realloc; false when
** memory is out or need passes a 32-bit capacity (the buffer stays). */
bool SdifReserveBytes(void** buf, SdifUInt4* cap, uint64_t need);

/* The row takes the type of a matrix header before the header is tested,
** as callers expect, and keeps its cell count: the buffer grows to hold
** that many cells of a wider type (at most 8 times what it held, so still
** bounded by what the file backed); only when it cannot does the count
** shrink to the cells the buffer holds. */
inline void SdifOneRowSetType(SdifOneRowT* row, SdifDataTypeET type) {
    if (!row) return;
    const size_t room = SdifCellRoom(type);
    row->DataType = type;
    if (SdifReserveBytes(&row->Data.Void, &row->NbGranule,
                         static_cast<uint64_t>(row->NbData) * room))
        return;
    SdifUInt4 fit = static_cast<SdifUInt4>(row->NbGranule / room);
    if (row->NbData > fit) row->NbData = fit;
}

/* ---- notices, texts, reports ---- */

/* The calling source file and line, for a report made on its behalf. */
#define SDIF_HERE SdifSourceName(__FILE__), __LINE__

/* Print "*Sdif* text" and a line feed on the library's notice stream
** (standard error when none is set), when SdifFDiagnosticAllowed(file). */
void SdifFNotice(SdifFileT* file, const char* text);
/* SdifDataTypeKnown, its notice about file. */
int SdifFDataTypeKnown(SdifFileT* file, SdifDataTypeET type);

/* The stream a text reader named by verbose reads: 't' the text stream,
** 's' the binary one (text in the intermediate chunk form), else none. */
inline FILE* SdifFVerboseStream(SdifFileT* file, int verbose) {
    return verbose == 't' ? file->TextStream : verbose == 's' ? file->Stream : nullptr;
}

/* A malloc'd copy of s; none when memory is out (not reported). */
char* SdifCopyText(const char* s);

/* Report the end of data met on f as eEof "Sdiffread <position>" (-1
** without a stream), from the caller's source file and line. */
void SdifFReportEof(SdifFileT* file, FILE* f, const char* srcFile, int line);

/* ---- selection elements ---- */

/* A zero-filled element; none when memory is out (reported). */
SdifSelectElementT* SdifSelectNewElement(void);
/* Append a copy of a complete element; 0 when memory is out (reported). */
int SdifSelectPutElement(SdifListT* list, const SdifSelectElementT& complete);

/* ---- records that own a container or texts ---- */

/* A malloc'd T whose member owns what make() makes, its other fields left
** to the caller; when either cannot be had, eAllocFail with allocText and
** none. */
template <class T, class C, class Make>
T* SdifCreateOwner(C* T::*member, Make make, const char* allocText, const char* srcFile, int line) {
    T* record = (T*)std::malloc(sizeof(T));
    C* made = record ? make() : nullptr;
    if (!made) {
        std::free(record);
        SdifFError(nullptr, eAllocFail, allocText, srcFile, line);
        return nullptr;
    }
    record->*member = made;
    return record;
}

/* Free record and, with kill, what its member owns; no record is reported
** as eFreeNull with freeText. */
template <class T, class C, class Kill>
void SdifKillOwner(T* record, C* T::*member, Kill kill, const char* freeText, const char* srcFile,
                   int line) {
    if (!record) {
        SdifFError(nullptr, eFreeNull, freeText, srcFile, line);
        return;
    }
    kill(record->*member);
    std::free(record);
}

/* A malloc'd T holding copies of a and b in its members first and second,
** its other fields left to the caller; when any cannot be had, eAllocFail
** with allocText and none. */
template <class T>
T* SdifCreateTextPair(char* T::*first, const char* a, char* T::*second, const char* b,
                      const char* allocText, const char* srcFile, int line) {
    T* record = (T*)std::malloc(sizeof(T));
    if (record) {
        record->*first = SdifCopyText(a);
        record->*second = SdifCopyText(b);
        if (record->*first && record->*second) return record;
        std::free(record->*first);
        std::free(record->*second);
        std::free(record);
    }
    SdifFError(nullptr, eAllocFail, allocText, srcFile, line);
    return nullptr;
}

/* Free a record of SdifCreateTextPair; none is reported as eFreeNull with
** freeText. */
template <class T>
void SdifKillTextPair(void* p, char* T::*first, char* T::*second, const char* freeText,
                      const char* srcFile, int line) {
    T* record = (T*)p;
    if (!record) {
        SdifFError(nullptr, eFreeNull, freeText, srcFile, line);
        return;
    }
    std::free(record->*first);
    std::free(record->*second);
    std::free(record);
}

/* ---- matrix and frame types ----
** A matrix type keeps its column definitions in a list, a frame type its
** components in a hash table; either may stand on a predefined type of the
** same signature, whose definitions come first and are counted first. */

/* Whether a new type of signature takes a predefined type of predefinedSig
** as its base; one of another signature is reported and not taken. */
bool SdifTypeTakesPredefined(SdifSignature predefinedSig, SdifSignature signature,
                             const char* srcFile, int line);

/* The first entry of list, or of table in bucket order, that found accepts;
** none when there is none (or no list or table). */
template <class T, class P>
T* SdifListFind(const SdifListT* list, P found) {
    if (!list) return nullptr;
    for (SdifListNT* node = list->Head; node; node = node->Next) {
        T* entry = (T*)node->Data;
        if (entry && found(entry)) return entry;
    }
    return nullptr;
}

template <class T, class P>
T* SdifHashTableFind(const SdifHashTableT* table, P found) {
    if (!table) return nullptr;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* node = table->Table[i]; node; node = node->Next) {
            T* entry = (T*)node->Data;
            if (entry && found(entry)) return entry;
        }
    return nullptr;
}

inline SdifMatrixTypeT* SdifTypeBase(const SdifMatrixTypeT* type) { return type->MatrixTypePre; }
inline SdifFrameTypeT* SdifTypeBase(const SdifFrameTypeT* type) { return type->FrameTypePre; }
inline unsigned int SdifTypeDefCount(const SdifMatrixTypeT* type) { return type->NbColumnDef; }
inline unsigned int SdifTypeDefCount(const SdifFrameTypeT* type) { return type->NbComponent; }

/* What a type's definitions are. */
template <class TypeT>
struct SdifTypeDefOf;
template <>
struct SdifTypeDefOf<SdifMatrixTypeT> {
    typedef SdifColumnDefT type;
};
template <>
struct SdifTypeDefOf<SdifFrameTypeT> {
    typedef SdifComponentT type;
};

/* A malloc'd definition named by a copy of name, numbered num; when either
** cannot be had, eAllocFail with allocText and none. */
template <class DefT>
DefT* SdifCreateTypeDef(const char* name, unsigned int num, const char* allocText,
                        const char* srcFile, int line) {
    DefT* def = (DefT*)std::malloc(sizeof(DefT));
    char* copy = SdifCopyText(name);
    if (!def || !copy) {
        std::free(def);
        std::free(copy);
        SdifFError(nullptr, eAllocFail, allocText, srcFile, line);
        return nullptr;
    }
    def->Name = copy;
    def->Num = num;
    return def;
}

template <class DefT>
void SdifKillTypeDef(void* p) {
    DefT* def = (DefT*)p;
    if (!def) return;
    std::free(def->Name);
    std::free(def);
}

/* The type's own definition that found accepts (the base not looked at). */
template <class P>
SdifColumnDefT* SdifTypeOwnDef(const SdifMatrixTypeT* type, P found) {
    return SdifListFind<SdifColumnDefT>(type->ColumnUserList, found);
}
template <class P>
SdifComponentT* SdifTypeOwnDef(const SdifFrameTypeT* type, P found) {
    return SdifHashTableFind<SdifComponentT>(type->ComponentUseHT, found);
}

/* The definition named name, the base type's first; none without either. */
template <class TypeT>
typename SdifTypeDefOf<TypeT>::type* SdifTypeDefNamed(TypeT* type, const char* name) {
    if (!type || !name) return nullptr;
    if (TypeT* base = SdifTypeBase(type))
        if (auto def = SdifTypeDefNamed(base, name)) return def;
    return SdifTypeOwnDef(type, [name](auto def) { return std::strcmp(def->Name, name) == 0; });
}

/* Definition n (from 1, the base type's first); none out of range. */
template <class TypeT>
typename SdifTypeDefOf<TypeT>::type* SdifTypeNthDef(TypeT* type, unsigned int n) {
    if (!type || n == 0 || n > SdifTypeDefCount(type)) return nullptr;
    TypeT* base = SdifTypeBase(type);
    if (base && n <= SdifTypeDefCount(base)) return SdifTypeNthDef(base, n);
    return SdifTypeOwnDef(type, [n](auto def) { return def->Num == n; });
}

inline void SdifTypeSetBase(SdifMatrixTypeT* type, SdifMatrixTypeT* base) {
    type->MatrixTypePre = base;
    type->NbColumnDef = base->NbColumnDef;
}
inline void SdifTypeSetBase(SdifFrameTypeT* type, SdifFrameTypeT* base) {
    type->FrameTypePre = base;
    type->NbComponent = base->NbComponent;
}

/* A new type of signature, open to changes, whose own definitions go in
** what makeOwn(type) makes (false when it cannot); on predefined when that
** is of the same signature.  Memory out: eAllocFail with allocText, none. */
template <class TypeT, class MakeOwn>
TypeT* SdifCreateType(SdifSignature signature, TypeT* predefined, MakeOwn makeOwn,
                      const char* allocText, const char* srcFile, int line) {
    TypeT* type = (TypeT*)std::calloc(1, sizeof(TypeT));
    if (!type || !makeOwn(type)) {
        std::free(type);
        SdifFError(nullptr, eAllocFail, allocText, srcFile, line);
        return nullptr;
    }
    type->Signature = signature;
    type->ModifMode = eCanModif;
    if (predefined && SdifTypeTakesPredefined(predefined->Signature, signature, srcFile, line))
        SdifTypeSetBase(type, predefined);
    return type;
}

/* The type of signature in table (the matrix or the frame types); none
** without the table. */
template <class TypeT>
TypeT* SdifTypeInTable(SdifHashTableT* table, SdifSignature signature) {
    return table ? (TypeT*)SdifHashTableSearchInt4(table, signature) : nullptr;
}

/* The predefined type of signature in the table types (the matrix or the
** frame types); none for the predefined types' own file. */
template <class TypeT>
TypeT* SdifFPredefinedType(SdifFileT* file, SdifHashTableT* SdifFileT::*types,
                           SdifSignature signature) {
    if (!gSdifPredefinedTypes || gSdifPredefinedTypes == file) return nullptr;
    return SdifTypeInTable<TypeT>(gSdifPredefinedTypes->*types, signature);
}

/* The file's type of signature in its table types (the matrix or the frame
** types).  Asked for the first time, a type is made on the predefined one of
** that signature and kept; when there is none either, eUnDefined is
** reported with "<kind> : 'sig' (0x...)" and there is no type. */
template <class TypeT>
TypeT* SdifFTestType(SdifFileT* file, SdifHashTableT* SdifFileT::*types, SdifSignature signature,
                     TypeT* (*create)(SdifSignature, TypeT*), const char* kind, const char* srcFile,
                     int line) {
    SdifHashTableT* own = file->*types;
    TypeT* type = SdifTypeInTable<TypeT>(own, signature);
    if (type) return type;
    TypeT* pre = SdifFPredefinedType<TypeT>(file, types, signature);
    if (pre) {
        type = create(signature, pre);
        if (type) SdifHashTablePutInt4(own, signature, type);
        return type;
    }
    char text[_SdifStringLen];
    snprintf(text, sizeof text, "%s : '%s' (0x%08x)", kind, SdifSignatureToString(signature),
             signature);
    SdifFError(file, eUnDefined, text, srcFile, line);
    return nullptr;
}

/* 1 when the type may still change; else 0, reported as eCompletedYet with
** "<kind> 'sig' ". */
template <class TypeT>
int SdifFTestTypeModifMode(SdifFileT* file, const TypeT* type, const char* kind,
                           const char* srcFile, int line) {
    if (type->ModifMode != eNoModif) return 1;
    char text[_SdifStringLen];
    snprintf(text, sizeof text, "%s '%s' ", kind, SdifSignatureToString(type->Signature));
    SdifFError(file, eCompletedYet, text, srcFile, line);
    return 0;
}

/* ---- the 1NVT and 1IDS chunks ----
** Both hold text: in the binary form, one-column text matrices; in the
** older intermediate form, no matrix and the brace text after the frame
** header. */

/* Reads a chunk's text into the file's tables, or appends it to text. */
typedef size_t (*SdifChunkTextFuncT)(SdifFileT* file, SdifStringT* text);

/* The frame header of a chunk whose signature was just read, the chunk's
** start remembered; bytes read, 0 when it failed (reported). */
size_t SdifFReadTextChunkHeader(SdifFileT* file);

/* The header's matrices, the text of each handed to parse; a matrix of
** other than text is reported and skipped, one of other than one column
** (columnText) only reported.  Answers the bytes read. */
size_t SdifFReadTextChunkMatrices(SdifFileT* file, const char* chunkName, const char* columnText,
                                  SdifChunkTextFuncT parse);

/* After a chunk of 1NVT, 1TYP or 1IDS: notice a Size that disagrees with
** sizeR, the bytes read since the signature, and answer sizeR. */
size_t SdifFEndTextChunk(SdifFileT* file, const char* chunkName, size_t sizeR);

/* A chunk of one text matrix holding what toText appends; bytes written,
** 0 when the text cannot be made. */
size_t SdifFWriteTextChunk(SdifFileT* file, SdifSignature sig, SdifUInt4 streamID,
                           SdifChunkTextFuncT toText);

#endif
