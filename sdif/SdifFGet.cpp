#include "SdifFGet.h"

#include <cctype>
#include <cfloat>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFRead.h"
#include "SdifFWrite.h"
#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifFrameType.h"
#include "SdifHard_OS.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifMatrixType.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"
#include "SdifString.h"

namespace {

constexpr SdifSignature k1MTD = SdifSignatureConst("1MTD");
constexpr SdifSignature k1FTD = SdifSignatureConst("1FTD");
constexpr SdifSignature k1TYP = SdifSignatureConst("1TYP");
/* Stream ID meaning "no stream", used by the 1TYP frame. */
constexpr SdifUInt4 kNoStreamID = 0xFFFFFFFFu;

/* The declarations come from a stream of the file (counted by the stream
** tokenisers) or from an SdifStringT (counted by its read position); this
** gives both one face. */
struct TypeInput {
    SdifFileT* file;
    FILE* stream;
    SdifStringT* text;
    size_t nbRead;
    int textStart;

    TypeInput(SdifFileT* f, FILE* s) : file(f), stream(s), text(nullptr), nbRead(0), textStart(0) {}
    TypeInput(SdifFileT* f, SdifStringT* t)
        : file(f), stream(nullptr), text(t), nbRead(0), textStart(t->NbCharRead) {}

    size_t Count() const { return stream ? nbRead : (size_t)(text->NbCharRead - textStart); }

    /* Skip white space; true at the end of the input.  Checked before every
    ** token so that the end of a declaration text is a plain end rather than
    ** the short read the stream tokenisers would report. */
    bool AtEnd() {
        if (stream) {
            int c;
            while ((c = std::fgetc(stream)) != EOF) {
                if (!std::isspace(c)) {
                    std::ungetc(c, stream);
                    return false;
                }
                ++nbRead;
            }
            return true;
        }
        while (!SdifStringIsEOS(text)) {
            int c = SdifStringGetC(text);
            if (c == 0) return true;
            if (!std::isspace((unsigned char)c)) {
                SdifStringUngetC(text);
                return false;
            }
        }
        return true;
    }

    int Signature(SdifSignature* sig) {
        *sig = 0;
        if (AtEnd()) return eEof;
        return stream ? SdiffGetSignature(stream, sig, &nbRead)
                      : SdiffGetSignaturefromSdifString(text, sig);
    }

    int Name(char* name) {
        name[0] = '\0';
        if (AtEnd()) return eEof;
        return stream ? SdiffGetString(stream, name, _SdifStringLen, &nbRead)
                      : SdiffGetStringfromSdifString(text, name, _SdifStringLen);
    }

    int SkipUntil(const char* stopChars) {
        if (AtEnd()) return eEof;
        return stream ? SdifSkipASCIIUntil(stream, &nbRead, stopChars)
                      : SdifSkipASCIIUntilfromSdifString(text, stopChars);
    }

    /* What is left of a text input, for messages. */
    const char* Remaining() const {
        if (!text || !text->str) return "";
        return text->str + (text->NbCharRead < (int)text->SizeW ? text->NbCharRead : text->SizeW);
    }
};

/* A character as a message shows it. */
void DescribeChar(int c, char* out, size_t size) {
    if (c == eEof)
        std::snprintf(out, size, "end of input");
    else if (c >= 0 && c < 256 && std::isprint(c))
        std::snprintf(out, size, "'%c'", c);
    else
        std::snprintf(out, size, "char %d", c);
}

/* Report a syntax error when the token did not end with the expected
** character; answers whether it did. */
bool CheckChar(TypeInput& in, int got, int expected, const char* label) {
    if (got == expected) return true;
    char what[32];
    char text[_SdifStringLen];
    DescribeChar(got, what, sizeof what);
    std::snprintf(text, sizeof text, "%s : waiting for '%c', read %s", label, expected, what);
    SDIF_ERROR(in.file, eSyntax, text);
    return false;
}

/* The opening brace, alone: nothing may stand before it. */
bool CheckOpeningBrace(TypeInput& in, int got, const char* word, const char* label) {
    if (word[0] == '\0') return CheckChar(in, got, '{', label);
    char text[_SdifStringLen];
    std::snprintf(text, sizeof text, "%s : waiting for '{', read '%.900s'", label, word);
    SDIF_ERROR(in.file, eSyntax, text);
    return false;
}

/* Owns an SdifStringT for the length of a scope: the error callback may
** unwind (the object layer turns reports into exceptions). */
struct StringHolder {
    SdifStringT* text;
    StringHolder() : text(SdifStringNew()) {}
    ~StringHolder() { SdifStringFree(text); }
    StringHolder(const StringHolder&) = delete;
    StringHolder& operator=(const StringHolder&) = delete;
};

/* A signature read whole: some characters, not ended by a reserved character
** or the end of the input. */
bool CheckSignature(TypeInput& in, int last, SdifSignature sig, const char* label) {
    bool cut = sig == 0 || SdifIsAReservedChar(last) || (last == eEof && (sig & 0xFFu) != eEof);
    if (!cut) return true;
    char what[32];
    char text[_SdifStringLen];
    DescribeChar(last, what, sizeof what);
    std::snprintf(text, sizeof text, "%s signature '%s' ended by %s", label,
                  SdifSignatureToString(sig), what);
    SDIF_ERROR(in.file, eSyntax, text);
    return false;
}

/* After a malformed declaration: go on after its closing brace. */
void SkipToClosingBrace(TypeInput& in, int last) {
    if (last == '}' || last == eEof) return;
    in.SkipUntil("}");
}

void GetOneMatrixType(TypeInput& in) {
    SdifFileT* file = in.file;
    SdifSignature sig = 0;
    int last = in.Signature(&sig);
    if (!CheckSignature(in, last, sig, "Matrix")) return;

    SdifMatrixTypeT* type = SdifGetMatrixType(file->MatrixTypesTable, sig);
    if (!type) {
        type = SdifCreateMatrixType(
            sig, SdifFPredefinedType<SdifMatrixTypeT>(file, &SdifFileT::MatrixTypesTable, sig));
        if (!type) {
            in.SkipUntil("}");
            return;
        }
        SdifPutMatrixType(file->MatrixTypesTable, type);
    } else if (!SdifTestMatrixTypeModifMode(file, type)) {
        last = in.SkipUntil("}:[];");
        CheckChar(in, last, '}', "end of matrix type skiped missing");
        return;
    }

    char name[_SdifStringLen];
    last = in.Name(name);
    if (!CheckOpeningBrace(in, last, name, "Matrix Type")) {
        SkipToClosingBrace(in, last);
        type->ModifMode = eNoModif;
        return;
    }
    while ((last = in.Name(name)) == ',')
        if (name[0]) SdifFMatrixTypeInsertTailColumnDef(file, type, name);
    if (CheckChar(in, last, '}', "end of matrix type missing")) {
        if (name[0]) SdifFMatrixTypeInsertTailColumnDef(file, type, name);
    } else {
        SkipToClosingBrace(in, last);
    }
    type->ModifMode = eNoModif;
}

enum ComponentRead { kComponentEnd = -1, kComponentBad = 0, kComponentRead = 1 };

ComponentRead GetOneComponent(TypeInput& in, SdifSignature* matrixSignature, char* name) {
    char text[_SdifStringLen];
    *matrixSignature = 0;
    name[0] = '\0';

    SdifSignature sig = 0;
    int last = in.Signature(&sig);
    if (sig == 0 && last == '}') return kComponentEnd;
    if (sig != 0 && last == '}') {
        std::snprintf(text, sizeof text, "Incomplete Component : '%s%c'",
                      SdifSignatureToString(sig), '}');
        SDIF_ERROR(in.file, eSyntax, text);
        return kComponentEnd;
    }
    if (!CheckSignature(in, last, sig, "matrix signature of Component")) {
        if (last == eEof) return kComponentEnd;
        if (last == ';') return kComponentBad;
        last = in.SkipUntil(";}");
        return last == ';' ? kComponentBad : kComponentEnd;
    }

    last = in.Name(name);
    if (last == ';' && name[0]) {
        *matrixSignature = sig;
        return kComponentRead;
    }
    if (last == '}' && !name[0]) {
        std::snprintf(text, sizeof text, "Incomplete Component : '%s%c'",
                      SdifSignatureToString(sig), '}');
        SDIF_ERROR(in.file, eSyntax, text);
        return kComponentEnd;
    }
    SDIF_ERROR(in.file, eSyntax, "Component must be finished by ';'");
    if (last == ';') return kComponentBad;
    if (last == '}' || last == eEof) return kComponentEnd;
    last = in.SkipUntil(";}");
    return last == ';' ? kComponentBad : kComponentEnd;
}

void GetOneFrameType(TypeInput& in) {
    SdifFileT* file = in.file;
    SdifSignature sig = 0;
    int last = in.Signature(&sig);
    if (!CheckSignature(in, last, sig, "Frame")) return;

    SdifFrameTypeT* type = SdifGetFrameType(file->FrameTypesTable, sig);
    if (!type) {
        type = SdifCreateFrameType(
            sig, SdifFPredefinedType<SdifFrameTypeT>(file, &SdifFileT::FrameTypesTable, sig));
        if (!type) {
            in.SkipUntil("}");
            return;
        }
        SdifPutFrameType(file->FrameTypesTable, type);
    } else if (!SdifTestFrameTypeModifMode(file, type)) {
        last = in.SkipUntil("}:[]");
        CheckChar(in, last, '}', "end of frame type skiped missing");
        return;
    }

    char name[_SdifStringLen];
    last = in.Name(name);
    if (!CheckOpeningBrace(in, last, name, "Frame Type")) {
        SkipToClosingBrace(in, last);
        type->ModifMode = eNoModif;
        return;
    }
    for (;;) {
        SdifSignature matrixSignature = 0;
        ComponentRead got = GetOneComponent(in, &matrixSignature, name);
        if (got == kComponentEnd) break;
        if (got == kComponentRead && SdifTestMatrixType(file, matrixSignature))
            SdifFFrameTypePutComponent(file, type, matrixSignature, name);
    }
    type->ModifMode = eNoModif;
}

/* Declarations up to a closing brace or the end of the input. */
void GetAllTypes(TypeInput& in) {
    for (;;) {
        SdifSignature sig = 0;
        int last = in.Signature(&sig);
        if (sig == 0 && (last == '}' || last == eEof)) break;
        if (sig == k1MTD) {
            GetOneMatrixType(in);
        } else if (sig == k1FTD) {
            GetOneFrameType(in);
        } else {
            char text[_SdifStringLen];
            char expected1[5], expected2[5];
            std::memcpy(expected1, SdifSignatureToString(k1MTD), 5);
            std::memcpy(expected2, SdifSignatureToString(k1FTD), 5);
            if (in.text)
                std::snprintf(text, sizeof text,
                              "Waiting for signature '%s' or '%s', read '%s' (end char %c=%d) at "
                              "position %d, \nremaining input '%.900s'",
                              expected1, expected2, SdifSignatureToString(sig), last, last,
                              (int)in.Count(), in.Remaining());
            else
                std::snprintf(text, sizeof text,
                              "Waiting for signature '%s' or '%s', read '%s' (end char %c=%d) at "
                              "position %d",
                              expected1, expected2, SdifSignatureToString(sig), last, last,
                              (int)in.Count());
            SDIF_ERROR(in.file, eSyntax, text);
        }
    }
}

/* The file's own types in the built-in declaration syntax. */
void AppendMatrixTypeDeclaration(SdifStringT* text, SdifMatrixTypeT* type) {
    SdifStringAppend(text, "1MTD ");
    SdifStringAppend(text, SdifSignatureToString(type->Signature));
    SdifStringAppend(text, " {");
    for (SdifListNT* node = type->ColumnUserList->Head; node; node = node->Next) {
        SdifColumnDefT* column = (SdifColumnDefT*)node->Data;
        SdifStringAppend(text, column->Name);
        SdifStringAppend(text, node->Next ? ", " : " ");
    }
    SdifStringAppend(text, "}\n");
}

int CompareComponentNum(const void* a, const void* b) {
    unsigned int na = (*(SdifComponentT* const*)a)->Num;
    unsigned int nb = (*(SdifComponentT* const*)b)->Num;
    return na < nb ? -1 : na > nb ? 1 : 0;
}

void AppendFrameTypeDeclaration(SdifStringT* text, SdifFrameTypeT* type) {
    SdifHashTableT* table = type->ComponentUseHT;
    SdifComponentT** components =
        (SdifComponentT**)std::malloc(sizeof(SdifComponentT*) * table->NbOfData);
    if (!components) return;
    unsigned int nb = 0;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry && nb < table->NbOfData;
             entry = entry->Next)
            if (entry->Data) components[nb++] = (SdifComponentT*)entry->Data;
    /* the order of declaration, which numbers the components */
    std::qsort(components, nb, sizeof *components, CompareComponentNum);

    SdifStringAppend(text, "1FTD ");
    SdifStringAppend(text, SdifSignatureToString(type->Signature));
    SdifStringAppend(text, " {");
    for (unsigned int i = 0; i < nb; ++i) {
        SdifStringAppend(text, SdifSignatureToString(components[i]->MtrxS));
        SdifStringAppend(text, " ");
        SdifStringAppend(text, components[i]->Name);
        SdifStringAppend(text, i + 1 < nb ? "; " : ";  ");
    }
    SdifStringAppend(text, "}\n");
    std::free(components);
}

}  // namespace

/* ---- text declarations ---- */

size_t SdifFGetAllType(SdifFileT* file, int verbose) {
    FILE* stream = SdifFGetFILE_SwitchVerbose(file, verbose);
    if (!stream) return 0;
    if (verbose == 's')
        SdifFNotice(file,
                    "Warning, this file uses an intermediate format for the user defined types.  "
                    "Portablity with programs not using the QUENDA SDIF library is not "
                    "guaranteed.");
    if (file->TypeDefPass) SDIF_ERROR(file, eOnlyOneChunk, "1TYP");

    TypeInput in(file, stream);
    char name[_SdifStringLen];
    int last = in.Name(name);
    CheckOpeningBrace(in, last, name, "Begin of Types declarations");
    if (last != eEof) GetAllTypes(in);
    file->TypeDefPass = 1;
    return in.Count();
}

size_t SdifFGetAllTypefromSdifString(SdifFileT* file, SdifStringT* text) {
    if (!file || !text) return 0;
    TypeInput in(file, text);
    GetAllTypes(in);
    return in.Count();
}

size_t SdifFGetOneMatrixType(SdifFileT* file, int verbose) {
    FILE* stream = SdifFGetFILE_SwitchVerbose(file, verbose);
    if (!stream) return 0;
    TypeInput in(file, stream);
    GetOneMatrixType(in);
    return in.Count();
}

size_t SdifFGetOneMatrixTypefromSdifString(SdifFileT* file, SdifStringT* text) {
    TypeInput in(file, text);
    GetOneMatrixType(in);
    return in.Count();
}

size_t SdifFGetOneFrameType(SdifFileT* file, int verbose) {
    FILE* stream = SdifFGetFILE_SwitchVerbose(file, verbose);
    if (!stream) return 0;
    TypeInput in(file, stream);
    GetOneFrameType(in);
    return in.Count();
}

size_t SdifFGetOneFrameTypefromSdifString(SdifFileT* file, SdifStringT* text) {
    TypeInput in(file, text);
    GetOneFrameType(in);
    return in.Count();
}

size_t SdifFGetOneComponent(SdifFileT* file, int verbose, SdifSignature* matrixSignature,
                            char* name) {
    *matrixSignature = 0;
    name[0] = '\0';
    FILE* stream = SdifFGetFILE_SwitchVerbose(file, verbose);
    if (!stream) return 0;
    TypeInput in(file, stream);
    GetOneComponent(in, matrixSignature, name);
    return in.Count();
}

size_t SdifFGetOneComponentfromSdifString(SdifFileT* file, SdifStringT* text,
                                          SdifSignature* matrixSignature, char* name) {
    TypeInput in(file, text);
    GetOneComponent(in, matrixSignature, name);
    return in.Count();
}

/* ---- the binary 1TYP chunk ---- */

size_t SdifFReadAllType(SdifFileT* file) {
    size_t nbBytes = SdifFReadFrameHeader(file);
    SdifFrameHeaderT* header = file->CurrFramH;
    if (nbBytes == 0 || !header) return nbBytes;

    if (header->NbMatrix > 0) {
        if (file->TypeDefPass) SDIF_ERROR(file, eOnlyOneChunk, "1TYP");
        for (SdifUInt4 m = 0; m < header->NbMatrix; ++m) {
            StringHolder holder;
            if (!holder.text) break;
            size_t nbMatrix = SdifFReadTextMatrix(file, holder.text);
            if (nbMatrix == 0) break;
            SdifFGetAllTypefromSdifString(file, holder.text);
            nbBytes += nbMatrix;
        }
        file->TypeDefPass = 1;
    } else {
        nbBytes += SdifFGetAllType(file, 's');
    }

    return SdifFEndTextChunk(file, "1TYP", nbBytes);
}

size_t SdifFReadOneMatrixType(SdifFileT* file) { return SdifFGetOneMatrixType(file, 's'); }

size_t SdifFReadOneFrameType(SdifFileT* file) { return SdifFGetOneFrameType(file, 's'); }

size_t SdifFWriteAllType(SdifFileT* file) {
    StringHolder holder;
    if (!holder.text) return 0;
    SdifFAllMatrixTypeToSdifString(file, holder.text);
    SdifFAllFrameTypeToSdifString(file, holder.text);
    if (holder.text->SizeW == 0) return 0;
    return SdifFWriteTextFrameSdifString(file, k1TYP, kNoStreamID, -DBL_MAX, k1TYP, holder.text);
}

int SdifFAllMatrixTypeToSdifString(SdifFileT* file, SdifStringT* text) {
    SdifHashTableT* table = file ? file->MatrixTypesTable : nullptr;
    if (!table || !text) return 0;
    int nb = 0;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry; entry = entry->Next) {
            SdifMatrixTypeT* type = (SdifMatrixTypeT*)entry->Data;
            if (!type || !type->ColumnUserList || type->ColumnUserList->NbData == 0) continue;
            AppendMatrixTypeDeclaration(text, type);
            ++nb;
        }
    return nb;
}

int SdifFAllFrameTypeToSdifString(SdifFileT* file, SdifStringT* text) {
    SdifHashTableT* table = file ? file->FrameTypesTable : nullptr;
    if (!table || !text) return 0;
    int nb = 0;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry; entry = entry->Next) {
            SdifFrameTypeT* type = (SdifFrameTypeT*)entry->Data;
            if (!type || type->NbComponentUse == 0) continue;
            AppendFrameTypeDeclaration(text, type);
            ++nb;
        }
    return nb;
}
