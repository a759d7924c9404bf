// An administrator reads here what the driver itself says at this moment.
#include "info/general_page.h"

#include "device/adapter_driver.h"
#include "device/windows_version.h"
#include "include/records.h"
#include "info/adapter_text.h"
#include "info/driver_query.h"
#include "info/info_list.h"
#include "info/offload_query.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

#include <prsht.h>
#include <stdlib.h>
#include <strsafe.h>

static const WCHAR INTERFACES_KEY[] = SERVICES_KEY L"\\Tcpip\\Parameters\\Interfaces";
static const WCHAR VALUE_IMAGE_PATH[] = L"ImagePath";
static const WCHAR VALUE_IP_ADDRESS[] = L"IPAddress";

constexpr int LIST_CX = 350; // pixels
constexpr int LIST_CY = 295;
static const InfoColumn columns[] = {{L"Information", 100}, {L"Value", 250}};

// Room for the longer of the two keys and a name below it.
constexpr size_t CONFIGURED_PATH_CCH = ARRAYSIZE(INTERFACES_KEY) + NAME_CCH;

// The first string of a value below "base\name", cut to the page's width. A key that is missing is
// made, which is accepted.
static void ReadConfiguredText(LPCWSTR base, LPCWSTR name, LPCWSTR valueName, LPWSTR text) {
    WCHAR szPath[CONFIGURED_PATH_CCH];
    LPWSTR value = NULL;
    HKEY key;

    Trace(L"-->ReadConfiguredText: %s\n", name);
    StringCchCopyW(text, VALUE_CCH, TEXT_UNKNOWN);
    if (!FormKeyPath(szPath, ARRAYSIZE(szPath), base, name)) {
        Trace(L"<--ReadConfiguredText: no path\n");
        return;
    }
    LONG lResult =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, szPath, 0, NULL, 0, KEY_ALL_ACCESS, NULL, &key, NULL);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--ReadConfiguredText: no key %d\n", lResult);
        return;
    }
    if (ReadStringFromRegistry(key, valueName, &value)) {
        StringCchPrintfW(text, VALUE_CCH, L"%s", value);
        free(value);
    }
    RegCloseKey(key);
    Trace(L"<--ReadConfiguredText: %s\n", text);
}

static void AskMtu(HANDLE device, LPWSTR text) {
    DWORD mtu;

    if (GetDeviceMTU(&device, &mtu))
        StringCchPrintfW(text, VALUE_CCH, L"%d", mtu);
    else
        StringCchCopyW(text, VALUE_CCH, TEXT_UNKNOWN);
}

// One adapter being shown; a row of the page asks it for its value.
struct GeneralSource {
    HANDLE device;
    DeviceProperties properties;
    const AdapterEntry* entry;
    const AdapterDetails* details;
};

typedef void (*GeneralValue)(const GeneralSource* source, LPWSTR text);

static void AdapterName(const GeneralSource* source, LPWSTR text) {
    StringCchPrintfW(text, VALUE_CCH, L"%s", source->entry->name);
}

static void CurrentAddress(const GeneralSource* source, LPWSTR text) {
    WordAddress(text, source->properties.currentAddress);
}

static void PermanentAddress(const GeneralSource* source, LPWSTR text) {
    WordAddress(text, source->properties.permanentAddress);
}

static void LinkSpeed(const GeneralSource* source, LPWSTR text) {
    OSVERSIONINFOW version;
    DWORD major = ReadWindowsVersion(&version) ? version.dwMajorVersion : 0;

    WordLinkSpeed(text, source->properties.linkSpeed, major);
}

static void LinkStatus(const GeneralSource* source, LPWSTR text) {
    StringCchCopyW(text, VALUE_CCH, LinkStatusText(source->properties.mediaConnectStatus));
}

static void DriverName(const GeneralSource* source, LPWSTR text) {
    ReadConfiguredText(SERVICES_KEY, source->details->service, VALUE_IMAGE_PATH, text);
}

static void DriverState(const GeneralSource* source, LPWSTR text) {
    WordDriverState(text, source->details->installState);
}

static void DriverDate(const GeneralSource* source, LPWSTR text) {
    StringCchPrintfW(text, VALUE_CCH, L"%s", source->details->driverDate);
}

static void DriverVersion(const GeneralSource* source, LPWSTR text) {
    StringCchPrintfW(text, VALUE_CCH, L"%s", source->details->driverVersion);
}

static void IpAddress(const GeneralSource* source, LPWSTR text) {
    WCHAR szGuid[GUID_CCH];

    PrintGuid(&source->entry->guid, szGuid);
    ReadConfiguredText(INTERFACES_KEY, szGuid, VALUE_IP_ADDRESS, text);
}

static void Offload(const GeneralSource* source, LPWSTR text) {
    AskOffload(source->device, text);
}

static void Mtu(const GeneralSource* source, LPWSTR text) {
    AskMtu(source->device, text);
}

static const struct {
    LPCWSTR label;
    GeneralValue value;
} rows[] = {
    {L"Adapter Name", AdapterName},
    {L"Current MAC Address", CurrentAddress},
    {L"Permanent MAC Address", PermanentAddress},
    {L"Link Speed", LinkSpeed},
    {L"Link Status", LinkStatus},
    {L"Driver Name", DriverName},
    {L"Driver State", DriverState},
    {L"Driver Date", DriverDate},
    {L"Driver Version", DriverVersion},
    {L"IP Address", IpAddress},
    {L"Offload Capabilities", Offload},
    {L"MTU", Mtu},
};

static void FillList(HWND list, GeneralSource* source) {
    WCHAR szValue[VALUE_CCH];

    if (!GetDeviceProperties(&source->device, &source->properties)) {
        Trace(L"   OnInitPropertiesDialog: the driver does not answer\n");
        return;
    }
    for (int row = 0; row < static_cast<int>(ARRAYSIZE(rows)); row++) {
        rows[row].value(source, szValue);
        InsertInfoRow(list, row, rows[row].label, szValue);
    }
}

int OnInitPropertiesDialog(HWND hDlg) {
    Trace(L"-->OnInitPropertiesDialog:\n");
    if (GetSheetData(hDlg) == NULL) {
        Trace(L"<--OnInitPropertiesDialog: no state record\n");
        return 0;
    }
    DestroyInfoList(hDlg);
    HWND list = CreateInfoList(hDlg, L"General", LIST_CX, LIST_CY, columns);
    SelectedAdapter selected = GetSelectedAdapter();
    GeneralSource source = {INVALID_HANDLE_VALUE, {}, selected.entry, selected.details};
    if (selected.entry != NULL)
        source.device = OpenAdapterDriver(&selected.entry->guid);
    if (source.device == INVALID_HANDLE_VALUE) {
        Trace(L"<--OnInitPropertiesDialog: no driver\n");
        return 0;
    }
    FillList(list, &source);
    CloseHandle(source.device);
    Trace(L"<--OnInitPropertiesDialog:\n");
    return 0;
}

static INT_PTR OnNotify(HWND hDlg, const NMHDR* header) {
    switch (header->code) {
    case PSN_SETACTIVE:
        SetWindowLongPtrW(hDlg, DWLP_MSGRESULT, PSNRET_NOERROR);
        OnInitPropertiesDialog(hDlg);
        return TRUE;
    case PSN_KILLACTIVE:
    case PSN_APPLY:
        SetWindowLongPtrW(hDlg, DWLP_MSGRESULT, PSNRET_NOERROR);
        return TRUE;
    default:
        return FALSE;
    }
}

INT_PTR CALLBACK QvPropertiesDialogProc(HWND hDlg, UINT uMsg, WPARAM, LPARAM lParam) {
    if (uMsg == WM_INITDIALOG) {
        SetWindowLongPtrW(hDlg, DWLP_USER, reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
        OnInitPropertiesDialog(hDlg);
        return TRUE;
    }
    if (GetSheetData(hDlg) == NULL)
        return FALSE;

    switch (uMsg) {
    case WM_NOTIFY:
        return OnNotify(hDlg, reinterpret_cast<const NMHDR*>(lParam));
    case WM_DESTROY:
        SetWindowLongPtrW(hDlg, DWLP_USER, 0);
        return FALSE;
    default:
        return FALSE;
    }
}
