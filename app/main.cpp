// One copy, one state record, one property sheet; everything else is opened from its page.
#include "app/processes.h"
#include "app/sheet.h"
#include "app/team_page_dialog.h"
#include "include/names.h"
#include "include/records.h"
#include "include/resource.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

// No owner, the system's own caption.
static int Refuse(LPCWSTR text) {
    MessageBoxW(NULL, text, NULL, MB_OK);
    Trace(L"<--WinMain: %s\n", text);
    return 0;
}

// Libraries are asked for by their plain names, by this program and by what it calls; none may come
// from whatever directory the program was started in.
static void LeaveOutCurrentDirectory(void) {
    if (!SetDllDirectoryW(L""))
        Trace(L"   WinMain: current directory still searched %d\n", GetLastError());
}

// A VLAN keeps this thread busy for longer than Windows is patient: what it would show in the windows'
// place can be closed, and the program be ended half-way.
static void KeepOwnWindows(void) {
    DisableProcessWindowsGhosting();
}

static void ShowTeamSheet(SheetData* ppd) {
    static PROPSHEETPAGEW page;
    static PROPSHEETHEADERW header;

    FillSheetPage(&page, IDD_TEAM_PAGE, IDS_PAGE_TITLE, QvInstDialogProc,
                  reinterpret_cast<LPARAM>(ppd));
    // A callback that is not there belongs to the page's definition.
    page.dwFlags |= PSP_USECALLBACK;
    FillSheetHeader(&header, NULL, IDS_CAPTION, &page, 1);
    ShowSheet(&header);
}

int WINAPI WinMain(HINSTANCE hThisInstance, HINSTANCE, LPSTR, int) {
    Trace(L"-->WinMain:\n");
    LeaveOutCurrentDirectory();
    KeepOwnWindows();
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

    ShowTeamSheet(ppd);
    VirtualFree(ppd, 0, MEM_RELEASE);
    Trace(L"<--WinMain:\n");
    return 0;
}
