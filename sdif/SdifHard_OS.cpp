#include "SdifHard_OS.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifRWLowLevel.h"

int gSdifInitialised = 0;
FILE* SdifStdErr = nullptr;
unsigned char gSdifMachineType = eSdifUndefinedMachine;
SdifUInt4 gSdifSignatureVersionMask = 0;

/* Defined beside GetSdifGlobals, which reads it on every call. */
extern pthread_key_t tGlobalsKey;

int SdifGetMachineType(void) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    return eSdifBigEndian;
#else
    return eSdifLittleEndian;
#endif
}

int SdifInitMachineType(void) {
    gSdifMachineType = static_cast<unsigned char>(SdifGetMachineType());
    /* Signatures are held most significant character first, so this mask
    ** drops the fourth character; comparisons in the library's files rely
    ** on exactly that. */
    gSdifSignatureVersionMask = 0xFFFFFF00u;
    return gSdifMachineType;
}

static pthread_once_t gSdifGlobalsKeyOnce = PTHREAD_ONCE_INIT;

static void SdifCreateGlobalsKey(void) {
    if (pthread_key_create(&tGlobalsKey, FreeGlobals) != 0) {
        std::fputs("*Sdif* cannot create the thread key\n", stderr);
        std::abort();
    }
}

void SdifInitGlobalsKey(void) { pthread_once(&gSdifGlobalsKeyOnce, SdifCreateGlobalsKey); }

size_t SdifStrLen(const char* s) { return std::strlen(s); }

int SdifStrCmp(const char* s1, const char* s2) { return std::strcmp(s1, s2); }

int SdifStrEq(const char* s1, const char* s2) { return std::strcmp(s1, s2) == 0; }

int SdifStrNCmp(const char* s1, const char* s2, size_t n) { return std::strncmp(s1, s2, n); }

char* SdifStrNCpy(char* s1, const char* s2, size_t n) { return std::strncpy(s1, s2, n); }

char* SdifCreateStrNCpy(const char* s, size_t n) {
    /* calloc(0) may answer none, which must not pass for a failure. */
    char* copy = static_cast<char*>(std::calloc(n ? n : 1, 1));
    if (!copy) {
        SDIF_ERROR(nullptr, eAllocFail, s);
        return nullptr;
    }
    std::strncpy(copy, s, n);
    return copy;
}

void SdifKillStr(char* s) {
    if (!s) {
        SDIF_ERROR(nullptr, eFreeNull, "String free");
        return;
    }
    std::free(s);
}

FILE* SdiffBinOpen(const char* name, int mode) {
    switch (mode) {
        case eBinaryModeWrite:
            return std::fopen(name, "wb");
        case eBinaryModeRead:
            return std::fopen(name, "rb");
        case eBinaryModeReadWrite:
            return std::fopen(name, "rb+");
        case eBinaryModeStdInput:
            return stdin;
        case eBinaryModeStdOutput:
            return stdout;
        case eBinaryModeStdError:
            return stderr;
        default:
            return nullptr;
    }
}

int SdiffBinClose(FILE* f) { return std::fclose(f); }

void SdifSetStdIOBinary(void) {}

/* ---- memory budget ---- */

namespace {

const unsigned long long kBudgetFloor = 64ull << 20;
const unsigned long long kBudgetPerInputByte = 64;
const unsigned long long kBudgetUnknownSize = 1ull << 30;

unsigned long long gBudgetLimit = 0;
unsigned long long gBudgetUsed = 0;

/* Half the physical memory keeps the machine out of swap whatever else it
** runs; a host that does not tell gets 8 GiB. */
unsigned long long BudgetCeiling() {
    long pages = sysconf(_SC_PHYS_PAGES);
    long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return 8ull << 30;
    return static_cast<unsigned long long>(pages) * static_cast<unsigned long long>(pageSize) / 2;
}

}  // namespace

unsigned long long SdifBudgetForSize(long long inputBytes) {
    unsigned long long wanted = kBudgetUnknownSize;
    if (inputBytes >= 0) {
        unsigned long long size = static_cast<unsigned long long>(inputBytes);
        /* Past this the product would overflow: the ceiling holds anyway. */
        wanted = size < (~0ull - kBudgetFloor) / kBudgetPerInputByte
                     ? kBudgetFloor + kBudgetPerInputByte * size
                     : ~0ull;
    }
    unsigned long long ceiling = BudgetCeiling();
    return wanted < ceiling ? wanted : ceiling;
}

void SdifSetBudget(unsigned long long limit) {
    gBudgetLimit = limit;
    gBudgetUsed = 0;
}

unsigned long long SdifBudgetLimit(void) { return gBudgetLimit; }

unsigned long long SdifBudgetUsed(void) { return gBudgetUsed; }

int SdifBudgetCharge(unsigned long long bytes) {
    gBudgetUsed = bytes < ~0ull - gBudgetUsed ? gBudgetUsed + bytes : ~0ull;
    return gBudgetLimit == 0 || gBudgetUsed <= gBudgetLimit;
}
