// The configuration that one INetCfg object works on, shared with every object that it handed out:
// whether it is initialised, whether it holds the write lock, what it read of the machine, and the
// changes that only Apply makes real.
//
// Rules, after INetCfg and INetCfgLock (Windows network configuration interfaces):
// - The lock is acquired before Initialize or after Uninitialize; in between AcquireWriteLock fails
//   with NETCFG_E_ALREADY_INITIALIZED. Only administrators get it (E_ACCESSDENIED).
// - Reading needs Initialize, changing needs the lock too (NETCFG_E_NO_WRITE_LOCK).
// Unverified:
// - ReleaseWriteLock in between fails with NETCFG_E_ALREADY_INITIALIZED as well, and without the
//   lock with NETCFG_E_NO_WRITE_LOCK.
// - Acquiring a lock that this object has is S_OK and does not count twice; another object of the
//   same thread or process is another client and waits.
// - "Not initialised" comes before "no write lock".
// - An object handed out before Uninitialize stays invalid after a second Initialize.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "inf.h"
#include "model.h"
#include "writelock.h"

// One that may be taken again by who holds it. The library's own keeps a block of memory for good when
// it goes.
class Mutex {
  public:
    Mutex() {
        InitializeCriticalSection(&section_);
    }
    ~Mutex() {
        DeleteCriticalSection(&section_);
    }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() {
        EnterCriticalSection(&section_);
    }
    void unlock() {
        LeaveCriticalSection(&section_);
    }

  private:
    CRITICAL_SECTION section_;
};

class Workspace {
  public:
    HRESULT AcquireWriteLock(DWORD timeout, const std::wstring& description, std::wstring* holder);
    HRESULT ReleaseWriteLock();

    HRESULT Initialize();
    HRESULT Uninitialize();
    HRESULT Apply();
    HRESULT Cancel();

    // S_OK, or why an object of this generation cannot be read, or cannot be changed.
    unsigned Generation() const;
    HRESULT Readable(unsigned generation) const;
    HRESULT Changeable(unsigned generation) const;

    // The configuration as this workspace sees it, its own changes included.
    std::vector<NetCfgComponent> Components() const;
    std::vector<NetCfgAdapter> Adapters() const;
    std::vector<NetCfgPath> Paths() const;
    std::optional<NetCfgPath> FindPath(const std::wstring& token) const;

    // Changes, real after Apply. The caller has asked Changeable.
    //
    // A path is enabled when it is switched on and so is every path that is a part of it. From
    // Windows 10 on IsEnabled tells so at once; before, it tells the path's own new state until
    // Apply ("INetCfgBindingPath::Enable"). Unverified: that switching on a path whose part is
    // disabled succeeds and shows as soon as the part is enabled.
    HRESULT EnablePath(const std::wstring& token, bool enable);
    HRESULT RenameComponent(const std::wstring& id, const std::wstring& displayName);
    HRESULT Install(const std::wstring& requestedId, const NetCfgComponent& component,
                    const InfComponent& inf);
    HRESULT DeInstall(const std::wstring& id);

  private:
    struct Installation {
        std::wstring requestedId;
        InfComponent inf;
    };

    void Load();
    void RebuildPaths();
    NetCfgComponent* FindComponent(const std::wstring& id);

    mutable Mutex mutex_;
    WriteLock lock_;
    bool initialized_ = false;
    unsigned generation_ = 0;

    std::vector<NetCfgComponent> components_;
    std::vector<NetCfgAdapter> adapters_;
    std::vector<NetCfgPath> paths_;

    std::map<std::wstring, bool> stagedPaths_;
    std::map<std::wstring, Installation> stagedInstalls_;
    std::map<std::wstring, NetCfgComponent> stagedRemovals_;
    std::map<std::wstring, std::wstring> stagedNames_;
};

using WorkspacePointer = std::shared_ptr<Workspace>;
