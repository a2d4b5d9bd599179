// Frames walked at the byte level on the SDIF file library's stream: headers
// decoded from their bytes, bodies passed over or handed on untouched.  No
// type is looked up, so frames and matrices that no declaration describes,
// and data types that no reader handles, are walked like any other.
#ifndef TIDY_FRAME_WALK_H
#define TIDY_FRAME_WALK_H

#include <cstdint>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>

#include "SdifGlobals.h"

namespace Tidy {

// Every failure of this library: one message for the user, naming the file.
class Error : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
};

// The file ends inside a chunk: At() is the offset where its bytes stop.
class Truncated : public Error {
   public:
    explicit Truncated(int64_t at);
    int64_t At() const { return mAt; }

   private:
    int64_t mAt;  // -1 when the position cannot be told (a pipe)
};

// Frame size field of a frame written to a stream that could not seek back.
constexpr uint32_t kUnknownFrameSize = 0xFFFFFFFFu;

// A frame header as its 24 bytes say.
struct FrameHeader {
    SdifSignature signature = 0;
    uint32_t size = 0;  // bytes after the size field, or kUnknownFrameSize
    double time = 0.0;
    uint32_t stream = 0;
    uint32_t nbMatrix = 0;
    int64_t at = -1;  // offset of its signature, -1 when unknown
};

// A matrix header as its 16 bytes say.
struct MatrixHeader {
    SdifSignature signature = 0;
    uint32_t dataType = 0;  // the data type code, in the low 16 bits
    uint32_t nbRow = 0;
    uint32_t nbCol = 0;

    // Cells by the width the data type names, then the padding to 8 bytes;
    // a product beyond 64 bits saturates (no file holds it).
    uint64_t DataBytes() const;
};

// Receives bytes that a walk hands on.
using ByteSink = std::function<void(const char* bytes, size_t n)>;

class ByteWalk {
   public:
    // Walks file's binary stream from its read position, which is offset
    // position of the file (-1 when it cannot be told: positions are then
    // not counted).  The walk counts the bytes itself since standard input
    // cannot tell where it is.
    ByteWalk(SdifFileT* file, int64_t position);

    int64_t Position() const { return mPos; }

    // The next chunk's signature: false at the end of the file.
    bool NextSignature(SdifSignature& signature);
    // A big-endian 32-bit word; raw, when given, receives its 4 bytes.
    uint32_t ReadWord(char* raw = nullptr);
    // The rest of a frame header after its signature; raw, when given,
    // receives all 24 bytes as they are in the file.
    FrameHeader ReadFrameHeader(SdifSignature signature, char* raw = nullptr);
    MatrixHeader ReadMatrixHeader(char* raw = nullptr);

    // Pass n bytes, or hand them to sink when it is set.
    void Pass(uint64_t n, const ByteSink* sink = nullptr);
    // The body of a frame whose header was just read: its size at once, or
    // matrix by matrix when the size is unknown.  Answers the bytes passed.
    uint64_t PassFrameBody(const FrameHeader& header, const ByteSink* sink = nullptr);

   private:
    void ReadExactly(char* bytes, size_t n);

    SdifFileT* mFile;  // not owned
    int64_t mPos;      // offset of the next byte, -1 when unknown
};

// Whether the SDIF library knows a frame (matrix) type: declared by the file
// or predefined.
bool FrameTypeKnown(SdifFileT* file, SdifSignature signature);
bool MatrixTypeKnown(SdifFileT* file, SdifSignature signature);

// The name-value tables, type declarations and stream IDs (1NVT, 1TYP,
// 1IDS) are frames too, but of no stream.
bool IsTextChunk(SdifSignature signature);

// Four characters of a signature, for messages.
std::string SignatureText(SdifSignature signature);

// The SDIF library's own explanation in one of its reports: the text after
// its last "--> " without the line feed; the whole text when there is none.
std::string LibraryReason(const std::exception& error);

}  // namespace Tidy

#endif
