// Writes the small example files of examples/ with the partial library's own
// writers: harmonic partials (1HRM), spectral peaks (1PIC) and a chord
// sequence.  Usage: make_examples [DIR] (default: examples).  Each file
// carries the date it was written, so a new run gives new bytes.
#include <cmath>
#include <cstdio>
#include <string>

#include "Kv2Io.h"
#include "Kv2Sdif.h"

using namespace Kv2;

namespace {

const double kPi = 3.14159265358979323846;

// Phase of a steady sinusoid after t seconds, brought into [-pi, pi].
float Phase(double freq, double t) {
    double phi = 2.0 * kPi * freq * t;
    return static_cast<float>(phi - 2.0 * kPi * std::round(phi / (2.0 * kPi)));
}

FILEIO* Open(const std::string& path, KvFormat format) {
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, format);
    if (!f) fprintf(stderr, "make_examples: cannot write %s\n", path.c_str());
    return f;
}

// Harmonics 1 to 3 of 220 Hz fading by a tenth per frame; the third one
// has died away by the last frame.
bool WriteHarmonics(const std::string& path) {
    FILEIO* f = Open(path, KV_FORMAT_SDIF_HRM);
    if (!f) return false;
    bool ok = true;
    double fade = 1.0;
    for (int frame = 0; frame < 3; ++frame, fade *= 0.9) {
        double t = 0.01 * frame;
        PartialSet set(t, 3);
        int top = frame < 2 ? 3 : 2;
        for (int h = 1; h <= top; ++h) {
            double freq = 220.0 * h;
            set.addToSet(PartialSet::PartialParam(h, static_cast<float>(freq),
                                                  static_cast<float>(0.4 / h * fade),
                                                  Phase(freq, t), 0.0f, PartialSet::ePartial),
                         h - 1);
        }
        ok = Kv2WritePartialSet(f, set) && ok;
    }
    Kv2CloseFile(f);
    return ok;
}

// Two spectral peaks in two frames, the upper one gliding.
bool WritePeaks(const std::string& path) {
    FILEIO* f = Open(path, KV_FORMAT_SDIF_PIC);
    if (!f) return false;
    bool ok = true;
    const float freqs[2][2] = {{220.0f, 330.0f}, {220.0f, 335.0f}};
    const float amps[2][2] = {{0.3f, 0.1f}, {0.25f, 0.125f}};
    for (int frame = 0; frame < 2; ++frame) {
        double t = 0.01 * frame;
        PartialSet set(t, 2);
        for (int k = 0; k < 2; ++k)
            set.addToSet(
                PartialSet::PartialParam(k + 1, freqs[frame][k], amps[frame][k],
                                         Phase(freqs[frame][k], t), 0.0f, PartialSet::ePeak),
                k);
        ok = Kv2WritePartialSet(f, set) && ok;
    }
    Kv2CloseFile(f);
    return ok;
}

// Three notes: A and B begin at 0 s, A gives way to C at 0.5 s, B and C end
// at 1 s.  Notes still sounding are not written; the reader brings them back.
bool WriteChords(const std::string& path) {
    FILEIO* f = Open(path, KV_FORMAT_SDIF_CHORDSEQ);
    if (!f) return false;
    enum { A = 1, B = 2, C = 3 };
    ChordSet begin(0.0, 2), middle(0.5, 3), end(1.0, 2);
    begin.addToSet(ChordSet::PartialParam(A, 220.0f, 0.25f, 0.0f, ChordSet::eStart), 0);
    begin.addToSet(ChordSet::PartialParam(B, 330.0f, 0.125f, 0.5f, ChordSet::eStart), 1);
    middle.addToSet(ChordSet::PartialParam(A, 220.0f, 0.25f, 0.0f, ChordSet::eEnd), 0);
    middle.addToSet(ChordSet::PartialParam(B, 330.0f, 0.125f, 0.5f, ChordSet::eCont), 1);
    middle.addToSet(ChordSet::PartialParam(C, 440.0f, 0.1f, 1.0f, ChordSet::eStart), 2);
    end.addToSet(ChordSet::PartialParam(B, 330.0f, 0.125f, 0.5f, ChordSet::eEnd), 0);
    end.addToSet(ChordSet::PartialParam(C, 440.0f, 0.1f, 1.0f, ChordSet::eEnd), 1);
    bool ok = Kv2SdifWriteChordSeq(f, begin, 0);
    ok = Kv2SdifWriteChordSeq(f, middle, 0) && ok;
    ok = Kv2SdifWriteChordSeq(f, end, 0) && ok;
    Kv2CloseFile(f);
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    std::string dir = argc > 1 ? argv[1] : "examples";
    Kv2Init();
    bool ok = WriteHarmonics(dir + "/harmonics.sdif");
    ok = WritePeaks(dir + "/peaks.sdif") && ok;
    ok = WriteChords(dir + "/chords.sdif") && ok;
    Kv2DeInit();
    return ok ? 0 : 1;
}
