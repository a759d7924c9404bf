// Which calls of a press the fault sweep makes fail.
#include "sweep/rounds.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

std::string Guid(unsigned number) {
    return "{A0000000-0000-4000-8000-00000000000" + std::to_string(number) + "}";
}

// One call in a routine that is entered `entry`-th, from one press.
CallSeen CallIn(const std::string& routine, unsigned entry, const std::string& call) {
    return {call, {"OnCommand: 1001", routine}, {1, entry}};
}

std::vector<size_t> Failing(const std::vector<CallSeen>& calls) {
    const std::vector<bool> fail = CallsThatFail(calls);
    std::vector<size_t> numbers;
    for (size_t i = 0; i < fail.size(); i++) {
        if (fail[i])
            numbers.push_back(i);
    }
    return numbers;
}

// Twenty rounds of a loop.
std::vector<CallSeen> Rounds(const std::function<CallSeen(unsigned)>& round) {
    std::vector<CallSeen> calls;
    for (unsigned i = 0; i < 20; i++)
        calls.push_back(round(i));
    return calls;
}

// The last eight are followed by fewer calls, so that none is like another.
const std::vector<size_t> kFirstTwoAndLast = {0, 1, 11, 12, 13, 14, 15, 16, 17, 18, 19};
const std::vector<size_t> kFewEntries = {0, 1, 2, 3, 11, 12, 13, 14, 15, 16, 17, 18, 19};

} // namespace

TEST(CallsThatFail, AreTheFirstTwoAndTheLastOfOneLoop) {
    EXPECT_EQ(kFirstTwoAndLast, Failing(Rounds([](unsigned) {
                  return CallIn("WalkNetDevices", 2, "SetupDiEnumDeviceInfo");
              })));
}

// The first two entries stand for themselves; two and the last one stand for all later ones.
TEST(CallsThatFail, AreFewOfEntriesThatDifferByGuidOrPlace) {
    EXPECT_EQ(kFewEntries, Failing(Rounds([](unsigned i) {
                  return CallIn("FindNetAdapterByText: " + Guid(i % 10), 2 + i, "RegCloseKey");
              })));
    EXPECT_EQ(kFewEntries, Failing(Rounds([](unsigned i) {
                  return CallIn("RemoveVlanRow: " + std::to_string(3 + i), 2 + i, "RegCloseKey");
              })));
}

TEST(CallsThatFail, AreAllThatDifferByAFlag) {
    std::vector<CallSeen> calls =
        Rounds([](unsigned) { return CallIn("WalkNetDevices", 2, "SetupDiEnumDeviceInfo"); });
    calls[5].routines.back() = "ShowHideNic: 1";
    const std::vector<bool> fail = CallsThatFail(calls);
    EXPECT_TRUE(fail[5]);
    // Those that it follows at another distance are not alike either.
    for (size_t i = 0; i < 5; i++)
        EXPECT_TRUE(fail[i]) << i;
}

TEST(CallsThatFail, AreThoseOfTheFirstTwoEntriesOfARoutine) {
    std::vector<CallSeen> calls;
    for (unsigned member = 0; member < 8; member++) {
        for (unsigned device = 0; device < 20; device++)
            calls.push_back(CallIn("ShowHideNic: 1", 2 + member, "SetupDiEnumDeviceInfo"));
    }
    const std::vector<bool> fail = CallsThatFail(calls);
    for (size_t member = 0; member < 8; member++) {
        // Two of each of the first two entries, two of all later ones together.
        EXPECT_EQ(member < 3, fail[member * 20]) << member;
        EXPECT_EQ(member < 3, fail[member * 20 + 1]) << member;
        EXPECT_FALSE(fail[member * 20 + 5]) << member;
    }
}

TEST(CallsThatFail, AreAllOfDifferentNames) {
    EXPECT_EQ(20u, Failing(Rounds([](unsigned i) {
                       return CallIn("WalkNetDevices", 2, "Call" + std::to_string(i));
                   })).size());
}
