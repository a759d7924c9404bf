// What SetupDiChangeState and SetupDiRemoveDevice do with a device that cannot be stopped.
#include "harness/restart.h"
#include "harness/bench_device.h"

class PendingChange : public RestartTest {
  protected:
    void SetUp() override {
        Load(L"team-vlans");
        for (MachineAdapter& adapter : machine.adapters)
            adapter.stops = false;
        machine.FindAdapter(L"port2")->disabled = 2;
        for (MachineVlan& vlan : machine.vlans)
            vlan.stops = false;
        Build();
    }
    static bool AsksForRestart(BenchDevice* device) {
        SP_DEVINSTALL_PARAMS_W params;
        EXPECT_TRUE(device->readParams(&params));
        return (params.Flags & DI_NEEDREBOOT) != 0;
    }
    static bool Change(BenchDevice* device, DWORD change) {
        return device->change(change, DICS_FLAG_CONFIGSPECIFIC);
    }
    std::wstring Instance(int port) {
        return machine.adapters[port].instance;
    }
    Texts16 Changes() const {
        return Lines(::Changes(Journal()));
    }
};

static const wchar_t kVoice[] = L"ROOT\\NET\\0001";

TEST_F(PendingChange, LeavesDeviceRunningAndAsksForRestart) {
    const std::string before = MachineDump();
    BenchDevice device(Instance(0));
    EXPECT_FALSE(AsksForRestart(&device));
    EXPECT_TRUE(Change(&device, DICS_DISABLE));
    EXPECT_TRUE(AsksForRestart(&device));
    EXPECT_EQ(Texts16{L"device-disable " + Instance(0) + L" scope=config pending"}, Changes());
    const std::wstring id = Instance(0);
    EXPECT_EQ("+ device\\" + std::string(id.begin(), id.end()) +
                  "\\bench\\PendingDisabled = REG_DWORD 0x00000002\n",
              ChangedSince(before));
    BenchDevice again(Instance(0));
    EXPECT_FALSE(AsksForRestart(&again)) << "the flag is that of one set";
}

TEST_F(PendingChange, IsTakenBackByTheOppositeChange) {
    const std::string before = MachineDump();
    BenchDevice device(Instance(1));
    EXPECT_TRUE(Change(&device, DICS_DISABLE));
    EXPECT_TRUE(AsksForRestart(&device));
    EXPECT_TRUE(Change(&device, DICS_ENABLE));
    EXPECT_TRUE(AsksForRestart(&device));
    EXPECT_EQ((Texts16{L"device-disable " + Instance(1) + L" scope=config pending",
                       L"device-enable " + Instance(1) + L" scope=config pending"}),
              Changes());
    EXPECT_EQ("", ChangedSince(before));
}

TEST_F(PendingChange, IsNotWhatEnablingAnEnabledDeviceAsksFor) {
    BenchDevice device(Instance(1));
    EXPECT_TRUE(Change(&device, DICS_ENABLE));
    EXPECT_FALSE(AsksForRestart(&device));
}

TEST_F(PendingChange, IsWhatAPropertyChangeAsksFor) {
    BenchDevice device(Instance(1));
    EXPECT_TRUE(Change(&device, DICS_PROPCHANGE));
    EXPECT_TRUE(AsksForRestart(&device));
    EXPECT_EQ(Texts16{L"device-restart " + Instance(1) + L" pending"}, Changes());
}

// Nothing has to stop.
TEST_F(PendingChange, IsNotWhatStartingADisabledDeviceAsksFor) {
    BenchDevice device(Instance(2));
    EXPECT_TRUE(Change(&device, DICS_ENABLE));
    EXPECT_FALSE(AsksForRestart(&device));
    EXPECT_EQ(Texts16{L"device-enable " + Instance(2) + L" scope=config"}, Changes());
}

TEST_F(PendingChange, LeavesDeviceThatIsRemovedInPlace) {
    const std::string before = MachineDump();
    BenchDevice device(kVoice);
    EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_GLOBAL));
    EXPECT_TRUE(AsksForRestart(&device));
    EXPECT_EQ(Texts16{std::wstring(L"device-remove ") + kVoice + L" pending"}, Changes());
    EXPECT_EQ("+ device\\ROOT\\NET\\0001\\bench\\PendingRemoval = REG_DWORD 0x00000001\n",
              ChangedSince(before));
    EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_GLOBAL)) << "once more";
    EXPECT_TRUE(AsksForRestart(&device));
}

TEST_F(PendingChange, IsMisuseWhenTheCallerDoesNotReadThatARestartIsDue) {
    {
        BenchDevice device(Instance(0));
        EXPECT_TRUE(Change(&device, DICS_DISABLE));
    }
    {
        BenchDevice device(kVoice);
        EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_GLOBAL));
    }
    const std::string misuses = Misuses();
    EXPECT_NE(std::string::npos, misuses.find("SetupDiChangeState")) << misuses;
    EXPECT_NE(std::string::npos, misuses.find("SetupDiRemoveDevice: ROOT\\NET\\0001")) << misuses;
}

TEST_F(PendingChange, IsRefusedToSomebodyWhoIsNoAdministrator) {
    const std::string before = MachineDump();
    Bench(L"admin 0");
    BenchDevice device(Instance(1));
    EXPECT_REFUSED(ERROR_ACCESS_DENIED, Change(&device, DICS_DISABLE));
    BenchDevice vlan(kVoice);
    EXPECT_REFUSED(ERROR_ACCESS_DENIED, vlan.remove(DI_REMOVEDEVICE_GLOBAL));
    EXPECT_EQ("", ChangedSince(before));
}
