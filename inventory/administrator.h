// Whether the user may change the machine. It lies at the bottom because the team jobs ask it as
// well as the VLAN page.
#pragma once

#include <windows.h>

// Nonzero when the calling thread's token is a member of the built-in Administrators group; 0 also
// when that cannot be found out.
BOOL IsUserAdmin(void);
