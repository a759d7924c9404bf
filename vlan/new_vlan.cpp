// What an administrator may type is decided apart from the dialog that asks.
#include "vlan/new_vlan.h"

#include <stdlib.h>
#include <strsafe.h>
#include <wctype.h>

DWORD ParseVlanId(LPCWSTR text) {
    wchar_t* end = NULL;

    long id = wcstol(text, &end, 10);
    return end == text ? NO_VLAN_ID : static_cast<DWORD>(id);
}

static VlanVerdict JudgeAgainst(const VlanList* list, DWORD id, LPCWSTR name) {
    for (int row = 0; row < list->numVlans; row++) {
        if (list->vlanIds[row] == id)
            return VLAN_ID_IN_USE;
        if (_wcsicmp(list->vlanNames[row], name) == 0)
            return VLAN_NAME_IN_USE;
    }
    return VLAN_ACCEPTED;
}

VlanVerdict JudgeVlan(const VlanList* list, DWORD id, LPCWSTR name, BOOL untagged) {
    VlanVerdict verdict = JudgeAgainst(list, id, name);

    if (verdict != VLAN_ACCEPTED)
        return verdict;
    if (id > MAX_VLAN_ID || (id == 0 && !untagged))
        return VLAN_ID_OUT_OF_RANGE;
    if (iswspace(name[0]))
        return VLAN_NAME_BLANK;
    return list->numVlans < MAX_VLANS ? VLAN_ACCEPTED : VLAN_LIST_FULL;
}

BOOL CanAddUntaggedVlan(const VlanList* list) {
    for (int row = 0; row < list->numVlans; row++) {
        if (list->vlanIds[row] == 0)
            return FALSE;
    }
    return list->numVlans != 0;
}

void AppendVlanRow(VlanList* list, DWORD id, LPCWSTR name) {
    WORD row = list->numVlans;

    list->vlanIds[row] = LOWORD(id);
    StringCchCopyW(list->vlanNames[row], NAME_CCH, name);
    list->numVlans++;
}

void DropVlanRow(VlanList* list, int row) {
    list->numVlans--;
    for (; row < list->numVlans; row++) {
        list->vlanIds[row] = list->vlanIds[row + 1];
        StringCchCopyW(list->vlanNames[row], NAME_CCH, list->vlanNames[row + 1]);
    }
}
