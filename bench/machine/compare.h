// Two dumps compared: what a program has changed on a machine and not put back, each line with the
// reason why it stays. The reasons are those of a team or VLAN that was created and removed again.
#pragma once

#include <string>
#include <vector>

struct DumpChange {
    bool added = false;           // in the later dump only; otherwise in the earlier one only
    std::string line;             // "path = value"
    const char* reason = nullptr; // why it stays; null when no rule explains it
    // Nothing of the administrator's is lost: a trace of the adapters that are gone, or the same text
    // stored with another size. False for a setting that is now another one.
    bool trace = false;
};

// Every line that only one of the two dumps has, sorted by path, the earlier one's first.
std::vector<DumpChange> MachineCompare(const std::string& before, const std::string& after);
