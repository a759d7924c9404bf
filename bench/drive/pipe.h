// Talks to the bench's DLL inside a running program, over the pipe that it serves.
#ifndef BENCH_DRIVE_PIPE_H
#define BENCH_DRIVE_PIPE_H

#include <string>
#include <windows.h>

namespace drive {

// Sends one command to the DLL in the process `id` and gives its whole reply ("ok ...",
// "error ..."). Waits for the pipe as long as the process may still be setting it up. False, with
// *error, when there is no pipe or it broke; a reply that says "error" is no failure here.
bool BenchAsk(DWORD id, const std::wstring& command, std::wstring* reply, std::wstring* error);

} // namespace drive

#endif
