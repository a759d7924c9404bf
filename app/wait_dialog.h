// The please-wait dialog, behind which one team job runs on a worker thread.
#pragma once

#include <windows.h>

// Posted to the dialog by the worker when its job is done; the dialog then ends.
constexpr UINT WM_JOB_DONE = WM_USER + 500;

// What the page's status box says when a job cannot be started.
#define TEXT_CANNOT_CREATE L"Cannot Create Team at this time."
#define TEXT_CANNOT_REMOVE L"Cannot Remove Team at this time."

// Procedure of dialog 1104, opened modally by the team configuration page with the page's window as
// its parameter. createPending or removePending of the page's SheetData says which job it starts.
INT_PTR CALLBACK QvWaitDialogProc(HWND hWaitDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);

// Thread procedures; the parameter is the page's window. Each runs its job, posts WM_JOB_DONE
// whatever became of it, and returns 0.
DWORD WINAPI CreateTeamThread(LPVOID hPage);
DWORD WINAPI RemoveTeamThread(LPVOID hPage);
