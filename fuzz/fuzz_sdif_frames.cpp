// The SDIF library walking a file frame by frame through the object layer:
// every frame and every cell, then again under a row and column selection,
// then through the frame directory (forward, back, and a timed search).
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "sdifentity.h"
#include "sdifexception.h"
#include "sdifframe.h"
#include "sdifmatrix.h"

namespace {

using Ondel::SDIFEntity;
using Ondel::SDIFFrame;

double Touch(const SDIFFrame& frame) {
    double sum = frame.GetTime() + frame.GetSize();
    for (unsigned i = 0; i < frame.GetNbMatrix(); ++i) {
        const Ondel::SDIFMatrix& m = frame.GetMatrix(i);
        // Rows without columns hold no cell: their count is not walked.
        for (int r = 0; m.GetNbCols() > 0 && r < m.GetNbRows(); ++r)
            for (int c = 0; c < m.GetNbCols(); ++c) sum += m.Get<double>(r, c);
        sum += static_cast<double>(m.GetColName(0).size());
    }
    return sum;
}

void Walk(const std::string& name) {
    SDIFEntity entity;
    if (!entity.OpenRead(name.c_str())) return;
    SDIFFrame frame;
    volatile double sink = 0.0;
    while (!entity.eof())
        if (entity.ReadNextFrame(frame) != 0) sink = sink + Touch(frame);
    entity.Close();
}

void WalkDirectory(const std::string& name) {
    SDIFEntity entity;
    if (!entity.OpenRead(name.c_str()) || !entity.EnableFrameDir()) return;
    volatile double sink = 0.0;
    double middle = 0.0;
    size_t n = 0;
    for (Ondel::FRIterator it = entity.begin(); it != entity.end(); ++it, ++n) {
        sink = sink + Touch(*it);
        if (n % 2 == 0) middle = it->GetTime();
    }
    Ondel::FRIterator back = entity.end();
    for (size_t k = 0; k < 3 && back != entity.begin(); ++k) {
        --back;
        sink = sink + Touch(*back);
    }
    SDIFFrame frame;
    if (n > 0) entity.ReadNextSelectedFrame(frame, middle);
    entity.Rewind();
}

template <class F>
void Guarded(F step) {
    try {
        step();
    } catch (const Ondel::SDIFException&) {
        // Library errors surface as exceptions: expected on damaged input.
    } catch (const fuzz::PrescribedStop&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Init(true);
    fuzz::WriteScratch(data, size);
    const std::string& path = fuzz::ScratchPath();
    Guarded([&] { Walk(path); });
    Guarded([&] { Walk(path + "::_2-4.2-3"); });
    Guarded([&] { WalkDirectory(path); });
    return 0;
}
