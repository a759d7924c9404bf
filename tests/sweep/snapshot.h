// The machine's part of the registry, kept and brought back. Building a machine anew takes many times
// as long, and most runs change nothing: that nothing was touched is known without reading anything.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

struct RegistryValue {
    DWORD type;
    std::vector<BYTE> bytes;

    bool operator==(const RegistryValue& other) const {
        return type == other.type && bytes == other.bytes;
    }
};

struct RegistryTree {
    std::map<std::wstring, RegistryValue> values;
    std::map<std::wstring, RegistryTree> keys;

    bool operator==(const RegistryTree& other) const {
        return values == other.values && keys == other.keys;
    }
};

class Snapshot {
  public:
    // Keeps the machine as it stands.
    Snapshot();
    ~Snapshot();
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    // Whether anything was written since the snapshot was taken or brought back.
    bool touched();

    // Brings everything back that differs, and tells the adapters' driver. Nothing to do when nothing
    // was touched.
    void restore();

  private:
    struct Root;
    std::vector<std::unique_ptr<Root>> roots_;
};
