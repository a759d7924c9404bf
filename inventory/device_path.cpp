// The same adapter is named by its GUID alone, by a kernel object name in the driver's records
// and by a Win32 path, and the forms must not be mixed up.
#include "inventory/device_path.h"

#include "include/names.h"
#include "inventory/trace.h"

#include <objbase.h>
#include <stdlib.h>
#include <strsafe.h>

static LPWSTR AddPrefix(LPCWSTR prefix, LPCWSTR adapterName) {
    size_t cchPath = wcslen(prefix) + wcslen(adapterName) + 2;
    LPWSTR path = static_cast<LPWSTR>(calloc(cchPath, sizeof(WCHAR)));

    Trace(L"-->AddPrefix: %s %s\n", prefix, adapterName);
    if (path == NULL) {
        Trace(L"<--AddPrefix: no memory\n");
        return NULL;
    }
    StringCchCopyW(path, cchPath, prefix);
    StringCchCatW(path, cchPath, adapterName);
    Trace(L"<--AddPrefix: %s\n", path);
    return path;
}

LPWSTR AddDevicePrefix(LPCWSTR adapterName) {
    return AddPrefix(L"\\Device\\", adapterName);
}

LPWSTR AddDosDevicePrefix(LPCWSTR adapterName) {
    return AddPrefix(L"\\\\.\\", adapterName);
}

LPCWSTR TextAfterLastBackslash(LPCWSTR deviceName) {
    LPCWSTR last = wcsrchr(deviceName, L'\\');
    return last == NULL ? NULL : last + 1;
}

BOOL ParseGuid(LPCWSTR text, GUID* guid) {
    GUID parsed = {};

    // Only the braced form: CLSIDFromString would look any other text up as a program id.
    BOOL ok = text[0] == L'{' && SUCCEEDED(CLSIDFromString(text, &parsed));
    *guid = ok ? parsed : GUID{};
    return ok;
}

void PrintGuid(const GUID* guid, LPWSTR text) {
    if (StringFromGUID2(*guid, text, GUID_CCH) == 0)
        text[0] = L'\0';
}
