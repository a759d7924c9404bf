// Team creation that succeeds, from the ticked adapters to the last record.
#include "harness/creation.h"
#include "harness/program.h"

#include "app/team_page.h"

#include <commctrl.h>

class Creation : public CreationTest {
  protected:
    DWORD TeamNumberOf(int port) {
        return RegistryNumber(Record(port), L"TeamNumber");
    }
    std::wstring Record(int port) {
        return L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters\\" +
               Port(port).guid;
    }
    std::wstring FriendlyName(const std::wstring& instance) {
        return RegistryText(L"System\\CurrentControlSet\\Enum\\" + instance, L"FriendlyName");
    }
};

static const wchar_t kTeamDevice[] = L"ROOT\\NET\\0000";

// What UpdateTeam does to one member.
static Texts16 UpdateEvents(const std::wstring& member, const std::wstring& name,
                            const std::wstring& address = L"02515600AA01") {
    return {L"value-set driver(" + member + L")\\NetworkAddress REG_SZ \"" + address +
                L"\" 24 bytes",
            L"property-set " + member + L" FRIENDLYNAME \"" + name + L"\" 512 bytes",
            L"value-set driver(" + member + L")\\Characteristics REG_DWORD 0x0000008C",
            L"device-disable " + member + L" scope=config",
            L"device-enable " + member + L" scope=config"};
}

static Texts16 NumberEvents(const std::wstring& member) {
    return {L"key-create record\\{" + member + L"}",
            L"value-set record\\{" + member + L"}\\TeamNumber REG_DWORD 0x00000120"};
}

static Texts16 BindEvents(const std::wstring& member, int order) {
    return {L"value-set record\\{" + member +
                L"}\\TeamBinding REG_SZ \"\\Device\\{1}\" "
                // 8 + 38 characters and the terminator
                L"94 bytes",
            L"value-set record\\{" + member + L"}\\Order REG_DWORD 0x0000000" +
                std::to_wstring(order)};
}

static Texts16 RoadOfTwo() {
    return UnbindEvents(L"port0") + UnbindEvents(L"port1") + NumberEvents(L"port0") +
           NumberEvents(L"port1") +
           Texts16{L"device-create ROOT\\NET\\0000",
                   L"property-set ROOT\\NET\\0000 HARDWAREID \"QV_QVTEAMMP\" 26 bytes",
                   L"device-register ROOT\\NET\\0000",
                   L"device-install ROOT\\NET\\0000 route=DiInstallDevice "
                   L"inf=C:\\windows\\inf\\oem3.inf",
                   L"address-published ROOT\\NET\\0000 02515600AA01",
                   L"property-set ROOT\\NET\\0000 FRIENDLYNAME \"Team0\" 256 bytes"} +
           BindEvents(L"port0", 0) + BindEvents(L"port1", 1) +
           Texts16{L"device-disable ROOT\\NET\\0000 scope=config",
                   L"device-enable ROOT\\NET\\0000 scope=config",
                   L"device-disable ROOT\\NET\\0000 scope=config"} +
           UpdateEvents(L"port0", L"Team0:Port 0") + UpdateEvents(L"port1", L"Team0:Port 1") +
           Texts16{L"device-enable ROOT\\NET\\0000 scope=config"};
}

TEST_F(Creation, TakesTwoAdaptersDownTheWholeRoadAndDoesNothingElse) {
    Ports(2);
    Open({0, 1});
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    ExpectEvents(RoadOfTwo(), made.events);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

static Texts8 MemberFacts(const std::string& member, const std::string& number, int order) {
    std::string device = "device\\" + member;
    return {"+ " + device + "\\driver\\NetworkAddress = REG_SZ \"02515600AA01\"",
            "- " + device + "\\bench\\CurrentAddress = 025156000001",
            "+ " + device + "\\bench\\CurrentAddress = 02515600AA01",
            "- " + device + "\\connection = listed",
            "+ " + device + "\\connection = hidden",
            "- " + device + "\\driver\\Characteristics = REG_DWORD 0x00000084",
            "+ " + device + "\\driver\\Characteristics = REG_DWORD 0x0000008C",
            "- " + device + "\\enum\\FriendlyName = REG_SZ \"Port " + number + "\"",
            "+ " + device + "\\enum\\FriendlyName = REG_SZ \"Team0:Port " + number +
                "\" (512 bytes)",
            "+ record\\{" + member + "}\\TeamNumber = REG_DWORD 0x00000120",
            "+ record\\{" + member + "}\\TeamBinding = REG_SZ \"\\Device\\{1}\"",
            "+ record\\{" + member + "}\\Order = REG_DWORD 0x0000000" + std::to_string(order)};
}

static Texts8 TeamAdapterFacts() {
    Texts8 facts;
    for (const char* fact : {"bench\\Disabled = REG_DWORD 0x00000000",
                             "bench\\InstallState = REG_DWORD 0x00000000",
                             "bench\\Opens = REG_DWORD 0x00000001",
                             "bench\\Started = REG_DWORD 0x00000001",
                             "connection = listed",
                             "driver\\Characteristics = REG_DWORD 0x00000001",
                             "driver\\DriverDate = REG_SZ \"3-14-2009\"",
                             "driver\\DriverDesc = REG_SZ \"Quovane Team Virtual Adapter\"",
                             "driver\\DriverVersion = REG_SZ \"1.0.0.0\"",
                             "driver\\InfPath = REG_SZ \"oem3.inf\"",
                             "driver\\InfSection = REG_SZ \"Miniport.Install\"",
                             "driver\\MatchingDeviceId = REG_SZ \"QV_QVTEAMMP\"",
                             "driver\\Ndi\\Interfaces\\LowerRange = REG_SZ \"nolower\"",
                             "driver\\Ndi\\Interfaces\\UpperRange = REG_SZ \"ndis5\"",
                             "driver\\Ndi\\Service = REG_SZ \"qvteammp\"",
                             "driver\\NetCfgInstanceId = REG_SZ \"{1}\"",
                             "driver\\NetworkAddress = REG_SZ \"02515600AA01\"",
                             "driver\\ProviderName = REG_SZ \"Quovane Communications Inc.,\"",
                             "enum\\Class = REG_SZ \"Net\"",
                             "enum\\ClassGUID = REG_SZ \"{4D36E972-E325-11CE-BFC1-08002BE10318}\"",
                             "enum\\ConfigFlags = REG_DWORD 0x00000000",
                             "enum\\Device Parameters = key",
                             "enum\\DeviceDesc = REG_SZ \"Quovane Team Virtual Adapter\"",
                             "enum\\FriendlyName = REG_SZ \"Team0\" (256 bytes)",
                             "enum\\HardwareID = REG_MULTI_SZ \"QV_QVTEAMMP\"",
                             "enum\\Service = REG_SZ \"qvteammp\""})
        facts.push_back(std::string("+ device\\ROOT\\NET\\0000\\") + fact);
    for (const char* path : {"ms_msclient->ms_netbt->ms_tcpip", "ms_netbt->ms_tcpip",
                             "ms_server->ms_netbt->ms_tcpip", "ms_tcpip", "qv_qvteamp"})
        facts.push_back(std::string("+ path\\") + path + "->{1} = enabled");
    return facts + Texts8{"+ network\\{1}\\Connection\\Name = REG_SZ \"Local Area Connection 3\"",
                          "+ network\\{1}\\Connection\\PnpInstanceID = REG_SZ \"ROOT\\NET\\0000\""};
}

// A service stays on the prefix when its devices go, so an earlier machine may have left it.
static Texts8 WithoutMiniportService(Texts8 facts) {
    for (size_t i = facts.size(); i-- > 0;) {
        if (facts[i].find("service\\qvteammp\\") == 2)
            facts.erase(facts.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return facts;
}

TEST_F(Creation, LeavesExactlyTheTeamItsRecordsAndItsChangedMembers) {
    Ports(2);
    Open({0, 1});
    Outcome made = Create();
    ExpectFacts(UnbindFacts("port0") + UnbindFacts("port1") + MemberFacts("port0", "0", 0) +
                    MemberFacts("port1", "1", 1) + TeamAdapterFacts(),
                WithoutMiniportService(made.difference));
}

TEST_F(Creation, ShowsTheNewTeamAndNoLongerItsMembers) {
    Ports(3);
    Open({0, 2});
    ASSERT_EQ(1, Create().result);
    EXPECT_EQ((Texts16{L"Port 1"}), page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ((Texts16{L"Team0"}), page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(1, g_numTeams);
    const TeamEntry& team = page->data()->teams[0];
    EXPECT_EQ(1u, team.inUse);
    EXPECT_EQ(2, team.numNics);
    EXPECT_EQ(0x120u, team.TeamNumber);
    EXPECT_EQ(1u, team.TeamMode);
    EXPECT_EQ(L"Team1", page->text(IDC_TEAM_NAME));
}

TEST_F(Creation, GivesEachMemberThePlaceInWhichItIsListed) {
    Ports(4);
    Open({3, 1, 2});
    ASSERT_EQ(1, Create().result);
    EXPECT_EQ(0u, RegistryNumber(Record(1), L"Order"));
    EXPECT_EQ(1u, RegistryNumber(Record(2), L"Order"));
    EXPECT_EQ(2u, RegistryNumber(Record(3), L"Order"));
    EXPECT_FALSE(RegistryHasKey(Record(0)));
}

TEST_F(Creation, FollowsTheOrderThatMoveDownHasSet) {
    Ports(2);
    Open({0});
    page->command(IDC_MOVE_DOWN);
    Tick({0, 1});
    ASSERT_EQ(1, Create().result);
    EXPECT_EQ(0u, RegistryNumber(Record(1), L"Order"));
    EXPECT_EQ(1u, RegistryNumber(Record(0), L"Order"));
}

struct SlotCase {
    std::vector<DWORD> taken;
    DWORD slot;
};

class CreationSlot : public Creation, public testing::WithParamInterface<SlotCase> {};

TEST_P(CreationSlot, IsTheSmallestThatNoTeamUses) {
    const SlotCase& param = GetParam();
    int teams = static_cast<int>(param.taken.size());
    Ports(2 * teams + 2);
    for (int i = 0; i < teams; i++)
        AddTeam(L"Old" + std::to_wstring(i), param.taken[static_cast<size_t>(i)], 1,
                {Port(2 * i).name, Port(2 * i + 1).name});
    Open({0, 1}, 2);
    ASSERT_EQ(teams, g_numTeams);
    EXPECT_EQ(1, Create().result);
    EXPECT_EQ(0x220u + param.slot, TeamNumberOf(2 * teams));
    EXPECT_EQ(0x220u + param.slot, TeamNumberOf(2 * teams + 1));
    EXPECT_EQ(teams + 1, g_numTeams);
    for (int i = 0; i < teams; i++)
        EXPECT_EQ(0x120u + param.taken[static_cast<size_t>(i)], TeamNumberOf(2 * i));
}

INSTANTIATE_TEST_SUITE_P(Teams, CreationSlot,
                         testing::Values(SlotCase{{}, 0}, SlotCase{{0}, 1}, SlotCase{{1}, 0},
                                         SlotCase{{0, 1}, 2}, SlotCase{{0, 2}, 1},
                                         SlotCase{{2, 0}, 1}, SlotCase{{0, 1, 3}, 2},
                                         SlotCase{{0, 1, 2}, 3}));

// The installation is refused, so that the row under construction can be looked at.
TEST_F(Creation, WithTeamsInSlotsZeroAndTwoTakesSlotOneButRowTwo) {
    Ports(7);
    AddTeam(L"Old0", 0, 1, {L"port0", L"port1"});
    AddTeam(L"Old2", 2, 1, {L"port2", L"port3"});
    Open({0, 2}, 4);
    TeamEntry before[2] = {page->data()->teams[0], page->data()->teams[1]};
    Bench(L"fault SetupDiGetINFClassW 1 5");
    EXPECT_EQ(0, Create().result);
    EXPECT_EQ(0x421u, TeamNumberOf(4));
    EXPECT_EQ(0, memcmp(before, page->data()->teams, sizeof(before)));
    const TeamEntry& row = page->data()->teams[2];
    EXPECT_EQ(2, row.numNics);
    EXPECT_EQ(4u, row.TeamMode);
    EXPECT_EQ(Guid(Port(4).guid), row.nicGuids[0]);
    EXPECT_EQ(Guid(Port(6).guid), row.nicGuids[1]);
    EXPECT_EQ(L"Port 4", std::wstring(row.nicNames[0]));
    EXPECT_EQ(L"Port 6", std::wstring(row.nicNames[1]));
    EXPECT_EQ(0u, row.order[0]);
    EXPECT_EQ(1u, row.order[1]);
    EXPECT_EQ(0, page->data()->teams[3].numNics);
    EXPECT_EQ(2, g_numTeams);
}

struct NumberCase {
    int members;
    DWORD boxes; // ticked mode boxes, by their flags
    DWORD teamNumber;
};

class CreationNumber : public Creation, public testing::WithParamInterface<NumberCase> {};

TEST_P(CreationNumber, PacksModeMembersAndSlot) {
    const NumberCase& param = GetParam();
    Ports(param.members + 1);
    std::vector<int> rows;
    for (int row = 0; row < param.members; row++)
        rows.push_back(row);
    Open(rows, param.boxes);
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    for (int port = 0; port < param.members; port++) {
        EXPECT_EQ(param.teamNumber, TeamNumberOf(port)) << port;
        EXPECT_EQ(static_cast<DWORD>(port), RegistryNumber(Record(port), L"Order"));
        EXPECT_EQ(L"Team0:Port " + std::to_wstring(port), FriendlyName(Port(port).instance));
    }
    EXPECT_FALSE(RegistryHasKey(Record(param.members)));
}

INSTANTIATE_TEST_SUITE_P(
    OfModesAndSizes, CreationNumber,
    testing::Values(NumberCase{2, 0, 0x020}, NumberCase{2, 1, 0x120}, NumberCase{2, 2, 0x220},
                    NumberCase{2, 4, 0x420}, NumberCase{2, 8, 0x820}, NumberCase{2, 9, 0x920},
                    NumberCase{2, 10, 0xA20}, NumberCase{2, 12, 0xC20}, NumberCase{3, 12, 0xC30},
                    NumberCase{4, 2, 0x240}, NumberCase{5, 0, 0x050}, NumberCase{6, 9, 0x960},
                    NumberCase{7, 1, 0x170}, NumberCase{8, 4, 0x480},
                    // More than one box ticked: the first of the three counts.
                    NumberCase{2, 7, 0x120}, NumberCase{2, 6, 0x220}, NumberCase{2, 5, 0x120}));

TEST_F(Creation, MembersOfATeamWithoutModeStayInTheListOfFreeAdapters) {
    Ports(2);
    Open({0, 1}, 0);
    EXPECT_EQ(1, Create().result);
    EXPECT_EQ((Texts16{L"Team0:Port 0", L"Team0:Port 1"}), page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ((Texts16{L"Team0"}), page->rowTexts(IDC_TEAM_LIST));
}

TEST_F(Creation, ThreeAdaptersWithLacpAndFailbackInSlotOne) {
    Ports(5);
    AddTeam(L"Old", 0, 1, {L"port0", L"port1"});
    Open({0, 1, 2}, 12);
    ASSERT_EQ(1, Create().result);
    for (int port = 2; port < 5; port++) {
        EXPECT_EQ(0xC31u, TeamNumberOf(port));
        EXPECT_EQ(static_cast<DWORD>(port - 2), RegistryNumber(Record(port), L"Order"));
        EXPECT_EQ(L"\\Device\\{51560000-0000-4000-8000-000000000001}",
                  RegistryText(Record(port), L"TeamBinding"));
    }
}

TEST_F(Creation, AMemberWithoutFriendlyNameGetsItsDescriptionBehindTheTeamsName) {
    Ports(2);
    Port(1).friendlyName.reset();
    Open({0, 1}, 1, L"Uplink");
    ASSERT_EQ(1, Create().result);
    EXPECT_EQ(L"Uplink:Port 0", FriendlyName(Port(0).instance));
    EXPECT_EQ(L"Uplink:Quovane 10GbE Adapter", FriendlyName(Port(1).instance));
}

TEST_F(Creation, ANameOf128CharactersOrMoreIsCutAndTheMembersCarryTheCutOne) {
    for (size_t length : {127u, 128u, 200u, 259u}) {
        SCOPED_TRACE(length);
        std::wstring typed;
        for (size_t i = 0; i < length; i++)
            typed += static_cast<wchar_t>(L'a' + i % 26);
        Ports(2);
        Open({0, 1}, 1, typed);
        ASSERT_EQ(1, Create().result);
        EXPECT_EQ(typed.substr(0, 127), FriendlyName(kTeamDevice));
        EXPECT_EQ(typed.substr(0, 127) + L":Port 1", FriendlyName(Port(1).instance));
    }
}

TEST_F(Creation, MembersCarryTheNameThatTheSystemReportsBack) {
    Ports(2);
    Open({0, 1}, 1, L"Uplink");
    Bench(L"fault SetupDiSetDeviceRegistryPropertyW:SPDRP_FRIENDLYNAME 1 5");
    ASSERT_EQ(1, Create().result);
    EXPECT_EQ(L"Quovane Team Virtual Adapter:Port 0", FriendlyName(Port(0).instance));
    EXPECT_EQ((Texts16{L"Quovane Team Virtual Adapter"}), page->rowTexts(IDC_TEAM_LIST));
}

TEST_F(Creation, AnAdapterWithoutCharacteristicsIsNotHiddenButTeamed) {
    Ports(2);
    Port(0).characteristics.reset();
    Open({0, 1});
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    for (const std::string& fact : made.difference)
        EXPECT_EQ(std::string::npos, fact.find("port0\\driver\\Characteristics")) << fact;
    EXPECT_EQ(0x120u, TeamNumberOf(0));
}

static LRESULT CALLBACK CountPaints(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                    UINT_PTR, DWORD_PTR paints) {
    *reinterpret_cast<int*>(paints) += message == WM_PAINT;
    return DefSubclassProc(window, message, wParam, lParam);
}

// The page's own thread draws a row as soon as it is there, while the worker still looks for its name.
TEST_F(Creation, RowsDrawnBeforeTheyHaveTheirNameAreDrawnAgain) {
    Ports(4);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    Open({0, 1});
    for (int row : {0, 1, 2}) {
        HWND list = page->control(row < 2 ? IDC_NIC_LIST : IDC_TEAM_LIST);
        int paints = 0;
        ShowWindow(list, SW_SHOW);
        SetWindowSubclass(list, CountPaints, 1, reinterpret_cast<DWORD_PTR>(&paints));
        auto drawAll = [&] {
            UpdateWindow(list);
            paints = 0;
        };
        const std::vector<Stop> stops = {{L"LVM_INSERTITEMW", row + 1, nullptr},
                                         {L"CLSIDFromString", 1, drawAll}};
        EXPECT_EQ(1, Perform(OnInitDialog, stops).result);
        PageHost::Pump();
        EXPECT_LT(0, paints) << row;
        RemoveWindowSubclass(list, CountPaints, 1);
    }
}

TEST_F(Creation, TheShippedProgramDoesTheSame) {
    Ports(2);
    Build();
    RunningProgram program;
    program.chooseTwo();
    Outcome made = Press(&program, L"1000");
    ExpectEvents(RoadOfTwo(), made.events);
    ASSERT_EQ(3u, made.statuses.size());
    EXPECT_EQ(L"Configuring Team. Please wait..", made.statuses[0]);
    EXPECT_EQ(L"Team Created.", made.statuses[1]);
    EXPECT_EQ(0u, made.statuses[2].find(L"Select two NICs"));
    EXPECT_EQ((Texts16{L"Team0"}), program.rows(L"1004"));
    EXPECT_EQ(Texts16{}, program.rows(L"1002"));
}
