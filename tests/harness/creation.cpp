#include "harness/creation.h"

#include "team/create_team.h"

#include <algorithm>
#include <sstream>

namespace text {
const wchar_t kNotAdmin[] = L"User should have Admin privilege to be   \r\n"
                            L"able to create a team. Please  login as Admin  \r\n"
                            L"and try again\r\n";
const wchar_t kNoInf[] = L"Could not find driver files. Install     \r\n"
                         L"Quovane Teaming driver and try to configure the\r\n"
                         L"Team again.\r\n";
const wchar_t kTooManyNics[] = L"Selected nic itemsis more than 8.\r\n";
const wchar_t kTooManyTeams[] = L"Could not create Team\r\nYou have reached MAX TEAM limit (=4)";
const wchar_t kForeign[] =
    L"The Nics selected is not from Quovane\r\nPlease select Quovane Nics to team";
const wchar_t kNameInUse[] = L"This team name is already in use. Try another name.\r\n";
const wchar_t kNameInvalid[] = L"Team name not valid. Try another name              \r\n";
const wchar_t kNotOpened[] = L"Could not open device for Validating NIC \r\n"
                             L"Properties. Enable all NICs and try configuring\r\n"
                             L"the Team again.\r\n";
const wchar_t kXpOffload[] = L"On Windows XP Connection Offload is not supported.\r\n"
                             L"DisableTCP Connection Offload and try configuring\r\n"
                             L"the Team again.\r\n";
const wchar_t kVlansKept[] = L"There are vlans associated with the underlying Nic. \r\n"
                             L"Remove the vlans to continue team creation\r\n";
const wchar_t kVlansStuck[] = L"Could not remove vlan from the underlying Nic. \r\n"
                              L"Try manually removing the vlans to continue\r\n";
const wchar_t kBindingNotWritten[] = L"Writing into registryFailed";
const wchar_t kNotUpdated[] = L"Could not updateTeam";
const wchar_t kCreated[] = L"Team Created.";
const wchar_t kHelp[] = L"Select two NICs from 'Unassigned Adapters' list  \r\n"
                        L"choose a 'Teaming Mode', and click on 'Create\r\n"
                        L"Team' button. Use 'Move Up'/'Move Down' button\r\n"
                        L"to set preference order of an adapter within a team";
const wchar_t kVlanQuestion[] =
    L"message-box \"Warning\" \"The vlans associated with underlying Nics "
    L"will be removed. Press OK to continue\" type=0x31 -> ";
} // namespace text

namespace {

const wchar_t kRecords[] = L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters\\";

void Replace(std::wstring* text, const std::wstring& what, const std::wstring& with) {
    for (size_t at = 0; (at = text->find(what, at)) != std::wstring::npos; at += with.size())
        text->replace(at, what.size(), with);
}

std::wstring Unquoted(std::wstring text) {
    if (text.size() >= 2 && text.front() == L'"' && text.back() == L'"')
        text = text.substr(1, text.size() - 2);
    Replace(&text, L"\\r", L"\r");
    Replace(&text, L"\\n", L"\n");
    return text;
}

std::wstring Wide(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};
}

Texts8 SplitLines(const std::string& text) {
    Texts8 lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

struct Job {
    int (*run)(HWND page);
    HWND page;
    int result;
};

DWORD WINAPI RunJob(void* parameter) {
    Job* job = static_cast<Job*>(parameter);
    SetLastError(0xdeadbeef);
    job->result = job->run(job->page);
    return 0;
}

// True when the thread ended. The window's messages are taken in while waiting.
bool WaitServing(HANDLE thread, DWORD milliseconds) {
    DWORD woken = MsgWaitForMultipleObjects(1, &thread, FALSE, milliseconds, QS_ALLINPUT);
    PageHost::Pump();
    return woken == WAIT_OBJECT_0;
}

// The server that the program's own use has loaded. It stays, so that its counts can be asked.
template <class Function> Function NetCfgExport(const char* name) {
    static HMODULE server = LoadLibraryW(L"qvnetcfg.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(server, name)));
}

} // namespace

Texts16 Outcome::of(const std::wstring& kind) const {
    Texts16 found;
    for (const std::wstring& event : events) {
        if (event.compare(0, kind.size() + 1, kind + L" ") == 0)
            found.push_back(event.substr(kind.size() + 1));
    }
    return found;
}

void CreationTest::SetUp() {
    Bench(L"message-box IDCANCEL all");
}

void CreationTest::TearDown() {
    page.reset();
    MachineTest::TearDown();
}

MachineAdapter& CreationTest::Port(int number) {
    MachineAdapter* port = machine.FindAdapter(L"port" + std::to_wstring(number));
    EXPECT_NE(port, nullptr) << "port" << number;
    static MachineAdapter none;
    return port != nullptr ? *port : none;
}

void CreationTest::Ports(int count, const std::wstring& file) {
    ASSERT_TRUE(LoadWithPorts(file, count, &machine));
    for (MachineAdapter& port : machine.adapters)
        port.ipAddress.clear();
}

void CreationTest::AddTeam(const std::wstring& name, DWORD slot, DWORD mode, Texts16 members) {
    MachineTeam team;
    wchar_t guid[64];
    int number = static_cast<int>(machine.teams.size()) + 1;
    swprintf(guid, 64, L"{B0000000-0000-4000-8000-%012X}", number);
    team.name = L"team-" + std::to_wstring(number);
    team.teamName = name;
    team.slot = slot;
    team.mode = mode;
    team.guid = guid;
    team.members = members;
    team.address = L"0251560000B" + std::to_wstring(number);
    machine.teams.push_back(team);
}

void CreationTest::AddVlan(const std::wstring& host, DWORD id, const std::wstring& name) {
    MachineVlan vlan;
    wchar_t guid[64];
    swprintf(guid, 64, L"{C0000000-0000-4000-8000-%012X}", static_cast<int>(id));
    vlan.name = L"vlan" + std::to_wstring(id);
    vlan.host = host;
    vlan.id = id;
    vlan.vlanName = name;
    vlan.guid = guid;
    machine.vlans.push_back(vlan);
}

void CreationTest::Tick(const std::vector<int>& rows) {
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++)
        page->tickRow(IDC_NIC_LIST, row, std::find(rows.begin(), rows.end(), row) != rows.end());
}

void CreationTest::Open(const std::vector<int>& rows, DWORD mode,
                        std::optional<std::wstring> name) {
    page.reset();
    Build();
    page = std::make_unique<PageHost>();
    // A repaint updates the mode boxes; an unseen list stays out of it.
    ShowWindow(page->control(IDC_NIC_LIST), SW_HIDE);
    ShowWindow(page->control(IDC_TEAM_LIST), SW_HIDE);
    Tick(rows);
    page->tick(IDC_ACTIVE_BACKUP, mode & 1);
    page->tick(IDC_TX_LOAD_BALANCING, mode & 2);
    page->tick(IDC_LACP, mode & 4);
    page->tick(IDC_FAILBACK, mode & 8);
    if (name)
        page->setText(IDC_TEAM_NAME, *name);
    Bench(L"reset-counts");
}

Outcome CreationTest::Create(const std::vector<Stop>& stops) {
    return Run(CreateTeam, stops);
}

Outcome CreationTest::Run(int (*run)(HWND page), const std::vector<Stop>& stops) {
    std::string before = MachineDump();
    Outcome outcome = Perform(run, stops);
    for (const std::string& line : DumpDifference(before, MachineDump()))
        outcome.difference.push_back(Narrow(Short(Wide(line))));
    return outcome;
}

Outcome CreationTest::Perform(int (*run)(HWND page), const std::vector<Stop>& stops) {
    Outcome outcome;
    Bench(L"reset-open");
    ClearJournal();
    if (!stops.empty())
        Bench(L"hold " + stops[0].call + L" " + std::to_wstring(stops[0].nth));

    Job job = {run, page->window(), -1};
    HANDLE thread = CreateThread(nullptr, 0, RunJob, &job, 0, nullptr);
    bool ended = false;
    for (size_t i = 0; i < stops.size() && !ended; i++) {
        std::wstring held;
        while (!(ended = WaitServing(thread, 1)) &&
               (held = Bench(L"held")) != L"yes " + stops[i].call)
            continue;
        if (ended) {
            ADD_FAILURE() << "never came to " << testing::PrintToString(stops[i].call);
            break;
        }
        if (stops[i].act)
            stops[i].act();
        if (i + 1 < stops.size())
            Bench(L"hold " + stops[i + 1].call + L" " + std::to_wstring(stops[i + 1].nth));
        Bench(L"release");
    }
    while (!ended)
        ended = WaitServing(thread, INFINITE);
    CloseHandle(thread);

    outcome.result = job.result;
    SortJournal(Journal(), &outcome);

    std::wstring open = Bench(L"open");
    std::wistringstream counts(open);
    for (std::wstring count; counts >> count;)
        EXPECT_EQ(L"0", count.substr(count.find(L'=') + 1)) << testing::PrintToString(open);
    EXPECT_EQ(0, NetCfgExport<long (*)()>("NetCfgLiveObjects")());
    EXPECT_FALSE(NetCfgExport<BOOL (*)()>("NetCfgLockHeld")());
    return outcome;
}

void CreationTest::SortJournal(const Events& journal, Outcome* outcome) const {
    for (const Event& event : journal) {
        if (event.kind == L"status")
            outcome->statuses.push_back(Unquoted(event.text));
        else if (event.text != L"1104") // the please-wait dialog is the page's
            outcome->events.push_back(
                Short(event.kind + (event.text.empty() ? L"" : L" ") + event.text));
    }
}

Outcome CreationTest::Press(RunningProgram* program, const std::wstring& button) {
    Outcome outcome;
    program->bench(L"journal-clear");
    program->click(button);
    program->waitJobOver();
    SortJournal(program->journal(), &outcome);
    return outcome;
}

std::wstring CreationTest::Short(const std::wstring& text) const {
    std::wstring shown = text;
    for (const MachineAdapter& adapter : machine.adapters) {
        Replace(&shown, adapter.guid, L"{" + adapter.name + L"}");
        Replace(&shown, adapter.instance, adapter.name);
    }
    for (const MachineTeam& team : machine.teams)
        Replace(&shown, team.guid, L"{" + team.name + L"}");
    for (const MachineVlan& vlan : machine.vlans)
        Replace(&shown, vlan.guid, L"{" + vlan.name + L"}");
    for (int number = 1; number < 10; number++) {
        wchar_t guid[64];
        swprintf(guid, 64, L"{51560000-0000-4000-8000-%012X}", number);
        Replace(&shown, guid, L"{" + std::to_wstring(number) + L"}");
    }
    Replace(&shown, std::wstring(L"HKLM\\") + kRecords, L"record\\");
    Replace(&shown, L"qvteamp\\Parameters\\Adapters\\", L"record\\");
    Replace(&shown,
            L"HKLM\\System\\CurrentControlSet\\Control\\Network\\"
            L"{4D36E972-E325-11CE-BFC1-08002BE10318}\\",
            L"network\\");
    return shown;
}

Texts16 operator+(Texts16 left, const Texts16& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Texts8 operator+(Texts8 left, const Texts8& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Texts8 DumpDifference(const std::string& before, const std::string& after) {
    Texts8 difference;
    Texts8 old = SplitLines(before);
    Texts8 now = SplitLines(after);
    for (const std::string& line : old) {
        if (std::find(now.begin(), now.end(), line) == now.end())
            difference.push_back("- " + line);
    }
    for (const std::string& line : now) {
        if (std::find(old.begin(), old.end(), line) == old.end())
            difference.push_back("+ " + line);
    }
    return difference;
}

void ExpectEvents(const Texts16& expected, const Texts16& events) {
    size_t same = 0;
    while (same < expected.size() && same < events.size() && expected[same] == events[same])
        same++;
    if (same == expected.size() && same == events.size())
        return;
    std::string all;
    for (const std::wstring& event : events)
        all += "\n    " + Narrow(event);
    ADD_FAILURE() << "event " << same << " should be "
                  << (same < expected.size() ? Narrow(expected[same]) : "none") << "\n  but is "
                  << (same < events.size() ? Narrow(events[same]) : "none") << "\n  of" << all;
}

void ExpectFacts(const Texts8& expected, const Texts8& facts) {
    std::string wrong;
    for (const std::string& fact : expected) {
        if (std::find(facts.begin(), facts.end(), fact) == facts.end())
            wrong += "\n  missing:    " + fact;
    }
    for (const std::string& fact : facts) {
        if (std::find(expected.begin(), expected.end(), fact) == expected.end())
            wrong += "\n  unexpected: " + fact;
    }
    if (!wrong.empty())
        ADD_FAILURE() << "the machine is not as it should be" << wrong;
}

Texts16 UnbindEvents(const std::wstring& member) {
    Texts16 events = {L"netcfg-lock"};
    for (const wchar_t* path :
         {L"ms_msclient->ms_netbt->ms_tcpip", L"ms_server->ms_netbt->ms_tcpip",
          L"ms_netbt->ms_tcpip", L"ms_tcpip"})
        events.push_back(std::wstring(L"binding-disable ") + path + L"->{" + member + L"}");
    return events + Texts16{L"netcfg-apply", L"netcfg-unlock"};
}

Texts8 UnbindFacts(const std::string& member) {
    Texts8 facts;
    for (const char* path : {"ms_msclient->ms_netbt->ms_tcpip", "ms_netbt->ms_tcpip",
                             "ms_server->ms_netbt->ms_tcpip", "ms_tcpip"}) {
        std::string fact = std::string("path\\") + path + "->{" + member + "} = ";
        facts.push_back("- " + fact + "enabled");
        facts.push_back("+ " + fact + "disabled");
    }
    return facts;
}
