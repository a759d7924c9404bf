// The main sheet and an adapter's sheet differ only in their pages.
#include "app/sheet.h"

#include "include/resource.h"
#include "inventory/tables.h"
#include "inventory/trace.h"

void FillSheetPage(PROPSHEETPAGEW* page, int dialogId, int titleId, DLGPROC procedure,
                   LPARAM lParam) {
    ZeroMemory(page, sizeof(*page));
    page->dwSize = sizeof(*page);
    page->dwFlags = PSP_USETITLE;
    page->hInstance = hInstance;
    page->pszTemplate = MAKEINTRESOURCEW(dialogId);
    page->pszTitle = MAKEINTRESOURCEW(titleId);
    page->pfnDlgProc = procedure;
    page->lParam = lParam;
}

// A header without a bitmap belongs to the definition.
void FillSheetHeader(PROPSHEETHEADERW* header, HWND parent, int captionId,
                     const PROPSHEETPAGEW* pages, UINT nPages) {
    ZeroMemory(header, sizeof(*header));
    header->dwSize = sizeof(*header);
    header->dwFlags = PSH_USEICONID | PSH_PROPSHEETPAGE | PSH_NOAPPLYNOW | PSH_HEADER;
    header->hwndParent = parent;
    header->hInstance = hInstance;
    header->pszIcon = MAKEINTRESOURCEW(IDI_QUOVANE);
    header->pszCaption = MAKEINTRESOURCEW(captionId);
    header->nPages = nPages;
    header->ppsp = pages;
}

// The message has no owner and the system's own caption.
void ShowSheet(const PROPSHEETHEADERW* header) {
    Trace(L"-->ShowSheet: %d\n", header->nPages);
    INT_PTR result = PropertySheetW(header);
    if (result == -1)
        MessageBoxW(NULL, L"Cannot Create Property Sheet", NULL, MB_OK);
    Trace(L"<--ShowSheet: %d\n", static_cast<int>(result));
}
