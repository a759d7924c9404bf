#include "command.h"

#include <cstdlib>
#include <cwchar>
#include <map>
#include <vector>

#include "attach.h"
#include "bench.h"
#include "calls.h"
#include "clock.h"
#include "data.h"
#include "journal.h"
#include "last_error.h"
#include "restart_prompt.h"
#include "standins.h"
#include "tally.h"

namespace bench {

namespace {

struct Words {
    std::vector<std::wstring> list;
    std::wstring rest; // everything behind the command's name, as it was written

    size_t Count() const {
        return list.size();
    }
    const std::wstring& operator[](size_t i) const {
        return list[i];
    }
};

Words Split(const std::wstring& command) {
    const wchar_t blanks[] = L" \t\r\n";
    Words words;
    for (size_t at = command.find_first_not_of(blanks); at != std::wstring::npos;) {
        size_t end = command.find_first_of(blanks, at);
        if (end == std::wstring::npos)
            end = command.size();
        words.list.push_back(command.substr(at, end - at));
        at = command.find_first_not_of(blanks, end);
        if (words.Count() == 1 && at != std::wstring::npos)
            words.rest = command.substr(at, command.find_last_not_of(blanks) + 1 - at);
    }
    return words;
}

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

bool ParseNumber(const std::wstring& text, ULONGLONG* number) {
    wchar_t* end = nullptr;
    *number = wcstoull(text.c_str(), &end, 0);
    return end != text.c_str() && *end == 0;
}

bool Refuse(std::wstring* reply, const wchar_t* reason) {
    *reply = reason;
    return false;
}

const wchar_t kNoDetail[] = L"no such detail";

bool Fault(const Words& words, std::wstring* reply) {
    FaultRequest request = {};
    ULONGLONG nth;
    ULONGLONG error;
    if (words.Count() < 4 || !ParseNumber(words[2], &nth) || nth == 0 ||
        !ParseNumber(words[3], &error))
        return Refuse(reply, L"fault NAME NTH ERROR [all] [value=V]");
    for (size_t i = 4; i < words.Count(); i++) {
        ULONGLONG value;
        if (words[i] == L"all") {
            request.all = true;
        } else if (words[i].rfind(L"value=", 0) == 0 && ParseNumber(words[i].substr(6), &value)) {
            request.failure.hasValue = true;
            request.failure.value = static_cast<LONGLONG>(value);
        } else {
            return Refuse(reply, L"unknown option");
        }
    }
    request.name = Narrow(words[1]);
    request.nth = static_cast<DWORD>(nth);
    request.failure.error = static_cast<DWORD>(error);
    return AddFault(request) || Refuse(reply, kNoDetail);
}

bool Hold(const Words& words, std::wstring* reply) {
    const std::wstring except = L"except=";
    ULONGLONG nth;
    ULONGLONG thread = 0;
    bool bounded = words.Count() == 4 && words[3].rfind(except, 0) == 0 &&
                   ParseNumber(words[3].substr(except.size()), &thread);
    if ((words.Count() != 3 && !bounded) || !ParseNumber(words[2], &nth) || nth == 0)
        return Refuse(reply, L"hold NAME NTH [except=THREAD]");
    return AddHold(Narrow(words[1]), static_cast<DWORD>(nth), static_cast<DWORD>(thread)) ||
           Refuse(reply, kNoDetail);
}

bool Prompt(const Words& words, std::wstring* reply) {
    ULONGLONG nth;
    if (words.Count() != 3 || !ParseNumber(words[2], &nth) || nth == 0)
        return Refuse(reply, L"prompt NAME NTH");
    return AddPrompt(Narrow(words[1]), static_cast<DWORD>(nth)) || Refuse(reply, kNoDetail);
}

bool Count(const Words& words, std::wstring* reply) {
    if (words.Count() != 2)
        return Refuse(reply, L"count NAME:DETAIL");
    return AddCount(Narrow(words[1])) || Refuse(reply, kNoDetail);
}

bool Held(const Words&, std::wstring* reply) {
    std::string name = HeldCall();
    *reply = name.empty() ? std::wstring(L"no") : Format(L"yes %hs", name.c_str());
    return true;
}

bool Calls(const Words& words, std::wstring* reply) {
    if (words.Count() == 1) {
        *reply = CallCounts();
        return true;
    }
    DWORD count;
    if (!CallCount(Narrow(words[1]), &count))
        return Refuse(reply, L"no such function, or a detail that is not counted yet");
    *reply = std::to_wstring(count);
    return true;
}

bool AdvanceClock(const Words& words, std::wstring* reply) {
    ULONGLONG milliseconds;
    if (words.Count() != 2 || !ParseNumber(words[1], &milliseconds) || milliseconds > MAXDWORD)
        return Refuse(reply, L"advance MS");
    Advance(static_cast<DWORD>(milliseconds));
    return true;
}

bool Admin(const Words& words, std::wstring* reply) {
    if (words.Count() != 2 || (words[1] != L"0" && words[1] != L"1"))
        return Refuse(reply, L"admin 0|1");
    OverrideAdministrator(words[1] == L"1");
    return true;
}

bool SetVersion(const Words& words, std::wstring* reply) {
    if (words.Count() < 2 || words.Count() > 3 ||
        !OverrideVersion(words[1], words.Count() == 3 ? words[2] : L""))
        return Refuse(reply, L"version MAJOR.MINOR [workstation|server]");
    return true;
}

bool Answer(const Words& words, std::wstring* reply) {
    if (words.Count() < 2)
        return Refuse(reply, L"answer NAME TEXT");
    size_t text = words.rest.find_first_not_of(L" \t", words[1].size());
    std::wstring answer = text == std::wstring::npos ? L"" : words.rest.substr(text);
    if (!SetDirectoryAnswer(Narrow(words[1]).c_str(), answer.c_str()))
        return Refuse(reply, L"GetSystemDirectoryW or GetSystemWindowsDirectoryW");
    return true;
}

bool MessageBoxAnswer(const Words& words, std::wstring* reply) {
    bool always = words.Count() == 3 && words[2] == L"all";
    if ((words.Count() != 2 && !always) || !AnswerMessageBox(words[1].c_str(), always))
        return Refuse(reply, L"message-box real|IDOK|IDCANCEL|IDYES|IDNO [all]");
    return true;
}

bool RestartPromptAnswer(const Words& words, std::wstring* reply) {
    if (words.Count() != 2 || !AnswerRestartPrompt(words[1].c_str()))
        return Refuse(reply, L"restart-prompt real|IDYES|IDNO");
    return true;
}

bool Trace(const Words& words, std::wstring* reply) {
    if (words.Count() != 2 || (words[1] != L"0" && words[1] != L"1"))
        return Refuse(reply, L"trace 0|1");
    JournalTrace(words[1] == L"1");
    return true;
}

bool JournalFile(const Words& words, std::wstring* reply) {
    if (!JournalInto(words.rest))
        return Refuse(reply, L"the file cannot be opened");
    return true;
}

bool KillAtChange(const Words& words, std::wstring* reply) {
    ULONGLONG nth;
    if (words.Count() != 2 || !ParseNumber(words[1], &nth) || nth > MAXDWORD)
        return Refuse(reply, L"kill-at-change NTH");
    EndAtChange(static_cast<DWORD>(nth));
    return true;
}

bool Load(const Words& words, std::wstring* reply) {
    if (words.Count() != 2)
        return Refuse(reply, L"load NAME");
    HMODULE module = LoadLibraryW(words[1].c_str());
    if (!module)
        return Refuse(reply, Format(L"error %lu", GetLastError()).c_str());
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(module, path, ARRAYSIZE(path));
    FreeLibrary(module);
    *reply = path;
    return true;
}

template <void (*Routine)()> bool Run(const Words&, std::wstring*) {
    Routine();
    return true;
}

template <std::wstring (*Routine)()> bool Tell(const Words&, std::wstring* reply) {
    *reply = Routine();
    return true;
}

std::wstring ChangesText() {
    return std::to_wstring(ChangeCount());
}

std::wstring NowText() {
    return std::to_wstring(Now());
}

// Counters of coverage, for one, are written by what the runtime does at the end.
bool Exit(const Words&, std::wstring*) {
    std::exit(0);
}

using Handler = bool (*)(const Words&, std::wstring*);

const std::map<std::wstring, Handler>& Handlers() {
    static const std::map<std::wstring, Handler>& handlers = *new std::map<std::wstring, Handler>{
        {L"fault", Fault},
        {L"hold", Hold},
        {L"prompt", Prompt},
        {L"held", Held},
        {L"release", Run<ReleaseHeld>},
        {L"clear", Run<ClearFaults>},
        {L"count", Count},
        {L"calls", Calls},
        {L"reset-counts", Run<ResetCounts>},
        {L"unwrapped", Tell<UnwrappedImports>},
        {L"open", Tell<OpenCounts>},
        {L"open-list", Tell<OpenList>},
        {L"reset-open", Run<ForgetOpen>},
        {L"now", Tell<NowText>},
        {L"advance", AdvanceClock},
        {L"exit", Exit},
        {L"reload", Run<ForgetOverrides>},
        {L"admin", Admin},
        {L"version", SetVersion},
        {L"answer", Answer},
        {L"message-box", MessageBoxAnswer},
        {L"restart-prompt", RestartPromptAnswer},
        {L"changes", Tell<ChangesText>},
        {L"misuses", Tell<TakeMisuses>},
        {L"kill-at-change", KillAtChange},
        {L"load", Load},
        {L"trace", Trace},
        {L"journal", JournalFile},
        {L"journal-clear", Run<ClearJournal>},
        {L"journal-text", Tell<JournalText>},
    };
    return handlers;
}

} // namespace

bool RunCommand(const std::wstring& command, std::wstring* reply) {
    reply->clear();
    Words words = Split(command);
    if (words.Count() == 0)
        return Refuse(reply, L"no command");
    auto handler = Handlers().find(words[0]);
    if (handler == Handlers().end())
        return Refuse(reply, L"unknown command");
    return handler->second(words, reply);
}

} // namespace bench

int WINAPI BenchCommand(const wchar_t* command, wchar_t* reply, int cchReply) {
    bench::KeepLastError keep;
    std::wstring answer;
    bool done = bench::RunCommand(command ? command : L"", &answer);
    if (reply && cchReply > 0) {
        size_t length = answer.copy(reply, cchReply - 1);
        reply[length] = 0;
    }
    return done ? 1 : 0;
}
