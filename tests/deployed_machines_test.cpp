// Machines as they are deployed: what the team page and the General page show where Windows has network
// adapters of its own, and what the product lets the user do with them.
#include "harness/creation.h"
#include "harness/devices.h"
#include "harness/removal.h"
#include "harness/sheet_host.h"

#include "info/general_page.h"
#include "team/create_team.h"
#include "team/remove_team.h"

#include <algorithm>

namespace {

constexpr wchar_t kPort0[] = L"Quovane 10GbE Adapter";
constexpr wchar_t kPort1[] = L"Quovane 10GbE Adapter #2";
constexpr wchar_t kUsb[] = L"Quovane USB 1GbE Adapter";
constexpr wchar_t kBluetooth[] = L"Bluetooth Device (Personal Area Network)";

// A device is physical unless its instance id begins with ROOT\, so all of these are; the rows are in
// the order of the enumeration.
const Texts16 kWindows10 = {
    kBluetooth,
    kPort0,
    kPort1,
    L"Microsoft ISATAP Adapter",
    L"Teredo Tunneling Pseudo-Interface",
    L"WAN Miniport (IKEv2)",
    L"WAN Miniport (L2TP)",
    L"WAN Miniport (Network Monitor)",
    L"WAN Miniport (IP)",
    L"WAN Miniport (IPv6)",
    L"WAN Miniport (PPPOE)",
    L"WAN Miniport (PPTP)",
    L"WAN Miniport (SSTP)",
    kUsb,
    L"Microsoft Wi-Fi Direct Virtual Adapter",
    L"Microsoft Wi-Fi Direct Virtual Adapter #2",
};
const Texts16 kServer2022 = {
    kPort0,
    kPort1,
    L"WAN Miniport (IKEv2)",
    L"WAN Miniport (GRE)",
    L"WAN Miniport (L2TP)",
    L"WAN Miniport (Network Monitor)",
    L"WAN Miniport (IP)",
    L"WAN Miniport (IPv6)",
    L"WAN Miniport (PPPOE)",
    L"WAN Miniport (PPTP)",
    L"WAN Miniport (SSTP)",
    kUsb,
};
// The same WAN miniports are below ROOT\ here.
const Texts16 kWindows7 = {kBluetooth, kPort0, kPort1, kUsb};

const struct Deployed {
    const wchar_t* file;
    const Texts16& unassigned;
} kDeployed[] = {
    {L"windows-10", kWindows10},
    {L"server-2022-hyper-v", kServer2022},
    {L"windows-7", kWindows7},
};

Texts16 Without(Texts16 rows, const Texts16& taken) {
    for (const std::wstring& name : taken)
        rows.erase(std::find(rows.begin(), rows.end(), name));
    return rows;
}

class DeployedMachine : public CreationTest {
  protected:
    int Row(const std::wstring& name) {
        const Texts16 rows = page->rowTexts(IDC_NIC_LIST);
        const auto found = std::find(rows.begin(), rows.end(), name);
        EXPECT_NE(rows.end(), found) << testing::PrintToString(name);
        return static_cast<int>(found - rows.begin());
    }
    void TickNames(const Texts16& names) {
        std::vector<int> rows;
        for (const std::wstring& name : names)
            rows.push_back(Row(name));
        Tick(rows);
    }
    Texts16 Unassigned() {
        return page->rowTexts(IDC_NIC_LIST);
    }
    Texts16 Teams() {
        return page->rowTexts(IDC_TEAM_LIST);
    }
};

// The registered network devices in the order in which Wine enumerates them, phantoms among them: that
// of the keys' names, whatever their case. That of Windows is unverified.
Texts16 EnumeratedIds() {
    Texts16 ids = DeviceSet().ids();
    for (std::wstring& id : ids)
        CharUpperW(id.data());
    return ids;
}

} // namespace

TEST_F(DeployedMachine, ListsAllAdaptersThatAreNotBelowRootAsUnassigned) {
    for (const Deployed& deployed : kDeployed) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(deployed.file)));
        Load(deployed.file);
        Open({});
        EXPECT_EQ(deployed.unassigned, Unassigned());
        EXPECT_EQ(Texts16{}, Teams());
        EXPECT_LE(deployed.unassigned.size(), size_t{MAX_NIC_ROWS});
        EXPECT_EQ(L"Team0", page->text(IDC_TEAM_NAME)) << "the name of a phantom is free";
    }
}

TEST_F(DeployedMachine, EnumeratesDevicesInTheOrderOfTheirKeys) {
    const struct {
        const wchar_t* file;
        Texts16 begins; // of consecutive runs of instance ids
        std::vector<size_t> counts;
    } cases[] = {
        {L"windows-10",
         {L"BTH\\MS_BTHPAN\\", L"PCI\\VEN_5156", L"ROOT\\KDNIC\\0000", L"ROOT\\NET\\0000",
          L"SWD\\IP_TUNNEL_VBUS\\", L"SWD\\MSRRAS\\MS_", L"USB\\VID_5156&PID_0201\\",
          L"{5D624F94-8850-40C3-A3FA-A4FD2080BAF3}\\VWIFIMP_WFD\\"},
         {1, 3, 1, 1, 2, 8, 1, 2}},
        {L"server-2022-hyper-v",
         {L"PCI\\VEN_5156", L"ROOT\\KDNIC\\0000", L"ROOT\\NET\\0000", L"ROOT\\VMS_MP\\0000",
          L"ROOT\\VMS_VSMP\\0000", L"SWD\\MSRRAS\\MS_", L"USB\\VID_5156&PID_0201\\"},
         {3, 1, 1, 1, 1, 9, 1}},
        {L"windows-7",
         {L"BTH\\MS_BTHPAN\\", L"PCI\\VEN_5156", L"ROOT\\*TEREDO\\0000", L"ROOT\\MS_",
          L"ROOT\\NET\\0000", L"USB\\VID_5156&PID_0201\\"},
         {1, 3, 1, 8, 1, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.file)));
        LoadAndBuild(c.file);
        const Texts16 ids = EnumeratedIds();
        size_t n = 0;
        for (size_t run = 0; run < c.begins.size(); run++) {
            for (size_t i = 0; i < c.counts[run]; i++, n++) {
                ASSERT_LT(n, ids.size());
                EXPECT_EQ(0u, ids[n].find(c.begins[run])) << testing::PrintToString(ids[n]);
            }
        }
        EXPECT_EQ(n, ids.size());
    }
}

TEST_F(DeployedMachine, RefusesATeamOfAPortAndAnAdapterOfWindows) {
    for (const Deployed& deployed : kDeployed) {
        Load(deployed.file);
        Open({});
        const std::string before = MachineDump();
        for (const std::wstring& name : deployed.unassigned) {
            if (name.find(L"Quovane") == 0)
                continue;
            SCOPED_TRACE(testing::PrintToString(deployed.file + (L": " + name)));
            TickNames({kPort0, name});
            page->tick(IDC_ACTIVE_BACKUP);
            const Outcome outcome = Perform(CreateTeam);
            EXPECT_EQ(0, outcome.result);
            EXPECT_EQ(Texts16{text::kForeign}, outcome.statuses);
            for (int row = 0; row < page->rows(IDC_NIC_LIST); row++)
                page->tickRow(IDC_NIC_LIST, row, false);
        }
        EXPECT_EQ("", ChangedSince(before));
    }
}

TEST_F(DeployedMachine, TeamsTheFirstAndTheLastPortOfTheListAndReleasesThem) {
    for (const Deployed& deployed : kDeployed) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(deployed.file)));
        Load(deployed.file);
        Open({});
        TickNames({kPort0, kUsb});
        page->tick(IDC_ACTIVE_BACKUP);
        Outcome outcome = Perform(CreateTeam);
        EXPECT_EQ(1, outcome.result);
        EXPECT_EQ(Without(deployed.unassigned, {kPort0, kUsb}), Unassigned());
        EXPECT_EQ(Texts16{L"Team0"}, Teams());
        page->tickRow(IDC_TEAM_LIST, 0);
        outcome = Perform(RemoveTeam);
        EXPECT_EQ(1, outcome.result);
        EXPECT_EQ(deployed.unassigned, Unassigned());
        EXPECT_EQ(Texts16{}, Teams());
    }
}

TEST_F(DeployedMachine, ShowsHeadersOnlyOfAnAdapterWhoseDriverDoesNotOpen) {
    for (const Deployed& deployed : kDeployed) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(deployed.file)));
        Load(deployed.file);
        Open({});
        Bench(L"reset-open");
        g_teamSelected = -1;
        for (size_t row = 0; row < deployed.unassigned.size(); row++) {
            const std::wstring& name = deployed.unassigned[row];
            const bool opens = name.find(L"WAN Miniport") != 0 &&
                               name.find(L"ISATAP") == name.npos && name.find(L"Teredo") != 0;
            g_nicSelected = static_cast<int>(row);
            SheetHost general(IDD_GENERAL_PAGE, QvPropertiesDialogProc);
            EXPECT_EQ(opens ? 12u : 0u, general.rows().size()) << testing::PrintToString(name);
            EXPECT_EQ(L"Information", general.column(0).first);
            EXPECT_EQ(L"Value", general.column(1).first);
            if (opens)
                EXPECT_EQ(L"Unknown", general.value(L"Offload Capabilities"))
                    << testing::PrintToString(name);
        }
        EXPECT_TRUE(Texts(Journal(), L"message-box").empty());
        EXPECT_EQ("", StillOpen());
    }
}

// A machine file is read with what it includes; a complaint names the file and the line.
TEST_F(DeployedMachine, IncludesTheAdaptersThatWindowsBrings) {
    const std::string head = "windows = 10.0\n[adapter own]\ninstance = PCI\\A\\1\n";
    std::wstring error;
    ASSERT_TRUE(MachineParse(head + "include = windows-10-inbox.txt\nopens = no\n[adapter last]\n"
                                    "instance = PCI\\A\\2\n",
                             L"text", &machine, &error))
        << testing::PrintToString(error);
    ASSERT_EQ(11u, machine.adapters.size());
    EXPECT_EQ(L"own", machine.adapters.front().name);
    EXPECT_EQ(L"kdnic", machine.adapters[9].name);
    EXPECT_EQ(L"last", machine.adapters.back().name);
    const struct {
        const char* line;
        const wchar_t* where;
    } cases[] = {
        {"include = nowhere.txt", L"text:4: "},
        // The included file's sections follow the preamble of the including one only once.
        {"include = windows-10-inbox\ninclude = windows-10-inbox", L"windows-10-inbox:5: "},
        {"include = windows-10", L"windows-10:4: "}, // general keys belong before the first section
        {"include = windows-10-inbox\nwindows = 10.0", L"text:5: "},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(MachineParse(head + c.line, L"text", &machine, &error)) << c.line;
        EXPECT_EQ(0u, error.find(c.where)) << testing::PrintToString(error);
    }
    const std::string nested = "include = windows-10\n";
    EXPECT_FALSE(MachineParse(nested, L"text", &machine, &error));
    EXPECT_NE(std::wstring::npos, error.find(L"windows-10:")) << testing::PrintToString(error);
    EXPECT_NE(std::wstring::npos, error.find(L"includes no other"))
        << testing::PrintToString(error);
}
