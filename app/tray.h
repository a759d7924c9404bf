// Starts and stops the tray program, a separate program that outlives this one.
#pragma once

#include <windows.h>

// Starts it from the system directory unless it runs already. A failure is not reported.
void CreateTrayIcon(void);

// Asks every top-level window to let it quit, whether or not it runs.
void StopTrayIcon(void);
