// Where Windows versions and drivers differ: how the team adapter is installed, how devices are
// restarted, and when the team's address is there.
#include "harness/creation.h"

#include <setupapi.h>

using Names = std::vector<std::wstring>;

static const wchar_t kDi[] = L"DiInstallDevice";
static const wchar_t kSelected[] = L"InstallSelectedDriver";
static const wchar_t kUpdate[] = L"UpdateDriverForPlugAndPlayDevicesW";

class CreationVersion : public CreationTest {
  protected:
    static Names Scopes(const Outcome& outcome) {
        Names scopes;
        for (const wchar_t* kind : {L"device-disable", L"device-enable"}) {
            for (const std::wstring& text : outcome.of(kind))
                scopes.push_back(text.substr(text.find(L"scope=") + 6));
        }
        return scopes;
    }

    static std::wstring Route(const Outcome& outcome) {
        Names installs = outcome.of(L"device-install");
        if (installs.size() != 1)
            return L"(" + std::to_wstring(installs.size()) + L" installs)";
        size_t route = installs[0].find(L"route=") + 6;
        return installs[0].substr(route, installs[0].find(L' ', route) - route);
    }
};

TEST_F(CreationVersion, DecidesInstallRouteAndScopeOfEachRestart) {
    const struct {
        const wchar_t* windows;
        Names newDev;
        const wchar_t* route;
        const wchar_t* scope;
    } cases[] = {
        // 5.1 is an artificial answer; XP x64 reports 5.2.
        {L"5.1", {kSelected, kUpdate}, kSelected, L"config"},
        {L"5.2", {kSelected, kUpdate}, kSelected, L"global"},
        {L"6.0", {kDi, kUpdate}, kDi, L"config"},
        {L"6.1", {kDi, kUpdate}, kDi, L"config"},
        {L"10.0", {kDi, kUpdate}, kDi, L"config"},
        // Every entry point there: the version decides.
        {L"5.1", {kDi, kSelected, kUpdate}, kSelected, L"config"},
        {L"5.2", {kDi, kSelected, kUpdate}, kSelected, L"global"},
        {L"6.0", {kDi, kSelected, kUpdate}, kDi, L"config"},
        {L"10.0", {kDi, kSelected, kUpdate}, kDi, L"config"},
        // Some missing: the next route.
        {L"5.1", {kDi, kUpdate}, kDi, L"config"},
        {L"5.2", {kUpdate}, L"UpdateDriver", L"global"},
        {L"6.1", {kSelected, kUpdate}, L"UpdateDriver", L"config"},
        {L"10.0", {kUpdate}, L"UpdateDriver", L"config"},
        {L"10.0", {kDi}, kDi, L"config"},
    };
    for (const auto& param : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(param.windows)) + " of " +
                     std::to_string(param.newDev.size()) + " routes, expecting " +
                     testing::PrintToString(std::wstring(param.route)));
        Ports(2);
        machine.windows = param.windows;
        machine.newDev = param.newDev;
        Open({0, 1});
        Outcome made = Create();
        EXPECT_EQ(1, made.result);
        EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
        EXPECT_EQ(param.route, Route(made));
        // Off twice and on twice for the team, off and on for each of two members.
        EXPECT_EQ(Names(8, param.scope), Scopes(made));
    }
}

TEST_F(CreationVersion, FallsBackRouteByRouteOnWindowsFive) {
    const struct {
        Names faults;
        const wchar_t* route;
    } cases[] = {
        {{kSelected}, kDi},
        {{L"SetupDiSetSelectedDevice"}, kDi},
        {{L"SetupDiSetDeviceInstallParamsW"}, kDi},
        {{L"SetupDiBuildDriverInfoList"}, kDi},
        {{L"SetupDiGetSelectedDriverW"}, kDi},
        {{kSelected, kDi}, L"UpdateDriver"},
    };
    for (const auto& param : cases) {
        SCOPED_TRACE(testing::PrintToString(param.faults));
        Ports(2);
        machine.windows = L"5.2";
        machine.newDev = {kDi, kSelected, kUpdate};
        Open({0, 1});
        for (const std::wstring& name : param.faults)
            Bench(L"fault " + name + L" 1 5");
        Outcome made = Create();
        EXPECT_EQ(1, made.result);
        EXPECT_EQ(param.route, Route(made));
        EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
    }
}

// What the driver's installation would have given the device, as far as the program reads it.
static void GiveIdentity() {
    HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    EXPECT_TRUE(SetupDiOpenDeviceInfoW(set, L"ROOT\\NET\\0000", nullptr, 0, &device));
    HKEY key =
        SetupDiCreateDevRegKeyW(set, &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, nullptr, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, key);
    const wchar_t guid[] = L"{51560000-0000-4000-8000-000000000001}";
    const wchar_t address[] = L"02515600AA01";
    RegSetValueExW(key, L"NetCfgInstanceId", 0, REG_SZ, reinterpret_cast<const BYTE*>(guid),
                   sizeof(guid));
    RegSetValueExW(key, L"NetworkAddress", 0, REG_SZ, reinterpret_cast<const BYTE*>(address),
                   sizeof(address));
    RegCloseKey(key);
    SetupDiDestroyDeviceInfoList(set);
}

TEST_F(CreationVersion, AFailedForcedUpdateCountsAsInstalled) {
    Ports(2);
    machine.newDev = {kUpdate};
    Open({0, 1});
    Bench(std::wstring(L"fault ") + kUpdate + L" 1 5");
    Outcome made = Create({{kUpdate, 1, GiveIdentity}});
    EXPECT_EQ(1, made.result);
    EXPECT_EQ(Texts16{}, made.of(L"device-install"));
    EXPECT_EQ(Texts16{}, made.of(L"device-remove"));
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

TEST_F(CreationVersion, AFailedForcedUpdateThatLeftNoDriverEndsAtTheDriversKey) {
    Ports(2);
    machine.newDev = {kUpdate};
    Open({0, 1});
    Bench(std::wstring(L"fault ") + kUpdate + L" 1 5");
    Outcome failed = Create();
    EXPECT_EQ(0, failed.result);
    ASSERT_EQ(1u, failed.statuses.size());
    EXPECT_EQ(0u, failed.statuses[0].find(L"Team Creation failed with error 0x"));
    EXPECT_NE(L"Team Creation failed with error 0x5", failed.statuses[0]);
    EXPECT_EQ(Texts16{L"ROOT\\NET\\0000"}, failed.of(L"device-remove"));
}

class CreationAddress : public CreationTest {
  protected:
    Outcome CreateWith(const wchar_t* address) {
        Ports(2);
        machine.teamAddress = address;
        Open({0, 1});
        return Create();
    }
    static bool Mentions(const Outcome& outcome, const std::string& what) {
        for (const std::string& fact : outcome.difference) {
            if (fact.find(what) != std::string::npos)
                return true;
        }
        return false;
    }
    std::wstring AddressOf(int port) {
        for (const std::string& fact : DumpLines(
                 MachineDump(),
                 "device\\" + std::string(Port(port).instance.begin(), Port(port).instance.end()) +
                     "\\driver\\NetworkAddress"))
            return std::wstring(fact.begin(), fact.end()).substr(fact.find('=') + 2);
        return L"none";
    }
};

TEST_F(CreationAddress, ThatIsThereAtOnceIsNotWaitedFor) {
    Outcome made = CreateWith(L"at once");
    EXPECT_EQ(Texts16{}, made.of(L"sleep"));
    EXPECT_EQ(L"REG_SZ \"02515600AA01\"", AddressOf(0));
    EXPECT_EQ(L"REG_SZ \"02515600AA01\"", AddressOf(1));
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

TEST_F(CreationAddress, ThatComesWithinTenSecondsIsWaitedForOnce) {
    for (const wchar_t* address : {L"after 9", L"after 10"}) {
        SCOPED_TRACE(testing::PrintToString(address));
        Outcome made = CreateWith(address);
        EXPECT_EQ(1, made.result);
        EXPECT_EQ(Texts16{L"10000"}, made.of(L"sleep"));
        EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
        EXPECT_EQ(L"REG_SZ \"02515600AA01\"", AddressOf(0));
        EXPECT_EQ(L"REG_SZ \"02515600AA01\"", AddressOf(1));
    }
}

// The team is there and recorded; its members keep their names, show, and were not restarted.
TEST_F(CreationAddress, ThatDoesNotComeLeavesTheMembersAsTheyWereButTheTeamMade) {
    for (const wchar_t* address : {L"never", L"after 11"}) {
        SCOPED_TRACE(testing::PrintToString(address));
        Outcome made = CreateWith(address);
        EXPECT_EQ(1, made.result);
        EXPECT_EQ(Texts16{L"10000"}, made.of(L"sleep"));
        EXPECT_EQ((Texts16{text::kNotUpdated, text::kCreated, text::kHelp}), made.statuses);
        EXPECT_EQ(Texts16{L"ROOT\\NET\\0000 scope=config"}, made.of(L"device-disable"));
        EXPECT_EQ(Texts16{L"ROOT\\NET\\0000 scope=config"}, made.of(L"device-enable"));
        EXPECT_FALSE(Mentions(made, "device\\port"));
        EXPECT_TRUE(Mentions(made, "+ record\\{port1}\\TeamBinding"));
        EXPECT_TRUE(
            Mentions(made, "+ device\\ROOT\\NET\\0000\\bench\\Started = REG_DWORD 0x00000001"));
        EXPECT_EQ((Texts16{L"Team0"}), page->rowTexts(IDC_TEAM_LIST));
        EXPECT_EQ(Texts16{}, page->rowTexts(IDC_NIC_LIST));
        EXPECT_EQ(1, g_numTeams);
    }
}

TEST_F(CreationAddress, OfEachTeamIsItsOwn) {
    Ports(4);
    Open({0, 1});
    ASSERT_EQ(1, Create().result);
    Tick({0, 1});
    page->tick(IDC_LACP);
    page->tick(IDC_ACTIVE_BACKUP, false);
    Outcome second = Create();
    EXPECT_EQ(1, second.result);
    EXPECT_EQ(L"REG_SZ \"02515600AA01\"", AddressOf(1));
    EXPECT_EQ(L"REG_SZ \"02515600AA02\"", AddressOf(2));
    EXPECT_TRUE(Mentions(second, "+ record\\{port3}\\TeamNumber = REG_DWORD 0x00000421"));
    EXPECT_EQ((Texts16{L"Team0", L"Team1"}), page->rowTexts(IDC_TEAM_LIST));
}
