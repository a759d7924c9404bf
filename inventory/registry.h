// Registry values of any size and state, read without trusting their terminators.
#pragma once

#include <windows.h>

// Reads a string value of any length; REG_SZ and REG_MULTI_SZ come back alike, as stored, followed
// by at least one NUL character.
//   key        open, with KEY_QUERY_VALUE
//   value      receives a buffer that the caller releases with free(); NULL on failure
// Returns 1 on success, 0 when the value is missing, unreadable or memory runs out.
int ReadStringFromRegistry(HKEY key, LPCWSTR valueName, LPWSTR* value);

// What QueryTextValue gives when the buffer cannot be had; no Win32 status has this value.
constexpr LONG QUERY_NO_MEMORY = -1;

// The same with a Win32 status, or QUERY_NO_MEMORY, as the result.
//   cchSpare  NUL characters behind the value: 1 ends a string, 2 a list of strings
//   cbValue   may be NULL; receives the size of the value as stored, in bytes
LONG QueryTextValue(HKEY key, LPCWSTR valueName, size_t cchSpare, LPWSTR* value, DWORD* cbValue);

// Reads a value of at most 4 bytes; a shorter one leaves the upper bytes 0. The type is not
// checked. On failure *value stays as it was.
BOOL ReadDwordFromRegistry(HKEY key, LPCWSTR valueName, DWORD* value);

// Writes a REG_DWORD. Returns the Win32 status.
LONG WriteDwordToRegistry(HKEY key, LPCWSTR valueName, DWORD value);

// Stores *address as the REG_SZ value NetworkAddress, whatever valueName says, without its
// terminator: the drivers expect exactly the digits.
BOOL WriteNetworkAddress(HKEY driverKey, LPCWSTR valueName, LPWSTR* address);

// Joins "base\name" into path, cchPath characters long with its terminator. FALSE when it does not
// fit, or when the name is empty: the path would be that of the common key above.
BOOL FormKeyPath(LPWSTR path, size_t cchPath, LPCWSTR base, LPCWSTR name);

// Deletes the "Connection" key of a virtual adapter that goes away, so that its name in the network
// connections folder becomes free.
//   instanceId  the adapter's braced GUID
void DeleteConnectionKey(LPCWSTR instanceId);
