// Installing and removing a component: whose INF is taken, what it says, and who may.
#include <windows.h>
#include <devguid.h>
#include <netcfgn.h>
#include <setupapi.h>

#include "bench.h"
#include "model.h"
#include "netcfg_key.h"
#include "selftest.h"

namespace {

INetCfgClassSetup* Setup(Client* client, const GUID& itsClass) {
    INetCfgClassSetup* setup = nullptr;
    client->config->QueryNetCfgClass(&itsClass, IID_INetCfgClassSetup,
                                     reinterpret_cast<void**>(&setup));
    return setup;
}

void CleanUpInfs() {
    for (const wchar_t* inf : {L"oem90.inf", L"oem91.inf", L"oem92.inf"}) {
        DeleteFileW(InfPath(inf).c_str());
    }
}

bool ServiceExists() {
    return static_cast<bool>(NetCfgKey::Open(kService));
}

HRESULT Install(INetCfgClassSetup* setup, const wchar_t* id, OBO_TOKEN* token, DWORD flags = 0) {
    return setup->Install(id, token, flags, 0, nullptr, nullptr, nullptr);
}

void TestInstall() {
    NetCfgDefaults(false);
    WriteInf(L"oem90.inf", WithText(kProtocolInf, "4D36E975", "4D36E972"));
    WriteInf(L"oem91.inf", WithText(kProtocolInf, "NTamd64", "NTx86"));
    Client client;
    client.Open();
    INetCfgClassSetup* setup = nullptr;
    client.config->QueryNetCfgClass(&GUID_DEVCLASS_NETTRANS, IID_INetCfgClassSetup,
                                    reinterpret_cast<void**>(&setup));
    OBO_TOKEN user = {OBO_USER};
    OBO_TOKEN bad = {static_cast<OBO_TOKEN_TYPE>(0)};
    OBO_TOKEN nobody = {OBO_COMPONENT};
    OBO_TOKEN software = {OBO_SOFTWARE};
    INetCfgComponent* component = nullptr;
    auto install = [&](const wchar_t* id, OBO_TOKEN* token) {
        return setup->Install(id, token, 0, 0, nullptr, nullptr, &component);
    };
    CHECK_RESULT(install(L"QV_QVTEAMP", &bad), E_INVALIDARG);
    CHECK_RESULT(install(L"QV_QVTEAMP", &nobody), E_INVALIDARG);
    CHECK_RESULT(install(L"QV_QVTEAMP", &software), E_INVALIDARG);
    CHECK_RESULT(install(L"QV_QVTEAMP", nullptr), E_POINTER);
    CHECK_RESULT(install(nullptr, &user), E_POINTER);
    CHECK_RESULT(setup->Install(L"QV_QVTEAMP", &user, 0, 0, L"answers.txt", nullptr, &component),
                 E_INVALIDARG);
    CHECK_RESULT(setup->SelectAndInstall(nullptr, &user, &component), E_NOTIMPL);
    CHECK_RESULT(install(L"QV_QVTEAMP", &user), SPAPI_E_NO_DRIVER_SELECTED);
    CHECK_EQUAL(component == nullptr, true);

    WriteInf(L"oem92.inf", kProtocolInf);
    CHECK_RESULT(install(L"QV_OTHER", &user), SPAPI_E_NO_DRIVER_SELECTED);
    CHECK_RESULT(install(L"Qv_QvTeamP", &user), S_OK);
    CHECK_TEXT(Id(component), L"qv_qvteamp");
    CHECK_EQUAL(NetCfgComponents().size(), 4);
    CHECK_EQUAL(ServiceExists(), false);
    INetCfgComponent* port = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 5);
    ReleaseAll(above);
    port->Release();

    CHECK_RESULT(client.config->Cancel(), S_OK);
    CHECK_RESULT(client.config->FindComponent(L"qv_qvteamp", &component), S_FALSE);
    CHECK_RESULT(install(L"QV_QVTEAMP", &user), S_OK);
    component->Release();
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgComponents().size(), 5);
    const NetCfgComponent written = NetCfgComponents().back();
    CHECK_TEXT(written.id, L"qv_qvteamp");
    CHECK_TEXT(written.displayName, L"Test Teaming Protocol");
    CHECK_TEXT(written.upperRange[0], L"noupper");
    CHECK_EQUAL(written.lowerRange.size(), 2);
    CHECK_TEXT(written.lowerRange[1], L"ndis5");
    CHECK_TEXT(written.service, L"qvteamp");
    {
        const NetCfgKey service = NetCfgKey::Open(kService);
        CHECK_EQUAL(service.Number(L"Type").value_or(0), 1);
        CHECK_EQUAL(service.Number(L"Start").value_or(0), 3);
        CHECK_TEXT(service.Text(L"DisplayName").value_or(L""), L"Test Teaming Service");
    }

    // A second installation finds it there, in the other classes it is not.
    CHECK_RESULT(install(L"qv_qvteamp", &user), S_OK);
    INetCfgClassSetup* clients = nullptr;
    client.config->QueryNetCfgClass(&GUID_DEVCLASS_NETCLIENT, IID_INetCfgClassSetup,
                                    reinterpret_cast<void**>(&clients));
    CHECK_RESULT(clients->DeInstall(component, &user, nullptr), E_INVALIDARG);
    CHECK_RESULT(clients->Install(L"QV_QVTEAMP", &user, 0, 0, nullptr, nullptr, nullptr),
                 SPAPI_E_NO_DRIVER_SELECTED);
    clients->Release();
    CHECK_RESULT(setup->DeInstall(nullptr, &user, nullptr), E_POINTER);
    CHECK_RESULT(setup->DeInstall(component, &user, nullptr), S_OK);
    component->Release();
    CHECK_EQUAL(ServiceExists(), true);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(ServiceExists(), false);
    CHECK_EQUAL(NetCfgComponents().size(), 4);
    setup->Release();
    client.Close();
    NetCfgDefaults();
}

// The class of an INF is that of ClassGUID; Class names it where there is none.
void TestInfClass() {
    const struct {
        const char* versionLines;
        HRESULT result;
    } cases[] = {
        {"Class = Net\nClassGUID = {4D36E975-E325-11CE-BFC1-08002BE10318}", S_OK},
        {"ClassGUID = {4d36e975-e325-11ce-bfc1-08002be10318}", S_OK},
        {"Class = nettrans", S_OK},
        {"Class = NetTrans\nClassGUID = {4D36E972-E325-11CE-BFC1-08002BE10318}",
         SPAPI_E_NO_DRIVER_SELECTED},
        {"Class = NetTrans\nClassGUID = none", SPAPI_E_NO_DRIVER_SELECTED},
        {"Class = NetService", SPAPI_E_NO_DRIVER_SELECTED},
        {"", SPAPI_E_NO_DRIVER_SELECTED},
    };
    const char kClass[] = "Class = NetTrans\nClassGUID = {4D36E975-E325-11CE-BFC1-08002BE10318}";
    CleanUpInfs();
    NetCfgDefaults(false);
    OBO_TOKEN user = {OBO_USER};
    for (const auto& c : cases) {
        WriteInf(L"oem90.inf", WithText(kProtocolInf, kClass, c.versionLines));
        Client client;
        client.Open();
        INetCfgClassSetup* setup = Setup(&client, GUID_DEVCLASS_NETTRANS);
        CHECK_RESULT(Install(setup, L"QV_QVTEAMP", &user), c.result);
        setup->Release();
        client.Close();
    }
    NetCfgDefaults();
}

// The settings that count are those of the section that is installed on 64-bit Windows.
void TestInfRanges() {
    const struct {
        const char* from;
        const char* to;
        const wchar_t* lower; // null: none
        const wchar_t* kind;
    } cases[] = {
        {"ndis4, ndis5", "ndis6", L"ndis6", L"trans"},
        {"AddReg = Protocol.AddReg", "AddReg = Other, Protocol.AddReg", L"ndis4", L"trans"},
        {"AddReg = Protocol.AddReg", "Characteristics = 0", nullptr, L"trans"},
        {"[Protocol.Install]", "[Protocol.Install.NTx86]", nullptr, L"trans"},
        {"[Protocol.Install]", "[Protocol.Install.NTamd64]", L"ndis4", L"trans"},
        {"[Protocol.Install]", "[Protocol.Install.NT]", L"ndis4", L"trans"},
        {"Ndi\\Interfaces", "Ndi", nullptr, L"trans"},
        {"LowerRange, 0, \"ndis4", "FilterMediaTypes, 0, \"ethernet", L"ethernet", L"filter"},
    };
    OBO_TOKEN user = {OBO_USER};
    for (const auto& c : cases) {
        NetCfgDefaults(false);
        WriteInf(L"oem90.inf", WithText(kProtocolInf, c.from, c.to));
        Client client;
        client.Open();
        INetCfgClassSetup* setup = Setup(&client, GUID_DEVCLASS_NETTRANS);
        CHECK_RESULT(Install(setup, L"QV_QVTEAMP", &user), S_OK);
        CHECK_RESULT(client.config->Apply(), S_OK);
        const NetCfgComponent written = NetCfgComponents().back();
        CHECK_TEXT(written.kind, c.kind);
        CHECK_EQUAL(written.lowerRange.empty(), c.lower == nullptr);
        if (c.lower != nullptr) {
            CHECK_TEXT(written.lowerRange[0], c.lower);
        }
        setup->Release();
        client.Close();
    }
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kService);
    NetCfgDefaults();
}

// Mandatory for every class but that of adapters, which come through device installation here.
void TestOboToken() {
    Client client;
    client.Open();
    OBO_TOKEN bad = {static_cast<OBO_TOKEN_TYPE>(0)};
    for (const GUID* itsClass :
         {&GUID_DEVCLASS_NETTRANS, &GUID_DEVCLASS_NETCLIENT, &GUID_DEVCLASS_NETSERVICE}) {
        INetCfgClassSetup* setup = Setup(&client, *itsClass);
        CHECK_RESULT(Install(setup, L"xx", nullptr), E_POINTER);
        setup->Release();
    }
    INetCfgClassSetup* adapters = Setup(&client, GUID_DEVCLASS_NET);
    CHECK_RESULT(Install(adapters, L"xx", nullptr), E_NOTIMPL);
    CHECK_RESULT(Install(adapters, L"xx", &bad), E_INVALIDARG);
    adapters->Release();
    client.Close();
}

void TestSetupFlags(BenchCommandFn command) {
    wchar_t reply[256];
    Client client;
    client.Open();
    INetCfgClassSetup* setup = Setup(&client, GUID_DEVCLASS_NETTRANS);
    OBO_TOKEN user = {OBO_USER};
    command(L"misuses", reply, ARRAYSIZE(reply));
    CHECK_RESULT(Install(setup, L"qv_qvteamp", &user, NSF_POSTSYSINSTALL), S_OK);
    command(L"misuses", reply, ARRAYSIZE(reply));
    CHECK_TEXT(reply, L"");
    CHECK_RESULT(Install(setup, L"qv_qvteamp", &user, NSF_PRIMARYINSTALL), S_OK);
    command(L"misuses", reply, ARRAYSIZE(reply));
    CHECK_TEXT(reply, L"INetCfgClassSetup::Install: NSF_PRIMARYINSTALL is for the installation of "
                      L"the operating system\n");
    setup->Release();
    client.Close();
}

} // namespace

void TestInstallation(HMODULE bench) {
    TestInstall();
    TestInfClass();
    TestInfRanges();
    TestOboToken();
    if (bench != nullptr) {
        TestSetupFlags(reinterpret_cast<BenchCommandFn>(
            reinterpret_cast<void*>(GetProcAddress(bench, "BenchCommand"))));
    }
}
