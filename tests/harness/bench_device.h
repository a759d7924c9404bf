// A device whose calls go through the bench's stand-ins, for tests of their rules.
#pragma once

#include "harness/benched.h"
#include "harness/devices.h"
#include "include/names.h"

#include <newdev.h>

// The call fails with exactly this error.
#define EXPECT_REFUSED(error, call)                                                                \
    do {                                                                                           \
        SetLastError(0xdeadbeef);                                                                  \
        EXPECT_FALSE(call);                                                                        \
        EXPECT_EQ(static_cast<DWORD>(error), GetLastError());                                      \
    } while (0)

// A device information set whose calls go through the bench, and one of its devices.
class BenchDevice {
  public:
    // A network device that is registered, present or not.
    explicit BenchDevice(const std::wstring& instance)
        : set_(BENCHED(SetupDiGetClassDevsW)(&GUID_DEVCLASS_NET, nullptr, nullptr, 0)) {
        data_.cbSize = sizeof(data_);
        for (DWORD index = 0; SetupDiEnumDeviceInfo(set_, index, &data_); index++)
            if (lstrcmpiW(id().c_str(), instance.c_str()) == 0)
                return;
        ADD_FAILURE() << "no device " << testing::PrintToString(instance);
    }
    // A new virtual adapter, registered and without a driver.
    BenchDevice() : set_(SetupDiCreateDeviceInfoList(&GUID_DEVCLASS_NET, nullptr)) {
        static const wchar_t ids[] = MINIPORT_HARDWARE_ID L"\0";
        data_.cbSize = sizeof(data_);
        EXPECT_TRUE(BENCHED(SetupDiCreateDeviceInfoW)(set_, L"Net", &GUID_DEVCLASS_NET, nullptr,
                                                      nullptr, DICD_GENERATE_ID, &data_));
        EXPECT_TRUE(BENCHED(SetupDiSetDeviceRegistryPropertyW)(
            set_, &data_, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(ids), sizeof(ids)));
        EXPECT_TRUE(BENCHED(SetupDiCallClassInstaller)(DIF_REGISTERDEVICE, set_, &data_));
    }
    ~BenchDevice() {
        BENCHED(SetupDiDestroyDeviceInfoList)(set_);
    }
    BenchDevice(const BenchDevice&) = delete;
    BenchDevice& operator=(const BenchDevice&) = delete;

    HDEVINFO set() const {
        return set_;
    }
    SP_DEVINFO_DATA* data() {
        return &data_;
    }
    std::wstring id() {
        wchar_t id[200] = {};
        SetupDiGetDeviceInstanceIdW(set_, &data_, id, ARRAYSIZE(id), nullptr);
        return id;
    }
    BOOL change(DWORD stateChange, DWORD scope, DWORD profile = 0) {
        SP_PROPCHANGE_PARAMS change = {
            {sizeof(change.ClassInstallHeader), DIF_PROPERTYCHANGE}, stateChange, scope, profile};
        return setParams(&change.ClassInstallHeader, sizeof(change)) &&
               BENCHED(SetupDiChangeState)(set_, &data_);
    }
    BOOL remove(DWORD scope, DWORD profile = 0) {
        SP_REMOVEDEVICE_PARAMS removal = {
            {sizeof(removal.ClassInstallHeader), DIF_REMOVE}, scope, profile};
        return setParams(&removal.ClassInstallHeader, sizeof(removal)) &&
               BENCHED(SetupDiRemoveDevice)(set_, &data_);
    }
    BOOL readParams(SP_DEVINSTALL_PARAMS_W* params) {
        *params = {};
        params->cbSize = sizeof(*params);
        return BENCHED(SetupDiGetDeviceInstallParamsW)(set_, &data_, params);
    }
    HKEY openKey(DWORD scope, DWORD profile, DWORD type = DIREG_DRV) {
        return BENCHED(SetupDiOpenDevRegKey)(set_, &data_, scope, profile, type, KEY_READ);
    }

  private:
    BOOL setParams(SP_CLASSINSTALL_HEADER* header, DWORD size) {
        return BENCHED(SetupDiSetClassInstallParamsW)(set_, &data_, header, size);
    }

    HDEVINFO set_;
    SP_DEVINFO_DATA data_ = {};
};

// What the bench reports that no caller should do.
inline std::vector<std::wstring> Misuse() {
    return Texts(Journal(), L"misuse");
}
