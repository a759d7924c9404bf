// Reading and writing the simulated machine's data in the registry.
// Every path is below HKEY_LOCAL_MACHINE. Nothing here reports errors: a value that is missing or
// of another type reads as empty or as the number given for that case.
#ifndef QV_BENCH_DLL_DATA_H
#define QV_BENCH_DLL_DATA_H

#include <windows.h>
#include <string>
#include <vector>

namespace bench {

extern const wchar_t kBenchKey[];
extern const wchar_t kMachineKey[];
extern const wchar_t kAdaptersKey[];
extern const wchar_t kDevicesKey[];

std::wstring ReadText(const std::wstring& path, const wchar_t* name);
std::vector<std::wstring> ReadList(const std::wstring& path, const wchar_t* name);
DWORD ReadNumber(const std::wstring& path, const wchar_t* name, DWORD otherwise);
bool ReadLongNumber(const std::wstring& path, const wchar_t* name, UINT64* number);

// The writers create the key when it is missing.
void WriteText(const std::wstring& path, const wchar_t* name, const std::wstring& text);
void WriteNumber(const std::wstring& path, const wchar_t* name, DWORD number);
void WriteLongNumber(const std::wstring& path, const wchar_t* name, UINT64 number);

bool KeyExists(const std::wstring& path);
bool ValueExists(const std::wstring& path, const wchar_t* name);
std::vector<std::wstring> SubKeys(const std::wstring& path);
void DeleteValue(const std::wstring& path, const wchar_t* name);
void DeleteTree(const std::wstring& path);

// Facts of the machine, read anew at each call; the overrides last until ForgetOverrides.
struct Version {
    DWORD major;
    DWORD minor;
};
Version WindowsVersion();
bool IsServer(); // a server, or else a workstation; 5.2 is a server unless the machine says otherwise
bool IsAdministrator();
bool HasNewDevRoutine(const std::wstring& name);
// "5.2", "5.2 workstation"; false when it is no version.
bool OverrideVersion(const std::wstring& text, const std::wstring& product);
void OverrideAdministrator(bool administrator);
void ForgetOverrides();

} // namespace bench

#endif
