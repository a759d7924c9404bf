// What a driver reads when its device starts: an adapter its address, the miniport its VLAN, the
// network connections whether an adapter is hidden. What is written later waits for the next start.
#include "device/device_state.h"
#include "harness/restart.h"

constexpr DWORD kPermanentOid = 0x01010101;
constexpr DWORD kCurrentOid = 0x01010102;

class DeviceEffects : public RestartTest {
  protected:
    // Disables the adapter and enables it again.
    static void Restart(const MachineAdapter& adapter) {
        GUID guid = Guid(adapter.guid);
        DisableEnableNic(&guid);
    }
    std::string CurrentAddress() {
        return AskDriver(Port(0).guid, kCurrentOid);
    }
};

TEST_F(DeviceEffects, AdapterUsesNetworkAddressFromItsNextStartOn) {
    LoadAndBuild(L"two-ports");
    SetAddress(0, L"0251560000C1");
    EXPECT_EQ("025156000001", CurrentAddress()) << "not started since";
    Restart(Port(0));
    EXPECT_EQ("0251560000C1", CurrentAddress());
    EXPECT_EQ("025156000001", AskDriver(Port(0).guid, kPermanentOid));
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 0251560000C1",
                      "port1\\bench\\CurrentAddress = 025156000002"}),
              Addresses());
    SetAddress(0, L"0251560000C2");
    Restart(Port(0));
    EXPECT_EQ("0251560000C2", CurrentAddress());
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, DriverKey(0).c_str(), L"NetworkAddress");
    EXPECT_EQ("0251560000C2", CurrentAddress()) << "not started since";
    Restart(Port(0));
    EXPECT_EQ("025156000001", CurrentAddress());
}

TEST_F(DeviceEffects, AdapterIgnoresTextThatIsNoAddress) {
    LoadAndBuild(L"two-ports");
    for (const wchar_t* text :
         {L"", L"02515600AA0", L"02515600AA001", L"02-51-56-00-AA", L"any text "}) {
        SetAddress(0, text);
        Restart(Port(0));
        EXPECT_EQ("025156000001", CurrentAddress()) << testing::PrintToString(text);
    }
}

TEST_F(DeviceEffects, DriverThatRefusesItsAddressGoesOnRefusing) {
    Load(L"two-ports");
    Port(0).answers[kCurrentOid] = {true, 0xC00000BB, {}};
    Build();
    SetAddress(0, L"0251560000C1");
    Restart(Port(0));
    EXPECT_EQ("error 50", CurrentAddress());
}

TEST_F(DeviceEffects, DisabledAdapterKeepsWhatItHasReadUntilItStarts) {
    LoadAndBuild(L"two-ports");
    GUID guid = Guid(Port(0).guid);
    Bench(L"fault SetupDiChangeState 2 5");
    Restart(Port(0)); // does not start again
    SetAddress(0, L"0251560000C1");
    RegistrySet(DriverKey(0), MachineValue::Number(L"Characteristics", 0x8C));
    EXPECT_EQ("port0\\bench\\CurrentAddress = 025156000001", Addresses()[0]);
    EXPECT_EQ("port0\\connection = listed", Connections()[0]);
    DisableEnableNic(&guid);
    EXPECT_EQ("port0\\bench\\CurrentAddress = 0251560000C1", Addresses()[0]);
    EXPECT_EQ("port0\\connection = hidden", Connections()[0]);
}

TEST_F(DeviceEffects, MachineStandsAsIfEveryDeviceHadStartedWithItsValues) {
    Ports(3);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    AddVlan(L"team-1", 10, L"Voice");
    Port(2).disabled = 1;
    Port(2).characteristics = 0x8C;
    Build();
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 0251560000B1",
                      "port1\\bench\\CurrentAddress = 0251560000B1",
                      "port2\\bench\\CurrentAddress = 025156000001"}),
              Addresses());
    EXPECT_EQ((Texts8{"port0\\connection = hidden", "port1\\connection = hidden",
                      "port2\\connection = hidden", "ROOT\\NET\\0000\\connection = hidden",
                      "ROOT\\NET\\0001\\connection = listed"}),
              Connections());
    EXPECT_EQ(Texts8{"ROOT\\NET\\0001\\bench\\VlanInUse = REG_DWORD 0x0000000A"}, Vlans());
}

// From here on: the program writes first and restarts then.

TEST_F(DeviceEffects, MembersUseTheTeamsAddressAndAreHiddenOnceTheTeamIsCreated) {
    OpenPorts(3, kSimpleMachine);
    MakeTeam({0, 2}, 1, L"Uplink");
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 02515600AA01",
                      "port1\\bench\\CurrentAddress = 025156000001",
                      "port2\\bench\\CurrentAddress = 02515600AA01"}),
              Addresses());
    EXPECT_EQ((Texts8{"port0\\connection = hidden", "port1\\connection = listed",
                      "port2\\connection = hidden", "ROOT\\NET\\0000\\connection = listed"}),
              Connections());
}

TEST_F(DeviceEffects, MembersUseTheirOwnAddressAndAreListedOnceTheTeamIsRemoved) {
    Ports(2);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    Start();
    RemoveTeams({0});
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 025156000001",
                      "port1\\bench\\CurrentAddress = 025156000001"}),
              Addresses());
    EXPECT_EQ((Texts8{"port0\\connection = listed", "port1\\connection = listed"}), Connections());
}

TEST_F(DeviceEffects, AdapterIsHiddenAndListedAgainByShowHideNic) {
    LoadAndBuild(L"two-ports");
    GUID guid = Guid(Port(0).guid);
    ShowHideNic(&guid, 1);
    EXPECT_EQ("port0\\connection = hidden", Connections()[0]);
    ShowHideNic(&guid, 0);
    EXPECT_EQ("port0\\connection = listed", Connections()[0]);
}

TEST_F(DeviceEffects, VlanAdapterUsesItsIdOnceTheVlanIsAdded) {
    LoadAndBuild(L"two-ports");
    MakeVlans(Guid(Port(0).guid), L"Port 0", 2, FALSE);
    EXPECT_EQ((Texts8{"ROOT\\NET\\0000\\bench\\VlanInUse = REG_DWORD 0x00000000",
                      "ROOT\\NET\\0001\\bench\\VlanInUse = REG_DWORD 0x00000001"}),
              Vlans());
}
