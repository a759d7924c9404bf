// Decodes a driver's answers about the work that its adapter takes over from TCP/IP. No system calls.
#pragma once

#include <windows.h>

// Lengths of the answers, in bytes.
constexpr DWORD TASK_OFFLOAD_CB = 216;
constexpr DWORD OFFLOAD_60_CB = 112;
constexpr DWORD CONNECTION_OFFLOAD_CB = 20;

// What an NDIS 5 driver's task list comes to.
struct TaskOffloadCaps {
    DWORD v4Transmit; // bits 0-4: IP options, TCP options, TCP, UDP and IP checksum
    DWORD v4Receive;
    DWORD v6Transmit; // bits 0-3: IP options, TCP options, TCP and UDP checksum
    DWORD v6Receive;
    DWORD lsoMaxOffloadSize; // bytes
    DWORD lsoMinSegmentCount;
    BYTE lsoTcpOptions;
    BYTE lsoIpOptions;
    BYTE ipsecSupported;
    BYTE toeSupported;
};

// What an NDIS 6 driver's record holds behind its header, value by value as it stands there.
struct ChecksumCaps {
    DWORD Encapsulation;
    DWORD bits;
};

struct OffloadCaps60 {
    ChecksumCaps v4Transmit;
    ChecksumCaps v4Receive;
    ChecksumCaps v6Transmit;
    ChecksumCaps v6Receive;
    struct {
        DWORD Encapsulation;
        DWORD MaxOffLoadSize;
        DWORD MinSegmentCount;
        DWORD bits;
    } lsoV1;
    struct {
        DWORD Encapsulation;
        DWORD AhEspCombined;
        DWORD TransportTunnelCombined;
        DWORD IPv4Options;
        DWORD Flags;
        DWORD v4Ah;
        DWORD v4Esp;
    } ipsecV1;
    struct {
        DWORD Encapsulation;
        DWORD MaxOffLoadSize;
        DWORD MinSegmentCount;
    } lsoV2IPv4;
    struct {
        DWORD Encapsulation;
        DWORD MaxOffLoadSize;
        DWORD MinSegmentCount;
        DWORD bits;
    } lsoV2IPv6;
};

struct ConnectionOffloadCaps {
    DWORD Encapsulation;
    DWORD support; // pairs of bits: IPv4, IPv6, IPv6 extension headers, SACK
    DWORD TcpConnectionOffloadCapacity;
    DWORD Flags;
};

// Writes what the driver expects to find in the buffer: the header of an empty list for IEEE 802.3
// with a header of fixed size.
//   answer  TASK_OFFLOAD_CB bytes, zeroed
void FillTaskOffloadHeader(BYTE* answer);

// Walks the task list and adds what it finds to *caps, which the caller has zeroed.
//   answer  at least cbAnswer bytes; behind TASK_OFFLOAD_CB nothing is read
// FALSE when the list is empty. A task that does not lie within the answer, or an offset that leads
// back, ends the walk with what was read so far.
BOOL DecodeTaskOffload(const BYTE* answer, DWORD cbAnswer, TaskOffloadCaps* caps);

// What is wrong with the header of an NDIS 6 record, in the words of the trace, or NULL.
LPCWSTR Offload60HeaderFault(const BYTE* answer);

// Copies an NDIS 6 record. FALSE when its header is not that of such a record of revision 1; *caps
// then stays as it was.
//   answer  OFFLOAD_60_CB bytes, zeroed behind what the driver returned
BOOL DecodeOffload60(const BYTE* answer, OffloadCaps60* caps);

// Copies the words behind the header, which is not looked at.
//   answer  CONNECTION_OFFLOAD_CB bytes, zeroed behind what the driver returned
void DecodeConnectionOffload(const BYTE* answer, ConnectionOffloadCaps* caps);
