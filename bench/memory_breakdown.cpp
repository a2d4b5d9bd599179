// Where the converter's memory goes: reads a partial-tracking SDIF file the
// way sdif2columns does (Kv2File into a PartialsContainer, tracks built once;
// a second pass as -p does) and reports, per input row, the bytes held by the
// frame records (valid ones, records carried and padding slots added by the
// frame alignment, vector slack), the track points (and their vector slack),
// the track objects and the list nodes.
//
//   sdif_bench_memory FILE.sdif
#include <cstdio>
#include <cstdlib>

#include "Kv2Io.h"
#include "Kv2Sdif.h"
#include "PartialsContainer.h"
#include "sdifentity.h"

namespace {

// Gives access to the container's frames and tracks.
class Container : public Quorlin::PartialsContainer<Kv2::PartialSet> {
   public:
    using Quorlin::PartialsContainer<Kv2::PartialSet>::mFrames;
    using Quorlin::PartialsContainer<Kv2::PartialSet>::mPartials;
};

struct Tally {
    double valid = 0, carried = 0, padding = 0, frameSlack = 0, frames = 0;
    double points = 0, pointSlack = 0, tracks = 0;
};

void Line(const char* what, double bytes, double rows) {
    std::printf("  %-44s %10.1f MB %7.1f bytes/row\n", what, bytes / 1e6, bytes / rows);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE.sdif\n", argv[0]);
        return 2;
    }
    Ondel::OndelInit("");
    int stream = 0;
    const Kv2::KvFormat format = Kv2::Kv2SdifGetFileFormat(argv[1], stream);
    Kv2::Kv2File file;
    if (format == Kv2::KV_FORMAT_SDIF_CHORDSEQ ||
        !file.Open(argv[1], Kv2::KV_READ, format, stream)) {
        std::fprintf(stderr, "%s: cannot read %s as partial tracking\n", argv[0], argv[1]);
        return 1;
    }
    auto* c = new Container;  // never freed: the converter does not either
    if (!c->ReadFromFile(file)) return 1;

    using Param = Kv2::PartialSet::PartialParam;
    using Point = Kv2::PartialPoint<Kv2::PartialSet>;
    Tally t;
    double rows = 0;
    for (const Kv2::PartialSet& f : c->mFrames) {
        t.frames += 1;
        for (const Param& p : f.params()) {
            if (p.IsValid())
                t.valid += 1;
            else if (p.state == Kv2::PartialSet::eCarried)
                t.carried += 1;
            else
                t.padding += 1;
        }
        t.frameSlack += static_cast<double>(f.params().capacity() - f.params().size());
    }
    rows = t.valid;
    auto tallyTracks = [&](Tally& out) {
        out.points = out.pointSlack = 0;
        out.tracks = static_cast<double>(c->mPartials.size());
        for (const auto& track : c->mPartials) {
            out.points += static_cast<double>(track.points.size());
            out.pointSlack += static_cast<double>(track.points.capacity() - track.points.size());
        }
    };
    tallyTracks(t);

    const double pb = sizeof(Param), qb = sizeof(Point);
    const double node = sizeof(Kv2::PartialSet) + 2 * sizeof(void*);
    const double trackb = sizeof(Kv2::Kv2Partial<Kv2::PartialSet>);
    std::printf("%s: %.0f frames, %.0f rows (valid records), %.0f tracks\n", argv[1], t.frames,
                rows, t.tracks);
    std::printf("record %zu bytes, point %zu bytes, track %zu bytes, frame node %.0f bytes\n",
                sizeof(Param), sizeof(Point), sizeof(Kv2::Kv2Partial<Kv2::PartialSet>), node);
    double total = 0;
    auto add = [&](const char* what, double bytes) {
        Line(what, bytes, rows);
        total += bytes;
    };
    add("frame records: valid", t.valid * pb);
    add("frame records: carried by alignment (state 4)", t.carried * pb);
    add("frame records: padding slots (state 0)", t.padding * pb);
    add("frame records: vector slack (capacity)", t.frameSlack * pb);
    add("frame list nodes", t.frames * node);
    add("track points", t.points * qb);
    add("track points: vector slack (capacity)", t.pointSlack * qb);
    add("track objects", t.tracks * trackb);
    Line("total without -p", total, rows);

    c->UpdatePartials();  // the second pass of -p
    Tally t2;
    tallyTracks(t2);
    total += (t2.points - t.points) * qb + (t2.pointSlack - t.pointSlack) * qb +
             (t2.tracks - t.tracks) * trackb;
    std::printf("after the second pass of -p: %.0f tracks, %.0f points\n", t2.tracks, t2.points);
    Line("track points", t2.points * qb, rows);
    Line("track points: vector slack (capacity)", t2.pointSlack * qb, rows);
    Line("track objects", t2.tracks * trackb, rows);
    Line("total with -p", total, rows);
    std::fflush(stdout);
    std::_Exit(0);
}
