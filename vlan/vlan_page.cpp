// The list of VLANs stands in the host's own record; the page shows it on demand and keeps it in step
// with what it adds and removes.
#include "vlan/vlan_page.h"

#include "device/adapter_driver.h"
#include "device/bindings.h"
#include "device/device_state.h"
#include "include/page_notify.h"
#include "include/resource.h"
#include "inventory/administrator.h"
#include "inventory/checked_items.h"
#include "inventory/tables.h"
#include "inventory/trace.h"
#include "vlan/add_vlan_dialog.h"
#include "vlan/new_vlan.h"
#include "vlan/vlan_adapter.h"
#include "vlan/vlan_list.h"
#include "vlan/vlan_message.h"

#include <commctrl.h>
#include <stdlib.h>
#include <strsafe.h>

static const WCHAR TEXT_NO_LIST[] = L"Could not get handle to list control";
static const WCHAR TEXT_NOT_ADMIN[] = L"Please login as Administrator to create or remove vlans";
static const WCHAR TEXT_NO_MEMORY[] = L"Memory Allocation Error";
static const WCHAR TEXT_NOT_ADDED[] = L"Failed to add vlan. Error=0x%x";
static const WCHAR TEXT_TO_BE_REMOVED[] = L"The following entries will be removed:-\r\n";
static const WCHAR TEXT_ENTRY[] = L"%s: %d\r\n";
static const WCHAR TEXT_ERROR_CAPTION[] = L"Error";
static const WCHAR TEXT_WARNING_CAPTION[] = L"Warning";

constexpr size_t NOT_ADDED_CCH = 100;
constexpr size_t QUESTION_CCH = 2000;
constexpr size_t TITLE_CCH = 30;
constexpr size_t ID_TEXT_CCH = 10;

// A list view's column takes its title from a buffer that is not const.
static struct {
    WCHAR title[TITLE_CCH];
    int width; // pixels
} columns[] = {{L"Vlan Name", 215}, {L"Vlan ID", 75}};

static void SetUpColumns(HWND view) {
    LVCOLUMNW header = {};

    SendMessageW(view, LVM_SETEXTENDEDLISTVIEWSTYLE, 0,
                 LVS_EX_GRIDLINES | LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT);
    header.mask = LVCF_FMT | LVCF_WIDTH | LVCF_TEXT | LVCF_SUBITEM;
    header.fmt = LVCFMT_LEFT;
    for (int column = 0; column < static_cast<int>(ARRAYSIZE(columns)); column++) {
        header.cx = columns[column].width;
        header.pszText = columns[column].title;
        header.iSubItem = column;
        SendMessageW(view, LVM_INSERTCOLUMNW, column, reinterpret_cast<LPARAM>(&header));
    }
}

// Both texts are asked for when they are shown.
static void InsertVlanItem(HWND view, int row) {
    LVITEMW item = {};

    item.mask = LVIF_TEXT;
    item.iItem = row;
    item.pszText = LPSTR_TEXTCALLBACKW;
    SendMessageW(view, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    item.iSubItem = 1;
    SendMessageW(view, LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
}

BOOL OnInitVlansDialog(HWND hDlg, VlanList* list) {
    SelectedAdapter host = GetSelectedAdapter();

    Trace(L"-->OnInitVlansDialog: %d\n", host.isTeam);
    if (host.isTeam)
        GetVlanListForTeam(&host.entry->guid, list);
    else
        GetVlanListForNic(&host.entry->guid, list);
    HWND view = GetDlgItem(hDlg, IDC_VLAN_LIST);
    if (view == NULL) {
        MessageBoxW(NULL, TEXT_NO_LIST, NULL, MB_OK);
        Trace(L"<--OnInitVlansDialog: no list view\n");
        return FALSE;
    }
    SetUpColumns(view);
    for (int row = 0; row < list->numVlans; row++)
        InsertVlanItem(view, row);
    if (!AdapterDriverOpens(&host.entry->guid)) {
        EnableWindow(GetDlgItem(hDlg, IDC_ADD_VLAN), FALSE);
        EnableWindow(GetDlgItem(hDlg, IDC_REMOVE_VLAN), FALSE);
    }
    Trace(L"<--OnInitVlansDialog: %d\n", list->numVlans);
    return TRUE;
}

INT_PTR CALLBACK VlanWaitDialogProc(HWND hWaitDlg, UINT uMsg, WPARAM, LPARAM) {
    if (uMsg == WM_CLOSE)
        DestroyWindow(hWaitDlg);
    return FALSE;
}

// Nothing paints the window while the work goes on in this thread, so it is painted at once.
static HWND OpenWaitWindow(HWND hDlg) {
    HWND hWaitDlg =
        CreateDialogParamW(hInstance, MAKEINTRESOURCEW(IDD_WAIT), hDlg, VlanWaitDialogProc, 0);
    if (hWaitDlg == NULL) {
        Trace(L"   OpenWaitWindow: no window %d\n", GetLastError());
        return NULL;
    }
    ShowWindow(hWaitDlg, SW_SHOW);
    RedrawWindow(hWaitDlg, NULL, NULL, RDW_UPDATENOW | RDW_ALLCHILDREN);
    return hWaitDlg;
}

static void CloseWaitWindow(HWND hWaitDlg) {
    if (hWaitDlg != NULL)
        SendMessageW(hWaitDlg, WM_CLOSE, 0, 0);
}

// A host carries either its own protocols or its VLANs' ones.
static void GiveUpProtocols(const SelectedAdapter* host) {
    Trace(L"-->GiveUpProtocols:\n");
    EnableProtocolNicBindings(NULL, &host->entry->guid, 0, host->isTeam ? 0 : 1);
    ShowHideNic(&host->entry->guid, 1);
    Trace(L"<--GiveUpProtocols:\n");
}

static void TakeBackProtocols(const SelectedAdapter* host) {
    Trace(L"-->TakeBackProtocols:\n");
    ShowHideNic(&host->entry->guid, 0);
    EnableProtocolNicBindings(NULL, &host->entry->guid, 1, host->isTeam ? 0 : 1);
    Trace(L"<--TakeBackProtocols:\n");
}

static void ShowNoMemory(HWND hDlg) {
    Trace(L"   ShowNoMemory: %d\n", GetLastError());
    MessageBoxW(hDlg, TEXT_NO_MEMORY, TEXT_ERROR_CAPTION, MB_OK);
}

// FALSE leaves the please-wait window open, on purpose.
static BOOL ShowNotAdded(HWND hDlg, DWORD dwError) {
    LPWSTR text = static_cast<LPWSTR>(calloc(NOT_ADDED_CCH, sizeof(WCHAR)));

    if (text == NULL) {
        ShowNoMemory(hDlg);
        return FALSE;
    }
    StringCchPrintfW(text, NOT_ADDED_CCH, TEXT_NOT_ADDED, dwError);
    ShowVlanError(hDlg, text);
    free(text);
    return TRUE;
}

static void OnAddVlan(HWND hDlg, VlanList* list) {
    SelectedAdapter host = GetSelectedAdapter();

    Trace(L"-->OnAddVlan:\n");
    if (DialogBoxParamW(hInstance, MAKEINTRESOURCEW(IDD_ADD_VLAN), hDlg, AddVlanDialogProc,
                        reinterpret_cast<LPARAM>(hDlg)) != IDOK) {
        Trace(L"<--OnAddVlan: no\n");
        return;
    }
    HWND hWaitDlg = OpenWaitWindow(hDlg);
    if (list->numVlans == 1)
        GiveUpProtocols(&host);
    int row = list->numVlans - 1;
    if (CreateVlanForNics(&host.entry->guid, host.entry->name, list->vlanNames[row],
                          list->vlanIds[row], &list->vlanGuids[row], host.isTeam)) {
        InsertVlanItem(GetDlgItem(hDlg, IDC_VLAN_LIST), row);
    } else {
        DWORD dwError = GetLastError();
        list->numVlans--;
        if (!ShowNotAdded(hDlg, dwError)) {
            Trace(L"<--OnAddVlan: no memory\n");
            return;
        }
    }
    CloseWaitWindow(hWaitDlg);
    Trace(L"<--OnAddVlan: %d\n", list->numVlans);
}

// Collects the ticked rows that are in the list view, in list order, and writes what will go with
// them into `text`, QUESTION_CCH characters. Returns how many are ticked.
static int CollectTickedVlans(HWND view, const VlanList* list, LONG* rows, LPWSTR text) {
    int items = static_cast<int>(SendMessageW(view, LVM_GETITEMCOUNT, 0, 0));
    int ticked = 0;

    StringCchCopyW(text, QUESTION_CCH, TEXT_TO_BE_REMOVED);
    for (int row = 0; row < list->numVlans && row < items; row++) {
        if (!IsItemChecked(view, row))
            continue;
        rows[ticked++] = row;
        size_t cchText = wcslen(text);
        StringCchPrintfW(text + cchText, QUESTION_CCH - cchText, TEXT_ENTRY, list->vlanNames[row],
                         list->vlanIds[row]);
    }
    return ticked;
}

static BOOL AskToRemove(HWND hDlg, const VlanList* list, LONG* rows, int* ticked) {
    LPWSTR text = static_cast<LPWSTR>(calloc(QUESTION_CCH, sizeof(WCHAR)));

    if (text == NULL) {
        ShowNoMemory(hDlg);
        return FALSE;
    }
    *ticked = CollectTickedVlans(GetDlgItem(hDlg, IDC_VLAN_LIST), list, rows, text);
    BOOL agreed = *ticked != 0 && MessageBoxW(hDlg, text, TEXT_WARNING_CAPTION,
                                              MB_OKCANCEL | MB_ICONEXCLAMATION) == IDOK;
    free(text);
    return agreed;
}

static void RemoveVlanRow(HWND hDlg, const SelectedAdapter* host, VlanList* list, LONG row) {
    Trace(L"-->RemoveVlanRow: %d\n", row);
    if (RemoveVlanFromNic(&host->entry->guid, &list->vlanGuids[row], host->isTeam) != TRUE) {
        Trace(L"<--RemoveVlanRow: stays\n");
        return;
    }
    if (list->numVlans == 1)
        TakeBackProtocols(host);
    SendMessageW(GetDlgItem(hDlg, IDC_VLAN_LIST), LVM_DELETEITEM, row, 0);
    DropVlanRow(list, row);
    Trace(L"<--RemoveVlanRow:\n");
}

static void OnRemoveVlans(HWND hDlg, VlanList* list) {
    SelectedAdapter host = GetSelectedAdapter();
    LONG rows[MAX_VLANS];
    int ticked = 0;

    Trace(L"-->OnRemoveVlans:\n");
    if (!AskToRemove(hDlg, list, rows, &ticked)) {
        Trace(L"<--OnRemoveVlans: no\n");
        return;
    }
    HWND hWaitDlg = OpenWaitWindow(hDlg);
    // From the last row on, so that the numbers of the others stay right.
    while (ticked > 0)
        RemoveVlanRow(hDlg, &host, list, rows[--ticked]);
    CloseWaitWindow(hWaitDlg);
    Trace(L"<--OnRemoveVlans: %d\n", list->numVlans);
}

static void OnCommand(HWND hDlg, VlanList* list, WORD code, HWND control) {
    static BOOL working;

    // Device installers ask in boxes of their own, and the loops of these go on serving the page. Rows
    // that come or go meanwhile would be taken for one another.
    if (working)
        return;
    if (code == BN_CLICKED && !IsUserAdmin()) {
        ShowVlanError(hDlg, TEXT_NOT_ADMIN);
        return;
    }
    working = TRUE;
    if (control == GetDlgItem(hDlg, IDC_ADD_VLAN))
        OnAddVlan(hDlg, list);
    else if (control == GetDlgItem(hDlg, IDC_REMOVE_VLAN))
        OnRemoveVlans(hDlg, list);
    working = FALSE;
}

static BOOL SupplyItemText(VlanList* list, NMLVDISPINFOW* info) {
    static WCHAR szId[ID_TEXT_CCH];
    int row = info->item.iItem;

    if (row < 0 || row >= list->numVlans)
        return TRUE;
    if (info->item.iSubItem == 0) {
        info->item.pszText = list->vlanNames[row];
    } else {
        StringCchPrintfW(szId, ARRAYSIZE(szId), L"%d", list->vlanIds[row]);
        info->item.pszText = szId;
    }
    return FALSE;
}

static INT_PTR OnNotify(HWND hDlg, VlanList* list, NMHDR* header) {
    if (header->code == LVN_GETDISPINFOW)
        return SupplyItemText(list, reinterpret_cast<NMLVDISPINFOW*>(header));
    return AnswerSheet(hDlg, header);
}

static INT_PTR OnInitPage(HWND hDlg) {
    SelectedAdapter host = GetSelectedAdapter();

    if (host.entry == NULL)
        return FALSE;
    SetWindowLongPtrW(hDlg, DWLP_USER, reinterpret_cast<LONG_PTR>(&host.entry->vlans));
    return OnInitVlansDialog(hDlg, &host.entry->vlans);
}

INT_PTR CALLBACK QvVlansDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG)
        return OnInitPage(hDlg);
    VlanList* list = GetVlanList(hDlg);
    if (list == NULL)
        return FALSE;

    switch (uMsg) {
    case WM_COMMAND:
        OnCommand(hDlg, list, HIWORD(wParam), reinterpret_cast<HWND>(lParam));
        return TRUE;
    case WM_NOTIFY:
        return OnNotify(hDlg, list, reinterpret_cast<NMHDR*>(lParam));
    case WM_DESTROY:
        SetWindowLongPtrW(hDlg, DWLP_USER, 0);
        return FALSE;
    default:
        return FALSE;
    }
}
