// A library that nobody asked for: whatever process loads it, a file beside it tells.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    wchar_t path[MAX_PATH];
    if (reason != DLL_PROCESS_ATTACH)
        return TRUE;
    const DWORD length = GetModuleFileNameW(instance, path, MAX_PATH);
    const wchar_t mark[] = L".loaded";
    if (length == 0 || length + ARRAYSIZE(mark) > MAX_PATH)
        return TRUE;
    lstrcpyW(path + length, mark);
    HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    return TRUE;
}
