// The layout of a member record is known here and to the readers of its values, nowhere else.
#include "team/member_records.h"

#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/team_number.h"
#include "inventory/trace.h"
#include "team/member_check.h"

#include <stdlib.h>

static void WriteMemberRecord(HKEY record, const TeamEntry* team, int member, BYTE flags,
                              DWORD teamNumber, LPCWSTR teamDevice) {
    if (flags & WRITE_TEAM_NUMBER)
        WriteDwordToRegistry(record, VALUE_TEAM_NUMBER, teamNumber);
    if (flags & WRITE_TEAM_BINDING) {
        LONG lResult = RegSetValueExW(record, VALUE_TEAM_BINDING, 0, REG_SZ,
                                      reinterpret_cast<const BYTE*>(teamDevice),
                                      static_cast<DWORD>((wcslen(teamDevice) + 1) * sizeof(WCHAR)));
        if (lResult != ERROR_SUCCESS)
            Trace(L"   WriteMemberRecord: no team binding %d\n", lResult);
    }
    if (flags & WRITE_ORDER)
        WriteDwordToRegistry(record, VALUE_ORDER, team->order[member]);
}

int WriteIntoTeamRegistry(const TeamEntry* team, BYTE flags, DWORD teamNumber) {
    WCHAR szGuid[GUID_CCH];
    WCHAR szPath[KEY_PATH_CCH];
    LPWSTR teamDevice = NULL;
    HKEY record;

    Trace(L"-->WriteIntoTeamRegistry: %d 0x%x\n", flags, teamNumber);
    if (flags & WRITE_TEAM_BINDING) {
        PrintGuid(&team->teamGuid, szGuid);
        teamDevice = AddDevicePrefix(szGuid);
        if (teamDevice == NULL) {
            Trace(L"<--WriteIntoTeamRegistry: no memory\n");
            return 0;
        }
    }
    for (int member = 0; member < team->numNics; member++) {
        PrintGuid(&team->nicGuids[member], szGuid);
        if (!FormKeyPath(szPath, ARRAYSIZE(szPath), MEMBER_RECORDS_KEY, szGuid))
            break;
        LONG lResult = RegCreateKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, NULL, 0, KEY_ALL_ACCESS, NULL,
                                       &record, NULL);
        if (lResult != ERROR_SUCCESS) {
            Trace(L"   WriteIntoTeamRegistry: no record for %s %d\n", szGuid, lResult);
            continue;
        }
        WriteMemberRecord(record, team, member, flags, teamNumber, teamDevice);
        RegCloseKey(record);
    }
    free(teamDevice);
    Trace(L"<--WriteIntoTeamRegistry:\n");
    return 1;
}

BOOL IsNICTeamed(HKEY driverKey) {
    LPWSTR instanceId = NULL;
    WCHAR szPath[PATH_CCH];
    HKEY record;
    DWORD teamNumber = 0;

    Trace(L"-->IsNICTeamed:\n");
    if (!ReadStringFromRegistry(driverKey, VALUE_INSTANCE_ID, &instanceId)) {
        Trace(L"<--IsNICTeamed: no instance id\n");
        return FALSE;
    }
    BOOL formed = FormKeyPath(szPath, ARRAYSIZE(szPath), MEMBER_RECORDS_KEY, instanceId);
    free(instanceId);
    if (!formed ||
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, KEY_ALL_ACCESS, &record) != ERROR_SUCCESS) {
        Trace(L"<--IsNICTeamed: no record\n");
        return FALSE;
    }
    ReadDwordFromRegistry(record, VALUE_TEAM_NUMBER, &teamNumber);
    RegCloseKey(record);
    // A record without mode bits is that of a VLAN host, which is in no team. A member of a team
    // without a mode counts the same, on purpose: the page makes no such team.
    BOOL teamed = TeamModeOf(teamNumber) != 0;
    Trace(L"<--IsNICTeamed: %d\n", teamed);
    return teamed;
}
