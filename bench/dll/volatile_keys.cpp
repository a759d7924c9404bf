#include "volatile_keys.h"

#include <vector>
#include <winternl.h>

#include "data.h"

namespace bench {

namespace {

const wchar_t kVolatileKey[] = L"Software\\QvBench\\Volatile";
const wchar_t kMachineRoot[] = L"\\REGISTRY\\MACHINE\\";
const int kKeyNameInformation = 3;

struct KeyName {
    ULONG bytes;
    WCHAR name[1];
};

using QueryKey = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);

std::vector<std::wstring> Components(LPCWSTR subKey) {
    std::vector<std::wstring> components;
    const std::wstring path = subKey ? subKey : L"";
    for (size_t at = 0; at < path.size();) {
        const size_t end = std::min(path.find(L'\\', at), path.size());
        if (end > at)
            components.push_back(path.substr(at, end - at));
        at = end + 1;
    }
    return components;
}

} // namespace

std::wstring MachinePath(HKEY key) {
    static const QueryKey query = reinterpret_cast<QueryKey>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryKey")));
    std::vector<BYTE> buffer(64 * 1024);
    ULONG size = 0;
    if (!query || query(key, kKeyNameInformation, buffer.data(), static_cast<ULONG>(buffer.size()),
                        &size) != 0)
        return {};
    auto name = reinterpret_cast<const KeyName*>(buffer.data());
    const std::wstring path(name->name, name->bytes / sizeof(WCHAR));
    const size_t root = ARRAYSIZE(kMachineRoot) - 1;
    if (path.size() <= root || _wcsnicmp(path.c_str(), kMachineRoot, root) != 0)
        return {};
    return path.substr(root);
}

size_t ExistingComponents(HKEY key, LPCWSTR subKey) {
    std::wstring path;
    size_t existing = 0;
    for (const std::wstring& component : Components(subKey)) {
        HKEY found;
        path += (path.empty() ? L"" : L"\\") + component;
        if (::RegOpenKeyExW(key, path.c_str(), 0, KEY_READ, &found) != ERROR_SUCCESS)
            break;
        ::RegCloseKey(found);
        existing++;
    }
    return existing;
}

void RememberCreation(HKEY created, LPCWSTR subKey, size_t existed, bool isVolatile) {
    std::wstring path = MachinePath(created);
    if (path.empty())
        return;
    if (!isVolatile) {
        ForgetVolatile(path);
        return;
    }
    // The topmost new key takes the others with it.
    for (size_t last = Components(subKey).size(); last > existed + 1; last--)
        path.resize(path.rfind(L'\\'));
    WriteNumber(kVolatileKey, path.c_str(), 1);
}

void ForgetVolatile(const std::wstring& path) {
    if (!path.empty() && ValueExists(kVolatileKey, path.c_str()))
        DeleteValue(kVolatileKey, path.c_str());
}

} // namespace bench
