// The records that every room shares, and how a window gives its state record back. All records are
// fixed in size and start zero-filled.
#pragma once

#include "include/names.h"

// The VLANs of one host; row i of the three arrays describes one VLAN.
struct VlanList {
    WORD vlanIds[MAX_VLANS]; // 0 = untagged
    WCHAR vlanNames[MAX_VLANS][NAME_CCH];
    GUID vlanGuids[MAX_VLANS]; // NetCfgInstanceId of each VLAN adapter
    WORD numVlans;
};

// One adapter; its row in a table is its item index in the list view that shows the table.
struct AdapterEntry {
    GUID guid; // NetCfgInstanceId
    WCHAR name[NAME_CCH];
    VlanList vlans;
};

// One team slot of the team table.
struct TeamEntry {
    DWORD inUse;
    LONG numNics; // 0..MAX_TEAM_NICS
    GUID teamGuid;
    GUID nicGuids[MAX_TEAM_NICS];
    WCHAR nicNames[MAX_TEAM_NICS][MEMBER_NAME_CCH];
    DWORD order[MAX_TEAM_NICS]; // preference order of the member at the same index
    DWORD TeamMode;             // bits 8..11 of TeamNumber
    DWORD TeamNumber;           // as last read from a member's record
};

// The state of one run, allocated by WinMain; every page and dialog keeps a pointer to it (ppd) in
// DWLP_USER.
struct SheetData {
    TeamEntry teams[MAX_TEAMS];
    HWND hWaitDlg;
    DWORD createPending;
    DWORD removePending;
};

// The state record behind a page or dialog, or NULL before its WM_INITDIALOG and after its
// WM_DESTROY.
static inline SheetData* GetSheetData(HWND hDlg) {
    return reinterpret_cast<SheetData*>(GetWindowLongPtrW(hDlg, DWLP_USER));
}

// The same for the VLAN page and the dialogs that it opens: the VLANs of the page's host.
static inline VlanList* GetVlanList(HWND hDlg) {
    return reinterpret_cast<VlanList*>(GetWindowLongPtrW(hDlg, DWLP_USER));
}
