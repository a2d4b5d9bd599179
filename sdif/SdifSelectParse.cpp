/* Selections appended to SDIF file names: the separators, the tokeniser and
** list parser of the selection text, and a selection's life cycle. */
#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifList.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"

const char* const SdifSelectSeparators[_SdifSelectNbSymbols] = {"::", "#", ":", "/", ".",
                                                                "_",  "@", ",", "-", "+"};
/* Filled statically so that a selection parsed before start-up still works;
** SdifInitSelect recomputes the same values. */
int SdifSelectSeparatorLen[_SdifSelectNbSymbols] = {2, 1, 1, 1, 1, 1, 1, 1, 1, 1};
char SdifSelectAllSeparators[_SdifSelectNbSymbols + 1] = ":#:/._@,-+";
const char* const SdifSelectWhitespace = " \t\r\n";

int gSdifSelectDebug = 0;

void SdifInitSelect(void) {
    for (int i = 0; i < _SdifSelectNbSymbols; i++) {
        SdifSelectSeparatorLen[i] = (int)strlen(SdifSelectSeparators[i]);
        SdifSelectAllSeparators[i] = SdifSelectSeparators[i][0];
    }
    SdifSelectAllSeparators[_SdifSelectNbSymbols] = '\0';
}

const char* SdifSelectSymbol(SdifSelectTokens token) {
    return (unsigned)token < _SdifSelectNbSymbols ? SdifSelectSeparators[token] : "??";
}

/* ---- parser ---- */

namespace {

struct SdifSelectContext {
    SdifSelectTokens mToken; /* last token read */
    const char* mSymbol;     /* where the last token or value began */
    const char* mInput;      /* next character to read */
    const char* mValue;      /* text of the last value read, for messages */
    int mValueLen;
};

typedef int (*SdifSelectReaderT)(SdifSelectContext* context, SdifSelectValueT* value);

const char* tokensymbol(const SdifSelectContext* context) {
    SdifAssert(context->mToken <= sst_num);
    return SdifSelectSymbol(context->mToken);
}

const char* skipspace(const char* s) { return s + strspn(s, SdifSelectWhitespace); }

/* Symbols are tried in table order, so "::" wins over ":". */
SdifSelectTokens parsenexttoken(SdifSelectContext* context) {
    context->mInput = skipspace(context->mInput);
    context->mSymbol = context->mInput;
    int tok = 0;
    while (tok < _SdifSelectNbSymbols &&
           strncmp(context->mInput, SdifSelectSeparators[tok], SdifSelectSeparatorLen[tok]) != 0)
        tok++;
    context->mToken = (SdifSelectTokens)tok;
    if (tok < _SdifSelectNbSymbols) context->mInput += SdifSelectSeparatorLen[tok];
    if (gSdifSelectDebug)
        fprintf(stderr, "parsenexttoken\tTOKEN %2d %-2s  SYMBOL '%10s'  INPUT '%10s'\n",
                context->mToken, tokensymbol(context), context->mSymbol, context->mInput);
    return context->mToken;
}

void takevalue(SdifSelectContext* context, const char* start, const char* end) {
    context->mSymbol = start;
    context->mValue = start;
    context->mValueLen = (int)(end - start);
    context->mInput = end;
}

int parseint(SdifSelectContext* context, SdifSelectValueT* value) {
    const char* start = skipspace(context->mInput);
    char* end;
    long v = strtol(start, &end, 10);
    int ret = end > start;
    if (ret) {
        /* Out-of-range numbers keep their low 32 bits, as the unsigned mask
        ** arithmetic expects. */
        value->integer = (SdifInt4)(SdifUInt4)(unsigned long)v;
        takevalue(context, start, end);
    }
    if (gSdifSelectDebug)
        fprintf(stderr, "parseint\t\tTOKEN %2d %-2s  SYMBOL '%10s'  INPUT '%10s'  ret %d  val %d\n",
                context->mToken, tokensymbol(context), context->mSymbol, context->mInput, ret,
                ret ? value->integer : 0);
    return ret;
}

int parsereal(SdifSelectContext* context, SdifSelectValueT* value) {
    const char* start = skipspace(context->mInput);
    char* end;
    double v = strtod(start, &end);
    int ret = end > start;
    if (ret) {
        value->real = v;
        takevalue(context, start, end);
    }
    if (gSdifSelectDebug)
        fprintf(stderr,
                "parsereal\t\tTOKEN %2d %-2s  SYMBOL '%10s'  INPUT '%10s'  ret %d  val %g\n",
                context->mToken, tokensymbol(context), context->mSymbol, context->mInput, ret,
                ret ? value->real : 0.);
    return ret;
}

/* A signature runs up to the first character of any symbol; only its first
** four characters count. */
int parsesig(SdifSelectContext* context, SdifSelectValueT* value) {
    const char* start = skipspace(context->mInput);
    size_t siglen = strcspn(start, SdifSelectAllSeparators);
    char sig[5] = {0, 0, 0, 0, 0};
    memcpy(sig, start, std::min<size_t>(siglen, 4));
    int ret = siglen > 0;
    if (ret) {
        value->signature = SdifStringToSignature(sig);
        takevalue(context, start, start + siglen);
    }
    if (gSdifSelectDebug)
        fprintf(stderr,
                "parsesig\t\tTOKEN %2d %-2s  SYMBOL '%10s'  INPUT '%10s'  ret %d  val '%s'  "
                "siglen %d\n",
                context->mToken, tokensymbol(context), context->mSymbol, context->mInput, ret, sig,
                (int)siglen);
    return ret;
}

/* A column is a number; a name in its place is recognised but not supported. */
int parsecol(SdifSelectContext* context, SdifSelectValueT* value) {
    const char* start = skipspace(context->mInput);
    char* end;
    long v = strtol(start, &end, 10);
    int ret = end > start;
    size_t namelen = 0;
    if (ret) {
        value->integer = (SdifInt4)(SdifUInt4)(unsigned long)v;
        takevalue(context, start, end);
    } else {
        namelen = strcspn(start, SdifSelectAllSeparators);
    }
    if (gSdifSelectDebug)
        fprintf(stderr,
                "parsecol\t\tTOKEN %2d %-2s  SYMBOL '%10s'  INPUT '%10s'  ret %d  colname '%.*s'\n",
                context->mToken, tokensymbol(context), context->mSymbol, context->mInput, ret,
                (int)namelen, start);
    if (namelen > 0) SdifAssert(!"can't handle column names, yet");
    return ret;
}

int parseerror(SdifSelectContext* context, const char* name, const char* ending, const char* fmt,
               ...) {
    fprintf(stderr, "ERROR: SDIF selection: can't parse %s from '%s'\n(recently read: '%.*s'):\n",
            name, context->mInput, (int)(context->mInput - context->mSymbol), context->mSymbol);
    va_list ap;
    va_start(ap, fmt);
    vfprintf(stderr, fmt, ap);
    va_end(ap);
    fputs(ending, stderr);
    return 0;
}

/* One list: values separated by ",", with ranges "a-b" and deltas "a+b"
** where allowed.  Ends successfully at a list symbol or at the end of the
** input; the symbol that ended it is left in the context.  Each element is
** read on the stack and copied into the list once complete, so that nothing
** is left allocated when a value reader stops (column names) and a harness
** unwinds from the stop instead of ending the program. */
int parse(SdifSelectContext* context, SdifSelectReaderT readval, SdifListT* list, int rangeallowed,
          const char* name) {
    int ret = 1;
    for (;;) {
        SdifSelectElementT elem = {};
        if (!readval(context, &elem.value)) {
            ret =
                parseerror(context, name, "\n\n\n", "Can't read value from '%s'", context->mInput);
            break;
        }
        parsenexttoken(context);
        if (context->mToken == sst_list) {
            if (!SdifSelectPutElement(list, elem)) {
                ret = 0;
                break;
            }
            continue;
        }
        if (context->mToken == sst_range || context->mToken == sst_delta) {
            if (!rangeallowed) {
                ret = parseerror(context, name, "\n\n\n",
                                 "Range only permitted with numerical values");
                break;
            }
            SdifSelectTokens rangetype = context->mToken;
            if (!readval(context, &elem.range)) {
                ret = parseerror(context, name, "\n\n\n", "Malformed range expression");
                break;
            }
            elem.rangetype = rangetype;
            if (!SdifSelectPutElement(list, elem)) {
                ret = 0;
                break;
            }
            parsenexttoken(context);
            if (context->mToken == sst_list) continue;
            if (context->mToken == sst_range || context->mToken == sst_delta)
                ret = parseerror(context, name, "\n\n",
                                 "Another range symbol '%s' after complete range",
                                 tokensymbol(context));
            break;
        }
        if (!SdifSelectPutElement(list, elem)) {
            ret = 0;
            break;
        }
        if (context->mToken == sst_num && *context->mInput)
            ret = parseerror(context, name, "\n\n\n", "No separator after value '%.*s'",
                             context->mValueLen, context->mValue);
        break;
    }
    if (gSdifSelectDebug)
        fprintf(stderr, "parse %s\tTOKEN %2d %-2s  SYMBOL '%10s'  INPUT '%10s'  ret %d\n", name,
                context->mToken, tokensymbol(context), context->mSymbol, context->mInput, ret);
    return ret;
}

void rebuildmasks(SdifSelectionT* sel) {
    SdifSelectGetIntMask(sel->stream, &sel->streammask);
    SdifSelectGetIntMask(sel->row, &sel->rowmask);
    SdifSelectGetIntMask(sel->column, &sel->colmask);
}

char* copyname(const char* s, size_t len) {
    char* copy = (char*)malloc(len + 1);
    if (!copy) {
        SDIF_ERROR(nullptr, eAllocFail, "Selection name allocation");
        return nullptr;
    }
    memcpy(copy, s, len);
    copy[len] = '\0';
    return copy;
}

void setnames(SdifSelectionT* sel, const char* filename, size_t len) {
    free(sel->filename);
    free(sel->basename);
    sel->filename = nullptr;
    sel->basename = nullptr;
    if (!filename) return;
    sel->filename = copyname(filename, len);
    if (!sel->filename) return;
    const char* slash = strrchr(sel->filename, '/');
    const char* base = slash ? slash + 1 : sel->filename;
    sel->basename = copyname(base, strlen(base));
}

}  // namespace

int SdifParseSelection(SdifSelectionT* sel, const char* text) {
    if (!text || !*text) return 2;
    SdifSelectContext ctx = {sst_num, text, text, text, 0};
    SdifSelectContext* context = &ctx;
    int ret = 1;
    int first = 1;
    const char* name = "frame";

    parsenexttoken(context);
    while (ret && *context->mInput) {
        switch (context->mToken) {
            case sst_stream:
                ret = parse(context, parseint, sel->stream, 1, name = "stream");
                break;
            case sst_frame:
                ret = parse(context, parsesig, sel->frame, 0, name = "frame");
                break;
            case sst_matrix:
                ret = parse(context, parsesig, sel->matrix, 0, name = "matrix");
                break;
            case sst_column:
                ret = parse(context, parsecol, sel->column, 1, name = "column");
                break;
            case sst_row:
                ret = parse(context, parseint, sel->row, 1, name = "row");
                break;
            case sst_time:
                ret = parse(context, parsereal, sel->time, 1, name = "time");
                break;
            default:
                /* A selection without a leading symbol is a frame list. */
                if (first)
                    ret = parse(context, parsesig, sel->frame, 0, name = "frame");
                else if (context->mToken == sst_num)
                    /* only a complete range can be followed by a bare word */
                    ret = parseerror(context, name, "\n\n\n", "No separator after value '%.*s'",
                                     context->mValueLen, context->mValue);
                else
                    ret = parseerror(context, name, "\n\n\n", "Unexpected symbol '%s'",
                                     tokensymbol(context));
                break;
        }
        first = 0;
    }
    rebuildmasks(sel);
    return ret;
}

void SdifReplaceSelection(const char* text, SdifSelectionT* sel) {
    SdifFreeSelectionLists(sel);
    SdifInitSelectionLists(sel);
    if (text) SdifParseSelection(sel, text);
    rebuildmasks(sel);
}

/* ---- selections ---- */

SdifSelectionT* SdifCreateSelection(void) {
    SdifSelectionT* sel = (SdifSelectionT*)calloc(1, sizeof(SdifSelectionT));
    if (!sel) {
        SDIF_ERROR(nullptr, eAllocFail, "Selection allocation");
        return nullptr;
    }
    if (!SdifInitSelection(sel, nullptr, 0)) {
        SdifFreeSelection(sel);
        return nullptr;
    }
    return sel;
}

int SdifInitSelection(SdifSelectionT* sel, const char* filename, int namelength) {
    sel->filename = nullptr;
    sel->basename = nullptr;
    setnames(sel, filename, namelength > 0 ? (size_t)namelength : 0);
    SdifInitIntMask(&sel->streammask);
    SdifInitIntMask(&sel->rowmask);
    SdifInitIntMask(&sel->colmask);
    sel->stream = sel->frame = sel->matrix = sel->column = sel->row = sel->time = nullptr;
    SdifInitSelectionLists(sel);
    return sel->stream && sel->frame && sel->matrix && sel->column && sel->row && sel->time &&
           (!filename || sel->basename);
}

void SdifInitSelectionLists(SdifSelectionT* sel) {
    sel->stream = SdifCreateList(SdifKillSelectElement);
    sel->frame = SdifCreateList(SdifKillSelectElement);
    sel->matrix = SdifCreateList(SdifKillSelectElement);
    sel->column = SdifCreateList(SdifKillSelectElement);
    sel->row = SdifCreateList(SdifKillSelectElement);
    sel->time = SdifCreateList(SdifKillSelectElement);
    rebuildmasks(sel);
}

void SdifFreeSelectionLists(SdifSelectionT* sel) {
    SdifListT** lists[] = {&sel->stream, &sel->frame, &sel->matrix,
                           &sel->column, &sel->row,   &sel->time};
    for (SdifListT** l : lists) {
        if (*l) SdifKillList(*l);
        *l = nullptr;
    }
    SdifSelectIntMaskT* masks[] = {&sel->streammask, &sel->rowmask, &sel->colmask};
    for (SdifSelectIntMaskT* m : masks) {
        free(m->mask);
        SdifInitIntMask(m);
    }
}

int SdifFreeSelection(SdifSelectionT* sel) {
    if (!sel) return 0;
    SdifFreeSelectionLists(sel);
    free(sel->filename);
    free(sel->basename);
    free(sel);
    return 1;
}

const char* SdifSelectFindSelection(const char* filename) {
    if (!filename) return nullptr;
    const char* last = nullptr;
    for (const char* p = strstr(filename, "::"); p; p = strstr(p + 1, "::")) last = p;
    return last;
}

char* SdifGetFilenameAndSelection(const char* filename, SdifSelectionT* sel) {
    SdifAssert(gSdifInitialised && "SDIF library not initialised!");
    if (!filename) filename = "";
    const char* cut = SdifSelectFindSelection(filename);
    setnames(sel, filename, cut ? (size_t)(cut - filename) : strlen(filename));
    if (cut) SdifParseSelection(sel, cut + SdifSelectSeparatorLen[sst_specsep]);
    return sel->filename;
}

SdifListT* SdifSelectAppendList(SdifListT* dest, SdifListT* source) {
    if (!dest || !source) return dest;
    for (SdifListNT* node = source->Head; node; node = node->Next) {
        SdifSelectElementT* copy = SdifSelectNewElement();
        if (!copy) break;
        *copy = *(SdifSelectElementT*)node->Data;
        SdifListPutTail(dest, copy);
    }
    return dest;
}
