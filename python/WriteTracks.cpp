// write_tracks: tracks from Python written as 1TRC frames by the partial
// library's SDIF writer, one frame per distinct point time.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "Boundary.h"
#include "Kv2Io.h"
#include "Kv2Sdif.h"
#include "Module.h"
#include "SdifFile.h"
#include "TrackInput.h"

namespace sdifpartials {

namespace {

struct CloseHandle {
    void operator()(Kv2::FILEIO* f) const { Kv2::Kv2CloseFile(f); }
};

// Tracks missing from a frame inside their own span: the writer ends them
// there, so they read back as two tracks or more.
struct Gaps {
    size_t tracks = 0;  // tracks with a gap
    size_t first = 0;   // the first of them
    double time = 0.0;  // the first frame it misses
};

Gaps FindGaps(const FrameGrid& grid) {
    Gaps gaps;
    for (size_t k = 0; k < grid.frame.size(); ++k) {
        const std::vector<int>& frames = grid.frame[k];
        for (size_t i = 1; i < frames.size(); ++i) {
            if (frames[i] == frames[i - 1] + 1) continue;
            if (gaps.tracks++ == 0) {
                gaps.first = k;
                gaps.time = grid.times[frames[i - 1] + 1];
            }
            break;
        }
    }
    return gaps;
}

// Every frame through the writer; the file is complete when this returns.
void WriteFrames(const std::string& name, const std::vector<TrackPoints>& tracks,
                 const FrameGrid& grid, int stream) {
    // The points of each frame, in track order: a counting sort by frame.
    std::vector<size_t> start(grid.times.size() + 1, 0);
    for (const std::vector<int>& frames : grid.frame)
        for (int f : frames) ++start[f + 1];
    for (size_t f = 1; f < start.size(); ++f) start[f] += start[f - 1];
    std::vector<std::pair<int, size_t>> points(start.back());  // (track, point)
    {
        std::vector<size_t> next(start.begin(), start.end() - 1);
        for (size_t k = 0; k < grid.frame.size(); ++k)
            for (size_t i = 0; i < grid.frame[k].size(); ++i)
                points[next[grid.frame[k][i]]++] = {static_cast<int>(k), i};
    }

    // Opened here first for a precise error (errno); the writer reopens it.
    FILE* probe = std::fopen(name.c_str(), "wb");
    if (!probe) throw FileError{errno, name};
    std::fclose(probe);
    std::unique_ptr<Kv2::FILEIO, CloseHandle> file(
        Kv2::Kv2SdifOpenWrite(name.c_str(), Kv2::KV_FORMAT_SDIF_TRC, nullptr));
    if (!file) throw InputError{"the partial library could not open " + name + " for writing"};

    Kv2::PartialSet set;
    for (size_t f = 0; f < grid.times.size(); ++f) {
        set.clear();
        set.time = grid.times[f];
        std::vector<Kv2::PartialSet::PartialParam>& params = set.params();
        params.reserve(start[f + 1] - start[f]);
        for (size_t p = start[f]; p < start[f + 1]; ++p) {
            const TrackPoints& t = tracks[points[p].first];
            const size_t i = points[p].second;
            // Idents from 1: the writer maps each to an SDIF index that lasts
            // as long as the track is present in every frame.
            params.emplace_back(points[p].first + 1, static_cast<float>(t.Frequency(i)),
                                static_cast<float>(t.Amplitude(i)), static_cast<float>(t.Phase(i)),
                                0.0f, Kv2::PartialSet::ePartial);
        }
        errno = 0;
        if (!Kv2::Kv2SdifWriteFrame(file.get(), set, -1, stream)) {
            const int error = errno ? errno : EIO;
            throw FileError{error, name};
        }
    }
    // The last frames may still sit in the stream's buffer: a full disk shows
    // only when they are flushed.
    FILE* out = SdifFGetStream(file->sdif->GetFile());
    if (std::fflush(out) != 0 || std::ferror(out)) throw FileError{errno ? errno : EIO, name};
}

py::object WriteTracks(py::handle path, py::handle tracks, py::handle hop, long long stream) {
    const std::string name = PathArgument(path);
    double step = 0.0;
    if (!hop.is_none()) {
        step = py::float_(py::reinterpret_borrow<py::object>(hop));
        if (!(step > 0.0) || !std::isfinite(step))
            throw py::value_error("hop must be a positive number of seconds");
    }
    if (stream < 0 || stream > INT_MAX)
        throw py::value_error("stream must lie between 0 and " + std::to_string(INT_MAX));
    TrackInput input(tracks);
    Gaps gaps;
    py::object result = Call([&]() -> py::object {
        if (PlainFileName(name) != name)
            throw InputError{"a file to write cannot have '::' in its name (" + name +
                             "): the SDIF library would read a selection after it"};
        FrameGrid grid;
        {
            py::gil_scoped_release free;
            grid = BuildFrameGrid(input.tracks, step);
            gaps = FindGaps(grid);
            WriteFrames(name, input.tracks, grid, static_cast<int>(stream));
        }
        return py::none();
    });
    if (gaps.tracks > 0) {
        const std::string text =
            std::to_string(gaps.tracks) +
            " track(s) miss frames inside their own span (the first: track " +
            std::to_string(gaps.first) + " at " + Seconds(gaps.time) +
            "); each gap reads back as the end of one track and the start of another. "
            "hop= puts the points on a common grid.";
        if (PyErr_WarnEx(PyExc_UserWarning, text.c_str(), 1) < 0) throw py::error_already_set();
    }
    return result;
}

}  // namespace

void DefineWriteTracks(py::module_& m) {
    m.def("write_tracks", &WriteTracks, py::arg("path"), py::arg("tracks"),
          py::arg("hop") = py::none(), py::arg("stream") = 0,
          R"(write_tracks(path, tracks, hop=None, stream=0) -> None

Write tracks to path as an SDIF file of 1TRC frames, through the partial
library's SDIF writer: one frame per distinct point time, holding one row
(index, frequency, amplitude, phase) per track that has a point at that time.
tracks is a list of arrays of shape (points, 4): time (s), frequency (Hz),
amplitude, phase (radians), times rising within each track; read_tracks'
result is such a list.  Frequency, amplitude and phase are stored as float32,
times as float64.

Each track gets its own SDIF index, kept while it has a point in every frame;
a track missing from a frame inside its own span ends there and reads back
as two tracks (a UserWarning says so).  Tracks that share their frame times,
as read_tracks returns them, read back exactly (as float32 values).  With
hop (seconds), every time first becomes the nearest multiple of hop (halves
away from zero), so that tracks analysed on the same grid share frames; two
points of one track on the same grid time are refused.

The file is written in stream `stream` (0 by default, the stream
sdif2columns reads).  Raises OSError when the file cannot be written (a
failure part-way leaves what was written so far), ValueError for malformed
tracks.)");
}

}  // namespace sdifpartials
