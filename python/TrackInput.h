// Tracks handed in from Python (write_tracks, synthesize): a sequence of
// arrays of shape (points, 4) holding time, frequency, amplitude and phase,
// and the frames they make, one per distinct point time.
#ifndef SDIFPARTIALS_TRACK_INPUT_H
#define SDIFPARTIALS_TRACK_INPUT_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>
#include <vector>

namespace sdifpartials {

namespace py = pybind11;

// One track's points, row-major: time, frequency, amplitude, phase.
struct TrackPoints {
    const double* data;
    size_t count;

    double Time(size_t i) const { return data[4 * i]; }
    double Frequency(size_t i) const { return data[4 * i + 1]; }
    double Amplitude(size_t i) const { return data[4 * i + 2]; }
    double Phase(size_t i) const { return data[4 * i + 3]; }
};

// The tracks as float64 arrays, kept alive while this lives.  Built with the
// GIL held; the points can be read without it.  ValueError for anything but
// a sequence of (points, 4) arrays of numbers.
class TrackInput {
   public:
    explicit TrackInput(py::handle tracks);
    std::vector<TrackPoints> tracks;

   private:
    std::vector<py::array_t<double>> mArrays;
};

// The frames of a set of tracks.
struct FrameGrid {
    std::vector<double> times;            // distinct frame times, rising
    std::vector<std::vector<int>> frame;  // per track, the frame of each point
};

// One frame per distinct point time; with hop > 0 every time first becomes
// the nearest multiple of hop (halves away from zero).  InputError for a
// time that is not finite and for points of one track whose times do not
// rise (after snapping, when hop is given).
FrameGrid BuildFrameGrid(const std::vector<TrackPoints>& tracks, double hop);

// A time for messages: "%.9g s".
std::string Seconds(double t);

}  // namespace sdifpartials

#endif
