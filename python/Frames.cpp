// read_frames: every selected frame of an SDIF file through the object layer,
// whatever its signature, each matrix as a numpy array of its own type.
#include <pybind11/numpy.h>

#include <cstring>
#include <unordered_map>

#include "Boundary.h"
#include "Module.h"
#include "sdifentity.h"
#include "sdifframe.h"
#include "sdifmatrix.h"

namespace sdifpartials {

namespace {

// The namedtuple classes, made once at import and never released (they must
// outlive every frame handed out, up to the interpreter's end).
PyObject* gFrameType = nullptr;
PyObject* gMatrixType = nullptr;

// Four characters, byte for byte (Latin-1 keeps any byte a file may hold).
py::str SignatureText(SdifSignature sig) {
    const char text[4] = {static_cast<char>(sig >> 24), static_cast<char>(sig >> 16),
                          static_cast<char>(sig >> 8), static_cast<char>(sig)};
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeLatin1(text, 4, nullptr));
}

// The text of each signature met, made once: a file repeats a few, and the
// frames share them.
class SignatureTexts {
   public:
    py::str operator()(SdifSignature sig) {
        auto it = mTexts.find(sig);
        if (it == mTexts.end()) it = mTexts.emplace(sig, SignatureText(sig)).first;
        return it->second;
    }

   private:
    std::unordered_map<SdifSignature, py::str> mTexts;
};

template <class T>
py::array Copy(const Ondel::SDIFMatrix& m, py::dtype dtype) {
    const py::ssize_t rows = m.GetNbRows(), cols = m.GetNbCols();
    py::array out(dtype, {rows, cols});
    if (rows > 0 && cols > 0)
        std::memcpy(out.mutable_data(), m.Data<T>(), sizeof(T) * static_cast<size_t>(rows * cols));
    return out;
}

py::array MatrixArray(const Ondel::SDIFMatrix& m) {
    switch (m.GetType()) {
        case eFloat4:
            return Copy<float>(m, py::dtype::of<float>());
        case eFloat8:
            return Copy<double>(m, py::dtype::of<double>());
        case eInt1:
            return Copy<char>(m, py::dtype("int8"));
        case eText:
            return Copy<char>(m, py::dtype("S1"));
        case eInt2:
            return Copy<short>(m, py::dtype::of<int16_t>());
        case eInt4:
            return Copy<int>(m, py::dtype::of<int32_t>());
        case eUInt1:
            return Copy<unsigned char>(m, py::dtype::of<uint8_t>());
        case eUInt2:
            return Copy<unsigned short>(m, py::dtype::of<uint16_t>());
        case eUInt4:
            return Copy<unsigned int>(m, py::dtype::of<uint32_t>());
        default:
            // The object layer refuses other types while reading.
            throw InputError{"matrix " + std::string(SignatureText(m.GetSignature())) +
                             ": data type " + std::to_string(m.GetType()) + " has no store"};
    }
}

py::object FrameObject(const Ondel::SDIFFrame& frame, SignatureTexts& texts) {
    py::list matrices;
    for (unsigned i = 0; i < frame.GetNbMatrix(); ++i) {
        const Ondel::SDIFMatrix& m = frame.GetMatrix(i);
        matrices.append(py::handle(gMatrixType)(texts(m.GetSignature()), MatrixArray(m)));
    }
    return py::handle(gFrameType)(frame.GetTime(), frame.GetStreamID(), texts(frame.GetSignature()),
                                  matrices);
}

py::object ReadFrames(py::handle path, py::handle selection) {
    std::string name = PathArgument(path);
    if (!selection.is_none()) {
        if (!py::isinstance<py::str>(selection))
            throw py::type_error("selection must be a str, such as '#1' or '@0.5-2'");
        std::string text = selection.cast<std::string>();
        if (text.compare(0, 2, "::") == 0) text.erase(0, 2);
        // The library cuts a name at its last "::".
        if (text.find("::") != std::string::npos)
            throw py::value_error("a selection cannot contain '::': " + text);
        // The blank (skipped by the parser) keeps a leading ':' (frame
        // signatures) from making ":::", which would be cut one character late.
        name += ":: " + text;
    }
    return Call([&]() -> py::object {
        CheckReadable(PlainFileName(name));
        Ondel::SDIFEntity entity;
        if (!entity.OpenRead(name.c_str()))
            throw InputError{"cannot read " + PlainFileName(name) + " as an SDIF file"};
        py::list frames;
        SignatureTexts texts;
        Ondel::SDIFFrame frame;
        while (!entity.eof()) {
            int bytes;
            {
                py::gil_scoped_release free;
                bytes = entity.ReadNextSelectedFrame(frame);
            }
            if (bytes == 0) break;
            frames.append(FrameObject(frame, texts));
        }
        return std::move(frames);
    });
}

}  // namespace

void DefineReadFrames(py::module_& m) {
    py::object namedtuple = py::module_::import("collections").attr("namedtuple");
    py::object frame =
        namedtuple("Frame", "time stream signature matrices", py::arg("module") = "sdifpartials");
    frame.attr("__doc__") =
        "One SDIF frame: time (s), stream ID, frame signature (4 characters) and its "
        "matrices, a list of Matrix.";
    py::object matrix = namedtuple("Matrix", "signature data", py::arg("module") = "sdifpartials");
    matrix.attr("__doc__") =
        "One SDIF matrix: signature (4 characters) and data, a 2-D numpy array (rows, "
        "columns) of the matrix's own type (float32, float64, int8/16/32, uint8/16/32, or "
        "S1 for text).";
    gFrameType = frame.release().ptr();
    gMatrixType = matrix.release().ptr();
    m.attr("Frame") = py::handle(gFrameType);
    m.attr("Matrix") = py::handle(gMatrixType);

    m.def("read_frames", &ReadFrames, py::arg("path"), py::arg("selection") = py::none(),
          R"(read_frames(path, selection=None) -> list of Frame

Every frame of the SDIF file at path, whatever its signatures, in file order:
Frame(time, stream, signature, matrices), matrices being a list of
Matrix(signature, data) with data a numpy array of shape (rows, columns) and
of the matrix's own data type.

selection restricts what is read, in the SDIF selection syntax that may also
follow '::' in path itself: '#' streams, ':' frame signatures, '/' matrix
signatures, '.' columns (from 1), '_' rows (from 1), '@' times; lists with
',', ranges 'a-b', deltas 'a+d'.  Examples: '#1', ':1TRC@0.5-2.0',
'/1TRC.2-3'.  A path that itself contains '::' needs selection='' (the name
is cut at the last '::').

Raises OSError when the file cannot be opened, ValueError for malformed data
(truncated files included) and selections the library refuses (a column
given by name).)");
}

}  // namespace sdifpartials
