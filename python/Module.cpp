// The extension sdifpartials._sdifpartials: starts the libraries once, with
// their stops turned into exceptions, and adds the functions.
#include "Module.h"

#include "Boundary.h"
#include "Kv2Io.h"

namespace sdifpartials {

PYBIND11_MODULE(_sdifpartials, m) {
    m.doc() = "The libraries of sdif2columns for Python; use the package sdifpartials.";
    gSdifWarning = PyErr_NewExceptionWithDoc(
        "sdifpartials.SdifWarning",
        "A notice or warning printed by the SDIF libraries while a call ran.", PyExc_UserWarning,
        nullptr);
    if (!gSdifWarning) throw py::error_already_set();
    m.attr("SdifWarning") = py::handle(gSdifWarning);

    InstallStopHandlers();
    // Starting the SDIF library reads SdifTypes.STYP from the working
    // directory, if there is one: its complaints are warnings of the import.
    Call([] {
        Kv2::Kv2InitCond();
        return py::none();
    });

    DefineReadFrames(m);
    DefineWriteTracks(m);
    DefineSynthesize(m);
    DefineTidy(m);
}

}  // namespace sdifpartials
