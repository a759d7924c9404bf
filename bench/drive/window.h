// Finds the windows of a started program and reads what they show. Reading goes through window
// messages; nothing here changes a window.
#ifndef BENCH_DRIVE_WINDOW_H
#define BENCH_DRIVE_WINDOW_H

#include <string>
#include <vector>
#include <windows.h>

namespace drive {

// The visible top-level windows of a process, topmost first.
std::vector<HWND> TopLevelWindows(DWORD processId);

// The direct children of a window in their order, visible or not.
std::vector<HWND> Children(HWND window);

std::wstring ClassOf(HWND window);

// The text of any control or window, of any length; empty when it does not answer.
std::wstring TextOf(HWND window);

// The name a script calls a control by: its id, or its class when it has none.
std::wstring NameOf(HWND control);

// The control called `name` in `dialog`: a decimal id, or a class name with an optional ":2" for
// the second one of that class. An id that the dialog lacks is looked for among the siblings of a
// property page (the buttons of its sheet). NULL when there is none.
HWND FindControl(HWND dialog, const std::wstring& name);

bool IsCheckBox(HWND control);
bool IsTicked(HWND checkBox);

// The entries of a combo or list box, in order, and the selected one (-1: none).
std::vector<std::wstring> BoxEntries(HWND box, int* selected);

// The control of the process that has the keyboard focus, or NULL.
HWND FocusOf(HWND window);

} // namespace drive

#endif
