#include "device.h"

#include <cwchar>

#include "data.h"

namespace bench {

const GUID kNetClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

std::wstring EnumKey(const std::wstring& instanceId) {
    return L"System\\CurrentControlSet\\Enum\\" + instanceId;
}

std::wstring InstanceId(HDEVINFO set, PSP_DEVINFO_DATA device) {
    wchar_t id[MAX_PATH];
    if (!SetupDiGetDeviceInstanceIdW(set, device, id, ARRAYSIZE(id), nullptr))
        return {};
    return id;
}

std::wstring BenchDeviceKey(const std::wstring& instanceId) {
    std::wstring name = instanceId;
    for (wchar_t& c : name)
        if (c == L'\\')
            c = L'#';
    return std::wstring(kDevicesKey) + L"\\" + name;
}

std::wstring DriverKey(const std::wstring& instanceId) {
    std::wstring driver = ReadText(EnumKey(instanceId), L"Driver");
    if (driver.empty())
        return {};
    return L"System\\CurrentControlSet\\Control\\Class\\" + driver;
}

std::wstring AdapterGuid(const std::wstring& instanceId) {
    std::wstring driver = DriverKey(instanceId);
    return driver.empty() ? driver : ReadText(driver, L"NetCfgInstanceId");
}

bool IsRegistered(const std::wstring& instanceId) {
    return KeyExists(EnumKey(instanceId)) && ReadNumber(EnumKey(instanceId), L"Phantom", 0) == 0;
}

bool IsPresent(const std::wstring& instanceId) {
    return ReadNumber(BenchDeviceKey(instanceId), L"Present", 1) != 0;
}

void SetNotPresent(const std::wstring& instanceId) {
    WriteNumber(BenchDeviceKey(instanceId), L"Present", 0);
}

DWORD DeviceFlags(const std::wstring& instanceId) {
    return ReadNumber(BenchDeviceKey(instanceId), L"Flags", 0);
}

bool IsRootEnumerated(const std::wstring& instanceId) {
    const wchar_t root[] = L"ROOT\\";
    return _wcsnicmp(instanceId.c_str(), root, ARRAYSIZE(root) - 1) == 0;
}

std::vector<std::wstring> HardwareIds(const std::wstring& instanceId) {
    return ReadList(EnumKey(instanceId), L"HardwareID");
}

bool HasHardwareId(const std::wstring& instanceId, const wchar_t* hardwareId) {
    for (const std::wstring& id : HardwareIds(instanceId))
        if (lstrcmpiW(id.c_str(), hardwareId) == 0)
            return true;
    return false;
}

bool IsDriverRecord(const SP_DRVINFO_DATA_W* driver) {
    return driver && (driver->cbSize == sizeof(SP_DRVINFO_DATA_V1_W) ||
                      driver->cbSize == sizeof(SP_DRVINFO_DATA_V2_W));
}

bool ReadSelectedDriver(HDEVINFO set, PSP_DEVINFO_DATA device, SelectedDriver* selected) {
    SP_DRVINFO_DATA_V2_W driver = {};
    driver.cbSize = sizeof(driver);
    if (!SetupDiGetSelectedDriverW(set, device, &driver))
        return false;
    // The record ends in the device's compatible ids, however long they are.
    std::vector<BYTE> buffer(16 * 1024);
    auto detail = reinterpret_cast<SP_DRVINFO_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof(*detail);
    if (!SetupDiGetDriverInfoDetailW(set, device, &driver, detail,
                                     static_cast<DWORD>(buffer.size()), nullptr))
        return false;
    *selected = {driver.Description, driver.ProviderName, detail->InfFileName, detail->SectionName,
                 detail->HardwareID};
    return true;
}

} // namespace bench
