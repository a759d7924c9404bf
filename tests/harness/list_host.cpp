#include "harness/list_host.h"

#include <gtest/gtest.h>

static constexpr UINT kSetHorizontalExtent = 0x194;

LRESULT CALLBACK ListHost::Record(HWND list, UINT message, WPARAM wParam, LPARAM lParam,
                                  UINT_PTR id, DWORD_PTR host) {
    ListHost* self = reinterpret_cast<ListHost*>(host);
    if (message == LVM_INSERTITEMW)
        self->insertions.push_back({static_cast<int>(id), *reinterpret_cast<LVITEMW*>(lParam)});
    if (message == kSetHorizontalExtent)
        self->extents.push_back({static_cast<int>(id), wParam});
    return DefSubclassProc(list, message, wParam, lParam);
}

ListHost::ListHost() {
    for (AdapterEntry& entry : g_nics)
        entry = {};
    for (AdapterDetails& details : g_nicDetails)
        details = {};
    for (AdapterEntry& entry : g_teamAdapters)
        entry = {};
    for (AdapterDetails& details : g_teamAdapterDetails)
        details = {};
    g_numTeams = 0;

    window_ = CreateWindowExW(0, L"#32770", L"List host", WS_OVERLAPPEDWINDOW, 0, 0, 400, 300,
                              nullptr, nullptr, nullptr, nullptr);
    EXPECT_NE(window_, nullptr);
    SetWindowLongPtrW(window_, DWLP_USER, reinterpret_cast<LONG_PTR>(&data_));
    for (int id : {IDC_NIC_LIST, IDC_TEAM_LIST}) {
        HWND made = CreateWindowExW(0, WC_LISTVIEWW, nullptr, WS_CHILD | LVS_REPORT, 0, 0, 200, 200,
                                    window_, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                                    nullptr, nullptr);
        EXPECT_NE(made, nullptr);
        SetWindowSubclass(made, Record, static_cast<UINT_PTR>(id),
                          reinterpret_cast<DWORD_PTR>(this));
    }
}

ListHost::~ListHost() {
    DestroyWindow(window_);
}

void ListHost::forgetData() {
    SetWindowLongPtrW(window_, DWLP_USER, 0);
}

HWND ListHost::list(int id) const {
    return GetDlgItem(window_, id);
}

int ListHost::rows(int id) const {
    return ListView_GetItemCount(list(id));
}

void ListHost::addRows(int id, int count) {
    LVITEMW item = {};
    for (int row = 0; row < count; row++) {
        item.iItem = row;
        SendMessageW(list(id), LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    }
    insertions.clear();
}

void ListHost::clear() {
    ListView_DeleteAllItems(list(IDC_NIC_LIST));
    ListView_DeleteAllItems(list(IDC_TEAM_LIST));
    insertions.clear();
    extents.clear();
}

std::vector<std::wstring> NamesOf(const AdapterEntry* entries, int rows) {
    std::vector<std::wstring> names;
    for (int row = 0; row < rows; row++)
        names.push_back(entries[row].name);
    return names;
}
