// What Windows keeps with a device in a device information set and Wine does not.
#ifndef QV_BENCH_DLL_SET_STATE_H
#define QV_BENCH_DLL_SET_STATE_H

#include <windows.h>
#include <setupapi.h>
#include <memory>
#include <string>
#include <vector>

namespace bench {

struct DeviceState {
    std::vector<BYTE> classInstallParams; // empty: none were set
    bool paramsEnabled;                   // DI_CLASSINSTALLPARAMS
    bool compatList;                      // built and not destroyed
    bool classList;
    bool excludedDrivers; // the list was built with DI_FLAGSEX_ALLOWEXCLUDEDDRVS
    bool driverSelected;  // Wine can select a driver but not give it up again
    bool needsReboot;     // a change of the device waits for the restart of the machine
    std::shared_ptr<SP_DEVINSTALL_PARAMS_W> paramsOfRemoved; // null: the device is not removed
    std::wstring unread; // the call that requested a restart; empty once the parameters are read
    DWORD failedReads;   // forced failures of such reads when that call returned
};

// `device` may be null for the set itself.
DeviceState GetState(HDEVINFO set, const SP_DEVINFO_DATA* device);
void SetState(HDEVINFO set, const SP_DEVINFO_DATA* device, const DeviceState& state);

void SelectDevice(HDEVINFO set, const SP_DEVINFO_DATA& device);
bool SelectedDevice(HDEVINFO set, SP_DEVINFO_DATA* device);

// The states of the set's devices that have an `unread` call.
std::vector<DeviceState> UnreadStates(HDEVINFO set);

void ForgetSet(HDEVINFO set);

} // namespace bench

#endif
