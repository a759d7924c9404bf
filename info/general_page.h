// The General page of an adapter's property sheet: what the driver says of the adapter. The adapter is
// the one that g_nicSelected or g_teamSelected names.
#pragma once

#include <windows.h>

// Procedure of dialog 1101.
INT_PTR CALLBACK QvPropertiesDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);

// Builds the page's list anew and fills it. The list stays empty when the driver does not open or one
// of its first four answers is missing. Always 0.
int OnInitPropertiesDialog(HWND hDlg);
