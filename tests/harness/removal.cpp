#include "harness/removal.h"

#include "team/remove_team.h"

#include <algorithm>

namespace text {
const wchar_t kNotAdminToRemove[] = L"User should have Admin privilege to be   \r\n"
                                    L"able to remove a team. Please  login as Admin  \r\n"
                                    L"and try again\r\n";
const wchar_t kTeamVlansStuck[] = L"Could not remove vlans from the Team.\r\n"
                                  L"Try manually removing the vlans to continue\r\n";
const wchar_t kRemoved[] = L"Team Removed.";
} // namespace text

void RemovalTest::Teams(int count, int freePorts) {
    const wchar_t* names[] = {L"Alpha", L"Beta", L"Gamma", L"Delta"};
    Ports(2 * count + freePorts);
    machine.teams.clear();
    machine.vlans.clear();
    for (int team = 0; team < count; team++)
        AddTeam(names[team], static_cast<DWORD>(team), 1,
                {Port(2 * team).name, Port(2 * team + 1).name});
}

void RemovalTest::OpenTeams(const std::vector<int>& rows) {
    Open({});
    TickTeams(rows);
}

void RemovalTest::TickTeams(const std::vector<int>& rows) {
    for (int row = 0; row < page->rows(IDC_TEAM_LIST); row++)
        page->tickRow(IDC_TEAM_LIST, row, std::find(rows.begin(), rows.end(), row) != rows.end());
}

Outcome RemovalTest::Remove(const std::vector<Stop>& stops) {
    return Run(RemoveTeam, stops);
}

std::wstring RemovalTest::Record(int port) {
    return L"System\\CurrentControlSet\\Services\\qvteamp\\Parameters\\Adapters\\" +
           Port(port).guid;
}

std::wstring RemovalTest::FriendlyName(int port) {
    return RegistryText(L"System\\CurrentControlSet\\Enum\\" + Port(port).instance,
                        L"FriendlyName");
}

std::wstring RemovalTest::DriverKey(int port) {
    return L"System\\CurrentControlSet\\Control\\Class\\" +
           RegistryText(L"System\\CurrentControlSet\\Enum\\" + Port(port).instance, L"Driver");
}

Texts16 RemoveAdapterEvents(const std::wstring& guidName, const std::wstring& instance) {
    return {L"key-delete network\\{" + guidName + L"}\\Connection", L"device-remove " + instance};
}

Texts16 AddressEvents(const Texts16& members) {
    Texts16 events;
    for (const std::wstring& member : members)
        events.push_back(L"value-delete driver(" + member + L")\\NetworkAddress");
    return events;
}

static const wchar_t* const kPaths[] = {L"ms_msclient->ms_netbt->ms_tcpip",
                                        L"ms_server->ms_netbt->ms_tcpip", L"ms_netbt->ms_tcpip",
                                        L"ms_tcpip"};

Texts16 RebindEvents(const std::wstring& member) {
    Texts16 events = {L"netcfg-lock"};
    for (const wchar_t* path : kPaths)
        events.push_back(std::wstring(L"binding-enable ") + path + L"->{" + member + L"}");
    return events + Texts16{L"netcfg-apply", L"netcfg-unlock"};
}

Texts16 RestartEvents(const std::wstring& member) {
    return {L"device-disable " + member + L" scope=config",
            L"device-enable " + member + L" scope=config"};
}

Texts16 ReleaseEvents(const std::wstring& member, const std::wstring& name) {
    return Texts16{L"key-delete record\\{" + member + L"}",
                   L"property-set " + member + L" FRIENDLYNAME \"" + name + L"\" 512 bytes",
                   L"value-set driver(" + member + L")\\Characteristics REG_DWORD 0x00000084"} +
           RestartEvents(member) + RebindEvents(member);
}
