// Stand-ins of SetupAPI's device and INF routines. Their rules are those of each routine's page in
// the Windows driver documentation; what Wine does right is left to it.
#include "standins.h"

#include <cstring>
#include <string>
#include <vector>

#include "data.h"
#include "device.h"
#include "journal.h"
#include "last_error.h"
#include "network_class.h"
#include "set_state.h"
#include "tally.h"

namespace bench {

namespace {

const wchar_t kDisabled[] = L"Disabled";
const DWORD kDisabledGlobally = 1;
const DWORD kDisabledInProfile = 2;

bool CheckParams(PSP_CLASSINSTALL_HEADER params, DWORD size) {
    if (size < sizeof(*params))
        return Refuse(ERROR_INVALID_PARAMETER);
    if (params->cbSize != sizeof(*params))
        return Refuse(ERROR_INVALID_USER_BUFFER);
    if (params->InstallFunction == DIF_PROPERTYCHANGE) {
        auto change = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(params);
        if (size < sizeof(*change) || change->StateChange < DICS_ENABLE ||
            change->StateChange > DICS_STOP || change->Scope < DICS_FLAG_GLOBAL ||
            change->Scope > DICS_FLAG_CONFIGGENERAL || change->Scope == 3)
            return Refuse(ERROR_INVALID_PARAMETER);
        return true;
    }
    if (params->InstallFunction == DIF_REMOVE) {
        auto removal = reinterpret_cast<const SP_REMOVEDEVICE_PARAMS*>(params);
        if (size < sizeof(*removal) || (removal->Scope != DI_REMOVEDEVICE_GLOBAL &&
                                        removal->Scope != DI_REMOVEDEVICE_CONFIGSPECIFIC))
            return Refuse(ERROR_INVALID_PARAMETER);
        return true;
    }
    return Refuse(ERROR_INVALID_PARAMETER);
}

void ApplyChange(const std::wstring& id, const SP_PROPCHANGE_PARAMS& change) {
    WholeChange whole;
    std::wstring key = BenchDeviceKey(id);
    DWORD before = ReadNumber(key, kDisabled, 0);
    DWORD after = before;
    DWORD bit = change.Scope == DICS_FLAG_GLOBAL ? kDisabledGlobally : kDisabledInProfile;
    if (change.StateChange == DICS_DISABLE)
        after |= bit;
    if (change.StateChange == DICS_ENABLE)
        after &= ~bit;
    if (after != before)
        WriteNumber(key, kDisabled, after);

    const wchar_t* scope = change.Scope == DICS_FLAG_GLOBAL ? L"global" : L"config";
    if (change.StateChange == DICS_DISABLE)
        Journal(L"device-disable", id + L" scope=" + scope);
    else if (change.StateChange == DICS_ENABLE)
        Journal(L"device-enable", id + L" scope=" + scope);
    else
        Journal(L"device-restart", id);

    bool stops = change.StateChange == DICS_STOP || change.StateChange == DICS_PROPCHANGE;
    if (stops || (after != 0 && before == 0))
        StopAdapter(id);
    bool starts = change.StateChange == DICS_START || change.StateChange == DICS_PROPCHANGE;
    if (after == 0 && (starts || before != 0))
        StartAdapter(id);
}

// [ControlFlags] ExcludeFromSelect names ids, or * for all, that are offered to nobody who does
// not ask for them with DI_FLAGSEX_ALLOWEXCLUDEDDRVS.
bool IsExcluded(HINF inf, const wchar_t* hardwareId) {
    INFCONTEXT line;
    BOOL found = SetupFindFirstLineW(inf, L"ControlFlags", L"ExcludeFromSelect", &line);
    for (; found; found = SetupFindNextMatchLineW(&line, L"ExcludeFromSelect", &line)) {
        for (DWORD field = 1; field <= SetupGetFieldCount(&line); field++) {
            wchar_t id[200];
            if (SetupGetStringFieldW(&line, field, id, ARRAYSIZE(id), nullptr) &&
                (lstrcmpW(id, L"*") == 0 || lstrcmpiW(id, hardwareId) == 0))
                return true;
        }
    }
    return false;
}

bool SelectedIsExcluded(HDEVINFO set, PSP_DEVINFO_DATA device) {
    SelectedDriver selected;
    if (!ReadSelectedDriver(set, device, &selected))
        return false;
    HINF inf = SetupOpenInfFileW(selected.inf.c_str(), nullptr, INF_STYLE_WIN4, nullptr);
    if (inf == INVALID_HANDLE_VALUE)
        return false;
    bool excluded = IsExcluded(inf, selected.hardwareId.c_str());
    SetupCloseInfFile(inf);
    return excluded;
}

bool SelectBestDriver(HDEVINFO set, PSP_DEVINFO_DATA device) {
    DeviceState state = GetState(set, device);
    if (!state.compatList)
        return Refuse(ERROR_NO_COMPAT_DRIVERS);
    if (!::SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, set, device))
        return false;
    state.driverSelected = state.excludedDrivers || !SelectedIsExcluded(set, device);
    SetState(set, device, state);
    return state.driverSelected || Refuse(ERROR_NO_COMPAT_DRIVERS);
}

bool RegisterDevice(HDEVINFO set, PSP_DEVINFO_DATA device) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return false;
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    if (!::SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, device))
        return false;
    Journal(L"device-register", id);
    return true;
}

// Registry type of the device properties that can be set, and their names in the journal.
struct Property {
    DWORD code;
    DWORD type;
    const wchar_t* name;
};
const Property kSettable[] = {
    {SPDRP_DEVICEDESC, REG_SZ, L"DEVICEDESC"},
    {SPDRP_HARDWAREID, REG_MULTI_SZ, L"HARDWAREID"},
    {SPDRP_COMPATIBLEIDS, REG_MULTI_SZ, L"COMPATIBLEIDS"},
    {SPDRP_SERVICE, REG_SZ, L"SERVICE"},
    {SPDRP_CONFIGFLAGS, REG_DWORD, L"CONFIGFLAGS"},
    {SPDRP_MFG, REG_SZ, L"MFG"},
    {SPDRP_FRIENDLYNAME, REG_SZ, L"FRIENDLYNAME"},
    {SPDRP_LOCATION_INFORMATION, REG_SZ, L"LOCATION_INFORMATION"},
    {SPDRP_UPPERFILTERS, REG_MULTI_SZ, L"UPPERFILTERS"},
    {SPDRP_LOWERFILTERS, REG_MULTI_SZ, L"LOWERFILTERS"},
};

const Property* FindSettable(DWORD code) {
    for (const Property& property : kSettable)
        if (property.code == code)
            return &property;
    return nullptr;
}

bool CheckPropertyData(const Property& property, const BYTE* data, DWORD size) {
    if (!data)
        return size == 0 || Refuse(ERROR_INVALID_PARAMETER);
    if (property.type == REG_DWORD)
        return size == sizeof(DWORD) || Refuse(ERROR_INVALID_DATA);
    if (size == 0 || size % sizeof(wchar_t) != 0)
        return Refuse(ERROR_INVALID_DATA);
    auto text = reinterpret_cast<const wchar_t*>(data);
    DWORD length = size / sizeof(wchar_t);
    if (property.type == REG_MULTI_SZ &&
        (length < 2 || text[length - 1] != 0 || text[length - 2] != 0))
        return Refuse(ERROR_INVALID_DATA);
    return true;
}

std::wstring PropertyText(const Property& property, const BYTE* data, DWORD size) {
    if (property.type == REG_DWORD)
        return Format(L"0x%08X", *reinterpret_cast<const DWORD*>(data));
    std::wstring text(reinterpret_cast<const wchar_t*>(data), size / sizeof(wchar_t));
    if (property.type == REG_SZ)
        return Quoted(text.substr(0, text.find(L'\0')));
    while (!text.empty() && text.back() == 0)
        text.pop_back();
    for (wchar_t& c : text)
        if (c == 0)
            c = L'|';
    return Quoted(text);
}

bool HasClass(HINF inf, const wchar_t* infClass) {
    INFCONTEXT line;
    wchar_t name[32];
    return SetupFindFirstLineW(inf, L"Version", L"Class", &line) &&
           SetupGetStringFieldW(&line, 1, name, ARRAYSIZE(name), nullptr) &&
           lstrcmpiW(name, infClass) == 0;
}

const void* ListTag(HDEVINFO set, PSP_DEVINFO_DATA device) {
    return reinterpret_cast<const void*>(reinterpret_cast<ULONG_PTR>(set) +
                                         (device ? device->DevInst : 0));
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

// The parameters belong to one installation function and have its size; null takes them away.
BOOL WINAPI SetupDiSetClassInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                          PSP_CLASSINSTALL_HEADER params, DWORD size) {
    if (device && InstanceId(set, device).empty())
        return FALSE;
    if (params && !CheckParams(params, size))
        return FALSE;
    if (!params && size != 0)
        return Refuse(ERROR_INVALID_PARAMETER);
    DeviceState state = GetState(set, device);
    auto bytes = reinterpret_cast<const BYTE*>(params);
    state.classInstallParams.assign(bytes, bytes + size);
    state.paramsEnabled = params != nullptr;
    SetState(set, device, state);
    return TRUE;
}

// Only an administrator may call it, and only with DIF_PROPERTYCHANGE parameters set and enabled.
BOOL WINAPI SetupDiChangeState(HDEVINFO set, PSP_DEVINFO_DATA device) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return FALSE;
    DeviceState state = GetState(set, device);
    auto change = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(state.classInstallParams.data());
    if (!state.paramsEnabled || state.classInstallParams.size() < sizeof(*change) ||
        change->ClassInstallHeader.InstallFunction != DIF_PROPERTYCHANGE)
        return Refuse(ERROR_NO_CLASSINSTALL_PARAMS);
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    if (!IsRegistered(id))
        return Refuse(ERROR_DEVINFO_NOT_REGISTERED);
    ApplyChange(id, *change);
    return TRUE;
}

// Windows also deletes the driver key, which Wine leaves behind; the connection's key under
// Control\Network stays on both.
BOOL WINAPI SetupDiRemoveDevice(HDEVINFO set, PSP_DEVINFO_DATA device) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return FALSE;
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    std::wstring driverKey = DriverKey(id);
    if (!::SetupDiRemoveDevice(set, device))
        return FALSE;
    ForgetAdapter(id, driverKey);
    SetState(set, device, {});
    Journal(L"device-remove", id);
    return TRUE;
}

BOOL WINAPI SetupDiGetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                           PSP_DEVINSTALL_PARAMS_W params) {
    if (!::SetupDiGetDeviceInstallParamsW(set, device, params))
        return FALSE;
    KeepLastError keep;
    if (device)
        params->Flags |= ReadNumber(BenchDeviceKey(InstanceId(set, device)), L"Flags", 0);
    params->Flags &= ~DI_CLASSINSTALLPARAMS;
    if (GetState(set, device).paramsEnabled)
        params->Flags |= DI_CLASSINSTALLPARAMS;
    return TRUE;
}

// DI_CLASSINSTALLPARAMS can be given only while there are such parameters; without it they rest.
BOOL WINAPI SetupDiSetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                           PSP_DEVINSTALL_PARAMS_W params) {
    DeviceState state = GetState(set, device);
    bool enabled = params && (params->Flags & DI_CLASSINSTALLPARAMS);
    if (enabled && state.classInstallParams.empty())
        return Refuse(ERROR_NO_CLASSINSTALL_PARAMS);
    if (!::SetupDiSetDeviceInstallParamsW(set, device, params))
        return FALSE;
    state.paramsEnabled = enabled;
    SetState(set, device, state);
    return TRUE;
}

BOOL WINAPI SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
    switch (function) {
    case DIF_REGISTERDEVICE:
        return RegisterDevice(set, device);
    case DIF_SELECTBESTCOMPATDRV:
        return SelectBestDriver(set, device);
    case DIF_INSTALLDEVICE:
        if (!GetState(set, device).driverSelected)
            return Refuse(ERROR_NO_DRIVER_SELECTED);
        return InstallDriver(set, device, L"ClassInstaller");
    case DIF_PROPERTYCHANGE:
        return standin::SetupDiChangeState(set, device);
    case DIF_REMOVE:
        return standin::SetupDiRemoveDevice(set, device);
    default:
        return ::SetupDiCallClassInstaller(function, set, device);
    }
}

BOOL WINAPI SetupDiCreateDeviceInfoW(HDEVINFO set, PCWSTR name, const GUID* classGuid,
                                     PCWSTR description, HWND parent, DWORD flags,
                                     PSP_DEVINFO_DATA device) {
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    SP_DEVINFO_DATA created = {};
    created.cbSize = sizeof(created);
    if (!::SetupDiCreateDeviceInfoW(set, name, classGuid, description, parent, flags,
                                    device ? device : &created))
        return FALSE;
    KeepLastError keep;
    SetState(set, device ? device : &created, {});
    Journal(L"device-create", InstanceId(set, device ? device : &created));
    return TRUE;
}

// A multi-string has to end with two terminators, and no text has half a character.
BOOL WINAPI SetupDiSetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              const BYTE* data, DWORD size) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return FALSE;
    const Property* settable = FindSettable(property);
    if (!settable)
        return Refuse(ERROR_INVALID_REG_PROPERTY);
    if (!CheckPropertyData(*settable, data, size))
        return FALSE;
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    if (!::SetupDiSetDeviceRegistryPropertyW(set, device, property, data, size))
        return FALSE;
    KeepLastError keep;
    std::wstring text = data ? PropertyText(*settable, data, size) : L"(null)";
    Journal(L"property-set",
            id + L" " + settable->name + L" " + text + Format(L" %lu bytes", size));
    return TRUE;
}

BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              PDWORD type, PBYTE data, DWORD size,
                                              PDWORD required) {
    if (property != SPDRP_INSTALL_STATE)
        return ::SetupDiGetDeviceRegistryPropertyW(set, device, property, type, data, size,
                                                   required);
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return FALSE;
    if (!ValueExists(BenchDeviceKey(id), L"InstallState"))
        return Refuse(ERROR_INVALID_DATA);
    DWORD state = ReadNumber(BenchDeviceKey(id), L"InstallState", 0);
    if (type)
        *type = REG_DWORD;
    if (required)
        *required = sizeof(state);
    if (!data || size < sizeof(state))
        return Refuse(ERROR_INSUFFICIENT_BUFFER);
    memcpy(data, &state, sizeof(state));
    return TRUE;
}

// Whether excluded drivers are in the list is settled when it is built.
BOOL WINAPI SetupDiBuildDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type) {
    if ((type != SPDIT_CLASSDRIVER && type != SPDIT_COMPATDRIVER) ||
        (type == SPDIT_COMPATDRIVER && !device))
        return Refuse(ERROR_INVALID_PARAMETER);
    SP_DEVINSTALL_PARAMS_W params = {};
    params.cbSize = sizeof(params);
    if (!::SetupDiGetDeviceInstallParamsW(set, device, &params))
        return FALSE;
    if ((params.Flags & DI_ENUMSINGLEINF) &&
        GetFileAttributesW(params.DriverPath) == INVALID_FILE_ATTRIBUTES)
        return Refuse(ERROR_FILE_NOT_FOUND);
    if (!::SetupDiBuildDriverInfoList(set, device, type))
        return FALSE;
    KeepLastError keep;
    DeviceState state = GetState(set, device);
    bool& built = type == SPDIT_COMPATDRIVER ? state.compatList : state.classList;
    if (!built)
        Opened(Kind::DriverLists, ListTag(set, device), "SetupDiBuildDriverInfoList");
    built = true;
    state.excludedDrivers = (params.FlagsEx & DI_FLAGSEX_ALLOWEXCLUDEDDRVS) != 0;
    SetState(set, device, state);
    return TRUE;
}

BOOL WINAPI SetupDiGetSelectedDriverW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                      PSP_DRVINFO_DATA_W driver) {
    if (InstanceId(set, device).empty())
        return FALSE;
    if (!GetState(set, device).driverSelected)
        return Refuse(ERROR_NO_DRIVER_SELECTED);
    return ::SetupDiGetSelectedDriverW(set, device, driver);
}

// A selected driver of the list is no longer selected once the list is gone.
BOOL WINAPI SetupDiDestroyDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type) {
    if ((type != SPDIT_CLASSDRIVER && type != SPDIT_COMPATDRIVER) ||
        (type == SPDIT_COMPATDRIVER && !device))
        return Refuse(ERROR_INVALID_PARAMETER);
    if (device && InstanceId(set, device).empty())
        return FALSE;
    DeviceState state = GetState(set, device);
    bool& built = type == SPDIT_COMPATDRIVER ? state.compatList : state.classList;
    Closed(Kind::DriverLists, ListTag(set, device));
    built = false;
    state.driverSelected = false;
    SetState(set, device, state);
    return TRUE;
}

BOOL WINAPI SetupDiSetSelectedDevice(HDEVINFO set, PSP_DEVINFO_DATA device) {
    if (InstanceId(set, device).empty())
        return FALSE;
    SelectDevice(set, *device);
    return TRUE;
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set) {
    ForgetSet(set);
    return ::SetupDiDestroyDeviceInfoList(set);
}

// An INF of another class than the one asked for is refused.
HINF WINAPI SetupOpenInfFileW(PCWSTR file, PCWSTR infClass, DWORD style, PUINT errorLine) {
    HINF inf = ::SetupOpenInfFileW(file, infClass, style, errorLine);
    if (inf == INVALID_HANDLE_VALUE || !infClass)
        return inf;
    DWORD error = GetLastError();
    bool matches = HasClass(inf, infClass);
    SetLastError(error);
    if (matches)
        return inf;
    SetupCloseInfFile(inf);
    SetLastError(ERROR_CLASS_MISMATCH);
    return INVALID_HANDLE_VALUE;
}

} // namespace standin
