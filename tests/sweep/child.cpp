#include "child.h"

#include "harness/machine_test.h"
#include "harness/usage.h"
#include "runner.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <sstream>

namespace {

// Runs of one process. What the system keeps of each process is bounded by that.
constexpr size_t kRunsOfOneProcess = 400;

// Fewer runs tell nothing of what piles up.
constexpr size_t kRunsThatTell = 60;

// What may be more at the end: threads of the system's own come and go.
constexpr unsigned kHandleSlack = 6;

// What is called past the bench: by the run-time library, and what only draws or moves windows of the
// program's own or keeps them.
const char* const kUnseen[] = {"CryptAcquireContextA",
                               "CryptGenRandom",
                               "CryptReleaseContext",
                               "DeleteCriticalSection",
                               "DisableProcessWindowsGhosting",
                               "EnterCriticalSection",
                               "InitializeCriticalSection",
                               "InvalidateRect",
                               "LeaveCriticalSection",
#ifdef QV_COVERAGE // what counts the lines that run
                               "IsDBCSLeadByteEx",
                               "MultiByteToWideChar",
                               "WideCharToMultiByte",
#endif
                               "RedrawWindow",
                               "SetWindowPos",
                               "TlsGetValue",
                               "VirtualProtect",
                               "VirtualQuery"};

// Calls that nobody would make fail.
std::string Unseen() {
    std::istringstream all(NarrowText(Bench(L"unwrapped")));
    std::string unseen;
    for (std::string call; all >> call;) {
        if (std::find(std::begin(kUnseen), std::end(kUnseen), call) == std::end(kUnseen))
            unseen += " " + call;
    }
    return unseen;
}

HANDLE g_told = INVALID_HANDLE_VALUE;

void Tell(const std::string& line) {
    DWORD written;
    const std::string ended = line + "\n";
    WriteFile(g_told, ended.data(), static_cast<DWORD>(ended.size()), &written, nullptr);
}

void TellComplaints(size_t index, const char* when, const Complaints& complaints) {
    for (const Complaint& complaint : complaints) {
        std::string text = complaint.text;
        for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos;)
            text.replace(at, 1, "\x01");
        static const char* const kinds[] = {"leak ", "wrong ", "slow "};
        Tell(kinds[complaint.kind] + std::to_string(index) + " " + when + text);
    }
}

std::vector<PlannedFault> ReadPlan(const std::string& path) {
    std::vector<PlannedFault> plan;
    std::ifstream file(path);
    std::string mode;
    for (PlannedFault fault; file >> fault.call >> fault.nth >> mode >> fault.error;) {
        fault.all = mode == "all";
        plan.push_back(fault);
    }
    return plan;
}

void WritePlan(const ChildTask& task, const CallsByName& calls) {
    const Plan whole = MakePlan(calls);
    for (const std::string& call : whole.leftOut)
        Tell("left-out " + call);
    for (const std::string& call : whole.unknown)
        Tell("unknown " + call);
    std::ofstream file(task.plan);
    size_t place = 0;
    for (const PlannedFault& fault : whole.faults) {
        const Selection& selection = task.selection;
        if (!selection.only.empty() && fault.call != selection.only)
            continue;
        if (place % selection.every == 0 &&
            place / selection.every % selection.shards == selection.shard)
            file << fault.call << ' ' << fault.nth << (fault.all ? " all " : " once ")
                 << fault.error << '\n';
        place++;
    }
}

// Kernel, GDI and USER objects over all runs of a process. What the system's own controls and
// libraries keep of each run is measured first, on runs without a fault.
class UsageWatch {
  public:
    explicit UsageWatch(const std::function<void()>& plainRun) {
        for (int run = 0; run < kPlainRuns; run++)
            plainRun();
        settled_ = Usage::Now();
        for (int run = 0; run < kPlainRuns; run++)
            plainRun();
        after_ = Usage::Now();
    }

    // What is too much behind so many runs; empty when nothing is.
    std::string judge(size_t runs) const {
        const Usage now = Usage::Now();
        std::ostringstream text;
        if (TooMany(settled_.kernelHandles, after_.kernelHandles, now.kernelHandles, runs) ||
            TooMany(settled_.gdiObjects, after_.gdiObjects, now.gdiObjects, runs) ||
            TooMany(settled_.userObjects, after_.userObjects, now.userObjects, runs))
            text << "over " << runs << " runs: " << settled_ << ", " << kPlainRuns
                 << " plain runs later " << after_ << ", became " << now;
        return text.str();
    }

  private:
    static constexpr int kPlainRuns = 4;

    static bool TooMany(unsigned settled, unsigned after, unsigned now, size_t runs) {
        const double each = after > settled ? static_cast<double>(after - settled) / kPlainRuns : 0;
        return now > after + kHandleSlack + each * 1.25 * static_cast<double>(runs);
    }

    Usage settled_;
    Usage after_;
};

} // namespace

int RunChild(const ChildTask& task) {
    g_told = CreateFileA(task.told.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                         0, nullptr);
    HMODULE core = LoadLibraryW(L"qvteamcfg_core.dll");
    if (core == nullptr || !BenchAttach(core))
        return 1;
    const std::string unseen = Unseen();
    if (!unseen.empty()) {
        Tell("broken calls that nobody sees:" + unseen);
        return 1;
    }
    WatchProgram([](EndOfRun end, const std::string& what) {
        Tell((end == kEndCrash ? "crash " : "hang ") + what);
    });
    Runner runner;
    std::string error;
    const Operation* operation = FindOperation(task.operation);
    if (operation == nullptr || !runner.build(operation, &error)) {
        Tell("broken " + error);
        return 1;
    }
    const Baseline baseline = runner.baseline();
    if (GetFileAttributesA(task.plan.c_str()) == INVALID_FILE_ATTRIBUTES) {
        Tell("calls " + std::to_string(baseline.first.calls));
        TellComplaints(0, "without a fault: ", JudgeBaseline(task.operation, baseline));
        WritePlan(task, runner.calls());
    }

    const std::vector<PlannedFault> plan = ReadPlan(task.plan);
    const size_t left = std::min(plan.size() - task.first, kRunsOfOneProcess);
    std::unique_ptr<UsageWatch> usage;
    if (left >= kRunsThatTell)
        usage = std::make_unique<UsageWatch>([&] { runner.baseline(); });
    size_t index = task.first;
    for (; index < task.first + left; index++) {
        Tell("begin " + std::to_string(index));
        Observed first;
        Observed again;
        runner.run(plan[index], baseline, &first, &again);
        unsigned allowed = 0;
        if (first.faults.empty())
            Tell("unmet " + std::to_string(index));
        TellComplaints(index, "", JudgeRun(task.operation, baseline, plan[index], first, &allowed));
        TellComplaints(index, "", JudgeAgain(task.operation, baseline, first, allowed, again));
        if (!runner.pageWorks())
            TellComplaints(index, "", {{Complaint::Wrong, "the page cannot be built anew"}});
        // A configuration that is open on purpose stays so until the process ends.
        if (again.open.count("write-lock") != 0) {
            Tell(index + 1 == plan.size() ? "end" : "fresh");
            return 0;
        }
    }
    const std::string tooMany = usage != nullptr ? usage->judge(left) : "";
    if (!tooMany.empty())
        TellComplaints(index - 1, "", {{Complaint::Leak, tooMany}});
    if (index == plan.size())
        Tell("end");
    MachineReset();
    return 0;
}
