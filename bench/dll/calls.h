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

// Index of a function in the table, or -1.
int FindWrapper(const char* name);
void* WrapperAt(int index);

// `original`: what the import slot held, called from then on unless a stand-in replaces it.
void SetOriginal(int index, void* original);

// `nth` counts from now, 1 = the next call.
struct FaultRequest {
    std::string name;
    DWORD nth;
    bool all;
    Failure failure;
};
void AddFault(const FaultRequest& request);
void AddHold(const std::string& name, DWORD nth, DWORD exceptThread);
void AddPrompt(const std::string& name, DWORD nth); // shows a box of no owner, as installers do
void ClearFaults();                                 // also lets held calls go on
void ReleaseHeld();
std::string HeldCall(); // "" when no call is held

bool CallCount(const std::string& name, DWORD* count); // false for an unknown name never called
std::wstring CallCounts();                             // a line "NAME count" for each
void ResetCounts();

} // namespace bench

#endif
