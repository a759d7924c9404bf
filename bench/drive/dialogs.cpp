#include "drive/dialogs.h"
#include "drive/window.h"

namespace drive {

struct ControlSign {
    int id; // 0: a control without an id, known by its text
    const wchar_t* className;
    const wchar_t* text;
};

struct DialogSign {
    int id;
    ControlSign has[3];
};

static const DialogSign dialogSigns[] = {
    {1100,
     {{1002, L"SysListView32", nullptr},
      {1004, L"SysListView32", nullptr},
      {1009, L"Edit", nullptr}}},
    {1101, {{0, L"SysListView32", L"General"}}},
    {1102, {{1012, L"Button", nullptr}, {1013, L"Button", nullptr}}},
    {1103,
     {{1015, L"ComboBox", nullptr}, {1016, L"ComboBox", nullptr}, {1017, L"ListBox", nullptr}}},
    {1104, {{1007, L"Static", nullptr}}},
    {101,
     {{1000, L"SysListView32", nullptr}, {1001, L"Button", nullptr}, {1002, L"Button", nullptr}}},
    {102, {{1003, L"Edit", nullptr}, {1004, L"Edit", nullptr}, {1006, L"Button", nullptr}}},
};

// Every message box carries its icon's place, shown or not, under this id.
static const int kMessageBoxIcon = 1088;
static const int kMessageBoxText = 0xFFFF;

static bool Shows(HWND dialog, const ControlSign& sign) {
    for (HWND child : Children(dialog)) {
        if ((sign.id == 0 || GetDlgCtrlID(child) == sign.id) && ClassOf(child) == sign.className &&
            (sign.text == nullptr || TextOf(child) == sign.text))
            return true;
    }
    return false;
}

static bool IsMadeFrom(HWND window, const DialogSign& sign) {
    if (ClassOf(window) != L"#32770" || !IsWindowVisible(window))
        return false;
    for (const ControlSign& control : sign.has) {
        if (control.className != nullptr && !Shows(window, control))
            return false;
    }
    return true;
}

HWND FindDialog(DWORD processId, int id) {
    for (const DialogSign& sign : dialogSigns) {
        if (sign.id != id)
            continue;
        for (HWND window : TopLevelWindows(processId)) {
            if (IsMadeFrom(window, sign))
                return window;
            for (HWND page : Children(window)) {
                if (IsMadeFrom(page, sign))
                    return page;
            }
        }
    }
    return nullptr;
}

HWND FindMessageBox(DWORD processId, std::wstring* text) {
    for (HWND window : TopLevelWindows(processId)) {
        if (ClassOf(window) != L"#32770" || !GetDlgItem(window, kMessageBoxIcon))
            continue;
        for (HWND child : Children(window)) {
            if ((GetDlgCtrlID(child) & 0xFFFF) == kMessageBoxText) {
                *text = TextOf(child);
                return window;
            }
        }
    }
    return nullptr;
}

HWND FindCaption(DWORD processId, const std::wstring& caption) {
    for (HWND window : TopLevelWindows(processId)) {
        if (TextOf(window) == caption)
            return window;
    }
    return nullptr;
}

} // namespace drive
