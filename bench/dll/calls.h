// The table of wrapped functions, and what a call of one goes through before it reaches the real
// function or its stand-in: it is counted, held, made to fail, and its handle is tallied.
#ifndef QV_BENCH_DLL_CALLS_H
#define QV_BENCH_DLL_CALLS_H

#include <windows.h>
#include <string>

namespace bench {

struct Failure {
    DWORD error;
    bool hasValue;
    LONGLONG value;
};

// Counts a call of `name`, waits while it is held; true when it has to fail.
bool TakeCall(const char* name, Failure* failure);

// Enters every wrapped function into the calls that are counted.
void NameAllCalls();

// Index of a function in the table, or -1.
int FindWrapper(const char* name);
void* WrapperAt(int index);

// `original`: what the import slot held, called from then on unless a stand-in replaces it.
void SetOriginal(int index, void* original);

// For a stand-in of a function that this module would take from another version of its library.
void* OriginalOf(const char* name);

// `nth` counts from now, 1 = the next call.
struct FaultRequest {
    std::string name;
    DWORD nth;
    bool all;
    Failure failure;
};

// Each takes NAME or NAME:DETAIL (call_details.h); false when there is no such detail. A detail is
// counted from the first time that one of them names it.
bool AddFault(const FaultRequest& request);
bool AddHold(const std::string& name, DWORD nth, DWORD exceptThread);
bool AddPrompt(const std::string& name, DWORD nth); // shows a box of no owner, as installers do
bool AddCount(const std::string& name);
void ClearFaults(); // also lets held calls go on
void ReleaseHeld();
std::string HeldCall(); // "" when no call is held

// False for an unknown name that was never called, and for a detail that nothing has named yet.
bool CallCount(const std::string& name, DWORD* count);
std::wstring CallCounts(); // a line "NAME count" for each, without details
void ResetCounts();

} // namespace bench

#endif
