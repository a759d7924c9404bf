// The page, the team jobs and the VLAN page all ask the same question of a list view.
#include "inventory/checked_items.h"

#include "inventory/trace.h"

#include <commctrl.h>

constexpr UINT STATE_IMAGE_UNTICKED = 1;
constexpr UINT STATE_IMAGE_TICKED = 2;

static int ItemCount(HWND list) {
    return static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
}

BOOL IsItemChecked(HWND list, int item) {
    UINT state = static_cast<UINT>(SendMessageW(list, LVM_GETITEMSTATE, item, LVIS_STATEIMAGEMASK));
    return (state & LVIS_STATEIMAGEMASK) != INDEXTOSTATEIMAGEMASK(STATE_IMAGE_UNTICKED);
}

int GetCheckedItems(HWND list, int max, LONG* indices) {
    int stored = 0;
    int count = ItemCount(list);

    Trace(L"-->GetCheckedItems:\n");
    for (int item = 0; item < count && stored < max; item++) {
        if (IsItemChecked(list, item))
            indices[stored++] = item;
    }
    Trace(L"<--GetCheckedItems: %d\n", stored);
    return stored;
}

int CountCheckedItems(HWND list) {
    int checked = 0;
    int count = ItemCount(list);

    Trace(L"-->CountCheckedItems:\n");
    for (int item = 0; item < count; item++) {
        if (IsItemChecked(list, item))
            checked++;
    }
    Trace(L"<--CountCheckedItems: %d\n", checked);
    return checked;
}

void CheckItem(HWND list, int item, BOOL ticked) {
    LVITEMW state = {};

    Trace(L"-->CheckItem: %d %d\n", item, ticked);
    state.stateMask = LVIS_STATEIMAGEMASK;
    state.state = INDEXTOSTATEIMAGEMASK(ticked ? STATE_IMAGE_TICKED : STATE_IMAGE_UNTICKED);
    SendMessageW(list, LVM_SETITEMSTATE, item, reinterpret_cast<LPARAM>(&state));
    Trace(L"<--CheckItem:\n");
}

void UncheckAllItems(HWND list) {
    int count = ItemCount(list);

    Trace(L"-->UncheckAllItems:\n");
    for (int item = 0; item < count; item++)
        CheckItem(list, item, FALSE);
    Trace(L"<--UncheckAllItems:\n");
}
