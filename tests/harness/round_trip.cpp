#include "harness/round_trip.h"

#include "team/create_team.h"
#include "team/remove_team.h"
#include "vlan/vlan_adapter.h"
#include "vlan/vlan_list.h"

#include <algorithm>
#include <map>

struct Leftover {
    const char* path;  // begins so
    const char* value; // is this, whatever it is when null
    const char* reason;
};

static const Leftover kLeftovers[] = {
    {"network\\{51560000-0000-4000-8000-", "key",
     "only the Connection key of a virtual adapter goes with it, not the adapter's key above"},
    {"qvteamp\\Parameters\\Adapters", "key",
     "the key above the records comes with the first record and stays without any"},
    {"service\\qvteammp\\", nullptr, "the driver stays installed when its last device goes"},
};

static const size_t kStoredNameBytes = 512;

// Not a fact that changed: the text is the same. The name of a former member is stored with a fixed
// number of bytes.
static std::string WithStoredSize(const std::string& name) {
    return name + " (" + std::to_string(kStoredNameBytes) + " bytes)";
}

static bool IsLeftover(const std::string& path, const std::string& value) {
    return std::any_of(std::begin(kLeftovers), std::end(kLeftovers), [&](const Leftover& leftover) {
        return path.find(leftover.path) == 0 &&
               (leftover.value == nullptr || value == leftover.value);
    });
}

static std::map<std::string, std::string> Facts(const std::string& dump) {
    std::map<std::string, std::string> facts;
    size_t start = 0;
    for (size_t end; (end = dump.find('\n', start)) != std::string::npos; start = end + 1) {
        std::string line = dump.substr(start, end - start);
        size_t equals = line.find(" = ");
        facts[line.substr(0, equals)] = line.substr(equals + 3);
    }
    return facts;
}

// What is different and no leftover: "- path = old", "+ path = new".
static Texts8 Changed(const std::string& before, const std::string& after) {
    Texts8 changed;
    std::map<std::string, std::string> old = Facts(before);
    std::map<std::string, std::string> now = Facts(after);
    for (const auto& [path, value] : old) {
        auto found = now.find(path);
        if (found != now.end() &&
            (found->second == value || found->second == WithStoredSize(value)))
            continue;
        if (!IsLeftover(path, value))
            changed.push_back("- " + path + " = " + value);
    }
    for (const auto& [path, value] : now) {
        auto found = old.find(path);
        if (found != old.end() &&
            (found->second == value || value == WithStoredSize(found->second)))
            continue;
        if (!IsLeftover(path, value))
            changed.push_back("+ " + path + " = " + value);
    }
    return changed;
}

void RoundTripTest::OpenPorts(int count) {
    Ports(count);
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
    Texts8 changed;
    for (const std::string& fact : Changed(before_, MachineDump())) {
        std::wstring shown = Short({fact.begin(), fact.end()});
        changed.push_back({shown.begin(), shown.end()});
    }
    return changed;
}

void RoundTripTest::ExpectBack(const Texts8& but) {
    ExpectFacts(but, NotBack());
}

void RoundTripTest::MakeTeam(const std::vector<int>& rows, DWORD mode, const std::wstring& name) {
    Tick(rows);
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
