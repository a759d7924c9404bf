// The records that bind VLAN adapters to a host, under the teaming protocol driver's Adapters key.
#pragma once

#include <windows.h>

// Puts one device name in front of the VlanBinding of an open record, or drops every entry equal to
// it in any letter case. A name may stand there twice. Return a Win32 status; removal from a
// missing value gives ERROR_FILE_NOT_FOUND.
LONG AddToVlanBinding(HKEY record, LPCWSTR deviceName);
LONG RemoveFromVlanBinding(HKEY record, LPCWSTR deviceName);

// Records (remove = FALSE) or forgets (TRUE) a VLAN adapter on a physical host that is in no team.
// The host's whole record goes with its last VLAN.
//   teamNumber  ignored: a VLAN host always has VLAN_HOST_TEAM_NUMBER
// Returns a Win32 status.
LONG AddRemoveVlanInfoNic(const GUID* hostGuid, const GUID* vlanGuid, DWORD teamNumber,
                          BOOL remove);

// The same on every member record of a team. Returns the status of the last record that was looked
// at, whether or not it belongs to the team.
LONG AddRemoveVlanInfoTeam(const GUID* teamGuid, const GUID* vlanGuid, BOOL remove);
