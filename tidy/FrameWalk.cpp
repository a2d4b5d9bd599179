#include "FrameWalk.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "SdifFRead.h"
#include "SdifFile.h"
#include "SdifFrameType.h"
#include "SdifMatrixType.h"
#include "SdifRWLowLevel.h"

namespace Tidy {

namespace {

// Bytes read at once when a body is passed by reading or handed on.
constexpr size_t kPiece = 64 * 1024;

// Big-endian words decoded from the bytes themselves, whatever the host.
uint32_t Word32(const char* b) {
    const auto* u = reinterpret_cast<const unsigned char*>(b);
    return (uint32_t{u[0]} << 24) | (uint32_t{u[1]} << 16) | (uint32_t{u[2]} << 8) | u[3];
}

double Float64(const char* b) {
    const uint64_t bits = (uint64_t{Word32(b)} << 32) | Word32(b + 4);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string TruncatedText(int64_t at) {
    return at >= 0 ? "truncated at byte " + std::to_string(at) : std::string("truncated");
}

}  // namespace

Truncated::Truncated(int64_t at) : Error(TruncatedText(at)), mAt(at) {}

uint64_t MatrixHeader::DataBytes() const {
    const uint64_t cells = uint64_t{nbRow} * nbCol;
    const uint64_t width = SdifSizeofDataType(static_cast<SdifDataTypeET>(dataType & 0xFFFF));
    if (width != 0 && cells > (UINT64_MAX - 8) / width) return UINT64_MAX;
    const uint64_t bytes = cells * width;
    return bytes + SdifPaddingCalculate(static_cast<size_t>(bytes & 7));
}

ByteWalk::ByteWalk(SdifFileT* file, int64_t position) : mFile(file), mPos(position) {}

void ByteWalk::ReadExactly(char* bytes, size_t n) {
    const size_t got = Sdiffread(bytes, 1, n, mFile);
    if (mPos >= 0) mPos += static_cast<int64_t>(got);
    if (got < n) throw Truncated(mPos);
}

bool ByteWalk::NextSignature(SdifSignature& signature) {
    char b[4];
    const size_t got = Sdiffread(b, 1, sizeof b, mFile);
    if (mPos >= 0) mPos += static_cast<int64_t>(got);
    if (got == 0) return false;
    if (got < sizeof b) throw Truncated(mPos);
    signature = Word32(b);
    return true;
}

uint32_t ByteWalk::ReadWord(char* raw) {
    char b[4];
    ReadExactly(b, sizeof b);
    if (raw) std::memcpy(raw, b, sizeof b);
    return Word32(b);
}

FrameHeader ByteWalk::ReadFrameHeader(SdifSignature signature, char* raw) {
    char b[24];
    FrameHeader h;
    h.signature = signature;
    h.at = mPos >= 0 ? mPos - 4 : -1;
    for (int i = 0; i < 4; ++i) b[i] = static_cast<char>(signature >> (24 - 8 * i));
    ReadExactly(b + 4, 20);
    h.size = Word32(b + 4);
    h.time = Float64(b + 8);
    h.stream = Word32(b + 16);
    h.nbMatrix = Word32(b + 20);
    if (raw) std::memcpy(raw, b, sizeof b);
    return h;
}

MatrixHeader ByteWalk::ReadMatrixHeader(char* raw) {
    char b[16];
    ReadExactly(b, sizeof b);
    if (raw) std::memcpy(raw, b, sizeof b);
    MatrixHeader h;
    h.signature = Word32(b);
    h.dataType = Word32(b + 4);
    h.nbRow = Word32(b + 8);
    h.nbCol = Word32(b + 12);
    return h;
}

void ByteWalk::Pass(uint64_t n, const ByteSink* sink) {
    if (n == 0) return;
    if (!sink) {
        const long long left = SdifFBytesLeft(mFile);
        if (left >= 0) {
            // A seek past the end would succeed: stop at the end instead.
            if (n > static_cast<uint64_t>(left)) {
                std::fseek(SdifFGetStream(mFile), 0, SEEK_END);
                if (mPos >= 0) mPos += left;
                throw Truncated(mPos);
            }
            if (std::fseek(SdifFGetStream(mFile), static_cast<long>(n), SEEK_CUR) == 0) {
                if (mPos >= 0) mPos += static_cast<int64_t>(n);
                return;
            }
        }
    }
    std::vector<char> piece(n < kPiece ? static_cast<size_t>(n) : kPiece);
    while (n > 0) {
        const size_t step = n < piece.size() ? static_cast<size_t>(n) : piece.size();
        ReadExactly(piece.data(), step);
        if (sink) (*sink)(piece.data(), step);
        n -= step;
    }
}

uint64_t ByteWalk::PassFrameBody(const FrameHeader& header, const ByteSink* sink) {
    // The 16 bytes of the header after the size field count in the size.
    if (header.size != kUnknownFrameSize) {
        const uint64_t body = header.size >= 16 ? header.size - 16u : 0u;
        Pass(body, sink);
        return body;
    }
    uint64_t passed = 0;
    for (uint32_t m = 0; m < header.nbMatrix; ++m) {
        char raw[16];
        const MatrixHeader matrix = ReadMatrixHeader(raw);
        if (sink) (*sink)(raw, sizeof raw);
        const uint64_t data = matrix.DataBytes();
        Pass(data, sink);
        passed += sizeof raw + data;
    }
    return passed;
}

bool FrameTypeKnown(SdifFileT* file, SdifSignature signature) {
    return SdifFGetFrameType(file, signature) ||
           (gSdifPredefinedTypes &&
            SdifGetFrameType(SdifFGetFrameTypesTable(gSdifPredefinedTypes), signature));
}

bool MatrixTypeKnown(SdifFileT* file, SdifSignature signature) {
    return SdifFGetMatrixType(file, signature) ||
           (gSdifPredefinedTypes &&
            SdifGetMatrixType(SdifFGetMatrixTypesTable(gSdifPredefinedTypes), signature));
}

bool IsTextChunk(SdifSignature signature) {
    return signature == SdifSignatureConst("1NVT") || signature == SdifSignatureConst("1TYP") ||
           signature == SdifSignatureConst("1IDS");
}

std::string SignatureText(SdifSignature signature) {
    std::string text;
    for (int i = 0; i < 4; ++i) {
        const auto c = static_cast<unsigned char>(signature >> (24 - 8 * i));
        if (c >= 0x20 && c < 0x7F) {
            text += static_cast<char>(c);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            text += escaped;
        }
    }
    return text;
}

std::string LibraryReason(const std::exception& error) {
    std::string text = error.what();
    const size_t arrow = text.rfind("--> ");
    if (arrow != std::string::npos) text.erase(0, arrow + 4);
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    return text;
}

}  // namespace Tidy
