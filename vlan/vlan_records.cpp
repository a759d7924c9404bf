// The teaming protocol driver learns of a VLAN only from these records.
#include "vlan/vlan_records.h"

#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/record_walk.h"
#include "inventory/registry.h"
#include "inventory/trace.h"
#include "vlan/vlan_binding.h"

#include <stdlib.h>

// Behind the entries that a removal keeps stand the list's closing NUL and one spare NUL: the
// driver expects both.
constexpr DWORD LIST_END_CB = 2 * sizeof(WCHAR);

// Room behind a stored list: a NUL for a last entry that lacks one, and the list's end.
constexpr size_t LIST_SPARE_CCH = 3;

static LONG WinStatus(LONG queryResult) {
    return queryResult == QUERY_NO_MEMORY ? ERROR_NOT_ENOUGH_MEMORY : queryResult;
}

static LONG WriteBinding(HKEY record, LPCWSTR list, DWORD cbList) {
    return RegSetValueExW(record, VALUE_VLAN_BINDING, 0, REG_MULTI_SZ,
                          reinterpret_cast<const BYTE*>(list), cbList);
}

// Writes the name with the old list behind it. A list that is absent or empty counts as one empty
// string.
//   list  zeroed, with room for both and one more character
static LONG PrependName(HKEY record, LPCWSTR deviceName, LPWSTR list, DWORD cbName, DWORD cbOld) {
    DWORD cbRead = cbOld;

    CopyMemory(list, deviceName, cbName);
    if (cbOld == 0)
        return WriteBinding(record, list, cbName + sizeof(WCHAR));
    LONG lResult = RegQueryValueExW(record, VALUE_VLAN_BINDING, NULL, NULL,
                                    reinterpret_cast<LPBYTE>(list) + cbName, &cbRead);
    if (lResult != ERROR_SUCCESS)
        return lResult;
    return WriteBinding(record, list, cbName + cbRead);
}

LONG AddToVlanBinding(HKEY record, LPCWSTR deviceName) {
    DWORD cbOld = 0;
    DWORD cbName = static_cast<DWORD>((wcslen(deviceName) + 1) * sizeof(WCHAR));

    Trace(L"-->AddToVlanBinding: %s\n", deviceName);
    if (RegQueryValueExW(record, VALUE_VLAN_BINDING, NULL, NULL, NULL, &cbOld) != ERROR_SUCCESS)
        cbOld = 0;
    size_t cbList = static_cast<size_t>(cbName) + cbOld + sizeof(WCHAR);
    LPWSTR list = static_cast<LPWSTR>(calloc(1, cbList));
    LONG lResult = list != NULL ? PrependName(record, deviceName, list, cbName, cbOld)
                                : ERROR_NOT_ENOUGH_MEMORY;
    free(list);
    Trace(L"<--AddToVlanBinding: %d\n", lResult);
    return lResult;
}

static LONG WriteOtherEntries(HKEY record, LPCWSTR deviceName, LPCWSTR list, LPWSTR kept) {
    DWORD cbKept = static_cast<DWORD>(CopyOtherEntries(list, deviceName, kept) * sizeof(WCHAR));
    if (cbKept > sizeof(WCHAR))
        return WriteBinding(record, kept, cbKept + LIST_END_CB);
    return RegDeleteValueW(record, VALUE_VLAN_BINDING);
}

LONG RemoveFromVlanBinding(HKEY record, LPCWSTR deviceName) {
    DWORD cbList = 0;
    LPWSTR list = NULL;

    Trace(L"-->RemoveFromVlanBinding: %s\n", deviceName);
    LONG lResult = QueryTextValue(record, VALUE_VLAN_BINDING, LIST_SPARE_CCH, &list, &cbList);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--RemoveFromVlanBinding: not read %d\n", lResult);
        return WinStatus(lResult);
    }
    size_t cchList = (static_cast<size_t>(cbList) + 1) / sizeof(WCHAR);
    LPWSTR kept = static_cast<LPWSTR>(calloc(cchList + LIST_SPARE_CCH, sizeof(WCHAR)));
    lResult =
        kept != NULL ? WriteOtherEntries(record, deviceName, list, kept) : ERROR_NOT_ENOUGH_MEMORY;
    free(kept);
    free(list);
    Trace(L"<--RemoveFromVlanBinding: %d\n", lResult);
    return lResult;
}

static LONG AddToHostRecord(HKEY record, LPCWSTR deviceName) {
    LONG lResult = WriteDwordToRegistry(record, VALUE_TEAM_NUMBER, VLAN_HOST_TEAM_NUMBER);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   AddRemoveVlanInfoNic: failed to write team number %d\n", lResult);
        return lResult;
    }
    lResult = WriteDwordToRegistry(record, VALUE_ORDER, 0);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   AddRemoveVlanInfoNic: failed to write order %d\n", lResult);
        return lResult;
    }
    return AddToVlanBinding(record, deviceName);
}

// Tells whether the record holds no VLAN any more.
static LONG RemoveFromHostRecord(HKEY record, LPCWSTR deviceName, BOOL* wasLast) {
    DWORD cbList = 0;

    LONG lResult = RemoveFromVlanBinding(record, deviceName);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   AddRemoveVlanInfoNic: failed to Delete from Vlan Binding %d\n", lResult);
        return lResult;
    }
    lResult = RegQueryValueExW(record, VALUE_VLAN_BINDING, NULL, NULL, NULL, &cbList);
    *wasLast = lResult == ERROR_FILE_NOT_FOUND || (lResult == ERROR_SUCCESS && cbList == 0);
    return ERROR_SUCCESS;
}

LONG AddRemoveVlanInfoNic(const GUID* hostGuid, const GUID* vlanGuid, DWORD teamNumber,
                          BOOL remove) {
    WCHAR szVlan[GUID_CCH];
    WCHAR szHost[GUID_CCH];
    WCHAR szPath[KEY_PATH_CCH];
    HKEY record;
    BOOL wasLast = FALSE;

    Trace(L"-->AddRemoveVlanInfoNic: %d\n", remove);
    (void)teamNumber;
    PrintGuid(vlanGuid, szVlan);
    LPWSTR deviceName = AddDevicePrefix(szVlan);
    if (deviceName == NULL) {
        Trace(L"<--AddRemoveVlanInfoNic: Not Enough Memory%d\n", ERROR_NOT_ENOUGH_MEMORY);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    PrintGuid(hostGuid, szHost);
    LONG lResult = ERROR_INVALID_NAME;
    // Also to remove from: a host without a record is left with an empty one.
    if (FormKeyPath(szPath, ARRAYSIZE(szPath), MEMBER_RECORDS_KEY, szHost))
        lResult = RegCreateKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, NULL, 0, KEY_ALL_ACCESS, NULL,
                                  &record, NULL);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   AddRemoveVlanInfoNic: failed to create adapter guid key %d\n", lResult);
    } else {
        lResult = remove ? RemoveFromHostRecord(record, deviceName, &wasLast)
                         : AddToHostRecord(record, deviceName);
        RegCloseKey(record);
        if (wasLast)
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, szPath);
    }
    free(deviceName);
    Trace(L"<--AddRemoveVlanInfoNic: %d\n", lResult);
    return lResult;
}

static LONG ChangeVlanBinding(HKEY record, const GUID* vlanGuid, BOOL remove) {
    WCHAR szVlan[GUID_CCH];

    PrintGuid(vlanGuid, szVlan);
    LPWSTR deviceName = AddDevicePrefix(szVlan);
    if (deviceName == NULL) {
        Trace(L"   AddRemoveVlanInfoTeam: Not Enough Memory%d\n", ERROR_NOT_ENOUGH_MEMORY);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    LONG lResult =
        remove ? RemoveFromVlanBinding(record, deviceName) : AddToVlanBinding(record, deviceName);
    free(deviceName);
    return lResult;
}

// One VLAN that comes or goes on every member of a team.
struct TeamChange {
    const GUID* teamGuid;
    const GUID* vlanGuid;
    BOOL remove;
    LONG lResult; // of the last record that was looked at
};

// Changes a record when it belongs to the team.
static LONG ChangeMemberRecord(HKEY record, const TeamChange* change) {
    LPWSTR binding = NULL;
    GUID guid;

    LONG lResult = WinStatus(QueryTextValue(record, VALUE_TEAM_BINDING, 1, &binding, NULL));
    if (lResult != ERROR_SUCCESS)
        return lResult;
    LPCWSTR guidText = BindingGuidText(binding);
    if (guidText != NULL && ParseGuid(guidText, &guid) && IsEqualGUID(guid, *change->teamGuid))
        lResult = ChangeVlanBinding(record, change->vlanGuid, change->remove);
    free(binding);
    return lResult;
}

// The last record decides, also one that is in no team and so has no TeamBinding: callers take that
// for a failure of the whole step.
static BOOL VisitToChange(HKEY records, LPCWSTR name, void* context) {
    TeamChange* change = static_cast<TeamChange*>(context);
    HKEY record;

    Trace(L"-->VisitToChange: %s\n", name);
    change->lResult = RegOpenKeyExW(records, name, 0, KEY_ALL_ACCESS, &record);
    if (change->lResult == ERROR_SUCCESS) {
        change->lResult = ChangeMemberRecord(record, change);
        RegCloseKey(record);
    }
    Trace(L"<--VisitToChange: %d\n", change->lResult);
    return TRUE;
}

LONG AddRemoveVlanInfoTeam(const GUID* teamGuid, const GUID* vlanGuid, BOOL remove) {
    TeamChange change = {teamGuid, vlanGuid, remove, ERROR_SUCCESS};

    Trace(L"-->AddRemoveVlanInfoTeam: %d\n", remove);
    LONG lResult = WalkMemberRecords(VisitToChange, &change);
    if (lResult == ERROR_SUCCESS)
        lResult = change.lResult;
    Trace(L"<--AddRemoveVlanInfoTeam: %d\n", lResult);
    return lResult;
}
