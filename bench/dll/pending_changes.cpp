#include "pending_changes.h"

#include "../machine/device_start.h"
#include "data.h"
#include "device.h"

namespace bench {

namespace {

bool IsStarted(const std::wstring& instanceId) {
    const std::wstring guid = AdapterGuid(instanceId);
    return !guid.empty() &&
           ReadNumber(std::wstring(kAdaptersKey) + L"\\" + guid, L"Started", 0) != 0;
}

} // namespace

bool CanStop(const std::wstring& instanceId) {
    return ReadNumber(BenchDeviceKey(instanceId), qvmachine::kStops, 1) != 0 ||
           !IsStarted(instanceId);
}

DWORD DisabledAfterRestart(const std::wstring& instanceId) {
    const std::wstring key = BenchDeviceKey(instanceId);
    return ReadNumber(key, qvmachine::kPendingDisabled, ReadNumber(key, qvmachine::kDisabled, 0));
}

void DisableAtRestart(const std::wstring& instanceId, DWORD disabled) {
    const std::wstring key = BenchDeviceKey(instanceId);
    if (disabled == ReadNumber(key, qvmachine::kDisabled, 0))
        DeleteValue(key, qvmachine::kPendingDisabled);
    else
        WriteNumber(key, qvmachine::kPendingDisabled, disabled);
}

void RemoveAtRestart(const std::wstring& instanceId) {
    WriteNumber(BenchDeviceKey(instanceId), qvmachine::kPendingRemoval, 1);
}

} // namespace bench
