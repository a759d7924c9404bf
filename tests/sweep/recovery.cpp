#include "sweep/recovery.h"

#include "device/device_state.h"
#include "devices.h"
#include "harness/vlan_host.h"
#include "vlan/vlan_list.h"

#include <algorithm>
#include <devguid.h>

static const wchar_t kRecords[] =
    L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters";

const char* NameOf(Recipe recipe) {
    static const char* const names[] = {"enable",        "uninstall", "vlan again", "remove team",
                                        "delete record", "rename",    "team again"};
    return names[static_cast<int>(recipe)];
}

static bool IsVirtual(const std::wstring& instance) {
    return _wcsnicmp(instance.c_str(), L"ROOT\\", 5) == 0;
}

// Never registered, so no device yet.
static bool IsPhantom(const qvmachine::FoundDevice& device) {
    return RegistryHas(device.enumPath, L"Phantom");
}

static std::wstring Print(const GUID& guid) {
    wchar_t text[64];
    StringFromGUID2(guid, text, 64);
    return text;
}

// A device that the Device Manager shows below "Network adapters".
template <class Act> static void ForDevice(const std::wstring& instance, Act act) {
    HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    EXPECT_TRUE(SetupDiOpenDeviceInfoW(set, instance.c_str(), nullptr, 0, &device))
        << testing::PrintToString(instance);
    act(set, &device);
    SetupDiDestroyDeviceInfoList(set);
}

template <class Step> void RecoveryTest::Apply(Recipe recipe, Step step) {
    step();
    std::string dump = MachineDump();
    if (dump != dump_)
        applied_.insert(recipe);
    dump_ = std::move(dump);
}

void RecoveryTest::EnableDisabled() {
    for (const auto& device : qvmachine::FindNetDevices()) {
        const std::wstring bench = qvmachine::BenchDevicePath(device.instance);
        if (RegistryHas(bench, L"Disabled") && RegistryNumber(bench, L"Disabled") != 0)
            ForDevice(device.instance, [](HDEVINFO set, SP_DEVINFO_DATA* data) {
                EXPECT_EQ(1, EnableDevice(set, data));
            });
    }
}

// Teams that have members on their Properties page, and VLANs that a VLAN page lists.
std::set<std::wstring> RecoveryTest::GuidsInUse() const {
    std::set<std::wstring> guids;
    auto list = std::make_unique<VlanList>();
    auto addVlans = [&] {
        for (int row = 0; row < list->numVlans; row++)
            guids.insert(Print(list->vlanGuids[row]));
    };
    for (int row = 0; row < page->rows(IDC_TEAM_LIST) && row < MAX_TEAMS; row++) {
        const GUID team = g_teamAdapters[row].guid;
        if (page->data()->teams[row].numNics == 0)
            continue;
        guids.insert(Print(team));
        GetVlanListForTeam(&team, list.get());
        addVlans();
    }
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++) {
        GetVlanListForNic(&g_nics[row].guid, list.get());
        addVlans();
    }
    return guids;
}

void RecoveryTest::UninstallStrays() {
    Reopen();
    const std::set<std::wstring> used = GuidsInUse();
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (IsVirtual(device.instance) && !IsPhantom(device) && used.count(device.guid) == 0)
            ForDevice(device.instance, [](HDEVINFO set, SP_DEVINFO_DATA* data) {
                EXPECT_EQ(1, RemoveTeamDetails(set, data)) << GetLastError();
            });
    }
    Reopen();
}

void RecoveryTest::RemoveTeamsWithMembers() {
    std::vector<int> rows;
    for (int row = 0; row < page->rows(IDC_TEAM_LIST); row++)
        rows.push_back(row);
    if (!rows.empty())
        PressRemove(rows);
}

std::set<std::wstring> RecoveryTest::GuidsListed() const {
    std::set<std::wstring> guids;
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++)
        guids.insert(Print(g_nics[row].guid));
    for (const TeamEntry& team : page->data()->teams) {
        for (int member = 0; member < team.numNics; member++)
            guids.insert(Print(team.nicGuids[member]));
    }
    return guids;
}

void RecoveryTest::DeleteRecordsOfMissing() {
    const std::set<std::wstring> listed = GuidsListed();
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (!IsVirtual(device.instance) && listed.count(device.guid) == 0)
            RegistryDeleteTree(std::wstring(kRecords) + L"\\" + device.guid);
    }
    Reopen();
}

void RecoveryTest::DeleteRecordsWithoutVlans() {
    auto list = std::make_unique<VlanList>();
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++) {
        GetVlanListForNic(&g_nics[row].guid, list.get());
        if (list->numVlans == 0)
            RegistryDeleteTree(std::wstring(kRecords) + L"\\" + Print(g_nics[row].guid));
    }
}

void RecoveryTest::TakeOffTeamName(const std::wstring& teamName) {
    const std::wstring prefix = teamName + L":";
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (IsVirtual(device.instance) || !RegistryHas(device.enumPath, L"FriendlyName"))
            continue;
        const std::wstring name = RegistryText(device.enumPath, L"FriendlyName");
        if (name.compare(0, prefix.size(), prefix) == 0)
            RegistrySet(device.enumPath,
                        MachineValue::Text(L"FriendlyName", name.substr(prefix.size())));
    }
    Reopen();
}

void RecoveryTest::PressCreate(const std::vector<int>& rows, const std::wstring& name) {
    Tick(rows);
    page->tick(IDC_ACTIVE_BACKUP);
    page->setText(IDC_TEAM_NAME, name);
    page->command(IDC_CREATE_TEAM);
    PageHost::Pump();
    EXPECT_EQ(text::kHelp, page->text(IDC_STATUS));
}

void RecoveryTest::PressRemove(const std::vector<int>& rows) {
    TickTeams(rows);
    page->command(IDC_REMOVE_TEAM);
    PageHost::Pump();
    EXPECT_EQ(text::kHelp, page->text(IDC_STATUS));
}

void RecoveryTest::AddAndRemoveVlan(bool onTeam) {
    Bench(L"message-box IDOK");
    VlanPageHost vlans(onTeam ? SheetOf{-1, 0} : SheetOf{0, -1});
    EXPECT_TRUE(vlans.enabled(IDC_ADD_VLAN));
    const int rows = vlans.rows();
    vlans.add(L"99", L"Again");
    EXPECT_EQ(rows + 1, vlans.rows());
    std::vector<int> all;
    for (int row = 0; row < vlans.rows(); row++)
        all.push_back(row);
    vlans.remove(all);
    EXPECT_EQ(0, vlans.rows());
}

void RecoveryTest::RestoreVlanHost(bool onTeam) {
    AddAndRemoveVlan(onTeam);
    Reopen();
}

std::set<Recipe> RecoveryTest::Recover(Concerned concerned, const std::wstring& teamName) {
    applied_.clear();
    dump_ = MachineDump();
    Bench(L"message-box IDOK all");
    Apply(Recipe::Enable, [&] { EnableDisabled(); });
    Apply(Recipe::Uninstall, [&] { UninstallStrays(); });
    if (concerned != Concerned::Teams)
        Apply(Recipe::VlanAgain, [&] { RestoreVlanHost(concerned == Concerned::VlansOfTeam); });
    if (concerned == Concerned::VlansOfAdapter) {
        Apply(Recipe::DeleteRecord, [&] { DeleteRecordsWithoutVlans(); });
        return applied_;
    }
    Apply(Recipe::RemoveTeam, [&] { RemoveTeamsWithMembers(); });
    Apply(Recipe::DeleteRecord, [&] { DeleteRecordsOfMissing(); });
    Apply(Recipe::Rename, [&] { TakeOffTeamName(teamName); });
    Apply(Recipe::TeamAgain, [&] {
        PressCreate({0, 1}, L"Again");
        EXPECT_EQ(Texts16{L"Again"}, page->rowTexts(IDC_TEAM_LIST));
        PressRemove({0});
    });
    return applied_;
}
