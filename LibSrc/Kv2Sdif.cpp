// Reading SDIF frames into frame sets.
#include "Kv2Sdif.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "Kv2Budget.h"
#include "SdifFile.h"
#include "SdifRWLowLevel.h"

namespace Kv2 {

namespace {

using Ondel::SDIFEntity;
using Ondel::SDIFFrame;
using Ondel::SDIFMatrix;
using Ondel::SelectionSet;

const char* const kSingleMatrixWarning =
    "Kv2SdifReadMatrix::warning more than a single matrix selected in SDIF Frame, we'll take "
    "the first one\n";

SelectionSet<unsigned int> Selection(std::initializer_list<unsigned int> values) {
    return SelectionSet<unsigned int>(std::set<unsigned int>(values), false);
}

// A chord-sequence frame needs both its begin list and its partials.
bool IsChordFrame(const SDIFFrame& frame) {
    return frame.MatrixExists(k1TRC) && frame.MatrixExists(k1BEG);
}

// Reads cells of one matrix as doubles.  Float and double stores (what
// analysis files hold) are read straight from their values; any other store,
// or a matrix too narrow for the columns wanted, goes through the matrix's
// checked accessor, which raises the object layer's range error.
class MatrixCellReader {
   public:
    MatrixCellReader(const SDIFMatrix& m, int colsNeeded)
        : mMatrix(m), mCols(m.GetNbCols()), mF(nullptr), mD(nullptr) {
        if (mCols >= colsNeeded) {
            mF = m.Data<float>();
            mD = m.Data<double>();
        }
    }
    double operator()(int row, int col) const {
        size_t at = static_cast<size_t>(row) * static_cast<size_t>(mCols) + col;
        if (mF) return mF[at];
        if (mD) return mD[at];
        return mMatrix.Get<double>(row, col);
    }
    // Converted from the store's own type, as the matrix's integer accessor
    // does: unsigned 32-bit indices above INT_MAX become distinct negative
    // ints instead of all saturating through double.
    int Int(int row, int col) const {
        if (mF || mD) return Ondel::ConvertValue<int>((*this)(row, col));
        return mMatrix.Get<int>(row, col);
    }

   private:
    const SDIFMatrix& mMatrix;
    int mCols;
    const float* mF;   // float values, or null
    const double* mD;  // double values, or null
};

// What reading a frame builds, counted against the budget once per frame:
// each cell is held by the library's buffer and by the matrix's store (8
// bytes each at most).
void ChargeFrameRead(const SDIFFrame& frame) {
    constexpr unsigned long long kCellBytes = 2 * 8;
    unsigned long long cells = 0;
    for (unsigned int i = 0; i < frame.GetNbMatrix(); ++i) {
        const SDIFMatrix& m = frame.GetMatrix(i);
        cells += static_cast<unsigned long long>(static_cast<unsigned>(m.GetNbRows())) *
                 static_cast<unsigned>(m.GetNbCols());
    }
    Kv2ChargeBudget(cells * kCellBytes);
}

// The nodes a frame added to the map of SDIF indices, counted once per frame.
void ChargeIndices(std::size_t before, std::size_t after) {
    constexpr unsigned long long kIndexBytes =
        sizeof(std::pair<const int, TrackEntry>) + 2 * sizeof(void*) + kHeapBlockOverhead;
    if (after > before) Kv2ChargeBudget((after - before) * kIndexBytes);
}

// New ident for a track met for the first time.  An ident read from a file
// can raise the counter to INT_MAX; the next one then wraps to INT_MIN, as
// the counter always has, but by unsigned arithmetic rather than overflow.
int NewIdent() {
    StaticIdent::maxIdent = static_cast<int>(static_cast<unsigned>(StaticIdent::maxIdent) + 1u);
    return StaticIdent::maxIdent;
}

}  // namespace

// ---- Probe and opening ----

KvFormat Kv2SdifGetFileFormat(const char* name, int& stream) {
    SDIFEntity entity;
    if (!name || !entity.OpenRead(name)) {
        fprintf(stderr, "Kv2: cannot open file %s \n", name ? name : "(null)");
        return KV_FORMAT_UNKNOWN;
    }
    if (stream != -1)
        entity.RestrictStreamSelection(Selection({static_cast<unsigned int>(stream)}));

    KvFormat result = KV_FORMAT_UNKNOWN;
    SDIFFrame frame;
    while (result == KV_FORMAT_UNKNOWN && !entity.eof()) {
        if (entity.ReadNextSelectedFrame(frame) == 0) break;
        stream = static_cast<int>(frame.GetStreamID());
        switch (frame.GetSignature()) {
            case k1MRK:
                if (IsChordFrame(frame)) result = KV_FORMAT_SDIF_CHORDSEQ;
                break;
            case k1PIC:
                result = KV_FORMAT_SDIF_PIC;
                break;
            case k1TRC:
                result = KV_FORMAT_SDIF_TRC;
                break;
            case k1HRM:
                result = KV_FORMAT_SDIF_HRM;
                break;
            default:
                break;
        }
    }
    entity.Close();
    return result;
}

FILEIO* Kv2SdifOpenRead(const char* name, KvFormat format, int stream) {
    auto f = std::make_unique<FILEIO>();
    f->sdif = new OndelFile;
    if (!name || !f->sdif->OpenRead(name)) return nullptr;
    if (stream >= 0) f->sdif->RestrictStreamSelection(Selection({static_cast<unsigned>(stream)}));
    f->format = format;
    f->mode = KV_READ;

    SelectionSet<unsigned int> matrices, frames;
    size_t expected = 1;
    switch (format) {
        case KV_FORMAT_SDIF_TRC:
            matrices = Selection({k1TRC});
            frames = Selection({k1TRC});
            break;
        case KV_FORMAT_SDIF_HRM:
            matrices = Selection({k1HRM});
            frames = Selection({k1HRM});
            break;
        case KV_FORMAT_SDIF_PIC:
            matrices = Selection({k1PIC});
            frames = Selection({k1PIC});
            break;
        case KV_FORMAT_SDIF_CHORDSEQ:
            matrices = Selection({k1BEG, k1TRC, k1END});
            frames = Selection({k1MRK});
            expected = 3;
            break;
        default:
            break;
    }
    // Read back what the entity made of them: a selection in the file name
    // narrows them, and one that contradicts them leaves nothing.
    f->sdif->RestrictMatrixSelection(matrices);
    f->sdif->RestrictFrameSelection(frames);
    SelectionSet<unsigned int> gotMatrices, gotFrames;
    f->sdif->GetMatrixSelection(gotMatrices);
    f->sdif->GetFrameSelection(gotFrames);

    bool valid = true;
    if (gotMatrices.size() != expected) {
        fprintf(stderr, "Kv2::OpenFile::ERROR:: invalid matrix selection in file %s\n", name);
        valid = false;
    }
    if (gotFrames.size() != 1) {
        fprintf(stderr, "Kv2::OpenFile::ERROR:: invalid frame selection in file %s\n", name);
        valid = false;
    }
    return valid ? f.release() : nullptr;
}

void Kv2SdifSelectAllStreams(FILEIO* f) {
    if (!f || !f->sdif) return;
    OndelFile& entity = *f->sdif;
    SdifSignature wanted = 0;
    switch (f->format) {
        case KV_FORMAT_SDIF_HRM:
            wanted = k1HRM;
            break;
        case KV_FORMAT_SDIF_TRC:
            wanted = k1TRC;
            break;
        case KV_FORMAT_SDIF_CHORDSEQ:
            wanted = k1MRK;
            break;
        default:
            break;
    }
    auto qualifies = [&](const SDIFFrame& frame) {
        if (wanted == 0 || frame.GetSignature() != wanted) return false;
        return wanted != k1MRK || IsChordFrame(frame);
    };

    std::vector<unsigned int> streams;
    double t0 = 0.0;
    SDIFFrame& frame = entity.frame;
    while (!entity.eof() && entity.ReadNextSelectedFrame(frame) != 0) {
        if (streams.empty()) {
            if (qualifies(frame) && frame.GetTime() != -1.0) {
                t0 = frame.GetTime();
                streams.push_back(frame.GetStreamID());
            }
        } else if (frame.GetTime() == t0 && qualifies(frame)) {
            streams.push_back(frame.GetStreamID());
        } else {
            break;
        }
    }

    entity.ClearSelection(Ondel::eSelectStreams);
    char text[32];
    for (unsigned int s : streams) {
        snprintf(text, sizeof text, "#%d", static_cast<int>(s));
        entity.MergeSelection(text);
    }
}

// ---- Partial frames ----

int Kv2SdifReadFrame(FILEIO* f, PartialSet& set, int maxPartials) {
    if (!f || !f->sdif) return -1;
    OndelFile& file = *f->sdif;
    set.clear();
    if (file.eof()) return -1;

    for (auto& entry : file.trackMap) entry.second.seen = false;
    int result = -1;
    if (file.ReadNextSelectedFrame(file.frame) != 0) {
        ChargeFrameRead(file.frame);
        const std::size_t mapped = file.trackMap.size();
        set.time = file.frame.GetTime();
        Kv2SdifReadMatrix(file.frame, set, maxPartials, f->format, &file);
        ChargeIndices(mapped, file.trackMap.size());
        result = static_cast<int>(file.frame.GetStreamID());
    }
    // Tracks absent from this frame have ended: if their index comes back it
    // is a new track.
    for (auto it = file.trackMap.begin(); it != file.trackMap.end();) {
        if (it->second.seen)
            ++it;
        else
            it = file.trackMap.erase(it);
    }
    return result;
}

int Kv2SdifReadMatrix(const SDIFFrame& frame, PartialSet& set, int maxPartials, KvFormat format,
                      OndelFile* file) {
    if (format == KV_FORMAT_SDIF_CHORDSEQ) return 0;
    if (frame.GetNbMatrix() > 1) fputs(kSingleMatrixWarning, stderr);
    // A frame whose matrices were all deselected holds no rows.
    if (frame.GetNbMatrix() == 0) return 0;
    const SDIFMatrix& m = frame.GetMatrix(0u);

    int rows = m.GetNbRows();
    int n = (maxPartials == -1 || rows <= maxPartials) ? rows : maxPartials;
    if (rows < 1 || n < 1) return 0;
    // A matrix narrower than the columns read fails on its first row, and
    // its row count, which no cell backs, must not size the set.
    const int colsNeeded = format == KV_FORMAT_SDIF_PIC ? 3 : 4;
    set.addToSet(PartialSet::PartialParam(), m.GetNbCols() < colsNeeded ? 0 : n - 1);

    // Entries are written field by field: the set's reset and growth leave
    // the rest of each record zero.
    auto& params = set.params();
    if (format == KV_FORMAT_SDIF_PIC) {
        MatrixCellReader cell(m, 3);
        for (int i = 0; i < n; ++i) {
            PartialSet::PartialParam& p = params[i];
            p.id = i;
            p.state = PartialSet::ePeak;
            p.freq = static_cast<float>(cell(i, 0));
            p.amp = static_cast<float>(cell(i, 1));
            p.phase = static_cast<float>(cell(i, 2));
        }
        return 0;
    }

    MatrixCellReader cell(m, 4);
    for (int i = 0; i < n; ++i) {
        PartialSet::PartialParam& p = params[i];
        int index = cell.Int(i, 0);
        if (format == KV_FORMAT_SDIF_TRC && file) {
            auto found = file->trackMap.find(index);
            if (found != file->trackMap.end()) {
                found->second.seen = true;
                p.id = found->second.ident;
            } else {
                p.id = NewIdent();
                file->trackMap.emplace(index, TrackEntry{true, p.id});
            }
        } else {
            p.id = index;
        }
        p.state = PartialSet::ePartial;
        p.freq = static_cast<float>(cell(i, 1));
        p.amp = static_cast<float>(cell(i, 2));
        p.phase = static_cast<float>(cell(i, 3));
    }
    return 0;
}

// ---- Chord sequences ----

int Kv2SdifReadMatrix(const SDIFFrame& frame, ChordSet& set, KvFormat format, OndelFile* file) {
    (void)file;
    if (format != KV_FORMAT_SDIF_CHORDSEQ) {
        if (frame.GetNbMatrix() >= 2) fputs(kSingleMatrixWarning, stderr);
        return 0;
    }
    set.clear();
    const SDIFMatrix* ends = frame.MatrixExists(k1END) ? &frame.GetMatrixWithSig(k1END) : nullptr;
    int nE = ends ? ends->GetNbRows() : 0;
    const SDIFMatrix* partials = nullptr;
    int nB = 0;
    if (frame.MatrixExists(k1BEG) && frame.MatrixExists(k1TRC)) {
        nB = frame.GetMatrixWithSig(k1BEG).GetNbRows();
        partials = &frame.GetMatrixWithSig(k1TRC);
        // Begins without their partials (or the reverse) make no sense.
        if (partials->GetNbRows() != nB) return 0;
    }

    if (ends && nE > 0) {
        // Without a column the read below fails: the row count, which no
        // cell backs, sizes nothing.
        std::vector<int> indices(ends->GetNbCols() >= 1 ? static_cast<size_t>(nE) : 0);
        ends->GetCol(indices.data(), 0);
        set.addToSet(ChordSet::PartialParam(), nE - 1);
        for (int v : indices)
            set.addToSet(ChordSet::PartialParam(v, 0.0f, 0.0f, 0.0f, ChordSet::eEnd), -1);
    }
    if (nB >= 1) {
        // As above: a 1TRC too narrow to read fails on its first row.
        set.addToSet(ChordSet::PartialParam(), partials->GetNbCols() >= 4 ? nE + nB - 1 : nE);
        MatrixCellReader cell(*partials, 4);
        for (int r = 0; r < nB; ++r)
            set.addToSet(ChordSet::PartialParam(cell.Int(r, 0), static_cast<float>(cell(r, 1)),
                                                static_cast<float>(cell(r, 2)),
                                                static_cast<float>(cell(r, 3)), ChordSet::eStart),
                         nE + r);
    }
    return 0;
}

int Kv2SdifReadFrame(FILEIO* f, ChordSet& set, int maxPartials) {
    (void)maxPartials;
    if (!f || !f->sdif) return -1;
    OndelFile& file = *f->sdif;
    set.clear();
    if (file.eof()) return -1;
    SDIFFrame& frame = file.frame;
    if (file.ReadNextSelectedFrame(frame) == 0) return -1;
    ChargeFrameRead(frame);
    const std::size_t mapped = file.trackMap.size();

    Kv2SdifReadMatrix(frame, set, f->format, &file);

    // The map holds the chord partials begun and not yet ended, by SDIF index.
    auto& map = file.trackMap;
    for (auto& p : set.params()) {
        int k = p.id;
        auto found = map.find(k);
        if (p.state == ChordSet::eEnd) {
            if (found == map.end()) {
                fprintf(stderr, "Kv2 Error:reading inconsistent chordset, cannot end %d \n ", k);
                return -1;
            }
            p.id = found->second.ident;
            map.erase(found);
        } else {
            if (found != map.end()) {
                fprintf(stderr, "Kv2 Error:reading inconsistent chordset, id %d exists \n ", k);
                return -1;
            }
            p.id = NewIdent();
            map.emplace(k, TrackEntry{true, p.id});
        }
    }
    // Partials begun earlier and still open sound on in this frame; those
    // begun here count as sounding from the next frame on.  The sounding
    // ones are listed by rising SDIF index, so that the order of the frame's
    // entries does not depend on how the hash map happens to iterate.
    // (SDIF index, ident), kept from frame to frame: its room counts against
    // the budget only as it grows.
    static thread_local std::vector<std::pair<int, int>> sounding;
    const std::size_t room = sounding.capacity();
    sounding.clear();
    for (auto& entry : map) {
        if (!entry.second.seen)
            sounding.emplace_back(entry.first, entry.second.ident);
        else
            entry.second.seen = false;
    }
    ChargeIndices(mapped, map.size());
    if (sounding.capacity() > room)
        Kv2ChargeBudget((sounding.capacity() - room) * sizeof(sounding[0]));
    std::sort(sounding.begin(), sounding.end());
    for (const auto& s : sounding)
        set.addToSet(ChordSet::PartialParam(s.second, 0.0f, 0.0f, 0.0f, ChordSet::eCont),
                     set.size());
    set.time = frame.GetTime();
    return static_cast<int>(frame.GetStreamID());
}

// ---- Times ----

bool Kv2SdifGetBeginAndEnd(FILEIO* f, double& begin, double& end) {
    if (!f || !f->sdif) return false;
    OndelFile& entity = *f->sdif;
    SdifFileT* file = entity.GetFile();
    if (!file || !SdifFIsSeekable(file)) return false;

    entity.Rewind();
    entity.EnableFrameDir();
    Ondel::FRIterator first = entity.begin();
    Ondel::FRIterator last = entity.end();
    bool any = first != last;
    if (any) {
        begin = first->GetTime();
        --last;
        end = last->GetTime();
    }
    entity.Rewind();
    return any;
}

}  // namespace Kv2
