// VLANs removed from their page: the question, the order of the work, and what is left.
#include "harness/vlan_page_jobs.h"

static const wchar_t kQuestion[] = L"The following entries will be removed:-\r\n";

class VlanRemovals : public VlanPageTest {};

TEST_F(VlanRemovals, RemoveNothingAndShowNothingWithoutATick) {
    OpenWithThree(kNic);
    const std::string before = MachineDump();
    vlans->remove({});
    ListView_SetItemState(vlans->control(IDC_VLAN_LIST), 1, LVIS_SELECTED | LVIS_FOCUSED,
                          LVIS_SELECTED | LVIS_FOCUSED);
    vlans->command(IDC_REMOVE_VLAN);
    EXPECT_TRUE(Journal().empty());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(3, vlans->rows());
    OpenOnPort();
    vlans->remove({});
    EXPECT_TRUE(Journal().empty());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemovals, AskBeforeTheyRemoveAndTakeNoForAnAnswer) {
    OpenWithThree(kNic);
    const std::string before = MachineDump();
    const struct {
        std::vector<int> rows;
        const wchar_t* entries;
    } cases[] = {
        {{0}, L"A: 10\r\n"},
        {{2}, L"C: 30\r\n"},
        {{0, 2}, L"A: 10\r\nC: 30\r\n"},
        {{2, 1, 0}, L"A: 10\r\nB: 20\r\nC: 30\r\n"},
    };
    for (int answer : {IDCANCEL, IDCLOSE, 0}) {
        for (const auto& c : cases) {
            BoxCatcher catcher(answer);
            vlans->remove(c.rows);
            ASSERT_EQ(1u, catcher.boxes.size());
            EXPECT_EQ(std::wstring(kQuestion) + c.entries, catcher.boxes[0].text);
            EXPECT_EQ(L"Warning", catcher.boxes[0].caption);
            EXPECT_EQ(0x31u, catcher.boxes[0].type);
            EXPECT_EQ(vlans->window(), catcher.boxes[0].owner);
            for (int row : c.rows)
                EXPECT_TRUE(vlans->ticked(row));
        }
    }
    EXPECT_TRUE(Journal().empty());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ((Texts16{L"10 A", L"20 B", L"30 C"}), vlans->cells());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemovals, CountEveryRowAsTickedThatIsNotUnticked) {
    OpenWithThree(kNic);
    vlans->tick({});
    ListView_SetItemState(vlans->control(IDC_VLAN_LIST), 1, 0, LVIS_STATEIMAGEMASK);
    BoxCatcher catcher(IDCANCEL);
    vlans->command(IDC_REMOVE_VLAN);
    ASSERT_EQ(1u, catcher.boxes.size());
    EXPECT_EQ(std::wstring(kQuestion) + L"B: 20\r\n", catcher.boxes[0].text);
}

TEST_F(VlanRemovals, CountNoRowAsTickedThatTheListDoesNotHold) {
    OpenWithThree(kNic);
    ListView_DeleteItem(vlans->control(IDC_VLAN_LIST), 2);
    const std::string before = MachineDump();
    BoxCatcher catcher(IDOK);
    vlans->remove({});
    EXPECT_EQ(0u, catcher.boxes.size());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(3, vlans->list()->numVlans);
}

TEST_F(VlanRemovals, AskIn1999CharactersAtMost) {
    // Eight rows of one length and a ninth that makes the text as long as this; 64 as long as can be.
    for (size_t length : {1997, 1998, 1999, 2000, 2001, 2008, 2120, 0}) {
        SCOPED_TRACE(length);
        OpenOnPort();
        std::wstring whole = kQuestion;
        std::vector<int> rows;
        auto add = [&](const std::wstring& name) {
            rows.push_back(vlans->list()->numVlans);
            vlans->addRow(1000u + static_cast<DWORD>(rows.size()), name);
            whole += name + L": " + std::to_wstring(1000 + rows.size()) + L"\r\n";
        };
        for (int row = 0; row < (length == 0 ? 64 : 8); row++)
            add(std::wstring(length == 0 ? 259 : 220, static_cast<wchar_t>(L'a' + row % 26)));
        if (length != 0) {
            add(std::wstring(length - whole.size() - 8, L'z'));
            ASSERT_EQ(length, whole.size());
        }
        BoxCatcher catcher(IDCANCEL);
        vlans->remove(rows);
        ASSERT_EQ(1u, catcher.boxes.size());
        EXPECT_EQ(whole.substr(0, 1999), catcher.boxes[0].text);
    }
}

TEST_F(VlanRemovals, RemoveNothingWithoutMemoryForTheQuestion) {
    OpenWithThree(kNic);
    const std::string before = MachineDump();
    vlans->tick({1});
    Bench(L"fault calloc 1 8");
    BoxCatcher catcher(IDOK);
    vlans->command(IDC_REMOVE_VLAN);
    ASSERT_EQ(1u, catcher.boxes.size());
    EXPECT_EQ(L"Memory Allocation Error", catcher.boxes[0].text);
    EXPECT_EQ(L"Error", catcher.boxes[0].caption);
    EXPECT_EQ(0u, catcher.boxes[0].type);
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(3, vlans->list()->numVlans);
    EXPECT_EQ(nullptr, FindWaitWindow());
    EXPECT_EQ("", StillOpen());
}

static Texts16 QuestionEvents(const std::wstring& entries) {
    return {L"message-box \"Warning\" \"The following entries will be removed:-\\r\\n" + entries +
            L"\" type=0x31 -> IDOK"};
}

TEST_F(VlanRemovals, ShowAndRebindAPortBehindItsLastVlan) {
    OpenOnPort({{10, L"Voice"}});
    EXPECT_EQ("disabled hidden", HostState());
    Bench(L"message-box IDOK all");
    PaintWatch watch;
    vlans->remove({0});
    ExpectEvents(
        QuestionEvents(L"Voice: 10\\r\\n") + kWaitOpens +
            Texts16{L"value-delete record\\{port0}\\VlanBinding", L"key-delete record\\{port0}"} +
            RemoveAdapterEvents(L"vlan10", L"ROOT\\NET\\0000") +
            CharacteristicsEvents(L"port0", L"00000084") + RebindEvents(L"port0") + kWaitCloses,
        Told());
    EXPECT_EQ("enabled shown", HostState());
    EXPECT_EQ(0, vlans->rows());
    EXPECT_EQ(0, vlans->list()->numVlans);
    EXPECT_EQ(nullptr, FindWaitWindow());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemovals, ShowAndRebindATeamBehindItsLastVlan) {
    OpenOnTeam({{10, L"Voice"}});
    EXPECT_EQ("disabled hidden", HostState());
    Bench(L"message-box IDOK all");
    PaintWatch watch;
    vlans->remove({0});
    ExpectEvents(QuestionEvents(L"Voice: 10\\r\\n") + kWaitOpens +
                     Texts16{L"value-delete record\\{port0}\\VlanBinding",
                             L"value-delete record\\{port1}\\VlanBinding"} +
                     RemoveAdapterEvents(L"vlan10", L"ROOT\\NET\\0001") +
                     CharacteristicsEvents(L"ROOT\\NET\\0000", L"00000001") +
                     RebindEvents(L"team-1") + kWaitCloses,
                 Told());
    EXPECT_EQ("enabled shown", HostState());
    EXPECT_EQ(0, vlans->rows());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemovals, TakeTheHighestRowFirstAndLeaveTheHostHiddenBesideOthers) {
    for (SheetOf host : {kNic, kTeam}) {
        OpenWithThree(host);
        Bench(L"message-box IDOK all");
        vlans->remove({0, 2});
        Texts16 keys;
        for (const std::wstring& text : Texts(Journal(), L"key-delete"))
            keys.push_back(Short(text));
        EXPECT_EQ((Texts16{L"network\\{vlan30}\\Connection", L"network\\{vlan10}\\Connection"}),
                  keys);
        EXPECT_EQ(Texts16{L"20 B"}, vlans->cells());
        EXPECT_EQ(1, vlans->list()->numVlans);
        EXPECT_EQ("disabled hidden", HostState());
        EXPECT_TRUE(Texts(Journal(), L"netcfg-lock").empty());
        OpenPageAgain();
        EXPECT_EQ(Texts16{L"20 B"}, vlans->cells());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanRemovals, TakeAllVlansAndRebindOnceBehindTheLast) {
    for (SheetOf host : {kNic, kTeam}) {
        OpenWithThree(host);
        Bench(L"message-box IDOK all");
        vlans->remove({0, 1, 2});
        EXPECT_EQ(3u, RemovedDevices().size());
        Texts16 events = Told();
        auto at = [&](const std::wstring& event) {
            return std::find(events.begin(), events.end(), event) - events.begin();
        };
        EXPECT_EQ(1, std::count(events.begin(), events.end(), L"netcfg-lock"));
        EXPECT_GT(at(L"netcfg-lock"), at(L"key-delete network\\{vlan10}\\Connection"));
        EXPECT_GT(at(L"key-delete network\\{vlan10}\\Connection"),
                  at(L"key-delete network\\{vlan20}\\Connection"));
        EXPECT_EQ("enabled shown", HostState());
        EXPECT_EQ(0, vlans->rows());
        EXPECT_EQ(0, vlans->list()->numVlans);
        for (int number : {10, 20, 30})
            EXPECT_FALSE(HasGuid(machine.vlans[number / 10 - 1].guid)) << number;
    }
}

TEST_F(VlanRemovals, GoOnWithTheOthersWhenOneFails) {
    const struct {
        int nth; // removal that fails
        Texts16 left;
    } cases[] = {{1, {L"30 C"}}, {2, {L"20 B"}}, {3, {L"10 A"}}};
    for (SheetOf host : {kNic, kTeam}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.nth);
            OpenWithThree(host);
            Bench(L"message-box IDOK all");
            Bench(L"fault SetupDiRemoveDevice " + std::to_wstring(c.nth) + L" 5");
            vlans->remove({0, 1, 2});
            EXPECT_EQ(2u, RemovedDevices().size());
            EXPECT_EQ(c.left, vlans->cells());
            EXPECT_EQ(1, vlans->list()->numVlans);
            EXPECT_EQ(1u, Texts(Journal(), L"message-box").size()) << "only the question";
            EXPECT_EQ("disabled hidden", HostState());
            EXPECT_EQ(nullptr, FindWaitWindow());
            EXPECT_EQ("", StillOpen());
        }
    }
}

TEST_F(VlanRemovals, LeaveTheDeviceOfAVlanWhoseRecordStays) {
    OpenWithThree(kNic);
    const std::string before = MachineDump();
    Bench(L"message-box IDOK all");
    Bench(L"fault RegCreateKeyExW 1 5 all");
    vlans->remove({0, 1, 2});
    EXPECT_EQ((Texts16{L"10 A", L"20 B", L"30 C"}), vlans->cells());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(Texts16{L"1104"}, Texts(Journal(), L"dialog-close"));
}

TEST_F(VlanRemovals, LeaveTheHostHiddenWhenTheFirstOfTwoStays) {
    OpenOnPort({{10, L"A"}, {20, L"B"}});
    Bench(L"message-box IDOK all");
    Bench(L"fault SetupDiRemoveDevice 2 5");
    vlans->remove({0, 1});
    EXPECT_EQ(Texts16{L"10 A"}, vlans->cells());
    EXPECT_EQ("disabled hidden", HostState());
    EXPECT_TRUE(Texts(Journal(), L"netcfg-lock").empty());
}

// The column of GUIDs stays as it was until the page opens again, so a row behind the one removed
// names its neighbour's device.
TEST_F(VlanRemovals, GoByTheGuidsThatStoodInTheRowsWhenThePageOpened) {
    for (SheetOf host : {kNic, kTeam}) {
        OpenWithThree(host);
        Bench(L"message-box IDOK all");
        vlans->remove({0});
        EXPECT_EQ((Texts16{L"20 B", L"30 C"}), vlans->cells());
        for (int row = 0; row < 3; row++)
            EXPECT_EQ(Guid(machine.vlans[row].guid), vlans->list()->vlanGuids[row]) << row;

        // Row 0 shows B and names A, which is gone: it stays.
        ClearJournal();
        vlans->remove({0});
        EXPECT_TRUE(RemovedDevices().empty());
        EXPECT_EQ((Texts16{L"20 B", L"30 C"}), vlans->cells());

        // Row 1 shows C and names B.
        vlans->remove({1});
        EXPECT_EQ(1u, RemovedDevices().size());
        EXPECT_FALSE(HasGuid(machine.vlans[1].guid));
        EXPECT_TRUE(HasGuid(machine.vlans[2].guid));
        EXPECT_EQ(Texts16{L"20 B"}, vlans->cells());

        OpenPageAgain();
        EXPECT_EQ(Texts16{L"30 C"}, vlans->cells());
        EXPECT_EQ(Guid(machine.vlans[2].guid), vlans->list()->vlanGuids[0]);
        vlans->remove({0});
        EXPECT_FALSE(HasGuid(machine.vlans[2].guid));
        EXPECT_EQ("enabled shown", HostState());
    }
}

TEST_F(VlanRemovals, TakeBackWhatThePageItselfHasAdded) {
    OpenOnTeam();
    const std::string before = MachineDump();
    vlans->add(L"10", L"Voice");
    vlans->add(L"20", L"Data");
    vlans->add(L"", L"", true);
    EXPECT_EQ((Texts16{L"10 Voice", L"20 Data", L"0 Untagged"}), vlans->cells());
    Bench(L"message-box IDOK all");
    vlans->remove({0, 1, 2});
    EXPECT_EQ(0, vlans->rows());
    // The service that the miniport's installation describes and the connections' empty keys stay.
    std::istringstream changes(ChangedSince(before));
    for (std::string line; std::getline(changes, line);)
        EXPECT_TRUE(line.find("service\\qvteammp\\") == 2 ||
                    (line.find("+ network\\") == 0 && line.find("} = key") != std::string::npos))
            << line;
}
