// Enumeration fills these rows, and every room above addresses adapters by row number.
#include "inventory/tables.h"

AdapterEntry g_nics[MAX_NIC_ROWS];
AdapterDetails g_nicDetails[MAX_NIC_ROWS];
AdapterEntry g_teamAdapters[MAX_TEAM_ROWS];
AdapterDetails g_teamAdapterDetails[MAX_TEAM_ROWS];

LONG g_numTeams;
LONG g_nicSelected;
LONG g_teamSelected;
LONG selectedNics[MAX_TEAM_NICS];
LONG selectedTeams[MAX_TEAMS];

HINSTANCE hInstance;
UINT uTermTrayMsg;

SelectedAdapter GetSelectedAdapter(void) {
    if (g_nicSelected >= 0 && g_nicSelected < MAX_NIC_ROWS)
        return {&g_nics[g_nicSelected], &g_nicDetails[g_nicSelected], FALSE};
    if (g_teamSelected >= 0 && g_teamSelected < MAX_TEAM_ROWS)
        return {&g_teamAdapters[g_teamSelected], &g_teamAdapterDetails[g_teamSelected], TRUE};
    return {NULL, NULL, FALSE};
}
