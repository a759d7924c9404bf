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

/* CTL_CODE(FILE_DEVICE_PHYSICAL_NETCARD, 0x900, METHOD_BUFFERED, FILE_ANY_ACCESS), no input, no
   output: re-read the adapters and create or delete their devices so that \\.\{GUID} opens exactly
   for those whose values Opens and Started are both non-zero. An adapter whose device is still open
   disappears once it is closed. */
#define QVNIC_IOCTL_SYNC 0x00172400u

#endif
