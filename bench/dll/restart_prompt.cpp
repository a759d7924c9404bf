#include "restart_prompt.h"

#include <cwchar>

#include "journal.h"
#include "last_error.h"

namespace bench {

namespace {

const int kShowBox = 0;

volatile LONG g_answer = IDNO;

} // namespace

bool AnswerRestartPrompt(const wchar_t* answer) {
    if (wcscmp(answer, L"IDYES") == 0)
        InterlockedExchange(&g_answer, IDYES);
    else if (wcscmp(answer, L"IDNO") == 0)
        InterlockedExchange(&g_answer, IDNO);
    else if (wcscmp(answer, L"real") == 0)
        InterlockedExchange(&g_answer, kShowBox);
    else
        return false;
    return true;
}

void PromptForRestart(HWND parent, const wchar_t* routine) {
    KeepLastError keep;
    int answer = g_answer;
    if (answer == kShowBox)
        answer = ::MessageBoxW(parent,
                               L"You must restart your computer before the new settings will take "
                               L"effect.\r\n\r\nDo you want to restart your computer now?",
                               L"System Settings Change", MB_YESNO | MB_ICONQUESTION);
    Journal(L"restart-prompt",
            std::wstring(routine) + (answer == IDYES ? L" -> IDYES" : L" -> IDNO"));
}

} // namespace bench
