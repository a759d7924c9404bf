// Four teams, as many as there can be, leave the machine as it was before in whatever order they are
// removed.
#include "harness/round_trip.h"

#include <algorithm>

static const std::vector<std::wstring> kNames = {L"Alpha", L"Beta", L"Gamma", L"Delta"};

class RoundTripOrders : public RoundTripTest {
  protected:
    void Make(const std::wstring& name) {
        MakeTeam({0, 1}, 1, name);
    }

    // Removes these teams in every order in which that can be done. Each team is made again once all
    // orders that begin with it have been gone through, so orders with a common beginning share it.
    void RemoveInEveryOrder(const std::vector<std::wstring>& teams) {
        SCOPED_TRACE(testing::PrintToString(teams));
        ASSERT_EQ(static_cast<LONG>(teams.size()), g_numTeams);
        if (teams.empty()) {
            orders_++;
            ExpectBack();
            return;
        }
        for (const std::wstring& team : teams) {
            std::vector<std::wstring> others;
            std::copy_if(teams.begin(), teams.end(), std::back_inserter(others),
                         [&](const std::wstring& other) { return other != team; });
            RemoveTeamNamed(team);
            RemoveInEveryOrder(others);
            ASSERT_FALSE(HasFailure());
            Make(team);
        }
    }

    int orders_ = 0;
};

TEST_F(RoundTripOrders, OfRemovalAllLeaveNothing) {
    OpenPorts(8);
    for (const std::wstring& name : kNames)
        Make(name);
    RemoveInEveryOrder(kNames);
    EXPECT_EQ(24, orders_);
    EXPECT_EQ(4, g_numTeams);
}
