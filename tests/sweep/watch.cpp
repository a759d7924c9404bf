#include "watch.h"

#include "bench.h"
#include "harness/import_instead.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace {

std::mutex g_lock;
std::vector<CallSeen>& g_faults = *new std::vector<CallSeen>;
std::vector<CallSeen>& g_all = *new std::vector<CallSeen>;
unsigned long g_calls;
std::atomic<unsigned> g_entries;
unsigned long g_ceiling;
LastWords g_lastWords;
DWORD g_slot = TLS_OUT_OF_INDEXES;

// Where a thread is.
CallSeen& Here() {
    auto here = static_cast<CallSeen*>(TlsGetValue(g_slot));
    if (here == nullptr) {
        here = new CallSeen;
        TlsSetValue(g_slot, here);
    }
    return *here;
}

CallSeen CallHere(const std::string& call) {
    CallSeen seen = Here();
    seen.call = call;
    return seen;
}

std::string NameOf(const std::string& line) {
    return line.substr(0, line.find_first_of(":."));
}

void Leave(const std::string& name) {
    CallSeen& here = Here();
    for (size_t i = here.routines.size(); i-- > 0;) {
        if (NameOf(here.routines[i]) == name) {
            here.routines.resize(i);
            here.entries.resize(i);
            return;
        }
    }
}

void WINAPI TakeTrace(const wchar_t* line) {
    DWORD error = GetLastError();
    std::string text;
    for (; *line != 0; line++) {
        if (*line != L'\n' && *line != L'\r')
            text += *line < 0x80 ? static_cast<char>(*line) : '?';
    }
    const std::string step = "   CreateTeam: step ";
    if (text.compare(0, 3, "-->") == 0) {
        Here().routines.push_back(text.substr(3));
        Here().entries.push_back(++g_entries);
    } else if (text.compare(0, 3, "<--") == 0) {
        Leave(NameOf(text.substr(3)));
    } else if (text.compare(0, step.size(), step) == 0) {
        for (std::string& routine : Here().routines) {
            if (NameOf(routine) == "CreateTeam")
                routine = "CreateTeam." + text.substr(step.size());
        }
    }
    SetLastError(error);
}

void WINAPI SeeCall(const char* name, BOOL fails) {
    DWORD error = GetLastError();
    bool tooMany;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        if (g_ceiling == 0)
            g_all.push_back(CallHere(name));
        tooMany = ++g_calls > g_ceiling && g_ceiling != 0;
        if (fails)
            g_faults.push_back(CallHere(name));
    }
    if (tooMany) {
        const CallSeen here = CallHere(name);
        g_lastWords(kEndHang,
                    "no end after " + std::to_string(g_ceiling) + " calls: " + here.text());
        TerminateProcess(GetCurrentProcess(), kEndHang);
    }
    SetLastError(error);
}

LONG CALLBACK SeeException(EXCEPTION_POINTERS* exception) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_STACK_OVERFLOW:
    case 0xC0000374: // a broken heap
    case 0xC0000409: // a broken stack
        break;
    default:
        return EXCEPTION_CONTINUE_SEARCH;
    }
    char where[160];
    HMODULE module = nullptr;
    char name[MAX_PATH] = "?";
    const char* address = static_cast<const char*>(exception->ExceptionRecord->ExceptionAddress);
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           address, &module))
        GetModuleFileNameA(module, name, MAX_PATH);
    snprintf(where, sizeof(where), "exception 0x%08lX at %s+0x%llx", code,
             strrchr(name, '\\') ? strrchr(name, '\\') + 1 : name,
             static_cast<unsigned long long>(address - reinterpret_cast<char*>(module)));
    const CallSeen here = CallHere(where);
    g_lastWords(kEndCrash, here.text());
    TerminateProcess(GetCurrentProcess(), kEndCrash);
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

std::string CallSeen::text() const {
    std::string shown = call + " in ";
    for (size_t i = routines.size(); i-- > 0;)
        shown += routines[i] + (i != 0 ? " < " : "");
    return shown;
}

void WatchProgram(LastWords lastWords) {
    g_lastWords = lastWords;
    g_slot = TlsAlloc();
    // In the place of the import, not behind it: sending a line to a debugger takes long.
    new ImportInstead("OutputDebugStringW", reinterpret_cast<void*>(TakeTrace));
    BenchWatchCalls(SeeCall);
    AddVectoredExceptionHandler(1, SeeException);
}

void WatchRun(unsigned long ceiling) {
    std::lock_guard<std::mutex> guard(g_lock);
    g_faults.clear();
    g_all.clear();
    g_calls = 0;
    g_ceiling = ceiling;
    g_entries = 0;
    Here() = {};
}

std::vector<CallSeen> FaultsSeen() {
    std::lock_guard<std::mutex> guard(g_lock);
    return g_faults;
}

unsigned long CallsSeen() {
    std::lock_guard<std::mutex> guard(g_lock);
    return g_calls;
}

std::vector<CallSeen> AllCallsSeen() {
    std::lock_guard<std::mutex> guard(g_lock);
    return g_all;
}
