#include "SdifFrameType.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifHash.h"
#include "SdifPrivate.h"
#include "SdifRWLowLevel.h"

/* Buckets of a frame type's own components. */
#define _SdifFrameTypeHashSize 13

SdifComponentT* SdifCreateComponent(SdifSignature matrixSignature, const char* name,
                                    unsigned int num) {
    SdifComponentT* component = (SdifComponentT*)std::malloc(sizeof(SdifComponentT));
    char* copy = SdifCopyText(name);
    if (!component || !copy) {
        std::free(component);
        std::free(copy);
        SDIF_ERROR(nullptr, eAllocFail, "Component allocation");
        return nullptr;
    }
    component->MtrxS = matrixSignature;
    component->Name = copy;
    component->Num = num;
    return component;
}

void SdifKillComponent(void* component) {
    SdifComponentT* c = (SdifComponentT*)component;
    if (!c) return;
    std::free(c->Name);
    std::free(c);
}

SdifFrameTypeT* SdifCreateFrameType(SdifSignature signature, SdifFrameTypeT* predefined) {
    SdifFrameTypeT* type = (SdifFrameTypeT*)std::calloc(1, sizeof(SdifFrameTypeT));
    if (type)
        type->ComponentUseHT =
            SdifCreateHashTable(_SdifFrameTypeHashSize, eHashInt4, SdifKillComponent);
    if (!type || !type->ComponentUseHT) {
        std::free(type);
        SDIF_ERROR(nullptr, eAllocFail, "FrameType allocation");
        return nullptr;
    }
    type->Signature = signature;
    type->FrameTypePre = nullptr;
    type->NbComponentUse = 0;
    type->NbComponent = 0;
    type->ModifMode = eCanModif;
    if (predefined &&
        SdifTypeTakesPredefined(predefined->Signature, signature, "SdifFrameType.cpp", __LINE__)) {
        type->FrameTypePre = predefined;
        type->NbComponent = predefined->NbComponent;
    }
    return type;
}

void SdifKillFrameType(void* frameType) {
    SdifFrameTypeT* type = (SdifFrameTypeT*)frameType;
    if (!type) return;
    SdifKillHashTable(type->ComponentUseHT);
    std::free(type);
}

SdifHashTableT* SdifPutFrameType(SdifHashTableT* table, SdifFrameTypeT* type) {
    return SdifHashTablePutInt4(table, type->Signature, type);
}

SdifFrameTypeT* SdifGetFrameType(SdifHashTableT* table, SdifSignature signature) {
    if (!table) return nullptr;
    return (SdifFrameTypeT*)SdifHashTableSearchInt4(table, signature);
}

SdifFrameTypeT* SdifFGetFrameType(SdifFileT* file, SdifSignature signature) {
    return SdifGetFrameType(file->FrameTypesTable, signature);
}

int SdifExistUserFrameType(SdifHashTableT* table) {
    if (!table) return 0;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry; entry = entry->Next) {
            SdifFrameTypeT* type = (SdifFrameTypeT*)entry->Data;
            if (type && type->NbComponentUse > 0) return 1;
        }
    return 0;
}

SdifComponentT* SdifFrameTypeGetComponent_MtrxS(SdifFrameTypeT* type,
                                                SdifSignature matrixSignature) {
    if (!type) return nullptr;
    if (type->FrameTypePre) {
        SdifComponentT* c = SdifFrameTypeGetComponent_MtrxS(type->FrameTypePre, matrixSignature);
        if (c) return c;
    }
    return (SdifComponentT*)SdifHashTableSearchInt4(type->ComponentUseHT, matrixSignature);
}

SdifComponentT* SdifFrameTypeGetComponent(SdifFrameTypeT* type, const char* name) {
    if (!type || !name) return nullptr;
    if (type->FrameTypePre) {
        SdifComponentT* c = SdifFrameTypeGetComponent(type->FrameTypePre, name);
        if (c) return c;
    }
    SdifHashTableT* table = type->ComponentUseHT;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry; entry = entry->Next) {
            SdifComponentT* c = (SdifComponentT*)entry->Data;
            if (c && std::strcmp(c->Name, name) == 0) return c;
        }
    return nullptr;
}

SdifComponentT* SdifFrameTypeGetNthComponent(SdifFrameTypeT* type, unsigned int n) {
    if (!type || n == 0 || n > type->NbComponent) return nullptr;
    if (type->FrameTypePre && n <= type->FrameTypePre->NbComponent)
        return SdifFrameTypeGetNthComponent(type->FrameTypePre, n);
    SdifHashTableT* table = type->ComponentUseHT;
    for (unsigned int i = 0; i < table->HashSize; ++i)
        for (SdifHashNT* entry = table->Table[i]; entry; entry = entry->Next) {
            SdifComponentT* c = (SdifComponentT*)entry->Data;
            if (c && c->Num == n) return c;
        }
    return nullptr;
}

unsigned int SdifFrameTypeGetNbComponents(SdifFrameTypeT* type) {
    return type ? type->NbComponent : 0;
}

SdifFrameTypeT* SdifFFrameTypePutComponent(SdifFileT* file, SdifFrameTypeT* type,
                                           SdifSignature matrixSignature, const char* name) {
    if (!type || !name) return nullptr;
    if (SdifFrameTypeGetComponent_MtrxS(type, matrixSignature)) {
        SDIF_ERROR(file, eExistsYet, SdifSignatureToString(matrixSignature));
        return nullptr;
    }
    if (SdifFrameTypeGetComponent(type, name)) {
        SDIF_ERROR(file, eExistsYet, name);
        return nullptr;
    }
    if (type->ModifMode == eNoModif) {
        SDIF_ERROR(file, eTypeDefinedYet, SdifSignatureToString(type->Signature));
        return nullptr;
    }
    SdifComponentT* component = SdifCreateComponent(matrixSignature, name, type->NbComponent + 1);
    if (!component) return nullptr;
    unsigned int before = type->ComponentUseHT->NbOfData;
    SdifHashTablePutInt4(type->ComponentUseHT, matrixSignature, component);
    if (type->ComponentUseHT->NbOfData == before) {
        SdifKillComponent(component);
        return nullptr;
    }
    type->NbComponentUse++;
    type->NbComponent++;
    return type;
}

SdifFrameTypeT* SdifFrameTypePutComponent(SdifFrameTypeT* type, SdifSignature matrixSignature,
                                          const char* name) {
    return SdifFFrameTypePutComponent(nullptr, type, matrixSignature, name);
}

SdifFrameTypeT* SdifTestFrameType(SdifFileT* file, SdifSignature signature) {
    return SdifFTestType(file, &SdifFileT::FrameTypesTable, signature, SdifCreateFrameType,
                         "Frame Type", "SdifFrameType.cpp", __LINE__);
}

int SdifTestFrameTypeModifMode(SdifFileT* file, SdifFrameTypeT* type) {
    return SdifFTestTypeModifMode(file, type, "Frame Type", "SdifFrameType.cpp", __LINE__);
}
