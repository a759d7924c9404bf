// The Statistics page of an adapter's property sheet, with Refresh and Reset. The adapter is the one
// that g_nicSelected or g_teamSelected names.
#pragma once

#include <windows.h>

// Procedure of dialog 1102.
INT_PTR CALLBACK QvStatisticsDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);

// Makes the page's list and fills it. Returns 1, or 0 when there is no list or the driver does not
// open; the list then has its headers only.
int OnInitStatisticsDialog(HWND hDlg);
