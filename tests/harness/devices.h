// The machine's devices as the product's routines take them, and what a routine may not leave
// behind.
#pragma once

#include "harness/machine_test.h"

#include <windows.h>
#include <devguid.h>
#include <setupapi.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

// The present network devices, opened past the bench.
class DeviceSet {
  public:
    DeviceSet() : set_(SetupDiGetClassDevsW(&GUID_DEVCLASS_NET, nullptr, nullptr, DIGCF_PRESENT)) {
        EXPECT_NE(INVALID_HANDLE_VALUE, set_);
    }
    ~DeviceSet() {
        SetupDiDestroyDeviceInfoList(set_);
    }
    DeviceSet(const DeviceSet&) = delete;
    DeviceSet& operator=(const DeviceSet&) = delete;

    HDEVINFO handle() const {
        return set_;
    }

    // The device of this instance id, which must be there.
    SP_DEVINFO_DATA* find(const std::wstring& instance) {
        device_.cbSize = sizeof(device_);
        for (DWORD index = 0; SetupDiEnumDeviceInfo(set_, index, &device_); index++) {
            if (lstrcmpiW(idOf(&device_).c_str(), instance.c_str()) == 0)
                return &device_;
        }
        ADD_FAILURE() << "no device " << testing::PrintToString(instance);
        return &device_;
    }

    std::vector<std::wstring> ids() {
        std::vector<std::wstring> all;
        SP_DEVINFO_DATA device = {};
        device.cbSize = sizeof(device);
        for (DWORD index = 0; SetupDiEnumDeviceInfo(set_, index, &device); index++)
            all.push_back(idOf(&device));
        return all;
    }

    // The caller closes it.
    HKEY driverKey(const std::wstring& instance) {
        HKEY key = SetupDiOpenDevRegKey(set_, find(instance), DICS_FLAG_GLOBAL, 0, DIREG_DRV,
                                        KEY_ALL_ACCESS);
        EXPECT_NE(INVALID_HANDLE_VALUE, key) << testing::PrintToString(instance);
        return key;
    }

  private:
    std::wstring idOf(SP_DEVINFO_DATA* device) const {
        wchar_t id[200] = {};
        SetupDiGetDeviceInstanceIdW(set_, device, id, ARRAYSIZE(id), nullptr);
        return id;
    }

    HDEVINFO set_;
    SP_DEVINFO_DATA device_ = {};
};

// What the machine's dump lost (-) and gained (+) since `before`, a line each; empty when nothing.
inline std::string ChangedSince(const std::string& before) {
    std::vector<std::string> old = DumpLines(before, "");
    std::vector<std::string> now = DumpLines(MachineDump(), "");
    std::vector<std::string> gone;
    std::vector<std::string> come;
    std::set_difference(old.begin(), old.end(), now.begin(), now.end(), std::back_inserter(gone));
    std::set_difference(now.begin(), now.end(), old.begin(), old.end(), std::back_inserter(come));
    std::string text;
    for (const std::string& line : gone)
        text += "- " + line + "\n";
    for (const std::string& line : come)
        text += "+ " + line + "\n";
    return text;
}
