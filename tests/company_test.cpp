// The program is not alone: other programs, other clients of the network configuration, devices that
// come and go and the end of the session all happen while a team job runs.
#include "harness/machine_test.h"
#include "harness/program.h"
#include "harness/vlan_page_jobs.h"

#include "device/net_config.h"
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/wait.h"
#include "drive/window.h"

#include <dbt.h>
#include <set>
#include <sstream>

using CallNames = std::set<std::wstring>;

static CallNames CallsMade(RunningProgram* program) {
    CallNames made;
    std::wistringstream counts(program->bench(L"calls"));
    std::wstring name;
    for (unsigned count; counts >> name >> count;) {
        if (count != 0)
            made.insert(name);
    }
    return made;
}

// A program that stops at the first call of each of these kinds that its worker makes.
class JobWithStops {
  public:
    JobWithStops(RunningProgram* program, const CallNames& kinds) : program_(program) {
        const DWORD thread = GetWindowThreadProcessId(program->waitDialog(1100), nullptr);
        for (const std::wstring& kind : kinds)
            program->bench(L"hold " + kind + L" 1 except=" + std::to_wstring(thread));
    }
    ~JobWithStops() {
        program_->bench(L"clear");
    }
    JobWithStops(const JobWithStops&) = delete;
    JobWithStops& operator=(const JobWithStops&) = delete;

    // Presses the button and calls `act` at every stop. Gives the calls that the worker stopped in.
    CallNames run(const wchar_t* button, const std::function<void(const std::wstring& call)>& act) {
        CallNames stops;
        program_->clickAndLeave(button);
        program_->waitDialog(1104);
        for (;;) {
            std::wstring held;
            const bool stopped = drive::WaitUntil([&] {
                held = program_->bench(L"held");
                return held != L"no" || drive::FindDialog(program_->process().id, 1104) == nullptr;
            });
            EXPECT_TRUE(stopped) << "the job neither stops nor ends";
            if (held == L"no" || !stopped)
                return stops;
            stops.insert(held.substr(4));
            act(held.substr(4));
            program_->bench(L"release");
            // The next look must not see the call that has just been let go.
            drive::WaitUntil([&] { return program_->bench(L"held") != held; });
        }
    }

  private:
    RunningProgram* program_;
};

// Everything that the program shows or hides at the top of the desktop, and its page.
static std::vector<HWND> WindowsOf(RunningProgram* program) {
    std::vector<HWND> windows = drive::TopLevelWindows(program->process().id);
    windows.push_back(program->waitDialog(1100));
    return windows;
}

// The answer, which must come.
static DWORD_PTR Ask(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
    DWORD_PTR answer = 0xdeadbeef;
    EXPECT_NE(0, SendMessageTimeoutW(window, message, wParam, lParam, SMTO_NORMAL,
                                     drive::kHangGuard, &answer))
        << "no answer to " << message;
    return answer;
}

struct TeamJob {
    const wchar_t* machine;
    const wchar_t* button;
    std::vector<int> nics;
    std::vector<int> teams;
    const wchar_t* sessionEndsIn; // this call of the worker
    const char* name;
};

static const TeamJob kJobs[] = {
    {L"two-ports.txt", L"1000", {0, 1}, {}, L"SetupDiChangeState", "Creation"},
    {L"vlan-members.txt", L"1000", {0, 1, 2, 3}, {}, L"SetupDiRemoveDevice", "CreationOverVlans"},
    {L"team-vlans.txt", L"1005", {}, {0}, L"INetCfg::Apply", "RemovalWithVlans"},
};

static void PrintTo(const TeamJob& job, std::ostream* out) {
    *out << job.name;
}

static std::string NameOf(const testing::TestParamInfo<TeamJob>& info) {
    return info.param.name;
}

class CompanyOfAJob : public MachineTest, public testing::WithParamInterface<TeamJob> {
  protected:
    // Builds the machine and ticks what the job is about.
    void Prepare(RunningProgram* program) const {
        program->bench(L"message-box IDOK all");
        for (int row : GetParam().nics)
            program->tickRow(L"1002", row);
        for (int row : GetParam().teams)
            program->tickRow(L"1004", row);
        if (!GetParam().nics.empty())
            program->click(GetParam().nics.size() == 2 ? L"1003" : L"1006");
        program->bench(L"journal-clear");
    }

    // An undisturbed job: what it calls, and what the machine and the journal are behind it.
    CallNames RunAlone(std::string* dump, Events* journal) const {
        RunningProgram program;
        Prepare(&program);
        program.bench(L"reset-counts");
        program.click(GetParam().button);
        program.waitJobOver();
        *journal = program.journal();
        *dump = MachineDump();
        return CallsMade(&program);
    }
};

TEST_P(CompanyOfAJob, IsAnsweredWhereverTheWorkerStands) {
    std::string aloneDump;
    Events aloneJournal;
    LoadAndBuild(GetParam().machine);
    const CallNames kinds = RunAlone(&aloneDump, &aloneJournal);

    LoadAndBuild(GetParam().machine);
    RunningProgram program;
    Prepare(&program);
    double longest = 0;
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    CallNames stops;
    {
        JobWithStops job(&program, kinds);
        stops = job.run(GetParam().button, [&](const std::wstring& call) {
            SCOPED_TRACE(testing::PrintToString(call));
            for (HWND window : WindowsOf(&program)) {
                LARGE_INTEGER asked;
                LARGE_INTEGER answered;
                QueryPerformanceCounter(&asked);
                EXPECT_EQ(0u, Ask(window, WM_NULL));
                QueryPerformanceCounter(&answered);
                longest = std::max(
                    longest, 1000.0 * static_cast<double>(answered.QuadPart - asked.QuadPart) /
                                 static_cast<double>(frequency.QuadPart));
                for (WPARAM event :
                     {DBT_DEVICEARRIVAL, DBT_DEVICEREMOVECOMPLETE, DBT_DEVNODES_CHANGED})
                    Ask(window, WM_DEVICECHANGE, event);
                Ask(window, WM_SETTINGCHANGE, SPI_SETNONCLIENTMETRICS);
                // The session was going to end, and then somebody else did not let it.
                EXPECT_NE(0u, Ask(window, WM_QUERYENDSESSION)) << "the end of a session is no veto";
                Ask(window, WM_ENDSESSION, FALSE);
            }
        });
    }
    program.waitJobOver();
    std::printf("    %u calls of the worker stopped in, longest answer %.1f ms\n",
                static_cast<unsigned>(stops.size()), longest);
    EXPECT_LE(40u, stops.size()) << "kinds of calls";
    EXPECT_THAT(stops, testing::IsSupersetOf({L"SetupDiChangeState", L"INetCfg::Apply",
                                              L"RegOpenKeyExW", L"SetWindowTextW"}));
    EXPECT_EQ(Lines(aloneJournal), Lines(program.journal()));
    EXPECT_EQ(aloneDump, MachineDump());
    EXPECT_TRUE(IsWindowEnabled(GetAncestor(program.waitDialog(1100), GA_ROOT)));
}

TEST_P(CompanyOfAJob, MayBeASecondCopyThatIsRefused) {
    LoadAndBuild(GetParam().machine);
    RunningProgram program;
    Prepare(&program);
    program.bench(L"hold SetupDiChangeState 1");
    program.clickAndLeave(GetParam().button);
    ASSERT_TRUE(
        drive::WaitUntil([&] { return program.bench(L"held") == L"yes SetupDiChangeState"; }));
    Events before = program.journal();
    {
        RunningProgram second(L"message-box IDOK");
        EXPECT_EQ(0u, second.waitEnd());
    }
    EXPECT_EQ(before, program.journal());
    program.bench(L"release");
    program.waitText(L"1009", L"Select two NICs");
    program.waitGone(1104);
    program.clickAndLeave(L"2");
    EXPECT_EQ(0u, program.waitEnd());
}

// The system asks, tells, and ends whoever is still there.
TEST_P(CompanyOfAJob, EndsWithTheSessionAndTheNextOneBegins) {
    const std::wstring call = GetParam().sessionEndsIn;
    LoadAndBuild(GetParam().machine);
    {
        RunningProgram program;
        Prepare(&program);
        program.bench(L"hold " + call + L" 1");
        program.clickAndLeave(GetParam().button);
        ASSERT_TRUE(drive::WaitUntil([&] { return program.bench(L"held") == L"yes " + call; }));
        for (HWND window : WindowsOf(&program))
            EXPECT_NE(0u, Ask(window, WM_QUERYENDSESSION));
        for (HWND window : WindowsOf(&program))
            Ask(window, WM_ENDSESSION, TRUE);
    }
    RunningProgram next;
    next.waitDialog(1100);
    next.waitText(L"1009", L"Select two NICs");
    std::wstring text;
    EXPECT_EQ(nullptr, drive::FindMessageBox(next.process().id, &text));
    next.clickAndLeave(L"2");
    EXPECT_EQ(0u, next.waitEnd());
}

INSTANTIATE_TEST_SUITE_P(Jobs, CompanyOfAJob, testing::ValuesIn(kJobs), NameOf);

// Another client of the network configuration, in this process, beside the program that ships.
class AnotherClient : public MachineTest {
  protected:
    void SetUp() override {
        LoadAndBuild(L"two-ports.txt");
        LPWSTR holder = nullptr;
        ASSERT_EQ(S_OK, HrGetINetCfg(TRUE, L"Other Tool", &client_, &holder));
    }
    void TearDown() override {
        Release();
        MachineTest::TearDown();
    }
    void Release() {
        if (client_ != nullptr)
            EXPECT_EQ(S_OK, HrReleaseINetCfg(client_, TRUE));
        client_ = nullptr;
    }
    static void StartCreation(RunningProgram* program) {
        program->tickRow(L"1002", 0);
        program->tickRow(L"1002", 1);
        program->click(L"1003");
        program->clickAndLeave(L"1000");
    }

  private:
    INetCfg* client_ = nullptr;
};

TEST_F(AnotherClient, ThatLetsGoAfterASecondOnlyDelaysACreation) {
    const UINT64 start = BenchNow();
    RunningProgram program;
    StartCreation(&program);
    EXPECT_TRUE(drive::WaitUntil([&] { return BenchNow() >= start + 1000; }));
    EXPECT_EQ(std::vector<std::wstring>(), Texts(program.journal(), L"binding-disable"));
    Release();
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(1u, program.rows(L"1004").size());
}

TEST_F(AnotherClient, ThatKeepsTheLockEndsACreationAfterFiveSeconds) {
    const std::string before = MachineDump();
    const UINT64 start = BenchNow();
    RunningProgram program;
    StartCreation(&program);
    program.waitDialog(1104);
    program.waitGone(1104);
    EXPECT_TRUE(IsWindowEnabled(GetAncestor(program.waitDialog(1100), GA_ROOT)));
    EXPECT_EQ(L"Configuring Team. Please wait..", program.text(L"1009"));
    EXPECT_EQ(start + 5000, BenchNow());
    EXPECT_EQ(before, MachineDump());
    // The next attempt finds the lock free.
    Release();
    program.click(L"1000");
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(1u, program.rows(L"1004").size());
}

// The same through every job, with a client of the bench's own.
class LockedRemoval : public RemovalTest {};

TEST_F(LockedRemoval, IsDelayedByALockOfOneSecond) {
    Teams(1);
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = 1;
    OpenTeams({0});
    const UINT64 start = BenchNow();
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    EXPECT_EQ(8u, removed.of(L"binding-enable").size());
    EXPECT_LE(start, BenchNow());
    EXPECT_GE(1000u, BenchNow());
}

TEST_F(LockedRemoval, UnderALockForGoodLeavesTheMembersUnbound) {
    Teams(1);
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = INFINITE;
    OpenTeams({0});
    const UINT64 start = BenchNow();
    Outcome removed = Remove();
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
    EXPECT_EQ(Texts16{}, removed.of(L"binding-enable"));
    EXPECT_EQ(start + 10000, BenchNow()) << "five seconds for each member";
    EXPECT_EQ(2, page->rows(IDC_NIC_LIST));
    EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
}

class LockedCreation : public CreationTest {};

TEST_F(LockedCreation, IsDelayedByALockOfOneSecond) {
    Ports(2);
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = 1;
    Open({0, 1});
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    EXPECT_EQ(8u, made.of(L"binding-disable").size());
    EXPECT_EQ(1000u, BenchNow());
}

TEST_F(LockedCreation, UnderALockForGoodStopsWithoutAWordAndChangesNothing) {
    Ports(2);
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = INFINITE;
    Open({0, 1});
    Outcome stopped = Create();
    EXPECT_EQ(0, stopped.result);
    EXPECT_EQ(Texts16{}, stopped.statuses);
    EXPECT_EQ(Texts8{}, stopped.difference);
    EXPECT_EQ(5000u, BenchNow()) << "nobody waits for the second member";
}

class LockedVlans : public VlanPageTest {
  protected:
    // The host's page on a machine whose configuration is held so long.
    void OpenLocked(SheetOf host, DWORD seconds, bool withVlan) {
        Ports(2);
        if (host.nic != 0)
            AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        if (withVlan)
            AddVlan(host.nic == 0 ? L"port0" : L"team-1", 10, L"Voice");
        machine.lockHolder = L"Other Tool";
        machine.lockSeconds = seconds;
        OpenPage(host);
    }
};

TEST_F(LockedVlans, AreMadeAndRemovedAfterALockOfOneSecond) {
    for (SheetOf host : {kNic, kTeam}) {
        SCOPED_TRACE(host.nic == 0 ? "adapter" : "team");
        OpenLocked(host, 1, false);
        vlans->add(L"10", L"Voice");
        EXPECT_EQ((Texts16{L"10 Voice"}), vlans->cells());
        EXPECT_EQ("disabled hidden", HostState());
        EXPECT_EQ(1000u, BenchNow());
        OpenLocked(host, 1, true);
        Bench(L"message-box IDOK");
        vlans->remove({0});
        EXPECT_EQ(0, vlans->rows());
        EXPECT_EQ("enabled shown", HostState());
        EXPECT_EQ(1000u, BenchNow());
    }
}

// The bindings are not what decides whether there is a VLAN.
TEST_F(LockedVlans, AreMadeAndRemovedUnderALockForGoodWithTheBindingsAsTheyWere) {
    for (SheetOf host : {kNic, kTeam}) {
        SCOPED_TRACE(host.nic == 0 ? "adapter" : "team");
        OpenLocked(host, INFINITE, false);
        vlans->add(L"10", L"Voice");
        EXPECT_EQ(1, vlans->rows());
        EXPECT_EQ("enabled hidden", HostState());
        EXPECT_EQ(5000u, BenchNow());
        OpenLocked(host, INFINITE, true);
        Bench(L"message-box IDOK");
        vlans->remove({0});
        EXPECT_EQ(0, vlans->rows());
        EXPECT_EQ("disabled shown", HostState());
        EXPECT_EQ(5000u, BenchNow());
    }
}
