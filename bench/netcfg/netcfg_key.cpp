#include "netcfg_key.h"

#include "value_bytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

NetCfgKey NetCfgKey::Open(const std::wstring& path, REGSAM access) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, access, &key) != ERROR_SUCCESS) {
        key = nullptr;
    }
    return NetCfgKey(key);
}

NetCfgKey NetCfgKey::Create(const std::wstring& path, DWORD options) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, options, KEY_ALL_ACCESS,
                        nullptr, &key, nullptr) != ERROR_SUCCESS) {
        key = nullptr;
    }
    return NetCfgKey(key);
}

NetCfgKey::NetCfgKey(HKEY key) : key_(key) {
}

NetCfgKey::NetCfgKey(NetCfgKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {
}

NetCfgKey& NetCfgKey::operator=(NetCfgKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
}

NetCfgKey::~NetCfgKey() {
    if (key_ != nullptr) {
        RegCloseKey(key_);
    }
}

NetCfgKey::operator bool() const {
    return key_ != nullptr;
}

std::vector<BYTE> NetCfgKey::Bytes(const wchar_t* name, DWORD type) const {
    DWORD found = REG_NONE;
    std::vector<BYTE> bytes;
    if (key_ == nullptr || ReadValueBytes(key_, name, &found, &bytes) != ERROR_SUCCESS ||
        found != type) {
        return {};
    }
    return bytes;
}

std::optional<std::wstring> NetCfgKey::Text(const wchar_t* name) const {
    const std::vector<BYTE> bytes = Bytes(name, REG_SZ);
    if (bytes.empty()) {
        return std::nullopt;
    }
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

std::optional<DWORD> NetCfgKey::Number(const wchar_t* name) const {
    const std::vector<BYTE> bytes = Bytes(name, REG_DWORD);
    if (bytes.size() != sizeof(DWORD)) {
        return std::nullopt;
    }
    DWORD number = 0;
    memcpy(&number, bytes.data(), sizeof(number));
    return number;
}

std::vector<std::wstring> NetCfgKey::Texts(const wchar_t* name) const {
    const std::vector<BYTE> bytes = Bytes(name, REG_MULTI_SZ);
    std::wstring all(bytes.size() / sizeof(wchar_t), L'\0');
    memcpy(all.data(), bytes.data(), all.size() * sizeof(wchar_t));
    std::vector<std::wstring> texts;
    for (size_t at = 0; at < all.size() && all[at] != L'\0';) {
        const size_t end = std::min(all.find(L'\0', at), all.size());
        texts.push_back(all.substr(at, end - at));
        at = end + 1;
    }
    return texts;
}

NetCfgKey NetCfgKey::SubKey(const wchar_t* name) const {
    HKEY key = nullptr;
    if (key_ == nullptr || RegOpenKeyExW(key_, name, 0, KEY_READ, &key) != ERROR_SUCCESS) {
        key = nullptr;
    }
    return NetCfgKey(key);
}

std::vector<std::wstring> NetCfgKey::SubKeys() const {
    std::vector<std::wstring> names;
    wchar_t name[256];
    DWORD count = ARRAYSIZE(name);
    while (key_ != nullptr && RegEnumKeyExW(key_, static_cast<DWORD>(names.size()), name, &count,
                                            nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        names.emplace_back(name, count);
        count = ARRAYSIZE(name);
    }
    return names;
}

std::vector<std::wstring> NetCfgKey::ValueNames() const {
    std::vector<std::wstring> names;
    std::vector<wchar_t> name(16384);
    DWORD count = static_cast<DWORD>(name.size());
    while (key_ != nullptr &&
           RegEnumValueW(key_, static_cast<DWORD>(names.size()), name.data(), &count, nullptr,
                         nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        names.emplace_back(name.data(), count);
        count = static_cast<DWORD>(name.size());
    }
    return names;
}

bool NetCfgKey::Write(const wchar_t* name, const std::wstring& text, DWORD type) const {
    return key_ != nullptr &&
           RegSetValueExW(key_, name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

bool NetCfgKey::Write(const wchar_t* name, DWORD number) const {
    return key_ != nullptr &&
           RegSetValueExW(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof(number)) == ERROR_SUCCESS;
}

bool NetCfgKey::Write(const wchar_t* name, const std::vector<std::wstring>& texts) const {
    std::wstring all;
    for (const std::wstring& text : texts) {
        all += text;
        all += L'\0';
    }
    return Write(name, all, REG_MULTI_SZ);
}

void NetCfgKey::DeleteValue(const wchar_t* name) const {
    if (key_ != nullptr) {
        RegDeleteValueW(key_, name);
    }
}
