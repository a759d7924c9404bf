// The team configuration page as the property sheet sees it.
#pragma once

#include <windows.h>

// Page procedure of dialog 1100; the page record's lParam is the SheetData.
INT_PTR CALLBACK QvInstDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);
