// The one trace routine. A release build drops the call with its arguments and texts, yet still
// compiles them; a debug build sends each line to the debugger.
//
// Every routine that asks or changes the system traces its way; decisions from values to values have
// nothing to tell that their caller does not.
//
//   Trace(L"-->CreateTeam:\n");            entry
//   Trace(L"   CreateTeam: no rights\n");  a step in between
//   Trace(L"<--CreateTeam:\n");            exit
#pragma once

#include <windows.h>

// Formats at most 511 characters. Leaves the thread's last error as it was.
void TraceLine(const WCHAR* format, ...);

#ifdef QV_TRACE
#define Trace(...) TraceLine(__VA_ARGS__)
#else
#define Trace(...)                                                                                 \
    do {                                                                                           \
        if (false)                                                                                 \
            TraceLine(__VA_ARGS__);                                                                \
    } while (0)
#endif
