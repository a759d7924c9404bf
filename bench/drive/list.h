// Reads list views and tab rows of another process. Their messages carry structures, which have to
// lie in the memory of the process that owns the control.
#ifndef BENCH_DRIVE_LIST_H
#define BENCH_DRIVE_LIST_H

#include <string>
#include <vector>
#include <windows.h>

namespace drive {

struct ListRow {
    std::vector<std::wstring> texts; // one for each column
    bool hasBox = false;             // the row shows a check box
    bool ticked = false;
};

std::vector<std::wstring> ListColumns(HWND list);
std::vector<ListRow> ListRows(HWND list);
int ListRowCount(HWND list);
bool ListRowTicked(HWND list, int row);

// The row that keyboard commands act upon, or -1.
int ListFocusedRow(HWND list);

// A point, in client coordinates of the list, inside the check box (or, with `onBox` false, the text) of a row
// that is scrolled into view first. False when the row has no such place.
bool ListRowPoint(HWND list, int row, bool onBox, POINT* point);

// The captions of a property sheet's tabs in order; *current receives the one in front.
std::vector<std::wstring> TabCaptions(HWND tabs, int* current);

// The middle of a tab in client coordinates of the row of tabs.
bool TabPoint(HWND tabs, int index, POINT* point);

} // namespace drive

#endif
