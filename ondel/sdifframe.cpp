#include "sdifframe.h"

#include <iostream>
#include <string>

#include "SdifFRead.h"
#include "SdifFWrite.h"
#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"
#include "sdifentity.h"
#include "sdifexception.h"

namespace Ondel {

SDIFFrame::SDIFFrame() { ClearData(); }

SDIFFrame::SDIFFrame(const SDIFFrame& other)
    : mMatrices(other.mMatrices),
      mSize(other.mSize),
      mTime(other.mTime),
      mSignature(other.mSignature),
      mStreamID(other.mStreamID),
      mNbMatrix(other.mNbMatrix) {}

SDIFFrame& SDIFFrame::operator=(const SDIFFrame& other) {
    if (this == &other) return *this;
    mMatrices = other.mMatrices;
    mSize = other.mSize;
    mTime = other.mTime;
    mSignature = other.mSignature;
    mStreamID = other.mStreamID;
    mNbMatrix = other.mNbMatrix;
    return *this;
}

SDIFFrame::SDIFFrame(SDIFFrame&& other) noexcept = default;
SDIFFrame& SDIFFrame::operator=(SDIFFrame&& other) noexcept = default;
SDIFFrame::~SDIFFrame() = default;

void SDIFFrame::SetHeader(SdifSignature signature, SdifUInt4 streamID, SdifFloat8 time) {
    mSignature = signature;
    mStreamID = streamID;
    mTime = time;
}

void SDIFFrame::SetHeader(const std::string& signature, SdifUInt4 streamID, SdifFloat8 time) {
    SetHeader(SdifStringToSignature(signature.c_str()), streamID, time);
}

void SDIFFrame::SetSignature(const std::string& signature) {
    mSignature = SdifStringToSignature(signature.c_str());
}

void SDIFFrame::AddMatrix(const SDIFMatrix& matrix) {
    mMatrices.push_back(matrix);
    ++mNbMatrix;
}

void SDIFFrame::Resize(int n) {
    const size_t count = n > 0 ? static_cast<size_t>(n) : 0;
    mNbMatrix = static_cast<SdifUInt4>(count);
    mMatrices.resize(count);
}

void SDIFFrame::ClearData() {
    mSignature = 0;
    mStreamID = 0;
    mNbMatrix = 0;
    mTime = -1.0;
    TruncateSlots(0);
}

void SDIFFrame::PrepareSlots(size_t n) {
    TruncateSlots(n);
    while (mMatrices.size() < n) {
        if (mSpare.empty()) {
            mMatrices.emplace_back();
        } else {
            // A recycled matrix keeps its store for the next read of the same
            // type; only its signature marks it as not yet read.
            mMatrices.push_back(std::move(mSpare.back()));
            mSpare.pop_back();
            mMatrices.back().mSignature = 0;
        }
    }
}

void SDIFFrame::TruncateSlots(size_t n) {
    while (mMatrices.size() > n) {
        mSpare.push_back(std::move(mMatrices.back()));
        mMatrices.pop_back();
    }
}

bool SDIFFrame::MatrixExists(const unsigned int& signature) const {
    for (size_t i = 0; i < mNbMatrix && i < mMatrices.size(); ++i)
        if (mMatrices[i].GetSignature() == signature) return true;
    return false;
}

bool SDIFFrame::MatrixExists(const std::string& signature) const {
    return MatrixExists(SdifStringToSignature(signature.c_str()));
}

SDIFMatrix& SDIFFrame::GetMatrix(unsigned int index) {
    // Tested as count - 1 >= index in unsigned arithmetic, so an empty frame
    // passes: callers check the count first.
    if (!(mNbMatrix - 1 >= index)) {
        std::string message =
            "GetMatrix(unsigned int):: Matrix index " + std::to_string(index) + " out of range! ";
        throw SDIFMatrixNotAvailable(eError, message.c_str(), nullptr, eNotFound, nullptr, 0);
    }
    return mMatrices.at(index);
}

const SDIFMatrix& SDIFFrame::GetMatrix(unsigned int index) const {
    if (!(mNbMatrix - 1 >= index)) {
        std::string message = "GetMatrix(unsigned int) const:: Matrix index " +
                              std::to_string(index) + " out of range! ";
        throw SDIFMatrixNotAvailable(eError, message.c_str(), nullptr, eNotFound, nullptr, 0);
    }
    return mMatrices.at(index);
}

SDIFMatrix& SDIFFrame::GetMatrixWithSig(unsigned int signature) {
    for (auto& m : mMatrices)
        if (m.GetSignature() == signature) return m;
    std::string message = "GetMatrixWithSig(const SdifSignature sig) :: Matrix signature " +
                          std::string(SdifSignatureToString(signature)) +
                          " not contained in Frame !";
    throw SDIFMatrixNotAvailable(eError, message.c_str(), nullptr, eNotFound, nullptr, 0);
}

const SDIFMatrix& SDIFFrame::GetMatrixWithSig(unsigned int signature) const {
    for (const auto& m : mMatrices)
        if (m.GetSignature() == signature) return m;
    std::string message = "GetMatrixWithSig(const SdifSignature sig) const:: Matrix signature " +
                          std::string(SdifSignatureToString(signature)) +
                          " not contained in Frame !";
    throw SDIFMatrixNotAvailable(eError, message.c_str(), nullptr, eNotFound, nullptr, 0);
}

SDIFMatrix& SDIFFrame::GetMatrix(const std::string& signature) {
    return GetMatrixWithSig(SdifStringToSignature(signature.c_str()));
}

const SDIFMatrix& SDIFFrame::GetMatrix(const std::string& signature) const {
    return GetMatrixWithSig(SdifStringToSignature(signature.c_str()));
}

std::string SDIFFrame::GetStringSignature() const {
    return std::string(SdifSignatureToString(mSignature));
}

unsigned int SDIFFrame::GetSize() const {
    unsigned int size = SdifSizeOfFrameHeader();
    for (const auto& m : mMatrices) size += static_cast<unsigned int>(m.GetSize());
    return size;
}

int SDIFFrame::ReadHeader(SdifFileT* file) {
    if (!file) return 0;
    const size_t bytes = SdifFReadFrameHeader(file);
    if (!SdifFCurrFrameIsSelected(file)) return 0;
    mTime = SdifFCurrTime(file);
    mSignature = SdifFCurrFrameSignature(file);
    mStreamID = SdifFCurrID(file);
    mNbMatrix = SdifFCurrNbMatrix(file);
    return static_cast<int>(bytes);
}

int SDIFFrame::ReadHeader(const SDIFEntity& entity) { return ReadHeader(entity.GetFile()); }

int SDIFFrame::ReadData(SdifFileT* file, const std::set<unsigned int>* signatures) {
    int total = 0;
    if (!file) return 0;
    for (size_t i = 0; i < mNbMatrix;) {
        if (i >= mMatrices.size()) PrepareSlots(i + 1);
        // Signature 0 marks the slot as empty until a wanted matrix lands in it.
        mMatrices[i].mSignature = 0;
        total += mMatrices[i].Read(file, signatures);
        // A slot that kept signature 0 was not wanted: the next matrix goes
        // into the same slot.
        if (mMatrices[i].GetSignature() != 0)
            ++i;
        else
            --mNbMatrix;
    }
    TruncateSlots(mNbMatrix);
    return total;
}

int SDIFFrame::ReadData(const SDIFEntity& entity) {
    return ReadData(entity.GetFile(), &entity.GetMatrixHLSelection());
}

int SDIFFrame::Read(SdifFileT* file, bool& eof) {
    mSize = 0;
    ClearData();
    if (!file) {
        eof = true;
        return 0;
    }
    mSize = static_cast<SdifUInt4>(ReadHeader(file));
    size_t nbSigBytes = 0;
    if (mSize) {
        PrepareSlots(mNbMatrix);
        mSize += static_cast<SdifUInt4>(ReadData(file, nullptr));
        eof = SdifFGetSignature(file, &nbSigBytes) == eEof;
        mSize += static_cast<SdifUInt4>(nbSigBytes);
        return static_cast<int>(mSize);
    }
    SdifFSkipFrameData(file);
    eof = SdifFGetSignature(file, &nbSigBytes) == eEof;
    return 0;
}

int SDIFFrame::Read(SDIFEntity& entity) {
    mSize = 0;
    if (entity.eof()) {
        throw SDIFEof(eError, "Error in SDIFFrame::Read -- Eof reached", entity.GetFile(), eEof,
                      nullptr, 0);
    }
    SdifFileT* file = entity.GetFile();
    size_t nbSigBytes = 0;
    if (!entity.IsFrameDirEnabled()) {
        bool eof = false;
        const int bytes = Read(file, eof);
        entity.SetEof(eof);
        return bytes;
    }

    ClearData();
    mSize = static_cast<SdifUInt4>(ReadHeader(file));
    if (mSize) {
        SDIFLocation* location =
            entity.AddFramePos(mStreamID, mSignature, mTime, mNbMatrix,
                               static_cast<SdifInt4>(SdifFStartChunkPos(file)));
        PrepareSlots(mNbMatrix);
        if (location) {
            size_t used = 0;
            for (SdifUInt4 m = 0; m < location->GetNbMatrix(); ++m) {
                if (used >= mMatrices.size()) PrepareSlots(used + 1);
                const int bytes = mMatrices[used].Read(file, &entity.GetMatrixHLSelection());
                mSize += static_cast<SdifUInt4>(bytes);
                if (bytes) ++used;
                location->SetMSignature(m, SdifFCurrMatrixSignature(file));
            }
            if (entity.isFrameHLSelected(mStreamID, mSignature)) {
                mNbMatrix = static_cast<SdifUInt4>(used);
                TruncateSlots(used);
                entity.SetEof(SdifFGetSignature(file, &nbSigBytes) == eEof);
                mSize += static_cast<SdifUInt4>(nbSigBytes);
                return static_cast<int>(mSize);
            }
            ClearData();
        } else if (entity.isFrameHLSelected(mStreamID, mSignature)) {
            mSize += static_cast<SdifUInt4>(ReadData(entity));
            entity.SetEof(SdifFGetSignature(file, &nbSigBytes) == eEof);
            mSize += static_cast<SdifUInt4>(nbSigBytes);
            return static_cast<int>(mSize);
        } else {
            SdifFSkipFrameData(file);
            ClearData();
        }
        mSize = 0;
    } else {
        SdifFSkipFrameData(file);
    }
    entity.SetEof(SdifFGetSignature(file, &nbSigBytes) == eEof);
    return 0;
}

int SDIFFrame::WriteHeader(SdifFileT* file) {
    if (!file) return 0;
    SdifFSetCurrFrameHeader(file, mSignature, GetSize(), mNbMatrix, mStreamID, mTime);
    return static_cast<int>(SdifFWriteFrameHeader(file));
}

int SDIFFrame::WriteHeader(const SDIFEntity& entity) { return WriteHeader(entity.GetFile()); }

int SDIFFrame::Write(SdifFileT* file) {
    if (!file) return 0;
    const unsigned int size = GetSize();
    int bytes = WriteHeader(file);
    for (size_t i = 0; i < mNbMatrix && i < mMatrices.size(); ++i)
        bytes += mMatrices[i].Write(file);
    // The size field counts neither the signature nor itself.
    if (static_cast<unsigned int>(bytes) != size + 8) {
        throw SDIFFrameHeaderSizeError(
            eError, "Error in SDIFFrame::Write -- FrameSize  does not match written size", file,
            eBadHeader, nullptr, 0);
    }
    return bytes;
}

int SDIFFrame::Write(const SDIFEntity& entity) { return Write(entity.GetFile()); }

void SDIFFrame::PrintHeader() const {
    std::cout << "\nFrame signature : " << GetStringSignature() << std::endl;
    std::cout << "StreamID: " << mStreamID << " Time: " << mTime
              << " number of Matrix in current Frame : " << mNbMatrix << std::endl;
}

void SDIFFrame::Print() const {
    PrintHeader();
    for (size_t i = 0; i < mNbMatrix && i < mMatrices.size(); ++i) mMatrices[i].Print();
}

}  // namespace Ondel
