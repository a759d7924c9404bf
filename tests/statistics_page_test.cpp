// The Statistics page in process: where its rows stand, from where its counters count, and what of it
// is left without a driver.
#include "harness/sheet_host.h"

#include "info/statistics_page.h"
#include "info/statistics_table.h"

#include <commctrl.h>
#include <prsht.h>

using Row = SheetHost::Row;
using Rows = std::vector<Row>;

constexpr ULONGLONG k2To64Less1 = 0xFFFFFFFFFFFFFFFF;

constexpr DWORD kFirstCounter = 0x00020101;
constexpr DWORD kLastCounter = 0x01020207;

class StatisticsPage : public SheetTest {
  protected:
    void TearDown() override {
        EXPECT_EQ("", StillOpen());
        SheetTest::TearDown();
    }

    void Counter(DWORD oid, ULONGLONG count) {
        AnswerOid(port(0).guid, oid, BytesOf(count));
    }
    void AllCounters(ULONGLONG count) {
        for (const StatisticsRow& row : g_statistics)
            Counter(row.oid, count);
    }

    static std::wstring First(const SheetHost& page) {
        return page.value(L"Frames Transmitted OK");
    }
    static std::wstring Last(const SheetHost& page) {
        return page.value(L"Transmit Late Collisions");
    }
};

struct Page : SheetHost {
    Page() : SheetHost(IDD_STATISTICS_PAGE, QvStatisticsDialogProc) {
    }
};

TEST_F(StatisticsPage, ShowsEveryRowAtItsPlace) {
    Page page;
    EXPECT_EQ((Rows{{L"General Statistics", L""},
                    {L"Frames Transmitted OK", L"1001"},
                    {L"Frames Received OK", L"2001"},
                    {L"Transmitted Error Frames", L"3001"},
                    {L"Received Error Frames", L"4001"},
                    {L"Directed Frames Transmitted", L"5001"},
                    {L"Multicast Frames Transmitted", L"6001"},
                    {L"Broadcast Frames Transmitted", L"7001"},
                    {L"Directed Frames Received", L"9001"},
                    {L"Multicast Frames Received", L"9001"},
                    {L"Broadcast Frames Received", L"10001"},
                    {L"", L" "},
                    {L"Ethernet Statistics", L" "},
                    {L"Received CRC Error Frames", L"11001"},
                    {L"Received Alignment Error Frames", L"12001"},
                    {L"Receive Overrun Frames", L"13001"},
                    {L"Transmit One Collision Frames", L"14001"},
                    {L"Transmit More Collision Frames", L"15001"},
                    {L"Transmit Deferred Frames", L"16001"},
                    {L"Transmit Excessive Collision Frames", L"17001"},
                    {L"Transmit Underrun Frames", L"18001"},
                    {L"Transmit Heartbeat Failure Frames", L"19001"},
                    {L"Transmit CRS Signal Lost", L"20001"},
                    {L"Transmit Late Collisions", L"21001"}}),
              page.rows());
}

TEST_F(StatisticsPage, ShowsCrcErrorsFirstUnderEthernetStatistics) {
    Page page;
    const std::vector<std::wstring> names = page.names();
    ASSERT_EQ(24u, names.size());
    EXPECT_EQ(L"Ethernet Statistics", names[12]);
    EXPECT_EQ(L"Received CRC Error Frames", names[13]);
}

TEST_F(StatisticsPage, ShowsTheMulticastCounterAsDirectedFramesReceived) {
    Counter(0x00020208, 777); // the directed frames, which nobody asks for
    Counter(0x0002020A, 888);
    Page page;
    EXPECT_EQ(L"888", page.value(L"Directed Frames Received"));
    EXPECT_EQ(L"888", page.value(L"Multicast Frames Received"));
}

TEST_F(StatisticsPage, MakesItsListInsideThePage) {
    Page page;
    HWND list = page.list();
    page.expectList(L"Statistics", 355, 250);
    EXPECT_FALSE(GetWindowLongW(list, GWL_STYLE) & (LVS_SORTASCENDING | LVS_SORTDESCENDING));
    EXPECT_EQ(2, Header_GetItemCount(ListView_GetHeader(list)));
    EXPECT_EQ(Row(L"Name", L"200"), page.column(0));
    EXPECT_EQ(Row(L"Value", L"130"), page.column(1));
    LVCOLUMNW column = {};
    column.mask = LVCF_FMT;
    EXPECT_TRUE(ListView_GetColumn(list, 1, &column));
    EXPECT_EQ(LVCFMT_LEFT, column.fmt & LVCFMT_JUSTIFYMASK);
}

TEST_F(StatisticsPage, HasItsListInFrontOfTheButtonsForTheTabKey) {
    Page page;
    for (int time : {0, 1}) {
        HWND window = page.window();
        EXPECT_EQ(page.list(), GetNextDlgTabItem(window, nullptr, FALSE)) << time;
        EXPECT_EQ(page.control(IDC_REFRESH), GetNextDlgTabItem(window, page.list(), FALSE));
        EXPECT_EQ(page.control(IDC_RESET),
                  GetNextDlgTabItem(window, page.control(IDC_REFRESH), FALSE));
        page.press(IDC_REFRESH);
    }
}

TEST_F(StatisticsPage, RefreshedShowsHowFarTheDriverHasCome) {
    Page page;
    Counter(kFirstCounter, 5000000000);
    Counter(kLastCounter, 21002);
    EXPECT_EQ(L"1001", First(page)) << "not before the user asks";
    page.press(IDC_REFRESH);
    EXPECT_EQ(L"5000000000", First(page));
    EXPECT_EQ(L"21002", Last(page));
    EXPECT_EQ(24u, page.rows().size());
    EXPECT_EQ(1014, GetDlgCtrlID(page.list()));
    EXPECT_EQ(Row(L"Name", L"200"), page.column(0));
    for (int round = 0; round < 5; round++)
        page.press(IDC_REFRESH);
    EXPECT_EQ(24u, page.rows().size()) << "one list, filled once";
}

static WNDPROC listProcedure;
static std::vector<int> rowsAtTheEnd; // of each list that was destroyed

static LRESULT CALLBACK WatchTheEnd(HWND list, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DESTROY)
        rowsAtTheEnd.push_back(ListView_GetItemCount(list));
    return CallWindowProcW(listProcedure, list, message, wParam, lParam);
}

TEST_F(StatisticsPage, EmptiesTheOldListBeforeItDestroysIt) {
    Page page;
    rowsAtTheEnd.clear();
    for (int button : {IDC_REFRESH, IDC_RESET}) {
        listProcedure = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(page.list(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(WatchTheEnd)));
        page.press(button);
    }
    EXPECT_EQ((std::vector<int>{0, 0}), rowsAtTheEnd);
}

TEST_F(StatisticsPage, ResetCountsFromWhereTheCountersStood) {
    Page page;
    page.press(IDC_RESET);
    for (const Row& row : page.rows()) {
        if (!row.first.empty() && row.first.find(L"Statistics") == std::wstring::npos)
            EXPECT_EQ(L"0", row.second) << testing::PrintToString(row.first);
    }
    EXPECT_EQ(24u, page.rows().size());
    Counter(kFirstCounter, 1001 + 42);
    Counter(kLastCounter, 21001 + 1);
    page.press(IDC_REFRESH);
    EXPECT_EQ(L"42", First(page));
    EXPECT_EQ(L"1", Last(page));
    EXPECT_EQ(L"0", page.value(L"Frames Received OK"));
    page.press(IDC_RESET);
    EXPECT_EQ(L"0", First(page));
}

TEST_F(StatisticsPage, ResetShowsTheTrafficSinceTheLastReading) {
    Page page;
    // What is set to zero is what was shown; the driver has moved on before it is asked again.
    Counter(kFirstCounter, 1010);
    page.press(IDC_RESET);
    EXPECT_EQ(L"9", First(page));
}

TEST_F(StatisticsPage, KeepsItsBaselineWhenItOpensAgain) {
    {
        Page page;
        page.press(IDC_RESET);
    }
    Counter(kFirstCounter, 1101);
    Page page;
    EXPECT_EQ(L"100", First(page));
    EXPECT_EQ(L"0", Last(page));
}

TEST_F(StatisticsPage, ShowsACounterBelowItsBaselineAsAVeryLargeNumber) {
    Page page;
    page.press(IDC_RESET);
    Counter(kFirstCounter, 1000);
    Counter(kLastCounter, 0);
    page.press(IDC_REFRESH);
    EXPECT_EQ(L"18446744073709551615", First(page));
    EXPECT_EQ(std::to_wstring(0ull - 21001), Last(page));
}

TEST_F(StatisticsPage, ShowsTheLargestCounterUnsigned) {
    AllCounters(k2To64Less1);
    Page page;
    EXPECT_EQ(L"18446744073709551615", First(page));
    page.press(IDC_RESET);
    EXPECT_EQ(L"0", First(page));
    AllCounters(4); // past the end of the counter
    page.press(IDC_REFRESH);
    EXPECT_EQ(L"5", First(page));
    EXPECT_EQ(L"5", Last(page));
}

TEST_F(StatisticsPage, SharesItsBaselineBetweenAdapters) {
    {
        Page page;
        page.press(IDC_RESET);
    }
    ChooseNic(1, port(1));
    Page page;
    EXPECT_EQ(L"1", First(page)) << "1002 less the 1001 of the first adapter";
    EXPECT_EQ(L"1", Last(page));
    page.press(IDC_RESET);
    ChooseNic(0, port(0));
    page.press(IDC_REFRESH);
    EXPECT_EQ(L"18446744073709551615", First(page));
}

TEST_F(StatisticsPage, OfADriverThatRefusesEveryCounterShowsTheLastOnes) {
    {
        Page page;
        RefuseAll(port(0).guid);
        page.press(IDC_REFRESH);
        EXPECT_EQ(L"1001", First(page));
        EXPECT_EQ(L"21001", Last(page));
        EXPECT_EQ(1, OnInitStatisticsDialog(page.window()));
    }
    // Those of another adapter, when that was the last to answer.
    ChooseNic(1, port(1));
    Page other;
    ChooseNic(0, port(0));
    Page page;
    EXPECT_EQ(L"1002", First(page));
}

TEST_F(StatisticsPage, OfADriverThatNeverAnsweredShowsZeros) {
    RefuseAll(port(0).guid);
    Page page;
    EXPECT_EQ(24u, page.rows().size());
    EXPECT_EQ(L"0", First(page));
    EXPECT_EQ(L"0", Last(page));
}

TEST_F(StatisticsPage, TakesCountersOfFourBytes) {
    AnswerOid(port(0).guid, kFirstCounter, BytesOf(DWORD{0xFFFFFFFF}));
    Page page;
    EXPECT_EQ(L"4294967295", First(page));
}

static void ExpectHeadersOnly(const Page& page) {
    EXPECT_TRUE(page.rows().empty());
    EXPECT_EQ(Row(L"Name", L"200"), page.column(0));
    EXPECT_EQ(Row(L"Value", L"130"), page.column(1));
}

TEST_F(StatisticsPage, RefreshedWithoutADriverHasItsHeadersOnly) {
    Page page;
    Bench(L"fault CreateFileW 1 2 all");
    page.press(IDC_REFRESH);
    ExpectHeadersOnly(page);
    page.press(IDC_RESET);
    ExpectHeadersOnly(page);
    Bench(L"clear");
    page.press(IDC_REFRESH);
    EXPECT_EQ(24u, page.rows().size());
    EXPECT_EQ(L"0", First(page)) << "the reset took the last values";
}

TEST_F(StatisticsPage, OpenedWithoutADriverHasItsHeadersOnly) {
    {
        Bench(L"fault CreateFileW 1 2");
        Page page;
        ExpectHeadersOnly(page);
    }
    {
        Bench(L"fault calloc 1 8");
        Page page;
        ExpectHeadersOnly(page);
    }
    g_nicSelected = g_teamSelected = -1;
    Page page;
    ExpectHeadersOnly(page);
    EXPECT_EQ(0u, Calls("DeviceIoControl"));
    EXPECT_TRUE(Texts(Journal(), L"message-box").empty());
}

TEST_F(StatisticsPage, ShowsTheTeamAdapterWhenNoPortIsChosen) {
    ChooseNic(3, port(0));
    ChooseTeamAdapter(2, port(1));
    Page page;
    EXPECT_EQ(L"1002", First(page));
}

TEST_F(StatisticsPage, TellsWhetherItFilledItsList) {
    Page page;
    DestroyWindow(page.list());
    EXPECT_EQ(1, OnInitStatisticsDialog(page.window()));
    DestroyWindow(page.list());
    Bench(L"fault CreateFileW 1 2");
    EXPECT_EQ(0, OnInitStatisticsDialog(page.window()));
    DestroyWindow(page.list());
    Bench(L"message-box IDOK");
    Bench(L"fault CreateWindowExW 1 8");
    EXPECT_EQ(0, OnInitStatisticsDialog(page.window()));
}

TEST_F(StatisticsPage, WithoutAListSaysSoAndAsksNobody) {
    Bench(L"message-box IDOK all");
    Bench(L"fault CreateWindowExW 1 8");
    Page page;
    EXPECT_EQ((std::vector<std::wstring>{L"(null) \"Cannot Create Control\" type=0x0 -> IDOK"}),
              Texts(Journal(), L"message-box"));
    EXPECT_TRUE(page.lists().empty());
    EXPECT_EQ(0u, Calls("CreateFileW"));
    // Refresh finds no list to destroy and makes one.
    page.press(IDC_REFRESH);
    EXPECT_EQ(24u, page.rows().size());
    Bench(L"fault CreateWindowExW 1 8");
    page.press(IDC_REFRESH);
    EXPECT_TRUE(page.lists().empty());
    EXPECT_EQ(2u, Texts(Journal(), L"message-box").size());
}

TEST_F(StatisticsPage, AnswersTheSheetsNotifications) {
    Page page;
    HWND list = page.list();
    Bench(L"reset-counts");
    for (UINT code : {PSN_SETACTIVE, PSN_KILLACTIVE, PSN_APPLY}) {
        EXPECT_EQ(TRUE, page.notify(code)) << code;
        EXPECT_EQ(PSNRET_NOERROR, page.result()) << code;
    }
    EXPECT_EQ(FALSE, page.notify(PSN_RESET));
    EXPECT_EQ(SheetHost::kNoResult, page.result());
    for (UINT code : {PSN_HELP, PSN_QUERYCANCEL, static_cast<UINT>(NM_CLICK)}) {
        EXPECT_EQ(TRUE, page.notify(code)) << code;
        EXPECT_EQ(SheetHost::kNoResult, page.result()) << code;
    }
    EXPECT_EQ(list, page.list()) << "no new list";
    EXPECT_EQ(0u, Calls("DeviceIoControl"));
}

TEST_F(StatisticsPage, HandlesNothingWithoutItsRecord) {
    Page page;
    SetWindowLongPtrW(page.window(), DWLP_USER, 0);
    HWND list = page.list();
    for (UINT code : {PSN_SETACTIVE, PSN_KILLACTIVE, PSN_APPLY, PSN_RESET, PSN_HELP}) {
        EXPECT_EQ(FALSE, page.notify(code)) << code;
        EXPECT_EQ(SheetHost::kNoResult, page.result()) << code;
    }
    Counter(kFirstCounter, 5);
    page.press(IDC_REFRESH);
    page.press(IDC_RESET);
    EXPECT_EQ(list, page.list());
    EXPECT_EQ(L"1001", First(page));
    EXPECT_EQ(FALSE, page.send(WM_DESTROY));
}

TEST_F(StatisticsPage, KeepsThePageRecordUntilItsEnd) {
    Page page;
    EXPECT_EQ(reinterpret_cast<LONG_PTR>(page.record()), page.userSlot());
    EXPECT_EQ(FALSE, page.send(WM_DESTROY));
    EXPECT_EQ(0, page.userSlot());
    EXPECT_EQ(TRUE, page.send(WM_INITDIALOG, 0, reinterpret_cast<LPARAM>(page.record())));
}

TEST_F(StatisticsPage, LeavesOtherCommandsAlone) {
    Page page;
    HWND list = page.list();
    Bench(L"reset-counts");
    for (int id : {IDC_REFRESH, IDC_RESET}) {
        HWND button = page.control(id);
        EXPECT_EQ(FALSE,
                  page.send(WM_COMMAND, static_cast<WPARAM>(id), reinterpret_cast<LPARAM>(button)));
    }
    EXPECT_EQ(42u, Calls("DeviceIoControl"));
    list = page.list();
    EXPECT_EQ(FALSE, page.send(WM_COMMAND, IDOK, reinterpret_cast<LPARAM>(page.list())));
    EXPECT_EQ(FALSE, page.send(WM_COMMAND, IDCANCEL));
    EXPECT_EQ(FALSE, page.send(WM_SIZE));
    EXPECT_EQ(list, page.list());
    EXPECT_EQ(42u, Calls("DeviceIoControl"));
}
