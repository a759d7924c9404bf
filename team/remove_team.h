// Dissolves the teams that are ticked on the page.
#pragma once

#include <windows.h>

// Results of RemoveTeam.
constexpr int REMOVE_NOT_ATTEMPTED = 2;

// Not available yet: says so in the page's status box, changes nothing and returns
// REMOVE_NOT_ATTEMPTED.
int RemoveTeam(HWND hDlg);
