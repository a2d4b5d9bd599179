// A plain main for a fuzz target: runs its entry point once on every file
// named, or on every file of every folder named (in name order), so that the
// seed corpus and the kept crash inputs replay in the ordinary test runs,
// under any compiler and without libFuzzer.  As libFuzzer's -timeout does, it
// fails an input that takes too long: these inputs are at most a few hundred
// kilobytes, and work that no byte of them backs is a finding too.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

// CPU seconds one input may take, sanitizers included (the slowest input
// known takes a tenth of a second under AddressSanitizer).
constexpr double kSecondsPerInput = 5.0;

bool ReadWhole(const std::string& path, std::vector<uint8_t>& bytes) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    bytes.clear();
    uint8_t buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.insert(bytes.end(), buf, buf + n);
    std::fclose(f);
    return true;
}

void Collect(const std::string& path, std::vector<std::string>& files) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return;
    if (!S_ISDIR(st.st_mode)) {
        files.push_back(path);
        return;
    }
    DIR* dir = opendir(path.c_str());
    if (!dir) return;
    std::vector<std::string> names;
    while (dirent* e = readdir(dir))
        if (e->d_name[0] != '.') names.push_back(e->d_name);
    closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) Collect(path + "/" + name, files);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        size_t before = files.size();
        Collect(argv[i], files);
        if (files.size() == before) std::fprintf(stderr, "replay: nothing to run in %s\n", argv[i]);
    }
    if (files.empty()) return 2;
    std::vector<uint8_t> bytes;
    for (const std::string& file : files) {
        // Named first, so that the input of a crash is the last one printed.
        std::printf("replay %s\n", file.c_str());
        std::fflush(stdout);
        if (!ReadWhole(file, bytes)) {
            std::fprintf(stderr, "replay: cannot read %s\n", file.c_str());
            return 2;
        }
        const std::clock_t start = std::clock();
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
        if (seconds > kSecondsPerInput) {
            std::fprintf(stderr, "replay: %s took %.1f s of CPU, more than %.0f\n", file.c_str(),
                         seconds, kSecondsPerInput);
            return 1;
        }
    }
    std::printf("replayed %zu inputs\n", files.size());
    return 0;
}
