// Every other room addresses adapters by the row numbers that this walk hands out.
#include "inventory/adapters.h"

#include "device/device_state.h"
#include "device/net_devices.h"
#include "include/names.h"
#include "include/resource.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/tables.h"
#include "inventory/trace.h"
#include "team/member_check.h"

#include <commctrl.h>
#include <stdlib.h>
#include <strsafe.h>

constexpr DWORD DEVICE_NAME_CB = 512;
constexpr int APPEND_AT_END = 65535;

// A list box's message: list views ignore it, and the column keeps its width.
constexpr UINT SET_HORIZONTAL_EXTENT = 0x194;

// One list view with the table that it shows.
struct AdapterList {
    HWND view;
    AdapterEntry* entries;
    AdapterDetails* details;
    int capacity;
    size_t cchLongest; // longest name so far
};

struct Population {
    int mode;
    const GUID* guid;
    AdapterList nics;
    AdapterList teams;
};

static BOOL IsMakersTeamAdapter(HKEY driverKey) {
    LPWSTR provider = NULL;
    DWORD vlanId;

    if (!ReadStringFromRegistry(driverKey, VALUE_PROVIDER, &provider))
        return FALSE;
    BOOL makers = _wcsnicmp(provider, MAKER_NAME, ARRAYSIZE(MAKER_NAME) - 1) == 0;
    free(provider);
    return makers && !ReadDwordFromRegistry(driverKey, VALUE_VLAN_ID, &vlanId);
}

static void MeasureName(AdapterList* list, LPCWSTR name) {
    SIZE size = {};
    size_t cchName = wcslen(name);

    if (cchName <= list->cchLongest)
        return;
    list->cchLongest = cchName;
    HDC dc = GetDC(list->view);
    if (dc == NULL)
        return;
    GetTextExtentPoint32W(dc, name, static_cast<int>(cchName), &size);
    ReleaseDC(list->view, dc);
    SendMessageW(list->view, SET_HORIZONTAL_EXTENT, size.cx, 0);
}

static void CopyDriverText(HKEY driverKey, LPCWSTR valueName, LPWSTR text) {
    LPWSTR value = NULL;

    if (!ReadStringFromRegistry(driverKey, valueName, &value))
        return;
    StringCchPrintfW(text, NAME_CCH, L"%s", value);
    free(value);
}

// What cannot be read leaves the row's entry as it was.
static void FillDetails(AdapterDetails* details, NetDevice* device) {
    WCHAR szService[NAME_CCH + 1] = {};
    DWORD installState = 0;

    if (SetupDiGetDeviceRegistryPropertyW(device->set, &device->data, SPDRP_SERVICE, NULL,
                                          reinterpret_cast<PBYTE>(szService),
                                          NAME_CCH * sizeof(WCHAR), NULL))
        StringCchCopyW(details->service, NAME_CCH, szService);
    if (SetupDiGetDeviceRegistryPropertyW(device->set, &device->data, SPDRP_INSTALL_STATE, NULL,
                                          reinterpret_cast<PBYTE>(&installState),
                                          sizeof(installState), NULL))
        details->installState = installState;
    CopyDriverText(device->driverKey, VALUE_DRIVER_DATE, details->driverDate);
    CopyDriverText(device->driverKey, VALUE_DRIVER_VERSION, details->driverVersion);
}

// The row of the new item, or -1. A full table takes no more items, so that every row number is an
// item index of the list.
static int InsertRow(AdapterList* list) {
    LVITEMW item = {};

    int count = static_cast<int>(SendMessageW(list->view, LVM_GETITEMCOUNT, 0, 0));
    if (count >= list->capacity) {
        Trace(L"   InsertRow: the table is full\n");
        return -1;
    }
    item.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM | LVIF_STATE | LVIF_DI_SETITEM;
    item.iItem = APPEND_AT_END;
    item.pszText = LPSTR_TEXTCALLBACKW;
    int row = static_cast<int>(
        SendMessageW(list->view, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
    return row < list->capacity ? row : -1;
}

static void ListAdapter(Population* population, NetDevice* device, LPCWSTR instanceId) {
    WCHAR szName[DEVICE_NAME_CB / sizeof(WCHAR) + 1];

    if (!ReadDeviceName(device->set, &device->data, szName, ARRAYSIZE(szName), DEVICE_NAME_CB))
        return;
    if (device->isPhysical && IsNICTeamed(device->driverKey))
        return;

    AdapterList* list = device->isPhysical ? &population->nics : &population->teams;
    int row = InsertRow(list);
    if (row < 0)
        return;
    ParseGuid(instanceId, &list->entries[row].guid);
    StringCchCopyW(list->entries[row].name, NAME_CCH, szName);
    MeasureName(list, szName);
    FillDetails(&list->details[row], device);
}

static void RemoveTeamAdapter(NetDevice* device, LPCWSTR instanceId) {
    DeleteConnectionKey(instanceId);
    if (!RemoveTeamDetails(device->set, &device->data))
        Trace(L"   RemoveTeamAdapter: not removed 0x%x\n", GetLastError());
}

static WalkStep VisitForPopulation(NetDevice* device, LPCWSTR instanceId, void* context) {
    Population* population = static_cast<Population*>(context);
    GUID guid;

    if (!device->isPhysical && !IsMakersTeamAdapter(device->driverKey))
        return WALK_NEXT;
    if (population->mode == POPULATE_LISTS) {
        ListAdapter(population, device, instanceId);
        return WALK_NEXT;
    }

    if (!ParseGuid(instanceId, &guid) || !IsEqualGUID(guid, *population->guid))
        return WALK_NEXT;
    if (population->mode == POPULATE_SHOW_NIC && device->isPhysical) {
        ShowNIC(device->driverKey);
        DisableEnableDevice(device->set, &device->data);
        return WALK_STOP;
    }
    if (population->mode == POPULATE_REMOVE_TEAM && !device->isPhysical) {
        RemoveTeamAdapter(device, instanceId);
        return WALK_STOP;
    }
    return WALK_NEXT;
}

int PopulateGuids(HWND hDlg, int mode, const GUID* pGuid) {
    Trace(L"-->PopulateGuids: %d\n", mode);
    if (GetSheetData(hDlg) == NULL) {
        Trace(L"<--PopulateGuids: no state record\n");
        return 0;
    }
    HDEVINFO set = OpenNetDevices(hDlg);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--PopulateGuids: no device list\n");
        return 0;
    }
    Population population = {
        mode,
        pGuid,
        {GetDlgItem(hDlg, IDC_NIC_LIST), g_nics, g_nicDetails, MAX_NIC_ROWS, 0},
        {GetDlgItem(hDlg, IDC_TEAM_LIST), g_teamAdapters, g_teamAdapterDetails, MAX_TEAM_ROWS, 0}};
    WalkNetAdapters(set, NET_PHYSICAL | NET_VIRTUAL, VisitForPopulation, &population);
    SetupDiDestroyDeviceInfoList(set);
    Trace(L"<--PopulateGuids:\n");
    return 1;
}
