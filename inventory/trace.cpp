// Why a file of its own: release builds leave it out entirely.
#include "inventory/trace.h"

#include <stdarg.h>
#include <strsafe.h>

void TraceLine(const WCHAR* format, ...) {
    DWORD dwError = GetLastError();
    WCHAR szLine[512];
    va_list arguments;

    va_start(arguments, format);
    StringCchVPrintfW(szLine, ARRAYSIZE(szLine), format, arguments);
    va_end(arguments);
    OutputDebugStringW(szLine);
    SetLastError(dwError);
}
