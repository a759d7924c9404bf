// Reports a caller who does not read from the install parameters that a restart is due.
#ifndef QV_BENCH_DLL_UNREAD_PARAMS_H
#define QV_BENCH_DLL_UNREAD_PARAMS_H

#include <windows.h>
#include <string>

#include "set_state.h"

namespace bench {

// Call it when `routine` has succeeded for the device. When `flags`, those of the install parameters
// then, ask for a restart, the next read of the parameters is due.
void ExpectRead(DeviceState* state, const wchar_t* routine, const std::wstring& instanceId,
                DWORD flags);

// Call it for each read of the install parameters.
void TakeRead(DeviceState* state);

// Writes a journal line when a read is due. Call it when the device or its set goes.
void ReportUnread(const DeviceState& state);

} // namespace bench

#endif
