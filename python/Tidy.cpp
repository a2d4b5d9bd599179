// info, read_tracks and read_table: sdiftool's description of a file and its
// tidy tables, from the same library (sdiftidy), as Python objects.
#include "Tidy.h"

#include <pybind11/numpy.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "Boundary.h"
#include "Info.h"
#include "Module.h"

namespace sdifpartials {

namespace {

using namespace pybind11::literals;

// The stream argument: None (-1: the first stream holding partial data) or
// a stream number.
int64_t StreamArgument(py::handle stream) {
    if (stream.is_none()) return -1;
    if (!py::isinstance<py::int_>(stream) || py::isinstance<py::bool_>(stream))
        throw py::type_error("stream must be None or an int");
    const py::int_ value = py::reinterpret_borrow<py::int_>(stream);
    if (value < py::int_(0) || value > py::int_(0xFFFFFFFFu))
        throw py::value_error("stream must be from 0 to 4294967295, not " +
                              std::string(py::str(stream)));
    return value.cast<int64_t>();
}

// Opens name and reads its first frame of partial data, which decides the
// kind (Tidy::Error when there is none).
struct FirstFrame {
    std::unique_ptr<Tidy::Reader> reader;
    Tidy::Frame frame;
    bool more = false;

    FirstFrame(const std::string& name, int64_t stream) {
        CheckReadable(PlainFileName(name));
        py::gil_scoped_release free;
        reader = std::make_unique<Tidy::Reader>(name, stream);
        more = reader->Next(frame);
    }
    Tidy::Kind Kind() const { return reader->GetKind(); }
    bool Next() {
        py::gil_scoped_release free;
        return more = reader->Next(frame);
    }
};

py::object Info(py::handle path) {
    const std::string name = PathArgument(path);
    return Call([&]() -> py::object {
        CheckReadable(PlainFileName(name));
        std::string json;
        {
            py::gil_scoped_release free;
            json = Tidy::InfoJson(Tidy::Describe(name));
        }
        // File names are bytes: those that are not UTF-8 come back as
        // os.fsdecode gives them.
        const py::object text = py::bytes(json).attr("decode")("utf-8", "surrogateescape");
        return py::module_::import("json").attr("loads")(text);
    });
}

py::array_t<double> PointsArray(std::vector<Tidy::Point>& points) {
    py::array_t<double> out({static_cast<py::ssize_t>(points.size()), py::ssize_t{4}});
    double* d = out.mutable_data();
    for (const Tidy::Point& p : points) {
        *d++ = p.time;
        *d++ = p.frequency;
        *d++ = p.amplitude;
        *d++ = p.phase;
    }
    std::vector<Tidy::Point>().swap(points);
    return out;
}

py::object ReadTracks(py::handle path, py::handle stream) {
    const std::string name = PathArgument(path);
    const int64_t wanted = StreamArgument(stream);
    return Call([&]() -> py::object {
        FirstFrame in(name, wanted);
        const Tidy::Kind kind = in.Kind();
        if (kind == Tidy::Kind::kPeaks || kind == Tidy::Kind::kChords)
            throw InputError{
                PlainFileName(name) + " holds " +
                (kind == Tidy::Kind::kPeaks
                     ? "spectral peaks (1PIC), which are not tracked: read them with "
                       "read_table(path, kind=\"frames\")"
                     : "a chord sequence (1MRK), notes rather than tracks: read them with "
                       "read_table(path)")};
        // Each track becomes its array as soon as no frame can continue it,
        // so that its points and its array are not both held for long.
        Tidy::TrackBuilder builder;
        std::vector<Tidy::Track>& tracks = builder.Tracks();
        py::list arrays;
        const auto take = [&] {
            while (py::len(arrays) < tracks.size()) arrays.append(py::none());
            for (size_t t : builder.Ended()) arrays[t] = PointsArray(tracks[t].points);
        };
        while (in.more) {
            builder.Add(in.frame);
            take();
            in.Next();
        }
        builder.EndAll();
        take();
        py::array_t<double> indices(static_cast<py::ssize_t>(tracks.size()));
        double* index = indices.mutable_data();
        for (const Tidy::Track& t : tracks) *index++ = t.index;
        return py::module_::import("sdifpartials")
            .attr("Tracks")(arrays, indices, in.reader->GetStream());
    });
}

// The rows of the tables, laid out as their numpy types say.
struct TrackRow {
    int64_t track;
    double index, time, frequency, amplitude, phase;
};
struct NoteRow {
    int64_t note;
    double start, end, frequency, amplitude, phase;
};
struct FrameRow {
    double time;
    uint32_t stream;
    double index, frequency, amplitude, phase;
};
struct ChordRow {
    double time;
    uint32_t stream;
    char32_t event[5];  // numpy's U5: "begin" or "end", padded with zeros
    double index, frequency, amplitude, phase;
};

// The chord rows' dtype, by hand: pybind11 has no numpy type for char32_t.
py::dtype ChordRowType() {
    const py::object dtype = py::module_::import("numpy").attr("dtype")(py::dict(
        "names"_a =
            py::make_tuple("time", "stream", "event", "index", "frequency", "amplitude", "phase"),
        "formats"_a = py::make_tuple("f8", "u4", "U5", "f8", "f8", "f8", "f8"),
        "offsets"_a = py::make_tuple(offsetof(ChordRow, time), offsetof(ChordRow, stream),
                                     offsetof(ChordRow, event), offsetof(ChordRow, index),
                                     offsetof(ChordRow, frequency), offsetof(ChordRow, amplitude),
                                     offsetof(ChordRow, phase)),
        "itemsize"_a = sizeof(ChordRow)));
    return py::reinterpret_borrow<py::dtype>(dtype);
}

// rows as a structured array that owns them (no copy).
template <class Row>
py::array Table(std::vector<Row>&& rows, const py::dtype& dtype = py::dtype::of<Row>()) {
    auto* owned = new std::vector<Row>(std::move(rows));
    py::capsule base(owned, [](void* p) { delete static_cast<std::vector<Row>*>(p); });
    return py::array(dtype, {static_cast<py::ssize_t>(owned->size())},
                     {static_cast<py::ssize_t>(sizeof(Row))}, owned->data(), base);
}

py::array TracksTable(FirstFrame& in) {
    std::vector<TrackRow> rows;
    {
        py::gil_scoped_release free;
        Tidy::TrackBuilder builder;
        for (; in.more; in.more = in.reader->Next(in.frame)) builder.Add(in.frame);
        std::vector<Tidy::Track>& tracks = builder.Tracks();
        for (size_t t = 0; t < tracks.size(); ++t) {
            for (const Tidy::Point& p : tracks[t].points)
                rows.push_back(TrackRow{int64_t(t + 1), tracks[t].index, p.time, p.frequency,
                                        p.amplitude, p.phase});
            std::vector<Tidy::Point>().swap(tracks[t].points);
        }
    }
    return Table(std::move(rows));
}

py::array NotesTable(FirstFrame& in) {
    std::vector<NoteRow> rows;
    {
        py::gil_scoped_release free;
        Tidy::NoteBuilder builder;
        for (; in.more; in.more = in.reader->Next(in.frame)) builder.Add(in.frame);
        const std::vector<Tidy::Note>& notes = builder.Finish();
        for (size_t n = 0; n < notes.size(); ++n)
            rows.push_back(NoteRow{int64_t(n + 1), notes[n].start, notes[n].end, notes[n].frequency,
                                   notes[n].amplitude, notes[n].phase});
    }
    return Table(std::move(rows));
}

py::array FramesTable(FirstFrame& in) {
    std::vector<FrameRow> rows;
    {
        py::gil_scoped_release free;
        for (; in.more; in.more = in.reader->Next(in.frame))
            for (const Tidy::Row& r : in.frame.rows)
                rows.push_back(FrameRow{in.frame.time, in.frame.stream, r.index, r.frequency,
                                        r.amplitude, r.phase});
    }
    return Table(std::move(rows));
}

py::array ChordFramesTable(FirstFrame& in) {
    std::vector<ChordRow> rows;
    {
        py::gil_scoped_release free;
        const auto add = [&](const Tidy::Row& r, const char* event) {
            ChordRow row{in.frame.time, in.frame.stream, {},     r.index,
                         r.frequency,   r.amplitude,     r.phase};
            for (size_t i = 0; event[i]; ++i) row.event[i] = static_cast<char32_t>(event[i]);
            rows.push_back(row);
        };
        // A frame's ends come before its beginnings, as the notes take them.
        for (; in.more; in.more = in.reader->Next(in.frame)) {
            for (const Tidy::Row& r : in.frame.ends) add(r, "end");
            for (const Tidy::Row& r : in.frame.rows) add(r, "begin");
        }
    }
    return Table(std::move(rows), ChordRowType());
}

py::object ReadTable(py::handle path, const std::string& kind, py::handle stream) {
    const std::string name = PathArgument(path);
    if (kind != "tracks" && kind != "frames")
        throw py::value_error("kind must be \"tracks\" or \"frames\", not \"" + kind + "\"");
    const int64_t wanted = StreamArgument(stream);
    return Call([&]() -> py::object {
        FirstFrame in(name, wanted);
        const Tidy::Kind k = in.Kind();
        bool tracks = kind == "tracks";
        if (tracks && k == Tidy::Kind::kPeaks) {
            // As sdiftool tracks does: the frames, and a word why.
            const std::string why = PlainFileName(name) +
                                    " holds spectral peaks (1PIC), which are not tracked: the "
                                    "table is its frames";
            if (PyErr_WarnEx(PyExc_UserWarning, why.c_str(), 1) < 0) throw py::error_already_set();
            tracks = false;
        }
        if (k == Tidy::Kind::kChords) return tracks ? NotesTable(in) : ChordFramesTable(in);
        return tracks ? TracksTable(in) : FramesTable(in);
    });
}

}  // namespace

void DefineTidy(py::module_& m) {
    PYBIND11_NUMPY_DTYPE(TrackRow, track, index, time, frequency, amplitude, phase);
    PYBIND11_NUMPY_DTYPE(NoteRow, note, start, end, frequency, amplitude, phase);
    PYBIND11_NUMPY_DTYPE(FrameRow, time, stream, index, frequency, amplitude, phase);
    m.def("info", &Info, py::arg("path"),
          R"(info(path) -> dict

What the SDIF file at path holds, as `sdiftool info --json` prints it (the
one object of its array): format and types versions, name-value tables,
declared types, stream IDs, per stream and frame signature the frame count,
first and last time and the matrices met, and under "sdif2columns" what the
converter reads from the file.  A file that breaks is described up to where
it breaks, with the reason under "error" (None otherwise).

Raises OSError when the file cannot be opened.)");

    m.def("read_tracks", &ReadTracks, py::arg("path"), py::arg("stream") = py::none(),
          R"(read_tracks(path, stream=None) -> Tracks

The partial tracks (1TRC or 1HRM frames) of one stream of the SDIF file at
path: a Tracks list with one numpy float64 array of shape (points, 4) per
track -- time, frequency, amplitude, phase -- in order of first point; its
attribute indices holds the SDIF index of each track and stream the stream
read.  Each track comes once: a track is a run of consecutive frames holding
the same index (an index that skips a frame starts a new track; so does a
second row of one index within a frame).

stream: the stream to read; None reads the first stream holding partial
data.  A selection may follow '::' in path.

Raises ValueError on spectral peaks and chord sequences (read them with
read_table), on malformed data and when no partial data is found; OSError
when the file cannot be opened.)");

    m.def("read_table", &ReadTable, py::arg("path"), py::arg("kind") = "tracks",
          py::arg("stream") = py::none(),
          R"(read_table(path, kind="tracks", stream=None) -> numpy structured array

sdiftool's tidy table of the partial data of one stream, one record per line
of `sdiftool tracks` (kind="tracks") or `sdiftool frames` (kind="frames"),
ready for pandas.DataFrame(table).  Fields:

  tracks of 1TRC, 1HRM:   track, index, time, frequency, amplitude, phase
  tracks of 1MRK chords:  note, start, end, frequency, amplitude, phase
  frames:                 time, stream, index, frequency, amplitude, phase
  frames of 1MRK chords:  time, stream, event, index, frequency, amplitude, phase

track and note count from 1, stream is uint32, event is "begin" or "end" (an
end carries nan values), the rest float64.  The index of 1PIC peaks is the
row number from 0; peaks are not tracked, so kind="tracks" gives their frames
with a UserWarning.  stream and errors as for read_tracks.)");
}

}  // namespace sdifpartials
