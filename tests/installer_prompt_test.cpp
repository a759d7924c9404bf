// An installer that asks in a box of its own, which has no owner: the loop of the box goes on serving the
// windows of the program that has called it.
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "harness/creation.h"
#include "harness/program.h"

class InstallerPrompt : public CreationTest {
  protected:
    static HWND WaitPrompt(RunningProgram* program) {
        HWND box = nullptr;
        EXPECT_TRUE(drive::WaitUntil([&] {
            return (box = drive::FindCaption(program->process().id, L"Installer")) != nullptr;
        })) << "nobody asks";
        return box;
    }
    static void Answer(HWND box) {
        std::wstring error;
        EXPECT_TRUE(drive::ClickControl(drive::FindControl(box, L"Button"), true, &error))
            << testing::PrintToString(error);
    }
    // What tells that something has begun: dialogs, questions, changes.
    static std::wstring Begun(RunningProgram* program) {
        std::wstring begun = std::to_wstring(program->journal().size());
        for (const wchar_t* call : {L"DialogBoxParamW", L"PropertySheetW", L"CoCreateInstance"})
            begun +=
                std::wstring(L" ") + call + L" " + program->bench(std::wstring(L"calls ") + call);
        return begun;
    }
    // The button is there to be pressed, and the program takes the press in; nothing comes of it.
    static void PressInVain(RunningProgram* program, const wchar_t* button, int dialog) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(button)));
        HWND control = program->control(button, dialog);
        ASSERT_TRUE(IsWindowEnabled(GetAncestor(control, GA_ROOT)));
        ASSERT_TRUE(IsWindowEnabled(control));
        const std::wstring before = Begun(program);
        PostMessageW(control, BM_CLICK, 0, 0);
        for (int i = 0; i < 2; i++) { // the press, and what it posts
            DWORD_PTR result;
            EXPECT_TRUE(SendMessageTimeoutW(control, WM_NULL, 0, 0, SMTO_NORMAL, drive::kHangGuard,
                                            &result));
            std::wstring error;
            EXPECT_TRUE(drive::WaitIdle(control, &error)) << testing::PrintToString(error);
        }
        EXPECT_EQ(before, Begun(program));
    }
};

TEST_F(InstallerPrompt, ForTheProtocolLetsNothingElseBegin) {
    LoadAndBuild(L"no-protocol.txt");
    RunningProgram program;
    program.chooseTwo();
    program.bench(L"journal-clear");
    program.bench(L"prompt INetCfgClassSetup::Install 1");
    program.clickAndLeave(L"1000");
    HWND box = WaitPrompt(&program);
    PressInVain(&program, L"1000", 1100);
    program.tickRow(L"1002", 1, false);
    PressInVain(&program, L"1001", 1100);
    program.tickRow(L"1002", 1);
    // What is left to the user is as ever: one mode goes out when another is ticked.
    program.click(L"1006");
    EXPECT_FALSE(program.ticked(L"1003"));
    Answer(box);
    program.waitText(L"1009", L"Select two NICs");
    program.waitGone(1104);
    EXPECT_EQ(1u, program.rows(L"1004").size());
    const Events journal = program.journal();
    EXPECT_EQ(1u, Texts(journal, L"dialog-open").size());
    EXPECT_EQ(1u, Texts(journal, L"netcfg-install").size());
    EXPECT_EQ(1u, Texts(journal, L"device-install").size());
}

TEST_F(InstallerPrompt, ForATeamLetsNoTeamBeRemovedBeforeTheProtocolIsThere) {
    Ports(4);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    machine.protocolInstalled = false;
    Build();
    RunningProgram program;
    program.chooseTwo();
    program.bench(L"prompt INetCfgClassSetup::Install 1");
    program.clickAndLeave(L"1000");
    HWND box = WaitPrompt(&program);
    program.tickRow(L"1002", 0, false);
    program.tickRow(L"1002", 1, false);
    program.tickRow(L"1004", 0);
    PressInVain(&program, L"1005", 1100);
    Answer(box);
    program.waitGone(1104);
    EXPECT_EQ(std::vector<std::wstring>{L"Uplink"}, program.rows(L"1004"));
}

TEST_F(InstallerPrompt, ForAVlanLetsNoOtherVlanComeOrGo) {
    Ports(2);
    AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
    AddVlan(L"team-1", 10, L"Voice");
    Build();
    RunningProgram program;
    program.tickRow(L"1004", 0);
    program.click(L"1001");
    HWND page = program.openTab(L"VLAN", 1101, 101);
    HWND view = drive::FindControl(page, L"1000");
    std::wstring error;
    EXPECT_TRUE(drive::TickRow(view, 0, true, false, &error)) << testing::PrintToString(error);
    program.click(L"1001", 101);
    HWND dialog = program.waitDialog(102);
    EXPECT_TRUE(drive::TypeText(drive::FindControl(dialog, L"1003"), L"20", &error));
    EXPECT_TRUE(drive::TypeText(drive::FindControl(dialog, L"1004"), L"Data", &error));
    program.bench(L"prompt DiInstallDevice 1");
    program.clickAndLeave(L"1", 102);
    HWND box = WaitPrompt(&program);
    PressInVain(&program, L"1001", 101);
    PressInVain(&program, L"1002", 101);
    Answer(box);
    EXPECT_TRUE(drive::WaitUntil([&] { return drive::ListRowCount(view) == 2; }));
    program.waitGone(1104);
    std::vector<std::wstring> names;
    for (const drive::ListRow& row : drive::ListRows(view))
        names.push_back(row.texts[0]);
    EXPECT_EQ((std::vector<std::wstring>{L"Voice", L"Data"}), names);
    // The page serves its buttons again.
    program.bench(L"message-box IDOK");
    program.click(L"1002", 101);
    EXPECT_TRUE(drive::WaitUntil([&] { return drive::ListRowCount(view) == 1; }));
}
