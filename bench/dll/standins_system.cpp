// Stand-ins of what the machine's data decide: the Windows version, who the user is, how time
// passes and where the system lives. Rules: each routine's page in the Windows documentation.
#include "standins.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string>

#include "attach.h"
#include "bench.h"
#include "clock.h"
#include "data.h"
#include "journal.h"
#include "last_error.h"
#include "lock.h"

namespace bench {

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
std::wstring& g_systemDirectory = *new std::wstring;
std::wstring& g_windowsDirectory = *new std::wstring;

struct Release {
    Version version;
    DWORD build;
    WORD servicePack;
    DWORD serverBuild; // where a server has another one
};
// 5.1 is an artificial answer: Windows XP for 64-bit processors reports 5.2 as a workstation, so no
// 64-bit program ever sees 5.1 ("OSVERSIONINFOEXW structure").
const Release kReleases[] = {
    {{5, 1}, 2600, 3, 2600},    {{5, 2}, 3790, 2, 3790}, {{6, 0}, 6002, 2, 6002},
    {{6, 1}, 7601, 1, 7601},    {{6, 2}, 9200, 0, 9200}, {{6, 3}, 9600, 0, 9600},
    {{10, 0}, 19045, 0, 20348},
};

Release ReleaseOf(Version version) {
    for (const Release& release : kReleases)
        if (release.version.major == version.major && release.version.minor == version.minor)
            return release;
    return {version, 9999, 0, 9999};
}

bool IsLater(Version one, Version other) {
    return one.major != other.major ? one.major > other.major : one.minor > other.minor;
}

// "GetVersionExW function", "Targeting your application for Windows": from 8.1 on a program is told the
// latest release, up to the machine's, that its manifest names as supported, and 6.2 when it names none
// of them. On Windows the executable's manifest counts; here that of any attached module.
Version ToldVersion(Version version) {
    const Version eight = {6, 2};
    const Version eightOne = {6, 3};
    if (!IsLater(version, eight))
        return version;
    if (IsLater(version, eightOne) && ManifestNames("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"))
        return version;
    return ManifestNames("{1f676c76-80e1-4239-95bb-83d0f6d0da78}") ? eightOne : eight;
}

bool IsAdministratorsAlias(PSID sid) {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    return IsValidSid(sid) && *GetSidSubAuthorityCount(sid) == 2 &&
           memcmp(GetSidIdentifierAuthority(sid), &authority, sizeof(authority)) == 0 &&
           *GetSidSubAuthority(sid, 0) == SECURITY_BUILTIN_DOMAIN_RID &&
           *GetSidSubAuthority(sid, 1) == DOMAIN_ALIAS_RID_ADMINS;
}

// 0: there is no answer, ask the system.
UINT AnswerWith(const std::wstring& answers, LPWSTR buffer, UINT size) {
    Guard guard(&g_lock);
    if (answers.empty())
        return 0;
    UINT length = static_cast<UINT>(answers.size());
    if (!buffer || size <= length)
        return length + 1;
    wmemcpy(buffer, answers.c_str(), length + 1);
    return length;
}

} // namespace

bool SetDirectoryAnswer(const char* name, const wchar_t* text) {
    Guard guard(&g_lock);
    if (strcmp(name, "GetSystemDirectoryW") == 0)
        g_systemDirectory = text;
    else if (strcmp(name, "GetSystemWindowsDirectoryW") == 0)
        g_windowsDirectory = text;
    else
        return false;
    return true;
}

} // namespace bench

namespace standin {

using namespace bench;

// Only the Administrators alias is the machine's data.
BOOL WINAPI CheckTokenMembership(HANDLE token, PSID sid, PBOOL isMember) {
    if (!::CheckTokenMembership(token, sid, isMember))
        return FALSE;
    KeepLastError keep;
    if (IsAdministratorsAlias(sid))
        *isMember = IsAdministrator();
    return TRUE;
}

// Takes the plain record (276 bytes) and the extended one (284), nothing else.
BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW version) {
    if (version->dwOSVersionInfoSize != sizeof(OSVERSIONINFOW) &&
        version->dwOSVersionInfoSize != sizeof(OSVERSIONINFOEXW)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    KeepLastError keep;
    Release release = ReleaseOf(ToldVersion(WindowsVersion()));
    const bool server = IsServer();
    OSVERSIONINFOEXW full = {};
    full.dwOSVersionInfoSize = version->dwOSVersionInfoSize;
    full.dwMajorVersion = release.version.major;
    full.dwMinorVersion = release.version.minor;
    full.dwBuildNumber = server ? release.serverBuild : release.build;
    full.dwPlatformId = VER_PLATFORM_WIN32_NT;
    full.wServicePackMajor = release.servicePack;
    full.wProductType = server ? VER_NT_SERVER : VER_NT_WORKSTATION;
    if (release.servicePack)
        lstrcpynW(full.szCSDVersion, Format(L"Service Pack %u", release.servicePack).c_str(),
                  ARRAYSIZE(full.szCSDVersion));
    memcpy(version, &full, full.dwOSVersionInfoSize);
    return TRUE;
}

// Time passes on the bench clock only; whoever waits for good waits really.
void WINAPI Sleep(DWORD milliseconds) {
    if (milliseconds == 0 || milliseconds == INFINITE) {
        ::Sleep(milliseconds);
        return;
    }
    KeepLastError keep;
    Journal(L"sleep", std::to_wstring(milliseconds));
    Advance(milliseconds);
}

// An empty text takes the current directory out of the search for libraries. Wine takes it for no
// directory at all; one that is searched anyway has the same effect.
BOOL WINAPI SetDllDirectoryW(LPCWSTR path) {
    wchar_t system[MAX_PATH];
    if (path && !*path && ::GetSystemDirectoryW(system, ARRAYSIZE(system)) != 0)
        path = system;
    return ::SetDllDirectoryW(path);
}

UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT size) {
    UINT length = AnswerWith(g_systemDirectory, buffer, size);
    return length ? length : ::GetSystemDirectoryW(buffer, size);
}

UINT WINAPI GetSystemWindowsDirectoryW(LPWSTR buffer, UINT size) {
    UINT length = AnswerWith(g_windowsDirectory, buffer, size);
    return length ? length : ::GetSystemWindowsDirectoryW(buffer, size);
}

} // namespace standin
