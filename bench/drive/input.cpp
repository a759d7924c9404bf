#include "drive/input.h"
#include "drive/list.h"
#include "drive/wait.h"
#include "drive/window.h"

namespace drive {

static const DWORD kSettleGuard = 2000; // milliseconds for something that may well never happen
static const int kPressTries = 5;

static bool Fail(std::wstring* error, const std::wstring& reason) {
    *error = reason;
    return false;
}

struct ThreadWindows {
    HWND except;
    bool usable;
};

static BOOL CALLBACK FindUsable(HWND window, LPARAM parameter) {
    auto search = reinterpret_cast<ThreadWindows*>(parameter);
    search->usable = search->usable || (window != search->except && IsWindowVisible(window) &&
                                        IsWindowEnabled(window));
    return !search->usable;
}

// A modal dialog disables its owner before it is shown, and is shown only after everything that
// was queued has been handled, painting included.
static bool ModalIsOnItsWay(HWND root) {
    if (!IsWindow(root) || !IsWindowVisible(root) || IsWindowEnabled(root))
        return false;
    ThreadWindows search = {root, false};
    EnumThreadWindows(GetWindowThreadProcessId(root, nullptr), FindUsable,
                      reinterpret_cast<LPARAM>(&search));
    return !search.usable;
}

// Painting comes after all input in a thread's queue. So a window is marked for painting, and once
// the mark is gone the thread has handled what was queued before. The mark is a pixel in the corner:
// an erasing paint that is due too would wipe all that is marked, and children there stay wiped.
bool WaitIdle(HWND window, std::wstring* error) {
    HWND root = GetAncestor(window, GA_ROOT);
    if (root == nullptr || !IsWindowVisible(root))
        return true;
    const RECT corner = {0, 0, 1, 1};
    RedrawWindow(root, &corner, nullptr, RDW_INVALIDATE | RDW_NOCHILDREN);
    const bool painted = WaitUntil([root] {
        return !IsWindow(root) || !IsWindowVisible(root) || !GetUpdateRect(root, nullptr, FALSE);
    });
    DWORD_PTR result = 0;
    if (painted)
        SendMessageTimeoutW(root, WM_NULL, 0, 0, SMTO_NORMAL, kHangGuard, &result);
    return (painted && WaitUntil([root] { return !ModalIsOnItsWay(root); })) ||
           Fail(error, L"the program did not become idle");
}

static BOOL CALLBACK FindUnpainted(HWND window, LPARAM parameter) {
    auto unpainted = reinterpret_cast<HWND*>(parameter);
    if (IsWindowVisible(window) && GetUpdateRect(window, nullptr, FALSE))
        *unpainted = window;
    return *unpainted == nullptr;
}

bool WaitPainted(HWND window, std::wstring* error) {
    HWND root = GetAncestor(window, GA_ROOT);
    const bool painted = WaitUntil([root] {
        HWND unpainted = nullptr;
        EnumChildWindows(root, FindUnpainted, reinterpret_cast<LPARAM>(&unpainted));
        return unpainted == nullptr;
    });
    // What has been painted comes on screen when the thread has nothing else to do.
    return (painted || Fail(error, L"a control is not painted")) && WaitIdle(window, error);
}

static bool Settle(HWND window, bool leave, std::wstring* error) {
    return leave || WaitIdle(window, error);
}

// A program gets keys only while one of its windows is in front; a person would click it.
static bool BringForward(HWND window, std::wstring* error) {
    const DWORD thread = GetWindowThreadProcessId(window, nullptr);
    auto inFront = [thread] {
        return GetWindowThreadProcessId(GetForegroundWindow(), nullptr) == thread;
    };
    if (inFront())
        return true;
    HWND popup = GetLastActivePopup(GetAncestor(window, GA_ROOT));
    SetForegroundWindow(popup);
    return WaitUntil(inFront) || Fail(error, L"the program's window does not come to the front");
}

static void Send(std::vector<INPUT> inputs) {
    SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
}

static INPUT MouseInput(DWORD flags, POINT point = {}) {
    INPUT input = {};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = flags;
    if (flags & MOUSEEVENTF_MOVE) {
        // 65536ths of the screen, aimed at the middle of the pixel.
        input.mi.dx = (point.x * 65536 + 32768) / GetSystemMetrics(SM_CXSCREEN);
        input.mi.dy = (point.y * 65536 + 32768) / GetSystemMetrics(SM_CYSCREEN);
    }
    return input;
}

static std::wstring Describe(HWND window) {
    return window == nullptr
               ? L"nothing"
               : ClassOf(window) + L" " + NameOf(window) + L" \"" + TextOf(window) + L"\"";
}

// A second click at the same place is a double click unless one takes one's time.
static POINT lastPoint = {-1, -1};
static ULONGLONG lastTime = 0;

static void KeepClicksApart(POINT point) {
    const bool close = abs(point.x - lastPoint.x) <= GetSystemMetrics(SM_CXDOUBLECLK) &&
                       abs(point.y - lastPoint.y) <= GetSystemMetrics(SM_CYDOUBLECLK);
    if (close)
        WaitUntil([] { return GetTickCount64() - lastTime > GetDoubleClickTime(); });
}

// The window among `window` and its children that a click at the point belongs to, asked the way
// the window's own thread asks: from the top down, passing over the ones that let clicks through
// (group boxes, texts). WindowFromPoint does not ask windows of other threads.
static HWND HitTest(HWND window, POINT point) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    if (!IsWindowVisible(window) || !PtInRect(&rect, point))
        return nullptr;
    if (!IsWindowEnabled(window))
        return window;
    for (HWND child : Children(window)) {
        if (HWND hit = HitTest(child, point))
            return hit;
    }
    DWORD_PTR place = 0;
    SendMessageTimeoutW(window, WM_NCHITTEST, 0, MAKELPARAM(point.x, point.y), SMTO_NORMAL,
                        kHangGuard, &place);
    return static_cast<int>(place) == HTTRANSPARENT ? nullptr : window;
}

// Another program's window in the way is put behind, as a click on the caption would.
static void UncoverFrom(HWND expected, POINT point) {
    auto isOthers = [expected, point] {
        HWND there = WindowFromPoint(point);
        return GetWindowThreadProcessId(there, nullptr) !=
               GetWindowThreadProcessId(expected, nullptr);
    };
    if (!isOthers())
        return;
    BringWindowToTop(GetLastActivePopup(GetAncestor(expected, GA_ROOT)));
    WaitUntil([&isOthers] { return !isOthers(); }, kSettleGuard);
}

// Moves the mouse to a point of the window and says what is under it then.
static bool PointAt(HWND window, POINT point, HWND* there, std::wstring* error) {
    ClientToScreen(window, &point);
    Send({MouseInput(MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE, point)});
    if (!WaitIdle(window, error))
        return false;
    UncoverFrom(window, point);
    POINT arrived = {};
    GetCursorPos(&arrived);
    *there = HitTest(GetAncestor(WindowFromPoint(arrived), GA_ROOT), arrived);
    return true;
}

// Has the mouse stand on a point of the window that belongs to it.
static bool Aim(HWND window, POINT point, std::wstring* error) {
    if (!BringForward(window, error))
        return false;
    POINT place = point;
    ClientToScreen(window, &place);
    KeepClicksApart(place);
    HWND there = nullptr;
    bool idle = true;
    WaitUntil(
        [&] {
            idle = PointAt(window, point, &there, error);
            return !idle || there == window;
        },
        kSettleGuard);
    if (!idle)
        return false;
    return there == window ||
           Fail(error, L"the place of " + Describe(window) + L" belongs to " + Describe(there));
}

static void Press() {
    Send({MouseInput(MOUSEEVENTF_LEFTDOWN)});
    GetCursorPos(&lastPoint);
    lastTime = GetTickCount64();
}

bool MouseClick(HWND window, POINT point, bool leave, std::wstring* error) {
    if (!Aim(window, point, error))
        return false;
    Press();
    Send({MouseInput(MOUSEEVENTF_LEFTUP)});
    return Settle(window, leave, error);
}

static bool HoldsMouse(HWND window) {
    GUITHREADINFO info = {};
    info.cbSize = sizeof(info);
    return GetGUIThreadInfo(GetWindowThreadProcessId(window, nullptr), &info) &&
           info.hwndCapture == window;
}

// A button holds the mouse from press to release. It loses it when the window manager gives or takes
// the focus in between, as it does soon after a window has been shown, and the release is no click
// then. So the press is looked at first, and made again.
static bool ClickButton(HWND button, POINT point, std::wstring* error) {
    for (int tries = 0; tries < kPressTries; tries++) {
        if (!Aim(button, point, error))
            return false;
        Press();
        const bool idle = WaitIdle(button, error);
        const bool pressed = HoldsMouse(button);
        Send({MouseInput(MOUSEEVENTF_LEFTUP)});
        if (!idle)
            return false;
        if (pressed)
            return WaitIdle(button, error);
    }
    return Fail(error, Describe(button) + L" does not stay pressed");
}

static bool CheckUsable(HWND control, std::wstring* error) {
    if (!IsWindow(control))
        return Fail(error, L"the control is gone");
    if (!IsWindowVisible(control))
        return Fail(error, Describe(control) + L" is not visible");
    if (!IsWindowEnabled(control))
        return Fail(error, Describe(control) + L" is disabled");
    if (!IsWindowEnabled(GetAncestor(control, GA_ROOT)))
        return Fail(error, L"the window of " + Describe(control) + L" is disabled");
    return true;
}

bool ClickControl(HWND control, bool leave, std::wstring* error) {
    if (!CheckUsable(control, error))
        return false;
    RECT rect = {};
    GetWindowRect(control, &rect);
    POINT middle = {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2};
    ScreenToClient(control, &middle);
    return !leave && ClassOf(control) == L"Button" ? ClickButton(control, middle, error)
                                                   : MouseClick(control, middle, leave, error);
}

struct KeyName {
    const wchar_t* name;
    WORD key;
    bool extended;
};

static const KeyName keyNames[] = {
    {L"Tab", VK_TAB, false},     {L"Enter", VK_RETURN, false}, {L"Escape", VK_ESCAPE, false},
    {L"Space", VK_SPACE, false}, {L"Up", VK_UP, true},         {L"Down", VK_DOWN, true},
    {L"Left", VK_LEFT, true},    {L"Right", VK_RIGHT, true},   {L"Home", VK_HOME, true},
    {L"End", VK_END, true},      {L"Delete", VK_DELETE, true}, {L"Backspace", VK_BACK, false},
    {L"F4", VK_F4, false},       {L"Shift", VK_SHIFT, false},  {L"Ctrl", VK_CONTROL, false},
    {L"Alt", VK_MENU, false},
};

static bool KeyCode(const std::wstring& name, KeyName* code) {
    for (const KeyName& known : keyNames) {
        if (_wcsicmp(known.name, name.c_str()) == 0) {
            *code = known;
            return true;
        }
    }
    if (name.size() != 1)
        return false;
    const SHORT scan = VkKeyScanW(static_cast<wchar_t>(towlower(name[0])));
    *code = {nullptr, static_cast<WORD>(scan & 0xFF), false};
    return scan != -1;
}

static INPUT KeyInput(const KeyName& code, bool up) {
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = code.key;
    input.ki.wScan = static_cast<WORD>(MapVirtualKeyW(code.key, MAPVK_VK_TO_VSC));
    input.ki.dwFlags = (up ? KEYEVENTF_KEYUP : 0) | (code.extended ? KEYEVENTF_EXTENDEDKEY : 0);
    return input;
}

bool PressKey(HWND window, const std::wstring& key, bool leave, std::wstring* error) {
    std::vector<KeyName> codes;
    for (size_t start = 0; start <= key.size();) {
        size_t end = key.find(L'+', start);
        end = end == std::wstring::npos ? key.size() : end;
        KeyName code = {};
        if (!KeyCode(key.substr(start, end - start), &code))
            return Fail(error, L"no such key: " + key);
        codes.push_back(code);
        start = end + 1;
    }
    if (!BringForward(window, error))
        return false;
    std::vector<INPUT> inputs;
    for (const KeyName& code : codes)
        inputs.push_back(KeyInput(code, false));
    for (size_t i = codes.size(); i-- > 0;)
        inputs.push_back(KeyInput(codes[i], true));
    Send(inputs);
    return Settle(window, leave, error);
}

static const int kTabLimit = 100; // more Tab presses than any dialog here has controls

bool TabTo(HWND control, std::wstring* error) {
    if (!CheckUsable(control, error) || !BringForward(control, error))
        return false;
    for (int i = 0; i < kTabLimit && FocusOf(control) != control; i++) {
        if (!PressKey(control, L"Tab", false, error))
            return false;
    }
    return FocusOf(control) == control || Fail(error, L"Tab does not reach " + Describe(control));
}

bool SpaceControl(HWND control, bool leave, std::wstring* error) {
    return TabTo(control, error) && PressKey(control, L"Space", leave, error);
}

bool TabOrder(HWND dialog, std::vector<HWND>* order, std::wstring* error) {
    HWND first = GetNextDlgTabItem(dialog, nullptr, FALSE);
    if (first == nullptr)
        return Fail(error, L"the dialog has no control that Tab stops at");
    if (!TabTo(first, error))
        return false;
    std::vector<HWND> found;
    HWND focus = first;
    do {
        found.push_back(focus);
        if (!PressKey(dialog, L"Tab", false, error))
            return false;
        HWND next = FocusOf(dialog);
        if (next == focus)
            return Fail(error, L"Tab does not leave " + Describe(focus));
        focus = next;
    } while (focus != first && found.size() < kTabLimit);
    *order = found;
    return focus == first || Fail(error, L"Tab does not come back to " + Describe(first));
}

bool TypeText(HWND edit, const std::wstring& text, std::wstring* error) {
    if (!ClickControl(edit, false, error) || !PressKey(edit, L"Home", false, error) ||
        !PressKey(edit, L"Shift+End", false, error) || !PressKey(edit, L"Delete", false, error))
        return false;
    for (wchar_t character : text) {
        INPUT down = {};
        down.type = INPUT_KEYBOARD;
        down.ki.wScan = character;
        down.ki.dwFlags = KEYEVENTF_UNICODE;
        INPUT up = down;
        up.ki.dwFlags |= KEYEVENTF_KEYUP;
        Send({down, up});
    }
    return WaitIdle(edit, error);
}

static bool FocusRow(HWND list, int row, std::wstring* error) {
    if (!TabTo(list, error))
        return false;
    if (ListFocusedRow(list) < 0 && !PressKey(list, L"Home", false, error))
        return false;
    for (int i = 0; i <= ListRowCount(list) && ListFocusedRow(list) != row; i++) {
        if (!PressKey(list, ListFocusedRow(list) < row ? L"Down" : L"Up", false, error))
            return false;
    }
    return ListFocusedRow(list) == row ||
           Fail(error, L"the arrow keys do not reach row " + std::to_wstring(row));
}

bool TickRow(HWND list, int row, bool ticked, bool keyboard, std::wstring* error) {
    if (!CheckUsable(list, error))
        return false;
    if (row < 0 || row >= ListRowCount(list))
        return Fail(error, L"there is no row " + std::to_wstring(row));
    if (ListRowTicked(list, row) == ticked)
        return true;
    if (keyboard) {
        if (!FocusRow(list, row, error) || !PressKey(list, L"Space", false, error))
            return false;
    } else {
        POINT point = {};
        if (!ListRowPoint(list, row, true, &point))
            return Fail(error, L"row " + std::to_wstring(row) + L" shows no check box");
        if (!MouseClick(list, point, false, error))
            return false;
    }
    return ListRowTicked(list, row) == ticked ||
           Fail(error, L"the check box of row " + std::to_wstring(row) + L" did not change");
}

bool TickBox(HWND checkBox, bool ticked, bool keyboard, std::wstring* error) {
    if (!IsCheckBox(checkBox))
        return Fail(error, Describe(checkBox) + L" is no check box");
    if (IsTicked(checkBox) == ticked)
        return true;
    if (!(keyboard ? SpaceControl(checkBox, false, error) : ClickControl(checkBox, false, error)))
        return false;
    return IsTicked(checkBox) == ticked || Fail(error, Describe(checkBox) + L" did not change");
}

} // namespace drive
