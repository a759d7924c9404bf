// The process in which the runs happen. It may crash or be ended at any run; what it has told until
// then is in its file, line by line:
//   left-out CALL COUNT REASON, unknown CALL
//   calls COUNT            all of a run without a fault
//   begin INDEX            of the plan's run
//   leak INDEX TEXT, wrong INDEX TEXT, slow INDEX TEXT
//   crash TEXT, hang TEXT  of the run that has begun
//   unmet INDEX            the call was not made so often
//   fresh                  another process has to go on
//   end                    nothing is left of the plan
#pragma once

#include <string>

// Which runs of the whole plan are carried out.
struct Selection {
    size_t every = 1;
    size_t shard = 0;
    size_t shards = 1;
    std::string only; // one call; empty: all
};

struct ChildTask {
    std::string operation;
    size_t first = 0; // run of the plan to begin with
    std::string told; // file that is appended to
    std::string plan; // file of "NAME NTH once|all ERROR" lines; made when it is not there
    Selection selection;
};

int RunChild(const ChildTask& task);
