// The program keeps nothing between runs; what teams exist is what the teaming protocol
// driver's own records say.
#include "inventory/team_list.h"

#include "include/names.h"
#include "include/resource.h"
#include "inventory/device_path.h"
#include "inventory/record_walk.h"
#include "inventory/registry.h"
#include "inventory/tables.h"
#include "inventory/team_number.h"
#include "inventory/trace.h"

#include <commctrl.h>
#include <stdlib.h>

// Rows that are in the list view now; a shorter list leaves stale rows of an earlier walk behind
// it.
static int ListedTeamRows(HWND hDlg) {
    LRESULT count = SendMessageW(GetDlgItem(hDlg, IDC_TEAM_LIST), LVM_GETITEMCOUNT, 0, 0);
    return count < MAX_TEAMS ? static_cast<int>(count) : MAX_TEAMS;
}

static int FindTeamRow(const GUID* teamGuid, int rows) {
    for (int row = 0; row < rows; row++) {
        if (IsEqualGUID(g_teamAdapters[row].guid, *teamGuid))
            return row;
    }
    return -1;
}

static BOOL ReadTeamGuid(HKEY record, GUID* teamGuid) {
    LPWSTR binding = NULL;

    if (!ReadStringFromRegistry(record, VALUE_TEAM_BINDING, &binding))
        return FALSE;
    LPCWSTR guidText = TextAfterLastBackslash(binding);
    BOOL known = guidText != NULL && ParseGuid(guidText, teamGuid);
    if (!known)
        Trace(L"   ReadTeamGuid: no GUID in %s\n", binding);
    free(binding);
    return known;
}

static void AddMember(TeamEntry* team, const GUID* teamGuid, const GUID* nicGuid, HKEY record) {
    if (!team->inUse)
        g_numTeams++;
    team->inUse = 1;
    team->teamGuid = *teamGuid;

    if (ReadDwordFromRegistry(record, VALUE_TEAM_NUMBER, &team->TeamNumber))
        team->TeamMode = TeamModeOf(team->TeamNumber);

    int member = team->numNics;
    if (member >= MAX_TEAM_NICS) {
        Trace(L"   AddMember: the team is full\n");
        return;
    }
    team->nicGuids[member] = *nicGuid;
    team->numNics++;
    ReadDwordFromRegistry(record, VALUE_ORDER, &team->order[member]);
}

struct TeamReading {
    TeamEntry* teams;
    int rows; // rows of list 1004 that may be matched
};

static BOOL ReadMemberRecord(HKEY records, LPCWSTR name, void* context) {
    const TeamReading* reading = static_cast<const TeamReading*>(context);
    HKEY record;
    GUID nicGuid;
    GUID teamGuid;

    Trace(L"-->ReadMemberRecord: %s\n", name);
    if (!ParseGuid(name, &nicGuid)) {
        Trace(L"<--ReadMemberRecord: no GUID\n");
        return TRUE;
    }
    LONG lResult = RegOpenKeyExW(records, name, 0, KEY_ALL_ACCESS, &record);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--ReadMemberRecord: not opened %d\n", lResult);
        return TRUE;
    }
    if (ReadTeamGuid(record, &teamGuid)) {
        int row = FindTeamRow(&teamGuid, reading->rows);
        if (row >= 0)
            AddMember(&reading->teams[row], &teamGuid, &nicGuid, record);
    }
    RegCloseKey(record);
    Trace(L"<--ReadMemberRecord:\n");
    return TRUE;
}

int PopulateTeamList(HWND hDlg) {
    Trace(L"-->PopulateTeamList:\n");
    SheetData* ppd = GetSheetData(hDlg);
    if (ppd == NULL) {
        Trace(L"<--PopulateTeamList: no state record\n");
        return 0;
    }
    TeamReading reading = {ppd->teams, ListedTeamRows(hDlg)};
    WalkMemberRecords(ReadMemberRecord, &reading);
    Trace(L"<--PopulateTeamList: %d\n", g_numTeams);
    return 1;
}
