// Removal takes the road of creation backwards, and goes on past every step that fails: what is left
// half removed is harder to get rid of than what is gone.
#include "team/remove_team.h"

#include "app/team_page.h"
#include "device/bindings.h"
#include "include/resource.h"
#include "inventory/adapters.h"
#include "inventory/administrator.h"
#include "inventory/checked_items.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/tables.h"
#include "inventory/trace.h"
#include "team/member_adapters.h"
#include "vlan/vlan_adapter.h"
#include "vlan/vlan_list.h"

#include <commctrl.h>

static const WCHAR TEXT_NOT_ADMIN[] = L"User should have Admin privilege to be   \r\n"
                                      L"able to remove a team. Please  login as Admin  \r\n"
                                      L"and try again\r\n";
static const WCHAR TEXT_VLANS_STUCK[] = L"Could not remove vlans from the Team.\r\n"
                                        L"Try manually removing the vlans to continue\r\n";
static const WCHAR TEXT_REMOVED[] = L"Team Removed.";

static BOOL RemoveVlans(const GUID* teamGuid) {
    VlanList vlans = {};

    Trace(L"-->RemoveVlans:\n");
    GetVlanListForTeam(teamGuid, &vlans);
    for (int vlan = 0; vlan < vlans.numVlans; vlan++) {
        if (!RemoveVlanFromNic(teamGuid, &vlans.vlanGuids[vlan], TRUE)) {
            Trace(L"<--RemoveVlans: vlan %d not removed 0x%x\n", vlan, GetLastError());
            return FALSE;
        }
    }
    Trace(L"<--RemoveVlans: %d\n", vlans.numVlans);
    return TRUE;
}

// The name is found by the team's row, which stays until the page is rebuilt. FALSE when the record's
// path cannot be formed.
static BOOL ReleaseMember(HWND hDlg, const GUID* teamGuid, const GUID* nicGuid) {
    WCHAR szGuid[GUID_CCH];
    WCHAR szPath[KEY_PATH_CCH];

    Trace(L"-->ReleaseMember:\n");
    PrintGuid(nicGuid, szGuid);
    if (!FormKeyPath(szPath, ARRAYSIZE(szPath), MEMBER_RECORDS_KEY, szGuid)) {
        Trace(L"<--ReleaseMember: no path\n");
        return FALSE;
    }
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, szPath);
    SetNicFriendlyName(teamGuid, nicGuid);
    if (PopulateGuids(hDlg, POPULATE_SHOW_NIC, nicGuid) != 1)
        Trace(L"   ReleaseMember: not shown\n");
    if (EnableProtocolNicBindings(hDlg, nicGuid, 1, 1) <= 0)
        Trace(L"   ReleaseMember: bindings not enabled\n");
    Trace(L"<--ReleaseMember:\n");
    return TRUE;
}

static void Dissolve(HWND hDlg, TeamEntry* team) {
    Trace(L"-->Dissolve: %d members\n", team->numNics);
    if (PopulateGuids(hDlg, POPULATE_REMOVE_TEAM, &team->teamGuid) != 1)
        Trace(L"   Dissolve: team adapter not removed\n");
    if (RemoveNICRegistrySettings(hDlg, team) != 1)
        Trace(L"   Dissolve: addresses not deleted\n");
    for (int member = 0; member < team->numNics; member++) {
        if (!ReleaseMember(hDlg, &team->teamGuid, &team->nicGuids[member]))
            break;
    }
    team->numNics = 0;
    Trace(L"<--Dissolve:\n");
}

// Ticked rows of the team list, in list order. Returns how many, or -1 for more than there can be
// teams.
static int CollectTeams(HWND list) {
    LONG rows[MAX_TEAM_ROWS];

    int chosen =
        GetCheckedItems(list, g_numTeams < MAX_TEAM_ROWS ? g_numTeams : MAX_TEAM_ROWS, rows);
    if (chosen > MAX_TEAMS)
        return -1;
    CopyMemory(selectedTeams, rows, chosen * sizeof(rows[0]));
    return chosen;
}

// The items of all removed teams go together, the last first: until then every row of the list is
// that of the team table, also when a later team cannot be removed.
static void DeleteItems(HWND list, int chosen) {
    while (chosen > 0)
        SendMessageW(list, LVM_DELETEITEM, selectedTeams[--chosen], 0);
}

int RemoveTeam(HWND hDlg) {
    HWND list = GetDlgItem(hDlg, IDC_TEAM_LIST);

    Trace(L"-->RemoveTeam:\n");
    if (!IsUserAdmin()) {
        SetStatus(hDlg, TEXT_NOT_ADMIN);
        Trace(L"<--RemoveTeam: no administrator\n");
        return REMOVE_NOT_ATTEMPTED;
    }
    SheetData* ppd = GetSheetData(hDlg);
    if (ppd == NULL) {
        Trace(L"<--RemoveTeam: no state record\n");
        return REMOVE_NOT_ATTEMPTED;
    }
    int chosen = CollectTeams(list);
    if (chosen < 0) {
        Trace(L"<--RemoveTeam: too many teams\n");
        return REMOVE_NOT_ATTEMPTED;
    }
    for (int k = 0; k < chosen; k++) {
        // The team table ends before the list does; nothing is known of the members there.
        if (selectedTeams[k] >= MAX_TEAMS) {
            Trace(L"   RemoveTeam: row %d has no team\n", selectedTeams[k]);
            continue;
        }
        TeamEntry* team = &ppd->teams[selectedTeams[k]];
        if (!RemoveVlans(&team->teamGuid)) {
            SetStatus(hDlg, TEXT_VLANS_STUCK);
            Trace(L"<--RemoveTeam: vlans stay\n");
            return REMOVE_FAILED;
        }
        Dissolve(hDlg, team);
    }
    DeleteItems(list, chosen);
    g_numTeams -= chosen;
    SetStatus(hDlg, TEXT_REMOVED);
    if (!OnInitDialog(hDlg))
        Trace(L"   RemoveTeam: the page was not rebuilt\n");
    Trace(L"<--RemoveTeam: Team Removed\n");
    return REMOVE_DONE;
}
