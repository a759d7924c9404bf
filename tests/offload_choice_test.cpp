// Which of the two kinds of driver the General page takes an adapter's for: the old kind is asked
// first, and only one that does not know the question at all is asked as the new kind.
#include "harness/driver_spy.h"
#include "harness/sheet_host.h"

#include "info/general_page.h"

constexpr DWORD kTaskOffload = 0xFC010201;
constexpr DWORD kOffload60 = 0xFC01020B;
constexpr DWORD kConnectionOffload = 0xFC01020E;

using Oids = std::vector<DWORD>;

static const Oids oldOnly = {kTaskOffload};
static const Oids newToo = {kTaskOffload, kOffload60};
static const Oids all = {kTaskOffload, kOffload60, kConnectionOffload};

static std::vector<BYTE> TaskList(DWORD code) {
    std::vector<BYTE> list = {1,  0, 0, 0, 28, 0, 0, 0, 0,  0, 0, 0, 28, 0, 0, 0,
                              2,  0, 0, 0, 1,  0, 0, 0, 14, 0, 0, 0, 1,  0, 0, 0,
                              20, 0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0};
    list[36] = static_cast<BYTE>(code);
    return list;
}

static std::vector<BYTE> EmptyTaskList() {
    std::vector<BYTE> list = TaskList(3);
    list[12] = 0;
    return list;
}

static std::vector<BYTE> Record(BYTE type, BYTE revision) {
    std::vector<BYTE> record = StandardAnswers(1)[kOffload60].bytes;
    record[0] = type;
    record[1] = revision;
    return record;
}

static std::vector<BYTE> Connection(BYTE capacity) {
    std::vector<BYTE> record = StandardAnswers(1)[kConnectionOffload].bytes;
    record[12] = capacity;
    return record;
}

static OidAnswer Bytes(const std::vector<BYTE>& bytes) {
    OidAnswer answer;
    answer.bytes = bytes;
    return answer;
}

static OidAnswer Refused(DWORD status) {
    OidAnswer answer;
    answer.refused = true;
    answer.status = status;
    return answer;
}

class OffloadChoice : public SheetTest {
  protected:
    void TearDown() override {
        EXPECT_EQ("", StillOpen());
        SheetTest::TearDown();
    }

    void Answer(DWORD oid, const OidAnswer& answer) {
        if (answer.refused)
            RefuseOid(port(0).guid, oid, answer.status);
        else
            AnswerOid(port(0).guid, oid, answer.bytes);
    }

    static bool IsOffload(DWORD oid) {
        return oid == kTaskOffload || oid == kOffload60 || oid == kConnectionOffload;
    }

    // What a fresh page shows, and which of the three questions it asked.
    std::wstring Shown(Oids* asked, DriverSpy::Answer answer = nullptr) {
        DriverSpy spy(std::move(answer));
        SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
        asked->clear();
        for (const DriverQuery& query : spy.queries) {
            if (IsOffload(query.oid))
                asked->push_back(query.oid);
        }
        EXPECT_EQ(12u, page.rows().size());
        EXPECT_EQ(L"1500", page.value(L"MTU"));
        return page.value(L"Offload Capabilities");
    }
};

TEST_F(OffloadChoice, FollowsTheAnswerToTheOldQuestion) {
    const OidAnswer unknown = Refused(kStatusNotSupported);
    const struct {
        const char* what;
        OidAnswer tasks, record, connection;
        const wchar_t* shown;
        Oids asked;
    } cases[] = {
        {"old driver", Bytes(TaskList(3)), unknown, unknown, L"TOE", oldOnly},
        {"old driver with IPsec only", Bytes(TaskList(1)), unknown, unknown, L"", oldOnly},
        {"both kinds", Bytes(TaskList(3)), Bytes(Record(0xA7, 1)), Bytes(Connection(9)), L"TOE",
         oldOnly},
        {"empty list", Bytes(EmptyTaskList()), Bytes(Record(0xA7, 1)), Bytes(Connection(9)),
         L"Unknown", oldOnly},
        {"answer without a header", Bytes({1, 0, 0, 0}), Bytes(Record(0xA7, 1)),
         Bytes(Connection(9)), L"Unknown", oldOnly},
        {"error 31", Refused(kStatusUnsuccessful), Bytes(Record(0xA7, 1)), Bytes(Connection(9)),
         L"Unknown", oldOnly},
        {"error 21", Refused(kStatusDeviceNotReady), Bytes(Record(0xA7, 1)), Bytes(Connection(9)),
         L"Unknown", oldOnly},
        {"new driver", unknown, Bytes(Record(0xA7, 1)), Bytes(Connection(0)),
         L"LSO, Checksum Offload", all},
        {"new driver with connections", unknown, Bytes(Record(0xA7, 1)), Bytes(Connection(9)),
         L"LSO, Checksum Offload, TOE", all},
        {"new driver without the last", unknown, Bytes(Record(0xA7, 1)), unknown,
         L"LSO, Checksum Offload", all},
        {"connections that fail", unknown, Bytes(Record(0xA7, 1)), Refused(kStatusUnsuccessful),
         L"LSO, Checksum Offload", all},
        {"nothing but connections", unknown, Bytes({0xA7, 1, 112, 0}), Bytes(Connection(9)), L"TOE",
         all},
        {"nothing at all", unknown, Bytes({0xA7, 1, 112, 0}), unknown, L"Unknown", all},
        {"revision 2", unknown, Bytes(Record(0xA7, 2)), Bytes(Connection(9)), L"Unknown", newToo},
        {"another type", unknown, Bytes(Record(0x80, 1)), Bytes(Connection(9)), L"Unknown", newToo},
        {"neither kind", unknown, unknown, Bytes(Connection(9)), L"Unknown", newToo},
        {"neither, with an error", unknown, Refused(kStatusUnsuccessful), Bytes(Connection(9)),
         L"Unknown", newToo},
        {"longer than its record", unknown, Bytes(std::vector<BYTE>(113, 0xA7)),
         Bytes(Connection(9)), L"Unknown", newToo},
    };
    for (const auto& c : cases) {
        Oids asked;
        Answer(kTaskOffload, c.tasks);
        Answer(kOffload60, c.record);
        Answer(kConnectionOffload, c.connection);
        EXPECT_EQ(c.shown, Shown(&asked)) << c.what;
        EXPECT_EQ(c.asked, asked) << c.what;
    }
}

// The driver itself but for the given question.
static DriverSpy::Answer Except(DWORD oid, std::function<BOOL()> instead) {
    return [oid, instead](const DriverQuery& query, BYTE* output, DWORD* cbReturned) {
        if (query.oid == oid)
            return instead();
        DWORD asked = query.oid;
        return DeviceIoControl(query.device, query.code, &asked, sizeof(asked), output,
                               query.cbOutput, cbReturned, nullptr);
    };
}

TEST_F(OffloadChoice, FollowsNoErrorThatWasThereBefore) {
    Oids asked;
    Answer(kTaskOffload, Refused(kStatusUnsuccessful));
    // A failure that sets no error of its own.
    EXPECT_EQ(L"Unknown", Shown(&asked, Except(kTaskOffload, [] { return FALSE; })));
    EXPECT_EQ(oldOnly, asked);
    // An earlier answer leaves the telling error behind, the list is empty.
    AnswerOid(port(0).guid, kTaskOffload, EmptyTaskList());
    EXPECT_EQ(L"Unknown",
              Shown(&asked, [](const DriverQuery& query, BYTE* output, DWORD* cbReturned) {
                  DWORD oid = query.oid;
                  BOOL ok = DeviceIoControl(query.device, query.code, &oid, sizeof(oid), output,
                                            query.cbOutput, cbReturned, nullptr);
                  if (!IsOffload(query.oid))
                      SetLastError(ERROR_NOT_SUPPORTED);
                  return ok;
              }));
    EXPECT_EQ(oldOnly, asked);
}

static BOOL WINAPI FreeAndFail(LPVOID pages, SIZE_T size, DWORD type) {
    VirtualFree(pages, size, type);
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

TEST_F(OffloadChoice, FollowsTheErrorOfTheQueryAndNotThatOfTheCleanUp) {
    Oids asked;
    {
        ImportInstead freeing("VirtualFree", reinterpret_cast<void*>(FreeAndFail));
        EXPECT_EQ(L"LSO, Checksum Offload", Shown(&asked));
    }
    EXPECT_EQ(all, asked);
    EXPECT_EQ("pages=3", StillOpen()) << "freed behind the tally's back";
    Bench(L"reset-open");
}

TEST_F(OffloadChoice, AsksForAsManyBytesAsEachAnswerMayHave) {
    DriverSpy spy;
    SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
    std::vector<std::pair<DWORD, DWORD>> asked;
    for (const DriverQuery& query : spy.queries) {
        if (IsOffload(query.oid))
            asked.emplace_back(query.oid, query.cbOutput);
    }
    EXPECT_THAT(asked, testing::ElementsAre(testing::Pair(kTaskOffload, 216),
                                            testing::Pair(kOffload60, 112),
                                            testing::Pair(kConnectionOffload, 20)));
}

TEST_F(OffloadChoice, AsksInPagesThatItReleases) {
    Oids asked;
    Bench(L"reset-counts");
    EXPECT_EQ(L"LSO, Checksum Offload", Shown(&asked));
    EXPECT_EQ(3u, Calls("VirtualAlloc"));
    EXPECT_EQ(3u, Calls("VirtualFree"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(OffloadChoice, WithoutMemoryIsUnknown) {
    const struct {
        int nth;
        const wchar_t* shown;
        Oids asked;
    } cases[] = {
        {1, L"Unknown", {}},
        {2, L"Unknown", oldOnly},
        {3, L"LSO, Checksum Offload", newToo}, // no word about connections
    };
    for (const auto& c : cases) {
        Oids asked;
        Bench(L"fault VirtualAlloc " + std::to_wstring(c.nth) + L" 50");
        AnswerOid(port(0).guid, kConnectionOffload, Connection(9));
        EXPECT_EQ(c.shown, Shown(&asked)) << c.nth;
        EXPECT_EQ(c.asked, asked) << c.nth;
        EXPECT_EQ("", StillOpen()) << c.nth;
        Bench(L"clear");
    }
}
