// Creating one virtual adapter: what is done, what a failure leaves, and what the caller gets.
#include "device/virtual_adapter.h"
#include "drive/wait.h"
#include "harness/devices.h"
#include "harness/install.h"

#include <newdev.h>

#include <thread>

class Install : public InstallTest {};

TEST_F(Install, CreatesRegistersDrivesAndNamesADevice) {
    LoadAndBuild(L"two-ports");
    Installed got = Run(L"Team0");
    EXPECT_EQ(INSTALL_OK, got.result);
    EXPECT_EQ(Guid(kFirstGuid), got.guid);
    EXPECT_EQ(L"Team0", got.name);
    EXPECT_EQ(
        (TextList{L"device-create ROOT\\NET\\0000",
                  L"property-set ROOT\\NET\\0000 HARDWAREID \"QV_QVTEAMMP\" 26 bytes",
                  L"device-register ROOT\\NET\\0000",
                  L"device-install ROOT\\NET\\0000 route=DiInstallDevice inf=" + OemInf(L"inf"),
                  L"address-published ROOT\\NET\\0000 02515600AA01",
                  L"property-set ROOT\\NET\\0000 FRIENDLYNAME \"Team0\" 256 bytes"}),
        Lines(Changes(Journal())));
    EXPECT_EQ("", StillOpen());
    EXPECT_THAT(
        DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\"),
        testing::IsSupersetOf(
            {std::string(
                 "device\\ROOT\\NET\\0000\\enum\\FriendlyName = REG_SZ \"Team0\" (256 bytes)"),
             std::string("device\\ROOT\\NET\\0000\\driver\\NetCfgInstanceId = REG_SZ "
                         "\"{51560000-0000-4000-8000-000000000001}\"")}));
}

TEST_F(Install, NumbersTheNextDeviceOn) {
    LoadAndBuild(L"two-ports");
    EXPECT_EQ(Guid(kFirstGuid), Run(L"Team0").guid);
    EXPECT_EQ(Guid(L"{51560000-0000-4000-8000-000000000002}"), Run(L"Team1").guid);
    EXPECT_THAT(DeviceSet().ids(), testing::IsSupersetOf({std::wstring(L"ROOT\\NET\\0000"),
                                                          std::wstring(L"ROOT\\NET\\0001")}));
}

TEST_F(Install, UsesItsOwnHardwareIdWhateverTheCallerSays) {
    LoadAndBuild(L"two-ports");
    EXPECT_EQ(INSTALL_OK, Run(L"Team0", OemInf(), L"PCI\\SOMETHING").result);
    EXPECT_THAT(Lines(Journal()),
                testing::Contains(std::wstring(
                    L"property-set ROOT\\NET\\0000 HARDWAREID \"QV_QVTEAMMP\" 26 bytes")));
}

struct NameCase {
    std::wstring given;
    std::wstring reported;
};

TEST_F(Install, CutsTheNameTo127Characters) {
    LoadAndBuild(L"two-ports");
    const NameCase cases[] = {{L"", L""},
                              {L"T", L"T"},
                              {std::wstring(126, L'a'), std::wstring(126, L'a')},
                              {std::wstring(127, L'b'), std::wstring(127, L'b')},
                              {std::wstring(128, L'c'), std::wstring(127, L'c')},
                              {std::wstring(259, L'd'), std::wstring(127, L'd')}};
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.given.size());
        Installed got = Run(c.given);
        EXPECT_EQ(INSTALL_OK, got.result);
        EXPECT_EQ(c.reported, got.name);
        EXPECT_EQ("", StillOpen());
    }
    for (const std::wstring& text : Texts(Journal(), L"property-set")) {
        if (text.find(L"FRIENDLYNAME") != std::wstring::npos)
            EXPECT_EQ(L" 256 bytes", text.substr(text.size() - 10));
    }
}

TEST_F(Install, GivesBackTheDescriptionWhenTheNameCannotBeSet) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault SetupDiSetDeviceRegistryPropertyW:SPDRP_FRIENDLYNAME 1 5");
    Installed got = Run(L"Team0");
    EXPECT_EQ(INSTALL_OK, got.result);
    EXPECT_EQ(L"Quovane Team Virtual Adapter", got.name);
    EXPECT_EQ(Guid(kFirstGuid), got.guid);
}

TEST_F(Install, GivesBackTheDescriptionWhenTheNameCannotBeRead) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault SetupDiGetDeviceRegistryPropertyW 1 5");
    EXPECT_EQ(L"Quovane Team Virtual Adapter", Run(L"Team0").name);
}

TEST_F(Install, SucceedsWithAnEmptyNameWhenNoNameCanBeRead) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault SetupDiGetDeviceRegistryPropertyW 1 5 all");
    Installed got = Run(L"Team0");
    EXPECT_EQ(INSTALL_OK, got.result);
    EXPECT_EQ(L"", got.name);
    EXPECT_EQ(Guid(kFirstGuid), got.guid);
}

TEST_F(Install, KeepsTheDeviceAndSucceedsWhenMemoryRunsOutForItsGuid) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault calloc 1 8");
    Installed got = Run(L"Team0");
    EXPECT_EQ(INSTALL_OK, got.result);
    EXPECT_EQ(kPoisonGuid, got.guid);
    EXPECT_EQ(L"Team0", got.name);
    EXPECT_EQ(1u, Calls("calloc"));
    EXPECT_EQ(0u, Lines(Journal(), {L"device-remove"}).size());
    EXPECT_EQ(1u,
              DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\driver\\NetCfgInstanceId").size());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Install, LeavesTheNameOfTheCallerWhenMemoryRunsOut) {
    LoadAndBuild(L"two-ports");
    Bench(L"fault calloc 1 8");
    EXPECT_EQ(std::wstring(200, L'n'), Run(std::wstring(200, L'n')).name);
}

struct Exit {
    const wchar_t* fault; // ';' between commands
    DWORD error;          // what the last error tells
    bool registered;      // so the half-made device has to go again
};

static const Exit kExits[] = {
    {L"fault GetFullPathNameW 1 3", 3, false},
    {L"fault GetFullPathNameW 1 0 value=260", ERROR_FILENAME_EXCED_RANGE, false},
    {L"fault SetupDiGetINFClassW 1 13", 13, false},
    {L"fault SetupDiCreateDeviceInfoList 1 8", 8, false},
    {L"fault SetupDiCreateDeviceInfoW 1 5", 5, false},
    {L"fault SetupDiSetDeviceRegistryPropertyW 1 13", 13, false},
    {L"fault SetupDiCallClassInstaller 1 0xE0000202", 0xE0000202, false},
    {L"fault GetFullPathNameW 2 3", 3, true},
    {L"fault GetFullPathNameW 2 0 value=260", ERROR_FILENAME_EXCED_RANGE, true},
    {L"fault GetFileAttributesW 1 2", 2, true},
    {L"fault LoadLibraryW 1 126", 126, true},
    {L"fault GetProcAddress 1 127 all", ERROR_PROC_NOT_FOUND, true},
    {L"fault DiInstallDevice 1 0xE0000228;fault GetProcAddress 3 127", 0xE0000228, true},
    {L"fault SetupDiOpenDevRegKey 1 0xE0000204", 0xE0000204, true},
    {L"fault RegQueryValueExW 1 2", 2, true},
    {L"fault RegQueryValueExW 2 1018", 1018, true},
};

TEST_F(Install, LeavesNothingBehindWhenItFails) {
    LoadAndBuild(L"two-ports");
    for (const Exit& exit : kExits) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(exit.fault)));
        ExpectFailure(exit.fault, exit.error, exit.registered);
    }
}

TEST_F(Install, OnWindows5LeavesNothingBehindWhenItsOnlyRouteFails) {
    Load(L"server-2003");
    machine.newDev = {L"InstallSelectedDriver"};
    Build();
    const Exit exits[] = {
        {L"fault SetupDiSetSelectedDevice 1 31", 31, true},
        {L"fault SetupDiGetDeviceInstallParamsW 1 31", 31, true},
        {L"fault SetupDiSetDeviceInstallParamsW 1 87", 87, true},
        {L"fault SetupDiBuildDriverInfoList 1 8", 8, true},
        {L"fault SetupDiCallClassInstaller:DIF_SELECTBESTCOMPATDRV 1 0xE0000228", 0xE0000228, true},
        {L"fault SetupDiGetSelectedDriverW 1 0xE0000203", 0xE0000203, true},
        {L"fault InstallSelectedDriver 1 1603", 1603, true},
    };
    for (const Exit& exit : exits) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(exit.fault)));
        ExpectFailure(exit.fault, exit.error, exit.registered);
    }
}

// Every routine that only cleans up fails in a way of its own.
static const wchar_t kCleanUpFails[] =
    L"fault FreeLibrary 1 901 all;fault SetupDiDestroyDriverInfoList 1 902 all;"
    L"fault RegCloseKey 1 903 all;fault SetupDiDestroyDeviceInfoList 1 904 all";

TEST_F(Install, TellsWhatFailedFirstAndNotWhatTheCleanUpMet) {
    LoadAndBuild(L"two-ports");
    std::vector<Exit> exits(std::begin(kExits), std::end(kExits));
    exits.push_back({L"version 5.2;fault InstallSelectedDriver 1 1603;fault GetProcAddress 1 127;"
                     L"fault GetProcAddress 3 127",
                     1603, true});
    RegistrySet(L"Software\\QvBench\\Machine",
                MachineValue::MultiText(L"NewDev", {L"DiInstallDevice", L"InstallSelectedDriver",
                                                    L"UpdateDriverForPlugAndPlayDevicesW"}));
    for (const Exit& exit : exits) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(exit.fault)));
        Bench(L"reload");
        Commands(exit.fault);
        Commands(kCleanUpFails);
        Installed got = Run(L"Team0");
        EXPECT_EQ(INSTALL_FAILED, got.result);
        EXPECT_EQ(exit.error, got.error);
        Bench(L"clear");
    }
}

TEST_F(Install, FailsJustSoWhenTheHalfMadeDeviceCannotBeRemoved) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    Bench(L"fault RegQueryValueExW 1 1018");
    Bench(L"fault SetupDiCallClassInstaller:DIF_REMOVE 1 905");
    Installed got = Run(L"Team0");
    EXPECT_EQ(INSTALL_FAILED, got.result);
    EXPECT_EQ(1018u, got.error);
    EXPECT_NE("", ChangedSince(before));
    EXPECT_EQ("", StillOpen());
}

TEST_F(Install, FailsWhenTheInstanceIdIsUnreadableForWantOfSystemMemory) {
    LoadAndBuild(L"two-ports");
    ExpectFailure(L"fault RegQueryValueExW 1 14", ERROR_OUTOFMEMORY, true);
    ExpectFailure(L"fault RegQueryValueExW 2 14", ERROR_OUTOFMEMORY, true);
}

TEST_F(Install, IsRefusedToSomebodyWhoIsNoAdministrator) {
    LoadAndBuild(L"not-admin");
    ExpectFailure(L"admin 0", ERROR_ACCESS_DENIED, false);
}

// A path of this many characters in the system INF directory.
static std::wstring PathOf(size_t characters) {
    std::wstring path = OemInf();
    path.resize(path.rfind(L'\\') + 1);
    while (path.size() < characters)
        path += path.size() % 50 == 0 ? L'\\' : L'x';
    return path;
}

TEST_F(Install, RefusesAPathOf260CharactersBeforeAnythingIsMade) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    const struct {
        size_t characters;
        unsigned classLookups;
    } cases[] = {{258, 1}, {259, 1}, {260, 0}, {261, 0}, {600, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.characters);
        Bench(L"reset-counts");
        Installed got = Run(L"Team0", PathOf(c.characters));
        EXPECT_EQ(INSTALL_FAILED, got.result);
        EXPECT_EQ(c.classLookups, Calls("SetupDiGetINFClassW"));
        EXPECT_EQ(0u, Calls("SetupDiCreateDeviceInfoW"));
        if (c.classLookups == 0)
            EXPECT_EQ(DWORD{ERROR_FILENAME_EXCED_RANGE}, got.error);
    }
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ("", StillOpen());
}

TEST_F(Install, RefusesAFileThatIsNoInf) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    for (const wchar_t* name : {L"oem99.inf", L"qvteammp.sys", L""}) {
        std::wstring path = OemInf();
        path.replace(path.rfind(L'\\') + 1, std::wstring::npos, name);
        EXPECT_EQ(INSTALL_FAILED, Run(L"Team0", path).result);
    }
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ("", StillOpen());
}

TEST_F(Install, TakesAPathThatIsNotInFull) {
    Load(L"server-2003");
    Build();
    std::wstring path = OemInf();
    path.insert(path.rfind(L'\\'), L"\\.");
    EXPECT_EQ(INSTALL_OK, Run(L"Team0", path).result);
    EXPECT_EQ((TextList{L"ROOT\\NET\\0000 route=InstallSelectedDriver inf=" + OemInf()}),
              Texts(Journal(), L"device-install"));
}

// The bench's device gets its driver from elsewhere while the forced update fails: as on a system
// that finishes the installation in its own time.
static void FinishElsewhere(const std::wstring& instance, const std::wstring& guid) {
    DeviceSet devices;
    HKEY key = SetupDiCreateDevRegKeyW(devices.handle(), devices.find(instance), DICS_FLAG_GLOBAL,
                                       0, DIREG_DRV, nullptr, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, key);
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(key, L"NetCfgInstanceId", 0, REG_SZ,
                             reinterpret_cast<const BYTE*>(guid.c_str()),
                             static_cast<DWORD>((guid.size() + 1) * sizeof(wchar_t))));
    RegCloseKey(key);
}

TEST_F(Install, SucceedsWhenOnlyTheForcedUpdateIsThereAndFails) {
    Load(L"two-ports");
    machine.newDev = {L"UpdateDriverForPlugAndPlayDevicesW"};
    Build();
    const std::wstring guid = L"{B0000000-0000-4000-8000-00000000000A}";
    Bench(L"fault UpdateDriverForPlugAndPlayDevicesW 1 0xE0000203");
    Bench(L"hold SetupDiSetDeviceRegistryPropertyW:SPDRP_FRIENDLYNAME 1");
    Installed got;
    std::thread installer([&] { got = Run(L"Team0"); });
    EXPECT_TRUE(drive::WaitUntil([] { return Bench(L"held") != L"no"; }));
    FinishElsewhere(L"ROOT\\NET\\0000", guid);
    Bench(L"release");
    installer.join();
    EXPECT_EQ(INSTALL_OK, got.result);
    EXPECT_EQ(Guid(guid), got.guid);
    EXPECT_EQ(L"Team0", got.name);
    EXPECT_EQ(1u, Calls("UpdateDriverForPlugAndPlayDevicesW"));
    EXPECT_EQ(0u, Lines(Journal(), {L"device-remove"}).size());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Install, FailsAndRemovesTheDeviceWhenNoRouteGaveItADriverKey) {
    Load(L"two-ports");
    machine.newDev = {L"UpdateDriverForPlugAndPlayDevicesW"};
    Build();
    const std::string before = MachineDump();
    Bench(L"fault UpdateDriverForPlugAndPlayDevicesW 1 0xE0000203");
    EXPECT_EQ(INSTALL_FAILED, Run(L"Team0").result);
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(1u, Lines(Journal(), {L"device-remove"}).size());
}
