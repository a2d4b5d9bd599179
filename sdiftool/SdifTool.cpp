// The command line of sdiftool: the command word, help, version, and the
// pieces the commands share.
#include "SdifTool.h"

#include <cerrno>
#include <cstring>
#include <exception>

#include "SafeOutput.h"
#include "Tidy.h"

namespace SdifTool {

const char* const kUsage =
    "Usage: sdiftool COMMAND [ARGUMENTS]\n"
    "\n"
    "See what an SDIF file holds, move its streams, and read its partial data\n"
    "as tidy tables.\n"
    "\n"
    "Commands:\n"
    "  info [--json] FILE...              header, tables, types, streams and frames\n"
    "  restream --stream FROM:TO IN OUT   copy IN to OUT, the frames of stream FROM\n"
    "                                     moved to stream TO\n"
    "  tracks FILE [--stream N] [--sep C] [-o OUT]\n"
    "                                     one line per point of each partial track\n"
    "  frames FILE [--stream N] [--sep C] [-o OUT]\n"
    "                                     one line per row of each frame\n"
    "\n"
    "A FILE read once (info, tracks, frames) may be - for standard input; for\n"
    "tracks and frames it may carry a selection after \"::\", as in sdif2columns.\n"
    "'sdiftool COMMAND --help' describes a command; --version prints the version.\n";

const char* const kInfoUsage =
    "Usage: sdiftool info [--json] FILE...\n"
    "\n"
    "For each FILE: the format and types versions, the name-value tables, the\n"
    "declared types, the stream IDs, and per stream and frame signature the\n"
    "frame count, the first and last time and the matrices met (data types,\n"
    "rows, columns); last, what sdif2columns reads from the file or why it\n"
    "reads nothing.  --json prints the same as a JSON array, one object per\n"
    "file (see the manual page).  A file that breaks is described up to where\n"
    "it breaks, and the run then ends with status 1.\n";

const char* const kRestreamUsage =
    "Usage: sdiftool restream --stream FROM:TO [--stream FROM:TO]... IN OUT\n"
    "\n"
    "Copy IN to OUT with every data frame of stream FROM moved to stream TO;\n"
    "all moves apply at once (--stream 0:1 --stream 1:0 swaps).  Only the\n"
    "stream words of the moved frames change.  A stream TO that holds frames\n"
    "staying where they are is refused, and so is OUT naming IN.  OUT is\n"
    "written under a temporary name and renamed when complete.\n";

const char* const kTracksUsage =
    "Usage: sdiftool tracks FILE [--stream N] [--sep C] [-o OUT]\n"
    "\n"
    "Partial tracks (1TRC, 1HRM) as a table with a header row:\n"
    "  track,index,time,frequency,amplitude,phase\n"
    "one line per point, each track once; a track is a run of consecutive\n"
    "frames holding the same index.  A chord sequence gives one line per note:\n"
    "  note,start,end,frequency,amplitude,phase\n"
    "Spectral peaks (1PIC) are not tracked: their frames are printed.\n"
    "\n"
    "  --stream N   read stream N (default: the first stream with partial data)\n"
    "  --sep C      separator, one character (default ,)\n"
    "  -o OUT       write to OUT instead of standard output\n";

const char* const kFramesUsage =
    "Usage: sdiftool frames FILE [--stream N] [--sep C] [-o OUT]\n"
    "\n"
    "Every row of every frame of partial data as a table with a header row:\n"
    "  time,stream,index,frequency,amplitude,phase\n"
    "(for 1PIC the index is the row number from 0); for a chord sequence\n"
    "  time,stream,event,index,frequency,amplitude,phase\n"
    "with event begin or end (an end carries no values: nan).\n"
    "\n"
    "  --stream N   read stream N (default: the first stream with partial data)\n"
    "  --sep C      separator, one character (default ,)\n"
    "  -o OUT       write to OUT instead of standard output\n";

bool AsksHelp(const Args& args) {
    for (const std::string& a : args)
        if (a == "--help" || a == "-h") return true;
    return false;
}

uint32_t ParseStream(const std::string& text) {
    uint64_t value = 0;
    bool ok = !text.empty() && text.size() <= 10;
    for (char c : text) ok = ok && c >= '0' && c <= '9';
    if (ok) value = std::stoull(text);
    if (!ok || value > 0xFFFFFFFFu)
        throw Failure("'" + text + "' is not a stream number (0 to 4294967295)");
    return static_cast<uint32_t>(value);
}

Output::Output() : mFile(stdout), mName("standard output"), mOwned(false) {}

Output::Output(FILE* file, std::string name) : mFile(file), mName(std::move(name)), mOwned(true) {}

Output::~Output() {
    if (mFile && mOwned) std::fclose(mFile);
}

FILE* Output::OpenNotInput(const std::string& path, const std::string& input) {
    FILE* f = Cli::OpenOutputNotInput(path, input);
    if (!f && errno == EEXIST) throw Failure(path + " is the input file: name another output");
    if (!f) throw Failure(path + ": " + std::strerror(errno));
    return f;
}

void Output::Fail(int err) {
    if (Cli::FailedWriteStatus(err) == Cli::WriteStatus::kBrokenPipe) throw ReaderGone();
    throw Failure("writing " + mName + ": " + std::strerror(err ? err : EIO));
}

void Output::Write(const char* bytes, size_t n) {
    if (n && std::fwrite(bytes, 1, n, mFile) != n) Fail(errno);
}

void Output::Finish() {
    FILE* f = mFile;
    mFile = nullptr;
    errno = 0;
    const Cli::WriteStatus status = Cli::FinishOutput(f, mOwned);
    if (status == Cli::WriteStatus::kBrokenPipe) throw ReaderGone();
    if (status == Cli::WriteStatus::kFailed) Fail(errno);
}

}  // namespace SdifTool

namespace {

int Run(const SdifTool::Args& args) {
    using namespace SdifTool;
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    const std::string& command = args[0];
    const Args rest(args.begin() + 1, args.end());
    struct Command {
        const char* name;
        const char* usage;
        int (*run)(const Args&);
    };
    static const Command kCommands[] = {
        {"info", kInfoUsage, Info},
        {"restream", kRestreamUsage, Restream},
        {"tracks", kTracksUsage, [](const Args& a) { return Tables(a, true); }},
        {"frames", kFramesUsage, [](const Args& a) { return Tables(a, false); }},
    };
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (command == "--version") {
        std::printf("sdiftool %s\n", SDIF2COLUMNS_VERSION);
        return 0;
    }
    for (const Command& c : kCommands) {
        if (command != c.name) continue;
        if (AsksHelp(rest)) {
            std::fputs(c.usage, stdout);
            return 0;
        }
        try {
            return c.run(rest);
        } catch (const ReaderGone&) {
            return 1;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "sdiftool %s: %s\n", c.name, e.what());
            return 1;
        }
    }
    std::fprintf(stderr, "sdiftool: unknown command '%s' (sdiftool --help lists them)\n",
                 command.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) { return Run(SdifTool::Args(argv + 1, argv + argc)); }
