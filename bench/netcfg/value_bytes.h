// Reading a registry value. Each call of the registry is a round trip to Wine's server, which takes most
// of a test's time, so a value that fits is read by one.
#pragma once

#include <windows.h>

#include <vector>

// What most values fit into, in bytes.
constexpr size_t kUsualValueBytes = 512;

// Reads a value whole, whatever its type and size; *type may be null. An error leaves *bytes empty.
inline LSTATUS ReadValueBytes(HKEY key, const wchar_t* name, DWORD* type,
                              std::vector<BYTE>* bytes) {
    LSTATUS status = ERROR_MORE_DATA;
    for (DWORD size = kUsualValueBytes; status == ERROR_MORE_DATA;) {
        bytes->resize(size);
        status = RegQueryValueExW(key, name, nullptr, type, bytes->data(), &size);
        if (status == ERROR_SUCCESS)
            bytes->resize(size);
    }
    if (status != ERROR_SUCCESS)
        bytes->clear();
    return status;
}
