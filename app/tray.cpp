// The tray program shows the teams' state all day; this program only switches it on and off.
#include "app/tray.h"

#include "app/processes.h"
#include "include/names.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

#include <strsafe.h>

// The tray program's path, PATH_CCH characters. FALSE when the system directory is not known.
static BOOL FormTrayPath(LPWSTR path) {
    UINT cchDirectory = GetSystemDirectoryW(path, PATH_CCH);

    if (cchDirectory == 0 || cchDirectory >= PATH_CCH)
        return FALSE;
    WCHAR* last = &path[cchDirectory - 1];
    if (*last == L'\\' || *last == L'/')
        *last = L'\0';
    return SUCCEEDED(StringCchCatW(path, PATH_CCH, L"\\" TRAY_FILE_NAME));
}

void CreateTrayIcon(void) {
    WCHAR szPath[PATH_CCH];
    STARTUPINFOW startup;
    PROCESS_INFORMATION process;

    Trace(L"-->CreateTrayIcon:\n");
    if (!FormTrayPath(szPath) || IsQvTrayRunning()) {
        Trace(L"<--CreateTrayIcon: nothing to start\n");
        return;
    }
    GetStartupInfoW(&startup);
    startup.dwFlags |= STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    if (CreateProcessW(NULL, szPath, NULL, NULL, FALSE, DETACHED_PROCESS | NORMAL_PRIORITY_CLASS,
                       NULL, NULL, &startup, &process)) {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    } else {
        Trace(L"   CreateTrayIcon: not started %d\n", GetLastError());
    }
    Trace(L"<--CreateTrayIcon:\n");
}

void StopTrayIcon(void) {
    DWORD recipients = BSM_APPLICATIONS;

    Trace(L"-->StopTrayIcon:\n");
    long lResult = BroadcastSystemMessageW(BSF_IGNORECURRENTTASK, &recipients, uTermTrayMsg, 0, 0);
    Trace(L"<--StopTrayIcon: %d\n", lResult);
}
