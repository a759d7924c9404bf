// The answers of drivers for each NDIS version, the statuses with which NDIS and miniports refuse, and
// what the pages show of them.
#include "harness/driver_spy.h"
#include "harness/sheet_host.h"

#include "info/general_page.h"
#include "info/statistics_page.h"
#include "info/statistics_table.h"

namespace {

constexpr DWORD kTaskOffload = 0xFC010201;
constexpr DWORD kOffload60 = 0xFC01020B;
constexpr DWORD kConnectionOffload = 0xFC01020E;
constexpr wchar_t kCapabilities[] = L"LSO, Checksum Offload";
constexpr wchar_t kUnknown[] = L"Unknown";

// OIDs and the length of the buffer that was passed with each.
using Asked = std::vector<std::pair<DWORD, DWORD>>;
const Asked kTaskListOnly = {{kTaskOffload, 216}};
const Asked kRecordToo = {{kTaskOffload, 216}, {kOffload60, 112}};
const Asked kAll = {{kTaskOffload, 216}, {kOffload60, 112}, {kConnectionOffload, 20}};

// The error that a program gets for each status, by the machine's mapping.
const struct Refusal {
    const char* status;
    DWORD translated, untranslated;
} kRefusals[] = {
    {"NOT_SUPPORTED", 50, 50},     {"INVALID_LENGTH", 1784, 20}, {"INVALID_DATA", 87, 21},
    {"BUFFER_TOO_SHORT", 122, 22}, {"INVALID_OID", 31, 23},
};
const char* const kMappings[] = {"translated", "untranslated"};

DWORD ErrorOf(const Refusal& refusal, const std::string& mapping) {
    return mapping == "translated" ? refusal.translated : refusal.untranslated;
}

class DriverAnswers : public SheetTest {
  protected:
    // A machine with one adapter, which is chosen.
    void Only(const std::string& system, const std::string& adapter) {
        const std::string text = system +
                                 "\n[adapter only]\n"
                                 "instance = PCI\\VEN_5156&DEV_0101\\1\n"
                                 "guid = {A0000000-0000-4000-8000-000000000009}\n"
                                 "friendly-name = Only\n" +
                                 adapter;
        std::wstring error;
        Machine parsed;
        ASSERT_TRUE(MachineParse(text, L"text", &parsed, &error)) << testing::PrintToString(error);
        machine = parsed;
        Build();
        ChooseNic(0, port(0));
    }

    // What the driver answers a caller with this buffer; its error, or ERROR_SUCCESS with *buffer cut to
    // the answer.
    DWORD Ask(DWORD oid, std::vector<BYTE>* buffer) {
        HANDLE device =
            CreateFileW((L"\\\\.\\" + port(0).guid).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(INVALID_HANDLE_VALUE, device);
        DWORD bytes = 0xdeadbeef;
        SetLastError(0xdeadbeef);
        const BOOL done = DeviceIoControl(device, 0x00170002, &oid, sizeof(oid), buffer->data(),
                                          static_cast<DWORD>(buffer->size()), &bytes, nullptr);
        const DWORD error = done ? ERROR_SUCCESS : GetLastError();
        CloseHandle(device);
        if (done)
            buffer->resize(bytes);
        return error;
    }
    DWORD ErrorFor(DWORD oid, size_t bytes) {
        std::vector<BYTE> buffer(bytes);
        return Ask(oid, &buffer);
    }

    // The row "Offload Capabilities" of a fresh General page, and what the page asked for it.
    std::wstring Offload(Asked* asked) {
        DriverSpy spy;
        SheetHost page(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
        asked->clear();
        for (const DriverQuery& query : spy.queries) {
            if (query.oid >> 16 == kTaskOffload >> 16)
                asked->emplace_back(query.oid, query.cbOutput);
        }
        EXPECT_EQ(12u, page.rows().size());
        return page.value(L"Offload Capabilities");
    }
};

} // namespace

TEST_F(DriverAnswers, RefuseWithTheErrorOfTheMachinesMapping) {
    for (const std::string mapping : kMappings) {
        for (const Refusal& refusal : kRefusals) {
            SCOPED_TRACE(mapping + " " + refusal.status);
            const std::string status = refusal.status;
            Only("ndis-errors = " + mapping, "unknown-oid = " + status +
                                                 "\noid 0x00010106 = ndis-error:" + status +
                                                 "\noid 0x00010107 = none\n");
            EXPECT_EQ(ErrorOf(refusal, mapping), ErrorFor(0xFFFFFFFF, 8)) << "unknown OID";
            EXPECT_EQ(ErrorOf(refusal, mapping), ErrorFor(0x00010107, 8)) << "OID without answer";
            EXPECT_EQ(ErrorOf(refusal, mapping), ErrorFor(0x00010106, 4)) << "OID refused by name";
            EXPECT_EQ(ERROR_SUCCESS, ErrorFor(0x00010114, 4));
        }
        // What is no status of NDIS's is no matter of the mapping.
        Only("ndis-errors = " + mapping, "oid 0x00010106 = error:0xC00000A3\n"
                                         "oid 0x00010107 = ndis-error:FAILURE\n"
                                         "oid 0x00010114 = ndis-error:RESOURCES\n");
        EXPECT_EQ(DWORD{ERROR_NOT_READY}, ErrorFor(0x00010106, 4));
        EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, ErrorFor(0x00010107, 8));
        EXPECT_EQ(DWORD{ERROR_NO_SYSTEM_RESOURCES}, ErrorFor(0x00010114, 4));
        EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, ErrorFor(0xFFFFFFFF, 8)) << "unknown OID by default";
    }
}

// Each NDIS version's record, in its published size.
const struct Version {
    const char* name;
    BYTE revision;
    WORD bytes;
} kVersions[] = {
    {"ndis-6.0", 1, 112},  {"ndis-6.1", 2, 144},  {"ndis-6.30", 3, 156},
    {"ndis-6.50", 4, 177}, {"ndis-6.70", 5, 188}, {"ndis-6.83", 6, 216},
};

TEST_F(DriverAnswers, GiveTheOffloadRecordWholeOrRefuseIt) {
    for (const std::string mapping : kMappings) {
        const DWORD tooShort = mapping == "translated" ? ERROR_INSUFFICIENT_BUFFER : 22;
        for (const Version& version : kVersions) {
            SCOPED_TRACE(mapping + " " + version.name);
            Only("ndis-errors = " + mapping, std::string("answers = ") + version.name + "\n");
            for (size_t bytes : {size_t{112}, size_t{version.bytes}, size_t{300}}) {
                std::vector<BYTE> buffer(bytes, 0xEE);
                if (bytes < version.bytes) {
                    EXPECT_EQ(tooShort, Ask(kOffload60, &buffer)) << bytes;
                    EXPECT_EQ(std::vector<BYTE>(bytes, 0xEE), buffer) << "nothing is cut";
                    continue;
                }
                ASSERT_EQ(ERROR_SUCCESS, Ask(kOffload60, &buffer)) << bytes;
                EXPECT_EQ(version.bytes, buffer.size());
                EXPECT_EQ((std::vector<BYTE>{0xA7, version.revision,
                                             static_cast<BYTE>(version.bytes & 0xFF), 0}),
                          std::vector<BYTE>(buffer.begin(), buffer.begin() + 4));
            }
            EXPECT_EQ(tooShort, ErrorFor(kOffload60, version.bytes - 1u));
            EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, ErrorFor(kTaskOffload, 216));
        }
    }
}

TEST_F(DriverAnswers, ShowCapabilitiesOfNdis60OnlyAmongTheNdis6Versions) {
    for (const std::string mapping : kMappings) {
        for (const Version& version : kVersions) {
            SCOPED_TRACE(mapping + " " + version.name);
            Only("ndis-errors = " + mapping, std::string("answers = ") + version.name + "\n");
            Asked asked;
            EXPECT_EQ(version.revision == 1 ? kCapabilities : kUnknown, Offload(&asked));
            EXPECT_EQ(version.revision == 1 ? kAll : kRecordToo, asked);
        }
    }
}

TEST_F(DriverAnswers, ShowCapabilitiesOnlyWhereTheTaskListIsNotSupported) {
    for (const std::string mapping : kMappings) {
        for (const Refusal& refusal : kRefusals) {
            SCOPED_TRACE(mapping + " " + refusal.status);
            const bool fallsBack = refusal.translated == ERROR_NOT_SUPPORTED;
            // The record that the page would show behind the refusal is one that it knows.
            for (const std::string line : {"unknown-oid = ", "oid 0xFC010201 = ndis-error:"}) {
                Only("ndis-errors = " + mapping, "answers = ndis-6.0\n" + line + refusal.status);
                Asked asked;
                EXPECT_EQ(fallsBack ? kCapabilities : kUnknown, Offload(&asked)) << line;
                EXPECT_EQ(fallsBack ? kAll : kTaskListOnly, asked) << line;
            }
            // The same of the record, behind a task list that is not supported.
            Only("ndis-errors = " + mapping,
                 std::string("answers = ndis-6.0\noid 0xFC01020B = ndis-error:") + refusal.status);
            Asked asked;
            EXPECT_EQ(kUnknown, Offload(&asked));
            EXPECT_EQ(kRecordToo, asked);
        }
    }
}

TEST_F(DriverAnswers, OfTheOtherQueriesLeaveTheSameRowsWhateverTheStatus) {
    for (const std::string mapping : kMappings) {
        for (const Refusal& refusal : kRefusals) {
            SCOPED_TRACE(mapping + " " + refusal.status);
            const std::string unknown = std::string("unknown-oid = ") + refusal.status + "\n";
            Only("ndis-errors = " + mapping,
                 unknown + "oid 0x00010106 = none\noid 0x00020101 = none\n");
            EXPECT_EQ(kUnknown, SheetHost(IDD_GENERAL_PAGE, QvPropertiesDialogProc).value(L"MTU"));
            g_statistics[0].value = 4711;
            SheetHost statistics(IDD_STATISTICS_PAGE, QvStatisticsDialogProc);
            EXPECT_EQ(L"4711", statistics.value(L"Frames Transmitted OK"));
            EXPECT_EQ(24u, statistics.rows().size());
            Only("ndis-errors = " + mapping, unknown + "oid 0x01010101 = none\n");
            EXPECT_TRUE(SheetHost(IDD_GENERAL_PAGE, QvPropertiesDialogProc).rows().empty());
        }
    }
}

TEST_F(DriverAnswers, OfAnNdis5DriverAreATaskListWithoutARecord) {
    Only("", "answers = ndis-5\n");
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, ErrorFor(kOffload60, 112));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, ErrorFor(kConnectionOffload, 20));
    Asked asked;
    EXPECT_EQ(kCapabilities, Offload(&asked));
    EXPECT_EQ(kTaskListOnly, asked);
}

// The NDIS_TASK_OFFLOAD_HEADER that a caller passes in the output buffer.
static std::vector<BYTE> TaskBuffer(BYTE headerSize) {
    std::vector<BYTE> buffer(216);
    buffer[0] = 1;
    buffer[4] = 28;
    buffer[16] = 2; // IEEE 802.3
    buffer[20] = 1; // fixed header size
    buffer[24] = headerSize;
    return buffer;
}

TEST_F(DriverAnswers, OfAnNdis5DriverMayDependOnTheHeaderSizeThatTheCallerWrites) {
    for (const std::string mapping : kMappings) {
        SCOPED_TRACE(mapping);
        Only("ndis-errors = " + mapping, "answers = ndis-5\ntask-list-needs-header-size = yes\n");
        const DWORD refused = mapping == "translated" ? ERROR_INVALID_PARAMETER : 21;
        std::vector<BYTE> without = TaskBuffer(0), with = TaskBuffer(14);
        EXPECT_EQ(refused, Ask(kTaskOffload, &without));
        EXPECT_EQ(TaskBuffer(0), without);
        EXPECT_EQ(refused, ErrorFor(kTaskOffload, 27));
        EXPECT_EQ(ERROR_SUCCESS, Ask(kTaskOffload, &with));
        EXPECT_EQ(100u, with.size());
        EXPECT_EQ(ERROR_SUCCESS, ErrorFor(0x00010114, 4)) << "another OID";
        Asked asked;
        EXPECT_EQ(kUnknown, Offload(&asked));
        EXPECT_EQ(kTaskListOnly, asked);
    }
    // A driver without an answer does not look at the header.
    Only("", "task-list-needs-header-size = yes\n");
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, ErrorFor(kTaskOffload, 216));
}

TEST_F(DriverAnswers, AreThoseOfTheMachinesWindowsByDefault) {
    const struct {
        const char* windows;
        size_t record; // bytes; 0: none
        const wchar_t* shown;
        Asked asked;
    } cases[] = {
        {"5.2", 0, kCapabilities, kTaskListOnly}, {"6.0", 112, kCapabilities, kAll},
        {"6.1", 144, kUnknown, kRecordToo},       {"6.2", 156, kUnknown, kRecordToo},
        {"6.3", 156, kUnknown, kRecordToo},       {"10.0", 216, kUnknown, kRecordToo},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.windows);
        Only(std::string("windows = ") + c.windows, "");
        std::vector<BYTE> record(300);
        const DWORD error = Ask(kOffload60, &record);
        EXPECT_EQ(c.record ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_NOT_SUPPORTED}, error);
        if (c.record)
            EXPECT_EQ(c.record, record.size());
        Asked asked;
        EXPECT_EQ(c.shown, Offload(&asked));
        EXPECT_EQ(c.asked, asked);
    }
}

TEST_F(DriverAnswers, OfWordsThatAMachineFileDoesNotKnowAreComplaints) {
    const struct {
        const char *system, *adapter;
        int line;
    } cases[] = {
        {"ndis-errors = maybe", "", 1},       {"", "answers = ndis-7\n", 5},
        {"", "unknown-oid = 5\n", 5},         {"", "oid 1 = ndis-error:WRONG\n", 5},
        {"", "oid 1 = ndis-error:\n", 5},     {"", "task-list-needs-header-size = 14\n", 5},
        {"unknown-oid = INVALID_OID", "", 1},
    };
    for (const auto& c : cases) {
        const std::string text = std::string(c.system) +
                                 "\n[adapter only]\ninstance = PCI\\A\\1\n"
                                 "guid = {A0000000-0000-4000-8000-000000000009}\n" +
                                 c.adapter;
        std::wstring error;
        EXPECT_FALSE(MachineParse(text, L"text", &machine, &error)) << c.system << c.adapter;
        EXPECT_EQ(0u, error.find(L"text:" + std::to_wstring(c.line) + L": "))
            << testing::PrintToString(error);
    }
}
