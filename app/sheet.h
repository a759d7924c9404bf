// What the program's property sheets have in common.
#pragma once

#include <windows.h>
#include <prsht.h>

// Fills a page record: a dialog of this program, its title from the string table.
//   lParam  what the page's WM_INITDIALOG finds in its record
void FillSheetPage(PROPSHEETPAGEW* page, int dialogId, int titleId, DLGPROC procedure,
                   LPARAM lParam);

// Fills a header record for a sheet over these pages; they must outlive the call that shows it.
//   parent  NULL for the desktop
void FillSheetHeader(PROPSHEETHEADERW* header, HWND parent, int captionId,
                     const PROPSHEETPAGEW* pages, UINT nPages);

// Shows the sheet and waits for its end. When it cannot be made the user is told.
void ShowSheet(const PROPSHEETHEADERW* header);
