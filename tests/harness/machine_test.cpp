#include "harness/machine_test.h"

#include <sstream>

void BenchSetUp() {
    // A program that calls nothing of the product in its own process has not loaded it.
    HMODULE core = LoadLibraryW(L"qvteamcfg_core.dll");
    ASSERT_NE(core, nullptr);
    ASSERT_TRUE(BenchAttach(core));
}

std::wstring Bench(const std::wstring& command) {
    std::wstring reply(64 * 1024, L'\0');
    EXPECT_EQ(1, BenchCommand(command.c_str(), reply.data(), static_cast<int>(reply.size())))
        << testing::PrintToString(command);
    reply.resize(wcslen(reply.c_str()));
    return reply;
}

unsigned Calls(const std::string& function) {
    return std::stoul(Bench(L"calls " + std::wstring(function.begin(), function.end())));
}

std::string StillOpen() {
    std::wstring counts = Bench(L"open");
    std::istringstream kinds(std::string(counts.begin(), counts.end()));
    std::string open;
    for (std::string kind; kinds >> kind;) {
        if (kind.substr(kind.find('=')) != "=0")
            open += (open.empty() ? "" : " ") + kind;
    }
    return open;
}

std::string Misuses() {
    const std::wstring misuses = Bench(L"misuses");
    return {misuses.begin(), misuses.end()};
}

void MachineTest::Load(const std::wstring& name) {
    std::wstring error;
    ASSERT_TRUE(MachineLoad(name, &machine, &error)) << testing::PrintToString(error);
}

void MachineTest::Build() {
    std::wstring error;
    ASSERT_TRUE(MachineBuild(machine, &error)) << testing::PrintToString(error);
    Bench(L"reload");
    Bench(L"clear");
    Bench(L"misuses");
    Bench(L"reset-counts");
    Bench(L"reset-open");
    ClearJournal();
}

void MachineTest::TearDown() {
    EXPECT_EQ("", Misuses());
    Bench(L"clear");
    Bench(L"message-box real");
    Bench(L"restart-prompt IDNO");
    Bench(L"answer GetSystemDirectoryW");
    Bench(L"answer GetSystemWindowsDirectoryW");
}

GUID Guid(const std::wstring& text) {
    GUID guid = {};
    EXPECT_EQ(S_OK, CLSIDFromString(text.c_str(), &guid));
    return guid;
}

static std::vector<BYTE> RegistryBytes(const std::wstring& key, const std::wstring& value,
                                       bool required) {
    HKEY opened = nullptr;
    std::vector<BYTE> bytes;
    DWORD size = 0;
    LONG result = RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened);
    if (result == ERROR_SUCCESS) {
        result = RegQueryValueExW(opened, value.c_str(), nullptr, nullptr, nullptr, &size);
        bytes.resize(size);
        if (result == ERROR_SUCCESS)
            RegQueryValueExW(opened, value.c_str(), nullptr, nullptr, bytes.data(), &size);
        RegCloseKey(opened);
    }
    if (required)
        EXPECT_EQ(ERROR_SUCCESS, result)
            << testing::PrintToString(key) << " " << testing::PrintToString(value);
    return bytes;
}

DWORD RegistryNumber(const std::wstring& key, const std::wstring& value) {
    std::vector<BYTE> bytes = RegistryBytes(key, value, true);
    DWORD number = 0;
    EXPECT_EQ(sizeof(number), bytes.size());
    memcpy(&number, bytes.data(), bytes.size() < sizeof(number) ? bytes.size() : sizeof(number));
    return number;
}

std::wstring RegistryText(const std::wstring& key, const std::wstring& value) {
    std::vector<BYTE> bytes = RegistryBytes(key, value, true);
    std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    return text.substr(0, text.find(L'\0'));
}

bool RegistryHasKey(const std::wstring& key) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return false;
    RegCloseKey(opened);
    return true;
}

bool RegistryHas(const std::wstring& key, const std::wstring& value) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return false;
    LONG result = RegQueryValueExW(opened, value.c_str(), nullptr, nullptr, nullptr, nullptr);
    RegCloseKey(opened);
    return result == ERROR_SUCCESS;
}

void RegistrySet(const std::wstring& key, const MachineValue& value) {
    HKEY opened = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0,
                                             KEY_ALL_ACCESS, nullptr, &opened, nullptr));
    // RegSetValueExW adds a terminator of its own accord when it finds one behind the bytes of a
    // string.
    std::vector<BYTE> guarded = value.data;
    guarded.insert(guarded.end(), sizeof(wchar_t), 0xee);
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(opened, value.name.c_str(), 0, value.type,
                                            guarded.data(), static_cast<DWORD>(value.data.size())));
    RegCloseKey(opened);
}

void RegistryDeleteTree(const std::wstring& key) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
}

std::vector<std::string> DumpLines(const std::string& dump, const std::string& begin) {
    std::vector<std::string> found;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, begin.size(), begin) == 0)
            found.push_back(line);
    }
    return found;
}
