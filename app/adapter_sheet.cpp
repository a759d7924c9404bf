// Which adapter the pages show is chosen here, once, before any of them opens.
#include "app/adapter_sheet.h"

#include "app/sheet.h"
#include "app/team_page.h"
#include "include/records.h"
#include "include/resource.h"
#include "info/general_page.h"
#include "info/statistics_page.h"
#include "info/team_properties.h"
#include "inventory/checked_items.h"
#include "inventory/tables.h"
#include "inventory/trace.h"
#include "team/nic_checks.h"
#include "vlan/vlan_page.h"

constexpr UINT MAX_PAGES = 4;

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

// An unassigned adapter takes VLANs only where it cannot be teamed: on Windows XP while the maker's
// TCP connection offload is switched on. Elsewhere a VLAN is attached to a team. XP means 5.1, which no
// 64-bit Windows reports, so an adapter has the page only while the version is unknown.
static BOOL SheetHasVlanPage(HWND hDlg) {
    return GetSelectedAdapter().isTeam || IsWinXPAndOffload(hDlg);
}

void ShowPropertiesPage(HWND hDlg) {
    PROPSHEETPAGEW pages[MAX_PAGES];
    PROPSHEETHEADERW header;
    UINT nPages = 0;

    Trace(L"-->ShowPropertiesPage:\n");
    SheetData* ppd = GetSheetData(hDlg);
    if (ppd == NULL || !SelectAdapter(hDlg)) {
        Trace(L"<--ShowPropertiesPage: nothing chosen\n");
        return;
    }
    LPARAM lParam = reinterpret_cast<LPARAM>(ppd);
    FillSheetPage(&pages[nPages++], IDD_GENERAL_PAGE, IDS_GENERAL, QvPropertiesDialogProc, lParam);
    FillSheetPage(&pages[nPages++], IDD_STATISTICS_PAGE, IDS_STATISTICS, QvStatisticsDialogProc,
                  lParam);
    if (SheetHasVlanPage(hDlg))
        FillSheetPage(&pages[nPages++], IDD_VLAN_PAGE, IDS_VLAN, QvVlansDialogProc, lParam);
    if (GetSelectedAdapter().isTeam)
        FillSheetPage(&pages[nPages++], IDD_TEAM_PROPERTIES, IDS_PROPERTIES,
                      QvTeamPropertiesDialogProc, lParam);
    FillSheetHeader(&header, hDlg, IDS_PROPERTIES, pages, nPages);
    ShowSheet(&header);
    Trace(L"<--ShowPropertiesPage:\n");
}
