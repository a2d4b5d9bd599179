/* Helpers shared by the modules of the SDIF file library; not part of its
** interface and not installed. */
#ifndef SDIF_PRIVATE_H
#define SDIF_PRIVATE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

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

/* Print "*Sdif* text" and a line feed on the library's notice stream
** (standard error when none is set), when SdifFDiagnosticAllowed(file). */
void SdifFNotice(SdifFileT* file, const char* text);
/* SdifDataTypeKnown, its notice about file. */
int SdifFDataTypeKnown(SdifFileT* file, SdifDataTypeET type);

/* A malloc'd copy of s; none when memory is out (not reported). */
char* SdifCopyText(const char* s);

/* Report the end of data met on f as eEof "Sdiffread <position>" (-1
** without a stream), from the caller's source file and line. */
void SdifFReportEof(SdifFileT* file, FILE* f, const char* srcFile, int line);

/* ---- matrix and frame types ---- */

/* Whether a new type of signature takes a predefined type of predefinedSig
** as its base; one of another signature is reported and not taken. */
bool SdifTypeTakesPredefined(SdifSignature predefinedSig, SdifSignature signature,
                             const char* srcFile, int line);

/* The predefined type of signature in the table types (the matrix or the
** frame types); none for the predefined types' own file. */
template <class TypeT>
TypeT* SdifFPredefinedType(SdifFileT* file, SdifHashTableT* SdifFileT::*types,
                           SdifSignature signature) {
    if (!gSdifPredefinedTypes || gSdifPredefinedTypes == file || !(gSdifPredefinedTypes->*types))
        return nullptr;
    return (TypeT*)SdifHashTableSearchInt4(gSdifPredefinedTypes->*types, signature);
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
    TypeT* type = own ? (TypeT*)SdifHashTableSearchInt4(own, signature) : nullptr;
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
