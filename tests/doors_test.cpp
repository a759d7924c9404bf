// Ways in for somebody who may not change the machine: a user without rights, a file laid where the
// program might pick it up.
#include "harness/machine_test.h"
#include "harness/program.h"
#include "harness/scratch_folder.h"

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

    // The sheet of whatever is ticked, page by page.
    static void GoThroughTheSheet(RunningProgram* program, bool isTeam) {
        Press(program, L"1001", 1100, true);
        program->waitDialog(1101);
        program->openTab(L"Statistics", 1101, 1102);
        program->click(L"1012", 1102);
        program->click(L"1013", 1102);
        if (!isTeam) {
            CloseSheet(program, 1102);
            return;
        }
        program->openTab(L"Properties", 1102, 1103);
        HWND page = program->openTab(L"VLAN", 1103, 101);
        std::wstring error;
        HWND view = drive::FindControl(page, L"1000");
        for (int row = 0; row < drive::ListRowCount(view); row++)
            EXPECT_TRUE(drive::TickRow(view, row, true, false, &error))
                << testing::PrintToString(error);
        for (const wchar_t* button : {L"1001", L"1002"}) {
            Press(program, button, 101, true);
            ExpectBox(program, kCannotVlan);
        }
        CloseSheet(program, 101);
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
        GoThroughTheSheet(&program, false);
        program.tickRow(L"1002", 0, false);
        program.tickRow(L"1004", 0);
        GoThroughTheSheet(&program, true);
        program.tickRow(L"1002", 0);
        program.tickRow(L"1002", 1);
        PressThePagesButtons(&program);
        EXPECT_EQ(Events(), ChangesOf(&program));
        program.clickAndLeave(L"1");
        EXPECT_EQ(0u, program.waitEnd());
        EXPECT_EQ(before, MachineDump());
    }
}

class CurrentDirectory : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
        for (const wchar_t* library : kLibraries)
            folder.copyIn(L"qvplanted.dll", library);
    }

    // Planted libraries that were loaded by anybody.
    std::vector<std::wstring> Loaded() const {
        std::vector<std::wstring> loaded;
        for (const wchar_t* library : kLibraries) {
            if (folder.has(std::wstring(library) + L".loaded"))
                loaded.push_back(library);
        }
        return loaded;
    }

    // The last one exists nowhere else.
    static constexpr const wchar_t* kLibraries[] = {
        L"newdev.dll", L"setupapi.dll", L"cfgmgr32.dll",  L"comctl32.dll",
        L"psapi.dll",  L"ole32.dll",    L"netcfgx.dll",   L"uxtheme.dll",
        L"dwmapi.dll", L"version.dll",  L"cryptbase.dll", L"qvhelper.dll"};

    ScratchFolder folder = ScratchFolder(L"planted");
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
    RunningProgram program(L"", L"", folder.path());
    program.tickRow(L"1002", 0);
    program.tickRow(L"1002", 1);
    program.click(L"1003");
    program.click(L"1000");
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(1u, program.rows(L"1004").size());
    EXPECT_EQ(std::vector<std::wstring>(), Loaded());
    // What the parts of Windows in this process ask for.
    for (const wchar_t* library : kLibraries) {
        std::wstring reply;
        std::wstring error;
        EXPECT_TRUE(drive::BenchAsk(program.process().id, std::wstring(L"load ") + library, &reply,
                                    &error));
        if (library == std::end(kLibraries)[-1])
            EXPECT_EQ(L"error error 126", reply);
        EXPECT_EQ(std::wstring::npos, reply.find(folder.path())) << testing::PrintToString(reply);
    }
    EXPECT_EQ(std::vector<std::wstring>(), Loaded());
}

// The same libraries where they are looked for: this test can see them.
TEST_F(CurrentDirectory, WouldGiveThemToAProgramThatDoesNotLeaveItOut) {
    RunningProgram program(L"fault SetDllDirectoryW 1 8", L"", folder.path());
    program.waitDialog(1100);
    EXPECT_EQ(folder.path() + L"\\qvhelper.dll", program.bench(L"load qvhelper.dll"));
    EXPECT_EQ(std::vector<std::wstring>{L"qvhelper.dll"}, Loaded());
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
        EXPECT_EQ(std::vector<std::wstring>{L"\"" + system.path() + L"\\QvTray.exe\""},
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
    EXPECT_EQ(std::vector<std::wstring>{system.path() + L"\\QvTray.exe"},
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
        program.tickRow(L"1002", 0);
        program.tickRow(L"1002", 1);
        program.click(L"1003");
        program.click(L"1000");
        program.waitText(L"1009", L"Select two NICs");
        EXPECT_EQ(1u, program.rows(L"1004").size());
        EXPECT_EQ(0, ProcessesNamed(L"Program.exe"));
    }
    EXPECT_TRUE(drive::WaitUntil([&] { return DeleteFileW(copy.c_str()) != 0; }));
}
