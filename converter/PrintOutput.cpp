#include "PrintOutput.h"

#include <cstdarg>
#include <cstring>

namespace {

// Large enough that a 150 MB conversion makes a few thousand writes.
constexpr size_t kBufferSize = 1 << 16;
char gBuffer[kBufferSize];
size_t gUsed = 0;

inline char* Reserve(size_t n) {
    if (gUsed + n > kBufferSize) FlushOutput();
    return gBuffer + gUsed;
}

}  // namespace

namespace output {

void Write(const char* text, size_t n) {
    if (n > kBufferSize) {
        FlushOutput();
        std::fwrite(text, 1, n, gFile);
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
    if (gUsed && gFile) std::fwrite(gBuffer, 1, gUsed, gFile);
    gUsed = 0;
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

void PrintFloat(float v) { PrintDouble(static_cast<double>(v)); }

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
    for (int i = 0; i < n; ++i) {
        PrintFloat(a[i]);
        output::PutSeparator();
        PrintFloat(b[i]);
        output::PutSeparator();
        PrintFloat(c[i]);
        output::PutNewline();
    }
}

void PrintEmptyLine() {
    output::PutNewline();
    output::PutNewline();
}

void PrintPoint(const Kv2::PartialPoint<Kv2::PartialSet>& point) {
    // Amplitude is not part of the default point line.
    PrintDouble(point.time);
    output::PutSeparator();
    PrintFloat(point.param.freq);
    output::PutSeparator();
    PrintFloat(point.param.phase);
    output::PutNewline();
}

// A value line of a track: after a printed value the newline at the last
// position, else the separator; a silent column at the last position still
// ends the line.
template <class Track, class Point>
static void PrintTrackLine(const Track& track, const Point& point, bool chord) {
    const size_t nCols = gFormatVector.size();
    for (size_t k = 0; k < nCols; ++k) {
        const bool last = k + 1 == nCols;
        bool printed = true;
        switch (gFormatVector[k]) {
            case eTime:
                PrintDouble(chord ? track.GetStartTime() : point.time);
                break;
            case eDuration:
                if (chord)
                    PrintDouble(track.GetEndTime() - track.GetStartTime());
                else
                    printed = false;
                break;
            case eFrequency:
                PrintFloat(point.param.freq);
                break;
            case eAmplitude:
                PrintFloat(point.param.amp);
                break;
            case ePhase:
                PrintFloat(point.param.phase);
                break;
            default:
                printed = false;
                break;
        }
        if (printed && !last)
            output::PutSeparator();
        else if (last)
            output::PutNewline();
    }
}

void PrintPartial(const Kv2::Kv2Partial<Kv2::ChordSet>& track) {
    // One line per chord track, from its first point.
    const Kv2::PartialPoint<Kv2::ChordSet>* first = track.GetPoint(0);
    if (!first) return;
    if (gFormatVector.empty()) {
        const double start = track.GetStartTime();
        PrintDouble(start);
        output::PutSeparator();
        PrintDouble(track.GetEndTime() - start);
        output::PutSeparator();
        PrintFloat(first->param.freq);
        output::PutSeparator();
        PrintFloat(first->param.amp);
        output::PutSeparator();
        PrintFloat(first->param.phase);
        output::PutNewline();
        return;
    }
    PrintTrackLine(track, *first, true);
}

void PrintPartial(const Kv2::Kv2Partial<Kv2::PartialSet>& track) {
    const int nPoints = static_cast<int>(track.GetNbPoints());
    if (gFormatVector.empty()) {
        for (int i = 0; i < nPoints; ++i) PrintPoint(*track.GetPoint(i));
        PrintEmptyLine();
        return;
    }
    const size_t nCols = gFormatVector.size();
    bool printed = false;
    for (size_t k = 0; k < nCols; ++k) {
        switch (gFormatVector[k]) {
            case eStart:
                PrintDouble(track.GetStartTime());
                break;
            case eDuration:
                PrintDouble(track.GetEndTime() - track.GetStartTime());
                break;
            case eCount:
                PrintInt(nPoints);
                break;
            default:
                continue;
        }
        printed = true;
        if (k + 1 != nCols) output::PutSeparator();
    }
    if (printed) output::PutNewline();
    for (int i = 0; i < nPoints; ++i) PrintTrackLine(track, *track.GetPoint(i), false);
    PrintEmptyLine();
}
