// The bench clock: simulated milliseconds, kept with the machine's data so that a later process
// goes on where this one stopped. The only events are addresses that virtual adapters publish.
#ifndef QV_BENCH_DLL_CLOCK_H
#define QV_BENCH_DLL_CLOCK_H

#include <windows.h>

namespace bench {

UINT64 Now();
void Advance(DWORD milliseconds);

} // namespace bench

#endif
