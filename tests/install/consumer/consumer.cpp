// Uses each installed library once: the partial library starts the object
// layer, which starts the SDIF library; a real analysis file is then probed
// through all three.
#include <cstdio>
#include <cstring>

#include "Kv2Io.h"
#include "sdif.h"
#include "sdifentity.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: consumer FILE.sdif\n");
        return 2;
    }
    int failures = 0;
    auto expect = [&failures](bool ok, const char* what) {
        if (!ok) {
            std::fprintf(stderr, "consumer: %s\n", what);
            ++failures;
        }
    };

    expect(Kv2::Kv2Init(), "Kv2Init failed");
    expect(gSdifInitialised != 0, "the SDIF library was not started by Kv2Init");
    // Already started: OndelInit only installs its callback and says so.
    expect(!Ondel::OndelInit(""), "OndelInit started the SDIF library a second time");
    expect(SdifStringToSignature("1TRC") == 0x31545243u, "1TRC signature");
    expect(std::strcmp(Kv2::Kv2FormatToName(Kv2::KV_FORMAT_SDIF_TRC), "sdif") == 0,
           "name of the 1TRC format");

    // Partial tracks in stream 0.
    int stream = -1;
    Kv2::KvFormat format = Kv2::Kv2GetFileFormat(argv[1], Kv2::KV_FORMAT_UNKNOWN, stream);
    expect(format == Kv2::KV_FORMAT_SDIF_TRC, "format of the analysis file");
    expect(stream == 0, "stream of the analysis file");
    std::printf("format %d, stream %d\n", static_cast<int>(format), stream);

    Kv2::Kv2DeInit();
    return failures == 0 ? 0 : 1;
}
