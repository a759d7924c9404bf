#include "files.h"

#include <windows.h>

#include <vector>

namespace qvmachine {

static std::wstring FolderOf(HMODULE module) {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(module, path, ARRAYSIZE(path));
    const std::wstring text = path;
    return text.substr(0, text.find_last_of(L"\\/"));
}

static std::wstring FolderOfThisCode() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&FolderOfThisCode), &module);
    return FolderOf(module);
}

std::wstring FindBenchFile(const std::wstring& relative) {
    wchar_t named[MAX_PATH] = L"";
    GetEnvironmentVariableW(L"QVBENCH_BIN", named, ARRAYSIZE(named));
    for (const std::wstring& folder :
         {std::wstring(named), FolderOfThisCode(), FolderOf(nullptr)}) {
        const std::wstring path = folder + L"\\" + relative;
        if (!folder.empty() && GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
            return path;
        }
    }
    return L"";
}

bool ReadFileBytes(const std::wstring& path, std::string* content) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    std::string bytes(GetFileSize(file, nullptr), '\0');
    DWORD read = 0;
    const bool done =
        ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) &&
        read == bytes.size();
    CloseHandle(file);
    if (done) {
        *content = std::move(bytes);
    }
    return done;
}

bool WriteFileBytes(const std::wstring& path, const std::string& content) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    DWORD written = 0;
    const bool done =
        WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
        written == content.size();
    return CloseHandle(file) && done;
}

std::wstring WindowsDirectory() {
    wchar_t path[MAX_PATH] = L"";
    GetSystemWindowsDirectoryW(path, ARRAYSIZE(path));
    std::wstring text = path;
    while (!text.empty() && text.back() == L'\\') {
        text.pop_back();
    }
    return text;
}

} // namespace qvmachine
