#include "machine.h"

#include "input.h"

#include <cfgmgr32.h>
#include <commctrl.h>
#include <devguid.h>
#include <ntddndis.h>
#include <setupapi.h>

#include "device/device_state.h"
#include "include/names.h"
#include "include/resource.h"

FuzzMachine g_machine;
const GUID GUID_DEVCLASS_NET = {0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1}};

// Wide open: what it stands for is the calls that the product makes.
struct FuzzOpenKey {
    FuzzKey* key;
    bool isRecords;
};

static DWORD g_lastError;
constexpr unsigned CALL_LIMIT = 100000;

void ResetMachine() {
    g_machine = FuzzMachine();
    g_machine.callLimit = CALL_LIMIT;
    g_lastError = 0;
}

void CheckAllClosed() {
    CHECK(g_machine.opened == 0);
}

static void CountCall() {
    g_machine.calls++;
    CHECK(g_machine.calls <= g_machine.callLimit);
}

static Name LowerCase(Name name) {
    for (WCHAR& character : name)
        character = character >= L'A' && character <= L'Z' ? character + 32 : character;
    return name;
}

FuzzKey& RecordKey(const Name& name) {
    return g_machine.keys[LowerCase(Name(MEMBER_RECORDS_KEY L"\\") + name)];
}

DWORD GetLastError() {
    return g_lastError;
}

void SetLastError(DWORD error) {
    g_lastError = error;
}

static BOOL Fail(DWORD error) {
    g_lastError = error;
    return FALSE;
}

// ---- registry

HKEY OpenFuzzKey(FuzzKey* key) {
    g_machine.opened++;
    return new FuzzOpenKey{key, false};
}

LONG RegCloseKey(HKEY key) {
    g_machine.opened--;
    delete key;
    return ERROR_SUCCESS;
}

LONG RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD, DWORD, HKEY* key) {
    CountCall();
    Name full = LowerCase(parent != nullptr ? Name(MEMBER_RECORDS_KEY L"\\") + path : Name(path));
    auto found = g_machine.keys.find(full);
    bool isRecords = full == LowerCase(MEMBER_RECORDS_KEY);
    if (found == g_machine.keys.end() && !isRecords)
        return ERROR_FILE_NOT_FOUND;
    FuzzKey& opened = g_machine.keys[full];
    if (opened.denied)
        return ERROR_ACCESS_DENIED;
    *key = OpenFuzzKey(&opened);
    (*key)->isRecords = isRecords;
    return ERROR_SUCCESS;
}

LONG RegCreateKeyExW(HKEY parent, LPCWSTR path, DWORD, LPWSTR, DWORD, DWORD access, void*,
                     HKEY* key, DWORD*) {
    CHECK(parent == nullptr);
    g_machine.keys[LowerCase(path)];
    return RegOpenKeyExW(parent, path, 0, access, key);
}

LONG RegDeleteKeyW(HKEY, LPCWSTR path) {
    return g_machine.keys.erase(LowerCase(path)) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

LONG RegEnumKeyW(HKEY key, DWORD index, LPWSTR name, DWORD cchName) {
    CountCall();
    CHECK_ROOM(name, cchName * sizeof(WCHAR));
    if (!key->isRecords || index >= g_machine.recordNames.size())
        return ERROR_NO_MORE_ITEMS;
    const Name& found = g_machine.recordNames[index];
    if (found.size() >= cchName)
        return ERROR_MORE_DATA;
    memcpy(name, found.c_str(), (found.size() + 1) * sizeof(WCHAR));
    return ERROR_SUCCESS;
}

// A call without a buffer gives the size. Bytes are written only when all of them fit, no more of them
// than there are.
LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, LPBYTE data, DWORD* cbData) {
    CountCall();
    if (data != nullptr)
        CHECK_ROOM(data, *cbData);
    auto found = key->key->values.find(LowerCase(name));
    if (found == key->key->values.end())
        return ERROR_FILE_NOT_FOUND;
    FuzzValue& value = found->second;
    if (type != nullptr)
        *type = value.type;
    DWORD cbStored = static_cast<DWORD>(value.bytes.size());
    LONG result = ERROR_SUCCESS;
    if (data != nullptr && *cbData < cbStored)
        result = ERROR_MORE_DATA;
    else if (data != nullptr && cbStored != 0)
        memcpy(data, value.bytes.data(), cbStored);
    *cbData = cbStored;
    if (data == nullptr && value.vanishes) {
        key->key->values.erase(found);
    } else if (data == nullptr && value.changes) {
        value.bytes = value.later;
        value.changes = false;
    }
    return result;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD cbData) {
    FuzzValue& value = key->key->values[LowerCase(name)];
    value = FuzzValue();
    value.type = type;
    value.bytes.assign(data, data + cbData);
    return ERROR_SUCCESS;
}

LONG RegDeleteValueW(HKEY key, LPCWSTR name) {
    return key->key->values.erase(LowerCase(name)) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

// ---- devices

HDEVINFO SetupDiGetClassDevsW(const GUID*, LPCWSTR, HWND, DWORD) {
    g_machine.opened++;
    return &g_machine.devices;
}

BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set) {
    CHECK(set == &g_machine.devices);
    g_machine.opened--;
    return TRUE;
}

BOOL SetupDiEnumDeviceInfo(HDEVINFO, DWORD index, SP_DEVINFO_DATA* data) {
    CountCall();
    CHECK(data->cbSize == sizeof(*data));
    if (index >= g_machine.devices.size())
        return Fail(ERROR_NO_MORE_ITEMS);
    data->DevInst = index + 1;
    return TRUE;
}

static FuzzDevice& DeviceOf(DWORD devInst) {
    CHECK(devInst >= 1 && devInst <= g_machine.devices.size());
    return g_machine.devices[devInst - 1];
}

CONFIGRET CM_Get_Device_IDW(DWORD devInst, LPWSTR id, ULONG cchId, ULONG) {
    CHECK_ROOM(id, cchId * sizeof(WCHAR));
    const FuzzDevice& device = DeviceOf(devInst);
    if (device.idResult != CR_SUCCESS)
        return device.idResult;
    if (device.instanceId.size() >= cchId) {
        memcpy(id, device.instanceId.c_str(), cchId * sizeof(WCHAR)); // without a terminator
        return CR_BUFFER_SMALL;
    }
    memcpy(id, device.instanceId.c_str(), (device.instanceId.size() + 1) * sizeof(WCHAR));
    return CR_SUCCESS;
}

HKEY SetupDiOpenDevRegKey(HDEVINFO, SP_DEVINFO_DATA* data, DWORD, DWORD, DWORD, DWORD) {
    FuzzDevice& device = DeviceOf(data->DevInst);
    if (device.keyMissing)
        return static_cast<HKEY>(INVALID_HANDLE_VALUE);
    return OpenFuzzKey(&device.driverKey);
}

// All of the property or nothing; its terminator is whatever was stored.
BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO, SP_DEVINFO_DATA* data, DWORD property, DWORD*,
                                       PBYTE buffer, DWORD cbBuffer, DWORD* cbRequired) {
    CHECK_ROOM(buffer, cbBuffer);
    FuzzDevice& device = DeviceOf(data->DevInst);
    auto found = device.properties.find(property);
    if (found == device.properties.end())
        return Fail(ERROR_NOT_FOUND);
    const std::vector<BYTE>& bytes = found->second.bytes;
    if (cbRequired != nullptr)
        *cbRequired = static_cast<DWORD>(bytes.size());
    if (bytes.size() > cbBuffer)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    if (!bytes.empty())
        memcpy(buffer, bytes.data(), bytes.size());
    return TRUE;
}

// A walk that only lists changes no device.
int ShowNIC(HKEY) {
    CHECK(!"changes a device");
}

int DisableEnableDevice(HDEVINFO, SP_DEVINFO_DATA*) {
    CHECK(!"changes a device");
}

int RemoveTeamDetails(HDEVINFO, SP_DEVINFO_DATA*) {
    CHECK(!"changes a device");
}

// ---- drivers

HANDLE CreateFileW(LPCWSTR path, DWORD, DWORD, void*, DWORD, DWORD, HANDLE) {
    CHECK(FuzzLength(path) == 4 + GUID_CCH - 1);
    if (!g_machine.driverOpens)
        return INVALID_HANDLE_VALUE;
    g_machine.opened++;
    return &g_machine.answers;
}

BOOL CloseHandle(HANDLE handle) {
    CHECK(handle == &g_machine.answers);
    g_machine.opened--;
    return TRUE;
}

// A driver writes into the caller's buffer as it likes, and says how much of it at will.
BOOL DeviceIoControl(HANDLE device, DWORD code, void* in, DWORD cbIn, void* out, DWORD cbOut,
                     DWORD* cbReturned, void*) {
    CHECK(device == &g_machine.answers && code == IOCTL_NDIS_QUERY_GLOBAL_STATS);
    CHECK(cbIn == sizeof(DWORD) && cbReturned != nullptr);
    CHECK_ROOM(out, cbOut);
    auto found = g_machine.answers.find(*static_cast<DWORD*>(in));
    if (found == g_machine.answers.end())
        return Fail(ERROR_NOT_SUPPORTED);
    const FuzzAnswer& answer = found->second;
    size_t cb = answer.bytes.size() < cbOut ? answer.bytes.size() : cbOut;
    if (cb != 0)
        memcpy(out, answer.bytes.data(), cb);
    *cbReturned = answer.claimed;
    return answer.error == ERROR_SUCCESS ? TRUE : Fail(answer.error);
}

// ---- INF files

HANDLE FindFirstFileW(LPCWSTR, WIN32_FIND_DATAW* file) {
    if (g_machine.infs.empty())
        return INVALID_HANDLE_VALUE;
    g_machine.opened++;
    size_t* next = new size_t(0);
    int failures = g_machine.findFailures;
    g_machine.findFailures = 0;
    FindNextFileW(next, file);
    g_machine.findFailures = failures;
    return next;
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* file) {
    CountCall();
    size_t* next = static_cast<size_t*>(search);
    if (g_machine.findFailures > 0) {
        g_machine.findFailures--;
        return Fail(ERROR_ACCESS_DENIED);
    }
    if (*next >= g_machine.infs.size())
        return Fail(ERROR_NO_MORE_FILES);
    const Name& name = g_machine.infs[(*next)++].fileName;
    CHECK(name.size() < ARRAYSIZE(file->cFileName));
    memcpy(file->cFileName, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
    return TRUE;
}

BOOL FindClose(HANDLE search) {
    g_machine.opened--;
    delete static_cast<size_t*>(search);
    return TRUE;
}

HINF SetupOpenInfFileW(LPCWSTR name, LPCWSTR, DWORD, UINT*) {
    for (FuzzInfFile& inf : g_machine.infs) {
        if (inf.opens && inf.fileName == name) {
            g_machine.opened++;
            return &inf;
        }
    }
    Fail(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
}

void SetupCloseInfFile(HINF) {
    g_machine.opened--;
}

BOOL SetupFindFirstLineW(HINF inf, LPCWSTR, LPCWSTR, INFCONTEXT* line) {
    line->Inf = inf;
    return !static_cast<FuzzInfFile*>(inf)->fields.empty();
}

// A field that does not fit is not copied.
BOOL SetupGetStringFieldW(INFCONTEXT* line, DWORD field, LPWSTR text, DWORD cchText, DWORD*) {
    CHECK_ROOM(text, cchText * sizeof(WCHAR));
    const auto& fields = static_cast<const FuzzInfFile*>(line->Inf)->fields;
    if (field > fields.size())
        return Fail(ERROR_NOT_FOUND);
    const Name& found = fields[field - 1];
    if (found.size() >= cchText)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    memcpy(text, found.c_str(), (found.size() + 1) * sizeof(WCHAR));
    return TRUE;
}

// ---- the rest of the system

void* VirtualAlloc(void*, size_t cb, DWORD, DWORD) {
    g_machine.opened++;
    return calloc(1, cb); // no page: its end is then watched
}

BOOL VirtualFree(void* at, size_t, DWORD) {
    g_machine.opened--;
    free(at);
    return TRUE;
}

BOOL GetVersionExW(OSVERSIONINFOW* version) {
    CHECK(version->dwOSVersionInfoSize == sizeof(*version));
    if (!g_machine.versionKnown)
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    *version = g_machine.version;
    return TRUE;
}

UINT GetSystemWindowsDirectoryW(LPWSTR directory, UINT cchDirectory) {
    CHECK_ROOM(directory, cchDirectory * sizeof(WCHAR));
    const Name& name = g_machine.windowsDirectory;
    if (g_machine.windowsDirectoryResult != 0)
        return g_machine.windowsDirectoryResult;
    if (name.size() >= cchDirectory)
        return static_cast<UINT>(name.size() + 1);
    memcpy(directory, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
    return static_cast<UINT>(name.size());
}

LONG_PTR GetWindowLongPtrW(HWND, int) {
    return reinterpret_cast<LONG_PTR>(g_machine.state);
}

HWND GetDlgItem(HWND, int id) {
    return reinterpret_cast<HWND>(static_cast<intptr_t>(id));
}

LRESULT SendMessageW(HWND window, UINT message, WPARAM, LPARAM) {
    LRESULT& count =
        window == GetDlgItem(nullptr, IDC_NIC_LIST) ? g_machine.listedNics : g_machine.listedTeams;
    if (message == LVM_GETITEMCOUNT)
        return count;
    return message == LVM_INSERTITEMW ? count++ : 0;
}

HDC GetDC(HWND) {
    return nullptr;
}

int ReleaseDC(HWND, HDC) {
    return 1;
}

BOOL GetTextExtentPoint32W(HDC, LPCWSTR, int, SIZE*) {
    return TRUE;
}
