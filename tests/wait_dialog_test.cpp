// The please-wait dialog and the job behind it.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/program.h"

#include "app/wait_dialog.h"
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/wait.h"
#include "drive/window.h"

#include <dbt.h>

static const std::wstring creating = L"Configuring Team. Please wait..";
static const std::wstring removing = L"Removing Selected Team. Please wait..";

constexpr UINT JOB_DONE = 1524;

static std::vector<std::wstring> StatusTexts(const Events& events) {
    std::vector<std::wstring> texts = Texts(events, L"status");
    for (std::wstring& text : texts)
        text = text.substr(1, text.size() - 2);
    return texts;
}

static DWORD_PTR Ask(HWND window, UINT message, WPARAM wParam = 0) {
    DWORD_PTR result = 0xdeadbeef;
    EXPECT_NE(
        0, SendMessageTimeoutW(window, message, wParam, 0, SMTO_NORMAL, drive::kHangGuard, &result))
        << "no answer";
    return result;
}

class WaitDialog : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
    }

    static void chooseTeam(RunningProgram* program) {
        program->chooseTwo();
        program->bench(L"journal-clear");
    }
};

TEST_F(WaitDialog, KeepsThePageFromBeingUsedWhileTheJobRuns) {
    RunningProgram program;
    chooseTeam(&program);
    HWND page = program.waitDialog(1100);
    HWND sheet = GetAncestor(page, GA_ROOT);
    program.bench(L"hold CheckTokenMembership 1");
    program.clickAndLeave(L"1000");
    HWND wait = program.waitDialog(1104);
    EXPECT_TRUE(
        drive::WaitUntil([&] { return program.bench(L"held") == L"yes CheckTokenMembership"; }));
    EXPECT_FALSE(IsWindowEnabled(sheet));
    EXPECT_TRUE(IsWindowEnabled(wait));
    EXPECT_EQ(sheet, GetWindow(wait, GW_OWNER));
    std::wstring error;
    EXPECT_FALSE(drive::ClickControl(GetDlgItem(page, 1000), true, &error));
    program.bench(L"release");
    program.waitGone(1104);
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_TRUE(IsWindowEnabled(sheet));
    EXPECT_EQ((std::vector<std::wstring>{L"1104"}), Texts(program.journal(), L"dialog-close"));
}

TEST_F(WaitDialog, StaysAliveWhileTheWorkerIsStuck) {
    RunningProgram program;
    chooseTeam(&program);
    HWND page = program.waitDialog(1100);
    for (const wchar_t* call : {L"CheckTokenMembership", L"SetupDiChangeState"})
        program.bench(std::wstring(L"hold ") + call + L" 1");
    program.clickAndLeave(L"1000");
    HWND wait = program.waitDialog(1104);
    for (const wchar_t* call : {L"CheckTokenMembership", L"SetupDiChangeState"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(call)));
        ASSERT_TRUE(drive::WaitUntil(
            [&] { return program.bench(L"held") == std::wstring(L"yes ") + call; }));
        EXPECT_EQ(0u, Ask(page, WM_NULL));
        EXPECT_EQ(0u, Ask(wait, WM_NULL));
        EXPECT_EQ(L"Please wait while the settings are being applied...",
                  drive::TextOf(program.control(L"1007", 1104)));
        program.bench(L"release");
    }
    program.waitGone(1104);
}

TEST_F(WaitDialog, CannotBeClosedByHandWhileTheJobRuns) {
    RunningProgram program;
    chooseTeam(&program);
    program.bench(L"hold CheckTokenMembership 1");
    program.clickAndLeave(L"1000");
    HWND wait = program.waitDialog(1104);
    std::wstring error;
    for (const wchar_t* key : {L"Escape", L"Enter", L"Space", L"Alt+F4"}) {
        EXPECT_TRUE(drive::PressKey(wait, key, false, &error)) << testing::PrintToString(error);
        EXPECT_EQ(wait, drive::FindDialog(program.process().id, 1104))
            << testing::PrintToString(std::wstring(key));
    }
    for (UINT message : {JOB_DONE - 1, JOB_DONE + 1}) {
        Ask(wait, message);
        EXPECT_EQ(wait, drive::FindDialog(program.process().id, 1104));
    }
    program.bench(L"release");
    program.waitGone(1104);
}

TEST_F(WaitDialog, AcceptsDeviceBroadcastsWithoutEffect) {
    RunningProgram program;
    chooseTeam(&program);
    HWND page = program.waitDialog(1100);
    program.bench(L"hold CheckTokenMembership 1");
    program.clickAndLeave(L"1000");
    HWND wait = program.waitDialog(1104);
    Events before = program.journal();
    for (UINT event : {DBT_DEVICEARRIVAL, DBT_DEVICEREMOVECOMPLETE, DBT_DEVNODES_CHANGED}) {
        Ask(wait, WM_DEVICECHANGE, event);
        Ask(page, WM_DEVICECHANGE, event);
    }
    EXPECT_EQ(wait, drive::FindDialog(program.process().id, 1104));
    EXPECT_EQ(before, program.journal());
    program.bench(L"release");
    program.waitGone(1104);
}

TEST_F(WaitDialog, GoesAwayWhenTheWorkerCannotBeStarted) {
    RunningProgram program;
    chooseTeam(&program);
    program.bench(L"fault CreateThread 1 8");
    program.click(L"1000");
    program.waitText(L"1009", L"Cannot");
    program.waitGone(1104);
    EXPECT_EQ((std::vector<std::wstring>{creating, L"Cannot Create Team at this time."}),
              StatusTexts(program.journal()));
    EXPECT_TRUE(IsWindowEnabled(GetAncestor(program.waitDialog(1100), GA_ROOT)));
    program.click(L"1000");
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(0u, program.rows(L"1002").size()) << "the next attempt creates the team";
}

TEST_F(WaitDialog, GoesAwayWhenTheRemovalCannotBeStarted) {
    LoadAndBuild(L"three-teams.txt");
    RunningProgram program;
    program.tickRow(L"1004", 0);
    program.bench(L"journal-clear");
    program.bench(L"fault CreateThread 1 8");
    program.click(L"1005");
    program.waitText(L"1009", L"Cannot");
    program.waitGone(1104);
    EXPECT_EQ((std::vector<std::wstring>{removing, L"Cannot Remove Team at this time."}),
              StatusTexts(program.journal()));
    EXPECT_TRUE(IsWindowEnabled(GetAncestor(program.waitDialog(1100), GA_ROOT)));
}

TEST_F(WaitDialog, ClosesAlsoWhenTheJobFails) {
    const struct {
        const wchar_t* command;
        const wchar_t* text;
    } failures[] = {
        {L"admin 0", L"User should have Admin privilege"},
        {L"fault FindFirstFileW 1 2", L"Could not find driver files"},
        {L"fault SetupDiGetClassDevsW 1 5", L"The Nics selected is not from Quovane"},
        {L"fault CreateFileW 1 2", L"Could not open device"},
        {L"fault SetupDiCreateDeviceInfoW 1 5", L"Team Creation failed"},
    };
    RunningProgram program;
    chooseTeam(&program);
    for (const auto& failure : failures) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(failure.command)));
        program.bench(failure.command);
        program.click(L"1000");
        program.waitText(L"1009", failure.text);
        program.waitGone(1104);
        EXPECT_TRUE(IsWindowEnabled(GetAncestor(program.waitDialog(1100), GA_ROOT)));
        program.bench(L"reload");
        program.bench(L"clear");
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(WaitDialog, ClosesAlsoWhenItsQueueIsFull) {
    RunningProgram program;
    chooseTeam(&program);
    program.bench(L"fault PostMessageW 1 1816");
    program.click(L"1000");
    program.waitText(L"1009", L"Select two NICs");
    program.waitGone(1104);
    EXPECT_TRUE(IsWindowEnabled(GetAncestor(program.waitDialog(1100), GA_ROOT)));
}

// The dialog in this process.
class WaitDialogInside : public WaitDialog {
  protected:
    HWND open(PageHost* page) {
        return CreateDialogParamW(hInstance, MAKEINTRESOURCEW(IDD_WAIT), page->window(),
                                  QvWaitDialogProc, reinterpret_cast<LPARAM>(page->window()));
    }

    static bool waitHeld(const wchar_t* call) {
        return drive::WaitUntil([call] {
            PageHost::Pump();
            return Bench(L"held") == std::wstring(L"yes ") + call;
        });
    }

    // The message that the dialog gets next from the job, taken out of the queue.
    static bool takeJobDone(HWND wait, MSG* message) {
        return drive::WaitUntil([&] {
            MSG sent;
            PeekMessageW(&sent, nullptr, 0, 0, PM_NOREMOVE); // lets the worker's calls in
            return PeekMessageW(message, wait, JOB_DONE, JOB_DONE, PM_REMOVE) != FALSE;
        });
    }
};

TEST_F(WaitDialogInside, StartsNothingUnlessExactlyOneJobIsPending) {
    PageHost page;
    for (DWORD both : {0, 1}) {
        page.data()->createPending = both;
        page.data()->removePending = both;
        HWND wait = open(&page);
        EXPECT_EQ(wait, page.data()->hWaitDlg);
        EXPECT_EQ(0u, Calls("CreateThread"));
        EXPECT_EQ(0u, Calls("EndDialog"));
        DestroyWindow(wait);
    }
}

TEST_F(WaitDialogInside, StartsTheJobThatIsPendingAndKeepsNoHandle) {
    PageHost page;
    const struct {
        DWORD create;
        const wchar_t* text;
    } jobs[] = {{1, L"be   \r\nable to create a team"}, {0, L"be   \r\nable to remove a team"}};
    Bench(L"admin 0");
    for (const auto& job : jobs) {
        SCOPED_TRACE(job.create ? "creation" : "removal");
        Bench(L"reset-counts");
        Bench(L"reset-open");
        page.setText(IDC_STATUS, L"");
        page.data()->createPending = job.create;
        page.data()->removePending = !job.create;
        HWND wait = open(&page);
        EXPECT_EQ(wait, page.data()->hWaitDlg);
        EXPECT_EQ(1u, Calls("CreateThread"));
        MSG done = {};
        ASSERT_TRUE(takeJobDone(wait, &done));
        EXPECT_EQ(0u, done.wParam);
        EXPECT_EQ(0, done.lParam);
        EXPECT_EQ("", StillOpen());
        EXPECT_NE(std::wstring::npos, page.text(IDC_STATUS).find(job.text));
        DestroyWindow(wait);
    }
}

TEST_F(WaitDialogInside, IsTheOneThatWasOpenWhenTheJobBegan) {
    PageHost page;
    page.data()->createPending = 1;
    Bench(L"admin 0");
    Bench(L"hold CheckTokenMembership 1");
    Bench(L"reset-open");
    HWND wait = open(&page);
    ASSERT_TRUE(waitHeld(L"CheckTokenMembership"));
    EXPECT_EQ("sids=1", StillOpen()) << "the worker's, and no thread";
    page.data()->hWaitDlg = page.window();
    Bench(L"release");
    MSG done = {};
    EXPECT_TRUE(takeJobDone(wait, &done));
    DestroyWindow(wait);
}

TEST_F(WaitDialogInside, AnswersItsMessages) {
    PageHost page;
    HWND wait = open(&page);
    EXPECT_EQ(TRUE, QvWaitDialogProc(wait, WM_DEVICECHANGE, DBT_DEVNODES_CHANGED, 0));
    for (UINT message : {UINT{WM_COMMAND}, UINT{WM_CLOSE}, UINT{WM_SYSCOMMAND}, UINT{WM_TIMER},
                         JOB_DONE - 1, JOB_DONE + 1})
        EXPECT_EQ(FALSE, QvWaitDialogProc(wait, message, IDCANCEL, 0)) << message;
    EXPECT_EQ(0u, Calls("EndDialog"));
    EXPECT_EQ(FALSE, QvWaitDialogProc(wait, JOB_DONE, 0, 0));
    EXPECT_EQ(1u, Calls("EndDialog"));
    DestroyWindow(wait);
}

TEST_F(WaitDialogInside, ThreadsReturnZeroAndPostTheirEnd) {
    PageHost page;
    for (LPTHREAD_START_ROUTINE thread : {CreateTeamThread, RemoveTeamThread}) {
        page.data()->hWaitDlg = page.window();
        EXPECT_EQ(0u, thread(page.window()));
        MSG done = {};
        EXPECT_TRUE(PeekMessageW(&done, page.window(), JOB_DONE, JOB_DONE, PM_REMOVE));
    }
}

// What the flags say at the moment when the wait dialog opens.
static struct {
    HWND page;
    SheetData* data;
    std::vector<std::pair<DWORD, DWORD>> flags;
} opening;

static LRESULT CALLBACK NoteOpening(int code, WPARAM wParam, LPARAM lParam) {
    auto call = reinterpret_cast<const CWPSTRUCT*>(lParam);
    if (code == HC_ACTION && call->message == WM_INITDIALOG &&
        call->lParam == reinterpret_cast<LPARAM>(opening.page))
        opening.flags.push_back({opening.data->createPending, opening.data->removePending});
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

// Ends a modal dialog that nobody else ends.
static void CALLBACK EndStuckDialog(HWND, UINT, UINT_PTR, DWORD) {
    ADD_FAILURE() << "the wait dialog stays open";
    PostMessageW(opening.data->hWaitDlg, JOB_DONE, 0, 0);
}

TEST_F(WaitDialogInside, IsToldOfTheJobByFlagsThatAreClearedAfterwards) {
    PageHost page;
    opening = {page.window(), page.data(), {}};
    HHOOK hook = SetWindowsHookExW(WH_CALLWNDPROC, NoteOpening, nullptr, GetCurrentThreadId());
    UINT_PTR guard = SetTimer(nullptr, 0, drive::kHangGuard, EndStuckDialog);
    Bench(L"admin 0");
    page.tick(IDC_ACTIVE_BACKUP);
    page.data()->removePending = 7;
    page.command(IDC_CREATE_TEAM);
    EXPECT_EQ(0u, page.data()->createPending);
    EXPECT_EQ(0u, page.data()->removePending);
    page.data()->createPending = 7;
    page.command(IDC_REMOVE_TEAM);
    EXPECT_EQ(0u, page.data()->createPending);
    EXPECT_EQ(0u, page.data()->removePending);
    UnhookWindowsHookEx(hook);
    KillTimer(nullptr, guard);
    EXPECT_EQ((std::vector<std::pair<DWORD, DWORD>>{{1, 0}, {0, 1}}), opening.flags);
}

TEST_F(WaitDialogInside, ThatCannotBeOpenedLeavesNoFlag) {
    PageHost page;
    page.tick(IDC_ACTIVE_BACKUP);
    for (int button : {IDC_CREATE_TEAM, IDC_REMOVE_TEAM}) {
        Bench(L"fault DialogBoxParamW 1 8 value=-1");
        page.command(button);
        EXPECT_EQ(0u, page.data()->createPending);
        EXPECT_EQ(0u, page.data()->removePending);
        EXPECT_EQ(0u, Calls("CreateThread"));
    }
}

TEST_F(WaitDialogInside, NeedsThePagesState) {
    PageHost page;
    page.data()->createPending = 1;
    SetWindowLongPtrW(page.window(), DWLP_USER, 0);
    HWND wait = open(&page);
    EXPECT_EQ(0u, Calls("CreateThread"));
    DestroyWindow(wait);
    EXPECT_EQ(0u, CreateTeamThread(page.window())) << "a page that has gone is no crash";
}
