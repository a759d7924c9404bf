// The ticked rows of a list view with check boxes. Selected, everywhere in this program, means that
// the check box is ticked, not that the row is highlighted.
#pragma once

#include <windows.h>

// Stores the indices of the first `max` ticked items, in list order. Returns how many were stored.
int GetCheckedItems(HWND list, int max, LONG* indices);

int CountCheckedItems(HWND list);

// Whether the one item is ticked.
BOOL IsItemChecked(HWND list, int item);

// Ticks or unticks one item; UncheckAllItems unticks every one.
void CheckItem(HWND list, int item, BOOL ticked);
void UncheckAllItems(HWND list);
