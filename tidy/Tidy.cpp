#include "Tidy.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "Kv2Sdif.h"
#include "SafeOutput.h"
#include "SdifFile.h"
#include "SdifFrameType.h"
#include "sdifentity.h"

namespace Tidy {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool ReadsStandardInput(const std::string& file) {
    return file.empty() || file == "-" || file == "stdin";
}

// Bytes of a named file, -1 for standard input or when it cannot be told.
int64_t FileBytes(const std::string& name) {
    const std::string file = Cli::StripSelection(name);
    if (ReadsStandardInput(file)) return -1;
    FILE* f = std::fopen(file.c_str(), "rb");
    if (!f) return -1;
    int64_t size = -1;
    if (std::fseek(f, 0, SEEK_END) == 0) size = std::ftell(f);
    std::fclose(f);
    return size;
}

std::string TimeText(double time) {
    std::string text;
    AppendNumber(text, time, false);
    return text;
}

}  // namespace

std::string UnopenableReason(const std::string& name) {
    const std::string file = Cli::StripSelection(name);
    if (ReadsStandardInput(file)) return "";
    FILE* f = std::fopen(file.c_str(), "rb");
    if (!f) return std::strerror(errno);
    std::fclose(f);
    return "";
}

std::string FailureReason(const std::string& name, const std::exception& error) {
    if (dynamic_cast<const Truncated*>(&error)) return error.what();
    if (const auto* sdif = dynamic_cast<const Ondel::SDIFException*>(&error)) {
        // Short reads and sizes beyond the end are both reported as an end of
        // file: the data stops at the file's end.
        if (sdif->GetTag() == eEof) return Truncated(FileBytes(name)).what();
        if (sdif->GetTag() == eBadHeader) return "not an SDIF file";
    }
    return LibraryReason(error);
}

void AppendNumber(std::string& out, double value, bool float32) {
    if (std::isnan(value)) {
        out += "nan";
        return;
    }
    if (std::isinf(value)) {
        out += value < 0 ? "-inf" : "inf";
        return;
    }
    char text[64];
    const std::to_chars_result r = float32 ? std::to_chars(text, text + sizeof text, float(value))
                                           : std::to_chars(text, text + sizeof text, value);
    out.append(text, r.ptr);
}

namespace {

SdifSignature FrameSignature(Kind kind) {
    switch (kind) {
        case Kind::kPartials:
            return Kv2::k1TRC;
        case Kind::kHarmonics:
            return Kv2::k1HRM;
        case Kind::kPeaks:
            return Kv2::k1PIC;
        case Kind::kChords:
            break;
    }
    return Kv2::k1MRK;
}

}  // namespace

std::string KindSignature(Kind kind) { return SignatureText(FrameSignature(kind)); }

const char* KindName(Kind kind) {
    switch (kind) {
        case Kind::kPartials:
            return "partial tracks";
        case Kind::kHarmonics:
            return "harmonic partials";
        case Kind::kPeaks:
            return "spectral peaks";
        case Kind::kChords:
            break;
    }
    return "a chord sequence";
}

bool PartialDataKind(SdifSignature frame, const std::vector<SdifSignature>& matrices, Kind& kind) {
    const auto holds = [&](SdifSignature sig) {
        for (SdifSignature m : matrices)
            if (m == sig) return true;
        return false;
    };
    switch (frame) {
        case Kv2::k1TRC:
            kind = Kind::kPartials;
            return true;
        case Kv2::k1HRM:
            kind = Kind::kHarmonics;
            return true;
        case Kv2::k1PIC:
            kind = Kind::kPeaks;
            return true;
        case Kv2::k1MRK:
            kind = Kind::kChords;
            return holds(Kv2::k1BEG) && holds(Kv2::k1TRC);
        default:
            return false;
    }
}

struct Reader::Impl {
    std::string name;
    int64_t wanted = -1;  // the stream asked for, or -1
    Ondel::SDIFEntity entity;
    Ondel::SDIFFrame frame;
    std::vector<SdifSignature> signatures;  // of the frame's matrices
    bool eof = true;
    bool found = false;  // a frame decided the kind and the stream
    Kind kind = Kind::kPartials;
    uint32_t stream = 0;

    // The next frame the file's selection keeps into frame; false at the end.
    bool ReadFrame() {
        SdifFileT* file = entity.GetFile();
        while (!eof) {
            // The SDIF library refuses to read a frame whose type nobody
            // declared; such frames hold no partial data: walk over them.
            if (!FrameTypeKnown(file, SdifFCurrSignature(file))) {
                SkipFrame(file);
                continue;
            }
            if (frame.Read(file, eof)) return true;
        }
        return false;
    }

    void SkipFrame(SdifFileT* file) {
        ByteWalk walk(file, std::ftell(SdifFGetStream(file)));
        walk.PassFrameBody(walk.ReadFrameHeader(SdifFCurrSignature(file)));
        size_t nbBytes = 0;
        eof = SdifFGetSignature(file, &nbBytes) == eEof;
    }

    const Ondel::SDIFMatrix* Matrix(SdifSignature signature, int columns) const {
        if (!frame.MatrixExists(signature)) return nullptr;
        const Ondel::SDIFMatrix& m = frame.GetMatrixWithSig(signature);
        if (m.GetNbCols() < columns && m.GetNbRows() > 0)
            throw Error(name + ": the " + SignatureText(signature) + " matrix at time " +
                        TimeText(frame.GetTime()) + " has " + std::to_string(m.GetNbCols()) +
                        " columns, " + std::to_string(columns) + " needed");
        return &m;
    }

    // Rows of m from column first on: index (unless peaks), frequency,
    // amplitude, phase.
    static void TakeRows(const Ondel::SDIFMatrix& m, bool peaks, std::vector<Row>& rows) {
        const int first = peaks ? 0 : 1;
        const bool float32 = m.GetType() == eFloat4;
        for (int r = 0; r < m.GetNbRows(); ++r)
            rows.push_back(Row{peaks ? double(r) : m.GetDouble(r, 0), m.GetDouble(r, first),
                               m.GetDouble(r, first + 1), m.GetDouble(r, first + 2), float32});
    }

    void Fill(Frame& out) const {
        out.time = frame.GetTime();
        out.stream = frame.GetStreamID();
        out.rows.clear();
        out.ends.clear();
        switch (kind) {
            case Kind::kPartials:
            case Kind::kHarmonics: {
                const SdifSignature sig = kind == Kind::kPartials ? Kv2::k1TRC : Kv2::k1HRM;
                if (const Ondel::SDIFMatrix* m = Matrix(sig, 4)) TakeRows(*m, false, out.rows);
                return;
            }
            case Kind::kPeaks:
                if (const Ondel::SDIFMatrix* m = Matrix(Kv2::k1PIC, 3))
                    TakeRows(*m, true, out.rows);
                return;
            case Kind::kChords:
                break;
        }
        if (const Ondel::SDIFMatrix* ends = Matrix(Kv2::k1END, 1)) {
            const bool float32 = ends->GetType() == eFloat4;
            for (int r = 0; r < ends->GetNbRows(); ++r)
                out.ends.push_back(Row{ends->GetDouble(r, 0), kNaN, kNaN, kNaN, float32});
        }
        // The 1TRC matrix holds the values of the notes that 1BEG begins.
        const Ondel::SDIFMatrix* begins = Matrix(Kv2::k1BEG, 1);
        const Ondel::SDIFMatrix* values = Matrix(Kv2::k1TRC, 4);
        if (!begins || !values) return;
        if (begins->GetNbRows() != values->GetNbRows())
            throw Error(name + ": the chord frame at time " + TimeText(frame.GetTime()) +
                        " begins " + std::to_string(begins->GetNbRows()) + " notes but gives " +
                        std::to_string(values->GetNbRows()) + " rows of values");
        TakeRows(*values, false, out.rows);
    }

    std::string NoData() const {
        if (wanted >= 0)
            return name + ": stream " + std::to_string(wanted) + " holds no partial data";
        return name +
               ": no partial data (no 1TRC, 1HRM or 1PIC frame, nor a 1MRK frame with 1BEG and "
               "1TRC matrices)";
    }
};

Reader::Reader(const std::string& name, int64_t stream) : mImpl(new Impl) {
    Impl& m = *mImpl;
    m.name = name;
    m.wanted = stream;
    Ondel::OndelInit("");
    const std::string unopenable = UnopenableReason(name);
    if (!unopenable.empty()) throw Error(name + ": " + unopenable);
    try {
        if (!m.entity.OpenRead(name.c_str())) throw Error(name + ": cannot be opened");
        if (stream >= 0) {
            Ondel::SelectionSet<unsigned int> only;
            only.insert(static_cast<unsigned int>(stream));
            m.entity.RestrictStreamSelection(only);
        }
    } catch (const Ondel::SDIFException& e) {
        throw Error(name + ": " + FailureReason(name, e));
    }
    m.eof = m.entity.eof();
}

Reader::~Reader() = default;

bool Reader::Next(Frame& out) {
    Impl& m = *mImpl;
    try {
        while (m.ReadFrame()) {
            const uint32_t stream = m.frame.GetStreamID();
            if (!m.found) {
                Kind kind;
                m.signatures.clear();
                for (SdifUInt4 i = 0; i < m.frame.GetNbMatrix(); ++i)
                    m.signatures.push_back(m.frame.GetMatrix(i).GetSignature());
                if ((m.wanted >= 0 && stream != m.wanted) ||
                    !PartialDataKind(m.frame.GetSignature(), m.signatures, kind))
                    continue;
                m.found = true;
                m.kind = kind;
                m.stream = stream;
            }
            if (stream != m.stream || m.frame.GetSignature() != FrameSignature(m.kind)) continue;
            m.Fill(out);
            return true;
        }
    } catch (const Error&) {
        throw;
    } catch (const std::exception& e) {
        throw Error(m.name + ": " + FailureReason(m.name, e));
    }
    if (!m.found) throw Error(m.NoData());
    return false;
}

Kind Reader::GetKind() const { return mImpl->kind; }
uint32_t Reader::GetStream() const { return mImpl->stream; }

void TrackBuilder::Add(const Frame& frame) {
    mNext.clear();
    mEnded.clear();
    for (const Row& row : frame.rows) {
        const auto [slot, first] = mNext.try_emplace(row.index, 0);
        size_t track = mTracks.size();
        if (first) {
            const auto open = mOpen.find(row.index);
            if (open != mOpen.end()) track = open->second;
            slot->second = track;
        } else {
            // A second row of an index: the next frame continues the first.
            mEnded.push_back(track);
        }
        if (track == mTracks.size()) mTracks.push_back(Track{row.index, row.float32, {}});
        mTracks[track].points.push_back(
            Point{frame.time, row.frequency, row.amplitude, row.phase, row.float32});
    }
    for (const auto& open : mOpen)
        if (mNext.find(open.first) == mNext.end()) mEnded.push_back(open.second);
    mOpen.swap(mNext);
}

void TrackBuilder::EndAll() {
    mEnded.clear();
    for (const auto& open : mOpen) mEnded.push_back(open.second);
    mOpen.clear();
}

void NoteBuilder::Add(const Frame& frame) {
    const auto end = [&](double index) {
        const auto sounding = mSounding.find(index);
        if (sounding == mSounding.end()) return;
        mNotes[sounding->second].end = frame.time;
        mNotes[sounding->second].ended = true;
        mSounding.erase(sounding);
    };
    for (const Row& row : frame.ends) end(row.index);
    for (const Row& row : frame.rows) {
        end(row.index);
        mSounding[row.index] = mNotes.size();
        mNotes.push_back(Note{row.index, frame.time, frame.time, row.frequency, row.amplitude,
                              row.phase, row.float32, false});
    }
    mLastTime = frame.time;
}

std::vector<Note>& NoteBuilder::Finish() {
    for (const auto& sounding : mSounding) mNotes[sounding.second].end = mLastTime;
    mSounding.clear();
    return mNotes;
}

Tables ReadFrames(const std::string& name, int64_t stream) {
    Reader reader(name, stream);
    Tables tables;
    Frame frame;
    while (reader.Next(frame)) tables.frames.push_back(std::move(frame));
    tables.kind = reader.GetKind();
    tables.stream = reader.GetStream();
    return tables;
}

Tables ReadTracks(const std::string& name, int64_t stream) {
    Reader reader(name, stream);
    Tables tables;
    TrackBuilder tracks;
    NoteBuilder notes;
    Frame frame;
    while (reader.Next(frame)) {
        if (reader.GetKind() == Kind::kChords)
            notes.Add(frame);
        else if (reader.GetKind() != Kind::kPeaks)
            tracks.Add(frame);
    }
    tables.kind = reader.GetKind();
    tables.stream = reader.GetStream();
    tables.tracks = std::move(tracks.Tracks());
    tables.notes = std::move(notes.Finish());
    return tables;
}

}  // namespace Tidy
