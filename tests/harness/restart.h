// Tests of what is in use on a simulated machine, and of what a restart of the machine does to it.
#pragma once

#include "harness/round_trip.h"

class RestartTest : public RoundTripTest {
  protected:
    static void RestartMachine() {
        std::wstring error;
        EXPECT_TRUE(MachineRestart(&error)) << testing::PrintToString(error);
    }

    // The dump's facts of devices whose last part is this, shortened: "port0\connection = listed".
    Texts8 InUse(const std::string& what) const {
        Texts8 found;
        for (const std::string& line : DumpLines(MachineDump(), "device\\")) {
            const std::wstring shown = Short({line.begin(), line.end()});
            const std::string text(shown.begin(), shown.end());
            if (text.find("\\" + what + " = ") != std::string::npos)
                found.push_back(text.substr(std::string("device\\").size()));
        }
        return found;
    }
    Texts8 Addresses() const {
        return InUse("bench\\CurrentAddress");
    }
    Texts8 Connections() const {
        return InUse("connection");
    }
    Texts8 Vlans() const {
        return InUse("bench\\VlanInUse");
    }

    void SetAddress(int port, const std::wstring& text) {
        RegistrySet(DriverKey(port), MachineValue::Text(L"NetworkAddress", text));
    }
};

// The driver's answer in digits; "error N" when it refuses or when the device does not open.
inline std::string AskDriver(HANDLE device, DWORD oid) {
    const DWORD queryCode = 0x00170002;
    BYTE answer[64];
    DWORD returned = 0;
    std::string text;
    if (!DeviceIoControl(device, queryCode, &oid, sizeof(oid), answer, sizeof(answer), &returned,
                         nullptr))
        return "error " + std::to_string(GetLastError());
    for (DWORD i = 0; i < returned; i++) {
        char digits[8];
        snprintf(digits, sizeof(digits), "%02X", answer[i]);
        text += digits;
    }
    return text;
}

inline HANDLE OpenDriver(const std::wstring& guid) {
    return CreateFileW((L"\\\\.\\" + guid).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_EXISTING, 0, nullptr);
}

inline std::string AskDriver(const std::wstring& guid, DWORD oid) {
    HANDLE device = OpenDriver(guid);
    if (device == INVALID_HANDLE_VALUE)
        return "error " + std::to_string(GetLastError());
    const std::string text = AskDriver(device, oid);
    CloseHandle(device);
    return text;
}
