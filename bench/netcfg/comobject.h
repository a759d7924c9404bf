// What all COM objects of the server share: reference counting, the count of live objects, faults
// on demand, strings for the caller, and the enumerator contract.
#pragma once

#include <windows.h>
#include <netcfgx.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "benchlink.h"
#include "workspace.h"

extern std::atomic<long> g_liveObjects;

// The fault name prefix of each interface.
template <class Interface> inline constexpr const char* kInterfaceName = nullptr;
template <> inline constexpr const char* kInterfaceName<INetCfg> = "INetCfg";
template <> inline constexpr const char* kInterfaceName<INetCfgClass> = "INetCfgClass";
template <> inline constexpr const char* kInterfaceName<INetCfgClassSetup> = "INetCfgClassSetup";
template <> inline constexpr const char* kInterfaceName<INetCfgComponent> = "INetCfgComponent";
template <> inline constexpr const char* kInterfaceName<INetCfgBindingPath> = "INetCfgBindingPath";
template <>
inline constexpr const char* kInterfaceName<INetCfgBindingInterface> = "INetCfgBindingInterface";
template <>
inline constexpr const char* kInterfaceName<IEnumNetCfgComponent> = "IEnumNetCfgComponent";
template <>
inline constexpr const char* kInterfaceName<IEnumNetCfgBindingPath> = "IEnumNetCfgBindingPath";
template <>
inline constexpr const char* kInterfaceName<IEnumNetCfgBindingInterface> =
    "IEnumNetCfgBindingInterface";

// Runs the body of one method under the fault of that name. An injected error, or S_FALSE, replaces
// the call, so outputs must have been cleared before; another success code (NETCFG_S_REBOOT) is
// what a call that did its work returns instead of S_OK.
template <class Body> HRESULT Method(const std::string& name, Body body) {
    HRESULT injected = S_OK;
    if (!BenchLinkTakeFault(name.c_str(), &injected)) {
        return body();
    }
    if (FAILED(injected) || injected == S_FALSE) {
        return injected;
    }
    const HRESULT result = body();
    return result == S_OK ? injected : result;
}

// A copy that the caller frees with CoTaskMemFree.
inline HRESULT CopyOut(const std::wstring& text, LPWSTR* out) {
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    *out = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (*out == nullptr) {
        return E_OUTOFMEMORY;
    }
    memcpy(*out, text.c_str(), bytes);
    return S_OK;
}

// Starts with one reference. The first interface answers for IUnknown and names the faults; asking
// for another interface than that one goes through the fault "First::QueryInterface".
template <class First, class... Others> class ComObject : public First, public Others... {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        if (iid == __uuidof(IUnknown) || iid == __uuidof(First)) {
            AddRef();
            *object = static_cast<First*>(this);
            return S_OK;
        }
        return Method(std::string(kInterfaceName<First>) + "::QueryInterface", [&] {
            (void)(GiveIf<Others>(iid, object) || ...);
            return *object != nullptr ? S_OK : E_NOINTERFACE;
        });
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(++references_);
    }

    ULONG STDMETHODCALLTYPE Release() override {
        const long left = --references_;
        if (left == 0) {
            delete this;
        }
        return static_cast<ULONG>(left);
    }

  protected:
    ComObject() {
        ++g_liveObjects;
    }
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;
    virtual ~ComObject() {
        --g_liveObjects;
    }

  private:
    template <class Interface> bool GiveIf(REFIID iid, void** object) {
        if (iid == __uuidof(Interface)) {
            AddRef();
            *object = static_cast<Interface*>(this);
        }
        return *object != nullptr;
    }

    std::atomic<long> references_{1};
};

// An object that belongs to one initialised period of a workspace and is refused after it.
template <class... Interfaces> class WorkspaceObject : public ComObject<Interfaces...> {
  protected:
    explicit WorkspaceObject(WorkspacePointer workspace)
        : workspace_(std::move(workspace)), generation_(workspace_->Generation()) {
    }

    // As Method, with the workspace's own refusals between the fault and the body.
    template <class Body> HRESULT Read(const std::string& name, Body body) {
        return Method(name, [&] {
            const HRESULT readable = workspace_->Readable(generation_);
            return FAILED(readable) ? readable : body();
        });
    }
    template <class Body> HRESULT Change(const std::string& name, Body body) {
        return Method(name, [&] {
            const HRESULT changeable = workspace_->Changeable(generation_);
            return FAILED(changeable) ? changeable : body();
        });
    }

    const WorkspacePointer workspace_;
    const unsigned generation_;
};

// IEnumXxx as COM defines it: Next gives S_FALSE when it hands out fewer than asked, and needs the
// count output unless one element is asked; Skip gives S_FALSE at the end; Clone keeps the
// position. `Maker` turns an item into an interface pointer with one reference for the caller.
template <class EnumInterface, class ItemInterface, class Item>
class Enumerator : public WorkspaceObject<EnumInterface> {
  public:
    using Maker = ItemInterface* (*)(const WorkspacePointer& workspace, const Item& item);

    Enumerator(const WorkspacePointer& workspace, std::vector<Item> items, Maker maker,
               size_t position = 0)
        : WorkspaceObject<EnumInterface>(workspace), items_(std::move(items)), maker_(maker),
          position_(position) {
    }

    HRESULT STDMETHODCALLTYPE Next(ULONG count, ItemInterface** items, ULONG* fetched) override {
        if (fetched != nullptr) {
            *fetched = 0;
        }
        if (items == nullptr) {
            return E_POINTER;
        }
        if (fetched == nullptr && count != 1) {
            return E_INVALIDARG;
        }
        std::fill(items, items + count, nullptr);
        return this->Read(Name("::Next"), [&] {
            ULONG given = 0;
            for (; given < count && position_ < items_.size(); ++given) {
                items[given] = maker_(this->workspace_, items_[position_++]);
            }
            if (fetched != nullptr) {
                *fetched = given;
            }
            return given == count ? S_OK : S_FALSE;
        });
    }

    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
        return this->Read(Name("::Skip"), [&] {
            const size_t left = items_.size() - position_;
            position_ += std::min<size_t>(count, left);
            return count <= left ? S_OK : S_FALSE;
        });
    }

    HRESULT STDMETHODCALLTYPE Reset() override {
        return this->Read(Name("::Reset"), [&] {
            position_ = 0;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE Clone(EnumInterface** copy) override {
        if (copy == nullptr) {
            return E_POINTER;
        }
        *copy = nullptr;
        return this->Read(Name("::Clone"), [&] {
            *copy = new Enumerator(this->workspace_, items_, maker_, position_);
            return S_OK;
        });
    }

  private:
    static std::string Name(const char* method) {
        return std::string(kInterfaceName<EnumInterface>) + method;
    }

    const std::vector<Item> items_;
    const Maker maker_;
    size_t position_;
};
