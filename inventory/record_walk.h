// The one walk over the teaming protocol driver's member records.
#pragma once

#include <windows.h>

// Visits one record; name is its key below `records` and lives until the visitor returns. FALSE ends
// the walk.
typedef BOOL (*RecordVisitor)(HKEY records, LPCWSTR name, void* context);

// Visits the records in the order of the registry. Returns the Win32 status of opening the key that
// holds them; without it nothing is visited.
LONG WalkMemberRecords(RecordVisitor visit, void* context);
