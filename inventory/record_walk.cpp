// Teams, their VLANs and their members are found by looking through the same records.
#include "inventory/record_walk.h"

#include "include/names.h"
#include "inventory/trace.h"

LONG WalkMemberRecords(RecordVisitor visit, void* context) {
    WCHAR szName[KEY_PATH_CCH];
    HKEY records;

    Trace(L"-->WalkMemberRecords:\n");
    LONG lResult =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, MEMBER_RECORDS_KEY, 0, KEY_ALL_ACCESS, &records);
    if (lResult != ERROR_SUCCESS) {
        Trace(L"<--WalkMemberRecords: no records %d\n", lResult);
        return lResult;
    }
    for (DWORD dwIndex = 0;
         RegEnumKeyW(records, dwIndex, szName, ARRAYSIZE(szName)) == ERROR_SUCCESS; dwIndex++) {
        if (!visit(records, szName, context))
            break;
    }
    RegCloseKey(records);
    Trace(L"<--WalkMemberRecords:\n");
    return ERROR_SUCCESS;
}
