// One copy, one state record, one property sheet; everything else is opened from its page.
#include "app/processes.h"
#include "app/team_page_dialog.h"
#include "include/names.h"
#include "include/records.h"
#include "include/resource.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

#include <prsht.h>

// No owner, the system's own caption.
static int Refuse(LPCWSTR text) {
    MessageBoxW(NULL, text, NULL, MB_OK);
    Trace(L"<--WinMain: %s\n", text);
    return 0;
}

// A page callback that is not there and a header without a bitmap belong to the sheet's definition.
static INT_PTR ShowTeamSheet(SheetData* ppd) {
    static PROPSHEETPAGEW page;
    static PROPSHEETHEADERW header;

    Trace(L"-->ShowTeamSheet:\n");
    ZeroMemory(&page, sizeof(page));
    page.dwSize = sizeof(page);
    page.dwFlags = PSP_USETITLE | PSP_USECALLBACK;
    page.hInstance = hInstance;
    page.pszTemplate = MAKEINTRESOURCEW(IDD_TEAM_PAGE);
    page.pszTitle = MAKEINTRESOURCEW(IDS_PAGE_TITLE);
    page.pfnDlgProc = QvInstDialogProc;
    page.lParam = reinterpret_cast<LPARAM>(ppd);

    ZeroMemory(&header, sizeof(header));
    header.dwSize = sizeof(header);
    header.dwFlags = PSH_USEICONID | PSH_PROPSHEETPAGE | PSH_NOAPPLYNOW | PSH_HEADER;
    header.hInstance = hInstance;
    header.pszIcon = MAKEINTRESOURCEW(IDI_QUOVANE);
    header.pszCaption = MAKEINTRESOURCEW(IDS_CAPTION);
    header.nPages = 1;
    header.ppsp = &page;

    INT_PTR result = PropertySheetW(&header);
    Trace(L"<--ShowTeamSheet: %d\n", static_cast<int>(result));
    return result;
}

int WINAPI WinMain(HINSTANCE hThisInstance, HINSTANCE, LPSTR, int) {
    Trace(L"-->WinMain:\n");
    hInstance = hThisInstance;
    if (IsQvTeamCfgRunning() >= 1)
        return Refuse(L"Another Instance of the app is already running");
    uTermTrayMsg = RegisterWindowMessageW(TRAY_STOP_MESSAGE);
    if (uTermTrayMsg == 0)
        return Refuse(L"Cannot register window message");
    SheetData* ppd = static_cast<SheetData*>(
        VirtualAlloc(NULL, sizeof(SheetData), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    if (ppd == NULL)
        return Refuse(L"Cannot Allocate Memory");

    if (ShowTeamSheet(ppd) == -1)
        MessageBoxW(NULL, L"Cannot Create Property Sheet", NULL, MB_OK);
    VirtualFree(ppd, 0, MEM_RELEASE);
    Trace(L"<--WinMain:\n");
    return 0;
}
