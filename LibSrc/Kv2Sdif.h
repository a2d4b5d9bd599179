// SDIF side of the partial library: the wrapper a FILEIO holds for an SDIF
// file, the format probe, opening for reading with the selections each
// format needs, and the mapping of 1TRC, 1HRM, 1PIC and chord-sequence
// frames onto frame sets with partial idents kept from frame to frame.
// The object layer's exceptions pass through these functions unchanged.
#ifndef KV2_SDIF_H
#define KV2_SDIF_H

#include <string>
#include <unordered_map>
#include <vector>

#include "Kv2Io.h"
#include "SdifRWLowLevel.h"
#include "sdifentity.h"
#include "sdifframe.h"

namespace Kv2 {

// Frame and matrix signatures of the SDIF forms of partial data.
constexpr SdifSignature k1TRC = SdifSignatureConst("1TRC");
constexpr SdifSignature k1HRM = SdifSignatureConst("1HRM");
constexpr SdifSignature k1PIC = SdifSignatureConst("1PIC");
constexpr SdifSignature k1MRK = SdifSignatureConst("1MRK");
constexpr SdifSignature k1BEG = SdifSignatureConst("1BEG");
constexpr SdifSignature k1END = SdifSignatureConst("1END");

// One partial identity carried from frame to frame.
struct TrackEntry {
    bool seen;  // met in the frame being read or written
    int ident;  // the library's ident (reading) or the SDIF index (writing)
};

// An SDIF file of a handle: the entity plus the per-file partial bookkeeping.
class OndelFile : public Ondel::SDIFEntity {
   public:
    int lastIndex = 0;  // last SDIF index handed out while writing
    // Reading: SDIF index -> ident; writing: ident -> SDIF index.
    std::unordered_map<int, TrackEntry> trackMap;
    // Scratch frame of the readers, kept so its matrix storage is reused.
    Ondel::SDIFFrame frame;

    OndelFile() = default;
    ~OndelFile() { trackMap.clear(); }
};

// Kind of an SDIF file from the first frame of stream (-1: any) that
// decides it: 4 chord sequence, 5 1PIC, 2 1TRC, 3 1HRM; KV_FORMAT_UNKNOWN
// when none does or the file cannot be opened (with a message).  stream
// receives the stream of the last frame read.
KvFormat Kv2SdifGetFileFormat(const char* name, int& stream);

// Open name (selection suffix allowed) for reading format 2 to 5, restricted
// to stream when >= 0.  Null, with a message for a selection that contradicts
// the format's own.
FILEIO* Kv2SdifOpenRead(const char* name, KvFormat format, int stream);
// Open name for writing format 2 to 5; null on failure.
FILEIO* Kv2SdifOpenWrite(const char* name, KvFormat format, std::vector<std::string>* nvts);
// Write set as one frame of the handle's format, at most maxPartials rows
// filled (-1: all) in a matrix of as many rows as the set has partials (peaks
// for 1PIC).  1TRC rows carry an SDIF index that stays with the ident while
// the track goes on.  False for a handle without SDIF file or a failed write.
bool Kv2SdifWriteFrame(FILEIO* f, const PartialSet& set, int maxPartials, int stream);
// Write the beginnings and ends of set as one chord-sequence frame (none when
// it has neither); an end without beginning or a second beginning is warned
// about and written without its index.  False as for Kv2SdifWriteFrame.
bool Kv2SdifWriteChordSeq(FILEIO* f, const ChordSet& set, int stream);

// Select every stream that has a frame of the format's kind at the time of
// the first such frame met from the current position.
void Kv2SdifSelectAllStreams(FILEIO* f);

// Read the next selected frame into set: its stream number, or -1 at the end,
// on failure, or (chords) on an inconsistent chord sequence.  maxPartials
// limits the rows taken (-1: all); chord reading ignores it.
int Kv2SdifReadFrame(FILEIO* f, PartialSet& set, int maxPartials);
int Kv2SdifReadFrame(FILEIO* f, ChordSet& set, int maxPartials);

// Fill set from the frame's matrices.  Both answer 0.
int Kv2SdifReadMatrix(const Ondel::SDIFFrame& frame, PartialSet& set, int maxPartials,
                      KvFormat format, OndelFile* file);
int Kv2SdifReadMatrix(const Ondel::SDIFFrame& frame, ChordSet& set, KvFormat format,
                      OndelFile* file);

// Times of the first and last frame of a seekable SDIF file; the file is
// left rewound.  False for other handles and for a file without frames.
bool Kv2SdifGetBeginAndEnd(FILEIO* f, double& begin, double& end);

}  // namespace Kv2

#endif
