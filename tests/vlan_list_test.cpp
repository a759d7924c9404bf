// The list of a host's VLANs, put together from its record and the VLAN adapters' driver keys.
#include "harness/devices.h"
#include "harness/import_instead.h"
#include "include/names.h"
#include "inventory/device_path.h"
#include "vlan/vlan_list.h"

using namespace std::string_literals;

static const std::wstring kRecord0 = MEMBER_RECORDS_KEY L"\\{A0000000-0000-4000-8000-000000000001}";
static const wchar_t kPort0[] = L"{A0000000-0000-4000-8000-000000000001}";
static const std::wstring kRecord1 = MEMBER_RECORDS_KEY L"\\{A0000000-0000-4000-8000-000000000002}";
static const wchar_t kTeam[] = L"{B0000000-0000-4000-8000-000000000001}";
static const wchar_t kVoice[] = L"{C0000000-0000-4000-8000-000000000001}";
static const wchar_t kData[] = L"{C0000000-0000-4000-8000-000000000002}";

static std::wstring VlanGuid(unsigned number) {
    wchar_t text[GUID_CCH];
    swprintf(text, GUID_CCH, L"{C0000000-0000-4000-8000-%012u}", number);
    return text;
}

static std::wstring Device(const std::wstring& guid) {
    return L"\\Device\\" + guid;
}

// Entries, each with its terminator, and the list's own.
static std::wstring Binding(const std::vector<std::wstring>& entries) {
    std::wstring binding;
    for (const std::wstring& entry : entries)
        binding += entry + L'\0';
    return binding + L'\0';
}

// A list between bytes that stay as they are.
struct GuardedList {
    BYTE before[4096];
    VlanList list;
    BYTE behind[4096];
};

class VlanLists : public MachineTest {
  protected:
    void SetUp() override {
        memset(guarded_.get(), 0xa5, sizeof(GuardedList));
        Poison();
    }
    void TearDown() override {
        for (size_t i = 0; i < sizeof(guarded_->before); i++) {
            EXPECT_EQ(0xa5, guarded_->before[i]) << "byte " << i << " before the list";
            EXPECT_EQ(0xa5, guarded_->behind[i]) << "byte " << i << " behind the list";
        }
        MachineTest::TearDown();
    }
    void Poison() {
        memset(list_, 0xee, sizeof(VlanList));
    }

    // A machine with this many VLANs on port0 or on its team: ids 101 on, names "V1" on.
    void BuildVlans(unsigned count, const std::wstring& host = L"port0") {
        Load(host == L"port0" ? L"two-ports" : L"team-vlans");
        machine.vlans.clear();
        for (unsigned number = 1; number <= count; number++) {
            MachineVlan vlan;
            vlan.name = L"vlan" + std::to_wstring(number);
            vlan.host = host;
            vlan.id = 100 + number;
            vlan.vlanName = L"V" + std::to_wstring(number);
            vlan.guid = VlanGuid(number);
            machine.vlans.push_back(vlan);
        }
    }

    BOOL Read(const wchar_t* host = kPort0) {
        GUID guid = Guid(host);
        return GetVlanListForNic(&guid, list_);
    }
    BOOL ReadTeam(const std::wstring& team = kTeam) {
        GUID guid = Guid(team);
        return GetVlanListForTeam(&guid, list_);
    }
    BOOL Resolve(const std::vector<std::wstring>& entries) {
        return GetVlanIdForDevices(Binding(entries).c_str(), list_);
    }

    std::vector<std::wstring> names() const {
        std::vector<std::wstring> all;
        for (int row = 0; row < list_->numVlans && row < MAX_VLANS; row++)
            all.push_back(list_->vlanNames[row]);
        return all;
    }
    std::vector<unsigned> ids() const {
        return {list_->vlanIds, list_->vlanIds + std::min<int>(list_->numVlans, MAX_VLANS)};
    }

    // Of a machine of BuildVlans: as many as fit, and the 64th takes the first one's name.
    void ExpectFirst(unsigned count) const {
        const unsigned rows = std::min<unsigned>(count, MAX_VLANS);
        ASSERT_EQ(rows, list_->numVlans);
        for (unsigned row = 0; row < rows; row++) {
            const bool lost = row == 0 && rows == MAX_VLANS;
            EXPECT_EQ(lost ? L"" : L"V" + std::to_wstring(row + 1), list_->vlanNames[row]) << row;
            EXPECT_EQ(101 + row, list_->vlanIds[row]) << row;
            EXPECT_EQ(Guid(VlanGuid(row + 1)), list_->vlanGuids[row]) << row;
        }
        if (rows == MAX_VLANS)
            EXPECT_EQ(L'1', list_->vlanNames[0][1]) << "one character is lost";
    }

    std::unique_ptr<GuardedList> guarded_ = std::make_unique<GuardedList>();
    VlanList* list_ = &guarded_->list;
};

using Names = std::vector<std::wstring>;
using Ids = std::vector<unsigned>;

TEST_F(VlanLists, ComeInTheOrderOfTheDevicesAndNotOfTheRecord) {
    LoadAndBuild(L"vlan-members");
    EXPECT_TRUE(Read());
    EXPECT_EQ((Names{L"Voice", L"Data"}), names()) << "though the record has the newest first";
    EXPECT_EQ((Ids{10, 20}), ids());
    EXPECT_EQ(Guid(kVoice), list_->vlanGuids[0]);
    EXPECT_EQ(Guid(kData), list_->vlanGuids[1]);
    EXPECT_EQ("", StillOpen());

    Poison();
    EXPECT_TRUE(Resolve({Device(kVoice), Device(kData)}));
    EXPECT_EQ((Names{L"Voice", L"Data"}), names());
    machine.vlans[0].instance = L"ROOT\\NET\\0007";
    machine.vlans[1].instance = L"ROOT\\NET\\0005";
    Build();
    EXPECT_TRUE(Read());
    EXPECT_EQ((Names{L"Data", L"Voice"}), names());
    EXPECT_EQ(Guid(kData), list_->vlanGuids[0]);
}

TEST_F(VlanLists, AreEmptyAndMissingWithoutARecord) {
    LoadAndBuild(L"vlan-members");
    EXPECT_FALSE(Read(L"{A0000000-0000-4000-8000-000000000003}"));
    EXPECT_EQ(0, list_->numVlans);
    Poison();
    Bench(L"fault RegOpenKeyExW 1 5");
    EXPECT_FALSE(Read());
    EXPECT_EQ(0, list_->numVlans);
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanLists, AreEmptyForARecordWithoutVlans) {
    LoadAndBuild(L"two-ports");
    const std::vector<std::optional<std::wstring>> bindings = {std::nullopt, L""s, L"\0"s, L"\0\0"s,
                                                               L"\0\0\0"s};
    for (const auto& binding : bindings) {
        SCOPED_TRACE(binding ? static_cast<int>(binding->size()) : -1);
        RegistryDeleteTree(kRecord0);
        RegistrySet(kRecord0, MachineValue::Number(VALUE_TEAM_NUMBER, 16));
        if (binding) {
            const BYTE* bytes = reinterpret_cast<const BYTE*>(binding->data());
            RegistrySet(kRecord0, {VALUE_VLAN_BINDING, REG_MULTI_SZ,
                                   std::vector<BYTE>(bytes, bytes + binding->size() * 2)});
        }
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ(0, list_->numVlans);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanLists, LeaveOutWhatIsNoPresentVirtualAdapter) {
    Load(L"vlan-members");
    machine.FindAdapter(L"port0")->values.push_back(MachineValue::Text(VALUE_VLAN_NAME, L"None"));
    Build();
    EXPECT_TRUE(Resolve({Device(VlanGuid(99)), Device(kData), Device(kPort0)}));
    EXPECT_EQ((Names{L"Data"}), names());
    EXPECT_EQ(Guid(kData), list_->vlanGuids[0]);
}

TEST_F(VlanLists, NameADeviceOnceHoweverOftenItIsBound) {
    LoadAndBuild(L"vlan-members");
    EXPECT_TRUE(Resolve({Device(kVoice), Device(kVoice), Device(kData), Device(kVoice)}));
    EXPECT_EQ((Names{L"Voice", L"Data"}), names());
}

TEST_F(VlanLists, TakeTheTextBehindTheLastBackslashAsTheBeginningOfAGuid) {
    LoadAndBuild(L"vlan-members");
    const struct {
        const char* what;
        std::wstring entry;
        Names names;
    } cases[] = {
        {"the usual form", Device(kVoice), {L"Voice"}},
        {"another prefix", L"\\A\\B\\"s + kVoice, {L"Voice"}},
        {"without backslash", kVoice, {}},
        {"small letters", L"\\Device\\{c0000000-0000-4000-8000-000000000001}", {}},
        {"a beginning",
         L"\\Device\\{C0000000-0000-4000-8000-00000000000",
         {L"Voice", L"Data", L"Guests"}},
        {"more than the guid", Device(kVoice) + L"x", {}},
        {"nothing behind it", L"\\Device\\", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Poison();
        EXPECT_TRUE(Resolve({c.entry}));
        EXPECT_EQ(c.names, names());
    }
}

TEST_F(VlanLists, ShowAVlanWithoutAnIdAsUntagged) {
    LoadAndBuild(L"vlan-members");
    DeviceSet devices;
    for (bool wide : {false, true}) {
        HKEY key = devices.driverKey(L"ROOT\\NET\\0000");
        const ULONGLONG id = 10;
        if (wide)
            RegSetValueExW(key, VALUE_VLAN_ID, 0, REG_QWORD, reinterpret_cast<const BYTE*>(&id),
                           sizeof(id));
        else
            EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueW(key, VALUE_VLAN_ID));
        RegCloseKey(key);
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ((Names{L"Voice", L"Data"}), names());
        EXPECT_EQ((Ids{0, 20}), ids());
    }
}

TEST_F(VlanLists, LeaveOutAVlanWithoutAName) {
    Load(L"vlan-members");
    machine.vlans[0].vlanName.reset();
    Build();
    EXPECT_TRUE(Read());
    EXPECT_EQ((Names{L"Data"}), names());
    EXPECT_EQ((Ids{20}), ids());
    EXPECT_EQ(Guid(kData), list_->vlanGuids[0]);
    EXPECT_EQ("", StillOpen());
}

// Sets a value of a VLAN adapter's driver key.
static void SetDriverValue(const std::wstring& instance, const MachineValue& value) {
    HKEY key = DeviceSet().driverKey(instance);
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(key, value.name.c_str(), 0, value.type, value.data.data(),
                             static_cast<DWORD>(value.data.size())));
    RegCloseKey(key);
}

TEST_F(VlanLists, HoldIdsOf16Bits) {
    LoadAndBuild(L"vlan-members");
    for (DWORD id : {0u, 1u, 4095u, 0xFFFFu, 0x10000u, 0xABCD0123u}) {
        SetDriverValue(L"ROOT\\NET\\0000", MachineValue::Number(VALUE_VLAN_ID, id));
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ((Ids{id & 0xFFFF, 20}), ids());
        EXPECT_EQ((Names{L"Voice", L"Data"}), names());
    }
}

TEST_F(VlanLists, ReadNamesOfAnySizeAndState) {
    LoadAndBuild(L"vlan-members");
    const struct {
        const char* what;
        MachineValue value;
        std::wstring name;
    } cases[] = {
        {"empty", MachineValue::Text(VALUE_VLAN_NAME, L""), L""},
        {"no bytes", {VALUE_VLAN_NAME, REG_SZ, {}}, L""},
        {"without terminator", MachineValue::SizedText(VALUE_VLAN_NAME, L"Voice", 10), L"Voice"},
        {"odd", MachineValue::SizedText(VALUE_VLAN_NAME, L"Voice", 9), L"Voice"},
        {"260 characters without terminator",
         MachineValue::SizedText(VALUE_VLAN_NAME, std::wstring(260, L'x'), 520),
         std::wstring(259, L'x')},
        {"259 characters", MachineValue::Text(VALUE_VLAN_NAME, std::wstring(259, L'x')),
         std::wstring(259, L'x')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        SetDriverValue(L"ROOT\\NET\\0000", c.value);
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ((Names{c.name, L"Data"}), names());
        EXPECT_EQ("", StillOpen());
    }
    for (size_t characters : {260u, 2000u}) {
        SetDriverValue(L"ROOT\\NET\\0000",
                       MachineValue::Text(VALUE_VLAN_NAME, std::wstring(characters, L'x')));
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ((Names{std::wstring(259, L'x'), L"Data"}), names());
    }
}

TEST_F(VlanLists, ReadARecordOfOddSizeOrWithoutTerminators) {
    LoadAndBuild(L"vlan-members");
    const std::wstring all = Binding({Device(kData), Device(kVoice)});
    const size_t whole = all.size() * sizeof(wchar_t);
    for (size_t cut : {0u, 1u, 2u, 3u, 4u}) {
        SCOPED_TRACE(cut);
        const BYTE* bytes = reinterpret_cast<const BYTE*>(all.data());
        RegistrySet(kRecord0, {VALUE_VLAN_BINDING, REG_MULTI_SZ,
                               std::vector<BYTE>(bytes, bytes + whole - cut)});
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ((Names{L"Voice", L"Data"}), names());
    }
}

// Memory whose neighbourhood looks like one more entry.
static void* __cdecl AllocateBeforeAnEntry(size_t count, size_t size) {
    static const wchar_t entry[] = L"\\{C0000000-0000-4000-8000-000000000003}\0";
    BYTE* block = static_cast<BYTE*>(malloc(count * size + sizeof(entry)));
    memset(block, 0, count * size);
    memcpy(block + count * size, entry, sizeof(entry));
    return block;
}

TEST_F(VlanLists, EndWithTheRecordEvenWhenItLacksItsTerminators) {
    LoadAndBuild(L"vlan-members");
    const std::wstring all = Device(kData) + L"\0"s + Device(kVoice);
    const BYTE* bytes = reinterpret_cast<const BYTE*>(all.data());
    RegistrySet(kRecord0, {VALUE_VLAN_BINDING, REG_MULTI_SZ,
                           std::vector<BYTE>(bytes, bytes + all.size() * sizeof(wchar_t))});
    ImportInstead import("calloc", reinterpret_cast<void*>(AllocateBeforeAnEntry));
    EXPECT_TRUE(Read());
    EXPECT_EQ((Names{L"Voice", L"Data"}), names());
}

TEST_F(VlanLists, HoldUpTo64VlansAndTheLastOneTakesTheFirstOnesName) {
    for (unsigned count : {0u, 1u, 2u, 63u, 64u, 65u}) {
        SCOPED_TRACE(count);
        BuildVlans(count);
        Build();
        Poison();
        EXPECT_EQ(count != 0, Read() != FALSE);
        ExpectFirst(count);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanLists, PutTheUpperHalfOfThe64thIdIntoTheFirstName) {
    BuildVlans(64);
    machine.vlans[63].id = 0x00410005;
    machine.vlans[63].vlanName.reset();
    Build();
    EXPECT_TRUE(Read());
    EXPECT_EQ(63, list_->numVlans) << "the 64th has no name, but its id was read";
    EXPECT_EQ(5, list_->vlanIds[63]);
    EXPECT_STREQ(L"A1", list_->vlanNames[0]);
    EXPECT_STREQ(L"V2", list_->vlanNames[1]);
}

TEST_F(VlanLists, KeepTheFirstNameWhenThe64thHasNoId) {
    BuildVlans(64);
    Build();
    HKEY key = DeviceSet().driverKey(L"ROOT\\NET\\0063");
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueW(key, VALUE_VLAN_ID));
    RegCloseKey(key);
    EXPECT_TRUE(Read());
    EXPECT_EQ(64, list_->numVlans);
    EXPECT_EQ(0, list_->vlanIds[63]);
    EXPECT_STREQ(L"V1", list_->vlanNames[0]);
}

TEST_F(VlanLists, AreEmptyWhenTheDevicesCannotBeListed) {
    LoadAndBuild(L"vlan-members");
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_FALSE(Resolve({Device(kVoice)}));
    EXPECT_EQ(0, list_->numVlans);
    Poison();
    Bench(L"fault SetupDiGetClassDevsW 1 8");
    EXPECT_TRUE(Read()) << "the record was there";
    EXPECT_EQ(0, list_->numVlans);
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanLists, LeaveOutWhatCannotBeRead) {
    LoadAndBuild(L"vlan-members");
    const struct {
        const wchar_t* fault; // meets Voice, the first virtual adapter
        Names names;
    } cases[] = {{L"fault SetupDiOpenDevRegKey 1 5", {L"Data"}},
                 {L"fault RegQueryValueExW 1 5", {L"Data"}},
                 {L"fault calloc 1 8", {L"Data"}},
                 {L"fault CM_Get_Device_IDW 1 13 all", {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Bench(c.fault);
        Poison();
        EXPECT_TRUE(Resolve({Device(kVoice), Device(kData)}));
        Bench(L"clear");
        EXPECT_EQ(c.names, names());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanLists, AreEmptyWhenTheRecordCannotBeRead) {
    LoadAndBuild(L"vlan-members");
    for (const wchar_t* fault :
         {L"fault RegQueryValueExW 1 5", L"fault RegQueryValueExW 2 5", L"fault calloc 1 8"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        Poison();
        EXPECT_TRUE(Read());
        EXPECT_EQ(0, list_->numVlans);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanLists, ChangeNothing) {
    LoadAndBuild(L"vlan-members");
    const std::string before = MachineDump();
    Read();
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_TRUE(Lines(Journal()).empty());
}

// Of a team, whose members' records name its VLANs.
class TeamVlanLists : public VlanLists {
  protected:
    static void Bind(const std::wstring& record, const std::vector<std::wstring>& vlans) {
        const std::wstring all = Binding(vlans);
        const BYTE* bytes = reinterpret_cast<const BYTE*>(all.data());
        RegistrySet(record, {VALUE_VLAN_BINDING, REG_MULTI_SZ,
                             std::vector<BYTE>(bytes, bytes + all.size() * sizeof(wchar_t))});
    }
    static void Unbind(const std::wstring& record) {
        EXPECT_EQ(ERROR_SUCCESS,
                  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, record.c_str(), VALUE_VLAN_BINDING));
    }
};

TEST_F(TeamVlanLists, ComeInTheOrderOfTheDevices) {
    LoadAndBuild(L"team-vlans");
    EXPECT_TRUE(ReadTeam());
    EXPECT_EQ((Names{L"Voice", L"Data"}), names());
    EXPECT_EQ((Ids{10, 20}), ids());
    EXPECT_EQ(Guid(kVoice), list_->vlanGuids[0]);
    EXPECT_EQ(Guid(kData), list_->vlanGuids[1]);
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlanLists, AreThoseOfTheFirstMemberAlone) {
    LoadAndBuild(L"team-vlans");
    Bind(kRecord0, {Device(kVoice)});
    EXPECT_TRUE(ReadTeam());
    EXPECT_EQ((Names{L"Voice"}), names());
    EXPECT_EQ(2u, Calls("RegOpenKeyExW")) << "the records' key and the first member's";
    Unbind(kRecord0);
    Poison();
    EXPECT_TRUE(ReadTeam());
    EXPECT_EQ((Names{}), names()) << "though the second member has two";
    Bind(kRecord0, {Device(kVoice), Device(kData)});
    Unbind(kRecord1);
    Poison();
    EXPECT_TRUE(ReadTeam());
    EXPECT_EQ((Names{L"Voice", L"Data"}), names());
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlanLists, AreNotThoseOfAnotherTeamOrOfAPlainHost) {
    Load(L"three-teams");
    for (unsigned number = 1; number <= 3; number++) {
        MachineVlan vlan;
        vlan.name = L"vlan" + std::to_wstring(number);
        vlan.host = number == 1 ? L"team0" : number == 2 ? L"team1" : L"port6";
        vlan.id = number;
        vlan.vlanName = vlan.host;
        vlan.guid = VlanGuid(number);
        machine.vlans.push_back(vlan);
    }
    Build();
    const struct {
        std::wstring team;
        Names names;
    } cases[] = {{kTeam, {L"team0"}},
                 {L"{B0000000-0000-4000-8000-000000000002}", {L"team1"}},
                 {L"{B0000000-0000-4000-8000-000000000003}", {}},
                 {L"{B0000000-0000-4000-8000-000000000004}", {}},
                 {L"{A0000000-0000-4000-8000-000000000007}", {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.team));
        Poison();
        EXPECT_TRUE(ReadTeam(c.team));
        EXPECT_EQ(c.names, names());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlanLists, BelongToTheGuidBehindTheLastBackslashLetterForLetter) {
    const std::wstring device = Device(kTeam);
    const struct {
        const char* what;
        MachineValue binding; // of the only member
        bool found;
    } cases[] = {
        {"as written", MachineValue::Text(VALUE_TEAM_BINDING, device), true},
        {"another prefix", MachineValue::Text(VALUE_TEAM_BINDING, L"x\\y\\"s + kTeam), true},
        {"without terminator", MachineValue::SizedText(VALUE_TEAM_BINDING, device, 92), true},
        {"odd", MachineValue::SizedText(VALUE_TEAM_BINDING, device, 91), true},
        {"odd, with half a terminator", MachineValue::SizedText(VALUE_TEAM_BINDING, device, 93),
         true},
        {"small letters",
         MachineValue::Text(VALUE_TEAM_BINDING,
                            L"\\Device\\{b0000000-0000-4000-8000-000000000001}"),
         false},
        {"a beginning", MachineValue::SizedText(VALUE_TEAM_BINDING, device, 90), false},
        {"more", MachineValue::Text(VALUE_TEAM_BINDING, device + L" "), false},
        {"without backslash", MachineValue::Text(VALUE_TEAM_BINDING, kTeam), false},
        {"nothing behind it", MachineValue::Text(VALUE_TEAM_BINDING, L"\\Device\\"), false},
        {"no bytes", {VALUE_TEAM_BINDING, REG_SZ, {}}, false},
    };
    LoadAndBuild(L"team-vlans");
    RegistryDeleteTree(kRecord1);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RegistrySet(kRecord0, c.binding);
        Poison();
        EXPECT_TRUE(ReadTeam());
        EXPECT_EQ(c.found ? (Names{L"Voice", L"Data"}) : Names{}, names());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlanLists, ComeFromTheNextMemberWhenTheFirstCannotBeTold) {
    const wchar_t* const faults[] = {L"fault RegOpenKeyExW 2 5", L"fault RegQueryValueExW 1 5",
                                     L"fault RegQueryValueExW 2 5", L"fault calloc 1 8"};
    LoadAndBuild(L"team-vlans");
    Bind(kRecord0, {Device(kVoice)});
    for (const wchar_t* fault : faults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        Poison();
        EXPECT_TRUE(ReadTeam());
        EXPECT_EQ((Names{L"Voice", L"Data"}), names());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlanLists, AreEmptyWhenTheFirstMembersListCannotBeRead) {
    LoadAndBuild(L"team-vlans");
    for (const wchar_t* fault :
         {L"fault RegQueryValueExW 3 5", L"fault RegQueryValueExW 4 5", L"fault calloc 2 8",
          L"fault SetupDiGetClassDevsW 1 8", L"fault RegEnumKeyW 1 5"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        Poison();
        EXPECT_TRUE(ReadTeam());
        EXPECT_EQ(0, list_->numVlans);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlanLists, AreMissingAndEmptyWithoutTheRecordsKey) {
    LoadAndBuild(L"team-vlans");
    Bench(L"fault RegOpenKeyExW 1 5");
    EXPECT_FALSE(ReadTeam());
    EXPECT_EQ(0, list_->numVlans);
    RegistryDeleteTree(MEMBER_RECORDS_KEY);
    Poison();
    EXPECT_FALSE(ReadTeam());
    EXPECT_EQ(0, list_->numVlans);
    EXPECT_FALSE(RegistryHasKey(MEMBER_RECORDS_KEY));
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamVlanLists, EndWithARecordOfOddSizeOrWithoutTerminators) {
    LoadAndBuild(L"team-vlans");
    const std::wstring all = Binding({Device(kData), Device(kVoice)});
    const BYTE* bytes = reinterpret_cast<const BYTE*>(all.data());
    for (size_t cut : {0u, 1u, 2u, 3u, 4u, 5u}) {
        SCOPED_TRACE(cut);
        RegistrySet(kRecord0, {VALUE_VLAN_BINDING, REG_MULTI_SZ,
                               std::vector<BYTE>(bytes, bytes + all.size() * 2 - cut)});
        ImportInstead import("calloc", reinterpret_cast<void*>(AllocateBeforeAnEntry));
        Poison();
        EXPECT_TRUE(ReadTeam());
        EXPECT_EQ((Names{L"Voice", L"Data"}), names());
    }
}

TEST_F(TeamVlanLists, HoldUpTo64VlansAndWriteNothingBehindThemselves) {
    for (unsigned count : {0u, 63u, 64u, 65u}) {
        SCOPED_TRACE(count);
        BuildVlans(count, L"team0");
        Build();
        Poison();
        EXPECT_TRUE(ReadTeam());
        ExpectFirst(count);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamVlanLists, ChangeNothing) {
    LoadAndBuild(L"team-vlans");
    const std::string before = MachineDump();
    ReadTeam();
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_TRUE(Lines(Journal()).empty());
}
