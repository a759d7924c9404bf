// Which controls of the page may be used when, as an administrator meets it: ticking adapters,
// teams and modes, with the mouse and with the keyboard.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/page_state.h"
#include "harness/program.h"

#include "app/team_page_dialog.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"

#include <commctrl.h>

#include <algorithm>
#include <sstream>

enum Action { TICK, UNTICK, LOOK, BOX };

// LOOK goes to a row without changing its tick. BOX clicks the mode box of this name.
struct Step {
    Action action;
    int list;
    int row;
    const char* box;
    Shown expected;
};

static Step Tick(int list, int row, Shown expected) {
    return {TICK, list, row, "", expected};
}
static Step Untick(int list, int row, Shown expected) {
    return {UNTICK, list, row, "", expected};
}
static Step Look(int list, int row, Shown expected) {
    return {LOOK, list, row, "", expected};
}
static Step Box(const char* box, Shown expected) {
    return {BOX, 0, 0, box, expected};
}

// Goes through every count in both lists. Four adapters; teams of modes 1, 12 and 2.
static const Step walk[] = {
    // One adapter, then none.
    Tick(1002, 0, {"up down properties", "", "0", ""}),
    Untick(1002, 0, {"", "", "", ""}),
    Tick(1002, 3, {"up down properties", "", "3", ""}),
    // Two adapters: all modes.
    Tick(1002, 1, {"backup tx lacp failback create", "", "1 3", ""}),
    Box("failback", {"backup tx lacp failback create", "backup failback", "1 3", ""}),
    // More than two: Active Backup goes away, the other modes and "Create Team" stay as they are.
    Tick(1002, 2, {"tx lacp create", "", "1 2 3", ""}),
    Box("lacp", {"tx lacp create", "lacp", "1 2 3", ""}),
    Tick(1002, 0, {"tx lacp create", "lacp", "0 1 2 3", ""}),
    Untick(1002, 1, {"tx lacp create", "lacp", "0 2 3", ""}),
    // Back to two: all modes again, and the chosen one stays chosen.
    Untick(1002, 2, {"backup tx lacp failback create", "lacp", "0 3", ""}),
    // No team ticked, but adapters: the team list changes nothing.
    Look(1004, 1, {"backup tx lacp failback create", "lacp", "0 3", ""}),
    // Back to one: no mode, nothing to create.
    Untick(1002, 0, {"up down properties", "", "3", ""}),
    // One team takes the adapters' ticks away and shows its mode.
    Tick(1004, 0, {"remove properties", "backup", "", "0"}),
    // No adapter ticked, but a team: the adapter list changes nothing.
    Look(1002, 2, {"remove properties", "backup", "", "0"}),
    // More than one team.
    Tick(1004, 2, {"remove", "", "", "0 2"}),
    Tick(1004, 1, {"remove", "", "", "0 1 2"}),
    Untick(1004, 0, {"remove", "", "", "1 2"}),
    // Back to one, which is another than before.
    Untick(1004, 2, {"remove properties", "backup failback", "", "1"}),
    // No team and no adapter.
    Untick(1004, 1, {"", "", "", ""}),
    Tick(1004, 2, {"remove properties", "tx", "", "2"}),
    Untick(1004, 2, {"", "", "", ""}),
    // One adapter takes the teams' ticks away, however many there are.
    Tick(1004, 1, {"remove properties", "backup failback", "", "1"}),
    Tick(1002, 1, {"up down properties", "", "1", ""}),
    Untick(1002, 1, {"", "", "", ""}),
    Tick(1004, 0, {"remove properties", "backup", "", "0"}),
    Tick(1004, 1, {"remove", "", "", "0 1"}),
    Tick(1002, 0, {"up down properties", "", "0", ""}),
    // One team takes the ticks of several adapters away.
    Tick(1002, 1, {"backup tx lacp failback create", "", "0 1", ""}),
    Tick(1002, 2, {"tx lacp create", "", "0 1 2", ""}),
    Box("tx", {"tx lacp create", "tx", "0 1 2", ""}),
    Tick(1004, 1, {"remove properties", "backup failback", "", "1"}),
};

class PageRules : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"three-teams.txt");
    }
};

class PageRulesByHand : public PageRules, public testing::WithParamInterface<bool> {
  protected:
    bool byKeyboard() const {
        return GetParam();
    }

    void clickBox(HWND page, const std::string& box) {
        std::wstring error;
        HWND window = GetDlgItem(page, IdOf(box));
        EXPECT_TRUE(byKeyboard() ? drive::SpaceControl(window, false, &error)
                                 : drive::ClickControl(window, false, &error))
            << testing::PrintToString(error);
    }

    // With the mouse onto the row's text, with the keyboard onto the row.
    void lookAt(HWND list, int row) {
        std::wstring error;
        if (byKeyboard()) {
            ASSERT_TRUE(drive::TabTo(list, &error)) << testing::PrintToString(error);
            ASSERT_TRUE(drive::PressKey(list, L"Home", false, &error));
            for (int i = 0; i < row; i++)
                ASSERT_TRUE(drive::PressKey(list, L"Down", false, &error));
            ASSERT_EQ(row, drive::ListFocusedRow(list));
            return;
        }
        POINT point;
        ASSERT_TRUE(drive::ListRowPoint(list, row, false, &point));
        ASSERT_TRUE(drive::MouseClick(list, point, false, &error)) << testing::PrintToString(error);
    }

    // A click beside all controls, so that two clicks on one row are no double click.
    void clickBackground(HWND page) {
        std::wstring error;
        RECT rect;
        GetClientRect(page, &rect);
        EXPECT_TRUE(drive::MouseClick(page, {rect.right - 3, rect.bottom - 3}, false, &error))
            << testing::PrintToString(error);
    }

    void carryOut(RunningProgram* program, HWND page, const Step& step) {
        if (!byKeyboard())
            clickBackground(page);
        switch (step.action) {
        case TICK:
        case UNTICK:
            program->tickRow(std::to_wstring(step.list), step.row, step.action == TICK,
                             byKeyboard());
            break;
        case LOOK:
            lookAt(GetDlgItem(page, step.list), step.row);
            break;
        case BOX:
            clickBox(page, step.box);
            break;
        }
        WaitPainted(page);
    }
};

TEST_P(PageRulesByHand, FollowEveryCountOfTickedAdaptersAndTeams) {
    MakeTeams(&machine, {1, 12, 2});
    Build();
    RunningProgram program;
    HWND page = program.waitDialog(1100);
    WaitPainted(page);
    EXPECT_EQ((Shown{"", "", "", ""}), Read(page)) << "when the page opens";
    for (size_t i = 0; i < std::size(walk); i++) {
        SCOPED_TRACE("step " + std::to_string(i));
        carryOut(&program, page, walk[i]);
        ASSERT_EQ(walk[i].expected, Read(page));
    }
}

// Ticks of the mode boxes before a click and after it.
static const struct {
    const char* before;
    const char* box;
    const char* after;
} modeClicks[] = {
    {"", "backup", "backup"},
    {"", "tx", "tx"},
    {"", "lacp", "lacp"},
    {"", "failback", "backup failback"},
    {"backup", "tx", "tx"},
    {"backup", "lacp", "lacp"},
    {"backup", "failback", "backup failback"},
    {"backup", "backup", ""},
    {"tx", "lacp", "lacp"},
    {"tx", "failback", "backup failback"},
    {"tx", "backup", "backup"},
    {"tx", "tx", ""},
    {"lacp", "backup", "backup"},
    {"lacp", "tx", "tx"},
    {"lacp", "failback", "backup failback"},
    {"lacp", "lacp", ""},
    {"backup failback", "tx", "tx"},
    {"backup failback", "backup", ""},
    {"backup failback", "failback", "backup"},
    {"backup failback", "lacp", "lacp"},
};

static void SetBoxes(HWND page, const std::string& ticked) {
    for (int box : modeBoxes)
        SendMessageW(GetDlgItem(page, box), BM_SETCHECK, BST_UNCHECKED, 0);
    for (const std::string& name : Words(ticked))
        SendMessageW(GetDlgItem(page, IdOf(name)), BM_SETCHECK, BST_CHECKED, 0);
}

TEST_P(PageRulesByHand, KeepTheModesApart) {
    MakeTeams(&machine, {});
    Build();
    RunningProgram program;
    HWND page = program.waitDialog(1100);
    program.tickRow(L"1002", 0);
    program.tickRow(L"1002", 1);
    WaitPainted(page);
    for (const auto& c : modeClicks) {
        SCOPED_TRACE(std::string("[") + c.before + "] and then " + c.box);
        SetBoxes(page, c.before);
        if (!byKeyboard())
            clickBackground(page);
        clickBox(page, c.box);
        EXPECT_EQ((Shown{"backup tx lacp failback create", c.after, "0 1", ""}), Read(page));
    }
}

TEST_P(PageRulesByHand, ShowTheModeOfTheTickedTeam) {
    const struct {
        DWORD mode;
        const char* ticked;
    } modes[] = {{1, "backup"},           {2, "tx"}, {4, "lacp"}, {9, "backup failback"},
                 {12, "backup failback"}, {0, ""}};
    for (size_t first : {0, 2}) {
        MakeTeams(&machine, {modes[first].mode, modes[first + 1].mode, modes[first + 2].mode,
                             modes[first + 3].mode});
        Build();
        RunningProgram program;
        HWND page = program.waitDialog(1100);
        for (int row = 0; row < 4; row++) {
            SCOPED_TRACE("mode " + std::to_string(modes[first + row].mode));
            std::string team = std::to_string(row);
            carryOut(&program, page, Tick(1004, row, {}));
            EXPECT_EQ((Shown{"remove properties", modes[first + row].ticked, "", team}),
                      Read(page));
            carryOut(&program, page, Untick(1004, row, {}));
            EXPECT_EQ((Shown{"", "", "", ""}), Read(page));
        }
        Load(L"three-teams.txt");
    }
}

INSTANTIATE_TEST_SUITE_P(Hand, PageRulesByHand, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) {
                             return std::string(info.param ? "Keyboard" : "Mouse");
                         });

// Left column before right one, top to bottom; a control that cannot be used is passed over.
TEST_F(PageRules, LetTabGoThroughThePageAsItIsRead) {
    MakeTeams(&machine, {1});
    Build();
    RunningProgram program;
    HWND page = program.waitDialog(1100);
    const struct {
        Step step;
        std::vector<std::wstring> order;
    } rounds[] = {
        {Tick(1002, 0, {}), {L"1002", L"1018", L"1019", L"1008", L"1004", L"1001", L"1011"}},
        {Tick(1002, 1, {}),
         {L"1002", L"1003", L"1010", L"1006", L"1007", L"1008", L"1000", L"1004", L"1011"}},
        {Tick(1004, 0, {}), {L"1002", L"1008", L"1004", L"1005", L"1001", L"1011"}},
    };
    for (const auto& round : rounds) {
        program.tickRow(std::to_wstring(round.step.list), round.step.row, true, true);
        WaitPainted(page);
        std::vector<HWND> order;
        std::vector<std::wstring> names;
        std::wstring error;
        ASSERT_TRUE(drive::TabOrder(page, &order, &error)) << testing::PrintToString(error);
        for (HWND control : order) {
            // Texts may be passed over or not.
            if (GetParent(control) == page && GetDlgCtrlID(control) != 1009)
                names.push_back(drive::NameOf(control));
        }
        EXPECT_EQ(round.order, names);
    }
}

TEST_F(PageRules, LetTabReachTheSheetsButtonsAndComeBack) {
    MakeTeams(&machine, {});
    Build();
    RunningProgram program;
    HWND page = program.waitDialog(1100);
    std::vector<HWND> order;
    std::wstring error;
    ASSERT_TRUE(drive::TabOrder(page, &order, &error)) << testing::PrintToString(error);
    for (int button : {IDOK, IDCANCEL})
        EXPECT_EQ(1, std::count(order.begin(), order.end(),
                                GetDlgItem(GetAncestor(page, GA_ROOT), button)))
            << "button " << button;
}

// What a click in a list asks for. A control that stands nowhere keeps the state that it had.
struct ListCase {
    int list;
    std::string nics; // rows ticked when the click arrives
    std::string teams;
    std::string enable;
    std::string disable;
    std::string untick;
    std::string tick;
    std::string nicsAfter;
    std::string teamsAfter;
};

static const char allModes[] = "backup tx lacp failback";

static const ListCase listCases[] = {
    {1002, "1", "", "up down properties", "backup tx lacp failback create remove", allModes, "",
     "1", ""},
    {1002, "1", "0 2", "up down properties", "backup tx lacp failback create remove", allModes, "",
     "1", ""},
    {1002, "0 1", "", "backup tx lacp failback create", "up down properties", "", "", "0 1", ""},
    {1002, "0 1", "0", "backup tx lacp failback create", "up down properties", "", "", "0 1", "0"},
    {1002, "0 1 3", "", "", "up down properties backup failback", "backup failback", "", "0 1 3",
     ""},
    {1002, "0 1 2 3", "2", "", "up down properties backup failback", "backup failback", "",
     "0 1 2 3", "2"},
    {1002, "", "", "", "up down properties", "", "", "", ""},
    {1002, "", "1", "", "", "", "", "", "1"},
    {1004, "", "0", "remove properties", "up down backup tx lacp failback create", allModes,
     "backup", "", "0"},
    {1004, "0 2", "2", "remove properties", "up down backup tx lacp failback create", allModes,
     "tx", "", "2"},
    {1004, "", "", "", "remove properties", allModes, "", "", ""},
    {1004, "3", "", "", "", "", "", "3", ""},
    {1004, "0 1", "", "", "", "", "", "0 1", ""},
    {1004, "", "0 1", "", "up down properties", allModes, "", "", "0 1"},
    {1004, "1", "0 1 2", "", "up down properties", allModes, "", "1", "0 1 2"},
};

static void TickRows(PageHost* page, int list, const std::string& rows) {
    for (int row = 0; row < page->rows(list); row++)
        page->tickRow(list, row, Has(rows, std::to_string(row)));
}

// `before`: every control is enabled and every mode box ticked, or none.
static Shown Expected(const ListCase& c, bool before) {
    Shown shown;
    for (const auto& control : controlNames) {
        if (Has(c.enable, control.name) || (before && !Has(c.disable, control.name)))
            Append(&shown.enabled, control.name);
        if (IsModeBox(control.id) &&
            (Has(c.tick, control.name) || (before && !Has(c.untick, control.name))))
            Append(&shown.ticked, control.name);
    }
    shown.nics = c.nicsAfter;
    shown.teams = c.teamsAfter;
    return shown;
}

TEST_F(PageRules, TouchOnlyTheControlsThatTheyName) {
    MakeTeams(&machine, {1, 12, 2});
    Build();
    PageHost page;
    for (const ListCase& c : listCases) {
        for (bool before : {false, true}) {
            SCOPED_TRACE("list " + std::to_string(c.list) + " nics [" + c.nics + "] teams [" +
                         c.teams + "], all " + (before ? "on" : "off") + " before");
            TickRows(&page, 1002, c.nics);
            TickRows(&page, 1004, c.teams);
            for (const auto& control : controlNames)
                EnableWindow(page.control(control.id), before);
            for (int box : modeBoxes)
                page.tick(box, before);
            page.notifyClick(c.list);
            EXPECT_EQ(Expected(c, before), Read(page.window()));
        }
    }
}

TEST_F(PageRules, ShowModeBitsAsTheyAreStored) {
    MakeTeams(&machine, {1});
    Build();
    PageHost page;
    page.tickRow(1004, 0);
    for (DWORD mode = 0; mode < 16; mode++) {
        SCOPED_TRACE("mode " + std::to_string(mode));
        page.data()->teams[0].TeamMode = mode;
        page.notifyClick(1004);
        std::string expected = mode == 1   ? "backup"
                               : mode == 2 ? "tx"
                               : mode == 4 ? "lacp"
                               : mode >= 8 ? "backup failback"
                                           : "";
        EXPECT_EQ(expected, Read(page.window()).ticked);
    }
}

TEST_F(PageRules, GoOnFromAListThatAsksForAText) {
    MakeTeams(&machine, {1});
    Build();
    PageHost page;
    wchar_t text[64] = {};
    page.tickRow(1002, 1);
    NMLVDISPINFOW ask = {};
    ask.hdr.hwndFrom = page.control(1002);
    ask.hdr.idFrom = 1002;
    ask.hdr.code = LVN_GETDISPINFOW;
    ask.item.mask = LVIF_TEXT;
    ask.item.iItem = 1;
    ask.item.pszText = text;
    ask.item.cchTextMax = 64;
    EXPECT_EQ(TRUE,
              QvInstDialogProc(page.window(), WM_NOTIFY, 1002, reinterpret_cast<LPARAM>(&ask)));
    EXPECT_STREQ(L"Quovane 10GbE Adapter #2", ask.item.pszText);
    EXPECT_EQ((Shown{"up down properties", "", "1", ""}), Read(page.window()));
}

TEST_F(PageRules, NeedNoAdapterAtAll) {
    machine.adapters.clear();
    machine.teams.clear();
    Build();
    PageHost page;
    page.notifyClick(1002);
    page.notifyClick(1004);
    EXPECT_EQ((Shown{"", "", "", ""}), Read(page.window()));
}
