// Machines that no installer would leave behind, each from its number alone.
#pragma once

#include "machine.h"

#include <cstdint>
#include <string>
#include <vector>

// Numbers that follow from a seed, the same everywhere.
class Dice {
  public:
    explicit Dice(uint64_t seed);
    uint64_t next();
    unsigned below(unsigned bound) {
        return bound == 0 ? 0 : static_cast<unsigned>(next() % bound);
    }
    bool oneIn(unsigned n) {
        return below(n) == 0;
    }
    // The same for something odd, which a mild machine has less often.
    bool odd(unsigned n) {
        return oneIn(n * mildness_);
    }
    void setMildness(unsigned mildness) {
        mildness_ = mildness;
    }
    unsigned mildness() const {
        return mildness_;
    }
    std::vector<BYTE> bytes(size_t count);
    size_t size(size_t usual, size_t huge); // mostly up to `usual`, now and then up to `huge`

  private:
    uint64_t state_;
    unsigned mildness_ = 1;
};

// A value of any type and size: strings without an end, lists without one, odd counts, numbers of
// three bytes.
MachineValue HostileValue(Dice& dice, const std::wstring& name);
std::wstring HostileText(Dice& dice);

// The services of adapters whose own entry is hostile; the names begin so.
constexpr wchar_t kOddService[] = L"qvodd";

struct HostileMachine {
    Machine machine;
    // Written when the machine stands: what no call would store, and what other programs keep.
    struct Value {
        std::wstring path; // below HKEY_LOCAL_MACHINE
        MachineValue value;
    };
    std::vector<Value> values;
    // The same for a device's driver key, whose path follows from the building.
    struct DriverValue {
        std::wstring instance;
        MachineValue value;
    };
    std::vector<DriverValue> driverValues;
    // The adapter or team that has more VLANs than a page shows, and nothing else wrong with it; empty
    // on most machines.
    std::wstring fullHost;
};

// Every so many machines in a row have one of each of these.
constexpr unsigned kRound = 40;
bool HasFullAdapter(uint64_t seed);
bool HasFullTeam(uint64_t seed);
// One in ten is worked on through the buttons of the page, so that jobs run on their worker behind the
// wait dialog; one in twenty also lacks the teaming protocol, which the button then installs.
bool HasPressedButtons(uint64_t seed);
bool LacksProtocol(uint64_t seed);

//   plain  a healthy machine, of which only INFs and settings are kept
HostileMachine MakeHostileMachine(uint64_t seed, const Machine& plain);
