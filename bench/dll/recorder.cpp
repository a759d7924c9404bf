// What the program shows, starts and sends, as it really happens, put into the journal; and the
// handles that come back through pointers or in more than one, for the tally.
#include "standins.h"

#include <commctrl.h>
#include <cstdlib>
#include <cwchar>
#include <deque>
#include <map>
#include <objbase.h>
#include <string>

#include "calls.h"
#include "journal.h"
#include "last_error.h"
#include "lock.h"
#include "tally.h"

namespace bench {

namespace {

const int kStatusBox = 1009;

struct Button {
    int id;
    const wchar_t* name;
};
const Button kButtons[] = {
    {IDOK, L"IDOK"},         {IDCANCEL, L"IDCANCEL"}, {IDABORT, L"IDABORT"}, {IDRETRY, L"IDRETRY"},
    {IDIGNORE, L"IDIGNORE"}, {IDYES, L"IDYES"},       {IDNO, L"IDNO"},
};

struct Insertion {
    UINT message;
    const char* name;
    LRESULT refusal;
};
const Insertion kInsertions[] = {
    {LVM_INSERTCOLUMNW, "LVM_INSERTCOLUMNW", -1},
    {LVM_INSERTITEMW, "LVM_INSERTITEMW", -1},
    {LVM_SETITEMW, "LVM_SETITEMW", FALSE},
    {LVM_SETITEMTEXTW, "LVM_SETITEMTEXTW", FALSE},
    {LB_INSERTSTRING, "LB_INSERTSTRING", LB_ERRSPACE},
    {CB_INSERTSTRING, "CB_INSERTSTRING", CB_ERRSPACE},
};

SRWLOCK g_lock = SRWLOCK_INIT;
std::deque<int>& g_answers = *new std::deque<int>;
int g_everyAnswer;
volatile bool g_journalTrace;
std::map<UINT, std::wstring>& g_messages = *new std::map<UINT, std::wstring>;
std::map<HWND, std::wstring>& g_dialogs = *new std::map<HWND, std::wstring>;

std::wstring ButtonName(int id) {
    for (const Button& button : kButtons)
        if (button.id == id)
            return button.name;
    return std::to_wstring(id);
}

// 0: the box is to be shown.
int TakeAnswer() {
    Guard guard(&g_lock);
    if (g_answers.empty())
        return g_everyAnswer;
    int answer = g_answers.front();
    g_answers.pop_front();
    return answer;
}

std::wstring DialogName(LPCWSTR dialog) {
    if (IS_INTRESOURCE(dialog))
        return std::to_wstring(reinterpret_cast<ULONG_PTR>(dialog));
    return dialog;
}

// What a process gets from the one that starts it.
std::wstring StartText(BOOL inherit, DWORD flags, const STARTUPINFOW& startup) {
    std::wstring show = L"default";
    if (startup.dwFlags & STARTF_USESHOWWINDOW)
        show = std::to_wstring(startup.wShowWindow);
    return Format(L" flags=0x%08X startf=0x%08X show=%s inherit=%d", flags, startup.dwFlags,
                  show.c_str(), inherit != FALSE);
}

// "BroadcastSystemMessageW function": BSF_POSTMESSAGE and BSF_SENDNOTIFYMESSAGE are not for use with
// BSF_QUERY, and BSM_ALLDESKTOPS needs the SE_TCB_NAME privilege. No error is documented.
void ReportBroadcastMisuse(DWORD flags, DWORD recipients) {
    if ((flags & BSF_QUERY) && (flags & (BSF_POSTMESSAGE | BSF_SENDNOTIFYMESSAGE)))
        Journal(L"misuse", L"BroadcastSystemMessageW: BSF_QUERY with BSF_POSTMESSAGE or "
                           L"BSF_SENDNOTIFYMESSAGE");
    if (recipients & BSM_ALLDESKTOPS)
        Journal(L"misuse", L"BroadcastSystemMessageW: BSM_ALLDESKTOPS without SE_TCB_NAME");
}

void* Apartment() {
    return reinterpret_cast<void*>(static_cast<ULONG_PTR>(GetCurrentThreadId()));
}

} // namespace

void JournalTrace(bool on) {
    g_journalTrace = on;
}

bool AnswerMessageBox(const wchar_t* button, bool always) {
    Guard guard(&g_lock);
    if (wcscmp(button, L"real") == 0) {
        g_answers.clear();
        g_everyAnswer = 0;
        return true;
    }
    for (const Button& known : kButtons) {
        if (wcscmp(button, known.name) != 0)
            continue;
        if (always)
            g_everyAnswer = known.id;
        else
            g_answers.push_back(known.id);
        return true;
    }
    return false;
}

} // namespace bench

namespace standin {

using namespace bench;

BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR commandLine,
                           LPSECURITY_ATTRIBUTES processSecurity,
                           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags,
                           LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                           LPPROCESS_INFORMATION information) {
    std::wstring what = commandLine ? commandLine : application ? application : L"";
    if (!::CreateProcessW(application, commandLine, processSecurity, threadSecurity, inherit, flags,
                          environment, directory, startup, information))
        return FALSE;
    KeepLastError keep;
    Opened(Kind::Handles, information->hProcess, "CreateProcessW");
    Opened(Kind::Handles, information->hThread, "CreateProcessW");
    Journal(L"process-start", what + StartText(inherit, flags, *startup));
    return TRUE;
}

BOOL WINAPI AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD s0,
                                     DWORD s1, DWORD s2, DWORD s3, DWORD s4, DWORD s5, DWORD s6,
                                     DWORD s7, PSID* sid) {
    if (!::AllocateAndInitializeSid(authority, count, s0, s1, s2, s3, s4, s5, s6, s7, sid))
        return FALSE;
    KeepLastError keep;
    Opened(Kind::Sids, *sid, "AllocateAndInitializeSid");
    return TRUE;
}

LONG WINAPI BroadcastSystemMessageW(DWORD flags, LPDWORD recipients, UINT message, WPARAM wParam,
                                    LPARAM lParam) {
    DWORD error = GetLastError();
    std::wstring name = std::to_wstring(message);
    {
        Guard guard(&g_lock);
        auto registered = g_messages.find(message);
        if (registered != g_messages.end())
            name = registered->second;
    }
    DWORD wanted = recipients ? *recipients : BSM_ALLCOMPONENTS;
    ReportBroadcastMisuse(flags, wanted);
    SetLastError(error);
    LONG result = ::BroadcastSystemMessageW(flags, recipients, message, wParam, lParam);
    if (result >= 0) {
        KeepLastError keep;
        Journal(L"broadcast",
                name + Format(L" flags=0x%X recipients=0x%X wParam=0x%I64X lParam=0x%I64X", flags,
                              wanted, static_cast<UINT64>(wParam), static_cast<UINT64>(lParam)));
    }
    return result;
}

HWND WINAPI CreateDialogParamW(HINSTANCE instance, LPCWSTR dialog, HWND parent, DLGPROC procedure,
                               LPARAM parameter) {
    HWND window = ::CreateDialogParamW(instance, dialog, parent, procedure, parameter);
    if (window) {
        KeepLastError keep;
        std::wstring name = DialogName(dialog);
        Journal(L"dialog-open", name);
        Guard guard(&g_lock);
        g_dialogs[window] = name;
    }
    return window;
}

INT_PTR WINAPI DialogBoxParamW(HINSTANCE instance, LPCWSTR dialog, HWND parent, DLGPROC procedure,
                               LPARAM parameter) {
    DWORD error = GetLastError();
    std::wstring name = DialogName(dialog);
    Journal(L"dialog-open", name);
    SetLastError(error);
    INT_PTR result = ::DialogBoxParamW(instance, dialog, parent, procedure, parameter);
    KeepLastError keep;
    Journal(L"dialog-close", name);
    return result;
}

BOOL WINAPI DestroyWindow(HWND window) {
    if (!::DestroyWindow(window))
        return FALSE;
    KeepLastError keep;
    std::wstring name;
    {
        Guard guard(&g_lock);
        auto dialog = g_dialogs.find(window);
        if (dialog == g_dialogs.end())
            return TRUE;
        name = dialog->second;
        g_dialogs.erase(dialog);
    }
    Journal(L"dialog-close", name);
    return TRUE;
}

void WINAPI OutputDebugStringW(LPCWSTR text) {
    if (g_journalTrace) {
        std::wstring line = text;
        Journal(L"trace", line.substr(0, line.find_last_not_of(L"\r\n") + 1));
    }
    ::OutputDebugStringW(text);
}

int WINAPI MessageBoxW(HWND parent, LPCWSTR text, LPCWSTR caption, UINT type) {
    DWORD error = GetLastError();
    int answer = TakeAnswer();
    SetLastError(error);
    if (answer == 0)
        answer = ::MessageBoxW(parent, text, caption, type);
    if (answer != 0) {
        KeepLastError keep;
        Journal(L"message-box", Quoted(caption) + L" " + Quoted(text) +
                                    Format(L" type=0x%X -> ", type) + ButtonName(answer));
    }
    return answer;
}

UINT WINAPI RegisterWindowMessageW(LPCWSTR name) {
    UINT message = ::RegisterWindowMessageW(name);
    if (message != 0) {
        KeepLastError keep;
        Guard guard(&g_lock);
        g_messages[message] = name;
    }
    return message;
}

int WINAPI ReleaseDC(HWND window, HDC context) {
    bool known = Closed(Kind::Contexts, context);
    int released = ::ReleaseDC(window, context);
    if (!released && known)
        Opened(Kind::Contexts, context, "ReleaseDC");
    return released;
}

// A control that has no memory left refuses a row; most other messages cannot fail.
LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Failure failure;
    for (const Insertion& insertion : kInsertions)
        if (message == insertion.message && TakeCall(insertion.name, &failure))
            return failure.hasValue ? static_cast<LRESULT>(failure.value) : insertion.refusal;
    return ::SendMessageW(window, message, wParam, lParam);
}

BOOL WINAPI SetDlgItemTextW(HWND dialog, int item, LPCWSTR text) {
    if (!::SetDlgItemTextW(dialog, item, text))
        return FALSE;
    KeepLastError keep;
    if (item == kStatusBox)
        Journal(L"status", Quoted(text));
    return TRUE;
}

BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text) {
    if (!::SetWindowTextW(window, text))
        return FALSE;
    KeepLastError keep;
    if (GetDlgCtrlID(window) == kStatusBox)
        Journal(L"status", Quoted(text));
    return TRUE;
}

HRESULT WINAPI CoInitialize(LPVOID reserved) {
    HRESULT result = ::CoInitialize(reserved);
    if (SUCCEEDED(result))
        Opened(Kind::Apartments, Apartment(), "CoInitialize");
    return result;
}

void WINAPI CoUninitialize() {
    Closed(Kind::Apartments, Apartment());
    ::CoUninitialize();
}

// A block that has moved is the one that has to be freed.
void* __cdecl realloc(void* block, size_t size) {
    bool known = Closed(Kind::Blocks, block);
    void* moved = ::realloc(block, size);
    if (moved && (known || !block))
        Opened(Kind::Blocks, moved, "realloc");
    else if (!moved && known && size != 0)
        Opened(Kind::Blocks, block, "realloc");
    return moved;
}

} // namespace standin
