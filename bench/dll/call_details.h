// What a call asks for, as a name: the class installer's function, a property, a registry value, an
// OID. A command selects calls by it: "SetupDiCallClassInstaller:DIF_REGISTERDEVICE".
#ifndef QV_BENCH_DLL_CALL_DETAILS_H
#define QV_BENCH_DLL_CALL_DETAILS_H

#include <windows.h>
#include <setupapi.h>
#include <string>

namespace bench {

// Splits "NAME:DETAIL" at its first single colon; "::" belongs to the name of a method. Returns false
// when there is no detail.
bool SplitDetail(const std::string& text, std::string* name, std::string* detail);

// Brings the detail of a command into the form that the routines below give: capitals, and an OID as
// 0x%08X. Returns false when `name` has no details, or none that is called so.
bool CanonicalDetail(const std::string& name, std::string* detail);

} // namespace bench

// The detail of one call, in capitals: "" when it has none. Each takes the arguments of its function.
namespace detail {

std::string SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO, PSP_DEVINFO_DATA);
std::string SetupDiChangeState(HDEVINFO set, PSP_DEVINFO_DATA device);
std::string SetupDiGetDeviceRegistryPropertyW(HDEVINFO, PSP_DEVINFO_DATA, DWORD property, PDWORD,
                                              PBYTE, DWORD, PDWORD);
std::string SetupDiSetDeviceRegistryPropertyW(HDEVINFO, PSP_DEVINFO_DATA, DWORD property,
                                              const BYTE*, DWORD);
// The last component of the key's path.
std::string RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD, REGSAM, PHKEY);
std::string RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD, LPWSTR, DWORD, REGSAM,
                            LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD);
std::string RegDeleteKeyW(HKEY key, LPCWSTR subKey);
// The value's name; @ for the key's default value.
std::string RegQueryValueExW(HKEY, LPCWSTR name, LPDWORD, LPDWORD, LPBYTE, LPDWORD);
std::string RegSetValueExW(HKEY, LPCWSTR name, DWORD, DWORD, const BYTE*, DWORD);
std::string RegDeleteValueW(HKEY, LPCWSTR name);
// The OID of a query to an adapter's driver.
std::string DeviceIoControl(HANDLE, DWORD code, LPVOID in, DWORD inSize, LPVOID, DWORD, LPDWORD,
                            LPOVERLAPPED);

} // namespace detail

#endif
