// Devices take long to install, and the page must neither freeze nor be used meanwhile. The
// modal dialog is the only mutual exclusion there is: nobody else touches the page while a worker
// runs.
#include "app/wait_dialog.h"

#include "app/team_page.h"
#include "include/records.h"
#include "inventory/trace.h"
#include "team/create_team.h"
#include "team/remove_team.h"

typedef int (*TeamJob)(HWND hPage);

static DWORD RunJob(HWND hPage, TeamJob job) {
    SheetData* ppd = GetSheetData(hPage);
    HWND hWaitDlg = ppd != NULL ? ppd->hWaitDlg : NULL;

    job(hPage);
    // The dialog has no button: a queue that is full must not keep it open for good.
    if (!PostMessageW(hWaitDlg, WM_JOB_DONE, 0, 0)) {
        Trace(L"   RunJob: not posted %d\n", GetLastError());
        SendMessageW(hWaitDlg, WM_JOB_DONE, 0, 0);
    }
    return 0;
}

DWORD WINAPI CreateTeamThread(LPVOID hPage) {
    Trace(L"-->CreateTeamThread:\n");
    DWORD result = RunJob(static_cast<HWND>(hPage), CreateTeam);
    Trace(L"<--CreateTeamThread:\n");
    return result;
}

DWORD WINAPI RemoveTeamThread(LPVOID hPage) {
    Trace(L"-->RemoveTeamThread:\n");
    DWORD result = RunJob(static_cast<HWND>(hPage), RemoveTeam);
    Trace(L"<--RemoveTeamThread:\n");
    return result;
}

// Nobody waits for the thread. Without it the dialog would stay open for good, so it is ended.
static void StartWorker(HWND hWaitDlg, HWND hPage, LPTHREAD_START_ROUTINE worker,
                        LPCWSTR textOnFailure) {
    Trace(L"-->StartWorker:\n");
    HANDLE thread = CreateThread(NULL, 0, worker, hPage, 0, NULL);
    if (thread != NULL) {
        CloseHandle(thread);
    } else {
        Trace(L"   StartWorker: no thread %d\n", GetLastError());
        SetStatus(hPage, textOnFailure);
        EndDialog(hWaitDlg, 0);
    }
    Trace(L"<--StartWorker:\n");
}

static void OnInitWaitDialog(HWND hWaitDlg, HWND hPage) {
    Trace(L"-->OnInitWaitDialog:\n");
    SheetData* ppd = GetSheetData(hPage);
    if (ppd == NULL) {
        Trace(L"<--OnInitWaitDialog: no state record\n");
        return;
    }
    ppd->hWaitDlg = hWaitDlg;
    if (ppd->createPending == 1 && ppd->removePending == 0)
        StartWorker(hWaitDlg, hPage, CreateTeamThread, TEXT_CANNOT_CREATE);
    if (ppd->createPending == 0 && ppd->removePending == 1)
        StartWorker(hWaitDlg, hPage, RemoveTeamThread, TEXT_CANNOT_REMOVE);
    Trace(L"<--OnInitWaitDialog:\n");
}

INT_PTR CALLBACK QvWaitDialogProc(HWND hWaitDlg, UINT uMsg, WPARAM, LPARAM lParam) {
    switch (uMsg) {
    case WM_INITDIALOG:
        OnInitWaitDialog(hWaitDlg, reinterpret_cast<HWND>(lParam));
        return TRUE;
    case WM_DEVICECHANGE:
        return TRUE;
    case WM_JOB_DONE:
        EndDialog(hWaitDlg, 0);
        return FALSE;
    default:
        return FALSE;
    }
}
