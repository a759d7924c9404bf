// The name of an adapter inside a team: "<team name>:<own name>". No system calls.
#pragma once

#include <windows.h>

// A friendly name is stored with this many characters, whatever its length.
constexpr size_t MEMBER_FRIENDLY_CCH = 256;

// Forms the name of a member, cut to MEMBER_FRIENDLY_CCH characters with a terminator; the rest is
// zero.
void FormMemberName(WCHAR (&memberName)[MEMBER_FRIENDLY_CCH], LPCWSTR teamName, LPCWSTR ownName);

// Takes the team name and the one character behind it, whatever it is, off a name that begins with
// the team name in exactly these letters. FALSE, and ownName untouched, when the name begins
// otherwise.
BOOL StripTeamName(WCHAR (&ownName)[MEMBER_FRIENDLY_CCH], LPCWSTR teamName, LPCWSTR memberName);
