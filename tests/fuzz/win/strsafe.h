// Bounded texts. Each ends with a terminator whatever it says; too long a text is cut.
#pragma once

#include <windows.h>

constexpr HRESULT STRSAFE_E_INSUFFICIENT_BUFFER = static_cast<HRESULT>(0x8007007A);
constexpr HRESULT STRSAFE_E_INVALID_PARAMETER = static_cast<HRESULT>(0x80070057);

HRESULT StringCchCopyW(LPWSTR to, size_t cchTo, LPCWSTR from);
HRESULT StringCchCatW(LPWSTR to, size_t cchTo, LPCWSTR from);
HRESULT StringCchPrintfW(LPWSTR to, size_t cchTo, LPCWSTR format, ...);
