// The executable that ships, running on the simulated machine and driven through its windows.
#pragma once

#include "drive/start.h"
#include "harness/journal.h"

#include <string>
#include <vector>
#include <windows.h>

// The executable that the tests are about: QV_PROGRAM in the environment, or the one beside the
// test.
std::wstring ProgramPath();

class RunningProgram {
  public:
    // Starts it on the machine that stands. `commands` are bench commands to run before it begins.
    explicit RunningProgram(const std::wstring& commands = L"",
                            const std::wstring& executable = L"",
                            const std::wstring& directory = L"");
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    HWND waitDialog(int id); // appears, or the test fails
    // Clicks a button of `dialog` until it has opened the dialog `opens`: the window manager may take the
    // focus between press and release, and the release is no click then.
    HWND openDialog(const std::wstring& button, int opens, int dialog = 1100);
    void waitGone(int id);
    // A job that began behind the last "journal-clear" has succeeded and is over: its wait dialog is
    // out of sight a moment earlier.
    void waitJobOver();
    // Clicks the tab of the sheet around `dialog` and gives the page that comes to the front.
    HWND openTab(const std::wstring& caption, int dialog, int page);
    HWND control(const std::wstring& name, int dialog = 1100);
    std::wstring text(const std::wstring& name, int dialog = 1100);
    void waitText(const std::wstring& name, const std::wstring& part, int dialog = 1100);
    void click(const std::wstring& name, int dialog = 1100);
    void clickAndLeave(const std::wstring& name, int dialog = 1100);
    void tickRow(const std::wstring& list, int row, bool on = true, bool keyboard = false);
    void chooseTwo(); // what a team needs: ticks two adapters and Active Backup
    bool rowTicked(const std::wstring& list, int row);
    std::vector<std::wstring> rows(const std::wstring& list);
    bool enabled(const std::wstring& name);
    bool ticked(const std::wstring& name);
    std::wstring bench(const std::wstring& command); // reply without "ok "
    Events journal();
    DWORD waitEnd();        // exit code
    DWORD releaseAndWait(); // lets the held call go on; the program may end before it can answer
    drive::Program& process() {
        return program_;
    }

  private:
    drive::Program program_;
};
