// Every room reads the registry, and what stands there may lack a terminator, have an odd byte
// count or change between two calls.
#include "inventory/registry.h"

#include "include/names.h"
#include "inventory/trace.h"

#include <stdlib.h>
#include <strsafe.h>

LONG QueryTextValue(HKEY key, LPCWSTR valueName, size_t cchSpare, LPWSTR* value, DWORD* cbValue) {
    DWORD cbStored = 0;

    *value = NULL;
    LONG lResult = RegQueryValueExW(key, valueName, NULL, NULL, NULL, &cbStored);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   QueryTextValue: no size of %s %d\n", valueName, lResult);
        return lResult;
    }

    // An odd count is rounded up, so that the spare NULs are whole and aligned.
    size_t cchStored = (static_cast<size_t>(cbStored) + 1) / sizeof(WCHAR);
    LPWSTR buffer = static_cast<LPWSTR>(calloc(cchStored + cchSpare, sizeof(WCHAR)));
    if (buffer == NULL)
        return QUERY_NO_MEMORY;

    lResult =
        RegQueryValueExW(key, valueName, NULL, NULL, reinterpret_cast<LPBYTE>(buffer), &cbStored);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   QueryTextValue: %s not read %d\n", valueName, lResult);
        free(buffer);
        return lResult;
    }
    *value = buffer;
    if (cbValue != NULL)
        *cbValue = cbStored;
    return ERROR_SUCCESS;
}

int ReadStringFromRegistry(HKEY key, LPCWSTR valueName, LPWSTR* value) {
    Trace(L"-->ReadStringFromRegistry: %s\n", valueName);
    LONG lResult = QueryTextValue(key, valueName, 1, value, NULL);
    Trace(L"<--ReadStringFromRegistry: %d\n", lResult);
    return lResult == ERROR_SUCCESS;
}

BOOL ReadDwordFromRegistry(HKEY key, LPCWSTR valueName, DWORD* value) {
    DWORD dwValue = 0;
    DWORD cbValue = sizeof(dwValue);

    Trace(L"-->ReadDwordFromRegistry: %s\n", valueName);
    LONG lResult =
        RegQueryValueExW(key, valueName, NULL, NULL, reinterpret_cast<LPBYTE>(&dwValue), &cbValue);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--ReadDwordFromRegistry: not read %d\n", lResult);
        return FALSE;
    }
    *value = dwValue;
    Trace(L"<--ReadDwordFromRegistry: 0x%x\n", dwValue);
    return TRUE;
}

LONG WriteDwordToRegistry(HKEY key, LPCWSTR valueName, DWORD value) {
    Trace(L"-->WriteDwordToRegistry: %s 0x%x\n", valueName, value);
    LONG lResult = RegSetValueExW(key, valueName, 0, REG_DWORD,
                                  reinterpret_cast<const BYTE*>(&value), sizeof(value));
    Trace(L"<--WriteDwordToRegistry: %d\n", lResult);
    return lResult;
}

BOOL WriteNetworkAddress(HKEY driverKey, LPCWSTR valueName, LPWSTR* address) {
    Trace(L"-->WriteNetworkAddress: %s\n", *address);
    (void)valueName;
    LONG lResult = RegSetValueExW(driverKey, VALUE_NETWORK_ADDRESS, 0, REG_SZ,
                                  reinterpret_cast<const BYTE*>(*address),
                                  static_cast<DWORD>(wcslen(*address) * sizeof(WCHAR)));
    Trace(L"<--WriteNetworkAddress: %d\n", lResult);
    return lResult == ERROR_SUCCESS;
}

BOOL FormKeyPath(LPWSTR path, size_t cchPath, LPCWSTR base, LPCWSTR name) {
    Trace(L"-->FormKeyPath: %s\n", name);
    if (name[0] == L'\0') {
        Trace(L"<--FormKeyPath: no name\n");
        return FALSE;
    }
    HRESULT hr = StringCchPrintfW(path, cchPath, L"%s\\%s", base, name);
    Trace(L"<--FormKeyPath: 0x%x\n", hr);
    return SUCCEEDED(hr);
}

void DeleteConnectionKey(LPCWSTR instanceId) {
    WCHAR szPath[KEY_PATH_CCH];

    Trace(L"-->DeleteConnectionKey: %s\n", instanceId);
    if (FAILED(StringCchPrintfW(szPath, ARRAYSIZE(szPath), L"%s\\%s\\%s", NETWORK_CONNECTIONS_KEY,
                                instanceId, CONNECTION_SUBKEY))) {
        Trace(L"<--DeleteConnectionKey: path too long\n");
        return;
    }
    Trace(L"   Deleting key %s\n", szPath);
    LONG lResult = RegDeleteKeyW(HKEY_LOCAL_MACHINE, szPath);
    Trace(L"<--DeleteConnectionKey: %d\n", lResult);
}
