#include "journal.h"

#include <cstdarg>
#include <cwchar>
#include <vector>

#include "bench.h"
#include "clock.h"
#include "last_error.h"
#include "lock.h"

namespace bench {

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
std::wstring& g_text = *new std::wstring;
std::wstring& g_misuses = *new std::wstring; // a line each; survives ClearJournal
HANDLE g_file = INVALID_HANDLE_VALUE;
DWORD g_changes;
DWORD g_changesToEnd;
int g_wholeChanges;
bool g_ending;

// What is only shown, asked or waited for.
const wchar_t* const kNoChanges[] = {
    L"status",         L"message-box", L"dialog-open",   L"dialog-close", L"sleep",
    L"trace",          L"fault",       L"process-start", L"broadcast",    L"bad-command",
    L"restart-prompt", L"misuse",      L"sheet"};

void EndIfDue() {
    if (g_ending && g_wholeChanges == 0)
        TerminateProcess(GetCurrentProcess(), ERROR_PROCESS_ABORTED);
}

bool IsChange(const wchar_t* kind) {
    for (const wchar_t* other : kNoChanges)
        if (wcscmp(kind, other) == 0)
            return false;
    return true;
}

std::wstring Escaped(const std::wstring& text) {
    std::wstring out;
    for (wchar_t c : text) {
        switch (c) {
        case L'\r':
            out += L"\\r";
            break;
        case L'\n':
            out += L"\\n";
            break;
        case L'\t':
            out += L"\\t";
            break;
        case L'\0':
            out += L"\\0";
            break;
        default:
            out += c;
        }
    }
    return out;
}

void Append(HANDLE file, const std::wstring& line) {
    int bytes = WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()),
                                    nullptr, 0, nullptr, nullptr);
    std::string utf8(bytes, 0);
    WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), utf8.data(), bytes,
                        nullptr, nullptr);
    DWORD written;
    WriteFile(file, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

} // namespace

void Journal(const wchar_t* kind, const std::wstring& text) {
    KeepLastError keep;
    std::wstring line = Format(L"%I64u\t%s\t", Now(), kind) + Escaped(text) + L"\n";
    Guard guard(&g_lock);
    g_text += line;
    if (wcscmp(kind, L"misuse") == 0)
        g_misuses += text + L"\n";
    if (g_file != INVALID_HANDLE_VALUE)
        Append(g_file, line);
    if (!IsChange(kind))
        return;
    g_changes++;
    if (g_changesToEnd != 0 && --g_changesToEnd == 0)
        g_ending = true;
    EndIfDue();
}

DWORD ChangeCount() {
    Guard guard(&g_lock);
    return g_changes;
}

void EndAtChange(DWORD nth) {
    Guard guard(&g_lock);
    g_changesToEnd = nth;
}

WholeChange::WholeChange() {
    Guard guard(&g_lock);
    g_wholeChanges++;
}

WholeChange::~WholeChange() {
    Guard guard(&g_lock);
    g_wholeChanges--;
    EndIfDue();
}

std::wstring JournalText() {
    Guard guard(&g_lock);
    return g_text;
}

std::wstring TakeMisuses() {
    Guard guard(&g_lock);
    std::wstring misuses;
    misuses.swap(g_misuses);
    return misuses;
}

void ClearJournal() {
    Guard guard(&g_lock);
    g_text.clear();
}

bool JournalInto(const std::wstring& path) {
    HANDLE file = INVALID_HANDLE_VALUE;
    if (!path.empty()) {
        file = CreateFileW(path.c_str(), FILE_APPEND_DATA,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return false;
    }
    Guard guard(&g_lock);
    if (g_file != INVALID_HANDLE_VALUE)
        CloseHandle(g_file);
    g_file = file;
    return true;
}

std::wstring Quoted(const std::wstring& text) {
    return L"\"" + text + L"\"";
}

std::wstring Quoted(const wchar_t* text) {
    return text ? Quoted(std::wstring(text)) : L"(null)";
}

std::wstring FormatList(const wchar_t* format, va_list arguments) {
    std::vector<wchar_t> buffer(256);
    for (;;) {
        va_list again;
        va_copy(again, arguments);
        int length = _vsnwprintf(buffer.data(), buffer.size() - 1, format, again);
        va_end(again);
        if (length >= 0 && static_cast<size_t>(length) < buffer.size())
            return std::wstring(buffer.data(), length);
        if (buffer.size() > 1024 * 1024)
            return {};
        buffer.resize(buffer.size() * 2);
    }
}

std::wstring Format(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::wstring text = FormatList(format, arguments);
    va_end(arguments);
    return text;
}

} // namespace bench

void BenchJournal(const wchar_t* kind, const wchar_t* format, ...) {
    bench::KeepLastError keep;
    va_list arguments;
    va_start(arguments, format);
    bench::Journal(kind, bench::FormatList(format, arguments));
    va_end(arguments);
}

int WINAPI BenchJournalText(wchar_t* text, int cch) {
    bench::KeepLastError keep;
    std::wstring journal = bench::JournalText();
    int needed = static_cast<int>(journal.size()) + 1;
    if (text && cch >= needed)
        wmemcpy(text, journal.c_str(), needed);
    return needed;
}
