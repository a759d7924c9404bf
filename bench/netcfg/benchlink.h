// The way from the server to qvbench.dll, when that is in the process: journal, faults and clock.
// Without it nothing is journalled, no call fails on demand, and the clock is the server's own.
#pragma once

#include <windows.h>

#include <string>

void BenchLinkJournal(const wchar_t* kind, const std::wstring& text = {});

// Counts the call. TRUE when it has to end with *result instead of its own; an injected number
// below 0x10000 other than S_FALSE is taken as a Win32 error.
bool BenchLinkTakeFault(const char* name, HRESULT* result);

// The bench clock in milliseconds; the server's own starts at 0 with the process.
ULONGLONG BenchLinkNow();
void BenchLinkAdvance(DWORD milliseconds);
