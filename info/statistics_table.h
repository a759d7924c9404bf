// The traffic counters that the statistics page shows. They are the program's, not one adapter's: what
// was read last, and what the next reading is counted from.
#pragma once

#include <windows.h>

constexpr int STATISTICS_ROWS = 21;

struct StatisticsRow {
    LPCWSTR name;
    DWORD oid;
    ULONGLONG value; // as last read
};

extern StatisticsRow g_statistics[STATISTICS_ROWS];

// How far a counter has come since it was last reset; a counter below its baseline gives a very large
// number.
ULONGLONG CountSinceReset(int row);

// Counts from the values as they were last read.
void ResetStatistics(void);
