/* What the registry says about an adapter: qvnic_ioctl.h tells where. An adapter goes by its braced
   GUID. */
#ifndef BENCH_DRIVER_ADAPTER_DATA_H
#define BENCH_DRIVER_ADAPTER_DATA_H

#include <ntddk.h>

/* The key whose subkeys are the adapters, to read. Closed with ZwClose. */
NTSTATUS OpenAdapterList(HANDLE* key);

/* Whether requests on the adapter are served, or the status that they are refused with:
   STATUS_DEVICE_NOT_READY while it is stopped or does not answer, STATUS_DEVICE_REMOVED once it is
   gone. */
NTSTATUS AdapterState(const WCHAR* guid);

/* Answers one OID into output, outputBytes bytes, which holds what the caller wrote there. An answer
   that does not fit is refused whole; where none stands and no host interface has one, the adapter's
   status for unknown OIDs refuses it. A refusal with a status of NDIS's is mapped as the machine says. */
NTSTATUS AdapterAnswer(const WCHAR* guid, ULONG oid, void* output, ULONG outputBytes,
                       ULONG_PTR* written);

/* Counts a reply of an adapter that has only so many left. A refusal is a reply too. */
void CountAnswer(const WCHAR* guid);

#endif
