// Words what a driver told, for the adapter pages. No system calls.
#pragma once

#include "info/offload_caps.h"

// A value on a page: at most 50 characters and the terminator.
constexpr size_t VALUE_CCH = 51;

// What a page shows in place of a value that nobody could give.
#define TEXT_UNKNOWN L"Unknown"

LPCWSTR LinkStatusText(DWORD mediaConnectStatus);

// Each of the others writes into `text`, VALUE_CCH characters, and terminates it.

// "00-11-22-33-44-55" of 6 bytes.
void WordAddress(LPWSTR text, const BYTE* address);

// The speed in the largest unit that it fills, cut to whole units.
//   units         of 100 bit/s, as the driver tells it
//   majorVersion  of Windows; 0 when it is not known, and the speed then neither
void WordLinkSpeed(LPWSTR text, ULONGLONG units, DWORD majorVersion);

// SPDRP_INSTALL_STATE; an unknown state gives an empty text.
void WordDriverState(LPWSTR text, DWORD installState);

// The offloads that an NDIS 5 driver lists; none gives an empty text.
void WordTaskOffload(LPWSTR text, const TaskOffloadCaps* caps);

// Those of an NDIS 6 driver; none gives "Unknown".
void WordOffload60(LPWSTR text, const OffloadCaps60* caps, const ConnectionOffloadCaps* connection);

// A count, unsigned.
void WordCount(LPWSTR text, ULONGLONG count);
