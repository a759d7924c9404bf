#include "operations.h"

#include "stage.h"

#include "app/adapter_sheet.h"
#include "app/team_page.h"
#include "harness/ports.h"
#include "include/resource.h"
#include "info/statistics_table.h"
#include "inventory/tables.h"

#include <commctrl.h>
#include <prsht.h>

#include <algorithm>

extern BOOL g_firstTime;

namespace {

const char kBystander[] = "B57A";         // in its GUID, and in a port's path
const char kForeignGuid[] = "{A1000000-"; // of the adapters that Windows brings itself
const wchar_t kBystanderGuid[] = L"-0000-4000-8000-B57A00000000";

// Machines ---------------------------------------------------------------------------------------

void Ports(int count, Machine* machine) {
    LoadWithPorts(kDeployedMachine, count, machine);
}

// Where the version of Windows matters, and where an adapter has a VLAN page.
void SimplePorts(int count, Machine* machine) {
    LoadWithPorts(kSimpleMachine, count, machine);
}

void AddTeam(const wchar_t* name, std::vector<std::wstring> members, Machine* machine) {
    const int number = static_cast<int>(machine->teams.size()) + 1;
    wchar_t guid[64];
    swprintf(guid, 64, L"{B0000000-0000-4000-8000-%012X}", number);
    MachineTeam team;
    team.name = L"team" + std::to_wstring(number);
    team.teamName = name;
    team.slot = static_cast<DWORD>(number - 1);
    team.guid = guid;
    team.members = std::move(members);
    team.address = L"0251560000B" + std::to_wstring(number);
    machine->teams.push_back(team);
}

void AddVlan(const std::wstring& host, DWORD id, const std::wstring& name, Machine* machine) {
    wchar_t guid[64];
    swprintf(guid, 64, L"{C0000000-0000-4000-8000-%012X}", static_cast<int>(id));
    MachineVlan vlan;
    vlan.name = L"vlan" + std::to_wstring(id);
    vlan.host = host;
    vlan.id = id;
    vlan.vlanName = name;
    vlan.guid = guid;
    machine->vlans.push_back(vlan);
}

// A team with a VLAN and a port that no operation is about. Its GUIDs say so.
void AddBystanders(Machine* machine) {
    const MachineAdapter model = *machine->FindAdapter(L"port0");
    for (int number : {0, 1, 2}) {
        MachineAdapter port = model;
        port.name = L"bystander" + std::to_wstring(number);
        port.instance.replace(port.instance.size() - 2, 2, L"B57A" + std::to_wstring(number));
        port.guid = L"{A000000" + std::to_wstring(number) + kBystanderGuid + L"}";
        port.friendlyName = L"Bystander " + std::to_wstring(number);
        machine->adapters.push_back(port);
    }
    AddTeam(L"Bystanders", {L"bystander0", L"bystander1"}, machine);
    machine->teams.back().guid = std::wstring(L"{B0000000") + kBystanderGuid + L"}";
    AddVlan(machine->teams.back().name, 99, L"Bystander", machine);
    machine->vlans.back().guid = std::wstring(L"{C0000000") + kBystanderGuid + L"}";
}

template <void (*Describe)(Machine*)> void WithBystanders(Machine* machine) {
    Describe(machine);
    AddBystanders(machine);
}

template <int Count> void FreePorts(Machine* machine) {
    Ports(Count, machine);
}

// Only a driver for NDIS 6.0 is asked all three questions about offload.
void PortsOfNdis60(Machine* machine) {
    Ports(2, machine);
    for (MachineAdapter& adapter : machine->adapters)
        adapter.answers = StandardAnswers(1, Ndis::v6_0);
}

template <int Count> void PortsWithVlans(Machine* machine) {
    Ports(Count, machine);
    for (int port = 0; port < Count; port++)
        AddVlan(L"port" + std::to_wstring(port), static_cast<DWORD>(10 + port),
                L"V" + std::to_wstring(port), machine);
}

void Windows2003(Machine* machine) {
    SimplePorts(2, machine);
    machine->windows = L"5.2";
    machine->newDev = {L"InstallSelectedDriver", L"UpdateDriverForPlugAndPlayDevicesW"};
}

void NoProtocol(Machine* machine) {
    Ports(2, machine);
    machine->protocolInstalled = false;
}

template <int Vlans> void OneTeam(Machine* machine) {
    Ports(2, machine);
    AddTeam(L"Uplink", {L"port0", L"port1"}, machine);
    for (DWORD vlan = 1; vlan <= Vlans; vlan++)
        AddVlan(L"team1", vlan * 10, std::wstring(1, static_cast<wchar_t>(L'@' + vlan)), machine);
}

void TwoTeams(Machine* machine) {
    Ports(4, machine);
    AddTeam(L"Alpha", {L"port0", L"port1"}, machine);
    AddTeam(L"Beta", {L"port2", L"port3"}, machine);
}

// An adapter has a VLAN page where it cannot be teamed: on 5.1, an artificial answer of the machine.
template <int Vlans> void OnePort(Machine* machine) {
    SimplePorts(1, machine);
    machine->windows = L"5.1";
    machine->newDev = {L"InstallSelectedDriver"};
    machine->adapters[0].values.push_back(MachineValue::Text(L"TCPOffload", L"1"));
    for (DWORD vlan = 1; vlan <= Vlans; vlan++)
        AddVlan(L"port0", vlan * 10, L"V" + std::to_wstring(vlan), machine);
}

void TeamAndPort(Machine* machine) {
    Ports(3, machine);
    AddTeam(L"Uplink", {L"port0", L"port1"}, machine);
    AddVlan(L"team1", 10, L"A", machine);
}

void OffloadOnXp(Machine* machine) {
    std::wstring error;
    if (!MachineLoad(L"xp-offload.txt", machine, &error))
        fprintf(stderr, "%ls\n", error.c_str());
}

// Windows ----------------------------------------------------------------------------------------

// A page that is open already is brought to what it was at first, which takes less time.
void OpenPage(Stage* stage) {
    if (stage->page != nullptr) {
        EnableWindow(stage->page->window(), TRUE);
        EnableWindow(GetAncestor(stage->page->window(), GA_ROOT), TRUE);
        for (int box : {IDC_ACTIVE_BACKUP, IDC_TX_LOAD_BALANCING, IDC_LACP, IDC_FAILBACK})
            stage->page->tick(box, false);
        OnInitDialog(stage->page->window());
        return;
    }
    stage->page = std::make_unique<PageHost>();
    // A repaint updates the buttons: an unseen page makes the same calls in each run.
    ShowWindow(GetParent(stage->page->window()), SW_HIDE);
}

// The first `count` rows that an operation is about.
void TickRows(Stage* stage, int list, int count) {
    int ticked = 0;
    for (int row = 0; row < stage->page->rows(list); row++) {
        const bool tick = ticked < count && (list == IDC_TEAM_LIST || IsPortRow(row));
        stage->page->clickRow(list, row, tick);
        ticked += tick;
    }
}

template <int Count> void OpenToCreate(Stage* stage) {
    OpenPage(stage);
    TickRows(stage, IDC_NIC_LIST, 2); // as somebody does it, so that the boxes can be used
    TickRows(stage, IDC_NIC_LIST, Count);
    stage->page->tick(Count == 2 ? IDC_ACTIVE_BACKUP : IDC_LACP);
}

int Ticked(const PageHost& page, int list) {
    int ticked = 0;
    for (int row = 0; row < page.rows(list); row++)
        ticked += page.rowTicked(list, row);
    return ticked;
}

void PressCreate(Stage* stage) {
    stage->ticked = Ticked(*stage->page, IDC_NIC_LIST);
    stage->page->command(IDC_CREATE_TEAM);
}

template <int Count> void OpenToRemove(Stage* stage) {
    OpenPage(stage);
    TickRows(stage, IDC_TEAM_LIST, Count);
}

void PressRemove(Stage* stage) {
    stage->ticked = Ticked(*stage->page, IDC_TEAM_LIST);
    stage->page->command(IDC_REMOVE_TEAM);
}

// Everybody who tries again ticks first what is listed, and leaves the bystanders alone.
void RemoveAgain(Stage* stage) {
    for (int row = 0; row < stage->page->rows(IDC_TEAM_LIST); row++) {
        wchar_t guid[GUID_CCH];
        StringFromGUID2(g_teamAdapters[row].guid, guid, GUID_CCH);
        stage->page->clickRow(IDC_TEAM_LIST, row, !IsOfBystander(NarrowText(guid)));
    }
    PressRemove(stage);
}

void OpenNothing(Stage* stage) {
    stage->shown.clear();
    g_firstTime = TRUE;
}

void StartProgram(Stage* stage) {
    using Entry = int(WINAPI*)(HINSTANCE, HINSTANCE, LPSTR, int);
    HMODULE core = GetModuleHandleW(L"qvteamcfg_core.dll");
    auto entry = reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(core, "WinMain")));
    static char nothing[] = "";
    WithSheet([&] { entry(core, nullptr, nothing, SW_SHOWNORMAL); },
              [&](HWND sheet) {
                  stage->shown["sheet"] = "open";
                  if (HWND page = PropSheet_GetCurrentPageHwnd(sheet))
                      ReadTeamPage(page, &stage->shown);
              });
}

void StartAgain(Stage* stage) {
    OpenNothing(stage);
    StartProgram(stage);
}

void Refresh(Stage* stage) {
    OnInitDialog(stage->page->window());
}

template <int List> void OpenForProperties(Stage* stage) {
    stage->shown.clear();
    OpenPage(stage);
    TickRows(stage, List, 1);
    for (StatisticsRow& row : g_statistics)
        row.value = 0;
    ResetStatistics();
}

void PressProperties(Stage* stage) {
    WithSheet([&] { stage->page->command(IDC_PROPERTIES); },
              [&](HWND sheet) { VisitPages(sheet, &stage->shown); });
}

void PropertiesAgain(Stage* stage) {
    stage->shown.clear();
    for (StatisticsRow& row : g_statistics)
        row.value = 0;
    ResetStatistics();
    PressProperties(stage);
}

void OpenVlans(Stage* stage, SheetOf host) {
    OpenPage(stage);
    stage->vlans = std::make_unique<VlanPageHost>(host);
    ShowWindow(GetParent(stage->vlans->window()), SW_HIDE);
}

void OpenVlansOfPort(Stage* stage) {
    OpenVlans(stage, {0, -1});
}

void OpenVlansOfTeam(Stage* stage) {
    OpenVlans(stage, {-1, 0});
}

// Nobody can press a button that is disabled. A fact that no outcome allows tells of it.
void PressVlanButton(Stage* stage, int id) {
    if (IsUsable(stage->vlans->control(id)))
        stage->vlans->command(id);
    else
        stage->shown["unusable\\" + std::to_string(id)] = "when it was to be pressed";
}

void AddVlan777(Stage* stage) {
    stage->vlans->owner().play({[](HWND dialog) {
                                    TypeInto(GetDlgItem(dialog, IDC_VLAN_ID), L"777");
                                    TypeInto(GetDlgItem(dialog, IDC_VLAN_NAME), L"New");
                                },
                                [](HWND dialog) { ClickIn(dialog, IDOK); }});
    PressVlanButton(stage, IDC_ADD_VLAN);
}

template <int Row> void RemoveVlan(Stage* stage) {
    stage->vlans->tick({Row});
    stage->ticked = Row < stage->vlans->rows();
    PressVlanButton(stage, IDC_REMOVE_VLAN);
}

} // namespace

const std::vector<Operation>& Operations() {
    static const std::vector<Operation> operations = {
        {"start-up", TeamAndPort, OpenNothing, StartProgram, StartAgain},
        {"refresh", TeamAndPort, OpenPage, Refresh, Refresh},
        {"adapter-properties", FreePorts<2>, OpenForProperties<IDC_NIC_LIST>, PressProperties,
         PropertiesAgain},
        {"adapter-properties-ndis-6", PortsOfNdis60, OpenForProperties<IDC_NIC_LIST>,
         PressProperties, PropertiesAgain},
        {"adapter-properties-xp", OffloadOnXp, OpenForProperties<IDC_NIC_LIST>, PressProperties,
         PropertiesAgain},
        {"team-properties", TeamAndPort, OpenForProperties<IDC_TEAM_LIST>, PressProperties,
         PropertiesAgain},
        {"create-2", WithBystanders<FreePorts<2>>, OpenToCreate<2>, PressCreate, PressCreate},
        {"create-2-vlans", WithBystanders<PortsWithVlans<2>>, OpenToCreate<2>, PressCreate,
         PressCreate},
        {"create-2-windows-2003", Windows2003, OpenToCreate<2>, PressCreate, PressCreate},
        {"create-8", FreePorts<8>, OpenToCreate<8>, PressCreate, PressCreate},
        {"create-8-vlans", PortsWithVlans<8>, OpenToCreate<8>, PressCreate, PressCreate},
        {"install-protocol", NoProtocol, OpenToCreate<2>, PressCreate, PressCreate},
        {"remove-1", WithBystanders<OneTeam<0>>, OpenToRemove<1>, PressRemove, RemoveAgain},
        {"remove-2", TwoTeams, OpenToRemove<2>, PressRemove, RemoveAgain},
        {"remove-vlans", WithBystanders<OneTeam<2>>, OpenToRemove<1>, PressRemove, RemoveAgain},
        {"adapter-add-first-vlan", WithBystanders<OnePort<0>>, OpenVlansOfPort, AddVlan777,
         AddVlan777},
        {"adapter-add-second-vlan", WithBystanders<OnePort<1>>, OpenVlansOfPort, AddVlan777,
         AddVlan777},
        {"adapter-add-last-vlan", OnePort<63>, OpenVlansOfPort, AddVlan777, AddVlan777},
        {"adapter-remove-first-vlan", WithBystanders<OnePort<3>>, OpenVlansOfPort, RemoveVlan<0>,
         RemoveVlan<0>},
        {"adapter-remove-second-vlan", WithBystanders<OnePort<3>>, OpenVlansOfPort, RemoveVlan<1>,
         RemoveVlan<1>},
        {"adapter-remove-last-vlan", WithBystanders<OnePort<1>>, OpenVlansOfPort, RemoveVlan<0>,
         RemoveVlan<0>},
        {"team-add-first-vlan", WithBystanders<OneTeam<0>>, OpenVlansOfTeam, AddVlan777,
         AddVlan777},
        {"team-add-second-vlan", WithBystanders<OneTeam<1>>, OpenVlansOfTeam, AddVlan777,
         AddVlan777},
        {"team-add-last-vlan", OneTeam<63>, OpenVlansOfTeam, AddVlan777, AddVlan777},
        {"team-remove-first-vlan", WithBystanders<OneTeam<3>>, OpenVlansOfTeam, RemoveVlan<0>,
         RemoveVlan<0>},
        {"team-remove-second-vlan", WithBystanders<OneTeam<3>>, OpenVlansOfTeam, RemoveVlan<1>,
         RemoveVlan<1>},
        {"team-remove-last-vlan", WithBystanders<OneTeam<1>>, OpenVlansOfTeam, RemoveVlan<0>,
         RemoveVlan<0>},
    };
    return operations;
}

const Operation* FindOperation(const std::string& name) {
    for (const Operation& operation : Operations()) {
        if (name == operation.name)
            return &operation;
    }
    return nullptr;
}

bool ReadsListsAnew(const std::string& operation) {
    return operation == "start-up" || operation == "refresh" ||
           operation.find("-properties") != operation.npos;
}

bool IsUsable(HWND control) {
    for (HWND window = control; window != nullptr; window = GetAncestor(window, GA_PARENT)) {
        if (!IsWindowEnabled(window))
            return false;
    }
    return true;
}

bool IsOfBystander(const std::string& path) {
    const auto isBelow = [&](const char* parent) { return path.rfind(parent, 0) == 0; };
    return path.find(kBystander) != path.npos || path.find(kForeignGuid) != path.npos ||
           (isBelow("device\\") && !isBelow("device\\PCI\\") && !isBelow("device\\ROOT\\NET\\"));
}

Facts ShownFacts(const Stage& stage) {
    Facts shown = stage.shown;
    if (stage.page != nullptr)
        ReadTeamPage(stage.page->window(), &shown);
    if (stage.vlans != nullptr) {
        for (int row = 0; row < stage.vlans->rows(); row++)
            shown["vlans\\" + NarrowText(stage.vlans->cell(row, 1))] =
                NarrowText(stage.vlans->cell(row, 0));
        shown["vlans\\count"] = std::to_string(stage.vlans->list()->numVlans);
        for (int id : {IDC_ADD_VLAN, IDC_REMOVE_VLAN})
            shown["vlans\\button\\" + std::to_string(id)] =
                stage.vlans->enabled(id) ? "enabled" : "disabled";
    }
    return shown;
}

std::string NarrowText(const std::wstring& text) {
    std::string narrow;
    for (wchar_t c : text)
        narrow += c == L'\r' || c == L'\n' || c == L'\t' ? ' '
                  : c < 0x80                             ? static_cast<char>(c)
                                                         : '?';
    return narrow;
}
