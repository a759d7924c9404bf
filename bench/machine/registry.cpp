#include "registry.h"

#include "value_bytes.h"

#include <algorithm>
#include <cstring>

static std::vector<BYTE> Bytes(const std::wstring& text, size_t bytes) {
    std::vector<BYTE> data(bytes);
    memcpy(data.data(), text.c_str(), std::min(bytes, (text.size() + 1) * sizeof(wchar_t)));
    return data;
}

MachineValue MachineValue::Text(const std::wstring& name, const std::wstring& text) {
    return SizedText(name, text, (text.size() + 1) * sizeof(wchar_t));
}

MachineValue MachineValue::SizedText(const std::wstring& name, const std::wstring& text,
                                     size_t bytes) {
    return {name, REG_SZ, Bytes(text, bytes)};
}

MachineValue MachineValue::MultiText(const std::wstring& name,
                                     const std::vector<std::wstring>& texts) {
    std::wstring joined;
    for (const auto& text : texts) {
        joined += text;
        joined += L'\0';
    }
    return {name, REG_MULTI_SZ, Bytes(joined, (joined.size() + 1) * sizeof(wchar_t))};
}

MachineValue MachineValue::Number(const std::wstring& name, DWORD number) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&number);
    return {name, REG_DWORD, {bytes, bytes + sizeof number}};
}

namespace qvmachine {

Key& Key::operator=(Key&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

Key::~Key() {
    if (handle_) {
        RegCloseKey(handle_);
    }
}

Key Key::Open(const std::wstring& path) {
    HKEY handle = nullptr;
    const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &handle);
    return Key(status == ERROR_SUCCESS ? handle : nullptr);
}

Key Key::Create(const std::wstring& path, bool* isNew) {
    HKEY handle = nullptr;
    DWORD disposition = 0;
    const LSTATUS status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0,
                                           KEY_ALL_ACCESS, nullptr, &handle, &disposition);
    if (isNew) {
        *isNew = status == ERROR_SUCCESS && disposition == REG_CREATED_NEW_KEY;
    }
    return Key(status == ERROR_SUCCESS ? handle : nullptr);
}

void Key::Set(const MachineValue& value) const {
    if (!handle_) {
        return;
    }
    // A text whose last character is no NUL is stored with the NUL that follows it in memory, if
    // one does; something else must follow for the bytes to be stored as they are.
    std::vector<BYTE> guarded = value.data;
    guarded.insert(guarded.end(), sizeof(wchar_t), 0xFF);
    RegSetValueExW(handle_, value.name.c_str(), 0, value.type, guarded.data(),
                   static_cast<DWORD>(value.data.size()));
}

void Key::Set(const std::wstring& name, const std::wstring& text) const {
    Set(MachineValue::Text(name, text));
}

void Key::Set(const std::wstring& name, DWORD number) const {
    Set(MachineValue::Number(name, number));
}

static std::vector<BYTE> Read(HKEY key, const std::wstring& name) {
    std::vector<BYTE> data;
    if (key) {
        ReadValueBytes(key, name.c_str(), nullptr, &data);
    }
    return data;
}

std::wstring Key::Text(const std::wstring& name) const {
    const auto data = Read(handle_, name);
    std::wstring text(reinterpret_cast<const wchar_t*>(data.data()), data.size() / sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}

std::vector<std::wstring> Key::MultiText(const std::wstring& name) const {
    const auto data = Read(handle_, name);
    const std::wstring all(reinterpret_cast<const wchar_t*>(data.data()),
                           data.size() / sizeof(wchar_t));
    std::vector<std::wstring> texts;
    for (size_t start = 0; start < all.size() && all[start];) {
        const size_t end = std::min(all.find(L'\0', start), all.size());
        texts.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return texts;
}

DWORD Key::Number(const std::wstring& name, DWORD missing) const {
    const auto data = Read(handle_, name);
    DWORD number = missing;
    if (data.size() == sizeof number) {
        memcpy(&number, data.data(), sizeof number);
    }
    return number;
}

std::optional<MachineValue> Key::Value(const std::wstring& name) const {
    MachineValue value = {name, REG_NONE, {}};
    if (!handle_ ||
        ReadValueBytes(handle_, name.c_str(), &value.type, &value.data) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::vector<MachineValue> Key::Values() const {
    std::vector<MachineValue> values;
    std::vector<wchar_t> name(16384);
    std::vector<BYTE> data(kUsualValueBytes);
    LSTATUS status = handle_ ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS;
    for (DWORD index = 0; status == ERROR_SUCCESS; index++) {
        DWORD chars = static_cast<DWORD>(name.size()), type = REG_NONE;
        DWORD bytes = static_cast<DWORD>(data.size());
        status =
            RegEnumValueW(handle_, index, name.data(), &chars, nullptr, &type, data.data(), &bytes);
        if (status == ERROR_MORE_DATA) {
            data.resize(bytes);
            status = ERROR_SUCCESS;
            index--;
        } else if (status == ERROR_SUCCESS) {
            values.push_back({{name.data(), chars}, type, {data.begin(), data.begin() + bytes}});
        }
    }
    return values;
}

std::vector<std::wstring> Key::Subkeys() const {
    std::vector<std::wstring> names;
    for (DWORD index = 0; handle_; index++) {
        wchar_t name[256];
        DWORD chars = ARRAYSIZE(name);
        if (RegEnumKeyExW(handle_, index, name, &chars, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        names.emplace_back(name, chars);
    }
    return names;
}

void DeleteValue(const std::wstring& path, const std::wstring& name) {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name.c_str());
}

void DeleteTree(const std::wstring& path) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
}

void DeleteIfEmpty(const std::wstring& path) {
    const Key key = Key::Open(path);
    if (key && key.Subkeys().empty()) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
    }
}

} // namespace qvmachine
