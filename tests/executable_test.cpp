// What the executable is as a file: where it starts, what it calls and how large it is.
#include "harness/program_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

static const IMAGE_NT_HEADERS64 Headers() {
    return At<IMAGE_NT_HEADERS64>(ProgramFile(), At<IMAGE_DOS_HEADER>(ProgramFile(), 0).e_lfanew);
}

static size_t OffsetOf(DWORD rva) {
    IMAGE_NT_HEADERS64 headers = Headers();
    size_t section = At<IMAGE_DOS_HEADER>(ProgramFile(), 0).e_lfanew + 24 +
                     headers.FileHeader.SizeOfOptionalHeader;
    for (WORD i = 0; i < headers.FileHeader.NumberOfSections; i++) {
        auto header =
            At<IMAGE_SECTION_HEADER>(ProgramFile(), section + i * sizeof(IMAGE_SECTION_HEADER));
        if (rva >= header.VirtualAddress && rva - header.VirtualAddress < header.SizeOfRawData)
            return header.PointerToRawData + rva - header.VirtualAddress;
    }
    ADD_FAILURE() << "address " << rva << " lies in no section";
    return 0;
}

static std::string TextAt(size_t offset) {
    const BYTE* begin = ProgramFile().data() + offset;
    return std::string(begin,
                       std::find(begin, ProgramFile().data() + ProgramFile().size(), BYTE{0}));
}

// DLL in lower case to the names imported from it; an import by number is "#number".
static std::map<std::string, std::set<std::string>> Imports() {
    std::map<std::string, std::set<std::string>> imports;
    DWORD table =
        Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (size_t at = OffsetOf(table);; at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
        auto descriptor = At<IMAGE_IMPORT_DESCRIPTOR>(ProgramFile(), at);
        if (descriptor.Name == 0)
            return imports;
        std::string dll = TextAt(OffsetOf(descriptor.Name));
        for (char& c : dll)
            c = static_cast<char>(tolower(c));
        for (size_t thunk = OffsetOf(descriptor.OriginalFirstThunk);; thunk += 8) {
            ULONGLONG entry = At<ULONGLONG>(ProgramFile(), thunk);
            if (entry == 0)
                break;
            imports[dll].insert(IMAGE_SNAP_BY_ORDINAL64(entry)
                                    ? "#" + std::to_string(IMAGE_ORDINAL64(entry))
                                    : TextAt(OffsetOf(static_cast<DWORD>(entry)) + 2));
        }
    }
}

// What 64-bit Windows Server 2003 has of the functions that the program may call.
static const std::map<std::string, std::set<std::string>> available = {
    {"advapi32.dll",
     {"AllocateAndInitializeSid", "CheckTokenMembership", "FreeSid", "RegCloseKey",
      "RegCreateKeyExW", "RegDeleteKeyW", "RegDeleteValueW", "RegEnumKeyW", "RegEnumKeyExW",
      "RegOpenKeyExW", "RegQueryValueExW", "RegSetValueExW"}},
    {"cfgmgr32.dll", {"CM_Get_Device_IDW"}},
    {"comctl32.dll",
     {"ImageList_Create", "ImageList_Destroy", "ImageList_ReplaceIcon", "InitCommonControlsEx",
      "PropertySheetW"}},
    {"gdi32.dll", {"GetTextExtentPoint32W", "SelectObject"}},
    {"kernel32.dll",
     {"CloseHandle",
      "CreateFileW",
      "CreateProcessW",
      "CreateThread",
      "DeleteCriticalSection",
      "DeviceIoControl",
      "EnterCriticalSection",
      "FindClose",
      "FindFirstFileW",
      "FindNextFileW",
      "FreeLibrary",
      "GetCurrentProcessId",
      "GetCurrentThreadId",
      "GetFileAttributesW",
      "GetFullPathNameW",
      "GetLastError",
      "GetModuleHandleW",
      "GetProcAddress",
      "GetStartupInfoA",
      "GetStartupInfoW",
      "GetSystemDirectoryW",
      "GetSystemTimeAsFileTime",
      "GetSystemWindowsDirectoryW",
      "GetTickCount",
      "GetVersionExW",
      "InitializeCriticalSection",
      "LeaveCriticalSection",
      "LoadLibraryW",
      "OpenProcess",
      "OutputDebugStringW",
      "QueryPerformanceCounter",
      "SetDllDirectoryW",
      "SetLastError",
      "SetUnhandledExceptionFilter",
      "Sleep",
      "TlsGetValue",
      "VirtualAlloc",
      "VirtualFree",
      "VirtualProtect",
      "VirtualQuery",
      "__C_specific_handler",
      "lstrcmpW",
      "lstrcmpiW"}},
    {"msvcrt.dll",
     {"__C_specific_handler",
      "__getmainargs",
      "__initenv",
      "__iob_func",
      "__set_app_type",
      "__setusermatherr",
      "_acmdln",
      "_amsg_exit",
      "_cexit",
      "_commode",
      "_errno",
      "_fmode",
      "_initterm",
      "_lock",
      "_onexit",
      "_unlock",
      "_vsnprintf",
      "_vsnwprintf",
      "_wcsicmp",
      "_wcsnicmp",
      "abort",
      "calloc",
      "exit",
      "fgetwc",
      "fprintf",
      "free",
      "fwrite",
      "getc",
      "iswctype",
      "iswspace",
      "malloc",
      "memcmp",
      "memcpy",
      "memmove",
      "memset",
      "realloc",
      "signal",
      "strcmp",
      "strlen",
      "strncmp",
      "towlower",
      "towupper",
      "vfprintf",
      "wcschr",
      "wcscmp",
      "wcslen",
      "wcsncmp",
      "wcsrchr",
      "wcstol",
      "wcstoul"}},
    {"ole32.dll",
     {"CLSIDFromString", "CoCreateInstance", "CoInitialize", "CoTaskMemFree", "CoUninitialize",
      "StringFromGUID2"}},
    {"psapi.dll", {"EnumProcessModules", "EnumProcesses", "GetModuleBaseNameW"}},
    {"setupapi.dll",
     {"CM_Get_Device_IDW",
      "SetupCloseInfFile",
      "SetupDiBuildDriverInfoList",
      "SetupDiCallClassInstaller",
      "SetupDiChangeState",
      "SetupDiCreateDeviceInfoList",
      "SetupDiCreateDeviceInfoW",
      "SetupDiDestroyDeviceInfoList",
      "SetupDiDestroyDriverInfoList",
      "SetupDiEnumDeviceInfo",
      "SetupDiGetClassDevsW",
      "SetupDiGetDeviceInstallParamsW",
      "SetupDiGetDeviceRegistryPropertyW",
      "SetupDiGetINFClassW",
      "SetupDiGetSelectedDriverW",
      "SetupDiOpenDevRegKey",
      "SetupDiRemoveDevice",
      "SetupDiSetClassInstallParamsW",
      "SetupDiSetDeviceInstallParamsW",
      "SetupDiSetDeviceRegistryPropertyW",
      "SetupDiSetSelectedDevice",
      "SetupFindFirstLineW",
      "SetupGetStringFieldW",
      "SetupOpenInfFileW"}},
    {"user32.dll",
     {"BroadcastSystemMessageW",
      "CheckDlgButton",
      "CreateDialogParamW",
      "CreateWindowExW",
      "DestroyIcon",
      "DestroyWindow",
      "DialogBoxParamW",
      "DisableProcessWindowsGhosting",
      "EnableWindow",
      "EndDialog",
      "GetDC",
      "GetDlgItem",
      "GetDlgItemTextW",
      "GetSystemMetrics",
      "GetWindowLongPtrW",
      "GetWindowTextW",
      "InvalidateRect",
      "IsWindowEnabled",
      "IsDlgButtonChecked",
      "LoadIconW",
      "LoadImageW",
      "LoadStringW",
      "MessageBoxW",
      "PostMessageW",
      "RedrawWindow",
      "RegisterWindowMessageW",
      "ReleaseDC",
      "SendMessageW",
      "SetDlgItemTextW",
      "SetFocus",
      "SetWindowLongPtrW",
      "SetWindowPos",
      "SetWindowTextW",
      "ShowWindow",
      "UpdateWindow"}},
};

TEST(Imports, AreAllThereOnTheOldestWindows) {
    auto imports = Imports();
    EXPECT_GE(imports.size(), 8u);
    for (const auto& [dll, names] : imports) {
        auto known = available.find(dll);
        if (known == available.end()) {
            ADD_FAILURE() << dll << " does not belong to the system's own DLLs";
            continue;
        }
        for (const std::string& name : names)
            EXPECT_TRUE(known->second.count(name)) << dll << " " << name;
    }
}

TEST(Imports, TakeTheProcessRoutinesFromTheirOwnDll) {
    auto imports = Imports();
    EXPECT_THAT(imports["psapi.dll"], testing::IsSupersetOf({"EnumProcesses", "EnumProcessModules",
                                                             "GetModuleBaseNameW"}));
    EXPECT_EQ(0u, imports.count("newdev.dll")) << "not every Windows has its routines";
}

TEST(Executable, StartsOnTheOldestWindowsAndIsProtectedOnTheNewest) {
    IMAGE_NT_HEADERS64 headers = Headers();
    const IMAGE_OPTIONAL_HEADER64& optional = headers.OptionalHeader;
    EXPECT_EQ(IMAGE_FILE_MACHINE_AMD64, headers.FileHeader.Machine);
    EXPECT_EQ(IMAGE_SUBSYSTEM_WINDOWS_GUI, optional.Subsystem);
    EXPECT_EQ(5, optional.MajorSubsystemVersion);
    EXPECT_EQ(2, optional.MinorSubsystemVersion);
    EXPECT_TRUE(optional.DllCharacteristics & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    EXPECT_TRUE(optional.DllCharacteristics & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
    EXPECT_TRUE(optional.DllCharacteristics & 0x20) << "addresses above 4 GB";
    EXPECT_FALSE(headers.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_NE(0u, optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size);
    EXPECT_EQ(0u, optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].Size);
}

static bool Contains(const std::string& text) {
    return std::search(ProgramFile().begin(), ProgramFile().end(), text.begin(), text.end()) !=
           ProgramFile().end();
}

static std::string Wide(const std::string& text) {
    std::string wide;
    for (char c : text)
        wide += std::string{c, '\0'};
    return wide;
}

// The wide texts of the image that end in `end`, in lower case, each from behind the zero before it.
static std::set<std::string> WideTextsEndingIn(const std::string& end) {
    const Bytes& file = ProgramFile();
    const std::string wanted = Wide(end) + std::string(2, '\0');
    auto same = [](BYTE byte, char c) { return static_cast<char>(tolower(byte)) == c; };
    std::set<std::string> texts;
    for (auto at = file.begin();; at++) {
        at = std::search(at, file.end(), wanted.begin(), wanted.end(), same);
        if (at == file.end())
            return texts;
        std::string text = end;
        for (auto before = at; before - file.begin() >= 2; before -= 2) {
            const unsigned unit = before[-2] | before[-1] << 8;
            if (unit == 0)
                break;
            text.insert(text.begin(), unit < 0x80 ? static_cast<char>(tolower(unit)) : '?');
        }
        texts.insert(text);
    }
}

// Under that name the system looks for it where its own libraries are.
TEST(Executable, AsksForTheRunTimeLibraryByItsPlainName) {
    EXPECT_EQ(std::set<std::string>{"newdev.dll"}, WideTextsEndingIn(".dll"));
}

class ReleasedExecutable : public testing::Test {
  protected:
    void SetUp() override {
        if (GetEnvironmentVariableW(L"QV_PROGRAM", nullptr, 0) == 0)
            GTEST_SKIP() << "QV_PROGRAM names no release build";
    }
};

TEST_F(ReleasedExecutable, CarriesNoTrace) {
    ASSERT_TRUE(Contains(Wide("Team Created."))) << "texts are found at all";
    EXPECT_FALSE(Contains(Wide("-->")));
    EXPECT_FALSE(Contains(Wide("<--")));
    EXPECT_FALSE(Contains("-->CreateTeam"));
    EXPECT_EQ(0u, Imports()["kernel32.dll"].count("OutputDebugStringW"));
}

TEST_F(ReleasedExecutable, HasAtMost100000Bytes) {
    EXPECT_LE(ProgramFile().size(), 100000u);
}

TEST_F(ReleasedExecutable, CanBeUnwound) {
    const DWORD bytes =
        Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXCEPTION].Size;
    EXPECT_GT(bytes / sizeof(RUNTIME_FUNCTION), 150u);
}
