// The page proposes a name and team creation refuses one by the same rule.
#include "inventory/team_name.h"

#include "inventory/tables.h"
#include "inventory/trace.h"

#include <strsafe.h>
#include <wctype.h>

int CheckTeamName(LPCWSTR name) {
    WCHAR szName[512];

    Trace(L"-->CheckTeamName: %s\n", name);
    StringCchCopyW(szName, ARRAYSIZE(szName), name);
    for (int row = 0; row < g_numTeams && row < MAX_TEAM_ROWS; row++) {
        if (_wcsicmp(szName, g_teamAdapters[row].name) == 0) {
            Trace(L"<--CheckTeamName: in use\n");
            return TEAM_NAME_IN_USE;
        }
    }
    int result = iswctype(szName[0], _ALPHA | _DIGIT) ? TEAM_NAME_USABLE : TEAM_NAME_INVALID;
    Trace(L"<--CheckTeamName: %d\n", result);
    return result;
}
