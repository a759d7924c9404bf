// The bench's stand-ins, called by the test itself: which calls a command selects, what the stand-ins
// refuse and what they put into the journal.
#include "harness/benched.h"
#include "harness/machine_test.h"

#include <ntddndis.h>
#include <prsht.h>
#include <setupapi.h>
#include <winioctl.h>

using testing::Contains;
using testing::HasSubstr;

static const wchar_t kTestKey[] = L"Software\\QvBench\\Test";
static const wchar_t kVolatileList[] = L"Software\\QvBench\\Volatile";

// A command that must be refused; gives the reason.
static std::wstring Refused(const std::wstring& command) {
    wchar_t reply[256] = {};
    EXPECT_EQ(0, BenchCommand(command.c_str(), reply, 256)) << testing::PrintToString(command);
    return reply;
}

class PlatformCalls : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
    }

    static LSTATUS open(const wchar_t* path) {
        HKEY key;
        LSTATUS status = BENCHED(RegOpenKeyExW)(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key);
        if (status == ERROR_SUCCESS)
            RegCloseKey(key);
        return status;
    }

    static LSTATUS create(const std::wstring& path, DWORD options) {
        HKEY key;
        LSTATUS status = BENCHED(RegCreateKeyExW)(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr,
                                                  options, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        if (status == ERROR_SUCCESS)
            RegCloseKey(key);
        return status;
    }
};

TEST_F(PlatformCalls, AreSelectedByWhatTheyAskFor) {
    Bench(L"fault RegOpenKeyExW:qvbench 2 5");
    EXPECT_EQ(ERROR_SUCCESS, open(L"Software\\QvBench"));
    EXPECT_EQ(ERROR_SUCCESS, open(L"Software\\QvBench\\Machine"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, open(L"Software\\QvBench"));
    EXPECT_EQ(ERROR_SUCCESS, open(L"Software\\QvBench"));
    EXPECT_EQ(std::vector<std::wstring>{L"RegOpenKeyExW:QVBENCH 2"}, Texts(Journal(), L"fault"));
    EXPECT_EQ(3u, Calls("RegOpenKeyExW:QvBench"));
}

TEST_F(PlatformCalls, CountAsCallsOfTheirFunctionToo) {
    Bench(L"fault RegOpenKeyExW:QvBench 1 5");
    Bench(L"fault RegOpenKeyExW 3 14");
    Bench(L"reset-counts");
    EXPECT_EQ(ERROR_ACCESS_DENIED, open(L"Software\\QvBench"));
    EXPECT_EQ(ERROR_SUCCESS, open(L"Software\\QvBench\\Machine"));
    EXPECT_EQ(ERROR_OUTOFMEMORY, open(L"Software\\QvBench"));
    EXPECT_EQ(3u, Calls("RegOpenKeyExW"));
    EXPECT_EQ(2u, Calls("RegOpenKeyExW:QvBench"));
    EXPECT_EQ(std::wstring::npos, Bench(L"calls").find(L"RegOpenKeyExW:")) << "plain names only";
}

TEST_F(PlatformCalls, AreCountedByDetailFromTheFirstCommandThatNamesIt) {
    open(L"Software\\QvBench\\Adapters");
    EXPECT_THAT(Refused(L"calls RegOpenKeyExW:Adapters"), HasSubstr(L"not counted yet"));
    Bench(L"count RegOpenKeyExW:Adapters");
    EXPECT_EQ(0u, Calls("RegOpenKeyExW:Adapters"));
    open(L"Software\\QvBench\\Adapters");
    EXPECT_EQ(1u, Calls("RegOpenKeyExW:ADAPTERS"));
}

TEST_F(PlatformCalls, AreNotSelectedByADetailThatDoesNotExist) {
    for (const wchar_t* name :
         {L"CloseHandle:5", L"SetupDiCallClassInstaller:DIF_NONSENSE", L"SetupDiChangeState:ENABLE",
          L"SetupDiGetDeviceRegistryPropertyW:HARDWAREID", L"DeviceIoControl:LINK",
          L"DeviceIoControl:12", L"RegOpenKeyExW:"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        EXPECT_EQ(L"no such detail", Refused(std::wstring(L"fault ") + name + L" 1 5"));
        EXPECT_EQ(L"no such detail", Refused(std::wstring(L"hold ") + name + L" 1"));
        EXPECT_EQ(L"no such detail", Refused(std::wstring(L"prompt ") + name + L" 1"));
        EXPECT_EQ(L"no such detail", Refused(std::wstring(L"count ") + name));
    }
    Bench(L"fault INetCfg::Apply 1 5");
}

TEST_F(PlatformCalls, AreSelectedByValueName) {
    HKEY key;
    ASSERT_EQ(ERROR_SUCCESS, BENCHED(RegCreateKeyExW)(HKEY_LOCAL_MACHINE, kTestKey, 0, nullptr, 0,
                                                      KEY_ALL_ACCESS, nullptr, &key, nullptr));
    Bench(L"fault RegSetValueExW:Two 1 5");
    Bench(L"fault RegQueryValueExW:@ 1 6");
    Bench(L"fault RegDeleteValueW:One 1 7");
    Bench(L"fault RegDeleteKeyW:Test 1 8");
    const BYTE data[4] = {};
    EXPECT_EQ(ERROR_SUCCESS, BENCHED(RegSetValueExW)(key, L"One", 0, REG_DWORD, data, 4));
    EXPECT_EQ(5, BENCHED(RegSetValueExW)(key, L"two", 0, REG_DWORD, data, 4));
    EXPECT_EQ(ERROR_SUCCESS,
              BENCHED(RegQueryValueExW)(key, L"One", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(6, BENCHED(RegQueryValueExW)(key, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(7, BENCHED(RegDeleteValueW)(key, L"ONE"));
    EXPECT_EQ(ERROR_SUCCESS, BENCHED(RegDeleteValueW)(key, L"One"));
    RegCloseKey(key);
    EXPECT_EQ(8, BENCHED(RegDeleteKeyW)(HKEY_LOCAL_MACHINE, kTestKey));
    EXPECT_EQ(ERROR_SUCCESS, BENCHED(RegDeleteKeyW)(HKEY_LOCAL_MACHINE, kTestKey));
}

TEST_F(PlatformCalls, AreSelectedByPropertyFunctionAndChange) {
    const GUID network = Guid(L"{4D36E972-E325-11CE-BFC1-08002BE10318}");
    HDEVINFO set = SetupDiGetClassDevsW(&network, nullptr, nullptr, DIGCF_PRESENT);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    ASSERT_TRUE(SetupDiEnumDeviceInfo(set, 0, &device));
    BYTE text[512];
    Bench(L"fault SetupDiGetDeviceRegistryPropertyW:SPDRP_HARDWAREID 1 5");
    EXPECT_TRUE(BENCHED(SetupDiGetDeviceRegistryPropertyW)(set, &device, SPDRP_FRIENDLYNAME,
                                                           nullptr, text, sizeof(text), nullptr));
    EXPECT_FALSE(BENCHED(SetupDiGetDeviceRegistryPropertyW)(set, &device, SPDRP_HARDWAREID, nullptr,
                                                            text, sizeof(text), nullptr));
    Bench(L"fault SetupDiSetDeviceRegistryPropertyW:SPDRP_FRIENDLYNAME 1 5");
    EXPECT_FALSE(
        BENCHED(SetupDiSetDeviceRegistryPropertyW)(set, &device, SPDRP_FRIENDLYNAME, text, 4));
    Bench(L"fault SetupDiCallClassInstaller:DIF_ALLOW_INSTALL 1 77");
    BENCHED(SetupDiCallClassInstaller)(DIF_SELECTBESTCOMPATDRV, set, &device);
    EXPECT_NE(77u, GetLastError());
    EXPECT_FALSE(BENCHED(SetupDiCallClassInstaller)(DIF_ALLOW_INSTALL, set, &device));
    EXPECT_EQ(77u, GetLastError());
    Bench(L"fault SetupDiChangeState:DICS_ENABLE 1 77");
    for (DWORD change : {DICS_DISABLE, DICS_ENABLE, DICS_ENABLE}) {
        SCOPED_TRACE(change);
        SP_PROPCHANGE_PARAMS params = {
            {sizeof(SP_CLASSINSTALL_HEADER), DIF_PROPERTYCHANGE}, change, DICS_FLAG_GLOBAL, 0};
        ASSERT_TRUE(BENCHED(SetupDiSetClassInstallParamsW)(set, &device, &params.ClassInstallHeader,
                                                           sizeof(params)));
        const bool first = change == DICS_ENABLE && Calls("SetupDiChangeState:DICS_ENABLE") == 0;
        EXPECT_EQ(!first, BENCHED(SetupDiChangeState)(set, &device) != FALSE);
    }
    SetupDiDestroyDeviceInfoList(set);
}

static HANDLE OpenPort(const Machine& machine) {
    const std::wstring path = L"\\\\.\\" + machine.adapters[0].guid;
    return CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       0, nullptr);
}

static BOOL Query(HANDLE driver, DWORD oid, DWORD* returned) {
    ULONGLONG answer = 0;
    return BENCHED(DeviceIoControl)(driver, IOCTL_NDIS_QUERY_GLOBAL_STATS, &oid, sizeof(oid),
                                    &answer, sizeof(answer), returned, nullptr);
}

TEST_F(PlatformCalls, AreSelectedByOid) {
    HANDLE driver = OpenPort(machine);
    DWORD returned;
    Bench(L"fault DeviceIoControl:0x10107 1 31");
    EXPECT_TRUE(Query(driver, OID_GEN_MEDIA_CONNECT_STATUS, &returned));
    EXPECT_FALSE(Query(driver, OID_GEN_LINK_SPEED, &returned));
    EXPECT_EQ(std::vector<std::wstring>{L"DeviceIoControl:0x00010107 1"},
              Texts(Journal(), L"fault"));
    CloseHandle(driver);
}

TEST_F(PlatformCalls, AskADriverOnlyWithAPlaceForTheLength) {
    HANDLE driver = OpenPort(machine);
    DWORD returned = 0;
    EXPECT_TRUE(Query(driver, OID_GEN_LINK_SPEED, &returned));
    EXPECT_EQ(4u, returned);
    EXPECT_EQ("", Misuses());
    EXPECT_FALSE(Query(driver, OID_GEN_LINK_SPEED, nullptr));
    EXPECT_EQ(DWORD(ERROR_NOACCESS), GetLastError());
    EXPECT_EQ("DeviceIoControl: neither lpBytesReturned nor lpOverlapped\n", Misuses());
    CloseHandle(driver);
}

TEST_F(PlatformCalls, ListVolatileKeysForTheRestart) {
    const std::wstring test = kTestKey;
    ASSERT_EQ(ERROR_SUCCESS, create(test, 0));
    ASSERT_EQ(ERROR_SUCCESS, create(test + L"\\a\\b", REG_OPTION_VOLATILE));
    EXPECT_EQ((std::vector<std::wstring>{L"key-create HKLM\\" + test,
                                         L"key-create HKLM\\" + test + L"\\a\\b volatile"}),
              Lines(Journal(), {L"key-create"}));
    EXPECT_TRUE(RegistryHas(kVolatileList, test + L"\\a")) << "the topmost of the new keys";
    EXPECT_FALSE(RegistryHas(kVolatileList, test + L"\\a\\b"));
    EXPECT_FALSE(RegistryHas(kVolatileList, test));
    EXPECT_EQ(ERROR_CHILD_MUST_BE_VOLATILE, create(test + L"\\a\\c", 0));
    EXPECT_EQ(ERROR_SUCCESS, create(test + L"\\a\\c", REG_OPTION_VOLATILE));
}

TEST_F(PlatformCalls, IgnoreTheVolatileOptionOfAKeyThatExists) {
    const std::wstring test = kTestKey;
    ASSERT_EQ(ERROR_SUCCESS, create(test, 0));
    ASSERT_EQ(ERROR_SUCCESS, create(test, REG_OPTION_VOLATILE));
    EXPECT_EQ((std::vector<std::wstring>{L"HKLM\\" + test}), Texts(Journal(), L"key-create"));
    EXPECT_FALSE(RegistryHas(kVolatileList, test));
    EXPECT_EQ(ERROR_SUCCESS, create(test + L"\\stable", 0));
}

TEST_F(PlatformCalls, ForgetAVolatileKeyThatIsDeleted) {
    const std::wstring test = kTestKey;
    ASSERT_EQ(ERROR_SUCCESS, create(test, REG_OPTION_VOLATILE));
    EXPECT_TRUE(RegistryHas(kVolatileList, test));
    EXPECT_EQ(ERROR_SUCCESS, BENCHED(RegDeleteKeyW)(HKEY_LOCAL_MACHINE, kTestKey));
    EXPECT_FALSE(RegistryHas(kVolatileList, test));
    ASSERT_EQ(ERROR_SUCCESS, create(test, 0));
    EXPECT_FALSE(RegistryHas(kVolatileList, test));
}

static LRESULT CALLBACK DenyingProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    static const UINT stop = BENCHED(RegisterWindowMessageW)(L"QvTestStop");
    if (message != stop)
        return DefWindowProcW(window, message, wParam, lParam);
    ++*reinterpret_cast<int*>(lParam);
    return BROADCAST_QUERY_DENY;
}

TEST_F(PlatformCalls, RecordABroadcastWithItsFlags) {
    const UINT stop = BENCHED(RegisterWindowMessageW)(L"QvTestStop");
    DWORD recipients = BSM_APPLICATIONS;
    BENCHED(BroadcastSystemMessageW)(BSF_IGNORECURRENTTASK, &recipients, stop, 1, 2);
    EXPECT_EQ(std::vector<std::wstring>{L"QvTestStop flags=0x2 recipients=0x8 wParam=0x1 "
                                        L"lParam=0x2"},
              Texts(Journal(), L"broadcast"));
    EXPECT_EQ("", Misuses());
}

TEST_F(PlatformCalls, ReportABroadcastWithFlagsThatExcludeEachOther) {
    const UINT stop = BENCHED(RegisterWindowMessageW)(L"QvTestStop");
    for (DWORD flags : {BSF_QUERY | BSF_POSTMESSAGE, BSF_QUERY | BSF_SENDNOTIFYMESSAGE}) {
        DWORD recipients = BSM_APPLICATIONS;
        BENCHED(BroadcastSystemMessageW)(flags | BSF_IGNORECURRENTTASK, &recipients, stop, 0, 0);
        EXPECT_EQ("BroadcastSystemMessageW: BSF_QUERY with BSF_POSTMESSAGE or "
                  "BSF_SENDNOTIFYMESSAGE\n",
                  Misuses())
            << flags;
    }
    DWORD everywhere = BSM_APPLICATIONS | BSM_ALLDESKTOPS;
    BENCHED(BroadcastSystemMessageW)(BSF_IGNORECURRENTTASK, &everywhere, stop, 0, 0);
    EXPECT_EQ("BroadcastSystemMessageW: BSM_ALLDESKTOPS without SE_TCB_NAME\n", Misuses());
}

TEST_F(PlatformCalls, StopAQueryAtTheFirstWindowThatDenies) {
    const UINT stop = BENCHED(RegisterWindowMessageW)(L"QvTestStop");
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = DenyingProcedure;
    windowClass.lpszClassName = L"QvTestDenying";
    ASSERT_NE(0, RegisterClassW(&windowClass));
    HWND windows[2];
    for (HWND& window : windows)
        window = CreateWindowExW(0, L"QvTestDenying", L"", WS_OVERLAPPEDWINDOW, 0, 0, 9, 9, nullptr,
                                 nullptr, nullptr, nullptr);
    for (DWORD flags : {0ul, DWORD(BSF_QUERY)}) {
        int asked = 0;
        DWORD recipients = BSM_APPLICATIONS;
        BENCHED(BroadcastSystemMessageW)
        (flags, &recipients, stop, 0, reinterpret_cast<LPARAM>(&asked));
        EXPECT_EQ(flags == BSF_QUERY ? 1 : 2, asked);
    }
    for (HWND window : windows)
        DestroyWindow(window);
    UnregisterClassW(L"QvTestDenying", nullptr);
}

TEST_F(PlatformCalls, TellTheProductTypeOfTheMachine) {
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    const struct {
        const wchar_t* command;
        BYTE product;
    } cases[] = {{L"version 5.2", VER_NT_SERVER},
                 {L"version 5.2 workstation", VER_NT_WORKSTATION},
                 {L"version 6.1", VER_NT_WORKSTATION},
                 {L"version 10.0 server", VER_NT_SERVER}};
    for (const auto& c : cases) {
        Bench(c.command);
        ASSERT_TRUE(BENCHED(GetVersionExW)(reinterpret_cast<OSVERSIONINFOW*>(&version)));
        EXPECT_EQ(c.product, version.wProductType) << testing::PrintToString(c.command);
    }
    Bench(L"reload");
    EXPECT_NE(L"", Refused(L"version 5.2 home"));
}

TEST_F(PlatformCalls, ReadTheProductTypeFromTheMachineFile) {
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    LoadAndBuild(L"xp64.txt");
    ASSERT_TRUE(BENCHED(GetVersionExW)(reinterpret_cast<OSVERSIONINFOW*>(&version)));
    EXPECT_EQ(5u, version.dwMajorVersion);
    EXPECT_EQ(2u, version.dwMinorVersion);
    EXPECT_EQ(VER_NT_WORKSTATION, version.wProductType);
    LoadAndBuild(L"server-2003.txt");
    ASSERT_TRUE(BENCHED(GetVersionExW)(reinterpret_cast<OSVERSIONINFOW*>(&version)));
    EXPECT_EQ(VER_NT_SERVER, version.wProductType);
}
