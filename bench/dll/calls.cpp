#include "calls.h"

#include <windows.h>
#include <psapi.h>
#include <commctrl.h>
#include <prsht.h>
#include <setupapi.h>
#include <cfgmgr32.h>
#include <objbase.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <type_traits>
#include <vector>

#include "bench.h"
#include "journal.h"
#include "last_error.h"
#include "lock.h"
#include "standins.h"
#include "tally.h"

namespace bench {

namespace {

struct PendingFault {
    DWORD nth; // calls to go, 1 = the next one
    DWORD asked;
    bool all;
    Failure failure;
};

// A call that is to be held, or to show a box first.
struct PendingStop {
    DWORD nth;          // calls to go, 1 = the next one
    DWORD exceptThread; // whose calls are neither counted nor stopped; 0: none
};

struct CallState {
    DWORD count = 0;
    std::vector<PendingFault> faults;
    std::vector<PendingStop> holds;
    std::vector<PendingStop> prompts;
};

SRWLOCK g_lock = SRWLOCK_INIT;
CONDITION_VARIABLE g_released = CONDITION_VARIABLE_INIT;
DWORD g_releases;
std::vector<std::string>& g_held = *new std::vector<std::string>;
BenchCallWatch volatile g_watch;
std::map<std::string, CallState>& g_calls = *new std::map<std::string, CallState>;

bool TakeFaultOf(CallState* call, PendingFault* taken) {
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

bool TakeCallOf(CallState* call, const char* name, Failure* failure) {
    PendingFault fault;
    bool fails;
    bool asks;
    {
        Guard guard(&g_lock);
        call->count++;
        asks = TakeStop(&call->prompts);
        fails = TakeFaultOf(call, &fault);
        if (TakeStop(&call->holds))
            WaitForRelease(name);
    }
    if (asks)
        ::MessageBoxW(nullptr, L"Install it anyway?", L"Installer", MB_OK);
    if (BenchCallWatch watch = g_watch)
        watch(name, fails);
    if (!fails)
        return false;
    Journal(L"fault", Format(L"%hs %lu", name, fault.asked));
    *failure = fault.failure;
    return true;
}

CallState* CallOf(const std::string& name) {
    Guard guard(&g_lock);
    return &g_calls[name];
}

// How a function reports that it failed.
enum class Report { Zero, MinusOne, Error, None };

enum class Direction { None, Opens, Closes };
struct TallyRule {
    Direction direction;
    Kind kind;
};

enum CallId {
#define REAL(name, report, tally)    kCall_##name,
#define STANDIN(name, report, tally) kCall_##name,
#define NEWDEV(name, report, tally)  kCall_##name,
#include "calls.def"
#undef REAL
#undef STANDIN
#undef NEWDEV
    kCallCount
};

struct CallRule {
    const char* name;
    Report report;
    TallyRule tally;
};

constexpr CallRule kRules[] = {
#define NoTally                                                                                    \
    { Direction::None, Kind::Count }
#define OPENS(kind)                                                                                \
    { Direction::Opens, Kind::kind }
#define CLOSES(kind)                                                                               \
    { Direction::Closes, Kind::kind }
#define REAL(name, report, tally)    {#name, Report::report, tally},
#define STANDIN(name, report, tally) {#name, Report::report, tally},
#define NEWDEV(name, report, tally)  {#name, Report::report, tally},
#include "calls.def"
#undef REAL
#undef STANDIN
#undef NEWDEV
};

struct Slot {
    CallState* state;
    void* original;
};

Slot g_slots[kCallCount];

struct NoStandin {};
template <CallId Id> constexpr NoStandin StandinOf{};
#define REAL(name, report, tally)
#define STANDIN(name, report, tally)                                                               \
    template <> constexpr auto StandinOf<kCall_##name> = &standin::name;
#define NEWDEV STANDIN
#include "calls.def"
#undef REAL
#undef STANDIN
#undef NEWDEV

template <typename Result> bool Succeeded(Report report, Result result) {
    if (report == Report::Error)
        return (LONG_PTR)result == 0;
    return (LONG_PTR)result != (report == Report::MinusOne ? -1 : 0);
}

template <typename Value> const void* AsHandle(Value value) {
    return (const void*)(ULONG_PTR)value;
}

template <typename First, typename... Rest> const void* FirstHandle(First first, Rest...) {
    return AsHandle(first);
}

template <CallId Id, typename Function> struct Wrapper;

template <CallId Id, typename Result, typename... Arguments>
struct Wrapper<Id, Result(Arguments...)> {
    static constexpr CallRule kRule = kRules[Id];

    static Result Call(Arguments... arguments) {
        DWORD error = GetLastError();
        Failure failure;
        if (TakeCallOf(g_slots[Id].state, kRule.name, &failure))
            return Fail(failure);
        bool closing = false;
        if constexpr (kRule.tally.direction == Direction::Closes)
            closing = Closed(kRule.tally.kind, FirstHandle(arguments...));
        SetLastError(error);
        if constexpr (std::is_void_v<Result>) {
            Target()(arguments...);
        } else {
            Result result = Target()(arguments...);
            KeepLastError keep;
            if constexpr (kRule.tally.direction == Direction::Opens)
                Opened(kRule.tally.kind, AsHandle(result), kRule.name);
            if constexpr (kRule.tally.direction == Direction::Closes) {
                if (closing && !Succeeded(kRule.report, result))
                    Opened(kRule.tally.kind, FirstHandle(arguments...), kRule.name);
            }
            return result;
        }
        (void)closing;
    }

  private:
    using Pointer = Result (*)(Arguments...);

    static Pointer Target() {
        if constexpr (std::is_same_v<decltype(StandinOf<Id>), const NoStandin>)
            return reinterpret_cast<Pointer>(g_slots[Id].original);
        else
            return StandinOf<Id>;
    }

    static Result Fail(const Failure& failure) {
        if (kRule.report != Report::Error)
            SetLastError(failure.error);
        if constexpr (!std::is_void_v<Result>) {
            LONGLONG value = kRule.report == Report::MinusOne ? -1 : 0;
            if (kRule.report == Report::Error)
                value = failure.error;
            if (failure.hasValue)
                value = failure.value;
            return (Result)value;
        }
    }
};

// A stand-in of a function that Windows declares has to have exactly its type.
#define REAL(name, report, tally)
#define NEWDEV(name, report, tally)
#define STANDIN(name, report, tally)                                                               \
    static_assert(std::is_same_v<decltype(&standin::name), decltype(&::name)>, #name);
#include "calls.def"
#undef REAL
#undef STANDIN
#undef NEWDEV

void* const kWrappers[] = {
#define REAL(name, report, tally)                                                                  \
    reinterpret_cast<void*>(&Wrapper<kCall_##name, std::remove_pointer_t<decltype(&::name)>>::Call),
#define STANDIN(name, report, tally)                                                               \
    reinterpret_cast<void*>(                                                                       \
        &Wrapper<kCall_##name, std::remove_pointer_t<decltype(&standin::name)>>::Call),
#define NEWDEV STANDIN
#include "calls.def"
#undef REAL
#undef STANDIN
#undef NEWDEV
};

// The wrappers are reached only after an attach, which looks its names up here first.
const std::map<std::string, int>& Index() {
    static const std::map<std::string, int>& index = *[] {
        auto made = new std::map<std::string, int>;
        for (int id = 0; id < kCallCount; id++) {
            (*made)[kRules[id].name] = id;
            g_slots[id].state = CallOf(kRules[id].name);
        }
        return made;
    }();
    return index;
}

} // namespace

bool TakeCall(const char* name, Failure* failure) {
    return TakeCallOf(CallOf(name), name, failure);
}

int FindWrapper(const char* name) {
    auto found = Index().find(name);
    return found == Index().end() ? -1 : found->second;
}

void* WrapperAt(int index) {
    return kWrappers[index];
}

void SetOriginal(int index, void* original) {
    g_slots[index].original = original;
}

void AddFault(const FaultRequest& request) {
    CallState* call = CallOf(request.name);
    Guard guard(&g_lock);
    call->faults.push_back({request.nth, request.nth, request.all, request.failure});
}

void AddHold(const std::string& name, DWORD nth, DWORD exceptThread) {
    CallState* call = CallOf(name);
    Guard guard(&g_lock);
    call->holds.push_back({nth, exceptThread});
}

void AddPrompt(const std::string& name, DWORD nth) {
    CallState* call = CallOf(name);
    Guard guard(&g_lock);
    call->prompts.push_back({nth, 0});
}

void ReleaseHeld() {
    Guard guard(&g_lock);
    g_releases++;
    WakeAllConditionVariable(&g_released);
}

void ClearFaults() {
    {
        Guard guard(&g_lock);
        for (auto& call : g_calls) {
            call.second.faults.clear();
            call.second.holds.clear();
            call.second.prompts.clear();
        }
    }
    ReleaseHeld();
}

std::string HeldCall() {
    Guard guard(&g_lock);
    return g_held.empty() ? std::string() : g_held.front();
}

bool CallCount(const std::string& name, DWORD* count) {
    Index();
    Guard guard(&g_lock);
    auto found = g_calls.find(name);
    if (found == g_calls.end())
        return false;
    *count = found->second.count;
    return true;
}

std::wstring CallCounts() {
    Index();
    std::wstring text;
    Guard guard(&g_lock);
    for (const auto& call : g_calls)
        text += Format(L"%hs %lu\n", call.first.c_str(), call.second.count);
    return text;
}

void ResetCounts() {
    Guard guard(&g_lock);
    for (auto& call : g_calls)
        call.second.count = 0;
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
