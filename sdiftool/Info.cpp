// sdiftool info: what SDIF files hold, as text or as a JSON array.
#include "Info.h"

#include <cstdio>

#include "SdifTool.h"
#include "sdifentity.h"

namespace SdifTool {

int Info(const Args& args) {
    bool json = false;
    std::vector<std::string> names;
    for (const std::string& a : args) {
        if (a == "--json")
            json = true;
        else if (a.size() > 1 && a[0] == '-')
            throw Failure("unknown option " + a);
        else
            names.push_back(a);
    }
    if (names.empty()) throw Failure("no input file");
    Ondel::OndelInit("");

    Output out;
    int status = 0;
    if (json) out.Write("[");
    for (size_t i = 0; i < names.size(); ++i) {
        const Tidy::FileInfo info = Tidy::Describe(names[i]);
        if (json)
            out.Write((i ? ",\n" : "\n") + Tidy::InfoJson(info));
        else
            out.Write((i ? "\n" : "") + Tidy::InfoText(info));
        if (!info.error.empty()) {
            std::fflush(stdout);
            std::fprintf(stderr, "sdiftool info: %s: %s\n", info.name.c_str(), info.error.c_str());
            status = 1;
        }
    }
    if (json) out.Write("\n]\n");
    out.Finish();
    return status;
}

}  // namespace SdifTool
