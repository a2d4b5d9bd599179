// One SDIF frame as an object: the frame header (signature, stream ID, time,
// matrix count) and its matrices.  Reads a whole frame from an open SdifFileT
// or through an SDIFEntity (honouring its selections and frame directory),
// writes it back with a check of the announced size, and prints it.
#ifndef ONDEL_SDIFFRAME_H
#define ONDEL_SDIFFRAME_H

#include <set>
#include <string>
#include <vector>

#include "SdifGlobals.h"
#include "sdifmatrix.h"

namespace Ondel {

class SDIFEntity;

class SDIFFrame {
   public:
    // No matrices, signature 0, stream 0, time -1.0.
    SDIFFrame();
    SDIFFrame(const SDIFFrame& other);
    SDIFFrame& operator=(const SDIFFrame& other);
    SDIFFrame(SDIFFrame&& other) noexcept;
    SDIFFrame& operator=(SDIFFrame&& other) noexcept;
    ~SDIFFrame();

    // None of these touches the matrix count.
    void SetHeader(SdifSignature signature, SdifUInt4 streamID, SdifFloat8 time);
    void SetHeader(const std::string& signature, SdifUInt4 streamID, SdifFloat8 time);
    void SetSignature(SdifSignature signature) { mSignature = signature; }
    void SetSignature(const std::string& signature);
    void SetStreamID(SdifUInt4 streamID) { mStreamID = streamID; }
    void SetTime(SdifFloat8 time) { mTime = time; }

    // Append a copy; the matrix count grows by one.
    void AddMatrix(const SDIFMatrix& matrix);
    // n matrices; new ones are 1 x 1 with signature 0.
    void Resize(int n);
    // Signature, stream and count 0, time -1.0, no matrices.
    void ClearData();

    // Whether one of the first GetNbMatrix() matrices has this signature.
    bool MatrixExists(const unsigned int& signature) const;
    bool MatrixExists(const std::string& signature) const;

    // Matrix index; index not below the count throws SDIFMatrixNotAvailable
    // (an empty frame does not: callers check the count first).
    SDIFMatrix& GetMatrix(unsigned int index);
    const SDIFMatrix& GetMatrix(unsigned int index) const;
    // First matrix with the signature, else SDIFMatrixNotAvailable.
    SDIFMatrix& GetMatrixWithSig(unsigned int signature);
    const SDIFMatrix& GetMatrixWithSig(unsigned int signature) const;
    SDIFMatrix& GetMatrix(const std::string& signature);
    const SDIFMatrix& GetMatrix(const std::string& signature) const;

    SdifSignature GetSignature() const { return mSignature; }
    std::string GetStringSignature() const;
    SdifUInt4 GetStreamID() const { return mStreamID; }
    SdifFloat8 GetTime() const { return mTime; }
    SdifUInt4 GetNbMatrix() const { return mNbMatrix; }
    // Bytes consumed by the last read: header, selected matrix data and the
    // next frame's signature.
    SdifUInt4 GetReadSize() const { return mSize; }
    // The frame header's size field: frame-header size plus every matrix's size.
    unsigned int GetSize() const;

    // Read the frame header (its signature already read).  A frame the
    // file's selection rejects answers 0 and leaves the fields alone.
    int ReadHeader(SdifFileT* file);
    int ReadHeader(const SDIFEntity& entity);
    // Read GetNbMatrix() matrices, keeping the wanted ones packed at the front
    // in file order (signatures as for SDIFMatrix::Read): bytes of data.
    int ReadData(SdifFileT* file, const std::set<unsigned int>* signatures);
    int ReadData(const SDIFEntity& entity);
    // Read a whole frame and the next signature; eof is set when that was the
    // end.  A frame not selected is skipped and answers 0.
    int Read(SdifFileT* file, bool& eof);
    // The same through the entity, its selections and its frame directory;
    // throws SDIFEof when the entity is already at its end.
    int Read(SDIFEntity& entity);

    int WriteHeader(SdifFileT* file);
    int WriteHeader(const SDIFEntity& entity);
    // Header and matrices; throws SDIFFrameHeaderSizeError (after writing)
    // when the bytes written do not match the announced size.
    int Write(SdifFileT* file);
    int Write(const SDIFEntity& entity);

    // Header block and every matrix on standard output.
    void Print() const;
    void PrintHeader() const;

   private:
    // n matrix slots for reading, recycled from earlier frames where possible;
    // each starts with signature 0.
    void PrepareSlots(size_t n);
    // Keep the first n slots, recycling the rest.
    void TruncateSlots(size_t n);

    std::vector<SDIFMatrix> mMatrices;  // the frame's matrices, owned
    SdifUInt4 mSize;                    // bytes consumed by the last read
    SdifFloat8 mTime;                   // frame time; -1.0 when cleared
    SdifSignature mSignature;           // frame signature; 0 when cleared
    SdifUInt4 mStreamID;                // stream ID; 0 when cleared
    SdifUInt4 mNbMatrix;                // matrix count; equals mMatrices.size() outside reads
    std::vector<SDIFMatrix> mSpare;     // matrices of earlier reads kept for reuse
};

}  // namespace Ondel

#endif
