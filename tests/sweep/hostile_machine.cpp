#include "sweep/hostile_machine.h"

#include <cwchar>

namespace {

const wchar_t kEnum[] = L"System\\CurrentControlSet\\Enum\\";
const wchar_t kServices[] = L"System\\CurrentControlSet\\Services\\";
const wchar_t kRecords[] = L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters\\";
const wchar_t kInterfaces[] =
    L"System\\CurrentControlSet\\Services\\Tcpip\\Parameters\\Interfaces\\";
constexpr unsigned kFewGuids = 6;
constexpr size_t kMostMembers = 8;
constexpr unsigned kFullHostVlans = 65;
// Of adapters and teams that nothing else on the machine names.
constexpr unsigned kSpared = 60;
// Leaves nothing of what is odd to chance.
constexpr unsigned kSoundMildness = 100000;

std::wstring NumberedGuid(wchar_t kind, unsigned number) {
    wchar_t text[40];
    swprintf(text, 40, L"{%lc0000000-0000-4000-8000-%012X}", kind, number);
    return text;
}

// What is mixed is not the numbers of the seeds around it over again, some steps further on.
uint64_t Mix(uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

template <typename T, size_t N> const T& OneOf(Dice& dice, const T (&choices)[N]) {
    return choices[dice.below(N)];
}

// A text that can be a part of a key's name.
std::wstring HostileName(Dice& dice) {
    std::wstring name = HostileText(dice).substr(0, 200);
    for (wchar_t& character : name)
        character = character == L'\\' ? L'/' : character;
    return name.empty() ? L"x" : name;
}

// What a driver answers: any size, offsets that lead anywhere.
OidAnswers HostileAnswers(Dice& dice, unsigned number) {
    static const DWORD oids[] = {0x01010101, 0x01010102, 0x00010107, 0x00010114, 0x00010106,
                                 0xFC010201, 0xFC01020B, 0xFC01020E, 0x00020101, 0x0002020A};
    OidAnswers answers;
    if (!dice.oneIn(3))
        answers = StandardAnswers(number);
    for (unsigned count = dice.below(4); count > 0; count--) {
        OidAnswer answer;
        answer.refused = dice.oneIn(4);
        answer.status = dice.oneIn(2) ? 0xC00000BB : 0xC0000001;
        answer.bytes = dice.bytes(dice.size(220, 5000));
        if (answer.bytes.size() >= 20 && dice.oneIn(2)) {
            answer.bytes[12] = static_cast<BYTE>(OneOf(dice, {0, 28, 40, 196, 215, 255}));
            answer.bytes[13] = answer.bytes[14] = answer.bytes[15] = 0;
        }
        answers[OneOf(dice, oids)] = answer;
    }
    return answers;
}

// A list of texts with any end.
MachineValue HostileList(Dice& dice, const std::wstring& name, std::wstring (*entry)(Dice&)) {
    if (dice.oneIn(4))
        return HostileValue(dice, name);
    std::wstring text;
    for (unsigned count = dice.below(dice.oneIn(20) ? 70 : 5); count > 0; count--)
        text += entry(dice) + std::wstring(count > 1 || !dice.oneIn(3) ? 1 : 0, L'\0');
    text += std::wstring(dice.below(3), L'\0');
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text.data());
    return {name, REG_MULTI_SZ, std::vector<BYTE>(bytes, bytes + text.size() * sizeof(wchar_t))};
}

std::wstring DeviceName(Dice& dice) {
    static const wchar_t* const prefixes[] = {L"\\Device\\", L"\\Device\\", L"\\DEVICE\\", L"",
                                              L"\\\\.\\"};
    std::wstring prefix = OneOf(dice, prefixes);
    return prefix + (dice.oneIn(5) ? HostileText(dice)
                                   : NumberedGuid(OneOf(dice, L"ABC"), dice.below(kFewGuids)));
}

std::wstring Address(Dice& dice) {
    return dice.oneIn(3) ? HostileText(dice) : L"192.0.2." + std::to_wstring(dice.below(300));
}

void AddAddress(Dice& dice, const std::wstring& guid, HostileMachine* made) {
    if (!guid.empty() && dice.oneIn(2))
        made->values.push_back({kInterfaces + guid, HostileList(dice, L"IPAddress", Address)});
}

void AddHostileId(Dice& dice, MachineAdapter* adapter, unsigned number) {
    switch (dice.below(12 * dice.mildness())) {
    case 0:
        adapter->guid = NumberedGuid(L'A', 1 + dice.below(number + 1)); // somebody else's
        break;
    case 1:
        adapter->values.push_back(HostileValue(dice, L"NetCfgInstanceId"));
        break;
    case 2:
        adapter->values.push_back(MachineValue::Text(L"NetCfgInstanceId", HostileText(dice)));
        break;
    case 3:
        if (dice.odd(3))
            break; // none at all
        [[fallthrough]];
    default:
        adapter->guid = NumberedGuid(L'A', 1 + number);
    }
}

// A service's name is part of a key's path: one that leads further up would be another key.
MachineValue HostileServiceName(Dice& dice) {
    MachineValue value = HostileValue(dice, L"Service");
    for (size_t i = 0; i + 1 < value.data.size(); i += sizeof(wchar_t)) {
        if (value.data[i] == L'\\' && value.data[i + 1] == 0)
            value.data[i] = L'/';
    }
    return value;
}

void AddService(Dice& dice, MachineAdapter* adapter, HostileMachine* made) {
    if (dice.odd(10))
        made->values.push_back({kEnum + adapter->instance, HostileServiceName(dice)});
    if (!dice.oneIn(3))
        return;
    adapter->service = kOddService + std::to_wstring(dice.below(4));
    made->values.push_back({kServices + adapter->service, HostileValue(dice, L"ImagePath")});
}

MachineAdapter MakeAdapter(Dice& dice, unsigned number, HostileMachine* made) {
    static const wchar_t* const values[] = {L"DriverDate",     L"DriverVersion", L"TCPOffload",
                                            L"NetworkAddress", L"VlanID",        L"VlanName",
                                            L"Characteristics"};
    MachineAdapter adapter;
    wchar_t tail[80];
    bool isVirtual = dice.oneIn(8);
    swprintf(tail, 80,
             isVirtual ? L"ROOT\\NET\\%04u"
                       : L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&%04X",
             (isVirtual ? 500 : 8) + 8 * number);
    adapter.name = L"port" + std::to_wstring(number);
    adapter.instance = tail;
    AddHostileId(dice, &adapter, number);
    if (!dice.odd(8))
        adapter.provider = dice.odd(8) ? HostileText(dice) : L"Quovane";
    else
        adapter.values.push_back(HostileValue(dice, L"ProviderName"));
    if (!dice.odd(8))
        adapter.description = dice.odd(4) ? HostileText(dice) : L"Quovane 10GbE Adapter";
    if (!dice.odd(4))
        adapter.friendlyName = dice.odd(4) ? HostileText(dice) : L"Port " + std::to_wstring(number);
    for (const wchar_t* name : {L"FriendlyName", L"DeviceDesc"}) {
        if (dice.odd(10))
            made->values.push_back({kEnum + adapter.instance, HostileValue(dice, name)});
    }
    AddService(dice, &adapter, made);
    if (dice.odd(8))
        adapter.hardwareIds = {HostileText(dice)};
    adapter.installState = dice.odd(4) ? static_cast<DWORD>(dice.next()) : dice.below(4);
    if (dice.odd(6))
        adapter.characteristics.reset();
    else if (dice.odd(6))
        adapter.characteristics = static_cast<DWORD>(dice.next());
    adapter.flags = dice.odd(10) ? static_cast<DWORD>(dice.next()) : 0;
    adapter.disabled = dice.odd(8) ? dice.below(4) : 0;
    adapter.opens = !dice.odd(8);
    adapter.driverKey = !dice.odd(16);
    if (dice.odd(6))
        adapter.answersLeft = dice.below(30);
    for (unsigned count = dice.below(4) / dice.mildness(); count > 0; count--)
        adapter.values.push_back(HostileValue(dice, OneOf(dice, values)));
    adapter.answers = HostileAnswers(dice, number);
    AddAddress(dice, adapter.guid, made);
    return adapter;
}

void AddTeam(Dice& dice, HostileMachine* made, std::vector<std::wstring>* known, size_t members) {
    Machine& machine = made->machine;
    unsigned number = static_cast<unsigned>(machine.teams.size()) + 1;
    size_t spared =
        members > kMostMembers || dice.oneIn(4) ? 0 : 3; // for a team of the sweep's own
    MachineTeam team;
    team.name = L"team" + std::to_wstring(number);
    team.teamName = dice.odd(4) ? HostileText(dice) : L"Team" + std::to_wstring(dice.below(6));
    team.slot = dice.below(dice.odd(8) ? 16 : 4);
    team.mode = dice.below(16);
    team.guid = NumberedGuid(L'B', dice.odd(10) ? 1 : number);
    team.instance = L"ROOT\\NET\\" + std::to_wstring(1000 + number);
    while (team.members.size() < members && known->size() > spared) {
        team.members.push_back(known->back());
        known->pop_back();
    }
    if (team.members.empty())
        return;
    for (size_t i = 0; i < team.members.size() && dice.odd(3); i++)
        team.order.push_back(static_cast<DWORD>(dice.next()));
    team.order.resize(team.order.empty() ? 0 : team.members.size());
    if (!dice.odd(5))
        team.address = L"0251560000B" + std::to_wstring(number);
    team.opens = !dice.odd(8);
    team.answers = HostileAnswers(dice, 100 + number);
    AddAddress(dice, team.guid, made);
    machine.teams.push_back(team);
}

void AddVlans(Dice& dice, HostileMachine* made, const std::wstring& host, unsigned count) {
    for (; count > 0; count--) {
        MachineVlan vlan;
        unsigned number = static_cast<unsigned>(made->machine.vlans.size()) + 1;
        vlan.name = L"vlan" + std::to_wstring(number);
        vlan.host = host;
        vlan.id = dice.odd(8) ? static_cast<DWORD>(dice.next()) : dice.below(4096);
        if (!dice.odd(10))
            vlan.vlanName = dice.odd(8) ? HostileText(dice) : L"Vlan " + std::to_wstring(number);
        vlan.guid = NumberedGuid(L'C', dice.odd(20) ? 1 : number);
        vlan.instance = L"ROOT\\NET\\" + std::to_wstring(2000 + number);
        vlan.opens = true;
        for (const wchar_t* name : {L"VlanID", L"VlanName", L"NetCfgInstanceId"}) {
            if (made->fullHost.empty() && dice.odd(20))
                made->driverValues.push_back({vlan.instance, HostileValue(dice, name)});
        }
        made->machine.vlans.push_back(vlan);
    }
}

MachineAdapter SoundAdapter(unsigned number) {
    MachineAdapter adapter;
    adapter.name = L"sound" + std::to_wstring(number);
    // In front of all others, so that it has a row.
    adapter.instance = L"PCI\\VEN_5156&DEV_0101&SUBSYS_00015156&REV_01\\3&11583659&0&000" +
                       std::to_wstring(number);
    adapter.guid = NumberedGuid(L'A', kSpared + number);
    adapter.provider = L"Quovane";
    adapter.description = L"Quovane 10GbE Adapter";
    adapter.friendlyName = L"Sound port " + std::to_wstring(number);
    adapter.answers = StandardAnswers(kSpared + number);
    return adapter;
}

// What comes of the host is to follow from its VLANs.
void AddFullHost(Dice& dice, bool isTeam, HostileMachine* made) {
    std::vector<std::wstring> names;
    for (unsigned number = 0; number < (isTeam ? 2u : 1u); number++) {
        made->machine.adapters.push_back(SoundAdapter(number));
        names.push_back(made->machine.adapters.back().name);
    }
    made->fullHost = made->machine.adapters.back().guid;
    std::wstring host = names.front();
    if (isTeam) {
        MachineTeam team;
        team.name = host = L"full";
        team.teamName = L"Full";
        team.guid = made->fullHost = NumberedGuid(L'B', kSpared);
        team.members = names;
        team.address = L"0251560000B0";
        team.instance = L"ROOT\\NET\\0001";
        team.answers = StandardAnswers(kSpared);
        made->machine.teams.push_back(team);
    }
    AddVlans(dice, made, host, kFullHostVlans);
    // One without a name is none.
    for (MachineVlan& vlan : made->machine.vlans) {
        if (vlan.host == host && !vlan.vlanName)
            vlan.vlanName = L"Vlan";
    }
}

void AddRecord(Dice& dice, Machine* machine) {
    MachineKey record;
    record.path =
        kRecords + (dice.oneIn(4) ? HostileName(dice) : NumberedGuid(L'A', dice.below(kFewGuids)));
    if (!dice.oneIn(4))
        record.values.push_back(dice.oneIn(4)
                                    ? HostileValue(dice, L"TeamBinding")
                                    : MachineValue::Text(L"TeamBinding", DeviceName(dice)));
    if (dice.oneIn(2))
        record.values.push_back(HostileList(dice, L"VlanBinding", DeviceName));
    for (const wchar_t* number : {L"TeamNumber", L"Order"}) {
        if (dice.oneIn(6))
            record.values.push_back(HostileValue(dice, number));
        else if (dice.oneIn(2))
            record.values.push_back(MachineValue::Number(number, static_cast<DWORD>(dice.next())));
    }
    machine->registry.push_back(record);
}

// The name of an interface that components of the machine may have or not.
std::wstring HostileRange(Dice& dice) {
    static const wchar_t* const known[] = {L"ndis5", L"tdi", L"netbios", L"noupper", L"ethernet"};
    return dice.oneIn(6) ? HostileText(dice) : OneOf(dice, known);
}

// A protocol, service, client or filter that no installer would leave: any name, bound to anything.
NetCfgComponent HostileComponent(Dice& dice, const std::vector<NetCfgComponent>& others) {
    static const wchar_t* const kinds[] = {L"trans", L"service", L"client", L"filter", L"adapter"};
    static const wchar_t* const known[] = {L"ms_tcpip", L"ms_netbt", L"qv_qvteamp"};
    NetCfgComponent component;
    component.id = dice.oneIn(6)   ? L"qv_qvteamp" + HostileName(dice)
                   : dice.oneIn(8) ? OneOf(dice, known)
                                   : HostileName(dice);
    component.kind = dice.oneIn(6) ? HostileText(dice) : OneOf(dice, kinds);
    component.displayName = HostileText(dice);
    component.place = dice.below(60);
    component.upperRange = {HostileRange(dice)};
    component.lowerRange = {L"ndis5"};
    for (unsigned count = dice.below(3); count > 0; count--)
        component.lowerRange.push_back(others.empty() || dice.oneIn(3)
                                           ? HostileRange(dice)
                                           : others.front().upperRange.front());
    component.boundByDefault = dice.oneIn(2);
    return component;
}

void AddComponents(Dice& dice, Machine* machine) {
    machine->componentSet = dice.odd(16) ? L"none" : dice.oneIn(8) ? L"windows-10" : L"default";
    for (unsigned count = dice.oneIn(2) ? 1 + dice.below(3) : 0; count > 0; count--)
        machine->components.push_back(HostileComponent(dice, machine->components));
}

void SetUpSystem(Dice& dice, Machine* machine) {
    // 5.1 is an artificial answer, with which an adapter has a VLAN page.
    static const wchar_t* const versions[] = {L"5.1", L"5.2", L"6.0", L"6.1", L"10.0"};
    static const wchar_t* const routes[] = {L"DiInstallDevice", L"InstallSelectedDriver",
                                            L"UpdateDriverForPlugAndPlayDevicesW"};
    static const wchar_t* const addresses[] = {L"at once", L"at once", L"after 9", L"never"};
    machine->windows = OneOf(dice, versions);
    machine->administrator = !dice.odd(16);
    machine->teamAddress = OneOf(dice, addresses);
    machine->newDev.clear();
    for (const wchar_t* route : routes) {
        if (!dice.odd(4))
            machine->newDev.push_back(route);
    }
    if (dice.odd(16)) {
        machine->lockHolder = dice.oneIn(2) ? L"Somebody else" : HostileText(dice) + L"x";
        machine->lockSeconds = dice.odd(2) ? INFINITE : dice.below(10);
    }
    machine->protocolInstalled = !dice.odd(16);
    if (dice.odd(8)) {
        std::vector<BYTE> bytes = dice.bytes(dice.size(600, 20000));
        machine->infs.push_back({L"oem1.inf", std::string(bytes.begin(), bytes.end())});
    }
    if (dice.odd(16))
        machine->infs.push_back({L"oem2.inf", "[Version]\r\nClass=Net\r\n[ControlFlags]\r\n"
                                              "ExcludeFromSelect=" +
                                                  std::string(dice.below(600), 'x') + "\r\n"});
}

} // namespace

Dice::Dice(uint64_t seed) : state_(Mix(seed + 0x9E3779B97F4A7C15ull)) {
}

uint64_t Dice::next() {
    state_ += 0x9E3779B97F4A7C15ull;
    return Mix(state_);
}

std::vector<BYTE> Dice::bytes(size_t count) {
    std::vector<BYTE> made(count);
    for (BYTE& byte : made)
        byte = static_cast<BYTE>(next());
    return made;
}

size_t Dice::size(size_t usual, size_t huge) {
    return below(static_cast<unsigned>(oneIn(12) ? huge : usual) + 1);
}

std::wstring HostileText(Dice& dice) {
    std::wstring text(dice.size(40, 700), L'\0');
    bool plain = !dice.oneIn(3);
    for (wchar_t& character : text) {
        character = static_cast<wchar_t>(plain ? L' ' + dice.below(95) : dice.below(0xFFFF));
        character = character == 0 ? L'?' : character;
    }
    return dice.oneIn(6) ? L"{" + text : dice.oneIn(6) ? text + L"%s%n" : text;
}

MachineValue HostileValue(Dice& dice, const std::wstring& name) {
    static const DWORD types[] = {REG_NONE,   REG_SZ,    REG_SZ,       REG_EXPAND_SZ,
                                  REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_QWORD};
    MachineValue value = {name, OneOf(dice, types), {}};
    if (dice.oneIn(2)) {
        value.data = dice.bytes(dice.size(12, 70000));
        return value;
    }
    if (dice.oneIn(3)) {
        // About as long as the buffers that texts are read into, without an end.
        static const size_t sizes[] = {256, 512, 520, 522, 1024, 1030};
        value.data.assign(OneOf(dice, sizes) - 2 + dice.below(5), 'x');
        return value;
    }
    std::wstring text = HostileText(dice);
    const BYTE* bytes = reinterpret_cast<const BYTE*>(text.c_str());
    value.data.assign(bytes, bytes + text.size() * sizeof(wchar_t) + dice.below(3));
    return value;
}

bool HasFullAdapter(uint64_t seed) {
    return seed % kRound == 13;
}

bool HasFullTeam(uint64_t seed) {
    return seed % kRound == 17;
}

bool HasPressedButtons(uint64_t seed) {
    return seed % 10 == 5;
}

bool LacksProtocol(uint64_t seed) {
    return seed % 20 == 5;
}

HostileMachine MakeHostileMachine(uint64_t seed, const Machine& plain) {
    const bool isFull = HasFullAdapter(seed) || HasFullTeam(seed);
    Dice dice(seed);
    HostileMachine made;
    made.machine = plain;
    made.machine.adapters.clear();
    made.machine.teams.clear();
    made.machine.vlans.clear();
    unsigned mildness = dice.oneIn(2) ? 1 : 6;
    dice.setMildness(isFull ? kSoundMildness : mildness);
    SetUpSystem(dice, &made.machine);
    if (LacksProtocol(seed))
        made.machine.protocolInstalled = false;
    dice.setMildness(mildness);
    if (isFull)
        AddFullHost(dice, HasFullTeam(seed), &made);

    // Every round has some of each size that the tables do not hold.
    const bool manyMembers = seed % 20 == 3;
    unsigned ports = dice.oneIn(8) ? 7 + dice.below(12) : 3 + dice.below(5);
    ports = seed % kRound == 7 ? 40 : isFull && ports > 8 ? 8 : ports;
    std::vector<std::wstring> known; // may be members or hosts
    for (unsigned number = 0; number < ports || (manyMembers && known.size() <= kMostMembers);
         number++) {
        MachineAdapter adapter = MakeAdapter(dice, number, &made);
        if (!adapter.guid.empty() && adapter.driverKey)
            known.push_back(adapter.name);
        made.machine.adapters.push_back(adapter);
    }
    // Any record stands below the protocol's key, which says that the protocol is installed.
    const bool hasRecords = !LacksProtocol(seed);
    unsigned teams = dice.oneIn(8) ? 5 : dice.below(3);
    for (teams = hasRecords ? teams + manyMembers : 0; teams > 0; teams--)
        AddTeam(dice, &made, &known, manyMembers ? kMostMembers + 1 : 1 + dice.below(3));
    if (hasRecords && !known.empty() && dice.oneIn(3))
        AddVlans(dice, &made, known.front(), 1 + dice.below(4));
    if (!made.machine.teams.empty() && dice.oneIn(3))
        AddVlans(dice, &made, made.machine.teams.back().name, 1 + dice.below(4));
    if (ports < 12)
        AddComponents(dice, &made.machine);
    // The last record decides whether a team's VLAN goes, also one that is in no team.
    for (unsigned count = HasFullTeam(seed) || !hasRecords ? 0 : dice.below(6); count > 0; count--)
        AddRecord(dice, &made.machine);
    return made;
}
