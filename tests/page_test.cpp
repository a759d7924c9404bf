// The team configuration page: what it shows, what its buttons do, and which messages it answers.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/program.h"

#include "app/adapter_sheet.h"
#include "app/team_page.h"
#include "app/team_page_dialog.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"

#include <commctrl.h>
#include <prsht.h>

static const std::wstring help = L"Select two NICs from 'Unassigned Adapters' list  \r\n"
                                 L"choose a 'Teaming Mode', and click on 'Create\r\n"
                                 L"Team' button. Use 'Move Up'/'Move Down' button\r\n"
                                 L"to set preference order of an adapter within a team";
static const std::wstring creating = L"Configuring Team. Please wait..";
static const std::wstring noMode = L"Choose a Team Mode and Click on\r\nCreate Team.";
static const std::wstring noProtocol = L"Installation of Quovane Teaming Driver\r\nfailed.";

// As the journal spells them.
static std::vector<std::wstring> StatusTexts(const Events& events) {
    return Texts(events, L"status");
}

static std::wstring AsStatus(const std::wstring& text) {
    std::wstring out = L"\"";
    for (wchar_t c : text)
        out += c == L'\r' ? L"\\r" : c == L'\n' ? L"\\n" : std::wstring(1, c);
    return out + L"\"";
}

static const int allControls[] = {1000, 1001, 1002, 1003, 1004, 1005, 1006,
                                  1007, 1008, 1009, 1010, 1011, 1018, 1019};

class Page : public MachineTest {};

TEST_F(Page, OpensWithHelpAndNothingToPress) {
    LoadAndBuild(L"three-teams.txt");
    PageHost page;
    EXPECT_EQ(help, page.text(IDC_STATUS));
    for (int id : {1000, 1001, 1003, 1005, 1006, 1007, 1010, 1018, 1019})
        EXPECT_FALSE(page.enabled(id)) << id;
    for (int id : {1002, 1004, 1008, 1009, 1011})
        EXPECT_TRUE(page.enabled(id)) << id;
    for (int id : {1003, 1006, 1007, 1010, 1011})
        EXPECT_FALSE(page.ticked(id)) << id;
    EXPECT_EQ(3, page.rows(IDC_NIC_LIST));
    EXPECT_EQ((std::vector<std::wstring>{L"Team0", L"Uplink", L"Storage"}),
              page.rowTexts(IDC_TEAM_LIST));
}

static std::pair<std::wstring, int> Column(HWND list, int index) {
    wchar_t text[100] = {};
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = text;
    column.cchTextMax = 100;
    if (!SendMessageW(list, LVM_GETCOLUMNW, index, reinterpret_cast<LPARAM>(&column)))
        return {L"<none>", 0};
    return {column.pszText, column.cx};
}

TEST_F(Page, SetsItsColumnsUpOncePerRun) {
    LoadAndBuild(L"two-ports.txt");
    PageHost page;
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(std::make_pair(std::wstring(L"Unassigned Adapters"), 275),
                  Column(page.control(IDC_NIC_LIST), 0));
        EXPECT_EQ(std::make_pair(std::wstring(L"Teamed Adapters"), 275),
                  Column(page.control(IDC_TEAM_LIST), 0));
        for (int list : {IDC_NIC_LIST, IDC_TEAM_LIST}) {
            EXPECT_EQ(1, Header_GetItemCount(ListView_GetHeader(page.control(list))));
            EXPECT_TRUE(ListView_GetExtendedListViewStyle(page.control(list)) & LVS_EX_CHECKBOXES);
            HIMAGELIST images = ListView_GetImageList(page.control(list), LVSIL_SMALL);
            int cx = 0, cy = 0;
            EXPECT_TRUE(ImageList_GetIconSize(images, &cx, &cy));
            EXPECT_EQ(GetSystemMetrics(SM_CXSMICON), cx);
            EXPECT_EQ(GetSystemMetrics(SM_CYSMICON), cy);
            EXPECT_EQ(1, ImageList_GetImageCount(images));
        }
        EXPECT_EQ(2, page.rows(IDC_NIC_LIST));
        EXPECT_EQ(1, OnInitDialog(page.window()));
    }
}

TEST_F(Page, BuiltAnewForgetsWhatWasChosen) {
    LoadAndBuild(L"three-teams.txt");
    PageHost page;
    page.tickRow(IDC_NIC_LIST, 1);
    page.tickRow(IDC_TEAM_LIST, 1);
    for (int id : {1000, 1001, 1003, 1005, 1006, 1007, 1010, 1018, 1019})
        EnableWindow(page.control(id), TRUE);
    memset(selectedNics, 0xee, sizeof(selectedNics));
    memset(selectedTeams, 0xee, sizeof(selectedTeams));
    memset(page.data()->teams, 1, sizeof(page.data()->teams));
    page.data()->createPending = 5;
    EXPECT_EQ(1, OnInitDialog(page.window()));
    for (LONG row : selectedNics)
        EXPECT_EQ(0, row);
    for (LONG row : selectedTeams)
        EXPECT_EQ(0, row);
    EXPECT_EQ(3, g_numTeams);
    EXPECT_EQ(0u, page.data()->teams[3].inUse);
    EXPECT_EQ(0u, page.data()->teams[3].nicGuids[7].Data1);
    EXPECT_EQ(5u, page.data()->createPending);
    for (int row = 0; row < 3; row++) {
        EXPECT_FALSE(page.rowTicked(IDC_NIC_LIST, row));
        EXPECT_FALSE(page.rowTicked(IDC_TEAM_LIST, row));
    }
    for (int id : {1000, 1001, 1003, 1005, 1006, 1007, 1010, 1018, 1019})
        EXPECT_FALSE(page.enabled(id)) << id;
}

TEST_F(Page, ThatCannotListAdaptersShowsNoHelp) {
    LoadAndBuild(L"two-ports.txt");
    Bench(L"fault SetupDiGetClassDevsW 1 5");
    PageHost page;
    EXPECT_EQ(L"", page.text(IDC_STATUS));
    EXPECT_EQ(L"", page.text(IDC_TEAM_NAME));
    for (int id : {1000, 1001, 1005})
        EXPECT_FALSE(page.enabled(id)) << id;
    Bench(L"fault SetupDiGetClassDevsW 1 5");
    EXPECT_EQ(0, OnInitDialog(page.window()));
    EXPECT_EQ(1, OnInitDialog(page.window()));
    EXPECT_EQ(help, page.text(IDC_STATUS));
}

TEST_F(Page, ProposesTheFirstTeamNameThatIsFree) {
    const struct {
        std::vector<const wchar_t*> inUse;
        const wchar_t* proposed;
    } cases[] = {
        {{}, L"Team0"},
        {{L"Team0"}, L"Team1"},
        {{L"TEAM0", L"team1"}, L"Team2"},
        {{L"Team1"}, L"Team0"},
        {{L"Uplink", L"Team0", L"Team2"}, L"Team1"},
        {{L"Team2", L"Team1", L"Team0"}, L"Team3"},
        {{L"Team3", L"Team2", L"Team1", L"Team0"}, L"Team3"},
        {{L"Team00"}, L"Team0"},
    };
    for (const auto& c : cases) {
        Load(L"nine-ports.txt");
        for (size_t i = 0; i < c.inUse.size(); i++) {
            MachineTeam team;
            team.name = L"team" + std::to_wstring(i);
            team.teamName = c.inUse[i];
            team.slot = static_cast<DWORD>(i);
            team.guid = L"{B0000000-0000-4000-8000-00000000000" + std::to_wstring(i) + L"}";
            team.members = {machine.adapters[2 * i].name, machine.adapters[2 * i + 1].name};
            team.address = L"02515600AA0" + std::to_wstring(i);
            machine.teams.push_back(team);
        }
        Build();
        PageHost page;
        EXPECT_EQ(c.proposed, page.text(IDC_TEAM_NAME)) << testing::PrintToString(c.inUse.size());
    }
}

TEST_F(Page, ShowsNoMoreAdaptersThanItsTableHolds) {
    Load(L"seventeen.txt");
    for (int i = 0; i < 3; i++) {
        MachineAdapter more = machine.adapters.back();
        more.name = L"more" + std::to_wstring(i);
        more.instance.replace(more.instance.size() - 2, 2, L"9" + std::to_wstring(i));
        more.guid = L"{A0000000-0000-4000-8000-0000000000F" + std::to_wstring(i) + L"}";
        machine.adapters.push_back(more);
    }
    Build();
    PageHost page;
    EXPECT_EQ(17, page.rows(IDC_NIC_LIST));
    for (int row = 0; row < 17; row++) {
        EXPECT_EQ(g_nics[row].name, page.rowText(IDC_NIC_LIST, row)) << row;
        EXPECT_NE(L"", page.rowText(IDC_NIC_LIST, row)) << row;
    }
    EXPECT_EQ(help, page.text(IDC_STATUS));
    // The last row is moved no further than the table reaches.
    page.tickRow(IDC_NIC_LIST, 16);
    std::vector<std::wstring> before = page.rowTexts(IDC_NIC_LIST);
    page.command(IDC_MOVE_DOWN);
    EXPECT_EQ(before, page.rowTexts(IDC_NIC_LIST));
    page.command(IDC_MOVE_UP);
    std::swap(before[15], before[16]);
    EXPECT_EQ(before, page.rowTexts(IDC_NIC_LIST));
}

TEST_F(Page, ShowsTheAdaptersOfEveryMaker) {
    Load(L"mixed.txt");
    machine.adapters.erase(machine.adapters.begin(), machine.adapters.begin() + 2);
    Build();
    PageHost page;
    EXPECT_EQ((std::vector<std::wstring>{L"Ferrous Gigabit Adapter #3",
                                         L"Ferrous Fast Ethernet Adapter"}),
              page.rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(0, page.rows(IDC_TEAM_LIST));
    EXPECT_EQ(help, page.text(IDC_STATUS));
    EXPECT_EQ(L"Team0", page.text(IDC_TEAM_NAME));
}

TEST_F(Page, StandsOnAMachineWithoutAdapters) {
    Load(L"two-ports.txt");
    machine.adapters.clear();
    Build();
    RunningProgram program;
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_TRUE(program.rows(L"1002").empty());
    EXPECT_TRUE(program.rows(L"1004").empty());
    EXPECT_EQ(L"Team0", program.text(L"1008"));
    program.clickAndLeave(L"1");
    EXPECT_EQ(0u, program.waitEnd());
}

TEST_F(Page, AsksForAModeBeforeAnythingElse) {
    LoadAndBuild(L"no-protocol.txt");
    PageHost page;
    page.tickRow(IDC_NIC_LIST, 0);
    page.tickRow(IDC_NIC_LIST, 1);
    page.tick(IDC_FAILBACK); // is no mode by itself
    ClearJournal();
    Bench(L"reset-counts");
    page.command(IDC_CREATE_TEAM);
    EXPECT_EQ((std::vector<std::wstring>{AsStatus(creating), AsStatus(noMode)}),
              StatusTexts(Journal()));
    EXPECT_EQ(noMode, page.text(IDC_STATUS));
    EXPECT_EQ(2u, Journal().size()) << "nothing but texts";
    EXPECT_EQ(0u, Calls("RegOpenKeyExW"));
    EXPECT_EQ(0u, Calls("DialogBoxParamW"));
}

TEST_F(Page, TakesEachModeBoxForAMode) {
    for (int box : {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP}) {
        LoadAndBuild(L"two-ports.txt");
        PageHost page;
        page.tick(box);
        Bench(L"fault DialogBoxParamW 1 8 value=-1");
        page.command(IDC_CREATE_TEAM);
        EXPECT_EQ(1u, Calls("DialogBoxParamW")) << box;
    }
}

TEST_F(Page, InstallsTheMissingProtocolAndGoesOn) {
    LoadAndBuild(L"no-protocol.txt");
    RunningProgram program;
    program.chooseTwo();
    program.bench(L"journal-clear");
    program.click(L"1000");
    program.waitGone(1104);
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(
        (std::vector<std::wstring>{AsStatus(creating), AsStatus(L"Team Created."), AsStatus(help)}),
        StatusTexts(program.journal()));
    EXPECT_EQ(std::vector<std::wstring>{L"QV_QVTEAMP"},
              Texts(program.journal(), L"netcfg-install"));
    EXPECT_EQ(std::vector<std::wstring>{L"Team0"}, program.rows(L"1004"));
}

TEST_F(Page, StopsWhenTheMissingProtocolHasNoInf) {
    Load(L"no-protocol.txt");
    machine.infs.clear();
    Build();
    RunningProgram program;
    program.tickRow(L"1002", 0);
    program.tickRow(L"1002", 1);
    program.click(L"1007");
    program.bench(L"journal-clear");
    program.click(L"1000");
    program.waitText(L"1009", noProtocol);
    EXPECT_EQ(noProtocol, program.text(L"1009"));
    EXPECT_EQ((std::vector<std::wstring>{AsStatus(creating), AsStatus(noProtocol)}),
              StatusTexts(program.journal()));
    EXPECT_EQ(L"0", program.bench(L"calls DialogBoxParamW"));
    EXPECT_TRUE(program.enabled(L"1000"));
}

TEST_F(Page, TellsTheStepsOfACreation) {
    LoadAndBuild(L"two-ports.txt");
    RunningProgram program;
    program.tickRow(L"1002", 0);
    program.tickRow(L"1002", 1);
    program.click(L"1006");
    EXPECT_EQ(help, program.text(L"1009"));
    program.bench(L"journal-clear");
    program.click(L"1000");
    program.waitGone(1104);
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(
        (std::vector<std::wstring>{AsStatus(creating), AsStatus(L"Team Created."), AsStatus(help)}),
        StatusTexts(program.journal()));
    EXPECT_EQ(L"Team1", program.text(L"1008"));
    EXPECT_EQ(0u, program.rows(L"1002").size());
}

static std::vector<std::wstring> Names(const std::vector<int>& numbers) {
    std::vector<std::wstring> names;
    for (int number : numbers)
        names.push_back(L"Quovane 10GbE Adapter #" + std::to_wstring(number));
    return names;
}

TEST_F(Page, MovesTheTickedAdapterUpAndDown) {
    LoadAndBuild(L"three-teams.txt"); // ports 7, 8 and 9 are free
    const struct {
        const wchar_t* button;
        std::vector<int> order;
        int ticked;
    } moves[] = {
        {L"1018", {8, 7, 9}, 0}, {L"1018", {8, 7, 9}, 0}, {L"1019", {7, 8, 9}, 1},
        {L"1019", {7, 9, 8}, 2}, {L"1019", {7, 9, 8}, 2}, {L"1018", {7, 8, 9}, 1},
    };
    for (bool keyboard : {false, true}) {
        RunningProgram program;
        HWND page = program.waitDialog(1100);
        ASSERT_EQ(Names({7, 8, 9}), program.rows(L"1002"));
        program.tickRow(L"1002", 1, true, keyboard);
        for (size_t i = 0; i < std::size(moves); i++) {
            SCOPED_TRACE("move " + std::to_string(i) + (keyboard ? " by keyboard" : " by mouse"));
            std::wstring error;
            HWND button = drive::FindControl(page, moves[i].button);
            EXPECT_TRUE(keyboard ? drive::SpaceControl(button, false, &error)
                                 : drive::ClickControl(button, false, &error))
                << testing::PrintToString(error);
            EXPECT_EQ(Names(moves[i].order), program.rows(L"1002"));
            for (int row = 0; row < 3; row++)
                EXPECT_EQ(row == moves[i].ticked, program.rowTicked(L"1002", row)) << row;
        }
    }
}

TEST_F(Page, TeamsAdaptersInTheOrderOfTheList) {
    LoadAndBuild(L"three-teams.txt");
    RunningProgram program;
    program.tickRow(L"1002", 2);
    program.click(L"1018");
    program.click(L"1018");
    EXPECT_EQ(Names({9, 7, 8}), program.rows(L"1002"));
    program.tickRow(L"1002", 2);
    program.click(L"1007");
    program.click(L"1000");
    program.waitGone(1104);
    program.waitText(L"1009", L"Select two NICs");
    const std::wstring records =
        L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters\\"
        L"{A0000000-0000-4000-8000-00000000000";
    EXPECT_EQ(0u, RegistryNumber(records + L"9}", L"Order"));
    EXPECT_EQ(1u, RegistryNumber(records + L"8}", L"Order"));
    EXPECT_FALSE(RegistryHasKey(records + L"7}"));
}

TEST_F(Page, MovesNamesAndGuidsAndNothingBesideThem) {
    LoadAndBuild(L"three-teams.txt");
    PageHost page;
    g_nics[0].vlans.numVlans = 5;
    g_nics[0].vlans.vlanIds[63] = 77;
    const GUID first = g_nics[0].guid, second = g_nics[1].guid;
    const std::wstring version = g_nicDetails[0].driverVersion;
    ASSERT_NE(version, g_nicDetails[1].driverVersion);
    page.tickRow(IDC_NIC_LIST, 0);
    page.command(IDC_MOVE_DOWN);
    EXPECT_TRUE(IsEqualGUID(first, g_nics[1].guid));
    EXPECT_TRUE(IsEqualGUID(second, g_nics[0].guid));
    EXPECT_EQ(version, g_nicDetails[0].driverVersion);
    EXPECT_EQ(5, g_nics[0].vlans.numVlans);
    EXPECT_EQ(77, g_nics[0].vlans.vlanIds[63]);
    EXPECT_EQ(0, g_nics[1].vlans.numVlans);
}

TEST_F(Page, MovesTheFirstOfSeveralAndNothingWithoutATick) {
    LoadAndBuild(L"three-teams.txt");
    PageHost page;
    for (int button : {IDC_MOVE_UP, IDC_MOVE_DOWN})
        page.command(button);
    EXPECT_EQ(Names({7, 8, 9}), page.rowTexts(IDC_NIC_LIST));
    page.tickRow(IDC_NIC_LIST, 1);
    page.tickRow(IDC_NIC_LIST, 2);
    page.command(IDC_MOVE_UP);
    EXPECT_EQ(Names({8, 7, 9}), page.rowTexts(IDC_NIC_LIST));
    EXPECT_TRUE(page.rowTicked(IDC_NIC_LIST, 0));
    EXPECT_FALSE(page.rowTicked(IDC_NIC_LIST, 1));
    EXPECT_TRUE(page.rowTicked(IDC_NIC_LIST, 2));
}

TEST_F(Page, ActsOnClicksAcceleratorsAndDoubleClicksOnly) {
    LoadAndBuild(L"two-ports.txt");
    PageHost page;
    for (int code = 0; code <= 8; code++) {
        SCOPED_TRACE("code " + std::to_string(code));
        bool acts = code == 0 || code == 1 || code == 5;
        page.setText(IDC_STATUS, L"");
        page.command(IDC_CREATE_TEAM, code);
        EXPECT_EQ(acts ? noMode : L"", page.text(IDC_STATUS));
        page.tick(IDC_LACP);
        page.tick(IDC_TX_LOAD_BALANCING);
        page.command(IDC_LACP, code);
        EXPECT_EQ(acts, !page.ticked(IDC_TX_LOAD_BALANCING));
        page.tick(IDC_LACP, false);
        page.tick(IDC_TX_LOAD_BALANCING, false);
        page.tickRow(IDC_NIC_LIST, 1);
        page.command(IDC_MOVE_UP, code);
        EXPECT_EQ(code == 0, page.rowTicked(IDC_NIC_LIST, 0));
        page.tickRow(IDC_NIC_LIST, 0);
        page.tickRow(IDC_NIC_LIST, 1, false);
        page.command(IDC_MOVE_DOWN, code);
        EXPECT_EQ(code == 0, page.rowTicked(IDC_NIC_LIST, 1));
        page.tickRow(IDC_NIC_LIST, 0, false);
        page.tickRow(IDC_NIC_LIST, 1, false);
    }
}

TEST_F(Page, KnowsAControlByItsWindow) {
    LoadAndBuild(L"two-ports.txt");
    PageHost page;
    page.setText(IDC_STATUS, L"");
    EXPECT_EQ(FALSE, QvInstDialogProc(page.window(), WM_COMMAND, IDC_CREATE_TEAM, 0));
    EXPECT_EQ(FALSE, QvInstDialogProc(page.window(), WM_COMMAND, IDC_CREATE_TEAM,
                                      reinterpret_cast<LPARAM>(page.control(IDC_TEAM_NAME))));
    EXPECT_EQ(L"", page.text(IDC_STATUS));
    EXPECT_EQ(FALSE, QvInstDialogProc(page.window(), WM_COMMAND, IDC_TEAM_NAME,
                                      reinterpret_cast<LPARAM>(page.control(IDC_CREATE_TEAM))));
    EXPECT_EQ(noMode, page.text(IDC_STATUS));
}

static INT_PTR Notify(PageHost* page, UINT code, int from = 0) {
    NMHDR header = {};
    header.idFrom = static_cast<UINT_PTR>(from);
    header.code = code;
    return QvInstDialogProc(page->window(), WM_NOTIFY, from, reinterpret_cast<LPARAM>(&header));
}

TEST_F(Page, AnswersTheSheetsNotifications) {
    LoadAndBuild(L"two-ports.txt");
    PageHost page;
    for (UINT code : {PSN_APPLY, PSN_KILLACTIVE}) {
        SetWindowLongPtrW(page.window(), DWLP_MSGRESULT, 0xdeadbeef);
        EXPECT_EQ(TRUE, Notify(&page, code));
        EXPECT_EQ(PSNRET_NOERROR, GetWindowLongPtrW(page.window(), DWLP_MSGRESULT));
    }
    for (UINT code : {PSN_RESET, PSN_SETACTIVE, PSN_HELP, PSN_QUERYCANCEL})
        EXPECT_EQ(FALSE, Notify(&page, code));
    EXPECT_EQ(FALSE, Notify(&page, static_cast<UINT>(NM_CLICK), IDC_NIC_LIST));
    EXPECT_EQ(FALSE, Notify(&page, static_cast<UINT>(LVN_ITEMCHANGED), IDC_NIC_LIST));
    EXPECT_EQ(TRUE, QvInstDialogProc(page.window(), WM_DEVICECHANGE, 0, 0));
    EXPECT_EQ(FALSE, QvInstDialogProc(page.window(), WM_TIMER, 0, 0));
}

TEST_F(Page, IgnoresEverythingBeforeAndAfterItsLife) {
    LoadAndBuild(L"two-ports.txt");
    PageHost page;
    page.tickRow(IDC_NIC_LIST, 0);
    EXPECT_EQ(FALSE, QvInstDialogProc(page.window(), WM_DESTROY, 0, 0));
    ASSERT_EQ(0, GetWindowLongPtrW(page.window(), DWLP_USER));
    page.setText(IDC_STATUS, L"");
    ClearJournal();
    for (int id : allControls)
        page.command(id);
    page.notifyClick(IDC_NIC_LIST);
    page.notifyClick(IDC_TEAM_LIST);
    for (UINT message : {WM_DEVICECHANGE, WM_DESTROY, WM_TIMER, WM_NOTIFY, WM_COMMAND})
        EXPECT_EQ(FALSE, QvInstDialogProc(page.window(), message, 0, 0)) << message;
    EXPECT_EQ(FALSE, Notify(&page, PSN_APPLY));
    EXPECT_EQ(0, OnInitDialog(page.window()));
    ShowPropertiesPage(page.window());
    EXPECT_TRUE(Journal().empty());
    EXPECT_FALSE(page.enabled(IDC_PROPERTIES));
}

TEST_F(Page, PropertiesAndRemovalBearAnyChoice) {
    LoadAndBuild(L"three-teams.txt");
    Bench(L"fault PropertySheetW 1 0 all value=0"); // opens and is closed at once
    PageHost page;
    const std::vector<std::vector<int>> choices = {{}, {0}, {2}, {0, 1, 2}};
    for (const auto& nics : choices) {
        for (const auto& teams : choices) {
            SCOPED_TRACE(testing::PrintToString(nics) + testing::PrintToString(teams));
            OnInitDialog(page.window());
            for (int row : nics)
                page.tickRow(IDC_NIC_LIST, row);
            for (int row : teams)
                page.tickRow(IDC_TEAM_LIST, row);
            g_nicSelected = g_teamSelected = 99;
            const unsigned before = Calls("PropertySheetW");
            page.command(IDC_PROPERTIES);
            int nic = nics.empty() ? -1 : nics[0];
            int team = teams.empty() || !nics.empty() ? -1 : teams[0];
            if (nics.empty() && teams.empty())
                nic = team = 99; // nothing was chosen
            EXPECT_EQ(nic, g_nicSelected);
            EXPECT_EQ(team, g_teamSelected);
            if (nic == -1)
                EXPECT_EQ(before + 1, Calls("PropertySheetW")) << "a team has a sheet";
        }
    }
}
