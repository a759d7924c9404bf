// The teaming protocol driver: whether it is installed, and its installation.
#pragma once

#include <windows.h>
#include <netcfgx.h>

// TRUE when the driver's service key opens.
BOOL IsProtocolDriverInstalled(void);

// Installs the protocol. Returns 0 when its INF cannot be found, and the network configuration then
// stays open and locked until the program ends; 1 otherwise, also when the
// installation failed or another client holds the network configuration: team creation then goes on
// and reports what it meets.
int InstallProtocolDriver(HWND parent);

// Installs the protocol component into a locked configuration and applies it.
HRESULT HrInstallNetComponent(INetCfg* netCfg);
