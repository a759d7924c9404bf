// What a team's adapters must be before anything on the machine is changed.
#pragma once

#include "include/records.h"

// TRUE when the adapter's driver key names the maker, exactly. An adapter that is not present, or
// without a provider, is not the maker's.
BOOL IsQuovaneNic(const AdapterEntry* nic);

// Results of ValidateNICs. The last two are reserved; each has its text in team creation.
constexpr int NICS_VALID = 0;
constexpr int NICS_NOT_OPENED = 1;
constexpr int NICS_MTU_DIFFERS = 2;
constexpr int NICS_CABLE_UNPLUGGED = 3;

// Opens the driver of each member of the team being made, in order.
//   hDlg  the team configuration page; without its state record nothing is opened
int ValidateNICs(HWND hDlg, const TeamEntry* team);

// TRUE when the system is Windows 5.1, which no 64-bit Windows reports, or its version is unknown, and
// any present adapter of the maker has its TCP connection offload switched on.
//   hDlg  parent window of the device list
BOOL IsWinXPAndOffload(HWND hDlg);
