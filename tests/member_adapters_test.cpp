// What joining and leaving a team does to the member adapters themselves.
#include "team/member_adapters.h"
#include "harness/sample_machine.h"
#include "include/names.h"
#include "inventory/tables.h"

using LineList = std::vector<std::wstring>;

static const wchar_t kTeamName[] = L"Team0";

// Three ports and a team adapter whose driver has no address yet.
class TeamMembers : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"two-ports.txt");
        machine.adapters = {SamplePort(0), SamplePort(1), SamplePort(2), SampleVirtual(0)};
        team.teamGuid = Guid(VirtualGuid(0));
        team.numNics = 2;
        team.nicGuids[0] = Guid(PortGuid(0));
        team.nicGuids[1] = Guid(PortGuid(1));
    }
    void TearDown() override {
        g_numTeams = 0;
        MachineTest::TearDown();
    }
    const std::wstring& InstanceOf(size_t n) {
        return machine.adapters[n].instance;
    }
    const std::wstring& TeamInstance() {
        return machine.adapters[3].instance;
    }
    void Store(size_t n, const MachineValue& value) {
        RegistrySet(DriverKeyOf(InstanceOf(n)), value);
    }
    bool HasAddress(size_t n) {
        return RegistryHas(DriverKeyOf(InstanceOf(n)), L"NetworkAddress");
    }
    std::wstring NameOf(size_t n) {
        return RegistryText(L"System\\CurrentControlSet\\Enum\\" + InstanceOf(n), L"FriendlyName");
    }
    // Puts the team adapter into row 0 of its table.
    void KnowTeam(const std::wstring& name) {
        g_teamAdapters[0] = {};
        g_teamAdapters[0].guid = team.teamGuid;
        wcscpy(g_teamAdapters[0].name, name.c_str());
        g_numTeams = 1;
    }
    int Update() {
        Bench(L"reset-counts");
        Bench(L"reset-open");
        int result = UpdateTeam(nullptr, &team, kTeamName);
        EXPECT_EQ("", StillOpen());
        return result;
    }
    LineList Restart(const std::wstring& instance, const wchar_t* scope = L" scope=config") {
        return {L"device-disable " + instance + scope, L"device-enable " + instance + scope};
    }
    LineList MemberSteps(size_t n, const std::wstring& name, const std::wstring& address) {
        LineList lines = {
            L"value-set driver(" + InstanceOf(n) + L")\\NetworkAddress REG_SZ \"" + address +
                L"\" " + std::to_wstring(address.size() * 2) + L" bytes",
            L"property-set " + InstanceOf(n) + L" FRIENDLYNAME \"" + name + L"\" 512 bytes",
            L"value-set driver(" + InstanceOf(n) + L")\\Characteristics REG_DWORD 0x0000008C"};
        for (const std::wstring& line : Restart(InstanceOf(n)))
            lines.push_back(line);
        return lines;
    }

    TeamEntry team = {};
};

static LineList Join(std::initializer_list<LineList> parts) {
    LineList all;
    for (const LineList& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(TeamMembers, TakeAddressNameAndCoverOneAfterTheOtherWhileTheTeamRests) {
    Build();
    EXPECT_EQ(1, Update());
    EXPECT_EQ(Join({Restart(TeamInstance()),
                    {L"address-published " + TeamInstance() + L" 02515600AA00",
                     L"device-disable " + TeamInstance() + L" scope=config"},
                    MemberSteps(0, L"Team0:Port 0", L"02515600AA00"),
                    MemberSteps(1, L"Team0:Port 1", L"02515600AA00"),
                    {L"device-enable " + TeamInstance() + L" scope=config"}}),
              Lines(Journal()));
    EXPECT_EQ(1u, Calls("SetupDiGetClassDevsW"));
    EXPECT_EQ(0u, Calls("Sleep"));
    EXPECT_FALSE(HasAddress(2)) << "no member";
    EXPECT_EQ(L"Port 2", NameOf(2));
}

TEST_F(TeamMembers, FollowTheOrderOfTheTeamAndNotThatOfTheDevices) {
    team.numNics = 3;
    team.nicGuids[0] = Guid(PortGuid(2));
    team.nicGuids[1] = Guid(PortGuid(0));
    team.nicGuids[2] = Guid(PortGuid(1));
    Build();
    EXPECT_EQ(1, Update());
    LineList named;
    for (const std::wstring& text : Texts(Journal(), L"property-set"))
        named.push_back(text.substr(0, text.find(L' ')));
    EXPECT_EQ((LineList{InstanceOf(2), InstanceOf(0), InstanceOf(1)}), named);
}

TEST_F(TeamMembers, AreRestartedGloballyOnServer2003) {
    machine.windows = L"5.2";
    Build();
    EXPECT_EQ(1, Update());
    for (const wchar_t* kind : {L"device-disable", L"device-enable"}) {
        EXPECT_EQ(4u, Texts(Journal(), kind).size());
        for (const std::wstring& text : Texts(Journal(), kind))
            EXPECT_EQ(text.substr(0, text.find(L' ')) + L" scope=global", text);
    }
}

struct AddressCase {
    const wchar_t* published;
    bool found;
    DWORD publishedAfter; // ms after the restart
};

TEST_F(TeamMembers, WaitOnceForTenSecondsForTheTeamsAddress) {
    const AddressCase cases[] = {{L"after 9", true, 9000},
                                 {L"after 10", true, 10000},
                                 {L"after 11", false, 0},
                                 {L"never", false, 0}};
    for (const AddressCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.published)));
        machine.teamAddress = c.published;
        Build();
        const unsigned long long start = BenchNow();
        EXPECT_EQ(c.found ? 1 : 0, Update());
        EXPECT_EQ(LineList{L"10000"}, Texts(Journal(), L"sleep"));
        EXPECT_EQ(1u, Calls("Sleep"));
        EXPECT_EQ(start + 10000, BenchNow());
        EXPECT_EQ(c.found, HasAddress(0));
        EXPECT_EQ(c.found, HasAddress(1));
        EXPECT_EQ(c.found ? L"Team0:Port 0" : L"Port 0", NameOf(0));
        for (const Event& event : Journal()) {
            if (event.kind == L"address-published")
                EXPECT_EQ(start + c.publishedAfter, event.ms);
            if (event.kind == L"value-set" || event.kind == L"property-set")
                EXPECT_EQ(start + 10000, event.ms) << testing::PrintToString(event.text);
        }
        if (!c.found)
            EXPECT_EQ(Restart(TeamInstance()), Lines(Changes(Journal())))
                << "the team adapter was restarted, and that is all";
    }
}

TEST_F(TeamMembers, DoNotWaitForAnAddressThatIsThere) {
    machine.teamAddress = L"never";
    Build();
    Store(3, MachineValue::SizedText(L"NetworkAddress", L"any text", 16));
    EXPECT_EQ(1, Update());
    EXPECT_EQ(0u, Calls("Sleep"));
    for (size_t n : {0, 1})
        EXPECT_EQ(L"any text", RegistryText(DriverKeyOf(InstanceOf(n)), L"NetworkAddress"));
}

TEST_F(TeamMembers, LoseAnAddressOfTheirOwn) {
    machine.adapters[0].values = {MachineValue::Text(L"NetworkAddress", L"0123456789AB and more")};
    Build();
    EXPECT_EQ(1, Update());
    EXPECT_EQ(L"02515600AA00", RegistryText(DriverKeyOf(InstanceOf(0)), L"NetworkAddress"));
}

TEST_F(TeamMembers, StayAsTheyAreWhenTheTeamAdapterIsNotThere) {
    Build();
    const std::string before = MachineDump();
    for (const std::wstring& guid : {VirtualGuid(9), PortGuid(2)}) { // unknown, and not virtual
        team.teamGuid = Guid(guid);
        EXPECT_EQ(0, Update());
        EXPECT_EQ(0u, Calls("Sleep"));
        EXPECT_EQ(0u, Calls("SetupDiChangeState"));
    }
    EXPECT_EQ(LineList{}, Lines(Journal()));
    EXPECT_EQ(before, MachineDump());
}

TEST_F(TeamMembers, StayAsTheyAreWhenTheDevicesCannotBeListed) {
    Build();
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_EQ(0, Update());
    EXPECT_EQ(LineList{}, Lines(Changes(Journal())));
}

TEST_F(TeamMembers, ThatAreNotPresentOrNotPhysicalArePassedOver) {
    machine.adapters.push_back(SampleVirtual(1));
    team.numNics = 4;
    team.nicGuids[0] = Guid(PortGuid(30));
    team.nicGuids[1] = Guid(PortGuid(1));
    team.nicGuids[2] = Guid(VirtualGuid(1));
    team.nicGuids[3] = Guid(PortGuid(2));
    Build();
    EXPECT_EQ(1, Update());
    EXPECT_EQ(Join({Restart(TeamInstance()),
                    {L"address-published " + TeamInstance() + L" 02515600AA00",
                     L"device-disable " + TeamInstance() + L" scope=config"},
                    MemberSteps(1, L"Team0:Port 1", L"02515600AA00"),
                    MemberSteps(2, L"Team0:Port 2", L"02515600AA00"),
                    {L"device-enable " + TeamInstance() + L" scope=config"}}),
              Lines(Journal()));
}

TEST_F(TeamMembers, MayBeNone) {
    team.numNics = 0;
    Build();
    EXPECT_EQ(1, Update());
    EXPECT_EQ(LineList{}, Texts(Journal(), L"property-set"));
    EXPECT_EQ(2u, Texts(Journal(), L"device-enable").size());
}

struct NameCase {
    const char* what;
    std::optional<std::wstring> friendlyName;
    std::optional<std::wstring> description;
    std::wstring expected;
};

TEST_F(TeamMembers, AreCalledByTheTeamAColonAndTheirNameOrDescription) {
    const NameCase cases[] = {
        {"a friendly name", L"Port", L"Adapter", L"Team0:Port"},
        {"no friendly name", std::nullopt, L"Adapter", L"Team0:Adapter"},
        {"neither", std::nullopt, std::nullopt, L"Team0:"},
        {"an empty name", L"", L"Adapter", L"Team0:"},
        {"already a member's name", L"Team0:Port", L"Adapter", L"Team0:Team0:Port"},
        {"a format", L"%s%n", L"Adapter", L"Team0:%s%n"},
        {"249 characters", std::wstring(249, L'x'), L"Adapter",
         L"Team0:" + std::wstring(249, L'x')},
        {"250 characters", std::wstring(250, L'x'), L"Adapter",
         L"Team0:" + std::wstring(249, L'x')},
        {"255 characters", std::wstring(255, L'x'), L"Adapter",
         L"Team0:" + std::wstring(249, L'x')},
        {"more than fits", std::wstring(256, L'x'), L"Adapter", L"Team0:Adapter"},
    };
    team.numNics = 1;
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.what);
        machine.adapters[0].friendlyName = c.friendlyName;
        machine.adapters[0].description = c.description;
        Build();
        EXPECT_EQ(1, Update());
        EXPECT_EQ((LineList{InstanceOf(0) + L" FRIENDLYNAME \"" + c.expected + L"\" 512 bytes"}),
                  Texts(Journal(), L"property-set"));
        EXPECT_EQ(c.expected, NameOf(0));
    }
}

TEST_F(TeamMembers, NameOfTwoHundredAndFiftySixCharactersNeedsNoTerminator) {
    team.numNics = 1;
    Build();
    SetDeviceText(InstanceOf(0), L"FriendlyName",
                  MachineValue::SizedText(L"", std::wstring(256, L'y'), 512));
    EXPECT_EQ(1, Update());
    EXPECT_EQ(L"Team0:" + std::wstring(249, L'y'), NameOf(0));
}

TEST_F(TeamMembers, WithoutCharacteristicsAreNotHiddenButTheRestIsDone) {
    machine.adapters[0].characteristics.reset();
    team.numNics = 1;
    Build();
    EXPECT_EQ(1, Update());
    LineList steps = MemberSteps(0, L"Team0:Port 0", L"02515600AA00");
    steps.erase(steps.begin() + 2);
    LineList lines = Lines(Journal());
    EXPECT_EQ(steps, LineList(lines.begin() + 4, lines.end() - 1));
}

struct FaultCase {
    const wchar_t* fault;
    size_t missingStep; // of the first member's
};

TEST_F(TeamMembers, TakeTheOtherStepsWhenOneFails) {
    const FaultCase cases[] = {{L"fault RegSetValueExW 1 5", 0},
                               {L"fault SetupDiSetDeviceRegistryPropertyW 1 5", 1},
                               {L"fault RegSetValueExW 2 5", 2},
                               {L"fault SetupDiChangeState 4 5", 3},
                               {L"fault SetupDiChangeState 5 5", 4}};
    for (const FaultCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Build();
        Bench(c.fault);
        EXPECT_EQ(1, Update());
        LineList steps = MemberSteps(0, L"Team0:Port 0", L"02515600AA00");
        steps.erase(steps.begin() + static_cast<ptrdiff_t>(c.missingStep));
        LineList lines = Lines(Changes(Journal()));
        EXPECT_EQ(Join({steps,
                        MemberSteps(1, L"Team0:Port 1", L"02515600AA00"),
                        {L"device-enable " + TeamInstance() + L" scope=config"}}),
                  LineList(lines.begin() + 4, lines.end()));
    }
}

TEST_F(TeamMembers, LeaveNothingOpenWhicheverCallFails) {
    Build();
    ASSERT_EQ(1, Update());
    for (const wchar_t* call :
         {L"SetupDiEnumDeviceInfo", L"SetupDiOpenDevRegKey", L"RegQueryValueExW", L"calloc",
          L"CLSIDFromString", L"CM_Get_Device_IDW", L"SetupDiGetDeviceRegistryPropertyW",
          L"SetupDiChangeState", L"SetupDiSetClassInstallParamsW",
          L"SetupDiGetDeviceInstallParamsW"}) {
        unsigned count = std::stoul(Bench(L"calls " + std::wstring(call)));
        EXPECT_LT(0u, count) << testing::PrintToString(std::wstring(call));
        for (unsigned nth = 1; nth <= count; nth++) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(call)) + std::to_string(nth));
            Bench(L"fault " + std::wstring(call) + L" " + std::to_wstring(nth) + L" 8");
            Update(); // asks what is still open
            Bench(L"clear");
        }
        Update();
    }
}

TEST_F(TeamMembers, GetTheirNamesBack) {
    const NameCase cases[] = {
        {"a member's name", L"Team0:Port", L"Adapter", L"Port"},
        {"another letter case", L"team0:Port", L"Adapter", L"team0:Port"},
        {"no team name in front", L"Port", L"Adapter", L"Port"},
        {"the team name further on", L"My Team0:Port", L"Adapter", L"My Team0:Port"},
        {"a shorter name", L"Team", L"Adapter", L"Team"},
        {"no colon", L"Team0-Port", L"Adapter", L"Port"},
        {"a longer team's name", L"Team01:Port", L"Adapter", L":Port"},
        {"the team name alone", L"Team0", L"Adapter", L""},
        {"the team name and a colon", L"Team0:", L"Adapter", L""},
        {"two prefixes", L"Team0:Team0:Port", L"Adapter", L"Team0:Port"},
        {"a format", L"Team0:%s%n", L"Adapter", L"%s%n"},
        {"a description of the kind", std::nullopt, L"Team0:Adapter", L"Adapter"},
    };
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.what);
        machine.adapters[0].friendlyName = c.friendlyName;
        machine.adapters[0].description = c.description;
        Build();
        KnowTeam(kTeamName);
        EXPECT_EQ(TRUE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
        EXPECT_EQ(c.expected, NameOf(0));
        LineList expected;
        if (c.expected != c.friendlyName)
            expected.push_back(L"property-set " + InstanceOf(0) + L" FRIENDLYNAME \"" + c.expected +
                               L"\" 512 bytes");
        EXPECT_EQ(expected, Lines(Journal()));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamMembers, OfALongTeamNameLoseAtMostTwoHundredAndFiftySixCharacters) {
    Build();
    KnowTeam(std::wstring(259, L'T'));
    SetDeviceText(InstanceOf(0), L"FriendlyName",
                  MachineValue::SizedText(L"", std::wstring(256, L'T'), 512));
    EXPECT_EQ(TRUE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    EXPECT_EQ(L"", NameOf(0));
    SetDeviceText(InstanceOf(0), L"FriendlyName", MachineValue::Text(L"", std::wstring(255, L'T')));
    EXPECT_EQ(TRUE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    EXPECT_EQ(std::wstring(255, L'T'), NameOf(0));
}

TEST_F(TeamMembers, WithoutAnyNameKeepNone) {
    machine.adapters[0].friendlyName.reset();
    machine.adapters[0].description.reset();
    Build();
    KnowTeam(kTeamName);
    EXPECT_EQ(TRUE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    EXPECT_EQ(LineList{}, Lines(Journal()));
}

TEST_F(TeamMembers, OfAnUnknownTeamKeepTheirNames) {
    machine.adapters[0].friendlyName = L"Team0:Port";
    Build();
    KnowTeam(kTeamName);
    GUID other = Guid(VirtualGuid(1));
    EXPECT_EQ(FALSE, SetNicFriendlyName(&other, &team.nicGuids[0]));
    g_numTeams = 0; // the row is there, but no team
    EXPECT_EQ(FALSE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    EXPECT_EQ(0u, Calls("SetupDiGetClassDevsW"));
    EXPECT_EQ(L"Team0:Port", NameOf(0));
}

TEST_F(TeamMembers, AreLookedUpInAllRowsThatHoldATeam) {
    machine.adapters[0].friendlyName = L"Team0:Port";
    Build();
    g_teamAdapters[0] = {};
    g_teamAdapters[1] = {};
    g_teamAdapters[1].guid = team.teamGuid;
    wcscpy(g_teamAdapters[1].name, kTeamName);
    g_numTeams = 1;
    EXPECT_EQ(FALSE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    g_numTeams = 2;
    EXPECT_EQ(TRUE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    EXPECT_EQ(L"Port", NameOf(0));
}

TEST_F(TeamMembers, KeepTheirNamesWhenTheDevicesCannotBeListed) {
    machine.adapters[0].friendlyName = L"Team0:Port";
    Build();
    KnowTeam(kTeamName);
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_EQ(FALSE, SetNicFriendlyName(&team.teamGuid, &team.nicGuids[0]));
    EXPECT_EQ(L"Team0:Port", NameOf(0));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamMembers, ThatAreNotPresentOrNotPhysicalGetNoName) {
    machine.adapters[3].friendlyName = L"Team0:Virtual";
    Build();
    KnowTeam(kTeamName);
    for (const std::wstring& text : {PortGuid(30), VirtualGuid(0)}) {
        GUID guid = Guid(text);
        EXPECT_EQ(TRUE, SetNicFriendlyName(&team.teamGuid, &guid));
    }
    EXPECT_EQ(LineList{}, Lines(Journal()));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamMembers, LoseTheTeamsAddressAndNothingElse) {
    LoadAndBuild(L"three-teams.txt");
    TeamEntry first = {};
    first.teamGuid = Guid(machine.teams[0].guid);
    first.numNics = 2;
    first.nicGuids[0] = Guid(machine.adapters[1].guid);
    first.nicGuids[1] = Guid(machine.adapters[0].guid);
    EXPECT_EQ(1, RemoveNICRegistrySettings(nullptr, &first));
    EXPECT_EQ((LineList{L"value-delete driver(" + InstanceOf(0) + L")\\NetworkAddress",
                        L"value-delete driver(" + InstanceOf(1) + L")\\NetworkAddress"}),
              Lines(Journal()));
    EXPECT_TRUE(HasAddress(2)) << "a member of another team";
    EXPECT_TRUE(RegistryHas(std::wstring(MEMBER_RECORDS_KEY) + L"\\" + machine.adapters[0].guid,
                            L"TeamNumber"));
    EXPECT_EQ(machine.adapters.size() + machine.teams.size() + 1, Calls("SetupDiEnumDeviceInfo"))
        << "one walk for all members";
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamMembers, LoseTheAddressOnlyWhenTheyArePhysicalAndPresent) {
    for (MachineAdapter& adapter : machine.adapters)
        adapter.values = {MachineValue::Text(L"NetworkAddress", L"02515600AA00")};
    team.numNics = 3;
    team.nicGuids[0] = Guid(VirtualGuid(0));
    team.nicGuids[1] = Guid(PortGuid(30));
    team.nicGuids[2] = Guid(PortGuid(2));
    Build();
    EXPECT_EQ(1, RemoveNICRegistrySettings(nullptr, &team));
    EXPECT_EQ((LineList{L"value-delete driver(" + InstanceOf(2) + L")\\NetworkAddress"}),
              Lines(Journal()));
    team.numNics = 0;
    EXPECT_EQ(1, RemoveNICRegistrySettings(nullptr, &team));
    EXPECT_EQ(1u, Lines(Journal()).size());
}

TEST_F(TeamMembers, LoseTheirAddressAlsoWhenAnotherCannot) {
    for (size_t n : {1, 2})
        machine.adapters[n].values = {MachineValue::Text(L"NetworkAddress", L"02515600AA00")};
    team.numNics = 3; // the first has none
    team.nicGuids[2] = Guid(PortGuid(2));
    Build();
    Bench(L"fault RegDeleteValueW 2 5");
    EXPECT_EQ(1, RemoveNICRegistrySettings(nullptr, &team));
    EXPECT_TRUE(HasAddress(1));
    EXPECT_FALSE(HasAddress(2));
    EXPECT_EQ(3u, Calls("RegDeleteValueW"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamMembers, KeepTheirAddressesWhenTheDevicesCannotBeListed) {
    machine.adapters[0].values = {MachineValue::Text(L"NetworkAddress", L"02515600AA00")};
    Build();
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_EQ(0, RemoveNICRegistrySettings(nullptr, &team));
    EXPECT_TRUE(HasAddress(0));
    EXPECT_EQ("", StillOpen());
}
