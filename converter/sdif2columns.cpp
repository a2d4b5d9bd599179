// The converter's run: settings from the command line, the probe of the
// input, the reading of the whole file and its printing.
#include "sdif2columns.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>

#include "Kv2Sdif.h"
#include "PartialsContainer.h"
#include "PrintOutput.h"
#include "SafeOutput.h"
#include "SdifHard_OS.h"
#include "sdifentity.h"

FILE* gFile = nullptr;
std::string gSrcFile;
std::string gDstFile;
std::vector<OutputField> gFormatVector;
char gSeparator[2] = "\t";
char gNewLine[2] = "\n";
bool gOutputPartials = false;

// The buffers hold one character: a longer argument keeps its first one.
static void CopyOneChar(char (&dst)[2], const char* src) {
    dst[0] = src[0];
    dst[1] = '\0';
}

void ParseArguments(int argc, char* const* argv) {
    int i = 1;
    while (i < argc) {
        const char* arg = argv[i];
        // An option whose argument would be past the end counts as absent.
        const char* next = i + 1 < argc ? argv[i + 1] : nullptr;
        if (arg[0] != '-') {
            if (gSrcFile.empty()) gSrcFile = arg;
            i += 1;
        } else if (std::strlen(arg) <= 2) {
            switch (arg[1]) {
                case 'O':
                    if (next) SetupFormat(const_cast<char*>(next));
                    i += next ? 2 : 1;
                    break;
                case 'i':
                    if (next) gSrcFile = next;
                    i += next ? 2 : 1;
                    break;
                case 'o':
                    if (next) gDstFile = next;
                    i += next ? 2 : 1;
                    break;
                case 'p':
                    gOutputPartials = true;
                    i += 1;
                    break;
                default:
                    i += 1;
                    break;
            }
        } else if (std::strcmp(arg, "-sep") == 0) {
            if (next) CopyOneChar(gSeparator, next);
            i += next ? 2 : 1;
        } else if (std::strcmp(arg, "-newline") == 0) {
            if (next) CopyOneChar(gNewLine, next);
            i += next ? 2 : 1;
        } else {
            // "-help", "--help" and unknown long options are accepted and do
            // nothing: there is no usage text.
            (void)ArgStrsEqual(arg, "--help");
            i += 1;
        }
    }
}

void SetupFormat(char* list) {
    static const char kLetters[] = "tsdfpan";
    static const OutputField kFields[] = {eTime,  eStart,     eDuration, eFrequency,
                                          ePhase, eAmplitude, eCount};
    const char* p = list;
    while (*p) {
        const char* end = std::strchr(p, ',');
        size_t len = end ? static_cast<size_t>(end - p) : std::strlen(p);
        if (len == 1) {
            const char* hit = std::strchr(kLetters, p[0]);
            if (hit && *hit) gFormatVector.push_back(kFields[hit - kLetters]);
        }
        if (!end) break;
        p = end + 1;
    }
}

// Writing over the input would destroy it before it is read: a destination
// that is the input's file cannot be opened, and is left untouched.
bool OpenDestinationFile(std::string const& path) {
    gFile = path.empty() ? stdout : Cli::OpenOutputNotInput(path, gSrcFile);
    return gFile != nullptr;
}

bool DiscoverFileType(Kv2::KvFormat& format, char const* path, int& aux) {
    format = Kv2::Kv2SdifGetFileFormat(path, aux);
    return format != Kv2::KV_FORMAT_UNKNOWN;
}

bool ArgStrsEqual(char const* a, char const* b) { return std::strcmp(a, b) == 0; }

void usage(char*, char*, int) {}

static Sdif2ColumnsExitHook gExitHook = nullptr;

Sdif2ColumnsExitHook Sdif2ColumnsSetExitHook(Sdif2ColumnsExitHook hook) {
    Sdif2ColumnsExitHook old = gExitHook;
    gExitHook = hook;
    return old;
}

void Sdif2ColumnsExit(int status) {
    if (gExitHook) gExitHook(status);
    std::exit(status);
}

void Sdif2ColumnsReset() {
    FILE* open = gFile;
    gFile = nullptr;
    FlushOutput();  // drops what a run cut short left in the buffer
    if (open && open != stdout) std::fclose(open);
    gSrcFile.clear();
    gDstFile.clear();
    gFormatVector.clear();
    CopyOneChar(gSeparator, "\t");
    CopyOneChar(gNewLine, "\n");
    gOutputPartials = false;
}

void FailWriting(Cli::WriteStatus status) {
    // A reader that went away (a pipe into head) is not an error to report.
    if (status != Cli::WriteStatus::kBrokenPipe)
        PrintErrorMessage("error reading file %s!\n",
                          gDstFile.empty() ? "stdout" : gDstFile.c_str());
    Sdif2ColumnsExit(1);
}

[[noreturn]] static void FailReading(char const* path) {
    PrintErrorMessage("error reading file %s!\n", path);
    Sdif2ColumnsExit(1);
}

// What the converter keeps of a file.  The frame layout prints no track, so
// none is built: the track memory (more than the frames' own) and its page
// faults are saved.  The track layout prints only tracks and the first frame
// (where the second pass departs from the first): each frame joins the tracks
// as soon as it is read and aligned, and is dropped once the next one is
// aligned to it, so the frames never all stay in memory.
template <class T>
class ConverterContainer final : public Quorlin::PartialsContainer<T>,
                                 private Kv2::Kv2FrameListener<T> {
   public:
    bool Read(Kv2::Kv2File& file) {
        return this->ReadFromFile(file, gOutputPartials ? this : nullptr);
    }
    // The tracks are built as the frames are read, or not at all.
    void UpdatePartials() override {}

   private:
    void FrameAppended(Kv2::Kv2FrameSet<T>& frames) override {
        this->mPartials.AddFrame(std::prev(frames.cend()));
        if (frames.size() > 2) frames.erase(std::next(frames.begin()));
    }
};

// Reads the whole file into a container of T and prints it.
template <class T>
static void PrintFile(char const* path, Kv2::KvFormat format, int aux) {
    bool ok = false;
    {
        ConverterContainer<T> container;
        Kv2::Kv2File file;
        try {
            file.Open(path, Kv2::KV_READ, format, aux, nullptr);
        } catch (const std::exception&) {
            FailReading(path);
        }
        ok = container.Read(file);
        if (ok && gOutputPartials) {
            // What the track layout builds comes before its first line:
            // past the budget nothing has been printed yet.
            try {
                PrintPartials(container);
            } catch (const std::bad_alloc&) {
                ok = false;
            }
        } else if (ok) {
            PrintFrames(container);
        }
    }
    if (!ok) FailReading(path);
}

void PrintChordSeq(char const* path, int aux) {
    PrintFile<Kv2::ChordSet>(path, Kv2::KV_FORMAT_SDIF_CHORDSEQ, aux);
}

void PrintPartialTracking(char const* path, Kv2::KvFormat format, int aux) {
    PrintFile<Kv2::PartialSet>(path, format, aux);
}

int Sdif2ColumnsRun(int argc, char** argv) {
    Ondel::OndelInit("");
    ParseArguments(argc, argv);
    if (gSrcFile.empty()) {
        PrintErrorMessage("No input file specified\n");
        Sdif2ColumnsExit(1);
    }
    // One memory budget for the whole run, the probe included.
    SdifSetBudget(SdifBudgetForSize(Cli::InputSize(gSrcFile)));
    int aux = 0;
    Kv2::KvFormat format;
    try {
        format = Kv2::Kv2SdifGetFileFormat(gSrcFile.c_str(), aux);
    } catch (const std::exception&) {
        // A file that is not SDIF, or of another version, fails while it is
        // opened for the probe: a failed probe like any other.
        PrintErrorMessage("Kv2: cannot open file %s \n", gSrcFile.c_str());
        format = Kv2::KV_FORMAT_UNKNOWN;
    }
    if (format == Kv2::KV_FORMAT_UNKNOWN) {
        PrintErrorMessage("Can't open file %s\n", gSrcFile.c_str());
        Sdif2ColumnsExit(1);
    }
    if (!OpenDestinationFile(gDstFile)) {
        PrintErrorMessage("error reading file %s!\n", gDstFile.c_str());
        Sdif2ColumnsExit(1);
    }
    if (format == Kv2::KV_FORMAT_SDIF_CHORDSEQ)
        PrintChordSeq(gSrcFile.c_str(), aux);
    else
        PrintPartialTracking(gSrcFile.c_str(), format, aux);
    FlushOutput();
    FILE* done = gFile;
    gFile = nullptr;
    const Cli::WriteStatus status = Cli::FinishOutput(done, !gDstFile.empty());
    if (status != Cli::WriteStatus::kOk) FailWriting(status);
    return 0;
}
