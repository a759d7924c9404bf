// Switches the protocol bindings above one adapter.
#pragma once

#include <windows.h>

// Enables (enable = 1) or disables (0) every binding path above the adapter, except those whose
// interfaces lead to the teaming protocol: these keep their state.
//   guid      the adapter's NetCfgInstanceId
//   physical  1 searches the physical adapters, any other value the virtual ones
// Returns 1 on completion, also when there is no such adapter; 0 when the network configuration
// could not be opened, within 5 seconds when another client holds it, or its adapters not be
// listed.
int EnableProtocolNicBindings(HWND parent, const GUID* guid, int enable, int physical);
