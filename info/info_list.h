// The list of two columns that an adapter page makes for itself.
#pragma once

#include <windows.h>

struct InfoColumn {
    LPCWSTR title;
    int width; // pixels
};

// Makes the list with grid lines, first in the page's tab order. When it cannot be made the user is
// told and the result is NULL; the routines below then do nothing.
//   title    the control's window text
//   cx, cy   pixels
//   columns  two
HWND CreateInfoList(HWND page, LPCWSTR title, int cx, int cy, const InfoColumn* columns);

// Removes the page's list, if it has one.
void DestroyInfoList(HWND page);

// Inserts a row.
//   position  from 0; one behind the last row appends
//   value     NULL leaves the second column empty
void InsertInfoRow(HWND list, int position, LPCWSTR name, LPCWSTR value);
