// Something is created on a simulated machine and removed again. The machine must then be as it was
// before, except for the traces that bench/machine/compare.h explains.
#pragma once

#include "harness/removal.h"

class RoundTripTest : public RemovalTest {
  protected:
    // A machine with so many free ports, as it is deployed, with the page open.
    void OpenPorts(int count, const std::wstring& file = kDeployedMachine);

    // Opens the page on the machine as it has been described.
    void Start();

    // Opens the page anew on the machine that stands, as after a change that the page did not make.
    void Reopen();

    // From now on the machine has to come back to what it is now. Gives what it had to come back to.
    std::string ComeBackToThis();
    void ComeBackTo(const std::string& dump);

    // The machine is back, except for the traces and these facts. On a deployed machine the bindings of
    // former members that were off are on, all of them.
    void ExpectBack(const Texts8& but = {});

    // What of the machine is not back, "- fact" and "+ fact", without the traces.
    Texts8 NotBack() const;

    // The names of the listed ports. `rows` below are numbers in this list.
    Texts16 PortTexts() const;
    void TickPorts(const std::vector<int>& rows);

    void MakeTeam(const std::vector<int>& rows, DWORD mode, const std::wstring& name);
    void RemoveTeams(const std::vector<int>& rows);
    void RemoveTeamNamed(const std::wstring& name);

    // So many VLANs, with ids from 0 on, which is the one without a tag.
    static std::vector<GUID> MakeVlans(const GUID& host, const wchar_t* hostName, int count,
                                       BOOL isTeam);
    static int CountVlans(const GUID& host, BOOL isTeam);

    // The middle one first, then the ones about it.
    static void RemoveVlans(const GUID& host, std::vector<GUID> vlans, BOOL isTeam);

  private:
    Texts8 NotBack(const std::string& dump) const;
    std::vector<int> PortRows() const;
    bool isDeployed() const {
        return machine.componentSet != L"default";
    }

    std::string before_;
};
