// Counters as they stand when the page opens and whenever the user asks again.
#include "info/statistics_page.h"

#include "device/adapter_driver.h"
#include "include/page_notify.h"
#include "include/resource.h"
#include "info/adapter_text.h"
#include "info/driver_query.h"
#include "info/info_list.h"
#include "info/statistics_table.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

constexpr int LIST_CX = 355; // pixels
constexpr int LIST_CY = 250;
static const InfoColumn columns[] = {{L"Name", 200}, {L"Value", 130}};

// The second heading comes into the list right behind the last row of the first part, but in front of
// it: the CRC errors then stand below "Ethernet Statistics", where they belong.
constexpr int LAST_GENERAL_ROW = 11;
constexpr int HEADING_ROWS = 2;

static void FillList(HWND list) {
    WCHAR szValue[VALUE_CCH];

    InsertInfoRow(list, 0, L"General Statistics", NULL);
    for (int row = 1; row <= STATISTICS_ROWS; row++) {
        int position = row <= LAST_GENERAL_ROW ? row : row + HEADING_ROWS;
        WordCount(szValue, CountSinceReset(row - 1));
        InsertInfoRow(list, position, g_statistics[row - 1].name, szValue);
        if (row == LAST_GENERAL_ROW) {
            InsertInfoRow(list, LAST_GENERAL_ROW, L"", L" ");
            InsertInfoRow(list, LAST_GENERAL_ROW + 1, L"Ethernet Statistics", L" ");
        }
    }
}

int OnInitStatisticsDialog(HWND hDlg) {
    HANDLE device = INVALID_HANDLE_VALUE;

    Trace(L"-->OnInitStatisticsDialog:\n");
    HWND list = CreateInfoList(hDlg, L"Statistics", LIST_CX, LIST_CY, columns);
    if (list == NULL) {
        Trace(L"<--OnInitStatisticsDialog: no list\n");
        return 0;
    }
    SelectedAdapter selected = GetSelectedAdapter();
    if (selected.entry != NULL)
        device = OpenAdapterDriver(&selected.entry->guid);
    if (device == INVALID_HANDLE_VALUE) {
        Trace(L"<--OnInitStatisticsDialog: no driver\n");
        return 0;
    }
    GetDeviceStatistics(&device, g_statistics);
    FillList(list);
    CloseHandle(device);
    Trace(L"<--OnInitStatisticsDialog:\n");
    return 1;
}

static void OnCommand(HWND hDlg, HWND control) {
    BOOL reset = control == GetDlgItem(hDlg, IDC_RESET);

    if (!reset && control != GetDlgItem(hDlg, IDC_REFRESH))
        return;
    Trace(L"-->OnCommand: %d\n", reset);
    if (reset)
        ResetStatistics();
    DestroyInfoList(hDlg);
    OnInitStatisticsDialog(hDlg);
    Trace(L"<--OnCommand:\n");
}

INT_PTR CALLBACK QvStatisticsDialogProc(HWND hDlg, UINT uMsg, WPARAM, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG) {
        SetWindowLongPtrW(hDlg, DWLP_USER, lParam);
        OnInitStatisticsDialog(hDlg);
        return TRUE;
    }
    if (GetWindowLongPtrW(hDlg, DWLP_USER) == 0)
        return FALSE;

    switch (uMsg) {
    case WM_COMMAND:
        OnCommand(hDlg, reinterpret_cast<HWND>(lParam));
        return FALSE;
    case WM_NOTIFY:
        return AnswerSheet(hDlg, reinterpret_cast<const NMHDR*>(lParam));
    case WM_DESTROY:
        SetWindowLongPtrW(hDlg, DWLP_USER, 0);
        return FALSE;
    default:
        return FALSE;
    }
}
