#include "SdifString.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"

/* Capacity at creation and growth step. */
static const size_t kSdifStringStep = 128;

SdifStringT* SdifStringNew(void) {
    SdifStringT* s = static_cast<SdifStringT*>(std::malloc(sizeof(SdifStringT)));
    char* text = static_cast<char*>(std::calloc(kSdifStringStep, 1));
    if (!s || !text) {
        std::free(s);
        std::free(text);
        std::perror("SdifStringNew memory allocation: ");
        SDIF_ERROR(nullptr, eAllocFail, "SdifString Memory Allocation");
        return nullptr;
    }
    s->str = text;
    s->TotalSize = kSdifStringStep;
    s->SizeW = 0;
    s->NbCharRead = 0;
    return s;
}

void SdifStringFree(SdifStringT* s) {
    if (!s) return;
    std::free(s->str);
    std::free(s);
}

int SdifStringAppend(SdifStringT* s, const char* text) {
    size_t length = std::strlen(text);
    size_t needed = length + 1;
    if (s->TotalSize - s->SizeW < needed) {
        /* The smallest whole number of steps beyond the current capacity that
        ** holds the text and its NUL. */
        size_t extra = (needed - 1 + s->SizeW - s->TotalSize) / kSdifStringStep * kSdifStringStep;
        size_t newSize = s->TotalSize + kSdifStringStep + extra;
        char* grown = static_cast<char*>(std::realloc(s->str, newSize));
        if (!grown) {
            std::fputs("No more memory available!!!\n", stderr);
            return 0;
        }
        std::memset(grown + s->TotalSize, 0, newSize - s->TotalSize);
        s->str = grown;
        s->TotalSize = newSize;
    }
    std::memcpy(s->str + s->SizeW, text, needed);
    s->SizeW += length;
    return 1;
}

int SdifStringGetC(SdifStringT* s) {
    if (SdifStringIsEOS(s)) return 0;
    return static_cast<signed char>(s->str[s->NbCharRead++]);
}

int SdifStringUngetC(SdifStringT* s) {
    if (s->NbCharRead <= 0) return 0;
    s->NbCharRead--;
    return 1;
}

int SdifStringIsEOS(SdifStringT* s) { return static_cast<size_t>(s->NbCharRead) >= s->SizeW; }
