#include "Boundary.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <unordered_map>

#include "FrameWalk.h"
#include "SdifAssert.h"
#include "SdifErrMess.h"
#include "SdifSelect.h"
#include "sdifexception.h"

namespace sdifpartials {

PyObject* gSdifWarning = nullptr;

namespace {

std::mutex gLibraries;              // held by the running LibraryCall
thread_local bool tInCall = false;  // this thread runs one

void StopOnAssertion(const char* file, unsigned line, const char* expr) {
    throw LibraryStop{std::string(file) + ":" + std::to_string(line) + ": failed assertion `" +
                      expr + "'"};
}

// Reached only if a fatal report's error callback returned, which the object
// layer's never does; the process must survive it all the same.
void StopOnExit() { throw LibraryStop{"the SDIF library stopped after a fatal error"}; }

bool ContinuesMessage(const std::string& line, const std::string& previous) {
    return line[0] == ' ' || line[0] == '\t' || line[0] == '(' || line.compare(0, 3, "-->") == 0 ||
           (!previous.empty() && previous.back() == ':');
}

std::string WithoutTrailingBlanks(const std::string& s) {
    size_t end = s.find_last_not_of(" \t\r\n");
    return end == std::string::npos ? std::string() : s.substr(0, end + 1);
}

// A message as shown: its text, and how often it came when more than once.
std::string Shown(const LibraryMessage& m) {
    return m.count > 1 ? m.text + "\n(" + std::to_string(m.count) + " times)" : m.text;
}

void AddNotes(py::handle exception, const std::vector<LibraryMessage>& messages,
              const std::string& already) {
    for (const LibraryMessage& m : messages) {
        // The exception's own text often is one of the lines printed.
        if (already.find(m.key) != std::string::npos) continue;
        const std::string note = Shown(m);
        if (py::hasattr(exception, "add_note")) {
            exception.attr("add_note")(note);
        } else {
            if (!py::hasattr(exception, "__notes__")) exception.attr("__notes__") = py::list();
            exception.attr("__notes__").attr("append")(note);
        }
    }
}

[[noreturn]] void RaiseInstance(py::object exception, const std::vector<LibraryMessage>& messages,
                                const std::string& text) {
    AddNotes(exception, messages, text);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
    throw py::error_already_set();
}

[[noreturn]] void RaiseText(PyObject* type, const std::string& text,
                            const std::vector<LibraryMessage>& messages) {
    const std::string message = WithoutTrailingBlanks(text);
    RaiseInstance(py::reinterpret_borrow<py::object>(type)(message), messages, message);
}

}  // namespace

void InstallStopHandlers() {
    SdifSetStopFunc(StopOnAssertion);
    SdifSetExitFunc(StopOnExit);
}

std::vector<LibraryMessage> SplitMessages(const std::string& text) {
    std::vector<LibraryMessage> messages;
    std::unordered_map<std::string, size_t> byKey;
    std::string current, previous;
    auto finish = [&] {
        if (current.empty()) return;
        auto [it, added] = byKey.emplace(previous, messages.size());
        if (added)
            messages.push_back({current, previous, 1});
        else
            ++messages[it->second].count;
        current.clear();
    };
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = WithoutTrailingBlanks(text.substr(start, end - start));
        start = end + 1;
        if (line.empty()) {
            finish();
            previous.clear();
            continue;
        }
        if (current.empty() || !ContinuesMessage(line, previous)) {
            finish();
            current = line;
        } else {
            current += "\n" + line;
        }
        previous = line;
    }
    finish();
    return messages;
}

LibraryCall::LibraryCall() {
    if (tInCall)
        throw std::runtime_error(
            "sdifpartials was called while one of its calls was running on the same thread "
            "(from a finaliser?)");
    {
        py::gil_scoped_release free;
        gLibraries.lock();
    }
    tInCall = true;
    mActive = true;
    std::fflush(stderr);
    mCapture = open_memstream(&mBuffer, &mSize);
    if (!mCapture) {
        End();
        throw std::bad_alloc();
    }
    mSavedStderr = stderr;
    mSavedSdifStdErr = SdifStdErr;
    stderr = mCapture;
    SdifStdErr = mCapture;
}

LibraryCall::~LibraryCall() { End(); }

std::vector<LibraryMessage> LibraryCall::End() {
    if (!mActive) return {};
    mActive = false;
    std::string text;
    if (mCapture) {
        std::fflush(mCapture);
        stderr = mSavedStderr;
        // The library sets its stream when it starts, which may have been
        // during this call: it must then keep a real one.
        SdifStdErr = mSavedSdifStdErr ? mSavedSdifStdErr : mSavedStderr;
        std::fclose(mCapture);
        mCapture = nullptr;
        text.assign(mBuffer, mSize);
    }
    std::free(mBuffer);
    mBuffer = nullptr;
    tInCall = false;
    gLibraries.unlock();
    return SplitMessages(text);
}

void Warn(const std::vector<LibraryMessage>& messages) {
    for (const LibraryMessage& m : messages) {
        if (PyErr_WarnEx(gSdifWarning, Shown(m).c_str(), 1) < 0) throw py::error_already_set();
    }
}

void Raise(std::exception_ptr failure, const std::vector<LibraryMessage>& messages) {
    try {
        std::rethrow_exception(failure);
    } catch (py::error_already_set& e) {
        AddNotes(e.value(), messages, py::str(e.value()));
        throw;
    } catch (py::builtin_exception& e) {
        e.set_error();
        py::error_already_set error;
        AddNotes(error.value(), messages, e.what());
        throw error;
    } catch (const LibraryStop& e) {
        RaiseText(PyExc_ValueError, e.message, messages);
    } catch (const InputError& e) {
        RaiseText(PyExc_ValueError, e.message, messages);
    } catch (const FileError& e) {
        // OSError picks the subclass from errno (FileNotFoundError, ...).
        py::object exception = py::reinterpret_borrow<py::object>(PyExc_OSError)(
            e.error, std::strerror(e.error),
            py::module_::import("os").attr("fsdecode")(py::bytes(e.path)));
        RaiseInstance(exception, messages, "");
    } catch (const Ondel::SDIFAllocFail& e) {
        RaiseText(PyExc_MemoryError, e.what(), messages);
    } catch (const Ondel::SDIFOpeningError& e) {
        RaiseText(PyExc_OSError, e.what(), messages);
    } catch (const Ondel::SDIFException& e) {
        RaiseText(PyExc_ValueError, e.what(), messages);
    } catch (const Tidy::Error& e) {
        RaiseText(PyExc_ValueError, e.what(), messages);
    } catch (const std::bad_alloc&) {
        RaiseText(PyExc_MemoryError, "out of memory", messages);
    } catch (const std::exception& e) {
        RaiseText(PyExc_RuntimeError, e.what(), messages);
    } catch (...) {
        RaiseText(PyExc_RuntimeError, "unknown failure in the libraries", messages);
    }
}

std::string PathArgument(py::handle path) {
    py::bytes encoded = py::module_::import("os").attr("fsencode")(path);
    std::string name = encoded;
    if (name.find('\0') != std::string::npos) throw py::value_error("embedded null byte in path");
    return name;
}

std::string PlainFileName(const std::string& name) {
    const char* cut = SdifSelectFindSelection(name.c_str());
    const std::string plain = cut ? name.substr(0, cut - name.c_str()) : name;
    if (plain.empty() || plain == "-" || plain == "stdin" || plain == "stdout" || plain == "stderr")
        throw InputError{"'" + plain +
                         "' would be a standard stream to the SDIF library; name a file ('./" +
                         plain + "')"};
    if (cut) {
        // The library reads on after a selection it cannot parse, with what
        // it parsed so far; a caller asked for the whole of it.
        std::unique_ptr<SdifSelectionT, int (*)(SdifSelectionT*)> selection(SdifCreateSelection(),
                                                                            SdifFreeSelection);
        if (!selection) throw std::bad_alloc();
        const char* text = cut + 2;
        if (SdifParseSelection(selection.get(), text) == 0)
            throw InputError{"the SDIF library cannot parse the selection '" +
                             std::string(text + std::strspn(text, " \t\r\n")) + "'"};
    }
    return plain;
}

void CheckReadable(const std::string& plain) {
    struct stat st;
    if (stat(plain.c_str(), &st) != 0) throw FileError{errno, plain};
    if (S_ISDIR(st.st_mode)) throw FileError{EISDIR, plain};
    FILE* f = std::fopen(plain.c_str(), "rb");
    if (!f) throw FileError{errno, plain};
    std::fclose(f);
}

}  // namespace sdifpartials
