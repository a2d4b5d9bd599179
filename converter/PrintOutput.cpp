#include "PrintOutput.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "Kv2Budget.h"

namespace {

// Large enough that a 150 MB conversion makes a few thousand writes.
constexpr size_t kBufferSize = 1 << 16;
char gBuffer[kBufferSize];
size_t gUsed = 0;

inline char* Reserve(size_t n) {
    if (gUsed + n > kBufferSize) FlushOutput();
    return gBuffer + gUsed;
}

// The lines printed most are written straight into the buffer after one check
// for room per line, with the separator and newline held in locals: a global
// read back after every character stored would be reloaded each time.
constexpr size_t kLineRoom = 5 * (fixedformat::kMaxDoubleChars + 1) + 1;  // five numbers

inline char* PutF6(char* p, float v) { return p + fixedformat::FormatF6(v, p); }
// c itself, or nothing for an empty separator or newline.
inline char* PutOne(char* p, char c) {
    *p = c;
    return p + (c != '\0');
}
inline void EndLine(char* p) { gUsed = static_cast<size_t>(p - gBuffer); }

// A failed write ends the run at once: nothing after it could reach the
// destination, and a full disk should not cost the rest of the formatting.
void WriteOut(const char* text, size_t n) {
    if (n == 0 || !gFile) return;
    if (std::fwrite(text, 1, n, gFile) != n) {
        const int err = errno;
        gUsed = 0;
        FailWriting(Cli::FailedWriteStatus(err));
    }
}

// One default frame line: frequency, amplitude, phase.
inline void PutFrameLine(float freq, float amp, float phase, char sep, char nl) {
    char* p = Reserve(kLineRoom);
    p = PutF6(p, freq);
    p = PutOne(p, sep);
    p = PutF6(p, amp);
    p = PutOne(p, sep);
    p = PutF6(p, phase);
    EndLine(PutOne(p, nl));
}

template <class Param>
void PrintRecords(const std::vector<Param>& records, int count) {
    const char sep = gSeparator[0];
    const char nl = gNewLine[0];
    int printed = 0;
    for (const Param& r : records) {
        if (printed >= count) break;
        if (r.id <= 0) continue;
        PutFrameLine(r.freq, r.amp, r.phase, sep, nl);
        ++printed;
    }
    // Slots of the arrays that no record filled stay zero.
    for (; printed < count; ++printed) PutFrameLine(0.0f, 0.0f, 0.0f, sep, nl);
}

}  // namespace

namespace output {

void Write(const char* text, size_t n) {
    if (n > kBufferSize) {
        FlushOutput();
        WriteOut(text, n);
        return;
    }
    std::memcpy(Reserve(n), text, n);
    gUsed += n;
}

// The separator and the newline are used as printf formats when written
// alone; a one-character format prints itself, except '%', which would be
// undefined there: it is written as itself too.
void PutSeparator() {
    if (gSeparator[0]) {
        *Reserve(1) = gSeparator[0];
        ++gUsed;
    }
}

void PutNewline() {
    if (gNewLine[0]) {
        *Reserve(1) = gNewLine[0];
        ++gUsed;
    }
}

}  // namespace output

void FlushOutput() {
    const size_t n = gUsed;
    gUsed = 0;
    WriteOut(gBuffer, n);
}

void PrintToFile(const char* format, ...) {
    if (!format) return;
    va_list ap;
    va_start(ap, format);
    va_list copy;
    va_copy(copy, ap);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n > 0) {
        std::vector<char> text(static_cast<size_t>(n) + 1);
        std::vsnprintf(text.data(), text.size(), format, ap);
        output::Write(text.data(), static_cast<size_t>(n));
    }
    va_end(ap);
}

void PrintErrorMessage(const char* format, ...) {
    if (!format) return;
    va_list ap;
    va_start(ap, format);
    std::vfprintf(stderr, format, ap);
    va_end(ap);
}

void PrintNewline() { output::PutNewline(); }
void PrintSeparator() { output::PutSeparator(); }

void PrintDouble(double v) {
    char* p = Reserve(fixedformat::kMaxDoubleChars);
    gUsed += static_cast<size_t>(fixedformat::FormatF6(v, p));
}

void PrintFloat(float v) {
    char* p = Reserve(fixedformat::kMaxDoubleChars);
    gUsed += static_cast<size_t>(fixedformat::FormatF6(v, p));
}

void PrintInt(int v) {
    char* p = Reserve(12);
    gUsed += static_cast<size_t>(fixedformat::FormatInt(v, p));
}

void PrintTimeAndNumber(double time, int n) {
    PrintDouble(time);
    output::PutSeparator();
    PrintInt(n);
    output::PutNewline();
}

void PrintFrame(int n, const float* a, const float* b, const float* c) {
    const char sep = gSeparator[0];
    const char nl = gNewLine[0];
    for (int i = 0; i < n; ++i) PutFrameLine(a[i], b[i], c[i], sep, nl);
}

void PrintFrameRecords(const std::vector<Kv2::PartialSet::PartialParam>& records, int count) {
    PrintRecords(records, count);
}

void PrintFrameRecords(const std::vector<Kv2::ChordSet::PartialParam>& records, int count) {
    PrintRecords(records, count);
}

void PrintEmptyLine() {
    output::PutNewline();
    output::PutNewline();
}

namespace {

// The text of recently printed point times.  A point's time is its frame's,
// and the tracks printed one after another cover nearly the same frames, so
// most times come back many times within a few hundred frames; a time's text
// is copied instead of formatted again (a time has 53 significant bits, the
// formatter's long path).  Keyed by the exact bits.
class TimeTexts {
   public:
    char* Put(char* p, double t) {
        uint64_t bits;
        std::memcpy(&bits, &t, sizeof bits);
        Entry& e = mEntries[(bits * 0x9E3779B97F4A7C15ull) >> (64 - kBits)];
        if (e.length == 0 || e.bits != bits) {
            char text[fixedformat::kMaxDoubleChars];
            const int n = fixedformat::FormatF6(t, text);
            if (n > static_cast<int>(sizeof e.text)) {
                std::memcpy(p, text, static_cast<size_t>(n));
                return p + n;
            }
            e.bits = bits;
            e.length = static_cast<unsigned char>(n);
            std::memcpy(e.text, text, static_cast<size_t>(n));
        }
        std::memcpy(p, e.text, sizeof e.text);  // the room is there; only length counts
        return p + e.length;
    }

   private:
    static constexpr int kBits = 12;
    struct Entry {
        uint64_t bits = 0;
        unsigned char length = 0;  // 0: empty
        char text[23];
    };
    Entry mEntries[1 << kBits];
};

TimeTexts gTimeTexts;

}  // namespace

void PrintPoint(const Kv2::PartialPoint<Kv2::PartialSet>& point) {
    // Amplitude is not part of the default point line.
    const char sep = gSeparator[0];
    char* p = Reserve(kLineRoom);
    p = gTimeTexts.Put(p, point.time);
    p = PutOne(p, sep);
    p = PutF6(p, point.param.freq);
    p = PutOne(p, sep);
    p = PutF6(p, point.param.phase);
    EndLine(PutOne(p, gNewLine[0]));
}

// Values of one point of a track.  A chord track's line shows its start
// time and duration instead of the point's time.
template <class Point>
static void PrintTrackLine(const Point& point, bool chord, double start, double duration) {
    PrintValueLine([&](OutputField field) {
        switch (field) {
            case eTime:
                PrintDouble(chord ? start : point.time);
                return true;
            case eDuration:
                if (!chord) return false;
                PrintDouble(duration);
                return true;
            case eFrequency:
                PrintFloat(point.param.freq);
                return true;
            case eAmplitude:
                PrintFloat(point.param.amp);
                return true;
            case ePhase:
                PrintFloat(point.param.phase);
                return true;
            default:
                return false;
        }
    });
}

// A printed track is a built track, followed by the points of more when more
// is not null (a track the second pass continued; see PrintPartials).
template <class T>
static double EndTime(const Kv2::Kv2Partial<T>& track, const Kv2::Kv2Partial<T>* more) {
    return more ? more->GetEndTime() : track.GetEndTime();
}

static void PrintPartial(const Kv2::Kv2Partial<Kv2::ChordSet>& track,
                         const Kv2::Kv2Partial<Kv2::ChordSet>* more) {
    // One line per chord track, from its first point.
    const Kv2::PartialPoint<Kv2::ChordSet>* first = track.GetPoint(0);
    if (!first) return;
    const double start = track.GetStartTime();
    const double duration = EndTime(track, more) - start;
    if (gFormatVector.empty()) {
        PrintDouble(start);
        output::PutSeparator();
        PrintDouble(duration);
        output::PutSeparator();
        PrintFloat(first->param.freq);
        output::PutSeparator();
        PrintFloat(first->param.amp);
        output::PutSeparator();
        PrintFloat(first->param.phase);
        output::PutNewline();
        return;
    }
    PrintTrackLine(*first, true, start, duration);
}

// The column layout's point line of a partial track, decided once: what each
// chosen column shows and where separators fall, so that a point is written
// after one room check, like the default lines.  A list of columns too long for
// the buffer goes value by value instead.
class PointLine {
   public:
    PointLine() {
        const size_t nCols = gFormatVector.size();
        size_t values = 0;
        for (size_t k = 0; k < nCols; ++k) {
            const char op = Op(gFormatVector[k]);
            if (op == 0) continue;
            mOps.push_back(op);
            ++values;
            if (k + 1 != nCols) mOps.push_back(kSeparator);
        }
        mRoom = values * fixedformat::kMaxDoubleChars + mOps.size() + 1;
        mFast = mRoom <= kBufferSize / 4;
    }

    void Print(const Kv2::PartialPoint<Kv2::PartialSet>& point) const {
        if (!mFast) {
            PrintTrackLine(point, false, 0.0, 0.0);
            return;
        }
        const char sep = gSeparator[0];
        char* p = Reserve(mRoom);
        for (const char op : mOps) {
            switch (op) {
                case kTime:
                    p = gTimeTexts.Put(p, point.time);
                    break;
                case kFrequency:
                    p = PutF6(p, point.param.freq);
                    break;
                case kAmplitude:
                    p = PutF6(p, point.param.amp);
                    break;
                case kPhase:
                    p = PutF6(p, point.param.phase);
                    break;
                default:
                    p = PutOne(p, sep);
                    break;
            }
        }
        EndLine(PutOne(p, gNewLine[0]));
    }

   private:
    enum : char { kTime = 't', kFrequency = 'f', kAmplitude = 'a', kPhase = 'p', kSeparator = 's' };

    // What a partial's point shows in a column; 0 for nothing.
    static char Op(OutputField field) {
        switch (field) {
            case eTime:
                return kTime;
            case eFrequency:
                return kFrequency;
            case eAmplitude:
                return kAmplitude;
            case ePhase:
                return kPhase;
            default:
                return 0;
        }
    }

    std::vector<char> mOps;
    size_t mRoom = 0;
    bool mFast = false;
};

static void PrintPartial(const Kv2::Kv2Partial<Kv2::PartialSet>& track,
                         const Kv2::Kv2Partial<Kv2::PartialSet>* more, const PointLine& line) {
    if (gFormatVector.empty()) {
        for (const auto& point : track.points) PrintPoint(point);
        if (more)
            for (const auto& point : more->points) PrintPoint(point);
        PrintEmptyLine();
        return;
    }
    const int nPoints = static_cast<int>(track.GetNbPoints() + (more ? more->GetNbPoints() : 0));
    PrintHeaderLine([&](OutputField field) {
        switch (field) {
            case eStart:
                PrintDouble(track.GetStartTime());
                return true;
            case eDuration:
                PrintDouble(EndTime(track, more) - track.GetStartTime());
                return true;
            case eCount:
                PrintInt(nPoints);
                return true;
            default:
                return false;
        }
    });
    for (const auto& point : track.points) line.Print(point);
    if (more)
        for (const auto& point : more->points) line.Print(point);
    PrintEmptyLine();
}

// Chord tracks print one line each, from their first point.
static void PrintPartial(const Kv2::Kv2Partial<Kv2::ChordSet>& track,
                         const Kv2::Kv2Partial<Kv2::ChordSet>* more, const PointLine&) {
    PrintPartial(track, more);
}

void PrintPartial(const Kv2::Kv2Partial<Kv2::PartialSet>& track) {
    PrintPartial(track, nullptr, PointLine());
}
void PrintPartial(const Kv2::Kv2Partial<Kv2::ChordSet>& track) { PrintPartial(track, nullptr); }

// The track layout prints what a second frames-to-tracks pass over the frames,
// appended to the tracks the read built, would hold: the read's tracks, those
// still open after the last frame continued, then every track again.  That
// second pass need not be built.  It starts with no track open but the read's
// open ones, so it differs from the first only in its first frame: there, the
// valid records (in order) take the open tracks of their ident (first opened
// first) instead of opening tracks, and from then on it repeats the first
// pass.  Hence an open track continues with the points of the first-pass track
// its record opened in the first frame, and the second pass's own tracks are
// the first pass's in order, less those.  The k-th valid record of the first
// frame opened the first pass's track k.
template <class T>
static void PrintBothPasses(Quorlin::PartialsContainer<T>& container) {
    const Kv2::PartialVector<T>& tracks = container.GetPartials();
    // Counted against the run's budget before anything is printed.
    Kv2::Kv2ChargeBudget(tracks.size() * (sizeof(int) + sizeof(char)) +
                         tracks.OpenTracks().size() *
                             (sizeof(std::pair<int, unsigned>) + sizeof(unsigned)) +
                         4 * Kv2::kHeapBlockOverhead);
    std::vector<int> continuedBy(tracks.size(), -1);  // track -> first-frame track appended
    std::vector<char> taken(tracks.size(), 0);        // first-frame track continuing another
    const Kv2::Kv2FrameSet<T>& frames = container.GetFrames();
    if (!frames.empty() && !tracks.OpenTracks().empty()) {
        // Open tracks by ident, in opening order within an ident.
        std::vector<std::pair<int, unsigned>> open;
        for (unsigned t : tracks.OpenTracks()) open.emplace_back(tracks[t].id, t);
        std::stable_sort(open.begin(), open.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        // The tracks of an ident are taken first opened first, so those
        // still free are the end of its run: a cursor per run (kept at the
        // run's first entry) finds the next one without walking the taken.
        std::vector<unsigned> takenInRun(open.size(), 0);
        const T& first = frames.front();
        int opened = 0;
        for (int r = 0; r < first.size(); ++r) {
            if (!Kv2::TrackRecordIsValid(first, r)) continue;
            const int id = first[r].id;
            auto it = std::lower_bound(open.begin(), open.end(), id,
                                       [](const auto& e, int v) { return e.first < v; });
            if (it != open.end() && it->first == id) {
                const size_t start = static_cast<size_t>(it - open.begin());
                const size_t slot = start + takenInRun[start];
                if (slot < open.size() && open[slot].first == id) {
                    ++takenInRun[start];
                    continuedBy[open[slot].second] = opened;
                    taken[static_cast<size_t>(opened)] = 1;
                }
            }
            ++opened;
        }
    }
    const PointLine line;
    for (size_t i = 0; i < tracks.size(); ++i)
        PrintPartial(tracks[i], continuedBy[i] < 0 ? nullptr : &tracks[continuedBy[i]], line);
    for (size_t i = 0; i < tracks.size(); ++i)
        if (!taken[i]) PrintPartial(tracks[i], nullptr, line);
}

void PrintPartials(Quorlin::PartialsContainer<Kv2::PartialSet>& container) {
    PrintBothPasses(container);
}

void PrintPartials(Quorlin::PartialsContainer<Kv2::ChordSet>& container) {
    PrintBothPasses(container);
}
