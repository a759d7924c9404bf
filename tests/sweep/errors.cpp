#include "errors.h"

#include <algorithm>
#include <iterator>

namespace {

struct Known {
    const char* call;
    std::vector<DWORD> errors;
};

constexpr DWORD kOutOfMemory = 0x8007000E;
constexpr DWORD kFailed = 0x80004005;
constexpr DWORD kNoLock = 0x8004A024;
constexpr DWORD kNoSuchDevice = 0xE000020B;
constexpr DWORD kKeyDoesNotExist = 0xE0000204;

// A count or a size of 0 tells the failure of some; all others set or return the error. S_FALSE is a
// success that gives nothing.
const Known kKnown[] = {
    {"AllocateAndInitializeSid", {ERROR_NOT_ENOUGH_MEMORY}},
    {"BroadcastSystemMessageW", {ERROR_ACCESS_DENIED}},
    {"CB_INSERTSTRING", {ERROR_NOT_ENOUGH_MEMORY}},
    {"CLSIDFromString", {0x800401F3}},
    {"CM_Get_Device_IDW", {0x02, 0x0D}}, // out of memory; no such device node
    {"CheckTokenMembership", {ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES}},
    {"CoCreateInstance", {0x80040154, kOutOfMemory}},
    {"CoInitialize", {0x80010106, kOutOfMemory}},
    {"CreateDialogParamW", {ERROR_NO_MORE_USER_HANDLES}},
    {"CreateFileW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_GEN_FAILURE}},
    {"CreateProcessW", {ERROR_FILE_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY}},
    {"CreateThread", {ERROR_NOT_ENOUGH_MEMORY}},
    {"CreateWindowExW", {ERROR_NO_MORE_USER_HANDLES}},
    {"DeviceIoControl", {ERROR_GEN_FAILURE, ERROR_NOT_SUPPORTED, ERROR_DEVICE_NOT_CONNECTED}},
    {"DiInstallDevice", {ERROR_ACCESS_DENIED, 0xE0000203, 0xE0000235}},
    {"DialogBoxParamW", {ERROR_NO_MORE_USER_HANDLES}},
    {"EnumProcessModules", {ERROR_PARTIAL_COPY, ERROR_INVALID_HANDLE}},
    {"EnumProcesses", {ERROR_NOT_ENOUGH_MEMORY}},
    {"FindFirstFileW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
    {"FindNextFileW", {ERROR_NO_MORE_FILES, ERROR_IO_DEVICE}},
    {"GetDC", {ERROR_NOT_ENOUGH_MEMORY}},
    {"GetDlgItemTextW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"GetFileAttributesW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
    {"GetFullPathNameW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"GetModuleBaseNameW", {ERROR_INVALID_HANDLE, ERROR_PARTIAL_COPY}},
    {"GetProcAddress", {ERROR_PROC_NOT_FOUND}},
    {"GetSystemDirectoryW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"GetSystemWindowsDirectoryW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"GetTextExtentPoint32W", {ERROR_NOT_ENOUGH_MEMORY}},
    {"GetVersionExW", {ERROR_INSUFFICIENT_BUFFER}},
    {"GetWindowTextW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"IEnumNetCfgBindingInterface::Next", {S_FALSE, kOutOfMemory}},
    {"IEnumNetCfgBindingInterface::Reset", {kFailed}},
    {"IEnumNetCfgBindingPath::Next", {S_FALSE, kOutOfMemory}},
    {"IEnumNetCfgBindingPath::Reset", {kFailed}},
    {"IEnumNetCfgComponent::Next", {S_FALSE, kOutOfMemory}},
    {"IEnumNetCfgComponent::Reset", {kFailed}},
    {"INetCfg::Apply", {kFailed, kNoLock}},
    {"INetCfg::Initialize", {kFailed, kOutOfMemory}},
    {"INetCfg::QueryInterface", {kOutOfMemory}},
    {"INetCfg::QueryNetCfgClass", {kOutOfMemory}},
    {"INetCfg::Uninitialize", {kFailed}},
    {"INetCfgBindingInterface::GetUpperComponent", {kFailed, S_FALSE, kOutOfMemory}},
    {"INetCfgBindingPath::Enable", {kFailed, kNoLock}},
    {"INetCfgBindingPath::EnumBindingInterfaces", {S_FALSE, kOutOfMemory}},
    {"INetCfgBindingPath::GetPathToken", {kOutOfMemory}},
    {"INetCfgClass::EnumComponents", {S_FALSE, kOutOfMemory}},
    {"INetCfgClassSetup::Install", {0x80070005, 0x800F0203, 0x800704C7}},
    {"INetCfgComponent::GetCharacteristics", {kFailed}},
    {"INetCfgComponent::GetId", {kOutOfMemory}},
    {"INetCfgComponent::GetInstanceGuid", {kFailed}},
    {"INetCfgComponent::QueryInterface", {kOutOfMemory}},
    {"INetCfgComponentBindings::EnumBindingPaths", {S_FALSE, kOutOfMemory}},
    {"INetCfgLock::AcquireWriteLock", {S_FALSE, kFailed}},
    {"INetCfgLock::ReleaseWriteLock", {kFailed}},
    {"ImageList_Create", {ERROR_NOT_ENOUGH_MEMORY}},
    {"ImageList_ReplaceIcon", {ERROR_NOT_ENOUGH_MEMORY}},
    {"InstallSelectedDriver", {ERROR_ACCESS_DENIED, 0xE0000235}},
    {"LB_INSERTSTRING", {ERROR_NOT_ENOUGH_MEMORY}},
    {"LVM_INSERTCOLUMNW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"LVM_INSERTITEMW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"LVM_SETITEMTEXTW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"LVM_SETITEMW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"LoadImageW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"LoadLibraryW", {ERROR_MOD_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY}},
    {"LoadStringW", {ERROR_RESOURCE_NAME_NOT_FOUND}},
    {"MessageBoxW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"OpenProcess", {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER}},
    {"PostMessageW", {ERROR_NOT_ENOUGH_QUOTA}},
    {"PropertySheetW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"RegCreateKeyExW", {ERROR_ACCESS_DENIED, ERROR_KEY_DELETED}},
    {"RegDeleteKeyW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
    {"RegDeleteValueW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
    {"RegEnumKeyW", {ERROR_NO_MORE_ITEMS, ERROR_KEY_DELETED, ERROR_MORE_DATA}},
    {"RegOpenKeyExW", {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}},
    {"RegQueryValueExW", {ERROR_FILE_NOT_FOUND, ERROR_KEY_DELETED, ERROR_MORE_DATA}},
    {"RegSetValueExW", {ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES}},
    {"RegisterWindowMessageW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetDllDirectoryW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetDlgItemTextW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetWindowTextW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupDiBuildDriverInfoList", {ERROR_NOT_ENOUGH_MEMORY, 0xE0000100}},
    {"SetupDiCallClassInstaller", {ERROR_ACCESS_DENIED, 0xE0000209}},
    {"SetupDiChangeState", {ERROR_ACCESS_DENIED, ERROR_IO_DEVICE}},
    {"SetupDiCreateDeviceInfoList", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupDiCreateDeviceInfoW", {ERROR_NOT_ENOUGH_MEMORY, 0xE0000207}},
    {"SetupDiEnumDeviceInfo", {ERROR_NO_MORE_ITEMS, ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupDiGetClassDevsW", {ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED}},
    {"SetupDiGetDeviceInstallParamsW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupDiGetDeviceRegistryPropertyW",
     {ERROR_INVALID_DATA, kNoSuchDevice, ERROR_INSUFFICIENT_BUFFER}},
    {"SetupDiGetINFClassW", {ERROR_FILE_NOT_FOUND, 0xE0000100}},
    {"SetupDiGetSelectedDriverW", {0xE0000203}},
    {"SetupDiOpenDevRegKey", {kKeyDoesNotExist, ERROR_ACCESS_DENIED}},
    {"SetupDiRemoveDevice", {ERROR_ACCESS_DENIED, kNoSuchDevice}},
    {"SetupDiSetClassInstallParamsW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupDiSetDeviceInstallParamsW", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupDiSetDeviceRegistryPropertyW", {ERROR_ACCESS_DENIED, kNoSuchDevice}},
    {"SetupDiSetSelectedDevice", {ERROR_NOT_ENOUGH_MEMORY}},
    {"SetupFindFirstLineW", {0xE0000102}},
    {"SetupGetStringFieldW", {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_DATA}},
    {"SetupOpenInfFileW", {ERROR_FILE_NOT_FOUND, 0xE0000201, ERROR_NOT_ENOUGH_MEMORY}},
    {"UpdateDriverForPlugAndPlayDevicesW", {kNoSuchDevice, ERROR_FILE_NOT_FOUND}},
    {"VirtualAlloc", {ERROR_NOT_ENOUGH_MEMORY}},
    {"calloc", {ERROR_NOT_ENOUGH_MEMORY}},
    {"malloc", {ERROR_NOT_ENOUGH_MEMORY}},
    {"realloc", {ERROR_NOT_ENOUGH_MEMORY}},
};

struct Sure {
    const char* reason;
    std::vector<const char*> calls;
};
const Sure kSure[] = {
    {"closes what is open, which does not fail",
     {"CloseHandle", "CoTaskMemFree", "CoUninitialize", "DestroyIcon", "DestroyWindow", "EndDialog",
      "FindClose", "FreeLibrary", "FreeSid", "ImageList_Destroy", "RegCloseKey", "ReleaseDC",
      "SetupCloseInfFile", "SetupDiDestroyDeviceInfoList", "SetupDiDestroyDriverInfoList",
      "VirtualFree", "free"}},
    {"asks or tells a window of the program's own, which stands",
     {"CheckDlgButton", "EnableWindow", "GetDlgItem", "GetWindowLongPtrW", "IsDlgButtonChecked",
      "IsWindowEnabled", "SendMessageW", "SetFocus", "SetWindowLongPtrW", "ShowWindow",
      "UpdateWindow"}},
    {"works on the caller's own data",
     {"GetLastError", "GetStartupInfoW", "GetSystemMetrics", "OutputDebugStringW", "SelectObject",
      "SetLastError", "Sleep", "StringFromGUID2", "lstrcmpW", "lstrcmpiW"}},
};

} // namespace

bool ErrorsOf(const std::string& call, CallErrors* errors) {
    for (const Known& known : kKnown) {
        if (call == known.call) {
            *errors = {known.errors, ""};
            return true;
        }
    }
    for (const Sure& sure : kSure) {
        for (const char* name : sure.calls) {
            if (call == name) {
                *errors = {{}, sure.reason};
                return true;
            }
        }
    }
    return false;
}

// Whether the program asks which error it was.
static bool IsDecidedByTheError(const std::string& call) {
    for (const char* decided : {"DeviceIoControl", "FindNextFileW"}) {
        if (call == decided)
            return true;
    }
    return false;
}

Plan MakePlan(const CallsByName& calls) {
    Plan plan;
    for (const auto& [call, fail] : calls) {
        CallErrors errors;
        if (!ErrorsOf(call, &errors)) {
            plan.unknown.push_back(call);
            continue;
        }
        if (errors.errors.empty()) {
            plan.leftOut.push_back(call + " " + std::to_string(fail.size()) + " " + errors.reason);
            continue;
        }
        if (const auto alike = std::count(fail.begin(), fail.end(), false))
            plan.leftOut.push_back(call + " " + std::to_string(alike) + " of " +
                                   std::to_string(fail.size()) +
                                   " are in the middle of rounds that are alike");
        // The errors take turns; the two ways of failing do not always get the same one. Calls of
        // which there are fewer than errors get them all, and so do those whose errors decide.
        const size_t every = errors.errors.size();
        const bool each = fail.size() < every || IsDecidedByTheError(call);
        for (unsigned nth = 1; nth <= fail.size(); nth++) {
            if (!fail[nth - 1])
                continue;
            for (bool all : {false, true}) {
                for (size_t more = 0; more < (each ? every : 1); more++) {
                    const size_t turn = (nth - 1 + (all ? 1 : 0) + more) % every;
                    plan.faults.push_back({call, nth, all, errors.errors[turn]});
                }
            }
        }
    }
    return plan;
}
