// What the self-tests of the network configuration server share: checks, a few adapters made without
// a machine file, and a client of the server.
#pragma once

#include <windows.h>
#include <netcfgx.h>

#include <string>
#include <vector>

void CheckEqual(const char* file, int line, const char* what, long long got, long long wanted);
void CheckText(const char* file, int line, const char* what, const std::wstring& got,
               const std::wstring& wanted);
int Checks();
int Failures();

#define CHECK_EQUAL(got, wanted)                                                                   \
    CheckEqual(__FILE__, __LINE__, #got, static_cast<long long>(got),                              \
               static_cast<long long>(wanted))
#define CHECK_RESULT(got, wanted)                                                                  \
    CheckEqual(__FILE__, __LINE__, #got, static_cast<DWORD>(got), static_cast<DWORD>(wanted))
#define CHECK_TEXT(got, wanted) CheckText(__FILE__, __LINE__, #got, got, wanted)

inline const wchar_t kMachine[] = L"Software\\QvBench\\Machine";
inline const wchar_t kService[] = L"System\\CurrentControlSet\\Services\\qvteamp";
inline const wchar_t kPort0[] = L"{A0000000-0000-4000-8000-000000000001}";
inline const wchar_t kPort1[] = L"{A0000000-0000-4000-8000-000000000002}";
inline const wchar_t kVirtual[] = L"{A0000000-0000-4000-8000-000000000003}";
inline const wchar_t kPort0Instance[] = L"PCI\\VEN_5156&DEV_0901\\SELFTEST0";

// port0, port1, a virtual adapter, and a device that is no network component yet.
void MakeDevices();
// Replaces the ranges of one of them.
void SetRanges(const wchar_t* guid, const wchar_t* upper, const wchar_t* lower);
// Removes the devices, the INFs, the service and the machine's data.
void CleanUp();

// An INF of the teaming protocol with NTamd64 models.
extern const char kProtocolInf[];
std::string WithText(std::string inf, const std::string& from, const std::string& to);
// In %windir%\inf; CleanUp deletes oem90.inf to oem92.inf.
std::wstring InfPath(const wchar_t* name);
void WriteInf(const wchar_t* name, const std::string& text);

void SetMachine(const wchar_t* name, DWORD number);
void SetMachineText(const wchar_t* name, const wchar_t* text);

// A copy; the text is freed.
std::wstring Take(LPWSTR text);

// The two interfaces of one configuration object.
struct Client {
    INetCfg* config = nullptr;
    INetCfgLock* lock = nullptr;

    Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client();

    void Open();
    void Close();

    // Null when there is none. One reference each for the caller.
    INetCfgComponent* Find(const wchar_t* id);
    INetCfgComponent* FindAdapter(const wchar_t* guid);
    std::vector<INetCfgBindingPath*> Paths(INetCfgComponent* component, DWORD flags);
};

void ReleaseAll(const std::vector<INetCfgBindingPath*>& paths);
std::wstring Token(INetCfgBindingPath* path);
// Releases the component.
std::wstring Id(INetCfgComponent* component);

// selftest_bindings.cpp and selftest_install.cpp
void TestBindings();
void TestInstallation(HMODULE bench); // null: without qvbench.dll
