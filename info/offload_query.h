// Asks a driver, of NDIS 5 or NDIS 6, what work its adapter takes over.
#pragma once

#include <windows.h>

// Words the answer as the General page shows it; "Unknown" when there is none.
//   text  VALUE_CCH characters
void AskOffload(HANDLE device, LPWSTR text);
