// The last page of a team's sheet in process: its mode, its method and its members in their order.
#include "harness/answer_bytes.h"
#include "harness/sample_machine.h"
#include "harness/sheet_host.h"

#include "info/team_properties.h"

#include <commctrl.h>
#include <prsht.h>

using Strings = std::vector<std::wstring>;

static Strings BoxTexts(HWND box, UINT countMessage, UINT textMessage) {
    Strings texts;
    const LRESULT count = SendMessageW(box, countMessage, 0, 0);
    for (LRESULT index = 0; index < count; index++) {
        wchar_t text[600] = L"";
        SendMessageW(box, textMessage, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text));
        texts.push_back(text);
    }
    return texts;
}

struct TeamPage : SheetHost {
    explicit TeamPage(std::unique_ptr<SheetData> data)
        : SheetHost(IDD_TEAM_PROPERTIES, QvTeamPropertiesDialogProc, std::move(data)) {
    }
    Strings modes() const {
        return BoxTexts(control(IDC_TEAM_MODE), CB_GETCOUNT, CB_GETLBTEXT);
    }
    Strings methods() const {
        return BoxTexts(control(IDC_TEAM_METHOD), CB_GETCOUNT, CB_GETLBTEXT);
    }
    Strings members() const {
        return BoxTexts(control(IDC_TEAM_MEMBERS), LB_GETCOUNT, LB_GETTEXT);
    }
    // -1: none.
    int selected(int id) const {
        return static_cast<int>(SendMessageW(control(id), CB_GETCURSEL, 0, 0));
    }
    bool enabled(int id) const {
        return IsWindowEnabled(control(id));
    }
};

static const std::wstring portNames[] = {L"Quovane 10GbE Adapter #1", L"Quovane 10GbE Adapter #2"};

class TeamProperties : public SheetTest {
  protected:
    void SetUp() override {
        SheetTest::SetUp();
        g_nicSelected = -1;
        g_teamSelected = 1;
        data_ = Data();
        team().inUse = 1;
        team().TeamMode = 1;
        AddMember(port(0).guid, 0);
        AddMember(port(1).guid, 1);
        // The teams beside it must not be taken for it.
        for (int other : {0, 2, 3}) {
            data_->teams[other].TeamMode = 4;
            data_->teams[other].numNics = 8;
        }
    }
    void TearDown() override {
        EXPECT_EQ("", StillOpen());
        SheetTest::TearDown();
    }

    TeamEntry& team() {
        return data_->teams[1];
    }
    void AddMember(const std::wstring& guid, DWORD order) {
        team().nicGuids[team().numNics] = Guid(guid);
        team().order[team().numNics] = order;
        team().numNics++;
    }
    void Ports(unsigned count) {
        machine.adapters.clear();
        for (unsigned n = 0; n < count; n++)
            machine.adapters.push_back(SamplePort(n));
        Build();
        team().numNics = 0;
    }

    std::unique_ptr<SheetData> data_;
};

TEST_F(TeamProperties, ShowTheModeOfTheTeam) {
    const struct {
        DWORD mode;
        int selected;
    } cases[] = {{0, -1}, {1, 0},   {2, 1},   {3, -1},  {4, 2},   {5, -1},         {8, -1},
                 {9, 3},  {10, -1}, {12, -1}, {15, -1}, {17, -1}, {0xFFFFFFFF, -1}};
    for (const auto& c : cases) {
        auto data = std::make_unique<SheetData>(*data_);
        data->teams[1].TeamMode = c.mode;
        TeamPage page(std::move(data));
        EXPECT_EQ((Strings{L"Active Backup", L"Transmit Load Balancing", L"802.3ad LACP",
                           L"Active Backup with Failback to Active"}),
                  page.modes());
        EXPECT_EQ(c.selected, page.selected(IDC_TEAM_MODE)) << c.mode;
        EXPECT_FALSE(page.enabled(IDC_TEAM_MODE)) << c.mode;
        EXPECT_EQ(2u, page.members().size()) << c.mode;
    }
}

TEST_F(TeamProperties, OfModeEightAloneOrThreeSelectNoMode) {
    for (DWORD mode : {8u, 3u}) {
        auto data = std::make_unique<SheetData>(*data_);
        data->teams[1].TeamMode = mode;
        TeamPage page(std::move(data));
        EXPECT_EQ(-1, page.selected(IDC_TEAM_MODE)) << mode;
        EXPECT_EQ(4u, page.modes().size()) << mode;
    }
}

TEST_F(TeamProperties, OfTransmitLoadBalancingShowConnectionBasedAndNoOtherTeamAMethod) {
    for (DWORD mode : {0u, 1u, 2u, 3u, 4u, 6u, 8u, 9u, 10u, 12u}) {
        auto data = std::make_unique<SheetData>(*data_);
        data->teams[1].TeamMode = mode;
        TeamPage page(std::move(data));
        EXPECT_FALSE(page.enabled(IDC_TEAM_METHOD)) << mode;
        if (mode == 2) {
            EXPECT_EQ((Strings{L"Connection based", L"Round Robin"}), page.methods());
            EXPECT_EQ(0, page.selected(IDC_TEAM_METHOD));
        } else {
            EXPECT_EQ(Strings{}, page.methods()) << mode;
            EXPECT_EQ(-1, page.selected(IDC_TEAM_METHOD)) << mode;
        }
    }
}

TEST_F(TeamProperties, FilledAgainHaveEachModeOnce) {
    TeamPage page(std::move(data_));
    OnInitTeamPropertiesDialog(page.window());
    EXPECT_EQ(4u, page.modes().size());
    EXPECT_EQ(0, page.selected(IDC_TEAM_MODE));
}

TEST_F(TeamProperties, ListTheMembersInTheirOrderOfPreference) {
    Ports(8);
    const DWORD order[] = {3, 7, 0, 5, 1, 6, 2, 4};
    for (unsigned n = 0; n < 8; n++)
        AddMember(PortGuid(n), order[n]);
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{L"Port 2", L"Port 4", L"Port 6", L"Port 0", L"Port 7", L"Port 3", L"Port 5",
                       L"Port 1"}),
              page.members());
}

TEST_F(TeamProperties, WriteTheMembersNamesIntoTheirRow) {
    memset(team().nicNames, 0xEE, sizeof(team().nicNames));
    AddMember(L"{A0000000-0000-4000-8000-0000000000FF}", 2);
    team().order[0] = 1;
    team().order[1] = 0;
    TeamPage page(std::move(data_));
    const TeamEntry& row = page.data()->teams[1];
    EXPECT_EQ(portNames[0], row.nicNames[0]) << "by member, not by preference";
    EXPECT_EQ(portNames[1], row.nicNames[1]);
    EXPECT_EQ(0xEEEE, row.nicNames[2][0]) << "nobody's name";
    EXPECT_EQ(0xEEEE, row.nicNames[3][0]);
}

TEST_F(TeamProperties, ShowAnAbsentMemberAsDummyAtItsPlace) {
    for (DWORD place = 0; place < 3; place++) {
        auto data = std::make_unique<SheetData>(*data_);
        TeamEntry& row = data->teams[1];
        row.numNics = 3;
        row.nicGuids[2] = Guid(L"{A0000000-0000-4000-8000-0000000000FF}");
        row.order[2] = place;
        row.order[0] = place == 0 ? 1 : 0;
        row.order[1] = place == 2 ? 1 : 2;
        Strings expected = {portNames[0], portNames[1]};
        expected.insert(expected.begin() + place, L"dummy");
        TeamPage page(std::move(data));
        EXPECT_EQ(expected, page.members()) << place;
    }
}

TEST_F(TeamProperties, ShowMembersWhoseDeviceIsGoneAsDummies) {
    port(0).present = false;
    Build();
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{L"dummy", portNames[1]}), page.members());
}

TEST_F(TeamProperties, WithTwoMembersAtOnePlaceShowTheLaterFoundThereAndADummy) {
    team().order[0] = team().order[1] = 0;
    {
        TeamPage page(std::make_unique<SheetData>(*data_));
        EXPECT_EQ((Strings{portNames[1], L"dummy"}), page.members());
    }
    team().order[0] = team().order[1] = 1;
    // Found later is the device that stands later, not the member that does.
    std::swap(team().nicGuids[0], team().nicGuids[1]);
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{L"dummy", portNames[1]}), page.members());
}

TEST_F(TeamProperties, ListAMemberTwiceThatIsNamedTwice) {
    team().nicGuids[1] = team().nicGuids[0];
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{portNames[0], portNames[0]}), page.members());
}

TEST_F(TeamProperties, AreUnharmedByAPlaceBeyondTheListBox) {
    for (DWORD place : {3u, 4u, 261u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu}) {
        auto data = std::make_unique<SheetData>(*data_);
        data->teams[1].order[0] = place;
        TeamPage page(std::move(data));
        EXPECT_EQ((Strings{L"dummy", portNames[1]}), page.members()) << place;
        EXPECT_EQ(portNames[0], page.data()->teams[1].nicNames[0]) << place;
    }
}

TEST_F(TeamProperties, HaveTheNameBehindTheOthersForThePlaceBehindThemAndForNone) {
    // A list box takes both for its end.
    for (DWORD place : {2u, 0xFFFFFFFFu}) {
        auto data = std::make_unique<SheetData>(*data_);
        data->teams[1].order[0] = place;
        TeamPage page(std::move(data));
        const Strings members = page.members();
        ASSERT_EQ(3u, members.size()) << place;
        EXPECT_EQ(L"dummy", members[0]) << place;
        EXPECT_THAT((Strings{members[1], members[2]}),
                    testing::UnorderedElementsAre(portNames[0], portNames[1]))
            << place;
    }
}

TEST_F(TeamProperties, OfATeamWithoutMembersListNone) {
    team().numNics = 0;
    TeamPage page(std::move(data_));
    EXPECT_EQ(Strings{}, page.members());
}

TEST_F(TeamProperties, ListPortsOnly) {
    MachineAdapter virtualOne = SampleVirtual(0);
    machine.adapters.push_back(virtualOne);
    Build();
    AddMember(virtualOne.guid, 2);
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{portNames[0], portNames[1], L"dummy"}), page.members());
}

TEST_F(TeamProperties, NameAPortByItsDescriptionWhereItHasNoOtherName) {
    port(0).friendlyName.reset();
    port(0).description = L"Plain Adapter";
    port(1).friendlyName = std::wstring(255, L'n');
    Build();
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{L"Plain Adapter", std::wstring(255, L'n')}), page.members());
}

TEST_F(TeamProperties, CutNoNameThatFitsItsRow) {
    // 261 characters without a terminator fill the buffer of 522 bytes; the row keeps 260.
    SetDeviceText(port(0).instance, L"FriendlyName",
                  MachineValue::SizedText(L"FriendlyName", std::wstring(260, L'n'), 522));
    SetDeviceText(port(1).instance, L"FriendlyName",
                  MachineValue::SizedText(L"FriendlyName", std::wstring(300, L'm'), 600));
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{std::wstring(260, L'n'), L"Quovane 10GbE Adapter"}), page.members())
        << "a name that does not fit is none";
}

TEST_F(TeamProperties, PassDevicesByThatCannotBeRead) {
    Bench(L"fault SetupDiOpenDevRegKey 1 5");
    TeamPage page(std::make_unique<SheetData>(*data_));
    EXPECT_EQ((Strings{L"dummy", portNames[1]}), page.members());
    Bench(L"clear");
    Bench(L"fault RegQueryValueExW 1 2");
    TeamPage second(std::make_unique<SheetData>(*data_));
    EXPECT_EQ((Strings{L"dummy", portNames[1]}), second.members());
    Bench(L"clear");
    RegistrySet(DriverKeyOf(port(0).instance),
                MachineValue::Text(L"NetCfgInstanceId", L"{no guid}"));
    TeamPage third(std::make_unique<SheetData>(*data_));
    EXPECT_EQ((Strings{L"dummy", portNames[1]}), third.members());
}

TEST_F(TeamProperties, TakeTheDevicesOnceWhateverTheirSpelling) {
    RegistrySet(DriverKeyOf(port(0).instance),
                MachineValue::Text(L"NetCfgInstanceId", L"{a0000000-0000-4000-8000-000000000001}"));
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{portNames[0], portNames[1]}), page.members());
}

TEST_F(TeamProperties, WithoutADeviceListShowDummiesAndSayNo) {
    Bench(L"fault SetupDiGetClassDevsW 1 5 all");
    TeamPage page(std::move(data_));
    EXPECT_EQ((Strings{L"dummy", L"dummy"}), page.members());
    EXPECT_EQ(0, page.selected(IDC_TEAM_MODE));
    SheetData* data = page.data();
    HWND list = page.control(IDC_TEAM_MEMBERS);
    SendMessageW(list, LB_RESETCONTENT, 0, 0);
    EXPECT_EQ(0, PopulateAdaptersInTeam(page.window(), &data, list));
    EXPECT_EQ((Strings{L"dummy", L"dummy"}), page.members());
    Bench(L"clear");
    SendMessageW(list, LB_RESETCONTENT, 0, 0);
    EXPECT_EQ(1, PopulateAdaptersInTeam(page.window(), &data, list));
    EXPECT_EQ((Strings{portNames[0], portNames[1]}), page.members());
}

TEST_F(TeamProperties, ReadTheSlotThatIsChosen) {
    for (LONG slot = 0; slot < MAX_TEAMS; slot++) {
        auto data = std::make_unique<SheetData>();
        data->teams[slot] = team();
        data->teams[slot].TeamMode = 9;
        g_teamSelected = slot;
        TeamPage page(std::move(data));
        EXPECT_EQ(3, page.selected(IDC_TEAM_MODE)) << slot;
        EXPECT_EQ(2u, page.members().size()) << slot;
    }
    for (LONG slot : {-1, MAX_TEAMS, 1000}) {
        g_teamSelected = slot;
        TeamPage page(std::make_unique<SheetData>(*data_));
        EXPECT_EQ(-1, page.selected(IDC_TEAM_MODE)) << slot;
        EXPECT_EQ(Strings{}, page.members()) << slot;
    }
}

TEST_F(TeamProperties, ReadNothingBehindTheTeamTable) {
    // The list of team adapters has one row more than the table. What lies behind the table looks
    // like a team of three, and nothing can be read behind that.
    data_->hWaitDlg = reinterpret_cast<HWND>(static_cast<ULONG_PTR>(0x300000001));
    const Guarded guarded(BytesOf(*data_));
    TeamPage page(std::move(data_));
    SheetData* data = reinterpret_cast<SheetData*>(guarded.bytes());
    SetWindowLongPtrW(page.window(), DWLP_USER, reinterpret_cast<LONG_PTR>(data));
    g_teamSelected = MAX_TEAMS;
    HWND list = page.control(IDC_TEAM_MEMBERS);
    SendMessageW(list, LB_RESETCONTENT, 0, 0);
    EXPECT_EQ(0, PopulateAdaptersInTeam(page.window(), &data, list));
    OnInitTeamPropertiesDialog(page.window());
    EXPECT_EQ(-1, page.selected(IDC_TEAM_MODE));
    EXPECT_EQ(Strings{}, page.members());
}

TEST_F(TeamProperties, AnswerTheSheetsNotifications) {
    TeamPage page(std::move(data_));
    for (UINT code : {PSN_SETACTIVE, PSN_KILLACTIVE, PSN_APPLY}) {
        EXPECT_EQ(TRUE, page.notify(code)) << code;
        EXPECT_EQ(0, page.result()) << code;
    }
    EXPECT_EQ(FALSE, page.notify(PSN_RESET));
    EXPECT_EQ(SheetHost::kNoResult, page.result());
    for (UINT code : {PSN_HELP, PSN_QUERYCANCEL, static_cast<UINT>(NM_CLICK)}) {
        EXPECT_EQ(TRUE, page.notify(code)) << code;
        EXPECT_EQ(SheetHost::kNoResult, page.result()) << code;
    }
    EXPECT_EQ((Strings{portNames[0], portNames[1]}), page.members()) << "filled once";
}

TEST_F(TeamProperties, HandleNothingWithoutTheirRecord) {
    TeamPage page(std::move(data_));
    EXPECT_EQ(reinterpret_cast<LONG_PTR>(page.data()), page.userSlot());
    for (UINT message : {WM_COMMAND, WM_SIZE, WM_DESTROY}) {
        EXPECT_EQ(FALSE, page.send(message)) << message;
    }
    EXPECT_EQ(0, page.userSlot()) << "forgotten at the end";
    for (UINT code : {PSN_SETACTIVE, PSN_KILLACTIVE, PSN_APPLY, PSN_RESET, PSN_HELP}) {
        EXPECT_EQ(FALSE, page.notify(code)) << code;
        EXPECT_EQ(SheetHost::kNoResult, page.result()) << code;
    }
    OnInitTeamPropertiesDialog(page.window());
    EXPECT_EQ(2u, page.members().size()) << "not filled again";
    EXPECT_EQ(TRUE, page.send(WM_INITDIALOG, 0, reinterpret_cast<LPARAM>(page.record())));
    EXPECT_EQ(4u, page.members().size());
}
