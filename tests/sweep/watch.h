// Watches the program from inside: which routine each thread is in, as the trace of a debug build
// tells, which calls it makes there, and which of them were made to fail. A run that makes more calls
// than any run can need, and a run that crashes, end the process.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// A call as it was made: its name and the routines that led to it, the outermost first. A routine is
// its line of the trace, "InfMatches: oem3.inf"; CreateTeam tells its step, "CreateTeam.5".
struct CallSeen {
    std::string call;
    std::vector<std::string> routines;
    std::vector<unsigned> entries; // of each routine, counted over the run

    std::string text() const; // "call in routine < routine < routine"
};

enum EndOfRun : UINT { kEndCrash = 201, kEndHang = 202 };

// Called with what happened, right before the process ends with that code.
using LastWords = void (*)(EndOfRun end, const std::string& what);

// Once per process. The core has to be attached to the bench.
void WatchProgram(LastWords lastWords);

// Forgets what was seen. `ceiling`: calls that the run may make; 0 sets no limit and keeps every call.
void WatchRun(unsigned long ceiling);

// Made to fail since then, in order.
std::vector<CallSeen> FaultsSeen();
unsigned long CallsSeen();

// Every call since then, in order, when it was begun without a limit.
std::vector<CallSeen> AllCallsSeen();
