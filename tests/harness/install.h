// Runs of the installation of one virtual adapter, and what a failed one may leave: nothing.
#pragma once

#include "device/virtual_adapter.h"
#include "harness/devices.h"
#include "include/names.h"

using TextList = std::vector<std::wstring>;

inline const wchar_t kFirstGuid[] = L"{51560000-0000-4000-8000-000000000001}";
inline const GUID kPoisonGuid = {0xdeadbeef, 0xdead, 0xbeef, {1, 2, 3, 4, 5, 6, 7, 8}};

// The miniport's INF on the shipped machines; the INF search spells the folder "Inf", the system's
// own choice of a driver "inf".
inline std::wstring OemInf(const std::wstring& folder = L"Inf") {
    wchar_t windows[MAX_PATH];
    GetSystemWindowsDirectoryW(windows, MAX_PATH);
    return std::wstring(windows) + L"\\" + folder + L"\\oem3.inf";
}

// One run: outputs and last error were poisoned before.
struct Installed {
    int result = -1;
    DWORD error = 0;
    GUID guid = {};
    std::wstring name;
};

class InstallTest : public MachineTest {
  protected:
    static Installed Run(const std::wstring& name, const std::wstring& inf = OemInf(),
                         const wchar_t* hardwareId = MINIPORT_HARDWARE_ID) {
        Installed got;
        std::wstring buffer = name;
        buffer.resize(NAME_CCH);
        got.guid = kPoisonGuid;
        SetLastError(0xdeadbeef);
        got.result = cmdInstall(hardwareId, inf.c_str(), buffer.data(), &got.guid);
        got.error = GetLastError();
        got.name = buffer.c_str();
        return got;
    }

    static void Commands(const std::wstring& commands) {
        std::wistringstream list(commands);
        for (std::wstring command; std::getline(list, command, L';');)
            Bench(command);
    }

    // Installs under these faults. `registered`: the device came into being and has to go again.
    static void ExpectFailure(const std::wstring& faults, DWORD error, bool registered) {
        const std::string before = MachineDump();
        Bench(L"reset-open");
        ClearJournal();
        Commands(faults);
        Installed got = Run(L"Team0");
        Bench(L"clear");
        EXPECT_EQ(INSTALL_FAILED, got.result);
        EXPECT_EQ(error, got.error);
        EXPECT_EQ(kPoisonGuid, got.guid);
        EXPECT_EQ(L"Team0", got.name);
        const Events journal = Journal();
        EXPECT_EQ(registered ? 1u : 0u, Lines(journal, {L"device-register"}).size());
        EXPECT_EQ(registered ? 1u : 0u, Lines(journal, {L"device-remove"}).size());
        // The class installer keeps the connection's name of a removed device, and the service.
        std::istringstream changes(ChangedSince(before));
        std::string left;
        for (std::string line; std::getline(changes, line);) {
            if (line.rfind("+ network\\", 0) != 0 && line.rfind("+ service\\", 0) != 0)
                left += line + "\n";
        }
        EXPECT_EQ("", left);
        EXPECT_EQ("", StillOpen());
    }
};
