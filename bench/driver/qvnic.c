/* The adapters' driver. It answers the statistics IOCTL of NDIS at \\.\{GUID} for the adapters that
   the registry describes, and looks every answer up at the moment of the query: whoever edits the
   registry sees the change in a running program at once.

   The rules kept are those of IOCTL_NDIS_QUERY_GLOBAL_STATS (Windows driver documentation): the
   input is one OID, the request is METHOD_OUT_DIRECT, an answer that does not fit is refused whole,
   an OID that the miniport does not know is refused with STATUS_NOT_SUPPORTED. */
#include <ntddk.h>
#include "qvnic_ioctl.h"

#define QUERY_GLOBAL_STATS                                                                         \
    CTL_CODE(FILE_DEVICE_PHYSICAL_NETCARD, 0, METHOD_OUT_DIRECT, FILE_ANY_ACCESS)

#define MACHINE_PREFIX L"\\Registry\\Machine\\"
#define DEVICE_PREFIX  L"\\Device\\"
#define LINK_PREFIX    L"\\DosDevices\\"
#define CONTROL_NAME   L"QvBenchNic"

#define GUID_CHARS 38
#define PATH_CHARS 160
/* The largest answer that a query can give, in bytes. */
#define ANSWER_BYTES 1024

typedef struct {
    BOOLEAN control;
    WCHAR guid[GUID_CHARS + 1];
} EXTENSION;

static FAST_MUTEX g_syncLock;

/* Appends text to the string, which has room for chars characters in all, and keeps it terminated.
 */
static void Append(UNICODE_STRING* string, USHORT chars, const WCHAR* text) {
    USHORT used = string->Length / sizeof(WCHAR);
    while (*text && used + 1 < chars) {
        string->Buffer[used++] = *text++;
    }
    string->Buffer[used] = 0;
    string->Length = used * sizeof(WCHAR);
    string->MaximumLength = string->Length + sizeof(WCHAR);
}

static void Join(UNICODE_STRING* string, WCHAR* buffer, USHORT chars, const WCHAR* first,
                 const WCHAR* second, const WCHAR* third) {
    string->Buffer = buffer;
    string->Length = 0;
    Append(string, chars, first);
    Append(string, chars, second);
    Append(string, chars, third);
}

/* Opens a key of the adapters' data: the root, or an adapter's key or its subkey. Closed with
 * ZwClose. */
static NTSTATUS OpenData(const WCHAR* guid, const WCHAR* subkey, HANDLE* key) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING path;
    OBJECT_ATTRIBUTES attributes;

    Join(&path, buffer, PATH_CHARS, MACHINE_PREFIX QVNIC_ADAPTERS_KEY, guid ? L"\\" : L"",
         guid ? guid : L"");
    Append(&path, PATH_CHARS, subkey);
    InitializeObjectAttributes(&attributes, &path, OBJ_CASE_INSENSITIVE, NULL, NULL);
    return ZwOpenKey(key, KEY_READ, &attributes);
}

static ULONG ReadDword(HANDLE key, const WCHAR* name) {
    union {
        KEY_VALUE_PARTIAL_INFORMATION info;
        UCHAR room[sizeof(KEY_VALUE_PARTIAL_INFORMATION) + sizeof(ULONG)];
    } value;
    UNICODE_STRING string;
    ULONG length;

    RtlInitUnicodeString(&string, name);
    if (!NT_SUCCESS(ZwQueryValueKey(key, &string, KeyValuePartialInformation, &value, sizeof value,
                                    &length)) ||
        value.info.Type != REG_DWORD || value.info.DataLength != sizeof(ULONG)) {
        return 0;
    }
    return *(UNALIGNED ULONG*)value.info.Data;
}

/* Whether \\.\{GUID} opens: the driver answers and the device is started. */
static BOOLEAN IsServed(const WCHAR* guid) {
    HANDLE key;
    BOOLEAN served;

    if (!NT_SUCCESS(OpenData(guid, L"", &key))) {
        return FALSE;
    }
    served = ReadDword(key, L"Opens") && ReadDword(key, L"Started");
    ZwClose(key);
    return served;
}

/* Looks one answer up. An answer of bytes is copied whole or not at all; a REG_DWORD is the status
 * to refuse with. */
static NTSTATUS Answer(const WCHAR* guid, ULONG oid, void* output, ULONG outputBytes,
                       ULONG_PTR* written) {
    static const WCHAR digits[] = L"0123456789ABCDEF";
    union {
        KEY_VALUE_PARTIAL_INFORMATION info;
        UCHAR room[sizeof(KEY_VALUE_PARTIAL_INFORMATION) + ANSWER_BYTES];
    } value;
    WCHAR name[] = L"0x00000000";
    UNICODE_STRING string;
    HANDLE key;
    NTSTATUS status;
    ULONG length, i;

    for (i = 0; i < 8; i++) {
        name[9 - i] = digits[(oid >> (4 * i)) & 0xF];
    }
    if (!NT_SUCCESS(OpenData(guid, L"\\Oid", &key))) {
        return STATUS_NOT_SUPPORTED;
    }
    RtlInitUnicodeString(&string, name);
    status =
        ZwQueryValueKey(key, &string, KeyValuePartialInformation, &value, sizeof value, &length);
    ZwClose(key);
    if (!NT_SUCCESS(status)) {
        return STATUS_NOT_SUPPORTED;
    }
    if (value.info.Type == REG_DWORD && value.info.DataLength == sizeof(ULONG)) {
        status = (NTSTATUS) * (UNALIGNED ULONG*)value.info.Data;
        return NT_SUCCESS(status) ? STATUS_UNSUCCESSFUL : status;
    }
    if (value.info.DataLength > outputBytes) {
        return STATUS_BUFFER_TOO_SMALL;
    }
    RtlCopyMemory(output, value.info.Data, value.info.DataLength);
    *written = value.info.DataLength;
    return STATUS_SUCCESS;
}

static NTSTATUS Query(const WCHAR* guid, IRP* irp, IO_STACK_LOCATION* location,
                      ULONG_PTR* written) {
    const ULONG inputBytes = location->Parameters.DeviceIoControl.InputBufferLength;
    const ULONG outputBytes = location->Parameters.DeviceIoControl.OutputBufferLength;
    void* output = NULL;

    if (inputBytes < sizeof(ULONG) || !irp->AssociatedIrp.SystemBuffer) {
        return STATUS_INVALID_PARAMETER;
    }
    if (!IsServed(guid)) {
        return STATUS_DEVICE_NOT_READY;
    }
    if (outputBytes && irp->MdlAddress) {
        output = MmGetSystemAddressForMdlSafe(irp->MdlAddress, NormalPagePriority);
        if (!output) {
            return STATUS_INSUFFICIENT_RESOURCES;
        }
    }
    return Answer(guid, *(ULONG*)irp->AssociatedIrp.SystemBuffer, output, output ? outputBytes : 0,
                  written);
}

static DEVICE_OBJECT* FindDevice(DRIVER_OBJECT* driver, const WCHAR* guid) {
    DEVICE_OBJECT* device;
    for (device = driver->DeviceObject; device; device = device->NextDevice) {
        EXTENSION* extension = device->DeviceExtension;
        if (!extension->control && !wcscmp(extension->guid, guid)) {
            return device;
        }
    }
    return NULL;
}

static NTSTATUS AddDevice(DRIVER_OBJECT* driver, const WCHAR* guid, BOOLEAN control) {
    WCHAR nameBuffer[PATH_CHARS], linkBuffer[PATH_CHARS];
    UNICODE_STRING name, link;
    DEVICE_OBJECT* device;
    EXTENSION* extension;
    NTSTATUS status;

    Join(&name, nameBuffer, PATH_CHARS, DEVICE_PREFIX, guid, L"");
    Join(&link, linkBuffer, PATH_CHARS, LINK_PREFIX, guid, L"");
    status = IoCreateDevice(driver, sizeof(EXTENSION), &name, FILE_DEVICE_PHYSICAL_NETCARD, 0,
                            FALSE, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    extension = device->DeviceExtension;
    extension->control = control;
    if (!control) {
        RtlCopyMemory(extension->guid, guid, sizeof extension->guid);
    }
    status = IoCreateSymbolicLink(&link, &name);
    if (!NT_SUCCESS(status)) {
        IoDeleteDevice(device);
        return status;
    }
    device->Flags &= ~DO_DEVICE_INITIALIZING;
    return STATUS_SUCCESS;
}

static void RemoveDevice(DEVICE_OBJECT* device, const WCHAR* guid) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING link;
    Join(&link, buffer, PATH_CHARS, LINK_PREFIX, guid, L"");
    IoDeleteSymbolicLink(&link);
    IoDeleteDevice(device);
}

/* Takes the adapters' names from the key's subkeys and makes the devices that are missing. */
static void AddServed(DRIVER_OBJECT* driver, HANDLE key) {
    union {
        KEY_BASIC_INFORMATION info;
        UCHAR room[sizeof(KEY_BASIC_INFORMATION) + GUID_CHARS * sizeof(WCHAR)];
    } subkey;
    WCHAR guid[GUID_CHARS + 1];
    NTSTATUS status;
    ULONG index, length;

    for (index = 0;; index++) {
        status = ZwEnumerateKey(key, index, KeyBasicInformation, &subkey, sizeof subkey, &length);
        if (status == STATUS_NO_MORE_ENTRIES) {
            return;
        }
        /* A name of another length is no braced GUID. */
        if (!NT_SUCCESS(status) || subkey.info.NameLength != GUID_CHARS * sizeof(WCHAR)) {
            continue;
        }
        RtlCopyMemory(guid, subkey.info.Name, GUID_CHARS * sizeof(WCHAR));
        guid[GUID_CHARS] = 0;
        if (IsServed(guid) && !FindDevice(driver, guid)) {
            AddDevice(driver, guid, FALSE);
        }
    }
}

static void Sync(DRIVER_OBJECT* driver) {
    DEVICE_OBJECT *device, *next;
    HANDLE key;

    ExAcquireFastMutex(&g_syncLock);
    for (device = driver->DeviceObject; device; device = next) {
        EXTENSION* extension = device->DeviceExtension;
        next = device->NextDevice;
        if (!extension->control && !IsServed(extension->guid)) {
            RemoveDevice(device, extension->guid);
        }
    }
    if (NT_SUCCESS(OpenData(NULL, L"", &key))) {
        AddServed(driver, key);
        ZwClose(key);
    }
    ExReleaseFastMutex(&g_syncLock);
}

static NTSTATUS Complete(IRP* irp, NTSTATUS status, ULONG_PTR written) {
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = written;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

static NTSTATUS NTAPI DispatchOpenClose(DEVICE_OBJECT* device, IRP* irp) {
    (void)device;
    return Complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS NTAPI DispatchControl(DEVICE_OBJECT* device, IRP* irp) {
    IO_STACK_LOCATION* location = IoGetCurrentIrpStackLocation(irp);
    EXTENSION* extension = device->DeviceExtension;
    NTSTATUS status = STATUS_INVALID_DEVICE_REQUEST;
    ULONG_PTR written = 0;

    switch (location->Parameters.DeviceIoControl.IoControlCode) {
    case QVNIC_IOCTL_SYNC:
        if (extension->control) {
            Sync(device->DriverObject);
            status = STATUS_SUCCESS;
        }
        break;
    case QUERY_GLOBAL_STATS:
        if (!extension->control) {
            status = Query(extension->guid, irp, location, &written);
        }
        break;
    }
    return Complete(irp, status, written);
}

static void NTAPI Unload(DRIVER_OBJECT* driver) {
    while (driver->DeviceObject) {
        EXTENSION* extension = driver->DeviceObject->DeviceExtension;
        RemoveDevice(driver->DeviceObject, extension->control ? CONTROL_NAME : extension->guid);
    }
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registryPath) {
    NTSTATUS status;
    (void)registryPath;

    ExInitializeFastMutex(&g_syncLock);
    driver->DriverUnload = Unload;
    driver->MajorFunction[IRP_MJ_CREATE] = DispatchOpenClose;
    driver->MajorFunction[IRP_MJ_CLOSE] = DispatchOpenClose;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = DispatchControl;
    status = AddDevice(driver, CONTROL_NAME, TRUE);
    if (NT_SUCCESS(status)) {
        Sync(driver);
    }
    return status;
}
