// What stands beside an adapter in its row: service, installation state, driver date and version.
#include "harness/list_host.h"
#include "harness/sample_machine.h"
#include "inventory/adapters.h"

class AdapterDetail : public MachineTest {
  protected:
    void SetUp() override {
        Load(L"two-ports.txt");
        machine.adapters = {SamplePort(0)};
    }
    const MachineAdapter& port() {
        return machine.adapters[0];
    }
    // A text of the driver key, stored as given.
    void Store(const MachineValue& value) {
        RegistrySet(DriverKeyOf(port().instance), value);
    }
    void Fill() {
        host.clear();
        EXPECT_EQ(1, PopulateGuids(host.window(), POPULATE_LISTS, nullptr));
        EXPECT_EQ(1, host.rows(IDC_NIC_LIST));
        EXPECT_EQ("", StillOpen());
    }

    ListHost host;
};

TEST_F(AdapterDetail, IsReadIntoTheRowOfItsAdapterInEitherTable) {
    machine.adapters = {SamplePort(0), SamplePort(1), SampleVirtual(0)};
    for (size_t n = 0; n < 3; n++) {
        MachineAdapter& adapter = machine.adapters[n];
        adapter.installState = static_cast<DWORD>(n);
        adapter.values = {
            MachineValue::Text(L"DriverDate", L"3-14-200" + std::to_wstring(n)),
            MachineValue::Text(L"DriverVersion", L"2.6.1." + std::to_wstring(n)),
        };
    }
    machine.adapters[1].service = L"ferrnic";
    Build();
    ASSERT_EQ(1, PopulateGuids(host.window(), POPULATE_LISTS, nullptr));
    const AdapterDetails* rows[] = {&g_nicDetails[0], &g_nicDetails[1], &g_teamAdapterDetails[0]};
    const wchar_t* services[] = {L"qvnic", L"ferrnic", L"qvteammp"};
    for (size_t n = 0; n < 3; n++) {
        SCOPED_TRACE(n);
        EXPECT_STREQ(services[n], rows[n]->service);
        EXPECT_EQ(n, rows[n]->installState);
        EXPECT_EQ(L"3-14-200" + std::to_wstring(n), rows[n]->driverDate);
        EXPECT_EQ(L"2.6.1." + std::to_wstring(n), rows[n]->driverVersion);
    }
}

static void SetOld(AdapterDetails* row) {
    wcscpy(row->service, L"old service");
    row->installState = 77;
    wcscpy(row->driverDate, L"old date");
    wcscpy(row->driverVersion, L"old version");
}

struct UnreadCase {
    const char* what;
    const wchar_t* fault; // empty: the value is deleted instead
    const wchar_t* deleted;
    const wchar_t* service;
    DWORD installState;
    const wchar_t* date;
    const wchar_t* version;
};

TEST_F(AdapterDetail, ThatCannotBeReadStaysAsItWasAndTheOthersAreRead) {
    const UnreadCase cases[] = {
        {"all there", L"", L"", L"qvnic", 2, L"3-14-2009", L"2.6.1.0"},
        {"no service", L"fault SetupDiGetDeviceRegistryPropertyW:SPDRP_SERVICE 1 13", L"",
         L"old service", 2, L"3-14-2009", L"2.6.1.0"},
        {"no installation state",
         L"fault SetupDiGetDeviceRegistryPropertyW:SPDRP_INSTALL_STATE 1 13", L"", L"qvnic", 77,
         L"3-14-2009", L"2.6.1.0"},
        {"no date", L"", L"DriverDate", L"qvnic", 2, L"old date", L"2.6.1.0"},
        {"no version", L"", L"DriverVersion", L"qvnic", 2, L"3-14-2009", L"old version"},
    };
    machine.adapters[0].installState = 2;
    Build();
    for (const UnreadCase& c : cases) {
        SCOPED_TRACE(c.what);
        Store(MachineValue::Text(L"DriverDate", L"3-14-2009"));
        Store(MachineValue::Text(L"DriverVersion", L"2.6.1.0"));
        if (*c.deleted)
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, DriverKeyOf(port().instance).c_str(), c.deleted);
        SetOld(&g_nicDetails[0]);
        if (*c.fault)
            Bench(c.fault);
        Fill();
        EXPECT_STREQ(c.service, g_nicDetails[0].service);
        EXPECT_EQ(c.installState, g_nicDetails[0].installState);
        EXPECT_STREQ(c.date, g_nicDetails[0].driverDate);
        EXPECT_STREQ(c.version, g_nicDetails[0].driverVersion);
    }
}

TEST_F(AdapterDetail, OfADeviceWithoutAServiceStaysAsItWas) {
    machine.adapters[0].service.clear();
    Build();
    SetOld(&g_nicDetails[0]);
    Fill();
    EXPECT_STREQ(L"old service", g_nicDetails[0].service);
}

struct TextCase {
    const char* what;
    MachineValue value;
    std::wstring expected;
};

TEST_F(AdapterDetail, TakesDriverTextsOfAnyShapeCutToTheirRow) {
    const TextCase cases[] = {
        {"no terminator", MachineValue::SizedText(L"", L"3-14-2009", 18), L"3-14-2009"},
        {"half a last character", MachineValue::SizedText(L"", L"3-14-2009", 17), L"3-14-2009"},
        {"no bytes", {L"", REG_SZ, {}}, L""},
        {"a list", MachineValue::MultiText(L"", {L"one", L"two"}), L"one"},
        {"259 characters", MachineValue::Text(L"", std::wstring(259, L'x')),
         std::wstring(259, L'x')},
        {"260 characters", MachineValue::Text(L"", std::wstring(260, L'x')),
         std::wstring(259, L'x')},
        {"a thousand characters", MachineValue::Text(L"", std::wstring(1000, L'x')),
         std::wstring(259, L'x')},
        {"a format", MachineValue::Text(L"", L"%s%n%d"), L"%s%n%d"},
    };
    Build();
    for (const TextCase& c : cases) {
        SCOPED_TRACE(c.what);
        for (const wchar_t* name : {L"DriverDate", L"DriverVersion"})
            Store({name, c.value.type, c.value.data});
        SetOld(&g_nicDetails[0]);
        g_nicDetails[1] = {};
        Fill();
        EXPECT_EQ(c.expected, g_nicDetails[0].driverDate);
        EXPECT_EQ(c.expected, g_nicDetails[0].driverVersion);
        EXPECT_STREQ(L"qvnic", g_nicDetails[0].service) << "what stands in front is whole";
        EXPECT_STREQ(L"", g_nicDetails[1].service) << "the next row is untouched";
    }
}

TEST_F(AdapterDetail, TakesAServiceOfAtMostFiveHundredAndTwentyBytes) {
    Build();
    SetDeviceText(port().instance, L"Service", MachineValue::Text(L"", std::wstring(259, L's')));
    SetOld(&g_nicDetails[0]);
    Fill();
    EXPECT_EQ(std::wstring(259, L's'), g_nicDetails[0].service);

    SetDeviceText(port().instance, L"Service",
                  MachineValue::SizedText(L"", std::wstring(260, L't'), 520));
    SetOld(&g_nicDetails[0]);
    Fill();
    EXPECT_EQ(std::wstring(259, L't'), g_nicDetails[0].service) << "terminated within its row";
    EXPECT_EQ(0u, g_nicDetails[0].installState) << "and not beyond";

    SetDeviceText(port().instance, L"Service", MachineValue::Text(L"", std::wstring(260, L'u')));
    SetOld(&g_nicDetails[0]);
    Fill();
    EXPECT_STREQ(L"old service", g_nicDetails[0].service) << "522 bytes";
}

TEST_F(AdapterDetail, OfAnAdapterThatIsNotListedIsNotRead) {
    machine.adapters[0].friendlyName.reset();
    machine.adapters[0].description.reset();
    Build();
    SetOld(&g_nicDetails[0]);
    ASSERT_EQ(1, PopulateGuids(host.window(), POPULATE_LISTS, nullptr));
    EXPECT_STREQ(L"old service", g_nicDetails[0].service);
    EXPECT_EQ(77u, g_nicDetails[0].installState);
}
