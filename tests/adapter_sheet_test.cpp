// The property sheet of an adapter or a team: whose it is, and which pages it has.
#include "app/adapter_sheet.h"

#include "harness/creation.h"
#include "harness/import_instead.h"
#include "harness/vlan_host.h"

#include <commctrl.h>
#include <prsht.h>

// A property sheet that would have opened.
struct ShownSheet {
    PROPSHEETHEADERW header = {};
    std::vector<PROPSHEETPAGEW> pages;
    LONG nic = 99; // selection at that moment
    LONG team = 99;
};

static std::vector<ShownSheet> shown;
static INT_PTR sheetResult;

static INT_PTR WINAPI KeepSheet(LPCPROPSHEETHEADERW header) {
    shown.push_back(
        {*header, {header->ppsp, header->ppsp + header->nPages}, g_nicSelected, g_teamSelected});
    return sheetResult;
}

// As the product knows it; a test that names it gets a jump to it.
static DLGPROC Procedure(const char* symbol) {
    FARPROC found = GetProcAddress(hInstance, symbol);
    EXPECT_NE(nullptr, found) << symbol;
    return reinterpret_cast<DLGPROC>(reinterpret_cast<void*>(found));
}

struct KnownPage {
    int dialog;
    int title;
    const char* procedure;
};

static const KnownPage general = {1101, 404, "_Z22QvPropertiesDialogProcP6HWND__jyx"};
static const KnownPage statistics = {1102, 402, "_Z22QvStatisticsDialogProcP6HWND__jyx"};
static const KnownPage vlan = {101, 407, "_Z17QvVlansDialogProcP6HWND__jyx"};
static const KnownPage team = {1103, 403, "_Z26QvTeamPropertiesDialogProcP6HWND__jyx"};

class AdapterSheet : public CreationTest {
  protected:
    AdapterSheet() : instead_("PropertySheetW", reinterpret_cast<void*>(KeepSheet)) {
        shown.clear();
        sheetResult = 0;
    }

    void OpenTeams() {
        Ports(5);
        AddTeam(L"First", 0, 1, {L"port0", L"port1"});
        AddTeam(L"Second", 1, 2, {L"port2", L"port3"});
        Open({});
    }

    // Ticks these rows and asks for the sheet.
    void Ask(const std::vector<int>& nics, const std::vector<int>& teams) {
        for (int row = 0; row < page->rows(IDC_NIC_LIST); row++)
            page->tickRow(IDC_NIC_LIST, row, false);
        for (int row = 0; row < page->rows(IDC_TEAM_LIST); row++)
            page->tickRow(IDC_TEAM_LIST, row, false);
        for (int row : nics)
            page->tickRow(IDC_NIC_LIST, row);
        for (int row : teams)
            page->tickRow(IDC_TEAM_LIST, row);
        shown.clear();
        g_nicSelected = g_teamSelected = 99;
        ShowPropertiesPage(page->window());
    }

    // The one sheet that opened has these pages, in this order.
    void ExpectPages(const std::vector<KnownPage>& known) const {
        ASSERT_EQ(1u, shown.size());
        ASSERT_EQ(known.size(), shown[0].pages.size());
        for (size_t at = 0; at < known.size(); at++) {
            SCOPED_TRACE(at);
            const PROPSHEETPAGEW& one = shown[0].pages[at];
            EXPECT_EQ(sizeof(PROPSHEETPAGEW), one.dwSize);
            EXPECT_EQ(static_cast<DWORD>(PSP_USETITLE), one.dwFlags);
            EXPECT_EQ(hInstance, one.hInstance);
            EXPECT_EQ(MAKEINTRESOURCEW(known[at].dialog), one.pszTemplate);
            EXPECT_EQ(MAKEINTRESOURCEW(known[at].title), one.pszTitle);
            EXPECT_EQ(Procedure(known[at].procedure), one.pfnDlgProc);
            EXPECT_EQ(reinterpret_cast<LPARAM>(page->data()), one.lParam);
        }
    }

    size_t VlanPages() const {
        size_t pages = 0;
        for (const ShownSheet& sheet : shown) {
            for (const PROPSHEETPAGEW& one : sheet.pages)
                pages += one.pszTemplate == MAKEINTRESOURCEW(101);
        }
        return pages;
    }

  private:
    ImportInstead instead_;
};

TEST_F(AdapterSheet, IsOverThePageWithIconAndCaption) {
    OpenTeams();
    Ask({}, {0});
    ASSERT_EQ(1u, shown.size());
    const PROPSHEETHEADERW& header = shown[0].header;
    EXPECT_EQ(sizeof(PROPSHEETHEADERW), header.dwSize);
    EXPECT_EQ(0x8008Cu, header.dwFlags);
    EXPECT_EQ(page->window(), header.hwndParent);
    EXPECT_EQ(hInstance, header.hInstance);
    EXPECT_EQ(MAKEINTRESOURCEW(102), header.pszIcon);
    EXPECT_EQ(MAKEINTRESOURCEW(403), header.pszCaption);
    EXPECT_EQ(shown[0].pages.size(), header.nPages);
    EXPECT_EQ(0u, header.nStartPage);
    EXPECT_EQ(nullptr, header.pfnCallback);
}

TEST_F(AdapterSheet, OfATeamHasFourPagesInOrder) {
    OpenTeams();
    Ask({}, {0});
    ExpectPages({general, statistics, vlan, team});
}

TEST_F(AdapterSheet, OfAnAdapterHasNoTeamPage) {
    OpenTeams();
    Ask({0}, {});
    ExpectPages({general, statistics});
}

TEST_F(AdapterSheet, OfAnAdapterThatCannotBeTeamedHasTheVlanPageLast) {
    LoadAndBuild(L"xp-offload.txt");
    Open({});
    Ask({0}, {});
    ExpectPages({general, statistics, vlan});
}

TEST_F(AdapterSheet, IsThatOfTheFirstTickedAdapterOrElseOfTheFirstTickedTeam) {
    Load(L"xp-offload.txt"); // every adapter has a page there
    machine.adapters.push_back(machine.adapters[0]);
    machine.adapters[2].name = L"port2";
    machine.adapters[2].instance.back() = L'8';
    machine.adapters[2].instance[machine.adapters[2].instance.size() - 2] = L'1';
    machine.adapters[2].guid = L"{A0000000-0000-4000-8000-000000000003}";
    for (int number = 3; number < 7; number++) {
        MachineAdapter more = machine.adapters[0];
        more.name = L"port" + std::to_wstring(number);
        more.instance.replace(more.instance.size() - 2, 2, std::to_wstring(20 + number));
        more.guid[more.guid.size() - 2] = static_cast<wchar_t>(L'1' + number);
        machine.adapters.push_back(more);
    }
    AddTeam(L"First", 0, 1, {L"port3", L"port4"});
    AddTeam(L"Second", 1, 2, {L"port5", L"port6"});
    Open({});
    ASSERT_EQ(3, page->rows(IDC_NIC_LIST));
    ASSERT_EQ(2, page->rows(IDC_TEAM_LIST));
    const struct {
        std::vector<int> nics;
        std::vector<int> teams;
        LONG nic;
        LONG team;
    } cases[] = {
        {{0}, {}, 0, -1}, {{2}, {}, 2, -1},    {{1, 2}, {}, 1, -1}, {{}, {0}, -1, 0},
        {{}, {1}, -1, 1}, {{}, {0, 1}, -1, 0}, {{2}, {0}, 2, -1},   {{0, 1, 2}, {0, 1}, 0, -1},
    };
    for (const auto& c : cases) {
        Ask(c.nics, c.teams);
        ASSERT_EQ(1u, shown.size()) << &c - cases;
        EXPECT_EQ(c.nic, shown[0].nic) << &c - cases;
        EXPECT_EQ(c.team, shown[0].team) << &c - cases;
        EXPECT_EQ(1u, VlanPages()) << &c - cases;
    }
}

TEST_F(AdapterSheet, DoesNotOpenWithoutATick) {
    OpenTeams();
    ClearJournal();
    Ask({}, {});
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(99, g_nicSelected);
    EXPECT_EQ(99, g_teamSelected);
    EXPECT_TRUE(Journal().empty());
}

TEST_F(AdapterSheet, DoesNotOpenBehindThePagesLife) {
    OpenTeams();
    SetWindowLongPtrW(page->window(), DWLP_USER, 0);
    Ask({}, {0});
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(99, g_teamSelected);
}

// No 64-bit Windows reports 5.1.
TEST_F(AdapterSheet, HasTheVlanPageForAnAdapterOnlyWhereItCannotBeTeamed) {
    const struct {
        const wchar_t* windows;
        const wchar_t* offload; // of the second port; the first has "0"
        bool page;
    } cases[] = {
        {L"5.1", L"1", true},   {L"5.1", L"0", false},  {L"5.1", nullptr, false},
        {L"5.2", L"1", false},  {L"6.0", L"1", false},  {L"6.1", L"1", false},
        {L"10.0", L"1", false}, {L"10.0", L"0", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Load(L"xp-offload.txt");
        machine.windows = c.windows;
        for (MachineValue& value : machine.adapters[1].values) {
            if (value.name == L"TCPOffload")
                value = c.offload != nullptr ? MachineValue::Text(L"TCPOffload", c.offload)
                                             : MachineValue::Text(L"Spare", L"1");
        }
        Open({});
        for (int row : {0, 1}) {
            Ask({row}, {});
            EXPECT_EQ(c.page ? 1u : 0u, VlanPages()) << row;
            EXPECT_EQ(row, g_nicSelected);
            EXPECT_EQ(-1, g_teamSelected);
        }
    }
}

TEST_F(AdapterSheet, HasTheVlanPageForATeamOnEveryWindows) {
    for (const wchar_t* windows : {L"5.1", L"5.2", L"6.0", L"6.1", L"10.0"}) {
        Ports(2);
        machine.windows = windows;
        AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        Open({});
        Ask({}, {0});
        EXPECT_EQ(1u, VlanPages()) << testing::PrintToString(windows);
    }
}

TEST_F(AdapterSheet, SaysThatItCannotBeMade) {
    OpenTeams();
    BoxCatcher catcher;
    for (INT_PTR result : {0, 1, ID_PSRESTARTWINDOWS}) {
        sheetResult = result;
        Ask({}, {1});
        EXPECT_EQ(1u, shown.size());
        EXPECT_TRUE(catcher.boxes.empty()) << result;
    }
    sheetResult = -1;
    Ask({}, {1});
    ASSERT_EQ(1u, catcher.boxes.size());
    EXPECT_EQ(L"Cannot Create Property Sheet", catcher.boxes[0].text);
    EXPECT_EQ(L"<none>", catcher.boxes[0].caption);
    EXPECT_EQ(nullptr, catcher.boxes[0].owner);
    EXPECT_EQ(static_cast<UINT>(MB_OK), catcher.boxes[0].type);
}
