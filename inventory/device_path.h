// The two device-name forms of an adapter, and the way back from a stored one to its GUID.
#pragma once

#include <windows.h>

// "\Device\" + name, the kernel object name that the teaming protocol driver expects in its
// records.
//   adapterName  a braced GUID, taken as it is
// Returns a new string that the caller releases with free(), NULL when memory runs out.
LPWSTR AddDevicePrefix(LPCWSTR adapterName);

// "\\.\" + name, the path that CreateFileW opens to reach the adapter's driver. Otherwise as above.
LPWSTR AddDosDevicePrefix(LPCWSTR adapterName);

// The text behind the last '\' of a device name, inside deviceName; NULL when it has no '\'.
LPCWSTR TextAfterLastBackslash(LPCWSTR deviceName);

// Parses a braced GUID. FALSE leaves *guid all zero.
BOOL ParseGuid(LPCWSTR text, GUID* guid);

// Prints a GUID braced and in upper case.
//   text  at least GUID_CCH characters
void PrintGuid(const GUID* guid, LPWSTR text);
