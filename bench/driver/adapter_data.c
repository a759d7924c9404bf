/* Everything is looked up anew for each request, so an adapter changes while it is in use. */
#include "adapter_data.h"
#include "host_interface.h"
#include "ndis_status.h"
#include "qvnic_ioctl.h"
#include "unicode_path.h"

#include <ntddndis.h>

#define MACHINE_PREFIX L"\\Registry\\Machine\\"
#define PATH_CHARS     160
/* The largest answer that a query can give, in bytes. */
#define ANSWER_BYTES 1024
/* NDIS_TASK_OFFLOAD_HEADER: its size, and where its EncapsulationHeaderSize stands, in bytes. */
#define TASK_HEADER_BYTES    28
#define TASK_HEADER_FRAME_AT 24

/* Closed with ZwClose. */
static NTSTATUS OpenPath(UNICODE_STRING* path, ACCESS_MASK access, HANDLE* key) {
    OBJECT_ATTRIBUTES attributes;

    InitializeObjectAttributes(&attributes, path, OBJ_CASE_INSENSITIVE, NULL, NULL);
    return ZwOpenKey(key, access, &attributes);
}

/* Opens an adapter's key or one below it; without an adapter, the key above them all. Closed with
 * ZwClose. */
static NTSTATUS OpenData(const WCHAR* guid, const WCHAR* subkey, ACCESS_MASK access, HANDLE* key) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING path;

    JoinPath(&path, buffer, PATH_CHARS, MACHINE_PREFIX QVNIC_ADAPTERS_KEY, guid ? L"\\" : L"",
             guid ? guid : L"");
    AppendPath(&path, PATH_CHARS, subkey);
    return OpenPath(&path, access, key);
}

typedef union {
    KEY_VALUE_PARTIAL_INFORMATION info;
    UCHAR room[sizeof(KEY_VALUE_PARTIAL_INFORMATION) + ANSWER_BYTES];
} VALUE;

static NTSTATUS ReadValue(HANDLE key, const WCHAR* name, VALUE* value) {
    UNICODE_STRING string;
    ULONG length;

    RtlInitUnicodeString(&string, name);
    return ZwQueryValueKey(key, &string, KeyValuePartialInformation, value, sizeof *value, &length);
}

static BOOLEAN HasDword(const VALUE* value) {
    return value->info.Type == REG_DWORD && value->info.DataLength == sizeof(ULONG);
}

static ULONG ReadDword(HANDLE key, const WCHAR* name, ULONG missing) {
    VALUE value;
    if (!NT_SUCCESS(ReadValue(key, name, &value)) || !HasDword(&value)) {
        return missing;
    }
    return *(UNALIGNED ULONG*)value.info.Data;
}

/* The host's interface that the adapter stands for, HOST_INTERFACE_CHARS characters and the
 * terminator; empty when there is none. */
static void ReadHostInterface(HANDLE key, WCHAR* name) {
    VALUE value;
    ULONG bytes = 0;

    if (NT_SUCCESS(ReadValue(key, QVNIC_HOST_INTERFACE, &value)) && value.info.Type == REG_SZ) {
        bytes = min(value.info.DataLength, HOST_INTERFACE_CHARS * sizeof(WCHAR));
        RtlCopyMemory(name, value.info.Data, bytes);
    }
    name[bytes / sizeof(WCHAR)] = 0;
}

NTSTATUS OpenAdapterList(HANDLE* key) {
    return OpenData(NULL, L"", KEY_READ, key);
}

NTSTATUS AdapterState(const WCHAR* guid) {
    WCHAR interfaceName[HOST_INTERFACE_CHARS + 1];
    HANDLE key;
    NTSTATUS status = STATUS_SUCCESS;

    if (!NT_SUCCESS(OpenData(guid, L"", KEY_READ, &key))) {
        return STATUS_DEVICE_REMOVED;
    }
    ReadHostInterface(key, interfaceName);
    if (!ReadDword(key, QVNIC_ANSWERS_LEFT, 1) ||
        (interfaceName[0] && !HostInterfaceExists(interfaceName))) {
        status = STATUS_DEVICE_REMOVED;
    } else if (!ReadDword(key, QVNIC_OPENS, 0) || !ReadDword(key, QVNIC_STARTED, 0)) {
        status = STATUS_DEVICE_NOT_READY;
    }
    ZwClose(key);
    return status;
}

void CountAnswer(const WCHAR* guid) {
    UNICODE_STRING name;
    HANDLE key;
    ULONG left;

    if (!NT_SUCCESS(OpenData(guid, L"", KEY_READ | KEY_WRITE, &key))) {
        return;
    }
    left = ReadDword(key, QVNIC_ANSWERS_LEFT, 0);
    if (left) {
        left--;
        RtlInitUnicodeString(&name, QVNIC_ANSWERS_LEFT);
        ZwSetValueKey(key, &name, 0, REG_DWORD, &left, sizeof left);
    }
    ZwClose(key);
}

/* A counter that advances by itself stands as the value that comes next; it goes on by its step once
 * it has been given. */
static void Advance(const WCHAR* guid, const WCHAR* oidName, ULONGLONG counter) {
    VALUE step;
    UNICODE_STRING name;
    HANDLE key;
    NTSTATUS status;

    if (!NT_SUCCESS(OpenData(guid, L"\\" QVNIC_STEPS, KEY_READ, &key))) {
        return;
    }
    status = ReadValue(key, oidName, &step);
    ZwClose(key);
    if (!NT_SUCCESS(status) || step.info.DataLength != sizeof counter ||
        !NT_SUCCESS(OpenData(guid, L"\\" QVNIC_ANSWERS, KEY_WRITE, &key))) {
        return;
    }
    counter += *(UNALIGNED ULONGLONG*)step.info.Data;
    RtlInitUnicodeString(&name, oidName);
    ZwSetValueKey(key, &name, 0, REG_BINARY, &counter, sizeof counter);
    ZwClose(key);
}

static ULONG AdapterDword(const WCHAR* guid, const WCHAR* name, ULONG missing) {
    HANDLE key;
    ULONG number;

    if (!NT_SUCCESS(OpenData(guid, L"", KEY_READ, &key))) {
        return missing;
    }
    number = ReadDword(key, name, missing);
    ZwClose(key);
    return number;
}

/* OID_TCP_OFFLOAD_HARDWARE_CAPABILITIES (network OID reference): NDIS fails the request with
   NDIS_STATUS_BUFFER_TOO_SHORT when the record does not fit. An answer is copied whole or not at all;
   no document says that NDIS cuts one. */
static NTSTATUS Give(const void* answer, ULONG bytes, void* output, ULONG outputBytes,
                     ULONG_PTR* written) {
    if (bytes > outputBytes) {
        return (NTSTATUS)QV_NDIS_BUFFER_TOO_SHORT;
    }
    RtlCopyMemory(output, answer, bytes);
    *written = bytes;
    return STATUS_SUCCESS;
}

static NTSTATUS RefuseUnknown(const WCHAR* guid) {
    const ULONG status = AdapterDword(guid, QVNIC_UNKNOWN_OID, QV_NDIS_NOT_SUPPORTED);
    return NT_SUCCESS((NTSTATUS)status) ? STATUS_UNSUCCESSFUL : (NTSTATUS)status;
}

static NTSTATUS AnswerOfHost(const WCHAR* guid, ULONG oid, void* output, ULONG outputBytes,
                             ULONG_PTR* written) {
    WCHAR interfaceName[HOST_INTERFACE_CHARS + 1];
    UCHAR answer[HOST_ANSWER_BYTES];
    HANDLE key;
    NTSTATUS status;
    ULONG bytes;

    if (!NT_SUCCESS(OpenData(guid, L"", KEY_READ, &key))) {
        return STATUS_DEVICE_REMOVED;
    }
    ReadHostInterface(key, interfaceName);
    ZwClose(key);
    status = interfaceName[0] ? HostInterfaceAnswer(interfaceName, oid, answer, &bytes)
                              : STATUS_NOT_SUPPORTED;
    if (status == STATUS_NOT_SUPPORTED) {
        return RefuseUnknown(guid);
    }
    return NT_SUCCESS(status) ? Give(answer, bytes, output, outputBytes, written) : status;
}

/* The caller describes its frames in an NDIS_TASK_OFFLOAD_HEADER at the start of the output buffer
   (OID_TCP_TASK_OFFLOAD, network OID reference). The request is METHOD_OUT_DIRECT, so the driver reads
   it there. That a driver takes a header size of 0 for wrong, and that it then fails the request with
   INVALID_DATA, is unverified. */
static BOOLEAN LacksHeaderSize(const WCHAR* guid, ULONG oid, const void* output,
                               ULONG outputBytes) {
    const UCHAR* header = output;

    return oid == OID_TCP_TASK_OFFLOAD && AdapterDword(guid, QVNIC_NEEDS_HEADER_SIZE, 0) &&
           (outputBytes < TASK_HEADER_BYTES ||
            !*(const UNALIGNED ULONG*)(header + TASK_HEADER_FRAME_AT));
}

static NTSTATUS Answer(const WCHAR* guid, ULONG oid, void* output, ULONG outputBytes,
                       ULONG_PTR* written) {
    static const WCHAR digits[] = L"0123456789ABCDEF";
    VALUE value;
    WCHAR name[] = L"0x00000000";
    HANDLE key;
    NTSTATUS status;
    ULONG i;

    for (i = 0; i < 8; i++) {
        name[9 - i] = digits[(oid >> (4 * i)) & 0xF];
    }
    status = OpenData(guid, L"\\" QVNIC_ANSWERS, KEY_READ, &key);
    if (NT_SUCCESS(status)) {
        status = ReadValue(key, name, &value);
        ZwClose(key);
    }
    if (!NT_SUCCESS(status)) {
        return AnswerOfHost(guid, oid, output, outputBytes, written);
    }
    if (HasDword(&value)) {
        status = (NTSTATUS) * (UNALIGNED ULONG*)value.info.Data;
        return NT_SUCCESS(status) ? STATUS_UNSUCCESSFUL : status;
    }
    if (LacksHeaderSize(guid, oid, output, outputBytes)) {
        return (NTSTATUS)QV_NDIS_INVALID_DATA;
    }
    status = Give(value.info.Data, value.info.DataLength, output, outputBytes, written);
    if (NT_SUCCESS(status) && value.info.DataLength == sizeof(ULONGLONG)) {
        Advance(guid, name, *(UNALIGNED ULONGLONG*)value.info.Data);
    }
    return status;
}

static BOOLEAN ErrorsAreTranslated(void) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING path;
    HANDLE key;
    ULONG untranslated;

    JoinPath(&path, buffer, PATH_CHARS, MACHINE_PREFIX QVNIC_MACHINE_KEY, L"", L"");
    if (!NT_SUCCESS(OpenPath(&path, KEY_READ, &key))) {
        return TRUE;
    }
    untranslated = ReadDword(key, QVNIC_UNTRANSLATED_ERRORS, 0);
    ZwClose(key);
    return !untranslated;
}

/* The NTSTATUS that stands for a status of NDIS's in the NDISPROT sample of the Windows driver samples.
   That the IOCTL does the same is unverified; a machine may have NDIS's own statuses instead. */
static NTSTATUS Translated(NTSTATUS status) {
    switch ((ULONG)status) {
    case QV_NDIS_INVALID_LENGTH:
        return STATUS_INVALID_BUFFER_SIZE;
    case QV_NDIS_INVALID_DATA:
        return STATUS_INVALID_PARAMETER;
    case QV_NDIS_BUFFER_TOO_SHORT:
        return STATUS_BUFFER_TOO_SMALL;
    default:
        return STATUS_UNSUCCESSFUL;
    }
}

NTSTATUS AdapterAnswer(const WCHAR* guid, ULONG oid, void* output, ULONG outputBytes,
                       ULONG_PTR* written) {
    const NTSTATUS status = Answer(guid, oid, output, outputBytes, written);
    return QV_IS_NDIS_STATUS((ULONG)status) && ErrorsAreTranslated() ? Translated(status) : status;
}
