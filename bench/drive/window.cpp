#include "drive/window.h"
#include "drive/wait.h"
#include <cwctype>

namespace drive {

struct WindowSearch {
    DWORD processId;
    std::vector<HWND> found;
};

static BOOL CALLBACK CollectTopLevel(HWND window, LPARAM parameter) {
    auto search = reinterpret_cast<WindowSearch*>(parameter);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == search->processId && IsWindowVisible(window))
        search->found.push_back(window);
    return TRUE;
}

std::vector<HWND> TopLevelWindows(DWORD processId) {
    WindowSearch search = {processId, {}};
    EnumWindows(CollectTopLevel, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

std::vector<HWND> Children(HWND window) {
    std::vector<HWND> found;
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        found.push_back(child);
    return found;
}

std::wstring ClassOf(HWND window) {
    wchar_t name[256] = L"";
    GetClassNameW(window, name, ARRAYSIZE(name));
    return name;
}

static DWORD_PTR Ask(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
    DWORD_PTR result = 0;
    SendMessageTimeoutW(window, message, wParam, lParam, SMTO_NORMAL, kHangGuard, &result);
    return result;
}

std::wstring TextOf(HWND window) {
    const size_t length = Ask(window, WM_GETTEXTLENGTH);
    std::wstring text(length + 1, 0);
    const size_t copied = Ask(window, WM_GETTEXT, length + 1, reinterpret_cast<LPARAM>(&text[0]));
    text.resize(copied < length ? copied : length);
    return text;
}

std::wstring NameOf(HWND control) {
    const int id = GetDlgCtrlID(control);
    return id > 0 && id != 0xFFFF ? std::to_wstring(id) : ClassOf(control);
}

static HWND FindById(HWND dialog, int id) {
    if (HWND control = GetDlgItem(dialog, id))
        return control;
    HWND root = GetAncestor(dialog, GA_ROOT);
    return root != dialog ? GetDlgItem(root, id) : nullptr;
}

static HWND FindByClass(HWND dialog, const std::wstring& name) {
    const size_t colon = name.find(L':');
    int skip = colon == std::wstring::npos ? 0 : _wtoi(name.c_str() + colon + 1) - 1;
    for (HWND child : Children(dialog)) {
        if (_wcsicmp(ClassOf(child).c_str(), name.substr(0, colon).c_str()) == 0 && skip-- == 0)
            return child;
    }
    return nullptr;
}

HWND FindControl(HWND dialog, const std::wstring& name) {
    if (name.empty())
        return nullptr;
    return iswdigit(name[0]) ? FindById(dialog, _wtoi(name.c_str())) : FindByClass(dialog, name);
}

bool IsCheckBox(HWND control) {
    const LONG type = GetWindowLongW(control, GWL_STYLE) & BS_TYPEMASK;
    return ClassOf(control) == L"Button" && (type == BS_CHECKBOX || type == BS_AUTOCHECKBOX ||
                                             type == BS_3STATE || type == BS_AUTO3STATE);
}

bool IsTicked(HWND checkBox) {
    return Ask(checkBox, BM_GETCHECK) == BST_CHECKED;
}

std::vector<std::wstring> BoxEntries(HWND box, int* selected) {
    const bool combo = ClassOf(box) == L"ComboBox";
    const int count = static_cast<int>(Ask(box, combo ? CB_GETCOUNT : LB_GETCOUNT));
    std::vector<std::wstring> entries;
    for (int i = 0; i < count; i++) {
        const int length = static_cast<int>(Ask(box, combo ? CB_GETLBTEXTLEN : LB_GETTEXTLEN, i));
        std::wstring text(length < 0 ? 1 : length + 1, 0);
        Ask(box, combo ? CB_GETLBTEXT : LB_GETTEXT, i, reinterpret_cast<LPARAM>(&text[0]));
        text.resize(text.size() - 1);
        entries.push_back(text);
    }
    if (selected != nullptr)
        *selected = static_cast<int>(Ask(box, combo ? CB_GETCURSEL : LB_GETCURSEL));
    return entries;
}

HWND FocusOf(HWND window) {
    GUITHREADINFO info = {};
    info.cbSize = sizeof(info);
    const DWORD thread = GetWindowThreadProcessId(window, nullptr);
    return thread != 0 && GetGUIThreadInfo(thread, &info) ? info.hwndFocus : nullptr;
}

} // namespace drive
