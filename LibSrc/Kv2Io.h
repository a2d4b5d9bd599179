// Front door of the partial library: library state, the partial-data formats
// and their names, file handles (FILEIO) for plain and SDIF files, the
// readers of the plain partial-set and peak formats, and Kv2File, through
// which a container reads every frame of a file.
#ifndef KV2_IO_H
#define KV2_IO_H

#include <cstdio>
#include <string>
#include <vector>

#include "Kv2FrameSet.h"
#include "Kv2Partials.h"

namespace Kv2 {

// Partial-data formats.  Text and binary members come in pairs (0/1, 6/7,
// 8/9), which the content probe relies on; 2 to 5 are the SDIF flavours.
enum KvFormat : int {
    KV_FORMAT_ADD = 0,            // partial sets as text
    KV_FORMAT_FMT = 1,            // partial sets as binary
    KV_FORMAT_SDIF_TRC = 2,       // SDIF partial tracks, 1TRC
    KV_FORMAT_SDIF_HRM = 3,       // SDIF harmonic partials, 1HRM
    KV_FORMAT_SDIF_CHORDSEQ = 4,  // SDIF chord sequence, 1MRK with 1BEG/1TRC/1END
    KV_FORMAT_SDIF_PIC = 5,       // SDIF spectral peaks, 1PIC
    KV_FORMAT_PICS = 6,           // peak sets as text
    KV_FORMAT_PICSBIN = 7,        // peak sets as binary
    KV_FORMAT_RESERVED_TEXT = 8,  // text member of a pair nothing opens
    KV_FORMAT_RESERVED_BIN = 9,   // binary member of that pair
    KV_FORMAT_UNKNOWN = 10,       // unknown, undetermined or invalid
};

// Open modes of a handle.
enum KV_FILEMODE : int {
    KV_READ = 0,       // "r"
    KV_WRITE = 1,      // "w"
    KV_READWRITE = 2,  // "w+"
    KV_NMODE = 3,      // number of modes; also the mode of an unopened handle
};

// One entry of the name-to-format table.
struct KvNameToFormat {
    const char* name;  // matched as a case-blind prefix
    KvFormat format;
    int length;  // strlen(name), filled in by Kv2Init
};

// The 8 names in lookup order ("picsbin" must precede "pics"), then a
// terminating entry {"", KV_FORMAT_UNKNOWN, 0}.
extern KvNameToFormat n2f[9];

extern bool kvInitialised;  // Kv2Init has run
extern bool deinitOndel;    // this library started the object layer and must end it

class OndelFile;

// An open partial-data file.  Created on the heap by the open functions and
// released with Kv2CloseFile.
struct FILEIO {
    FILE* file = nullptr;       // stream of a plain file; null for SDIF
    bool ownsFile = true;       // false for standard input and output
    OndelFile* sdif = nullptr;  // SDIF wrapper, owned; null for plain files
    KvFormat format = KV_FORMAT_UNKNOWN;
    KV_FILEMODE mode = KV_NMODE;

    FILEIO() = default;
    FILEIO(FILEIO const&) = delete;
    FILEIO& operator=(FILEIO const&) = delete;
    // Deletes the wrapper, closes an owned stream.
    ~FILEIO();
};

// ---- Library state ----

// Start the library once: name table, synthesis tables, SDIF object layer.
// Aborts when called a second time.  Answers true.
bool Kv2Init();
// Kv2Init unless already done.
bool Kv2InitCond();
// Release the synthesis tables and the object layer (when this library
// started it).  Aborts before Kv2Init.  The library stays marked initialised.
bool Kv2DeInit();
// Start the SDIF object layer; true when this call did start it.
bool Kv2SdifInit();
void Kv2SdifDeInit();
// The SDIF library's version banner.
void Kv2SdifPrintVersion();

// ---- Names and formats ----

// Cut an SDIF selection ("::...") off name in place: answers where the
// selection started (now a NUL, its character saved in *saved), or null with
// *saved = 0 when there is none.  name must be writable when it has one.
char* kvCutSdifSelection(const char* name, char* saved);
// Text after the last '.' of the last path component, or null.  A selection
// suffix is not removed from the answer ("a.sdif::x" gives "sdif::x").
const char* Kv2GetExtension(const char* name);
// Format whose name is a case-blind prefix of name; KV_FORMAT_UNKNOWN for
// none or a null name.  Aborts before Kv2Init.
KvFormat Kv2NameToFormat(char* name);
// First name of format f, "" when it has none.  Aborts before Kv2Init.
const char* Kv2FormatToName(KvFormat f);
// The file begins with "SDIF".
bool Kv2IsSdifFile(const char* name);
// Format of a file: SDIF files by their first qualifying frame in stream 0
// (stream receives its stream), plain files by extension (else
// defaultFormat) for the family and by their first byte for text or binary.
// KV_FORMAT_UNKNOWN, with a message, when the file cannot be read.
KvFormat Kv2GetFileFormat(const char* name, KvFormat defaultFormat, int& stream);
// Does nothing.
void Kv2SetFileAttribute(char* name, KvFormat f);

// ---- Handles ----

// Open name ("-", "" or null: standard input or output for plain formats).
// stream selects the SDIF stream to read (-1: all); nvts are extra
// name-value strings for SDIF files being written.  Null for formats 8 and
// above and failed SDIF opens; a plain file that fopen refused still yields
// a handle, which FILEIOIsValid rejects.  Aborts for mode >= KV_NMODE.
FILEIO* Kv2OpenFile(const char* name, KV_FILEMODE mode, KvFormat format, int stream = -1,
                    std::vector<std::string>* nvts = nullptr);
// Destroy a handle; null is ignored.
void Kv2CloseFile(FILEIO* f);
void Kv2SdifClose(FILEIO* f);

// Non-null, with a stream or a wrapper, and of a known format.
bool FILEIOIsValid(FILEIO* f);
bool Kv2IsSdif(FILEIO* f);
// End of the data reached (a null handle counts as at its end).
bool Kv2IsEOF(FILEIO* f);
bool Kv2SdifIsEOF(FILEIO* f);
// Byte position, -1 for a null handle.
long Kv2GetFilePos(FILEIO* f);
long Kv2SdifGetFilePos(FILEIO* f);
// An SDIF handle on an ordinary (seekable) file.
bool Kv2IsSeekable(FILEIO* f);
// Number of SDIF streams selected, 0 for plain files.
int Kv2GetNumStreams(FILEIO* f);

// ---- Reading frames ----

// Next chord-sequence frame (SDIF only); stream receives its stream number
// (-1 on failure).  False at the end, on failure and for a null handle.
bool Kv2ReadChordSet(FILEIO* f, ChordSet& set);
bool Kv2ReadChordSet2(FILEIO* f, ChordSet& set, int maxPartials);
bool Kv2ReadChordSet2(FILEIO* f, ChordSet& set, int& stream, int maxPartials);

// Next partial frame of an SDIF, text or binary partial-set file; stream
// receives the SDIF stream (0 for plain files).  maxPartials < 0 (and 0 for
// text) means all.  False at the end, on a malformed record and for other
// formats; the set is emptied first.
bool Kv2ReadPartialSet2(FILEIO* f, PartialSet& set, int& stream, int maxPartials);
bool Kv2ReadPartialSet2(FILEIO* f, PartialSet& set, int maxPartials);
bool Kv2ReadPartialSet(FILEIO* f, PartialSet& set);
// Next frame of a "pics" or "picsbin" file (or an SDIF handle); frame time =
// position / sampleRate.  False, with a message, for a sample rate not above 0.
bool Kv2ReadPeaksSet2(FILEIO* f, PartialSet& set, int maxPeaks, float sampleRate);

// ---- Writing frames ----

// Append set as one frame: a text or binary record of at most maxPartials
// partials (-1: all) on a plain handle, a frame of the handle's SDIF format
// otherwise (stream is used there only).  False for a null handle, a plain
// format other than 0 and 1, and a failed SDIF write.
bool Kv2WritePartialSet2(FILEIO* f, const PartialSet& set, int maxPartials, int stream);
bool Kv2WritePartialSet(FILEIO* f, const PartialSet& set);

// Debugging dumps of a frame to out.
void Kv2PrintPartial(FILE* out, const PartialSet& set, char* label);
void Kv2PrintPeak(FILE* out, const PartialSet& set, char* label);
void Kv2PrintPartial(FILE* out, const ChordSet& set, char* label);

// While it lives, the reading of the file behind a handle has a memory
// budget: the run's, or when the run has none, one of its own from the
// file's size (SdifBudgetForSize), removed again at the end.
class Kv2ReadBudget {
   public:
    explicit Kv2ReadBudget(FILEIO const* f);
    ~Kv2ReadBudget();
    Kv2ReadBudget(Kv2ReadBudget const&) = delete;
    Kv2ReadBudget& operator=(Kv2ReadBudget const&) = delete;

   private:
    bool mOwn;  // this one set the budget
};

// Told of every frame Kv2File::ReadFrames appends, once it is aligned and
// counted: a reader that consumes the frames as they come need not keep them
// all.  It may erase any frame of the list but the last, which the next frame
// is aligned to.
template <class Set>
class Kv2FrameListener {
   public:
    virtual void FrameAppended(Kv2FrameSet<Set>& frames) = 0;

   protected:
    ~Kv2FrameListener() = default;
};

// A file read frame by frame into a frame list.  Owns its handle.
class Kv2File {
   public:
    FILEIO* mHandle = nullptr;  // null until Open succeeds

    Kv2File() = default;
    Kv2File(Kv2File const&) = delete;
    Kv2File& operator=(Kv2File const&) = delete;
    ~Kv2File();

    // Open name; format KV_FORMAT_UNKNOWN probes it first (Kv2GetFileFormat,
    // which also replaces stream).  True when a handle was made.
    bool Open(const char* name, KV_FILEMODE mode, KvFormat format, int stream = -1,
              std::vector<std::string>* nvts = nullptr);
    // Append every frame of stream (-1: all) whose time lies in
    // [tBegin, tEnd] (-1.0: no bound) to frames, aligned to its predecessor.
    // The partial form answers false without a handle.  The frames count
    // against the run's memory budget (SdifSetBudget; without one, a budget
    // of this file's own for the read): past it std::bad_alloc is thrown, the
    // frames read so far kept, for alignment and sounding chord notes let a
    // small file ask for far more.  A listener, when given, is told of each
    // frame appended.
    bool ReadFrames(Kv2FrameSet<PartialSet>& frames, int stream, double tBegin, double tEnd,
                    Kv2FrameListener<PartialSet>* listener = nullptr);
    bool ReadFrames(Kv2FrameSet<ChordSet>& frames, int stream, double tBegin, double tEnd,
                    Kv2FrameListener<ChordSet>* listener = nullptr);
};

}  // namespace Kv2

#endif
