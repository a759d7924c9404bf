// A team that cannot work is refused with a reason, before its members lose their bindings.
#include "team/nic_checks.h"

#include "device/adapter_driver.h"
#include "device/net_devices.h"
#include "device/windows_version.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"

#include <stdlib.h>

static const WCHAR OFFLOAD_ON[] = L"1";

static BOOL ValueEquals(HKEY key, LPCWSTR valueName, LPCWSTR text) {
    LPWSTR value = NULL;

    if (!ReadStringFromRegistry(key, valueName, &value))
        return FALSE;
    BOOL equal = wcscmp(value, text) == 0;
    free(value);
    return equal;
}

BOOL IsQuovaneNic(const AdapterEntry* nic) {
    WCHAR szGuid[GUID_CCH];
    NetDevice device;
    BOOL makers = FALSE;

    Trace(L"-->IsQuovaneNic: %s\n", nic->name);
    PrintGuid(&nic->guid, szGuid);
    HDEVINFO set = OpenNetDevices(NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--IsQuovaneNic: no device list\n");
        return FALSE;
    }
    if (FindNetAdapterByText(set, NET_ANY, szGuid, &device)) {
        makers = ValueEquals(device.driverKey, VALUE_PROVIDER, MAKER_NAME);
        RegCloseKey(device.driverKey);
    }
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--IsQuovaneNic: %d\n", makers);
    return makers;
}

int ValidateNICs(HWND hDlg, const TeamEntry* team) {
    Trace(L"-->ValidateNICs:\n");
    if (GetSheetData(hDlg) == NULL) {
        Trace(L"<--ValidateNICs: no state record\n");
        return NICS_NOT_OPENED;
    }
    for (int member = 0; member < team->numNics; member++) {
        if (!AdapterDriverOpens(&team->nicGuids[member])) {
            Trace(L"<--ValidateNICs: member %d\n", member);
            return NICS_NOT_OPENED;
        }
    }
    Trace(L"<--ValidateNICs:\n");
    return NICS_VALID;
}

static WalkStep VisitForOffload(NetDevice* device, void* context) {
    BOOL* offload = static_cast<BOOL*>(context);

    *offload = ValueEquals(device->driverKey, VALUE_PROVIDER, MAKER_NAME) &&
               ValueEquals(device->driverKey, VALUE_TCP_OFFLOAD, OFFLOAD_ON);
    return *offload ? WALK_STOP : WALK_NEXT;
}

// Windows XP x64 reports 5.2, and no 64-bit Windows reports 5.1: only an unknown version makes this
// FALSE.
static BOOL IsOtherThanWindowsXP(void) {
    OSVERSIONINFOW version;

    if (!ReadWindowsVersion(&version))
        return FALSE;
    return version.dwPlatformId != VER_PLATFORM_WIN32_NT || version.dwMajorVersion != 5 ||
           version.dwMinorVersion != 1;
}

BOOL IsWinXPAndOffload(HWND hDlg) {
    BOOL offload = FALSE;

    Trace(L"-->IsWinXPAndOffload:\n");
    if (IsOtherThanWindowsXP()) {
        Trace(L"<--IsWinXPAndOffload: another version\n");
        return FALSE;
    }
    HDEVINFO set = OpenNetDevices(hDlg);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--IsWinXPAndOffload: no device list\n");
        return FALSE;
    }
    WalkNetDevices(set, NET_PHYSICAL, VisitForOffload, &offload);
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--IsWinXPAndOffload: %d\n", offload);
    return offload;
}
