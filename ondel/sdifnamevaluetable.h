// One SDIF name-value table (a "1NVT" chunk) as an object: text names mapped
// to text values, tagged with the stream the table belongs to.
#ifndef ONDEL_SDIFNAMEVALUETABLE_H
#define ONDEL_SDIFNAMEVALUETABLE_H

#include <map>
#include <string>

namespace Ondel {

class SDIFNameValueTable {
   public:
    SDIFNameValueTable() = default;

    // Set (or overwrite) the value of name; answers the number of names afterwards.
    int AddNameValue(const std::string& name, const std::string& value);
    // Copy the value of name and answer true; false leaves value unchanged.
    bool GetValue(const std::string& name, std::string& value) const;
    // The value of name, or "UNKNOWN NAME" when absent.
    std::string GetValue(const std::string& name) const;

    int GetNbNameValue() const { return static_cast<int>(mNameValues.size()); }
    unsigned int GetStreamID() const { return mStreamID; }
    void SetStreamID(const unsigned int& streamID) { mStreamID = streamID; }

    // Entries in name order, for walking the table.
    const std::map<std::string, std::string>& GetNameValues() const { return mNameValues; }
    // Remove every entry; the stream ID stays.
    void Clear() { mNameValues.clear(); }

    // Every entry as name, "\t\t", value, line feed, on standard output.
    void PrintNameValueTable() const;
    // One entry in the same form ("UNKNOWN NAME" when absent).
    void PrintNameValue(const std::string& name) const;

   private:
    std::map<std::string, std::string> mNameValues;  // sorted by name, each once
    unsigned int mStreamID = 0;                      // stream the table is attached to
};

}  // namespace Ondel

#endif
