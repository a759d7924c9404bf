// Every use of the network configuration needs the same five things in order: COM, the object,
// the lock, initialisation, and all of them undone.
#include "device/net_config.h"

#include "inventory/trace.h"

constexpr DWORD LOCK_WAIT_MS = 5000;

static HRESULT InitializeLocked(INetCfg* netCfg, INetCfgLock* lock, LPCWSTR client,
                                LPWSTR* lockHolder) {
    HRESULT hr = lock->AcquireWriteLock(LOCK_WAIT_MS, client, lockHolder);
    if (hr == S_FALSE) {
        Trace(L"   InitializeLocked: another client holds the lock\n");
        return NETCFG_E_NO_WRITE_LOCK;
    }
    if (FAILED(hr))
        return hr;
    hr = netCfg->Initialize(NULL);
    if (FAILED(hr))
        lock->ReleaseWriteLock();
    return hr;
}

static HRESULT CreateLocked(LPCWSTR client, INetCfg** netCfg, LPWSTR* lockHolder) {
    INetCfg* created = NULL;
    INetCfgLock* lock = NULL;

    HRESULT hr = CoCreateInstance(CLSID_CNetCfg, NULL, CLSCTX_INPROC_SERVER, IID_INetCfg,
                                  reinterpret_cast<void**>(&created));
    if (FAILED(hr))
        return hr;
    hr = created->QueryInterface(IID_INetCfgLock, reinterpret_cast<void**>(&lock));
    if (SUCCEEDED(hr)) {
        hr = InitializeLocked(created, lock, client, lockHolder);
        if (SUCCEEDED(hr)) {
            created->AddRef();
            *netCfg = created;
        }
        lock->Release();
    }
    created->Release();
    return hr;
}

HRESULT HrGetINetCfg(BOOL writeLock, LPCWSTR client, INetCfg** netCfg, LPWSTR* lockHolder) {
    LPWSTR holder = NULL;

    Trace(L"-->HrGetINetCfg:\n");
    (void)writeLock;
    *netCfg = NULL;
    if (lockHolder != NULL)
        *lockHolder = NULL;

    HRESULT hr = CoInitialize(NULL);
    if (FAILED(hr)) {
        Trace(L"<--HrGetINetCfg: no COM 0x%x\n", hr);
        return hr;
    }
    hr = CreateLocked(client, netCfg, &holder);
    if (lockHolder != NULL && hr == NETCFG_E_NO_WRITE_LOCK)
        *lockHolder = holder;
    else
        CoTaskMemFree(holder);
    if (FAILED(hr))
        CoUninitialize();
    Trace(L"<--HrGetINetCfg: 0x%x\n", hr);
    return hr;
}

static HRESULT ReleaseLock(INetCfg* netCfg) {
    INetCfgLock* lock = NULL;

    HRESULT hr = netCfg->QueryInterface(IID_INetCfgLock, reinterpret_cast<void**>(&lock));
    if (FAILED(hr))
        return hr;
    hr = lock->ReleaseWriteLock();
    lock->Release();
    return hr;
}

HRESULT HrReleaseINetCfg(INetCfg* netCfg, BOOL hasWriteLock) {
    Trace(L"-->HrReleaseINetCfg:\n");
    HRESULT hr = netCfg->Uninitialize();
    (void)hasWriteLock;
    if (SUCCEEDED(hr))
        hr = ReleaseLock(netCfg);
    netCfg->Release();
    CoUninitialize();
    Trace(L"<--HrReleaseINetCfg: 0x%x\n", hr);
    return hr;
}
