// The door of qvbench.dll: the part of the simulated machine that stands between the program and
// Windows. Once attached to a module, every call that the module makes through its import table
// is counted, can be held or made to fail, and ends either in the real function or in a stand-in
// that keeps Windows' rules over the data of the simulated machine (HKLM\Software\QvBench).
//
// An injected process is attached by itself when it starts with QVBENCH=1 in its environment; the
// commands in QVBENCH_COMMANDS (';' between them) run before the first call, and further ones are
// taken from the pipe \\.\pipe\qvbench-<process id>. A test calls BenchAttach on the module that
// holds the product's code; its own calls are then never touched.
//
// Every routine may be called from any thread and leaves the last error as it was.
#ifndef QV_BENCH_DLL_BENCH_H
#define QV_BENCH_DLL_BENCH_H

#include <windows.h>

#ifdef QV_BENCH_DLL_BUILD
#define QV_BENCH_API __declspec(dllexport)
#else
#define QV_BENCH_API __declspec(dllimport)
#endif

#ifdef __cplusplus
extern "C" {
#endif

// Patches the import table of `module`. TRUE when at least one import is now the bench's; attaching
// a module twice changes nothing. The patch lasts as long as the module does.
QV_BENCH_API BOOL WINAPI BenchAttach(HMODULE module);

// The bench's function of this name, as an attached module calls it; null when there is none. One that
// ends in the real function works only after a module that imports it has been attached.
QV_BENCH_API void* WINAPI BenchRoutine(const char* name);

// Runs one command. 1 = done, 0 = refused (unknown command, bad arguments). `reply` (may be null)
// receives the text that the pipe would give behind "ok " or "error ", cut to `cchReply` characters
// including its terminator.
//
//   fault NAME NTH ERROR [all] [value=V]   the NTH call of NAME from now (1 = the next) fails with
//                                          ERROR; `all`: and every later one; V: value returned
//   hold NAME NTH [except=THREAD]          that call stops before it does anything, until `release`;
//                                          the calls of the thread of this id do not count
//   prompt NAME NTH                        that call first shows a box "Installer" that has no owner
//                                          and goes on when it is answered, as installers do
//   held / release                         "yes NAME" or "no" / lets the held calls go on
//   clear                                  forgets all faults, holds and prompts, lets held calls
//                                          go on
//   In the three above NAME may be NAME:DETAIL, which selects the calls that ask for one thing:
//     SetupDiCallClassInstaller:DIF_REGISTERDEVICE   the class installer's function
//     SetupDiChangeState:DICS_ENABLE         the change in the class install parameters
//     SetupDiGetDeviceRegistryPropertyW:SPDRP_HARDWAREID   the property; also ...Set...
//     RegOpenKeyExW:Adapters                 the key's last component; also RegCreateKeyExW,
//                                            RegDeleteKeyW
//     RegSetValueExW:TeamNumber              the value's name, @ for the default one; also
//                                            RegQueryValueExW, RegDeleteValueW
//     DeviceIoControl:0x01010102             the OID of a query to an adapter's driver
//                                          The case of letters does not matter. Such a call counts
//                                          as one of NAME, too. A detail that does not exist is
//                                          refused
//   count NAME:DETAIL                      counts these calls from now on, as the three above do
//   calls [NAME]                           calls since the start or `reset-counts`; one number, or
//                                          a line "NAME count" for each wrapped function, without
//                                          details. NAME:DETAIL: calls since it was first named;
//                                          refused when nothing has named it
//                                          A message that inserts a row is also a call of its own:
//                                          LVM_INSERTITEMW, LB_INSERTSTRING, CB_INSERTSTRING
//   reset-counts
//   unwrapped                              imports of the attached modules that the bench passes by
//   open                                   what was opened and not closed: "keys=0 sets=0 ..."
//   open-list                              the same, one line "kind 0xVALUE opener" for each
//   reset-open                             forgets what is open now
//   now / advance MS                       the bench clock in milliseconds
//   exit                                   ends the process through the C runtime, wherever it is
//   reload                                 reads HKLM\Software\QvBench\Machine again
//   admin 0|1, version 5.2 [workstation|server]
//                                          overrides of the machine's data until `reload`
//   answer NAME TEXT                       what GetSystemDirectoryW or GetSystemWindowsDirectoryW
//                                          gives; without TEXT the real one
//   message-box IDOK|IDCANCEL|... [all]    answers the next (all: every) message box unseen
//   message-box real                       shows them again
//   restart-prompt IDNO|IDYES              answers the restart prompts of newdev.dll's routines unseen;
//                                          IDNO until it is given
//   restart-prompt real                    shows them
//   kill-at-change NTH                     ends the process without warning right behind the NTH line
//                                          from now (1 = the next) that the journal gets of a change
//                                          or of the configuration lock; 0: no longer
//   changes                                how many such lines there have been
//   misuses                                the duties of a caller that the program has neglected since
//                                          the last time, a line each; Windows refuses none of them
//   load NAME                              loads a library by its plain name, as the parts of Windows
//                                          in this process do, and tells which file that was
//   trace 0|1                              a debug build's trace lines go into the journal
//   ("trace") journal PATH / journal-clear / journal-text
QV_BENCH_API int WINAPI BenchCommand(const wchar_t* command, wchar_t* reply, int cchReply);

// The whole journal. Returns the characters it needs including the terminator; copies only when
// `cch` is at least that. One line an entry: "<bench ms>\t<kind>\t<text>\n".
QV_BENCH_API int WINAPI BenchJournalText(wchar_t* text, int cch);

// Adds a journal line. The format is the C runtime's wide one: %s is a wide string, %hs a narrow
// one.
QV_BENCH_API void BenchJournal(const wchar_t* kind, const wchar_t* format, ...);

// Counts a call of `name` (any name, e.g. "INetCfg::Apply"), waits when it is held, and returns
// TRUE when it has to fail; `*error` (may be null) is then the error given with the fault.
QV_BENCH_API BOOL WINAPI BenchTakeFault(const char* name, DWORD* error);

// From now on `watch` (null: nobody) is told of every counted call, on the thread that makes it and
// before anything happens to it; `fails`: a fault takes it. Set it while the program is idle.
typedef void(WINAPI* BenchCallWatch)(const char* name, BOOL fails);
QV_BENCH_API void WINAPI BenchWatchCalls(BenchCallWatch watch);

// Milliseconds on the bench clock. It moves only by Sleep in the program, by BenchAdvance and by
// the command `advance`, and is shared with later processes on the same machine.
QV_BENCH_API UINT64 WINAPI BenchNow(void);

// Moves the clock and lets everything happen that falls due.
QV_BENCH_API void WINAPI BenchAdvance(DWORD milliseconds);

#ifdef __cplusplus
}
#endif

// For callers that find the DLL at run time and do without it.
typedef BOOL(WINAPI* BenchAttachFn)(HMODULE);
typedef int(WINAPI* BenchCommandFn)(const wchar_t*, wchar_t*, int);
typedef int(WINAPI* BenchJournalTextFn)(wchar_t*, int);
typedef void (*BenchJournalFn)(const wchar_t*, const wchar_t*, ...);
typedef BOOL(WINAPI* BenchTakeFaultFn)(const char*, DWORD*);
typedef UINT64(WINAPI* BenchNowFn)(void);
typedef void(WINAPI* BenchAdvanceFn)(DWORD);

#endif
