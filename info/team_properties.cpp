// Mode and order are read from the team table, the members' names from their devices.
#include "info/team_properties.h"

#include "device/net_devices.h"
#include "include/page_notify.h"
#include "include/resource.h"
#include "inventory/device_path.h"
#include "inventory/tables.h"
#include "inventory/team_number.h"
#include "inventory/trace.h"

#include <prsht.h>
#include <strsafe.h>

constexpr DWORD MEMBER_NAME_CB = MEMBER_NAME_CCH * sizeof(WCHAR);

static const WCHAR TEXT_ABSENT[] = L"dummy";

static const struct {
    LPCWSTR text;
    DWORD mode;
} modes[] = {
    {L"Active Backup", MODE_ACTIVE_BACKUP},
    {L"Transmit Load Balancing", MODE_TX_LOAD_BALANCING},
    {L"802.3ad LACP", MODE_LACP},
    {L"Active Backup with Failback to Active", MODE_ACTIVE_BACKUP | MODE_FAILBACK},
};

static const LPCWSTR methods[] = {L"Connection based", L"Round Robin"};

static void InsertString(HWND control, UINT message, int index, LPCWSTR text) {
    SendMessageW(control, message, index, reinterpret_cast<LPARAM>(text));
}

struct MemberSearch {
    TeamEntry* team;
    HWND hList;
};

static void ShowMember(const MemberSearch* search, NetDevice* device, int member) {
    WCHAR szName[MEMBER_NAME_CCH + 1];
    LPWSTR name = search->team->nicNames[member];
    // An order beyond the list box at most adds a row to it.
    WPARAM place = search->team->order[member];

    ReadDeviceName(device->set, &device->data, szName, ARRAYSIZE(szName), MEMBER_NAME_CB);
    StringCchCopyW(name, MEMBER_NAME_CCH, szName);
    SendMessageW(search->hList, LB_DELETESTRING, place, 0);
    SendMessageW(search->hList, LB_INSERTSTRING, place, reinterpret_cast<LPARAM>(name));
}

static WalkStep VisitForMembers(NetDevice* device, LPCWSTR instanceId, void* context) {
    const MemberSearch* search = static_cast<const MemberSearch*>(context);
    GUID guid;

    if (!ParseGuid(instanceId, &guid))
        return WALK_NEXT;
    for (int member = 0; member < search->team->numNics; member++) {
        if (IsEqualGUID(guid, search->team->nicGuids[member]))
            ShowMember(search, device, member);
    }
    return WALK_NEXT;
}

int PopulateAdaptersInTeam(HWND hDlg, SheetData** ppd, HWND hList) {
    if (g_teamSelected < 0 || g_teamSelected >= MAX_TEAMS)
        return 0;
    MemberSearch search = {&(*ppd)->teams[g_teamSelected], hList};

    Trace(L"-->PopulateAdaptersInTeam: %d\n", search.team->numNics);
    for (int member = 0; member < search.team->numNics; member++)
        InsertString(hList, LB_INSERTSTRING, member, TEXT_ABSENT);
    HDEVINFO set = OpenNetDevices(hDlg);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--PopulateAdaptersInTeam: no device list\n");
        return 0;
    }
    WalkNetAdapters(set, NET_PHYSICAL, VisitForMembers, &search);
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--PopulateAdaptersInTeam:\n");
    return 1;
}

static void ShowMode(HWND list, DWORD mode) {
    SendMessageW(list, CB_RESETCONTENT, 0, 0);
    for (int index = 0; index < static_cast<int>(ARRAYSIZE(modes)); index++) {
        InsertString(list, CB_INSERTSTRING, index, modes[index].text);
        if (modes[index].mode == mode)
            SendMessageW(list, CB_SETCURSEL, index, 0);
    }
    EnableWindow(list, FALSE);
}

static void ShowMethod(HWND list, DWORD mode) {
    if (mode == MODE_TX_LOAD_BALANCING) {
        for (int index = 0; index < static_cast<int>(ARRAYSIZE(methods)); index++)
            InsertString(list, CB_INSERTSTRING, index, methods[index]);
        SendMessageW(list, CB_SETCURSEL, 0, 0);
    }
    EnableWindow(list, FALSE);
}

void OnInitTeamPropertiesDialog(HWND hDlg) {
    Trace(L"-->OnInitTeamPropertiesDialog: %d\n", g_teamSelected);
    SheetData* ppd = GetSheetData(hDlg);
    if (ppd == NULL) {
        Trace(L"<--OnInitTeamPropertiesDialog: no state record\n");
        return;
    }
    // Behind the team table there is nothing to show.
    DWORD mode =
        g_teamSelected >= 0 && g_teamSelected < MAX_TEAMS ? ppd->teams[g_teamSelected].TeamMode : 0;
    ShowMode(GetDlgItem(hDlg, IDC_TEAM_MODE), mode);
    ShowMethod(GetDlgItem(hDlg, IDC_TEAM_METHOD), mode);
    PopulateAdaptersInTeam(hDlg, &ppd, GetDlgItem(hDlg, IDC_TEAM_MEMBERS));
    Trace(L"<--OnInitTeamPropertiesDialog: 0x%x\n", mode);
}

INT_PTR CALLBACK QvTeamPropertiesDialogProc(HWND hDlg, UINT uMsg, WPARAM, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG) {
        SetWindowLongPtrW(hDlg, DWLP_USER, reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
        OnInitTeamPropertiesDialog(hDlg);
        return TRUE;
    }
    if (GetSheetData(hDlg) == NULL)
        return FALSE;

    switch (uMsg) {
    case WM_NOTIFY:
        return AnswerSheet(hDlg, reinterpret_cast<const NMHDR*>(lParam));
    case WM_DESTROY:
        SetWindowLongPtrW(hDlg, DWLP_USER, 0);
        return FALSE;
    default:
        return FALSE;
    }
}
