// Requests that team creation refuses: which text comes first, and that nothing has changed.
#include "harness/creation.h"

#include "team/nic_checks.h"
#include "team/remove_team.h"

class CreationRefusal : public CreationTest {
  protected:
    // The refusal shows exactly this text (none when null) and changes nothing.
    void ExpectRefused(const Outcome& outcome, const wchar_t* reason) {
        EXPECT_EQ(0, outcome.result);
        EXPECT_EQ(reason == nullptr ? Texts16{} : Texts16{reason}, outcome.statuses);
        ExpectFacts({}, outcome.difference);
    }

    void FourTeams() {
        for (int i = 0; i < 4; i++)
            AddTeam(L"Old" + std::to_wstring(i), static_cast<DWORD>(i), 1,
                    {Port(2 * i).name, Port(2 * i + 1).name});
    }
};

// Every fault at once, mended one after the other in the order in which they are looked for.
TEST_F(CreationRefusal, LooksForFaultsInAFixedOrder) {
    Ports(17);
    FourTeams();
    machine.teams[0].teamName = L"-Uplink"; // in use before it is not valid
    machine.windows = L"5.1";
    machine.newDev = {L"InstallSelectedDriver"};
    Port(11).values.push_back(MachineValue::Text(L"TCPOffload", L"1"));
    Port(8).provider = L"Ferrous";
    Port(10).opens = false;
    AddVlan(L"port9", 9, L"Voice");
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = INFINITE;
    std::vector<MachineInf> infs = machine.infs;
    machine.infs = {infs[1]};
    Bench(L"message-box IDCANCEL all");

    bool administrator = false;
    std::vector<int> rows = {0, 1, 2, 3, 4, 5, 6, 7, 8}; // port8 to port16
    std::wstring name = L"-UPLINK";
    std::wstring fault;
    auto next = [&](const wchar_t* reason) {
        Open(rows, 1, name);
        Bench(administrator ? L"admin 1" : L"admin 0");
        if (!fault.empty())
            Bench(fault);
        Outcome outcome = Create();
        ExpectRefused(outcome, reason);
        return outcome;
    };

    next(text::kNotAdmin);
    administrator = true;
    next(text::kNoInf);
    machine.infs = infs;
    next(text::kTooManyNics);
    machine.adapters.resize(12);
    rows = {0};
    next(nullptr);
    rows = {0, 1, 2}; // port8, port9, port10
    next(text::kTooManyTeams);
    machine.teams.pop_back();
    // The members of the fourth team are free again and come first.
    rows = {2, 3, 4};
    next(text::kForeign);
    Port(8).provider = L"Quovane";
    next(text::kNameInUse);
    machine.teams[0].teamName = L"Downlink";
    next(text::kNameInvalid);
    name = L"Uplink";
    next(text::kNotOpened);
    Port(10).opens = true;
    next(text::kXpOffload);
    Port(11).values.pop_back();
    EXPECT_EQ(1u, next(text::kVlansKept).of(L"message-box").size());
    Bench(L"message-box IDOK all");
    fault = L"fault RegCreateKeyExW 1 5";
    EXPECT_EQ(1u, next(text::kVlansStuck).of(L"message-box").size());
    fault.clear();
    machine.vlans.clear();
    next(nullptr); // the network configuration is locked
    machine.lockHolder.clear();
    Open(rows, 1, name);
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

TEST_F(CreationRefusal, OfSomebodyWhoIsNoAdministrator) {
    Ports(2);
    Open({0, 1});
    Bench(L"admin 0");
    ExpectRefused(Create(), text::kNotAdmin);
}

TEST_F(CreationRefusal, WhenAnotherUserRunsItFromTheStart) {
    LoadAndBuild(L"not-admin.txt");
    page = std::make_unique<PageHost>();
    ExpectRefused(Create(), text::kNotAdmin);
}

TEST_F(CreationRefusal, WithoutTheMiniportsInf) {
    Ports(2);
    machine.infs.clear();
    Open({0, 1});
    ExpectRefused(Create(), text::kNoInf);
}

TEST_F(CreationRefusal, OfNineAdapters) {
    Ports(9);
    Open({0, 1, 2, 3, 4, 5, 6, 7, 8}, 4);
    ExpectRefused(Create(), text::kTooManyNics);
}

TEST_F(CreationRefusal, OfOneAdapterOrNoneIsSilent) {
    Ports(2);
    for (std::vector<int> rows : {std::vector<int>{1}, std::vector<int>{}}) {
        Open(rows);
        page->setText(IDC_STATUS, L"as it was");
        ExpectRefused(Create(), nullptr);
        EXPECT_EQ(L"as it was", page->text(IDC_STATUS));
    }
}

TEST_F(CreationRefusal, OfAFifthTeamComesBeforeTheMaker) {
    Ports(10);
    FourTeams();
    Port(8).provider = L"Ferrous";
    Port(9).provider.reset();
    Open({0, 1});
    ASSERT_EQ(4, g_numTeams);
    ExpectRefused(Create(), text::kTooManyTeams);
}

TEST_F(CreationRefusal, OfAnAdapterWhoseProviderIsNotExactlyTheMaker) {
    using Provider = std::optional<std::wstring>;
    int foreign = 0;
    for (Provider provider : {Provider(L"Ferrous"), Provider(L"quovane"), Provider(L"Quovane "),
                              Provider(L"Quovane Communications Inc.,"), Provider(L"Quovan"),
                              Provider(L""), Provider()}) {
        SCOPED_TRACE(testing::PrintToString(provider.value_or(L"(none)")));
        Ports(2);
        Port(foreign).provider = provider;
        foreign = 1 - foreign;
        Open({0, 1});
        ExpectRefused(Create(), text::kForeign);
    }
}

TEST_F(CreationRefusal, OfTheMakersAdaptersOnlyWhenAForeignOneIsChosen) {
    Ports(3);
    Port(1).provider = L"Ferrous";
    Open({0, 2});
    EXPECT_EQ(1, Create().result);
}

TEST_F(CreationRefusal, OfATeamNameInUseInAnotherCase) {
    Ports(4);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    for (const wchar_t* name : {L"Uplink", L"UPLINK", L"uplinK"}) {
        Open({0, 1}, 1, name);
        ExpectRefused(Create(), text::kNameInUse);
    }
    Open({0, 1}, 1, L"Uplink2");
    EXPECT_EQ(1, Create().result);
}

// As many rows of team adapters as there are teams are looked at, whichever teams these rows are.
TEST_F(CreationRefusal, OfANameCountsRowsByTeamsThatHaveRecords) {
    Ports(4);
    AddTeam(L"Ghost", 0, 1, {});
    Open({0, 1}, 1, L"Ghost");
    ASSERT_EQ(0, g_numTeams);
    EXPECT_EQ(1, Create().result);
    AddTeam(L"Real", 0, 1, {L"port0", L"port1"});
    Open({0, 1}, 1, L"Ghost");
    ASSERT_EQ(1, g_numTeams);
    ExpectRefused(Create(), text::kNameInUse);
    Open({0, 1}, 1, L"Real");
    EXPECT_EQ(1, Create().result);
}

// The row behind the count is another team's then.
TEST_F(CreationRefusal, BehindATeamAdapterWithoutRecordsLeavesTheNextTeamAsItWas) {
    Ports(4);
    AddTeam(L"Ghost", 0, 1, {});
    AddTeam(L"Real", 0, 2, {L"port0", L"port1"});
    for (const wchar_t* name : {L" x", L"Mine"}) {
        Open({0, 1}, 9, name);
        ASSERT_EQ(1, g_numTeams);
        const TeamEntry real = page->data()->teams[1];
        ASSERT_EQ(1u, real.inUse);
        if (name[0] == L'M')
            Bench(L"fault INetCfgLock::AcquireWriteLock 1 1"); // the last refusal before any change
        EXPECT_EQ(0, Create().result);
        EXPECT_EQ(0, memcmp(&real, &page->data()->teams[1], sizeof(real))) << name;
        page->tickRow(IDC_NIC_LIST, 0, false);
        page->tickRow(IDC_NIC_LIST, 1, false);
        page->tickRow(IDC_TEAM_LIST, 1);
        Outcome removed = Run(RemoveTeam);
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ((Texts16{L"port0 scope=config", L"port1 scope=config"}),
                  removed.of(L"device-enable"));
    }
}

// The row behind the count is that of the adapter without records then, and nobody reads it anew.
TEST_F(CreationRefusal, BeforeATeamAdapterWithoutRecordsLeavesTheChosenAdaptersOutOfItsRow) {
    Ports(4);
    AddTeam(L"Real", 0, 2, {L"port0", L"port1"});
    AddTeam(L"Zombie", 1, 1, {});
    AddVlan(L"port2", 10, L"Voice");
    machine.adapters[2].values.push_back(MachineValue::Text(L"NetworkAddress", L"0A1B2C3D4E5F"));
    Open({0, 1});
    ASSERT_EQ((Texts16{L"Real", L"Zombie"}), page->rowTexts(IDC_TEAM_LIST));
    ASSERT_EQ(1, g_numTeams);
    Bench(L"message-box IDCANCEL");
    ExpectRefused(Create(), text::kVlansKept);
    EXPECT_EQ(0, page->data()->teams[1].numNics);
    EXPECT_EQ(0u, page->data()->teams[1].TeamMode);
    page->tickRow(IDC_NIC_LIST, 0, false);
    page->tickRow(IDC_NIC_LIST, 1, false);
    page->tickRow(IDC_TEAM_LIST, 1);
    Outcome removed = Run(RemoveTeam);
    EXPECT_EQ(1, removed.result);
    ExpectFacts({}, removed.difference);
}

TEST_F(CreationRefusal, WhenTheDevicesCannotBeListedTakesTheAdapterForForeign) {
    Ports(2);
    for (int nth : {1, 2}) {
        Open({0, 1});
        Bench(L"fault SetupDiGetClassDevsW " + std::to_wstring(nth) + L" 8");
        ExpectRefused(Create(), text::kForeign);
    }
}

TEST_F(CreationRefusal, OfANameLooksAtTeamsOnly) {
    Ports(2);
    Open({0, 1}, 1, L"Port 0");
    EXPECT_EQ(1, Create().result);
}

TEST_F(CreationRefusal, OfANameThatBeginsWithNeitherLetterNorDigit) {
    Ports(2);
    for (const wchar_t* name : {L"", L" Team", L"-Team", L"_Team", L"(Team)", L"\tTeam"}) {
        SCOPED_TRACE(testing::PrintToString(name));
        Open({0, 1}, 1, name);
        ExpectRefused(Create(), text::kNameInvalid);
    }
    for (const wchar_t* name : {L"7", L"a", L"Z \\:*"}) {
        SCOPED_TRACE(testing::PrintToString(name));
        Open({0, 1}, 1, name);
        EXPECT_EQ(1, Create().result);
    }
}

TEST_F(CreationRefusal, OfAMemberWhoseDriverDoesNotOpen) {
    for (int closed : {0, 1, 2}) {
        SCOPED_TRACE(closed);
        Ports(4);
        Port(closed).opens = false;
        Open({0, 1, 2}, 2);
        ExpectRefused(Create(), text::kNotOpened);
    }
}

TEST_F(CreationRefusal, OfADisabledMember) {
    Ports(2);
    Port(1).disabled = 2;
    Open({0, 1});
    ExpectRefused(Create(), text::kNotOpened);
}

TEST_F(CreationRefusal, OfAMemberWhosePathCannotBeBuilt) {
    Ports(2);
    Open({0, 1});
    // The last block before a driver is opened is its path.
    Outcome refused = Create(
        {{L"CreateFileW", 1, [] {}}, {L"StringFromGUID2", 1, [] { Bench(L"fault calloc 1 8"); }}});
    ExpectRefused(refused, text::kNotOpened);
}

TEST_F(CreationRefusal, DoesNotAskDriversOfAdaptersThatAreNotChosen) {
    Ports(3);
    Port(1).opens = false;
    Open({0, 2});
    EXPECT_EQ(1, Create().result);
}

struct OffloadCase {
    const wchar_t* windows;
    const wchar_t* provider; // of an adapter that is not chosen
    const wchar_t* offload;
    bool refused;
};

// No 64-bit Windows reports 5.1.
TEST_F(CreationRefusal, OfOffloadOnWindowsXpCountsEveryAdapterOfTheMaker) {
    const OffloadCase cases[] = {
        {L"5.1", L"Quovane", L"1", true},   {L"5.1", L"Quovane", L"0", false},
        {L"5.1", L"Quovane", L"10", false}, {L"5.1", L"Quovane", L"", false},
        {L"5.1", L"Ferrous", L"1", false},  {L"5.1", L"quovane", L"1", false},
        {L"5.2", L"Quovane", L"1", false},  {L"6.0", L"Quovane", L"1", false},
        {L"10.0", L"Quovane", L"1", false},
    };
    for (const OffloadCase& param : cases) {
        SCOPED_TRACE(testing::PrintToString(param.windows) +
                     testing::PrintToString(param.provider) +
                     testing::PrintToString(param.offload));
        Ports(3);
        machine.windows = param.windows;
        Port(2).provider = param.provider;
        Port(2).values.push_back(MachineValue::Text(L"TCPOffload", param.offload));
        Open({0, 1});
        if (param.refused)
            ExpectRefused(Create(), text::kXpOffload);
        else
            EXPECT_EQ(1, Create().result);
    }
}

TEST_F(CreationRefusal, OfOffloadAlsoWhenTheVersionIsUnknown) {
    Ports(2);
    Port(1).values.push_back(MachineValue::Text(L"TCPOffload", L"1"));
    Open({0, 1});
    Bench(L"fault GetVersionExW 1 87");
    ExpectRefused(Create(), text::kXpOffload);
}

TEST_F(CreationRefusal, ByCancelRemovesNoVlan) {
    Ports(3);
    AddVlan(L"port1", 10, L"Voice");
    AddVlan(L"port1", 20, L"Data");
    AddVlan(L"port2", 30, L"Guests");
    Open({0, 1, 2}, 2);
    Bench(L"message-box IDCANCEL");
    Outcome refused = Create();
    ExpectRefused(refused, text::kVlansKept);
    ExpectEvents({text::kVlanQuestion + std::wstring(L"IDCANCEL")}, refused.events);
}

TEST_F(CreationRefusal, WhenTheQuestionCannotBeShownCountsAsNo) {
    Ports(2);
    AddVlan(L"port0", 10, L"Voice");
    Open({0, 1});
    Bench(L"fault MessageBoxW 1 8");
    ExpectRefused(Create(), text::kVlansKept);
}

static Texts16 ForgetVlan(const std::wstring& host, const std::wstring& vlan, bool last,
                          const std::wstring& device) {
    Texts16 events = last ? Texts16{L"value-delete record\\{" + host + L"}\\VlanBinding",
                                    L"key-delete record\\{" + host + L"}"}
                          : Texts16{};
    return events +
           Texts16{L"key-delete network\\{" + vlan + L"}\\Connection", L"device-remove " + device};
}

// Asked once; each member's VLANs go in the order of their devices, member after member.
TEST_F(CreationRefusal, DoesNotFollowOkAndEachMembersVlansAreRemovedInOrder) {
    Ports(2);
    AddVlan(L"port1", 30, L"Guests");
    AddVlan(L"port0", 10, L"Voice");
    AddVlan(L"port0", 20, L"Data");
    Open({0, 1});
    Bench(L"message-box IDOK");
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    Texts16 expected =
        Texts16{text::kVlanQuestion + std::wstring(L"IDOK"),
                // Newest first; with its closing NUL and one spare one.
                L"value-set record\\{port0}\\VlanBinding REG_MULTI_SZ \"\\Device\\{vlan20}\" 98 "
                L"bytes"} +
        ForgetVlan(L"port0", L"vlan10", false, L"ROOT\\NET\\0001") +
        ForgetVlan(L"port0", L"vlan20", true, L"ROOT\\NET\\0002") +
        ForgetVlan(L"port1", L"vlan30", true, L"ROOT\\NET\\0000");
    ASSERT_LT(expected.size(), made.events.size());
    made.events.resize(expected.size() + 1);
    ExpectEvents(expected + Texts16{L"netcfg-lock"}, made.events);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

TEST_F(CreationRefusal, DoesNotMentionAVlanWhoseAdapterIsGone) {
    Ports(2);
    AddVlan(L"port0", 10, L"Voice");
    machine.registry.push_back(
        {L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters\\" + Port(0).guid,
         {MachineValue::Number(L"TeamNumber", 16),
          MachineValue::MultiText(L"VlanBinding",
                                  {L"\\Device\\{C0000000-0000-4000-8000-00000000000A}"})}});
    machine.vlans.clear();
    Open({0, 1});
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ(Texts16{}, made.of(L"message-box"));
}

TEST_F(CreationRefusal, AfterAVlanThatCannotBeForgottenLeavesThoseBeforeItRemoved) {
    Ports(2);
    AddVlan(L"port0", 10, L"Voice");
    AddVlan(L"port1", 20, L"Data");
    AddVlan(L"port1", 30, L"Guests");
    Open({0, 1});
    Bench(L"message-box IDOK");
    Bench(L"fault RegCreateKeyExW 2 5"); // one for each VLAN
    Outcome refused = Create();
    EXPECT_EQ(0, refused.result);
    EXPECT_EQ(Texts16{text::kVlansStuck}, refused.statuses);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0000"}, refused.of(L"device-remove"));
    for (const std::string& fact : refused.difference) {
        EXPECT_EQ(std::string::npos, fact.find("vlan20")) << fact;
        EXPECT_EQ(std::string::npos, fact.find("vlan30")) << fact;
        EXPECT_TRUE(fact[0] == '-' || fact == "+ network\\{vlan10} = key") << fact;
    }
    EXPECT_EQ(Texts16{}, refused.of(L"netcfg-lock"));
}

TEST_F(CreationRefusal, AfterAVlanWhoseDeviceStaysLeavesItsRecordGone) {
    Ports(2);
    AddVlan(L"port0", 10, L"Voice");
    Open({0, 1});
    Bench(L"message-box IDOK");
    Bench(L"fault SetupDiRemoveDevice 1 5");
    Outcome refused = Create();
    EXPECT_EQ(0, refused.result);
    EXPECT_EQ(Texts16{text::kVlansStuck}, refused.statuses);
    ExpectFacts({"- record\\{port0}\\TeamNumber = REG_DWORD 0x00000010",
                 "- record\\{port0}\\Order = REG_DWORD 0x00000000",
                 "- record\\{port0}\\VlanBinding = REG_MULTI_SZ \"\\Device\\{vlan10}\"",
                 "- network\\{vlan10}\\Connection\\Name = REG_SZ \"Local Area Connection 3\"",
                 "- network\\{vlan10}\\Connection\\PnpInstanceID = REG_SZ \"ROOT\\NET\\0000\"",
                 // What is left empty of both.
                 "+ qvteamp\\Parameters\\Adapters = key", "+ network\\{vlan10} = key"},
                refused.difference);
}

TEST_F(CreationRefusal, WithoutTheStateRecordIsSilent) {
    Ports(2);
    Open({0, 1});
    LONG_PTR data = SetWindowLongPtrW(page->window(), DWLP_USER, 0);
    ExpectRefused(Create(), nullptr);
    SetWindowLongPtrW(page->window(), DWLP_USER, data);
}

TEST_F(CreationRefusal, ComesBeforeTheDriversOpenWhereThePageHasNoStateRecord) {
    Ports(2);
    Open({0, 1}, 1, L"Team0");
    TeamEntry team = {};
    team.numNics = 1;
    team.nicGuids[0] = g_nics[0].guid;
    EXPECT_EQ(NICS_VALID, ValidateNICs(page->window(), &team));
    LONG_PTR data = SetWindowLongPtrW(page->window(), DWLP_USER, 0);
    const unsigned opened = Calls("CreateFileW");
    EXPECT_EQ(NICS_NOT_OPENED, ValidateNICs(page->window(), &team));
    EXPECT_EQ(opened, Calls("CreateFileW"));
    SetWindowLongPtrW(page->window(), DWLP_USER, data);
}

TEST_F(CreationRefusal, ForOffloadOnXPNeedsADeviceListToTell) {
    LoadAndBuild(L"xp-offload.txt");
    EXPECT_TRUE(IsWinXPAndOffload(nullptr));
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_FALSE(IsWinXPAndOffload(nullptr));
    EXPECT_EQ("", StillOpen());
}
