// Opens and closes the machine's network configuration under its write lock.
#pragma once

#include <windows.h>
#include <netcfgx.h>

// How this program calls itself to others that wait for the lock.
#define NET_CONFIG_CLIENT L"QvTeamCfg"

// Initialises COM on the calling thread and hands out the configuration, locked and initialised.
//   writeLock    the lock is taken whatever it says
//   client       description shown to others while the lock is held
//   netCfg       receives the interface, to be given back with HrReleaseINetCfg
//   lockHolder   may be NULL; receives, with NETCFG_E_NO_WRITE_LOCK, the description of the client
//                that holds the lock, which the caller releases with CoTaskMemFree; else NULL
// Waits at most 5 seconds for the lock. On failure nothing stays open.
HRESULT HrGetINetCfg(BOOL writeLock, LPCWSTR client, INetCfg** netCfg, LPWSTR* lockHolder);

// Gives back what HrGetINetCfg handed out and uninitialises COM.
//   hasWriteLock  the lock is always held and always released
// Returns the result of Uninitialize or of the release of the lock.
HRESULT HrReleaseINetCfg(INetCfg* netCfg, BOOL hasWriteLock);
