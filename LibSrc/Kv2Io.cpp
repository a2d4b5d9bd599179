// Library state, format names and probing, file handles, the plain
// partial-set and peak readers, and Kv2File.
#include "Kv2Io.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>

#include "Kv2Budget.h"
#include "Kv2Sdif.h"
#include "Kv2Synt.h"
#include "SdifAssert.h"
#include "SdifFile.h"
#include "SdifSelect.h"

namespace Kv2 {

namespace {

// The stops below print this file and line; both are part of the library's
// documented diagnostics, so they are given explicitly rather than taken from
// wherever the code happens to sit.
const char* const kIoSource = "LibSrc/Kv2Io.cpp";

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

// The debugging listing of a set: a line on it with the kind and number of
// the records listed, then each record that listed(i) keeps.
template <class Set, class Listed>
void PrintRecords(FILE* out, const Set& set, const char* label, const char* kind, int nb,
                  Listed listed) {
    fprintf(out, "\n%s: %s in Set %p  nb %d  time %.3f size %d \n", label ? label : "", kind,
            static_cast<const void*>(&set), nb, set.time, set.size());
    for (int i = 0; i < set.size(); ++i)
        if (listed(i))
            fprintf(out, "%3d:  ident %3d  freq %9.1f amp %6f phase %6.4f state %3d\n", i,
                    set[i].id, set[i].freq, set[i].amp, set[i].phase,
                    static_cast<int>(set[i].state));
}

// Size of the file behind a handle, -1 when it cannot be known (a pipe).
long long HandleSize(FILEIO const* f) {
    if (f && f->file) {
        struct stat st;
        if (fstat(fileno(f->file), &st) == 0 && S_ISREG(st.st_mode)) return st.st_size;
    } else if (f && f->sdif && f->sdif->GetFile()) {
        return f->sdif->GetFile()->FileSize;
    }
    return -1;
}

// Shared by both Kv2File::ReadFrames: append every frame of the file that
// passes the stream and time filters, each counted against the budget with
// the room it holds (carried and padding records included).  Frames only
// grow as they are aligned (each to the size of the one before), and a chord
// frame repeats every note still sounding, so a small file can ask for far
// more than its size: one frame of a million partials followed by a million
// empty frames.  A frame left out still counts what reading it built.  Past
// the budget the frames read so far stay and std::bad_alloc is thrown, which
// a container turns into a failed read.
template <class Set, class ReadFn>
void ReadAllFrames(Kv2FrameSet<Set>& frames, int stream, double tBegin, double tEnd, ReadFn read) {
    // A list node: the frame, two links, and the heap blocks of the node and
    // of its records.
    constexpr unsigned long long kFrameBytes =
        sizeof(Set) + 2 * sizeof(void*) + 2 * kHeapBlockOverhead;
    Set set(0.0, 256);
    std::size_t scratch = 0;  // records the reader's set has room for
    int frameStream = 0;
    while (read(set, frameStream)) {
        std::size_t records = set.params().size();
        const std::size_t room = set.params().capacity();
        if (room > scratch) {
            Kv2ChargeBudget((room - scratch) * sizeof(typename Set::PartialParam));
            scratch = room;
        }
        // Written as conditions to keep, so that a NaN bound keeps nothing.
        bool afterBegin = tBegin == -1.0 || set.time >= tBegin;
        bool beforeEnd = tEnd == -1.0 || set.time <= tEnd;
        if ((stream < 0 || frameStream == stream) && afterBegin && beforeEnd) {
            // Counted before it is made, as room for the frame padded to the
            // one before it; an alignment that needs more counts the rest.
            if (!frames.empty()) records = std::max(records, frames.back().params().size());
            Kv2ChargeBudget(kFrameBytes + records * sizeof(typename Set::PartialParam));
            frames.push_back(set, true);
            const std::size_t room = frames.back().params().capacity();
            if (room > records)
                Kv2ChargeBudget((room - records) * sizeof(typename Set::PartialParam));
        } else {
            Kv2ChargeBudget(kFrameBytes + records * sizeof(typename Set::PartialParam));
        }
    }
}

}  // namespace

KvNameToFormat n2f[9] = {
    {"format", KV_FORMAT_ADD, 0},      {"ADD", KV_FORMAT_ADD, 0},
    {"add", KV_FORMAT_ADD, 0},         {"fmt", KV_FORMAT_FMT, 0},
    {"sdif", KV_FORMAT_SDIF_TRC, 0},   {"SDIF", KV_FORMAT_SDIF_TRC, 0},
    {"picsbin", KV_FORMAT_PICSBIN, 0}, {"pics", KV_FORMAT_PICS, 0},
    {"", KV_FORMAT_UNKNOWN, 0},
};

bool kvInitialised = false;
bool deinitOndel = false;

FILEIO::~FILEIO() {
    delete sdif;
    sdif = nullptr;
    if (file && ownsFile) fclose(file);
    file = nullptr;
}

// ---- Library state ----

bool Kv2Init() {
    SdifAssertAt(((!kvInitialised) && "Kv Library already initialised"), kIoSource, 323);
    kvInitialised = true;
    for (int i = 0; i < 8; ++i) n2f[i].length = static_cast<int>(strlen(n2f[i].name));
    Kv2AddSyntInit();
    Kv2SdifInit();
    return true;
}

bool Kv2InitCond() {
    if (kvInitialised) return true;
    return Kv2Init();
}

bool Kv2DeInit() {
    SdifAssertAt(kvInitialised && "Kv Library not initialised", kIoSource, 363);
    Kv2Synth_FreeStatic();
    Kv2SdifDeInit();
    return true;
}

bool Kv2SdifInit() {
    deinitOndel = Ondel::OndelInit("");
    return deinitOndel;
}

void Kv2SdifDeInit() {
    if (deinitOndel) Ondel::OndelEnd();
}

void Kv2SdifPrintVersion() { SdifPrintVersion(); }

// ---- Names and formats ----

char* kvCutSdifSelection(const char* name, char* saved) {
    const char* sel = name ? SdifSelectFindSelection(name) : nullptr;
    if (!sel) {
        *saved = 0;
        return nullptr;
    }
    char* pos = const_cast<char*>(sel);
    *saved = *pos;
    *pos = 0;
    return pos;
}

const char* Kv2GetExtension(const char* name) {
    if (!name) return nullptr;
    // The selection is only looked past, not cut: name may be read-only, and
    // the answer runs on into the selection anyway.
    const char* end = SdifSelectFindSelection(name);
    if (!end) end = name + strlen(name);
    const char* start = name;
    for (const char* p = name; p < end; ++p)
        if (*p == '/') start = p + 1;
    const char* dot = nullptr;
    for (const char* p = start; p < end; ++p)
        if (*p == '.') dot = p;
    return dot ? dot + 1 : nullptr;
}

KvFormat Kv2NameToFormat(char* name) {
    SdifAssertAt(kvInitialised && "Kv2 Library not initialised", kIoSource, 410);
    if (!name) return KV_FORMAT_UNKNOWN;
    size_t len = strlen(name);
    for (int i = 0; i < 8; ++i) {
        if (static_cast<size_t>(n2f[i].length) <= len &&
            strncasecmp(n2f[i].name, name, static_cast<size_t>(n2f[i].length)) == 0)
            return n2f[i].format;
    }
    return n2f[8].format;
}

const char* Kv2FormatToName(KvFormat f) {
    SdifAssertAt(kvInitialised && "Kv2 Library not initialised", kIoSource, 439);
    for (int i = 0; i < 8; ++i)
        if (n2f[i].format == f) return n2f[i].name;
    return n2f[8].name;
}

bool Kv2IsSdifFile(const char* name) { return name && SdifCheckFileFormat(name) != 0; }

KvFormat Kv2GetFileFormat(const char* name, KvFormat defaultFormat, int& stream) {
    stream = 0;
    if (Kv2IsSdifFile(name)) return Kv2SdifGetFileFormat(name, stream);

    KvFormat f = Kv2NameToFormat(const_cast<char*>(Kv2GetExtension(name)));
    if (f == KV_FORMAT_UNKNOWN) f = defaultFormat;

    FILE* file = name ? fopen(name, "r") : nullptr;
    if (!file) {
        fprintf(stderr, "Kv2: cannot open file %s \n", name ? name : "(null)");
        return KV_FORMAT_UNKNOWN;
    }
    // One element of 1024 bytes: files shorter than that are not recognised
    // by content, and only the first byte decides text or binary.
    unsigned char buffer[1024];
    size_t nRead = fread(buffer, 1024, 1, file);
    fclose(file);
    if (nRead == 0) {
        fprintf(stderr, "Kv2: cannot read file %s \n", name);
        return KV_FORMAT_UNKNOWN;
    }
    bool binary = false;
    for (size_t i = 0; i < nRead; ++i)
        if (buffer[i] & 0x80) binary = true;

    if (f > 9) return f;
    switch (f) {
        case KV_FORMAT_ADD:
        case KV_FORMAT_FMT:
            return binary ? KV_FORMAT_FMT : KV_FORMAT_ADD;
        case KV_FORMAT_PICS:
        case KV_FORMAT_PICSBIN:
            return binary ? KV_FORMAT_PICSBIN : KV_FORMAT_PICS;
        case KV_FORMAT_RESERVED_TEXT:
        case KV_FORMAT_RESERVED_BIN:
            return binary ? KV_FORMAT_RESERVED_BIN : KV_FORMAT_RESERVED_TEXT;
        default:
            return f;
    }
}

void Kv2SetFileAttribute(char*, KvFormat) {}

// ---- Handles ----

FILEIO* Kv2OpenFile(const char* name, KV_FILEMODE mode, KvFormat format, int stream,
                    std::vector<std::string>* nvts) {
    bool useStd = !name || name[0] == 0 || strcmp(name, "-") == 0;
    SdifAssertAt(mode < KV_NMODE, kIoSource, 589);
    if (format > KV_FORMAT_PICSBIN || format < 0 || mode < 0) return nullptr;

    switch (format) {
        case KV_FORMAT_ADD:
        case KV_FORMAT_FMT:
        case KV_FORMAT_PICS:
        case KV_FORMAT_PICSBIN: {
            FILEIO* f = new FILEIO;
            if (useStd) {
                f->file = mode == KV_READ ? stdin : stdout;
                f->ownsFile = false;
            } else {
                static const char* const modes[] = {"r", "w", "w+"};
                f->file = fopen(name, modes[mode]);
            }
            f->mode = mode;
            f->format = format;
            return f;
        }
        default:
            if (mode == KV_READ) return Kv2SdifOpenRead(name, format, stream);
            return Kv2SdifOpenWrite(name, format, nvts);
    }
}

void Kv2CloseFile(FILEIO* f) { delete f; }

void Kv2SdifClose(FILEIO* f) { delete f; }

bool FILEIOIsValid(FILEIO* f) {
    if (!f) return false;
    if (!f->file && !f->sdif) return false;
    return f->format != KV_FORMAT_UNKNOWN;
}

bool Kv2IsSdif(FILEIO* f) { return f && f->sdif; }

bool Kv2IsEOF(FILEIO* f) {
    if (!f) return true;
    if (f->file) return feof(f->file) != 0;
    return Kv2SdifIsEOF(f);
}

bool Kv2SdifIsEOF(FILEIO* f) {
    if (!f || !f->sdif) return false;
    return f->sdif->eof();
}

long Kv2GetFilePos(FILEIO* f) {
    if (!f) return -1;
    if (f->file) return ftell(f->file);
    return Kv2SdifGetFilePos(f);
}

long Kv2SdifGetFilePos(FILEIO* f) {
    if (!f || !f->sdif) return -1;
    SdifFileT* file = f->sdif->GetFile();
    if (!file || !file->Stream) return -1;
    return ftell(file->Stream);
}

bool Kv2IsSeekable(FILEIO* f) {
    if (!f || !f->sdif) return false;
    SdifFileT* file = f->sdif->GetFile();
    return file && file->isSeekable;
}

int Kv2GetNumStreams(FILEIO* f) {
    if (!f || !f->sdif) return 0;
    SdifFileT* file = f->sdif->GetFile();
    return file ? SdifFNumStreamsSelected(file) : 0;
}

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

void Kv2PrintPartial(FILE* out, const PartialSet& set, char* label) {
    PrintRecords(out, set, label, "Partials", set.numPartials(false),
                 [&](int i) { return set.IsPartial(i, false); });
}

void Kv2PrintPeak(FILE* out, const PartialSet& set, char* label) {
    PrintRecords(out, set, label, "Peaks", set.numPeaks(), [&](int i) { return set.IsPeak(i); });
}

void Kv2PrintPartial(FILE* out, const ChordSet& set, char* label) {
    PrintRecords(out, set, label, "ChordPartials", set.numPartials(),
                 [&](int i) { return set.IsValid(i); });
}

// ---- Kv2File ----

Kv2ReadBudget::Kv2ReadBudget(FILEIO const* f) : mOwn(SdifBudgetLimit() == 0) {
    if (mOwn) SdifSetBudget(SdifBudgetForSize(HandleSize(f)));
}

Kv2ReadBudget::~Kv2ReadBudget() {
    if (mOwn) SdifSetBudget(0);
}

Kv2File::~Kv2File() { Kv2CloseFile(mHandle); }

bool Kv2File::Open(const char* name, KV_FILEMODE mode, KvFormat format, int stream,
                   std::vector<std::string>* nvts) {
    Kv2CloseFile(mHandle);
    mHandle = nullptr;
    if (format == KV_FORMAT_UNKNOWN) format = Kv2GetFileFormat(name, KV_FORMAT_UNKNOWN, stream);
    mHandle = Kv2OpenFile(name, mode, format, stream, nvts);
    return mHandle != nullptr;
}

bool Kv2File::ReadFrames(Kv2FrameSet<PartialSet>& frames, int stream, double tBegin, double tEnd) {
    if (!mHandle) return false;
    Kv2ReadBudget budget(mHandle);
    ReadAllFrames(frames, stream, tBegin, tEnd, [this](PartialSet& set, int& frameStream) {
        return Kv2ReadPartialSet2(mHandle, set, frameStream, -1);
    });
    return true;
}

bool Kv2File::ReadFrames(Kv2FrameSet<ChordSet>& frames, int stream, double tBegin, double tEnd) {
    // No handle reads as a file without frames.
    Kv2ReadBudget budget(mHandle);
    ReadAllFrames(frames, stream, tBegin, tEnd, [this](ChordSet& set, int& frameStream) {
        return Kv2ReadChordSet2(mHandle, set, frameStream, -1);
    });
    return true;
}

}  // namespace Kv2
