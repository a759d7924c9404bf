// What the pages show is known to the driver alone.
#include "info/driver_query.h"

#include "inventory/trace.h"

#include <winioctl.h>

#include <ntddndis.h>

// Answers of at most cb bytes. On failure the buffer's content is undefined and the cause in the last
// error.
static BOOL QueryOid(HANDLE device, DWORD oid, void* answer, DWORD cb) {
    DWORD cbAnswer;

    SetLastError(ERROR_SUCCESS);
    BOOL ok = DeviceIoControl(device, IOCTL_NDIS_QUERY_GLOBAL_STATS, &oid, sizeof(oid), answer, cb,
                              &cbAnswer, NULL);
    if (!ok)
        Trace(L"   QueryOid: DevIOCtrl failed for Oid = 0x%x\n", oid);
    return ok;
}

BOOL GetDeviceProperties(const HANDLE* device, DeviceProperties* properties) {
    Trace(L"-->GetDeviceProperties:\n");
    BOOL ok = QueryOid(*device, OID_802_3_CURRENT_ADDRESS, properties->currentAddress,
                       sizeof(properties->currentAddress)) &&
              QueryOid(*device, OID_802_3_PERMANENT_ADDRESS, properties->permanentAddress,
                       sizeof(properties->permanentAddress)) &&
              QueryOid(*device, OID_GEN_LINK_SPEED, &properties->linkSpeed,
                       sizeof(properties->linkSpeed)) &&
              QueryOid(*device, OID_GEN_MEDIA_CONNECT_STATUS, &properties->mediaConnectStatus,
                       sizeof(properties->mediaConnectStatus));
    Trace(L"<--GetDeviceProperties: %d\n", ok);
    return ok;
}

BOOL GetDeviceMTU(const HANDLE* device, DWORD* mtu) {
    DWORD frameSize = 0;

    Trace(L"-->GetDeviceMTU:\n");
    BOOL ok = QueryOid(*device, OID_GEN_MAXIMUM_FRAME_SIZE, &frameSize, sizeof(frameSize));
    if (ok)
        *mtu = frameSize;
    Trace(L"<--GetDeviceMTU: %d\n", ok);
    return ok;
}

BOOL QvGetDeviceCaps(const HANDLE* device, BYTE* buffer, const DWORD* bufferLength,
                     TaskOffloadCaps* caps) {
    Trace(L"-->QvGetDeviceCaps:\n");
    ZeroMemory(buffer, *bufferLength);
    FillTaskOffloadHeader(buffer);
    if (!QueryOid(*device, OID_TCP_TASK_OFFLOAD, buffer, *bufferLength)) {
        Trace(L"<--QvGetDeviceCaps: no answer\n");
        return FALSE;
    }
    // Whatever length the driver tells: where it has written nothing, there is zero.
    if (!DecodeTaskOffload(buffer, *bufferLength, caps)) {
        Trace(L"<--QvGetDeviceCaps: OffsetFirstTask set to zero\n");
        SetLastError(ERROR_SUCCESS);
        return FALSE;
    }
    Trace(L"<--QvGetDeviceCaps:\n");
    return TRUE;
}

BOOL QvGetDeviceCaps60(const HANDLE* device, BYTE* buffer, const DWORD* bufferLength,
                       OffloadCaps60* caps) {
    Trace(L"-->QvGetDeviceCaps60:\n");
    ZeroMemory(buffer, *bufferLength);
    if (!QueryOid(*device, OID_TCP_OFFLOAD_CURRENT_CONFIG, buffer, *bufferLength)) {
        Trace(L"<--QvGetDeviceCaps60: DeviceIOControl failed for caps\n");
        return FALSE;
    }
    if (!DecodeOffload60(buffer, caps)) {
        Trace(L"<--QvGetDeviceCaps60: %s\n", Offload60HeaderFault(buffer));
        return FALSE;
    }
    Trace(L"<--QvGetDeviceCaps60:\n");
    return TRUE;
}

BOOL QvGetDeviceConnectionOffloadCaps(const HANDLE* device, BYTE* buffer, const DWORD* bufferLength,
                                      ConnectionOffloadCaps* caps) {
    Trace(L"-->QvGetDeviceConnectionOffloadCaps:\n");
    ZeroMemory(buffer, *bufferLength);
    if (QueryOid(*device, OID_TCP_CONNECTION_OFFLOAD_CURRENT_CONFIG, buffer, *bufferLength))
        DecodeConnectionOffload(buffer, caps);
    Trace(L"<--QvGetDeviceConnectionOffloadCaps:\n");
    return TRUE;
}

BOOL GetDeviceStatistics(const HANDLE* device, StatisticsRow* table) {
    Trace(L"-->GetDeviceStatistics:\n");
    for (int row = 0; row < STATISTICS_ROWS; row++) {
        ULONGLONG counter = 0;
        if (QueryOid(*device, table[row].oid, &counter, sizeof(counter)))
            table[row].value = counter;
    }
    Trace(L"<--GetDeviceStatistics:\n");
    return TRUE;
}
