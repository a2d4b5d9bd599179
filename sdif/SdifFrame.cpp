#include "SdifFrame.h"

#include <cstdlib>

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifRWLowLevel.h"

SdifUInt4 SdifSizeOfFrameHeader(void) {
    /* Time, NumID and NbMatrix: the bytes of the header that its Size counts. */
    return sizeof(SdifFloat8) + 2 * sizeof(SdifUInt4);
}

SdifFrameHeaderT* SdifCreateFrameHeader(SdifSignature signature, SdifUInt4 size, SdifUInt4 nbMatrix,
                                        SdifUInt4 numID, SdifFloat8 time) {
    SdifFrameHeaderT* header = static_cast<SdifFrameHeaderT*>(malloc(sizeof(SdifFrameHeaderT)));
    if (!header) {
        SDIF_ERROR(nullptr, eAllocFail, "FrameHeader allocation");
        return nullptr;
    }
    header->Signature = signature;
    header->Size = size;
    header->NbMatrix = nbMatrix;
    header->NumID = numID;
    header->Time = time;
    return header;
}

SdifFrameHeaderT* SdifCreateFrameHeaderEmpty(SdifSignature signature) {
    return SdifCreateFrameHeader(signature, SdifSizeOfFrameHeader(), 0, 0, 0.0);
}

void SdifKillFrameHeader(SdifFrameHeaderT* header) { free(header); }

int SdifPrintFrameHeader(FILE* f, const SdifFrameHeaderT* header) {
    return fprintf(f, "  FramH : %s   Size: 0x%04x   NbMatrix: %u   NumID: %u   Time: %g\n",
                   SdifSignatureToString(header->Signature), header->Size, header->NbMatrix,
                   header->NumID, header->Time);
}

SdifFrameHeaderT* SdifFSetCurrFrameHeader(SdifFileT* file, SdifSignature signature, SdifUInt4 size,
                                          SdifUInt4 nbMatrix, SdifUInt4 numID, SdifFloat8 time) {
    SdifFrameHeaderT* header = file->CurrFramH;
    if (!header) {
        /* Made once per file: every later frame reuses the record. */
        header = SdifCreateFrameHeader(signature, size, nbMatrix, numID, time);
        file->CurrFramH = header;
        return header;
    }
    header->Signature = signature;
    header->Size = size;
    header->NbMatrix = nbMatrix;
    header->NumID = numID;
    header->Time = time;
    return header;
}
