#include "harness/vlan_host.h"

#include "harness/page_host.h"
#include "vlan/vlan_page.h"

#include <commctrl.h>
#include <prsht.h>

static BoxCatcher* catching;

BoxCatcher::BoxCatcher(int answer)
    : answer_(answer), instead_("MessageBoxW", reinterpret_cast<void*>(Answer)) {
    EXPECT_EQ(nullptr, catching);
    catching = this;
}

BoxCatcher::~BoxCatcher() {
    catching = nullptr;
}

int WINAPI BoxCatcher::Answer(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
    catching->boxes.push_back({owner, text, caption != nullptr ? caption : L"<none>", type});
    if (catching->whileShown)
        catching->whileShown();
    // Whoever reads the last error behind a box reads the box's.
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return catching->answer_;
}

DialogOwner::DialogOwner() {
    window_ = CreateWindowExW(0, L"#32770", L"Dialog owner",
                              WS_OVERLAPPEDWINDOW | (g_hostsAreShown ? WS_VISIBLE : 0), 10, 10, 500,
                              480, nullptr, nullptr, nullptr, nullptr);
    EXPECT_NE(nullptr, window_);
    SetWindowSubclass(window_, Watch, 1, reinterpret_cast<DWORD_PTR>(this));
    PageHost::Pump();
}

DialogOwner::~DialogOwner() {
    RemoveWindowSubclass(window_, Watch, 1);
    DestroyWindow(window_);
    PageHost::Pump();
}

void DialogOwner::play(std::vector<DialogStep> steps) {
    steps_ = std::move(steps);
    done_ = 0;
    cancelled_ = 0;
}

LRESULT CALLBACK DialogOwner::Watch(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                    UINT_PTR, DWORD_PTR owner) {
    if (message == WM_ENTERIDLE && wParam == MSGF_DIALOGBOX)
        reinterpret_cast<DialogOwner*>(owner)->next(reinterpret_cast<HWND>(lParam));
    return DefSubclassProc(window, message, wParam, lParam);
}

void DialogOwner::next(HWND dialog) {
    if (done_ < steps_.size()) {
        steps_[done_++](dialog);
    } else if (++cancelled_ < 3) {
        PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    } else {
        ADD_FAILURE() << "the dialog does not let itself be cancelled";
        EndDialog(dialog, -2);
    }
    // Something to take in, so that the dialog comes to wait again.
    PostMessageW(dialog, WM_NULL, 0, 0);
}

void TypeInto(HWND edit, const std::wstring& text) {
    SetFocus(edit);
    SendMessageW(edit, EM_SETSEL, 0, -1);
    SendMessageW(edit, WM_CHAR, VK_BACK, 1);
    for (wchar_t c : text)
        SendMessageW(edit, WM_CHAR, c, 1);
}

void PasteInto(HWND edit, const std::wstring& text) {
    SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

void PressInDialog(WORD key) {
    PostMessageW(GetFocus(), WM_KEYDOWN, key, 1);
}

void ClickIn(HWND dialog, int id) {
    SendMessageW(GetDlgItem(dialog, id), BM_CLICK, 0, 0);
}

std::wstring TextIn(HWND dialog, int id) {
    wchar_t text[512] = {};
    GetDlgItemTextW(dialog, id, text, ARRAYSIZE(text));
    return text;
}

VlanPageHost::VlanPageHost(SheetOf host)
    : host_(host.nic >= 0 ? &g_nics[host.nic] : &g_teamAdapters[host.team]) {
    hInstance = GetModuleHandleW(L"qvteamcfg_core.dll");
    g_nicSelected = host.nic;
    g_teamSelected = host.team;
    PROPSHEETPAGEW page = {};
    page.dwSize = sizeof(page);
    page_ = CreateDialogParamW(hInstance, MAKEINTRESOURCEW(IDD_VLAN_PAGE), owner_.window(),
                               QvVlansDialogProc, reinterpret_cast<LPARAM>(&page));
    EXPECT_NE(nullptr, page_);
    EnableWindow(page_, TRUE);
    ShowWindow(page_, SW_SHOW);
    PageHost::Pump();
}

VlanPageHost::~VlanPageHost() {
    DestroyWindow(page_);
    g_nicSelected = g_teamSelected = -1;
}

VlanList* VlanPageHost::list() const {
    return &host_->vlans;
}

HWND VlanPageHost::control(int id) const {
    HWND found = GetDlgItem(page_, id);
    EXPECT_NE(nullptr, found) << "control " << id;
    return found;
}

bool VlanPageHost::enabled(int id) const {
    return IsWindowEnabled(control(id));
}

int VlanPageHost::rows() const {
    return ListView_GetItemCount(control(IDC_VLAN_LIST));
}

std::wstring VlanPageHost::cell(int row, int column) const {
    wchar_t text[512] = {};
    LVITEMW item = {};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = ARRAYSIZE(text);
    SendMessageW(control(IDC_VLAN_LIST), LVM_GETITEMTEXTW, row, reinterpret_cast<LPARAM>(&item));
    return item.pszText;
}

std::vector<std::wstring> VlanPageHost::cells() const {
    std::vector<std::wstring> texts;
    for (int row = 0; row < rows(); row++)
        texts.push_back(cell(row, 1) + L" " + cell(row, 0));
    return texts;
}

void VlanPageHost::tick(const std::vector<int>& ticked) {
    for (int row = 0; row < rows(); row++)
        ListView_SetCheckState(control(IDC_VLAN_LIST), row, FALSE);
    for (int row : ticked)
        ListView_SetCheckState(control(IDC_VLAN_LIST), row, TRUE);
}

bool VlanPageHost::ticked(int row) const {
    return ListView_GetCheckState(control(IDC_VLAN_LIST), row) == 1;
}

void VlanPageHost::addRow(DWORD id, const std::wstring& name) {
    int row = list()->numVlans++;
    list()->vlanIds[row] = static_cast<WORD>(id);
    lstrcpynW(list()->vlanNames[row], name.c_str(), NAME_CCH);
    LVITEMW item = {};
    item.mask = LVIF_TEXT;
    item.iItem = row;
    item.pszText = LPSTR_TEXTCALLBACKW;
    SendMessageW(control(IDC_VLAN_LIST), LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
}

INT_PTR VlanPageHost::command(int id, int code) {
    return SendMessageW(page_, WM_COMMAND, MAKEWPARAM(id, code),
                        reinterpret_cast<LPARAM>(control(id)));
}

void VlanPageHost::add(const std::wstring& vlanId, const std::wstring& name, bool untagged) {
    owner_.play({[=](HWND dialog) {
                     if (untagged)
                         ClickIn(dialog, IDC_UNTAGGED);
                     else
                         TypeInto(GetDlgItem(dialog, IDC_VLAN_ID), vlanId);
                     if (!untagged || !name.empty())
                         TypeInto(GetDlgItem(dialog, IDC_VLAN_NAME), name);
                 },
                 [](HWND dialog) { ClickIn(dialog, IDOK); }});
    command(IDC_ADD_VLAN);
    EXPECT_FALSE(owner_.stayedOpen());
}

void VlanPageHost::remove(const std::vector<int>& rows) {
    tick(rows);
    command(IDC_REMOVE_VLAN);
}
