// What may be typed for a new VLAN, and how the list of a host gains and loses a row.
#include "vlan/new_vlan.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

static GUID NumberedGuid(DWORD number) {
    return {number, 0, 0, {}};
}

struct Row {
    WORD id;
    std::wstring name;
};

// Row i has GUID i + 1.
static std::unique_ptr<VlanList> ListOf(const std::vector<Row>& rows) {
    auto list = std::make_unique<VlanList>();
    for (const Row& row : rows) {
        list->vlanIds[list->numVlans] = row.id;
        row.name.copy(list->vlanNames[list->numVlans], NAME_CCH - 1);
        list->vlanGuids[list->numVlans] = NumberedGuid(list->numVlans + 1u);
        list->numVlans++;
    }
    return list;
}

static std::vector<Row> ManyRows(int count) {
    std::vector<Row> rows;
    for (int i = 0; i < count; i++)
        rows.push_back({static_cast<WORD>(100 + i), L"Vlan " + std::to_wstring(100 + i)});
    return rows;
}

// "id name guid", row by row.
static std::wstring TextOf(const VlanList& list) {
    std::wstring text;
    for (int row = 0; row < list.numVlans; row++)
        text += std::to_wstring(list.vlanIds[row]) + L" " + list.vlanNames[row] + L" " +
                std::to_wstring(list.vlanGuids[row].Data1) + L"; ";
    return text;
}

TEST(VlanId, IsTheNumberThatTheTextBeginsWith) {
    const struct {
        const wchar_t* text;
        DWORD id;
    } cases[] = {
        {L"0", 0},
        {L"1", 1},
        {L"10", 10},
        {L"4095", 4095},
        {L"4096", 4096},
        {L"007", 7},
        {L"08", 8},
        {L"010", 10},
        {L"00000000000000000000000000012", 12},
        {L" 7", 7},
        {L"\t 7", 7},
        {L"+7", 7},
        {L"7 ", 7},
        {L"7 8", 7},
        {L"7abc", 7},
        {L"7.9", 7},
        {L"0x10", 0},
        {L"-0", 0},
        {L"-1", 0xFFFFFFFF},
        {L"-4095", 0xFFFFF001},
        {L"65546", 65546},
        {L"2147483647", 0x7FFFFFFF},
        {L"2147483648", 0x7FFFFFFF},
        {L"4294967306", 0x7FFFFFFF},
        {L"99999999999", 0x7FFFFFFF},
        {L"-99999999999", 0x80000000},
        {L"-4294967286", 0x80000000},
        {L"", NO_VLAN_ID},
        {L" ", NO_VLAN_ID},
        {L"abc", NO_VLAN_ID},
        {L"-", NO_VLAN_ID},
        {L"+", NO_VLAN_ID},
        {L"- 7", NO_VLAN_ID},
        {L"#7", NO_VLAN_ID},
        {L".7", NO_VLAN_ID},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.id, ParseVlanId(c.text)) << testing::PrintToString(c.text);
}

TEST(VlanVerdicts, ComeInTheirOrder) {
    const std::vector<Row> none;
    const std::vector<Row> some = {{10, L"Voice"}, {20, L"Data"}};
    const std::vector<Row> untagged = {{10, L"Voice"}, {0, L"Untagged"}};
    const std::vector<Row> most = ManyRows(63);
    const std::vector<Row> full = ManyRows(64);
    const struct {
        const std::vector<Row>& rows;
        DWORD id;
        const wchar_t* name;
        BOOL unTagged;
        VlanVerdict verdict;
    } cases[] = {
        {none, 1, L"a", FALSE, VLAN_ACCEPTED},
        {none, 4095, L"a", FALSE, VLAN_ACCEPTED},
        {none, 4096, L"a", FALSE, VLAN_ID_OUT_OF_RANGE},
        {none, 0, L"a", FALSE, VLAN_ID_OUT_OF_RANGE},
        {none, 0, L"a", TRUE, VLAN_ACCEPTED},
        {none, 5, L"a", TRUE, VLAN_ACCEPTED},
        {none, 4096, L"a", TRUE, VLAN_ID_OUT_OF_RANGE},
        {none, NO_VLAN_ID, L"a", TRUE, VLAN_ID_OUT_OF_RANGE},
        {none, 0x80000000, L"a", FALSE, VLAN_ID_OUT_OF_RANGE},
        {none, 5, L" a", FALSE, VLAN_NAME_BLANK},
        {none, 5, L"\ta", FALSE, VLAN_NAME_BLANK},
        {none, 5, L"\x00a0", FALSE, VLAN_NAME_BLANK},
        {none, 5, L"a ", FALSE, VLAN_ACCEPTED},
        {none, 5, L"a b", FALSE, VLAN_ACCEPTED},
        {none, 0, L" ", FALSE, VLAN_ID_OUT_OF_RANGE},
        {some, 10, L"New", FALSE, VLAN_ID_IN_USE},
        {some, 20, L"New", FALSE, VLAN_ID_IN_USE},
        {some, 30, L"Data", FALSE, VLAN_NAME_IN_USE},
        {some, 30, L"dATA", FALSE, VLAN_NAME_IN_USE},
        {some, 30, L"Data ", FALSE, VLAN_ACCEPTED},
        {some, 30, L"Dat", FALSE, VLAN_ACCEPTED},
        {some, 5000, L"Voice", FALSE, VLAN_NAME_IN_USE},
        {some, NO_VLAN_ID, L"Voice", FALSE, VLAN_NAME_IN_USE},
        {some, 5000, L" ", FALSE, VLAN_ID_OUT_OF_RANGE},
        {some, 10, L" ", FALSE, VLAN_ID_IN_USE},
        // The first row that has either decides, its id first.
        {some, 20, L"Voice", FALSE, VLAN_NAME_IN_USE},
        {some, 10, L"Data", FALSE, VLAN_ID_IN_USE},
        {some, 10, L"Voice", FALSE, VLAN_ID_IN_USE},
        // Only ids of 32 bits are compared: 65546 is not 10.
        {some, 65546, L"New", FALSE, VLAN_ID_OUT_OF_RANGE},
        {some, 0xFFFF000A, L"New", FALSE, VLAN_ID_OUT_OF_RANGE},
        {untagged, 0, L"New", FALSE, VLAN_ID_IN_USE},
        {untagged, 0, L"New", TRUE, VLAN_ID_IN_USE},
        {untagged, 30, L"UNTAGGED", FALSE, VLAN_NAME_IN_USE},
        {most, 5, L"a", FALSE, VLAN_ACCEPTED},
        {full, 5, L"a", FALSE, VLAN_LIST_FULL},
        {full, 0, L"a", TRUE, VLAN_LIST_FULL},
        {full, 163, L"a", FALSE, VLAN_ID_IN_USE},
        {full, 5, L"VLAN 163", FALSE, VLAN_NAME_IN_USE},
        {full, 4096, L"a", FALSE, VLAN_ID_OUT_OF_RANGE},
        {full, 5, L" a", FALSE, VLAN_NAME_BLANK},
    };
    for (const auto& c : cases) {
        auto list = ListOf(c.rows);
        const std::wstring before = TextOf(*list);
        EXPECT_EQ(c.verdict, JudgeVlan(list.get(), c.id, c.name, c.unTagged))
            << c.rows.size() << " rows, id " << c.id << ", name " << testing::PrintToString(c.name);
        EXPECT_EQ(before, TextOf(*list));
    }
}

TEST(VlanVerdicts, LookAtTheRowsInUseOnly) {
    auto list = ListOf({{10, L"Voice"}, {20, L"Data"}});
    list->numVlans = 1;
    EXPECT_EQ(VLAN_ACCEPTED, JudgeVlan(list.get(), 20, L"New", FALSE));
    EXPECT_EQ(VLAN_ACCEPTED, JudgeVlan(list.get(), 30, L"Data", FALSE));
}

TEST(UntaggedVlan, IsOfferedBesideOthersAndOnce) {
    EXPECT_FALSE(CanAddUntaggedVlan(ListOf({}).get()));
    EXPECT_TRUE(CanAddUntaggedVlan(ListOf({{10, L"Voice"}}).get()));
    EXPECT_TRUE(CanAddUntaggedVlan(ListOf(ManyRows(64)).get()));
    EXPECT_FALSE(CanAddUntaggedVlan(ListOf({{0, L"Untagged"}}).get()));
    EXPECT_FALSE(CanAddUntaggedVlan(ListOf({{0, L"Native"}, {10, L"Voice"}}).get()));
    EXPECT_FALSE(CanAddUntaggedVlan(ListOf({{10, L"Voice"}, {20, L"Data"}, {0, L"x"}}).get()));
    auto list = ListOf({{10, L"Voice"}, {0, L"Untagged"}});
    list->numVlans = 1;
    EXPECT_TRUE(CanAddUntaggedVlan(list.get()));
}

TEST(VlanRows, AreAddedBehindTheLast) {
    auto list = ListOf({{10, L"Voice"}});
    list->vlanGuids[1] = NumberedGuid(77);
    AppendVlanRow(list.get(), 4095, L"Data");
    EXPECT_EQ(L"10 Voice 1; 4095 Data 77; ", TextOf(*list));
    AppendVlanRow(list.get(), 0, L"Untagged");
    EXPECT_EQ(L"10 Voice 1; 4095 Data 77; 0 Untagged 0; ", TextOf(*list));
}

TEST(VlanRows, EndAtTheLastOneOfTheList) {
    auto list = ListOf(ManyRows(63));
    AppendVlanRow(list.get(), 5, L"Last");
    EXPECT_EQ(64, list->numVlans);
    EXPECT_EQ(5, list->vlanIds[63]);
    EXPECT_STREQ(L"Last", list->vlanNames[63]);
    EXPECT_STREQ(L"Vlan 100", list->vlanNames[0]);
    EXPECT_EQ(NumberedGuid(1), list->vlanGuids[0]);
}

TEST(VlanRows, HaveNamesOf259Characters) {
    for (size_t length : {1, 258, 259, 260, 1000}) {
        auto list = ListOf({{10, L"Voice"}});
        list->vlanNames[2][0] = L'!';
        const std::wstring name(length, L'n');
        AppendVlanRow(list.get(), 5, name.c_str());
        EXPECT_EQ(name.substr(0, 259), list->vlanNames[1]) << length;
        EXPECT_EQ(L'!', list->vlanNames[2][0]) << length;
    }
}

TEST(VlanRows, CloseUpButForTheirGuids) {
    const std::vector<Row> rows = {{10, L"A"}, {20, L"B"}, {30, L"C"}, {40, L"D"}};
    const wchar_t* const left[] = {
        L"20 B 1; 30 C 2; 40 D 3; ",
        L"10 A 1; 30 C 2; 40 D 3; ",
        L"10 A 1; 20 B 2; 40 D 3; ",
        L"10 A 1; 20 B 2; 30 C 3; ",
    };
    for (int row = 0; row < 4; row++) {
        auto list = ListOf(rows);
        DropVlanRow(list.get(), row);
        EXPECT_EQ(left[row], TextOf(*list)) << row;
        EXPECT_EQ(NumberedGuid(4), list->vlanGuids[3]) << row;
    }
}

TEST(VlanRows, CanAllBeDropped) {
    auto list = ListOf(ManyRows(64));
    list->vlanNames[63][258] = L'!';
    DropVlanRow(list.get(), 0);
    EXPECT_EQ(63, list->numVlans);
    EXPECT_EQ(163, list->vlanIds[62]);
    EXPECT_STREQ(L"Vlan 163", list->vlanNames[62]);
    EXPECT_EQ(NumberedGuid(64), list->vlanGuids[63]);
    for (int left = 62; left >= 0; left--) {
        DropVlanRow(list.get(), left);
        EXPECT_EQ(left, list->numVlans);
    }
    EXPECT_EQ(NumberedGuid(1), list->vlanGuids[0]);
}

TEST(VlanRows, KeepLongNamesWholeWhenTheyMove) {
    auto list = ListOf({{10, L"A"}, {20, std::wstring(259, L'b')}});
    DropVlanRow(list.get(), 0);
    EXPECT_EQ(std::wstring(259, L'b'), list->vlanNames[0]);
    EXPECT_EQ(20, list->vlanIds[0]);
}
