// How often each call was made, and which calls are to be held, to show a box or to fail. A command
// selects the calls by NAME, or by NAME:DETAIL (call_details.h).
#ifndef QV_BENCH_DLL_CALL_STATE_H
#define QV_BENCH_DLL_CALL_STATE_H

#include <windows.h>
#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "bench.h"
#include "calls.h"

namespace bench {

struct PendingFault {
    DWORD nth; // calls to go, 1 = the next one
    DWORD asked;
    bool all;
    Failure failure;
};

// A call that is to be held, or to show a box first.
struct PendingStop {
    DWORD nth;          // calls to go, 1 = the next one
    DWORD exceptThread; // whose calls are neither counted nor stopped; 0: none
};

// All calls of one function, or those that ask for one thing.
struct Selection {
    DWORD count = 0;
    std::vector<PendingFault> faults;
    std::vector<PendingStop> holds;
    std::vector<PendingStop> prompts;
};

struct CallState : Selection {
    std::map<std::string, Selection> details; // those that a command has named
    std::atomic<bool> detailed{false};        // there are such
};

// The state of the calls of `name`; it lives for good.
CallState* CallOf(const std::string& name);

// Counts a call, waits while it is held; true when it has to fail.
//   detail  what the call asks for; "" when it has no detail or no command has named the detail
bool TakeCallOf(CallState* call, const char* name, const std::string& detail, Failure* failure);

} // namespace bench

#endif
