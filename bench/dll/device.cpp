#include "device.h"

#include "data.h"

namespace bench {

const GUID kNetClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

namespace {

std::wstring EnumKey(const std::wstring& instanceId) {
    return L"System\\CurrentControlSet\\Enum\\" + instanceId;
}

} // namespace

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

bool IsRegistered(const std::wstring& instanceId) {
    return KeyExists(EnumKey(instanceId)) && ReadNumber(EnumKey(instanceId), L"Phantom", 0) == 0;
}

bool HasHardwareId(const std::wstring& instanceId, const wchar_t* hardwareId) {
    for (const std::wstring& id : ReadList(EnumKey(instanceId), L"HardwareID"))
        if (lstrcmpiW(id.c_str(), hardwareId) == 0)
            return true;
    return false;
}

} // namespace bench
