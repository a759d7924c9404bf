#include "harness/program.h"

#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/list.h"
#include "drive/pipe.h"
#include "drive/wait.h"
#include "drive/window.h"

#include <gtest/gtest.h>

static std::wstring FolderOfTests() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    *(wcsrchr(path, L'\\') + 1) = L'\0';
    return path;
}

std::wstring ProgramPath() {
    wchar_t path[MAX_PATH];
    DWORD length = GetEnvironmentVariableW(L"QV_PROGRAM", path, MAX_PATH);
    return length > 0 && length < MAX_PATH ? path : FolderOfTests() + L"QvTeamCfg.exe";
}

RunningProgram::RunningProgram(const std::wstring& commands, const std::wstring& executable,
                               const std::wstring& directory) {
    drive::StartOptions options;
    std::wstring error;
    options.executable = executable.empty() ? ProgramPath() : executable;
    options.benchDll = FolderOfTests() + L"qvbench.dll";
    options.commands = commands;
    options.directory = directory;
    if (!drive::ProgramStart(options, &program_, &error))
        ADD_FAILURE() << testing::PrintToString(error);
}

RunningProgram::~RunningProgram() {
    std::wstring misuses, ignored;
    // Fails when the program has ended.
    if (WaitForSingleObject(program_.process, 0) == WAIT_TIMEOUT &&
        drive::BenchAsk(program_.id, L"misuses", &misuses, &ignored))
        EXPECT_TRUE(misuses == L"ok" || misuses == L"ok ") << testing::PrintToString(misuses);
    // A program that is ended from outside takes what it has counted with it.
    if (GetEnvironmentVariableW(L"QV_COUNTS", nullptr, 0) != 0) {
        std::wstring reply, error;
        drive::BenchAsk(program_.id, L"exit", &reply, &error);
        WaitForSingleObject(program_.process, 20000);
    }
    drive::ProgramEnd(&program_);
}

HWND RunningProgram::waitDialog(int id) {
    HWND found = nullptr;
    drive::WaitUntil([&] { return (found = drive::FindDialog(program_.id, id)) != nullptr; });
    EXPECT_NE(found, nullptr) << "dialog " << id << " did not open";
    return found;
}

HWND RunningProgram::openDialog(const std::wstring& button, int opens, int dialog) {
    constexpr DWORD kOpenGuard = 5000; // milliseconds until the click is made once more
    HWND clicked = control(button, dialog);
    HWND opened = nullptr;
    std::wstring error;
    drive::WaitUntil([&] {
        opened = drive::FindDialog(program_.id, opens);
        if (opened == nullptr && drive::ClickControl(clicked, true, &error))
            drive::WaitUntil(
                [&] { return (opened = drive::FindDialog(program_.id, opens)) != nullptr; },
                kOpenGuard);
        return opened != nullptr;
    });
    EXPECT_NE(opened, nullptr) << "dialog " << opens
                               << " did not open: " << testing::PrintToString(error);
    return opened;
}

HWND RunningProgram::openTab(const std::wstring& caption, int dialog, int page) {
    HWND tabs = drive::FindControl(GetAncestor(waitDialog(dialog), GA_ROOT), L"SysTabControl32");
    int current = -1;
    const std::vector<std::wstring> captions = drive::TabCaptions(tabs, &current);
    for (size_t i = 0; i < captions.size(); i++) {
        POINT point = {};
        std::wstring error;
        if (captions[i] == caption && drive::TabPoint(tabs, static_cast<int>(i), &point)) {
            EXPECT_TRUE(drive::MouseClick(tabs, point, false, &error))
                << testing::PrintToString(error);
            return waitDialog(page);
        }
    }
    ADD_FAILURE() << "no tab " << testing::PrintToString(caption);
    return nullptr;
}

void RunningProgram::waitGone(int id) {
    EXPECT_TRUE(drive::WaitUntil([&] { return drive::FindDialog(program_.id, id) == nullptr; }))
        << "dialog " << id << " stays open";
}

void RunningProgram::waitJobOver() {
    waitText(L"1009", L"Select two NICs");
    waitGone(1104);
    EXPECT_TRUE(drive::WaitUntil([&] { return Texts(journal(), L"dialog-close").size() == 1; }));
}

HWND RunningProgram::control(const std::wstring& name, int dialog) {
    HWND found = drive::FindControl(waitDialog(dialog), name);
    EXPECT_NE(found, nullptr) << testing::PrintToString(name);
    return found;
}

std::wstring RunningProgram::text(const std::wstring& name, int dialog) {
    return drive::TextOf(control(name, dialog));
}

void RunningProgram::waitText(const std::wstring& name, const std::wstring& part, int dialog) {
    HWND window = control(name, dialog);
    EXPECT_TRUE(drive::WaitUntil([&] {
        return drive::TextOf(window).find(part) != std::wstring::npos;
    })) << testing::PrintToString(drive::TextOf(window));
}

// As a person does, waits for a control that an earlier click brings to life.
static void ClickLiving(HWND control, bool leave) {
    std::wstring error;
    EXPECT_TRUE(drive::WaitUntil([&] { return IsWindowEnabled(control) != FALSE; }));
    EXPECT_TRUE(drive::ClickControl(control, leave, &error)) << testing::PrintToString(error);
}

void RunningProgram::click(const std::wstring& name, int dialog) {
    ClickLiving(control(name, dialog), false);
}

void RunningProgram::clickAndLeave(const std::wstring& name, int dialog) {
    ClickLiving(control(name, dialog), true);
}

void RunningProgram::tickRow(const std::wstring& list, int row, bool on, bool keyboard) {
    std::wstring error;
    EXPECT_TRUE(drive::TickRow(control(list), row, on, keyboard, &error))
        << testing::PrintToString(error);
}

void RunningProgram::chooseTwo() {
    tickRow(L"1002", 0);
    tickRow(L"1002", 1);
    click(L"1003");
}

bool RunningProgram::rowTicked(const std::wstring& list, int row) {
    return drive::ListRowTicked(control(list), row);
}

std::vector<std::wstring> RunningProgram::rows(const std::wstring& list) {
    std::vector<std::wstring> texts;
    for (const drive::ListRow& row : drive::ListRows(control(list)))
        texts.push_back(row.texts.empty() ? L"" : row.texts[0]);
    return texts;
}

bool RunningProgram::enabled(const std::wstring& name) {
    return IsWindowEnabled(control(name));
}

bool RunningProgram::ticked(const std::wstring& name) {
    return drive::IsTicked(control(name));
}

std::wstring RunningProgram::bench(const std::wstring& command) {
    std::wstring reply;
    std::wstring error;
    EXPECT_TRUE(drive::BenchAsk(program_.id, command, &reply, &error))
        << testing::PrintToString(error);
    EXPECT_EQ(0u, reply.find(L"ok")) << testing::PrintToString(reply);
    return reply.size() > 3 ? reply.substr(3) : L"";
}

Events RunningProgram::journal() {
    return ParseJournal(bench(L"journal-text"));
}

DWORD RunningProgram::releaseAndWait() {
    std::wstring reply;
    std::wstring error;
    drive::BenchAsk(program_.id, L"release", &reply, &error);
    return waitEnd();
}

DWORD RunningProgram::waitEnd() {
    DWORD exitCode = STILL_ACTIVE;
    EXPECT_TRUE(drive::ProgramWaitEnd(program_, drive::kHangGuard, &exitCode)) << "still running";
    return exitCode;
}
