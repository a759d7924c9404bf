// Teams that are made and removed again leave the machine as it was before.
#include "harness/round_trip.h"

#include <numeric>

class RoundTrip : public RoundTripTest {};

TEST_F(RoundTrip, OfATeamOfTwoInEveryModeLeavesNothing) {
    OpenPorts(2);
    for (DWORD mode : {1, 2, 4, 9, 10, 12}) {
        SCOPED_TRACE(mode);
        MakeTeam({0, 1}, mode, L"Uplink");
        EXPECT_EQ(mode << 8 | 0x20, RegistryNumber(Record(0), L"TeamNumber"));
        RemoveTeams({0});
        ExpectBack();
        EXPECT_EQ((Texts16{L"Port 0", L"Port 1"}), PortTexts());
    }
}

TEST_F(RoundTrip, OfATeamOfEightInEveryModeLeavesNothing) {
    OpenPorts(9);
    for (DWORD mode : {1, 2, 4, 9, 10, 12}) {
        SCOPED_TRACE(mode);
        MakeTeam({0, 1, 2, 3, 5, 6, 7, 8}, mode, L"Uplink");
        EXPECT_EQ(mode << 8 | 0x80, RegistryNumber(Record(8), L"TeamNumber"));
        RemoveTeams({0});
        ExpectBack();
    }
}

TEST_F(RoundTrip, OfTeamsRemovedInOneCallLeavesNothing) {
    OpenPorts(8);
    for (const std::vector<int>& chosen :
         {std::vector<int>{0, 1, 2, 3}, {0, 2}, {1, 3}, {0, 3}, {1, 2, 3}}) {
        SCOPED_TRACE(testing::PrintToString(chosen));
        for (const wchar_t* name : {L"Alpha", L"Beta", L"Gamma", L"Delta"})
            MakeTeam({0, 1}, 2, name);
        RemoveTeams(chosen);
        EXPECT_EQ(4 - static_cast<int>(chosen.size()), g_numTeams);
        std::vector<int> others(static_cast<size_t>(g_numTeams));
        std::iota(others.begin(), others.end(), 0);
        RemoveTeams(others);
        ExpectBack();
    }
}

TEST_F(RoundTrip, OfAnAdapterWithoutANameGivesItItsDescription) {
    Ports(2);
    Port(0).friendlyName.reset();
    Start();
    MakeTeam({0, 1}, 1, L"Uplink");
    RemoveTeams({0});
    ExpectBack({"+ device\\port0\\enum\\FriendlyName = REG_SZ \"" +
                std::string(Port(0).description->begin(), Port(0).description->end()) +
                "\" (512 bytes)"});
}

// Team's name, colon and own name share 255 characters.
TEST_F(RoundTrip, OfAnAdapterWithALongNameCutsIt) {
    Ports(2);
    Port(0).friendlyName = std::wstring(200, L'o');
    Start();
    MakeTeam({0, 1}, 1, std::wstring(127, L'T'));
    RemoveTeams({0});
    const std::string name = "device\\port0\\enum\\FriendlyName = REG_SZ \"";
    ExpectBack({"- " + name + std::string(200, 'o') + "\"",
                "+ " + name + std::string(127, 'o') + "\" (512 bytes)"});
}

// A team takes its members' own addresses, visibility and bindings for granted.
TEST_F(RoundTrip, OfAnAdapterWithSettingsOfItsOwnLosesThem) {
    Ports(2);
    Port(0).values.push_back(MachineValue::Text(L"NetworkAddress", L"025156000001"));
    Port(0).characteristics = 0x8c;
    Open({});
    NetCfgSetPathState(L"ms_tcpip->" + Port(1).guid, false);
    ComeBackToThis();
    MakeTeam({0, 1}, 1, L"Uplink");
    RemoveTeams({0});
    ExpectBack({"- device\\port0\\driver\\NetworkAddress = REG_SZ \"025156000001\"",
                "- device\\port0\\driver\\Characteristics = REG_DWORD 0x0000008C",
                "+ device\\port0\\driver\\Characteristics = REG_DWORD 0x00000084",
                "- device\\port0\\connection = hidden", "+ device\\port0\\connection = listed",
                "- path\\ms_msclient->ms_netbt->ms_tcpip->{port1} = disabled below",
                "- path\\ms_netbt->ms_tcpip->{port1} = disabled below",
                "- path\\ms_server->ms_netbt->ms_tcpip->{port1} = disabled below",
                "- path\\ms_tcpip->{port1} = disabled",
                "+ path\\ms_msclient->ms_netbt->ms_tcpip->{port1} = enabled",
                "+ path\\ms_netbt->ms_tcpip->{port1} = enabled",
                "+ path\\ms_server->ms_netbt->ms_tcpip->{port1} = enabled",
                "+ path\\ms_tcpip->{port1} = enabled"});
}
