// The property sheet of one adapter or team.
#pragma once

#include <windows.h>

// Opens, over the team configuration page hDlg, the sheet of the first ticked adapter, or else of the
// first ticked team. Nothing happens when neither is ticked.
void ShowPropertiesPage(HWND hDlg);
