// The stand-ins of SetupDiChangeState and SetupDiRemoveDevice, called directly: what they do with a
// device that cannot be stopped.
#include "harness/devices.h"
#include "harness/restart.h"

class PendingChange : public RestartTest {
  protected:
    // This program's own calls are the bench's from here on, so all tests share one machine.
    static void SetUpTestSuite() {
        Machine machine;
        std::wstring error;
        ASSERT_TRUE(MachineLoad(L"team-vlans", &machine, &error)) << testing::PrintToString(error);
        machine.FindAdapter(L"port0")->stops = false;
        machine.FindAdapter(L"port1")->stops = false;
        machine.FindAdapter(L"port2")->stops = false;
        machine.FindAdapter(L"port2")->disabled = 2;
        for (MachineVlan& vlan : machine.vlans)
            vlan.stops = false;
        ASSERT_TRUE(MachineBuild(machine, &error)) << testing::PrintToString(error);
        ASSERT_TRUE(BenchAttach(GetModuleHandleW(nullptr)));
    }
    void SetUp() override {
        Load(L"team-vlans");
        Bench(L"reload");
        ClearJournal();
    }
    static bool Change(DeviceSet* devices, const std::wstring& instance, DWORD change) {
        SP_PROPCHANGE_PARAMS params = {{sizeof(SP_CLASSINSTALL_HEADER), DIF_PROPERTYCHANGE},
                                       change,
                                       DICS_FLAG_CONFIGSPECIFIC,
                                       0};
        SP_DEVINFO_DATA* data = devices->find(instance);
        return SetupDiSetClassInstallParamsW(devices->handle(), data, &params.ClassInstallHeader,
                                             sizeof(params)) &&
               SetupDiChangeState(devices->handle(), data);
    }
    static bool Remove(DeviceSet* devices, const std::wstring& instance) {
        SP_REMOVEDEVICE_PARAMS params = {
            {sizeof(SP_CLASSINSTALL_HEADER), DIF_REMOVE}, DI_REMOVEDEVICE_GLOBAL, 0};
        SP_DEVINFO_DATA* data = devices->find(instance);
        return SetupDiSetClassInstallParamsW(devices->handle(), data, &params.ClassInstallHeader,
                                             sizeof(params)) &&
               SetupDiRemoveDevice(devices->handle(), data);
    }
    static bool AsksForRestart(DeviceSet* devices, const std::wstring& instance) {
        SP_DEVINSTALL_PARAMS_W params = {};
        params.cbSize = sizeof(params);
        EXPECT_TRUE(
            SetupDiGetDeviceInstallParamsW(devices->handle(), devices->find(instance), &params));
        return (params.Flags & DI_NEEDREBOOT) != 0;
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
    DeviceSet devices;
    EXPECT_FALSE(AsksForRestart(&devices, Instance(0)));
    EXPECT_TRUE(Change(&devices, Instance(0), DICS_DISABLE));
    EXPECT_TRUE(AsksForRestart(&devices, Instance(0)));
    EXPECT_FALSE(AsksForRestart(&devices, Instance(1))) << "of another device";
    EXPECT_EQ(Texts16{L"device-disable " + Instance(0) + L" scope=config pending"}, Changes());
    const std::wstring id = Instance(0);
    EXPECT_EQ("+ device\\" + std::string(id.begin(), id.end()) +
                  "\\bench\\PendingDisabled = REG_DWORD 0x00000002\n",
              ChangedSince(before));
    DeviceSet others;
    EXPECT_FALSE(AsksForRestart(&others, Instance(0))) << "the flag is that of one set";
}

TEST_F(PendingChange, IsTakenBackByTheOppositeChange) {
    DeviceSet devices;
    EXPECT_TRUE(Change(&devices, Instance(1), DICS_DISABLE));
    EXPECT_TRUE(Change(&devices, Instance(1), DICS_ENABLE));
    EXPECT_EQ((Texts16{L"device-disable " + Instance(1) + L" scope=config pending",
                       L"device-enable " + Instance(1) + L" scope=config pending"}),
              Changes());
    for (const std::string& fact : InUse("bench\\PendingDisabled"))
        EXPECT_EQ(std::string::npos, fact.find("port1")) << fact;
}

TEST_F(PendingChange, IsNotWhatEnablingAnEnabledDeviceAsksFor) {
    DeviceSet devices;
    EXPECT_TRUE(Change(&devices, Instance(1), DICS_ENABLE));
    EXPECT_FALSE(AsksForRestart(&devices, Instance(1)));
}

TEST_F(PendingChange, IsWhatAPropertyChangeAsksFor) {
    DeviceSet devices;
    EXPECT_TRUE(Change(&devices, Instance(1), DICS_PROPCHANGE));
    EXPECT_TRUE(AsksForRestart(&devices, Instance(1)));
    EXPECT_EQ(Texts16{L"device-restart " + Instance(1) + L" pending"}, Changes());
}

// Nothing has to stop.
TEST_F(PendingChange, IsNotWhatStartingADisabledDeviceAsksFor) {
    DeviceSet devices;
    EXPECT_TRUE(Change(&devices, Instance(2), DICS_ENABLE));
    EXPECT_FALSE(AsksForRestart(&devices, Instance(2)));
    EXPECT_EQ(Texts16{L"device-enable " + Instance(2) + L" scope=config"}, Changes());
}

TEST_F(PendingChange, LeavesDeviceThatIsRemovedInPlace) {
    const std::string before = MachineDump();
    DeviceSet devices;
    EXPECT_TRUE(Remove(&devices, kVoice));
    EXPECT_TRUE(AsksForRestart(&devices, kVoice));
    EXPECT_EQ(Texts16{std::wstring(L"device-remove ") + kVoice + L" pending"}, Changes());
    EXPECT_EQ("+ device\\ROOT\\NET\\0001\\bench\\PendingRemoval = REG_DWORD 0x00000001\n",
              ChangedSince(before));
    EXPECT_TRUE(Remove(&devices, kVoice)) << "once more";
}

TEST_F(PendingChange, IsRefusedToSomebodyWhoIsNoAdministrator) {
    const std::string before = MachineDump();
    Bench(L"admin 0");
    DeviceSet devices;
    SetLastError(0xdeadbeef);
    EXPECT_FALSE(Change(&devices, Instance(1), DICS_DISABLE));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    SetLastError(0xdeadbeef);
    EXPECT_FALSE(Remove(&devices, L"ROOT\\NET\\0002"));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    EXPECT_EQ("", ChangedSince(before));
}
