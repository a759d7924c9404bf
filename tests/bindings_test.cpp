// Switching an adapter's bindings, under the network configuration's write lock.
#include "device/bindings.h"
#include "device/net_config.h"
#include "harness/network.h"

class Bindings : public NetworkTest {
  protected:
    static int Switch(const wchar_t* guid, int enable, int physical) {
        GUID parsed = Guid(guid);
        return EnableProtocolNicBindings(reinterpret_cast<HWND>(1), &parsed, enable, physical);
    }

    // Paths above one adapter that are in this state of their own; the teaming protocol's are left
    // out.
    static size_t Count(const std::wstring& guid, bool switchedOn) {
        size_t count = 0;
        for (const NetCfgPath& path : NetCfgPaths()) {
            if (path.adapterGuid == guid && path.ids[0] != L"qv_qvteamp" &&
                path.switchedOn == switchedOn)
                count++;
        }
        return count;
    }
    static bool TeamingBound(const std::wstring& guid) {
        for (const NetCfgPath& path : NetCfgPaths()) {
            if (path.token == L"qv_qvteamp->" + guid)
                return path.enabled;
        }
        ADD_FAILURE() << "no teaming path";
        return false;
    }
};

TEST_F(Bindings, AreAllSwitchedOffButTheTeamingProtocolsAndTakeEffectTogether) {
    LoadAndBuild(L"two-ports");
    EXPECT_EQ(1, Switch(kPort0, 0, 1));
    const std::wstring guid = kPort0;
    EXPECT_EQ(
        (TextList{L"netcfg-lock ", L"binding-disable ms_msclient->ms_netbt->ms_tcpip->" + guid,
                  L"binding-disable ms_server->ms_netbt->ms_tcpip->" + guid,
                  L"binding-disable ms_netbt->ms_tcpip->" + guid,
                  L"binding-disable ms_tcpip->" + guid, L"netcfg-apply ", L"netcfg-unlock "}),
        Lines(Journal()));
    EXPECT_TRUE(TeamingBound(kPort0));
    EXPECT_EQ(4u, Count(kPort1, true)) << "another adapter keeps its bindings";
    ExpectAllGivenBack();
}

TEST_F(Bindings, AreSwitchedOnAgainByTheSameCall) {
    LoadAndBuild(L"two-ports");
    const std::string before = MachineDump();
    Switch(kPort0, 0, 1);
    EXPECT_EQ(4u, Count(kPort0, false));
    EXPECT_EQ(1, Switch(kPort0, 1, 1));
    EXPECT_EQ("", ChangedSince(before));
    ClearJournal();
    EXPECT_EQ(1, Switch(kPort0, 1, 1));
    EXPECT_EQ((TextList{}), Lines(Journal(), {L"binding-enable", L"binding-disable"}));
    ExpectAllGivenBack();
}

TEST_F(Bindings, LeaveTheTeamingProtocolsPathInEitherState) {
    LoadAndBuild(L"two-ports");
    NetCfgSetPathState(std::wstring(L"qv_qvteamp->") + kPort0, false);
    Switch(kPort0, 0, 1);
    EXPECT_FALSE(TeamingBound(kPort0));
    Switch(kPort0, 1, 1);
    EXPECT_FALSE(TeamingBound(kPort0));
    EXPECT_EQ(4u, Count(kPort0, true));
}

struct KindCase {
    const wchar_t* guid;
    DWORD characteristics; // of port0
    int kind;
    bool found;
};

TEST_F(Bindings, AreLookedForAmongAdaptersOfTheGivenKindOnly) {
    const KindCase cases[] = {
        {kPort0, 0x84, 1, true},    {kPort0, 0x84, 0, false},  {kPort0, 0x84, 2, false},
        {kPort0, 0x8C, 1, true},    {kPort0, 0x8C, 0, false},  {kPort0, 0x85, 1, true},
        {kPort0, 0x85, 0, true},    {kPort0, 0x81, 1, false},  {kPort0, 0x81, -1, true},
        {kPort0, 0x80, 1, false},   {kPort0, 0x80, 0, false},  {kVirtual, 0x84, 0, true},
        {kVirtual, 0x84, 1, false}, {kVirtual, 0x84, 2, true}, {kVirtual, 0x84, -1, true},
        {kNobody, 0x84, 0, false},  {kNobody, 0x84, 1, false},
    };
    for (const KindCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.guid)) + " kind " +
                     std::to_string(c.kind) + " characteristics " +
                     std::to_string(c.characteristics));
        Load(L"vlan-members");
        machine.vlans.resize(1);
        machine.vlans[0].guid = kVirtual;
        machine.vlans[0].host = L"port3";
        machine.FindAdapter(L"port0")->characteristics = c.characteristics;
        Build();
        const std::string before = MachineDump();
        EXPECT_EQ(1, Switch(c.guid, 0, c.kind)) << "also when there is no such adapter";
        EXPECT_EQ(c.found ? 4u : 0u, Texts(Journal(), L"binding-disable").size());
        EXPECT_EQ(c.found, ChangedSince(before) != "");
        EXPECT_EQ(1u, Texts(Journal(), L"netcfg-apply").size());
        ExpectAllGivenBack();
    }
}

static NetCfgComponent Component(const std::wstring& id, const std::wstring& upperRange,
                                 const std::wstring& lowerRange) {
    NetCfgComponent component;
    component.id = id;
    component.kind = L"trans";
    component.displayName = id;
    component.upperRange = {upperRange};
    component.lowerRange = {lowerRange};
    return component;
}

TEST_F(Bindings, AreLeftAloneWhenTheTeamingProtocolIsOnTop) {
    Load(L"two-ports");
    machine.componentSet = L"none";
    machine.components = {Component(L"ms_tcpip", L"tdi", L"ndis5"),
                          Component(L"qv_qvteamp", L"noupper", L"tdi")};
    Build();
    EXPECT_EQ(1, Switch(kPort0, 0, 1));
    EXPECT_EQ((TextList{std::wstring(L"ms_tcpip->") + kPort0}),
              Texts(Journal(), L"binding-disable"))
        << "not qv_qvteamp->ms_tcpip->...";
    EXPECT_EQ(2u, MethodCalls(L"INetCfgBindingInterface::GetUpperComponent"))
        << "nothing below the teaming protocol is looked at";
    ExpectAllGivenBack();
}

TEST_F(Bindings, AreSwitchedWhenTheTeamingProtocolIsFurtherDown) {
    Load(L"two-ports");
    machine.componentSet = L"none";
    machine.components = {Component(L"ms_tcpip", L"tdi", L"team"),
                          Component(L"qv_qvteamp", L"team", L"ndis5")};
    Build();
    EXPECT_EQ(1, Switch(kPort0, 0, 1));
    EXPECT_EQ((TextList{std::wstring(L"ms_tcpip->qv_qvteamp->") + kPort0}),
              Texts(Journal(), L"binding-disable"));
    EXPECT_EQ(1u, MethodCalls(L"INetCfgBindingPath::Enable")) << "not for the interfaces below it";
    ExpectAllGivenBack();
}

TEST_F(Bindings, AreSwitchedOnceForEachInterfaceOfAPath) {
    LoadAndBuild(L"two-ports");
    Switch(kPort0, 0, 1);
    EXPECT_EQ(3u + 3u + 2u + 1u, MethodCalls(L"INetCfgBindingPath::Enable"));
    EXPECT_EQ(1u, MethodCalls(L"INetCfg::Apply"));
}

TEST_F(Bindings, WaitThreeSecondsForAnotherClientAndAreThenSwitched) {
    LoadAndBuild(L"locked");
    EXPECT_EQ(1, Switch(kPort0, 0, 1));
    EXPECT_EQ(L"3000", Bench(L"now"));
    EXPECT_EQ(4u, Count(kPort0, false));
    ExpectAllGivenBack();
}

TEST_F(Bindings, GiveUpAfterFiveSecondsWhenAnotherClientKeepsTheLock) {
    const struct {
        DWORD seconds;
        int result;
        const wchar_t* now;
    } cases[] = {{4, 1, L"4000"}, {5, 1, L"5000"}, {6, 0, L"5000"}, {INFINITE, 0, L"5000"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.seconds);
        Load(L"locked");
        machine.lockSeconds = c.seconds;
        Build();
        const std::string before = MachineDump();
        EXPECT_EQ(c.result, Switch(kPort0, 0, 1));
        EXPECT_EQ(c.now, Bench(L"now"));
        if (c.result == 0) {
            EXPECT_EQ("", ChangedSince(before));
            EXPECT_EQ((TextList{}), Lines(Journal()));
        }
        ExpectAllGivenBack(); // the holder's name too
    }
}

TEST_F(Bindings, AreNotSwitchedForSomebodyWhoIsNoAdministrator) {
    LoadAndBuild(L"not-admin");
    const std::string before = MachineDump();
    EXPECT_EQ(0, Switch(kPort0, 0, 1));
    EXPECT_EQ("", ChangedSince(before));
    ExpectAllGivenBack();
}

struct FaultCase {
    const wchar_t* fault;
    int result;
    size_t switchedOff; // of the four paths above port0
};

// E_FAIL, at the first call or at one further on.
static const FaultCase kFaults[] = {
    {L"fault CoInitialize 1 0x80004005", 0, 0},
    {L"fault CoCreateInstance 1 0x80040154", 0, 0},
    {L"fault INetCfg::QueryInterface 1 0x80004005", 0, 0},
    {L"fault INetCfgLock::AcquireWriteLock 1 0x80004005", 0, 0},
    {L"fault INetCfgLock::AcquireWriteLock 1 1", 0, 0}, // S_FALSE without a name
    {L"fault INetCfg::Initialize 1 0x80004005", 0, 0},
    {L"fault INetCfg::QueryNetCfgClass 1 0x80004005", 0, 0},
    {L"fault INetCfgClass::EnumComponents 1 0x80004005", 0, 0},
    {L"fault INetCfgClass::EnumComponents 1 1", 0, 0}, // S_FALSE, and no object
    {L"fault IEnumNetCfgComponent::Reset 1 0x80004005", 1, 4},
    {L"fault IEnumNetCfgComponent::Next 1 0x80004005", 1, 0},
    {L"fault IEnumNetCfgComponent::Next 2 0x80004005", 1, 4},
    {L"fault INetCfgComponent::GetCharacteristics 1 0x80004005", 1, 0},
    {L"fault INetCfgComponent::GetInstanceGuid 1 0x80004005", 1, 0},
    {L"fault INetCfgComponent::QueryInterface 1 0x80004005", 1, 0},
    {L"fault INetCfgComponentBindings::EnumBindingPaths 1 0x80004005", 1, 0},
    {L"fault INetCfgComponentBindings::EnumBindingPaths 1 1", 1, 0},
    {L"fault IEnumNetCfgBindingPath::Reset 1 0x80004005", 1, 4},
    {L"fault IEnumNetCfgBindingPath::Next 1 0x80004005", 1, 0},
    {L"fault IEnumNetCfgBindingPath::Next 3 0x80004005", 1, 2},
    {L"fault INetCfgBindingPath::GetPathToken 1 0x80004005 all", 1, 4},
    {L"fault INetCfgBindingPath::EnumBindingInterfaces 1 0x80004005", 1, 3},
    {L"fault INetCfgBindingPath::EnumBindingInterfaces 1 1", 1, 3},
    {L"fault IEnumNetCfgBindingInterface::Reset 1 0x80004005", 1, 4},
    {L"fault IEnumNetCfgBindingInterface::Next 1 0x80004005", 1, 3},
    {L"fault INetCfgBindingPath::Enable 9 0x80004005", 1, 3}, // the path with one interface
    {L"fault INetCfgBindingPath::Enable 1 0x80004005 all", 1, 0},
    {L"fault INetCfg::Apply 1 0x80004005", 1, 0},
    {L"fault INetCfg::Uninitialize 1 0x80004005", 1, 4},
    {L"fault INetCfg::QueryInterface 2 0x80004005", 1, 4},
    {L"fault INetCfgLock::ReleaseWriteLock 1 0x80004005", 1, 4},
};

TEST_F(Bindings, GiveEverythingBackWhicheverCallFails) {
    for (const FaultCase& c : kFaults) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        LoadAndBuild(L"two-ports");
        Bench(c.fault);
        EXPECT_EQ(c.result, Switch(kPort0, 0, 1));
        EXPECT_FALSE(Texts(Journal(), L"fault").empty()) << "the fault was not met";
        Bench(L"clear");
        EXPECT_EQ(c.switchedOff, Count(kPort0, false));
        EXPECT_TRUE(TeamingBound(kPort0));
        EXPECT_EQ(4u, Count(kPort1, true));
        ExpectAllGivenBack();
        EXPECT_EQ(1, Switch(kPort0, 0, 1)) << "nothing stands in the way of the next call";
        EXPECT_EQ(4u, Count(kPort0, false));
    }
}

TEST_F(Bindings, GiveEverythingBackWhenAPathDoesNotTellWhatIsAboveIt) {
    for (const wchar_t* fault :
         {L"fault INetCfgBindingInterface::GetUpperComponent 1 0x80004005",
          L"fault INetCfgBindingInterface::GetUpperComponent 1 0", // success, and no object
          L"fault INetCfgComponent::GetId 1 0x80004005", L"fault INetCfgComponent::GetId 1 0"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(fault)));
        LoadAndBuild(L"two-ports");
        Bench(fault);
        EXPECT_EQ(1, Switch(kPort0, 0, 1));
        EXPECT_TRUE(TeamingBound(kPort0));
        EXPECT_EQ(4u, Count(kPort0, false));
        ExpectAllGivenBack();
    }
}

TEST_F(Bindings, FreeEveryTextTheyAreGiven) {
    LoadAndBuild(L"two-ports");
    Switch(kPort0, 0, 1); // what COM keeps for itself is there now
    TaskMemory memory;
    Switch(kPort0, 1, 1);
    EXPECT_GE(memory.taken(), 9) << "tokens and ids came through";
    EXPECT_EQ(0, memory.left());

    Load(L"locked");
    machine.lockSeconds = INFINITE;
    Build();
    EXPECT_EQ(0, Switch(kPort0, 1, 1));
    EXPECT_EQ(0, memory.left()) << "the holder's name";
}

class NetConfig : public NetworkTest {};

static INetCfg* const kPoison = reinterpret_cast<INetCfg*>(0xdeadbeef);

TEST_F(NetConfig, IsHandedOutLockedUnderTheGivenNameAndInitialized) {
    for (BOOL writeLock : {TRUE, FALSE}) {
        SCOPED_TRACE(writeLock);
        LoadAndBuild(L"two-ports");
        INetCfg* netCfg = kPoison;
        LPWSTR holder = reinterpret_cast<LPWSTR>(0xdeadbeef);
        ASSERT_EQ(S_OK, HrGetINetCfg(writeLock, NET_CONFIG_CLIENT, &netCfg, &holder));
        EXPECT_EQ(nullptr, holder);
        EXPECT_TRUE(NetCfgLockHeld()) << "whatever the flag says";
        EXPECT_EQ(L"QvTeamCfg", RegistryText(L"Software\\QvBench\\NetCfgLock", L"Description"));
        INetCfgComponent* component = nullptr;
        EXPECT_EQ(S_OK, netCfg->FindComponent(L"ms_tcpip", &component));
        component->Release();
        EXPECT_EQ("apartments=1", StillOpen());
        EXPECT_EQ(S_OK, HrReleaseINetCfg(netCfg, TRUE));
        ExpectAllGivenBack();
    }
}

TEST_F(NetConfig, NamesTheClientThatKeepsTheLock) {
    Load(L"locked");
    machine.lockSeconds = INFINITE;
    Build();
    INetCfg* netCfg = kPoison;
    LPWSTR holder = nullptr;
    EXPECT_EQ(NETCFG_E_NO_WRITE_LOCK, HrGetINetCfg(TRUE, L"Test", &netCfg, &holder));
    EXPECT_EQ(nullptr, netCfg);
    EXPECT_STREQ(L"Other Tool", holder);
    CoTaskMemFree(holder);
    EXPECT_EQ(NETCFG_E_NO_WRITE_LOCK, HrGetINetCfg(TRUE, L"Test", &netCfg, nullptr))
        << "nobody has to ask for the name";
    ExpectAllGivenBack();
}

TEST_F(NetConfig, LeavesNothingOpenAndNoOutputsWhenItFails) {
    LoadAndBuild(L"two-ports");
    for (const wchar_t* call : {L"CoInitialize", L"CoCreateInstance", L"INetCfg::QueryInterface",
                                L"INetCfgLock::AcquireWriteLock", L"INetCfg::Initialize"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(call)));
        ClearJournal();
        Bench(std::wstring(L"fault ") + call + L" 1 0x8000FFFF");
        INetCfg* netCfg = kPoison;
        LPWSTR holder = reinterpret_cast<LPWSTR>(0xdeadbeef);
        EXPECT_EQ(E_UNEXPECTED, HrGetINetCfg(TRUE, L"Test", &netCfg, &holder));
        EXPECT_EQ(nullptr, netCfg);
        EXPECT_EQ(nullptr, holder);
        EXPECT_EQ(Texts(Journal(), L"netcfg-lock").size(),
                  Texts(Journal(), L"netcfg-unlock").size())
            << "a lock that was taken is released by name";
        ExpectAllGivenBack();
    }
}

TEST_F(NetConfig, IsGivenBackWithTheResultOfTheCallThatFailed) {
    LoadAndBuild(L"two-ports");
    const struct {
        const wchar_t* fault;
        HRESULT result;
    } cases[] = {{L"now", S_OK},
                 {L"fault INetCfg::Uninitialize 1 0x8000FFFF", E_UNEXPECTED},
                 {L"fault INetCfg::QueryInterface 2 0x80004002", E_NOINTERFACE},
                 {L"fault INetCfgLock::ReleaseWriteLock 1 0x80004005", E_FAIL}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.fault)));
        Bench(c.fault);
        INetCfg* netCfg = nullptr;
        ASSERT_EQ(S_OK, HrGetINetCfg(TRUE, L"Test", &netCfg, nullptr));
        EXPECT_EQ(c.result, HrReleaseINetCfg(netCfg, TRUE));
        Bench(L"clear");
        ExpectAllGivenBack();
    }
}
