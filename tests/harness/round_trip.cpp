#include "harness/round_trip.h"

#include "compare.h"
#include "team/create_team.h"
#include "team/remove_team.h"
#include "vlan/vlan_adapter.h"
#include "vlan/vlan_list.h"

#include <algorithm>

void RoundTripTest::OpenPorts(int count, const std::wstring& file) {
    Ports(count, file);
    Start();
}

void RoundTripTest::Start() {
    Open({});
    ComeBackToThis();
}

void RoundTripTest::Reopen() {
    page.reset();
    page = std::make_unique<PageHost>();
    ShowWindow(page->control(IDC_NIC_LIST), SW_HIDE);
    ShowWindow(page->control(IDC_TEAM_LIST), SW_HIDE);
}

std::string RoundTripTest::ComeBackToThis() {
    std::string earlier = before_;
    before_ = MachineDump();
    return earlier;
}

void RoundTripTest::ComeBackTo(const std::string& dump) {
    before_ = dump;
}

Texts8 RoundTripTest::NotBack() const {
    return NotBack(MachineDump());
}

Texts8 RoundTripTest::NotBack(const std::string& dump) const {
    Texts8 changed;
    for (const DumpChange& change : MachineCompare(before_, dump)) {
        const bool bindingOn = change.reason != nullptr && change.line.find("path\\") == 0;
        if (change.trace || (isDeployed() && bindingOn))
            continue;
        const std::wstring shown = Short({change.line.begin(), change.line.end()});
        changed.push_back((change.added ? "+ " : "- ") + std::string(shown.begin(), shown.end()));
    }
    return changed;
}

void RoundTripTest::ExpectBack(const Texts8& but) {
    const std::string dump = MachineDump();
    ExpectFacts(but, NotBack(dump));
    if (!isDeployed())
        return;
    for (const MachineAdapter& adapter : machine.adapters) {
        const std::string guid(adapter.guid.begin(), adapter.guid.end());
        const std::string device =
            "device\\" + std::string(adapter.instance.begin(), adapter.instance.end());
        const Texts8 name = DumpLines(dump, device + "\\enum\\FriendlyName");
        const bool isFormerMember =
            !name.empty() && name[0].find("(512 bytes)") != std::string::npos &&
            DumpLines(dump, "qvteamp\\Parameters\\Adapters\\" + guid).empty();
        for (const std::string& path : isFormerMember ? DumpLines(dump, "path\\") : Texts8())
            EXPECT_EQ(std::string::npos, path.find("->" + guid + " = disabled")) << path;
    }
}

std::vector<int> RoundTripTest::PortRows() const {
    std::vector<int> rows;
    for (int row = 0; row < page->rows(IDC_NIC_LIST); row++) {
        if (IsPortRow(row))
            rows.push_back(row);
    }
    return rows;
}

void RoundTripTest::TickPorts(const std::vector<int>& rows) {
    const std::vector<int> ports = PortRows();
    std::vector<int> chosen;
    for (int row : rows)
        chosen.push_back(ports.at(static_cast<size_t>(row)));
    Tick(chosen);
}

Texts16 RoundTripTest::PortTexts() const {
    const Texts16 all = page->rowTexts(IDC_NIC_LIST);
    Texts16 ports;
    for (int row : PortRows())
        ports.push_back(all[static_cast<size_t>(row)]);
    return ports;
}

void RoundTripTest::MakeTeam(const std::vector<int>& rows, DWORD mode, const std::wstring& name) {
    TickPorts(rows);
    page->tick(IDC_ACTIVE_BACKUP, mode & 1);
    page->tick(IDC_TX_LOAD_BALANCING, mode & 2);
    page->tick(IDC_LACP, mode & 4);
    page->tick(IDC_FAILBACK, mode & 8);
    page->setText(IDC_TEAM_NAME, name);
    Outcome made = Perform(CreateTeam);
    EXPECT_EQ(1, made.result);
    EXPECT_EQ((Texts16{text::kCreated, text::kHelp}), made.statuses);
}

void RoundTripTest::RemoveTeams(const std::vector<int>& rows) {
    TickTeams(rows);
    Outcome removed = Perform(RemoveTeam);
    EXPECT_EQ(1, removed.result);
    EXPECT_EQ((Texts16{text::kRemoved, text::kHelp}), removed.statuses);
}

void RoundTripTest::RemoveTeamNamed(const std::wstring& name) {
    Texts16 listed = page->rowTexts(IDC_TEAM_LIST);
    auto found = std::find(listed.begin(), listed.end(), name);
    ASSERT_NE(listed.end(), found) << testing::PrintToString(name);
    RemoveTeams({static_cast<int>(found - listed.begin())});
}

std::vector<GUID> RoundTripTest::MakeVlans(const GUID& host, const wchar_t* hostName, int count,
                                           BOOL isTeam) {
    std::vector<GUID> vlans;
    for (int number = 0; number < count; number++) {
        GUID guid = {};
        std::wstring name = L"Vlan" + std::to_wstring(number);
        EXPECT_TRUE(CreateVlanForNics(&host, hostName, name.c_str(), static_cast<DWORD>(number),
                                      &guid, isTeam))
            << number << " " << GetLastError();
        vlans.push_back(guid);
    }
    return vlans;
}

int RoundTripTest::CountVlans(const GUID& host, BOOL isTeam) {
    auto list = std::make_unique<VlanList>();
    if (isTeam)
        GetVlanListForTeam(&host, list.get());
    else
        GetVlanListForNic(&host, list.get());
    return list->numVlans;
}

void RoundTripTest::RemoveVlans(const GUID& host, std::vector<GUID> vlans, BOOL isTeam) {
    while (!vlans.empty()) {
        auto middle = vlans.begin() + static_cast<std::ptrdiff_t>(vlans.size() / 2);
        EXPECT_TRUE(RemoveVlanFromNic(&host, &*middle, isTeam)) << GetLastError();
        vlans.erase(middle);
    }
}
