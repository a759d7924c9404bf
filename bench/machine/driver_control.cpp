#include "driver_control.h"

#include "../driver/qvnic_ioctl.h"
#include "files.h"

#include <windows.h>
#include <winioctl.h>

using namespace qvmachine;

// The driver's process needs about a quarter of a second.
constexpr int kStartMilliseconds = 15000;
constexpr int kPollMilliseconds = 5;

static const std::wstring kLeaf = QVNIC_SERVICE L".sys";

static bool Sync() {
    HANDLE device = CreateFileW(QVNIC_CONTROL_PATH, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, 0, nullptr);
    if (device == INVALID_HANDLE_VALUE) {
        return false;
    }
    DWORD bytes = 0;
    const bool done =
        DeviceIoControl(device, QVNIC_IOCTL_SYNC, nullptr, 0, nullptr, 0, &bytes, nullptr);
    CloseHandle(device);
    return done;
}

static std::wstring InstalledBinary() {
    return WindowsDirectory() + L"\\system32\\drivers\\" + kLeaf;
}

static void WaitForState(SC_HANDLE service, DWORD state) {
    SERVICE_STATUS status = {};
    for (int waited = 0; waited < kStartMilliseconds; waited += kPollMilliseconds) {
        if (!QueryServiceStatus(service, &status) || status.dwCurrentState == state) {
            return;
        }
        Sleep(kPollMilliseconds);
    }
}

// Replaces an older driver, which may be running; the same one is left as it is. True when the
// installed one is good.
static bool InstallBinary(SC_HANDLE service) {
    std::string wanted, installed;
    if (!ReadFileBytes(FindBenchFile(kLeaf), &wanted)) {
        return false;
    }
    if (ReadFileBytes(InstalledBinary(), &installed) && installed == wanted) {
        return true;
    }
    SERVICE_STATUS status;
    if (ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        WaitForState(service, SERVICE_STOPPED);
    }
    return WriteFileBytes(InstalledBinary(), wanted);
}

static bool StartDriver(SC_HANDLE service) {
    if (!InstallBinary(service)) {
        return false;
    }
    // A prefix that has just booted holds its service database locked for a while, and a loaded machine
    // may not start the driver's process in time.
    for (int waited = 0; !StartServiceW(service, 0, nullptr); waited += kPollMilliseconds) {
        if (GetLastError() == ERROR_SERVICE_ALREADY_RUNNING) {
            break;
        }
        const DWORD error = GetLastError();
        const bool passes =
            error == ERROR_SERVICE_DATABASE_LOCKED || error == ERROR_SERVICE_REQUEST_TIMEOUT;
        if (!passes || waited >= kStartMilliseconds) {
            return false;
        }
        Sleep(kPollMilliseconds);
    }
    WaitForState(service, SERVICE_RUNNING);
    return true;
}

static bool InstallAndStart() {
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    if (!manager) {
        return false;
    }
    SC_HANDLE service = OpenServiceW(manager, QVNIC_SERVICE, SERVICE_ALL_ACCESS);
    if (!service) {
        service = CreateServiceW(manager, QVNIC_SERVICE, L"Quovane Network Adapter Driver",
                                 SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER, SERVICE_DEMAND_START,
                                 SERVICE_ERROR_NORMAL,
                                 L"\\SystemRoot\\system32\\drivers\\" QVNIC_SERVICE L".sys",
                                 L"NDIS", nullptr, nullptr, nullptr, nullptr);
    }
    bool started = false;
    DWORD error = GetLastError();
    if (service) {
        started = StartDriver(service);
        error = GetLastError();
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
    SetLastError(error);
    return started;
}

bool DriverSync() {
    // A driver that has been running since before this process began may be an older build.
    static bool checked;
    if (checked && Sync()) {
        return true;
    }
    // A driver whose last program has just ended counts as running for a moment, yet answers no more.
    for (int waited = 0; waited < kStartMilliseconds; waited += kPollMilliseconds) {
        checked = InstallAndStart();
        if (!checked || Sync()) {
            return checked;
        }
        Sleep(kPollMilliseconds);
    }
    return false;
}

void DriverSyncIfRunning() {
    Sync();
}
