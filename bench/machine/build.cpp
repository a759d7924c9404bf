// From a description to registry, devices and files. What a program would have left (teams, VLANs)
// is written byte for byte as the program writes it, odd sizes included.
#include "machine.h"

#include "../driver/qvnic_ioctl.h"
#include "adapter_bindings.h"
#include "device_start.h"
#include "devices.h"
#include "driver_control.h"
#include "files.h"
#include "layout.h"
#include "live.h"
#include "registry.h"
#include "text.h"

#include <netcfgx.h>

#include <algorithm>
#include <stdexcept>

using namespace qvmachine;

namespace {

// Bytes of a friendly name as the installation of a virtual adapter and as the naming of a member
// store it.
constexpr size_t kInstalledNameBytes = 256;
constexpr size_t kMemberNameBytes = 512;
constexpr DWORD kVlanHostTeamNumber = 16;
// Counts the answers of virtual adapters that are still to come.
constexpr unsigned kNewAdapterNumber = 0;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void Fail(const std::string& what, DWORD error) {
    throw Failure(what + ": error " + Narrow(Hex(error)));
}

class Builder {
  public:
    explicit Builder(const Machine& machine) : machine_(machine) {
    }
    void Build();

  private:
    // A device as it will be created, and its bench data: teams and VLANs change those of their
    // members first.
    struct Planned {
        NetDevice device;
        std::wstring guid;
        std::wstring displayName; // friendly name or description
        DWORD characteristics = 0;
        bool hasCharacteristics = false;
        DWORD installState = 0;
        DWORD flags = 0;
        DWORD disabled = 0;
        bool opens = true;
        bool present = true;
        bool phantom = false;
        bool stops = true;
        bool unbound = false; // paths that do not lead to the teaming protocol are switched off
        OidAnswers answers;
        std::optional<DWORD> answersLeft;
        std::optional<DWORD> unknownOid;
        bool needsHeaderSize = false;
        std::wstring hostInterface;
    };

    void PlanAdapter(const MachineAdapter& adapter);
    void PlanTeam(const MachineTeam& team);
    void PlanVlan(const MachineVlan& vlan);
    Planned& PlanVirtual(const std::wstring& section, const std::wstring& guid,
                         const std::wstring& friendlyName, const std::wstring& address,
                         const std::wstring& instance);
    Planned& Of(const std::wstring& section);
    std::wstring NextInstance();
    void Hide(const std::wstring& section);
    void AddVlanBinding(const std::wstring& hostGuid, const std::wstring& vlanGuid);

    void WriteMachineKey() const;
    void WriteServices() const;
    void WriteDevice(const std::wstring& section, const Planned& planned) const;
    void WriteConnection(const Planned& planned, unsigned number) const;
    void WriteInfs() const;
    void WriteNetworkConfiguration() const;
    std::optional<bool> StateOfPath(const NetCfgPath& path, const NetCfgComponent& owner) const;
    void WriteExtraKeys() const;

    const Machine& machine_;
    std::vector<std::wstring> order_; // sections in the order of planning
    std::map<std::wstring, Planned> planned_;
    std::map<std::wstring, std::vector<MachineValue>> records_; // by adapter GUID
    std::vector<std::wstring> instances_;                       // upper case, in use
};

MachineValue* FindValue(std::vector<MachineValue>* values, const std::wstring& name) {
    for (auto& value : *values) {
        if (SameText(value.name, name)) {
            return &value;
        }
    }
    return nullptr;
}

void Replace(std::vector<MachineValue>* values, const MachineValue& value) {
    if (MachineValue* found = FindValue(values, value.name)) {
        *found = value;
    } else {
        values->push_back(value);
    }
}

// PCI\VEN_5156&DEV_0101&SUBSYS_...&REV_01\3&... has the two ids that a bus gives: with and without
// the subsystem.
std::vector<std::wstring> IdsFromInstance(const std::wstring& instance) {
    const std::wstring full = instance.substr(0, instance.rfind(L'\\'));
    const size_t subsystem = full.find(L"&SUBSYS_");
    if (subsystem == std::wstring::npos) {
        return {full};
    }
    return {full, full.substr(0, subsystem)};
}

void Builder::PlanAdapter(const MachineAdapter& adapter) {
    Planned planned;
    NetDevice& device = planned.device;
    device.instance = adapter.instance;
    device.hardwareIds =
        adapter.hardwareIds.empty() ? IdsFromInstance(adapter.instance) : adapter.hardwareIds;
    device.description = adapter.description;
    if (adapter.friendlyName) {
        device.friendlyName = MachineValue::Text(L"", *adapter.friendlyName);
    }
    device.service = adapter.service;
    device.driverKey = adapter.driverKey;
    device.driverValues = adapter.values;
    device.ranges = RangesOf(adapter, device.hardwareIds);
    if (!adapter.guid.empty()) {
        device.driverValues.push_back(MachineValue::Text(L"NetCfgInstanceId", adapter.guid));
    }
    if (adapter.provider) {
        device.driverValues.push_back(MachineValue::Text(L"ProviderName", *adapter.provider));
    }
    if (adapter.description) {
        device.driverValues.push_back(MachineValue::Text(L"DriverDesc", *adapter.description));
    }
    planned.guid = adapter.guid;
    planned.displayName = adapter.friendlyName.value_or(adapter.description.value_or(L""));
    planned.hasCharacteristics = adapter.characteristics.has_value();
    planned.characteristics = adapter.characteristics.value_or(0);
    planned.installState = adapter.installState;
    planned.flags = adapter.flags;
    planned.disabled = adapter.disabled;
    planned.opens = adapter.opens;
    planned.present = adapter.present;
    planned.phantom = adapter.phantom;
    planned.stops = adapter.stops;
    planned.answers = adapter.answers;
    planned.answersLeft = adapter.answersLeft;
    planned.unknownOid = adapter.unknownOid;
    planned.needsHeaderSize = adapter.needsHeaderSize;
    planned.hostInterface = adapter.hostInterface;
    order_.push_back(adapter.name);
    planned_[adapter.name] = planned;
}

Builder::Planned& Builder::Of(const std::wstring& section) {
    const auto found = planned_.find(section);
    if (found == planned_.end()) {
        throw Failure("no adapter or team " + Narrow(section));
    }
    return found->second;
}

std::wstring Builder::NextInstance() {
    for (unsigned number = 0;; number++) {
        wchar_t instance[20];
        swprintf(instance, ARRAYSIZE(instance), L"ROOT\\NET\\%04u", number);
        if (std::find(instances_.begin(), instances_.end(), instance) == instances_.end()) {
            return instance;
        }
    }
}

Builder::Planned& Builder::PlanVirtual(const std::wstring& section, const std::wstring& guid,
                                       const std::wstring& friendlyName,
                                       const std::wstring& address, const std::wstring& instance) {
    Planned& planned = planned_[section];
    order_.push_back(section);
    planned.guid = guid;
    planned.displayName = friendlyName;
    planned.hasCharacteristics = true;
    planned.characteristics = NCF_VIRTUAL;

    NetDevice& device = planned.device;
    device.instance = instance.empty() ? NextInstance() : instance;
    instances_.push_back(Upper(device.instance));
    device.hardwareIds = {layout::kMiniportHardwareId};
    device.description = layout::kMiniportDescription;
    device.friendlyName = MachineValue::SizedText(L"", friendlyName, kInstalledNameBytes);
    device.service = layout::kMiniportService;
    device.ranges = RangesOf({}, device.hardwareIds);
    device.driverValues = {
        MachineValue::Text(L"NetCfgInstanceId", guid),
        MachineValue::Text(L"DriverDesc", layout::kMiniportDescription),
        MachineValue::Text(L"ProviderName", layout::kProvider),
        MachineValue::Text(L"DriverDate", L"3-14-2009"),
        MachineValue::Text(L"DriverVersion", L"1.0.0.0"),
    };
    if (!address.empty()) {
        device.driverValues.push_back(MachineValue::Text(L"NetworkAddress", address));
    }
    return planned;
}

void Builder::Hide(const std::wstring& section) {
    Planned& planned = Of(section);
    planned.characteristics |= NCF_HIDDEN;
    planned.unbound = true;
}

void Builder::PlanTeam(const MachineTeam& team) {
    Planned& planned =
        PlanVirtual(team.name, team.guid, team.teamName, team.address, team.instance);
    planned.opens = team.opens;
    planned.phantom = team.phantom;
    planned.stops = team.stops;
    planned.answers = team.answers;
    const DWORD count = static_cast<DWORD>(team.members.size());
    const DWORD teamNumber = team.mode << 8 | count << 4 | team.slot;
    for (DWORD i = 0; i < count; i++) {
        Planned& member = Of(team.members[i]);
        records_[member.guid] = {
            MachineValue::Number(L"TeamNumber", teamNumber),
            MachineValue::Text(L"TeamBinding", L"\\Device\\" + team.guid),
            MachineValue::Number(L"Order", team.order.empty() ? i : team.order[i]),
        };
        member.unbound = true;
        if (team.address.empty()) {
            continue; // the program stops here when the team's driver has not published its address
        }
        Replace(&member.device.driverValues, MachineValue::Text(L"NetworkAddress", team.address));
        member.displayName = team.teamName + L":" + member.displayName;
        member.device.friendlyName =
            MachineValue::SizedText(L"", member.displayName, kMemberNameBytes);
        Hide(team.members[i]);
    }
}

// Newest first, in front of the bytes that are there; the list's own terminator comes with the
// first entry.
void Builder::AddVlanBinding(const std::wstring& hostGuid, const std::wstring& vlanGuid) {
    auto& values = records_[hostGuid];
    const MachineValue* old = FindValue(&values, L"VlanBinding");
    MachineValue value = MachineValue::Text(L"VlanBinding", L"\\Device\\" + vlanGuid);
    value.type = REG_MULTI_SZ;
    const std::vector<BYTE> rest = old ? old->data : std::vector<BYTE>(sizeof(wchar_t));
    value.data.insert(value.data.end(), rest.begin(), rest.end());
    Replace(&values, value);
}

void Builder::PlanVlan(const MachineVlan& vlan) {
    const Planned host = Of(vlan.host);
    const std::wstring name = host.displayName + L" - " + vlan.vlanName.value_or(L"");
    Planned& planned = PlanVirtual(vlan.name, vlan.guid, name, vlan.address, vlan.instance);
    planned.opens = vlan.opens;
    planned.phantom = vlan.phantom;
    planned.stops = vlan.stops;
    planned.answers = vlan.answers;
    planned.device.driverValues.push_back(MachineValue::Number(L"VlanID", vlan.id));
    if (vlan.vlanName) {
        planned.device.driverValues.push_back(MachineValue::Text(L"VlanName", *vlan.vlanName));
    }
    Hide(vlan.host);
    if (const MachineTeam* team = machine_.FindTeam(vlan.host)) {
        for (const auto& member : team->members) {
            AddVlanBinding(Of(member).guid, vlan.guid);
        }
        return;
    }
    Replace(&records_[host.guid], MachineValue::Number(L"TeamNumber", kVlanHostTeamNumber));
    Replace(&records_[host.guid], MachineValue::Number(L"Order", 0));
    AddVlanBinding(host.guid, vlan.guid);
}

// Below an adapter's data, or below the machine's for the virtual adapters that are still to come.
void WriteAnswers(const std::wstring& path, const OidAnswers& answers) {
    const Key key = Key::Create(path + L"\\" QVNIC_ANSWERS);
    if (!key) {
        Fail(Narrow(path), ERROR_CANTWRITE);
    }
    for (const auto& [oid, answer] : answers) {
        WriteAnswer(path, oid, answer);
    }
}

void Builder::WriteMachineKey() const {
    const Key key = Key::Create(layout::kMachine);
    key.Set(L"Windows", machine_.windows);
    key.Set(L"Product", machine_.product);
    key.Set(MachineValue::MultiText(L"ProcessList", machine_.processList));
    key.Set(L"Administrator", machine_.administrator);
    key.Set(MachineValue::MultiText(L"NewDev", machine_.newDev));
    key.Set(L"TeamAddress", machine_.teamAddress);
    key.Set(L"TeamAddressText", machine_.teamAddressText);
    key.Set(L"TeamStops", machine_.teamStops);
    key.Set(L"NextVirtual", machine_.nextVirtual);
    if (machine_.teamFlags != 0) {
        key.Set(L"TeamFlags", machine_.teamFlags);
    }
    key.Set(L"HardwareProfiles", machine_.hardwareProfiles);
    key.Set(L"InstallNeedsLock", machine_.installNeedsLock);
    if (!machine_.lockHolder.empty()) {
        key.Set(L"LockHolder", machine_.lockHolder);
        key.Set(L"LockSeconds", machine_.lockSeconds);
    }
    key.Set(QVNIC_UNTRANSLATED_ERRORS, machine_.untranslatedErrors);
    WriteAnswers(layout::kMachine,
                 StandardAnswers(kNewAdapterNumber, NdisOfWindows(machine_.windows)));
}

// A driver's service as far as a program reads it.
void WriteDriverService(const std::wstring& name, const std::wstring& displayName) {
    bool isNew = false;
    const Key key = Key::Create(std::wstring(layout::kServices) + L"\\" + name, &isNew);
    if (isNew) {
        key.Set(L"Type", SERVICE_KERNEL_DRIVER);
        key.Set(L"Start", SERVICE_DEMAND_START);
        key.Set(L"ErrorControl", SERVICE_ERROR_NORMAL);
        key.Set(L"ImagePath", L"\\SystemRoot\\system32\\drivers\\" + name + L".sys");
        key.Set(L"DisplayName", displayName);
    }
}

void Builder::WriteServices() const {
    for (const auto& [section, planned] : planned_) {
        const std::wstring& service = planned.device.service;
        // The bench's own driver is installed by whoever starts it.
        if (!service.empty() && !SameText(service, QVNIC_SERVICE)) {
            WriteDriverService(service, planned.device.description.value_or(L""));
        }
    }
    if (!machine_.protocolInstalled) {
        return;
    }
    WriteDriverService(L"qvteamp", L"Quovane Teaming Protocol");
    if (!records_.empty()) {
        Key::Create(layout::kMemberRecords);
    }
    for (const auto& [guid, values] : records_) {
        const Key key = Key::Create(std::wstring(layout::kMemberRecords) + L"\\" + guid);
        for (const auto& value : values) {
            key.Set(value);
        }
    }
}

void Builder::WriteDevice(const std::wstring& section, const Planned& planned) const {
    NetDevice device = planned.device;
    if (planned.hasCharacteristics) {
        Replace(&device.driverValues,
                MachineValue::Number(L"Characteristics", planned.characteristics));
    }
    if (!CreateNetDevice(device)) {
        Fail(Narrow(device.instance), GetLastError());
    }
    const Key bench = Key::Create(BenchDevicePath(device.instance));
    bench.Set(L"InstallState", planned.installState);
    bench.Set(kDisabled, planned.disabled);
    bench.Set(L"Flags", planned.flags);
    if (planned.phantom) {
        bench.Set(layout::kPresent, DWORD{0});
    }
    if (!planned.stops) {
        bench.Set(kStops, 0);
    }
    if (planned.guid.empty()) {
        return;
    }
    const std::wstring path = std::wstring(layout::kAdapters) + L"\\" + planned.guid;
    const Key adapter = Key::Create(path);
    adapter.Set(QVNIC_OPENS, planned.opens);
    adapter.Set(QVNIC_STARTED, planned.disabled == 0 && !planned.phantom);
    adapter.Set(L"Device", device.instance);
    adapter.Set(layout::kSection, section);
    if (planned.answersLeft) {
        adapter.Set(QVNIC_ANSWERS_LEFT, *planned.answersLeft);
    }
    if (planned.unknownOid) {
        adapter.Set(QVNIC_UNKNOWN_OID, *planned.unknownOid);
    }
    adapter.Set(QVNIC_NEEDS_HEADER_SIZE, planned.needsHeaderSize);
    if (!planned.hostInterface.empty()) {
        adapter.Set(QVNIC_HOST_INTERFACE, planned.hostInterface);
    }
    WriteAnswers(path, planned.answers);
    // The device has started with the values that its key has, whether it is enabled now or not.
    TakeDriverValues(device.instance);
}

// Windows keeps a connection's name also while its device is away.
void Builder::WriteConnection(const Planned& planned, unsigned number) const {
    if (planned.guid.empty()) {
        return;
    }
    const Key key =
        Key::Create(std::wstring(layout::kNetworkClass) + L"\\" + planned.guid + L"\\Connection");
    const std::wstring suffix = number == 1 ? L"" : L" " + std::to_wstring(number);
    key.Set(L"Name", L"Local Area Connection" + suffix);
    key.Set(L"PnpInstanceID", planned.device.instance);
}

void Builder::WriteInfs() const {
    const std::wstring folder = WindowsDirectory() + L"\\inf\\";
    for (const auto& inf : machine_.infs) {
        if (!WriteFileBytes(folder + inf.installedAs, inf.content)) {
            Fail(Narrow(inf.installedAs), GetLastError());
        }
    }
    // Setup takes the driver from beside the INF, and asks for a disk when it is not there.
    std::string driver;
    if (!ReadFileBytes(FindBenchFile(layout::kMiniportDriver), &driver) ||
        !WriteFileBytes(folder + layout::kMiniportDriver, driver)) {
        Fail(Narrow(layout::kMiniportDriver), GetLastError());
    }
}

void Builder::WriteNetworkConfiguration() const {
    if (!NetCfgRegister(FindBenchFile(L"qvnetcfg.dll").c_str())) {
        Fail("qvnetcfg.dll cannot be registered", ERROR_CANTWRITE);
    }
    if (machine_.componentSet != L"none") {
        NetCfgDefaults(machine_.protocolInstalled, machine_.componentSet);
    }
    for (const auto& component : machine_.components) {
        NetCfgWriteComponent(component);
    }
    std::map<std::wstring, NetCfgComponent> components;
    for (const auto& component : NetCfgComponents()) {
        components[component.id] = component;
    }
    for (const auto& path : NetCfgPaths()) {
        const auto state = StateOfPath(path, components[path.ids.front()]);
        if (state) {
            NetCfgSetPathState(path.token, *state);
        }
    }
}

// A member's and a VLAN host's paths are as the program leaves them.
std::optional<bool> Builder::StateOfPath(const NetCfgPath& path,
                                         const NetCfgComponent& owner) const {
    const bool teaming =
        std::find(path.ids.begin(), path.ids.end(), layout::kProtocolComponent) != path.ids.end();
    for (const auto& [section, planned] : planned_) {
        if (planned.guid == path.adapterGuid && planned.unbound && !teaming) {
            return false;
        }
    }
    for (const auto& adapter : machine_.adapters) {
        if (adapter.guid == path.adapterGuid) {
            return StateOf(adapter, path, owner);
        }
    }
    return std::nullopt;
}

void Builder::WriteExtraKeys() const {
    std::vector<std::wstring> added;
    for (const auto& extra : machine_.registry) {
        // What is to be deleted later is the highest key that was missing.
        for (size_t end = extra.path.find(L'\\'); end != std::wstring::npos;
             end = extra.path.find(L'\\', end + 1)) {
            if (!Key::Open(extra.path.substr(0, end))) {
                added.push_back(extra.path.substr(0, end));
                break;
            }
        }
        bool isNew = false;
        const Key key = Key::Create(extra.path, &isNew);
        if (!key) {
            Fail(Narrow(extra.path), ERROR_CANTWRITE);
        }
        if (isNew) {
            added.push_back(extra.path);
        }
        for (const auto& value : extra.values) {
            key.Set(value);
        }
    }
    for (const auto& adapter : machine_.adapters) {
        if (!adapter.ipAddress.empty()) {
            Key::Create(std::wstring(layout::kInterfaces) + L"\\" + adapter.guid)
                .Set(MachineValue::MultiText(L"IPAddress", {adapter.ipAddress}));
        }
    }
    Key::Create(layout::kMachine).Set(MachineValue::MultiText(layout::kExtraKeys, added));
}

void Builder::Build() {
    for (const auto& adapter : machine_.adapters) {
        instances_.push_back(Upper(adapter.instance));
        PlanAdapter(adapter);
    }
    for (const auto& team : machine_.teams) {
        PlanTeam(team);
    }
    for (const auto& vlan : machine_.vlans) {
        PlanVlan(vlan);
    }
    WriteMachineKey();
    WriteServices();
    unsigned number = 0;
    for (const auto& section : order_) {
        const Planned& planned = planned_.at(section);
        if (planned.present) {
            WriteDevice(section, planned);
        }
        WriteConnection(planned, ++number);
    }
    WriteInfs();
    WriteNetworkConfiguration();
    WriteExtraKeys();
    if (!DriverSync()) {
        Fail("the adapters' driver does not run", GetLastError());
    }
}

} // namespace

bool MachineBuild(const Machine& machine, std::wstring* error) {
    MachineReset();
    try {
        Builder(machine).Build();
        return true;
    } catch (const std::exception& failure) {
        *error = Wide(failure.what());
        return false;
    }
}
