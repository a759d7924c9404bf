// The DLL as COM sees it: class object, registration, life time.
#include <windows.h>
#include <netcfgx.h>
#include <olectl.h>

#include <atomic>

#include "comobject.h"
#include "configuration.h"
#include "qvnetcfg.h"

std::atomic<long> g_liveObjects{0};

namespace {

HMODULE g_module = nullptr;
std::atomic<long> g_serverLocks{0};

// One for the life of the DLL; references to it keep the DLL loaded like locks.
class Factory final : public IClassFactory {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
        *object = known ? this : nullptr;
        if (known) {
            AddRef();
        }
        return known ? S_OK : E_NOINTERFACE;
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(++g_serverLocks + 1);
    }

    ULONG STDMETHODCALLTYPE Release() override {
        return static_cast<ULONG>(--g_serverLocks + 1);
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        if (outer != nullptr) {
            return CLASS_E_NOAGGREGATION;
        }
        INetCfg* configuration = MakeConfiguration();
        const HRESULT result = configuration->QueryInterface(iid, object);
        configuration->Release();
        return result;
    }

    HRESULT STDMETHODCALLTYPE LockServer(WINBOOL lock) override {
        g_serverLocks += lock ? 1 : -1;
        return S_OK;
    }
};

Factory g_factory;

} // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        g_module = instance;
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    return clsid == CLSID_CNetCfg ? g_factory.QueryInterface(iid, object)
                                  : CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT WINAPI DllCanUnloadNow(void) {
    return g_liveObjects == 0 && g_serverLocks == 0 ? S_OK : S_FALSE;
}

HRESULT WINAPI DllRegisterServer(void) {
    wchar_t path[MAX_PATH] = {};
    const DWORD count = GetModuleFileNameW(g_module, path, ARRAYSIZE(path));
    return count != 0 && count < ARRAYSIZE(path) && NetCfgRegister(path) ? S_OK : SELFREG_E_CLASS;
}

// Wine's own server takes over again.
HRESULT WINAPI DllUnregisterServer(void) {
    return NetCfgRegister(L"C:\\windows\\system32\\netcfgx.dll") ? S_OK : SELFREG_E_CLASS;
}

long NetCfgLiveObjects(void) {
    return g_liveObjects;
}

BOOL NetCfgLockHeld(void) {
    return WriteLock::HeldHere() != 0;
}

long NetCfgLocksForgotten(void) {
    return WriteLock::Forgotten();
}
}
