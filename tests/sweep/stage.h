// How an operation's steps reach the windows: the property sheets are driven from inside their own
// message loops, and everything that a user would read from them is kept as facts.
#pragma once

#include "operations.h"

#include <functional>

// Runs `modal`, which opens a property sheet; `use` gets the sheet from inside its message loop and
// has to close it. Not called when no sheet opens.
void WithSheet(const std::function<void()>& modal, const std::function<void(HWND sheet)>& use);

// Goes round all pages of an adapter's or team's sheet, presses what can be pressed, keeps what is
// shown and closes the sheet.
void VisitPages(HWND sheet, Facts* shown);

// The rows, boxes and buttons of the team configuration page.
void ReadTeamPage(HWND page, Facts* shown);
