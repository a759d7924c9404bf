// A driver's counters cannot be set back, so the program keeps where it counts from.
#include "info/statistics_table.h"

#include <ntddndis.h>

StatisticsRow g_statistics[STATISTICS_ROWS] = {
    {L"Frames Transmitted OK", OID_GEN_XMIT_OK, 0},
    {L"Frames Received OK", OID_GEN_RCV_OK, 0},
    {L"Transmitted Error Frames", OID_GEN_XMIT_ERROR, 0},
    {L"Received Error Frames", OID_GEN_RCV_ERROR, 0},
    {L"Directed Frames Transmitted", OID_GEN_DIRECTED_FRAMES_XMIT, 0},
    {L"Multicast Frames Transmitted", OID_GEN_MULTICAST_FRAMES_XMIT, 0},
    {L"Broadcast Frames Transmitted", OID_GEN_BROADCAST_FRAMES_XMIT, 0},
    // Shows the multicast counter, on purpose.
    {L"Directed Frames Received", OID_GEN_MULTICAST_FRAMES_RCV, 0},
    {L"Multicast Frames Received", OID_GEN_MULTICAST_FRAMES_RCV, 0},
    {L"Broadcast Frames Received", OID_GEN_BROADCAST_FRAMES_RCV, 0},
    {L"Received CRC Error Frames", OID_GEN_RCV_CRC_ERROR, 0},
    {L"Received Alignment Error Frames", OID_802_3_RCV_ERROR_ALIGNMENT, 0},
    {L"Receive Overrun Frames", OID_802_3_RCV_OVERRUN, 0},
    {L"Transmit One Collision Frames", OID_802_3_XMIT_ONE_COLLISION, 0},
    {L"Transmit More Collision Frames", OID_802_3_XMIT_MORE_COLLISIONS, 0},
    {L"Transmit Deferred Frames", OID_802_3_XMIT_DEFERRED, 0},
    {L"Transmit Excessive Collision Frames", OID_802_3_XMIT_MAX_COLLISIONS, 0},
    {L"Transmit Underrun Frames", OID_802_3_XMIT_UNDERRUN, 0},
    {L"Transmit Heartbeat Failure Frames", OID_802_3_XMIT_HEARTBEAT_FAILURE, 0},
    {L"Transmit CRS Signal Lost", OID_802_3_XMIT_TIMES_CRS_LOST, 0},
    {L"Transmit Late Collisions", OID_802_3_XMIT_LATE_COLLISIONS, 0},
};

static ULONGLONG baseline[STATISTICS_ROWS];

ULONGLONG CountSinceReset(int row) {
    return g_statistics[row].value - baseline[row];
}

void ResetStatistics(void) {
    for (int row = 0; row < STATISTICS_ROWS; row++)
        baseline[row] = g_statistics[row].value;
}
