#include "SdifRWLowLevel.h"

#include <pthread.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifHard_OS.h"
#include "SdifList.h"
#include "SdifPrivate.h"
#include "SdifString.h"
#include "SdifTextSource.h"

/* Created by SdifInitGlobalsKey (SdifHard_OS.cpp) with FreeGlobals as destructor. */
pthread_key_t tGlobalsKey;

/* ---- per-thread scratch record ---- */

SdifGlobalsT* GetSdifGlobals(void) {
    SdifInitGlobalsKey();
    if (void* record = pthread_getspecific(tGlobalsKey)) return static_cast<SdifGlobalsT*>(record);
    SdifGlobalsT* record = static_cast<SdifGlobalsT*>(std::calloc(1, sizeof(SdifGlobalsT)));
    if (!record) return nullptr;
    SdifInitListNStock(&record->nodestock, _SdifListNodeStockSize);
    if (pthread_setspecific(tGlobalsKey, record) != 0) {
        std::free(record);
        return nullptr;
    }
    return record;
}

void FreeGlobals(void* record) {
    if (!record) return;
    SdifDrainListNStock(&static_cast<SdifGlobalsT*>(record)->nodestock);
    std::free(record);
}

/* ---- byte order ---- */

static inline bool SdifHostSwaps(void) {
    return gSdifMachineType == eSdifLittleEndian || gSdifMachineType == eSdifLittleEndian64;
}

/* Through memcpy so that unaligned cells are fine; compilers turn each body
** into one load, one byte-swap instruction and one store. */
static inline void SdifSwapOne2(const unsigned char* src, unsigned char* dst) {
    std::uint16_t v;
    std::memcpy(&v, src, 2);
    v = static_cast<std::uint16_t>((v >> 8) | (v << 8));
    std::memcpy(dst, &v, 2);
}

static inline void SdifSwapOne4(const unsigned char* src, unsigned char* dst) {
    std::uint32_t v;
    std::memcpy(&v, src, 4);
    v = (v >> 24) | ((v >> 8) & 0x0000FF00u) | ((v << 8) & 0x00FF0000u) | (v << 24);
    std::memcpy(dst, &v, 4);
}

static inline void SdifSwapOne8(const unsigned char* src, unsigned char* dst) {
    std::uint32_t lo, hi;
    std::memcpy(&lo, src, 4);
    std::memcpy(&hi, src + 4, 4);
    SdifSwapOne4(reinterpret_cast<unsigned char*>(&lo), reinterpret_cast<unsigned char*>(&lo));
    SdifSwapOne4(reinterpret_cast<unsigned char*>(&hi), reinterpret_cast<unsigned char*>(&hi));
    std::memcpy(dst, &hi, 4);
    std::memcpy(dst + 4, &lo, 4);
}

void SdifSwap2(void* ptr, size_t n) { SdifSwap2Copy(ptr, ptr, n); }
void SdifSwap4(void* ptr, size_t n) { SdifSwap4Copy(ptr, ptr, n); }
void SdifSwap8(void* ptr, size_t n) { SdifSwap8Copy(ptr, ptr, n); }

void SdifSwap2Copy(const void* src, void* dst, size_t n) {
    const unsigned char* s = static_cast<const unsigned char*>(src);
    unsigned char* d = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < n; i++) SdifSwapOne2(s + 2 * i, d + 2 * i);
}

void SdifSwap4Copy(const void* src, void* dst, size_t n) {
    const unsigned char* s = static_cast<const unsigned char*>(src);
    unsigned char* d = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < n; i++) SdifSwapOne4(s + 4 * i, d + 4 * i);
}

void SdifSwap8Copy(const void* src, void* dst, size_t n) {
    const unsigned char* s = static_cast<const unsigned char*>(src);
    unsigned char* d = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < n; i++) SdifSwapOne8(s + 8 * i, d + 8 * i);
}

/* ---- cell types, padding ---- */

size_t SdifSizeofDataType(SdifDataTypeET type) { return static_cast<size_t>(type & 0xFF); }

int SdifFDataTypeKnown(SdifFileT* file, SdifDataTypeET type) {
    if (SdifDataTypeHandled(type)) return 1;
    if (type == eInt8 || type == eUInt8)
        SdifFNotice(file, "standard datatypes Int8, UInt8 not yet handled");
    return 0;
}

int SdifDataTypeKnown(SdifDataTypeET type) { return SdifFDataTypeKnown(nullptr, type); }

size_t SdifPaddingCalculate(size_t nbBytes) {
    size_t rest = nbBytes % 8;
    return rest ? 8 - rest : 0;
}

size_t SdifFPaddingCalculate(FILE*, size_t nbBytes) { return SdifPaddingCalculate(nbBytes); }

int SdifFloat8Equ(SdifFloat8 a, SdifFloat8 b) { return std::fabs(a - b) < 1.1920928955078125e-7; }

/* ---- signatures ---- */

char* SdifSignatureToString(SdifSignature sig) {
    SdifAssert(gSdifInitialised && "SDIF library not initialised!");
    /* Only when the record cannot be allocated; not thread-safe, but a text. */
    static char fallback[5];
    SdifGlobalsT* globals = GetSdifGlobals();
    char* text = fallback;
    if (globals) {
        text = globals->sigstr[globals->sigstridx];
        globals->sigstridx = (globals->sigstridx + 1) % 8;
    }
    /* Most significant byte first: the file's (big-endian) order whatever
    ** the host. */
    for (int i = 0; i < 4; i++) text[i] = static_cast<char>((sig >> (24 - 8 * i)) & 0xFF);
    text[4] = '\0';
    return text;
}

SdifSignature SdifStringToSignature(const char* s) {
    SdifAssert(gSdifInitialised && "SDIF library not initialised!");
    SdifSignature sig = 0;
    for (int i = 0; i < 4 && s[i]; i++)
        sig |= static_cast<SdifSignature>(static_cast<unsigned char>(s[i])) << (24 - 8 * i);
    return sig;
}

int SdifSignatureCmpNoVersion(SdifSignature a, SdifSignature b) {
    return (a & gSdifSignatureVersionMask) == (b & gSdifSignatureVersionMask);
}

/* ---- binary transfer ---- */

static void SdifReportShortTransfer(SdifFileT* file, const char* what) {
    char text[64];
    std::snprintf(text, sizeof text, "%s %ld", what, file->Stream ? std::ftell(file->Stream) : -1L);
    SDIF_ERROR(file, eEof, text);
}

size_t Sdiffread(void* ptr, size_t size, size_t count, SdifFileT* file) {
    return file->Stream ? std::fread(ptr, size, count, file->Stream) : 0;
}

size_t Sdiffwrite(const void* ptr, size_t size, size_t count, SdifFileT* file) {
    return file->Stream ? std::fwrite(ptr, size, count, file->Stream) : 0;
}

static inline size_t SdifReadItems(void* ptr, size_t width, size_t n, SdifFileT* file) {
    size_t nb = Sdiffread(ptr, width, n, file);
    if (nb < n) SdifReportShortTransfer(file, "Sdiffread");
    return nb;
}

static inline size_t SdifWriteItems(const void* ptr, size_t width, size_t n, SdifFileT* file) {
    size_t nb = Sdiffwrite(ptr, width, n, file);
    if (nb < n) SdifReportShortTransfer(file, "Sdiffwrite");
    return nb;
}

/* Swap in place what arrived, before a short read is reported: a caller
** whose error callback returns still gets host-order values. */
#define SDIF_READ_SWAPPED(width)                            \
    size_t nb = Sdiffread(ptr, width, n, file);             \
    SdifSwap##width(ptr, nb);                               \
    if (nb < n) SdifReportShortTransfer(file, "Sdiffread"); \
    return nb

size_t SdiffreadLittleEndian2(void* ptr, size_t n, SdifFileT* file) { SDIF_READ_SWAPPED(2); }
size_t SdiffreadLittleEndian4(void* ptr, size_t n, SdifFileT* file) { SDIF_READ_SWAPPED(4); }
size_t SdiffreadLittleEndian8(void* ptr, size_t n, SdifFileT* file) { SDIF_READ_SWAPPED(8); }

#undef SDIF_READ_SWAPPED

/* The caller's cells are swap-copied through a fixed stack buffer, one
** fwrite per buffer-full, never into a heap copy nor in place. */
template <size_t W, void (*SwapCopy)(const void*, void*, size_t)>
static size_t SdifWriteSwapped(const void* ptr, size_t n, SdifFileT* file) {
    alignas(8) unsigned char buffer[_SdifBSLittleE];
    const size_t run = _SdifBSLittleE / W;
    const unsigned char* src = static_cast<const unsigned char*>(ptr);
    size_t total = 0;
    while (n > 0) {
        size_t k = n < run ? n : run;
        SwapCopy(src, buffer, k);
        total += SdifWriteItems(buffer, W, k, file);
        src += k * W;
        n -= k;
    }
    return total;
}

size_t SdiffwriteLittleEndian2(const void* ptr, size_t n, SdifFileT* file) {
    return SdifWriteSwapped<2, SdifSwap2Copy>(ptr, n, file);
}
size_t SdiffwriteLittleEndian4(const void* ptr, size_t n, SdifFileT* file) {
    return SdifWriteSwapped<4, SdifSwap4Copy>(ptr, n, file);
}
size_t SdiffwriteLittleEndian8(const void* ptr, size_t n, SdifFileT* file) {
    return SdifWriteSwapped<8, SdifSwap8Copy>(ptr, n, file);
}

size_t SdiffReadChar(SdifChar* ptr, size_t n, SdifFileT* file) {
    return SdifReadItems(ptr, 1, n, file);
}
size_t SdiffReadInt1(SdifInt1* ptr, size_t n, SdifFileT* file) {
    return SdiffReadChar(reinterpret_cast<SdifChar*>(ptr), n, file);
}
size_t SdiffReadUInt1(SdifUInt1* ptr, size_t n, SdifFileT* file) {
    return SdiffReadChar(reinterpret_cast<SdifChar*>(ptr), n, file);
}

#define SDIF_READ_TYPED(width)                                          \
    return SdifHostSwaps() ? SdiffreadLittleEndian##width(ptr, n, file) \
                           : SdifReadItems(ptr, width, n, file)

size_t SdiffReadInt2(SdifInt2* ptr, size_t n, SdifFileT* file) { SDIF_READ_TYPED(2); }
size_t SdiffReadUInt2(SdifUInt2* ptr, size_t n, SdifFileT* file) { SDIF_READ_TYPED(2); }
size_t SdiffReadInt4(SdifInt4* ptr, size_t n, SdifFileT* file) { SDIF_READ_TYPED(4); }
size_t SdiffReadUInt4(SdifUInt4* ptr, size_t n, SdifFileT* file) { SDIF_READ_TYPED(4); }
size_t SdiffReadFloat4(SdifFloat4* ptr, size_t n, SdifFileT* file) { SDIF_READ_TYPED(4); }
size_t SdiffReadFloat8(SdifFloat8* ptr, size_t n, SdifFileT* file) { SDIF_READ_TYPED(8); }

#undef SDIF_READ_TYPED

size_t SdiffWriteChar(const SdifChar* ptr, size_t n, SdifFileT* file) {
    return SdifWriteItems(ptr, 1, n, file);
}
size_t SdiffWriteInt1(const SdifInt1* ptr, size_t n, SdifFileT* file) {
    return SdiffWriteChar(reinterpret_cast<const SdifChar*>(ptr), n, file);
}
size_t SdiffWriteUInt1(const SdifUInt1* ptr, size_t n, SdifFileT* file) {
    return SdiffWriteChar(reinterpret_cast<const SdifChar*>(ptr), n, file);
}

#define SDIF_WRITE_TYPED(width)                                          \
    return SdifHostSwaps() ? SdiffwriteLittleEndian##width(ptr, n, file) \
                           : SdifWriteItems(ptr, width, n, file)

size_t SdiffWriteInt2(const SdifInt2* ptr, size_t n, SdifFileT* file) { SDIF_WRITE_TYPED(2); }
size_t SdiffWriteUInt2(const SdifUInt2* ptr, size_t n, SdifFileT* file) { SDIF_WRITE_TYPED(2); }
size_t SdiffWriteInt4(const SdifInt4* ptr, size_t n, SdifFileT* file) { SDIF_WRITE_TYPED(4); }
size_t SdiffWriteUInt4(const SdifUInt4* ptr, size_t n, SdifFileT* file) { SDIF_WRITE_TYPED(4); }
size_t SdiffWriteFloat4(const SdifFloat4* ptr, size_t n, SdifFileT* file) { SDIF_WRITE_TYPED(4); }
size_t SdiffWriteFloat8(const SdifFloat8* ptr, size_t n, SdifFileT* file) { SDIF_WRITE_TYPED(8); }

#undef SDIF_WRITE_TYPED

int SdiffReadSignature(SdifSignature* sig, SdifFileT* file, size_t* nbBytesRead) {
    SdifSignature value;
    if (Sdiffread(&value, 4, 1, file) == 1 && !std::feof(file->Stream)) {
        if (SdifHostSwaps()) SdifSwap4(&value, 1);
        *sig = value;
        if (nbBytesRead) *nbBytesRead += 4;
        return 1;
    }
    *sig = 0;
    return eEof;
}

size_t SdiffWriteSignature(const SdifSignature* sig, SdifFileT* file) {
    SdifSignature word = *sig;
    if (SdifHostSwaps()) SdifSwap4Copy(sig, &word, 1);
    return SdifWriteItems(&word, 4, 1, file);
}

size_t SdiffWriteString(const char* s, SdifFileT* file) {
    return SdifWriteItems(s, 1, std::strlen(s), file);
}

/* ---- text tokenisers ---- */

int SdifIsAReservedChar(int c) {
    switch (c) {
        case ',':
        case ';':
        case '{':
        case '}':
        case ':':
            return 1;
        default:
            return 0;
    }
}

char* SdifStringToNV(char* s) {
    for (char* p = s; *p; p++)
        if (*p == '\t' || *p == '\n') *p = ' ';
    return s;
}

namespace {

void SdifReportWordCut(const char* word) { SDIF_ERROR(nullptr, eWordCut, word); }

void SdifReportTokenLength(const char* s, size_t length) {
    char text[_SdifStringLen];
    std::snprintf(text, sizeof text, "%.*s",
                  static_cast<int>(length < sizeof text ? length : sizeof text - 1), s);
    SDIF_ERROR(nullptr, eTokenLength, text);
}

template <class Source>
int SdifGetStringFrom(Source& src, char* s, size_t ncMax) {
    if (ncMax == 0) {
        SdifReportTokenLength("", 0);
        return eTokenLength;
    }
    size_t i = 0;
    for (int c = SdifSkipSpace(src);; c = src.Get()) {
        if (c == EOF) {
            s[i] = '\0';
            return eEof;
        }
        if (SdifIsAReservedChar(c)) {
            s[i] = '\0';
            return c;
        }
        if (SdifIsSpace(c)) {
            s[i] = '\0';
            c = SdifSkipSpace(src);
            if (c == EOF) return eEof;
            if (SdifIsAReservedChar(c)) return c;
            SdifReportWordCut(s);
            return -1;
        }
        if (i + 1 >= ncMax) { /* ncMax characters without a reserved one */
            s[i] = '\0';
            SdifReportTokenLength(s, i);
            return eTokenLength;
        }
        s[i++] = static_cast<char>(c);
    }
}

template <class Source>
int SdifGetSignatureFrom(Source& src, SdifSignature* sig) {
    SdifSignature value = 0;
    int c = SdifSkipSpace(src);
    for (int i = 0; i < 4; i++) {
        if (i > 0) c = src.Get();
        if (c == EOF) {
            *sig = 0;
            return eEof;
        }
        if (SdifIsAReservedChar(c) || SdifIsSpace(c)) break;
        value |= static_cast<SdifSignature>(c) << (24 - 8 * i);
    }
    *sig = value;
    return c;
}

template <class Source>
int SdifGetWordUntilFrom(Source& src, char* s, size_t ncMax, const char* stopChars, bool weak) {
    size_t i = 0;
    for (;;) {
        int c = src.Get();
        if (c == EOF) {
            if (i < ncMax) s[i] = '\0';
            return eEof;
        }
        if (c == '\0') {
            if (i >= ncMax) {
                SdifReportTokenLength(s, i);
                return eTokenLength;
            }
            s[i] = '\0';
            return 0;
        }
        if (i >= ncMax) return 0; /* full: the caller's buffer holds no NUL */
        if (SdifIsStop(c, stopChars)) {
            s[i] = '\0';
            return c;
        }
        if (!weak && SdifIsSpace(c)) {
            s[i] = '\0';
            c = SdifSkipSpace(src);
            if (c == EOF) return eEof;
            if (SdifIsStop(c, stopChars)) return c;
            SdifReportWordCut(s);
            return -1;
        }
        s[i++] = static_cast<char>(c);
    }
}

template <class Source>
int SdifSkipASCIIUntilFrom(Source& src, const char* stopChars) {
    for (;;) {
        int c = src.Get();
        if (c == EOF) return eEof;
        if (c == '\0' || SdifIsStop(c, stopChars)) return c;
        if (!SdifIsSpace(c) && !std::isprint(c)) return c;
    }
}

}  // namespace

size_t SdiffReadSpace(FILE* f) {
    size_t n = 0;
    int c;
    while (SdifIsSpace(c = std::getc(f))) n++;
    if (c == EOF) {
        SDIF_ERROR(nullptr, eEof, "SdiffReadSpace");
        return n;
    }
    if (std::ungetc(c, f) == EOF) {
        char text[64];
        std::snprintf(text, sizeof text, "ungetc failed : (%d,%c) ", c, c);
        SDIF_ERROR(nullptr, eEof, text);
    }
    return n;
}

size_t SdiffReadSpacefromSdifString(SdifStringT* str) {
    size_t n = 0;
    while (!SdifStringIsEOS(str)) {
        if (!SdifIsSpace(static_cast<unsigned char>(SdifStringGetC(str)))) {
            SdifStringUngetC(str);
            break;
        }
        n++;
    }
    return n;
}

int SdiffGetString(FILE* f, char* s, size_t ncMax, size_t* nbCharRead) {
    size_t ignored = 0;
    SdifStreamSource src{f, nbCharRead ? nbCharRead : &ignored};
    return SdifGetStringFrom(src, s, ncMax);
}

int SdiffGetStringfromSdifString(SdifStringT* str, char* s, size_t ncMax) {
    SdifTextSource src{str};
    return SdifGetStringFrom(src, s, ncMax);
}

int SdiffGetSignature(FILE* f, SdifSignature* sig, size_t* nbCharRead) {
    size_t ignored = 0;
    SdifStreamSource src{f, nbCharRead ? nbCharRead : &ignored};
    return SdifGetSignatureFrom(src, sig);
}

int SdiffGetSignaturefromSdifString(SdifStringT* str, SdifSignature* sig) {
    SdifTextSource src{str};
    return SdifGetSignatureFrom(src, sig);
}

int SdiffGetWordUntil(FILE* f, char* s, size_t ncMax, size_t* nbCharRead, const char* stopChars) {
    size_t ignored = 0;
    SdifStreamSource src{f, nbCharRead ? nbCharRead : &ignored};
    return SdifGetWordUntilFrom(src, s, ncMax, stopChars, false);
}

int SdiffGetWordUntilfromSdifString(SdifStringT* str, char* s, size_t ncMax,
                                    const char* stopChars) {
    SdifTextSource src{str};
    return SdifGetWordUntilFrom(src, s, ncMax, stopChars, false);
}

int SdiffGetStringUntil(FILE* f, char* s, size_t ncMax, size_t* nbCharRead, const char* stopChars) {
    size_t skipped = SdiffReadSpace(f);
    if (nbCharRead) *nbCharRead += skipped;
    return SdiffGetWordUntil(f, s, ncMax, nbCharRead, stopChars);
}

int SdiffGetStringUntilfromSdifString(SdifStringT* str, char* s, size_t ncMax,
                                      const char* stopChars) {
    SdiffReadSpacefromSdifString(str);
    return SdiffGetWordUntilfromSdifString(str, s, ncMax, stopChars);
}

int SdiffGetStringWeakUntil(FILE* f, char* s, size_t ncMax, size_t* nbCharRead,
                            const char* stopChars) {
    size_t ignored = 0;
    SdifStreamSource src{f, nbCharRead ? nbCharRead : &ignored};
    return SdifGetWordUntilFrom(src, s, ncMax, stopChars, true);
}

int SdiffGetStringWeakUntilfromSdifString(SdifStringT* str, char* s, size_t ncMax,
                                          const char* stopChars) {
    SdifTextSource src{str};
    return SdifGetWordUntilFrom(src, s, ncMax, stopChars, true);
}

int SdifSkipASCIIUntil(FILE* f, size_t* nbCharRead, const char* stopChars) {
    size_t ignored = 0;
    SdifStreamSource src{f, nbCharRead ? nbCharRead : &ignored};
    return SdifSkipASCIIUntilFrom(src, stopChars);
}

int SdifSkipASCIIUntilfromSdifString(SdifStringT* str, const char* stopChars) {
    SdifTextSource src{str};
    return SdifSkipASCIIUntilFrom(src, stopChars);
}

/* ---- numbers in text ---- */

template <class T>
static size_t SdifScanItems(FILE* f, T* ptr, size_t n, const char* format) {
    size_t nb = 0;
    for (size_t i = 0; i < n; i++) {
        if (std::fscanf(f, format, &ptr[i]) != 1) break;
        nb++;
    }
    return nb;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

size_t SdiffScanFloat4(FILE* f, SdifFloat4* ptr, size_t n) {
    return SdifScanItems(f, ptr, n, "%f");
}
size_t SdiffScanFloat8(FILE* f, SdifFloat8* ptr, size_t n) {
    return SdifScanItems(f, ptr, n, "%lf");
}
size_t SdiffScanInt1(FILE* f, SdifInt1* ptr, size_t n) { return SdifScanItems(f, ptr, n, "%hhi"); }
size_t SdiffScanInt2(FILE* f, SdifInt2* ptr, size_t n) { return SdifScanItems(f, ptr, n, "%hi"); }
size_t SdiffScanInt4(FILE* f, SdifInt4* ptr, size_t n) { return SdifScanItems(f, ptr, n, "%i"); }
size_t SdiffScanUInt1(FILE* f, SdifUInt1* ptr, size_t n) {
    return SdifScanItems(f, ptr, n, "%hhu");
}
size_t SdiffScanUInt2(FILE* f, SdifUInt2* ptr, size_t n) { return SdifScanItems(f, ptr, n, "%hu"); }
size_t SdiffScanUInt4(FILE* f, SdifUInt4* ptr, size_t n) { return SdifScanItems(f, ptr, n, "%u"); }

#pragma GCC diagnostic pop

size_t SdiffScanChar(FILE* f, SdifChar* ptr, size_t n) {
    size_t nb = 0;
    for (size_t i = 0; i < n; i++) {
        /* The cell is written between quotes ('x'): keep the second character. */
        char word[64] = "";
        if (std::fscanf(f, "%63s", word) != 1) break;
        ptr[i] = word[1];
        nb++;
    }
    return nb;
}
