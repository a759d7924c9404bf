#include "devices.h"

#include "layout.h"
#include "registry.h"
#include "text.h"

#include <initguid.h>
#include <setupapi.h>
#include <cfgmgr32.h>
#include <devguid.h>

#include <algorithm>

namespace qvmachine {

static bool SetProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property,
                        const MachineValue& value) {
    return SetupDiSetDeviceRegistryPropertyW(set, data, property, value.data.data(),
                                             static_cast<DWORD>(value.data.size()));
}

static bool SetProperties(HDEVINFO set, SP_DEVINFO_DATA* data, const NetDevice& device) {
    bool done =
        SetProperty(set, data, SPDRP_CLASS, MachineValue::Text(L"", L"Net")) &&
        SetProperty(set, data, SPDRP_CONFIGFLAGS, MachineValue::Number(L"", 0)) &&
        SetProperty(set, data, SPDRP_HARDWAREID, MachineValue::MultiText(L"", device.hardwareIds));
    if (device.description) {
        done = done && SetProperty(set, data, SPDRP_DEVICEDESC,
                                   MachineValue::Text(L"", *device.description));
    }
    if (device.friendlyName) {
        done = done && SetProperty(set, data, SPDRP_FRIENDLYNAME, *device.friendlyName);
    }
    if (!device.service.empty()) {
        done =
            done && SetProperty(set, data, SPDRP_SERVICE, MachineValue::Text(L"", device.service));
    }
    return done;
}

static bool WriteRanges(const Key& driverKey, const Ranges& ranges) {
    HKEY handle = nullptr;
    if (RegCreateKeyExW(driverKey.get(), L"Ndi\\Interfaces", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &handle, nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const Key interfaces(handle);
    interfaces.Set(L"UpperRange", ranges.upper);
    interfaces.Set(L"LowerRange", ranges.lower);
    return true;
}

static bool WriteDriverKey(HDEVINFO set, SP_DEVINFO_DATA* data, const NetDevice& device) {
    HKEY handle =
        SetupDiCreateDevRegKeyW(set, data, DICS_FLAG_GLOBAL, 0, DIREG_DRV, nullptr, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    const Key key(handle);
    for (const auto& value : device.driverValues) {
        key.Set(value);
    }
    return WriteRanges(key, device.ranges);
}

static bool CreateInSet(HDEVINFO set, const NetDevice& device) {
    SP_DEVINFO_DATA data = {sizeof data};
    if (!SetupDiCreateDeviceInfoW(set, device.instance.c_str(), &GUID_DEVCLASS_NET, nullptr,
                                  nullptr, 0, &data) ||
        !SetProperties(set, &data, device) ||
        !SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr)) {
        return false;
    }
    return !device.driverKey || WriteDriverKey(set, &data, device);
}

bool CreateNetDevice(const NetDevice& device) {
    HDEVINFO set = SetupDiCreateDeviceInfoList(&GUID_DEVCLASS_NET, nullptr);
    if (set == INVALID_HANDLE_VALUE) {
        return false;
    }
    const bool done = CreateInSet(set, device);
    const DWORD error = GetLastError();
    SetupDiDestroyDeviceInfoList(set);
    SetLastError(error);
    return done;
}

static FoundDevice Describe(const std::wstring& instance) {
    FoundDevice device;
    device.instance = instance;
    device.enumPath = std::wstring(layout::kEnum) + L"\\" + instance;
    const Key key = Key::Open(device.enumPath);
    device.service = key.Text(L"Service");
    const std::wstring driver = key.Text(L"Driver");
    if (!driver.empty()) {
        device.driverPath = std::wstring(layout::kClasses) + L"\\" + driver;
        device.guid = Key::Open(device.driverPath).Text(L"NetCfgInstanceId");
    }
    return device;
}

std::vector<FoundDevice> FindNetDevices() {
    std::vector<FoundDevice> devices;
    HDEVINFO set = SetupDiGetClassDevsW(&GUID_DEVCLASS_NET, nullptr, nullptr, 0);
    if (set == INVALID_HANDLE_VALUE) {
        return devices;
    }
    SP_DEVINFO_DATA data = {sizeof data};
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &data); index++) {
        wchar_t instance[MAX_DEVICE_ID_LEN] = L"";
        SetupDiGetDeviceInstanceIdW(set, &data, instance, ARRAYSIZE(instance), nullptr);
        devices.push_back(Describe(instance));
    }
    SetupDiDestroyDeviceInfoList(set);
    std::sort(devices.begin(), devices.end(),
              [](const FoundDevice& a, const FoundDevice& b) { return a.instance < b.instance; });
    return devices;
}

void RemoveNetDevice(const FoundDevice& device) {
    DeleteTree(device.enumPath);
    if (!device.driverPath.empty()) {
        DeleteTree(device.driverPath);
    }
    // The hardware id's key, then the enumerator's, once they are empty.
    std::wstring parent = device.enumPath;
    for (int level = 0; level < 2; level++) {
        parent.resize(parent.rfind(L'\\'));
        if (parent != layout::kEnum) {
            DeleteIfEmpty(parent);
        }
    }
}

std::wstring BenchDevicePath(const std::wstring& instance) {
    std::wstring name = instance;
    std::replace(name.begin(), name.end(), L'\\', L'#');
    return std::wstring(layout::kDevices) + L"\\" + name;
}

} // namespace qvmachine
