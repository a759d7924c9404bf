/* Statuses with which NDIS or a miniport refuses an OID request. The values are those of the network
   driver reference ("OID requests", return values). Plain C: the driver includes it too. */
#ifndef BENCH_DRIVER_NDIS_STATUS_H
#define BENCH_DRIVER_NDIS_STATUS_H

#define QV_NDIS_FAILURE          0xC0000001u
#define QV_NDIS_RESOURCES        0xC000009Au
#define QV_NDIS_NOT_SUPPORTED    0xC00000BBu
#define QV_NDIS_INVALID_LENGTH   0xC0010014u
#define QV_NDIS_INVALID_DATA     0xC0010015u
#define QV_NDIS_BUFFER_TOO_SHORT 0xC0010016u
#define QV_NDIS_INVALID_OID      0xC0010017u

/* The statuses that are no NTSTATUS of the system's: facility 1, NDIS. */
#define QV_IS_NDIS_STATUS(status) (((status) >> 16) == 0xC001u)

#endif
