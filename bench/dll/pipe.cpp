#include "pipe.h"

#include <windows.h>
#include <algorithm>
#include <string>
#include <vector>

#include "command.h"
#include "journal.h"

namespace bench {

namespace {

const DWORD kLongestCommand = 64 * 1024;

bool IsUtf16(const std::vector<char>& bytes) {
    return bytes.size() >= 2 && bytes.size() % 2 == 0 && bytes[1] == 0;
}

std::wstring Decode(const std::vector<char>& bytes) {
    if (IsUtf16(bytes))
        return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    int length =
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    std::wstring text(length, 0);
    MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(),
                        length);
    return text;
}

std::vector<char> Encode(const std::wstring& text, bool utf16) {
    if (utf16) {
        auto bytes = reinterpret_cast<const char*>(text.data());
        return std::vector<char>(bytes, bytes + text.size() * sizeof(wchar_t));
    }
    int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                     nullptr, 0, nullptr, nullptr);
    std::vector<char> bytes(length);
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                        length, nullptr, nullptr);
    return bytes;
}

std::vector<char> Reply(const std::vector<char>& message) {
    std::wstring command = Decode(message);
    command.resize(std::min(command.size(), command.find(L'\0')));
    std::wstring text;
    std::wstring reply = RunCommand(command, &text) ? L"ok" : L"error";
    if (!text.empty())
        reply += L" " + text;
    return Encode(reply, IsUtf16(message));
}

void Serve(HANDLE pipe) {
    std::vector<char> message(kLongestCommand);
    for (;;) {
        DWORD size = 0;
        message.resize(kLongestCommand);
        if (!ReadFile(pipe, message.data(), kLongestCommand, &size, nullptr) || size == 0)
            return;
        message.resize(size);
        std::vector<char> reply = Reply(message);
        if (!WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &size, nullptr))
            return;
        FlushFileBuffers(pipe);
    }
}

DWORD WINAPI PipeThread(void*) {
    std::wstring name = Format(L"\\\\.\\pipe\\qvbench-%lu", GetCurrentProcessId());
    HANDLE pipe = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                                   PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1,
                                   1024 * 1024, kLongestCommand, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE)
        return 1;
    for (;;) {
        if (ConnectNamedPipe(pipe, nullptr) || GetLastError() == ERROR_PIPE_CONNECTED)
            Serve(pipe);
        DisconnectNamedPipe(pipe);
    }
}

} // namespace

void StartPipe() {
    HANDLE thread = CreateThread(nullptr, 0, PipeThread, nullptr, 0, nullptr);
    if (thread)
        CloseHandle(thread);
}

} // namespace bench
