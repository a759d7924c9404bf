#include "outcomes.h"

#include <sstream>

namespace {

#define CREATING "status Configuring Team. Please wait.."
#define REMOVING "status Removing Selected Team. Please wait.."
#define HELP                                                                                       \
    "status Select two NICs from 'Unassigned Adapters' list    choose a 'Teaming Mode', and "      \
    "click on 'Create  Team' button. Use 'Move Up'/'Move Down' button  to set preference order "   \
    "of an adapter within a team"

constexpr unsigned kMember = kAddress | kName | kHidden | kState | kRows;
constexpr unsigned kLeftVirtual = kVirtualDevice | kConnection | kService | kBindings;
constexpr unsigned kPage = kRows | kButtons;

const OutcomeRule kOutcomes[] = {
    // Team creation. What ends it before the members are touched leaves nothing.
    {"create-* install-*", "done", {CREATING, "status Team Created.", HELP}, true, 0},
    // The team counts although its members lack the address, and with it names and hiding.
    {"create-* install-*",
     "not-updated",
     {CREATING, "status Could not updateTeam", "status Team Created.", HELP},
     true,
     kMember | kVirtualValues},
    {"create-* install-*",
     "not-administrator",
     {CREATING, "status User should have Admin privilege to be     able to create a team. Please  "
                "login as Admin    and try again  "},
     false,
     0},
    {"create-* install-*",
     "no-inf",
     {CREATING, "status Could not find driver files. Install       Quovane Teaming driver and try "
                "to configure the  Team again.  "},
     false,
     0},
    {"create-* install-*",
     "foreign",
     {CREATING, "status The Nics selected is not from Quovane  Please select Quovane Nics to team"},
     false,
     0},
    {"create-* install-*",
     "name-invalid",
     {CREATING, "status Team name not valid. Try another name                "},
     false,
     0},
    {"create-* install-*",
     "not-opened",
     {CREATING, "status Could not open device for Validating NIC   Properties. Enable all NICs and "
                "try configuring  the Team again.  "},
     false,
     0},
    {"create-* install-*",
     "vlans-kept",
     {CREATING, "status There are vlans associated with the underlying Nic.   Remove the vlans to "
                "continue team creation  "},
     false,
     0},
    {"create-* install-*",
     "vlans-stuck",
     {CREATING, "status Could not remove vlan from the underlying Nic.   Try manually removing the "
                "vlans to continue  "},
     false,
     kRecords | kLeftVirtual},
    // Pressed on a page where nothing is ticked any more. A failed creation keeps what is ticked.
    {"create-* install-*", "stopped", {CREATING}, false, kAgainUnticked},
    // The members before the one that failed keep their bindings off.
    {"create-2 create-2-windows-2003 create-8 install-*", "silent", {CREATING}, false, kBindings},
    {"create-2-vlans create-8-vlans",
     "silent",
     {CREATING},
     false,
     kBindings | kRecords | kConnection | kVirtualDevice | kVlanRows},
    // No removal is undone: bindings off, numbers written, addresses deleted.
    {"create-2-vlans create-8-vlans",
     "not-installed",
     {CREATING, "status Team Creation failed with error 0x#"},
     false,
     kBindings | kRecords | kAddress | kConnection | kService | kVirtualDevice},
    {"create-2 create-2-windows-2003 create-8 install-*",
     "not-installed",
     {CREATING, "status Team Creation failed with error 0x#"},
     false,
     kBindings | kRecords | kAddress | kConnection | kService},
    {"create-* install-*",
     "not-bound",
     {CREATING, "status Writing into registryFailed"},
     false,
     kBindings | kRecords | kLeftVirtual},
    {"create-* install-*",
     "no-thread",
     {CREATING, "status Cannot Create Team at this time."},
     false,
     0},
    {"create-* install-*",
     "no-protocol",
     {CREATING, "status Installation of Quovane Teaming Driver  failed."},
     false,
     0},

    // Team removal goes past every step but the VLANs'.
    {"remove-*", "done", {REMOVING, "status Team Removed.", HELP}, true, 0},
    {"remove-*",
     "not-administrator",
     {REMOVING, "status User should have Admin privilege to be     able to remove a team. Please  "
                "login as Admin    and try again  "},
     false,
     0},
    {"remove-*",
     "vlans-stuck",
     {REMOVING, "status Could not remove vlans from the Team.  Try manually removing the vlans to "
                "continue  "},
     false,
     kRecords | kLeftVirtual},
    {"remove-*", "no-thread", {REMOVING, "status Cannot Remove Team at this time."}, false, 0},

    // One VLAN more. What was made and could not be finished stays.
    {"adapter-add-* team-add-*", "done", {}, true, 0},
    {"adapter-add-* team-add-*", "cancelled", {}, false, 0},
    {"adapter-add-* team-add-*",
     "not-administrator",
     {"box \"Error\" \"Please login as Administrator to create or remove vlans\""},
     false,
     0},
    {"adapter-add-first-vlan team-add-first-vlan",
     "not-added",
     {"box \"Error\" \"Failed to add vlan. Error=0x#\""},
     false,
     kBindings | kHidden | kState | kConnection | kService},
    {"adapter-add-second-vlan adapter-add-last-vlan team-add-second-vlan team-add-last-vlan",
     "not-added",
     {"box \"Error\" \"Failed to add vlan. Error=0x#\""},
     false,
     kConnection | kService},
    {"adapter-add-first-vlan team-add-first-vlan",
     "no-memory",
     {"box \"Error\" \"Memory Allocation Error\""},
     false,
     kBindings | kHidden | kState | kConnection | kService | kWaitOpen},
    {"adapter-add-second-vlan adapter-add-last-vlan team-add-second-vlan team-add-last-vlan",
     "no-memory",
     {"box \"Error\" \"Memory Allocation Error\""},
     false,
     kConnection | kService | kWaitOpen},

    // One VLAN less. A row that could not be removed stays, without a word.
    {"adapter-remove-* team-remove-*",
     "done",
     {"box \"Warning\" \"The following entries"},
     true,
     0},
    {"team-remove-*",
     "stays",
     {"box \"Warning\" \"The following entries"},
     false,
     kRecords | kConnection},
    // An adapter's last VLAN is forgotten before its device goes, and so are all when nobody can say
    // whether any is left; from no list at all nothing can be taken. Where a list is left, or another
    // team's member comes last, the next press goes on.
    {"adapter-remove-*",
     "stays",
     {"box \"Warning\" \"The following entries"},
     false,
     kRecords | kConnection | kAgainForgotten},
    {"adapter-remove-* team-remove-*", "cancelled", {}, false, 0},
    {"adapter-remove-* team-remove-*",
     "not-administrator",
     {"box \"Error\" \"Please login as Administrator to create or remove vlans\""},
     false,
     0},
    {"adapter-remove-* team-remove-*",
     "no-memory",
     {"box \"Error\" \"Memory Allocation Error\""},
     false,
     0},

    // The page by itself, and sheets.
    {"start-up refresh", "done", {HELP}, true, 0},
    {"start-up", "no-message", {"box (null) \"Cannot register window message\""}, false, 0},
    {"start-up", "no-memory", {"box (null) \"Cannot Allocate Memory\""}, false, 0},
    {"start-up", "no-sheet", {"box (null) \"Cannot Create Property Sheet\""}, false, 0},
    {"adapter-properties* team-properties", "done", {}, true, 0},
    {"adapter-properties* team-properties",
     "no-sheet",
     {"box (null) \"Cannot Create Property Sheet\""},
     false,
     0},
};

// The first rule that fits the innermost routine wins, then those of the routine about it.
const FaultRule kFaults[] = {
    // Every operation's beginning.
    {"IsUserAdmin", "*", "not-administrator", false, 0},
    {"StartWorker", "CreateThread", "no-thread", false, 0},
    {"RunPendingJob", "DialogBoxParamW", "no-thread", false, 0},
    {"SetStatus", "SetWindowTextW", "", true, kTextLost},
    {"CreateTeamThread", "PostMessageW", "", true, 0},
    {"RemoveTeamThread", "PostMessageW", "", true, 0},
    {"WinMain", "SetDllDirectoryW", "", true, 0},
    {"WinMain", "RegisterWindowMessageW", "no-message", false, 0},
    {"WinMain", "VirtualAlloc", "no-memory", false, 0},
    {"WinMain", "MessageBoxW", "", true, kTextLost},
    {"ShowSheet", "PropertySheetW", "no-sheet", false, 0},
    {"ShowSheet", "MessageBoxW", "", true, kTextLost},
    // Somebody who cannot be looked at is nobody.
    {"IsQvTeamCfgRunning", "*", "", true, 0},
    {"IsQvTrayRunning", "*", "", true, 0},

    // The page is rebuilt as far as it goes.
    {"SetUpLists", "*", "", true, kPage},
    {"IsNICTeamed", "*", "", true, kRows},
    {"PopulateTeamList", "*", "", true, kRows},
    {"OnInitDialog", "SetupDiGetClassDevsW", "", true, kNoHelp | kPage},
    {"OnInitDialog", "SetWindowTextW", "", true, kRows},
    {"OnInitDialog", "*", "", true, kRows},

    // The maker's file: the one that is meant, or another one.
    {"InfMatches: oem3.inf", "*", "no-inf not-added", false, kAnyError, "GetMiniportInf"},
    {"InfMatches: oem4.inf", "*", "no-protocol", false, kConfigOpen, "GetProtocolInf"},
    {"InfMatches", "*", "", true, 0},
    {"FindInf: QV_QVTEAMMP", "FindNextFileW", "no-inf not-added", true, kAnyError},
    {"FindInf: QV_QVTEAMMP", "*", "no-inf not-added", false, kAnyError},
    {"FindInf", "FindNextFileW", "no-protocol", true, kConfigOpen},
    {"FindInf", "*", "no-protocol", false, kConfigOpen},

    // The protocol: only its missing file stops the page.
    {"IsProtocolDriverInstalled", "*", "", true, 0},
    {"InstallProtocolDriver", "*", "", true, kProtocol | kBindings},

    // Checks of a creation, in order.
    {"IsQuovaneNic", "SetupDiGetClassDevsW SetupDiEnumDeviceInfo", "foreign", false, 0},
    {"IsQuovaneNic", "*", "foreign", true, 0},
    {"CreateTeam.2", "GetWindowTextW", "name-invalid", false, 0},
    {"ValidateNICs", "*", "not-opened", false, 0},
    {"IsWinXPAndOffload", "*", "", true, kSheet},
    {"CreateTeam.5", "MessageBoxW", "vlans-kept", false, 0},

    // Bindings: who cannot open the configuration stops, a single path is passed over.
    {"SwitchPath", "*", "", true, kBindings},
    {"SwitchPathsAbove", "*", "", true, kBindings},
    {"HrReleaseINetCfg", "*", "", true, kLockKept},
    {"HrGetINetCfg", "*", "silent", false, 0, "CreateTeam.6"},
    // Where nobody can tell, the protocol counts as installed.
    {"HrGetINetCfg", "*", "", true, kProtocol | kBindings, "InstallProtocolDriver"},
    {"HrGetINetCfg", "*", "", true, kBindings},
    {"EnableProtocolNicBindings", "INetCfg::QueryNetCfgClass INetCfgClass::EnumComponents",
     "silent", false, 0, "CreateTeam.6"},
    {"EnableProtocolNicBindings", "*", "", true, kBindings},

    // Records. A member without its number is shown as free.
    {"WriteIntoTeamRegistry", "calloc", "not-bound", false, 0},
    {"WriteIntoTeamRegistry", "*", "", true, kRecords | kRows},

    // The virtual adapter.
    // Where 5.x has one route only, whatever fails on it ends the installation, and so does a version
    // that is not known.
    {"InstallSelectedDriverForWinXPS03", "*", "not-added", false, 0, nullptr, "adapter-add-*"},
    {"cmdUpdate", "GetVersionExW", "not-added", false, kAnyError, nullptr, "adapter-add-*"},
    {"cmdUpdate", "GetVersionExW", "", true, 0},
    // The forced update takes in every adapter of the hardware id.
    {"cmdUpdate", "GetProcAddress", "not-installed not-added", true,
     kAnyError | kVirtualDevice | kForeign | kOthersToo},
    {"InstallSelectedDriverForWinXPS03", "*", "not-installed not-added", true, kAnyError},
    {"cmdUpdate", "DiInstallDevice InstallSelectedDriver UpdateDriverForPlugAndPlayDevicesW",
     "not-installed not-added", true,
     kAnyError | kVirtualDevice | kRows | kMember | kForeign | kOthersToo},
    {"cmdUpdate", "*", "not-installed not-added", false, 0},
    {"ReadDeviceName", "SetupDiGetDeviceRegistryPropertyW", "", true, kSheet,
     "PopulateAdaptersInTeam"},
    {"ReadDeviceName", "SetupDiGetDeviceRegistryPropertyW", "", true,
     kName | kRows | kVirtualValues | kForeign},
    {"cmdInstall", "SetupDiSetDeviceRegistryPropertyW", "not-installed not-added", true,
     kName | kRows | kVirtualValues | kForeign},
    // Without memory for its GUID the adapter counts, but nobody can find it.
    {"cmdInstall", "calloc", "not-updated", true,
     kMember | kRecords | kVirtualValues | kVlanRows | kForeign},
    {"cmdInstall", "CLSIDFromString", "not-updated", true,
     kMember | kRecords | kVirtualValues | kVlanRows | kForeign},
    // What cannot be taken away again stays.
    {"cmdInstall", "SetupDiCallClassInstaller", "not-added", false, kVirtualDevice | kForeign,
     nullptr, "adapter-add-*"},
    {"cmdInstall", "*", "not-installed not-added", false, kAddress},
    {"RemoveNICRegistrySettings", "*", "", true, kAddress},

    // The team's address, member by member.
    {"UpdateMember", "*", "", true, kMember},
    {"ChangeDeviceState", "*", "", true, kState | kVirtualValues | kAddress},
    {"UpdateTeam", "SetupDiGetClassDevsW", "not-updated", false, 0},
    {"UpdateTeam", "*", "not-updated", true, kState | kVirtualValues},

    // Removal of a team.
    {"RemoveVlans", "*", "vlans-stuck", true, kRecords | kLeftVirtual},
    {"PopulateGuids: 1", "*", "", true, kLeftVirtual | kRows | kState | kHidden},
    {"PopulateGuids: 3", "*", "", true, kHidden | kState},
    {"SetNicFriendlyName", "*", "", true, kName | kRows},
    {"ReleaseMember", "RegDeleteKeyW", "", true, kRecords | kRows | kButtons},

    // VLANs. Records of a host in a team creation come first.
    {"RemoveVlanFromNic", "*", "vlans-stuck stays", true, kRecords | kLeftVirtual},
    // A VLAN whose GUID is not understood is shown, but cannot be found to be removed.
    {"GetVlanIdForDevices", "CLSIDFromString", "vlans-stuck stays", true,
     kRecords | kLeftVirtual | kVlanRows | kState | kVirtualValues | kSheet},
    {"GetVlanListForNic", "*", "", true,
     kRecords | kLeftVirtual | kVlanRows | kState | kVirtualValues},
    {"GetVlanListForTeam", "*", "", true,
     kRecords | kLeftVirtual | kVlanRows | kState | kVirtualValues | kSheet},
    {"OnAddVlan", "DialogBoxParamW GetDlgItemTextW", "cancelled", false, 0},
    {"OnOk", "GetDlgItemTextW", "cancelled", false, 0},
    {"OnInitAddVlanDialog", "SetDlgItemTextW", "", true, 0},
    {"ShowHideNic", "*", "", true, kHidden | kState},
    // A VLAN's adapter that cannot be put down in the records stays, without its values.
    {"WriteVlanValues", "SetupDiGetClassDevsW", "not-added", false,
     kRecords | kLeftVirtual | kVirtualValues},
    {"WriteVlanValues", "*", "", true, kVirtualValues | kVlanRows},
    {"DisableEnableNic", "*", "", true, kState | kVirtualValues},
    // A list that cannot be asked for counts as empty, and is written over.
    {"AddToVlanBinding", "RegQueryValueExW", "not-added", true,
     kRecords | kVlanRows | kForeign | kLeftVirtual | kVirtualValues},
    {"AddToVlanBinding", "*", "not-added", true,
     kRecords | kVlanRows | kLeftVirtual | kVirtualValues},
    {"RemoveFromVlanBinding", "*", "vlans-stuck stays", true, kRecords | kLeftVirtual | kState},
    // What follows the list itself is not looked at.
    {"AddRemoveVlanInfoNic", "RegDeleteKeyW RegQueryValueExW", "", true, kRecords},
    {"AddRemoveVlanInfoNic", "*", "not-added vlans-stuck stays", false,
     kRecords | kLeftVirtual | kVirtualValues},
    // The last record decides for a team.
    {"AddRemoveVlanInfoTeam", "*", "not-added vlans-stuck stays", true,
     kRecords | kLeftVirtual | kVirtualValues},
    {"OnAddVlan", "CreateDialogParamW", "", true, 0},
    {"OnAddVlan", "LVM_INSERTITEMW LVM_SETITEMW LVM_SETITEMTEXTW", "", true, kVlanRows},
    {"OnAddVlan", "calloc", "no-memory", false, kInstead},
    {"OnAddVlan", "MessageBoxW", "", true, kTextLost},
    {"OnRemoveVlans", "calloc", "no-memory", false, 0},
    {"OnRemoveVlans", "MessageBoxW", "cancelled", false, kTextLost},
    {"OnRemoveVlans", "CreateDialogParamW", "", true, 0},

    // The pages of a sheet show what can be read.
    {"CreateInfoList", "CreateWindowExW", "", true, kSheet | kBoxes},
    // Without a version there is no link speed.
    {"OnInitPropertiesDialog", "GetVersionExW", "", true, kSheet | kForeign},
    {"OnInitPropertiesDialog", "*", "", true, kSheet | kTcpip},
    {"OnInitStatisticsDialog", "*", "", true, kSheet},
    {"OnInitVlansDialog", "*", "", true, kSheet},
    {"OnInitTeamPropertiesDialog", "*", "", true, kSheet},
};

bool Begins(const std::string& text, const std::string& with) {
    return text.compare(0, with.size(), with) == 0;
}

bool IsRoutine(const std::string& line, const std::string& routine) {
    return Begins(line, routine) && (line.size() == routine.size() ||
                                     line.find_first_of(":. ", routine.size()) == routine.size());
}

bool IsWithin(const std::vector<std::string>& lines, const std::string& routine) {
    for (const std::string& line : lines) {
        if (IsRoutine(line, routine))
            return true;
    }
    return false;
}

bool Ends(const std::string& text, const std::string& with) {
    return text.size() >= with.size() &&
           text.compare(text.size() - with.size(), with.size(), with) == 0;
}

} // namespace

bool HasWord(const std::string& words, const std::string& word) {
    std::istringstream all(words);
    for (std::string one; all >> one;) {
        if (one == word)
            return true;
    }
    return false;
}

// `names`: names of operations, or beginnings and '*'.
static bool IsOneOf(const std::string& names, const std::string& operation) {
    std::istringstream all(names);
    for (std::string name; all >> name;) {
        const bool any = name.back() == '*';
        if (any ? Begins(operation, name.substr(0, name.size() - 1)) : operation == name)
            return true;
    }
    return false;
}

std::vector<const OutcomeRule*> OutcomesOf(const std::string& operation) {
    std::vector<const OutcomeRule*> outcomes;
    for (const OutcomeRule& rule : kOutcomes) {
        if (IsOneOf(rule.operations, operation))
            outcomes.push_back(&rule);
    }
    return outcomes;
}

const FaultRule* RuleOf(const std::string& operation, const CallSeen& fault) {
    for (size_t i = fault.routines.size(); i-- > 0;) {
        for (const FaultRule& rule : kFaults) {
            if (IsRoutine(fault.routines[i], rule.routine) &&
                (std::string(rule.calls) == "*" || HasWord(rule.calls, fault.call)) &&
                (rule.within == nullptr || IsWithin(fault.routines, rule.within)) &&
                IsOneOf(rule.operations, operation))
                return &rule;
        }
    }
    return nullptr;
}

unsigned KindOfFact(const std::string& path) {
    struct {
        const char* begin;
        const char* end;
        unsigned kind;
    } static const kinds[] = {
        // Paths of the teaming protocol come and go with the adapters too.
        {"path\\qv_qvteamp", "", kProtocol | kBindings},
        {"path\\", "", kBindings},
        {"qvteamp\\Parameters\\Adapters", "", kRecords},
        {"qvteamp", "", kProtocol},
        {"component\\", "", kProtocol},
        {"service\\qvteamp\\", "", kProtocol},
        {"service\\qvteammp\\", "", kService},
        {"network\\", "", kConnection},
        {"tcpip\\", "", kTcpip},
        {"device\\ROOT\\NET\\", "\\bench\\Disabled", kState | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\bench\\Started", kState | kVirtualDevice},
        {"device\\", "\\bench\\Disabled", kState},
        {"device\\", "\\bench\\Started", kState},
        {"device\\ROOT\\NET\\", "\\driver\\Characteristics", kHidden | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\connection", kHidden | kState | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\bench\\VlanInUse", kVirtualValues | kState | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\driver\\VlanID", kVirtualValues | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\driver\\VlanName", kVirtualValues | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\driver\\NetworkAddress", kVirtualValues | kVirtualDevice},
        {"device\\ROOT\\NET\\", "\\enum\\FriendlyName", kVirtualValues | kVirtualDevice},
        {"device\\ROOT\\NET\\", "", kVirtualDevice},
        {"device\\", "\\driver\\NetworkAddress", kAddress},
        {"device\\", "\\bench\\CurrentAddress", kAddress | kState},
        {"device\\", "\\connection", kHidden | kState},
        {"device\\", "\\driver\\Characteristics", kHidden},
        {"device\\", "\\enum\\FriendlyName", kName},
        {"page\\list\\", "", kRows},
        {"page\\proposed", "", kRows},
        {"page\\button\\", "", kButtons},
        {"sheet", "", kSheet},
        {"vlans\\button\\", "", kButtons},
        {"vlans\\", "", kVlanRows},
    };
    for (const auto& kind : kinds) {
        if (Begins(path, kind.begin) && Ends(path, kind.end))
            return kind.kind;
    }
    return kOther;
}

std::string KindNames(unsigned kinds) {
    static const char* const names[] = {
        "bindings", "records",        "address",    "name",      "hidden",   "state",
        "virtual",  "virtual-values", "connection", "service",   "protocol", "tcpip",
        "rows",     "buttons",        "sheet",      "vlan-rows", "other"};
    std::string text;
    for (size_t bit = 0; bit < sizeof(names) / sizeof(names[0]); bit++) {
        if (kinds & 1u << bit)
            text += std::string(text.empty() ? "" : " ") + names[bit];
    }
    return text;
}
