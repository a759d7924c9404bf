#include "drive/start.h"
#include "drive/wait.h"
#include <vector>

namespace drive {

static const DWORD kRunGuard = 120000; // milliseconds for a program that runs to its end
static const int kStartTries = 3;
static const DWORD kStartPause = 300; // milliseconds between two tries

static std::wstring LastErrorText(const wchar_t* step) {
    return std::wstring(step) + L": error " + std::to_wstring(GetLastError());
}

// What a system that is short of something gives now and a moment later no more.
static bool Passes(DWORD error) {
    return error == ERROR_INTERNAL_ERROR || error == ERROR_NOT_ENOUGH_MEMORY ||
           error == ERROR_OUTOFMEMORY || error == ERROR_NO_SYSTEM_RESOURCES ||
           error == ERROR_COMMITMENT_LIMIT;
}

bool CreateInTries(const std::function<bool()>& create) {
    for (int tries = 1; !create(); tries++) {
        if (tries == kStartTries || !Passes(GetLastError()))
            return false;
        Sleep(kStartPause);
    }
    return true;
}

// Every process started here goes into one job, so that none survives a driver that was ended.
static HANDLE Job() {
    static HANDLE job = nullptr;
    if (job == nullptr) {
        job = CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    }
    return job;
}

// The caller's environment without its bench variables, then the ones of this program.
static std::vector<wchar_t> MakeEnvironment(const StartOptions& options) {
    std::vector<wchar_t> block;
    auto append = [&block](const std::wstring& entry) {
        block.insert(block.end(), entry.c_str(), entry.c_str() + entry.size() + 1);
    };
    wchar_t* own = GetEnvironmentStringsW();
    for (const wchar_t* entry = own; *entry != 0; entry += wcslen(entry) + 1) {
        if (_wcsnicmp(entry, L"QVBENCH", 7) != 0)
            append(entry);
    }
    FreeEnvironmentStringsW(own);
    if (!options.benchDll.empty()) {
        std::wstring commands = options.commands;
        if (!options.journal.empty())
            commands = L"journal " + options.journal + (commands.empty() ? L"" : L";" + commands);
        append(L"QVBENCH=1");
        if (!commands.empty())
            append(L"QVBENCH_COMMANDS=" + commands);
    }
    block.push_back(0);
    return block;
}

// The first thread that runs in a new process makes its modules ready, so the DLL finds the
// executable's import table filled in.
static bool LoadInto(HANDLE process, const std::wstring& dll, std::wstring* error) {
    const SIZE_T size = (dll.size() + 1) * sizeof(wchar_t);
    void* remote = VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (remote == nullptr) {
        *error = LastErrorText(L"VirtualAllocEx");
        return false;
    }
    bool loaded = false;
    HANDLE thread = nullptr;
    if (!WriteProcessMemory(process, remote, dll.c_str(), size, nullptr)) {
        *error = LastErrorText(L"WriteProcessMemory");
    } else {
        auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "LoadLibraryW")));
        thread = CreateRemoteThread(process, nullptr, 0, load, remote, 0, nullptr);
        if (thread == nullptr)
            *error = LastErrorText(L"CreateRemoteThread");
    }
    if (thread != nullptr) {
        DWORD module = 0;
        if (WaitForSingleObject(thread, kHangGuard) != WAIT_OBJECT_0)
            *error = L"loading " + dll + L" did not end";
        else if (!GetExitCodeThread(thread, &module) || module == 0)
            *error = dll + L" could not be loaded into the program";
        else
            loaded = true;
        CloseHandle(thread);
    }
    VirtualFreeEx(process, remote, 0, MEM_RELEASE);
    return loaded;
}

static bool CreateSuspended(const StartOptions& options, PROCESS_INFORMATION* info) {
    std::wstring command = L"\"" + options.executable + L"\"";
    if (!options.arguments.empty())
        command += L" " + options.arguments;
    std::vector<wchar_t> environment = MakeEnvironment(options);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    return CreateInTries([&] {
        std::wstring line = command; // the call may write into it
        return CreateProcessW(options.executable.c_str(), &line[0], nullptr, nullptr, FALSE,
                              CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT, environment.data(),
                              options.directory.empty() ? nullptr : options.directory.c_str(),
                              &startup, info) != FALSE;
    });
}

bool ProgramStart(const StartOptions& options, Program* program, std::wstring* error) {
    PROCESS_INFORMATION info = {};
    if (!CreateSuspended(options, &info)) {
        *error = LastErrorText((L"starting " + options.executable).c_str());
        return false;
    }
    AssignProcessToJobObject(Job(), info.hProcess);
    bool started = options.benchDll.empty() || LoadInto(info.hProcess, options.benchDll, error);
    if (started && ResumeThread(info.hThread) == static_cast<DWORD>(-1)) {
        *error = LastErrorText(L"ResumeThread");
        started = false;
    }
    CloseHandle(info.hThread);
    if (!started) {
        TerminateProcess(info.hProcess, 1);
        CloseHandle(info.hProcess);
        return false;
    }
    program->process = info.hProcess;
    program->id = info.dwProcessId;
    program->scratch.clear();
    return true;
}

bool ProgramStartIdle(const std::wstring& idleExecutable, const std::wstring& name,
                      Program* program, std::wstring* error) {
    wchar_t temp[MAX_PATH];
    static unsigned sequence = 0;
    GetTempPathW(MAX_PATH, temp);
    std::wstring folder = std::wstring(temp) + L"qvidle" + std::to_wstring(GetCurrentProcessId()) +
                          L"-" + std::to_wstring(++sequence);
    std::wstring copy = folder + L"\\" + name;
    // A driver that was ended may have left a folder of this name behind.
    CreateDirectoryW(folder.c_str(), nullptr);
    if (!CopyFileW(idleExecutable.c_str(), copy.c_str(), FALSE)) {
        *error = LastErrorText((L"copying " + idleExecutable + L" to " + copy).c_str());
        return false;
    }
    StartOptions options;
    options.executable = copy;
    if (!ProgramStart(options, program, error))
        return false;
    program->scratch = copy;
    WaitForInputIdle(program->process, kHangGuard);
    return true;
}

// A file, not a pipe: the first program on a desktop starts the desktop's own processes, which take
// the handles over and would keep a pipe from ever ending.
static HANDLE CreateOutputFile() {
    wchar_t folder[MAX_PATH], name[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    GetTempFileNameW(folder, L"qvo", 0, name);
    SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
    return CreateFileW(
        name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        &inherit, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
}

static std::string ReadFromStart(HANDLE file) {
    std::string text;
    char buffer[4096];
    DWORD length = 0;
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    while (ReadFile(file, buffer, sizeof(buffer), &length, nullptr) && length > 0)
        text.append(buffer, length);
    return text;
}

static bool RunInto(HANDLE file, const std::wstring& commandLine, DWORD* exitCode,
                    std::wstring* error) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = file;
    startup.hStdError = file;
    PROCESS_INFORMATION info = {};
    const bool created = CreateInTries([&] {
        std::wstring line = commandLine;
        return CreateProcessW(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                              &startup, &info) != FALSE;
    });
    if (!created) {
        *error = LastErrorText((L"starting " + commandLine).c_str());
        return false;
    }
    CloseHandle(info.hThread);
    const bool ended = WaitForSingleObject(info.hProcess, kRunGuard) == WAIT_OBJECT_0;
    if (ended) {
        GetExitCodeProcess(info.hProcess, exitCode);
    } else {
        TerminateProcess(info.hProcess, 1);
        *error = commandLine + L" did not end";
    }
    CloseHandle(info.hProcess);
    return ended;
}

bool ProgramRun(const std::wstring& commandLine, DWORD* exitCode, std::string* output,
                std::wstring* error) {
    HANDLE file = CreateOutputFile();
    if (file == INVALID_HANDLE_VALUE) {
        *error = LastErrorText(L"a file for the output");
        return false;
    }
    const bool ended = RunInto(file, commandLine, exitCode, error);
    *output = ReadFromStart(file);
    CloseHandle(file);
    return ended;
}

bool ProgramWaitEnd(const Program& program, DWORD guard, DWORD* exitCode) {
    if (program.process == nullptr || WaitForSingleObject(program.process, guard) != WAIT_OBJECT_0)
        return false;
    DWORD code = 0;
    GetExitCodeProcess(program.process, &code);
    if (exitCode != nullptr)
        *exitCode = code;
    return true;
}

void ProgramEnd(Program* program) {
    if (program->process == nullptr)
        return;
    if (WaitForSingleObject(program->process, 0) != WAIT_OBJECT_0) {
        TerminateProcess(program->process, 1);
        WaitForSingleObject(program->process, kHangGuard);
    }
    CloseHandle(program->process);
    if (!program->scratch.empty()) {
        DeleteFileW(program->scratch.c_str());
        RemoveDirectoryW(program->scratch.substr(0, program->scratch.rfind(L'\\')).c_str());
    }
    *program = Program();
}

} // namespace drive
