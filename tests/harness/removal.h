// Team removal on a simulated machine, in the same short words as team creation.
#pragma once

#include "harness/creation.h"

// The texts that end a removal, character for character.
namespace text {
extern const wchar_t kNotAdminToRemove[];
extern const wchar_t kTeamVlansStuck[];
extern const wchar_t kRemoved[];
} // namespace text

class RemovalTest : public CreationTest {
  protected:
    // A machine of so many teams, each of two ports: "Alpha" of port0 and port1, "Beta" and so on, with
    // further ports that are free.
    void Teams(int count, int freePorts = 0);

    // Builds the machine, opens the page on it and ticks these rows of its teams.
    void OpenTeams(const std::vector<int>& rows);
    void TickTeams(const std::vector<int>& rows);

    // Removes the ticked teams as the program does; otherwise as Create.
    Outcome Remove(const std::vector<Stop>& stops = {});

    std::wstring Record(int port); // key under HKEY_LOCAL_MACHINE
    std::wstring FriendlyName(int port);
    std::wstring DriverKey(int port);
};

// What removal does to the machine, piece by piece, as Outcome shows it.
Texts16 RemoveAdapterEvents(const std::wstring& guidName, const std::wstring& instance);
Texts16 AddressEvents(const Texts16& members);
Texts16 RebindEvents(const std::wstring& member);
Texts16 RestartEvents(const std::wstring& member);
Texts16 ReleaseEvents(const std::wstring& member, const std::wstring& name);
