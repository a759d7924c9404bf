// The last page of a team's property sheet: its mode and its members in their order of preference.
// Read-only. The team is row g_teamSelected of the team table.
#pragma once

#include "include/records.h"

// Procedure of dialog 1103.
INT_PTR CALLBACK QvTeamPropertiesDialogProc(HWND hDlg, UINT uMsg, WPARAM wParam, LPARAM lParam);

void OnInitTeamPropertiesDialog(HWND hDlg);

// Fills a list box with the members, each at its place of preference, and their names into the team's
// row. A member that is not present shows as "dummy".
// Returns 1, or 0 when the devices cannot be listed or g_teamSelected is no row of the team table.
int PopulateAdaptersInTeam(HWND hDlg, SheetData** ppd, HWND hList);
