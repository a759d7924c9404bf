#include "runner.h"

#include "harness/machine_test.h"
#include "harness/network.h"
#include "qvnetcfg.h"
#include "rounds.h"

#include "app/team_page.h"
#include "include/resource.h"

#include <sstream>

namespace {

void ParseFacts(const std::string& dump, Facts* facts) {
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find(" = ");
        if (at != std::string::npos)
            (*facts)[line.substr(0, at)] = line.substr(at + 3);
    }
}

void ReplaceAll(const std::string& what, const std::string& with, std::string* text) {
    for (size_t at = 0; (at = text->find(what, at)) != std::string::npos; at += with.size())
        text->replace(at, what.size(), with);
}

// Which number a virtual device got depends on which others there are; its GUID does not.
Facts ByGuid(const Facts& facts) {
    const std::string begin = "device\\ROOT\\NET\\";
    const std::string end = "\\driver\\NetCfgInstanceId";
    std::map<std::string, std::string> names;
    for (const auto& [path, value] : facts) {
        if (path.compare(0, begin.size(), begin) == 0 && path.size() > end.size() &&
            path.compare(path.size() - end.size(), end.size(), end) == 0 && value.size() > 40)
            names[path.substr(7, path.size() - 7 - end.size())] =
                "ROOT\\NET\\" + value.substr(value.find('{'), 38);
    }
    Facts renamed;
    for (const auto& fact : facts) {
        std::string path = fact.first;
        std::string value = fact.second;
        for (const auto& [number, guid] : names) {
            ReplaceAll(number, guid, &path);
            ReplaceAll(number, guid, &value);
        }
        // What a connection is called depends on the others; what it said of a device that has gone,
        // on that device's number.
        if (path.compare(0, 9, "network\\{") == 0) {
            if (value.find("Local Area Connection") != value.npos)
                continue;
            if (value.find("ROOT\\NET\\") != value.npos)
                value = "ROOT\\NET\\" + path.substr(8, 38);
        }
        renamed[path] = value;
    }
    return renamed;
}

Facts MachineFacts() {
    Facts facts;
    ParseFacts(MachineDump(), &facts);
    return ByGuid(facts);
}

// The server stays loaded, so that its counts can be asked at any time.
template <class Function> Function Server(const char* name) {
    static HMODULE server = LoadLibraryW(L"qvnetcfg.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(server, name)));
}

// Since the last time.
int LocksForgotten() {
    static long before;
    const long now = Server<decltype(&NetCfgLocksForgotten)>("NetCfgLocksForgotten")();
    const long left = now - before;
    before = now;
    return static_cast<int>(left);
}

// Blocks of the task allocator, which the network configuration gives its texts in, since the last
// time. The spy lives for good: the allocator keeps it until the last block is back.
int TaskBlocksLeft() {
    static TaskMemorySpy* spy = [] {
        auto made = new TaskMemorySpy;
        CoRegisterMallocSpy(made);
        return made;
    }();
    static int before;
    const int now = spy->taken - spy->freed;
    const int left = now - before;
    before = now;
    return left;
}

std::map<std::string, int> StillOpenByKind() {
    std::map<std::string, int> open;
    if (const int blocks = TaskBlocksLeft())
        open["task-blocks"] = blocks;
    std::wistringstream kinds(Bench(L"open"));
    for (std::wstring kind; kinds >> kind;) {
        const size_t equals = kind.find(L'=');
        const int count = std::stoi(kind.substr(equals + 1));
        if (count != 0)
            open[NarrowText(kind.substr(0, equals))] = count;
    }
    if (const long objects = Server<decltype(&NetCfgLiveObjects)>("NetCfgLiveObjects")())
        open["com-objects"] = static_cast<int>(objects);
    if (Server<decltype(&NetCfgLockHeld)>("NetCfgLockHeld")())
        open["write-lock"] = 1;
    if (const int locks = LocksForgotten())
        open["write-lock-of-a-released-object"] = locks;
    return open;
}

// The journal's own quoting is kept, but for line breaks.
std::string Unescaped(std::string text) {
    for (const char* escape : {"\\r", "\\n", "\\t"}) {
        for (size_t at = 0; (at = text.find(escape, at)) != std::string::npos;)
            text.replace(at, 2, " ");
    }
    return text;
}

std::vector<std::string> TextsTold() {
    std::vector<std::string> texts;
    for (const Event& event : Journal()) {
        std::string text = Unescaped(NarrowText(event.text));
        if (event.kind == L"status" && text.size() >= 2)
            texts.push_back("status " + text.substr(1, text.size() - 2));
        else if (event.kind == L"message-box")
            texts.push_back("box " + text.substr(0, text.rfind(" type=")));
        else if (event.kind == L"misuse")
            texts.push_back("misuse " + text);
    }
    return texts;
}

bool IsWaitWindow(HWND window) {
    wchar_t name[16] = L"";
    GetClassNameW(window, name, 16);
    return wcscmp(name, L"#32770") == 0 && GetDlgItem(window, IDC_WAIT_TEXT) != nullptr &&
           GetDlgItem(window, IDC_NIC_LIST) == nullptr;
}

BOOL CALLBACK FindWait(HWND window, LPARAM found) {
    if (IsWaitWindow(window))
        *reinterpret_cast<HWND*>(found) = window;
    return TRUE;
}

HWND WaitWindow() {
    HWND found = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), FindWait, reinterpret_cast<LPARAM>(&found));
    return found;
}

BOOL CALLBACK CountChild(HWND, LPARAM count) {
    ++*reinterpret_cast<int*>(count);
    return TRUE;
}

// A window of this process and all in it. A please-wait window is judged by itself.
BOOL CALLBACK CountWindow(HWND window, LPARAM count) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == GetCurrentProcessId() && !IsWaitWindow(window)) {
        CountChild(window, count);
        EnumChildWindows(window, CountChild, count);
    }
    return TRUE;
}

// Of all threads, shown, hidden or for messages only.
int Windows() {
    int count = 0;
    const auto counted = reinterpret_cast<LPARAM>(&count);
    EnumWindows(CountWindow, counted);
    for (HWND window = nullptr;
         (window = FindWindowExW(HWND_MESSAGE, window, nullptr, nullptr)) != nullptr;)
        CountWindow(window, counted);
    return count;
}

} // namespace

bool Runner::build(const Operation* operation, std::string* error) {
    operation_ = operation;
    Machine machine;
    operation->describe(&machine);
    std::wstring reason;
    if (!MachineBuild(machine, &reason)) {
        *error = NarrowText(reason);
        return false;
    }
    snapshot_ = std::make_unique<Snapshot>();
    machineBefore_ = MachineFacts();
    return true;
}

Facts Runner::machineFacts() {
    return snapshot_->touched() ? MachineFacts() : machineBefore_;
}

void Runner::close() {
    while (HWND wait = WaitWindow())
        DestroyWindow(wait);
    stage_.vlans.reset();
    stage_.shown.clear();
}

void Runner::begin() {
    Bench(L"clear");
    close();
    snapshot_->restore();
    Bench(L"reload");
    Bench(L"message-box IDOK all");
    operation_->open(&stage_);
}

Observed Runner::observe(void (*press)(Stage*), unsigned long ceiling,
                         std::vector<CallSeen>* calls) {
    Observed seen;
    ClearJournal();
    Bench(L"reset-open");
    TaskBlocksLeft();
    const UINT64 begin = BenchNow();
    const int windows = Windows();
    WatchRun(ceiling);
    stage_.ticked = 0;
    press(&stage_);
    seen.calls = CallsSeen();
    seen.faults = FaultsSeen();
    if (calls != nullptr)
        *calls = AllCallsSeen();
    Bench(L"clear");
    PageHost::Pump();
    seen.benchMilliseconds = BenchNow() - begin;
    seen.texts = TextsTold();
    seen.open = StillOpenByKind();
    if (const int more = Windows() - windows)
        seen.open["windows"] = more;
    seen.waitWindow = WaitWindow() != nullptr;
    if (stage_.page != nullptr && !IsUsable(stage_.page->window()))
        seen.unusable.push_back("the page");
    if (stage_.vlans != nullptr && !IsUsable(stage_.vlans->window()))
        seen.unusable.push_back("the VLAN page");
    seen.ticked = stage_.ticked;
    WatchRun(0);
    seen.facts = machineFacts();
    for (const auto& fact : ShownFacts(stage_))
        seen.facts.insert(fact);
    return seen;
}

Baseline Runner::baseline() {
    Baseline runs;
    begin();
    runs.before = machineFacts();
    for (const auto& fact : ShownFacts(stage_))
        runs.before.insert(fact);
    runs.first = observe(operation_->act, 0, &calls_);
    runs.again = observe(operation_->again, 0);
    return runs;
}

CallsByName Runner::calls() const {
    const std::vector<bool> fail = CallsThatFail(calls_);
    CallsByName calls;
    for (size_t i = 0; i < calls_.size(); i++)
        calls[calls_[i].call].push_back(fail[i]);
    return calls;
}

void Runner::run(const PlannedFault& fault, const Baseline& baseline, Observed* first,
                 Observed* again) {
    begin();
    std::wstring command = L"fault " + std::wstring(fault.call.begin(), fault.call.end()) + L" " +
                           std::to_wstring(fault.nth) + L" " + std::to_wstring(fault.error);
    Bench(command + (fault.all ? L" all" : L""));
    const unsigned long ceiling = 20 * baseline.first.calls + 20000;
    *first = observe(operation_->act, ceiling);
    *again = observe(operation_->again, ceiling);
}

bool Runner::pageWorks() {
    if (stage_.page == nullptr)
        return true;
    return OnInitDialog(stage_.page->window()) == 1 && !stage_.page->enabled(IDC_CREATE_TEAM) &&
           !stage_.page->enabled(IDC_REMOVE_TEAM) && !stage_.page->enabled(IDC_PROPERTIES) &&
           stage_.page->enabled(IDC_NIC_LIST);
}
