// The Windows directory is reported with a trailing separator when it is a drive's root, and
// both forms must give one path.
#include "device/inf_path.h"

#include <strsafe.h>

BOOL FormInfPath(LPWSTR path, size_t cchPath, LPCWSTR windowsDirectory, LPCWSTR fileName) {
    size_t cchDirectory = wcslen(windowsDirectory);

    if (cchDirectory == 0)
        return FALSE;
    WCHAR last = windowsDirectory[cchDirectory - 1];
    LPCWSTR separator = last == L'\\' || last == L'/' ? L"" : L"\\";
    return SUCCEEDED(
        StringCchPrintfW(path, cchPath, L"%s%sInf\\%s", windowsDirectory, separator, fileName));
}
