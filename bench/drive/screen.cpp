#include "drive/screen.h"
#include "drive/wait.h"

namespace drive {

// The host's name of a file, found by Wine itself. Empty when this is no Wine.
static std::wstring HostPath(const std::wstring& file) {
    typedef char*(CDECL * GetUnixFileName)(LPCWSTR);
    auto convert = reinterpret_cast<GetUnixFileName>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
    char* name = convert != nullptr ? convert(file.c_str()) : nullptr;
    if (name == nullptr)
        return L"";
    const int size = MultiByteToWideChar(CP_UTF8, 0, name, -1, nullptr, 0);
    std::wstring path(size, 0);
    MultiByteToWideChar(CP_UTF8, 0, name, -1, &path[0], size);
    path.resize(size - 1);
    HeapFree(GetProcessHeap(), 0, name);
    return path;
}

static std::wstring FullPath(const std::wstring& file) {
    if (file[0] == L'/')
        return L"\\\\?\\unix" + file;
    wchar_t full[MAX_PATH];
    const DWORD length = GetFullPathNameW(file.c_str(), MAX_PATH, full, nullptr);
    return length > 0 && length < MAX_PATH ? full : L"";
}

static bool Exists(const std::wstring& file) {
    return GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// A host program started from here can be neither waited for nor asked how it ended; it leaves a
// file behind that says so.
static bool RunOnHost(const std::wstring& script, const std::wstring& doneFile) {
    DeleteFileW(doneFile.c_str());
    std::wstring line = L"\\\\?\\unix\\bin\\sh -c \"" + script + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info = {};
    if (!CreateProcessW(nullptr, &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &info))
        return false;
    const bool done = WaitUntil([&doneFile] { return Exists(doneFile); });
    DeleteFileW(doneFile.c_str());
    return done;
}

bool Screenshot(const std::wstring& file, std::wstring* error) {
    const std::wstring full = file.empty() ? L"" : FullPath(file);
    const std::wstring host = file[0] == L'/' ? file : HostPath(full);
    if (full.empty() || host.empty() || host.find(L'\'') != std::wstring::npos) {
        *error = L"no place for the picture: " + file;
        return false;
    }
    DeleteFileW(full.c_str());
    const std::wstring script = L"import -window root 'png:" + host + L".part' && mv '" + host +
                                L".part' '" + host + L"'; : >'" + host + L".done'";
    if (!RunOnHost(script, full + L".done") || !Exists(full)) {
        *error = L"no picture could be taken into " + host;
        return false;
    }
    return true;
}

} // namespace drive
