// Installing the teaming protocol, and knowing whether it is there.
#include "device/net_config.h"
#include "device/protocol.h"
#include "harness/network.h"
#include "include/names.h"

class Protocol : public NetworkTest {
  protected:
    static TextList Journalled() {
        return Lines(Journal(),
                     {L"netcfg-lock", L"netcfg-install", L"netcfg-apply", L"netcfg-unlock"});
    }
    static bool HasComponent() {
        for (const NetCfgComponent& component : NetCfgComponents()) {
            if (component.id == L"qv_qvteamp")
                return true;
        }
        return false;
    }
};

TEST_F(Protocol, CountsAsInstalledWhenItsServiceKeyOpens) {
    LoadAndBuild(L"two-ports");
    EXPECT_TRUE(IsProtocolDriverInstalled());
    Bench(L"fault RegOpenKeyExW 1 5");
    EXPECT_FALSE(IsProtocolDriverInstalled());
    RegistryDeleteTree(PROTOCOL_SERVICE_KEY);
    EXPECT_FALSE(IsProtocolDriverInstalled()) << "though the component is still there";
    RegistrySet(PROTOCOL_SERVICE_KEY, MachineValue::Number(L"Start", 4));
    NetCfgRemoveComponent(L"qv_qvteamp");
    EXPECT_TRUE(IsProtocolDriverInstalled()) << "the key alone decides";
    EXPECT_EQ("", StillOpen());
}

TEST_F(Protocol, DoesNotCountAsInstalledForSomebodyWhoMayNotChangeItsKey) {
    LoadAndBuild(L"not-admin");
    EXPECT_FALSE(IsProtocolDriverInstalled());
}

TEST_F(Protocol, IsInstalledByItsComponentIdAndApplied) {
    LoadAndBuild(L"no-protocol");
    ASSERT_FALSE(IsProtocolDriverInstalled());
    ASSERT_FALSE(HasComponent());
    EXPECT_EQ(1, InstallProtocolDriver(nullptr));
    EXPECT_TRUE(IsProtocolDriverInstalled());
    EXPECT_TRUE(HasComponent());
    EXPECT_EQ((TextList{L"netcfg-lock ", L"netcfg-install QV_QVTEAMP", L"netcfg-apply ",
                        L"netcfg-apply ", L"netcfg-unlock "}),
              Journalled());
    ExpectAllGivenBack();
}

TEST_F(Protocol, IsInstalledAgainWithoutHarm) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    EXPECT_EQ(1, InstallProtocolDriver(nullptr));
    EXPECT_EQ("", ChangedSince(before));
    ExpectAllGivenBack();
}

struct InstallFault {
    const wchar_t* fault;
    unsigned applied; // calls of INetCfg::Apply
    bool installed;
};

TEST_F(Protocol, LetsTheCallerGoOnWhateverFails) {
    const InstallFault cases[] = {
        {L"fault CoInitialize 1 0x80004005", 0, false},
        {L"fault CoCreateInstance 1 0x80040154", 0, false},
        {L"fault INetCfgLock::AcquireWriteLock 1 0x80004005", 0, false},
        {L"fault INetCfg::Initialize 1 0x80004005", 0, false},
        {L"fault INetCfg::QueryNetCfgClass 1 0x80004005", 0, false},
        {L"fault INetCfgClassSetup::Install 1 0x80004005", 0, false},
        {L"fault INetCfgClassSetup::Install 1 0x800704C7", 0, false}, // cancelled
        {L"fault INetCfgClassSetup::Install 1 0x0004A020", 2, true},  // restart due
        {L"fault INetCfg::Apply 1 0x0004A020", 2, true},              // restart due
        {L"fault INetCfg::Apply 1 0x80004005", 1, false},
        {L"fault INetCfg::Apply 2 0x80004005", 2, true},
        {L"fault INetCfg::Uninitialize 1 0x80004005", 2, true},
        {L"fault INetCfgLock::ReleaseWriteLock 1 0x80004005", 2, true},
    };
    for (const InstallFault& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"no-protocol");
        Bench(c.fault);
        EXPECT_EQ(1, InstallProtocolDriver(nullptr));
        EXPECT_FALSE(Texts(Journal(), L"fault").empty()) << "the fault was not met";
        EXPECT_EQ(c.applied, MethodCalls(L"INetCfg::Apply"));
        EXPECT_EQ(c.installed, HasComponent());
        EXPECT_EQ(c.installed, IsProtocolDriverInstalled() != FALSE);
        ExpectAllGivenBack();
    }
}

TEST_F(Protocol, LetsTheCallerGoOnWhenAnotherClientKeepsTheLock) {
    Load(L"no-protocol");
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = INFINITE;
    Build();
    TaskMemory memory;
    EXPECT_EQ(1, InstallProtocolDriver(nullptr));
    EXPECT_EQ(L"5000", Bench(L"now"));
    EXPECT_EQ(0, memory.left()) << "the holder's name";
    EXPECT_FALSE(HasComponent());
    EXPECT_EQ(0u, Calls("FindFirstFileW")) << "the INF is looked for under the lock";
    ExpectAllGivenBack();
}

TEST_F(Protocol, GivesTheResultOfApplyOnceItIsInstalled) {
    const struct {
        const wchar_t* fault;
        HRESULT result;
    } cases[] = {
        {L"now", S_OK},
        {L"fault INetCfg::Apply 1 0x0004A020", NETCFG_S_REBOOT},
        {L"fault INetCfg::Apply 1 0x8000FFFF", E_UNEXPECTED},
        {L"fault INetCfgClassSetup::Install 1 0x0004A020", S_OK},
        {L"fault INetCfgClassSetup::Install 1 0x800704C7", HRESULT_FROM_WIN32(ERROR_CANCELLED)},
        {L"fault INetCfg::QueryNetCfgClass 1 0x80004002", E_NOINTERFACE}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"no-protocol");
        INetCfg* netCfg = nullptr;
        ASSERT_EQ(S_OK, HrGetINetCfg(TRUE, L"Test", &netCfg, nullptr));
        Bench(c.fault);
        EXPECT_EQ(c.result, HrInstallNetComponent(netCfg));
        Bench(L"clear");
        EXPECT_EQ(S_OK, HrReleaseINetCfg(netCfg, TRUE));
        ExpectAllGivenBack();
    }
}

// The configuration stays open, so the call is made in a process of its own, which ends with it.
class ProtocolWithoutInf : public Protocol {
  protected:
    // 0 when everything is as it has to be, else a number that tells what is not.
    static int Judge(int result) {
        if (result != 0)
            return 1;
        if (!NetCfgLockHeld())
            return 2;
        if (NetCfgLiveObjects() != 1)
            return 3;
        if (StillOpen() != "apartments=1")
            return 4;
        if (MethodCalls(L"INetCfgClassSetup::Install") != 0 ||
            MethodCalls(L"INetCfg::Uninitialize") != 0)
            return 5;
        return 0;
    }
};

TEST_F(ProtocolWithoutInf, FailsAndKeepsTheConfigurationOpen) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    Load(L"no-protocol");
    machine.infs.pop_back();
    EXPECT_EXIT(
        {
            Build();
            ExitProcess(static_cast<UINT>(Judge(InstallProtocolDriver(nullptr))));
        },
        testing::ExitedWithCode(0), "");
}
