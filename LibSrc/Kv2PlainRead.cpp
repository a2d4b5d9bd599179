// Reading frames: the plain partial-set and peak records, and the entry
// points that send SDIF handles on to the SDIF reader.
#include <sys/stat.h>

#include <climits>
#include <cmath>
#include <cstdio>

#include "Kv2Io.h"
#include "Kv2Sdif.h"

namespace Kv2 {

namespace {

// Binary records are read this many values at a time, through a buffer on
// the stack.
const int kChunk = 1024;

// The shortest line of a text record: four one-character fields, three
// blanks and the line feed.
const long long kShortestTextLine = 8;

// Counts beyond this are taken as a record of the other byte order.
const float kMaxBinaryCount = 1000000.0f;

const char* const kExaggerated =
    "\nlibKv.a(KvReadPartialSet2):\nERROR: %.0f partials for a frame seem a little "
    "exaggerated.\nMaybe your binary file is in a foreign machine format.\n\n";

// Nearest integer, halves away from zero, clamped to the range whose
// absolute value is an int (the ident bookkeeping takes |id|).
int RoundHalfAway(double x) {
    if (std::isnan(x)) return 0;
    double r = std::trunc(x >= 0.0 ? x + 0.5 : x - 0.5);
    if (r > INT_MAX) return INT_MAX;
    if (r < -INT_MAX) return -INT_MAX;
    return static_cast<int>(r);
}

void PrintPrematureEnd(const char* library, int got, int expected) {
    fprintf(stderr,
            "\n%s(KvReadPartialSet2):\nWARNING: premature end of frame while reading\n(only %d "
            "instead of %d expected partials\n",
            library, got, expected);
}

// Read n floats in chunks, handing each to store(i, value).  Answers how many
// arrived.
template <class Store>
int ReadFloats(FILE* file, int n, Store store) {
    float buf[kChunk];
    int done = 0;
    while (done < n) {
        int want = n - done < kChunk ? n - done : kChunk;
        int got = static_cast<int>(fread(buf, sizeof(float), static_cast<size_t>(want), file));
        for (int k = 0; k < got; ++k) store(done + k, buf[k]);
        done += got;
        if (got < want) break;
    }
    return done;
}

// The lines of a text record after its header: n of its count lines of
// ident, frequency, amplitude and phase into set; a short line among them is
// a premature end, reported under library's name.
bool ReadTextLines(FILE* file, PartialSet& set, int n, int count, const char* library) {
    for (int i = 0; i < n; ++i) {
        int id = 0;
        float freq = 0.0f, amp = 0.0f, phase = 0.0f;
        if (fscanf(file, "%d %f %f %f", &id, &freq, &amp, &phase) != 4) {
            PrintPrematureEnd(library, i, n);
            return false;
        }
        set.addToSet(PartialSet::PartialParam(id, freq, amp, phase, 0.0f, PartialSet::ePartial), i);
    }
    // Skip the lines beyond the limit so the next call starts at a header.  A
    // line that does not convert stops the skipping: no later attempt could
    // get past it either.
    for (int i = n; i < count; ++i) {
        int id;
        float freq, amp, phase;
        if (fscanf(file, "%d %f %f %f", &id, &freq, &amp, &phase) != 4) break;
    }
    return true;
}

// The frequency, amplitude and phase columns that end both binary records,
// into entries 0 .. n - 1.  Their reads are not checked: whatever a record
// that ends early leaves unread stays zero.
void ReadValueColumns(FILE* file, PartialSet& set, int n) {
    auto& params = set.params();
    ReadFloats(file, n, [&](int i, float v) { params[i].freq = v; });
    ReadFloats(file, n, [&](int i, float v) { params[i].amp = v; });
    ReadFloats(file, n, [&](int i, float v) { params[i].phase = v; });
}

// Whether what is left of file after its position could hold n lines of a
// text record; false when that cannot be known (a pipe, a terminal).
bool LinesBacked(FILE* file, int n) {
    struct stat st;
    long pos = ftell(file);
    if (pos < 0 || fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    return static_cast<long long>(st.st_size) - pos >= kShortestTextLine * n;
}

// Text partial-set record.
bool ReadTextPartials(FILE* file, PartialSet& set, int maxPartials) {
    int count = 0;
    double time = 0.0;
    if (fscanf(file, " %d %lf", &count, &time) != 2) return false;
    set.time = time;
    int n = (maxPartials > 0 && maxPartials < count) ? maxPartials : count;
    return ReadTextLines(file, set, n, count, "libKv2.a");
}

// Binary partial-set record: time, count, then the idents, frequencies,
// amplitudes and phases as columns.
bool ReadBinaryPartials(FILE* file, PartialSet& set) {
    float head[2];
    if (fread(head, sizeof(float), 2, file) != 2) return false;
    set.time = head[0];
    float count = head[1];
    if (count > kMaxBinaryCount) {
        fprintf(stderr, kExaggerated, count);
        return false;
    }
    if (!(count >= 1.0f)) return true;  // truncates to 0 or below (or NaN)
    int n = static_cast<int>(count);

    // The count is bounded above, so the set may be sized before the data
    // comes; an ident the record lacks is stored as 0.
    set.addToSet(PartialSet::PartialParam(), n - 1);
    int got = ReadFloats(file, n, [&](int i, float v) {
        set.addToSet(PartialSet::PartialParam(RoundHalfAway(v), 0.0f, 0.0f, 0.0f, 0.0f,
                                              PartialSet::ePartial),
                     i);
    });
    for (int i = got; i < n; ++i)
        set.addToSet(PartialSet::PartialParam(0, 0.0f, 0.0f, 0.0f, 0.0f, PartialSet::ePartial), i);
    ReadValueColumns(file, set, n);
    return true;
}

// Text peak record.
bool ReadTextPeaks(FILE* file, PartialSet& set, int maxPeaks, float sampleRate) {
    float pos = 0.0f;
    int count = 0;
    if (fscanf(file, "%f %d", &pos, &count) != 2) return false;
    set.time = pos / sampleRate;
    int n = (maxPeaks >= 1 && maxPeaks < count) ? maxPeaks : count;
    // Sized first, so that a record that ends early keeps zero entries for
    // the peaks it lacks; but only as far as the rest of the file could hold
    // them, so a count it cannot back sizes nothing.
    if (n >= 1 && LinesBacked(file, n)) set.addToSet(PartialSet::PartialParam(), n - 1);
    return ReadTextLines(file, set, n, count, "libKv.a");
}

// Binary peak record: position, count, then frequencies, amplitudes and
// phases as columns; peaks are numbered from 1.
bool ReadBinaryPeaks(FILE* file, PartialSet& set, float sampleRate) {
    float head[2];
    if (fread(head, sizeof(float), 2, file) != 2) return false;
    set.time = head[0] / sampleRate;
    float count = head[1];
    if (count > kMaxBinaryCount) {
        fprintf(stderr, kExaggerated, count);
        return false;
    }
    int n = RoundHalfAway(count);
    if (n < 1) return true;

    set.addToSet(PartialSet::PartialParam(), n - 1);
    for (int i = 0; i < n; ++i)
        set.addToSet(PartialSet::PartialParam(i + 1, 0.0f, 0.0f, 0.0f, 0.0f, PartialSet::ePartial),
                     i);
    ReadValueColumns(file, set, n);
    return true;
}
}  // namespace

// ---- Reading frames ----

bool Kv2ReadChordSet(FILEIO* f, ChordSet& set) {
    if (!f || !f->sdif) return false;
    return Kv2SdifReadFrame(f, set, -1) >= 0;
}

bool Kv2ReadChordSet2(FILEIO* f, ChordSet& set, int maxPartials) {
    if (!f || !f->sdif) return false;
    return Kv2SdifReadFrame(f, set, maxPartials) >= 0;
}

bool Kv2ReadChordSet2(FILEIO* f, ChordSet& set, int& stream, int maxPartials) {
    stream = 0;
    if (!f || !f->sdif) return false;
    int r = Kv2SdifReadFrame(f, set, maxPartials);
    stream = r;
    return r >= 0;
}

bool Kv2ReadPartialSet2(FILEIO* f, PartialSet& set, int& stream, int maxPartials) {
    stream = 0;
    set.clear();
    if (!f) return false;
    if (!f->file) {
        if (!f->sdif) return false;
        int r = Kv2SdifReadFrame(f, set, maxPartials);
        stream = r;
        return r >= 0;
    }
    switch (f->format) {
        case KV_FORMAT_ADD:
            return ReadTextPartials(f->file, set, maxPartials);
        case KV_FORMAT_FMT:
            return ReadBinaryPartials(f->file, set);
        default:
            return false;
    }
}

bool Kv2ReadPartialSet2(FILEIO* f, PartialSet& set, int maxPartials) {
    int stream;
    return Kv2ReadPartialSet2(f, set, stream, maxPartials);
}

bool Kv2ReadPartialSet(FILEIO* f, PartialSet& set) { return Kv2ReadPartialSet2(f, set, -1); }

bool Kv2ReadPeaksSet2(FILEIO* f, PartialSet& set, int maxPeaks, float sampleRate) {
    if (sampleRate <= 0.0f) {
        fprintf(stderr, "KvIo error: Sample rate ommited or 0 (sampleRate = %f)\n", sampleRate);
        return false;
    }
    set.clear();
    if (!f) return false;
    if (f->sdif) return Kv2SdifReadFrame(f, set, maxPeaks) >= 0;
    if (!f->file) return false;
    switch (f->format) {
        case KV_FORMAT_PICS:
            return ReadTextPeaks(f->file, set, maxPeaks, sampleRate);
        case KV_FORMAT_PICSBIN:
            return ReadBinaryPeaks(f->file, set, sampleRate);
        default:
            return false;
    }
}
}  // namespace Kv2
