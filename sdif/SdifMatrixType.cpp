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
    return SdifCreateTypeDef<SdifColumnDefT>(name, num, "ColumnDef allocation", SDIF_HERE);
}

void SdifKillColumnDef(void* columnDef) { SdifKillTypeDef<SdifColumnDefT>(columnDef); }

SdifMatrixTypeT* SdifCreateMatrixType(SdifSignature signature, SdifMatrixTypeT* predefined) {
    return SdifCreateType(
        signature, predefined,
        [](SdifMatrixTypeT* type) {
            return (type->ColumnUserList = SdifCreateList(SdifKillColumnDef)) != nullptr;
        },
        "MatrixType allocation", SDIF_HERE);
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
    return SdifTypeInTable<SdifMatrixTypeT>(table, signature);
}

SdifMatrixTypeT* SdifFGetMatrixType(SdifFileT* file, SdifSignature signature) {
    return SdifGetMatrixType(file->MatrixTypesTable, signature);
}

int SdifExistUserMatrixType(SdifHashTableT* table) {
    return SdifHashTableFind<SdifMatrixTypeT>(table, [](const SdifMatrixTypeT* type) {
               return type->ColumnUserList && type->ColumnUserList->NbData > 0;
           }) != nullptr;
}

SdifColumnDefT* SdifMatrixTypeGetColumnDef(SdifMatrixTypeT* type, const char* name) {
    return SdifTypeDefNamed(type, name);
}

unsigned int SdifMatrixTypeGetNumColumnDef(SdifMatrixTypeT* type, const char* name) {
    SdifColumnDefT* column = SdifMatrixTypeGetColumnDef(type, name);
    return column ? column->Num : 0;
}

SdifColumnDefT* SdifMatrixTypeGetNthColumnDef(SdifMatrixTypeT* type, unsigned int n) {
    return SdifTypeNthDef(type, n);
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
