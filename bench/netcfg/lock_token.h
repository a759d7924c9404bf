// What tells on the whole machine that the network configuration write lock is held: qvnetcfg.dll
// makes it, qvbench.dll looks for it.
#pragma once

// A pipe with a single instance. One handle on the machine can be it; whoever only waits for it does
// not keep it alive; it goes with its process.
inline constexpr wchar_t kLockToken[] = L"\\\\.\\pipe\\qvnetcfg-write-lock";
