// What a click on a check box of the two lists does to the page, step by step. The list view sends
// NM_CLICK while the box has its old state, then changes the state, then asks for the texts of the rows
// that it draws anew (measured under Wine; "NM_CLICK (list view)" gives no order). The page updates its
// buttons at the first and at the last of these.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/page_state.h"
#include "harness/program.h"

#include "drive/input.h"

static const int kNics = 1002;
static const int kTeams = 1004;

static const char kTwo[] = "backup tx lacp failback create"; // enabled with two adapters ticked

// One click on a row's check box and what the page shows after it.
struct Click {
    int list;
    int row;
    Shown after;
};

// Four adapters; teams of modes 1, 12 and 2. Every sequence begins with nothing ticked.
static const std::vector<std::vector<Click>> sequences = {
    // A team takes the ticks of one, two, three adapters away.
    {{kNics, 1, {"up down properties", "", "1", ""}},
     {kTeams, 0, {"remove properties", "backup", "", "0"}}},
    {{kNics, 0, {"up down properties", "", "0", ""}},
     {kNics, 3, {kTwo, "", "0 3", ""}},
     {kTeams, 1, {"remove properties", "backup failback", "", "1"}},
     {kTeams, 1, {"", "", "", ""}}},
    {{kNics, 0, {"up down properties", "", "0", ""}},
     {kNics, 1, {kTwo, "", "0 1", ""}},
     {kNics, 2, {"tx lacp create", "", "0 1 2", ""}},
     {kTeams, 2, {"remove properties", "tx", "", "2"}}},
    // An adapter takes the ticks of one, two, three teams away.
    {{kTeams, 2, {"remove properties", "tx", "", "2"}},
     {kNics, 0, {"up down properties", "", "0", ""}},
     {kNics, 0, {"", "", "", ""}}},
    {{kTeams, 0, {"remove properties", "backup", "", "0"}},
     {kTeams, 1, {"remove", "", "", "0 1"}},
     {kNics, 3, {"up down properties", "", "3", ""}},
     {kNics, 2, {kTwo, "", "2 3", ""}}},
    {{kTeams, 0, {"remove properties", "backup", "", "0"}},
     {kTeams, 1, {"remove", "", "", "0 1"}},
     {kTeams, 2, {"remove", "", "", "0 1 2"}},
     {kNics, 1, {"up down properties", "", "1", ""}}},
    // To and fro.
    {{kNics, 0, {"up down properties", "", "0", ""}},
     {kTeams, 0, {"remove properties", "backup", "", "0"}},
     {kNics, 1, {"up down properties", "", "1", ""}},
     {kTeams, 1, {"remove properties", "backup failback", "", "1"}},
     {kTeams, 0, {"remove", "", "", "0 1"}},
     {kTeams, 1, {"remove properties", "backup", "", "0"}},
     {kNics, 2, {"up down properties", "", "2", ""}},
     {kNics, 3, {kTwo, "", "2 3", ""}},
     {kNics, 2, {"up down properties", "", "3", ""}},
     {kNics, 3, {"", "", "", ""}}},
};

class PageClicks : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"three-teams.txt");
        MakeTeams(&machine, {1, 12, 2});
        Build();
    }

    // Goes through all sequences. `click` clicks one box, `clear` unticks everything.
    template <typename Clicker, typename Reader, typename Clearer>
    static void goThrough(Clicker click, Reader read, Clearer clear) {
        for (size_t sequence = 0; sequence < sequences.size(); sequence++) {
            for (size_t step = 0; step < sequences[sequence].size(); step++) {
                SCOPED_TRACE("sequence " + std::to_string(sequence) + " step " +
                             std::to_string(step));
                const Click& one = sequences[sequence][step];
                click(one);
                ASSERT_EQ(one.after, read());
            }
            clear();
            ASSERT_EQ((Shown{"", "", "", ""}), read()) << "after sequence " << sequence;
        }
    }
};

TEST_F(PageClicks, ShowTheSameInThisProcess) {
    PageHost page;
    goThrough([&](const Click& one) { page.clickRow(one.list, one.row); },
              [&] { return Read(page.window()); },
              [&] {
                  for (int list : {kNics, kTeams})
                      for (int row = 0; row < page.rows(list); row++)
                          page.clickRow(list, row, false);
              });
}

// As a list view does that changes the box first.
TEST_F(PageClicks, ShowTheSameWhenTheBoxChangesBeforeTheClickIsTold) {
    PageHost page;
    const auto click = [&](int list, int row) {
        page.tickRow(list, row, !page.rowTicked(list, row));
        page.notifyClick(list);
        page.redraw(list, row);
    };
    goThrough([&](const Click& one) { click(one.list, one.row); },
              [&] { return Read(page.window()); },
              [&] {
                  for (int list : {kNics, kTeams})
                      for (int row = 0; row < page.rows(list); row++)
                          if (page.rowTicked(list, row))
                              click(list, row);
              });
}

TEST_F(PageClicks, ShowTheSameInTheProgram) {
    RunningProgram program;
    HWND page = program.waitDialog(1100);
    WaitPainted(page);
    // A click beside all controls, so that two clicks on one row are no double click.
    const auto set = [&](int list, int row, bool on) {
        std::wstring error;
        RECT rect;
        GetClientRect(page, &rect);
        EXPECT_TRUE(drive::MouseClick(page, {rect.right - 3, rect.bottom - 3}, false, &error));
        program.tickRow(std::to_wstring(list), row, on);
        WaitPainted(page);
    };
    goThrough(
        [&](const Click& one) {
            set(one.list, one.row, !program.rowTicked(std::to_wstring(one.list), one.row));
        },
        [&] { return Read(page); },
        [&] {
            for (int list : {kNics, kTeams})
                for (int row = 0; row < (list == kNics ? 4 : 3); row++)
                    if (program.rowTicked(std::to_wstring(list), row))
                        set(list, row, false);
        });
}

// What the page shows between the parts of one click.
struct Parts {
    std::vector<int> nics; // ticked before
    std::vector<int> teams;
    int list;
    int row;
    Shown clicked; // NM_CLICK, with the old state
    Shown toggled; // the box has changed
    Shown redrawn; // the text of the row is asked for
};

TEST_F(PageClicks, UpdateThePageAtTheClickAndAtTheRedraw) {
    const Parts cases[] = {
        // A team is ticked while adapters are: its list has no tick at the click, so nothing
        // changes; both lists have ticks until the redraw.
        {{0},
         {},
         kTeams,
         0,
         {"up down properties", "", "0", ""},
         {"up down properties", "", "0", "0"},
         {"remove properties", "backup", "", "0"}},
        {{0, 1},
         {},
         kTeams,
         2,
         {kTwo, "", "0 1", ""},
         {kTwo, "", "0 1", "2"},
         {"remove properties", "tx", "", "2"}},
        {{0, 1, 2},
         {},
         kTeams,
         1,
         {"tx lacp create", "", "0 1 2", ""},
         {"tx lacp create", "", "0 1 2", "1"},
         {"remove properties", "backup failback", "", "1"}},
        // An adapter is ticked while teams are.
        {{},
         {0},
         kNics,
         1,
         {"remove properties", "backup", "", "0"},
         {"remove properties", "backup", "1", "0"},
         {"up down properties", "", "1", ""}},
        {{},
         {0, 1},
         kNics,
         3,
         {"remove", "", "", "0 1"},
         {"remove", "", "3", "0 1"},
         {"up down properties", "", "3", ""}},
        // Within one list the click repeats what the page shows already.
        {{0},
         {},
         kNics,
         1,
         {"up down properties", "", "0", ""},
         {"up down properties", "", "0 1", ""},
         {kTwo, "", "0 1", ""}},
        {{0, 1},
         {},
         kNics,
         2,
         {kTwo, "", "0 1", ""},
         {kTwo, "", "0 1 2", ""},
         {"tx lacp create", "", "0 1 2", ""}},
        {{},
         {0, 1},
         kTeams,
         0,
         {"remove", "", "", "0 1"},
         {"remove", "", "", "1"},
         {"remove properties", "backup failback", "", "1"}},
        {{},
         {2},
         kTeams,
         2,
         {"remove properties", "tx", "", "2"},
         {"remove properties", "tx", "", ""},
         {"", "", "", ""}},
    };
    for (const Parts& c : cases) {
        SCOPED_TRACE("nics " + testing::PrintToString(c.nics) + " teams " +
                     testing::PrintToString(c.teams) + " list " + std::to_string(c.list));
        PageHost page;
        for (int row : c.nics)
            page.clickRow(kNics, row);
        for (int row : c.teams)
            page.clickRow(kTeams, row);
        page.notifyClick(c.list);
        EXPECT_EQ(c.clicked, Read(page.window()));
        page.tickRow(c.list, c.row, !page.rowTicked(c.list, c.row));
        EXPECT_EQ(c.toggled, Read(page.window()));
        page.redrawRow(c.list, c.row);
        EXPECT_EQ(c.redrawn, Read(page.window()));
        page.redraw(c.list, c.row);
        EXPECT_EQ(c.redrawn, Read(page.window())) << "the other list is drawn anew";
    }
}

// A list view that changes the box first tells of the new state at once.
TEST_F(PageClicks, UpdateThePageAtTheClickWhenTheBoxHasChanged) {
    PageHost page;
    page.clickRow(kNics, 0);
    page.clickRow(kNics, 1);
    page.tickRow(kTeams, 0);
    page.notifyClick(kTeams);
    EXPECT_EQ((Shown{"remove properties", "backup", "", "0"}), Read(page.window()));
}
