// Dissolves the teams that are ticked on the page.
#pragma once

#include <windows.h>

// Results of RemoveTeam.
constexpr int REMOVE_FAILED = 0; // a team's VLANs could not be removed
constexpr int REMOVE_DONE = 1;
constexpr int REMOVE_NOT_ATTEMPTED = 2; // no rights, no state record, or too many teams

// Removes the VLANs and the virtual adapter of each ticked team and gives its members back their
// addresses, names, visibility and bindings; the page is rebuilt at the end. What became of it stands
// in the page's status box. Teams that were removed before a failure stay removed.
//   hDlg  the team configuration page
int RemoveTeam(HWND hDlg);
