// sdiftool tracks and sdiftool frames: partial data as tidy tables, one
// header row, one record per line, values that read back exactly.
#include <cstring>
#include <memory>

#include "SdifTool.h"
#include "Tidy.h"

namespace SdifTool {

namespace {

struct TableOptions {
    std::string input;
    int64_t stream = -1;  // -1: the first stream with partial data
    char separator = ',';
    std::string output;  // empty: standard output
};

// A separator must not occur inside a value (digits, signs, exponents, nan,
// inf) nor end the line.
char ParseSeparator(const std::string& text) {
    if (text.size() != 1 || std::strchr("0123456789.+-eEnaifNAIF\r\n", text[0]))
        throw Failure("--sep takes one character that no number holds, not '" + text + "'");
    return text[0];
}

TableOptions ParseTableArgs(const Args& args) {
    TableOptions o;
    bool haveInput = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool valued = a == "--stream" || a == "--sep" || a == "-o";
        if (valued && i + 1 == args.size()) throw Failure(a + " needs a value");
        if (a == "--stream") {
            o.stream = ParseStream(args[++i]);
        } else if (a == "--sep") {
            o.separator = ParseSeparator(args[++i]);
        } else if (a == "-o") {
            o.output = args[++i];
        } else if (a.size() > 1 && a[0] == '-') {
            throw Failure("unknown option " + a);
        } else if (haveInput) {
            throw Failure("one input file only (" + o.input + ", then " + a + ")");
        } else {
            o.input = a;
            haveInput = true;
        }
    }
    if (!haveInput) throw Failure("no input file");
    if (o.output == "-") o.output.clear();
    return o;
}

// One line of the table at a time.
class Lines {
   public:
    Lines(Output& out, char separator) : mOut(out), mSeparator(separator) {}

    Lines& Text(const char* text) {
        Next();
        mLine += text;
        return *this;
    }
    Lines& Number(double value, bool float32) {
        Next();
        Tidy::AppendNumber(mLine, value, float32);
        return *this;
    }
    Lines& Count(uint64_t n) {
        Next();
        mLine += std::to_string(n);
        return *this;
    }
    void End() {
        mLine += '\n';
        mOut.Write(mLine);
        mLine.clear();
        mFirst = true;
    }
    // A header row from comma-separated names.
    void Header(const char* names) {
        for (const char* p = names; *p; ++p) mLine += *p == ',' ? mSeparator : *p;
        End();
    }

   private:
    void Next() {
        if (!mFirst) mLine += mSeparator;
        mFirst = false;
    }

    Output& mOut;
    char mSeparator;
    std::string mLine;
    bool mFirst = true;
};

void PrintFrame(Lines& lines, const Tidy::Frame& frame, bool chords) {
    const auto row = [&](const Tidy::Row& r, const char* event) {
        lines.Number(frame.time, false).Count(frame.stream);
        if (event) lines.Text(event);
        lines.Number(r.index, r.float32)
            .Number(r.frequency, r.float32)
            .Number(r.amplitude, r.float32)
            .Number(r.phase, r.float32)
            .End();
    };
    for (const Tidy::Row& r : frame.ends) row(r, "end");
    for (const Tidy::Row& r : frame.rows) row(r, chords ? "begin" : nullptr);
}

void PrintTracks(Lines& lines, const std::vector<Tidy::Track>& tracks) {
    lines.Header("track,index,time,frequency,amplitude,phase");
    for (size_t t = 0; t < tracks.size(); ++t)
        for (const Tidy::Point& p : tracks[t].points)
            lines.Count(t + 1)
                .Number(tracks[t].index, tracks[t].float32)
                .Number(p.time, false)
                .Number(p.frequency, p.float32)
                .Number(p.amplitude, p.float32)
                .Number(p.phase, p.float32)
                .End();
}

void PrintNotes(Lines& lines, const std::vector<Tidy::Note>& notes) {
    lines.Header("note,start,end,frequency,amplitude,phase");
    for (size_t n = 0; n < notes.size(); ++n)
        lines.Count(n + 1)
            .Number(notes[n].start, false)
            .Number(notes[n].end, false)
            .Number(notes[n].frequency, notes[n].float32)
            .Number(notes[n].amplitude, notes[n].float32)
            .Number(notes[n].phase, notes[n].float32)
            .End();
}

}  // namespace

int Tables(const Args& args, bool tracks) {
    const TableOptions o = ParseTableArgs(args);
    const char* command = tracks ? "tracks" : "frames";
    Tidy::Reader reader(o.input, o.stream);
    Tidy::Frame frame;
    reader.Next(frame);  // the first frame decides the kind, or throws
    const Tidy::Kind kind = reader.GetKind();
    if (o.stream < 0 && reader.GetStream() != 0)
        std::fprintf(stderr, "sdiftool %s: %s: reading stream %u, the first with partial data\n",
                     command, o.input.c_str(), reader.GetStream());
    if (tracks && kind == Tidy::Kind::kPeaks) {
        std::fprintf(stderr,
                     "sdiftool tracks: %s holds spectral peaks (1PIC), which are not tracked: "
                     "printing its frames\n",
                     o.input.c_str());
        tracks = false;
    }

    // Tracks need every frame before the first line; frames go as they come.
    Tidy::TrackBuilder trackBuilder;
    Tidy::NoteBuilder noteBuilder;
    if (tracks) {
        do {
            if (kind == Tidy::Kind::kChords)
                noteBuilder.Add(frame);
            else
                trackBuilder.Add(frame);
        } while (reader.Next(frame));
    }

    std::unique_ptr<Output> out =
        o.output.empty()
            ? std::make_unique<Output>()
            : std::make_unique<Output>(Output::OpenNotInput(o.output, o.input), o.output);
    Lines lines(*out, o.separator);
    const bool chords = kind == Tidy::Kind::kChords;
    if (tracks && chords) {
        PrintNotes(lines, noteBuilder.Finish());
    } else if (tracks) {
        PrintTracks(lines, trackBuilder.Tracks());
    } else {
        lines.Header(chords ? "time,stream,event,index,frequency,amplitude,phase"
                            : "time,stream,index,frequency,amplitude,phase");
        do PrintFrame(lines, frame, chords);
        while (reader.Next(frame));
    }
    out->Finish();
    return 0;
}

}  // namespace SdifTool
