// The member records: what the teaming protocol driver knows of a team.
#pragma once

#include "include/records.h"

// What WriteIntoTeamRegistry writes per member, in this order.
constexpr BYTE WRITE_TEAM_NUMBER = 1;
constexpr BYTE WRITE_TEAM_BINDING = 2; // from the entry's teamGuid
constexpr BYTE WRITE_ORDER = 4;        // from the entry's order

// Creates or opens the record of each member and writes the flagged values.
//   flags       any combination of the above
//   teamNumber  used with WRITE_TEAM_NUMBER only
// Returns 1 on completion, whatever became of the single writes; 0, with nothing written, when the
// text of TeamBinding could not be built.
int WriteIntoTeamRegistry(const TeamEntry* team, BYTE flags, DWORD teamNumber);
