// The ids that the resource script and the code share. Only macros: windres reads this file too.
// Control ids are unique within a dialog, not across dialogs.
#pragma once

#define IDI_QUOVANE 102
#define IDI_ADAPTER 104

#define IDS_PAGE_TITLE          400
#define IDS_CAPTION             401
#define IDS_STATISTICS          402
#define IDS_PROPERTIES          403
#define IDS_GENERAL             404
#define IDS_UNASSIGNED_ADAPTERS 405
#define IDS_TEAMED_ADAPTERS     406
#define IDS_VLAN                407

// Team configuration page.
#define IDD_TEAM_PAGE         1100
#define IDC_CREATE_TEAM       1000
#define IDC_PROPERTIES        1001
#define IDC_NIC_LIST          1002
#define IDC_ACTIVE_BACKUP     1003
#define IDC_TEAM_LIST         1004
#define IDC_REMOVE_TEAM       1005
#define IDC_TX_LOAD_BALANCING 1006
#define IDC_LACP              1007
#define IDC_TEAM_NAME         1008
#define IDC_STATUS            1009
#define IDC_FAILBACK          1010
#define IDC_TRAY_ICON         1011
#define IDC_MOVE_UP           1018
#define IDC_MOVE_DOWN         1019

// VLAN page.
#define IDD_VLAN_PAGE   101
#define IDC_VLAN_LIST   1000
#define IDC_ADD_VLAN    1001
#define IDC_REMOVE_VLAN 1002

// General and Statistics pages; both make their list themselves.
#define IDD_GENERAL_PAGE    1101
#define IDD_STATISTICS_PAGE 1102
#define IDC_REFRESH         1012
#define IDC_RESET           1013
#define IDC_INFO_LIST       1014

// Team properties page.
#define IDD_TEAM_PROPERTIES 1103
#define IDC_TEAM_MODE       1015
#define IDC_TEAM_METHOD     1016
#define IDC_TEAM_MEMBERS    1017

// Add Vlan dialog.
#define IDD_ADD_VLAN  102
#define IDC_VLAN_ID   1003
#define IDC_VLAN_NAME 1004
#define IDC_UNTAGGED  1006

// Please-wait dialog.
#define IDD_WAIT      1104
#define IDC_WAIT_TEXT 1007
