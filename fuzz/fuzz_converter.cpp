// The converter's whole run, in process, on an input file: once in the
// default frame layout and once printing tracks with every column, both to
// /dev/null.  An input that begins with "::" carries a selection first, up
// to its first line feed, which the runs append to the file's name; the rest
// is the file.  Each run starts from the settings and the ident counter of a
// fresh process.
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Kv2Partials.h"
#include "sdif2columns.h"

namespace {

[[noreturn]] void ThrowOnExit(int status) { throw fuzz::PrescribedStop{status}; }

void Run(const std::string& selection, std::initializer_list<const char*> options) {
    std::string path = fuzz::ScratchPath() + selection;
    std::vector<std::string> words = {"sdif2columns", path, "-o", "/dev/null"};
    for (const char* o : options) words.push_back(o);
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);

    Sdif2ColumnsReset();
    Kv2::StaticIdent::maxIdent = 0;
    try {
        Sdif2ColumnsRun(static_cast<int>(words.size()), argv.data());
    } catch (const fuzz::PrescribedStop&) {
        // exit(1) with its message, or a prescribed assertion.
    }
    Sdif2ColumnsReset();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Init(true);
    Sdif2ColumnsSetExitHook(ThrowOnExit);
    std::string selection;
    if (size >= 2 && data[0] == ':' && data[1] == ':') {
        const uint8_t* end = static_cast<const uint8_t*>(std::memchr(data, '\n', size));
        const size_t n = end ? static_cast<size_t>(end - data) : size;
        // A name ends at its first NUL: so does the selection.
        selection.assign(reinterpret_cast<const char*>(data),
                         strnlen(reinterpret_cast<const char*>(data), n));
        data += end ? n + 1 : n;
        size -= end ? n + 1 : n;
    }
    fuzz::WriteScratch(data, size);
    Run(selection, {});
    Run(selection, {"-p", "-O", "t,s,d,f,p,a,n", "-sep", ","});
    return 0;
}
