// Why: the teaming protocol driver learns of a VLAN only from these records.
#include "vlan/vlan_records.h"

#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"
#include "vlan/vlan_binding.h"

#include <stdlib.h>

// Behind the entries that a removal keeps stand the list's closing NUL and one spare NUL: the
// driver expects both.
constexpr DWORD LIST_END_CB = 2 * sizeof(WCHAR);

// Room behind a stored list: a NUL for a last entry that lacks one, and the list's end.
constexpr size_t LIST_SPARE_CCH = 3;

static LONG WriteBinding(HKEY record, LPCWSTR list, DWORD cbList) {
    return RegSetValueExW(record, VALUE_VLAN_BINDING, 0, REG_MULTI_SZ,
                          reinterpret_cast<const BYTE*>(list), cbList);
}

LONG AddToVlanBinding(HKEY record, LPCWSTR deviceName) {
    DWORD cbOld = 0;
    LPWSTR old = NULL;
    DWORD cbName = static_cast<DWORD>((wcslen(deviceName) + 1) * sizeof(WCHAR));

    Trace(L"-->AddToVlanBinding: %s\n", deviceName);
    LONG lResult = QueryTextValue(record, VALUE_VLAN_BINDING, 1, &old, &cbOld);
    if (lResult == ERROR_OUTOFMEMORY)
        lResult = ERROR_NOT_ENOUGH_MEMORY;
    if (lResult != ERROR_SUCCESS && lResult != ERROR_FILE_NOT_FOUND) {
        Trace(L"<--AddToVlanBinding: not read %d\n", lResult);
        return lResult;
    }
    // An absent or empty list counts as one empty string.
    DWORD cbList = cbOld == 0 ? sizeof(WCHAR) : (cbOld + 1) / sizeof(WCHAR) * sizeof(WCHAR);
    LPWSTR list = static_cast<LPWSTR>(calloc(1, cbName + cbList));
    if (list == NULL) {
        lResult = ERROR_NOT_ENOUGH_MEMORY;
    } else {
        CopyMemory(list, deviceName, cbName);
        if (old != NULL)
            CopyMemory(list + cbName / sizeof(WCHAR), old, cbOld);
        lResult = WriteBinding(record, list, cbName + cbList);
    }
    free(list);
    free(old);
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
        return lResult == ERROR_OUTOFMEMORY ? ERROR_NOT_ENOUGH_MEMORY : lResult;
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

// Closes the record.
static LONG RemoveFromHostRecord(HKEY record, LPCWSTR recordPath, LPCWSTR deviceName) {
    DWORD cbList = 0;

    LONG lResult = RemoveFromVlanBinding(record, deviceName);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   AddRemoveVlanInfoNic: failed to Delete from Vlan Binding %d\n", lResult);
        RegCloseKey(record);
        return lResult;
    }
    lResult = RegQueryValueExW(record, VALUE_VLAN_BINDING, NULL, NULL, NULL, &cbList);
    BOOL wasLast = lResult != ERROR_SUCCESS || cbList == 0;
    RegCloseKey(record);
    if (wasLast)
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, recordPath);
    return ERROR_SUCCESS;
}

LONG AddRemoveVlanInfoNic(const GUID* hostGuid, const GUID* vlanGuid, DWORD teamNumber,
                          BOOL remove) {
    WCHAR szVlan[GUID_CCH];
    WCHAR szHost[GUID_CCH];
    WCHAR szPath[KEY_PATH_CCH];
    HKEY record;

    Trace(L"-->AddRemoveVlanInfoNic: %d\n", remove);
    (void)teamNumber;
    PrintGuid(vlanGuid, szVlan);
    LPWSTR deviceName = AddDevicePrefix(szVlan);
    if (deviceName == NULL) {
        Trace(L"<--AddRemoveVlanInfoNic: Not Enough Memory%d\n", ERROR_NOT_ENOUGH_MEMORY);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    PrintGuid(hostGuid, szHost);
    FormKeyPath(szPath, ARRAYSIZE(szPath), MEMBER_RECORDS_KEY, szHost);
    LONG lResult = RegCreateKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, NULL, 0, KEY_ALL_ACCESS, NULL,
                                   &record, NULL);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   AddRemoveVlanInfoNic: failed to create adapter guid key %d\n", lResult);
    } else if (remove) {
        lResult = RemoveFromHostRecord(record, szPath, deviceName);
    } else {
        lResult = AddToHostRecord(record, deviceName);
        RegCloseKey(record);
    }
    free(deviceName);
    Trace(L"<--AddRemoveVlanInfoNic: %d\n", lResult);
    return lResult;
}

// Changes one record when it belongs to the team. Returns what it met.
static LONG ChangeMemberRecord(HKEY records, LPCWSTR name, const GUID* teamGuid, LPCWSTR deviceName,
                               BOOL remove) {
    HKEY record;
    LPWSTR binding = NULL;
    GUID guid;

    LONG lResult = RegOpenKeyExW(records, name, 0, KEY_ALL_ACCESS, &record);
    if (lResult != ERROR_SUCCESS)
        return lResult;
    lResult = QueryTextValue(record, VALUE_TEAM_BINDING, 1, &binding, NULL);
    if (lResult == ERROR_SUCCESS) {
        LPCWSTR guidText = BindingGuidText(binding);
        if (guidText != NULL && ParseGuid(guidText, &guid) && IsEqualGUID(guid, *teamGuid))
            lResult = remove ? RemoveFromVlanBinding(record, deviceName)
                             : AddToVlanBinding(record, deviceName);
        free(binding);
    }
    RegCloseKey(record);
    return lResult;
}

LONG AddRemoveVlanInfoTeam(const GUID* teamGuid, const GUID* vlanGuid, BOOL remove) {
    WCHAR szVlan[GUID_CCH];
    WCHAR szName[KEY_PATH_CCH];
    HKEY records;

    Trace(L"-->AddRemoveVlanInfoTeam: %d\n", remove);
    PrintGuid(vlanGuid, szVlan);
    LPWSTR deviceName = AddDevicePrefix(szVlan);
    if (deviceName == NULL) {
        Trace(L"<--AddRemoveVlanInfoTeam: Not Enough Memory%d\n", ERROR_NOT_ENOUGH_MEMORY);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    LONG lResult =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, MEMBER_RECORDS_KEY, 0, KEY_ALL_ACCESS, &records);
    if (lResult == ERROR_SUCCESS) {
        // The last record decides, also one that is in no team and so has no TeamBinding: callers
        // take that for a failure of the whole step.
        for (DWORD dwIndex = 0;
             RegEnumKeyW(records, dwIndex, szName, ARRAYSIZE(szName)) == ERROR_SUCCESS; dwIndex++)
            lResult = ChangeMemberRecord(records, szName, teamGuid, deviceName, remove);
        RegCloseKey(records);
    }
    free(deviceName);
    Trace(L"<--AddRemoveVlanInfoTeam: %d\n", lResult);
    return lResult;
}
