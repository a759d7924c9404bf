// Makes a team of the adapters that are ticked on the page.
#pragma once

#include <windows.h>

// Checks the request, clears VLANs off the members, detaches the members from every protocol but
// the teaming protocol, installs the team adapter and records the team. The outcome stands in the
// page's status box; the only question is a message box about the members' VLANs.
//   hDlg  the team configuration page
// Blocks for as long as devices need, so it belongs on a worker thread.
// Returns 1 when the team was created, 0 otherwise. What a failed step leaves behind stays.
int CreateTeam(HWND hDlg);
