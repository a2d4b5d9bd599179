// synthesize: tracks from Python rendered by the partial library's additive
// synthesis, frame to frame.  The synthesis pairs the records of two frames
// by index, so the frames go through the library's alignment, which keeps
// every partial at one index; a track with no point at a frame time inside
// its span gets the library's interpolated record there, so that it sounds
// across frames made by other tracks.
#include <pybind11/numpy.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>

#include "Boundary.h"
#include "Kv2FrameSet.h"
#include "Kv2Partials.h"
#include "Kv2Synt.h"
#include "Module.h"
#include "TrackInput.h"

namespace sdifpartials {

namespace {

using Kv2::PartialSet;
using Param = PartialSet::PartialParam;

Param PointRecord(const TrackPoints& t, size_t i, int id) {
    return Param(id, static_cast<float>(t.Frequency(i)), static_cast<float>(t.Amplitude(i)),
                 static_cast<float>(t.Phase(i)), 0.0f, PartialSet::ePartial);
}

// The number of samples before time, as the synthesis counts them: its first
// sample for a segment starting at time, and one past its last sample for a
// segment ending there (the sample at exactly that time opens the next one).
long long SamplesBefore(double time, float sampleRate) {
    const double x = time * sampleRate;
    return static_cast<long long>(std::ceil(x));
}

// A track that sounds at the frame being built.
struct Active {
    int track;    // its number
    size_t next;  // its first point not before this frame
};

void Render(const std::vector<TrackPoints>& tracks, const FrameGrid& grid, float sampleRate,
            bool withPhase, float* out, long long length) {
    // Tracks by their first frame; one-point tracks never make a segment.
    std::vector<int> order;
    for (size_t k = 0; k < tracks.size(); ++k)
        if (tracks[k].count > 1) order.push_back(static_cast<int>(k));
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return grid.frame[a][0] < grid.frame[b][0]; });

    Kv2::Kv2FrameSet<PartialSet> frames;  // the segment's two frames
    std::vector<Active> active;
    size_t starting = 0;
    for (size_t f = 0; f < grid.times.size(); ++f) {
        while (starting < order.size() && grid.frame[order[starting]][0] == static_cast<int>(f))
            active.push_back({order[starting++], 0});
        const double time = grid.times[f];
        PartialSet set(time, static_cast<int>(active.size()));
        for (Active& a : active) {
            const TrackPoints& t = tracks[a.track];
            const std::vector<int>& at = grid.frame[a.track];
            const int id = a.track + 1;
            if (at[a.next] == static_cast<int>(f)) {
                set.params().push_back(PointRecord(t, a.next++, id));
            } else {
                const size_t i = a.next;
                const double left = t.Time(i - 1), right = t.Time(i);
                Param record;
                PartialSet::interpolate(
                    PointRecord(t, i - 1, id), PointRecord(t, i, id), time - left, right - left,
                    static_cast<float>((time - left) / (right - left)), id, record);
                set.params().push_back(record);
            }
        }
        active.erase(
            std::remove_if(active.begin(), active.end(),
                           [&](const Active& a) { return a.next == tracks[a.track].count; }),
            active.end());

        frames.push_back(set, true);
        if (frames.size() < 2) continue;
        PartialSet const& from = frames.front();
        // The synthesis starts at the first sample at or after from's time.
        const long long first = SamplesBefore(from.time, sampleRate);
        Kv2::Kv2AddSynt(from, frames.back(), out + first, static_cast<int>(length - first), 0,
                        sampleRate, withPhase, nullptr);
        frames.pop_front();
    }
}

py::object Synthesize(py::handle tracks, double sampleRate, bool withPhase) {
    if (!(sampleRate > 0.0) || !(sampleRate <= FLT_MAX))
        throw py::value_error("sample_rate must be a positive number");
    const float rate = static_cast<float>(sampleRate);
    TrackInput input(tracks);
    return Call([&]() -> py::object {
        FrameGrid grid;
        {
            py::gil_scoped_release free;
            grid = BuildFrameGrid(input.tracks, 0.0);
        }
        if (!grid.times.empty() && grid.times.front() < 0.0)
            throw InputError{"synthesize: a point lies before 0 s (" + Seconds(grid.times.front()) +
                             "); the sound starts at 0 s"};
        const long long length = grid.times.empty() ? 0 : SamplesBefore(grid.times.back(), rate);
        if (length > INT_MAX)
            throw InputError{"synthesize: the last point (" + Seconds(grid.times.back()) +
                             ") lies beyond 2^31 samples"};
        py::array_t<float> sound(static_cast<py::ssize_t>(length));
        float* out = sound.mutable_data();
        {
            py::gil_scoped_release free;
            std::fill(out, out + length, 0.0f);
            Render(input.tracks, grid, rate, withPhase, out, length);
        }
        return std::move(sound);
    });
}

}  // namespace

void DefineSynthesize(py::module_& m) {
    m.def("synthesize", &Synthesize, py::arg("tracks"), py::arg("sample_rate") = 44100.0,
          py::arg("with_phase") = true,
          R"(synthesize(tracks, sample_rate=44100, with_phase=True) -> numpy.ndarray

The sound of tracks (a list of arrays of shape (points, 4): time, frequency,
amplitude, phase, as read_tracks returns them) by the partial library's
additive synthesis, as float32 samples from time 0 to the last point's time.
Each track sounds from its first point to its last, its amplitude and
frequency moving linearly between points; it starts and stops at the
amplitude it has there (end a track on a point of amplitude 0 to fade it).
A single point makes no sound.

with_phase=True (the default) uses the cubic-phase oscillator: between two
points the phase follows the cubic that leaves the first point's phase at its
frequency and arrives at the second point's phase (give or take whole turns)
at its frequency, so the sound keeps the analysed phases and follows glides
exactly.  It needs real phases: on an analysis that wrote none (all 0) a
partial turns a whole number of times between points.  with_phase=False uses the phase-less oscillator, which ignores the
phases after the first point: over each segment the phase is the current
frequency times the time elapsed since the segment began, not the integral of
the frequency, so it is right for steady partials only and bends glides.

A track with no point at a time where other tracks have one gets a point
interpolated there (cubic phase) so that it sounds through.  Raises ValueError
for malformed tracks, times before 0 and a sample_rate that is not positive.)");
}

}  // namespace sdifpartials
