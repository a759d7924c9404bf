// Disabling, restarting, hiding and removing devices, and telling the program's own from others.
#include "device/device_state.h"
#include "device/net_devices.h"
#include "harness/devices.h"
#include "harness/import_instead.h"
#include "include/names.h"

#include <cfgmgr32.h>

static const wchar_t kPort0[] = L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&08";
static const wchar_t kPort1[] = L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&10";
static const wchar_t kGuid0[] = L"{A0000000-0000-4000-8000-000000000001}";
static const wchar_t kGuid1[] = L"{A0000000-0000-4000-8000-000000000002}";
static const wchar_t kNobody[] = L"{A0000000-0000-4000-8000-0000000000FF}";
static const wchar_t kVoice[] = L"ROOT\\NET\\0000"; // vlan-members

using TextList = std::vector<std::wstring>;

static TextList Restart(const std::wstring& id, const std::wstring& scope = L"config") {
    return {L"device-disable " + id + L" scope=" + scope,
            L"device-enable " + id + L" scope=" + scope};
}

class DeviceState : public MachineTest {
  protected:
    TextList changes() const {
        return Lines(Changes(Journal()));
    }
};

struct VersionCase {
    const wchar_t* version;
    int type;
    const wchar_t* scope;
};
static const VersionCase kVersions[] = {{L"5.1", 0, L"config"},
                                        {L"5.2", 1, L"global"},
                                        {L"6.0", 2, L"config"},
                                        {L"6.1", 0, L"config"},
                                        {L"10.0", 0, L"config"}};

TEST_F(DeviceState, TellsServer2003AndVistaFromOtherVersions) {
    LoadAndBuild(L"two-ports");
    for (const VersionCase& c : kVersions) {
        Bench(std::wstring(L"version ") + c.version);
        EXPECT_EQ(c.type, GetOsVersionType()) << testing::PrintToString(std::wstring(c.version));
    }
    Bench(L"version 5.2");
    Bench(L"fault GetVersionExW 1 122");
    EXPECT_EQ(0, GetOsVersionType()) << "unknown when Windows does not say";
}

TEST_F(DeviceState, ChangesGloballyOnServer2003AndInTheProfileElsewhere) {
    LoadAndBuild(L"two-ports");
    DeviceSet devices;
    for (const VersionCase& c : kVersions) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.version)));
        Bench(std::wstring(L"version ") + c.version);
        ClearJournal();
        EXPECT_EQ(1, DisableDevice(devices.handle(), devices.find(kPort0)));
        EXPECT_EQ(1, EnableDevice(devices.handle(), devices.find(kPort0)));
        EXPECT_EQ(Restart(kPort0, c.scope), changes());
    }
}

TEST_F(DeviceState, StaysWhenTheDeviceMayNotBeChanged) {
    Load(L"two-ports");
    machine.FindAdapter(L"port0")->flags = DI_DONOTCALLCONFIGMG;
    Build();
    const std::string before = MachineDump();
    DeviceSet devices;
    EXPECT_EQ(0, DisableDevice(devices.handle(), devices.find(kPort0)));
    EXPECT_EQ(0, EnableDevice(devices.handle(), devices.find(kPort0)));
    EXPECT_EQ(1, DisableEnableDevice(devices.handle(), devices.find(kPort0)))
        << "a restart hides the refusal";
    EXPECT_EQ(TextList{}, changes());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(0u, Calls("SetupDiSetClassInstallParamsW"));
}

TEST_F(DeviceState, IsChangedAlsoWhenARestartOfTheSystemIsDue) {
    for (DWORD flags : {DI_NEEDRESTART, DI_NEEDREBOOT, DI_NEEDRESTART | DI_NEEDREBOOT}) {
        SCOPED_TRACE(flags);
        Load(L"two-ports");
        machine.FindAdapter(L"port0")->flags = flags;
        Build();
        DeviceSet devices;
        EXPECT_EQ(1, DisableDevice(devices.handle(), devices.find(kPort0)));
        EXPECT_EQ(1, EnableDevice(devices.handle(), devices.find(kPort0)));
        EXPECT_EQ(Restart(kPort0), changes());
    }
}

struct ChangeFault {
    const wchar_t* fault; // during one change
    int result;
    DWORD error; // of a change that was not made
};

TEST_F(DeviceState, TellsWhetherItWasChangedAndWhyNot) {
    LoadAndBuild(L"two-ports");
    const ChangeFault cases[] = {
        {L"fault SetupDiGetDeviceInstallParamsW 1 13", 1, 0},
        {L"fault SetupDiGetDeviceInstallParamsW 2 13", 1, 0},
        {L"fault SetupDiGetDeviceInstallParamsW 1 13 all", 1, 0},
        {L"fault GetVersionExW 1 13", 1, 0},
        {L"fault SetupDiSetClassInstallParamsW 1 87", 0, ERROR_INVALID_PARAMETER},
        {L"fault SetupDiChangeState 1 5", 0, ERROR_ACCESS_DENIED},
    };
    DeviceSet devices;
    const std::string before = MachineDump();
    for (const ChangeFault& c : cases) {
        for (bool enable : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)) + (enable ? " on" : " off"));
            Bench(c.fault);
            ClearJournal();
            SetLastError(0xdeadbeef);
            int result = enable ? EnableDevice(devices.handle(), devices.find(kPort0))
                                : DisableDevice(devices.handle(), devices.find(kPort0));
            DWORD error = GetLastError();
            Bench(L"clear");
            EXPECT_EQ(c.result, result);
            if (c.result == 0)
                EXPECT_EQ(c.error, error);
            EXPECT_EQ(static_cast<size_t>(c.result), changes().size());
        }
        EXPECT_EQ("", ChangedSince(before));
    }
}

TEST_F(DeviceState, IsNotChangedForSomebodyWhoIsNoAdministrator) {
    LoadAndBuild(L"not-admin");
    DeviceSet devices;
    EXPECT_EQ(0, DisableDevice(devices.handle(), devices.find(kPort0)));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    EXPECT_EQ(TextList{}, changes());
}

TEST_F(DeviceState, RestartsByDisablingAndEnablingWhateverEachGives) {
    LoadAndBuild(L"two-ports");
    DeviceSet devices;
    EXPECT_EQ(1, DisableEnableDevice(devices.handle(), devices.find(kPort0)));
    EXPECT_EQ(Restart(kPort0), changes());

    ClearJournal();
    Bench(L"fault SetupDiChangeState 1 5");
    EXPECT_EQ(1, DisableEnableDevice(devices.handle(), devices.find(kPort0)));
    EXPECT_EQ(TextList{Restart(kPort0)[1]}, changes()) << "enabled though it was not disabled";

    ClearJournal();
    Bench(L"fault SetupDiChangeState 1 5 all");
    EXPECT_EQ(1, DisableEnableDevice(devices.handle(), devices.find(kPort0)));
    EXPECT_EQ(TextList{}, changes());
}

// An adapter whose driver key spells its GUID in small letters.
static void SpellInSmallLetters(MachineAdapter* adapter) {
    std::transform(adapter->guid.begin(), adapter->guid.end(), adapter->guid.begin(), towlower);
}

TEST_F(DeviceState, RestartsTheAdapterOfAGuidInAnyLetterCase) {
    Load(L"two-ports");
    SpellInSmallLetters(machine.FindAdapter(L"port1"));
    Build();
    GUID guid = Guid(kGuid1);
    DisableEnableNic(&guid);
    EXPECT_EQ(Restart(kPort1), changes());
    EXPECT_EQ("", StillOpen());
}

TEST_F(DeviceState, HidesAndShowsOnlyAnAdapterWhoseGuidIsSpelledInCapitals) {
    Load(L"two-ports");
    SpellInSmallLetters(machine.FindAdapter(L"port1"));
    Build();
    const std::string before = MachineDump();
    GUID small = Guid(kGuid1);
    ShowHideNic(&small, 1);
    EXPECT_EQ(TextList{}, changes());
    EXPECT_EQ("", ChangedSince(before));
    GUID capital = Guid(kGuid0);
    ShowHideNic(&capital, 1);
    EXPECT_EQ(3u, changes().size());
    EXPECT_EQ("", StillOpen());
}

TEST_F(DeviceState, HidesOrShowsAnAdapterFirstAndThenRestartsIt) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    const std::wstring value = L"value-set driver(" + std::wstring(kPort0) + L")\\Characteristics ";
    const struct {
        int hide;
        const wchar_t* written;
    } cases[] = {{1, L"REG_DWORD 0x0000008C"}, {0, L"REG_DWORD 0x00000084"},
                 {1, L"REG_DWORD 0x0000008C"}, {2, L"REG_DWORD 0x00000084"},
                 {1, L"REG_DWORD 0x0000008C"}, {-1, L"REG_DWORD 0x00000084"}};
    GUID guid = Guid(kGuid0);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hide);
        ClearJournal();
        ShowHideNic(&guid, c.hide);
        TextList expected = Restart(kPort0);
        expected.insert(expected.begin(), value + c.written);
        EXPECT_EQ(expected, changes());
    }
    EXPECT_EQ("", ChangedSince(before)) << "shown again, it is as it was";
    EXPECT_EQ("", StillOpen());
}

TEST_F(DeviceState, ChangesNothingForAGuidThatNoPresentAdapterHas) {
    Load(L"two-ports");
    machine.FindAdapter(L"port1")->present = false;
    Build();
    const std::string before = MachineDump();
    for (const wchar_t* absent : {kNobody, kGuid1}) {
        GUID guid = Guid(absent);
        ShowHideNic(&guid, 1);
        ShowHideNic(&guid, 0);
        DisableEnableNic(&guid);
    }
    EXPECT_EQ(TextList{}, changes());
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ("", StillOpen());
}

TEST_F(DeviceState, IsLookedForPastDevicesThatHaveNoDriverKeyOrNoGuid) {
    for (bool driverKey : {false, true}) {
        SCOPED_TRACE(driverKey);
        Load(L"two-ports");
        machine.FindAdapter(L"port0")->driverKey = driverKey;
        machine.FindAdapter(L"port0")->guid.clear();
        Build();
        GUID guid = Guid(kGuid1);
        DisableEnableNic(&guid);
        EXPECT_EQ(Restart(kPort1), changes());
        ClearJournal();
        ShowHideNic(&guid, 1);
        EXPECT_EQ(3u, changes().size());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(DeviceState, IsLeftAloneWhenTheSearchForItFails) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    const wchar_t* const faults[] = {
        L"fault SetupDiGetClassDevsW 1 8", L"fault SetupDiEnumDeviceInfo 1 8",
        L"fault SetupDiOpenDevRegKey 1 5", L"fault RegQueryValueExW 1 5",
        L"fault RegQueryValueExW 2 5",     L"fault calloc 1 8"};
    GUID guid = Guid(kGuid0);
    for (const wchar_t* fault : faults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        for (bool restart : {true, false}) {
            Bench(fault);
            if (restart)
                DisableEnableNic(&guid);
            else
                ShowHideNic(&guid, 1);
            Bench(L"clear");
        }
        EXPECT_EQ(TextList{}, changes());
        EXPECT_EQ("", StillOpen());
        ClearJournal();
    }
    EXPECT_EQ("", ChangedSince(before));
}

// A driver key of port0 with these Characteristics.
class Visibility : public DeviceState {
  protected:
    void Open(std::optional<DWORD> characteristics) {
        Load(L"two-ports");
        machine.FindAdapter(L"port0")->characteristics = characteristics;
        Build();
        DeviceSet devices;
        Close();
        key_ = devices.driverKey(kPort0);
    }
    void TearDown() override {
        Close();
        MachineTest::TearDown();
    }
    void Close() {
        if (key_ != nullptr)
            RegCloseKey(key_);
        key_ = nullptr;
    }
    DWORD characteristics() const {
        DWORD value = 0xdeadbeef;
        DWORD type = 0;
        DWORD size = sizeof(value);
        EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key_, VALUE_CHARACTERISTICS, nullptr, &type,
                                                  reinterpret_cast<BYTE*>(&value), &size));
        EXPECT_EQ(DWORD{REG_DWORD}, type);
        return value;
    }

    HKEY key_ = nullptr;
};

TEST_F(Visibility, IsOneBitAndEveryOtherBitStays) {
    const struct {
        DWORD before, hidden, shown;
    } cases[] = {{0x84, 0x8C, 0x84},
                 {0x8C, 0x8C, 0x84},
                 {0, 0x8, 0},
                 {0x8, 0x8, 0},
                 {0x1, 0x9, 0x1},
                 {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFF7},
                 {0xA5A5A5A5, 0xA5A5A5AD, 0xA5A5A5A5}};
    for (const auto& c : cases) {
        Open(c.before);
        for (int again = 0; again < 2; again++) {
            EXPECT_EQ(1, HideNIC(key_));
            EXPECT_EQ(c.hidden, characteristics());
        }
        for (int again = 0; again < 2; again++) {
            EXPECT_EQ(1, ShowNIC(key_));
            EXPECT_EQ(c.shown, characteristics());
        }
    }
}

TEST_F(Visibility, CannotBeChangedWithoutCharacteristicsAndNothingIsWritten) {
    Open(std::nullopt);
    const std::string before = MachineDump();
    EXPECT_EQ(0, HideNIC(key_));
    EXPECT_EQ(0, ShowNIC(key_));
    EXPECT_EQ(TextList{}, changes());
    EXPECT_EQ("", ChangedSince(before));
}

TEST_F(Visibility, CountsAsShownButNotAsHiddenWhenTheWriteFails) {
    Open(0x8C);
    Bench(L"fault RegSetValueExW 1 5 all");
    EXPECT_EQ(1, ShowNIC(key_));
    EXPECT_EQ(0, HideNIC(key_));
    EXPECT_EQ(0x8Cu, characteristics());
    Bench(L"clear");
    Bench(L"fault RegQueryValueExW 1 5 all");
    EXPECT_EQ(0, ShowNIC(key_));
    EXPECT_EQ(0, HideNIC(key_));
    EXPECT_EQ(TextList{}, changes());
}

TEST_F(Visibility, IsRestartedEvenWhenTheBitCannotBeChanged) {
    Open(std::nullopt);
    GUID guid = Guid(kGuid0);
    ShowHideNic(&guid, 1);
    EXPECT_EQ(Restart(kPort0), changes());
}

// What the next CM_Get_Device_IDW calls of the product give: Wine itself spells every id in
// capitals.
static const wchar_t* g_instanceId;
static CONFIGRET WINAPI GiveInstanceId(DEVINST, PWCHAR buffer, ULONG length, ULONG) {
    lstrcpynW(buffer, g_instanceId, static_cast<int>(length));
    return CR_SUCCESS;
}

struct KindCase {
    const wchar_t* id;
    int physical;
    int isVirtual;
};

TEST_F(DeviceState, TellsPhysicalFromVirtualByTheBeginningOfTheInstanceId) {
    const KindCase cases[] = {{kPort0, 1, 0},
                              {L"ROOT\\NET\\0003", 0, 1},
                              {L"root\\net\\0003", 0, 1},
                              {L"Root\\Net\\0003", 0, 1},
                              {L"ROOT\\MS_PPPOEMINIPORT\\0000", 0, 0},
                              {L"root\\ms_pppoeminiport\\0000", 0, 0},
                              {L"ROOT\\NETX\\0000", 0, 0},
                              {L"ROOT\\NET", 0, 0},
                              {L"ROOT\\", 0, 0},
                              {L"ROOT", 1, 0},
                              {L"ROOTX\\NET\\0000", 1, 0},
                              {L"PCI\\ROOT\\NET\\0000", 1, 0},
                              {L"", 1, 0}};
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    ImportInstead import("CM_Get_Device_IDW", reinterpret_cast<void*>(GiveInstanceId));
    for (const KindCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.id)));
        g_instanceId = c.id;
        EXPECT_EQ(c.physical, IsPhysicalNIC(&device));
        EXPECT_EQ(c.isVirtual, IsVirtualNIC(&device));
    }
}

TEST_F(DeviceState, TellsPhysicalFromVirtualOnRealDevices) {
    Load(L"vlan-members");
    machine.FindAdapter(L"port3")->instance = L"ROOT\\MS_PPPOEMINIPORT\\0000";
    Build();
    DeviceSet devices;
    const KindCase cases[] = {
        {kPort0, 1, 0}, {kVoice, 0, 1}, {L"ROOT\\MS_PPPOEMINIPORT\\0000", 0, 0}};
    for (const KindCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.id)));
        EXPECT_EQ(c.physical, IsPhysicalNIC(devices.find(c.id)));
        EXPECT_EQ(c.isVirtual, IsVirtualNIC(devices.find(c.id)));
    }
}

TEST_F(DeviceState, CountsAsPhysicalWhenTheInstanceIdCannotBeRead) {
    LoadAndBuild(L"vlan-members");
    DeviceSet devices;
    Bench(L"fault CM_Get_Device_IDW 1 13 all");
    EXPECT_EQ(1, IsPhysicalNIC(devices.find(kVoice)));
    EXPECT_EQ(0, IsVirtualNIC(devices.find(kVoice)));
}

TEST_F(DeviceState, RemovesAVirtualAdapterAndNothingElse) {
    LoadAndBuild(L"vlan-members");
    const std::string before = MachineDump();
    DeviceSet devices;
    EXPECT_EQ(1, RemoveTeamDetails(devices.handle(), devices.find(kVoice)));
    EXPECT_EQ(TextList{std::wstring(L"device-remove ") + kVoice}, changes());
    EXPECT_THAT(DeviceSet().ids(), testing::Not(testing::Contains(std::wstring(kVoice))));
    std::istringstream difference(ChangedSince(before));
    for (std::string line; std::getline(difference, line);)
        EXPECT_TRUE(line.rfind("- device\\ROOT\\NET\\0000", 0) == 0 ||
                    line.rfind("- path\\", 0) == 0)
            << line;
}

TEST_F(DeviceState, KeepsADeviceWhoseRemovalFailsAndTellsWhy) {
    LoadAndBuild(L"vlan-members");
    const std::string before = MachineDump();
    const struct {
        const wchar_t* fault;
        DWORD error;
    } cases[] = {{L"fault SetupDiSetClassInstallParamsW 1 1784", ERROR_INVALID_USER_BUFFER},
                 {L"fault SetupDiRemoveDevice 1 31", ERROR_GEN_FAILURE},
                 {L"admin 0", ERROR_ACCESS_DENIED}};
    DeviceSet devices;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Bench(c.fault);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(0, RemoveTeamDetails(devices.handle(), devices.find(kVoice)));
        EXPECT_EQ(c.error, GetLastError());
        EXPECT_EQ("", ChangedSince(before));
    }
    EXPECT_EQ(TextList{}, changes());
}

TEST_F(DeviceState, CountsAsRemovedAlsoWhenARestartIsDueOrNobodySaysSo) {
    for (const wchar_t* command : {L"now", L"fault SetupDiGetDeviceInstallParamsW 1 13"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(command)));
        LoadAndBuild(L"vlan-members");
        RegistrySet(L"Software\\QvBench\\Devices\\ROOT#NET#0000",
                    MachineValue::Number(L"Flags", DI_NEEDREBOOT));
        Bench(command);
        DeviceSet devices;
        EXPECT_EQ(1, RemoveTeamDetails(devices.handle(), devices.find(kVoice)));
        EXPECT_EQ(1u, changes().size());
    }
}
