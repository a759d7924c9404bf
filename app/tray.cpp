// The tray program shows the teams' state all day; this program only switches it on and off.
#include "app/tray.h"

#include "app/processes.h"
#include "include/names.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

#include <strsafe.h>

constexpr int COMMAND_LINE_CCH = PATH_CCH + 2; // a path and its quotes

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

// A path with a blank that is not quoted would be looked for up to the first blank as well:
// C:\Program.exe for a program below C:\Program Files.
//   line  COMMAND_LINE_CCH characters
static BOOL FormCommandLine(LPWSTR line, LPCWSTR path) {
    LPCWSTR quote = wcschr(path, L' ') != NULL ? L"\"" : L"";

    return SUCCEEDED(StringCchPrintfW(line, COMMAND_LINE_CCH, L"%s%s%s", quote, path, quote));
}

void CreateTrayIcon(void) {
    WCHAR szPath[PATH_CCH];
    WCHAR szLine[COMMAND_LINE_CCH];
    STARTUPINFOW startup;
    PROCESS_INFORMATION process;

    Trace(L"-->CreateTrayIcon:\n");
    if (!FormTrayPath(szPath) || !FormCommandLine(szLine, szPath) || IsQvTrayRunning()) {
        Trace(L"<--CreateTrayIcon: nothing to start\n");
        return;
    }
    GetStartupInfoW(&startup);
    startup.dwFlags |= STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    if (CreateProcessW(NULL, szLine, NULL, NULL, FALSE, DETACHED_PROCESS | NORMAL_PRIORITY_CLASS,
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
