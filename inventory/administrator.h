// Whether the user may change the machine. It lies at the bottom because team jobs, the VLAN page
// and nothing between them ask it.
#pragma once

#include <windows.h>

// Nonzero when the calling thread's token is a member of the built-in Administrators group; 0 also
// when that cannot be found out.
BOOL IsUserAdmin(void);
