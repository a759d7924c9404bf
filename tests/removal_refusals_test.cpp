// Team removal that is refused, or stops at a team's VLANs.
#include "harness/removal.h"

#include <algorithm>

class RemovalRefusal : public RemovalTest {
  protected:
    void ExpectNothingDone(const Outcome& outcome) {
        Texts16 changes = outcome.events;
        changes.erase(std::remove_if(changes.begin(), changes.end(),
                                     [](const std::wstring& event) {
                                         return event.compare(0, 6, L"fault ") == 0;
                                     }),
                      changes.end());
        ExpectEvents({}, changes);
        ExpectFacts({}, outcome.difference);
    }
};

using RemovalStop = RemovalTest;

TEST_F(RemovalRefusal, MeetsWhoeverIsNoAdministrator) {
    Teams(1);
    OpenTeams({0});
    Bench(L"admin 0");
    Outcome refused = Remove();
    EXPECT_EQ(2, refused.result);
    EXPECT_EQ(Texts16{text::kNotAdminToRemove}, refused.statuses);
    ExpectNothingDone(refused);
    EXPECT_EQ(1, g_numTeams);
    EXPECT_TRUE(page->rowTicked(IDC_TEAM_LIST, 0));
    Bench(L"admin 1");
    EXPECT_EQ(1, Remove().result);
    EXPECT_EQ(0, g_numTeams);
}

TEST_F(RemovalRefusal, AsksForRightsBeforeItLooksForThePagesState) {
    Teams(1);
    OpenTeams({0});
    Bench(L"admin 0");
    SetWindowLongPtrW(page->window(), DWLP_USER, 0);
    Outcome refused = Remove();
    EXPECT_EQ(2, refused.result);
    EXPECT_EQ(Texts16{text::kNotAdminToRemove}, refused.statuses);
    ExpectNothingDone(refused);
}

TEST_F(RemovalRefusal, CountsAGroupThatCannotBeAskedAsNoRights) {
    Teams(1);
    for (const wchar_t* call : {L"AllocateAndInitializeSid", L"CheckTokenMembership"}) {
        SCOPED_TRACE(testing::PrintToString(call));
        OpenTeams({0});
        Bench(std::wstring(L"fault ") + call + L" 1 5");
        Outcome refused = Remove();
        EXPECT_EQ(2, refused.result);
        EXPECT_EQ(Texts16{text::kNotAdminToRemove}, refused.statuses);
        ExpectNothingDone(refused);
    }
}

TEST_F(RemovalRefusal, WithoutThePagesStateAttemptsNothingAndSaysNothing) {
    Teams(1);
    OpenTeams({0});
    SetWindowLongPtrW(page->window(), DWLP_USER, 0);
    Outcome refused = Remove();
    EXPECT_EQ(2, refused.result);
    EXPECT_EQ(Texts16{}, refused.statuses);
    ExpectNothingDone(refused);
    EXPECT_EQ(1, g_numTeams);
}

TEST_F(RemovalRefusal, MeetsFiveTeamsWithoutAWord) {
    Teams(4);
    AddTeam(L"Fifth", 3, 1, {});
    OpenTeams({0, 1, 2, 3, 4});
    ASSERT_EQ(5, page->rows(IDC_TEAM_LIST));
    g_numTeams = 5;
    LONG before[4] = {7, 7, 7, 7};
    memcpy(selectedTeams, before, sizeof(before));
    Outcome refused = Remove();
    EXPECT_EQ(2, refused.result);
    EXPECT_EQ(Texts16{}, refused.statuses);
    ExpectNothingDone(refused);
    EXPECT_EQ(5, g_numTeams);
    EXPECT_EQ(5, page->rows(IDC_TEAM_LIST));
    g_numTeams = 4;
    EXPECT_EQ(1, Remove().result) << "no more rows are looked at than there are teams";
    EXPECT_EQ(Texts16{L"Fifth"}, page->rowTexts(IDC_TEAM_LIST));
}

// A fifth row has no team behind it: there the table has ended. What stands behind the table would make a
// team of one member.
TEST_F(RemovalRefusal, IsNotForFewerThanFiveOfWhichTheFifthRowIsPassedOver) {
    Teams(4);
    AddTeam(L"Fifth", 3, 1, {});
    OpenTeams({0, 4});
    g_numTeams = 5;
    HWND wait = reinterpret_cast<HWND>(1ull << 32);
    page->data()->hWaitDlg = wait;
    Outcome removed = Remove();
    EXPECT_EQ(wait, page->data()->hWaitDlg);
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0000"}, removed.of(L"device-remove"));
    EXPECT_EQ((Texts16{L"Beta", L"Gamma", L"Delta", L"Fifth"}), page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(3, g_numTeams);
}

// The records are looked through for each VLAN; a free port's VLANs stand in the last of them, and
// its record is in no team.
TEST_F(RemovalStop, AtTheVlansSaysSoAndLeavesTheTeam) {
    Teams(1, 1);
    AddVlan(L"team-1", 10, L"Voice");
    AddVlan(L"team-1", 20, L"Data");
    AddVlan(L"port2", 30, L"Guests");
    OpenTeams({0});
    Outcome failed = Remove();
    EXPECT_EQ(0, failed.result);
    EXPECT_EQ(Texts16{text::kTeamVlansStuck}, failed.statuses);
    EXPECT_EQ(Texts16{}, failed.of(L"device-remove"));
    EXPECT_EQ(1, g_numTeams);
    EXPECT_EQ(Texts16{L"Alpha"}, page->rowTexts(IDC_TEAM_LIST));
    EXPECT_TRUE(page->rowTicked(IDC_TEAM_LIST, 0));
    EXPECT_EQ(2, page->data()->teams[0].numNics);
    // The first VLAN's binding has gone from the members all the same.
    std::vector<std::string> expected;
    for (const char* port : {"port0", "port1"}) {
        std::string binding = std::string("record\\{") + port + "}\\VlanBinding = REG_MULTI_SZ ";
        expected.push_back("- " + binding + "\"\\Device\\{vlan20}|\\Device\\{vlan10}\"");
        expected.push_back("+ " + binding + "\"\\Device\\{vlan20}\" (98 bytes)");
    }
    ExpectFacts(expected, failed.difference);
}

TEST_F(RemovalStop, AtTheSecondVlanLeavesTheFirstRemoved) {
    Teams(1);
    AddVlan(L"team-1", 10, L"Voice");
    AddVlan(L"team-1", 20, L"Data");
    AddVlan(L"team-1", 30, L"Guests");
    OpenTeams({0});
    Outcome failed = Remove({{L"SetupDiRemoveDevice", 1, [] {
                                  Bench(L"fault RegOpenKeyExW 1 5"); // of all records
                              }}});
    EXPECT_EQ(0, failed.result);
    EXPECT_EQ(Texts16{text::kTeamVlansStuck}, failed.statuses);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0001"}, failed.of(L"device-remove"));
    EXPECT_EQ(1, g_numTeams);
    Outcome again = Remove();
    EXPECT_EQ(1, again.result);
    EXPECT_EQ((Texts16{L"ROOT\\NET\\0002", L"ROOT\\NET\\0003", L"ROOT\\NET\\0000"}),
              again.of(L"device-remove"));
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), again.statuses);
}

TEST_F(RemovalStop, AtTheSecondTeamLeavesTheFirstRemovedAndEveryRowInItsPlace) {
    Teams(3);
    AddVlan(L"team-2", 10, L"Voice");
    OpenTeams({0, 1, 2});
    Outcome failed = Remove({{L"INetCfg::Apply", 2, [] {
                                  // The walk that takes the VLAN off, behind the one for its list.
                                  Bench(L"fault RegOpenKeyExW 3 5");
                              }}});
    EXPECT_EQ(0, failed.result);
    EXPECT_EQ(Texts16{text::kTeamVlansStuck}, failed.statuses);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0000"}, failed.of(L"device-remove"));
    EXPECT_EQ(3, g_numTeams);
    EXPECT_EQ((Texts16{L"Alpha", L"Beta", L"Gamma"}), page->rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(0, page->data()->teams[0].numNics);
    EXPECT_EQ(2, page->data()->teams[1].numNics);
    EXPECT_EQ(2, page->data()->teams[2].numNics);

    Outcome again = Remove();
    EXPECT_EQ(1, again.result);
    EXPECT_EQ((Texts16{L"ROOT\\NET\\0003", L"ROOT\\NET\\0001", L"ROOT\\NET\\0002"}),
              again.of(L"device-remove"));
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), again.statuses);
    EXPECT_EQ(0, g_numTeams);
    EXPECT_EQ(6, page->rows(IDC_NIC_LIST));
}
