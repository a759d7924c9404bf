// Forms paths in the system INF directory from the Windows directory. No system calls.
#pragma once

#include <windows.h>

// windowsDirectory + "\Inf\" + fileName with exactly one separator, whether or not the directory
// ends in '\' or '/'.
//   path  receives cchPath characters at most, terminated
// FALSE when the result does not fit, rather than a path that names another file, or when the
// directory is empty.
BOOL FormInfPath(LPWSTR path, size_t cchPath, LPCWSTR windowsDirectory, LPCWSTR fileName);
