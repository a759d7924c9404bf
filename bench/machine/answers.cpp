// The answers of an adapter about which a machine file says nothing special.
#define UM_NDIS60
#include "machine.h"

#include <ntddndis.h>

#include <cstring>

constexpr DWORD kStatistics[] = {
    OID_GEN_XMIT_OK,
    OID_GEN_RCV_OK,
    OID_GEN_XMIT_ERROR,
    OID_GEN_RCV_ERROR,
    OID_GEN_DIRECTED_FRAMES_XMIT,
    OID_GEN_MULTICAST_FRAMES_XMIT,
    OID_GEN_BROADCAST_FRAMES_XMIT,
    OID_GEN_DIRECTED_FRAMES_RCV,
    OID_GEN_MULTICAST_FRAMES_RCV,
    OID_GEN_BROADCAST_FRAMES_RCV,
    OID_GEN_RCV_CRC_ERROR,
    OID_802_3_RCV_ERROR_ALIGNMENT,
    OID_802_3_RCV_OVERRUN,
    OID_802_3_XMIT_ONE_COLLISION,
    OID_802_3_XMIT_MORE_COLLISIONS,
    OID_802_3_XMIT_DEFERRED,
    OID_802_3_XMIT_MAX_COLLISIONS,
    OID_802_3_XMIT_UNDERRUN,
    OID_802_3_XMIT_HEARTBEAT_FAILURE,
    OID_802_3_XMIT_TIMES_CRS_LOST,
    OID_802_3_XMIT_LATE_COLLISIONS,
};

constexpr DWORD kTenGigabit = 100000000; // in units of 100 bit/s

template <typename T> static OidAnswer Plain(const T& value) {
    OidAnswer answer;
    answer.bytes.resize(sizeof value);
    memcpy(answer.bytes.data(), &value, sizeof value);
    return answer;
}

// Checksums for IPv4 in both directions, large sends for IPv4.
static OidAnswer Offload() {
    NDIS_OFFLOAD offload = {};
    static_assert(sizeof offload == 112, "revision 1 of the record");
    offload.Header = {NDIS_OBJECT_TYPE_OFFLOAD, NDIS_OFFLOAD_REVISION_1, sizeof offload};
    auto& transmit = offload.Checksum.IPv4Transmit;
    transmit.Encapsulation = NDIS_ENCAPSULATION_IEEE_802_3;
    transmit.TcpChecksum = transmit.UdpChecksum = transmit.IpChecksum = NDIS_OFFLOAD_SUPPORTED;
    auto& receive = offload.Checksum.IPv4Receive;
    receive.Encapsulation = NDIS_ENCAPSULATION_IEEE_802_3;
    receive.TcpChecksum = receive.UdpChecksum = receive.IpChecksum = NDIS_OFFLOAD_SUPPORTED;
    auto& largeSend = offload.LsoV1.IPv4;
    largeSend.Encapsulation = NDIS_ENCAPSULATION_IEEE_802_3;
    largeSend.MaxOffLoadSize = 65536;
    largeSend.MinSegmentCount = 2;
    return Plain(offload);
}

static OidAnswer NoConnectionOffload() {
    NDIS_TCP_CONNECTION_OFFLOAD offload = {};
    static_assert(sizeof offload == 20, "revision 1 of the record");
    offload.Header = {NDIS_OBJECT_TYPE_DEFAULT, NDIS_TCP_CONNECTION_OFFLOAD_REVISION_1,
                      sizeof offload};
    return Plain(offload);
}

OidAnswers HostPortAnswers() {
    OidAnswers answers;
    answers[OID_TCP_OFFLOAD_CURRENT_CONFIG] = Offload();
    answers[OID_TCP_CONNECTION_OFFLOAD_CURRENT_CONFIG] = NoConnectionOffload();
    return answers;
}

OidAnswers StandardAnswers(unsigned number) {
    OidAnswers answers = HostPortAnswers();
    struct {
        BYTE bytes[6];
    } address = {{0x02, 0x51, 0x56, 0x00, 0x00, static_cast<BYTE>(number)}};
    answers[OID_802_3_PERMANENT_ADDRESS] = Plain(address);
    answers[OID_802_3_CURRENT_ADDRESS] = Plain(address);
    answers[OID_GEN_LINK_SPEED] = Plain(kTenGigabit);
    answers[OID_GEN_MEDIA_CONNECT_STATUS] = Plain(NdisMediaStateConnected);
    answers[OID_GEN_MAXIMUM_FRAME_SIZE] = Plain(DWORD{1500});
    DWORD row = 0;
    for (const DWORD oid : kStatistics) {
        row++;
        answers[oid] = Plain(ULONGLONG{row} * 1000 + number);
    }
    return answers;
}
