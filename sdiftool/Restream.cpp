// sdiftool restream: a copy of an SDIF file with the frames of some streams
// moved to others.  The file is walked once, frame by frame, and copied byte
// for byte except the stream words of the moved frames, into a temporary
// file renamed over the destination only when everything went well.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>

#include "SafeOutput.h"
#include "SdifFile.h"
#include "SdifRWLowLevel.h"
#include "SdifTool.h"
#include "Tidy.h"
#include "sdifentity.h"

namespace SdifTool {

namespace {

struct Move {
    uint32_t from;
    uint32_t to;
    uint64_t frames = 0;  // frames moved
};

struct RestreamOptions {
    std::vector<Move> moves;
    std::string input;
    std::string output;
};

RestreamOptions ParseRestreamArgs(const Args& args) {
    RestreamOptions o;
    std::vector<std::string> names;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--stream") {
            if (i + 1 == args.size()) throw Failure("--stream needs FROM:TO");
            const std::string& pair = args[++i];
            const size_t colon = pair.find(':');
            if (colon == std::string::npos) throw Failure("--stream takes FROM:TO, not " + pair);
            o.moves.push_back(
                Move{ParseStream(pair.substr(0, colon)), ParseStream(pair.substr(colon + 1))});
        } else if (a.size() > 1 && a[0] == '-') {
            throw Failure("unknown option " + a);
        } else {
            names.push_back(a);
        }
    }
    if (o.moves.empty()) throw Failure("no --stream FROM:TO given");
    if (names.size() != 2) throw Failure("needs IN and OUT, the input and the output file");
    o.input = names[0];
    o.output = names[1];
    if (o.output == "-") throw Failure("OUT must name a file");
    // Each stream leaves once and receives once: anything else would
    // merge two streams in the copy.
    for (size_t i = 0; i < o.moves.size(); ++i)
        for (size_t j = 0; j < i; ++j) {
            if (o.moves[i].from == o.moves[j].from)
                throw Failure("stream " + std::to_string(o.moves[i].from) + " is moved twice");
            if (o.moves[i].to == o.moves[j].to)
                throw Failure("streams " + std::to_string(o.moves[j].from) + " and " +
                              std::to_string(o.moves[i].from) + " are both moved to stream " +
                              std::to_string(o.moves[i].to));
        }
    return o;
}

// A fresh file beside path, created here and nowhere else ("x" mode), so
// that no other file is overwritten before the final rename.
FILE* CreateTemporary(const std::string& path, std::string& name) {
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, ".%08x.tmp", static_cast<unsigned>(random()));
        name = path + suffix;
        if (FILE* f = std::fopen(name.c_str(), "wbx")) return f;
        if (errno != EEXIST) throw Failure(name + ": " + std::strerror(errno));
    }
    throw Failure("no free temporary name beside " + path);
}

// Removes the temporary file unless the copy was renamed into place.
struct TemporaryFile {
    std::string name;
    bool kept = false;
    ~TemporaryFile() {
        if (!kept && !name.empty()) std::remove(name.c_str());
    }
};

void PutWord32(char* at, uint32_t v) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<char>(v >> (24 - 8 * i));
}

struct SdifFileCloser {
    void operator()(SdifFileT* f) const { SdifFClose(f); }
};

}  // namespace

int Restream(const Args& args) {
    RestreamOptions o = ParseRestreamArgs(args);
    if (Cli::SameRegularFile(o.input, o.output))
        throw Failure(o.output + " is the input file: name another output");
    Ondel::OndelInit("");
    const std::string unopenable = Tidy::UnopenableReason(o.input);
    if (!unopenable.empty()) throw Failure(o.input + ": " + unopenable);
    std::unique_ptr<SdifFileT, SdifFileCloser> in(SdifFOpen(o.input.c_str(), eReadFile));
    if (!in) throw Failure(o.input + ": cannot be opened");

    TemporaryFile temporary;
    Output out(CreateTemporary(o.output, temporary.name), o.output);
    const Tidy::ByteSink copy = [&out](const char* bytes, size_t n) { out.Write(bytes, n); };

    // Data frames met per stream, before any move.
    std::map<uint32_t, uint64_t> frames;
    try {
        Tidy::ByteWalk walk(in.get(), 0);
        SdifSignature sig = 0;
        if (!walk.NextSignature(sig) || sig != SdifSignatureConst("SDIF"))
            throw Failure(o.input + ": not an SDIF file");
        // The general header: its size, the versions, and whatever else the
        // size counts.
        char word[4];
        out.Write("SDIF", 4);
        const uint32_t size = walk.ReadWord(word);
        out.Write(word, 4);
        if (size < 8 || size > 8 + 1024) throw Failure(o.input + ": its SDIF header is damaged");
        const uint32_t version = walk.ReadWord(word);
        out.Write(word, 4);
        if (version != 3)
            throw Failure(o.input + ": SDIF format version " + std::to_string(version) +
                          "; frames are laid out as in version 3 only");
        walk.Pass(size - 4, &copy);
        while (walk.NextSignature(sig)) {
            char raw[24];
            const Tidy::FrameHeader h = walk.ReadFrameHeader(sig, raw);
            // The text chunks belong to no stream: never moved.
            if (!Tidy::IsTextChunk(sig)) {
                ++frames[h.stream];
                for (Move& m : o.moves)
                    if (m.from == h.stream) {
                        PutWord32(raw + 16, m.to);
                        ++m.frames;
                    }
            }
            out.Write(raw, sizeof raw);
            walk.PassFrameBody(h, &copy);
        }
    } catch (const Tidy::Truncated& t) {
        throw Failure(o.input + ": " + t.what());
    }

    for (const Move& m : o.moves) {
        if (!frames.count(m.from))
            throw Failure(o.input + " has no frame in stream " + std::to_string(m.from));
        bool vacated = m.to == m.from;
        for (const Move& other : o.moves) vacated = vacated || other.from == m.to;
        if (frames.count(m.to) && !vacated)
            throw Failure("stream " + std::to_string(m.to) + " of " + o.input + " already holds " +
                          std::to_string(frames[m.to]) + " frames: moving stream " +
                          std::to_string(m.from) + " there would merge two streams");
    }
    out.Finish();
    if (std::rename(temporary.name.c_str(), o.output.c_str()) != 0)
        throw Failure(o.output + ": " + std::strerror(errno));
    temporary.kept = true;
    for (const Move& m : o.moves)
        std::printf("%s: %llu frames moved from stream %u to stream %u\n", o.output.c_str(),
                    static_cast<unsigned long long>(m.frames), m.from, m.to);
    return 0;
}

}  // namespace SdifTool
