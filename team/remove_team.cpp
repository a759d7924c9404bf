// The page's button and the worker behind it exist already; the operation is still to come,
// and the administrator is told so.
#include "team/remove_team.h"

#include "app/team_page.h"
#include "inventory/trace.h"

int RemoveTeam(HWND hDlg) {
    Trace(L"-->RemoveTeam:\n");
    SetStatus(hDlg, L"Removing a team is not available in this version.");
    Trace(L"<--RemoveTeam: not available\n");
    return REMOVE_NOT_ATTEMPTED;
}
