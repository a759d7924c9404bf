// How the VLAN windows tell the user of a failure.
#pragma once

#include <windows.h>

// Shows the text in a message box over `owner` and waits for it.
void ShowVlanError(HWND owner, LPCWSTR text);
