// The rules of the network configuration server, checked through CoCreateInstance on a few adapters
// that it makes itself and removes again. Journal, faults and clock are checked too when
// qvbench.dll can be loaded. Exit code 0 = all held.
//
// `netcfg_selftest hold NAME` is its other half: a second client that takes the write lock, sets
// the event NAME and keeps the lock until it is ended.
#include <windows.h>
#include <netcfgx.h>
#include <devguid.h>
#include <setupapi.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench.h"
#include "machine.h"
#include "netcfg_key.h"
#include "qvnetcfg.h"
#include "selftest.h"

namespace {

// --- order of calls ------------------------------------------------------------------------------

void TestOrderOfCalls() {
    Client client;
    IEnumNetCfgComponent* all = nullptr;
    INetCfgComponent* component = nullptr;
    void* object = &client;
    CHECK_RESULT(client.config->Uninitialize(), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->Apply(), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->Cancel(), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->EnumComponents(&GUID_DEVCLASS_NET, &all), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->FindComponent(L"ms_tcpip", &component), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_INetCfgClass, &object),
                 NETCFG_E_NOT_INITIALIZED);
    CHECK_EQUAL(object == nullptr, true);
    CHECK_RESULT(client.lock->ReleaseWriteLock(), NETCFG_E_NO_WRITE_LOCK);

    CHECK_RESULT(client.config->Initialize(&client), E_INVALIDARG);
    CHECK_RESULT(client.config->Initialize(nullptr), S_OK);
    CHECK_RESULT(client.config->Initialize(nullptr), NETCFG_E_ALREADY_INITIALIZED);
    LPWSTR holder = nullptr;
    CHECK_RESULT(client.lock->AcquireWriteLock(0, L"selftest", &holder),
                 NETCFG_E_ALREADY_INITIALIZED);

    // Reading is open without the lock, changing is not.
    CHECK_RESULT(client.config->Apply(), NETCFG_E_NO_WRITE_LOCK);
    CHECK_RESULT(client.config->Cancel(), NETCFG_E_NO_WRITE_LOCK);
    INetCfgComponent* adapter = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> paths = client.Paths(adapter, EBP_ABOVE);
    CHECK_EQUAL(paths.size(), 5);
    CHECK_RESULT(paths[0]->Enable(FALSE), NETCFG_E_NO_WRITE_LOCK);
    INetCfgClassSetup* setup = nullptr;
    CHECK_RESULT(client.config->QueryNetCfgClass(&GUID_DEVCLASS_NETTRANS, IID_INetCfgClassSetup,
                                                 reinterpret_cast<void**>(&setup)),
                 S_OK);
    OBO_TOKEN token = {OBO_USER};
    CHECK_RESULT(setup->Install(L"QV_QVTEAMP", &token, 0, 0, nullptr, nullptr, &component),
                 NETCFG_E_NO_WRITE_LOCK);
    CHECK_RESULT(setup->DeInstall(adapter, &token, nullptr), NETCFG_E_NO_WRITE_LOCK);

    // What was handed out dies with the initialised period, also when another one begins.
    CHECK_RESULT(client.config->Uninitialize(), S_OK);
    LPWSTR text = nullptr;
    CHECK_RESULT(adapter->GetId(&text), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(paths[0]->IsEnabled(), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->Initialize(nullptr), S_OK);
    CHECK_RESULT(adapter->GetId(&text), NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(setup->Install(L"QV_QVTEAMP", &token, 0, 0, nullptr, nullptr, &component),
                 NETCFG_E_NOT_INITIALIZED);
    CHECK_RESULT(client.config->Uninitialize(), S_OK);
    setup->Release();
    ReleaseAll(paths);
    adapter->Release();
}

void TestArguments() {
    Client client;
    client.Open();
    const GUID other = {0x12345678, 0, 0, {}};
    IEnumNetCfgComponent* all = nullptr;
    INetCfgComponent* component = nullptr;
    void* object = nullptr;
    CHECK_RESULT(client.config->EnumComponents(&other, &all), E_INVALIDARG);
    CHECK_RESULT(client.config->EnumComponents(nullptr, &all), E_POINTER);
    CHECK_RESULT(client.config->EnumComponents(&GUID_DEVCLASS_NET, nullptr), E_POINTER);
    CHECK_RESULT(client.config->FindComponent(L"ms_tcpip", nullptr), E_POINTER);
    CHECK_RESULT(client.config->FindComponent(nullptr, &component), E_POINTER);
    CHECK_RESULT(client.config->FindComponent(L"xx_none", &component), S_FALSE);
    CHECK_RESULT(client.config->QueryNetCfgClass(&other, IID_INetCfgClass, &object), E_INVALIDARG);
    CHECK_RESULT(client.config->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_INetCfg, &object),
                 E_NOINTERFACE);
    CHECK_RESULT(client.config->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_INetCfgClass, nullptr),
                 E_POINTER);
    CHECK_RESULT(client.config->QueryInterface(IID_INetCfgClass, &object), E_NOINTERFACE);
    CHECK_RESULT(client.config->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    CHECK_RESULT(client.lock->IsWriteLocked(nullptr), E_POINTER);

    IUnknown* fromConfig = nullptr;
    IUnknown* fromLock = nullptr;
    client.config->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromConfig));
    client.lock->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromLock));
    CHECK_EQUAL(fromConfig == fromLock, true);
    fromConfig->Release();
    fromLock->Release();

    INetCfgComponent* adapter = client.FindAdapter(kPort0);
    CHECK_RESULT(adapter->GetId(nullptr), E_POINTER);
    CHECK_RESULT(adapter->GetCharacteristics(nullptr), E_POINTER);
    CHECK_RESULT(adapter->GetInstanceGuid(nullptr), E_POINTER);
    INetCfgComponentBindings* bindings = nullptr;
    adapter->QueryInterface(IID_INetCfgComponentBindings, reinterpret_cast<void**>(&bindings));
    IEnumNetCfgBindingPath* paths = nullptr;
    CHECK_RESULT(bindings->EnumBindingPaths(0, &paths), E_INVALIDARG);
    CHECK_RESULT(bindings->EnumBindingPaths(EBP_ABOVE | EBP_BELOW, &paths), E_INVALIDARG);
    CHECK_RESULT(bindings->EnumBindingPaths(EBP_ABOVE, nullptr), E_POINTER);
    bindings->Release();
    std::vector<INetCfgBindingPath*> above = client.Paths(adapter, EBP_ABOVE);
    CHECK_RESULT(above[0]->GetPathToken(nullptr), E_POINTER);
    CHECK_RESULT(above[0]->GetOwner(nullptr), E_POINTER);
    CHECK_RESULT(above[0]->GetDepth(nullptr), E_POINTER);
    CHECK_RESULT(above[0]->EnumBindingInterfaces(nullptr), E_POINTER);
    CHECK_RESULT(above[0]->IsSamePathAs(nullptr), E_POINTER);
    ReleaseAll(above);
    adapter->Release();
    client.Close();
    CHECK_RESULT(client.lock->AcquireWriteLock(0, nullptr, nullptr), E_POINTER);
}

// --- components and enumerators ------------------------------------------------------------------

void TestComponents() {
    Client client;
    client.config->Initialize(nullptr);
    INetCfgComponent* adapter = client.Find(L"PCI\\VEN_5156&DEV_0901");
    LPWSTR text = nullptr;
    GUID guid = {};
    DWORD characteristics = 0;
    ULONG status = 99;
    CHECK_RESULT(adapter->GetId(&text), S_OK);
    CHECK_TEXT(Take(text), L"pci\\ven_5156&dev_0901");
    CHECK_RESULT(adapter->GetDisplayName(&text), S_OK);
    CHECK_TEXT(Take(text), L"Test Adapter");
    CHECK_RESULT(adapter->GetBindName(&text), S_OK);
    CHECK_TEXT(Take(text), kPort0);
    CHECK_RESULT(adapter->GetPnpDevNodeId(&text), S_OK);
    CHECK_TEXT(Take(text), kPort0Instance);
    CHECK_RESULT(adapter->GetCharacteristics(&characteristics), S_OK);
    CHECK_EQUAL(characteristics, 0x84);
    CHECK_RESULT(adapter->GetClassGuid(&guid), S_OK);
    CHECK_EQUAL(guid == GUID_DEVCLASS_NET, true);
    CHECK_RESULT(adapter->GetDeviceStatus(&status), S_OK);
    CHECK_EQUAL(status, 0);
    NetCfgKey::Create(L"Software\\QvBench\\Devices\\PCI#VEN_5156&DEV_0901#SELFTEST0")
        .Write(L"Disabled", DWORD{1});
    CHECK_RESULT(adapter->GetDeviceStatus(&status), S_OK);
    CHECK_EQUAL(status, 22);
    adapter->Release();

    INetCfgComponent* tcpip = client.Find(L"MS_TCPIP");
    CHECK_RESULT(tcpip->GetPnpDevNodeId(&text), E_NOTIMPL);
    CHECK_RESULT(tcpip->GetDeviceStatus(&status), E_NOTIMPL);
    CHECK_RESULT(tcpip->GetBindName(&text), S_OK);
    CHECK_TEXT(Take(text), L"Tcpip");
    CHECK_RESULT(tcpip->GetClassGuid(&guid), S_OK);
    CHECK_EQUAL(guid == GUID_DEVCLASS_NETTRANS, true);
    CHECK_RESULT(tcpip->SetDisplayName(L"x"), NETCFG_E_NO_WRITE_LOCK);
    CHECK_TEXT(Id(tcpip), L"ms_tcpip");

    // A class object sees its class only.
    INetCfgClass* services = nullptr;
    client.config->QueryNetCfgClass(&GUID_DEVCLASS_NETSERVICE, IID_INetCfgClass,
                                    reinterpret_cast<void**>(&services));
    INetCfgComponent* found = nullptr;
    CHECK_RESULT(services->FindComponent(L"ms_tcpip", &found), S_FALSE);
    CHECK_EQUAL(found == nullptr, true);
    CHECK_RESULT(services->FindComponent(L"ms_server", &found), S_OK);
    found->Release();
    services->Release();
    client.config->Uninitialize();
}

void TestEnumerator() {
    Client client;
    client.config->Initialize(nullptr);
    INetCfgClass* adapters = nullptr;
    client.config->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_INetCfgClass,
                                    reinterpret_cast<void**>(&adapters));
    IEnumNetCfgComponent* all = nullptr;
    CHECK_RESULT(adapters->EnumComponents(&all), S_OK);
    adapters->Release();

    INetCfgComponent* items[4] = {};
    ULONG fetched = 99;
    CHECK_RESULT(all->Next(2, items, nullptr), E_INVALIDARG);
    CHECK_RESULT(all->Next(1, nullptr, &fetched), E_POINTER);
    CHECK_RESULT(all->Next(2, items, &fetched), S_OK);
    CHECK_EQUAL(fetched, 2);
    items[0]->Release();
    items[1]->Release();
    IEnumNetCfgComponent* copy = nullptr;
    CHECK_RESULT(all->Clone(&copy), S_OK);
    CHECK_RESULT(all->Clone(nullptr), E_POINTER);
    CHECK_RESULT(all->Next(4, items, &fetched), S_FALSE);
    CHECK_EQUAL(fetched, 1);
    CHECK_EQUAL(items[1] == nullptr, true);
    items[0]->Release();
    CHECK_RESULT(all->Next(1, items, &fetched), S_FALSE);
    CHECK_EQUAL(fetched, 0);
    CHECK_EQUAL(items[0] == nullptr, true);
    CHECK_RESULT(all->Skip(1), S_FALSE);
    CHECK_RESULT(all->Reset(), S_OK);
    CHECK_RESULT(all->Skip(2), S_OK);
    CHECK_RESULT(all->Skip(2), S_FALSE);

    CHECK_RESULT(copy->Next(1, items, nullptr), S_OK);
    DWORD characteristics = 0;
    items[0]->GetCharacteristics(&characteristics);
    CHECK_EQUAL(characteristics, NCF_VIRTUAL);
    items[0]->Release();
    copy->Release();
    client.config->Uninitialize();
    CHECK_RESULT(all->Reset(), NETCFG_E_NOT_INITIALIZED);
    all->Release();
}

// --- the write lock ------------------------------------------------------------------------------

void TestLockBetweenObjects() {
    Client first;
    Client second;
    LPWSTR holder = nullptr;
    CHECK_RESULT(first.lock->IsWriteLocked(&holder), S_FALSE);
    CHECK_RESULT(first.lock->AcquireWriteLock(5000, L"first client", &holder), S_OK);
    CHECK_EQUAL(holder == nullptr, true);
    CHECK_RESULT(first.lock->AcquireWriteLock(5000, L"again", &holder), S_OK);
    CHECK_EQUAL(NetCfgKey::Open(L"Software\\QvBench\\NetCfgLock").Text(L"Description").has_value(),
                true);
    CHECK_RESULT(second.lock->AcquireWriteLock(300, L"second client", &holder), S_FALSE);
    CHECK_TEXT(Take(holder), L"first client");
    CHECK_RESULT(second.lock->AcquireWriteLock(0, L"second client", nullptr), S_FALSE);
    CHECK_RESULT(second.lock->IsWriteLocked(&holder), S_OK);
    CHECK_TEXT(Take(holder), L"first client");
    CHECK_RESULT(second.lock->ReleaseWriteLock(), NETCFG_E_NO_WRITE_LOCK);

    CHECK_RESULT(first.config->Initialize(nullptr), S_OK);
    CHECK_RESULT(first.lock->ReleaseWriteLock(), NETCFG_E_ALREADY_INITIALIZED);
    CHECK_RESULT(first.config->Uninitialize(), S_OK);
    CHECK_RESULT(first.lock->ReleaseWriteLock(), S_OK);
    CHECK_RESULT(first.lock->ReleaseWriteLock(), NETCFG_E_NO_WRITE_LOCK);
    CHECK_RESULT(second.lock->AcquireWriteLock(0, L"second client", &holder), S_OK);
    // `second` goes without giving it back: its last release does.
}

void TestImaginaryHolder() {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"Software\\QvBench", L"Clock");
    NetCfgKey::Create(kMachine).Write(L"LockHolder", std::wstring(L"Other Tool"));
    Client client;
    LPWSTR holder = nullptr;
    SetMachine(L"LockSeconds", 0xFFFFFFFF);
    const DWORD started = GetTickCount();
    CHECK_RESULT(client.lock->AcquireWriteLock(5000, L"selftest", &holder), S_FALSE);
    CHECK_EQUAL(GetTickCount() - started < 2000, true);
    CHECK_TEXT(Take(holder), L"Other Tool");
    CHECK_RESULT(client.lock->IsWriteLocked(&holder), S_OK);
    CHECK_TEXT(Take(holder), L"Other Tool");

    // Far enough ahead of anything that has passed on the clock by now; five seconds at a time.
    SetMachine(L"LockSeconds", 60);
    int refusals = 0;
    while (client.lock->AcquireWriteLock(5000, L"selftest", &holder) == S_FALSE && refusals < 20) {
        CHECK_TEXT(Take(holder), L"Other Tool");
        ++refusals;
    }
    CHECK_EQUAL(refusals >= 1 && refusals < 12, true);
    CHECK_RESULT(client.lock->ReleaseWriteLock(), S_OK);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kMachine);
}

void TestAdministrator() {
    SetMachine(L"Administrator", 0);
    Client client;
    LPWSTR holder = nullptr;
    CHECK_RESULT(client.lock->AcquireWriteLock(0, L"selftest", &holder), E_ACCESSDENIED);
    CHECK_RESULT(client.config->Initialize(nullptr), S_OK);
    CHECK_RESULT(client.config->Uninitialize(), S_OK);
    SetMachine(L"Administrator", 1);
    CHECK_RESULT(client.lock->AcquireWriteLock(0, L"selftest", &holder), S_OK);
    CHECK_RESULT(client.lock->ReleaseWriteLock(), S_OK);
}

void TestLockBetweenProcesses() {
    const std::wstring name = L"qvnetcfg-selftest-" + std::to_wstring(GetCurrentProcessId());
    HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, ARRAYSIZE(path));
    std::wstring command = L"\"" + std::wstring(path) + L"\" hold " + name;
    STARTUPINFOW startup = {sizeof(startup)};
    PROCESS_INFORMATION child = {};
    CHECK_EQUAL(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &child),
                TRUE);
    CHECK_EQUAL(WaitForSingleObject(ready, 20000), WAIT_OBJECT_0);

    Client client;
    LPWSTR holder = nullptr;
    CHECK_RESULT(client.lock->AcquireWriteLock(500, L"selftest", &holder), S_FALSE);
    CHECK_TEXT(Take(holder), L"second process");
    TerminateProcess(child.hProcess, 1);
    WaitForSingleObject(child.hProcess, 20000);
    CHECK_RESULT(client.lock->AcquireWriteLock(5000, L"selftest", &holder), S_OK);
    CHECK_RESULT(client.lock->ReleaseWriteLock(), S_OK);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    CloseHandle(ready);
}

int HoldLock(const wchar_t* eventName) {
    CoInitialize(nullptr);
    Client client;
    if (client.lock->AcquireWriteLock(0, L"second process", nullptr) != S_OK) {
        return 1;
    }
    HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName);
    SetEvent(ready);
    Sleep(60000);
    return 1;
}

// --- threads, life times, bench ------------------------------------------------------------------

DWORD WINAPI FreeThreaded(void*) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        Client client;
        client.Open();
        INetCfgComponent* tcpip = client.Find(L"ms_tcpip");
        CHECK_TEXT(Id(tcpip), L"ms_tcpip");
        client.Close();
    }
    CoUninitialize();
    return 0;
}

void TestThreads() {
    HANDLE thread = CreateThread(nullptr, 0, FreeThreaded, nullptr, 0, nullptr);
    CHECK_EQUAL(WaitForSingleObject(thread, 20000), WAIT_OBJECT_0);
    CloseHandle(thread);
}

template <class Function> Function Export(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

void TestCounts(HMODULE server) {
    auto liveObjects = Export<decltype(&NetCfgLiveObjects)>(server, "NetCfgLiveObjects");
    auto lockHeld = Export<decltype(&NetCfgLockHeld)>(server, "NetCfgLockHeld");
    auto locksForgotten = Export<decltype(&NetCfgLocksForgotten)>(server, "NetCfgLocksForgotten");
    auto canUnload = Export<HRESULT(WINAPI*)(void)>(server, "DllCanUnloadNow");
    // Also says that no test before this one leaked.
    CHECK_EQUAL(liveObjects(), 0);
    CHECK_EQUAL(lockHeld(), FALSE);
    {
        Client client;
        CHECK_EQUAL(liveObjects(), 1);
        CHECK_RESULT(canUnload(), S_FALSE);
        client.Open();
        CHECK_EQUAL(lockHeld(), TRUE);
        INetCfgComponent* tcpip = client.Find(L"ms_tcpip");
        CHECK_EQUAL(liveObjects(), 2);
        tcpip->Release();
        CHECK_EQUAL(liveObjects(), 1);
        client.Close();
        CHECK_EQUAL(lockHeld(), FALSE);
    }
    const long forgotten = locksForgotten();
    {
        Client client;
        client.Open();
    }
    CHECK_EQUAL(lockHeld(), FALSE);
    CHECK_EQUAL(locksForgotten(), forgotten + 1);
    CHECK_EQUAL(liveObjects(), 0);
}

std::wstring Journal(BenchJournalTextFn journalText) {
    std::wstring text(static_cast<size_t>(journalText(nullptr, 0)), L'\0');
    journalText(text.data(), static_cast<int>(text.size()));
    std::wstring kinds;
    for (size_t at = 0; (at = text.find(L'\t', at)) != std::wstring::npos;) {
        const size_t end = text.find(L'\n', at);
        kinds += text.substr(at + 1, end - at - 1) + L"|";
        at = end;
    }
    return kinds;
}

void TestBench(HMODULE bench) {
    auto command = Export<BenchCommandFn>(bench, "BenchCommand");
    auto journalText = Export<BenchJournalTextFn>(bench, "BenchJournalText");
    wchar_t reply[256];
    Client client;
    client.Open();
    INetCfgComponent* port = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    command(L"journal-clear", reply, ARRAYSIZE(reply));
    above[3]->Enable(FALSE);
    above[4]->Enable(TRUE);
    CHECK_EQUAL(command(L"fault INetCfg::Apply 1 0x80004005", reply, ARRAYSIZE(reply)), 1);
    CHECK_RESULT(client.config->Apply(), E_FAIL);
    CHECK_EQUAL(Journal(journalText).find(L"binding") == std::wstring::npos, true);
    command(L"fault INetCfg::Apply 1 0x0004A020", reply, ARRAYSIZE(reply));
    CHECK_RESULT(client.config->Apply(), NETCFG_S_REBOOT);
    const std::wstring journal = Journal(journalText);
    CHECK_EQUAL(journal.find(std::wstring(L"binding-disable\tms_tcpip->") + kPort0 +
                             L"|netcfg-apply\t|") != std::wstring::npos,
                true);
    CHECK_EQUAL(journal.find(L"binding-enable") == std::wstring::npos, true);

    CHECK_EQUAL(command(L"fault INetCfgComponent::GetId 1 8", reply, ARRAYSIZE(reply)), 1);
    LPWSTR text = nullptr;
    CHECK_RESULT(port->GetId(&text), HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY));
    CHECK_EQUAL(text == nullptr, true);
    void* object = nullptr;
    command(L"fault INetCfgComponent::QueryInterface 1 0x80004002", reply, ARRAYSIZE(reply));
    CHECK_RESULT(port->QueryInterface(IID_INetCfgComponentBindings, &object), E_NOINTERFACE);

    auto now = Export<BenchNowFn>(bench, "BenchNow");
    const UINT64 before = now();
    Client second;
    CHECK_RESULT(second.lock->AcquireWriteLock(5000, L"second", nullptr), S_FALSE);
    CHECK_EQUAL(now() - before, 5000);
    ReleaseAll(above);
    port->Release();
    client.Close();
    CHECK_EQUAL(Journal(journalText).find(L"netcfg-unlock\t|") != std::wstring::npos, true);
}

std::wstring Beside(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, ARRAYSIZE(path));
    const std::wstring own = path;
    return own.substr(0, own.rfind(L'\\') + 1) + name;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    setvbuf(stdout, nullptr, _IONBF, 0);
    if (count == 3 && wcscmp(arguments[1], L"hold") == 0) {
        return HoldLock(arguments[2]);
    }
    HMODULE bench = LoadLibraryW(Beside(L"qvbench.dll").c_str());
    HMODULE server = LoadLibraryW(Beside(L"qvnetcfg.dll").c_str());
    // A machine may stand that another program has built.
    MachineReset();
    CleanUp();
    auto registerServer = Export<HRESULT(WINAPI*)(void)>(server, "DllRegisterServer");
    CHECK_RESULT(registerServer(), S_OK);
    CoInitialize(nullptr);
    MakeDevices();
    NetCfgDefaults();

    TestOrderOfCalls();
    TestArguments();
    TestComponents();
    TestEnumerator();
    TestBindings();
    TestLockBetweenObjects();
    TestImaginaryHolder();
    TestAdministrator();
    TestLockBetweenProcesses();
    TestInstallation(bench);
    TestThreads();
    if (bench != nullptr) {
        TestBench(bench);
    }
    TestCounts(server);

    CoUninitialize();
    CleanUp();
    printf("%d checks, %d failed%s\n", Checks(), Failures(),
           bench != nullptr ? "" : " (without qvbench.dll)");
    return Failures() == 0 ? 0 : 1;
}
