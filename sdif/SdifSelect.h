/* Selections appended to SDIF file names after "::" (for example
** "name.sdif::#1:1TRC/1TRC@0.5-2.0"): splitting the name, parsing the
** expression into element lists and integer masks, and the tests by which
** the frame and matrix readers decide what is selected. */
#ifndef SDIF_SELECT_H
#define SDIF_SELECT_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Number of selection symbols; token sst_num stands for "no symbol". */
#define _SdifSelectNbSymbols 10

/* Flags held in a mask's array: values 0 to _SdifSelectMaskCap - 1.  A mask
** whose max lies above stops its array there and answers larger values from
** the element list it was built from, so "#4000000000" costs no memory. */
#define _SdifSelectMaskCap 65536

/* Symbols in token order; SdifSelectSymbol(sst_num) is "??". */
extern const char* const SdifSelectSeparators[_SdifSelectNbSymbols];
/* Length of each symbol and a string of their first characters, set by
** SdifInitSelect. */
extern int SdifSelectSeparatorLen[_SdifSelectNbSymbols];
extern char SdifSelectAllSeparators[_SdifSelectNbSymbols + 1];
/* Blank, tab, carriage return, line feed: skipped before every token. */
extern const char* const SdifSelectWhitespace;

/* When non-zero (0 by default) the parser traces every token and value on
** standard error. */
extern int gSdifSelectDebug;

/* Integer and real element as handed out by the iterators. */
typedef struct SdifSelectElementIntS {
    int value;
    int range;                  /* second value, for a range or delta */
    SdifSelectTokens rangetype; /* sst_norange, sst_range or sst_delta */
} SdifSelectElementIntT;

typedef struct SdifSelectElementRealS {
    SdifFloat8 value;
    SdifFloat8 range;
    SdifSelectTokens rangetype;
} SdifSelectElementRealT;

/* Compute the symbol lengths and first characters (library start-up; also
** done on first use). */
void SdifInitSelect(void);

/* The symbol of a token, "??" for sst_num. */
const char* SdifSelectSymbol(SdifSelectTokens token);

/* ---- selections ---- */

/* New selection: no name, empty lists, open masks; none when memory is out. */
SdifSelectionT* SdifCreateSelection(void);
/* Set the name to the first namelength characters of filename (the base
** name is what follows its last '/'), create empty lists and open masks.
** The previous content is not freed.  Answers 1, 0 when memory is out. */
int SdifInitSelection(SdifSelectionT* sel, const char* filename, int namelength);
/* Free names, lists, masks and the record; answers 1 (0 for none). */
int SdifFreeSelection(SdifSelectionT* sel);
/* Create the six lists empty / kill them. */
void SdifInitSelectionLists(SdifSelectionT* sel);
void SdifFreeSelectionLists(SdifSelectionT* sel);

/* Start of the last "::" in filename, or none. */
const char* SdifSelectFindSelection(const char* filename);
/* Cut filename at its last "::", keep the name in sel (replacing the old
** one) and parse what follows into sel.  Answers sel->filename.  The
** library must be started. */
char* SdifGetFilenameAndSelection(const char* filename, SdifSelectionT* sel);

/* Parse text and add its elements to sel's lists, then rebuild the three
** masks.  Answers 1, 0 after a parse error (printed on standard error; the
** elements read before it stay), 2 when text is empty. */
int SdifParseSelection(SdifSelectionT* sel, const char* text);
/* Empty every list and parse text when given (masks rebuilt either way). */
void SdifReplaceSelection(const char* text, SdifSelectionT* sel);

/* Append copies of the elements of source to dest; answers dest. */
SdifListT* SdifSelectAppendList(SdifListT* dest, SdifListT* source);

/* ---- elements ---- */

/* KillerFT of every selection list: frees the element (not a string value). */
void SdifKillSelectElement(void* element);

void SdifSelectAddInt(SdifListT* list, int value);
void SdifSelectAddReal(SdifListT* list, SdifFloat8 value);
void SdifSelectAddSignature(SdifListT* list, SdifSignature value);
/* The text is not copied: it must outlive the list. */
void SdifSelectAddString(SdifListT* list, char* value);
/* A range (sst_range) or delta (sst_delta) element. */
void SdifSelectAddIntRange(SdifListT* list, int value, int range, SdifSelectTokens rangetype);
void SdifSelectAddRealRange(SdifListT* list, SdifFloat8 value, SdifFloat8 range,
                            SdifSelectTokens rangetype);
void SdifSelectAddSignatureRange(SdifListT* list, SdifSignature value, SdifSignature range,
                                 SdifSelectTokens rangetype);
void SdifSelectAddStringRange(SdifListT* list, char* value, char* range,
                              SdifSelectTokens rangetype);

/* Value of the first element, or defval for an empty list. */
int SdifSelectGetFirstInt(SdifListT* list, int defval);
SdifFloat8 SdifSelectGetFirstReal(SdifListT* list, SdifFloat8 defval);
SdifSignature SdifSelectGetFirstSignature(SdifListT* list, SdifSignature defval);
char* SdifSelectGetFirstString(SdifListT* list, char* defval);

/* Iterators over a list started with SdifListInitLoop.  The signature and
** string forms answer 0 / none at the end; the range forms answer 1 with
** *range filled, 0 at the end.  With forcerange, a delta comes out as the
** plain range value - |delta| to value + |delta| and every range with its
** lower bound first. */
SdifSignature SdifSelectGetNextSignature(SdifListT* list);
char* SdifSelectGetNextString(SdifListT* list);
int SdifSelectGetNextIntRange(SdifListT* list, SdifSelectElementIntT* range, int forcerange);
int SdifSelectGetNextRealRange(SdifListT* list, SdifSelectElementRealT* range, int forcerange);

/* ---- tests ---- */

/* One element: range bounds inclusive in either order; delta |value - v| <=
** delta (|delta| for reals); single value: equality. */
int SdifSelectTestIntRange(SdifSelectElementT* elem, int v);
int SdifSelectTestRealRange(SdifSelectElementT* elem, SdifFloat8 v);
/* Lists: 1 when empty or when any element accepts the value. */
int SdifSelectTestInt(SdifListT* list, int v);
int SdifSelectTestReal(SdifListT* list, SdifFloat8 v);
int SdifSelectTestSignature(SdifListT* list, SdifSignature s);
int SdifSelectTestString(SdifListT* list, const char* s);

/* ---- integer masks ---- */

/* Fresh open mask: count 0, max 0, no array, open flag 1.  An array already
** held is not freed. */
void SdifInitIntMask(SdifSelectIntMaskT* mask);
/* Rebuild mask from an integer list (the old array, malloc'ed, is freed).
** Bounds are unsigned 32-bit: a delta reaching below 0 wraps and marks
** nothing, though its upper end still raises max.  The list must live as
** long as the mask is tested. */
void SdifSelectGetIntMask(SdifListT* list, SdifSelectIntMaskT* mask);
/* Count 0 or v above max: the open flag; otherwise whether v is marked. */
int SdifSelectTestIntMask(SdifSelectIntMaskT* mask, SdifUInt4 v);
/* Flags held in mask->mask (at most _SdifSelectMaskCap); walk the array
** only up to this, not up to max. */
SdifUInt4 SdifSelectIntMaskNbFlags(const SdifSelectIntMaskT* mask);

/* ---- frames, matrices, rows, columns ---- */

/* Stream 0xFFFFFFFF or accepted by the stream mask, time accepted by the
** time list, signature in the frame list (or list empty). */
int SdifFrameIsSelected(SdifFrameHeaderT* header, SdifSelectionT* sel);
/* Signature in the matrix list (or list empty). */
int SdifMatrixIsSelected(SdifMatrixHeaderT* header, SdifSelectionT* sel);
/* The same on the file's current frame / matrix header (0 when it has none). */
int SdifFCurrFrameIsSelected(SdifFileT* file);
int SdifFCurrMatrixIsSelected(SdifFileT* file);
/* Row and column numbers counted from 1, tested against the masks. */
int SdifFRowIsSelected(SdifFileT* file, int row);
int SdifFColumnIsSelected(SdifFileT* file, int col);
/* Streams marked in the stream mask (0 when no stream is named). */
int SdifFNumStreamsSelected(SdifFileT* file);
/* Rows 1..NbRow / columns 1..NbCol of the current matrix header that the
** masks accept. */
int SdifFNumRowsSelected(SdifFileT* file);
int SdifFNumColumnsSelected(SdifFileT* file);

/* ---- diagnosis ---- */

/* Print the name and one line per list; bit 0 of options prints ranges and
** deltas as plain lower - upper ranges. */
void SdifPrintSelection(FILE* out, SdifSelectionT* sel, int options);

#ifdef __cplusplus
}
#endif

#endif
