#include "configuration.h"

#include <devguid.h>
#include <netcfgn.h>

#include "comobject.h"
#include "component.h"

namespace {

// INetCfgClassSetup::Install asks on whose behalf: each type needs its own fields.
HRESULT CheckOboToken(const OBO_TOKEN* token) {
    if (token == nullptr) {
        return E_POINTER;
    }
    switch (token->Type) {
    case OBO_USER:
        return S_OK;
    case OBO_COMPONENT:
        return token->pncc != nullptr ? S_OK : E_INVALIDARG;
    case OBO_SOFTWARE:
        return token->pszwManufacturer != nullptr && token->pszwProduct != nullptr &&
                       token->pszwDisplayName != nullptr
                   ? S_OK
                   : E_INVALIDARG;
    }
    return E_INVALIDARG;
}

HRESULT TakeText(HRESULT result, LPWSTR text, std::wstring* out) {
    if (SUCCEEDED(result)) {
        *out = text;
        CoTaskMemFree(text);
    }
    return result;
}

// Rules after INetCfgClass and INetCfgClassSetup (Windows network configuration interfaces):
// - Install and DeInstall need the write lock. What they do is staged like any other change: the
//   component and its service key exist after Apply, and Cancel or Uninitialize drops them.
// - Installing what is installed is S_OK and adds nothing.
// - The component is looked for by driver selection within its class, so an id that no INF file
//   lists leaves nothing selected: SPAPI_E_NO_DRIVER_SELECTED (unverified).
// - An answer file goes with the section to read in it.
// - The OBO token is mandatory except for the class Net.
// - NSF_PRIMARYINSTALL is for the installation of the operating system. No refusal is documented, so
//   the journal tells of it.
class ClassObject final : public WorkspaceObject<INetCfgClass, INetCfgClassSetup> {
  public:
    ClassObject(const WorkspacePointer& workspace, const GUID& classGuid)
        : WorkspaceObject(workspace), classGuid_(classGuid) {
    }

    HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) override {
        if (component != nullptr) {
            *component = nullptr;
        }
        if (component == nullptr || id == nullptr) {
            return E_POINTER;
        }
        return Read("INetCfgClass::FindComponent",
                    [&] { return FindComponentById(workspace_, &classGuid_, id, component); });
    }

    HRESULT STDMETHODCALLTYPE EnumComponents(IEnumNetCfgComponent** components) override {
        if (components == nullptr) {
            return E_POINTER;
        }
        *components = nullptr;
        return Read("INetCfgClass::EnumComponents", [&] {
            *components = MakeComponentEnumerator(workspace_, classGuid_);
            return S_OK;
        });
    }

    // Would show the list of installable components to a person.
    HRESULT STDMETHODCALLTYPE SelectAndInstall(HWND, OBO_TOKEN*,
                                               INetCfgComponent** component) override {
        if (component != nullptr) {
            *component = nullptr;
        }
        return Change("INetCfgClassSetup::SelectAndInstall", [] { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE Install(LPCWSTR id, OBO_TOKEN* token, DWORD setupFlags, DWORD,
                                      LPCWSTR answerFile, LPCWSTR answerSections,
                                      INetCfgComponent** component) override {
        if (component != nullptr) {
            *component = nullptr;
        }
        if (id == nullptr) {
            return E_POINTER;
        }
        const HRESULT tokenResult =
            token == nullptr && IsAdapterClass() ? S_OK : CheckOboToken(token);
        if (FAILED(tokenResult)) {
            return tokenResult;
        }
        if (answerFile != nullptr && answerSections == nullptr) {
            return E_INVALIDARG;
        }
        if ((setupFlags & NSF_PRIMARYINSTALL) != 0) {
            BenchLinkJournal(L"misuse",
                             L"INetCfgClassSetup::Install: NSF_PRIMARYINSTALL is for the "
                             L"installation of the operating system");
        }
        return Change("INetCfgClassSetup::Install", [&] {
            const HRESULT result = InstallById(id);
            if (SUCCEEDED(result) && component != nullptr) {
                FindComponentById(workspace_, &classGuid_, id, component);
            }
            return result;
        });
    }

    HRESULT STDMETHODCALLTYPE DeInstall(INetCfgComponent* component, OBO_TOKEN* token,
                                        LPWSTR* references) override {
        if (references != nullptr) {
            *references = nullptr;
        }
        if (component == nullptr) {
            return E_POINTER;
        }
        const HRESULT tokenResult = CheckOboToken(token);
        if (FAILED(tokenResult)) {
            return tokenResult;
        }
        return Change("INetCfgClassSetup::DeInstall", [&] {
            GUID itsClass = {};
            HRESULT result = component->GetClassGuid(&itsClass);
            if (SUCCEEDED(result) && (itsClass != classGuid_ || IsAdapterClass())) {
                return E_INVALIDARG;
            }
            LPWSTR text = nullptr;
            std::wstring id;
            if (SUCCEEDED(result)) {
                result = component->GetId(&text);
                result = TakeText(result, text, &id);
            }
            return SUCCEEDED(result) ? workspace_->DeInstall(id) : result;
        });
    }

  private:
    // Adapters come and go through the device installation interfaces here.
    bool IsAdapterClass() const {
        return classGuid_ == GUID_DEVCLASS_NET;
    }

    HRESULT InstallById(const wchar_t* id) {
        if (IsAdapterClass()) {
            return E_NOTIMPL;
        }
        for (const ComponentItem& present : ComponentsOfClass(*workspace_, classGuid_)) {
            if (lstrcmpiW(present.id.c_str(), id) == 0) {
                return S_OK;
            }
        }
        const ComponentClass* kind = FindComponentClass(classGuid_);
        const std::optional<InfComponent> inf = FindInfComponent({*kind->guid, kind->infClass}, id);
        if (!inf) {
            return SPAPI_E_NO_DRIVER_SELECTED;
        }
        std::wstring lower = id;
        CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
        NetCfgComponent component;
        component.id = lower;
        component.kind = inf->isFilter ? L"filter" : kind->kind;
        component.displayName = inf->description;
        component.upperRange = inf->upperRange;
        component.lowerRange = inf->lowerRange;
        component.service = inf->services.empty() ? L"" : inf->services.front().name;
        return workspace_->Install(id, component, *inf);
    }

    const GUID classGuid_;
};

// Rules after INetCfg and INetCfgLock: see workspace.h. A class is one of the four network classes,
// another GUID is E_INVALIDARG; a component that is not found is S_FALSE.
class Configuration final : public ComObject<INetCfg, INetCfgLock> {
  public:
    Configuration() : workspace_(std::make_shared<Workspace>()) {
    }

    HRESULT STDMETHODCALLTYPE Initialize(PVOID reserved) override {
        return Method("INetCfg::Initialize", [&] {
            return reserved != nullptr ? E_INVALIDARG : workspace_->Initialize();
        });
    }

    HRESULT STDMETHODCALLTYPE Uninitialize() override {
        return Method("INetCfg::Uninitialize", [&] { return workspace_->Uninitialize(); });
    }

    HRESULT STDMETHODCALLTYPE Apply() override {
        return Method("INetCfg::Apply", [&] {
            const HRESULT changeable = workspace_->Changeable(workspace_->Generation());
            return FAILED(changeable) ? changeable : workspace_->Apply();
        });
    }

    HRESULT STDMETHODCALLTYPE Cancel() override {
        return Method("INetCfg::Cancel", [&] {
            const HRESULT changeable = workspace_->Changeable(workspace_->Generation());
            return FAILED(changeable) ? changeable : workspace_->Cancel();
        });
    }

    HRESULT STDMETHODCALLTYPE EnumComponents(const GUID* classGuid,
                                             IEnumNetCfgComponent** components) override {
        if (components != nullptr) {
            *components = nullptr;
        }
        if (components == nullptr || classGuid == nullptr) {
            return E_POINTER;
        }
        return Read("INetCfg::EnumComponents", [&] {
            if (FindComponentClass(*classGuid) == nullptr) {
                return E_INVALIDARG;
            }
            *components = MakeComponentEnumerator(workspace_, *classGuid);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) override {
        if (component != nullptr) {
            *component = nullptr;
        }
        if (component == nullptr || id == nullptr) {
            return E_POINTER;
        }
        return Read("INetCfg::FindComponent",
                    [&] { return FindComponentById(workspace_, nullptr, id, component); });
    }

    HRESULT STDMETHODCALLTYPE QueryNetCfgClass(const GUID* classGuid, REFIID iid,
                                               void** object) override {
        if (object != nullptr) {
            *object = nullptr;
        }
        if (object == nullptr || classGuid == nullptr) {
            return E_POINTER;
        }
        return Read("INetCfg::QueryNetCfgClass", [&] {
            if (FindComponentClass(*classGuid) == nullptr) {
                return E_INVALIDARG;
            }
            if (iid != IID_INetCfgClass && iid != IID_INetCfgClassSetup) {
                return E_NOINTERFACE;
            }
            auto* found = new ClassObject(workspace_, *classGuid);
            if (iid == IID_INetCfgClass) {
                *object = static_cast<INetCfgClass*>(found);
            } else {
                *object = static_cast<INetCfgClassSetup*>(found);
            }
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE AcquireWriteLock(DWORD timeout, LPCWSTR description,
                                               LPWSTR* holder) override {
        if (holder != nullptr) {
            *holder = nullptr;
        }
        if (description == nullptr) {
            return E_POINTER;
        }
        return Method("INetCfgLock::AcquireWriteLock", [&] {
            std::wstring name;
            const HRESULT result = workspace_->AcquireWriteLock(timeout, description, &name);
            if (result == S_FALSE && holder != nullptr) {
                const HRESULT copied = CopyOut(name, holder);
                return FAILED(copied) ? copied : result;
            }
            return result;
        });
    }

    HRESULT STDMETHODCALLTYPE ReleaseWriteLock() override {
        return Method("INetCfgLock::ReleaseWriteLock",
                      [&] { return workspace_->ReleaseWriteLock(); });
    }

    HRESULT STDMETHODCALLTYPE IsWriteLocked(LPWSTR* holder) override {
        if (holder == nullptr) {
            return E_POINTER;
        }
        *holder = nullptr;
        return Method("INetCfgLock::IsWriteLocked", [&] {
            std::wstring name;
            return WriteLock::HeldByAnyone(&name) ? CopyOut(name, holder) : S_FALSE;
        });
    }

  private:
    template <class Body> HRESULT Read(const char* name, Body body) {
        return Method(name, [&] {
            const HRESULT readable = workspace_->Readable(workspace_->Generation());
            return FAILED(readable) ? readable : body();
        });
    }

    const WorkspacePointer workspace_;
};

} // namespace

INetCfg* MakeConfiguration() {
    return new Configuration();
}
