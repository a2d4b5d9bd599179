// Text output of frames and partial tracks.  Two layouts for every kind: the
// fixed default one (no -O) and the column layout chosen with -O.  Numbers are
// byte-identical to printf's "%f"/"%lf"/"%d"; the text goes through one large
// buffer in front of gFile.
#ifndef SDIF2COLUMNS_PRINT_OUTPUT_H
#define SDIF2COLUMNS_PRINT_OUTPUT_H

#include <vector>

#include "FixedFormat.h"
#include "Kv2Partials.h"
#include "PartialsContainer.h"
#include "sdif2columns.h"

// ---- primitives ----

void PrintToFile(const char* format, ...);        // formatted text; null prints nothing
void PrintErrorMessage(const char* format, ...);  // the same on standard error
void PrintNewline();
void PrintSeparator();
void PrintFloat(float v);
void PrintDouble(double v);
void PrintInt(int v);
void PrintTimeAndNumber(double time, int n);
void PrintFrame(int n, const float* a, const float* b, const float* c);
// The lines PrintFrame prints from the arrays that getAllFreq, getAllAmpl and
// getAllPhase fill for count values, taken straight from the records: those
// with a positive identifier in storage order, then zeros up to count.
void PrintFrameRecords(const std::vector<Kv2::PartialSet::PartialParam>& records, int count);
void PrintFrameRecords(const std::vector<Kv2::ChordSet::PartialParam>& records, int count);
void PrintEmptyLine();
// Push what the buffer holds to gFile (before closing it or exiting).
void FlushOutput();

namespace output {
// Append raw bytes to the output buffer.
void Write(const char* text, size_t n);
inline void PutChar(char c) { Write(&c, 1); }
// gSeparator / gNewLine as text (a '%' in them is written as itself).
void PutSeparator();
void PutNewline();
}  // namespace output

// ---- column layout ----

// show(field) prints the field's value when the line has one and answers
// whether it did.  After a printed value comes the separator unless its column
// is the last chosen one, so a line may end in a separator.

// A header line ends only when it showed something.
template <class Show>
void PrintHeaderLine(Show show) {
    const size_t nCols = gFormatVector.size();
    bool printed = false;
    for (size_t k = 0; k < nCols; ++k) {
        if (!show(gFormatVector[k])) continue;
        printed = true;
        if (k + 1 != nCols) output::PutSeparator();
    }
    if (printed) output::PutNewline();
}

// A value line always ends, even when no column showed anything.
template <class Show>
void PrintValueLine(Show show) {
    const size_t nCols = gFormatVector.size();
    for (size_t k = 0; k < nCols; ++k)
        if (show(gFormatVector[k]) && k + 1 != nCols) output::PutSeparator();
    output::PutNewline();
}

// ---- frames ----

inline int FramePartialCount(const Kv2::PartialSet& f) { return f.numPartials(false); }
inline int FramePartialCount(const Kv2::ChordSet& f) { return f.numPartials(); }

template <class T>
void PrintFrames(Quorlin::PartialsContainer<T>& container) {
    // Sized from each frame's count; cleared per frame so that slots without a
    // record of positive identifier print as zero.
    std::vector<float> freq, ampl, phase;
    for (const T& frame : container.GetFrames()) {
        const int count = FramePartialCount(frame);
        if (gFormatVector.empty()) {
            PrintTimeAndNumber(frame.time, count);
            if (count != 0) PrintFrameRecords(frame.params(), count);
            PrintEmptyLine();
            continue;
        }
        if (count > 0) {
            freq.assign(static_cast<size_t>(count), 0.0f);
            ampl.assign(static_cast<size_t>(count), 0.0f);
            phase.assign(static_cast<size_t>(count), 0.0f);
            frame.getAllFreq(freq.data(), count);
            frame.getAllAmpl(ampl.data(), count);
            frame.getAllPhase(phase.data(), count);
        }
        PrintHeaderLine([&](OutputField field) {
            switch (field) {
                case eStart:
                    PrintDouble(frame.time);
                    return true;
                case eCount:
                    PrintInt(count);
                    return true;
                default:
                    return false;
            }
        });
        for (int i = 0; i < count; ++i) {
            PrintValueLine([&](OutputField field) {
                switch (field) {
                    case eFrequency:
                        PrintFloat(freq[i]);
                        return true;
                    case eAmplitude:
                        PrintFloat(ampl[i]);
                        return true;
                    case ePhase:
                        PrintFloat(phase[i]);
                        return true;
                    default:
                        return false;
                }
            });
        }
    }
}

// ---- tracks ----

void PrintPoint(const Kv2::PartialPoint<Kv2::PartialSet>& point);
void PrintPartial(const Kv2::Kv2Partial<Kv2::PartialSet>& track);
void PrintPartial(const Kv2::Kv2Partial<Kv2::ChordSet>& track);

// Every track of the file as two frames-to-tracks passes over its frames
// give them: the read's tracks with the open ones continued, then the tracks
// of the second pass.
void PrintPartials(Quorlin::PartialsContainer<Kv2::PartialSet>& container);
void PrintPartials(Quorlin::PartialsContainer<Kv2::ChordSet>& container);

#endif
