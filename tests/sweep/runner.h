// Carries out one operation on its machine, with a fault or without, and observes it.
#pragma once

#include "errors.h"
#include "judge.h"
#include "snapshot.h"

#include <memory>

class Runner {
  public:
    // Builds the operation's machine. False: *error says why.
    bool build(const Operation* operation, std::string* error);

    // The two runs without a fault.
    Baseline baseline();

    // A run with this fault and the same again without one.
    void run(const PlannedFault& fault, const Baseline& baseline, Observed* first, Observed* again);

    // Whether the page can be built anew behind a run.
    bool pageWorks();

    // Of the baseline's first run.
    CallsByName calls() const;

  private:
    void begin();
    // `calls`, when given, receives every call of the press.
    Observed observe(void (*press)(Stage* stage), unsigned long ceiling,
                     std::vector<CallSeen>* calls = nullptr);
    Facts machineFacts();
    void close();

    const Operation* operation_ = nullptr;
    std::unique_ptr<Snapshot> snapshot_;
    Facts machineBefore_;
    Stage stage_;
    std::vector<CallSeen> calls_;
};
