// One team job on a simulated machine, and everything that it changed, in words short enough
// to be listed in full: "port0" stands for the device of the adapter of that name, "{port0}" for
// its GUID, "team0" and "{1}" for the first virtual adapter made, "record\" for the member records'
// key.
#pragma once

#include "harness/machine_test.h"
#include "harness/page_host.h"
#include "harness/ports.h"
#include "harness/program.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The texts that end a creation, character for character.
namespace text {
extern const wchar_t kNotAdmin[];
extern const wchar_t kNoInf[];
extern const wchar_t kTooManyNics[];
extern const wchar_t kTooManyTeams[];
extern const wchar_t kForeign[];
extern const wchar_t kNameInUse[];
extern const wchar_t kNameInvalid[];
extern const wchar_t kNotOpened[];
extern const wchar_t kXpOffload[];
extern const wchar_t kVlansKept[];
extern const wchar_t kVlansStuck[];
extern const wchar_t kBindingNotWritten[];
extern const wchar_t kNotUpdated[];
extern const wchar_t kCreated[];
extern const wchar_t kHelp[];
extern const wchar_t kVlanQuestion[];
} // namespace text

using Texts16 = std::vector<std::wstring>;
using Texts8 = std::vector<std::string>;

struct Outcome {
    int result = -1;
    Texts16 statuses;  // texts put into the status box, unescaped
    Texts16 events;    // the whole journal, shortened
    Texts8 difference; // "- fact" and "+ fact" of the machine's dump, shortened

    Texts16 of(const std::wstring& kind) const; // texts of one kind, shortened
};

// Where the worker is stopped, and what happens meanwhile. The call is counted from the last stop.
struct Stop {
    std::wstring call;
    int nth = 1;
    std::function<void()> act;
};

class CreationTest : public MachineTest {
  protected:
    void SetUp() override; // a question that nobody expects is answered with Cancel
    void TearDown() override;

    // A machine with so many free ports of the maker: port0, port1 ...
    void Ports(int count, const std::wstring& file = kSimpleMachine);
    void AddTeam(const std::wstring& name, DWORD slot, DWORD mode, Texts16 members);
    void AddVlan(const std::wstring& host, DWORD id, const std::wstring& name);
    MachineAdapter& Port(int number);

    // Builds the machine, opens the page on it, ticks these rows and the boxes of this mode. The
    // name is the proposed one unless given.
    void Open(const std::vector<int>& rows, DWORD mode = 1,
              std::optional<std::wstring> name = std::nullopt);
    void Tick(const std::vector<int>& rows);

    // Creates the team as the program does, on a worker while this thread serves the window. Fails
    // the test when a handle stays open or the network configuration stays locked.
    Outcome Create(const std::vector<Stop>& stops = {});

    // The same with any job of a worker.
    Outcome Run(int (*job)(HWND page), const std::vector<Stop>& stops = {});

    // The same in less time: the outcome has no difference.
    Outcome Perform(int (*job)(HWND page), const std::vector<Stop>& stops = {});

    // The executable that ships does it, at the press of a button; no result, no difference.
    Outcome Press(RunningProgram* program, const std::wstring& button);

    std::wstring Short(const std::wstring& text) const;

    std::unique_ptr<PageHost> page;

  private:
    void SortJournal(const Events& journal, Outcome* outcome) const;
};

Texts16 operator+(Texts16 left, const Texts16& right);
Texts8 operator+(Texts8 left, const Texts8& right);

// Lines of one dump only, in the order of the other lines: "- old", "+ new".
Texts8 DumpDifference(const std::string& before, const std::string& after);

// Fail with what is missing, what is too much and, for events, where the two part.
void ExpectEvents(const Texts16& expected, const Texts16& events);
void ExpectFacts(const Texts8& expected, const Texts8& facts); // in any order

// What creation does to the machine, piece by piece, as Outcome shows it.
Texts16 UnbindEvents(const std::wstring& member);
Texts8 UnbindFacts(const std::string& member);
