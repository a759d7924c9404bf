// Holds every stand-in of the bench to its rules: what it refuses, with which error, and what it
// leaves behind. Brings a machine of its own, so it runs on a prefix without one, and removes it.
// Exit code 0 when everything holds.
#include <windows.h>
#include <setupapi.h>
#include <cfgmgr32.h>
#include <netcfgx.h>
#include <newdev.h>
#include <objbase.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "../netcfg/lock_token.h"
#include "bench.h"

namespace {

const wchar_t kHardwareIds[] = L"QV_QVTEAMMP\0";
const wchar_t kNetworkKey[] =
    L"System\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}";
const GUID kNetClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

const char kInf[] = "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=Net\r\n"
                    "ClassGUID={4D36E972-E325-11CE-BFC1-08002BE10318}\r\nProvider=%P%\r\n"
                    "DriverVer=03/14/2009,1.2.3.4\r\n"
                    "[ControlFlags]\r\nExcludeFromSelect=QV_QVTEAMMP\r\n"
                    "[Manufacturer]\r\n%P%=Models,NTamd64\r\n"
                    "[Models.NTamd64]\r\n%D%=Install,QV_QVTEAMMP\r\n"
                    "[Install]\r\nCharacteristics=0x1\r\nAddReg=Install.Reg\r\n"
                    "[Install.Reg]\r\nHKR,Ndi,Service,0,\"qvtest\"\r\n"
                    "[Strings]\r\nP=\"Quovane Communications Inc.,\"\r\nD=\"Test Adapter\"\r\n";

int g_failures;

void Check(bool holds, const char* what, int line) {
    if (holds)
        return;
    g_failures++;
    printf("selftest.cpp(%d): %s (last error 0x%lx)\n", line, what, GetLastError());
}
#define CHECK(condition) Check((condition), #condition, __LINE__)

// Runs the call with a poisoned last error and wants it to fail with exactly `error`.
#define CHECK_REFUSED(error, call)                                                                 \
    do {                                                                                           \
        SetLastError(0xdeadbeef);                                                                  \
        bool refused = !(call);                                                                    \
        Check(refused&& GetLastError() == (DWORD)(error), #call " -> " #error, __LINE__);          \
    } while (0)

std::wstring Command(const std::wstring& command) {
    static wchar_t reply[65536];
    if (!BenchCommand(command.c_str(), reply, ARRAYSIZE(reply)))
        return L"error: " + std::wstring(reply);
    return reply;
}

bool JournalHas(const std::wstring& text) {
    return Command(L"journal-text").find(text) != std::wstring::npos;
}

void SetMachineText(const wchar_t* name, DWORD type, const wchar_t* text, size_t characters) {
    HKEY key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\QvBench\\Machine", 0, nullptr, 0,
                    KEY_ALL_ACCESS, nullptr, &key, nullptr);
    RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text),
                   static_cast<DWORD>(characters * sizeof(wchar_t)));
    RegCloseKey(key);
}

void SetMachineText(const wchar_t* name, const wchar_t* text) {
    SetMachineText(name, REG_SZ, text, wcslen(text) + 1);
}

void DeleteTree(HKEY root, const std::wstring& path) {
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS)
        return;
    wchar_t name[256];
    while (RegEnumKeyW(key, 0, name, ARRAYSIZE(name)) == ERROR_SUCCESS)
        DeleteTree(key, name);
    RegCloseKey(key);
    RegDeleteKeyW(root, path.c_str());
}

std::wstring InfPath() {
    wchar_t windows[MAX_PATH];
    GetSystemWindowsDirectoryW(windows, ARRAYSIZE(windows));
    return std::wstring(windows) + L"\\inf\\oem97.inf";
}

void WriteInf() {
    FILE* file = _wfopen(InfPath().c_str(), L"wb");
    if (!file)
        return;
    fwrite(kInf, 1, sizeof(kInf) - 1, file);
    fclose(file);
}

// A virtual adapter on its way from nothing to installed, as the program makes one.
class Device {
  public:
    Device() : set_(SetupDiCreateDeviceInfoList(&kNetClass, nullptr)), data_{} {
        data_.cbSize = sizeof(data_);
    }
    ~Device() {
        SetupDiDestroyDeviceInfoList(set_);
    }
    bool Create() {
        return SetupDiCreateDeviceInfoW(set_, L"Net", &kNetClass, nullptr, nullptr,
                                        DICD_GENERATE_ID | DICD_INHERIT_CLASSDRVS, &data_);
    }
    bool Name() {
        return SetupDiSetDeviceRegistryPropertyW(set_, &data_, SPDRP_HARDWAREID,
                                                 reinterpret_cast<const BYTE*>(kHardwareIds),
                                                 sizeof(kHardwareIds));
    }
    bool Register() {
        return SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set_, &data_);
    }
    bool Prepare() {
        return Create() && Name() && Register();
    }
    bool SetInf(DWORD flagsEx) {
        SP_DEVINSTALL_PARAMS_W params = {};
        params.cbSize = sizeof(params);
        if (!SetupDiGetDeviceInstallParamsW(set_, &data_, &params))
            return false;
        params.Flags |= DI_ENUMSINGLEINF;
        params.FlagsEx |= flagsEx;
        wcscpy(params.DriverPath, InfPath().c_str());
        return SetupDiSetDeviceInstallParamsW(set_, &data_, &params);
    }
    bool Change(DWORD change, DWORD scope) {
        SP_PROPCHANGE_PARAMS params = {
            {sizeof(SP_CLASSINSTALL_HEADER), DIF_PROPERTYCHANGE}, change, scope, 0};
        return SetParams(&params.ClassInstallHeader, sizeof(params)) &&
               SetupDiChangeState(set_, &data_);
    }
    bool SetParams(SP_CLASSINSTALL_HEADER* params, DWORD size) {
        return SetupDiSetClassInstallParamsW(set_, &data_, params, size);
    }
    bool Remove() {
        return SetupDiCallClassInstaller(DIF_REMOVE, set_, &data_);
    }
    std::wstring Id() {
        wchar_t id[200] = L"";
        CM_Get_Device_IDW(data_.DevInst, id, ARRAYSIZE(id), 0);
        return id;
    }
    std::wstring Value(const wchar_t* name) {
        wchar_t text[128] = L"";
        DWORD size = sizeof(text) - sizeof(wchar_t);
        HKEY key =
            SetupDiOpenDevRegKey(set_, &data_, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_ALL_ACCESS);
        if (key == INVALID_HANDLE_VALUE)
            return L"no key";
        DWORD type;
        LSTATUS status =
            RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
        RegCloseKey(key);
        if (status != ERROR_SUCCESS)
            return L"no value";
        if (type == REG_DWORD)
            return std::to_wstring(*reinterpret_cast<DWORD*>(text));
        return text;
    }
    HDEVINFO Set() const {
        return set_;
    }
    SP_DEVINFO_DATA* Data() {
        return &data_;
    }

  private:
    HDEVINFO set_;
    SP_DEVINFO_DATA data_;
};

void TestCalls() {
    Command(L"reset-counts");
    lstrcmpW(L"a", L"b");
    CHECK(Command(L"calls lstrcmpW") == L"1");
    CHECK(Command(L"calls NoSuchFunction").rfind(L"error", 0) == 0);

    Command(L"fault GetFileAttributesW 2 5");
    CHECK(GetFileAttributesW(L"c:\\") != INVALID_FILE_ATTRIBUTES);
    CHECK_REFUSED(ERROR_ACCESS_DENIED, GetFileAttributesW(L"c:\\") != INVALID_FILE_ATTRIBUTES);
    CHECK(GetFileAttributesW(L"c:\\") != INVALID_FILE_ATTRIBUTES);

    Command(L"fault lstrcmpW 1 0 all value=7");
    CHECK(lstrcmpW(L"a", L"a") == 7 && lstrcmpW(L"a", L"a") == 7);
    Command(L"clear");
    CHECK(lstrcmpW(L"a", L"a") == 0);

    HKEY key = nullptr;
    Command(L"fault RegOpenKeyExW 1 14");
    CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == 14 && !key);

    Command(L"fault malloc 1 8");
    void* refused = malloc(16);
    CHECK(refused == nullptr);
    free(refused);

    SetLastError(0xdeadbeef);
    CHECK(RegisterWindowMessageW(L"TermQvTray") != 0 && GetLastError() == 0xdeadbeef);
    free(malloc(16));
    CHECK(GetLastError() == 0xdeadbeef);
    CHECK(CreateFileW(L"c:\\no\\such", 0, 0, nullptr, OPEN_EXISTING, 0, nullptr) ==
              INVALID_HANDLE_VALUE &&
          GetLastError() == ERROR_PATH_NOT_FOUND);

    DWORD error = 0;
    Command(L"fault INetCfg::Apply 1 0x80004005");
    CHECK(BenchTakeFault("INetCfg::Apply", &error) && error == 0x80004005);
    CHECK(!BenchTakeFault("INetCfg::Apply", &error));
    CHECK(Command(L"calls INetCfg::Apply") == L"2");
}

DWORD WINAPI HeldThread(void* text) {
    OutputDebugStringW(static_cast<const wchar_t*>(text));
    return 0;
}

void TestHold() {
    static wchar_t text[] = L"";
    Command(L"hold OutputDebugStringW 1");
    CHECK(Command(L"held") == L"no");
    HANDLE thread = CreateThread(nullptr, 0, HeldThread, text, 0, nullptr);
    CHECK(WaitForSingleObject(thread, 200) == WAIT_TIMEOUT);
    CHECK(Command(L"held") == L"yes OutputDebugStringW");
    Command(L"release");
    CHECK(WaitForSingleObject(thread, 5000) == WAIT_OBJECT_0);
    CHECK(Command(L"held") == L"no");
    CloseHandle(thread);
}

void TestSystem() {
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
    SetMachineText(L"Windows", L"5.2");
    CHECK(GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) &&
          version.dwMajorVersion == 5 && version.dwMinorVersion == 2);
    Command(L"version 6.1");
    version.dwOSVersionInfoSize = sizeof(version);
    CHECK(GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) &&
          version.dwMajorVersion == 6 && version.dwMinorVersion == 1);
    // This program has no manifest.
    for (const wchar_t* later : {L"version 6.2", L"version 6.3", L"version 10.0"}) {
        Command(later);
        CHECK(GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) &&
              version.dwMajorVersion == 6 && version.dwMinorVersion == 2);
    }
    Command(L"reload");
    version.dwOSVersionInfoSize = 280;
    CHECK_REFUSED(ERROR_INSUFFICIENT_BUFFER,
                  GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)));

    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID sid = nullptr;
    BOOL member = FALSE;
    CHECK(AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                   DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &sid));
    CHECK(CheckTokenMembership(nullptr, sid, &member) && member);
    Command(L"admin 0");
    CHECK(CheckTokenMembership(nullptr, sid, &member) && !member);
    Command(L"reload");
    FreeSid(sid);

    wchar_t directory[64];
    Command(L"answer GetSystemWindowsDirectoryW D:\\WIN DIR\\");
    CHECK(GetSystemWindowsDirectoryW(directory, ARRAYSIZE(directory)) == 11 &&
          wcscmp(directory, L"D:\\WIN DIR\\") == 0);
    CHECK(GetSystemWindowsDirectoryW(directory, 11) == 12);
    Command(L"answer GetSystemWindowsDirectoryW");
    CHECK(GetSystemWindowsDirectoryW(directory, ARRAYSIZE(directory)) &&
          _wcsicmp(directory, L"C:\\windows") == 0);

    UINT64 before = BenchNow();
    DWORD ticks = GetTickCount();
    Sleep(10000);
    CHECK(BenchNow() == before + 10000 && GetTickCount() - ticks < 2000);
    CHECK(JournalHas(L"\tsleep\t10000\n"));

    Command(L"message-box IDCANCEL");
    CHECK(MessageBoxW(nullptr, L"a\r\nb", nullptr, MB_OKCANCEL) == IDCANCEL);
    CHECK(JournalHas(L"\tmessage-box\t(null) \"a\\r\\nb\" type=0x1 -> IDCANCEL\n"));
}

void TestClassInstallParams() {
    Device device;
    CHECK(device.Create());
    SP_PROPCHANGE_PARAMS change = {
        {sizeof(SP_CLASSINSTALL_HEADER), DIF_PROPERTYCHANGE}, DICS_DISABLE, DICS_FLAG_GLOBAL, 0};
    CHECK_REFUSED(ERROR_INVALID_PARAMETER, device.SetParams(&change.ClassInstallHeader, 19));
    change.ClassInstallHeader.cbSize = 20;
    CHECK_REFUSED(ERROR_INVALID_USER_BUFFER, device.SetParams(&change.ClassInstallHeader, 20));
    change.ClassInstallHeader.cbSize = 8;
    change.Scope = 0;
    CHECK_REFUSED(ERROR_INVALID_PARAMETER, device.SetParams(&change.ClassInstallHeader, 20));
    change.Scope = DICS_FLAG_GLOBAL;
    change.StateChange = 0;
    CHECK_REFUSED(ERROR_INVALID_PARAMETER, device.SetParams(&change.ClassInstallHeader, 20));
    change.StateChange = DICS_DISABLE;
    CHECK_REFUSED(ERROR_NO_CLASSINSTALL_PARAMS, SetupDiChangeState(device.Set(), device.Data()));
    CHECK(device.SetParams(&change.ClassInstallHeader, 20));
    CHECK_REFUSED(ERROR_DEVINFO_NOT_REGISTERED, SetupDiChangeState(device.Set(), device.Data()));

    SP_DEVINSTALL_PARAMS_W params = {};
    params.cbSize = sizeof(params);
    CHECK(SetupDiGetDeviceInstallParamsW(device.Set(), device.Data(), &params) &&
          (params.Flags & DI_CLASSINSTALLPARAMS));
    CHECK_REFUSED(ERROR_INVALID_PARAMETER, device.SetParams(nullptr, 20));
    CHECK(device.SetParams(nullptr, 0));
    CHECK_REFUSED(ERROR_NO_CLASSINSTALL_PARAMS,
                  SetupDiSetDeviceInstallParamsW(device.Set(), device.Data(), &params));
    CHECK(SetupDiGetDeviceInstallParamsW(device.Set(), device.Data(), &params) &&
          !(params.Flags & DI_CLASSINSTALLPARAMS));

    SP_REMOVEDEVICE_PARAMS removal = {
        {sizeof(SP_CLASSINSTALL_HEADER), DIF_REMOVE}, DI_REMOVEDEVICE_GLOBAL, 0};
    CHECK_REFUSED(ERROR_INVALID_PARAMETER, device.SetParams(&removal.ClassInstallHeader, 15));
    CHECK(device.SetParams(&removal.ClassInstallHeader, 16));
    CHECK_REFUSED(ERROR_NO_CLASSINSTALL_PARAMS, SetupDiChangeState(device.Set(), device.Data()));
}

void TestProperties() {
    Device device;
    CHECK(device.Create());
    auto set = [&](DWORD property, const wchar_t* text, DWORD size) {
        return SetupDiSetDeviceRegistryPropertyW(device.Set(), device.Data(), property,
                                                 reinterpret_cast<const BYTE*>(text), size);
    };
    CHECK_REFUSED(ERROR_INVALID_DATA, set(SPDRP_HARDWAREID, L"QV_QVTEAMMP", 24));
    CHECK_REFUSED(ERROR_INVALID_DATA, set(SPDRP_FRIENDLYNAME, L"Name", 9));
    CHECK_REFUSED(ERROR_INVALID_REG_PROPERTY, set(SPDRP_INSTALL_STATE, L"Name", 4));
    CHECK(set(SPDRP_HARDWAREID, L"QV_QVTEAMMP\0", 26));
    CHECK(JournalHas(device.Id() + L" HARDWAREID \"QV_QVTEAMMP\" 26 bytes\n"));

    DWORD state;
    DWORD size;
    auto get = [&](DWORD bytes) {
        return SetupDiGetDeviceRegistryPropertyW(device.Set(), device.Data(), SPDRP_INSTALL_STATE,
                                                 nullptr, reinterpret_cast<BYTE*>(&state), bytes,
                                                 &size);
    };
    CHECK_REFUSED(ERROR_INVALID_DATA, get(4));
    CHECK(device.Register());
    std::wstring key = device.Id();
    for (wchar_t& c : key)
        if (c == L'\\')
            c = L'#';
    HKEY bench;
    DWORD value = 2;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, (L"Software\\QvBench\\Devices\\" + key).c_str(), 0, nullptr,
                    0, KEY_ALL_ACCESS, nullptr, &bench, nullptr);
    RegSetValueExW(bench, L"InstallState", 0, REG_DWORD, reinterpret_cast<BYTE*>(&value), 4);
    RegCloseKey(bench);
    CHECK_REFUSED(ERROR_INSUFFICIENT_BUFFER, get(3));
    CHECK(size == 4 && get(4) && state == 2);
    CHECK(device.Remove());
}

void TestInfs() {
    HINF inf = SetupOpenInfFileW(L"oem97.inf", L"net", INF_STYLE_WIN4, nullptr);
    CHECK(inf != INVALID_HANDLE_VALUE);
    SetupCloseInfFile(inf);
    CHECK_REFUSED(ERROR_CLASS_MISMATCH, SetupOpenInfFileW(L"oem97.inf", L"NetTrans", INF_STYLE_WIN4,
                                                          nullptr) != INVALID_HANDLE_VALUE);
}

// What every route has to leave behind.
void CheckInstalled(Device* device, const std::wstring& route, const std::wstring& guid) {
    CHECK(device->Value(L"NetCfgInstanceId") == guid);
    CHECK(device->Value(L"Characteristics") == L"1");
    CHECK(device->Value(L"ProviderName") == L"Quovane Communications Inc.,");
    CHECK(device->Value(L"DriverDate") == L"3-14-2009");
    CHECK(device->Value(L"DriverVersion") == L"1.2.3.4");
    CHECK(device->Value(L"DriverDesc") == L"Test Adapter");
    CHECK(JournalHas(L"\tdevice-install\t" + device->Id() + L" route=" + route + L" inf="));
    HKEY key;
    wchar_t id[200] = L"";
    DWORD size = sizeof(id);
    std::wstring connection = std::wstring(kNetworkKey) + L"\\" + guid + L"\\Connection";
    CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, connection.c_str(), 0, KEY_READ, &key) == 0);
    CHECK(RegQueryValueExW(key, L"PnpInstanceID", nullptr, nullptr, reinterpret_cast<BYTE*>(id),
                           &size) == 0 &&
          device->Id() == id);
    RegCloseKey(key);
}

void TestSelectedDriverRoute(HMODULE newdev) {
    auto install = reinterpret_cast<BOOL(WINAPI*)(HWND, HDEVINFO, LPCWSTR, BOOL, DWORD*)>(
        reinterpret_cast<void*>(GetProcAddress(newdev, "InstallSelectedDriver")));
    CHECK(install != nullptr);
    Device device;
    CHECK(device.Prepare());
    DWORD reboot = 1;
    CHECK_REFUSED(ERROR_NO_DEVICE_SELECTED,
                  install(nullptr, device.Set(), nullptr, FALSE, &reboot));
    CHECK(SetupDiSetSelectedDevice(device.Set(), device.Data()));
    CHECK_REFUSED(ERROR_NO_DRIVER_SELECTED,
                  install(nullptr, device.Set(), nullptr, FALSE, &reboot));
    CHECK_REFUSED(ERROR_NO_COMPAT_DRIVERS,
                  SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, device.Set(), device.Data()));

    CHECK(device.SetInf(0));
    CHECK(SetupDiBuildDriverInfoList(device.Set(), device.Data(), SPDIT_COMPATDRIVER));
    CHECK_REFUSED(ERROR_NO_COMPAT_DRIVERS,
                  SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, device.Set(), device.Data()));
    CHECK_REFUSED(ERROR_NO_DRIVER_SELECTED,
                  install(nullptr, device.Set(), nullptr, FALSE, &reboot));
    CHECK(SetupDiDestroyDriverInfoList(device.Set(), device.Data(), SPDIT_COMPATDRIVER));

    CHECK(device.SetInf(DI_FLAGSEX_ALLOWEXCLUDEDDRVS));
    CHECK(SetupDiBuildDriverInfoList(device.Set(), device.Data(), SPDIT_COMPATDRIVER));
    CHECK(SetupDiCallClassInstaller(DIF_SELECTBESTCOMPATDRV, device.Set(), device.Data()));
    SP_DRVINFO_DATA_V2_W driver = {};
    driver.cbSize = sizeof(driver);
    CHECK(SetupDiGetSelectedDriverW(device.Set(), device.Data(), &driver));
    Command(L"admin 0");
    CHECK_REFUSED(ERROR_ACCESS_DENIED, install(nullptr, device.Set(), nullptr, FALSE, &reboot));
    Command(L"reload");
    CHECK(install(nullptr, device.Set(), nullptr, FALSE, &reboot) && reboot == 0);
    CHECK(SetupDiDestroyDriverInfoList(device.Set(), device.Data(), SPDIT_COMPATDRIVER));
    CheckInstalled(&device, L"InstallSelectedDriver", L"{51560000-0000-4000-8000-000000000001}");
    CHECK(device.Remove());
    CHECK(device.Value(L"NetCfgInstanceId") == L"no key");
    CHECK(JournalHas(L"\tdevice-remove\tROOT\\NET\\"));
}

void TestBestDriverRoute(HMODULE newdev) {
    auto install = reinterpret_cast<decltype(&DiInstallDevice)>(
        reinterpret_cast<void*>(GetProcAddress(newdev, "DiInstallDevice")));
    CHECK(install != nullptr);
    Device device;
    BOOL reboot = TRUE;
    CHECK(device.Create() && device.Name());
    CHECK_REFUSED(ERROR_DEVINFO_NOT_REGISTERED,
                  install(nullptr, device.Set(), device.Data(), nullptr, 0, &reboot));
    CHECK(device.Register());
    CHECK_REFUSED(ERROR_INVALID_FLAGS,
                  install(nullptr, device.Set(), device.Data(), nullptr, 0x100, &reboot));
    Command(L"admin 0");
    CHECK_REFUSED(ERROR_ACCESS_DENIED,
                  install(nullptr, device.Set(), device.Data(), nullptr, 0, &reboot));
    Command(L"reload");
    CHECK(install(nullptr, device.Set(), device.Data(), nullptr, 0, nullptr));
    CheckInstalled(&device, L"DiInstallDevice", L"{51560000-0000-4000-8000-000000000002}");
    CHECK(device.Remove());

    Device stranger;
    CHECK(stranger.Create());
    const wchar_t other[] = L"QV_OTHER\0";
    SetupDiSetDeviceRegistryPropertyW(stranger.Set(), stranger.Data(), SPDRP_HARDWAREID,
                                      reinterpret_cast<const BYTE*>(other), sizeof(other));
    CHECK(stranger.Register());
    CHECK_REFUSED(ERROR_NO_COMPAT_DRIVERS,
                  install(nullptr, stranger.Set(), stranger.Data(), nullptr, 0, &reboot));
    CHECK(stranger.Remove());
}

void SetMachineNumber(const wchar_t* name, DWORD number) {
    SetMachineText(name, REG_DWORD, reinterpret_cast<const wchar_t*>(&number),
                   sizeof(number) / sizeof(wchar_t));
}

// The lock of the network configuration, of an imaginary client and of a program.
void TestInstallationLock(HMODULE newdev) {
    auto install = reinterpret_cast<decltype(&DiInstallDevice)>(
        reinterpret_cast<void*>(GetProcAddress(newdev, "DiInstallDevice")));
    Device device;
    CHECK(device.Prepare());
    SetMachineNumber(L"InstallNeedsLock", 1);
    SetMachineNumber(L"LockSeconds", INFINITE);
    SetMachineText(L"LockHolder", L"Other Tool");
    CHECK_REFUSED(NETCFG_E_NO_WRITE_LOCK,
                  install(nullptr, device.Set(), device.Data(), nullptr, 0, nullptr));
    CHECK(device.Value(L"NetCfgInstanceId") == L"no key");
    SetMachineText(L"LockHolder", L"");
    HANDLE token =
        CreateNamedPipeW(kLockToken, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr);
    CHECK(token != INVALID_HANDLE_VALUE);
    CHECK_REFUSED(NETCFG_E_NO_WRITE_LOCK,
                  install(nullptr, device.Set(), device.Data(), nullptr, 0, nullptr));
    // Only where the machine says so.
    SetMachineNumber(L"InstallNeedsLock", 0);
    CHECK(install(nullptr, device.Set(), device.Data(), nullptr, 0, nullptr));
    CHECK(device.Remove());
    SetMachineNumber(L"InstallNeedsLock", 1);
    CloseHandle(token);
    Device second;
    CHECK(second.Prepare());
    CHECK(install(nullptr, second.Set(), second.Data(), nullptr, 0, nullptr));
    CHECK(second.Remove());
    SetMachineNumber(L"InstallNeedsLock", 0);
    SetMachineNumber(L"NextVirtual", 3);
}

void TestUpdateRoute(HMODULE newdev) {
    auto update = reinterpret_cast<decltype(&UpdateDriverForPlugAndPlayDevicesW)>(
        reinterpret_cast<void*>(GetProcAddress(newdev, "UpdateDriverForPlugAndPlayDevicesW")));
    CHECK(update != nullptr);
    std::wstring inf = InfPath();
    CHECK_REFUSED(ERROR_NO_SUCH_DEVINST,
                  update(nullptr, L"QV_QVTEAMMP", inf.c_str(), INSTALLFLAG_FORCE, nullptr));
    Device device;
    CHECK(device.Prepare());
    CHECK_REFUSED(ERROR_FILE_NOT_FOUND,
                  update(nullptr, L"QV_QVTEAMMP", L"oem97.inf", INSTALLFLAG_FORCE, nullptr));
    CHECK_REFUSED(ERROR_FILE_NOT_FOUND,
                  update(nullptr, L"QV_QVTEAMMP", L"C:\\none.inf", INSTALLFLAG_FORCE, nullptr));
    CHECK_REFUSED(ERROR_INVALID_FLAGS, update(nullptr, L"QV_QVTEAMMP", inf.c_str(), 0x80, nullptr));
    Command(L"admin 0");
    CHECK_REFUSED(ERROR_ACCESS_DENIED,
                  update(nullptr, L"QV_QVTEAMMP", inf.c_str(), INSTALLFLAG_FORCE, nullptr));
    Command(L"reload");
    CHECK(update(nullptr, L"qv_qvteammp", inf.c_str(), INSTALLFLAG_FORCE, nullptr));
    CheckInstalled(&device, L"UpdateDriver", L"{51560000-0000-4000-8000-000000000003}");
    CHECK_REFUSED(ERROR_NO_MORE_ITEMS, update(nullptr, L"QV_QVTEAMMP", inf.c_str(), 0, nullptr));
    CHECK(update(nullptr, L"QV_QVTEAMMP", inf.c_str(), INSTALLFLAG_FORCE, nullptr));
    CHECK(device.Value(L"NetCfgInstanceId") == L"{51560000-0000-4000-8000-000000000003}");
    CHECK(device.Remove());
}

void TestStateAndAddress(HMODULE newdev) {
    auto install = reinterpret_cast<decltype(&DiInstallDevice)>(
        reinterpret_cast<void*>(GetProcAddress(newdev, "DiInstallDevice")));
    SetMachineText(L"TeamAddress", L"after 9");
    Device device;
    CHECK(device.Prepare());
    CHECK(install(nullptr, device.Set(), device.Data(), nullptr, 0, nullptr));
    CHECK(device.Value(L"NetworkAddress") == L"no value");
    Sleep(8000);
    CHECK(device.Change(DICS_DISABLE, DICS_FLAG_GLOBAL));
    CHECK(device.Change(DICS_DISABLE, DICS_FLAG_CONFIGSPECIFIC));
    CHECK(device.Change(DICS_ENABLE, DICS_FLAG_GLOBAL));
    Sleep(20000);
    CHECK(device.Value(L"NetworkAddress") == L"no value");
    CHECK(device.Change(DICS_ENABLE, DICS_FLAG_CONFIGSPECIFIC));
    Sleep(8999);
    CHECK(device.Value(L"NetworkAddress") == L"no value");
    Sleep(1);
    CHECK(device.Value(L"NetworkAddress") == L"02515600AA04");
    CHECK(JournalHas(L"\taddress-published\t" + device.Id() + L" 02515600AA04\n"));
    CHECK(JournalHas(L"\tdevice-disable\t" + device.Id() + L" scope=global\n"));
    CHECK(JournalHas(L"\tdevice-enable\t" + device.Id() + L" scope=config\n"));
    Command(L"admin 0");
    CHECK_REFUSED(ERROR_ACCESS_DENIED, device.Change(DICS_DISABLE, DICS_FLAG_GLOBAL));
    CHECK_REFUSED(ERROR_ACCESS_DENIED, device.Remove());
    CHECK(device.Value(L"NetworkAddress") == L"no key");
    Command(L"reload");
    CHECK(device.Remove());
    CHECK(device.Id().empty() || !device.Remove());

    SetMachineText(L"TeamAddress", L"at once");
    Device second;
    CHECK(second.Prepare());
    CHECK(install(nullptr, second.Set(), second.Data(), nullptr, 0, nullptr));
    CHECK(second.Value(L"NetworkAddress") == L"02515600AA05");
    CHECK(second.Remove());
}

void TestNewDev() {
    HMODULE newdev = LoadLibraryW(L"newdev.dll");
    CHECK(newdev != nullptr);
    SetMachineText(L"NewDev", REG_MULTI_SZ, L"DiInstallDevice\0", 17);
    CHECK_REFUSED(ERROR_PROC_NOT_FOUND, GetProcAddress(newdev, "InstallSelectedDriver") != nullptr);
    const wchar_t all[] =
        L"DiInstallDevice\0InstallSelectedDriver\0UpdateDriverForPlugAndPlayDevicesW\0";
    SetMachineText(L"NewDev", REG_MULTI_SZ, all, ARRAYSIZE(all));
    SetMachineText(L"TeamAddress", L"never");
    SetMachineText(L"TeamAddressText", L"02515600AA00");
    TestSelectedDriverRoute(newdev);
    TestBestDriverRoute(newdev);
    TestInstallationLock(newdev);
    TestUpdateRoute(newdev);
    TestStateAndAddress(newdev);
    FreeLibrary(newdev);
}

void TestRegistry() {
    HKEY key;
    const wchar_t path[] = L"Software\\QvBench\\Test";
    CHECK(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                          nullptr) == 0);
    DWORD number = 0x120;
    RegSetValueExW(key, L"TeamNumber", 0, REG_DWORD, reinterpret_cast<BYTE*>(&number), 4);
    RegSetValueExW(key, L"List", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(L"a\0b\0"), 10);
    RegDeleteValueW(key, L"TeamNumber");
    RegCloseKey(key);
    CHECK(JournalHas(L"\tkey-create\tHKLM\\Software\\QvBench\\Test\n"));
    CHECK(JournalHas(
        L"\tvalue-set\tHKLM\\Software\\QvBench\\Test\\TeamNumber REG_DWORD 0x00000120\n"));
    CHECK(JournalHas(L"\\List REG_MULTI_SZ \"a|b\" 10 bytes\n"));
    CHECK(JournalHas(L"\tvalue-delete\tHKLM\\Software\\QvBench\\Test\\TeamNumber\n"));

    Command(L"admin 0");
    CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_ALL_ACCESS, &key) == ERROR_ACCESS_DENIED);
    CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\QvBench\\None", 0, KEY_ALL_ACCESS, &key) ==
          ERROR_FILE_NOT_FOUND);
    CHECK(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                          nullptr) == ERROR_ACCESS_DENIED);
    CHECK(RegDeleteKeyW(HKEY_LOCAL_MACHINE, path) == ERROR_ACCESS_DENIED);
    CHECK(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) == 0);
    RegCloseKey(key);
    Command(L"reload");
    CHECK(RegDeleteKeyW(HKEY_LOCAL_MACHINE, path) == 0);
    CHECK(JournalHas(L"\tkey-delete\tHKLM\\Software\\QvBench\\Test\n"));
}

void TestTally() {
    Command(L"reset-open");
    HKEY key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key);
    HDEVINFO set = SetupDiCreateDeviceInfoList(&kNetClass, nullptr);
    CHECK(Command(L"open").find(L"keys=1 sets=1 driver-lists=0") == 0);
    CHECK(Command(L"open-list").find(L"SetupDiCreateDeviceInfoList\n") != std::wstring::npos);
    void* block = calloc(1, 8);
    CHECK(Command(L"open").find(L" blocks=1 ") != std::wstring::npos);
    free(block);
    CHECK(Command(L"open").find(L" blocks=0 ") != std::wstring::npos);
    RegCloseKey(key);
    SetupDiDestroyDeviceInfoList(set);
    RegCloseKey(key);
    CHECK(Command(L"open").find(L"keys=0 sets=0") == 0);
    CHECK(Command(L"open").find(L"stray=1") != std::wstring::npos);
}

} // namespace

// A process that attaches itself and is led through its pipe.
int Child() {
    OutputDebugStringW(L"held here");
    return lstrcmpW(L"a", L"a");
}

std::wstring Ask(HANDLE pipe, const std::wstring& command) {
    wchar_t reply[16384];
    DWORD size = static_cast<DWORD>(command.size() * sizeof(wchar_t));
    if (!TransactNamedPipe(pipe, const_cast<wchar_t*>(command.c_str()), size, reply, sizeof(reply),
                           &size, nullptr))
        return L"no reply";
    return std::wstring(reply, size / sizeof(wchar_t));
}

std::string AskUtf8(HANDLE pipe, const std::string& command) {
    char reply[256];
    DWORD size = static_cast<DWORD>(command.size());
    if (!TransactNamedPipe(pipe, const_cast<char*>(command.c_str()), size, reply, sizeof(reply),
                           &size, nullptr))
        return "no reply";
    return std::string(reply, size);
}

HANDLE OpenPipe(DWORD process) {
    std::wstring name = L"\\\\.\\pipe\\qvbench-" + std::to_wstring(process);
    HANDLE pipe = INVALID_HANDLE_VALUE;
    DWORD until = GetTickCount() + 5000;
    while (pipe == INVALID_HANDLE_VALUE && GetTickCount() < until) {
        SleepEx(20, FALSE);
        pipe = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                           nullptr);
    }
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
    return pipe;
}

void TestPipe() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, ARRAYSIZE(path));
    std::wstring commandLine = L"\"" + std::wstring(path) + L"\" child";
    SetEnvironmentVariableW(L"QVBENCH", L"1");
    SetEnvironmentVariableW(L"QVBENCH_COMMANDS", L"hold OutputDebugStringW 1; nonsense");
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child = {};
    CHECK(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                         &startup, &child));
    SetEnvironmentVariableW(L"QVBENCH", nullptr);
    SetEnvironmentVariableW(L"QVBENCH_COMMANDS", nullptr);
    HANDLE pipe = OpenPipe(child.dwProcessId);
    CHECK(pipe != INVALID_HANDLE_VALUE);
    std::wstring held;
    for (int tries = 0; tries < 100 && held != L"ok yes OutputDebugStringW"; tries++) {
        SleepEx(20, FALSE);
        held = Ask(pipe, L"held");
    }
    CHECK(held == L"ok yes OutputDebugStringW");
    CHECK(Ask(pipe, L"nonsense").rfind(L"error", 0) == 0);
    CHECK(Ask(pipe, L"journal-text").find(L"bad-command\t nonsense: unknown") !=
          std::wstring::npos);
    CHECK(AskUtf8(pipe, "fault lstrcmpW 1 0 value=42") == "ok");
    CHECK(AskUtf8(pipe, "release") == "ok");
    CloseHandle(pipe);
    CHECK(WaitForSingleObject(child.hProcess, 5000) == WAIT_OBJECT_0);
    DWORD code = 0;
    CHECK(GetExitCodeProcess(child.hProcess, &code) && code == 42);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
}

// Drivers of a built machine would be found beside this one's.
bool MachineIsBuilt() {
    std::wstring path = InfPath();
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(path.replace(path.size() - 6, 2, L"*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    bool built = false;
    do {
        built = built || _wcsicmp(found.cFileName, L"oem97.inf") != 0;
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return built;
}

void RemoveLeftovers() {
    HDEVINFO set = SetupDiGetClassDevsW(&kNetClass, nullptr, nullptr, 0);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); index++) {
        wchar_t id[200] = L"";
        if (SetupDiGetDeviceRegistryPropertyW(set, &device, SPDRP_HARDWAREID, nullptr,
                                              reinterpret_cast<BYTE*>(id), sizeof(id), nullptr) &&
            wcscmp(id, kHardwareIds) == 0)
            SetupDiRemoveDevice(set, &device);
    }
    SetupDiDestroyDeviceInfoList(set);
}

int wmain(int argc, wchar_t**) {
    if (argc > 1)
        return Child();
    if (MachineIsBuilt()) {
        printf("a machine is built here: reset it first\n");
        return 1;
    }
    LARGE_INTEGER before, after, frequency;
    QueryPerformanceCounter(&before);
    CHECK(BenchAttach(GetModuleHandleW(nullptr)));
    QueryPerformanceCounter(&after);
    QueryPerformanceFrequency(&frequency);
    printf("attached in %lld us\n",
           (after.QuadPart - before.QuadPart) * 1000000 / frequency.QuadPart);
    RemoveLeftovers();
    DeleteTree(HKEY_LOCAL_MACHINE, L"Software\\QvBench");
    Command(L"journal-clear");
    WriteInf();
    TestCalls();
    TestHold();
    TestSystem();
    TestClassInstallParams();
    TestProperties();
    TestInfs();
    TestNewDev();
    TestRegistry();
    Command(L"reset-open");
    {
        Device device;
        device.Create();
    }
    CHECK(Command(L"open").find(L"keys=0 sets=0 driver-lists=0 infs=0 handles=0 searches=0") == 0);
    TestTally();
    TestPipe();
    DeleteFileW(InfPath().c_str());
    DeleteTree(HKEY_LOCAL_MACHINE, kNetworkKey);
    DeleteTree(HKEY_LOCAL_MACHINE, L"Software\\QvBench");
    if (g_failures)
        wprintf(L"%ls", Command(L"journal-text").c_str());
    printf("%s\n", g_failures ? "failed" : "ok");
    return g_failures ? 1 : 0;
}
