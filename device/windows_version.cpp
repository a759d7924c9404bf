// Everybody who asks must say how large the record is.
#include "device/windows_version.h"

#include "inventory/trace.h"

BOOL ReadWindowsVersion(OSVERSIONINFOW* version) {
    ZeroMemory(version, sizeof(*version));
    version->dwOSVersionInfoSize = sizeof(*version);
    if (GetVersionExW(version))
        return TRUE;
    Trace(L"   ReadWindowsVersion: unknown %d\n", GetLastError());
    ZeroMemory(version, sizeof(*version));
    return FALSE;
}
