// The pipe \\.\pipe\qvbench-<process id>: one message, UTF-16 or UTF-8, is one command, and its
// reply comes back in the same encoding as "ok", "ok <text>" or "error <text>".
#ifndef QV_BENCH_DLL_PIPE_H
#define QV_BENCH_DLL_PIPE_H

namespace bench {

void StartPipe();

} // namespace bench

#endif
