#include "sdifmatrix.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <iostream>

#include "SdifCellType.h"
#include "SdifErrMess.h"
#include "SdifFRead.h"
#include "SdifFWrite.h"
#include "SdifFile.h"
#include "SdifGrow.h"
#include "SdifMatrix.h"
#include "SdifMatrixType.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"
#include "sdifexception.h"

namespace Ondel {

namespace {

// Cell c (from 0) of the file's one-row buffer, converted to T.
template <class T>
T RowCell(const SdifOneRowT* row, SdifUInt4 c) {
    if (!row || !row->Data.Void || c >= row->NbData) return T(0);
    return SdifCellTypeSwitchOrFloat4(row->DataType, [&](auto kind) {
        return ConvertValue<T>(
            static_cast<const typename decltype(kind)::type*>(row->Data.Void)[c]);
    });
}

// Report a matrix whose cells the file cannot hold as the short read it
// would become, before anything is allocated for it.
bool CellsFit(SdifFileT* file, const SdifMatrixHeaderT& h) {
    const uint64_t bytes =
        static_cast<uint64_t>(h.NbRow) * h.NbCol * SdifSizeofDataType(h.DataType);
    const long long left = SdifFBytesLeft(file);
    if (left >= 0 && bytes > static_cast<uint64_t>(left)) {
        char text[64];
        FILE* stream = SdifFGetStream(file);
        snprintf(text, sizeof text, "Sdiffread %ld", stream ? ftell(stream) : -1L);
        SDIF_ERROR(file, eEof, text);
        return false;
    }
    // The store counts rows and columns in ints.
    if (h.NbRow > INT_MAX || h.NbCol > INT_MAX ||
        static_cast<uint64_t>(h.NbRow) * h.NbCol > static_cast<uint64_t>(INT_MAX)) {
        SDIF_ERROR(file, eAllocFail, "SDIFMatrixData: matrix too large");
        return false;
    }
    return true;
}

}  // namespace

void ThrowMatrixDataRange(const char* message, int line) {
    throw SDIFArrayPosition(eError, message, nullptr, eArrayPosition, "sdifmatrixdata.h", line);
}

void ThrowMatrixDataType(const char* message, int line) {
    throw SDIFMatrixDataError(eError, message, nullptr, eTypeDataNotSupported, "sdifmatrixdata.h",
                              line);
}

// ---- SDIFMatrixData<T> ----

template <class T>
void SDIFMatrixData<T>::print() const {
    for (int r = 0; r < mNbRows; ++r) {
        for (int c = 0; c < mNbCols; ++c) std::cout << mValues[Index(r, c)] << ' ';
        std::cout << std::endl;
    }
}

template <class T>
void SDIFMatrixData<T>::Resize(int rows, int cols) {
    if (rows == mNbRows && cols == mNbCols) return;
    const size_t newLength = Product(rows, cols);
    if (newLength > mLength) {
        Allocate(newLength, true);
        Zero(mLength, newLength);
    }
    const int oldRows = std::max(mNbRows, 0), oldCols = std::max(mNbCols, 0);
    const int newRows = std::max(rows, 0), newCols = std::max(cols, 0);
    T* v = mValues.get();
    if (newCols <= oldCols) {
        // Rows only move towards the front: row 0 stays, later rows close up.
        const int kept = std::min(newRows, oldRows);
        for (int r = 1; r < kept; ++r)
            std::memmove(v + static_cast<size_t>(r) * newCols, v + static_cast<size_t>(r) * oldCols,
                         newCols * sizeof(T));
        for (int r = kept; r < newRows; ++r)
            Zero(static_cast<size_t>(r) * newCols, static_cast<size_t>(r + 1) * newCols);
    } else {
        // Rows spread out: rebuild from the back so nothing is overwritten
        // before it has moved.
        for (int r = newRows - 1; r >= 0; --r) {
            T* dst = v + static_cast<size_t>(r) * newCols;
            if (r >= oldRows) {
                Zero(static_cast<size_t>(r) * newCols, static_cast<size_t>(r + 1) * newCols);
                continue;
            }
            const T* src = v + static_cast<size_t>(r) * oldCols;
            for (int c = newCols - 1; c >= 0; --c) dst[c] = c >= oldCols ? T(0) : src[c];
        }
    }
    mLength = newLength;
    mNbRows = rows;
    mNbCols = cols;
}

template <class T>
int SDIFMatrixData<T>::write(SdifFileT* file) {
    const size_t bytes = SdifWriteCells(file, mValues.get(), mLength) * sizeof(T);
    const size_t padding = SdifPaddingCalculate(bytes);
    return static_cast<int>(bytes + (padding ? SdifFWritePadding(file, padding) : 0));
}

template <class T>
int SDIFMatrixData<T>::ReadSelected(SdifFileT* file, int rows, int cols) {
    const SdifMatrixHeaderT* h = SdifFCurrMatrixHeader(file);
    const SdifUInt4 fileRows = h ? h->NbRow : 0, fileCols = h ? h->NbCol : 0;
    rows = std::max(rows, 0);
    cols = std::max(cols, 0);
    mNbRows = rows;
    mNbCols = cols;
    mLength = 0;
    const size_t n = Product(rows, cols);
    const bool sizeKnown = SdifFBytesLeft(file) >= 0;
    size_t bytes = 0;
    try {
        if (static_cast<SdifUInt4>(rows) == fileRows && static_cast<SdifUInt4>(cols) == fileCols) {
            size_t done = 0;
            if (sizeKnown || n * sizeof(T) <= kSdifGrowPieceBytes) {
                Allocate(n, false);
                done = SdifReadCells(file, mValues.get(), n);
            } else {
                // On a stream of unknown length the store grows as the values
                // arrive, so that a lying header cannot make it allocate up front.
                done = static_cast<size_t>(SdifGrowAsRead(
                    n, sizeof(T),
                    [&](uint64_t cells) {
                        mLength = done;
                        Allocate(static_cast<size_t>(cells), true);
                        return true;
                    },
                    [&](uint64_t at, uint64_t count) {
                        const size_t got =
                            SdifReadCells(file, mValues.get() + at, static_cast<size_t>(count));
                        done = static_cast<size_t>(at) + got;
                        return got;
                    }));
            }
            bytes = done * sizeof(T);
            if (done < n) {
                // A short read the error callback let through: keep the whole
                // rows that arrived, as zeros where room was already there.
                if (mCapacity >= n) {
                    Zero(done, n);
                } else {
                    mNbRows = cols ? static_cast<int>(done / cols) : 0;
                    mLength = static_cast<size_t>(mNbRows) * cols;
                    Zero(mLength, done);
                    mLength = Product(mNbRows, mNbCols);
                    return static_cast<int>(bytes);
                }
            }
        } else {
            if (sizeKnown) Allocate(n, false);
            size_t storeRow = 0;
            // Rows without columns hold nothing to read or skip: walking their
            // count (up to 2^32) would cost time that no byte of the file backs.
            for (SdifUInt4 r = 1; fileCols > 0 && r <= fileRows; ++r) {
                if (storeRow < static_cast<size_t>(rows) &&
                    SdifFRowIsSelected(file, static_cast<int>(r))) {
                    bytes += SdifFReadOneRow(file);
                    const size_t need = (storeRow + 1) * cols;
                    if (need > mCapacity) {
                        mLength = storeRow * cols;
                        Allocate(std::min(n, std::max(need, 2 * mCapacity)), true);
                    }
                    T* dst = mValues.get() + storeRow * cols;
                    const SdifOneRowT* row = SdifFCurrOneRow(file);
                    int c2 = 0;
                    for (SdifUInt4 c = 1; c <= fileCols && c2 < cols; ++c)
                        if (SdifFColumnIsSelected(file, static_cast<int>(c)))
                            dst[c2++] = RowCell<T>(row, c - 1);
                    for (; c2 < cols; ++c2) dst[c2] = T(0);
                    ++storeRow;
                } else {
                    bytes += SdifFSkipOneRow(file);
                }
            }
            if (storeRow * cols < n) {
                mLength = storeRow * cols;
                Allocate(n, true);
                Zero(mLength, n);
            }
        }
        mLength = n;
    } catch (...) {
        // Leave a consistent store behind: zeros where there is room, else empty.
        if (mCapacity >= n && mValues) {
            mLength = n;
            Zero(0, n);
        } else {
            mNbRows = mNbCols = 0;
            mLength = 0;
        }
        throw;
    }
    const size_t padding = SdifFPaddingCalculate(SdifFGetStream(file), bytes);
    if (padding) SdifFReadPadding(file, padding);
    return static_cast<int>(bytes + padding);
}

template class SDIFMatrixData<float>;
template class SDIFMatrixData<double>;
template class SDIFMatrixData<char>;
template class SDIFMatrixData<short>;
template class SDIFMatrixData<int>;
template class SDIFMatrixData<unsigned char>;
template class SDIFMatrixData<unsigned short>;
template class SDIFMatrixData<unsigned int>;

// ---- SDIFMatrix ----

SDIFMatrix::SDIFMatrix(SdifDataTypeET type) { Init(0, 1, 1, type); }

SDIFMatrix::SDIFMatrix(SdifSignature signature, int rows, int cols, SdifDataTypeET type) {
    Init(signature, rows, cols, type);
}

SDIFMatrix::SDIFMatrix(const std::string& signature, int rows, int cols, SdifDataTypeET type) {
    Init(signature, rows, cols, type);
}

SDIFMatrix::SDIFMatrix(const SDIFMatrix& other)
    : mData(other.mData ? other.mData->clone() : nullptr),
      mReadSize(other.mReadSize),
      mSignature(other.mSignature),
      mType(other.mType),
      mFile(other.mFile) {}

SDIFMatrix& SDIFMatrix::operator=(const SDIFMatrix& other) {
    if (this == &other) return *this;
    mData.reset();
    mData.reset(other.mData ? other.mData->clone() : nullptr);
    mReadSize = other.mReadSize;
    mSignature = other.mSignature;
    mType = other.mType;
    mFile = other.mFile;
    return *this;
}

SDIFMatrix::SDIFMatrix(SDIFMatrix&& other) noexcept = default;
SDIFMatrix& SDIFMatrix::operator=(SDIFMatrix&& other) noexcept = default;
SDIFMatrix::~SDIFMatrix() = default;

void SDIFMatrix::Init(SdifSignature signature, int rows, int cols, SdifDataTypeET type) {
    if (mData && type == mType)
        Visit([&](auto& d) { d.Reset(rows, cols); });
    else
        mData.reset();
    mReadSize = 0;
    if (!mData) {
        mData.reset(CreateMatrixData(type, rows, cols));
        mType = type;
    }
    mSignature = signature;
}

void SDIFMatrix::Init(const std::string& signature, int rows, int cols, SdifDataTypeET type) {
    Init(SdifStringToSignature(signature.c_str()), rows, cols, type);
}

void SDIFMatrix::PrepareRead(SdifSignature signature, SdifDataTypeET type) {
    if (!(mData && type == mType)) {
        mData.reset();
        mData.reset(CreateMatrixData(type, 0, 0));
        mType = type;
    }
    mReadSize = 0;
    mSignature = signature;
}

bool SDIFMatrix::Resize(int rows, int cols) {
    if (!mData) return false;
    mData->Resize(rows, cols);
    return true;
}

bool SDIFMatrix::Clear() {
    if (!mData) return false;
    mData->Clear();
    return true;
}

int SDIFMatrix::Read(SdifFileT* file, const std::set<unsigned int>* signatures) {
    if (!file) return 0;
    mFile = file;
    const size_t headerBytes = SdifFReadMatrixHeader(file);
    mReadSize = static_cast<SdifUInt4>(headerBytes);
    const SdifMatrixHeaderT* h = SdifFCurrMatrixHeader(file);
    // End of file, or a header the file cannot back (already reported).
    if (!h || headerBytes < SdifSizeOfMatrixHeader()) return 0;
    // A header that failed the library's test (a matrix repeated in its
    // frame) is passed over like an unwanted one.
    bool wanted = SdifFCurrMatrixType(file) != nullptr;
    if (wanted) {
        if (signatures && !signatures->empty())
            wanted = signatures->count(h->Signature) != 0;
        else
            wanted = SdifFCurrMatrixIsSelected(file) != 0;
    }
    if (!wanted) {
        SdifFSkipMatrixData(file);
        return 0;
    }
    if (!CellsFit(file, *h)) return 0;
    const int rows = std::min(std::max(SdifFNumRowsSelected(file), 0), static_cast<int>(h->NbRow));
    const int cols =
        std::min(std::max(SdifFNumColumnsSelected(file), 0), static_cast<int>(h->NbCol));
    PrepareRead(h->Signature, h->DataType);
    mReadSize += Visit([&](auto& d) { return d.ReadSelected(file, rows, cols); });
    return static_cast<int>(mReadSize);
}

int SDIFMatrix::Write(SdifFileT* file) {
    if (!file) return 0;
    SdifFSetCurrMatrixHeader(file, mSignature, mType, static_cast<SdifUInt4>(GetNbRows()),
                             static_cast<SdifUInt4>(GetNbCols()));
    int bytes = static_cast<int>(SdifFWriteMatrixHeader(file));
    if (mData) bytes += mData->write(file);
    return bytes;
}

void SDIFMatrix::Print() const {
    std::cout << " Signature : " << GetStringSignature() << std::endl;
    if (mData) mData->print();
}

int SDIFMatrix::GetSize() const {
    return static_cast<int>(SdifSizeOfMatrix(mType, static_cast<SdifUInt4>(GetNbRows()),
                                             static_cast<SdifUInt4>(GetNbCols())));
}

std::string SDIFMatrix::GetStringSignature() const {
    return std::string(SdifSignatureToString(mSignature));
}

std::string SDIFMatrix::GetColName(int col) const {
    SdifHashTableT* types = mFile ? SdifFGetMatrixTypesTable(mFile) : nullptr;
    if (!types) return std::string();
    SdifMatrixTypeT* type = SdifGetMatrixType(types, mSignature);
    if (!type) return std::string();
    SdifColumnDefT* def = SdifMatrixTypeGetNthColumnDef(type, static_cast<unsigned int>(col));
    return def && def->Name ? std::string(def->Name) : std::string();
}

SDIFMatrixData<float>& SDIFMatrix::EmptyStore() {
    static SDIFMatrixData<float> empty(0, 0);
    return empty;
}

}  // namespace Ondel
