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

// The length of NDIS_OFFLOAD up to the last member of a revision, in bytes ("NDIS_OFFLOAD structure",
// network driver reference).
struct OffloadRevision {
    Ndis ndis;
    UCHAR revision;
    USHORT bytes;
};
constexpr OffloadRevision kRevisions[] = {
    {Ndis::v6_0, 1, 112},  {Ndis::v6_1, 2, 144},  {Ndis::v6_30, 3, 156},
    {Ndis::v6_50, 4, 177}, {Ndis::v6_70, 5, 188}, {Ndis::v6_83, 6, 216},
};

// Checksums for IPv4 in both directions, large sends for IPv4; nothing of what later revisions added.
static OidAnswer Offload(const OffloadRevision& revision) {
    NDIS_OFFLOAD offload = {};
    static_assert(sizeof offload == 112, "revision 1 of the record");
    offload.Header = {NDIS_OBJECT_TYPE_OFFLOAD, revision.revision, revision.bytes};
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
    OidAnswer answer = Plain(offload);
    answer.bytes.resize(revision.bytes);
    return answer;
}

// The same as tasks of NDIS 5: a header, then tasks, each with its own offset to the next
// ("NDIS_TASK_OFFLOAD_HEADER structure").
static OidAnswer TaskList() {
    constexpr DWORD kHeader = 28, kTask = 24, kBuffer = 16;
    constexpr DWORD kChecksums = 0x1C; // TCP, UDP and IP, without options
    const DWORD list[] = {
        1,       kHeader,    0,          kHeader,
        2,       1,          14, // IEEE 802.3, header size fixed, 14 bytes
        1,       kTask,      0,          kTask - 4 + kBuffer,
        kBuffer, kChecksums, kChecksums, 0,
        0, // checksums
        1,       kTask,      2,          0,
        kBuffer, 0,          65536,      2,
        0x0101, // large sends
    };
    return Plain(list);
}

static OidAnswer NoConnectionOffload() {
    NDIS_TCP_CONNECTION_OFFLOAD offload = {};
    static_assert(sizeof offload == 20, "revision 1 of the record");
    offload.Header = {NDIS_OBJECT_TYPE_DEFAULT, NDIS_TCP_CONNECTION_OFFLOAD_REVISION_1,
                      sizeof offload};
    return Plain(offload);
}

Ndis NdisOfWindows(const std::wstring& windows) {
    static const std::map<std::wstring, Ndis> kVersions = {
        {L"6.0", Ndis::v6_0},  {L"6.1", Ndis::v6_1},   {L"6.2", Ndis::v6_30},
        {L"6.3", Ndis::v6_30}, {L"10.0", Ndis::v6_83},
    };
    const auto found = kVersions.find(windows);
    return found == kVersions.end() ? Ndis::v5 : found->second;
}

OidAnswers HostPortAnswers(Ndis ndis) {
    OidAnswers answers;
    if (ndis == Ndis::v5) {
        answers[OID_TCP_TASK_OFFLOAD] = TaskList();
        return answers;
    }
    for (const auto& revision : kRevisions) {
        if (revision.ndis == ndis) {
            answers[OID_TCP_OFFLOAD_CURRENT_CONFIG] = Offload(revision);
        }
    }
    answers[OID_TCP_CONNECTION_OFFLOAD_CURRENT_CONFIG] = NoConnectionOffload();
    return answers;
}

OidAnswers StandardAnswers(unsigned number, Ndis ndis) {
    OidAnswers answers = HostPortAnswers(ndis);
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
