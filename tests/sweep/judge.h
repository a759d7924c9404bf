// Tells whether what came of one run is what may come of it.
#pragma once

#include "errors.h"
#include "operations.h"
#include "outcomes.h"

#include <string>
#include <vector>

// What one run left.
struct Observed {
    std::vector<std::string> texts; // what the user was told, in order
    Facts facts;
    std::map<std::string, int> open; // what is still open, by kind; only what is not 0
    std::vector<CallSeen> faults;
    UINT64 benchMilliseconds = 0;
    bool waitWindow = false;           // a please-wait window is left
    std::vector<std::string> unusable; // pages that cannot be used
    int ticked = 0;                    // rows that the press was about
    unsigned long calls = 0;
};

// What runs without a fault do: the first press, and another one.
struct Baseline {
    Facts before;
    Observed first;
    Observed again;
};

struct Complaint {
    enum Kind { Leak, Wrong, Hang } kind;
    std::string text;
};
using Complaints = std::vector<Complaint>;

// The run with the fault. `allowed` receives the kinds of facts that may differ from then on.
Complaints JudgeRun(const std::string& operation, const Baseline& baseline,
                    const PlannedFault& fault, const Observed& run, unsigned* allowed);

// The same operation without a fault, on what that run left.
Complaints JudgeAgain(const std::string& operation, const Baseline& baseline, const Observed& run,
                      unsigned allowed, const Observed& again);

// The baseline itself has to be a success.
Complaints JudgeBaseline(const std::string& operation, const Baseline& baseline);
