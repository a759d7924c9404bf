// The bench's functions, for tests that call them as the program does.
#pragma once

#include "bench.h"

// BENCHED(CloseHandle)(handle): through the bench; the test's own calls go past it.
#define BENCHED(name) (reinterpret_cast<decltype(&::name)>(BenchRoutine(#name)))
