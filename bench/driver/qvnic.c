/* The adapters' driver. It answers the statistics IOCTL of NDIS at \\.\{GUID} for the adapters that
   the registry describes, and looks every answer up at the moment of the query: whoever edits the
   registry sees the change in a running program at once.

   The rules kept are those of IOCTL_NDIS_QUERY_GLOBAL_STATS (Windows driver documentation): the
   input is one OID, the request is METHOD_OUT_DIRECT, an answer that does not fit is refused whole.
   The page does not list the errors of a request that NDIS or the miniport refuses, so a machine says
   with which status an unknown OID is refused and how a status of NDIS's becomes the program's error.
   The rules also are those of a device that goes while somebody holds it open (Handling an IRP_MN_SURPRISE_REMOVAL Request, from
   the same documentation): the handle stays, every request on it fails, with STATUS_DEVICE_REMOVED,
   and no new handle is given. A device that is only stopped or does not answer refuses with
   STATUS_DEVICE_NOT_READY. */
#include <ntddk.h>
#include "adapter_data.h"
#include "qvnic_ioctl.h"
#include "unicode_path.h"

#define QUERY_GLOBAL_STATS                                                                         \
    CTL_CODE(FILE_DEVICE_PHYSICAL_NETCARD, 0, METHOD_OUT_DIRECT, FILE_ANY_ACCESS)

#define DEVICE_PREFIX L"\\Device\\"
#define LINK_PREFIX   L"\\DosDevices\\"
#define CONTROL_NAME  L"QvBenchNic"

#define GUID_CHARS 38
#define PATH_CHARS 160

typedef struct {
    BOOLEAN control;
    BOOLEAN linked; /* new handles are given */
    ULONG handles;  /* that are open */
    /* How often the device has begun to serve; each handle bears the life it was given in. */
    ULONG_PTR lives;
    WCHAR guid[GUID_CHARS + 1];
} EXTENSION;

/* Guards the list of devices and the answers that change by being given. */
static FAST_MUTEX g_dataLock;

static BOOLEAN IsServed(const WCHAR* guid) {
    return NT_SUCCESS(AdapterState(guid));
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

static void JoinLink(UNICODE_STRING* link, WCHAR* buffer, const WCHAR* name) {
    JoinPath(link, buffer, PATH_CHARS, LINK_PREFIX, name, L"");
}

/* Gives handles from now on. */
static NTSTATUS BeginLife(EXTENSION* extension, const WCHAR* name) {
    WCHAR targetBuffer[PATH_CHARS], linkBuffer[PATH_CHARS];
    UNICODE_STRING target, link;
    NTSTATUS status;

    JoinPath(&target, targetBuffer, PATH_CHARS, DEVICE_PREFIX, name, L"");
    JoinLink(&link, linkBuffer, name);
    status = IoCreateSymbolicLink(&link, &target);
    if (NT_SUCCESS(status)) {
        extension->linked = TRUE;
        extension->lives++;
    }
    return status;
}

/* Gives no more handles; those that are open stay so. */
static void EndLife(EXTENSION* extension) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING link;

    if (extension->linked) {
        JoinLink(&link, buffer, extension->control ? CONTROL_NAME : extension->guid);
        IoDeleteSymbolicLink(&link);
        extension->linked = FALSE;
    }
}

/* Wine gives a handle whatever a driver answers to an open, so a device that has gone loses its link
 * as soon as anybody notices. */
static void NoticeRemoval(EXTENSION* extension) {
    if (AdapterState(extension->guid) == STATUS_DEVICE_REMOVED) {
        EndLife(extension);
    }
}

static NTSTATUS AddDevice(DRIVER_OBJECT* driver, const WCHAR* guid, BOOLEAN control) {
    WCHAR buffer[PATH_CHARS];
    UNICODE_STRING name;
    DEVICE_OBJECT* device;
    EXTENSION* extension;
    NTSTATUS status;

    JoinPath(&name, buffer, PATH_CHARS, DEVICE_PREFIX, guid, L"");
    status = IoCreateDevice(driver, sizeof(EXTENSION), &name, FILE_DEVICE_PHYSICAL_NETCARD, 0,
                            FALSE, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    extension = device->DeviceExtension;
    RtlZeroMemory(extension, sizeof *extension);
    extension->control = control;
    if (!control) {
        RtlCopyMemory(extension->guid, guid, sizeof extension->guid);
    }
    status = BeginLife(extension, guid);
    if (!NT_SUCCESS(status)) {
        IoDeleteDevice(device);
        return status;
    }
    device->Flags &= ~DO_DEVICE_INITIALIZING;
    return STATUS_SUCCESS;
}

static NTSTATUS Query(EXTENSION* extension, IRP* irp, IO_STACK_LOCATION* location,
                      ULONG_PTR* written) {
    const ULONG_PTR life = (ULONG_PTR)location->FileObject->FsContext;
    const ULONG inputBytes = location->Parameters.DeviceIoControl.InputBufferLength;
    const ULONG outputBytes = location->Parameters.DeviceIoControl.OutputBufferLength;
    void* output = NULL;
    NTSTATUS status;

    if (inputBytes < sizeof(ULONG) || !irp->AssociatedIrp.SystemBuffer) {
        return STATUS_INVALID_PARAMETER;
    }
    if (outputBytes && irp->MdlAddress) {
        output = MmGetSystemAddressForMdlSafe(irp->MdlAddress, NormalPagePriority);
        if (!output) {
            return STATUS_INSUFFICIENT_RESOURCES;
        }
    }
    ExAcquireFastMutex(&g_dataLock);
    status = AdapterState(extension->guid);
    if (NT_SUCCESS(status) && life != extension->lives) {
        status = STATUS_DEVICE_REMOVED;
    }
    if (NT_SUCCESS(status)) {
        status = AdapterAnswer(extension->guid, *(ULONG*)irp->AssociatedIrp.SystemBuffer, output,
                               output ? outputBytes : 0, written);
        CountAnswer(extension->guid);
    }
    NoticeRemoval(extension);
    ExReleaseFastMutex(&g_dataLock);
    return status;
}

static void ServeAdapter(DRIVER_OBJECT* driver, const WCHAR* guid) {
    DEVICE_OBJECT* device = FindDevice(driver, guid);
    EXTENSION* extension = device ? device->DeviceExtension : NULL;

    if (!extension) {
        AddDevice(driver, guid, FALSE);
    } else if (!extension->linked) {
        BeginLife(extension, guid);
    }
}

/* Takes the adapters' names from the key's subkeys and makes what is missing. */
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
        if (IsServed(guid)) {
            ServeAdapter(driver, guid);
        }
    }
}

static void Sync(DRIVER_OBJECT* driver) {
    DEVICE_OBJECT *device, *next;
    HANDLE key;

    ExAcquireFastMutex(&g_dataLock);
    for (device = driver->DeviceObject; device; device = next) {
        EXTENSION* extension = device->DeviceExtension;
        next = device->NextDevice;
        if (extension->control || IsServed(extension->guid)) {
            continue;
        }
        EndLife(extension);
        /* Wine refuses requests on the handles of a deleted device before any driver sees them. */
        if (!extension->handles) {
            IoDeleteDevice(device);
        }
    }
    if (NT_SUCCESS(OpenAdapterList(&key))) {
        AddServed(driver, key);
        ZwClose(key);
    }
    ExReleaseFastMutex(&g_dataLock);
}

static NTSTATUS Complete(IRP* irp, NTSTATUS status, ULONG_PTR written) {
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = written;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

static NTSTATUS NTAPI DispatchCreate(DEVICE_OBJECT* device, IRP* irp) {
    EXTENSION* extension = device->DeviceExtension;

    ExAcquireFastMutex(&g_dataLock);
    extension->handles++;
    IoGetCurrentIrpStackLocation(irp)->FileObject->FsContext = (void*)extension->lives;
    if (!extension->control) {
        NoticeRemoval(extension);
    }
    ExReleaseFastMutex(&g_dataLock);
    return Complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS NTAPI DispatchClose(DEVICE_OBJECT* device, IRP* irp) {
    EXTENSION* extension = device->DeviceExtension;

    ExAcquireFastMutex(&g_dataLock);
    extension->handles--;
    ExReleaseFastMutex(&g_dataLock);
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
            status = Query(extension, irp, location, &written);
        }
        break;
    }
    return Complete(irp, status, written);
}

static void NTAPI Unload(DRIVER_OBJECT* driver) {
    while (driver->DeviceObject) {
        EndLife(driver->DeviceObject->DeviceExtension);
        IoDeleteDevice(driver->DeviceObject);
    }
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registryPath) {
    NTSTATUS status;
    (void)registryPath;

    ExInitializeFastMutex(&g_dataLock);
    driver->DriverUnload = Unload;
    driver->MajorFunction[IRP_MJ_CREATE] = DispatchCreate;
    driver->MajorFunction[IRP_MJ_CLOSE] = DispatchClose;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = DispatchControl;
    status = AddDevice(driver, CONTROL_NAME, TRUE);
    if (NT_SUCCESS(status)) {
        Sync(driver);
    }
    return status;
}
