// One SDIF matrix as an object: signature, SDIF data type and a typed store
// of values.  It reads itself from an open SdifFileT honouring the file's row
// and column selection, writes itself back, and offers element, row and
// column access with conversion.
#ifndef ONDEL_SDIFMATRIX_H
#define ONDEL_SDIFMATRIX_H

#include <memory>
#include <set>
#include <string>
#include <type_traits>

#include "SdifGlobals.h"
#include "sdifmatrixdata.h"

namespace Ondel {

class SDIFFrame;

class SDIFMatrix {
   public:
    // A 1 x 1 zero matrix of signature 0 and no file.
    explicit SDIFMatrix(SdifDataTypeET type = eFloat4);
    SDIFMatrix(SdifSignature signature, int rows, int cols, SdifDataTypeET type);
    // The signature is the first four characters of the text.
    SDIFMatrix(const std::string& signature, int rows, int cols, SdifDataTypeET type);
    SDIFMatrix(const SDIFMatrix& other);
    SDIFMatrix& operator=(const SDIFMatrix& other);
    SDIFMatrix(SDIFMatrix&& other) noexcept;
    SDIFMatrix& operator=(SDIFMatrix&& other) noexcept;
    ~SDIFMatrix();

    // rows x cols zeros of type: the store is kept when type is unchanged.
    // An unhandled type throws SDIFMatrixDataError and leaves no store of it.
    void Init(SdifSignature signature, int rows, int cols, SdifDataTypeET type);
    void Init(const std::string& signature, int rows, int cols, SdifDataTypeET type);
    // Keep every value whose (row, col) survives, zero new places; false without a store.
    bool Resize(int rows, int cols);
    // Every value to zero; false without a store.
    bool Clear();

    // Read the matrix (header and data) at the file's position.  Wanted when
    // its signature is in signatures, or, with no or an empty set, when the
    // file's selection accepts it; only the selected rows and columns are
    // kept.  Answers the data bytes consumed (values and padding, not the
    // header), or 0 for a matrix not wanted, whose data is skipped and which
    // leaves this object as it was.
    int Read(SdifFileT* file, const std::set<unsigned int>* signatures = nullptr);
    // Write header and data: bytes written, header included.
    int Write(SdifFileT* file);
    // " Signature : " and the signature, then the values, on standard output.
    void Print() const;

    // Bytes the matrix takes in a file: header and padded data.
    int GetSize() const;
    SdifDataTypeET GetType() const { return mType; }
    SdifSignature GetSignature() const { return mSignature; }
    std::string GetStringSignature() const;
    // Name of column col in the matrix type of the file last read from; empty
    // when there is no file, type or definition.
    std::string GetColName(int col) const;
    // Bytes consumed by the last Read.
    unsigned int GetReadSize() const { return mReadSize; }
    // File last read from, or null.
    SdifFileT* GetFile() const { return mFile; }
    // The store, or null.
    const SDIFMatrixDataInterface* GetData() const { return mData.get(); }

    int GetNbRows() const { return mData ? mData->GetNbRows() : 0; }
    int GetNbCols() const { return mData ? mData->GetNbCols() : 0; }

    // Element (row, col) converted to V; out of range throws SDIFArrayPosition.
    template <class V>
    V Get(int row, int col) const {
        return Visit([&](const auto& d) { return d.template Get<V>(row, col); });
    }
    double GetDouble(int row, int col) const { return Get<double>(row, col); }
    float GetFloat(int row, int col) const { return Get<float>(row, col); }
    int GetInt(int row, int col) const { return Get<int>(row, col); }
    unsigned char GetUChar(int row, int col) const { return Get<unsigned char>(row, col); }

    template <class V>
    void Set(int row, int col, V v) {
        static_assert(std::is_arithmetic_v<V>, "matrix values are numbers");
        Visit([&](auto& d) { d.SetValue(row, col, v); });
    }
    // GetRow copies GetNbCols() values, GetCol GetNbRows() values.
    template <class V>
    void GetRow(V* out, int row) const {
        Visit([&](const auto& d) { d.CopyRow(out, row); });
    }
    template <class V>
    void SetRow(const V* in, int row) {
        Visit([&](auto& d) { d.AssignRow(in, row); });
    }
    template <class V>
    void GetCol(V* out, int col) const {
        Visit([&](const auto& d) { d.CopyCol(out, col); });
    }
    template <class V>
    void SetCol(const V* in, int col) {
        Visit([&](auto& d) { d.AssignCol(in, col); });
    }

    // The values in row-major order when the store holds T (float for
    // eFloat4, char for eText, ...), else null.
    template <class T>
    const T* Data() const {
        return StoresAs<T>(mType) && mData ? static_cast<const SDIFMatrixData<T>&>(*mData).Data()
                                           : nullptr;
    }

    // Whether the store for type holds values of T.
    template <class T>
    static bool StoresAs(SdifDataTypeET type) {
        return SdifCellTypeSwitch(
            type, [](auto kind) { return std::is_same_v<StoreValue<decltype(kind)>, T>; },
            [] { return false; });
    }

   private:
    friend class SDIFFrame;

    // Call f with the store as its concrete type; without a store, with an
    // empty one, so that every access is out of range.
    template <class F>
    decltype(auto) Visit(F&& f) const {
        if (!mData) return f(static_cast<const SDIFMatrixData<float>&>(EmptyStore()));
        return SdifCellTypeSwitch(
            mType,
            [&](auto kind) -> decltype(auto) {
                return f(static_cast<const SDIFMatrixData<StoreValue<decltype(kind)>>&>(*mData));
            },
            [&]() -> decltype(auto) {
                return f(static_cast<const SDIFMatrixData<float>&>(EmptyStore()));
            });
    }
    template <class F>
    decltype(auto) Visit(F&& f) {
        if (!mData) return f(EmptyStore());
        return SdifCellTypeSwitch(
            mType,
            [&](auto kind) -> decltype(auto) {
                return f(static_cast<SDIFMatrixData<StoreValue<decltype(kind)>>&>(*mData));
            },
            [&]() -> decltype(auto) { return f(EmptyStore()); });
    }
    // A 0 x 0 float store shared by matrices without a store of their own.
    static SDIFMatrixData<float>& EmptyStore();

    // Like Init for a read that overwrites every value at once: no zeroing,
    // storage of the same type reused.
    void PrepareRead(SdifSignature signature, SdifDataTypeET type);

    std::unique_ptr<SDIFMatrixDataInterface> mData;  // the values; null only without a store
    SdifUInt4 mReadSize = 0;                         // bytes consumed by the last Read
    SdifSignature mSignature = 0;                    // matrix signature
    SdifDataTypeET mType = eFloat4;                  // SDIF data type of the values
    SdifFileT* mFile = nullptr;                      // file last read from (not owned)
};

}  // namespace Ondel

#endif
