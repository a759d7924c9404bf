// The team configuration page as the property sheet sees it.
#pragma once

#include <windows.h>

// Nonzero until the page's columns have been set up, which happens once per run.
extern BOOL g_firstTime;

// Page procedure of dialog 1100; the page record's lParam is the SheetData.
INT_PTR CALLBACK QvInstDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);
