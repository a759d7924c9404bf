// Holds every number of the Windows interface that the product relies on against the published one, typed
// here as a number and never taken from a header. Compiled with the product's own definitions: three
// list-view records grow with _WIN32_WINNT.
#include "published/interface.h"

#include "device/newdev_routines.h"
#include "info/driver_query.h"
#include "info/offload_caps.h"
#include "info/offload_records.h"

#include <cfgmgr32.h>
#include <commctrl.h>
#include <devguid.h>
#include <netcfgx.h>
#include <newdev.h>
#include <prsht.h>
#include <psapi.h>
#include <winioctl.h>

#include <ntddndis.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#define IS(name, number)                                                                           \
    static_assert(static_cast<unsigned long long>(name) == (number),                               \
                  #name " is published as " #number)
#define SIZE_IS(type, bytes)                                                                       \
    static_assert(sizeof(type) == (bytes), #type " is published with " #bytes " bytes")
#define AT(type, field, offset)                                                                    \
    static_assert(offsetof(type, field) == (offset), #type "." #field " is published at " #offset)

IS(_WIN32_WINNT, 0x0502);

// Setup: devices -----------------------------------------------------------------------------------

SIZE_IS(SP_DEVINFO_DATA, 32);
AT(SP_DEVINFO_DATA, cbSize, 0);
AT(SP_DEVINFO_DATA, ClassGuid, 4);
AT(SP_DEVINFO_DATA, DevInst, 20);
AT(SP_DEVINFO_DATA, Reserved, 24);

SIZE_IS(SP_DEVINSTALL_PARAMS_W, 584);
AT(SP_DEVINSTALL_PARAMS_W, Flags, 4);
AT(SP_DEVINSTALL_PARAMS_W, FlagsEx, 8);
AT(SP_DEVINSTALL_PARAMS_W, hwndParent, 16);
AT(SP_DEVINSTALL_PARAMS_W, DriverPath, 60);

SIZE_IS(SP_CLASSINSTALL_HEADER, 8);
AT(SP_CLASSINSTALL_HEADER, InstallFunction, 4);
SIZE_IS(SP_PROPCHANGE_PARAMS, 20);
AT(SP_PROPCHANGE_PARAMS, StateChange, 8);
AT(SP_PROPCHANGE_PARAMS, Scope, 12);
AT(SP_PROPCHANGE_PARAMS, HwProfile, 16);
SIZE_IS(SP_REMOVEDEVICE_PARAMS, 16);
AT(SP_REMOVEDEVICE_PARAMS, Scope, 8);
AT(SP_REMOVEDEVICE_PARAMS, HwProfile, 12);

SIZE_IS(SP_DRVINFO_DATA_V2_W, 1568);
AT(SP_DRVINFO_DATA_V2_W, DriverType, 4);
AT(SP_DRVINFO_DATA_V2_W, Reserved, 8);
AT(SP_DRVINFO_DATA_V2_W, Description, 16);
AT(SP_DRVINFO_DATA_V2_W, MfgName, 528);
AT(SP_DRVINFO_DATA_V2_W, ProviderName, 1040);
AT(SP_DRVINFO_DATA_V2_W, DriverDate, 1552);
AT(SP_DRVINFO_DATA_V2_W, DriverVersion, 1560);

SIZE_IS(INFCONTEXT, 24);
AT(INFCONTEXT, CurrentInf, 8);
AT(INFCONTEXT, Section, 16);
AT(INFCONTEXT, Line, 20);

IS(DIGCF_PRESENT, 0x02);
IS(DIREG_DRV, 2);
IS(DICS_ENABLE, 1);
IS(DICS_DISABLE, 2);
IS(DICS_FLAG_GLOBAL, 1);
IS(DICS_FLAG_CONFIGSPECIFIC, 2);
IS(DI_REMOVEDEVICE_GLOBAL, 1);
IS(DIF_REMOVE, 0x05);
IS(DIF_PROPERTYCHANGE, 0x12);
IS(DIF_SELECTBESTCOMPATDRV, 0x17);
IS(DIF_REGISTERDEVICE, 0x19);
IS(DICD_GENERATE_ID, 1);
IS(DICD_INHERIT_CLASSDRVS, 2);
IS(DI_NEEDRESTART, 0x80);
IS(DI_NEEDREBOOT, 0x100);
IS(DI_DONOTCALLCONFIGMG, 0x00020000);
IS(DI_ENUMSINGLEINF, 0x00010000);
IS(DI_FLAGSEX_ALLOWEXCLUDEDDRVS, 0x800);
IS(SPDIT_COMPATDRIVER, 2);
IS(SPDRP_DEVICEDESC, 0);
IS(SPDRP_HARDWAREID, 1);
IS(SPDRP_SERVICE, 4);
IS(SPDRP_FRIENDLYNAME, 12);
IS(SPDRP_INSTALL_STATE, 34);
IS(INF_STYLE_WIN4, 2);
IS(INSTALLFLAG_FORCE, 1);
IS(CR_SUCCESS, 0);

// newdev.dll has no import library: what is called is what these say.
static_assert(
    std::is_same_v<DiInstallDeviceFn, int(__stdcall*)(HWND, void*, SP_DEVINFO_DATA*,
                                                      SP_DRVINFO_DATA_V2_W*, unsigned long, int*)>);
static_assert(std::is_same_v<InstallSelectedDriverFn,
                             int(__stdcall*)(HWND, void*, const wchar_t*, int, unsigned long*)>);
static_assert(std::is_same_v<UpdateDriverFn, int(__stdcall*)(HWND, const wchar_t*, const wchar_t*,
                                                             unsigned long, int*)>);

// Network configuration ----------------------------------------------------------------------------

IS(NCF_VIRTUAL, 0x01);
IS(NCF_PHYSICAL, 0x04);
IS(EBP_ABOVE, 0x01);
IS(OBO_USER, 1);
IS(CLSCTX_INPROC_SERVER, 1);
IS(static_cast<unsigned long>(NETCFG_E_NO_WRITE_LOCK), 0x8004A024);
IS(NETCFG_S_REBOOT, 0x0004A020);
SIZE_IS(OBO_TOKEN, 48);
AT(OBO_TOKEN, Type, 0);
AT(OBO_TOKEN, pncc, 8);
AT(OBO_TOKEN, pszwManufacturer, 16);
AT(OBO_TOKEN, pszwProduct, 24);
AT(OBO_TOKEN, pszwDisplayName, 32);
AT(OBO_TOKEN, fRegistered, 40);

// Network drivers ----------------------------------------------------------------------------------

IS(IOCTL_NDIS_QUERY_GLOBAL_STATS, 0x00170002);
IS(OID_GEN_MAXIMUM_FRAME_SIZE, 0x00010106);
IS(OID_GEN_LINK_SPEED, 0x00010107);
IS(OID_GEN_MEDIA_CONNECT_STATUS, 0x00010114);
IS(OID_GEN_XMIT_OK, 0x00020101);
IS(OID_GEN_RCV_OK, 0x00020102);
IS(OID_GEN_XMIT_ERROR, 0x00020103);
IS(OID_GEN_RCV_ERROR, 0x00020104);
IS(OID_GEN_DIRECTED_FRAMES_XMIT, 0x00020202);
IS(OID_GEN_MULTICAST_FRAMES_XMIT, 0x00020204);
IS(OID_GEN_BROADCAST_FRAMES_XMIT, 0x00020206);
IS(OID_GEN_MULTICAST_FRAMES_RCV, 0x0002020A);
IS(OID_GEN_BROADCAST_FRAMES_RCV, 0x0002020C);
IS(OID_GEN_RCV_CRC_ERROR, 0x0002020D);
IS(OID_802_3_PERMANENT_ADDRESS, 0x01010101);
IS(OID_802_3_CURRENT_ADDRESS, 0x01010102);
IS(OID_802_3_RCV_ERROR_ALIGNMENT, 0x01020101);
IS(OID_802_3_XMIT_ONE_COLLISION, 0x01020102);
IS(OID_802_3_XMIT_MORE_COLLISIONS, 0x01020103);
IS(OID_802_3_XMIT_DEFERRED, 0x01020201);
IS(OID_802_3_XMIT_MAX_COLLISIONS, 0x01020202);
IS(OID_802_3_RCV_OVERRUN, 0x01020203);
IS(OID_802_3_XMIT_UNDERRUN, 0x01020204);
IS(OID_802_3_XMIT_HEARTBEAT_FAILURE, 0x01020205);
IS(OID_802_3_XMIT_TIMES_CRS_LOST, 0x01020206);
IS(OID_802_3_XMIT_LATE_COLLISIONS, 0x01020207);
IS(OID_TCP_TASK_OFFLOAD, 0xFC010201);
IS(OID_TCP_OFFLOAD_CURRENT_CONFIG, 0xFC01020B);
IS(OID_TCP_CONNECTION_OFFLOAD_CURRENT_CONFIG, 0xFC01020E);

// NDIS_TASK_OFFLOAD_HEADER, NDIS_TASK_OFFLOAD and what they lead to
SIZE_IS(TaskHeader, 28);
AT(TaskHeader, Version, 0);
AT(TaskHeader, Size, 4);
AT(TaskHeader, Reserved, 8);
AT(TaskHeader, OffsetFirstTask, 12);
AT(TaskHeader, Encapsulation, 16);
AT(TaskHeader, EncapsulationFlags, 20);
AT(TaskHeader, EncapsulationHeaderSize, 24);
IS(TASK_HEADER_VERSION, 1);
IS(ENCAPSULATION_802_3, 2);
IS(FIXED_HEADER_SIZE, 1);
SIZE_IS(Task, 20);
AT(Task, Version, 0);
AT(Task, Size, 4);
AT(Task, Code, 8);
AT(Task, OffsetNextTask, 12);
AT(Task, TaskBufferLength, 16);
IS(TASK_CHECKSUM, 0);
IS(TASK_IPSEC, 1);
IS(TASK_LARGE_SEND, 2);
SIZE_IS(ChecksumTask, 16);
AT(ChecksumTask, v4Transmit, 0);
AT(ChecksumTask, v4Receive, 4);
AT(ChecksumTask, v6Transmit, 8);
AT(ChecksumTask, v6Receive, 12);
AT(LargeSendTask, Version, 0);
AT(LargeSendTask, MaxOffLoadSize, 4);
AT(LargeSendTask, MinSegmentCount, 8);
AT(LargeSendTask, TcpOptions, 12);
AT(LargeSendTask, IpOptions, 13);
IS(LARGE_SEND_CB, 14);

// NDIS_OFFLOAD of revision 1 and NDIS_TCP_CONNECTION_OFFLOAD, both behind NDIS_OBJECT_HEADER
IS(OFFLOAD_RECORD_TYPE, 0xA7);
IS(OFFLOAD_RECORD_REVISION, 1);
IS(RECORD_HEADER_CB, 4);
IS(OFFLOAD_60_CB, 112);
SIZE_IS(OffloadCaps60, 104);
AT(OffloadCaps60, v4Transmit, 4 - 4);
AT(OffloadCaps60, v4Receive, 12 - 4);
AT(OffloadCaps60, v6Transmit, 20 - 4);
AT(OffloadCaps60, v6Receive, 28 - 4);
AT(OffloadCaps60, lsoV1, 36 - 4);
AT(OffloadCaps60, lsoV1.MaxOffLoadSize, 40 - 4);
AT(OffloadCaps60, lsoV1.MinSegmentCount, 44 - 4);
AT(OffloadCaps60, ipsecV1, 52 - 4);
AT(OffloadCaps60, ipsecV1.v4Ah, 72 - 4);
AT(OffloadCaps60, ipsecV1.v4Esp, 76 - 4);
AT(OffloadCaps60, lsoV2IPv4, 80 - 4);
AT(OffloadCaps60, lsoV2IPv4.MaxOffLoadSize, 84 - 4);
AT(OffloadCaps60, lsoV2IPv6, 92 - 4);
AT(OffloadCaps60, lsoV2IPv6.MaxOffLoadSize, 96 - 4);
AT(OffloadCaps60, lsoV2IPv6.bits, 104 - 4);
AT(ChecksumCaps, Encapsulation, 0);
AT(ChecksumCaps, bits, 4);
IS(CONNECTION_OFFLOAD_CB, 20);
SIZE_IS(ConnectionOffloadCaps, 16);
AT(ConnectionOffloadCaps, support, 8 - 4);
AT(ConnectionOffloadCaps, TcpConnectionOffloadCapacity, 12 - 4);
AT(ConnectionOffloadCaps, Flags, 16 - 4);

// Windows and controls -----------------------------------------------------------------------------

SIZE_IS(PROPSHEETPAGEW, 96);
AT(PROPSHEETPAGEW, dwFlags, 4);
AT(PROPSHEETPAGEW, hInstance, 8);
AT(PROPSHEETPAGEW, pszTemplate, 16);
AT(PROPSHEETPAGEW, pszTitle, 32);
AT(PROPSHEETPAGEW, pfnDlgProc, 40);
AT(PROPSHEETPAGEW, lParam, 48);
AT(PROPSHEETPAGEW, pfnCallback, 56);
SIZE_IS(PROPSHEETHEADERW, 96);
AT(PROPSHEETHEADERW, dwFlags, 4);
AT(PROPSHEETHEADERW, hwndParent, 8);
AT(PROPSHEETHEADERW, hInstance, 16);
AT(PROPSHEETHEADERW, pszIcon, 24);
AT(PROPSHEETHEADERW, pszCaption, 32);
AT(PROPSHEETHEADERW, nPages, 40);
AT(PROPSHEETHEADERW, nStartPage, 48);
AT(PROPSHEETHEADERW, ppsp, 56);
AT(PROPSHEETHEADERW, pfnCallback, 64);
IS(PSP_USETITLE, 0x08);
IS(PSP_USECALLBACK, 0x80);
IS(PSH_USEICONID, 0x04);
IS(PSH_PROPSHEETPAGE, 0x08);
IS(PSH_NOAPPLYNOW, 0x80);
IS(PSH_HEADER, 0x00080000);
IS(static_cast<unsigned>(PSN_SETACTIVE), 0xFFFFFF38);
IS(static_cast<unsigned>(PSN_KILLACTIVE), 0xFFFFFF37);
IS(static_cast<unsigned>(PSN_APPLY), 0xFFFFFF36);
IS(static_cast<unsigned>(PSN_RESET), 0xFFFFFF35);
IS(PSNRET_NOERROR, 0);
IS(DWLP_MSGRESULT, 0);
IS(DWLP_USER, 16);

SIZE_IS(LVCOLUMNW, 40);
AT(LVCOLUMNW, fmt, 4);
AT(LVCOLUMNW, cx, 8);
AT(LVCOLUMNW, pszText, 16);
AT(LVCOLUMNW, cchTextMax, 24);
AT(LVCOLUMNW, iSubItem, 28);
SIZE_IS(LVITEMW, 72);
AT(LVITEMW, iItem, 4);
AT(LVITEMW, iSubItem, 8);
AT(LVITEMW, state, 12);
AT(LVITEMW, stateMask, 16);
AT(LVITEMW, pszText, 24);
AT(LVITEMW, cchTextMax, 32);
AT(LVITEMW, iImage, 36);
AT(LVITEMW, lParam, 40);
SIZE_IS(NMHDR, 24);
AT(NMHDR, idFrom, 8);
AT(NMHDR, code, 16);
SIZE_IS(NMLVDISPINFOW, 96);
AT(NMLVDISPINFOW, item, 24);
IS(LVCF_FMT, 0x01);
IS(LVCF_WIDTH, 0x02);
IS(LVCF_TEXT, 0x04);
IS(LVCF_SUBITEM, 0x08);
IS(LVCFMT_LEFT, 0);
IS(LVIF_TEXT, 0x01);
IS(LVIF_IMAGE, 0x02);
IS(LVIF_PARAM, 0x04);
IS(LVIF_STATE, 0x08);
IS(LVIF_DI_SETITEM, 0x1000);
IS(LVIS_STATEIMAGEMASK, 0xF000);
IS(LVM_GETITEMCOUNT, 0x1004);
IS(LVM_DELETEITEM, 0x1008);
IS(LVM_DELETEALLITEMS, 0x1009);
IS(LVM_SETIMAGELIST, 0x1003);
IS(LVM_UPDATE, 0x102A);
IS(LVM_SETITEMSTATE, 0x102B);
IS(LVM_GETITEMSTATE, 0x102C);
IS(LVM_SETEXTENDEDLISTVIEWSTYLE, 0x1036);
IS(LVM_SETITEMW, 0x104C);
IS(LVM_INSERTITEMW, 0x104D);
IS(LVM_INSERTCOLUMNW, 0x1061);
IS(LVN_GETDISPINFOW, 0xFFFFFF4F);
IS(LVSIL_SMALL, 1);
IS(LVS_REPORT, 0x01);
IS(LVS_EX_GRIDLINES, 0x01);
IS(LVS_EX_CHECKBOXES, 0x04);
IS(LVS_EX_FULLROWSELECT, 0x20);
IS(NM_CLICK, 0xFFFFFFFE);
IS(ILC_MASK, 0x01);
IS(CB_INSERTSTRING, 0x014A);
IS(CB_RESETCONTENT, 0x014B);
IS(CB_SETCURSEL, 0x014E);
IS(LB_INSERTSTRING, 0x0181);
IS(LB_DELETESTRING, 0x0182);
IS(BN_CLICKED, 0);
IS(BN_DOUBLECLICKED, 5);
IS(BST_UNCHECKED, 0);
IS(BST_CHECKED, 1);
IS(WM_DESTROY, 0x0002);
IS(WM_CLOSE, 0x0010);
IS(WM_NEXTDLGCTL, 0x0028);
IS(WM_NOTIFY, 0x004E);
IS(WM_INITDIALOG, 0x0110);
IS(WM_COMMAND, 0x0111);
IS(WM_DEVICECHANGE, 0x0219);
IS(WM_USER, 0x0400);
IS(WS_CHILD, 0x40000000);
IS(WS_VISIBLE, 0x10000000);
IS(WS_BORDER, 0x00800000);
IS(WS_TABSTOP, 0x00010000);
IS(WS_EX_CLIENTEDGE, 0x00000200);
IS(MB_OK, 0);
IS(MB_OKCANCEL, 1);
IS(MB_ICONEXCLAMATION, 0x30);
IS(IDOK, 1);
IS(IDCANCEL, 2);
IS(IMAGE_ICON, 1);
IS(SM_CXSMICON, 49);
IS(SM_CYSMICON, 50);
IS(SWP_NOSIZE, 0x01);
IS(SWP_NOMOVE, 0x02);
IS(SWP_NOACTIVATE, 0x10);
IS(SW_HIDE, 0);
IS(SW_SHOW, 5);
IS(RDW_UPDATENOW, 0x100);
IS(RDW_ALLCHILDREN, 0x80);

// The system -----------------------------------------------------------------------------------------

SIZE_IS(OSVERSIONINFOW, 276);
AT(OSVERSIONINFOW, dwMajorVersion, 4);
AT(OSVERSIONINFOW, dwMinorVersion, 8);
AT(OSVERSIONINFOW, dwPlatformId, 16);
IS(VER_PLATFORM_WIN32_NT, 2);
SIZE_IS(STARTUPINFOW, 104);
AT(STARTUPINFOW, dwFlags, 60);
AT(STARTUPINFOW, wShowWindow, 64);
SIZE_IS(PROCESS_INFORMATION, 24);
AT(PROCESS_INFORMATION, hThread, 8);
SIZE_IS(WIN32_FIND_DATAW, 592);
AT(WIN32_FIND_DATAW, cFileName, 44);
SIZE_IS(SID_IDENTIFIER_AUTHORITY, 6);
SIZE_IS(GUID, 16);
SIZE_IS(wchar_t, 2);
SIZE_IS(void*, 8);
IS(STARTF_USESHOWWINDOW, 0x01);
IS(DETACHED_PROCESS, 0x08);
IS(NORMAL_PRIORITY_CLASS, 0x20);
IS(BSM_APPLICATIONS, 0x08);
IS(BSF_IGNORECURRENTTASK, 0x02);
IS(PROCESS_VM_READ, 0x0010);
IS(PROCESS_QUERY_INFORMATION, 0x0400);
IS(SECURITY_BUILTIN_DOMAIN_RID, 32);
IS(DOMAIN_ALIAS_RID_ADMINS, 544);
IS(KEY_QUERY_VALUE, 0x0001);
IS(KEY_ALL_ACCESS, 0x000F003F);
IS(REG_SZ, 1);
IS(REG_DWORD, 4);
IS(REG_MULTI_SZ, 7);
IS(FILE_SHARE_READ, 1);
IS(FILE_SHARE_WRITE, 2);
IS(OPEN_EXISTING, 3);
IS(INVALID_FILE_ATTRIBUTES, 0xFFFFFFFF);
IS(MEM_COMMIT, 0x1000);
IS(MEM_RESERVE, 0x2000);
IS(MEM_RELEASE, 0x8000);
IS(PAGE_READWRITE, 0x04);
IS(ERROR_SUCCESS, 0);
IS(ERROR_FILE_NOT_FOUND, 2);
IS(ERROR_NOT_ENOUGH_MEMORY, 8);
IS(ERROR_NO_MORE_FILES, 18);
IS(ERROR_NOT_SUPPORTED, 50);
IS(ERROR_INVALID_NAME, 123);
IS(ERROR_PROC_NOT_FOUND, 127);
IS(ERROR_FILENAME_EXCED_RANGE, 206);
IS(ERROR_NOT_FOUND, 1168);
IS(ERROR_CANCELLED, 1223);

// Interfaces: ids and slots --------------------------------------------------------------------------

std::vector<PublishedId> PublishedIds() {
    return {
        {"CLSID_CNetCfg", "{5B035261-40F9-11D1-AAEC-00805FC1270E}", CLSID_CNetCfg},
        {"IID_INetCfg", "{C0E8AE93-306E-11D1-AACF-00805FC1270E}", IID_INetCfg},
        {"IID_INetCfgLock", "{C0E8AE9F-306E-11D1-AACF-00805FC1270E}", IID_INetCfgLock},
        {"IID_INetCfgClass", "{C0E8AE97-306E-11D1-AACF-00805FC1270E}", IID_INetCfgClass},
        {"IID_INetCfgClassSetup", "{C0E8AE9D-306E-11D1-AACF-00805FC1270E}", IID_INetCfgClassSetup},
        {"IID_INetCfgComponentBindings", "{C0E8AE9E-306E-11D1-AACF-00805FC1270E}",
         IID_INetCfgComponentBindings},
        {"GUID_DEVCLASS_NET", "{4D36E972-E325-11CE-BFC1-08002BE10318}", GUID_DEVCLASS_NET},
        {"GUID_DEVCLASS_NETTRANS", "{4D36E975-E325-11CE-BFC1-08002BE10318}",
         GUID_DEVCLASS_NETTRANS},
    };
}

std::vector<PublishedNumber> PublishedHandles() {
    return {
        {"HKEY_LOCAL_MACHINE", 0xFFFFFFFF80000002, reinterpret_cast<ULONG_PTR>(HKEY_LOCAL_MACHINE)},
        {"INVALID_HANDLE_VALUE", 0xFFFFFFFFFFFFFFFF,
         reinterpret_cast<ULONG_PTR>(INVALID_HANDLE_VALUE)},
        {"HWND_TOP", 0, reinterpret_cast<ULONG_PTR>(HWND_TOP)},
        {"LPSTR_TEXTCALLBACKW", 0xFFFFFFFFFFFFFFFF,
         reinterpret_cast<ULONG_PTR>(LPSTR_TEXTCALLBACKW)},
    };
}

// A pointer to a virtual member function begins with one more than its place in the table, in bytes.
template <class Method> static ULONG_PTR SlotOf(Method method) {
    ULONG_PTR place;
    memcpy(&place, &method, sizeof(place));
    return (place - 1) / sizeof(void*);
}

#define SLOT(type, method, number) {#type "::" #method, number, SlotOf(&type::method)}

std::vector<PublishedNumber> PublishedSlots() {
    HRESULT (IUnknown::*queryInterface)(REFIID, void**) = &IUnknown::QueryInterface;
    return {
        {"IUnknown::QueryInterface", 0, SlotOf(queryInterface)},
        SLOT(IUnknown, AddRef, 1),
        SLOT(IUnknown, Release, 2),
        SLOT(INetCfg, Initialize, 3),
        SLOT(INetCfg, Uninitialize, 4),
        SLOT(INetCfg, Apply, 5),
        SLOT(INetCfg, EnumComponents, 7),
        SLOT(INetCfg, FindComponent, 8),
        SLOT(INetCfg, QueryNetCfgClass, 9),
        SLOT(INetCfgLock, AcquireWriteLock, 3),
        SLOT(INetCfgLock, ReleaseWriteLock, 4),
        SLOT(INetCfgClass, EnumComponents, 4),
        SLOT(INetCfgClassSetup, Install, 4),
        SLOT(INetCfgComponent, GetId, 6),
        SLOT(INetCfgComponent, GetCharacteristics, 7),
        SLOT(INetCfgComponent, GetInstanceGuid, 8),
        SLOT(INetCfgComponentBindings, EnumBindingPaths, 8),
        SLOT(INetCfgBindingPath, Enable, 6),
        SLOT(INetCfgBindingPath, GetPathToken, 7),
        SLOT(INetCfgBindingPath, EnumBindingInterfaces, 10),
        SLOT(INetCfgBindingInterface, GetUpperComponent, 4),
        SLOT(IEnumNetCfgComponent, Next, 3),
        SLOT(IEnumNetCfgComponent, Reset, 5),
        SLOT(IEnumNetCfgBindingPath, Next, 3),
        SLOT(IEnumNetCfgBindingPath, Reset, 5),
        SLOT(IEnumNetCfgBindingInterface, Next, 3),
        SLOT(IEnumNetCfgBindingInterface, Reset, 5),
    };
}
