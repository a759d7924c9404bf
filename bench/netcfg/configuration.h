// INetCfg with INetCfgLock, and the class objects that it hands out.
#pragma once

#include <windows.h>
#include <netcfgx.h>

// A new configuration object, not initialised, with one reference for the caller.
INetCfg* MakeConfiguration();
