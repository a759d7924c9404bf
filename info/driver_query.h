// Asks an adapter's driver. One OID goes with each call; nothing here tells the user.
#pragma once

#include "info/offload_caps.h"
#include "info/statistics_table.h"

struct DeviceProperties {
    BYTE currentAddress[6];
    BYTE permanentAddress[6];
    ULONGLONG linkSpeed;      // in units of 100 bit/s
    DWORD mediaConnectStatus; // 0 = connected
};

// `device` is what OpenAdapterDriver gave; the caller keeps it.

// Addresses, speed and link. FALSE at the first query that fails; what was read before it stays.
//   properties  zeroed
BOOL GetDeviceProperties(const HANDLE* device, DeviceProperties* properties);

// The largest frame without its link header, in bytes. FALSE leaves *mtu as it was.
BOOL GetDeviceMTU(const HANDLE* device, DWORD* mtu);

// The three below work in a buffer of the length that offload_caps.h names, which the caller owns;
// they zero it first. *caps is zeroed by the caller.

// The task list of an NDIS 5 driver. FALSE when the query fails, with its error as the last error, or
// when the list is empty, with 0.
BOOL QvGetDeviceCaps(const HANDLE* device, BYTE* buffer, const DWORD* bufferLength,
                     TaskOffloadCaps* caps);

// The offload record of an NDIS 6 driver. FALSE when the query fails or the record is another.
BOOL QvGetDeviceCaps60(const HANDLE* device, BYTE* buffer, const DWORD* bufferLength,
                       OffloadCaps60* caps);

// Its connection offload record. Always TRUE: a driver that does not answer supports nothing.
BOOL QvGetDeviceConnectionOffloadCaps(const HANDLE* device, BYTE* buffer, const DWORD* bufferLength,
                                      ConnectionOffloadCaps* caps);

// Reads every counter into its row. A counter that the driver does not give stays as it was. Always
// TRUE.
//   table  STATISTICS_ROWS rows
BOOL GetDeviceStatistics(const HANDLE* device, StatisticsRow* table);
