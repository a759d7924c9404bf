// A team job or a VLAN change that would fail half-way for want of rights is refused before it
// starts.
#include "inventory/administrator.h"

#include "inventory/trace.h"

BOOL IsUserAdmin(void) {
    SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY};
    PSID administrators = NULL;
    BOOL isMember = FALSE;

    Trace(L"-->IsUserAdmin:\n");
    if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                  DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &administrators)) {
        Trace(L"<--IsUserAdmin: no SID %d\n", GetLastError());
        return FALSE;
    }
    if (!CheckTokenMembership(NULL, administrators, &isMember)) {
        Trace(L"   IsUserAdmin: CheckTokenMembership failed %d\n", GetLastError());
        isMember = FALSE;
    }
    FreeSid(administrators);
    Trace(L"<--IsUserAdmin: %d\n", isMember);
    return isMember;
}
