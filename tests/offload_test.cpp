// How the task list of an NDIS 5 driver is read and worded. Every list lies right in front of a page
// that cannot be read, so that a byte too many ends the program.
#include "harness/answer_bytes.h"

#include "info/adapter_text.h"
#include "info/offload_caps.h"

#include <string>

static const wchar_t kChecksum[] = L"Checksum Offload";
static const wchar_t kNoList[] = L"<no list>";

constexpr DWORD kHeader = 28; // bytes of a list's header
constexpr DWORD kTask = 20;   // bytes in front of a task's data
constexpr size_t kFirst = 12; // where the offset of the first task stands
constexpr size_t kNext = 12;  // where that of the next one stands in a task
constexpr DWORD kUnknownCode = 4;

struct Task {
    DWORD code;
    Bytes data;
};

static Task Checksum() {
    return {0, Words({0x1C, 0x1C, 0, 0})};
}

static Task Ipsec() {
    return {1, Words({0, 0, 0})};
}

// Version, size, segments, then two bytes of flags and two of padding.
static Task LargeSend() {
    return {2, Words({0, 65536, 2, 0})};
}

static Task Connection() {
    return {3, {}};
}

// A list as a driver builds it: one task right behind the other.
static Bytes List(const std::vector<Task>& tasks) {
    Bytes bytes = Words({1, kHeader, 0, tasks.empty() ? 0 : kHeader, 2, 1, 14});
    for (size_t i = 0; i < tasks.size(); i++) {
        const DWORD size = static_cast<DWORD>(tasks[i].data.size());
        const DWORD next = i + 1 < tasks.size() ? kTask + size : 0;
        const Bytes head = Words({1, kTask, tasks[i].code, next, size});
        bytes.insert(bytes.end(), head.begin(), head.end());
        bytes.insert(bytes.end(), tasks[i].data.begin(), tasks[i].data.end());
    }
    return bytes;
}

// What the page shows for a list of which the driver gave `given` bytes and the rest cannot be read.
static std::wstring Shown(const Bytes& list, DWORD given) {
    TaskOffloadCaps caps = {};
    WCHAR text[VALUE_CCH];
    Guarded answer(list);
    if (!DecodeTaskOffload(answer.bytes(), given, &caps))
        return kNoList;
    std::fill(text, text + VALUE_CCH, L'\xdead');
    WordTaskOffload(text, &caps);
    return text;
}

static std::wstring Shown(const Bytes& list) {
    return Shown(list, static_cast<DWORD>(list.size()));
}

static TaskOffloadCaps Decoded(const Bytes& list, TaskOffloadCaps caps = {}) {
    Guarded answer(list);
    EXPECT_TRUE(DecodeTaskOffload(answer.bytes(), static_cast<DWORD>(list.size()), &caps));
    return caps;
}

// By the set of the tasks' codes; IPsec is not shown.
static const wchar_t* const textOfSet[16] = {
    L"",         L"Checksum Offload",           L"",         L"Checksum Offload",
    L"LSO",      L"LSO, Checksum Offload",      L"LSO",      L"LSO, Checksum Offload",
    L"TOE",      L"TOE, Checksum Offload",      L"TOE",      L"TOE, Checksum Offload",
    L"TOE, LSO", L"TOE, LSO, Checksum Offload", L"TOE, LSO", L"TOE, LSO, Checksum Offload",
};

static std::vector<Task> AllTasks() {
    return {Checksum(), Ipsec(), LargeSend(), Connection()};
}

TEST(TaskList, IsReadWholeInEveryOrderOfEverySubset) {
    const std::vector<Task> all = AllTasks();
    int lists = 0;
    for (unsigned set = 1; set < 16; set++) {
        std::vector<size_t> codes;
        for (size_t code = 0; code < 4; code++) {
            if (set & (1u << code))
                codes.push_back(code);
        }
        do {
            std::vector<Task> tasks;
            for (size_t code : codes)
                tasks.push_back(all[code]);
            EXPECT_EQ(textOfSet[set], Shown(List(tasks))) << testing::PrintToString(codes);
            const TaskOffloadCaps caps = Decoded(List(tasks));
            EXPECT_EQ((set >> 1) & 1, caps.ipsecSupported) << testing::PrintToString(codes);
            EXPECT_EQ((set >> 3) & 1, caps.toeSupported) << testing::PrintToString(codes);
            lists++;
        } while (std::next_permutation(codes.begin(), codes.end()));
    }
    EXPECT_EQ(64, lists);
}

TEST(TaskList, ThatIsEmptyIsNone) {
    EXPECT_EQ(kNoList, Shown(List({})));
    Bytes list = List({Connection()});
    Put(&list, kFirst, 0);
    EXPECT_EQ(kNoList, Shown(list)) << "what lies behind the header is not looked at";
}

TEST(TaskList, WhoseFirstTaskIsTheOnlyOneIsReadOnce) {
    Bytes list = List({LargeSend(), Connection()});
    Put(&list, kHeader + kNext, 0);
    EXPECT_EQ(L"LSO", Shown(list));
}

TEST(TaskList, MayHaveATaskTwiceAndTheLaterOneHolds) {
    Task later = LargeSend();
    later.data = Words({0, 0, 0, 0});
    EXPECT_EQ(L"", Shown(List({LargeSend(), later})));
    EXPECT_EQ(L"LSO", Shown(List({later, LargeSend()})));
}

TEST(TaskList, PassesUnknownTasksBy) {
    for (DWORD code : {kUnknownCode, DWORD{5}, DWORD{0x7FFFFFFF}, DWORD{0xFFFFFFFF}}) {
        const Task unknown = {code, Words({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF})};
        EXPECT_EQ(L"", Shown(List({unknown}))) << code;
        EXPECT_EQ(L"TOE", Shown(List({unknown, Connection(), unknown}))) << code;
        EXPECT_EQ(L"LSO, Checksum Offload", Shown(List({Checksum(), unknown, LargeSend()})))
            << code;
    }
}

TEST(TaskList, IsReadAsFarAsTheAnswerReaches) {
    const Bytes whole = List({Checksum(), LargeSend(), Connection()});
    const DWORD checksum = kHeader + kTask + 16;
    const DWORD largeSend = checksum + kTask + 14; // without its padding
    const DWORD connection = checksum + kTask + 16 + kTask;
    ASSERT_EQ(connection, whole.size());
    for (DWORD given = 0; given <= whole.size(); given++) {
        const wchar_t* expected = given < kHeader      ? kNoList
                                  : given < checksum   ? L""
                                  : given < largeSend  ? kChecksum
                                  : given < connection ? L"LSO, Checksum Offload"
                                                       : L"TOE, LSO, Checksum Offload";
        EXPECT_EQ(expected, Shown(Bytes(whole.begin(), whole.begin() + given), given)) << given;
        // The same with a work buffer behind what the driver gave.
        Bytes buffer = whole;
        buffer.resize(TASK_OFFLOAD_CB);
        EXPECT_EQ(expected, Shown(buffer, given)) << given << " of the buffer";
    }
}

TEST(TaskList, EndsWithTheWorkBufferWhateverTheDriverSaysItGave) {
    Bytes buffer = List({Checksum(), {kUnknownCode, Bytes(TASK_OFFLOAD_CB - 132)}, Connection()});
    ASSERT_EQ(TASK_OFFLOAD_CB - 28, buffer.size());
    buffer.resize(TASK_OFFLOAD_CB);
    for (DWORD given : {TASK_OFFLOAD_CB, TASK_OFFLOAD_CB + 1, DWORD{4096}, DWORD{0xFFFFFFFF}})
        EXPECT_EQ(L"TOE, Checksum Offload", Shown(buffer, given)) << given;
    // The last task reaches over the end by less than its own length.
    for (DWORD over : {1u, 4u, 19u, 20u, 0x10000u}) {
        Put(&buffer, 64 + kNext, TASK_OFFLOAD_CB - kTask + over - 64);
        for (DWORD given : {TASK_OFFLOAD_CB, TASK_OFFLOAD_CB + 1, DWORD{4096}, DWORD{0xFFFFFFFF}})
            EXPECT_EQ(kChecksum, Shown(buffer, given)) << over << " over, given " << given;
    }
}

TEST(TaskList, HoldsATaskThatEndsWithTheAnswer) {
    Bytes buffer = List({Checksum()});
    buffer.resize(TASK_OFFLOAD_CB);
    Put(&buffer, kHeader + kNext, TASK_OFFLOAD_CB - kTask - kHeader);
    Put(&buffer, TASK_OFFLOAD_CB - kTask + 8, 3);
    EXPECT_EQ(L"TOE, Checksum Offload", Shown(buffer));
    // The data of the other two end with the answer as well.
    Put(&buffer, kHeader + kNext, TASK_OFFLOAD_CB - kTask - 14 - kHeader);
    Put(&buffer, TASK_OFFLOAD_CB - kTask - 14 + 8, 2);
    Put(&buffer, TASK_OFFLOAD_CB - 14 + 4, 1);
    EXPECT_EQ(L"LSO, Checksum Offload", Shown(buffer));
}

struct OffsetCase {
    DWORD offset;
    const wchar_t* shown;
};

TEST(TaskList, HasItsFirstTaskBehindTheHeaderAndInsideTheAnswer) {
    // Read inside the header, its words would make a task with the code 3: Reserved, 8 bytes from
    // the beginning, is one, and the list's size, 4 bytes from it, another.
    Bytes list = List({Connection()});
    ASSERT_EQ(48u, list.size());
    Put(&list, 8, 3);
    Put(&list, 16, 3);
    Put(&list, 20, 3);
    const OffsetCase cases[] = {
        {1, L""},          {4, L""},          {8, L""},          {12, L""},
        {24, L""},         {27, L""},         {28, L"TOE"},      {29, L""},
        {47, L""},         {48, L""},         {49, L""},         {216, L""},
        {217, L""},        {0x7FFFFFFF, L""}, {0x80000000, L""}, {0xFFFFFFE4, L""},
        {0xFFFFFFFC, L""}, {0xFFFFFFFF, L""},
    };
    for (const OffsetCase& c : cases) {
        Put(&list, kFirst, c.offset);
        EXPECT_EQ(c.shown, Shown(list)) << c.offset;
    }
}

TEST(TaskList, EndsWhereAnOffsetDoesNotLeadForward) {
    // Checksums at 28, an unknown task at 64, the connection task at 84.
    const Bytes whole = List({Checksum(), {kUnknownCode, {}}, Connection()});
    ASSERT_EQ(104u, whole.size());
    const OffsetCase cases[] = {
        {20, L"TOE, Checksum Offload"}, // as the driver built it
        {0, kChecksum},
        {21, kChecksum}, // no whole task
        {40, kChecksum}, // the end itself
        {0x7FFFFFFF, kChecksum},
        {0xFFFFFFEC, kChecksum}, // 20 back
        {0xFFFFFFDC, kChecksum}, // to the first task
        {0xFFFFFFC0, kChecksum}, // to the beginning
        {0xFFFFFFC1, kChecksum},
        {0xFFFFFFFF, kChecksum},
    };
    for (const OffsetCase& c : cases) {
        Bytes list = whole;
        Put(&list, 64 + kNext, c.offset);
        EXPECT_EQ(c.shown, Shown(list)) << c.offset;
    }
}

TEST(TaskList, EndsEvenWhenEveryByteOfItLeadsOn) {
    for (BYTE fill : {0x00, 0x01, 0x02, 0x03, 0x7F, 0x80, 0xFF}) {
        for (DWORD given = 0; given <= TASK_OFFLOAD_CB; given++) {
            const std::wstring shown = Shown(Bytes(given, fill), given);
            EXPECT_TRUE(shown == kNoList || shown == L"") << int{fill} << " " << given;
        }
    }
    // Tasks that overlap, one byte further each time.
    Bytes list = List({Connection()});
    list.resize(TASK_OFFLOAD_CB);
    Put(&list, kHeader + kNext, 1);
    EXPECT_EQ(L"TOE", Shown(list));
}

TEST(TaskList, TakesFiveBitsForIpv4AndFourForIpv6) {
    const DWORD all = 0xFFFFFFFF;
    TaskOffloadCaps caps = Decoded(List({{0, Words({all, all, all, all})}}));
    EXPECT_EQ(0x1Fu, caps.v4Transmit);
    EXPECT_EQ(0x1Fu, caps.v4Receive);
    EXPECT_EQ(0x0Fu, caps.v6Transmit);
    EXPECT_EQ(0x0Fu, caps.v6Receive);
    EXPECT_EQ(L"", Shown(List({{0, Words({0xFFFFFFE0, 0xFFFFFFE0, 0xFFFFFFF0, 0xFFFFFFF0})}})));
}

TEST(TaskList, KeepsTheOtherBitsOfTheCallersWords) {
    TaskOffloadCaps before = {};
    before.v4Transmit = before.v4Receive = before.v6Transmit = before.v6Receive = 0xABCDEFFF;
    TaskOffloadCaps caps = Decoded(List({{0, Words({0, 0x15, 0, 0x0A})}}), before);
    EXPECT_EQ(0xABCDEFE0u, caps.v4Transmit);
    EXPECT_EQ(0xABCDEFF5u, caps.v4Receive);
    EXPECT_EQ(0xABCDEFF0u, caps.v6Transmit);
    EXPECT_EQ(0xABCDEFFAu, caps.v6Receive);
}

TEST(TaskList, ShowsChecksumsForEveryBitAlone) {
    for (size_t word = 0; word < 4; word++) {
        for (DWORD bit = 0; bit < 32; bit++) {
            Bytes list = List({{0, Words({0, 0, 0, 0})}});
            Put(&list, kHeader + kTask + word * 4, DWORD{1} << bit);
            const bool counts = bit < (word < 2 ? 5u : 4u);
            EXPECT_EQ(counts ? kChecksum : L"", Shown(list)) << word << " " << bit;
        }
    }
}

TEST(TaskList, ShowsLargeSendsForEveryValueAloneButTheVersion) {
    const struct {
        Bytes data;
        const wchar_t* shown;
    } cases[] = {
        {Words({0, 0, 0, 0}), L""},
        {Words({0xFFFFFFFF, 0, 0, 0}), L""}, // the version
        {Words({0, 1, 0, 0}), L"LSO"},
        {Words({0, 0x80000000, 0, 0}), L"LSO"},
        {Words({0, 0, 1, 0}), L"LSO"},
        {Words({0, 0, 0, 0x00000001}), L"LSO"},
        {Words({0, 0, 0, 0x00000100}), L"LSO"},
        {Words({0, 0, 0, 0xFFFF0000}), L""}, // the padding
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.shown, Shown(List({{2, c.data}}))) << testing::PrintToString(c.data);
}

TEST(TaskList, CopiesTheLargeSendValuesAsTheyStand) {
    const TaskOffloadCaps caps =
        Decoded(List({{2, Words({0x11111111, 0x22222222, 0x33333333, 0x00005544})}}));
    EXPECT_EQ(0x22222222u, caps.lsoMaxOffloadSize);
    EXPECT_EQ(0x33333333u, caps.lsoMinSegmentCount);
    EXPECT_EQ(0x44u, caps.lsoTcpOptions);
    EXPECT_EQ(0x55u, caps.lsoIpOptions);
}

TEST(TaskList, IsAskedForWithTheHeaderOfAnEmptyEthernetList) {
    Bytes buffer(TASK_OFFLOAD_CB);
    Guarded answer(buffer);
    FillTaskOffloadHeader(answer.bytes());
    Bytes expected = Words({1, 28, 0, 0, 2, 1, 0});
    expected.resize(TASK_OFFLOAD_CB);
    EXPECT_EQ(expected, Bytes(answer.bytes(), answer.bytes() + TASK_OFFLOAD_CB));
}

TEST(TaskList, ShowsTheConnectionTaskForOneOnly) {
    for (BYTE value : {0, 1, 2, 255}) {
        TaskOffloadCaps caps = {};
        WCHAR text[VALUE_CCH];
        caps.toeSupported = value;
        WordTaskOffload(text, &caps);
        EXPECT_EQ(std::wstring(value == 1 ? L"TOE" : L""), text) << int{value};
    }
}
