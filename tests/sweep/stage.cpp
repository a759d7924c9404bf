#include "stage.h"

#include "include/resource.h"

#include <commctrl.h>
#include <prsht.h>

namespace {

constexpr UINT WM_STEP = WM_APP + 1;

struct SheetUse {
    const std::function<void(HWND)>* use;
    HICON icon;
};

BOOL CALLBACK FindSheet(HWND window, LPARAM found) {
    wchar_t name[16] = L"";
    GetClassNameW(window, name, 16);
    if (wcscmp(name, L"#32770") != 0 || PropSheet_GetTabControl(window) == nullptr)
        return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

LRESULT CALLBACK Step(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                      DWORD_PTR context) {
    if (message != WM_STEP)
        return DefSubclassProc(window, message, wParam, lParam);
    auto sheetUse = reinterpret_cast<SheetUse*>(context);
    HWND sheet = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), FindSheet, reinterpret_cast<LPARAM>(&sheet));
    if (sheet != nullptr) {
        (*sheetUse->use)(sheet);
        sheetUse->icon = reinterpret_cast<HICON>(SendMessageW(sheet, WM_GETICON, ICON_SMALL, 0));
        PropSheet_PressButton(sheet, PSBTN_CANCEL);
    }
    return 0;
}

std::wstring Cell(HWND list, int row, int column) {
    wchar_t text[512] = {};
    LVITEMW item = {};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = ARRAYSIZE(text);
    SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    return item.pszText != nullptr ? item.pszText : L"";
}

std::string Place(int number) {
    char text[16];
    snprintf(text, sizeof(text), "%02d", number);
    return text;
}

void ReadList(HWND list, const std::string& path, int columns, Facts* shown) {
    for (int row = 0; row < ListView_GetItemCount(list); row++) {
        std::wstring text;
        for (int column = 0; column < columns; column++)
            text += (column != 0 ? L" | " : L"") + Cell(list, row, column);
        (*shown)[path + "\\" + Place(row)] = NarrowText(text);
    }
}

void ReadButton(HWND page, int id, const std::string& path, Facts* shown) {
    (*shown)[path + "\\button\\" + std::to_string(id)] =
        IsWindowEnabled(GetDlgItem(page, id)) ? "enabled" : "disabled";
}

void ReadPage(HWND page, const std::string& path, Facts* shown) {
    int lists = 0;
    for (HWND list = nullptr; (list = FindWindowExW(page, list, WC_LISTVIEWW, nullptr)) != nullptr;)
        ReadList(list, path + "\\list" + std::to_string(lists++), 2, shown);
    if (GetDlgItem(page, IDC_ADD_VLAN) != nullptr && GetDlgItem(page, IDC_VLAN_LIST) != nullptr) {
        ReadButton(page, IDC_ADD_VLAN, path, shown);
        ReadButton(page, IDC_REMOVE_VLAN, path, shown);
    }
    for (int id : {IDC_TEAM_MODE, IDC_TEAM_METHOD}) {
        HWND box = GetDlgItem(page, id);
        if (box == nullptr)
            continue;
        const std::string name = path + "\\box\\" + std::to_string(id);
        (*shown)[name] = std::to_string(SendMessageW(box, CB_GETCURSEL, 0, 0)) + " of " +
                         std::to_string(SendMessageW(box, CB_GETCOUNT, 0, 0));
    }
    if (HWND members = GetDlgItem(page, IDC_TEAM_MEMBERS)) {
        for (int row = 0; row < SendMessageW(members, LB_GETCOUNT, 0, 0); row++) {
            wchar_t text[512] = {};
            if (SendMessageW(members, LB_GETTEXTLEN, static_cast<WPARAM>(row), 0) < 512)
                SendMessageW(members, LB_GETTEXT, static_cast<WPARAM>(row),
                             reinterpret_cast<LPARAM>(text));
            (*shown)[path + "\\member\\" + Place(row)] = NarrowText(text);
        }
    }
}

} // namespace

void WithSheet(const std::function<void()>& modal, const std::function<void(HWND)>& use) {
    SheetUse sheetUse = {&use, nullptr};
    HWND window = CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  nullptr, nullptr);
    SetWindowSubclass(window, Step, 1, reinterpret_cast<DWORD_PTR>(&sheetUse));
    PostMessageW(window, WM_STEP, 0, 0);
    modal();
    PageHost::Pump();
    DestroyWindow(window);
    // Wine's property sheets load their icon and leave it behind.
    DestroyIcon(sheetUse.icon);
}

void VisitPages(HWND sheet, Facts* shown) {
    const int pages =
        static_cast<int>(SendMessageW(PropSheet_GetTabControl(sheet), TCM_GETITEMCOUNT, 0, 0));
    (*shown)["sheet\\pages"] = std::to_string(pages);
    for (int step = 1; step <= pages; step++) {
        PropSheet_SetCurSel(sheet, nullptr, step % pages);
        HWND page = PropSheet_GetCurrentPageHwnd(sheet);
        const std::string path = "sheet\\page" + std::to_string(step % pages);
        ReadPage(page, path, shown);
        for (int id : {IDC_REFRESH, IDC_RESET}) {
            HWND button = GetDlgItem(page, id);
            if (button == nullptr)
                continue;
            SendMessageW(button, BM_CLICK, 0, 0);
            ReadPage(page, path + (id == IDC_REFRESH ? "\\refreshed" : "\\reset"), shown);
        }
    }
}

void ReadTeamPage(HWND page, Facts* shown) {
    for (int id : {IDC_NIC_LIST, IDC_TEAM_LIST})
        ReadList(GetDlgItem(page, id), "page\\list\\" + std::to_string(id), 1, shown);
    for (int id : {IDC_CREATE_TEAM, IDC_REMOVE_TEAM, IDC_PROPERTIES, IDC_MOVE_UP, IDC_MOVE_DOWN,
                   IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP, IDC_FAILBACK, IDC_TRAY_ICON})
        ReadButton(page, id, "page", shown);
    wchar_t name[300] = {};
    GetDlgItemTextW(page, IDC_TEAM_NAME, name, 300);
    (*shown)["page\\proposed"] = NarrowText(name);
}
