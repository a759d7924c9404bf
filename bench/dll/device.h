// A device by its instance id or by its place in a device information set.
#ifndef QV_BENCH_DLL_DEVICE_H
#define QV_BENCH_DLL_DEVICE_H

#include <windows.h>
#include <setupapi.h>
#include <string>
#include <vector>

namespace bench {

extern const GUID kNetClass;

// "" with the last error of SetupDiGetDeviceInstanceIdW when the set has no such device.
std::wstring InstanceId(HDEVINFO set, PSP_DEVINFO_DATA device);

// The bench's own state of the device, below HKEY_LOCAL_MACHINE.
std::wstring BenchDeviceKey(const std::wstring& instanceId);

// The device's driver key below HKEY_LOCAL_MACHINE; "" when it has none.
std::wstring DriverKey(const std::wstring& instanceId);

// The device's NetCfgInstanceId; "" when it has no driver key or no such value.
std::wstring AdapterGuid(const std::wstring& instanceId);

// A device that exists only in a set of the program is not registered.
bool IsRegistered(const std::wstring& instanceId);

// A registered device that is not present is a phantom: its records stand, nothing answers for it.
bool IsPresent(const std::wstring& instanceId);
void SetNotPresent(const std::wstring& instanceId);

// The DI_ flags that the machine adds to the device's install parameters.
DWORD DeviceFlags(const std::wstring& instanceId);

// Below the root enumerator, which makes devices for software.
bool IsRootEnumerated(const std::wstring& instanceId);

// The device's key in the enumerator's branch, below HKEY_LOCAL_MACHINE.
std::wstring EnumKey(const std::wstring& instanceId);

std::vector<std::wstring> HardwareIds(const std::wstring& instanceId);

// Case does not matter, as for the system.
bool HasHardwareId(const std::wstring& instanceId, const wchar_t* hardwareId);

// A record of one of the two sizes that Windows knows, in its cbSize.
bool IsDriverRecord(const SP_DRVINFO_DATA_W* driver);

// The driver that is selected for the device of the set, as Wine keeps it; false without one.
struct SelectedDriver {
    std::wstring description;
    std::wstring provider;
    std::wstring inf;     // full path
    std::wstring section; // as the INF's models section names it
    std::wstring hardwareId;
};
bool ReadSelectedDriver(HDEVINFO set, PSP_DEVINFO_DATA device, SelectedDriver* selected);

} // namespace bench

#endif
