// Machines on which the installation of an adapter needs the lock of the network configuration, and
// machines on which it does not: what the user is told when somebody has it.
#include "device/net_config.h"
#include "device/protocol.h"
#include "harness/vlan_page_jobs.h"

static void Lock() {
    RegistrySet(L"Software\\QvBench\\Machine", MachineValue::Number(L"LockSeconds", INFINITE));
    RegistrySet(L"Software\\QvBench\\Machine", MachineValue::Text(L"LockHolder", L"Other Tool"));
}

static Texts16 Boxes() {
    return Texts(Journal(), L"message-box");
}

// The error of the driver key that the refused installation has not made: the program goes on behind
// a forced update that fails.
static const wchar_t kNotAdded[] =
    L"\"Error\" \"Failed to add vlan. Error=0xe0000204\" type=0x30 -> IDOK";

class TeamUnderLock : public CreationTest {
  protected:
    void Describe(bool needsLock) {
        Ports(2);
        machine.installNeedsLock = needsLock;
    }
};

TEST_F(TeamUnderLock, IsCreatedWhereNobodyElseHasTheLock) {
    Describe(true);
    Open({0, 1});
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

// The bindings come before the installation.
TEST_F(TeamUnderLock, StopsWithoutAMessageAtTheBindingsEitherWay) {
    for (bool needsLock : {true, false}) {
        SCOPED_TRACE(needsLock);
        Describe(needsLock);
        machine.lockHolder = L"Other Tool";
        machine.lockSeconds = INFINITE;
        Open({0, 1});
        Outcome stopped = Create();
        EXPECT_EQ(0, stopped.result);
        EXPECT_EQ(Texts16{}, stopped.statuses);
        EXPECT_EQ(Texts8{}, stopped.difference);
    }
}

// Another program opens a property sheet after the bindings have been switched.
TEST_F(TeamUnderLock, FailsWithAMessageWhereTheLockIsTakenBeforeTheInstallation) {
    Describe(true);
    Open({0, 1});
    Outcome failed = Create({{L"SetupDiCreateDeviceInfoW", 1, Lock}});
    EXPECT_EQ(0, failed.result);
    EXPECT_EQ(Texts16{L"Team Creation failed with error 0xe0000204"}, failed.statuses);
    EXPECT_EQ(1u, failed.of(L"device-remove").size());
    EXPECT_EQ(Texts16{}, failed.of(L"device-install"));
}

TEST_F(TeamUnderLock, FailsWithTheErrorOfTheLockWhereThereIsOneRouteOnly) {
    Describe(true);
    machine.newDev = {L"DiInstallDevice"};
    Open({0, 1});
    Outcome failed = Create({{L"SetupDiCreateDeviceInfoW", 1, Lock}});
    EXPECT_EQ(0, failed.result);
    EXPECT_EQ(Texts16{L"Team Creation failed with error 0x8004a024"}, failed.statuses);
}

TEST_F(TeamUnderLock, IsCreatedThenWhereTheInstallationNeedsNone) {
    Describe(false);
    Open({0, 1});
    Outcome made = Create({{L"SetupDiCreateDeviceInfoW", 1, Lock}});
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

class VlanUnderLock : public VlanPageTest {
  protected:
    void OpenUnderLock(SheetOf host, bool needsLock, bool withVlan) {
        DescribeHost(host, withVlan);
        machine.installNeedsLock = needsLock;
        OpenPage(host);
        Lock();
    }
};

TEST_F(VlanUnderLock, IsNotAddedWhereTheInstallationNeedsTheLock) {
    for (SheetOf host : {kNic, kTeam}) {
        SCOPED_TRACE(host.nic == 0 ? "adapter" : "team");
        OpenUnderLock(host, true, false);
        Bench(L"message-box IDOK");
        vlans->add(L"20", L"Data");
        EXPECT_EQ(Texts16{kNotAdded}, Boxes());
        EXPECT_EQ(0, vlans->rows());
        EXPECT_EQ(0, vlans->list()->numVlans);
        EXPECT_EQ("enabled hidden", HostState()) << "as it was, but for the bindings";
        EXPECT_EQ(1u, Texts(Journal(), L"device-remove").size());
        EXPECT_EQ("", StillOpen());

        // The host's second VLAN meets the lock at its installation only.
        OpenUnderLock(host, true, true);
        Bench(L"message-box IDOK");
        vlans->add(L"20", L"Data");
        EXPECT_EQ(Texts16{kNotAdded}, Boxes());
        EXPECT_EQ(Texts16{L"10 Voice"}, vlans->cells());
        EXPECT_EQ("disabled hidden", HostState());
    }
}

TEST_F(VlanUnderLock, IsAddedWhereTheInstallationNeedsNone) {
    for (SheetOf host : {kNic, kTeam}) {
        for (bool withVlan : {false, true}) {
            SCOPED_TRACE((host.nic == 0 ? "adapter" : "team") + std::string(withVlan ? "+" : ""));
            OpenUnderLock(host, false, withVlan);
            vlans->add(L"20", L"Data");
            EXPECT_EQ(Texts16{}, Boxes());
            EXPECT_EQ(withVlan ? 2 : 1, vlans->rows());
        }
    }
}

// The program keeps the configuration open when it does not find the protocol's INF, so this happens
// in a process of its own, which ends with it. The lock is then the program's own.
class OwnLock : public VlanUnderLock {
  protected:
    void Describe(bool needsLock) {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
        Ports(2);
        machine.protocolInstalled = false;
        machine.infs.pop_back();
        machine.installNeedsLock = needsLock;
    }

    // Ends the process with 0 when a VLAN on the first port is added, with 1 when it is refused with
    // this message, and with another number otherwise.
    void AddVlanBehindFailedInstallation(const wchar_t* message) {
        OpenPage(kNic);
        if (InstallProtocolDriver(nullptr) != 0)
            ExitProcess(2);
        Bench(L"message-box IDOK");
        vlans->add(L"10", L"Voice");
        const Texts16 boxes = Boxes();
        if (boxes.empty())
            ExitProcess(vlans->rows() == 1 ? 0 : 3);
        ExitProcess(boxes == Texts16{message} && vlans->rows() == 0 ? 1 : 4);
    }
    void CreateTeamBehindFailedInstallation() {
        Open({0, 1});
        if (InstallProtocolDriver(nullptr) != 0)
            ExitProcess(2);
        Outcome stopped = Create();
        ExitProcess(stopped.result == 0 && stopped.statuses.empty() ? 0 : 3);
    }
};

TEST_F(OwnLock, OfAFailedProtocolInstallationRefusesAVlanWhereTheInstallationNeedsIt) {
    Describe(true);
    EXPECT_EXIT(AddVlanBehindFailedInstallation(kNotAdded), testing::ExitedWithCode(1), "");
}

TEST_F(OwnLock, OfAFailedProtocolInstallationLeavesAVlanAloneWhereTheInstallationNeedsNone) {
    Describe(false);
    EXPECT_EXIT(AddVlanBehindFailedInstallation(L""), testing::ExitedWithCode(0), "");
}

TEST_F(OwnLock, OfAFailedProtocolInstallationStopsATeamWithoutAMessageEitherWay) {
    for (bool needsLock : {true, false}) {
        Describe(needsLock);
        EXPECT_EXIT(CreateTeamBehindFailedInstallation(), testing::ExitedWithCode(0), "");
    }
}
