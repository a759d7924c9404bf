// Drivers whose answers change while the program shows them: counters that run, a cable that is
// pulled, an OID that is refused, a device that goes.
#include "harness/sheet_host.h"

#include "info/general_page.h"
#include "info/statistics_page.h"

#include <prsht.h>

#include <functional>

namespace {

constexpr wchar_t kTransmitted[] = L"Frames Transmitted OK";
constexpr wchar_t kReceived[] = L"Frames Received OK";
constexpr wchar_t kTransmitErrors[] = L"Transmitted Error Frames";
constexpr wchar_t kReceiveErrors[] = L"Received Error Frames";
constexpr size_t kGeneralRows = 12;
constexpr size_t kStatisticsRows = 24;

using Values = std::vector<std::wstring>;

// A task list with one task, the connection offload of an NDIS 5 driver.
constexpr char kTaskList[] = "hex:01000000 1C000000 00000000 1C000000 02000000 01000000 0E000000"
                             "01000000 18000000 03000000 00000000 00000000 00000000";

class LiveDriver : public SheetTest {
  protected:
    void Set(const std::string& key, const std::string& value) {
        std::wstring error;
        EXPECT_TRUE(MachineChange(L"port0", key, value, &error)) << testing::PrintToString(error);
    }

    // Opens the port's driver as the program does; closed with CloseHandle.
    HANDLE Open() {
        return CreateFileW((L"\\\\.\\" + port(0).guid).c_str(), 0,
                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    }

    // The error of one query on an open handle.
    DWORD Ask(HANDLE device, DWORD oid, std::vector<BYTE>* answer) {
        DWORD bytes = 0xdeadbeef;
        SetLastError(0xdeadbeef);
        BOOL done = DeviceIoControl(device, 0x00170002, &oid, sizeof(oid), answer->data(),
                                    static_cast<DWORD>(answer->size()), &bytes, nullptr);
        answer->resize(done ? bytes : 0);
        return done ? ERROR_SUCCESS : GetLastError();
    }

    ULONGLONG AskCounter(HANDLE device, DWORD oid) {
        std::vector<BYTE> answer(sizeof(ULONGLONG));
        ULONGLONG counter = 0;
        EXPECT_EQ(static_cast<DWORD>(ERROR_SUCCESS), Ask(device, oid, &answer));
        EXPECT_EQ(sizeof(counter), answer.size());
        memcpy(&counter, answer.data(), answer.size());
        return counter;
    }
};

class GeneralPage : public SheetHost {
  public:
    GeneralPage() : SheetHost(IDD_GENERAL_PAGE, QvPropertiesDialogProc) {
    }
    // What the page shows once it has been brought to the front again.
    std::wstring Activated(const std::wstring& name) {
        notify(static_cast<UINT>(PSN_SETACTIVE));
        return value(name);
    }
};

class StatisticsPage : public SheetHost {
  public:
    StatisticsPage() : SheetHost(IDD_STATISTICS_PAGE, QvStatisticsDialogProc) {
    }
    Values of(const Values& names) {
        Values values;
        for (const std::wstring& name : names)
            values.push_back(value(name));
        return values;
    }
    Values refreshed(const Values& names) {
        press(IDC_REFRESH);
        return of(names);
    }
};

} // namespace

TEST_F(LiveDriver, RefreshShowsTheAdvanceOfACounter) {
    Set("counter 0x00020101", "1000 5");
    Set("counter 0x00020102", "7 100000");
    const Values names = {kTransmitted, kReceived, kTransmitErrors};
    StatisticsPage page;
    EXPECT_EQ((Values{L"1000", L"7", L"3001"}), page.of(names));
    EXPECT_EQ((Values{L"1000", L"7", L"3001"}), page.of(names)) << "nothing runs without a query";
    EXPECT_EQ((Values{L"1005", L"100007", L"3001"}), page.refreshed(names));
    EXPECT_EQ((Values{L"1010", L"200007", L"3001"}), page.refreshed(names));
}

TEST_F(LiveDriver, ResetShowsWhatHasComeSince) {
    Set("counter 0x00020101", "1000 5");
    StatisticsPage page;
    page.press(IDC_RESET);
    EXPECT_EQ((Values{L"5", L"0"}), page.of({kTransmitted, kReceived}));
    EXPECT_EQ((Values{L"10", L"0"}), page.refreshed({kTransmitted, kReceived}));
}

TEST_F(LiveDriver, EachRowAsksForItself) {
    Set("counter 0x0002020A", "100 1");
    const Values names = {L"Directed Frames Received", L"Multicast Frames Received"};
    StatisticsPage page;
    EXPECT_EQ((Values{L"100", L"101"}), page.of(names)) << "both rows have one OID";
    EXPECT_EQ((Values{L"102", L"103"}), page.refreshed(names));
}

TEST_F(LiveDriver, ACounterGoesOnFromItsEndToZero) {
    Set("counter 0x00020101", "0xFFFFFFFFFFFFFFFE 3");
    StatisticsPage page;
    EXPECT_EQ(L"18446744073709551614", page.value(kTransmitted));
    EXPECT_EQ((Values{L"1"}), page.refreshed({kTransmitted}));
}

TEST_F(LiveDriver, AFixedAnswerStopsACounter) {
    Set("counter 0x00020101", "1000 5");
    StatisticsPage page;
    for (int step : {0, 1}) {
        Set("oid 0x00020101", "qword:44");
        EXPECT_EQ((Values{L"44"}), page.refreshed({kTransmitted}));
        EXPECT_EQ((Values{L"44"}), page.refreshed({kTransmitted})) << step;
        Set("counter 0x00020101", "7 " + std::to_string(step));
    }
    EXPECT_EQ((Values{L"7"}), page.refreshed({kTransmitted}));
    Set("oid 0x00020101", "none");
    EXPECT_EQ((Values{L"7"}), page.refreshed({kTransmitted}));
}

TEST_F(LiveDriver, ACounterThatFallsBehindItsBaselineShowsAVeryLargeNumber) {
    StatisticsPage page;
    page.press(IDC_RESET);
    Set("oid 0x00020101", "qword:1000");
    EXPECT_EQ((Values{L"18446744073709551615"}), page.refreshed({kTransmitted}));
}

TEST_F(LiveDriver, ARefusedCounterKeepsWhatWasReadLast) {
    Set("counter 0x00020101", "1000 5");
    Set("counter 0x00020102", "2000 5");
    const Values names = {kTransmitted, kReceived, kTransmitErrors};
    for (const char* status : {"error:0xC00000BB", "error:0xC0000001", "none"}) {
        SCOPED_TRACE(status);
        Set("counter 0x00020102", "2000 5");
        StatisticsPage page;
        const std::wstring transmitted = page.value(kTransmitted);
        Set("oid 0x00020102", status);
        const Values shown = page.refreshed(names);
        EXPECT_EQ(std::to_wstring(std::stoull(transmitted) + 5), shown[0]);
        EXPECT_EQ(L"2000", shown[1]);
        EXPECT_EQ(L"3001", shown[2]);
        EXPECT_EQ(kStatisticsRows, page.rows().size());
    }
}

TEST_F(LiveDriver, ACounterMayBeAnsweredShortButNotLong) {
    Set("oid 0x00020101", "dword:0xFFFFFFFF");
    Set("oid 0x00020102", "hex:01 02");
    Set("oid 0x00020103", "hex:");
    Set("oid 0x00020104", "hex:0102030405060708 09");
    StatisticsPage page;
    EXPECT_EQ((Values{L"4294967295", L"513", L"0", L"0"}),
              page.of({kTransmitted, kReceived, kTransmitErrors, kReceiveErrors}));
    Set("oid 0x00020104", "qword:44");
    EXPECT_EQ((Values{L"44"}), page.refreshed({kReceiveErrors}));
    Set("oid 0x00020104", "hex:0102030405060708 09");
    EXPECT_EQ((Values{L"44"}), page.refreshed({kReceiveErrors}));
}

TEST_F(LiveDriver, APulledCableShowsOnTheNextActivation) {
    GeneralPage page;
    Set("oid 0x00010114", "dword:1");
    EXPECT_EQ(L"Connected", page.value(L"Link Status"));
    EXPECT_EQ(L"Network Cable Unplugged", page.Activated(L"Link Status"));
    Set("oid 0x00010114", "dword:0");
    EXPECT_EQ(L"Network Cable Unplugged", page.value(L"Link Status"));
    EXPECT_EQ(L"Connected", page.Activated(L"Link Status"));
    EXPECT_EQ(kGeneralRows, page.rows().size());
}

TEST_F(LiveDriver, GeneralPageTakesShortAnswersAndRefusesLongOnes) {
    const struct {
        const char* oid;
        const char* answer;
        const wchar_t* name;
        const wchar_t* shown; // null: the page stays without rows
    } cases[] = {
        {"oid 0x01010102", "hex:AABBCC", L"Current MAC Address", L"aa-bb-cc-00-00-00"},
        {"oid 0x01010102", "hex:", L"Current MAC Address", L"00-00-00-00-00-00"},
        {"oid 0x01010102", "hex:AABBCCDDEEFF00", L"Current MAC Address", nullptr},
        {"oid 0x01010101", "hex:AABBCCDDEEFF00", L"Permanent MAC Address", nullptr},
        {"oid 0x00010107", "dword:10000000", L"Link Speed", L"1 Gbps"},
        {"oid 0x00010107", "qword:10000000", L"Link Speed", L"1 Gbps"},
        {"oid 0x00010107", "hex:000000000000000001", L"Link Speed", nullptr},
        {"oid 0x00010114", "hex:01", L"Link Status", L"Network Cable Unplugged"},
        {"oid 0x00010114", "qword:0", L"Link Status", nullptr},
        {"oid 0x00010106", "hex:DC05", L"MTU", L"1500"},
        {"oid 0x00010106", "qword:1500", L"MTU", L"Unknown"},
        {"oid 0x00010106", "error:0xC00000BB", L"MTU", L"Unknown"},
        {"oid 0x01010101", "error:0xC00000BB", L"Permanent MAC Address", nullptr},
    };
    for (const auto& changed : cases) {
        SCOPED_TRACE(std::string(changed.oid) + " " + changed.answer);
        Build();
        GeneralPage page;
        EXPECT_EQ(kGeneralRows, page.rows().size());
        Set(changed.oid, changed.answer);
        const std::wstring shown = page.Activated(changed.name);
        EXPECT_EQ(changed.shown ? kGeneralRows : 0, page.rows().size());
        if (changed.shown)
            EXPECT_EQ(changed.shown, shown);
    }
}

TEST_F(LiveDriver, ADriverIsTakenForWhatItIsOnEachActivation) {
    GeneralPage page;
    EXPECT_EQ(L"LSO, Checksum Offload", page.value(L"Offload Capabilities"));
    Set("oid 0xFC010201", kTaskList);
    EXPECT_EQ(L"TOE", page.Activated(L"Offload Capabilities")) << "NDIS 5";
    Set("oid 0xFC010201", "error:0xC0000001");
    EXPECT_EQ(L"Unknown", page.Activated(L"Offload Capabilities")) << "neither";
    Set("oid 0xFC010201", "none");
    Set("oid 0xFC01020E", "error:0xC00000BB");
    EXPECT_EQ(L"LSO, Checksum Offload", page.Activated(L"Offload Capabilities")) << "NDIS 6";
    Set("oid 0xFC01020B", "hex:A7017000");
    EXPECT_EQ(L"Unknown", page.Activated(L"Offload Capabilities")) << "nothing behind the header";
}

TEST_F(LiveDriver, GeneralPageShowsWhatAGoingDriverHasStillAnswered) {
    Set("answers-left", "4"); // addresses, speed, link
    GeneralPage page;
    EXPECT_EQ(kGeneralRows, page.rows().size());
    EXPECT_EQ(L"02-51-56-00-00-01", page.value(L"Current MAC Address"));
    EXPECT_EQ(L"Connected", page.value(L"Link Status"));
    EXPECT_EQ(L"Unknown", page.value(L"Offload Capabilities"));
    EXPECT_EQ(L"Unknown", page.value(L"MTU"));
    page.Activated(L"MTU");
    EXPECT_EQ(0u, page.rows().size()) << "it does not open any more";
    Set("answers-left", "3");
    page.Activated(L"MTU");
    EXPECT_EQ(0u, page.rows().size()) << "it went between two queries";
    Set("answers-left", "none");
    EXPECT_EQ(L"1500", page.Activated(L"MTU"));
}

TEST_F(LiveDriver, StatisticsPageKeepsTheCountersThatAGoingDriverDoesNotGive) {
    const Values names = {kTransmitted, kReceived, kTransmitErrors};
    StatisticsPage page;
    EXPECT_EQ((Values{L"1001", L"2001", L"3001"}), page.of(names));
    for (const char* oid : {"oid 0x00020101", "oid 0x00020102", "oid 0x00020103"})
        Set(oid, "qword:9");
    Set("answers-left", "2");
    EXPECT_EQ((Values{L"9", L"9", L"3001"}), page.refreshed(names));
    EXPECT_EQ(kStatisticsRows, page.rows().size());
    page.press(IDC_REFRESH);
    EXPECT_EQ(0u, page.rows().size()) << "it does not open any more";
    EXPECT_EQ(L"Name", page.column(0).first);
    Set("answers-left", "none");
    EXPECT_EQ((Values{L"9", L"9", L"9"}), page.refreshed(names));
}

TEST_F(LiveDriver, PagesFollowADriverThatClosesAndOpens) {
    GeneralPage general;
    StatisticsPage statistics;
    for (int round = 0; round < 2; round++) {
        Set("opens", "no");
        general.Activated(L"MTU");
        statistics.press(IDC_REFRESH);
        EXPECT_EQ(0u, general.rows().size());
        EXPECT_EQ(0u, statistics.rows().size());
        Set("opens", "yes");
        EXPECT_EQ(L"1500", general.Activated(L"MTU"));
        EXPECT_EQ((Values{L"1001"}), statistics.refreshed({kTransmitted}));
    }
    EXPECT_EQ("", StillOpen());
}

TEST_F(LiveDriver, AHandleOutlivesItsDeviceAndFailsEveryQuery) {
    HANDLE device = Open();
    ASSERT_NE(INVALID_HANDLE_VALUE, device);
    Set("counter 0x00020101", "10 1");
    Set("answers-left", "3");
    std::vector<BYTE> small(4), answer(8);
    EXPECT_EQ(10u, AskCounter(device, 0x00020101));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER), Ask(device, 0x00020101, &small));
    EXPECT_EQ(11u, AskCounter(device, 0x00020101)) << "a refused answer does not advance";
    for (DWORD oid : {0x00020101u, 0x00010114u, 0xFFFFFFFFu}) {
        answer.resize(8);
        EXPECT_EQ(static_cast<DWORD>(ERROR_DEVICE_REMOVED), Ask(device, oid, &answer)) << oid;
    }
    EXPECT_EQ(INVALID_HANDLE_VALUE, Open());
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_TRUE(CloseHandle(device));
}

TEST_F(LiveDriver, ARefusalIsAReplyToo) {
    HANDLE device = Open();
    ASSERT_NE(INVALID_HANDLE_VALUE, device);
    Set("answers-left", "1");
    std::vector<BYTE> answer(8);
    EXPECT_EQ(static_cast<DWORD>(ERROR_NOT_SUPPORTED), Ask(device, 0xFFFFFFFF, &answer));
    answer.resize(8);
    EXPECT_EQ(static_cast<DWORD>(ERROR_DEVICE_REMOVED), Ask(device, 0x00020101, &answer));
    CloseHandle(device);
}

TEST_F(LiveDriver, AHandleStaysDeadWhenItsDeviceComesBack) {
    const struct {
        const char* key;
        const char* gone;
        const char* back;
        DWORD error;
    } cases[] = {
        {"opens", "no", "yes", ERROR_NOT_READY},
        {"answers-left", "0", "none", ERROR_DEVICE_REMOVED},
    };
    for (const auto& device : cases) {
        SCOPED_TRACE(device.key);
        HANDLE before = Open();
        ASSERT_NE(INVALID_HANDLE_VALUE, before);
        Set(device.key, device.gone);
        std::vector<BYTE> answer(8);
        EXPECT_EQ(device.error, Ask(before, 0x00020101, &answer));
        EXPECT_EQ(INVALID_HANDLE_VALUE, Open());
        EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
        Set(device.key, device.back);
        answer.resize(8);
        EXPECT_EQ(static_cast<DWORD>(ERROR_DEVICE_REMOVED), Ask(before, 0x00020101, &answer));
        HANDLE after = Open();
        ASSERT_NE(INVALID_HANDLE_VALUE, after);
        EXPECT_EQ(1001u, AskCounter(after, 0x00020101));
        CloseHandle(after);
        CloseHandle(before);
    }
}

TEST_F(LiveDriver, AMachineFileHoldsRunningCountersAndGoingDrivers) {
    const char text[] = "[adapter only]\n"
                        "instance = PCI\\VEN_5156&DEV_0101\\1\n"
                        "guid = {A0000000-0000-4000-8000-000000000009}\n"
                        "counter 0x00020101 = 100 0x10\n"
                        "answers-left = 42\n";
    std::wstring error;
    ASSERT_TRUE(MachineParse(text, L"text", &machine, &error)) << testing::PrintToString(error);
    Build();
    ChooseNic(0, port(0));
    {
        StatisticsPage page;
        EXPECT_EQ(L"100", page.value(kTransmitted));
        EXPECT_EQ((Values{L"116"}), page.refreshed({kTransmitted}));
        page.press(IDC_REFRESH);
        EXPECT_EQ(0u, page.rows().size()) << "two times 21 answers";
    }
}

TEST_F(LiveDriver, AHostPortAnswersNothingThatItsHostDoesNotKnow) {
    const std::string text = "[adapter only]\n"
                             "instance = PCI\\VEN_5156&DEV_0101\\1\n"
                             "host-interface = ";
    std::wstring error;
    ASSERT_TRUE(MachineParse(text + "qv-none", L"text", &machine, &error));
    EXPECT_EQ(0u, port(0).answers.count(0x01010102));
    EXPECT_EQ(0u, port(0).answers.count(0x00020101));
    EXPECT_EQ(1u, port(0).answers.count(0xFC01020B));
    machine.adapters[0].guid = L"{A0000000-0000-4000-8000-000000000009}";
    Build();
    EXPECT_EQ(INVALID_HANDLE_VALUE, Open()) << "there is no such interface";
    for (const char* bad : {"..", "a/b", "a\\b", "\"a b\"", "sixteen-letters-", "\"\""}) {
        EXPECT_FALSE(MachineParse(text + bad, L"text", &machine, &error)) << bad;
        EXPECT_EQ(0u, error.find(L"text:3: ")) << testing::PrintToString(error);
    }
}

TEST_F(LiveDriver, AChangeThatMakesNoSenseIsRefused) {
    const std::string before = MachineDump();
    const struct {
        const wchar_t* adapter;
        const char* key;
        const char* value;
    } cases[] = {
        {L"port9", "opens", "no"},
        {L"port0", "opens", "maybe"},
        {L"port0", "oid", "dword:1"},
        {L"port0", "oid five", "dword:1"},
        {L"port0", "oid 0x00010114", "1"},
        {L"port0", "oid 0x00010114", "dword:0x100000000"},
        {L"port0", "counter 0x00020101", "5"},
        {L"port0", "counter 0x00020101", "1 2 3"},
        {L"port0", "answers-left", "-1"},
        {L"port0", "host-interface", "veth0"},
    };
    for (const auto& change : cases) {
        SCOPED_TRACE(std::string(change.key) + " " + change.value);
        std::wstring error;
        EXPECT_FALSE(MachineChange(change.adapter, change.key, change.value, &error));
        EXPECT_NE(L"", error);
    }
    EXPECT_EQ(before, MachineDump());
    StatisticsPage page;
    EXPECT_EQ(L"1001", page.value(kTransmitted));
    std::wstring error;
    EXPECT_TRUE(MachineChange(port(1).guid, "opens", "no", &error)) << "by its GUID";
}
