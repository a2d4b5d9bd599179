// Writing frame sets to SDIF: opening with the descriptive name-value table
// and type declarations, partial frames of every SDIF flavour, chord-sequence
// frames, with each track's SDIF index kept from frame to frame.
#include <cstdio>
#include <ctime>
#include <memory>
#include <new>

#include "Kv2Sdif.h"
#include "SdifAssert.h"
#include "SdifRWLowLevel.h"
#include "sdifexception.h"

namespace Kv2 {

namespace {

using Ondel::SDIFFrame;
using Ondel::SDIFMatrix;

constexpr SdifSignature kXCHS = SdifSignatureConst("XCHS");

// The stop for an unknown format names the library's SDIF source and line:
// that text is part of the documented diagnostics, wherever the code sits.
const char* const kSdifSource = "LibSrc/Kv2Sdif.cpp";

const char* const kWrittenBy = "Kv2_Version_1.3.2";

// A text made fit for a name-value value (tabs and line feeds to blanks).
std::string ToNV(const char* text) {
    std::string copy(text ? text : "");
    SdifStringToNV(&copy[0]);
    return copy;
}

void UnsupportedFormat() {
    fputs("Kv2SdifWriteFrame: error unsupported format requested \n", stderr);
}

}  // namespace

FILEIO* Kv2SdifOpenWrite(const char* name, KvFormat format, std::vector<std::string>* nvts) {
    time_t now = time(nullptr);
    Ondel::SDIFNameValueTable table;
    table.SetStreamID(0);

    std::unique_ptr<FILEIO> f(new (std::nothrow) FILEIO);
    if (!f) return nullptr;
    f->sdif = new (std::nothrow) OndelFile;
    if (!f->sdif) return nullptr;

    const char* tableName = nullptr;
    switch (format) {
        case KV_FORMAT_SDIF_TRC:
            tableName = "SinusoidalTracks";
            break;
        case KV_FORMAT_SDIF_HRM:
            tableName = "HarmonicTracks";
            break;
        case KV_FORMAT_SDIF_CHORDSEQ:
            tableName = "ChordSeq";
            break;
        case KV_FORMAT_SDIF_PIC:
            tableName = "SpectralPeaks";
            break;
        default:
            SdifAssertAt(0, kSdifSource, 819);
    }
    // A null name would reach the SDIF layer as "", which means standard
    // output there: refuse it as the reading side does.
    if (!name) return nullptr;

    OndelFile& file = *f->sdif;
    try {
        table.AddNameValue("TableName", tableName);
        table.AddNameValue("WrittenBy", ToNV(kWrittenBy));
        table.AddNameValue("Date", ToNV(ctime(&now)));
        file.AddNVT(table, 0);
        if (format == KV_FORMAT_SDIF_CHORDSEQ) file.AddFrameType("1MRK", "1TRC chord_seq_partials");

        if (nvts && !nvts->empty()) {
            table.Clear();
            size_t count = nvts->size();
            if (count % 2 == 0) {
                for (size_t i = 0; i < count; i += 2)
                    table.AddNameValue((*nvts)[i], (*nvts)[i + 1]);
            } else {
                fprintf(stderr,
                        "Kv2SdifOpenWrite: warning adding user supplied NVTs failed.\nThe list "
                        "of strings contains %u elements.\nIt should have an even number of "
                        "entries ",
                        static_cast<unsigned>(count));
            }
            file.AddNVT(table, 0);
        }
        if (!file.OpenWrite(name)) return nullptr;
    } catch (const Ondel::SDIFException&) {
        return nullptr;
    }
    f->format = format;
    f->mode = KV_WRITE;
    return f.release();
}

bool Kv2SdifWriteFrame(FILEIO* f, const PartialSet& set, int maxPartials, int stream) {
    if (!f || !f->sdif) return false;
    OndelFile& file = *f->sdif;
    const KvFormat format = f->format;
    const auto streamID = static_cast<SdifUInt4>(stream);

    try {
        SDIFFrame frame;
        SDIFMatrix values(eFloat4);
        SDIFMatrix begins(eInt4);
        int count = 0;
        switch (format) {
            case KV_FORMAT_SDIF_TRC:
                count = set.numPartials(false);
                frame.SetHeader(k1TRC, streamID, set.time);
                values.Init(k1TRC, count, 4, eFloat4);
                break;
            case KV_FORMAT_SDIF_HRM:
                count = set.numPartials(false);
                frame.SetHeader(k1HRM, streamID, set.time);
                values.Init(k1HRM, count, 4, eFloat4);
                break;
            case KV_FORMAT_SDIF_CHORDSEQ:
                count = set.numPartials(false);
                frame.SetHeader(k1MRK, streamID, set.time);
                begins.Init(k1BEG, count, 1, eInt4);
                values.Init(kXCHS, count, 3, eFloat4);
                break;
            case KV_FORMAT_SDIF_PIC:
                count = set.numPeaks();
                frame.SetHeader(k1PIC, streamID, set.time);
                values.Init(k1PIC, count, 4, eFloat4);
                break;
            default:
                // Nothing to build a frame from: writing one would put a
                // frame of signature 0 into the file.
                UnsupportedFormat();
                return false;
        }
        if (maxPartials < 0) maxPartials = count;

        for (auto& entry : file.trackMap) entry.second.seen = false;

        int row = 0;
        for (int i = 0; i < set.size() && row < maxPartials; ++i) {
            bool wanted = format == KV_FORMAT_SDIF_PIC ? set.IsPeak(i) : set.IsPartial(i, false);
            if (!wanted) continue;
            const PartialSet::PartialParam& p = set[i];
            switch (format) {
                case KV_FORMAT_SDIF_CHORDSEQ:
                    begins.Set(row, 0, p.id);
                    values.Set(row, 0, p.freq);
                    values.Set(row, 1, p.amp);
                    values.Set(row, 2, p.phase);
                    break;
                case KV_FORMAT_SDIF_PIC:
                    values.Set(row, 0, p.freq);
                    values.Set(row, 1, p.amp);
                    values.Set(row, 2, p.phase);
                    values.Set(row, 3, 1.0f);
                    break;
                case KV_FORMAT_SDIF_TRC: {
                    auto found = file.trackMap.find(p.id);
                    int index;
                    if (found != file.trackMap.end()) {
                        found->second.seen = true;
                        index = found->second.ident;
                    } else {
                        index = ++file.lastIndex;
                        file.trackMap.emplace(p.id, TrackEntry{true, index});
                    }
                    values.Set(row, 0, index);
                    values.Set(row, 1, p.freq);
                    values.Set(row, 2, p.amp);
                    values.Set(row, 3, p.phase);
                    break;
                }
                default:  // harmonic partials carry their own idents
                    values.Set(row, 0, p.id);
                    values.Set(row, 1, p.freq);
                    values.Set(row, 2, p.amp);
                    values.Set(row, 3, p.phase);
                    break;
            }
            ++row;
        }

        if (format == KV_FORMAT_SDIF_CHORDSEQ) frame.AddMatrix(begins);
        frame.AddMatrix(values);
        file.WriteFrame(frame);

        // A track absent from this frame has ended: should its ident come
        // back, it is a new track with a new index.
        for (auto it = file.trackMap.begin(); it != file.trackMap.end();) {
            if (it->second.seen)
                ++it;
            else
                it = file.trackMap.erase(it);
        }
    } catch (const Ondel::SDIFException&) {
        return false;
    }
    return true;
}

bool Kv2SdifWriteChordSeq(FILEIO* f, const ChordSet& set, int stream) {
    if (!f || !f->sdif) return false;
    OndelFile& file = *f->sdif;
    const int nEnd = set.numEnd();
    const int nStart = set.numStart();
    const int n = set.size();
    if (nEnd == 0 && nStart == 0) return true;

    try {
        SDIFFrame frame;
        frame.SetHeader(k1MRK, static_cast<SdifUInt4>(stream), set.time);

        if (nEnd > 0) {
            SDIFMatrix ends(k1END, nEnd, 1, eInt4);
            int row = 0;
            for (int i = 0; i < n; ++i) {
                const ChordSet::PartialParam& p = set[i];
                if (p.state != ChordSet::eEnd) continue;
                auto found = file.trackMap.find(p.id);
                if (found != file.trackMap.end()) {
                    ends.Set(row, 0, found->second.ident);
                    file.trackMap.erase(found);
                } else {
                    fprintf(stderr,
                            "Warning::Kv2SdifWriteChordSeq end of chord %d without related start "
                            "@%f-> ignoring \n ",
                            p.id, set.time);
                }
                ++row;
            }
            frame.AddMatrix(ends);
        }

        if (nStart > 0) {
            SDIFMatrix begins(k1BEG, nStart, 1, eInt4);
            SDIFMatrix partials(k1TRC, nStart, 4, eFloat4);
            int row = 0;
            for (int i = 0; i < n; ++i) {
                const ChordSet::PartialParam& p = set[i];
                if (p.state != ChordSet::eStart) continue;
                if (file.trackMap.find(p.id) == file.trackMap.end()) {
                    int index = ++file.lastIndex;
                    file.trackMap.emplace(p.id, TrackEntry{true, index});
                    begins.Set(row, 0, index);
                    partials.Set(row, 0, index);
                } else {
                    fprintf(stderr,
                            "Warning::Kv2SdifWriteChordSeq  chord %d is ot unique -> ignoring \n ",
                            p.id);
                }
                partials.Set(row, 1, p.freq);
                partials.Set(row, 2, p.amp);
                partials.Set(row, 3, p.phase);
                ++row;
            }
            frame.AddMatrix(begins);
            frame.AddMatrix(partials);
        }

        file.WriteFrame(frame);
    } catch (const Ondel::SDIFException&) {
        return false;
    }
    return true;
}

}  // namespace Kv2
