// Walks over devices of every make.
#include "machine.h"
#include "records_input.h"
#include "targets.h"

#include <setupapi.h>

#include <memory>

#include "device/net_devices.h"
#include "inventory/adapters.h"
#include "inventory/device_path.h"
#include "inventory/tables.h"
#include "team/nic_checks.h"
#include "vlan/vlan_list.h"

static bool Terminated(LPCWSTR text, size_t cch) {
    return FuzzLengthAtMost(text, cch) < cch;
}

static void CheckVlans(const VlanList& list) {
    CHECK(list.numVlans <= MAX_VLANS);
    for (int row = 0; row < MAX_VLANS; row++)
        CHECK(Terminated(list.vlanNames[row], NAME_CCH));
}

// A binding that names the GUID of this number.
static Text BindingOf(DWORD number) {
    GUID guid = GuidOf(number);
    WCHAR text[GUID_CCH];
    PrintGuid(&guid, text);
    Name name = Name(L"\\Device\\") + text;
    Text binding(name.begin(), name.end());
    binding.resize(binding.size() + 2);
    return binding;
}

void FuzzVlanList(Input& input) {
    GUID host = GuidOf(input.below(4));
    DWORD vlan = input.below(4);
    FillRecords(input);
    // A long list of VLANs needs few bytes: one device many times over.
    for (DWORD count = 1 + input.below(6); count > 0; count--) {
        FuzzDevice device = input.chance() ? VlanDevice(input, vlan) : HostileDevice(input);
        for (DWORD copies = 1 + input.below(80); copies > 0 && g_machine.devices.size() < 90;
             copies--)
            g_machine.devices.push_back(device);
    }
    auto list = std::make_unique<VlanList>();
    GetVlanListForTeam(&host, list.get());
    CheckVlans(*list);
    *list = VlanList();
    GetVlanListForNic(&host, list.get());
    CheckVlans(*list);

    Text binding = input.text(100);
    binding.push_back(0);
    binding.shrink_to_fit();
    for (const Text& named : {binding, BindingOf(vlan)}) {
        *list = VlanList();
        CHECK(GetVlanIdForDevices(named.data(), list.get()));
        CheckVlans(*list);
    }
}

// As many characters as the product gives the property, with a watched end.
static void CheckName(HDEVINFO set, SP_DEVINFO_DATA* data, size_t cchName, DWORD cbRead) {
    Text name(cchName, 0xDEAD);
    name.shrink_to_fit();
    BOOL known = ReadDeviceName(set, data, name.data(), cchName, cbRead);
    CHECK(Terminated(name.data(), cchName));
    CHECK(known || name[0] == 0);
}

void FuzzNetDevices(Input& input) {
    auto data = std::make_unique<SheetData>();
    FillRecords(input);
    for (DWORD count = input.below(12); count > 0; count--) {
        FuzzDevice device = HostileDevice(input);
        for (DWORD copies = 1 + input.below(30); copies > 0 && g_machine.devices.size() < 60;
             copies--)
            g_machine.devices.push_back(device);
    }
    g_machine.state = data.get();
    g_machine.versionKnown = input.chance();
    g_machine.version.dwPlatformId = VER_PLATFORM_WIN32_NT;
    g_machine.version.dwMajorVersion = 5;
    g_machine.version.dwMinorVersion = 1;
    g_machine.driverOpens = input.chance();

    memset(g_nics, 0, sizeof(g_nics));
    memset(g_nicDetails, 0, sizeof(g_nicDetails));
    memset(g_teamAdapters, 0, sizeof(g_teamAdapters));
    memset(g_teamAdapterDetails, 0, sizeof(g_teamAdapterDetails));
    CHECK(PopulateGuids(nullptr, POPULATE_LISTS, nullptr) == 1);
    CHECK(g_machine.listedNics <= MAX_NIC_ROWS && g_machine.listedTeams <= MAX_TEAM_ROWS);
    auto checkRow = [](const AdapterEntry& entry, const AdapterDetails& details) {
        CHECK(Terminated(entry.name, NAME_CCH) && Terminated(details.service, NAME_CCH));
        CHECK(Terminated(details.driverDate, NAME_CCH));
        CHECK(Terminated(details.driverVersion, NAME_CCH));
        CHECK(entry.vlans.numVlans == 0);
    };
    for (int row = 0; row < MAX_NIC_ROWS; row++)
        checkRow(g_nics[row], g_nicDetails[row]);
    for (int row = 0; row < MAX_TEAM_ROWS; row++)
        checkRow(g_teamAdapters[row], g_teamAdapterDetails[row]);
    CheckAllClosed();

    GUID guid = GuidOf(input.below(6));
    HDEVINFO set = OpenNetDevices(nullptr);
    NetDevice found;
    for (DWORD kinds : {NET_PHYSICAL, NET_VIRTUAL, NET_ANY}) {
        if (!FindNetAdapter(set, kinds, &guid, &found))
            continue;
        CHECK(found.driverKey != nullptr);
        // The lengths that the product asks with.
        CheckName(set, &found.data, 257, 512);
        CheckName(set, &found.data, 129, 256);
        CheckName(set, &found.data, 262, 522);
        RegCloseKey(found.driverKey);
    }
    SetupDiDestroyDeviceInfoList(set);
    IsQuovaneNic(&g_nics[0]);
    IsWinXPAndOffload(nullptr);

    TeamEntry team = {};
    team.numNics = static_cast<LONG>(input.below(MAX_TEAM_NICS + 1));
    CHECK((ValidateNICs(nullptr, &team) == NICS_VALID) ==
          (g_machine.driverOpens || team.numNics == 0));
}
