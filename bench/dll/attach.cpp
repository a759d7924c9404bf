#include "attach.h"

#include <set>
#include <string>

#include "bench.h"
#include "calls.h"
#include "command.h"
#include "journal.h"
#include "last_error.h"
#include "lock.h"
#include "pipe.h"

namespace bench {

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
std::set<std::string>& g_unwrapped = *new std::set<std::string>;
std::set<HMODULE>& g_modules = *new std::set<HMODULE>;

void PatchSlot(ULONGLONG* slot, void* wrapper) {
    DWORD protection;
    if (!VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection))
        return;
    *slot = reinterpret_cast<ULONG_PTR>(wrapper);
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

// A function that is imported more than once has one slot for each import; all are patched.
bool PatchImports(BYTE* base) {
    auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    if (dos->e_magic != IMAGE_DOS_SIGNATURE)
        return false;
    auto nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (nt->Signature != IMAGE_NT_SIGNATURE || directory.VirtualAddress == 0)
        return false;
    bool patched = false;
    auto dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; dll->FirstThunk != 0; dll++) {
        if (dll->OriginalFirstThunk == 0)
            continue;
        bool runtime =
            lstrcmpiA(reinterpret_cast<const char*>(base + dll->Name), "msvcrt.dll") == 0;
        auto names = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + dll->OriginalFirstThunk);
        auto slots = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + dll->FirstThunk);
        for (; names->u1.AddressOfData != 0; names++, slots++) {
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal))
                continue;
            auto import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            const char* name = reinterpret_cast<const char*>(import->Name);
            int index = FindWrapper(name);
            if (index < 0) {
                if (!runtime)
                    g_unwrapped.insert(name);
                continue;
            }
            void* wrapper = WrapperAt(index);
            if (slots->u1.Function != reinterpret_cast<ULONG_PTR>(wrapper)) {
                SetOriginal(index, reinterpret_cast<void*>(slots->u1.Function));
                PatchSlot(&slots->u1.Function, wrapper);
            }
            patched = true;
        }
    }
    return patched;
}

void RunInitialCommands() {
    std::wstring commands(32768, 0);
    commands.resize(GetEnvironmentVariableW(L"QVBENCH_COMMANDS", commands.data(),
                                            static_cast<DWORD>(commands.size())));
    for (size_t at = 0; at < commands.size();) {
        size_t end = commands.find(L';', at);
        if (end == std::wstring::npos)
            end = commands.size();
        std::wstring reply;
        std::wstring command = commands.substr(at, end - at);
        if (command.find_first_not_of(L' ') != std::wstring::npos && !RunCommand(command, &reply))
            Journal(L"bad-command", command + L": " + reply);
        at = end + 1;
    }
}

} // namespace

std::wstring UnwrappedImports() {
    Guard guard(&g_lock);
    std::wstring text;
    for (const std::string& name : g_unwrapped)
        text += Format(L"%hs\n", name.c_str());
    return text;
}

bool ManifestNames(const char* guid) {
    Guard guard(&g_lock);
    for (HMODULE module : g_modules) {
        for (int id = 1; id <= 2; id++) { // of an executable, of a library
            HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(24));
            HGLOBAL loaded = found ? LoadResource(module, found) : nullptr;
            if (!loaded)
                continue;
            const std::string text(static_cast<const char*>(LockResource(loaded)),
                                   SizeofResource(module, found));
            if (text.find(guid) != std::string::npos)
                return true;
        }
    }
    return false;
}

} // namespace bench

BOOL WINAPI BenchAttach(HMODULE module) {
    bench::KeepLastError keep;
    bench::Guard guard(&bench::g_lock);
    if (!module || !bench::PatchImports(reinterpret_cast<BYTE*>(module)))
        return FALSE;
    bench::g_modules.insert(module);
    return TRUE;
}

void* WINAPI BenchRoutine(const char* name) {
    int index = bench::FindWrapper(name);
    return index < 0 ? nullptr : bench::WrapperAt(index);
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason != DLL_PROCESS_ATTACH)
        return TRUE;
    DisableThreadLibraryCalls(instance);
    wchar_t wanted[2];
    if (GetEnvironmentVariableW(L"QVBENCH", wanted, ARRAYSIZE(wanted)) == 1 && wanted[0] == L'1') {
        BenchAttach(GetModuleHandleW(nullptr));
        bench::RunInitialCommands();
        bench::StartPipe();
    }
    return TRUE;
}
