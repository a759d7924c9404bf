// Which of newdev.dll's entry points drive a new device, by Windows version and by what there is.
#include "device/virtual_adapter.h"
#include "harness/install.h"

static const wchar_t kDi[] = L"DiInstallDevice";
static const wchar_t kSelected[] = L"InstallSelectedDriver";
static const wchar_t kUpdate[] = L"UpdateDriverForPlugAndPlayDevicesW";
static const wchar_t kNone[] = L"";

class InstallRoute : public InstallTest {
  protected:
    void BuildFor(const std::wstring& version, const std::vector<std::wstring>& newDev) {
        Load(L"two-ports");
        machine.windows = version;
        machine.newDev = newDev;
        Build();
    }

    // "DiInstallDevice" or so, from the journal; "" when nothing was installed.
    static std::wstring Taken() {
        const TextList installs = Texts(Journal(), L"device-install");
        if (installs.empty())
            return kNone;
        EXPECT_EQ(1u, installs.size());
        const size_t begin = installs[0].find(L"route=") + 6;
        return installs[0].substr(begin, installs[0].find(L' ', begin) - begin);
    }

    // Every entry point that was called, in no order.
    static TextList Called() {
        TextList called;
        for (const wchar_t* name : {kSelected, kDi, kUpdate}) {
            const std::wstring wide = name;
            for (unsigned call = Calls(std::string(wide.begin(), wide.end())); call > 0; call--)
                called.push_back(name);
        }
        return called;
    }
};

struct RouteCase {
    TextList newDev;
    const wchar_t* onWindows5;
    const wchar_t* later;
};

static const RouteCase kRoutes[] = {
    {{}, kNone, kNone},
    {{kSelected}, kSelected, kNone},
    {{kDi}, kDi, kDi},
    {{kUpdate}, L"UpdateDriver", L"UpdateDriver"},
    {{kSelected, kDi}, kSelected, kDi},
    {{kSelected, kUpdate}, kSelected, L"UpdateDriver"},
    {{kDi, kUpdate}, kDi, kDi},
    {{kSelected, kDi, kUpdate}, kSelected, kDi},
};

TEST_F(InstallRoute, FollowsFromTheVersionAndTheEntryPoints) {
    for (const wchar_t* version : {L"5.1", L"5.2", L"6.0", L"6.1", L"10.0"}) {
        for (const RouteCase& c : kRoutes) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(version)) +
                         testing::PrintToString(c.newDev));
            BuildFor(version, c.newDev);
            const std::wstring expected = version[0] == L'5' ? c.onWindows5 : c.later;
            Installed got = Run(L"Team0");
            EXPECT_EQ(expected, Taken());
            EXPECT_EQ(expected.empty() ? INSTALL_FAILED : INSTALL_OK, got.result);
            EXPECT_EQ(expected.empty() ? 0u : 1u, Called().size());
            if (expected.empty())
                EXPECT_EQ(DWORD{ERROR_PROC_NOT_FOUND}, got.error);
            else
                EXPECT_EQ(Guid(kFirstGuid), got.guid);
            EXPECT_EQ(expected.empty() ? 0u : 1u,
                      DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\enum\\HardwareID").size());
            EXPECT_EQ("", StillOpen());
        }
    }
}

struct FallbackCase {
    const wchar_t* version;
    const wchar_t* faults;
    TextList called;
    const wchar_t* taken;
};

TEST_F(InstallRoute, FallsBackToTheNextWhenOneFails) {
    const FallbackCase cases[] = {
        {L"5.1", L"fault InstallSelectedDriver 1 1603", {kSelected, kDi}, kDi},
        {L"5.1", L"fault SetupDiSetSelectedDevice 1 31", {kDi}, kDi},
        {L"5.1", L"fault SetupDiBuildDriverInfoList 1 31", {kDi}, kDi},
        {L"5.1", L"fault SetupDiCallClassInstaller:DIF_SELECTBESTCOMPATDRV 1 31", {kDi}, kDi},
        {L"5.2",
         L"fault InstallSelectedDriver 1 1603;fault DiInstallDevice 1 5",
         {kSelected, kDi, kUpdate},
         L"UpdateDriver"},
        {L"5.2", L"fault DiInstallDevice 1 5", {kSelected}, kSelected},
        {L"6.0", L"fault DiInstallDevice 1 5", {kDi, kUpdate}, L"UpdateDriver"},
        {L"10.0", L"fault DiInstallDevice 1 5", {kDi, kUpdate}, L"UpdateDriver"},
        {L"5.2", L"fault GetVersionExW 1 122", {kDi}, kDi},
        {L"5.2",
         L"fault GetProcAddress 1 127;fault GetProcAddress 2 127",
         {kUpdate},
         L"UpdateDriver"},
    };
    for (const FallbackCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.version) + L" " + c.faults));
        BuildFor(c.version, {kDi, kSelected, kUpdate});
        Commands(c.faults);
        EXPECT_EQ(INSTALL_OK, Run(L"Team0").result);
        EXPECT_EQ(c.called, Called());
        EXPECT_EQ(c.taken, Taken());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(InstallRoute, OnWindows5TakesTheInfThatWasFoundThoughItIsExcludedFromSelection) {
    BuildFor(L"5.1", {kSelected});
    machine.infs.push_back({L"oem2.inf", machine.infs[0].content});
    Build();
    EXPECT_EQ(INSTALL_OK, Run(L"Team0").result);
    EXPECT_EQ((TextList{L"ROOT\\NET\\0000 route=InstallSelectedDriver inf=" + OemInf()}),
              Texts(Journal(), L"device-install"));
}

TEST_F(InstallRoute, SucceedsWhenTheSystemHasToBeRestarted) {
    for (const wchar_t* version : {L"5.2", L"10.0"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(version)));
        BuildFor(version, {kDi, kSelected});
        RegistrySet(L"Software\\QvBench\\Devices\\ROOT#NET#0000",
                    MachineValue::Number(L"Flags", DI_NEEDREBOOT));
        EXPECT_EQ(INSTALL_OK, Run(L"Team0").result);
        EXPECT_EQ(1u, Called().size());
    }
}

// A registered device of the test's own set, without a driver.
class Registered {
  public:
    Registered() : set_(SetupDiCreateDeviceInfoList(&GUID_DEVCLASS_NET, nullptr)) {
        static const wchar_t ids[] = MINIPORT_HARDWARE_ID L"\0";
        data_.cbSize = sizeof(data_);
        EXPECT_TRUE(SetupDiCreateDeviceInfoW(set_, L"Net", &GUID_DEVCLASS_NET, nullptr, nullptr,
                                             DICD_GENERATE_ID, &data_));
        EXPECT_TRUE(SetupDiSetDeviceRegistryPropertyW(
            set_, &data_, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(ids), sizeof(ids)));
        EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set_, &data_));
    }
    ~Registered() {
        SetupDiRemoveDevice(set_, &data_);
        SetupDiDestroyDeviceInfoList(set_);
    }
    Registered(const Registered&) = delete;
    Registered& operator=(const Registered&) = delete;

    int update(const std::wstring& inf) {
        SetLastError(0xdeadbeef);
        return cmdUpdate(reinterpret_cast<HWND>(1), L"PCI\\SOMETHING", inf.c_str(), set_, &data_);
    }
    HDEVINFO set() const {
        return set_;
    }
    SP_DEVINFO_DATA* data() {
        return &data_;
    }

  private:
    HDEVINFO set_;
    SP_DEVINFO_DATA data_ = {};
};

TEST_F(InstallRoute, CountsAFailedForcedUpdateAsSuccess) {
    BuildFor(L"10.0", {kUpdate});
    Registered device;
    Bench(L"fault UpdateDriverForPlugAndPlayDevicesW 1 0xE0000203");
    EXPECT_EQ(INSTALL_OK, device.update(OemInf()));
    EXPECT_EQ(kNone, Taken());
    EXPECT_EQ(INSTALL_OK, device.update(OemInf()));
    EXPECT_EQ(L"UpdateDriver", Taken());
    EXPECT_EQ("", StillOpen());
}

TEST_F(InstallRoute, ForcesTheUpdateOfADeviceThatHasADriver) {
    BuildFor(L"10.0", {kUpdate});
    Registered device;
    EXPECT_EQ(INSTALL_OK, device.update(OemInf()));
    EXPECT_EQ(INSTALL_OK, device.update(OemInf()));
    EXPECT_EQ(2u, Texts(Journal(), L"device-install").size());
}

TEST_F(InstallRoute, IsNotTriedWithoutTheInfFile) {
    BuildFor(L"10.0", {kDi, kUpdate});
    Registered device;
    EXPECT_EQ(INSTALL_FAILED, device.update(OemInf() + L"x"));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_EQ(INSTALL_FAILED, device.update(L""));
    EXPECT_EQ(INSTALL_FAILED, device.update(L"C:\\" + std::wstring(257, L'x')));
    EXPECT_EQ(DWORD{ERROR_FILENAME_EXCED_RANGE}, GetLastError());
    EXPECT_EQ(0u, Calls("LoadLibraryW"));
    EXPECT_EQ(kNone, Taken());
}

static int g_calls;
static BOOL WINAPI Accept(HWND, HDEVINFO, LPCWSTR reserved, BOOL backup, PDWORD reboot) {
    g_calls++;
    EXPECT_EQ(nullptr, reserved);
    EXPECT_FALSE(backup);
    *reboot = DI_NEEDRESTART | DI_NEEDREBOOT;
    return TRUE;
}
static BOOL WINAPI Refuse(HWND, HDEVINFO, LPCWSTR, BOOL, PDWORD) {
    g_calls++;
    SetLastError(1603);
    return FALSE;
}

TEST_F(InstallRoute, OnWindows5GivesOneForSuccessAndZeroForFailure) {
    BuildFor(L"5.1", {});
    Registered device;
    auto install = [&](const std::wstring& path, InstallSelectedDriverFn routine) {
        g_calls = 0;
        return InstallSelectedDriverForWinXPS03(nullptr, L"", path.c_str(), device.set(),
                                                device.data(), routine);
    };
    EXPECT_EQ(1, install(OemInf(), Accept)) << "also when a restart is due";
    EXPECT_EQ(1, g_calls);
    EXPECT_EQ(0, install(OemInf(), Refuse));
    EXPECT_EQ(1, g_calls);
    EXPECT_EQ(1603u, GetLastError());
    EXPECT_EQ("", StillOpen()) << "the list of drivers goes whatever came of it";
}

TEST_F(InstallRoute, OnWindows5RefusesAPathThatDoesNotFit) {
    BuildFor(L"5.1", {});
    Registered device;
    g_calls = 0;
    const std::wstring path = L"C:\\" + std::wstring(257, L'x');
    EXPECT_EQ(0, InstallSelectedDriverForWinXPS03(nullptr, L"", path.c_str(), device.set(),
                                                  device.data(), Accept));
    EXPECT_EQ(DWORD{ERROR_FILENAME_EXCED_RANGE}, GetLastError());
    EXPECT_EQ(0, g_calls);
    EXPECT_EQ(0u, Calls("SetupDiSetDeviceInstallParamsW"));
}
