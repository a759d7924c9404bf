// The list of processes as Windows has it: with processes that refuse to be opened and with those of
// other sessions.
#include "harness/benched.h"
#include "harness/machine_test.h"
#include "harness/program.h"

#include "app/processes.h"
#include "drive/dialogs.h"
#include "drive/wait.h"

#include <psapi.h>

class ProcessList : public MachineTest {
  protected:
    void BuildWith(const std::vector<std::wstring>& list) {
        Load(L"two-ports.txt");
        machine.processList = list;
        Build();
    }

    static std::vector<DWORD> list() {
        std::vector<DWORD> ids(1024);
        DWORD size = 0;
        EXPECT_TRUE(BENCHED(EnumProcesses)(ids.data(), 4096, &size));
        ids.resize(size / sizeof(DWORD));
        return ids;
    }

    static DWORD openError(DWORD id, DWORD access = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ) {
        SetLastError(0);
        HANDLE process = BENCHED(OpenProcess)(access, FALSE, id);
        DWORD error = GetLastError();
        if (process)
            BENCHED(CloseHandle)(process);
        return process ? ERROR_SUCCESS : error;
    }
};

TEST_F(ProcessList, BeginsWithTwoThatNobodyOpens) {
    LoadAndBuild(L"two-ports.txt");
    const std::vector<DWORD> ids = list();
    ASSERT_LT(5u, ids.size());
    EXPECT_EQ(0u, ids[0]);
    EXPECT_EQ(4u, ids[1]);
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), openError(ids[0]));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), openError(ids[1]));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), openError(ids[2])) << "a protected process";
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), openError(ids.back())) << "a protected process";
    EXPECT_EQ(1, std::count(ids.begin(), ids.end(), GetCurrentProcessId()));
}

TEST_F(ProcessList, HasEachIdOnceAndAMultipleOfFour) {
    BuildWith({L"refused:a.exe", L"session:b.exe", L"*", L"session:c.exe", L"refused:d.exe"});
    std::vector<DWORD> ids = list();
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids.end(), std::adjacent_find(ids.begin(), ids.end()));
    for (DWORD id : ids)
        EXPECT_EQ(0u, id % 4);
}

TEST_F(ProcessList, IsCutToTheRoomThereIs) {
    LoadAndBuild(L"two-ports.txt");
    DWORD ids[4] = {9, 9, 9, 9};
    DWORD size = 0;
    EXPECT_TRUE(BENCHED(EnumProcesses)(ids, 3 * sizeof(DWORD), &size));
    EXPECT_EQ(3 * sizeof(DWORD), size);
    EXPECT_EQ(9u, ids[3]);
}

TEST_F(ProcessList, GivesTheNameOfAProcessOfAnotherSessionToAnAdministrator) {
    BuildWith({L"*", L"session:Other.exe"});
    const DWORD id = list().back();
    HANDLE process = BENCHED(OpenProcess)(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id);
    ASSERT_NE(nullptr, process);
    HMODULE module;
    DWORD needed = 0;
    wchar_t name[64] = {};
    EXPECT_TRUE(BENCHED(EnumProcessModules)(process, &module, sizeof(module), &needed));
    EXPECT_EQ(sizeof(module), needed);
    EXPECT_EQ(9u, BENCHED(GetModuleBaseNameW)(process, module, name, 64));
    EXPECT_STREQ(L"Other.exe", name);
    EXPECT_TRUE(BENCHED(CloseHandle)(process));
    Bench(L"admin 0");
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), openError(id));
    Bench(L"reload");
}

TEST_F(ProcessList, GivesNoNameWithoutTheRightsToReadIt) {
    BuildWith({L"*", L"session:Other.exe"});
    for (DWORD access : {PROCESS_QUERY_INFORMATION, PROCESS_VM_READ}) {
        HANDLE process = BENCHED(OpenProcess)(access, FALSE, list().back());
        ASSERT_NE(nullptr, process);
        HMODULE module;
        DWORD needed = 0;
        wchar_t name[64] = {};
        EXPECT_FALSE(BENCHED(EnumProcessModules)(process, &module, sizeof(module), &needed));
        EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), GetLastError());
        EXPECT_EQ(0u, BENCHED(GetModuleBaseNameW)(process, module, name, 64));
        BENCHED(CloseHandle)(process);
    }
}

TEST_F(ProcessList, OfAMachineFileHasOnePlaceForTheRealProcesses) {
    for (const char* line : {"process-list = csrss.exe *", "process-list = refused:a.exe",
                             "process-list = * session:a.exe *"}) {
        std::wstring error;
        EXPECT_FALSE(MachineParse(line, L"file", &machine, &error)) << line;
        EXPECT_EQ(0u, error.find(L"file:1: process-list")) << testing::PrintToString(error);
    }
}

// The routines of the program.
TEST_F(ProcessList, IsLookedThroughBeyondProcessesThatRefuse) {
    const struct {
        std::vector<std::wstring> list;
        int program;
        int tray;
    } cases[] = {
        {{L"*"}, 0, 0},
        {{L"refused:QvTeamCfg.exe", L"refused:QvTeamCfg.exe", L"refused:QvTray.exe", L"*"}, 0, 0},
        {{L"refused:a.exe", L"*", L"session:QvTray.exe", L"refused:b.exe"}, 0, 1},
        {{L"session:QVTRAY.EXE", L"refused:a.exe", L"*"}, 0, 1},
        {{L"*", L"session:QvTeamCfg.exe"}, 0, 0},
        {{L"refused:a.exe", L"session:QvTeamCfg.exe", L"refused:b.exe", L"*", L"refused:c.exe",
          L"session:qvteamcfg.exe", L"refused:d.exe"},
         1,
         0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.list));
        BuildWith(c.list);
        EXPECT_EQ(c.program, IsQvTeamCfgRunning());
        EXPECT_EQ(c.tray, IsQvTrayRunning());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(ProcessList, OfAStandardUserShowsNoOtherSession) {
    BuildWith({L"session:QvTeamCfg.exe", L"session:QvTeamCfg.exe", L"*", L"session:QvTray.exe"});
    Bench(L"admin 0");
    EXPECT_EQ(0, IsQvTeamCfgRunning());
    EXPECT_EQ(0, IsQvTrayRunning());
    Bench(L"reload");
}

TEST_F(ProcessList, MakesACopyInAnotherSessionASecondCopy) {
    BuildWith({L"refused:csrss.exe", L"*", L"refused:csrss.exe", L"session:QvTeamCfg.exe"});
    RunningProgram program;
    std::wstring text;
    EXPECT_TRUE(drive::WaitUntil(
        [&] { return drive::FindMessageBox(program.process().id, &text) != nullptr; }));
    EXPECT_EQ(L"Another Instance of the app is already running", text);
}

TEST_F(ProcessList, TicksTheTrayBoxForATrayProgramOfAnotherSession) {
    BuildWith({L"*", L"session:QvTray.exe"});
    RunningProgram program;
    EXPECT_TRUE(program.ticked(L"1011"));
}
