// The network configuration of the simulated machine: its components, its adapters, and the binding
// paths that follow from them. Components and path states live in the registry under
// HKLM\Software\QvBench\NetCfg; the adapters are the present devices of the network class.
//
// Bindings follow from ranges, as "Specifying Binding Interfaces" says: a component binds to what
// offers (upper range) an interface of its lower range; noupper and nolower match nothing. A filter
// binds to the adapters whose lower range has one of its media types ("Specifying Filter Driver
// Binding Relationships"; that the lower range is what they are compared with is unverified).
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

// A protocol, service, client or filter.
struct NetCfgComponent {
    std::wstring id;   // lower case, such as ms_tcpip
    std::wstring kind; // "trans", "service", "client" or "filter"
    std::wstring displayName;
    DWORD place = 0;                      // in the binding order, smaller first; ties by id
    std::vector<std::wstring> upperRange; // interfaces that it offers
    std::vector<std::wstring> lowerRange; // interfaces that it binds to; a filter's media types
    bool boundByDefault = true;
    bool hidden = false;  // NCF_HIDDEN: no property page lists it
    std::wstring service; // driver service that goes with it, or empty

    bool IsFilter() const {
        return kind == L"filter";
    }
};

struct NetCfgAdapter {
    std::wstring guid;        // NetCfgInstanceId, braced, upper case
    std::wstring id;          // first hardware id, lower case
    std::wstring displayName; // device description
    std::wstring instanceId;
    DWORD characteristics = 0;            // NCF_ flags
    std::vector<std::wstring> upperRange; // of Ndi\Interfaces in the driver key; none: no bindings
    std::vector<std::wstring> lowerRange;
};

struct NetCfgPath {
    std::wstring token;                   // "ms_netbt->ms_tcpip->{GUID}"
    std::wstring adapterGuid;             // where the path ends
    std::vector<std::wstring> ids;        // components from the top down, without the adapter
    std::vector<std::wstring> interfaces; // for each of the ids, the one below which it binds
    bool switchedOn = true;               // its own state
    bool enabled = true;                  // switched on, and so is every path that is a part of it
};

// Sorted by binding order. Adapters come in the order of device enumeration; one whose driver key
// has no NetCfgInstanceId is no network component yet and is left out.
std::vector<NetCfgComponent> NetCfgComponents();
std::vector<NetCfgAdapter> NetCfgAdapters();

// Every path, each owned by its top component: owners in binding order, for one owner the longest
// paths first, equally long ones in the binding order of the components below it and then in the
// order of the adapters.
// The second form works on given lists and takes only the states from the registry.
std::vector<NetCfgPath> NetCfgPaths();
std::vector<NetCfgPath> NetCfgPaths(const std::vector<NetCfgComponent>& components,
                                    const std::vector<NetCfgAdapter>& adapters);

// Works out `enabled` of each path: "INetCfgBindingPath::Enable" says for Windows 10 that a path
// reports as disabled when a part of it is disabled.
void NetCfgSettlePaths(std::vector<NetCfgPath>* paths);

// A list as INFs and driver keys write it: "ndis5, ndis4". Blanks go, case stays.
std::vector<std::wstring> NetCfgRange(const std::wstring& text);

// The recorded states of all paths by token; a path without one still has its owner's default.
std::map<std::wstring, bool> NetCfgPathStates();
std::optional<bool> NetCfgPathState(const std::wstring& token);
bool NetCfgSetPathState(const std::wstring& token, bool enabled);

// Writes one component, replacing an earlier one of the same id; removal takes the states of all
// paths through the component with it. Driver services are not touched.
bool NetCfgWriteComponent(const NetCfgComponent& component);
void NetCfgRemoveComponent(const std::wstring& id);

// Replaces all components by a set of component_sets.h, with or without the teaming protocol, and
// forgets all path states.
void NetCfgDefaults(bool teamProtocol = true, const std::wstring& set = L"default");

// Makes the DLL at this path the machine's network configuration server.
bool NetCfgRegister(const wchar_t* dllPath);
