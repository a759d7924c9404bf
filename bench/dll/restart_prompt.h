// The restart prompt that the installation routines of newdev.dll show by themselves.
#ifndef QV_BENCH_DLL_RESTART_PROMPT_H
#define QV_BENCH_DLL_RESTART_PROMPT_H

#include <windows.h>

namespace bench {

// How later prompts are answered: "IDYES" and "IDNO" without a box, "real" by whoever answers the
// box. False for another text. IDNO until the first call.
bool AnswerRestartPrompt(const wchar_t* answer);

// Asks for the restart in the name of `routine` and writes the answer to the journal. The restart
// itself does not happen.
void PromptForRestart(HWND parent, const wchar_t* routine);

} // namespace bench

#endif
