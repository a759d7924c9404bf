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
#include "model.h"
#include "qvnetcfg.h"
#include "netcfg_key.h"

namespace {

int g_failures = 0;
int g_checks = 0;

void CheckEqual(int line, const char* what, long long got, long long wanted) {
    ++g_checks;
    if (got != wanted) {
        ++g_failures;
        printf("line %d: %s is 0x%llx, not 0x%llx\n", line, what, got, wanted);
    }
}

void CheckText(int line, const char* what, const std::wstring& got, const std::wstring& wanted) {
    ++g_checks;
    if (got != wanted) {
        ++g_failures;
        printf("line %d: %s is \"%ls\", not \"%ls\"\n", line, what, got.c_str(), wanted.c_str());
    }
}

#define CHECK_EQUAL(got, wanted)                                                                   \
    CheckEqual(__LINE__, #got, static_cast<long long>(got), static_cast<long long>(wanted))
#define CHECK_RESULT(got, wanted)                                                                  \
    CheckEqual(__LINE__, #got, static_cast<DWORD>(got), static_cast<DWORD>(wanted))
#define CHECK_TEXT(got, wanted) CheckText(__LINE__, #got, got, wanted)

const wchar_t kMachine[] = L"Software\\QvBench\\Machine";
const wchar_t kService[] = L"System\\CurrentControlSet\\Services\\qvteamp";
const wchar_t kPort0[] = L"{A0000000-0000-4000-8000-000000000001}";
const wchar_t kPort1[] = L"{A0000000-0000-4000-8000-000000000002}";
const wchar_t kVirtual[] = L"{A0000000-0000-4000-8000-000000000003}";

struct TestDevice {
    const wchar_t* instanceId;
    const wchar_t* hardwareId;
    const wchar_t* description;
    const wchar_t* guid; // null: no network component yet
    DWORD characteristics;
};

const TestDevice kDevices[] = {
    {L"PCI\\VEN_5156&DEV_0901\\SELFTEST0", L"PCI\\VEN_5156&DEV_0901", L"Test Adapter", kPort0,
     0x84},
    {L"PCI\\VEN_5156&DEV_0901\\SELFTEST1", L"PCI\\VEN_5156&DEV_0901", L"Test Adapter", kPort1,
     0x84},
    {L"ROOT\\NET\\9000", L"QV_QVTEAMMP", L"Test Virtual Adapter", kVirtual, 0x1},
    {L"ROOT\\NET\\9001", L"QV_QVTEAMMP", L"Unfinished Adapter", nullptr, 0x1},
};

const char kProtocolInf[] = R"([Version]
Signature = "$Windows NT$"
Class = NetTrans
ClassGUID = {4D36E975-E325-11CE-BFC1-08002BE10318}
Provider = "Quovane Communications Inc.,"
[Manufacturer]
"Quovane" = Quovane,NTamd64
[Quovane.NTamd64]
"Test Teaming Protocol" = Protocol.Install, QV_QVTEAMP
[Protocol.Install.Services]
AddService = qvteamp, , Protocol.Service
[Protocol.Service]
DisplayName = "Test Teaming Service"
ServiceType = 1
StartType = 3
ErrorControl = 1
ServiceBinary = %12%\qvteamp.sys
)";

// Holds the same model, but for 32-bit Windows only, or for another class.
std::string WithText(std::string inf, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = inf.find(from, at)) != std::string::npos; at += to.size()) {
        inf.replace(at, from.size(), to);
    }
    return inf;
}

std::wstring InfPath(const wchar_t* name) {
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, ARRAYSIZE(windows));
    return std::wstring(windows) + L"\\inf\\" + name;
}

void WriteInf(const wchar_t* name, const std::string& text) {
    HANDLE file =
        CreateFileW(InfPath(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
}

void MakeDevice(const TestDevice& wanted) {
    HDEVINFO set = SetupDiCreateDeviceInfoList(&GUID_DEVCLASS_NET, nullptr);
    SP_DEVINFO_DATA device = {sizeof(device)};
    if (!SetupDiCreateDeviceInfoW(set, wanted.instanceId, &GUID_DEVCLASS_NET, wanted.description,
                                  nullptr, 0, &device) ||
        !SetupDiRegisterDeviceInfo(set, &device, 0, nullptr, nullptr, nullptr)) {
        printf("no device %ls: error 0x%lx\n", wanted.instanceId, GetLastError());
        ++g_failures;
    }
    const std::wstring ids = std::wstring(wanted.hardwareId) + L'\0';
    SetupDiSetDeviceRegistryPropertyW(set, &device, SPDRP_HARDWAREID,
                                      reinterpret_cast<const BYTE*>(ids.c_str()),
                                      static_cast<DWORD>((ids.size() + 1) * sizeof(wchar_t)));
    const NetCfgKey key(
        SetupDiCreateDevRegKeyW(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, nullptr, nullptr));
    if (wanted.guid != nullptr) {
        key.Write(L"NetCfgInstanceId", std::wstring(wanted.guid));
    }
    key.Write(L"Characteristics", wanted.characteristics);
    SetupDiDestroyDeviceInfoList(set);
}

void RemoveDevice(const wchar_t* instanceId) {
    HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA device = {sizeof(device)};
    if (SetupDiOpenDeviceInfoW(set, instanceId, nullptr, 0, &device)) {
        SetupDiRemoveDevice(set, &device);
    }
    SetupDiDestroyDeviceInfoList(set);
}

void CleanUp() {
    for (const TestDevice& device : kDevices) {
        RemoveDevice(device.instanceId);
    }
    for (const wchar_t* inf : {L"oem90.inf", L"oem91.inf", L"oem92.inf"}) {
        DeleteFileW(InfPath(inf).c_str());
    }
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\QvBench");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kService);
}

void SetMachine(const wchar_t* name, DWORD number) {
    NetCfgKey::Create(kMachine).Write(name, number);
}

std::wstring Take(LPWSTR text) {
    const std::wstring copy = text != nullptr ? text : L"(null)";
    CoTaskMemFree(text);
    return copy;
}

// A client: the two faces of one configuration object.
struct Client {
    INetCfg* config = nullptr;
    INetCfgLock* lock = nullptr;

    Client() {
        CHECK_RESULT(CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_INetCfg,
                                      reinterpret_cast<void**>(&config)),
                     S_OK);
        CHECK_RESULT(config->QueryInterface(IID_INetCfgLock, reinterpret_cast<void**>(&lock)),
                     S_OK);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() {
        lock->Release();
        config->Release();
    }

    void Open() {
        CHECK_RESULT(lock->AcquireWriteLock(0, L"selftest", nullptr), S_OK);
        CHECK_RESULT(config->Initialize(nullptr), S_OK);
    }
    void Close() {
        CHECK_RESULT(config->Uninitialize(), S_OK);
        CHECK_RESULT(lock->ReleaseWriteLock(), S_OK);
    }

    INetCfgComponent* Find(const wchar_t* id) {
        INetCfgComponent* component = nullptr;
        config->FindComponent(id, &component);
        return component;
    }

    INetCfgComponent* FindAdapter(const wchar_t* guid) {
        IEnumNetCfgComponent* all = nullptr;
        config->EnumComponents(&GUID_DEVCLASS_NET, &all);
        INetCfgComponent* component = nullptr;
        while (all->Next(1, &component, nullptr) == S_OK) {
            GUID itsGuid;
            wchar_t text[40];
            component->GetInstanceGuid(&itsGuid);
            StringFromGUID2(itsGuid, text, ARRAYSIZE(text));
            if (wcscmp(text, guid) == 0) {
                break;
            }
            component->Release();
            component = nullptr;
        }
        all->Release();
        return component;
    }

    // One reference each for the caller.
    std::vector<INetCfgBindingPath*> Paths(INetCfgComponent* component, DWORD flags) {
        INetCfgComponentBindings* bindings = nullptr;
        component->QueryInterface(IID_INetCfgComponentBindings,
                                  reinterpret_cast<void**>(&bindings));
        IEnumNetCfgBindingPath* all = nullptr;
        CHECK_RESULT(bindings->EnumBindingPaths(flags, &all), S_OK);
        std::vector<INetCfgBindingPath*> paths;
        INetCfgBindingPath* path = nullptr;
        while (all->Next(1, &path, nullptr) == S_OK) {
            paths.push_back(path);
        }
        all->Release();
        bindings->Release();
        return paths;
    }
};

void ReleaseAll(const std::vector<INetCfgBindingPath*>& paths) {
    for (INetCfgBindingPath* path : paths) {
        path->Release();
    }
}

std::wstring Token(INetCfgBindingPath* path) {
    LPWSTR token = nullptr;
    path->GetPathToken(&token);
    return Take(token);
}

std::wstring Id(INetCfgComponent* component) {
    LPWSTR id = nullptr;
    component->GetId(&id);
    component->Release();
    return Take(id);
}

// --- the model -----------------------------------------------------------------------------------

void TestModel() {
    const std::vector<NetCfgAdapter> adapters = NetCfgAdapters();
    CHECK_EQUAL(adapters.size(), 3);
    CHECK_TEXT(adapters[0].guid, kPort0);
    CHECK_TEXT(adapters[0].id, L"pci\\ven_5156&dev_0901");
    CHECK_TEXT(adapters[0].displayName, L"Test Adapter");
    CHECK_EQUAL(adapters[0].characteristics, 0x84);

    // Four components over every adapter, the teaming protocol over the physical ones.
    const std::vector<NetCfgPath> paths = NetCfgPaths();
    CHECK_EQUAL(paths.size(), 4 * 3 + 2);
    CHECK_TEXT(paths[0].token, std::wstring(L"ms_msclient->ms_netbt->ms_tcpip->") + kPort0);
    CHECK_EQUAL(paths[0].ids.size(), 3);
    CHECK_TEXT(paths[0].adapterGuid, kPort0);
    CHECK_EQUAL(paths[0].enabled, true);
    CHECK_TEXT(paths.back().token, std::wstring(L"qv_qvteamp->") + kPort1);

    CHECK_EQUAL(NetCfgPathState(paths[0].token).has_value(), false);
    CHECK_EQUAL(NetCfgSetPathState(paths[0].token, false), true);
    CHECK_EQUAL(NetCfgPaths()[0].enabled, false);

    NetCfgComponent off = NetCfgTemplate(L"xx_off");
    off.boundByDefault = false;
    off.lower = {L"ms_tcpip", L"adapters", L"xx_off"};
    NetCfgWriteComponent(off);
    const std::vector<NetCfgPath> more = NetCfgPaths();
    CHECK_EQUAL(more.size(), 4 * 3 + 2 + 2 * 3);
    CHECK_TEXT(more[0].token, std::wstring(L"xx_off->ms_tcpip->") + kPort0);
    CHECK_TEXT(more[3].token, std::wstring(L"xx_off->") + kPort0);
    CHECK_EQUAL(more[0].enabled, false);
    NetCfgSetPathState(more[0].token, true);
    NetCfgRemoveComponent(L"xx_off");
    CHECK_EQUAL(NetCfgPathState(more[0].token).has_value(), false);
    CHECK_EQUAL(NetCfgPathState(paths[0].token).has_value(), true);

    NetCfgDefaults(false);
    CHECK_EQUAL(NetCfgPaths().size(), 4 * 3);
    NetCfgDefaults();
}

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
    CHECK_TEXT(Take(text), kDevices[0].instanceId);
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

// --- binding paths -------------------------------------------------------------------------------

void TestPaths() {
    Client client;
    client.config->Initialize(nullptr);
    INetCfgComponent* port = client.FindAdapter(kPort1);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    const wchar_t* tops[] = {L"ms_msclient->ms_netbt->ms_tcpip->",
                             L"ms_server->ms_netbt->ms_tcpip->", L"ms_netbt->ms_tcpip->",
                             L"ms_tcpip->", L"qv_qvteamp->"};
    CHECK_EQUAL(above.size(), ARRAYSIZE(tops));
    for (size_t index = 0; index < above.size() && index < ARRAYSIZE(tops); ++index) {
        CHECK_TEXT(Token(above[index]), std::wstring(tops[index]) + kPort1);
    }
    CHECK_EQUAL(client.Paths(port, EBP_BELOW).size(), 0);

    ULONG depth = 0;
    INetCfgComponent* end = nullptr;
    CHECK_RESULT(above[1]->GetDepth(&depth), S_OK);
    CHECK_EQUAL(depth, 3);
    CHECK_RESULT(above[1]->GetOwner(&end), S_OK);
    CHECK_TEXT(Id(end), L"ms_server");
    CHECK_RESULT(above[2]->IsSubPathOf(above[1]), S_OK);
    CHECK_RESULT(above[1]->IsSubPathOf(above[2]), S_FALSE);
    CHECK_RESULT(above[1]->IsSamePathAs(above[1]), S_OK);
    CHECK_RESULT(above[1]->IsSamePathAs(above[0]), S_FALSE);

    IEnumNetCfgBindingInterface* hops = nullptr;
    CHECK_RESULT(above[1]->EnumBindingInterfaces(&hops), S_OK);
    const wchar_t* ids[] = {L"ms_server", L"ms_netbt", L"ms_tcpip", L"pci\\ven_5156&dev_0901"};
    for (size_t index = 0; index < 3; ++index) {
        INetCfgBindingInterface* hop = nullptr;
        CHECK_RESULT(hops->Next(1, &hop, nullptr), S_OK);
        CHECK_RESULT(hop->GetUpperComponent(nullptr), E_POINTER);
        CHECK_RESULT(hop->GetUpperComponent(&end), S_OK);
        CHECK_TEXT(Id(end), ids[index]);
        CHECK_RESULT(hop->GetLowerComponent(&end), S_OK);
        GUID guid;
        wchar_t text[40];
        end->GetInstanceGuid(&guid);
        StringFromGUID2(guid, text, ARRAYSIZE(text));
        CHECK_EQUAL(wcscmp(text, kPort1) == 0, index == 2);
        CHECK_TEXT(Id(end), ids[index + 1]);
        LPWSTR name = nullptr;
        CHECK_RESULT(hop->GetName(&name), S_OK);
        CHECK_TEXT(Take(name), index == 2 ? L"ndis5" : L"tdi");
        hop->Release();
    }
    INetCfgBindingInterface* none = nullptr;
    CHECK_RESULT(hops->Next(1, &none, nullptr), S_FALSE);
    hops->Release();
    ReleaseAll(above);
    port->Release();

    INetCfgComponent* netbt = client.Find(L"ms_netbt");
    above = client.Paths(netbt, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 2 * 3);
    ReleaseAll(above);
    std::vector<INetCfgBindingPath*> below = client.Paths(netbt, EBP_BELOW);
    CHECK_EQUAL(below.size(), 3);
    ReleaseAll(below);
    netbt->Release();

    // The protocol binds to physical adapters only.
    INetCfgComponent* virtualAdapter = client.FindAdapter(kVirtual);
    above = client.Paths(virtualAdapter, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 4);
    ReleaseAll(above);
    virtualAdapter->Release();
    client.config->Uninitialize();
}

void TestStagedBindings() {
    Client client;
    client.Open();
    INetCfgComponent* port = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    const std::wstring token = Token(above[0]);
    CHECK_RESULT(above[0]->Enable(FALSE), S_OK);
    CHECK_RESULT(above[0]->IsEnabled(), S_FALSE);
    CHECK_EQUAL(NetCfgPathState(token).has_value(), false);

    // Another client sees what is real.
    {
        Client reader;
        reader.config->Initialize(nullptr);
        INetCfgComponent* same = reader.FindAdapter(kPort0);
        std::vector<INetCfgBindingPath*> paths = reader.Paths(same, EBP_ABOVE);
        CHECK_RESULT(paths[0]->IsEnabled(), S_OK);
        ReleaseAll(paths);
        same->Release();
        reader.config->Uninitialize();
    }

    CHECK_RESULT(client.config->Cancel(), S_OK);
    CHECK_RESULT(above[0]->IsEnabled(), S_OK);
    CHECK_RESULT(above[0]->Enable(FALSE), S_OK);
    client.config->Uninitialize();
    client.config->Initialize(nullptr);
    ReleaseAll(above);
    port->Release();
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgPathState(token).has_value(), false);

    port = client.FindAdapter(kPort0);
    above = client.Paths(port, EBP_ABOVE);
    CHECK_RESULT(above[0]->Enable(FALSE), S_OK);
    CHECK_RESULT(above[1]->Enable(TRUE), S_OK);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgPathState(token).value_or(true), false);
    // Nothing changed for the second one, so nothing was written.
    CHECK_EQUAL(NetCfgPathState(Token(above[1])).has_value(), false);
    CHECK_RESULT(above[0]->IsEnabled(), S_FALSE);
    CHECK_RESULT(above[0]->Enable(TRUE), S_OK);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgPathState(token).value_or(false), true);
    ReleaseAll(above);
    port->Release();
    client.Close();
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

// --- installation --------------------------------------------------------------------------------

bool ServiceExists() {
    return static_cast<bool>(NetCfgKey::Open(kService));
}

void TestInstall() {
    NetCfgDefaults(false);
    WriteInf(L"oem90.inf", WithText(kProtocolInf, "NetTrans", "Net"));
    WriteInf(L"oem91.inf", WithText(kProtocolInf, "NTamd64", "NTx86"));
    Client client;
    client.Open();
    INetCfgClassSetup* setup = nullptr;
    client.config->QueryNetCfgClass(&GUID_DEVCLASS_NETTRANS, IID_INetCfgClassSetup,
                                    reinterpret_cast<void**>(&setup));
    OBO_TOKEN user = {OBO_USER};
    OBO_TOKEN bad = {static_cast<OBO_TOKEN_TYPE>(0)};
    OBO_TOKEN nobody = {OBO_COMPONENT};
    OBO_TOKEN software = {OBO_SOFTWARE};
    INetCfgComponent* component = nullptr;
    auto install = [&](const wchar_t* id, OBO_TOKEN* token) {
        return setup->Install(id, token, 0, 0, nullptr, nullptr, &component);
    };
    CHECK_RESULT(install(L"QV_QVTEAMP", &bad), E_INVALIDARG);
    CHECK_RESULT(install(L"QV_QVTEAMP", &nobody), E_INVALIDARG);
    CHECK_RESULT(install(L"QV_QVTEAMP", &software), E_INVALIDARG);
    CHECK_RESULT(install(L"QV_QVTEAMP", nullptr), E_POINTER);
    CHECK_RESULT(install(nullptr, &user), E_POINTER);
    CHECK_RESULT(setup->Install(L"QV_QVTEAMP", &user, 0, 0, L"answers.txt", nullptr, &component),
                 E_INVALIDARG);
    CHECK_RESULT(setup->SelectAndInstall(nullptr, &user, &component), E_NOTIMPL);
    CHECK_RESULT(install(L"QV_QVTEAMP", &user), SPAPI_E_NO_DRIVER_SELECTED);
    CHECK_EQUAL(component == nullptr, true);

    WriteInf(L"oem92.inf", kProtocolInf);
    CHECK_RESULT(install(L"QV_OTHER", &user), SPAPI_E_NO_DRIVER_SELECTED);
    CHECK_RESULT(install(L"Qv_QvTeamP", &user), S_OK);
    CHECK_TEXT(Id(component), L"qv_qvteamp");
    CHECK_EQUAL(NetCfgComponents().size(), 4);
    CHECK_EQUAL(ServiceExists(), false);
    INetCfgComponent* port = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 5);
    ReleaseAll(above);
    port->Release();

    CHECK_RESULT(client.config->Cancel(), S_OK);
    CHECK_RESULT(client.config->FindComponent(L"qv_qvteamp", &component), S_FALSE);
    CHECK_RESULT(install(L"QV_QVTEAMP", &user), S_OK);
    component->Release();
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgComponents().size(), 5);
    const NetCfgComponent written = NetCfgComponents().back();
    CHECK_TEXT(written.id, L"qv_qvteamp");
    CHECK_TEXT(written.displayName, L"Test Teaming Protocol");
    CHECK_TEXT(written.lower[0], L"physical");
    CHECK_TEXT(written.service, L"qvteamp");
    {
        const NetCfgKey service = NetCfgKey::Open(kService);
        CHECK_EQUAL(service.Number(L"Type").value_or(0), 1);
        CHECK_EQUAL(service.Number(L"Start").value_or(0), 3);
        CHECK_TEXT(service.Text(L"DisplayName").value_or(L""), L"Test Teaming Service");
    }

    // A second installation finds it there, in the other classes it is not.
    CHECK_RESULT(install(L"qv_qvteamp", &user), S_OK);
    INetCfgClassSetup* clients = nullptr;
    client.config->QueryNetCfgClass(&GUID_DEVCLASS_NETCLIENT, IID_INetCfgClassSetup,
                                    reinterpret_cast<void**>(&clients));
    CHECK_RESULT(clients->DeInstall(component, &user, nullptr), E_INVALIDARG);
    CHECK_RESULT(clients->Install(L"QV_QVTEAMP", &user, 0, 0, nullptr, nullptr, nullptr),
                 SPAPI_E_NO_DRIVER_SELECTED);
    clients->Release();
    CHECK_RESULT(setup->DeInstall(nullptr, &user, nullptr), E_POINTER);
    CHECK_RESULT(setup->DeInstall(component, &user, nullptr), S_OK);
    component->Release();
    CHECK_EQUAL(ServiceExists(), true);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(ServiceExists(), false);
    CHECK_EQUAL(NetCfgComponents().size(), 4);
    setup->Release();
    client.Close();
    NetCfgDefaults();
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
    CleanUp();
    auto registerServer = Export<HRESULT(WINAPI*)(void)>(server, "DllRegisterServer");
    CHECK_RESULT(registerServer(), S_OK);
    CoInitialize(nullptr);
    for (const TestDevice& device : kDevices) {
        MakeDevice(device);
    }
    NetCfgDefaults();

    TestModel();
    TestOrderOfCalls();
    TestArguments();
    TestComponents();
    TestEnumerator();
    TestPaths();
    TestStagedBindings();
    TestLockBetweenObjects();
    TestImaginaryHolder();
    TestAdministrator();
    TestLockBetweenProcesses();
    TestInstall();
    TestThreads();
    if (bench != nullptr) {
        TestBench(bench);
    }
    TestCounts(server);

    CoUninitialize();
    CleanUp();
    printf("%d checks, %d failed%s\n", g_checks, g_failures,
           bench != nullptr ? "" : " (without qvbench.dll)");
    return g_failures == 0 ? 0 : 1;
}
