// Gives a program real input, as a person does: the mouse goes to the place on screen and clicks
// there, keys go to whatever has the focus. What is in the way gets in the way.
//
// Every routine returns when the program has taken the input in and waits for more; one that works
// on for longer than the hang guard is an error. With `leave` set it returns at once after the
// input, for a program that is meant to stop on the way.
#ifndef BENCH_DRIVE_INPUT_H
#define BENCH_DRIVE_INPUT_H

#include <string>
#include <vector>
#include <windows.h>

namespace drive {

// Waits until the thread of the window has emptied its input queue. A window that went away
// meanwhile counts as idle.
bool WaitIdle(HWND window, std::wstring* error);

// Waits until everything in the top-level window around this one is painted.
bool WaitPainted(HWND window, std::wstring* error);

// Clicks at a point of the window, in its client coordinates. The window must be what the system finds
// there, at the latest when the window manager has put a new window into its place.
bool MouseClick(HWND window, POINT point, bool leave, std::wstring* error);

// Clicks a button, check box or any other control; it must be visible, enabled and uncovered.
bool ClickControl(HWND control, bool leave, std::wstring* error);

// Walks with Tab until the control has the focus.
bool TabTo(HWND control, std::wstring* error);

// Walks to the control with Tab and presses Space.
bool SpaceControl(HWND control, bool leave, std::wstring* error);

// The controls in the order in which Tab reaches them, once round, from the dialog's first one.
bool TabOrder(HWND dialog, std::vector<HWND>* order, std::wstring* error);

// Presses one key, with modifiers: "Tab", "Shift+Tab", "Enter", "Escape", "Space", "Up", "Down",
// "Left", "Right", "Home", "End", "Delete", "Backspace", "F4", "Alt+C". Goes to the program that
// owns `window`.
bool PressKey(HWND window, const std::wstring& key, bool leave, std::wstring* error);

// Replaces the text of an edit: clicks into it, marks everything and types.
bool TypeText(HWND edit, const std::wstring& text, std::wstring* error);

// Brings the check box of a list row to `ticked`, with a click on it or, with `keyboard`, with Tab,
// the arrow keys and Space. Nothing happens when it is there already.
bool TickRow(HWND list, int row, bool ticked, bool keyboard, std::wstring* error);

// The same for a check box control.
bool TickBox(HWND checkBox, bool ticked, bool keyboard, std::wstring* error);

} // namespace drive

#endif
