/* Byte-level reading and writing of SDIF files: cell types and widths,
** padding, signatures and their text, big-endian binary transfer of every
** cell type, the tokenisers of the text forms (on a stream or on an
** SdifStringT) and the per-thread scratch record. */
#ifndef SDIF_RW_LOW_LEVEL_H
#define SDIF_RW_LOW_LEVEL_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of the little-endian write conversion buffer (2048, 1024 or 512
** items per fwrite). */
#define _SdifBSLittleE 4096

/* Stream of the library's notices ("*Sdif* %s\n"), defined in SdifHard_OS.cpp. */
extern FILE* SdifStdErr;

/* ---- per-thread scratch record ---- */

/* The calling thread's record, created zero-filled (node stock of 1024
** nodes per block) on first use; none when memory is out. */
SdifGlobalsT* GetSdifGlobals(void);
/* Destructor of the thread key: empties the node stock and frees the record. */
void FreeGlobals(void* record);

/* ---- byte order ---- */

/* Reverse the bytes of each of n items in place (n = 0 does nothing). */
void SdifSwap2(void* ptr, size_t n);
void SdifSwap4(void* ptr, size_t n);
void SdifSwap8(void* ptr, size_t n);
/* The same into dst, src left intact. */
void SdifSwap2Copy(const void* src, void* dst, size_t n);
void SdifSwap4Copy(const void* src, void* dst, size_t n);
void SdifSwap8Copy(const void* src, void* dst, size_t n);

/* ---- cell types, padding ---- */

/* Width of one cell in bytes: the low byte of the code. */
size_t SdifSizeofDataType(SdifDataTypeET type);
/* 1 for the nine handled codes; 0 otherwise (with a notice for Int8/UInt8). */
int SdifDataTypeKnown(SdifDataTypeET type);
/* Zero bytes that follow a chunk of nbBytes so the next one starts on an
** 8-byte boundary. */
size_t SdifPaddingCalculate(size_t nbBytes);
/* The same; the stream is not used. */
size_t SdifFPaddingCalculate(FILE* f, size_t nbBytes);
/* 1 when a and b differ by less than 2^-23. */
int SdifFloat8Equ(SdifFloat8 a, SdifFloat8 b);

/* ---- signatures ---- */

/* Four characters and a NUL in one of the calling thread's eight round-robin
** buffers: the ninth call overwrites the first text, copy what you keep.
** The library must be started. */
char* SdifSignatureToString(SdifSignature sig);
/* Signature from the first four characters of s (a NUL ends the packing;
** the rest stays 0).  The library must be started. */
SdifSignature SdifStringToSignature(const char* s);
/* 1 when a and b are equal under gSdifSignatureVersionMask. */
int SdifSignatureCmpNoVersion(SdifSignature a, SdifSignature b);

/* ---- binary transfer ----
** Each routine uses only file->Stream and answers the number of items
** transferred.  Typed reads report a short read as eEof "Sdiffread %ld"
** (stream position) and still swap and answer what arrived; typed writes
** report a short write as eEof "Sdiffwrite %ld".  The caller's array is
** never modified by a write. */

/* Raw fread / fwrite on the file's stream, no report. */
size_t Sdiffread(void* ptr, size_t size, size_t count, SdifFileT* file);
size_t Sdiffwrite(const void* ptr, size_t size, size_t count, SdifFileT* file);

size_t SdiffReadChar(SdifChar* ptr, size_t n, SdifFileT* file);
size_t SdiffReadInt1(SdifInt1* ptr, size_t n, SdifFileT* file);
size_t SdiffReadUInt1(SdifUInt1* ptr, size_t n, SdifFileT* file);
size_t SdiffReadInt2(SdifInt2* ptr, size_t n, SdifFileT* file);
size_t SdiffReadUInt2(SdifUInt2* ptr, size_t n, SdifFileT* file);
size_t SdiffReadInt4(SdifInt4* ptr, size_t n, SdifFileT* file);
size_t SdiffReadUInt4(SdifUInt4* ptr, size_t n, SdifFileT* file);
size_t SdiffReadFloat4(SdifFloat4* ptr, size_t n, SdifFileT* file);
size_t SdiffReadFloat8(SdifFloat8* ptr, size_t n, SdifFileT* file);

size_t SdiffWriteChar(const SdifChar* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteInt1(const SdifInt1* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteUInt1(const SdifUInt1* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteInt2(const SdifInt2* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteUInt2(const SdifUInt2* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteInt4(const SdifInt4* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteUInt4(const SdifUInt4* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteFloat4(const SdifFloat4* ptr, size_t n, SdifFileT* file);
size_t SdiffWriteFloat8(const SdifFloat8* ptr, size_t n, SdifFileT* file);

/* The swapping paths alone, for callers that know the host is little-endian. */
size_t SdiffreadLittleEndian2(void* ptr, size_t n, SdifFileT* file);
size_t SdiffreadLittleEndian4(void* ptr, size_t n, SdifFileT* file);
size_t SdiffreadLittleEndian8(void* ptr, size_t n, SdifFileT* file);
size_t SdiffwriteLittleEndian2(const void* ptr, size_t n, SdifFileT* file);
size_t SdiffwriteLittleEndian4(const void* ptr, size_t n, SdifFileT* file);
size_t SdiffwriteLittleEndian8(const void* ptr, size_t n, SdifFileT* file);

/* One signature: 1 (and 4 added to *nbBytesRead), or 4 at end of file with
** *sig set to 0 and no report. */
int SdiffReadSignature(SdifSignature* sig, SdifFileT* file, size_t* nbBytesRead);
/* Items written (1 or 0). */
size_t SdiffWriteSignature(const SdifSignature* sig, SdifFileT* file);
/* Bytes written: the text without its NUL. */
size_t SdiffWriteString(const char* s, SdifFileT* file);

/* ---- text tokenisers ----
** Each stream routine adds the characters it reads to *nbCharRead where it
** takes one; the ...fromSdifString twins read an SdifStringT and keep no
** count, its end playing the end of file.  The answer 4 (= eEof) means end
** of input; reserved characters are the five ",;{}:". */

/* 1 when c is one of ",;{}:", else 0. */
int SdifIsAReservedChar(int c);
/* Replace each tab and line feed of s by a blank, in place; answers s. */
char* SdifStringToNV(char* s);

/* Skip white space and answer how many characters were skipped.  At end of
** file the stream routine reports eEof "SdiffReadSpace". */
size_t SdiffReadSpace(FILE* f);
size_t SdiffReadSpacefromSdifString(SdifStringT* str);

/* A name ended by a reserved character, after leading white space.  Answers
** the reserved character (s NUL-terminated); -1 when white space inside is
** followed by another word (eWordCut warning, s holds the first word); 4 at
** end of input; 32 with an eTokenLength report when ncMax characters (the
** size of s) pass without a reserved character. */
int SdiffGetString(FILE* f, char* s, size_t ncMax, size_t* nbCharRead);
int SdiffGetStringfromSdifString(SdifStringT* str, char* s, size_t ncMax);

/* Up to four characters after leading white space, stopped early by a
** reserved character, white space or end of input; unfilled bytes stay 0.
** Answers the last character read (the fourth, or the delimiter), or 4 at
** end of input with *sig 0. */
int SdiffGetSignature(FILE* f, SdifSignature* sig, size_t* nbCharRead);
int SdiffGetSignaturefromSdifString(SdifStringT* str, SdifSignature* sig);

/* A word ended by one of stopChars (answered, s NUL-terminated).  White
** space ends the word: the blanks after it are skipped and the next
** character read; a stop character is answered, anything else is consumed
** and -1 answered (eWordCut warning).  A NUL character read answers 0; end
** of input answers 4.  When s (ncMax bytes) is full the next character
** decides: a NUL reports eTokenLength and answers 32, anything else answers
** 0 with s left unterminated. */
int SdiffGetWordUntil(FILE* f, char* s, size_t ncMax, size_t* nbCharRead, const char* stopChars);
int SdiffGetWordUntilfromSdifString(SdifStringT* str, char* s, size_t ncMax, const char* stopChars);
/* SdiffGetWordUntil after SdiffReadSpace. */
int SdiffGetStringUntil(FILE* f, char* s, size_t ncMax, size_t* nbCharRead, const char* stopChars);
int SdiffGetStringUntilfromSdifString(SdifStringT* str, char* s, size_t ncMax,
                                      const char* stopChars);
/* As SdiffGetWordUntil, white space being part of the word. */
int SdiffGetStringWeakUntil(FILE* f, char* s, size_t ncMax, size_t* nbCharRead,
                            const char* stopChars);
int SdiffGetStringWeakUntilfromSdifString(SdifStringT* str, char* s, size_t ncMax,
                                          const char* stopChars);

/* Skip white space and printable characters up to one of stopChars (which
** is answered); a character that is neither is answered at once (a NUL
** answers 0); end of input answers 4. */
int SdifSkipASCIIUntil(FILE* f, size_t* nbCharRead, const char* stopChars);
int SdifSkipASCIIUntilfromSdifString(SdifStringT* str, const char* stopChars);

/* ---- numbers in text ----
** One fscanf per item ("%f", "%lf", "%hhi", "%hi", "%i", "%hhu", "%hu",
** "%u"); answer the items converted, stopping at the first failure.
** SdiffScanChar reads a blank-delimited word (at most 63 characters) and
** keeps its second character: a character cell is written 'x'. */
size_t SdiffScanFloat4(FILE* f, SdifFloat4* ptr, size_t n);
size_t SdiffScanFloat8(FILE* f, SdifFloat8* ptr, size_t n);
size_t SdiffScanInt1(FILE* f, SdifInt1* ptr, size_t n);
size_t SdiffScanInt2(FILE* f, SdifInt2* ptr, size_t n);
size_t SdiffScanInt4(FILE* f, SdifInt4* ptr, size_t n);
size_t SdiffScanUInt1(FILE* f, SdifUInt1* ptr, size_t n);
size_t SdiffScanUInt2(FILE* f, SdifUInt2* ptr, size_t n);
size_t SdiffScanUInt4(FILE* f, SdifUInt4* ptr, size_t n);
size_t SdiffScanChar(FILE* f, SdifChar* ptr, size_t n);

#ifdef __cplusplus
}

/* Signature of a four-character literal, usable in constants and case
** labels: what SdifStringToSignature answers, without the started library. */
constexpr SdifSignature SdifSignatureConst(const char (&s)[5]) {
    return ((SdifSignature)(unsigned char)s[0] << 24) | ((SdifSignature)(unsigned char)s[1] << 16) |
           ((SdifSignature)(unsigned char)s[2] << 8) | (SdifSignature)(unsigned char)s[3];
}
#endif

#endif
