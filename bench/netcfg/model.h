// The network configuration of the simulated machine: its components, its adapters, and the binding
// paths that follow from them. Components and path states live in the registry under
// HKLM\Software\QvBench\NetCfg; the adapters are the present devices of the network class.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// A protocol, service or client.
struct NetCfgComponent {
    std::wstring id;   // lower case, such as ms_tcpip
    std::wstring kind; // "trans", "service" or "client"
    std::wstring displayName;
    DWORD upper = 0;                 // place in the binding order, smaller first; ties by id
    std::vector<std::wstring> lower; // "adapters", "physical" or ids of components
    bool boundByDefault = true;
    std::wstring service; // driver service that goes with it, or empty
};

struct NetCfgAdapter {
    std::wstring guid;        // NetCfgInstanceId, braced, upper case
    std::wstring id;          // first hardware id, lower case
    std::wstring displayName; // device description
    std::wstring instanceId;
    DWORD characteristics = 0; // NCF_ flags
};

struct NetCfgPath {
    std::wstring token;            // "ms_netbt->ms_tcpip->{GUID}"
    std::wstring adapterGuid;      // where the path ends
    std::vector<std::wstring> ids; // components from the top down, without the adapter
    bool enabled = true;
};

// Sorted by binding order. Adapters come in the order of device enumeration; one whose driver key
// has no NetCfgInstanceId is no network component yet and is left out.
std::vector<NetCfgComponent> NetCfgComponents();
std::vector<NetCfgAdapter> NetCfgAdapters();

// Every path, each owned by its top component: owners in binding order, for one owner the longest
// paths first, equally long ones in the order of its `lower` list and then of the adapters.
// The second form works on given lists and takes only the states from the registry.
std::vector<NetCfgPath> NetCfgPaths();
std::vector<NetCfgPath> NetCfgPaths(const std::vector<NetCfgComponent>& components,
                                    const std::vector<NetCfgAdapter>& adapters);

// The recorded state of a path; nothing when it still has its owner's default.
std::optional<bool> NetCfgPathState(const std::wstring& token);
bool NetCfgSetPathState(const std::wstring& token, bool enabled);

// Writes one component, replacing an earlier one of the same id; removal takes the states of all
// paths through the component with it. Driver services are not touched.
bool NetCfgWriteComponent(const NetCfgComponent& component);
void NetCfgRemoveComponent(const std::wstring& id);

// Replaces all components by the set of a fresh Windows, with or without the teaming protocol, and
// forgets all path states.
void NetCfgDefaults(bool teamProtocol = true);

// What the bench knows about a component before it is installed: its place in the default set, or a
// protocol of that id bound to every adapter.
NetCfgComponent NetCfgTemplate(const std::wstring& id);

// Makes the DLL at this path the machine's network configuration server.
bool NetCfgRegister(const wchar_t* dllPath);
