#include "call_state.h"

#include "call_details.h"
#include "journal.h"
#include "last_error.h"
#include "lock.h"

namespace bench {

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
CONDITION_VARIABLE g_released = CONDITION_VARIABLE_INIT;
DWORD g_releases;
std::vector<std::string>& g_held = *new std::vector<std::string>;
BenchCallWatch volatile g_watch;
std::map<std::string, CallState>& g_calls = *new std::map<std::string, CallState>;

bool TakeFaultOf(Selection* call, PendingFault* taken) {
    bool found = false;
    for (size_t i = 0; i < call->faults.size();) {
        PendingFault& fault = call->faults[i];
        if (fault.nth > 1) {
            fault.nth--;
            i++;
            continue;
        }
        if (!found)
            *taken = fault;
        found = true;
        if (fault.all)
            i++;
        else
            call->faults.erase(call->faults.begin() + i);
    }
    return found;
}

// True when the call of this thread is one that `stops` waits for.
bool TakeStop(std::vector<PendingStop>* stops) {
    bool due = false;
    for (size_t i = 0; i < stops->size();) {
        PendingStop& stop = (*stops)[i];
        if (stop.exceptThread == GetCurrentThreadId()) {
            i++;
        } else if (--stop.nth == 0) {
            due = true;
            stops->erase(stops->begin() + i);
        } else {
            i++;
        }
    }
    return due;
}

void WaitForRelease(const std::string& name) {
    // On Windows what a thread has painted is on screen; Wine shows it when the thread looks for
    // messages.
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 0, 0);
    g_held.push_back(name);
    for (DWORD seen = g_releases; seen == g_releases;)
        SleepConditionVariableSRW(&g_released, &g_lock, INFINITE, 0);
    for (size_t i = 0; i < g_held.size(); i++) {
        if (g_held[i] == name) {
            g_held.erase(g_held.begin() + i);
            break;
        }
    }
}

// What becomes of one call.
struct Verdict {
    bool asks = false;
    const Selection* holder = nullptr; // whose hold stops it; null: none
    const Selection* failer = nullptr; // whose fault it takes; null: none
    PendingFault fault;
};

void Judge(Selection* calls, Verdict* verdict) {
    calls->count++;
    PendingFault fault;
    if (TakeStop(&calls->prompts))
        verdict->asks = true;
    if (TakeFaultOf(calls, &fault) && !verdict->failer) {
        verdict->failer = calls;
        verdict->fault = fault;
    }
    if (TakeStop(&calls->holds) && !verdict->holder)
        verdict->holder = calls;
}

// The lock is held.
std::vector<Selection*> AllSelections() {
    std::vector<Selection*> all;
    for (auto& call : g_calls) {
        all.push_back(&call.second);
        for (auto& detail : call.second.details)
            all.push_back(&detail.second);
    }
    return all;
}

// The calls that NAME or NAME:DETAIL selects; null when there is no such detail. The lock is held.
Selection* Selected(const std::string& text) {
    std::string name;
    std::string detail;
    if (!SplitDetail(text, &name, &detail))
        return &g_calls[text];
    if (!CanonicalDetail(name, &detail))
        return nullptr;
    CallState& call = g_calls[name];
    call.detailed = true;
    return &call.details[detail];
}

// As the command names it that decided.
std::string NameOf(const CallState* call, const char* name, const std::string& detail,
                   const Selection* decider) {
    return decider == call ? name : std::string(name) + ":" + detail;
}

} // namespace

CallState* CallOf(const std::string& name) {
    Guard guard(&g_lock);
    return &g_calls[name];
}

bool TakeCallOf(CallState* call, const char* name, const std::string& detail, Failure* failure) {
    Verdict verdict;
    {
        Guard guard(&g_lock);
        Judge(call, &verdict);
        auto selected = call->details.find(detail);
        if (selected != call->details.end())
            Judge(&selected->second, &verdict);
        if (verdict.holder)
            WaitForRelease(NameOf(call, name, detail, verdict.holder));
    }
    if (verdict.asks)
        ::MessageBoxW(nullptr, L"Install it anyway?", L"Installer", MB_OK);
    if (BenchCallWatch watch = g_watch)
        watch(name, verdict.failer != nullptr);
    if (!verdict.failer)
        return false;
    Journal(L"fault", Format(L"%hs %lu", NameOf(call, name, detail, verdict.failer).c_str(),
                             verdict.fault.asked));
    *failure = verdict.fault.failure;
    return true;
}

bool TakeCall(const char* name, Failure* failure) {
    return TakeCallOf(CallOf(name), name, {}, failure);
}

bool AddFault(const FaultRequest& request) {
    Guard guard(&g_lock);
    Selection* calls = Selected(request.name);
    if (calls)
        calls->faults.push_back({request.nth, request.nth, request.all, request.failure});
    return calls;
}

bool AddHold(const std::string& name, DWORD nth, DWORD exceptThread) {
    Guard guard(&g_lock);
    Selection* calls = Selected(name);
    if (calls)
        calls->holds.push_back({nth, exceptThread});
    return calls;
}

bool AddPrompt(const std::string& name, DWORD nth) {
    Guard guard(&g_lock);
    Selection* calls = Selected(name);
    if (calls)
        calls->prompts.push_back({nth, 0});
    return calls;
}

bool AddCount(const std::string& name) {
    Guard guard(&g_lock);
    return Selected(name);
}

void ReleaseHeld() {
    Guard guard(&g_lock);
    g_releases++;
    WakeAllConditionVariable(&g_released);
}

void ClearFaults() {
    {
        Guard guard(&g_lock);
        for (Selection* calls : AllSelections()) {
            calls->faults.clear();
            calls->holds.clear();
            calls->prompts.clear();
        }
    }
    ReleaseHeld();
}

std::string HeldCall() {
    Guard guard(&g_lock);
    return g_held.empty() ? std::string() : g_held.front();
}

bool CallCount(const std::string& name, DWORD* count) {
    NameAllCalls();
    Guard guard(&g_lock);
    std::string function = name;
    std::string detail;
    bool detailed = SplitDetail(name, &function, &detail);
    auto found = g_calls.find(function);
    if (found == g_calls.end())
        return false;
    *count = found->second.count;
    if (!detailed)
        return true;
    if (!CanonicalDetail(function, &detail))
        return false;
    auto selected = found->second.details.find(detail);
    if (selected == found->second.details.end())
        return false;
    *count = selected->second.count;
    return true;
}

std::wstring CallCounts() {
    NameAllCalls();
    std::wstring text;
    Guard guard(&g_lock);
    for (const auto& call : g_calls)
        text += Format(L"%hs %lu\n", call.first.c_str(), call.second.count);
    return text;
}

void ResetCounts() {
    Guard guard(&g_lock);
    for (Selection* calls : AllSelections())
        calls->count = 0;
}

} // namespace bench

void WINAPI BenchWatchCalls(BenchCallWatch watch) {
    bench::g_watch = watch;
}

BOOL WINAPI BenchTakeFault(const char* name, DWORD* error) {
    bench::KeepLastError keep;
    bench::Failure failure;
    if (!bench::TakeCall(name, &failure))
        return FALSE;
    if (error)
        *error = failure.error;
    return TRUE;
}
