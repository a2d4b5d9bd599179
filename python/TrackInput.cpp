#include "TrackInput.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "Boundary.h"

namespace sdifpartials {

std::string Seconds(double t) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g s", t);
    return text;
}

TrackInput::TrackInput(py::handle sequence) {
    const char* expected = "tracks must be a list of arrays of shape (points, 4), one per track";
    // A lone track iterates as rows, which would read as tracks of one point.
    if (py::isinstance<py::str>(sequence) ||
        (py::isinstance<py::array>(sequence) &&
         py::reinterpret_borrow<py::array>(sequence).ndim() != 3))
        throw py::value_error(std::string(expected) + " (a single track goes in a list: [track])");
    if (!py::isinstance<py::iterable>(sequence)) throw py::value_error(expected);
    py::iterable items = py::reinterpret_borrow<py::iterable>(sequence);
    size_t number = 0;
    for (py::handle item : items) {
        auto array = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(item);
        const std::string which = "track " + std::to_string(number);
        if (!array) {
            PyErr_Clear();
            throw py::value_error(which + ": not an array of numbers");
        }
        const bool empty = array.size() == 0;
        if (!empty && (array.ndim() != 2 || array.shape(1) != 4))
            throw py::value_error(
                which +
                ": expected shape (points, 4) (time, frequency, amplitude, phase), "
                "got " +
                std::string(py::str(py::tuple(array.attr("shape")))));
        tracks.push_back({array.data(), empty ? 0 : static_cast<size_t>(array.shape(0))});
        mArrays.push_back(std::move(array));
        ++number;
    }
}

FrameGrid BuildFrameGrid(const std::vector<TrackPoints>& tracks, double hop) {
    auto snap = [hop](double t) { return hop > 0.0 ? std::round(t / hop) * hop : t; };
    FrameGrid grid;
    size_t total = 0;
    for (const TrackPoints& t : tracks) total += t.count;
    grid.times.reserve(total);
    for (size_t k = 0; k < tracks.size(); ++k) {
        const TrackPoints& t = tracks[k];
        for (size_t i = 0; i < t.count; ++i) {
            const double time = snap(t.Time(i));
            if (!std::isfinite(time))
                throw InputError{"track " + std::to_string(k) + ", point " + std::to_string(i) +
                                 ": time is not a finite number"};
            if (i > 0 && !(time > grid.times.back()))
                throw InputError{
                    "track " + std::to_string(k) + ", point " + std::to_string(i) + " at " +
                    Seconds(t.Time(i)) +
                    (hop > 0.0 ? " falls on the same frame as the point before it, or earlier"
                               : " does not come after the point before it")};
            grid.times.push_back(time);
        }
    }
    std::sort(grid.times.begin(), grid.times.end());
    grid.times.erase(std::unique(grid.times.begin(), grid.times.end()), grid.times.end());
    grid.times.shrink_to_fit();

    grid.frame.resize(tracks.size());
    for (size_t k = 0; k < tracks.size(); ++k) {
        const TrackPoints& t = tracks[k];
        std::vector<int>& frames = grid.frame[k];
        frames.resize(t.count);
        auto from = grid.times.begin();
        for (size_t i = 0; i < t.count; ++i) {
            from = std::lower_bound(from, grid.times.end(), snap(t.Time(i)));
            frames[i] = static_cast<int>(from - grid.times.begin());
        }
    }
    return grid;
}

}  // namespace sdifpartials
