// The page and its dialog report alike.
#include "vlan/vlan_message.h"

#include "inventory/trace.h"

void ShowVlanError(HWND owner, LPCWSTR text) {
    Trace(L"-->ShowVlanError: %s\n", text);
    MessageBoxW(owner, text, L"Error", MB_ICONEXCLAMATION);
    Trace(L"<--ShowVlanError:\n");
}
