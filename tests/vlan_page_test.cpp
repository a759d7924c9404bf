// The VLAN page: what it shows, when it lets itself be used, and which messages it answers.
#include "vlan/vlan_page.h"

#include "drive/dialogs.h"
#include "drive/list.h"
#include "drive/window.h"
#include "harness/creation.h"
#include "harness/program.h"
#include "harness/vlan_host.h"

#include <commctrl.h>
#include <prsht.h>

constexpr SheetOf kNic = {0, -1};
constexpr SheetOf kTeam = {-1, 0};

static const wchar_t kNotAdmin[] = L"Please login as Administrator to create or remove vlans";

class VlanPage : public CreationTest {
  protected:
    // port0 with VLANs of its own, and a team of port1 and port2 with others.
    void OpenMachine() {
        Ports(3);
        AddTeam(L"Uplink", 0, 1, {L"port1", L"port2"});
        AddVlan(L"port0", 10, L"Voice");
        AddVlan(L"port0", 4095, L"Data");
        AddVlan(L"team-1", 0, L"Untagged");
        AddVlan(L"team-1", 1, L"One");
        AddVlan(L"team-1", 200, L"Two");
        OpenTeamPage();
    }
    void OpenTeamPage() {
        Open({});
        Bench(L"reset-open");
    }
};

TEST_F(VlanPage, ListsTheVlansOfItsHostInDeviceOrder) {
    OpenMachine();
    {
        VlanPageHost vlans(kNic);
        EXPECT_EQ((Texts16{L"10 Voice", L"4095 Data"}), vlans.cells());
        EXPECT_EQ(2, vlans.list()->numVlans);
        EXPECT_EQ(&g_nics[0].vlans, vlans.list());
        EXPECT_EQ(Guid(machine.vlans[0].guid), vlans.list()->vlanGuids[0]);
        for (int row = 0; row < 2; row++)
            EXPECT_FALSE(vlans.ticked(row)) << row;
        EXPECT_TRUE(vlans.enabled(IDC_ADD_VLAN));
        EXPECT_TRUE(vlans.enabled(IDC_REMOVE_VLAN));
    }
    VlanPageHost vlans(kTeam);
    EXPECT_EQ((Texts16{L"0 Untagged", L"1 One", L"200 Two"}), vlans.cells());
    EXPECT_EQ(&g_teamAdapters[0].vlans, vlans.list());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanPage, IsEmptyForAHostWithoutVlansWhateverItsListHeldBefore) {
    Ports(3);
    AddTeam(L"Uplink", 0, 1, {L"port1", L"port2"});
    Open({});
    g_nics[0].vlans.numVlans = g_teamAdapters[0].vlans.numVlans = 3;
    for (SheetOf host : {kNic, kTeam}) {
        VlanPageHost vlans(host);
        EXPECT_EQ(0, vlans.rows());
        EXPECT_EQ(0, vlans.list()->numVlans);
        EXPECT_TRUE(vlans.enabled(IDC_ADD_VLAN));
        EXPECT_TRUE(vlans.enabled(IDC_REMOVE_VLAN));
    }
}

TEST_F(VlanPage, ShowsTheSecondTeamsVlansForTheSecondTeam) {
    Ports(4);
    AddTeam(L"First", 0, 1, {L"port0", L"port1"});
    AddTeam(L"Second", 1, 1, {L"port2", L"port3"});
    AddVlan(L"team-1", 10, L"Of the first");
    AddVlan(L"team-2", 20, L"Of the second");
    Open({});
    EXPECT_EQ(Texts16{L"10 Of the first"}, VlanPageHost({-1, 0}).cells());
    EXPECT_EQ(Texts16{L"20 Of the second"}, VlanPageHost({-1, 1}).cells());
}

TEST_F(VlanPage, HasItsTwoColumnsAndStyles) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    HWND view = vlans.control(IDC_VLAN_LIST);
    const struct {
        const wchar_t* title;
        int width;
    } columns[] = {{L"Vlan Name", 215}, {L"Vlan ID", 75}};
    EXPECT_EQ(2, Header_GetItemCount(ListView_GetHeader(view)));
    for (int i = 0; i < 2; i++) {
        wchar_t title[100] = {};
        LVCOLUMNW column = {};
        column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_FMT | LVCF_SUBITEM;
        column.pszText = title;
        column.cchTextMax = 100;
        ASSERT_TRUE(SendMessageW(view, LVM_GETCOLUMNW, i, reinterpret_cast<LPARAM>(&column)));
        EXPECT_STREQ(columns[i].title, title);
        EXPECT_EQ(columns[i].width, column.cx);
        EXPECT_EQ(LVCFMT_LEFT, column.fmt & LVCFMT_JUSTIFYMASK);
        EXPECT_EQ(i, column.iSubItem);
    }
    EXPECT_EQ(static_cast<DWORD>(LVS_EX_GRIDLINES | LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT),
              ListView_GetExtendedListViewStyle(view));
    EXPECT_TRUE(GetWindowLongW(view, GWL_STYLE) & LVS_SINGLESEL);
    EXPECT_EQ(LVS_REPORT, GetWindowLongW(view, GWL_STYLE) & LVS_TYPEMASK);
}

TEST_F(VlanPage, SuppliesItsTextsWhenTheyAreShown) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    lstrcpyW(vlans.list()->vlanNames[0], L"Renamed");
    vlans.list()->vlanIds[1] = 65535;
    EXPECT_EQ((Texts16{L"10 Renamed", L"65535 Data"}), vlans.cells());
}

static INT_PTR AskText(const VlanPageHost& vlans, int row, int column, LPWSTR* text) {
    NMLVDISPINFOW info = {};
    info.hdr.hwndFrom = vlans.control(IDC_VLAN_LIST);
    info.hdr.idFrom = IDC_VLAN_LIST;
    info.hdr.code = static_cast<UINT>(LVN_GETDISPINFOW);
    info.item.mask = LVIF_TEXT;
    info.item.iItem = row;
    info.item.iSubItem = column;
    info.item.pszText = *text;
    INT_PTR result = QvVlansDialogProc(vlans.window(), WM_NOTIFY, IDC_VLAN_LIST,
                                       reinterpret_cast<LPARAM>(&info));
    *text = info.item.pszText;
    return result;
}

TEST_F(VlanPage, HasNoTextForARowBehindTheLast) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    WCHAR before[] = L"before";
    LPWSTR text = before;
    for (int row : {2, 3, 63, 64, 1000, -1}) {
        for (int column : {0, 1}) {
            EXPECT_EQ(TRUE, AskText(vlans, row, column, &text)) << row;
            EXPECT_EQ(before, text) << row;
            EXPECT_STREQ(L"before", before) << row;
        }
    }
    EXPECT_EQ(FALSE, AskText(vlans, 1, 0, &text));
    EXPECT_EQ(vlans.list()->vlanNames[1], text);
    for (int column : {1, 2, 7}) {
        EXPECT_EQ(FALSE, AskText(vlans, 1, column, &text));
        EXPECT_STREQ(L"4095", text);
    }
}

TEST_F(VlanPage, CannotBeMadeWithoutAListView) {
    OpenMachine();
    HWND bare = CreateWindowExW(0, L"#32770", L"Bare", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                nullptr, nullptr);
    g_nicSelected = 0;
    g_teamSelected = -1;
    BoxCatcher catcher;
    g_nics[0].vlans.numVlans = 7;
    EXPECT_EQ(FALSE, OnInitVlansDialog(bare, &g_nics[0].vlans));
    ASSERT_EQ(1u, catcher.boxes.size());
    EXPECT_EQ(L"Could not get handle to list control", catcher.boxes[0].text);
    EXPECT_EQ(L"<none>", catcher.boxes[0].caption);
    EXPECT_EQ(nullptr, catcher.boxes[0].owner);
    EXPECT_EQ(2, g_nics[0].vlans.numVlans) << "the list is read first";
    EXPECT_EQ(FALSE, QvVlansDialogProc(bare, WM_INITDIALOG, 0, 0));
    EXPECT_EQ(2u, catcher.boxes.size());
    EXPECT_EQ("", StillOpen());
    DestroyWindow(bare);
}

TEST_F(VlanPage, IsInitialisedWithTheListViewThere) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    ListView_DeleteAllItems(vlans.control(IDC_VLAN_LIST));
    EXPECT_EQ(TRUE, OnInitVlansDialog(vlans.window(), vlans.list()));
    EXPECT_EQ(2, vlans.rows());
    ListView_DeleteAllItems(vlans.control(IDC_VLAN_LIST));
    EXPECT_EQ(TRUE, QvVlansDialogProc(vlans.window(), WM_INITDIALOG, 0, 0));
    EXPECT_EQ(2, vlans.rows());
}

TEST_F(VlanPage, CannotBeUsedOnAHostWhoseDriverDoesNotOpen) {
    for (SheetOf host : {kNic, kTeam}) {
        Ports(3);
        AddTeam(L"Uplink", 0, 1, {L"port1", L"port2"});
        AddVlan(L"port0", 10, L"Voice");
        AddVlan(L"team-1", 20, L"Data");
        (host.nic == 0 ? Port(0).opens : machine.teams[0].opens) = false;
        OpenTeamPage();
        VlanPageHost vlans(host);
        EXPECT_FALSE(vlans.enabled(IDC_ADD_VLAN));
        EXPECT_FALSE(vlans.enabled(IDC_REMOVE_VLAN));
        EXPECT_TRUE(vlans.enabled(IDC_VLAN_LIST));
        EXPECT_EQ(Texts16{host.nic == 0 ? L"10 Voice" : L"20 Data"}, vlans.cells());
        // The other host's driver answers.
        VlanPageHost other(host.nic == 0 ? kTeam : kNic);
        EXPECT_TRUE(other.enabled(IDC_ADD_VLAN));
        EXPECT_TRUE(other.enabled(IDC_REMOVE_VLAN));
        EXPECT_EQ("", StillOpen());
    }
}

static INT_PTR Notify(HWND window, UINT code) {
    NMHDR header = {};
    header.code = code;
    return QvVlansDialogProc(window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&header));
}

TEST_F(VlanPage, AnswersTheSheetsNotifications) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    for (UINT code : {PSN_SETACTIVE, PSN_KILLACTIVE, PSN_APPLY}) {
        SetWindowLongPtrW(vlans.window(), DWLP_MSGRESULT, 0xdeadbeef);
        EXPECT_EQ(TRUE, Notify(vlans.window(), code)) << static_cast<int>(code);
        EXPECT_EQ(0, GetWindowLongPtrW(vlans.window(), DWLP_MSGRESULT)) << static_cast<int>(code);
    }
    SetWindowLongPtrW(vlans.window(), DWLP_MSGRESULT, 0x1234);
    EXPECT_EQ(FALSE, Notify(vlans.window(), PSN_RESET));
    for (UINT code : {static_cast<UINT>(PSN_HELP), static_cast<UINT>(PSN_QUERYCANCEL),
                      static_cast<UINT>(NM_CLICK), static_cast<UINT>(LVN_ITEMCHANGED)})
        EXPECT_EQ(TRUE, Notify(vlans.window(), code)) << static_cast<int>(code);
    EXPECT_EQ(0x1234, GetWindowLongPtrW(vlans.window(), DWLP_MSGRESULT));
    for (UINT message : {WM_TIMER, WM_DEVICECHANGE, WM_CLOSE, WM_SIZE})
        EXPECT_EQ(FALSE, QvVlansDialogProc(vlans.window(), message, 0, 0)) << message;
}

TEST_F(VlanPage, KeepsItsListFromItsBeginningToItsEnd) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    EXPECT_EQ(vlans.list(), GetVlanList(vlans.window()));
    EXPECT_EQ(FALSE, QvVlansDialogProc(vlans.window(), WM_DESTROY, 0, 0));
    EXPECT_EQ(nullptr, GetVlanList(vlans.window()));
    ClearJournal();
    vlans.command(IDC_ADD_VLAN);
    vlans.tick({0});
    vlans.command(IDC_REMOVE_VLAN);
    for (UINT code : {PSN_SETACTIVE, PSN_APPLY})
        EXPECT_EQ(FALSE, Notify(vlans.window(), code));
    EXPECT_TRUE(Journal().empty());
}

TEST_F(VlanPage, SendsAwayWhoIsNoAdministratorWhateverTheControl) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    vlans.tick({0});
    Bench(L"admin 0");
    ClearJournal();
    BoxCatcher catcher;
    for (int id : {IDC_ADD_VLAN, IDC_REMOVE_VLAN, IDC_VLAN_LIST}) {
        SCOPED_TRACE(id);
        catcher.boxes.clear();
        vlans.command(id);
        ASSERT_EQ(1u, catcher.boxes.size());
        EXPECT_EQ(kNotAdmin, catcher.boxes[0].text);
        EXPECT_EQ(L"Error", catcher.boxes[0].caption);
        EXPECT_EQ(0x30u, catcher.boxes[0].type);
        EXPECT_EQ(vlans.window(), catcher.boxes[0].owner);
    }
    // A control that is not the page's own, as a key of the sheet sends it.
    catcher.boxes.clear();
    SendMessageW(vlans.window(), WM_COMMAND, IDCANCEL, 0);
    ASSERT_EQ(1u, catcher.boxes.size());
    EXPECT_EQ(kNotAdmin, catcher.boxes[0].text);
    EXPECT_TRUE(Journal().empty());
    EXPECT_EQ(2, vlans.list()->numVlans);
    Bench(L"reload");
}

TEST_F(VlanPage, DoesNotAskWhoTheUserIsForOtherCodesThanAClick) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    vlans.tick({0});
    Bench(L"admin 0");
    for (int code : {BN_DOUBLECLICKED, BN_SETFOCUS, 1}) {
        SCOPED_TRACE(code);
        ClearJournal();
        vlans.owner().play({});
        vlans.command(IDC_ADD_VLAN, code);
        EXPECT_TRUE(vlans.owner().stayedOpen()) << "no dialog";
        EXPECT_EQ((Texts16{L"dialog-open 102", L"dialog-close 102"}), Lines(Journal()));
        ClearJournal();
        vlans.command(IDC_REMOVE_VLAN, code);
        EXPECT_EQ(1u, Journal().size()) << "no question";
        EXPECT_EQ(1u, Texts(Journal(), L"message-box").size());
        ClearJournal();
        vlans.command(IDC_VLAN_LIST, code);
        EXPECT_TRUE(Journal().empty());
    }
    Bench(L"reload");
}

TEST_F(VlanPage, KnowsAControlByItsWindow) {
    OpenMachine();
    VlanPageHost vlans(kNic);
    vlans.tick({0});
    ClearJournal();
    HWND remove = vlans.control(IDC_REMOVE_VLAN);
    for (WPARAM id : {IDC_ADD_VLAN, IDC_REMOVE_VLAN, IDOK})
        QvVlansDialogProc(vlans.window(), WM_COMMAND, id, 0);
    QvVlansDialogProc(vlans.window(), WM_COMMAND, IDC_REMOVE_VLAN,
                      reinterpret_cast<LPARAM>(vlans.control(IDC_VLAN_LIST)));
    EXPECT_TRUE(Journal().empty());
    QvVlansDialogProc(vlans.window(), WM_COMMAND, IDC_ADD_VLAN, reinterpret_cast<LPARAM>(remove));
    EXPECT_EQ(1u, Texts(Journal(), L"message-box").size());
}

TEST_F(VlanPage, PassesNothingOnWithoutAHost) {
    OpenMachine();
    HWND window = CreateWindowExW(0, L"#32770", L"Bare", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                  nullptr, nullptr);
    BoxCatcher catcher;
    const SheetOf nobody[] = {{-1, -1}, {MAX_NIC_ROWS, -1}, {-1, MAX_TEAM_ROWS}};
    for (SheetOf host : nobody) {
        g_nicSelected = host.nic;
        g_teamSelected = host.team;
        EXPECT_EQ(FALSE, QvVlansDialogProc(window, WM_INITDIALOG, 0, 0));
        EXPECT_EQ(nullptr, GetVlanList(window));
    }
    EXPECT_TRUE(catcher.boxes.empty());
    DestroyWindow(window);
}

TEST_F(VlanPage, LetsItsWaitWindowBeClosedAndNothingElse) {
    HWND window = CreateWindowExW(0, L"#32770", L"Wait", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                  nullptr, nullptr);
    for (UINT message : {WM_INITDIALOG, WM_COMMAND, WM_USER + 500, WM_DESTROY, WM_PAINT})
        EXPECT_EQ(FALSE, VlanWaitDialogProc(window, message, IDCANCEL, 0)) << message;
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(FALSE, VlanWaitDialogProc(window, WM_CLOSE, 0, 0));
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(VlanPage, ShowsInTheProgramWhatItShowsHere) {
    LoadAndBuild(L"team-vlans.txt");
    RunningProgram program;
    program.tickRow(L"1004", 0);
    program.clickAndLeave(L"1001");
    HWND page = program.openTab(L"VLAN", 1101, 101);
    HWND view = drive::FindControl(page, L"1000");
    EXPECT_EQ((Texts16{L"Vlan Name", L"Vlan ID"}), drive::ListColumns(view));
    auto rows = drive::ListRows(view);
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ((Texts16{L"Voice", L"10"}), rows[0].texts);
    EXPECT_EQ((Texts16{L"Data", L"20"}), rows[1].texts);
    EXPECT_TRUE(rows[0].hasBox);
    EXPECT_FALSE(rows[0].ticked || rows[1].ticked);
    EXPECT_TRUE(IsWindowEnabled(drive::FindControl(page, L"1001")));
    EXPECT_TRUE(IsWindowEnabled(drive::FindControl(page, L"1002")));
}
