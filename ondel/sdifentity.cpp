#include "sdifentity.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
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

int SDIFEntity::WriteFrame(SDIFFrame& frame) { return frame.Write(*this); }

bool SDIFEntity::SetFile(SdifFileT* file) {
    mFile = file;
    return true;
}

SdifErrorT* SDIFEntity::LastError() const { return mFile ? SdifFLastError(mFile) : nullptr; }

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
