// Starts the executable under test exactly as it ships, with the bench's DLL loaded into it before
// its first instruction, and keeps the handle by which it is ended.
#ifndef BENCH_DRIVE_START_H
#define BENCH_DRIVE_START_H

#include <functional>
#include <string>
#include <windows.h>

namespace drive {

struct StartOptions {
    std::wstring executable; // full path
    std::wstring arguments;  // the rest of the command line
    std::wstring benchDll;   // full path of the DLL to load first; empty: the program runs as it is
    std::wstring commands; // bench commands carried out before the program starts, ';' between them
    std::wstring directory; // current directory it begins in; empty: the caller's
    std::wstring journal;   // full path of the journal file; empty: none
};

// A started process. `process` is NULL when nothing runs; ProgramEnd and ProgramRelease close it.
struct Program {
    HANDLE process = nullptr;
    DWORD id = 0;
    std::wstring scratch; // copy of the idle executable that goes with the process
};

// Calls `create`, which makes a process or sets the last error, and up to twice again, a moment
// apart, while it fails with an error that passes. The last error is that of its last call.
bool CreateInTries(const std::function<bool()>& create);

// Starts the program. On failure nothing is left running, *program is untouched and *error says
// which step failed. Whatever runs when the caller ends is ended by the system, and so are the
// processes that the program itself started.
bool ProgramStart(const StartOptions& options, Program* program, std::wstring* error);

// Starts a process that does nothing and whose first module is called `name` ("Explorer.exe").
// `idleExecutable` is the full path of QvTray.exe, which is copied under that name.
bool ProgramStartIdle(const std::wstring& idleExecutable, const std::wstring& name,
                      Program* program, std::wstring* error);

// Runs a console program to its end, at most two minutes. *output receives what it wrote.
bool ProgramRun(const std::wstring& commandLine, DWORD* exitCode, std::string* output,
                std::wstring* error);

// True when the process ended within `guard` milliseconds; *exitCode may be null.
bool ProgramWaitEnd(const Program& program, DWORD guard, DWORD* exitCode);

// Ends the process if it still runs, and closes its handle. Harmless on an empty record.
void ProgramEnd(Program* program);

} // namespace drive

#endif
