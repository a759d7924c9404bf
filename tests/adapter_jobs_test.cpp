// The walk that removes one team adapter or shows one physical adapter again.
#include "harness/list_host.h"
#include "harness/sample_machine.h"
#include "inventory/adapters.h"

using LineList = std::vector<std::wstring>;

static const std::wstring kConnections =
    L"System\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\";

// Two ports, of which the second is hidden, two team adapters, a VLAN and a virtual adapter of
// another maker.
class AdapterJob : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"two-ports.txt");
        machine.adapters = {SamplePort(0), SamplePort(1)};
        for (unsigned n = 0; n < 4; n++)
            machine.adapters.push_back(SampleVirtual(n));
        machine.adapters[1].characteristics = 0x8C;
        machine.adapters[4].values.push_back(MachineValue::Number(L"VlanID", 10));
        machine.adapters[5].provider = L"Ferrous";
    }
    const std::wstring& InstanceOf(size_t n) {
        return machine.adapters[n].instance;
    }
    int Do(int mode, const std::wstring& guidText) {
        GUID guid = Guid(guidText);
        return PopulateGuids(host.window(), mode, &guid);
    }
    void ExpectListsUntouched() {
        EXPECT_EQ(0, host.rows(IDC_NIC_LIST));
        EXPECT_EQ(0, host.rows(IDC_TEAM_LIST));
        EXPECT_STREQ(L"", g_nics[0].name);
        EXPECT_STREQ(L"", g_teamAdapters[0].name);
        EXPECT_EQ(0u, Calls("SendMessageW"));
        EXPECT_EQ(0u, Calls("SetupDiGetDeviceRegistryPropertyW")) << "no name is read";
    }

    ListHost host;
};

TEST_F(AdapterJob, ShowsAndRestartsThePhysicalAdapter) {
    Build();
    EXPECT_EQ(1, Do(POPULATE_SHOW_NIC, PortGuid(1)));
    EXPECT_EQ(
        (LineList{L"value-set driver(" + InstanceOf(1) + L")\\Characteristics REG_DWORD 0x00000084",
                  L"device-disable " + InstanceOf(1) + L" scope=config",
                  L"device-enable " + InstanceOf(1) + L" scope=config"}),
        Lines(Journal()));
    EXPECT_EQ("", StillOpen());
    ExpectListsUntouched();
}

TEST_F(AdapterJob, EndsTheWalkAtTheAdapterThatItShows) {
    Build();
    ASSERT_EQ(1, Do(POPULATE_SHOW_NIC, PortGuid(0)));
    EXPECT_EQ(1u, Calls("SetupDiGetClassDevsW"));
    EXPECT_EQ(1u, Calls("SetupDiEnumDeviceInfo"));
}

TEST_F(AdapterJob, RestartsAnAdapterThatHasNoCharacteristics) {
    machine.adapters[1].characteristics.reset();
    Build();
    EXPECT_EQ(1, Do(POPULATE_SHOW_NIC, PortGuid(1)));
    EXPECT_EQ((LineList{L"device-disable " + InstanceOf(1) + L" scope=config",
                        L"device-enable " + InstanceOf(1) + L" scope=config"}),
              Lines(Journal()));
}

TEST_F(AdapterJob, ComparesGuidsAndNotTheirTexts) {
    machine.adapters[1].guid = L"{a0000000-0000-4000-8000-00000000abcd}";
    Build();
    EXPECT_EQ(1, Do(POPULATE_SHOW_NIC, L"{A0000000-0000-4000-8000-00000000ABCD}"));
    EXPECT_EQ(3u, Lines(Journal()).size());
}

TEST_F(AdapterJob, RemovesTheTeamAdapterAndItsConnectionKey) {
    Build();
    const std::wstring connection = kConnections + VirtualGuid(0) + L"\\Connection";
    ASSERT_TRUE(RegistryHasKey(connection));
    EXPECT_EQ(1, Do(POPULATE_REMOVE_TEAM, VirtualGuid(0)));
    EXPECT_EQ((LineList{L"key-delete HKLM\\" + connection, L"device-remove " + InstanceOf(2)}),
              Lines(Journal()));
    EXPECT_FALSE(RegistryHasKey(connection));
    EXPECT_TRUE(RegistryHasKey(kConnections + VirtualGuid(0))) << "only the key below it goes";
    EXPECT_TRUE(RegistryHasKey(kConnections + VirtualGuid(1) + L"\\Connection"));
    EXPECT_TRUE(RegistryHasKey(kConnections + PortGuid(0) + L"\\Connection"));
    EXPECT_FALSE(RegistryHasKey(L"System\\CurrentControlSet\\Enum\\" + InstanceOf(2)));
    EXPECT_TRUE(RegistryHasKey(L"System\\CurrentControlSet\\Enum\\" + InstanceOf(3)));
    EXPECT_EQ("", StillOpen());
    ExpectListsUntouched();
}

TEST_F(AdapterJob, EndsTheWalkAtTheAdapterThatItRemoves) {
    Build();
    ASSERT_EQ(1, Do(POPULATE_REMOVE_TEAM, VirtualGuid(0)));
    EXPECT_EQ(3u, Calls("SetupDiEnumDeviceInfo"));
}

TEST_F(AdapterJob, RemovesATeamAdapterWhoseConnectionKeyIsMissing) {
    Build();
    RegistryDeleteTree(kConnections + VirtualGuid(1));
    EXPECT_EQ(1, Do(POPULATE_REMOVE_TEAM, VirtualGuid(1)));
    EXPECT_EQ(LineList{L"device-remove " + InstanceOf(3)}, Lines(Journal()));
}

TEST_F(AdapterJob, SucceedsAlsoWhenTheTeamAdapterCannotBeRemoved) {
    Build();
    Bench(L"fault SetupDiRemoveDevice 1 5");
    EXPECT_EQ(1, Do(POPULATE_REMOVE_TEAM, VirtualGuid(0)));
    EXPECT_EQ(LineList{L"key-delete HKLM\\" + kConnections + VirtualGuid(0) + L"\\Connection"},
              Lines(Changes(Journal())));
    EXPECT_EQ("", StillOpen());

    Bench(L"fault SetupDiSetClassInstallParamsW 1 87");
    EXPECT_EQ(1, Do(POPULATE_REMOVE_TEAM, VirtualGuid(1)));
    EXPECT_TRUE(RegistryHasKey(L"System\\CurrentControlSet\\Enum\\" + InstanceOf(3)));
    EXPECT_EQ(1u, Calls("SetupDiRemoveDevice"));
}

struct UntouchedCase {
    const char* what;
    int mode;
    std::wstring guid;
};

TEST_F(AdapterJob, ChangesNothingWhenNoAdapterOfItsKindHasTheGuid) {
    const std::wstring unknown = L"{A0000000-0000-4000-8000-FFFFFFFFFFFF}";
    const UntouchedCase cases[] = {
        {"removal of an unknown GUID", POPULATE_REMOVE_TEAM, unknown},
        {"showing of an unknown GUID", POPULATE_SHOW_NIC, unknown},
        {"removal of a physical adapter", POPULATE_REMOVE_TEAM, PortGuid(0)},
        {"showing of a team adapter", POPULATE_SHOW_NIC, VirtualGuid(0)},
        {"removal of a VLAN", POPULATE_REMOVE_TEAM, VirtualGuid(2)},
        {"removal of another maker's virtual adapter", POPULATE_REMOVE_TEAM, VirtualGuid(3)},
    };
    Build();
    const std::string before = MachineDump();
    for (const UntouchedCase& c : cases) {
        SCOPED_TRACE(c.what);
        Bench(L"reset-counts");
        EXPECT_EQ(1, Do(c.mode, c.guid));
        EXPECT_EQ(LineList{}, Lines(Journal()));
        EXPECT_EQ(7u, Calls("SetupDiEnumDeviceInfo")) << "all six devices and the end";
        EXPECT_EQ("", StillOpen());
    }
    EXPECT_EQ(before, MachineDump());
    ExpectListsUntouched();
}

TEST_F(AdapterJob, PassesOverAdaptersWhoseInstanceIdIsNoGuid) {
    machine.adapters[0].guid = L"no GUID";
    Build();
    EXPECT_EQ(1, Do(POPULATE_SHOW_NIC, PortGuid(1)));
    EXPECT_EQ(3u, Lines(Journal()).size());
    EXPECT_EQ("", StillOpen());
}

TEST_F(AdapterJob, FailsWithoutAStateRecordOrADeviceList) {
    Build();
    for (int mode : {POPULATE_REMOVE_TEAM, POPULATE_SHOW_NIC}) {
        SCOPED_TRACE(mode);
        const std::wstring guid = mode == POPULATE_SHOW_NIC ? PortGuid(1) : VirtualGuid(0);
        Bench(L"fault SetupDiGetClassDevsW 1 8");
        EXPECT_EQ(0, Do(mode, guid));
        EXPECT_EQ(LineList{}, Lines(Changes(Journal())));
    }
    EXPECT_EQ("", StillOpen());
    Bench(L"reset-counts");
    host.forgetData();
    EXPECT_EQ(0, Do(POPULATE_SHOW_NIC, PortGuid(1)));
    EXPECT_EQ(0, Do(POPULATE_REMOVE_TEAM, VirtualGuid(0)));
    EXPECT_EQ(0u, Calls("SetupDiGetClassDevsW"));
    EXPECT_EQ(LineList{}, Lines(Changes(Journal())));
}

TEST_F(AdapterJob, ShowsAnAdapterWhoseRestartFails) {
    Build();
    Bench(L"fault SetupDiChangeState 1 5 all");
    EXPECT_EQ(1, Do(POPULATE_SHOW_NIC, PortGuid(1)));
    EXPECT_EQ(0x84u, RegistryNumber(DriverKeyOf(InstanceOf(1)), L"Characteristics"));
    EXPECT_EQ(2u, Calls("SetupDiChangeState")) << "enabled even if it could not be disabled";
    EXPECT_EQ("", StillOpen());
}
