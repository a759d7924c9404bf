// The list is the one thing that binds a VLAN to its host, and it is edited in place.
#include "vlan/vlan_binding.h"

#include "inventory/device_path.h"

size_t CopyOtherEntries(LPCWSTR list, LPCWSTR entry, LPWSTR kept) {
    size_t cchKept = 0;

    while (*list != L'\0') {
        size_t cchEntry = wcslen(list) + 1;
        if (_wcsicmp(list, entry) != 0) {
            CopyMemory(kept + cchKept, list, cchEntry * sizeof(WCHAR));
            cchKept += cchEntry;
        }
        list += cchEntry;
    }
    return cchKept;
}

LPCWSTR BindingGuidText(LPCWSTR entry) {
    LPCWSTR text = TextAfterLastBackslash(entry);
    return text != NULL && *text != L'\0' ? text : NULL;
}

LPCWSTR FindBinding(LPCWSTR list, LPCWSTR instanceId) {
    for (; *list != L'\0'; list += wcslen(list) + 1) {
        LPCWSTR text = BindingGuidText(list);
        if (text != NULL && wcsncmp(text, instanceId, wcslen(text)) == 0)
            return text;
    }
    return NULL;
}
