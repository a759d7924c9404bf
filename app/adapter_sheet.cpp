// Which adapter the pages show is chosen here, once, before any of them opens.
#include "app/adapter_sheet.h"

#include "app/team_page.h"
#include "include/records.h"
#include "include/resource.h"
#include "inventory/checked_items.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

static BOOL SelectAdapter(HWND hDlg) {
    LONG row;

    if (GetCheckedItems(GetDlgItem(hDlg, IDC_NIC_LIST), 1, &row) == 1 && row < MAX_NIC_ROWS) {
        g_nicSelected = row;
        g_teamSelected = -1;
        return TRUE;
    }
    if (GetCheckedItems(GetDlgItem(hDlg, IDC_TEAM_LIST), 1, &row) == 1 && row < MAX_TEAM_ROWS) {
        g_teamSelected = row;
        g_nicSelected = -1;
        return TRUE;
    }
    return FALSE;
}

void ShowPropertiesPage(HWND hDlg) {
    Trace(L"-->ShowPropertiesPage:\n");
    if (GetSheetData(hDlg) == NULL || !SelectAdapter(hDlg)) {
        Trace(L"<--ShowPropertiesPage: nothing chosen\n");
        return;
    }
    SetStatus(hDlg, L"Adapter properties are not available in this version.");
    Trace(L"<--ShowPropertiesPage:\n");
}
