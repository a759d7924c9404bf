// Stand-ins of newdev.dll's routines, which Wine has by name only. Their rules are those of each
// routine's page in the Windows driver documentation. Which of them exist is the machine's data.
#include "standins.h"

#include <cstring>
#include <newdev.h>
#include <string>
#include <vector>

#include "calls.h"
#include "data.h"
#include "device.h"
#include "journal.h"
#include "last_error.h"
#include "network_class.h"
#include "restart_prompt.h"
#include "set_state.h"

namespace bench {

namespace {

const wchar_t* const kRoutines[] = {L"DiInstallDevice", L"InstallSelectedDriver",
                                    L"UpdateDriverForPlugAndPlayDevicesW"};
const DWORD kInstallCopyInfDrivers = 8; // DIIDFLAG_INSTALLCOPYINFDRIVERS

// A set of the bench's own with one device in it, so that the program's set stays as it is.
class OwnSet {
  public:
    explicit OwnSet(const std::wstring& instanceId)
        : set_(SetupDiCreateDeviceInfoList(nullptr, nullptr)), device_{} {
        device_.cbSize = sizeof(device_);
        found_ = set_ != INVALID_HANDLE_VALUE &&
                 SetupDiOpenDeviceInfoW(set_, instanceId.c_str(), nullptr, 0, &device_);
    }
    ~OwnSet() {
        KeepLastError keep;
        if (set_ != INVALID_HANDLE_VALUE)
            SetupDiDestroyDeviceInfoList(set_);
    }
    OwnSet(const OwnSet&) = delete;
    OwnSet& operator=(const OwnSet&) = delete;

    // Selects the best driver for the device that the INF has; `*rank` is then smaller for a
    // hardware id nearer the front of the device's list.
    bool SelectFrom(const std::wstring& infPath, size_t* rank) {
        SP_DEVINSTALL_PARAMS_W params = {};
        params.cbSize = sizeof(params);
        if (!found_ || !SetupDiGetDeviceInstallParamsW(set_, &device_, &params) ||
            infPath.size() >= ARRAYSIZE(params.DriverPath))
            return false;
        params.Flags |= DI_ENUMSINGLEINF;
        params.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
        lstrcpynW(params.DriverPath, infPath.c_str(), ARRAYSIZE(params.DriverPath));
        return SetupDiSetDeviceInstallParamsW(set_, &device_, &params) &&
               SetupDiBuildDriverInfoList(set_, &device_, SPDIT_COMPATDRIVER) &&
               SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, set_, &device_) && ReadRank(rank);
    }

    bool Install(const wchar_t* route) {
        return InstallDriver(set_, &device_, route);
    }

  private:
    bool ReadRank(size_t* rank) {
        SelectedDriver selected;
        if (!ReadSelectedDriver(set_, &device_, &selected))
            return false;
        std::vector<std::wstring> ids = HardwareIds(InstanceId(set_, &device_));
        for (*rank = 0; *rank < ids.size(); ++*rank)
            if (lstrcmpiW(ids[*rank].c_str(), selected.hardwareId.c_str()) == 0)
                break;
        return true;
    }

    HDEVINFO set_;
    SP_DEVINFO_DATA device_;
    bool found_;
};

std::vector<std::wstring> OemInfs() {
    wchar_t windows[MAX_PATH];
    GetSystemWindowsDirectoryW(windows, ARRAYSIZE(windows));
    std::wstring folder = std::wstring(windows) + L"\\inf\\";
    std::vector<std::wstring> paths;
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((folder + L"oem*.inf").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return paths;
    do {
        paths.push_back(folder + found.cFileName);
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return paths;
}

// When the INF is of the device's class: its date, for the choice between equal matches.
bool ReadInfDate(const std::wstring& path, const GUID& deviceClass, ULONGLONG* date) {
    GUID infClass;
    wchar_t name[32];
    if (!SetupDiGetINFClassW(path.c_str(), &infClass, name, ARRAYSIZE(name), nullptr) ||
        infClass != deviceClass)
        return false;
    HINF inf = SetupOpenInfFileW(path.c_str(), nullptr, INF_STYLE_WIN4, nullptr);
    if (inf == INVALID_HANDLE_VALUE)
        return false;
    *date = ReadDriverVersion(inf).rank;
    SetupCloseInfFile(inf);
    return true;
}

std::wstring BestInf(const std::wstring& instanceId, const GUID& deviceClass) {
    std::wstring best;
    size_t bestRank = 0;
    ULONGLONG bestDate = 0;
    for (const std::wstring& path : OemInfs()) {
        size_t rank;
        ULONGLONG date;
        if (!ReadInfDate(path, deviceClass, &date) || !OwnSet(instanceId).SelectFrom(path, &rank))
            continue;
        if (!best.empty() && (rank > bestRank || (rank == bestRank && date <= bestDate)))
            continue;
        best = path;
        bestRank = rank;
        bestDate = date;
    }
    return best;
}

bool IsSelected(HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver) {
    SelectedDriver selected;
    return GetState(set, device).driverSelected && ReadSelectedDriver(set, device, &selected) &&
           selected.description == driver->Description && selected.provider == driver->ProviderName;
}

bool NeedsReboot(const std::wstring& instanceId) {
    return (DeviceFlags(instanceId) & (DI_NEEDRESTART | DI_NEEDREBOOT)) != 0;
}

std::vector<std::wstring> PresentDevices(const wchar_t* hardwareId) {
    std::vector<std::wstring> ids;
    HDEVINFO set =
        standin::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT);
    if (set == INVALID_HANDLE_VALUE)
        return ids;
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); index++) {
        std::wstring id = InstanceId(set, &device);
        if (HasHardwareId(id, hardwareId))
            ids.push_back(id);
    }
    SetupDiDestroyDeviceInfoList(set);
    return ids;
}

// Both pages: a caller that takes the answer prompts by itself; without one the routine prompts.
void TellOfRestart(HWND parent, const wchar_t* routine, bool needsReboot, PBOOL answer) {
    if (answer)
        *answer = needsReboot;
    else if (needsReboot)
        PromptForRestart(parent, routine);
}

// False: the last error is set.
bool InstallBestDriver(const std::wstring& instanceId, const GUID& deviceClass) {
    std::wstring inf = BestInf(instanceId, deviceClass);
    size_t rank;
    if (inf.empty())
        return Refuse(ERROR_NO_COMPAT_DRIVERS);
    OwnSet own(instanceId);
    return own.SelectFrom(inf, &rank) && own.Install(L"DiInstallDevice");
}

bool InstallNamedDriver(HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver) {
    if (!IsDriverRecord(driver))
        return Refuse(ERROR_INVALID_USER_BUFFER);
    if (!IsSelected(set, device, driver))
        return Refuse(ERROR_NO_DRIVER_SELECTED);
    return InstallDriver(set, device, L"DiInstallDevice");
}

bool IsFullPath(const wchar_t* path) {
    wchar_t full[MAX_PATH];
    DWORD length = GetFullPathNameW(path, ARRAYSIZE(full), full, nullptr);
    return length != 0 && length < ARRAYSIZE(full) && lstrcmpiW(path, full) == 0;
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

// For a registered device of the set. Without a driver record the best match among the drivers
// that are on the machine is taken. A record has to be the driver that is selected already, since
// Wine cannot select another. DIIDFLAG_INSTALLNULLDRIVER takes the device's driver away, whatever
// record is given (page "DiInstallDevice function").
BOOL WINAPI DiInstallDevice(HWND parent, HDEVINFO set, PSP_DEVINFO_DATA device,
                            PSP_DRVINFO_DATA_W driver, DWORD flags, PBOOL needReboot) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return FALSE;
    if (flags & ~(DIIDFLAG_BITS | kInstallCopyInfDrivers))
        return Refuse(ERROR_INVALID_FLAGS);
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    if (!IsRegistered(id))
        return Refuse(ERROR_DEVINFO_NOT_REGISTERED);
    if (flags & DIIDFLAG_INSTALLNULLDRIVER) {
        WholeChange whole;
        InstallNullDriver(id);
        Journal(L"device-install", id + L" route=DiInstallDevice null driver");
    } else if (driver ? !InstallNamedDriver(set, device, driver)
                      : !InstallBestDriver(id, device->ClassGuid)) {
        return FALSE;
    }
    TellOfRestart(parent, L"DiInstallDevice", NeedsReboot(id), needReboot);
    return TRUE;
}

// Takes the selected device of the set and the driver that is selected for it.
BOOL WINAPI InstallSelectedDriver(HWND, HDEVINFO set, LPCWSTR reserved, BOOL, PDWORD reboot) {
    if (reserved)
        return Refuse(ERROR_INVALID_PARAMETER);
    SP_DEVINFO_DATA device;
    if (!SelectedDevice(set, &device))
        return Refuse(ERROR_NO_DEVICE_SELECTED);
    if (!GetState(set, &device).driverSelected)
        return Refuse(ERROR_NO_DRIVER_SELECTED);
    if (!InstallDriver(set, &device, L"InstallSelectedDriver"))
        return FALSE;
    if (reboot)
        *reboot = NeedsReboot(InstanceId(set, &device)) ? DI_NEEDREBOOT : 0;
    return TRUE;
}

// All present devices of the hardware id, by the INF that is named with its full path. Without
// INSTALLFLAG_FORCE only devices that have no driver yet. The page advises against an INF in
// %SystemRoot%\inf; it documents no refusal, and a path there is not reported.
BOOL WINAPI UpdateDriverForPlugAndPlayDevicesW(HWND parent, LPCWSTR hardwareId, LPCWSTR infPath,
                                               DWORD flags, PBOOL reboot) {
    if (!hardwareId || !infPath || !*hardwareId)
        return Refuse(ERROR_INVALID_PARAMETER);
    if (flags & ~INSTALLFLAG_BITS)
        return Refuse(ERROR_INVALID_FLAGS);
    if (!IsFullPath(infPath) || GetFileAttributesW(infPath) == INVALID_FILE_ATTRIBUTES)
        return Refuse(ERROR_FILE_NOT_FOUND);
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    std::vector<std::wstring> devices = PresentDevices(hardwareId);
    if (devices.empty())
        return Refuse(ERROR_NO_SUCH_DEVINST);
    bool installed = false;
    bool needsReboot = false;
    for (const std::wstring& id : devices) {
        if (!(flags & INSTALLFLAG_FORCE) && !DriverKey(id).empty())
            continue;
        OwnSet own(id);
        size_t rank;
        if (!own.SelectFrom(infPath, &rank))
            return Refuse(ERROR_NO_MORE_ITEMS);
        if (!own.Install(L"UpdateDriver"))
            return FALSE;
        installed = true;
        needsReboot = needsReboot || NeedsReboot(id);
    }
    if (!installed)
        return Refuse(ERROR_NO_MORE_ITEMS);
    TellOfRestart(parent, L"UpdateDriverForPlugAndPlayDevices", needsReboot, reboot);
    return TRUE;
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
    DWORD error = GetLastError();
    bool byName = reinterpret_cast<ULONG_PTR>(name) > 0xFFFF;
    if (module && byName && module == GetModuleHandleW(L"newdev.dll")) {
        std::wstring wide(name, name + strlen(name));
        for (const wchar_t* routine : kRoutines) {
            if (wide != routine)
                continue;
            if (!HasNewDevRoutine(wide)) {
                SetLastError(ERROR_PROC_NOT_FOUND);
                return nullptr;
            }
            SetLastError(error);
            return reinterpret_cast<FARPROC>(WrapperAt(FindWrapper(name)));
        }
    }
    SetLastError(error);
    return ::GetProcAddress(module, name);
}

} // namespace standin
