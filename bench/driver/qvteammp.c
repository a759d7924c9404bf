/* The team miniport's driver as far as an installation needs it: it loads, and that is all. What
   its adapters do when they start is the stand-ins' part. */
#include <ntddk.h>

static NTSTATUS NTAPI AddDevice(DRIVER_OBJECT* driver, DEVICE_OBJECT* device) {
    (void)driver;
    (void)device;
    return STATUS_SUCCESS;
}

static void NTAPI Unload(DRIVER_OBJECT* driver) {
    (void)driver;
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registryPath) {
    (void)registryPath;
    driver->DriverUnload = Unload;
    driver->DriverExtension->AddDevice = AddDevice;
    return STATUS_SUCCESS;
}
