// One open SDIF file as objects: opened for reading or writing through the
// SDIF file library, its name-value tables and type declarations kept as
// objects and text, frames read one after the other into SDIFFrame objects
// under two levels of selection (the file's own, set from the file name, and
// high-level sets used while the frame directory is enabled), and the frame
// directory, which records every frame read so that frames can be revisited
// by position or by time.
#ifndef ONDEL_SDIFENTITY_H
#define ONDEL_SDIFENTITY_H

#include <list>
#include <string>
#include <vector>

#include "SdifGlobals.h"
#include "sdifexception.h"
#include "sdifframe.h"
#include "sdifnamevaluetable.h"
#include "selectionset.h"

namespace Ondel {

// Start the SDIF file library with the predefined-types file (empty: the
// default) and install ExceptionThrower as its error callback; when the
// library is already started, only install the callback and answer false.
bool OndelInit(const char* typesFile);
bool OndelInit(const std::string& typesFile);
// Release the SDIF file library.
void OndelEnd();

// Parts of the file selection, for SDIFEntity::ClearSelection; any value
// above eSelectColumns clears everything.
enum SelectionPartsE {
    eSelectStreams = 0,
    eSelectFrames = 1,
    eSelectMatrices = 2,
    eSelectTime = 3,
    eSelectRows = 4,
    eSelectColumns = 5,
    eSelectAll = 6
};

// One entry of the frame directory.
class SDIFLocation {
   public:
    SDIFLocation(SdifInt4 pos = -1, SdifSignature signature = 0, SdifUInt4 nbMatrix = 0,
                 SdifUInt4 streamID = 0, SdifFloat8 time = -1.0);

    // Record the signature of matrix index; an index not below the matrix
    // count is reported on standard error and ignored.
    void SetMSignature(unsigned int index, SdifSignature signature);
    // Signature of matrix index, 0 when unknown or out of range.
    SdifSignature GetMSignature(unsigned int index) const;

    SdifInt4 GetPos() const { return mPos; }
    SdifSignature GetSignature() const { return mSignature; }
    SdifUInt4 GetNbMatrix() const { return mNbMatrix; }
    SdifUInt4 GetStreamID() const { return mStreamID; }
    SdifFloat8 GetTime() const { return mTime; }

   private:
    SdifInt4 mPos;                         // file position of the frame's signature
    SdifSignature mSignature;              // frame signature
    SdifUInt4 mNbMatrix;                   // matrices in the frame
    SdifUInt4 mStreamID;                   // stream ID
    SdifFloat8 mTime;                      // frame time
    SdifSignature mMSig[3];                // signatures of matrices 0 to 2, 0 until set
    std::vector<SdifSignature> mMSigRest;  // signatures of matrices 3 and beyond
};

class SDIFEntity {
   public:
    typedef std::list<SDIFLocation> FrameDirT;

    // Walks the frame directory, skipping entries the selections reject.
    // Running off the end forward reads further frames from the file while
    // its end has not been seen; stepping back from the end first reads the
    // file to its end.  The frame of an entry is loaded on first access.
    class FRIterator {
       public:
        FRIterator(SDIFEntity* entity, FrameDirT::iterator pos);

        FRIterator& operator++();
        FRIterator& operator--();
        // The entry's frame, read on first use (empty at the end).
        const SDIFFrame& operator*();
        const SDIFFrame* operator->();
        bool operator==(const FRIterator& other) const;
        bool operator!=(const FRIterator& other) const { return !(*this == other); }

        // Make the entry the entity's cursor and seek the file to it, reading
        // its signature in read mode; false without a file, at the end, or
        // when the seek fails; SDIFSeekError when the signature cannot be read.
        bool GotoPos();
        // The entry; only valid when not AtEnd().
        const SDIFLocation& GetLocation() const { return *mPos; }
        bool AtEnd() const;

       private:
        friend class SDIFEntity;
        void CheckEnabled() const;
        // From the current place, skip rejected entries, reading more frames
        // when the directory runs out.
        void SettleForward();

        SDIFEntity* mEntity;       // the entity walked (not owned)
        FrameDirT::iterator mPos;  // entry, or the directory's end
        SDIFFrame mFrame;          // the entry's frame once loaded
        bool mPastEnd;             // ran off the end forward
        bool mBeforeBegin;         // ran off the front backward
        bool mLoaded;              // mFrame holds the entry's frame
    };

    SDIFEntity();
    ~SDIFEntity();
    SDIFEntity(const SDIFEntity&) = delete;
    SDIFEntity& operator=(const SDIFEntity&) = delete;

    // ---- opening and closing ----

    // eWriteFile opens for writing, eReadFile for reading; any other mode
    // throws SDIFBadMode.
    bool Open(const char* name, SdifFileModeET mode);
    // Open for reading (name may carry "::selection"); the frame directory is
    // disabled and emptied and the file's selections are saved.
    bool OpenRead(const char* name);
    // Reopen for reading, keeping the saved selections.
    bool ReOpenRead(const char* name);
    // Open for writing and write the header, name-value tables and types.
    bool OpenWrite(const char* name);
    bool Close();
    // Back to the first frame; false without a file.
    bool Rewind();

    // ---- reading and writing frames ----

    // Read the next frame: bytes read, 0 when it was not selected.  Throws
    // SDIFEof once the end was reached.
    int ReadNextFrame(SDIFFrame& frame);
    // Read frames until one is selected (its bytes) or the end (0).
    int ReadNextSelectedFrame(SDIFFrame& frame);
    // Through the frame directory (required, else SDIFDirError): the first
    // selected frame at or after time when searching forward, after time when
    // searching backward; answers its GetSize(), or 0 at the end.
    int ReadNextSelectedFrame(SDIFFrame& frame, SdifFloat8 time);
    int WriteFrame(SDIFFrame& frame);

    SdifFileT* GetFile() const { return mFile; }
    bool SetFile(SdifFileT* file);
    // The file's last error record, or null.
    SdifErrorT* LastError() const;
    // End of data reached, or no file open.
    bool eof() const { return mEof; }
    // 0 closed, 1 open for writing, 2 open for reading.
    int GetOpenMode() const { return mOpenMode; }
    long GetFirstFramePos() const { return mFirstFramePos; }
    size_t GetGeneralHeaderSize() const { return mGeneralHeaderSize; }
    size_t GetAsciiChunksSize() const { return mAsciiChunksSize; }

    // ---- frame directory ----

    // Only in read mode and before the first frame is read (right after
    // opening or rewinding); true at once when already enabled.
    bool EnableFrameDir();
    bool IsFrameDirEnabled() const { return mFrameDirEnabled; }
    const FrameDirT& GetFrameDir() const { return mFrameDir; }
    // Record a frame met at position; null when the position is known (the
    // cursor then moves to it), else the new entry.
    SDIFLocation* AddFramePos(SdifUInt4 streamID, SdifSignature signature, SdifFloat8 time,
                              SdifUInt4 nbMatrix, SdifInt4 position);
    // The directory on standard error.
    void PrintFrameDir() const;
    FRIterator begin();
    FRIterator end();

    // ---- selections ----

    bool ClearSelection(SelectionPartsE part);
    bool MergeSelection(const std::string& selection);
    bool ChangeSelection(const std::string& selection);

    bool GetStreamSelection(SelectionSet<unsigned int>& set) const;
    bool GetFrameSelection(SelectionSet<unsigned int>& set) const;
    bool GetMatrixSelection(SelectionSet<unsigned int>& set) const;
    bool TestStreamSelection(unsigned int streamID) const;
    bool TestFrameSelection(unsigned int signature) const;
    bool TestMatrixSelection(unsigned int signature) const;
    bool RestrictStreamSelection(const SelectionSet<unsigned int>& set);
    bool RestrictFrameSelection(const SelectionSet<unsigned int>& set);
    bool RestrictMatrixSelection(const SelectionSet<unsigned int>& set);
    bool ReestablishStreamSelection();
    bool ReestablishFrameSelection();
    bool ReestablishMatrixSelection();

    // Whether the high-level stream and frame selections accept a frame.
    bool isFrameHLSelected(SdifUInt4 streamID, SdifSignature signature) const;
    // The high-level matrix selection (inactive and empty without one).
    const SelectionSet<unsigned int>& GetMatrixHLSelection() const { return mMatrixSel; }

    // Rewrite a file selection's stream list (and mask) from set.
    static bool CreateStreamSelection(SdifSelectionT* selection,
                                      const SelectionSet<unsigned int>& set);
    // Rewrite a signature list from set.
    static bool CreateSignatureSelection(SdifListT* list, const SelectionSet<unsigned int>& set);
    // A stream selection that selects no stream.
    static bool CreateEmptyStreamSelection(SdifSelectionT* selection);

    // ---- name-value tables and types ----

    void AddNVT(const SDIFNameValueTable& table, unsigned int streamID);
    unsigned int GetNbNVT() const { return static_cast<unsigned int>(mv_NVT.size()); }
    // Table i (from 0); out of range: a notice, an empty table appended, and
    // the first table answered.
    SDIFNameValueTable& GetNVT(unsigned int i);
    // The file's current name-value table as an object.
    SDIFNameValueTable TakeNVT() const;
    // Each table into the file as a new table with its stream ID.
    bool WriteNVTs();
    void PrintAllNVTs() const;

    void AddMatrixType(const std::string& name, const std::string& columns);
    void AddFrameType(const std::string& name, const std::string& components);
    // Declare the type text in the file's type tables; false when empty.
    bool WriteTypes();
    void PrintTypes() const;
    const std::string& GetTypeString() const { return mTypeString; }
    void SetTypeString(const std::string& types) { mTypeString = types; }

    // Set the end flag from a signature read; the end also counts as seen.
    // The frame reader calls it after each frame's next signature.
    void SetEof(bool eof);

   private:
    // The file's own selection, none without a file.
    SdifSelectionT* FileSelection() const;
    // One signature list of it (frames or matrices), none without one.
    SdifListT* FileSelectionList(SdifListT* SdifSelectionT::*list) const;
    // Whether the directory walk accepts an entry.
    bool IsLocationSelected(const SDIFLocation& location) const;
    // Put the file right after the last directory entry's frame.
    bool SeekPastFrameDir();
    // Read the next selected frame beyond the directory into frame; true
    // when one was read (it is then the directory's last entry).
    bool ExtendFrameDir(SDIFFrame& frame);
    // Read every remaining frame into the directory.
    void ReadFrameDirToEnd();
    void DisableFrameDir();
    void SaveSelections();
    void ReestablishFileSelections();
    // The file selection's own sets, ignoring the high-level ones.
    void GetFileStreamSelection(SelectionSet<unsigned int>& set) const;
    static void GetFileSignatureSelection(SdifListT* list, SelectionSet<unsigned int>& set);
    // CreateSignatureSelection, keeping "nothing" for an active empty set.
    static void FillSignatureSelection(SdifListT* list, const SelectionSet<unsigned int>& set);
    // Puts a saved frame or matrix selection back into the file's selection.
    bool ReestablishSignatureSelection(SdifListT* SdifSelectionT::*list,
                                       SelectionSet<unsigned int>& highLevel, bool saved,
                                       const SelectionSet<unsigned int>& savedSet);
    bool RestrictSignatureSelection(SdifListT* list, SelectionSet<unsigned int>& highLevel,
                                    bool savedFlag, const SelectionSet<unsigned int>& saved,
                                    const SelectionSet<unsigned int>& set, bool frames);

    std::vector<SDIFNameValueTable> mv_NVT;   // the file's name-value tables
    SdifFileT* mFile;                         // the open file, or null (owned)
    std::string mTypeString;                  // type declarations in SDIF text form
    long mFirstFramePos;                      // file position of the first frame's signature
    bool mEof;                                // end of data reached, or no file open
    bool mEofSeen;                            // the end was met while reading
    int mOpenMode;                            // 0 closed, 1 writing, 2 reading
    size_t mGeneralHeaderSize;                // bytes of the general header
    size_t mAsciiChunksSize;                  // bytes of the ASCII chunks
    FrameDirT::iterator mCurrDirPos;          // directory cursor: entry of the file position
    bool mFrameDirEnabled;                    // the directory records frames
    SDIFLocation mSpareLocation;              // position -1, time -1.0
    bool mSavedMatrixFlag;                    // mSavedMatrix holds the file's selection
    SelectionSet<unsigned int> mSavedMatrix;  // file matrix selection as saved
    bool mSavedFrameFlag;
    SelectionSet<unsigned int> mSavedFrame;  // file frame selection as saved
    bool mSavedStreamFlag;
    SelectionSet<unsigned int> mSavedStream;  // file stream selection as saved
    SelectionSet<unsigned int> mStreamSel;    // high-level stream selection
    SelectionSet<unsigned int> mMatrixSel;    // high-level matrix selection
    SelectionSet<unsigned int> mFrameSel;     // high-level frame selection
    FrameDirT mFrameDir;                      // the frame directory, in file order
};

typedef SDIFEntity::FRIterator FRIterator;

}  // namespace Ondel

#endif
