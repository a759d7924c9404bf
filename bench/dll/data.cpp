#include "data.h"

#include <cwchar>

#include "lock.h"
#include "value_bytes.h"

namespace bench {

const wchar_t kBenchKey[] = L"Software\\QvBench";
const wchar_t kMachineKey[] = L"Software\\QvBench\\Machine";
const wchar_t kAdaptersKey[] = L"Software\\QvBench\\Adapters";
const wchar_t kDevicesKey[] = L"Software\\QvBench\\Devices";

namespace {

struct Overrides {
    bool hasVersion;
    Version version;
    bool server;
    bool hasAdministrator;
    bool administrator;
};

SRWLOCK g_lock = SRWLOCK_INIT;
Overrides g_overrides;

std::vector<BYTE> ReadValue(const std::wstring& path, const wchar_t* name, DWORD* type) {
    std::vector<BYTE> bytes;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return bytes;
    ReadValueBytes(key, name, type, &bytes);
    RegCloseKey(key);
    return bytes;
}

void WriteValue(const std::wstring& path, const wchar_t* name, DWORD type, const void* data,
                size_t size) {
    HKEY key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        return;
    RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    RegCloseKey(key);
}

bool ParseVersion(const std::wstring& text, Version* version) {
    wchar_t* end = nullptr;
    unsigned long major = wcstoul(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != L'.')
        return false;
    const wchar_t* minorText = end + 1;
    unsigned long minor = wcstoul(minorText, &end, 10);
    if (end == minorText || *end != 0)
        return false;
    *version = {major, minor};
    return true;
}

// `product`: "server", "workstation", or "" for what the version is when nothing else is said.
bool MeansServer(Version version, const std::wstring& product) {
    return product.empty() ? version.major == 5 && version.minor == 2 : product == L"server";
}

} // namespace

std::wstring ReadText(const std::wstring& path, const wchar_t* name) {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes = ReadValue(path, name, &type);
    if (type != REG_SZ && type != REG_EXPAND_SZ)
        return {};
    std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()),
                      bytes.size() / sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

std::vector<std::wstring> ReadList(const std::wstring& path, const wchar_t* name) {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes = ReadValue(path, name, &type);
    std::vector<std::wstring> list;
    if (type != REG_MULTI_SZ)
        return list;
    std::wstring rest(reinterpret_cast<const wchar_t*>(bytes.data()),
                      bytes.size() / sizeof(wchar_t));
    for (size_t at = 0; at < rest.size() && rest[at] != 0;) {
        size_t end = rest.find(L'\0', at);
        if (end == std::wstring::npos)
            end = rest.size();
        list.push_back(rest.substr(at, end - at));
        at = end + 1;
    }
    return list;
}

DWORD ReadNumber(const std::wstring& path, const wchar_t* name, DWORD otherwise) {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes = ReadValue(path, name, &type);
    if (type != REG_DWORD || bytes.size() != sizeof(DWORD))
        return otherwise;
    return *reinterpret_cast<const DWORD*>(bytes.data());
}

bool ReadLongNumber(const std::wstring& path, const wchar_t* name, UINT64* number) {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes = ReadValue(path, name, &type);
    if (type != REG_QWORD || bytes.size() != sizeof(UINT64))
        return false;
    *number = *reinterpret_cast<const UINT64*>(bytes.data());
    return true;
}

void WriteText(const std::wstring& path, const wchar_t* name, const std::wstring& text) {
    WriteValue(path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void WriteNumber(const std::wstring& path, const wchar_t* name, DWORD number) {
    WriteValue(path, name, REG_DWORD, &number, sizeof(number));
}

void WriteLongNumber(const std::wstring& path, const wchar_t* name, UINT64 number) {
    WriteValue(path, name, REG_QWORD, &number, sizeof(number));
}

bool KeyExists(const std::wstring& path) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

bool ValueExists(const std::wstring& path, const wchar_t* name) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    bool exists = RegQueryValueExW(key, name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
    RegCloseKey(key);
    return exists;
}

std::vector<std::wstring> SubKeys(const std::wstring& path) {
    std::vector<std::wstring> names;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return names;
    wchar_t name[256];
    for (DWORD index = 0; RegEnumKeyW(key, index, name, ARRAYSIZE(name)) == ERROR_SUCCESS; index++)
        names.push_back(name);
    RegCloseKey(key);
    return names;
}

void DeleteValue(const std::wstring& path, const wchar_t* name) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS)
        return;
    RegDeleteValueW(key, name);
    RegCloseKey(key);
}

void DeleteTree(const std::wstring& path) {
    for (const std::wstring& name : SubKeys(path))
        DeleteTree(path + L"\\" + name);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
}

Version WindowsVersion() {
    {
        Guard guard(&g_lock);
        if (g_overrides.hasVersion)
            return g_overrides.version;
    }
    Version version = {10, 0};
    ParseVersion(ReadText(kMachineKey, L"Windows"), &version);
    return version;
}

bool IsServer() {
    {
        Guard guard(&g_lock);
        if (g_overrides.hasVersion)
            return g_overrides.server;
    }
    return MeansServer(WindowsVersion(), ReadText(kMachineKey, L"Product"));
}

bool IsAdministrator() {
    {
        Guard guard(&g_lock);
        if (g_overrides.hasAdministrator)
            return g_overrides.administrator;
    }
    return ReadNumber(kMachineKey, L"Administrator", 1) != 0;
}

bool HasNewDevRoutine(const std::wstring& name) {
    for (const std::wstring& present : ReadList(kMachineKey, L"NewDev"))
        if (present == name)
            return true;
    return false;
}

bool OverrideVersion(const std::wstring& text, const std::wstring& product) {
    Version version;
    if (!ParseVersion(text, &version) ||
        (!product.empty() && product != L"server" && product != L"workstation"))
        return false;
    Guard guard(&g_lock);
    g_overrides.hasVersion = true;
    g_overrides.version = version;
    g_overrides.server = MeansServer(version, product);
    return true;
}

void OverrideAdministrator(bool administrator) {
    Guard guard(&g_lock);
    g_overrides.hasAdministrator = true;
    g_overrides.administrator = administrator;
}

void ForgetOverrides() {
    Guard guard(&g_lock);
    g_overrides = {};
}

} // namespace bench
