/* Host-dependent corner of the SDIF file library: the host's byte order, the
** minimal start-up that the byte layer needs (host kind, comparison mask,
** thread key), the library's error stream, the string helpers, the opening
** of binary streams and the memory budget of a run. */
#ifndef SDIF_HARD_OS_H
#define SDIF_HARD_OS_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Host kinds.  Kinds 2 and 4 are little-endian: every multi-byte item is
** byte-swapped between the file (big-endian) and memory; the others are not. */
typedef enum SdifMachineE {
    eSdifUndefinedMachine = 0,
    eSdifBigEndian = 1,
    eSdifLittleEndian = 2,
    eSdifBigEndian64 = 3,
    eSdifLittleEndian64 = 4
} SdifMachineET;

/* Start-up flag of the library (set by SdifGenInit). */
extern int gSdifInitialised;
/* Stream for every notice and diagnostic of the library; none until the
** start-up sets it to standard error (unless the host program set one). */
extern FILE* SdifStdErr;
/* Host kind, 0 before SdifInitMachineType. */
extern unsigned char gSdifMachineType;
/* Mask of SdifSignatureCmpNoVersion, 0 before SdifInitMachineType. */
extern SdifUInt4 gSdifSignatureVersionMask;

/* Fix the host kind and the signature comparison mask; answers the kind. */
int SdifInitMachineType(void);
/* The host kind of this build (2 on a little-endian host). */
int SdifGetMachineType(void);
/* Create the per-thread record key once per process (later calls do nothing). */
void SdifInitGlobalsKey(void);

/* The standard string functions under library names; SdifStrEq answers 1
** when the texts are equal. */
size_t SdifStrLen(const char* s);
int SdifStrCmp(const char* s1, const char* s2);
int SdifStrEq(const char* s1, const char* s2);
int SdifStrNCmp(const char* s1, const char* s2, size_t n);
char* SdifStrNCpy(char* s1, const char* s2, size_t n);
/* New zero-filled buffer of n bytes holding the first n bytes of s (no room
** is added for a NUL); none, after an eAllocFail report, when memory is out. */
char* SdifCreateStrNCpy(const char* s, size_t n);
/* Free a text from SdifCreateStrNCpy; none reports eFreeNull. */
void SdifKillStr(char* s);

/* Modes of SdiffBinOpen. */
typedef enum SdifBinaryModeE {
    eBinaryModeUnknown = 0,
    eBinaryModeWrite = 1,     /* "wb" */
    eBinaryModeRead = 2,      /* "rb" */
    eBinaryModeReadWrite = 3, /* "rb+" */
    eBinaryModeStdInput = 4,
    eBinaryModeStdOutput = 5,
    eBinaryModeStdError = 6
} SdifBinaryModeET;

/* Open name in a binary mode (or give a standard stream); none on failure
** or for an unknown mode. */
FILE* SdiffBinOpen(const char* name, int mode);
/* fclose. */
int SdiffBinClose(FILE* f);
/* Nothing to do on the hosts this library runs on. */
void SdifSetStdIOBinary(void);

/* ---- memory budget ----
** The bytes that reading one input may make the libraries and their clients
** build (held, or built and dropped), so that a small file cannot make them
** ask for far more memory than its size justifies.  One budget serves a whole
** run; its count only grows.  Process-wide and unlocked, like the callbacks. */

/* The budget of an input of inputBytes: 64 MiB plus 64 bytes per byte, 1 GiB
** when the size is unknown (negative); at most half the host's physical
** memory. */
unsigned long long SdifBudgetForSize(long long inputBytes);
/* Start a budget of limit bytes with nothing counted; 0 removes it. */
void SdifSetBudget(unsigned long long limit);
/* The limit in force, 0 when there is none. */
unsigned long long SdifBudgetLimit(void);
/* Bytes counted since the budget was set. */
unsigned long long SdifBudgetUsed(void);
/* Count bytes: 1 while the count is within the limit (or there is none), 0
** once it has passed it. */
int SdifBudgetCharge(unsigned long long bytes);

#ifdef __cplusplus
}
#endif

#endif
