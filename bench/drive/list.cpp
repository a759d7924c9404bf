#include "drive/list.h"
#include "drive/wait.h"
#include <commctrl.h>

namespace drive {

static const int kTextLimit = 1024; // characters of a cell, terminator included

// A piece of memory in the process that owns a window. Freed with the object.
class RemoteMemory {
  public:
    RemoteMemory(HWND window, SIZE_T size) {
        DWORD id = 0;
        GetWindowThreadProcessId(window, &id);
        process_ =
            OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, id);
        if (process_ != nullptr)
            memory_ = static_cast<char*>(
                VirtualAllocEx(process_, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    }
    ~RemoteMemory() {
        if (memory_ != nullptr)
            VirtualFreeEx(process_, memory_, 0, MEM_RELEASE);
        if (process_ != nullptr)
            CloseHandle(process_);
    }
    RemoteMemory(const RemoteMemory&) = delete;
    RemoteMemory& operator=(const RemoteMemory&) = delete;

    char* At(SIZE_T offset) const {
        return memory_ + offset;
    }
    template <typename T> bool Put(const T& value) {
        return memory_ && WriteProcessMemory(process_, memory_, &value, sizeof(value), nullptr);
    }
    template <typename T> bool Get(T* value) {
        return memory_ && ReadProcessMemory(process_, memory_, value, sizeof(*value), nullptr);
    }
    std::wstring GetText(SIZE_T offset) {
        wchar_t text[kTextLimit] = L"";
        if (memory_ == nullptr ||
            !ReadProcessMemory(process_, memory_ + offset, text, sizeof(text), nullptr))
            return L"";
        text[kTextLimit - 1] = 0;
        return text;
    }

  private:
    HANDLE process_ = nullptr;
    char* memory_ = nullptr;
};

static LRESULT Ask(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
    DWORD_PTR result = 0;
    SendMessageTimeoutW(window, message, wParam, lParam, SMTO_NORMAL, kHangGuard, &result);
    return static_cast<LRESULT>(result);
}

static LRESULT AskAt(HWND window, UINT message, WPARAM wParam, const RemoteMemory& memory) {
    return Ask(window, message, wParam, reinterpret_cast<LPARAM>(memory.At(0)));
}

static const SIZE_T kTextOffset = 256; // behind the structure
static const SIZE_T kTextBlock = kTextOffset + kTextLimit * sizeof(wchar_t);

static std::wstring CellText(HWND list, int row, int column) {
    RemoteMemory memory(list, kTextBlock);
    LVITEMW item = {};
    item.iSubItem = column;
    item.pszText = reinterpret_cast<wchar_t*>(memory.At(kTextOffset));
    item.cchTextMax = kTextLimit;
    if (!memory.Put(item))
        return L"";
    AskAt(list, LVM_GETITEMTEXTW, row, memory);
    // A list view may answer with a pointer of its own instead of filling the buffer.
    if (!memory.Get(&item))
        return L"";
    return memory.GetText(reinterpret_cast<char*>(item.pszText) - memory.At(0));
}

static int ColumnCount(HWND list) {
    HWND header = reinterpret_cast<HWND>(Ask(list, LVM_GETHEADER));
    return header != nullptr ? static_cast<int>(Ask(header, HDM_GETITEMCOUNT)) : 0;
}

std::vector<std::wstring> ListColumns(HWND list) {
    RemoteMemory memory(list, kTextBlock);
    std::vector<std::wstring> captions;
    const int count = ColumnCount(list);
    for (int i = 0; i < count; i++) {
        LVCOLUMNW column = {};
        column.mask = LVCF_TEXT;
        column.pszText = reinterpret_cast<wchar_t*>(memory.At(kTextOffset));
        column.cchTextMax = kTextLimit;
        if (!memory.Put(column) || !AskAt(list, LVM_GETCOLUMNW, i, memory))
            break;
        captions.push_back(memory.GetText(kTextOffset));
    }
    return captions;
}

static int StateImage(HWND list, int row) {
    return static_cast<int>(Ask(list, LVM_GETITEMSTATE, row, LVIS_STATEIMAGEMASK) >> 12);
}

std::vector<ListRow> ListRows(HWND list) {
    std::vector<ListRow> rows(ListRowCount(list));
    const int columns = ColumnCount(list);
    for (size_t i = 0; i < rows.size(); i++) {
        const int image = StateImage(list, static_cast<int>(i));
        rows[i].hasBox = image != 0;
        rows[i].ticked = image == 2;
        for (int column = 0; column < columns; column++)
            rows[i].texts.push_back(CellText(list, static_cast<int>(i), column));
    }
    return rows;
}

int ListRowCount(HWND list) {
    return static_cast<int>(Ask(list, LVM_GETITEMCOUNT));
}

bool ListRowTicked(HWND list, int row) {
    return StateImage(list, row) == 2;
}

int ListFocusedRow(HWND list) {
    return static_cast<int>(Ask(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_FOCUSED));
}

bool ListRowPoint(HWND list, int row, bool onBox, POINT* point) {
    RemoteMemory memory(list, sizeof(RECT) + sizeof(LVHITTESTINFO));
    Ask(list, LVM_ENSUREVISIBLE, row, FALSE);
    RECT bounds = {};
    bounds.left = LVIR_BOUNDS;
    if (!memory.Put(bounds) || !AskAt(list, LVM_GETITEMRECT, row, memory) || !memory.Get(&bounds))
        return false;
    const UINT wanted = onBox ? LVHT_ONITEMSTATEICON : LVHT_ONITEMLABEL;
    LONG first = -1, last = -1;
    for (LONG x = bounds.left; x < bounds.right; x++) {
        LVHITTESTINFO hit = {};
        hit.pt = {x, (bounds.top + bounds.bottom) / 2};
        if (!memory.Put(hit) || AskAt(list, LVM_HITTEST, 0, memory) != row || !memory.Get(&hit)) {
            if (first >= 0)
                break;
            continue;
        }
        if ((hit.flags & LVHT_ONITEM) == wanted) {
            first = first < 0 ? x : first;
            last = x;
        } else if (first >= 0) {
            break;
        }
    }
    if (first < 0)
        return false;
    *point = {(first + last) / 2, (bounds.top + bounds.bottom) / 2};
    return true;
}

std::vector<std::wstring> TabCaptions(HWND tabs, int* current) {
    RemoteMemory memory(tabs, kTextBlock);
    std::vector<std::wstring> captions;
    const int count = static_cast<int>(Ask(tabs, TCM_GETITEMCOUNT));
    for (int i = 0; i < count; i++) {
        TCITEMW item = {};
        item.mask = TCIF_TEXT;
        item.pszText = reinterpret_cast<wchar_t*>(memory.At(kTextOffset));
        item.cchTextMax = kTextLimit;
        if (!memory.Put(item) || !AskAt(tabs, TCM_GETITEMW, i, memory))
            break;
        captions.push_back(memory.GetText(kTextOffset));
    }
    if (current != nullptr)
        *current = static_cast<int>(Ask(tabs, TCM_GETCURSEL));
    return captions;
}

bool TabPoint(HWND tabs, int index, POINT* point) {
    RemoteMemory memory(tabs, sizeof(RECT));
    RECT rect = {};
    if (!memory.Put(rect) || !AskAt(tabs, TCM_GETITEMRECT, index, memory) || !memory.Get(&rect))
        return false;
    *point = {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2};
    return true;
}

} // namespace drive
