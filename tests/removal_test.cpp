// Team removal that goes its whole road, from the ticked rows to the rebuilt page.
#include "harness/import_instead.h"
#include "harness/program.h"
#include "harness/removal.h"

#include <commctrl.h>
#include <setupapi.h>

class Removal : public RemovalTest {
  protected:
    // A team adapter of the maker that no record names.
    void AddLoneTeamAdapter(const std::wstring& name, const std::wstring& instance = {}) {
        AddTeam(name, 3, 1, {});
        machine.teams.back().instance = instance;
    }
};

static Texts16 NewBinding(const Texts16& members, const std::wstring& vlans, int bytes) {
    Texts16 events;
    for (const std::wstring& member : members)
        events.push_back(L"value-set record\\{" + member + L"}\\VlanBinding REG_MULTI_SZ \"" +
                         vlans + L"\" " + std::to_wstring(bytes) + L" bytes");
    return events;
}

static Texts16 NoBinding(const Texts16& members) {
    Texts16 events;
    for (const std::wstring& member : members)
        events.push_back(L"value-delete record\\{" + member + L"}\\VlanBinding");
    return events;
}

TEST_F(Removal, TakesATeamWithVlansDownTheWholeRoadAndDoesNothingElse) {
    Teams(1);
    AddVlan(L"team-1", 10, L"Voice");
    AddVlan(L"team-1", 20, L"Data");
    OpenTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    const Texts16 members = {L"port0", L"port1"};
    ExpectEvents(NewBinding(members, L"\\Device\\{vlan20}", 98) +
                     RemoveAdapterEvents(L"vlan10", L"ROOT\\NET\\0001") + NoBinding(members) +
                     RemoveAdapterEvents(L"vlan20", L"ROOT\\NET\\0002") +
                     RemoveAdapterEvents(L"team-1", L"ROOT\\NET\\0000") + AddressEvents(members) +
                     ReleaseEvents(L"port0", L"Port 0") + ReleaseEvents(L"port1", L"Port 1"),
                 removed.events);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
}

TEST_F(Removal, RebuildsThePageFromTheSystem) {
    Teams(2, 1);
    OpenTeams({1});
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ((Texts16{L"Port 2", L"Port 3", L"Port 4"}), page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{L"Alpha"}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(2, page->data()->teams[0].numNics);
    EXPECT_EQ(0u, page->data()->teams[1].inUse);
    EXPECT_EQ(0, page->data()->teams[1].numNics);
    EXPECT_EQ(L"Team0", page->text(IDC_TEAM_NAME));
}

TEST_F(Removal, WithoutATickedTeamRemovesNothingAndSaysThatItDid) {
    Teams(2);
    OpenTeams({});
    page->tickRow(IDC_NIC_LIST, 0);
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    ExpectEvents({}, removed.events);
    ExpectFacts({}, removed.difference);
    EXPECT_EQ((Texts16{L"Alpha", L"Beta"}), page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(2, g_numTeams);
}

TEST_F(Removal, WithoutATickedTeamStillRebuildsTheLists) {
    Teams(1);
    OpenTeams({});
    g_numTeams = 3;
    page->data()->teams[0].numNics = 0;
    SendMessageW(page->control(IDC_TEAM_LIST), LVM_DELETEALLITEMS, 0, 0);
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ(Texts16{L"Alpha"}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(2, page->data()->teams[0].numNics);
}

// The devices' order is neither that of their creation nor of the records.
TEST_F(Removal, TakesTheVlansInListOrderBeforeTheTeamAdapter) {
    Teams(1);
    for (DWORD id : {10, 20, 30})
        AddVlan(L"team-1", id, L"V");
    machine.teams[0].instance = L"ROOT\\NET\\0000";
    machine.vlans[0].instance = L"ROOT\\NET\\0007";
    machine.vlans[1].instance = L"ROOT\\NET\\0003";
    machine.vlans[2].instance = L"ROOT\\NET\\0005";
    OpenTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(
        (Texts16{L"ROOT\\NET\\0003", L"ROOT\\NET\\0005", L"ROOT\\NET\\0007", L"ROOT\\NET\\0000"}),
        removed.of(L"device-remove"));
}

TEST_F(Removal, OfAMemberThatIsGoneDeletesItsRecordAndSkipsTheRest) {
    Teams(1);
    Port(0).present = false;
    OpenTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    ExpectEvents(RemoveAdapterEvents(L"team-1", L"ROOT\\NET\\0000") + AddressEvents({L"port1"}) +
                     Texts16{L"key-delete record\\{port0}", L"netcfg-lock", L"netcfg-apply",
                             L"netcfg-unlock"} +
                     ReleaseEvents(L"port1", L"Port 1"),
                 removed.events);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    EXPECT_FALSE(RegistryHasKey(Record(0)));
}

TEST_F(Removal, OfATeamWhoseMembersAreAllGoneTakesTheTeamAndItsRecords) {
    Teams(1, 1);
    Port(0).present = false;
    Port(1).present = false;
    OpenTeams({0});
    EXPECT_EQ(1, Remove().result);
    EXPECT_FALSE(RegistryHasKey(Record(0)));
    EXPECT_FALSE(RegistryHasKey(Record(1)));
    EXPECT_EQ(Texts16{}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(Texts16{L"Port 2"}, page->rowTexts(IDC_NIC_LIST));
}

// Windows keeps a removed device's parameters in the set, with the flag that its removal has raised; Wine
// has none for it any more.
static DWORD restartFlag;
static int restartsTold;

static BOOL WINAPI TellOfRestart(HDEVINFO, PSP_DEVINFO_DATA, PSP_DEVINSTALL_PARAMS_W params) {
    params->Flags = restartFlag;
    restartsTold++;
    return TRUE;
}

TEST_F(Removal, ThatAsksForARebootSucceedsWithoutAPrompt) {
    Teams(1);
    AddVlan(L"team-1", 10, L"Voice");
    ImportInstead import("SetupDiGetDeviceInstallParamsW", reinterpret_cast<void*>(TellOfRestart));
    for (DWORD flag : {static_cast<DWORD>(DI_NEEDREBOOT), static_cast<DWORD>(DI_NEEDRESTART)}) {
        SCOPED_TRACE(flag);
        restartFlag = flag;
        restartsTold = 0;
        OpenTeams({0});
        Bench(L"fault INetCfg::Apply 1 303136"); // NETCFG_S_REBOOT
        Outcome removed = Remove();
        EXPECT_LE(2, restartsTold) << "the VLAN's and the team's adapter";
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
        EXPECT_EQ((Texts16{L"ROOT\\NET\\0001", L"ROOT\\NET\\0000"}), removed.of(L"device-remove"));
        EXPECT_EQ(Texts16{}, removed.of(L"message-box"));
        EXPECT_EQ(Texts16{}, removed.of(L"process-start"));
        EXPECT_EQ(0u, Calls("MessageBoxW"));
        EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), page->rowTexts(IDC_NIC_LIST));
    }
}

TEST_F(Removal, TakesAllFourTeamsInOneCall) {
    Teams(4);
    OpenTeams({0, 1, 2, 3});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(
        (Texts16{L"ROOT\\NET\\0000", L"ROOT\\NET\\0001", L"ROOT\\NET\\0002", L"ROOT\\NET\\0003"}),
        removed.of(L"device-remove"));
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    EXPECT_EQ(0, g_numTeams);
    EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
    EXPECT_EQ(8, page->rows(IDC_NIC_LIST));
}

TEST_F(Removal, OfTheFirstAndTheThirdTeamLeavesTheSecondUntouched) {
    Teams(3);
    OpenTeams({0, 2});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    Texts16 expected;
    for (int team : {0, 2}) {
        Texts16 members = {Port(2 * team).name, Port(2 * team + 1).name};
        expected = expected +
                   RemoveAdapterEvents(L"team-" + std::to_wstring(team + 1),
                                       L"ROOT\\NET\\000" + std::to_wstring(team)) +
                   AddressEvents(members) +
                   ReleaseEvents(members[0], L"Port " + std::to_wstring(2 * team)) +
                   ReleaseEvents(members[1], L"Port " + std::to_wstring(2 * team + 1));
    }
    ExpectEvents(expected, removed.events);
    EXPECT_EQ(Texts16{L"Beta"}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(Guid(Port(2).guid), page->data()->teams[0].nicGuids[0]);
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1", L"Port 4", L"Port 5"}), page->rowTexts(IDC_NIC_LIST));
}

// While the worker is in its last step, the page has not been rebuilt.
TEST_F(Removal, TakesTheRowsOfTheRemovedTeamsOutAndCountsThemOff) {
    Teams(4);
    OpenTeams({0, 2, 3});
    LONG chosen[3] = {-1, -1, -1};
    int listed = -1;
    int count = -1;
    int members = -1;
    Outcome removed = Remove({{L"SetWindowTextW", 1, [&] {
                                   memcpy(chosen, selectedTeams, sizeof(chosen));
                                   listed = page->rows(IDC_TEAM_LIST);
                                   count = g_numTeams;
                                   members = page->data()->teams[0].numNics +
                                             page->data()->teams[2].numNics +
                                             page->data()->teams[3].numNics;
                               }}});
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(0, chosen[0]);
    EXPECT_EQ(2, chosen[1]);
    EXPECT_EQ(3, chosen[2]);
    EXPECT_EQ(1, listed) << "the row of the second team";
    EXPECT_EQ(1, count);
    EXPECT_EQ(0, members);
}

TEST_F(Removal, OfATeamAdapterWithoutRecordsDoesNoHarm) {
    Teams(1, 1);
    AddLoneTeamAdapter(L"Lone");
    OpenTeams({0, 1});
    ASSERT_EQ((Texts16{L"Alpha", L"Lone"}), page->rowTexts(IDC_TEAM_LIST));
    ASSERT_EQ(1, g_numTeams);
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0000"}, removed.of(L"device-remove"));
    EXPECT_EQ(Texts16{L"Lone"}, page->rowTexts(IDC_TEAM_LIST));
    TickTeams({0});
    Outcome again = Remove();
    EXPECT_EQ(1, again.result);
    ExpectFacts({}, again.difference);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), again.statuses);
    EXPECT_EQ(Texts16{L"Lone"}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(0, g_numTeams);
}

// Only as many rows are looked at for the team's name as there are teams, so the name is not found.
TEST_F(Removal, OfATeamListedBehindOneWithoutRecordsKeepsTheMembersNames) {
    Teams(1);
    machine.teams[0].instance = L"ROOT\\NET\\0001";
    AddLoneTeamAdapter(L"Lone", L"ROOT\\NET\\0000");
    OpenTeams({1});
    ASSERT_EQ((Texts16{L"Lone", L"Alpha"}), page->rowTexts(IDC_TEAM_LIST));
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0001"}, removed.of(L"device-remove"));
    EXPECT_EQ(Texts16{}, removed.of(L"property-set"));
    EXPECT_EQ((Texts16{L"Alpha:Port 0", L"Alpha:Port 1"}), page->rowTexts(IDC_NIC_LIST));
}

struct NameCase {
    std::wstring team;
    std::wstring member; // as it is while the team stands
    std::wstring after;
};

TEST_F(Removal, GivesBackTheNameBehindTheTeamsAndLeavesOthers) {
    const NameCase cases[] = {
        {L"Alpha", L"Alpha:Uplink", L"Uplink"},
        {L"Alpha", L"Alpha:Alpha:Uplink", L"Alpha:Uplink"},
        {L"Alpha", L"alpha:Uplink", L"alpha:Uplink"},
        {L"Alpha", L"Uplink of Alpha", L"Uplink of Alpha"},
        {L"Alpha", L"Alphabet", L"et"}, // whatever stands behind the team's name goes with it
        {L"Alpha", L"Alpha:", L""},
        {L"Alpha", L"Alpha", L""},
        {L"Alpha", L"Alph", L"Alph"},
        {L"Alpha: 1", L"Alpha: 1:Uplink", L"Uplink"},
        {std::wstring(127, L'T'), std::wstring(127, L'T') + L":" + std::wstring(127, L'o'),
         std::wstring(127, L'o')},
        // What does not fit the name's buffer cannot be read, and the description has no prefix.
        {L"Alpha", L"Alpha:" + std::wstring(260, L'o'), L"Alpha:" + std::wstring(260, L'o')},
    };
    for (const NameCase& name : cases) {
        SCOPED_TRACE(testing::PrintToString(name.member));
        Teams(1);
        machine.teams[0].teamName = name.team;
        OpenTeams({0});
        RegistrySet(L"System\\CurrentControlSet\\Enum\\" + Port(0).instance,
                    MachineValue::Text(L"FriendlyName", name.member));
        Outcome removed = Remove();
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ(name.after, FriendlyName(0));
        EXPECT_EQ(L"Port 1", FriendlyName(1));
        EXPECT_EQ(name.member != name.after ? 2u : 1u, removed.of(L"property-set").size());
    }
}

TEST_F(Removal, OfAMemberOfAnotherMakerIsNoDifferent) {
    Teams(1);
    Port(1).provider = L"Other";
    Port(1).friendlyName = L"Foreign";
    OpenTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(L"Foreign", FriendlyName(1));
    EXPECT_EQ((Texts16{L"Port 0", L"Foreign"}), page->rowTexts(IDC_NIC_LIST));
}

TEST_F(Removal, OfAMemberWithoutAFriendlyNameGivesItItsDescription) {
    Teams(1);
    OpenTeams({0});
    RegistrySet(L"System\\CurrentControlSet\\Enum\\" + Port(0).instance,
                MachineValue::Text(L"DeviceDesc", L"Alpha:Adapter"));
    HKEY device = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                            (L"System\\CurrentControlSet\\Enum\\" + Port(0).instance).c_str(), 0,
                            KEY_ALL_ACCESS, &device));
    RegDeleteValueW(device, L"FriendlyName");
    RegCloseKey(device);
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ(L"Adapter", FriendlyName(0));
}

TEST_F(Removal, OfAMemberThatRefusesToBeRestartedGoesOn) {
    Teams(1);
    Port(0).flags = 0x20000; // not to be touched
    OpenTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{L"port1 scope=config"}, removed.of(L"device-disable"));
    EXPECT_EQ(8u, removed.of(L"binding-enable").size());
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), page->rowTexts(IDC_NIC_LIST));
}

TEST_F(Removal, OfAMemberWithoutCharacteristicsShowsNothingButRestartsIt) {
    Teams(1);
    OpenTeams({0});
    HKEY driver = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegOpenKeyExW(HKEY_LOCAL_MACHINE, DriverKey(0).c_str(), 0, KEY_ALL_ACCESS, &driver));
    RegDeleteValueW(driver, L"Characteristics");
    RegCloseKey(driver);
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{L"port0 scope=config", L"port1 scope=config"}),
              removed.of(L"device-disable"));
    EXPECT_FALSE(RegistryHas(DriverKey(0), L"Characteristics"));
}

TEST_F(Removal, KeepsEveryOtherBitOfAMembersCharacteristics) {
    Teams(1);
    OpenTeams({0});
    RegistrySet(DriverKey(0), MachineValue::Number(L"Characteristics", 0xffffffff));
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ(0xfffffff7u, RegistryNumber(DriverKey(0), L"Characteristics"));
}

TEST_F(Removal, DeletesARecordWithWhateverElseStandsInIt) {
    Teams(1);
    OpenTeams({0});
    RegistrySet(Record(0), MachineValue::Text(L"Remark", L"the driver's own"));
    EXPECT_EQ(1, Remove().result);
    EXPECT_FALSE(RegistryHasKey(Record(0)));
}

// The team is still known, so its rows on the page are, but the records have been deleted.
TEST_F(Removal, OfATeamWhoseRecordsHaveGoneMeanwhileFreesItsMembers) {
    Teams(1);
    OpenTeams({0});
    RegistryDeleteTree(Record(0));
    RegistryDeleteTree(Record(1));
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{}, page->rowTexts(IDC_TEAM_LIST));
}

TEST_F(Removal, OfATeamWhoseAdapterHasGoneMeanwhileFreesItsMembers) {
    Teams(1);
    OpenTeams({0});
    RegistryDeleteTree(L"System\\CurrentControlSet\\Enum\\ROOT\\NET\\0000");
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{}, removed.of(L"device-remove"));
    ExpectEvents(AddressEvents({L"port0", L"port1"}) + ReleaseEvents(L"port0", L"Port 0") +
                     ReleaseEvents(L"port1", L"Port 1"),
                 removed.events);
}

TEST_F(Removal, RestartsMembersInAllProfilesOnWindows52) {
    Teams(1);
    machine.windows = L"5.2";
    OpenTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ((Texts16{L"port0 scope=global", L"port1 scope=global"}),
              removed.of(L"device-disable"));
    EXPECT_EQ((Texts16{L"port0 scope=global", L"port1 scope=global"}),
              removed.of(L"device-enable"));
}

TEST_F(Removal, TheShippedProgramDoesTheSame) {
    Teams(1);
    AddVlan(L"team-1", 10, L"Voice");
    Build();
    RunningProgram program;
    program.tickRow(L"1004", 0);
    Outcome removed = Press(&program, L"1005");
    const Texts16 members = {L"port0", L"port1"};
    ExpectEvents(NoBinding(members) + RemoveAdapterEvents(L"vlan10", L"ROOT\\NET\\0001") +
                     RemoveAdapterEvents(L"team-1", L"ROOT\\NET\\0000") + AddressEvents(members) +
                     ReleaseEvents(L"port0", L"Port 0") + ReleaseEvents(L"port1", L"Port 1"),
                 removed.events);
    ASSERT_EQ(3u, removed.statuses.size());
    EXPECT_EQ(L"Removing Selected Team. Please wait..", removed.statuses[0]);
    EXPECT_EQ(L"Team Removed.", removed.statuses[1]);
    EXPECT_EQ(0u, removed.statuses[2].find(L"Select two NICs"));
    EXPECT_EQ(Texts16{}, program.rows(L"1004"));
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), program.rows(L"1002"));
}
