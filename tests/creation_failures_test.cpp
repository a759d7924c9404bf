// Team creation that fails on its way, and what then remains.
#include "harness/creation.h"

#include <algorithm>

static Texts8 NumberFacts(const Texts8& members, const std::string& number) {
    Texts8 facts;
    for (const std::string& member : members)
        facts.push_back("+ record\\{" + member + "}\\TeamNumber = REG_DWORD 0x00000" + number);
    return facts;
}

// The new adapter's own facts, its connection and bindings, which outlive it, and its driver's
// service.
static Texts8 WithoutVirtualAdapter(Texts8 facts) {
    for (size_t i = facts.size(); i-- > 0;) {
        const std::string& fact = facts[i];
        if (fact.find("device\\ROOT\\NET\\0000\\") == 2 || fact.find("network\\{1}\\") == 2 ||
            (fact.find("path\\") == 2 && fact.find("->{1} = enabled") != std::string::npos) ||
            fact.find("service\\qvteammp\\") == 2)
            facts.erase(facts.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return facts;
}

static bool HasVirtualAdapter(const Texts8& facts) {
    for (const std::string& fact : facts) {
        if (fact.find("+ device\\ROOT\\NET\\0000\\") == 0)
            return true;
    }
    return false;
}

// Faults are counted from the middle of the installation, so that nothing before it is meant.
static Stop InInstallation(std::function<void()> act) {
    return {L"LoadLibraryW", 1, std::move(act)};
}

class CreationFailure : public CreationTest {
  protected:
    void OpenTwo() {
        Ports(2);
        for (int port : {0, 1})
            Port(port).values.push_back(MachineValue::Text(L"NetworkAddress", L"025156000001"));
        Open({0, 1});
    }

    // What a failed installation leaves of the members: unbound, numbered, without an address.
    static Texts8 FailedInstallationFacts() {
        Texts8 facts =
            UnbindFacts("port0") + UnbindFacts("port1") + NumberFacts({"port0", "port1"}, "120");
        for (const char* port : {"port0", "port1"})
            facts.push_back(std::string("- device\\") + port +
                            "\\driver\\NetworkAddress = REG_SZ \"025156000001\"");
        return facts;
    }

    void ExpectFailedInstallation(const Outcome& outcome, const std::wstring& error) {
        EXPECT_EQ(0, outcome.result);
        EXPECT_EQ(Texts16{L"Team Creation failed with error 0x" + error}, outcome.statuses);
        ExpectFacts(FailedInstallationFacts(), WithoutVirtualAdapter(outcome.difference));
        EXPECT_EQ(0, g_numTeams);
    }
};

TEST_F(CreationFailure, OfTheLockStopsWithoutAWordAndChangesNothing) {
    Ports(2);
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = INFINITE;
    Open({0, 1});
    Outcome stopped = Create();
    EXPECT_EQ(0, stopped.result);
    EXPECT_EQ(Texts16{}, stopped.statuses);
    ExpectFacts({}, stopped.difference);
}

TEST_F(CreationFailure, IsNotWhatALockHeldForThreeSecondsMeans) {
    Ports(2);
    machine.lockHolder = L"Other Tool";
    machine.lockSeconds = 3;
    Open({0, 1});
    EXPECT_EQ(1, Create().result);
}

TEST_F(CreationFailure, OfAMembersBindingsLeavesThoseBeforeItUnbound) {
    const wchar_t* calls[] = {
        L"CoInitialize",        L"CoCreateInstance",          L"INetCfgLock::AcquireWriteLock",
        L"INetCfg::Initialize", L"INetCfg::QueryNetCfgClass", L"INetCfgClass::EnumComponents"};
    int failing = 0;
    for (const wchar_t* call : calls) {
        failing = (failing + 1) % 3; // second, third, first member, and again
        SCOPED_TRACE(testing::PrintToString(call) + " of member " + std::to_string(failing));
        Ports(3);
        Open({0, 1, 2}, 2);
        Bench(std::wstring(L"fault ") + call + L" " + std::to_wstring(failing + 1) +
              L" 2147500037");
        Outcome stopped = Create();
        EXPECT_EQ(0, stopped.result);
        EXPECT_EQ(Texts16{}, stopped.statuses);
        Texts8 unbound;
        for (int port = 0; port < failing; port++)
            unbound = unbound + UnbindFacts("port" + std::to_string(port));
        ExpectFacts(unbound, stopped.difference);
        EXPECT_EQ(Texts16{}, stopped.of(L"device-create"));
    }
}

TEST_F(CreationFailure, OfOneBindingPathIsPassedOver) {
    Ports(2);
    Open({0, 1});
    Bench(L"fault INetCfgBindingPath::Enable 1 2147500037 all");
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ(Texts16{}, made.of(L"binding-disable"));
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

// Error code, and whether the device existed, so that it has to be taken away again.
struct InstallFault {
    const wchar_t* call;
    int nth;
    const wchar_t* error; // decimal
    const wchar_t* shown; // hexadecimal
    bool registered;
};

TEST_F(CreationFailure, OfTheInstallationTellsTheErrorOfTheCallThatFailed) {
    const InstallFault faults[] = {
        {L"GetFullPathNameW", 1, L"123", L"7b", false},
        {L"SetupDiGetINFClassW", 1, L"3758096641", L"e0000101", false},
        {L"SetupDiCreateDeviceInfoList", 1, L"8", L"8", false},
        {L"SetupDiCreateDeviceInfoW", 1, L"3758096910", L"e000020e", false},
        {L"SetupDiSetDeviceRegistryPropertyW", 1, L"13", L"d", false},
        {L"SetupDiCallClassInstaller", 1, L"5", L"5", false},
        {L"GetFullPathNameW", 2, L"123", L"7b", true},
        {L"GetFileAttributesW", 1, L"2", L"2", true},
        {L"LoadLibraryW", 1, L"126", L"7e", true},
        {L"DiInstallDevice", 1, L"3758096898", L"e0000202", true},
    };
    for (const InstallFault& fault : faults) {
        SCOPED_TRACE(testing::PrintToString(fault.call) + " " + std::to_string(fault.nth));
        OpenTwo();
        Bench(std::wstring(L"fault ") + fault.call + L" " + std::to_wstring(fault.nth) + L" " +
              fault.error);
        if (fault.call == std::wstring(L"DiInstallDevice"))
            Bench(L"fault GetProcAddress 3 127"); // and no forced update to fall back on
        Outcome failed = Create();
        ExpectFailedInstallation(failed, fault.shown);
        EXPECT_FALSE(HasVirtualAdapter(failed.difference));
        EXPECT_EQ(fault.registered ? 1u : 0u, failed.of(L"device-register").size());
        EXPECT_EQ(fault.registered ? 1u : 0u, failed.of(L"device-remove").size());
    }
}

TEST_F(CreationFailure, ToReadTheNewAdapterTakesItAwayAgain) {
    const InstallFault faults[] = {
        {L"SetupDiOpenDevRegKey", 1, L"3758096900", L"e0000204", true},
        {L"RegQueryValueExW", 1, L"2", L"2", true},
        {L"RegQueryValueExW", 2, L"1018", L"3fa", true},
    };
    for (const InstallFault& fault : faults) {
        SCOPED_TRACE(testing::PrintToString(fault.call) + " " + std::to_string(fault.nth));
        OpenTwo();
        Outcome failed = Create({InInstallation([&] {
            Bench(std::wstring(L"fault ") + fault.call + L" " + std::to_wstring(fault.nth) + L" " +
                  fault.error);
        })});
        ExpectFailedInstallation(failed, fault.shown);
        EXPECT_EQ(Texts16{L"ROOT\\NET\\0000"}, failed.of(L"device-remove"));
        EXPECT_FALSE(HasVirtualAdapter(failed.difference));
    }
}

TEST_F(CreationFailure, ToTakeTheAdapterAwayDoesNotChangeTheErrorShown) {
    OpenTwo();
    Outcome failed = Create({InInstallation([] {
        Bench(L"fault SetupDiOpenDevRegKey 1 1018");
        Bench(L"fault SetupDiCallClassInstaller 1 5");
    })});
    ExpectFailedInstallation(failed, L"3fa");
    EXPECT_TRUE(HasVirtualAdapter(failed.difference));
}

TEST_F(CreationFailure, WithoutAnyRouteSaysThatNoRoutineWasFound) {
    OpenTwo();
    machine.newDev.clear();
    Open({0, 1});
    ExpectFailedInstallation(Create(), L"7f");
}

TEST_F(CreationFailure, OfTheCleanUpKeepsTheAddressesAndTheText) {
    OpenTwo();
    Outcome failed = Create({InInstallation([] {
        Bench(L"fault SetupDiOpenDevRegKey 1 1018");
        Bench(L"fault SetupDiGetClassDevsW 1 8");
    })});
    EXPECT_EQ(Texts16{L"Team Creation failed with error 0x3fa"}, failed.statuses);
    ExpectFacts(UnbindFacts("port0") + UnbindFacts("port1") +
                    NumberFacts({"port0", "port1"}, "120"),
                WithoutVirtualAdapter(failed.difference));
}

// The adapter stays, but nobody knows its GUID.
TEST_F(CreationFailure, OfMemoryForTheNewAdaptersGuidCountsAsInstalled) {
    OpenTwo();
    Outcome made = Create(
        {InInstallation([] {}), {L"RegQueryValueExW", 1, [] { Bench(L"fault calloc 1 8"); }}});
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kNotUpdated, text::kCreated, text::kHelp}), made.statuses);
    EXPECT_TRUE(HasVirtualAdapter(made.difference));
    Texts8 expected =
        UnbindFacts("port0") + UnbindFacts("port1") + NumberFacts({"port0", "port1"}, "120");
    for (int port = 0; port < 2; port++) {
        std::string record = "+ record\\{port" + std::to_string(port) + "}\\";
        expected.push_back(record + "TeamBinding = REG_SZ "
                                    "\"\\Device\\{00000000-0000-0000-0000-000000000000}\"");
        expected.push_back(record + "Order = REG_DWORD 0x0000000" + std::to_string(port));
    }
    ExpectFacts(expected, WithoutVirtualAdapter(made.difference));
}

// The path of the team's device is the first block after the installation.
TEST_F(CreationFailure, OfMemoryForTheBindingLeavesTheTeamAdapterInstalled) {
    OpenTwo();
    Outcome failed =
        Create({InInstallation([] {}),
                {L"SetupDiDestroyDeviceInfoList", 1, [] { Bench(L"fault calloc 1 8"); }}});
    EXPECT_EQ(0, failed.result);
    EXPECT_EQ(Texts16{text::kBindingNotWritten}, failed.statuses);
    EXPECT_TRUE(HasVirtualAdapter(failed.difference));
    // The addresses of a team that was installed are not taken away.
    ExpectFacts(UnbindFacts("port0") + UnbindFacts("port1") +
                    NumberFacts({"port0", "port1"}, "120"),
                WithoutVirtualAdapter(failed.difference));
    EXPECT_EQ(0, g_numTeams);
}

TEST_F(CreationFailure, OfOneMembersRecordIsPassedOver) {
    Ports(3);
    Open({0, 1, 2}, 2);
    Bench(L"fault RegCreateKeyExW 2 5"); // the second member's, while the team is numbered
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    Texts16 numbered;
    for (const std::wstring& value : made.of(L"value-set")) {
        if (value.find(L"\\TeamNumber") != std::wstring::npos)
            numbered.push_back(value);
    }
    EXPECT_EQ((Texts16{L"record\\{port0}\\TeamNumber REG_DWORD 0x00000230",
                       L"record\\{port2}\\TeamNumber REG_DWORD 0x00000230"}),
              numbered);
}

TEST_F(CreationFailure, OfOneValueOfARecordIsPassedOver) {
    Ports(2);
    Open({0, 1});
    Bench(L"fault RegSetValueExW:TeamBinding 1 5"); // the first member's
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    Texts16 values = made.of(L"value-set");
    ASSERT_LT(4u, values.size());
    EXPECT_EQ(L"record\\{port0}\\Order REG_DWORD 0x00000000", values[2]);
    EXPECT_EQ(0u, values[3].find(L"record\\{port1}\\TeamBinding"));
}

// Each member is looked up once before the team's adapter is.
TEST_F(CreationFailure, ToListTheDevicesLeavesTheMembersWithoutTheAddress) {
    OpenTwo();
    Bench(L"fault SetupDiGetClassDevsW 3 8");
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kNotUpdated, text::kCreated, text::kHelp}), made.statuses);
    EXPECT_EQ(Texts16{}, made.of(L"device-disable"));
    for (const std::string& fact : made.difference)
        EXPECT_EQ(std::string::npos, fact.find("device\\port")) << fact;
    EXPECT_EQ(1, g_numTeams);
}

TEST_F(CreationFailure, ToRebuildThePageDoesNotUnmakeTheTeam) {
    Ports(2);
    Open({0, 1});
    Bench(L"fault SetupDiGetClassDevsW 4 8"); // after both members and the update
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ(Texts16{text::kCreated}, made.statuses);
    EXPECT_TRUE(HasVirtualAdapter(made.difference));
    EXPECT_EQ(0, page->rows(IDC_NIC_LIST));
    EXPECT_EQ(0, page->rows(IDC_TEAM_LIST));
}

TEST_F(CreationFailure, OfARestartIsPassedOver) {
    Ports(2);
    Port(0).flags = 0x20000; // not to be touched
    Open({0, 1});
    Outcome made = Create();
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    EXPECT_EQ((Texts16{L"ROOT\\NET\\0000 scope=config", L"ROOT\\NET\\0000 scope=config",
                       L"port1 scope=config"}),
              made.of(L"device-disable"));
}

TEST_F(CreationFailure, LeavesMembersFreeToBeTeamedAgainUnlessNumbered) {
    OpenTwo();
    Bench(L"fault SetupDiGetINFClassW 1 5");
    ASSERT_EQ(0, Create().result);
    // The page has not been rebuilt, so the administrator may press the button again.
    Outcome again = Create();
    EXPECT_EQ(1, again.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), again.statuses);
}

// One allocation after the other fails. Whatever the outcome is, it is one that has a text of its
// own, and nothing stays open; that the text fits is looked at in the tests above.
TEST_F(CreationFailure, OfAnyAllocationEndsInAnOrderlyWay) {
    OpenTwo();
    ASSERT_EQ(1, Create().result);
    int allocations = static_cast<int>(Calls("calloc"));
    EXPECT_LT(20, allocations);
    int withoutBinding = 0;
    for (int nth = 1; nth <= allocations; nth += 2) {
        SCOPED_TRACE(nth);
        OpenTwo();
        Bench(L"fault calloc " + std::to_wstring(nth) + L" 8");
        Outcome outcome = Create();
        ASSERT_FALSE(outcome.statuses.empty());
        const std::wstring& first = outcome.statuses[0];
        withoutBinding += first == text::kBindingNotWritten;
        if (outcome.result == 1) {
            EXPECT_NE(outcome.statuses.end(),
                      std::find(outcome.statuses.begin(), outcome.statuses.end(), text::kCreated));
        } else {
            EXPECT_EQ(1u, outcome.statuses.size());
            EXPECT_TRUE(first == text::kForeign || first == text::kNotOpened ||
                        first == text::kBindingNotWritten)
                << testing::PrintToString(first);
        }
    }
    EXPECT_GE(1, withoutBinding);
}
