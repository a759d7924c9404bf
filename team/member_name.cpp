// A name that is prefixed when a team is made must come back letter by letter when it is
// dissolved.
#include "team/member_name.h"

#include <strsafe.h>

void FormMemberName(WCHAR (&memberName)[MEMBER_FRIENDLY_CCH], LPCWSTR teamName, LPCWSTR ownName) {
    ZeroMemory(memberName, sizeof(memberName));
    StringCchPrintfW(memberName, MEMBER_FRIENDLY_CCH, L"%s:%s", teamName, ownName);
}

BOOL StripTeamName(WCHAR (&ownName)[MEMBER_FRIENDLY_CCH], LPCWSTR teamName, LPCWSTR memberName) {
    size_t cchTeam = wcsnlen(teamName, MEMBER_FRIENDLY_CCH);
    size_t cchMember = wcslen(memberName);

    if (wcsncmp(memberName, teamName, cchTeam) != 0)
        return FALSE;
    ZeroMemory(ownName, sizeof(ownName));
    if (cchMember > cchTeam)
        StringCchPrintfW(ownName, MEMBER_FRIENDLY_CCH, L"%s", memberName + cchTeam + 1);
    return TRUE;
}
