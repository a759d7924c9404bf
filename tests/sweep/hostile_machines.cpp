// Shows, teams and takes apart one hostile machine after the other, in process, with guard pages
// behind what the platform fills. A machine that ends the process costs only itself: the machines run
// in a process that is started again behind it.
//
//   hostile_machines.exe [--seed N] [--count N] [--table] [--log]
//
// Seeds of bad machines are printed; --seed N --count 1 plays one again, --log with each step. --table
// prints the line of the table: operation, calls, runs, crashes, hangs, leaks, wrong outcomes, seconds.
//
// Machines that refuse everything would all be sound. So a run of a sample's size must have done each
// thing that it is for at least once, and a long run in a share of its machines and through every guard.
#include "harness/journal.h"
#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/sheet_host.h"
#include "harness/vlan_host.h"
#include "sweep/guards.h"
#include "sweep/hostile_machine.h"

#include "../bench/machine/devices.h"
#include "app/adapter_sheet.h"
#include "app/processes.h"
#include "app/team_page.h"
#include "app/team_page_dialog.h"
#include "app/tray.h"
#include "device/inf_search.h"
#include "include/names.h"
#include "info/general_page.h"
#include "info/statistics_page.h"
#include "info/team_properties.h"
#include "team/create_team.h"
#include "team/remove_team.h"

#include <commctrl.h>
#include <prsht.h>

#include <algorithm>
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

// What a run is for.
enum Deed {
    ADDRESSES,
    IMAGE_PATHS,
    TEAMS_CREATED,
    TEAMS_REMOVED,
    JOBS_PRESSED,
    TEAMS_PRESSED,
    REMOVALS_PRESSED,
    PROTOCOLS_PRESSED,
    VLANS_ADDED,
    VLANS_REMOVED,
    FULL_ADAPTERS,
    FULL_TEAMS,
    ODD_PATHS,
    VANISHED,
    CHANGED,
    LIES,
    PROCESS_LIES,
    ENDLESS_NAMES,
    MANY_PORTS,
    MANY_MEMBERS,
    SAME_GUIDS,
    DEEDS
};
struct Demand {
    const char* what;
    unsigned ofHundred; // the least of a hundred machines
};
const Demand kDemands[DEEDS] = {
    {"hostile IP addresses shown", 11},
    {"hostile image paths shown", 4},
    {"teams created", 14},
    {"teams removed", 25},
    {"jobs run by a worker behind the wait dialog", 20},
    {"teams created at the press of a button", 2},
    {"teams removed at the press of a button", 2},
    {"protocols installed at the press of a button", 2},
    {"VLANs added", 25},
    {"VLANs removed", 20},
    {"adapters with more VLANs than rows worked on", 1},
    {"teams with more VLANs than rows worked on", 1},
    {"binding paths read among hostile components", 200},
    {"devices vanished between two calls", 30},
    {"values changed between two calls", 140},
    {"drivers' lies", 250},
    {"lists of processes that lied", 150},
    {"processes' names without an end", 150},
    {"machines of more adapters than rows", 2},
    {"teams of more members than places", 4},
    {"machines with two adapters of one GUID", 7},
};
constexpr ULONGLONG kSample = 20;   // from so many machines on one of each is demanded
constexpr ULONGLONG kLongRun = 100; // and from so many on the shares

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
    ULONGLONG done[DEEDS];
    ULONGLONG guards[GUARDS]; // calls of each
    ULONGLONG sheets;
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

void Done(Deed deed, ULONGLONG times = 1) {
    g_progress->done[deed] += times;
}

void Step(const char* step) {
    if (g_stepBegun != 0)
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

// The bench's own driver could never be started again.
bool StartsBenchDriver(HKEY key, LPCWSTR name) {
    wchar_t text[MAX_PATH] = L"";
    DWORD size = sizeof(text) - sizeof(*text);
    return RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) ==
               ERROR_SUCCESS &&
           wcsstr(text, L"\\qvnic.sys") != nullptr;
}

struct Disturbance {
    Dice dice;
    Dice processDice; // how many processes there are is nothing of the machine's
    std::vector<qvmachine::FoundDevice> devices;
    ULONGLONG vanishAt = 0; // guarded call, 0: never
    ULONGLONG lastCall = 0;
    bool sleeps = false; // nothing goes or changes

    explicit Disturbance(uint64_t seed) : dice(seed ^ 0xD157), processDice(seed ^ 0x9D0C) {
    }

    void beforeCall() {
        if (g_guardCounts.calls > lastCall)
            EndWith(HANG, "more than " + std::to_string(kMostCalls) + " calls");
        if (sleeps || vanishAt == 0 || g_guardCounts.calls < vanishAt || devices.empty())
            return;
        const auto& device = devices[dice.below(static_cast<unsigned>(devices.size()))];
        Done(VANISHED, RegistryHasKey(device.enumPath));
        qvmachine::RemoveNetDevice(device);
        vanishAt = dice.oneIn(2) ? 0 : g_guardCounts.calls + 1 + dice.below(200);
    }

    // Longer, shorter, or gone.
    void afterSizeQuery(HKEY key, LPCWSTR name) {
        if (sleeps || !dice.oneIn(60) || StartsBenchDriver(key, name))
            return;
        Done(CHANGED);
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
        Done(LIES);
        for (DWORD i = dice.below(size + 1); i < size; i++)
            answer[i] = static_cast<BYTE>(dice.oneIn(3) ? dice.next() : dice.below(60));
        if (dice.oneIn(2))
            *returned = dice.oneIn(2) ? static_cast<DWORD>(dice.next()) : dice.below(300);
    }

    // Fewer, others, or more than there is room for.
    void afterProcesses(DWORD* ids, DWORD room, DWORD* returned) {
        if (processDice.oneIn(3))
            return;
        Done(PROCESS_LIES);
        const DWORD told = std::min<DWORD>(*returned / sizeof(DWORD), room);
        switch (processDice.below(8)) {
        case 0:
            *returned = processDice.oneIn(2) ? ~0u : room * sizeof(DWORD) + processDice.below(5000);
            break;
        case 1:
            *returned = processDice.below(*returned + 1); // no whole number of ids
            break;
        case 2:
            std::generate(ids, ids + told, [&] { return static_cast<DWORD>(processDice.next()); });
            break;
        default:
            // The same few over and over, so that each is asked.
            std::generate(ids, ids + told, [&] { return GetCurrentProcessId(); });
            *returned = (1 + processDice.below(3)) * sizeof(DWORD);
        }
    }

    void afterProcessName(WCHAR* name, DWORD room) {
        static const wchar_t* const known[] = {PROGRAM_FILE_NAME, TRAY_FILE_NAME, L"QVTEAMCFG.EXE",
                                               L"QvTray.exe.", L""};
        if (processDice.oneIn(3))
            return;
        if (processDice.oneIn(2)) {
            lstrcpynW(name, known[processDice.below(5)], static_cast<int>(room));
            return;
        }
        Done(ENDLESS_NAMES);
        std::generate(name, name + room,
                      [&] { return static_cast<WCHAR>(L'!' + processDice.below(500)); });
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

// A modal box disables the window around the page, not the page.
void ExpectNoModalBox(PageHost& page) {
    Expect(IsWindow(page.window()) && IsWindowEnabled(page.window()), "the page is disabled");
    Expect(IsWindowEnabled(GetAncestor(page.window(), GA_ROOT)), "the page's window is disabled");
}

void ExpectUsable(PageHost& page) {
    Step("page used again");
    ExpectNoModalBox(page);
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

// Wine's edit control falls over the layout of right-to-left and paired characters and of modifier
// letters.
std::wstring Typed(std::wstring text) {
    for (wchar_t& character : text) {
        bool falls =
            character >= 0x590 ? character != 0x3000 : character >= 0x2B0 && character < 0x300;
        character = falls ? L'x' : character;
    }
    return text;
}

// Changes of one kind since the last ClearJournal.
ULONGLONG Journalled(const wchar_t* kind) {
    return Texts(Journal(), kind).size();
}

// Rows that went or came, as far as devices did.
ULONGLONG Less(ULONGLONG rows, ULONGLONG devices) {
    return std::min(rows, devices);
}

// Of any length, the longest that fits and the next among them.
std::wstring HostileDirectory(Dice& dice) {
    std::wstring name =
        dice.oneIn(3) ? HostileText(dice) : std::wstring(230 + dice.below(40), L'd');
    return L"C:\\" + name + (dice.oneIn(4) ? L"\\" : L"");
}

// What is asked before any page, and beside them: who runs, and where the system lives.
void ReadSystem(Dice& dice) {
    static const std::wstring directories[] = {L"GetSystemDirectoryW",
                                               L"GetSystemWindowsDirectoryW"};
    Step("system read");
    for (int running : {IsQvTeamCfgRunning(), IsQvTrayRunning()})
        Expect(running == 0 || running == 1, "neither running nor not");
    for (const std::wstring& name : directories) {
        if (dice.oneIn(2))
            Bench(L"answer " + name + L" " + HostileDirectory(dice));
    }
    // The tray program itself is not to come.
    Bench(L"fault CreateProcessW 1 5 all");
    CreateTrayIcon();
    wchar_t path[PATH_CCH] = L"";
    GetProtocolInf(nullptr, path);
    Expect(Ends(path, PATH_CCH), "a path without end");
    for (const std::wstring& name : directories)
        Bench(L"answer " + name);
    Bench(L"clear");
}

// A service's entry that is not as its installation leaves it.
bool IsOdd(const std::wstring& service) {
    const std::wstring key = L"System\\CurrentControlSet\\Services\\" + service;
    return service.compare(0, wcslen(kOddService), kOddService) == 0 &&
           RegistryHas(key, L"ImagePath") &&
           RegistryText(key, L"ImagePath").find(L"\\SystemRoot\\") != 0;
}

// What the General page has just shown of the machine's odd entries.
void CountShown(const SelectedAdapter& selected, size_t rows) {
    static const std::wstring interfaces =
        L"System\\CurrentControlSet\\Services\\Tcpip\\Parameters\\Interfaces\\";
    if (rows == 0)
        return;
    wchar_t guid[GUID_CCH];
    StringFromGUID2(selected.entry->guid, guid, GUID_CCH);
    Done(ADDRESSES, RegistryHas(interfaces + guid, L"IPAddress"));
    Done(IMAGE_PATHS, IsOdd(selected.details->service));
}

void ShowPages(PageHost& page, Dice& dice) {
    auto data = [&] { return std::make_unique<SheetData>(*page.data()); };
    Step("General page");
    {
        SheetHost general(IDD_GENERAL_PAGE, QvPropertiesDialogProc, data());
        CountShown(GetSelectedAdapter(), general.rows().size());
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

void AddVlan(VlanPageHost& vlans, const std::wstring& id, const std::wstring& name, bool untagged) {
    Step("VLAN added");
    ClearJournal();
    const int before = vlans.rows();
    vlans.owner().play({[=](HWND dialog) {
                            if (untagged)
                                ClickIn(dialog, IDC_UNTAGGED);
                            PasteInto(GetDlgItem(dialog, IDC_VLAN_ID), id);
                            PasteInto(GetDlgItem(dialog, IDC_VLAN_NAME), name);
                        },
                        [](HWND dialog) { ClickIn(dialog, IDOK); }});
    vlans.command(IDC_ADD_VLAN);
    if (vlans.rows() > before)
        Done(VLANS_ADDED, Less(vlans.rows() - before, Journalled(L"device-install")));
    Expect(vlans.list()->numVlans <= MAX_VLANS, "more VLANs than rows");
    Expect(vlans.rows() == vlans.list()->numVlans, "rows and VLANs differ");
}

void RemoveVlans(VlanPageHost& vlans, const std::vector<int>& rows) {
    Step("VLANs removed");
    ClearJournal();
    const int before = vlans.rows();
    vlans.remove(rows);
    if (vlans.rows() < before)
        Done(VLANS_REMOVED, Less(before - vlans.rows(), Journalled(L"device-remove")));
    Expect(vlans.rows() == vlans.list()->numVlans, "rows and VLANs differ");
    for (int row = 0; row < vlans.rows(); row++)
        Expect(Ends(vlans.list()->vlanNames[row], NAME_CCH), "a VLAN's name without end");
}

void OpenVlans(VlanPageHost& vlans) {
    Expect(vlans.list()->numVlans <= MAX_VLANS, "more VLANs than rows");
    Expect(vlans.rows() == vlans.list()->numVlans, "rows and VLANs differ");
    vlans.cells();
}

void ChangeVlans(SheetOf host, Dice& dice) {
    Step("VLAN page");
    VlanPageHost vlans(host);
    OpenVlans(vlans);
    std::wstring id = dice.oneIn(3) ? Typed(HostileText(dice)) : std::to_wstring(dice.below(5000));
    std::wstring name = dice.oneIn(2) ? Typed(HostileText(dice)) : L"New";
    AddVlan(vlans, id, name, dice.oneIn(5));
    std::vector<int> ticked;
    for (int row = 0; row < vlans.rows() && ticked.size() < 4; row++) {
        if (dice.oneIn(2))
            ticked.push_back(row);
    }
    RemoveVlans(vlans, ticked);
}

// An id that no row has.
std::wstring FreeId(const VlanList* list) {
    const WORD* end = list->vlanIds + list->numVlans;
    WORD id = 1;
    while (std::find(list->vlanIds, end, id) != end)
        id++;
    return std::to_wstring(id);
}

// Of a host with more VLANs than rows, in whose way nothing else stands: one more is refused, and
// comes when others have gone.
void ChangeFullVlans(SheetOf host, Deed deed, Dice& dice) {
    Step("full VLAN page");
    VlanPageHost vlans(host);
    OpenVlans(vlans);
    Expect(vlans.rows() == MAX_VLANS, "not all rows are taken");
    AddVlan(vlans, FreeId(vlans.list()), L"One too many", false);
    Expect(vlans.rows() == MAX_VLANS, "a VLAN was added to a full page");
    const int last = MAX_VLANS - 1;
    RemoveVlans(vlans, {static_cast<int>(dice.below(last)), last});
    Expect(vlans.rows() == MAX_VLANS - 2, "VLANs were not removed from a full page");
    const int before = vlans.rows();
    AddVlan(vlans, FreeId(vlans.list()), L"Fits again", false);
    Expect(vlans.rows() == before + 1, "no VLAN was added to a page with room");
    Done(deed, vlans.rows() > before);
}

// The row of an adapter or a team that nothing is wrong with, in one of the tables.
LONG RowOf(const AdapterEntry* entries, int rows, const std::wstring& guid) {
    GUID wanted = Guid(guid);
    for (int row = 0; row < rows; row++) {
        if (IsEqualGUID(entries[row].guid, wanted))
            return row;
    }
    return -1;
}

void ShowFullHost(PageHost& page, const std::wstring& guid, Dice& dice) {
    LONG nic = RowOf(g_nics, page.rows(IDC_NIC_LIST), guid);
    LONG team = RowOf(g_teamAdapters, page.rows(IDC_TEAM_LIST), guid);
    Expect(nic >= 0 || team >= 0, "the host of many VLANs is not on the page");
    if (team >= 0)
        ChangeFullVlans({-1, team}, FULL_TEAMS, dice);
    else if (nic >= 0)
        ChangeFullVlans({nic, -1}, FULL_ADAPTERS, dice);
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

// How a job of the page is run: at its button, or by the worker's routine alone.
enum Way { PRESSED, CALLED };

// What a press leaves behind, however its job ends.
void ExpectPressOver(PageHost& page) {
    const Events journal = Journal();
    const std::vector<std::wstring> dialogs = Lines(journal, {L"dialog-open", L"dialog-close"});
    Expect(dialogs == std::vector<std::wstring>{L"dialog-open 1104", L"dialog-close 1104"},
           "not one wait dialog");
    Expect(!IsWindow(page.data()->hWaitDlg), "the wait dialog stays");
    Expect(page.data()->createPending == 0 && page.data()->removePending == 0, "a job is pending");
    Done(JOBS_PRESSED, dialogs.size() / 2);
    Done(PROTOCOLS_PRESSED, Texts(journal, L"netcfg-install").size());
}

bool HasStatus(const wchar_t* status) {
    const std::vector<std::wstring> shown = Texts(Journal(), L"status");
    return std::find(shown.begin(), shown.end(), status) != shown.end();
}

// True when the team stands.
bool TryCreation(PageHost& page, Way way, Dice& dice) {
    static const int boxes[] = {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP};
    TickSome(page, IDC_NIC_LIST, dice, dice.oneIn(8) ? 9 : 2 + dice.below(3));
    page.tick(boxes[dice.below(3)]);
    page.tick(IDC_FAILBACK, dice.oneIn(2));
    if (dice.oneIn(3))
        page.setText(IDC_TEAM_NAME, Typed(HostileText(dice)));
    ClearJournal();
    bool created;
    if (way == PRESSED) {
        page.command(IDC_CREATE_TEAM);
        ExpectPressOver(page);
        created = HasStatus(L"\"Team Created.\"");
    } else {
        created = CreateTeam(page.window()) == 1;
    }
    const bool installed = created && Journalled(L"device-install") != 0;
    Done(TEAMS_CREATED, installed);
    Done(TEAMS_PRESSED, installed && way == PRESSED);
    if (g_log && !created)
        fprintf(stderr, "  not created: %ls\n", page.text(IDC_STATUS).substr(0, 40).c_str());
    PageHost::Pump();
    ExpectTables(page);
    return created;
}

void RemoveSome(PageHost& page, Way way, Dice& dice) {
    TickSome(page, IDC_TEAM_LIST, dice, 1 + dice.below(3));
    ClearJournal();
    const int before = page.rows(IDC_TEAM_LIST);
    bool removed;
    if (way == PRESSED) {
        page.command(IDC_REMOVE_TEAM);
        ExpectPressOver(page);
        removed = HasStatus(L"\"Team Removed.\"");
    } else {
        removed = RemoveTeam(page.window()) == REMOVE_DONE;
    }
    if (removed && page.rows(IDC_TEAM_LIST) < before) {
        const ULONGLONG teams =
            Less(before - page.rows(IDC_TEAM_LIST), Journalled(L"device-remove"));
        Done(TEAMS_REMOVED, teams);
        Done(REMOVALS_PRESSED, way == PRESSED ? teams : 0);
    }
    PageHost::Pump();
    ExpectTables(page);
}

void TeamAndRemove(PageHost& page, Way way, Dice& dice) {
    Step("team created");
    for (int tries = 0; tries < 3 && !TryCreation(page, way, dice); tries++)
        ExpectNoModalBox(page);

    Step("teams removed");
    RemoveSome(page, way, dice);
}

void Operate(uint64_t seed, const std::wstring& fullHost, Disturbance* disturbance) {
    Dice dice(seed ^ 0x0DE7A7E);
    ReadSystem(dice);
    Step("page shown");
    PageHost page;
    ExpectTables(page);
    if (!fullHost.empty())
        ShowFullHost(page, fullHost, dice);
    disturbance->sleeps = false;
    ShowSheets(page, dice);
    TeamAndRemove(page, HasPressedButtons(seed) ? PRESSED : CALLED, dice);
    ExpectUsable(page);
}

// Nothing, too, in a process that has not yet read one.
ULONGLONG PathsRead() {
    wchar_t count[20] = L"";
    BenchCommand(L"calls INetCfgBindingPath::GetPathToken", count, ARRAYSIZE(count));
    return wcstoull(count, nullptr, 10);
}

void CountMachine(const Machine& machine) {
    Done(MANY_PORTS, machine.adapters.size() > MAX_NIC_ROWS);
    for (const MachineTeam& team : machine.teams)
        Done(MANY_MEMBERS, team.members.size() > MAX_TEAM_NICS);
    std::set<std::wstring> guids;
    bool same = false;
    for (const MachineAdapter& adapter : machine.adapters)
        same = same || (!adapter.guid.empty() && !guids.insert(adapter.guid).second);
    Done(SAME_GUIDS, same);
}

void WriteValues(const HostileMachine& made) {
    for (const auto& value : made.values)
        RegistrySet(value.path, value.value);
    if (made.driverValues.empty())
        return;
    for (const qvmachine::FoundDevice& device : qvmachine::FindNetDevices()) {
        for (const auto& value : made.driverValues) {
            if (lstrcmpiW(value.instance.c_str(), device.instance.c_str()) == 0)
                RegistrySet(device.driverPath, value.value);
        }
    }
}

bool Build(const HostileMachine& made, std::string* why) {
    std::wstring error;
    if (g_log)
        fprintf(stderr, "seed %llu: %zu adapters, %zu teams, %zu VLANs, %zu records\n",
                g_progress->seed, made.machine.adapters.size(), made.machine.teams.size(),
                made.machine.vlans.size(), made.machine.registry.size());
    if (!MachineBuild(made.machine, &error)) {
        *why = std::string(error.begin(), error.end());
        return false;
    }
    WriteValues(made);
    for (const wchar_t* command : {L"reload", L"clear", L"reset-counts", L"reset-open",
                                   L"journal-clear", L"message-box IDOK all"})
        Bench(command);
    return true;
}

void SetHooks(Disturbance* disturbance) {
    g_guardHooks.beforeCall = [=] { disturbance->beforeCall(); };
    g_guardHooks.afterSizeQuery = [=](HKEY key, LPCWSTR name) {
        disturbance->afterSizeQuery(key, name);
    };
    g_guardHooks.afterQuery = [=](BYTE* answer, DWORD size, DWORD* returned) {
        disturbance->afterQuery(answer, size, returned);
    };
    g_guardHooks.afterProcesses = [=](DWORD* ids, DWORD room, DWORD* returned) {
        disturbance->afterProcesses(ids, room, returned);
    };
    g_guardHooks.afterProcessName = [=](WCHAR* name, DWORD room) {
        disturbance->afterProcessName(name, room);
    };
}

void RunMachine(uint64_t seed, const Machine& plain) {
    std::string why;
    Step("built");
    ULONGLONG begun = GetTickCount64();
    const HostileMachine made = MakeHostileMachine(seed, plain);
    bool built = Build(made, &why);
    g_progress->buildMilliseconds += GetTickCount64() - begun;
    if (!built) {
        Report(WRONG, "not built: " + why);
        return;
    }
    CountMachine(made.machine);
    g_wrong.clear();
    const auto* unit = testing::UnitTest::GetInstance();
    int failures = unit->ad_hoc_test_result().total_part_count();

    Disturbance disturbance(seed);
    GuardCounts before = g_guardCounts;
    disturbance.lastCall = before.calls + kMostCalls;
    disturbance.sleeps = !made.fullHost.empty();
    if (disturbance.dice.oneIn(2)) {
        disturbance.devices = qvmachine::FindNetDevices();
        disturbance.vanishAt = before.calls + 1 + disturbance.dice.below(1000);
    }
    SetHooks(&disturbance);
    Operate(seed, made.fullHost, &disturbance);
    g_guardHooks = {};
    Step("closed");
    if (!made.machine.components.empty())
        Done(ODD_PATHS, PathsRead());
    ExpectNothingOpen();
    if (unit->ad_hoc_test_result().total_part_count() != failures)
        Expect(false, "the harness complained");
    if (!g_wrong.empty())
        Report(WRONG, g_wrong);
    ULONGLONG calls = g_guardCounts.calls - before.calls;
    g_progress->calls += calls;
    g_progress->mostCalls = std::max(calls, g_progress->mostCalls);
    g_progress->blocks += g_guardCounts.blocks - before.blocks;
    g_progress->bounced += g_guardCounts.bounced - before.bounced;
    g_progress->unbounced += g_guardCounts.unbounced - before.unbounced;
    for (int guard = 0; guard < GUARDS; guard++)
        g_progress->guards[guard] += g_guardCounts.of[guard] - before.of[guard];
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

// A fault of the run, not of one machine.
void ReportRun(const std::string& what) {
    g_progress->bad[WRONG]++;
    printf("%s\n", what.c_str());
    fflush(stdout);
}

void RunAll(const std::wstring& mapping, ULONGLONG end) {
    while (g_progress->seed < end) {
        bool ended = true;
        ULONGLONG bad = AllBad();
        ULONGLONG seed = g_progress->seed;
        DWORD code = RunProcess(mapping, end, &ended);
        if (code == 0 && g_progress->seed >= end)
            break;
        if (code == 2 || code == static_cast<DWORD>(-1)) {
            ReportRun("the machines' process does not work: " + std::to_string(code));
            break;
        }
        if (!ended)
            Report(HANG, "no call and no end");
        else if (AllBad() == bad || (code != 3 && g_progress->seed == seed))
            Report(CRASH, "the process ended with " + std::to_string(code));
        g_progress->seed++;
        g_progress->runs++;
    }
}

// What every run must come to, sound as its machines may be.
void JudgeRun(ULONGLONG count) {
    const Progress& p = *g_progress;
    if (p.runs != count)
        ReportRun("of " + std::to_string(count) + " machines " + std::to_string(p.runs) +
                  " were run");
    if (p.unbounced != 0)
        ReportRun(std::to_string(p.unbounced) + " buffers were filled without a guard");
    for (int guard = 0; guard < GUARDS && p.runs >= kLongRun; guard++) {
        if (p.guards[guard] == 0)
            ReportRun(std::string("never called: ") + kGuardNames[guard]);
    }
    for (int deed = 0; deed < DEEDS && p.runs >= kSample; deed++) {
        const Demand& demand = kDemands[deed];
        ULONGLONG least = p.runs >= kLongRun ? p.runs * demand.ofHundred / 100 : 1;
        if (p.done[deed] < least)
            ReportRun("at least " + std::to_string(least) + " expected, not " +
                      std::to_string(p.done[deed]) + ": " + demand.what);
    }
}

void PrintTable(ULONGLONG seconds) {
    const Progress& p = *g_progress;
    printf("hostile machines\t%llu\t%llu\t%llu\t%llu\t%llu\t%llu\t%llu\n", p.calls, p.runs,
           p.bad[CRASH], p.bad[HANG], p.bad[LEAK], p.bad[WRONG], seconds);
}

void PrintSummary(ULONGLONG milliseconds) {
    const Progress& p = *g_progress;
    fprintf(stderr,
            "%llu machines, %llu ms each, %llu of them building; %llu sheets; %llu guarded blocks, "
            "%llu guarded buffers; %llu calls at most for one machine\n",
            p.runs, p.runs != 0 ? milliseconds / p.runs : 0,
            p.runs != 0 ? p.buildMilliseconds / p.runs : 0, p.sheets, p.blocks, p.bounced,
            p.mostCalls);
    for (int deed = 0; deed < DEEDS; deed++)
        fprintf(stderr, "%8llu %s\n", p.done[deed], kDemands[deed].what);
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
    RunAll(name, seed + count);
    JudgeRun(count);
    const ULONGLONG milliseconds = GetTickCount64() - begun;
    if (table)
        PrintTable(milliseconds / 1000);
    PrintSummary(milliseconds);
    return AllBad() != 0;
}
