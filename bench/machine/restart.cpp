// What a restart of the machine does to it, apart from ending every program.
#include "machine.h"

#include "device_start.h"
#include "devices.h"
#include "driver_control.h"
#include "layout.h"
#include "registry.h"

#include <cstring>

using namespace qvmachine;

// "RegCreateKeyEx", REG_OPTION_VOLATILE: the information is not preserved when the system restarts.
static void DeleteVolatileKeys() {
    for (const auto& key : Key::Open(layout::kVolatile).Values()) {
        DeleteTree(key.name);
    }
    DeleteTree(layout::kVolatile);
}

// It belongs to a program; no program outlives the restart.
static void ReleaseConfigurationLock() {
    DeleteTree(layout::kConfigurationLock);
    DeleteValue(layout::kMachine, L"LockHolder");
    DeleteValue(layout::kMachine, L"LockSeconds");
}

static void Remove(const FoundDevice& device) {
    RemoveNetDevice(device);
    DeleteTree(BenchDevicePath(device.instance));
    if (!device.guid.empty()) {
        DeleteTree(std::wstring(layout::kAdapters) + L"\\" + device.guid);
    }
}

// Carries out what has been waiting. False when that was the device's removal.
static bool CarryOut(const FoundDevice& device) {
    const std::wstring path = BenchDevicePath(device.instance);
    const Key key = Key::Open(path);
    if (key.Number(kPendingRemoval, 0)) {
        Remove(device);
        return false;
    }
    if (const auto disabled = key.Value(kPendingDisabled)) {
        Key::Create(path).Set({kDisabled, disabled->type, disabled->data});
        DeleteValue(path, kPendingDisabled);
    }
    return true;
}

static bool Starts(const FoundDevice& device) {
    const Key key = Key::Open(BenchDevicePath(device.instance));
    return key.Number(kDisabled, 0) == 0 && key.Number(layout::kPresent, 1) != 0;
}

static ULONGLONG Now() {
    const auto clock = Key::Open(layout::kBench).Value(L"Clock");
    ULONGLONG now = 0;
    if (clock && clock->data.size() == sizeof now) {
        memcpy(&now, clock->data.data(), sizeof now);
    }
    return now;
}

bool MachineRestart(std::wstring* error) {
    if (!Key::Open(layout::kMachine)) {
        *error = L"no machine stands";
        return false;
    }
    std::vector<FoundDevice> devices;
    for (const auto& device : FindNetDevices()) {
        StopDevice(device.instance);
        if (CarryOut(device)) {
            devices.push_back(device);
        }
    }
    // What an earlier program has open serves no longer.
    bool synced = DriverSync();
    DeleteVolatileKeys();
    ReleaseConfigurationLock();
    for (const auto& device : devices) {
        if (Starts(device)) {
            StartDevice(device.instance, Now());
        }
    }
    synced = synced && DriverSync();
    if (!synced) {
        *error = L"the adapters' driver does not run";
    }
    return synced;
}
