// Partial data of an SDIF file as tidy tables: the rows of its frames as they
// are stored, the partial tracks built from them by their SDIF index, and the
// notes of a chord sequence.  Reading goes through the SDIF object layer, so a
// "::" selection after the file name applies, and a file is read once, from
// start to end (standard input works).  Nothing is printed here; every
// failure is a Tidy::Error whose message names the file.
#ifndef TIDY_TIDY_H
#define TIDY_TIDY_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "FrameWalk.h"

namespace Tidy {

// What a file's partial data is: the first frame that holds some decides.
enum class Kind {
    kPartials,   // 1TRC frames: partial tracks
    kHarmonics,  // 1HRM frames: harmonic partials
    kPeaks,      // 1PIC frames: spectral peaks, not tracked
    kChords      // 1MRK frames with 1BEG and 1TRC matrices: a chord sequence
};

// The frame signature of a kind ("1TRC", "1HRM", "1PIC", "1MRK").
std::string KindSignature(Kind kind);
// What a kind holds, for messages ("partial tracks", ...).
const char* KindName(Kind kind);
// Whether a frame of this signature holding matrices of these signatures
// holds partial data, and of which kind.
bool PartialDataKind(SdifSignature frame, const std::vector<SdifSignature>& matrices, Kind& kind);

// One matrix row, its values as stored (a 32-bit float widens exactly).
struct Row {
    double index = 0.0;  // the index column; for peaks the row number from 0
    double frequency = 0.0;
    double amplitude = 0.0;
    double phase = 0.0;   // chord ends carry no values: NaN in all three
    bool float32 = true;  // the matrix held 32-bit floats
};

// One frame of the stream read.
struct Frame {
    double time = 0.0;
    uint32_t stream = 0;
    std::vector<Row> rows;  // partials or peaks; for chords, the notes beginning
    std::vector<Row> ends;  // chords only: the notes ending (index only)
};

// Reads the frames of one stream's partial data, in file order.
class Reader {
   public:
    // Opens name for reading ("-" is standard input; a "::" selection may
    // follow).  stream < 0: the stream of the first frame holding partial
    // data; otherwise only that stream.  Throws Error.
    explicit Reader(const std::string& name, int64_t stream = -1);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // The next frame of the stream and kind read; false at the end.  Throws
    // Error, also at the end when no frame held partial data.
    bool Next(Frame& frame);

    // Known once Next has answered a frame.
    Kind GetKind() const;
    uint32_t GetStream() const;

   private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

// One point of a track.
struct Point {
    double time = 0.0;
    double frequency = 0.0;
    double amplitude = 0.0;
    double phase = 0.0;
    bool float32 = true;  // the values were 32-bit floats
};

// A run of consecutive frames holding the same SDIF index.
struct Track {
    double index = 0.0;
    bool float32 = true;  // the index was a 32-bit float
    std::vector<Point> points;
};

// Builds tracks from frames given in order.  A row continues the track its
// index had in the frame before; an index absent from that frame starts a
// new track, and so does a second row of one index within a frame (the
// next frame continues the first).  Tracks are numbered in order of their
// first point: tracks[i] is track i + 1.
class TrackBuilder {
   public:
    void Add(const Frame& frame);
    std::vector<Track>& Tracks() { return mTracks; }

    // The tracks (positions in Tracks()) that the last Add made complete: no
    // later frame can continue them.  A caller may take their points away,
    // so that the finished tracks need not all be held at once.
    const std::vector<size_t>& Ended() const { return mEnded; }
    // After the last frame: the tracks still open become Ended().
    void EndAll();

   private:
    std::vector<Track> mTracks;
    std::unordered_map<double, size_t> mOpen;  // index -> track, in the last frame
    std::unordered_map<double, size_t> mNext;  // the same for the frame being added
    std::vector<size_t> mEnded;
};

// One note of a chord sequence.
struct Note {
    double index = 0.0;
    double start = 0.0;
    double end = 0.0;  // the frame that ends it, or the last frame's time
    double frequency = 0.0;
    double amplitude = 0.0;
    double phase = 0.0;
    bool float32 = true;  // the values were 32-bit floats
    bool ended = false;   // a frame ended it
};

// Builds notes from chord frames given in order: a frame's ends first, then
// its beginnings.  An end of an index that is not sounding is ignored; a
// beginning of an index still sounding ends the note sounding.  Notes are
// numbered in order of their beginning.
class NoteBuilder {
   public:
    void Add(const Frame& frame);
    // The notes, those never ended ending at the last frame's time.
    std::vector<Note>& Finish();

   private:
    std::vector<Note> mNotes;
    std::unordered_map<double, size_t> mSounding;  // index -> note
    double mLastTime = 0.0;
};

// A whole file at once, for callers that want everything in memory.
struct Tables {
    Kind kind = Kind::kPartials;
    uint32_t stream = 0;
    std::vector<Frame> frames;  // ReadFrames: every frame read
    std::vector<Track> tracks;  // ReadTracks on 1TRC and 1HRM
    std::vector<Note> notes;    // ReadTracks on a chord sequence
};
// Read name as Reader does; peaks are not tracked, so ReadTracks gives them
// neither tracks nor notes.
Tables ReadFrames(const std::string& name, int64_t stream = -1);
Tables ReadTracks(const std::string& name, int64_t stream = -1);

// The shortest text that reads back to value, as a 32-bit float when
// float32 (1e-07, 440, 0.1); NaN and the infinities as nan, inf and -inf.
void AppendNumber(std::string& out, double value, bool float32);

// Why reading name failed, in one phrase for the user: a file that ends too
// soon gives the byte where its data stops, a file that is not SDIF says
// so, anything else gives the SDIF library's reason.
std::string FailureReason(const std::string& name, const std::exception& error);

// Why the file that name reads (its selection cut off) cannot be opened, or
// empty when it can or when it is standard input ("-", "stdin" or empty).
// Asked before the SDIF library opens it, which would print a notice.
std::string UnopenableReason(const std::string& name);

}  // namespace Tidy

#endif
