// The teams, read back from the member records.
#include "inventory/team_list.h"
#include "harness/list_host.h"
#include "harness/sample_machine.h"
#include "include/names.h"
#include "inventory/adapters.h"

static const std::wstring kRecords = MEMBER_RECORDS_KEY;

// A machine without records, and a list of team adapters as an earlier walk left it. Records are
// enumerated by name, and so by port number.
class TeamList : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"two-ports.txt");
        machine.adapters.clear();
    }
    // Builds the machine and shows `rows` team adapters, the n-th with VirtualGuid(n).
    void Stand(unsigned rows) {
        Build();
        for (unsigned row = 0; row < rows; row++)
            g_teamAdapters[row].guid = Guid(VirtualGuid(row));
        host.addRows(IDC_TEAM_LIST, static_cast<int>(rows));
    }
    void Record(const std::wstring& name, const std::vector<MachineValue>& values) {
        for (const MachineValue& value : values)
            RegistrySet(kRecords + L"\\" + name, value);
    }
    static MachineValue Binding(unsigned team) {
        return MachineValue::Text(L"TeamBinding", L"\\Device\\" + VirtualGuid(team));
    }
    static MachineValue TeamNumber(DWORD number) {
        return MachineValue::Number(L"TeamNumber", number);
    }
    static MachineValue Order(DWORD order) {
        return MachineValue::Number(L"Order", order);
    }
    // Reads the list anew.
    int Read() {
        g_numTeams = 0;
        *host.data() = {};
        return PopulateTeamList(host.window());
    }
    const TeamEntry& team(int row) {
        return host.data()->teams[row];
    }
    void ExpectNoTeam() {
        SheetData none = {};
        EXPECT_EQ(0, g_numTeams);
        EXPECT_EQ(0, memcmp(&none, host.data(), sizeof(none)));
    }

    ListHost host;
};

TEST_F(TeamList, IsEmptyWithoutTheRecordsKey) {
    Stand(4);
    ASSERT_FALSE(RegistryHasKey(kRecords));
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
    EXPECT_EQ("", StillOpen());

    machine.protocolInstalled = false;
    Build();
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
}

TEST_F(TeamList, IsEmptyWithoutARecord) {
    Stand(4);
    RegistrySet(kRecords, MachineValue::Number(L"TeamNumber", 0x120));
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamList, IsNotReadWithoutAStateRecord) {
    Stand(1);
    Record(PortGuid(0), {Binding(0), TeamNumber(0x120)});
    host.forgetData();
    EXPECT_EQ(0, Read());
    ExpectNoTeam();
    EXPECT_EQ(0u, Calls("RegOpenKeyExW"));
}

TEST_F(TeamList, HoldsEachTeamInTheRowOfItsAdapterWhateverItsSlot) {
    LoadAndBuild(L"three-teams.txt");
    ASSERT_EQ(1, PopulateGuids(host.window(), POPULATE_LISTS, nullptr));
    EXPECT_EQ(1, Read());
    EXPECT_EQ(3, g_numTeams);
    const DWORD numbers[] = {0x120, 0xC21, 0x223};
    const DWORD modes[] = {1, 12, 2};
    for (int row = 0; row < 3; row++) {
        SCOPED_TRACE(row);
        EXPECT_EQ(1u, team(row).inUse);
        EXPECT_EQ(g_teamAdapters[row].guid, team(row).teamGuid);
        EXPECT_EQ(Guid(machine.teams[static_cast<size_t>(row)].guid), team(row).teamGuid);
        EXPECT_EQ(numbers[row], team(row).TeamNumber);
        EXPECT_EQ(modes[row], team(row).TeamMode);
        ASSERT_EQ(2, team(row).numNics);
        for (unsigned member = 0; member < 2; member++) {
            unsigned port = static_cast<unsigned>(row) * 2 + member + 1;
            EXPECT_EQ(Guid(PortGuid(port)), team(row).nicGuids[member]);
            EXPECT_EQ(member, team(row).order[member]);
            EXPECT_STREQ(L"", team(row).nicNames[member]) << "only creation fills the names";
        }
    }
    EXPECT_EQ(0u, team(3).inUse);
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamList, JoinsRecordsOfOneTeamAdapterIntoOneTeam) {
    Stand(2);
    Record(PortGuid(1), {Binding(1), TeamNumber(0x220), Order(0)});
    Record(PortGuid(2), {Binding(1), TeamNumber(0x220), Order(1)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(0u, team(0).inUse);
    EXPECT_EQ(1u, team(1).inUse);
    EXPECT_EQ(2, team(1).numNics);
}

TEST_F(TeamList, KeepsMembersInTheOrderOfTheirRecordsBesideTheirPreference) {
    Stand(1);
    Record(PortGuid(3), {Binding(0), TeamNumber(0x130), Order(0)});
    Record(PortGuid(1), {Binding(0), TeamNumber(0x130), Order(2)});
    Record(PortGuid(2), {Binding(0), TeamNumber(0x130), Order(1)});
    EXPECT_EQ(1, Read());
    ASSERT_EQ(3, team(0).numNics);
    for (unsigned member = 0; member < 3; member++) {
        EXPECT_EQ(Guid(PortGuid(member + 1)), team(0).nicGuids[member]);
        EXPECT_EQ(2 - member, team(0).order[member]);
    }
}

struct BindingCase {
    const char* what;
    std::optional<MachineValue> value;
    bool known;
};

TEST_F(TeamList, FindsTheTeamAdapterBehindTheLastBackslashOfItsBinding) {
    using namespace std::string_literals;
    const std::wstring guid = VirtualGuid(0);
    const std::wstring device = L"\\Device\\" + guid;
    const std::wstring lower = L"\\Device\\{b0000000-0000-4000-8000-000000000000}";
    const auto text = [](const std::wstring& value) {
        return MachineValue::Text(L"TeamBinding", value);
    };
    const auto sized = [](const std::wstring& value, size_t bytes) {
        return MachineValue::SizedText(L"TeamBinding", value, bytes);
    };
    const BindingCase cases[] = {
        {"as it is written", text(device), true},
        {"any path", text(L"\\a\\b\\" + guid), true},
        {"a backslash alone in front", text(L"\\" + guid), true},
        {"lower case", text(lower), true},
        {"no terminator", sized(device, device.size() * 2), true},
        {"half a last character", sized(device, device.size() * 2 - 1), true},
        {"half a terminator", sized(device, device.size() * 2 + 1), true},
        {"a list of one", MachineValue::MultiText(L"TeamBinding", {device}), true},
        {"another type", MachineValue{L"TeamBinding", REG_BINARY, text(device).data}, true},
        {"no value", std::nullopt, false},
        {"no bytes", MachineValue{L"TeamBinding", REG_SZ, {}}, false},
        {"one byte", MachineValue{L"TeamBinding", REG_SZ, {'\\'}}, false},
        {"no backslash", text(guid), false},
        {"nothing behind it", text(L"\\Device\\"), false},
        {"no GUID behind it", text(L"\\Device\\Team0"), false},
        {"a GUID without braces", text(L"\\Device\\" + guid.substr(1, 36)), false},
        {"a GUID that is cut", text(device.substr(0, device.size() - 1)), false},
        {"something behind the GUID", text(device + L"\\"), false},
        {"a team adapter that is not there", text(L"\\Device\\" + VirtualGuid(9)), false},
        {"a zero GUID", text(L"\\Device\\{00000000-0000-0000-0000-000000000000}"), false},
    };
    Stand(1);
    for (const BindingCase& c : cases) {
        SCOPED_TRACE(c.what);
        RegistryDeleteTree(kRecords);
        Record(PortGuid(1), {TeamNumber(0x120)});
        if (c.value)
            Record(PortGuid(1), {*c.value});
        EXPECT_EQ(1, Read());
        if (c.known) {
            EXPECT_EQ(1, g_numTeams);
            EXPECT_EQ(1, team(0).numNics);
            EXPECT_EQ(Guid(guid), team(0).teamGuid);
            EXPECT_EQ(0x120u, team(0).TeamNumber);
        } else {
            ExpectNoTeam();
        }
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamList, SkipsARecordItCannotReadAndTakesTheNext) {
    Stand(1);
    Record(PortGuid(1), {MachineValue::Text(L"TeamBinding", VirtualGuid(0))});
    Record(PortGuid(2), {Binding(0), TeamNumber(0x120)});
    EXPECT_EQ(1, Read());
    ASSERT_EQ(1, team(0).numNics);
    EXPECT_EQ(Guid(PortGuid(2)), team(0).nicGuids[0]);
}

TEST_F(TeamList, TakesTeamAdaptersOfTheFirstFourRowsOnly) {
    Stand(5);
    for (unsigned n = 0; n < 5; n++)
        Record(PortGuid(n), {Binding(n), TeamNumber(0x120 + n)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(4, g_numTeams);
    for (int row = 0; row < 4; row++) {
        EXPECT_EQ(1u, team(row).inUse) << row;
        EXPECT_EQ(0x120u + static_cast<DWORD>(row), team(row).TeamNumber);
    }
    EXPECT_EQ(nullptr, host.data()->hWaitDlg) << "what stands behind the four rows";
    EXPECT_EQ(0u, host.data()->createPending);
}

TEST_F(TeamList, TakesNoTeamAdapterThatIsNotListedNow) {
    Stand(3);
    host.clear();
    host.addRows(IDC_TEAM_LIST, 1); // rows 1 and 2 of the table are stale
    for (unsigned n = 0; n < 3; n++)
        Record(PortGuid(n), {Binding(n), TeamNumber(0x120 + n)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(1u, team(0).inUse);
    EXPECT_EQ(0u, team(1).inUse);
    EXPECT_EQ(0u, team(2).inUse);

    host.clear();
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
}

TEST_F(TeamList, TakesTheFirstOfTwoRowsWithOneGuid) {
    Stand(3);
    g_teamAdapters[2].guid = g_teamAdapters[1].guid;
    Record(PortGuid(0), {Binding(1), TeamNumber(0x120)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(1u, team(1).inUse);
    EXPECT_EQ(0u, team(2).inUse);
}

TEST_F(TeamList, CountsAMemberWithoutTeamNumberAndLeavesTheModeZero) {
    Stand(1);
    Record(PortGuid(0), {Binding(0), Order(5)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(1u, team(0).inUse);
    EXPECT_EQ(1, team(0).numNics);
    EXPECT_EQ(5u, team(0).order[0]);
    EXPECT_EQ(0u, team(0).TeamMode);
    EXPECT_EQ(0u, team(0).TeamNumber);
}

TEST_F(TeamList, KeepsTheTeamNumberThatWasReadLast) {
    Stand(1);
    Record(PortGuid(0), {Binding(0), TeamNumber(0x120)});
    Record(PortGuid(1), {Binding(0), TeamNumber(0xC31)});
    Record(PortGuid(2), {Binding(0)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(3, team(0).numNics);
    EXPECT_EQ(0xC31u, team(0).TeamNumber);
    EXPECT_EQ(0xCu, team(0).TeamMode);
}

TEST_F(TeamList, GivesAMemberWithoutOrderZeroAndTheOthersTheirOwn) {
    Stand(1);
    Record(PortGuid(0), {Binding(0), Order(7)});
    Record(PortGuid(1), {Binding(0)});
    Record(PortGuid(2), {Binding(0), Order(3)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(7u, team(0).order[0]);
    EXPECT_EQ(0u, team(0).order[1]);
    EXPECT_EQ(3u, team(0).order[2]);
}

struct NumberCase {
    MachineValue value;
    DWORD number;
    DWORD mode;
};

TEST_F(TeamList, ReadsTheModeFromBitsEightToElevenOfFourBytes) {
    const NumberCase cases[] = {
        {TeamNumber(0x0F0), 0x0F0, 0},
        {TeamNumber(0x110), 0x110, 1},
        {TeamNumber(0x880), 0x880, 8},
        {TeamNumber(0xFFFFFC31), 0xFFFFFC31, 0xC},
        {TeamNumber(0x1000), 0x1000, 0},
        {{L"TeamNumber", REG_BINARY, {0x20, 0x01}}, 0x120, 1},
        {{L"TeamNumber", REG_QWORD, {0x20, 1, 0, 0, 0, 0, 0, 0}}, 0, 0}, // too long to be read
    };
    Stand(1);
    for (const NumberCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.value.data));
        RegistryDeleteTree(kRecords);
        Record(PortGuid(0), {Binding(0), c.value});
        EXPECT_EQ(1, Read());
        EXPECT_EQ(1, team(0).numNics);
        EXPECT_EQ(c.number, team(0).TeamNumber);
        EXPECT_EQ(c.mode, team(0).TeamMode);
    }
}

TEST_F(TeamList, HoldsEightMembersAndNothingBeyondThem) {
    Stand(2);
    for (unsigned n = 0; n < 10; n++)
        Record(PortGuid(n), {Binding(0), TeamNumber(0x180), Order(0x100 + n)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(8, team(0).numNics);
    for (unsigned member = 0; member < 8; member++) {
        EXPECT_EQ(Guid(PortGuid(member)), team(0).nicGuids[member]);
        EXPECT_EQ(0x100 + member, team(0).order[member]);
        EXPECT_STREQ(L"", team(0).nicNames[member]);
    }
    EXPECT_EQ(1u, team(0).TeamMode);
    EXPECT_EQ(0x180u, team(0).TeamNumber);
    TeamEntry none = {};
    EXPECT_EQ(0, memcmp(&none, &team(1), sizeof(none)));
}

TEST_F(TeamList, SkipsRecordsThatAreNotNamedByAGuid) {
    Stand(1);
    for (const wchar_t* name : {L"Global", L"{", L"{A0000000-0000-4000-8000-00000000000}"})
        Record(name, {Binding(0), TeamNumber(0x120)});
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamList, TakesRecordsNamedInAnyLetterCase) {
    Stand(1);
    Record(L"{a0000000-0000-4000-8000-00000000abcd}", {Binding(0), TeamNumber(0x120)});
    EXPECT_EQ(1, Read());
    EXPECT_EQ(Guid(L"{A0000000-0000-4000-8000-00000000ABCD}"), team(0).nicGuids[0]);
}

TEST_F(TeamList, IsReadByAskingForEachRecordOnce) {
    Stand(2);
    for (unsigned n = 0; n < 3; n++)
        Record(PortGuid(n), {Binding(n % 2), TeamNumber(0x120)});
    Bench(L"reset-counts");
    EXPECT_EQ(1, Read());
    EXPECT_EQ(4u, Calls("RegEnumKeyW")) << "three records and the end";
    EXPECT_EQ(4u, Calls("RegOpenKeyExW")) << "the root and three records";
    EXPECT_EQ(0u, Calls("SetupDiGetClassDevsW")) << "the walk was made before";
    EXPECT_EQ(std::vector<std::wstring>{}, Lines(Journal()));
}

TEST_F(TeamList, EndsWhereTheEnumerationOfTheRecordsFails) {
    Stand(1);
    for (unsigned n = 0; n < 3; n++)
        Record(PortGuid(n), {Binding(0), TeamNumber(0x120)});
    Bench(L"fault RegEnumKeyW 3 5");
    EXPECT_EQ(1, Read());
    EXPECT_EQ(2, team(0).numNics);
    EXPECT_EQ("", StillOpen());

    Bench(L"fault RegEnumKeyW 1 234");
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamList, SkipsOnlyTheRecordWhoseReadingFails) {
    const wchar_t* faults[] = {L"fault RegOpenKeyExW 3 5", L"fault calloc 2 8"};
    Stand(1);
    for (unsigned n = 0; n < 3; n++)
        Record(PortGuid(n), {Binding(0), TeamNumber(0x120), Order(n)});
    for (const wchar_t* fault : faults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        EXPECT_EQ(1, Read());
        ASSERT_EQ(2, team(0).numNics);
        EXPECT_EQ(Guid(PortGuid(0)), team(0).nicGuids[0]);
        EXPECT_EQ(Guid(PortGuid(2)), team(0).nicGuids[1]);
        EXPECT_EQ(2u, team(0).order[1]);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamList, LeavesNothingOpenWhicheverCallFails) {
    Stand(1);
    for (unsigned n = 0; n < 2; n++)
        Record(PortGuid(n), {Binding(0), TeamNumber(0x120), Order(n)});
    for (const wchar_t* call : {L"RegOpenKeyExW", L"RegEnumKeyW", L"RegQueryValueExW",
                                L"CLSIDFromString", L"calloc", L"SendMessageW"}) {
        Bench(L"reset-counts");
        ASSERT_EQ(1, Read());
        unsigned count = std::stoul(Bench(L"calls " + std::wstring(call)));
        EXPECT_LT(0u, count) << testing::PrintToString(std::wstring(call));
        for (unsigned nth = 1; nth <= count; nth++) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(call)) + std::to_string(nth));
            Bench(L"fault " + std::wstring(call) + L" " + std::to_wstring(nth) + L" 8");
            EXPECT_EQ(1, Read());
            Bench(L"clear");
            EXPECT_EQ("", StillOpen());
            EXPECT_GE(2, team(0).numNics);
            EXPECT_EQ(team(0).numNics > 0 ? 1 : 0, g_numTeams);
        }
    }
}

TEST_F(TeamList, IsEmptyForWhoCannotWriteTheRecords) {
    machine.administrator = false;
    Stand(1);
    Record(PortGuid(0), {Binding(0), TeamNumber(0x120)});
    EXPECT_EQ(1, Read());
    ExpectNoTeam();
    EXPECT_EQ("", StillOpen());
}
