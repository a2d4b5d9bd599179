#include "SdifSignatureTab.h"

#include <cstdlib>
#include <cstring>

#include "SdifErrMess.h"

/* Growth step of SdifAddToSignatureTab. */
static const unsigned int kSdifSignTabStep = 16;

SdifSignatureTabT* SdifCreateSignatureTab(unsigned int nb) {
    SdifSignatureTabT* table =
        static_cast<SdifSignatureTabT*>(std::malloc(sizeof(SdifSignatureTabT)));
    if (!table) {
        SDIF_ERROR(nullptr, eAllocFail, "NewSignTab");
        return nullptr;
    }
    table->Tab = static_cast<SdifSignature*>(std::calloc(nb ? nb : 1, sizeof(SdifSignature)));
    if (!table->Tab) {
        std::free(table);
        SDIF_ERROR(nullptr, eAllocFail, "NewSignTab->Tab");
        return nullptr;
    }
    table->NbSignMax = nb;
    table->NbSign = 0;
    return table;
}

void SdifKillSignatureTab(SdifSignatureTabT* table) {
    if (!table) {
        SDIF_ERROR(nullptr, eFreeNull, "SignTab free");
        return;
    }
    std::free(table->Tab);
    std::free(table);
}

SdifSignatureTabT* SdifReAllocSignatureTab(SdifSignatureTabT* table, unsigned int nb) {
    if (nb <= table->NbSignMax) return table;
    SdifSignature* grown =
        static_cast<SdifSignature*>(std::realloc(table->Tab, sizeof(SdifSignature) * nb));
    if (!grown) {
        SDIF_ERROR(nullptr, eAllocFail, "SignTab->Tab RE-allocation");
        return nullptr;
    }
    std::memset(grown + table->NbSignMax, 0, sizeof(SdifSignature) * (nb - table->NbSignMax));
    table->Tab = grown;
    table->NbSignMax = nb;
    return table;
}

SdifSignatureTabT* SdifReInitSignatureTab(SdifSignatureTabT* table, unsigned int nb) {
    if (!SdifReAllocSignatureTab(table, nb)) return nullptr;
    std::memset(table->Tab, 0, sizeof(SdifSignature) * nb);
    table->NbSign = 0;
    return table;
}

SdifSignature SdifIsInSignatureTab(SdifSignatureTabT* table, SdifSignature sig) {
    return SdifFindInSignatureTab(table, sig) >= 0 ? sig : 0;
}

int SdifFindInSignatureTab(SdifSignatureTabT* table, SdifSignature sig) {
    for (unsigned int i = 0; i < table->NbSign; i++)
        if (table->Tab[i] == sig) return static_cast<int>(i);
    return -1;
}

SdifSignatureTabT* SdifAddToSignatureTab(SdifSignatureTabT* table, SdifSignature sig) {
    if (table->NbSign >= table->NbSignMax &&
        !SdifReAllocSignatureTab(table, table->NbSignMax + kSdifSignTabStep))
        return nullptr;
    table->Tab[table->NbSign++] = sig;
    return table;
}

SdifSignatureTabT* SdifPutInSignatureTab(SdifSignatureTabT* table, SdifSignature sig) {
    /* Callers size the table first; a table that lied about its size grows
    ** instead of being written past. */
    return SdifAddToSignatureTab(table, sig);
}

SdifSignature SdifGetFromSignatureTab(const SdifSignatureTabT* table, int index) {
    if (index < 0 || static_cast<unsigned int>(index) >= table->NbSign) return 0;
    return table->Tab[index];
}
