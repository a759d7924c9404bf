#include "snapshot.h"

#include "driver_control.h"
#include "registry.h"

namespace {

// Where the machine is kept. A key that may be missing is watched from its parent while it is.
struct Place {
    const wchar_t* parent;
    const wchar_t* below;
};
#define CONTROL L"System\\CurrentControlSet\\Control"
const Place kPlaces[] = {
    {L"System\\CurrentControlSet\\Enum", L"PCI"},
    {L"System\\CurrentControlSet\\Enum", L"ROOT"},
    {L"System\\CurrentControlSet\\Enum", L"BTH"},
    {L"System\\CurrentControlSet\\Enum", L"SWD"},
    {L"System\\CurrentControlSet\\Enum", L"USB"},
    {L"System\\CurrentControlSet\\Enum", L"{5d624f94-8850-40c3-a3fa-a4fd2080baf3}"},
    {CONTROL L"\\Class", L"{4D36E972-E325-11CE-BFC1-08002BE10318}"},
    {CONTROL, L"Network"},
    {L"System\\CurrentControlSet\\Services", L"qvteamp"},
    {L"System\\CurrentControlSet\\Services", L"qvteammp"},
    {L"System\\CurrentControlSet\\Services\\Tcpip", L"Parameters\\Interfaces"},
    {L"Software", L"QvBench"},
};

RegistryTree Read(const qvmachine::Key& key) {
    RegistryTree tree;
    for (MachineValue& value : key.Values())
        tree.values[value.name] = {value.type, std::move(value.data)};
    for (const std::wstring& name : key.Subkeys()) {
        HKEY below;
        if (RegOpenKeyExW(key.get(), name.c_str(), 0, KEY_READ, &below) == ERROR_SUCCESS)
            tree.keys[name] = Read(qvmachine::Key(below));
    }
    return tree;
}

void Write(HKEY key, const RegistryTree& wanted, const RegistryTree& now) {
    for (const auto& [name, value] : now.values) {
        if (wanted.values.count(name) == 0)
            RegDeleteValueW(key, name.c_str());
    }
    for (const auto& [name, value] : wanted.values) {
        auto found = now.values.find(name);
        if (found != now.values.end() && found->second == value)
            continue;
        // A string gets a terminator of RegSetValueExW's own when one stands behind its bytes.
        std::vector<BYTE> guarded = value.bytes;
        guarded.insert(guarded.end(), 2, 0xee);
        RegSetValueExW(key, name.c_str(), 0, value.type, guarded.data(),
                       static_cast<DWORD>(value.bytes.size()));
    }
    for (const auto& [name, tree] : now.keys) {
        if (wanted.keys.count(name) == 0)
            RegDeleteTreeW(key, name.c_str());
    }
    for (const auto& [name, tree] : wanted.keys) {
        auto found = now.keys.find(name);
        if (found != now.keys.end() && found->second == tree)
            continue;
        HKEY below;
        if (RegCreateKeyExW(key, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below,
                            nullptr) == ERROR_SUCCESS) {
            Write(below, tree, found != now.keys.end() ? found->second : RegistryTree());
            RegCloseKey(below);
        }
    }
}

} // namespace

struct Snapshot::Root {
    const Place* place;
    HKEY parent = nullptr;
    HKEY watched = nullptr; // below the parent, or the parent
    HANDLE written = nullptr;
    bool touched = false;
    bool exists = false;
    RegistryTree tree;

    explicit Root(const Place* at) : place(at) {
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, at->parent, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &parent, nullptr);
        written = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        tree = now(&exists);
        watch();
    }
    ~Root() {
        unwatch();
        RegCloseKey(parent);
        CloseHandle(written);
    }
    void unwatch() {
        if (watched != parent)
            RegCloseKey(watched);
    }
    // A watch ends with its first event, and with its key.
    void watch() {
        if (RegOpenKeyExW(parent, place->below, 0, KEY_READ, &watched) != ERROR_SUCCESS)
            watched = parent;
        RegNotifyChangeKeyValue(watched, TRUE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET,
                                written, TRUE);
    }
    bool takeEvent() {
        return WaitForSingleObject(written, 0) == WAIT_OBJECT_0;
    }
    void watchAnew() {
        unwatch();
        watch();
        takeEvent(); // of the writing before, or of the old watch's end
        touched = false;
    }
    RegistryTree now(bool* there) const {
        HKEY key;
        *there = RegOpenKeyExW(parent, place->below, 0, KEY_READ, &key) == ERROR_SUCCESS;
        if (!*there)
            return {};
        return Read(qvmachine::Key(key));
    }
    void restore() {
        bool there;
        RegistryTree found = now(&there);
        HKEY key;
        if (!exists && there)
            RegDeleteTreeW(parent, place->below);
        if (exists && RegCreateKeyExW(parent, place->below, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                      &key, nullptr) == ERROR_SUCCESS) {
            Write(key, tree, found);
            RegCloseKey(key);
        }
    }
};

Snapshot::Snapshot() {
    for (const Place& place : kPlaces)
        roots_.push_back(std::make_unique<Root>(&place));
}

Snapshot::~Snapshot() = default;

bool Snapshot::touched() {
    bool any = false;
    for (auto& root : roots_) {
        root->touched |= root->takeEvent();
        any |= root->touched;
    }
    return any;
}

void Snapshot::restore() {
    if (!touched())
        return;
    for (auto& root : roots_) {
        if (root->touched)
            root->restore();
    }
    DriverSync();
    touched(); // what the driver has written is its answer to what was brought back
    for (auto& root : roots_) {
        if (root->touched)
            root->watchAnew();
    }
}
