#include "sdifnamevaluetable.h"

#include <iostream>

namespace Ondel {

int SDIFNameValueTable::AddNameValue(const std::string& name, const std::string& value) {
    mNameValues[name] = value;
    return static_cast<int>(mNameValues.size());
}

bool SDIFNameValueTable::GetValue(const std::string& name, std::string& value) const {
    auto it = mNameValues.find(name);
    if (it == mNameValues.end()) return false;
    value = it->second;
    return true;
}

std::string SDIFNameValueTable::GetValue(const std::string& name) const {
    auto it = mNameValues.find(name);
    return it == mNameValues.end() ? std::string("UNKNOWN NAME") : it->second;
}

void SDIFNameValueTable::PrintNameValueTable() const {
    for (const auto& nv : mNameValues) std::cout << nv.first << "\t\t" << nv.second << "\n";
}

void SDIFNameValueTable::PrintNameValue(const std::string& name) const {
    std::cout << name << "\t\t" << GetValue(name) << std::endl;
}

}  // namespace Ondel
