// The VLANs of a host, read from its record and the VLAN adapters' driver keys.
#pragma once

#include "include/records.h"

// Fills the list with the VLANs of a physical adapter. FALSE, with an empty list, when the adapter
// has no record; TRUE otherwise, also when it has no VLANs.
BOOL GetVlanListForNic(const GUID* adapterGuid, VlanList* list);

// The same for a team, from the first record that belongs to it. FALSE, with an empty list, when there
// are no records at all.
BOOL GetVlanListForTeam(const GUID* teamGuid, VlanList* list);

// Fills the list with the present VLAN adapters that a VlanBinding names, in device enumeration
// order. An adapter without VlanName is left out; the list ends at MAX_VLANS.
//   binding  ends with two NUL characters
// FALSE, with an empty list, when the devices cannot be listed.
BOOL GetVlanIdForDevices(LPCWSTR binding, VlanList* list);
