// Removes one VLAN adapter with its record.
#pragma once

#include <windows.h>

// Forgets the VLAN on its host first and removes its device second.
//   isTeam  TRUE when hostGuid is a team adapter, FALSE for a physical one
// TRUE only when the device was found and removed; otherwise the cause is in the last error. A
// record that cannot be changed leaves the device.
BOOL RemoveVlanFromNic(const GUID* hostGuid, const GUID* vlanGuid, BOOL isTeam);
