#include "harness/sheet_host.h"

#include "harness/page_host.h"

#include "info/statistics_table.h"

#include <commctrl.h>
#include <prsht.h>

static const std::wstring kAdapters = L"Software\\QvBench\\Adapters\\";

SheetHost::SheetHost(int dialog, DLGPROC procedure, std::unique_ptr<SheetData> data)
    : procedure_(procedure), data_(data ? std::move(data) : std::make_unique<SheetData>()),
      record_(std::make_unique<PROPSHEETPAGEW>()) {
    hInstance = GetModuleHandleW(L"qvteamcfg_core.dll");
    parent_ = CreateWindowExW(0, L"#32770", L"Sheet host",
                              WS_OVERLAPPEDWINDOW | (g_hostsAreShown ? WS_VISIBLE : 0), 10, 10, 460,
                              420, nullptr, nullptr, nullptr, nullptr);
    *record_ = {};
    record_->dwSize = sizeof(*record_);
    record_->lParam = reinterpret_cast<LPARAM>(data_.get());
    page_ = CreateDialogParamW(hInstance, MAKEINTRESOURCEW(dialog), parent_, procedure,
                               reinterpret_cast<LPARAM>(record_.get()));
    EXPECT_NE(nullptr, page_);
    EnableWindow(page_, TRUE);
    ShowWindow(page_, SW_SHOW);
}

SheetHost::~SheetHost() {
    DestroyWindow(parent_);
}

HWND SheetHost::control(int id) const {
    HWND found = GetDlgItem(page_, id);
    EXPECT_NE(nullptr, found) << "control " << id;
    return found;
}

void SheetHost::press(int id) const {
    SendMessageW(control(id), BM_CLICK, 0, 0);
}

INT_PTR SheetHost::send(UINT message, WPARAM wParam, LPARAM lParam) const {
    return procedure_(page_, message, wParam, lParam);
}

INT_PTR SheetHost::notify(UINT code) const {
    PSHNOTIFY notification = {};
    notification.hdr.hwndFrom = parent_;
    notification.hdr.code = code;
    SetWindowLongPtrW(page_, DWLP_MSGRESULT, kNoResult);
    return send(WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&notification));
}

LONG_PTR SheetHost::result() const {
    return GetWindowLongPtrW(page_, DWLP_MSGRESULT);
}

LONG_PTR SheetHost::userSlot() const {
    return GetWindowLongPtrW(page_, DWLP_USER);
}

std::vector<HWND> SheetHost::lists() const {
    std::vector<HWND> found;
    HWND list = nullptr;
    while ((list = FindWindowExW(page_, list, WC_LISTVIEWW, nullptr)) != nullptr)
        found.push_back(list);
    return found;
}

HWND SheetHost::list() const {
    std::vector<HWND> found = lists();
    EXPECT_EQ(1u, found.size()) << "lists";
    return found.size() == 1 ? found[0] : nullptr;
}

static std::wstring CellText(HWND list, int row, int column) {
    wchar_t text[512] = {};
    LVITEMW item = {};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = 512;
    SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    return item.pszText;
}

std::vector<SheetHost::Row> SheetHost::rows() const {
    std::vector<Row> rows;
    HWND shown = list();
    for (int row = 0; row < ListView_GetItemCount(shown); row++)
        rows.emplace_back(CellText(shown, row, 0), CellText(shown, row, 1));
    return rows;
}

std::vector<std::wstring> SheetHost::names() const {
    std::vector<std::wstring> names;
    for (const Row& row : rows())
        names.push_back(row.first);
    return names;
}

std::wstring SheetHost::value(const std::wstring& name) const {
    for (const Row& row : rows()) {
        if (row.first == name)
            return row.second;
    }
    return L"<no such row>";
}

void SheetHost::expectList(const std::wstring& title, int width, int height) const {
    HWND shown = list();
    wchar_t text[100] = L"";
    GetWindowTextW(shown, text, 100);
    EXPECT_EQ(title, text);
    EXPECT_EQ(1014, GetDlgCtrlID(shown));
    EXPECT_EQ(page_, GetParent(shown));
    RECT area;
    GetWindowRect(shown, &area);
    MapWindowPoints(nullptr, page_, reinterpret_cast<POINT*>(&area), 2);
    EXPECT_EQ(14, area.left);
    EXPECT_EQ(15, area.top);
    EXPECT_EQ(width, area.right - area.left);
    EXPECT_EQ(height, area.bottom - area.top);
    const LONG style = GetWindowLongW(shown, GWL_STYLE);
    EXPECT_EQ(LVS_REPORT, style & LVS_TYPEMASK);
    for (LONG bit : {WS_CHILD, WS_VISIBLE, WS_BORDER, WS_TABSTOP})
        EXPECT_TRUE(style & bit) << bit;
    EXPECT_FALSE(style & LVS_NOCOLUMNHEADER);
    EXPECT_TRUE(GetWindowLongW(shown, GWL_EXSTYLE) & WS_EX_CLIENTEDGE);
    EXPECT_EQ(DWORD{LVS_EX_GRIDLINES}, ListView_GetExtendedListViewStyle(shown));
}

SheetHost::Row SheetHost::column(int index) const {
    wchar_t text[100] = {};
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = text;
    column.cchTextMax = 100;
    if (!SendMessageW(list(), LVM_GETCOLUMNW, static_cast<WPARAM>(index),
                      reinterpret_cast<LPARAM>(&column)))
        return {L"<none>", L""};
    return {column.pszText, std::to_wstring(column.cx)};
}

static void FillRow(AdapterEntry* entry, AdapterDetails* details, const MachineAdapter& adapter) {
    *entry = {};
    *details = {};
    entry->guid = Guid(adapter.guid);
    lstrcpynW(entry->name, adapter.friendlyName.value_or(L"").c_str(), NAME_CCH);
    lstrcpynW(details->service, adapter.service.c_str(), NAME_CCH);
    lstrcpynW(details->driverDate, L"3-14-2009", NAME_CCH);
    lstrcpynW(details->driverVersion, L"2.6.1.0", NAME_CCH);
    details->installState = adapter.installState;
}

void SheetTest::SetUp() {
    Load(L"two-ports.txt");
    // Only drivers for NDIS 6.0 answer the program's query for an offload record.
    for (unsigned n = 0; n < 2; n++)
        port(n).answers = StandardAnswers(n + 1, Ndis::v6_0);
    Build();
    for (StatisticsRow& row : g_statistics)
        row.value = 0;
    ResetStatistics();
    ChooseNic(0, port(0));
}

void SheetTest::ChooseNic(int row, const MachineAdapter& adapter) {
    FillRow(&g_nics[row], &g_nicDetails[row], adapter);
    g_nicSelected = row;
    g_teamSelected = -1;
}

void SheetTest::ChooseTeamAdapter(int row, const MachineAdapter& adapter) {
    FillRow(&g_teamAdapters[row], &g_teamAdapterDetails[row], adapter);
    g_teamSelected = row;
    g_nicSelected = -1;
}

static std::wstring OidName(DWORD oid) {
    wchar_t name[16];
    swprintf(name, 16, L"0x%08X", static_cast<unsigned>(oid));
    return name;
}

void AnswerOid(const std::wstring& guid, DWORD oid, const std::vector<BYTE>& bytes) {
    RegistrySet(kAdapters + guid + L"\\Oid", {OidName(oid), REG_BINARY, bytes});
}

void RefuseOid(const std::wstring& guid, DWORD oid, DWORD status) {
    RegistrySet(kAdapters + guid + L"\\Oid", MachineValue::Number(OidName(oid), status));
}

void RefuseAll(const std::wstring& guid) {
    RegistryDeleteTree(kAdapters + guid + L"\\Oid");
}
