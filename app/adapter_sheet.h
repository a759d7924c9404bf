// The property sheet of one adapter or team.
#pragma once

#include <windows.h>

// Opens, over the team configuration page hDlg, the sheet of the first ticked adapter, or else of the
// first ticked team. Nothing happens when neither is ticked. So far the sheet has the VLAN page alone;
// for an adapter without one the status box says so.
void ShowPropertiesPage(HWND hDlg);
