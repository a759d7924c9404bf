// The registry as the program uses it: the real one, with a record of which key a handle means, of
// every change, and with the rules that Wine lacks: who is no administrator cannot write below
// HKEY_LOCAL_MACHINE ("Registry Key Security and Access Rights"), and volatile keys are lost when the
// machine restarts.
#include "standins.h"

#include <map>
#include <string>

#include "data.h"
#include "device.h"
#include "hardware_profiles.h"
#include "journal.h"
#include "last_error.h"
#include "lock.h"
#include "tally.h"
#include "volatile_keys.h"

namespace bench {

namespace {

const REGSAM kWriteRights = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | DELETE |
                            WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

struct OpenKey {
    std::wstring name;
    bool machine; // below HKEY_LOCAL_MACHINE
};

SRWLOCK g_lock = SRWLOCK_INIT;
std::map<HKEY, OpenKey>& g_keys = *new std::map<HKEY, OpenKey>;

OpenKey Lookup(HKEY key) {
    // The predefined keys are sign-extended 32-bit numbers.
    if (key == HKEY_LOCAL_MACHINE)
        return {L"HKLM", true};
    if (key == HKEY_CURRENT_USER)
        return {L"HKCU", false};
    if (key == HKEY_CLASSES_ROOT)
        return {L"HKCR", false};
    if (key == HKEY_USERS)
        return {L"HKU", false};
    Guard guard(&g_lock);
    auto found = g_keys.find(key);
    return found == g_keys.end() ? OpenKey{L"?", false} : found->second;
}

OpenKey Below(HKEY key, LPCWSTR subKey) {
    OpenKey open = Lookup(key);
    if (subKey && *subKey)
        open.name += std::wstring(L"\\") + subKey;
    return open;
}

void Remember(HKEY key, const OpenKey& open, const char* opener) {
    Opened(Kind::Keys, key, opener);
    Guard guard(&g_lock);
    g_keys[key] = open;
}

bool MayWrite(const OpenKey& open, REGSAM access) {
    return !open.machine || (access & kWriteRights) == 0 || IsAdministrator();
}

// A key that is not there is reported as missing to everyone.
bool CanBeOpened(HKEY key, LPCWSTR subKey) {
    HKEY found;
    if (::RegOpenKeyExW(key, subKey, 0, KEY_READ, &found) != ERROR_SUCCESS)
        return false;
    ::RegCloseKey(found);
    return true;
}

std::wstring Bytes(const BYTE* data, DWORD size) {
    std::wstring text;
    for (DWORD i = 0; i < size; i++)
        text += Format(i ? L" %02x" : L"%02x", data[i]);
    return text;
}

std::wstring ValueText(DWORD type, const BYTE* data, DWORD size) {
    std::wstring bytes = Format(L" %lu bytes", size);
    std::wstring text(reinterpret_cast<const wchar_t*>(data), data ? size / sizeof(wchar_t) : 0);
    switch (type) {
    case REG_DWORD:
        if (size == sizeof(DWORD))
            return Format(L"REG_DWORD 0x%08X", *reinterpret_cast<const DWORD*>(data));
        return L"REG_DWORD " + Bytes(data, size) + bytes;
    case REG_SZ:
    case REG_EXPAND_SZ:
        return (type == REG_SZ ? L"REG_SZ " : L"REG_EXPAND_SZ ") +
               Quoted(text.substr(0, text.find(L'\0'))) + bytes;
    case REG_MULTI_SZ:
        while (!text.empty() && text.back() == 0)
            text.pop_back();
        for (wchar_t& c : text)
            if (c == 0)
                c = L'|';
        return L"REG_MULTI_SZ " + Quoted(text) + bytes;
    case REG_BINARY:
        return L"REG_BINARY " + Bytes(data, size) + bytes;
    default:
        return Format(L"type %lu ", type) + Bytes(data, size) + bytes;
    }
}

std::wstring ValueName(HKEY key, LPCWSTR name) {
    return Lookup(key).name + L"\\" + (name ? name : L"");
}

HKEY RefuseKey(DWORD error) {
    SetLastError(error);
    return static_cast<HKEY>(INVALID_HANDLE_VALUE);
}

// Both errors are unverified.
HKEY OpenProfileKey(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD profile, DWORD type,
                    REGSAM access) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return static_cast<HKEY>(INVALID_HANDLE_VALUE);
    if (!ProfileExists(profile))
        return RefuseKey(ERROR_INVALID_HWPROFILE);
    std::wstring path = type == DIREG_DRV ? DriverKey(id) : EnumKey(id) + L"\\Device Parameters";
    HKEY key;
    if (path.empty() || ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (ProfileBranch(profile) + path).c_str(),
                                        0, access, &key) != ERROR_SUCCESS)
        return RefuseKey(ERROR_KEY_DOES_NOT_EXIST);
    return key;
}

HKEY OpenDeviceKey(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile, DWORD type,
                   REGSAM access) {
    if (scope == DICS_FLAG_CONFIGSPECIFIC && (type == DIREG_DRV || type == DIREG_DEV))
        return OpenProfileKey(set, device, profile, type, access);
    return ::SetupDiOpenDevRegKey(set, device, scope, 0, type, access);
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result) {
    OpenKey open = Below(key, subKey);
    if (!MayWrite(open, access) && CanBeOpened(key, subKey))
        return ERROR_ACCESS_DENIED;
    LSTATUS status = ::RegOpenKeyExW(key, subKey, options, access, result);
    if (status == ERROR_SUCCESS) {
        KeepLastError keep;
        Remember(*result, open, "RegOpenKeyExW");
    }
    return status;
}

// "RegCreateKeyExW function": REG_OPTION_VOLATILE is ignored for a key that exists. Wine refuses a
// stable key below a volatile one with ERROR_CHILD_MUST_BE_VOLATILE, as Windows does. The keys between
// `key` and a new volatile one are volatile, too (unverified).
LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass,
                               DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES security,
                               PHKEY result, LPDWORD disposition) {
    OpenKey open = Below(key, subKey);
    if (!MayWrite(open, access) ||
        (!MayWrite(open, KEY_CREATE_SUB_KEY) && !CanBeOpened(key, subKey)))
        return ERROR_ACCESS_DENIED;
    const bool isVolatile = (options & REG_OPTION_VOLATILE) != 0;
    const size_t existed = isVolatile ? ExistingComponents(key, subKey) : 0;
    DWORD made = 0;
    LSTATUS status = ::RegCreateKeyExW(key, subKey, reserved, keyClass, options, access, security,
                                       result, &made);
    if (status != ERROR_SUCCESS)
        return status;
    KeepLastError keep;
    if (disposition)
        *disposition = made;
    Remember(*result, open, "RegCreateKeyExW");
    if (made == REG_CREATED_NEW_KEY) {
        RememberCreation(*result, subKey, existed, isVolatile);
        Journal(L"key-create", open.name + (isVolatile ? L" volatile" : L""));
    }
    return status;
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
    // Forgotten first: once closed, another thread may be given the same handle.
    bool predefined = reinterpret_cast<LONG_PTR>(key) < 0;
    OpenKey open = Lookup(key);
    bool known = !predefined && Closed(Kind::Keys, key);
    if (known) {
        Guard guard(&g_lock);
        g_keys.erase(key);
    }
    LSTATUS status = ::RegCloseKey(key);
    if (status != ERROR_SUCCESS && known)
        Remember(key, open, "RegCloseKey");
    return status;
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
    LSTATUS status = ::RegSetValueExW(key, name, reserved, type, data, size);
    if (status == ERROR_SUCCESS) {
        KeepLastError keep;
        Journal(L"value-set", ValueName(key, name) + L" " + ValueText(type, data, size));
    }
    return status;
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
    LSTATUS status = ::RegDeleteValueW(key, name);
    if (status == ERROR_SUCCESS) {
        KeepLastError keep;
        Journal(L"value-delete", ValueName(key, name));
    }
    return status;
}

LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subKey) {
    OpenKey open = Below(key, subKey);
    if (!MayWrite(open, DELETE) && CanBeOpened(key, subKey))
        return ERROR_ACCESS_DENIED;
    std::wstring path;
    HKEY doomed;
    if (::RegOpenKeyExW(key, subKey, 0, KEY_READ, &doomed) == ERROR_SUCCESS) {
        path = MachinePath(doomed);
        ::RegCloseKey(doomed);
    }
    LSTATUS status = ::RegDeleteKeyW(key, subKey);
    if (status == ERROR_SUCCESS) {
        KeepLastError keep;
        ForgetVolatile(path);
        Journal(L"key-delete", open.name);
    }
    return status;
}

// Page "SetupDiOpenDevRegKey function": DICS_FLAG_CONFIGSPECIFIC means the key in the branch of the
// hardware profile, with values of its own; with DICS_FLAG_GLOBAL the profile is ignored.
HKEY WINAPI SetupDiOpenDevRegKey(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile,
                                 DWORD type, REGSAM access) {
    OpenKey open = {type == DIREG_DRV ? L"driver(" : L"device(", true};
    if (scope == DICS_FLAG_CONFIGSPECIFIC)
        open.name = L"profile-" + open.name;
    if (!MayWrite(open, access)) {
        HKEY readable = OpenDeviceKey(set, device, scope, profile, type, KEY_READ);
        if (readable == INVALID_HANDLE_VALUE)
            return readable;
        ::RegCloseKey(readable);
        SetLastError(ERROR_ACCESS_DENIED);
        return static_cast<HKEY>(INVALID_HANDLE_VALUE);
    }
    HKEY key = OpenDeviceKey(set, device, scope, profile, type, access);
    if (key != INVALID_HANDLE_VALUE) {
        KeepLastError keep;
        open.name += InstanceId(set, device) + L")";
        Remember(key, open, "SetupDiOpenDevRegKey");
    }
    return key;
}

} // namespace standin
