/* The door to qvnic.sys, for the user-mode side and the driver alike. Plain C: the driver includes
 * it. */
#ifndef BENCH_DRIVER_QVNIC_IOCTL_H
#define BENCH_DRIVER_QVNIC_IOCTL_H

/* The driver's service; its binary is qvnic.sys. */
#define QVNIC_SERVICE L"qvnic"

/* Opened with CreateFileW (access 0, share read and write). It exists while the service runs. */
#define QVNIC_CONTROL_PATH L"\\\\.\\QvBenchNic"

/* Where the driver's data are: every subkey is one adapter, named by its braced GUID. */
#define QVNIC_ADAPTERS_KEY L"Software\\QvBench\\Adapters"

/* An adapter's values. Only what is opened and started is served; missing counts as 0. */
#define QVNIC_OPENS   L"Opens"   /* REG_DWORD */
#define QVNIC_STARTED L"Started" /* REG_DWORD */
/* REG_DWORD: after so many replies the device has been removed. Missing: it stays. */
#define QVNIC_ANSWERS_LEFT L"AnswersLeft"
/* REG_SZ: a network interface of the host, which answers what the adapter itself does not. While it is
   missing the device counts as removed. */
#define QVNIC_HOST_INTERFACE L"HostInterface"
/* REG_DWORD: the status with which an OID that has no answer is refused. Missing: not supported. */
#define QVNIC_UNKNOWN_OID L"UnknownOid"
/* REG_DWORD, 1: the NDIS 5 task list is refused while the header in the output buffer has an
   encapsulation header size of 0. */
#define QVNIC_NEEDS_HEADER_SIZE L"TaskListNeedsHeaderSize"
/* What Linux allows for an interface's name, in characters. */
#define HOST_INTERFACE_CHARS 15

/* An adapter's subkeys, whose values are named by OIDs, 0x00010107. An answer is REG_BINARY, or a
   REG_DWORD, the status to refuse with. A step is 8 bytes, by which an answer of 8 bytes advances each
   time it has been given. */
#define QVNIC_ANSWERS L"Oid"
#define QVNIC_STEPS   L"Step"

/* The machine's own key. Its value, REG_DWORD, 1: a status of NDIS's reaches the program as it is; 0 or
   missing: as the NTSTATUS that stands for it. */
#define QVNIC_MACHINE_KEY         L"Software\\QvBench\\Machine"
#define QVNIC_UNTRANSLATED_ERRORS L"UntranslatedErrors"

/* CTL_CODE(FILE_DEVICE_PHYSICAL_NETCARD, 0x900, METHOD_BUFFERED, FILE_ANY_ACCESS), no input, no
   output: re-read the adapters, so that \\.\{GUID} opens exactly for those that are served. Handles to
   one that no longer is stay open and are refused for good. */
#define QVNIC_IOCTL_SYNC 0x00172400u

#endif
