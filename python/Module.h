// The parts of the module sdifpartials, each adding its functions.
#ifndef SDIFPARTIALS_MODULE_H
#define SDIFPARTIALS_MODULE_H

#include <pybind11/pybind11.h>

namespace sdifpartials {

namespace py = pybind11;

// read_frames, with the Frame and Matrix types it answers.
void DefineReadFrames(py::module_& m);
// write_tracks.
void DefineWriteTracks(py::module_& m);
// synthesize.
void DefineSynthesize(py::module_& m);
// info, read_tracks and read_table.
void DefineTidy(py::module_& m);

}  // namespace sdifpartials

#endif
