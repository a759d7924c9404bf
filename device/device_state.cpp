// Members of a team are hidden and restarted so that the teaming protocol takes them over, and
// shown and restarted when they leave it.
#include "device/device_state.h"

#include "device/net_devices.h"
#include "device/windows_version.h"
#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"

int GetOsVersionType(void) {
    OSVERSIONINFOW version;
    int type = 0;

    Trace(L"-->GetOsVersionType:\n");
    if (ReadWindowsVersion(&version)) {
        if (version.dwMajorVersion == 5 && version.dwMinorVersion == 2)
            type = 1;
        else if (version.dwMajorVersion == 6 && version.dwMinorVersion == 0)
            type = 2;
    }
    Trace(L"<--GetOsVersionType: %d\n", type);
    return type;
}

static BOOL ReadInstallFlags(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD* flags) {
    SP_DEVINSTALL_PARAMS_W params = {};

    params.cbSize = sizeof(params);
    if (!SetupDiGetDeviceInstallParamsW(set, data, &params)) {
        Trace(L"   ReadInstallFlags: no install parameters %d\n", GetLastError());
        return FALSE;
    }
    *flags = params.Flags;
    return TRUE;
}

// A restart of the system that a change waits for is only traced: the administrator decides when.
static void TraceRestart(HDEVINFO set, SP_DEVINFO_DATA* data) {
    DWORD flags = 0;

    if (ReadInstallFlags(set, data, &flags) && (flags & (DI_NEEDRESTART | DI_NEEDREBOOT)))
        Trace(L"   TraceRestart: the system needs a restart\n");
}

static int ChangeDeviceState(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD stateChange) {
    SP_PROPCHANGE_PARAMS change = {};
    DWORD flags = 0;

    Trace(L"-->ChangeDeviceState: %d\n", stateChange);
    change.ClassInstallHeader.cbSize = sizeof(change.ClassInstallHeader);
    change.ClassInstallHeader.InstallFunction = DIF_PROPERTYCHANGE;
    change.StateChange = stateChange;
    change.Scope = GetOsVersionType() == 1 ? DICS_FLAG_GLOBAL : DICS_FLAG_CONFIGSPECIFIC;
    change.HwProfile = 0;

    if (ReadInstallFlags(set, data, &flags) && (flags & DI_DONOTCALLCONFIGMG)) {
        Trace(L"<--ChangeDeviceState: the device refuses\n");
        return 0;
    }
    if (!SetupDiSetClassInstallParamsW(set, data, &change.ClassInstallHeader, sizeof(change))) {
        Trace(L"<--ChangeDeviceState: SetClassInstallParams failed 0x%x\n", GetLastError());
        return 0;
    }
    if (!SetupDiChangeState(set, data)) {
        Trace(L"<--ChangeDeviceState: ChangeState failed 0x%x\n", GetLastError());
        return 0;
    }
    TraceRestart(set, data);
    Trace(L"<--ChangeDeviceState:\n");
    return 1;
}

int DisableDevice(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData) {
    Trace(L"-->DisableDevice:\n");
    int done = ChangeDeviceState(deviceInfoSet, deviceInfoData, DICS_DISABLE);
    Trace(L"<--DisableDevice: %d\n", done);
    return done;
}

int EnableDevice(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData) {
    Trace(L"-->EnableDevice:\n");
    int done = ChangeDeviceState(deviceInfoSet, deviceInfoData, DICS_ENABLE);
    Trace(L"<--EnableDevice: %d\n", done);
    return done;
}

int DisableEnableDevice(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData) {
    Trace(L"-->DisableEnableDevice:\n");
    DisableDevice(deviceInfoSet, deviceInfoData);
    EnableDevice(deviceInfoSet, deviceInfoData);
    Trace(L"<--DisableEnableDevice:\n");
    return 1;
}

void DisableEnableNic(const GUID* guid) {
    NetDevice device;

    Trace(L"-->DisableEnableNic:\n");
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--DisableEnableNic: no device list\n");
        return;
    }
    if (FindNetAdapter(set, NET_ANY, guid, &device)) {
        DisableEnableDevice(set, &device.data);
        RegCloseKey(device.driverKey);
    }
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--DisableEnableNic:\n");
}

void ShowHideNic(const GUID* guid, int hide) {
    NetDevice device;
    WCHAR szGuid[GUID_CCH];

    Trace(L"-->ShowHideNic: %d\n", hide);
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--ShowHideNic: no device list\n");
        return;
    }
    PrintGuid(guid, szGuid);
    if (FindNetAdapterByText(set, NET_ANY, szGuid, &device)) {
        if (hide == 1)
            HideNIC(device.driverKey);
        else
            ShowNIC(device.driverKey);
        RegCloseKey(device.driverKey);
        DisableEnableDevice(set, &device.data);
    }
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--ShowHideNic:\n");
}

int HideNIC(HKEY driverKey) {
    DWORD characteristics = 0;

    Trace(L"-->HideNIC:\n");
    if (!ReadDwordFromRegistry(driverKey, VALUE_CHARACTERISTICS, &characteristics)) {
        Trace(L"<--HideNIC: no characteristics\n");
        return 0;
    }
    LONG lResult = WriteDwordToRegistry(driverKey, VALUE_CHARACTERISTICS,
                                        characteristics | CHARACTERISTIC_HIDDEN);
    Trace(L"<--HideNIC: %d\n", lResult);
    return lResult == ERROR_SUCCESS;
}

int ShowNIC(HKEY driverKey) {
    DWORD characteristics = 0;

    Trace(L"-->ShowNIC:\n");
    if (!ReadDwordFromRegistry(driverKey, VALUE_CHARACTERISTICS, &characteristics)) {
        Trace(L"<--ShowNIC: no characteristics\n");
        return 0;
    }
    LONG lResult = WriteDwordToRegistry(driverKey, VALUE_CHARACTERISTICS,
                                        characteristics & ~CHARACTERISTIC_HIDDEN);
    Trace(L"<--ShowNIC: %d\n", lResult);
    return 1;
}

int RemoveTeamDetails(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData) {
    SP_REMOVEDEVICE_PARAMS removal = {};

    Trace(L"-->RemoveTeamDetails:\n");
    removal.ClassInstallHeader.cbSize = sizeof(removal.ClassInstallHeader);
    removal.ClassInstallHeader.InstallFunction = DIF_REMOVE;
    removal.Scope = DI_REMOVEDEVICE_GLOBAL;
    removal.HwProfile = 0;
    if (!SetupDiSetClassInstallParamsW(deviceInfoSet, deviceInfoData, &removal.ClassInstallHeader,
                                       sizeof(removal))) {
        Trace(L"<--RemoveTeamDetails: SetClassInstallParams failed 0x%x\n", GetLastError());
        return 0;
    }
    if (!SetupDiRemoveDevice(deviceInfoSet, deviceInfoData)) {
        Trace(L"<--RemoveTeamDetails: RemoveDevice failed 0x%x\n", GetLastError());
        return 0;
    }
    TraceRestart(deviceInfoSet, deviceInfoData);
    Trace(L"<--RemoveTeamDetails:\n");
    return 1;
}
