#include "model.h"

#include <netcfgx.h>
#include <cfgmgr32.h>
#include <devguid.h>
#include <setupapi.h>

#include <algorithm>

#include "netcfg_key.h"

namespace {

const wchar_t kRoot[] = L"Software\\QvBench\\NetCfg";
const wchar_t kComponents[] = L"Software\\QvBench\\NetCfg\\Components";
const wchar_t kPaths[] = L"Software\\QvBench\\NetCfg\\Paths";
const wchar_t kDevices[] = L"Software\\QvBench\\Devices";
const wchar_t kServer[] =
    L"Software\\Classes\\CLSID\\{5B035261-40F9-11D1-AAEC-00805FC1270E}\\InprocServer32";
const wchar_t kArrow[] = L"->";
const wchar_t kAllAdapters[] = L"adapters";
const wchar_t kPhysicalAdapters[] = L"physical";

const NetCfgComponent kDefaults[] = {
    {L"ms_msclient",
     L"client",
     L"Client for Microsoft Networks",
     10,
     {L"ms_netbt"},
     true,
     L"LanmanWorkstation"},
    {L"ms_server",
     L"service",
     L"File and Printer Sharing for Microsoft Networks",
     20,
     {L"ms_netbt"},
     true,
     L"LanmanServer"},
    {L"ms_netbt", L"trans", L"WINS Client(TCP/IP) Protocol", 30, {L"ms_tcpip"}, true, L"NetBT"},
    {L"ms_tcpip", L"trans", L"Internet Protocol (TCP/IP)", 40, {kAllAdapters}, true, L"Tcpip"},
    {L"qv_qvteamp",
     L"trans",
     L"Quovane Teaming Protocol Driver",
     50,
     {kPhysicalAdapters},
     true,
     L"qvteamp"},
};

std::wstring LowerCase(std::wstring text) {
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::wstring ComponentKey(const std::wstring& id) {
    return std::wstring(kComponents) + L"\\" + id;
}

NetCfgComponent ReadComponent(const std::wstring& id) {
    const NetCfgKey key = NetCfgKey::Open(ComponentKey(id));
    NetCfgComponent component;
    component.id = LowerCase(id);
    component.kind = key.Text(L"Class").value_or(L"trans");
    component.displayName = key.Text(L"DisplayName").value_or(id);
    component.upper = key.Number(L"Upper").value_or(0);
    component.lower = key.Texts(L"Lower");
    component.boundByDefault = key.Number(L"BoundByDefault").value_or(1) != 0;
    component.service = key.Text(L"Service").value_or(NetCfgTemplate(component.id).service);
    return component;
}

// The first string of a string or multi-string property.
std::wstring DeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property) {
    wchar_t text[512] = {};
    if (!SetupDiGetDeviceRegistryPropertyW(set, device, property, nullptr,
                                           reinterpret_cast<BYTE*>(text),
                                           sizeof(text) - sizeof(wchar_t), nullptr)) {
        return {};
    }
    return text;
}

std::optional<NetCfgAdapter> ReadAdapter(HDEVINFO set, SP_DEVINFO_DATA* device) {
    HKEY handle = SetupDiOpenDevRegKey(set, device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ);
    if (handle == INVALID_HANDLE_VALUE) {
        return std::nullopt;
    }
    const NetCfgKey key(handle);
    GUID guid;
    if (FAILED(CLSIDFromString(key.Text(L"NetCfgInstanceId").value_or(L"").c_str(), &guid))) {
        return std::nullopt;
    }
    NetCfgAdapter adapter;
    wchar_t text[MAX_DEVICE_ID_LEN] = {};
    StringFromGUID2(guid, text, ARRAYSIZE(text));
    adapter.guid = text;
    if (SetupDiGetDeviceInstanceIdW(set, device, text, ARRAYSIZE(text), nullptr)) {
        adapter.instanceId = text;
    }
    adapter.id = DeviceProperty(set, device, SPDRP_HARDWAREID);
    if (adapter.id.empty()) {
        adapter.id = adapter.instanceId.substr(0, adapter.instanceId.rfind(L'\\'));
    }
    adapter.id = LowerCase(adapter.id);
    adapter.displayName = DeviceProperty(set, device, SPDRP_DEVICEDESC);
    adapter.characteristics = key.Number(L"Characteristics").value_or(0);
    return adapter;
}

// Whether the network configuration of Windows lists adapters that are not present is unverified;
// here it does not.
bool IsPhantom(HDEVINFO set, SP_DEVINFO_DATA* device) {
    wchar_t id[MAX_DEVICE_ID_LEN] = {};
    if (!SetupDiGetDeviceInstanceIdW(set, device, id, ARRAYSIZE(id), nullptr)) {
        return false;
    }
    std::replace(id, id + wcslen(id), L'\\', L'#');
    return NetCfgKey::Open(std::wstring(kDevices) + L"\\" + id).Number(L"Present").value_or(1) == 0;
}

// The chains of ids that lead from one component down to an adapter.
class PathFinder {
  public:
    PathFinder(const std::vector<NetCfgComponent>& components,
               const std::vector<NetCfgAdapter>& adapters)
        : components_(components), adapters_(adapters) {
    }

    std::vector<NetCfgPath> Below(const NetCfgComponent& owner) {
        found_.clear();
        chain_.clear();
        Walk(owner);
        std::stable_sort(found_.begin(), found_.end(),
                         [](const auto& a, const auto& b) { return a.ids.size() > b.ids.size(); });
        for (NetCfgPath& path : found_) {
            path.enabled = NetCfgPathState(path.token).value_or(owner.boundByDefault);
        }
        return found_;
    }

  private:
    void Walk(const NetCfgComponent& component) {
        // Two components that each name the other as lower would never end.
        if (std::find(chain_.begin(), chain_.end(), component.id) != chain_.end()) {
            return;
        }
        chain_.push_back(component.id);
        for (const std::wstring& lower : component.lower) {
            if (lower == kAllAdapters || lower == kPhysicalAdapters) {
                EndAtAdapters(lower == kPhysicalAdapters);
                continue;
            }
            for (const NetCfgComponent& next : components_) {
                if (lstrcmpiW(next.id.c_str(), lower.c_str()) == 0) {
                    Walk(next);
                }
            }
        }
        chain_.pop_back();
    }

    void EndAtAdapters(bool physicalOnly) {
        for (const NetCfgAdapter& adapter : adapters_) {
            if (physicalOnly && (adapter.characteristics & NCF_PHYSICAL) == 0) {
                continue;
            }
            NetCfgPath path;
            for (const std::wstring& id : chain_) {
                path.token += id + kArrow;
            }
            path.token += adapter.guid;
            path.adapterGuid = adapter.guid;
            path.ids = chain_;
            found_.push_back(path);
        }
    }

    const std::vector<NetCfgComponent>& components_;
    const std::vector<NetCfgAdapter>& adapters_;
    std::vector<std::wstring> chain_;
    std::vector<NetCfgPath> found_;
};

} // namespace

std::vector<NetCfgComponent> NetCfgComponents() {
    std::vector<NetCfgComponent> components;
    for (const std::wstring& id : NetCfgKey::Open(kComponents).SubKeys()) {
        components.push_back(ReadComponent(id));
    }
    std::sort(components.begin(), components.end(), [](const auto& a, const auto& b) {
        return a.upper != b.upper ? a.upper < b.upper : a.id < b.id;
    });
    return components;
}

std::vector<NetCfgAdapter> NetCfgAdapters() {
    std::vector<NetCfgAdapter> adapters;
    HDEVINFO set = SetupDiGetClassDevsW(&GUID_DEVCLASS_NET, nullptr, nullptr, DIGCF_PRESENT);
    if (set == INVALID_HANDLE_VALUE) {
        return adapters;
    }
    SP_DEVINFO_DATA device = {sizeof(device)};
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); ++index) {
        if (IsPhantom(set, &device)) {
            continue;
        }
        if (std::optional<NetCfgAdapter> adapter = ReadAdapter(set, &device)) {
            adapters.push_back(*adapter);
        }
    }
    SetupDiDestroyDeviceInfoList(set);
    return adapters;
}

std::vector<NetCfgPath> NetCfgPaths() {
    return NetCfgPaths(NetCfgComponents(), NetCfgAdapters());
}

std::vector<NetCfgPath> NetCfgPaths(const std::vector<NetCfgComponent>& components,
                                    const std::vector<NetCfgAdapter>& adapters) {
    PathFinder finder(components, adapters);
    std::vector<NetCfgPath> paths;
    for (const NetCfgComponent& owner : components) {
        const std::vector<NetCfgPath> below = finder.Below(owner);
        paths.insert(paths.end(), below.begin(), below.end());
    }
    return paths;
}

std::optional<bool> NetCfgPathState(const std::wstring& token) {
    const std::optional<DWORD> state = NetCfgKey::Open(kPaths).Number(token.c_str());
    return state ? std::optional<bool>(*state != 0) : std::nullopt;
}

bool NetCfgSetPathState(const std::wstring& token, bool enabled) {
    return NetCfgKey::Create(kPaths).Write(token.c_str(), enabled ? 1 : 0);
}

bool NetCfgWriteComponent(const NetCfgComponent& component) {
    const NetCfgKey key = NetCfgKey::Create(ComponentKey(component.id));
    key.DeleteValue(L"Service");
    return key.Write(L"Class", component.kind) &&
           key.Write(L"DisplayName", component.displayName) &&
           key.Write(L"Upper", component.upper) && key.Write(L"Lower", component.lower) &&
           key.Write(L"BoundByDefault", component.boundByDefault ? 1 : 0) &&
           (component.service.empty() || key.Write(L"Service", component.service));
}

void NetCfgRemoveComponent(const std::wstring& id) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, ComponentKey(id).c_str());
    const NetCfgKey paths = NetCfgKey::Open(kPaths, KEY_ALL_ACCESS);
    const std::wstring hop = kArrow + id + kArrow;
    for (const std::wstring& token : paths.ValueNames()) {
        if ((kArrow + token).find(hop) != std::wstring::npos) {
            paths.DeleteValue(token.c_str());
        }
    }
}

void NetCfgDefaults(bool teamProtocol) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kRoot);
    for (const NetCfgComponent& component : kDefaults) {
        if (teamProtocol || component.id != L"qv_qvteamp") {
            NetCfgWriteComponent(component);
        }
    }
}

NetCfgComponent NetCfgTemplate(const std::wstring& id) {
    for (const NetCfgComponent& component : kDefaults) {
        if (component.id == id) {
            return component;
        }
    }
    NetCfgComponent component;
    component.id = id;
    component.kind = L"trans";
    component.displayName = id;
    component.lower = {kAllAdapters};
    return component;
}

bool NetCfgRegister(const wchar_t* dllPath) {
    const NetCfgKey key = NetCfgKey::Create(kServer);
    return key.Write(nullptr, std::wstring(dllPath)) &&
           key.Write(L"ThreadingModel", std::wstring(L"Both"));
}
