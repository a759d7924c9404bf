// What Windows keeps with a device in a device information set and Wine does not.
#ifndef QV_BENCH_DLL_SET_STATE_H
#define QV_BENCH_DLL_SET_STATE_H

#include <windows.h>
#include <setupapi.h>
#include <vector>

namespace bench {

struct DeviceState {
    std::vector<BYTE> classInstallParams; // empty: none were set
    bool paramsEnabled;                   // DI_CLASSINSTALLPARAMS
    bool compatList;                      // built and not destroyed
    bool classList;
    bool excludedDrivers; // the list was built with DI_FLAGSEX_ALLOWEXCLUDEDDRVS
    bool driverSelected;  // Wine can select a driver but not give it up again
};

// `device` may be null for the set itself.
DeviceState GetState(HDEVINFO set, const SP_DEVINFO_DATA* device);
void SetState(HDEVINFO set, const SP_DEVINFO_DATA* device, const DeviceState& state);

void SelectDevice(HDEVINFO set, const SP_DEVINFO_DATA& device);
bool SelectedDevice(HDEVINFO set, SP_DEVINFO_DATA* device);

void ForgetSet(HDEVINFO set);

} // namespace bench

#endif
