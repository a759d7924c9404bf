// What a network adapter's driver does when its device starts: it reads its driver key. The values
// that it has read stay in use until the next start, whatever is written to the key meanwhile.
// Shared by the stand-ins, which start a device for a program, and by the machine, which starts all of
// them.
#pragma once

#include <windows.h>

#include <string>

namespace qvmachine {

// Values of the bench's key of an adapter, what its driver has read: NCF_HIDDEN of Characteristics (0 or
// 1), VlanID (missing: no VLAN), and what TakeDriverValues keeps.
constexpr wchar_t kHidden[] = L"Hidden";
constexpr wchar_t kVlanInUse[] = L"VlanInUse";
constexpr wchar_t kOwnAddress[] = L"OwnAddress";

// Values of the bench's key of a device, numbers of 32 bits but for the last. Disabled: bit 0 globally,
// bit 1 in the hardware profile. Stops: 0 when the device cannot be stopped, else missing.
// PendingDisabled: Disabled from the restart on. PendingRemoval: 1 when the device is gone from the
// restart on. PublishAt: bench milliseconds, 64 bits.
constexpr wchar_t kDisabled[] = L"Disabled";
constexpr wchar_t kStops[] = L"Stops";
constexpr wchar_t kPendingDisabled[] = L"PendingDisabled";
constexpr wchar_t kPendingRemoval[] = L"PendingRemoval";
constexpr wchar_t kPublishAt[] = L"PublishAt";

// The driver reads its driver key. Every adapter has its hidden bit read; the team miniport reads
// VlanID; any other adapter answers with NetworkAddress as its current address. OwnAddress keeps the
// answer that NetworkAddress replaces, and is empty when there was none. A device without
// NetCfgInstanceId is left alone.
void TakeDriverValues(const std::wstring& instance);

// What an adapter other than a team miniport's answers as its current address, "025156000001"; "" when
// that is not in its data.
std::wstring CurrentAddress(const std::wstring& instance);

// The team miniport provides its address in NetworkAddress, unless one is there. Returns the address,
// or "" when nothing was published.
std::wstring PublishAddress(const std::wstring& instance);

// The device starts at `now` on the bench clock: it is marked as started and its driver reads its key.
// The team miniport publishes its address as the machine's team-address says; one that is due later is
// noted in PublishAt. Returns what PublishAddress returned, or "".
std::wstring StartDevice(const std::wstring& instance, ULONGLONG now);

// The device stops. What its driver has read stays on record; an address that was still to come does
// not.
void StopDevice(const std::wstring& instance);

} // namespace qvmachine
