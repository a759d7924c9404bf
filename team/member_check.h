// The one question that enumeration asks the member records. This header is a door that leads
// upwards: enumeration lies below the team rooms and must leave team members out of its list.
#pragma once

#include <windows.h>

// TRUE when the adapter with this open driver key is a member of a team: its member record holds a
// TeamNumber with any mode bit set. A missing record, value or instance id means that it is not.
BOOL IsNICTeamed(HKEY driverKey);
