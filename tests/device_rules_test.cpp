// What SetupAPI does with scopes, hardware profiles and state changes, and what the program asks of
// it.
#include "device/adapter_driver.h"
#include "device/device_state.h"
#include "harness/removal.h"
#include "harness/bench_device.h"

using TextList = std::vector<std::wstring>;

static const wchar_t kVoice[] = L"ROOT\\NET\\0000"; // vlan-members
static const wchar_t kVoiceGuid[] = L"{C0000000-0000-4000-8000-000000000001}";
static const wchar_t kPort0[] = L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&08";
static const wchar_t kPort0Guid[] = L"{A0000000-0000-4000-8000-000000000001}";
constexpr DWORD kNoProfile = 7;

class DeviceRule : public MachineTest {
  protected:
    void TearDown() override {
        Misuses(); // these tests misuse calls on purpose
        MachineTest::TearDown();
    }
    void BuildWithProfiles(DWORD profiles) {
        Load(L"vlan-members");
        machine.hardwareProfiles = profiles;
        Build();
    }
    static bool Opens(const wchar_t* guid) {
        const GUID parsed = Guid(guid);
        return AdapterDriverOpens(&parsed);
    }
    static size_t EnumLines(const std::string& device) {
        return DumpLines(MachineDump(), "device\\" + device + "\\enum").size();
    }
    static TextList Told() {
        return Lines(Changes(Journal()));
    }
};

class SetupDiOpenDevRegKeyRule : public DeviceRule {};
class SetupDiRemoveDeviceRule : public DeviceRule {};
class SetupDiChangeStateRule : public DeviceRule {};
class InstallParamsRule : public DeviceRule {};

TEST_F(SetupDiOpenDevRegKeyRule, OpensAnotherKeyForOneProfile) {
    BuildWithProfiles(2);
    BenchDevice device(kVoice);
    EXPECT_REFUSED(ERROR_KEY_DOES_NOT_EXIST,
                   device.openKey(DICS_FLAG_CONFIGSPECIFIC, 0) != INVALID_HANDLE_VALUE);
    EXPECT_REFUSED(ERROR_KEY_DOES_NOT_EXIST,
                   device.openKey(DICS_FLAG_CONFIGSPECIFIC, 2, DIREG_DEV) != INVALID_HANDLE_VALUE);
    EXPECT_REFUSED(ERROR_INVALID_HWPROFILE,
                   device.openKey(DICS_FLAG_CONFIGSPECIFIC, kNoProfile) != INVALID_HANDLE_VALUE);
    const std::wstring branch = L"System\\CurrentControlSet\\Hardware Profiles\\0001";
    const std::wstring driver =
        RegistryText(L"System\\CurrentControlSet\\Enum\\" + std::wstring(kVoice), L"Driver");
    RegistrySet(branch + L"\\System\\CurrentControlSet\\Control\\Class\\" + driver,
                MachineValue::Number(L"Own", 1));
    HKEY key = device.openKey(DICS_FLAG_CONFIGSPECIFIC, 0);
    ASSERT_NE(INVALID_HANDLE_VALUE, key);
    EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key, L"Own", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND,
              RegQueryValueExW(key, L"NetCfgInstanceId", nullptr, nullptr, nullptr, nullptr));
    BENCHED(RegCloseKey)(key);
    RegistryDeleteTree(L"System\\CurrentControlSet\\Hardware Profiles\\0001\\System");
}

TEST_F(SetupDiOpenDevRegKeyRule, IgnoresTheProfileOfAGlobalKey) {
    BuildWithProfiles(1);
    BenchDevice device(kVoice);
    HKEY key = device.openKey(DICS_FLAG_GLOBAL, kNoProfile);
    ASSERT_NE(INVALID_HANDLE_VALUE, key);
    EXPECT_EQ(ERROR_SUCCESS,
              RegQueryValueExW(key, L"NetCfgInstanceId", nullptr, nullptr, nullptr, nullptr));
    BENCHED(RegCloseKey)(key);
}

TEST_F(SetupDiRemoveDeviceRule, LeavesADeviceRegisteredThatAnotherProfileHas) {
    BuildWithProfiles(2);
    {
        BenchDevice device(kVoice);
        EXPECT_TRUE(Opens(kVoiceGuid));
        EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_CONFIGSPECIFIC));
    }
    EXPECT_EQ(TextList{std::wstring(L"device-remove ") + kVoice + L" profile=0"}, Told());
    EXPECT_NE(0u, EnumLines("ROOT\\NET\\0000"));
    EXPECT_FALSE(Opens(kVoiceGuid));
    EXPECT_EQ(1u, DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\bench\\Present").size());
    BenchDevice device(kVoice);
    EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_CONFIGSPECIFIC, 2));
    EXPECT_EQ(0u, EnumLines("ROOT\\NET\\0000")) << "the last profile";
}

TEST_F(SetupDiRemoveDeviceRule, ForAnotherProfileLeavesTheDeviceRunning) {
    BuildWithProfiles(2);
    BenchDevice device(kVoice);
    EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_CONFIGSPECIFIC, 2));
    EXPECT_TRUE(Opens(kVoiceGuid));
    EXPECT_EQ(0u, DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\bench\\Present").size());
}

TEST_F(SetupDiRemoveDeviceRule, IsGlobalForTheOnlyProfile) {
    BuildWithProfiles(1);
    BenchDevice device(kVoice);
    EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_CONFIGSPECIFIC));
    EXPECT_EQ(0u, EnumLines("ROOT\\NET\\0000"));
    EXPECT_EQ(TextList{std::wstring(L"device-remove ") + kVoice}, Told());
}

TEST_F(SetupDiRemoveDeviceRule, RefusesAnUnknownProfileAndADeviceOfABus) {
    BuildWithProfiles(2);
    const std::string before = MachineDump();
    BenchDevice device(kVoice);
    EXPECT_REFUSED(ERROR_INVALID_HWPROFILE,
                   device.remove(DI_REMOVEDEVICE_CONFIGSPECIFIC, kNoProfile));
    BenchDevice port(kPort0);
    EXPECT_REFUSED(ERROR_INVALID_PARAMETER, port.remove(DI_REMOVEDEVICE_CONFIGSPECIFIC));
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(TextList{}, Told());
}

TEST_F(SetupDiRemoveDeviceRule, ReportsAProfileInAGlobalRemoval) {
    BuildWithProfiles(1);
    BenchDevice device(kVoice);
    EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_GLOBAL, kNoProfile));
    EXPECT_EQ(0u, EnumLines("ROOT\\NET\\0000"));
    EXPECT_EQ(TextList{L"SetupDiRemoveDevice: HwProfile 7 in a global removal"}, Misuse());
}

TEST_F(SetupDiChangeStateRule, OfAnotherProfileOnlySetsAFlag) {
    BuildWithProfiles(2);
    BenchDevice port(kPort0);
    EXPECT_TRUE(port.change(DICS_DISABLE, DICS_FLAG_CONFIGSPECIFIC, 2));
    EXPECT_TRUE(Opens(kPort0Guid));
    EXPECT_EQ(TextList{std::wstring(L"device-disable ") + kPort0 + L" scope=config profile=2"},
              Told());
    const std::string flag = "device\\" + std::string(kPort0, kPort0 + wcslen(kPort0)) +
                             "\\bench\\DisabledProfiles = REG_DWORD ";
    EXPECT_EQ(1u, DumpLines(MachineDump(), flag + "0x00000002").size());
    EXPECT_TRUE(port.change(DICS_ENABLE, DICS_FLAG_CONFIGSPECIFIC, 2));
    EXPECT_EQ(1u, DumpLines(MachineDump(), flag + "0x00000000").size());
    EXPECT_TRUE(port.change(DICS_DISABLE, DICS_FLAG_CONFIGSPECIFIC, 1)) << "the current one";
    EXPECT_FALSE(Opens(kPort0Guid));
    EXPECT_TRUE(port.change(DICS_ENABLE, DICS_FLAG_CONFIGSPECIFIC));
    EXPECT_TRUE(Opens(kPort0Guid));
}

TEST_F(SetupDiChangeStateRule, RefusesAnUnknownProfile) {
    BuildWithProfiles(2);
    BenchDevice port(kPort0);
    EXPECT_REFUSED(ERROR_INVALID_HWPROFILE,
                   port.change(DICS_DISABLE, DICS_FLAG_CONFIGSPECIFIC, kNoProfile));
    EXPECT_TRUE(Opens(kPort0Guid));
    EXPECT_EQ(TextList{}, Told());
    EXPECT_TRUE(port.change(DICS_PROPCHANGE, DICS_FLAG_CONFIGSPECIFIC, kNoProfile))
        << "a restart ignores scope and profile";
}

TEST_F(SetupDiChangeStateRule, ReportsStartStopAndAProfileInAGlobalChange) {
    BuildWithProfiles(1);
    BenchDevice port(kPort0);
    EXPECT_TRUE(port.change(DICS_STOP, DICS_FLAG_CONFIGSPECIFIC));
    EXPECT_FALSE(Opens(kPort0Guid));
    EXPECT_TRUE(port.change(DICS_START, DICS_FLAG_GLOBAL));
    EXPECT_TRUE(Opens(kPort0Guid));
    EXPECT_TRUE(port.change(DICS_DISABLE, DICS_FLAG_GLOBAL, kNoProfile));
    EXPECT_EQ((TextList{L"SetupDiChangeState: DICS_STOP", L"SetupDiChangeState: DICS_START, global",
                        L"SetupDiChangeState: HwProfile 7 in a global change"}),
              Misuse());
}

TEST_F(InstallParamsRule, ReportsADueRestartThatNobodyReads) {
    Load(L"vlan-members");
    machine.FindAdapter(L"port0")->flags = DI_NEEDREBOOT;
    Build();
    const TextList once = {std::wstring(L"SetupDiChangeState: ") + kPort0 +
                           L": the install parameters ask for a restart unread"};
    SP_DEVINSTALL_PARAMS_W params;
    {
        BenchDevice port(kPort0);
        EXPECT_TRUE(port.change(DICS_DISABLE, DICS_FLAG_GLOBAL));
        EXPECT_TRUE(port.readParams(&params));
        EXPECT_TRUE(port.change(DICS_ENABLE, DICS_FLAG_GLOBAL));
        EXPECT_EQ(TextList{}, Misuse());
        EXPECT_TRUE(port.change(DICS_PROPCHANGE, DICS_FLAG_GLOBAL));
        EXPECT_EQ(once, Misuse()) << "the next change";
        EXPECT_TRUE(port.readParams(&params));
    }
    EXPECT_EQ(once, Misuse());
    ClearJournal();
    {
        BenchDevice port(kPort0);
        EXPECT_TRUE(port.change(DICS_PROPCHANGE, DICS_FLAG_GLOBAL));
    }
    EXPECT_EQ(once, Misuse()) << "the end of the set";
    ClearJournal();
    {
        BenchDevice port(kPort0);
        EXPECT_TRUE(port.change(DICS_PROPCHANGE, DICS_FLAG_GLOBAL));
        Bench(L"fault SetupDiGetDeviceInstallParamsW 1 13");
        EXPECT_FALSE(port.readParams(&params));
    }
    EXPECT_EQ(TextList{}, Misuse()) << "a read that fails";
}

TEST_F(InstallParamsRule, AreKeptOfARemovedDevice) {
    Load(L"vlan-members");
    machine.teamFlags = DI_NEEDREBOOT;
    Build();
    SP_DEVINSTALL_PARAMS_W params;
    {
        BenchDevice device;
        EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_GLOBAL));
        EXPECT_TRUE(device.readParams(&params));
        EXPECT_EQ(static_cast<DWORD>(DI_NEEDREBOOT), params.Flags & DI_NEEDREBOOT);
    }
    EXPECT_EQ(TextList{}, Misuse());
    {
        BenchDevice device;
        EXPECT_TRUE(device.remove(DI_REMOVEDEVICE_GLOBAL));
    }
    EXPECT_EQ(1u, Misuse().size());
    {
        BenchDevice device;
        EXPECT_TRUE(BENCHED(SetupDiCallClassInstaller)(DIF_REMOVE, device.set(), //
                                                       device.data()));
    }
    EXPECT_EQ(1u, Misuse().size()) << "a class installer's call is not held to it";
}

// The program on machines where scopes, profiles and due restarts make a difference.
class ScopeOfJobs : public RemovalTest {
  protected:
    void CreateAndRemove() {
        Open({0, 1});
        EXPECT_EQ(1, Create().result);
        Tick({});
        TickTeams({0});
        Outcome removed = Remove();
        EXPECT_EQ(1, removed.result);
        EXPECT_EQ(TextList{L"ROOT\\NET\\0000"}, removed.of(L"device-remove"));
        EXPECT_EQ(TextList{}, Misuse());
        EXPECT_EQ(0u, DumpLines(MachineDump(), "device\\ROOT\\NET").size());
        EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), page->rowTexts(IDC_NIC_LIST));
    }
};

TEST_F(ScopeOfJobs, RemovesTheTeamAdapterFromAllProfiles) {
    for (const wchar_t* version : {L"5.2", L"10.0"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(version)));
        Ports(2);
        machine.windows = version;
        machine.hardwareProfiles = 2;
        CreateAndRemove();
    }
}

TEST_F(ScopeOfJobs, ReadsWhetherARestartIsDue) {
    Ports(2);
    machine.teamFlags = DI_NEEDREBOOT;
    for (MachineAdapter& adapter : machine.adapters)
        adapter.flags = DI_NEEDRESTART;
    CreateAndRemove();
}
