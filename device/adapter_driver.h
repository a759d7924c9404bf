// Opens an adapter's driver, to learn that it answers or to ask it.
#pragma once

#include <windows.h>

// Opens "\\.\{GUID}" without access rights, which is enough for queries.
//   guid  the adapter's NetCfgInstanceId
// Returns INVALID_HANDLE_VALUE on failure; otherwise the caller closes it with CloseHandle.
HANDLE OpenAdapterDriver(const GUID* guid);

// Whether the driver opens: that of an adapter which is disabled or gone does not.
BOOL AdapterDriverOpens(const GUID* guid);
