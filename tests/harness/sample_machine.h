// Small machines put together in code, for tests that need an adapter of a particular kind.
#pragma once

#include "harness/machine_test.h"

#include <string>

// The n-th (0 to 31) port of the maker: "Port n", in the enumeration's order.
MachineAdapter SamplePort(unsigned n);

// The n-th virtual adapter, below ROOT\NET, of the maker: "Virtual n".
MachineAdapter SampleVirtual(unsigned n);

// {A0000000-...-n} and {B0000000-...-n}, as the samples have them.
std::wstring PortGuid(unsigned n);
std::wstring VirtualGuid(unsigned n);

// Replaces a property of a device that stands; bytes exactly as given.
void SetDeviceText(const std::wstring& instance, const std::wstring& name,
                   const MachineValue& value);

// The registry path of a device's driver key.
std::wstring DriverKeyOf(const std::wstring& instance);
