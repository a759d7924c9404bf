// Which programs run, judged by the base name of each process's first module.
#pragma once

#include <windows.h>

// 1 when a second copy of this program runs, else 0; also 0 when the processes cannot be listed.
// The copy that asks counts itself.
int IsQvTeamCfgRunning(void);

// 1 when the tray program runs, else 0.
int IsQvTrayRunning(void);
