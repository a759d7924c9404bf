#include "hardware_profiles.h"

#include "data.h"
#include "device.h"
#include "journal.h"
#include "last_error.h"
#include "network_class.h"

namespace bench {

namespace {

// Bit n - 1 stands for profile n.
const wchar_t kLeftProfiles[] = L"LeftProfiles";
const wchar_t kDisabledProfiles[] = L"DisabledProfiles";

DWORD ProfileCount() {
    return ReadNumber(kMachineKey, L"HardwareProfiles", 1);
}

DWORD BitOf(DWORD profile) {
    return IsCurrentProfile(profile) ? 1 : 1u << (profile - 1);
}

void DisableInOtherProfile(const std::wstring& instanceId, DWORD profile, bool disabled) {
    std::wstring key = BenchDeviceKey(instanceId);
    DWORD before = ReadNumber(key, kDisabledProfiles, 0);
    DWORD after = disabled ? before | BitOf(profile) : before & ~BitOf(profile);
    if (after != before)
        WriteNumber(key, kDisabledProfiles, after);
}

} // namespace

bool ProfileExists(DWORD profile) {
    return profile <= ProfileCount();
}

bool IsCurrentProfile(DWORD profile) {
    return profile <= 1;
}

bool LeaveProfile(const std::wstring& instanceId, DWORD profile) {
    std::wstring key = BenchDeviceKey(instanceId);
    DWORD left = ReadNumber(key, kLeftProfiles, 0) | BitOf(profile);
    WriteNumber(key, kLeftProfiles, left);
    if (IsCurrentProfile(profile)) {
        SetNotPresent(instanceId);
        StopAdapter(instanceId);
    }
    for (DWORD other = 1; other <= ProfileCount(); other++)
        if (!(left & BitOf(other)))
            return false;
    return true;
}

std::wstring ProfileBranch(DWORD profile) {
    return Format(L"System\\CurrentControlSet\\Hardware Profiles\\%04lu\\",
                  IsCurrentProfile(profile) ? 1 : profile);
}

// Page "SP_PROPCHANGE_PARAMS structure": callers should not specify DICS_START and DICS_STOP, which
// cannot be global. No refusal is documented, nor a meaning of a profile in a global change.
void ReportMisuse(const SP_PROPCHANGE_PARAMS& change) {
    if (change.StateChange == DICS_START || change.StateChange == DICS_STOP)
        Journal(L"misuse", std::wstring(L"SetupDiChangeState: ") +
                               (change.StateChange == DICS_START ? L"DICS_START" : L"DICS_STOP") +
                               (change.Scope == DICS_FLAG_GLOBAL ? L", global" : L""));
    if (change.StateChange != DICS_PROPCHANGE && change.Scope == DICS_FLAG_GLOBAL &&
        change.HwProfile != 0)
        Journal(L"misuse",
                Format(L"SetupDiChangeState: HwProfile %lu in a global change", change.HwProfile));
}

// The same page: for a restart the scope, and so the profile, is ignored.
bool ConcernsOneProfile(const SP_PROPCHANGE_PARAMS& change) {
    return change.StateChange != DICS_PROPCHANGE && change.Scope != DICS_FLAG_GLOBAL;
}

// Enabling and disabling only sets flags in the registry, starting and stopping does nothing: the
// device runs in the current profile.
void ApplyToOtherProfile(const std::wstring& id, const SP_PROPCHANGE_PARAMS& change) {
    if (change.StateChange != DICS_ENABLE && change.StateChange != DICS_DISABLE)
        return;
    bool disables = change.StateChange == DICS_DISABLE;
    DisableInOtherProfile(id, change.HwProfile, disables);
    Journal(disables ? L"device-disable" : L"device-enable",
            id + Format(L" scope=config profile=%lu", change.HwProfile));
}

// Removal is global unless parameters say otherwise.
const SP_REMOVEDEVICE_PARAMS* ProfileRemoval(const DeviceState& state) {
    auto removal = reinterpret_cast<const SP_REMOVEDEVICE_PARAMS*>(state.classInstallParams.data());
    bool given = state.paramsEnabled && state.classInstallParams.size() >= sizeof(*removal) &&
                 removal->ClassInstallHeader.InstallFunction == DIF_REMOVE;
    if (!given)
        return nullptr;
    // Page "SP_REMOVEDEVICE_PARAMS structure": the profile is for removal from one profile. No
    // refusal is documented.
    if (removal->Scope == DI_REMOVEDEVICE_GLOBAL && removal->HwProfile != 0)
        Journal(L"misuse", Format(L"SetupDiRemoveDevice: HwProfile %lu in a global removal",
                                  removal->HwProfile));
    return removal->Scope == DI_REMOVEDEVICE_CONFIGSPECIFIC ? removal : nullptr;
}

// Page "SP_REMOVEDEVICE_PARAMS structure": only a root-enumerated device can be removed from one
// profile. Both errors are unverified.
bool CheckProfileRemoval(const std::wstring& id, const SP_REMOVEDEVICE_PARAMS& removal) {
    if (!IsRootEnumerated(id))
        return Refuse(ERROR_INVALID_PARAMETER);
    return ProfileExists(removal.HwProfile) || Refuse(ERROR_INVALID_HWPROFILE);
}

} // namespace bench
