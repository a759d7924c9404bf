// Whether a text can name a new team.
#pragma once

#include <windows.h>

constexpr int TEAM_NAME_USABLE = 0;
constexpr int TEAM_NAME_IN_USE = 1;  // a team adapter has it, in any letter case
constexpr int TEAM_NAME_INVALID = 2; // does not begin with a letter or a digit

// Compares with the first g_numTeams rows of the team adapters table. Characters beyond the first
// 511 are not looked at.
int CheckTeamName(LPCWSTR name);
