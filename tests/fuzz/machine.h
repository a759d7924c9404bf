// The made-up machine behind the platform's calls: what a fuzzer put into it is what the product
// reads. It keeps the calls' own rules about sizes, and counts what is opened and closed.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

// The C++ library's own wide strings are compiled for wider characters; these are not.
struct WideTraits : __gnu_cxx::char_traits<WCHAR> {};
using Name = std::basic_string<WCHAR, WideTraits>;

struct FuzzValue {
    DWORD type = REG_BINARY;
    std::vector<BYTE> bytes;
    bool changes = false; // after its size was asked for it holds `later`, or is gone
    bool vanishes = false;
    std::vector<BYTE> later;
};

struct FuzzKey {
    std::map<Name, FuzzValue> values;
    bool denied = false;
};

struct FuzzDevice {
    Name instanceId;
    DWORD idResult = 0;
    bool keyMissing = false;
    FuzzKey driverKey;
    std::map<DWORD, FuzzValue> properties;
};

// A driver's answer: so many bytes are written, as far as the buffer goes, and it says that there were
// `claimed` of them.
struct FuzzAnswer {
    LONG error = ERROR_SUCCESS;
    std::vector<BYTE> bytes;
    DWORD claimed = 0;
};

struct FuzzInfFile {
    Name fileName;
    bool opens = true;
    std::vector<Name> fields; // of the one line that is found
};

struct FuzzMachine {
    std::map<Name, FuzzKey> keys;  // by path under HKEY_LOCAL_MACHINE
    std::vector<Name> recordNames; // subkeys that an enumeration gives, existing or not
    std::vector<FuzzDevice> devices;
    std::map<DWORD, FuzzAnswer> answers; // by OID; any other is not supported
    bool driverOpens = true;
    std::vector<FuzzInfFile> infs;
    int findFailures = 0; // before each next file
    Name windowsDirectory;
    UINT windowsDirectoryResult = 0; // unless 0, what the call gives whatever was written
    OSVERSIONINFOW version = {};
    bool versionKnown = true;
    void* state = nullptr; // DWLP_USER of the page
    LRESULT listedNics = 0;
    LRESULT listedTeams = 0;

    int opened = 0;         // handles of any kind that are open now
    unsigned calls = 0;     // of anything that a loop could ask for again
    unsigned callLimit = 0; // more is a hang
};

// A clean machine for each input.
extern FuzzMachine g_machine;
void ResetMachine();

// Fails when something is still open.
void CheckAllClosed();

// The key that a GUID's record stands in.
FuzzKey& RecordKey(const Name& name);

HKEY OpenFuzzKey(FuzzKey* key);
