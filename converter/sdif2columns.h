// The converter's settings and driver: globals filled from the command line,
// the choice of the input kind and the run.
#ifndef SDIF2COLUMNS_H
#define SDIF2COLUMNS_H

#include <cstdio>
#include <string>
#include <vector>

#include "Kv2Io.h"
#include "SafeOutput.h"

// Columns that -O can ask for, with their letters t s d f p a n.
enum OutputField {
    eTime = 0,       // t: time of a point of a track
    eStart = 1,      // s: frame time, or a track's start time
    eDuration = 2,   // d: end time minus start time of a track
    eFrequency = 3,  // f
    ePhase = 4,      // p
    eAmplitude = 5,  // a
    eCount = 6       // n: partials in the frame, or points in the track
};

extern FILE* gFile;                             // destination of all text output
extern std::string gSrcFile;                    // input SDIF path
extern std::string gDstFile;                    // output path; empty: standard output
extern std::vector<OutputField> gFormatVector;  // columns chosen with -O, in order
extern char gSeparator[2];                      // between two columns
extern char gNewLine[2];                        // at the end of a line
extern bool gOutputPartials;                    // -p: tracks instead of frames

void ParseArguments(int argc, char* const* argv);
void SetupFormat(char* list);
bool OpenDestinationFile(std::string const& path);
bool DiscoverFileType(Kv2::KvFormat& format, char const* path, int& aux);
bool ArgStrsEqual(char const* a, char const* b);
void usage(char*, char*, int);
void PrintChordSeq(char const* path, int aux);
void PrintPartialTracking(char const* path, Kv2::KvFormat format, int aux);

// The program's whole run (main only forwards to it); answers 0, and ends
// every failed run through Sdif2ColumnsExit(1).
int Sdif2ColumnsRun(int argc, char** argv);

// Ending a failed run: the hook, when one is installed, then exit(status).
// An in-process harness installs a hook that throws, so that a failed run
// unwinds back to it instead of ending the process.
using Sdif2ColumnsExitHook = void (*)(int status);
Sdif2ColumnsExitHook Sdif2ColumnsSetExitHook(Sdif2ColumnsExitHook hook);  // answers the old one
[[noreturn]] void Sdif2ColumnsExit(int status);
// A write to the destination failed: the message (none for a broken pipe),
// then the failed run's exit.
[[noreturn]] void FailWriting(Cli::WriteStatus status);
// The settings as before the first run; an output file left open by a run
// that was cut short is closed and its unwritten text dropped.
void Sdif2ColumnsReset();

#endif
