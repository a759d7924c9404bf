// Disabling, enabling, restarting, hiding, showing and removing network devices. Nothing here tells
// the user; failures are traced.
#pragma once

#include <windows.h>
#include <setupapi.h>

// 1 for Windows 5.2, 2 for Windows 6.0, 0 for every other version and when it cannot be found out.
int GetOsVersionType(void);

// 1 when the state was changed, also when the change waits for a restart of the system; 0 when it
// was not, or when the device does not let its state be changed.
int DisableDevice(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData);
int EnableDevice(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData);

// Restarts a device: disables and enables it. Always 1.
int DisableEnableDevice(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData);

// Restarts the present adapter with this GUID; nothing happens when there is none.
void DisableEnableNic(const GUID* guid);

// Hides (hide = 1) or shows (any other value) the present adapter with this GUID in the network
// connections folder and restarts it. Nothing happens when there is none.
void ShowHideNic(const GUID* guid, int hide);

// Set and clear the hidden bit of an adapter's driver key, opened for reading and writing.
// HideNIC gives 1 when the bit was written, else 0. ShowNIC gives 1 as soon as the value could be
// read: showing counts as done even if writing it back failed.
int HideNIC(HKEY driverKey);
int ShowNIC(HKEY driverKey);

// Removes a virtual adapter's device. 1 when it was removed, 0 otherwise with the cause in the last
// error. A restart of the system that the removal waits for is not reported.
int RemoveTeamDetails(HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData);
