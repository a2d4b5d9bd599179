// sdiftool: what an SDIF file holds (info), its streams moved (restream), and
// its partial data as tidy tables (tracks, frames).  Each command takes its
// own arguments (after the command word) and answers the exit status; a
// failure is thrown as Failure, whose text main prints.
#ifndef SDIFTOOL_H
#define SDIFTOOL_H

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace SdifTool {

using Args = std::vector<std::string>;

// A failed run: main prints "sdiftool COMMAND: " and the text, status 1.
class Failure : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
};

// A run ended by a reader that went away (a closed pipe): status 1, no message.
struct ReaderGone {};

int Info(const Args& args);
int Restream(const Args& args);
// tracks when tracks is set, frames otherwise.
int Tables(const Args& args, bool tracks);

// Usage texts, printed by --help.
extern const char* const kUsage;
extern const char* const kInfoUsage;
extern const char* const kRestreamUsage;
extern const char* const kTracksUsage;
extern const char* const kFramesUsage;

// Whether args ask for help (--help or -h anywhere).
bool AsksHelp(const Args& args);
// A stream number: decimal, 0 to 4294967295; Failure otherwise.
uint32_t ParseStream(const std::string& text);

// A destination whose every write is checked: standard output, or a file.
class Output {
   public:
    // Standard output.
    Output();
    // A file already open for writing; closed by Finish.
    Output(FILE* file, std::string name);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // The file named with -o, created or truncated; never input's file.
    static FILE* OpenNotInput(const std::string& path, const std::string& input);

    void Write(const char* bytes, size_t n);
    void Write(const std::string& text) { Write(text.data(), text.size()); }
    // Flush and (for a file) close: Failure or ReaderGone when any write
    // failed.
    void Finish();

   private:
    [[noreturn]] void Fail(int err);

    FILE* mFile;        // the stream, null once finished
    std::string mName;  // for messages
    bool mOwned;        // closed by Finish
};

}  // namespace SdifTool

#endif
