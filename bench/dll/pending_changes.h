// Devices that cannot be stopped while the system runs. What is asked of such a device takes effect
// when the machine restarts (bench/machine/restart.cpp); until then the device stays as it is.
#ifndef QV_BENCH_DLL_PENDING_CHANGES_H
#define QV_BENCH_DLL_PENDING_CHANGES_H

#include <windows.h>
#include <string>

namespace bench {

// False for a device that runs and that the machine's description says cannot be stopped.
bool CanStop(const std::wstring& instanceId);

// How the device is disabled from the restart on: bit 0 globally, bit 1 in the hardware profile.
DWORD DisabledAfterRestart(const std::wstring& instanceId);

// From the restart on the device is disabled so, or it is no longer there.
void DisableAtRestart(const std::wstring& instanceId, DWORD disabled);
void RemoveAtRestart(const std::wstring& instanceId);

} // namespace bench

#endif
