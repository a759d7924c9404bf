// The machine's hardware profiles, as far as a device is removed from one of them or disabled in it.
// Profiles count from 1; the first is the current one, and 0 stands for it as well.
#ifndef QV_BENCH_DLL_HARDWARE_PROFILES_H
#define QV_BENCH_DLL_HARDWARE_PROFILES_H

#include <windows.h>
#include <setupapi.h>
#include <string>

#include "set_state.h"

namespace bench {

bool ProfileExists(DWORD profile);
bool IsCurrentProfile(DWORD profile);

// Removes the device from an existing profile. A device that leaves the current profile stops and is
// no longer present. True when the device is now in no profile.
bool LeaveProfile(const std::wstring& instanceId, DWORD profile);

// Journal lines for what no caller should ask for.
void ReportMisuse(const SP_PROPCHANGE_PARAMS& change);

// Whether the change is for one profile, and what it does in an existing profile other than the
// current one.
bool ConcernsOneProfile(const SP_PROPCHANGE_PARAMS& change);
void ApplyToOtherProfile(const std::wstring& instanceId, const SP_PROPCHANGE_PARAMS& change);

// The removal from one profile that the class install parameters ask for; null: removal is global.
// Writes a journal line for a profile that has no meaning.
const SP_REMOVEDEVICE_PARAMS* ProfileRemoval(const DeviceState& state);

// False sets the last error.
bool CheckProfileRemoval(const std::wstring& instanceId, const SP_REMOVEDEVICE_PARAMS& removal);

// The part of the registry that belongs to an existing profile, below HKEY_LOCAL_MACHINE and with a
// final backslash. Paths in it look like those below HKEY_LOCAL_MACHINE.
std::wstring ProfileBranch(DWORD profile);

} // namespace bench

#endif
