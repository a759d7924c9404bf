#include "sweep/guards.h"

#include <setupapi.h>
#include <cfgmgr32.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>

GuardHooks g_guardHooks;
GuardCounts g_guardCounts;

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kArena = 1 << 20;  // the largest buffer that is bounced
constexpr size_t kQuarantine = 512; // released blocks that stay forbidden
constexpr DWORD kPoison = 0xDB;

struct Block {
    BYTE* base;
    size_t span; // accessible, then one forbidden page
};

std::map<void*, Block> g_blocks;
std::deque<Block> g_released;
BYTE* g_core;
size_t g_coreSize;
size_t g_codeSize;
void (*g_fault)(const std::string&);
BYTE* g_arenaEnd;
const ULONG_PTR* g_canary;

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
    g_blocks[block] = {base, span};
    g_guardCounts.blocks++;
    return block;
}

bool Release(void* block) {
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

// ---- buffers

void CountCall() {
    g_guardCounts.calls++;
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

// A buffer of the stated length in front of the guard page, for one call. What the product's buffer
// holds is there before, and what it then holds goes back whole.
class Bounce {
  public:
    Bounce(void* buffer, size_t size) : buffer_(buffer), size_(size) {
        if (buffer == nullptr || size > kArena) {
            g_guardCounts.unbounced += buffer != nullptr;
            at_ = buffer;
            return;
        }
        g_guardCounts.bounced++;
        BreakCanaries(buffer, size);
        at_ = g_arenaEnd - size;
        memcpy(at_, buffer, size);
    }
    ~Bounce() {
        if (at_ != buffer_)
            memcpy(buffer_, at_, size_);
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
};

#define GUARDED(name) decltype(&name) g_##name

GUARDED(RegQueryValueExW);
GUARDED(RegEnumKeyW);
GUARDED(SetupDiGetDeviceRegistryPropertyW);
GUARDED(SetupDiEnumDeviceInfo);
GUARDED(SetupDiGetINFClassW);
GUARDED(SetupGetStringFieldW);
GUARDED(CM_Get_Device_IDW);
GUARDED(DeviceIoControl);
GUARDED(GetFullPathNameW);
GUARDED(GetSystemWindowsDirectoryW);
GUARDED(GetWindowTextW);
GUARDED(GetDlgItemTextW);
GUARDED(FindFirstFileW);
GUARDED(FindNextFileW);
GUARDED(StringFromGUID2);

LONG WINAPI GuardedRegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type,
                                    LPBYTE data, LPDWORD size) {
    CountCall();
    LONG result;
    {
        // Wine ends a string of a single byte behind it, where the product has room for it.
        bool single = data != nullptr && *size == 1;
        Bounce bounce(single ? nullptr : data, data != nullptr && !single ? *size : 0);
        result = g_RegQueryValueExW(key, name, reserved, type, single ? data : bounce.as<LPBYTE>(),
                                    size);
    }
    if (data == nullptr && result == ERROR_SUCCESS && g_guardHooks.afterSizeQuery)
        g_guardHooks.afterSizeQuery(key, name);
    return result;
}

LONG WINAPI GuardedRegEnumKeyW(HKEY key, DWORD index, LPWSTR name, DWORD cchName) {
    CountCall();
    Bounce bounce(name, cchName * sizeof(WCHAR));
    return g_RegEnumKeyW(key, index, bounce.as<LPWSTR>(), cchName);
}

BOOL WINAPI GuardedSetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                                     DWORD property, PDWORD type, PBYTE buffer,
                                                     DWORD size, PDWORD required) {
    CountCall();
    Bounce bounce(buffer, size);
    return g_SetupDiGetDeviceRegistryPropertyW(set, device, property, type, bounce.as<PBYTE>(),
                                               size, required);
}

BOOL WINAPI GuardedSetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device) {
    CountCall();
    Bounce bounce(device, device->cbSize);
    return g_SetupDiEnumDeviceInfo(set, index, bounce.as<PSP_DEVINFO_DATA>());
}

BOOL WINAPI GuardedSetupDiGetINFClassW(PCWSTR inf, LPGUID guid, PWSTR name, DWORD cchName,
                                       PDWORD required) {
    CountCall();
    Bounce bounce(name, cchName * sizeof(WCHAR));
    return g_SetupDiGetINFClassW(inf, guid, bounce.as<PWSTR>(), cchName, required);
}

BOOL WINAPI GuardedSetupGetStringFieldW(PINFCONTEXT line, DWORD index, PWSTR text, DWORD cchText,
                                        PDWORD required) {
    CountCall();
    Bounce bounce(text, cchText * sizeof(WCHAR));
    return g_SetupGetStringFieldW(line, index, bounce.as<PWSTR>(), cchText, required);
}

CONFIGRET WINAPI GuardedCM_Get_Device_IDW(DEVINST device, PWSTR id, ULONG cchId, ULONG flags) {
    CountCall();
    Bounce bounce(id, cchId * sizeof(WCHAR));
    return g_CM_Get_Device_IDW(device, bounce.as<PWSTR>(), cchId, flags);
}

BOOL WINAPI GuardedDeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD cbIn, LPVOID out,
                                   DWORD cbOut, LPDWORD returned, LPOVERLAPPED overlapped) {
    CountCall();
    Bounce bounce(out, cbOut);
    BOOL ok =
        g_DeviceIoControl(device, code, in, cbIn, bounce.as<LPVOID>(), cbOut, returned, overlapped);
    if (ok && g_guardHooks.afterQuery)
        g_guardHooks.afterQuery(bounce.as<BYTE*>(), cbOut, returned);
    return ok;
}

DWORD WINAPI GuardedGetFullPathNameW(LPCWSTR name, DWORD cch, LPWSTR path, LPWSTR* part) {
    CountCall();
    Bounce bounce(path, cch * sizeof(WCHAR));
    return g_GetFullPathNameW(name, cch, bounce.as<LPWSTR>(), part);
}

UINT WINAPI GuardedGetSystemWindowsDirectoryW(LPWSTR directory, UINT cch) {
    CountCall();
    Bounce bounce(directory, cch * sizeof(WCHAR));
    return g_GetSystemWindowsDirectoryW(bounce.as<LPWSTR>(), cch);
}

int WINAPI GuardedGetWindowTextW(HWND window, LPWSTR text, int cch) {
    CountCall();
    Bounce bounce(text, static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_GetWindowTextW(window, bounce.as<LPWSTR>(), cch);
}

UINT WINAPI GuardedGetDlgItemTextW(HWND dialog, int id, LPWSTR text, int cch) {
    CountCall();
    Bounce bounce(text, static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_GetDlgItemTextW(dialog, id, bounce.as<LPWSTR>(), cch);
}

HANDLE WINAPI GuardedFindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW file) {
    CountCall();
    Bounce bounce(file, sizeof(*file));
    return g_FindFirstFileW(pattern, bounce.as<LPWIN32_FIND_DATAW>());
}

BOOL WINAPI GuardedFindNextFileW(HANDLE search, LPWIN32_FIND_DATAW file) {
    CountCall();
    Bounce bounce(file, sizeof(*file));
    return g_FindNextFileW(search, bounce.as<LPWIN32_FIND_DATAW>());
}

int WINAPI GuardedStringFromGUID2(REFGUID guid, LPOLESTR text, int cch) {
    CountCall();
    Bounce bounce(text, static_cast<size_t>(cch) * sizeof(WCHAR));
    return g_StringFromGUID2(guid, bounce.as<LPOLESTR>(), cch);
}

// ---- imports

template <typename Function>
void Replace(const char* name, Function* guarded, Function** original) {
    auto dos = reinterpret_cast<IMAGE_DOS_HEADER*>(g_core);
    auto nt = reinterpret_cast<IMAGE_NT_HEADERS64*>(g_core + dos->e_lfanew);
    DWORD at = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    int replaced = 0;
    for (auto dll = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(g_core + at); dll->FirstThunk != 0;
         dll++) {
        auto names = reinterpret_cast<IMAGE_THUNK_DATA64*>(g_core + dll->OriginalFirstThunk);
        auto slots = reinterpret_cast<ULONGLONG*>(g_core + dll->FirstThunk);
        for (; names->u1.AddressOfData != 0; names++, slots++) {
            auto import = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(g_core + names->u1.AddressOfData);
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal) ||
                strcmp(reinterpret_cast<char*>(import->Name), name) != 0)
                continue;
            DWORD protection;
            VirtualProtect(slots, sizeof(*slots), PAGE_READWRITE, &protection);
            *original = reinterpret_cast<Function*>(*slots);
            *slots = reinterpret_cast<ULONGLONG>(guarded);
            VirtualProtect(slots, sizeof(*slots), protection, &protection);
            replaced++;
        }
    }
    if (replaced == 0) {
        fprintf(stderr, "the product does not import %s\n", name);
        exit(2);
    }
}

bool IsGuard(const BYTE* address) {
    if (address >= g_arenaEnd && address < g_arenaEnd + kPage)
        return true;
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
    BYTE* arena = static_cast<BYTE*>(
        VirtualAlloc(nullptr, kArena + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD protection;
    g_arenaEnd = arena + kArena;
    VirtualProtect(g_arenaEnd, kPage, PAGE_NOACCESS, &protection);

#define GUARD(name) Replace(#name, &Guarded##name, &g_##name)
    GUARD(RegQueryValueExW);
    GUARD(RegEnumKeyW);
    GUARD(SetupDiGetDeviceRegistryPropertyW);
    GUARD(SetupDiEnumDeviceInfo);
    GUARD(SetupDiGetINFClassW);
    GUARD(SetupGetStringFieldW);
    GUARD(CM_Get_Device_IDW);
    GUARD(DeviceIoControl);
    GUARD(GetFullPathNameW);
    GUARD(GetSystemWindowsDirectoryW);
    GUARD(GetWindowTextW);
    GUARD(GetDlgItemTextW);
    GUARD(FindFirstFileW);
    GUARD(FindNextFileW);
    GUARD(StringFromGUID2);
    GUARD(VirtualFree);
#undef GUARD
    decltype(&VirtualAlloc) pages;
    void* (*zeroed)(size_t, size_t);
    Replace("VirtualAlloc", &GuardedVirtualAlloc, &pages);
    Replace("calloc", &GuardedCalloc, &zeroed);
    Replace("free", &GuardedFree, &g_free);
}

size_t GuardedBlocks() {
    return g_blocks.size();
}

void ForgetGuardedBlocks() {
    g_blocks.clear();
}

void WatchFaults(void (*fault)(const std::string& what)) {
    g_fault = fault;
    AddVectoredExceptionHandler(1, OnException);
    SetUnhandledExceptionFilter(OnUnhandled);
}
