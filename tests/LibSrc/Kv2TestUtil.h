// Helpers shared by the tests of the partial library: its start-up, stops
// that unwind instead of aborting, and frame sets written and read compactly.
#ifndef KV2_TEST_UTIL_H
#define KV2_TEST_UTIL_H

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Kv2Io.h"
#include "Kv2Partials.h"
#include "SdifAssert.h"
#include "TestSupport.h"

namespace kv2test {

constexpr double kTwoPi = 6.283185307179586;

class Kv2Environment : public ::testing::Environment {
   public:
    void SetUp() override { Kv2::Kv2InitCond(); }
};
// Test programs that need the started library name this once.
inline const bool kKv2Started = (::testing::AddGlobalTestEnvironment(new Kv2Environment), true);

struct Stopped : std::runtime_error {
    using std::runtime_error::runtime_error;
};
inline void ThrowingStop(const char*, unsigned, const char* expr) { throw Stopped(expr); }

// Runs stmt with the stop handler throwing; answers what it printed, without
// the line number ("file: failed assertion ...").
template <class F>
std::string StopText(F stmt) {
    SdifStopFuncT old = SdifSetStopFunc(ThrowingStop);
    ::testing::internal::CaptureStderr();
    bool stopped = false;
    try {
        stmt();
    } catch (Stopped const&) {
        stopped = true;
    }
    std::string err = ::testing::internal::GetCapturedStderr();
    SdifSetStopFunc(old);
    EXPECT_TRUE(stopped);
    size_t colon = err.find(':');
    size_t end = err.find(':', colon + 1);
    if (colon != std::string::npos && end != std::string::npos) err.erase(colon, end - colon);
    return err;
}

using P = Kv2::PartialSet::PartialParam;
using C = Kv2::ChordSet::PartialParam;

inline P Rec(int id, float f, float a, float ph,
             Kv2::PartialSet::PartialState st = Kv2::PartialSet::ePartial, double time = 0.0) {
    P p(id, f, a, ph, 0.0f, st);
    p.time = time;
    return p;
}

template <class Set>
Set MakeSet(double t, std::vector<typename Set::PartialParam> recs) {
    Set s(t, 0);
    s.params() = std::move(recs);
    return s;
}
inline Kv2::PartialSet Frame(double t, std::vector<P> recs) {
    return MakeSet<Kv2::PartialSet>(t, std::move(recs));
}
inline Kv2::ChordSet Chord(double t, std::vector<C> recs) {
    return MakeSet<Kv2::ChordSet>(t, std::move(recs));
}

// "id:state" of every record in order, blank-separated, for one comparison.
template <class Set>
std::string Ids(const Set& set) {
    std::ostringstream o;
    for (int i = 0; i < set.size(); ++i) o << (i ? " " : "") << set[i].id << ":" << set[i].state;
    return o.str();
}

// Records [from, to) as "id freq amp phase state", separated by " | "; the
// values to six digits, as a stream prints them.
template <class Set>
std::string Recs(const Set& set, int from = 0, int to = -1) {
    std::ostringstream o;
    if (to < 0) to = set.size();
    for (int i = from; i < to; ++i)
        o << (i > from ? " | " : "") << set[i].id << " " << set[i].freq << " " << set[i].amp << " "
          << set[i].phase << " " << set[i].state;
    return o.str();
}

// The bytes saved under name, opened for reading in format.
inline Kv2::FILEIO* OpenSaved(const std::string& name, const std::string& bytes,
                              Kv2::KvFormat format) {
    return Kv2::Kv2OpenFile(testsupport::SaveTemp(name, bytes).c_str(), Kv2::KV_READ, format, -1,
                            nullptr);
}

// A handle closed at the end of the scope (or of the full expression).
struct Handle {
    Kv2::FILEIO* f;
    explicit Handle(Kv2::FILEIO* h) : f(h) {}
    ~Handle() { Kv2::Kv2CloseFile(f); }
};

// Each read as "stream time: records", or "fail stream" when read answers a
// negative stream; reading stops after the given number of failures.
template <class Set, class Read>
std::vector<std::string> Reads(Kv2::FILEIO* f, Read read, int failures = 1) {
    std::vector<std::string> out;
    Set set;
    for (int failed = 0; failed < failures;) {
        std::ostringstream o;
        int stream = read(f, set);
        if (stream < 0)
            o << "fail " << stream, ++failed;
        else
            o << stream << " " << set.time << ": " << Recs(set);
        out.push_back(o.str());
    }
    return out;
}

}  // namespace kv2test

#endif
