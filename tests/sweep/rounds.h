// Rounds of a loop that are alike. A press walks over all adapters, members or VLANs many times, and a
// call that fails in the fifth of eight equal rounds shows what it shows in the third.
#pragma once

#include "watch.h"

#include <vector>

// Whether each call of a run is made to fail. Calls are alike when they have the same name, the same
// routines, and the same calls follow; GUIDs and numbers from 3 on, which are places, do not count, nor
// does which entry of a routine it is from the third within its caller on. Of alike calls, the first
// two and the last one fail.
std::vector<bool> CallsThatFail(const std::vector<CallSeen>& calls);
