#include "selftest.h"

#include <devguid.h>
#include <setupapi.h>

#include <cstdio>
#include <cwchar>

#include "netcfg_key.h"

namespace {

int g_failures = 0;
int g_checks = 0;

} // namespace

void CheckEqual(const char* file, int line, const char* what, long long got, long long wanted) {
    ++g_checks;
    if (got != wanted) {
        ++g_failures;
        printf("%s(%d): %s is 0x%llx, not 0x%llx\n", file, line, what, got, wanted);
    }
}

void CheckText(const char* file, int line, const char* what, const std::wstring& got,
               const std::wstring& wanted) {
    ++g_checks;
    if (got != wanted) {
        ++g_failures;
        printf("%s(%d): %s is \"%ls\", not \"%ls\"\n", file, line, what, got.c_str(),
               wanted.c_str());
    }
}

int Checks() {
    return g_checks;
}

int Failures() {
    return g_failures;
}

namespace {

struct TestDevice {
    const wchar_t* instanceId;
    const wchar_t* hardwareId;
    const wchar_t* description;
    const wchar_t* guid; // null: no network component yet
    DWORD characteristics;
};

const TestDevice kDevices[] = {
    {kPort0Instance, L"PCI\\VEN_5156&DEV_0901", L"Test Adapter", kPort0, 0x84},
    {L"PCI\\VEN_5156&DEV_0901\\SELFTEST1", L"PCI\\VEN_5156&DEV_0901", L"Test Adapter", kPort1,
     0x84},
    {L"ROOT\\NET\\9000", L"QV_QVTEAMMP", L"Test Virtual Adapter", kVirtual, 0x1},
    {L"ROOT\\NET\\9001", L"QV_QVTEAMMP", L"Unfinished Adapter", nullptr, 0x1},
};

} // namespace

extern const char kProtocolInf[] = R"([Version]
Signature = "$Windows NT$"
Class = NetTrans
ClassGUID = {4D36E975-E325-11CE-BFC1-08002BE10318}
Provider = "Quovane Communications Inc.,"
[Manufacturer]
"Quovane" = Quovane,NTamd64
[Quovane.NTamd64]
"Test Teaming Protocol" = Protocol.Install, QV_QVTEAMP
[Protocol.Install]
AddReg = Protocol.AddReg
[Protocol.AddReg]
HKR, Ndi, Service, 0, "qvteamp"
HKR, Ndi\Interfaces, UpperRange, 0, "noupper"
HKR, Ndi\Interfaces, LowerRange, 0, "ndis4, ndis5"
[Protocol.Install.Services]
AddService = qvteamp, , Protocol.Service
[Protocol.Service]
DisplayName = "Test Teaming Service"
ServiceType = 1
StartType = 3
ErrorControl = 1
ServiceBinary = %12%\qvteamp.sys
)";

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

namespace {

void WriteRanges(HKEY driverKey, const wchar_t* upper, const wchar_t* lower) {
    HKEY handle = nullptr;
    RegCreateKeyExW(driverKey, L"Ndi\\Interfaces", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle,
                    nullptr);
    const NetCfgKey interfaces(handle);
    interfaces.Write(L"UpperRange", std::wstring(upper));
    interfaces.Write(L"LowerRange", std::wstring(lower));
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
    HKEY handle =
        SetupDiCreateDevRegKeyW(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, nullptr, nullptr);
    const NetCfgKey key(handle);
    WriteRanges(handle, L"ndis5", (wanted.characteristics & 1) != 0 ? L"nolower" : L"ethernet");
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

} // namespace

void MakeDevices() {
    for (const TestDevice& device : kDevices) {
        MakeDevice(device);
    }
}

void SetRanges(const wchar_t* guid, const wchar_t* upper, const wchar_t* lower) {
    for (const TestDevice& device : kDevices) {
        HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
        SP_DEVINFO_DATA data = {sizeof(data)};
        if (device.guid != nullptr && wcscmp(device.guid, guid) == 0 &&
            SetupDiOpenDeviceInfoW(set, device.instanceId, nullptr, 0, &data)) {
            HKEY handle =
                SetupDiOpenDevRegKey(set, &data, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_ALL_ACCESS);
            WriteRanges(handle, upper, lower);
            RegCloseKey(handle);
        }
        SetupDiDestroyDeviceInfoList(set);
    }
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

void SetMachineText(const wchar_t* name, const wchar_t* text) {
    NetCfgKey::Create(kMachine).Write(name, std::wstring(text));
}

std::wstring Take(LPWSTR text) {
    const std::wstring copy = text != nullptr ? text : L"(null)";
    CoTaskMemFree(text);
    return copy;
}

Client::Client() {
    CHECK_RESULT(CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_INetCfg,
                                  reinterpret_cast<void**>(&config)),
                 S_OK);
    CHECK_RESULT(config->QueryInterface(IID_INetCfgLock, reinterpret_cast<void**>(&lock)), S_OK);
}

Client::~Client() {
    lock->Release();
    config->Release();
}

void Client::Open() {
    CHECK_RESULT(lock->AcquireWriteLock(0, L"selftest", nullptr), S_OK);
    CHECK_RESULT(config->Initialize(nullptr), S_OK);
}

void Client::Close() {
    CHECK_RESULT(config->Uninitialize(), S_OK);
    CHECK_RESULT(lock->ReleaseWriteLock(), S_OK);
}

INetCfgComponent* Client::Find(const wchar_t* id) {
    INetCfgComponent* component = nullptr;
    config->FindComponent(id, &component);
    return component;
}

INetCfgComponent* Client::FindAdapter(const wchar_t* guid) {
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

std::vector<INetCfgBindingPath*> Client::Paths(INetCfgComponent* component, DWORD flags) {
    INetCfgComponentBindings* bindings = nullptr;
    component->QueryInterface(IID_INetCfgComponentBindings, reinterpret_cast<void**>(&bindings));
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
