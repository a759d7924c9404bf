// Creating and removing VLAN adapters on a physical host, and whether a host's driver opens.
#include "device/adapter_driver.h"
#include "drive/wait.h"
#include "harness/import_instead.h"
#include "harness/vlans.h"
#include "vlan/vlan_list.h"

#include <functional>
#include <memory>
#include <thread>

using namespace std::string_literals;

static const wchar_t kHostName[] = L"Quovane 10GbE Adapter #1";
static const std::wstring kPort0 = MachinePort(0);

static const std::wstring kRecordKey = L"HKLM\\" + RecordOf(kPort0);
static const TextList kNumberSteps = {L"value-set " + kRecordKey +
                                          L"\\TeamNumber REG_DWORD 0x00000010",
                                      L"value-set " + kRecordKey + L"\\Order REG_DWORD 0x00000000"};
// Each: device name 46 characters with its NUL, behind all one NUL.
constexpr unsigned kOneEntry = 96;
constexpr unsigned kTwoEntries = 190;

class VlanCreation : public VlanTest {
  protected:
    static VlanResult Create(const std::wstring& vlanName = L"Voice", DWORD id = 10,
                             const std::wstring& hostName = kHostName) {
        return VlanTest::Create(kPort0, hostName, vlanName, id, FALSE);
    }
    // Creates a VLAN on another thread that is stopped in its nth call of a function.
    static VlanResult CreateStoppedAt(const std::wstring& call, const std::function<void()>& act) {
        VlanResult got;
        Bench(L"hold " + call);
        std::thread creator([&] { got = Create(); });
        EXPECT_TRUE(drive::WaitUntil([] { return Bench(L"held") != L"no"; }));
        act();
        Bench(L"release");
        creator.join();
        return got;
    }
    static void ExpectNoValues(unsigned device = 0) {
        EXPECT_EQ("", VlanValues(device));
    }
};

TEST_F(VlanCreation, InstallsRecordsAndDescribesTheAdapterAndRestartsItLast) {
    LoadAndBuild(L"two-ports");
    VlanResult got = Create();
    EXPECT_EQ(TRUE, got.done);
    EXPECT_EQ(Guid(NewGuid(1)), got.guid);
    EXPECT_EQ(Join({InstallSteps(0, 1, L"Quovane 10GbE Adapter #1 - Voice"),
                    {L"key-create " + kRecordKey},
                    kNumberSteps,
                    {BindingStep(kPort0, DeviceName(NewGuid(1)), kOneEntry)},
                    ValueSteps(0, L"0000000A", L"Voice"),
                    RestartSteps(0)}),
              Steps());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanCreation, PutsTheSecondVlanInFrontAndWritesTheHostsNumberAgain) {
    LoadAndBuild(L"two-ports");
    ASSERT_EQ(TRUE, Create().done);
    ClearJournal();
    VlanResult got = Create(L"Data", 4095);
    EXPECT_EQ(TRUE, got.done);
    EXPECT_EQ(Guid(NewGuid(2)), got.guid);
    EXPECT_EQ(Join({InstallSteps(1, 2, L"Quovane 10GbE Adapter #1 - Data"),
                    kNumberSteps,
                    {BindingStep(kPort0, DeviceName(NewGuid(2)) + L"|" + DeviceName(NewGuid(1)),
                                 kTwoEntries)},
                    ValueSteps(1, L"00000FFF", L"Data"),
                    RestartSteps(1)}),
              Steps());
    EXPECT_EQ("VlanID = REG_DWORD 0x0000000A\nVlanName = REG_SZ \"Voice\"\n", VlanValues(0));
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanCreation, MakesAVlanThatTheHostsListShowsAndARemovalTakesBack) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    GUID host = Guid(kPort0);
    VlanResult voice = Create();
    VlanResult data = Create(L"Data", 0);
    auto list = std::make_unique<VlanList>();
    EXPECT_TRUE(GetVlanListForNic(&host, list.get()));
    ASSERT_EQ(2, list->numVlans);
    EXPECT_STREQ(L"Voice", list->vlanNames[0]);
    EXPECT_EQ(10, list->vlanIds[0]);
    EXPECT_EQ(voice.guid, list->vlanGuids[0]);
    EXPECT_STREQ(L"Data", list->vlanNames[1]);
    EXPECT_EQ(0, list->vlanIds[1]);
    EXPECT_EQ(data.guid, list->vlanGuids[1]);

    EXPECT_EQ(TRUE, Remove(kPort0, NewGuid(1), FALSE).done);
    EXPECT_EQ(TRUE, Remove(kPort0, NewGuid(2), FALSE).done);
    EXPECT_FALSE(RegistryHasKey(RecordOf(kPort0)));
    std::istringstream changes(ChangedSince(before));
    std::string left;
    for (std::string line; std::getline(changes, line);) {
        if (line.rfind("+ service\\qvteammp\\", 0) != 0) // of the driver, which stays
            left += line + "\n";
    }
    EXPECT_EQ("+ network\\{51560000-0000-4000-8000-000000000001} = key\n"
              "+ network\\{51560000-0000-4000-8000-000000000002} = key\n"
              "+ qvteamp\\Parameters\\Adapters = key\n",
              left);
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanCreation, NamesTheAdapterAfterHostAndVlanIn127Characters) {
    const struct {
        std::wstring host;
        std::wstring vlan;
        std::wstring name;
    } cases[] = {
        {L"Host", L"Voice", L"Host - Voice"},
        {L"", L"", L" - "},
        {L"Host", L"", L"Host - "},
        {L"100% %s", L"%d %n", L"100% %s - %d %n"},
        {std::wstring(120, L'h'), L"Voic", std::wstring(120, L'h') + L" - Voic"},
        {std::wstring(120, L'h'), L"Voice", std::wstring(120, L'h') + L" - Voic"},
        {std::wstring(127, L'h'), L"Voice", std::wstring(127, L'h')},
        {std::wstring(259, L'h'), std::wstring(259, L'v'), std::wstring(127, L'h')},
        {L"H", std::wstring(2000, L'v'), L"H - " + std::wstring(123, L'v')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        LoadAndBuild(L"two-ports");
        EXPECT_EQ(TRUE, Create(c.vlan, 10, c.host).done);
        EXPECT_EQ(L"ROOT\\NET\\0000 FRIENDLYNAME \"" + c.name + L"\" 256 bytes",
                  Texts(Journal(), L"property-set").back());
    }
}

TEST_F(VlanCreation, WritesTheIdAsANumberAndTheNameWithItsTerminator) {
    const struct {
        DWORD id;
        std::wstring idText;
        std::wstring name;
    } cases[] = {{0, L"00000000", L"Untagged"},
                 {1, L"00000001", L""},
                 {10, L"0000000A", L"V"},
                 {4095, L"00000FFF", L"100% of it"},
                 {0xABCD0001, L"ABCD0001", std::wstring(259, L'v')},
                 {2, L"00000002", std::wstring(2000, L'v')}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.idText));
        LoadAndBuild(L"two-ports");
        EXPECT_EQ(TRUE, Create(c.name, c.id).done);
        const TextList steps = Steps();
        const TextList values = ValueSteps(0, c.idText, c.name);
        ASSERT_LT(4u, steps.size());
        EXPECT_EQ(values, TextList(steps.end() - 4, steps.end() - 2));
    }
}

TEST_F(VlanCreation, RestartsTheAdapterGloballyOnServer2003AndInTheProfileOnXp) {
    for (const wchar_t* name : {L"server-2003", L"xp-offload"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        LoadAndBuild(name);
        EXPECT_EQ(TRUE, Create().done);
        const TextList steps = Steps();
        ASSERT_LT(2u, steps.size());
        EXPECT_EQ(RestartSteps(0, name[0] == L's' ? L"global" : L"config"),
                  TextList(steps.end() - 2, steps.end()));
        EXPECT_EQ(TextList{L"ROOT\\NET\\0000 route=InstallSelectedDriver inf=" + OemInf()},
                  Texts(Journal(), L"device-install"));
    }
}

TEST_F(VlanCreation, FailsWithoutTheMiniportsInfAndDoesNothing) {
    LoadAndBuild(L"no-drivers");
    const std::string before = MachineDump();
    VlanResult got = Create();
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, got.error);
    EXPECT_EQ(kPoisonGuid, got.guid);
    EXPECT_EQ(0u, Calls("GetFullPathNameW")) << "no installation is tried";
    EXPECT_EQ(TextList(), Steps());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ("", StillOpen());

    LoadAndBuild(L"two-ports");
    Bench(L"fault GetSystemWindowsDirectoryW 1 5");
    got = Create();
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, got.error) << "whatever the search met";
    EXPECT_EQ(TextList(), Steps());
}

TEST_F(VlanCreation, FailsWithTheErrorOfTheInstallationAndRecordsNothing) {
    const struct {
        const wchar_t* fault;
        DWORD error;
    } cases[] = {{L"fault SetupDiGetINFClassW 1 13", 13},
                 {L"fault SetupDiCreateDeviceInfoW 1 1450", 1450},
                 {L"fault SetupDiCallClassInstaller 1 0xE0000202", 0xE0000202},
                 {L"fault LoadLibraryW 1 126", 126},
                 {L"fault SetupDiOpenDevRegKey 1 0xE0000204", 0xE0000204},
                 {L"fault RegQueryValueExW 2 1018", 1018},
                 {L"admin 0", ERROR_ACCESS_DENIED}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"two-ports");
        Bench(c.fault);
        VlanResult got = Create();
        EXPECT_EQ(FALSE, got.done);
        EXPECT_EQ(c.error, got.error);
        EXPECT_EQ(kPoisonGuid, got.guid);
        EXPECT_EQ(0u, Count(L"value-set"));
        EXPECT_EQ(0u, Count(L"key-create"));
        EXPECT_FALSE(HasDevice(0));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanCreation, FailsWithTheStatusOfTheRecordAndKeepsTheAdapter) {
    const struct {
        const wchar_t* fault; // after the one block that the installation takes
        DWORD error;
        size_t written;
    } cases[] = {{L"fault calloc 2 8", ERROR_NOT_ENOUGH_MEMORY, 0},
                 {L"fault RegCreateKeyExW 1 1450", 1450, 0},
                 {L"fault RegSetValueExW 1 1018", ERROR_KEY_DELETED, 0},
                 {L"fault RegSetValueExW 2 1018", ERROR_KEY_DELETED, 1},
                 {L"fault calloc 3 8", ERROR_NOT_ENOUGH_MEMORY, 2},
                 {L"fault RegSetValueExW 3 1018", ERROR_KEY_DELETED, 2}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"two-ports");
        Bench(c.fault);
        VlanResult got = Create();
        EXPECT_EQ(FALSE, got.done);
        EXPECT_EQ(c.error, got.error);
        EXPECT_EQ(Guid(NewGuid(1)), got.guid) << "it is installed";
        EXPECT_TRUE(HasDevice(0));
        EXPECT_EQ(c.written, Count(L"value-set")) << "what was written stays";
        EXPECT_EQ(0u, Count(L"value-delete"));
        EXPECT_EQ(0u, Count(L"key-delete"));
        EXPECT_EQ(0u, Count(L"device-remove"));
        EXPECT_EQ(0u, Count(L"device-disable"));
        ExpectNoValues();
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanCreation, FailsWithAdapterAndRecordWhenTheDevicesCannotBeListedAfterwards) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault SetupDiGetClassDevsW 1 1450");
    VlanResult got = Create();
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{1450}, got.error);
    EXPECT_EQ(Guid(NewGuid(1)), got.guid);
    EXPECT_TRUE(HasDevice(0));
    EXPECT_EQ(DeviceName(NewGuid(1)), BindingOf(RecordOf(kPort0)));
    EXPECT_EQ(0u, Count(L"device-disable"));
    ExpectNoValues();
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanCreation, SucceedsThoughTheDevicesCannotBeListedForTheRestart) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault SetupDiGetClassDevsW 2 1450");
    EXPECT_EQ(TRUE, Create().done);
    EXPECT_EQ("VlanID = REG_DWORD 0x0000000A\nVlanName = REG_SZ \"Voice\"\n", VlanValues(0));
    EXPECT_EQ(0u, Count(L"device-disable"));
    EXPECT_EQ("", StillOpen());
}

static void SetInstanceId(unsigned device, const std::optional<std::wstring>& text) {
    HKEY key = DeviceSet().driverKey(NetInstance(device));
    if (text)
        EXPECT_EQ(ERROR_SUCCESS,
                  RegSetValueExW(key, VALUE_INSTANCE_ID, 0, REG_SZ,
                                 reinterpret_cast<const BYTE*>(text->c_str()),
                                 static_cast<DWORD>((text->size() + 1) * sizeof(wchar_t))));
    else
        EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueW(key, VALUE_INSTANCE_ID));
    RegCloseKey(key);
}

TEST_F(VlanCreation, SucceedsAndWritesNothingWhenNoDeviceMatches) {
    const std::optional<std::wstring> ids[] = {std::nullopt, kPort0 + L"x",
                                               L"{51560000-0000-4000-8000-000000000009}"};
    for (const auto& id : ids) {
        SCOPED_TRACE(testing::PrintToString(id));
        LoadAndBuild(L"two-ports");
        VlanResult got = CreateStoppedAt(L"RegCreateKeyExW 1", [&] { SetInstanceId(0, id); });
        EXPECT_EQ(TRUE, got.done);
        EXPECT_EQ(Guid(NewGuid(1)), got.guid);
        EXPECT_EQ(DeviceName(NewGuid(1)), BindingOf(RecordOf(kPort0)));
        EXPECT_EQ(0u, Count(L"device-disable"));
        ExpectNoValues();
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanCreation, TakesTheInstanceIdLetterForLetterButRestartsByGuid) {
    Load(L"two-ports");
    machine.nextVirtual = 10;
    Build();
    VlanResult got = CreateStoppedAt(
        L"RegCreateKeyExW 1", [] { SetInstanceId(0, L"{51560000-0000-4000-8000-00000000000a}"s); });
    EXPECT_EQ(TRUE, got.done);
    ExpectNoValues();
    EXPECT_EQ(1u, Count(L"device-disable"));
    EXPECT_EQ(1u, Count(L"device-enable"));
}

TEST_F(VlanCreation, PassesOverADeviceThatCannotBeRead) {
    const struct {
        const char* what;
        const wchar_t* fault; // counted behind the installation's own calls
        bool written;
    } cases[] = {{"key of another", L"fault SetupDiOpenDevRegKey 2 5", true},
                 {"every key", L"fault SetupDiOpenDevRegKey 2 5 all", false},
                 {"size of another's id", L"fault RegQueryValueExW 4 5", true},
                 {"another's id", L"fault RegQueryValueExW 5 5", true},
                 {"every id", L"fault RegQueryValueExW 4 5 all", false},
                 {"no memory for another's id", L"fault calloc 4 8", true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        LoadAndBuild(L"two-ports");
        Bench(c.fault);
        EXPECT_EQ(TRUE, Create().done);
        EXPECT_EQ(c.written, !VlanValues(0).empty());
        EXPECT_EQ(c.written ? 1u : 0u, Count(L"device-disable"));
        EXPECT_NE(0u, Count(L"fault"));
        EXPECT_EQ(DeviceName(NewGuid(1)), BindingOf(RecordOf(kPort0)));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanCreation, SucceedsThoughItsValuesCannotBeWritten) {
    const struct {
        const wchar_t* fault;
        std::string values;
    } cases[] = {{L"fault RegSetValueExW:VlanID 1 5", "VlanName = REG_SZ \"Voice\"\n"},
                 {L"fault RegSetValueExW:VlanName 1 5", "VlanID = REG_DWORD 0x0000000A\n"},
                 {L"fault RegSetValueExW 4 5 all", ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"two-ports");
        Bench(c.fault);
        EXPECT_EQ(TRUE, Create().done);
        EXPECT_EQ(c.values, VlanValues(0));
        EXPECT_EQ(1u, Count(L"device-enable")) << "restarted all the same";
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanCreation, RecordsTheNullGuidWhenTheInstallationRanOutOfMemoryAtItsEnd) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault calloc 1 8");
    VlanResult got = Create();
    EXPECT_EQ(TRUE, got.done);
    EXPECT_EQ(GUID(), got.guid);
    EXPECT_TRUE(HasDevice(0)) << "installed and never found again";
    EXPECT_EQ(DeviceName(L"{00000000-0000-0000-0000-000000000000}"), BindingOf(RecordOf(kPort0)));
    EXPECT_EQ(0u, Count(L"device-disable"));
    ExpectNoValues();
    EXPECT_EQ("", StillOpen());
}

// Removal on a physical host.
class VlanOfAHost : public VlanTest {};

TEST_F(VlanOfAHost, StaysInstalledForSomebodyWhoIsNoAdministrator) {
    LoadAndBuild(L"vlan-members");
    const std::string before = MachineDump();
    Bench(L"admin 0");
    VlanResult got = Remove(kPort0, MachineVlanGuid(0), FALSE);
    EXPECT_EQ(FALSE, got.done);
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, got.error);
    EXPECT_EQ("", ChangedSince(before));
}

TEST_F(VlanOfAHost, IsNotFoundByAnInstanceIdInOtherLettersButForgotten) {
    Load(L"vlan-members");
    machine.vlans[2].guid = L"{C0000000-0000-4000-8000-00000000000A}";
    Build();
    SetInstanceId(2, L"{C0000000-0000-4000-8000-00000000000a}"s);
    EXPECT_EQ(FALSE, Remove(MachinePort(1), L"{C0000000-0000-4000-8000-00000000000A}", FALSE).done);
    EXPECT_FALSE(RegistryHasKey(RecordOf(MachinePort(1))));
    EXPECT_TRUE(HasDevice(2));
    EXPECT_EQ(0u, Count(L"device-remove"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanOfAHost, IsFoundBehindDevicesThatCannotBeRead) {
    const struct {
        const char* what;
        const wchar_t* fault;
        bool removed;
    } cases[] = {{"key of the first port", L"fault SetupDiOpenDevRegKey 1 5", true},
                 {"every key", L"fault SetupDiOpenDevRegKey 1 5 all", false},
                 {"id of the first port", L"fault RegQueryValueExW 4 5", true},
                 {"every id", L"fault RegQueryValueExW 4 5 all", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        LoadAndBuild(L"vlan-members");
        Bench(c.fault);
        EXPECT_EQ(c.removed, Remove(MachinePort(1), MachineVlanGuid(2), FALSE).done != FALSE);
        EXPECT_NE(0u, Count(L"fault"));
        EXPECT_FALSE(RegistryHasKey(RecordOf(MachinePort(1)))) << "forgotten in any case";
        EXPECT_EQ(c.removed, !RegistryHasKey(ConnectionOf(MachineVlanGuid(2))));
        EXPECT_EQ(c.removed, !HasDevice(2));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanOfAHost, TellsWhyItsDeviceStaysThoughItsConnectionIsGone) {
    for (const wchar_t* fault :
         {L"fault SetupDiSetClassInstallParamsW 1 31", L"fault SetupDiRemoveDevice 1 31"}) {
        LoadAndBuild(L"vlan-members");
        Bench(fault);
        Bench(L"fault SetupDiDestroyDeviceInfoList 1 904");
        VlanResult got = Remove(MachinePort(1), MachineVlanGuid(2), FALSE);
        EXPECT_EQ(FALSE, got.done);
        EXPECT_EQ(DWORD{31}, got.error);
        EXPECT_FALSE(RegistryHasKey(RecordOf(MachinePort(1))));
        EXPECT_FALSE(RegistryHasKey(ConnectionOf(MachineVlanGuid(2))));
        EXPECT_TRUE(HasDevice(2));
    }
}

TEST_F(VlanOfAHost, IsRemovedEvenByAHostWhoseListDoesNotNameIt) {
    LoadAndBuild(L"vlan-members");
    EXPECT_EQ(TRUE, Remove(kPort0, MachineVlanGuid(2), FALSE).done);
    const std::wstring own = DeviceName(MachineVlanGuid(1)) + L"|" + DeviceName(MachineVlanGuid(0));
    EXPECT_EQ((TextList{BindingStep(kPort0, own, kTwoEntries + 2),
                        L"key-delete HKLM\\" + ConnectionOf(MachineVlanGuid(2)),
                        L"device-remove ROOT\\NET\\0002"}),
              Steps());
    EXPECT_EQ(DeviceName(MachineVlanGuid(2)), BindingOf(RecordOf(MachinePort(1))))
        << "its own host still names it";
}

// Whether an adapter's driver opens.
class AdapterDriver : public MachineTest {
  protected:
    static bool Opens(const std::wstring& adapter) {
        GUID guid = Guid(adapter);
        return AdapterDriverOpens(&guid) != FALSE;
    }
};

struct OpenedFile {
    std::wstring path;
    DWORD access = 0xdeadbeef;
    DWORD share = 0xdeadbeef;
    DWORD disposition = 0;
    DWORD flags = 0xdeadbeef;
};
static OpenedFile opened;

static HANDLE WINAPI RecordCreateFile(LPCWSTR path, DWORD access, DWORD share,
                                      LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD flags,
                                      HANDLE) {
    opened = {path, access, share, disposition, flags};
    return INVALID_HANDLE_VALUE;
}

TEST_F(AdapterDriver, IsOpenedByItsWin32PathWithoutRightsAndForEverybody) {
    LoadAndBuild(L"two-ports");
    ImportInstead import("CreateFileW", reinterpret_cast<void*>(RecordCreateFile));
    EXPECT_FALSE(Opens(kPort0));
    EXPECT_EQ(L"\\\\.\\" + kPort0, opened.path);
    EXPECT_EQ(0u, opened.access);
    EXPECT_EQ(DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE}, opened.share);
    EXPECT_EQ(DWORD{OPEN_EXISTING}, opened.disposition);
    EXPECT_EQ(0u, opened.flags);
}

TEST_F(AdapterDriver, OpensWhileItsAdapterWorks) {
    Load(L"two-ports");
    machine.FindAdapter(L"port1")->disabled = 2;
    Build();
    EXPECT_TRUE(Opens(kPort0));
    EXPECT_FALSE(Opens(MachinePort(1))) << "disabled";
    EXPECT_FALSE(Opens(MachinePort(5))) << "no such adapter";
    EXPECT_EQ("", StillOpen());
    machine.FindAdapter(L"port0")->opens = false;
    Build();
    EXPECT_FALSE(Opens(kPort0)) << "its driver refuses";
}

TEST_F(AdapterDriver, IsGivenToTheCallerWhoClosesIt) {
    LoadAndBuild(L"two-ports");
    GUID guid = Guid(kPort0);
    HANDLE driver = OpenAdapterDriver(&guid);
    ASSERT_NE(INVALID_HANDLE_VALUE, driver);
    EXPECT_EQ("handles=1", StillOpen());
    EXPECT_TRUE(CloseHandle(driver));
}

TEST_F(AdapterDriver, DoesNotOpenWhenItCannotBeReachedOrMemoryRunsOut) {
    LoadAndBuild(L"two-ports");
    GUID guid = Guid(kPort0);
    for (const wchar_t* fault : {L"fault CreateFileW 1 32", L"fault calloc 1 8"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        EXPECT_FALSE(Opens(kPort0));
        Bench(fault);
        EXPECT_EQ(INVALID_HANDLE_VALUE, OpenAdapterDriver(&guid));
        EXPECT_EQ("", StillOpen());
    }
    EXPECT_EQ(2u, Calls("CreateFileW")) << "without memory nothing is opened";
}
