// What teams and VLANs do to the bindings of a deployed machine: components that are off by default,
// items that the administrator has switched off, and filters.
#include "harness/vlan_page_jobs.h"

#include <map>

using States = std::vector<std::string>;

static const char* const kOn = "enabled";
static const char* const kOff = "disabled";
static const char* const kOffBelow = "disabled below";

// Components that Windows 10 binds to a port, in binding order; ms_implat is off by default.
static const char* const kOfPort[] = {"ms_msclient->ms_netbt->ms_tcpip",
                                      "ms_server->ms_netbt->ms_tcpip",
                                      "ms_netbt->ms_tcpip",
                                      "ms_tcpip",
                                      "ms_tcpip6",
                                      "ms_implat",
                                      "ms_lldp",
                                      "ms_lltdio",
                                      "ms_rspndr",
                                      "ms_ndisuio",
                                      "ms_pppoe",
                                      "ms_rdma_ndk",
                                      "ms_pacer",
                                      "ms_wfplwf_upper",
                                      "ms_wfplwf_lower",
                                      "ms_ndiscap"};
// No filter has the medium of a team adapter.
static const size_t kOnTeam = 12;

static std::string Narrowed(const std::wstring& text) {
    return {text.begin(), text.end()};
}

// "component STATE" of every path above the adapter, in binding order.
static States Above(const std::wstring& guid) {
    States states;
    for (const NetCfgPath& path : NetCfgPaths()) {
        if (path.adapterGuid == guid)
            states.push_back(Narrowed(path.token.substr(0, path.token.find(L"->{"))) + " " +
                             (path.enabled      ? kOn
                              : path.switchedOn ? kOffBelow
                                                : kOff));
    }
    return states;
}

// The first `count` components of kOfPort in this state, with exceptions, and the teaming protocol.
static States All(size_t count, const char* state,
                  const std::map<std::string, const char*>& exceptions = {}) {
    States states;
    for (size_t i = 0; i < count; i++) {
        const auto found = exceptions.find(kOfPort[i]);
        states.push_back(std::string(kOfPort[i]) + " " +
                         (found != exceptions.end() ? found->second : state));
    }
    states.push_back("qv_qvteamp enabled");
    return states;
}

static const size_t kAll = ARRAYSIZE(kOfPort);

// IPv6 and file sharing are off on port0, IPv4 is off on port1.
static void Deploy(Machine* machine) {
    machine->componentSet = L"windows-10";
    machine->adapters[0].unbound = {L"ms_tcpip6", L"ms_server"};
    if (machine->adapters.size() > 1)
        machine->adapters[1].unbound = {L"ms_tcpip"};
}

static States Port0Before() {
    return All(kAll, kOn,
               {{"ms_server->ms_netbt->ms_tcpip", kOff}, {"ms_tcpip6", kOff}, {"ms_implat", kOff}});
}

static States Port1Before() {
    return All(kAll, kOn,
               {{"ms_msclient->ms_netbt->ms_tcpip", kOff},
                {"ms_server->ms_netbt->ms_tcpip", kOff},
                {"ms_netbt->ms_tcpip", kOff},
                {"ms_tcpip", kOff},
                {"ms_implat", kOff}});
}

class TeamOnWindows10 : public RemovalTest {};

TEST_F(TeamOnWindows10, CreationSwitchesOffAllButTheTeamingProtocol) {
    Ports(3);
    Deploy(&machine);
    Open({0, 1});
    EXPECT_EQ(Port0Before(), Above(Port(0).guid));
    EXPECT_EQ(Port1Before(), Above(Port(1).guid));
    const States other = Above(Port(2).guid);
    EXPECT_EQ(1, Create().result);
    EXPECT_EQ(All(kAll, kOff), Above(Port(0).guid));
    EXPECT_EQ(All(kAll, kOff), Above(Port(1).guid));
    EXPECT_EQ(other, Above(Port(2).guid));
    EXPECT_EQ(All(kOnTeam, kOn, {{"ms_implat", kOff}}), Above(NewGuid(1)))
        << "the team adapter has the default bindings, the teaming protocol's among them";
}

// Also what was off before: by default, or by the administrator.
TEST_F(TeamOnWindows10, RemovalSwitchesOnEverything) {
    Ports(3);
    Deploy(&machine);
    Open({0, 1});
    const States other = Above(Port(2).guid);
    EXPECT_EQ(1, Create().result);
    Tick({});
    TickTeams({0});
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ(All(kAll, kOn), Above(Port(0).guid));
    EXPECT_EQ(All(kAll, kOn), Above(Port(1).guid));
    EXPECT_EQ(other, Above(Port(2).guid));
}

// A port of a Hyper-V switch loses its switch, and gets TCP/IP beside it when it leaves the team.
TEST_F(TeamOnWindows10, TakesAPortFromItsHyperVSwitchAndBindsItToAll) {
    Ports(2);
    machine.componentSet = L"hyper-v";
    Port(0).switched = true;
    Open({0, 1});
    const States switched = Above(Port(0).guid);
    EXPECT_THAT(switched,
                testing::IsSupersetOf({"vms_pp enabled", "ms_lldp enabled", "ms_tcpip disabled",
                                       "ms_tcpip6 disabled", "ms_pacer disabled",
                                       "ms_implat disabled", "qv_qvteamp enabled"}));
    EXPECT_THAT(Above(Port(1).guid), testing::Contains("vms_pp disabled"));
    EXPECT_EQ(1, Create().result);
    size_t enabled = 0;
    for (const std::string& state : Above(Port(0).guid))
        enabled += state.find(" enabled") != std::string::npos;
    EXPECT_EQ(1u, enabled) << "the teaming protocol only";
    EXPECT_THAT(Above(NewGuid(1)), testing::Contains("vms_pp disabled"));
    TickTeams({0});
    EXPECT_EQ(1, Remove().result);
    for (const std::wstring& guid : {Port(0).guid, Port(1).guid}) {
        for (const std::string& state : Above(guid))
            EXPECT_THAT(state, testing::EndsWith(" enabled"));
    }
}

// Windows tells from 10 on that a path is off below; the program must not take that for an answer.
TEST_F(TeamOnWindows10, RemovalEnablesPathsFromTheTopDownOnEveryVersion) {
    for (const wchar_t* windows : {L"6.1", L"10.0"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(windows)));
        Teams(1);
        machine.windows = windows;
        OpenTeams({0});
        Outcome removed = Remove();
        EXPECT_EQ(1, removed.result);
        Texts16 enabled = removed.of(L"binding-enable");
        ASSERT_EQ(8u, enabled.size());
        enabled.resize(4);
        EXPECT_EQ((Texts16{L"ms_msclient->ms_netbt->ms_tcpip->{port0}",
                           L"ms_server->ms_netbt->ms_tcpip->{port0}",
                           L"ms_netbt->ms_tcpip->{port0}", L"ms_tcpip->{port0}"}),
                  enabled);
        EXPECT_EQ(All(4, kOn), Above(Port(0).guid));
        EXPECT_EQ(All(4, kOn), Above(Port(1).guid));
    }
}

class VlanOnWindows10 : public VlanPageTest {};

TEST_F(VlanOnWindows10, FirstSwitchesOffAndLastSwitchesOnEverythingAboveAPort) {
    Ports(2);
    Deploy(&machine);
    OpenPage(kNic);
    EXPECT_EQ(Port0Before(), Above(Port(0).guid));
    const States other = Above(Port(1).guid);
    vlans->add(L"10", L"Voice");
    EXPECT_EQ(All(kAll, kOff), Above(Port(0).guid));
    EXPECT_EQ(All(kOnTeam, kOn, {{"ms_implat", kOff}}), Above(NewGuid(1)));
    vlans->add(L"20", L"Data");
    Bench(L"message-box IDOK");
    vlans->remove({1});
    EXPECT_EQ(All(kAll, kOff), Above(Port(0).guid)) << "one VLAN is left";
    Bench(L"message-box IDOK");
    vlans->remove({0});
    EXPECT_EQ(All(kAll, kOn), Above(Port(0).guid));
    EXPECT_EQ(other, Above(Port(1).guid));
}

// The teaming protocol's path above the team adapter keeps its state, whichever that is.
TEST_F(VlanOnWindows10, LeavesTheTeamingProtocolAboveATeamAlone) {
    for (bool bound : {true, false}) {
        SCOPED_TRACE(bound);
        Ports(2);
        AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        Deploy(&machine);
        OpenPage(kTeam);
        const std::wstring team = machine.teams[0].guid;
        NetCfgSetPathState(L"qv_qvteamp->" + team, bound);
        auto expected = [&](const char* state, const std::map<std::string, const char*>& others) {
            States states = All(kOnTeam, state, others);
            states.back() = bound ? "qv_qvteamp enabled" : "qv_qvteamp disabled";
            return states;
        };
        EXPECT_EQ(expected(kOn, {{"ms_implat", kOff}}), Above(team));
        vlans->add(L"10", L"Voice");
        EXPECT_EQ(expected(kOff, {}), Above(team));
        Bench(L"message-box IDOK");
        vlans->remove({0});
        EXPECT_EQ(expected(kOn, {}), Above(team));
    }
}

// Bindings of other adapters: a Bluetooth adapter has a binding of the teaming protocol too.
TEST_F(TeamOnWindows10, LeavesAdaptersOfOtherKindsAlone) {
    Ports(2);
    machine.componentSet = L"windows-10";
    MachineAdapter bluetooth = Port(0);
    bluetooth.name = L"bluetooth";
    bluetooth.instance = L"BTH\\MS_BTHPAN\\7&7146BD8&0&2";
    bluetooth.hardwareIds = {L"BTH\\MS_BTHPAN"};
    bluetooth.guid = L"{A0000000-0000-4000-8000-0000000000B0}";
    bluetooth.provider = L"Microsoft";
    bluetooth.characteristics = 1;
    MachineAdapter wan = bluetooth;
    wan.name = L"wan";
    wan.instance = L"SWD\\MSRRAS\\MS_NDISWANIP";
    wan.hardwareIds = {L"ms_ndiswanip"};
    wan.guid = L"{A0000000-0000-4000-8000-0000000000B1}";
    wan.characteristics = 9;
    machine.adapters.push_back(bluetooth);
    machine.adapters.push_back(wan);
    const States ofBluetooth = All(kAll, kOn, {{"ms_implat", kOff}});
    const States ofWan = {"ms_wanarp enabled", "ms_pacer enabled", "ms_wfplwf_lower enabled"};
    Open({1, 2}); // sorted by instance id: the Bluetooth adapter comes first
    ASSERT_EQ(4, page->rows(IDC_NIC_LIST));
    EXPECT_EQ(ofBluetooth, Above(bluetooth.guid));
    EXPECT_EQ(ofWan, Above(wan.guid));
    EXPECT_EQ(1, Create().result);
    EXPECT_EQ(ofBluetooth, Above(bluetooth.guid));
    EXPECT_EQ(ofWan, Above(wan.guid));
    Tick({});
    TickTeams({0});
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ(ofBluetooth, Above(bluetooth.guid));
    EXPECT_EQ(ofWan, Above(wan.guid));
}
