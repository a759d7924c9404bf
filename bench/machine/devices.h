// Devices of the network class: making one as Windows' setup leaves it, finding all, removing one.
#pragma once

#include "adapter_bindings.h"
#include "machine.h"

namespace qvmachine {

struct NetDevice {
    std::wstring instance;
    std::vector<std::wstring> hardwareIds;
    std::optional<std::wstring> description;
    std::optional<MachineValue> friendlyName; // its bytes count: programs leave names of odd sizes
    std::wstring service;
    bool driverKey = true;
    std::vector<MachineValue> driverValues;
    Ranges ranges; // of Ndi\Interfaces in the driver key
};

// False when SetupAPI refuses; the last error says why. An instance id that exists already is
// refused.
bool CreateNetDevice(const NetDevice& device);

struct FoundDevice {
    std::wstring instance;
    std::wstring enumPath;   // under HKEY_LOCAL_MACHINE
    std::wstring driverPath; // empty: no driver key
    std::wstring service;
    std::wstring guid; // empty: no NetCfgInstanceId
};

// All of them, sorted by instance id.
std::vector<FoundDevice> FindNetDevices();

// Removes the device with its driver key.
void RemoveNetDevice(const FoundDevice& device);

// The name of the device's key under the bench's Devices: a key's name cannot hold a backslash.
std::wstring BenchDevicePath(const std::wstring& instance);

} // namespace qvmachine
