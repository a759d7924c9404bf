// Finds the maker's INF files among the OEM INF files that Windows keeps. The first that matches in
// directory order wins.
#pragma once

#include <windows.h>

// The INF of the virtual team miniport and that of the teaming protocol driver.
//   hwnd     not consulted
//   infPath  receives the full path, PATH_CCH characters; untouched when nothing is found
// Return 1 when found, 0 otherwise.
int GetMiniportInf(HWND hwnd, LPWSTR infPath);
int GetProtocolInf(HWND hwnd, LPWSTR infPath);
