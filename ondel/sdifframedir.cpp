// The frame directory of an SDIFEntity: its entries, the iterator that walks
// them (reading further frames as it goes), and reading by time through it.
#include <iostream>
#include <iterator>

#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"
#include "sdifentity.h"

namespace Ondel {

// ---- SDIFLocation ----

SDIFLocation::SDIFLocation(SdifInt4 pos, SdifSignature signature, SdifUInt4 nbMatrix,
                           SdifUInt4 streamID, SdifFloat8 time)
    : mPos(pos),
      mSignature(signature),
      mNbMatrix(nbMatrix),
      mStreamID(streamID),
      mTime(time),
      mMSig{0, 0, 0},
      mMSigRest(nbMatrix > 3 ? nbMatrix - 3 : 0, 0) {}

void SDIFLocation::SetMSignature(unsigned int index, SdifSignature signature) {
    if (index >= mNbMatrix) {
        std::cerr << " SDIFLocation:: SetMSignature ind out of bounds " << index;
        return;
    }
    if (index < 3)
        mMSig[index] = signature;
    else
        mMSigRest[index - 3] = signature;
}

SdifSignature SDIFLocation::GetMSignature(unsigned int index) const {
    if (index >= mNbMatrix) return 0;
    return index < 3 ? mMSig[index] : mMSigRest[index - 3];
}

// ---- FRIterator ----

SDIFEntity::FRIterator::FRIterator(SDIFEntity* entity, FrameDirT::iterator pos)
    : mEntity(entity),
      mPos(pos),
      mPastEnd(pos == entity->mFrameDir.end()),
      mBeforeBegin(false),
      mLoaded(false) {}

void SDIFEntity::FRIterator::CheckEnabled() const {
    if (!mEntity->mFrameDirEnabled) {
        throw SDIFDirError(eError,
                           "Error in SDIFEntity::FRIterator:: !!! Iterator can only be used if "
                           "frame directoy is enabled !!!",
                           nullptr, eUnknown, nullptr, 0);
    }
}

bool SDIFEntity::FRIterator::AtEnd() const { return mPos == mEntity->mFrameDir.end(); }

void SDIFEntity::FRIterator::SettleForward() {
    FrameDirT& dir = mEntity->mFrameDir;
    for (;;) {
        while (mPos != dir.end() && !mEntity->IsLocationSelected(*mPos)) {
            ++mPos;
            mLoaded = false;
        }
        if (mPos != dir.end()) {
            mPastEnd = false;
            if (!mLoaded) mFrame.ClearData();
            return;
        }
        mPastEnd = true;
        mLoaded = false;
        if (!mEntity->ExtendFrameDir(mFrame)) {
            mFrame.ClearData();
            return;
        }
        // The frame just read is the newest entry, and the buffer holds it.
        mPos = std::prev(dir.end());
        mLoaded = true;
    }
}

SDIFEntity::FRIterator& SDIFEntity::FRIterator::operator++() {
    CheckEnabled();
    mFrame.ClearData();
    mLoaded = false;
    if (mBeforeBegin) {
        mBeforeBegin = false;
        mPos = mEntity->mFrameDir.begin();
    } else if (mPos != mEntity->mFrameDir.end()) {
        ++mPos;
    }
    SettleForward();
    return *this;
}

SDIFEntity::FRIterator& SDIFEntity::FRIterator::operator--() {
    CheckEnabled();
    mFrame.ClearData();
    mLoaded = false;
    if (mBeforeBegin) return *this;
    FrameDirT& dir = mEntity->mFrameDir;
    if (mPos == dir.end()) mEntity->ReadFrameDirToEnd();
    for (;;) {
        if (mPos == dir.begin()) {
            mBeforeBegin = true;
            mPastEnd = false;
            return *this;
        }
        --mPos;
        if (mEntity->IsLocationSelected(*mPos)) {
            mPastEnd = false;
            return *this;
        }
    }
}

const SDIFFrame& SDIFEntity::FRIterator::operator*() {
    CheckEnabled();
    if (!mLoaded && !AtEnd() && !mBeforeBegin && GotoPos()) {
        mEntity->ReadNextSelectedFrame(mFrame);
        mLoaded = true;
    }
    return mFrame;
}

const SDIFFrame* SDIFEntity::FRIterator::operator->() { return &**this; }

bool SDIFEntity::FRIterator::operator==(const FRIterator& other) const {
    return mEntity == other.mEntity && mPos == other.mPos && mBeforeBegin == other.mBeforeBegin;
}

bool SDIFEntity::FRIterator::GotoPos() {
    CheckEnabled();
    SdifFileT* file = mEntity->mFile;
    if (!file || AtEnd() || mBeforeBegin) return false;
    mEntity->mCurrDirPos = mPos;
    mEntity->mEof = false;
    SdiffPosT pos = mPos->GetPos();
    if (SdifFSetPos(file, &pos) != 0) return false;
    if (mEntity->mOpenMode == 1) return true;
    size_t nbBytes = 0;
    SdifFGetSignature(file, &nbBytes);
    if (nbBytes == 4) return true;
    throw SDIFSeekError(eError,
                        "Error in  SDIFEntity::FRIterator::GotoPos()!!!error while seeking  !!!",
                        nullptr, eUnknown, nullptr, 0);
}

// ---- reading by time ----

int SDIFEntity::ReadNextSelectedFrame(SDIFFrame& frame, SdifFloat8 time) {
    if (!mFrameDirEnabled) {
        throw SDIFDirError(eError,
                           "Error in SDIFEntity::ReadNextFrame(SDIFFrame& frame, SdifFloat8 "
                           "time):: !!! frame directoy not enabled  !!!",
                           nullptr, eUnknown, nullptr, 0);
    }
    bool backward = false;
    if (mCurrDirPos != mFrameDir.begin()) {
        if (mCurrDirPos != mFrameDir.end())
            backward = !(time > mCurrDirPos->GetTime());
        else if (!mFrameDir.empty())
            backward = !(time > mFrameDir.back().GetTime());
    }
    FRIterator it(this, mCurrDirPos);
    if (!backward) {
        if (mEof) {
            throw SDIFEof(eError, "Error in SDIFEntity::ReadNextSelectedFrame -- Eof reached",
                          mFile, eEof, nullptr, 0);
        }
        it.SettleForward();
        while (!it.AtEnd() && it.mPos->GetTime() < time) ++it;
    } else {
        if (it.AtEnd()) it.mPos = std::prev(mFrameDir.end());
        while (!it.mBeforeBegin && it.mPos->GetTime() > time) --it;
        // An entry at exactly time is passed over here, unlike forward.
        ++it;
    }
    if (it.AtEnd()) {
        frame.ClearData();
        mEof = true;
        return 0;
    }
    mEof = false;
    if (it.GotoPos()) ReadNextSelectedFrame(frame);
    return static_cast<int>(frame.GetSize());
}

// ---- frame directory ----

bool SDIFEntity::EnableFrameDir() {
    if (!mFile || mOpenMode != 2) return false;
    if (mFrameDirEnabled) return true;
    SdiffPosT pos = -1;
    if (SdifFGetPos(mFile, &pos) != 0 || pos != mFirstFramePos + 4) return false;
    SaveSelections();
    mFrameDirEnabled = true;
    mCurrDirPos = mFrameDir.end();
    return true;
}

SDIFLocation* SDIFEntity::AddFramePos(SdifUInt4 streamID, SdifSignature signature, SdifFloat8 time,
                                      SdifUInt4 nbMatrix, SdifInt4 position) {
    FrameDirT::iterator it = mCurrDirPos;
    // With the cursor at the end the file stands past every known frame; a
    // position not beyond the last one means it was moved behind our back,
    // so look it up from the start rather than append out of order.
    if (it == mFrameDir.end() && !mFrameDir.empty() && position <= mFrameDir.back().GetPos())
        it = mFrameDir.begin();
    if (it == mFrameDir.end()) {
        mFrameDir.emplace_back(position, signature, nbMatrix, streamID, time);
        return &mFrameDir.back();
    }
    while (it != mFrameDir.end() && it->GetPos() < position) ++it;
    if (it != mFrameDir.end() && it->GetPos() == position) {
        mCurrDirPos = it;
        return nullptr;
    }
    FrameDirT::iterator added =
        mFrameDir.insert(it, SDIFLocation(position, signature, nbMatrix, streamID, time));
    mCurrDirPos = it;
    return &*added;
}

void SDIFEntity::PrintFrameDir() const {
    std::cerr << "Init pos " << mFirstFramePos << "\n";
    for (const SDIFLocation& loc : mFrameDir) {
        std::cerr << "Pos " << loc.GetPos() << " sig " << SdifSignatureToString(loc.GetSignature())
                  << " time " << loc.GetTime() << "\n Matrices:";
        for (SdifUInt4 m = 0; m < loc.GetNbMatrix(); ++m)
            std::cerr << " " << SdifSignatureToString(loc.GetMSignature(m));
        std::cerr << "\n";
    }
}

SDIFEntity::FRIterator SDIFEntity::begin() {
    FRIterator it(this, mFrameDir.begin());
    it.CheckEnabled();
    it.SettleForward();
    return it;
}

SDIFEntity::FRIterator SDIFEntity::end() {
    FRIterator it(this, mFrameDir.end());
    it.CheckEnabled();
    return it;
}

bool SDIFEntity::IsLocationSelected(const SDIFLocation& loc) const {
    SdifFrameHeaderT header;
    header.Signature = loc.GetSignature();
    header.Size = 0;
    header.NbMatrix = loc.GetNbMatrix();
    header.NumID = loc.GetStreamID();
    header.Time = loc.GetTime();
    if (FileSelection() && !SdifFrameIsSelected(&header, FileSelection())) return false;
    // The read that loads an entry also applies the high-level stream set.
    if (!mStreamSel.isSelected(loc.GetStreamID())) return false;
    if (!mFrameSel.isSelected(loc.GetSignature())) return false;
    const SelectionSet<unsigned int>* matrices = nullptr;
    if (mMatrixSel.IsActive())
        matrices = &mMatrixSel;
    else if (mSavedMatrixFlag && mSavedMatrix.IsActive())
        matrices = &mSavedMatrix;
    if (!matrices) return true;
    for (SdifUInt4 m = 0; m < loc.GetNbMatrix(); ++m)
        if (matrices->isSelected(loc.GetMSignature(m))) return true;
    return false;
}

bool SDIFEntity::SeekPastFrameDir() {
    if (mCurrDirPos == mFrameDir.end()) return true;
    FRIterator last(this, std::prev(mFrameDir.end()));
    if (!last.GotoPos()) return false;
    SDIFFrame scratch;
    ReadNextFrame(scratch);
    return true;
}

bool SDIFEntity::ExtendFrameDir(SDIFFrame& frame) {
    if (!mFile || mOpenMode != 2 || mEofSeen) return false;
    if (!SeekPastFrameDir() || mEof) return false;
    return ReadNextSelectedFrame(frame) != 0;
}

void SDIFEntity::ReadFrameDirToEnd() {
    if (!mFile || mOpenMode != 2 || mEofSeen) return;
    if (!SeekPastFrameDir()) return;
    SDIFFrame scratch;
    while (!mEof) ReadNextFrame(scratch);
}

}  // namespace Ondel
