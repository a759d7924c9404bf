// A team is made, gets two VLANs and is removed, over and over in one process, through the page's own
// buttons. QV_CYCLES says how often; the line at the end is for the table of long runs.
#include "harness/round_trip.h"
#include "harness/usage.h"
#include "harness/vlan_host.h"
#include "sweep/table.h"

#include <algorithm>
#include <devguid.h>
#include <setupapi.h>
#include <sstream>

static const unsigned kUsualCycles = 14;
static const unsigned kSettled = 10;   // what is loaded and cached once is there by then
static const unsigned kDevices = 3;    // virtual adapters of a cycle
static const size_t kSlack = 256;      // bytes that the platform may keep
static const UINT kHangGuard = 120000; // milliseconds of wall-clock time for one press of a button

static unsigned hangs;

// Ends a modal dialog that nobody else ends.
static void CALLBACK EndStuckDialog(HWND, UINT, UINT_PTR, DWORD) {
    hangs++;
    ADD_FAILURE() << "a dialog stays open";
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND window, LPARAM) -> BOOL {
            EndDialog(window, 0);
            return TRUE;
        },
        0);
}

// Kernel handles that Wine itself keeps of a device that is made and removed: of ten, made without the
// program and without the bench.
static unsigned HandlesKeptOfTenDevices() {
    const unsigned before = Usage::Now().kernelHandles;
    for (int count = 0; count < 10; count++) {
        SP_DEVINFO_DATA device = {};
        device.cbSize = sizeof(device);
        HDEVINFO set = SetupDiCreateDeviceInfoList(&GUID_DEVCLASS_NET, nullptr);
        EXPECT_TRUE(SetupDiCreateDeviceInfoW(set, L"Net", &GUID_DEVCLASS_NET, nullptr, nullptr,
                                             DICD_GENERATE_ID, &device));
        EXPECT_TRUE(SetupDiRegisterDeviceInfo(set, &device, 0, nullptr, nullptr, nullptr));
        EXPECT_TRUE(SetupDiRemoveDevice(set, &device));
        EXPECT_TRUE(SetupDiDestroyDeviceInfoList(set));
    }
    return Usage::Now().kernelHandles - before;
}

class CycleSoak : public RoundTripTest {
  protected:
    void SetUp() override {
        RoundTripTest::SetUp();
        guard_ = SetTimer(nullptr, 0, kHangGuard, EndStuckDialog);
    }
    void TearDown() override {
        KillTimer(nullptr, guard_);
        RoundTripTest::TearDown();
    }

    // The guard begins anew with each press.
    void Press(int button) {
        guard_ = SetTimer(nullptr, guard_, kHangGuard, EndStuckDialog);
        page->command(button);
        PageHost::Pump();
    }

    void Cycle() {
        Tick({0, 1});
        page->tick(IDC_ACTIVE_BACKUP);
        Press(IDC_CREATE_TEAM);
        EXPECT_EQ(text::kHelp, page->text(IDC_STATUS));
        ASSERT_EQ(std::vector<std::wstring>{L"Team0"}, page->rowTexts(IDC_TEAM_LIST));
        EXPECT_EQ(0, page->rows(IDC_NIC_LIST));
        {
            VlanPageHost vlans({-1, 0});
            vlans.add(L"10", L"Voice");
            vlans.add(L"20", L"Data");
            EXPECT_EQ((std::vector<std::wstring>{L"10 Voice", L"20 Data"}), vlans.cells());
        }
        TickTeams({0});
        Press(IDC_REMOVE_TEAM);
        EXPECT_EQ(text::kHelp, page->text(IDC_STATUS));
        EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
        EXPECT_EQ((std::vector<std::wstring>{L"Port 0", L"Port 1"}), page->rowTexts(IDC_NIC_LIST));
        Expect();
    }

    // Nothing of the program's is open, and nothing but what it had to show was shown.
    void Expect() {
        const std::string open = StillOpen();
        EXPECT_EQ("", open);
        stillOpen_ += !open.empty();
        for (const Event& event : Journal())
            EXPECT_NE(L"message-box", event.kind) << testing::PrintToString(event.text);
    }

    // Keys of virtual adapters that there were.
    static size_t AdapterKeysLeft() {
        size_t left = 0;
        for (const std::string& line : DumpLines(MachineDump(), "network\\{51560000-"))
            left += line.find("} = key") != std::string::npos;
        return left;
    }

    static unsigned CallsOfAll() {
        std::wistringstream counts(Bench(L"calls"));
        std::wstring name;
        unsigned all = 0;
        for (unsigned count; counts >> name >> count;)
            all += count;
        return all;
    }

    // The counts that are not what they were, each a leak.
    static unsigned CountLeaks(Usage settled, const Usage& now, unsigned devices) {
        settled.kernelHandles += devices * HandlesKeptOfTenDevices() / 10;
        const bool grown[] = {now.kernelHandles != settled.kernelHandles,
                              now.gdiObjects != settled.gdiObjects,
                              now.userObjects != settled.userObjects,
                              now.privateBytes > settled.privateBytes + kSlack,
                              now.heapBytes > settled.heapBytes + kSlack};
        unsigned leaks = 0;
        for (bool one : grown)
            leaks += one;
        EXPECT_EQ(0u, leaks) << "settled: " << settled << "\nnow:     " << now;
        return leaks;
    }

    unsigned stillOpen_ = 0; // cycles that left something of the program's open

  private:
    UINT_PTR guard_ = 0;
};

TEST_F(CycleSoak, LeavesTheMachineAndTheProcessAsTheyWere) {
    const unsigned cycles =
        std::max(NumberFromEnvironment("QV_CYCLES", kUsualCycles), kSettled + 1);
    SweepLine line;
    line.operation = "cycles of a team with two VLANs";
    OpenPorts(2, kSimpleMachine);
    Usage settled;
    for (unsigned cycle = 0; cycle < cycles; cycle++) {
        SCOPED_TRACE("cycle " + std::to_string(cycle + 1));
        Bench(L"reset-counts");
        Bench(L"reset-open");
        ClearJournal();
        Cycle();
        line.runs++;
        line.calls = CallsOfAll();
        ClearJournal();
        if (cycle + 1 == kSettled)
            settled = Usage::Now();
        if (HasFailure())
            break;
    }
    line.hangs = hangs;
    line.leaks = stillOpen_;
    if (line.runs > kSettled)
        line.leaks += CountLeaks(settled, Usage::Now(), (line.runs - kSettled) * kDevices);
    ExpectBack();
    EXPECT_EQ(line.runs * kDevices, AdapterKeysLeft())
        << "one for each virtual adapter, and no more";
    if (HasFailure() && line.clean())
        line.wrong++;
    line.print();
}
