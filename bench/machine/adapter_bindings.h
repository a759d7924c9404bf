// What binds to an adapter of a machine: the ranges that its driver key has, and the paths above it
// that are not in their components' default state.
#pragma once

#include "machine.h"

namespace qvmachine {

// UpperRange and LowerRange as a driver key has them: of the machine file, or else those of the
// adapter's kind, which its hardware ids tell.
struct Ranges {
    std::wstring upper;
    std::wstring lower;
};
Ranges RangesOf(const MachineAdapter& adapter, const std::vector<std::wstring>& hardwareIds);

// The state that the machine file asks for; nothing: the owner's default. `owner` is the component
// on top of the path.
std::optional<bool> StateOf(const MachineAdapter& adapter, const NetCfgPath& path,
                            const NetCfgComponent& owner);

} // namespace qvmachine
