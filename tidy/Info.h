// What an SDIF file holds, as sdiftool info prints it: the versions, the
// name-value tables, the declared types, the stream IDs, and per stream and
// frame signature the frames and matrices met; last, what sdif2columns makes
// of the file.  Shared by sdiftool and the Python module, so both describe a
// file in the same words.
#ifndef TIDY_INFO_H
#define TIDY_INFO_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "SdifGlobals.h"

namespace Tidy {

struct MatrixSummary {
    SdifSignature signature = 0;
    std::vector<uint32_t> dataTypes;  // each once, in the order met
    uint32_t rowsMin = 0, rowsMax = 0;
    uint32_t columnsMin = 0, columnsMax = 0;
    bool known = true;  // its type is declared by the file or predefined
};

// The frames of one signature in one stream.
struct FrameSummary {
    uint32_t stream = 0;
    SdifSignature signature = 0;
    uint64_t count = 0;
    double first = 0.0, last = 0.0;  // times
    bool known = true;
    std::vector<MatrixSummary> matrices;
};

struct StreamId {
    uint32_t id;
    std::string source, treeWay;
};

// What sdif2columns makes of the file.
struct Verdict {
    bool reads = false;
    uint32_t stream = 0;  // the stream holding partial data, when one does
    std::string kind;     // its frame signature, empty when none does
    uint64_t frames = 0;  // frames sdif2columns reads
    std::string text;     // one sentence
    std::string remedy;   // commands that make it readable, or empty
};

struct FileInfo {
    std::string name;
    bool opened = false;  // the header was read
    uint32_t formatVersion = 0, typesVersion = 0;
    std::vector<std::map<std::string, std::string>> tables;  // name -> value
    std::string types;                                       // declarations in the 1TYP text form
    std::vector<StreamId> streamIds;
    std::vector<FrameSummary> frames;  // by stream, then in order of appearance
    Verdict verdict;
    std::string error;  // why the description stops short, empty when it does not
};

// Describes name ("-" is standard input).  Never throws for the file's
// sake: what stops the description is in error.
FileInfo Describe(const std::string& name);

// The description as text lines, and as one JSON object (no line feed after
// it).
std::string InfoText(const FileInfo& info);
std::string InfoJson(const FileInfo& info);

// name as a shell word: quoted when it holds anything but plain characters.
std::string ShellWord(const std::string& name);

}  // namespace Tidy

#endif
