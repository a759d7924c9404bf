// The errors that a call can really give, and the calls that cannot fail at all. A call that nobody has
// written down here stops the sweep: nothing is left out by accident.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

struct CallErrors {
    std::vector<DWORD> errors; // empty: the call is left out
    std::string reason;        // why
};

// False for a call that is not known.
bool ErrorsOf(const std::string& call, CallErrors* errors);

struct PlannedFault {
    std::string call;
    unsigned nth = 0;
    bool all = false;
    DWORD error = 0;
};

// Which calls are to fail, and what is left out.
struct Plan {
    std::vector<PlannedFault> faults;
    std::vector<std::string> leftOut; // "CALL COUNT reason"
    std::vector<std::string> unknown;
};
// For all calls of one name, in order: whether each is made to fail.
using CallsByName = std::map<std::string, std::vector<bool>>;
Plan MakePlan(const CallsByName& calls);
