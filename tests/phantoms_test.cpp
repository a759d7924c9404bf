// Devices that are registered and not present: Windows keeps them, the program must not see them.
#include "device/adapter_driver.h"
#include "harness/creation.h"
#include "harness/sample_machine.h"
#include "harness/bench_device.h"

using Ids = std::vector<std::wstring>;

static Ids DevicesWith(DWORD flags) {
    Ids ids;
    HDEVINFO set = BENCHED(SetupDiGetClassDevsW)(&GUID_DEVCLASS_NET, nullptr, nullptr, flags);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); index++) {
        wchar_t id[200] = {};
        SetupDiGetDeviceInstanceIdW(set, &device, id, ARRAYSIZE(id), nullptr);
        ids.push_back(id);
    }
    BENCHED(SetupDiDestroyDeviceInfoList)(set);
    return ids;
}

// Two ports and a team adapter's device that are present, one of each that is not.
class Phantom : public CreationTest {
  protected:
    void SetUp() override {
        CreationTest::SetUp();
        Ports(0);
        machine.adapters = {SamplePort(0), SamplePort(1), SamplePort(2), SampleVirtual(0)};
        port().phantom = true;
        team().phantom = true;
    }
    MachineAdapter& port() {
        return machine.adapters[1];
    }
    MachineAdapter& team() {
        return machine.adapters[3];
    }
};

TEST_F(Phantom, IsListedOnlyWithoutTheFlagForPresentDevices) {
    Build();
    EXPECT_THAT(DevicesWith(0),
                testing::UnorderedElementsAre(machine.adapters[0].instance, port().instance,
                                              machine.adapters[2].instance, team().instance));
    EXPECT_THAT(
        DevicesWith(DIGCF_PRESENT),
        testing::UnorderedElementsAre(machine.adapters[0].instance, machine.adapters[2].instance));
}

TEST_F(Phantom, HasTheRecordsOfADeviceAndNoDriver) {
    Build();
    const std::string dump = MachineDump();
    const std::string device = "device\\" + std::string(port().instance.begin(), //
                                                        port().instance.end());
    EXPECT_EQ(1u, DumpLines(dump, device + "\\enum\\HardwareID").size());
    EXPECT_EQ(1u, DumpLines(dump, device + "\\driver\\NetCfgInstanceId").size());
    EXPECT_EQ(1u, DumpLines(dump, device + "\\bench\\Present = REG_DWORD 0x00000000").size());
    EXPECT_EQ(1u, DumpLines(dump, device + "\\bench\\Started = REG_DWORD 0x00000000").size());
    EXPECT_TRUE(RegistryHas(NETWORK_CONNECTIONS_KEY L"\\" + port().guid + L"\\Connection", //
                            L"PnpInstanceID"));
    const GUID guid = Guid(port().guid);
    EXPECT_FALSE(AdapterDriverOpens(&guid));
}

TEST_F(Phantom, DoesNotStartWhenItIsEnabled) {
    Build();
    BenchDevice device(port().instance);
    EXPECT_TRUE(device.change(DICS_DISABLE, DICS_FLAG_GLOBAL));
    EXPECT_TRUE(device.change(DICS_ENABLE, DICS_FLAG_GLOBAL));
    const GUID guid = Guid(port().guid);
    EXPECT_FALSE(AdapterDriverOpens(&guid));
}

TEST_F(Phantom, IsNotInTheNetworkConfiguration) {
    Build();
    const std::string dump = MachineDump();
    const std::string present(machine.adapters[0].guid.begin(), machine.adapters[0].guid.end());
    const std::string absent(port().guid.begin(), port().guid.end());
    EXPECT_EQ(1u, DumpLines(dump, "path\\ms_tcpip->" + present).size());
    EXPECT_EQ(0u, DumpLines(dump, "path\\ms_tcpip->" + absent).size());
}

TEST_F(Phantom, IsRemovedWithTheMachine) {
    Build();
    MachineReset();
    EXPECT_EQ(Ids{}, DevicesWith(0));
}

TEST_F(Phantom, IsInNoListOfThePage) {
    Open({});
    EXPECT_EQ((Texts16{L"Port 0", L"Port 2"}), page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{}, page->rowTexts(IDC_TEAM_LIST));
}

TEST_F(Phantom, StaysAsItIsWhenATeamIsCreatedAndRemoved) {
    const std::string port1(port().instance.begin(), port().instance.end());
    Open({0, 1});
    const std::string before = MachineDump();
    EXPECT_EQ(1, Create().result);
    EXPECT_EQ(Texts16{L"Team0"}, page->rowTexts(IDC_TEAM_LIST));
    for (const std::string& device : {"device\\" + port1, std::string("device\\ROOT\\NET\\0000")})
        EXPECT_EQ(DumpLines(before, device), DumpLines(MachineDump(), device));
    EXPECT_EQ(1u, DumpLines(MachineDump(), "device\\ROOT\\NET\\0001\\enum\\HardwareID").size())
        << "the new device takes no instance id of a phantom";
}

TEST_F(Phantom, IsReadFromAMachineFile) {
    Machine read;
    std::wstring error;
    const std::string members = "guid = {A0000000-0000-4000-8000-000000000001}\n";
    ASSERT_TRUE(MachineParse("[adapter port0]\ninstance = PCI\\A\\1\npresent = phantom\n" +
                                 members + "[team t]\nmembers = port0\npresent = phantom\n" +
                                 members + "[vlan v]\nhost = t\npresent = phantom\n" + members,
                             L"test", &read, &error))
        << testing::PrintToString(error);
    EXPECT_TRUE(read.adapters[0].present);
    EXPECT_TRUE(read.adapters[0].phantom);
    EXPECT_TRUE(read.teams[0].phantom);
    EXPECT_TRUE(read.vlans[0].phantom);
    EXPECT_FALSE(MachineParse("[team t]\npresent = no\n", L"test", &read, &error));
}

TEST_F(Phantom, OfATeamWithRecordsKeepsItsMembersOutOfTheList) {
    Ports(3);
    AddTeam(L"Alpha", 0, 1, {L"port0", L"port1"});
    machine.teams[0].phantom = true;
    Open({});
    EXPECT_EQ(Texts16{L"Port 2"}, page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{}, page->rowTexts(IDC_TEAM_LIST));
}
