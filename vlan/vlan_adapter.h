// Creates and removes one VLAN adapter with its record.
#pragma once

#include <windows.h>

// Installs a VLAN adapter, named after its host and itself, records it on the host and restarts it
// with its id and name.
//   hostName, vlanName  display names
//   vlanId              1-4095, or 0 for the untagged VLAN
//   vlanGuid            receives the new adapter's NetCfgInstanceId, as soon as it is installed
//   isTeam              TRUE when hostGuid is a team adapter, FALSE for a physical one
// FALSE leaves the cause in the last error and what was done as it is: an adapter whose record failed
// stays installed.
BOOL CreateVlanForNics(const GUID* hostGuid, LPCWSTR hostName, LPCWSTR vlanName, DWORD vlanId,
                       GUID* vlanGuid, BOOL isTeam);

// Forgets the VLAN on its host first and removes its device second.
//   isTeam  TRUE when hostGuid is a team adapter, FALSE for a physical one
// TRUE only when the device was found and removed; otherwise the cause is in the last error. A
// record that cannot be changed leaves the device.
BOOL RemoveVlanFromNic(const GUID* hostGuid, const GUID* vlanGuid, BOOL isTeam);
