// Every function of the bench that takes the place of a function of Windows, under its own name.
// Each has the signature of the original, calls the original where Wine has it, and is reached
// only through the wrappers of calls.cpp, which set the last error of forced failures.
#ifndef QV_BENCH_DLL_STANDINS_H
#define QV_BENCH_DLL_STANDINS_H

#include <windows.h>
#include <prsht.h>
#include <setupapi.h>
#include <cstddef>

namespace bench {

// Answers of GetSystemDirectoryW and GetSystemWindowsDirectoryW; an empty text gives the real one
// back. False for another name.
bool SetDirectoryAnswer(const char* name, const wchar_t* text);

// Whether the trace of a debug build goes into the journal, beside what it always does.
void JournalTrace(bool on);

// The answers given to message boxes instead of showing them. False for an unknown button.
bool AnswerMessageBox(const wchar_t* button, bool always);

} // namespace bench

namespace standin {

// standins_setup.cpp
HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND parent,
                                     DWORD flags);
BOOL WINAPI SetupDiSetClassInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                          PSP_CLASSINSTALL_HEADER params, DWORD size);
BOOL WINAPI SetupDiChangeState(HDEVINFO set, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiRemoveDevice(HDEVINFO set, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiGetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                           PSP_DEVINSTALL_PARAMS_W params);
BOOL WINAPI SetupDiSetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                           PSP_DEVINSTALL_PARAMS_W params);
BOOL WINAPI SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiCreateDeviceInfoW(HDEVINFO set, PCWSTR name, const GUID* classGuid,
                                     PCWSTR description, HWND parent, DWORD flags,
                                     PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiSetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              const BYTE* data, DWORD size);
BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              PDWORD type, PBYTE data, DWORD size, PDWORD required);
BOOL WINAPI SetupDiSetSelectedDevice(HDEVINFO set, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set);

// standins_driver_list.cpp
BOOL WINAPI SetupDiBuildDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type);
BOOL WINAPI SetupDiGetSelectedDriverW(HDEVINFO set, PSP_DEVINFO_DATA device,
                                      PSP_DRVINFO_DATA_W driver);
BOOL WINAPI SetupDiDestroyDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD type);

// standins_inf.cpp
HINF WINAPI SetupOpenInfFileW(PCWSTR file, PCWSTR infClass, DWORD style, PUINT errorLine);

// standins_newdev.cpp
BOOL WINAPI DiInstallDevice(HWND parent, HDEVINFO set, PSP_DEVINFO_DATA device,
                            PSP_DRVINFO_DATA_W driver, DWORD flags, PBOOL needReboot);
BOOL WINAPI InstallSelectedDriver(HWND parent, HDEVINFO set, LPCWSTR reserved, BOOL backup,
                                  PDWORD reboot);
BOOL WINAPI UpdateDriverForPlugAndPlayDevicesW(HWND parent, LPCWSTR hardwareId, LPCWSTR infPath,
                                               DWORD flags, PBOOL reboot);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);

// standins_system.cpp
BOOL WINAPI CheckTokenMembership(HANDLE token, PSID sid, PBOOL isMember);
BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW version);
BOOL WINAPI SetDllDirectoryW(LPCWSTR path);
void WINAPI Sleep(DWORD milliseconds);
UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT size);
UINT WINAPI GetSystemWindowsDirectoryW(LPWSTR buffer, UINT size);

// standins_driver.cpp
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped);

// standins_process.cpp
BOOL WINAPI EnumProcesses(DWORD* ids, DWORD size, DWORD* returned);
HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD id);
BOOL WINAPI EnumProcessModules(HANDLE process, HMODULE* modules, DWORD size, LPDWORD needed);
DWORD WINAPI GetModuleBaseNameW(HANDLE process, HMODULE module, LPWSTR name, DWORD size);

// recorder_registry.cpp
LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result);
LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass,
                               DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES security,
                               PHKEY result, LPDWORD disposition);
LSTATUS WINAPI RegCloseKey(HKEY key);
LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size);
LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name);
LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR subKey);
HKEY WINAPI SetupDiOpenDevRegKey(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile,
                                 DWORD type, REGSAM access);

// recorder_sheet.cpp
INT_PTR WINAPI PropertySheetW(LPCPROPSHEETHEADERW header);

// recorder.cpp
BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR commandLine,
                           LPSECURITY_ATTRIBUTES processSecurity,
                           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags,
                           LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                           LPPROCESS_INFORMATION information);
BOOL WINAPI AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD s0,
                                     DWORD s1, DWORD s2, DWORD s3, DWORD s4, DWORD s5, DWORD s6,
                                     DWORD s7, PSID* sid);
LONG WINAPI BroadcastSystemMessageW(DWORD flags, LPDWORD recipients, UINT message, WPARAM wParam,
                                    LPARAM lParam);
HWND WINAPI CreateDialogParamW(HINSTANCE instance, LPCWSTR dialog, HWND parent, DLGPROC procedure,
                               LPARAM parameter);
INT_PTR WINAPI DialogBoxParamW(HINSTANCE instance, LPCWSTR dialog, HWND parent, DLGPROC procedure,
                               LPARAM parameter);
BOOL WINAPI DestroyWindow(HWND window);
void WINAPI OutputDebugStringW(LPCWSTR text);
int WINAPI MessageBoxW(HWND parent, LPCWSTR text, LPCWSTR caption, UINT type);
UINT WINAPI RegisterWindowMessageW(LPCWSTR name);
int WINAPI ReleaseDC(HWND window, HDC context);
LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL WINAPI SetDlgItemTextW(HWND dialog, int item, LPCWSTR text);
BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text);
HRESULT WINAPI CoInitialize(LPVOID reserved);
void WINAPI CoUninitialize();
void* __cdecl realloc(void* block, size_t size);

} // namespace standin

#endif
