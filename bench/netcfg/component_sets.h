// The components that a machine has before anything is installed on it.
#pragma once

#include <string>
#include <vector>

#include "model.h"

// `name` is one of
//   default      TCP/IP with NetBT, and client and server over them: enough for most tests
//   windows-10   what Windows 10 and 11 bind to their adapters
//   hyper-v      the same with Hyper-V
// Each has the teaming protocol as well. Any other name gives nothing.
std::vector<NetCfgComponent> NetCfgComponentSet(const std::wstring& name);

// The component of this id in any of the sets, or else a protocol of that id over NDIS adapters.
NetCfgComponent NetCfgTemplate(const std::wstring& id);
