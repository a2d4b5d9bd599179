/* Selections appended to SDIF file names: their element lists, the
** selection tests, integer masks and the diagnosis. */
#include "SdifSelect.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifList.h"
#include "SdifPrivate.h"

/* ---- elements ---- */

void SdifKillSelectElement(void* element) { free(element); }

SdifSelectElementT* SdifSelectNewElement(void) {
    SdifSelectElementT* elem = (SdifSelectElementT*)calloc(1, sizeof(SdifSelectElementT));
    if (!elem) SDIF_ERROR(nullptr, eAllocFail, "SelectElement allocation");
    return elem;
}

int SdifSelectPutElement(SdifListT* list, const SdifSelectElementT& complete) {
    SdifSelectElementT* elem = SdifSelectNewElement();
    if (!elem) return 0;
    *elem = complete;
    SdifListPutTail(list, elem);
    return 1;
}

namespace {

void addelement(SdifListT* list, SdifSelectValueT value, SdifSelectValueT range,
                SdifSelectTokens rangetype) {
    SdifSelectElementT* elem = SdifSelectNewElement();
    if (!elem) return;
    elem->value = value;
    elem->range = range;
    elem->rangetype = rangetype;
    SdifListPutTail(list, elem);
}

SdifSelectElementT* firstelement(SdifListT* list) {
    return list && list->Head ? (SdifSelectElementT*)list->Head->Data : nullptr;
}

SdifSelectValueT intvalue(int v) {
    SdifSelectValueT value;
    value.integer = v;
    return value;
}
SdifSelectValueT realvalue(SdifFloat8 v) {
    SdifSelectValueT value;
    value.real = v;
    return value;
}
SdifSelectValueT sigvalue(SdifSignature v) {
    SdifSelectValueT value;
    memset(&value, 0, sizeof value);
    value.signature = v;
    return value;
}
SdifSelectValueT stringvalue(char* v) {
    SdifSelectValueT value;
    memset(&value, 0, sizeof value);
    value.string = v;
    return value;
}

}  // namespace

void SdifSelectAddInt(SdifListT* list, int value) {
    addelement(list, intvalue(value), intvalue(0), sst_norange);
}
void SdifSelectAddReal(SdifListT* list, SdifFloat8 value) {
    addelement(list, realvalue(value), realvalue(0), sst_norange);
}
void SdifSelectAddSignature(SdifListT* list, SdifSignature value) {
    addelement(list, sigvalue(value), sigvalue(0), sst_norange);
}
void SdifSelectAddString(SdifListT* list, char* value) {
    addelement(list, stringvalue(value), stringvalue(nullptr), sst_norange);
}
void SdifSelectAddIntRange(SdifListT* list, int value, int range, SdifSelectTokens rangetype) {
    addelement(list, intvalue(value), intvalue(range), rangetype);
}
void SdifSelectAddRealRange(SdifListT* list, SdifFloat8 value, SdifFloat8 range,
                            SdifSelectTokens rangetype) {
    addelement(list, realvalue(value), realvalue(range), rangetype);
}
void SdifSelectAddSignatureRange(SdifListT* list, SdifSignature value, SdifSignature range,
                                 SdifSelectTokens rangetype) {
    addelement(list, sigvalue(value), sigvalue(range), rangetype);
}
void SdifSelectAddStringRange(SdifListT* list, char* value, char* range,
                              SdifSelectTokens rangetype) {
    addelement(list, stringvalue(value), stringvalue(range), rangetype);
}

int SdifSelectGetFirstInt(SdifListT* list, int defval) {
    SdifSelectElementT* elem = firstelement(list);
    return elem ? elem->value.integer : defval;
}
SdifFloat8 SdifSelectGetFirstReal(SdifListT* list, SdifFloat8 defval) {
    SdifSelectElementT* elem = firstelement(list);
    return elem ? elem->value.real : defval;
}
SdifSignature SdifSelectGetFirstSignature(SdifListT* list, SdifSignature defval) {
    SdifSelectElementT* elem = firstelement(list);
    return elem ? elem->value.signature : defval;
}
char* SdifSelectGetFirstString(SdifListT* list, char* defval) {
    SdifSelectElementT* elem = firstelement(list);
    return elem ? elem->value.string : defval;
}

SdifSignature SdifSelectGetNextSignature(SdifListT* list) {
    SdifSelectElementT* elem = (SdifSelectElementT*)SdifListGetNext(list);
    return elem ? elem->value.signature : 0;
}

char* SdifSelectGetNextString(SdifListT* list) {
    SdifSelectElementT* elem = (SdifSelectElementT*)SdifListGetNext(list);
    return elem ? elem->value.string : nullptr;
}

int SdifSelectGetNextIntRange(SdifListT* list, SdifSelectElementIntT* range, int forcerange) {
    SdifSelectElementT* elem = (SdifSelectElementT*)SdifListGetNext(list);
    if (!elem) return 0;
    range->value = elem->value.integer;
    range->range = elem->range.integer;
    range->rangetype = elem->rangetype;
    if (forcerange) {
        long long v = range->value, r = range->range;
        if (range->rangetype == sst_delta) {
            long long d = r < 0 ? -r : r;
            range->value = (int)(v - d);
            range->range = (int)(v + d);
            range->rangetype = sst_range;
        } else if (range->rangetype == sst_range && r < v) {
            std::swap(range->value, range->range);
        }
    }
    return 1;
}

int SdifSelectGetNextRealRange(SdifListT* list, SdifSelectElementRealT* range, int forcerange) {
    SdifSelectElementT* elem = (SdifSelectElementT*)SdifListGetNext(list);
    if (!elem) return 0;
    range->value = elem->value.real;
    range->range = elem->range.real;
    range->rangetype = elem->rangetype;
    if (forcerange) {
        if (range->rangetype == sst_delta) {
            double d = fabs(range->range), v = range->value;
            range->value = v - d;
            range->range = v + d;
            range->rangetype = sst_range;
        } else if (range->rangetype == sst_range && range->range < range->value) {
            std::swap(range->value, range->range);
        }
    }
    return 1;
}

/* ---- tests ---- */

int SdifSelectTestIntRange(SdifSelectElementT* elem, int v) {
    long long a = elem->value.integer, b = elem->range.integer, x = v;
    switch (elem->rangetype) {
        case sst_range:
            return std::min(a, b) <= x && x <= std::max(a, b);
        case sst_delta:
            return std::llabs(a - x) <= b;
        default:
            return a == x;
    }
}

/* A delta is tested against its bounds: value - |delta| and value + |delta|
** round the way the user wrote them, so "@1.5+0.1" keeps 1.4 and 1.6. */
int SdifSelectTestRealRange(SdifSelectElementT* elem, SdifFloat8 v) {
    double a = elem->value.real, b = elem->range.real;
    switch (elem->rangetype) {
        case sst_range:
            return std::min(a, b) <= v && v <= std::max(a, b);
        case sst_delta:
            return a - fabs(b) <= v && v <= a + fabs(b);
        default:
            return a == v;
    }
}

int SdifSelectTestInt(SdifListT* list, int v) {
    if (!list || !list->Head) return 1;
    for (SdifListNT* node = list->Head; node; node = node->Next)
        if (SdifSelectTestIntRange((SdifSelectElementT*)node->Data, v)) return 1;
    return 0;
}

int SdifSelectTestReal(SdifListT* list, SdifFloat8 v) {
    if (!list || !list->Head) return 1;
    for (SdifListNT* node = list->Head; node; node = node->Next)
        if (SdifSelectTestRealRange((SdifSelectElementT*)node->Data, v)) return 1;
    return 0;
}

int SdifSelectTestSignature(SdifListT* list, SdifSignature s) {
    if (!list || !list->Head) return 1;
    for (SdifListNT* node = list->Head; node; node = node->Next)
        if (((SdifSelectElementT*)node->Data)->value.signature == s) return 1;
    return 0;
}

int SdifSelectTestString(SdifListT* list, const char* s) {
    if (!list || !list->Head) return 1;
    for (SdifListNT* node = list->Head; node; node = node->Next) {
        const char* e = ((SdifSelectElementT*)node->Data)->value.string;
        if (e && s && strcmp(e, s) == 0) return 1;
    }
    return 0;
}

/* ---- integer masks ----
** A mask keeps a flag per value only up to _SdifSelectMaskCap; values above
** the flags but not above max are answered from the element list, with the
** same unsigned interval arithmetic, so a selection such as "#4000000000" or
** "#0-4000000000" costs a bounded array and answers exactly as a full one
** would. */

namespace {

typedef std::pair<SdifUInt4, SdifUInt4> Interval; /* inclusive bounds */

/* The values an element marks; answers 0 when it marks none. */
int elementinterval(const SdifSelectElementT* elem, Interval* iv, SdifUInt4* upper) {
    SdifUInt4 a = (SdifUInt4)elem->value.integer;
    SdifUInt4 lo = a, hi = a;
    if (elem->rangetype == sst_range) {
        SdifUInt4 b = (SdifUInt4)elem->range.integer;
        lo = std::min(a, b);
        hi = std::max(a, b);
    } else if (elem->rangetype == sst_delta) {
        SdifInt4 r = elem->range.integer;
        SdifUInt4 d = r < 0 ? 0u - (SdifUInt4)r : (SdifUInt4)r;
        lo = a - d; /* wraps below 0 on purpose: such a delta marks nothing */
        hi = a + d;
    }
    *upper = hi;
    iv->first = lo;
    iv->second = hi;
    return lo <= hi;
}

/* Distinct values of the list's intervals that lie within [from, to]. */
uint64_t countinlist(SdifListT* list, SdifUInt4 from, SdifUInt4 to) {
    if (!list || from > to) return 0;
    std::vector<Interval> ivs;
    for (SdifListNT* node = list->Head; node; node = node->Next) {
        Interval iv;
        SdifUInt4 upper;
        if (!elementinterval((SdifSelectElementT*)node->Data, &iv, &upper)) continue;
        iv.first = std::max(iv.first, from);
        iv.second = std::min(iv.second, to);
        if (iv.first <= iv.second) ivs.push_back(iv);
    }
    std::sort(ivs.begin(), ivs.end());
    uint64_t total = 0;
    uint64_t next = 0; /* first value not yet counted */
    for (const Interval& iv : ivs) {
        uint64_t lo = std::max<uint64_t>(iv.first, next), hi = iv.second;
        if (lo <= hi) {
            total += hi - lo + 1;
            next = hi + 1;
        }
    }
    return total;
}

int listmarks(SdifListT* list, SdifUInt4 v) {
    if (!list) return 0;
    for (SdifListNT* node = list->Head; node; node = node->Next) {
        Interval iv;
        SdifUInt4 upper;
        if (elementinterval((SdifSelectElementT*)node->Data, &iv, &upper) && iv.first <= v &&
            v <= iv.second)
            return 1;
    }
    return 0;
}

/* Values v in [1, n] that the mask accepts. */
int countselected(SdifSelectIntMaskT* mask, SdifUInt4 n) {
    if (n == 0) return 0;
    if (mask->num == 0) return mask->openend ? (int)std::min<SdifUInt4>(n, INT32_MAX) : 0;
    SdifUInt4 max = (SdifUInt4)mask->max;
    SdifUInt4 upto = std::min(n, max);
    SdifUInt4 nflags = SdifSelectIntMaskNbFlags(mask);
    uint64_t total = 0;
    SdifUInt4 v = 1;
    for (; v <= upto && v < nflags; v++) total += mask->mask[v] != 0;
    if (v <= upto) total += countinlist(mask->list, v, upto);
    if (n > max && mask->openend) total += n - max;
    return (int)std::min<uint64_t>(total, INT32_MAX);
}

}  // namespace

void SdifInitIntMask(SdifSelectIntMaskT* mask) {
    mask->num = 0;
    mask->max = 0;
    mask->mask = nullptr;
    mask->openend = 1;
    mask->list = nullptr;
}

SdifUInt4 SdifSelectIntMaskNbFlags(const SdifSelectIntMaskT* mask) {
    if (!mask->mask) return 0;
    return std::min<SdifUInt4>((SdifUInt4)mask->max, _SdifSelectMaskCap - 1) + 1;
}

void SdifSelectGetIntMask(SdifListT* list, SdifSelectIntMaskT* mask) {
    free(mask->mask);
    SdifInitIntMask(mask);
    mask->list = list;
    if (!list || !list->Head) return;

    SdifUInt4 max = 0;
    for (SdifListNT* node = list->Head; node; node = node->Next) {
        Interval iv;
        SdifUInt4 upper;
        elementinterval((SdifSelectElementT*)node->Data, &iv, &upper);
        max = std::max(max, upper);
    }
    mask->max = (int)max;
    mask->openend = 0;
    uint64_t count = countinlist(list, 0, max);
    mask->num = (int)std::min<uint64_t>(count, INT32_MAX);

    /* Without the array (no memory) every test walks the list instead. */
    SdifUInt4 nflags = std::min<SdifUInt4>(max, _SdifSelectMaskCap - 1) + 1;
    mask->mask = (int*)calloc(nflags, sizeof(int));
    if (!mask->mask) return;
    for (SdifListNT* node = list->Head; node; node = node->Next) {
        Interval iv;
        SdifUInt4 upper;
        if (!elementinterval((SdifSelectElementT*)node->Data, &iv, &upper)) continue;
        for (uint64_t v = iv.first; v <= iv.second && v < nflags; v++) mask->mask[v] = 1;
    }
}

int SdifSelectTestIntMask(SdifSelectIntMaskT* mask, SdifUInt4 v) {
    if (mask->num == 0 || v > (SdifUInt4)mask->max) return mask->openend;
    if (v < SdifSelectIntMaskNbFlags(mask)) return mask->mask[v] != 0;
    return listmarks(mask->list, v);
}

/* ---- frames, matrices, rows, columns ---- */

int SdifFrameIsSelected(SdifFrameHeaderT* header, SdifSelectionT* sel) {
    if (!header) return 0;
    if (!sel) return 1;
    return (header->NumID == 0xFFFFFFFFu ||
            SdifSelectTestIntMask(&sel->streammask, header->NumID)) &&
           SdifSelectTestReal(sel->time, header->Time) &&
           SdifSelectTestSignature(sel->frame, header->Signature);
}

int SdifMatrixIsSelected(SdifMatrixHeaderT* header, SdifSelectionT* sel) {
    if (!header) return 0;
    if (!sel) return 1;
    return SdifSelectTestSignature(sel->matrix, header->Signature);
}

int SdifFCurrFrameIsSelected(SdifFileT* file) {
    return SdifFrameIsSelected(file->CurrFramH, file->Selection);
}

int SdifFCurrMatrixIsSelected(SdifFileT* file) {
    return SdifMatrixIsSelected(file->CurrMtrxH, file->Selection);
}

int SdifFRowIsSelected(SdifFileT* file, int row) {
    if (!file->Selection) return 1;
    return SdifSelectTestIntMask(&file->Selection->rowmask, (SdifUInt4)row);
}

int SdifFColumnIsSelected(SdifFileT* file, int col) {
    if (!file->Selection) return 1;
    return SdifSelectTestIntMask(&file->Selection->colmask, (SdifUInt4)col);
}

int SdifFNumStreamsSelected(SdifFileT* file) {
    return file->Selection ? file->Selection->streammask.num : 0;
}

int SdifFNumRowsSelected(SdifFileT* file) {
    if (!file->CurrMtrxH) return 0;
    if (!file->Selection) return (int)std::min<SdifUInt4>(file->CurrMtrxH->NbRow, INT32_MAX);
    return countselected(&file->Selection->rowmask, file->CurrMtrxH->NbRow);
}

int SdifFNumColumnsSelected(SdifFileT* file) {
    if (!file->CurrMtrxH) return 0;
    if (!file->Selection) return (int)std::min<SdifUInt4>(file->CurrMtrxH->NbCol, INT32_MAX);
    return countselected(&file->Selection->colmask, file->CurrMtrxH->NbCol);
}

/* ---- diagnosis ---- */

namespace {

const char* printhead(FILE* out, const char* name, SdifListT* list) {
    int empty = !list || !list->Head;
    fprintf(out, "   %-6s:%s", name, empty ? " any\n" : " ");
    return empty ? nullptr : "";
}

void printintlist(FILE* out, SdifListT* list, const char* name, int options) {
    if (!printhead(out, name, list)) return;
    SdifSelectElementIntT range;
    SdifListInitLoop(list);
    while (SdifSelectGetNextIntRange(list, &range, options & 1)) {
        SdifAssert(range.rangetype <= sst_num);
        const char* trailing = SdifListIsNext(list) ? ", " : "\n";
        if (range.rangetype == sst_norange)
            fprintf(out, "%d%s", range.value, trailing);
        else
            fprintf(out, "%d %s %d%s", range.value, SdifSelectSymbol(range.rangetype), range.range,
                    trailing);
    }
}

void printreallist(FILE* out, SdifListT* list, const char* name, int options) {
    if (!printhead(out, name, list)) return;
    SdifSelectElementRealT range;
    SdifListInitLoop(list);
    while (SdifSelectGetNextRealRange(list, &range, options & 1)) {
        SdifAssert(range.rangetype <= sst_num);
        const char* trailing = SdifListIsNext(list) ? ", " : "\n";
        if (range.rangetype == sst_norange)
            fprintf(out, "%g%s", range.value, trailing);
        else
            fprintf(out, "%g %s %g%s", range.value, SdifSelectSymbol(range.rangetype), range.range,
                    trailing);
    }
}

/* A 0 signature (the "select nothing" entry) ends the line early. */
void printsiglist(FILE* out, SdifListT* list, const char* name) {
    if (!printhead(out, name, list)) return;
    int lineopen = 1;
    SdifSignature sig;
    SdifListInitLoop(list);
    while ((sig = SdifSelectGetNextSignature(list)) != 0) {
        lineopen = SdifListIsNext(list);
        fprintf(out, "%s%s", SdifSignatureToString(sig), lineopen ? ", " : "\n");
    }
    if (lineopen) fputs("\n", out);
}

}  // namespace

void SdifPrintSelection(FILE* out, SdifSelectionT* sel, int options) {
    fprintf(out, "selection: file %s  basename %s\n", sel->filename ? sel->filename : "",
            sel->basename ? sel->basename : "");
    printintlist(out, sel->stream, "stream", options);
    printsiglist(out, sel->frame, "frame");
    printsiglist(out, sel->matrix, "matrix");
    printintlist(out, sel->column, "column", options);
    printintlist(out, sel->row, "row", options);
    printreallist(out, sel->time, "time", options);
}
