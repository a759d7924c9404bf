// The program that ships ends without warning behind each change that an operation makes. The next
// start has to work, and docs/recovery.md has to lead back to a sound machine: what its table says of an
// interruption has to be how the page looks, its steps have to be enough, and none of them may be
// needless. QV_KILLS=all takes every change; otherwise a few of some operations are taken, at least one
// for each line of the table, and all of the shortest. The steps have to be enough too when the machine
// restarts before they are taken: QV_RESTART=1 restarts it behind each kill; the usual run restarts it
// behind about every second one.
#include "sweep/recovery.h"
#include "sweep/table.h"

#include "device/net_config.h"
#include "device/protocol.h"
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "harness/program.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <gtest/gtest-spi.h>
#include <numeric>
#include <sstream>

static const DWORD kClickGuard = 3000; // milliseconds of wall-clock time
static const wchar_t kTeam[] = L"Uplink";
static const wchar_t kSecondTeam[] = L"Second";
static const wchar_t kNewVlan[] = L"Third";

// Not touched by any operation: its adapters come after the others in every list, its records before.
static const wchar_t kOtherTeam[] = L"Other";
static const wchar_t kOtherInstance[] = L"ROOT\\NET\\0007";
static const wchar_t kOtherVlanInstance[] = L"ROOT\\NET\\0008";

enum class Job { CreateTeam, RemoveTeams, AddVlan, RemoveVlans };

// The kills of one line of the document's table.
struct Range {
    InterruptionId interruption;
    const wchar_t* from; // from the first change on, behind the last range's, that begins so
    Texts16 looks;       // each is seen, and no other
};

struct KillCase {
    const char* name;
    Job job;
    int teams; // that there are: kTeam, kSecondTeam
    std::vector<std::pair<DWORD, const wchar_t*>>
        vlans;              // of the last team, or of port0 without one
    const wchar_t* windows; // VLANs of an adapter have a page on 5.1 only, an artificial answer
    bool protocol;
    std::vector<int>
        ticked; // ports, or rows of the list that the operation is about; none for a new VLAN
    std::vector<Range> ranges;
    // The usual run kills behind the first changes that begin so, or behind each; none: long runs only.
    Texts16 sample;
};

static const Texts16 kWhole = {L""};

static void PrintTo(const KillCase& one, std::ostream* out) {
    *out << one.name;
}

static Texts16 Off(const std::wstring& look, const std::wstring& names) {
    return {look, look + L"; off: " + names};
}

// What every creation of a team does in the end.
static const std::vector<Range> kCreation = {
    {MembersDetached, L"netcfg-lock", {L"Port 0, Port 1 |"}},
    {RecordsBegun, L"value-set record\\{port0}\\TeamNumber", {L"Port 1 |", L"|"}},
    {TeamInstalled,
     L"device-register",
     {L"|; left: no driver", L"| Quovane Team Virtual Adapter (0)", L"| Uplink (0)"}},
    {TeamPutTogether,
     L"value-set record\\{port0}\\TeamBinding",
     {L"| Uplink (1)", L"| Uplink (2)", L"| Uplink (2); off: Uplink",
      L"| Uplink (2); off: Uplink:Port 0, Uplink", L"| Uplink (2); off: Uplink:Port 1, Uplink"}},
};

static std::vector<Range> Behind(const Range& first, std::vector<Range> ranges) {
    ranges.insert(ranges.begin(), first);
    return ranges;
}

// On the Windows 10 machine ROOT\NET\0000 is the number of a phantom.
static const std::vector<KillCase> kCases = {
    {"creation",
     Job::CreateTeam,
     0,
     {},
     L"10.0",
     true,
     {0, 1},
     kCreation,
     {L"binding-disable ms_netbt", L"value-set record\\{port0}\\TeamNumber", L"device-install",
      L"value-set record\\{port0}\\TeamBinding", L"device-disable port0"}},
    {"creation with the protocol",
     Job::CreateTeam,
     0,
     {},
     L"10.0",
     false,
     {0, 1},
     Behind({ProtocolInstalled, L"netcfg-lock", {L"Port 0, Port 1 |"}}, kCreation),
     {L"netcfg-install"}},
    {"creation on Windows 5.2", Job::CreateTeam, 0, {}, L"5.2", true, {0, 1}, kCreation, {}},
    {"creation over members with VLANs",
     Job::CreateTeam,
     0,
     {{10, L"Voice"}, {20, L"Data"}},
     L"10.0",
     true,
     {0, 1},
     Behind({MembersLoseVlans,
             L"value-set",
             {L"Port 0, Port 1 |; left: Port 0 - Voice, Port 0 - Data",
              L"Port 0, Port 1 |; left: Port 0 - Data", L"Port 0, Port 1 |"}},
            kCreation),
     {L"value-set"}},
    {"removal with VLANs",
     Job::RemoveTeams,
     1,
     {{10, L"Voice"}, {20, L"Data"}},
     L"10.0",
     true,
     {0},
     {{TeamLosesVlans,
       L"value-set",
       {L"| Uplink (2) +20; left: Uplink - Voice", L"| Uplink (2) +20",
        L"| Uplink (2); left: Uplink - Data", L"| Uplink (2)"}},
      {TeamGone, L"device-remove ROOT\\NET\\0001", {L"|"}},
      {MembersReleased,
       L"key-delete record\\{port0}",
       {L"Uplink:Port 0 |", L"Port 0 |", L"Port 0 |; off: Port 0", L"Port 0, Uplink:Port 1 |",
        L"Port 0, Port 1 |", L"Port 0, Port 1 |; off: Port 1"}}},
     {L"value-set record\\{port0}\\VlanBinding", L"device-remove ROOT\\NET\\0001",
      L"key-delete record\\{port0}", L"device-disable port1"}},
    {"removal of two teams",
     Job::RemoveTeams,
     2,
     {{10, L"Voice"}},
     L"10.0",
     true,
     {0, 1},
     {{TeamsRemoved,
       L"key-delete network\\{team-1}\\Connection",
       {L"| Uplink (2), Second (2) +10", L"| Second (2) +10", L"Uplink:Port 0 | Second (2) +10",
        L"Port 0 | Second (2) +10", L"Port 0 | Second (2) +10; off: Port 0",
        L"Port 0, Uplink:Port 1 | Second (2) +10", L"Port 0, Port 1 | Second (2) +10",
        L"Port 0, Port 1 | Second (2) +10; off: Port 1", L"Port 0, Port 1 | Second (2)",
        L"Port 0, Port 1 | Second (2); left: Second - Voice", L"Port 0, Port 1 |",
        L"Port 0, Port 1, Second:Port 2 |", L"Port 0, Port 1, Port 2 |",
        L"Port 0, Port 1, Port 2 |; off: Port 2", L"Port 0, Port 1, Port 2, Second:Port 3 |",
        L"Port 0, Port 1, Port 2, Port 3 |", L"Port 0, Port 1, Port 2, Port 3 |; off: Port 3"}}},
     {L"device-remove ROOT\\NET\\0002"}},
    {"first VLAN of a team",
     Job::AddVlan,
     1,
     {},
     L"10.0",
     true,
     {},
     {{HostDetached, L"netcfg-lock", Off(L"| Uplink (2)", L"Uplink")},
      {TeamVlanInstalled,
       L"device-register",
       {L"| Uplink (2); left: no driver", L"| Uplink (2), Quovane Team Virtual Adapter (0)",
        L"| Uplink (2), Uplink - Third (0)", L"| Uplink (2); left: Uplink - Third"}},
      {VlanListed, L"value-set driver(ROOT\\NET\\0002)\\VlanName",
       Off(L"| Uplink (2) +30", L"Uplink - Third")}},
     {L"device-disable", L"value-set record\\{port0}\\VlanBinding",
      L"device-disable ROOT\\NET\\0002"}},
    {"second VLAN of a team",
     Job::AddVlan,
     1,
     {{10, L"Voice"}},
     L"10.0",
     true,
     {},
     {{FurtherVlanInstalled,
       L"device-create",
       {L"| Uplink (2) +10", L"| Uplink (2) +10; left: no driver",
        L"| Uplink (2) +10, Quovane Team Virtual Adapter (0)",
        L"| Uplink (2) +10, Uplink - Third (0)", L"| Uplink (2) +10; left: Uplink - Third"}},
      {VlanListed, L"value-set driver(ROOT\\NET\\0003)\\VlanName",
       Off(L"| Uplink (2) +10 +30", L"Uplink - Third")}},
     {}},
    {"last VLAN of a team removed",
     Job::RemoveVlans,
     1,
     {{10, L"Voice"}},
     L"10.0",
     true,
     {0},
     {{LastVlanForgotten, L"value-delete", {L"| Uplink (2); left: Uplink - Voice"}},
      {HostAttached, L"device-remove", Off(L"| Uplink (2)", L"Uplink")}},
     {L"value-delete", L"device-remove"}},
    {"one of two VLANs of a team removed",
     Job::RemoveVlans,
     1,
     {{10, L"Voice"}, {20, L"Data"}},
     L"10.0",
     true,
     {1},
     {{VlanForgotten,
       L"value-set",
       {L"| Uplink (2) +10; left: Uplink - Data", L"| Uplink (2) +10"}}},
     {}},
    {"first VLAN of an adapter",
     Job::AddVlan,
     0,
     {},
     L"5.1",
     true,
     {},
     {{HostDetached, L"netcfg-lock", Off(L"Port 0, Port 1 |", L"Port 0")},
      {AdapterVlanInstalled,
       L"device-register",
       {L"Port 0, Port 1 |; left: no driver", L"Port 0, Port 1 | Quovane Team Virtual Adapter (0)",
        L"Port 0, Port 1 | Port 0 - Third (0)", L"Port 0, Port 1 |; left: Port 0 - Third"}},
      {VlanListed, L"value-set driver(ROOT\\NET\\0000)\\VlanName",
       Off(L"Port 0 +30, Port 1 |", L"Port 0 - Third")}},
     {L"device-install"}},
    {"second VLAN of an adapter",
     Job::AddVlan,
     0,
     {{10, L"Voice"}},
     L"5.1",
     true,
     {},
     {{FurtherVlanInstalled,
       L"device-create",
       {L"Port 0 +10, Port 1 |", L"Port 0 +10, Port 1 |; left: no driver",
        L"Port 0 +10, Port 1 | Quovane Team Virtual Adapter (0)",
        L"Port 0 +10, Port 1 | Port 0 - Third (0)", L"Port 0 +10, Port 1 |; left: Port 0 - Third"}},
      {VlanListed, L"value-set driver(ROOT\\NET\\0001)\\VlanName",
       Off(L"Port 0 +10 +30, Port 1 |", L"Port 0 - Third")}},
     {L"value-set record\\{port0}\\VlanBinding"}},
    {"last VLAN of an adapter removed",
     Job::RemoveVlans,
     0,
     {{10, L"Voice"}},
     L"5.1",
     true,
     {0},
     {{LastVlanForgotten, L"value-delete", {L"Port 0, Port 1 |; left: Port 0 - Voice"}},
      {HostAttached, L"device-remove", Off(L"Port 0, Port 1 |", L"Port 0")}},
     {}},
    {"one of two VLANs of an adapter removed",
     Job::RemoveVlans,
     0,
     {{10, L"Voice"}, {20, L"Data"}},
     L"5.1",
     true,
     {1},
     {{VlanForgotten,
       L"value-set",
       {L"Port 0 +10, Port 1 |; left: Port 0 - Data", L"Port 0 +10, Port 1 |"}}},
     kWhole},
};

// What came of a program that was to be killed.
enum class Ending { NotStarted, GoesOn, Ended };

static bool EveryKill() {
    const char* kills = std::getenv("QV_KILLS");
    return kills != nullptr && std::strcmp(kills, "all") == 0;
}

static bool EveryRestart() {
    return NumberFromEnvironment("QV_RESTART", 0) != 0;
}

static bool RestartsBehind(unsigned nth) {
    return EveryKill() ? EveryRestart() : nth % 2 == 1;
}

// What an operation does that nobody interrupts.
struct Course {
    Texts16 changes;
    std::string before; // the machine
    std::string after;
    std::string bare; // without the teams and VLANs that it is about
};

class KillTest : public RecoveryTest {
  protected:
    void SetUp() override {
        RecoveryTest::SetUp();
        g_hostsAreShown = false;
    }
    bool vlanJob() const {
        return case_.job == Job::AddVlan || case_.job == Job::RemoveVlans;
    }
    void UseCase(const char* name);
    void Describe(bool bare);
    void AddBystanders();
    void Prepare(RunningProgram* program) const;
    void Press(RunningProgram* program, bool leave) const;
    void RunOperation();
    unsigned FirstChange(const std::wstring& begin, unsigned behind = 0) const;
    Ending Kill(unsigned nth);
    Texts8 Bystanders(const std::string& dump) const;
    std::vector<unsigned> RangeBegins() const;
    size_t RangeOf(unsigned nth) const;
    std::vector<unsigned> Kills(bool every) const;

    KillCase case_;
    Operation operation_;
    Course course_;
    size_t ports_ = 0; // the first adapters of the machine; the last of these is a free bystander

  private:
    void RunToEnd();
    void ReadChanges(RunningProgram* program);
};

void KillTest::UseCase(const char* name) {
    for (const KillCase& one : kCases) {
        if (std::strcmp(one.name, name) == 0)
            case_ = one;
    }
}

// Neither an operation nor a recovery may change anything of these. Their records come first: an adapter's
// record is the last one that a change of any team's VLANs looks at.
void KillTest::AddBystanders() {
    const size_t own = case_.teams == 2 ? 4 : 2;
    // The records of a team are the protocol's.
    if (!case_.protocol) {
        machine.adapters.erase(machine.adapters.begin() + static_cast<std::ptrdiff_t>(own) + 1,
                               machine.adapters.begin() + static_cast<std::ptrdiff_t>(ports_));
        ports_ = own + 1;
    }
    for (size_t port = own; port < ports_; port++)
        machine.adapters[port].guid[1] = L'9';
    if (!case_.protocol)
        return;
    AddTeam(kOtherTeam, 1, 2, {machine.adapters[own].name, machine.adapters[own + 1].name});
    MachineTeam& team = machine.teams.back();
    team.name = L"other";
    team.instance = kOtherInstance;
    team.guid = L"{B0000000-0000-4000-8000-000000000009}";
    team.address = L"0251560000B9";
    AddVlan(L"other", 70, L"Guest");
    machine.vlans.back().address = L"0251560000BA";
    machine.vlans.back().instance = kOtherVlanInstance;
    // Otherwise they are numbered behind all that there is.
    for (const std::wstring& guid : {team.guid, machine.vlans.back().guid}) {
        MachineKey key;
        key.path = NETWORK_CONNECTIONS_KEY L"\\" + guid + L"\\Connection";
        key.values = {MachineValue::Text(L"Name", L"Connection of another team")};
        machine.registry.push_back(key);
    }
}

// `bare`: without the teams and VLANs that the operation is about.
void KillTest::Describe(bool bare) {
    ports_ = case_.teams == 2 ? 7 : 5;
    const bool deployed = std::wcscmp(case_.windows, L"10.0") == 0;
    Ports(static_cast<int>(ports_), deployed ? kDeployedMachine : kSimpleMachine);
    machine.windows = case_.windows;
    machine.protocolInstalled = case_.protocol;
    machine.nextVirtual = 6;
    // The General page makes these keys where there are none.
    for (MachineAdapter& port : machine.adapters)
        port.ipAddress = L"192.0.2.1";
    if (machine.windows[0] == L'5')
        machine.newDev = {L"InstallSelectedDriver"};
    if (machine.windows == L"5.1") {
        for (MachineAdapter& port : machine.adapters)
            port.values.push_back(MachineValue::Text(L"TCPOffload", L"1"));
    }
    operation_ = {};
    operation_.members = {{L"port0", L"port1"}};
    if (case_.teams == 2)
        operation_.members.push_back({L"port2", L"port3"});
    // Adapters that there were before go by the same kind of GUID as those to come.
    int number = 1;
    const auto guid = [&] {
        return L"{51560000-0000-4000-8000-00000000000" + std::to_wstring(number++) + L"}";
    };
    for (int team = 0; team < case_.teams && !bare; team++) {
        operation_.teams.push_back(team == 0 ? kTeam : kSecondTeam);
        AddTeam(operation_.teams.back(), team == 0 ? 0 : 2, 1, operation_.members[team]);
        machine.teams.back().guid = guid();
        MachineKey key;
        key.path = L"System\\CurrentControlSet\\Services\\Tcpip\\Parameters\\Interfaces\\" +
                   machine.teams.back().guid;
        key.values = {MachineValue::MultiText(L"IPAddress", {L"192.0.2.2"})};
        machine.registry.push_back(key);
    }
    const std::wstring host = machine.teams.empty() ? L"port0" : machine.teams.back().name;
    for (const auto& [id, name] : case_.vlans) {
        if (bare)
            break;
        AddVlan(host, id, name);
        machine.vlans.back().guid = guid();
        machine.vlans.back().address = L"0251560000C" + std::to_wstring(number);
    }
    if (case_.job == Job::CreateTeam)
        operation_.teams = {kTeam};
    if (vlanJob())
        operation_.vlanHost = host;
    if (case_.job == Job::AddVlan)
        operation_.newVlan = kNewVlan;
    AddBystanders();
}

// What of a dump is about them.
Texts8 KillTest::Bystanders(const std::string& dump) const {
    Texts16 marks = {kOtherInstance, kOtherVlanInstance};
    for (const MachineAdapter& adapter : machine.adapters) {
        if (adapter.guid[1] == L'9' || IsInbox(adapter))
            marks.insert(marks.end(), {adapter.guid, adapter.instance});
    }
    for (const MachineTeam& team : machine.teams) {
        if (team.instance == kOtherInstance)
            marks.push_back(team.guid);
    }
    for (const MachineVlan& vlan : machine.vlans) {
        if (vlan.instance == kOtherVlanInstance)
            marks.push_back(vlan.guid);
    }
    Texts8 facts;
    for (const std::string& line : DumpLines(dump, "")) {
        const bool theirs = std::any_of(marks.begin(), marks.end(), [&](const std::wstring& mark) {
            return line.find(std::string(mark.begin(), mark.end())) != std::string::npos;
        });
        if (theirs)
            facts.push_back(line);
    }
    return facts;
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
static int RowOfPort(HWND list, int number) {
    const std::wstring name = L"Port " + std::to_wstring(number);
    const std::vector<drive::ListRow> rows = drive::ListRows(list);
    for (size_t row = 0; row < rows.size(); row++) {
        if (!rows[row].texts.empty() && rows[row].texts[0] == name)
            return static_cast<int>(row);
    }
    ADD_FAILURE() << "no row " << testing::PrintToString(name);
    return 0;
}

void KillTest::Prepare(RunningProgram* program) const {
    program->bench(L"message-box IDOK all");
    HWND list = program->control(case_.teams != 0 ? L"1004" : L"1002");
    if (!vlanJob()) {
        for (int row : case_.ticked)
            ::Tick(list, case_.job == Job::RemoveTeams ? row : RowOfPort(list, row));
        if (case_.job == Job::RemoveTeams)
            return;
        Click(program->control(L"1003"), false);
        Type(program->control(L"1008"), kTeam);
        return;
    }
    ::Tick(list, 0);
    program->openDialog(L"1001", 1101);
    HWND page = program->openTab(L"VLAN", 1101, 101);
    for (int row : case_.ticked)
        ::Tick(drive::FindControl(page, L"1000"), row);
    if (case_.job == Job::RemoveVlans)
        return;
    HWND dialog = program->openDialog(L"1001", 102, 101);
    Insist([&](std::wstring* error) { return drive::WaitIdle(dialog, error); });
    Type(drive::FindControl(dialog, L"1003"), L"30");
    Type(drive::FindControl(dialog, L"1004"), kNewVlan);
}

// A click may get lost on the way; the journal tells.
void KillTest::Press(RunningProgram* program, bool leave) const {
    static const struct {
        const wchar_t* button;
        int dialog;
    } last[] = {{L"1000", 1100}, {L"1005", 1100}, {L"1", 102}, {L"1002", 101}};
    const auto& [button, dialog] = last[static_cast<int>(case_.job)];
    Click(program->control(button, dialog), leave);
}

// What the bench counts as a change.
static bool IsChange(const std::wstring& kind) {
    static const std::set<std::wstring> others = {L"status", L"message-box", L"dialog-open",
                                                  L"dialog-close", L"sleep"};
    return others.count(kind) == 0;
}

void KillTest::ReadChanges(RunningProgram* program) {
    course_.changes.clear();
    for (const Event& event : program->journal()) {
        if (IsChange(event.kind))
            course_.changes.push_back(Short(event.kind + L" " + event.text));
    }
}

// Once for all tests.
void KillTest::RunOperation() {
    static std::map<std::string, Course> courses;
    Course& course = courses[case_.name];
    if (course.changes.empty()) {
        RunToEnd();
        course = course_;
    }
    course_ = course;
}

// Where it has not, the test has failed and says why.
static bool HasStarted(RunningProgram* program) {
    return program->process().process != nullptr;
}

void KillTest::RunToEnd() {
    Describe(true);
    Build();
    if (!case_.protocol)
        EXPECT_EQ(1, InstallProtocolDriver(nullptr));
    course_.bare = MachineDump();
    Describe(false);
    Build();
    course_.before = MachineDump();
    RunningProgram program;
    if (!HasStarted(&program))
        return;
    Prepare(&program);
    program.bench(L"journal-clear");
    const unsigned before = std::stoul(program.bench(L"changes"));
    EXPECT_TRUE(drive::WaitUntil([&] {
        Press(&program, false);
        return drive::WaitUntil([&] { return !program.journal().empty(); }, kClickGuard);
    }));
    if (vlanJob()) {
        HWND view = program.control(L"1000", 101);
        const int rows = static_cast<int>(case_.vlans.size()) +
                         (case_.job == Job::AddVlan ? 1 : -static_cast<int>(case_.ticked.size()));
        EXPECT_TRUE(drive::WaitUntil([&] { return drive::ListRowCount(view) == rows; }));
    } else {
        program.waitText(L"1009", L"Select two NICs");
    }
    program.waitGone(1104);
    ReadChanges(&program);
    EXPECT_EQ(std::stoul(program.bench(L"changes")) - before, course_.changes.size());
    course_.after = MachineDump();
}

// The number, from 1 on, of the first change behind that one that begins so; 0 when there is none.
unsigned KillTest::FirstChange(const std::wstring& begin, unsigned behind) const {
    for (unsigned at = behind; at < course_.changes.size(); at++) {
        if (course_.changes[at].compare(0, begin.size(), begin) == 0)
            return at + 1;
    }
    ADD_FAILURE() << "no " << testing::PrintToString(begin);
    return 0;
}

static Events ReadJournal(const std::wstring& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return ParseJournal({text.begin(), text.end()});
}

Ending KillTest::Kill(unsigned nth) {
    Describe(false);
    Build();
    const std::wstring path = L"kill-journal.txt";
    DeleteFileW(path.c_str());
    RunningProgram program(L"journal " + path);
    if (!HasStarted(&program))
        return Ending::NotStarted;
    Prepare(&program);
    program.bench(L"kill-at-change " + std::to_wstring(nth));
    const size_t before = ReadJournal(path).size();
    DWORD exitCode = 0;
    EXPECT_TRUE(drive::WaitUntil([&] {
        Press(&program, true);
        return drive::ProgramWaitEnd(program.process(), kClickGuard, &exitCode) ||
               ReadJournal(path).size() != before;
    }));
    const bool ended = drive::ProgramWaitEnd(program.process(), drive::kHangGuard, &exitCode);
    EXPECT_TRUE(ended) << "the program goes on";
    EXPECT_EQ(static_cast<DWORD>(ERROR_PROCESS_ABORTED), exitCode) << "ended by itself";
    // What it showed goes a moment later, and would be in the next program's way.
    EXPECT_TRUE(
        drive::WaitUntil([&] { return drive::TopLevelWindows(program.process().id).empty(); }));
    return ended ? Ending::Ended : Ending::GoesOn;
}

std::vector<unsigned> KillTest::RangeBegins() const {
    std::vector<unsigned> begins;
    for (const Range& range : case_.ranges)
        begins.push_back(FirstChange(range.from, begins.empty() ? 0 : begins.back()));
    return begins;
}

size_t KillTest::RangeOf(unsigned nth) const {
    const std::vector<unsigned> begins = RangeBegins();
    size_t range = begins.size() - 1;
    while (range > 0 && begins[range] > nth)
        range--;
    return range;
}

std::vector<unsigned> KillTest::Kills(bool every) const {
    std::vector<unsigned> kills;
    if (every || case_.sample == kWhole) {
        kills.resize(course_.changes.size());
        std::iota(kills.begin(), kills.end(), 1);
        return kills;
    }
    for (const std::wstring& begin : case_.sample) {
        if (const unsigned nth = FirstChange(begin))
            kills.push_back(nth);
    }
    return kills;
}

class KillSweep : public KillTest, public testing::WithParamInterface<KillCase> {
  protected:
    // What came of one range of the case.
    struct Tally {
        std::set<std::wstring> seen; // looks
        std::map<Step, std::vector<unsigned>>
            usedAt; // kills behind which the step changed something
    };

    void SetUp() override {
        KillTest::SetUp();
        case_ = GetParam();
    }
    bool whole() const {
        return EveryKill() || case_.sample == kWhole;
    }
    void ExpectLockFree() const;
    bool ExpectNextStart(SweepLine* line, Texts16* adapters, Texts16* teams) const;
    std::wstring ExpectLook(size_t range, const Texts16& adapters, const Texts16& teams);
    void ExpectBystanders(const std::string& dump, const char* when) const;
    Texts8 NotAsPromised(Promise promise);
    Steps ExpectRecovery(size_t range, unsigned nth);
    void ExpectGoesOn(const Steps& taken);
    void ExpectAllSeen() const;
    bool ExpectNeeded(size_t range, Step step);
    bool ExpectRepair(unsigned nth, SweepLine* line);
    bool ExpectRepairs(SweepLine* line);
    const Interruption& Of(size_t range) const {
        return kInterruptions[case_.ranges[range].interruption];
    }

    std::vector<Tally> tallies_;
};

// The system has released it with the process.
void KillSweep::ExpectLockFree() const {
    INetCfg* client = nullptr;
    const UINT64 now = BenchNow();
    EXPECT_EQ(S_OK, HrGetINetCfg(TRUE, L"Next", &client, nullptr));
    EXPECT_EQ(now, BenchNow()) << "somebody held it";
    if (client != nullptr)
        EXPECT_EQ(S_OK, HrReleaseINetCfg(client, TRUE));
}

// Gives the two lists. False when the program could not be started, which is not its own fault.
bool KillSweep::ExpectNextStart(SweepLine* line, Texts16* adapters, Texts16* teams) const {
    RunningProgram program;
    if (!HasStarted(&program))
        return false;
    std::wstring text;
    HWND page = nullptr;
    const bool shown = drive::WaitUntil([&] {
        page = drive::FindDialog(program.process().id, 1100);
        return page != nullptr || drive::ProgramWaitEnd(program.process(), 0, nullptr);
    });
    line->hangs += !shown;
    line->crashes += shown && page == nullptr;
    EXPECT_NE(nullptr, page) << "the next start shows no page";
    if (page == nullptr)
        return true;
    program.waitText(L"1009", L"Select two NICs");
    EXPECT_EQ(nullptr, drive::FindMessageBox(program.process().id, &text))
        << testing::PrintToString(text);
    *adapters = program.rows(L"1002");
    *teams = program.rows(L"1004");
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
    return true;
}

static void TakeOut(Texts16* texts, const std::wstring& text) {
    const auto found = std::find(texts->begin(), texts->end(), text);
    EXPECT_NE(texts->end(), found) << testing::PrintToString(text);
    if (found != texts->end())
        texts->erase(found);
}

// The page of the next start shows this; its Properties and the Device Manager add the rest.
std::wstring KillSweep::ExpectLook(size_t range, const Texts16& adapters, const Texts16& teams) {
    Look look = LookAround();
    EXPECT_EQ(adapters, page->rowTexts(IDC_NIC_LIST));
    EXPECT_EQ(teams, page->rowTexts(IDC_TEAM_LIST));
    TakeOut(&look.adapters, *machine.adapters[ports_ - 1].friendlyName);
    if (case_.protocol)
        TakeOut(&look.teams, L"Other (2) +70");
    const Texts16& looks = case_.ranges[range].looks;
    EXPECT_EQ(1, std::count(looks.begin(), looks.end(), look.text()))
        << testing::PrintToString(look.text()) << " while " << Of(range).during;
    tallies_[range].seen.insert(look.text());
    return look.text();
}

void KillSweep::ExpectBystanders(const std::string& dump, const char* when) const {
    SCOPED_TRACE(when);
    const Texts8 now = Bystanders(dump);
    // Windows binds a protocol that is new to every adapter.
    const bool bound = !case_.protocol && now != Bystanders(course_.before);
    ExpectFacts(Bystanders(bound ? course_.bare : course_.before), now);
}

// A protocol that has been installed stays.
Texts8 KillSweep::NotAsPromised(Promise promise) {
    if (promise == Promise::Bare)
        return NotSound(course_.bare);
    Texts8 facts = NotSound(promise == Promise::Before ? course_.before : course_.after);
    return case_.protocol || facts.empty() ? facts : NotSound(course_.bare);
}

// Gives the steps that changed something.
Steps KillSweep::ExpectRecovery(size_t range, unsigned nth) {
    Steps used;
    const Interruption& interruption = Of(range);
    Begin();
    std::string dump = MachineDump();
    ExpectBystanders(dump, "behind the kill");
    for (Step step : interruption.steps) {
        Take(step, operation_);
        if (!whole())
            continue;
        std::string now = MachineDump();
        if (now != dump) {
            tallies_[range].usedAt[step].push_back(nth);
            used.push_back(step);
        }
        dump = std::move(now);
        ExpectBystanders(dump, "behind a step");
    }
    ExpectFacts({}, NotAsPromised(interruption.promise));
    ExpectGoesOn(interruption.steps);
    page.reset();
    return used;
}

// What was interrupted can be done and undone.
void KillSweep::ExpectGoesOn(const Steps& taken) {
    const std::wstring& host = operation_.vlanHost;
    if (vlanJob()) {
        PressAddVlan(host, L"98", L"Sound");
        PressRemoveVlans(host, {L"Sound"});
        if (case_.teams == 0) {
            PressRemoveVlans(host, VlansOf(host));
            Take(Step::DeleteRecord, operation_);
        } else {
            PressRemove(kTeam);
        }
    } else if (taken.empty() || taken.back() != Step::TeamAgain) {
        PressCreate(operation_.members[0], L"Sound");
        PressRemove(L"Sound");
    }
    ExpectFacts({}, NotSound(course_.bare));
}

void KillSweep::ExpectAllSeen() const {
    for (size_t range = 0; range < tallies_.size(); range++) {
        for (const std::wstring& look : case_.ranges[range].looks)
            EXPECT_EQ(1u, tallies_[range].seen.count(look))
                << testing::PrintToString(look) << " is never seen while " << Of(range).during;
    }
}

// Behind some kill of the range the other steps alone lead to no machine that anybody wants. False when
// a program could not be started.
bool KillSweep::ExpectNeeded(size_t range, Step step) {
    std::vector<unsigned> kills = tallies_[range].usedAt[step];
    // The first and the last kills of a range often need less.
    std::rotate(kills.begin(), kills.begin() + static_cast<int>(kills.size() / 2), kills.end());
    for (unsigned nth : kills) {
        if (Kill(nth) == Ending::NotStarted)
            return false;
        Begin();
        for (Step other : Of(range).steps) {
            if (other != step)
                Take(other, operation_);
        }
        const Texts8 facts = NotSound(course_.before);
        const bool needed =
            !facts.empty() && !NotSound(course_.after).empty() && !NotSound(course_.bare).empty();
        page.reset();
        if (needed) {
            if (EveryKill())
                std::printf("    without step %d behind %u: %s\n", static_cast<int>(step), nth,
                            facts[0].substr(0, facts[0].find('\r')).c_str());
            return true;
        }
    }
    ADD_FAILURE() << "step " << static_cast<int>(step) << " is needless while " << Of(range).during;
    return true;
}

static unsigned FailuresSoFar() {
    const testing::TestResult* result =
        testing::UnitTest::GetInstance()->current_test_info()->result();
    unsigned failures = 0;
    for (int part = 0; part < result->total_part_count(); part++)
        failures += result->GetTestPartResult(part).failed();
    return failures;
}

// False when a program could not be started, so that nothing is known about this kill.
bool KillSweep::ExpectRepair(unsigned nth, SweepLine* line) {
    Texts16 adapters;
    Texts16 teams;
    const size_t range = RangeOf(nth);
    const unsigned failures = FailuresSoFar();
    const bool restarts = RestartsBehind(nth);
    SCOPED_TRACE("change " + std::to_string(nth) + (restarts ? ", restart" : ""));
    const Ending ending = Kill(nth);
    if (ending == Ending::NotStarted)
        return false;
    if (restarts)
        RestartMachine();
    line->runs++;
    line->hangs += ending == Ending::GoesOn;
    ExpectLockFree();
    if (!ExpectNextStart(line, &adapters, &teams))
        return false;
    const std::wstring look = ExpectLook(range, adapters, teams);
    std::string used;
    for (Step step : ExpectRecovery(range, nth))
        used += " " + std::to_string(static_cast<int>(step));
    if (FailuresSoFar() != failures) {
        line->wrong++;
        ADD_FAILURE() << "behind " << testing::PrintToString(course_.changes[nth - 1]);
    } else if (EveryKill()) {
        std::printf("    %u %ls [%ls]:%s\n", nth, course_.changes[nth - 1].c_str(), look.c_str(),
                    used.c_str());
    }
    return true;
}

// False when a program could not be started.
bool KillSweep::ExpectRepairs(SweepLine* line) {
    bool started = true;
    RunOperation();
    line->calls = static_cast<unsigned>(course_.changes.size());
    if (line->calls == 0)
        return false;
    EXPECT_LE(3u, line->calls);
    EXPECT_EQ(1u, RangeBegins()[0]) << "changes that belong to nothing";
    tallies_.resize(case_.ranges.size());
    for (unsigned nth : Kills(EveryKill()))
        started = ExpectRepair(nth, line) && started;
    if (!whole() || !started)
        return started;
    ExpectAllSeen();
    // Some steps are needless when the machine has restarted.
    if (EveryRestart())
        return started;
    for (size_t range = 0; range < tallies_.size(); range++) {
        for (Step step : Of(range).steps)
            started = ExpectNeeded(range, step) && started;
    }
    return started;
}

TEST_P(KillSweep, LeavesWhatCanBeRepaired) {
    if (!EveryKill() && case_.sample.empty())
        GTEST_SKIP() << "of long runs only";
    SweepLine line;
    line.operation = std::string(EveryRestart() ? "kill, restart: " : "kill: ") + case_.name;
    if (!ExpectRepairs(&line))
        line.operation += " (broken)";
    line.print();
}

static std::string CaseName(const testing::TestParamInfo<KillCase>& info) {
    std::string name = info.param.name;
    for (char& c : name) {
        if (c == ' ' || c == '.')
            c = '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Kills, KillSweep, testing::ValuesIn(kCases), CaseName);

// What docs/recovery.md says of other teams.
TEST_F(KillTest, OtherTeamsAreLeftAloneUntilTheStraysAreGone) {
    UseCase("creation");
    RunOperation();
    for (const std::optional<Step> leftOut :
         {std::optional(Step::Uninstall), std::optional(Step::DeleteRecord),
          std::optional<Step>()}) {
        Kill(FirstChange(L"property-set ROOT\\NET\\0001 FRIENDLYNAME"));
        Begin();
        RemoveTeams({0});
        EXPECT_EQ((Texts16{kTeam, kOtherTeam}), page->rowTexts(IDC_TEAM_LIST))
            << "did not come back";
        EXPECT_EQ(Bystanders(course_.before), Bystanders(MachineDump()));
        for (Step step : {Step::Uninstall, Step::DeleteRecord}) {
            if (step != leftOut)
                Take(step, operation_);
        }
        EXPECT_EQ(leftOut != Step::DeleteRecord, PressAddVlan(L"other", L"71", L"More"));
        PressRemove(kOtherTeam);
        EXPECT_EQ(leftOut == Step::DeleteRecord ? L"Could not remove vlans from the Team.\r\n"
                                                  L"Try manually removing the vlans to continue\r\n"
                                                : text::kHelp,
                  page->text(IDC_STATUS));
        EXPECT_EQ(leftOut ? L"Other:Port 2" : L"Port 2", FriendlyName(2));
        page.reset();
    }
}

// The cells of the table behind this heading, without its two first lines.
static std::vector<Texts8> TableBehind(const std::string& heading) {
    std::string path = __FILE__;
    path = "Z:" + path.substr(0, path.rfind("tests")) + "docs/recovery.md";
    std::ifstream document(path);
    std::string line;
    std::vector<Texts8> table;
    while (std::getline(document, line) && line != heading)
        continue;
    while (std::getline(document, line) && line.find("## ") != 0) {
        if (line.find("| ") != 0)
            continue;
        Texts8 cells;
        for (size_t at = 2, bar; (bar = line.find('|', at)) != std::string::npos; at = bar + 2)
            cells.push_back(line.substr(at, std::max(bar, at + 1) - 1 - at));
        table.push_back(cells);
    }
    EXPECT_LE(2u, table.size()) << path << " " << heading;
    table.erase(table.begin(), table.begin() + std::min<size_t>(table.size(), 2));
    return table;
}

TEST(RecoveryDocument, HasTheStepsThatAreTaken) {
    const std::vector<Texts8> table = TableBehind("## What to do");
    EXPECT_EQ(static_cast<size_t>(Step::Last), kSteps.size());
    std::vector<Texts8> expected;
    for (const StepText& step : kSteps)
        expected.push_back({std::to_string(expected.size() + 1), step.looks, step.what});
    EXPECT_EQ(expected, table);
}

TEST(RecoveryDocument, HasTheTableThatTheKillsAreJudgedBy) {
    std::vector<Texts8> expected;
    for (const Interruption& interruption : kInterruptions) {
        std::string steps;
        for (Step step : interruption.steps)
            steps += (steps.empty() ? "" : ", ") + std::to_string(static_cast<int>(step));
        expected.push_back(
            {interruption.during, interruption.page, steps.empty() ? "none" : steps});
    }
    EXPECT_EQ(expected, TableBehind("## By what was interrupted"));
}

// Of the usual run, whichever this one is.
TEST_F(KillTest, MeetsEveryLineOfTheDocument) {
    std::set<int> killed;
    for (const KillCase& one : kCases) {
        if (one.sample.empty())
            continue;
        case_ = one;
        RunOperation();
        for (unsigned nth : Kills(false))
            killed.insert(case_.ranges[RangeOf(nth)].interruption);
    }
    for (size_t line = 0; line < kInterruptions.size(); line++)
        EXPECT_EQ(1u, killed.count(static_cast<int>(line))) << kInterruptions[line].during;
}

TEST_F(KillTest, TellsAProgramThatDoesNotStartFromOneThatGoesOn) {
    const std::wstring program = ProgramPath();
    UseCase("creation");
    SetEnvironmentVariableW(L"QV_PROGRAM", L"C:\\nowhere\\QvTeamCfg.exe");
    EXPECT_NONFATAL_FAILURE(EXPECT_EQ(Ending::NotStarted, Kill(1)), "starting C:");
    SetEnvironmentVariableW(L"QV_PROGRAM", program.c_str());
}

// Gives how often a process is tried to be made when that fails with these errors, then succeeds.
static int TriesOf(std::vector<DWORD> errors) {
    size_t tries = 0;
    const bool created = drive::CreateInTries([&] {
        SetLastError(tries < errors.size() ? errors[tries] : ERROR_SUCCESS);
        return tries++ >= errors.size();
    });
    EXPECT_EQ(tries > errors.size(), created);
    if (!created)
        EXPECT_EQ(errors[tries - 1], GetLastError());
    return static_cast<int>(tries);
}

TEST(ProgramStart, IsTriedAgainAfterErrorsThatPass) {
    EXPECT_EQ(1, TriesOf({}));
    EXPECT_EQ(1, TriesOf({ERROR_FILE_NOT_FOUND}));
    EXPECT_EQ(3, TriesOf({ERROR_INTERNAL_ERROR, ERROR_NOT_ENOUGH_MEMORY}));
    EXPECT_EQ(3, TriesOf({ERROR_INTERNAL_ERROR, ERROR_INTERNAL_ERROR, ERROR_INTERNAL_ERROR,
                          ERROR_INTERNAL_ERROR}));
    EXPECT_EQ(2, TriesOf({ERROR_INTERNAL_ERROR, ERROR_ACCESS_DENIED, ERROR_INTERNAL_ERROR}));
}
