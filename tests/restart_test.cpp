// What a restart of the machine does to it.
#include "device/bindings.h"
#include "harness/devices.h"
#include "harness/restart.h"

constexpr DWORD kCurrentOid = 0x01010102;
static const wchar_t kVolatile[] = L"Software\\QvBench\\Volatile";

// The bench's key of a device.
static std::wstring BenchKey(std::wstring instance) {
    std::replace(instance.begin(), instance.end(), L'\\', L'#');
    return L"Software\\QvBench\\Devices\\" + instance;
}

class Restart : public RestartTest {
  protected:
    void Tell(const std::wstring& instance, const wchar_t* name, DWORD number) {
        RegistrySet(BenchKey(instance), MachineValue::Number(name, number));
    }
};

TEST_F(Restart, ChangesNothingOfAMachineAtRest) {
    for (const wchar_t* name : {L"two-ports", L"three-teams", L"team-vlans", L"mixed"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        LoadAndBuild(name);
        const std::string before = MachineDump();
        RestartMachine();
        EXPECT_EQ("", ChangedSince(before));
    }
}

TEST_F(Restart, FailsWithoutAMachine) {
    std::wstring error;
    MachineReset();
    EXPECT_FALSE(MachineRestart(&error));
    EXPECT_EQ(L"no machine stands", error);
}

TEST_F(Restart, DeletesVolatileKeys) {
    LoadAndBuild(L"two-ports");
    ComeBackToThis();
    const std::wstring key = L"System\\CurrentControlSet\\Services\\qvteamp\\Volatile";
    RegistrySet(key + L"\\Below", MachineValue::Number(L"Value", 1));
    RegistrySet(kVolatile, MachineValue::Text(key, L""));
    RestartMachine();
    EXPECT_FALSE(RegistryHasKey(kVolatile));
    ExpectBack();
}

TEST_F(Restart, StartsTheDevicesThatAreEnabled) {
    Load(L"two-ports");
    Port(1).disabled = 2;
    Build();
    for (int port : {0, 1})
        SetAddress(port, L"0251560000C1");
    RestartMachine();
    EXPECT_EQ("0251560000C1", AskDriver(Port(0).guid, kCurrentOid));
    EXPECT_EQ("error 2", AskDriver(Port(1).guid, kCurrentOid)) << "disabled, so it does not open";
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 0251560000C1",
                      "port1\\bench\\CurrentAddress = 025156000002"}),
              Addresses());
}

TEST_F(Restart, DoesNotStartDevicesThatAreNotPresent) {
    LoadAndBuild(L"two-ports");
    Tell(Port(1).instance, L"Present", 0);
    RestartMachine();
    EXPECT_EQ("error 2", AskDriver(Port(1).guid, kCurrentOid));
    EXPECT_EQ(Texts8{"port0\\connection = listed"}, Connections());
    EXPECT_EQ(2u, InUse("bench\\Opens").size()) << "it is still registered";
}

TEST_F(Restart, EndsWhatProgramsHaveOpen) {
    LoadAndBuild(L"two-ports");
    HANDLE device = OpenDriver(Port(0).guid);
    EXPECT_EQ("025156000001", AskDriver(device, kCurrentOid));
    RestartMachine();
    EXPECT_NE("025156000001", AskDriver(device, kCurrentOid));
    CloseHandle(device);
    EXPECT_EQ("025156000001", AskDriver(Port(0).guid, kCurrentOid));
}

TEST_F(Restart, CarriesOutWhatHasBeenPending) {
    Load(L"team-vlans");
    machine.adapters[1].disabled = 2;
    Build();
    Tell(machine.adapters[0].instance, L"PendingDisabled", 1);
    Tell(machine.adapters[1].instance, L"PendingDisabled", 0);
    Tell(L"ROOT\\NET\\0002", L"PendingRemoval", 1);
    RestartMachine();
    EXPECT_EQ((Texts8{"port0\\bench\\Disabled = REG_DWORD 0x00000001",
                      "port1\\bench\\Disabled = REG_DWORD 0x00000000"}),
              (Texts8{InUse("bench\\Disabled")[0], InUse("bench\\Disabled")[1]}));
    EXPECT_EQ((Texts8{"port0\\bench\\Started = REG_DWORD 0x00000000",
                      "port1\\bench\\Started = REG_DWORD 0x00000001"}),
              (Texts8{InUse("bench\\Started")[0], InUse("bench\\Started")[1]}));
    EXPECT_EQ(Texts8{}, InUse("bench\\PendingDisabled"));
    EXPECT_EQ(Texts8{"ROOT\\NET\\0001\\bench\\VlanInUse = REG_DWORD 0x0000000A"}, Vlans());
    for (const std::string& line : DumpLines(MachineDump(), "device\\"))
        EXPECT_EQ(std::string::npos, line.find("ROOT\\NET\\0002")) << line;
    EXPECT_FALSE(RegistryHasKey(BenchKey(L"ROOT\\NET\\0002")));
}

TEST_F(Restart, ReleasesTheConfigurationLock) {
    Load(L"locked");
    machine.lockSeconds = INFINITE;
    Build();
    GUID guid = Guid(Port(0).guid);
    EXPECT_GE(0, EnableProtocolNicBindings(nullptr, &guid, 0, 1));
    RestartMachine();
    EXPECT_LT(0, EnableProtocolNicBindings(nullptr, &guid, 0, 1));
}

// A team whose adapter has not published its address when the machine restarts.
class RestartPublication : public Restart {
  protected:
    void BuildTeam(const wchar_t* teamAddress) {
        Ports(2);
        AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        machine.teams[0].address.clear();
        machine.teamAddress = teamAddress;
        Build();
        RestartMachine();
    }
    static bool IsPublished() {
        return DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\driver\\NetworkAddress = ")
                   .size() == 1;
    }
};

TEST_F(RestartPublication, HappensWhenTheDeviceStarts) {
    BuildTeam(L"at once");
    EXPECT_TRUE(IsPublished());
}

TEST_F(RestartPublication, HappensTheSecondsAfterTheStartThatTheMachineSays) {
    BuildTeam(L"after 9");
    EXPECT_FALSE(IsPublished());
    Bench(L"advance 8999");
    EXPECT_FALSE(IsPublished());
    Bench(L"advance 1");
    EXPECT_TRUE(IsPublished());
}

TEST_F(RestartPublication, NeverHappensOnAMachineThatSaysSo) {
    BuildTeam(L"never");
    Bench(L"advance 100000");
    EXPECT_FALSE(IsPublished());
}

TEST_F(Restart, KeepsTeamsAndVlansThatWereMadeAndNoneThatWereRemoved) {
    Ports(4);
    AddTeam(L"Old", 0, 1, {L"port2", L"port3"});
    Start();
    MakeTeam({0, 1}, 1, L"Uplink");
    MakeVlans(g_teamAdapters[1].guid, L"Uplink", 1, TRUE);
    RemoveTeamNamed(L"Old");
    const std::string before = MachineDump();
    RestartMachine();
    EXPECT_EQ("", ChangedSince(before));
    Reopen();
    EXPECT_EQ(Texts16{L"Uplink"}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ((Texts16{L"Port 2", L"Port 3"}), page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(1, CountVlans(g_teamAdapters[0].guid, TRUE));
}
