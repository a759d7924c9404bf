// A registry key under HKEY_LOCAL_MACHINE that closes itself, with the few value types that the
// network configuration keeps its state in.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

class NetCfgKey {
  public:
    static NetCfgKey Open(const std::wstring& path, REGSAM access = KEY_READ);
    static NetCfgKey Create(const std::wstring& path, DWORD options = REG_OPTION_NON_VOLATILE);
    // Takes over a key that another routine opened.
    explicit NetCfgKey(HKEY key = nullptr);
    NetCfgKey(NetCfgKey&& other) noexcept;
    NetCfgKey& operator=(NetCfgKey&& other) noexcept;
    ~NetCfgKey();

    explicit operator bool() const;

    // A value that is missing or of another type reads as nothing.
    std::optional<std::wstring> Text(const wchar_t* name) const;
    std::optional<DWORD> Number(const wchar_t* name) const;
    std::vector<std::wstring> Texts(const wchar_t* name) const;
    NetCfgKey SubKey(const wchar_t* name) const; // to read
    std::vector<std::wstring> SubKeys() const;
    std::vector<std::wstring> ValueNames() const;

    bool Write(const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) const;
    bool Write(const wchar_t* name, DWORD number) const;
    bool Write(const wchar_t* name, const std::vector<std::wstring>& texts) const;
    void DeleteValue(const wchar_t* name) const;

  private:
    std::vector<BYTE> Bytes(const wchar_t* name, DWORD type) const;

    HKEY key_;
};
