// A driver is reached by the Win32 path of its adapter; the kernel object name does not open.
#include "device/adapter_driver.h"

#include "include/names.h"
#include "inventory/device_path.h"
#include "inventory/trace.h"

#include <stdlib.h>

HANDLE OpenAdapterDriver(const GUID* guid) {
    WCHAR szGuid[GUID_CCH];

    PrintGuid(guid, szGuid);
    Trace(L"-->OpenAdapterDriver: %s\n", szGuid);
    LPWSTR path = AddDosDevicePrefix(szGuid);
    if (path == NULL) {
        Trace(L"<--OpenAdapterDriver: no memory\n");
        return INVALID_HANDLE_VALUE;
    }
    HANDLE driver =
        CreateFileW(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_EXISTING, 0, NULL);
    free(path);
    Trace(L"<--OpenAdapterDriver: %d\n", driver != INVALID_HANDLE_VALUE);
    return driver;
}

BOOL AdapterDriverOpens(const GUID* guid) {
    HANDLE driver = OpenAdapterDriver(guid);

    if (driver == INVALID_HANDLE_VALUE)
        return FALSE;
    CloseHandle(driver);
    return TRUE;
}
