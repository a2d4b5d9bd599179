// What an SDIF file holds.  The header and the ASCII chunks are read by the
// SDIF object layer; the frames are then walked at the byte level, so that
// any frame is described whatever its types, and a file that breaks is
// described up to where it breaks.
#include "Info.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "SafeOutput.h"
#include "SdifFile.h"
#include "SdifHash.h"
#include "SdifRWLowLevel.h"
#include "Tidy.h"
#include "sdifentity.h"

namespace Tidy {

namespace {

// What the frame walk notices on the way for the verdict.
struct Findings {
    std::string unreadable;         // why the SDIF library would stop, first case met
    bool stream0Found = false;      // a stream-0 frame decided the kind
    Kind stream0Kind{};             //   the kind
    bool otherFound = false;        // a frame of another stream holds partial data
    uint32_t otherStream = 0;       //   the first one
    Kind otherKind{};               //   its kind
    bool stream0HasFrames = false;  // stream 0 holds data frames
};

const char* DataTypeName(uint32_t type) {
    switch (type & 0xFFFF) {
        case eFloat4:
            return "float4";
        case eFloat8:
            return "float8";
        case eInt1:
            return "int1";
        case eInt2:
            return "int2";
        case eInt4:
            return "int4";
        case eUInt1:
            return "uint1";
        case eUInt2:
            return "uint2";
        case eUInt4:
            return "uint4";
        case eText:
            return "text";
        default:
            return nullptr;
    }
}

std::string DataTypeText(uint32_t type) {
    if (const char* name = DataTypeName(type)) return name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%04x", type & 0xFFFF);
    return text;
}

std::string Number(double value) {
    std::string text;
    AppendNumber(text, value, false);
    return text;
}

class Walk {
   public:
    Walk(FileInfo& info, SdifFileT* file) : mInfo(info), mFile(file) {}

    // One frame whose header was read: its matrices recorded and passed.
    void Frame(ByteWalk& walk, const FrameHeader& h) {
        FrameSummary& s = Summary(h);
        s.last = h.time;
        if (s.count++ == 0) s.first = h.time;
        const bool data = !IsTextChunk(h.signature);
        if (data && h.stream == 0) mFound.stream0HasFrames = true;
        if (!s.known)
            Unreadable("the " + SignatureText(h.signature) + " frame at byte " +
                       std::to_string(h.at));

        const bool sized = h.size != kUnknownFrameSize;
        const uint64_t body = h.size >= 16 ? h.size - 16u : 0u;
        uint64_t used = 0;
        mSignatures.clear();
        // The converter reads every matrix of the stream-0 frames it looks
        // at: those up to the one deciding the kind, then those of its kind.
        const bool read =
            h.stream == 0 && (!mFound.stream0Found ||
                              KindSignature(mFound.stream0Kind) == SignatureText(h.signature));
        for (uint32_t m = 0; m < h.nbMatrix; ++m) {
            if (sized && used + 16 > body) Overrun(h);
            const MatrixHeader mh = walk.ReadMatrixHeader();
            const uint64_t bytes = mh.DataBytes();
            used += 16;
            if (sized && bytes > body - used) Overrun(h);
            walk.Pass(bytes);
            used += bytes;
            Record(s, mh);
            mSignatures.push_back(mh.signature);
            if (read && !MatrixTypeKnown(mFile, mh.signature))
                Unreadable("the " + SignatureText(mh.signature) + " matrix of the " +
                           SignatureText(h.signature) + " frame at byte " + std::to_string(h.at));
        }
        if (sized) walk.Pass(body - used);

        Kind kind;
        if (!data || !PartialDataKind(h.signature, mSignatures, kind)) return;
        if (h.stream == 0 && !mFound.stream0Found) {
            mFound.stream0Found = true;
            mFound.stream0Kind = kind;
        } else if (h.stream != 0 && !mFound.otherFound) {
            mFound.otherFound = true;
            mFound.otherStream = h.stream;
            mFound.otherKind = kind;
        }
    }

    const Findings& Found() const { return mFound; }

   private:
    FrameSummary& Summary(const FrameHeader& h) {
        const auto key = std::make_pair(h.stream, h.signature);
        const auto at = mIndex.find(key);
        if (at != mIndex.end()) return mInfo.frames[at->second];
        mIndex[key] = mInfo.frames.size();
        mInfo.frames.emplace_back();
        FrameSummary& s = mInfo.frames.back();
        s.stream = h.stream;
        s.signature = h.signature;
        s.known = FrameTypeKnown(mFile, h.signature);
        return s;
    }

    void Record(FrameSummary& s, const MatrixHeader& mh) {
        MatrixSummary* m = nullptr;
        for (MatrixSummary& each : s.matrices)
            if (each.signature == mh.signature) m = &each;
        if (!m) {
            s.matrices.emplace_back();
            m = &s.matrices.back();
            m->signature = mh.signature;
            m->rowsMin = m->rowsMax = mh.nbRow;
            m->columnsMin = m->columnsMax = mh.nbCol;
            m->known = MatrixTypeKnown(mFile, mh.signature);
        }
        bool seen = false;
        for (uint32_t t : m->dataTypes) seen = seen || t == mh.dataType;
        if (!seen) m->dataTypes.push_back(mh.dataType);
        m->rowsMin = std::min(m->rowsMin, mh.nbRow);
        m->rowsMax = std::max(m->rowsMax, mh.nbRow);
        m->columnsMin = std::min(m->columnsMin, mh.nbCol);
        m->columnsMax = std::max(m->columnsMax, mh.nbCol);
    }

    void Unreadable(const std::string& where) {
        if (mFound.unreadable.empty())
            mFound.unreadable = "the SDIF library stops at " + where +
                                ", whose type is neither declared in the file nor predefined";
    }

    [[noreturn]] static void Overrun(const FrameHeader& h) {
        throw Error("the " + SignatureText(h.signature) + " frame at byte " + std::to_string(h.at) +
                    " announces " + std::to_string(h.size) +
                    " bytes, fewer than its matrices take");
    }

    FileInfo& mInfo;
    SdifFileT* mFile;
    std::map<std::pair<uint32_t, SdifSignature>, size_t> mIndex;  // -> mInfo.frames
    std::vector<SdifSignature> mSignatures;                       // of the frame's matrices
    Findings mFound;
};

// A name for the converted copy of name, beside it.
std::string CopyName(const std::string& name) {
    const std::string file = Cli::StripSelection(name);
    const size_t dot = file.rfind('.');
    const size_t slash = file.rfind('/');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash) && dot > 0)
        return file.substr(0, dot) + "-s0" + file.substr(dot);
    return file + "-s0.sdif";
}

Verdict Judge(const FileInfo& info, const Findings& found) {
    Verdict v;
    const auto framesOf = [&](uint32_t stream, const std::string& sig) {
        for (const FrameSummary& s : info.frames)
            if (s.stream == stream && SignatureText(s.signature) == sig) return s.count;
        return uint64_t{0};
    };
    if (found.stream0Found) {
        v.stream = 0;
        v.kind = KindSignature(found.stream0Kind);
    } else if (found.otherFound) {
        v.stream = found.otherStream;
        v.kind = KindSignature(found.otherKind);
    }
    const std::string what =
        v.kind.empty() ? std::string()
                       : v.kind + " frames, " +
                             KindName(found.stream0Found ? found.stream0Kind : found.otherKind);
    if (!info.error.empty() || !found.unreadable.empty()) {
        v.text = "sdif2columns cannot read this file: " +
                 (info.error.empty() ? found.unreadable : "it is " + info.error) + ".";
        return v;
    }
    if (found.stream0Found) {
        v.reads = true;
        v.frames = framesOf(0, v.kind);
        v.text = "sdif2columns reads stream 0: " + std::to_string(v.frames) + " " + what + ".";
        return v;
    }
    if (!found.otherFound) {
        v.text =
            "sdif2columns reads nothing from this file: no stream holds partial data (1TRC, "
            "1HRM or 1PIC frames, or 1MRK frames with 1BEG and 1TRC matrices).";
        return v;
    }
    const std::string s = std::to_string(v.stream);
    v.text =
        "sdif2columns reads nothing from this file: it reads stream 0 only, and the "
        "partial data (" +
        what + ") is in stream " + s + ".";
    const std::string file = Cli::StripSelection(info.name);
    const bool stdinput = file.empty() || file == "-" || file == "stdin";
    const std::string in = stdinput ? "IN.sdif" : ShellWord(file);
    const std::string out = stdinput ? "OUT.sdif" : ShellWord(CopyName(file));
    // Stream 0 must be free to receive it: swap when it holds frames.
    v.remedy = "sdiftool restream --stream " + s + ":0" +
               (found.stream0HasFrames ? " --stream 0:" + s : std::string()) + " " + in + " " +
               out + "\nsdif2columns " + out;
    return v;
}

std::vector<StreamId> StreamIds(SdifFileT* file) {
    std::vector<StreamId> ids;
    SdifStreamIDTableT* table = SdifFStreamIDTable(file);
    if (!table || !table->SIDHT) return ids;
    SdifHashTableIteratorT* it = SdifCreateHashTableIterator(table->SIDHT);
    if (!it) return ids;
    // Integer keys come in ascending order.
    SdifHashTableIteratorInitLoop(it, table->SIDHT);
    while (SdifHashTableIteratorIsNext(it)) {
        const auto* id = static_cast<const SdifStreamIDT*>(SdifHashTableIteratorGetNext(it));
        if (id)
            ids.push_back(
                StreamId{id->NumID, id->Source ? id->Source : "", id->TreeWay ? id->TreeWay : ""});
    }
    SdifKillHashTableIterator(it);
    return ids;
}

}  // namespace

std::string ShellWord(const std::string& name) {
    bool plain = !name.empty();
    for (char c : name)
        plain = plain && (std::isalnum(static_cast<unsigned char>(c)) ||
                          std::strchr("_./+-,:@%=", c) != nullptr);
    if (plain) return name;
    std::string word = "'";
    for (char c : name) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

FileInfo Describe(const std::string& name) {
    FileInfo info;
    info.name = name;
    info.error = UnopenableReason(name);
    if (!info.error.empty()) return info;
    Ondel::SDIFEntity entity;
    try {
        if (!entity.OpenRead(name.c_str())) info.error = "cannot be opened";
    } catch (const std::exception& e) {
        info.error = FailureReason(name, e);
    }
    if (!info.error.empty()) return info;

    SdifFileT* sdif = entity.GetFile();
    info.opened = true;
    info.formatVersion = SdifFFormatVersion(sdif);
    info.typesVersion = SdifFTypesVersion(sdif);
    for (unsigned int i = 0; i < entity.GetNbNVT(); ++i)
        info.tables.push_back(entity.GetNVT(i).GetNameValues());
    info.types = entity.GetTypeString();
    info.streamIds = StreamIds(sdif);

    // Standard input cannot tell its position: the chunks read so far can.
    long at = std::ftell(SdifFGetStream(sdif));
    if (at < 0)
        at = static_cast<long>(entity.GetGeneralHeaderSize() + entity.GetAsciiChunksSize() + 4);
    ByteWalk walk(sdif, at);
    Walk frames(info, sdif);
    try {
        SdifSignature sig = SdifFCurrSignature(sdif);
        for (bool more = !entity.eof(); more; more = walk.NextSignature(sig))
            frames.Frame(walk, walk.ReadFrameHeader(sig));
    } catch (const std::exception& e) {
        info.error = e.what();
    }
    std::stable_sort(
        info.frames.begin(), info.frames.end(),
        [](const FrameSummary& a, const FrameSummary& b) { return a.stream < b.stream; });
    info.verdict = Judge(info, frames.Found());
    return info;
}

// ---- text ----

namespace {

std::string Range(uint32_t low, uint32_t high) {
    return low == high ? std::to_string(low) : std::to_string(low) + "-" + std::to_string(high);
}

}  // namespace

std::string InfoText(const FileInfo& info) {
    std::string t = info.name + "\n";
    if (!info.opened) return t + "  " + info.error + "\n";
    t += "  SDIF format version " + std::to_string(info.formatVersion) + ", types version " +
         std::to_string(info.typesVersion) + "\n";
    if (info.tables.empty()) t += "  name-value tables: none\n";
    for (size_t i = 0; i < info.tables.size(); ++i) {
        t += "  name-value table " + std::to_string(i + 1) + ":\n";
        for (const auto& nv : info.tables[i]) t += "    " + nv.first + ": " + nv.second + "\n";
    }
    if (info.types.empty())
        t += "  declared types: none\n";
    else {
        t += "  declared types:\n";
        size_t start = 0;
        while (start < info.types.size()) {
            size_t end = info.types.find('\n', start);
            if (end == std::string::npos) end = info.types.size();
            t += "    " + info.types.substr(start, end - start) + "\n";
            start = end + 1;
        }
    }
    if (info.streamIds.empty())
        t += "  stream IDs: none\n";
    else
        t += "  stream IDs:\n";
    for (const StreamId& id : info.streamIds)
        t += "    " + std::to_string(id.id) + " " + id.source + ":" + id.treeWay + "\n";
    if (info.frames.empty()) t += "  frames: none\n";
    for (const FrameSummary& s : info.frames) {
        t += "  stream " + std::to_string(s.stream) + ", " + SignatureText(s.signature) + ": " +
             std::to_string(s.count) + (s.count == 1 ? " frame" : " frames") + ", time " +
             Number(s.first) + (s.count > 1 ? " to " + Number(s.last) : std::string()) +
             (s.known ? "" : " (type not declared)") + "\n";
        for (const MatrixSummary& m : s.matrices) {
            t += "    matrix " + SignatureText(m.signature) + ": ";
            for (size_t i = 0; i < m.dataTypes.size(); ++i)
                t += (i ? ", " : "") + DataTypeText(m.dataTypes[i]);
            t += ", rows " + Range(m.rowsMin, m.rowsMax) + ", columns " +
                 Range(m.columnsMin, m.columnsMax) + (m.known ? "" : " (type not declared)") + "\n";
        }
    }
    t += "  " + info.verdict.text + "\n";
    if (!info.verdict.remedy.empty()) {
        t += "  To convert it:\n";
        size_t start = 0;
        const std::string& r = info.verdict.remedy;
        while (start < r.size()) {
            size_t end = r.find('\n', start);
            if (end == std::string::npos) end = r.size();
            t += "    " + r.substr(start, end - start) + "\n";
            start = end + 1;
        }
    }
    return t;
}

// ---- JSON ----

namespace {

std::string JsonString(const std::string& s) {
    std::string j = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            j += '\\';
            j += static_cast<char>(c);
        } else if (c < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            j += esc;
        } else {
            j += static_cast<char>(c);
        }
    }
    return j + "\"";
}

// JSON has no NaN nor infinities: null stands for them.
std::string JsonNumber(double v) { return std::isfinite(v) ? Number(v) : "null"; }

}  // namespace

std::string InfoJson(const FileInfo& info) {
    std::string j = "{\"file\": " + JsonString(info.name);
    if (info.opened) {
        j += ", \"format_version\": " + std::to_string(info.formatVersion) +
             ", \"types_version\": " + std::to_string(info.typesVersion);
    } else {
        j += ", \"format_version\": null, \"types_version\": null";
    }
    j += ",\n  \"name_value_tables\": [";
    for (size_t i = 0; i < info.tables.size(); ++i) {
        j += i ? ", {" : "{";
        bool first = true;
        for (const auto& nv : info.tables[i]) {
            j += (first ? "" : ", ") + JsonString(nv.first) + ": " + JsonString(nv.second);
            first = false;
        }
        j += "}";
    }
    j += "],\n  \"types\": " + JsonString(info.types) + ",\n  \"stream_ids\": [";
    for (size_t i = 0; i < info.streamIds.size(); ++i)
        j += std::string(i ? ", " : "") + "{\"id\": " + std::to_string(info.streamIds[i].id) +
             ", \"source\": " + JsonString(info.streamIds[i].source) +
             ", \"tree_way\": " + JsonString(info.streamIds[i].treeWay) + "}";
    j += "],\n  \"frames\": [";
    for (size_t i = 0; i < info.frames.size(); ++i) {
        const FrameSummary& s = info.frames[i];
        j += std::string(i ? ",\n    " : "\n    ") + "{\"stream\": " + std::to_string(s.stream) +
             ", \"signature\": " + JsonString(SignatureText(s.signature)) +
             ", \"declared\": " + (s.known ? "true" : "false") +
             ", \"count\": " + std::to_string(s.count) +
             ", \"first_time\": " + JsonNumber(s.first) + ", \"last_time\": " + JsonNumber(s.last) +
             ", \"matrices\": [";
        for (size_t k = 0; k < s.matrices.size(); ++k) {
            const MatrixSummary& m = s.matrices[k];
            j += std::string(k ? ", " : "") +
                 "{\"signature\": " + JsonString(SignatureText(m.signature)) +
                 ", \"declared\": " + (m.known ? "true" : "false") + ", \"data_types\": [";
            for (size_t t = 0; t < m.dataTypes.size(); ++t)
                j += (t ? ", " : "") + JsonString(DataTypeText(m.dataTypes[t]));
            j += "], \"rows_min\": " + std::to_string(m.rowsMin) +
                 ", \"rows_max\": " + std::to_string(m.rowsMax) +
                 ", \"columns_min\": " + std::to_string(m.columnsMin) +
                 ", \"columns_max\": " + std::to_string(m.columnsMax) + "}";
        }
        j += "]}";
    }
    const Verdict& v = info.verdict;
    j += "],\n  \"sdif2columns\": {\"reads\": " + std::string(v.reads ? "true" : "false") +
         ", \"stream\": " + (v.kind.empty() ? "null" : std::to_string(v.stream)) +
         ", \"kind\": " + (v.kind.empty() ? "null" : JsonString(v.kind)) +
         ", \"frames\": " + std::to_string(v.frames) + ", \"message\": " + JsonString(v.text) +
         ", \"remedy\": " + (v.remedy.empty() ? "null" : JsonString(v.remedy)) + "},\n" +
         "  \"error\": " + (info.error.empty() ? "null" : JsonString(info.error)) + "}";
    return j;
}

}  // namespace Tidy
