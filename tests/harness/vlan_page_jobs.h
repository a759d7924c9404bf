// VLANs added to and removed from a host through its page, in the short words of a team job.
#pragma once

#include "harness/removal.h"
#include "harness/vlan_host.h"
#include "harness/vlans.h"

#include <commctrl.h>

// Rows of the page's hosts on the machines of these tests.
constexpr SheetOf kNic = {0, -1};
constexpr SheetOf kTeam = {-1, 0};

// Puts the paints of the wait window into the journal.
class PaintWatch {
  public:
    PaintWatch() : hook_(SetWindowsHookExW(WH_CALLWNDPROC, See, nullptr, GetCurrentThreadId())) {
        EXPECT_NE(nullptr, hook_);
    }
    ~PaintWatch() {
        UnhookWindowsHookEx(hook_);
    }
    PaintWatch(const PaintWatch&) = delete;
    PaintWatch& operator=(const PaintWatch&) = delete;

  private:
    static LRESULT CALLBACK See(int code, WPARAM wParam, LPARAM lParam) {
        auto message = reinterpret_cast<const CWPSTRUCT*>(lParam);
        if (code == HC_ACTION && message->message == WM_PAINT &&
            GetDlgCtrlID(message->hwnd) == IDC_WAIT_TEXT && IsWindowVisible(message->hwnd))
            BenchJournal(L"wait-painted", L"");
        return CallNextHookEx(nullptr, code, wParam, lParam);
    }

    HHOOK hook_;
};

class VlanPageTest : public CreationTest {
  protected:
    void TearDown() override {
        vlans.reset();
        CreationTest::TearDown();
    }

    void OpenPage(SheetOf host) {
        vlans.reset();
        Open({});
        hostOf_ = host;
        OpenPageAgain();
        Bench(L"reset-open");
    }
    void OpenPageAgain() {
        vlans.reset();
        vlans = std::make_unique<VlanPageHost>(hostOf_);
        ClearJournal();
    }
    // Two ports, in a team unless the host is a port; with a VLAN on the host if asked for.
    void DescribeHost(SheetOf host, bool withVlan) {
        Ports(2);
        if (host.nic != 0)
            AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        if (withVlan)
            AddVlan(host.nic == 0 ? L"port0" : L"team-1", 10, L"Voice");
    }
    // A port alone; a team of two.
    void OpenOnPort(const std::vector<std::pair<DWORD, std::wstring>>& vlansOfPort = {}) {
        Ports(1);
        for (const auto& [id, name] : vlansOfPort)
            AddVlan(L"port0", id, name);
        OpenPage(kNic);
    }
    void OpenOnTeam(const std::vector<std::pair<DWORD, std::wstring>>& vlansOfTeam = {}) {
        Ports(2);
        AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        for (const auto& [id, name] : vlansOfTeam)
            AddVlan(L"team-1", id, name);
        OpenPage(kTeam);
    }
    void OpenWithThree(SheetOf host) {
        const std::vector<std::pair<DWORD, std::wstring>> three = {
            {10, L"A"}, {20, L"B"}, {30, L"C"}};
        if (host.nic == 0)
            OpenOnPort(three);
        else
            OpenOnTeam(three);
    }

    // The whole journal.
    Texts16 Told() const {
        Texts16 lines;
        for (const Event& event : Journal())
            lines.push_back(Short(event.kind + (event.text.empty() ? L"" : L" ") + event.text));
        return lines;
    }
    Texts16 RemovedDevices() const {
        Texts16 devices;
        for (const std::wstring& text : Texts(Journal(), L"device-remove"))
            devices.push_back(Short(text));
        return devices;
    }
    // Of the host: "enabled shown", or whatever its bindings and its place in the folder are.
    std::string HostState() const {
        const bool isTeam = hostOf_.nic < 0;
        const std::wstring guid = isTeam ? machine.teams[0].guid : machine.adapters[0].guid;
        const std::wstring id = isTeam ? L"ROOT\\NET\\0000" : machine.adapters[0].instance;
        const std::string narrow(guid.begin(), guid.end());
        const std::string dump = MachineDump();
        const std::string device = "device\\" + std::string(id.begin(), id.end());
        std::string state;
        for (const char* path : {"ms_msclient->ms_netbt->ms_tcpip", "ms_netbt->ms_tcpip",
                                 "ms_server->ms_netbt->ms_tcpip", "ms_tcpip"}) {
            std::string fact = std::string("path\\") + path + "->" + narrow + " = ";
            auto lines = DumpLines(dump, fact);
            std::string now = lines.empty() ? "?" : lines[0].substr(fact.size());
            if (state.empty())
                state = now;
            else if (state != now)
                state = "mixed";
        }
        auto lines = DumpLines(dump, device + "\\driver\\Characteristics = REG_DWORD 0x");
        if (lines.size() != 1)
            return state + " ?";
        DWORD flags = std::stoul(lines[0].substr(lines[0].size() - 8), nullptr, 16);
        return state + (flags & 8 ? " hidden" : " shown");
    }
    // Whether the adapter of this GUID is there.
    static bool HasGuid(const std::wstring& guid) {
        const std::string dump = MachineDump();
        return dump.find("NetCfgInstanceId = REG_SZ \"" + std::string(guid.begin(), guid.end())) !=
               std::string::npos;
    }

    std::unique_ptr<VlanPageHost> vlans;

  private:
    SheetOf hostOf_ = kNic;
};

inline HWND FindWaitWindow() {
    HWND found = nullptr;
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND window, LPARAM result) -> BOOL {
            if (GetDlgItem(window, IDC_WAIT_TEXT) != nullptr)
                *reinterpret_cast<HWND*>(result) = window;
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
}

inline const Texts16 kDialog = {L"dialog-open 102", L"dialog-close 102"};
inline const Texts16 kWaitOpens = {L"dialog-open 1104", L"wait-painted"};
inline const Texts16 kWaitCloses = {L"dialog-close 1104"};

inline Texts16 CharacteristicsEvents(const std::wstring& device, const std::wstring& value) {
    return Texts16{L"value-set driver(" + device + L")\\Characteristics REG_DWORD 0x" + value} +
           RestartEvents(device);
}
inline Texts16 BindingEvents(const std::wstring& host, const std::wstring& list, int bytes) {
    return {L"value-set record\\{" + host + L"}\\VlanBinding REG_MULTI_SZ \"" + list + L"\" " +
            std::to_wstring(bytes) + L" bytes"};
}
inline Texts16 VlanHostEvents(const std::wstring& host) {
    return {L"value-set record\\{" + host + L"}\\TeamNumber REG_DWORD 0x00000010",
            L"value-set record\\{" + host + L"}\\Order REG_DWORD 0x00000000"};
}
