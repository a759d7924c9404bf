#include "sweep/guards.h"

#include <setupapi.h>
#include <cfgmgr32.h>
#include <psapi.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>

GuardHooks g_guardHooks;
GuardCounts g_guardCounts;

#define NAME(name) #name,
const char* const kGuardNames[GUARDS] = {GUARDED_CALLS(NAME)};
#undef NAME

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kArena = 1 << 20;  // the largest buffer that is bounced
constexpr int kArenas = 8;          // a window that is asked for its text may be the product's own
constexpr size_t kQuarantine = 512; // released blocks that stay forbidden
constexpr DWORD kPoison = 0xDB;

struct Block {
    BYTE* base;
    size_t span; // accessible, then one forbidden page
};

// A job's worker and the thread that draws the page call side by side. Behind it stands all that follows,
// and the hooks; a real call is made without it.
std::recursive_mutex g_lock;
using Locked = std::lock_guard<std::recursive_mutex>;

std::map<void*, Block> g_blocks;
std::deque<Block> g_released;
BYTE* g_core;
size_t g_coreSize;
size_t g_codeSize;
void (*g_fault)(const std::string&);
BYTE* g_arenaEnds[kArenas];
bool g_arenaTaken[kArenas];
const ULONG_PTR* g_canary;

// The text that the platform has filled last, for each thread.
struct Filled {
    const WCHAR* text;
    size_t cch;
};
thread_local Filled g_filled;

// ---- allocations

void* Allocate(size_t size, bool zeroed) {
    size_t span = (size + kPage - 1) / kPage * kPage;
    span = span == 0 ? kPage : span;
    BYTE* base =
        static_cast<BYTE*>(VirtualAlloc(nullptr, span + kPage, MEM_RESERVE, PAGE_NOACCESS));
    if (base == nullptr || VirtualAlloc(base, span, MEM_COMMIT, PAGE_READWRITE) == nullptr)
        return nullptr;
    BYTE* block = base + span - size;
    if (!zeroed)
        memset(block, kPoison, size);
    Locked locked(g_lock);
    g_blocks[block] = {base, span};
    g_guardCounts.blocks++;
    return block;
}

bool Release(void* block) {
    Locked locked(g_lock);
    auto found = g_blocks.find(block);
    if (found == g_blocks.end())
        return false;
    VirtualFree(found->second.base, found->second.span, MEM_DECOMMIT);
    g_released.push_back(found->second);
    g_blocks.erase(found);
    if (g_released.size() > kQuarantine) {
        VirtualFree(g_released.front().base, 0, MEM_RELEASE);
        g_released.pop_front();
    }
    return true;
}

void (*g_free)(void*);
decltype(&VirtualFree) g_VirtualFree;
decltype(&CoTaskMemFree) g_CoTaskMemFree;
decltype(&CoTaskMemFree) g_serversCoTaskMemFree;

void* GuardedCalloc(size_t count, size_t size) {
    return size != 0 && count > SIZE_MAX / size ? nullptr : Allocate(count * size, true);
}

// What the run-time library allocated before the guards stood is its own.
void GuardedFree(void* block) {
    if (block != nullptr && !Release(block))
        g_free(block);
}

LPVOID WINAPI GuardedVirtualAlloc(LPVOID, SIZE_T size, DWORD, DWORD) {
    return Allocate(size, true);
}

BOOL WINAPI GuardedVirtualFree(LPVOID block, SIZE_T size, DWORD type) {
    return Release(block) ? TRUE : g_VirtualFree(block, size, type);
}

// ---- texts of the network configuration

LPVOID WINAPI GuardedCoTaskMemAlloc(SIZE_T size) {
    return Allocate(size, false);
}

void WINAPI GuardedCoTaskMemFree(LPVOID block) {
    if (block != nullptr && !Release(block))
        g_CoTaskMemFree(block);
}

void WINAPI GuardedServersCoTaskMemFree(LPVOID block) {
    if (block != nullptr && !Release(block))
        g_serversCoTaskMemFree(block);
}

// ---- buffers

void CountCall(Guard guard) {
    Locked locked(g_lock);
    g_guardCounts.calls++;
    g_guardCounts.of[guard]++;
    if (g_guardHooks.beforeCall)
        g_guardHooks.beforeCall();
}

// The platform may write as far as the stated length goes. Where that is a canary of the stack, the
// routine that stated it ends the process; one that an earlier routine has left there is nobody's.
void BreakCanaries(void* buffer, size_t size) {
    const ULONG_PTR first = (reinterpret_cast<ULONG_PTR>(buffer) + 7) & ~ULONG_PTR{7};
    const ULONG_PTR end = reinterpret_cast<ULONG_PTR>(buffer) + size;
    for (ULONG_PTR at = first; at + sizeof(*g_canary) <= end; at += sizeof(*g_canary)) {
        ULONG_PTR* word = reinterpret_cast<ULONG_PTR*>(at);
        if (*word == *g_canary)
            *word = ~*word;
    }
}

// A free arena that holds as much, or -1.
int TakeArena(size_t size) {
    Locked locked(g_lock);
    for (int arena = 0; arena < kArenas && size <= kArena; arena++) {
        if (!g_arenaTaken[arena]) {
            g_arenaTaken[arena] = true;
            g_guardCounts.bounced++;
            return arena;
        }
    }
    g_guardCounts.unbounced++;
    return -1;
}

// A buffer of the stated length in front of the guard page, for one call. What the product's buffer
// holds is there before, and what it then holds goes back whole.
class Bounce {
  public:
    Bounce(void* buffer, size_t size) : buffer_(buffer), at_(buffer), size_(size) {
        g_filled = {};
        if (buffer == nullptr)
            return;
        arena_ = TakeArena(size);
        if (arena_ < 0)
            return;
        BreakCanaries(buffer, size);
        at_ = g_arenaEnds[arena_] - size;
        memcpy(at_, buffer, size);
    }
    ~Bounce() {
        if (arena_ < 0)
            return;
        memcpy(buffer_, at_, size_);
        Locked locked(g_lock);
        g_arenaTaken[arena_] = false;
    }
    Bounce(const Bounce&) = delete;
    Bounce& operator=(const Bounce&) = delete;

    template <typename T> T as() const {
        return static_cast<T>(at_);
    }

  private:
    void* buffer_;
    void* at_;
    size_t size_;
    int arena_ = -1;
};

decltype(&_vsnwprintf) g__vsnwprintf;
#define GUARDED(name) decltype(&name) g_##name;
GUARDED_CALLS(GUARDED)
#undef GUARDED

LONG WINAPI GuardedRegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type,
                                    LPBYTE data, LPDWORD size) {
    CountCall(GUARD_RegQueryValueExW);
    LONG result;
    {
        // Wine ends a string of a single byte behind it, where the product has room for it.
        bool single = data != nullptr && *size == 1;
        Bounce bounce(single ? nullptr : data, data != nullptr && !single ? *size : 0);
        result = g_RegQueryValueExW(key, name, reserved, type, single ? data : bounce.as<LPBYTE>(),
                                    size);
    }
    Locked locked(g_lock);
    if (data == nullptr && result == ERROR_SUCCESS && g_guardHooks.afterSizeQuery)
        g_guardHooks.afterSizeQuery(key, name);
    return result;
}

LONG WINAPI GuardedRegEnumKeyW(HKEY key, DWORD index, LPWSTR name, DWORD cchName) {
    CountCall(GUARD_RegEnumKeyW);
    Bounce bounce(name, cchName * sizeof(WCHAR));
    return g_RegEnumKeyW(key, index, bounce.as<LPWSTR>(), cchName);
}

BOOL WINAPI GuardedSetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                                     DWORD property, PDWORD type, PBYTE buffer,
                                                     DWORD size, PDWORD required) {
    CountCall(GUARD_SetupDiGetDeviceRegistryPropertyW);
    Bounce bounce(buffer, size);
    return g_SetupDiGetDeviceRegistryPropertyW(set, device, property, type, bounce.as<PBYTE>(),
                                               size, required);
}

BOOL WINAPI GuardedSetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device) {
    CountCall(GUARD_SetupDiEnumDeviceInfo);
    Bounce bounce(device, device->cbSize);
    return g_SetupDiEnumDeviceInfo(set, index, bounce.as<PSP_DEVINFO_DATA>());
}

BOOL WINAPI GuardedSetupDiGetINFClassW(PCWSTR inf, LPGUID guid, PWSTR name, DWORD cchName,
                                       PDWORD required) {
    CountCall(GUARD_SetupDiGetINFClassW);
    Bounce bounce(name, cchName * sizeof(WCHAR));
    return g_SetupDiGetINFClassW(inf, guid, bounce.as<PWSTR>(), cchName, required);
}

BOOL WINAPI GuardedSetupGetStringFieldW(PINFCONTEXT line, DWORD index, PWSTR text, DWORD cchText,
                                        PDWORD required) {
    CountCall(GUARD_SetupGetStringFieldW);
    BOOL ok;
    {
        Bounce bounce(text, cchText * sizeof(WCHAR));
        ok = g_SetupGetStringFieldW(line, index, bounce.as<PWSTR>(), cchText, required);
    }
    g_filled = {text, cchText};
    return ok;
}

CONFIGRET WINAPI GuardedCM_Get_Device_IDW(DEVINST device, PWSTR id, ULONG cchId, ULONG flags) {
    CountCall(GUARD_CM_Get_Device_IDW);
    Bounce bounce(id, cchId * sizeof(WCHAR));
    return g_CM_Get_Device_IDW(device, bounce.as<PWSTR>(), cchId, flags);
}

BOOL WINAPI GuardedDeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD cbIn, LPVOID out,
                                   DWORD cbOut, LPDWORD returned, LPOVERLAPPED overlapped) {
    CountCall(GUARD_DeviceIoControl);
    Bounce bounce(out, cbOut);
    BOOL ok =
        g_DeviceIoControl(device, code, in, cbIn, bounce.as<LPVOID>(), cbOut, returned, overlapped);
    Locked locked(g_lock);
    if (ok && g_guardHooks.afterQuery)
        g_guardHooks.afterQuery(bounce.as<BYTE*>(), cbOut, returned);
    return ok;
}

DWORD WINAPI GuardedGetFullPathNameW(LPCWSTR name, DWORD cch, LPWSTR path, LPWSTR* part) {
    CountCall(GUARD_GetFullPathNameW);
    Bounce bounce(path, cch * sizeof(WCHAR));
    return g_GetFullPathNameW(name, cch, bounce.as<LPWSTR>(), part);
}

UINT WINAPI GuardedGetSystemWindowsDirectoryW(LPWSTR directory, UINT cch) {
    CountCall(GUARD_GetSystemWindowsDirectoryW);
    Bounce bounce(directory, cch * sizeof(WCHAR));
    return g_GetSystemWindowsDirectoryW(bounce.as<LPWSTR>(), cch);
}

int WINAPI GuardedGetWindowTextW(HWND window, LPWSTR text, int cch) {
    CountCall(GUARD_GetWindowTextW);
    Bounce bounce(text, static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_GetWindowTextW(window, bounce.as<LPWSTR>(), cch);
}

UINT WINAPI GuardedGetDlgItemTextW(HWND dialog, int id, LPWSTR text, int cch) {
    CountCall(GUARD_GetDlgItemTextW);
    Bounce bounce(text, static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_GetDlgItemTextW(dialog, id, bounce.as<LPWSTR>(), cch);
}

HANDLE WINAPI GuardedFindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW file) {
    CountCall(GUARD_FindFirstFileW);
    Bounce bounce(file, sizeof(*file));
    return g_FindFirstFileW(pattern, bounce.as<LPWIN32_FIND_DATAW>());
}

BOOL WINAPI GuardedFindNextFileW(HANDLE search, LPWIN32_FIND_DATAW file) {
    CountCall(GUARD_FindNextFileW);
    Bounce bounce(file, sizeof(*file));
    return g_FindNextFileW(search, bounce.as<LPWIN32_FIND_DATAW>());
}

int WINAPI GuardedStringFromGUID2(REFGUID guid, LPOLESTR text, int cch) {
    CountCall(GUARD_StringFromGUID2);
    Bounce bounce(text, static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_StringFromGUID2(guid, bounce.as<LPOLESTR>(), cch);
}

// For a length of 0 the platform gives a pointer to the resource instead.
int WINAPI GuardedLoadStringW(HINSTANCE module, UINT id, LPWSTR text, int cch) {
    CountCall(GUARD_LoadStringW);
    Bounce bounce(text, cch == 0 ? sizeof(LPWSTR) : static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_LoadStringW(module, id, bounce.as<LPWSTR>(), cch);
}

UINT WINAPI GuardedGetSystemDirectoryW(LPWSTR directory, UINT cch) {
    CountCall(GUARD_GetSystemDirectoryW);
    Bounce bounce(directory, cch * sizeof(WCHAR));
    return g_GetSystemDirectoryW(bounce.as<LPWSTR>(), cch);
}

BOOL WINAPI GuardedGetVersionExW(LPOSVERSIONINFOW version) {
    CountCall(GUARD_GetVersionExW);
    Bounce bounce(version, version->dwOSVersionInfoSize);
    return g_GetVersionExW(bounce.as<LPOSVERSIONINFOW>());
}

BOOL WINAPI GuardedEnumProcesses(DWORD* ids, DWORD size, DWORD* returned) {
    CountCall(GUARD_EnumProcesses);
    Bounce bounce(ids, size);
    BOOL ok = g_EnumProcesses(bounce.as<DWORD*>(), size, returned);
    Locked locked(g_lock);
    if (ok && g_guardHooks.afterProcesses)
        g_guardHooks.afterProcesses(bounce.as<DWORD*>(), size / sizeof(DWORD), returned);
    return ok;
}

BOOL WINAPI GuardedEnumProcessModules(HANDLE process, HMODULE* modules, DWORD size, DWORD* needed) {
    CountCall(GUARD_EnumProcessModules);
    Bounce bounce(modules, size);
    return g_EnumProcessModules(process, bounce.as<HMODULE*>(), size, needed);
}

DWORD WINAPI GuardedGetModuleBaseNameW(HANDLE process, HMODULE module, LPWSTR name, DWORD cch) {
    CountCall(GUARD_GetModuleBaseNameW);
    DWORD length;
    {
        Bounce bounce(name, cch * sizeof(WCHAR));
        length = g_GetModuleBaseNameW(process, module, bounce.as<LPWSTR>(), cch);
        Locked locked(g_lock);
        if (length != 0 && g_guardHooks.afterProcessName)
            g_guardHooks.afterProcessName(bounce.as<WCHAR*>(), cch);
    }
    g_filled = {name, cch};
    return length;
}

BOOL WINAPI GuardedSetupDiCreateDeviceInfoW(HDEVINFO set, PCWSTR name, const GUID* classGuid,
                                            PCWSTR description, HWND parent, DWORD flags,
                                            PSP_DEVINFO_DATA device) {
    CountCall(GUARD_SetupDiCreateDeviceInfoW);
    Bounce bounce(device, device != nullptr ? device->cbSize : 0);
    return g_SetupDiCreateDeviceInfoW(set, name, classGuid, description, parent, flags,
                                      bounce.as<PSP_DEVINFO_DATA>());
}

BOOL WINAPI GuardedSetupDiGetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                                  PSP_DEVINSTALL_PARAMS_W params) {
    CountCall(GUARD_SetupDiGetDeviceInstallParamsW);
    Bounce bounce(params, params->cbSize);
    return g_SetupDiGetDeviceInstallParamsW(set, device, bounce.as<PSP_DEVINSTALL_PARAMS_W>());
}

BOOL WINAPI GuardedSetupDiGetSelectedDriverW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                             PSP_DRVINFO_DATA_W driver) {
    CountCall(GUARD_SetupDiGetSelectedDriverW);
    Bounce bounce(driver, driver->cbSize);
    return g_SetupDiGetSelectedDriverW(set, device, bounce.as<PSP_DRVINFO_DATA_W>());
}

int __cdecl Guarded_vsnwprintf(wchar_t* text, size_t cch, const wchar_t* format,
                               va_list arguments) {
    Bounce bounce(text, cch * sizeof(wchar_t));
    return g__vsnwprintf(bounce.as<wchar_t*>(), cch, format, arguments);
}

// Who knows that a text may have no end keeps a NUL behind it.
void ExpectEnd(LPCWSTR text, const void* caller) {
    if (text != g_filled.text || wcsnlen(text, g_filled.cch + 1) <= g_filled.cch)
        return;
    char where[40];
    snprintf(where, sizeof(where), "+0x%llx",
             static_cast<ULONGLONG>(static_cast<const BYTE*>(caller) - g_core));
    g_fault(std::string("a text without an end is compared, called from the product at ") + where);
}

void CountComparison(Guard guard) {
    Locked locked(g_lock);
    g_guardCounts.of[guard]++;
}

int WINAPI GuardedlstrcmpW(LPCWSTR one, LPCWSTR other) {
    CountComparison(GUARD_lstrcmpW);
    ExpectEnd(one, __builtin_return_address(0));
    ExpectEnd(other, __builtin_return_address(0));
    return g_lstrcmpW(one, other);
}

int WINAPI GuardedlstrcmpiW(LPCWSTR one, LPCWSTR other) {
    CountComparison(GUARD_lstrcmpiW);
    ExpectEnd(one, __builtin_return_address(0));
    ExpectEnd(other, __builtin_return_address(0));
    return g_lstrcmpiW(one, other);
}

// ---- imports

// Calls that fill no buffer of a stated length. An import that is neither among them nor guarded has
// still to be judged.
const char kPassedBy[] =
    " AllocateAndInitializeSid CheckTokenMembership CryptAcquireContextA CryptGenRandom "
    "CryptReleaseContext FreeSid RegCloseKey RegCreateKeyExW RegDeleteKeyW RegDeleteValueW "
    "RegOpenKeyExW RegSetValueExW "
    "ImageList_Create ImageList_ReplaceIcon PropertySheetW "
    "GetTextExtentPoint32W "
    "CloseHandle CreateFileW CreateProcessW CreateThread DeleteCriticalSection "
    "EnterCriticalSection FindClose FreeLibrary GetFileAttributesW GetLastError "
    "GetProcAddress GetStartupInfoW InitializeCriticalSection LeaveCriticalSection "
    "LoadLibraryW OpenProcess OutputDebugStringW SetDllDirectoryW SetLastError Sleep TlsGetValue "
    "VirtualProtect VirtualQuery "
    "__iob_func _amsg_exit _exit _initterm _lock _unlock _vsnprintf _wcsicmp _wcsnicmp "
    "abort fgetwc fwrite getc iswctype iswspace memcmp memcpy memset realloc strlen "
    "strncmp vfprintf wcschr wcscmp wcslen wcsncmp wcsrchr wcstol _write _open _close "
    "CLSIDFromString CoCreateInstance CoInitialize CoUninitialize "
    "SetupCloseInfFile SetupDiBuildDriverInfoList SetupDiCallClassInstaller "
    "SetupDiChangeState SetupDiCreateDeviceInfoList SetupDiDestroyDeviceInfoList "
    "SetupDiDestroyDriverInfoList SetupDiGetClassDevsW SetupDiOpenDevRegKey "
    "SetupDiRemoveDevice SetupDiSetClassInstallParamsW SetupDiSetDeviceInstallParamsW "
    "SetupDiSetDeviceRegistryPropertyW SetupDiSetSelectedDevice SetupFindFirstLineW "
    "SetupOpenInfFileW "
    "BroadcastSystemMessageW CheckDlgButton CreateDialogParamW CreateWindowExW DestroyIcon "
    "DestroyWindow DialogBoxParamW DisableProcessWindowsGhosting EnableWindow EndDialog GetDC "
    "GetDlgItem "
    "GetSystemMetrics GetWindowLongPtrW InvalidateRect IsDlgButtonChecked IsWindowEnabled "
    "LoadImageW MessageBoxW PostMessageW RedrawWindow RegisterWindowMessageW ReleaseDC "
    "SendMessageW SetDlgItemTextW SetWindowLongPtrW SetWindowPos SetWindowTextW ShowWindow ";

std::set<std::string> g_replaced;

template <typename Visit> void WalkImports(BYTE* module, Visit visit) {
    auto dos = reinterpret_cast<IMAGE_DOS_HEADER*>(module);
    auto nt = reinterpret_cast<IMAGE_NT_HEADERS64*>(module + dos->e_lfanew);
    DWORD at = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto dll = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(module + at); dll->FirstThunk != 0;
         dll++) {
        auto names = reinterpret_cast<IMAGE_THUNK_DATA64*>(module + dll->OriginalFirstThunk);
        auto slots = reinterpret_cast<ULONGLONG*>(module + dll->FirstThunk);
        for (; names->u1.AddressOfData != 0; names++, slots++) {
            auto import = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(module + names->u1.AddressOfData);
            if (!IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal))
                visit(std::string(reinterpret_cast<char*>(import->Name)), slots);
        }
    }
}

template <typename Function>
void Replace(BYTE* module, const char* name, Function* guarded, Function** original) {
    int replaced = 0;
    WalkImports(module, [&](const std::string& imported, ULONGLONG* slot) {
        if (imported != name)
            return;
        DWORD protection;
        VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
        *original = reinterpret_cast<Function*>(*slot);
        *slot = reinterpret_cast<ULONGLONG>(guarded);
        VirtualProtect(slot, sizeof(*slot), protection, &protection);
        replaced++;
    });
    if (replaced == 0) {
        fprintf(stderr, "%s is not imported\n", name);
        exit(2);
    }
    g_replaced.insert(name);
}

void ExpectAllJudged() {
    // A product whose lines are counted imports what the counting needs, too.
    if (getenv("GCOV_PREFIX") != nullptr)
        return;
    WalkImports(g_core, [&](const std::string& imported, ULONGLONG*) {
        if (g_replaced.count(imported) != 0 ||
            strstr(kPassedBy, (" " + imported + " ").c_str()) != nullptr)
            return;
        fprintf(stderr, "nobody has said whether %s fills a buffer\n", imported.c_str());
        exit(2);
    });
}

bool IsGuard(const BYTE* address) {
    Locked locked(g_lock);
    for (const BYTE* end : g_arenaEnds) {
        if (address >= end && address < end + kPage)
            return true;
    }
    for (const Block& block : g_released) {
        if (address >= block.base && address < block.base + block.span + kPage)
            return true;
    }
    for (const auto& block : g_blocks) {
        if (address >= block.second.base + block.second.span &&
            address < block.second.base + block.second.span + kPage)
            return true;
    }
    return false;
}

// What on the stack may be the product's, counted from its base as it was linked.
std::string ProductAddresses(const CONTEXT* context) {
    constexpr int most = 6;
    std::string text;
    char number[40];
    int found = 0;
    auto add = [&](const BYTE* address) {
        snprintf(number, sizeof(number), " +0x%llx", static_cast<ULONGLONG>(address - g_core));
        text += number;
        found++;
    };
    auto stack = reinterpret_cast<const BYTE* const*>(context->Rsp);
    for (int word = 0; word < 2000 && found < most; word++) {
        MEMORY_BASIC_INFORMATION region;
        if (word % 256 == 0 && (VirtualQuery(stack + word + 255, &region, sizeof(region)) == 0 ||
                                region.State != MEM_COMMIT))
            break;
        if (stack[word] >= g_core + kPage && stack[word] < g_core + g_codeSize)
            add(stack[word]);
    }
    return text;
}

// Module and place of an address.
std::string Place(const void* address) {
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH] = L"?";
    char text[MAX_PATH + 40];
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCWSTR>(address), &module);
    if (module != nullptr)
        GetModuleFileNameW(module, path, MAX_PATH);
    const wchar_t* name = wcsrchr(path, L'\\');
    snprintf(text, sizeof(text), "%ls+0x%llx", name != nullptr ? name + 1 : path,
             static_cast<ULONGLONG>(static_cast<const BYTE*>(address) -
                                    reinterpret_cast<const BYTE*>(module)));
    return text;
}

std::string Describe(const EXCEPTION_POINTERS* info, bool guarded) {
    const EXCEPTION_RECORD* record = info->ExceptionRecord;
    char what[200];
    snprintf(
        what, sizeof(what), "exception 0x%08lx touching 0x%llx%s at ", record->ExceptionCode,
        static_cast<ULONGLONG>(record->NumberParameters >= 2 ? record->ExceptionInformation[1] : 0),
        guarded ? " (a guard)" : "");
    return what + Place(record->ExceptionAddress) + ", called from the product at" +
           ProductAddresses(info->ContextRecord);
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* info) {
    const EXCEPTION_RECORD* record = info->ExceptionRecord;
    if ((record->ExceptionCode & 0xF0000000) != 0xC0000000)
        return EXCEPTION_CONTINUE_SEARCH;
    const BYTE* at = static_cast<const BYTE*>(record->ExceptionAddress);
    bool inProduct = at >= g_core && at < g_core + g_coreSize;
    bool guarded = record->ExceptionCode == EXCEPTION_ACCESS_VIOLATION &&
                   record->NumberParameters >= 2 &&
                   IsGuard(reinterpret_cast<const BYTE*>(record->ExceptionInformation[1]));
    // The system's own libraries probe memory and mend it.
    if (inProduct || guarded)
        g_fault(Describe(info, guarded));
    return EXCEPTION_CONTINUE_SEARCH;
}

LONG WINAPI OnUnhandled(EXCEPTION_POINTERS* info) {
    g_fault(Describe(info, false));
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

void GuardImports() {
    g_core = reinterpret_cast<BYTE*>(GetModuleHandleW(L"qvteamcfg_core.dll"));
    auto dos = reinterpret_cast<IMAGE_DOS_HEADER*>(g_core);
    const auto& header =
        reinterpret_cast<IMAGE_NT_HEADERS64*>(g_core + dos->e_lfanew)->OptionalHeader;
    g_coreSize = header.SizeOfImage;
    g_canary = reinterpret_cast<const ULONG_PTR*>(reinterpret_cast<const void*>(
        GetProcAddress(reinterpret_cast<HMODULE>(g_core), "__stack_chk_guard")));
    if (g_canary == nullptr || *g_canary == 0) {
        fprintf(stderr, "the product has no canaries\n");
        exit(2);
    }
    g_codeSize = header.BaseOfCode + header.SizeOfCode;
    for (BYTE*& end : g_arenaEnds) {
        BYTE* arena = static_cast<BYTE*>(
            VirtualAlloc(nullptr, kArena + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD protection;
        end = arena + kArena;
        VirtualProtect(end, kPage, PAGE_NOACCESS, &protection);
    }

#define GUARD(name) Replace(g_core, #name, &Guarded##name, &g_##name);
    GUARDED_CALLS(GUARD)
    GUARD(_vsnwprintf)
    GUARD(VirtualFree)
    GUARD(CoTaskMemFree)
#undef GUARD
    decltype(&VirtualAlloc) pages;
    void* (*zeroed)(size_t, size_t);
    decltype(&CoTaskMemAlloc) texts;
    Replace(g_core, "VirtualAlloc", &GuardedVirtualAlloc, &pages);
    Replace(g_core, "calloc", &GuardedCalloc, &zeroed);
    Replace(g_core, "free", &GuardedFree, &g_free);
    ExpectAllJudged();
    BYTE* server = reinterpret_cast<BYTE*>(LoadLibraryW(L"qvnetcfg.dll"));
    Replace(server, "CoTaskMemAlloc", &GuardedCoTaskMemAlloc, &texts);
    Replace(server, "CoTaskMemFree", &GuardedServersCoTaskMemFree, &g_serversCoTaskMemFree);
}

size_t GuardedBlocks() {
    Locked locked(g_lock);
    return g_blocks.size();
}

void ForgetGuardedBlocks() {
    Locked locked(g_lock);
    g_blocks.clear();
}

void WatchFaults(void (*fault)(const std::string& what)) {
    g_fault = fault;
    AddVectoredExceptionHandler(1, OnException);
    SetUnhandledExceptionFilter(OnUnhandled);
}
