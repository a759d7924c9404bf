// Stand-in of SetupOpenInfFileW. Its rules are those of the page "SetupOpenInfFileW function".
#include "standins.h"

#include <objbase.h>
#include <string>

#include "last_error.h"

namespace bench {

namespace {

struct ClassName {
    const wchar_t* guid;
    const wchar_t* name;
};

// Page "System-Defined Device Setup Classes Available to Vendors". Wine has no key for some of them.
const ClassName kNetworkClasses[] = {
    {L"{4D36E972-E325-11CE-BFC1-08002BE10318}", L"Net"},
    {L"{4D36E973-E325-11CE-BFC1-08002BE10318}", L"NetClient"},
    {L"{4D36E974-E325-11CE-BFC1-08002BE10318}", L"NetService"},
    {L"{4D36E975-E325-11CE-BFC1-08002BE10318}", L"NetTrans"},
};

std::wstring VersionEntry(HINF inf, const wchar_t* key) {
    INFCONTEXT line;
    wchar_t text[64];
    if (!SetupFindFirstLineW(inf, L"Version", key, &line) ||
        !SetupGetStringFieldW(&line, 1, text, ARRAYSIZE(text), nullptr))
        return {};
    return text;
}

std::wstring NameOfClass(const std::wstring& guidText) {
    for (const ClassName& known : kNetworkClasses)
        if (lstrcmpiW(guidText.c_str(), known.guid) == 0)
            return known.name;
    GUID guid;
    wchar_t name[32];
    if (FAILED(CLSIDFromString(guidText.c_str(), &guid)) ||
        !SetupDiClassNameFromGuidW(&guid, name, ARRAYSIZE(name), nullptr))
        return {};
    return name;
}

// The name of the class that ClassGUID gives counts only when there is no Class entry.
bool HasClass(HINF inf, const wchar_t* infClass) {
    std::wstring name = VersionEntry(inf, L"Class");
    if (name.empty())
        name = NameOfClass(VersionEntry(inf, L"ClassGUID"));
    return !name.empty() && lstrcmpiW(name.c_str(), infClass) == 0;
}

// Page "INF Version Section": the signatures of the style INF_STYLE_WIN4.
bool IsWin4(HINF inf) {
    std::wstring signature = VersionEntry(inf, L"Signature");
    for (const wchar_t* win4 : {L"$Windows NT$", L"$Chicago$", L"$Windows 95$"})
        if (lstrcmpiW(signature.c_str(), win4) == 0)
            return true;
    return false;
}

DWORD ErrorOf(HINF inf, PCWSTR infClass, DWORD style) {
    // The error is unverified.
    if (!(style & INF_STYLE_WIN4) && IsWin4(inf))
        return ERROR_WRONG_INF_STYLE;
    if (infClass && !HasClass(inf, infClass))
        return ERROR_CLASS_MISMATCH;
    return ERROR_SUCCESS;
}

} // namespace

} // namespace bench

namespace standin {

using namespace bench;

// Wine looks for a bare name where Windows does, %windir%\inf and then the system directory, and
// reads INFs of both styles whatever style and class the caller names.
HINF WINAPI SetupOpenInfFileW(PCWSTR file, PCWSTR infClass, DWORD style, PUINT errorLine) {
    HINF inf = ::SetupOpenInfFileW(file, infClass, style, errorLine);
    if (inf == INVALID_HANDLE_VALUE)
        return inf;
    DWORD error = GetLastError();
    DWORD refusal = ErrorOf(inf, infClass, style);
    SetLastError(error);
    if (refusal == ERROR_SUCCESS)
        return inf;
    SetupCloseInfFile(inf);
    SetLastError(refusal);
    return INVALID_HANDLE_VALUE;
}

} // namespace standin
