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

#include "call_details.h"
#include "call_state.h"
#include "last_error.h"
#include "standins.h"
#include "tally.h"

namespace bench {

namespace {

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
#define NoTally                      {Direction::None, Kind::Count}
#define OPENS(kind)                  {Direction::Opens, Kind::kind}
#define CLOSES(kind)                 {Direction::Closes, Kind::kind}
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

struct NoDetail {};
template <CallId Id> constexpr NoDetail DetailOf{};
#define DETAILED(name) template <> constexpr auto DetailOf<kCall_##name> = &detail::name
DETAILED(SetupDiCallClassInstaller);
DETAILED(SetupDiChangeState);
DETAILED(SetupDiGetDeviceRegistryPropertyW);
DETAILED(SetupDiSetDeviceRegistryPropertyW);
DETAILED(RegOpenKeyExW);
DETAILED(RegCreateKeyExW);
DETAILED(RegDeleteKeyW);
DETAILED(RegQueryValueExW);
DETAILED(RegSetValueExW);
DETAILED(RegDeleteValueW);
DETAILED(DeviceIoControl);
#undef DETAILED

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
        if (TakeCallOf(g_slots[Id].state, kRule.name, Detail(arguments...), &failure))
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

    static std::string Detail([[maybe_unused]] Arguments... arguments) {
        if constexpr (!std::is_same_v<decltype(DetailOf<Id>), const NoDetail>) {
            if (g_slots[Id].state->detailed)
                return DetailOf<Id>(arguments...);
        }
        return {};
    }

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

void NameAllCalls() {
    Index();
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

void* OriginalOf(const char* name) {
    int index = FindWrapper(name);
    return index < 0 ? nullptr : g_slots[index].original;
}

} // namespace bench
