// A team works only over the teaming protocol, and an administrator who copied the drivers
// without running their installer should not have to know that.
#include "device/protocol.h"

#include "device/inf_search.h"
#include "device/net_config.h"
#include "include/names.h"
#include "inventory/trace.h"

#include <devguid.h>

BOOL IsProtocolDriverInstalled(void) {
    HKEY key;

    Trace(L"-->IsProtocolDriverInstalled:\n");
    LONG lResult = RegOpenKeyExW(HKEY_LOCAL_MACHINE, PROTOCOL_SERVICE_KEY, 0, KEY_ALL_ACCESS, &key);
    if (lResult == ERROR_SUCCESS)
        RegCloseKey(key);
    Trace(L"<--IsProtocolDriverInstalled: %d\n", lResult);
    return lResult == ERROR_SUCCESS;
}

HRESULT HrInstallNetComponent(INetCfg* netCfg) {
    INetCfgClassSetup* setup = NULL;
    INetCfgComponent* component = NULL;
    OBO_TOKEN token = {};

    Trace(L"-->HrInstallNetComponent:\n");
    HRESULT hr = netCfg->QueryNetCfgClass(&GUID_DEVCLASS_NETTRANS, IID_INetCfgClassSetup,
                                          reinterpret_cast<void**>(&setup));
    if (FAILED(hr)) {
        Trace(L"<--HrInstallNetComponent: no class setup 0x%x\n", hr);
        return hr;
    }
    token.Type = OBO_USER;
    hr = setup->Install(PROTOCOL_COMPONENT_ID, &token, 0, 0, NULL, NULL, &component);
    if (SUCCEEDED(hr) && component != NULL)
        component->Release();
    setup->Release();
    if (SUCCEEDED(hr))
        hr = netCfg->Apply();
    Trace(L"<--HrInstallNetComponent: 0x%x\n", hr);
    return hr;
}

int InstallProtocolDriver(HWND parent) {
    INetCfg* netCfg = NULL;
    LPWSTR holder = NULL;
    WCHAR szInfPath[PATH_CCH];

    Trace(L"-->InstallProtocolDriver:\n");
    HRESULT hr = HrGetINetCfg(TRUE, NET_CONFIG_CLIENT, &netCfg, &holder);
    if (FAILED(hr)) {
        Trace(L"<--InstallProtocolDriver: no configuration 0x%x\n", hr);
        CoTaskMemFree(holder);
        return 1;
    }
    if (!GetProtocolInf(parent, szInfPath)) {
        // The configuration stays open on purpose: while drivers are missing, nobody rebinds the
        // adapters until this program is closed. Its own next attempt meets the lock too, waits
        // for it and then goes on to a team job that stops at the bindings.
        Trace(L"<--InstallProtocolDriver: no INF\n");
        return 0;
    }
    Trace(L"   InstallProtocolDriver: %s\n", szInfPath);

    hr = HrInstallNetComponent(netCfg);
    if (hr == S_OK || hr == NETCFG_S_REBOOT)
        hr = netCfg->Apply();
    else if (hr != HRESULT_FROM_WIN32(ERROR_CANCELLED))
        Trace(L"   InstallProtocolDriver: not installed 0x%x\n", hr);
    HrReleaseINetCfg(netCfg, TRUE);
    Trace(L"<--InstallProtocolDriver: 0x%x\n", hr);
    return 1;
}
