// One copy at a time may rewire the adapters, and the tray program is started only once.
#include "app/processes.h"

#include "include/names.h"
#include "inventory/trace.h"

#include <psapi.h>
#include <stdlib.h>

constexpr DWORD MAX_PROCESSES = 1024;

static BOOL ProcessHasName(DWORD processId, LPCWSTR name) {
    WCHAR szName[NAME_CCH + 1] = L"<unknown>"; // a name that is cut off may come without its end
    HMODULE first[1];
    DWORD cbNeeded = 0;

    HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId);
    if (process == NULL) {
        Trace(L"   ProcessHasName: %d not opened %d\n", processId, GetLastError());
        return FALSE;
    }
    // A process that begins or ends may have none.
    if (EnumProcessModules(process, first, sizeof(first), &cbNeeded) && cbNeeded >= sizeof(first))
        GetModuleBaseNameW(process, first[0], szName, NAME_CCH);
    CloseHandle(process);
    return lstrcmpiW(szName, name) == 0;
}

// Counts the processes of this name, at most up to `enough`.
//   ids  room for MAX_PROCESSES ids
static int CountProcesses(DWORD* ids, LPCWSTR name, int enough) {
    DWORD cbReturned = 0;
    int found = 0;

    if (!EnumProcesses(ids, MAX_PROCESSES * sizeof(DWORD), &cbReturned)) {
        Trace(L"   CountProcesses: not listed %d\n", GetLastError());
        return 0;
    }
    DWORD count = cbReturned / sizeof(DWORD);
    for (DWORD i = 0; i < count && i < MAX_PROCESSES && found < enough; i++) {
        if (ProcessHasName(ids[i], name))
            found++;
    }
    return found;
}

int IsQvTeamCfgRunning(void) {
    Trace(L"-->IsQvTeamCfgRunning:\n");
    DWORD* ids = static_cast<DWORD*>(calloc(MAX_PROCESSES, sizeof(DWORD)));
    if (ids == NULL) {
        Trace(L"<--IsQvTeamCfgRunning: no memory\n");
        return 0;
    }
    int running = CountProcesses(ids, PROGRAM_FILE_NAME, 2) > 1;
    free(ids);
    Trace(L"<--IsQvTeamCfgRunning: %d\n", running);
    return running;
}

int IsQvTrayRunning(void) {
    DWORD ids[MAX_PROCESSES];

    Trace(L"-->IsQvTrayRunning:\n");
    int running = CountProcesses(ids, TRAY_FILE_NAME, 1);
    Trace(L"<--IsQvTrayRunning: %d\n", running);
    return running;
}
