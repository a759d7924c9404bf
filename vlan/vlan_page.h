// The VLAN page of an adapter's property sheet. Its host is the adapter that g_nicSelected or
// g_teamSelected names.
#pragma once

#include "include/records.h"

// Procedure of dialog 101.
INT_PTR CALLBACK QvVlansDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);

// Reads the host's VLANs into `list` and fills list view 1000 with them. "Add ..." and "Remove" are
// disabled when the host's driver does not open. A host must be chosen. FALSE when the page has no list view.
BOOL OnInitVlansDialog(HWND hDlg, VlanList* list);

// Procedure of the modeless please-wait window that the page opens: WM_CLOSE destroys it.
INT_PTR CALLBACK VlanWaitDialogProc(HWND hWaitDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);
