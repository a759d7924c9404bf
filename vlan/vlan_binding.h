// Edits the list of device names that VlanBinding holds. No system calls.
#pragma once

#include <windows.h>

// Copies every string of a multi-string but those that equal `entry` in any letter case.
//   list   ends with two NUL characters
//   kept   receives the copies, each with its NUL; zeroed, with room for as many characters as
//          list has
// Returns the number of characters written, NULs included.
size_t CopyOtherEntries(LPCWSTR list, LPCWSTR entry, LPWSTR kept);

// The braced GUID at the end of an entry, inside it, or NULL for one that names no device: without
// '\' or with nothing behind it.
LPCWSTR BindingGuidText(LPCWSTR entry);

// The first entry whose GUID text begins the given instance id, or NULL. Returns its GUID text.
//   list  ends with two NUL characters
LPCWSTR FindBinding(LPCWSTR list, LPCWSTR instanceId);
