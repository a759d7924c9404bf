// Both adapter pages fill a list view that their templates do not have.
#include "info/info_list.h"

#include "include/resource.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

#include <commctrl.h>

constexpr int LIST_X = 14; // pixels
constexpr int LIST_Y = 15;

static void InsertColumns(HWND list, const InfoColumn* columns) {
    LVCOLUMNW header = {};

    header.mask = LVCF_FMT | LVCF_WIDTH | LVCF_TEXT | LVCF_SUBITEM;
    header.fmt = LVCFMT_LEFT;
    for (int column = 0; column < 2; column++) {
        header.cx = columns[column].width;
        header.pszText = const_cast<LPWSTR>(columns[column].title);
        header.iSubItem = column;
        SendMessageW(list, LVM_INSERTCOLUMNW, column, reinterpret_cast<LPARAM>(&header));
    }
}

HWND CreateInfoList(HWND page, LPCWSTR title, int cx, int cy, const InfoColumn* columns) {
    Trace(L"-->CreateInfoList: %s\n", title);
    HWND list = CreateWindowExW(
        WS_EX_CLIENTEDGE, WC_LISTVIEWW, title,
        WS_CHILD | WS_VISIBLE | WS_BORDER | WS_TABSTOP | LVS_REPORT, LIST_X, LIST_Y, cx, cy, page,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(IDC_INFO_LIST)), hInstance, NULL);
    if (list == NULL) {
        Trace(L"   CreateInfoList: no window %d\n", GetLastError());
        MessageBoxW(NULL, L"Cannot Create Control", NULL, MB_OK);
        Trace(L"<--CreateInfoList:\n");
        return NULL;
    }
    SetWindowPos(list, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    SendMessageW(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_GRIDLINES);
    InsertColumns(list, columns);
    Trace(L"<--CreateInfoList:\n");
    return list;
}

void DestroyInfoList(HWND page) {
    HWND list = GetDlgItem(page, IDC_INFO_LIST);

    if (list == NULL)
        return;
    SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
    DestroyWindow(list);
}

void InsertInfoRow(HWND list, int position, LPCWSTR name, LPCWSTR value) {
    LVITEMW item = {};

    item.mask = LVIF_TEXT;
    item.iItem = position;
    item.pszText = const_cast<LPWSTR>(name);
    SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    if (value == NULL)
        return;
    item.iSubItem = 1;
    item.pszText = const_cast<LPWSTR>(value);
    SendMessageW(list, LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
}
