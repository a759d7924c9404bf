// Foreign records, out of a fuzzer's bytes.
#pragma once

#include "input.h"
#include "machine.h"

// A few GUIDs that meet each other now and then.
GUID GuidOf(DWORD number);
Name GuidText(Input& input); // one of them, or what is none

FuzzValue HostileValue(Input& input);  // any bytes
FuzzValue HostileNumber(Input& input); // mostly of a number's size
FuzzValue HostileText(Input& input);   // a device name, well or badly ended
FuzzValue HostileList(Input& input);   // many of them

// The member records of the machine.
void FillRecords(Input& input);

// A device with a driver key, and one that is a VLAN adapter with the GUID of this number.
FuzzDevice HostileDevice(Input& input);
FuzzDevice VlanDevice(Input& input, DWORD number);
