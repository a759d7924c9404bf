// How a page that keeps no changes answers its property sheet.
#pragma once

#include <windows.h>
#include <prsht.h>

// Has no objection to being shown, left or applied. The result is the dialog procedure's.
static inline INT_PTR AnswerSheet(HWND hDlg, const NMHDR* header) {
    switch (header->code) {
    case PSN_SETACTIVE:
    case PSN_KILLACTIVE:
    case PSN_APPLY:
        SetWindowLongPtrW(hDlg, DWLP_MSGRESULT, PSNRET_NOERROR);
        return TRUE;
    case PSN_RESET:
        return FALSE;
    default:
        return TRUE;
    }
}
