// The plain partial-set and peak readers on a stream in memory: the first
// byte picks the format (text or binary partial sets, "pics" or "picsbin")
// and the partial limit; the rest is the file.  Partial-set files are then
// read again whole through a container, as a converter would, within the
// memory budget of a file of that size (a stream in memory has no size the
// readers could find).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "FuzzSupport.h"
#include "Kv2Io.h"
#include "PartialsContainer.h"
#include "SdifHard_OS.h"

namespace {

using Kv2::FILEIO;
using Kv2::KvFormat;
using Kv2::PartialSet;

FILEIO* OpenMemory(const uint8_t* data, size_t size, KvFormat format) {
    // fmemopen refuses a buffer of no bytes: an empty file is a byte past
    // the end, never read.
    static const uint8_t kEmpty = 0;
    FILE* stream = size ? fmemopen(const_cast<uint8_t*>(data), size, "rb")
                        : fmemopen(const_cast<uint8_t*>(&kEmpty), 1, "rb");
    if (!stream) std::abort();
    if (!size) std::fgetc(stream);
    auto* f = new FILEIO;
    f->file = stream;
    f->format = format;
    f->mode = Kv2::KV_READ;
    return f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Init(true);
    if (size == 0) return 0;
    static const KvFormat kFormats[] = {Kv2::KV_FORMAT_ADD, Kv2::KV_FORMAT_FMT, Kv2::KV_FORMAT_PICS,
                                        Kv2::KV_FORMAT_PICSBIN};
    static const int kLimits[] = {-1, 0, 1, 2, 3, 5, 1000, -7};
    const KvFormat format = kFormats[data[0] & 3];
    const int limit = kLimits[(data[0] >> 2) & 7];
    ++data;
    --size;

    FILEIO* f = OpenMemory(data, size, format);
    PartialSet set;
    volatile int sink = 0;
    int stream = 0;
    if (format == Kv2::KV_FORMAT_ADD || format == Kv2::KV_FORMAT_FMT) {
        while (Kv2::Kv2ReadPartialSet2(f, set, stream, limit)) sink = sink + set.size();
    } else {
        while (Kv2::Kv2ReadPeaksSet2(f, set, limit, 44100.0f)) sink = sink + set.size();
    }
    Kv2::Kv2CloseFile(f);

    if (format == Kv2::KV_FORMAT_ADD || format == Kv2::KV_FORMAT_FMT) {
        SdifSetBudget(SdifBudgetForSize(static_cast<long long>(size)));
        Quorlin::PartialsContainer<PartialSet> container;
        Kv2::Kv2File file;
        file.mHandle = OpenMemory(data, size, format);
        try {
            if (container.ReadFromFile(file)) {
                container.UpdatePartials();
                sink = sink + static_cast<int>(container.GetPartials().size());
            }
        } catch (const std::bad_alloc&) {
            // the second pass past the budget: a failed run
        }
        SdifSetBudget(0);
    }
    return 0;
}
