// The order of the checks is fixed, because it decides which message the administrator sees,
// and nothing on the machine is changed before the last of them.
#include "team/create_team.h"

#include "app/team_page.h"
#include "device/bindings.h"
#include "device/inf_search.h"
#include "device/virtual_adapter.h"
#include "include/resource.h"
#include "inventory/administrator.h"
#include "inventory/checked_items.h"
#include "inventory/tables.h"
#include "inventory/team_name.h"
#include "inventory/team_number.h"
#include "inventory/trace.h"
#include "team/member_adapters.h"
#include "team/member_records.h"
#include "team/nic_checks.h"
#include "vlan/vlan_adapter.h"
#include "vlan/vlan_list.h"

#include <strsafe.h>

static const WCHAR TEXT_NOT_ADMIN[] = L"User should have Admin privilege to be   \r\n"
                                      L"able to create a team. Please  login as Admin  \r\n"
                                      L"and try again\r\n";
static const WCHAR TEXT_NO_INF[] = L"Could not find driver files. Install     \r\n"
                                   L"Quovane Teaming driver and try to configure the\r\n"
                                   L"Team again.\r\n";
static const WCHAR TEXT_TOO_MANY_NICS[] = L"Selected nic itemsis more than 8.\r\n";
static const WCHAR TEXT_TOO_MANY_TEAMS[] = L"Could not create Team\r\n"
                                           L"You have reached MAX TEAM limit (=4)";
static const WCHAR TEXT_FOREIGN_NIC[] = L"The Nics selected is not from Quovane\r\n"
                                        L"Please select Quovane Nics to team";
static const WCHAR TEXT_NAME_IN_USE[] = L"This team name is already in use. Try another name.\r\n";
static const WCHAR TEXT_NAME_INVALID[] = L"Team name not valid. Try another name              \r\n";
static const WCHAR TEXT_NOT_OPENED[] = L"Could not open device for Validating NIC \r\n"
                                       L"Properties. Enable all NICs and try configuring\r\n"
                                       L"the Team again.\r\n";
static const WCHAR TEXT_MTU_DIFFERS[] = L"Validating NIC Properties failed. Set MTU for all\r\n"
                                        L"NICs same and try configuring the Team again.\r\n";
static const WCHAR TEXT_UNPLUGGED[] = L"Validating NIC Properties failed. Connect all NIC\r\n"
                                      L"cables and try configuring the Team again.\r\n";
static const WCHAR TEXT_NOT_VALIDATED[] = L"Validating NIC Properties failed.\r\n"
                                          L"Unknown error occured.\r\n";
static const WCHAR TEXT_XP_OFFLOAD[] = L"On Windows XP Connection Offload is not supported.\r\n"
                                       L"DisableTCP Connection Offload and try configuring\r\n"
                                       L"the Team again.\r\n";
static const WCHAR TEXT_VLAN_QUESTION[] =
    L"The vlans associated with underlying Nics will be removed. Press OK to continue";
static const WCHAR TEXT_VLAN_CAPTION[] = L"Warning";
static const WCHAR TEXT_VLANS_KEPT[] = L"There are vlans associated with the underlying Nic. \r\n"
                                       L"Remove the vlans to continue team creation\r\n";
static const WCHAR TEXT_VLANS_STUCK[] = L"Could not remove vlan from the underlying Nic. \r\n"
                                        L"Try manually removing the vlans to continue\r\n";
static const WCHAR TEXT_NUMBER_NOT_WRITTEN[] = L"Writing into registryfailed";
static const WCHAR TEXT_BINDING_NOT_WRITTEN[] = L"Writing into registryFailed";
static const WCHAR TEXT_NO_MEMORY[] = L"Team Creation failed as there is not enough\r\n"
                                      L"memory to perform this operation.";
static const WCHAR TEXT_NOT_INSTALLED[] = L"Team Creation failed with error 0x%x";
static const WCHAR TEXT_NOT_UPDATED[] = L"Could not updateTeam";
static const WCHAR TEXT_CREATED[] = L"Team Created.";

// The team that is being made: row g_numTeams of the team table, and what goes with it.
struct NewTeam {
    HWND hDlg;
    SheetData* ppd;
    TeamEntry* entry;
    TeamEntry before; // the row until then
    int chosen;       // adapters ticked, 2..8
    WCHAR infPath[PATH_CCH];
    WCHAR name[NAME_CCH]; // as typed, then as the system reports it
};

static int Fail(HWND hDlg, LPCWSTR text) {
    SetStatus(hDlg, text);
    Trace(L"<--CreateTeam: %s\n", text);
    return 0;
}

static DWORD ReadMode(HWND hDlg) {
    static const struct {
        int control;
        DWORD mode;
    } boxes[] = {{IDC_ACTIVE_BACKUP, MODE_ACTIVE_BACKUP},
                 {IDC_TX_LOAD_BALANCING, MODE_TX_LOAD_BALANCING},
                 {IDC_LACP, MODE_LACP}};
    DWORD mode = 0;

    for (const auto& box : boxes) {
        if (IsDlgButtonChecked(hDlg, box.control) == BST_CHECKED) {
            mode = box.mode;
            break;
        }
    }
    if (IsDlgButtonChecked(hDlg, IDC_FAILBACK) == BST_CHECKED)
        mode |= MODE_FAILBACK;
    return mode;
}

constexpr size_t STATUS_CCH = 200;

// Each of the steps below gives NULL to go on, or the text that ends the operation; NO_TEXT ends it
// without one.
static const WCHAR NO_TEXT[] = L"";

static LPCWSTR CollectNics(NewTeam* team) {
    HWND list = GetDlgItem(team->hDlg, IDC_NIC_LIST);

    if (CountCheckedItems(list) > MAX_TEAM_NICS)
        return TEXT_TOO_MANY_NICS;
    team->chosen = GetCheckedItems(list, MAX_TEAM_NICS, selectedNics);
    if (team->chosen < MIN_TEAM_NICS)
        return NO_TEXT;
    if (g_numTeams >= MAX_TEAMS)
        return TEXT_TOO_MANY_TEAMS;
    return NULL;
}

static LPCWSTR AssembleTeam(NewTeam* team) {
    // Always the row behind the count, also when a team adapter without records has left a gap and
    // this is a living team's row.
    TeamEntry* entry = &team->ppd->teams[g_numTeams];

    team->entry = entry;
    team->before = *entry;
    entry->numNics = 0;
    entry->TeamMode = ReadMode(team->hDlg);
    for (int k = 0; k < team->chosen; k++) {
        LONG row = selectedNics[k];
        if (row >= MAX_NIC_ROWS || !IsQuovaneNic(&g_nics[row]))
            return TEXT_FOREIGN_NIC;
        entry->nicGuids[k] = g_nics[row].guid;
        StringCchCopyW(entry->nicNames[k], NAME_CCH, g_nics[row].name);
        entry->order[k] = k;
        entry->numNics++;
    }
    return NULL;
}

static LPCWSTR ReadTeamName(NewTeam* team) {
    GetWindowTextW(GetDlgItem(team->hDlg, IDC_TEAM_NAME), team->name, ARRAYSIZE(team->name));
    switch (CheckTeamName(team->name)) {
    case TEAM_NAME_USABLE:
        return NULL;
    case TEAM_NAME_IN_USE:
        return TEXT_NAME_IN_USE;
    default:
        return TEXT_NAME_INVALID;
    }
}

static LPCWSTR ValidateMembers(NewTeam* team) {
    switch (ValidateNICs(team->hDlg, team->entry)) {
    case NICS_VALID:
        return NULL;
    case NICS_NOT_OPENED:
        return TEXT_NOT_OPENED;
    case NICS_MTU_DIFFERS:
        return TEXT_MTU_DIFFERS;
    case NICS_CABLE_UNPLUGGED:
        return TEXT_UNPLUGGED;
    default:
        return TEXT_NOT_VALIDATED;
    }
}

static LPCWSTR RefuseOffloadOnXP(NewTeam* team) {
    return IsWinXPAndOffload(team->hDlg) ? TEXT_XP_OFFLOAD : NULL;
}

static LPCWSTR ClearVlans(NewTeam* team) {
    BOOL agreed = FALSE;

    for (int member = 0; member < team->entry->numNics; member++) {
        const GUID* nic = &team->entry->nicGuids[member];
        VlanList vlans = {};

        GetVlanListForNic(nic, &vlans);
        if (vlans.numVlans == 0)
            continue;
        if (!agreed && MessageBoxW(NULL, TEXT_VLAN_QUESTION, TEXT_VLAN_CAPTION,
                                   MB_OKCANCEL | MB_ICONEXCLAMATION) != IDOK)
            return TEXT_VLANS_KEPT;
        agreed = TRUE;
        for (int vlan = 0; vlan < vlans.numVlans; vlan++) {
            if (!RemoveVlanFromNic(nic, &vlans.vlanGuids[vlan], FALSE))
                return TEXT_VLANS_STUCK;
        }
    }
    return NULL;
}

// A failure leaves the bindings of the members before it switched off.
static LPCWSTR DetachMembers(NewTeam* team) {
    for (int member = 0; member < team->entry->numNics; member++) {
        if (EnableProtocolNicBindings(team->hDlg, &team->entry->nicGuids[member], 0, 1) != 1)
            return NO_TEXT;
    }
    return NULL;
}

static LPCWSTR NumberTeam(NewTeam* team) {
    DWORD slot = ChooseTeamSlot(team->ppd->teams, g_numTeams);
    DWORD teamNumber = PackTeamNumber(team->entry->TeamMode, team->chosen, slot);

    return WriteIntoTeamRegistry(team->entry, WRITE_TEAM_NUMBER, teamNumber) == 1
               ? NULL
               : TEXT_NUMBER_NOT_WRITTEN;
}

// Reports by itself: the text carries the error of the installation, which clean-up must not
// overwrite.
static LPCWSTR InstallTeamAdapter(NewTeam* team) {
    WCHAR szText[STATUS_CCH];
    GUID teamGuid = {};

    int failcode = cmdInstall(MINIPORT_HARDWARE_ID, team->infPath, team->name, &teamGuid);
    if (failcode == INSTALL_OK) {
        team->entry->teamGuid = teamGuid;
        return NULL;
    }
    if (failcode == INSTALL_NO_MEMORY) {
        SetStatus(team->hDlg, TEXT_NO_MEMORY);
    } else {
        StringCchPrintfW(szText, ARRAYSIZE(szText), TEXT_NOT_INSTALLED, GetLastError());
        SetStatus(team->hDlg, szText);
    }
    RemoveNICRegistrySettings(team->hDlg, team->entry);
    return NO_TEXT;
}

static LPCWSTR BindMembers(NewTeam* team) {
    return WriteIntoTeamRegistry(team->entry, WRITE_TEAM_BINDING | WRITE_ORDER, 0) == 1
               ? NULL
               : TEXT_BINDING_NOT_WRITTEN;
}

typedef LPCWSTR (*CreationStep)(NewTeam* team);

static const CreationStep steps[] = {
    CollectNics, AssembleTeam,  ReadTeamName, ValidateMembers,    RefuseOffloadOnXP,
    ClearVlans,  DetachMembers, NumberTeam,   InstallTeamAdapter, BindMembers,
};

// Nothing is read anew when no team is made. A row that the list shows has to be what it was: it is a
// living team's, or that of a team adapter without records, whose removal would then release the chosen
// adapters. What stands in a row behind the list counts for nothing.
static void RestoreShownRow(NewTeam* team) {
    HWND list = GetDlgItem(team->hDlg, IDC_TEAM_LIST);

    if (team->entry != NULL && SendMessageW(list, LVM_GETITEMCOUNT, 0, 0) > g_numTeams)
        *team->entry = team->before;
}

int CreateTeam(HWND hDlg) {
    NewTeam team = {};

    Trace(L"-->CreateTeam:\n");
    team.hDlg = hDlg;
    team.ppd = GetSheetData(hDlg);
    if (team.ppd == NULL) {
        Trace(L"<--CreateTeam: no state record\n");
        return 0;
    }
    if (!IsUserAdmin())
        return Fail(hDlg, TEXT_NOT_ADMIN);
    if (GetMiniportInf(hDlg, team.infPath) <= 0)
        return Fail(hDlg, TEXT_NO_INF);
    for (const CreationStep& step : steps) {
        Trace(L"   CreateTeam: step %d\n", static_cast<int>(&step - steps));
        LPCWSTR text = step(&team);
        if (text != NULL)
            RestoreShownRow(&team);
        if (text == NO_TEXT) {
            Trace(L"<--CreateTeam: stopped\n");
            return 0;
        }
        if (text != NULL)
            return Fail(hDlg, text);
    }

    if (!UpdateTeam(hDlg, team.entry, team.name)) {
        Trace(L"   CreateTeam: UpdateTeam failed\n");
        SetStatus(hDlg, TEXT_NOT_UPDATED);
    }
    g_numTeams++;
    SetStatus(hDlg, TEXT_CREATED);
    if (!OnInitDialog(hDlg))
        Trace(L"   CreateTeam: the page was not rebuilt\n");
    Trace(L"<--CreateTeam: Team Created\n");
    return 1;
}
