#include "sweep/recovery.h"

#include "device/device_state.h"
#include "harness/vlan_host.h"
#include "team/nic_checks.h"
#include "vlan/vlan_list.h"

#include <algorithm>
#include <devguid.h>

static const wchar_t kRecords[] =
    L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters";

// Take() does these.
const std::vector<StepText> kSteps = {
    {"An adapter, a team or a VLAN is disabled in Device Manager", "Enable it there"},
    {"Device Manager shows a team's or a VLAN's adapter that belongs to nothing (see below)",
     "Uninstall it there"},
    {"A team or an adapter has no VLANs on its VLAN page, and yet no network",
     "Add a VLAN there and remove it again"},
    {"The VLAN that was being added is on the VLAN page",
     "Remove it there; then it can be added again"},
    {"The team is under \"Teamed Adapters\" and its Properties list adapters",
     "Remove it with the program"},
    {"An adapter is in neither list and in no team's Properties; or it has a record, but neither "
     "team nor VLANs",
     "Delete its record in Registry Editor"},
    {"An adapter under \"Unassigned Adapters\" is called \"*team*:*name*\"",
     "Take the team's name and the colon off in Registry Editor"},
    {"All adapters are under \"Unassigned Adapters\", but one has no network, is missing among the "
     "network connections or has a team's address",
     "Create a team of it and another one, and remove that team again"},
};

const std::vector<Interruption> kInterruptions = {
    {"creating the first team: the teaming protocol is installed",
     "nothing has changed",
     {},
     Promise::Before},
    {"creating a team: VLANs are taken off its adapters",
     "all adapters are in \"Unassigned Adapters\"",
     {Step::Uninstall, Step::TeamAgain},
     Promise::Bare},
    {"creating a team: its adapters are taken off their protocols",
     "all adapters are in \"Unassigned Adapters\"",
     {Step::TeamAgain},
     Promise::Bare},
    {"then the records are begun",
     "an adapter, then another one, is in neither list",
     {Step::DeleteRecord, Step::TeamAgain},
     Promise::Bare},
    {"then the team's adapter is installed",
     "its adapters in neither list; the team perhaps under \"Teamed Adapters\", without adapters",
     {Step::Uninstall, Step::DeleteRecord, Step::TeamAgain},
     Promise::Bare},
    {"then the team is put together",
     "the team is there, perhaps disabled or with some of its adapters only",
     {Step::RemoveTeam, Step::DeleteRecord, Step::TeamAgain},
     Promise::Bare},
    {"removing a team: its VLANs first",
     "the team is there, perhaps a VLAN less",
     {Step::Uninstall, Step::RemoveTeam},
     Promise::Bare},
    {"then the team's adapter has gone",
     "its adapters are in neither list",
     {Step::DeleteRecord, Step::Rename, Step::TeamAgain},
     Promise::Bare},
    {"then one adapter after the other is released",
     "some adapters are back, perhaps with the team's name or disabled",
     {Step::Enable, Step::DeleteRecord, Step::Rename, Step::TeamAgain},
     Promise::Bare},
    {"removing several teams at once",
     "each team as in the three lines above, or as it was, or gone",
     {Step::Enable, Step::Uninstall, Step::RemoveTeam, Step::DeleteRecord, Step::Rename,
      Step::TeamAgain},
     Promise::Bare},
    {"adding the first VLAN: the host is taken off its protocols",
     "no VLAN; the host perhaps disabled",
     {Step::Enable, Step::VlanAgain},
     Promise::Before},
    {"then the VLAN's adapter is installed on a team",
     "no VLAN; perhaps a name under \"Teamed Adapters\", without adapters",
     {Step::Uninstall, Step::VlanAgain},
     Promise::Before},
    {"then the VLAN's adapter is installed on an adapter",
     "the same",
     {Step::Uninstall, Step::VlanAgain, Step::DeleteRecord},
     Promise::Before},
    {"adding a further VLAN: its adapter is installed",
     "the other VLANs; perhaps such a name",
     {Step::Uninstall},
     Promise::Before},
    {"adding any VLAN: it has its id and its name",
     "the new VLAN is listed; its adapter perhaps disabled",
     {Step::RemoveVlan},
     Promise::Before},
    {"removing a VLAN, not the last one",
     "the others; its adapter perhaps still in Device Manager",
     {Step::Uninstall},
     Promise::After},
    {"removing the last VLAN",
     "no VLAN; its adapter is still in Device Manager",
     {Step::Uninstall, Step::VlanAgain},
     Promise::After},
    {"then the host gets its protocols back",
     "no VLAN; the host perhaps disabled",
     {Step::Enable, Step::VlanAgain},
     Promise::After},
};

static bool IsVirtual(const std::wstring& instance) {
    return _wcsnicmp(instance.c_str(), L"ROOT\\NET\\", 9) == 0;
}

// Never registered, or not present: Device Manager shows it among hidden devices only.
static bool IsPhantom(const qvmachine::FoundDevice& device) {
    return RegistryHas(device.enumPath, L"Phantom") ||
           RegistryHas(qvmachine::BenchDevicePath(device.instance), L"Present");
}

static bool IsDisabled(const qvmachine::FoundDevice& device) {
    const std::wstring bench = qvmachine::BenchDevicePath(device.instance);
    return RegistryHas(bench, L"Disabled") && RegistryNumber(bench, L"Disabled") != 0;
}

static std::wstring Print(const GUID& guid) {
    wchar_t text[64];
    StringFromGUID2(guid, text, 64);
    return text;
}

static std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};
}

// As the Device Manager shows it.
static std::wstring NameOf(const qvmachine::FoundDevice& device) {
    const wchar_t* value =
        RegistryHas(device.enumPath, L"FriendlyName") ? L"FriendlyName" : L"DeviceDesc";
    return RegistryHas(device.enumPath, value) ? RegistryText(device.enumPath, value) : L"";
}

static std::wstring Joined(const Texts16& texts) {
    std::wstring joined;
    for (const std::wstring& text : texts)
        joined += (joined.empty() ? L"" : L", ") + text;
    return joined;
}

std::wstring Look::text() const {
    std::wstring text = Joined(adapters) + (adapters.empty() ? L"|" : L" |");
    text += (teams.empty() ? L"" : L" ") + Joined(teams);
    if (!disabled.empty())
        text += L"; off: " + Joined(disabled);
    return strays.empty() ? text : text + L"; left: " + Joined(strays);
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

static Texts16 ReadVlans(const GUID& host, bool isTeam, std::set<std::wstring>* guids = nullptr,
                         std::wstring* ids = nullptr) {
    static auto list = std::make_unique<VlanList>();
    if (isTeam)
        GetVlanListForTeam(&host, list.get());
    else
        GetVlanListForNic(&host, list.get());
    Texts16 names;
    for (int row = 0; row < list->numVlans; row++) {
        names.push_back(list->vlanNames[row]);
        if (guids != nullptr)
            guids->insert(Print(list->vlanGuids[row]));
        if (ids != nullptr)
            *ids += L" +" + std::to_wstring(list->vlanIds[row]);
    }
    return names;
}

void RecoveryTest::SetUp() {
    RestartTest::SetUp();
    Bench(L"message-box IDOK all");
}

Look RecoveryTest::LookAround() {
    Reopen();
    Look look;
    const bool adaptersHaveVlans = IsWinXPAndOffload(page->window()) != 0;
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++) {
        if (IsInboxRow(row))
            continue;
        std::wstring vlans;
        if (adaptersHaveVlans)
            ReadVlans(g_nics[row].guid, false, nullptr, &vlans);
        look.adapters.push_back(page->rowText(IDC_NIC_LIST, row) + vlans);
    }
    for (int row = 0; row < page->rows(IDC_TEAM_LIST) && row < MAX_TEAMS; row++) {
        std::wstring vlans;
        ReadVlans(g_teamAdapters[row].guid, true, nullptr, &vlans);
        look.teams.push_back(page->rowText(IDC_TEAM_LIST, row) + L" (" +
                             std::to_wstring(page->data()->teams[row].numNics) + L")" + vlans);
    }
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (IsDisabled(device))
            look.disabled.push_back(NameOf(device));
    }
    for (const auto& device : Strays()) {
        if (RowOf(IDC_TEAM_LIST, device.guid) < 0)
            look.strays.push_back(device.guid.empty() ? L"no driver" : NameOf(device));
    }
    return look;
}

void RecoveryTest::Begin() {
    refused_.clear();
    Reopen();
}

bool RecoveryTest::Expect(bool done, const std::string& what) {
    if (!done)
        refused_.push_back("refused: " + what);
    return done;
}

bool RecoveryTest::IsTeam(const std::wstring& host) const {
    return machine.FindTeam(host) != nullptr;
}

std::wstring RecoveryTest::GuidOf(const std::wstring& section) const {
    return IsTeam(section) ? machine.FindTeam(section)->guid : machine.FindAdapter(section)->guid;
}

int RecoveryTest::RowOf(int list, const std::wstring& guid) const {
    const AdapterEntry* entries = list == IDC_NIC_LIST ? g_nics : g_teamAdapters;
    for (int row = 0; row < page->rows(list); row++) {
        if (Print(entries[row].guid) == guid)
            return row;
    }
    return -1;
}

void RecoveryTest::EnableDisabled() {
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (IsDisabled(device))
            ForDevice(device.instance, [](HDEVINFO set, SP_DEVINFO_DATA* data) {
                EXPECT_EQ(1, EnableDevice(set, data));
            });
    }
}

// Teams that have members on their Properties page, and VLANs that a VLAN page lists.
std::set<std::wstring> RecoveryTest::GuidsInUse() const {
    std::set<std::wstring> guids;
    for (int row = 0; row < page->rows(IDC_TEAM_LIST) && row < MAX_TEAMS; row++) {
        if (page->data()->teams[row].numNics == 0)
            continue;
        guids.insert(Print(g_teamAdapters[row].guid));
        ReadVlans(g_teamAdapters[row].guid, true, &guids);
    }
    if (IsWinXPAndOffload(page->window())) {
        for (int row = 0; row < page->rows(IDC_NIC_LIST); row++)
            ReadVlans(g_nics[row].guid, false, &guids);
    }
    return guids;
}

std::vector<qvmachine::FoundDevice> RecoveryTest::Strays() const {
    const std::set<std::wstring> used = GuidsInUse();
    std::vector<qvmachine::FoundDevice> strays;
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (IsVirtual(device.instance) && !IsPhantom(device) && used.count(device.guid) == 0)
            strays.push_back(device);
    }
    return strays;
}

void RecoveryTest::UninstallStrays() {
    for (const auto& device : Strays())
        ForDevice(device.instance, [](HDEVINFO set, SP_DEVINFO_DATA* data) {
            EXPECT_EQ(1, RemoveTeamDetails(set, data)) << GetLastError();
        });
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

// Of adapters that are listed nowhere, and of those that are in no team and have no VLANs.
void RecoveryTest::DeleteRecords() {
    std::set<std::wstring> used = GuidsListed();
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++) {
        if (ReadVlans(g_nics[row].guid, false).empty())
            used.erase(Print(g_nics[row].guid));
    }
    for (const auto& device : qvmachine::FindNetDevices()) {
        if (!IsVirtual(device.instance) && used.count(device.guid) == 0)
            RegistryDeleteTree(std::wstring(kRecords) + L"\\" + device.guid);
    }
}

void RecoveryTest::TakeOffTeamName(const std::wstring& team) {
    const std::wstring prefix = team + L":";
    for (const auto& device : qvmachine::FindNetDevices()) {
        const std::wstring name = NameOf(device);
        if (!IsVirtual(device.instance) && name.compare(0, prefix.size(), prefix) == 0)
            RegistrySet(device.enumPath,
                        MachineValue::Text(L"FriendlyName", name.substr(prefix.size())));
    }
}

void RecoveryTest::PressCreate(const Texts16& members, const std::wstring& name) {
    std::vector<int> rows;
    for (const std::wstring& member : members) {
        rows.push_back(RowOf(IDC_NIC_LIST, GuidOf(member)));
        Expect(rows.back() >= 0, Narrow(member) + " cannot be ticked");
    }
    Tick(rows);
    page->tick(IDC_ACTIVE_BACKUP);
    page->setText(IDC_TEAM_NAME, name);
    page->command(IDC_CREATE_TEAM);
    PageHost::Pump();
    const Texts16 teams = page->rowTexts(IDC_TEAM_LIST);
    Expect(std::find(teams.begin(), teams.end(), name) != teams.end(),
           "no team " + Narrow(name) + ": " + Narrow(page->text(IDC_STATUS)));
}

void RecoveryTest::PressRemove(const std::wstring& team) {
    const Texts16 teams = page->rowTexts(IDC_TEAM_LIST);
    std::vector<int> rows;
    for (size_t row = 0; row < teams.size(); row++) {
        if (teams[row] == team && row < MAX_TEAMS && page->data()->teams[row].numNics != 0)
            rows.push_back(static_cast<int>(row));
    }
    if (rows.empty())
        return;
    TickTeams(rows);
    page->command(IDC_REMOVE_TEAM);
    PageHost::Pump();
    Expect(page->text(IDC_STATUS) == text::kHelp,
           Narrow(team) + " stays: " + Narrow(page->text(IDC_STATUS)));
}

Texts16 RecoveryTest::VlansOf(const std::wstring& host) const {
    return ReadVlans(Guid(GuidOf(host)), IsTeam(host));
}

bool RecoveryTest::PressAddVlan(const std::wstring& host, const std::wstring& id,
                                const std::wstring& name) {
    const int row = RowOf(IsTeam(host) ? IDC_TEAM_LIST : IDC_NIC_LIST, GuidOf(host));
    if (!Expect(row >= 0, Narrow(host) + " is not listed"))
        return false;
    VlanPageHost vlans(IsTeam(host) ? SheetOf{-1, row} : SheetOf{row, -1});
    if (!Expect(vlans.enabled(IDC_ADD_VLAN), "\"Add\" of " + Narrow(host)))
        return false;
    const int before = vlans.rows();
    vlans.add(id, name);
    return Expect(vlans.rows() == before + 1, "VLAN " + Narrow(name));
}

void RecoveryTest::PressRemoveVlans(const std::wstring& host, const Texts16& names) {
    const int row = RowOf(IsTeam(host) ? IDC_TEAM_LIST : IDC_NIC_LIST, GuidOf(host));
    if (row < 0)
        return;
    VlanPageHost vlans(IsTeam(host) ? SheetOf{-1, row} : SheetOf{row, -1});
    std::vector<int> rows;
    for (int vlan = 0; vlan < vlans.rows(); vlan++) {
        if (std::find(names.begin(), names.end(), vlans.cell(vlan, 0)) != names.end())
            rows.push_back(vlan);
    }
    if (rows.empty())
        return;
    if (!Expect(vlans.enabled(IDC_REMOVE_VLAN), "\"Remove\" of " + Narrow(host)))
        return;
    const int before = vlans.rows();
    vlans.remove(rows);
    Expect(vlans.rows() == before - static_cast<int>(rows.size()), "VLANs stay");
}

void RecoveryTest::Take(Step step, const Operation& operation) {
    switch (step) {
    case Step::Enable:
        EnableDisabled();
        break;
    case Step::Uninstall:
        UninstallStrays();
        break;
    case Step::VlanAgain:
        if (VlansOf(operation.vlanHost).empty()) {
            PressAddVlan(operation.vlanHost, L"99", L"Again");
            PressRemoveVlans(operation.vlanHost, {L"Again"});
        }
        break;
    case Step::RemoveVlan:
        PressRemoveVlans(operation.vlanHost, {operation.newVlan});
        break;
    case Step::RemoveTeam:
        for (const std::wstring& team : operation.teams)
            PressRemove(team);
        break;
    case Step::DeleteRecord:
        DeleteRecords();
        break;
    case Step::Rename:
        for (const std::wstring& team : operation.teams)
            TakeOffTeamName(team);
        break;
    case Step::TeamAgain:
        for (const Texts16& members : operation.members) {
            PressCreate(members, L"Again");
            PressRemove(L"Again");
        }
        break;
    }
    Reopen();
}

// What Windows keeps, as the document says: the connection of an adapter that was uninstalled by
// hand, below a key that is empty otherwise, and the entry of a device that was not registered yet.
static bool StaysWithWindows(const std::string& fact) {
    if (fact.find("- network\\{") == 0)
        return fact.find("} = key") != std::string::npos;
    if (fact.find("+ network\\{") == 0)
        return fact.find("\\Connection\\") != std::string::npos;
    const std::string entry = "+ device\\ROOT\\NET\\";
    if (fact.find(entry) != 0)
        return false;
    const std::string id = fact.substr(entry.size(), 4);
    return RegistryHas(L"System\\CurrentControlSet\\Enum\\ROOT\\NET\\" +
                           std::wstring(id.begin(), id.end()),
                       L"Phantom");
}

// Of a fact's list of device names, those whose adapter is there.
static std::string LiveVlans(const std::string& fact, const std::set<std::string>& guids) {
    std::string live;
    const size_t end = fact.rfind('"');
    for (size_t at = fact.find('"') + 1; at < end;) {
        const size_t bar = std::min(fact.find('|', at), end);
        const std::string name = fact.substr(at, bar - at);
        if (guids.count(name.substr(name.rfind('\\') + 1)) != 0)
            live += name + "|";
        at = bar + 1;
    }
    return live;
}

// A record may keep the entry of a VLAN whose adapter was uninstalled; how many bytes the list has
// beside its entries depends on how often one was taken out of it.
Texts8 RecoveryTest::WithoutDeadVlans(const Texts8& facts) const {
    std::set<std::string> guids;
    for (const auto& device : qvmachine::FindNetDevices())
        guids.insert(Narrow(Short(device.guid)));
    std::map<std::string, std::array<std::string, 2>> lists; // by path: what goes, what comes
    for (const std::string& fact : facts) {
        const size_t path = fact.find("\\VlanBinding = ");
        if (path != std::string::npos)
            lists[fact.substr(2, path - 2)][fact[0] == '+'] = LiveVlans(fact, guids);
    }
    Texts8 left;
    for (const std::string& fact : facts) {
        const size_t path = fact.find("\\VlanBinding = ");
        if (path != std::string::npos) {
            const auto& [gone, come] = lists[fact.substr(2, path - 2)];
            if (gone == come)
                continue;
        }
        left.push_back(fact);
    }
    return left;
}

Texts8 RecoveryTest::NotSound(const std::string& dump) {
    Texts8 facts = refused_;
    ComeBackTo(dump);
    for (const std::string& fact : WithoutDeadVlans(NotBack())) {
        if (!StaysWithWindows(fact))
            facts.push_back(fact);
    }
    return facts;
}
