// An NDIS 6 driver does not know the task list of NDIS 5: that is how the two are told apart.
#include "info/offload_query.h"

#include "info/adapter_text.h"
#include "info/driver_query.h"
#include "inventory/trace.h"

#include <strsafe.h>

// A work buffer for one answer; released with VirtualFree.
static BYTE* AllocateAnswer(DWORD cbAnswer) {
    return static_cast<BYTE*>(
        VirtualAlloc(NULL, cbAnswer, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
}

// The outcome of asking a driver for its task list.
enum TaskAnswer { ANSWER_LISTED, ANSWER_UNKNOWN, ANSWER_NOT_SUPPORTED };

static TaskAnswer AskTaskOffload(HANDLE device, LPWSTR text) {
    TaskOffloadCaps caps = {};
    DWORD cbAnswer = TASK_OFFLOAD_CB;

    BYTE* answer = AllocateAnswer(cbAnswer);
    if (answer == NULL)
        return ANSWER_UNKNOWN;
    BOOL listed = QvGetDeviceCaps(&device, answer, &cbAnswer, &caps);
    DWORD dwError = GetLastError();
    VirtualFree(answer, 0, MEM_RELEASE);
    if (listed) {
        WordTaskOffload(text, &caps);
        return ANSWER_LISTED;
    }
    return dwError == ERROR_NOT_SUPPORTED ? ANSWER_NOT_SUPPORTED : ANSWER_UNKNOWN;
}

static BOOL AskOffload60(HANDLE device, OffloadCaps60* caps) {
    DWORD cbAnswer = OFFLOAD_60_CB;

    BYTE* answer = AllocateAnswer(cbAnswer);
    if (answer == NULL)
        return FALSE;
    BOOL known = QvGetDeviceCaps60(&device, answer, &cbAnswer, caps);
    VirtualFree(answer, 0, MEM_RELEASE);
    return known;
}

static void AskConnectionOffload(HANDLE device, ConnectionOffloadCaps* caps) {
    DWORD cbAnswer = CONNECTION_OFFLOAD_CB;

    BYTE* answer = AllocateAnswer(cbAnswer);
    if (answer == NULL)
        return;
    QvGetDeviceConnectionOffloadCaps(&device, answer, &cbAnswer, caps);
    VirtualFree(answer, 0, MEM_RELEASE);
}

void AskOffload(HANDLE device, LPWSTR text) {
    OffloadCaps60 caps = {};
    ConnectionOffloadCaps connection = {};

    Trace(L"-->AskOffload:\n");
    StringCchCopyW(text, VALUE_CCH, TEXT_UNKNOWN);
    if (AskTaskOffload(device, text) == ANSWER_NOT_SUPPORTED && AskOffload60(device, &caps)) {
        AskConnectionOffload(device, &connection);
        WordOffload60(text, &caps, &connection);
    }
    Trace(L"<--AskOffload: %s\n", text);
}
