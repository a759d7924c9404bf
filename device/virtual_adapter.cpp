// A virtual adapter becomes usable only after a fixed sequence of installer calls, and one
// that cannot be finished must not be left half made.
#include "device/virtual_adapter.h"

#include "device/net_devices.h"
#include "device/windows_version.h"
#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/registry.h"
#include "inventory/trace.h"

#include <newdev.h>
#include <stdlib.h>
#include <strsafe.h>

constexpr size_t CLASS_NAME_CCH = 32;
constexpr size_t FRIENDLY_NAME_CCH = 128; // written and read as exactly this many characters
constexpr DWORD FRIENDLY_NAME_CB = FRIENDLY_NAME_CCH * sizeof(WCHAR);

// A multi-string: the literal's own terminator is the second of the two.
static const WCHAR hardwareIds[] = MINIPORT_HARDWARE_ID L"\0";

// An entry point of newdev.dll, or NULL: which ones exist depends on the Windows version.
static void* FindProc(HMODULE module, LPCSTR name) {
    FARPROC proc = GetProcAddress(module, name);
    if (proc == NULL)
        Trace(L"   FindProc: %S is missing\n", name);
    return reinterpret_cast<void*>(proc);
}

// The path of an INF in full, PATH_CCH characters. FALSE sets the last error.
static BOOL FullInfPath(LPCWSTR infPath, LPWSTR fullPath) {
    DWORD cchFull = GetFullPathNameW(infPath, PATH_CCH, fullPath, NULL);
    if (cchFull == 0)
        return FALSE;
    if (cchFull >= PATH_CCH) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return FALSE;
    }
    return TRUE;
}

static BOOL SelectDriver(HDEVINFO set, SP_DEVINFO_DATA* data) {
    SP_DRVINFO_DATA_V2_W driver = {};

    driver.cbSize = sizeof(driver);
    if (!SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, set, data)) {
        Trace(L"   SelectDriver: no compatible driver 0x%x\n", GetLastError());
        return FALSE;
    }
    if (!SetupDiGetSelectedDriverW(set, data, reinterpret_cast<PSP_DRVINFO_DATA_W>(&driver))) {
        Trace(L"   SelectDriver: GetSelectedDriver failed 0x%x\n", GetLastError());
        return FALSE;
    }
    return TRUE;
}

static int InstallFromDriverList(HDEVINFO set, SP_DEVINFO_DATA* data,
                                 InstallSelectedDriverFn installSelectedDriver) {
    DWORD rebootFlags = 0;

    if (!SelectDriver(set, data))
        return 0;
    if (!installSelectedDriver(NULL, set, NULL, FALSE, &rebootFlags)) {
        Trace(L"   InstallFromDriverList: InstallSelectedDriver failed 0x%x\n", GetLastError());
        return 0;
    }
    if (rebootFlags & (DI_NEEDRESTART | DI_NEEDREBOOT))
        Trace(L"   InstallFromDriverList: the system needs a restart\n");
    return 1;
}

int InstallSelectedDriverForWinXPS03(HWND hwnd, LPCWSTR hardwareId, LPCWSTR fullInfPath,
                                     HDEVINFO deviceInfoSet, SP_DEVINFO_DATA* deviceInfoData,
                                     InstallSelectedDriverFn installSelectedDriver) {
    SP_DEVINSTALL_PARAMS_W params = {};

    Trace(L"-->InstallSelectedDriverForWinXPS03:\n");
    (void)hwnd;
    (void)hardwareId;
    params.cbSize = sizeof(params);
    if (!SetupDiSetSelectedDevice(deviceInfoSet, deviceInfoData) ||
        !SetupDiGetDeviceInstallParamsW(deviceInfoSet, deviceInfoData, &params)) {
        Trace(L"<--InstallSelectedDriverForWinXPS03: device not selected 0x%x\n", GetLastError());
        return 0;
    }
    params.Flags |= DI_ENUMSINGLEINF;
    // The miniport's INF excludes it from selection.
    params.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
    if (FAILED(StringCchCopyW(params.DriverPath, ARRAYSIZE(params.DriverPath), fullInfPath))) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        Trace(L"<--InstallSelectedDriverForWinXPS03: path too long\n");
        return 0;
    }
    if (!SetupDiSetDeviceInstallParamsW(deviceInfoSet, deviceInfoData, &params) ||
        !SetupDiBuildDriverInfoList(deviceInfoSet, deviceInfoData, SPDIT_COMPATDRIVER)) {
        Trace(L"<--InstallSelectedDriverForWinXPS03: no driver list 0x%x\n", GetLastError());
        return 0;
    }

    int installed = InstallFromDriverList(deviceInfoSet, deviceInfoData, installSelectedDriver);
    DWORD dwError = GetLastError();
    SetupDiDestroyDriverInfoList(deviceInfoSet, deviceInfoData, SPDIT_COMPATDRIVER);
    SetLastError(dwError);
    Trace(L"<--InstallSelectedDriverForWinXPS03: %d\n", installed);
    return installed;
}

static BOOL IsWindows5(void) {
    OSVERSIONINFOW version;

    return ReadWindowsVersion(&version) && version.dwMajorVersion == 5;
}

// Tries the routes that newdev.dll has, in order. The last error tells about the last route tried.
static int InstallThrough(HMODULE newdev, LPCWSTR fullInfPath, HDEVINFO set,
                          SP_DEVINFO_DATA* data) {
    auto diInstallDevice = reinterpret_cast<DiInstallDeviceFn>(FindProc(newdev, "DiInstallDevice"));
    auto installSelectedDriver =
        reinterpret_cast<InstallSelectedDriverFn>(FindProc(newdev, "InstallSelectedDriver"));
    auto updateDriver =
        reinterpret_cast<UpdateDriverFn>(FindProc(newdev, "UpdateDriverForPlugAndPlayDevicesW"));
    DWORD dwError = ERROR_PROC_NOT_FOUND;

    if (IsWindows5() && installSelectedDriver != NULL) {
        if (InstallSelectedDriverForWinXPS03(NULL, MINIPORT_HARDWARE_ID, fullInfPath, set, data,
                                             installSelectedDriver))
            return INSTALL_OK;
        dwError = GetLastError();
    }
    if (diInstallDevice != NULL) {
        if (diInstallDevice(NULL, set, data, NULL, 0, NULL))
            return INSTALL_OK;
        dwError = GetLastError();
        Trace(L"   InstallThrough: DiInstallDevice failed 0x%x\n", dwError);
    }
    if (updateDriver == NULL) {
        SetLastError(dwError);
        return INSTALL_FAILED;
    }
    // Success whatever it says: the device is registered, and Windows finishes it when it can.
    if (!updateDriver(NULL, MINIPORT_HARDWARE_ID, fullInfPath, INSTALLFLAG_FORCE, NULL))
        Trace(L"   InstallThrough: the forced update failed 0x%x\n", GetLastError());
    return INSTALL_OK;
}

int cmdUpdate(HWND hwnd, LPCWSTR hardwareId, LPCWSTR infPath, HDEVINFO deviceInfoSet,
              SP_DEVINFO_DATA* deviceInfoData) {
    WCHAR szFullPath[PATH_CCH];

    Trace(L"-->cmdUpdate: %s\n", infPath);
    (void)hwnd;
    (void)hardwareId;
    if (!FullInfPath(infPath, szFullPath) ||
        GetFileAttributesW(szFullPath) == INVALID_FILE_ATTRIBUTES) {
        Trace(L"<--cmdUpdate: no INF file %d\n", GetLastError());
        return INSTALL_FAILED;
    }
    HMODULE newdev = LoadLibraryW(L"newdev.dll");
    if (newdev == NULL) {
        Trace(L"<--cmdUpdate: no newdev.dll %d\n", GetLastError());
        return INSTALL_FAILED;
    }
    int failcode = InstallThrough(newdev, szFullPath, deviceInfoSet, deviceInfoData);
    DWORD dwError = GetLastError();
    FreeLibrary(newdev);
    SetLastError(dwError);
    Trace(L"<--cmdUpdate: %d\n", failcode);
    return failcode;
}

// Names the adapter; name receives what the system then reports, terminated.
static void NameAdapter(HDEVINFO set, SP_DEVINFO_DATA* data, WCHAR (&name)[FRIENDLY_NAME_CCH + 1]) {
    if (!SetupDiSetDeviceRegistryPropertyW(set, data, SPDRP_FRIENDLYNAME,
                                           reinterpret_cast<const BYTE*>(name), FRIENDLY_NAME_CB))
        Trace(L"   NameAdapter: name not set 0x%x\n", GetLastError());
    if (!ReadDeviceName(set, data, name, ARRAYSIZE(name), FRIENDLY_NAME_CB))
        Trace(L"   NameAdapter: name not read\n");
}

// Drives and names a registered device. On failure the caller removes it.
static int FinishAdapter(HDEVINFO set, SP_DEVINFO_DATA* data, LPCWSTR infPath, LPWSTR friendlyName,
                         GUID* instanceGuid) {
    WCHAR szName[FRIENDLY_NAME_CCH + 1] = {};
    LPWSTR instanceId = NULL;

    if (cmdUpdate(NULL, MINIPORT_HARDWARE_ID, infPath, set, data) != INSTALL_OK)
        return INSTALL_FAILED;
    StringCchCopyW(szName, FRIENDLY_NAME_CCH, friendlyName);
    NameAdapter(set, data, szName);

    HKEY driverKey =
        SetupDiOpenDevRegKey(set, data, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_ALL_ACCESS);
    if (driverKey == INVALID_HANDLE_VALUE) {
        Trace(L"   FinishAdapter: no driver key 0x%x\n", GetLastError());
        return INSTALL_FAILED;
    }
    LONG lResult = QueryTextValue(driverKey, VALUE_INSTANCE_ID, 1, &instanceId, NULL);
    RegCloseKey(driverKey);
    if (lResult == QUERY_NO_MEMORY) {
        // The adapter works; it would be worse to take it away again for want of a few bytes.
        Trace(L"   FinishAdapter: no memory for the instance id\n");
        return INSTALL_OK;
    }
    if (lResult != ERROR_SUCCESS) {
        Trace(L"   FinishAdapter: no instance id %d\n", lResult);
        SetLastError(lResult);
        return INSTALL_FAILED;
    }
    ParseGuid(instanceId, instanceGuid);
    free(instanceId);
    StringCchCopyW(friendlyName, NAME_CCH, szName);
    return INSTALL_OK;
}

// Registers a device in the set and finishes it; removes it again when that fails.
static int CreateAdapter(HDEVINFO set, const GUID* classGuid, LPCWSTR className, LPCWSTR infPath,
                         LPWSTR friendlyName, GUID* instanceGuid) {
    SP_DEVINFO_DATA data = {};

    data.cbSize = sizeof(data);
    if (!SetupDiCreateDeviceInfoW(set, className, classGuid, NULL, NULL,
                                  DICD_GENERATE_ID | DICD_INHERIT_CLASSDRVS, &data) ||
        !SetupDiSetDeviceRegistryPropertyW(set, &data, SPDRP_HARDWAREID,
                                           reinterpret_cast<const BYTE*>(hardwareIds),
                                           sizeof(hardwareIds)) ||
        !SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, &data)) {
        Trace(L"   CreateAdapter: not registered 0x%x\n", GetLastError());
        return INSTALL_FAILED;
    }

    int failcode = FinishAdapter(set, &data, infPath, friendlyName, instanceGuid);
    if (failcode != INSTALL_OK) {
        DWORD dwError = GetLastError();
        if (!SetupDiCallClassInstaller(DIF_REMOVE, set, &data))
            Trace(L"   CreateAdapter: not removed 0x%x\n", GetLastError());
        SetLastError(dwError);
    }
    return failcode;
}

int cmdInstall(LPCWSTR hardwareId, LPCWSTR infPath, LPWSTR friendlyName, GUID* instanceGuid) {
    WCHAR szFullPath[PATH_CCH];
    WCHAR szClassName[CLASS_NAME_CCH];
    GUID classGuid;

    Trace(L"-->cmdInstall: %s\n", infPath);
    (void)hardwareId;
    if (!FullInfPath(infPath, szFullPath) ||
        !SetupDiGetINFClassW(szFullPath, &classGuid, szClassName, ARRAYSIZE(szClassName), NULL)) {
        Trace(L"<--cmdInstall: no INF class 0x%x\n", GetLastError());
        return INSTALL_FAILED;
    }
    HDEVINFO set = SetupDiCreateDeviceInfoList(&classGuid, NULL);
    if (set == INVALID_HANDLE_VALUE) {
        Trace(L"<--cmdInstall: no device list 0x%x\n", GetLastError());
        return INSTALL_FAILED;
    }
    int failcode = CreateAdapter(set, &classGuid, szClassName, infPath, friendlyName, instanceGuid);
    DWORD dwError = GetLastError();
    SetupDiDestroyDeviceInfoList(set);
    SetLastError(dwError);
    Trace(L"<--cmdInstall: %d\n", failcode);
    return failcode;
}
