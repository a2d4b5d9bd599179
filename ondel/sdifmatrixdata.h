// Typed value stores of SDIF matrices: the abstract interface the matrix
// holds, and its one implementation SDIFMatrixData<T>, row-major, rows and
// columns counted from 0.  The per-cell accessors are inline so that callers
// who know the element type (SDIFMatrix::Get<V>, Data<T>) pay no virtual call.
#ifndef ONDEL_SDIFMATRIXDATA_H
#define ONDEL_SDIFMATRIXDATA_H

#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include "SdifCellType.h"
#include "SdifGlobals.h"

namespace Ondel {

// Throw SDIFArrayPosition (level Error, tag eArrayPosition, no file) naming
// this header and line; kept out of line so the checks stay small.
[[noreturn]] void ThrowMatrixDataRange(const char* message, int line);
// Throw SDIFMatrixDataError for an element type the stores do not handle.
[[noreturn]] void ThrowMatrixDataType(const char* message, int line);

// The value type of the store holding cells of kind K (SdifCellType.h):
// Int1 cells are held as char, as text is.
template <class K>
using StoreValue =
    std::conditional_t<std::is_same_v<typename K::type, SdifInt1>, char, typename K::type>;

// The ordinary numeric conversion, except that a floating value outside the
// integer target's range saturates instead of being undefined.
template <class To, class From>
inline To ConvertValue(From v) {
    if constexpr (std::is_floating_point_v<From> && std::is_integral_v<To>) {
        if (!(v == v)) return To(0);
        if (v <= static_cast<From>(std::numeric_limits<To>::lowest()))
            return std::numeric_limits<To>::lowest();
        if (v >= static_cast<From>(std::numeric_limits<To>::max()))
            return std::numeric_limits<To>::max();
    }
    return static_cast<To>(v);
}

class SDIFMatrixDataInterface {
   public:
    virtual double GetDouble(int row, int col) const = 0;
    virtual float GetFloat(int row, int col) const = 0;
    virtual int GetInt(int row, int col) const = 0;
    virtual unsigned char GetUChar(int row, int col) const = 0;
    virtual void GetRow(double* out, int row) const = 0;
    virtual void GetRow(float* out, int row) const = 0;
    virtual void GetRow(int* out, int row) const = 0;
    virtual void GetRow(unsigned char* out, int row) const = 0;
    virtual void GetCol(double* out, int col) const = 0;
    virtual void GetCol(float* out, int col) const = 0;
    virtual void GetCol(int* out, int col) const = 0;
    virtual void GetCol(unsigned char* out, int col) const = 0;
    virtual int GetNbRows() const = 0;
    virtual int GetNbCols() const = 0;
    // Each row's values followed by a blank, one row per line, on standard output.
    virtual void print() const = 0;
    // Read the file's current matrix data (header already read): bytes consumed.
    virtual int read(SdifFileT* file) = 0;
    // New dimensions; values keep their (row, col), new places are zero.
    virtual void Resize(int rows, int cols) = 0;
    virtual void Clear() = 0;
    // Write every value and the padding: bytes written.
    virtual int write(SdifFileT* file) = 0;
    virtual void Set(int row, int col, unsigned char v) = 0;
    virtual void Set(int row, int col, int v) = 0;
    virtual void Set(int row, int col, float v) = 0;
    virtual void Set(int row, int col, double v) = 0;
    virtual void SetRow(const double* in, int row) = 0;
    virtual void SetRow(const float* in, int row) = 0;
    virtual void SetRow(const int* in, int row) = 0;
    virtual void SetRow(const unsigned char* in, int row) = 0;
    virtual void SetCol(const double* in, int col) = 0;
    virtual void SetCol(const float* in, int col) = 0;
    virtual void SetCol(const int* in, int col) = 0;
    virtual void SetCol(const unsigned char* in, int col) = 0;
    // Deep copy; the caller owns it.
    virtual SDIFMatrixDataInterface* clone() const = 0;
    virtual ~SDIFMatrixDataInterface() {}
};

template <class T>
class SDIFMatrixData : public SDIFMatrixDataInterface {
   public:
    // rows x cols zeros.  Dimensions are not validated; a product below 1
    // gives an empty store.
    SDIFMatrixData(int rows, int cols) : mNbRows(rows), mNbCols(cols) {
        Allocate(Product(rows, cols), false);
        mLength = Product(rows, cols);
        Zero(0, mLength);
    }
    SDIFMatrixData(const SDIFMatrixData& other) : mNbRows(other.mNbRows), mNbCols(other.mNbCols) {
        Allocate(other.mLength, false);
        mLength = other.mLength;
        if (mLength) std::memcpy(mValues.get(), other.mValues.get(), mLength * sizeof(T));
    }
    SDIFMatrixData& operator=(const SDIFMatrixData&) = delete;

    // ---- typed access without conversion through a virtual call ----

    // The values, row-major (element (row, col) at row * GetNbCols() + col).
    const T* Data() const { return mValues.get(); }
    T* Data() { return mValues.get(); }

    template <class V>
    V Get(int row, int col) const {
        if (!InRange(row, col))
            ThrowMatrixDataRange(
                "Error in  SDIFMatrixData::Get!!! requested position is out of range !!!",
                __LINE__);
        return ConvertValue<V>(mValues[Index(row, col)]);
    }
    template <class V>
    void SetValue(int row, int col, V v) {
        if (!InRange(row, col))
            ThrowMatrixDataRange(
                "Error in  SDIFMatrixData::Set!!! requested pos is out of range !!!", __LINE__);
        mValues[Index(row, col)] = ConvertValue<T>(v);
    }
    template <class V>
    void CopyRow(V* out, int row) const {
        if (static_cast<unsigned>(row) >= static_cast<unsigned>(mNbRows))
            ThrowMatrixDataRange(
                "Error in  SDIFMatrixData::GetRow!!! requested row is out of range !!!", __LINE__);
        const T* src = mValues.get() + static_cast<size_t>(row) * mNbCols;
        for (int c = 0; c < mNbCols; ++c) out[c] = ConvertValue<V>(src[c]);
    }
    template <class V>
    void AssignRow(const V* in, int row) {
        if (static_cast<unsigned>(row) >= static_cast<unsigned>(mNbRows))
            ThrowMatrixDataRange(
                "Error in  SDIFMatrixData::SetRow!!! requested row is out of range !!!", __LINE__);
        T* dst = mValues.get() + static_cast<size_t>(row) * mNbCols;
        for (int c = 0; c < mNbCols; ++c) dst[c] = ConvertValue<T>(in[c]);
    }
    template <class V>
    void CopyCol(V* out, int col) const {
        if (static_cast<unsigned>(col) >= static_cast<unsigned>(mNbCols))
            ThrowMatrixDataRange(
                "Error in  SDIFMatrixData::GetCol!!! requested column is out of range !!!",
                __LINE__);
        const T* src = mValues.get() + col;
        for (int r = 0; r < mNbRows; ++r)
            out[r] = ConvertValue<V>(src[static_cast<size_t>(r) * mNbCols]);
    }
    template <class V>
    void AssignCol(const V* in, int col) {
        if (static_cast<unsigned>(col) >= static_cast<unsigned>(mNbCols))
            ThrowMatrixDataRange(
                "Error in  SDIFMatrixData::SetCol!!! requested column is out of range !!!",
                __LINE__);
        T* dst = mValues.get() + col;
        for (int r = 0; r < mNbRows; ++r)
            dst[static_cast<size_t>(r) * mNbCols] = ConvertValue<T>(in[r]);
    }

    // ---- the interface ----

    double GetDouble(int row, int col) const override { return Get<double>(row, col); }
    float GetFloat(int row, int col) const override { return Get<float>(row, col); }
    int GetInt(int row, int col) const override { return Get<int>(row, col); }
    unsigned char GetUChar(int row, int col) const override { return Get<unsigned char>(row, col); }
    void GetRow(double* out, int row) const override { CopyRow(out, row); }
    void GetRow(float* out, int row) const override { CopyRow(out, row); }
    void GetRow(int* out, int row) const override { CopyRow(out, row); }
    void GetRow(unsigned char* out, int row) const override { CopyRow(out, row); }
    void GetCol(double* out, int col) const override { CopyCol(out, col); }
    void GetCol(float* out, int col) const override { CopyCol(out, col); }
    void GetCol(int* out, int col) const override { CopyCol(out, col); }
    void GetCol(unsigned char* out, int col) const override { CopyCol(out, col); }
    int GetNbRows() const override { return mNbRows; }
    int GetNbCols() const override { return mNbCols; }
    void print() const override;
    int read(SdifFileT* file) override { return ReadSelected(file, mNbRows, mNbCols); }
    void Resize(int rows, int cols) override;
    void Clear() override { Zero(0, mLength); }
    int write(SdifFileT* file) override;
    void Set(int row, int col, unsigned char v) override { SetValue(row, col, v); }
    void Set(int row, int col, int v) override { SetValue(row, col, v); }
    void Set(int row, int col, float v) override { SetValue(row, col, v); }
    void Set(int row, int col, double v) override { SetValue(row, col, v); }
    void SetRow(const double* in, int row) override { AssignRow(in, row); }
    void SetRow(const float* in, int row) override { AssignRow(in, row); }
    void SetRow(const int* in, int row) override { AssignRow(in, row); }
    void SetRow(const unsigned char* in, int row) override { AssignRow(in, row); }
    void SetCol(const double* in, int col) override { AssignCol(in, col); }
    void SetCol(const float* in, int col) override { AssignCol(in, col); }
    void SetCol(const int* in, int col) override { AssignCol(in, col); }
    void SetCol(const unsigned char* in, int col) override { AssignCol(in, col); }
    SDIFMatrixDataInterface* clone() const override { return new SDIFMatrixData(*this); }

    // ---- used by SDIFMatrix ----

    // Dimensions rows x cols, every value zero, storage reused.
    void Reset(int rows, int cols) {
        mNbRows = rows;
        mNbCols = cols;
        mLength = Product(rows, cols);
        Allocate(mLength, false);
        Zero(0, mLength);
    }
    // Read the file's current matrix data into rows x cols (the counts of
    // selected rows and columns), reusing the storage and filling it without
    // zeroing first; answers the bytes consumed, padding included.
    int ReadSelected(SdifFileT* file, int rows, int cols);

   private:
    static size_t Product(int rows, int cols) {
        long long n = static_cast<long long>(rows) * cols;
        return n > 0 ? static_cast<size_t>(n) : 0;
    }
    bool InRange(int row, int col) const {
        return static_cast<unsigned>(row) < static_cast<unsigned>(mNbRows) &&
               static_cast<unsigned>(col) < static_cast<unsigned>(mNbCols);
    }
    size_t Index(int row, int col) const { return static_cast<size_t>(row) * mNbCols + col; }
    void Zero(size_t from, size_t to) {
        if (to > from) std::memset(mValues.get() + from, 0, (to - from) * sizeof(T));
    }
    // Make room for n values; keep the first mLength ones when keep is set.
    // The new room is left uninitialised.
    void Allocate(size_t n, bool keep) {
        if (n <= mCapacity && mValues) return;
        std::unique_ptr<T[]> grown(new T[n ? n : 1]);
        if (keep && mLength) std::memcpy(grown.get(), mValues.get(), mLength * sizeof(T));
        mValues = std::move(grown);
        mCapacity = n ? n : 1;
    }

    int mNbRows;                   // number of rows
    int mNbCols;                   // number of columns
    std::unique_ptr<T[]> mValues;  // mLength values in row-major order, room for mCapacity
    size_t mLength = 0;            // mNbRows * mNbCols (0 when that is not positive)
    size_t mCapacity = 0;          // values the storage holds
};

// The eight stores, instantiated once in the library.
extern template class SDIFMatrixData<float>;
extern template class SDIFMatrixData<double>;
extern template class SDIFMatrixData<char>;
extern template class SDIFMatrixData<short>;
extern template class SDIFMatrixData<int>;
extern template class SDIFMatrixData<unsigned char>;
extern template class SDIFMatrixData<unsigned short>;
extern template class SDIFMatrixData<unsigned int>;

// A new zero-filled store for an SDIF data type: float for eFloat4, double
// for eFloat8, char for eInt1 and eText, short for eInt2, int for eInt4 and
// the unsigned types for eUInt1, eUInt2, eUInt4.  Any other type throws
// SDIFMatrixDataError.
inline SDIFMatrixDataInterface* CreateMatrixData(SdifDataTypeET type, int rows, int cols) {
    return SdifCellTypeSwitch(
        type,
        [&](auto kind) -> SDIFMatrixDataInterface* {
            return new SDIFMatrixData<StoreValue<decltype(kind)>>(rows, cols);
        },
        []() -> SDIFMatrixDataInterface* {
            ThrowMatrixDataType("Error in  SDIFMatrix::Init!!! unimplemented matrix type used !!!",
                                __LINE__);
        });
}

}  // namespace Ondel

#endif
