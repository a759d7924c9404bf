// Walks the machine's network adapters into the two adapter tables and their list views, or acts on
// one of them.
#pragma once

#include <windows.h>

enum PopulateMode {
    POPULATE_LISTS = 0,       // fill both tables and list views; pGuid is not used
    POPULATE_REMOVE_TEAM = 1, // remove the team adapter *pGuid and its "Connection" key
    POPULATE_SHOW_NIC = 3,    // show the physical adapter *pGuid again and restart it
};

// Returns 1 when the devices could be walked, also when none matched; 0 when hDlg has no state
// record or the device list cannot be opened. Devices that cannot be read are left out.
int PopulateGuids(HWND hDlg, int mode, const GUID* pGuid);
