// The wording is decided apart from the pages, where every value can be tried.
#include "info/adapter_text.h"

#include <strsafe.h>

constexpr ULONGLONG BITS_PER_UNIT = 100;
constexpr ULONGLONG THOUSAND = 1000;
constexpr ULONGLONG MILLION = 1000 * THOUSAND;
constexpr ULONGLONG BILLION = 1000 * MILLION;

// From Windows 6.0 on no adapter counts as faster.
constexpr ULONGLONG SPEED_CAP = 0x280000000;
constexpr DWORD UNCAPPED_MAJOR_VERSION = 5;

static const WCHAR OFFLOAD_TOE[] = L"TOE";
static const WCHAR OFFLOAD_LSO[] = L"LSO";
static const WCHAR OFFLOAD_CHECKSUM[] = L"Checksum Offload";

constexpr DWORD SUPPORT_BITS = 0xFF;

void WordAddress(LPWSTR text, const BYTE* address) {
    StringCchPrintfW(text, VALUE_CCH, L"%.2x-%.2x-%.2x-%.2x-%.2x-%.2x", address[0], address[1],
                     address[2], address[3], address[4], address[5]);
}

static ULONGLONG BitsPerSecond(ULONGLONG units, DWORD majorVersion) {
    ULONGLONG speed = units * BITS_PER_UNIT;

    if (majorVersion == 0)
        return 0;
    return majorVersion != UNCAPPED_MAJOR_VERSION && speed > SPEED_CAP ? SPEED_CAP : speed;
}

void WordLinkSpeed(LPWSTR text, ULONGLONG units, DWORD majorVersion) {
    ULONGLONG speed = BitsPerSecond(units, majorVersion);

    // No link at all is worded as the slowest one, on purpose.
    if (speed / BITS_PER_UNIT < 2)
        StringCchCopyW(text, VALUE_CCH, L"100 bps");
    else if (speed < THOUSAND)
        StringCchPrintfW(text, VALUE_CCH, L"%I64u bps", speed);
    else if (speed < MILLION)
        StringCchPrintfW(text, VALUE_CCH, L"%I64u Kbps", speed / THOUSAND);
    else if (speed < BILLION)
        StringCchPrintfW(text, VALUE_CCH, L"%I64u Mbps", speed / MILLION);
    else
        StringCchPrintfW(text, VALUE_CCH, L"%I64u Gbps", speed / BILLION);
}

LPCWSTR LinkStatusText(DWORD mediaConnectStatus) {
    return mediaConnectStatus == 0 ? L"Connected" : L"Network Cable Unplugged";
}

void WordDriverState(LPWSTR text, DWORD installState) {
    static const LPCWSTR states[] = {L"Installed", L"Needs Reinstall", L"Failed Install",
                                     L"Install Not Complete"};

    StringCchCopyW(text, VALUE_CCH, installState < ARRAYSIZE(states) ? states[installState] : L"");
}

static void AppendWord(LPWSTR text, LPCWSTR word, BOOL holds) {
    if (!holds)
        return;
    if (text[0] != L'\0')
        StringCchCatW(text, VALUE_CCH, L", ");
    StringCchCatW(text, VALUE_CCH, word);
}

void WordTaskOffload(LPWSTR text, const TaskOffloadCaps* caps) {
    text[0] = L'\0';
    AppendWord(text, OFFLOAD_TOE, caps->toeSupported == 1);
    AppendWord(text, OFFLOAD_LSO,
               caps->lsoMaxOffloadSize != 0 || caps->lsoMinSegmentCount != 0 ||
                   caps->lsoTcpOptions != 0 || caps->lsoIpOptions != 0);
    AppendWord(text, OFFLOAD_CHECKSUM,
               (caps->v4Transmit | caps->v4Receive | caps->v6Transmit | caps->v6Receive) != 0);
}

static BOOL HasChecksum(const ChecksumCaps* caps) {
    return caps->Encapsulation != 0 || caps->bits != 0;
}

void WordOffload60(LPWSTR text, const OffloadCaps60* caps,
                   const ConnectionOffloadCaps* connection) {
    text[0] = L'\0';
    AppendWord(text, OFFLOAD_LSO,
               caps->lsoV1.Encapsulation != 0 || caps->lsoV2IPv4.Encapsulation != 0 ||
                   caps->lsoV2IPv6.Encapsulation != 0);
    AppendWord(text, OFFLOAD_CHECKSUM,
               HasChecksum(&caps->v4Transmit) || HasChecksum(&caps->v4Receive) ||
                   HasChecksum(&caps->v6Transmit) || HasChecksum(&caps->v6Receive));
    AppendWord(text, OFFLOAD_TOE,
               connection->Encapsulation != 0 || (connection->support & SUPPORT_BITS) != 0 ||
                   connection->TcpConnectionOffloadCapacity != 0);
    if (text[0] == L'\0')
        StringCchCopyW(text, VALUE_CCH, TEXT_UNKNOWN);
}

void WordCount(LPWSTR text, ULONGLONG count) {
    StringCchPrintfW(text, VALUE_CCH, L"%I64u", count);
}
