#include "component_sets.h"

#include <algorithm>

namespace {

const DWORD kHidden = 1;
const DWORD kOff = 2; // not bound until somebody asks for it

struct Row {
    const wchar_t* id;
    const wchar_t* kind;
    const wchar_t* displayName;
    DWORD place;
    const wchar_t* upperRange;
    const wchar_t* lowerRange;
    DWORD flags;
    const wchar_t* service;
};

// Ids, names and default states are those of public listings of bindings (Get-NetAdapterBinding);
// that ms_tcpip offers tdi and wants ndis5 is the example of "Specifying Binding Interfaces". The
// other ranges and the order are chosen so that the listed bindings come out, unverified.

// From qvteamp.inf.
const Row kTeamProtocol = {
    L"qv_qvteamp", L"trans", L"Quovane Teaming Protocol Driver", 90, L"noupper", L"ndis5", 0,
    L"qvteamp"};

const Row kDefault[] = {
    {L"ms_msclient", L"client", L"Client for Microsoft Networks", 10, L"noupper", L"netbios", 0,
     L"LanmanWorkstation"},
    {L"ms_server", L"service", L"File and Printer Sharing for Microsoft Networks", 20, L"noupper",
     L"netbios", 0, L"LanmanServer"},
    {L"ms_netbt", L"trans", L"WINS Client(TCP/IP) Protocol", 30, L"netbios", L"tdi", 0, L"NetBT"},
    {L"ms_tcpip", L"trans", L"Internet Protocol (TCP/IP)", 40, L"tdi", L"ndis5", 0, L"Tcpip"},
};

const wchar_t kEthernet[] = L"ethernet,wlan,bluetooth";
const wchar_t kEthernetAndWan[] = L"ethernet,wlan,bluetooth,wan";

const Row kWindows10[] = {
    {L"ms_msclient", L"client", L"Client for Microsoft Networks", 10, L"noupper", L"netbios", 0,
     L"LanmanWorkstation"},
    {L"ms_server", L"service", L"File and Printer Sharing for Microsoft Networks", 20, L"noupper",
     L"netbios", 0, L"LanmanServer"},
    {L"ms_netbt", L"trans", L"WINS Client(TCP/IP) Protocol", 30, L"netbios", L"tdi", kHidden,
     L"NetBT"},
    {L"ms_tcpip", L"trans", L"Internet Protocol Version 4 (TCP/IPv4)", 40, L"tdi", L"ndis5", 0,
     L"Tcpip"},
    // What binds to IPv6 is not found in public documents, so nothing does here.
    {L"ms_tcpip6", L"trans", L"Internet Protocol Version 6 (TCP/IPv6)", 41, L"noupper", L"ndis5", 0,
     L"Tcpip6"},
    {L"ms_implat", L"trans", L"Microsoft Network Adapter Multiplexor Protocol", 50, L"noupper",
     L"ndis5", kOff, L""},
    {L"ms_lldp", L"trans", L"Microsoft LLDP Protocol Driver", 51, L"noupper", L"ndis5", 0, L""},
    {L"ms_lltdio", L"trans", L"Link-Layer Topology Discovery Mapper I/O Driver", 52, L"noupper",
     L"ndis5", 0, L""},
    {L"ms_rspndr", L"trans", L"Link-Layer Topology Discovery Responder", 53, L"noupper", L"ndis5",
     0, L""},
    {L"ms_ndisuio", L"trans", L"NDIS Usermode I/O Protocol", 54, L"noupper", L"ndis5", kHidden,
     L""},
    {L"ms_pppoe", L"trans", L"Point to Point Protocol Over Ethernet", 55, L"noupper", L"ndis5",
     kHidden, L""},
    {L"ms_rdma_ndk", L"trans", L"Microsoft RDMA - NDK", 56, L"noupper", L"ndis5", kHidden, L""},
    {L"ms_wanarp", L"trans", L"Remote Access IP ARP Driver", 57, L"noupper", L"ndiswanip", kHidden,
     L""},
    {L"ms_pacer", L"filter", L"QoS Packet Scheduler", 60, L"noupper", kEthernetAndWan, 0, L""},
    {L"ms_wfplwf_upper", L"filter", L"WFP 802.3 MAC Layer LightWeight Filter", 61, L"noupper",
     kEthernet, kHidden, L""},
    {L"ms_wfplwf_lower", L"filter", L"WFP Native MAC Layer LightWeight Filter", 62, L"noupper",
     kEthernetAndWan, kHidden, L""},
    {L"ms_ndiscap", L"filter", L"Microsoft NDIS Capture", 63, L"noupper", kEthernet, kHidden, L""},
};

const Row kHyperV[] = {
    {L"vms_pp", L"trans", L"Hyper-V Extensible Virtual Switch", 58, L"noupper", L"ndis5", kOff,
     L""},
    {L"ms_l2bridge", L"filter", L"Bridge Driver", 64, L"noupper", kEthernet, 0, L""},
    {L"ms_l1vhlwf", L"filter", L"Nested Network Virtualization", 65, L"noupper", kEthernet, 0, L""},
};

NetCfgComponent ComponentOf(const Row& row) {
    NetCfgComponent component;
    component.id = row.id;
    component.kind = row.kind;
    component.displayName = row.displayName;
    component.place = row.place;
    component.upperRange = NetCfgRange(row.upperRange);
    component.lowerRange = NetCfgRange(row.lowerRange);
    component.boundByDefault = (row.flags & kOff) == 0;
    component.hidden = (row.flags & kHidden) != 0;
    component.service = row.service;
    return component;
}

template <size_t Count>
void Add(const Row (&rows)[Count], std::vector<NetCfgComponent>* components) {
    std::transform(rows, rows + Count, std::back_inserter(*components), ComponentOf);
}

} // namespace

std::vector<NetCfgComponent> NetCfgComponentSet(const std::wstring& name) {
    std::vector<NetCfgComponent> components;
    if (name == L"default") {
        Add(kDefault, &components);
    } else if (name == L"windows-10" || name == L"hyper-v") {
        Add(kWindows10, &components);
    }
    if (name == L"hyper-v") {
        Add(kHyperV, &components);
    }
    if (!components.empty()) {
        components.push_back(ComponentOf(kTeamProtocol));
    }
    return components;
}

NetCfgComponent NetCfgTemplate(const std::wstring& id) {
    for (const wchar_t* set : {L"default", L"hyper-v"}) {
        for (const NetCfgComponent& component : NetCfgComponentSet(set)) {
            if (component.id == id) {
                return component;
            }
        }
    }
    NetCfgComponent component;
    component.id = id;
    component.kind = L"trans";
    component.displayName = id;
    component.upperRange = {L"noupper"};
    component.lowerRange = {L"ndis5"};
    return component;
}
