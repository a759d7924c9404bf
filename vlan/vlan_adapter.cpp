// A VLAN is both a record and a device, and the driver must lose the record before its device
// goes.
#include "vlan/vlan_adapter.h"

#include "device/device_state.h"
#include "device/inf_search.h"
#include "device/net_devices.h"
#include "device/virtual_adapter.h"
#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"
#include "vlan/vlan_records.h"

#include <strsafe.h>

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

static LONG RecordVlan(const GUID* hostGuid, const GUID* vlanGuid, BOOL isTeam, BOOL remove) {
    return isTeam ? AddRemoveVlanInfoTeam(hostGuid, vlanGuid, remove)
                  : AddRemoveVlanInfoNic(hostGuid, vlanGuid, VLAN_HOST_TEAM_NUMBER, remove);
}

// What the miniport reads when it starts. A device that is not there is passed over.
static BOOL WriteVlanValues(const GUID* vlanGuid, LPCWSTR vlanName, DWORD vlanId) {
    WCHAR szGuid[GUID_CCH];
    NetDevice device;

    Trace(L"-->WriteVlanValues: %d %s\n", vlanId, vlanName);
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--WriteVlanValues: GetClassDevs failed\n");
        return FALSE;
    }
    PrintGuid(vlanGuid, szGuid);
    if (FindNetAdapterByText(set, NET_ANY, szGuid, &device)) {
        WriteDwordToRegistry(device.driverKey, VALUE_VLAN_ID, vlanId);
        RegSetValueExW(device.driverKey, VALUE_VLAN_NAME, 0, REG_SZ,
                       reinterpret_cast<const BYTE*>(vlanName),
                       static_cast<DWORD>((wcslen(vlanName) + 1) * sizeof(WCHAR)));
        RegCloseKey(device.driverKey);
    } else {
        Trace(L"   WriteVlanValues: no device %s\n", szGuid);
    }
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--WriteVlanValues:\n");
    return TRUE;
}

BOOL CreateVlanForNics(const GUID* hostGuid, LPCWSTR hostName, LPCWSTR vlanName, DWORD vlanId,
                       GUID* vlanGuid, BOOL isTeam) {
    WCHAR szInf[PATH_CCH];
    WCHAR szFriendlyName[NAME_CCH];
    GUID newGuid = {};

    Trace(L"-->CreateVlanForNics: %d %d\n", vlanId, isTeam);
    if (GetMiniportInf(NULL, szInf) <= 0) {
        Trace(L"<--CreateVlanForNics: Unable to get miniport inf\n");
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    StringCchPrintfW(szFriendlyName, ARRAYSIZE(szFriendlyName), L"%s - %s", hostName, vlanName);
    int failcode = cmdInstall(MINIPORT_HARDWARE_ID, szInf, szFriendlyName, &newGuid);
    if (failcode != INSTALL_OK) {
        Trace(L"<--CreateVlanForNics: failed to install the new virtual adapter 0x%x\n", failcode);
        return FALSE;
    }
    // All zero when memory ran out behind the installation; recorded as such, for the device is there.
    *vlanGuid = newGuid;
    LONG lResult = RecordVlan(hostGuid, &newGuid, isTeam, FALSE);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--CreateVlanForNics: failed to write reg values for the new adapter%d\n", lResult);
        SetLastError(lResult);
        return FALSE;
    }
    if (!WriteVlanValues(&newGuid, vlanName, vlanId)) {
        Trace(L"<--CreateVlanForNics: no values\n");
        return FALSE;
    }
    DisableEnableNic(&newGuid);
    Trace(L"<--CreateVlanForNics:\n");
    return TRUE;
}

BOOL RemoveVlanFromNic(const GUID* hostGuid, const GUID* vlanGuid, BOOL isTeam) {
    Trace(L"-->RemoveVlanFromNic: %d\n", isTeam);
    LONG lResult = RecordVlan(hostGuid, vlanGuid, isTeam, TRUE);
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
