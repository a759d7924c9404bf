// Rebuilds the team table of SheetData from the member records.
#pragma once

#include <windows.h>

// Expects the four rows and g_numTeams zeroed and the team adapters table filled. Row t of the
// table describes the team adapter in row t of the list "Teamed Adapters"; members stand in the
// order of their records. Records that cannot be read, or whose team adapter is not listed in the
// first four rows, are left out. Returns 0 when hDlg has no state record, otherwise 1, also when
// there is no team.
int PopulateTeamList(HWND hDlg);
