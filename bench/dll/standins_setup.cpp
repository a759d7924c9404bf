// Stand-ins of SetupAPI's device routines. Their rules are those of each routine's page in
// the Windows driver documentation; what Wine does right is left to it.
#include "standins.h"

#include <cstring>
#include <string>
#include <vector>

#include "data.h"
#include "device.h"
#include "hardware_profiles.h"
#include "journal.h"
#include "last_error.h"
#include "network_class.h"
#include "pending_changes.h"
#include "set_state.h"
#include "unread_params.h"

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

// False when the change waits for the restart of the machine.
bool ApplyChange(const std::wstring& id, const SP_PROPCHANGE_PARAMS& change) {
    WholeChange whole;
    std::wstring key = BenchDeviceKey(id);
    DWORD before = DisabledAfterRestart(id);
    DWORD after = before;
    DWORD bit = change.Scope == DICS_FLAG_GLOBAL ? kDisabledGlobally : kDisabledInProfile;
    if (change.StateChange == DICS_DISABLE)
        after |= bit;
    if (change.StateChange == DICS_ENABLE)
        after &= ~bit;
    bool stops = change.StateChange == DICS_STOP || change.StateChange == DICS_PROPCHANGE;
    bool waits = !CanStop(id) && (stops || after != before);
    if (after != before && waits)
        DisableAtRestart(id, after);
    else if (after != before)
        WriteNumber(key, kDisabled, after);

    const wchar_t* pending = waits ? L" pending" : L"";
    const wchar_t* scope = change.Scope == DICS_FLAG_GLOBAL ? L"global" : L"config";
    if (change.StateChange == DICS_DISABLE)
        Journal(L"device-disable", id + L" scope=" + scope + pending);
    else if (change.StateChange == DICS_ENABLE)
        Journal(L"device-enable", id + L" scope=" + scope + pending);
    else
        Journal(L"device-restart", id + pending);
    if (waits)
        return false;

    if (stops || (after != 0 && before == 0))
        StopAdapter(id);
    bool starts = change.StateChange == DICS_START || change.StateChange == DICS_PROPCHANGE;
    if (after == 0 && (starts || before != 0))
        StartAdapter(id);
    return true;
}

// Page "SP_DEVINSTALL_PARAMS_W structure": DI_NEEDREBOOT tells that the machine has to be restarted.
// Whether a change that takes a waiting one back asks for it too is unverified.
DWORD InstallFlags(const DeviceState& state, const std::wstring& id) {
    return DeviceFlags(id) | (state.needsReboot ? DI_NEEDREBOOT : 0);
}

// The parameters that the set keeps of a removed device.
std::shared_ptr<SP_DEVINSTALL_PARAMS_W> ParamsToKeep(HDEVINFO set, PSP_DEVINFO_DATA device,
                                                     DWORD flags) {
    auto params = std::make_shared<SP_DEVINSTALL_PARAMS_W>();
    params->cbSize = sizeof(*params);
    if (!::SetupDiGetDeviceInstallParamsW(set, device, params.get()))
        return nullptr;
    params->Flags |= flags;
    params->Flags &= ~DI_CLASSINSTALLPARAMS;
    return params;
}

// After a class installer's call nobody is held to reading the install parameters.
BOOL WithoutRead(HDEVINFO set, PSP_DEVINFO_DATA device, BOOL result) {
    KeepLastError keep;
    DeviceState state = GetState(set, device);
    state.unread.clear();
    SetState(set, device, state);
    return result;
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
    DWORD flags = ReadNumber(kMachineKey, L"TeamFlags", 0);
    if (flags != 0)
        WriteNumber(BenchDeviceKey(id), L"Flags", flags);
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

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

// Page "SetupDiGetClassDevsW function": without DIGCF_PRESENT also devices that are not present. To
// Wine every registered device is present.
HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND parent,
                                     DWORD flags) {
    HDEVINFO set = ::SetupDiGetClassDevsW(classGuid, enumerator, parent, flags);
    if (set == INVALID_HANDLE_VALUE)
        return set;
    KeepLastError keep;
    ForgetSet(set); // one of the same handle that was destroyed unseen
    if (!(flags & DIGCF_PRESENT))
        return set;
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device);) {
        if (IsPresent(InstanceId(set, &device)) || !SetupDiDeleteDeviceInfo(set, &device))
            index++;
    }
    return set;
}

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
// A device that cannot be stopped stays as it is until the restart: the call succeeds and sets
// DI_NEEDREBOOT (page "DIF_PROPERTYCHANGE"; that the device goes on running is unverified).
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
    ReportMisuse(*change);
    bool oneProfile = ConcernsOneProfile(*change);
    if (oneProfile && !ProfileExists(change->HwProfile))
        return Refuse(ERROR_INVALID_HWPROFILE); // unverified
    if (oneProfile && !IsCurrentProfile(change->HwProfile))
        ApplyToOtherProfile(id, *change);
    else if (!ApplyChange(id, *change))
        state.needsReboot = true;
    ExpectRead(&state, L"SetupDiChangeState", id, InstallFlags(state, id));
    SetState(set, device, state);
    return TRUE;
}

// Windows also deletes the driver key, which Wine leaves behind; the connection's key under
// Control\Network stays on both. A device that cannot be removed while the system runs stays until the
// restart: the call succeeds and sets DI_NEEDREBOOT (page "SetupDiRemoveDevice function"; that the
// device and its keys stay is unverified).
BOOL WINAPI SetupDiRemoveDevice(HDEVINFO set, PSP_DEVINFO_DATA device) {
    std::wstring id = InstanceId(set, device);
    if (id.empty())
        return FALSE;
    if (!IsAdministrator())
        return Refuse(ERROR_ACCESS_DENIED);
    DeviceState state = GetState(set, device);
    if (const SP_REMOVEDEVICE_PARAMS* removal = ProfileRemoval(state)) {
        WholeChange whole;
        if (!CheckProfileRemoval(id, *removal))
            return FALSE;
        if (!LeaveProfile(id, removal->HwProfile)) {
            Journal(L"device-remove", id + Format(L" profile=%lu", removal->HwProfile));
            ExpectRead(&state, L"SetupDiRemoveDevice", id, InstallFlags(state, id));
            SetState(set, device, state);
            return TRUE;
        }
    }
    if (!CanStop(id)) {
        WholeChange whole;
        RemoveAtRestart(id);
        Journal(L"device-remove", id + L" pending");
        state.needsReboot = true;
        ExpectRead(&state, L"SetupDiRemoveDevice", id, InstallFlags(state, id));
        SetState(set, device, state);
        return TRUE;
    }
    std::wstring driverKey = DriverKey(id);
    DWORD flags = DeviceFlags(id);
    std::shared_ptr<SP_DEVINSTALL_PARAMS_W> params = ParamsToKeep(set, device, flags);
    if (!::SetupDiRemoveDevice(set, device))
        return FALSE;
    ForgetAdapter(id, driverKey);
    ExpectRead(&state, L"SetupDiRemoveDevice", id, flags);
    DeviceState removed = {};
    removed.paramsOfRemoved = params;
    removed.unread = state.unread;
    removed.failedReads = state.failedReads;
    SetState(set, device, removed);
    Journal(L"device-remove", id);
    return TRUE;
}

BOOL WINAPI SetupDiGetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                           PSP_DEVINSTALL_PARAMS_W params) {
    DeviceState state = GetState(set, device);
    TakeRead(&state);
    if (device && state.paramsOfRemoved && params && params->cbSize == sizeof(*params)) {
        *params = *state.paramsOfRemoved;
        SetState(set, device, state);
        return TRUE;
    }
    if (!::SetupDiGetDeviceInstallParamsW(set, device, params))
        return FALSE;
    KeepLastError keep;
    SetState(set, device, state);
    if (device)
        params->Flags |= InstallFlags(state, InstanceId(set, device));
    params->Flags &= ~DI_CLASSINSTALLPARAMS;
    if (state.paramsEnabled)
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
        return WithoutRead(set, device, standin::SetupDiChangeState(set, device));
    case DIF_REMOVE:
        return WithoutRead(set, device, standin::SetupDiRemoveDevice(set, device));
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

BOOL WINAPI SetupDiSetSelectedDevice(HDEVINFO set, PSP_DEVINFO_DATA device) {
    if (InstanceId(set, device).empty())
        return FALSE;
    SelectDevice(set, *device);
    return TRUE;
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set) {
    for (const DeviceState& state : UnreadStates(set))
        ReportUnread(state);
    ForgetSet(set);
    return ::SetupDiDestroyDeviceInfoList(set);
}

} // namespace standin
