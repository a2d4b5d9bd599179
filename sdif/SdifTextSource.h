/* The characters of SDIF text, from a stream or from an in-memory text, and
** the tokenising that every text reader of the library shares; private to
** the library, not installed. */
#ifndef SDIF_TEXT_SOURCE_H
#define SDIF_TEXT_SOURCE_H

#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "SdifGlobals.h"
#include "SdifString.h"

/* Both sources give characters as 0 to 255 and EOF at the end, so answers
** and character classes agree; each character taken is added to
** *nbCharRead (a text source may go uncounted). */
struct SdifStreamSource {
    FILE* f;
    size_t* nbCharRead;
    int Get() {
        int c = std::getc(f);
        if (c != EOF) ++*nbCharRead;
        return c;
    }
};

struct SdifTextSource {
    SdifStringT* str;
    size_t* nbCharRead = nullptr;
    int Get() {
        if (SdifStringIsEOS(str)) return EOF;
        if (nbCharRead) ++*nbCharRead;
        return static_cast<unsigned char>(SdifStringGetC(str));
    }
};

inline bool SdifIsSpace(int c) { return c != EOF && std::isspace(c); }

/* strchr would also find the terminating NUL. */
inline bool SdifIsStop(int c, const char* stopChars) {
    return c != EOF && c != '\0' && std::strchr(stopChars, c) != nullptr;
}

/* The first character after white space (consumed), or EOF. */
template <class Source>
int SdifSkipSpace(Source& src) {
    int c;
    do c = src.Get();
    while (SdifIsSpace(c));
    return c;
}

/* A token from its first character c up to white space (unless weak), one
** of stopChars, a NUL or the end, which is answered (consumed); s (size
** bytes) ends NUL-terminated and the characters beyond it are read and
** dropped. */
template <class Source>
int SdifReadToken(Source& src, int c, char* s, size_t size, const char* stopChars, bool weak) {
    size_t len = 0;
    while (c != EOF && c != '\0' && !(!weak && SdifIsSpace(c)) && !SdifIsStop(c, stopChars)) {
        if (len < size - 1) s[len++] = static_cast<char>(c);
        c = src.Get();
    }
    s[len] = '\0';
    return c;
}

/* Characters up to one of stopChars or the end, which is answered. */
template <class Source>
int SdifSkipUntil(Source& src, const char* stopChars) {
    int c;
    while ((c = src.Get()) != EOF && !SdifIsStop(c, stopChars)) {
    }
    return c;
}

#endif
