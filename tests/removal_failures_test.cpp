// Team removal in which one step fails: what then remains, and how the program goes on from there.
#include "harness/removal.h"

#include "team/create_team.h"
#include "team/remove_team.h"

#include <map>

static std::string Bare(std::string text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text;
}

// Facts in fewer words: a virtual adapter, its bindings, a connection or a record in one, and of a value
// that differs only what it is now. Drivers' services and the empty keys above connections and records
// stay out.
static Texts8 Told(const Texts8& facts) {
    std::map<std::string, std::string> now;
    Texts8 gone;
    for (const std::string& fact : facts) {
        size_t equals = fact.find(" = ");
        std::string key = fact.substr(2, equals - 2);
        std::string value = fact.substr(equals);
        // The teaming protocol's path comes and goes with the adapter.
        if (key.find("service\\") == 0 || key.find("path\\qv_qvteamp") == 0 || value == " = key")
            continue;
        key = Bare(key, "device\\");
        if (key.find("ROOT\\NET\\") == 0) {
            key.resize(std::string("ROOT\\NET\\0000").size());
            value.clear();
        } else if (key.find("path\\") == 0) {
            key = key.substr(key.rfind('{'));
        } else if (key.find("network\\") == 0 || key.find("record\\") == 0) {
            key.resize(key.find('}') + 1);
            value.clear();
        }
        if (fact[0] == '+')
            now[key] = value;
        else
            gone.push_back(key);
    }
    Texts8 told;
    for (const auto& [key, value] : now)
        told.push_back(key + value);
    for (const std::string& key : gone) {
        if (now.count(key) == 0)
            told.push_back("no " + key);
    }
    return told;
}

class RemovalFailure : public RemovalTest {
  protected:
    // One team with one VLAN. The machine as it is after a removal without any failure is kept to compare
    // with.
    void OpenTeamWithVlan() {
        if (clean_.empty()) {
            Teams(1);
            AddVlan(L"team-1", 10, L"Voice");
            OpenTeams({0});
            ASSERT_EQ(1, Perform(RemoveTeam).result);
            clean_ = MachineDump();
        }
        OpenTeams({0});
    }

    // What distinguishes the machine from one whose team was removed without any failure.
    Texts8 Left() {
        Texts8 left;
        for (const std::string& line : DumpDifference(clean_, MachineDump())) {
            std::wstring fact = Short({line.begin(), line.end()});
            // Connections of the adapters that were made since.
            if (fact.find(L"network\\{1}") == std::wstring::npos)
                left.push_back({fact.begin(), fact.end()});
        }
        return Told(left);
    }

    // Makes a team of the two ports and removes it again.
    void TeamOnce() {
        Tick({0, 1});
        page->tick(IDC_ACTIVE_BACKUP);
        EXPECT_EQ(1, Perform(CreateTeam).result);
        TickTeams({page->rows(IDC_TEAM_LIST) - 1});
        EXPECT_EQ(1, Perform(RemoveTeam).result);
        page->tick(IDC_ACTIVE_BACKUP, false);
    }

    std::string clean_;
};

struct FailedStep {
    const wchar_t* call;
    int nth;
    Texts8 left;  // when the removal has ended
    Texts8 later; // when the members have been a team once more
};

static const char kNetworkAddress0[] = "port0\\driver\\NetworkAddress = REG_SZ \"0251560000B1\"";
static const char kNetworkAddress1[] = "port1\\driver\\NetworkAddress = REG_SZ \"0251560000B1\"";
static const char kName0[] = "port0\\enum\\FriendlyName = REG_SZ \"Alpha:Port 0\" (512 bytes)";
static const char kName1[] = "port1\\enum\\FriendlyName = REG_SZ \"Alpha:Port 1\" (512 bytes)";
static const char kHidden0[] = "port0\\driver\\Characteristics = REG_DWORD 0x0000008C";
static const char kHidden1[] = "port1\\driver\\Characteristics = REG_DWORD 0x0000008C";
// What a member uses that has not started since.
static const char kAddressInUse0[] = "port0\\bench\\CurrentAddress = 0251560000B1";
static const char kAddressInUse1[] = "port1\\bench\\CurrentAddress = 0251560000B1";
static const char kConnection0[] = "port0\\connection = hidden";
static const char kConnection1[] = "port1\\connection = hidden";

// What stays of a removed member is put right, for the most part, by the next team that it is in.
TEST_F(RemovalFailure, OfAStepForAMemberIsPassedOverAndTheNextTeamWorks) {
    const FailedStep steps[] = {
        {L"RegDeleteValueW", 1, {}, {}}, // a VLAN's binding, in a record that goes with its member
        {L"RegDeleteValueW", 3, {kNetworkAddress0, kAddressInUse0}, {}},
        {L"RegDeleteValueW", 4, {kNetworkAddress1, kAddressInUse1}, {}},
        {L"SetupDiGetClassDevsW",
         4,
         {kNetworkAddress0, kNetworkAddress1, kAddressInUse0, kAddressInUse1},
         {}},
        {L"SetupDiGetClassDevsW", 5, {kName0}, {kName0}},
        {L"SetupDiGetDeviceRegistryPropertyW", 1, {kName0}, {kName0}},
        {L"SetupDiSetDeviceRegistryPropertyW", 1, {kName0}, {kName0}},
        {L"SetupDiSetDeviceRegistryPropertyW", 2, {kName1}, {kName1}},
        {L"SetupDiGetClassDevsW", 6, {kHidden0, kConnection0, kAddressInUse0}, {}},
        {L"SetupDiGetClassDevsW", 8, {kHidden1, kConnection1, kAddressInUse1}, {}},
        {L"RegSetValueExW", 1, {kHidden0, kConnection0}, {}},
        // Not stopped, so not restarted.
        {L"SetupDiSetClassInstallParamsW", 3, {kConnection0, kAddressInUse0}, {}},
        {L"SetupDiChangeState", 1, {kConnection0, kAddressInUse0}, {}},
        {L"CoInitialize", 1, {"{port0} = disabled"}, {}},
        {L"CoCreateInstance", 2, {"{port1} = disabled"}, {}},
        {L"INetCfgLock::AcquireWriteLock", 1, {"{port0} = disabled"}, {}},
        {L"INetCfg::Initialize", 2, {"{port1} = disabled"}, {}},
        {L"INetCfgClass::EnumComponents", 1, {"{port0} = disabled"}, {}},
        {L"INetCfg::Apply", 1, {"{port0} = disabled"}, {}},
    };
    for (const FailedStep& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step.call) + " " + std::to_string(step.nth));
        OpenTeamWithVlan();
        Bench(std::wstring(L"fault ") + step.call + L" " + std::to_wstring(step.nth) +
              L" 2147942405");
        Outcome removed = Perform(RemoveTeam);
        EXPECT_EQ(1u, removed.of(L"fault").size());
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
        EXPECT_EQ(0, g_numTeams);
        EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
        EXPECT_EQ(2, page->rows(IDC_NIC_LIST));
        ExpectFacts(step.left, Left());
        TeamOnce();
        ExpectFacts(step.later, Left());
    }
}

// The adapter of the team, or of a VLAN whose binding has gone, is in no record any more.
TEST_F(RemovalFailure, OfAVirtualAdapterLeavesItAndTheNextTeamWorks) {
    const char team[] = "ROOT\\NET\\0000";
    const char vlan[] = "ROOT\\NET\\0001";
    const char teamPaths[] = "{team-1} = disabled";
    const char vlanPaths[] = "{vlan10} = enabled";
    const char teamConnection[] = "network\\{team-1}";
    const char vlanConnection[] = "network\\{vlan10}";
    // A team that is listed behind an adapter without records is not found by its name.
    const char name0[] = "port0\\enum\\FriendlyName = REG_SZ \"Team0:Port 0\" (512 bytes)";
    const char name1[] = "port1\\enum\\FriendlyName = REG_SZ \"Team0:Port 1\" (512 bytes)";
    const FailedStep steps[] = {
        {L"RegDeleteKeyW", 1, {vlanConnection}, {vlanConnection}},
        {L"RegDeleteKeyW", 2, {teamConnection}, {teamConnection}},
        {L"SetupDiSetClassInstallParamsW", 2, {team, teamPaths}, {team, teamPaths, name0, name1}},
        {L"SetupDiRemoveDevice", 2, {team, teamPaths}, {team, teamPaths, name0, name1}},
        {L"SetupDiGetClassDevsW",
         3,
         {team, teamPaths, teamConnection},
         {team, teamPaths, teamConnection, name0, name1}},
        // Nobody knows of the VLAN.
        {L"SetupDiGetClassDevsW",
         1,
         {vlan, vlanPaths, vlanConnection},
         {vlan, vlanPaths, vlanConnection}},
        {L"RegOpenKeyExW", 1, {vlan, vlanPaths, vlanConnection}, {vlan, vlanPaths, vlanConnection}},
        {L"StringFromGUID2",
         1,
         {vlan, vlanPaths, vlanConnection},
         {vlan, vlanPaths, vlanConnection}},
    };
    for (const FailedStep& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step.call) + " " + std::to_string(step.nth));
        OpenTeamWithVlan();
        Bench(std::wstring(L"fault ") + step.call + L" " + std::to_wstring(step.nth) + L" 5");
        Outcome removed = Perform(RemoveTeam);
        EXPECT_EQ(1u, removed.of(L"fault").size());
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
        EXPECT_EQ(0, g_numTeams);
        EXPECT_EQ(step.left.front() == team ? 1 : 0, page->rows(IDC_TEAM_LIST));
        EXPECT_EQ(2, page->rows(IDC_NIC_LIST));
        ExpectFacts(step.left, Left());
        TeamOnce();
        ExpectFacts(step.later, Left());
    }
}

// A member stays the team's for as long as its record says so.
TEST_F(RemovalFailure, OfARecordKeepsItsAdapterOutOfTheListsUntilTheRecordGoes) {
    const FailedStep steps[] = {
        {L"RegDeleteKeyW", 3, {"record\\{port0}"}, {}},
        {L"RegDeleteKeyW", 4, {"record\\{port1}"}, {}},
        // No record's path: nothing more is done for the team's members.
        {L"StringFromGUID2",
         5,
         {"record\\{port0}", "record\\{port1}", kHidden0, kHidden1, kName0, kName1, kConnection0,
          kConnection1, kAddressInUse0, kAddressInUse1, "{port0} = disabled", "{port1} = disabled"},
         {kName0, kName1}},
        {L"StringFromGUID2",
         6,
         {"record\\{port1}", kHidden1, kName1, kConnection1, kAddressInUse1, "{port1} = disabled"},
         {kName1}},
    };
    for (const FailedStep& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step.call) + " " + std::to_string(step.nth));
        OpenTeamWithVlan();
        Bench(std::wstring(L"fault ") + step.call + L" " + std::to_wstring(step.nth) + L" 5");
        Outcome removed = Perform(RemoveTeam);
        EXPECT_EQ(1u, removed.of(L"fault").size());
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
        ExpectFacts(step.left, Left());
        EXPECT_EQ(0, g_numTeams);
        EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
        EXPECT_EQ(step.left.size() > 6 ? 0 : 1, page->rows(IDC_NIC_LIST));

        RegistryDeleteTree(Record(0));
        RegistryDeleteTree(Record(1));
        TickTeams({});
        EXPECT_EQ(1, Perform(RemoveTeam).result) << "the page is rebuilt";
        TeamOnce();
        ExpectFacts(step.later, Left());
    }
}

// The member stays stopped. Teaming it again is refused with the advice to enable it.
TEST_F(RemovalFailure, OfAMembersStartLeavesItStoppedUntilItIsEnabled) {
    for (const wchar_t* fault : {L"SetupDiSetClassInstallParamsW 4", L"SetupDiChangeState 2"}) {
        SCOPED_TRACE(testing::PrintToString(fault));
        OpenTeamWithVlan();
        Bench(std::wstring(L"fault ") + fault + L" 5");
        Outcome removed = Perform(RemoveTeam);
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
        ExpectFacts({"port0\\bench\\Disabled = REG_DWORD 0x00000002",
                     "port0\\bench\\Started = REG_DWORD 0x00000000", kConnection0, kAddressInUse0},
                    Left());
        Tick({0, 1});
        page->tick(IDC_ACTIVE_BACKUP);
        EXPECT_EQ(Texts16{text::kNotOpened}, Perform(CreateTeam).statuses);
    }
}

// The binding has gone from the records, the adapter has not: the next attempt removes the team, and the
// VLAN's adapter stays for the device manager.
TEST_F(RemovalFailure, OfAVlansRemovalCanBeTriedAgain) {
    const char vlan[] = "ROOT\\NET\\0001";
    const char paths[] = "{vlan10} = enabled";
    const char connection[] = "network\\{vlan10}";
    const FailedStep steps[] = {
        {L"RegOpenKeyExW", 3, {}, {}}, // the records are not opened, so nothing has changed
        {L"RegOpenKeyExW", 5, {vlan, paths, connection}, {vlan, paths, connection}},
        {L"RegDeleteValueW", 2, {vlan, paths, connection}, {vlan, paths, connection}},
        {L"SetupDiGetClassDevsW", 2, {vlan, paths, connection}, {vlan, paths, connection}},
        {L"SetupDiSetClassInstallParamsW", 1, {vlan, paths}, {vlan, paths}},
        {L"SetupDiRemoveDevice", 1, {vlan, paths}, {vlan, paths}},
    };
    for (const FailedStep& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step.call) + " " + std::to_string(step.nth));
        OpenTeamWithVlan();
        Bench(std::wstring(L"fault ") + step.call + L" " + std::to_wstring(step.nth) + L" 5");
        Outcome failed = Remove();
        EXPECT_EQ(0, failed.result);
        EXPECT_EQ(Texts16{text::kTeamVlansStuck}, failed.statuses);
        EXPECT_EQ(1, g_numTeams);
        EXPECT_EQ(Texts16{L"Alpha"}, page->rowTexts(IDC_TEAM_LIST));
        EXPECT_TRUE(page->rowTicked(IDC_TEAM_LIST, 0));
        EXPECT_EQ(Texts16{}, failed.of(L"device-remove"));
        // Of the members nothing but the bindings has been touched.
        for (const std::string& fact : failed.difference)
            EXPECT_TRUE(fact.find("\\VlanBinding = ") != std::string::npos ||
                        fact.find(" network\\{vlan10}") != std::string::npos)
                << fact;
        Outcome again = Perform(RemoveTeam);
        EXPECT_EQ(1, again.result);
        EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), again.statuses);
        ExpectFacts(step.left, Left());
        TeamOnce();
        ExpectFacts(step.later, Left());
    }
}

TEST_F(RemovalFailure, ToTakeTheLockLeavesTheMembersUnboundUntilTheNextTeam) {
    OpenTeamWithVlan();
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = INFINITE;
    OpenTeams({0});
    Outcome removed = Perform(RemoveTeam);
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    ExpectFacts({"{port0} = disabled", "{port1} = disabled"}, Left());
    RegistrySet(L"Software\\QvBench\\Machine", MachineValue::Number(L"LockSeconds", 0));
    TeamOnce();
    ExpectFacts({}, Left());

    machine.lockSeconds = 3;
    OpenTeams({0});
    EXPECT_EQ(1, Perform(RemoveTeam).result);
    ExpectFacts({}, Left());
}

TEST_F(RemovalFailure, OfOneBindingPathIsPassedOver) {
    OpenTeamWithVlan();
    Bench(L"fault INetCfgBindingPath::Enable 1 2147500037 all");
    Outcome removed = Perform(RemoveTeam);
    EXPECT_EQ(1, removed.result);
    ExpectFacts({"{port0} = disabled", "{port1} = disabled"}, Left());
    Bench(L"clear");
    TeamOnce();
    ExpectFacts({}, Left());
}

TEST_F(RemovalFailure, ToRebuildThePageDoesNotBringTheTeamBack) {
    OpenTeamWithVlan();
    Bench(L"fault SetupDiGetClassDevsW 9 8");
    Outcome removed = Perform(RemoveTeam);
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{text::kRemoved}, removed.statuses);
    ExpectFacts({}, Left());
    EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
    EXPECT_EQ(0, page->rows(IDC_NIC_LIST));
    EXPECT_EQ(1, Perform(RemoveTeam).result);
    EXPECT_EQ(2, page->rows(IDC_NIC_LIST)) << "the next job rebuilds it";
}

// The page is closed while the worker is at the team's adapter.
TEST_F(RemovalFailure, WithoutThePagesStateFromTheMiddleOnEndsInAnOrderlyWay) {
    OpenTeamWithVlan();
    Outcome removed = Remove(
        {{L"SetupDiRemoveDevice", 1, [&] { SetWindowLongPtrW(page->window(), DWLP_USER, 0); }}});
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{text::kRemoved}, removed.statuses);
    ExpectFacts({"ROOT\\NET\\0000", "{team-1} = disabled", "network\\{team-1}", kHidden0, kHidden1,
                 kConnection0, kConnection1, kAddressInUse0, kAddressInUse1},
                Left());
}

// One allocation after the other fails. Whatever comes of it has a text of its own, nothing stays open,
// and what is left of the team can be removed.
TEST_F(RemovalFailure, OfAnyAllocationEndsInAnOrderlyWay) {
    OpenTeamWithVlan();
    ASSERT_EQ(1, Perform(RemoveTeam).result);
    int allocations = static_cast<int>(Calls("calloc"));
    EXPECT_LT(20, allocations);
    int stuck = 0;
    for (int nth = 1; nth <= allocations; nth += 3) {
        SCOPED_TRACE(nth);
        OpenTeams({0});
        Bench(L"fault calloc " + std::to_wstring(nth) + L" 8");
        Outcome outcome = Perform(RemoveTeam);
        ASSERT_FALSE(outcome.statuses.empty());
        EXPECT_EQ(outcome.result == 1 ? text::kRemoved : text::kTeamVlansStuck,
                  outcome.statuses[0]);
        if (outcome.result == 0) {
            stuck++;
            EXPECT_EQ(1, Perform(RemoveTeam).result);
        }
        for (const std::string& fact : Left())
            EXPECT_EQ(std::string::npos, fact.find("record\\")) << fact;
    }
    EXPECT_LE(1, stuck);
}
