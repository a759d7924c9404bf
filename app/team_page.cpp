// This page is the program's window: it shows what adapters and teams the machine has and
// starts every change.
#include "app/team_page.h"

#include "app/adapter_sheet.h"
#include "app/page_rules.h"
#include "app/processes.h"
#include "app/team_page_dialog.h"
#include "app/tray.h"
#include "app/wait_dialog.h"
#include "device/protocol.h"
#include "include/resource.h"
#include "inventory/adapters.h"
#include "inventory/checked_items.h"
#include "inventory/tables.h"
#include "inventory/team_list.h"
#include "inventory/team_name.h"
#include "inventory/trace.h"

#include <commctrl.h>
#include <devguid.h>
#include <strsafe.h>

static const WCHAR TEXT_HELP[] = L"Select two NICs from 'Unassigned Adapters' list  \r\n"
                                 L"choose a 'Teaming Mode', and click on 'Create\r\n"
                                 L"Team' button. Use 'Move Up'/'Move Down' button\r\n"
                                 L"to set preference order of an adapter within a team";
static const WCHAR TEXT_CREATING[] = L"Configuring Team. Please wait..";
static const WCHAR TEXT_REMOVING[] = L"Removing Selected Team. Please wait..";
static const WCHAR TEXT_NO_MODE[] = L"Choose a Team Mode and Click on\r\nCreate Team.";
static const WCHAR TEXT_NO_PROTOCOL[] = L"Installation of Quovane Teaming Driver\r\nfailed.";

constexpr int COLUMN_WIDTH = 275; // pixels
constexpr int PROPOSED_NAME_CCH = 256;
constexpr int COLUMN_TITLE_CCH = 64;

// Notification codes of a button, as the page takes them: a click, an accelerator, a double click.
constexpr WORD CODE_CLICK = BN_CLICKED;
constexpr WORD CODE_ACCELERATOR = 1;
constexpr WORD CODE_DOUBLE_CLICK = BN_DOUBLECLICKED;

BOOL g_firstTime = TRUE;

void SetStatus(HWND hDlg, LPCWSTR text) {
    Trace(L"-->SetStatus: %s\n", text);
    SetWindowTextW(GetDlgItem(hDlg, IDC_STATUS), text);
    Trace(L"<--SetStatus:\n");
}

static void EnableControls(HWND hDlg, ControlList controls, BOOL enable) {
    for (; *controls != 0; controls++)
        EnableWindow(GetDlgItem(hDlg, *controls), enable);
}

static void TickControls(HWND hDlg, ControlList controls, BOOL tick) {
    for (; *controls != 0; controls++)
        CheckDlgButton(hDlg, *controls, tick ? BST_CHECKED : BST_UNCHECKED);
}

static void SetUpList(HWND list, HIMAGELIST images, int column, UINT titleId) {
    WCHAR szTitle[COLUMN_TITLE_CCH] = {};
    LVCOLUMNW header = {};

    LoadStringW(hInstance, titleId, szTitle, ARRAYSIZE(szTitle));
    SendMessageW(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_CHECKBOXES);
    SendMessageW(list, LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(images));
    header.mask = LVCF_FMT | LVCF_WIDTH | LVCF_TEXT;
    header.fmt = LVCFMT_LEFT;
    header.cx = COLUMN_WIDTH;
    header.pszText = szTitle;
    SendMessageW(list, LVM_INSERTCOLUMNW, column, reinterpret_cast<LPARAM>(&header));
}

static void SetUpLists(HWND hDlg) {
    Trace(L"-->SetUpLists:\n");
    int cx = GetSystemMetrics(SM_CXSMICON);
    int cy = GetSystemMetrics(SM_CYSMICON);
    HIMAGELIST images = ImageList_Create(cx, cy, ILC_MASK, 1, 1);
    HICON icon = static_cast<HICON>(
        LoadImageW(hInstance, MAKEINTRESOURCEW(IDI_ADAPTER), IMAGE_ICON, cx, cy, 0));
    if (icon != NULL) {
        ImageList_AddIcon(images, icon);
        DestroyIcon(icon);
    }
    SetUpList(GetDlgItem(hDlg, IDC_NIC_LIST), images, 0, IDS_UNASSIGNED_ADAPTERS);
    SetUpList(GetDlgItem(hDlg, IDC_TEAM_LIST), images, 1, IDS_TEAMED_ADAPTERS);
    Trace(L"<--SetUpLists:\n");
}

static void EmptyLists(HWND hDlg) {
    SendMessageW(GetDlgItem(hDlg, IDC_NIC_LIST), LVM_DELETEALLITEMS, 0, 0);
    SendMessageW(GetDlgItem(hDlg, IDC_TEAM_LIST), LVM_DELETEALLITEMS, 0, 0);
}

// The first of Team0 .. Team3 that can be used, or else Team3.
static void ProposeTeamName(HWND hDlg) {
    WCHAR szName[PROPOSED_NAME_CCH];

    for (int i = 0; i < MAX_TEAMS; i++) {
        StringCchPrintfW(szName, ARRAYSIZE(szName), L"Team%d", i);
        if (CheckTeamName(szName) == TEAM_NAME_USABLE)
            break;
    }
    SetWindowTextW(GetDlgItem(hDlg, IDC_TEAM_NAME), szName);
}

int OnInitDialog(HWND hDlg) {
    static const WORD jobButtons[] = {IDC_CREATE_TEAM, IDC_REMOVE_TEAM, IDC_PROPERTIES, 0};
    static const WORD choiceControls[] = {
        IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP, IDC_FAILBACK,
        IDC_MOVE_UP,       IDC_MOVE_DOWN,         0};

    Trace(L"-->OnInitDialog:\n");
    SheetData* ppd = GetSheetData(hDlg);
    if (ppd == NULL) {
        Trace(L"<--OnInitDialog: no state record\n");
        return 0;
    }
    ZeroMemory(selectedNics, sizeof(selectedNics));
    ZeroMemory(selectedTeams, sizeof(selectedTeams));
    ZeroMemory(ppd->teams, sizeof(ppd->teams));
    g_numTeams = 0;
    if (g_firstTime) {
        SetUpLists(hDlg);
        g_firstTime = FALSE;
    } else {
        EmptyLists(hDlg);
    }
    EnableControls(hDlg, jobButtons, FALSE);
    int populated = PopulateGuids(hDlg, POPULATE_LISTS, &GUID_DEVCLASS_NET);
    // Filled by a worker, a row may have been drawn between its insertion and its name.
    InvalidateRect(GetDlgItem(hDlg, IDC_NIC_LIST), NULL, TRUE);
    InvalidateRect(GetDlgItem(hDlg, IDC_TEAM_LIST), NULL, TRUE);
    if (populated != 1 || !PopulateTeamList(hDlg)) {
        Trace(L"<--OnInitDialog: no adapters\n");
        return 0;
    }
    SetStatus(hDlg, TEXT_HELP);
    ProposeTeamName(hDlg);
    CheckDlgButton(hDlg, IDC_TRAY_ICON, IsQvTrayRunning() == 1 ? BST_CHECKED : BST_UNCHECKED);
    EnableControls(hDlg, choiceControls, FALSE);
    Trace(L"<--OnInitDialog:\n");
    return 1;
}

static void ShowTeamMode(HWND hDlg, SheetData* ppd) {
    LONG row;

    if (GetCheckedItems(GetDlgItem(hDlg, IDC_TEAM_LIST), 1, &row) == 1 && row < MAX_TEAMS)
        TickControls(hDlg, ModeBoxes(ppd->teams[row].TeamMode), TRUE);
}

static void ApplyRule(HWND hDlg, const PageRule* rule) {
    if (rule == NULL)
        return;
    EnableControls(hDlg, rule->disable, FALSE);
    EnableControls(hDlg, rule->enable, TRUE);
    TickControls(hDlg, rule->untick, FALSE);
    TickControls(hDlg, rule->tick, TRUE);
}

static void UpdateButtons(HWND hDlg, SheetData* ppd, WORD clicked) {
    WORD other = clicked == IDC_NIC_LIST ? IDC_TEAM_LIST : IDC_NIC_LIST;
    HWND otherList = GetDlgItem(hDlg, other);

    Trace(L"-->UpdateButtons: %d\n", clicked);
    int checked = CountCheckedItems(GetDlgItem(hDlg, clicked));
    const PageRule* rule =
        ListRule(clicked, checked, checked == 0 && CountCheckedItems(otherList) != 0);
    ApplyRule(hDlg, rule);
    if (rule != NULL && rule->showMode)
        ShowTeamMode(hDlg, ppd);
    if (rule != NULL && rule->untickOtherList)
        UncheckAllItems(otherList);
    Trace(L"<--UpdateButtons:\n");
}

// The page is rebuilt with the pressed button disabled. Windows would give that button the focus back
// and leave the keyboard to nobody.
static void MoveFocusOffDisabled(HWND hDlg, WORD pressed) {
    if (!IsWindowEnabled(GetDlgItem(hDlg, pressed)))
        SendMessageW(hDlg, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(hDlg, IDC_NIC_LIST)),
                     TRUE);
}

// Opens the wait dialog, which runs the job that is pending.
static void RunPendingJob(HWND hDlg, SheetData* ppd, DWORD create, DWORD remove) {
    Trace(L"-->RunPendingJob: %d %d\n", create, remove);
    ppd->createPending = create;
    ppd->removePending = remove;
    INT_PTR result = DialogBoxParamW(hInstance, MAKEINTRESOURCEW(IDD_WAIT), hDlg, QvWaitDialogProc,
                                     reinterpret_cast<LPARAM>(hDlg));
    if (result == -1) {
        Trace(L"   RunPendingJob: no wait dialog %d\n", GetLastError());
        SetStatus(hDlg, create ? TEXT_CANNOT_CREATE : TEXT_CANNOT_REMOVE);
    }
    ppd->createPending = 0;
    ppd->removePending = 0;
    MoveFocusOffDisabled(hDlg, create ? IDC_CREATE_TEAM : IDC_REMOVE_TEAM);
    Trace(L"<--RunPendingJob:\n");
}

static BOOL IsTicked(HWND hDlg, WORD box) {
    return IsDlgButtonChecked(hDlg, box) == BST_CHECKED;
}

// Set while a driver is installed in this thread: class installers ask in boxes of their own, and the
// loops of these go on serving the page, which nothing disables yet.
static BOOL installing;

static BOOL InstallProtocol(HWND hDlg) {
    installing = TRUE;
    BOOL installed = InstallProtocolDriver(hDlg) == 1;
    installing = FALSE;
    return installed;
}

static void OnCreateTeam(HWND hDlg, SheetData* ppd, WORD, WORD) {
    Trace(L"-->OnCreateTeam:\n");
    SetStatus(hDlg, TEXT_CREATING);
    if (!IsTicked(hDlg, IDC_ACTIVE_BACKUP) && !IsTicked(hDlg, IDC_TX_LOAD_BALANCING) &&
        !IsTicked(hDlg, IDC_LACP)) {
        SetStatus(hDlg, TEXT_NO_MODE);
        Trace(L"<--OnCreateTeam: no mode\n");
        return;
    }
    if (!IsProtocolDriverInstalled() && !InstallProtocol(hDlg)) {
        SetStatus(hDlg, TEXT_NO_PROTOCOL);
        Trace(L"<--OnCreateTeam: no protocol\n");
        return;
    }
    RunPendingJob(hDlg, ppd, 1, 0);
    Trace(L"<--OnCreateTeam:\n");
}

// Swaps the identity of two rows. What stands beside it and the VLANs belong to the row and stay.
static void SwapNics(AdapterEntry* a, AdapterEntry* b) {
    GUID guid = a->guid;
    WCHAR szName[NAME_CCH];

    a->guid = b->guid;
    b->guid = guid;
    CopyMemory(szName, a->name, sizeof(szName));
    CopyMemory(a->name, b->name, sizeof(szName));
    CopyMemory(b->name, szName, sizeof(szName));
}

static void OnMove(HWND hDlg, SheetData*, WORD control, WORD code) {
    HWND list = GetDlgItem(hDlg, IDC_NIC_LIST);
    LONG row;

    Trace(L"-->OnMove: %d\n", control);
    if (code != CODE_CLICK || GetCheckedItems(list, 1, &row) != 1) {
        Trace(L"<--OnMove: no row\n");
        return;
    }
    LONG target = control == IDC_MOVE_UP ? row - 1 : row + 1;
    LONG count = static_cast<LONG>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    if (target < 0 || target >= count || count > MAX_NIC_ROWS) {
        Trace(L"<--OnMove: at the end\n");
        return;
    }
    SwapNics(&g_nics[row], &g_nics[target]);
    CheckItem(list, row, FALSE);
    CheckItem(list, target, TRUE);
    SendMessageW(list, LVM_UPDATE, row, 0);
    SendMessageW(list, LVM_UPDATE, target, 0);
    Trace(L"<--OnMove: %d\n", target);
}

static void OnRemoveTeam(HWND hDlg, SheetData* ppd, WORD, WORD) {
    Trace(L"-->OnRemoveTeam:\n");
    SetStatus(hDlg, TEXT_REMOVING);
    RunPendingJob(hDlg, ppd, 0, 1);
    Trace(L"<--OnRemoveTeam:\n");
}

static void OnModeBox(HWND hDlg, SheetData*, WORD box, WORD) {
    ApplyRule(hDlg, ModeRule(box, IsTicked(hDlg, box)));
}

static void OnTrayIcon(HWND hDlg, SheetData*, WORD box, WORD) {
    Trace(L"-->OnTrayIcon:\n");
    if (IsTicked(hDlg, box))
        CreateTrayIcon();
    else
        StopTrayIcon();
    Trace(L"<--OnTrayIcon:\n");
}

static void OnProperties(HWND hDlg, SheetData*, WORD, WORD) {
    ShowPropertiesPage(hDlg);
}

static const struct {
    WORD control;
    BOOL alone; // not while a driver is installed
    void (*act)(HWND hDlg, SheetData* ppd, WORD control, WORD code);
} commands[] = {
    {IDC_CREATE_TEAM, TRUE, OnCreateTeam}, {IDC_MOVE_UP, FALSE, OnMove},
    {IDC_MOVE_DOWN, FALSE, OnMove},        {IDC_REMOVE_TEAM, TRUE, OnRemoveTeam},
    {IDC_ACTIVE_BACKUP, FALSE, OnModeBox}, {IDC_TX_LOAD_BALANCING, FALSE, OnModeBox},
    {IDC_LACP, FALSE, OnModeBox},          {IDC_FAILBACK, FALSE, OnModeBox},
    {IDC_TRAY_ICON, FALSE, OnTrayIcon},    {IDC_PROPERTIES, TRUE, OnProperties},
};

static void OnCommand(HWND hDlg, SheetData* ppd, WORD code, HWND control) {
    if (code != CODE_CLICK && code != CODE_ACCELERATOR && code != CODE_DOUBLE_CLICK)
        return;
    for (const auto& command : commands) {
        if (control == GetDlgItem(hDlg, command.control) && !(command.alone && installing))
            command.act(hDlg, ppd, command.control, code);
    }
}

static void SupplyItemText(NMLVDISPINFOW* info) {
    int row = info->item.iItem;

    if (!(info->item.mask & LVIF_TEXT) || row < 0)
        return;
    if (info->hdr.idFrom == IDC_NIC_LIST && row < MAX_NIC_ROWS)
        info->item.pszText = g_nics[row].name;
    else if (info->hdr.idFrom == IDC_TEAM_LIST && row < MAX_TEAM_ROWS)
        info->item.pszText = g_teamAdapters[row].name;
}

static INT_PTR OnNotify(HWND hDlg, SheetData* ppd, NMHDR* header) {
    INT_PTR result = FALSE;

    switch (header->code) {
    case PSN_APPLY:
    case PSN_KILLACTIVE:
        SetWindowLongPtrW(hDlg, DWLP_MSGRESULT, PSNRET_NOERROR);
        return TRUE;
    case LVN_GETDISPINFOW:
        // A repaint updates the buttons too: that is how ticking by keyboard reaches them.
        SupplyItemText(reinterpret_cast<NMLVDISPINFOW*>(header));
        result = TRUE;
        break;
    case NM_CLICK:
        break;
    default:
        return FALSE;
    }
    if (header->idFrom == IDC_NIC_LIST || header->idFrom == IDC_TEAM_LIST)
        UpdateButtons(hDlg, ppd, static_cast<WORD>(header->idFrom));
    return result;
}

INT_PTR CALLBACK QvInstDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG) {
        const PROPSHEETPAGEW* page = reinterpret_cast<const PROPSHEETPAGEW*>(lParam);
        SetWindowLongPtrW(hDlg, DWLP_USER, page->lParam);
        return OnInitDialog(hDlg);
    }
    SheetData* ppd = GetSheetData(hDlg);
    if (ppd == NULL)
        return FALSE;

    switch (uMsg) {
    case WM_COMMAND:
        OnCommand(hDlg, ppd, HIWORD(wParam), reinterpret_cast<HWND>(lParam));
        return FALSE;
    case WM_NOTIFY:
        return OnNotify(hDlg, ppd, reinterpret_cast<NMHDR*>(lParam));
    case WM_DEVICECHANGE:
        return TRUE;
    case WM_DESTROY:
        SetWindowLongPtrW(hDlg, DWLP_USER, 0);
        return FALSE;
    default:
        return FALSE;
    }
}
