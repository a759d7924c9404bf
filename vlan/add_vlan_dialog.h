// The dialog that asks for the id and the name of a new VLAN.
#pragma once

#include <windows.h>

// Procedure of dialog 102, opened modally by the VLAN page with the page's window as its parameter.
// Ends with IDOK after it has added one row to the page's VlanList, else with IDCANCEL.
INT_PTR CALLBACK AddVlanDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);
