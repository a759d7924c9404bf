// The routines of newdev.dll, which are looked up at run time: which of them exist depends on the Windows
// version.
#pragma once

#include <windows.h>
#include <setupapi.h>

// "DiInstallDevice", from Windows Vista on.
typedef BOOL(WINAPI* DiInstallDeviceFn)(HWND parent, HDEVINFO deviceInfoSet,
                                        PSP_DEVINFO_DATA deviceInfoData,
                                        PSP_DRVINFO_DATA_W driverInfoData, DWORD flags,
                                        PBOOL needReboot);

// "InstallSelectedDriver", on Windows 5.x; not in the platform's headers.
typedef BOOL(WINAPI* InstallSelectedDriverFn)(HWND parent, HDEVINFO deviceInfoSet, LPCWSTR reserved,
                                              BOOL backup, PDWORD rebootFlags);

// "UpdateDriverForPlugAndPlayDevicesW".
typedef BOOL(WINAPI* UpdateDriverFn)(HWND parent, LPCWSTR hardwareId, LPCWSTR fullInfPath,
                                     DWORD installFlags, PBOOL rebootRequired);
