// Recording and forgetting VLAN adapters on their hosts, and removing them.
#include "harness/devices.h"
#include "include/names.h"
#include "vlan/vlan_adapter.h"
#include "vlan/vlan_records.h"

using namespace std::string_literals;

static const wchar_t kScratch[] = L"Software\\QvBench\\Scratch";
static const wchar_t kVoice[] = L"{C0000000-0000-4000-8000-000000000001}";
static const wchar_t kData[] = L"{C0000000-0000-4000-8000-000000000002}";
static const wchar_t kGuests[] = L"{C0000000-0000-4000-8000-000000000003}";
static const wchar_t kNew[] = L"{C0000000-0000-4000-8000-0000000000EF}";
static const wchar_t kTeam0[] = L"{B0000000-0000-4000-8000-000000000001}";

static std::wstring Port(unsigned number) {
    return L"{A0000000-0000-4000-8000-00000000000" + std::to_wstring(number + 1) + L"}";
}
static std::wstring Record(unsigned port) {
    return MEMBER_RECORDS_KEY L"\\" + Port(port);
}
static std::wstring Device(const std::wstring& guid) {
    return L"\\Device\\" + guid;
}

// A list value as stored, terminators and all; nothing when there is none.
static std::optional<std::wstring> Stored(const std::wstring& key) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return std::nullopt;
    std::wstring text(8192, L'\xee');
    DWORD type = 0;
    DWORD size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    LONG result = RegQueryValueExW(opened, VALUE_VLAN_BINDING, nullptr, &type,
                                   reinterpret_cast<BYTE*>(text.data()), &size);
    RegCloseKey(opened);
    if (result != ERROR_SUCCESS)
        return std::nullopt;
    EXPECT_EQ(DWORD{REG_MULTI_SZ}, type);
    EXPECT_EQ(0u, size % sizeof(wchar_t));
    return text.substr(0, size / sizeof(wchar_t));
}

static void Store(const std::wstring& key, const std::wstring& text, size_t cut = 0) {
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text.data());
    RegistrySet(key, {VALUE_VLAN_BINDING, REG_MULTI_SZ,
                      std::vector<BYTE>(bytes, bytes + text.size() * sizeof(wchar_t) - cut)});
}

// An open record of the test's own.
class VlanBindings : public MachineTest {
  protected:
    void SetUp() override {
        MachineReset();
        Bench(L"reset-open");
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_LOCAL_MACHINE, kScratch, 0, nullptr, 0,
                                                 KEY_ALL_ACCESS, nullptr, &key_, nullptr));
    }
    void TearDown() override {
        RegCloseKey(key_);
        MachineTest::TearDown();
    }
    void Begin(const std::optional<std::wstring>& list) {
        RegDeleteValueW(key_, VALUE_VLAN_BINDING);
        if (list)
            Store(kScratch, *list);
        ASSERT_EQ(list, Stored(kScratch));
    }

    HKEY key_ = nullptr;
};

struct ListCase {
    const char* what;
    std::optional<std::wstring> before;
    std::optional<std::wstring> after;
};

TEST_F(VlanBindings, HaveTheNewestEntryFirstAndTheOldBytesBehindIt) {
    const ListCase cases[] = {
        {"no list", std::nullopt, L"N\0\0"s},
        {"a list of no bytes", L""s, L"N\0\0"s},
        {"an empty list", L"\0"s, L"N\0\0"s},
        {"one entry", L"a\0\0"s, L"N\0a\0\0"s},
        {"two entries", L"a\0b\0\0"s, L"N\0a\0b\0\0"s},
        {"the spare character of a removal", L"a\0\0\0"s, L"N\0a\0\0\0"s},
        {"the same entry", L"N\0\0"s, L"N\0N\0\0"s},
        {"the same entry in small letters", L"n\0\0"s, L"N\0n\0\0"s},
    };
    for (const ListCase& c : cases) {
        SCOPED_TRACE(c.what);
        Begin(c.before);
        EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"N"));
        EXPECT_EQ(c.after, Stored(kScratch));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanBindings, KeepEveryEntryOfAListWithoutTerminators) {
    Store(kScratch, L"a\0b"s);
    EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"N"));
    EXPECT_EQ(L"N\0a\0b"s, Stored(kScratch)->substr(0, 5));
}

// The bytes as they are stored.
static std::string StoredBytes() {
    char bytes[256] = {};
    DWORD size = sizeof(bytes);
    EXPECT_EQ(ERROR_SUCCESS, RegGetValueW(HKEY_LOCAL_MACHINE, kScratch, VALUE_VLAN_BINDING,
                                          RRF_RT_ANY | RRF_NOEXPAND, nullptr, bytes, &size));
    return std::string(bytes, size);
}

TEST_F(VlanBindings, KeepTheOldBytesAsTheyAreEvenAnOddNumberOfThem) {
    Store(kScratch, L"ab\0\0"s, 1);
    EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"N"));
    EXPECT_EQ("N\0\0\0a\0b\0\0\0\0"s, StoredBytes().substr(0, 11));
    EXPECT_THAT(Lines(Journal()).back(),
                testing::EndsWith(L"VlanBinding REG_MULTI_SZ \"N|ab\" 11 bytes"s));
}

TEST_F(VlanBindings, KeepBothEntriesOfANameAddedTwiceAndLoseBothAtOnce) {
    EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"x"));
    EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"N"));
    EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"N"));
    EXPECT_EQ(L"N\0N\0x\0\0"s, Stored(kScratch));
    EXPECT_EQ(ERROR_SUCCESS, RemoveFromVlanBinding(key_, L"N"));
    EXPECT_EQ(L"x\0\0\0"s, Stored(kScratch));
    EXPECT_EQ(ERROR_SUCCESS, RemoveFromVlanBinding(key_, L"x"));
    EXPECT_EQ(std::nullopt, Stored(kScratch));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RemoveFromVlanBinding(key_, L"x"));
}

TEST_F(VlanBindings, EndInTwoSpareCharactersAfterARemovalOrAreDeleted) {
    const ListCase cases[] = {
        {"the first of two", L"a\0b\0\0"s, L"b\0\0\0"s},
        {"the last of two", L"b\0a\0\0"s, L"b\0\0\0"s},
        {"in the middle", L"b\0a\0c\0\0"s, L"b\0c\0\0\0"s},
        {"all that match", L"a\0b\0A\0a\0\0"s, L"b\0\0\0"s},
        {"none", L"b\0c\0\0"s, L"b\0c\0\0\0"s},
        {"none of a list that has spare characters", L"b\0\0\0"s, L"b\0\0\0"s},
        {"the only one", L"a\0\0"s, std::nullopt},
        {"the only one, in capitals", L"A\0\0"s, std::nullopt},
        {"the only one, twice", L"a\0a\0\0"s, std::nullopt},
        {"an entry that begins alike", L"ab\0\0"s, L"ab\0\0\0"s},
        {"of an empty list", L"\0"s, std::nullopt},
        {"of a list of no bytes", L""s, std::nullopt},
        {"of a list whose first string is empty", L"\0b\0\0"s, std::nullopt},
        {"of a list with an empty string inside", L"b\0\0c\0\0"s, L"b\0\0\0"s},
        {"of a list without terminators", L"a\0bc"s, L"bc\0\0\0"s},
        {"of a list with one terminator", L"a\0bc\0"s, L"bc\0\0\0"s},
    };
    for (const ListCase& c : cases) {
        SCOPED_TRACE(c.what);
        Begin(c.before);
        EXPECT_EQ(ERROR_SUCCESS, RemoveFromVlanBinding(key_, L"a"));
        EXPECT_EQ(c.after, Stored(kScratch));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanBindings, LoseAnEntryOfAListOfOddSize) {
    Store(kScratch, L"a\0bc"s, 1);
    EXPECT_EQ(ERROR_SUCCESS, RemoveFromVlanBinding(key_, L"a"));
    EXPECT_EQ(L"bc\0\0\0"s, Stored(kScratch));
}

struct BindingFault {
    const wchar_t* fault;
    LONG result;
};

TEST_F(VlanBindings, StayAsTheyAreWhenAnAdditionFails) {
    const BindingFault cases[] = {{L"fault calloc 1 8", ERROR_NOT_ENOUGH_MEMORY},
                                  {L"fault RegQueryValueExW 2 1018", ERROR_KEY_DELETED},
                                  {L"fault RegSetValueExW 1 5", ERROR_ACCESS_DENIED}};
    for (const BindingFault& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Begin(L"a\0\0"s);
        Bench(c.fault);
        EXPECT_EQ(c.result, AddToVlanBinding(key_, L"N"));
        EXPECT_EQ(L"a\0\0"s, Stored(kScratch));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanBindings, CountAsEmptyWhenTheirSizeCannotBeAskedFor) {
    Begin(L"a\0\0"s);
    Bench(L"fault RegQueryValueExW 1 5");
    EXPECT_EQ(ERROR_SUCCESS, AddToVlanBinding(key_, L"N"));
    EXPECT_EQ(L"N\0\0"s, Stored(kScratch));
}

TEST_F(VlanBindings, StayAsTheyAreWhenARemovalFails) {
    const BindingFault cases[] = {{L"fault calloc 1 8", ERROR_NOT_ENOUGH_MEMORY},
                                  {L"fault calloc 2 8", ERROR_NOT_ENOUGH_MEMORY},
                                  {L"fault RegQueryValueExW 1 5", ERROR_ACCESS_DENIED},
                                  {L"fault RegQueryValueExW 2 1018", ERROR_KEY_DELETED},
                                  {L"fault RegSetValueExW 1 5", ERROR_ACCESS_DENIED}};
    for (const BindingFault& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Begin(L"a\0b\0\0"s);
        Bench(c.fault);
        EXPECT_EQ(c.result, RemoveFromVlanBinding(key_, L"a"));
        EXPECT_EQ(L"a\0b\0\0"s, Stored(kScratch));
        EXPECT_EQ("", StillOpen());
        Bench(L"clear");
    }
    for (const std::wstring& list : {L"a\0\0"s, L"\0b\0\0"s}) {
        Begin(list);
        Bench(L"fault RegDeleteValueW 1 5");
        EXPECT_EQ(ERROR_ACCESS_DENIED, RemoveFromVlanBinding(key_, L"a"));
        EXPECT_EQ(list, Stored(kScratch));
    }
}

class HostRecord : public MachineTest {
  protected:
    static LONG Change(unsigned port, const wchar_t* vlan, BOOL remove, DWORD teamNumber = 16) {
        GUID host = Guid(Port(port));
        GUID guid = Guid(vlan);
        return AddRemoveVlanInfoNic(&host, &guid, teamNumber, remove);
    }
};

TEST_F(HostRecord, IsMadeWithTheFirstVlan) {
    LoadAndBuild(L"two-ports");
    EXPECT_EQ(ERROR_SUCCESS, Change(0, kNew, FALSE, 0x120));
    const std::wstring key = L"HKLM\\" + Record(0);
    EXPECT_EQ((std::vector<std::wstring>{L"value-set " + key + L"\\TeamNumber REG_DWORD 0x00000010",
                                         L"value-set " + key + L"\\Order REG_DWORD 0x00000000",
                                         L"value-set " + key + L"\\VlanBinding REG_MULTI_SZ \"" +
                                             Device(kNew) + L"\" 96 bytes"}),
              Lines(Journal(), {L"value-set"}));
    EXPECT_EQ(Device(kNew) + L"\0\0"s, Stored(Record(0)));
    EXPECT_EQ("", StillOpen());
}

TEST_F(HostRecord, GetsItsNumberAndOrderRewrittenAndKeepsItsOtherValues) {
    LoadAndBuild(L"two-ports");
    RegistrySet(Record(0), MachineValue::Number(VALUE_TEAM_NUMBER, 0x120));
    RegistrySet(Record(0), MachineValue::Number(VALUE_ORDER, 3));
    RegistrySet(Record(0), MachineValue::Text(VALUE_TEAM_BINDING, L"\\Device\\x"));
    Store(Record(0), L"old\0\0"s);
    EXPECT_EQ(ERROR_SUCCESS, Change(0, kNew, FALSE));
    EXPECT_EQ(16u, RegistryNumber(Record(0), VALUE_TEAM_NUMBER));
    EXPECT_EQ(0u, RegistryNumber(Record(0), VALUE_ORDER));
    EXPECT_EQ(L"\\Device\\x", RegistryText(Record(0), VALUE_TEAM_BINDING));
    EXPECT_EQ(Device(kNew) + L"\0old\0\0"s, Stored(Record(0)));
    RegistrySet(Record(0), MachineValue::Number(VALUE_TEAM_NUMBER, 0x231));
    RegistrySet(Record(0), MachineValue::Number(VALUE_ORDER, 1));
    EXPECT_EQ(ERROR_SUCCESS, Change(0, kVoice, FALSE)) << "and again with the next";
    EXPECT_EQ(16u, RegistryNumber(Record(0), VALUE_TEAM_NUMBER));
    EXPECT_EQ(0u, RegistryNumber(Record(0), VALUE_ORDER));
}

TEST_F(HostRecord, GoesWithItsListWhoseFirstStringIsEmptyWhateverIsRemoved) {
    for (const std::wstring& list : {L"\0"s, L"\0"s + Device(kVoice) + L"\0\0"s, L""s}) {
        LoadAndBuild(L"vlan-members");
        Store(Record(0), list);
        EXPECT_EQ(ERROR_SUCCESS, Change(0, kNew, TRUE));
        EXPECT_EQ((std::vector<std::wstring>{L"value-delete HKLM\\" + Record(0) + L"\\VlanBinding",
                                             L"key-delete HKLM\\" + Record(0)}),
                  Lines(Journal()));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(HostRecord, StaysWhenItCannotBeToldWhetherAVlanIsLeft) {
    LoadAndBuild(L"vlan-members");
    Bench(L"fault RegQueryValueExW 3 5");
    EXPECT_EQ(ERROR_SUCCESS, Change(0, kVoice, TRUE));
    EXPECT_EQ(Device(kData) + L"\0\0\0"s, Stored(Record(0)));
    EXPECT_EQ("", StillOpen());
}

TEST_F(HostRecord, TellsWhatFailedAndGoesNoFurther) {
    const struct {
        const wchar_t* fault;
        LONG result;
        size_t written;
    } cases[] = {{L"fault calloc 1 8", ERROR_NOT_ENOUGH_MEMORY, 0},
                 {L"fault RegCreateKeyExW 1 5", ERROR_ACCESS_DENIED, 0},
                 {L"fault RegSetValueExW 1 1018", ERROR_KEY_DELETED, 0},
                 {L"fault RegSetValueExW 2 1018", ERROR_KEY_DELETED, 1},
                 {L"fault calloc 2 8", ERROR_NOT_ENOUGH_MEMORY, 2},
                 {L"fault RegSetValueExW 3 1018", ERROR_KEY_DELETED, 2}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"two-ports");
        Bench(c.fault);
        EXPECT_EQ(c.result, Change(0, kNew, FALSE));
        EXPECT_EQ(c.written, Texts(Journal(), L"value-set").size());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(HostRecord, KeepsItsOtherVlansAndGoesWithTheLastOne) {
    LoadAndBuild(L"vlan-members");
    EXPECT_EQ(Device(kData) + L"\0"s + Device(kVoice) + L"\0\0"s, Stored(Record(0)));
    EXPECT_EQ(ERROR_SUCCESS, Change(0, kData, TRUE));
    EXPECT_EQ(Device(kVoice) + L"\0\0\0"s, Stored(Record(0)));
    EXPECT_EQ(16u, RegistryNumber(Record(0), VALUE_TEAM_NUMBER));
    EXPECT_EQ(ERROR_SUCCESS, Change(0, kVoice, TRUE));
    EXPECT_FALSE(RegistryHasKey(Record(0)));
    EXPECT_TRUE(RegistryHasKey(Record(1))) << "another host's";
    EXPECT_EQ("", StillOpen());
}

TEST_F(HostRecord, StaysWithoutItsListWhenItCannotBeDeleted) {
    LoadAndBuild(L"vlan-members");
    Bench(L"fault RegDeleteKeyW 1 5");
    EXPECT_EQ(ERROR_SUCCESS, Change(1, kGuests, TRUE));
    EXPECT_TRUE(RegistryHasKey(Record(1)));
    EXPECT_EQ(std::nullopt, Stored(Record(1)));
    EXPECT_EQ("", StillOpen());
}

TEST_F(HostRecord, StaysWhenTheRemovalOfAVlanFails) {
    LoadAndBuild(L"vlan-members");
    const std::string before = MachineDump();
    const BindingFault cases[] = {{L"fault calloc 1 8", ERROR_NOT_ENOUGH_MEMORY},
                                  {L"fault RegCreateKeyExW 1 5", ERROR_ACCESS_DENIED},
                                  {L"fault RegQueryValueExW 1 5", ERROR_ACCESS_DENIED},
                                  {L"fault calloc 2 8", ERROR_NOT_ENOUGH_MEMORY},
                                  {L"fault RegDeleteValueW 1 1018", ERROR_KEY_DELETED}};
    for (const BindingFault& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Bench(c.fault);
        EXPECT_EQ(c.result, Change(1, kGuests, TRUE));
        EXPECT_EQ("", ChangedSince(before));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(HostRecord, OfAHostWithoutVlansHasNothingToRemove) {
    LoadAndBuild(L"vlan-members");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, Change(2, kVoice, TRUE));
    EXPECT_EQ(std::vector<std::wstring>{L"key-create HKLM\\" + Record(2)}, Lines(Journal()))
        << "an empty record is made and stays";
    EXPECT_EQ("", StillOpen());
}

class TeamRecords : public MachineTest {
  protected:
    static LONG Change(const wchar_t* vlan, BOOL remove) {
        GUID team = Guid(kTeam0);
        GUID guid = Guid(vlan);
        return AddRemoveVlanInfoTeam(&team, &guid, remove);
    }
    // A host in no team, whose record is enumerated behind all others or before them.
    static void AddPlainHost(bool last) {
        const std::wstring key = std::wstring(MEMBER_RECORDS_KEY) + L"\\{" + (last ? L"F" : L"0") +
                                 L"0000000-0000-4000-8000-000000000000}";
        RegistrySet(key, MachineValue::Number(VALUE_TEAM_NUMBER, 16));
        Store(key, L"x\0\0"s);
    }
};

TEST_F(TeamRecords, AreChangedForEveryMemberAndForNobodyElse) {
    LoadAndBuild(L"three-teams");
    const std::string before = MachineDump();
    EXPECT_EQ(ERROR_SUCCESS, Change(kNew, FALSE));
    for (unsigned port : {0u, 1u})
        EXPECT_EQ(Device(kNew) + L"\0\0"s, Stored(Record(port)));
    EXPECT_EQ(2u, Changes(Journal()).size());
    EXPECT_EQ(ERROR_SUCCESS, Change(kNew, TRUE));
    EXPECT_EQ("", ChangedSince(before)) << "a member's record stays";
    EXPECT_EQ("", StillOpen());
}

TEST_F(TeamRecords, AreFoundByTheGuidBehindTheLastBackslash) {
    const struct {
        const char* what;
        MachineValue binding;
        bool found;
    } cases[] = {
        {"as written", MachineValue::Text(VALUE_TEAM_BINDING, Device(kTeam0)), true},
        {"small letters",
         MachineValue::Text(VALUE_TEAM_BINDING,
                            L"\\Device\\{b0000000-0000-4000-8000-000000000001}"),
         true},
        {"another prefix", MachineValue::Text(VALUE_TEAM_BINDING, L"\\x\\y\\"s + kTeam0), true},
        {"without terminator", MachineValue::SizedText(VALUE_TEAM_BINDING, Device(kTeam0), 92),
         true},
        {"without backslash", MachineValue::Text(VALUE_TEAM_BINDING, kTeam0), false},
        {"another team",
         MachineValue::Text(VALUE_TEAM_BINDING,
                            L"\\Device\\{B0000000-0000-4000-8000-000000000009}"),
         false},
        {"no GUID", MachineValue::Text(VALUE_TEAM_BINDING, L"\\Device\\Team0"), false},
        {"nothing", MachineValue::Text(VALUE_TEAM_BINDING, L""), false},
        {"no bytes", {VALUE_TEAM_BINDING, REG_SZ, {}}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        LoadAndBuild(L"two-ports");
        RegistrySet(Record(0), c.binding);
        EXPECT_EQ(ERROR_SUCCESS, Change(kNew, FALSE));
        EXPECT_EQ(c.found, Stored(Record(0)).has_value());
    }
}

TEST_F(TeamRecords, FailWithTheStatusOfTheLastRecordThoughEveryMemberWasChanged) {
    LoadAndBuild(L"team-vlans");
    AddPlainHost(true);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, Change(kNew, FALSE));
    for (unsigned port : {0u, 1u})
        EXPECT_EQ(0u, Stored(Record(port))->find(Device(kNew)));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, Change(kNew, TRUE));
    for (unsigned port : {0u, 1u})
        EXPECT_EQ(std::wstring::npos, Stored(Record(port))->find(kNew));
}

TEST_F(TeamRecords, SucceedWhenAHostInNoTeamIsNotTheLast) {
    LoadAndBuild(L"team-vlans");
    AddPlainHost(false);
    EXPECT_EQ(ERROR_SUCCESS, Change(kNew, FALSE));
}

TEST_F(TeamRecords, TellWhatTheLastMemberMet) {
    const struct {
        const wchar_t* fault;
        LONG result;
        size_t changed;
    } cases[] = {{L"fault RegOpenKeyExW 1 5", ERROR_ACCESS_DENIED, 0},
                 {L"fault RegEnumKeyW 1 5", ERROR_SUCCESS, 0},
                 {L"fault RegEnumKeyW 2 5", ERROR_SUCCESS, 1},
                 {L"fault RegOpenKeyExW 2 5", ERROR_SUCCESS, 1},
                 {L"fault RegOpenKeyExW 3 5", ERROR_ACCESS_DENIED, 1},
                 {L"fault RegSetValueExW 1 1018", ERROR_SUCCESS, 1},
                 {L"fault RegSetValueExW 2 1018", ERROR_KEY_DELETED, 1},
                 {L"fault calloc 1 8 all", ERROR_NOT_ENOUGH_MEMORY, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"team-vlans");
        Bench(c.fault);
        EXPECT_EQ(c.result, Change(kNew, FALSE));
        EXPECT_EQ(c.changed, Texts(Journal(), L"value-set").size());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(TeamRecords, AreNoneOnAMachineWithoutTheirKey) {
    LoadAndBuild(L"two-ports");
    RegistryDeleteTree(MEMBER_RECORDS_KEY);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, Change(kNew, FALSE));
    EXPECT_EQ("", StillOpen());
}

class VlanRemoval : public MachineTest {
  protected:
    static BOOL Remove(const std::wstring& host, const wchar_t* vlan, BOOL isTeam) {
        GUID hostGuid = Guid(host);
        GUID vlanGuid = Guid(vlan);
        SetLastError(0xdeadbeef);
        return RemoveVlanFromNic(&hostGuid, &vlanGuid, isTeam);
    }
    static std::wstring Connection(const wchar_t* vlan) {
        return NETWORK_CONNECTIONS_KEY L"\\"s + vlan + L"\\Connection";
    }
};

TEST_F(VlanRemoval, ForgetsTheRecordThenTheConnectionAndThenTheDevice) {
    LoadAndBuild(L"vlan-members");
    ASSERT_TRUE(RegistryHasKey(Connection(kVoice)));
    EXPECT_EQ(TRUE, Remove(Port(0), kVoice, FALSE));
    const std::wstring record = L"HKLM\\" + Record(0);
    EXPECT_EQ((std::vector<std::wstring>{L"value-set " + record + L"\\VlanBinding REG_MULTI_SZ \"" +
                                             Device(kData) + L"\" 98 bytes",
                                         L"key-delete HKLM\\" + Connection(kVoice),
                                         L"device-remove ROOT\\NET\\0000"}),
              Lines(Changes(Journal())));
    EXPECT_FALSE(RegistryHasKey(Connection(kVoice)));
    EXPECT_TRUE(RegistryHasKey(Connection(kData)));
    EXPECT_EQ("", StillOpen());

    EXPECT_EQ(TRUE, Remove(Port(0), kData, FALSE));
    EXPECT_FALSE(RegistryHasKey(Record(0))) << "the record goes with the last VLAN";
}

TEST_F(VlanRemoval, OfATeamLeavesTheMembersRecords) {
    LoadAndBuild(L"team-vlans");
    EXPECT_EQ(TRUE, Remove(kTeam0, kVoice, TRUE));
    EXPECT_EQ(TRUE, Remove(kTeam0, kData, TRUE));
    for (unsigned port : {0u, 1u}) {
        EXPECT_EQ(std::nullopt, Stored(Record(port)));
        EXPECT_EQ(0x120u, RegistryNumber(Record(port), VALUE_TEAM_NUMBER));
        EXPECT_EQ(Device(kTeam0), RegistryText(Record(port), VALUE_TEAM_BINDING));
    }
    EXPECT_THAT(DeviceSet().ids(),
                testing::Not(testing::Contains(std::wstring(L"ROOT\\NET\\0001"))));
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemoval, LeavesTheDeviceWhenTheRecordCannotBeChanged) {
    LoadAndBuild(L"vlan-members");
    const std::string before = MachineDump();
    Bench(L"fault RegSetValueExW 1 1018");
    EXPECT_EQ(FALSE, Remove(Port(0), kVoice, FALSE));
    EXPECT_EQ(DWORD{ERROR_KEY_DELETED}, GetLastError());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(FALSE, Remove(Port(2), kVoice, FALSE)) << "not this host's";
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_TRUE(Texts(Journal(), L"device-remove").empty());
    EXPECT_TRUE(RegistryHasKey(Connection(kVoice)));
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemoval, OfATeamStopsWhenTheLastRecordIsOfNoTeam) {
    LoadAndBuild(L"team-vlans");
    RegistrySet(MEMBER_RECORDS_KEY L"\\{F0000000-0000-4000-8000-000000000000}",
                MachineValue::Number(VALUE_TEAM_NUMBER, 16));
    EXPECT_EQ(FALSE, Remove(kTeam0, kVoice, TRUE));
    EXPECT_EQ(2u, Texts(Journal(), L"value-set").size()) << "the members have forgotten it";
    EXPECT_TRUE(Texts(Journal(), L"device-remove").empty());
}

TEST_F(VlanRemoval, LeavesTheRecordsGoneWhenThereIsNoDeviceOrItStays) {
    const wchar_t* const faults[] = {
        L"fault SetupDiGetClassDevsW 1 8", L"fault SetupDiEnumDeviceInfo 1 259",
        L"fault SetupDiSetClassInstallParamsW 1 87", L"fault SetupDiRemoveDevice 1 31"};
    for (const wchar_t* fault : faults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        LoadAndBuild(L"vlan-members");
        Bench(fault);
        EXPECT_EQ(FALSE, Remove(Port(1), kGuests, FALSE));
        EXPECT_FALSE(RegistryHasKey(Record(1)));
        EXPECT_TRUE(Texts(Journal(), L"device-remove").empty());
        EXPECT_EQ("", StillOpen());
    }
    LoadAndBuild(L"vlan-members");
    Store(Record(2), Device(kNew) + L"\0\0"s);
    EXPECT_EQ(FALSE, Remove(Port(2), kNew, FALSE)) << "no such device";
    EXPECT_FALSE(RegistryHasKey(Record(2)));
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanRemoval, SucceedsThoughTheConnectionCannotBeDeleted) {
    LoadAndBuild(L"vlan-members");
    Bench(L"fault RegDeleteKeyW 1 5"); // the record has another VLAN and stays
    EXPECT_EQ(TRUE, Remove(Port(0), kVoice, FALSE));
    EXPECT_EQ(1u, Texts(Journal(), L"device-remove").size());
}
