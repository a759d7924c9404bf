// Ways in for somebody who may not change the machine: a user without rights, a file laid where the
// program might pick it up.
#include "harness/machine_test.h"
#include "harness/program.h"
#include "harness/scratch_folder.h"
#include "harness/tray.h"

#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/pipe.h"
#include "drive/wait.h"
#include "drive/window.h"

static const wchar_t kCannotCreate[] =
    L"User should have Admin privilege to be   \r\nable to create";
static const wchar_t kCannotRemove[] =
    L"User should have Admin privilege to be   \r\nable to remove";
static const std::wstring kCannotVlan = L"Please login as Administrator to create or remove vlans";

class StandardUser : public MachineTest {
  protected:
    // Presses a control, also one that the program has not enabled.
    static void Press(RunningProgram* program, const std::wstring& name, int dialog = 1100,
                      bool leave = false) {
        HWND control = program->control(name, dialog);
        if (!IsWindowEnabled(control))
            EnableWindow(control, TRUE);
        if (leave)
            program->clickAndLeave(name, dialog);
        else
            program->click(name, dialog);
    }

    static void ExpectBox(RunningProgram* program, const std::wstring& expected) {
        std::wstring text;
        std::wstring error;
        HWND box = nullptr;
        EXPECT_TRUE(drive::WaitUntil([&] {
            return (box = drive::FindMessageBox(program->process().id, &text)) != nullptr;
        })) << "no message box";
        EXPECT_EQ(expected, text);
        EXPECT_TRUE(drive::PressKey(box, L"Enter", true, &error)) << testing::PrintToString(error);
        EXPECT_TRUE(drive::WaitUntil(
            [&] { return drive::FindMessageBox(program->process().id, &text) == nullptr; }));
    }

    // Every button and box of the page that does not open a sheet.
    static void PressThePagesButtons(RunningProgram* program) {
        for (const wchar_t* mode : {L"1003", L"1006", L"1007", L"1010"}) {
            Press(program, mode);
            program->waitGone(1104);
            Press(program, L"1000");
            program->waitText(L"1009", kCannotCreate);
            program->waitGone(1104);
        }
        Press(program, L"1005");
        program->waitText(L"1009", kCannotRemove);
        program->waitGone(1104);
        for (const wchar_t* button : {L"1018", L"1019", L"1011", L"1011"})
            Press(program, button);
    }

    static void CloseSheet(RunningProgram* program, int page) {
        std::wstring error;
        HWND sheet = GetAncestor(program->waitDialog(page), GA_ROOT);
        EXPECT_TRUE(drive::ClickControl(drive::FindControl(sheet, L"1"), true, &error))
            << testing::PrintToString(error);
        program->waitGone(page);
    }

    // The pages that a sheet has behind the first two.
    enum Further { NOTHING, VLANS, TEAM_AND_VLANS };

    // The sheet of whatever is ticked, page by page.
    static void GoThroughTheSheet(RunningProgram* program, Further further) {
        if (drive::FindDialog(program->process().id, 1101) == nullptr)
            Press(program, L"1001", 1100, true);
        program->waitDialog(1101);
        program->openTab(L"Statistics", 1101, 1102);
        program->click(L"1012", 1102);
        program->click(L"1013", 1102);
        if (further == NOTHING) {
            CloseSheet(program, 1102);
            return;
        }
        if (further == TEAM_AND_VLANS)
            program->openTab(L"Properties", 1102, 1103);
        TickVlans(program->openTab(L"VLAN", further == TEAM_AND_VLANS ? 1103 : 1102, 101));
        for (const wchar_t* button : {L"1001", L"1002"}) {
            Press(program, button, 101, true);
            ExpectBox(program, kCannotVlan);
        }
        CloseSheet(program, 101);
    }

    static void TickVlans(HWND page) {
        std::wstring error;
        HWND view = drive::FindControl(page, L"1000");
        for (int row = 0; row < drive::ListRowCount(view); row++)
            EXPECT_TRUE(drive::TickRow(view, row, true, false, &error))
                << testing::PrintToString(error);
    }

    // A button of the VLAN page is told of by a code that is no click, and the page asks nobody's name.
    static void DoubleClick(RunningProgram* program, const wchar_t* button) {
        HWND control = program->control(button, 101);
        PostMessageW(program->waitDialog(101), WM_COMMAND,
                     MAKEWPARAM(GetDlgCtrlID(control), BN_DOUBLECLICKED),
                     reinterpret_cast<LPARAM>(control));
    }

    // The work that was asked for is over: the program takes in messages again.
    static void WaitDone(RunningProgram* program) {
        std::wstring error;
        program->waitGone(1104);
        EXPECT_TRUE(drive::WaitIdle(program->waitDialog(101), &error))
            << testing::PrintToString(error);
    }

    static void AddVlanAnyway(RunningProgram* program) {
        std::wstring error;
        DoubleClick(program, L"1001");
        program->waitDialog(102);
        EXPECT_TRUE(drive::TypeText(program->control(L"1003", 102), L"77", &error));
        EXPECT_TRUE(drive::TypeText(program->control(L"1004", 102), L"Door", &error));
        program->clickAndLeave(L"1", 102);
        ExpectBox(program, L"Failed to add vlan. Error=0x5");
        WaitDone(program);
    }

    static void RemoveVlansAnyway(RunningProgram* program) {
        program->bench(L"message-box IDOK all");
        const std::wstring asked = program->bench(L"calls MessageBoxW");
        DoubleClick(program, L"1002");
        EXPECT_TRUE(
            drive::WaitUntil([&] { return program->bench(L"calls MessageBoxW") != asked; }));
        WaitDone(program);
        program->bench(L"message-box real");
    }

    // What the program did to the machine, as the bench saw it.
    static Events ChangesOf(RunningProgram* program) {
        Events changes;
        for (const Event& event : Changes(program->journal())) {
            if (event.kind != L"broadcast")
                changes.push_back(event);
        }
        return changes;
    }
};

TEST_F(StandardUser, ChangesNothingThroughAnyButton) {
    LoadAndBuild(L"not-admin.txt");
    const std::string before = MachineDump();
    {
        RunningProgram program(L"answer GetSystemDirectoryW Z:\\no\\such\\folder");
        program.waitDialog(1100);
        EXPECT_TRUE(program.rows(L"1002").empty()) << "driver keys open for an administrator only";
        PressThePagesButtons(&program);
        Press(&program, L"1001");
        EXPECT_EQ(Events(), ChangesOf(&program));
        program.clickAndLeave(L"1");
        EXPECT_EQ(0u, program.waitEnd());
    }
    EXPECT_EQ(before, MachineDump());
}

// Who loses the right while the program shows the machine has rows to choose from.
TEST_F(StandardUser, ChangesNothingOnAMachineThatIsShown) {
    for (const wchar_t* name : {L"three-teams.txt", L"team-vlans.txt"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        LoadAndBuild(name);
        const std::string before = MachineDump();
        RunningProgram program(L"answer GetSystemDirectoryW Z:\\no\\such\\folder");
        program.waitDialog(1100);
        EXPECT_LE(2u, program.rows(L"1002").size());
        EXPECT_LE(1u, program.rows(L"1004").size());
        program.bench(L"admin 0");
        program.tickRow(L"1002", 0);
        GoThroughTheSheet(&program, NOTHING);
        program.tickRow(L"1002", 0, false);
        program.tickRow(L"1004", 0);
        GoThroughTheSheet(&program, TEAM_AND_VLANS);
        program.tickRow(L"1002", 0);
        program.tickRow(L"1002", 1);
        PressThePagesButtons(&program);
        EXPECT_EQ(Events(), ChangesOf(&program));
        program.clickAndLeave(L"1");
        EXPECT_EQ(0u, program.waitEnd());
        EXPECT_EQ(before, MachineDump());
    }
}

// A VLAN page with VLANs on it and one without, of a team and of an adapter that cannot be teamed.
class StandardUserOfVlans : public StandardUser {
  protected:
    void BuildWith(bool onTeam, bool withVlans) {
        Load(onTeam ? L"team-vlans.txt" : L"xp-offload.txt");
        machine.vlans.clear();
        if (withVlans)
            machine.vlans = {Vlan(onTeam ? L"team0" : L"port0", 10),
                             Vlan(onTeam ? L"team0" : L"port0", 20)};
        Build();
    }

    // Where connection offload is on, only an administrator is shown an adapter's VLAN page.
    static void OpenSheet(RunningProgram* program, bool onTeam) {
        program->tickRow(onTeam ? L"1004" : L"1002", 0);
        program->clickAndLeave(L"1001");
        program->waitDialog(1101);
    }
    // Gives the machine's dump.
    static std::string LoseTheRight(RunningProgram* program) {
        program->bench(L"admin 0");
        // The server of the network configuration knows only the machine's own rule.
        program->bench(L"fault INetCfgLock::AcquireWriteLock 1 0x80070005 all");
        program->bench(L"journal-clear");
        return MachineDump();
    }

  private:
    static MachineVlan Vlan(const wchar_t* host, DWORD id) {
        MachineVlan vlan;
        vlan.name = L"vlan" + std::to_wstring(id);
        vlan.host = host;
        vlan.id = id;
        vlan.vlanName = vlan.name;
        vlan.guid = L"{C0000000-0000-4000-8000-0000000000" + std::to_wstring(id) + L"}";
        vlan.address = L"02515600AB" + std::to_wstring(id);
        return vlan;
    }
};

TEST_F(StandardUserOfVlans, ChangesNothingByClicks) {
    BuildWith(false, true);
    RunningProgram program;
    OpenSheet(&program, false);
    const std::string before = LoseTheRight(&program);
    GoThroughTheSheet(&program, VLANS);
    EXPECT_EQ(std::vector<std::wstring>(), Lines(ChangesOf(&program)));
    EXPECT_EQ(before, MachineDump());
}

// The page asks who the user is for clicks only; behind it Windows does.
TEST_F(StandardUserOfVlans, ChangesNothingByWhatIsNoClick) {
    for (bool onTeam : {true, false}) {
        for (bool withVlans : {true, false}) {
            SCOPED_TRACE(std::string(onTeam ? "team" : "adapter") +
                         (withVlans ? " with VLANs" : ""));
            BuildWith(onTeam, withVlans);
            RunningProgram program;
            OpenSheet(&program, onTeam);
            HWND page = program.openTab(L"VLAN", 1101, 101);
            const int rows = drive::ListRowCount(drive::FindControl(page, L"1000"));
            EXPECT_EQ(withVlans ? 2 : 0, rows);
            const std::string before = LoseTheRight(&program);
            AddVlanAnyway(&program);
            if (withVlans) {
                TickVlans(page);
                RemoveVlansAnyway(&program);
            }
            EXPECT_EQ(rows, drive::ListRowCount(drive::FindControl(page, L"1000")));
            EXPECT_EQ(std::vector<std::wstring>(), Lines(ChangesOf(&program)));
            EXPECT_EQ(before, MachineDump());
        }
    }
}

class CurrentDirectory : public MachineTest {
  protected:
    using Names = std::vector<std::wstring>;

    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
    }
    void TearDown() override {
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSessionManager, kSafeSearch);
        MachineTest::TearDown();
    }
    void Plant(const Names& libraries) {
        for (const std::wstring& library : libraries)
            folder.copyIn(L"qvplanted.dll", library);
    }
    // The oldest Windows looks into the current directory before its own folders.
    static void SearchAsTheOldestWindows() {
        RegistrySet(kSessionManager, MachineValue::Number(kSafeSearch, 0));
    }
    static void CreateTeamIn(RunningProgram* program) {
        program->chooseTwo();
        program->click(L"1000");
        program->waitText(L"1009", L"Select two NICs");
        EXPECT_EQ(1u, program->rows(L"1004").size());
    }

    // Planted libraries whose code was run by anybody.
    Names Run(const Names& planted) const {
        Names run;
        for (const std::wstring& library : planted) {
            if (folder.has(library + L".loaded"))
                run.push_back(library);
        }
        return run;
    }
    // Those that the parts of Windows in the program get from the folder when they ask for them.
    Names Given(RunningProgram* program, const Names& planted) const {
        Names given;
        for (const std::wstring& library : planted) {
            std::wstring reply;
            std::wstring error;
            EXPECT_TRUE(drive::BenchAsk(program->process().id, L"load " + library, &reply, &error));
            if (reply.find(folder.path()) != std::wstring::npos)
                given.push_back(library);
        }
        return given;
    }

    // Loaded before the program's first instruction, which has no say in it: planted for the search that
    // is usual today.
    const Names kImported = {L"setupapi.dll", L"comctl32.dll", L"psapi.dll",
                             L"ole32.dll",    L"uxtheme.dll",  L"version.dll"};
    // Asked for when they are needed. The last one exists nowhere else.
    const Names kNeeded = {L"newdev.dll", L"cfgmgr32.dll",  L"netcfgx.dll",
                           L"dwmapi.dll", L"cryptbase.dll", L"qvhelper.dll"};

    ScratchFolder folder = ScratchFolder(L"planted");

  private:
    static constexpr wchar_t kSessionManager[] =
        L"System\\CurrentControlSet\\Control\\Session Manager";
    static constexpr wchar_t kSafeSearch[] = L"SafeDllSearchMode";
};

TEST_F(CurrentDirectory, IsLeftOutBeforeAnythingElse) {
    RunningProgram program(L"hold SetDllDirectoryW 1");
    ASSERT_TRUE(
        drive::WaitUntil([&] { return program.bench(L"held") == L"yes SetDllDirectoryW"; }));
    for (const wchar_t* later : {L"EnumProcesses", L"calloc", L"MessageBoxW", L"LoadLibraryW",
                                 L"RegisterWindowMessageW", L"VirtualAlloc", L"PropertySheetW"})
        EXPECT_EQ(L"0", program.bench(std::wstring(L"calls ") + later))
            << testing::PrintToString(std::wstring(later));
    program.bench(L"release");
    program.waitDialog(1100);
    EXPECT_EQ(L"1", program.bench(L"calls SetDllDirectoryW"));
}

TEST_F(CurrentDirectory, ThatCannotBeLeftOutIsNoReasonNotToStart) {
    RunningProgram program(L"fault SetDllDirectoryW 1 8");
    program.waitDialog(1100);
}

TEST_F(CurrentDirectory, GivesNoLibraryToTheProgram) {
    for (const Names& planted : {kImported, kNeeded}) {
        Plant(planted);
        RunningProgram program(L"", L"", folder.path());
        CreateTeamIn(&program);
        EXPECT_EQ(Names(), Given(&program, planted));
        EXPECT_EQ(Names(), Run(planted));
        LoadAndBuild(L"two-ports.txt");
    }
}

TEST_F(CurrentDirectory, GivesNoLibraryToTheProgramOnTheOldestWindows) {
    Plant(kNeeded);
    SearchAsTheOldestWindows();
    RunningProgram program(L"", L"", folder.path());
    CreateTeamIn(&program);
    EXPECT_EQ(Names(), Given(&program, kNeeded));
    EXPECT_EQ(Names(), Run(kNeeded));
}

// The same libraries where they are looked for: these tests can see each of them. Of the ones that Wine
// has built in, it runs its own code under the planted name, so those leave no mark.
TEST_F(CurrentDirectory, WouldGiveThemToAProgramThatDoesNotLeaveItOut) {
    Plant(kNeeded);
    SearchAsTheOldestWindows();
    RunningProgram program(L"fault SetDllDirectoryW 1 8", L"", folder.path());
    CreateTeamIn(&program);
    EXPECT_EQ(kNeeded, Given(&program, kNeeded));
    EXPECT_EQ((Names{L"netcfgx.dll", L"dwmapi.dll", L"cryptbase.dll", L"qvhelper.dll"}),
              Run(kNeeded));
}

// What no folder of Windows has is taken from there today, too.
TEST_F(CurrentDirectory, WouldGiveWhatIsMissingOnTheNewestWindows) {
    Plant(kNeeded);
    RunningProgram program(L"fault SetDllDirectoryW 1 8", L"", folder.path());
    CreateTeamIn(&program);
    const Names missing = {L"cryptbase.dll", L"qvhelper.dll"};
    EXPECT_EQ(missing, Given(&program, kNeeded));
    EXPECT_EQ(missing, Run(kNeeded));
}

class BlanksInPaths : public MachineTest {
  protected:
    // A tray program that has no window yet does not hear that it should quit.
    static void ExpectTrayListens() {
        EXPECT_TRUE(
            drive::WaitUntil([] { return FindWindowW(L"QvTrayWindow", L"QvTray") != nullptr; }));
        EXPECT_EQ(1, ProcessesNamed(L"QvTray.exe"));
    }
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
    }
};

TEST_F(BlanksInPaths, StartNoProgramThatAPathOnlyBeginsWith) {
    // C:\Program.exe, C:\Program Files\Qv.exe and the tray program itself.
    PlantedFile planted(L"QvTray.exe", L"C:\\Program.exe");
    ScratchFolder files(L"Program Files", L"C:\\");
    files.copyIn(L"QvTray.exe", L"Qv.exe");
    ScratchFolder system(L"Qv System 64", files.path() + L"\\");
    system.copyIn(L"QvTray.exe", L"QvTray.exe");
    for (const wchar_t* end : {L"", L"\\"}) {
        RunningProgram program(L"answer GetSystemDirectoryW " + system.path() + end);
        program.click(L"1011");
        EXPECT_EQ(std::vector<std::wstring>{TrayStart(L"\"" + system.path() + L"\\QvTray.exe\"")},
                  Texts(program.journal(), L"process-start"));
        ExpectTrayListens();
        EXPECT_EQ(0, ProcessesNamed(L"Program.exe"));
        EXPECT_EQ(0, ProcessesNamed(L"Qv.exe"));
        program.click(L"1011");
        EXPECT_TRUE(drive::WaitUntil([] { return ProcessesNamed(L"QvTray.exe") == 0; }));
    }
}

// The name that is asked for is that of the whole path, or nothing is started.
TEST_F(BlanksInPaths, StartNothingElseWhenTheTrayProgramIsMissing) {
    PlantedFile planted(L"QvTray.exe", L"C:\\Program.exe");
    RunningProgram program(L"answer GetSystemDirectoryW C:\\Program Files\\No such system");
    program.click(L"1011");
    EXPECT_EQ(L"1", program.bench(L"calls CreateProcessW"));
    EXPECT_EQ(std::vector<std::wstring>(), Texts(program.journal(), L"process-start"));
    EXPECT_EQ(0, ProcessesNamed(L"Program.exe"));
}

TEST_F(BlanksInPaths, LeaveThePathOfAnOrdinarySystemAsItIs) {
    ScratchFolder system(L"sys64");
    system.copyIn(L"QvTray.exe", L"QvTray.exe");
    RunningProgram program(L"answer GetSystemDirectoryW " + system.path());
    program.click(L"1011");
    EXPECT_EQ(std::vector<std::wstring>{TrayStart(system.path() + L"\\QvTray.exe")},
              Texts(program.journal(), L"process-start"));
    ExpectTrayListens();
    program.click(L"1011");
    EXPECT_TRUE(drive::WaitUntil([] { return ProcessesNamed(L"QvTray.exe") == 0; }));
}

TEST_F(BlanksInPaths, OfTheProgramItselfAreNoMatter) {
    PlantedFile planted(L"QvTray.exe", L"C:\\Program.exe");
    ScratchFolder folder(L"Program Files", L"C:\\");
    const std::wstring copy = folder.path() + L"\\QvTeamCfg.exe";
    ASSERT_TRUE(CopyFileW(ProgramPath().c_str(), copy.c_str(), FALSE));
    {
        RunningProgram program(L"", copy, folder.path());
        program.waitDialog(1100);
        program.chooseTwo();
        program.click(L"1000");
        program.waitText(L"1009", L"Select two NICs");
        EXPECT_EQ(1u, program.rows(L"1004").size());
        EXPECT_EQ(0, ProcessesNamed(L"Program.exe"));
    }
    EXPECT_TRUE(drive::WaitUntil([&] { return DeleteFileW(copy.c_str()) != 0; }));
}
