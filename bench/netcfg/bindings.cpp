#include "bindings.h"

#include "comobject.h"
#include "component.h"

namespace {

// One hop of a path; the ends are an id each, the lower one perhaps an adapter's GUID.
struct Hop {
    std::wstring upper;
    std::wstring lower;
    std::wstring name; // the interface over which they meet
};

class BindingInterface final : public WorkspaceObject<INetCfgBindingInterface> {
  public:
    BindingInterface(const WorkspacePointer& workspace, const Hop& hop)
        : WorkspaceObject(workspace), hop_(hop) {
    }

    HRESULT STDMETHODCALLTYPE GetName(LPWSTR* name) override {
        if (name == nullptr) {
            return E_POINTER;
        }
        *name = nullptr;
        return Read("INetCfgBindingInterface::GetName", [&] { return CopyOut(hop_.name, name); });
    }

    HRESULT STDMETHODCALLTYPE GetUpperComponent(INetCfgComponent** component) override {
        return GiveComponent("INetCfgBindingInterface::GetUpperComponent", hop_.upper, component);
    }

    HRESULT STDMETHODCALLTYPE GetLowerComponent(INetCfgComponent** component) override {
        return GiveComponent("INetCfgBindingInterface::GetLowerComponent", hop_.lower, component);
    }

  private:
    HRESULT GiveComponent(const char* name, const std::wstring& end, INetCfgComponent** component) {
        if (component == nullptr) {
            return E_POINTER;
        }
        *component = nullptr;
        return Read(name, [&] {
            *component = MakeComponentByName(workspace_, end);
            return *component != nullptr ? S_OK : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
        });
    }

    const Hop hop_;
};

INetCfgBindingInterface* MakeInterface(const WorkspacePointer& workspace, const Hop& hop) {
    return new BindingInterface(workspace, hop);
}

// Rules after INetCfgBindingPath (Windows network configuration interfaces): the questions answer
// S_OK for yes and S_FALSE for no; Enable is a change, which needs the write lock and waits for
// Apply; interfaces are listed from the owner, the topmost component, downwards. Enable sets the
// path's own state and IsEnabled also looks at the parts of the path: see Workspace::EnablePath.
// Unverified: that Enable(TRUE) succeeds for every path, also for that of a switch protocol.
class BindingPath final : public WorkspaceObject<INetCfgBindingPath> {
  public:
    BindingPath(const WorkspacePointer& workspace, const NetCfgPath& path)
        : WorkspaceObject(workspace), path_(path) {
    }

    HRESULT STDMETHODCALLTYPE IsSamePathAs(INetCfgBindingPath* other) override {
        return Compare("INetCfgBindingPath::IsSamePathAs", other,
                       [&](const std::wstring& token) { return token == path_.token; });
    }

    HRESULT STDMETHODCALLTYPE IsSubPathOf(INetCfgBindingPath* other) override {
        return Compare("INetCfgBindingPath::IsSubPathOf", other, [&](const std::wstring& token) {
            const std::wstring tail = L"->" + path_.token;
            return token.size() > tail.size() &&
                   token.compare(token.size() - tail.size(), tail.size(), tail) == 0;
        });
    }

    HRESULT STDMETHODCALLTYPE IsEnabled() override {
        return Read("INetCfgBindingPath::IsEnabled", [&] {
            const std::optional<NetCfgPath> now = workspace_->FindPath(path_.token);
            return !now ? HRESULT_FROM_WIN32(ERROR_NOT_FOUND) : now->enabled ? S_OK : S_FALSE;
        });
    }

    HRESULT STDMETHODCALLTYPE Enable(WINBOOL enable) override {
        return Change("INetCfgBindingPath::Enable",
                      [&] { return workspace_->EnablePath(path_.token, enable != FALSE); });
    }

    HRESULT STDMETHODCALLTYPE GetPathToken(LPWSTR* token) override {
        if (token == nullptr) {
            return E_POINTER;
        }
        *token = nullptr;
        return Read("INetCfgBindingPath::GetPathToken",
                    [&] { return CopyOut(path_.token, token); });
    }

    HRESULT STDMETHODCALLTYPE GetOwner(INetCfgComponent** component) override {
        if (component == nullptr) {
            return E_POINTER;
        }
        *component = nullptr;
        return Read("INetCfgBindingPath::GetOwner", [&] {
            *component = MakeComponentByName(workspace_, path_.ids.front());
            return *component != nullptr ? S_OK : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
        });
    }

    // "INetCfgBindingPath::GetDepth": the number of components, the adapter among them; there is one
    // interface less.
    HRESULT STDMETHODCALLTYPE GetDepth(ULONG* components) override {
        if (components == nullptr) {
            return E_POINTER;
        }
        *components = 0;
        return Read("INetCfgBindingPath::GetDepth", [&] {
            *components = static_cast<ULONG>(path_.ids.size() + 1);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE
    EnumBindingInterfaces(IEnumNetCfgBindingInterface** interfaces) override {
        if (interfaces == nullptr) {
            return E_POINTER;
        }
        *interfaces = nullptr;
        return Read("INetCfgBindingPath::EnumBindingInterfaces", [&] {
            std::vector<Hop> hops;
            for (size_t index = 0; index < path_.ids.size(); ++index) {
                const bool last = index + 1 == path_.ids.size();
                hops.push_back({path_.ids[index], last ? path_.adapterGuid : path_.ids[index + 1],
                                path_.interfaces[index]});
            }
            *interfaces = new Enumerator<IEnumNetCfgBindingInterface, INetCfgBindingInterface, Hop>(
                workspace_, hops, MakeInterface);
            return S_OK;
        });
    }

  private:
    template <class Judge>
    HRESULT Compare(const char* name, INetCfgBindingPath* other, Judge judge) {
        if (other == nullptr) {
            return E_POINTER;
        }
        return Read(name, [&] {
            LPWSTR token = nullptr;
            const HRESULT result = other->GetPathToken(&token);
            if (FAILED(result)) {
                return result;
            }
            const bool yes = judge(token);
            CoTaskMemFree(token);
            return yes ? S_OK : S_FALSE;
        });
    }

    const NetCfgPath path_;
};

INetCfgBindingPath* MakePath(const WorkspacePointer& workspace, const NetCfgPath& path) {
    return new BindingPath(workspace, path);
}

} // namespace

IEnumNetCfgBindingPath* MakePathEnumerator(const WorkspacePointer& workspace,
                                           const std::vector<NetCfgPath>& paths) {
    return new Enumerator<IEnumNetCfgBindingPath, INetCfgBindingPath, NetCfgPath>(workspace, paths,
                                                                                  MakePath);
}
