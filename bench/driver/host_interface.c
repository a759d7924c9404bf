/* Wine opens the host's files like any others, from kernel drivers too, so an interface's state is
   read where the kernel publishes it: /sys/class/net/NAME. Meanings and units of the OIDs are those
   of the network OID reference (Windows driver documentation). */
#include "host_interface.h"
#include "unicode_path.h"

#include <ntddndis.h>

#define INTERFACES_PATH L"\\??\\unix\\sys\\class\\net\\"
#define FILE_PATH_CHARS 80
/* A file holds one number or one address, and a line feed. */
#define FILE_BYTES 32

#define UNITS_PER_MEGABIT 10000 /* OID_GEN_LINK_SPEED counts units of 100 bit/s */

typedef enum { ADDRESS, SPEED, LINK, FRAME_SIZE, COUNTER } MEANING;

static const struct {
    ULONG oid;
    MEANING meaning;
    const WCHAR* file;
} g_sources[] = {
    {OID_802_3_PERMANENT_ADDRESS, ADDRESS, L"address"},
    {OID_802_3_CURRENT_ADDRESS, ADDRESS, L"address"},
    {OID_GEN_LINK_SPEED, SPEED, L"speed"},
    {OID_GEN_MEDIA_CONNECT_STATUS, LINK, L"carrier"},
    {OID_GEN_MAXIMUM_FRAME_SIZE, FRAME_SIZE, L"mtu"},
    {OID_GEN_XMIT_OK, COUNTER, L"statistics\\tx_packets"},
    {OID_GEN_RCV_OK, COUNTER, L"statistics\\rx_packets"},
    {OID_GEN_XMIT_ERROR, COUNTER, L"statistics\\tx_errors"},
    {OID_GEN_RCV_ERROR, COUNTER, L"statistics\\rx_errors"},
    {OID_GEN_MULTICAST_FRAMES_RCV, COUNTER, L"statistics\\multicast"},
    {OID_GEN_RCV_CRC_ERROR, COUNTER, L"statistics\\rx_crc_errors"},
    {OID_802_3_RCV_ERROR_ALIGNMENT, COUNTER, L"statistics\\rx_frame_errors"},
    {OID_802_3_RCV_OVERRUN, COUNTER, L"statistics\\rx_over_errors"},
    /* The kernel does not tell one collision from several. */
    {OID_802_3_XMIT_ONE_COLLISION, COUNTER, L"statistics\\collisions"},
    {OID_802_3_XMIT_UNDERRUN, COUNTER, L"statistics\\tx_fifo_errors"},
    {OID_802_3_XMIT_HEARTBEAT_FAILURE, COUNTER, L"statistics\\tx_heartbeat_errors"},
    {OID_802_3_XMIT_TIMES_CRS_LOST, COUNTER, L"statistics\\tx_carrier_errors"},
    {OID_802_3_XMIT_LATE_COLLISIONS, COUNTER, L"statistics\\tx_window_errors"},
};

/* Closed with ZwClose. */
static NTSTATUS OpenHostFile(const WCHAR* name, const WCHAR* file, HANDLE* handle) {
    WCHAR buffer[FILE_PATH_CHARS];
    UNICODE_STRING path;
    OBJECT_ATTRIBUTES attributes;
    IO_STATUS_BLOCK io;

    JoinPath(&path, buffer, FILE_PATH_CHARS, INTERFACES_PATH, name, L"\\");
    AppendPath(&path, FILE_PATH_CHARS, file);
    InitializeObjectAttributes(&attributes, &path, OBJ_CASE_INSENSITIVE, NULL, NULL);
    return ZwCreateFile(handle, GENERIC_READ | SYNCHRONIZE, &attributes, &io, NULL, 0,
                        FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_OPEN, FILE_SYNCHRONOUS_IO_NONALERT,
                        NULL, 0);
}

BOOLEAN HostInterfaceExists(const WCHAR* name) {
    HANDLE file;
    if (!NT_SUCCESS(OpenHostFile(name, L"address", &file))) {
        return FALSE;
    }
    ZwClose(file);
    return TRUE;
}

/* Reads a file's text, FILE_BYTES bytes with the terminator. While an interface is down the kernel
   refuses to read some of its files; the text is then empty. */
static NTSTATUS ReadHostFile(const WCHAR* name, const WCHAR* file, char* text) {
    LARGE_INTEGER start;
    IO_STATUS_BLOCK io;
    HANDLE handle;
    NTSTATUS status = OpenHostFile(name, file, &handle);

    if (!NT_SUCCESS(status)) {
        return status;
    }
    start.QuadPart = 0;
    io.Information = 0;
    status = ZwReadFile(handle, NULL, NULL, NULL, &io, text, FILE_BYTES - 1, &start, NULL);
    ZwClose(handle);
    text[NT_SUCCESS(status) ? io.Information : 0] = 0;
    return STATUS_SUCCESS;
}

/* The number that a text begins with; a negative one, which is how the kernel says that it knows
 * none, and an empty text give 0. */
static ULONGLONG Decimal(const char* text) {
    ULONGLONG number = 0;
    for (; *text >= '0' && *text <= '9'; text++) {
        number = number * 10 + (ULONGLONG)(*text - '0');
    }
    return number;
}

static UCHAR HexDigit(char digit) {
    return (UCHAR)(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

/* "02:51:56:00:00:01"; what is shorter is no Ethernet address. */
static ULONG Address(const char* text, UCHAR* address) {
    ULONG i;
    for (i = 0; i < 6; i++, text += 3) {
        if (!text[0] || !text[1] || (i < 5 && text[2] != ':')) {
            return 0;
        }
        address[i] = (UCHAR)(HexDigit(text[0]) << 4 | HexDigit(text[1]));
    }
    return 6;
}

static ULONG Dword(ULONG number, UCHAR* answer) {
    RtlCopyMemory(answer, &number, sizeof number);
    return sizeof number;
}

static ULONG Qword(ULONGLONG number, UCHAR* answer) {
    RtlCopyMemory(answer, &number, sizeof number);
    return sizeof number;
}

static ULONG Word(MEANING meaning, const char* text, UCHAR* answer) {
    switch (meaning) {
    case ADDRESS:
        return Address(text, answer);
    case SPEED:
        return Qword(Decimal(text) * UNITS_PER_MEGABIT, answer);
    case LINK:
        return Dword(Decimal(text) ? NdisMediaStateConnected : NdisMediaStateDisconnected, answer);
    case FRAME_SIZE:
        return Dword((ULONG)Decimal(text), answer);
    case COUNTER:
        break;
    }
    return Qword(Decimal(text), answer);
}

NTSTATUS HostInterfaceAnswer(const WCHAR* name, ULONG oid, UCHAR* answer, ULONG* bytes) {
    char text[FILE_BYTES];
    ULONG i;

    for (i = 0; i < ARRAYSIZE(g_sources); i++) {
        if (g_sources[i].oid != oid) {
            continue;
        }
        if (!NT_SUCCESS(ReadHostFile(name, g_sources[i].file, text))) {
            return STATUS_DEVICE_REMOVED;
        }
        *bytes = Word(g_sources[i].meaning, text, answer);
        return *bytes ? STATUS_SUCCESS : STATUS_NOT_SUPPORTED;
    }
    return STATUS_NOT_SUPPORTED;
}
