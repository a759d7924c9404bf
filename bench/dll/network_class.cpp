#include "network_class.h"

#include <cwchar>
#include <regstr.h>
#include <netcfgx.h>
#include <vector>

#include "../driver/qvnic_ioctl.h"
#include "../machine/device_start.h"
#include "clock.h"
#include "config_lock.h"
#include "data.h"
#include "device.h"
#include "journal.h"
#include "last_error.h"

namespace bench {

namespace {

const wchar_t kVirtualGuidStart[] = L"{51560000-0000-4000-8000-";
const wchar_t kConnections[] =
    L"System\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}";

std::wstring AdapterKey(const std::wstring& guid) {
    return std::wstring(kAdaptersKey) + L"\\" + guid;
}

// The driver creates and deletes its devices by the adapters' data when it is told to look.
void TellDriver() {
    HANDLE control = CreateFileW(QVNIC_CONTROL_PATH, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
    if (control == INVALID_HANDLE_VALUE)
        return;
    DWORD returned;
    DeviceIoControl(control, QVNIC_IOCTL_SYNC, nullptr, 0, nullptr, 0, &returned, nullptr);
    CloseHandle(control);
}

std::wstring TakeVirtualGuid() {
    DWORD sequence = ReadNumber(kMachineKey, L"NextVirtual", 1);
    WriteNumber(kMachineKey, L"NextVirtual", sequence + 1);
    return Format(L"%s%012X}", kVirtualGuidStart, sequence);
}

std::wstring AnswersKey(const std::wstring& guid) {
    return AdapterKey(guid) + L"\\Oid";
}

// A new adapter's driver answers as the machine's description says of all new ones.
void GiveAnswers(const std::wstring& guid) {
    if (KeyExists(AnswersKey(guid)))
        return;
    HKEY from = nullptr;
    HKEY to = nullptr;
    const std::wstring path = std::wstring(kMachineKey) + L"\\Oid";
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &from) != ERROR_SUCCESS)
        return;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, AnswersKey(guid).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                        nullptr, &to, nullptr) == ERROR_SUCCESS) {
        RegCopyTreeW(from, nullptr, to);
        RegCloseKey(to);
    }
    RegCloseKey(from);
}

void JournalAddress(const std::wstring& instanceId, const std::wstring& address) {
    if (!address.empty())
        Journal(L"address-published", instanceId + L" " + address);
}

std::wstring ConnectionName() {
    std::vector<std::wstring> taken;
    for (const std::wstring& guid : SubKeys(kConnections))
        taken.push_back(
            ReadText(std::wstring(kConnections) + L"\\" + guid + L"\\Connection", L"Name"));
    for (int number = 1;; number++) {
        std::wstring name = L"Local Area Connection";
        if (number > 1)
            name += Format(L" %d", number);
        bool free = true;
        for (const std::wstring& other : taken)
            free = free && other != name;
        if (free)
            return name;
    }
}

void WriteMissingText(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    if (!text.empty() && !ValueExists(key, name))
        WriteText(key, name, text);
}

void WriteInfFacts(const std::wstring& key, const SelectedDriver& selected) {
    HINF inf = SetupOpenInfFileW(selected.inf.c_str(), nullptr, INF_STYLE_WIN4, nullptr);
    if (inf == INVALID_HANDLE_VALUE)
        return;
    DriverVersion version = ReadDriverVersion(inf);
    WriteMissingText(key, L"DriverDate", version.date);
    WriteMissingText(key, L"DriverVersion", version.version);
    wchar_t section[LINE_LEN];
    INFCONTEXT line;
    INT characteristics;
    if (SetupDiGetActualSectionToInstallW(inf, selected.section.c_str(), section,
                                          ARRAYSIZE(section), nullptr, nullptr) &&
        SetupFindFirstLineW(inf, section, L"Characteristics", &line) &&
        SetupGetIntField(&line, 1, &characteristics) && !ValueExists(key, L"Characteristics"))
        WriteNumber(key, L"Characteristics", static_cast<DWORD>(characteristics));
    SetupCloseInfFile(inf);
}

void GiveIdentity(const std::wstring& instanceId, const SelectedDriver& selected) {
    std::wstring key = DriverKey(instanceId);
    if (key.empty())
        return;
    if (!ValueExists(key, L"NetCfgInstanceId"))
        WriteText(key, L"NetCfgInstanceId", TakeVirtualGuid());
    WriteMissingText(key, L"ProviderName", selected.provider);
    WriteMissingText(key, L"DriverDesc", selected.description);
    WriteMissingText(key, L"MatchingDeviceId", selected.hardwareId);
    WriteInfFacts(key, selected);

    std::wstring guid = AdapterGuid(instanceId);
    std::wstring connection = std::wstring(kConnections) + L"\\" + guid + L"\\Connection";
    if (!ValueExists(connection, L"Name"))
        WriteText(connection, L"Name", ConnectionName());
    WriteText(connection, L"PnpInstanceID", instanceId);
    WriteText(AdapterKey(guid), L"Device", instanceId);
    if (!ValueExists(AdapterKey(guid), L"Opens"))
        WriteNumber(AdapterKey(guid), L"Opens", 1);
    GiveAnswers(guid);
    WriteNumber(BenchDeviceKey(instanceId), L"InstallState", 0);
    if (ReadNumber(kMachineKey, L"TeamStops", 1) == 0)
        WriteNumber(BenchDeviceKey(instanceId), qvmachine::kStops, 0);
}

void ForgetDriver(const std::wstring& driverKey) {
    if (driverKey.empty())
        return;
    std::wstring guid = ReadText(driverKey, L"NetCfgInstanceId");
    DeleteTree(driverKey);
    if (guid.empty())
        return;
    DeleteTree(AdapterKey(guid));
    TellDriver();
}

} // namespace

DriverVersion ReadDriverVersion(HINF inf) {
    DriverVersion result = {};
    INFCONTEXT line;
    wchar_t date[32];
    wchar_t version[32];
    if (!SetupFindFirstLineW(inf, L"Version", L"DriverVer", &line) ||
        !SetupGetStringFieldW(&line, 1, date, ARRAYSIZE(date), nullptr))
        return result;
    unsigned month = 0;
    unsigned day = 0;
    unsigned year = 0;
    if (swscanf(date, L"%u%*c%u%*c%u", &month, &day, &year) == 3) {
        result.date = Format(L"%u-%u-%u", month, day, year);
        result.rank = (year * 100ull + month) * 100 + day;
    }
    if (SetupGetStringFieldW(&line, 2, version, ARRAYSIZE(version), nullptr))
        result.version = version;
    return result;
}

bool InstallDriver(HDEVINFO set, PSP_DEVINFO_DATA device, const wchar_t* route) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return false;
    DWORD error = ERROR_SUCCESS;
    SelectedDriver selected;
    if (!IsAdministrator())
        error = ERROR_ACCESS_DENIED;
    else if (!IsRegistered(id))
        error = ERROR_DEVINFO_NOT_REGISTERED;
    else if (!ReadSelectedDriver(set, device, &selected))
        error = ERROR_NO_DRIVER_SELECTED;
    else if (device->ClassGuid == kNetClass && AdapterInstallationLocked())
        error = static_cast<DWORD>(NETCFG_E_NO_WRITE_LOCK);
    if (error != ERROR_SUCCESS)
        return Refuse(error);
    if (!SetupDiCallClassInstaller(DIF_INSTALLDEVICE, set, device))
        return false;
    KeepLastError keep;
    Journal(L"device-install", id + L" route=" + route + L" inf=" + selected.inf);
    if (device->ClassGuid == kNetClass) {
        GiveIdentity(id, selected);
        if (ReadNumber(BenchDeviceKey(id), L"Disabled", 0) == 0)
            StartAdapter(id);
    }
    return true;
}

void StartAdapter(const std::wstring& instanceId) {
    if (!IsPresent(instanceId))
        return;
    const std::wstring address = qvmachine::StartDevice(instanceId, Now());
    TellDriver();
    JournalAddress(instanceId, address);
}

void StopAdapter(const std::wstring& instanceId) {
    qvmachine::StopDevice(instanceId);
    TellDriver();
}

void ForgetAdapter(const std::wstring& instanceId, const std::wstring& driverKey) {
    DeleteTree(BenchDeviceKey(instanceId));
    ForgetDriver(driverKey);
}

void InstallNullDriver(const std::wstring& instanceId) {
    const DWORD failedInstall = 2; // CM_INSTALL_STATE_FAILED_INSTALL
    std::wstring driverKey = DriverKey(instanceId);
    std::wstring enumKey = EnumKey(instanceId);
    DeleteValue(BenchDeviceKey(instanceId), qvmachine::kPublishAt);
    DeleteValue(enumKey, L"Driver");
    DeleteValue(enumKey, L"Service");
    WriteNumber(enumKey, L"ConfigFlags",
                ReadNumber(enumKey, L"ConfigFlags", 0) | CONFIGFLAG_FAILEDINSTALL);
    WriteNumber(BenchDeviceKey(instanceId), L"InstallState", failedInstall);
    ForgetDriver(driverKey);
}

bool NextPublication(UINT64* when) {
    bool found = false;
    for (const std::wstring& device : SubKeys(kDevicesKey)) {
        UINT64 due;
        std::wstring key = std::wstring(kDevicesKey) + L"\\" + device;
        if (ReadLongNumber(key, qvmachine::kPublishAt, &due) && (!found || due < *when)) {
            *when = due;
            found = true;
        }
    }
    return found;
}

void PublishDueAddresses() {
    for (std::wstring device : SubKeys(kDevicesKey)) {
        UINT64 due;
        std::wstring key = std::wstring(kDevicesKey) + L"\\" + device;
        if (!ReadLongNumber(key, qvmachine::kPublishAt, &due) || due > Now())
            continue;
        DeleteValue(key, qvmachine::kPublishAt);
        for (wchar_t& c : device)
            if (c == L'#')
                c = L'\\';
        JournalAddress(device, qvmachine::PublishAddress(device));
    }
}

} // namespace bench
