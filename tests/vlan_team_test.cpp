// VLANs on a team, which stand in the record of each member, and the walk over these records.
#include "harness/vlans.h"
#include "inventory/record_walk.h"
#include "vlan/vlan_records.h"

static const wchar_t kLast[] = L"{F0000000-0000-4000-8000-000000000000}"; // behind all others
static const wchar_t kFirst[] = L"{00000000-0000-4000-8000-000000000001}";
static const wchar_t kOtherTeam[] = L"{B0000000-0000-4000-8000-0000000000EE}";
static const std::wstring kVoice = DeviceName(MachineVlanGuid(0));
static const std::wstring kData = DeviceName(MachineVlanGuid(1));

// Lists of one, two and three device names.
constexpr unsigned kEntry = 94;
constexpr unsigned kListEnd = 2;

// On "team-vlans": ports 0 and 1 are in the team, which is ROOT\NET\0000, its VLANs Voice and Data
// are the next two devices.
class TeamVlan : public VlanTest {
  protected:
    static VlanResult Create(const std::wstring& vlanName = L"Guests", DWORD id = 30) {
        return VlanTest::Create(kMachineTeam, L"Team0", vlanName, id, TRUE);
    }
    static VlanResult Remove(unsigned vlan = 0) {
        return VlanTest::Remove(kMachineTeam, MachineVlanGuid(vlan), TRUE);
    }
    static std::vector<std::optional<std::wstring>> Bindings() {
        return {BindingOf(RecordOf(MachinePort(0))), BindingOf(RecordOf(MachinePort(1)))};
    }
    // A VLAN host in no team.
    static void AddPlainHost(const std::wstring& guid) {
        RegistrySet(RecordOf(guid), MachineValue::Number(VALUE_TEAM_NUMBER, 16));
        RegistrySet(RecordOf(guid), MachineValue::MultiText(VALUE_VLAN_BINDING, {L"x"}));
    }
    static void AddRecord(const std::wstring& guid, const MachineValue& teamBinding) {
        RegistrySet(RecordOf(guid), MachineValue::Number(VALUE_TEAM_NUMBER, 0x120));
        RegistrySet(RecordOf(guid), teamBinding);
    }
    static LONG Change(BOOL remove) {
        GUID team = Guid(kMachineTeam);
        GUID vlan = Guid(MachineVlanGuid(0));
        return AddRemoveVlanInfoTeam(&team, &vlan, remove);
    }
};

static std::vector<std::optional<std::wstring>> Both(const std::optional<std::wstring>& list) {
    return {list, list};
}

TEST_F(TeamVlan, IsInstalledRecordedOnEveryMemberDescribedAndRestartedLast) {
    Load(L"team-vlans");
    machine.vlans.clear();
    Build();
    VlanResult got = Create();
    EXPECT_EQ(TRUE, got.done);
    EXPECT_EQ(Guid(NewGuid(4)), got.guid);
    const std::wstring entry = DeviceName(NewGuid(4));
    EXPECT_EQ(Join({InstallSteps(1, 4, L"Team0 - Guests"),
                    {BindingStep(MachinePort(0), entry, kEntry + kListEnd),
                     BindingStep(MachinePort(1), entry, kEntry + kListEnd)},
                    ValueSteps(1, L"0000001E", L"Guests"),
                    RestartSteps(1)}),
              Steps());
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, GoesInFrontOfTheOnesBeforeItOnEveryMember) {
    Load(L"team-vlans");
    machine.vlans.clear();
    Build();
    ASSERT_EQ(TRUE, Create().done);
    ClearJournal();
    EXPECT_EQ(TRUE, Create(L"Printers", 0).done);
    const std::wstring list = DeviceName(NewGuid(5)) + L"|" + DeviceName(NewGuid(4));
    EXPECT_EQ(Join({InstallSteps(2, 5, L"Team0 - Printers"),
                    {BindingStep(MachinePort(0), list, 2 * kEntry + kListEnd),
                     BindingStep(MachinePort(1), list, 2 * kEntry + kListEnd)},
                    ValueSteps(2, L"00000000", L"Printers"),
                    RestartSteps(2)}),
              Steps());
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, TouchesOnlyTheListOfAMember) {
    LoadAndBuild(L"team-vlans");
    const std::string before = MachineDump();
    EXPECT_EQ(TRUE, Create().done);
    for (unsigned port : {0u, 1u}) {
        const std::wstring record = RecordOf(MachinePort(port));
        EXPECT_EQ(0x120u, RegistryNumber(record, VALUE_TEAM_NUMBER));
        EXPECT_EQ(port, RegistryNumber(record, VALUE_ORDER));
        EXPECT_EQ(DeviceName(kMachineTeam), RegistryText(record, VALUE_TEAM_BINDING));
    }
    const std::string changed = ChangedSince(before);
    EXPECT_EQ(2u, DumpLines(changed, "- qvteamp\\").size()) << changed;
    EXPECT_EQ(2u, DumpLines(changed, "+ qvteamp\\").size()) << changed;
}

TEST_F(TeamVlan, FailsWithTheStatusOfTheLastRecordThoughEveryMemberWasUpdated) {
    LoadAndBuild(L"team-vlans");
    AddPlainHost(kLast);
    VlanResult got = Create();
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, got.error);
    EXPECT_EQ(Guid(NewGuid(4)), got.guid);
    EXPECT_EQ(Both(DeviceName(NewGuid(4)) + L"|" + kData + L"|" + kVoice), Bindings());
    EXPECT_EQ(L"x", BindingOf(RecordOf(kLast)));
    EXPECT_TRUE(HasDevice(3)) << "the device stays installed";
    EXPECT_EQ("", VlanValues(3));
    EXPECT_EQ(0u, Count(L"device-disable"));
    EXPECT_EQ(0u, Count(L"device-remove"));
    EXPECT_EQ("", StillOpen());
}

struct LastRecord {
    const char* what;
    const wchar_t* guid;
    MachineValue binding;
};

TEST_F(TeamVlan, SucceedsWhenTheLastRecordIsOfAnotherTeamOrUnreadable) {
    const LastRecord cases[] = {
        {"another team's", kLast, MachineValue::Text(VALUE_TEAM_BINDING, DeviceName(kOtherTeam))},
        {"no GUID", kLast, MachineValue::Text(VALUE_TEAM_BINDING, L"\\Device\\{B0000000-0000}")},
        {"no braces", kLast,
         MachineValue::Text(VALUE_TEAM_BINDING, L"\\Device\\B0000000-0000-4000-8000-000000000001")},
        {"no backslash", kLast, MachineValue::Text(VALUE_TEAM_BINDING, kMachineTeam)},
        {"nothing behind it", kLast, MachineValue::Text(VALUE_TEAM_BINDING, L"\\Device\\")},
        {"no bytes", kLast, {VALUE_TEAM_BINDING, REG_SZ, {}}},
        {"another team's, first", kFirst,
         MachineValue::Text(VALUE_TEAM_BINDING, DeviceName(kOtherTeam))},
    };
    for (const LastRecord& c : cases) {
        SCOPED_TRACE(c.what);
        LoadAndBuild(L"team-vlans");
        AddRecord(c.guid, c.binding);
        EXPECT_EQ(TRUE, Create().done);
        EXPECT_EQ(Both(DeviceName(NewGuid(4)) + L"|" + kData + L"|" + kVoice), Bindings());
        EXPECT_EQ(std::nullopt, BindingOf(RecordOf(c.guid)));
        EXPECT_EQ("VlanID = REG_DWORD 0x0000001E\nVlanName = REG_SZ \"Guests\"\n", VlanValues(3));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlan, SucceedsWhenAPlainHostIsEnumeratedBeforeTheMembers) {
    LoadAndBuild(L"team-vlans");
    AddPlainHost(kFirst);
    EXPECT_EQ(TRUE, Create().done);
    EXPECT_EQ(L"x", BindingOf(RecordOf(kFirst)));
}

TEST_F(TeamVlan, SucceedsUnrecordedOnOneMemberWhenOnlyTheLastOneCouldBeChanged) {
    const wchar_t* const faults[] = {
        L"fault RegOpenKeyExW 2 5", // counted: the records' key, then the members'
        L"fault RegSetValueExW 1 1018",
        L"fault calloc 2 8", // the installation took one block
        L"fault RegQueryValueExW 3 5"};
    for (const wchar_t* fault : faults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        LoadAndBuild(L"team-vlans");
        Bench(fault);
        EXPECT_EQ(TRUE, Create().done);
        EXPECT_EQ(
            (std::vector<std::optional<std::wstring>>{
                kData + L"|" + kVoice, DeviceName(NewGuid(4)) + L"|" + kData + L"|" + kVoice}),
            Bindings());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlan, FailsWhenTheLastMemberCouldNotBeChanged) {
    const struct {
        const wchar_t* fault;
        DWORD error;
    } cases[] = {{L"fault RegOpenKeyExW 3 5", ERROR_ACCESS_DENIED},
                 {L"fault RegSetValueExW 2 1018", ERROR_KEY_DELETED}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"team-vlans");
        Bench(c.fault);
        VlanResult got = Create();
        EXPECT_EQ(FALSE, got.done);
        EXPECT_EQ(c.error, got.error);
        EXPECT_EQ(kData + L"|" + kVoice, Bindings()[1]);
        EXPECT_EQ(DeviceName(NewGuid(4)) + L"|" + kData + L"|" + kVoice, Bindings()[0]);
        EXPECT_TRUE(HasDevice(3));
        EXPECT_EQ("", VlanValues(3));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlan, FailsWithItsDeviceInstalledWhenThereAreNoRecords) {
    LoadAndBuild(L"two-ports");
    VlanResult got = Create();
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, got.error);
    EXPECT_TRUE(HasDevice(0));
    EXPECT_FALSE(RegistryHasKey(MEMBER_RECORDS_KEY));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, SucceedsUnrecordedWhenTheRecordsKeyIsEmpty) {
    LoadAndBuild(L"two-ports");
    RegistrySet(MEMBER_RECORDS_KEY, MachineValue::Number(L"x", 1));
    EXPECT_EQ(ERROR_SUCCESS, Change(FALSE));
    EXPECT_EQ(ERROR_SUCCESS, Change(TRUE));
    EXPECT_EQ(0u, Count(L"value-set"));
    EXPECT_EQ(TRUE, Create().done);
    EXPECT_EQ("VlanID = REG_DWORD 0x0000001E\nVlanName = REG_SZ \"Guests\"\n", VlanValues(0));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, OfOneTeamIsNotRecordedOnTheMembersOfOthers) {
    LoadAndBuild(L"three-teams");
    const std::wstring team = L"{B0000000-0000-4000-8000-000000000002}";
    EXPECT_EQ(TRUE, VlanTest::Create(team, L"Uplink", L"Voice", 10, TRUE).done);
    for (unsigned port = 0; port < 6; port++) {
        SCOPED_TRACE(port);
        const bool member = port == 2 || port == 3;
        EXPECT_EQ(member ? std::optional(DeviceName(NewGuid(4))) : std::nullopt,
                  BindingOf(RecordOf(MachinePort(port))));
    }
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, IsForgottenByEveryMemberBeforeItsConnectionAndDeviceGo) {
    LoadAndBuild(L"team-vlans");
    EXPECT_EQ(TRUE, Remove(0).done);
    const unsigned size = kEntry + 2 * kListEnd; // one character to spare
    EXPECT_EQ((TextList{BindingStep(MachinePort(0), kData, size),
                        BindingStep(MachinePort(1), kData, size),
                        L"key-delete HKLM\\" + ConnectionOf(MachineVlanGuid(0)),
                        L"device-remove ROOT\\NET\\0001"}),
              Steps());
    ClearJournal();
    EXPECT_EQ(TRUE, Remove(1).done);
    const std::wstring list = L"\\VlanBinding";
    EXPECT_EQ((TextList{L"value-delete HKLM\\" + RecordOf(MachinePort(0)) + list,
                        L"value-delete HKLM\\" + RecordOf(MachinePort(1)) + list,
                        L"key-delete HKLM\\" + ConnectionOf(MachineVlanGuid(1)),
                        L"device-remove ROOT\\NET\\0002"}),
              Steps())
        << "a member's record stays";
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, KeepsItsDeviceWhenTheLastRecordSaysNo) {
    struct Case {
        const char* what;
        const wchar_t* fault;
        DWORD error;
        std::optional<std::wstring> first;
        std::optional<std::wstring> last;
    };
    const std::wstring all = kData + L"|" + kVoice;
    const Case cases[] = {
        {"the last member", L"fault RegSetValueExW 2 1018", ERROR_KEY_DELETED, kData, all},
        {"its key", L"fault RegOpenKeyExW 3 5", ERROR_ACCESS_DENIED, kData, all},
        {"the records' key", L"fault RegOpenKeyExW 1 5", ERROR_ACCESS_DENIED, all, all},
        {"memory", L"fault calloc 1 8 all", ERROR_NOT_ENOUGH_MEMORY, all, all}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        LoadAndBuild(L"team-vlans");
        Bench(c.fault);
        VlanResult got = Remove();
        EXPECT_EQ(FALSE, got.done);
        EXPECT_EQ(c.error, got.error);
        EXPECT_EQ((std::vector<std::optional<std::wstring>>{c.first, c.last}), Bindings());
        EXPECT_TRUE(HasDevice(1));
        EXPECT_TRUE(RegistryHasKey(ConnectionOf(MachineVlanGuid(0))));
        EXPECT_EQ("", StillOpen());
    }
    LoadAndBuild(L"team-vlans");
    AddPlainHost(kLast);
    VlanResult got = Remove();
    EXPECT_EQ(FALSE, got.done) << "though every member has forgotten it";
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, got.error);
    EXPECT_EQ(Both(kData), Bindings());
    EXPECT_TRUE(HasDevice(1));
}

TEST_F(TeamVlan, KeepsItsDeviceWhenTheLastMemberHasNoList) {
    LoadAndBuild(L"team-vlans");
    AddRecord(kLast, MachineValue::Text(VALUE_TEAM_BINDING, DeviceName(kMachineTeam)));
    VlanResult got = Remove();
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, got.error);
    EXPECT_EQ(Both(kData), Bindings());
    EXPECT_TRUE(HasDevice(1));
}

TEST_F(TeamVlan, LeavesTheRecordsGoneWhenItsDeviceIsMissingOrStays) {
    const struct {
        const wchar_t* fault;
        DWORD error;
        bool connection;
    } cases[] = {{L"fault SetupDiGetClassDevsW 1 1450", 1450, true},
                 {L"fault SetupDiSetClassInstallParamsW 1 87", 87, false},
                 {L"fault SetupDiRemoveDevice 1 31", 31, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"team-vlans");
        Bench(c.fault);
        VlanResult got = Remove();
        EXPECT_EQ(FALSE, got.done);
        EXPECT_EQ(c.error, got.error);
        EXPECT_EQ(Both(kData), Bindings());
        EXPECT_TRUE(HasDevice(1));
        EXPECT_EQ(c.connection, RegistryHasKey(ConnectionOf(MachineVlanGuid(0))));
        EXPECT_EQ("", StillOpen());
    }
    LoadAndBuild(L"team-vlans");
    EXPECT_EQ(FALSE, Remove(7).done) << "no such device";
    EXPECT_EQ(Both(kData + L"|" + kVoice), Bindings());
    EXPECT_EQ(0u, Count(L"device-remove"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlan, StandsTwiceWhenRecordedTwiceAndIsForgottenAtOnce) {
    LoadAndBuild(L"team-vlans");
    EXPECT_EQ(ERROR_SUCCESS, Change(FALSE));
    EXPECT_EQ(Both(kVoice + L"|" + kData + L"|" + kVoice), Bindings());
    EXPECT_EQ(ERROR_SUCCESS, Change(TRUE));
    EXPECT_EQ(Both(kData), Bindings());
    EXPECT_EQ("", StillOpen());
}

// What a walk saw, and the record at which it is told to stop.
struct Walk {
    TextList names;
    std::wstring stopAt;
    bool usable = true; // each name opens below the given key
};

static BOOL Note(HKEY records, LPCWSTR name, void* context) {
    Walk* walk = static_cast<Walk*>(context);
    HKEY record = nullptr;
    walk->names.push_back(name);
    walk->usable &= RegOpenKeyExW(records, name, 0, KEY_ALL_ACCESS, &record) == ERROR_SUCCESS;
    RegCloseKey(record);
    return name != walk->stopAt;
}

class RecordWalk : public MachineTest {
  protected:
    static Walk Run(LONG expected, const std::wstring& stopAt = L"") {
        Walk walk;
        walk.stopAt = stopAt;
        EXPECT_EQ(expected, WalkMemberRecords(Note, &walk));
        EXPECT_EQ("", StillOpen());
        return walk;
    }
};

TEST_F(RecordWalk, VisitsEveryRecordInTheRegistrysOrder) {
    LoadAndBuild(L"team-vlans");
    const std::wstring longest(255, L'~'); // behind all others
    RegistrySet(RecordOf(kLast), MachineValue::Number(VALUE_TEAM_NUMBER, 16));
    RegistrySet(RecordOf(L"+"), MachineValue::Number(VALUE_TEAM_NUMBER, 16));
    RegistrySet(RecordOf(longest), MachineValue::Number(VALUE_TEAM_NUMBER, 16));
    Walk walk = Run(ERROR_SUCCESS);
    EXPECT_EQ((TextList{L"+", MachinePort(0), MachinePort(1), kLast, longest}), walk.names);
    EXPECT_TRUE(walk.usable);
}

TEST_F(RecordWalk, EndsWhenTheVisitorSaysSo) {
    LoadAndBuild(L"three-teams");
    EXPECT_EQ(6u, Run(ERROR_SUCCESS).names.size());
    EXPECT_EQ((TextList{MachinePort(0), MachinePort(1), MachinePort(2)}),
              Run(ERROR_SUCCESS, MachinePort(2)).names);
    EXPECT_EQ(TextList{MachinePort(0)}, Run(ERROR_SUCCESS, MachinePort(0)).names);
}

TEST_F(RecordWalk, EndsWhenTheEnumerationFails) {
    LoadAndBuild(L"three-teams");
    Bench(L"fault RegEnumKeyW 3 5");
    EXPECT_EQ((TextList{MachinePort(0), MachinePort(1)}), Run(ERROR_SUCCESS).names);
}

TEST_F(RecordWalk, TellsWhyTheRecordsCannotBeOpenedAndVisitsNothing) {
    LoadAndBuild(L"three-teams");
    Bench(L"fault RegOpenKeyExW 1 1450");
    EXPECT_EQ(TextList(), Run(1450).names);
    Bench(L"admin 0");
    EXPECT_EQ(TextList(), Run(ERROR_ACCESS_DENIED).names);
    Bench(L"admin 1");
    RegistryDeleteTree(MEMBER_RECORDS_KEY);
    EXPECT_EQ(TextList(), Run(ERROR_FILE_NOT_FOUND).names);
    EXPECT_FALSE(RegistryHasKey(MEMBER_RECORDS_KEY));
}

TEST_F(RecordWalk, VisitsNothingWhenThereAreNoRecords) {
    LoadAndBuild(L"two-ports");
    RegistrySet(MEMBER_RECORDS_KEY, MachineValue::Number(L"x", 1));
    EXPECT_EQ(TextList(), Run(ERROR_SUCCESS).names);
}
