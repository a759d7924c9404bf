// Binding paths: where they come from, in which order they are listed, and when they are enabled.
#include <windows.h>
#include <devguid.h>

#include "component_sets.h"
#include "model.h"
#include "selftest.h"

namespace {

// --- the model -----------------------------------------------------------------------------------

void TestModel() {
    const std::vector<NetCfgAdapter> adapters = NetCfgAdapters();
    CHECK_EQUAL(adapters.size(), 3);
    CHECK_TEXT(adapters[0].guid, kPort0);
    CHECK_TEXT(adapters[0].id, L"pci\\ven_5156&dev_0901");
    CHECK_TEXT(adapters[0].displayName, L"Test Adapter");
    CHECK_EQUAL(adapters[0].characteristics, 0x84);

    CHECK_TEXT(adapters[2].upperRange[0], L"ndis5");
    CHECK_TEXT(adapters[2].lowerRange[0], L"nolower");

    // Five components over every adapter, the teaming protocol over the virtual one as well.
    const std::vector<NetCfgPath> paths = NetCfgPaths();
    CHECK_EQUAL(paths.size(), 5 * 3);
    CHECK_TEXT(paths[0].token, std::wstring(L"ms_msclient->ms_netbt->ms_tcpip->") + kPort0);
    CHECK_EQUAL(paths[0].ids.size(), 3);
    CHECK_TEXT(paths[0].adapterGuid, kPort0);
    CHECK_EQUAL(paths[0].enabled, true);
    CHECK_TEXT(paths.back().token, std::wstring(L"qv_qvteamp->") + kVirtual);

    CHECK_EQUAL(NetCfgPathState(paths[0].token).has_value(), false);
    CHECK_EQUAL(NetCfgSetPathState(paths[0].token, false), true);
    CHECK_EQUAL(NetCfgPaths()[0].switchedOn, false);
    CHECK_EQUAL(NetCfgPaths()[0].enabled, false);

    NetCfgComponent off = NetCfgTemplate(L"xx_off");
    off.boundByDefault = false;
    off.upperRange = {L"xx"};
    off.lowerRange = {L"tdi", L"ndis5", L"xx"};
    NetCfgWriteComponent(off);
    const std::vector<NetCfgPath> more = NetCfgPaths();
    CHECK_EQUAL(more.size(), 5 * 3 + 2 * 3);
    CHECK_TEXT(more[0].token, std::wstring(L"xx_off->ms_tcpip->") + kPort0);
    CHECK_TEXT(more[3].token, std::wstring(L"xx_off->") + kPort0);
    CHECK_EQUAL(more[0].switchedOn, false);
    NetCfgSetPathState(more[0].token, true);
    NetCfgRemoveComponent(L"xx_off");
    CHECK_EQUAL(NetCfgPathState(more[0].token).has_value(), false);
    CHECK_EQUAL(NetCfgPathState(paths[0].token).has_value(), true);

    NetCfgDefaults(false);
    CHECK_EQUAL(NetCfgPaths().size(), 4 * 3);
    NetCfgDefaults();
}

// --- binding paths -------------------------------------------------------------------------------

void TestPaths() {
    Client client;
    client.config->Initialize(nullptr);
    INetCfgComponent* port = client.FindAdapter(kPort1);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    const wchar_t* tops[] = {L"ms_msclient->ms_netbt->ms_tcpip->",
                             L"ms_server->ms_netbt->ms_tcpip->", L"ms_netbt->ms_tcpip->",
                             L"ms_tcpip->", L"qv_qvteamp->"};
    CHECK_EQUAL(above.size(), ARRAYSIZE(tops));
    for (size_t index = 0; index < above.size() && index < ARRAYSIZE(tops); ++index) {
        CHECK_TEXT(Token(above[index]), std::wstring(tops[index]) + kPort1);
    }
    CHECK_EQUAL(client.Paths(port, EBP_BELOW).size(), 0);

    ULONG depth = 0;
    INetCfgComponent* end = nullptr;
    CHECK_RESULT(above[1]->GetDepth(&depth), S_OK);
    CHECK_EQUAL(depth, 4);
    CHECK_RESULT(above[1]->GetOwner(&end), S_OK);
    CHECK_TEXT(Id(end), L"ms_server");
    CHECK_RESULT(above[2]->IsSubPathOf(above[1]), S_OK);
    CHECK_RESULT(above[1]->IsSubPathOf(above[2]), S_FALSE);
    CHECK_RESULT(above[1]->IsSamePathAs(above[1]), S_OK);
    CHECK_RESULT(above[1]->IsSamePathAs(above[0]), S_FALSE);

    IEnumNetCfgBindingInterface* hops = nullptr;
    CHECK_RESULT(above[1]->EnumBindingInterfaces(&hops), S_OK);
    const wchar_t* ids[] = {L"ms_server", L"ms_netbt", L"ms_tcpip", L"pci\\ven_5156&dev_0901"};
    const wchar_t* names[] = {L"netbios", L"tdi", L"ndis5"};
    for (size_t index = 0; index < 3; ++index) {
        INetCfgBindingInterface* hop = nullptr;
        CHECK_RESULT(hops->Next(1, &hop, nullptr), S_OK);
        CHECK_RESULT(hop->GetUpperComponent(nullptr), E_POINTER);
        CHECK_RESULT(hop->GetUpperComponent(&end), S_OK);
        CHECK_TEXT(Id(end), ids[index]);
        CHECK_RESULT(hop->GetLowerComponent(&end), S_OK);
        GUID guid;
        wchar_t text[40];
        end->GetInstanceGuid(&guid);
        StringFromGUID2(guid, text, ARRAYSIZE(text));
        CHECK_EQUAL(wcscmp(text, kPort1) == 0, index == 2);
        CHECK_TEXT(Id(end), ids[index + 1]);
        LPWSTR name = nullptr;
        CHECK_RESULT(hop->GetName(&name), S_OK);
        CHECK_TEXT(Take(name), names[index]);
        hop->Release();
    }
    INetCfgBindingInterface* none = nullptr;
    CHECK_RESULT(hops->Next(1, &none, nullptr), S_FALSE);
    hops->Release();
    ReleaseAll(above);
    port->Release();

    INetCfgComponent* netbt = client.Find(L"ms_netbt");
    above = client.Paths(netbt, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 3 * 3);
    CHECK_TEXT(Token(above[6]), std::wstring(L"ms_netbt->ms_tcpip->") + kPort0);
    ReleaseAll(above);
    std::vector<INetCfgBindingPath*> below = client.Paths(netbt, EBP_BELOW);
    CHECK_EQUAL(below.size(), 3);
    CHECK_TEXT(Token(below[0]), std::wstring(L"ms_netbt->ms_tcpip->") + kPort0);
    ReleaseAll(below);
    netbt->Release();

    INetCfgComponent* virtualAdapter = client.FindAdapter(kVirtual);
    above = client.Paths(virtualAdapter, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 5);
    CHECK_TEXT(Token(above[4]), std::wstring(L"qv_qvteamp->") + kVirtual);
    ReleaseAll(above);
    virtualAdapter->Release();
    client.config->Uninitialize();
}

void TestStagedBindings() {
    Client client;
    client.Open();
    INetCfgComponent* port = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    const std::wstring token = Token(above[0]);
    CHECK_RESULT(above[0]->Enable(FALSE), S_OK);
    CHECK_RESULT(above[0]->IsEnabled(), S_FALSE);
    CHECK_EQUAL(NetCfgPathState(token).has_value(), false);

    // Another client sees what is real.
    {
        Client reader;
        reader.config->Initialize(nullptr);
        INetCfgComponent* same = reader.FindAdapter(kPort0);
        std::vector<INetCfgBindingPath*> paths = reader.Paths(same, EBP_ABOVE);
        CHECK_RESULT(paths[0]->IsEnabled(), S_OK);
        ReleaseAll(paths);
        same->Release();
        reader.config->Uninitialize();
    }

    CHECK_RESULT(client.config->Cancel(), S_OK);
    CHECK_RESULT(above[0]->IsEnabled(), S_OK);
    CHECK_RESULT(above[0]->Enable(FALSE), S_OK);
    client.config->Uninitialize();
    client.config->Initialize(nullptr);
    ReleaseAll(above);
    port->Release();
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgPathState(token).has_value(), false);

    port = client.FindAdapter(kPort0);
    above = client.Paths(port, EBP_ABOVE);
    CHECK_RESULT(above[0]->Enable(FALSE), S_OK);
    CHECK_RESULT(above[1]->Enable(TRUE), S_OK);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgPathState(token).value_or(true), false);
    // Nothing changed for the second one, so nothing was written.
    CHECK_EQUAL(NetCfgPathState(Token(above[1])).has_value(), false);
    CHECK_RESULT(above[0]->IsEnabled(), S_FALSE);
    CHECK_RESULT(above[0]->Enable(TRUE), S_OK);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(NetCfgPathState(token).value_or(false), true);
    ReleaseAll(above);
    port->Release();
    client.Close();
}

// --- ranges --------------------------------------------------------------------------------------

// "component STATE" of the paths above an adapter, without its GUID; off, or - when a part is off.
std::wstring Above(const wchar_t* guid) {
    std::wstring all;
    for (const NetCfgPath& path : NetCfgPaths()) {
        if (path.adapterGuid == guid) {
            all += path.token.substr(0, path.token.size() - path.adapterGuid.size() - 2) +
                   (path.enabled      ? L" "
                    : path.switchedOn ? L"- "
                                      : L"=off ");
        }
    }
    return all;
}

void TestRanges() {
    CHECK_EQUAL(NetCfgRange(L" ndis5,ndis4 ,, ndiswan ").size(), 3);
    CHECK_TEXT(NetCfgRange(L" ndis5,ndis4 ,, ndiswan ")[1], L"ndis4");
    CHECK_EQUAL(NetCfgRange(L"").size(), 0);

    // Upper to lower, whatever the case; the words for "nothing" do not match each other.
    SetRanges(kPort0, L"other, NDIS5", L"ethernet");
    CHECK_TEXT(Above(kPort0), Above(kPort1));
    SetRanges(kPort0, L"ndis51", L"ndis5");
    CHECK_TEXT(Above(kPort0), L"");
    SetRanges(kPort0, L"", L"");
    CHECK_TEXT(Above(kPort0), L"");
    SetRanges(kPort0, L"noupper", L"nolower");
    NetCfgComponent none = NetCfgTemplate(L"xx_none");
    none.lowerRange = {L"noupper", L"nolower"};
    NetCfgWriteComponent(none);
    NetCfgComponent filter = none;
    filter.id = L"xx_filter";
    filter.kind = L"filter";
    NetCfgWriteComponent(filter);
    CHECK_TEXT(Above(kPort0), L"");

    // A filter's media types are compared with the lower range, and nothing binds through it.
    filter.upperRange = {L"ndis5"};
    filter.lowerRange = {L"wlan", L"ndis5", L"tdi"};
    NetCfgWriteComponent(filter);
    SetRanges(kPort0, L"ndis5", L"ethernet");
    const std::wstring without = Above(kPort0);
    SetRanges(kPort0, L"ndis5", L"ethernet, wlan");
    CHECK_TEXT(Above(kPort0), L"xx_filter " + without);
    SetRanges(kPort0, L"ndis5", L"ethernet");
    NetCfgDefaults();
}

// --- what a machine has --------------------------------------------------------------------------

const wchar_t kOverTcpip[] = L"ms_msclient->ms_netbt->ms_tcpip ms_server->ms_netbt->ms_tcpip "
                             L"ms_netbt->ms_tcpip ms_tcpip ms_tcpip6 ms_implat=off ms_lldp "
                             L"ms_lltdio ms_rspndr ms_ndisuio ms_pppoe ms_rdma_ndk ";

void TestComponentSets() {
    const std::wstring overTcpip = kOverTcpip;
    NetCfgDefaults(true, L"windows-10");
    CHECK_TEXT(Above(kPort0), overTcpip + L"ms_pacer ms_wfplwf_upper ms_wfplwf_lower ms_ndiscap "
                                          L"qv_qvteamp ");
    CHECK_TEXT(Above(kVirtual), overTcpip + L"qv_qvteamp ");

    NetCfgDefaults(false, L"hyper-v");
    CHECK_TEXT(Above(kPort0), overTcpip +
                                  L"vms_pp=off ms_pacer ms_wfplwf_upper ms_wfplwf_lower ms_ndiscap "
                                  L"ms_l2bridge ms_l1vhlwf ");
    // A Bluetooth adapter; a team adapter; WAN Miniport (IP); WAN Miniport (L2TP).
    SetRanges(kPort0, L"ndis5", L"nolower, bluetooth");
    CHECK_TEXT(Above(kPort0), overTcpip +
                                  L"vms_pp=off ms_pacer ms_wfplwf_upper ms_wfplwf_lower ms_ndiscap "
                                  L"ms_l2bridge ms_l1vhlwf ");
    CHECK_TEXT(Above(kVirtual), overTcpip + L"vms_pp=off ");
    SetRanges(kPort0, L"ndiswanip", L"wan");
    CHECK_TEXT(Above(kPort0), L"ms_wanarp ms_pacer ms_wfplwf_lower ");
    SetRanges(kPort0, L"ndiscowan", L"nolower");
    CHECK_TEXT(Above(kPort0), L"");
    SetRanges(kPort0, L"ndis5", L"ethernet");
    CHECK_EQUAL(NetCfgComponentSet(L"windows-11").size(), 0);

    Client client;
    client.config->Initialize(nullptr);
    DWORD characteristics = 0;
    GUID itsClass = {};
    const struct {
        const wchar_t* id;
        DWORD characteristics;
        const GUID* itsClass;
    } cases[] = {{L"ms_pacer", 0x40000, &GUID_DEVCLASS_NETSERVICE},
                 {L"ms_ndiscap", 0x40008, &GUID_DEVCLASS_NETSERVICE},
                 {L"ms_server", 0, &GUID_DEVCLASS_NETSERVICE},
                 {L"ms_ndisuio", 8, &GUID_DEVCLASS_NETTRANS}};
    for (const auto& c : cases) {
        INetCfgComponent* component = client.Find(c.id);
        CHECK_RESULT(component->GetCharacteristics(&characteristics), S_OK);
        CHECK_EQUAL(characteristics, c.characteristics);
        CHECK_RESULT(component->GetClassGuid(&itsClass), S_OK);
        CHECK_EQUAL(itsClass == *c.itsClass, true);
        component->Release();
    }
    client.config->Uninitialize();
    NetCfgDefaults();
}

// --- a path and its parts ------------------------------------------------------------------------

// The states that the paths above port0 report, topmost first: 1 or 0.
std::string Enabled(const std::vector<INetCfgBindingPath*>& paths) {
    std::string states;
    for (INetCfgBindingPath* path : paths) {
        states += path->IsEnabled() == S_OK ? '1' : '0';
    }
    return states;
}

void TestPartsOfPaths(const wchar_t* windows, const char* lowestOff, const char* topOn) {
    NetCfgDefaults();
    SetMachineText(L"Windows", windows);
    Client client;
    client.Open();
    INetCfgComponent* port = client.FindAdapter(kPort0);
    std::vector<INetCfgBindingPath*> above = client.Paths(port, EBP_ABOVE);
    CHECK_EQUAL(above.size(), 5);
    // msclient and server over netbt over tcpip, netbt over tcpip, tcpip, the teaming protocol.
    CHECK_RESULT(above[3]->Enable(FALSE), S_OK);
    CHECK_EQUAL(Enabled(above) == lowestOff, true);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(Enabled(above) == "00001", true);
    CHECK_EQUAL(NetCfgPathState(Token(above[0])).has_value(), false);

    for (size_t index = 0; index < 4; ++index) {
        above[index]->Enable(FALSE);
    }
    CHECK_EQUAL(Enabled(above) == "00001", true);
    // From the top down, as a program does that takes the paths in their order.
    for (size_t index = 0; index < 3; ++index) {
        CHECK_RESULT(above[index]->Enable(TRUE), S_OK);
    }
    CHECK_EQUAL(Enabled(above) == topOn, true);
    CHECK_RESULT(above[3]->Enable(TRUE), S_OK);
    CHECK_EQUAL(Enabled(above) == "11111", true);
    CHECK_RESULT(client.config->Apply(), S_OK);
    CHECK_EQUAL(Enabled(above) == "11111", true);
    ReleaseAll(above);
    port->Release();
    client.Close();
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kMachine);
    NetCfgDefaults();
}

} // namespace

void TestBindings() {
    TestModel();
    TestRanges();
    TestComponentSets();
    TestPaths();
    TestStagedBindings();
    TestPartsOfPaths(L"10.0", "00001", "00001");
    TestPartsOfPaths(L"6.1", "11101", "11101");
}
