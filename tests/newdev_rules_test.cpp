// What the installation routines of newdev.dll do with the flags, records and pointers that they are
// given, and what the program gives them.
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "harness/install.h"
#include "harness/program.h"
#include "harness/bench_device.h"

#include <cfgmgr32.h>

static const wchar_t kDi[] = L"DiInstallDevice";
static const wchar_t kSelected[] = L"InstallSelectedDriver";
static const wchar_t kUpdate[] = L"UpdateDriverForPlugAndPlayDevicesW";
constexpr DWORD kFailedInstall = 2; // CM_INSTALL_STATE_FAILED_INSTALL

class NewDev : public InstallTest {
  protected:
    void BuildFor(const std::wstring& version, const TextList& newDev, DWORD teamFlags = 0) {
        Load(L"two-ports");
        machine.windows = version;
        machine.newDev = newDev;
        machine.teamFlags = teamFlags;
        Build();
    }
    static BOOL InstallNow(BenchDevice* device, DWORD flags, PBOOL needReboot,
                           PSP_DRVINFO_DATA_W driver = nullptr) {
        return BENCHED(DiInstallDevice)(nullptr, device->set(), device->data(), driver, flags,
                                        needReboot);
    }
    static BOOL UpdateNow(const std::wstring& inf, DWORD flags, PBOOL reboot) {
        return BENCHED(UpdateDriverForPlugAndPlayDevicesW)(nullptr, MINIPORT_HARDWARE_ID,
                                                           inf.c_str(), flags, reboot);
    }
    static TextList Prompts() {
        return Texts(Journal(), L"restart-prompt");
    }
    static DWORD InstallState(BenchDevice* device) {
        DWORD state = 99;
        EXPECT_TRUE(BENCHED(SetupDiGetDeviceRegistryPropertyW)(
            device->set(), device->data(), SPDRP_INSTALL_STATE, nullptr,
            reinterpret_cast<BYTE*>(&state), sizeof(state), nullptr));
        return state;
    }
};

class DiInstallDeviceRule : public NewDev {};
class UpdateDriverRule : public NewDev {};
class RestartPrompt : public NewDev {};

TEST_F(DiInstallDeviceRule, NullDriverTakesTheDriverAway) {
    BuildFor(L"10.0", {kDi});
    BenchDevice device;
    EXPECT_TRUE(InstallNow(&device, 0, nullptr));
    EXPECT_EQ(0u, InstallState(&device));
    const std::string driver = "device\\ROOT\\NET\\0000\\driver";
    EXPECT_NE(0u, DumpLines(MachineDump(), driver).size());
    SP_DRVINFO_DATA_W unread = {}; // a record that another flag would have refused
    EXPECT_TRUE(InstallNow(&device, DIIDFLAG_INSTALLNULLDRIVER, nullptr, &unread));
    EXPECT_EQ(kFailedInstall, InstallState(&device));
    EXPECT_EQ(0u, DumpLines(MachineDump(), driver).size());
    EXPECT_EQ(0u, DumpLines(MachineDump(), "device\\ROOT\\NET\\0000\\enum\\Service").size());
    EXPECT_EQ(INVALID_HANDLE_VALUE, device.openKey(DICS_FLAG_GLOBAL, 0));
    EXPECT_EQ(L"ROOT\\NET\\0000 route=DiInstallDevice null driver",
              Texts(Journal(), L"device-install").back());
}

TEST_F(DiInstallDeviceRule, RefusesUnknownFlagsAndRecordsOfAnotherSize) {
    BuildFor(L"10.0", {kDi});
    BenchDevice device;
    EXPECT_REFUSED(ERROR_INVALID_FLAGS, InstallNow(&device, 0x10, nullptr));
    SP_DRVINFO_DATA_W driver = {};
    EXPECT_REFUSED(ERROR_INVALID_USER_BUFFER, InstallNow(&device, 0, nullptr, &driver));
    driver.cbSize = sizeof(driver);
    EXPECT_REFUSED(ERROR_NO_DRIVER_SELECTED, InstallNow(&device, 0, nullptr, &driver));
    EXPECT_EQ(TextList{}, Texts(Journal(), L"device-install"));
}

TEST_F(DiInstallDeviceRule, PromptsOnlyWhenARestartIsDueAndNobodyTakesTheAnswer) {
    for (DWORD flags : {0L, DI_NEEDRESTART, DI_NEEDREBOOT}) {
        SCOPED_TRACE(flags);
        BuildFor(L"10.0", {kDi}, flags);
        BenchDevice device;
        BOOL needReboot = 99;
        EXPECT_TRUE(InstallNow(&device, 0, &needReboot));
        EXPECT_EQ(flags != 0, needReboot);
        EXPECT_EQ(TextList{}, Prompts());
        EXPECT_TRUE(InstallNow(&device, 0, nullptr));
        EXPECT_EQ(flags ? TextList{L"DiInstallDevice -> IDNO"} : TextList{}, Prompts());
    }
}

TEST_F(UpdateDriverRule, PromptsOnlyWhenARestartIsDueAndNobodyTakesTheAnswer) {
    for (DWORD flags : {0L, DI_NEEDREBOOT}) {
        SCOPED_TRACE(flags);
        BuildFor(L"10.0", {kUpdate}, flags);
        BenchDevice device;
        BOOL needReboot = 99;
        EXPECT_TRUE(UpdateNow(OemInf(), INSTALLFLAG_FORCE, &needReboot));
        EXPECT_EQ(flags != 0, needReboot);
        EXPECT_EQ(TextList{}, Prompts());
        EXPECT_TRUE(UpdateNow(OemInf(), INSTALLFLAG_FORCE, nullptr));
        EXPECT_EQ(flags ? TextList{L"UpdateDriverForPlugAndPlayDevices -> IDNO"} : TextList{},
                  Prompts());
    }
}

TEST_F(UpdateDriverRule, RefusesWhatMatchesNoPresentDeviceOrIsNoBetter) {
    BuildFor(L"10.0", {kUpdate});
    EXPECT_REFUSED(ERROR_NO_SUCH_DEVINST, UpdateNow(OemInf(), INSTALLFLAG_FORCE, nullptr));
    BenchDevice device;
    RegistrySet(L"Software\\QvBench\\Devices\\ROOT#NET#0000", MachineValue::Number(L"Present", 0));
    EXPECT_REFUSED(ERROR_NO_SUCH_DEVINST, UpdateNow(OemInf(), INSTALLFLAG_FORCE, nullptr));
    RegistrySet(L"Software\\QvBench\\Devices\\ROOT#NET#0000", MachineValue::Number(L"Present", 1));
    EXPECT_REFUSED(ERROR_INVALID_FLAGS, UpdateNow(OemInf(), 8, nullptr));
    EXPECT_REFUSED(ERROR_FILE_NOT_FOUND, UpdateNow(L"oem3.inf", INSTALLFLAG_FORCE, nullptr));
    EXPECT_TRUE(UpdateNow(OemInf(), 0, nullptr));
    EXPECT_REFUSED(ERROR_NO_MORE_ITEMS, UpdateNow(OemInf(), 0, nullptr));
    EXPECT_EQ(1u, Texts(Journal(), L"device-install").size());
}

TEST_F(RestartPrompt, IsAnsweredByTheBench) {
    BuildFor(L"10.0", {kDi}, DI_NEEDREBOOT);
    Bench(L"restart-prompt IDYES");
    BenchDevice device;
    EXPECT_TRUE(InstallNow(&device, 0, nullptr));
    Bench(L"restart-prompt IDNO");
    EXPECT_TRUE(InstallNow(&device, 0, nullptr));
    EXPECT_EQ((TextList{L"DiInstallDevice -> IDYES", L"DiInstallDevice -> IDNO"}), Prompts());
    EXPECT_EQ(0, BenchCommand(L"restart-prompt IDOK", nullptr, 0));
}

// The program asks for nothing by itself, so the prompt is left to Windows.
TEST_F(RestartPrompt, IsLeftToWindowsWhenANewAdapterNeedsARestart) {
    for (const wchar_t* route : {kDi, kUpdate}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(route)));
        BuildFor(L"10.0", {route}, DI_NEEDREBOOT);
        EXPECT_EQ(INSTALL_OK, Run(L"Team0").result);
        EXPECT_EQ(1u, Prompts().size());
        EXPECT_EQ(TextList{}, Misuse());
    }
}

TEST_F(RestartPrompt, IsNotShownWhereTheProgramTakesTheAnswer) {
    BuildFor(L"5.2", {kSelected, kDi}, DI_NEEDREBOOT);
    EXPECT_EQ(INSTALL_OK, Run(L"Team0").result);
    EXPECT_EQ(TextList{}, Prompts());
}

TEST_F(RestartPrompt, IsAnsweredByTheUserWhenItIsShown) {
    BuildFor(L"10.0", {kDi}, DI_NEEDREBOOT);
    RunningProgram program;
    program.chooseTwo();
    program.bench(L"restart-prompt real");
    program.clickAndLeave(L"1000");
    HWND box = nullptr;
    ASSERT_TRUE(drive::WaitUntil([&] {
        box = drive::FindCaption(program.process().id, L"System Settings Change");
        return box != nullptr;
    }));
    std::wstring error;
    EXPECT_TRUE(drive::ClickControl(drive::FindControl(box, L"7"), true, &error))
        << testing::PrintToString(error);
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(TextList{L"DiInstallDevice -> IDNO"}, Texts(program.journal(), L"restart-prompt"));
}
