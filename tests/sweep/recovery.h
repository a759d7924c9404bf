// What an administrator does by docs/recovery.md on a machine on which the program was interrupted:
// he looks at the page and at the Device Manager, presses the page's buttons, and deletes by hand what
// the page does not reach.
#pragma once

#include "harness/round_trip.h"

#include <array>
#include <set>

// One for each recipe, in the order of docs/recovery.md.
enum class Recipe {
    Enable,       // a disabled adapter is enabled in the Device Manager
    Uninstall,    // a team or VLAN adapter that belongs to nothing is uninstalled there
    VlanAgain,    // a VLAN is added to the host and removed again
    RemoveTeam,   // the team is removed with the program
    DeleteRecord, // the record of an adapter in neither list is deleted
    Rename,       // the team's name is taken off an adapter's name
    TeamAgain,    // a team of the adapters is created and removed again
    Count
};
const char* NameOf(Recipe recipe);

class RecoveryTest : public RoundTripTest {
  protected:
    // Whose VLANs were being changed; Teams: none's.
    enum class Concerned { Teams, VlansOfTeam, VlansOfAdapter };

    // Applies the recipes that fit. The team's name is that of the interrupted operation. Gives the
    // recipes that changed the machine.
    std::set<Recipe> Recover(Concerned concerned, const std::wstring& teamName);

    // The page's buttons.
    void PressCreate(const std::vector<int>& rows, const std::wstring& name);
    void PressRemove(const std::vector<int>& rows);
    void AddAndRemoveVlan(bool onTeam);

  private:
    // Does a step of the recovery and notes its recipe when the machine is another one afterwards.
    template <class Step> void Apply(Recipe recipe, Step step);

    void EnableDisabled();
    void UninstallStrays();
    void RemoveTeamsWithMembers();
    void DeleteRecordsOfMissing();
    void DeleteRecordsWithoutVlans();
    void TakeOffTeamName(const std::wstring& teamName);
    void RestoreVlanHost(bool onTeam);

    std::set<std::wstring> GuidsInUse() const;
    std::set<std::wstring> GuidsListed() const;

    std::set<Recipe> applied_;
    std::string dump_; // behind the last step
};
