// Shared helpers for the tests of the SDIF file library: start the library
// once, turn a Fatal report into a test failure instead of the end of the
// test program, record what the library reports, capture its notices.
#ifndef SDIF_TEST_ENV_H
#define SDIF_TEST_ENV_H

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "TestSupport.h"
#include "sdif.h"

namespace sdiftest {

// Thrown by TestExit when a Fatal report was not expected: it unwinds out of
// the library back to the test, which GoogleTest then marks failed.
struct FatalReport : std::runtime_error {
    FatalReport() : std::runtime_error("the SDIF library asked to exit after a Fatal report") {}
};

struct ExitState {
    int calls = 0;    // exit requests since the program started
    int allowed = 0;  // open AllowFatal scopes
};

inline ExitState& Exits() {
    static ExitState state;
    return state;
}

// Exit callback for tests.  Inside an AllowFatal scope the request is only
// counted and the library carries on (so the routine's answer can be
// checked); anywhere else the test fails and the report unwinds.
inline void TestExit() {
    ExitState& state = Exits();
    state.calls++;
    if (state.allowed > 0) return;
    ADD_FAILURE() << "the SDIF library reported a Fatal error and asked to exit";
    throw FatalReport();
}

// While alive, Fatal reports are expected; Count() tells how many came.
class AllowFatal {
   public:
    AllowFatal() : mStart(Exits().calls) { Exits().allowed++; }
    ~AllowFatal() { Exits().allowed--; }
    AllowFatal(const AllowFatal&) = delete;
    AllowFatal& operator=(const AllowFatal&) = delete;
    int Count() const { return Exits().calls - mStart; }

   private:
    int mStart;
};

inline void InstallTestExit() { SdifSetExitFunc(TestExit); }

// Start the whole library once per test program and install TestExit.
inline void StartLibrary() {
    if (!gSdifInitialised) SdifGenInit("");
    InstallTestExit();
}

// The minimal start-up of the byte layer alone (host kind, thread key,
// started flag, error stream), for the tests of the byte layer, errors and
// containers, which must not depend on the rest of the library.  A program
// that uses it cannot call StartLibrary afterwards (the flag is set).
inline void StartByteLayerOnly() {
    SdifInitMachineType();
    SdifInitGlobalsKey();
    gSdifInitialised = 1;
    if (!SdifStdErr) SdifStdErr = stderr;
    InstallTestExit();
}

// Fixture for tests that need the started library.
class SdifLibraryTest : public ::testing::Test {
   protected:
    void SetUp() override { StartLibrary(); }
};

// A file object that has only a stream (closed at the end) and an error
// list: enough for the byte layer, without SdifFOpen.
struct StreamFile {
    SdifFileT file{};
    explicit StreamFile(FILE* stream, const char* name = "mem.sdif") {
        file.Name = const_cast<char*>(name);
        file.Stream = stream;
        file.Errors = SdifCreateErrorL(&file);
    }
    ~StreamFile() {
        if (file.Errors) SdifKillErrorL(file.Errors);
        if (file.Stream) std::fclose(file.Stream);
    }
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;
    SdifFileT* operator->() { return &file; }
    SdifFileT* get() { return &file; }
};

// One report that reached the error or warning callback.
struct Report {
    SdifErrorTagET tag;
    SdifErrorLevelET level;
    std::string text;  // the composed diagnostic
    SdifFileT* file;
    SdifErrorT* error;  // the record just appended, or none
};

// While alive, the error and warning callbacks record into Reports() instead
// of printing (Fatal reports still go on to the exit callback); the previous
// callbacks come back at the end of the scope.
class RecordReports {
   public:
    RecordReports() : mOldError(gSdifErrorFunc), mOldWarning(gSdifWarningFunc) {
        Reports().clear();
        SdifSetErrorFunc(Record);
        SdifSetWarningFunc(Record);
    }
    ~RecordReports() {
        SdifSetErrorFunc(mOldError);
        SdifSetWarningFunc(mOldWarning);
    }
    RecordReports(const RecordReports&) = delete;
    RecordReports& operator=(const RecordReports&) = delete;

    static std::vector<Report>& Reports() {
        static std::vector<Report> reports;
        return reports;
    }
    // Tags in the order reported.
    static std::vector<int> Tags() {
        std::vector<int> tags;
        for (const Report& r : Reports()) tags.push_back(r.tag);
        return tags;
    }
    // The formatted message that ends the last diagnostic (after "--> "),
    // without the line feeds that close it.
    static std::string LastMessage() {
        if (Reports().empty()) return "";
        const std::string& t = Reports().back().text;
        size_t at = t.rfind("--> ");
        std::string m = at == std::string::npos ? t : t.substr(at + 4);
        while (!m.empty() && m.back() == '\n') m.pop_back();
        return m;
    }

   private:
    static void Record(SdifErrorTagET tag, SdifErrorLevelET level, char* text, SdifFileT* file,
                       SdifErrorT* error, char*, int) {
        Reports().push_back({tag, level, text ? text : "", file, error});
    }
    SdifExceptionFuncT mOldError;
    SdifExceptionFuncT mOldWarning;
};

// While alive, SdifStdErr is a temporary file; Text() answers what the
// library printed on it so far.
class CaptureSdifStdErr {
   public:
    CaptureSdifStdErr() : mOld(SdifStdErr), mFile(std::tmpfile()) { SdifStdErr = mFile; }
    ~CaptureSdifStdErr() {
        SdifStdErr = mOld;
        if (mFile) std::fclose(mFile);
    }
    CaptureSdifStdErr(const CaptureSdifStdErr&) = delete;
    CaptureSdifStdErr& operator=(const CaptureSdifStdErr&) = delete;

    std::string Text() {
        std::string s;
        if (!mFile) return s;
        std::fflush(mFile);
        long end = std::ftell(mFile);
        std::rewind(mFile);
        int c;
        while ((c = std::fgetc(mFile)) != EOF) s.push_back(static_cast<char>(c));
        std::fseek(mFile, end, SEEK_SET);
        return s;
    }

   private:
    FILE* mOld;
    FILE* mFile;
};

// Open path and read past the general header and the ASCII chunks: the first
// frame signature waits in CurrSignature.
inline SdifFileT* OpenAtFirstFrame(const std::string& path) {
    SdifFileT* f = SdifFOpen(path.c_str(), eReadFile);
    if (!f) return nullptr;
    EXPECT_EQ(SdifFReadGeneralHeader(f), 16u);
    SdifFReadAllASCIIChunks(f);
    return f;
}

// The same on bytes saved under name.
inline SdifFileT* OpenBytes(const std::string& name, const std::string& bytes) {
    return OpenAtFirstFrame(testsupport::SaveTemp(name, bytes));
}

}  // namespace sdiftest

#endif
