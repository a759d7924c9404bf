#pragma once

#include <windows.h>

typedef HANDLE HDEVINFO;
typedef HANDLE HINF;

struct SP_DEVINFO_DATA {
    DWORD cbSize;
    GUID ClassGuid;
    DWORD DevInst;
    ULONG_PTR Reserved;
};

struct INFCONTEXT {
    const void* Inf;
    const void* CurrentInf;
    UINT Section;
    UINT Line;
};

constexpr DWORD DIGCF_PRESENT = 2;
constexpr DWORD DICS_FLAG_GLOBAL = 1;
constexpr DWORD DIREG_DRV = 2;
constexpr DWORD INF_STYLE_WIN4 = 2;
constexpr DWORD SPDRP_DEVICEDESC = 0;
constexpr DWORD SPDRP_SERVICE = 4;
constexpr DWORD SPDRP_FRIENDLYNAME = 12;
constexpr DWORD SPDRP_INSTALL_STATE = 0x22;

HDEVINFO SetupDiGetClassDevsW(const GUID* classGuid, LPCWSTR enumerator, HWND parent, DWORD flags);
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set);
BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data);
HKEY SetupDiOpenDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD scope, DWORD profile,
                          DWORD kind, DWORD access);
BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property,
                                       DWORD* type, PBYTE buffer, DWORD cbBuffer,
                                       DWORD* cbRequired);
HINF SetupOpenInfFileW(LPCWSTR name, LPCWSTR className, DWORD style, UINT* errorLine);
void SetupCloseInfFile(HINF inf);
BOOL SetupFindFirstLineW(HINF inf, LPCWSTR section, LPCWSTR key, INFCONTEXT* line);
BOOL SetupGetStringFieldW(INFCONTEXT* line, DWORD field, LPWSTR text, DWORD cchText,
                          DWORD* cchRequired);
