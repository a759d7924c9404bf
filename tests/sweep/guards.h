// Guard pages behind what the product hands to the platform, and a platform that lies.
//
// Covered: every heap block and every page allocation of the product, and every text that the network
// configuration gives it, lies with its last byte in front of a page that nobody may touch, and stays
// forbidden after its release. Every imported call that fills a buffer of a stated length, the C
// run-time's formatting included, fills one of exactly that length in front of such a page, which is
// then copied to the product's buffer whole: a platform that writes too far, and a stated length that
// is more than the block has, are both seen. A stack buffer has the compiler's canary behind it: a
// stated length that takes it in breaks it. A text that the platform has left without an end must not
// be compared: what the product has behind it is not the text's.
//
// Not covered, because no length is stated that could be wrong: what is as large as its type (handles,
// counts, GUIDs, a SIZE, the line of an INF, STARTUPINFO, PROCESS_INFORMATION), and the copies of memcpy
// and memset, which the product itself counts. None of the messages that the product sends asks for a
// text. CryptGenRandom, VirtualQuery and the narrow texts are the run-time library's own.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

#define GUARDED_CALLS(X)                                                                           \
    X(RegQueryValueExW)                                                                            \
    X(RegEnumKeyW)                                                                                 \
    X(SetupDiGetDeviceRegistryPropertyW)                                                           \
    X(SetupDiEnumDeviceInfo)                                                                       \
    X(SetupDiGetINFClassW)                                                                         \
    X(SetupGetStringFieldW)                                                                        \
    X(CM_Get_Device_IDW)                                                                           \
    X(DeviceIoControl)                                                                             \
    X(GetFullPathNameW)                                                                            \
    X(GetSystemWindowsDirectoryW)                                                                  \
    X(GetWindowTextW)                                                                              \
    X(GetDlgItemTextW)                                                                             \
    X(FindFirstFileW)                                                                              \
    X(FindNextFileW)                                                                               \
    X(StringFromGUID2)                                                                             \
    X(LoadStringW)                                                                                 \
    X(GetSystemDirectoryW)                                                                         \
    X(GetVersionExW)                                                                               \
    X(EnumProcesses)                                                                               \
    X(EnumProcessModules)                                                                          \
    X(GetModuleBaseNameW)                                                                          \
    X(SetupDiCreateDeviceInfoW)                                                                    \
    X(SetupDiGetDeviceInstallParamsW)                                                              \
    X(SetupDiGetSelectedDriverW)                                                                   \
    X(lstrcmpW)                                                                                    \
    X(lstrcmpiW)

#define GUARD_ID(name) GUARD_##name,
enum Guard { GUARDED_CALLS(GUARD_ID) GUARDS };
#undef GUARD_ID
extern const char* const kGuardNames[GUARDS];

struct GuardCounts {
    ULONGLONG calls = 0; // guarded calls, which a loop could ask for again
    ULONGLONG of[GUARDS] = {};
    ULONGLONG blocks = 0;    // guarded allocations
    ULONGLONG bounced = 0;   // buffers that were filled in front of a guard page
    ULONGLONG unbounced = 0; // larger than the guarded area: filled directly
};

// What happens between the product's calls, one at a time, on the thread that calls. Buffers come as they are to be seen: behind the call, of the
// stated length.
struct GuardHooks {
    std::function<void()> beforeCall;                  // before each guarded call
    std::function<void(HKEY, LPCWSTR)> afterSizeQuery; // a value's size has just been told
    std::function<void(BYTE*, DWORD, DWORD*)>
        afterQuery; // a driver has answered: buffer, size, told
    std::function<void(DWORD*, DWORD, DWORD*)>
        afterProcesses; // processes are listed: ids, room for so many, told bytes
    std::function<void(WCHAR*, DWORD)>
        afterProcessName; // a process is named: text, room for so many characters
};

// Puts the guards in front of the bench's wrappers. Once per process.
void GuardImports();

extern GuardHooks g_guardHooks;
extern GuardCounts g_guardCounts;

// Blocks and pages that are allocated now.
size_t GuardedBlocks();
void ForgetGuardedBlocks();

// Called for an access that a guard forbids and for any other fault inside the product; does not
// return.
void WatchFaults(void (*fault)(const std::string& what));
