// A VLAN is both a record and a device, and the driver must lose the record before its device
// goes.
#include "vlan/vlan_adapter.h"

#include "device/device_state.h"
#include "device/net_devices.h"
#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"
#include "vlan/vlan_records.h"

static BOOL RemoveVlanDevice(const GUID* vlanGuid) {
    WCHAR szGuid[GUID_CCH];
    NetDevice device;
    BOOL removed = FALSE;
    DWORD dwError = ERROR_NOT_FOUND;

    Trace(L"-->RemoveVlanDevice:\n");
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--RemoveVlanDevice: no device list\n");
        return FALSE;
    }
    PrintGuid(vlanGuid, szGuid);
    if (FindNetAdapterByText(set, NET_ANY, szGuid, &device)) {
        DeleteConnectionKey(szGuid);
        removed = RemoveTeamDetails(set, &device.data) == 1;
        dwError = GetLastError();
        RegCloseKey(device.driverKey);
    }
    SetupDiDestroyDeviceInfoList(set);
    SetLastError(dwError);
    Trace(L"<--RemoveVlanDevice: %d\n", removed);
    return removed;
}

BOOL RemoveVlanFromNic(const GUID* hostGuid, const GUID* vlanGuid, BOOL isTeam) {
    Trace(L"-->RemoveVlanFromNic: %d\n", isTeam);
    LONG lResult = isTeam ? AddRemoveVlanInfoTeam(hostGuid, vlanGuid, TRUE)
                          : AddRemoveVlanInfoNic(hostGuid, vlanGuid, VLAN_HOST_TEAM_NUMBER, TRUE);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--RemoveVlanFromNic: failed to remove reg values of the vlan adapter%d\n",
              lResult);
        SetLastError(lResult);
        return FALSE;
    }
    BOOL removed = RemoveVlanDevice(vlanGuid);
    Trace(L"<--RemoveVlanFromNic: %d\n", removed);
    return removed;
}
