// A device is found for a GUID only by opening the driver key of each network device in turn.
// That loop, with its handles and its skips, is written once.
#include "device/net_devices.h"

#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"

#include <cfgmgr32.h>
#include <devguid.h>
#include <stdlib.h>

static const WCHAR ROOT_PREFIX[] = L"ROOT\\";
static const WCHAR ROOT_NET_PREFIX[] = L"ROOT\\NET\\";

constexpr ULONG INSTANCE_ID_CCH = 200;

static BOOL InstanceIdBeginsWith(const SP_DEVINFO_DATA* data, LPCWSTR prefix, size_t cchPrefix) {
    WCHAR szInstanceId[INSTANCE_ID_CCH] = {};

    CONFIGRET cr = CM_Get_Device_IDW(data->DevInst, szInstanceId, INSTANCE_ID_CCH, 0);
    if (cr != CR_SUCCESS) {
        Trace(L"   InstanceIdBeginsWith: CM_Get_Device_ID failed 0x%x\n", cr);
        szInstanceId[0] = L'\0';
    }
    return _wcsnicmp(szInstanceId, prefix, cchPrefix) == 0;
}

int IsPhysicalNIC(const SP_DEVINFO_DATA* deviceInfoData) {
    Trace(L"-->IsPhysicalNIC:\n");
    int physical = !InstanceIdBeginsWith(deviceInfoData, ROOT_PREFIX, ARRAYSIZE(ROOT_PREFIX) - 1);
    Trace(L"<--IsPhysicalNIC: %d\n", physical);
    return physical;
}

int IsVirtualNIC(const SP_DEVINFO_DATA* deviceInfoData) {
    Trace(L"-->IsVirtualNIC:\n");
    int isVirtual =
        InstanceIdBeginsWith(deviceInfoData, ROOT_NET_PREFIX, ARRAYSIZE(ROOT_NET_PREFIX) - 1);
    Trace(L"<--IsVirtualNIC: %d\n", isVirtual);
    return isVirtual;
}

HDEVINFO OpenNetDevices(HWND parent) {
    Trace(L"-->OpenNetDevices:\n");
    HDEVINFO set = SetupDiGetClassDevsW(&GUID_DEVCLASS_NET, NULL, parent, DIGCF_PRESENT);
    if (set == INVALID_HANDLE_VALUE)
        Trace(L"   OpenNetDevices: GetClassDevs failed %d\n", GetLastError());
    Trace(L"<--OpenNetDevices:\n");
    return set;
}

static BOOL ClassifyDevice(NetDevice* device, DWORD kinds) {
    if (kinds & NET_ANY)
        return TRUE;
    if ((kinds & NET_PHYSICAL) && IsPhysicalNIC(&device->data)) {
        device->isPhysical = TRUE;
        return TRUE;
    }
    return (kinds & NET_VIRTUAL) && IsVirtualNIC(&device->data);
}

void WalkNetDevices(HDEVINFO set, DWORD kinds, NetDeviceVisitor visit, void* context) {
    NetDevice device = {};

    Trace(L"-->WalkNetDevices:\n");
    device.set = set;
    device.data.cbSize = sizeof(device.data);
    for (DWORD dwIndex = 0; SetupDiEnumDeviceInfo(set, dwIndex, &device.data); dwIndex++) {
        device.isPhysical = FALSE;
        if (!ClassifyDevice(&device, kinds))
            continue;
        device.driverKey =
            SetupDiOpenDevRegKey(set, &device.data, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_ALL_ACCESS);
        if (device.driverKey == INVALID_HANDLE_VALUE) {
            Trace(L"   WalkNetDevices: OpenDevRegKey failed %d\n", GetLastError());
            continue;
        }
        WalkStep step = visit(&device, context);
        if (step != WALK_STOP_KEEP_KEY)
            RegCloseKey(device.driverKey);
        if (step != WALK_NEXT)
            break;
    }
    Trace(L"<--WalkNetDevices:\n");
}

struct AdapterWalk {
    NetAdapterVisitor visit;
    void* context;
};

static WalkStep VisitAdapter(NetDevice* device, void* context) {
    AdapterWalk* walk = static_cast<AdapterWalk*>(context);
    LPWSTR instanceId = NULL;

    if (!ReadStringFromRegistry(device->driverKey, VALUE_INSTANCE_ID, &instanceId)) {
        Trace(L"   VisitAdapter: ReadStringFromRegistry for GUID fialed\n");
        return WALK_NEXT;
    }
    WalkStep step = walk->visit(device, instanceId, walk->context);
    free(instanceId);
    return step;
}

void WalkNetAdapters(HDEVINFO set, DWORD kinds, NetAdapterVisitor visit, void* context) {
    AdapterWalk walk = {visit, context};

    Trace(L"-->WalkNetAdapters:\n");
    WalkNetDevices(set, kinds, VisitAdapter, &walk);
    Trace(L"<--WalkNetAdapters:\n");
}

struct AdapterSearch {
    const GUID* guid; // NULL: compare the text
    LPCWSTR text;
    NetDevice* found;
    BOOL isFound;
};

static WalkStep VisitSearched(NetDevice* device, LPCWSTR instanceId, void* context) {
    AdapterSearch* search = static_cast<AdapterSearch*>(context);
    GUID guid;

    BOOL matches = search->guid != NULL
                       ? ParseGuid(instanceId, &guid) && IsEqualGUID(guid, *search->guid)
                       : wcscmp(instanceId, search->text) == 0;
    if (!matches)
        return WALK_NEXT;
    *search->found = *device;
    search->isFound = TRUE;
    return WALK_STOP_KEEP_KEY;
}

BOOL FindNetAdapter(HDEVINFO set, DWORD kinds, const GUID* guid, NetDevice* found) {
    AdapterSearch search = {guid, NULL, found, FALSE};

    Trace(L"-->FindNetAdapter:\n");
    WalkNetAdapters(set, kinds, VisitSearched, &search);
    Trace(L"<--FindNetAdapter: %d\n", search.isFound);
    return search.isFound;
}

BOOL FindNetAdapterByText(HDEVINFO set, DWORD kinds, LPCWSTR instanceId, NetDevice* found) {
    AdapterSearch search = {NULL, instanceId, found, FALSE};

    Trace(L"-->FindNetAdapterByText: %s\n", instanceId);
    WalkNetAdapters(set, kinds, VisitSearched, &search);
    Trace(L"<--FindNetAdapterByText: %d\n", search.isFound);
    return search.isFound;
}

BOOL ReadDeviceName(HDEVINFO set, SP_DEVINFO_DATA* data, LPWSTR name, size_t cchName,
                    DWORD cbRead) {
    static const DWORD properties[] = {SPDRP_FRIENDLYNAME, SPDRP_DEVICEDESC};

    Trace(L"-->ReadDeviceName:\n");
    for (DWORD property : properties) {
        ZeroMemory(name, cchName * sizeof(WCHAR));
        if (SetupDiGetDeviceRegistryPropertyW(set, data, property, NULL,
                                              reinterpret_cast<PBYTE>(name), cbRead, NULL)) {
            Trace(L"<--ReadDeviceName: %s\n", name);
            return TRUE;
        }
    }
    name[0] = L'\0';
    Trace(L"<--ReadDeviceName: no name %d\n", GetLastError());
    return FALSE;
}
