// The registry paths, value names, device ids and limits that rooms share, each once.
#pragma once

#include <windows.h>

#define SERVICES_KEY L"System\\CurrentControlSet\\Services"

// Teaming protocol driver
#define PROTOCOL_SERVICE_KEY  SERVICES_KEY L"\\qvteamp"
#define MEMBER_RECORDS_KEY    PROTOCOL_SERVICE_KEY L"\\Parameters\\Adapters"
#define PROTOCOL_COMPONENT_ID L"QV_QVTEAMP"
#define PROTOCOL_BINDING_ID   L"qv_qvteamp"

// Virtual team miniport
#define MINIPORT_HARDWARE_ID L"QV_QVTEAMMP"

// Makers as the driver key and the INF files spell them; the comma belongs to the INF text.
#define MAKER_NAME         L"Quovane"
#define MAKER_INF_PROVIDER L"Quovane Communications Inc.,"

// Companion programs
#define PROGRAM_FILE_NAME L"QvTeamCfg.exe"
#define TRAY_FILE_NAME    L"QvTray.exe"
#define TRAY_STOP_MESSAGE L"TermQvTray"

// Network connections, one subkey per adapter
#define NETWORK_CONNECTIONS_KEY                                                                    \
    L"System\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}"
#define CONNECTION_SUBKEY L"Connection"

// Values of a member record
#define VALUE_TEAM_NUMBER  L"TeamNumber"
#define VALUE_TEAM_BINDING L"TeamBinding"
#define VALUE_ORDER        L"Order"
#define VALUE_VLAN_BINDING L"VlanBinding"

// Values of an adapter's driver key
#define VALUE_INSTANCE_ID     L"NetCfgInstanceId"
#define VALUE_PROVIDER        L"ProviderName"
#define VALUE_NETWORK_ADDRESS L"NetworkAddress"
#define VALUE_CHARACTERISTICS L"Characteristics"
#define VALUE_TCP_OFFLOAD     L"TCPOffload"
#define VALUE_DRIVER_DATE     L"DriverDate"
#define VALUE_DRIVER_VERSION  L"DriverVersion"
#define VALUE_VLAN_ID         L"VlanID"
#define VALUE_VLAN_NAME       L"VlanName"

// Limits, in elements unless the name says otherwise
constexpr int MAX_TEAMS = 4;
constexpr int MAX_TEAM_NICS = 8;
constexpr int MIN_TEAM_NICS = 2;
constexpr int MAX_NIC_ROWS = 17;
constexpr int MAX_TEAM_ROWS = 5;
constexpr int MAX_VLANS = 64;
constexpr int NAME_CCH = 260;        // a display name with its terminator
constexpr int MEMBER_NAME_CCH = 261; // a member's display name in a team row
constexpr int PATH_CCH = 260;        // a file path with its terminator
constexpr int KEY_PATH_CCH = 261;    // a registry key path with its terminator
constexpr int GUID_CCH = 39;         // {8-4-4-4-12} with its terminator

// Bit 3 of Characteristics keeps an adapter out of the network connections folder.
constexpr DWORD CHARACTERISTIC_HIDDEN = 0x8;

// TeamNumber of a physical adapter that carries VLANs and is in no team: no mode bits.
constexpr DWORD VLAN_HOST_TEAM_NUMBER = 16;
