// VLANs that are made and removed again leave the machine as it was before.
#include "harness/round_trip.h"

class RoundTripOfVlans : public RoundTripTest {};

class RoundTripOfSoMany : public RoundTripOfVlans, public testing::WithParamInterface<int> {};

TEST_P(RoundTripOfSoMany, OnATeamThatIsRemovedWithThem) {
    OpenPorts(2);
    MakeTeam({0, 1}, 1, L"Uplink");
    GUID team = page->data()->teams[0].teamGuid;
    MakeVlans(team, L"Uplink", GetParam(), TRUE);
    EXPECT_EQ(GetParam(), CountVlans(team, TRUE));
    RemoveTeams({0});
    ExpectBack();
}

TEST_P(RoundTripOfSoMany, OnATeamOneByOne) {
    OpenPorts(3);
    MakeTeam({0, 1, 2}, 4, L"Uplink");
    std::string free = ComeBackToThis();
    GUID team = page->data()->teams[0].teamGuid;
    std::vector<GUID> vlans = MakeVlans(team, L"Uplink", GetParam(), TRUE);
    EXPECT_EQ(GetParam(), CountVlans(team, TRUE));
    RemoveVlans(team, vlans, TRUE);
    ExpectBack();
    ComeBackTo(free);
    RemoveTeams({0});
    ExpectBack();
}

TEST_P(RoundTripOfSoMany, OnAnAdapter) {
    OpenPorts(2);
    GUID port = Guid(Port(1).guid);
    std::vector<GUID> vlans = MakeVlans(port, L"Port 1", GetParam(), FALSE);
    EXPECT_EQ(GetParam(), CountVlans(port, FALSE));
    RemoveVlans(port, vlans, FALSE);
    EXPECT_FALSE(RegistryHasKey(Record(1)));
    ExpectBack();
}

INSTANTIATE_TEST_SUITE_P(Vlans, RoundTripOfSoMany, testing::Values(1, 2, 64));

TEST_F(RoundTripOfVlans, OfATeamOverMembersWithVlansLeavesThemWithout) {
    OpenPorts(2);
    MakeVlans(Guid(Port(0).guid), L"Port 0", 2, FALSE);
    MakeVlans(Guid(Port(1).guid), L"Port 1", 1, FALSE);
    Reopen();
    Bench(L"message-box IDOK");
    MakeTeam({0, 1}, 1, L"Uplink");
    RemoveTeams({0});
    ExpectBack();
}

TEST_F(RoundTripOfVlans, OfATeamThatIsNotMadeForItsMembersVlansLeavesEverything) {
    OpenPorts(2);
    MakeVlans(Guid(Port(0).guid), L"Port 0", 2, FALSE);
    Reopen();
    std::string before = MachineDump();
    Bench(L"message-box IDCANCEL");
    TickPorts({0, 1});
    page->tick(IDC_ACTIVE_BACKUP);
    Outcome kept = Create();
    EXPECT_EQ(0, kept.result);
    EXPECT_EQ(Texts16{text::kVlansKept}, kept.statuses);
    EXPECT_EQ(before, MachineDump());
    EXPECT_EQ(2, CountVlans(Guid(Port(0).guid), FALSE));
}

TEST_F(RoundTripOfVlans, OfAVlanOnAnAdapterTakesARecordWithValuesOfItsOwn) {
    Ports(2);
    machine.registry.push_back({Record(0), {MachineValue::Text(L"Remark", L"own")}});
    Start();
    GUID port = Guid(Port(0).guid);
    RemoveVlans(port, MakeVlans(port, L"Port 0", 1, FALSE), FALSE);
    ExpectBack({"- record\\{port0}\\Remark = REG_SZ \"own\""});
}
