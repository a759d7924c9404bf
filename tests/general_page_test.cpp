// The General page in process: what it shows of an adapter, and what of it is left when something
// cannot be had.
#include "harness/driver_spy.h"
#include "harness/sheet_host.h"

#include "info/general_page.h"

#include <commctrl.h>
#include <prsht.h>

using Rows = std::vector<SheetHost::Row>;

static const std::wstring kServices = L"System\\CurrentControlSet\\Services\\";
static const std::wstring kInterfaces = kServices + L"Tcpip\\Parameters\\Interfaces\\";
static const std::wstring kService = L"qvpage";

constexpr DWORD kLinkSpeed = 0x00010107;
constexpr DWORD kConnectStatus = 0x00010114;
constexpr DWORD kFrameSize = 0x00010106;

class GeneralPage : public SheetTest {
  protected:
    void SetUp() override {
        SheetTest::SetUp();
        lstrcpynW(g_nicDetails[0].service, kService.c_str(), NAME_CCH);
        RegistrySet(kServices + kService,
                    MachineValue::Text(L"ImagePath", L"System32\\drivers\\qvpage.sys"));
        RegistrySet(kInterfaces + port(0).guid,
                    MachineValue::MultiText(L"IPAddress", {L"192.0.2.7", L"192.0.2.8"}));
    }
    void TearDown() override {
        RegistryDeleteTree(kServices + kService);
        RegistryDeleteTree(kInterfaces + port(0).guid);
        EXPECT_EQ("", StillOpen());
        SheetTest::TearDown();
    }

    // What a freshly opened page shows in one row.
    static std::wstring Value(const wchar_t* name) {
        return SheetHost(IDD_GENERAL_PAGE, QvPropertiesDialogProc).value(name);
    }
    static Rows AllRows() {
        return SheetHost(IDD_GENERAL_PAGE, QvPropertiesDialogProc).rows();
    }
};

TEST_F(GeneralPage, ShowsTwelveFactsOfTheAdapterThatIsChosen) {
    AnswerOid(port(0).guid, 0x01010102, {0x02, 0xAB, 0x00, 0x10, 0xFF, 0x01});
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    EXPECT_EQ((Rows{{L"Adapter Name", L"Quovane 10GbE Adapter #1"},
                    {L"Current MAC Address", L"02-ab-00-10-ff-01"},
                    {L"Permanent MAC Address", L"02-51-56-00-00-01"},
                    {L"Link Speed", L"10 Gbps"},
                    {L"Link Status", L"Connected"},
                    {L"Driver Name", L"System32\\drivers\\qvpage.sys"},
                    {L"Driver State", L"Installed"},
                    {L"Driver Date", L"3-14-2009"},
                    {L"Driver Version", L"2.6.1.0"},
                    {L"IP Address", L"192.0.2.7"},
                    {L"Offload Capabilities", L"LSO, Checksum Offload"},
                    {L"MTU", L"1500"}}),
              page.rows());
}

TEST_F(GeneralPage, MakesItsListInsideThePage) {
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    HWND list = page.list();
    page.expectList(L"General", 350, 295);
    EXPECT_FALSE(GetWindowLongW(list, GWL_STYLE) & (LVS_EDITLABELS | LVS_OWNERDATA));
    EXPECT_EQ(2, Header_GetItemCount(ListView_GetHeader(list)));
    EXPECT_EQ(SheetHost::Row(L"Information", L"100"), page.column(0));
    EXPECT_EQ(SheetHost::Row(L"Value", L"250"), page.column(1));
}

TEST_F(GeneralPage, ShowsOneListAndTheLatestAnswersAfterEveryActivation) {
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    for (DWORD mtu = 1501; mtu < 1511; mtu++) {
        AnswerOid(port(0).guid, kFrameSize, BytesOf(mtu));
        EXPECT_EQ(TRUE, page.notify(PSN_SETACTIVE));
        EXPECT_EQ(1u, page.lists().size());
        EXPECT_EQ(12u, page.rows().size());
        EXPECT_EQ(std::to_wstring(mtu), page.value(L"MTU"));
        EXPECT_EQ(2, Header_GetItemCount(ListView_GetHeader(page.list())));
    }
}

static void ExpectHeadersOnly(const SheetHost& page) {
    EXPECT_TRUE(page.rows().empty());
    EXPECT_EQ(L"Information", page.column(0).first);
    EXPECT_EQ(L"Value", page.column(1).first);
    EXPECT_TRUE(Texts(Journal(), L"message-box").empty());
}

TEST_F(GeneralPage, OfADriverThatDoesNotOpenHasItsHeadersOnly) {
    {
        Bench(L"fault CreateFileW 1 2");
        SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
        ExpectHeadersOnly(page);
        EXPECT_EQ(TRUE, page.notify(PSN_SETACTIVE));
        EXPECT_EQ(12u, page.rows().size()) << "it opens now";
        Bench(L"fault CreateFileW 1 5");
        EXPECT_EQ(TRUE, page.notify(PSN_SETACTIVE));
        ExpectHeadersOnly(page);
    }
    g_nics[0].guid.Data4[7] = 0xFF; // of nobody
    Bench(L"reset-counts");
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    ExpectHeadersOnly(page);
    EXPECT_EQ(1u, Calls("CreateFileW"));
    EXPECT_EQ(0u, Calls("DeviceIoControl"));
}

TEST_F(GeneralPage, WithoutMemoryForTheDevicePathHasItsHeadersOnly) {
    Bench(L"fault calloc 1 8");
    Bench(L"fault malloc 1 8");
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    ExpectHeadersOnly(page);
    EXPECT_EQ(0u, Calls("CreateFileW"));
}

TEST_F(GeneralPage, OfADriverThatRefusesOneOfTheFirstFourQueriesIsEmpty) {
    for (int failing = 1; failing <= 4; failing++) {
        SCOPED_TRACE(failing);
        Bench(L"fault DeviceIoControl " + std::to_wstring(failing) + L" 50");
        Bench(L"reset-counts");
        SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
        ExpectHeadersOnly(page);
        EXPECT_EQ(static_cast<unsigned>(failing), Calls("DeviceIoControl"));
        EXPECT_EQ(0u, Calls("RegCreateKeyExW"));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(GeneralPage, WithoutAChosenAdapterHasItsHeadersOnly) {
    g_nicSelected = g_teamSelected = -1;
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    ExpectHeadersOnly(page);
    EXPECT_EQ(0u, Calls("CreateFileW"));
}

TEST_F(GeneralPage, ShowsTheTeamAdapterWhenNoPortIsChosen) {
    ChooseNic(3, port(0));
    ChooseTeamAdapter(2, port(1));
    lstrcpynW(g_teamAdapterDetails[2].driverVersion, L"9.9", NAME_CCH);
    lstrcpynW(g_teamAdapterDetails[2].service, kService.c_str(), NAME_CCH);
    g_teamAdapterDetails[2].installState = 2;
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    EXPECT_EQ(L"Quovane 10GbE Adapter #2", page.value(L"Adapter Name"));
    EXPECT_EQ(L"02-51-56-00-00-02", page.value(L"Current MAC Address"));
    EXPECT_EQ(L"Failed Install", page.value(L"Driver State"));
    EXPECT_EQ(L"9.9", page.value(L"Driver Version"));
    EXPECT_EQ(L"System32\\drivers\\qvpage.sys", page.value(L"Driver Name"));
}

TEST_F(GeneralPage, ShowsTheRowThatIsChosen) {
    ChooseNic(16, port(1));
    EXPECT_EQ(L"Quovane 10GbE Adapter #2", Value(L"Adapter Name"));
    g_nicSelected = 0;
    EXPECT_EQ(L"Quovane 10GbE Adapter #1", Value(L"Adapter Name"));
}

TEST_F(GeneralPage, MakesTheServiceKeyThatIsMissing) {
    RegistryDeleteTree(kServices + kService);
    EXPECT_EQ(L"Unknown", Value(L"Driver Name"));
    EXPECT_TRUE(RegistryHasKey(kServices + kService));
    EXPECT_EQ(std::vector<std::wstring>{L"HKLM\\" + kServices + kService},
              Texts(Journal(), L"key-create"));
}

TEST_F(GeneralPage, MakesTheInterfaceKeyThatIsMissing) {
    RegistryDeleteTree(kInterfaces + port(0).guid);
    EXPECT_EQ(L"Unknown", Value(L"IP Address"));
    EXPECT_TRUE(RegistryHasKey(kInterfaces + port(0).guid));
    EXPECT_EQ(std::vector<std::wstring>{L"HKLM\\" + kInterfaces + port(0).guid},
              Texts(Journal(), L"key-create"));
}

TEST_F(GeneralPage, OfAServiceWithoutANameShowsNoDriver) {
    g_nicDetails[0].service[0] = L'\0';
    EXPECT_EQ(L"Unknown", Value(L"Driver Name"));
    lstrcpynW(g_nicDetails[0].service, std::wstring(259, L'q').c_str(), NAME_CCH);
    EXPECT_EQ(L"Unknown", Value(L"Driver Name")) << "no key can have such a name";
}

TEST_F(GeneralPage, FindsAServiceOfTheLongestName) {
    const std::wstring longest(255, L'q'); // more no key may have
    lstrcpynW(g_nicDetails[0].service, longest.c_str(), NAME_CCH);
    RegistrySet(kServices + longest, MachineValue::Text(L"ImagePath", L"long.sys"));
    EXPECT_EQ(L"long.sys", Value(L"Driver Name"));
    RegistryDeleteTree(kServices + longest);
}

TEST_F(GeneralPage, WithoutAccessToItsKeysShowsTheRest) {
    Bench(L"fault RegCreateKeyExW 1 5 all");
    Rows rows = AllRows();
    ASSERT_EQ(12u, rows.size());
    EXPECT_EQ(L"Unknown", rows[5].second);
    EXPECT_EQ(L"Unknown", rows[9].second);
    EXPECT_EQ(L"1500", rows[11].second);
    Bench(L"clear");
    Bench(L"fault RegCreateKeyExW 2 5");
    rows = AllRows();
    EXPECT_EQ(L"System32\\drivers\\qvpage.sys", rows[5].second);
    EXPECT_EQ(L"Unknown", rows[9].second);
    Bench(L"clear");
    Bench(L"admin 0");
    rows = AllRows();
    Bench(L"reload");
    EXPECT_EQ(L"Unknown", rows[5].second);
    EXPECT_EQ(L"Unknown", rows[9].second);
    EXPECT_EQ(L"1500", rows[11].second);
}

TEST_F(GeneralPage, WithoutTheValuesOfItsKeysShowsTheRest) {
    for (const wchar_t* fault : {L"fault RegQueryValueExW 1 2 all", L"fault calloc 2 8 all"}) {
        Bench(fault);
        Bench(L"reset-counts");
        const Rows rows = AllRows();
        ASSERT_EQ(12u, rows.size());
        EXPECT_EQ(L"Unknown", rows[5].second);
        EXPECT_EQ(L"Unknown", rows[9].second);
        EXPECT_EQ(L"1500", rows[11].second);
        Bench(L"clear");
    }
}

struct TextCase {
    const char* what;
    MachineValue value;
    std::wstring shown;
};

static std::vector<TextCase> TextCases(const std::wstring& name) {
    const std::wstring fifty = L"\\SystemRoot\\System32\\drivers\\with_a_very_long_name";
    EXPECT_EQ(50u, fifty.size());
    const std::wstring longer(1000, L'x');
    const std::wstring address = L"10.1.2.3";
    return {
        {"fifty characters", MachineValue::Text(name, fifty), fifty},
        {"fifty-one", MachineValue::Text(name, fifty + L"s"), fifty},
        {"a thousand", MachineValue::Text(name, longer), longer.substr(0, 50)},
        {"without terminator", MachineValue::SizedText(name, address, 16), address},
        {"fifty without terminator", MachineValue::SizedText(name, fifty, 100), fifty},
        {"long without terminator", MachineValue::SizedText(name, longer, 2000),
         longer.substr(0, 50)},
        {"odd size", MachineValue::SizedText(name, address, 15), L"10.1.2.3"},
        {"several strings", MachineValue::MultiText(name, {address, L"10.9.9.9"}), address},
        {"an empty list of strings", MachineValue::MultiText(name, {}), L""},
        {"a list ended once",
         {name, REG_MULTI_SZ, MachineValue::Text(name, address).data},
         address},
        {"empty", MachineValue::Text(name, L""), L""},
        {"no bytes", {name, REG_SZ, {}}, L""},
        {"formats", MachineValue::Text(name, L"%s%n %SystemRoot% 100%"), L"%s%n %SystemRoot% 100%"},
        {"to be expanded",
         {name, REG_EXPAND_SZ, MachineValue::Text(name, L"%SystemRoot%\\a.sys").data},
         L"%SystemRoot%\\a.sys"},
    };
}

TEST_F(GeneralPage, CutsTheDriversPathToFiftyCharacters) {
    for (const TextCase& c : TextCases(L"ImagePath")) {
        RegistrySet(kServices + kService, c.value);
        EXPECT_EQ(c.shown, Value(L"Driver Name")) << c.what;
    }
}

TEST_F(GeneralPage, ShowsTheFirstAddressCutToFiftyCharacters) {
    for (const TextCase& c : TextCases(L"IPAddress")) {
        RegistrySet(kInterfaces + port(0).guid, c.value);
        EXPECT_EQ(c.shown, Value(L"IP Address")) << c.what;
    }
}

TEST_F(GeneralPage, CutsTheTextsOfItsTablesToFiftyCharacters) {
    const std::wstring longer(259, L'n');
    lstrcpynW(g_nics[0].name, longer.c_str(), NAME_CCH);
    lstrcpynW(g_nicDetails[0].driverDate, longer.c_str(), NAME_CCH);
    lstrcpynW(g_nicDetails[0].driverVersion, L"%s%d%n", NAME_CCH);
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    EXPECT_EQ(longer.substr(0, 50), page.value(L"Adapter Name"));
    EXPECT_EQ(longer.substr(0, 50), page.value(L"Driver Date"));
    EXPECT_EQ(L"%s%d%n", page.value(L"Driver Version"));
}

TEST_F(GeneralPage, ShowsTheDriversStateAndNothingForAnUnknownOne) {
    const wchar_t* const texts[] = {L"Installed", L"Needs Reinstall", L"Failed Install",
                                    L"Install Not Complete", L""};
    for (DWORD state = 0; state < 5; state++) {
        g_nicDetails[0].installState = state;
        EXPECT_EQ(texts[state], Value(L"Driver State")) << state;
    }
    g_nicDetails[0].installState = 0xFFFFFFFF;
    EXPECT_EQ(L"", Value(L"Driver State"));
}

TEST_F(GeneralPage, ShowsAnyOtherLinkThanZeroAsUnplugged) {
    for (DWORD status : {1u, 0xFFFFFFFFu}) {
        AnswerOid(port(0).guid, kConnectStatus, BytesOf(status));
        EXPECT_EQ(L"Network Cable Unplugged", Value(L"Link Status")) << status;
    }
}

TEST_F(GeneralPage, CapsTheSpeedFromWindowsSixOn) {
    AnswerOid(port(0).guid, kLinkSpeed, BytesOf(DWORD{400000000}));
    const struct {
        const wchar_t* version;
        const wchar_t* shown;
    } cases[] = {{L"version 5.1", L"40 Gbps"},
                 {L"version 5.2", L"40 Gbps"},
                 {L"version 6.0", L"10 Gbps"},
                 {L"version 6.1", L"10 Gbps"},
                 {L"version 10.0", L"10 Gbps"}};
    for (const auto& c : cases) {
        Bench(c.version);
        EXPECT_EQ(c.shown, Value(L"Link Speed")) << testing::PrintToString(std::wstring(c.version));
    }
    Bench(L"reload");
}

TEST_F(GeneralPage, ShowsTheSlowestSpeedWhereTheVersionIsUnknown) {
    Bench(L"fault GetVersionExW 1 87 all");
    EXPECT_EQ(L"100 bps", Value(L"Link Speed"));
}

TEST_F(GeneralPage, ShowsTheSpeedOfADriverThatAnswersWithFourBytes) {
    AnswerOid(port(0).guid, kLinkSpeed, BytesOf(DWORD{10000}));
    EXPECT_EQ(L"1 Mbps", Value(L"Link Speed"));
    AnswerOid(port(0).guid, kLinkSpeed, BytesOf(ULONGLONG{10000000}));
    EXPECT_EQ(L"1 Gbps", Value(L"Link Speed"));
}

TEST_F(GeneralPage, ShowsTheFrameSizeAsItComes) {
    AnswerOid(port(0).guid, kFrameSize, BytesOf(DWORD{9014}));
    EXPECT_EQ(L"9014", Value(L"MTU"));
    AnswerOid(port(0).guid, kFrameSize, BytesOf(DWORD{0}));
    EXPECT_EQ(L"0", Value(L"MTU"));
    AnswerOid(port(0).guid, kFrameSize, BytesOf(DWORD{0x80000000}));
    EXPECT_EQ(L"-2147483648", Value(L"MTU")) << "signed";
    RefuseOid(port(0).guid, kFrameSize, kStatusNotSupported);
    const Rows rows = AllRows();
    ASSERT_EQ(12u, rows.size());
    EXPECT_EQ(L"Unknown", rows[11].second);
}

// What the user was told.
static HWND toldOwner;
static std::wstring told;
static UINT toldType;
static bool toldCaption;

static int WINAPI Tell(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
    toldOwner = owner;
    told += text;
    toldCaption = caption != nullptr;
    toldType = type;
    return IDOK;
}

TEST_F(GeneralPage, WithoutAListSaysSoWithoutOwnerAndCaptionAndCarriesOn) {
    ImportInstead tell("MessageBoxW", reinterpret_cast<void*>(Tell));
    told.clear();
    toldOwner = reinterpret_cast<HWND>(1);
    Bench(L"fault CreateWindowExW 1 8");
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    EXPECT_EQ(L"Cannot Create Control", told) << "once";
    EXPECT_EQ(nullptr, toldOwner);
    EXPECT_FALSE(toldCaption);
    EXPECT_EQ(UINT{MB_OK}, toldType);
    EXPECT_TRUE(page.lists().empty());
    EXPECT_EQ(8u, Calls("DeviceIoControl")) << "the driver is asked all the same";
    EXPECT_EQ(TRUE, page.notify(PSN_SETACTIVE));
    EXPECT_EQ(12u, page.rows().size());
}

TEST_F(GeneralPage, NeedsItsStateRecord) {
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    EXPECT_EQ(reinterpret_cast<LONG_PTR>(page.data()), page.userSlot());
    EXPECT_EQ(0, OnInitPropertiesDialog(page.window()));
    HWND list = page.list();
    SetWindowLongPtrW(page.window(), DWLP_USER, 0);
    Bench(L"reset-counts");
    EXPECT_EQ(0, OnInitPropertiesDialog(page.window()));
    EXPECT_EQ(list, page.list()) << "untouched";
    for (UINT code : {PSN_SETACTIVE, PSN_KILLACTIVE, PSN_APPLY, PSN_RESET}) {
        EXPECT_EQ(FALSE, page.notify(code)) << code;
        EXPECT_EQ(SheetHost::kNoResult, page.result()) << code;
    }
    EXPECT_EQ(FALSE, page.send(WM_COMMAND, 1));
    EXPECT_EQ(FALSE, page.send(WM_DESTROY));
    EXPECT_EQ(0u, Calls("DeviceIoControl"));
}

TEST_F(GeneralPage, AnswersTheSheetsNotifications) {
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    HWND list = page.list();
    for (UINT code : {PSN_KILLACTIVE, PSN_APPLY}) {
        EXPECT_EQ(TRUE, page.notify(code)) << code;
        EXPECT_EQ(PSNRET_NOERROR, page.result()) << code;
        EXPECT_EQ(list, page.list()) << "no new list";
    }
    for (UINT code : {PSN_RESET, PSN_HELP, PSN_QUERYCANCEL, static_cast<UINT>(NM_CLICK),
                      static_cast<UINT>(0)}) {
        EXPECT_EQ(FALSE, page.notify(code)) << code;
        EXPECT_EQ(SheetHost::kNoResult, page.result()) << code;
        EXPECT_EQ(list, page.list()) << "no new list";
    }
    Bench(L"reset-counts");
    EXPECT_EQ(TRUE, page.notify(PSN_SETACTIVE));
    EXPECT_EQ(PSNRET_NOERROR, page.result());
    EXPECT_EQ(8u, Calls("DeviceIoControl")) << "asked anew";
}

TEST_F(GeneralPage, LeavesCommandsToOthersAndForgetsItsRecordAtTheEnd) {
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    EXPECT_EQ(FALSE, page.send(WM_COMMAND, IDOK));
    EXPECT_EQ(FALSE, page.send(WM_COMMAND, IDC_REFRESH));
    EXPECT_EQ(FALSE, page.send(WM_SIZE));
    EXPECT_NE(0, page.userSlot());
    EXPECT_EQ(FALSE, page.send(WM_DESTROY));
    EXPECT_EQ(0, page.userSlot());
    EXPECT_EQ(TRUE, page.send(WM_INITDIALOG, 0, reinterpret_cast<LPARAM>(page.record())));
    EXPECT_EQ(reinterpret_cast<LONG_PTR>(page.data()), page.userSlot());
}
