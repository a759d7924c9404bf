// The one walk over the network devices. Everything that looks for an adapter goes through here.
#pragma once

#include <windows.h>
#include <setupapi.h>

// Which devices a walk visits.
enum NetDeviceKinds : DWORD {
    NET_PHYSICAL = 1, // instance id does not begin with "ROOT\"
    NET_VIRTUAL = 2,  // instance id begins with "ROOT\NET\"
    NET_ANY = 4,      // every device, told apart by nobody
};

// One visited device. The walk closes driverKey unless the visitor keeps it.
struct NetDevice {
    HDEVINFO set;
    SP_DEVINFO_DATA data;
    BOOL isPhysical; // FALSE under NET_ANY
    HKEY driverKey;  // opened with KEY_ALL_ACCESS
};

enum WalkStep {
    WALK_NEXT,
    WALK_STOP,
    WALK_STOP_KEEP_KEY, // the visitor's caller closes driverKey
};

// instanceId is the adapter's NetCfgInstanceId and lives until the visitor returns.
typedef WalkStep (*NetDeviceVisitor)(NetDevice* device, void* context);
typedef WalkStep (*NetAdapterVisitor)(NetDevice* device, LPCWSTR instanceId, void* context);

// The present devices of the network class.
// Returns INVALID_HANDLE_VALUE on failure; otherwise the caller releases it with
// SetupDiDestroyDeviceInfoList.
HDEVINFO OpenNetDevices(HWND parent);

// Visits, in enumeration order, each device of the given kinds (NetDeviceKinds bits) whose driver
// key opens.
void WalkNetDevices(HDEVINFO set, DWORD kinds, NetDeviceVisitor visit, void* context);

// The same for each device that also has a NetCfgInstanceId.
void WalkNetAdapters(HDEVINFO set, DWORD kinds, NetAdapterVisitor visit, void* context);

// Finds the first adapter with this GUID, compared as 16 bytes. TRUE fills *found, whose driverKey
// the caller closes.
BOOL FindNetAdapter(HDEVINFO set, DWORD kinds, const GUID* guid, NetDevice* found);

// Finds the first adapter whose NetCfgInstanceId is exactly this text. Otherwise as above.
BOOL FindNetAdapterByText(HDEVINFO set, DWORD kinds, LPCWSTR instanceId, NetDevice* found);

// Reads the friendly name, or the description of a device without one.
//   name   receives the text, always terminated; cchName characters
//   cbRead at most so many bytes are asked for, less than cchName * 2
// FALSE when the device has neither that fits; name is then empty.
BOOL ReadDeviceName(HDEVINFO set, SP_DEVINFO_DATA* data, LPWSTR name, size_t cchName, DWORD cbRead);

// 1 when the instance id does not begin with "ROOT\", else 0. A device without a readable id counts
// as physical.
int IsPhysicalNIC(const SP_DEVINFO_DATA* deviceInfoData);

// 1 when the instance id begins with "ROOT\NET\", else 0.
int IsVirtualNIC(const SP_DEVINFO_DATA* deviceInfoData);
