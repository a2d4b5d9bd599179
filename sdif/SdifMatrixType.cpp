#include "SdifMatrixType.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"

SdifColumnDefT* SdifCreateColumnDef(const char* name, unsigned int num) {
    SdifColumnDefT* column = (SdifColumnDefT*)std::malloc(sizeof(SdifColumnDefT));
    char* copy = SdifCopyText(name);
    if (!column || !copy) {
        std::free(column);
        std::free(copy);
        SDIF_ERROR(nullptr, eAllocFail, "ColumnDef allocation");
        return nullptr;
    }
    column->Name = copy;
    column->Num = num;
    return column;
}

void SdifKillColumnDef(void* columnDef) {
    SdifColumnDefT* column = (SdifColumnDefT*)columnDef;
    if (!column) return;
    std::free(column->Name);
    std::free(column);
}

SdifMatrixTypeT* SdifCreateMatrixType(SdifSignature signature, SdifMatrixTypeT* predefined) {
    SdifMatrixTypeT* type = (SdifMatrixTypeT*)std::calloc(1, sizeof(SdifMatrixTypeT));
    if (type) type->ColumnUserList = SdifCreateList(SdifKillColumnDef);
    if (!type || !type->ColumnUserList) {
        std::free(type);
        SDIF_ERROR(nullptr, eAllocFail, "MatrixType allocation");
        return nullptr;
    }
    type->Signature = signature;
    type->MatrixTypePre = nullptr;
    type->NbColumnDef = 0;
    type->ModifMode = eCanModif;
    if (predefined &&
        SdifTypeTakesPredefined(predefined->Signature, signature, "SdifMatrixType.cpp", __LINE__)) {
        type->MatrixTypePre = predefined;
        type->NbColumnDef = predefined->NbColumnDef;
    }
    return type;
}

void SdifKillMatrixType(void* matrixType) {
    SdifMatrixTypeT* type = (SdifMatrixTypeT*)matrixType;
    if (!type) return;
    SdifKillList(type->ColumnUserList);
    std::free(type);
}

SdifHashTableT* SdifPutMatrixType(SdifHashTableT* table, SdifMatrixTypeT* type) {
    return SdifHashTablePutInt4(table, type->Signature, type);
}

SdifMatrixTypeT* SdifGetMatrixType(SdifHashTableT* table, SdifSignature signature) {
    if (!table) return nullptr;
    return (SdifMatrixTypeT*)SdifHashTableSearchInt4(table, signature);
}

SdifMatrixTypeT* SdifFGetMatrixType(SdifFileT* file, SdifSignature signature) {
    return SdifGetMatrixType(file->MatrixTypesTable, signature);
}

int SdifExistUserMatrixType(SdifHashTableT* table) {
    if (!table) return 0;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry; entry = entry->Next) {
            SdifMatrixTypeT* type = (SdifMatrixTypeT*)entry->Data;
            if (type && type->ColumnUserList && type->ColumnUserList->NbData > 0) return 1;
        }
    return 0;
}

SdifColumnDefT* SdifMatrixTypeGetColumnDef(SdifMatrixTypeT* type, const char* name) {
    if (!type || !name) return nullptr;
    if (type->MatrixTypePre) {
        SdifColumnDefT* column = SdifMatrixTypeGetColumnDef(type->MatrixTypePre, name);
        if (column) return column;
    }
    for (SdifListNT* node = type->ColumnUserList->Head; node; node = node->Next) {
        SdifColumnDefT* column = (SdifColumnDefT*)node->Data;
        if (std::strcmp(column->Name, name) == 0) return column;
    }
    return nullptr;
}

unsigned int SdifMatrixTypeGetNumColumnDef(SdifMatrixTypeT* type, const char* name) {
    SdifColumnDefT* column = SdifMatrixTypeGetColumnDef(type, name);
    return column ? column->Num : 0;
}

SdifColumnDefT* SdifMatrixTypeGetNthColumnDef(SdifMatrixTypeT* type, unsigned int n) {
    if (!type || n == 0 || n > type->NbColumnDef) return nullptr;
    if (type->MatrixTypePre && n <= type->MatrixTypePre->NbColumnDef)
        return SdifMatrixTypeGetNthColumnDef(type->MatrixTypePre, n);
    for (SdifListNT* node = type->ColumnUserList->Head; node; node = node->Next) {
        SdifColumnDefT* column = (SdifColumnDefT*)node->Data;
        if (column->Num == n) return column;
    }
    return nullptr;
}

const char* SdifMatrixTypeGetColumnName(SdifMatrixTypeT* type, int n) {
    if (n <= 0) return nullptr;
    SdifColumnDefT* column = SdifMatrixTypeGetNthColumnDef(type, (unsigned int)n);
    return column ? column->Name : nullptr;
}

unsigned int SdifMatrixTypeGetNbColumns(SdifMatrixTypeT* type) {
    return type ? type->NbColumnDef : 0;
}

SdifMatrixTypeT* SdifFMatrixTypeInsertTailColumnDef(SdifFileT* file, SdifMatrixTypeT* type,
                                                    const char* name) {
    if (!type || !name) return nullptr;
    if (SdifMatrixTypeGetColumnDef(type, name)) {
        SDIF_ERROR(file, eExistsYet, name);
        return nullptr;
    }
    if (type->ModifMode == eNoModif) {
        SDIF_ERROR(file, eTypeDefinedYet, SdifSignatureToString(type->Signature));
        return nullptr;
    }
    SdifColumnDefT* column = SdifCreateColumnDef(name, type->NbColumnDef + 1);
    if (!column) return nullptr;
    unsigned int before = type->ColumnUserList->NbData;
    SdifListPutTail(type->ColumnUserList, column);
    if (type->ColumnUserList->NbData == before) {
        SdifKillColumnDef(column);
        return nullptr;
    }
    type->NbColumnDef++;
    return type;
}

SdifMatrixTypeT* SdifMatrixTypeInsertTailColumnDef(SdifMatrixTypeT* type, const char* name) {
    return SdifFMatrixTypeInsertTailColumnDef(nullptr, type, name);
}

SdifMatrixTypeT* SdifTestMatrixType(SdifFileT* file, SdifSignature signature) {
    return SdifFTestType(file, &SdifFileT::MatrixTypesTable, signature, SdifCreateMatrixType,
                         "Matrix Type", "SdifMatrixType.cpp", __LINE__);
}

int SdifTestMatrixTypeModifMode(SdifFileT* file, SdifMatrixTypeT* type) {
    return SdifFTestTypeModifMode(file, type, "Matrix Type", "SdifMatrixType.cpp", __LINE__);
}
