// Drives the program through a scenario, one command a line; README.md describes the language.
// Every command is answered by one line that begins with "ok" or "error"; lines before it that
// begin with a blank are what the command shows.
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/pipe.h"
#include "drive/screen.h"
#include "drive/script.h"
#include "drive/start.h"
#include "drive/wait.h"
#include "drive/window.h"
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <io.h>
#include <iostream>
#include <map>
#include <tlhelp32.h>

using namespace drive;

typedef std::vector<std::wstring> Words;

// What a scenario has under way.
struct Session {
    std::map<std::wstring, Program> programs; // by the name given at the start
    std::wstring current = L"program";
    std::vector<Program> beside;
    HWND dialog = nullptr;
    std::wstring shots;
};

// What a command answers: the words behind "ok" or "error", and the lines shown before.
struct Answer {
    std::wstring text;
    std::vector<std::wstring> shown;
};

static bool Refuse(Answer* answer, const std::wstring& reason) {
    answer->text = reason;
    return false;
}

static Program* CurrentProgram(Session& session) {
    auto found = session.programs.find(session.current);
    return found != session.programs.end() ? &found->second : nullptr;
}

static DWORD CurrentId(Session& session) {
    Program* program = CurrentProgram(session);
    return program != nullptr ? program->id : 0;
}

static bool IsNumber(const std::wstring& word) {
    return !word.empty() && word.find_first_not_of(L"0123456789") == std::wstring::npos;
}

static bool TakeWord(Words& words, const std::wstring& word) {
    for (size_t i = 1; i < words.size(); i++) {
        if (words[i] == word) {
            words.erase(words.begin() + i);
            return true;
        }
    }
    return false;
}

static std::wstring TakeSetting(Words& words, const std::wstring& name) {
    for (size_t i = 1; i < words.size(); i++) {
        if (words[i].compare(0, name.size() + 1, name + L"=") == 0) {
            const std::wstring value = words[i].substr(name.size() + 1);
            words.erase(words.begin() + i);
            return value;
        }
    }
    return L"";
}

static std::wstring FullPath(const std::wstring& path) {
    wchar_t full[MAX_PATH] = L"";
    GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    return full;
}

static std::wstring OwnFolder() {
    wchar_t own[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    const std::wstring path(own);
    return path.substr(0, path.rfind(L'\\'));
}

static HWND Control(Session& session, const std::wstring& name, Answer* answer) {
    if (session.dialog == nullptr || !IsWindow(session.dialog)) {
        answer->text = session.dialog == nullptr ? L"no dialog is chosen" : L"the dialog is gone";
        return nullptr;
    }
    HWND control = FindControl(session.dialog, name);
    if (control == nullptr)
        answer->text = L"the dialog has no control " + name;
    return control;
}

static HWND ListControl(Session& session, const std::wstring& name, Answer* answer) {
    HWND list = Control(session, name, answer);
    if (list != nullptr && ClassOf(list) != L"SysListView32") {
        answer->text = name + L" is no list view";
        return nullptr;
    }
    return list;
}

static int RowNamed(HWND list, const std::wstring& name) {
    if (IsNumber(name))
        return _wtoi(name.c_str());
    const std::vector<ListRow> rows = ListRows(list);
    for (size_t i = 0; i < rows.size(); i++) {
        if (!rows[i].texts.empty() && rows[i].texts[0] == name)
            return static_cast<int>(i);
    }
    return -1;
}

static int CountProcesses(const std::wstring& name) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    int count = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more;
         more = Process32NextW(snapshot, &entry))
        count += _wcsicmp(entry.szExeFile, name.c_str()) == 0;
    CloseHandle(snapshot);
    return count;
}

// Programs

static bool DoStart(Session& session, Words& words, Answer* answer) {
    StartOptions options;
    options.commands = TakeSetting(words, L"commands");
    options.journal = TakeSetting(words, L"journal");
    options.arguments = TakeSetting(words, L"arguments");
    const std::wstring name = TakeSetting(words, L"as");
    if (!TakeWord(words, L"plain"))
        options.benchDll = FullPath(L"qvbench.dll");
    if (words.size() != 2)
        return Refuse(answer, L"start EXECUTABLE [plain] [journal=FILE] [commands=...] "
                              L"[arguments=...] [as=NAME]");
    options.executable = FullPath(words[1]);
    if (!options.journal.empty()) {
        options.journal = FullPath(options.journal);
        DeleteFileW(options.journal.c_str()); // the DLL only ever appends
    }
    Program program;
    if (!ProgramStart(options, &program, &answer->text))
        return false;
    session.current = name.empty() ? L"program" : name;
    ProgramEnd(&session.programs[session.current]);
    session.programs[session.current] = program;
    session.dialog = nullptr;
    answer->text = std::to_wstring(program.id);
    return true;
}

static bool DoUse(Session& session, Words& words, Answer* answer) {
    if (session.programs.count(words[1]) == 0)
        return Refuse(answer, L"no program was started as " + words[1]);
    session.current = words[1];
    session.dialog = nullptr;
    return true;
}

static bool DoBeside(Session& session, Words& words, Answer* answer) {
    for (size_t i = 1; i < words.size(); i++) {
        Program program;
        if (!ProgramStartIdle(FullPath(L"QvTray.exe"), words[i], &program, &answer->text))
            return false;
        session.beside.push_back(program);
    }
    return true;
}

static bool DoEnd(Session& session, Words&, Answer*) {
    if (Program* program = CurrentProgram(session))
        ProgramEnd(program);
    session.dialog = nullptr;
    return true;
}

static bool DoWaitExit(Session& session, Words& words, Answer* answer) {
    Program* program = CurrentProgram(session);
    DWORD code = 0;
    const bool patient = words.size() > 1 && words[1] == L"for-good";
    if (program == nullptr || !ProgramWaitEnd(*program, patient ? INFINITE : kHangGuard, &code))
        return Refuse(answer, L"the program has not ended");
    ProgramEnd(program);
    session.dialog = nullptr;
    answer->text = std::to_wstring(code);
    return true;
}

static void ShowLines(const std::wstring& text, Answer* answer) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find_first_of(L"\r\n", start);
        if (end != start)
            answer->shown.push_back(text.substr(start, end - start));
        start = end == std::wstring::npos ? text.size() : end + 1;
    }
}

static bool DoRun(Session&, Words& words, Answer* answer) {
    std::wstring line = L"\"" + FullPath(words[1]) + L"\"";
    for (size_t i = 2; i < words.size(); i++)
        line += L" \"" + words[i] + L"\"";
    DWORD code = 0;
    std::string output;
    if (!ProgramRun(line, &code, &output, &answer->text))
        return false;
    ShowLines(FromUtf8(output), answer);
    answer->text = (code == 0 ? L"" : L"exit code ") + std::to_wstring(code);
    return code == 0;
}

static bool DoProcesses(Session&, Words& words, Answer* answer) {
    answer->text = std::to_wstring(CountProcesses(words[1]));
    return true;
}

// The tray programs that have got as far as listening.
static int CountTrays() {
    int count = 0;
    for (HWND window = nullptr;
         (window = FindWindowExW(nullptr, window, L"QvTrayWindow", L"QvTray")) != nullptr;)
        count++;
    return count;
}

// The tray program that the utility starts outlives it and is nobody's child here.
static bool DoQuitTray(Session&, Words&, Answer* answer) {
    const UINT message = RegisterWindowMessageW(L"TermQvTray");
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, L"QvTrayWindow", L"QvTray")) != nullptr)
        PostMessageW(window, message, 0, 0);
    return WaitUntil([] { return CountProcesses(L"QvTray.exe") == 0; }) ||
           Refuse(answer, L"a tray program still runs");
}

static bool DoBench(Session& session, Words& words, Answer* answer) {
    std::wstring command, reply;
    for (size_t i = 1; i < words.size(); i++)
        command += (i > 1 ? L" " : L"") + words[i];
    if (!BenchAsk(CurrentId(session), command, &reply, &answer->text))
        return false;
    const bool done = reply.compare(0, 2, L"ok") == 0;
    std::wstring text =
        reply.substr(reply.find(L' ') == std::wstring::npos ? reply.size() : reply.find(L' ') + 1);
    if (done && text.find(L'\n') != std::wstring::npos)
        ShowLines(text, answer);
    else
        answer->text = text;
    return done;
}

// Dialogs

static bool ChooseWindow(Session& session, const std::function<HWND()>& find, Answer* answer) {
    HWND window = nullptr;
    const bool found = WaitUntil([&] {
        window = find();
        return window != nullptr ||
               WaitForSingleObject(CurrentProgram(session)->process, 0) == WAIT_OBJECT_0;
    });
    if (!found || window == nullptr)
        return Refuse(answer, found ? L"the program has ended" : L"no such window appears");
    session.dialog = window;
    return WaitIdle(window, &answer->text);
}

static bool DoDialog(Session& session, Words& words, Answer* answer) {
    const int id = _wtoi(words[1].c_str());
    return ChooseWindow(session, [&] { return FindDialog(CurrentId(session), id); }, answer);
}

static bool DoWindow(Session& session, Words& words, Answer* answer) {
    return ChooseWindow(session, [&] { return FindCaption(CurrentId(session), words[1]); }, answer);
}

static bool DoGone(Session& session, Words& words, Answer* answer) {
    const int id = _wtoi(words[1].c_str());
    return WaitUntil([&] { return FindDialog(CurrentId(session), id) == nullptr; }) ||
           Refuse(answer, L"dialog " + words[1] + L" is still there");
}

static bool DoClose(Session& session, Words& words, Answer* answer) {
    HWND button = Control(session, words[1] == L"ok" ? L"1" : L"2", answer);
    if (button == nullptr)
        return false;
    HWND root = GetAncestor(button, GA_ROOT);
    if (!ClickControl(button, false, &answer->text))
        return false;
    if (!WaitUntil([root] { return !IsWindow(root) || !IsWindowVisible(root); }))
        return Refuse(answer, L"the window does not close");
    session.dialog = nullptr;
    return true;
}

static bool DoTab(Session& session, Words& words, Answer* answer) {
    HWND root = session.dialog != nullptr ? GetAncestor(session.dialog, GA_ROOT) : nullptr;
    HWND tabs = root != nullptr ? FindControl(root, L"SysTabControl32") : nullptr;
    if (tabs == nullptr)
        return Refuse(answer, L"the window has no tabs");
    int current = -1;
    const std::vector<std::wstring> captions = TabCaptions(tabs, &current);
    for (size_t i = 0; i < captions.size(); i++) {
        POINT point = {};
        if (captions[i] == words[1] && TabPoint(tabs, static_cast<int>(i), &point)) {
            if (!MouseClick(tabs, point, false, &answer->text))
                return false;
            TabCaptions(tabs, &current);
            return current == static_cast<int>(i) || Refuse(answer, L"the tab stays behind");
        }
    }
    return Refuse(answer, L"no such tab");
}

static bool DoTabs(Session& session, Words&, Answer* answer) {
    HWND root = session.dialog != nullptr ? GetAncestor(session.dialog, GA_ROOT) : nullptr;
    HWND tabs = root != nullptr ? FindControl(root, L"SysTabControl32") : nullptr;
    if (tabs == nullptr)
        return Refuse(answer, L"the window has no tabs");
    int current = -1;
    const std::vector<std::wstring> captions = TabCaptions(tabs, &current);
    for (size_t i = 0; i < captions.size(); i++)
        answer->text += (i ? L" " : L"") +
                        std::wstring(static_cast<int>(i) == current ? L"*" : L"") +
                        Quoted(captions[i]);
    return true;
}

static const struct {
    const wchar_t* name;
    const wchar_t* id;
} boxButtons[] = {{L"ok", L"1"},     {L"cancel", L"2"}, {L"abort", L"3"}, {L"retry", L"4"},
                  {L"ignore", L"5"}, {L"yes", L"6"},    {L"no", L"7"}};

static bool WaitForBox(Session& session, HWND* box, Answer* answer) {
    std::wstring text;
    if (!WaitUntil([&] { return (*box = FindMessageBox(CurrentId(session), &text)) != nullptr; }))
        return Refuse(answer, L"no message box appears");
    answer->text = Quoted(TextOf(*box)) + L" " + Quoted(text);
    return true;
}

static bool DoBox(Session& session, Words&, Answer* answer) {
    HWND box = nullptr;
    return WaitForBox(session, &box, answer) && WaitIdle(box, &answer->text);
}

static bool DoAnswer(Session& session, Words& words, Answer* answer) {
    HWND box = nullptr;
    if (!WaitForBox(session, &box, answer))
        return false;
    const bool leave = TakeWord(words, L"leave");
    HWND button = nullptr;
    for (const auto& known : boxButtons) {
        if (words[1] == known.name)
            button = FindControl(box, known.id);
    }
    if (button == nullptr)
        return Refuse(answer, L"the message box has no button " + words[1]);
    std::wstring error;
    if (!ClickControl(button, leave, &error))
        return Refuse(answer, error);
    return WaitUntil([box] { return !IsWindow(box); }) ||
           Refuse(answer, L"the message box does not close");
}

// Controls

static bool SetTick(Session& session, Words& words, bool ticked, Answer* answer) {
    const bool keyboard = TakeWord(words, L"keys");
    if (words.size() == 2) {
        HWND box = Control(session, words[1], answer);
        return box != nullptr && TickBox(box, ticked, keyboard, &answer->text);
    }
    HWND list = ListControl(session, words[1], answer);
    if (list == nullptr)
        return false;
    const int row = RowNamed(list, words[2]);
    if (row < 0)
        return Refuse(answer, L"the list has no row " + Quoted(words[2]));
    return TickRow(list, row, ticked, keyboard, &answer->text);
}

static bool DoTick(Session& session, Words& words, Answer* answer) {
    return SetTick(session, words, true, answer);
}

static bool DoUntick(Session& session, Words& words, Answer* answer) {
    return SetTick(session, words, false, answer);
}

static bool DoPress(Session& session, Words& words, Answer* answer) {
    const bool keyboard = TakeWord(words, L"keys");
    const bool leave = TakeWord(words, L"leave");
    HWND button = Control(session, words[1], answer);
    if (button == nullptr)
        return false;
    return keyboard ? SpaceControl(button, leave, &answer->text)
                    : ClickControl(button, leave, &answer->text);
}

static bool DoKey(Session& session, Words& words, Answer* answer) {
    const bool leave = TakeWord(words, L"leave");
    if (session.dialog == nullptr || !IsWindow(session.dialog))
        return Refuse(answer, L"no dialog is chosen");
    return PressKey(session.dialog, words[1], leave, &answer->text);
}

static bool DoType(Session& session, Words& words, Answer* answer) {
    HWND edit = Control(session, words[1], answer);
    return edit != nullptr && TypeText(edit, words[2], &answer->text);
}

static bool DoText(Session& session, Words& words, Answer* answer) {
    HWND control = Control(session, words[1], answer);
    if (control != nullptr)
        answer->text = Quoted(TextOf(control));
    return control != nullptr;
}

static bool DoFocus(Session& session, Words&, Answer* answer) {
    HWND focus = session.dialog != nullptr ? FocusOf(session.dialog) : nullptr;
    answer->text = focus != nullptr ? NameOf(focus) : L"none";
    return true;
}

static bool DoTabOrder(Session& session, Words&, Answer* answer) {
    if (session.dialog == nullptr)
        return Refuse(answer, L"no dialog is chosen");
    std::vector<HWND> order;
    if (!TabOrder(session.dialog, &order, &answer->text))
        return false;
    for (size_t i = 0; i < order.size(); i++)
        answer->text += (i > 0 ? L" " : L"") + NameOf(order[i]);
    return true;
}

static void ShowRows(HWND list, const std::wstring& margin, Answer* answer) {
    const std::vector<ListRow> rows = ListRows(list);
    for (size_t i = 0; i < rows.size(); i++) {
        std::wstring line = margin + std::to_wstring(i);
        if (rows[i].hasBox)
            line += rows[i].ticked ? L" [x]" : L" [ ]";
        for (const std::wstring& text : rows[i].texts)
            line += L" " + Quoted(text);
        answer->shown.push_back(line);
    }
    answer->text = std::to_wstring(rows.size());
}

static bool DoRows(Session& session, Words& words, Answer* answer) {
    HWND list = ListControl(session, words[1], answer);
    if (list != nullptr)
        ShowRows(list, L"", answer);
    return list != nullptr;
}

static bool DoColumns(Session& session, Words& words, Answer* answer) {
    HWND list = ListControl(session, words[1], answer);
    if (list == nullptr)
        return false;
    for (const std::wstring& caption : ListColumns(list))
        answer->text += (answer->text.empty() ? L"" : L" ") + Quoted(caption);
    return true;
}

static void ShowBox(HWND box, Answer* answer) {
    int selected = -1;
    const std::vector<std::wstring> entries = BoxEntries(box, &selected);
    for (size_t i = 0; i < entries.size(); i++)
        answer->shown.push_back(L"  " + std::to_wstring(i) +
                                (static_cast<int>(i) == selected ? L" * " : L" ") +
                                Quoted(entries[i]));
}

static void ShowControl(HWND control, Answer* answer) {
    const std::wstring className = ClassOf(control);
    std::wstring line = NameOf(control);
    if (line != className)
        line += L" " + className;
    line += IsWindowEnabled(control) ? L" enabled" : L" disabled";
    if (IsCheckBox(control))
        line += IsTicked(control) ? L" [x]" : L" [ ]";
    // The text of a picture is the number of its resource.
    const bool picture =
        className == L"Static" && (GetWindowLongW(control, GWL_STYLE) & SS_TYPEMASK) == SS_ICON;
    answer->shown.push_back(line + L" " + (picture ? L"icon" : Quoted(TextOf(control))));
    if (className == L"SysListView32")
        ShowRows(control, L"  ", answer);
    else if (className == L"ComboBox" || className == L"ListBox")
        ShowBox(control, answer);
}

static bool DoRead(Session& session, Words&, Answer* answer) {
    if (session.dialog == nullptr || !IsWindow(session.dialog))
        return Refuse(answer, L"no dialog is chosen");
    for (HWND child : Children(session.dialog)) {
        if (IsWindowVisible(child))
            ShowControl(child, answer);
    }
    answer->text = Quoted(TextOf(GetAncestor(session.dialog, GA_ROOT)));
    return true;
}

static bool DoScreenshot(Session& session, Words& words, Answer* answer) {
    if (IsWindow(session.dialog) && !WaitPainted(session.dialog, &answer->text))
        return false;
    const std::wstring folder = session.shots.empty() ? L"" : session.shots + L"\\";
    return Screenshot(FullPath(folder + words[1] + L".png"), &answer->text);
}

// Conditions, for `wait` (holds in time) and `expect` (holds now)

struct Condition {
    const wchar_t* name;
    size_t arguments;
    // Tells in *seen what was there instead. `words` begins with the condition's own name.
    bool (*holds)(Session& session, const Words& words, std::wstring* seen);
};

static HWND ControlNow(Session& session, const std::wstring& name, std::wstring* seen) {
    Answer answer;
    HWND control = Control(session, name, &answer);
    if (control == nullptr)
        *seen = answer.text;
    return control;
}

static bool TextIs(Session& session, const Words& words, std::wstring* seen) {
    HWND control = ControlNow(session, words[1], seen);
    if (control == nullptr)
        return false;
    const std::wstring text = TextOf(control);
    *seen = Quoted(text);
    return words[2] == L"contains" ? text.find(words[3]) != std::wstring::npos
                                   : words[2] == L"equals" && text == words[3];
}

static bool IsEnabled(Session& session, const Words& words, std::wstring* seen) {
    HWND control = ControlNow(session, words[1], seen);
    if (control == nullptr)
        return false;
    const bool enabled = IsWindowEnabled(control) != FALSE;
    *seen = enabled ? L"enabled" : L"disabled";
    return *seen == words[0];
}

static bool IsTickedNow(Session& session, const Words& words, std::wstring* seen) {
    HWND control = ControlNow(session, words[1], seen);
    if (control == nullptr)
        return false;
    *seen = IsTicked(control) ? L"ticked" : L"unticked";
    return *seen == words[0];
}

static bool HasRows(Session& session, const Words& words, std::wstring* seen) {
    HWND list = ControlNow(session, words[1], seen);
    if (list == nullptr)
        return false;
    *seen = std::to_wstring(ListRowCount(list));
    return *seen == words[2];
}

static bool HasRow(Session& session, const Words& words, std::wstring* seen) {
    HWND list = ControlNow(session, words[1], seen);
    if (list == nullptr)
        return false;
    bool found = false;
    *seen = L"";
    for (const ListRow& row : ListRows(list)) {
        for (const std::wstring& text : row.texts)
            found = found || text == words[2];
        *seen +=
            (seen->empty() ? L"" : L" ") + (row.texts.empty() ? L"\"\"" : Quoted(row.texts[0]));
    }
    return found == (words[0] == L"row");
}

static bool RowIsTicked(Session& session, const Words& words, std::wstring* seen) {
    HWND list = ControlNow(session, words[1], seen);
    if (list == nullptr)
        return false;
    const int row = RowNamed(list, words[2]);
    *seen = row < 0 ? L"no such row" : ListRowTicked(list, row) ? L"ticked" : L"unticked";
    return words[0] == L"row-" + *seen;
}

static bool BenchSays(Session& session, const Words& words, std::wstring* seen) {
    std::wstring error;
    if (!BenchAsk(CurrentId(session), words[1], seen, &error))
        *seen = error;
    return seen->find(words[2]) != std::wstring::npos;
}

static bool ProcessesAre(Session&, const Words& words, std::wstring* seen) {
    *seen = std::to_wstring(CountProcesses(words[1]));
    return *seen == words[2];
}

static bool TraysAre(Session&, const Words& words, std::wstring* seen) {
    *seen = std::to_wstring(CountTrays());
    return *seen == words[1];
}

static const Condition conditions[] = {
    {L"text", 3, TextIs},
    {L"enabled", 1, IsEnabled},
    {L"disabled", 1, IsEnabled},
    {L"ticked", 1, IsTickedNow},
    {L"unticked", 1, IsTickedNow},
    {L"rows", 2, HasRows},
    {L"row", 2, HasRow},
    {L"no-row", 2, HasRow},
    {L"row-ticked", 2, RowIsTicked},
    {L"row-unticked", 2, RowIsTicked},
    {L"bench", 2, BenchSays},
    {L"processes", 2, ProcessesAre},
    {L"trays", 1, TraysAre},
};

static bool Check(Session& session, Words& words, DWORD guard, Answer* answer) {
    const Words rest(words.begin() + 1, words.end());
    for (const Condition& condition : conditions) {
        if (rest[0] != condition.name || rest.size() != condition.arguments + 1)
            continue;
        std::wstring seen;
        return WaitUntil([&] { return condition.holds(session, rest, &seen); }, guard) ||
               Refuse(answer, L"seen instead: " + seen);
    }
    return Refuse(answer, L"no such condition");
}

static bool DoWait(Session& session, Words& words, Answer* answer) {
    return Check(session, words, kHangGuard, answer);
}

static bool DoExpect(Session& session, Words& words, Answer* answer) {
    return Check(session, words, 0, answer);
}

// The command table and the loop

struct Command {
    const wchar_t* name;
    size_t least, most; // words behind the name
    bool needsProgram;
    bool (*run)(Session& session, Words& words, Answer* answer);
};

static const size_t kAny = 100;

static const Command commands[] = {
    {L"start", 1, 6, false, DoStart},
    {L"use", 1, 1, false, DoUse},
    {L"beside", 1, kAny, false, DoBeside},
    {L"run", 1, kAny, false, DoRun},
    {L"end", 0, 0, false, DoEnd},
    {L"wait-exit", 0, 1, true, DoWaitExit},
    {L"processes", 1, 1, false, DoProcesses},
    {L"quit-tray", 0, 0, false, DoQuitTray},
    {L"bench", 1, kAny, true, DoBench},
    {L"dialog", 1, 1, true, DoDialog},
    {L"window", 1, 1, true, DoWindow},
    {L"gone", 1, 1, true, DoGone},
    {L"close", 1, 1, true, DoClose},
    {L"tab", 1, 1, true, DoTab},
    {L"tabs", 0, 0, true, DoTabs},
    {L"box", 0, 0, true, DoBox},
    {L"answer", 1, 2, true, DoAnswer},
    {L"tick", 1, 3, true, DoTick},
    {L"untick", 1, 3, true, DoUntick},
    {L"press", 1, 3, true, DoPress},
    {L"key", 1, 2, true, DoKey},
    {L"type", 2, 2, true, DoType},
    {L"text", 1, 1, true, DoText},
    {L"rows", 1, 1, true, DoRows},
    {L"columns", 1, 1, true, DoColumns},
    {L"read", 0, 0, true, DoRead},
    {L"focus", 0, 0, true, DoFocus},
    {L"tab-order", 0, 0, true, DoTabOrder},
    {L"wait", 1, 4, false, DoWait},
    {L"expect", 1, 4, false, DoExpect},
    {L"screenshot", 1, 1, false, DoScreenshot},
};

static bool RunCommand(Session& session, Words& words, Answer* answer) {
    for (const Command& command : commands) {
        if (words[0] != command.name)
            continue;
        if (words.size() - 1 < command.least || words.size() - 1 > command.most)
            return Refuse(answer, L"wrong number of words for " + words[0]);
        if (command.needsProgram && CurrentId(session) == 0)
            return Refuse(answer, L"no program runs");
        return command.run(session, words, answer);
    }
    return Refuse(answer, L"no such command: " + words[0]);
}

static void Print(const std::wstring& line) {
    const std::string bytes = ToUtf8(line) + "\n";
    fwrite(bytes.data(), 1, bytes.size(), stdout);
}

// Runs every line; stops at the first refused one when `strict`. True when none was refused.
static bool RunLines(Session& session, std::istream& input, bool strict) {
    std::string bytes;
    bool clean = true;
    for (int number = 1; std::getline(input, bytes); number++) {
        Words words;
        Answer answer;
        const std::wstring line = FromUtf8(bytes);
        bool done = SplitWords(line, &words) || Refuse(&answer, L"a quote is not closed");
        if (done && words.empty())
            continue;
        if (strict)
            Print(L"> " + line.substr(0, line.find_last_not_of(L"\r") + 1));
        done = done && RunCommand(session, words, &answer);
        for (const std::wstring& shown : answer.shown)
            Print(L"  " + shown);
        const std::wstring where = strict ? L" line " + std::to_wstring(number) + L":" : L"";
        Print((done ? L"ok" : L"error" + where) + (answer.text.empty() ? L"" : L" " + answer.text));
        fflush(stdout);
        clean = clean && done;
        if (strict && !done) {
            if (!session.shots.empty())
                Screenshot(session.shots + L"\\failed.png", &answer.text);
            break;
        }
    }
    return clean;
}

int wmain(int argc, wchar_t** argv) {
    Session session;
    std::wstring file;
    for (int i = 1; i < argc; i++) {
        if (wcscmp(argv[i], L"--shots") == 0 && i + 1 < argc)
            session.shots = FullPath(argv[++i]);
        else
            file = FullPath(argv[i]);
    }
    // Scenarios name what was built beside this driver.
    SetCurrentDirectoryW(OwnFolder().c_str());
    _setmode(_fileno(stdout), _O_BINARY);
    bool clean = false;
    if (file.empty()) {
        clean = RunLines(session, std::cin, false);
    } else {
        FILE* opened = _wfopen(file.c_str(), L"r");
        if (opened == nullptr) {
            Print(L"error cannot open " + file);
            return 2;
        }
        fclose(opened);
        std::ifstream lines(ToUtf8(file));
        clean = RunLines(session, lines, true);
    }
    for (auto& entry : session.programs)
        ProgramEnd(&entry.second);
    for (Program& program : session.beside)
        ProgramEnd(&program);
    return clean ? 0 : 1;
}
