// The tray program of the machine, as far as the utility knows it: a process of that name, with a
// hidden window, that quits on the registered message. A copy under any other name is an idle
// process of that name, which the message does not concern.
#include <windows.h>

static UINT quitMessage;

static LRESULT CALLBACK TrayWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (quitMessage != 0 && message == quitMessage) {
        DestroyWindow(window);
        return 0;
    }
    if (message == WM_DESTROY)
        PostQuitMessage(0);
    return DefWindowProcW(window, message, wParam, lParam);
}

static bool RunsAsTray() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    const wchar_t name[] = L"\\QvTray.exe";
    const DWORD nameLength = ARRAYSIZE(name) - 1;
    return length >= nameLength && lstrcmpiW(path + length - nameLength, name) == 0;
}

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR, int) {
    const bool tray = RunsAsTray();
    if (tray)
        quitMessage = RegisterWindowMessageW(L"TermQvTray");
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = TrayWindowProc;
    windowClass.hInstance = instance;
    windowClass.lpszClassName = L"QvTrayWindow";
    RegisterClassW(&windowClass);
    // A top-level window, not a message-only one: broadcasts reach only the former.
    if (CreateWindowExW(0, windowClass.lpszClassName, tray ? L"QvTray" : L"", WS_OVERLAPPED, 0, 0,
                        0, 0, nullptr, nullptr, instance, nullptr) == nullptr)
        return 1;
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    return 0;
}
