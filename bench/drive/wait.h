// Waiting for something that another process brings about. A condition is polled; the clock is only
// the guard against a program that hangs, never the way to let something finish.
#ifndef BENCH_DRIVE_WAIT_H
#define BENCH_DRIVE_WAIT_H

#include <windows.h>

namespace drive {

const DWORD kHangGuard = 30000; // milliseconds of wall-clock time
const DWORD kPollStep = 5;      // milliseconds

// Calls `condition` until it gives true. False when it did not within `guard` milliseconds.
template <typename Condition> bool WaitUntil(Condition condition, DWORD guard = kHangGuard) {
    const ULONGLONG start = GetTickCount64();
    while (!condition()) {
        if (GetTickCount64() - start >= guard)
            return false;
        Sleep(kPollStep);
    }
    return true;
}

} // namespace drive

#endif
