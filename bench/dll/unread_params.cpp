#include "unread_params.h"

#include "calls.h"
#include "journal.h"

namespace bench {

namespace {

volatile LONG g_installParamsReads;

// Calls that a fault has ended, which TakeRead is not told of.
DWORD FailedInstallParamsReads() {
    DWORD calls = 0;
    CallCount("SetupDiGetDeviceInstallParamsW", &calls);
    return calls - static_cast<DWORD>(g_installParamsReads);
}

} // namespace

// Page "SetupDiCallClassInstaller function": after each call that succeeds the caller must read the
// install parameters for a due restart. No refusal is documented. Here that counts for the calls of
// SetupDiChangeState and SetupDiRemoveDevice only; a failed read counts as one.
void ReportUnread(const DeviceState& state) {
    if (!state.unread.empty() && state.failedReads == FailedInstallParamsReads())
        Journal(L"misuse", state.unread + L": the install parameters ask for a restart unread");
}

void ExpectRead(DeviceState* state, const wchar_t* routine, const std::wstring& id, DWORD flags) {
    ReportUnread(*state);
    state->unread.clear();
    if (flags & (DI_NEEDRESTART | DI_NEEDREBOOT))
        state->unread = std::wstring(routine) + L": " + id;
    state->failedReads = FailedInstallParamsReads();
}

void TakeRead(DeviceState* state) {
    InterlockedIncrement(&g_installParamsReads);
    state->unread.clear();
}

} // namespace bench
