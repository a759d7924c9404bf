// The descriptor is written by team creation and read by enumeration and the team list.
#include "inventory/team_number.h"

constexpr DWORD FIELD_MASK = 0xF;
constexpr int MEMBERS_SHIFT = 4;
constexpr int MODE_SHIFT = 8;

DWORD PackTeamNumber(DWORD mode, DWORD members, DWORD slot) {
    return (mode << MODE_SHIFT) | (members << MEMBERS_SHIFT) | slot;
}

DWORD TeamModeOf(DWORD teamNumber) {
    return (teamNumber >> MODE_SHIFT) & FIELD_MASK;
}

static BOOL SlotTaken(const TeamEntry* teams, DWORD slot) {
    for (int row = 0; row < MAX_TEAMS; row++) {
        if (teams[row].inUse && (teams[row].TeamNumber & FIELD_MASK) == slot)
            return TRUE;
    }
    return FALSE;
}

DWORD ChooseTeamSlot(const TeamEntry* teams, int numTeams) {
    DWORD slot = 0;

    while (slot < static_cast<DWORD>(numTeams) && SlotTaken(teams, slot))
        slot++;
    return slot;
}
