// Which Windows this is. Drivers, installation routes and limits depend on it.
#pragma once

#include <windows.h>

// FALSE, with all fields 0, when it cannot be found out.
BOOL ReadWindowsVersion(OSVERSIONINFOW* version);
