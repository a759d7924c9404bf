// Registry keys under HKEY_LOCAL_MACHINE as objects, so that the machine's code reads as what it
// writes.
#pragma once

#include "machine.h"

namespace qvmachine {

// An open key, closed with the object. A key that could not be opened is false; writing to it does
// nothing and reading gives nothing.
class Key {
  public:
    Key() = default;
    explicit Key(HKEY handle) : handle_(handle) {
    }
    Key(Key&& other) noexcept : handle_(other.handle_) {
        other.handle_ = nullptr;
    }
    Key& operator=(Key&& other) noexcept;
    ~Key();

    static Key Open(const std::wstring& path);                          // to read
    static Key Create(const std::wstring& path, bool* isNew = nullptr); // to write

    explicit operator bool() const {
        return handle_ != nullptr;
    }
    HKEY get() const {
        return handle_;
    }

    void Set(const MachineValue& value) const;
    void Set(const std::wstring& name, const std::wstring& text) const;
    void Set(const std::wstring& name, DWORD number) const;

    std::wstring Text(const std::wstring& name) const; // empty when missing
    std::vector<std::wstring> MultiText(const std::wstring& name) const;
    DWORD Number(const std::wstring& name, DWORD missing) const;
    std::optional<MachineValue> Value(const std::wstring& name) const; // nothing when missing
    std::vector<MachineValue> Values() const;
    std::vector<std::wstring> Subkeys() const;

  private:
    HKEY handle_ = nullptr;
};

// A missing value is fine.
void DeleteValue(const std::wstring& path, const std::wstring& name);

// Deletes the key with everything below it; a missing key is fine.
void DeleteTree(const std::wstring& path);

// Deletes the key when nothing is left below it.
void DeleteIfEmpty(const std::wstring& path);

} // namespace qvmachine
