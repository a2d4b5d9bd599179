// What a file is: its extension, its content, and the SDIF selection a
// name may carry.
#include <cstdio>
#include <cstring>

#include "Kv2Io.h"
#include "Kv2Sdif.h"
#include "SdifFile.h"
#include "SdifSelect.h"

namespace Kv2 {

char* kvCutSdifSelection(const char* name, char* saved) {
    const char* sel = name ? SdifSelectFindSelection(name) : nullptr;
    if (!sel) {
        *saved = 0;
        return nullptr;
    }
    char* pos = const_cast<char*>(sel);
    *saved = *pos;
    *pos = 0;
    return pos;
}

const char* Kv2GetExtension(const char* name) {
    if (!name) return nullptr;
    // The selection is only looked past, not cut: name may be read-only, and
    // the answer runs on into the selection anyway.
    const char* end = SdifSelectFindSelection(name);
    if (!end) end = name + strlen(name);
    const char* start = name;
    for (const char* p = name; p < end; ++p)
        if (*p == '/') start = p + 1;
    const char* dot = nullptr;
    for (const char* p = start; p < end; ++p)
        if (*p == '.') dot = p;
    return dot ? dot + 1 : nullptr;
}

bool Kv2IsSdifFile(const char* name) { return name && SdifCheckFileFormat(name) != 0; }

KvFormat Kv2GetFileFormat(const char* name, KvFormat defaultFormat, int& stream) {
    stream = 0;
    if (Kv2IsSdifFile(name)) return Kv2SdifGetFileFormat(name, stream);

    KvFormat f = Kv2NameToFormat(const_cast<char*>(Kv2GetExtension(name)));
    if (f == KV_FORMAT_UNKNOWN) f = defaultFormat;

    FILE* file = name ? fopen(name, "r") : nullptr;
    if (!file) {
        fprintf(stderr, "Kv2: cannot open file %s \n", name ? name : "(null)");
        return KV_FORMAT_UNKNOWN;
    }
    // One element of 1024 bytes: files shorter than that are not recognised
    // by content, and only the first byte decides text or binary.
    unsigned char buffer[1024];
    size_t nRead = fread(buffer, 1024, 1, file);
    fclose(file);
    if (nRead == 0) {
        fprintf(stderr, "Kv2: cannot read file %s \n", name);
        return KV_FORMAT_UNKNOWN;
    }
    bool binary = false;
    for (size_t i = 0; i < nRead; ++i)
        if (buffer[i] & 0x80) binary = true;

    if (f > 9) return f;
    switch (f) {
        case KV_FORMAT_ADD:
        case KV_FORMAT_FMT:
            return binary ? KV_FORMAT_FMT : KV_FORMAT_ADD;
        case KV_FORMAT_PICS:
        case KV_FORMAT_PICSBIN:
            return binary ? KV_FORMAT_PICSBIN : KV_FORMAT_PICS;
        case KV_FORMAT_RESERVED_TEXT:
        case KV_FORMAT_RESERVED_BIN:
            return binary ? KV_FORMAT_RESERVED_BIN : KV_FORMAT_RESERVED_TEXT;
        default:
            return f;
    }
}

void Kv2SetFileAttribute(char*, KvFormat) {}

}  // namespace Kv2
