#include "workspace.h"

#include <netcfgx.h>

#include <algorithm>

#include "benchlink.h"
#include "netcfg_key.h"

namespace {

NetCfgKey MachineKey() {
    return NetCfgKey::Open(L"Software\\QvBench\\Machine");
}

bool IsAdministrator() {
    return MachineKey().Number(L"Administrator").value_or(1) != 0;
}

// From Windows 10 on.
bool PartsCountAtOnce() {
    return _wtoi(MachineKey().Text(L"Windows").value_or(L"10.0").c_str()) >= 10;
}

} // namespace

HRESULT Workspace::AcquireWriteLock(DWORD timeout, const std::wstring& description,
                                    std::wstring* holder) {
    std::lock_guard<Mutex> guard(mutex_);
    if (initialized_) {
        return NETCFG_E_ALREADY_INITIALIZED;
    }
    if (!IsAdministrator()) {
        return E_ACCESSDENIED;
    }
    if (lock_.Held()) {
        return S_OK;
    }
    if (!lock_.Acquire(timeout, description, holder)) {
        return S_FALSE;
    }
    BenchLinkJournal(L"netcfg-lock");
    return S_OK;
}

HRESULT Workspace::ReleaseWriteLock() {
    std::lock_guard<Mutex> guard(mutex_);
    if (!lock_.Held()) {
        return NETCFG_E_NO_WRITE_LOCK;
    }
    if (initialized_) {
        return NETCFG_E_ALREADY_INITIALIZED;
    }
    lock_.Release();
    BenchLinkJournal(L"netcfg-unlock");
    return S_OK;
}

HRESULT Workspace::Initialize() {
    std::lock_guard<Mutex> guard(mutex_);
    if (initialized_) {
        return NETCFG_E_ALREADY_INITIALIZED;
    }
    Load();
    initialized_ = true;
    ++generation_;
    return S_OK;
}

HRESULT Workspace::Uninitialize() {
    std::lock_guard<Mutex> guard(mutex_);
    if (!initialized_) {
        return NETCFG_E_NOT_INITIALIZED;
    }
    initialized_ = false;
    return S_OK;
}

HRESULT Workspace::Apply() {
    std::lock_guard<Mutex> guard(mutex_);
    for (const auto& [id, component] : stagedRemovals_) {
        NetCfgRemoveComponent(id);
        if (!component.service.empty()) {
            RemoveService(component.service);
        }
        BenchLinkJournal(L"netcfg-deinstall", id);
    }
    for (const auto& [id, installation] : stagedInstalls_) {
        for (const InfService& service : installation.inf.services) {
            if (!WriteInfService(service)) {
                return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
            }
        }
        NetCfgWriteComponent(*FindComponent(id));
        BenchLinkJournal(L"netcfg-install", installation.requestedId);
    }
    for (const auto& [id, name] : stagedNames_) {
        NetCfgWriteComponent(*FindComponent(id));
    }
    // Two workspaces cannot both hold the lock, but the machine's data can be edited meanwhile: the
    // state to compare with is the recorded one of now.
    for (const NetCfgPath& now : NetCfgPaths(NetCfgComponents(), adapters_)) {
        const auto staged = stagedPaths_.find(now.token);
        if (staged != stagedPaths_.end() && staged->second != now.switchedOn) {
            if (!NetCfgSetPathState(now.token, staged->second)) {
                return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
            }
            BenchLinkJournal(staged->second ? L"binding-enable" : L"binding-disable", now.token);
        }
    }
    BenchLinkJournal(L"netcfg-apply");
    Load();
    return S_OK;
}

HRESULT Workspace::Cancel() {
    std::lock_guard<Mutex> guard(mutex_);
    Load();
    return S_OK;
}

unsigned Workspace::Generation() const {
    std::lock_guard<Mutex> guard(mutex_);
    return generation_;
}

HRESULT Workspace::Readable(unsigned generation) const {
    std::lock_guard<Mutex> guard(mutex_);
    return initialized_ && generation == generation_ ? S_OK : NETCFG_E_NOT_INITIALIZED;
}

HRESULT Workspace::Changeable(unsigned generation) const {
    std::lock_guard<Mutex> guard(mutex_);
    const HRESULT readable = Readable(generation);
    return FAILED(readable) ? readable : lock_.Held() ? S_OK : NETCFG_E_NO_WRITE_LOCK;
}

std::vector<NetCfgComponent> Workspace::Components() const {
    std::lock_guard<Mutex> guard(mutex_);
    return components_;
}

std::vector<NetCfgAdapter> Workspace::Adapters() const {
    std::lock_guard<Mutex> guard(mutex_);
    return adapters_;
}

std::vector<NetCfgPath> Workspace::Paths() const {
    std::lock_guard<Mutex> guard(mutex_);
    return paths_;
}

std::optional<NetCfgPath> Workspace::FindPath(const std::wstring& token) const {
    std::lock_guard<Mutex> guard(mutex_);
    for (const NetCfgPath& path : paths_) {
        if (path.token == token) {
            return path;
        }
    }
    return std::nullopt;
}

HRESULT Workspace::EnablePath(const std::wstring& token, bool enable) {
    std::lock_guard<Mutex> guard(mutex_);
    for (NetCfgPath& path : paths_) {
        if (path.token == token) {
            path.switchedOn = enable;
            path.enabled = enable;
            stagedPaths_[token] = enable;
            if (PartsCountAtOnce()) {
                NetCfgSettlePaths(&paths_);
            }
            return S_OK;
        }
    }
    return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
}

HRESULT Workspace::RenameComponent(const std::wstring& id, const std::wstring& displayName) {
    std::lock_guard<Mutex> guard(mutex_);
    NetCfgComponent* component = FindComponent(id);
    if (component == nullptr) {
        return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    }
    component->displayName = displayName;
    stagedNames_[id] = displayName;
    return S_OK;
}

HRESULT Workspace::Install(const std::wstring& requestedId, const NetCfgComponent& component,
                           const InfComponent& inf) {
    std::lock_guard<Mutex> guard(mutex_);
    NetCfgComponent added = component;
    for (const NetCfgComponent& present : components_) {
        added.place = std::max(added.place, present.place + 1);
    }
    components_.push_back(added);
    stagedInstalls_[added.id] = {requestedId, inf};
    RebuildPaths();
    return S_OK;
}

HRESULT Workspace::DeInstall(const std::wstring& id) {
    std::lock_guard<Mutex> guard(mutex_);
    NetCfgComponent* component = FindComponent(id);
    if (component == nullptr) {
        return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    }
    // A component that was only going to be installed leaves nothing to remove.
    if (stagedInstalls_.erase(id) == 0) {
        stagedRemovals_[id] = *component;
    }
    stagedNames_.erase(id);
    components_.erase(components_.begin() + (component - components_.data()));
    RebuildPaths();
    return S_OK;
}

void Workspace::Load() {
    components_ = NetCfgComponents();
    adapters_ = NetCfgAdapters();
    paths_ = NetCfgPaths(components_, adapters_);
    stagedPaths_.clear();
    stagedInstalls_.clear();
    stagedRemovals_.clear();
    stagedNames_.clear();
}

void Workspace::RebuildPaths() {
    paths_ = NetCfgPaths(components_, adapters_);
    for (NetCfgPath& path : paths_) {
        const auto staged = stagedPaths_.find(path.token);
        path.switchedOn = staged != stagedPaths_.end() ? staged->second : path.switchedOn;
    }
    NetCfgSettlePaths(&paths_);
}

NetCfgComponent* Workspace::FindComponent(const std::wstring& id) {
    const auto found = std::find_if(components_.begin(), components_.end(),
                                    [&](const NetCfgComponent& item) { return item.id == id; });
    return found != components_.end() ? &*found : nullptr;
}
