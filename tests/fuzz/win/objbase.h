#pragma once

#include <windows.h>

HRESULT CLSIDFromString(LPCWSTR text, GUID* id);
int StringFromGUID2(const GUID& guid, LPWSTR text, int cchText);
