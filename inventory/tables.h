// The program-wide tables and selection of one run. A row of an adapter table is the item index of
// that adapter in its list view; the tables are rebuilt in place by every enumeration.
#pragma once

#include "include/records.h"

// What stands beside an AdapterEntry in the same row.
struct AdapterDetails {
    WCHAR service[NAME_CCH];
    DWORD installState; // SPDRP_INSTALL_STATE
    WCHAR driverDate[NAME_CCH];
    WCHAR driverVersion[NAME_CCH];
};

// Unassigned adapters: physical and in no team (list "Unassigned Adapters").
extern AdapterEntry g_nics[MAX_NIC_ROWS];
extern AdapterDetails g_nicDetails[MAX_NIC_ROWS];

// Team adapters: virtual, of the maker and no VLAN (list "Teamed Adapters").
extern AdapterEntry g_teamAdapters[MAX_TEAM_ROWS];
extern AdapterDetails g_teamAdapterDetails[MAX_TEAM_ROWS];

extern LONG g_numTeams;     // rows of SheetData.teams that are in use
extern LONG g_nicSelected;  // row of the unassigned adapter whose sheet is open, -1 for a team's
extern LONG g_teamSelected; // row of the team adapter whose sheet is open, -1 for another's
extern LONG selectedNics[MAX_TEAM_NICS]; // rows ticked when a team job began
extern LONG selectedTeams[MAX_TEAMS];

extern HINSTANCE hInstance;
extern UINT uTermTrayMsg; // asks the tray program to quit

// The adapter whose sheet is open.
struct SelectedAdapter {
    AdapterEntry* entry; // NULL when none is chosen
    const AdapterDetails* details;
    BOOL isTeam;
};

SelectedAdapter GetSelectedAdapter(void);
