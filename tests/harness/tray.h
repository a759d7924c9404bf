// The journal's lines of the tray program's start and of its stop message.
#pragma once

#include <string>

// Detached, hidden, with no handle inherited. What else stands in the start-up record comes from the
// program's own.
inline std::wstring TrayStart(const std::wstring& commandLine) {
    return commandLine + L" flags=0x00000028 startf=0x00000001 show=0 inherit=0";
}

// Sent to all top-level windows but the program's own, with nothing asked.
inline const wchar_t kTrayStop[] = L"TermQvTray flags=0x2 recipients=0x8 wParam=0x0 lParam=0x0";
