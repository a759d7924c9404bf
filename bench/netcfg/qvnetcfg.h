// What a test asks the network configuration server beyond its COM interfaces. The server may be
// unloaded when the last apartment of the process ends: a test that wants the counts afterwards
// keeps the DLL loaded itself (LoadLibraryW before the first CoCreateInstance).
#pragma once

#include <windows.h>

extern "C" {

// COM objects of this process that somebody still holds (class factories not counted).
long NetCfgLiveObjects(void);

// TRUE while an object of this process holds the network configuration write lock.
BOOL NetCfgLockHeld(void);

// How often an object of this process was let go without a word to the lock that it held. The lock goes
// with it, so that nobody else would notice.
long NetCfgLocksForgotten(void);
}
