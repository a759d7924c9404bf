// The packed team descriptor of a member record: bits 0-3 the slot, 4-7 the member count, 8-11 the
// mode flags. No system calls.
#pragma once

#include <windows.h>

#include "include/records.h"

// Mode flags; at most one of the first three, with failback beside it.
constexpr DWORD MODE_ACTIVE_BACKUP = 1;
constexpr DWORD MODE_TX_LOAD_BALANCING = 2;
constexpr DWORD MODE_LACP = 4;
constexpr DWORD MODE_FAILBACK = 8;

DWORD PackTeamNumber(DWORD mode, DWORD members, DWORD slot);
DWORD TeamModeOf(DWORD teamNumber);

// The smallest of the slots 0 .. numTeams-1 that no team in use has, or numTeams when all are
// taken.
//   teams  MAX_TEAMS rows
DWORD ChooseTeamSlot(const TeamEntry* teams, int numTeams);
