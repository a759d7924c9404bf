// How the program starts and ends: one copy, its four refusals, the sheet, and the tray program beside it.
#include "harness/machine_test.h"
#include "harness/program.h"
#include "harness/scratch_folder.h"
#include "harness/tray.h"

#include "app/processes.h"
#include "app/tray.h"
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "inventory/tables.h"

#include <fstream>

// A process of this name, from a folder of its own.
class IdleProgram {
  public:
    explicit IdleProgram(const std::wstring& name) {
        std::wstring error;
        EXPECT_TRUE(drive::ProgramStartIdle(OwnFolder() + L"QvTray.exe", name, &program_, &error))
            << testing::PrintToString(error);
    }
    ~IdleProgram() {
        drive::ProgramEnd(&program_);
    }
    IdleProgram(const IdleProgram&) = delete;
    IdleProgram& operator=(const IdleProgram&) = delete;

  private:
    drive::Program program_;
};

// A folder that stands for the system directory and has the tray program in it.
class TrayFolder {
  public:
    TrayFolder() {
        wchar_t temp[MAX_PATH];
        GetTempPathW(MAX_PATH, temp);
        path = std::wstring(temp) + L"qvsys" + std::to_wstring(GetCurrentProcessId());
        CreateDirectoryW(path.c_str(), nullptr);
        EXPECT_TRUE(CopyFileW((OwnFolder() + L"QvTray.exe").c_str(), tray().c_str(), FALSE));
    }
    // Ends the tray program by the message that it listens to, as soon as it listens.
    ~TrayFolder() {
        const UINT message = RegisterWindowMessageW(L"TermQvTray");
        EXPECT_TRUE(drive::WaitUntil([message] {
            if (HWND tray = FindWindowW(L"QvTrayWindow", L"QvTray"))
                PostMessageW(tray, message, 0, 0);
            return ProcessesNamed(L"QvTray.exe") == 0;
        }));
        EXPECT_TRUE(drive::WaitUntil([this] { return DeleteFileW(tray().c_str()) != 0; }));
        RemoveDirectoryW(path.c_str());
    }
    TrayFolder(const TrayFolder&) = delete;
    TrayFolder& operator=(const TrayFolder&) = delete;

    std::wstring tray() const {
        return path + L"\\QvTray.exe";
    }
    std::wstring path;
};

class StartUp : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
    }

    // The program's message box with this text.
    HWND waitBox(RunningProgram* program, const wchar_t* expected) {
        std::wstring text;
        HWND box = nullptr;
        EXPECT_TRUE(drive::WaitUntil([&] {
            return (box = drive::FindMessageBox(program->process().id, &text)) != nullptr;
        })) << "no message box";
        EXPECT_EQ(expected, text);
        return box;
    }

    static std::vector<std::wstring> captionsOf(HWND dialog, const wchar_t* kind) {
        std::vector<std::wstring> captions;
        for (HWND child : drive::Children(dialog)) {
            if (drive::ClassOf(child) == kind && IsWindowVisible(child))
                captions.push_back(drive::TextOf(child));
        }
        return captions;
    }

    void pressOk(HWND box) {
        std::wstring error;
        EXPECT_TRUE(drive::ClickControl(drive::FindControl(box, L"Button"), true, &error))
            << testing::PrintToString(error);
    }

    // The refusal of a program that was started with these commands.
    void expectRefusal(const std::wstring& commands, const wchar_t* text) {
        std::wstring journal = OwnFolder() + L"startup-journal.txt";
        DeleteFileW(journal.c_str());
        RunningProgram program(L"journal " + journal + L";" + commands);
        HWND box = waitBox(&program, text);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(nullptr, GetWindow(box, GW_OWNER));
        EXPECT_EQ(1u, captionsOf(box, L"Button").size());
        EXPECT_EQ(nullptr, drive::FindDialog(program.process().id, 1100));
        pressOk(box);
        EXPECT_EQ(0u, program.waitEnd());
        // The null caption is the system's own to replace.
        EXPECT_EQ((std::vector<std::wstring>{L"message-box (null) \"" + std::wstring(text) +
                                             L"\" type=0x0 -> IDOK"}),
                  readJournal(journal, L"message-box"));
        DeleteFileW(journal.c_str());
    }

    static std::vector<std::wstring> readJournal(const std::wstring& path, const wchar_t* kind) {
        std::ifstream in(path.c_str(), std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        return Lines(ParseJournal(std::wstring(text.begin(), text.end())), {kind});
    }
};

TEST_F(StartUp, ShowsOnePageUnderTheSheetsCaption) {
    RunningProgram program;
    HWND page = program.waitDialog(1100);
    HWND sheet = GetAncestor(page, GA_ROOT);
    EXPECT_EQ(L"Quovane Configuration Utility", drive::TextOf(sheet));
    EXPECT_EQ(nullptr, GetWindow(sheet, GW_OWNER));
    HWND tabs = drive::FindControl(sheet, L"SysTabControl32");
    ASSERT_NE(tabs, nullptr);
    EXPECT_EQ(std::vector<std::wstring>{L"Quovane Teaming"}, drive::TabCaptions(tabs, nullptr));
}

TEST_F(StartUp, HasNoApplyButton) {
    RunningProgram program;
    HWND sheet = GetAncestor(program.waitDialog(1100), GA_ROOT);
    EXPECT_EQ((std::vector<std::wstring>{L"OK", L"Cancel"}), captionsOf(sheet, L"Button"));
}

TEST_F(StartUp, EndsWithZeroHoweverTheSheetIsClosed) {
    for (const wchar_t* button : {L"1", L"2"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(button)));
        RunningProgram program;
        program.clickAndLeave(button);
        EXPECT_EQ(0u, program.waitEnd());
    }
    for (const wchar_t* key : {L"Escape", L"Enter"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(key)));
        RunningProgram program;
        std::wstring error;
        HWND page = program.waitDialog(1100);
        EXPECT_TRUE(drive::PressKey(page, key, true, &error)) << testing::PrintToString(error);
        EXPECT_EQ(0u, program.waitEnd());
    }
}

TEST_F(StartUp, ReleasesItsStateWhenTheSheetIsClosed) {
    // Behind the release only the trace is left to stop at, so this is the build that has one.
    for (const wchar_t* button : {L"1", L"2"}) {
        RunningProgram program(L"", OwnFolder() + L"QvTeamCfg.exe");
        program.waitDialog(1100);
        if (program.bench(L"calls OutputDebugStringW") == L"0")
            GTEST_SKIP() << "the executable beside the tests has no trace";
        EXPECT_NE(std::wstring::npos, program.bench(L"open").find(L"pages=1"));
        program.bench(L"hold VirtualFree 1");
        program.clickAndLeave(button);
        ASSERT_TRUE(drive::WaitUntil([&] { return program.bench(L"held") == L"yes VirtualFree"; }));
        program.bench(L"hold OutputDebugStringW 1");
        program.bench(L"release");
        ASSERT_TRUE(
            drive::WaitUntil([&] { return program.bench(L"held") == L"yes OutputDebugStringW"; }));
        EXPECT_NE(std::wstring::npos, program.bench(L"open").find(L"pages=0"));
        EXPECT_EQ(0u, program.releaseAndWait());
    }
}

TEST_F(StartUp, RefusesASecondCopyWithoutTouchingTheFirst) {
    RunningProgram first;
    HWND page = first.waitDialog(1100);
    first.bench(L"journal-clear");
    expectRefusal(L"", L"Another Instance of the app is already running");
    EXPECT_EQ(page, first.waitDialog(1100));
    EXPECT_TRUE(IsWindowEnabled(GetAncestor(page, GA_ROOT)));
    EXPECT_TRUE(first.journal().empty());
    first.clickAndLeave(L"2");
    EXPECT_EQ(0u, first.waitEnd());
}

TEST_F(StartUp, TakesAProcessOfItsNameFromAnotherFolderForASecondCopy) {
    IdleProgram other(L"QvTeamCfg.exe");
    expectRefusal(L"", L"Another Instance of the app is already running");
}

TEST_F(StartUp, TakesItsNameInAnyLetterCaseForASecondCopy) {
    IdleProgram other(L"QVTEAMCFG.exe");
    expectRefusal(L"", L"Another Instance of the app is already running");
}

TEST_F(StartUp, DoesNotNoticeACopyOfAnotherName) {
    IdleProgram other(L"QvTeamCfg2.exe");
    RunningProgram program;
    program.waitDialog(1100);
    std::wstring renamed = OwnFolder() + L"Renamed.exe";
    ASSERT_TRUE(CopyFileW(ProgramPath().c_str(), renamed.c_str(), FALSE));
    {
        RunningProgram second(L"", renamed);
        second.waitDialog(1100);
    }
    EXPECT_TRUE(DeleteFileW(renamed.c_str()));
}

TEST_F(StartUp, StartsWhenTheProcessesCannotBeListed) {
    IdleProgram other(L"QvTeamCfg.exe");
    for (const wchar_t* fault :
         {L"fault EnumProcesses 1 5", L"fault calloc 1 8", L"fault OpenProcess 1 5 all"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        RunningProgram program(fault);
        program.waitDialog(1100);
    }
}

TEST_F(StartUp, RefusesWithoutItsWindowMessage) {
    expectRefusal(L"fault RegisterWindowMessageW 1 8", L"Cannot register window message");
}

TEST_F(StartUp, RefusesWithoutMemory) {
    expectRefusal(L"fault VirtualAlloc 1 8", L"Cannot Allocate Memory");
}

TEST_F(StartUp, RefusesWithoutASheetAndReleasesItsState) {
    expectRefusal(L"fault PropertySheetW 1 8 value=-1", L"Cannot Create Property Sheet");
    RunningProgram program(L"fault PropertySheetW 1 8 value=-1;hold VirtualFree 1");
    pressOk(waitBox(&program, L"Cannot Create Property Sheet"));
    EXPECT_TRUE(drive::WaitUntil([&] { return program.bench(L"held") == L"yes VirtualFree"; }));
    EXPECT_EQ(0u, program.releaseAndWait());
}

TEST_F(StartUp, LooksForACopyBeforeAnythingElse) {
    IdleProgram other(L"QvTeamCfg.exe");
    expectRefusal(L"fault RegisterWindowMessageW 1 8 all;fault VirtualAlloc 1 8 all",
                  L"Another Instance of the app is already running");
}

TEST_F(StartUp, TicksTheTrayBoxExactlyWhenTheTrayProgramRuns) {
    {
        RunningProgram program;
        EXPECT_FALSE(program.ticked(L"1011"));
    }
    IdleProgram tray(L"QvTray.exe");
    RunningProgram program;
    EXPECT_TRUE(program.ticked(L"1011"));
}

TEST_F(StartUp, SwitchesTheTrayProgramOnAndOff) {
    TrayFolder system;
    RunningProgram program(L"answer GetSystemDirectoryW " + system.path);
    program.waitDialog(1100);
    program.bench(L"journal-clear");
    program.click(L"1011");
    EXPECT_EQ(std::vector<std::wstring>{TrayStart(system.tray())},
              Texts(program.journal(), L"process-start"));
    EXPECT_TRUE(
        drive::WaitUntil([] { return FindWindowW(L"QvTrayWindow", L"QvTray") != nullptr; }));
    EXPECT_TRUE(program.ticked(L"1011"));
    program.click(L"1011");
    EXPECT_EQ(std::vector<std::wstring>{kTrayStop}, Texts(program.journal(), L"broadcast"));
    EXPECT_TRUE(drive::WaitUntil([] { return ProcessesNamed(L"QvTray.exe") == 0; }));
}

TEST_F(StartUp, LeavesTheTrayProgramRunning) {
    TrayFolder system;
    RunningProgram program(L"answer GetSystemDirectoryW " + system.path);
    program.click(L"1011");
    EXPECT_TRUE(drive::WaitUntil([] { return ProcessesNamed(L"QvTray.exe") == 1; }));
    program.clickAndLeave(L"1");
    EXPECT_EQ(0u, program.waitEnd());
    EXPECT_EQ(1, ProcessesNamed(L"QvTray.exe"));
}

TEST_F(StartUp, BroadcastsTheQuitMessageEvenWithoutATrayProgram) {
    RunningProgram program;
    HWND box = program.control(L"1011");
    SendMessageW(box, BM_SETCHECK, BST_CHECKED, 0);
    program.bench(L"journal-clear");
    program.click(L"1011");
    EXPECT_FALSE(program.ticked(L"1011"));
    EXPECT_EQ(std::vector<std::wstring>{std::wstring(L"broadcast ") + kTrayStop},
              Lines(program.journal()));
}

// The routines themselves, in this process.
class Tray : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
    }
};

TEST_F(Tray, PathHasOneSeparatorHoweverTheSystemDirectoryEnds) {
    for (const wchar_t* end : {L"", L"\\", L"/"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(end)));
        TrayFolder system;
        ClearJournal();
        Bench(L"answer GetSystemDirectoryW " + system.path + end);
        CreateTrayIcon();
        EXPECT_EQ(std::vector<std::wstring>{TrayStart(system.tray())},
                  Texts(Journal(), L"process-start"));
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(Tray, IsNotStartedTwice) {
    TrayFolder system;
    Bench(L"answer GetSystemDirectoryW " + system.path);
    IdleProgram running(L"QVTRAY.EXE");
    CreateTrayIcon();
    EXPECT_EQ(0u, Calls("CreateProcessW"));
}

TEST_F(Tray, IsNotStartedFromAnUnknownPlace) {
    for (const char* fault :
         {"fault GetSystemDirectoryW 1 5", "fault GetSystemDirectoryW 1 5 value=0",
          "fault GetSystemDirectoryW 1 0 value=261"}) {
        SCOPED_TRACE(fault);
        Bench(std::wstring(fault, fault + strlen(fault)));
        CreateTrayIcon();
        EXPECT_EQ(0u, Calls("CreateProcessW"));
    }
}

TEST_F(Tray, ThatCannotBeStartedIsNoMatter) {
    Bench(L"answer GetSystemDirectoryW Z:\\no\\such\\folder");
    CreateTrayIcon();
    EXPECT_EQ(1u, Calls("CreateProcessW"));
    EXPECT_TRUE(Journal().empty());
    EXPECT_EQ("", StillOpen());
}

class Processes : public Tray {};

TEST_F(Processes, CountAsASecondCopyFromTwoOn) {
    EXPECT_EQ(0, IsQvTeamCfgRunning());
    IdleProgram first(L"QvTeamCfg.exe");
    EXPECT_EQ(0, IsQvTeamCfgRunning()) << "the copy that asks counts itself";
    IdleProgram second(L"qvteamcfg.EXE");
    EXPECT_EQ(1, IsQvTeamCfgRunning());
    IdleProgram third(L"QvTeamCfg.exe");
    EXPECT_EQ(1, IsQvTeamCfgRunning());
    EXPECT_EQ("", StillOpen());
}

TEST_F(Processes, ThatCannotBeLookedAtAreNotFound) {
    IdleProgram first(L"QvTeamCfg.exe");
    IdleProgram second(L"QvTeamCfg.exe");
    IdleProgram tray(L"QvTray.exe");
    for (const wchar_t* fault :
         {L"fault EnumProcesses 1 5 all", L"fault OpenProcess 1 5 all",
          L"fault EnumProcessModules 1 299 all", L"fault GetModuleBaseNameW 1 5 all"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        EXPECT_EQ(0, IsQvTeamCfgRunning());
        EXPECT_EQ(0, IsQvTrayRunning());
        EXPECT_EQ("", StillOpen());
        Bench(L"clear");
    }
    Bench(L"fault calloc 1 8");
    EXPECT_EQ(0, IsQvTeamCfgRunning());
    EXPECT_EQ(1, IsQvTrayRunning()) << "needs no memory of the heap";
}

// Success with no module filled in.
TEST_F(Processes, WithoutAModuleAreNotAskedForItsName) {
    IdleProgram tray(L"QvTray.exe");
    Bench(L"reset-counts");
    Bench(L"fault EnumProcessModules 1 0 all value=1");
    EXPECT_EQ(0, IsQvTrayRunning());
    EXPECT_NE(0u, Calls("EnumProcessModules"));
    EXPECT_EQ(0u, Calls("GetModuleBaseNameW"));
    EXPECT_EQ("", StillOpen());
}

TEST_F(Processes, BehindOneThatCannotBeOpenedAreStillFound) {
    IdleProgram first(L"QvTeamCfg.exe");
    IdleProgram second(L"QvTeamCfg.exe");
    IdleProgram tray(L"QvTray.exe");
    // The first three of the list refuse to be opened anyway.
    for (const wchar_t* fault : {L"fault OpenProcess 4 5", L"fault EnumProcessModules 1 299",
                                 L"fault GetModuleBaseNameW 1 5"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        Bench(fault);
        EXPECT_EQ(1, IsQvTeamCfgRunning());
        Bench(fault);
        EXPECT_EQ(1, IsQvTrayRunning());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(Processes, AreNoLongerLookedThroughOnceEnoughAreFound) {
    IdleProgram tray(L"QvTray.exe");
    IdleProgram behind(L"Behind.exe");
    Bench(L"reset-counts");
    EXPECT_EQ(1, IsQvTrayRunning());
    unsigned opened = Calls("OpenProcess");
    const unsigned refused = 3; // 0, 4 and the first csrss.exe
    EXPECT_EQ(opened, refused + Calls("CloseHandle")) << "also that of the one that was found";
    Bench(L"reset-counts");
    IsQvTeamCfgRunning();
    EXPECT_LT(opened, Calls("OpenProcess"));
}
