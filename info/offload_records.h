// The records of a driver's answers about offload, in the layout that NDIS publishes. The platform's
// headers have none of them.
#pragma once

#include <windows.h>

// NDIS 5 task list: a header, then tasks chained by offsets.
struct TaskHeader {
    DWORD Version;
    DWORD Size;
    DWORD Reserved;
    DWORD OffsetFirstTask; // from the header
    DWORD Encapsulation;
    DWORD EncapsulationFlags;
    DWORD EncapsulationHeaderSize;
};

struct Task {
    DWORD Version;
    DWORD Size;
    DWORD Code;
    DWORD OffsetNextTask; // from this task, 0 in the last
    DWORD TaskBufferLength;
};

struct ChecksumTask {
    DWORD v4Transmit;
    DWORD v4Receive;
    DWORD v6Transmit;
    DWORD v6Receive;
};

struct LargeSendTask {
    DWORD Version;
    DWORD MaxOffLoadSize;
    DWORD MinSegmentCount;
    BYTE TcpOptions;
    BYTE IpOptions;
};

// The record ends with its two flags, not with the padding behind them.
constexpr DWORD LARGE_SEND_CB = 14;

enum TaskCode : DWORD {
    TASK_CHECKSUM = 0,
    TASK_IPSEC = 1,
    TASK_LARGE_SEND = 2,
    TASK_CONNECTION = 3,
};

constexpr DWORD TASK_HEADER_VERSION = 1;
constexpr DWORD ENCAPSULATION_802_3 = 2;
constexpr DWORD FIXED_HEADER_SIZE = 1;

// NDIS 6 records: a header of 4 bytes, then what OffloadCaps60 and ConnectionOffloadCaps hold.
constexpr size_t RECORD_HEADER_CB = 4;
constexpr BYTE OFFLOAD_RECORD_TYPE = 0xA7;
constexpr BYTE OFFLOAD_RECORD_REVISION = 1;
