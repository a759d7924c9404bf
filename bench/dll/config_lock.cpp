#include "config_lock.h"

#include <windows.h>

#include "../netcfg/lock_token.h"
#include "clock.h"
#include "data.h"

namespace bench {

namespace {

bool HeldByImaginaryClient() {
    if (ReadText(kMachineKey, L"LockHolder").empty())
        return false;
    DWORD seconds = ReadNumber(kMachineKey, L"LockSeconds", INFINITE);
    return seconds == INFINITE || Now() < seconds * 1000ull;
}

// Nobody connects to the pipe, so waiting for it tells only whether it exists.
bool HeldByProgram() {
    return WaitNamedPipeW(kLockToken, 1) || GetLastError() != ERROR_FILE_NOT_FOUND;
}

} // namespace

bool AdapterInstallationLocked() {
    return ReadNumber(kMachineKey, L"InstallNeedsLock", 0) != 0 &&
           (HeldByImaginaryClient() || HeldByProgram());
}

} // namespace bench
