// What a team does to its member adapters beside their records: address, name and visibility.
#pragma once

#include "include/records.h"

// Restarts the team adapter, takes its network address over into every member, names and hides the
// members and restarts them.
//   team      with teamGuid and nicGuids filled
//   teamName  the name as the system reports it
// Waits once for ten seconds when the address is not there yet. Members that are not present are
// passed over.
// Returns 1 when the address was found and handed on, 0 otherwise.
int UpdateTeam(HWND parent, const TeamEntry* team, LPCWSTR teamName);

// Gives a member the name back that it had before it joined the team, if it still begins with the
// team's name. TRUE unless the team is unknown or the devices cannot be listed.
BOOL SetNicFriendlyName(const GUID* teamGuid, const GUID* nicGuid);

// Deletes NetworkAddress from the driver keys of the team's members. Their records stay.
// Returns 1, or 0 when the devices cannot be listed.
int RemoveNICRegistrySettings(HWND parent, const TeamEntry* team);
