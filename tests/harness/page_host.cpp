#include "harness/page_host.h"

#include "app/team_page_dialog.h"

#include <commctrl.h>
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <prsht.h>

extern BOOL g_firstTime;

PageHost::PageHost() {
    hInstance = GetModuleHandleW(L"qvteamcfg_core.dll");
    g_firstTime = TRUE;
    data_ = new SheetData{};
    parent_ = CreateWindowExW(0, L"#32770", L"Page host",
                              WS_OVERLAPPEDWINDOW | (g_hostsAreShown ? WS_VISIBLE : 0), 10, 10, 760,
                              560, nullptr, nullptr, nullptr, nullptr);
    PROPSHEETPAGEW page = {};
    page.dwSize = sizeof(page);
    page.lParam = reinterpret_cast<LPARAM>(data_);
    page_ = CreateDialogParamW(hInstance, MAKEINTRESOURCEW(IDD_TEAM_PAGE), parent_,
                               QvInstDialogProc, reinterpret_cast<LPARAM>(&page));
    EXPECT_NE(page_, nullptr);
    EnableWindow(page_, TRUE);
    ShowWindow(page_, SW_SHOW);
    Pump();
}

PageHost::~PageHost() {
    DestroyWindow(parent_);
    Pump();
    delete data_;
}

void PageHost::Pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

HWND PageHost::control(int id) const {
    HWND found = GetDlgItem(page_, id);
    EXPECT_NE(found, nullptr) << "control " << id;
    return found;
}

std::wstring PageHost::text(int id) const {
    wchar_t text[1024] = {};
    GetWindowTextW(control(id), text, 1024);
    return text;
}

void PageHost::setText(int id, const std::wstring& text) {
    SetWindowTextW(control(id), text.c_str());
}

bool PageHost::enabled(int id) const {
    return IsWindowEnabled(control(id));
}

bool PageHost::ticked(int id) const {
    return SendMessageW(control(id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void PageHost::tick(int id, bool on) {
    SendMessageW(control(id), BM_SETCHECK, on ? BST_CHECKED : BST_UNCHECKED, 0);
}

int PageHost::rows(int list) const {
    return ListView_GetItemCount(control(list));
}

std::wstring PageHost::rowText(int list, int row) const {
    wchar_t text[512] = {};
    LVITEMW item = {};
    item.pszText = text;
    item.cchTextMax = 512;
    SendMessageW(control(list), LVM_GETITEMTEXTW, row, reinterpret_cast<LPARAM>(&item));
    return item.pszText;
}

std::vector<std::wstring> PageHost::rowTexts(int list) const {
    std::vector<std::wstring> texts;
    for (int row = 0; row < rows(list); row++)
        texts.push_back(rowText(list, row));
    return texts;
}

std::vector<bool> PageHost::rowTicks(int list) const {
    std::vector<bool> ticks;
    for (int row = 0; row < rows(list); row++)
        ticks.push_back(rowTicked(list, row));
    return ticks;
}

bool PageHost::rowTicked(int list, int row) const {
    return ListView_GetCheckState(control(list), row) == 1;
}

void PageHost::tickRow(int list, int row, bool on) {
    ListView_SetCheckState(control(list), row, on);
}

void PageHost::clickRow(int list, int row) {
    notifyClick(list);
    tickRow(list, row, !rowTicked(list, row));
    redraw(list, row);
}

void PageHost::clickRow(int list, int row, bool on) {
    if (rowTicked(list, row) != on)
        clickRow(list, row);
}

void PageHost::redrawRow(int list, int row) {
    rowText(list, row);
}

void PageHost::redraw(int list, int row) {
    std::deque<std::pair<int, int>> due = {{list, row}};
    while (!due.empty()) {
        const auto next = due.front();
        due.pop_front();
        std::map<int, std::vector<bool>> before;
        for (int either : {IDC_NIC_LIST, IDC_TEAM_LIST})
            before[either] = rowTicks(either);
        redrawRow(next.first, next.second);
        for (const auto& [either, ticks] : before) {
            for (int i = 0; i < rows(either); i++) {
                if (rowTicked(either, i) != ticks[i])
                    due.push_back({either, i});
            }
        }
    }
}

void PageHost::notifyClick(int list) {
    NMITEMACTIVATE click = {};
    click.hdr.hwndFrom = control(list);
    click.hdr.idFrom = static_cast<UINT_PTR>(list);
    click.hdr.code = static_cast<UINT>(NM_CLICK);
    SendMessageW(page_, WM_NOTIFY, static_cast<WPARAM>(list), reinterpret_cast<LPARAM>(&click));
}

void PageHost::command(int id, int code) {
    SendMessageW(page_, WM_COMMAND, MAKEWPARAM(id, code), reinterpret_cast<LPARAM>(control(id)));
}
