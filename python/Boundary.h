// Where Python calls into the libraries.  The libraries are single-threaded,
// print their notices on the C standard error and stop the process on
// purpose in a few places (a failed assertion, the SDIF library's exit after
// a fatal report).  Every call from Python therefore runs as one LibraryCall:
// calls wait for one another, what the libraries print is caught and becomes
// Python warnings (or notes on the exception when the call fails), and the
// stops unwind to here as exceptions and are raised in Python.
#ifndef SDIFPARTIALS_BOUNDARY_H
#define SDIFPARTIALS_BOUNDARY_H

#include <pybind11/pybind11.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace sdifpartials {

namespace py = pybind11;

// A stop the libraries make on purpose, unwound to the boundary instead.  Not
// a std::exception, so that no handler inside the libraries takes it for one
// of their own failures.
struct LibraryStop {
    std::string message;  // the line the library printed before stopping
};

// Bad input found by the module itself: raised as ValueError.
struct InputError {
    std::string message;
};

// A file the system refused: raised as OSError with errno and the file name.
struct FileError {
    int error;         // errno
    std::string path;  // as given
};

// One message the libraries printed, with how often it came.
struct LibraryMessage {
    std::string text;  // the first occurrence, whole
    std::string key;   // its last line: repeats differ only in file positions
    int count;
};

// The warning category, created when the module is imported.
extern PyObject* gSdifWarning;

// Install the stop handlers; called once when the module is imported.
void InstallStopHandlers();

// Split what the libraries printed into messages and merge repeats (same
// last line), keeping the order of first appearance.  A message runs over
// several lines when its next line is indented or starts with "-->" or "(",
// or follows a line ending in ':' (the SDIF library's diagnostics, the
// selection parser's errors).
std::vector<LibraryMessage> SplitMessages(const std::string& text);

// Serialises the libraries and catches what they print while it lives.
class LibraryCall {
   public:
    // Waits (without the GIL) for any other call to end.  A call made from
    // inside a running one (a finaliser run by the garbage collector) would
    // wait for itself: it throws std::runtime_error instead.
    LibraryCall();
    ~LibraryCall();
    LibraryCall(const LibraryCall&) = delete;
    LibraryCall& operator=(const LibraryCall&) = delete;

    // Give the standard error back and let the next call in; answers what
    // was printed.  Only the first call answers anything.
    std::vector<LibraryMessage> End();

   private:
    bool mActive = false;
    FILE* mCapture = nullptr;  // the memory stream standing in for stderr
    char* mBuffer = nullptr;   // its contents, owned once the stream is closed
    size_t mSize = 0;
    FILE* mSavedStderr = nullptr;      // stderr before the call
    FILE* mSavedSdifStdErr = nullptr;  // the SDIF library's stream before the call
};

// Issue the messages as warnings of category SdifWarning.
void Warn(const std::vector<LibraryMessage>& messages);

// Raise failure in Python: LibraryStop, InputError, the tidy tables' errors
// and the object layer's exceptions as ValueError, FileError and the object layer's opening errors
// as OSError, allocation failures as MemoryError, Python errors unchanged.
// The messages are added to it as notes.
[[noreturn]] void Raise(std::exception_ptr failure, const std::vector<LibraryMessage>& messages);

// Run body (which answers a Python object) as one LibraryCall; the messages
// become warnings on success, notes of the raised exception on failure.
template <class F>
py::object Call(F&& body) {
    LibraryCall call;
    std::exception_ptr failure;
    py::object result;
    try {
        result = body();
    } catch (...) {
        failure = std::current_exception();
    }
    const std::vector<LibraryMessage> messages = call.End();
    if (failure) Raise(failure, messages);
    Warn(messages);
    return result;
}

// A path argument (str, bytes or os.PathLike) as bytes for the C library.
std::string PathArgument(py::handle path);

// The file name part of an SDIF name (before its selection).  InputError
// when the SDIF library would take it for a standard stream ("", "-",
// "stdin", "stdout", "stderr") or cannot parse its selection.
std::string PlainFileName(const std::string& name);

// FileError unless plain names a file that can be opened for reading.
void CheckReadable(const std::string& plain);

}  // namespace sdifpartials

#endif
