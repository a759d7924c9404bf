// What the program has opened and not yet closed, by kind.
#ifndef QV_BENCH_DLL_TALLY_H
#define QV_BENCH_DLL_TALLY_H

#include <windows.h>
#include <string>

namespace bench {

enum class Kind {
    Keys,
    Sets,
    DriverLists,
    Infs,
    Handles,
    Searches,
    Libraries,
    Blocks,
    Pages,
    Sids,
    Contexts,
    ImageLists,
    Icons,
    Apartments,
    Count
};

// Null and INVALID_HANDLE_VALUE are not counted. `opener` must live for good.
void Opened(Kind kind, const void* value, const char* opener);

// True when it was open. A value that was not is counted as a stray close, except for heap blocks
// and apartments, which may come from before the bench was attached.
bool Closed(Kind kind, const void* value);

std::wstring OpenCounts(); // "keys=0 sets=0 ... stray=0"
std::wstring OpenList();   // a line "kind 0xVALUE opener" for each
void ForgetOpen();

} // namespace bench

#endif
