// The program that ships ends without warning behind each change that an operation makes. The next
// start has to work, and docs/recovery.md has to lead back to a sound machine. QV_KILLS=all takes every
// change; otherwise a few of each operation are taken.
#include "sweep/recovery.h"
#include "sweep/table.h"

#include "device/net_config.h"
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "harness/program.h"

#include <cstring>
#include <fstream>

static const DWORD kClickGuard = 3000; // milliseconds of wall-clock time
static const wchar_t kTeam[] = L"Uplink";

struct KillCase {
    const char* name;
    bool team;                                           // the machine has one
    std::vector<std::pair<DWORD, const wchar_t*>> vlans; // of the team, or of port0 without one
    bool windowsXp;                                      // VLANs of an adapter have a page there
    bool vlanJob;
    std::vector<int>
        ticked; // in the list that the operation is about; an added VLAN has no row yet
    // The usual run kills behind the first changes that begin so.
    std::vector<const wchar_t*> sample;
};

static const KillCase kCases[] = {
    {"creation",
     false,
     {},
     false,
     false,
     {0, 1},
     {L"binding-disable ms_netbt", L"device-install", L"value-set record\\{port0}\\TeamBinding",
      L"device-disable port0"}},
    {"creation over members with VLANs",
     false,
     {{10, L"Voice"}, {20, L"Data"}},
     false,
     false,
     {0, 1},
     {}},
    {"removal with VLANs",
     true,
     {{10, L"Voice"}, {20, L"Data"}},
     false,
     false,
     {0},
     {L"value-set record\\{port0}\\VlanBinding", L"device-remove ROOT\\NET\\0000",
      L"key-delete record\\{port0}", L"device-disable port1"}},
    {"first VLAN of a team",
     true,
     {},
     false,
     true,
     {},
     {L"device-disable", L"value-set record\\{port0}\\VlanBinding"}},
    {"second VLAN of a team", true, {{10, L"Voice"}}, false, true, {}, {}},
    {"last VLAN of a team removed", true, {{10, L"Voice"}}, false, true, {0}, {L"device-remove"}},
    {"one of two VLANs of a team removed",
     true,
     {{10, L"Voice"}, {20, L"Data"}},
     false,
     true,
     {1},
     {}},
    {"first VLAN of an adapter", false, {}, true, true, {}, {}},
    {"last VLAN of an adapter removed", false, {{10, L"Voice"}}, true, true, {0}, {}},
};

static bool EveryKill() {
    const char* kills = std::getenv("QV_KILLS");
    return kills != nullptr && std::strcmp(kills, "all") == 0;
}

class KillSweep : public RecoveryTest, public testing::WithParamInterface<KillCase> {
  protected:
    void Describe(bool sound);
    void Prepare(RunningProgram* program) const;
    void Press(RunningProgram* program, bool leave) const;
    Texts16 ChangesMade();
    bool Kill(unsigned nth, std::wstring* last);
    void ExpectLockFree() const;
    void ExpectNextStart(SweepLine* line, std::wstring* lists) const;
    void ExpectRecovery(std::set<Recipe>* used);
    static std::vector<unsigned> Kills(const Texts16& changes);

    // A recipe that is of use nowhere is none.
    static void TearDownTestSuite() {
        if (casesRun < std::size(kCases))
            return;
        for (int recipe = 0; recipe < static_cast<int>(Recipe::Count); recipe++)
            EXPECT_EQ(1u, everUsed.count(static_cast<Recipe>(recipe)))
                << NameOf(static_cast<Recipe>(recipe));
    }

    static std::set<Recipe> everUsed;
    static size_t casesRun;
};

std::set<Recipe> KillSweep::everUsed;
size_t KillSweep::casesRun;

// What Windows keeps, as docs/recovery.md says: the connection of an adapter that was uninstalled by
// hand, and the entry of a device that was not registered yet.
static bool StaysWithWindows(const std::string& fact) {
    if (fact.find("+ network\\{") == 0)
        return fact.find("\\Connection\\") != std::string::npos;
    const std::string entry = "+ device\\ROOT\\NET\\";
    if (fact.find(entry) != 0)
        return false;
    const std::string id = fact.substr(entry.size(), 4);
    return RegistryHas(L"System\\CurrentControlSet\\Enum\\ROOT\\NET\\" +
                           std::wstring(id.begin(), id.end()),
                       L"Phantom");
}

static std::wstring LastLineOf(const std::wstring& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    std::string last;
    for (std::string line; std::getline(in, line);)
        last = line;
    return {last.begin(), last.end()};
}

// `sound`: as it has to be in the end, without team and VLANs.
void KillSweep::Describe(bool sound) {
    Ports(2);
    machine.nextVirtual = 4;
    // The General page makes these keys where there are none.
    for (MachineAdapter& port : machine.adapters)
        port.ipAddress = L"192.0.2.1";
    if (GetParam().windowsXp) {
        machine.windows = L"5.1";
        machine.newDev = {L"InstallSelectedDriver"};
        for (MachineAdapter& port : machine.adapters)
            port.values.push_back(MachineValue::Text(L"TCPOffload", L"1"));
    }
    if (sound)
        return;
    // Adapters that there were before go by the same kind of GUID as those to come.
    if (GetParam().team) {
        AddTeam(kTeam, 0, 1, {L"port0", L"port1"});
        machine.teams[0].guid = L"{51560000-0000-4000-8000-000000000001}";
    }
    int number = 2;
    for (const auto& [id, name] : GetParam().vlans) {
        AddVlan(GetParam().team ? L"team-1" : L"port0", id, name);
        machine.vlans.back().guid =
            L"{51560000-0000-4000-8000-00000000000" + std::to_wstring(number++) + L"}";
    }
}

// Until it is done: what is in the way of a mouse goes after a moment.
template <class Act> static void Insist(Act act) {
    std::wstring error;
    EXPECT_TRUE(drive::WaitUntil([&] { return act(&error); })) << testing::PrintToString(error);
}

static void Tick(HWND list, int row) {
    Insist([&](std::wstring* error) { return drive::TickRow(list, row, true, false, error); });
}

static void Click(HWND control, bool leave) {
    Insist([&](std::wstring* error) { return drive::ClickControl(control, leave, error); });
}

static void Type(HWND edit, const wchar_t* text) {
    Insist([&](std::wstring* error) { return drive::TypeText(edit, text, error); });
}

// Everything but the last press.
void KillSweep::Prepare(RunningProgram* program) const {
    program->bench(L"message-box IDOK all");
    HWND list = program->control(GetParam().team ? L"1004" : L"1002");
    if (!GetParam().vlanJob) {
        for (int row : GetParam().ticked)
            ::Tick(list, row);
        if (GetParam().team)
            return;
        Click(program->control(L"1003"), false);
        Type(program->control(L"1008"), kTeam);
        return;
    }
    ::Tick(list, 0);
    Click(program->control(L"1001"), true);
    HWND page = program->openTab(L"VLAN", 1101, 101);
    for (int row : GetParam().ticked)
        ::Tick(drive::FindControl(page, L"1000"), row);
    if (!GetParam().ticked.empty())
        return;
    Click(program->control(L"1001", 101), true);
    HWND dialog = program->waitDialog(102);
    Insist([&](std::wstring* error) { return drive::WaitIdle(dialog, error); });
    Type(drive::FindControl(dialog, L"1003"), L"30");
    Type(drive::FindControl(dialog, L"1004"), L"Third");
}

void KillSweep::Press(RunningProgram* program, bool leave) const {
    const int dialog = !GetParam().vlanJob ? 1100 : GetParam().ticked.empty() ? 102 : 101;
    const wchar_t* button = dialog == 1100  ? GetParam().team ? L"1005" : L"1000"
                            : dialog == 102 ? L"1"
                                            : L"1002";
    Click(program->control(button, dialog), leave);
}

// What the bench counts as a change.
static bool IsChange(const std::wstring& kind) {
    static const std::set<std::wstring> others = {L"status", L"message-box", L"dialog-open",
                                                  L"dialog-close", L"sleep"};
    return others.count(kind) == 0;
}

// Those of the operation from its beginning to its end.
Texts16 KillSweep::ChangesMade() {
    Describe(false);
    Build();
    RunningProgram program;
    Prepare(&program);
    program.bench(L"journal-clear");
    const unsigned before = std::stoul(program.bench(L"changes"));
    Press(&program, false);
    if (GetParam().vlanJob) {
        HWND view = program.control(L"1000", 101);
        const int rows =
            static_cast<int>(GetParam().vlans.size()) +
            (GetParam().ticked.empty() ? 1 : -static_cast<int>(GetParam().ticked.size()));
        EXPECT_TRUE(drive::WaitUntil([&] { return drive::ListRowCount(view) == rows; }));
    } else {
        program.waitText(L"1009", L"Select two NICs");
    }
    program.waitGone(1104);
    Texts16 changes;
    for (const Event& event : program.journal()) {
        if (IsChange(event.kind))
            changes.push_back(Short(event.kind + L" " + event.text));
    }
    EXPECT_EQ(std::stoul(program.bench(L"changes")) - before, changes.size());
    return changes;
}

// False when the program did not end. `last`: the last line of its journal.
bool KillSweep::Kill(unsigned nth, std::wstring* last) {
    Describe(false);
    Build();
    const std::wstring journal = L"kill-journal.txt";
    DeleteFileW(journal.c_str());
    RunningProgram program(L"journal " + journal);
    Prepare(&program);
    program.bench(L"kill-at-change " + std::to_wstring(nth));
    Press(&program, true);
    DWORD exitCode = 0;
    const bool ended = drive::ProgramWaitEnd(program.process(), drive::kHangGuard, &exitCode);
    EXPECT_TRUE(ended) << "the program goes on";
    EXPECT_EQ(static_cast<DWORD>(ERROR_PROCESS_ABORTED), exitCode) << "ended by itself";
    // What it showed goes a moment later, and would be in the next program's way.
    EXPECT_TRUE(
        drive::WaitUntil([&] { return drive::TopLevelWindows(program.process().id).empty(); }));
    *last = LastLineOf(journal);
    return ended;
}

// The system has released it with the process.
void KillSweep::ExpectLockFree() const {
    INetCfg* client = nullptr;
    const UINT64 now = BenchNow();
    EXPECT_EQ(S_OK, HrGetINetCfg(TRUE, L"Next", &client, nullptr));
    EXPECT_EQ(now, BenchNow()) << "somebody held it";
    if (client != nullptr)
        EXPECT_EQ(S_OK, HrReleaseINetCfg(client, TRUE));
}

// `lists`: what the page shows.
void KillSweep::ExpectNextStart(SweepLine* line, std::wstring* lists) const {
    RunningProgram program;
    std::wstring text;
    HWND page = nullptr;
    const bool shown = drive::WaitUntil([&] {
        page = drive::FindDialog(program.process().id, 1100);
        return page != nullptr || drive::ProgramWaitEnd(program.process(), 0, nullptr);
    });
    line->hangs += !shown;
    line->crashes += shown && page == nullptr;
    ASSERT_NE(nullptr, page) << "the next start shows no page";
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(nullptr, drive::FindMessageBox(program.process().id, &text))
        << testing::PrintToString(text);
    for (const wchar_t* list : {L"1002", L"1004"}) {
        for (const std::wstring& row : program.rows(list))
            *lists += row + L", ";
        *lists += *list == L'1' && list[3] == L'2' ? L"| " : L"";
    }
    // A click may get lost while the window comes up; an answer does not.
    DWORD exitCode = 1;
    EXPECT_TRUE(drive::WaitUntil([&] {
        DWORD_PTR answer;
        Click(program.control(L"2"), true);
        return drive::ProgramWaitEnd(program.process(), kClickGuard, &exitCode) ||
               SendMessageTimeoutW(page, WM_NULL, 0, 0, SMTO_NORMAL, drive::kHangGuard, &answer) ==
                   0;
    }));
    EXPECT_EQ(0u, exitCode);
}

void KillSweep::ExpectRecovery(std::set<Recipe>* used) {
    const Concerned concerned = !GetParam().vlanJob ? Concerned::Teams
                                : GetParam().team   ? Concerned::VlansOfTeam
                                                    : Concerned::VlansOfAdapter;
    Reopen();
    *used = Recover(concerned, kTeam);
    Texts8 different;
    for (const std::string& fact : NotBack()) {
        if (!StaysWithWindows(fact))
            different.push_back(fact);
    }
    ExpectFacts({}, different);
    // Sound: what was interrupted can be done and undone.
    const std::string before = MachineDump();
    if (concerned == Concerned::VlansOfAdapter) {
        AddAndRemoveVlan(false);
    } else {
        PressCreate({0, 1}, L"Sound");
        EXPECT_EQ(Texts16{L"Sound"}, page->rowTexts(IDC_TEAM_LIST));
        PressRemove({0});
    }
    ComeBackTo(before);
    ExpectBack();
    page.reset();
}

std::vector<unsigned> KillSweep::Kills(const Texts16& changes) {
    std::vector<unsigned> kills;
    for (unsigned nth = 1; EveryKill() && nth <= changes.size(); nth++)
        kills.push_back(nth);
    if (EveryKill())
        return kills;
    for (const std::wstring begin : GetParam().sample) {
        unsigned nth = 0;
        while (nth < changes.size() && changes[nth].compare(0, begin.size(), begin) != 0)
            nth++;
        EXPECT_LT(nth, changes.size()) << "no " << testing::PrintToString(begin);
        kills.push_back(nth + 1);
    }
    return kills;
}

static unsigned FailuresSoFar() {
    const testing::TestResult* result =
        testing::UnitTest::GetInstance()->current_test_info()->result();
    unsigned failures = 0;
    for (int part = 0; part < result->total_part_count(); part++)
        failures += result->GetTestPartResult(part).failed();
    return failures;
}

TEST_P(KillSweep, LeavesWhatCanBeRepaired) {
    casesRun++;
    if (!EveryKill() && GetParam().sample.empty())
        GTEST_SKIP() << "of long runs only";
    SweepLine line;
    line.operation = std::string("kill: ") + GetParam().name;
    Describe(true);
    Build();
    const std::string sound = MachineDump();
    const Texts16 changes = ChangesMade();
    line.calls = static_cast<unsigned>(changes.size());
    EXPECT_LT(3u, line.calls);
    for (unsigned nth : Kills(changes)) {
        std::wstring last;
        std::wstring lists;
        std::set<Recipe> used;
        const unsigned failures = FailuresSoFar();
        SCOPED_TRACE("change " + std::to_string(nth));
        const bool ended = Kill(nth, &last);
        line.runs++;
        line.hangs += !ended;
        ExpectLockFree();
        ExpectNextStart(&line, &lists);
        ComeBackTo(sound);
        ExpectRecovery(&used);
        everUsed.insert(used.begin(), used.end());
        std::string recipes;
        for (Recipe recipe : used)
            recipes += std::string(recipes.empty() ? "" : ", ") + NameOf(recipe);
        if (FailuresSoFar() != failures) {
            line.wrong++;
            ADD_FAILURE() << "behind " << testing::PrintToString(Short(last)) << ": " << recipes;
        } else if (EveryKill()) {
            std::printf("    %u %ls [%ls]: %s\n", nth, Short(last).c_str(), lists.c_str(),
                        recipes.c_str());
        }
    }
    line.print();
}

static std::string CaseName(const testing::TestParamInfo<KillCase>& info) {
    std::string name = info.param.name;
    for (char& c : name) {
        if (c == ' ')
            c = '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Kills, KillSweep, testing::ValuesIn(kCases), CaseName);
