#include "drive/start.h"
#include "drive/wait.h"
#include <vector>

namespace drive {

static std::wstring LastErrorText(const wchar_t* step) {
    return std::wstring(step) + L": error " + std::to_wstring(GetLastError());
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
    std::wstring line = L"\"" + options.executable + L"\"";
    if (!options.arguments.empty())
        line += L" " + options.arguments;
    std::vector<wchar_t> environment = MakeEnvironment(options);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    return CreateProcessW(options.executable.c_str(), &line[0], nullptr, nullptr, FALSE,
                          CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT, environment.data(),
                          nullptr, &startup, info) != FALSE;
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

static bool ReadToEnd(HANDLE pipe, std::string* output) {
    char buffer[4096];
    DWORD length = 0;
    while (ReadFile(pipe, buffer, sizeof(buffer), &length, nullptr) && length > 0)
        output->append(buffer, length);
    return true;
}

bool ProgramRun(const std::wstring& commandLine, DWORD* exitCode, std::string* output,
                std::wstring* error) {
    SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inherit, 0)) {
        *error = LastErrorText(L"CreatePipe");
        return false;
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    PROCESS_INFORMATION info = {};
    std::wstring line = commandLine;
    bool started = CreateProcessW(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                  &startup, &info) != FALSE;
    if (!started)
        *error = LastErrorText((L"starting " + commandLine).c_str());
    CloseHandle(writeEnd);
    if (started) {
        ReadToEnd(readEnd, output);
        WaitForSingleObject(info.hProcess, INFINITE);
        GetExitCodeProcess(info.hProcess, exitCode);
        CloseHandle(info.hThread);
        CloseHandle(info.hProcess);
    }
    CloseHandle(readEnd);
    return started;
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
