#include "clock.h"

#include "bench.h"
#include "data.h"
#include "last_error.h"
#include "lock.h"
#include "network_class.h"

namespace bench {

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
const wchar_t kClock[] = L"Clock";

} // namespace

UINT64 Now() {
    UINT64 now = 0;
    ReadLongNumber(kBenchKey, kClock, &now);
    return now;
}

void Advance(DWORD milliseconds) {
    Guard guard(&g_lock);
    UINT64 end = Now() + milliseconds;
    UINT64 due;
    while (NextPublication(&due) && due <= end) {
        if (due > Now())
            WriteLongNumber(kBenchKey, kClock, due);
        PublishDueAddresses();
    }
    WriteLongNumber(kBenchKey, kClock, end);
}

} // namespace bench

UINT64 WINAPI BenchNow(void) {
    bench::KeepLastError keep;
    return bench::Now();
}

void WINAPI BenchAdvance(DWORD milliseconds) {
    bench::KeepLastError keep;
    bench::Advance(milliseconds);
}
