// How the offload records of an NDIS 6 driver are read and worded.
#include "harness/answer_bytes.h"

#include "info/adapter_text.h"
#include "info/offload_caps.h"

#include <string>

static const wchar_t kChecksum[] = L"Checksum Offload";
static const wchar_t kNoRecord[] = L"<no record>";

// What the page shows for the two records of an NDIS 6 driver.
static std::wstring Shown60(const Bytes& record, const Bytes& connection) {
    OffloadCaps60 caps = {};
    ConnectionOffloadCaps connectionCaps = {};
    WCHAR text[VALUE_CCH];
    Guarded answer(record);
    Guarded second(connection);
    if (!DecodeOffload60(answer.bytes(), &caps))
        return kNoRecord;
    DecodeConnectionOffload(second.bytes(), &connectionCaps);
    std::fill(text, text + VALUE_CCH, L'\xdead');
    WordOffload60(text, &caps, &connectionCaps);
    return text;
}

static Bytes Record60() {
    Bytes record(OFFLOAD_60_CB);
    Put(&record, 0, 0x007001A7); // type, revision, size
    return record;
}

static Bytes Connection60() {
    Bytes record(CONNECTION_OFFLOAD_CB);
    Put(&record, 0, 0x00140180);
    return record;
}

struct WordCase {
    size_t offset;
    const wchar_t* name;
    const wchar_t* shown; // when only this word is set
};

static const WordCase words60[] = {
    {4, L"IPv4 transmit, encapsulation", kChecksum},
    {8, L"IPv4 transmit, bits", kChecksum},
    {12, L"IPv4 receive, encapsulation", kChecksum},
    {16, L"IPv4 receive, bits", kChecksum},
    {20, L"IPv6 transmit, encapsulation", kChecksum},
    {24, L"IPv6 transmit, bits", kChecksum},
    {28, L"IPv6 receive, encapsulation", kChecksum},
    {32, L"IPv6 receive, bits", kChecksum},
    {36, L"LSO V1, encapsulation", L"LSO"},
    {40, L"LSO V1, size", L"Unknown"},
    {44, L"LSO V1, segments", L"Unknown"},
    {48, L"LSO V1, bits", L"Unknown"},
    {52, L"IPsec, encapsulation", L"Unknown"},
    {56, L"IPsec, AH and ESP", L"Unknown"},
    {60, L"IPsec, transport and tunnel", L"Unknown"},
    {64, L"IPsec, options", L"Unknown"},
    {68, L"IPsec, flags", L"Unknown"},
    {72, L"IPsec, AH", L"Unknown"},
    {76, L"IPsec, ESP", L"Unknown"},
    {80, L"LSO V2 IPv4, encapsulation", L"LSO"},
    {84, L"LSO V2 IPv4, size", L"Unknown"},
    {88, L"LSO V2 IPv4, segments", L"Unknown"},
    {92, L"LSO V2 IPv6, encapsulation", L"LSO"},
    {96, L"LSO V2 IPv6, size", L"Unknown"},
    {100, L"LSO V2 IPv6, segments", L"Unknown"},
    {104, L"LSO V2 IPv6, bits", L"Unknown"},
    {108, L"flags of the record", L"Unknown"},
};

TEST(OffloadRecord, ShowsEachCapabilityAlone) {
    for (const WordCase& c : words60) {
        for (DWORD value : {0x1u, 0x100u, 0x80000000u, 0xFFFFFFFFu}) {
            Bytes record = Record60();
            Put(&record, c.offset, value);
            EXPECT_EQ(c.shown, Shown60(record, Connection60()))
                << testing::PrintToString(std::wstring(c.name)) << " " << value;
        }
    }
}

TEST(OffloadRecord, KeepsEveryValueAsItStands) {
    Bytes record = Record60();
    OffloadCaps60 caps = {};
    for (size_t offset = 4; offset < OFFLOAD_60_CB; offset += 4)
        Put(&record, offset, static_cast<DWORD>(0x01010000 + offset));
    ASSERT_TRUE(DecodeOffload60(Guarded(record).bytes(), &caps));
    EXPECT_EQ(0x01010004u, caps.v4Transmit.Encapsulation);
    EXPECT_EQ(0x01010008u, caps.v4Transmit.bits);
    EXPECT_EQ(0x01010010u, caps.v4Receive.bits);
    EXPECT_EQ(0x01010018u, caps.v6Transmit.bits);
    EXPECT_EQ(0x01010020u, caps.v6Receive.bits);
    EXPECT_EQ(0x01010024u, caps.lsoV1.Encapsulation);
    EXPECT_EQ(0x01010028u, caps.lsoV1.MaxOffLoadSize);
    EXPECT_EQ(0x0101002Cu, caps.lsoV1.MinSegmentCount);
    EXPECT_EQ(0x01010030u, caps.lsoV1.bits);
    EXPECT_EQ(0x01010034u, caps.ipsecV1.Encapsulation);
    EXPECT_EQ(0x01010048u, caps.ipsecV1.v4Ah);
    EXPECT_EQ(0x0101004Cu, caps.ipsecV1.v4Esp);
    EXPECT_EQ(0x01010050u, caps.lsoV2IPv4.Encapsulation);
    EXPECT_EQ(0x01010058u, caps.lsoV2IPv4.MinSegmentCount);
    EXPECT_EQ(0x0101005Cu, caps.lsoV2IPv6.Encapsulation);
    EXPECT_EQ(0x01010068u, caps.lsoV2IPv6.bits);
}

static const WordCase wordsOfConnection[] = {
    {4, L"encapsulation", L"TOE"},
    {8, L"support", L"TOE"},
    {12, L"capacity", L"TOE"},
    {16, L"flags", L"Unknown"},
};

TEST(OffloadRecord, ShowsTheConnectionOffloadForEachOfItsWordsButTheFlags) {
    for (const WordCase& c : wordsOfConnection) {
        Bytes connection = Connection60();
        Put(&connection, c.offset, 1);
        EXPECT_EQ(c.shown, Shown60(Record60(), connection))
            << testing::PrintToString(std::wstring(c.name));
    }
    for (DWORD bit = 0; bit < 32; bit++) {
        Bytes connection = Connection60();
        Put(&connection, 8, DWORD{1} << bit);
        EXPECT_EQ(bit < 8 ? L"TOE" : L"Unknown", Shown60(Record60(), connection)) << bit;
    }
}

TEST(OffloadRecord, NamesWhatThereIsInItsOwnOrder) {
    const struct {
        bool largeSend, checksum, connection;
        const wchar_t* shown;
    } cases[] = {
        {false, false, false, L"Unknown"},
        {true, false, false, L"LSO"},
        {false, true, false, L"Checksum Offload"},
        {false, false, true, L"TOE"},
        {true, true, false, L"LSO, Checksum Offload"},
        {true, false, true, L"LSO, TOE"},
        {false, true, true, L"Checksum Offload, TOE"},
        {true, true, true, L"LSO, Checksum Offload, TOE"},
    };
    for (const auto& c : cases) {
        Bytes record = Record60();
        Bytes connection = Connection60();
        Put(&record, 92, c.largeSend);
        Put(&record, 12, c.checksum);
        Put(&connection, 12, c.connection);
        EXPECT_EQ(c.shown, Shown60(record, connection));
    }
    Bytes record(OFFLOAD_60_CB, 0xFF);
    Put(&record, 0, 0xFFFF01A7);
    EXPECT_EQ(L"LSO, Checksum Offload, TOE", Shown60(record, Bytes(CONNECTION_OFFLOAD_CB, 0xFF)));
}

TEST(OffloadRecord, OfAnotherTypeOrRevisionIsRejectedAndNothingCopied) {
    const struct {
        BYTE type, revision;
        bool taken;
    } cases[] = {
        {0xA7, 1, true},  {0xA7, 2, false}, {0xA7, 0, false}, {0xA7, 255, false}, {0xA6, 1, false},
        {0xA8, 1, false}, {0x80, 1, false}, {0, 1, false},    {1, 0xA7, false},   {0, 0, false},
    };
    for (const auto& c : cases) {
        Bytes record(OFFLOAD_60_CB, 0xFF);
        record[0] = c.type;
        record[1] = c.revision;
        OffloadCaps60 caps = {};
        EXPECT_EQ(c.taken, DecodeOffload60(Guarded(record).bytes(), &caps) != FALSE)
            << int{c.type} << " " << int{c.revision};
        EXPECT_EQ(c.taken ? 0xFFFFFFFF : 0, caps.v4Transmit.Encapsulation);
        EXPECT_EQ(c.taken ? 0xFFFFFFFF : 0, caps.lsoV2IPv6.bits);
    }
}

TEST(OffloadRecord, OfTypeA7AndRevisionTwoIsRejected) {
    Bytes record = Record60();
    Put(&record, 36, 2);
    EXPECT_EQ(L"LSO", Shown60(record, Connection60()));
    record[1] = 2;
    EXPECT_EQ(kNoRecord, Shown60(record, Connection60()));
}

TEST(OffloadRecord, MayNameAnySize) {
    for (DWORD size : {0u, 1u, 4u, 111u, 113u, 0xFFFFu}) {
        Bytes record = Record60();
        Put(&record, 0, size << 16 | 0x01A7);
        Put(&record, 36, 2);
        EXPECT_EQ(L"LSO", Shown60(record, Connection60())) << size;
    }
}

TEST(OffloadRecord, OfAConnectionMayHaveAnyHeader) {
    for (DWORD header : {0u, 0x001402A7u, 0xFFFFFFFFu}) {
        Bytes connection = Connection60();
        Put(&connection, 0, header);
        Put(&connection, 4, 2);
        EXPECT_EQ(L"TOE", Shown60(Record60(), connection)) << header;
    }
}

TEST(OffloadRecord, ThatIsShortReadsAsZerosBehindItsEnd) {
    // Large sends of the last kind, whose word ends at 96, and checksums, at 8.
    Bytes whole = Record60();
    Put(&whole, 92, 2);
    Put(&whole, 4, 2);
    for (size_t given = 0; given <= whole.size(); given++) {
        Bytes record(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(given));
        record.resize(OFFLOAD_60_CB);
        const wchar_t* expected = given < 2    ? kNoRecord
                                  : given < 5  ? L"Unknown"
                                  : given < 93 ? kChecksum
                                               : L"LSO, Checksum Offload";
        EXPECT_EQ(expected, Shown60(record, Connection60())) << given;
    }
}
