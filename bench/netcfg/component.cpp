#include "component.h"

#include <cfgmgr32.h>
#include <devguid.h>
#include <setupapi.h>

#include "bindings.h"
#include "comobject.h"
#include "netcfg_key.h"

namespace {

const DWORD kLightweightFilter = 0x40000; // NCF_LW_FILTER

const ComponentClass kClasses[] = {
    {&GUID_DEVCLASS_NET, L"adapter", L"Net"},
    {&GUID_DEVCLASS_NETTRANS, L"trans", L"NetTrans"},
    {&GUID_DEVCLASS_NETSERVICE, L"service", L"NetService"},
    {&GUID_DEVCLASS_NETCLIENT, L"client", L"NetClient"},
};

// Windows makes an instance GUID up when it installs a component; here the id decides, so that two
// machines of the same data are the same.
GUID GuidOfId(const std::wstring& id) {
    unsigned long long hash = 14695981039346656037ull;
    for (wchar_t character : id) {
        hash = (hash ^ character) * 1099511628211ull;
    }
    GUID guid = {0x51560001, 0, 0x4000, {}};
    memcpy(guid.Data4, &hash, sizeof(guid.Data4));
    return guid;
}

ComponentItem ItemOf(const NetCfgAdapter& adapter) {
    ComponentItem item;
    item.classGuid = GUID_DEVCLASS_NET;
    item.id = adapter.id;
    item.displayName = adapter.displayName;
    item.bindName = adapter.guid;
    item.instanceId = adapter.instanceId;
    CLSIDFromString(adapter.guid.c_str(), &item.instanceGuid);
    item.characteristics = adapter.characteristics;
    return item;
}

ComponentItem ItemOf(const NetCfgComponent& component, const GUID& classGuid) {
    ComponentItem item;
    item.classGuid = classGuid;
    item.id = component.id;
    item.displayName = component.displayName;
    item.bindName = component.service;
    item.instanceGuid = GuidOfId(component.id);
    item.characteristics =
        (component.hidden ? NCF_HIDDEN : 0) | (component.IsFilter() ? kLightweightFilter : 0);
    return item;
}

// A filter is a service ("DDInstall Section in a Network INF File" and "INF Requirements for NDIS
// Filter Drivers" have it in the class NetService).
bool IsOfClass(const NetCfgComponent& component, const ComponentClass& wanted) {
    return component.kind == wanted.kind ||
           (component.IsFilter() && *wanted.guid == GUID_DEVCLASS_NETSERVICE);
}

// Rules after INetCfgComponent and INetCfgComponentBindings (Windows network configuration
// interfaces): strings are CoTaskMem copies; a device node and its status are an adapter's only;
// EBP_BELOW gives the paths that start at the component, EBP_ABOVE those that contain it, its own
// among them ("INetCfgComponentBindings::EnumBindingPaths"). Unverified: that the two are
// alternatives, and that the paths above an adapter include those of filters.
class Component final : public WorkspaceObject<INetCfgComponent, INetCfgComponentBindings> {
  public:
    Component(const WorkspacePointer& workspace, const ComponentItem& item)
        : WorkspaceObject(workspace), item_(item) {
    }

    HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR* name) override {
        return GiveText("INetCfgComponent::GetDisplayName", item_.displayName, name);
    }

    // An adapter's name belongs to its device.
    HRESULT STDMETHODCALLTYPE SetDisplayName(LPCWSTR name) override {
        if (name == nullptr) {
            return E_POINTER;
        }
        return Change("INetCfgComponent::SetDisplayName", [&] {
            if (item_.IsAdapter()) {
                return E_NOTIMPL;
            }
            const HRESULT result = workspace_->RenameComponent(item_.id, name);
            if (SUCCEEDED(result)) {
                item_.displayName = name;
            }
            return result;
        });
    }

    HRESULT STDMETHODCALLTYPE GetHelpText(LPWSTR* text) override {
        return GiveText("INetCfgComponent::GetHelpText", L"", text);
    }

    HRESULT STDMETHODCALLTYPE GetId(LPWSTR* id) override {
        return GiveText("INetCfgComponent::GetId", item_.id, id);
    }

    HRESULT STDMETHODCALLTYPE GetCharacteristics(LPDWORD characteristics) override {
        return Give("INetCfgComponent::GetCharacteristics", item_.characteristics, characteristics);
    }

    HRESULT STDMETHODCALLTYPE GetInstanceGuid(GUID* guid) override {
        return Give("INetCfgComponent::GetInstanceGuid", item_.instanceGuid, guid);
    }

    HRESULT STDMETHODCALLTYPE GetPnpDevNodeId(LPWSTR* id) override {
        if (id == nullptr) {
            return E_POINTER;
        }
        *id = nullptr;
        return Read("INetCfgComponent::GetPnpDevNodeId",
                    [&] { return item_.IsAdapter() ? CopyOut(item_.instanceId, id) : E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE GetClassGuid(GUID* guid) override {
        return Give("INetCfgComponent::GetClassGuid", item_.classGuid, guid);
    }

    HRESULT STDMETHODCALLTYPE GetBindName(LPWSTR* name) override {
        return GiveText("INetCfgComponent::GetBindName", item_.bindName, name);
    }

    HRESULT STDMETHODCALLTYPE GetDeviceStatus(ULONG* status) override {
        if (status == nullptr) {
            return E_POINTER;
        }
        *status = 0;
        return Read("INetCfgComponent::GetDeviceStatus", [&] {
            if (!item_.IsAdapter()) {
                return E_NOTIMPL;
            }
            for (const NetCfgAdapter& present : NetCfgAdapters()) {
                if (present.guid == item_.bindName) {
                    const bool disabled = DisabledByBench();
                    *status = disabled ? CM_PROB_DISABLED : 0;
                    return S_OK;
                }
            }
            return NETCFG_E_ADAPTER_NOT_FOUND;
        });
    }

    // Nobody on the bench looks into a component's parameters, and there is no page to raise.
    HRESULT STDMETHODCALLTYPE OpenParamKey(HKEY* key) override {
        if (key == nullptr) {
            return E_POINTER;
        }
        *key = nullptr;
        return Read("INetCfgComponent::OpenParamKey", [] { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE RaisePropertyUi(HWND, DWORD, IUnknown*) override {
        return Read("INetCfgComponent::RaisePropertyUi", [] { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE EnumBindingPaths(DWORD flags,
                                               IEnumNetCfgBindingPath** paths) override {
        if (paths == nullptr) {
            return E_POINTER;
        }
        *paths = nullptr;
        return Read("INetCfgComponentBindings::EnumBindingPaths", [&] {
            if (flags != EBP_ABOVE && flags != EBP_BELOW) {
                return E_INVALIDARG;
            }
            std::vector<NetCfgPath> chosen;
            for (const NetCfgPath& path : workspace_->Paths()) {
                if (flags == EBP_ABOVE ? IsOn(path) : IsOwnerOf(path)) {
                    chosen.push_back(path);
                }
            }
            *paths = MakePathEnumerator(workspace_, chosen);
            return S_OK;
        });
    }

    // Which component binds to which is data on the bench, and so is the order: these change or ask
    // what no client here does.
    HRESULT STDMETHODCALLTYPE BindTo(INetCfgComponent*) override {
        return Change("INetCfgComponentBindings::BindTo", [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE UnbindFrom(INetCfgComponent*) override {
        return Change("INetCfgComponentBindings::UnbindFrom", [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE SupportsBindingInterface(DWORD, LPCWSTR) override {
        return Read("INetCfgComponentBindings::SupportsBindingInterface", [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE IsBoundTo(INetCfgComponent*) override {
        return Read("INetCfgComponentBindings::IsBoundTo", [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE IsBindableTo(INetCfgComponent*) override {
        return Read("INetCfgComponentBindings::IsBindableTo", [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE MoveBefore(INetCfgBindingPath*, INetCfgBindingPath*) override {
        return Change("INetCfgComponentBindings::MoveBefore", [] { return E_NOTIMPL; });
    }
    HRESULT STDMETHODCALLTYPE MoveAfter(INetCfgBindingPath*, INetCfgBindingPath*) override {
        return Change("INetCfgComponentBindings::MoveAfter", [] { return E_NOTIMPL; });
    }

  private:
    HRESULT GiveText(const char* name, const std::wstring& text, LPWSTR* out) {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        return Read(name, [&] { return CopyOut(text, out); });
    }

    template <class Value> HRESULT Give(const char* name, const Value& value, Value* out) {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = {};
        return Read(name, [&] {
            *out = value;
            return S_OK;
        });
    }

    bool IsOwnerOf(const NetCfgPath& path) const {
        return !item_.IsAdapter() && path.ids.front() == item_.id;
    }

    // The whole path is given, also when it goes on below this component.
    bool IsOn(const NetCfgPath& path) const {
        if (item_.IsAdapter()) {
            return path.adapterGuid == item_.bindName;
        }
        return std::find(path.ids.begin(), path.ids.end(), item_.id) != path.ids.end();
    }

    bool DisabledByBench() const;

    ComponentItem item_;
};

bool Component::DisabledByBench() const {
    std::wstring name = item_.instanceId;
    std::replace(name.begin(), name.end(), L'\\', L'#');
    return NetCfgKey::Open(L"Software\\QvBench\\Devices\\" + name)
               .Number(L"Disabled")
               .value_or(0) != 0;
}

std::vector<ComponentItem> AllComponents(const Workspace& workspace) {
    std::vector<ComponentItem> all;
    for (const ComponentClass& candidate : kClasses) {
        const std::vector<ComponentItem> items = ComponentsOfClass(workspace, *candidate.guid);
        all.insert(all.end(), items.begin(), items.end());
    }
    return all;
}

} // namespace

bool ComponentItem::IsAdapter() const {
    return classGuid == GUID_DEVCLASS_NET;
}

const ComponentClass* FindComponentClass(const GUID& guid) {
    for (const ComponentClass& candidate : kClasses) {
        if (*candidate.guid == guid) {
            return &candidate;
        }
    }
    return nullptr;
}

std::vector<ComponentItem> ComponentsOfClass(const Workspace& workspace, const GUID& classGuid) {
    std::vector<ComponentItem> items;
    const ComponentClass* wanted = FindComponentClass(classGuid);
    if (classGuid == GUID_DEVCLASS_NET) {
        for (const NetCfgAdapter& adapter : workspace.Adapters()) {
            items.push_back(ItemOf(adapter));
        }
    } else if (wanted != nullptr) {
        for (const NetCfgComponent& component : workspace.Components()) {
            if (IsOfClass(component, *wanted)) {
                items.push_back(ItemOf(component, classGuid));
            }
        }
    }
    return items;
}

INetCfgComponent* MakeComponent(const WorkspacePointer& workspace, const ComponentItem& item) {
    return new Component(workspace, item);
}

IEnumNetCfgComponent* MakeComponentEnumerator(const WorkspacePointer& workspace,
                                              const GUID& classGuid) {
    return new Enumerator<IEnumNetCfgComponent, INetCfgComponent, ComponentItem>(
        workspace, ComponentsOfClass(*workspace, classGuid), MakeComponent);
}

HRESULT FindComponentById(const WorkspacePointer& workspace, const GUID* classGuid,
                          const wchar_t* id, INetCfgComponent** found) {
    for (const ComponentItem& item : classGuid != nullptr
                                         ? ComponentsOfClass(*workspace, *classGuid)
                                         : AllComponents(*workspace)) {
        if (lstrcmpiW(item.id.c_str(), id) == 0) {
            *found = MakeComponent(workspace, item);
            return S_OK;
        }
    }
    return S_FALSE;
}

INetCfgComponent* MakeComponentByName(const WorkspacePointer& workspace, const std::wstring& name) {
    for (const ComponentItem& item : AllComponents(*workspace)) {
        if (item.IsAdapter() ? item.bindName == name : item.id == name) {
            return MakeComponent(workspace, item);
        }
    }
    return nullptr;
}
