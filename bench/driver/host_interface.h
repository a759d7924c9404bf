/* A network interface of the computer that the simulated machine runs on, for adapters that pass
   its state and counters off as their own. Every value is the kernel's at the moment of the call. */
#ifndef BENCH_DRIVER_HOST_INTERFACE_H
#define BENCH_DRIVER_HOST_INTERFACE_H

#include <ntddk.h>

/* The longest answer, in bytes. */
#define HOST_ANSWER_BYTES 8

BOOLEAN HostInterfaceExists(const WCHAR* name);

/* Puts the answer to an OID into answer, HOST_ANSWER_BYTES bytes, and its length into *bytes.
   STATUS_NOT_SUPPORTED: the kernel has nothing that this OID means. STATUS_DEVICE_REMOVED: there is
   no such interface any more. */
NTSTATUS HostInterfaceAnswer(const WCHAR* name, ULONG oid, UCHAR* answer, ULONG* bytes);

#endif
