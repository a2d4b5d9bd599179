#include "sdifentity.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>

#include "SdifErrMess.h"
#include "SdifFGet.h"
#include "SdifFile.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifNameValue.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"
#include "SdifString.h"

namespace Ondel {

namespace {

// Library text buffers are freed however the parse that uses them ends.
typedef std::unique_ptr<SdifStringT, void (*)(SdifStringT*)> StringPtr;

// Values of cur ∩ s, honouring cur's open end.
std::set<unsigned int> Intersect(const SelectionSet<unsigned int>& cur,
                                 const SelectionSet<unsigned int>& s) {
    std::set<unsigned int> out;
    for (unsigned int v : s)
        if (cur.count(v) || (cur.IsOpenEnd() && !cur.empty() && *cur.rbegin() < v)) out.insert(v);
    return out;
}

}  // namespace

// ---- start-up ----

bool OndelInit(const char* typesFile) {
    if (gSdifInitialised) {
        SdifSetErrorFunc(ExceptionThrower);
        return false;
    }
    SdifGenInit(typesFile ? typesFile : "");
    SdifSetErrorFunc(ExceptionThrower);
    return true;
}

bool OndelInit(const std::string& typesFile) { return OndelInit(typesFile.c_str()); }

void OndelEnd() { SdifGenKill(); }

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

// ---- SDIFEntity: life cycle ----

SDIFEntity::SDIFEntity()
    : mFile(nullptr),
      mFirstFramePos(0),
      mEof(true),
      mEofSeen(false),
      mOpenMode(0),
      mGeneralHeaderSize(0),
      mAsciiChunksSize(0),
      mFrameDirEnabled(false),
      mSpareLocation(-1, 0, 0, 0, -1.0),
      mSavedMatrixFlag(false),
      mSavedFrameFlag(false),
      mSavedStreamFlag(false) {
    mCurrDirPos = mFrameDir.end();
}

SDIFEntity::~SDIFEntity() {
    try {
        Close();
    } catch (const std::exception& e) {
        fprintf(stderr, "%s\n", e.what());
    }
}

bool SDIFEntity::Open(const char* name, SdifFileModeET mode) {
    switch (mode) {
        case eWriteFile:
            return OpenWrite(name);
        case eReadFile:
            return OpenRead(name);
        default:
            throw SDIFBadMode(eError, "Error in SDIFEntity::Open:: Mode specification error",
                              nullptr, eBadMode, nullptr, 0);
    }
}

void SDIFEntity::DisableFrameDir() {
    mFrameDirEnabled = false;
    mFrameDir.clear();
    mCurrDirPos = mFrameDir.end();
}

bool SDIFEntity::OpenRead(const char* name) {
    DisableFrameDir();
    mSavedMatrixFlag = mSavedFrameFlag = mSavedStreamFlag = false;
    mSavedMatrix = SelectionSet<unsigned int>();
    mSavedFrame = SelectionSet<unsigned int>();
    mSavedStream = SelectionSet<unsigned int>();
    if (!ReOpenRead(name)) return false;
    SaveSelections();
    return true;
}

bool SDIFEntity::ReOpenRead(const char* name) {
    Close();
    mFile = SdifFOpen(name ? name : "", eReadFile);
    if (!mFile) return false;
    try {
        // A header the library rejects raises its exception (not an SDIF
        // file, another version, too short): the caller learns why, and the
        // entity is left closed below.  A header read that answers 0 without
        // an exception (an error callback that returns) is a plain refusal.
        mGeneralHeaderSize = SdifFReadGeneralHeader(mFile);
        if (!mGeneralHeaderSize) {
            Close();
            return false;
        }
        mAsciiChunksSize = SdifFReadAllASCIIChunks(mFile);

        StringPtr types(SdifStringNew(), SdifStringFree);
        if (types) {
            SdifFAllMatrixTypeToSdifString(mFile, types.get());
            SdifFAllFrameTypeToSdifString(mFile, types.get());
            mTypeString = types->str ? types->str : "";
        }

        mv_NVT.clear();
        const int nbTables = SdifFNameValueNum(mFile);
        for (int i = 1; i <= nbTables; ++i) {
            SdifNameValueTableT* table =
                SdifNameValuesLSetCurrNVT(SdifFNameValueList(mFile), static_cast<unsigned int>(i));
            if (table) AddNVT(TakeNVT(), table->StreamID);
        }

        mEof = mEofSeen = feof(SdifFGetStream(mFile)) != 0;
        mOpenMode = 2;
        SdiffPosT pos = 0;
        SdifFGetPos(mFile, &pos);
        mFirstFramePos = pos - 4;
        ReestablishFileSelections();
    } catch (...) {
        Close();
        throw;
    }
    return true;
}

bool SDIFEntity::OpenWrite(const char* name) {
    Close();
    DisableFrameDir();
    mFile = SdifFOpen(name ? name : "", eWriteFile);
    if (!mFile) return false;
    try {
        mGeneralHeaderSize = SdifFWriteGeneralHeader(mFile);
        if (!mGeneralHeaderSize) {
            Close();
            return false;
        }
        if (!mv_NVT.empty()) WriteNVTs();
        WriteTypes();
        mAsciiChunksSize = SdifFWriteAllASCIIChunks(mFile);
        mOpenMode = 1;
        SdiffPosT pos = 0;
        SdifFGetPos(mFile, &pos);
        mFirstFramePos = pos;
        mEof = mEofSeen = false;
    } catch (...) {
        Close();
        throw;
    }
    return true;
}

bool SDIFEntity::Close() {
    if (!mFile) return false;
    mMatrixSel = SelectionSet<unsigned int>();
    mFrameSel = SelectionSet<unsigned int>();
    mStreamSel = SelectionSet<unsigned int>();
    SdifFileT* file = mFile;
    mFile = nullptr;
    mEof = true;
    mEofSeen = false;
    mOpenMode = 0;
    mGeneralHeaderSize = 0;
    mAsciiChunksSize = 0;
    SdifFClose(file);
    return true;
}

bool SDIFEntity::Rewind() {
    if (!mFile) return false;
    if (mFrameDirEnabled && !mFrameDir.empty()) {
        FRIterator first(this, mFrameDir.begin());
        return first.GotoPos();
    }
    SdiffPosT pos = mFirstFramePos;
    if (SdifFSetPos(mFile, &pos) != 0) return false;
    SdiffPosT now = -1;
    if (SdifFGetPos(mFile, &now) != 0 || now != mFirstFramePos) return false;
    mEof = false;
    mCurrDirPos = mFrameDir.begin();
    if (mOpenMode != 2) return true;
    size_t nbBytes = 0;
    SdifFGetSignature(mFile, &nbBytes);
    // A file without frames is at its end again.
    if (!nbBytes) mEof = true;
    return nbBytes != 0;
}

// ---- frames ----

void SDIFEntity::SetEof(bool eof) {
    mEof = eof;
    if (eof) mEofSeen = true;
}

int SDIFEntity::ReadNextFrame(SDIFFrame& frame) {
    if (mEof) {
        throw SDIFEof(eError, "Error in SDIFEntity::ReadNextFrame -- Eof reached", mFile, eEof,
                      nullptr, 0);
    }
    return frame.Read(*this);
}

int SDIFEntity::ReadNextSelectedFrame(SDIFFrame& frame) {
    if (mEof) {
        throw SDIFEof(eError, "Error in SDIFEntity::ReadNextFrame -- Eof reached", mFile, eEof,
                      nullptr, 0);
    }
    do {
        const int bytes = frame.Read(*this);
        if (bytes) return bytes;
    } while (!mEof);
    return 0;
}

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

int SDIFEntity::WriteFrame(SDIFFrame& frame) { return frame.Write(*this); }

bool SDIFEntity::SetFile(SdifFileT* file) {
    mFile = file;
    return true;
}

SdifErrorT* SDIFEntity::LastError() const { return mFile ? SdifFLastError(mFile) : nullptr; }

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

// ---- selections ----

SdifSelectionT* SDIFEntity::FileSelection() const {
    return mFile ? SdifFGetSelection(mFile) : nullptr;
}

SdifListT* SDIFEntity::FileSelectionList(SdifListT* SdifSelectionT::*list) const {
    SdifSelectionT* selection = FileSelection();
    return selection ? selection->*list : nullptr;
}

bool SDIFEntity::ClearSelection(SelectionPartsE part) {
    if (!mFile || mFrameDirEnabled) return false;
    SdifSelectionT* sel = FileSelection();
    if (!sel) return false;
    const bool all = part > eSelectColumns;
    if (all || part == eSelectStreams) {
        SdifMakeEmptyList(sel->stream);
        SdifSelectGetIntMask(sel->stream, &sel->streammask);
    }
    if (all || part == eSelectFrames) SdifMakeEmptyList(sel->frame);
    if (all || part == eSelectMatrices) SdifMakeEmptyList(sel->matrix);
    if (all || part == eSelectTime) SdifMakeEmptyList(sel->time);
    if (all || part == eSelectRows) {
        SdifMakeEmptyList(sel->row);
        SdifSelectGetIntMask(sel->row, &sel->rowmask);
    }
    if (all || part == eSelectColumns) {
        SdifMakeEmptyList(sel->column);
        SdifSelectGetIntMask(sel->column, &sel->colmask);
    }
    return true;
}

bool SDIFEntity::MergeSelection(const std::string& selection) {
    if (mFrameDirEnabled || !FileSelection()) return false;
    return SdifParseSelection(FileSelection(), selection.c_str()) != 0;
}

bool SDIFEntity::ChangeSelection(const std::string& selection) {
    if (mFrameDirEnabled || !FileSelection()) return false;
    SdifReplaceSelection(selection.c_str(), FileSelection());
    return true;
}

void SDIFEntity::GetFileStreamSelection(SelectionSet<unsigned int>& set) const {
    set = SelectionSet<unsigned int>();
    if (!FileSelection()) return;
    SdifSelectIntMaskT& mask = FileSelection()->streammask;
    const SdifUInt4 nbFlags = SdifSelectIntMaskNbFlags(&mask);
    for (SdifUInt4 v = 0; v < nbFlags; ++v)
        if (mask.mask[v]) set.insert(v);
    set.SetActive(!set.empty());
    set.SetOpenEnd(mask.openend != 0);
}

void SDIFEntity::GetFileSignatureSelection(SdifListT* list, SelectionSet<unsigned int>& set) {
    set = SelectionSet<unsigned int>();
    if (!list) return;
    SdifListInitLoop(list);
    while (SdifListIsNext(list)) {
        const SdifSelectElementT* element = static_cast<SdifSelectElementT*>(SdifListGetNext(list));
        if (element) set.insert(element->value.signature);
    }
    // The value 0 stands for "nothing": it keeps the set active but empty.
    set.SetActive(!set.empty());
    set.erase(0u);
}

bool SDIFEntity::GetStreamSelection(SelectionSet<unsigned int>& set) const {
    if (!mFile) return false;
    if (mFrameDirEnabled && mStreamSel.IsActive())
        set = mStreamSel;
    else
        GetFileStreamSelection(set);
    return true;
}

bool SDIFEntity::GetFrameSelection(SelectionSet<unsigned int>& set) const {
    if (!mFile) return false;
    if (mFrameDirEnabled && mFrameSel.IsActive())
        set = mFrameSel;
    else
        GetFileSignatureSelection(FileSelectionList(&SdifSelectionT::frame), set);
    return true;
}

bool SDIFEntity::GetMatrixSelection(SelectionSet<unsigned int>& set) const {
    if (!mFile) return false;
    if (mFrameDirEnabled && mMatrixSel.IsActive())
        set = mMatrixSel;
    else
        GetFileSignatureSelection(FileSelectionList(&SdifSelectionT::matrix), set);
    return true;
}

bool SDIFEntity::TestStreamSelection(unsigned int streamID) const {
    if (!mFile) return false;
    if (mFrameDirEnabled && mStreamSel.IsActive()) return mStreamSel.isSelected(streamID);
    return FileSelection() && SdifSelectTestIntMask(&FileSelection()->streammask, streamID);
}

namespace {

// True when the list is empty or holds a 0 entry; the signature asked about
// is deliberately not looked at.
bool SignatureListOpen(SdifListT* list) {
    if (!list || SdifListIsEmpty(list)) return true;
    SdifListInitLoop(list);
    while (SdifListIsNext(list)) {
        const SdifSelectElementT* element = static_cast<SdifSelectElementT*>(SdifListGetNext(list));
        if (element && element->value.signature == 0) return true;
    }
    return false;
}

}  // namespace

bool SDIFEntity::TestFrameSelection(unsigned int signature) const {
    if (!mFile) return false;
    if (mFrameDirEnabled && mFrameSel.IsActive()) return mFrameSel.isSelected(signature);
    return SignatureListOpen(FileSelectionList(&SdifSelectionT::frame));
}

bool SDIFEntity::TestMatrixSelection(unsigned int signature) const {
    if (!mFile) return false;
    if (mFrameDirEnabled && mMatrixSel.IsActive()) return mMatrixSel.isSelected(signature);
    return SignatureListOpen(FileSelectionList(&SdifSelectionT::matrix));
}

bool SDIFEntity::RestrictStreamSelection(const SelectionSet<unsigned int>& set) {
    if (!set.IsActive()) return true;
    if (!FileSelection()) return false;
    if (mFrameDirEnabled) {
        SelectionSet<unsigned int> cur;
        GetStreamSelection(cur);
        if (cur.empty())
            mStreamSel = set;
        else
            mStreamSel = SelectionSet<unsigned int>(Intersect(cur, set), false);
        return true;
    }
    SdifSelectionT* sel = FileSelection();
    if (SdifListIsEmpty(sel->stream)) {
        if (mSavedStreamFlag && mSavedStream.IsActive()) return false;
        return CreateStreamSelection(sel, set);
    }
    SelectionSet<unsigned int> cur;
    GetFileStreamSelection(cur);
    const std::set<unsigned int> both = Intersect(cur, set);
    if (both.empty()) return CreateEmptyStreamSelection(sel);
    return CreateStreamSelection(sel, SelectionSet<unsigned int>(both, false));
}

bool SDIFEntity::RestrictSignatureSelection(SdifListT* list, SelectionSet<unsigned int>& highLevel,
                                            bool savedFlag, const SelectionSet<unsigned int>& saved,
                                            const SelectionSet<unsigned int>& set, bool frames) {
    if (!set.IsActive()) return true;
    if (!mFile || !list) return false;
    if (mFrameDirEnabled) {
        SelectionSet<unsigned int> cur;
        if (frames)
            GetFrameSelection(cur);
        else
            GetMatrixSelection(cur);
        if (cur.empty())
            highLevel = set;
        else
            highLevel = SelectionSet<unsigned int>(Intersect(cur, set), false);
        return true;
    }
    if (SdifListIsEmpty(list)) {
        if (savedFlag && saved.IsActive()) return false;
        FillSignatureSelection(list, set);
        return true;
    }
    SelectionSet<unsigned int> cur;
    GetFileSignatureSelection(list, cur);
    const std::set<unsigned int> both = Intersect(cur, set);
    if (both.empty()) {
        SdifMakeEmptyList(list);
        SdifSelectAddSignature(list, 0);
        return true;
    }
    return CreateSignatureSelection(list, SelectionSet<unsigned int>(both, false));
}

bool SDIFEntity::RestrictFrameSelection(const SelectionSet<unsigned int>& set) {
    return RestrictSignatureSelection(FileSelectionList(&SdifSelectionT::frame), mFrameSel,
                                      mSavedFrameFlag, mSavedFrame, set, true);
}

bool SDIFEntity::RestrictMatrixSelection(const SelectionSet<unsigned int>& set) {
    return RestrictSignatureSelection(FileSelectionList(&SdifSelectionT::matrix), mMatrixSel,
                                      mSavedMatrixFlag, mSavedMatrix, set, false);
}

bool SDIFEntity::ReestablishStreamSelection() {
    if (!FileSelection()) return false;
    if (mFrameDirEnabled) {
        mStreamSel = SelectionSet<unsigned int>();
        return true;
    }
    if (!mSavedStreamFlag) return false;
    return CreateStreamSelection(FileSelection(), mSavedStream);
}

bool SDIFEntity::ReestablishFrameSelection() {
    if (!FileSelection()) return false;
    if (mFrameDirEnabled) {
        mFrameSel = SelectionSet<unsigned int>();
        return true;
    }
    if (!mSavedFrameFlag) return false;
    FillSignatureSelection(FileSelection()->frame, mSavedFrame);
    return true;
}

bool SDIFEntity::ReestablishMatrixSelection() {
    if (!FileSelection()) return false;
    if (mFrameDirEnabled) {
        mMatrixSel = SelectionSet<unsigned int>();
        return true;
    }
    if (!mSavedMatrixFlag) return false;
    FillSignatureSelection(FileSelection()->matrix, mSavedMatrix);
    return true;
}

void SDIFEntity::SaveSelections() {
    GetMatrixSelection(mSavedMatrix);
    GetFrameSelection(mSavedFrame);
    GetStreamSelection(mSavedStream);
    mSavedMatrixFlag = mSavedFrameFlag = mSavedStreamFlag = true;
}

void SDIFEntity::ReestablishFileSelections() {
    if (!FileSelection()) return;
    if (mSavedMatrixFlag) FillSignatureSelection(FileSelection()->matrix, mSavedMatrix);
    if (mSavedFrameFlag) FillSignatureSelection(FileSelection()->frame, mSavedFrame);
    if (mSavedStreamFlag) CreateStreamSelection(FileSelection(), mSavedStream);
}

bool SDIFEntity::isFrameHLSelected(SdifUInt4 streamID, SdifSignature signature) const {
    return mStreamSel.isSelected(streamID) && mFrameSel.isSelected(signature);
}

bool SDIFEntity::CreateStreamSelection(SdifSelectionT* selection,
                                       const SelectionSet<unsigned int>& set) {
    if (!selection) return false;
    SdifMakeEmptyList(selection->stream);
    if (set.IsActive()) {
        if (set.empty()) return CreateEmptyStreamSelection(selection);
        for (unsigned int v : set) SdifSelectAddInt(selection->stream, static_cast<int>(v));
    }
    SdifSelectGetIntMask(selection->stream, &selection->streammask);
    if (set.IsActive()) selection->streammask.openend = set.IsOpenEnd() ? 1 : 0;
    return true;
}

bool SDIFEntity::CreateSignatureSelection(SdifListT* list, const SelectionSet<unsigned int>& set) {
    if (!list) return false;
    SdifMakeEmptyList(list);
    for (unsigned int v : set) SdifSelectAddSignature(list, v);
    return true;
}

void SDIFEntity::FillSignatureSelection(SdifListT* list, const SelectionSet<unsigned int>& set) {
    CreateSignatureSelection(list, set);
    // An active empty set selects nothing; an empty list would select everything.
    if (list && set.IsActive() && set.empty()) SdifSelectAddSignature(list, 0);
}

bool SDIFEntity::CreateEmptyStreamSelection(SdifSelectionT* selection) {
    if (!selection) return false;
    SdifMakeEmptyList(selection->stream);
    SdifSelectIntMaskT& mask = selection->streammask;
    free(mask.mask);
    mask.mask = static_cast<int*>(calloc(2, sizeof(int)));
    mask.num = 0;
    mask.max = 1;
    mask.openend = 0;
    mask.list = selection->stream;
    return true;
}

// ---- name-value tables and types ----

void SDIFEntity::AddNVT(const SDIFNameValueTable& table, unsigned int streamID) {
    mv_NVT.push_back(table);
    mv_NVT.back().SetStreamID(streamID);
}

SDIFNameValueTable& SDIFEntity::GetNVT(unsigned int i) {
    if (i >= mv_NVT.size()) {
        std::cerr << " No such NameValueTable " << std::endl;
        mv_NVT.emplace_back();
        return mv_NVT.front();
    }
    return mv_NVT[i];
}

SDIFNameValueTable SDIFEntity::TakeNVT() const {
    SDIFNameValueTable table;
    SdifNameValuesLT* tables = mFile ? SdifFNameValueList(mFile) : nullptr;
    if (!tables || !tables->CurrNVT) return table;
    SdifNameValueTableT* current = tables->CurrNVT;
    table.SetStreamID(current->StreamID);
    SdifHashTableIteratorT* it = SdifCreateHashTableIterator(current->NVHT);
    if (!it) return table;
    SdifHashTableIteratorInitLoop(it, current->NVHT);
    while (SdifHashTableIteratorIsNext(it)) {
        const SdifNameValueT* nv = static_cast<SdifNameValueT*>(SdifHashTableIteratorGetNext(it));
        if (nv && nv->Name) table.AddNameValue(nv->Name, nv->Value ? nv->Value : "");
    }
    SdifKillHashTableIterator(it);
    return table;
}

bool SDIFEntity::WriteNVTs() {
    SdifNameValuesLT* tables = mFile ? SdifFNameValueList(mFile) : nullptr;
    if (!tables) return false;
    for (const SDIFNameValueTable& table : mv_NVT) {
        SdifNameValuesLNewTable(tables, table.GetStreamID());
        for (const auto& nv : table.GetNameValues())
            SdifNameValuesLPutCurrNVT(tables, nv.first.c_str(), nv.second.c_str());
    }
    return true;
}

void SDIFEntity::PrintAllNVTs() const {
    for (size_t n = 0; n < mv_NVT.size(); ++n) {
        std::cout << std::endl << "NameValueTable number : " << n + 1 << std::endl;
        mv_NVT[n].PrintNameValueTable();
    }
}

void SDIFEntity::AddMatrixType(const std::string& name, const std::string& columns) {
    mTypeString += "1MTD" + name + " { " + columns + " }\n";
}

void SDIFEntity::AddFrameType(const std::string& name, const std::string& components) {
    mTypeString += "1FTD" + name + " { " + components + ";  }\n";
}

bool SDIFEntity::WriteTypes() {
    if (mTypeString.empty() || !mFile) return false;
    StringPtr text(SdifStringNew(), SdifStringFree);
    if (!text) return false;
    SdifStringAppend(text.get(), mTypeString.c_str());
    SdifFGetAllTypefromSdifString(mFile, text.get());
    return true;
}

void SDIFEntity::PrintTypes() const { std::cout << std::endl << mTypeString << std::endl; }

}  // namespace Ondel
