// The team configuration page as the team jobs see it: they read its controls, write into its
// status box and rebuild it after a change. This header is a door that leads upwards, from the jobs
// to the page.
#pragma once

#include <windows.h>

// Rebuilds both lists and the team table from the system and the registry, and puts buttons, boxes
// and the proposed name into their first state. Also the page's WM_INITDIALOG. Any thread. Returns
// 1 on success, 0 when the page has no state record or the adapters cannot be walked; the lists may
// then be half filled.
int OnInitDialog(HWND hDlg);

// Puts a text into the page's status box. Any thread.
void SetStatus(HWND hDlg, LPCWSTR text);
