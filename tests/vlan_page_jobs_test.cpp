// VLANs added from their page: what the machine goes through, what the user is told and what the
// page shows afterwards.
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "harness/program.h"
#include "harness/vlan_page_jobs.h"

class VlanAdditions : public VlanPageTest {};

TEST_F(VlanAdditions, UnbindAndHideAPortBeforeItsFirstVlan) {
    OpenOnPort();
    EXPECT_EQ("enabled shown", HostState());
    PaintWatch watch;
    vlans->add(L"10", L"Voice");
    ExpectEvents(kDialog + kWaitOpens + UnbindEvents(L"port0") +
                     CharacteristicsEvents(L"port0", L"0000008C") +
                     InstallSteps(0, 1, L"Port 0 - Voice") +
                     Texts16{L"key-create record\\{port0}"} + VlanHostEvents(L"port0") +
                     BindingEvents(L"port0", L"\\Device\\{1}", 96) +
                     ValueSteps(0, L"0000000A", L"Voice") + RestartSteps(0) + kWaitCloses,
                 Told());
    EXPECT_EQ(Texts16{L"10 Voice"}, vlans->cells());
    EXPECT_FALSE(vlans->ticked(0));
    EXPECT_EQ(1, vlans->list()->numVlans);
    EXPECT_EQ(Guid(NewGuid(1)), vlans->list()->vlanGuids[0]);
    EXPECT_EQ("disabled hidden", HostState());
    EXPECT_EQ(nullptr, FindWaitWindow());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanAdditions, UnbindAndHideATeamBeforeItsFirstVlan) {
    OpenOnTeam();
    EXPECT_EQ("enabled shown", HostState());
    PaintWatch watch;
    vlans->add(L"4095", L"Voice");
    ExpectEvents(kDialog + kWaitOpens + UnbindEvents(L"team-1") +
                     CharacteristicsEvents(L"ROOT\\NET\\0000", L"00000009") +
                     InstallSteps(1, 1, L"Uplink - Voice") +
                     BindingEvents(L"port0", L"\\Device\\{1}", 96) +
                     BindingEvents(L"port1", L"\\Device\\{1}", 96) +
                     ValueSteps(1, L"00000FFF", L"Voice") + RestartSteps(1) + kWaitCloses,
                 Told());
    EXPECT_EQ(Texts16{L"4095 Voice"}, vlans->cells());
    EXPECT_EQ("disabled hidden", HostState());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanAdditions, LeaveTheHostAloneForItsSecondVlan) {
    OpenOnPort({{10, L"Voice"}});
    PaintWatch watch;
    vlans->add(L"20", L"Data");
    ExpectEvents(kDialog + kWaitOpens + InstallSteps(1, 1, L"Port 0 - Data") +
                     VlanHostEvents(L"port0") +
                     BindingEvents(L"port0", L"\\Device\\{1}|\\Device\\{vlan10}", 190) +
                     ValueSteps(1, L"00000014", L"Data") + RestartSteps(1) + kWaitCloses,
                 Told());
    EXPECT_EQ((Texts16{L"10 Voice", L"20 Data"}), vlans->cells());

    OpenOnTeam({{10, L"Voice"}});
    vlans->add(L"20", L"Data");
    ExpectEvents(kDialog + kWaitOpens + InstallSteps(2, 1, L"Uplink - Data") +
                     BindingEvents(L"port0", L"\\Device\\{1}|\\Device\\{vlan10}", 190) +
                     BindingEvents(L"port1", L"\\Device\\{1}|\\Device\\{vlan10}", 190) +
                     ValueSteps(2, L"00000014", L"Data") + RestartSteps(2) + kWaitCloses,
                 Told());
    EXPECT_EQ((Texts16{L"10 Voice", L"20 Data"}), vlans->cells());
    EXPECT_EQ("", StillOpen());
}

TEST_F(VlanAdditions, AddTheUntaggedVlanUnderIdZero) {
    OpenOnPort({{10, L"Voice"}});
    vlans->add(L"", L"", true);
    EXPECT_EQ((Texts16{L"10 Voice", L"0 Untagged"}), vlans->cells());
    OpenPageAgain();
    EXPECT_EQ((Texts16{L"10 Voice", L"0 Untagged"}), vlans->cells());
}

TEST_F(VlanAdditions, AddNothingWhenTheDialogIsCancelled) {
    OpenOnPort();
    const std::string before = MachineDump();
    const std::vector<std::vector<DialogStep>> ways = {
        {[](HWND dialog) { ClickIn(dialog, IDCANCEL); }},
        {[](HWND dialog) { ClickIn(dialog, IDOK); }}, // no id
        {[](HWND) { PressInDialog(VK_ESCAPE); }},
    };
    for (const auto& steps : ways) {
        ClearJournal();
        vlans->owner().play(steps);
        vlans->command(IDC_ADD_VLAN);
        ExpectEvents(kDialog, Told());
    }
    EXPECT_EQ("", ChangedSince(before));
    EXPECT_EQ(0, vlans->rows());
    EXPECT_EQ(0, vlans->list()->numVlans);
}

TEST_F(VlanAdditions, TellTheCodeOfAFirstVlanThatFailedAndLeaveTheHostUnbound) {
    for (SheetOf host : {kNic, kTeam}) {
        Ports(2);
        machine.infs.clear();
        if (host.nic != 0)
            AddTeam(L"Uplink", 0, 1, {L"port0", L"port1"});
        OpenPage(host);
        PaintWatch watch;
        vlans->add(L"10", L"Voice");
        const std::wstring device = host.nic == 0 ? L"port0" : L"ROOT\\NET\\0000";
        ExpectEvents(
            kDialog + kWaitOpens + UnbindEvents(host.nic == 0 ? L"port0" : L"team-1") +
                CharacteristicsEvents(device, host.nic == 0 ? L"0000008C" : L"00000009") +
                Texts16{L"message-box \"Error\" \"Failed to add vlan. Error=0x2\" type=0x30 -> "
                        L"IDCANCEL"} +
                kWaitCloses,
            Told());
        EXPECT_EQ("disabled hidden", HostState());
        EXPECT_EQ(0, vlans->rows());
        EXPECT_EQ(0, vlans->list()->numVlans);
        EXPECT_EQ(nullptr, FindWaitWindow());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanAdditions, TellTheCodeThatTheCreationLeft) {
    const struct {
        const wchar_t* fault;
        const wchar_t* code;
        bool installed; // the adapter is there, and stays
    } cases[] = {
        {L"fault SetupDiGetINFClassW 1 3758096385", L"0xe0000001", false},
        {L"fault SetupDiCreateDeviceInfoW 1 5", L"0x5", false},
        {L"fault SetupDiCallClassInstaller 1 3758096907", L"0xe000020b", false},
        {L"fault RegCreateKeyExW 1 1450", L"0x5aa", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.fault));
        OpenOnPort({{10, L"Voice"}});
        Bench(c.fault);
        BoxCatcher catcher;
        HWND wait = nullptr;
        bool waitShown = false;
        catcher.whileShown = [&] {
            wait = FindWaitWindow();
            waitShown =
                IsWindowVisible(wait) && GetWindow(wait, GW_OWNER) == vlans->owner().window();
        };
        vlans->add(L"20", L"Data");
        ASSERT_EQ(1u, catcher.boxes.size());
        EXPECT_EQ(std::wstring(L"Failed to add vlan. Error=") + c.code, catcher.boxes[0].text);
        EXPECT_EQ(L"Error", catcher.boxes[0].caption);
        EXPECT_EQ(0x30u, catcher.boxes[0].type);
        EXPECT_EQ(vlans->window(), catcher.boxes[0].owner);
        EXPECT_TRUE(waitShown);
        EXPECT_FALSE(IsWindow(wait));
        EXPECT_EQ(Texts16{L"10 Voice"}, vlans->cells());
        EXPECT_EQ(1, vlans->list()->numVlans);
        EXPECT_EQ(c.installed, HasGuid(NewGuid(1)));
        EXPECT_EQ("disabled hidden", HostState());
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanAdditions, TryAgainAfterAFailure) {
    OpenOnPort();
    Bench(L"fault SetupDiCreateDeviceInfoW 1 5");
    vlans->add(L"10", L"Voice");
    EXPECT_EQ(0, vlans->list()->numVlans);
    ClearJournal();
    // The id and the name are free again, and the host's first VLAN is the first again.
    vlans->add(L"10", L"Voice");
    EXPECT_EQ(Texts16{L"10 Voice"}, vlans->cells());
    EXPECT_EQ(1u, Texts(Journal(), L"netcfg-lock").size());
    EXPECT_EQ("disabled hidden", HostState());
}

TEST_F(VlanAdditions, LeaveTheWaitWindowOpenWhenThereIsNoMemoryForTheMessage) {
    unsigned calls = 0;
    for (bool memory : {true, false}) {
        Ports(1);
        AddVlan(L"port0", 10, L"Voice");
        machine.infs.clear();
        OpenPage(kNic);
        Bench(L"reset-counts");
        // The message's own is the last.
        if (!memory)
            Bench(L"fault calloc " + std::to_wstring(calls) + L" 8");
        vlans->add(L"20", L"Data");
        calls = Calls("calloc");
        EXPECT_EQ(Texts16{std::wstring(L"\"Error\" ") +
                          (memory ? L"\"Failed to add vlan. Error=0x2\" type=0x30 -> IDCANCEL"
                                  : L"\"Memory Allocation Error\" type=0x0 -> IDCANCEL")},
                  Texts(Journal(), L"message-box"));
        EXPECT_EQ(memory ? 2u : 1u, Texts(Journal(), L"dialog-close").size());
        HWND wait = FindWaitWindow();
        EXPECT_EQ(memory, wait == nullptr);
        if (!memory)
            EXPECT_TRUE(IsWindowVisible(wait));
        EXPECT_EQ(Texts16{L"10 Voice"}, vlans->cells());
        EXPECT_EQ(1, vlans->list()->numVlans);
        EXPECT_EQ("", StillOpen());
    }
}

TEST_F(VlanAdditions, DoTheirWorkWithoutAWaitWindow) {
    OpenOnPort();
    Bench(L"fault CreateDialogParamW 1 8");
    vlans->add(L"10", L"Voice");
    EXPECT_EQ(Texts16{L"10 Voice"}, vlans->cells());
    Bench(L"fault CreateDialogParamW 1 8");
    Bench(L"message-box IDOK all");
    vlans->remove({0});
    EXPECT_EQ(0, vlans->rows());
    EXPECT_EQ("enabled shown", HostState());
}

class VlanPageOfTheProgram : public MachineTest {};

TEST_F(VlanPageOfTheProgram, ShowsTheWaitWindowWhileAVlanIsMadeAndAsksBeforeItGoes) {
    LoadAndBuild(L"team-vlans.txt");
    RunningProgram program;
    std::wstring error;
    program.tickRow(L"1004", 0);
    program.clickAndLeave(L"1001");
    HWND page = program.openTab(L"VLAN", 1101, 101);
    HWND view = drive::FindControl(page, L"1000");

    program.clickAndLeave(L"1001", 101);
    HWND dialog = program.waitDialog(102);
    EXPECT_TRUE(drive::WaitIdle(dialog, &error)) << testing::PrintToString(error);
    EXPECT_TRUE(drive::TypeText(drive::FindControl(dialog, L"1003"), L"30", &error))
        << testing::PrintToString(error);
    EXPECT_TRUE(drive::TypeText(drive::FindControl(dialog, L"1004"), L"Third", &error))
        << testing::PrintToString(error);
    program.bench(L"hold SetupDiChangeState 1");
    EXPECT_TRUE(drive::PressKey(dialog, L"Enter", true, &error)) << testing::PrintToString(error);
    EXPECT_TRUE(drive::WaitUntil([&] { return program.bench(L"held") != L"no"; }));
    HWND wait = program.waitDialog(1104);
    EXPECT_EQ(GetAncestor(page, GA_ROOT), GetWindow(wait, GW_OWNER));
    program.bench(L"release");
    program.waitGone(1104);
    EXPECT_TRUE(drive::WaitUntil([&] { return drive::ListRowCount(view) == 3; }));
    EXPECT_EQ((Texts16{L"Third", L"30"}), drive::ListRows(view)[2].texts);

    EXPECT_TRUE(drive::TickRow(view, 0, true, false, &error)) << testing::PrintToString(error);
    EXPECT_TRUE(drive::TickRow(view, 2, true, false, &error)) << testing::PrintToString(error);
    program.clickAndLeave(L"1002", 101);
    std::wstring text;
    HWND box = nullptr;
    EXPECT_TRUE(drive::WaitUntil(
        [&] { return (box = drive::FindMessageBox(program.process().id, &text)) != nullptr; }));
    EXPECT_EQ(L"The following entries will be removed:-\r\nVoice: 10\r\nThird: 30\r\n", text);
    EXPECT_EQ(L"Warning", drive::TextOf(box));
    EXPECT_TRUE(drive::PressKey(box, L"Enter", true, &error)) << testing::PrintToString(error);
    EXPECT_TRUE(drive::WaitUntil([&] { return drive::ListRowCount(view) == 1; }));
    program.waitGone(1104);
    EXPECT_EQ((Texts16{L"Data", L"20"}), drive::ListRows(view)[0].texts);
    EXPECT_EQ(DeviceName(MachineVlanGuid(1)), BindingOf(RecordOf(MachinePort(0))).value_or(L""));
    EXPECT_EQ(DeviceName(MachineVlanGuid(1)), BindingOf(RecordOf(MachinePort(1))).value_or(L""));
}
