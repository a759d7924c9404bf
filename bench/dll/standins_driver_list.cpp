// Stand-ins of SetupAPI's driver list routines. Their rules are those of each routine's page in the
// Windows driver documentation.
#include "standins.h"

#include <cstring>

#include "device.h"
#include "last_error.h"
#include "set_state.h"
#include "tally.h"

namespace bench {

namespace {

const void* ListTag(HDEVINFO set, PSP_DEVINFO_DATA device) {
    return reinterpret_cast<const void*>(reinterpret_cast<ULONG_PTR>(set) +
                                         (device ? device->DevInst : 0));
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

// Whether excluded drivers are in the list is settled when it is built.
BOOL WINAPI SetupDiBuildDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type) {
    if ((type != SPDIT_CLASSDRIVER && type != SPDIT_COMPATDRIVER) ||
        (type == SPDIT_COMPATDRIVER && !device))
        return Refuse(ERROR_INVALID_PARAMETER);
    SP_DEVINSTALL_PARAMS_W params = {};
    params.cbSize = sizeof(params);
    if (!::SetupDiGetDeviceInstallParamsW(set, device, &params))
        return FALSE;
    if ((params.Flags & DI_ENUMSINGLEINF) &&
        GetFileAttributesW(params.DriverPath) == INVALID_FILE_ATTRIBUTES)
        return Refuse(ERROR_FILE_NOT_FOUND);
    if (!::SetupDiBuildDriverInfoList(set, device, type))
        return FALSE;
    KeepLastError keep;
    DeviceState state = GetState(set, device);
    bool& built = type == SPDIT_COMPATDRIVER ? state.compatList : state.classList;
    if (!built)
        Opened(Kind::DriverLists, ListTag(set, device), "SetupDiBuildDriverInfoList");
    built = true;
    state.excludedDrivers = (params.FlagsEx & DI_FLAGSEX_ALLOWEXCLUDEDDRVS) != 0;
    SetState(set, device, state);
    return TRUE;
}

// Page "SP_DRVINFO_DATA_V2_W structure": cbSize is the size of the record. The error is unverified.
BOOL WINAPI SetupDiGetSelectedDriverW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                      PSP_DRVINFO_DATA_W driver) {
    if (InstanceId(set, device).empty())
        return FALSE;
    if (!IsDriverRecord(driver))
        return Refuse(ERROR_INVALID_USER_BUFFER);
    if (!GetState(set, device).driverSelected)
        return Refuse(ERROR_NO_DRIVER_SELECTED);
    SP_DRVINFO_DATA_V2_W selected = {};
    selected.cbSize = sizeof(selected);
    if (!::SetupDiGetSelectedDriverW(set, device, &selected))
        return FALSE;
    selected.cbSize = driver->cbSize;
    memcpy(driver, &selected, driver->cbSize);
    return TRUE;
}

// A selected driver of the list is no longer selected once the list is gone.
BOOL WINAPI SetupDiDestroyDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type) {
    if ((type != SPDIT_CLASSDRIVER && type != SPDIT_COMPATDRIVER) ||
        (type == SPDIT_COMPATDRIVER && !device))
        return Refuse(ERROR_INVALID_PARAMETER);
    if (device && InstanceId(set, device).empty())
        return FALSE;
    DeviceState state = GetState(set, device);
    bool& built = type == SPDIT_COMPATDRIVER ? state.compatList : state.classList;
    Closed(Kind::DriverLists, ListTag(set, device));
    built = false;
    state.driverSelected = false;
    SetState(set, device, state);
    return TRUE;
}

} // namespace standin
