// What is asked of an adapter's driver, in which order and into how many bytes, and what becomes of
// answers that are short or missing.
#include "harness/driver_spy.h"
#include "harness/sheet_host.h"

#include "device/adapter_driver.h"
#include "info/driver_query.h"

using Queries = std::vector<DriverQuery>;

static DriverQuery Query(DWORD oid, DWORD cbOutput) {
    DriverQuery query;
    query.oid = oid;
    query.cbOutput = cbOutput;
    return query;
}

constexpr DWORD kCurrentAddress = 0x01010102;
constexpr DWORD kPermanentAddress = 0x01010101;
constexpr DWORD kLinkSpeed = 0x00010107;
constexpr DWORD kConnectStatus = 0x00010114;
constexpr DWORD kFrameSize = 0x00010106;
constexpr DWORD kTaskOffload = 0xFC010201;
constexpr DWORD kOffload60 = 0xFC01020B;
constexpr DWORD kConnectionOffload = 0xFC01020E;

static const DWORD counters[] = {
    0x00020101, 0x00020102, 0x00020103, 0x00020104, 0x00020202, 0x00020204, 0x00020206,
    0x0002020A, 0x0002020A, 0x0002020C, 0x0002020D, 0x01020101, 0x01020203, 0x01020102,
    0x01020103, 0x01020201, 0x01020202, 0x01020204, 0x01020205, 0x01020206, 0x01020207,
};

class DriverQueries : public SheetTest {
  protected:
    void SetUp() override {
        SheetTest::SetUp();
        guid_ = port(0).guid;
        GUID guid = Guid(guid_);
        device_ = OpenAdapterDriver(&guid);
        ASSERT_NE(INVALID_HANDLE_VALUE, device_);
    }
    void TearDown() override {
        CloseHandle(device_);
        SheetTest::TearDown();
    }

    std::wstring guid_;
    HANDLE device_ = INVALID_HANDLE_VALUE;
};

TEST_F(DriverQueries, GoOneOidACallThroughTheStatisticsIoctl) {
    DeviceProperties properties = {};
    DWORD mtu;
    DriverSpy spy;
    EXPECT_TRUE(GetDeviceProperties(&device_, &properties));
    EXPECT_TRUE(GetDeviceMTU(&device_, &mtu));
    GetDeviceStatistics(&device_, g_statistics);
    ASSERT_EQ(26u, spy.queries.size());
    for (const DriverQuery& query : spy.queries) {
        EXPECT_EQ(0x00170002u, query.code) << query;
        EXPECT_EQ(4u, query.cbInput) << query;
        EXPECT_EQ(device_, query.device) << query;
        EXPECT_FALSE(query.overlapped) << query;
    }
}

TEST_F(DriverQueries, OfTheDeviceAreAddressesSpeedAndLinkInThisOrder) {
    DeviceProperties properties = {};
    AnswerOid(guid_, kCurrentAddress, {0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F});
    AnswerOid(guid_, kPermanentAddress, {0x10, 0x20, 0x30, 0x40, 0x50, 0x60});
    AnswerOid(guid_, kLinkSpeed, BytesOf(0x1122334455667788ull));
    AnswerOid(guid_, kConnectStatus, BytesOf(DWORD{0x99AABBCC}));
    DriverSpy spy;
    EXPECT_TRUE(GetDeviceProperties(&device_, &properties));
    EXPECT_EQ((Queries{Query(kCurrentAddress, 6), Query(kPermanentAddress, 6), Query(kLinkSpeed, 8),
                       Query(kConnectStatus, 4)}),
              spy.queries);
    EXPECT_THAT(properties.currentAddress,
                testing::ElementsAre(0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F));
    EXPECT_THAT(properties.permanentAddress,
                testing::ElementsAre(0x10, 0x20, 0x30, 0x40, 0x50, 0x60));
    EXPECT_EQ(0x1122334455667788u, properties.linkSpeed);
    EXPECT_EQ(0x99AABBCCu, properties.mediaConnectStatus);
}

TEST_F(DriverQueries, OfTheDeviceEndAtTheFirstThatFailsAndKeepWhatWasReadBefore) {
    const DWORD oids[] = {kCurrentAddress, kPermanentAddress, kLinkSpeed, kConnectStatus};
    AnswerOid(guid_, kConnectStatus, BytesOf(DWORD{7}));
    for (size_t failing = 0; failing < 4; failing++) {
        SCOPED_TRACE(failing);
        const std::wstring nth = std::to_wstring(failing + 1);
        Bench(L"fault DeviceIoControl " + nth + L" 31");
        Bench(L"reset-counts");
        DeviceProperties properties = {};
        EXPECT_FALSE(GetDeviceProperties(&device_, &properties));
        EXPECT_EQ(failing + 1, Calls("DeviceIoControl"));
        EXPECT_EQ(failing > 0 ? 0x02 : 0, properties.currentAddress[0]);
        EXPECT_EQ(failing > 1 ? 0x02 : 0, properties.permanentAddress[0]);
        EXPECT_EQ(failing > 2 ? 100000000u : 0u, properties.linkSpeed);
        EXPECT_EQ(0u, properties.mediaConnectStatus);
        Bench(L"clear");

        // The same with a driver that refuses.
        DriverSpy spy;
        RefuseOid(guid_, oids[failing], kStatusUnsuccessful);
        properties = {};
        EXPECT_FALSE(GetDeviceProperties(&device_, &properties));
        ASSERT_EQ(failing + 1, spy.queries.size());
        EXPECT_EQ(oids[failing], spy.queries.back().oid);
        AnswerOid(guid_, oids[failing], StandardAnswers(1)[oids[failing]].bytes);
    }
}

TEST_F(DriverQueries, AnsweredWithFourBytesOfSpeedLeaveItsUpperHalfZero) {
    DeviceProperties properties = {};
    AnswerOid(guid_, kLinkSpeed, BytesOf(DWORD{0xFEDCBA98}));
    EXPECT_TRUE(GetDeviceProperties(&device_, &properties));
    EXPECT_EQ(0xFEDCBA98ull, properties.linkSpeed);
}

TEST_F(DriverQueries, AnsweredWithMoreThanTheyTakeFail) {
    DeviceProperties properties = {};
    AnswerOid(guid_, kCurrentAddress, std::vector<BYTE>(7, 0xEE));
    EXPECT_FALSE(GetDeviceProperties(&device_, &properties));
    EXPECT_EQ(0, properties.permanentAddress[0]);
}

TEST_F(DriverQueries, OfTheFrameSizeTakeFourBytesAndLeaveTheValueAloneWhenTheyFail) {
    DWORD mtu = 0xdeadbeef;
    DriverSpy spy;
    AnswerOid(guid_, kFrameSize, BytesOf(DWORD{9000}));
    EXPECT_TRUE(GetDeviceMTU(&device_, &mtu));
    EXPECT_EQ(9000u, mtu);
    EXPECT_EQ(Queries{Query(kFrameSize, 4)}, spy.queries);
    RefuseOid(guid_, kFrameSize, kStatusNotSupported);
    mtu = 0xdeadbeef;
    EXPECT_FALSE(GetDeviceMTU(&device_, &mtu));
    EXPECT_EQ(0xdeadbeefu, mtu);
    AnswerOid(guid_, kFrameSize, {0x2C, 0x01}); // two bytes
    EXPECT_TRUE(GetDeviceMTU(&device_, &mtu));
    EXPECT_EQ(300u, mtu);
}

TEST_F(DriverQueries, OfCountersTakeEightBytesEachInTheTablesOrder) {
    DriverSpy spy;
    SetLastError(0xdeadbeef);
    EXPECT_TRUE(GetDeviceStatistics(&device_, g_statistics));
    Queries expected;
    for (DWORD oid : counters)
        expected.push_back(Query(oid, 8));
    EXPECT_EQ(expected, spy.queries);
    for (int row = 0; row < STATISTICS_ROWS; row++) {
        // "Directed Frames Received" shows the multicast counter.
        const int shown = row == 7 ? 8 : row;
        EXPECT_EQ(static_cast<ULONGLONG>(shown + 1) * 1000 + 1, g_statistics[row].value) << row;
    }
}

TEST_F(DriverQueries, OfCountersThatFailKeepTheirValueAndTheOthersGoOn) {
    for (int row = 0; row < STATISTICS_ROWS; row++)
        g_statistics[row].value = 0xAAAA000000000000 + static_cast<ULONGLONG>(row);
    Bench(L"fault DeviceIoControl 1 50");
    Bench(L"fault DeviceIoControl 12 31");
    Bench(L"fault DeviceIoControl 21 21");
    EXPECT_TRUE(GetDeviceStatistics(&device_, g_statistics));
    for (int row = 0; row < STATISTICS_ROWS; row++) {
        const bool kept = row == 0 || row == 11 || row == 20;
        const ULONGLONG read = static_cast<ULONGLONG>(row == 7 ? 9 : row + 1) * 1000 + 1;
        EXPECT_EQ(kept ? 0xAAAA000000000000 + static_cast<ULONGLONG>(row) : read,
                  g_statistics[row].value)
            << row;
    }
}

TEST_F(DriverQueries, OfCountersThatAllFailKeepEveryValueAndStillSucceed) {
    StatisticsRow table[STATISTICS_ROWS];
    std::copy(g_statistics, g_statistics + STATISTICS_ROWS, table);
    for (int row = 0; row < STATISTICS_ROWS; row++)
        table[row].value = ~static_cast<ULONGLONG>(row);
    RefuseAll(guid_);
    DriverSpy spy;
    EXPECT_TRUE(GetDeviceStatistics(&device_, table));
    EXPECT_EQ(21u, spy.queries.size());
    for (int row = 0; row < STATISTICS_ROWS; row++)
        EXPECT_EQ(~static_cast<ULONGLONG>(row), table[row].value) << row;
}

TEST_F(DriverQueries, OfACounterThatFailsHalfwayKeepItsValue) {
    // A driver may have written into the buffer before it gave up.
    DriverSpy spy([](const DriverQuery&, BYTE* output, DWORD*) {
        memset(output, 0xEE, 8);
        SetLastError(ERROR_GEN_FAILURE);
        return FALSE;
    });
    for (StatisticsRow& row : g_statistics)
        row.value = 4711;
    EXPECT_TRUE(GetDeviceStatistics(&device_, g_statistics));
    for (const StatisticsRow& row : g_statistics)
        EXPECT_EQ(4711u, row.value) << testing::PrintToString(std::wstring(row.name));
}

TEST_F(DriverQueries, AnsweredWithFourBytesOfACounterReplaceTheWholeCounter) {
    g_statistics[0].value = 0xFFFFFFFFFFFFFFFF;
    g_statistics[1].value = 0xFFFFFFFFFFFFFFFF;
    AnswerOid(guid_, counters[0], BytesOf(DWORD{0x80000001}));
    AnswerOid(guid_, counters[1], BytesOf(0x8000000000000001ull));
    EXPECT_TRUE(GetDeviceStatistics(&device_, g_statistics));
    EXPECT_EQ(0x80000001ull, g_statistics[0].value);
    EXPECT_EQ(0x8000000000000001ull, g_statistics[1].value);
}

// A list of one task, of the connection kind.
static std::vector<BYTE> ConnectionTaskList() {
    return {1,  0, 0, 0, 28, 0, 0, 0, 0,  0, 0, 0, 28, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0,
            14, 0, 0, 0, 1,  0, 0, 0, 20, 0, 0, 0, 3,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
}

TEST_F(DriverQueries, OfTheTaskListSendTheHeaderOfAnEmptyListInAZeroedBuffer) {
    BYTE buffer[216];
    DWORD length = sizeof(buffer);
    TaskOffloadCaps caps = {};
    memset(buffer, 0xEE, sizeof(buffer));
    AnswerOid(guid_, kTaskOffload, ConnectionTaskList());
    DriverSpy spy;
    EXPECT_TRUE(QvGetDeviceCaps(&device_, buffer, &length, &caps));
    EXPECT_EQ(1, caps.toeSupported);
    EXPECT_EQ(Queries{Query(kTaskOffload, 216)}, spy.queries);
    std::vector<BYTE> expected = {1, 0, 0, 0, 28, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                  0, 0, 2, 0, 0,  0, 1, 0, 0, 0, 0, 0, 0, 0};
    expected.resize(216);
    EXPECT_EQ(expected, spy.queries[0].buffer);
}

TEST_F(DriverQueries, OfTheTaskListTellWithWhichErrorTheyFailed) {
    BYTE buffer[216];
    DWORD length = sizeof(buffer);
    const struct {
        DWORD status, error;
    } refusals[] = {
        {kStatusNotSupported, 50}, {kStatusUnsuccessful, 31}, {kStatusDeviceNotReady, 21}};
    for (const auto& refusal : refusals) {
        TaskOffloadCaps caps = {};
        RefuseOid(guid_, kTaskOffload, refusal.status);
        SetLastError(0xdeadbeef);
        EXPECT_FALSE(QvGetDeviceCaps(&device_, buffer, &length, &caps));
        EXPECT_EQ(refusal.error, GetLastError());
    }
}

TEST_F(DriverQueries, OfAnEmptyTaskListFailWithoutAnError) {
    BYTE buffer[216];
    DWORD length = sizeof(buffer);
    std::vector<BYTE> empty = ConnectionTaskList();
    empty[12] = 0;
    for (const std::vector<BYTE>& answer : {empty, std::vector<BYTE>{}}) {
        TaskOffloadCaps caps = {};
        AnswerOid(guid_, kTaskOffload, answer);
        SetLastError(ERROR_NOT_SUPPORTED);
        EXPECT_FALSE(QvGetDeviceCaps(&device_, buffer, &length, &caps)) << answer.size();
        EXPECT_EQ(0u, GetLastError()) << answer.size();
        EXPECT_EQ(0, caps.toeSupported) << answer.size();
    }
}

TEST_F(DriverQueries, OfAnEmptyTaskListFailWithoutTheErrorThatTheAnswerLeft) {
    // A call that succeeds may set the last error all the same.
    DriverSpy spy([](const DriverQuery&, BYTE* output, DWORD* cbReturned) {
        std::vector<BYTE> list = ConnectionTaskList();
        list[12] = 0;
        std::copy(list.begin(), list.end(), output);
        *cbReturned = static_cast<DWORD>(list.size());
        SetLastError(ERROR_NOT_SUPPORTED);
        return TRUE;
    });
    BYTE buffer[216];
    DWORD length = sizeof(buffer);
    TaskOffloadCaps caps = {};
    EXPECT_FALSE(QvGetDeviceCaps(&device_, buffer, &length, &caps));
    EXPECT_EQ(0u, GetLastError());
}

TEST_F(DriverQueries, OfTheTaskListReadWhatTheDriverHasWrittenWhateverLengthItTells) {
    // The driver leaves a whole task in the buffer but says that it returned the header only.
    DriverSpy spy([](const DriverQuery&, BYTE* output, DWORD* cbReturned) {
        std::vector<BYTE> list = ConnectionTaskList();
        std::copy(list.begin(), list.end(), output);
        *cbReturned = 28;
        return TRUE;
    });
    BYTE buffer[216];
    DWORD length = sizeof(buffer);
    TaskOffloadCaps caps = {};
    EXPECT_TRUE(QvGetDeviceCaps(&device_, buffer, &length, &caps));
    EXPECT_EQ(1, caps.toeSupported);
}

TEST_F(DriverQueries, OfTheOffloadRecordTakeRevisionOneOnly) {
    BYTE buffer[112];
    DWORD length = sizeof(buffer);
    std::vector<BYTE> record = StandardAnswers(1)[kOffload60].bytes;
    ASSERT_EQ(112u, record.size());
    for (BYTE revision : {1, 2, 0}) {
        OffloadCaps60 caps = {};
        record[1] = revision;
        AnswerOid(guid_, kOffload60, record);
        memset(buffer, 0xEE, sizeof(buffer));
        DriverSpy spy;
        EXPECT_EQ(revision == 1, QvGetDeviceCaps60(&device_, buffer, &length, &caps) != FALSE);
        EXPECT_EQ(revision == 1 ? 65536u : 0u, caps.lsoV1.MaxOffLoadSize) << int{revision};
        EXPECT_EQ(Queries{Query(kOffload60, 112)}, spy.queries);
        EXPECT_EQ(std::vector<BYTE>(112), spy.queries[0].buffer) << "zeroed";
    }
}

TEST_F(DriverQueries, OfTheOffloadRecordFailWithTheQuery) {
    BYTE buffer[112];
    DWORD length = sizeof(buffer);
    OffloadCaps60 caps = {};
    // Left in the buffer by a driver that then refuses.
    DriverSpy spy([](const DriverQuery&, BYTE* output, DWORD* cbReturned) {
        memset(output, 0xFF, 112);
        output[0] = 0xA7;
        output[1] = 1;
        *cbReturned = 112;
        SetLastError(ERROR_GEN_FAILURE);
        return FALSE;
    });
    EXPECT_FALSE(QvGetDeviceCaps60(&device_, buffer, &length, &caps));
    EXPECT_EQ(0u, caps.v4Transmit.Encapsulation);
}

TEST_F(DriverQueries, OfTheConnectionRecordSucceedWhateverTheDriverSays) {
    BYTE buffer[20];
    DWORD length = sizeof(buffer);
    ConnectionOffloadCaps caps = {};
    AnswerOid(guid_, kConnectionOffload,
              {0xEE, 0xEE, 0xEE, 0xEE, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
    memset(buffer, 0xEE, sizeof(buffer));
    DriverSpy spy;
    EXPECT_TRUE(QvGetDeviceConnectionOffloadCaps(&device_, buffer, &length, &caps));
    EXPECT_EQ(1u, caps.Encapsulation);
    EXPECT_EQ(2u, caps.support);
    EXPECT_EQ(3u, caps.TcpConnectionOffloadCapacity);
    EXPECT_EQ(4u, caps.Flags);
    EXPECT_EQ(Queries{Query(kConnectionOffload, 20)}, spy.queries);
    EXPECT_EQ(std::vector<BYTE>(20), spy.queries[0].buffer) << "zeroed";
    RefuseOid(guid_, kConnectionOffload, kStatusNotSupported);
    caps = {};
    memset(buffer, 0xEE, sizeof(buffer));
    EXPECT_TRUE(QvGetDeviceConnectionOffloadCaps(&device_, buffer, &length, &caps));
    EXPECT_EQ(0u,
              caps.Encapsulation | caps.support | caps.TcpConnectionOffloadCapacity | caps.Flags);
}

TEST_F(DriverQueries, FindNoErrorOfAnEarlierCall) {
    DriverSpy spy;
    BYTE buffer[216];
    DWORD lengths[] = {216, 112, 20};
    TaskOffloadCaps caps = {};
    OffloadCaps60 caps60 = {};
    ConnectionOffloadCaps connection = {};
    SetLastError(ERROR_NOT_SUPPORTED);
    QvGetDeviceCaps(&device_, buffer, &lengths[0], &caps);
    SetLastError(ERROR_NOT_SUPPORTED);
    QvGetDeviceCaps60(&device_, buffer, &lengths[1], &caps60);
    SetLastError(ERROR_NOT_SUPPORTED);
    QvGetDeviceConnectionOffloadCaps(&device_, buffer, &lengths[2], &connection);
    ASSERT_EQ(3u, spy.queries.size());
    for (const DriverQuery& query : spy.queries)
        EXPECT_EQ(0u, query.lastErrorBefore) << query;
}

TEST_F(DriverQueries, OnADisabledAdapterAllFail) {
    RegistrySet(L"Software\\QvBench\\Adapters\\" + guid_, MachineValue::Number(L"Started", 0));
    DeviceProperties properties = {};
    DWORD mtu = 0xdeadbeef;
    g_statistics[3].value = 77;
    EXPECT_FALSE(GetDeviceProperties(&device_, &properties));
    EXPECT_FALSE(GetDeviceMTU(&device_, &mtu));
    EXPECT_TRUE(GetDeviceStatistics(&device_, g_statistics));
    EXPECT_EQ(77u, g_statistics[3].value);
    EXPECT_EQ(0xdeadbeefu, mtu);
}

TEST_F(DriverQueries, ShowNoMessageAndLeaveTheHandleOpen) {
    BYTE buffer[216];
    DWORD length = sizeof(buffer);
    DeviceProperties properties = {};
    TaskOffloadCaps caps = {};
    DWORD mtu;
    RefuseAll(guid_);
    EXPECT_FALSE(GetDeviceProperties(&device_, &properties));
    EXPECT_FALSE(GetDeviceMTU(&device_, &mtu));
    EXPECT_FALSE(QvGetDeviceCaps(&device_, buffer, &length, &caps));
    EXPECT_TRUE(Texts(Journal(), L"message-box").empty());
    DWORD flags;
    EXPECT_TRUE(GetHandleInformation(device_, &flags));
    EXPECT_EQ("handles=1", StillOpen()) << "the one that the test opened";
}
