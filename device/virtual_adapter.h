// Creates one virtual adapter from the maker's INF: a team or a VLAN.
#pragma once

#include "device/newdev_routines.h"

// What the installation routines give back.
constexpr int INSTALL_OK = 0;
constexpr int INSTALL_FAILED = 2;
constexpr int INSTALL_NO_MEMORY = 3; // reserved; team creation has a text for it

// Creates, installs and names one adapter of the hardware id "QV_QVTEAMMP".
//   hardwareId    not consulted
//   infPath       what GetMiniportInf found
//   friendlyName  at least NAME_CCH characters: in, the name to give (cut to 127 characters);
//                 out, on success, the name as the system reports it
//   instanceGuid  receives the new adapter's NetCfgInstanceId
// Returns INSTALL_OK, or INSTALL_FAILED with the cause in the last error; a device that was
// registered before the failure is removed again.
// When memory runs out after the installation the device stays, the outputs stay as they were and
// the result is INSTALL_OK.
int cmdInstall(LPCWSTR hardwareId, LPCWSTR infPath, LPWSTR friendlyName, GUID* instanceGuid);

// Installs the driver for a registered device, by the route that this Windows version offers.
//   hwnd, hardwareId  not consulted
// Returns INSTALL_OK or INSTALL_FAILED, the cause in the last error. A failure of the last route,
// the forced update by hardware id, is only traced and counts as success.
int cmdUpdate(HWND hwnd, LPCWSTR hardwareId, LPCWSTR infPath, HDEVINFO deviceInfoSet,
              SP_DEVINFO_DATA* deviceInfoData);

// The route of Windows 5.x. Returns 1 on success and 0 on failure, the other way round than above.
int InstallSelectedDriverForWinXPS03(HWND hwnd, LPCWSTR hardwareId, LPCWSTR fullInfPath,
                                     HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData,
                                     InstallSelectedDriverFn installSelectedDriver);
