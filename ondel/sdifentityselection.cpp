// The selections of an SDIFEntity: the file's own, parsed from its name and
// kept in the SDIF library's selection, and the high-level sets used while
// the frame directory is enabled.
#include <cstdlib>
#include <set>

#include "SdifFile.h"
#include "SdifList.h"
#include "SdifSelect.h"
#include "sdifentity.h"

namespace Ondel {

namespace {

// Values of cur ∩ s, honouring cur's open end.
std::set<unsigned int> Intersect(const SelectionSet<unsigned int>& cur,
                                 const SelectionSet<unsigned int>& s) {
    std::set<unsigned int> out;
    for (unsigned int v : s)
        if (cur.count(v) || (cur.IsOpenEnd() && !cur.empty() && *cur.rbegin() < v)) out.insert(v);
    return out;
}

}  // namespace

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

// With the frame directory on, the high-level set is cleared instead: the
// directory selects by itself.
bool SDIFEntity::ReestablishSignatureSelection(SdifListT* SdifSelectionT::*list,
                                               SelectionSet<unsigned int>& highLevel, bool saved,
                                               const SelectionSet<unsigned int>& savedSet) {
    if (!FileSelection()) return false;
    if (mFrameDirEnabled) {
        highLevel = SelectionSet<unsigned int>();
        return true;
    }
    if (!saved) return false;
    FillSignatureSelection(FileSelection()->*list, savedSet);
    return true;
}

bool SDIFEntity::ReestablishFrameSelection() {
    return ReestablishSignatureSelection(&SdifSelectionT::frame, mFrameSel, mSavedFrameFlag,
                                         mSavedFrame);
}

bool SDIFEntity::ReestablishMatrixSelection() {
    return ReestablishSignatureSelection(&SdifSelectionT::matrix, mMatrixSel, mSavedMatrixFlag,
                                         mSavedMatrix);
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

}  // namespace Ondel
