// Tells the program's dialogs apart. A window on screen does not say from which template it was
// made, and several have the same caption, so each is known by the controls that only it has.
#ifndef BENCH_DRIVE_DIALOGS_H
#define BENCH_DRIVE_DIALOGS_H

#include <string>
#include <windows.h>

namespace drive {

// The visible window of the process that was made from dialog `id` (1100 to 1104, 101, 102), or
// NULL. A page counts as visible while its tab is in front.
HWND FindDialog(DWORD processId, int id);

// A message box of the process, or NULL. *text receives what it says.
HWND FindMessageBox(DWORD processId, std::wstring* text);

// The top-level window of the process with exactly this caption, or NULL.
HWND FindCaption(DWORD processId, const std::wstring& caption);

} // namespace drive

#endif
