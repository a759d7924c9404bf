// Property sheets, with what defines them, put into the journal. The sheet itself is real.
#include "standins.h"

#include <string>

#include "calls.h"
#include "journal.h"
#include "last_error.h"

namespace bench {

namespace {

std::wstring ResourceName(LPCWSTR name) {
    if (IS_INTRESOURCE(name))
        return std::to_wstring(reinterpret_cast<ULONG_PTR>(name));
    return Quoted(name);
}

std::wstring PageText(const PROPSHEETPAGEW& page) {
    return Format(L" page %s flags=0x%08X callback=%s", ResourceName(page.pszTemplate).c_str(),
                  page.dwFlags, page.pfnCallback ? L"given" : L"null");
}

std::wstring SheetText(const PROPSHEETHEADERW& header) {
    std::wstring text =
        Format(L"flags=0x%08X parent=%s icon=%s start=%u pages=%u", header.dwFlags,
               header.hwndParent ? L"given" : L"none",
               header.dwFlags & PSH_USEICONID ? ResourceName(header.pszIcon).c_str() : L"none",
               header.nStartPage, header.nPages);
    if (!(header.dwFlags & PSH_PROPSHEETPAGE))
        return text;
    // The records follow each other at the distance that each one states.
    const BYTE* page = reinterpret_cast<const BYTE*>(header.ppsp);
    for (UINT i = 0; i < header.nPages; i++) {
        text += PageText(*reinterpret_cast<const PROPSHEETPAGEW*>(page));
        page += reinterpret_cast<const PROPSHEETPAGEW*>(page)->dwSize;
    }
    return text;
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

INT_PTR WINAPI PropertySheetW(LPCPROPSHEETHEADERW header) {
    DWORD error = GetLastError();
    Journal(L"sheet", SheetText(*header));
    SetLastError(error);
    return reinterpret_cast<decltype(&::PropertySheetW)>(OriginalOf("PropertySheetW"))(header);
}

} // namespace standin
