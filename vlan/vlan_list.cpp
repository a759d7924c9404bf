// A VLAN's id and name stand on its own device, and only the host's record says whose it is.
#include "vlan/vlan_list.h"

#include "device/net_devices.h"
#include "inventory/device_path.h"
#include "inventory/record_walk.h"
#include "inventory/registry.h"
#include "inventory/trace.h"
#include "vlan/vlan_binding.h"

#include <stdlib.h>
#include <strsafe.h>

struct VlanSearch {
    LPCWSTR binding;
    VlanList* list;
};

static void AppendVlan(HKEY driverKey, LPCWSTR guidText, VlanList* list) {
    DWORD vlanId = 0;
    LPWSTR name = NULL;
    WORD row = list->numVlans;

    // The driver's id is 4 bytes wide, and the upper half of the last row's falls on the first name,
    // which then shows as empty: kept as it is known.
    if (ReadDwordFromRegistry(driverKey, VALUE_VLAN_ID, &vlanId) && row == MAX_VLANS - 1)
        list->vlanNames[0][0] = HIWORD(vlanId);
    list->vlanIds[row] = LOWORD(vlanId);
    if (!ReadStringFromRegistry(driverKey, VALUE_VLAN_NAME, &name)) {
        Trace(L"   AppendVlan: no name\n");
        return;
    }
    StringCchCopyW(list->vlanNames[row], NAME_CCH, name);
    free(name);
    ParseGuid(guidText, &list->vlanGuids[row]);
    list->numVlans++;
}

static WalkStep VisitForVlans(NetDevice* device, LPCWSTR instanceId, void* context) {
    VlanSearch* search = static_cast<VlanSearch*>(context);

    if (search->list->numVlans >= MAX_VLANS) {
        Trace(L"   VisitForVlans: the list is full\n");
        return WALK_STOP;
    }
    LPCWSTR guidText = FindBinding(search->binding, instanceId);
    if (guidText != NULL)
        AppendVlan(device->driverKey, guidText, search->list);
    return WALK_NEXT;
}

BOOL GetVlanIdForDevices(LPCWSTR binding, VlanList* list) {
    VlanSearch search = {binding, list};

    Trace(L"-->GetVlanIdForDevices:\n");
    list->numVlans = 0;
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--GetVlanIdForDevices: no device list\n");
        return FALSE;
    }
    WalkNetAdapters(set, NET_VIRTUAL, VisitForVlans, &search);
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--GetVlanIdForDevices: %d\n", list->numVlans);
    return TRUE;
}

static void ReadRecord(HKEY record, VlanList* list) {
    LPWSTR binding = NULL;
    DWORD cbBinding = 0;

    if (QueryTextValue(record, VALUE_VLAN_BINDING, 2, &binding, &cbBinding) != ERROR_SUCCESS)
        return;
    if (cbBinding != 0)
        GetVlanIdForDevices(binding, list);
    free(binding);
}

BOOL GetVlanListForNic(const GUID* adapterGuid, VlanList* list) {
    WCHAR szGuid[GUID_CCH];
    WCHAR szPath[PATH_CCH];
    HKEY record;

    Trace(L"-->GetVlanListForNic:\n");
    list->numVlans = 0;
    PrintGuid(adapterGuid, szGuid);
    if (!FormKeyPath(szPath, ARRAYSIZE(szPath), MEMBER_RECORDS_KEY, szGuid)) {
        Trace(L"<--GetVlanListForNic: no path\n");
        return FALSE;
    }
    LONG lResult = RegOpenKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, KEY_ALL_ACCESS, &record);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--GetVlanListForNic: no record %d\n", lResult);
        return FALSE;
    }
    ReadRecord(record, list);
    RegCloseKey(record);
    Trace(L"<--GetVlanListForNic: %d\n", list->numVlans);
    return TRUE;
}

struct TeamSearch {
    WCHAR szTeam[GUID_CCH];
    VlanList* list;
};

static BOOL BelongsToTeam(HKEY record, LPCWSTR team) {
    LPWSTR binding = NULL;

    if (!ReadStringFromRegistry(record, VALUE_TEAM_BINDING, &binding))
        return FALSE;
    LPCWSTR guidText = BindingGuidText(binding);
    BOOL belongs = guidText != NULL && wcscmp(guidText, team) == 0;
    free(binding);
    return belongs;
}

// All members carry the same list, so the first is enough.
static BOOL VisitForTeamVlans(HKEY records, LPCWSTR name, void* context) {
    const TeamSearch* search = static_cast<const TeamSearch*>(context);
    HKEY record;

    LONG lResult = RegOpenKeyExW(records, name, 0, KEY_ALL_ACCESS, &record);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   VisitForTeamVlans: %s not opened %d\n", name, lResult);
        return TRUE;
    }
    BOOL member = BelongsToTeam(record, search->szTeam);
    if (member)
        ReadRecord(record, search->list);
    RegCloseKey(record);
    return !member;
}

BOOL GetVlanListForTeam(const GUID* teamGuid, VlanList* list) {
    TeamSearch search = {{}, list};

    Trace(L"-->GetVlanListForTeam:\n");
    list->numVlans = 0;
    PrintGuid(teamGuid, search.szTeam);
    LONG lResult = WalkMemberRecords(VisitForTeamVlans, &search);
    Trace(L"<--GetVlanListForTeam: %d %d\n", lResult, list->numVlans);
    return lResult == ERROR_SUCCESS;
}
