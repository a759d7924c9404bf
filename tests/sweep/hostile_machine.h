// Machines that no installer would leave behind, each from its number alone.
#pragma once

#include "machine.h"

#include <cstdint>
#include <string>
#include <vector>

// Numbers that follow from a seed, the same everywhere.
class Dice {
  public:
    explicit Dice(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {
    }
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

struct HostileMachine {
    Machine machine;
    // Written into the devices' own keys when the machine stands: property texts as no call would
    // store them.
    struct Property {
        std::wstring instance;
        MachineValue value;
    };
    std::vector<Property> properties;
};

//   plain  a healthy machine, of which only INFs and settings are kept
HostileMachine MakeHostileMachine(uint64_t seed, const Machine& plain);
