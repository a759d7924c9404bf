// Teams and VLANs of devices that cannot be stopped or removed before the machine restarts: the program
// does not notice, the machine changes with the restart.
#include "harness/devices.h"
#include "harness/restart.h"
#include "harness/vlan_host.h"
#include "team/create_team.h"
#include "team/remove_team.h"

class UnstoppableDevice : public RestartTest {
  protected:
    Texts16 Rows(int list) {
        return page->rowTexts(list);
    }
    // Members on the team's Properties.
    int Members(int row) {
        return page->data()->teams[row].numNics;
    }
    void RestartAndReopen() {
        RestartMachine();
        Reopen();
    }
    Texts8 Pending() const {
        return InUse("bench\\PendingRemoval") + InUse("bench\\PendingDisabled");
    }
};

TEST_F(UnstoppableDevice, MemberKeepsItsAddressAndIsListedUntilTheRestart) {
    Ports(3);
    Port(0).stops = false;
    Start();
    Tick({0, 1});
    page->tick(IDC_ACTIVE_BACKUP);
    page->setText(IDC_TEAM_NAME, L"Uplink");
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    EXPECT_EQ((Texts16{L"port0 scope=config pending", L"port1 scope=config"}),
              (Texts16{made.of(L"device-enable")[1], made.of(L"device-enable")[2]}));
    EXPECT_EQ(Texts16{L"Port 2"}, Rows(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 025156000001",
                      "port1\\bench\\CurrentAddress = 02515600AA01",
                      "port2\\bench\\CurrentAddress = 025156000001"}),
              Addresses());
    EXPECT_EQ("port0\\connection = listed", Connections()[0]);
    EXPECT_EQ("port1\\connection = hidden", Connections()[1]);
    EXPECT_EQ(Texts8{}, Pending());

    RestartAndReopen();
    EXPECT_EQ("port0\\bench\\CurrentAddress = 02515600AA01", Addresses()[0]);
    EXPECT_EQ("port0\\connection = hidden", Connections()[0]);
    EXPECT_EQ(Texts16{L"Port 2"}, Rows(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
    EXPECT_EQ(2, Members(0));
}

TEST_F(UnstoppableDevice, FormerMemberKeepsTheTeamsAddressAndIsHiddenUntilTheRestart) {
    Ports(2);
    Port(0).stops = false;
    Start();
    MakeTeam({0, 1}, 1, L"Uplink");
    RestartAndReopen();
    RemoveTeams({0});
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), Rows(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{}, Rows(IDC_TEAM_LIST));
    ExpectBack({"- device\\port0\\bench\\CurrentAddress = 025156000001",
                "+ device\\port0\\bench\\CurrentAddress = 02515600AA01",
                "- device\\port0\\connection = listed", "+ device\\port0\\connection = hidden"});
    RestartAndReopen();
    ExpectBack();
}

TEST_F(UnstoppableDevice, TeamIsCreatedAndServesAtOnce) {
    Ports(2);
    machine.teamStops = false;
    Start();
    Tick({0, 1});
    page->tick(IDC_ACTIVE_BACKUP);
    page->setText(IDC_TEAM_NAME, L"Uplink");
    Outcome made = Create();
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    EXPECT_EQ(
        (Texts16{L"ROOT\\NET\\0000 scope=config pending", L"ROOT\\NET\\0000 scope=config pending",
                 L"port0 scope=config", L"port1 scope=config"}),
        made.of(L"device-disable"));
    EXPECT_EQ(Texts8{}, Pending());
    EXPECT_EQ((Texts8{"port0\\bench\\CurrentAddress = 02515600AA01",
                      "port1\\bench\\CurrentAddress = 02515600AA01"}),
              Addresses());
    const std::string before = MachineDump();
    RestartAndReopen();
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
}

// The address comes only from a driver that starts, and the first start is that of the installation.
TEST_F(UnstoppableDevice, TeamWaitsForItsAddressAsAnyOther) {
    Ports(2);
    machine.teamStops = false;
    machine.teamAddress = L"after 9";
    Start();
    MakeTeam({0, 1}, 1, L"Uplink");
    EXPECT_EQ("port0\\bench\\CurrentAddress = 02515600AA01", Addresses()[0]);
}

TEST_F(UnstoppableDevice, TeamThatIsRemovedStaysInTheListWithoutMembersUntilTheRestart) {
    Ports(2);
    machine.teamStops = false;
    Start();
    MakeTeam({0, 1}, 1, L"Uplink");
    TickTeams({0});
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0000 pending"}, removed.of(L"device-remove"));
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), Rows(IDC_NIC_LIST));
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
    EXPECT_EQ(0, Members(0));
    EXPECT_EQ(Texts8{"ROOT\\NET\\0000\\bench\\PendingRemoval = REG_DWORD 0x00000001"}, Pending());

    TickTeams({0}); // once more
    Outcome again = Perform(RemoveTeam);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), again.statuses);
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));

    RestartAndReopen();
    EXPECT_EQ(Texts16{}, Rows(IDC_TEAM_LIST));
    ExpectBack();
}

// The name of a team without members is free, so the list shows it twice.
TEST_F(UnstoppableDevice, TeamOfTheSameNameCanBeCreatedBeforeTheRestart) {
    Ports(2);
    machine.teamStops = false;
    Start();
    MakeTeam({0, 1}, 1, L"Uplink");
    RemoveTeams({0});
    MakeTeam({0, 1}, 1, L"Uplink");
    EXPECT_EQ((Texts16{L"Uplink", L"Uplink"}), Rows(IDC_TEAM_LIST));
    EXPECT_EQ(0, Members(0));
    EXPECT_EQ(2, Members(1));
    RestartAndReopen();
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
    EXPECT_EQ(2, Members(0));
    RemoveTeams({0});
    RestartAndReopen();
    ExpectBack();
}

TEST_F(UnstoppableDevice, VlanIsListedAtOnceAndUsesItsIdFromTheRestartOn) {
    Ports(2);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    machine.teamStops = false;
    Start();
    {
        VlanPageHost vlans({-1, 0});
        vlans.add(L"30", L"Third");
        EXPECT_EQ(Texts16{L"30 Third"}, vlans.cells());
    }
    EXPECT_EQ(Texts8{}, Vlans());
    RestartAndReopen();
    EXPECT_EQ(Texts8{"ROOT\\NET\\0001\\bench\\VlanInUse = REG_DWORD 0x0000001E"}, Vlans());
    EXPECT_EQ(1, CountVlans(g_teamAdapters[0].guid, TRUE));
}

TEST_F(UnstoppableDevice, VlanThatIsRemovedIsNotListedAndItsAdapterIsThereUntilTheRestart) {
    Ports(2);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    AddVlan(L"team-1", 10, L"Voice");
    machine.vlans[0].stops = false;
    Start();
    Bench(L"message-box IDOK all");
    {
        VlanPageHost vlans({-1, 0});
        vlans.remove({0});
        EXPECT_EQ(Texts16{}, vlans.cells());
    }
    EXPECT_EQ(Texts8{"ROOT\\NET\\0001\\bench\\PendingRemoval = REG_DWORD 0x00000001"}, Pending());
    EXPECT_EQ(Texts8{"ROOT\\NET\\0001\\bench\\VlanInUse = REG_DWORD 0x0000000A"}, Vlans());
    Reopen();
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST)) << "no team of its own";
    RestartAndReopen();
    EXPECT_EQ(Texts8{}, Vlans());
    EXPECT_EQ(Texts8{}, Pending());
}

TEST_F(UnstoppableDevice, VlansThatCannotBeRemovedDoNotStopTheCreationOfATeam) {
    Ports(2);
    AddVlan(L"port0", 10, L"Voice");
    machine.vlans[0].stops = false;
    Start();
    Bench(L"message-box IDOK");
    MakeTeam({0, 1}, 1, L"Uplink");
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
    EXPECT_EQ(1u, Vlans().size());
    RestartAndReopen();
    EXPECT_EQ(Texts8{}, Vlans());
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST));
}

TEST_F(UnstoppableDevice, TeamWithVlansIsRemovedThoughNoneOfItsAdaptersIs) {
    Ports(2);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    AddVlan(L"team-1", 10, L"Voice");
    machine.teams[0].stops = false;
    machine.vlans[0].stops = false;
    Start();
    RemoveTeams({0});
    EXPECT_EQ(Texts16{L"Uplink"}, Rows(IDC_TEAM_LIST)) << "the VLAN's adapter is not listed";
    EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), Rows(IDC_NIC_LIST));
    RestartAndReopen();
    EXPECT_EQ(Texts16{}, Rows(IDC_TEAM_LIST));
    EXPECT_EQ(Texts8{}, InUse("bench\\PendingRemoval"));
    EXPECT_EQ((Texts8{"port0\\connection = listed", "port1\\connection = listed"}), Connections());
}

// The hosts' VLAN pages hide the host too, and restart it.
TEST_F(UnstoppableDevice, HostIsHiddenByItsFirstVlanFromTheRestartOn) {
    Ports(2);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    machine.teams[0].stops = false;
    Start();
    VlanPageHost({-1, 0}).add(L"30", L"Third");
    EXPECT_EQ("ROOT\\NET\\0000\\connection = listed", Connections()[2]);
    RestartMachine();
    EXPECT_EQ("ROOT\\NET\\0000\\connection = hidden", Connections()[2]);
}
