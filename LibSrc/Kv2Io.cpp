// Library state, format names and file handles.
#include "Kv2Io.h"

#include <strings.h>

#include <cstring>

#include "Kv2Sdif.h"
#include "Kv2Synt.h"
#include "SdifAssert.h"
#include "SdifFile.h"
#include "SdifSelect.h"

namespace Kv2 {

namespace {

// The stops below print this file and line; both are part of the library's
// documented diagnostics, so they are given explicitly rather than taken from
// wherever the code happens to sit.
const char* const kIoSource = "LibSrc/Kv2Io.cpp";

}  // namespace

KvNameToFormat n2f[9] = {
    {"format", KV_FORMAT_ADD, 0},      {"ADD", KV_FORMAT_ADD, 0},
    {"add", KV_FORMAT_ADD, 0},         {"fmt", KV_FORMAT_FMT, 0},
    {"sdif", KV_FORMAT_SDIF_TRC, 0},   {"SDIF", KV_FORMAT_SDIF_TRC, 0},
    {"picsbin", KV_FORMAT_PICSBIN, 0}, {"pics", KV_FORMAT_PICS, 0},
    {"", KV_FORMAT_UNKNOWN, 0},
};

bool kvInitialised = false;
bool deinitOndel = false;

FILEIO::~FILEIO() {
    delete sdif;
    sdif = nullptr;
    if (file && ownsFile) fclose(file);
    file = nullptr;
}

// ---- Library state ----

bool Kv2Init() {
    SdifAssertAt(((!kvInitialised) && "Kv Library already initialised"), kIoSource, 323);
    kvInitialised = true;
    for (int i = 0; i < 8; ++i) n2f[i].length = static_cast<int>(strlen(n2f[i].name));
    Kv2AddSyntInit();
    Kv2SdifInit();
    return true;
}

bool Kv2InitCond() {
    if (kvInitialised) return true;
    return Kv2Init();
}

bool Kv2DeInit() {
    SdifAssertAt(kvInitialised && "Kv Library not initialised", kIoSource, 363);
    Kv2Synth_FreeStatic();
    Kv2SdifDeInit();
    return true;
}

bool Kv2SdifInit() {
    deinitOndel = Ondel::OndelInit("");
    return deinitOndel;
}

void Kv2SdifDeInit() {
    if (deinitOndel) Ondel::OndelEnd();
}

void Kv2SdifPrintVersion() { SdifPrintVersion(); }

// ---- Format names ----

KvFormat Kv2NameToFormat(char* name) {
    SdifAssertAt(kvInitialised && "Kv2 Library not initialised", kIoSource, 410);
    if (!name) return KV_FORMAT_UNKNOWN;
    size_t len = strlen(name);
    for (int i = 0; i < 8; ++i) {
        if (static_cast<size_t>(n2f[i].length) <= len &&
            strncasecmp(n2f[i].name, name, static_cast<size_t>(n2f[i].length)) == 0)
            return n2f[i].format;
    }
    return n2f[8].format;
}

const char* Kv2FormatToName(KvFormat f) {
    SdifAssertAt(kvInitialised && "Kv2 Library not initialised", kIoSource, 439);
    for (int i = 0; i < 8; ++i)
        if (n2f[i].format == f) return n2f[i].name;
    return n2f[8].name;
}

// ---- Handles ----

FILEIO* Kv2OpenFile(const char* name, KV_FILEMODE mode, KvFormat format, int stream,
                    std::vector<std::string>* nvts) {
    bool useStd = !name || name[0] == 0 || strcmp(name, "-") == 0;
    SdifAssertAt(mode < KV_NMODE, kIoSource, 589);
    if (format > KV_FORMAT_PICSBIN || format < 0 || mode < 0) return nullptr;

    switch (format) {
        case KV_FORMAT_ADD:
        case KV_FORMAT_FMT:
        case KV_FORMAT_PICS:
        case KV_FORMAT_PICSBIN: {
            FILEIO* f = new FILEIO;
            if (useStd) {
                f->file = mode == KV_READ ? stdin : stdout;
                f->ownsFile = false;
            } else {
                static const char* const modes[] = {"r", "w", "w+"};
                f->file = fopen(name, modes[mode]);
            }
            f->mode = mode;
            f->format = format;
            return f;
        }
        default:
            if (mode == KV_READ) return Kv2SdifOpenRead(name, format, stream);
            return Kv2SdifOpenWrite(name, format, nvts);
    }
}

void Kv2CloseFile(FILEIO* f) { delete f; }

void Kv2SdifClose(FILEIO* f) { delete f; }

bool FILEIOIsValid(FILEIO* f) {
    if (!f) return false;
    if (!f->file && !f->sdif) return false;
    return f->format != KV_FORMAT_UNKNOWN;
}

bool Kv2IsSdif(FILEIO* f) { return f && f->sdif; }

bool Kv2IsEOF(FILEIO* f) {
    if (!f) return true;
    if (f->file) return feof(f->file) != 0;
    return Kv2SdifIsEOF(f);
}

bool Kv2SdifIsEOF(FILEIO* f) {
    if (!f || !f->sdif) return false;
    return f->sdif->eof();
}

long Kv2GetFilePos(FILEIO* f) {
    if (!f) return -1;
    if (f->file) return ftell(f->file);
    return Kv2SdifGetFilePos(f);
}

long Kv2SdifGetFilePos(FILEIO* f) {
    if (!f || !f->sdif) return -1;
    SdifFileT* file = f->sdif->GetFile();
    FILE* stream = file ? SdifFGetStream(file) : nullptr;
    if (!stream) return -1;
    return ftell(stream);
}

bool Kv2IsSeekable(FILEIO* f) {
    if (!f || !f->sdif) return false;
    SdifFileT* file = f->sdif->GetFile();
    return file && SdifFIsSeekable(file);
}

int Kv2GetNumStreams(FILEIO* f) {
    if (!f || !f->sdif) return 0;
    SdifFileT* file = f->sdif->GetFile();
    return file ? SdifFNumStreamsSelected(file) : 0;
}

}  // namespace Kv2
