// The commands that BenchCommand, the pipe and the environment take; bench.h lists them.
#ifndef QV_BENCH_DLL_COMMAND_H
#define QV_BENCH_DLL_COMMAND_H

#include <string>

namespace bench {

// True = done. `*reply` is then the answer (may be empty), else what was wrong.
bool RunCommand(const std::wstring& command, std::wstring* reply);

} // namespace bench

#endif
