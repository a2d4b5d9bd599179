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
    SdifComponentT* component =
        SdifCreateTypeDef<SdifComponentT>(name, num, "Component allocation", SDIF_HERE);
    if (component) component->MtrxS = matrixSignature;
    return component;
}

void SdifKillComponent(void* component) { SdifKillTypeDef<SdifComponentT>(component); }

SdifFrameTypeT* SdifCreateFrameType(SdifSignature signature, SdifFrameTypeT* predefined) {
    return SdifCreateType(
        signature, predefined,
        [](SdifFrameTypeT* type) {
            type->ComponentUseHT =
                SdifCreateHashTable(_SdifFrameTypeHashSize, eHashInt4, SdifKillComponent);
            return type->ComponentUseHT != nullptr;
        },
        "FrameType allocation", SDIF_HERE);
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
    return SdifTypeInTable<SdifFrameTypeT>(table, signature);
}

SdifFrameTypeT* SdifFGetFrameType(SdifFileT* file, SdifSignature signature) {
    return SdifGetFrameType(file->FrameTypesTable, signature);
}

int SdifExistUserFrameType(SdifHashTableT* table) {
    return SdifHashTableFind<SdifFrameTypeT>(table, [](const SdifFrameTypeT* type) {
               return type->NbComponentUse > 0;
           }) != nullptr;
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
    return SdifTypeDefNamed(type, name);
}

SdifComponentT* SdifFrameTypeGetNthComponent(SdifFrameTypeT* type, unsigned int n) {
    return SdifTypeNthDef(type, n);
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
