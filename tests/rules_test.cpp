// The page's rules and the other decisions that need no machine.
#include "app/page_rules.h"
#include "device/inf_path.h"
#include "include/resource.h"
#include "inventory/device_path.h"
#include "inventory/team_number.h"
#include "team/member_name.h"
#include "vlan/vlan_binding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>
#include <set>
#include <string>

static std::set<int> Set(ControlList controls) {
    std::set<int> ids;
    for (; *controls != 0; controls++)
        ids.insert(*controls);
    return ids;
}

TEST(TeamNumber, PacksModeMembersAndSlot) {
    EXPECT_EQ(0x120u, PackTeamNumber(MODE_ACTIVE_BACKUP, 2, 0));
    EXPECT_EQ(0xC31u, PackTeamNumber(MODE_LACP | MODE_FAILBACK, 3, 1));
    EXPECT_EQ(0x283u, PackTeamNumber(MODE_TX_LOAD_BALANCING, 8, 3));
    EXPECT_EQ(0x020u, PackTeamNumber(0, 2, 0));
}

TEST(TeamNumber, GivesBackTheMode) {
    EXPECT_EQ(0xCu, TeamModeOf(0xC31));
    EXPECT_EQ(0u, TeamModeOf(0x010)) << "a VLAN host has no mode bits";
    EXPECT_EQ(1u, TeamModeOf(0xFFFFF120)) << "bits above the twelfth do not count";
}

struct SlotCase {
    std::vector<DWORD> slotsInUse;
    DWORD expected;
};

TEST(TeamSlot, IsTheSmallestThatNoTeamHas) {
    const SlotCase cases[] = {{{}, 0},        {{0}, 1},       {{1}, 0},      {{0, 1}, 2},
                              {{0, 2}, 1},    {{2, 3}, 0},    {{1, 0}, 2},   {{0, 1, 2}, 3},
                              {{0, 1, 3}, 2}, {{3, 1, 0}, 2}, {{1, 2, 3}, 0}};
    for (const SlotCase& c : cases) {
        TeamEntry teams[MAX_TEAMS] = {};
        for (size_t row = 0; row < c.slotsInUse.size(); row++) {
            teams[row].inUse = 1;
            teams[row].TeamNumber = PackTeamNumber(MODE_LACP, 2, c.slotsInUse[row]);
        }
        EXPECT_EQ(c.expected, ChooseTeamSlot(teams, static_cast<int>(c.slotsInUse.size())))
            << testing::PrintToString(c.slotsInUse);
    }
}

TEST(InfPath, HasOneSeparatorWhetherOrNotTheWindowsDirectoryEndsInOne) {
    WCHAR path[260];
    for (const wchar_t* directory : {L"C:\\windows", L"C:\\windows\\", L"C:\\windows/"}) {
        ASSERT_TRUE(FormInfPath(path, 260, directory, L"oem3.inf"));
        std::wstring expected = directory;
        if (expected.back() != L'\\' && expected.back() != L'/')
            expected += L'\\';
        EXPECT_EQ(expected + L"Inf\\oem3.inf", path);
    }
}

TEST(InfPath, ThatDoesNotFitIsRefusedAndNotCut) {
    WCHAR path[24];
    EXPECT_TRUE(FormInfPath(path, 24, L"C:\\windows", L"oem3.inf"));
    EXPECT_FALSE(FormInfPath(path, 23, L"C:\\windows", L"oem3.inf"));
    EXPECT_FALSE(FormInfPath(path, 24, L"", L"oem3.inf"));
}

TEST(DevicePath, PutsThePrefixBeforeTheNameAsItIs) {
    const wchar_t guid[] = L"{A0000000-0000-4000-8000-000000000001}";
    LPWSTR kernel = AddDevicePrefix(guid);
    LPWSTR dos = AddDosDevicePrefix(guid);
    EXPECT_EQ(std::wstring(L"\\Device\\") + guid, kernel);
    EXPECT_EQ(std::wstring(L"\\\\.\\") + guid, dos);
    free(kernel);
    free(dos);
    LPWSTR empty = AddDevicePrefix(L"");
    EXPECT_STREQ(L"\\Device\\", empty);
    free(empty);
}

TEST(DevicePath, GivesBackTheTextBehindTheLastBackslash) {
    EXPECT_STREQ(L"{1}", TextAfterLastBackslash(L"\\Device\\{1}"));
    EXPECT_STREQ(L"", TextAfterLastBackslash(L"\\Device\\"));
    EXPECT_EQ(nullptr, TextAfterLastBackslash(L"{1}"));
}

TEST(DevicePath, ParsesABracedGuidAndNothingElse) {
    GUID guid;
    WCHAR text[GUID_CCH];
    EXPECT_TRUE(ParseGuid(L"{a0000000-0000-4000-8000-00000000000f}", &guid));
    PrintGuid(&guid, text);
    EXPECT_STREQ(L"{A0000000-0000-4000-8000-00000000000F}", text);
    for (const wchar_t* bad : {L"", L"{", L"{A0000000-0000-4000-8000-00000000000}", L"file",
                               L"A0000000-0000-4000-8000-00000000000F"}) {
        EXPECT_FALSE(ParseGuid(bad, &guid)) << testing::PrintToString(std::wstring(bad));
        EXPECT_EQ(GUID{}.Data1, guid.Data1);
    }
}

static std::wstring MemberName(const wchar_t* team, const wchar_t* own) {
    WCHAR name[MEMBER_FRIENDLY_CCH];
    FormMemberName(name, team, own);
    return name;
}

TEST(MemberName, IsTheTeamNameAColonAndTheOwnName) {
    EXPECT_EQ(L"Team0:Adapter #1", MemberName(L"Team0", L"Adapter #1"));
    EXPECT_EQ(L"Team0:", MemberName(L"Team0", L""));
}

TEST(MemberName, IsCutWithATerminatorWhenItIsTooLong) {
    std::wstring own(300, L'x');
    std::wstring name = MemberName(L"Team0", own.c_str());
    EXPECT_EQ(MEMBER_FRIENDLY_CCH - 1, name.size());
    EXPECT_EQ(L"Team0:x", name.substr(0, 7));
}

static std::wstring Stripped(const wchar_t* team, const wchar_t* member) {
    WCHAR name[MEMBER_FRIENDLY_CCH];
    return StripTeamName(name, team, member) ? name : L"<untouched>";
}

TEST(MemberName, LosesTheTeamNameAgain) {
    EXPECT_EQ(L"Adapter #1", Stripped(L"Team0", L"Team0:Adapter #1"));
    EXPECT_EQ(L"", Stripped(L"Team0", L"Team0"));
    EXPECT_EQ(L"", Stripped(L"Team0", L"Team0:"));
}

TEST(MemberName, ThatDoesNotBeginWithTheTeamNameIsLeftAlone) {
    EXPECT_EQ(L"<untouched>", Stripped(L"Team0", L"Adapter #1"));
    EXPECT_EQ(L"<untouched>", Stripped(L"Team0", L"team0:Adapter #1"));
    EXPECT_EQ(L"<untouched>", Stripped(L"Team0", L"Team"));
}

TEST(MemberName, LosesTheCharacterBehindTheTeamNameWhateverItIs) {
    EXPECT_EQ(L"Adapter", Stripped(L"Team0", L"Team0-Adapter"));
    EXPECT_EQ(L"1", Stripped(L"Team0", L"Team0:1"));
}

static std::wstring Kept(const std::wstring& list, const wchar_t* entry) {
    std::wstring kept(list.size() + 3, L'\0');
    kept.resize(CopyOtherEntries((list + L'\0' + L'\0').c_str(), entry, kept.data()));
    return kept;
}

TEST(VlanBinding, LosesEveryEntryThatMatchesInAnyLetterCase) {
    using namespace std::string_literals;
    EXPECT_EQ(L"b\0"s, Kept(L"\\Device\\{A}\0b\0\\DEVICE\\{a}\0"s, L"\\Device\\{A}"));
    EXPECT_EQ(L""s, Kept(L"x\0X\0"s, L"x"));
    EXPECT_EQ(L"x\0"s, Kept(L"x"s, L"y")) << "a last entry without its NUL gets one";
    EXPECT_EQ(L""s, Kept(L""s, L"y"));
}

TEST(VlanBinding, NamesADeviceOnlyByTextBehindABackslash) {
    EXPECT_STREQ(L"{1}", BindingGuidText(L"\\Device\\{1}"));
    EXPECT_EQ(nullptr, BindingGuidText(L"{1}"));
    EXPECT_EQ(nullptr, BindingGuidText(L"\\Device\\"));
    EXPECT_STREQ(L"{1}", FindBinding(L"{1}\0\\Device\\\0\\Device\\{1}\0", L"{1}"));
    EXPECT_EQ(nullptr, FindBinding(L"{1}\0\\Device\\\0\\Device\\{2}\0", L"{1}"));
}

TEST(PageRule, ChangesNothingWhenTheListIsEmptyOfTicksButTheOtherIsNot) {
    EXPECT_EQ(nullptr, ListRule(IDC_NIC_LIST, 0, TRUE));
    EXPECT_EQ(nullptr, ListRule(IDC_TEAM_LIST, 0, TRUE));
}

TEST(PageRule, OffersActiveBackupOnlyForTwoAdapters) {
    const PageRule* two = ListRule(IDC_NIC_LIST, 2, FALSE);
    const PageRule* three = ListRule(IDC_NIC_LIST, 3, FALSE);
    EXPECT_THAT(Set(two->enable), testing::IsSupersetOf({IDC_ACTIVE_BACKUP, IDC_FAILBACK}));
    EXPECT_THAT(Set(three->disable), testing::IsSupersetOf({IDC_ACTIVE_BACKUP, IDC_FAILBACK}));
    EXPECT_EQ((std::set<int>{IDC_ACTIVE_BACKUP, IDC_FAILBACK}), Set(three->untick));
    EXPECT_EQ(std::set<int>{}, Set(three->enable));
}

TEST(ModeRule, KeepsTheModesApart) {
    EXPECT_EQ((std::set<int>{IDC_TX_LOAD_BALANCING, IDC_LACP}),
              Set(ModeRule(IDC_ACTIVE_BACKUP, TRUE)->untick));
    EXPECT_EQ(std::set<int>{IDC_FAILBACK}, Set(ModeRule(IDC_ACTIVE_BACKUP, FALSE)->untick));
    EXPECT_EQ(std::set<int>{IDC_ACTIVE_BACKUP}, Set(ModeRule(IDC_FAILBACK, TRUE)->tick));
    EXPECT_EQ(nullptr, ModeRule(IDC_FAILBACK, FALSE));
    EXPECT_EQ(nullptr, ModeRule(IDC_LACP, FALSE));
}

TEST(ModeBoxes, ShowATeamsMode) {
    EXPECT_EQ(std::set<int>{IDC_ACTIVE_BACKUP}, Set(ModeBoxes(1)));
    EXPECT_EQ(std::set<int>{IDC_TX_LOAD_BALANCING}, Set(ModeBoxes(2)));
    EXPECT_EQ(std::set<int>{IDC_LACP}, Set(ModeBoxes(4)));
    EXPECT_EQ((std::set<int>{IDC_ACTIVE_BACKUP, IDC_FAILBACK}), Set(ModeBoxes(9)));
    EXPECT_EQ((std::set<int>{IDC_ACTIVE_BACKUP, IDC_FAILBACK}), Set(ModeBoxes(12)));
    EXPECT_EQ(std::set<int>{}, Set(ModeBoxes(0)));
    EXPECT_EQ(std::set<int>{}, Set(ModeBoxes(3)));
}
