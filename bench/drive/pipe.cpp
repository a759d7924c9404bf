#include "drive/pipe.h"
#include "drive/script.h"
#include "drive/wait.h"

namespace drive {

// The pipe appears once the DLL's thread runs, and is busy while it answers somebody else.
static HANDLE Connect(DWORD id) {
    const std::wstring name = L"\\\\.\\pipe\\qvbench-" + std::to_wstring(id);
    HANDLE pipe = INVALID_HANDLE_VALUE;
    WaitUntil([&] {
        pipe = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                           nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            return true;
        HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, id);
        const bool gone = process == nullptr || WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
        if (process != nullptr)
            CloseHandle(process);
        return gone;
    });
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (pipe != INVALID_HANDLE_VALUE)
        SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
    return pipe;
}

static bool ReadMessage(HANDLE pipe, std::string* message) {
    char buffer[4096];
    for (;;) {
        DWORD length = 0;
        const bool whole = ReadFile(pipe, buffer, sizeof(buffer), &length, nullptr) != FALSE;
        if (!whole && GetLastError() != ERROR_MORE_DATA)
            return false;
        message->append(buffer, length);
        if (whole)
            return true;
    }
}

bool BenchAsk(DWORD id, const std::wstring& command, std::wstring* reply, std::wstring* error) {
    HANDLE pipe = Connect(id);
    if (pipe == INVALID_HANDLE_VALUE) {
        *error = L"no bench pipe in process " + std::to_wstring(id);
        return false;
    }
    const std::string bytes = ToUtf8(command);
    DWORD written = 0;
    std::string answer;
    const bool asked =
        WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
        ReadMessage(pipe, &answer);
    if (asked)
        *reply = FromUtf8(answer);
    else
        *error = L"the bench pipe broke: error " + std::to_wstring(GetLastError());
    CloseHandle(pipe);
    return asked;
}

} // namespace drive
