// All members of a team send with one address, and the administrator sees the team instead of
// them.
#include "team/member_adapters.h"

#include "device/device_state.h"
#include "device/net_devices.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/tables.h"
#include "inventory/trace.h"
#include "team/member_name.h"

#include <stdlib.h>

constexpr DWORD ADDRESS_WAIT_MS = 10000;
constexpr DWORD FRIENDLY_NAME_CB = MEMBER_FRIENDLY_CCH * sizeof(WCHAR);

// The address that the team adapter's driver publishes, or NULL; the caller releases it with
// free().
static LPWSTR WaitForTeamAddress(HKEY driverKey) {
    LPWSTR lpTeamAddress = NULL;

    if (ReadStringFromRegistry(driverKey, VALUE_NETWORK_ADDRESS, &lpTeamAddress))
        return lpTeamAddress;
    Trace(L"   UpdateTeam: no address yet\n");
    Sleep(ADDRESS_WAIT_MS);
    ReadStringFromRegistry(driverKey, VALUE_NETWORK_ADDRESS, &lpTeamAddress);
    return lpTeamAddress;
}

// A name is stored with all its FRIENDLY_NAME_CB bytes, whatever its length.
static void WriteFriendlyName(HDEVINFO set, SP_DEVINFO_DATA* data,
                              const WCHAR (&name)[MEMBER_FRIENDLY_CCH]) {
    if (!SetupDiSetDeviceRegistryPropertyW(set, data, SPDRP_FRIENDLYNAME,
                                           reinterpret_cast<const BYTE*>(name), FRIENDLY_NAME_CB))
        Trace(L"   WriteFriendlyName: %s not written 0x%x\n", name, GetLastError());
}

static void UpdateMember(HDEVINFO set, const GUID* nicGuid, LPCWSTR teamName,
                         LPWSTR lpTeamAddress) {
    NetDevice nic;
    WCHAR szOwnName[MEMBER_FRIENDLY_CCH + 1];
    WCHAR szMemberName[MEMBER_FRIENDLY_CCH];

    Trace(L"-->UpdateMember:\n");
    if (!FindNetAdapter(set, NET_PHYSICAL, nicGuid, &nic)) {
        Trace(L"<--UpdateMember: not present\n");
        return;
    }
    WriteNetworkAddress(nic.driverKey, VALUE_NETWORK_ADDRESS, &lpTeamAddress);
    ReadDeviceName(set, &nic.data, szOwnName, ARRAYSIZE(szOwnName), FRIENDLY_NAME_CB);
    FormMemberName(szMemberName, teamName, szOwnName);
    WriteFriendlyName(set, &nic.data, szMemberName);
    HideNIC(nic.driverKey);
    DisableEnableDevice(set, &nic.data);
    RegCloseKey(nic.driverKey);
    Trace(L"<--UpdateMember:\n");
}

static int UpdateTeamInSet(HDEVINFO set, const TeamEntry* team, LPCWSTR teamName) {
    NetDevice teamAdapter;

    if (!FindNetAdapter(set, NET_VIRTUAL, &team->teamGuid, &teamAdapter)) {
        Trace(L"   UpdateTeam: no team adapter\n");
        return 0;
    }
    DisableEnableDevice(set, &teamAdapter.data);
    LPWSTR lpTeamAddress = WaitForTeamAddress(teamAdapter.driverKey);
    RegCloseKey(teamAdapter.driverKey);
    if (lpTeamAddress == NULL) {
        Trace(L"   UpdateTeam: no address\n");
        return 0;
    }

    DisableDevice(set, &teamAdapter.data);
    for (int member = 0; member < team->numNics; member++)
        UpdateMember(set, &team->nicGuids[member], teamName, lpTeamAddress);
    free(lpTeamAddress);
    EnableDevice(set, &teamAdapter.data);
    return 1;
}

int UpdateTeam(HWND parent, const TeamEntry* team, LPCWSTR teamName) {
    Trace(L"-->UpdateTeam: %s\n", teamName);
    HDEVINFO set = OpenNetDevices(parent);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--UpdateTeam: no device list\n");
        return 0;
    }
    int updated = UpdateTeamInSet(set, team, teamName);
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--UpdateTeam: %d\n", updated);
    return updated;
}

static LPCWSTR FindTeamName(const GUID* teamGuid) {
    for (int row = 0; row < g_numTeams && row < MAX_TEAM_ROWS; row++) {
        if (IsEqualGUID(g_teamAdapters[row].guid, *teamGuid))
            return g_teamAdapters[row].name;
    }
    return NULL;
}

static void RestoreName(HDEVINFO set, SP_DEVINFO_DATA* data, LPCWSTR teamName) {
    WCHAR szMemberName[MEMBER_FRIENDLY_CCH + 1];
    WCHAR szOwnName[MEMBER_FRIENDLY_CCH];

    ReadDeviceName(set, data, szMemberName, ARRAYSIZE(szMemberName), FRIENDLY_NAME_CB);
    if (StripTeamName(szOwnName, teamName, szMemberName))
        WriteFriendlyName(set, data, szOwnName);
}

BOOL SetNicFriendlyName(const GUID* teamGuid, const GUID* nicGuid) {
    NetDevice nic;

    Trace(L"-->SetNicFriendlyName:\n");
    LPCWSTR teamName = FindTeamName(teamGuid);
    if (teamName == NULL) {
        Trace(L"<--SetNicFriendlyName: unknown team\n");
        return FALSE;
    }
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--SetNicFriendlyName: no device list\n");
        return FALSE;
    }
    if (FindNetAdapter(set, NET_PHYSICAL, nicGuid, &nic)) {
        RestoreName(set, &nic.data, teamName);
        RegCloseKey(nic.driverKey);
    }
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--SetNicFriendlyName:\n");
    return TRUE;
}

static BOOL IsMember(const TeamEntry* team, const GUID* guid) {
    for (int member = 0; member < team->numNics; member++) {
        if (IsEqualGUID(team->nicGuids[member], *guid))
            return TRUE;
    }
    return FALSE;
}

static WalkStep VisitToRemoveAddress(NetDevice* device, LPCWSTR instanceId, void* context) {
    const TeamEntry* team = static_cast<const TeamEntry*>(context);
    GUID guid;

    if (ParseGuid(instanceId, &guid) && IsMember(team, &guid)) {
        LONG lResult = RegDeleteValueW(device->driverKey, VALUE_NETWORK_ADDRESS);
        if (lResult != ERROR_SUCCESS)
            Trace(L"   RemoveNICRegistrySettings: address not deleted %d\n", lResult);
    }
    return WALK_NEXT;
}

int RemoveNICRegistrySettings(HWND parent, const TeamEntry* team) {
    Trace(L"-->RemoveNICRegistrySettings:\n");
    HDEVINFO set = OpenNetDevices(parent);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--RemoveNICRegistrySettings: no device list\n");
        return 0;
    }
    WalkNetAdapters(set, NET_PHYSICAL, VisitToRemoveAddress, const_cast<TeamEntry*>(team));
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--RemoveNICRegistrySettings:\n");
    return 1;
}
