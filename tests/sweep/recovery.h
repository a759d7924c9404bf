// What an administrator does by docs/recovery.md on a machine on which the program was interrupted:
// he looks at the page and at the Device Manager, presses the page's buttons, and deletes by hand what
// the page does not reach. The document's tables stand here too, so that tests can run them.
#pragma once

#include "devices.h"
#include "harness/restart.h"

#include <array>
#include <map>
#include <set>

// One for each line of the document's first table, by the number there.
enum class Step {
    Enable = 1,   // a disabled adapter is enabled in the Device Manager
    Uninstall,    // a team or VLAN adapter that belongs to nothing is uninstalled there
    VlanAgain,    // a VLAN is added to a host without VLANs and removed again
    RemoveVlan,   // the VLAN that was being added is removed with the program
    RemoveTeam,   // the team is removed with the program
    DeleteRecord, // the record of an adapter that is nowhere in use is deleted
    Rename,       // the team's name is taken off an adapter's name
    TeamAgain,    // a team of the adapters is created and removed again
    Last = TeamAgain
};
using Steps = std::vector<Step>;

struct StepText {
    const char* looks;
    const char* what; // to do
};
extern const std::vector<StepText> kSteps;

// The machine to which the steps lead.
enum class Promise {
    Before, // as before the operation
    After,  // as the operation would have left it
    Bare,   // as before, and without VLANs on the adapters
};

// A line of the document's second table.
struct Interruption {
    const char* during;
    const char* page; // how it looks
    Steps steps;
    Promise promise;
};

enum InterruptionId {
    ProtocolInstalled,
    MembersLoseVlans,
    MembersDetached,
    RecordsBegun,
    TeamInstalled,
    TeamPutTogether,
    TeamLosesVlans,
    TeamGone,
    MembersReleased,
    TeamsRemoved,
    HostDetached,
    TeamVlanInstalled,
    AdapterVlanInstalled,
    FurtherVlanInstalled,
    VlanListed,
    VlanForgotten,
    LastVlanForgotten,
    HostAttached,
};
extern const std::vector<Interruption> kInterruptions;

// What the interrupted operation was about. The administrator knows that.
struct Operation {
    Texts16 teams;
    std::vector<Texts16> members; // of each team: names of the machine's adapters
    std::wstring vlanHost;        // name of an adapter or a team of the machine; empty: no VLAN job
    std::wstring newVlan;         // name of the VLAN that was being added
};

// What the page and the Device Manager show.
struct Look {
    Texts16 adapters; // "Port 0", with "+10" for a VLAN that its VLAN page lists
    Texts16 teams;    // "Uplink (2)" for a team whose properties list two adapters, VLANs likewise
    Texts16 disabled; // by the names in the Device Manager
    Texts16 strays;   // adapters that belong to nothing and that the page does not show

    // "Port 0, Port 1 | Uplink (2); off: Uplink; left: Uplink - Voice".
    std::wstring text() const;
};

class RecoveryTest : public RestartTest {
  protected:
    void SetUp() override;

    // Everybody's, not only that of the operation.
    Look LookAround();

    void Begin(); // a recovery
    void Take(Step step, const Operation& operation);

    // What keeps the machine from being the one of this dump, and what a step could not do. Empty: sound.
    Texts8 NotSound(const std::string& dump);

    // The page's buttons. What they refuse keeps the machine from being sound.
    void PressCreate(const Texts16& members, const std::wstring& name);
    void PressRemove(const std::wstring& team);
    bool PressAddVlan(const std::wstring& host, const std::wstring& id, const std::wstring& name);
    void PressRemoveVlans(const std::wstring& host, const Texts16& names);
    Texts16 VlansOf(const std::wstring& host) const; // names

  private:
    bool Expect(bool done, const std::string& what);
    void EnableDisabled();
    void UninstallStrays();
    void DeleteRecords();
    void TakeOffTeamName(const std::wstring& team);

    bool IsTeam(const std::wstring& host) const;
    std::wstring GuidOf(const std::wstring& section) const;
    int RowOf(int list, const std::wstring& guid) const; // -1: not listed
    std::set<std::wstring> GuidsInUse() const;
    std::vector<qvmachine::FoundDevice> Strays() const;
    std::set<std::wstring> GuidsListed() const;
    Texts8 WithoutDeadVlans(const Texts8& facts) const;

    Texts8 refused_;
};
