// Windows renames an INF to oem<n>.inf when it takes it in, so the maker's files are known
// only by what they say.
#include "device/inf_search.h"

#include "device/inf_path.h"
#include "include/names.h"
#include "inventory/trace.h"

#include <setupapi.h>
#include <strsafe.h>

constexpr DWORD FIELD_CCH = 260;

// Failures of FindNextFileW in a row, other than the end of the files, before the search gives up.
constexpr int MAX_FIND_FAILURES = 16;

struct InfSignature {
    LPCWSTR className;
    LPCWSTR section;
    LPCWSTR key;
    DWORD cchField; // with its terminator; a field that does not fit is no match
    LPCWSTR value;  // exact
};

static const InfSignature miniportSignature = {L"Net", L"ControlFlags", L"ExcludeFromSelect", 20,
                                               MINIPORT_HARDWARE_ID};
static const InfSignature protocolSignature = {L"NetTrans", L"Version", L"Provider", FIELD_CCH,
                                               MAKER_INF_PROVIDER};

static BOOL InfMatches(LPCWSTR fileName, const InfSignature* signature) {
    INFCONTEXT line;
    WCHAR szField[FIELD_CCH] = {};

    Trace(L"-->InfMatches: %s\n", fileName);
    // By its bare name, so that the system INF directory is searched.
    HINF inf = SetupOpenInfFileW(fileName, signature->className, INF_STYLE_WIN4, NULL);
    if (inf == INVALID_HANDLE_VALUE) {
        Trace(L"<--InfMatches: not opened 0x%x\n", GetLastError());
        return FALSE;
    }
    BOOL matches = SetupFindFirstLineW(inf, signature->section, signature->key, &line) &&
                   SetupGetStringFieldW(&line, 1, szField, signature->cchField, NULL) &&
                   lstrcmpW(szField, signature->value) == 0;
    SetupCloseInfFile(inf);
    Trace(L"<--InfMatches: %d\n", matches);
    return matches;
}

static BOOL FindNextInf(HANDLE search, WIN32_FIND_DATAW* file) {
    for (int failures = 0; failures < MAX_FIND_FAILURES; failures++) {
        if (FindNextFileW(search, file))
            return TRUE;
        if (GetLastError() == ERROR_NO_MORE_FILES)
            return FALSE;
        Trace(L"   FindNextInf: FindNextFile failed %d\n", GetLastError());
    }
    return FALSE;
}

static int FindInf(const InfSignature* signature, LPWSTR infPath) {
    WCHAR szDirectory[PATH_CCH] = {};
    WCHAR szPath[PATH_CCH];
    WIN32_FIND_DATAW file;
    int found = 0;

    Trace(L"-->FindInf: %s\n", signature->value);
    UINT cchDirectory = GetSystemWindowsDirectoryW(szDirectory, ARRAYSIZE(szDirectory));
    if (cchDirectory == 0 || cchDirectory > ARRAYSIZE(szDirectory) ||
        !FormInfPath(szPath, ARRAYSIZE(szPath), szDirectory, L"oem*.inf")) {
        Trace(L"<--FindInf: no search path\n");
        return 0;
    }

    HANDLE search = FindFirstFileW(szPath, &file);
    if (search == INVALID_HANDLE_VALUE) {
        Trace(L"<--FindInf: no OEM INF file %d\n", GetLastError());
        return 0;
    }
    do {
        if (InfMatches(file.cFileName, signature)) {
            if (FormInfPath(szPath, ARRAYSIZE(szPath), szDirectory, file.cFileName)) {
                StringCchCopyW(infPath, PATH_CCH, szPath);
                found = 1;
            }
            break;
        }
    } while (FindNextInf(search, &file));
    FindClose(search);
    Trace(L"<--FindInf: %d\n", found);
    return found;
}

int GetMiniportInf(HWND hwnd, LPWSTR infPath) {
    (void)hwnd;
    Trace(L"-->GetMiniportInf:\n");
    int found = FindInf(&miniportSignature, infPath);
    Trace(L"<--GetMiniportInf: %d\n", found);
    return found;
}

int GetProtocolInf(HWND hwnd, LPWSTR infPath) {
    (void)hwnd;
    Trace(L"-->GetProtocolInf:\n");
    int found = FindInf(&protocolSignature, infPath);
    Trace(L"<--GetProtocolInf: %d\n", found);
    return found;
}
