#pragma once

#include <windows.h>

typedef DWORD CONFIGRET;
constexpr CONFIGRET CR_SUCCESS = 0;
constexpr CONFIGRET CR_BUFFER_SMALL = 0x1A;

CONFIGRET CM_Get_Device_IDW(DWORD devInst, LPWSTR id, ULONG cchId, ULONG flags);
