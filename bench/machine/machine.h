// The simulated machine: its description, and the ways to make it stand, fall and tell about
// itself.
//
// A description comes from a machine file (bench/machines/README.md) or is put together in code;
// the usual way in a test is to load a file and change a few fields. Everything is registry and
// files of the Wine prefix in use, so a machine outlives the process that built it.
#pragma once

#include "component_sets.h"
#include "model.h"

#include <windows.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

struct MachineValue {
    std::wstring name;
    DWORD type = REG_NONE;
    std::vector<BYTE> data; // exactly the bytes that are stored

    // Terminated text; text of exactly the given size in bytes, zero-filled or cut; a number.
    static MachineValue Text(const std::wstring& name, const std::wstring& text);
    static MachineValue SizedText(const std::wstring& name, const std::wstring& text, size_t bytes);
    static MachineValue MultiText(const std::wstring& name, const std::vector<std::wstring>& texts);
    static MachineValue Number(const std::wstring& name, DWORD number);
};

// A driver's answer to one OID: bytes, or the status to refuse with, an NTSTATUS or one of NDIS's.
struct OidAnswer {
    bool refused = false;
    DWORD status = 0;
    std::vector<BYTE> bytes;
    ULONGLONG step = 0; // by which an answer of 8 bytes advances each time it is given
};
using OidAnswers = std::map<DWORD, OidAnswer>;

// Which offload answers a driver gives: the NDIS 5 task list, or an NDIS_OFFLOAD record of the revision
// that belongs to the NDIS version.
enum class Ndis { v5, v6_0, v6_1, v6_30, v6_50, v6_70, v6_83 };

// The NDIS version of a Windows version ("6.1").
Ndis NdisOfWindows(const std::wstring& windows);

// What a healthy 10 Gbit/s adapter answers: addresses, link, frame size, offload records or task list,
// statistics. The number tells adapters apart: it is the last byte of the address and part of every
// counter.
OidAnswers StandardAnswers(unsigned number, Ndis ndis = Ndis::v6_0);

// What an adapter with a host interface answers of its own: only what the host's kernel has no word
// for.
OidAnswers HostPortAnswers(Ndis ndis = Ndis::v6_0);

struct MachineAdapter {
    std::wstring name; // how teams and VLANs of the same machine refer to it
    std::wstring instance;
    std::vector<std::wstring> hardwareIds; // empty: the instance id without its last part
    std::wstring guid;                     // empty: no NetCfgInstanceId
    std::optional<std::wstring> description;
    std::optional<std::wstring> friendlyName;
    std::optional<std::wstring> provider;
    std::wstring service = L"qvnic";
    DWORD installState = 0;
    std::optional<DWORD> characteristics = 0x84;
    DWORD flags = 0;    // further DI_ flags
    DWORD disabled = 0; // bit 0 globally, bit 1 in the current hardware profile
    bool opens = true;
    bool present = true;  // false: its records stand, the device is gone
    bool phantom = false; // registered, with everything that belongs to a device, but not present
    bool stops = true;    // false: it cannot be stopped or removed before the machine restarts
    bool driverKey = true;
    std::wstring ipAddress;                 // empty: none
    std::optional<DWORD> answersLeft;       // after so many replies the device has been removed
    std::optional<std::wstring> upperRange; // none: that of the adapter's kind
    std::optional<std::wstring> lowerRange;
    std::vector<std::wstring> unbound; // ids of components that the administrator has switched off
    bool switched = false;             // the adapter is the port of a Hyper-V switch
    std::wstring hostInterface;        // of the computer below, which answers the rest; empty: none
    std::vector<MachineValue> values;  // of the driver key
    OidAnswers answers;
    std::optional<DWORD> unknownOid; // status that refuses any other OID; none: not supported
    bool needsHeaderSize = false; // the task list is refused for an encapsulation header size of 0
};

// An existing team, with the records that the program leaves.
struct MachineTeam {
    std::wstring name; // section's name
    std::wstring teamName;
    DWORD slot = 0;
    DWORD mode = 1;
    std::wstring guid;
    std::vector<std::wstring> members; // names of adapters
    std::vector<DWORD> order;          // empty: 0, 1, 2 ...
    std::wstring address;              // empty: not published yet, so the members have none either
    std::wstring instance;             // empty: the next free ROOT\NET\nnnn
    bool opens = true;
    bool phantom = false;
    bool stops = true; // as for an adapter
    OidAnswers answers;
};

struct MachineVlan {
    std::wstring name; // section's name
    std::wstring host; // name of an adapter or of a team
    DWORD id = 0;
    std::optional<std::wstring> vlanName;
    std::wstring guid;
    std::wstring address;
    std::wstring instance;
    bool opens = true;
    bool phantom = false;
    bool stops = true; // as for an adapter
    OidAnswers answers;
};

struct MachineInf {
    std::wstring installedAs; // name in %windir%\inf
    std::string content;
};

// A key under HKEY_LOCAL_MACHINE.
struct MachineKey {
    std::wstring path;
    std::vector<MachineValue> values;
};

struct Machine {
    std::wstring windows = L"10.0";
    std::wstring product; // "server" or "workstation"; empty: 5.2 is a server, others are not
    bool administrator = true;
    std::vector<std::wstring> newDev; // entry points of newdev.dll
    std::wstring teamAddress = L"at once";
    std::wstring teamAddressText = L"02515600AA00";
    bool teamStops = true; // virtual adapters that the program makes can be stopped and removed
    DWORD nextVirtual = 1;
    DWORD teamFlags = 0;                 // DI_ flags of every new virtual adapter
    DWORD hardwareProfiles = 1;          // the first is the current one
    std::wstring lockHolder;             // empty: nobody holds the network configuration
    DWORD lockSeconds = 0;               // INFINITE: for good
    bool untranslatedErrors = false;     // programs get NDIS's statuses, not the NTSTATUS for each
    std::vector<std::wstring> processes; // for whoever runs the machine; MachineBuild starts none
    // In the order of the system's list: "refused:NAME", "session:NAME", and "*" for the real ones.
    std::vector<std::wstring> processList = {L"refused:csrss.exe", L"*", L"refused:csrss.exe"};
    bool protocolInstalled = true;
    std::wstring componentSet = L"default"; // of component_sets.h, or none
    bool installNeedsLock = false; // installing an adapter fails while the configuration is locked
    std::vector<NetCfgComponent> components; // beside or instead of the default ones of the same id
    std::vector<MachineInf> infs;
    std::vector<MachineAdapter> adapters;
    std::vector<MachineTeam> teams;
    std::vector<MachineVlan> vlans;
    std::vector<MachineKey> registry;

    // Null when there is none of that name.
    MachineAdapter* FindAdapter(const std::wstring& name);
    const MachineAdapter* FindAdapter(const std::wstring& name) const;
    MachineTeam* FindTeam(const std::wstring& name);
    const MachineTeam* FindTeam(const std::wstring& name) const;
};

// Reads a machine file. INFs are read on the way. A bare name, with or without .txt, is looked for
// among the machines that are shipped (folder "machines" beside the bench's programs). False:
// *error says where and what, *machine is untouched.
bool MachineLoad(const std::wstring& path, Machine* machine, std::wstring* error);

// The same from text; source is the name that errors begin with.
bool MachineParse(const std::string& text, const std::wstring& source, Machine* machine,
                  std::wstring* error);

// Takes down whatever machine stands and builds this one; the driver runs afterwards. False: *error
// says what failed and a part of the machine may stand.
bool MachineBuild(const Machine& machine, std::wstring* error);

// Changes what an adapter, a team or a VLAN of the machine that stands answers, under the programs that
// run on it. The adapter goes by its section's name or by its GUID; key and value are those of a line
// in its section: "oid NUMBER", "counter NUMBER", "opens" or "answers-left". False: *error says why.
bool MachineChange(const std::wstring& adapter, const std::string& key, const std::string& value,
                   std::wstring* error);

// Does what a restart of the machine does: keys that are volatile are gone, removals and state changes
// that waited for it have taken effect, the network configuration is held by nobody, and every device
// that is present and enabled has started, so that its driver has read its key. The bench clock stands
// still meanwhile. No program may run. False: *error says why.
bool MachineRestart(std::wstring* error);

// Takes the machine down: network devices, teaming records, INFs, the bench's own data, and
// everything that a program running on the machine has left in these places. The driver's service
// stays, without devices.
void MachineReset();

// The machine as it is now: UTF-8, one fact a line, "path = value", sorted. Two dumps of equal
// machines are equal.
std::string MachineDump();
