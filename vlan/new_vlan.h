// Judges what was typed for a new VLAN. No system calls.
#pragma once

#include "include/records.h"

// Ids that a driver takes; 0 stands for the untagged VLAN.
constexpr DWORD MAX_VLAN_ID = 4095;

// What a text without a number stands for: no VLAN has it, and it is out of range.
constexpr DWORD NO_VLAN_ID = 0xFFFFFFFF;

// What is wrong with a new VLAN, in the order in which it is looked for.
enum VlanVerdict {
    VLAN_ACCEPTED,
    VLAN_ID_IN_USE,
    VLAN_NAME_IN_USE,
    VLAN_ID_OUT_OF_RANGE,
    VLAN_NAME_BLANK,
    VLAN_LIST_FULL,
};

// The number that a text begins with, after blanks and a sign; a negative one comes back as its
// unsigned value, one that no LONG holds as the nearest that does, and no number at all as
// NO_VLAN_ID.
DWORD ParseVlanId(LPCWSTR text);

//   name      not empty
//   untagged  whether id 0 was asked for
VlanVerdict JudgeVlan(const VlanList* list, DWORD id, LPCWSTR name, BOOL untagged);

// Whether the untagged VLAN may be chosen: beside at least one other, and only once.
BOOL CanAddUntaggedVlan(const VlanList* list);

// Adds the last row; the list must not be full. A longer name is cut to NAME_CCH - 1 characters.
void AppendVlanRow(VlanList* list, DWORD id, LPCWSTR name);

// Takes a row out. The rows behind it move up by one, but for their GUIDs, which stay where they
// are: the column is read again when the page opens the next time.
void DropVlanRow(VlanList* list, int row);
