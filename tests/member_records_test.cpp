// The records that tell the teaming protocol driver about a team, and who counts as a member by
// them.
#include "team/member_records.h"
#include "harness/sample_machine.h"
#include "include/names.h"
#include "inventory/team_number.h"
#include "team/member_check.h"

using LineList = std::vector<std::wstring>;

static const std::wstring kRecords = MEMBER_RECORDS_KEY;
static const std::wstring kScratch = L"Software\\QvBench\\Scratch";
constexpr BYTE kAllFlags = WRITE_TEAM_NUMBER | WRITE_TEAM_BINDING | WRITE_ORDER;

static std::wstring RecordOf(unsigned port) {
    return kRecords + L"\\" + PortGuid(port);
}

// A team of the first ports under the team adapter VirtualGuid(7).
static TeamEntry TeamOf(int members) {
    TeamEntry team = {};
    team.inUse = 1;
    team.teamGuid = Guid(VirtualGuid(7));
    team.numNics = members;
    for (int member = 0; member < members && member < MAX_TEAM_NICS; member++) {
        team.nicGuids[member] = Guid(PortGuid(static_cast<unsigned>(member)));
        team.order[member] = static_cast<DWORD>(member);
    }
    return team;
}

class MemberRecords : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"two-ports.txt");
        machine.adapters.clear();
        Build();
    }
};

TEST_F(MemberRecords, OfThreeLacpMembersWithFailbackInSlotOne) {
    TeamEntry team = TeamOf(3);
    DWORD number = PackTeamNumber(MODE_LACP | MODE_FAILBACK, 3, 1);
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_NUMBER, number));
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_BINDING | WRITE_ORDER, 0));
    for (unsigned n = 0; n < 3; n++) {
        SCOPED_TRACE(n);
        EXPECT_EQ(0xC31u, RegistryNumber(RecordOf(n), L"TeamNumber"));
        EXPECT_EQ(n, RegistryNumber(RecordOf(n), L"Order"));
        EXPECT_EQ(L"\\Device\\" + VirtualGuid(7), RegistryText(RecordOf(n), L"TeamBinding"));
    }
    EXPECT_FALSE(RegistryHasKey(kRecords + L"\\" + VirtualGuid(7))) << "none for the team adapter";
}

TEST_F(MemberRecords, OfTwoActiveBackupMembersInSlotZero) {
    TeamEntry team = TeamOf(2);
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_NUMBER,
                                       PackTeamNumber(MODE_ACTIVE_BACKUP, 2, 0)));
    EXPECT_EQ(0x120u, RegistryNumber(RecordOf(0), L"TeamNumber"));
    EXPECT_EQ(0x120u, RegistryNumber(RecordOf(1), L"TeamNumber"));
}

TEST_F(MemberRecords, AreCreatedMemberByMemberWithTheNumberFirst) {
    TeamEntry team = TeamOf(2);
    ASSERT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_NUMBER, 0x120));
    ASSERT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_BINDING | WRITE_ORDER, 0));
    const std::wstring first = L"HKLM\\" + RecordOf(0);
    const std::wstring second = L"HKLM\\" + RecordOf(1);
    const std::wstring binding =
        L"\\TeamBinding REG_SZ \"\\Device\\" + VirtualGuid(7) + L"\" 94 bytes";
    EXPECT_EQ((LineList{L"key-create " + first,
                        L"value-set " + first + L"\\TeamNumber REG_DWORD 0x00000120",
                        L"key-create " + second,
                        L"value-set " + second + L"\\TeamNumber REG_DWORD 0x00000120",
                        L"value-set " + first + binding,
                        L"value-set " + first + L"\\Order REG_DWORD 0x00000000",
                        L"value-set " + second + binding,
                        L"value-set " + second + L"\\Order REG_DWORD 0x00000001"}),
              Lines(Journal()));
    EXPECT_EQ("", StillOpen());
}

TEST_F(MemberRecords, HoldExactlyTheValuesThatAreAskedFor) {
    TeamEntry team = TeamOf(1);
    team.order[0] = 0x55;
    for (BYTE flags = 0; flags <= kAllFlags; flags++) {
        SCOPED_TRACE(static_cast<int>(flags));
        RegistryDeleteTree(kRecords);
        ClearJournal();
        EXPECT_EQ(1, WriteIntoTeamRegistry(&team, flags, 0x120));
        EXPECT_TRUE(RegistryHasKey(RecordOf(0)));
        EXPECT_EQ((flags & WRITE_TEAM_NUMBER) != 0, RegistryHas(RecordOf(0), L"TeamNumber"));
        EXPECT_EQ((flags & WRITE_TEAM_BINDING) != 0, RegistryHas(RecordOf(0), L"TeamBinding"));
        EXPECT_EQ((flags & WRITE_ORDER) != 0, RegistryHas(RecordOf(0), L"Order"));
        EXPECT_EQ(static_cast<size_t>((flags & 1) + (flags >> 1 & 1) + (flags >> 2)),
                  Texts(Journal(), L"value-set").size());
        EXPECT_EQ("", StillOpen());
    }
    EXPECT_EQ(0x55u, RegistryNumber(RecordOf(0), L"Order"));
}

TEST_F(MemberRecords, KeepWhatElseStandsInThem) {
    TeamEntry team = TeamOf(1);
    RegistrySet(RecordOf(0), MachineValue::MultiText(L"VlanBinding", {L"\\Device\\{1}"}));
    RegistrySet(RecordOf(0), MachineValue::Number(L"TeamNumber", 0x010));
    ASSERT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_BINDING | WRITE_ORDER, 0));
    EXPECT_EQ(0x010u, RegistryNumber(RecordOf(0), L"TeamNumber"));
    EXPECT_EQ(L"\\Device\\{1}", RegistryText(RecordOf(0), L"VlanBinding"));
    ASSERT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_NUMBER, 0x120));
    EXPECT_EQ(0x120u, RegistryNumber(RecordOf(0), L"TeamNumber"));
    EXPECT_EQ(LineList{}, Texts(Journal(), L"key-create")) << "the key was there";
}

TEST_F(MemberRecords, AreWrittenForEightMembersAndForNone) {
    TeamEntry team = TeamOf(8);
    for (DWORD n = 0; n < 8; n++)
        team.order[n] = 7 - n;
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, kAllFlags, 0x180));
    for (unsigned n = 0; n < 8; n++)
        EXPECT_EQ(7 - n, RegistryNumber(RecordOf(n), L"Order"));
    RegistryDeleteTree(kRecords);
    ClearJournal();
    TeamEntry none = TeamOf(0);
    EXPECT_EQ(1, WriteIntoTeamRegistry(&none, kAllFlags, 0x180));
    EXPECT_EQ(LineList{}, Lines(Journal()));
    EXPECT_EQ("", StillOpen());
}

TEST_F(MemberRecords, AreNotTouchedWhenTheBindingCannotBeFormed) {
    TeamEntry team = TeamOf(2);
    for (BYTE flags : {BYTE{WRITE_TEAM_BINDING}, kAllFlags}) {
        Bench(L"reset-counts");
        Bench(L"fault calloc 1 8");
        EXPECT_EQ(0, WriteIntoTeamRegistry(&team, flags, 0x120));
        Bench(L"clear");
        EXPECT_EQ(0u, Calls("RegCreateKeyExW"));
        EXPECT_FALSE(RegistryHasKey(kRecords));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(MemberRecords, NeedNoMemoryWithoutABinding) {
    TeamEntry team = TeamOf(2);
    Bench(L"fault calloc 1 8 all");
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_NUMBER | WRITE_ORDER, 0x120));
    EXPECT_EQ(0x120u, RegistryNumber(RecordOf(1), L"TeamNumber"));
}

TEST_F(MemberRecords, ThatCannotBeCreatedArePassedOver) {
    TeamEntry team = TeamOf(3);
    Bench(L"fault RegCreateKeyExW 2 5");
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, kAllFlags, 0x130));
    EXPECT_TRUE(RegistryHasKey(RecordOf(0)));
    EXPECT_FALSE(RegistryHasKey(RecordOf(1)));
    EXPECT_EQ(2u, RegistryNumber(RecordOf(2), L"Order"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(MemberRecords, AreCompletedAsFarAsTheirValuesCanBeWritten) {
    TeamEntry team = TeamOf(2);
    Bench(L"fault RegSetValueExW 2 5");
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, kAllFlags, 0x120));
    EXPECT_TRUE(RegistryHas(RecordOf(0), L"TeamNumber"));
    EXPECT_FALSE(RegistryHas(RecordOf(0), L"TeamBinding"));
    EXPECT_TRUE(RegistryHas(RecordOf(0), L"Order"));
    EXPECT_TRUE(RegistryHas(RecordOf(1), L"TeamBinding"));
    Bench(L"fault RegSetValueExW 1 5 all");
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, kAllFlags, 0x120));
    EXPECT_EQ("", StillOpen());
}

TEST_F(MemberRecords, ThatHaveNoNameAreNotWrittenIntoTheKeyAboveThem) {
    TeamEntry team = TeamOf(1);
    Bench(L"fault StringFromGUID2 1 0");
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, WRITE_TEAM_NUMBER | WRITE_ORDER, 0x120));
    EXPECT_FALSE(RegistryHas(kRecords, L"TeamNumber"));
    EXPECT_EQ(LineList{}, Texts(Journal(), L"value-set"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(MemberRecords, AreNotWrittenForWhoIsNoAdministrator) {
    machine.administrator = false;
    Build();
    TeamEntry team = TeamOf(2);
    EXPECT_EQ(1, WriteIntoTeamRegistry(&team, kAllFlags, 0x120));
    EXPECT_FALSE(RegistryHasKey(kRecords));
    EXPECT_EQ("", StillOpen());
}

// Membership is asked with an adapter's driver key; any key that holds its values will do.
class Membership : public MemberRecords {
  protected:
    void SetUp() override {
        MemberRecords::SetUp();
        RegistrySet(kScratch, MachineValue::Text(L"NetCfgInstanceId", PortGuid(0)));
        ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_LOCAL_MACHINE, kScratch.c_str(), 0,
                                               KEY_ALL_ACCESS, &driverKey_));
    }
    void TearDown() override {
        RegCloseKey(driverKey_);
        MemberRecords::TearDown();
    }
    bool Teamed() {
        BOOL teamed = IsNICTeamed(driverKey_);
        EXPECT_EQ("", StillOpen());
        return teamed != FALSE;
    }

    HKEY driverKey_ = nullptr;
};

struct TeamedCase {
    MachineValue number;
    bool teamed;
};

TEST_F(Membership, IsDecidedByTheModeBitsOfTheTeamNumber) {
    const auto number = [](DWORD value) { return MachineValue::Number(L"TeamNumber", value); };
    const TeamedCase cases[] = {
        {number(0x120), true},
        {number(0xC31), true},
        {number(0x100), true},
        {number(0x200), true},
        {number(0x400), true},
        {number(0x800), true},
        {number(0x010), false}, // a VLAN host
        {number(0x0FF), false},
        {number(0xFFFFF0FF), false},
        {number(0), false},
        {{L"TeamNumber", REG_BINARY, {0x20, 0x01}}, true},
        {{L"TeamNumber", REG_BINARY, {}}, false},
        {{L"TeamNumber", REG_QWORD, {0x20, 1, 0, 0, 0, 0, 0, 0}}, false}, // cannot be read
    };
    for (const TeamedCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.number.data));
        RegistrySet(RecordOf(0), c.number);
        EXPECT_EQ(c.teamed, Teamed());
    }
}

TEST_F(Membership, NeedsTheRecordTheValueAndTheInstanceId) {
    EXPECT_FALSE(Teamed()) << "no records at all";
    RegistrySet(RecordOf(1), MachineValue::Number(L"TeamNumber", 0x120));
    EXPECT_FALSE(Teamed()) << "another adapter's record";
    RegistrySet(RecordOf(0), MachineValue::Number(L"Order", 0x120));
    EXPECT_FALSE(Teamed()) << "no TeamNumber";
    RegistrySet(RecordOf(0), MachineValue::Number(L"TeamNumber", 0x120));
    EXPECT_TRUE(Teamed());
    RegDeleteValueW(driverKey_, L"NetCfgInstanceId");
    EXPECT_FALSE(Teamed()) << "no instance id";
}

TEST_F(Membership, IsFoundByAnInstanceIdOfAnyShape) {
    RegistrySet(RecordOf(0), MachineValue::Number(L"TeamNumber", 0x120));
    RegistrySet(kScratch,
                MachineValue::Text(L"NetCfgInstanceId", L"{a0000000-0000-4000-8000-000000000000}"));
    EXPECT_TRUE(Teamed());
    RegistrySet(kScratch, MachineValue::SizedText(L"NetCfgInstanceId", PortGuid(0), 38 * 2));
    EXPECT_TRUE(Teamed());
    RegistrySet(kScratch, MachineValue::SizedText(L"NetCfgInstanceId", PortGuid(0), 38 * 2 - 1));
    EXPECT_TRUE(Teamed());
}

TEST_F(Membership, IsNotLookedForUnderAPathOfMoreThanTwoHundredAndFiftyNineCharacters) {
    const size_t fits = 259 - kRecords.size() - 1;
    RegistrySet(kScratch, MachineValue::Text(L"NetCfgInstanceId", std::wstring(fits, L'x')));
    EXPECT_FALSE(Teamed());
    EXPECT_EQ(1u, Calls("RegOpenKeyExW"));
    RegistrySet(kScratch, MachineValue::Text(L"NetCfgInstanceId", std::wstring(fits + 1, L'x')));
    EXPECT_FALSE(Teamed());
    EXPECT_EQ(1u, Calls("RegOpenKeyExW"));
}

TEST_F(Membership, IsDeniedWhenAnythingFails) {
    RegistrySet(RecordOf(0), MachineValue::Number(L"TeamNumber", 0x120));
    for (const wchar_t* fault :
         {L"fault RegQueryValueExW 1 5", L"fault RegQueryValueExW 2 5",
          L"fault RegQueryValueExW 3 5", L"fault calloc 1 8", L"fault RegOpenKeyExW 1 5"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        EXPECT_FALSE(Teamed());
        Bench(L"clear");
        EXPECT_TRUE(Teamed());
    }
}
