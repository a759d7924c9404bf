#include "model.h"

#include <cfgmgr32.h>
#include <devguid.h>
#include <setupapi.h>

#include <algorithm>

#include "component_sets.h"
#include "netcfg_key.h"

namespace {

const wchar_t kRoot[] = L"Software\\QvBench\\NetCfg";
const wchar_t kComponents[] = L"Software\\QvBench\\NetCfg\\Components";
const wchar_t kPaths[] = L"Software\\QvBench\\NetCfg\\Paths";
const wchar_t kDevices[] = L"Software\\QvBench\\Devices";
const wchar_t kServer[] =
    L"Software\\Classes\\CLSID\\{5B035261-40F9-11D1-AAEC-00805FC1270E}\\InprocServer32";
const wchar_t kArrow[] = L"->";

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
    component.place = key.Number(L"Place").value_or(0);
    component.upperRange = key.Texts(L"UpperRange");
    component.lowerRange = key.Texts(L"LowerRange");
    component.boundByDefault = key.Number(L"BoundByDefault").value_or(1) != 0;
    component.hidden = key.Number(L"Hidden").value_or(0) != 0;
    component.service = key.Text(L"Service").value_or(L"");
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
    const NetCfgKey interfaces = key.SubKey(L"Ndi\\Interfaces");
    adapter.upperRange = NetCfgRange(interfaces.Text(L"UpperRange").value_or(L""));
    adapter.lowerRange = NetCfgRange(interfaces.Text(L"LowerRange").value_or(L""));
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

} // namespace

std::vector<NetCfgComponent> NetCfgComponents() {
    std::vector<NetCfgComponent> components;
    for (const std::wstring& id : NetCfgKey::Open(kComponents).SubKeys()) {
        components.push_back(ReadComponent(id));
    }
    std::sort(components.begin(), components.end(), [](const auto& a, const auto& b) {
        return a.place != b.place ? a.place < b.place : a.id < b.id;
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

std::optional<bool> NetCfgPathState(const std::wstring& token) {
    const std::optional<DWORD> state = NetCfgKey::Open(kPaths).Number(token.c_str());
    return state ? std::optional<bool>(*state != 0) : std::nullopt;
}

std::map<std::wstring, bool> NetCfgPathStates() {
    std::map<std::wstring, bool> states;
    const NetCfgKey key = NetCfgKey::Open(kPaths);
    for (const std::wstring& token : key.ValueNames()) {
        if (const std::optional<DWORD> state = key.Number(token.c_str())) {
            states[token] = *state != 0;
        }
    }
    return states;
}

bool NetCfgSetPathState(const std::wstring& token, bool enabled) {
    return NetCfgKey::Create(kPaths).Write(token.c_str(), enabled ? 1 : 0);
}

bool NetCfgWriteComponent(const NetCfgComponent& component) {
    const NetCfgKey key = NetCfgKey::Create(ComponentKey(component.id));
    key.DeleteValue(L"Service");
    return key.Write(L"Class", component.kind) &&
           key.Write(L"DisplayName", component.displayName) &&
           key.Write(L"Place", component.place) && key.Write(L"UpperRange", component.upperRange) &&
           key.Write(L"LowerRange", component.lowerRange) &&
           key.Write(L"BoundByDefault", component.boundByDefault ? 1 : 0) &&
           key.Write(L"Hidden", component.hidden ? 1 : 0) &&
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

void NetCfgDefaults(bool teamProtocol, const std::wstring& set) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kRoot);
    for (const NetCfgComponent& component : NetCfgComponentSet(set)) {
        if (teamProtocol || component.id != L"qv_qvteamp") {
            NetCfgWriteComponent(component);
        }
    }
}

bool NetCfgRegister(const wchar_t* dllPath) {
    const NetCfgKey key = NetCfgKey::Create(kServer);
    return key.Write(nullptr, std::wstring(dllPath)) &&
           key.Write(L"ThreadingModel", std::wstring(L"Both"));
}
