// The list of processes. Every Windows has processes that no program may open, and processes of other
// sessions; Wine has neither. Those that really run come from Wine.
#include "standins.h"

#include <psapi.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "data.h"
#include "last_error.h"
#include "lock.h"

namespace bench {

namespace {

const DWORD kIdle = 0;
const DWORD kSystem = 4;
const DWORD kFirstId = 0x40000000; // beyond all ids of real processes; ids are multiples of 4
const DWORD kReadRights = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
const HMODULE kModule = reinterpret_cast<HMODULE>(0x140000000);

struct Listed {
    DWORD id;
    std::wstring name;
    bool refused; // to everyone
    bool real;    // stands for the processes that really run
};

struct OpenHandle {
    std::wstring name;
    DWORD access;
};

SRWLOCK g_lock = SRWLOCK_INIT;
std::map<HANDLE, OpenHandle>& g_open = *new std::map<HANDLE, OpenHandle>;

// The list in its order, as the machine file has it: "refused:NAME", "session:NAME", "*".
std::vector<Listed> ReadProcessList() {
    std::vector<Listed> list = {{kIdle, L"", true, false}, {kSystem, L"", true, false}};
    DWORD id = kFirstId;
    for (const std::wstring& entry : ReadList(kMachineKey, L"ProcessList")) {
        const size_t colon = entry.find(L':');
        if (colon == std::wstring::npos)
            list.push_back({0, L"", false, true});
        else
            list.push_back(
                {id, entry.substr(colon + 1), entry.compare(0, colon, L"refused") == 0, false});
        id += 4;
    }
    if (std::none_of(list.begin(), list.end(), [](const Listed& one) { return one.real; }))
        list.push_back({0, L"", false, true});
    return list;
}

// False with the last error of the call.
bool RealIds(std::vector<DWORD>* ids) {
    ids->resize(4096);
    DWORD size = 0;
    if (!::EnumProcesses(ids->data(), static_cast<DWORD>(ids->size() * sizeof(DWORD)), &size))
        return false;
    ids->resize(size / sizeof(DWORD));
    return true;
}

// The handle's process, when it is one of the machine's own.
bool FindOpen(HANDLE handle, OpenHandle* open) {
    Guard guard(&g_lock);
    auto found = g_open.find(handle);
    if (found == g_open.end())
        return false;
    *open = found->second;
    return true;
}

// Any object of the system will do: nothing but the calls below takes the handle for a process.
HANDLE OpenListed(const Listed& process, DWORD access) {
    HANDLE handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!handle)
        return nullptr;
    Guard guard(&g_lock);
    g_open[handle] = {process.name, access};
    return handle;
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

// "EnumProcesses function": fills as much of the array as there is, and tells of no more.
BOOL WINAPI EnumProcesses(DWORD* ids, DWORD size, DWORD* returned) {
    std::vector<DWORD> real;
    if (!RealIds(&real))
        return FALSE;
    KeepLastError keep;
    std::vector<DWORD> all;
    for (const Listed& listed : ReadProcessList()) {
        if (listed.real)
            all.insert(all.end(), real.begin(), real.end());
        else
            all.push_back(listed.id);
    }
    const size_t count = std::min<size_t>(all.size(), size / sizeof(DWORD));
    std::copy(all.begin(), all.begin() + static_cast<ptrdiff_t>(count), ids);
    *returned = static_cast<DWORD>(count * sizeof(DWORD));
    return TRUE;
}

// "OpenProcess function": the System Idle Process gives ERROR_INVALID_PARAMETER; the System process
// and the Client Server Run-Time Subsystem give ERROR_ACCESS_DENIED. A process of another session is
// open to administrators (unverified: whose process it is decides).
HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD id) {
    for (const Listed& listed : ReadProcessList()) {
        if (listed.real || listed.id != id)
            continue;
        if (id != kIdle && !listed.refused && IsAdministrator())
            return OpenListed(listed, access);
        SetLastError(id == kIdle ? ERROR_INVALID_PARAMETER : ERROR_ACCESS_DENIED);
        return nullptr;
    }
    HANDLE process = ::OpenProcess(access, inherit, id);
    KeepLastError keep;
    // The value may be that of a handle which the program has closed.
    Guard guard(&g_lock);
    g_open.erase(process);
    return process;
}

// "EnumProcessModules function", "GetModuleBaseNameW function": the handle needs both rights.
BOOL WINAPI EnumProcessModules(HANDLE process, HMODULE* modules, DWORD size, LPDWORD needed) {
    OpenHandle open;
    if (!FindOpen(process, &open))
        return ::EnumProcessModules(process, modules, size, needed);
    if ((open.access & kReadRights) != kReadRights)
        return Refuse(ERROR_ACCESS_DENIED);
    if (size >= sizeof(kModule))
        *modules = kModule;
    *needed = sizeof(kModule);
    return TRUE;
}

DWORD WINAPI GetModuleBaseNameW(HANDLE process, HMODULE module, LPWSTR name, DWORD size) {
    OpenHandle open;
    if (!FindOpen(process, &open))
        return ::GetModuleBaseNameW(process, module, name, size);
    if ((open.access & kReadRights) != kReadRights)
        return Refuse(ERROR_ACCESS_DENIED);
    lstrcpynW(name, open.name.c_str(), static_cast<int>(size));
    return static_cast<DWORD>(wcslen(name));
}

} // namespace standin
