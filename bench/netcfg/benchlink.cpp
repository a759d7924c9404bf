#include "benchlink.h"

#include <atomic>

#include "bench.h"

namespace {

std::atomic<ULONGLONG> g_ownClock{0};

// Looked up at each use: the bench may be loaded after the server.
template <class Function> Function Find(const char* name) {
    HMODULE bench = GetModuleHandleW(L"qvbench.dll");
    FARPROC found = bench != nullptr ? GetProcAddress(bench, name) : nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(found));
}

} // namespace

void BenchLinkJournal(const wchar_t* kind, const std::wstring& text) {
    if (auto journal = Find<BenchJournalFn>("BenchJournal")) {
        journal(kind, L"%ls", text.c_str());
    }
}

bool BenchLinkTakeFault(const char* name, HRESULT* result) {
    DWORD error = 0;
    auto takeFault = Find<BenchTakeFaultFn>("BenchTakeFault");
    if (takeFault == nullptr || !takeFault(name, &error)) {
        return false;
    }
    const bool win32 = error < 0x10000 && error != static_cast<DWORD>(S_FALSE);
    *result = win32 ? HRESULT_FROM_WIN32(error != 0 ? error : ERROR_GEN_FAILURE)
                    : static_cast<HRESULT>(error);
    return true;
}

ULONGLONG BenchLinkNow() {
    auto now = Find<BenchNowFn>("BenchNow");
    return now != nullptr ? now() : g_ownClock.load();
}

void BenchLinkAdvance(DWORD milliseconds) {
    if (auto advance = Find<BenchAdvanceFn>("BenchAdvance")) {
        advance(milliseconds);
    } else {
        g_ownClock += milliseconds;
    }
}
