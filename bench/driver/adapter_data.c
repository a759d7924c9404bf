/* Everything is looked up anew for each request, so an adapter changes while it is in use. */
#include "adapter_data.h"
#include "host_interface.h"
#include "qvnic_ioctl.h"
#include "unicode_path.h"

#define MACHINE_PREFIX L"\\Registry\\Machine\\"
#define PATH_CHARS     160
/* The largest answer that a query can give, in bytes. */
#define ANSWER_BYTES 1024

/* Opens an adapter's key or one below it; without an adapter, the key above them all. Closed with
 * ZwClose. */
static NTSTATUS OpenData(const WCHAR* guid, const WCHAR* subkey, ACCESS_MASK access, HANDLE* key) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING path;
    OBJECT_ATTRIBUTES attributes;

    JoinPath(&path, buffer, PATH_CHARS, MACHINE_PREFIX QVNIC_ADAPTERS_KEY, guid ? L"\\" : L"",
             guid ? guid : L"");
    AppendPath(&path, PATH_CHARS, subkey);
    InitializeObjectAttributes(&attributes, &path, OBJ_CASE_INSENSITIVE, NULL, NULL);
    return ZwOpenKey(key, access, &attributes);
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

/* An answer of bytes is copied whole or not at all. */
static NTSTATUS Give(const void* answer, ULONG bytes, void* output, ULONG outputBytes,
                     ULONG_PTR* written) {
    if (bytes > outputBytes) {
        return STATUS_BUFFER_TOO_SMALL;
    }
    RtlCopyMemory(output, answer, bytes);
    *written = bytes;
    return STATUS_SUCCESS;
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
    if (!interfaceName[0]) {
        return STATUS_NOT_SUPPORTED;
    }
    status = HostInterfaceAnswer(interfaceName, oid, answer, &bytes);
    return NT_SUCCESS(status) ? Give(answer, bytes, output, outputBytes, written) : status;
}

NTSTATUS AdapterAnswer(const WCHAR* guid, ULONG oid, void* output, ULONG outputBytes,
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
    status = Give(value.info.Data, value.info.DataLength, output, outputBytes, written);
    if (NT_SUCCESS(status) && value.info.DataLength == sizeof(ULONGLONG)) {
        Advance(guid, name, *(UNALIGNED ULONGLONG*)value.info.Data);
    }
    return status;
}
