// What may come of an operation when calls fail: the texts that the user is told, what is on the
// machine and on the page then, and which failing call may lead there.
#pragma once

#include "watch.h"

#include <string>
#include <vector>

// Kinds of facts that may differ from what an outcome leaves.
enum Deviation : unsigned {
    kBindings = 1u << 0,      // binding paths above an adapter
    kRecords = 1u << 1,       // member records
    kAddress = 1u << 2,       // a member's NetworkAddress
    kName = 1u << 3,          // a member's friendly name
    kHidden = 1u << 4,        // a device's Characteristics
    kState = 1u << 5,         // a device disabled or enabled
    kVirtualDevice = 1u << 6, // a virtual adapter as a whole
    kVirtualValues = 1u << 7, // what was written to a virtual adapter behind its installation
    kConnection = 1u << 8,    // the key that Windows keeps of an adapter that has gone
    kService = 1u << 9,       // the miniport's service
    kProtocol = 1u << 10,     // the teaming protocol
    kTcpip = 1u << 11,        // keys that the General page makes
    kRows = 1u << 12,         // rows of the page's lists, the name proposed
    kButtons = 1u << 13,      // which buttons can be used
    kSheet = 1u << 14,        // what an adapter's sheet shows
    kVlanRows = 1u << 15,     // rows of the VLAN page
    kOther = 1u << 16,

    // Not facts, but what else may be different.
    kNoHelp = 1u << 20,         // the help text behind a success is missing
    kTextLost = 1u << 21,       // a text that could not be shown is missing
    kForeign = 1u << 22,        // values that neither the state before nor the one behind has
    kAnyError = 1u << 23,       // the error told is a later one
    kConfigOpen = 1u << 24,     // the network configuration stays open
    kLockKept = 1u << 28,       // the configuration goes with its write lock
    kWaitOpen = 1u << 25,       // the please-wait window stays open
    kOthersToo = 1u << 30,      // virtual adapters that the operation is not about take it in
    kAgainUnticked = 1u << 29,  // where nothing is ticked, the next press without a fault ends so
    kAgainForgotten = 1u << 31, // where a list of VLANs has gone, it may end so again
    kBoxes = 1u << 26,          // "Cannot Create Control"
    kInstead = 1u << 27,        // these ends, whatever failed before
};
unsigned KindOfFact(const std::string& path);
std::string KindNames(unsigned kinds);

struct OutcomeRule {
    const char* operations; // names, or beginnings and '*', blanks between them
    const char* id;
    std::vector<std::string> texts; // "error 0x#" stands for the error of the failed call
    bool done;                      // the facts are those of a success, else those before
    unsigned deviations;
};
std::vector<const OutcomeRule*> OutcomesOf(const std::string& operation);

// What a failing call may lead to.
struct FaultRule {
    const char* routine; // a routine's name, or more of its line
    const char* calls;   // names, blanks between them; "*" any
    const char* ends;    // outcomes, blanks between them
    bool goesOn;         // or it is passed over
    unsigned deviations;
    const char* within = nullptr; // a routine about it without which the rule says nothing
    const char* operations = "*"; // others are not meant
};
// Null when nothing is said of it.
const FaultRule* RuleOf(const std::string& operation, const CallSeen& fault);

bool HasWord(const std::string& words, const std::string& word);
