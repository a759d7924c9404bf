// Shows, teams and takes apart one hostile machine after the other, in process, with guard pages
// behind what the platform fills. A machine that ends the process costs only itself: the machines run
// in a process that is started again behind it.
//
//   hostile_machines.exe [--seed N] [--count N] [--table] [--log]
//
// Seeds of bad machines are printed; --seed N --count 1 plays one again, --log with each step. --table
// prints the line of the table: operation, calls, runs, crashes, hangs, leaks, wrong outcomes, seconds.
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/sheet_host.h"
#include "harness/vlan_host.h"
#include "sweep/guards.h"
#include "sweep/hostile_machine.h"

#include "../bench/machine/devices.h"
#include "app/adapter_sheet.h"
#include "app/team_page.h"
#include "app/team_page_dialog.h"
#include "info/general_page.h"
#include "info/statistics_page.h"
#include "info/team_properties.h"
#include "team/create_team.h"
#include "team/remove_team.h"

#include <commctrl.h>
#include <prsht.h>

#include <cstdio>
#include <map>
#include <memory>
#include <set>

namespace {

// A walk over the largest machine with all its records asks for well under a tenth of it.
constexpr ULONGLONG kMostCalls = 60000;
// For a loop that asks for nothing: only the process' end gets out of it.
constexpr DWORD kSilentMilliseconds = 180000;

enum Verdict { SOUND, CRASH, HANG, LEAK, WRONG, VERDICTS };
const char* const kVerdictNames[] = {"sound", "crash", "hang", "leak", "wrong"};

// What the processes share.
struct Progress {
    ULONGLONG seed; // being run, then the one behind the last
    ULONGLONG runs;
    ULONGLONG calls;
    ULONGLONG mostCalls; // of one machine
    ULONGLONG blocks;
    ULONGLONG bounced;
    ULONGLONG unbounced;
    ULONGLONG bad[VERDICTS];
    ULONGLONG notBuilt;
    ULONGLONG created;
    ULONGLONG removed;
    ULONGLONG vlansAdded;
    ULONGLONG vlansRemoved;
    ULONGLONG sheets;
    ULONGLONG vanished;
    ULONGLONG changed;
    ULONGLONG lies;
    ULONGLONG buildMilliseconds;
    char step[64];
};

Progress* g_progress;
bool g_log;
std::string g_wrong;
long g_locksForgotten; // by the machines so far

// Where the time goes, by step.
std::map<std::string, ULONGLONG> g_times;
ULONGLONG g_stepBegun;

void Step(const char* step) {
    g_times[g_progress->step] += GetTickCount64() - g_stepBegun;
    g_stepBegun = GetTickCount64();
    snprintf(g_progress->step, sizeof(g_progress->step), "%s", step);
    if (g_log)
        fprintf(stderr, "  %s\n", step);
}

void Report(Verdict verdict, const std::string& what) {
    g_progress->bad[verdict]++;
    printf("seed %llu: %s at %s: %s\n", g_progress->seed, kVerdictNames[verdict], g_progress->step,
           what.c_str());
    fflush(stdout);
}

void EndWith(Verdict verdict, const std::string& what) {
    Report(verdict, what);
    TerminateProcess(GetCurrentProcess(), 3);
}

void OnFault(const std::string& what) {
    EndWith(CRASH, what);
}

void Expect(bool holds, const char* what) {
    if (!holds && g_wrong.empty())
        g_wrong = std::string(what) + " (at " + g_progress->step + ")";
}

// ---- what happens between two calls

struct Disturbance {
    Dice dice;
    std::vector<qvmachine::FoundDevice> devices;
    ULONGLONG vanishAt = 0; // guarded call, 0: never
    ULONGLONG lastCall = 0;

    explicit Disturbance(uint64_t seed) : dice(seed ^ 0xD157) {
    }

    void beforeCall() {
        if (g_guardCounts.calls > lastCall)
            EndWith(HANG, "more than " + std::to_string(kMostCalls) + " calls");
        if (g_guardCounts.calls != vanishAt || devices.empty())
            return;
        qvmachine::RemoveNetDevice(devices[dice.below(static_cast<unsigned>(devices.size()))]);
        g_progress->vanished++;
        vanishAt = dice.oneIn(2) ? 0 : vanishAt + 1 + dice.below(200);
    }

    // Longer, shorter, or gone.
    void afterSizeQuery(HKEY key, LPCWSTR name) {
        if (!dice.oneIn(60))
            return;
        g_progress->changed++;
        MachineValue value = HostileValue(dice, name);
        if (dice.oneIn(4))
            RegDeleteValueW(key, name);
        else
            RegSetValueExW(key, name, 0, value.type, value.data.data(),
                           static_cast<DWORD>(value.data.size()));
    }

    void afterQuery(BYTE* answer, DWORD size, DWORD* returned) {
        if (!dice.oneIn(8))
            return;
        g_progress->lies++;
        for (DWORD i = dice.below(size + 1); i < size; i++)
            answer[i] = static_cast<BYTE>(dice.oneIn(3) ? dice.next() : dice.below(60));
        if (dice.oneIn(2))
            *returned = dice.oneIn(2) ? static_cast<DWORD>(dice.next()) : dice.below(300);
    }
};

// ---- judging

bool Ends(const wchar_t* text, size_t cch) {
    return wcsnlen(text, cch) < cch;
}

void ExpectTables(PageHost& page) {
    Expect(page.rows(IDC_NIC_LIST) <= MAX_NIC_ROWS, "more adapters than rows");
    Expect(page.rows(IDC_TEAM_LIST) <= MAX_TEAM_ROWS, "more team adapters than rows");
    Expect(g_numTeams >= 0 && g_numTeams <= MAX_TEAMS, "more teams than slots");
    for (const TeamEntry& team : page.data()->teams) {
        Expect(team.numNics >= 0 && team.numNics <= MAX_TEAM_NICS, "more members than places");
        for (const auto& name : team.nicNames)
            Expect(Ends(name, MEMBER_NAME_CCH), "a member's name without end");
    }
    auto expectRow = [](const AdapterEntry& entry, const AdapterDetails& details) {
        Expect(Ends(entry.name, NAME_CCH), "a name without end");
        Expect(Ends(details.service, NAME_CCH) && Ends(details.driverDate, NAME_CCH) &&
                   Ends(details.driverVersion, NAME_CCH),
               "a detail without end");
        Expect(entry.vlans.numVlans <= MAX_VLANS, "more VLANs than rows");
        for (const auto& name : entry.vlans.vlanNames)
            Expect(Ends(name, NAME_CCH), "a VLAN's name without end");
    };
    for (int row = 0; row < MAX_NIC_ROWS; row++)
        expectRow(g_nics[row], g_nicDetails[row]);
    for (int row = 0; row < MAX_TEAM_ROWS; row++)
        expectRow(g_teamAdapters[row], g_teamAdapterDetails[row]);
}

void ExpectUsable(PageHost& page) {
    Step("page used again");
    Expect(IsWindow(page.window()) && IsWindowEnabled(page.window()), "the page is disabled");
    Expect(OnInitDialog(page.window()) == 1, "the page is not rebuilt");
    ExpectTables(page);
    Expect(!page.text(IDC_TEAM_NAME).empty(), "no team name proposed");
    for (int list : {IDC_NIC_LIST, IDC_TEAM_LIST}) {
        page.notifyClick(list);
        page.rowTexts(list);
    }
}

template <class Function> Function NetCfgExport(const char* name) {
    static HMODULE server = LoadLibraryW(L"qvnetcfg.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(server, name)));
}

// The page's image list goes with its list views, unseen.
const char kOfListViews[] = "image-lists=1";

void ExpectNothingOpen() {
    std::string open = StillOpen();
    if (open == kOfListViews)
        open.clear();
    if (GuardedBlocks() != 0)
        open += (open.empty() ? "blocks=" : " blocks=") + std::to_string(GuardedBlocks());
    if (NetCfgExport<long (*)()>("NetCfgLiveObjects")() != 0)
        open += " configuration objects";
    if (NetCfgExport<BOOL (*)()>("NetCfgLockHeld")())
        open += " the configuration lock";
    if (g_locksForgotten != NetCfgExport<long (*)()>("NetCfgLocksForgotten")())
        open += " the configuration lock of a released object";
    g_locksForgotten = NetCfgExport<long (*)()>("NetCfgLocksForgotten")();
    if (!open.empty())
        Report(LEAK, open);
    ForgetGuardedBlocks();
    Bench(L"reset-open");
}

// ---- the operations

// Wine's edit control falls over the layout of right-to-left and paired characters.
std::wstring Typed(std::wstring text) {
    for (wchar_t& character : text)
        character = character >= 0x590 && character != 0x3000 ? L'x' : character;
    return text;
}

void ShowPages(PageHost& page, Dice& dice) {
    auto data = [&] { return std::make_unique<SheetData>(*page.data()); };
    Step("General page");
    {
        SheetHost general(IDD_GENERAL_PAGE, QvPropertiesDialogProc, data());
        general.rows();
    }
    Step("Statistics page");
    {
        SheetHost statistics(IDD_STATISTICS_PAGE, QvStatisticsDialogProc, data());
        statistics.press(dice.oneIn(2) ? IDC_RESET : IDC_REFRESH);
    }
    if (g_teamSelected >= 0) {
        Step("team's properties");
        SheetHost team(IDD_TEAM_PROPERTIES, QvTeamPropertiesDialogProc, data());
        Expect(SendMessageW(team.control(IDC_TEAM_MEMBERS), LB_GETCOUNT, 0, 0) <= MAX_TEAM_NICS + 1,
               "more members shown than places");
    }
    g_progress->sheets++;
}

void ChangeVlans(SheetOf host, Dice& dice) {
    Step("VLAN page");
    VlanPageHost vlans(host);
    Expect(vlans.list()->numVlans <= MAX_VLANS, "more VLANs than rows");
    Expect(vlans.rows() == vlans.list()->numVlans, "rows and VLANs differ");
    vlans.cells();
    std::wstring id = dice.oneIn(3) ? Typed(HostileText(dice)) : std::to_wstring(dice.below(5000));
    std::wstring name = dice.oneIn(2) ? Typed(HostileText(dice)) : L"New";
    bool untagged = dice.oneIn(5);
    Step("VLAN added");
    int before = vlans.rows();
    vlans.owner().play({[=](HWND dialog) {
                            if (untagged)
                                ClickIn(dialog, IDC_UNTAGGED);
                            PasteInto(GetDlgItem(dialog, IDC_VLAN_ID), id);
                            PasteInto(GetDlgItem(dialog, IDC_VLAN_NAME), name);
                        },
                        [](HWND dialog) { ClickIn(dialog, IDOK); }});
    vlans.command(IDC_ADD_VLAN);
    g_progress->vlansAdded += vlans.rows() > before;
    Expect(vlans.rows() == vlans.list()->numVlans, "rows and VLANs differ");
    Step("VLANs removed");
    std::vector<int> ticked;
    for (int row = 0; row < vlans.rows() && ticked.size() < 4; row++) {
        if (dice.oneIn(2))
            ticked.push_back(row);
    }
    before = vlans.rows();
    vlans.remove(ticked);
    g_progress->vlansRemoved += before - vlans.rows();
    Expect(vlans.rows() == vlans.list()->numVlans, "rows and VLANs differ");
    for (int row = 0; row < vlans.rows(); row++)
        Expect(Ends(vlans.list()->vlanNames[row], NAME_CCH), "a VLAN's name without end");
}

void ShowSheets(PageHost& page, Dice& dice) {
    int nics = page.rows(IDC_NIC_LIST);
    int teams = page.rows(IDC_TEAM_LIST);
    if (nics > 0) {
        g_nicSelected = static_cast<LONG>(dice.below(nics));
        g_teamSelected = -1;
        ShowPages(page, dice);
        if (dice.oneIn(3))
            ChangeVlans({g_nicSelected, -1}, dice);
    }
    if (teams > 0) {
        g_nicSelected = -1;
        g_teamSelected = static_cast<LONG>(dice.below(teams));
        ShowPages(page, dice);
        ChangeVlans({-1, g_teamSelected}, dice);
    }
    ExpectTables(page);
}

std::vector<int> TickSome(PageHost& page, int list, Dice& dice, unsigned wanted) {
    int rows = page.rows(list);
    std::set<int> ticked;
    for (unsigned tries = 0; rows > 0 && tries < 4 * wanted && ticked.size() < wanted; tries++)
        ticked.insert(static_cast<int>(dice.below(rows)));
    for (int row = 0; row < rows; row++)
        page.tickRow(list, row, ticked.count(row) != 0);
    return std::vector<int>(ticked.begin(), ticked.end());
}

void TeamAndRemove(PageHost& page, Dice& dice) {
    Step("team created");
    TickSome(page, IDC_NIC_LIST, dice, dice.oneIn(8) ? 9 : 2 + dice.below(3));
    static const int boxes[] = {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP};
    page.tick(boxes[dice.below(3)]);
    page.tick(IDC_FAILBACK, dice.oneIn(2));
    if (dice.oneIn(3))
        page.setText(IDC_TEAM_NAME, Typed(HostileText(dice)));
    bool created = CreateTeam(page.window()) == 1;
    g_progress->created += created;
    if (g_log && !created)
        fprintf(stderr, "  not created: %ls\n", page.text(IDC_STATUS).substr(0, 40).c_str());
    PageHost::Pump();
    ExpectTables(page);

    Step("teams removed");
    TickSome(page, IDC_TEAM_LIST, dice, 1 + dice.below(3));
    g_progress->removed += RemoveTeam(page.window()) == REMOVE_DONE;
    PageHost::Pump();
    ExpectTables(page);
}

void Operate(uint64_t seed) {
    Dice dice(seed ^ 0x0DE7A7E);
    Step("page shown");
    PageHost page;
    ExpectTables(page);
    ShowSheets(page, dice);
    TeamAndRemove(page, dice);
    ExpectUsable(page);
}

bool Build(uint64_t seed, const Machine& plain, std::string* why) {
    HostileMachine made = MakeHostileMachine(seed, plain);
    std::wstring error;
    if (g_log)
        fprintf(stderr, "seed %llu: %zu adapters, %zu teams, %zu VLANs, %zu records\n",
                g_progress->seed, made.machine.adapters.size(), made.machine.teams.size(),
                made.machine.vlans.size(), made.machine.registry.size());
    if (!MachineBuild(made.machine, &error)) {
        *why = std::string(error.begin(), error.end());
        return false;
    }
    for (const auto& property : made.properties)
        RegistrySet(L"System\\CurrentControlSet\\Enum\\" + property.instance, property.value);
    for (const wchar_t* command : {L"reload", L"clear", L"reset-counts", L"reset-open",
                                   L"journal-clear", L"message-box IDOK all"})
        Bench(command);
    return true;
}

void RunMachine(uint64_t seed, const Machine& plain) {
    std::string why;
    Step("built");
    ULONGLONG begun = GetTickCount64();
    bool built = Build(seed, plain, &why);
    g_progress->buildMilliseconds += GetTickCount64() - begun;
    if (!built) {
        g_progress->notBuilt++;
        printf("seed %llu: not built: %s\n", static_cast<ULONGLONG>(seed), why.c_str());
        return;
    }
    g_wrong.clear();
    const auto* unit = testing::UnitTest::GetInstance();
    int failures = unit->ad_hoc_test_result().total_part_count();

    Disturbance disturbance(seed);
    GuardCounts before = g_guardCounts;
    disturbance.lastCall = before.calls + kMostCalls;
    if (disturbance.dice.oneIn(2)) {
        disturbance.devices = qvmachine::FindNetDevices();
        disturbance.vanishAt = before.calls + 1 + disturbance.dice.below(3000);
    }
    g_guardHooks.beforeCall = [&] { disturbance.beforeCall(); };
    g_guardHooks.afterSizeQuery = [&](HKEY key, LPCWSTR name) {
        disturbance.afterSizeQuery(key, name);
    };
    g_guardHooks.afterQuery = [&](BYTE* answer, DWORD size, DWORD* returned) {
        disturbance.afterQuery(answer, size, returned);
    };
    Operate(seed);
    g_guardHooks = {};
    Step("closed");
    ExpectNothingOpen();
    if (unit->ad_hoc_test_result().total_part_count() != failures)
        Expect(false, "the harness complained");
    if (!g_wrong.empty())
        Report(WRONG, g_wrong);
    ULONGLONG calls = g_guardCounts.calls - before.calls;
    g_progress->calls += calls;
    g_progress->mostCalls = calls > g_progress->mostCalls ? calls : g_progress->mostCalls;
    g_progress->blocks += g_guardCounts.blocks - before.blocks;
    g_progress->bounced += g_guardCounts.bounced - before.bounced;
    g_progress->unbounced += g_guardCounts.unbounced - before.unbounced;
}

// ---- processes

int RunMachines(ULONGLONG end) {
    BenchSetUp();
    g_hostsAreShown = false;
    GuardImports();
    WatchFaults(OnFault);
    Machine plain;
    std::wstring error;
    if (!MachineLoad(L"two-ports", &plain, &error)) {
        fprintf(stderr, "%ls\n", error.c_str());
        return 2;
    }
    for (; g_progress->seed < end; g_progress->seed++) {
        RunMachine(g_progress->seed, plain);
        if (++g_progress->runs % 100 == 0)
            fprintf(stderr, "%llu machines\n", g_progress->runs);
    }
    MachineReset();
    for (const auto& time : g_times) {
        if (g_log)
            fprintf(stderr, "%llu ms %s\n", time.second, time.first.c_str());
    }
    return 0;
}

// True when the process ended by itself. One that neither ends nor goes on is ended.
bool WaitForProcess(HANDLE process) {
    ULONGLONG seed = g_progress->seed;
    while (WaitForSingleObject(process, kSilentMilliseconds) == WAIT_TIMEOUT) {
        if (g_progress->seed == seed) {
            TerminateProcess(process, 4);
            WaitForSingleObject(process, INFINITE);
            return false;
        }
        seed = g_progress->seed;
    }
    return true;
}

// The exit code of one process of machines, or -1.
DWORD RunProcess(const std::wstring& mapping, ULONGLONG end, bool* ended) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(program) + L"\" --machines " + mapping + L" " +
                           std::to_wstring(end) + (g_log ? L" --log" : L"");
    STARTUPINFOW startup = {sizeof(startup)};
    PROCESS_INFORMATION process;
    DWORD code = static_cast<DWORD>(-1);
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &process))
        return code;
    *ended = WaitForProcess(process.hProcess);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

ULONGLONG AllBad() {
    ULONGLONG bad = 0;
    for (ULONGLONG count : g_progress->bad)
        bad += count;
    return bad;
}

int RunAll(const std::wstring& mapping, ULONGLONG end) {
    while (g_progress->seed < end) {
        bool ended = true;
        ULONGLONG bad = AllBad();
        ULONGLONG seed = g_progress->seed;
        DWORD code = RunProcess(mapping, end, &ended);
        if (code == 0 && g_progress->seed >= end)
            break;
        if (code == 2 || code == static_cast<DWORD>(-1))
            return 2;
        if (!ended)
            Report(HANG, "no call and no end");
        else if (AllBad() == bad || (code != 3 && g_progress->seed == seed))
            Report(CRASH, "the process ended with " + std::to_string(code));
        g_progress->seed++;
        g_progress->runs++;
    }
    return AllBad() != 0;
}

void PrintTable(ULONGLONG seconds) {
    const Progress& p = *g_progress;
    printf("hostile machines\t%llu\t%llu\t%llu\t%llu\t%llu\t%llu\t%llu\n", p.calls,
           p.runs - p.notBuilt, p.bad[CRASH], p.bad[HANG], p.bad[LEAK], p.bad[WRONG], seconds);
}

void PrintSummary() {
    const Progress& p = *g_progress;
    fprintf(
        stderr,
        "%llu machines, %llu not built; %llu sheets, %llu teams made, %llu removals, %llu VLANs "
        "added, %llu removed; %llu devices vanished, %llu values changed between two calls, %llu "
        "drivers' lies; %llu guarded blocks, %llu guarded buffers, %llu too large to guard; %llu "
        "calls at most for one machine; %llu ms building\n",
        p.runs, p.notBuilt, p.sheets, p.created, p.removed, p.vlansAdded, p.vlansRemoved,
        p.vanished, p.changed, p.lies, p.blocks, p.bounced, p.unbounced, p.mostCalls,
        p.buildMilliseconds);
}

HANDLE MapProgress(const std::wstring& name) {
    HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                        sizeof(Progress), name.c_str());
    g_progress = static_cast<Progress*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    return mapping;
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    ULONGLONG seed = 1;
    ULONGLONG count = 20;
    bool table = false;
    std::wstring machines;
    ULONGLONG end = 0;
    for (int i = 1; i < argc; i++) {
        std::string option = argv[i];
        if (option == "--seed" && i + 1 < argc)
            seed = strtoull(argv[++i], nullptr, 10);
        else if (option == "--count" && i + 1 < argc)
            count = strtoull(argv[++i], nullptr, 10);
        else if (option == "--table")
            table = true;
        else if (option == "--log")
            g_log = true;
        else if (option == "--machines" && i + 2 < argc) {
            std::string name = argv[++i];
            machines.assign(name.begin(), name.end());
            end = strtoull(argv[++i], nullptr, 10);
        } else {
            fprintf(stderr, "unknown option %s\n", option.c_str());
            return 2;
        }
    }
    if (!machines.empty()) {
        MapProgress(machines);
        return RunMachines(end);
    }
    std::wstring name = L"hostile-machines-" + std::to_wstring(GetCurrentProcessId());
    MapProgress(name);
    g_progress->seed = seed;
    ULONGLONG begun = GetTickCount64();
    int result = RunAll(name, seed + count);
    if (table)
        PrintTable((GetTickCount64() - begun) / 1000);
    PrintSummary();
    return result;
}
