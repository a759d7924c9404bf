// A team's member must be bound to the teaming protocol alone, and gets its other bindings
// back when it leaves.
#include "device/bindings.h"

#include "device/net_config.h"
#include "include/names.h"
#include "inventory/trace.h"

#include <devguid.h>

// Success without an object is a failure too: a protocol that waits for a restart to go away may still
// stand in a path.
static HRESULT Given(HRESULT hr, const void* object) {
    return SUCCEEDED(hr) && object == NULL ? E_UNEXPECTED : hr;
}

// Sets `teaming` and returns S_OK, or a failure that leaves `teaming` as it was.
static HRESULT LeadsToTeamingProtocol(INetCfgBindingInterface* bindingInterface, BOOL* teaming) {
    INetCfgComponent* upper = NULL;
    LPWSTR id = NULL;

    HRESULT hr = bindingInterface->GetUpperComponent(&upper);
    hr = Given(hr, upper);
    if (SUCCEEDED(hr)) {
        hr = upper->GetId(&id);
        hr = Given(hr, id);
        upper->Release();
    }
    if (FAILED(hr)) {
        Trace(L"   LeadsToTeamingProtocol: no upper component 0x%x\n", hr);
        return hr;
    }
    *teaming = lstrcmpW(id, PROTOCOL_BINDING_ID) == 0;
    CoTaskMemFree(id);
    return S_OK;
}

static void TracePath(INetCfgBindingPath* path) {
    LPWSTR token = NULL;

    if (SUCCEEDED(path->GetPathToken(&token))) {
        Trace(L"   SwitchPath: %s\n", token);
        CoTaskMemFree(token);
    }
}

// Interfaces are looked at from the top of the path, and the path is switched at each one until the
// teaming protocol is met. An interface that cannot be read decides nothing: the teaming protocol's own
// path must never be switched by mistake.
static void SwitchPath(INetCfgBindingPath* path, int enable) {
    IEnumNetCfgBindingInterface* interfaces = NULL;
    INetCfgBindingInterface* bindingInterface = NULL;
    BOOL teaming = FALSE;

    Trace(L"-->SwitchPath: %d\n", enable);
    TracePath(path);
    HRESULT hr = path->EnumBindingInterfaces(&interfaces);
    hr = Given(hr, interfaces);
    if (FAILED(hr)) {
        Trace(L"<--SwitchPath: no interfaces 0x%x\n", hr);
        return;
    }
    interfaces->Reset();
    while (!teaming && interfaces->Next(1, &bindingInterface, NULL) == S_OK) {
        hr = LeadsToTeamingProtocol(bindingInterface, &teaming);
        if (SUCCEEDED(hr) && !teaming) {
            hr = path->Enable(enable);
            if (FAILED(hr))
                Trace(L"   SwitchPath: Unbinding failed with 0x%x\n", hr);
        }
        bindingInterface->Release();
    }
    interfaces->Release();
    Trace(L"<--SwitchPath:\n");
}

static void SwitchPathsAbove(INetCfgComponent* adapter, int enable) {
    INetCfgComponentBindings* bindings = NULL;
    IEnumNetCfgBindingPath* paths = NULL;
    INetCfgBindingPath* path = NULL;

    Trace(L"-->SwitchPathsAbove:\n");
    HRESULT hr =
        adapter->QueryInterface(IID_INetCfgComponentBindings, reinterpret_cast<void**>(&bindings));
    if (FAILED(hr)) {
        Trace(L"<--SwitchPathsAbove: no bindings 0x%x\n", hr);
        return;
    }
    hr = bindings->EnumBindingPaths(EBP_ABOVE, &paths);
    hr = Given(hr, paths);
    bindings->Release();
    if (FAILED(hr)) {
        Trace(L"<--SwitchPathsAbove: no paths 0x%x\n", hr);
        return;
    }
    paths->Reset();
    while (paths->Next(1, &path, NULL) == S_OK) {
        SwitchPath(path, enable);
        path->Release();
    }
    paths->Release();
    Trace(L"<--SwitchPathsAbove:\n");
}

static BOOL IsAdapter(INetCfgComponent* component, DWORD kind, const GUID* guid) {
    DWORD characteristics = 0;
    GUID instance;

    return SUCCEEDED(component->GetCharacteristics(&characteristics)) &&
           (characteristics & kind) != 0 && SUCCEEDED(component->GetInstanceGuid(&instance)) &&
           IsEqualGUID(instance, *guid);
}

static HRESULT EnumAdapters(INetCfg* netCfg, IEnumNetCfgComponent** adapters) {
    INetCfgClass* adapterClass = NULL;

    HRESULT hr = netCfg->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_INetCfgClass,
                                          reinterpret_cast<void**>(&adapterClass));
    if (FAILED(hr))
        return hr;
    hr = adapterClass->EnumComponents(adapters);
    adapterClass->Release();
    return Given(hr, *adapters);
}

int EnableProtocolNicBindings(HWND parent, const GUID* guid, int enable, int physical) {
    INetCfg* netCfg = NULL;
    LPWSTR holder = NULL;
    IEnumNetCfgComponent* adapters = NULL;
    INetCfgComponent* adapter = NULL;
    DWORD kind = physical == 1 ? NCF_PHYSICAL : NCF_VIRTUAL;

    Trace(L"-->EnableProtocolNicBindings: %d %d\n", enable, physical);
    (void)parent;
    HRESULT hr = HrGetINetCfg(TRUE, NET_CONFIG_CLIENT, &netCfg, &holder);
    if (FAILED(hr)) {
        CoTaskMemFree(holder);
        Trace(L"<--EnableProtocolNicBindings: no configuration 0x%x\n", hr);
        return 0;
    }
    hr = EnumAdapters(netCfg, &adapters);
    if (FAILED(hr)) {
        HrReleaseINetCfg(netCfg, TRUE);
        Trace(L"<--EnableProtocolNicBindings: no adapters 0x%x\n", hr);
        return 0;
    }
    adapters->Reset();
    while (adapters->Next(1, &adapter, NULL) == S_OK) {
        if (IsAdapter(adapter, kind, guid))
            SwitchPathsAbove(adapter, enable);
        adapter->Release();
    }
    hr = netCfg->Apply();
    adapters->Release();
    HrReleaseINetCfg(netCfg, TRUE);
    Trace(L"<--EnableProtocolNicBindings: 0x%x\n", hr);
    return 1;
}
