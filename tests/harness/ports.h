// Machines with as many free ports of the maker as a test needs: port0, port1 ...
#pragma once

#include "machine.h"

#include <string>

// A machine with nothing but what a test is about, and one as it is deployed.
extern const wchar_t kSimpleMachine[];
extern const wchar_t kDeployedMachine[];

// Loads `file` and replaces the maker's present adapters by `count` ports like its port0: "Port 0",
// "Port 1" ... in the order of enumeration. The second one has the bindings off that the file's port1
// has off. Everything else stays. On failure prints the reason to standard error, leaves `machine` as it was
// and returns false.
bool LoadWithPorts(const std::wstring& file, int count, Machine* machine);

// Whether this row of the unassigned adapters is one of those ports, or an adapter that Windows brings
// itself.
bool IsPortRow(int row);
bool IsInboxRow(int row);
bool IsInbox(const MachineAdapter& adapter);
