// The walk that fills the two adapter tables and their lists.
#include "inventory/adapters.h"
#include "harness/list_host.h"
#include "harness/page_host.h"
#include "harness/sample_machine.h"

using Names = std::vector<std::wstring>;

class Adapters : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"two-ports.txt");
        machine.adapters.clear();
    }
    int Fill() {
        return PopulateGuids(host.window(), POPULATE_LISTS, nullptr);
    }
    Names Nics() {
        return NamesOf(g_nics, host.rows(IDC_NIC_LIST));
    }
    Names Teams() {
        return NamesOf(g_teamAdapters, host.rows(IDC_TEAM_LIST));
    }
    void AddPorts(unsigned count) {
        for (unsigned n = 0; n < count; n++)
            machine.adapters.push_back(SamplePort(n));
    }
    void AddVirtuals(unsigned count) {
        for (unsigned n = 0; n < count; n++)
            machine.adapters.push_back(SampleVirtual(n));
    }

    ListHost host;
};

static Names Numbered(const wchar_t* name, int count) {
    Names names;
    for (int n = 0; n < count; n++)
        names.push_back(name + std::to_wstring(n));
    return names;
}

TEST_F(Adapters, NoneGiveTwoEmptyListsAndSuccess) {
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Names{}, Nics());
    EXPECT_EQ(Names{}, Teams());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, OfAnotherMakerAreListedToo) {
    LoadAndBuild(L"mixed.txt");
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{L"Quovane 10GbE Adapter #1", L"Quovane 10GbE Adapter #2",
                     L"Ferrous Gigabit Adapter #3", L"Ferrous Fast Ethernet Adapter"}),
              Nics());
    EXPECT_EQ(Names{}, Teams());
    EXPECT_EQ(Guid(L"{A0000000-0000-4000-8000-000000000003}"), g_nics[2].guid);
}

TEST_F(Adapters, WithoutAProviderAreListedWhenTheyArePhysical) {
    AddPorts(1);
    machine.adapters[0].provider.reset();
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Names{L"Port 0"}, Nics());
}

TEST_F(Adapters, ThatAreTeamMembersAreInNeitherListAndTheirTeamsAreTeamedAdapters) {
    LoadAndBuild(L"three-teams.txt");
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{L"Quovane 10GbE Adapter #7", L"Quovane 10GbE Adapter #8",
                     L"Quovane 10GbE Adapter #9"}),
              Nics());
    EXPECT_EQ((Names{L"Team0", L"Uplink", L"Storage"}), Teams());
    EXPECT_EQ(Guid(L"{A0000000-0000-4000-8000-000000000007}"), g_nics[0].guid);
    EXPECT_EQ(Guid(L"{B0000000-0000-4000-8000-000000000003}"), g_teamAdapters[2].guid);
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, ThatAreVlansAreInNeitherListAndTheirHostsStay) {
    LoadAndBuild(L"vlan-members.txt");
    size_t virtuals = machine.vlans.size();
    size_t ports = machine.adapters.size();
    ASSERT_LT(0u, virtuals);
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(ports, Nics().size());
    EXPECT_EQ(Names{}, Teams());

    LoadAndBuild(L"team-vlans.txt");
    host.clear();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(1u, Teams().size()) << "the team, not its VLANs";
}

struct VirtualCase {
    std::optional<std::wstring> provider;
    bool listed;
};

TEST_F(Adapters, ThatAreVirtualAreTheMakersWhenTheProviderBeginsWithItsWord) {
    const VirtualCase cases[] = {
        {L"Quovane", true},
        {L"QUOVANE", true},
        {L"quovanexyz", true},
        {L"qUoVaNe Ltd.", true},
        {L"Quovan", false},
        {L"Ferrous", false},
        {L"", false},
        {L" Quovane", false},
        {L"The Quovane", false},
        {std::nullopt, false},
    };
    Names expected;
    AddVirtuals(ARRAYSIZE(cases));
    for (size_t n = 0; n < ARRAYSIZE(cases); n++) {
        machine.adapters[n].provider = cases[n].provider;
        if (cases[n].listed)
            expected.push_back(*machine.adapters[n].friendlyName);
    }
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(expected, Teams());
    EXPECT_EQ(Names{}, Nics());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, ProviderNeedsNoTerminatorAndNoWholeLastCharacter) {
    AddVirtuals(2);
    Build();
    RegistrySet(DriverKeyOf(machine.adapters[0].instance),
                MachineValue::SizedText(L"ProviderName", L"Quovane", 14));
    RegistrySet(DriverKeyOf(machine.adapters[1].instance),
                MachineValue::SizedText(L"ProviderName", L"quovane", 13));
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Virtual ", 2), Teams());
}

TEST_F(Adapters, AreVlansWhenVlanIdReadsAsFourBytes) {
    const MachineValue values[] = {
        MachineValue::Number(L"VlanID", 10),
        MachineValue::Number(L"VlanID", 0),
        {L"VlanID", REG_SZ, {'1', 0}},
        {L"VlanID", REG_BINARY, {}},
        {L"VlanID", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}, // does not fit, so it cannot be read
    };
    AddVirtuals(ARRAYSIZE(values));
    for (size_t n = 0; n < ARRAYSIZE(values); n++)
        machine.adapters[n].values.push_back(values[n]);
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Names{L"Virtual 4"}, Teams());
}

TEST_F(Adapters, BelowRootButNotNetworkAreNeitherPhysicalNorVirtual) {
    AddPorts(1);
    AddVirtuals(1);
    machine.adapters[1].instance = L"ROOT\\MS_NDISWANIP\\0000";
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Names{L"Port 0"}, Nics());
    EXPECT_EQ(Names{}, Teams());
    EXPECT_EQ(1u, Calls("SetupDiOpenDevRegKey")) << "passed over before its driver key is opened";
}

TEST_F(Adapters, AreCalledByTheirFriendlyNameOrElseTheirDescriptionOrAreLeftOut) {
    AddPorts(3);
    AddVirtuals(2);
    machine.adapters[1].friendlyName.reset();
    machine.adapters[2].friendlyName.reset();
    machine.adapters[2].description.reset();
    machine.adapters[3].friendlyName.reset();
    machine.adapters[4].friendlyName.reset();
    machine.adapters[4].description.reset();
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{L"Port 0", L"Quovane 10GbE Adapter"}), Nics());
    EXPECT_EQ(Names{L"Quovane Team Virtual Adapter"}, Teams());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, NamesOfMoreThanFiveHundredAndTwelveBytesDoNotCount) {
    AddPorts(5);
    machine.adapters[0].friendlyName = std::wstring(255, L'a');
    machine.adapters[1].friendlyName = std::wstring(256, L'b'); // 514 bytes with its terminator
    machine.adapters[2].friendlyName = std::wstring(2000, L'c');
    machine.adapters[3].friendlyName = std::wstring(256, L'd');
    machine.adapters[3].description = std::wstring(256, L'd');
    Build();
    SetDeviceText(machine.adapters[4].instance, L"FriendlyName",
                  MachineValue::SizedText(L"", std::wstring(256, L'e'), 512));
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{std::wstring(255, L'a'), L"Quovane 10GbE Adapter", L"Quovane 10GbE Adapter",
                     std::wstring(256, L'e')}),
              Nics());
}

TEST_F(Adapters, WithoutADriverKeyOrAnInstanceIdAreLeftOutAndTheOthersStay) {
    AddPorts(4);
    AddVirtuals(3);
    machine.adapters[0].driverKey = false;
    machine.adapters[2].guid.clear();
    machine.adapters[4].driverKey = false;
    machine.adapters[5].guid.clear();
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{L"Port 1", L"Port 3"}), Nics());
    EXPECT_EQ(Names{L"Virtual 2"}, Teams());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, InstanceIdIsReadInAnyLetterCaseAndWithoutATerminator) {
    AddPorts(2);
    machine.adapters[0].guid = L"{a0000000-0000-4000-8000-00000000abcd}";
    Build();
    RegistrySet(DriverKeyOf(machine.adapters[1].instance),
                MachineValue::SizedText(L"NetCfgInstanceId", PortGuid(1), 38 * 2));
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Port ", 2), Nics());
    EXPECT_EQ(Guid(L"{A0000000-0000-4000-8000-00000000ABCD}"), g_nics[0].guid);
    EXPECT_EQ(Guid(PortGuid(1)), g_nics[1].guid);
}

TEST_F(Adapters, WhoseInstanceIdIsNoGuidKeepNoGuidOfAnEarlierWalk) {
    AddPorts(2);
    Build();
    ASSERT_EQ(1, Fill());
    host.clear();
    RegistrySet(DriverKeyOf(machine.adapters[0].instance),
                MachineValue::Text(L"NetCfgInstanceId", L"no GUID"));
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Port ", 2), Nics());
    EXPECT_EQ(GUID{}, g_nics[0].guid);
    EXPECT_EQ(Guid(PortGuid(1)), g_nics[1].guid);
}

TEST_F(Adapters, FillSeventeenRowsInTheOrderOfTheDevices) {
    AddPorts(MAX_NIC_ROWS);
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Port ", 17), Nics());
    for (unsigned row = 0; row < 17; row++)
        EXPECT_EQ(Guid(PortGuid(row)), g_nics[row].guid) << row;
}

TEST_F(Adapters, BeyondSeventeenAreNotInsertedAndTeamAdaptersBehindThemAre) {
    AddPorts(21);
    AddVirtuals(1);
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Port ", 17), Nics());
    EXPECT_EQ(Names{L"Virtual 0"}, Teams());
    EXPECT_EQ(18u, host.insertions.size());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, FillFiveRowsOfTeamsAndASixthIsNotInserted) {
    AddPorts(1);
    AddVirtuals(7);
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Virtual ", 5), Teams());
    EXPECT_EQ(Names{L"Port 0"}, Nics());
    EXPECT_EQ(6u, host.insertions.size());
    for (unsigned row = 0; row < 5; row++)
        EXPECT_EQ(Guid(VirtualGuid(row)), g_teamAdapters[row].guid) << row;
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, AreInsertedAtTheEndWithTextOnRequest) {
    AddPorts(1);
    AddVirtuals(1);
    Build();
    ASSERT_EQ(1, Fill());
    ASSERT_EQ(2u, host.insertions.size());
    const int lists[] = {IDC_NIC_LIST, IDC_TEAM_LIST};
    for (size_t n = 0; n < 2; n++) {
        const LVITEMW& item = host.insertions[n].item;
        EXPECT_EQ(lists[n], host.insertions[n].list);
        EXPECT_EQ(UINT{LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM | LVIF_STATE | LVIF_DI_SETITEM},
                  item.mask);
        EXPECT_EQ(65535, item.iItem);
        EXPECT_EQ(LPSTR_TEXTCALLBACKW, item.pszText);
        EXPECT_EQ(0, item.iImage);
        EXPECT_EQ(0u, item.state);
        EXPECT_EQ(0, item.lParam);
    }
}

// Whichever of the messages to the lists fails, a row is an item or the adapter is left out.
TEST_F(Adapters, ThatTheListDoesNotTakeHaveNoRow) {
    AddPorts(3);
    AddVirtuals(2);
    Build();
    ASSERT_EQ(1, Fill());
    unsigned messages = Calls("SendMessageW");
    Names nics = Nics();
    Names teams = Teams();
    unsigned missing = 0;
    for (unsigned nth = 1; nth <= messages; nth++) {
        SCOPED_TRACE(nth);
        host.clear();
        Bench(L"fault SendMessageW " + std::to_wstring(nth) + L" 0 value=-1");
        EXPECT_EQ(1, Fill());
        Bench(L"clear");
        size_t rows = Nics().size() + Teams().size();
        EXPECT_EQ(host.insertions.size(), rows);
        if (rows == nics.size() + teams.size())
            continue;
        missing++;
        EXPECT_EQ(nics.size() + teams.size() - 1, rows);
        Names left;
        for (const Names* all : {&nics, &teams}) {
            for (const std::wstring& name : *all)
                left.push_back(name);
        }
        left.erase(left.begin() + (missing - 1));
        Names listed = Nics();
        for (const std::wstring& name : Teams())
            listed.push_back(name);
        EXPECT_EQ(left, listed);
        for (size_t row = 0; row < Nics().size(); row++)
            EXPECT_EQ(Guid(PortGuid(std::stoul(Nics()[row].substr(5)))), g_nics[row].guid) << row;
    }
    EXPECT_EQ(nics.size() + teams.size(), missing) << "each insertion failed once";
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, ThatAListHasNoMemoryForAreTheOnlyOnesLeftOut) {
    AddPorts(3);
    Build();
    Bench(L"fault LVM_INSERTITEMW 2 8");
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{L"Port 0", L"Port 2"}), Nics());
    EXPECT_EQ(3u, Calls("LVM_INSERTITEMW"));
}

TEST_F(Adapters, OfAShorterListLeaveTheirOldRowsBehind) {
    AddPorts(3);
    Build();
    ASSERT_EQ(1, Fill());
    host.clear();
    Bench(L"fault SetupDiEnumDeviceInfo 2 259");
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Names{L"Port 0"}, Nics());
    EXPECT_EQ((Names{L"Port 0", L"Port 1", L"Port 2"}), NamesOf(g_nics, 3));
}

TEST_F(Adapters, NamesAreMeasuredWhenTheyAreLongerThanAllBeforeThemInTheirList) {
    const wchar_t* names[] = {L"Port", L"Po", L"Longer port", L"Longer pork", L"The longest port"};
    AddPorts(5);
    AddVirtuals(3);
    for (size_t n = 0; n < 5; n++)
        machine.adapters[n].friendlyName = names[n];
    machine.adapters[5].friendlyName = L"T";
    machine.adapters[6].friendlyName = L"Te";
    machine.adapters[7].friendlyName = L"Tt";
    Build();
    ASSERT_EQ(1, Fill());
    std::vector<std::pair<int, WPARAM>> expected;
    const std::pair<int, std::wstring> measured[] = {{IDC_NIC_LIST, names[0]},
                                                     {IDC_NIC_LIST, names[2]},
                                                     {IDC_NIC_LIST, names[4]},
                                                     {IDC_TEAM_LIST, L"T"},
                                                     {IDC_TEAM_LIST, L"Te"}};
    for (const auto& [list, name] : measured) {
        HDC dc = GetDC(host.list(list));
        SIZE size = {};
        GetTextExtentPoint32W(dc, name.c_str(), static_cast<int>(name.size()), &size);
        ReleaseDC(host.list(list), dc);
        expected.emplace_back(list, size.cx);
    }
    std::vector<std::pair<int, WPARAM>> sent;
    for (const ListHost::Extent& extent : host.extents)
        sent.emplace_back(extent.list, extent.width);
    EXPECT_EQ(expected, sent);
    EXPECT_EQ(5u, Calls("GetTextExtentPoint32W"));
    EXPECT_EQ("", StillOpen()) << "contexts go back";
}

TEST_F(Adapters, AreMeasuredAnewByEveryWalk) {
    AddPorts(1);
    Build();
    ASSERT_EQ(1, Fill());
    ASSERT_EQ(1, Fill());
    EXPECT_EQ(2u, host.extents.size());
}

TEST_F(Adapters, AreWalkedOnce) {
    AddPorts(3);
    AddVirtuals(2);
    Build();
    ASSERT_EQ(1, Fill());
    EXPECT_EQ(1u, Calls("SetupDiGetClassDevsW"));
    EXPECT_EQ(6u, Calls("SetupDiEnumDeviceInfo"));
    EXPECT_EQ(5u, Calls("SetupDiOpenDevRegKey"));
    EXPECT_EQ(1u, Calls("SetupDiDestroyDeviceInfoList"));
    EXPECT_EQ(std::vector<std::wstring>{}, Lines(Journal())) << "listing changes nothing";
}

TEST_F(Adapters, AreNotListedForWhoCannotOpenTheirDriverKeys) {
    AddPorts(2);
    AddVirtuals(1);
    machine.administrator = false;
    Build();
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Names{}, Nics());
    EXPECT_EQ(Names{}, Teams());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, AreNotLookedForWithoutAStateRecord) {
    AddPorts(1);
    Build();
    host.forgetData();
    EXPECT_EQ(0, Fill());
    EXPECT_EQ(0u, Calls("SetupDiGetClassDevsW"));
    EXPECT_EQ(Names{}, Nics());
}

TEST_F(Adapters, ThatCannotBeEnumeratedAreAFailure) {
    AddPorts(1);
    Build();
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_EQ(0, Fill());
    EXPECT_EQ(Names{}, Nics());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, AfterTheFirstFailureOfTheEnumerationAreNotListed) {
    AddPorts(3);
    Build();
    Bench(L"fault SetupDiEnumDeviceInfo 3 5");
    EXPECT_EQ(1, Fill());
    EXPECT_EQ(Numbered(L"Port ", 2), Nics());
    EXPECT_EQ(3u, Calls("SetupDiEnumDeviceInfo"));
}

TEST_F(Adapters, WhoseDriverKeyDoesNotOpenAreTheOnlyOnesLeftOut) {
    AddPorts(3);
    Build();
    Bench(L"fault SetupDiOpenDevRegKey 2 5");
    EXPECT_EQ(1, Fill());
    EXPECT_EQ((Names{L"Port 0", L"Port 2"}), Nics());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Adapters, LeaveNothingOpenWhicheverCallFails) {
    const wchar_t* calls[] = {L"SetupDiGetClassDevsW",
                              L"SetupDiEnumDeviceInfo",
                              L"SetupDiOpenDevRegKey",
                              L"SetupDiGetDeviceRegistryPropertyW",
                              L"CM_Get_Device_IDW",
                              L"RegQueryValueExW",
                              L"RegOpenKeyExW",
                              L"CLSIDFromString",
                              L"calloc",
                              L"GetDlgItem",
                              L"GetDC",
                              L"GetTextExtentPoint32W"};
    AddPorts(2);
    AddVirtuals(1);
    Build();
    ASSERT_EQ(1, Fill());
    for (const wchar_t* call : calls) {
        unsigned count = std::stoul(Bench(L"calls " + std::wstring(call)));
        EXPECT_LT(0u, count) << testing::PrintToString(std::wstring(call));
        for (unsigned nth = 1; nth <= count; nth++) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(call)) + std::to_string(nth));
            host.clear();
            Bench(L"fault " + std::wstring(call) + L" " + std::to_wstring(nth) + L" 8");
            Fill();
            Bench(L"clear");
            EXPECT_EQ("", StillOpen());
            for (int row = 0; row < host.rows(IDC_NIC_LIST); row++)
                EXPECT_NE(L'\0', g_nics[row].name[0]);
        }
        Bench(L"reset-counts");
        host.clear();
        Fill();
    }
}

// What the lists show is what the tables hold.
TEST_F(Adapters, AreShownByThePageInTheirRows) {
    LoadAndBuild(L"three-teams.txt");
    PageHost page;
    EXPECT_EQ(NamesOf(g_nics, 3), page.rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(NamesOf(g_teamAdapters, 3), page.rowTexts(IDC_TEAM_LIST));
    EXPECT_EQ(L"Uplink", page.rowText(IDC_TEAM_LIST, 1));
}
