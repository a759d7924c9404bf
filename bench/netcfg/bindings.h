// Binding paths and the hops that they consist of.
#pragma once

#include <windows.h>
#include <netcfgx.h>

#include <vector>

#include "workspace.h"

// With one reference for the caller.
IEnumNetCfgBindingPath* MakePathEnumerator(const WorkspacePointer& workspace,
                                           const std::vector<NetCfgPath>& paths);
