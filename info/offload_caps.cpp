// The answers are foreign bytes: every offset in them is checked before it is followed.
#include "info/offload_caps.h"

#include "info/offload_records.h"

constexpr DWORD V4_CHECKSUM_BITS = 0x1F;
constexpr DWORD V6_CHECKSUM_BITS = 0x0F;

static_assert(sizeof(OffloadCaps60) == OFFLOAD_60_CB - RECORD_HEADER_CB - sizeof(DWORD),
              "all but the header and the flags");
static_assert(sizeof(ConnectionOffloadCaps) == CONNECTION_OFFLOAD_CB - RECORD_HEADER_CB,
              "all but the header");

void FillTaskOffloadHeader(BYTE* answer) {
    TaskHeader header = {};

    header.Version = TASK_HEADER_VERSION;
    header.Size = sizeof(header);
    header.Encapsulation = ENCAPSULATION_802_3;
    header.EncapsulationFlags = FIXED_HEADER_SIZE;
    CopyMemory(answer, &header, sizeof(header));
}

static DWORD Merge(DWORD old, DWORD bits, DWORD mask) {
    return (old & ~mask) | (bits & mask);
}

// Takes one task in. FALSE when what belongs to it does not lie within the answer.
static BOOL TakeTask(const BYTE* data, DWORD cbData, DWORD code, TaskOffloadCaps* caps) {
    ChecksumTask checksum;
    LargeSendTask largeSend = {};

    switch (code) {
    case TASK_CHECKSUM:
        if (cbData < sizeof(checksum))
            return FALSE;
        CopyMemory(&checksum, data, sizeof(checksum));
        caps->v4Transmit = Merge(caps->v4Transmit, checksum.v4Transmit, V4_CHECKSUM_BITS);
        caps->v4Receive = Merge(caps->v4Receive, checksum.v4Receive, V4_CHECKSUM_BITS);
        caps->v6Transmit = Merge(caps->v6Transmit, checksum.v6Transmit, V6_CHECKSUM_BITS);
        caps->v6Receive = Merge(caps->v6Receive, checksum.v6Receive, V6_CHECKSUM_BITS);
        return TRUE;
    case TASK_IPSEC:
        caps->ipsecSupported = 1;
        return TRUE;
    case TASK_LARGE_SEND:
        if (cbData < LARGE_SEND_CB)
            return FALSE;
        CopyMemory(&largeSend, data, LARGE_SEND_CB);
        caps->lsoMaxOffloadSize = largeSend.MaxOffLoadSize;
        caps->lsoMinSegmentCount = largeSend.MinSegmentCount;
        caps->lsoTcpOptions = largeSend.TcpOptions;
        caps->lsoIpOptions = largeSend.IpOptions;
        return TRUE;
    case TASK_CONNECTION:
        caps->toeSupported = 1;
        return TRUE;
    default:
        return TRUE;
    }
}

BOOL DecodeTaskOffload(const BYTE* answer, DWORD cbAnswer, TaskOffloadCaps* caps) {
    TaskHeader header;
    Task task;

    if (cbAnswer > TASK_OFFLOAD_CB)
        cbAnswer = TASK_OFFLOAD_CB;
    if (cbAnswer < sizeof(header))
        return FALSE;
    CopyMemory(&header, answer, sizeof(header));
    if (header.OffsetFirstTask == 0)
        return FALSE;

    DWORD offset = header.OffsetFirstTask;
    while (offset >= sizeof(header) && offset <= cbAnswer && cbAnswer - offset >= sizeof(task)) {
        CopyMemory(&task, answer + offset, sizeof(task));
        DWORD data = offset + sizeof(task);
        if (!TakeTask(answer + data, cbAnswer - data, task.Code, caps))
            break;
        // A sum that wraps around leads back.
        if (offset + task.OffsetNextTask <= offset)
            break;
        offset += task.OffsetNextTask;
    }
    return TRUE;
}

LPCWSTR Offload60HeaderFault(const BYTE* answer) {
    if (answer[0] != OFFLOAD_RECORD_TYPE)
        return L"Header Type mismatch";
    return answer[1] != OFFLOAD_RECORD_REVISION ? L"Header Version mismatch" : NULL;
}

BOOL DecodeOffload60(const BYTE* answer, OffloadCaps60* caps) {
    if (Offload60HeaderFault(answer) != NULL)
        return FALSE;
    CopyMemory(caps, answer + RECORD_HEADER_CB, sizeof(*caps));
    return TRUE;
}

void DecodeConnectionOffload(const BYTE* answer, ConnectionOffloadCaps* caps) {
    CopyMemory(caps, answer + RECORD_HEADER_CB, sizeof(*caps));
}
